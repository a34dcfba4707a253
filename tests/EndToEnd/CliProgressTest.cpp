// Progress of long command-line work: at a terminal every device found and every switch whose
// tables move gets a line on standard error as it happens; in a pipe nothing but the results. The
// results on standard output are the same either way.
#include "SimProcess.h"
#include "TerminalRun.h"
#include "TestSupport.h"

#include <gtest/gtest.h>

#include <cstdio>
#include <sstream>

namespace
{
using nvtest::Lines;

std::vector<std::string> CliArgs(const nvtest::CSimProcess& sim, const std::vector<std::string>& args)
{
    std::vector<std::string> all = {"--server", "127.0.0.1", "--wait-ms",
                                    "1500",     "--port",    std::to_string(sim.TcpPort())};
    all.insert(all.end(), args.begin(), args.end());
    return all;
}

std::string CliProgram()
{
    return nvtest::BuiltProgram("Cli/norvanta-cli");
}

bool StartsWith(const std::string& strText, const std::string& strStart)
{
    return strText.compare(0, strStart.size(), strStart) == 0;
}

// The device IDs of the devices the map lists, in its order ("Node n: ... device XXXXh ...").
std::vector<unsigned> ListedDevices(const std::string& strOut)
{
    std::vector<unsigned> devices;
    for (const std::string& strLine : Lines(strOut))
    {
        const size_t nAt = strLine.find(" device ");
        unsigned uDevice = 0;
        if (StartsWith(strLine, "Node ") && nAt != std::string::npos &&
            std::sscanf(strLine.c_str() + nAt, " device %xh", &uDevice) == 1)
            devices.push_back(uDevice);
    }
    return devices;
}

TEST(CliProgress, DiscoveryShowsEachDeviceAsItIsFoundOnlyAtATerminal)
{
    // A tree: every device is reached once, so each line stands for one node of the map.
    nvtest::CSimProcess sim("pmc6352.topo", {"--no-udp", "--no-broadcast"});
    ASSERT_TRUE(sim.Ready()) << sim.ErrorOutput();
    const std::string strMap = nvtest::ProcessTempDir() + "/progress-tree.nvm";
    const std::vector<std::string> args =
        CliArgs(sim, {"discover", "--enumerate", "--no-layout", "--save", strMap});

    const nvtest::STerminalRun atTerminal = nvtest::RunOnTerminal(CliProgram(), args);
    ASSERT_EQ(0, atTerminal.nExitCode) << atTerminal.strTerminal;
    const std::vector<std::string> lines = Lines(atTerminal.strTerminal);
    ASSERT_FALSE(lines.empty());
    EXPECT_EQ("Beginning standard network discovery...", lines.front());
    EXPECT_EQ("Network discovery complete.", lines.back());
    // One line per device reached, in the order found, which is the order of the map's nodes.
    std::vector<unsigned> found;
    for (const std::string& strLine : lines)
    {
        unsigned uHop = 0, uDevice = 0, uVendor = 0;
        if (std::sscanf(strLine.c_str(), "FOUND DEVICE HopCount=%u:  DeviceID=%xh  VendorID=%xh", &uHop,
                        &uDevice, &uVendor) == 3)
            found.push_back(uDevice);
    }
    const std::vector<unsigned> listed = ListedDevices(atTerminal.strOut);
    EXPECT_EQ((std::vector<unsigned>{0x0001, 0x6352, 0x1001, 0x1002, 0x1003}), found)
        << atTerminal.strTerminal;
    EXPECT_EQ(listed, found) << atTerminal.strTerminal << atTerminal.strOut;

    // Into a pipe: the same results and no progress.
    const nvtest::SRunResult piped = nvtest::RunProgram(CliProgram(), args);
    ASSERT_EQ(0, piped.nExitCode) << piped.strErr;
    EXPECT_EQ(atTerminal.strOut, piped.strOut);
    EXPECT_EQ("", piped.strErr);
}

TEST(CliProgress, TableTransfersShowEachSwitchOnlyAtATerminal)
{
    nvtest::CSimProcess sim("ring.topo", {"--no-udp", "--no-broadcast"});
    ASSERT_TRUE(sim.Ready()) << sim.ErrorOutput();
    const std::string strMap = nvtest::ProcessTempDir() + "/progress-tables.nvm";
    const nvtest::SRunResult discovered = nvtest::RunProgram(
        CliProgram(),
        CliArgs(sim, {"discover", "--enumerate", "--no-layout", "--generate-routes", "--save", strMap}));
    ASSERT_EQ(0, discovered.nExitCode) << discovered.strErr;
    // The switches of the map, by node number.
    std::vector<int> switches;
    for (const std::string& strLine : Lines(discovered.strOut))
    {
        int iNode = 0;
        if (std::sscanf(strLine.c_str(), "Node %d:", &iNode) == 1 &&
            strLine.find(": Switch device ") != std::string::npos)
            switches.push_back(iNode);
    }
    ASSERT_EQ(4u, switches.size());

    for (const char* pszVerb : {"download", "upload"})
    {
        const std::vector<std::string> args = CliArgs(sim, {"routes", pszVerb, strMap});
        const nvtest::STerminalRun atTerminal = nvtest::RunOnTerminal(CliProgram(), args);
        ASSERT_EQ(0, atTerminal.nExitCode) << pszVerb << "\n" << atTerminal.strTerminal << atTerminal.strOut;
        const std::string strVerb = std::string(pszVerb) == "download" ? "Downloading" : "Uploading";
        std::vector<int> shown;
        for (const std::string& strLine : Lines(atTerminal.strTerminal))
        {
            int iNode = 0;
            const std::string strFormat = strVerb + " routing tables for Node %d.  Please wait...";
            if (std::sscanf(strLine.c_str(), strFormat.c_str(), &iNode) == 1)
                shown.push_back(iNode);
        }
        EXPECT_EQ(switches, shown) << atTerminal.strTerminal;

        const nvtest::SRunResult piped = nvtest::RunProgram(CliProgram(), args);
        ASSERT_EQ(0, piped.nExitCode) << piped.strErr;
        EXPECT_EQ(atTerminal.strOut, piped.strOut);
        EXPECT_EQ("", piped.strErr);
    }
}
} // namespace
