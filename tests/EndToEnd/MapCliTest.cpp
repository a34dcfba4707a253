// norvanta-cli's map and register library commands on files: a good map, a broken one, and the
// register tree of a known and of an unknown device.
#include "SimProcess.h"
#include "TestSupport.h"

#include <fstream>
#include <gtest/gtest.h>

namespace
{
using nvtest::RunProgram;
using nvtest::SRunResult;

SRunResult Cli(const std::vector<std::string>& args)
{
    return RunProgram(nvtest::BuiltProgram("Cli/norvanta-cli"), args);
}

std::string DataFile(const char* pszName)
{
    return nvtest::SourceDir() + "/tests/Common/NetworkMap/data/" + pszName;
}

TEST(MapCli, ShowAndCheckAGoodMap)
{
    SRunResult result = Cli({"map", "show", DataFile("version16.nvm")});
    ASSERT_EQ(0, result.nExitCode) << result.strErr;
    EXPECT_EQ(0u,
              result.strOut.find("Map version16.nvm: version 1.6, 16-bit transport\nActive map\nPEs: 1\n"));
    EXPECT_NE(std::string::npos, result.strOut.find("destID 101h  host link"));
    result = Cli({"map", "check", DataFile("version16.nvm")});
    EXPECT_EQ(0, result.nExitCode);
    EXPECT_EQ("version16.nvm: OK, 1 PEs, 0 connections\n", result.strOut);
}

TEST(MapCli, BrokenAndMissingMapsFailWithTheirText)
{
    const std::string strBroken = nvtest::ProcessTempDir() + "/broken.nvm";
    std::ofstream(strBroken) << "<NorvantaMap Version=\"1.7\"><ActiveMap>";
    SRunResult result = Cli({"map", "check", strBroken});
    EXPECT_EQ(1, result.nExitCode);
    EXPECT_NE(std::string::npos, result.strErr.find("Error parsing file\n")) << result.strErr;
    EXPECT_EQ("", result.strOut);
    result = Cli({"map", "show", nvtest::ProcessTempDir() + "/absent.nvm"});
    EXPECT_NE(0, result.nExitCode);
    EXPECT_NE("", result.strErr);
}

TEST(RegsCli, KnownDeviceHasItsOwnFileAndUnknownFallsToTheGenericOne)
{
    SRunResult result = Cli({"regs", "show", "374h", "38h"});
    ASSERT_EQ(0, result.nExitCode) << result.strErr;
    EXPECT_EQ(0u, result.strOut.find("Device 0374h vendor 0038h: CPS-1848, register file 0_03740038\n"));
    EXPECT_NE(std::string::npos,
              result.strOut.find("  0x000000  Device Identity CAR\n      [0:15] DeviceIdentity (R)\n"));
    result = Cli({"regs", "show", "1234h", "38h"});
    ASSERT_EQ(0, result.nExitCode) << result.strErr;
    EXPECT_EQ(0u, result.strOut.find("Device 1234h vendor 0038h: unknown device (generic endpoint)"));
    result = Cli({"regs", "show", "zz", "38h"});
    EXPECT_NE(0, result.nExitCode);
    EXPECT_EQ("", result.strOut);
}
} // namespace
