// Route generation: for every pair of routable PEs the shortest route (RouteSearch.h), written
// into the tables of the listed switches in both directions, so that forward and reverse traffic
// of a pair take the same links.
//
// The pairs are taken in a fixed order (first PE, then second, by node number) and a later route
// through a table overwrites what an earlier one wrote there for the same destination ID, as it
// would in the switch. The tables are therefore gathered first, one cell per table and
// destination ID, and go into the pool once, sorted by ID.
//
// All routes from one PE are the branches of one search tree. When no two PEs share a destination
// ID, the cells a pair writes are its own and the tree gives them directly: towards each later PE
// j every switch above j writes j's IDs, and towards the tree's root every switch writes the root's
// IDs into the table of each branch that leads to a later PE, the same port for all of them. The
// order of the writes then no longer matters except between roots, which are taken in order. With
// shared IDs, or the debug log on, every pair's route is written entry by entry as it comes.
#include "Routing/RouteGenerator.h"
#include "Hal/HalText.h"
#include "NVXLRoute.h"
#include "Routing/RouteSearch.h"

#include <stdarg.h>
#include <stdio.h>
#include <stdlib.h>

#include <algorithm>
#include <cstdint>
#include <memory>
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
// winning. Tables are numbered in the order they are made.
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
        Cell(Table(ulSwitch, ulTable), m_indexOfID[entry.wDestID]) =
            static_cast<uint16_t>(kSet | ((entry.ulType & 7u) << 8) | entry.uchPort);
    }

    // The number of a table, made on the first call.
    uint32_t Table(uint32_t ulSwitch, uint32_t ulTable)
    {
        int32_t& lSlot = m_slotOf[static_cast<size_t>(ulSwitch) * NVXL_MAX_PORTS + (ulTable & 0xFFu)];
        if (lSlot < 0)
        {
            lSlot = static_cast<int32_t>(m_tables.size());
            m_tables.emplace_back(new uint16_t[m_ids.size()]());
        }
        return static_cast<uint32_t>(lSlot);
    }
    // The cell of a table for the destination ID of an index (IndexOf).
    uint16_t& Cell(uint32_t ulTable, int32_t lIndex) { return m_tables[ulTable][lIndex]; }
    uint16_t* Cells(uint32_t ulTable) { return m_tables[ulTable].get(); }
    int32_t IndexOf(uint16_t wDestID) const { return m_indexOfID[wDestID]; }
    // A cell holding a port route.
    static uint16_t PortCell(uint32_t ulPort)
    {
        return static_cast<uint16_t>(kSet | (eNVXL_RouteTypePort << 8) | (ulPort & 0xFFu));
    }

    // Moves the tables of a switch into the pool and names them in its record.
    void Emit(uint32_t ulSwitch, NVXL_PE& pe)
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
            m_entries.clear();
            for (size_t i = 0; i < m_ids.size(); i++)
            {
                const uint16_t wCell = Cell(static_cast<uint32_t>(lSlot), static_cast<int32_t>(i));
                if (!(wCell & kSet))
                    continue;
                m_entries.push_back({m_ids[i], static_cast<uint8_t>(wCell & 0xFFu),
                                     static_cast<uint32_t>((wCell >> 8) & 7u), 0});
            }
            NVXL_RT_AddEntries(lHandle, m_entries.data(), static_cast<uint32_t>(m_entries.size()));
            m_tables[static_cast<size_t>(lSlot)].reset(); // its memory goes to the next pool table
        }
    }

private:
    static constexpr uint16_t kSet = 0x8000u;
    static constexpr size_t kBlock = 32; // IDs of a table side by side
    static constexpr size_t kGroup = 32; // tables whose blocks alternate
    std::vector<uint16_t> m_ids;         // destination IDs in rising order
    std::vector<int32_t> m_indexOfID;
    std::vector<int32_t> m_slotOf;
    std::vector<std::unique_ptr<uint16_t[]>> m_tables; // cells by IndexOf
    std::vector<NVXL_RT_ENTRY> m_entries;
};

// Writes the entries of one route into the tables, and keeps the entry written last, which the
// multicast step of a switch without per-port tables copies.
class CRouteWriter
{
public:
    // listIndex: each listed node's table set in cells; lastMention: the place of its last mention
    // in the list, which orders the switches' entries within a pair.
    CRouteWriter(NVXL_PE* pPEs, const std::vector<int32_t>& listIndex,
                 const std::vector<int32_t>& lastMention, CTableCells& cells)
        : m_pPEs(pPEs), m_listIndex(listIndex), m_lastMention(lastMention), m_cells(cells)
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

    // Whether a pair's route writes anything: some listed switch inside it, or for a single link
    // a listed end that the other end's virtual IDs lead to.
    bool RouteWrites(uint32_t i, uint32_t j, const std::vector<NVXL_RT_ROUTE_ENTRY>& route) const
    {
        if (route.size() == 1)
            return (Listed(i) && NumVDIDs(m_pPEs[i])) || (Listed(j) && NumVDIDs(m_pPEs[j]));
        for (size_t k = 1; k < route.size(); k++)
        {
            if (Listed(route[k].ulFromNode))
                return true;
        }
        return false;
    }

    bool Listed(uint32_t ulNode) const { return ulNode < m_listIndex.size() && m_listIndex[ulNode] >= 0; }

private:
    void Write(uint32_t ulNode, uint32_t ulTable, uint16_t wDestID, uint32_t ulPort)
    {
        const NVXL_RT_ENTRY entry = {wDestID, static_cast<uint8_t>(ulPort), eNVXL_RouteTypePort, 0};
        m_cells.Write(static_cast<uint32_t>(m_listIndex[ulNode]), ulTable, entry);
        // Within a pair the switches take their entries in the order of the list, a switch listed
        // twice taking them again at its second place.
        if (m_lastMention[ulNode] >= m_lPairLastSwitch)
        {
            m_lPairLastSwitch = m_lastMention[ulNode];
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
        const bool bJFirst = Listed(j) && (!Listed(i) || m_lastMention[j] < m_lastMention[i]);
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
    const std::vector<int32_t>& m_lastMention;
    CTableCells& m_cells;
    NVXL_RT_ENTRY m_last = {0, 0, 0, 0};
    NVXL_RT_ENTRY m_pairLast = {0, 0, 0, 0};
    int32_t m_lPairLastSwitch = -1;
};

// Progress reports, one for each pair. The text is made once for each first PE; only the number of
// the second is written anew.
class CProgress
{
public:
    CProgress(NVXL_RT_PROGRESS pfnProgress, void* pUser)
        : m_pfnProgress(pfnProgress), m_pUser(pUser), m_bShowing(pfnProgress != NULL)
    {
    }

    bool Showing() const { return m_bShowing; }

    void Report(uint32_t i, uint32_t j, uint32_t ulStep, uint32_t ulTotalSteps)
    {
        if (!m_bShowing)
            return;
        if (m_nPrefix == 0 || i != m_ulFrom)
        {
            m_nPrefix = snprintf(m_szText, sizeof m_szText, "Optimizing routes between PE %u and PE ", i + 1);
            m_ulFrom = i;
        }
        char szDigits[12];
        size_t n = 0;
        for (uint32_t ulValue = j + 1; ulValue || n == 0; ulValue /= 10)
            szDigits[n++] = static_cast<char>('0' + ulValue % 10);
        char* pEnd = m_szText + m_nPrefix;
        while (n)
            *pEnd++ = szDigits[--n];
        *pEnd = '\0';
        m_bShowing = m_pfnProgress(m_szText, ulStep, ulTotalSteps, m_pUser) != 0;
    }

private:
    NVXL_RT_PROGRESS m_pfnProgress;
    void* m_pUser;
    bool m_bShowing;
    char m_szText[80] = "";
    int m_nPrefix = 0;
    uint32_t m_ulFrom = 0;
};

// Whether every destination ID that routes are written for belongs to one PE only.
bool OwnIDs(const NVXL_PE* pPEs, const std::vector<uint32_t>& routable)
{
    std::vector<uint32_t> owner(0x10000, UINT32_MAX);
    for (uint32_t i : routable)
    {
        const NVXL_PE& pe = pPEs[i];
        auto claim = [&owner, i](uint16_t wID)
        {
            if (owner[wID] != UINT32_MAX && owner[wID] != i)
                return false;
            owner[wID] = i;
            return true;
        };
        if (pe.ulHasDestID && !claim(OwnID(pe)))
            return false;
        for (uint32_t v = 0; v < NumVDIDs(pe); v++)
        {
            if (!claim(VDID(pe, v)))
                return false;
        }
    }
    return true;
}

// The routes from one PE to all later ones, written from the search tree rooted at it. Only for
// fabrics where each destination ID belongs to one PE (OwnIDs): the cells written for a later PE
// are then written by no other route from this root, and the cells for the root's own IDs only
// by routes from it, each with the same port. Roots must come in rising order.
class CTreeWriter
{
public:
    CTreeWriter(NVXL_PE* pPEs, uint32_t ulNumPEs, const std::vector<int32_t>& listIndex,
                nvxl::CRouteGraph& graph, CTableCells& cells, CRouteWriter& writer)
        : m_pPEs(pPEs), m_ulNumPEs(ulNumPEs), m_listIndex(listIndex), m_graph(graph), m_cells(cells),
          m_writer(writer)
    {
        const size_t nPlaces = graph.NumPlaces();
        m_above.assign(nPlaces, kNone);
        m_portAbove.assign(nPlaces, 0);
        m_branchTable.assign(nPlaces, kNone);
        m_laterBelow.assign(nPlaces, 0);
        m_forward.assign(nPlaces, 0);
        m_forwardStamp.assign(nPlaces, 0);
        m_ids.assign(ulNumPEs, {});
        for (uint32_t n = 0; n < ulNumPEs; n++)
        {
            const NVXL_PE& pe = pPEs[n];
            SIDs& ids = m_ids[n];
            if (pe.ulHasDestID)
                ids.al[ids.n++] = cells.IndexOf(OwnID(pe));
            for (uint32_t v = 0; v < NumVDIDs(pe); v++)
                ids.al[ids.n++] = cells.IndexOf(VDID(pe, v));
        }
    }

    // Writes the routes from routable[a] to routable[a + 1] and on.
    void WriteFrom(const std::vector<uint32_t>& routable, size_t a)
    {
        const uint32_t i = routable[a];
        // A PE with a single link, as most endpoints are, sees the fabric as the PE at the other end
        // does: the search from there, with this PE hanging from it, is its tree, and the PEs on
        // one switch share it.
        SLink pendant;
        const bool bPendant = m_graph.Pendant(i, &pendant.ulPlace, &pendant.ulNearPort, &pendant.ulFarPort);
        const uint32_t ulRoot = bPendant ? pendant.ulPlace : i;
        if (!m_bTree || m_ulTreeRoot != ulRoot || m_bTreePendant != bPendant)
            Grow(ulRoot, bPendant);
        const std::vector<uint32_t>& order = m_graph.Order();
        const uint32_t ulStamp = ++m_ulStamp;
        // The port the root's switch is reached by, from the hanging PE.
        auto arrival = [&](uint32_t ulPlace)
        { return bPendant && ulPlace == ulRoot ? pendant.ulFarPort : m_graph.ArrivalPort(ulPlace); };

        // Towards the root: each listed switch, into the table of each branch that leads to a later
        // PE, the port it was reached by. Leaves first, so that a branch knows what lies below it.
        // Each such switch also gets the table it routes the later PEs below it from.
        const SIDs& rootIDs = m_ids[i];
        for (size_t n = order.size() - 1; n >= 1; n--)
        {
            const uint32_t v = order[n];
            if (m_laterBelow[v] != ulStamp && !(v > i && v < m_ulNumPEs && m_ids[v].n != 0))
                continue;
            const uint32_t s = m_graph.ParentPlace(v);
            m_laterBelow[s] = ulStamp;
            if ((s == ulRoot && !bPendant) || !Listed(s))
                continue;
            const bool bPerPort = m_pPEs[s].ulPerPortTables != 0;
            const uint32_t ulArrival = arrival(s);
            if (m_forwardStamp[s] != ulStamp)
            {
                m_forwardStamp[s] = ulStamp;
                m_forward[s] = m_cells.Table(static_cast<uint32_t>(m_listIndex[s]), bPerPort ? ulArrival : 0);
            }
            if (m_branchTable[v] == kNone)
                m_branchTable[v] = m_cells.Table(static_cast<uint32_t>(m_listIndex[s]),
                                                 bPerPort ? m_graph.DeparturePort(v) : 0);
            uint16_t* pCells = m_cells.Cells(m_branchTable[v]);
            const uint16_t wCell = CTableCells::PortCell(ulArrival);
            for (uint32_t k = 0; k < rootIDs.n; k++)
                pCells[rootIDs.al[k]] = wCell;
        }

        // Towards each later PE j: every listed switch between the root and j.
        int64_t llLastTo = -1;
        for (size_t b = a + 1; b < routable.size(); b++)
        {
            const uint32_t j = routable[b];
            if (!m_graph.Reached(j))
                continue;
            if (bPendant ? j == ulRoot : m_graph.ParentPlace(j) == i)
            {
                if (bPendant)
                    m_route.assign(1, {pendant.ulFarPort, pendant.ulNearPort, m_graph.NodeOf(ulRoot), i});
                else
                    m_graph.RouteTo(j, m_route);
                if (m_writer.RouteWrites(i, j, m_route))
                {
                    m_writer.WriteRoute(i, j, m_route);
                    llLastTo = j;
                }
                continue;
            }
            if (m_above[j] == kNone)
                continue;
            llLastTo = j;
            const SIDs& ids = m_ids[j];
            for (uint32_t s = m_above[j], ulPort = m_portAbove[j]; s != kNone;
                 ulPort = m_portAbove[s], s = m_above[s])
            {
                uint16_t* pCells = m_cells.Cells(m_forward[s]);
                const uint16_t wCell = CTableCells::PortCell(ulPort);
                for (uint32_t k = 0; k < ids.n; k++)
                    pCells[ids.al[k]] = wCell;
            }
        }
        if (llLastTo >= 0)
        {
            m_bAnyWrites = true;
            m_ulLastFrom = i;
            m_ulLastTo = static_cast<uint32_t>(llLastTo);
        }
    }

    // The search tree from a place, and for each place the nearest listed switch above it and that
    // switch's port towards it. The root counts as a switch above when a PE hangs from it.
    void Grow(uint32_t ulRoot, bool bPendant)
    {
        m_graph.Search(ulRoot, -1);
        m_bTree = true;
        m_ulTreeRoot = ulRoot;
        m_bTreePendant = bPendant;
        const std::vector<uint32_t>& order = m_graph.Order();
        m_above[ulRoot] = kNone;
        for (size_t n = 1; n < order.size(); n++)
        {
            const uint32_t v = order[n];
            m_branchTable[v] = kNone;
            const uint32_t u = m_graph.ParentPlace(v);
            if ((u != ulRoot || bPendant) && Listed(u))
            {
                m_above[v] = u;
                m_portAbove[v] = m_graph.DeparturePort(v);
            }
            else
            {
                m_above[v] = m_above[u];
                m_portAbove[v] = m_portAbove[u];
            }
        }
    }

    // The route of the last pair that wrote anything, if any did.
    bool LastWriter(std::vector<NVXL_RT_ROUTE_ENTRY>* pRoute)
    {
        if (!m_bAnyWrites)
            return false;
        m_bTree = false;
        m_graph.Search(m_ulLastFrom, -1);
        m_graph.RouteTo(m_ulLastTo, *pRoute);
        return true;
    }
    uint32_t LastFrom() const { return m_ulLastFrom; }
    uint32_t LastTo() const { return m_ulLastTo; }

private:
    struct SIDs
    {
        uint32_t n = 0;
        int32_t al[3] = {0, 0, 0};
    };
    // A link from a place: the place at its other end and the ports at both ends.
    struct SLink
    {
        uint32_t ulPlace = 0, ulNearPort = 0, ulFarPort = 0;
    };

    bool Listed(uint32_t ulPlace) const { return ulPlace < m_ulNumPEs && m_listIndex[ulPlace] >= 0; }

    NVXL_PE* m_pPEs;
    uint32_t m_ulNumPEs;
    const std::vector<int32_t>& m_listIndex;
    nvxl::CRouteGraph& m_graph;
    CTableCells& m_cells;
    CRouteWriter& m_writer;

    // The tree grown last.
    bool m_bTree = false;
    uint32_t m_ulTreeRoot = 0;
    bool m_bTreePendant = false;
    // Per place, in that tree: the nearest listed switch above it and that switch's port towards
    // it; the table of the place before it that routes towards it, once written.
    static constexpr uint32_t kNone = 0xFFFFFFFFu;
    std::vector<uint32_t> m_above, m_portAbove;
    std::vector<uint32_t> m_branchTable;
    // Per place, for the PE whose routes are being written (by its stamp): whether a later routable
    // PE lies below it, and for a listed switch with such PEs below, the table it routes them from.
    uint32_t m_ulStamp = 0;
    std::vector<uint32_t> m_laterBelow;
    std::vector<uint32_t> m_forward, m_forwardStamp;
    std::vector<SIDs> m_ids; // the cells of each PE's IDs
    std::vector<NVXL_RT_ROUTE_ENTRY> m_route;
    bool m_bAnyWrites = false;
    uint32_t m_ulLastFrom = 0, m_ulLastTo = 0;
};
} // namespace

void NVXL_RT_GenerateRoutes(uint32_t ulNumPEs, NVXL_PE* pPEs, uint32_t ulNumConnections,
                            const NVXL_CONNECTION* pConnections, const uint32_t* pulSwitchNodes,
                            uint32_t ulNumSwitches, NVXL_RT_PROGRESS pfnProgress, void* pUser)
{
    nvxl::GenerateRoutes(ulNumPEs, pPEs, ulNumConnections, pConnections, pulSwitchNodes, ulNumSwitches,
                         pfnProgress, pUser, nvxl::EGeneration::eFastest);
}

void nvxl::GenerateRoutes(uint32_t ulNumPEs, NVXL_PE* pPEs, uint32_t ulNumConnections,
                          const NVXL_CONNECTION* pConnections, const uint32_t* pulSwitchNodes,
                          uint32_t ulNumSwitches, NVXL_RT_PROGRESS pfnProgress, void* pUser, EGeneration eHow)
{
    if (!pPEs || (!pConnections && ulNumConnections))
        return;
    // The listed switches lose their tables. The place of a switch's first mention in the list
    // names its tables, that of its last its turn among the switches of a pair.
    std::vector<int32_t> listIndex(ulNumPEs, -1), lastMention(ulNumPEs, -1);
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
        lastMention[ulNode] = static_cast<int32_t>(s);
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
    CProgress progress(pfnProgress, pUser);
    if (progress.Showing())
    {
        for (uint32_t i : routable)
            ulTotalSteps += i + 1 < ulNumPEs ? 1 : 0;
        RouteDebug("Total number of steps is %d.\n", (int)ulTotalSteps);
    }

    CTableCells cells(ulNumSwitches, ids);
    CRouteWriter writer(pPEs, listIndex, lastMention, cells);
    nvxl::CRouteGraph graph(pConnections, ulNumConnections, ulNumPEs);
    std::vector<NVXL_RT_ROUTE_ENTRY> route;
    if (eHow == EGeneration::ePairByPair || g_pfnRouteDebug || !OwnIDs(pPEs, routable))
    {
        uint32_t ulStep = 0;
        for (size_t a = 0; a + 1 < routable.size(); a++)
        {
            const uint32_t i = routable[a];
            ulStep++;
            graph.Search(i, -1);
            for (size_t b = a + 1; b < routable.size(); b++)
            {
                const uint32_t j = routable[b];
                progress.Report(i, j, ulStep, ulTotalSteps);
                RouteDebug("Finding routes from PE %d (Type=%08x) to PE %d (Type=%08x)\n", (int)i,
                           pPEs[i].ulTypeFlags, (int)j, pPEs[j].ulTypeFlags);
                graph.RouteTo(j, route);
                if (g_pfnRouteDebug)
                    DumpRoute(route);
                writer.WriteRoute(i, j, route);
            }
        }
    }
    else
    {
        CTreeWriter trees(pPEs, ulNumPEs, listIndex, graph, cells, writer);
        uint32_t ulStep = 0;
        for (size_t a = 0; a + 1 < routable.size(); a++)
        {
            ulStep++;
            for (size_t b = a + 1; b < routable.size(); b++)
                progress.Report(routable[a], routable[b], ulStep, ulTotalSteps);
            trees.WriteFrom(routable, a);
        }
        // The entry written last is what a switch without per-port tables copies below: the
        // last route that wrote anything is written once more, as it was, to find it.
        if (trees.LastWriter(&route))
            writer.WriteRoute(trees.LastFrom(), trees.LastTo(), route);
    }
    // A switch listed twice takes its multicast entries twice, the second time after those of the
    // switches between.
    for (uint32_t s = 0; s < ulNumSwitches && pulSwitchNodes; s++)
    {
        const uint32_t ulNode = pulSwitchNodes[s];
        if (ulNode < ulNumPEs && pPEs[ulNode].ulMulticastEnabled)
            writer.WriteMulticast(ulNode);
    }
    for (uint32_t s = 0; s < ulNumSwitches && pulSwitchNodes; s++)
    {
        const uint32_t ulNode = pulSwitchNodes[s];
        if (ulNode < ulNumPEs && listIndex[ulNode] == static_cast<int32_t>(s))
            cells.Emit(s, pPEs[ulNode]);
    }
}
