// norvanta-cli over a serial line: norvanta-sim --serial serves its fabric on a pseudo-terminal,
// and every command reaches it through --serial; the line's faults and bad options.
#include "SimProcess.h"
#include "TestSupport.h"

#include <gtest/gtest.h>

namespace
{
using nvtest::RunProgram;
using nvtest::SRunResult;

SRunResult SerialCli(const std::string& strDevice, std::vector<std::string> args)
{
    std::vector<std::string> all = {"--wait-ms", "800", "--serial", strDevice};
    all.insert(all.end(), args.begin(), args.end());
    return RunProgram(nvtest::BuiltProgram("Cli/norvanta-cli"), all);
}

TEST(SerialCliTest, CommandsReachTheFabricOverTheSimulatorsSerialLine)
{
    // No TCP or UDP port is given to the client: only the serial line can carry these.
    nvtest::CSimProcess sim("demo.topo", {"--serial", "--no-udp", "--no-broadcast"});
    ASSERT_TRUE(sim.Ready()) << sim.ErrorOutput();
    ASSERT_EQ(0u, sim.SerialPath().rfind("/dev/pts/", 0)) << sim.SerialPath();

    SRunResult result = SerialCli(sim.SerialPath(), {"identify"});
    ASSERT_EQ(0, result.nExitCode) << result.strErr;
    EXPECT_EQ(0u, result.strOut.find("Processor\tNorvanta Simulator\n"));
    result = SerialCli(sim.SerialPath(), {"--baud", "9600", "--flow", "sw", "write", "6Ch", "0x7E111300"});
    ASSERT_EQ(0, result.nExitCode) << result.strErr;
    result = SerialCli(sim.SerialPath(), {"--flow", "hw", "read", "6Ch", "--size", "2", "--count", "2"});
    EXPECT_EQ("0x7e11\n0x1300\n", result.strOut) << result.strErr;
    // A whole discovery over the line: the map names the serial link as the host's.
    const std::string strMap = nvtest::ProcessTempDir() + "/serial-discovered.xml";
    result = SerialCli(sim.SerialPath(), {"discover", "--enumerate", "--no-layout", "--save", strMap});
    ASSERT_EQ(0, result.nExitCode) << result.strErr;
    EXPECT_NE(std::string::npos, result.strOut.find("Found 2 switches, 5 endpoints")) << result.strOut;
    EXPECT_NE(std::string::npos, nvtest::ReadFile(strMap).find("<ConnectionType>RS232</ConnectionType>"));
    EXPECT_EQ(0, sim.Stop()) << sim.ErrorOutput();
}

TEST(SerialCliTest, ALostByteFailsOneCommandWithItsTextAndTheNextWorks)
{
    nvtest::CSimProcess sim("demo.topo", {"--serial", "--serial-fault", "drop=7"});
    ASSERT_TRUE(sim.Ready()) << sim.ErrorOutput();
    // The first exchange of a run is the server's identification: its reply is the one damaged.
    SRunResult result = SerialCli(sim.SerialPath(), {"read", "0"});
    EXPECT_EQ(1, result.nExitCode);
    EXPECT_EQ("Error receiving identification response from server\n", result.strErr);
    EXPECT_EQ("", result.strOut);
    result = SerialCli(sim.SerialPath(), {"read", "0"});
    EXPECT_EQ(0, result.nExitCode) << result.strErr;
    EXPECT_EQ(11u, result.strOut.size()) << result.strOut;
}

TEST(SerialCliTest, BadLineOptionsAndAMissingDeviceGiveTheirTexts)
{
    SRunResult result = SerialCli("/dev/null", {"--baud", "1000", "read", "0"});
    EXPECT_EQ(2, result.nExitCode);
    EXPECT_EQ("Please select a valid BAUD Rate.\n", result.strErr);
    result = SerialCli("/dev/null", {"--flow", "rts", "read", "0"});
    EXPECT_EQ(2, result.nExitCode);
    EXPECT_EQ("Please select a valid flow control setting.\n", result.strErr);
    result = SerialCli(nvtest::ProcessTempDir() + "/no-such-tty", {"read", "0"});
    EXPECT_EQ(1, result.nExitCode);
    EXPECT_EQ(0u, result.strErr.find("Failed to Initalize RS232 Comms: " + nvtest::ProcessTempDir() +
                                     "/no-such-tty: "))
        << result.strErr;
}
} // namespace
