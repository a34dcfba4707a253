// norvanta-cli linkmon against norvanta-sim: a Tsi500 next to the host and a Tsi578 behind it,
// discovered into a map with their routing tables. The link to the host corrupts a fifth of what
// crosses it, so the monitor's own maintenance traffic shows as CRC errors on the Tsi500's port.
#include "SimProcess.h"
#include "TestSupport.h"

#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>
#include <regex>
#include <sstream>

namespace
{
using nvtest::RunProgram;
using nvtest::Lines;
using nvtest::SRunResult;

std::string Temp(const std::string& strName)
{
    return nvtest::ProcessTempDir() + "/" + strName;
}

std::string TopologyFile()
{
    const std::string strPath = Temp("linkmon.topo");
    std::ofstream(strPath) << "device host endpoint device=0x0001 processor memory id=0x01\n"
                              "device sw0 switch model=tsi500\n"
                              "device sw1 switch model=tsi578\n"
                              "device ep5 endpoint memory id=0x05\n"
                              "host host\n"
                              "link host:0 sw0:0\nlink sw0:1 sw1:0\nlink sw1:1 ep5:0\n"
                              "route sw0 0x01 0\nroute sw0 0x05 1\nroute sw1 0x01 0\nroute sw1 0x05 1\n";
    return strPath;
}

class LinkmonCliTest : public ::testing::Test
{
protected:
    void SetUp() override
    {
        ASSERT_TRUE(m_sim.Ready()) << m_sim.ErrorOutput();
        SRunResult result = Cli({"discover", "--save", m_strBare});
        ASSERT_EQ(0, result.nExitCode) << result.strErr;
        ASSERT_TRUE(std::filesystem::copy_file(m_strBare, m_strMap,
                                               std::filesystem::copy_options::overwrite_existing));
        result = Cli({"routes", "upload", m_strMap});
        ASSERT_EQ(0, result.nExitCode) << result.strErr;
    }
    SRunResult Cli(std::vector<std::string> args)
    {
        std::vector<std::string> all = {"--server", "127.0.0.1", "--wait-ms",
                                        "1500",     "--port",    std::to_string(m_sim.TcpPort())};
        all.insert(all.end(), args.begin(), args.end());
        return RunProgram(nvtest::BuiltProgram("Cli/norvanta-cli"), all);
    }

    nvtest::CSimProcess m_sim{TopologyFile(),
                              {"--no-udp", "--no-broadcast", "--fault", "linkerrors:link=sw0:0,crc=0.2"}};
    std::string m_strBare = Temp("linkmon-bare.nvm");
    std::string m_strMap = Temp("linkmon.nvm");
};

// Node 2 is the Tsi500, node 3 the Tsi578, node 4 the endpoint.
TEST_F(LinkmonCliTest, BitErrorRatesShowTheCorruptedLinkAndOnlyIt)
{
    SRunResult result = Cli({"linkmon", "ber", m_strMap, "2", "0", "--ticks", "5", "--interval-ms", "20"});
    ASSERT_EQ(0, result.nExitCode) << result.strErr;
    std::vector<std::string> lines = Lines(result.strOut);
    ASSERT_EQ(6u, lines.size()) << result.strOut;
    EXPECT_EQ("Bit Error Rates - Node 2, Port 1", lines[0]);
    const std::regex line(R"(\d\d::\d\d::\d\d retries\(buffer 0\)=(\d+) crc=(\d+))");
    int nCrc = 0;
    for (size_t i = 1; i < lines.size(); ++i)
    {
        std::smatch match;
        ASSERT_TRUE(std::regex_match(lines[i], match, line)) << lines[i];
        nCrc += std::stoi(match[2]);
    }
    EXPECT_GT(nCrc, 0) << "a fifth of the monitor's requests came in corrupted";

    // Port 1 leads to the Tsi578 over a clean link.
    result = Cli({"linkmon", "ber", m_strMap, "2", "1", "--ticks", "3", "--interval-ms", "0"});
    ASSERT_EQ(0, result.nExitCode) << result.strErr;
    lines = Lines(result.strOut);
    ASSERT_EQ(4u, lines.size());
    for (size_t i = 1; i < lines.size(); ++i)
    {
        EXPECT_NE(std::string::npos, lines[i].find("retries(buffer 0)=0 crc=0")) << lines[i];
    }
}

TEST_F(LinkmonCliTest, EfficiencyCountsTheMonitorsOwnRequestsAtTheTargetsClock)
{
    const SRunResult result = Cli({"linkmon", "efficiency", m_strMap, "2", "0", "--ticks", "3",
                                   "--interval-ms", "100", "--depth", "2", "--line-rate", "250"});
    ASSERT_EQ(0, result.nExitCode) << result.strErr;
    const std::vector<std::string> lines = Lines(result.strOut);
    ASSERT_EQ(4u, lines.size()) << result.strOut;
    EXPECT_EQ("Traffic Efficiency - Node 2, Port 1, Inbound", lines[0]);
    const std::regex line(R"(\d\d::\d\d::\d\d rate=([0-9.]+) kPkt/s size=0\.0 bytes payload=0\.0 bytes )"
                          R"(efficiency=0\.00 % link-use=0\.000 %)");
    for (size_t i = 1; i < lines.size(); ++i)
    {
        std::smatch match;
        ASSERT_TRUE(std::regex_match(lines[i], match, line)) << lines[i];
        // A request or two a tenth of a second: some packets a second, never thousands.
        const double dRate = std::stod(match[1]);
        EXPECT_GT(dRate, 0.0);
        EXPECT_LT(dRate, 0.1);
    }
}

TEST_F(LinkmonCliTest, Tsi578ThroughputCountsTheMonitorsOwnRequestsOfTheReadPriorityOnly)
{
    // The monitor's maintenance requests reach the Tsi578's port 0 at priority 2, so the read
    // series counts them and the write series (priority 0) sees nothing.
    const SRunResult result = Cli({"linkmon", "throughput", m_strMap, "3", "0", "--ticks", "3",
                                   "--interval-ms", "100", "--read-priority", "2", "--write-priority", "0"});
    ASSERT_EQ(0, result.nExitCode) << result.strErr;
    const std::vector<std::string> lines = Lines(result.strOut);
    ASSERT_EQ(4u, lines.size()) << result.strOut;
    EXPECT_EQ("Throughput - Node 3, Port 1, Inbound", lines[0]);
    const std::regex line(R"(\d\d::\d\d::\d\d read\(p2\)=([0-9.]+) kPkt/s write\(p0\)=0\.000 kPkt/s)");
    for (size_t i = 1; i < lines.size(); ++i)
    {
        std::smatch match;
        ASSERT_TRUE(std::regex_match(lines[i], match, line)) << lines[i];
        const double dRate = std::stod(match[1]);
        EXPECT_GT(dRate, 0.0) << "the programmed counter counts the requests";
        EXPECT_LT(dRate, 0.1) << "each reading is the count since the last, not a running total";
    }
}

TEST_F(LinkmonCliTest, RefusesWhatItCannotMonitorWithExitTwo)
{
    struct SCase
    {
        std::vector<std::string> args;
        std::string strError;
    };
    const std::vector<SCase> cases = {
        {{"linkmon", "ber", m_strMap, "3", "0", "--ticks", "1"}, "Node 3 is not a Tsi500"},
        {{"linkmon", "throughput", m_strMap, "4", "0", "--ticks", "1"}, "Node 4 is not a Tsi switch"},
        {{"linkmon", "efficiency", m_strMap, "2", "4", "--ticks", "1"},
         "Node 2 has no port 4: its ports are 0 to 3"},
        {{"linkmon", "throughput", m_strBare, "3", "1", "--ticks", "1", "--interval-ms", "0"},
         "linkmon: You must be connected and have all routing tables\nlinkmon: synchronized to enable "
         "performance "
         "monitoring"},
        {{"linkmon", "throughput", m_strMap, "99", "0", "--ticks", "1"}, "Node 99 not found"},
    };
    for (const SCase& c : cases)
    {
        const SRunResult result = Cli(c.args);
        EXPECT_EQ(2, result.nExitCode) << c.strError;
        EXPECT_NE(std::string::npos, result.strErr.find(c.strError)) << result.strErr;
    }
    const SRunResult usage = Cli({"linkmon", "speed", m_strMap, "2", "0", "--ticks", "1"});
    EXPECT_NE(0, usage.nExitCode);
    EXPECT_NE(std::string::npos, usage.strErr.find("unknown monitor 'speed'"));
}
} // namespace
