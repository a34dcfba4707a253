// norvanta-cli's "routes why" and "routes check" on map files saved by the test, and on the map of
// an enumerating discovery of the demo fabric with generated tables.
#include "NetworkMap.h"
#include "RoutingMaps.h"
#include "SimProcess.h"
#include "TestSupport.h"

#include <gtest/gtest.h>

namespace
{
using nvtest::SRunResult;
using routemaps::ERingRouting;
using routemaps::SBuilder;

SRunResult Cli(const std::vector<std::string>& args)
{
    return nvtest::RunProgram(nvtest::BuiltProgram("Cli/norvanta-cli"), args);
}

std::string Save(SBuilder& map, const std::string& strName, int iBits = 8)
{
    const std::string strPath = nvtest::ProcessTempDir() + "/" + strName + ".nvm";
    SetMapTransportAccess([iBits] { return iBits; }, nullptr);
    const bool bSaved = map.doc.SaveAs(QString::fromStdString(strPath));
    SetMapTransportAccess(nullptr, nullptr);
    EXPECT_TRUE(bSaved) << strPath;
    return strPath;
}

std::string LastLine(const std::string& strText)
{
    const size_t nEnd = strText.empty() || strText.back() != '\n' ? strText.size() : strText.size() - 1;
    const size_t nStart = strText.rfind('\n', nEnd == 0 ? 0 : nEnd - 1);
    return strText.substr(nStart == std::string::npos ? 0 : nStart + 1,
                          nEnd - (nStart == std::string::npos ? 0 : nStart + 1));
}

TEST(RouteCheckCli, ATreeIsCleanAndAPacketIsFollowedHopByHop)
{
    SBuilder map;
    routemaps::Tree(map);
    const std::string strMap = Save(map, "tree");
    SRunResult result = Cli({"routes", "check", strMap});
    EXPECT_EQ(0, result.nExitCode) << result.strOut << result.strErr;
    EXPECT_EQ("Checked 4 endpoints, 12 pairs, 8-bit IDs\nNo unreachable pairs, routing loops or routing "
              "deadlocks\n",
              result.strOut);

    result = Cli({"routes", "why", strMap, "2", "6"});
    EXPECT_EQ(0, result.nExitCode) << result.strErr;
    EXPECT_EQ("Node 2 to Node 6: destination ID 4h (8-bit)\n"
              "Node 2: sends on port 0\n"
              "  Node 2 port 0 -> Node 1 port 0\n"
              "Node 1: routing table routes ID 4h to port 2\n"
              "  Node 1 port 2 -> Node 4 port 0\n"
              "Node 4: table of port 0 routes ID 4h to port 2\n"
              "  Node 4 port 2 -> Node 6 port 0\n"
              "delivered at Node 6\n",
              result.strOut);
}

TEST(RouteCheckCli, AMissingEntryIsDroppedAtItsSwitchAndItsPairsAreListed)
{
    SBuilder map;
    routemaps::Tree(map);
    map.PE(3).RoutingTables[0]->RemoveAt(map.PE(3).RoutingTables[0]->FindEntry(3));
    const std::string strMap = Save(map, "missing");
    SRunResult result = Cli({"routes", "why", strMap, "2", "5"});
    EXPECT_EQ(1, result.nExitCode);
    EXPECT_EQ(
        "dropped at Node 4 (the table of port 0 of Node 4 has no entry for ID 3h and no default route port "
        "is set)",
        LastLine(result.strOut));

    result = Cli({"routes", "check", strMap});
    EXPECT_EQ(1, result.nExitCode);
    EXPECT_NE(
        std::string::npos,
        result.strOut.find("Unreachable: Node 2 -> Node 5: dropped at Node 4 (the table of port 0 of Node 4 "
                           "has no entry for ID 3h and no default route port is set)\n"
                           "  path: Node 2 port 0 -> Node 1 port 0, Node 1 port 2 -> Node 4 port 0\n"))
        << result.strOut;
    EXPECT_NE(std::string::npos, result.strOut.find("Unreachable: Node 3 -> Node 5: dropped at Node 4"));
    EXPECT_EQ("Found 2 unreachable pairs, 0 routing loops, 0 routing deadlocks", LastLine(result.strOut));
}

TEST(RouteCheckCli, TablesThatSendPacketsRoundAreLooped)
{
    SBuilder map;
    routemaps::Ring(map, ERingRouting::eDateline);
    // Switch 1 (node 2) sends ID 13h back to switch 0, which sends it on to switch 1 again.
    map.Route(1, 0, 0x13, 0);
    const std::string strMap = Save(map, "loop");
    SRunResult result = Cli({"routes", "why", strMap, "5", "8"});
    EXPECT_EQ(1, result.nExitCode);
    EXPECT_EQ("looped at Node 2 (it arrives on Node 2 port 0 a second time)", LastLine(result.strOut));

    result = Cli({"routes", "check", strMap});
    EXPECT_EQ(1, result.nExitCode);
    EXPECT_NE(
        std::string::npos,
        result.strOut.find("Routing loop: Node 6 -> Node 8: looped at Node 1 (it arrives on Node 1 port 1 "
                           "a second time)\n  path: Node 6 port 0 -> Node 2 port 2, Node 2 port 0 -> Node 1 "
                           "port 1, Node 1 port 1 -> Node 2 port 0, Node 2 port 0 -> Node 1 port 1\n"))
        << result.strOut;
    EXPECT_EQ("Found 0 unreachable pairs, 2 routing loops, 0 routing deadlocks", LastLine(result.strOut));
}

TEST(RouteCheckCli, ARingRoutedClockwiseDeadlocksAndOneWithADatelineDoesNot)
{
    SBuilder clockwise;
    routemaps::Ring(clockwise, ERingRouting::eClockwise);
    SRunResult result = Cli({"routes", "check", Save(clockwise, "clockwise")});
    EXPECT_EQ(1, result.nExitCode);
    EXPECT_EQ("Checked 4 endpoints, 12 pairs, 8-bit IDs\n"
              "Routing deadlock: a cycle of 4 channel dependencies, each channel waiting for the next:\n"
              "  Node 1 port 1 -> Node 2 port 0\n"
              "  Node 2 port 1 -> Node 3 port 0\n"
              "  Node 3 port 1 -> Node 4 port 0\n"
              "  Node 4 port 1 -> Node 1 port 0\n"
              "  and back to Node 1 port 1 -> Node 2 port 0\n"
              "Found 0 unreachable pairs, 0 routing loops, 1 routing deadlocks\n",
              result.strOut);

    SBuilder dateline;
    routemaps::Ring(dateline, ERingRouting::eDateline, true);
    const std::string strDateline = Save(dateline, "dateline", 16);
    result = Cli({"routes", "check", strDateline});
    EXPECT_EQ(0, result.nExitCode) << result.strOut;
    EXPECT_EQ("Checked 4 endpoints, 12 pairs, 16-bit IDs", result.strOut.substr(0, result.strOut.find('\n')));
    result = Cli({"routes", "why", strDateline, "8", "5"});
    EXPECT_EQ(0, result.nExitCode);
    EXPECT_EQ("Node 8 to Node 5: destination ID 110h (16-bit)",
              result.strOut.substr(0, result.strOut.find('\n')));
    EXPECT_EQ("delivered at Node 5", LastLine(result.strOut));
}

TEST(RouteCheckCli, ADiscoveredDemoFabricWithGeneratedTablesIsClean)
{
    nvtest::CSimProcess sim("demo.topo", {"--no-udp", "--no-broadcast"});
    ASSERT_TRUE(sim.Ready()) << sim.ErrorOutput();
    const std::string strMap = nvtest::ProcessTempDir() + "/demo.nvm";
    SRunResult result = Cli({"--server", "127.0.0.1", "--port", std::to_string(sim.TcpPort()), "discover",
                             "--enumerate", "--no-layout", "--save", strMap});
    ASSERT_EQ(0, result.nExitCode) << result.strErr;
    // Enumeration leaves the map without tables: no endpoint reaches another.
    result = Cli({"routes", "check", strMap});
    EXPECT_EQ(1, result.nExitCode);
    EXPECT_EQ("Found 20 unreachable pairs, 0 routing loops, 0 routing deadlocks", LastLine(result.strOut));
    result = Cli({"routes", "generate", strMap});
    ASSERT_EQ(0, result.nExitCode) << result.strErr;
    result = Cli({"routes", "check", strMap});
    EXPECT_EQ(0, result.nExitCode) << result.strOut;
    EXPECT_EQ("Checked 5 endpoints, 20 pairs, 8-bit IDs\nNo unreachable pairs, routing loops or routing "
              "deadlocks\n",
              result.strOut);
    result = Cli({"routes", "why", strMap, "1", "9"});
    EXPECT_EQ(0, result.nExitCode);
    EXPECT_EQ("delivered at Node 9", LastLine(result.strOut));
}

TEST(RouteCheckCli, BadUsageUnknownNodesAndUnreadableMapsExitWithTwo)
{
    SBuilder map;
    routemaps::Tree(map);
    map.Null();
    const std::string strMap = Save(map, "usage");
    const struct
    {
        std::vector<std::string> args;
        std::string strErr;
    } aCases[] = {
        {{"routes", "check"}, "usage: norvanta-cli routes check MAP\n"},
        {{"routes", "why", strMap, "2"}, "usage: norvanta-cli routes why MAP FROM TO\n"},
        {{"routes", "check", strMap + ".none"},
         "routes check: " + strMap + ".none: Open failed.  File not found.\n"},
        {{"routes", "why", strMap, "2", "9"}, "Node 9 is not on the map\n"},
        {{"routes", "why", strMap, "2", "1"}, "Node 1 has no 8-bit destination ID to send a packet to\n"},
        {{"routes", "why", strMap, "7", "2"}, "Node 7 is an empty port and sends no packets\n"},
    };
    for (const auto& c : aCases)
    {
        const SRunResult result = Cli(c.args);
        EXPECT_EQ(2, result.nExitCode) << c.strErr;
        EXPECT_EQ(c.strErr, result.strErr);
        EXPECT_EQ("", result.strOut);
    }
    const SRunResult help = Cli({"--help"});
    EXPECT_NE(std::string::npos, help.strErr.find("  routes why MAP FROM TO\n"));
    EXPECT_NE(std::string::npos, help.strErr.find("  routes check MAP\n"));
}
} // namespace
