// Route search on maps built by hand: reading routes out of the map's tables, the route a
// selection stands for, and the operations of a route.
#include "RouteSearch.h"
#include "RecordingUserInterface.h"

#include <gtest/gtest.h>

namespace
{
// A map: PEs by node number, connections by node number.
struct SMap
{
    CPEPrimitive* PE(int iNode, uint32_t uType, int iPorts, int iID = -1, bool bPerPort = false)
    {
        auto pPE = std::make_unique<CPEPrimitive>();
        pPE->iNodeNumber = iNode;
        pPE->uType = uType;
        pPE->iNumLocalPorts = iPorts;
        pPE->bHasPerPortRoutingTables = bPerPort;
        if (iID >= 0)
        {
            pPE->bUsesDestID = true;
            pPE->ShortDestID = static_cast<uint16_t>(iID);
        }
        return PEs.AddPrimitive(std::move(pPE));
    }
    void Link(int a, int iPortA, int b, int iPortB)
    {
        auto pConnection = std::make_unique<CConnectionPrimitive>();
        pConnection->iNodeNumber = connections.GetCount();
        pConnection->iPE1 = a;
        pConnection->iPE1Port = iPortA;
        pConnection->iPE2 = b;
        pConnection->iPE2Port = iPortB;
        connections.AddPrimitive(std::move(pConnection));
    }
    void Route(int iNode, int iTable, uint16_t wID, uint8_t uchPort, bool bModified = false)
    {
        auto& pTable = PEs.GetByNodeNumber(iNode)->RoutingTables[static_cast<size_t>(iTable)];
        if (!pTable)
            pTable = std::make_unique<CRoutingTable>();
        pTable->AddEntry(wID, uchPort, eRoutePort, 0, bModified);
    }
    int32_t Find(int iTarget, uint32_t* pulID, uint8_t* puchHop, bool bModified = false,
                 CRoute* pRoute = nullptr)
    {
        return FindRoute(PEs.GetByNodeNumber(0), PEs.GetByNodeNumber(iTarget), PEs, connections, pulID,
                         puchHop, bModified, pRoute);
    }

    CPEList PEs;
    CConnectionList connections;
};

// host(0, ID 1) - sw(1, per-port) - two-port(2, no tables) - ep(3, ID 3); sw port 2 - ep(4, no ID)
SMap Line()
{
    SMap map;
    map.PE(0, kPETypeProcessor, 1, 1);
    map.PE(1, kPETypeSwitch, 8, -1, true);
    map.PE(2, kPETypeSwitch, 2);
    map.PE(3, kPETypeProcessor, 1, 3);
    map.PE(4, kPETypeProcessor, 1);
    map.Link(0, 0, 1, 0);
    map.Link(1, 1, 2, 0);
    map.Link(2, 1, 3, 0);
    map.Link(1, 2, 4, 0);
    return map;
}

TEST(RouteSearch, TheTablesGiveIDAndHopCountAsAPacketGoes)
{
    SMap map = Line();
    uint32_t ulID = 0;
    uint8_t uchHop = 0;
    EXPECT_EQ(kNoRouteStatus, map.Find(3, &ulID, &uchHop)) << "no tables, no route";
    // Only the table of the arrival port counts on a per-port switch.
    map.Route(1, 5, 3, 1);
    EXPECT_EQ(kNoRouteStatus, map.Find(3, &ulID, &uchHop));
    map.Route(1, 0, 3, 1);
    CRoute route;
    ASSERT_EQ(0, map.Find(3, &ulID, &uchHop, false, &route)) << "the two-port switch passes it through";
    EXPECT_EQ(3u, ulID);
    EXPECT_EQ(2, uchHop);
    QString strText;
    route.GetText(strText);
    EXPECT_EQ("PE 1 Port 0 -> PE 2 Port 0\nPE 2 Port 1 -> PE 3 Port 0\nPE 3 Port 1 -> PE 4 Port 0\n",
              strText);
    // The host itself.
    EXPECT_EQ(0, map.Find(0, &ulID, &uchHop));
    EXPECT_EQ(0xFFFFFFFFu, ulID);
    EXPECT_EQ(0, uchHop);
}

TEST(RouteSearch, ATargetWithoutIDIsReachedByAnotherPEsIDAndModifiedTablesNeedAsking)
{
    SMap map = Line();
    // Node 4 has no ID; ID 3's route passes sw (node 1) only. A route to ID 9 through port 2 of the
    // switch reaches node 4, though 9 is nobody's: only IDs of PEs are tried.
    map.Route(1, 0, 9, 2);
    uint32_t ulID = 0;
    uint8_t uchHop = 0;
    EXPECT_EQ(kNoRouteStatus, map.Find(4, &ulID, &uchHop));
    map.Route(1, 0, 3, 2, true);
    EXPECT_EQ(kNoRouteStatus, map.Find(4, &ulID, &uchHop)) << "a modified table is not what the hardware has";
    ASSERT_EQ(0, map.Find(4, &ulID, &uchHop, true));
    EXPECT_EQ(3u, ulID) << "the packet for node 3 passes node 4's place and stops there";
    EXPECT_EQ(1, uchHop);

    // A host without an ID of its own goes straight to the other PEs' IDs.
    map.PEs.GetByNodeNumber(0)->bUsesDestID = false;
    EXPECT_EQ(0, map.Find(4, &ulID, &uchHop, true));
}

TEST(RouteSearch, TablesThatLoopEndTheTraceInsteadOfHanging)
{
    SMap map;
    map.PE(0, kPETypeProcessor, 1, 1);
    map.PE(1, kPETypeSwitch, 4);
    map.PE(2, kPETypeSwitch, 4);
    map.PE(3, kPETypeProcessor, 1, 7);
    map.Link(0, 0, 1, 0);
    map.Link(1, 1, 2, 1);
    map.Link(1, 2, 2, 2);
    map.Link(2, 3, 3, 0);
    map.Route(1, 0, 7, 1);
    map.Route(2, 0, 7, 2); // back to switch 1, which sends it on to 2 again
    uint32_t ulID = 0;
    uint8_t uchHop = 0;
    EXPECT_EQ(kNoRouteStatus, map.Find(3, &ulID, &uchHop));
    CRoute route;
    EXPECT_EQ(kNoRouteStatus, TraceRoute(map.PEs, map.connections, map.PEs.GetByNodeNumber(0),
                                         map.PEs.GetByNodeNumber(3), 1, 7, &route, eTraceModifiedTables));
    map.Route(2, 0, 7, 3);
    EXPECT_EQ(0, map.Find(3, &ulID, &uchHop));
    EXPECT_EQ(2, uchHop);
}

TEST(RouteSearch, ASelectionBecomesARouteOrSaysWhatIsWrongWithIt)
{
    SMap map;
    map.PE(0, kPETypeProcessor, 1, 1);
    map.PE(1, kPETypeSwitch, 8);
    map.PE(2, kPETypeSwitch, 8);
    map.PE(3, kPETypeProcessor, 1, 3);
    map.Link(0, 0, 1, 0);
    map.Link(1, 1, 2, 1); // connection 1
    map.Link(1, 2, 2, 2); // connection 2, parallel
    map.Link(2, 3, 3, 0);
    using Item = SRouteSelectionItem;
    const Item pe0{Item::ePE, 0}, pe1{Item::ePE, 1}, pe2{Item::ePE, 2}, pe3{Item::ePE, 3};
    const Item conn2{Item::eConnection, 2}, conn0{Item::eConnection, 0}, group{Item::eOther, 9};
    CRoute route;
    EXPECT_EQ(eSelectionTooFew, FromSelection(route, {pe0}, map.PEs, map.connections, true));
    EXPECT_EQ(eSelectionExpectedPE, FromSelection(route, {conn0, pe1}, map.PEs, map.connections, true));
    EXPECT_EQ(eSelectionNotConnected, FromSelection(route, {pe0, pe2}, map.PEs, map.connections, true));
    EXPECT_EQ(eSelectionAmbiguous,
              FromSelection(route, {pe0, pe1, pe2, pe3}, map.PEs, map.connections, true));
    EXPECT_EQ(eSelectionAmbiguous, FromSelection(route, {pe1, conn0, pe2}, map.PEs, map.connections, true))
        << "a selected connection that doesn't join the pair";
    EXPECT_EQ(eSelectionLastNotPE, FromSelection(route, {pe1, conn2}, map.PEs, map.connections, true));
    EXPECT_EQ(eSelectionInvalid, FromSelection(route, {pe1, group}, map.PEs, map.connections, true));
    ASSERT_EQ(eSelectionOk,
              FromSelection(route, {pe0, pe1, conn2, pe2, pe3}, map.PEs, map.connections, true));
    ASSERT_EQ(3, route.GetCount());
    EXPECT_EQ(2u, route.GetEntry(1)->ulFromPort) << "the selected one of the parallel links";
    ASSERT_EQ(eSelectionOk,
              FromSelection(route, {pe0, pe1, conn2, pe2, pe3}, map.PEs, map.connections, false));
    EXPECT_EQ(3u, route.GetEntry(0)->ulFromNode);
    EXPECT_EQ(0u, route.GetEntry(99)->ulToNode) << "an index past the end gives the last link";
    EXPECT_EQ(FromSelectionMessage(eSelectionAmbiguous).left(60),
              QStringLiteral("There are multiple routes available through the PEs that you"));
}

TEST(RouteOperations, ReverseJoinAndCommonNodes)
{
    CRoute route;
    route.AddEntry(0, 0, 1, 0);
    route.AddEntry(1, 2, 2, 1);
    CRoute back = route;
    back.Reverse();
    ASSERT_EQ(2, back.GetCount());
    EXPECT_EQ(2u, back.GetEntry(0)->ulFromNode);
    EXPECT_EQ(1u, back.GetEntry(0)->ulFromPort);
    EXPECT_EQ(0u, back.GetEntry(1)->ulToNode);
    EXPECT_EQ(0u, back.GetEntry(1)->ulToPort);
    EXPECT_EQ(1, route.CountCommonNodes(back)) << "only node 1 is arrived at in both";
    CRoute onward;
    onward.AddEntry(5, 0, 2, 3);
    onward.AddEntry(2, 4, 6, 0);
    EXPECT_TRUE(route.Join(onward));
    ASSERT_EQ(3, route.GetCount());
    EXPECT_EQ(6u, route.GetEntry(2)->ulToNode);
    EXPECT_EQ(2, route.GetHopCount());
    CRoute empty;
    EXPECT_FALSE(empty.Join(onward));
    EXPECT_EQ(nullptr, empty.GetEntry(0));
    int pos = 0;
    EXPECT_EQ(nullptr, empty.First(pos));
}
} // namespace
