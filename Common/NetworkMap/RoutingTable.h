// The map's copy of one routing table of a switch: entries sorted by destination ID, at most one
// per ID, and a flag that says whether the copy differs from what the hardware holds.
#pragma once

#include <cstddef>
#include <cstdint>
#include <vector>

struct SRouteEntry
{
    uint16_t DestID = 0;       // destination ID routed
    uint8_t Port = 0;          // output port, or the mask number of a multicast route
    uint32_t eType = 3;        // ERouteType: 3 port, 4 multicast, 5 special
    uint32_t uSpecialType = 0; // which special route, when eType is 5
};

class CRoutingTable
{
public:
    // Adds an entry or overwrites the one with the same destination ID; bMarkModified raises
    // bModified.
    void AddEntry(uint16_t wDestID, uint8_t uchPort, uint32_t eType, uint32_t uSpecialType,
                  bool bMarkModified);
    // Position of the entry for a destination ID and its port, or -1 when there is none.
    int FindEntry(uint16_t wDestID, uint8_t* puchPort = nullptr) const;
    // Removes the entry at a position; false when out of range.
    bool RemoveAt(int iPosition);
    // Removes all entries.
    void Clear()
    {
        m_Entries.clear();
        Touch();
    }
    // Makes room for a number of entries.
    void Reserve(size_t nEntries) { m_Entries.reserve(nEntries); }

    int GetNumEntries() const { return static_cast<int>(m_Entries.size()); }
    // The entry at a position; the position must be in range.
    const SRouteEntry& GetEntry(int iPosition) const { return m_Entries[static_cast<size_t>(iPosition)]; }
    const std::vector<SRouteEntry>& Entries() const { return m_Entries; }
    // Changes with every change of the entries and is never the same for two different contents:
    // what a cache of routes through the map compares to see whether a table changed. Taken when
    // asked for, so that filling a table costs nothing more.
    uint64_t Stamp() const
    {
        if (m_ullStamp == 0)
        {
            m_ullStamp = NewStamp();
        }
        return m_ullStamp;
    }

    bool bModified = false; // the copy differs from the hardware's table

private:
    void Touch() { m_ullStamp = 0; }

    std::vector<SRouteEntry> m_Entries;
    mutable uint64_t m_ullStamp = 0; // 0: not taken since the last change

    static uint64_t NewStamp();
};
