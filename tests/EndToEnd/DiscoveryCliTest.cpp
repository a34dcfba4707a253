// norvanta-cli's discovery and routing commands against norvanta-sim: a fabric discovered,
// enumerated and saved, its routing tables generated, sent to the switches and read back, and the
// ways a discovery ends on a fabric that won't let it finish.
#include "SimProcess.h"
#include "TestSupport.h"

#include <gtest/gtest.h>

#include <cstdlib>
#include <fstream>

namespace
{
using nvtest::RunProgram;
using nvtest::SRunResult;

SRunResult Cli(const nvtest::CSimProcess& sim, std::vector<std::string> args)
{
    std::vector<std::string> all = {"--server", "127.0.0.1", "--wait-ms",
                                    "1500",     "--port",    std::to_string(sim.TcpPort())};
    all.insert(all.end(), args.begin(), args.end());
    return RunProgram(nvtest::BuiltProgram("Cli/norvanta-cli"), all);
}

bool Has(const std::string& strText, const std::string& strPart)
{
    return strText.find(strPart) != std::string::npos;
}

std::string MapPath(const char* pszName)
{
    return nvtest::ProcessTempDir() + "/" + pszName;
}

TEST(DiscoveryCli, ARingIsEnumeratedRoutedAndReadBack)
{
    nvtest::CSimProcess sim("ring.topo", {"--no-udp", "--no-broadcast"});
    ASSERT_TRUE(sim.Ready()) << sim.ErrorOutput();
    const std::string strMap = MapPath("ring.nvm");
    SRunResult result = Cli(sim, {"discover", "--enumerate", "--save", strMap});
    ASSERT_EQ(0, result.nExitCode) << result.strErr;
    EXPECT_TRUE(Has(result.strOut,
                    "Found 4 switches, 5 endpoints, 0 unknown devices, 59 empty ports, 68 connections\n"))
        << result.strOut;
    EXPECT_TRUE(Has(result.strOut, "Node 9: Memory device 1004h vendor FFF0h destID 5h"));
    EXPECT_TRUE(Has(result.strOut, "Saved " + strMap));

    // Before the switches have tables nothing routes to an endpoint.
    result = Cli(sim, {"route", "find", strMap, "9"});
    EXPECT_EQ(1, result.nExitCode);
    EXPECT_EQ("Unable to find a route to that PE.\n", result.strErr);
    result = Cli(sim, {"routes", "generate", strMap, "--download"});
    ASSERT_EQ(0, result.nExitCode) << result.strErr;
    EXPECT_TRUE(Has(result.strOut, "Generated routing tables for 4 switches"));
    EXPECT_TRUE(Has(result.strOut, "Downloaded the routing tables of 4 switches\n"));
    result = Cli(sim, {"route", "find", strMap, "9"});
    ASSERT_EQ(0, result.nExitCode) << result.strErr;
    EXPECT_EQ(0u, result.strOut.find("Node 9: destID 5h hop count 2\nPE 1 Port 0 -> PE 2 Port 0\n"))
        << result.strOut;
    // The simulated switches route by the tables that went down.
    result = Cli(sim, {"read", "0", "--dest", "5", "--hop", "2"});
    ASSERT_EQ(0, result.nExitCode) << result.strErr;
    EXPECT_EQ("0x1004fff0\n", result.strOut);
    result = Cli(sim, {"routes", "upload", strMap});
    EXPECT_EQ(0, result.nExitCode) << result.strErr;
    EXPECT_TRUE(Has(result.strOut, "Uploaded the routing tables of 4 of 4 switches"));
    result = Cli(sim, {"routes", "download", strMap, "--skip-unused"});
    EXPECT_EQ(0, result.nExitCode) << result.strErr;
    EXPECT_EQ("Downloaded the routing tables of 4 of 4 switches\n", result.strOut);

    // A second discovery takes the saved map as its guide and scans its IDs.
    result = Cli(sim, {"discover", "--map", strMap, "--save", MapPath("ring2.nvm")});
    EXPECT_EQ(0, result.nExitCode) << result.strErr;
    EXPECT_TRUE(Has(result.strOut, "destID 5h")) << "read, not given";
}

TEST(DiscoveryCli, FiftyOneSwitchesInARowEndTheDiscoveryAndNothingIsSaved)
{
    nvtest::CSimProcess sim("chain51.topo", {"--no-udp", "--no-broadcast"});
    ASSERT_TRUE(sim.Ready()) << sim.ErrorOutput();
    const std::string strMap = MapPath("chain.nvm");
    const SRunResult result = Cli(sim, {"discover", "--enumerate", "--no-layout", "--save", strMap});
    EXPECT_EQ(1, result.nExitCode);
    EXPECT_TRUE(Has(result.strErr,
                    "The following error was encountered while attempting to add the most recently "
                    "discovered switch to the switch stack\n[12] There are too many switches in the "
                    "network.\n"))
        << result.strErr;
    EXPECT_TRUE(Has(result.strErr, "The discovery failed; nothing was saved.\n"));
    EXPECT_FALSE(std::ifstream(strMap).good());
}

TEST(DiscoveryCli, UnansweringDevicesBecomeUnknownAndAScanIDFindsTheClosedOne)
{
    nvtest::CSimProcess sim("unanswering.topo", {"--no-udp", "--no-broadcast"});
    ASSERT_TRUE(sim.Ready()) << sim.ErrorOutput();
    const SRunResult result = Cli(sim, {"discover", "--enumerate", "--scan", "21h", "--no-layout", "--save",
                                        MapPath("unanswering.nvm")});
    ASSERT_EQ(0, result.nExitCode) << result.strErr;
    EXPECT_TRUE(Has(result.strOut, "Found 1 switches, 3 endpoints, 2 unknown devices")) << result.strOut;
    EXPECT_TRUE(Has(result.strOut, "Memory device 1003h vendor FFF0h destID 5h"))
        << "found by 21h, then enumerated";
    EXPECT_TRUE(Has(result.strOut,
                    "  A RapidIO error was encountered while attempting to read the Device ID and "
                    "Vendor ID for this PE during discovery\n  The following RapidIO errors were "
                    "detected:\n"));
}

TEST(DiscoveryCli, ALockHeldByASecondHostIsBroken)
{
    nvtest::CSimProcess sim("locked.topo", {"--no-udp", "--no-broadcast"});
    ASSERT_TRUE(sim.Ready()) << sim.ErrorOutput();
    const SRunResult result = Cli(sim, {"discover", "--enumerate", "--locks", "--discovery-log",
                                        "--no-layout", "--save", MapPath("locked.nvm")});
    ASSERT_EQ(0, result.nExitCode) << result.strErr;
    EXPECT_TRUE(Has(result.strOut,
                    "The host PE was found to be already locked with an ID of 48.\n  Attempting to break "
                    "lock...\n"));
    EXPECT_TRUE(Has(result.strOut, "Found 2 switches, 3 endpoints"));
    EXPECT_EQ(2, Cli(sim, {"discover"}).nExitCode) << "--save is required";
}
} // namespace

namespace
{
TEST(DiscoveryCli, ALinkThatLostItsRateIsFoundAgainByTryingEverySpeed)
{
    nvtest::CSimProcess sim("untrained.topo", {"--no-udp", "--no-broadcast"});
    ASSERT_TRUE(sim.Ready()) << sim.ErrorOutput();
    // sw1's port 3 runs on lanes 12 to 15; at 2.5 Gbaud it shares no rate with ep3 (5 Gbaud only).
    for (const char* pszLane : {"0xFF8C00", "0xFF8D00", "0xFF8E00", "0xFF8F00"})
        ASSERT_EQ(0, Cli(sim, {"write", pszLane, "0x1E8A", "--dest", "0xFF", "--hop", "0"}).nExitCode);
    SRunResult result = Cli(sim, {"ports", "trained", "--dest", "0xFF", "--hop", "0"});
    ASSERT_TRUE(Has(result.strOut, "port 3: not trained\n")) << result.strOut;

    // Without the speed trial the port is an empty one.
    result = Cli(sim, {"discover", "--enumerate", "--discovery-log", "--no-layout", "--save",
                       MapPath("untrained1.nvm")});
    ASSERT_EQ(0, result.nExitCode) << result.strErr;
    EXPECT_TRUE(Has(result.strOut, "Found 2 switches, 2 endpoints")) << result.strOut;
    EXPECT_FALSE(Has(result.strOut, "device 1003h"));

    result = Cli(sim, {"discover", "--enumerate", "--try-speeds", "--discovery-log", "--no-layout", "--save",
                       MapPath("untrained2.nvm")});
    ASSERT_EQ(0, result.nExitCode) << result.strErr;
    EXPECT_TRUE(Has(result.strOut, "Looking in port 0 and out port 3 of PE 2\n"
                                   "Port 3 is not trained at current speed\n"
                                   "Setting the port speed to 1250 MHz to see if it trains...\n"
                                   "Setting the port speed to 2500 MHz to see if it trains...\n"
                                   "Setting the port speed to 3125 MHz to see if it trains...\n"
                                   "Setting the port speed to 5000 MHz to see if it trains...\n"
                                   "Port is now trained at 5000 MHz\n"))
        << result.strOut;
    EXPECT_TRUE(Has(result.strOut, "Found 2 switches, 3 endpoints")) << result.strOut;
    EXPECT_TRUE(Has(result.strOut, "Memory device 1003h vendor FFF0h destID")) << result.strOut;
    // ep1's link never trains: every rate is tried and the port stays at the last one written.
    EXPECT_TRUE(Has(result.strOut, "Setting the port speed to 6250 MHz to see if it trains...\n"
                                   "Port is not trained. Skipping it\n"));
    result = Cli(sim, {"speed", "get", "3", "--dest", "0xFF", "--hop", "0"});
    EXPECT_EQ("5000\n", result.strOut);
}
} // namespace

namespace
{
// The switch's tables start empty: the discovery routes through it by writing single entries of
// its port tables, and the generated tables go down and come back through whole-table transfers.
TEST(DiscoveryCli, EndpointsBehindAPmc6352AreFoundAndItsTablesReadBack)
{
    nvtest::CSimProcess sim("pmc6352.topo", {"--no-udp", "--no-broadcast"});
    ASSERT_TRUE(sim.Ready()) << sim.ErrorOutput();
    const std::string strMap = MapPath("pmc6352.nvm");
    SRunResult result = Cli(sim, {"discover", "--enumerate", "--no-layout", "--save", strMap});
    ASSERT_EQ(0, result.nExitCode) << result.strErr;
    EXPECT_TRUE(Has(result.strOut, "Found 1 switches, 4 endpoints, 0 unknown devices")) << result.strOut;
    // The switch takes requests for its own ID, so it has one too.
    EXPECT_TRUE(Has(result.strOut, "Node 2: Switch device 6352h vendor 003Bh destID 5h")) << result.strOut;
    for (const char* pszDevice : {"Node 3: Memory device 1001h vendor FFF0h destID Ah",
                                  "Node 11: Memory device 1002h vendor FFF0h destID Fh",
                                  "Node 17: Memory device 1003h vendor FFF0h destID 14h"})
        EXPECT_TRUE(Has(result.strOut, pszDevice)) << pszDevice << "\n" << result.strOut;

    result = Cli(sim, {"routes", "generate", strMap, "--download"});
    ASSERT_EQ(0, result.nExitCode) << result.strErr;
    const size_t nAt = result.strOut.find("Generated routing tables for 1 switches, ");
    ASSERT_NE(std::string::npos, nAt) << result.strOut;
    const int iGenerated = std::atoi(result.strOut.c_str() + nAt + 41);
    EXPECT_GT(iGenerated, 0);
    // The endpoint on the highest port answers by its ID through the tables that went down.
    result = Cli(sim, {"read", "0", "--dest", "0x14", "--hop", "1"});
    ASSERT_EQ(0, result.nExitCode) << result.strErr;
    EXPECT_EQ("0x1003fff0\n", result.strOut);
    result = Cli(sim, {"read", "0", "--dest", "0xA", "--hop", "1"});
    EXPECT_EQ("0x1001fff0\n", result.strOut);

    // Read back from the switch, the tables hold what was generated.
    result = Cli(sim, {"routes", "upload", strMap});
    ASSERT_EQ(0, result.nExitCode) << result.strErr;
    EXPECT_EQ("Uploaded the routing tables of 1 of 1 switches, " + std::to_string(iGenerated) + " entries\n",
              result.strOut);
    result = Cli(sim, {"route", "find", strMap, "17"});
    ASSERT_EQ(0, result.nExitCode) << result.strErr;
    EXPECT_TRUE(Has(result.strOut, "PE 1 Port 0 -> PE 2 Port 3\nPE 2 Port 15 -> PE 17 Port 0\n"))
        << result.strOut;
}
} // namespace

namespace
{
// Every node listed as an unknown device is counted as one: a device whose features name no kind
// as much as a place where nothing could be read.
TEST(DiscoveryCli, TheSummaryCountsTheUnknownDevicesItLists)
{
    const std::string strTopology = MapPath("featureless.topo");
    std::ofstream(strTopology)
        << "device host0 endpoint device=0x0001 processor memory id=0x01 largeid=0x0001\n"
           "device sw1 switch model=cps1848\n"
           "device plain1 endpoint device=0x2001\n"
           "device plain2 endpoint device=0x2002\n"
           "device mem endpoint device=0x2003 memory\n"
           "device mute endpoint device=0x2004 memory\n"
           "host host0\n"
           "link host0:0 sw1:0\nlink sw1:1 plain1:0\nlink sw1:2 plain2:0\n"
           "link sw1:3 mem:0\nlink sw1:4 mute:0\n"
           "fault mute:device=mute\n";
    nvtest::CSimProcess sim(strTopology, {"--no-udp", "--no-broadcast"});
    ASSERT_TRUE(sim.Ready()) << sim.ErrorOutput();
    const SRunResult result =
        Cli(sim, {"discover", "--enumerate", "--no-layout", "--save", MapPath("featureless.nvm")});
    ASSERT_EQ(0, result.nExitCode) << result.strErr;
    EXPECT_TRUE(Has(result.strOut, "Unknown device 2001h vendor FFF0h destID")) << result.strOut;
    EXPECT_TRUE(Has(result.strOut, "Unknown device 2002h vendor FFF0h destID")) << result.strOut;
    EXPECT_TRUE(Has(result.strOut, "Unknown device FFFEh vendor FFFEh")) << result.strOut;
    EXPECT_TRUE(Has(result.strOut, "Found 1 switches, 2 endpoints, 3 unknown devices, ")) << result.strOut;
}
} // namespace

namespace
{
// 8-bit transport numbers PEs up to FEh: with the default first ID and increment of 5 that is 50
// of them. A fabric with 64 endpoints stops the enumeration at the 51st, says why and what to do,
// and saves nothing; enumerated with 16-bit IDs the same fabric is found whole.
TEST(DiscoveryCli, AFabricBeyondTheIDsOf8BitTransportStopsTheEnumerationAndSavesNothing)
{
    const std::string strTopology = MapPath("wide.topo");
    {
        std::ofstream topology(strTopology);
        topology << "device host0 endpoint device=0x0001 processor memory id=0x01 largeid=0x0001\n"
                    "device root switch model=cps1848 quadcfg=0x5F\n"
                    "host host0\nlink host0:0 root:0\n";
        for (int nLeaf = 0; nLeaf < 4; nLeaf++)
        {
            topology << "device l" << nLeaf << " switch model=cps1848 quadcfg=0x5F\n"
                     << "link root:" << nLeaf + 1 << " l" << nLeaf << ":0\n";
            for (int nPort = 1; nPort <= 16; nPort++)
            {
                const int nEndpoint = nLeaf * 16 + nPort - 1;
                topology << "device e" << nEndpoint << " endpoint device=0x" << std::hex << 0x1000 + nEndpoint
                         << std::dec << " memory\n"
                         << "link l" << nLeaf << ":" << nPort << " e" << nEndpoint << ":0\n";
            }
        }
    }
    nvtest::CSimProcess sim(strTopology, {"--no-udp", "--no-broadcast"});
    ASSERT_TRUE(sim.Ready()) << sim.ErrorOutput();
    const std::string strMap = MapPath("wide.nvm");
    const char* const pszStop =
        "The following error was encountered while attempting to give the most recently discovered endpoint "
        "destination ID FFh, beyond FEh, the last ID of 8-bit transport. The rest of the network was not "
        "walked: enumerate it with 16-bit IDs, or with a smaller first ID or increment\n"
        "[10] Invalid parameter specified on function call.\n";
    SRunResult result =
        Cli(sim, {"discover", "--enumerate", "--discovery-log", "--no-layout", "--save", strMap});
    EXPECT_EQ(1, result.nExitCode);
    EXPECT_EQ(std::string(pszStop) + "The discovery failed; nothing was saved.\n", result.strErr);
    // The log ends with the same text, after the last endpoint that was numbered.
    const size_t nLast = result.strOut.rfind("This is a processor endpoint with ID = ");
    ASSERT_NE(std::string::npos, nLast) << result.strOut;
    EXPECT_EQ(0u, result.strOut.compare(nLast, 43, "This is a processor endpoint with ID = 250\n"));
    EXPECT_TRUE(Has(result.strOut.substr(nLast), pszStop)) << result.strOut.substr(nLast);
    EXPECT_FALSE(Has(result.strOut, "Found ")) << "no map is listed";
    EXPECT_FALSE(std::ifstream(strMap).good());

    result = Cli(sim, {"--large", "discover", "--enumerate", "--no-layout", "--save", strMap});
    ASSERT_EQ(0, result.nExitCode) << result.strErr;
    EXPECT_TRUE(Has(result.strOut, "Found 5 switches, 65 endpoints, 0 unknown devices, 17 empty ports, 86 "
                                   "connections\n"))
        << result.strOut;
    EXPECT_TRUE(Has(result.strOut, "Memory device 103Fh vendor FFF0h destID 140h")) << result.strOut;
}
} // namespace
