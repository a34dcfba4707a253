// norvanta-cli traffic against an in-process simulator serving traffic.topo on a loopback port,
// its generators paced by a clock the test moves: start, status and stop of the host's generator
// and of the remote one; a stream its link can't carry reported as lagging; a server without
// generators; bad entries refused before anything is sent.
#include "SimProcess.h"
#include "TestSupport.h"

#include "nvsim/Fabric.h"
#include "nvsim/Server.h"
#include "nvsim/Topology.h"
#include "nvsim/TrafficGen.h"

#include <gtest/gtest.h>

#include <atomic>
#include <chrono>
#include <fstream>

namespace
{
using nvtest::RunProgram;
using nvtest::SRunResult;

class TrafficCli : public ::testing::Test
{
protected:
    void Serve(const std::string& strTopologyText = {})
    {
        std::string strError;
        m_pFabric = strTopologyText.empty()
                        ? nvsim::LoadTopologyFile(nvtest::SourceDir() + "/Simulator/topologies/traffic.topo",
                                                  &strError)
                        : nvsim::LoadTopologyText(strTopologyText, &strError);
        ASSERT_TRUE(m_pFabric) << strError;
        nvsim::SServerOptions options;
        options.wTcpPort = 0;
        options.bUdp = false;
        options.bBroadcast = false;
        options.fnClock = [this]
        { return nvsim::ServerClock::time_point(std::chrono::microseconds(m_llNowUs.load())); };
        m_pServer = std::make_unique<nvsim::CSimServer>(*m_pFabric, options);
        ASSERT_TRUE(m_pServer->Start(&strError)) << strError;
    }
    void SetUp() override { Serve(); }
    void TearDown() override
    {
        if (m_pServer)
            m_pServer->Stop();
    }
    SRunResult Cli(std::vector<std::string> args)
    {
        std::vector<std::string> all = {"--server", "127.0.0.1", "--wait-ms",
                                        "1500",     "--port",    std::to_string(m_pServer->TcpPort())};
        all.insert(all.end(), args.begin(), args.end());
        return RunProgram(nvtest::BuiltProgram("Cli/norvanta-cli"), all);
    }
    void Seconds(int nSeconds) { m_llNowUs += int64_t{nSeconds} * 1000000; }
    uint64_t Sent(uint16_t wGenerator)
    {
        m_pServer->Generators().Advance(static_cast<uint64_t>(m_llNowUs.load()));
        auto lock = m_pFabric->Lock();
        return m_pServer->Generators().Sent(wGenerator);
    }

    std::atomic<int64_t> m_llNowUs{1000000};
    std::unique_ptr<nvsim::CSimFabric> m_pFabric;
    std::unique_ptr<nvsim::CSimServer> m_pServer;
};
} // namespace

TEST_F(TrafficCli, TheHostsGeneratorStartsReportsAndStops)
{
    SRunResult result =
        Cli({"traffic", "start", "--dest", "5", "--kind", "nwrite", "--size", "256", "--rate", "100"});
    ASSERT_EQ(0, result.nExitCode) << result.strErr;
    EXPECT_EQ("Traffic generator started: NWRITE to destination ID 5 (5h), "
              "Requested Transfer Rate (x1000 Bytes / second) 100\n",
              result.strOut);
    EXPECT_TRUE(m_pServer->Generators().Running(0xFFFF));

    Seconds(2);
    result = Cli({"traffic", "status"});
    EXPECT_EQ(0, result.nExitCode) << result.strErr;
    EXPECT_EQ("Running, step 0\n", result.strOut);
    // 100,000 bytes a second for two seconds in 256-byte writes.
    EXPECT_NEAR(200000.0 / 256, static_cast<double>(Sent(0xFFFF)), 2.0);

    result = Cli({"traffic", "stop"});
    EXPECT_EQ(0, result.nExitCode) << result.strErr;
    EXPECT_EQ("Traffic generator stopped\n", result.strOut);
    EXPECT_FALSE(m_pServer->Generators().Running(0xFFFF));
    const uint64_t ullStopped = Sent(0xFFFF);
    Seconds(2);
    EXPECT_EQ(ullStopped, Sent(0xFFFF)) << "a stopped generator sends nothing";
}

TEST_F(TrafficCli, ARemoteGeneratorBeyondItsLinkIsReportedLagging)
{
    SRunResult result = Cli({"traffic", "check", "--generator", "7", "--control", "0x00400000"});
    EXPECT_EQ(0, result.nExitCode) << result.strErr;
    EXPECT_EQ("Control structure address appears to be valid.\n", result.strOut);

    result = Cli({"traffic", "start", "--generator", "7", "--control", "0x00400000", "--dest", "9",
                  "--profile", "2:1000,2:500000", "--repeat"});
    ASSERT_EQ(0, result.nExitCode) << result.strErr;
    EXPECT_EQ("Traffic generator started: SWRITE to destination ID 9 (9h), 2 steps, repeated\n",
              result.strOut);

    Seconds(1);
    result = Cli({"traffic", "status", "--generator", "7"});
    EXPECT_EQ(0, result.nExitCode) << result.strErr;
    EXPECT_EQ("Running, step 0\n", result.strOut);

    Seconds(2); // into the second step: 500 MB/s
    result = Cli({"traffic", "status", "--generator", "7"});
    EXPECT_EQ(2, result.nExitCode);
    EXPECT_EQ("Running, step 1\n", result.strOut);
    EXPECT_EQ("Lagging\n", result.strErr);

    EXPECT_FALSE(m_pServer->Generators().Running(0xFFFF)) << "the host's generator was not started";
    EXPECT_EQ(0, Cli({"traffic", "stop", "--generator", "7"}).nExitCode);
    EXPECT_FALSE(m_pServer->Generators().Running(0x07));
}

TEST_F(TrafficCli, AServerWithoutGeneratorsAndBadEntriesAreRefusedWithTheirTexts)
{
    SRunResult result = Cli({"traffic", "check", "--generator", "7", "--control", "0x500000"});
    EXPECT_EQ(2, result.nExitCode);
    EXPECT_EQ("Traffic Generator Error.\n\nNorvanta could not find a Traffic Generator at the specified "
              "destination "
              "ID\n",
              result.strErr);

    result = Cli({"traffic", "start", "--dest", "300"});
    EXPECT_EQ(2, result.nExitCode);
    EXPECT_EQ("Invalid destination ID value.  Please enter number between 0 and 255 (FFh).\n", result.strErr);
    result = Cli({"traffic", "start", "--generator", "7", "--dest", "5"});
    EXPECT_EQ(2, result.nExitCode);
    EXPECT_EQ("Please enter the address of the control structure on the remote traffic generator.\n",
              result.strErr);
    result = Cli({"traffic", "start", "--dest", "5", "--rate", "500001"});
    EXPECT_EQ(2, result.nExitCode);
    EXPECT_EQ("Transfer rate must be between 1 and 500000.\n", result.strErr);
    result = Cli({"traffic", "start", "--dest", "5", "--profile", "0:10"});
    EXPECT_EQ(2, result.nExitCode);
    EXPECT_EQ("Invalid duration.  Please re-enter.\n", result.strErr);
    EXPECT_FALSE(m_pServer->Generators().Running(0xFFFF));

    // The status of a generator never started.
    result = Cli({"traffic", "status"});
    EXPECT_EQ(2, result.nExitCode);
    EXPECT_EQ("Traffic Generator Error.\n\nNorvanta Driver Error: Attempt to access Data Gen without "
              "initializing it "
              "first\n",
              result.strErr);

    m_pServer->Stop();
    std::string strTopology = nvtest::ReadFile(nvtest::SourceDir() + "/Simulator/topologies/traffic.topo");
    strTopology.replace(strTopology.find("caps=0x3FF"), 10, "caps=0x3F3");
    Serve(strTopology);
    result = Cli({"traffic", "start", "--dest", "5"});
    EXPECT_EQ(2, result.nExitCode);
    EXPECT_EQ(0u,
              result.strErr.find("Unable to send command to server.\nError -306\nNorvanta Driver Error: Data "
                                 "Generation is not supported"))
        << result.strErr;
}
