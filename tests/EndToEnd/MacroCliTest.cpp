// Macros through norvanta-cli against norvanta-sim: every sample of examples/macros, in both
// languages, run on the demo fabric, its output checked against what the simulator holds as the
// CLI's own reads and the map show it; and the command's handling of bad files, script errors,
// a missing target, returned values and the time limit.
#include "SimProcess.h"
#include "TestSupport.h"

#include <gtest/gtest.h>

#include <fstream>
#include <map>
#include <regex>
#include <set>

namespace
{
using nvtest::RunProgram;
using nvtest::SRunResult;

SRunResult Cli(uint16_t wPort, std::vector<std::string> args)
{
    std::vector<std::string> all = {"--server", "127.0.0.1", "--wait-ms",
                                    "1000",     "--port",    std::to_string(wPort)};
    all.insert(all.end(), args.begin(), args.end());
    return RunProgram(nvtest::BuiltProgram("Cli/norvanta-cli"), all);
}

std::string Sample(const std::string& strName)
{
    return nvtest::SourceDir() + "/examples/macros/" + strName;
}

std::string WriteMacro(const std::string& strName, const std::string& strText)
{
    const std::string strPath = nvtest::ProcessTempDir() + "/" + strName;
    std::ofstream(strPath) << strText;
    return strPath;
}

uint32_t Number(const std::string& strText)
{
    return static_cast<uint32_t>(std::stoul(strText, nullptr, 0));
}

// One 32-bit word read by the CLI's own maintenance read.
uint32_t ReadWord(uint16_t wPort, uint32_t ulOffset, uint32_t ulDest, int iHop)
{
    const SRunResult result = Cli(wPort, {"read", std::to_string(ulOffset), "--dest", std::to_string(ulDest),
                                          "--hop", std::to_string(iHop)});
    EXPECT_EQ(result.nExitCode, 0) << result.strErr;
    return result.strOut.empty() ? 0xDEADBEEF : Number(nvtest::Lines(result.strOut).at(0));
}

// The demo fabric, discovered into a map with the switches' routing tables.
class CMacroCliTest : public ::testing::TestWithParam<std::string>
{
protected:
    void StartSim(const std::vector<std::string>& extra = {})
    {
        m_pSim = std::make_unique<nvtest::CSimProcess>("demo.topo", extra);
        ASSERT_TRUE(m_pSim->Ready());
    }

    void DiscoverMap()
    {
        m_strMap = nvtest::ProcessTempDir() + "/demo-" + GetParam() + ".nvm";
        SRunResult result = Cli(Port(), {"discover", "--no-layout", "--save", m_strMap});
        ASSERT_EQ(result.nExitCode, 0) << result.strErr;
        result = Cli(Port(), {"routes", "upload", m_strMap});
        ASSERT_EQ(result.nExitCode, 0) << result.strErr;
    }

    SRunResult RunSample(const std::string& strName, const std::string& strMethod, bool bWithMap = false)
    {
        std::vector<std::string> args = {"macro", "run", Sample(strName + "." + GetParam()), strMethod};
        if (bWithMap)
        {
            args.insert(args.end(), {"--map", m_strMap});
        }
        return Cli(Port(), args);
    }

    uint16_t Port() const { return m_pSim->TcpPort(); }

    std::unique_ptr<nvtest::CSimProcess> m_pSim;
    std::string m_strMap;
};

TEST_P(CMacroCliTest, IdentityShowsTheHostsCapabilityRegisters)
{
    StartSim();
    const SRunResult result = RunSample("identity", "ShowHostIdentity");
    ASSERT_EQ(result.nExitCode, 0) << result.strErr;
    const std::vector<std::string> lines = nvtest::Lines(result.strOut);
    ASSERT_EQ(lines.size(), 9u) << result.strOut;

    const uint32_t ulIdentity = ReadWord(Port(), 0, 0xFFFFFFFF, 0);
    char szFirst[64];
    std::snprintf(szFirst, sizeof szFirst, "Host device: device 0x%04X vendor 0x%04X", ulIdentity >> 16,
                  ulIdentity & 0xFFFF);
    EXPECT_EQ(lines[0], szFirst);
    const std::regex kCar(R"(.* CAR \(0x([0-9A-F]{2})\): 0x([0-9A-F]{8}))");
    for (size_t i = 1; i < lines.size(); ++i)
    {
        std::smatch match;
        ASSERT_TRUE(std::regex_match(lines[i], match, kCar)) << lines[i];
        const uint32_t ulOffset = Number("0x" + match[1].str());
        EXPECT_EQ(ulOffset, (i - 1) * 4);
        EXPECT_EQ(Number("0x" + match[2].str()), ReadWord(Port(), ulOffset, 0xFFFFFFFF, 0)) << lines[i];
    }
}

TEST_P(CMacroCliTest, WalkNodesReachesEveryPEOfTheMap)
{
    StartSim();
    DiscoverMap();
    const SRunResult result = RunSample("walknodes", "WalkNodes", true);
    ASSERT_EQ(result.nExitCode, 0) << result.strErr;

    // The PEs of the map as the map listing gives them: node number, device, vendor.
    std::map<int, std::pair<uint32_t, uint32_t>> expected;
    const SRunResult listing =
        RunProgram(nvtest::BuiltProgram("Cli/norvanta-cli"), {"map", "show", m_strMap});
    const std::regex kListed(R"(\s*Node (\d+) .* device ([0-9A-F]{4})h vendor ([0-9A-F]{4})h .*)");
    for (const std::string& strLine : nvtest::Lines(listing.strOut))
    {
        std::smatch match;
        if (std::regex_match(strLine, match, kListed) && strLine.find(" Null ") == std::string::npos)
        {
            expected[std::stoi(match[1])] = {Number("0x" + match[2].str()), Number("0x" + match[3].str())};
        }
    }
    ASSERT_EQ(expected.size(), 7u) << listing.strOut;

    const std::regex kNode(
        R"(Node (\d+): destID 0x([0-9A-F]+) hop (\d+) device 0x([0-9A-F]{4}) vendor 0x([0-9A-F]{4}) (\S+)( \(host\))?)");
    std::set<int> seen;
    std::vector<std::string> lines = nvtest::Lines(result.strOut);
    ASSERT_FALSE(lines.empty());
    EXPECT_EQ(lines.back(), std::to_string(expected.size())) << "the count WalkNodes returns";
    lines.pop_back();
    for (const std::string& strLine : lines)
    {
        std::smatch match;
        ASSERT_TRUE(std::regex_match(strLine, match, kNode)) << strLine;
        const int iNode = std::stoi(match[1]);
        seen.insert(iNode);
        const uint32_t ulDest = Number("0x" + match[2].str());
        const int iHop = std::stoi(match[3]);
        const bool bHost = match[7].matched;
        // The way to the node as the CLI's route search finds it.
        const SRunResult way = RunProgram(nvtest::BuiltProgram("Cli/norvanta-cli"),
                                          {"route", "find", m_strMap, std::to_string(iNode)});
        ASSERT_EQ(way.nExitCode, 0) << way.strErr;
        if (bHost)
        {
            EXPECT_NE(way.strOut.find("is the host"), std::string::npos) << strLine;
        }
        else
        {
            char szWay[64];
            std::snprintf(szWay, sizeof szWay, "Node %d: destID %Xh hop count %d", iNode, ulDest, iHop);
            EXPECT_EQ(nvtest::Lines(way.strOut).at(0), szWay);
        }
        // What the device at the end of that way says it is.
        const uint32_t ulIdentity = ReadWord(Port(), 0, bHost ? 0xFFFFFFFF : ulDest, iHop);
        EXPECT_EQ(Number("0x" + match[4].str()), ulIdentity >> 16) << strLine;
        EXPECT_EQ(Number("0x" + match[5].str()), ulIdentity & 0xFFFF) << strLine;
        EXPECT_EQ(expected[iNode], std::make_pair(ulIdentity >> 16, ulIdentity & 0xFFFF)) << strLine;
        EXPECT_EQ(match[6].str().find("switch") != std::string::npos, (ulIdentity >> 16) == 0x0374)
            << strLine;
    }
    std::set<int> listed;
    for (const auto& entry : expected)
    {
        listed.insert(entry.first);
    }
    EXPECT_EQ(seen, listed);
}

TEST_P(CMacroCliTest, PortStatusShowsAndClearsPortErrors)
{
    // Port 2 of the first switch (sw1, node 2) starts with errors set. A discovery clears port
    // errors, so the map comes from a fabric of its own.
    constexpr uint32_t kErrorBits = 0x02020204;
    StartSim();
    DiscoverMap();
    m_pSim.reset();
    StartSim({"--fault", "porterr:device=sw1,port=2,bits=0x02020204"});
    SRunResult result = RunSample("portstatus", "ShowSwitchPorts", true);
    ASSERT_EQ(result.nExitCode, 0) << result.strErr;
    const std::regex kSwitch(R"(Node (\d+): destID 0x([0-9A-F]+) hop (\d+), (\d+) ports, .*)");
    const std::regex kPort(R"(  Port (\d+) \(0x([0-9A-F]{4})\): 0x([0-9A-F]{8}) .*)");
    uint32_t ulDest = 0;
    int iHop = 0;
    int nSwitches = 0;
    int nPorts = 0;
    uint32_t ulFaultyOffset = 0;
    std::vector<std::string> lines = nvtest::Lines(result.strOut);
    ASSERT_FALSE(lines.empty());
    EXPECT_EQ(lines.back(), "2");
    lines.pop_back();
    for (const std::string& strLine : lines)
    {
        std::smatch match;
        if (std::regex_match(strLine, match, kSwitch))
        {
            ++nSwitches;
            ulDest = Number("0x" + match[2].str());
            iHop = std::stoi(match[3]);
            EXPECT_EQ(std::stoi(match[4]), 18) << "a CPS-1848";
            continue;
        }
        ASSERT_TRUE(std::regex_match(strLine, match, kPort)) << strLine;
        ++nPorts;
        const uint32_t ulOffset = Number("0x" + match[2].str());
        const uint32_t ulStatus = Number("0x" + match[3].str());
        EXPECT_EQ(ulStatus, ReadWord(Port(), ulOffset, ulDest, iHop)) << strLine;
        EXPECT_EQ(strLine.find("errors 0x") != std::string::npos, (ulStatus & ~0x1Bu) != 0) << strLine;
        if (nSwitches == 1 && std::stoi(match[1]) == 2)
        {
            ulFaultyOffset = ulOffset;
            EXPECT_EQ(ulStatus & kErrorBits, kErrorBits) << strLine;
        }
    }
    EXPECT_EQ(nSwitches, 2);
    EXPECT_EQ(nPorts, 36);
    ASSERT_NE(ulFaultyOffset, 0u);

    result = RunSample("portstatus", "ClearSwitchPortErrors", true);
    ASSERT_EQ(result.nExitCode, 0) << result.strErr;
    char szCleared[96];
    std::snprintf(szCleared, sizeof szCleared, "Node 2 port 2: errors 0x%08X cleared, remaining 0x00000000",
                  kErrorBits);
    EXPECT_EQ(nvtest::Lines(result.strOut), (std::vector<std::string>{szCleared, "1"}));
    const SRunResult way =
        RunProgram(nvtest::BuiltProgram("Cli/norvanta-cli"), {"route", "find", m_strMap, "2"});
    std::smatch match;
    const std::string strWay = way.strOut;
    ASSERT_TRUE(std::regex_search(strWay, match, std::regex("destID ([0-9A-F]+)h hop count (\\d+)")))
        << strWay;
    EXPECT_EQ(ReadWord(Port(), ulFaultyOffset, Number("0x" + match[1].str()), std::stoi(match[2])) & ~0x1Bu,
              0u);
}

TEST_P(CMacroCliTest, WatchEventHandlerLogsTheTriggerOfARealChange)
{
    StartSim();
    const uint32_t ulBefore = ReadWord(Port(), 0x6C, 0xFFFFFFFF, 0);
    const SRunResult result = RunSample("watchevent", "DemoWatchTrigger");
    ASSERT_EQ(result.nExitCode, 0) << result.strErr;
    const uint32_t ulAfter = ReadWord(Port(), 0x6C, 0xFFFFFFFF, 0);
    EXPECT_EQ(ulAfter, ulBefore + 1);
    const std::vector<std::string> lines = nvtest::Lines(result.strOut);
    ASSERT_EQ(lines.size(), 19u) << result.strOut;
    char szSummary[128];
    std::snprintf(
        szSummary, sizeof szSummary,
        "Watch trigger: Component Tag CSR (0x006C) of node 1 changed from 0x%08X to 0x%08X, event 1",
        ulBefore, ulAfter);
    EXPECT_EQ(lines[0], szSummary);
    EXPECT_EQ(lines[1], "  item: 0");
    EXPECT_EQ(lines[4], "  register: Component Tag CSR");
    EXPECT_EQ(lines[10], "  old value: " + std::to_string(ulBefore));
    EXPECT_EQ(lines[11], "  new value: " + std::to_string(ulAfter));
    EXPECT_EQ(lines[17], "  trigger type: 1");
    EXPECT_EQ(lines[18], std::to_string(ulAfter));
}

TEST_P(CMacroCliTest, ErrorHandlingSeesCodesAndTexts)
{
    StartSim();
    const SRunResult result = RunSample("errors", "ErrorHandling");
    ASSERT_EQ(result.nExitCode, 0) << result.strErr;
    const std::vector<std::string> lines = nvtest::Lines(result.strOut);
    ASSERT_EQ(lines.size(), 5u) << result.strOut;
    EXPECT_EQ(lines[0],
              "SetMaintReadPriority(7) failed: error 39: In invalid parameter was specified, Invalid "
              "priority.  Must be 0, 1, or 2.");
    const std::string kNodeFailure = "GetDestIDForNode(0) failed: error 10000: ";
    ASSERT_EQ(lines[1].rfind(kNodeFailure, 0), 0u) << lines[1];
    const std::string strNodeText = lines[1].substr(kNodeFailure.size());
    EXPECT_FALSE(strNodeText.empty());
    EXPECT_EQ(lines[2], "GetVersionString() succeeded");
    EXPECT_EQ(lines[3], "Last error: 10000: " + strNodeText);
    EXPECT_EQ(lines[4], "10000");
}

INSTANTIATE_TEST_SUITE_P(Languages, CMacroCliTest, ::testing::Values("js", "vbs"),
                         [](const ::testing::TestParamInfo<std::string>& info)
                         { return info.param == "js" ? "JScript" : "VBScript"; });

// The command itself: files it refuses, script errors, a target that isn't there, the printed
// result, the time limit.
class CMacroRunTest : public ::testing::Test
{
protected:
    static SRunResult Run(const std::vector<std::string>& args)
    {
        std::vector<std::string> all = {"--wait-ms", "1000", "--port", std::to_string(s_wClosedPort),
                                        "macro",     "run"};
        all.insert(all.end(), args.begin(), args.end());
        return RunProgram(nvtest::BuiltProgram("Cli/norvanta-cli"), all);
    }
    // A loopback port with no server: that of a simulator that has gone.
    static void SetUpTestSuite()
    {
        nvtest::CSimProcess sim("demo.topo");
        s_wClosedPort = sim.TcpPort();
    }
    static uint16_t s_wClosedPort;
};
uint16_t CMacroRunTest::s_wClosedPort = 0;

TEST_F(CMacroRunTest, RefusesFilesThatAreNoMacros)
{
    const std::string strText = WriteMacro("notes.txt", "function Main() {}\n");
    SRunResult result = Run({strText, "Main"});
    EXPECT_EQ(result.nExitCode, 2);
    EXPECT_EQ(result.strErr, "Invalid script file type.  Must be '.vbs' or '.js'.\n");
    EXPECT_EQ(result.strOut, "");

    result = Run({nvtest::ProcessTempDir() + "/absent.js", "Main"});
    EXPECT_EQ(result.nExitCode, 2);
    EXPECT_NE(result.strErr.find("Unable to open the script file"), std::string::npos) << result.strErr;
    EXPECT_NE(result.strErr.find("absent.js"), std::string::npos) << result.strErr;

    result = Run({strText});
    EXPECT_EQ(result.nExitCode, 2);
    EXPECT_NE(result.strErr.find("usage: norvanta-cli macro run FILE METHOD"), std::string::npos)
        << result.strErr;
}

TEST_F(CMacroRunTest, ScriptErrorsGoToStandardErrorWithTheirPlace)
{
    const std::string strSyntax =
        WriteMacro("syntax.js", "// a comment\nfunction Main() {\n  return (1 + ;\n}\n");
    SRunResult result = Run({strSyntax, "Main"});
    EXPECT_EQ(result.nExitCode, 1);
    EXPECT_TRUE(std::regex_match(result.strErr, std::regex("Error:\tSyntaxError: .*\nCol:\t15\nLine:\t3\n")))
        << result.strErr;

    const std::string strRuntime = WriteMacro(
        "runtime.js", "print('before');\nfunction Main() {\n  print('in');\n  return missing.value;\n}\n");
    result = Run({strRuntime, "Main"});
    EXPECT_EQ(result.nExitCode, 1);
    EXPECT_EQ(result.strOut, "before\nin\n") << "what ran before the error is still shown";
    EXPECT_TRUE(
        std::regex_match(result.strErr, std::regex("Error:\tReferenceError: .*\nCol:\t0\nLine:\t4\n")))
        << result.strErr;

    result = Run({strRuntime, "Absent"});
    EXPECT_EQ(result.nExitCode, 1);
    EXPECT_NE(result.strErr.find("Absent"), std::string::npos) << result.strErr;

    // The same in VBScript, whose interpreter knows the column of run-time errors too.
    const std::string strVbsSyntax =
        WriteMacro("syntax.vbs", "' a comment\nFunction Main()\n  Main = (1 + )\nEnd Function\n");
    result = Run({strVbsSyntax, "Main"});
    EXPECT_EQ(result.nExitCode, 1);
    EXPECT_TRUE(std::regex_match(result.strErr, std::regex("Error:\t.+\nCol:\t15\nLine:\t3\n")))
        << result.strErr;
    const std::string strVbsRuntime = WriteMacro(
        "runtime.vbs",
        "WScript.Echo \"before\"\nFunction Main()\n  WScript.Echo \"in\"\n  Main = 1 / 0\nEnd Function\n");
    result = Run({strVbsRuntime, "Main"});
    EXPECT_EQ(result.nExitCode, 1);
    EXPECT_EQ(result.strOut, "before\nin\n");
    EXPECT_TRUE(std::regex_match(result.strErr,
                                 std::regex("Error:\tDivision by zero\nCol:\t[1-9][0-9]*\nLine:\t4\n")))
        << result.strErr;
}

TEST_F(CMacroRunTest, RunsWithoutTargetUntilTheMacroNeedsOne)
{
    const std::string strMacro =
        WriteMacro("offline.js", "function Offline() {\n"
                                 "  print(Norvanta.GetVersionString(), Norvanta.IsConnected());\n"
                                 "}\n"
                                 "function Online() {\n"
                                 "  return Norvanta.MaintRead(0, 0xFFFFFFFF, 0, 0, 1, 4);\n"
                                 "}\n");
    SRunResult result = Run({strMacro, "Offline"});
    EXPECT_EQ(result.nExitCode, 0) << result.strErr;
    EXPECT_EQ(result.strOut, std::string(NV_TEST_VERSION) + " 0\n");
    EXPECT_EQ(result.strErr, "") << "the missing target didn't matter";

    result = Run({strMacro, "Online"});
    EXPECT_EQ(result.nExitCode, 1);
    EXPECT_NE(result.strErr.find("Unable to connect to the Norvanta Server."), std::string::npos)
        << result.strErr;
    EXPECT_NE(result.strErr.find("\nCol:\t0\nLine:\t5\n"), std::string::npos) << result.strErr;

    // A macro that catches the failure still ran: exit 0, and the reason for it is shown.
    const std::string strVbs = WriteMacro("offline.vbs", "Function Careful()\n"
                                                         "  On Error Resume Next\n"
                                                         "  Norvanta.GetDeviceID 0, 4294967295, 0\n"
                                                         "  Careful = Err.Number\n"
                                                         "End Function\n");
    result = Run({strVbs, "Careful"});
    EXPECT_EQ(result.nExitCode, 0) << result.strErr;
    EXPECT_EQ(result.strOut, "38\n");
    EXPECT_NE(result.strErr.find("Unable to connect to the Norvanta Server."), std::string::npos)
        << result.strErr;
}

TEST_F(CMacroRunTest, PrintsTheReturnedValueAndHonoursTheTimeLimit)
{
    const std::string strMacro =
        WriteMacro("values.js", "function List() { alert('box'); return [1, -2, 'three', true, 0.5]; }\n"
                                "function Big() { return 4294967295; }\n"
                                "function Nothing() { }\n"
                                "function Spin() { for (;;) {} }\n");
    SRunResult result = Run({strMacro, "List"});
    EXPECT_EQ(result.nExitCode, 0) << result.strErr;
    EXPECT_EQ(result.strOut, "box\n1 -2 three true 0.5\n");
    EXPECT_EQ(Run({strMacro, "Big"}).strOut, "4294967295\n");
    result = Run({strMacro, "Nothing"});
    EXPECT_EQ(result.nExitCode, 0);
    EXPECT_EQ(result.strOut, "");

    result = Run({strMacro, "Spin", "--timeout", "1"});
    EXPECT_EQ(result.nExitCode, 1);
    EXPECT_NE(result.strErr.find("time limit"), std::string::npos) << result.strErr;

    // VBScript stops at the limit too, at the statement it had come to.
    const std::string strVbs = WriteMacro(
        "spin.vbs", "Function Spin()\n  WScript.Echo \"start\"\n  Do While True\n  Loop\nEnd Function\n"
                    "Sub Doze()\n  WScript.Echo \"asleep\"\n  WScript.Sleep 20000\nEnd Sub\n");
    result = Run({strVbs, "Spin", "--timeout", "1"});
    EXPECT_EQ(result.nExitCode, 1);
    EXPECT_EQ(result.strOut, "start\n");
    EXPECT_NE(result.strErr.find("time limit of 1000 ms"), std::string::npos) << result.strErr;
    EXPECT_NE(result.strErr.find("Line:\t3"), std::string::npos) << result.strErr;

    // A macro held inside one call, where no engine looks at the clock, is ended with the run.
    result = Run({strVbs, "Doze", "--timeout", "1"});
    EXPECT_EQ(result.nExitCode, 1);
    EXPECT_EQ(result.strOut, "asleep\n");
    EXPECT_NE(result.strErr.find("ran longer than 1 second"), std::string::npos) << result.strErr;
}
} // namespace
