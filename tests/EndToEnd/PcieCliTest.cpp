// norvanta-cli over the PCIe link (--pcie N) on the simulated Tsi721 mport library: each run of
// the program opens the bridge afresh on a fabric loaded from tsi721.topo. Values are checked
// against a copy of that fabric read directly.
#include "SimProcess.h"
#include "TestSupport.h"

#include "nvsim/Fabric.h"
#include "nvsim/Topology.h"

#include <gtest/gtest.h>

#include <cstdio>
#include <cstdlib>
#include <filesystem>

namespace
{
using nvtest::RunProgram;
using nvtest::SRunResult;

std::string Hex(uint32_t ulValue)
{
    char sz[16];
    std::snprintf(sz, sizeof(sz), "0x%08x", ulValue);
    return sz;
}

class PcieCliTest : public ::testing::Test
{
protected:
    static std::string Topology(const char* pszName)
    {
        return nvtest::SourceDir() + "/Simulator/topologies/" + pszName;
    }
    void SetUp() override
    {
        ::setenv("NORVANTA_MPORT_LIBRARY", (nvtest::BinaryDir() + "/Simulator/libnvsim_mport.so").c_str(), 1);
        ::setenv("NVSIM_MPORT_TOPOLOGY", Topology("tsi721.topo").c_str(), 1);
        ::unsetenv("NVSIM_MPORT_UNPLUG_AFTER");
        std::string strError;
        m_pReference = nvsim::LoadTopologyFile(Topology("tsi721.topo"), &strError);
        ASSERT_TRUE(m_pReference) << strError;
    }
    void TearDown() override
    {
        ::unsetenv("NORVANTA_MPORT_LIBRARY");
        ::unsetenv("NVSIM_MPORT_TOPOLOGY");
        ::unsetenv("NVSIM_MPORT_UNPLUG_AFTER");
    }
    static SRunResult Cli(std::vector<std::string> args)
    {
        args.insert(args.begin(), {"--pcie", "0"});
        return RunProgram(nvtest::BuiltProgram("Cli/norvanta-cli"), args);
    }
    uint32_t Reference(uint32_t ulDestID, uint8_t uchHop, uint32_t ulOffset)
    {
        uint32_t ulValue = 0;
        EXPECT_EQ(0, m_pReference->MaintRead(0, ulDestID, uchHop, ulOffset, &ulValue, 1, 4, 4, false));
        return ulValue;
    }
    static std::string Temp(const std::string& strName) { return nvtest::ProcessTempDir() + "/" + strName; }

    std::unique_ptr<nvsim::CSimFabric> m_pReference;
};

TEST_F(PcieCliTest, IdentifyReadAndWriteGoThroughTheBridge)
{
    SRunResult result = Cli({"identify"});
    ASSERT_EQ(0, result.nExitCode) << result.strErr;
    // The bridge's capabilities: memory, doorbells and messages, no traffic generators or flash.
    EXPECT_NE(std::string::npos, result.strOut.find("Memory Read\tSupported"));
    EXPECT_NE(std::string::npos, result.strOut.find("Message Reception\tSupported"));
    EXPECT_EQ(std::string::npos, result.strOut.find("Flash"));
    EXPECT_EQ(std::string::npos, result.strOut.find("Traffic Generator"));

    result = Cli({"read", "0x60"});
    ASSERT_EQ(0, result.nExitCode) << result.strErr;
    EXPECT_EQ(Hex(Reference(0xFFFFFFFFu, 0, 0x60)) + "\n", result.strOut);
    // The PCI configuration window of the front end: vendor and device of the function.
    result = Cli({"read", "0x70000"});
    ASSERT_EQ(0, result.nExitCode) << result.strErr;
    EXPECT_EQ("0x80ab111d\n", result.strOut);
    result = Cli({"read", "0", "--dest", "0x20", "--hop", "1", "--count", "2", "--stride", "8"});
    ASSERT_EQ(0, result.nExitCode) << result.strErr;
    EXPECT_EQ(Hex(Reference(0x20, 1, 0)) + "\n" + Hex(Reference(0x20, 1, 8)) + "\n", result.strOut);

    // Taking the endpoint's lock writes the host ID and reads it back in one run.
    result = Cli({"lock", "acquire", "--host", "0x05", "--dest", "0x20", "--hop", "1"});
    ASSERT_EQ(0, result.nExitCode) << result.strErr;
    EXPECT_EQ("lock owner: 0x0005\n", result.strOut);

    result = Cli({"write", "0x6c", "0x1234", "--dest", "0x33", "--hop", "1"});
    EXPECT_EQ(1, result.nExitCode);
    EXPECT_NE(std::string::npos, result.strErr.find("Attempt to write a Tsi721Driver register failed"));
}

TEST_F(PcieCliTest, DiscoveryOverTheBridgeFindsTheFabric)
{
    const std::string strMap = Temp("pcie.nvm");
    SRunResult result = Cli({"discover", "--save", strMap});
    ASSERT_EQ(0, result.nExitCode) << result.strErr;
    EXPECT_NE(std::string::npos, result.strOut.find("Bridge device 80ABh vendor 0038h destID 5h"));
    EXPECT_NE(std::string::npos, result.strOut.find("Found 1 switches, 2 endpoints"));
    // The switch's registers, read through the bridge into a file.
    result = Cli({"regs", "save", strMap, "2", Temp("sw0.csv")});
    ASSERT_EQ(0, result.nExitCode) << result.strErr;
    const std::string strCsv = nvtest::ReadFile(Temp("sw0.csv"));
    EXPECT_NE(std::string::npos, strCsv.find("000000," + Hex(Reference(0xFF, 0, 0)).substr(2)));
}

TEST_F(PcieCliTest, ABridgeThatGoesAwayMidReadFailsWithTheReadText)
{
    // Opening and the identity take a few calls; the fourth word of the read finds the bridge gone.
    for (const char* pszAfter : {"6", "8"})
    {
        ::setenv("NVSIM_MPORT_UNPLUG_AFTER", pszAfter, 1);
        const SRunResult result = Cli({"read", "0", "--dest", "0x20", "--hop", "1", "--count", "32"});
        EXPECT_EQ(1, result.nExitCode) << pszAfter;
        EXPECT_EQ("", result.strOut) << "no partial result is printed";
        EXPECT_EQ("Attempt to read a Tsi721Driver register failed\n", result.strErr);
    }
}

TEST_F(PcieCliTest, AHostThatIsNoTsi721AndAMissingIndexAreNoBoard)
{
    SRunResult result = RunProgram(nvtest::BuiltProgram("Cli/norvanta-cli"), {"--pcie", "1", "identify"});
    EXPECT_EQ(1, result.nExitCode);
    EXPECT_EQ("No PCIe Tsi721 boards found.\n", result.strErr);
    ::setenv("NVSIM_MPORT_TOPOLOGY", Topology("chain.topo").c_str(), 1);
    result = Cli({"identify"});
    EXPECT_EQ(1, result.nExitCode);
    EXPECT_EQ("No PCIe Tsi721 boards found.\n", result.strErr);
}

TEST_F(PcieCliTest, WithoutAnMportDriverTheDriverTextShows)
{
    if (std::filesystem::exists("/sys/class/rio_mport") || std::filesystem::exists("/dev/rio_mport0"))
    {
        GTEST_SKIP() << "this machine has an mport driver";
    }
    ::unsetenv("NORVANTA_MPORT_LIBRARY");
    const SRunResult result = Cli({"identify"});
    EXPECT_EQ(1, result.nExitCode);
    EXPECT_EQ(0u, result.strErr.find("The Tsi721 device driver could not be loaded."));
}

TEST_F(PcieCliTest, PcieNeedsABridgeNumber)
{
    const SRunResult result =
        RunProgram(nvtest::BuiltProgram("Cli/norvanta-cli"), {"--pcie", "x", "identify"});
    EXPECT_EQ(2, result.nExitCode);
    EXPECT_FALSE(result.strErr.empty());
}
} // namespace
