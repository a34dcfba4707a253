// A journal of the changes maintenance writes make to switches' routing tables: which switch,
// which table, which destination ID, the entry before and after. It exists to prove what a
// client did to a fabric in service (that it never redirected an ID the system was using), so
// it records by comparing each switch's tables before and after every maintenance write that
// reaches it. That catches every way a part's tables can be written (the standard route
// registers, a family's table windows, block loads) without each model reporting its own
// writes; a write that leaves an entry as it was changes nothing and is not recorded.
//
// Entries are the part's raw values in its own encoding (a port number, or a code such as the
// CPS-1848's 0xDE "use the default port" and 0xDF "no route"). The journal is off until
// enabled: the comparison costs a pass over the tables for each write.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

namespace nvsim
{
class CSimDevice;

// One changed routing table entry.
struct SRouteWrite
{
    std::string strSwitch; // device name in the topology
    int nTable = 0;        // ingress port whose table changed; 0 for a switch with one table
    uint32_t ulDestId = 0;
    uint8_t uchOld = 0;
    uint8_t uchNew = 0;
};

class CRouteJournal
{
public:
    // Highest destination ID the journal compares: the 8-bit ID space, which every model's
    // table holds.
    static constexpr uint32_t kMaxDestId = 0xFF;

    void Enable(bool bEnable) { m_bEnabled = bEnable; }
    bool Enabled() const { return m_bEnabled; }

    // The entries of all of a switch's tables, table by table, for Record; empty when the
    // journal is off or the device is no switch.
    std::vector<uint8_t> Snapshot(const CSimDevice& device) const;
    // Records every entry that differs from the snapshot taken before the write.
    void Record(const CSimDevice& device, const std::vector<uint8_t>& before);

    const std::vector<SRouteWrite>& Entries() const { return m_entries; }
    void Clear() { m_entries.clear(); }
    // One line per entry: "SWITCH table T id 0xID: 0xOLD -> 0xNEW".
    std::string Text() const;

private:
    static size_t TableCount(const CSimDevice& device);
    static uint32_t IdCount(const CSimDevice& device);

    bool m_bEnabled = false;
    std::vector<SRouteWrite> m_entries;
};
} // namespace nvsim
