// The client's route generation on maps built by hand: the map's switches get exactly the tables
// the generator makes of the flattened map, and the progress window follows the steps.
#include "RouteGeneration.h"
#include "FlatNetwork.h"
#include "NVXLRoute.h"
#include "NetworkDocument.h"
#include "RecordingUserInterface.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <map>
#include <set>
#include <vector>

static bool operator==(const SRouteEntry& a, const SRouteEntry& b)
{
    return a.DestID == b.DestID && a.Port == b.Port && a.eType == b.eType && a.uSpecialType == b.uSpecialType;
}

namespace nvtest
{
namespace
{
// A host on spine 0, every leaf joined to every spine, endpoints on the leaves. Spines have one
// table, leaves one per port; the first leaf has multicast routes to make.
struct SFatTreeMap
{
    CNetworkDocument map;
    std::vector<int> switches;
    int iConnections = 0;

    CPEPrimitive* Add(bool bSwitch, int iID, bool bPerPort)
    {
        auto pPE = std::make_unique<CPEPrimitive>();
        pPE->iNodeNumber = map.ActivePEs.GetCount();
        pPE->DeviceID = bSwitch ? 0x0374 : 0x80AB;
        pPE->ManufID = 0x0038;
        pPE->uType = bSwitch ? kPETypeSwitch : kPETypeProcessor;
        pPE->iNumLocalPorts = bSwitch ? 16 : 1;
        pPE->bHasPerPortRoutingTables = bPerPort;
        pPE->bUsesDestID = iID >= 0;
        pPE->ShortDestID = static_cast<uint16_t>(iID >= 0 ? iID : 0xFF);
        if (bSwitch)
        {
            switches.push_back(pPE->iNodeNumber);
        }
        return map.ActivePEs.AddPrimitive(std::move(pPE));
    }
    void Link(int a, int iPortA, int b, int iPortB)
    {
        auto pConnection = std::make_unique<CConnectionPrimitive>();
        pConnection->iNodeNumber = iConnections++;
        pConnection->iPE1 = a;
        pConnection->iPE1Port = iPortA;
        pConnection->iPE2 = b;
        pConnection->iPE2Port = iPortB;
        pConnection->SetStatus(QStringLiteral("Up"));
        map.ActiveConnections.AddPrimitive(std::move(pConnection));
    }

    SFatTreeMap(int nSpines, int nLeaves, int nPerLeaf)
    {
        int iID = 1;
        const int iHost = Add(false, iID++, false)->iNodeNumber;
        std::vector<int> spines;
        for (int s = 0; s < nSpines; ++s)
        {
            spines.push_back(Add(true, -1, false)->iNodeNumber);
        }
        Link(iHost, 0, spines[0], 15);
        for (int l = 0; l < nLeaves; ++l)
        {
            const int iLeaf = Add(true, -1, true)->iNodeNumber;
            for (int s = 0; s < nSpines; ++s)
            {
                Link(iLeaf, 8 + s, spines[static_cast<size_t>(s)], l);
            }
            for (int e = 0; e < nPerLeaf; ++e)
            {
                Link(iLeaf, e, Add(false, iID++, false)->iNodeNumber, 0);
            }
        }
        CMulticastInfo& multicast = map.ActivePEs.GetByNodeNumber(nSpines + 1)->Multicast;
        multicast.bCapsValid = multicast.bSupportsMulticast = multicast.bNeedsRoutes = true;
        multicast.AddDestID(multicast.AddMask(2), 0xE0);
    }
};

using CTables = std::map<std::pair<int, int>, std::vector<SRouteEntry>>;

// What the generator makes of the flattened map for the given switches.
CTables Expected(const CNetworkDocument& map, std::vector<uint32_t> switches)
{
    CFlatNetwork flat(0, 0);
    flat.Flatten(map.ActivePEs, map.ActiveConnections, CFlatNetwork::eMulticast);
    NVXL_RT_GenerateRoutes(flat.Network().ulNumPEs, flat.Network().pPEs, flat.Network().ulNumConnections,
                           flat.Network().pConnections, switches.data(),
                           static_cast<uint32_t>(switches.size()), nullptr, nullptr);
    CTables tables;
    for (uint32_t ulNode : switches)
    {
        for (int t = 0; t < kMaxPorts; ++t)
        {
            const int32_t lHandle = flat.PE(ulNode).alRouteTables[t];
            uint32_t ulPos = 0;
            for (const NVXL_RT_ENTRY* p = NVXL_RT_FirstEntry(lHandle, &ulPos); p;
                 p = NVXL_RT_NextEntry(lHandle, &ulPos))
            {
                tables[{static_cast<int>(ulNode), t}].push_back(
                    {p->wDestID, p->uchPort, p->ulType, p->ulSpecialType});
            }
        }
    }
    return tables;
}

// The map's tables of the given switches, checking that each is marked modified.
CTables Actual(const CNetworkDocument& map, const std::vector<uint32_t>& switches)
{
    CTables tables;
    for (uint32_t ulNode : switches)
    {
        const CPEPrimitive* pPE = map.ActivePEs.GetByNodeNumber(static_cast<int>(ulNode));
        for (int t = 0; t < kMaxPorts; ++t)
        {
            if (const CRoutingTable* pTable = pPE->RoutingTables[static_cast<size_t>(t)].get())
            {
                EXPECT_TRUE(pTable->bModified) << "node " << ulNode << " table " << t;
                tables[{static_cast<int>(ulNode), t}] = pTable->Entries();
            }
        }
    }
    return tables;
}

TEST(ClientRouteGeneration, TheMapGetsTheGeneratorsTablesInPlaceOfItsOld)
{
    SFatTreeMap tree(3, 8, 4);
    CPEPrimitive* pLeaf = tree.map.ActivePEs.GetByNodeNumber(tree.switches.back());
    pLeaf->RoutingTables[200] = std::make_unique<CRoutingTable>();
    pLeaf->RoutingTables[200]->AddEntry(0x77, 3, eRoutePort, 0, false);
    const std::vector<uint32_t> switches(tree.switches.begin(), tree.switches.end());
    const CTables expected = Expected(tree.map, switches);

    std::set<int> given;
    for (const auto& entry : expected)
    {
        given.insert(entry.first.first);
    }
    // Spines 1 and 2 lie on no route: spine 0 joins every pair of leaves by the lower connections.
    EXPECT_EQ(static_cast<int>(switches.size()) - 2, static_cast<int>(given.size()));
    EXPECT_EQ(static_cast<int>(given.size()), GenerateRoutes(tree.map));
    const CTables actual = Actual(tree.map, switches);
    EXPECT_TRUE(expected == actual);
    EXPECT_EQ(nullptr, pLeaf->RoutingTables[200]) << "the old table is gone";
    // The multicast ID of the first leaf went through the flat records: a multicast entry with the
    // mask number in each port's table.
    const CRoutingTable* pLeafPort5 = tree.map.ActivePEs.GetByNodeNumber(4)->RoutingTables[5].get();
    ASSERT_NE(nullptr, pLeafPort5);
    uint8_t uchMask = 0;
    const int iAt = pLeafPort5->FindEntry(0xE0, &uchMask);
    ASSERT_GE(iAt, 0);
    EXPECT_EQ(static_cast<uint32_t>(eRouteMulticast), pLeafPort5->GetEntry(iAt).eType);
    EXPECT_EQ(2, uchMask);
    EXPECT_GT(expected.size(), 8u * 4u);
}

TEST(ClientRouteGeneration, OneSwitchGetsTablesAndTheOthersKeepTheirs)
{
    SFatTreeMap tree(2, 3, 2);
    const int iLeaf = tree.switches[3];
    CPEPrimitive* pOther = tree.map.ActivePEs.GetByNodeNumber(tree.switches[2]);
    pOther->RoutingTables[1] = std::make_unique<CRoutingTable>();
    pOther->RoutingTables[1]->AddEntry(0x55, 6, eRoutePort, 0, false);
    const CTables expected = Expected(tree.map, {static_cast<uint32_t>(iLeaf)});

    EXPECT_EQ(1, GenerateRoutes(tree.map, iLeaf));
    EXPECT_TRUE(expected == Actual(tree.map, {static_cast<uint32_t>(iLeaf)}));
    ASSERT_NE(nullptr, pOther->RoutingTables[1]);
    EXPECT_EQ(1, pOther->RoutingTables[1]->GetNumEntries());
    EXPECT_EQ(nullptr, pOther->RoutingTables[0]);
}

TEST(ClientRouteGeneration, TheProgressWindowFollowsEveryStepAndSmallMapsShowNone)
{
    CRecordingUserInterface ui;
    SFatTreeMap tree(2, 8, 4); // the host and 32 endpoints: 32 steps, 528 pairs
    GenerateRoutes(tree.map);
    EXPECT_EQ(QStringList{"Computing shortest hop routes between endpoints..."}, ui.workTitles);
    ASSERT_FALSE(ui.workLines.isEmpty());
    EXPECT_EQ("Optimizing routes between PE 1 and PE 5 (1 of 32)", ui.workLines.front());
    for (int iStep = 1; iStep <= 32; ++iStep)
    {
        const QString strEnd = QStringLiteral(" (%1 of 32)").arg(iStep);
        EXPECT_TRUE(std::any_of(ui.workLines.begin(), ui.workLines.end(),
                                [&strEnd](const QString& strLine) { return strLine.endsWith(strEnd); }))
            << "step " << iStep;
    }
    EXPECT_LT(ui.workLines.size(), 528) << "not a line for every pair";

    CRecordingUserInterface quiet;
    SFatTreeMap small(1, 1, 4); // the host and 4 endpoints: 4 steps
    EXPECT_EQ(2, GenerateRoutes(small.map));
    EXPECT_TRUE(quiet.workTitles.isEmpty());
    EXPECT_TRUE(quiet.workLines.isEmpty());
}
} // namespace
} // namespace nvtest
