#include "ReferenceRouting.h"

#include <gtest/gtest.h>

#include <set>

namespace nvtest
{
namespace
{
bool Routable(const NVXL_PE& pe)
{
    return pe.ulHasDestID || (pe.ulUseLongDestID ? pe.wNumLongVDIDs : pe.wNumShortVDIDs) != 0;
}

std::vector<uint16_t> VDIDs(const NVXL_PE& pe)
{
    std::vector<uint16_t> ids;
    const uint32_t ulCount = pe.ulUseLongDestID ? pe.wNumLongVDIDs : pe.wNumShortVDIDs;
    for (uint32_t i = 0; i < ulCount && i < 2; i++)
        ids.push_back(pe.ulUseLongDestID ? pe.wLongVDIDs[i] : pe.wShortVDIDs[i]);
    return ids;
}

uint16_t OwnID(const NVXL_PE& pe)
{
    return pe.ulUseLongDestID ? pe.wLongDestID : pe.wShortDestID;
}

// Tables that take every entry in turn, as the pool does.
struct SAppendTables
{
    std::map<std::pair<uint32_t, uint32_t>, std::vector<NVXL_RT_ENTRY>> tables;
    NVXL_RT_ENTRY last{0, 0, 0, 0};

    void Add(uint32_t ulNode, uint32_t ulTable, const NVXL_RT_ENTRY& entry)
    {
        tables[{ulNode, ulTable}].push_back(entry);
        last = entry;
    }
    void AddPort(uint32_t ulNode, uint32_t ulTable, uint16_t wID, uint32_t ulPort)
    {
        Add(ulNode, ulTable, {wID, static_cast<uint8_t>(ulPort), eNVXL_RouteTypePort, 0});
    }
};
} // namespace

CGeneratedTables ReferenceGenerate(const std::vector<NVXL_PE>& pes,
                                   const std::vector<NVXL_CONNECTION>& connections,
                                   const std::vector<uint32_t>& switches,
                                   std::chrono::steady_clock::time_point deadline, bool* pbGaveUp)
{
    if (pbGaveUp)
        *pbGaveUp = false;
    SAppendTables out;
    CReferenceSearch search(connections.data(), static_cast<uint32_t>(connections.size()));
    const uint32_t ulNumPEs = static_cast<uint32_t>(pes.size());
    for (uint32_t i = 0; i + 1 < ulNumPEs; i++)
    {
        if (!Routable(pes[i]))
            continue;
        for (uint32_t j = i + 1; j < ulNumPEs; j++)
        {
            if (!Routable(pes[j]))
                continue;
            if (deadline != std::chrono::steady_clock::time_point() &&
                std::chrono::steady_clock::now() > deadline)
            {
                if (pbGaveUp)
                    *pbGaveUp = true;
                return {};
            }
            const std::vector<NVXL_RT_ROUTE_ENTRY> route = search.Find(i, j, -1, false);
            for (uint32_t s : switches)
            {
                const bool bPerPort = pes[s].ulPerPortTables != 0;
                if (route.size() >= 2)
                {
                    for (size_t k = 1; k < route.size(); k++)
                    {
                        const NVXL_RT_ROUTE_ENTRY& p = route[k - 1];
                        const NVXL_RT_ROUTE_ENTRY& q = route[k];
                        if (p.ulToNode == s)
                        {
                            const uint32_t ulTable = bPerPort ? p.ulToPort : 0;
                            if (pes[j].ulHasDestID)
                                out.AddPort(s, ulTable, OwnID(pes[j]), q.ulFromPort);
                            for (uint16_t wID : VDIDs(pes[j]))
                                out.AddPort(s, ulTable, wID, q.ulFromPort);
                        }
                        if (q.ulFromNode == s)
                        {
                            const uint32_t ulTable = bPerPort ? q.ulFromPort : 0;
                            if (pes[i].ulHasDestID)
                                out.AddPort(s, ulTable, OwnID(pes[i]), p.ulToPort);
                            for (uint16_t wID : VDIDs(pes[i]))
                                out.AddPort(s, ulTable, wID, p.ulToPort);
                        }
                    }
                }
                else if (route.size() == 1)
                {
                    const NVXL_RT_ROUTE_ENTRY& e = route[0];
                    if (e.ulToNode == s)
                    {
                        for (uint16_t wID : VDIDs(pes[j]))
                            out.AddPort(s, bPerPort ? e.ulToPort : 0, wID, e.ulFromPort);
                    }
                    if (e.ulFromNode == s)
                    {
                        for (uint16_t wID : VDIDs(pes[i]))
                            out.AddPort(s, bPerPort ? e.ulFromPort : 0, wID, e.ulToPort);
                    }
                }
            }
        }
    }
    for (uint32_t s : switches)
    {
        const NVXL_PE& pe = pes[s];
        if (!pe.ulMulticastEnabled)
            continue;
        for (uint32_t g = 0; g < pe.ulNumMulticastGroups; g++)
        {
            const NVXL_MULTICAST_GROUP& group = pe.pMulticastGroups[g];
            if (pe.ulPerPortTables)
            {
                NVXL_RT_ENTRY entry = out.last;
                entry.ulType = eNVXL_RouteTypeMCast;
                entry.uchPort = static_cast<uint8_t>(group.ulMask & 0xFF);
                entry.ulSpecialType = 0;
                out.last = entry;
                for (uint32_t ulPort = 0; ulPort < pe.ulNumPorts; ulPort++)
                {
                    for (uint32_t d = 0; d < group.ulNumDestIDs; d++)
                    {
                        entry.wDestID = static_cast<uint16_t>(group.pulDestIDs[d]);
                        out.Add(s, ulPort, entry);
                    }
                }
            }
            else
            {
                for (uint32_t d = 0; d < group.ulNumDestIDs; d++)
                    out.Add(s, 0, out.last);
            }
        }
    }
    CGeneratedTables result;
    for (const auto& [key, entries] : out.tables)
    {
        CTableContent& content = result[key];
        for (const NVXL_RT_ENTRY& entry : entries)
            content[entry.wDestID] = {entry.ulType, entry.uchPort};
    }
    return result;
}

CGeneratedTables PoolTables(const std::vector<NVXL_PE>& pes, const std::vector<uint32_t>& switches)
{
    CGeneratedTables result;
    std::set<uint32_t> read;
    for (uint32_t s : switches)
    {
        if (!read.insert(s).second)
            continue; // listed twice
        for (uint32_t ulTable = 0; ulTable < NVXL_MAX_PORTS; ulTable++)
        {
            const int32_t lHandle = pes[s].alRouteTables[ulTable];
            if (lHandle == NVXL_NO_TABLE)
                continue;
            CTableContent& content = result[{s, ulTable}];
            uint32_t ulPos = 0;
            for (const NVXL_RT_ENTRY* pEntry = NVXL_RT_FirstEntry(lHandle, &ulPos); pEntry;
                 pEntry = NVXL_RT_NextEntry(lHandle, &ulPos))
            {
                // A table that held an ID twice would not be what the switch holds.
                EXPECT_EQ(0u, content.count(pEntry->wDestID)) << "ID " << pEntry->wDestID << " twice";
                content[pEntry->wDestID] = {pEntry->ulType, pEntry->uchPort};
            }
        }
    }
    return result;
}
} // namespace nvtest
