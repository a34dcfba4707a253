// Route generation and its table pool, and the search behind them compared with the depth-first
// reference on many fabrics.
#include "NVXLRoute.h"
#include "ReferenceRouting.h"
#include "Routing/RouteGenerator.h"

#include <gtest/gtest.h>

#include <cstdlib>
#include <random>
#include <string>

namespace nvtest
{
namespace
{
// A flat network built by hand.
struct SFabric
{
    ~SFabric() { NVXL_FreePETables(pes.data(), static_cast<uint32_t>(pes.size())); }

    uint32_t AddPE(uint32_t ulType, uint32_t ulPorts, int32_t lID, bool bPerPort = true, bool bLong = false)
    {
        NVXL_PE pe;
        NVXL_InitPE(&pe);
        pe.ulValid = 1;
        pe.ulNodeID = static_cast<uint32_t>(pes.size());
        pe.ulTypeFlags = ulType;
        pe.ulNumPorts = ulPorts;
        pe.ulPerPortTables = bPerPort ? 1 : 0;
        pe.ulUseLongDestID = bLong ? 1 : 0;
        if (lID >= 0)
        {
            pe.ulHasDestID = 1;
            pe.wShortDestID = static_cast<uint16_t>(lID & 0xFF);
            pe.wLongDestID = static_cast<uint16_t>(lID);
        }
        pes.push_back(pe);
        if (ulType & NVXL_PE_SWITCH)
            switches.push_back(pe.ulNodeID);
        return pe.ulNodeID;
    }
    uint32_t Switch(uint32_t ulPorts = 8, bool bPerPort = true)
    {
        return AddPE(NVXL_PE_SWITCH, ulPorts, -1, bPerPort);
    }
    uint32_t Endpoint(int32_t lID) { return AddPE(NVXL_PE_PROCESSOR, 1, lID); }
    void Link(uint32_t a, uint32_t ulPortA, uint32_t b, uint32_t ulPortB, uint32_t ulValid = 1)
    {
        NVXL_CONNECTION connection;
        NVXL_InitConnection(&connection);
        connection.ulValid = ulValid;
        connection.ulNodeA = a;
        connection.ulPortA = ulPortA;
        connection.ulNodeB = b;
        connection.ulPortB = ulPortB;
        connections.push_back(connection);
    }
    void AddGroup(uint32_t ulNode, uint32_t ulMask, std::vector<uint32_t> ids)
    {
        NVXL_PE& pe = pes[ulNode];
        pe.pMulticastGroups = static_cast<NVXL_MULTICAST_GROUP*>(
            std::realloc(pe.pMulticastGroups, (pe.ulNumMulticastGroups + 1) * sizeof(NVXL_MULTICAST_GROUP)));
        NVXL_MULTICAST_GROUP& group = pe.pMulticastGroups[pe.ulNumMulticastGroups++];
        group.ulMask = ulMask;
        group.ulNumDestIDs = static_cast<uint32_t>(ids.size());
        group.pulDestIDs = static_cast<uint32_t*>(std::malloc(ids.size() * sizeof(uint32_t)));
        std::copy(ids.begin(), ids.end(), group.pulDestIDs);
        group.ulNumPorts = 0;
        group.pulPorts = nullptr;
    }
    void Generate(NVXL_RT_PROGRESS pfnProgress = nullptr, void* pUser = nullptr)
    {
        NVXL_RT_GenerateRoutes(static_cast<uint32_t>(pes.size()), pes.data(),
                               static_cast<uint32_t>(connections.size()), connections.data(), switches.data(),
                               static_cast<uint32_t>(switches.size()), pfnProgress, pUser);
    }
    void Generate(nvxl::EGeneration eHow, NVXL_RT_PROGRESS pfnProgress = nullptr, void* pUser = nullptr)
    {
        nvxl::GenerateRoutes(static_cast<uint32_t>(pes.size()), pes.data(),
                             static_cast<uint32_t>(connections.size()), connections.data(), switches.data(),
                             static_cast<uint32_t>(switches.size()), pfnProgress, pUser, eHow);
    }
    // The port a switch's table sends an ID to, or -1.
    int PortOf(uint32_t ulNode, uint32_t ulTable, uint16_t wID) const
    {
        uint32_t ulPos = 0;
        for (const NVXL_RT_ENTRY* pEntry = NVXL_RT_FirstEntry(pes[ulNode].alRouteTables[ulTable], &ulPos);
             pEntry; pEntry = NVXL_RT_NextEntry(pes[ulNode].alRouteTables[ulTable], &ulPos))
        {
            if (pEntry->wDestID == wID)
                return pEntry->uchPort;
        }
        return -1;
    }

    std::vector<NVXL_PE> pes;
    std::vector<NVXL_CONNECTION> connections;
    std::vector<uint32_t> switches;
};

std::vector<NVXL_RT_ROUTE_ENTRY> BestRoute()
{
    const NVXL_RT_ROUTE_ENTRY* pEntries = nullptr;
    const uint32_t ulCount = NVXL_RT_GetRoute(&pEntries);
    return std::vector<NVXL_RT_ROUTE_ENTRY>(pEntries, pEntries + ulCount);
}

std::string Text(const std::vector<NVXL_RT_ROUTE_ENTRY>& route)
{
    std::string strText;
    for (const NVXL_RT_ROUTE_ENTRY& e : route)
        strText += std::to_string(e.ulFromNode) + ":" + std::to_string(e.ulFromPort) + ">" +
                   std::to_string(e.ulToNode) + ":" + std::to_string(e.ulToPort) + " ";
    return strText;
}

// A random fabric: switches and endpoints, random links among the switches (parallel ones, loops
// back to the same switch, deleted ones, links to node numbers beyond the records), IDs that
// may repeat (with bSharedIDs), virtual IDs, both table kinds and now and then multicast.
void RandomFabric(SFabric& fabric, std::mt19937& random, bool bSharedIDs = true)
{
    auto pick = [&random](uint32_t n) { return static_cast<uint32_t>(random() % n); };
    const uint32_t ulSwitches = 3 + pick(8);
    const uint32_t ulEndpoints = 2 + pick(8);
    std::vector<uint32_t> nextPort;
    for (uint32_t s = 0; s < ulSwitches; s++)
    {
        fabric.Switch(16, pick(3) != 0);
        nextPort.push_back(0);
        if (pick(4) == 0)
        {
            NVXL_PE& pe = fabric.pes.back();
            pe.ulHasDestID = 1;
            pe.wShortDestID = static_cast<uint16_t>(200 + s);
        }
    }
    for (uint32_t e = 0; e < ulEndpoints; e++)
    {
        const bool bID = pick(5) != 0;
        const uint32_t ulNode =
            fabric.Endpoint(bID ? static_cast<int32_t>(bSharedIDs && pick(4) == 0 ? 7 : 10 + e) : -1);
        NVXL_PE& pe = fabric.pes[ulNode];
        pe.wNumShortVDIDs = static_cast<uint16_t>(pick(3));
        pe.wShortVDIDs[0] = static_cast<uint16_t>(100 + 2 * e);
        pe.wShortVDIDs[1] = static_cast<uint16_t>(101 + 2 * e);
        const uint32_t s = pick(ulSwitches);
        fabric.Link(s, nextPort[s]++, ulNode, 0);
    }
    const uint32_t ulLinks = ulSwitches + pick(2 * ulSwitches);
    for (uint32_t l = 0; l < ulLinks; l++)
    {
        const uint32_t a = pick(ulSwitches);
        const uint32_t b = pick(6) == 0 ? a : pick(ulSwitches);
        fabric.Link(a, nextPort[a]++ % 16, b, nextPort[b]++ % 16, pick(8) == 0 ? 0 : 1);
        if (pick(5) == 0)
            fabric.Link(a, nextPort[a]++ % 16, b, nextPort[b]++ % 16);
    }
    if (pick(6) == 0)
        fabric.Link(pick(ulSwitches), 15, static_cast<uint32_t>(fabric.pes.size()) + 3, 0);
    if (pick(3) == 0)
    {
        const uint32_t s = pick(ulSwitches);
        fabric.pes[s].ulMulticastEnabled = 1;
        fabric.AddGroup(s, 3, {7, 250});
    }
    // A switch that is not listed carries routes but gets no tables.
    if (fabric.switches.size() > 2 && pick(4) == 0)
        fabric.switches.erase(fabric.switches.begin() + 1);
}

// A grid of switches with an endpoint on each.
void Mesh(SFabric& fabric, uint32_t ulSide)
{
    for (uint32_t i = 0; i < ulSide * ulSide; i++)
        fabric.Switch();
    for (uint32_t r = 0; r < ulSide; r++)
    {
        for (uint32_t c = 0; c < ulSide; c++)
        {
            const uint32_t s = r * ulSide + c;
            if (c + 1 < ulSide)
                fabric.Link(s, 1, s + 1, 3);
            if (r + 1 < ulSide)
                fabric.Link(s, 2, s + ulSide, 4);
        }
    }
    for (uint32_t s = 0; s < ulSide * ulSide; s++)
        fabric.Link(s, 0, fabric.Endpoint(static_cast<int32_t>(s + 1)), 0);
}

// Two levels: every leaf joined to every spine, endpoints on the leaves.
void FatTree(SFabric& fabric, uint32_t ulSpines, uint32_t ulLeaves, uint32_t ulPerLeaf)
{
    for (uint32_t s = 0; s < ulSpines; s++)
        fabric.Switch(16, false);
    for (uint32_t l = 0; l < ulLeaves; l++)
    {
        const uint32_t ulLeaf = fabric.Switch();
        for (uint32_t s = 0; s < ulSpines; s++)
            fabric.Link(ulLeaf, 8 + s, s, l);
        for (uint32_t e = 0; e < ulPerLeaf; e++)
            fabric.Link(ulLeaf, e, fabric.Endpoint(static_cast<int32_t>(1 + l * ulPerLeaf + e)), 0);
    }
}

// A fabric too large for the reference: a random tree of switches with extra links among them
// (parallel ones, loops, links to node numbers beyond the records), endpoints on one or two
// switches, long IDs that belong to one PE each, virtual IDs, switches with IDs of their own,
// switches hanging from a later one, both table kinds, switches left out of the list or listed
// twice, and multicast.
void LargeFabric(SFabric& fabric, std::mt19937& random, uint32_t ulSwitches, uint32_t ulEndpoints)
{
    auto pick = [&random](uint32_t n) { return static_cast<uint32_t>(random() % n); };
    std::vector<uint32_t> nextPort(ulSwitches, 0);
    auto port = [&nextPort](uint32_t s) { return nextPort[s]++ % 32; };
    for (uint32_t s = 0; s < ulSwitches; s++)
    {
        const bool bOwnID = pick(6) == 0;
        fabric.AddPE(NVXL_PE_SWITCH, 32, bOwnID ? static_cast<int32_t>(0x8000 + s) : -1, pick(3) != 0, true);
        if (pick(8) == 0)
        {
            NVXL_PE& pe = fabric.pes.back();
            pe.wNumLongVDIDs = 1;
            pe.wLongVDIDs[0] = static_cast<uint16_t>(0x9000 + s);
        }
        if (s > 0)
        {
            const uint32_t ulUp = pick(s);
            fabric.Link(ulUp, port(ulUp), s, port(s));
        }
    }
    for (uint32_t l = 0; l < ulSwitches / 2; l++)
    {
        const uint32_t a = pick(ulSwitches), b = pick(7) == 0 ? a : pick(ulSwitches);
        fabric.Link(a, port(a), b, port(b), pick(9) == 0 ? 0 : 1);
        if (pick(6) == 0)
            fabric.Link(a, port(a), b, port(b));
    }
    for (uint32_t e = 0; e < ulEndpoints; e++)
    {
        const bool bID = pick(8) != 0;
        const uint32_t ulNode =
            fabric.AddPE(NVXL_PE_PROCESSOR, 2, bID ? static_cast<int32_t>(1 + e) : -1, false, true);
        NVXL_PE& pe = fabric.pes[ulNode];
        pe.wNumLongVDIDs = static_cast<uint16_t>(pick(4) == 0 ? 1 + pick(2) : 0);
        pe.wLongVDIDs[0] = static_cast<uint16_t>(0x4000 + 2 * e);
        pe.wLongVDIDs[1] = static_cast<uint16_t>(0x4001 + 2 * e);
        const uint32_t s = pick(ulSwitches);
        fabric.Link(s, port(s), ulNode, 0);
        if (pick(10) == 0)
        {
            const uint32_t t = pick(ulSwitches);
            fabric.Link(ulNode, 1, t, port(t));
        }
    }
    // Switches with virtual IDs hanging by their only link from a later switch with its own.
    for (uint32_t h = 0; h < 3; h++)
    {
        const uint32_t ulHanging = fabric.AddPE(NVXL_PE_SWITCH, 8, -1, true, true);
        const uint32_t ulLater =
            fabric.AddPE(NVXL_PE_SWITCH, 8, static_cast<int32_t>(0xA000 + h), h != 1, true);
        fabric.pes[ulHanging].wNumLongVDIDs = 1;
        fabric.pes[ulHanging].wLongVDIDs[0] = static_cast<uint16_t>(0xB000 + h);
        fabric.pes[ulLater].wNumLongVDIDs = 2;
        fabric.pes[ulLater].wLongVDIDs[0] = static_cast<uint16_t>(0xB100 + h);
        fabric.pes[ulLater].wLongVDIDs[1] = static_cast<uint16_t>(0xB200 + h);
        fabric.Link(ulLater, 7, ulHanging, 3);
        const uint32_t s = pick(ulSwitches);
        fabric.Link(ulLater, 1, s, port(s));
    }
    fabric.Link(pick(ulSwitches), 31, static_cast<uint32_t>(fabric.pes.size()) + 5, 0);
    for (uint32_t m = 0; m < 2; m++)
    {
        const uint32_t s = pick(ulSwitches);
        fabric.pes[s].ulMulticastEnabled = 1;
        fabric.AddGroup(s, 2 + m, {1, 0x4000});
    }
    for (uint32_t n = 0; n < ulSwitches / 10; n++)
        fabric.switches.erase(fabric.switches.begin() + pick(static_cast<uint32_t>(fabric.switches.size())));
    fabric.switches.push_back(fabric.switches[pick(static_cast<uint32_t>(fabric.switches.size()))]);
}

void ExpectSameTables(const CGeneratedTables& expected, const CGeneratedTables& actual,
                      const std::string& strWhat)
{
    ASSERT_EQ(expected.size(), actual.size()) << strWhat;
    for (const auto& [key, content] : expected)
    {
        auto it = actual.find(key);
        ASSERT_NE(actual.end(), it) << strWhat << ": no table " << key.second << " on node " << key.first;
        EXPECT_EQ(content, it->second) << strWhat << ": table " << key.second << " of node " << key.first;
    }
}

void ExpectSameAsReference(SFabric& fabric, const std::string& strWhat)
{
    const CGeneratedTables expected = ReferenceGenerate(fabric.pes, fabric.connections, fabric.switches);
    fabric.Generate();
    ExpectSameTables(expected, PoolTables(fabric.pes, fabric.switches), strWhat);
}

TEST(RouteTablePool, TablesGrowAreIteratedAndHandlesComeBack)
{
    NVXL_RT_FreeAllTables();
    const int32_t lFirst = NVXL_RT_NewTable();
    ASSERT_NE(NVXL_NO_TABLE, lFirst);
    for (uint16_t i = 0; i < 40; i++)
    {
        const NVXL_RT_ENTRY entry = {i, static_cast<uint8_t>(i % 7), eNVXL_RouteTypePort, 0};
        ASSERT_EQ(1, NVXL_RT_AddEntry(lFirst, &entry));
    }
    uint32_t ulNum = 0;
    ASSERT_EQ(1, NVXL_RT_GetNumEntries(lFirst, &ulNum));
    EXPECT_EQ(40u, ulNum);
    EXPECT_EQ(39u, NVXL_RT_GetEntries(lFirst)[39].wDestID);
    uint32_t ulPos = 0, ulSeen = 0;
    for (const NVXL_RT_ENTRY* pEntry = NVXL_RT_FirstEntry(lFirst, &ulPos); pEntry;
         pEntry = NVXL_RT_NextEntry(lFirst, &ulPos))
        EXPECT_EQ(ulSeen++, pEntry->wDestID);
    EXPECT_EQ(40u, ulSeen);

    // Hundreds of tables make the pool grow; a freed handle is handed out again, empty.
    std::vector<int32_t> handles;
    for (int i = 0; i < 600; i++)
        handles.push_back(NVXL_RT_NewTable());
    EXPECT_EQ(1, NVXL_RT_FreeTable(lFirst));
    EXPECT_EQ(0, NVXL_RT_FreeTable(lFirst)) << "a freed handle is no table";
    const NVXL_RT_ENTRY entry = {1, 1, eNVXL_RouteTypePort, 0};
    EXPECT_EQ(0, NVXL_RT_AddEntry(lFirst, &entry));
    EXPECT_EQ(0, NVXL_RT_GetNumEntries(12345, &ulNum));
    EXPECT_EQ(nullptr, NVXL_RT_FirstEntry(-5, &ulPos));
    const int32_t lAgain = NVXL_RT_NewTable();
    EXPECT_EQ(lFirst, lAgain);
    ASSERT_EQ(1, NVXL_RT_GetNumEntries(lAgain, &ulNum));
    EXPECT_EQ(0u, ulNum);
    EXPECT_EQ(nullptr, NVXL_RT_GetEntries(lAgain));
    NVXL_RT_FreeAllTables();
    EXPECT_EQ(0, NVXL_RT_GetNumEntries(lAgain, &ulNum));
}

TEST(OptimumRoute, TheSearchFindsTheReferencesRouteForEveryPair)
{
    std::mt19937 random(1234);
    for (int nFabric = 0; nFabric < 150; nFabric++)
    {
        SFabric fabric;
        RandomFabric(fabric, random);
        CReferenceSearch reference(fabric.connections.data(),
                                   static_cast<uint32_t>(fabric.connections.size()));
        const uint32_t ulNodes = static_cast<uint32_t>(fabric.pes.size());
        for (uint32_t a = 0; a < ulNodes; a++)
        {
            for (uint32_t b = 0; b < ulNodes; b++)
            {
                const int32_t lSkip =
                    random() % 4 == 0 ? static_cast<int32_t>(random() % fabric.connections.size()) : -1;
                const std::vector<NVXL_RT_ROUTE_ENTRY> expected = reference.Find(a, b, lSkip, false);
                NVXL_RT_FindOptimumRoute(fabric.connections.data(),
                                         static_cast<uint32_t>(fabric.connections.size()), a, b, lSkip, 0);
                ASSERT_EQ(Text(expected), Text(BestRoute()))
                    << "fabric " << nFabric << " from " << a << " to " << b << " skipping " << lSkip;
                // Continuing keeps that route unless the next pair has a strictly shorter one.
                const uint32_t c = static_cast<uint32_t>(random() % ulNodes);
                if (c != a && a != b)
                {
                    const std::vector<NVXL_RT_ROUTE_ENTRY> kept = reference.Find(a, c, -1, true);
                    NVXL_RT_FindOptimumRoute(fabric.connections.data(),
                                             static_cast<uint32_t>(fabric.connections.size()), a, c, -1, 1);
                    ASSERT_EQ(Text(kept), Text(BestRoute()))
                        << "fabric " << nFabric << " continuing to " << c;
                }
            }
        }
    }
}

TEST(RouteGeneration, TablesMatchTheReferenceOnRandomAndStructuredFabrics)
{
    std::mt19937 random(99);
    for (int nFabric = 0; nFabric < 200; nFabric++)
    {
        SFabric fabric;
        RandomFabric(fabric, random);
        ExpectSameAsReference(fabric, "random fabric " + std::to_string(nFabric));
        if (HasFatalFailure())
            return;
    }
    SFabric mesh;
    Mesh(mesh, 4);
    ExpectSameAsReference(mesh, "4x4 mesh");
    SFabric tree;
    FatTree(tree, 3, 4, 3);
    ExpectSameAsReference(tree, "fat tree");
    SFabric ring;
    for (uint32_t s = 0; s < 8; s++)
        ring.Switch();
    for (uint32_t s = 0; s < 8; s++)
    {
        ring.Link(s, 1, (s + 1) % 8, 2);
        ring.Link(s, 0, ring.Endpoint(static_cast<int32_t>(s + 1)), 0);
    }
    ExpectSameAsReference(ring, "ring of eight");
    // The same ring with every link doubled and one of each pair deleted: deleted links still count.
    SFabric doubled;
    for (uint32_t s = 0; s < 6; s++)
        doubled.Switch();
    for (uint32_t s = 0; s < 6; s++)
    {
        doubled.Link(s, 3, (s + 1) % 6, 4, s % 2);
        doubled.Link(s, 1, (s + 1) % 6, 2);
        doubled.Link(s, 0, doubled.Endpoint(static_cast<int32_t>(s + 1)), 0);
    }
    ExpectSameAsReference(doubled, "ring of parallel links");
}

TEST(RouteGeneration, TreesMatchTheReferenceWhenEveryIDHasOneOwner)
{
    // Without shared IDs the tables come from one search tree per PE instead of pair by pair.
    std::mt19937 random(4242);
    for (int nFabric = 0; nFabric < 250; nFabric++)
    {
        SFabric fabric;
        RandomFabric(fabric, random, false);
        if (nFabric % 4 == 0 && fabric.switches.size() > 1)
            fabric.switches.push_back(fabric.switches.front());
        ExpectSameAsReference(fabric, "fabric " + std::to_string(nFabric));
        if (HasFatalFailure())
            return;
    }
}

TEST(RouteGeneration, TreesGiveThePairByPairTablesOnLargeFabrics)
{
    struct SReports
    {
        int nCalls = 0;
        std::string strLast;
        uint32_t ulLastStep = 0, ulTotal = 0;
        bool operator==(const SReports&) const = default;
    };
    auto report = [](const char* pszText, uint32_t ulStep, uint32_t ulTotal, void* pUser) -> int32_t
    {
        auto* p = static_cast<SReports*>(pUser);
        p->nCalls++;
        p->strLast = pszText;
        p->ulLastStep = ulStep;
        p->ulTotal = ulTotal;
        return 1;
    };
    std::mt19937 random(777);
    for (int nFabric = 0; nFabric < 8; nFabric++)
    {
        SFabric fabric;
        if (nFabric == 6)
            Mesh(fabric, 9);
        else if (nFabric == 7)
            FatTree(fabric, 4, 12, 6);
        else
            LargeFabric(fabric, random, 40 + 30 * nFabric, 100 + 40 * nFabric);
        SReports pairwise, trees;
        fabric.Generate(nvxl::EGeneration::ePairByPair, report, &pairwise);
        const CGeneratedTables expected = PoolTables(fabric.pes, fabric.switches);
        fabric.Generate(nvxl::EGeneration::eFastest, report, &trees);
        ExpectSameTables(expected, PoolTables(fabric.pes, fabric.switches),
                         "fabric " + std::to_string(nFabric));
        EXPECT_EQ(pairwise, trees) << "fabric " << nFabric << ": the same reports";
        EXPECT_GT(expected.size(), 10u);
        if (HasFatalFailure())
            return;
    }
}

TEST(RouteGeneration, ASwitchListedTwiceTakesItsMulticastEntriesAgainAfterTheOthers)
{
    // ep1 - A - B - ep2, A with one table, B with per-port tables, both with multicast groups.
    SFabric fabric;
    const uint32_t a = fabric.Switch(8, false), b = fabric.Switch(8, true);
    const uint32_t ep1 = fabric.Endpoint(0x11), ep2 = fabric.Endpoint(0x22);
    fabric.Link(ep1, 0, a, 0);
    fabric.Link(a, 1, b, 1);
    fabric.Link(b, 2, ep2, 0);
    for (uint32_t s : {a, b})
        fabric.pes[s].ulMulticastEnabled = 1;
    fabric.AddGroup(a, 1, {0x40});
    fabric.AddGroup(b, 5, {0x41});
    fabric.switches = {a, b, a};
    ExpectSameAsReference(fabric, "A, B, A");
    // A's table copies the entry written last: the first time a route's, the second B's multicast
    // entry, which is what stands.
    uint32_t ulPos = 0;
    bool bFound = false;
    for (const NVXL_RT_ENTRY* pEntry = NVXL_RT_FirstEntry(fabric.pes[a].alRouteTables[0], &ulPos); pEntry;
         pEntry = NVXL_RT_NextEntry(fabric.pes[a].alRouteTables[0], &ulPos))
    {
        if (pEntry->wDestID == 0x41)
        {
            bFound = true;
            EXPECT_EQ(static_cast<uint32_t>(eNVXL_RouteTypeMCast), pEntry->ulType);
            EXPECT_EQ(5, pEntry->uchPort);
        }
    }
    EXPECT_TRUE(bFound);
}

TEST(RouteGeneration, TiesGoToLowerConnectionsAndBothDirectionsShareTheLinks)
{
    // ep1 - swA, swA to swD through swB (connections 2, 3) or swC (4, 5), parallel links A-B.
    SFabric fabric;
    const uint32_t a = fabric.Switch(), b = fabric.Switch(), c = fabric.Switch(), d = fabric.Switch();
    const uint32_t ep1 = fabric.Endpoint(0x11), ep2 = fabric.Endpoint(0x22);
    fabric.Link(a, 0, ep1, 0);
    fabric.Link(d, 0, ep2, 0);
    fabric.Link(a, 1, b, 1);
    fabric.Link(b, 2, d, 1);
    fabric.Link(a, 2, c, 1);
    fabric.Link(c, 2, d, 2);
    fabric.Link(a, 5, b, 5);
    fabric.Generate();
    EXPECT_EQ(1, fabric.PortOf(a, 0, 0x22)) << "towards ep2 through swB, by the lower parallel link";
    EXPECT_EQ(2, fabric.PortOf(b, 1, 0x22));
    EXPECT_EQ(0, fabric.PortOf(d, 1, 0x22));
    EXPECT_EQ(1, fabric.PortOf(d, 0, 0x11)) << "the way back takes the same links";
    EXPECT_EQ(1, fabric.PortOf(b, 2, 0x11));
    EXPECT_EQ(0, fabric.PortOf(a, 1, 0x11));
    EXPECT_EQ(NVXL_NO_TABLE, fabric.pes[c].alRouteTables[1]) << "swC lies on no route";
    EXPECT_EQ(NVXL_NO_TABLE, fabric.pes[a].alRouteTables[5]);
}

TEST(RouteGeneration, PEsWithoutIDsCarryRoutesAndStaleTablesAreDropped)
{
    // ep1 - sw1 - mid (no ID: a two-port endpoint-like PE) - sw2 - ep2
    SFabric fabric;
    const uint32_t sw1 = fabric.Switch(8, false), sw2 = fabric.Switch(8, false);
    const uint32_t mid = fabric.AddPE(NVXL_PE_BRIDGE, 2, -1);
    const uint32_t ep1 = fabric.Endpoint(1), ep2 = fabric.Endpoint(2);
    fabric.Link(ep1, 0, sw1, 0);
    fabric.Link(sw1, 1, mid, 0);
    fabric.Link(mid, 1, sw2, 1);
    fabric.Link(sw2, 0, ep2, 0);
    const uint32_t sw3 = fabric.Switch(8, false); // on no route
    fabric.pes[sw3].alRouteTables[0] = NVXL_RT_NewTable();
    fabric.Generate();
    EXPECT_EQ(1, fabric.PortOf(sw1, 0, 2));
    EXPECT_EQ(0, fabric.PortOf(sw2, 0, 2));
    EXPECT_EQ(1, fabric.PortOf(sw2, 0, 1));
    EXPECT_EQ(NVXL_NO_TABLE, fabric.pes[sw3].alRouteTables[0]) << "its old table is gone";
    EXPECT_EQ(-1, fabric.PortOf(sw1, 0, 0xFF)) << "the PE without ID has no entries";
}

TEST(RouteGeneration, ProgressCountsTheRoutablePEsAndAZeroOnlyStopsTheReports)
{
    SFabric fabric;
    Mesh(fabric, 3);
    struct SProgress
    {
        int nCalls = 0;
        uint32_t ulTotal = 0;
        uint32_t ulLastStep = 0;
        std::string strFirst;
        int nStopAfter = 1000000;
    } progress;
    auto report = [](const char* pszText, uint32_t ulStep, uint32_t ulTotal, void* pUser) -> int32_t
    {
        auto* p = static_cast<SProgress*>(pUser);
        if (p->nCalls++ == 0)
            p->strFirst = pszText;
        p->ulTotal = ulTotal;
        p->ulLastStep = ulStep;
        return p->nCalls < p->nStopAfter ? 1 : 0;
    };
    fabric.Generate(report, &progress);
    EXPECT_EQ("Optimizing routes between PE 10 and PE 11", progress.strFirst);
    EXPECT_EQ(8u, progress.ulTotal) << "nine endpoints, the last of them counting no step";
    EXPECT_EQ(8u, progress.ulLastStep);
    EXPECT_EQ(36, progress.nCalls) << "one report for each pair";
    const CGeneratedTables full = PoolTables(fabric.pes, fabric.switches);

    progress = SProgress();
    progress.nStopAfter = 3;
    fabric.Generate(report, &progress);
    EXPECT_EQ(3, progress.nCalls);
    EXPECT_EQ(full, PoolTables(fabric.pes, fabric.switches)) << "the work went on";
}
} // namespace
} // namespace nvtest
