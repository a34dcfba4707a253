// Scripts through norvanta-cli against norvanta-sim: a simple script run on a node of a map, a
// transaction log replayed, and an initialisation script generated from an enumerated ring and
// played on a fresh simulator of the same ring, which must end up with the IDs and tables that the
// enumeration and the table download left.
#include "SimProcess.h"
#include "TestSupport.h"

#include <gtest/gtest.h>

#include <fstream>
#include <regex>
#include <sstream>

namespace
{
using nvtest::RunProgram;
using nvtest::SRunResult;

SRunResult Cli(const nvtest::CSimProcess& sim, std::vector<std::string> args)
{
    std::vector<std::string> all = {"--server", "127.0.0.1", "--wait-ms",
                                    "1000",     "--port",    std::to_string(sim.TcpPort())};
    all.insert(all.end(), args.begin(), args.end());
    return RunProgram(nvtest::BuiltProgram("Cli/norvanta-cli"), all);
}

SRunResult Offline(std::vector<std::string> args)
{
    return RunProgram(nvtest::BuiltProgram("Cli/norvanta-cli"), args);
}

std::string TempPath(const std::string& strName)
{
    return nvtest::ProcessTempDir() + "/" + strName;
}

// An enumerated ring with its tables generated and downloaded, saved as strMap.
void PrepareRing(const nvtest::CSimProcess& sim, const std::string& strMap)
{
    SRunResult result = Cli(sim, {"discover", "--enumerate", "--no-layout", "--save", strMap});
    ASSERT_EQ(0, result.nExitCode) << result.strErr;
    result = Cli(sim, {"routes", "generate", strMap, "--download"});
    ASSERT_EQ(0, result.nExitCode) << result.strErr;
}

// The destination ID and hop count that reach a node of the map.
std::pair<std::string, std::string> Way(const std::string& strMap, int iNode)
{
    const SRunResult result = Offline({"route", "find", strMap, std::to_string(iNode)});
    std::smatch match;
    const std::regex kWay("destID ([0-9A-F]+)h hop count ([0-9]+)");
    if (result.nExitCode != 0 || !std::regex_search(result.strOut, match, kWay))
    {
        return {};
    }
    return {"0x" + match[1].str(), match[2].str()};
}

// What a simulator holds: each switch's four used tables (without the entries for the all-ones ID,
// which discovery and script leave as their temporary routes) and each endpoint's 8-bit base ID.
// The 16-bit ID of an 8-bit ring isn't compared: a map file of 8-bit IDs doesn't keep it, so the
// script sets it to FFFFh where the enumeration gave the host its own.
std::string FabricState(const nvtest::CSimProcess& sim, const std::string& strMap)
{
    std::ostringstream state;
    for (const int iSwitch : {2, 3, 5, 7})
    {
        const auto way = Way(strMap, iSwitch);
        for (int iTable = 0; iTable < 4; ++iTable)
        {
            const SRunResult result =
                Cli(sim, {"route", "load", std::to_string(iTable), "--dest", way.first, "--hop", way.second});
            state << "node " << iSwitch << " table " << iTable << " rc " << result.nExitCode << "\n";
            std::istringstream lines(result.strOut);
            for (std::string strLine; std::getline(lines, strLine);)
            {
                if (strLine.find("destid=0x00ff") == std::string::npos)
                {
                    state << strLine << "\n";
                }
            }
        }
    }
    for (const int iEndpoint : {1, 9, 24, 39, 54})
    {
        const auto way = Way(strMap, iEndpoint);
        const SRunResult result = Cli(sim, {"read", "0x60", "--dest", way.first, "--hop", way.second});
        const unsigned long ulBase =
            result.nExitCode == 0 ? std::stoul(result.strOut, nullptr, 16) : 0xFFFFFFFFul;
        state << "node " << iEndpoint << " base ID " << ((ulBase >> 16) & 0xFF) << " rc " << result.nExitCode
              << "\n";
    }
    return state.str();
}

TEST(ScriptCli, AnInitialisationScriptFromAnEnumerationBringsUpAFreshRingTheSameWay)
{
    nvtest::CSimProcess enumerated("ring.topo", {"--no-udp", "--no-broadcast"});
    ASSERT_TRUE(enumerated.Ready()) << enumerated.ErrorOutput();
    const std::string strMap = TempPath("initring.nvm");
    PrepareRing(enumerated, strMap);
    const std::string strScript = TempPath("initring.txt");
    SRunResult result = Offline({"initscript", strMap, "--host", "1", "--format", "script", "--comments",
                                 "--preinit", "--out", strScript});
    ASSERT_EQ(0, result.nExitCode) << result.strErr;
    EXPECT_NE(std::string::npos,
              result.strOut.find("Generated 78 actions from host node 1; saved " + strScript))
        << result.strOut;
    const std::string strText = nvtest::ReadFile(strScript);
    EXPECT_EQ(0u, strText.find("# Set destination ID\nSETDEST Vendor:FFF0h Device:1h Dest:FFFFFFFFh Hop:0h "
                               "ShortID:1h LongID:FFFFh\n"))
        << "a text file with the platform's line ends";
    EXPECT_EQ(std::string::npos, strText.find('\r'));

    const std::string strBefore = FabricState(enumerated, strMap);
    nvtest::CSimProcess fresh("ring.topo", {"--no-udp", "--no-broadcast"});
    ASSERT_TRUE(fresh.Ready()) << fresh.ErrorOutput();
    ASSERT_NE(strBefore, FabricState(fresh, strMap)) << "a fresh ring has neither IDs nor tables";
    result = Cli(fresh, {"initscript", "play", strScript});
    ASSERT_EQ(0, result.nExitCode) << result.strErr;
    EXPECT_EQ("Played 78 actions\n", result.strOut);
    EXPECT_EQ(strBefore, FabricState(fresh, strMap));
    EXPECT_NE(std::string::npos, strBefore.find("node 9 base ID 5 rc 0")) << strBefore;
}

TEST(ScriptCli, InitScriptFormatsAndRefusals)
{
    nvtest::CSimProcess sim("ring.topo", {"--no-udp", "--no-broadcast"});
    ASSERT_TRUE(sim.Ready()) << sim.ErrorOutput();
    const std::string strMap = TempPath("formats.nvm");
    PrepareRing(sim, strMap);
    SRunResult result = Offline({"initscript", strMap, "--host", "1", "--format", "header"});
    ASSERT_EQ(0, result.nExitCode) << result.strErr;
    EXPECT_EQ(0u, result.strOut.find(
                      "NVXL_SCRIPTCOMMANDSTRUCT asScript[] = {\n\t{\n\t\t.eOp=eNVXL_ScrOpSetDest,\n"));
    EXPECT_NE(std::string::npos, result.strOut.find("};\n#define NUMSCRIPTENTRIES 65\n")) << result.strOut;
    // No register values are kept in a fresh map: the value files are empty.
    result = Offline({"initscript", strMap, "--host", "1", "--format", "csv"});
    EXPECT_EQ(0, result.nExitCode);
    EXPECT_EQ("", result.strOut);

    result = Offline({"initscript", strMap, "--host", "2", "--format", "script"});
    EXPECT_EQ(1, result.nExitCode);
    EXPECT_NE(std::string::npos,
              result.strErr.find("The Host PE must be an endpoint.  Please select an endpoint.\n"));
    result = Offline({"initscript", strMap, "--host", "1000", "--format", "script"});
    EXPECT_EQ(1, result.nExitCode);
    EXPECT_NE(std::string::npos, result.strErr.find("Please enter a valid host node number."));
    EXPECT_EQ(2, Offline({"initscript", strMap, "--host", "1", "--format", "binary"}).nExitCode);
    EXPECT_EQ(2, Offline({"initscript", strMap, "--format", "script"}).nExitCode);
    result = Offline({"initscript", strMap, "--host", "1", "--format", "idt", "--out", "/nonexistent/x.txt"});
    EXPECT_EQ(1, result.nExitCode);
    EXPECT_EQ("Unable to open/nonexistent/x.txt, error 2\n", result.strErr);

    std::ofstream(TempPath("bad.txt")) << "SETDEST Vendor:38h\n";
    result = Cli(sim, {"initscript", "play", TempPath("bad.txt")});
    EXPECT_EQ(1, result.nExitCode);
    EXPECT_EQ("Line 1 of " + TempPath("bad.txt") + " is not an initialisation script command\n",
              result.strErr);
}

TEST(ScriptCli, ASimpleScriptRunsOnANodeOfTheMap)
{
    nvtest::CSimProcess sim("ring.topo", {"--no-udp", "--no-broadcast"});
    ASSERT_TRUE(sim.Ready()) << sim.ErrorOutput();
    const std::string strMap = TempPath("script.nvm");
    PrepareRing(sim, strMap);
    const std::string strScript = TempPath("poke.txt");
    std::ofstream(strScript) << "// tag the endpoint\r\nr 0\r\nw 0x6c 1234ABCD\r\nR 6C\r\nr 6E\r\n";
    SRunResult result = Cli(sim, {"script", "run", strScript, "--map", strMap, "--node", "9"});
    ASSERT_EQ(0, result.nExitCode) << result.strErr;
    EXPECT_EQ("// tag the endpoint\n"
              "r 0\n"
              "        /*0x00000000 0x1004FFF0*/\n"
              "w 0x6c 1234ABCD\n"
              "        /*read back: 0x0000006C 0x1234ABCD*/\n"
              "R 6C\n"
              ">>>>>>>>Warning: Unrecognized command ignored\n"
              "r 6E\n"
              ">>>>>>>>Warning: Address not 32-bit aligned.  Used 68 instead.\n"
              "        /*0x00000068 0x0000FFFF*/\n"
              "\n"
              "\n"
              "Script completed with 0 errors and 2 warnings.\n",
              result.strOut);
    // The tag is in the device: read it by the route the map gives.
    const auto way = Way(strMap, 9);
    result = Cli(sim, {"read", "0x6c", "--dest", way.first, "--hop", way.second});
    EXPECT_EQ("0x1234abcd\n", result.strOut);

    std::ofstream(strScript) << "w 6c 1\nw 1000000 0\nw 6c 2\n";
    result = Cli(sim, {"script", "run", strScript, "--map", strMap, "--node", "9"});
    EXPECT_EQ(1, result.nExitCode);
    EXPECT_NE(std::string::npos, result.strOut.find("w 1000000 0\n>>>>>>>>Invalid or missing address field.\n"
                                                    ">>>>>>>>Script aborted with 1 error and 0 warnings.\n"))
        << result.strOut;

    std::ofstream(TempPath("poke.scr")) << "r 0\n";
    result = Cli(sim, {"script", "run", TempPath("poke.scr"), "--map", strMap, "--node", "9"});
    EXPECT_EQ(1, result.nExitCode);
    EXPECT_NE(std::string::npos, result.strErr.find("Unknown script type.")) << result.strErr;
    EXPECT_EQ(1, Cli(sim, {"script", "run", strScript, "--map", strMap, "--node", "99"}).nExitCode);
    EXPECT_EQ(2, Cli(sim, {"script", "run", strScript, "--node", "9"}).nExitCode);
}

TEST(ScriptCli, ALogIsReplayedAndAChangedValueIsReported)
{
    nvtest::CSimProcess sim("ring.topo", {"--no-udp", "--no-broadcast"});
    ASSERT_TRUE(sim.Ready()) << sim.ErrorOutput();
    const std::string strLog = TempPath("replay.log");
    SRunResult result = Cli(sim, {"--log", strLog, "write", "0x6c", "0x5A5A"});
    ASSERT_EQ(0, result.nExitCode) << result.strErr;
    result = Cli(sim, {"--log", TempPath("replay2.log"), "read", "0x6c"});
    ASSERT_EQ(0, result.nExitCode) << result.strErr;
    const std::string strText = nvtest::ReadFile(strLog) + nvtest::ReadFile(TempPath("replay2.log"));
    ASSERT_NE(std::string::npos, strText.find("Maint_write ffffffff 2 0 6c 4 5a5a # Succeeded\n")) << strText;
    std::ofstream(strLog) << strText;

    // Something else changes the register; the replay writes it back and the read agrees.
    ASSERT_EQ(0, Cli(sim, {"write", "0x6c", "0x1"}).nExitCode);
    result = Cli(sim, {"script", "replay", strLog});
    EXPECT_EQ(0, result.nExitCode) << result.strOut << result.strErr;
    EXPECT_NE(std::string::npos, result.strOut.find("Replayed 1 writes and ")) << result.strOut;
    EXPECT_NE(std::string::npos, result.strOut.find(": 0 mismatches, ")) << result.strOut;
    EXPECT_EQ("0x00005a5a\n", Cli(sim, {"read", "0x6c"}).strOut);

    // A log whose read saw another value: the line is named.
    std::string strChanged = strText;
    const size_t nRead = strChanged.find("# 5a5a Succeeded");
    ASSERT_NE(std::string::npos, nRead) << strChanged;
    strChanged.replace(nRead, 6, "# 77 ");
    std::ofstream(strLog) << strChanged;
    result = Cli(sim, {"script", "replay", strLog});
    EXPECT_EQ(1, result.nExitCode);
    EXPECT_TRUE(std::regex_search(
        result.strOut, std::regex("Line [0-9]+: read of offset 6Ch at destID FFFFFFFFh hop 0h gave 5A5Ah, "
                                  "the log has 77h\n")))
        << result.strOut;
    EXPECT_EQ(2, Cli(sim, {"script", "replay"}).nExitCode);
    EXPECT_EQ(1, Cli(sim, {"script", "replay", TempPath("missing.log")}).nExitCode);
}
} // namespace
