// norvanta-cli dfe against norvanta-sim: a CPS-1848 whose lanes receive without errors at the DFE
// taps its topology names (dfeopt), next to the host. Its port 1 leads to an endpoint; port 2 has
// no link. The runs tune port 1's lanes: a port reset on the port the host talks through would
// put the link's ackIDs out of step, as on hardware.
#include "SimProcess.h"
#include "TestSupport.h"

#include <gtest/gtest.h>

#include <csignal>
#include <filesystem>
#include <fstream>
#include <poll.h>
#include <sys/wait.h>
#include <unistd.h>

namespace
{
using nvtest::RunProgram;
using nvtest::SRunResult;

std::string Temp(const std::string& strName)
{
    return nvtest::ProcessTempDir() + "/" + strName;
}

std::string TopologyFile()
{
    const std::string strPath = Temp("dfe.topo");
    std::ofstream(strPath) << "device host endpoint device=0x0001 processor memory id=0x01\n"
                              "device sw switch model=cps1848 dfeopt=8,14,7,3,1\n"
                              "device ep endpoint memory id=0x05\n"
                              "host host\n"
                              "link host:0 sw:0 speed=3.125\nlink sw:1 ep:0 speed=3.125\n"
                              "route sw 0x01 0\nroute sw 0x05 1\n";
    return strPath;
}

class DfeCliTest : public ::testing::Test
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
    std::vector<std::string> Args(std::vector<std::string> args) const
    {
        std::vector<std::string> all = {"--server", "127.0.0.1", "--wait-ms",
                                        "1500",     "--port",    std::to_string(m_sim.TcpPort())};
        all.insert(all.end(), args.begin(), args.end());
        return all;
    }
    SRunResult Cli(std::vector<std::string> args) const
    {
        return RunProgram(nvtest::BuiltProgram("Cli/norvanta-cli"), Args(std::move(args)));
    }

    nvtest::CSimProcess m_sim{TopologyFile(), {"--no-udp", "--no-broadcast"}};
    std::string m_strMap = Temp("dfe.nvm");
};

// Node 2 is the CPS-1848; port 1 has lanes 4 to 7.
TEST_F(DfeCliTest, RatioScanFindsTheOptimumThenMonitorAndAdjustFindNothingToDo)
{
    // A quarter of the default samples, and tap 1's error limit with them.
    SRunResult result = Cli({"dfe", "scan", m_strMap, "2", "--port", "1", "--lane", "4", "--samples", "1024",
                             "--tap", "1=0:31:1:32"});
    ASSERT_EQ(0, result.nExitCode) << result.strErr;
    EXPECT_EQ(0u,
              result.strOut.find("DFE Scan Search - Port 1, Lane 4\n\nEnabling DFE control on port 1 lane 4\n"
                                 "Resetting Port 1\n"))
        << result.strOut;
    EXPECT_NE(std::string::npos,
              result.strOut.find("Tap0\tTap1\tTap2\tTap3\tTap4\tErrorCnt\n 8\t 0\t  0\t 0\t 0\t"));
    EXPECT_NE(std::string::npos,
              result.strOut.find("\nBEST RATIO SCAN TAP VALUES FOUND:\n 8\t14\t  7\t 3\t 1\t0\n\n"))
        << result.strOut;

    result = Cli({"dfe", "monitor", m_strMap, "2", "--port", "1", "--lane", "4", "--samples", "50",
                  "--iterations", "2", "--fail", "1"});
    ASSERT_EQ(0, result.nExitCode) << result.strErr;
    EXPECT_NE(std::string::npos,
              result.strOut.find("Samples:\t\t50\nLeak:\t\t1\nFail:\t\t1\nIterations:\t2\n"));
    EXPECT_EQ(std::string::npos, result.strOut.find("Failed!")) << result.strOut;
    EXPECT_NE(std::string::npos, result.strOut.find("2\t50\t0\nComplete.\n"));
    EXPECT_EQ(std::string::npos, result.strOut.find("Enabling"))
        << "the scan left the lane under DFE control";

    // Fewer than 256 samples: the count leaves alone the sync flags the scan's far settings raised.
    result = Cli({"dfe", "adjust", m_strMap, "2", "--port", "1", "--lane", "4", "--iterations", "3",
                  "--samples", "200"});
    ASSERT_EQ(0, result.nExitCode) << result.strErr;
    EXPECT_EQ("DFE Adjust Search - Port 1, Lane 4\n\nAdjustment complete, final BER count: 0\n",
              result.strOut);
}

TEST_F(DfeCliTest, OneAtATimeScanFindsTheOptimumTapByTap)
{
    const SRunResult result =
        Cli({"dfe",   "scan",        m_strMap, "2",         "--port", "1",        "--lane",
             "5",     "--mode",      "one",    "--samples", "1024",   "--tap",    "1=0:31:1:32",
             "--tap", "2=0:15:1:16", "--tap",  "3=0:7:1:8", "--tap",  "4=0:3:1:4"});
    ASSERT_EQ(0, result.nExitCode) << result.strErr;
    EXPECT_NE(std::string::npos,
              result.strOut.find("\nBEST ONE-AT-A-TIME TAP VALUES FOUND:\n 8\t14\t  7\t 3\t 1\t0\n\n"))
        << result.strOut;
}

TEST_F(DfeCliTest, RefusesBeforeWritingAnything)
{
    struct SCase
    {
        std::vector<std::string> args;
        const char* pszError;
    };
    const SCase cases[] = {
        {{"scan", m_strMap, "2", "--port", "2", "--lane", "8"},
         "dfe: Port 2 of node 2 is not trained: a DFE run needs the link up to count its errors. Nothing was "
         "written.\n"},
        {{"adjust", m_strMap, "2", "--port", "1", "--lane", "3"},
         "dfe: Lane 3 is not a lane of port 1: its lanes are 4 to 7\n"},
        {{"monitor", m_strMap, "3", "--port", "0", "--lane", "0"},
         "dfe: Node 3 (device 0002, vendor fff0) has no lanes the DFE tools tune: it is not an IDT Gen2 "
         "switch "
         "(CPS-1848, CPS-1432, VPS-1616, SPS-1616, CPS-1616)\n"},
        {{"scan", m_strMap, "2", "--port", "1", "--lane", "4", "--tap", "1=0:32:1:128"},
         "dfe: Please enter an integer value between 0 and 31\n"},
        {{"scan", m_strMap, "2", "--port", "1", "--lane", "4", "--tap", "2=5:3:1:64"},
         "dfe: Max must not be less than Min\n"},
        {{"monitor", m_strMap, "2", "--port", "1", "--lane", "4", "--ber", "1:8"},
         "dfe: --ber takes N:E, N from 1 to 9 and E from 9 to 14\n"},
    };
    for (const SCase& c : cases)
    {
        std::vector<std::string> args = {"dfe"};
        args.insert(args.end(), c.args.begin(), c.args.end());
        const SRunResult result = Cli(args);
        EXPECT_EQ(1, result.nExitCode) << c.pszError;
        EXPECT_EQ(c.pszError, result.strErr);
        EXPECT_EQ("", result.strOut);
    }
    // The refused runs on lane 4 wrote nothing: its equaliser is still as it came out of reset, so
    // the first run that goes ahead has to take control of it.
    const SRunResult result = Cli({"dfe", "adjust", m_strMap, "2", "--port", "1", "--lane", "4",
                                   "--iterations", "1", "--samples", "10"});
    ASSERT_EQ(0, result.nExitCode) << result.strErr;
    EXPECT_NE(std::string::npos, result.strOut.find("\nEnabling DFE control on port 1 lane 4\n"));
}

TEST_F(DfeCliTest, InterruptCancelsARunLikeCancel)
{
    // Tuned first, so that the monitor finds no errors and would run for ever.
    const SRunResult scan = Cli({"dfe", "scan", m_strMap, "2", "--port", "1", "--lane", "6", "--samples",
                                 "1024", "--tap", "1=0:31:1:32"});
    ASSERT_EQ(0, scan.nExitCode) << scan.strErr;
    std::vector<std::string> args = Args({"dfe", "monitor", m_strMap, "2", "--port", "1", "--lane", "6",
                                          "--iterations", "forever", "--samples", "20"});
    const std::string strProgram = nvtest::BuiltProgram("Cli/norvanta-cli");
    std::vector<char*> argv;
    argv.push_back(const_cast<char*>(strProgram.c_str()));
    for (std::string& strArg : args)
    {
        argv.push_back(strArg.data());
    }
    argv.push_back(nullptr);
    int fds[2];
    ASSERT_EQ(0, pipe(fds));
    const pid_t pid = fork();
    ASSERT_GE(pid, 0);
    if (pid == 0)
    {
        dup2(fds[1], STDOUT_FILENO);
        close(fds[0]);
        close(fds[1]);
        execv(strProgram.c_str(), argv.data());
        _exit(127);
    }
    close(fds[1]);
    std::string strOut;
    char buffer[4096];
    bool bSignalled = false;
    for (;;)
    {
        pollfd pfd = {fds[0], POLLIN, 0};
        if (poll(&pfd, 1, 20000) <= 0)
        {
            break;
        }
        const ssize_t n = read(fds[0], buffer, sizeof buffer);
        if (n <= 0)
        {
            break;
        }
        strOut.append(buffer, static_cast<size_t>(n));
        // Well into the run: the lanes have been counted for several iterations.
        if (!bSignalled && strOut.find("\n5\t20\t") != std::string::npos)
        {
            kill(pid, SIGINT);
            bSignalled = true;
        }
    }
    close(fds[0]);
    int nStatus = 0;
    waitpid(pid, &nStatus, 0);
    ASSERT_TRUE(bSignalled) << strOut;
    ASSERT_TRUE(WIFEXITED(nStatus)) << "the run ends itself, not by the signal";
    EXPECT_EQ(1, WEXITSTATUS(nStatus));
    const std::string strAborted = "\nAborted by user...\n";
    ASSERT_GE(strOut.size(), strAborted.size());
    EXPECT_EQ(strAborted, strOut.substr(strOut.size() - strAborted.size()))
        << strOut.substr(strOut.size() - 200);
    EXPECT_EQ(std::string::npos, strOut.find("Complete."));
}
} // namespace
