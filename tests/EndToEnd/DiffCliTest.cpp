// norvanta-cli diff against norvanta-sim: a map saved from the demo fabric matches it, the same map
// against a fabric with a link down, an endpoint gone, a slower link and a changed route gives the
// lines of each, the walk leaves the fabric as it was, and what stops a comparison says so in a line.
#include "SimProcess.h"
#include "TestSupport.h"

#include <gtest/gtest.h>

#include <fstream>
#include <regex>

namespace
{
using nvtest::RunProgram;
using nvtest::SRunResult;

SRunResult Cli(uint16_t uPort, std::vector<std::string> args)
{
    std::vector<std::string> all = {"--server", "127.0.0.1", "--wait-ms",
                                    "1500",     "--port",    std::to_string(uPort)};
    all.insert(all.end(), args.begin(), args.end());
    return RunProgram(nvtest::BuiltProgram("Cli/norvanta-cli"), all);
}

std::string TempPath(const char* pszName)
{
    return nvtest::ProcessTempDir() + "/" + pszName;
}

// What a running system depends on, as the target shows it: the first switch's tables (reached
// without any route) and each endpoint's IDs.
std::string FabricState(uint16_t uPort)
{
    std::string strState;
    for (int iTable = 0; iTable < 18; ++iTable)
    {
        strState +=
            Cli(uPort, {"route", "load", std::to_string(iTable), "--dest", "0xFF", "--hop", "0"}).strOut;
    }
    for (const char* pszID : {"0x05", "0x0A", "0x0F", "0x14"})
    {
        strState += Cli(uPort, {"read", "0x60", "--dest", pszID, "--hop", "5"}).strOut;
    }
    return strState;
}

TEST(DiffCli, ASavedMapMatchesItsFabricAndAChangedFabricGivesItsLines)
{
    const std::string strMap = TempPath("diff-demo.nvm");
    {
        nvtest::CSimProcess sim("demo.topo", {"--no-udp", "--no-broadcast"});
        ASSERT_TRUE(sim.Ready()) << sim.ErrorOutput();
        ASSERT_EQ(
            0,
            Cli(sim.TcpPort(), {"discover", "--upload-tables", "--no-layout", "--save", strMap}).nExitCode);
        const std::string strBefore = FabricState(sim.TcpPort());
        ASSERT_NE(std::string::npos, strBefore.find("destid=0x000f type=port port=4")) << strBefore;
        const SRunResult result = Cli(sim.TcpPort(), {"diff", strMap});
        EXPECT_EQ(0, result.nExitCode) << result.strErr;
        EXPECT_EQ("", result.strOut);
        EXPECT_EQ("", result.strErr);
        EXPECT_EQ(strBefore, FabricState(sim.TcpPort())) << "the comparison changed the fabric";
    }

    // The same fabric with sw1's second link to sw2 and its endpoint on port 2 gone, the first link
    // to sw2 at 2.5 Gbaud, and sw2 sending ep3's ID out of its port 2.
    std::string strTopology = nvtest::ReadFile(nvtest::SourceDir() + "/Simulator/topologies/demo.topo");
    strTopology = std::regex_replace(strTopology, std::regex("\nlink sw1:5[^\n]*"), "");
    strTopology = std::regex_replace(strTopology, std::regex("\nlink sw1:2 [^\n]*"), "");
    strTopology = std::regex_replace(strTopology, std::regex("sw2:4 speed=5 "), "sw2:4 speed=2.5 ");
    strTopology = std::regex_replace(strTopology, std::regex("route sw2 0x0F 1"), "route sw2 0x0F 2");
    const std::string strChanged = TempPath("diff-changed.topo");
    std::ofstream(strChanged) << strTopology;
    nvtest::CSimProcess changed(strChanged, {"--no-udp", "--no-broadcast"});
    ASSERT_TRUE(changed.Ready()) << changed.ErrorOutput();
    const std::string strBefore = FabricState(changed.TcpPort());
    const SRunResult result = Cli(changed.TcpPort(), {"diff", strMap});
    EXPECT_EQ(1, result.nExitCode) << result.strErr;
    EXPECT_EQ("Node 2 port 2 down (was up to Node 4 port 0)\n"
              "Node 2 port 4 speed 5 Gbaud, now 2.5 Gbaud\n"
              "Node 2 port 5 down (was up to Node 6 port 5)\n"
              "Node 4 missing: Memory device 0002h vendor FFF0h destID Ah\n"
              "Node 6 tables of ports 0-17: route Fh to port 1, now to port 2\n",
              result.strOut);
    EXPECT_EQ(strBefore, FabricState(changed.TcpPort()));
}

TEST(DiffCli, WhatStopsAComparisonIsOneLineAndExitStatusTwo)
{
    nvtest::CSimProcess sim("demo.topo", {"--no-udp", "--no-broadcast"});
    ASSERT_TRUE(sim.Ready()) << sim.ErrorOutput();
    const std::string strBad = TempPath("diff-bad.nvm");
    std::ofstream(strBad) << "<NorvantaMap Version=\"1.7\"><ActiveMap><PEList><PE>";
    SRunResult result = Cli(sim.TcpPort(), {"diff", strBad});
    EXPECT_EQ(2, result.nExitCode);
    EXPECT_EQ(0u, result.strErr.find("Unable to read the map " + strBad)) << result.strErr;
    EXPECT_EQ(1, std::count(result.strErr.begin(), result.strErr.end(), '\n')) << result.strErr;
    EXPECT_EQ("", result.strOut);

    result = Cli(sim.TcpPort(), {"diff", TempPath("no-such-map.nvm")});
    EXPECT_EQ(2, result.nExitCode);
    EXPECT_EQ(1, std::count(result.strErr.begin(), result.strErr.end(), '\n')) << result.strErr;

    const std::string strMap = TempPath("diff-target.nvm");
    ASSERT_EQ(0, Cli(sim.TcpPort(), {"discover", "--no-layout", "--save", strMap}).nExitCode);
    const uint16_t uClosed = sim.TcpPort();
    sim.Stop();
    result = Cli(uClosed, {"diff", strMap});
    EXPECT_EQ(2, result.nExitCode);
    EXPECT_EQ(0u, result.strErr.find("Unable to reach the target")) << result.strErr;
    EXPECT_EQ(1, std::count(result.strErr.begin(), result.strErr.end(), '\n')) << result.strErr;

    EXPECT_EQ(2, Cli(uClosed, {"diff"}).nExitCode) << "a map is required";
}
} // namespace
