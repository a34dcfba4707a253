// What the tables of hand-built maps do to packets: the walk of one packet and the check of all
// endpoint pairs for unreachable destinations, loops and channel dependency cycles.
#include "RouteCheck.h"
#include "RoutingMaps.h"

#include <gtest/gtest.h>

namespace
{
using routemaps::ERingRouting;
using routemaps::SBuilder;

SPacketTrace Walk(SBuilder& map, int iFrom, uint16_t wID, bool bLong = false)
{
    return TracePacket(map.doc.ActivePEs, map.doc.ActiveConnections, map.PE(iFrom), wID, bLong);
}

SRouteCheckReport Check(SBuilder& map, bool bLong = false)
{
    return CheckRoutes(map.doc.ActivePEs, map.doc.ActiveConnections, bLong);
}

TEST(RouteCheck, APacketThroughATreeIsDeliveredWithEveryDecisionTold)
{
    SBuilder map;
    routemaps::Tree(map);
    const SPacketTrace trace = Walk(map, 1, 4);
    EXPECT_EQ(EPacketFate::eDelivered, trace.eFate);
    EXPECT_EQ(5, trace.iFateNode);
    EXPECT_EQ("delivered at Node 6", FateText(trace));
    ASSERT_EQ(3u, trace.hops.size());
    EXPECT_EQ("Node 2: sends on port 0", trace.hops[0].strDecision);
    EXPECT_EQ("Node 1: routing table routes ID 4h to port 2", trace.hops[1].strDecision);
    EXPECT_EQ("Node 4: table of port 0 routes ID 4h to port 2", trace.hops[2].strDecision);
    EXPECT_EQ(
        "Node 2 port 0 -> Node 1 port 0, Node 1 port 2 -> Node 4 port 0, Node 4 port 2 -> Node 6 port 0",
        PathText(trace))
        << "links are named from the end the packet leaves, whichever end the map lists first";

    const SRouteCheckReport report = Check(map);
    EXPECT_EQ(4, report.nEndpoints);
    EXPECT_TRUE(report.Clean()) << (report.unreachable.empty() ? "" : FateText(report.unreachable[0].trace));
}

TEST(RouteCheck, AMissingEntryDropsThePacketUnlessTheSwitchHasADefaultPort)
{
    SBuilder map;
    routemaps::Tree(map);
    // Switch 3 (node 4) routes ID 3 by the table of the arrival port: take it out of port 0's only.
    map.PE(3).RoutingTables[0]->RemoveAt(map.PE(3).RoutingTables[0]->FindEntry(3));
    SPacketTrace trace = Walk(map, 1, 3);
    EXPECT_EQ(EPacketFate::eDropped, trace.eFate);
    EXPECT_EQ(3, trace.iFateNode);
    EXPECT_EQ("dropped at Node 4 (the table of port 0 of Node 4 has no entry for ID 3h and no default route "
              "port is set)",
              FateText(trace));
    EXPECT_EQ(2u, trace.hops.size());
    // From endpoint 4 (arriving on port 2) the same ID still goes through.
    EXPECT_EQ(EPacketFate::eDelivered, Walk(map, 5, 3).eFate);

    SRouteCheckReport report = Check(map);
    ASSERT_EQ(2u, report.unreachable.size()) << "IDs 1 and 2 come in on port 0 and lose ID 3";
    EXPECT_EQ(1, report.unreachable[0].iFromNode);
    EXPECT_EQ(4, report.unreachable[0].iToNode);
    EXPECT_EQ(2, report.unreachable[1].iFromNode);
    EXPECT_TRUE(report.loops.empty());

    map.PE(3).SetDefaultPort(1);
    trace = Walk(map, 1, 3);
    EXPECT_EQ(EPacketFate::eDelivered, trace.eFate);
    EXPECT_EQ("Node 4: the table of port 0 of Node 4 has no entry for ID 3h, default route port 1",
              trace.hops.back().strDecision);
    // A default port that leads to the wrong endpoint delivers nothing.
    map.PE(3).SetDefaultPort(2);
    trace = Walk(map, 1, 3);
    EXPECT_EQ("dropped at Node 6 (Node 6 is an endpoint with ID 4h, not the destination)", FateText(trace));
}

TEST(RouteCheck, LinksThatAreDownMissingOrEmptyDropThePacket)
{
    SBuilder map;
    routemaps::Tree(map);
    // Node 1's port 3 has nothing; port 3 then leads to an empty port.
    map.Route(0, 0, 9, 3);
    EXPECT_EQ("dropped at Node 1 (nothing is connected to Node 1 port 3)", FateText(Walk(map, 1, 9)));
    const int iNull = map.Null();
    map.Link(0, 3, iNull, 0, "Down");
    EXPECT_EQ("dropped at Node 1 (the link on Node 1 port 3 is down)", FateText(Walk(map, 1, 9)));
    map.doc.ActiveConnections.GetByIndex(map.doc.ActiveConnections.GetCount() - 1)
        ->SetStatus(QStringLiteral("Up"));
    EXPECT_EQ("dropped at Node 7 (Node 7 is an empty port: nothing answers there)",
              FateText(Walk(map, 1, 9)));
    // A deleted link counts as none; the link between the switches going down cuts the tree in two.
    map.doc.ActiveConnections.GetByIndex(map.doc.ActiveConnections.GetCount() - 1)->bDeleted = true;
    EXPECT_EQ("dropped at Node 1 (nothing is connected to Node 1 port 3)", FateText(Walk(map, 1, 9)));
    map.doc.ActiveConnections.GetByIndex(2)->SetStatus(QStringLiteral("DOWN"));
    const SRouteCheckReport report = Check(map);
    EXPECT_EQ(8u, report.unreachable.size()) << "each of the 2 x 2 endpoints across the cut, both ways";
    EXPECT_TRUE(report.deadlocks.empty());
}

TEST(RouteCheck, EntriesThatAreNoPortRouteEndTheUnicastWalkWithTheirKind)
{
    SBuilder map;
    routemaps::Tree(map);
    map.Route(0, 0, 3, 5, eRouteMulticast);
    EXPECT_EQ("dropped at Node 1 (the routing table of Node 1 sends ID 3h to multicast mask 5; the walk of "
              "one packet does not follow multicast copies)",
              FateText(Walk(map, 1, 3)));
    map.Route(0, 0, 3, 0, eRouteSpecial, 2);
    EXPECT_EQ(
        "dropped at Node 1 (the routing table of Node 1 has the device-specific route code 2 for ID 3h)",
        FateText(Walk(map, 1, 3)));
    map.Route(0, 0, 3, 0, eRouteDefault);
    map.PE(0).SetDefaultPort(2);
    EXPECT_EQ(EPacketFate::eDelivered, Walk(map, 1, 3).eFate)
        << "a default-route entry takes the default port";
}

TEST(RouteCheck, TablesThatSendAPacketRoundAreALoopAtTheSwitchItReturnsTo)
{
    SBuilder map;
    routemaps::Ring(map, ERingRouting::eClockwise);
    // Switch 1 (node 2) sends ID 13h back to switch 0, which sends it clockwise again.
    map.Route(1, 0, 0x13, 0);
    const SPacketTrace trace = Walk(map, 4, 0x13);
    EXPECT_EQ(EPacketFate::eLooped, trace.eFate);
    EXPECT_EQ("looped at Node 2 (it arrives on Node 2 port 0 a second time)", FateText(trace));
    EXPECT_EQ(
        "Node 5 port 0 -> Node 1 port 2, Node 1 port 1 -> Node 2 port 0, Node 2 port 0 -> Node 1 port 1, "
        "Node 1 port 1 -> Node 2 port 0",
        PathText(trace));

    const SRouteCheckReport report = Check(map);
    // The endpoints on switches 0 and 1 are caught; the one on switch 2 goes on clockwise.
    ASSERT_EQ(2u, report.loops.size());
    EXPECT_EQ(4, report.loops[0].iFromNode);
    EXPECT_EQ(5, report.loops[1].iFromNode);
    EXPECT_EQ(7, report.loops[0].iToNode);
    EXPECT_EQ(7, report.loops[1].iToNode);
    EXPECT_TRUE(report.unreachable.empty());
}

TEST(RouteCheck, ARingRoutedClockwiseHasADependencyCycleAndADatelineBreaksIt)
{
    SBuilder clockwise;
    routemaps::Ring(clockwise, ERingRouting::eClockwise);
    SRouteCheckReport report = Check(clockwise);
    EXPECT_TRUE(report.unreachable.empty());
    EXPECT_TRUE(report.loops.empty());
    ASSERT_EQ(1u, report.deadlocks.size());
    const std::vector<SChannel> expected = {{0, 1, 1, 0}, {1, 1, 2, 0}, {2, 1, 3, 0}, {3, 1, 0, 0}};
    EXPECT_EQ(expected, report.deadlocks[0]);
    EXPECT_EQ("Node 4 port 1 -> Node 1 port 0", ChannelName(report.deadlocks[0][3]));

    SBuilder dateline;
    routemaps::Ring(dateline, ERingRouting::eDateline);
    report = Check(dateline);
    EXPECT_TRUE(report.Clean());
    EXPECT_EQ(4, report.nEndpoints);

    // The same ring and links without the tables between switches: no packet holds one ring channel
    // while it waits for another, so nothing can deadlock, though nothing arrives either.
    SBuilder untabled;
    routemaps::Ring(untabled, ERingRouting::eNoTablesYet);
    report = Check(untabled);
    EXPECT_EQ(12u, report.unreachable.size());
    EXPECT_TRUE(report.deadlocks.empty());
}

TEST(RouteCheck, SixteenBitMapsRouteByTheLongIDs)
{
    SBuilder map;
    routemaps::Ring(map, ERingRouting::eDateline, true);
    EXPECT_TRUE(Check(map, true).Clean());
    const SPacketTrace trace = Walk(map, 4, 0x113, true);
    EXPECT_EQ("delivered at Node 8", FateText(trace));
    EXPECT_EQ(5u, trace.hops.size());
    // Read as an 8-bit map, the endpoints' short IDs 10h..13h have no entries.
    const SRouteCheckReport report = Check(map, false);
    EXPECT_EQ(12u, report.unreachable.size());
    EXPECT_EQ(-1, EndpointDestID(map.PE(0), true)) << "a switch is no endpoint";
    EXPECT_EQ(0x110, EndpointDestID(map.PE(4), true));
    EXPECT_EQ(0x10, EndpointDestID(map.PE(4), false));
}

TEST(RouteCheck, AnEndpointTakesPacketsForItsVirtualIDsAndDeletedPEsTakeNone)
{
    SBuilder map;
    routemaps::Tree(map);
    CPEPrimitive& e4 = map.PE(5);
    e4.VDID_NumShortIDs = 1;
    e4.VDID_ShortIDs[0] = 0x40;
    map.RouteAll(0, 0x40, 2);
    map.RouteAll(3, 0x40, 2);
    EXPECT_EQ("delivered at Node 6", FateText(Walk(map, 1, 0x40)));
    // A device of no known kind that enumeration gave an ID is an endpoint all the same.
    map.PE(4).uType = kPETypeUnknown;
    EXPECT_EQ("delivered at Node 5", FateText(Walk(map, 1, 3)));
    EXPECT_EQ(4, Check(map).nEndpoints);
    e4.bDeleted = true;
    EXPECT_EQ("dropped at Node 4 (the far end of Node 4 port 2 is not on the map)",
              FateText(Walk(map, 1, 0x40)));
    EXPECT_EQ(3, Check(map).nEndpoints);
}
} // namespace
