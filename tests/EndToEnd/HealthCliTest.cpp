// norvanta-cli's validate and health commands against norvanta-sim: a map discovered from a
// fabric whose switches route the endpoints, then the same fabric started again with faults (a
// muted endpoint, a pulled link, a port stopped by an error, a swapped board) and what the commands
// print and exit with; and the failures that leave nothing to check.
#include "SimProcess.h"
#include "TestSupport.h"

#include <gtest/gtest.h>

#include <fstream>

namespace
{
using nvtest::RunProgram;
using nvtest::SRunResult;

// host0 - sw1 - sw2 - ep2, with ep1 on sw1; the switches route the endpoints' IDs.
std::string Topology(const char* pszEp1Device = "0x1001")
{
    return std::string("device host0 endpoint device=0x0001 processor memory id=0x01 largeid=0x0001\n"
                       "device sw1 switch model=cps1848\ndevice sw2 switch model=cps1848\n"
                       "device ep1 endpoint device=") +
           pszEp1Device +
           " memory id=0x05 largeid=0x0005\n"
           "device ep2 endpoint device=0x1002 memory id=0x0A largeid=0x000A\n"
           "host host0\nlink host0:0 sw1:0\nlink sw1:1 sw2:1\nlink sw1:2 ep1:0\nlink sw2:2 ep2:0\n"
           "route sw1 0x01 0\nroute sw1 0x05 2\nroute sw1 0x0A 1\nroute sw2 0x01 1\nroute sw2 0x0A 2\n";
}

std::string TempPath(const char* pszName)
{
    return nvtest::ProcessTempDir() + "/" + pszName;
}

const char* const kHealthyListing = "Node 1 (Processor with Memory, 0001h/FFF0h): OK\n"
                                    "Node 2 (CPS-1848, 0374h/0038h): OK\n"
                                    "Node 3 (CPS-1848, 0374h/0038h): OK\n"
                                    "Node 5 (Memory, 1002h/FFF0h): OK\n"
                                    "Node 21 (Memory, 1001h/FFF0h): OK\n"
                                    "Link 1 (Node 1 port 0 - Node 2 port 0): Up\n"
                                    "Link 2 (Node 2 port 1 - Node 3 port 1): Up\n"
                                    "Link 4 (Node 3 port 2 - Node 5 port 0): Up\n"
                                    "Link 20 (Node 2 port 2 - Node 21 port 0): Up\n"
                                    "5 PEs checked, 0 not OK; 4 links between PEs, 0 not up\n";

class HealthCli : public ::testing::Test
{
protected:
    void SetUp() override
    {
        m_strTopology = TempPath("health.topo");
        std::ofstream(m_strTopology) << Topology();
        StartSim({});
        m_strMap = TempPath("health.nvm");
        const SRunResult result =
            Cli({"discover", "--scan", "5,0Ah", "--upload-tables", "--no-layout", "--save", m_strMap});
        ASSERT_EQ(0, result.nExitCode) << result.strErr;
    }
    void StartSim(const std::vector<std::string>& faults, const std::string& strTopology = {})
    {
        m_pSim.reset();
        std::vector<std::string> args = {"--no-udp", "--no-broadcast"};
        for (const std::string& strFault : faults)
        {
            args.push_back("--fault");
            args.push_back(strFault);
        }
        m_pSim =
            std::make_unique<nvtest::CSimProcess>(strTopology.empty() ? m_strTopology : strTopology, args);
        ASSERT_TRUE(m_pSim->Ready()) << m_pSim->ErrorOutput();
    }
    SRunResult Cli(std::vector<std::string> args, uint16_t wPort = 0)
    {
        std::vector<std::string> all = {"--server",  "127.0.0.1",
                                        "--wait-ms", "1500",
                                        "--port",    std::to_string(wPort ? wPort : m_pSim->TcpPort())};
        all.insert(all.end(), args.begin(), args.end());
        return RunProgram(nvtest::BuiltProgram("Cli/norvanta-cli"), all);
    }

    std::unique_ptr<nvtest::CSimProcess> m_pSim;
    std::string m_strTopology;
    std::string m_strMap;
};

TEST_F(HealthCli, AHealthyNetworkValidatesAndTheMonitorReportsOnlyChanges)
{
    SRunResult result = Cli({"validate", m_strMap});
    EXPECT_EQ(0, result.nExitCode) << result.strErr;
    EXPECT_EQ(kHealthyListing, result.strOut);
    EXPECT_EQ("", result.strErr);

    // Every PE goes from Unknown to OK in the first tick; the second finds nothing new.
    result = Cli({"health", m_strMap, "--ticks", "2", "--interval", "0"});
    EXPECT_EQ(0, result.nExitCode) << result.strErr;
    EXPECT_EQ("tick 1: Node 1: Unknown -> OK\n"
              "tick 1: Node 2: Unknown -> OK\n"
              "tick 1: Node 3: Unknown -> OK\n"
              "tick 1: Node 5: Unknown -> OK\n"
              "tick 1: Node 21: Unknown -> OK\n"
              "2 ticks, the last one covering 36 PEs\n"
              "5 PEs checked, 0 not OK; 4 links between PEs, 0 not up\n",
              result.strOut);

    // With --all the ports that lead nowhere are listed too, as links down.
    result = Cli({"validate", m_strMap, "--all"});
    EXPECT_EQ(0, result.nExitCode) << "links to nothing don't count";
    EXPECT_NE(std::string::npos,
              result.strOut.find(
                  "Link 3 (Node 3 port 0 - Node 4 port 0): Down: Node 3 port 0: Port not trained.\n"))
        << result.strOut;
}

TEST_F(HealthCli, FaultsInTheFabricShowAsStatesAndTheExitStatus)
{
    StartSim({"mute:device=ep2", "porterr:device=sw2,port=1,bits=0x100", "linkdown:link=sw1:2"});
    SRunResult result = Cli({"validate", m_strMap});
    EXPECT_EQ(1, result.nExitCode) << result.strErr;
    EXPECT_EQ("Node 1 (Processor with Memory, 0001h/FFF0h): OK\n"
              "Node 2 (CPS-1848, 0374h/0038h): OK\n"
              "Node 3 (CPS-1848, 0374h/0038h): OK\n"
              "Node 5 (Memory, 1002h/FFF0h): Not Responding\n"
              "Node 21 (Memory, 1001h/FFF0h): Not Responding\n"
              "Link 1 (Node 1 port 0 - Node 2 port 0): Up\n"
              "Link 2 (Node 2 port 1 - Node 3 port 1): Intermittent: Node 3 port 1: Outstanding port errors: "
              "Input Error-stopped (00000100h).\n"
              "Link 4 (Node 3 port 2 - Node 5 port 0): Up\n"
              "Link 20 (Node 2 port 2 - Node 21 port 0): Down: Node 2 port 2: Port not trained.\n"
              "5 PEs checked, 2 not OK; 4 links between PEs, 2 not up\n",
              result.strOut);

    result = Cli({"health", m_strMap, "--ticks", "3", "--interval", "0"});
    EXPECT_EQ(1, result.nExitCode) << result.strErr;
    EXPECT_NE(std::string::npos, result.strOut.find("tick 1: Node 5: Unknown -> Not Responding\n"))
        << result.strOut;
    EXPECT_NE(std::string::npos, result.strOut.find("tick 1: Link 20 (Node 2 port 2 - Node 21 port 0): Up -> "
                                                    "Down: Node 2 port 2: Port not trained.\n"))
        << result.strOut;
    EXPECT_EQ(std::string::npos, result.strOut.find("tick 2:")) << "the faults stay as they were";

    // The board behind sw1's port 2 was swapped for another device.
    const std::string strSwapped = TempPath("swapped.topo");
    std::ofstream(strSwapped) << Topology("0x2001");
    StartSim({}, strSwapped);
    result = Cli({"validate", m_strMap});
    EXPECT_EQ(1, result.nExitCode) << result.strErr;
    EXPECT_NE(std::string::npos,
              result.strOut.find("Node 21 (Memory, 1001h/FFF0h): Device ID Not Matching:2001h\n"))
        << result.strOut;
}

TEST_F(HealthCli, WhatCannotBeCheckedEndsWithStatusTwo)
{
    // A map without the switches' tables: sw1 is next to the host, but nothing leads through it to
    // sw2 (node 3).
    const std::string strNoTables = TempPath("notables.nvm");
    ASSERT_EQ(0, Cli({"discover", "--scan", "5,0Ah", "--no-layout", "--save", strNoTables}).nExitCode);
    SRunResult result = Cli({"validate", strNoTables});
    EXPECT_EQ(2, result.nExitCode);
    EXPECT_EQ("Unable to validate Node 3.\n\nCould not find a route to this node.  Valid routing tables are "
              "required for network validation.\n",
              result.strErr);
    result = Cli({"health", strNoTables, "--ticks", "1", "--interval", "0"});
    EXPECT_EQ(2, result.nExitCode);
    EXPECT_EQ("Unable to validate Node 3.\n\nCould not find a route to this node.  Valid routing tables are "
              "required for network validation. System Health Monitoring will now be disabled.\n",
              result.strErr);

    EXPECT_EQ(2, Cli({"validate", TempPath("missing.nvm")}).nExitCode);
    EXPECT_EQ(2, Cli({"health", m_strMap}).nExitCode) << "--ticks is required";
    EXPECT_EQ(2, Cli({"health", m_strMap, "--ticks", "x"}).nExitCode);
    const uint16_t wPort = m_pSim->TcpPort();
    m_pSim.reset();
    result = Cli({"validate", m_strMap}, wPort);
    EXPECT_EQ(2, result.nExitCode);
    EXPECT_EQ("", result.strOut);
    EXPECT_NE(std::string::npos, result.strErr.find("Unable to connect")) << result.strErr;
}
} // namespace
