// Route generation: for every pair of routable PEs the shortest route (RouteSearch.h), written
// into the tables of the listed switches in both directions, so that forward and reverse traffic
// of a pair take the same links.
//
// The pairs are taken in a fixed order (first PE, then second, by node number) and a later route
// through a table overwrites what an earlier one wrote there for the same destination ID, as it
// would in the switch. The tables are therefore gathered first, one cell per table and
// destination ID, and go into the pool once, sorted by ID.
#include "Hal/HalText.h"
#include "NVXLRoute.h"
#include "Routing/RouteSearch.h"

#include <stdarg.h>
#include <stdio.h>
#include <stdlib.h>

#include <algorithm>
#include <vector>

static NVXL_RT_DEBUG_OUTPUT g_pfnRouteDebug = NULL;
static void* g_pRouteDebugContext = NULL;
// The best route of the last search.
static std::vector<NVXL_RT_ROUTE_ENTRY> g_bestRoute;

void NVXL_RT_RegisterDebugOutput(NVXL_RT_DEBUG_OUTPUT pfnOutput, void* pContext)
{
    g_pfnRouteDebug = pfnOutput;
    g_pRouteDebugContext = pContext;
}

#if defined(__GNUC__)
__attribute__((format(printf, 1, 2)))
#endif
static void
RouteDebug(const char* pszFormat, ...)
{
    if (!g_pfnRouteDebug)
        return;
    int32_t nLength = 0;
    va_list args;
    va_start(args, pszFormat);
    char* pszText = NvxlFormatV(&nLength, pszFormat, args);
    va_end(args);
    if (pszText)
        g_pfnRouteDebug(pszText, g_pRouteDebugContext);
    free(pszText);
}

static void DumpRoute(const std::vector<NVXL_RT_ROUTE_ENTRY>& route)
{
    for (const NVXL_RT_ROUTE_ENTRY& entry : route)
        RouteDebug("PE %d Port %d -> PE %d Port %d\n", (int)entry.ulFromNode + 1, (int)entry.ulFromPort,
                   (int)entry.ulToNode + 1, (int)entry.ulToPort);
}

int32_t NVXL_RT_FindOptimumRoute(const NVXL_CONNECTION* pConnections, uint32_t ulNumConnections,
                                 uint32_t ulFromNode, uint32_t ulToNode, int32_t lSkipConnection,
                                 uint32_t ulContinue)
{
    if (!ulContinue)
        g_bestRoute.clear();
    RouteDebug("NVXL_RT_FindOptimumRoute Level %2d: Finding optimum route from PE %d to PE %d\n", 0,
               (int)ulFromNode, (int)ulToNode);
    if (ulFromNode == ulToNode || !pConnections)
        return 1;
    nvxl::CRouteGraph graph(pConnections, ulNumConnections, 0);
    const int64_t llFrom = graph.Place(ulFromNode);
    const int64_t llTo = graph.Place(ulToNode);
    if (llFrom < 0 || llTo < 0)
        return 1;
    graph.Search(static_cast<uint32_t>(llFrom), lSkipConnection);
    std::vector<NVXL_RT_ROUTE_ENTRY> route;
    const uint32_t ulFirst = graph.RouteTo(static_cast<uint32_t>(llTo), route);
    // A link that may not leave the start may still leave it once a link back to the start itself
    // has been taken: the start is then left a second time, with nothing barred.
    if (lSkipConnection >= 0)
    {
        for (uint32_t c = 0; c < ulNumConnections; c++)
        {
            const NVXL_CONNECTION& loop = pConnections[c];
            if (static_cast<int32_t>(c) == lSkipConnection || loop.ulNodeA != ulFromNode ||
                loop.ulNodeB != ulFromNode)
                continue;
            graph.Search(static_cast<uint32_t>(llFrom), -1);
            std::vector<NVXL_RT_ROUTE_ENTRY> looped;
            graph.RouteTo(static_cast<uint32_t>(llTo), looped);
            if (!looped.empty())
            {
                looped.insert(looped.begin(), {loop.ulPortB, loop.ulPortA, ulFromNode, ulFromNode});
                if (route.empty() || looped.size() < route.size() ||
                    (looped.size() == route.size() && c < ulFirst))
                    route = std::move(looped);
            }
            break;
        }
    }
    // A route that merely equals the one kept doesn't replace it.
    if (!route.empty() && (g_bestRoute.empty() || route.size() < g_bestRoute.size()))
        g_bestRoute = std::move(route);
    return 1;
}

uint32_t NVXL_RT_GetRoute(const NVXL_RT_ROUTE_ENTRY** ppEntries)
{
    if (ppEntries)
        *ppEntries = g_bestRoute.empty() ? NULL : g_bestRoute.data();
    return static_cast<uint32_t>(g_bestRoute.size());
}

namespace
{
// Whether a PE gets routes: an ID of its own, or virtual IDs of its width.
bool IsRoutable(const NVXL_PE& pe)
{
    return pe.ulHasDestID || (pe.ulUseLongDestID ? pe.wNumLongVDIDs : pe.wNumShortVDIDs) != 0;
}

uint16_t OwnID(const NVXL_PE& pe)
{
    return pe.ulUseLongDestID ? pe.wLongDestID : pe.wShortDestID;
}

uint32_t NumVDIDs(const NVXL_PE& pe)
{
    return std::min<uint32_t>(2u, pe.ulUseLongDestID ? pe.wNumLongVDIDs : pe.wNumShortVDIDs);
}

uint16_t VDID(const NVXL_PE& pe, uint32_t ulIndex)
{
    return pe.ulUseLongDestID ? pe.wLongVDIDs[ulIndex] : pe.wShortVDIDs[ulIndex];
}

// The tables being generated: a cell per (listed switch, table, destination ID), the last write
// winning.
class CTableCells
{
public:
    CTableCells(uint32_t ulNumSwitches, const std::vector<uint16_t>& ids) : m_ids(ids)
    {
        m_slotOf.assign(static_cast<size_t>(ulNumSwitches) * NVXL_MAX_PORTS, -1);
        m_indexOfID.assign(0x10000, -1);
        for (size_t i = 0; i < ids.size(); i++)
            m_indexOfID[ids[i]] = static_cast<int32_t>(i);
    }

    void Write(uint32_t ulSwitch, uint32_t ulTable, const NVXL_RT_ENTRY& entry)
    {
        int32_t& lSlot = m_slotOf[static_cast<size_t>(ulSwitch) * NVXL_MAX_PORTS + ulTable];
        if (lSlot < 0)
        {
            lSlot = static_cast<int32_t>(m_slots.size());
            m_slots.emplace_back(m_ids.size(), 0);
        }
        m_slots[static_cast<size_t>(lSlot)][static_cast<size_t>(m_indexOfID[entry.wDestID])] =
            static_cast<uint16_t>(kSet | ((entry.ulType & 7u) << 8) | entry.uchPort);
    }

    // Moves the tables of a switch into the pool and names them in its record.
    void Emit(uint32_t ulSwitch, NVXL_PE& pe) const
    {
        for (uint32_t ulTable = 0; ulTable < NVXL_MAX_PORTS; ulTable++)
        {
            const int32_t lSlot = m_slotOf[static_cast<size_t>(ulSwitch) * NVXL_MAX_PORTS + ulTable];
            if (lSlot < 0)
                continue;
            const int32_t lHandle = NVXL_RT_NewTable();
            if (lHandle == NVXL_NO_TABLE)
                return;
            pe.alRouteTables[ulTable] = lHandle;
            const std::vector<uint16_t>& cells = m_slots[static_cast<size_t>(lSlot)];
            for (size_t i = 0; i < cells.size(); i++)
            {
                if (!(cells[i] & kSet))
                    continue;
                const NVXL_RT_ENTRY entry = {m_ids[i], static_cast<uint8_t>(cells[i] & 0xFFu),
                                             static_cast<uint32_t>((cells[i] >> 8) & 7u), 0};
                NVXL_RT_AddEntry(lHandle, &entry);
            }
        }
    }

private:
    static constexpr uint16_t kSet = 0x8000u;
    std::vector<uint16_t> m_ids; // destination IDs in rising order
    std::vector<int32_t> m_indexOfID;
    std::vector<int32_t> m_slotOf;
    std::vector<std::vector<uint16_t>> m_slots;
};

// Writes the entries of one route into the tables, and keeps the entry written last, which the
// multicast step of a switch without per-port tables copies.
class CRouteWriter
{
public:
    CRouteWriter(NVXL_PE* pPEs, const std::vector<int32_t>& listIndex, CTableCells& cells)
        : m_pPEs(pPEs), m_listIndex(listIndex), m_cells(cells)
    {
    }

    // Writes what route R from i to j needs of the listed switches.
    void WriteRoute(uint32_t i, uint32_t j, const std::vector<NVXL_RT_ROUTE_ENTRY>& route)
    {
        m_lPairLastSwitch = -1;
        if (route.size() == 1)
            WriteOneLink(i, j, route[0]);
        for (size_t k = 1; k < route.size(); k++)
        {
            const NVXL_RT_ROUTE_ENTRY& p = route[k - 1];
            const NVXL_RT_ROUTE_ENTRY& q = route[k];
            const uint32_t s = p.ulToNode;
            if (!Listed(s))
                continue;
            const bool bPerPort = m_pPEs[s].ulPerPortTables != 0;
            // Traffic towards j arrives by P and leaves by Q; towards i the other way round.
            RouteDebug("RouteEntry:  InputPort:%d DestID:%d OutputPort:%d\n", (int)p.ulToPort,
                       (int)OwnID(m_pPEs[j]), (int)q.ulFromPort);
            WriteIDs(s, bPerPort ? p.ulToPort : 0, q.ulFromPort, m_pPEs[j], m_pPEs[j].ulHasDestID != 0,
                     "Adding forward port route to node %d, DestID %d, Table %d, Port %d\n",
                     "Adding forward VDID port route to node %d, DestID %d, Table %d, Port %d\n");
            WriteIDs(s, bPerPort ? q.ulFromPort : 0, p.ulToPort, m_pPEs[i], m_pPEs[i].ulHasDestID != 0,
                     "Adding reverse port route to node %d, DestID %d, Table %d, Port %d\n",
                     "Adding reverse VDID port route to node %d, DestID %d, Table %d, Port %d\n");
        }
        if (m_lPairLastSwitch >= 0)
            m_last = m_pairLast;
    }

    // The multicast entries of a listed switch with multicast enabled.
    void WriteMulticast(uint32_t ulNode)
    {
        const NVXL_PE& pe = m_pPEs[ulNode];
        const uint32_t s = static_cast<uint32_t>(m_listIndex[ulNode]);
        for (uint32_t g = 0; g < pe.ulNumMulticastGroups && pe.pMulticastGroups; g++)
        {
            const NVXL_MULTICAST_GROUP& group = pe.pMulticastGroups[g];
            if (pe.ulPerPortTables)
            {
                RouteDebug("Adding multicast route to node %d\n", (int)ulNode + 1);
                m_last.ulType = eNVXL_RouteTypeMCast;
                m_last.uchPort = static_cast<uint8_t>(group.ulMask & 0xFFu);
                m_last.ulSpecialType = 0;
                for (uint32_t ulPort = 0; ulPort < pe.ulNumPorts && ulPort < NVXL_MAX_PORTS; ulPort++)
                {
                    for (uint32_t d = 0; d < group.ulNumDestIDs && group.pulDestIDs; d++)
                    {
                        m_last.wDestID = static_cast<uint16_t>(group.pulDestIDs[d]);
                        m_cells.Write(s, ulPort, m_last);
                    }
                }
            }
            else
            {
                // A switch with one table takes the entry written last once for each of the group's
                // IDs; its multicast routes come from the multicast configuration instead.
                for (uint32_t d = 0; d < group.ulNumDestIDs && group.pulDestIDs; d++)
                    m_cells.Write(s, 0, m_last);
            }
        }
    }

private:
    bool Listed(uint32_t ulNode) const { return ulNode < m_listIndex.size() && m_listIndex[ulNode] >= 0; }

    void Write(uint32_t ulNode, uint32_t ulTable, uint16_t wDestID, uint32_t ulPort)
    {
        const NVXL_RT_ENTRY entry = {wDestID, static_cast<uint8_t>(ulPort), eNVXL_RouteTypePort, 0};
        const int32_t lSwitch = m_listIndex[ulNode];
        m_cells.Write(static_cast<uint32_t>(lSwitch), ulTable, entry);
        // Within a pair the switches take their entries in the order of the list.
        if (lSwitch >= m_lPairLastSwitch)
        {
            m_lPairLastSwitch = lSwitch;
            m_pairLast = entry;
        }
    }

    void WriteIDs(uint32_t ulNode, uint32_t ulTable, uint32_t ulPort, const NVXL_PE& target, bool bOwnID,
                  const char* pszOwnText, const char* pszVDIDText)
    {
        if (bOwnID)
        {
            RouteDebug(pszOwnText, (int)ulNode + 1, (int)OwnID(target), (int)ulTable, (int)ulPort);
            Write(ulNode, ulTable, OwnID(target), ulPort);
        }
        for (uint32_t v = 0; v < NumVDIDs(target); v++)
        {
            RouteDebug(pszVDIDText, (int)ulNode + 1, (int)VDID(target, v), (int)ulTable, (int)ulPort);
            Write(ulNode, ulTable, VDID(target, v), ulPort);
        }
    }

    // A route of one link joins i and j directly: only their virtual IDs can need entries, at the
    // two ends themselves, with the port number of the far end of the link as the records hold it.
    void WriteOneLink(uint32_t i, uint32_t j, const NVXL_RT_ROUTE_ENTRY& e)
    {
        const uint32_t aulEnds[2] = {i, j};
        // The ends take their entries in the order of the list.
        const bool bJFirst = Listed(j) && (!Listed(i) || m_listIndex[j] < m_listIndex[i]);
        for (uint32_t n = 0; n < 2; n++)
        {
            const uint32_t s = aulEnds[bJFirst ? 1 - n : n];
            if (!Listed(s))
                continue;
            const bool bPerPort = m_pPEs[s].ulPerPortTables != 0;
            const bool bEnd = s == j;
            const NVXL_PE& target = m_pPEs[bEnd ? j : i];
            const uint32_t ulTable = bPerPort ? (bEnd ? e.ulToPort : e.ulFromPort) : 0;
            const uint32_t ulPort = bEnd ? e.ulFromPort : e.ulToPort;
            for (uint32_t v = 0; v < NumVDIDs(target); v++)
            {
                RouteDebug(bEnd ? "Adding forward VDID route to node %d for DestID %d\n"
                                : "Adding reverse VDID route to node %d for DestID %d\n",
                           (int)s + 1, (int)VDID(target, v));
                Write(s, ulTable, VDID(target, v), ulPort);
            }
        }
    }

    NVXL_PE* m_pPEs;
    const std::vector<int32_t>& m_listIndex;
    CTableCells& m_cells;
    NVXL_RT_ENTRY m_last = {0, 0, 0, 0};
    NVXL_RT_ENTRY m_pairLast = {0, 0, 0, 0};
    int32_t m_lPairLastSwitch = -1;
};
} // namespace

void NVXL_RT_GenerateRoutes(uint32_t ulNumPEs, NVXL_PE* pPEs, uint32_t ulNumConnections,
                            const NVXL_CONNECTION* pConnections, const uint32_t* pulSwitchNodes,
                            uint32_t ulNumSwitches, NVXL_RT_PROGRESS pfnProgress, void* pUser)
{
    if (!pPEs || (!pConnections && ulNumConnections))
        return;
    // The listed switches lose their tables; each gets the place of its first mention in the list.
    std::vector<int32_t> listIndex(ulNumPEs, -1);
    for (uint32_t s = 0; s < ulNumSwitches && pulSwitchNodes; s++)
    {
        const uint32_t ulNode = pulSwitchNodes[s];
        if (ulNode >= ulNumPEs)
            continue;
        RouteDebug("Discarding existing routing tables for node %d.\n", (int)ulNode + 1);
        for (uint32_t ulTable = 0; ulTable < NVXL_MAX_PORTS; ulTable++)
        {
            if (pPEs[ulNode].alRouteTables[ulTable] != NVXL_NO_TABLE)
                NVXL_RT_FreeTable(pPEs[ulNode].alRouteTables[ulTable]);
            pPEs[ulNode].alRouteTables[ulTable] = NVXL_NO_TABLE;
        }
        if (listIndex[ulNode] < 0)
            listIndex[ulNode] = static_cast<int32_t>(s);
    }

    // Every destination ID a table may be asked to hold, in rising order.
    std::vector<uint8_t> used(0x10000, 0);
    used[0] = 1; // the entry a switch without per-port tables copies may never have been set
    std::vector<uint32_t> routable;
    for (uint32_t i = 0; i < ulNumPEs; i++)
    {
        const NVXL_PE& pe = pPEs[i];
        if (IsRoutable(pe))
        {
            routable.push_back(i);
            if (pe.ulHasDestID)
                used[OwnID(pe)] = 1;
            for (uint32_t v = 0; v < NumVDIDs(pe); v++)
                used[VDID(pe, v)] = 1;
        }
        if (listIndex[i] >= 0 && pe.ulMulticastEnabled)
        {
            for (uint32_t g = 0; g < pe.ulNumMulticastGroups && pe.pMulticastGroups; g++)
            {
                for (uint32_t d = 0; d < pe.pMulticastGroups[g].ulNumDestIDs; d++)
                    used[pe.pMulticastGroups[g].pulDestIDs[d] & 0xFFFFu] = 1;
            }
        }
    }
    std::vector<uint16_t> ids;
    for (uint32_t ulID = 0; ulID < 0x10000; ulID++)
    {
        if (used[ulID])
            ids.push_back(static_cast<uint16_t>(ulID));
    }

    uint32_t ulTotalSteps = 0;
    bool bShowing = pfnProgress != NULL;
    if (bShowing)
    {
        for (uint32_t i : routable)
            ulTotalSteps += i + 1 < ulNumPEs ? 1 : 0;
        RouteDebug("Total number of steps is %d.\n", (int)ulTotalSteps);
    }

    CTableCells cells(ulNumSwitches, ids);
    CRouteWriter writer(pPEs, listIndex, cells);
    nvxl::CRouteGraph graph(pConnections, ulNumConnections, ulNumPEs);
    std::vector<NVXL_RT_ROUTE_ENTRY> route;
    uint32_t ulStep = 0;
    for (size_t a = 0; a + 1 < routable.size(); a++)
    {
        const uint32_t i = routable[a];
        ulStep++;
        graph.Search(i, -1);
        for (size_t b = a + 1; b < routable.size(); b++)
        {
            const uint32_t j = routable[b];
            if (bShowing)
            {
                char szText[80];
                snprintf(szText, sizeof szText, "Optimizing routes between PE %u and PE %u", i + 1, j + 1);
                bShowing = pfnProgress(szText, ulStep, ulTotalSteps, pUser) != 0;
            }
            RouteDebug("Finding routes from PE %d (Type=%08x) to PE %d (Type=%08x)\n", (int)i,
                       pPEs[i].ulTypeFlags, (int)j, pPEs[j].ulTypeFlags);
            graph.RouteTo(j, route);
            if (g_pfnRouteDebug)
                DumpRoute(route);
            writer.WriteRoute(i, j, route);
        }
    }
    for (uint32_t s = 0; s < ulNumSwitches && pulSwitchNodes; s++)
    {
        const uint32_t ulNode = pulSwitchNodes[s];
        if (ulNode < ulNumPEs && listIndex[ulNode] == static_cast<int32_t>(s) &&
            pPEs[ulNode].ulMulticastEnabled)
            writer.WriteMulticast(ulNode);
    }
    for (uint32_t s = 0; s < ulNumSwitches && pulSwitchNodes; s++)
    {
        const uint32_t ulNode = pulSwitchNodes[s];
        if (ulNode < ulNumPEs && listIndex[ulNode] == static_cast<int32_t>(s))
            cells.Emit(s, pPEs[ulNode]);
    }
}
