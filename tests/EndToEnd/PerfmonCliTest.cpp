// norvanta-cli perfmon against norvanta-sim's demo fabric, discovered into a map with its routing
// tables. The only traffic on a far switch's inbound port is the monitor's own read of that
// switch, one packet a tick, so the lines can be checked against what went over the wire; and
// the refusals, and the performance report of a run.
#include "SimProcess.h"
#include "TestSupport.h"

#include <gtest/gtest.h>

#include <QFile>

#include <filesystem>
#include <regex>
#include <sstream>

namespace
{
using nvtest::RunProgram;
using nvtest::Lines;
using nvtest::SRunResult;

class PerfmonCliTest : public ::testing::Test
{
protected:
    void SetUp() override
    {
        ASSERT_TRUE(m_sim.Ready()) << m_sim.ErrorOutput();
        SRunResult result = Cli({"discover", "--save", m_strMap});
        ASSERT_EQ(0, result.nExitCode) << result.strErr;
        result = Cli({"routes", "upload", m_strMap});
        ASSERT_EQ(0, result.nExitCode) << result.strErr;
    }
    SRunResult Cli(std::vector<std::string> args) const
    {
        std::vector<std::string> all = {"--server", "127.0.0.1", "--wait-ms",
                                        "1500",     "--port",    std::to_string(m_sim.TcpPort())};
        all.insert(all.end(), args.begin(), args.end());
        return RunProgram(nvtest::BuiltProgram("Cli/norvanta-cli"), all);
    }
    static std::string Temp(const std::string& strName) { return nvtest::ProcessTempDir() + "/" + strName; }

    nvtest::CSimProcess m_sim{"demo.topo", {"--no-udp", "--no-broadcast"}};
    std::string m_strMap = Temp("perfmon-demo.nvm");
};

// Node 6 is sw2; its port 4 leads back to sw1 and the host. sw1 sends the monitor's read
// requests for sw2 over that link, and nothing else crosses it while the test runs.
TEST_F(PerfmonCliTest, EachTickRatesTheCountsTheSwitchSawOverTheTargetsTime)
{
    const std::string strReport = Temp("perfmon-report");
    const SRunResult result =
        Cli({"perfmon", m_strMap, "6", "--port", "4", "--counter", "vc0 packets received", "--ticks", "5",
             "--interval-ms", "50", "--depth", "2", "--report", strReport});
    ASSERT_EQ(0, result.nExitCode) << result.strErr;
    const std::vector<std::string> lines = Lines(result.strOut);
    ASSERT_EQ(7u, lines.size()) << result.strOut;
    EXPECT_EQ("IDT CPS/VPS-1848 Performance Monitor - Node 6", lines[0]);
    EXPECT_EQ("Tick 1: Node 6 Port 4 VC0 Packets Received: first sample", lines[1]);
    const std::regex tickLine("Tick (\\d): Node 6 Port 4 VC0 Packets Received: ([0-9.]+) per second "
                              "\\((\\d+) in (\\d+) us\\)");
    std::vector<double> elapsed;
    for (int t = 2; t <= 5; ++t)
    {
        std::smatch match;
        ASSERT_TRUE(std::regex_match(lines[static_cast<size_t>(t)], match, tickLine))
            << lines[static_cast<size_t>(t)];
        EXPECT_EQ(std::to_string(t), match[1].str());
        EXPECT_EQ("1", match[3].str()) << "one read request of the monitor a tick";
        elapsed.push_back(std::stod(match[4].str()));
        EXPECT_GE(elapsed.back(), 40000.0) << "the target's time between two reads 50 ms apart";
        // Depth 2: the rate spreads the last two samples (one at the first rated tick).
        const double dExpected =
            t == 2 ? 1e6 / elapsed[0] : 2e6 / (elapsed[elapsed.size() - 1] + elapsed[elapsed.size() - 2]);
        EXPECT_NEAR(dExpected, std::stod(match[2].str()), 0.051) << lines[static_cast<size_t>(t)];
    }
    EXPECT_EQ("Wrote " + strReport + "/Output/Performance Report.HTM", lines[6]);
    QFile page(QString::fromStdString(strReport + "/Output/Performance Report.HTM"));
    ASSERT_TRUE(page.open(QIODevice::ReadOnly));
    const QString strPage = QString::fromUtf8(page.readAll());
    EXPECT_TRUE(strPage.contains(QStringLiteral("IDT CPS/VPS-1848 Performance Monitor")))
        << strPage.toStdString();
    EXPECT_TRUE(strPage.contains(QStringLiteral("VC0 Packets Received")));
    EXPECT_TRUE(strPage.contains(QStringLiteral("perfmon-demo.nvm")));
    EXPECT_EQ(4, strPage.count(QStringLiteral("<td class=\"num\">"))) << "one row a rated tick";
}

// report perf samples the node itself, as perfmon does, and writes the same report; its --port is
// the switch's port, not the server's.
TEST_F(PerfmonCliTest, ReportPerfSamplesTheNodeAndWritesThePerformanceReport)
{
    const std::string strDir = Temp("report-perf");
    SRunResult result = Cli({"report", "perf", m_strMap, "--node", "6", "--port", "4", "--counter",
                             "VC0 Packets Received", "--ticks", "3", "--interval-ms", "20", "--dir", strDir});
    ASSERT_EQ(0, result.nExitCode) << result.strErr;
    const std::vector<std::string> lines = Lines(result.strOut);
    ASSERT_FALSE(lines.empty());
    EXPECT_EQ("Wrote " + strDir + "/Output/Performance Report.HTM", lines.back());
    QFile page(QString::fromStdString(strDir + "/Output/Performance Report.HTM"));
    ASSERT_TRUE(page.open(QIODevice::ReadOnly));
    EXPECT_EQ(2, QString::fromUtf8(page.readAll()).count(QStringLiteral("<td class=\"num\">")))
        << "one row for each rated tick of three";

    result = Cli({"report", "perf", m_strMap, "--node", "6", "--port", "4", "--dir", strDir});
    EXPECT_EQ(2, result.nExitCode) << "without a counter there is nothing to sample";
    EXPECT_NE(std::string::npos, result.strErr.find("usage")) << result.strErr;
}

TEST_F(PerfmonCliTest, RefusalsSayWhyAndEndWithStatus2)
{
    // A counter the device doesn't have: the list of those it has.
    SRunResult result = Cli({"perfmon", m_strMap, "2", "--port", "0", "--counter", "Bogus", "--ticks", "2"});
    EXPECT_EQ(2, result.nExitCode);
    EXPECT_NE(std::string::npos, result.strErr.find("Unknown counter 'Bogus'")) << result.strErr;
    EXPECT_NE(std::string::npos, result.strErr.find("perfmon: VC0 ACKs Transmitted\n")) << result.strErr;
    EXPECT_NE(std::string::npos, result.strErr.find("perfmon: Congestion Retries\n")) << result.strErr;
    EXPECT_TRUE(result.strOut.empty());

    // An endpoint has no monitor; a port the switch doesn't have; a node that isn't there.
    result =
        Cli({"perfmon", m_strMap, "3", "--port", "0", "--counter", "VC0 Packets Received", "--ticks", "2"});
    EXPECT_EQ(2, result.nExitCode);
    EXPECT_NE(std::string::npos,
              result.strErr.find("Node 3 (device 0002, vendor fff0) has no performance monitor"))
        << result.strErr;
    result =
        Cli({"perfmon", m_strMap, "2", "--port", "18", "--counter", "VC0 Packets Received", "--ticks", "2"});
    EXPECT_EQ(2, result.nExitCode);
    EXPECT_NE(std::string::npos, result.strErr.find("Port 0 to Port 17")) << result.strErr;
    result =
        Cli({"perfmon", m_strMap, "99", "--port", "0", "--counter", "VC0 Packets Received", "--ticks", "2"});
    EXPECT_EQ(2, result.nExitCode);
    EXPECT_NE(std::string::npos, result.strErr.find("Node 99 not found")) << result.strErr;
    result = Cli({"perfmon", m_strMap, "2", "--counter", "VC0 Packets Received"});
    EXPECT_EQ(2, result.nExitCode) << "--ticks is needed";

    // A map without routing tables: no way to the far switch.
    const std::string strBare = Temp("perfmon-bare.nvm");
    ASSERT_EQ(0, Cli({"discover", "--save", strBare}).nExitCode);
    result =
        Cli({"perfmon", strBare, "6", "--port", "4", "--counter", "VC0 Packets Received", "--ticks", "2"});
    EXPECT_EQ(2, result.nExitCode);
    EXPECT_NE(std::string::npos,
              result.strErr.find(
                  "You must be connected and have all routing tables\nperfmon: synchronized to enable "
                  "performance monitoring"))
        << result.strErr;
}
} // namespace
