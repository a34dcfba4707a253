#include "RoutingTable.h"

#include <algorithm>

namespace
{
bool LessByID(const SRouteEntry& entry, uint16_t wDestID)
{
    return entry.DestID < wDestID;
}
} // namespace

uint64_t CRoutingTable::NewStamp()
{
    // Tables live on the one thread that works on the map.
    static uint64_t s_ullLast = 0;
    return ++s_ullLast;
}

void CRoutingTable::AddEntry(uint16_t wDestID, uint8_t uchPort, uint32_t eType, uint32_t uSpecialType,
                             bool bMarkModified)
{
    const SRouteEntry entry{wDestID, uchPort, eType, uSpecialType};
    Touch();
    // Tables are mostly filled in rising order.
    if (m_Entries.empty() || m_Entries.back().DestID < wDestID)
    {
        m_Entries.push_back(entry);
        bModified = bModified || bMarkModified;
        return;
    }
    auto it = std::lower_bound(m_Entries.begin(), m_Entries.end(), wDestID, LessByID);
    if (it != m_Entries.end() && it->DestID == wDestID)
    {
        *it = entry;
    }
    else
    {
        m_Entries.insert(it, entry);
    }
    if (bMarkModified)
    {
        bModified = true;
    }
}

int CRoutingTable::FindEntry(uint16_t wDestID, uint8_t* puchPort) const
{
    auto it = std::lower_bound(m_Entries.begin(), m_Entries.end(), wDestID, LessByID);
    if (it == m_Entries.end() || it->DestID != wDestID)
    {
        return -1;
    }
    if (puchPort)
    {
        *puchPort = it->Port;
    }
    return static_cast<int>(it - m_Entries.begin());
}

bool CRoutingTable::RemoveAt(int iPosition)
{
    if (iPosition < 0 || iPosition >= GetNumEntries())
    {
        return false;
    }
    m_Entries.erase(m_Entries.begin() + iPosition);
    Touch();
    return true;
}
