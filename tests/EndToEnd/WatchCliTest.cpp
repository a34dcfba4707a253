// norvanta-cli watch against norvanta-sim's demo fabric, discovered into a map with its routing
// tables: triggers on registers that change by themselves (an ackID of the host's switch port)
// and on ones that don't, the log file, the refusals, and a target that starts failing while
// watched.
#include "SimProcess.h"
#include "TestSupport.h"

#include "NetworkDocument.h"

#include <gtest/gtest.h>

#include <filesystem>
#include <regex>
#include <sstream>

namespace
{
using nvtest::RunProgram;
using nvtest::Lines;
using nvtest::SRunResult;

class WatchCliTest : public ::testing::Test
{
protected:
    void SetUp() override
    {
        ASSERT_TRUE(m_sim.Ready()) << m_sim.ErrorOutput();
        SRunResult result = Cli(m_sim, {"discover", "--save", m_strBare});
        ASSERT_EQ(0, result.nExitCode) << result.strErr;
        ASSERT_TRUE(std::filesystem::copy_file(m_strBare, m_strMap,
                                               std::filesystem::copy_options::overwrite_existing));
        result = Cli(m_sim, {"routes", "upload", m_strMap});
        ASSERT_EQ(0, result.nExitCode) << result.strErr;
    }
    static SRunResult Cli(const nvtest::CSimProcess& sim, std::vector<std::string> args)
    {
        std::vector<std::string> all = {"--server", "127.0.0.1", "--wait-ms",
                                        "1500",     "--port",    std::to_string(sim.TcpPort())};
        all.insert(all.end(), args.begin(), args.end());
        return RunProgram(nvtest::BuiltProgram("Cli/norvanta-cli"), all);
    }
    static std::string Temp(const std::string& strName) { return nvtest::ProcessTempDir() + "/" + strName; }

    nvtest::CSimProcess m_sim{"demo.topo", {"--no-udp", "--no-broadcast"}};
    std::string m_strBare = Temp("watch-bare.nvm"); // as discovered: no routing tables
    std::string m_strMap = Temp("watch-demo.nvm");  // with the switches' tables
};

// Node 2 is sw1, the switch next to the host; node 3 is ep1 (ID 5) behind it.
TEST_F(WatchCliTest, TriggersFireOnWhatTheFabricAnswersAndTheLogGoesToAFile)
{
    const std::string strLog = Temp("watch.txt");
    const SRunResult result = Cli(m_sim, {"watch",
                                          m_strMap,
                                          "--add",
                                          "2",
                                          "148h",
                                          "Inbound_ackID",
                                          "--log-mode",
                                          "all",
                                          "--add",
                                          "2",
                                          "Device Identity CAR",
                                          "--trigger",
                                          "EqualTo:03740038h",
                                          "--add",
                                          "2",
                                          "0h",
                                          "DeviceIdentity",
                                          "--trigger",
                                          "BF != 374h",
                                          "--add",
                                          "3",
                                          "6Ch",
                                          "--trigger",
                                          "0 <= BF <= FFFFFFFEh",
                                          "--action",
                                          "beep",
                                          "--polls",
                                          "3",
                                          "--interval-ms",
                                          "5",
                                          "--log",
                                          strLog});
    ASSERT_EQ(0, result.nExitCode) << result.strErr;
    const std::vector<std::string> lines = Lines(result.strOut);
    ASSERT_EQ(3u * 3u + 4u, lines.size()) << result.strOut;
    // Each tick: the ackID moved (our own packets pass that port), the identity equals, the
    // device ID doesn't differ (no line), the tag is inside the range.
    const std::regex ackLine("T=\\d\\d/\\d\\d/\\d{4} \\d\\d:\\d\\d:\\d\\d NODE:2   DESTID:FFFFh "
                             "Reg='Port Local ackID CSR' BF='Inbound_ackID' Value=[0-9A-F]{2}h "
                             "Trigger='BF Changes' #Event=(\\d)");
    for (int t = 0; t < 3; ++t)
    {
        std::smatch match;
        ASSERT_TRUE(std::regex_match(lines[3 * t], match, ackLine)) << lines[3 * t];
        EXPECT_EQ(std::to_string(t + 1), match[1].str());
        EXPECT_NE(std::string::npos,
                  lines[3 * t + 1].find("Reg='Device Identity CAR' BF='<All>' Value=03740038h Trigger='BF == "
                                        "3740038' #Event=" +
                                        std::to_string(t + 1)))
            << lines[3 * t + 1];
        EXPECT_NE(std::string::npos, lines[3 * t + 2].find("NODE:3   DESTID:0005h Reg='Component Tag CSR'"))
            << lines[3 * t + 2];
    }
    EXPECT_NE(lines[0].substr(lines[0].find("Value=")), lines[3].substr(lines[3].find("Value=")));
    EXPECT_EQ("Item 1: Node 2 Port Local ackID CSR Inbound_ackID = " +
                  lines[6].substr(lines[6].find("Value=") + 6, 3) + ", 3 event(s) of 'BF Changes'",
              lines[9]);
    EXPECT_EQ("Item 3: Node 2 Device Identity CAR DeviceIdentity = 0374h, 0 event(s) of 'BF != 374'",
              lines[11]);
    EXPECT_EQ(0u, lines[12].find("Item 4: Node 3 Component Tag CSR <All> = ")) << lines[12];
    // The file holds the log lines, and only those.
    std::string strExpected;
    for (size_t i = 0; i < 9; ++i)
    {
        strExpected += lines[i] + "\n";
    }
    EXPECT_EQ(strExpected, nvtest::ReadFile(strLog));
}

TEST_F(WatchCliTest, WhatCantBeWatchedIsRefusedBeforeAnyPoll)
{
    struct SCase
    {
        std::vector<std::string> args;
        std::string strErr;
    };
    const SCase cases[] = {
        {{"--add", "2", "NoSuchRegister"}, "watch: No register 'NoSuchRegister' on Node 2\n"},
        {{"--add", "2", "148h", "NoSuchField"},
         "watch: Register 'Port Local ackID CSR' has no field 'NoSuchField'\n"},
        {{"--add", "2", "148h", "--trigger", "BF <> 4"}, "watch: Unknown trigger 'BF <> 4'\n"},
        {{"--add", "2", "148h", "--trigger", "20 < BF < 10"},
         "watch: X2 must be larger than X1 (trigger '20 < BF < 10')\n"},
        {{"--add", "2", "148h", "--action", "flash"},
         "watch: Unknown action 'flash': none, beep, highlight or messagebox\n"},
        {{"--add", "99", "148h"}, "watch: Node 99 not found\n"},
        {{}, "watch: Nothing to watch: the map has no watch items and no --add was given\n"},
    };
    for (const SCase& c : cases)
    {
        std::vector<std::string> args = {"watch", m_strMap, "--polls", "1", "--interval-ms", "0"};
        args.insert(args.end(), c.args.begin(), c.args.end());
        const SRunResult result = Cli(m_sim, args);
        EXPECT_EQ(2, result.nExitCode) << c.strErr;
        EXPECT_EQ(c.strErr, result.strErr);
        EXPECT_EQ("", result.strOut);
    }
    // Without the switches' tables the map knows no way to the endpoint.
    const SRunResult result = Cli(m_sim, {"watch", m_strBare, "--add", "3", "6Ch", "--interval-ms", "0"});
    EXPECT_EQ(2, result.nExitCode);
    EXPECT_EQ("watch: Watch item 1 disabled.  Must synchronize routing tables.\n"
              "watch: The map's routing tables lead to no route from the host to Node 3.\n",
              result.strErr);
    // Options of an item need the item.
    EXPECT_EQ(2, Cli(m_sim, {"watch", m_strMap, "--trigger", "Change"}).nExitCode);
}

TEST_F(WatchCliTest, ATargetThatFailsWhileWatchedStopsTheItemAndTheMapKeepsItsTable)
{
    // The same fabric behind a server whose maintenance reads answer for four requests and then
    // fail: the first read and three polls go through.
    nvtest::CSimProcess failing{"demo.topo",
                                {"--no-udp", "--no-broadcast", "--fault", "delay:ms=1,msg=3,count=4",
                                 "--fault", "status:status=-310,msg=3,count=0"}};
    ASSERT_TRUE(failing.Ready()) << failing.ErrorOutput();
    const std::string strSaved = Temp("watch-after.nvm");
    const SRunResult result =
        Cli(failing, {"watch", m_strMap, "--add", "3", "6Ch", "--trigger", "BF == 0", "--action", "highlight",
                      "--log-mode", "all", "--polls", "6", "--interval-ms", "5", "--save", strSaved});
    EXPECT_EQ(2, result.nExitCode);
    const std::vector<std::string> lines = Lines(result.strOut);
    ASSERT_EQ(5u, lines.size()) << result.strOut;
    for (size_t i = 0; i < 3; ++i)
    {
        EXPECT_NE(std::string::npos,
                  lines[i].find("Value=00000000h Trigger='BF == 0' #Event=" + std::to_string(i + 1)))
            << lines[i];
    }
    EXPECT_EQ("Watch item 1 disabled due to RapidIO error -310", lines[3]);
    EXPECT_EQ("Item 1: Node 3 Component Tag CSR <All> = 00000000h, 3 event(s) of 'BF == 0', stopped",
              lines[4]);
    EXPECT_EQ("watch: Watch item 1 disabled due to RapidIO error -310\n", result.strErr);

    // The map was written with the item as it stood.
    CNetworkDocument saved;
    ASSERT_TRUE(saved.Open(QString::fromStdString(strSaved)));
    ASSERT_EQ(1u, saved.WatchItems.size());
    EXPECT_EQ(QStringLiteral("Component Tag CSR"), saved.WatchItems[0].RegName);
    EXPECT_EQ(QStringLiteral("<All>"), saved.WatchItems[0].BFName);
    EXPECT_EQ(0x6Cu, saved.WatchItems[0].uRegOffset);
    EXPECT_EQ(2, saved.WatchItems[0].eType);
    EXPECT_EQ(2, saved.WatchItems[0].eAction);
    EXPECT_EQ(1, saved.WatchItems[0].eLog);

    // Run again from the saved table alone, on the healthy target.
    const SRunResult again = Cli(m_sim, {"watch", strSaved, "--polls", "2", "--interval-ms", "0"});
    EXPECT_EQ(0, again.nExitCode) << again.strErr;
    EXPECT_NE(std::string::npos, again.strOut.find("Item 1: Node 3 Component Tag CSR <All> = "))
        << again.strOut;
}
} // namespace
