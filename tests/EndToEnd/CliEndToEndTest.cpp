// norvanta-cli against a running norvanta-sim: the road of a request from a command over a real
// socket to the simulated fabric and back, the failure paths of a broken server, and bad input.
#include "SimProcess.h"
#include "TestSupport.h"

#include <algorithm>
#include <gtest/gtest.h>

namespace
{
using nvtest::RunProgram;
using nvtest::SRunResult;

class CliTest : public ::testing::Test
{
protected:
    // Runs norvanta-cli against the simulator with a short wait limit.
    SRunResult Cli(const nvtest::CSimProcess& sim, std::vector<std::string> args, bool bUdp = false)
    {
        std::vector<std::string> all = {"--server", "127.0.0.1", "--wait-ms", "1500"};
        if (bUdp)
        {
            all.insert(all.end(), {"--udp", "--port", std::to_string(sim.UdpPort()), "--local-port", "0"});
        }
        else
        {
            all.insert(all.end(), {"--port", std::to_string(sim.TcpPort())});
        }
        all.insert(all.end(), args.begin(), args.end());
        return RunProgram(nvtest::BuiltProgram("Cli/norvanta-cli"), all);
    }
};

TEST_F(CliTest, IdentifyListsTheServerInformation)
{
    nvtest::CSimProcess sim("demo.topo");
    ASSERT_TRUE(sim.Ready()) << sim.ErrorOutput();
    const SRunResult result = Cli(sim, {"identify"});
    EXPECT_EQ(0, result.nExitCode) << result.strErr;
    EXPECT_EQ("Processor\tNorvanta Simulator\nOS\tNorvanta Simulator\nServer Version\t2.8\n",
              result.strOut.substr(0, result.strOut.find("Driver")));
    EXPECT_NE(std::string::npos, result.strOut.find("Interface Version\t20071021\n"));
    EXPECT_NE(std::string::npos, result.strOut.find("Memory Read\tSupported\n"));
    EXPECT_NE(std::string::npos, result.strOut.find("Flash Write\tSupported\n"));
    EXPECT_EQ(0, sim.Stop());
}

TEST_F(CliTest, ReadsAndWritesTheHostAndDevicesBehindASwitch)
{
    nvtest::CSimProcess sim("demo.topo");
    ASSERT_TRUE(sim.Ready()) << sim.ErrorOutput();
    // The host's own component tag: write two words (tag and the next register) and read back.
    SRunResult result = Cli(sim, {"write", "6Ch", "0x12345678"});
    ASSERT_EQ(0, result.nExitCode) << result.strErr;
    result = Cli(sim, {"read", "6Ch"});
    EXPECT_EQ("0x12345678\n", result.strOut);
    result = Cli(sim, {"read", "6Ch", "--size", "2", "--count", "2"});
    EXPECT_EQ("0x1234\n0x5678\n", result.strOut);
    // The first switch, one hop out: it reports the port the request came in on.
    result = Cli(sim, {"read", "14h", "--dest", "FFh", "--hop", "0"});
    ASSERT_EQ(0, result.nExitCode) << result.strErr;
    EXPECT_EQ(11u, result.strOut.size());
}

TEST_F(CliTest, LostResponseGivesTheTimeoutAndTheTargetsErrorList)
{
    nvtest::CSimProcess sim("demo.topo");
    ASSERT_TRUE(sim.Ready()) << sim.ErrorOutput();
    // The first switch has no route for ID 0x33: the request is dropped and never answered.
    const SRunResult result = Cli(sim, {"read", "0", "--dest", "33h", "--hop", "1"});
    EXPECT_EQ(1, result.nExitCode);
    EXPECT_EQ(0u, result.strErr.find("Norvanta Driver Error: RapidIO Timeout detected\n"
                                     "The following RapidIO errors were detected:\n[0x"))
        << result.strErr;
    // The list was collected: a second failure reports only its own error.
    const SRunResult again = Cli(sim, {"read", "0", "--dest", "33h", "--hop", "1"});
    EXPECT_EQ(std::count(again.strErr.begin(), again.strErr.end(), '['), 1) << again.strErr;
}

TEST_F(CliTest, UdpCarriesTheSameTransactions)
{
    nvtest::CSimProcess sim("demo.topo");
    ASSERT_TRUE(sim.Ready()) << sim.ErrorOutput();
    const SRunResult tcp = Cli(sim, {"read", "0"});
    const SRunResult udp = Cli(sim, {"read", "0", "--count", "4"}, true);
    ASSERT_EQ(0, udp.nExitCode) << udp.strErr;
    EXPECT_EQ(tcp.strOut, udp.strOut.substr(0, 11));
    EXPECT_EQ(44u, udp.strOut.size());
}

TEST_F(CliTest, SearchFindsTheSimulatorOnLoopback)
{
    const uint16_t wReplyPort = nvtest::FreeUdpPort();
    nvtest::CSimProcess sim("demo.topo", {"--reply-port", std::to_string(wReplyPort)});
    ASSERT_TRUE(sim.Ready()) << sim.ErrorOutput();
    const SRunResult result =
        RunProgram(nvtest::BuiltProgram("Cli/norvanta-cli"),
                   {"--broadcast", "127.255.255.255", "--broadcast-port", std::to_string(sim.BroadcastPort()),
                    "--reply-port", std::to_string(wReplyPort), "search"});
    ASSERT_EQ(0, result.nExitCode) << result.strErr;
    EXPECT_EQ(
        0u, result.strOut.find("IP Address\tDevice ID\tVendor ID\tShrt DestID\tLong DestID\tProt\tStatus\n"));
    EXPECT_NE(std::string::npos, result.strOut.find("\n127.0.0.1\t"));
    EXPECT_NE(std::string::npos, result.strOut.find("\tTCP\tReady\n"));
}

TEST_F(CliTest, BadNumbersAndCommandsAreRefusedBeforeAnyConnection)
{
    nvtest::CSimProcess sim("demo.topo");
    ASSERT_TRUE(sim.Ready()) << sim.ErrorOutput();
    SRunResult result = Cli(sim, {"read", "12G"});
    EXPECT_EQ(2, result.nExitCode);
    EXPECT_EQ("Invalid data entry. '12G'\n", result.strErr);
    result = Cli(sim, {"read", "0", "--size", "3"});
    EXPECT_EQ(2, result.nExitCode);
    result = Cli(sim, {"read", "0", "--hop", "256"});
    EXPECT_EQ(2, result.nExitCode);
    result = Cli(sim, {"frobnicate"});
    EXPECT_EQ(2, result.nExitCode);
    result = RunProgram(nvtest::BuiltProgram("Cli/norvanta-cli"), {"--server", "1.2.3", "identify"});
    EXPECT_EQ(1, result.nExitCode);
    EXPECT_EQ("Please enter a valid IP address.\n", result.strErr);
}

TEST_F(CliTest, NoServerGivesTheConnectionText)
{
    nvtest::CSimProcess sim("demo.topo");
    ASSERT_TRUE(sim.Ready()) << sim.ErrorOutput();
    const std::string strPort = std::to_string(sim.TcpPort());
    sim.Stop();
    const SRunResult result =
        RunProgram(nvtest::BuiltProgram("Cli/norvanta-cli"), {"--port", strPort, "identify"});
    EXPECT_EQ(1, result.nExitCode);
    EXPECT_EQ("Unable to connect to the Norvanta Server.\n\nThe server is either not currently running, or "
              "it is busy "
              "with another\nNorvanta Client connection.\n",
              result.strErr);
}

// A server that answers a read badly: each fault gives its status text, and the next connection
// to the same server works.
struct SFaultCase
{
    const char* pszName;
    const char* pszFault;
    const char* pszError;
};

// Names the case in test output instead of dumping its bytes.
void PrintTo(const SFaultCase& c, std::ostream* pStream)
{
    *pStream << c.pszName;
}

class CliFaultTest : public CliTest, public ::testing::WithParamInterface<SFaultCase>
{
};

TEST_P(CliFaultTest, ReadFailsWithItsTextAndTheServerRecovers)
{
    nvtest::CSimProcess sim("demo.topo", {"--fault", GetParam().pszFault});
    ASSERT_TRUE(sim.Ready()) << sim.ErrorOutput();
    SRunResult result = Cli(sim, {"read", "60h"});
    EXPECT_EQ(1, result.nExitCode);
    EXPECT_NE(std::string::npos, result.strErr.find(std::string(GetParam().pszError) + "\n"))
        << result.strErr;
    EXPECT_EQ("", result.strOut);
    result = Cli(sim, {"read", "60h"});
    EXPECT_EQ(0, result.nExitCode) << result.strErr;
    EXPECT_EQ(11u, result.strOut.size());
}

INSTANTIATE_TEST_SUITE_P(
    Faults, CliFaultTest,
    ::testing::Values(SFaultCase{"Drop", "drop:msg=3", "Unable to receive configuration read response"},
                      SFaultCase{"WrongLength", "badlength:msg=3", "Incorrect response"},
                      SFaultCase{"WrongEcho", "badecho:msg=3", "Response mismatch"},
                      SFaultCase{"WrongId", "badid:msg=3", "Incorrect response"},
                      SFaultCase{"Partial", "partial:msg=3", "Incorrect response"},
                      SFaultCase{"Close", "close:msg=3", "Unable to receive configuration read response"},
                      SFaultCase{"TargetStatus", "status:msg=3,value=-310",
                                 "Norvanta Driver Error: RapidIO Timeout detected"}),
    [](const auto& info) { return std::string(info.param.pszName); });

TEST_F(CliTest, ASlowReplyWithinTheWaitLimitStillSucceeds)
{
    nvtest::CSimProcess sim("demo.topo", {"--fault", "delay:msg=3,value=300"});
    ASSERT_TRUE(sim.Ready()) << sim.ErrorOutput();
    const SRunResult result = Cli(sim, {"read", "60h"});
    EXPECT_EQ(0, result.nExitCode) << result.strErr;
}

TEST_F(CliTest, TransactionLogHoldsReplayableLines)
{
    nvtest::CSimProcess sim("demo.topo");
    ASSERT_TRUE(sim.Ready()) << sim.ErrorOutput();
    const std::string strLog = nvtest::ProcessTempDir() + "/cli.log";
    const SRunResult result = Cli(sim, {"--log", strLog, "write", "6Ch", "ABCDh"});
    ASSERT_EQ(0, result.nExitCode) << result.strErr;
    EXPECT_EQ("Maint_write ffffffff 2 0 6c 4 abcd # Succeeded\n", nvtest::ReadFile(strLog));
}
} // namespace
