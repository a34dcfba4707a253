// norvanta-cli's map and register library commands on files: a good map, a broken one, and the
// register tree of a known and of an unknown device.
#include "SimProcess.h"
#include "TestSupport.h"

#include <fstream>
#include <gtest/gtest.h>
#include <regex>
#include <vector>

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

// The type word of every PE of the active map, in file order, and the text of the file's
// connections, each as {start, length} of its PE1 and PE2 elements.
struct SMapText
{
    std::vector<std::string> types;
    struct SEnd
    {
        size_t nAt;
        size_t nLength;
        int iPort;
        int iPE;
    };
    std::vector<std::pair<SEnd, SEnd>> connections;
};

SMapText ScanMapText(const std::string& strText)
{
    SMapText scan;
    const size_t nConnections = strText.find("<ConnectionList>");
    const std::string strPEs = strText.substr(0, nConnections);
    const std::regex type(R"(\n\t\t\t\t<Type>([A-Za-z]+)</Type>)");
    for (auto it = std::sregex_iterator(strPEs.begin(), strPEs.end(), type); it != std::sregex_iterator();
         ++it)
    {
        scan.types.push_back((*it)[1]);
    }
    const std::regex end(R"re(<PE([12]) Port="(\d+)">(\d+)</PE[12]>)re");
    SMapText::SEnd first{};
    for (auto it =
             std::sregex_iterator(strText.begin() + static_cast<long>(nConnections), strText.end(), end);
         it != std::sregex_iterator(); ++it)
    {
        const SMapText::SEnd one{nConnections + static_cast<size_t>(it->position()),
                                 static_cast<size_t>(it->length()), std::stoi((*it)[2]), std::stoi((*it)[3])};
        if ((*it)[1] == "1")
        {
            first = one;
        }
        else
        {
            scan.connections.emplace_back(first, one);
        }
    }
    return scan;
}

std::string WithEnd(std::string strText, const SMapText::SEnd& end, const char* pszName, int iPort)
{
    return strText.replace(end.nAt, end.nLength,
                           "<" + std::string(pszName) + " Port=\"" + std::to_string(iPort) + "\">" +
                               std::to_string(end.iPE) + "</" + pszName + ">");
}

// A discovery puts a Null PE (no ports of its own) behind every empty switch port and joins it by
// its port 0: such maps must pass, while a port a PE hasn't got is still a fault.
bool Discover(const char* pszTopology, const std::string& strMap)
{
    nvtest::CSimProcess sim(pszTopology, {"--no-udp", "--no-broadcast"});
    const SRunResult result =
        RunProgram(nvtest::BuiltProgram("Cli/norvanta-cli"),
                   {"--server", "127.0.0.1", "--wait-ms", "1500", "--port", std::to_string(sim.TcpPort()),
                    "discover", "--enumerate", "--no-layout", "--save", strMap});
    EXPECT_EQ(0, result.nExitCode) << result.strErr << sim.ErrorOutput();
    return result.nExitCode == 0;
}

TEST(MapCli, DiscoveredMapsPassTheCheckAndPortFaultsStillFail)
{
    const std::string strMap = nvtest::ProcessTempDir() + "/demo-discovered.nvm";
    ASSERT_TRUE(Discover("demo.topo", strMap));
    SRunResult result = Cli({"map", "check", strMap});
    EXPECT_EQ(0, result.nExitCode) << result.strErr;
    EXPECT_EQ("demo-discovered.nvm: OK, 34 PEs, 34 connections\n", result.strOut);
    // Devices that trained but couldn't be read stand in the map the same way, as Unknown PEs.
    const std::string strUnknowns = nvtest::ProcessTempDir() + "/unanswering-discovered.nvm";
    ASSERT_TRUE(Discover("unanswering.topo", strUnknowns));
    result = Cli({"map", "check", strUnknowns});
    EXPECT_EQ(0, result.nExitCode) << result.strErr;
    EXPECT_EQ("unanswering-discovered.nvm: OK, 19 PEs, 18 connections\n", result.strOut);

    const std::string strText = nvtest::ReadFile(strMap);
    const SMapText scan = ScanMapText(strText);
    ASSERT_EQ(34u, scan.types.size());
    ASSERT_EQ(34u, scan.connections.size());
    // The first connection that ends on a Null PE, and the first between two switches.
    int iNullLink = -1;
    int iSwitchLink = -1;
    for (size_t i = 0; i < scan.connections.size(); ++i)
    {
        const auto& [one, two] = scan.connections[i];
        if (iNullLink < 0 && scan.types[static_cast<size_t>(two.iPE)] == "Null")
        {
            iNullLink = static_cast<int>(i);
        }
        if (iSwitchLink < 0 && scan.types[static_cast<size_t>(one.iPE)] == "S" &&
            scan.types[static_cast<size_t>(two.iPE)] == "S")
        {
            iSwitchLink = static_cast<int>(i);
        }
    }
    ASSERT_GE(iNullLink, 0);
    ASSERT_GE(iSwitchLink, 0);
    const SMapText::SEnd& nullEnd = scan.connections[static_cast<size_t>(iNullLink)].second;
    EXPECT_EQ(0, nullEnd.iPort);

    const std::string strFaulty = nvtest::ProcessTempDir() + "/demo-faulty.nvm";
    const std::string strNullFault = "Connection " + std::to_string(iNullLink + 1) + " uses port 1 of Node " +
                                     std::to_string(nullEnd.iPE + 1) + ", which has 0 ports.\n";
    std::ofstream(strFaulty) << WithEnd(strText, nullEnd, "PE2", 1);
    result = Cli({"map", "check", strFaulty});
    EXPECT_EQ(2, result.nExitCode);
    EXPECT_EQ(strNullFault, result.strErr);
    EXPECT_EQ("", result.strOut);

    const SMapText::SEnd& switchEnd = scan.connections[static_cast<size_t>(iSwitchLink)].first;
    std::ofstream(strFaulty) << WithEnd(strText, switchEnd, "PE1", 18);
    result = Cli({"map", "check", strFaulty});
    EXPECT_EQ(2, result.nExitCode);
    EXPECT_EQ("Connection " + std::to_string(iSwitchLink + 1) + " uses port 18 of Node " +
                  std::to_string(switchEnd.iPE + 1) + ", which has 18 ports.\n",
              result.strErr);
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
