// norvanta-cli's device commands against norvanta-sim's demo fabric, whose switches are CPS-1848s:
// routing tables, the device lock between two hosts, port training and errors, and refusals of
// bad values.
#include "SimProcess.h"
#include "TestSupport.h"

#include <gtest/gtest.h>

namespace
{
using nvtest::RunProgram;
using nvtest::SRunResult;

class DeviceCliTest : public ::testing::Test
{
protected:
    void SetUp() override { ASSERT_TRUE(m_sim.Ready()) << m_sim.ErrorOutput(); }

    // A command on the first switch, one hop out of the host.
    SRunResult OnSwitch(std::vector<std::string> args)
    {
        std::vector<std::string> all = {"--port", std::to_string(m_sim.TcpPort()), "--wait-ms", "1500"};
        all.insert(all.end(), args.begin(), args.end());
        all.insert(all.end(), {"--dest", "FFh", "--hop", "0"});
        return RunProgram(nvtest::BuiltProgram("Cli/norvanta-cli"), all);
    }

    nvtest::CSimProcess m_sim{"demo.topo"};
};

TEST_F(DeviceCliTest, RoutingTableStoreAndLoadRoundTrip)
{
    SRunResult result = OnSwitch({"route", "store", "255", "5=1", "6=2", "0x20=4"});
    ASSERT_EQ(0, result.nExitCode) << result.strErr;
    EXPECT_EQ("stored 256 entries\n", result.strOut);
    result = OnSwitch({"route", "load", "255"});
    ASSERT_EQ(0, result.nExitCode) << result.strErr;
    EXPECT_EQ("destid=0x0005 type=port port=1 extra=0x0\n"
              "destid=0x0006 type=port port=2 extra=0x0\n"
              "destid=0x0020 type=port port=4 extra=0x0\n",
              result.strOut);
    // The CPS-1848 also reads and writes entry by entry; an ID the store left out is unrouted, and
    // the table of all ports stands for each port's.
    result = OnSwitch({"route", "get", "255", "7"});
    ASSERT_EQ(0, result.nExitCode) << result.strErr;
    EXPECT_EQ("destid=0x0007 type=unrouted port=223 extra=0x0\n", result.strOut);
    result = OnSwitch({"route", "add", "255", "7", "2"});
    ASSERT_EQ(0, result.nExitCode) << result.strErr;
    result = OnSwitch({"route", "get", "4", "7"});
    ASSERT_EQ(0, result.nExitCode) << result.strErr;
    EXPECT_EQ("destid=0x0007 type=port port=2 extra=0x0\n", result.strOut);
}

TEST_F(DeviceCliTest, LockIsTakenRefusedToALowerHostAndReleased)
{
    SRunResult result = OnSwitch({"lock", "acquire", "--host", "7"});
    ASSERT_EQ(0, result.nExitCode) << result.strErr;
    EXPECT_EQ("lock owner: 0x0007\n", result.strOut);
    // Host 1 (the simulator's host ID) has the lower ID and so the lower priority.
    result = OnSwitch({"lock", "acquire"});
    EXPECT_EQ(1, result.nExitCode);
    EXPECT_EQ("lock owner: 0x0007\nAnother higher priority host was detected\n", result.strErr);
    result = OnSwitch({"lock", "release"});
    EXPECT_EQ(1, result.nExitCode);
    EXPECT_EQ("lock owner: 0x0007\nAnother host has already locked the specified PE\n", result.strErr);
    result = OnSwitch({"lock", "acquire", "--break"});
    ASSERT_EQ(0, result.nExitCode) << result.strErr;
    EXPECT_EQ("lock owner: 0x0001\n", result.strOut);
    result = OnSwitch({"lock", "release"});
    ASSERT_EQ(0, result.nExitCode) << result.strErr;
    EXPECT_EQ("lock owner: none\n", result.strOut);
}

TEST_F(DeviceCliTest, PortsTrainedAndErrorsCleared)
{
    SRunResult result = OnSwitch({"ports", "trained"});
    ASSERT_EQ(0, result.nExitCode) << result.strErr;
    // sw1, a CPS-1848, has links on ports 0, 1, 2, 4 and 5 of its 18.
    std::string strExpected;
    for (int iPort = 0; iPort < 18; ++iPort)
    {
        const bool bLinked = iPort <= 2 || iPort == 4 || iPort == 5;
        strExpected += "port " + std::to_string(iPort) + (bLinked ? ": trained\n" : ": not trained\n");
    }
    EXPECT_EQ(strExpected, result.strOut);
    result = OnSwitch({"port", "errors", "clear", "1"});
    EXPECT_EQ(0, result.nExitCode) << result.strErr;
    EXPECT_EQ("remaining errors: 0x00000000\n", result.strOut);
}

TEST_F(DeviceCliTest, BadValuesAreRefused)
{
    // A speed that no RapidIO link runs at is refused by the HAL before it looks at the device.
    SRunResult result = OnSwitch({"speed", "set", "1", "3000"});
    EXPECT_EQ(1, result.nExitCode);
    EXPECT_EQ("In invalid parameter was specified\n", result.strErr);
    result = OnSwitch({"route", "load", "256"});
    EXPECT_EQ(2, result.nExitCode);
    result = OnSwitch({"route", "store", "255", "70000=1"});
    EXPECT_EQ(2, result.nExitCode);
    result = OnSwitch({"port", "errors", "clear", "300"});
    EXPECT_EQ(2, result.nExitCode);
}
} // namespace
