// A part's per-port counter registers: one 32-bit register per counter and port, at
// base + port stride x port + the counter's offset, counting what crosses the port as the
// counter's source says, while the part has the port's counters enabled.
//
// Reads give the count; a counter that clears on read starts again from 0 after it. Writes are
// ignored (the parts' counters are read-only). A model keeps the bank, gives it the fabric's
// packet and link events, and lets it answer reads of its window before anything else.
#pragma once

#include "nvsim/Traffic.h"

#include <cstdint>
#include <functional>
#include <vector>

namespace nvsim::models
{
// What a counter register counts.
enum class ECountSource : uint8_t
{
    Nothing,     // a counter of something the simulator does not model (TTL drops, Gen1 trace matches)
    TxPackets,   // packets transmitted
    RxPackets,   // packets received
    RxForwarded, // packets received and passed on into the switch (received less those dropped)
    Event,       // link-level events of one kind
    RxData4,     // payload received, in units of 4 bytes
    RxReads,     // NREAD requests received
    RxWrites,    // NWRITE, NWRITE_R and SWRITE requests received
    Model        // what the model counts itself (CountAt): comparator matches
};

struct SCounterDef
{
    uint32_t ulOffset = 0; // from the port's base
    ECountSource eSource = ECountSource::Nothing;
    ELinkEvent eEvent = ELinkEvent::Count; // for ECountSource::Event
    uint8_t uchPriorities = 0xF;           // packets of these priorities (bit p: priority p)
    uint32_t ulShift = 0;                  // where the count sits in the register (a 16-bit field at 16)
    uint32_t ulWidth = 32;                 // bits of the count; it wraps beyond them
};

class CCounterBank
{
public:
    // fnEnabled tells whether a port's counters count now (empty: always).
    CCounterBank(uint32_t ulBase, uint32_t ulPortStride, uint8_t uchPorts, std::vector<SCounterDef> counters,
                 bool bClearOnRead, std::function<bool(uint8_t)> fnEnabled = {});

    // A read in the bank's window: true with the value (then cleared if the bank clears on read).
    bool Read(uint32_t ulOffset, uint32_t* pulValue);
    // Whether the offset is one of the bank's registers (writes to it are ignored).
    bool Holds(uint32_t ulOffset) const;
    // The fabric's events.
    void CountPackets(uint8_t uchPort, bool bTransmit, const SPacketInfo& packet, uint32_t ulCount,
                      uint64_t ullPayloadBytes);
    void CountLinkEvent(uint8_t uchPort, ELinkEvent eEvent, uint32_t ulCount, const SPacketInfo& packet);
    // ulCount events of what the counter at ulOffset (from the port's base) counts, from the
    // model itself; counted only while the port's counters are enabled.
    void CountAt(uint8_t uchPort, uint32_t ulOffset, uint32_t ulCount = 1);
    // Clears every counter (a part's reset).
    void Reset();

private:
    bool Locate(uint32_t ulOffset, uint8_t* puchPort, size_t* pnCounter) const;
    void Add(uint8_t uchPort, size_t nCounter, uint64_t ullAmount, bool bDown = false);

    uint32_t m_ulBase, m_ulPortStride;
    uint8_t m_uchPorts;
    std::vector<SCounterDef> m_counters;
    bool m_bClearOnRead;
    std::function<bool(uint8_t)> m_fnEnabled;
    std::vector<std::vector<uint32_t>> m_values; // per port, per counter
};
} // namespace nvsim::models
