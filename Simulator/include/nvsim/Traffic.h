// What crosses a link, as the ports at its two ends count it.
//
// Every packet that crosses a link is counted twice: as transmitted by the port it leaves and as
// received by the port it enters, with its kind, physical priority and payload. The link-level
// events around it (the packet-accepted, packet-not-accepted and packet-retry control symbols,
// CRC errors, drops) are counted at the port that sends or sees them (RapidIO Part 6, 5.9 and
// 5.10: acknowledgement control symbols and error recovery).
//
// SPortCounters are the simulator's own totals, always on and never cleared by a read: tests and
// the in-process API see what really crossed. The device models turn the same events into the
// registers of their part, with the enables, widths and clear-on-read behaviour the part has.
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>

namespace nvsim
{
// Kinds of packet a port tells apart (RapidIO Part 1 and 2 transaction types).
enum class EPacketKind : uint8_t
{
    MaintRequest,      // maintenance read or write request (type 8)
    MaintResponse,     // maintenance response (type 8)
    Read,              // NREAD (type 2)
    Write,             // NWRITE (type 5)
    WriteWithResponse, // NWRITE_R (type 5)
    StreamWrite,       // SWRITE (type 6)
    Doorbell,          // DOORBELL (type 10)
    Message,           // one segment of a data message (type 11)
    Response           // response to NREAD, NWRITE_R, doorbell or message (type 13)
};

// One kind of packet on its way: what every packet of a batch has in common.
struct SPacketInfo
{
    EPacketKind eKind = EPacketKind::MaintRequest;
    uint8_t uchPriority = 0; // physical priority 0..3
    bool bMulticast = false; // a copy made by a switch's multicast mask

    bool IsRequest() const { return eKind != EPacketKind::MaintResponse && eKind != EPacketKind::Response; }
    // Whether it is a data-carrying request of the read or write kind (NREAD; NWRITE, NWRITE_R,
    // SWRITE), as the throughput counters of the Tsi500 and Tsi57x tell them apart.
    bool IsReadRequest() const { return eKind == EPacketKind::Read; }
    bool IsWriteRequest() const
    {
        return eKind == EPacketKind::Write || eKind == EPacketKind::WriteWithResponse ||
               eKind == EPacketKind::StreamWrite;
    }
};

// The largest payload one packet carries (RapidIO Part 1, 4.1: 256 bytes of data).
inline constexpr uint32_t kMaxPacketPayload = 256;
// Packets a transfer of ullBytes takes: one per 256 bytes, at least one.
inline uint32_t PacketsFor(uint64_t ullBytes)
{
    return ullBytes == 0 ? 1 : static_cast<uint32_t>((ullBytes + kMaxPacketPayload - 1) / kMaxPacketPayload);
}

// Link-level events of one port.
enum class ELinkEvent : uint8_t
{
    AckSent,         // packet-accepted control symbol transmitted (a packet was taken)
    AckReceived,     // packet-accepted control symbol received (the partner took a packet)
    NackSent,        // packet-not-accepted transmitted (a packet came with a CRC error or wrong ackID)
    NackReceived,    // packet-not-accepted received
    RetrySent,       // packet-retry transmitted (no buffer free for the packet)
    RetryReceived,   // packet-retry received
    CrcError,        // a packet came in with a bad CRC
    UnexpectedAckId, // a packet came in with an ackID the port did not expect
    DroppedRx,       // a packet that came in was dropped (no route for it)
    DroppedTx,       // a packet to send was dropped (its link is down, or it could not get across)
    CrcLimitDrop,    // a packet to send was dropped after too many CRC errors on the way
    Count
};

// The simulator's own count of what crossed one port. Monotonic; ClearCounters resets it.
struct SPortCounters
{
    std::array<uint64_t, 4> txPackets{};                   // packets transmitted, by physical priority
    std::array<uint64_t, 4> rxPackets{};                   // packets received, by physical priority
    uint64_t ullTxRequests = 0, ullRxRequests = 0;         // of those, requests
    uint64_t ullTxPayloadBytes = 0, ullRxPayloadBytes = 0; // data bytes the packets carried
    std::array<uint64_t, static_cast<std::size_t>(ELinkEvent::Count)> events{};

    uint64_t TxPackets() const { return txPackets[0] + txPackets[1] + txPackets[2] + txPackets[3]; }
    uint64_t RxPackets() const { return rxPackets[0] + rxPackets[1] + rxPackets[2] + rxPackets[3]; }
    uint64_t Events(ELinkEvent eEvent) const { return events[static_cast<std::size_t>(eEvent)]; }
};
} // namespace nvsim
