#include "nvsim/RouteJournal.h"

#include "nvsim/StdDevice.h"

#include <algorithm>
#include <cstdio>

namespace nvsim
{
size_t CRouteJournal::TableCount(const CSimDevice& device)
{
    return device.Config().bPerPortRouting ? device.PortCount() : 1u;
}

uint32_t CRouteJournal::IdCount(const CSimDevice& device)
{
    return std::min<uint32_t>(device.Config().wRouteLimit, kMaxDestId) + 1u;
}

std::vector<uint8_t> CRouteJournal::Snapshot(const CSimDevice& device) const
{
    std::vector<uint8_t> entries;
    const auto* pSwitch = dynamic_cast<const CStdDevice*>(&device);
    if (!m_bEnabled || !pSwitch || !device.IsSwitch())
        return entries;
    const size_t nTables = TableCount(device);
    const uint32_t ulIds = IdCount(device);
    entries.reserve(nTables * ulIds);
    for (size_t t = 0; t < nTables; ++t)
    {
        for (uint32_t ulId = 0; ulId < ulIds; ++ulId)
            entries.push_back(pSwitch->RouteEntry(ulId, static_cast<uint8_t>(t)));
    }
    return entries;
}

void CRouteJournal::Record(const CSimDevice& device, const std::vector<uint8_t>& before)
{
    if (before.empty())
        return;
    const std::vector<uint8_t> after = Snapshot(device);
    const uint32_t ulIds = IdCount(device);
    for (size_t i = 0; i < before.size() && i < after.size(); ++i)
    {
        if (before[i] != after[i])
        {
            m_entries.push_back({device.Name(), static_cast<int>(i / ulIds), static_cast<uint32_t>(i % ulIds),
                                 before[i], after[i]});
        }
    }
}

std::string CRouteJournal::Text() const
{
    std::string strText;
    for (const SRouteWrite& entry : m_entries)
    {
        char szLine[64];
        std::snprintf(szLine, sizeof szLine, " table %d id 0x%x: 0x%02x -> 0x%02x\n", entry.nTable,
                      static_cast<unsigned>(entry.ulDestId), entry.uchOld, entry.uchNew);
        strText += entry.strSwitch + szLine;
    }
    return strText;
}
} // namespace nvsim
