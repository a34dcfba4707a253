// The packet generation and capture engine ("PGC") and the trace and filter comparators of the
// IDT Gen2 switches (CPS-1848, CPS-1432, CPS-1616, SPS-1616, VPS-1616), over packets as bytes.
//
// Registers (p a port, c a comparator 0..3):
//
// | Offset | Register | Here |
// |---|---|---|
// | 0xF2000C | Device Control 1 | bit 28 PGC_EN (PGC mode), bit 15 TRACE_EN, bits 5..1 TRACE_OUT_PORT, bit 16
// TRACE_OUT_PORT_MODE | | 0x100100 + 0x10 p | Port p PGC Mode | bits 9..0 FLOW_TYPE, 10 SOP, 11 EOP, 12
// START_PORT (generate), 13 END_PORT (capture), 14 EN (data access), 15 RX_DONE (read-only), 16 START (send)
// | | 0x100104 + 0x10 p | Port p PGC Data | the word moved into or out of the engine | | 0xE40000 + 0x100 p +
// 0x28 c | Port p Trace c | five value words, then five mask words | | 0xE4F000 + 0x28 c | broadcast Trace c
// | a write sets comparator c of every port; a read gives port 0's | | 0xF40004 + 0x100 p | Port p Operations
// | bits 9..12 TRACE_c_EN, bits 13..16 FILTER_c_EN, bit 26 CNTRS_EN; bit 8 PORT_LPBK_EN and bit 21 loop-back
// | | 0xF40020 + 0x100 p + 4 c | Port p Trace Counter c | trace matches of comparator c | | 0xF40030 + 0x100
// p + 4 c | Port p Filter Counter c | filter matches of comparator c |
//
// Sources: IDT's Device Access Routines as published by the RapidIO Trade Association, CPS1848.h:
// CPS1848_DEVICE_CTL_1 with _PGC_EN, _TRACE_EN, _TRACE_OUT_PORT, _TRACE_OUT_PORT_MODE;
// CPS1848_PORT_X_PGC_MODE and _DATA with _FLOW_TYPE, _SOP, _EOP, _START_PORT, _END_PORT, _EN,
// _RX_DONE, _START; CPS1848_PORT_X_TRACE_0_VAL_0 and CPS1848_PORT_P_TRACE_I_VAL_R/_MASK_R
// (0x28 a comparator, masks 0x14 after the values); CPS1848_BCAST_TRACE_0_VAL_0 0xE4F000;
// CPS1848_PORT_X_OPS with _TRACE_n_EN, _FILTER_n_EN, _PORT_LPBK_EN, _CNTRS_EN;
// CPS1848_PORT_X_TRACE_CNTR_Y and _FILTER_CNTR_Y. The DAR's own maintenance-packet filter (FType 8
// in bits 19..16 of the first value word) shows that the first packet byte sits in bits 31..24.
//
// What the published headers do not say, assumed here:
// - Generation: a mode write with START_PORT and EN set latches the data register as the next
//   word of the port's generation buffer; SOP empties the buffer first, EOP closes the packet
//   (words after that are ignored until the next SOP). At most 75 words (300 bytes) are kept.
//   A mode write with START_PORT and START set, PGC mode on and a closed packet sends the packet
//   out of the port (all its words; a short last word's zero bytes are the packet's pad) and
//   clears START; otherwise START stays as written and nothing goes. The buffer is kept, so the
//   same packet can be sent again.
// - Capture: with PGC mode on, a packet that would leave by a port in END_PORT mode is taken
//   into the port's capture FIFO instead of leaving (16 packets; more are dropped). RX_DONE reads
//   set while the FIFO holds one. A mode write with END_PORT and EN set loads the next word of
//   the head packet (first byte in bits 31..24, zeros past its end) into the data register (0
//   from an empty FIFO); after 75 words the head packet is released. A mode write with EN clear
//   empties the FIFO. Packets of every flow are captured: FLOW_TYPE is kept but selects nothing
//   (the flow of a response differs from that of its request, and a capture is meant to catch
//   the response).
// - Comparators: a packet entering port p matches comparator c when ((its first 20 bytes XOR
//   the value words) AND the mask words) is zero in every word, bytes past a short packet's end
//   reading 0. Only comparators whose TRACE_c_EN or FILTER_c_EN is set on p are looked at. A trace
//   match counts in Trace Counter c and, while TRACE_EN is set, sends one copy of the packet out
//   of the trace port (one copy however many comparators match; both routing modes copy). A
//   filter match counts in Filter Counter c and drops the packet. Counters count while CNTRS_EN
//   is set and clear on read (CounterBank.h). A copy never makes further copies, so a trace port
//   looped back on itself cannot copy for ever.
// - Loop-back: a port with PORT_LPBK_EN (bit 8, as the DAR names it) or bit 21 set sends what it
//   transmits straight back into its own input instead of onto its link. Bit 21 is the bit the
//   client's packet generator sets; the DAR leaves it unnamed, so both are honoured.
// - Port-write counter: the counter after the filter counters (0xF40040) is VC0 packet-accepted
//   received in the DAR and in the performance monitor's list, and stays that here; port-writes
//   are counted by a comparator that matches them.
#pragma once

#include <array>
#include <cstdint>
#include <deque>
#include <functional>
#include <vector>

namespace nvsim::models
{
class CGen2Pgc
{
public:
    using Bytes = std::vector<uint8_t>;

    static constexpr uint32_t kDeviceControl = 0xF2000C;
    static constexpr uint32_t kPgcEnable = 0x10000000;
    static constexpr uint32_t kTraceEnable = 0x00008000;
    static constexpr uint32_t kTracePortMask = 0x0000003E;
    static constexpr uint32_t kTraceRoutingMode = 0x00010000;

    static constexpr uint32_t PgcMode(uint8_t uchPort) { return 0x100100 + 0x10 * uchPort; }
    static constexpr uint32_t PgcData(uint8_t uchPort) { return 0x100104 + 0x10 * uchPort; }
    static constexpr uint32_t kFlowType = 0x000003FF;
    static constexpr uint32_t kSop = 0x00000400;
    static constexpr uint32_t kEop = 0x00000800;
    static constexpr uint32_t kGenerate = 0x00001000; // START_PORT
    static constexpr uint32_t kCapture = 0x00002000;  // END_PORT
    static constexpr uint32_t kDataAccess = 0x00004000;
    static constexpr uint32_t kRxDone = 0x00008000;
    static constexpr uint32_t kSend = 0x00010000;

    static constexpr uint32_t kComparators = 4;
    static constexpr uint32_t kCompareWords = 5; // 20 bytes
    static constexpr uint32_t Comparator(uint8_t uchPort, uint32_t ulComparator)
    {
        return 0xE40000 + 0x100 * uchPort + 0x28 * ulComparator;
    }
    static constexpr uint32_t kBroadcastComparator = 0xE4F000;

    static constexpr uint32_t PortOperations(uint8_t uchPort) { return 0xF40004 + 0x100 * uchPort; }
    static constexpr uint32_t TraceEnable(uint32_t ulComparator) { return 0x200u << ulComparator; }
    static constexpr uint32_t FilterEnable(uint32_t ulComparator) { return 0x2000u << ulComparator; }
    static constexpr uint32_t kLoopbackDar = 0x00000100;
    static constexpr uint32_t kLoopback = 0x00200000;
    // Offsets of the match counters from the port's counter base (0xF40000 + 0x100 p).
    static constexpr uint32_t TraceCounter(uint32_t ulComparator) { return 0x20 + 4 * ulComparator; }
    static constexpr uint32_t FilterCounter(uint32_t ulComparator) { return 0x30 + 4 * ulComparator; }

    static constexpr size_t kCaptureDepth = 16;
    static constexpr uint32_t kBufferWords = 75;

    // What the engine needs of its switch.
    struct SHost
    {
        // The stored word of a register (Device Control, Port Operations, the comparators).
        std::function<uint32_t(uint32_t)> fnReg;
        // One match counted in a port's counter at this offset from its base.
        std::function<void(uint8_t uchPort, uint32_t ulCounterOffset)> fnCount;
        // A packet the engine sends out of a port: a generated packet or a trace copy.
        std::function<void(uint8_t uchPort, const Bytes& packet)> fnTransmit;
    };

    CGen2Pgc(uint8_t uchPorts, SHost host);

    // --- The PGC registers of a port (the switch installs them).
    uint32_t ReadMode(uint8_t uchPort) const;
    void WriteMode(uint8_t uchPort, uint32_t ulValue);
    uint32_t ReadData(uint8_t uchPort) const;
    void WriteData(uint8_t uchPort, uint32_t ulValue);

    // --- Packets crossing the switch's ports.
    // A packet arriving on a port, before it is routed: counts the comparators it matches,
    // sends the trace copy; false when a filter drops it.
    bool Arriving(uint8_t uchPort, const Bytes& packet);
    // A packet about to leave by a port: true when the port's capture took it.
    bool Leaving(uint8_t uchPort, const Bytes& packet);
    // Whether a port's comparators want to see its arriving packets.
    bool WatchesArrivals(uint8_t uchPort) const;
    // Whether a port captures what would leave by it now.
    bool Captures(uint8_t uchPort) const;
    // Whether a port sends its transmissions back into its own input.
    bool LoopsBack(uint8_t uchPort) const;

    // Whether a packet's first 20 bytes match a comparator block (five value words, five masks).
    static bool Matches(const uint32_t* pulBlock, const Bytes& packet);

    // For tests and tools: packets waiting in a port's capture FIFO, the generation buffer.
    size_t CapturedCount(uint8_t uchPort) const;
    Bytes GenerationBuffer(uint8_t uchPort) const;
    // Empties FIFOs and buffers (a reset of the part).
    void Reset();

private:
    struct SPort
    {
        uint32_t ulMode = 0;
        uint32_t ulData = 0;
        std::vector<uint32_t> generation; // words loaded so far
        bool bClosed = false;             // EOP seen
        std::deque<Bytes> capture;
        uint32_t ulReadWord = 0; // next word of the head packet to read
    };

    bool PgcOn() const;

    uint8_t m_uchPorts;
    SHost m_host;
    std::vector<SPort> m_ports;
    bool m_bCopying = false; // a trace copy is under way
};
} // namespace nvsim::models
