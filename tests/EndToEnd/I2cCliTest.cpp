// norvanta-cli over an I2C pod: the simulated pod library with the register ports of a fabric's
// switches, reached by --i2c, and the failures a person can cause on that link.
#include "SimProcess.h"
#include "TestSupport.h"

#include <gtest/gtest.h>

#include <cstdlib>

namespace
{
using nvtest::RunProgram;
using nvtest::SRunResult;

class I2cCliTest : public ::testing::Test
{
protected:
    void SetUp() override
    {
        ::setenv("NORVANTA_I2C_POD", (nvtest::BinaryDir() + "/Simulator/libnvsim_i2cpod.so").c_str(), 1);
        const std::string strConfig = "topology=" + nvtest::SourceDir() +
                                      "/Simulator/topologies/families.topo;port=sw0@0x03;port=sw578@0x04;"
                                      "port=cps1616@0x2A5";
        ::setenv("NORVANTA_I2C_SIM", strConfig.c_str(), 1);
    }
    void TearDown() override
    {
        ::unsetenv("NORVANTA_I2C_POD");
        ::unsetenv("NORVANTA_I2C_SIM");
    }
    static SRunResult Cli(std::vector<std::string> args)
    {
        return RunProgram(nvtest::BuiltProgram("Cli/norvanta-cli"), args);
    }
};

TEST_F(I2cCliTest, RegistersOfEachPortReadOverTheLink)
{
    // A CPS-1848 at a 7-bit address: its Device Identity and Device Information CARs.
    SRunResult result = Cli({"--i2c", "pod0:3", "read", "0", "--dest", "FFh", "--count", "2"});
    ASSERT_EQ(0, result.nExitCode) << result.strErr;
    EXPECT_EQ("0x03740038\n0x00000000\n", result.strOut);
    // A Tsi578 through its register window: the link finds the family itself.
    result = Cli({"--i2c", "pod0:4", "read", "0", "--dest", "FFh"});
    ASSERT_EQ(0, result.nExitCode) << result.strErr;
    EXPECT_EQ("0x0578000d\n", result.strOut);
    // A CPS-1616 at a 10-bit address.
    result = Cli({"--i2c", "pod0:2A5h", "--ten-bit", "read", "0", "--dest", "FFh"});
    ASSERT_EQ(0, result.nExitCode) << result.strErr;
    EXPECT_EQ("0x03790038\n", result.strOut);
    result = Cli({"--i2c", "pod0:4", "write", "6Ch", "12345678h", "--dest", "FFh"});
    EXPECT_EQ(0, result.nExitCode) << result.strErr;
}

TEST_F(I2cCliTest, BadTargetsAreToldAndNothingOpens)
{
    // No device acknowledges the address.
    SRunResult result = Cli({"--i2c", "pod0:0x33", "read", "0"});
    EXPECT_EQ(1, result.nExitCode);
    EXPECT_NE(std::string::npos, result.strErr.find("I2C Write failed with error 32"));
    EXPECT_NE(std::string::npos, result.strErr.find("Attempt to read a I2C register failed"));
    // An address beyond 7 bits without --ten-bit, a channel that isn't one, a pod channel the pod
    // doesn't have.
    result = Cli({"--i2c", "pod0:2A5h", "read", "0"});
    EXPECT_EQ(1, result.nExitCode);
    EXPECT_NE(std::string::npos, result.strErr.find("Address out of range.")) << result.strErr;
    result = Cli({"--i2c", "podX:3", "read", "0"});
    EXPECT_EQ(1, result.nExitCode);
    EXPECT_NE(std::string::npos, result.strErr.find("--i2c takes CHANNEL:ADDRESS")) << result.strErr;
    result = Cli({"--i2c", "pod7:3", "read", "0"});
    EXPECT_EQ(1, result.nExitCode);
    EXPECT_NE(std::string::npos, result.strErr.find("Unable to open channel 7 of the I2C pod"))
        << result.strErr;
    // The pod library missing altogether.
    ::setenv("NORVANTA_I2C_POD", "/nonexistent/libpod.so", 1);
    result = Cli({"--i2c", "pod0:3", "read", "0"});
    EXPECT_EQ(1, result.nExitCode);
    EXPECT_NE(std::string::npos, result.strErr.find("libMPSSE.dll was not loaded.")) << result.strErr;
}
} // namespace
