// norvanta-sim as scripts use it: start on port 0, read the ready line, talk to it, stop it
// with a signal; and the way it refuses bad topologies, busy ports and bad options.
#include "SimTestUtil.h"

#include "SimProcess.h"
#include "TestSupport.h"

#include <arpa/inet.h>
#include <chrono>
#include <csignal>
#include <fstream>
#include <gtest/gtest.h>
#include <netinet/in.h>
#include <poll.h>
#include <regex>
#include <spawn.h>
#include <sys/socket.h>
#include <sys/wait.h>
#include <unistd.h>

extern char** environ;

using namespace simtest;

namespace
{
std::string Sim()
{
    return nvtest::BuiltProgram("Simulator/norvanta-sim");
}
std::string Demo()
{
    return nvtest::SourceDir() + "/Simulator/topologies/demo.topo";
}

// Starts norvanta-sim on the demo on port 0, returns its first line of standard output and
// leaves it running as *pPid.
std::string StartAndReadLine(pid_t* pPid)
{
    int anPipe[2];
    if (pipe(anPipe) != 0)
        return {};
    posix_spawn_file_actions_t actions;
    posix_spawn_file_actions_init(&actions);
    posix_spawn_file_actions_adddup2(&actions, anPipe[1], STDOUT_FILENO);
    posix_spawn_file_actions_addclose(&actions, anPipe[0]);
    const std::string strProgram = Sim();
    const std::string strDemo = Demo();
    const char* const argv[] = {
        strProgram.c_str(), "--tcp-port", "0", "--udp-port", "0", "--broadcast-port", "0",
        strDemo.c_str(),    nullptr};
    const int nSpawn =
        posix_spawn(pPid, strProgram.c_str(), &actions, nullptr, const_cast<char* const*>(argv), environ);
    posix_spawn_file_actions_destroy(&actions);
    close(anPipe[1]);
    std::string strLine;
    const auto deadline = std::chrono::steady_clock::now() + std::chrono::seconds(20);
    while (nSpawn == 0 && std::chrono::steady_clock::now() < deadline)
    {
        pollfd fd{anPipe[0], POLLIN, 0};
        char ch = 0;
        if (poll(&fd, 1, 200) <= 0)
            continue;
        if (read(anPipe[0], &ch, 1) != 1 || ch == '\n')
            break;
        strLine += ch;
    }
    close(anPipe[0]);
    return strLine;
}

int ExitStatus(pid_t pid)
{
    int nStatus = 0;
    waitpid(pid, &nStatus, 0);
    return WIFEXITED(nStatus) ? WEXITSTATUS(nStatus) : 128 + WTERMSIG(nStatus);
}
} // namespace

TEST(SimProgram, PrintsTheReadyLineServesAndStopsCleanlyOnASignal)
{
    static const std::regex kReady(
        "norvanta-sim ready tcp=([1-9][0-9]*) udp=([1-9][0-9]*) broadcast=([1-9][0-9]*)");
    for (int nSignal : {SIGTERM, SIGINT})
    {
        pid_t pid = -1;
        const std::string strLine = StartAndReadLine(&pid);
        ASSERT_GT(pid, 0);
        std::smatch match;
        EXPECT_TRUE(std::regex_match(strLine, match, kReady)) << "'" << strLine << "'";
        if (match.size() == 4)
        {
            CTcpClient client(static_cast<uint16_t>(std::stoi(match[1])));
            ASSERT_TRUE(client.Send(Cat({B32(9), B32(0)})));
            const Bytes reply = client.Receive(144);
            ASSERT_EQ(144u, reply.size());
            EXPECT_EQ(0x0001FFF0u, Word(reply, 12)) << "the demo host: device 0x0001, vendor 0xFFF0";
        }
        kill(pid, nSignal);
        EXPECT_EQ(0, ExitStatus(pid)) << "signal " << nSignal;
    }
}

TEST(SimProgram, CarriersThatAreOffShowAsPortZero)
{
    nvtest::CSimProcess sim("demo.topo", {"--no-udp", "--no-broadcast"});
    ASSERT_TRUE(sim.Ready()) << sim.ErrorOutput();
    EXPECT_EQ(0, sim.UdpPort());
    EXPECT_EQ(0, sim.BroadcastPort());
    EXPECT_EQ(0, sim.Stop());
}

TEST(SimProgram, FaultOptionsAndTheRequestLog)
{
    nvtest::CSimProcess sim(
        "demo.topo", {"--verbose", "--fault", "status:value=-305", "--fault", "loseresp:link=ep2:0,count=0"});
    ASSERT_TRUE(sim.Ready()) << sim.ErrorOutput();
    CTcpClient client(sim.TcpPort());
    const Bytes body = Cat({B8(0), Zeros(2), B8(0), B32(0xFFFFFFFF), B8(0), Zeros(3), B32(0), B32(0), B32(1),
                            B32(4), B32(4), B32(2)});
    ASSERT_TRUE(client.Send(Cat({B32(3), B32(36), body})));
    const Bytes reply = client.Receive(60);
    ASSERT_EQ(60u, reply.size());
    EXPECT_EQ(static_cast<uint32_t>(-305), Word(reply, 8 + 44));
    EXPECT_EQ(0x0001FFF0u, Word(reply, 56)) << "data still there";

    // ep2 (ID 0x0A) never gets its responses home.
    const Bytes toEp2 = Cat(
        {B8(0), Zeros(2), B8(0), B32(0x0A), B8(1), Zeros(3), B32(0), B32(0), B32(1), B32(4), B32(4), B32(2)});
    ASSERT_TRUE(client.Send(Cat({B32(3), B32(36), toEp2})));
    EXPECT_EQ(static_cast<uint32_t>(-310), Word(client.Receive(60), 8 + 44));

    EXPECT_EQ(0, sim.Stop());
    const std::string strLog = sim.ErrorOutput();
    EXPECT_NE(std::string::npos,
              strLog.find("MAINTREAD port 0 dest 0xffffffff hop 0 offset 0x0 count 1 size 4"))
        << strLog;
    EXPECT_NE(std::string::npos, strLog.find("fault status on the reply to message 3")) << strLog;
    // Searches are heard on the bind address and the broadcast address of its network only.
    const std::string strPort = std::to_string(sim.BroadcastPort());
    EXPECT_NE(std::string::npos, strLog.find("searches heard on 127.0.0.1:" + strPort +
                                             " and 127.255.255.255:" + strPort + "\n"))
        << strLog;
}

TEST(SimProgram, RefusesBadTopologiesBusyPortsAndBadOptions)
{
    const std::string strPath = nvtest::ProcessTempDir() + "/bad.topo";
    std::ofstream(strPath) << "device a endpoint\ndevice b endpoint ports=x\n";
    nvtest::SRunResult result = nvtest::RunProgram(Sim(), {"--tcp-port", "0", strPath});
    EXPECT_EQ(1, result.nExitCode);
    EXPECT_EQ("norvanta-sim: " + strPath + ":2: 'ports' needs a number from 0 to 255, not 'x'\n",
              result.strErr);
    EXPECT_EQ("", result.strOut) << "no ready line";

    // A TCP port someone else holds.
    const int fd = socket(AF_INET, SOCK_STREAM, 0);
    sockaddr_in address{};
    address.sin_family = AF_INET;
    address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    ASSERT_EQ(0, bind(fd, reinterpret_cast<sockaddr*>(&address), sizeof address));
    ASSERT_EQ(0, listen(fd, 1));
    socklen_t nLength = sizeof address;
    getsockname(fd, reinterpret_cast<sockaddr*>(&address), &nLength);
    const std::string strPort = std::to_string(ntohs(address.sin_port));
    result = nvtest::RunProgram(Sim(),
                                {"--tcp-port", strPort, "--udp-port", "0", "--broadcast-port", "0", Demo()});
    close(fd);
    EXPECT_EQ(1, result.nExitCode);
    EXPECT_EQ("norvanta-sim: cannot bind TCP port " + strPort + " on 127.0.0.1: Address already in use\n",
              result.strErr);

    result = nvtest::RunProgram(Sim(), {"--tcp-port", "0", "--fault", "mute:device=nobody", Demo()});
    EXPECT_EQ(1, result.nExitCode);
    EXPECT_EQ("norvanta-sim: fault 'mute:device=nobody': there is no device 'nobody'\n", result.strErr);

    result = nvtest::RunProgram(Sim(), {"--tcp-port", "70000", Demo()});
    EXPECT_EQ(2, result.nExitCode);
    EXPECT_EQ(0u,
              result.strErr.find("norvanta-sim: --tcp-port needs a port number from 0 to 65535\nusage: "));

    result = nvtest::RunProgram(Sim(), {});
    EXPECT_EQ(2, result.nExitCode);
    EXPECT_EQ(0u, result.strErr.find("norvanta-sim: no topology file given\n"));
}

TEST(SimProgram, FaultsChangeWhileItRunsThroughCommandsOnStandardInput)
{
    // Standard input and output are pipes of the test's.
    int anIn[2], anOut[2];
    ASSERT_EQ(0, pipe(anIn));
    ASSERT_EQ(0, pipe(anOut));
    posix_spawn_file_actions_t actions;
    posix_spawn_file_actions_init(&actions);
    posix_spawn_file_actions_adddup2(&actions, anIn[0], STDIN_FILENO);
    posix_spawn_file_actions_adddup2(&actions, anOut[1], STDOUT_FILENO);
    posix_spawn_file_actions_addclose(&actions, anIn[1]);
    posix_spawn_file_actions_addclose(&actions, anOut[0]);
    const std::string strProgram = Sim();
    const std::string strDemo = Demo();
    const char* const argv[] = {strProgram.c_str(), "--tcp-port",    "0",    "--no-udp",
                                "--no-broadcast",   strDemo.c_str(), nullptr};
    pid_t pid = -1;
    ASSERT_EQ(
        0, posix_spawn(&pid, strProgram.c_str(), &actions, nullptr, const_cast<char* const*>(argv), environ));
    posix_spawn_file_actions_destroy(&actions);
    close(anIn[0]);
    close(anOut[1]);
    auto line = [&]
    {
        std::string strLine;
        for (const auto deadline = std::chrono::steady_clock::now() + std::chrono::seconds(20);
             std::chrono::steady_clock::now() < deadline;)
        {
            pollfd fd{anOut[0], POLLIN, 0};
            char ch = 0;
            if (poll(&fd, 1, 200) <= 0)
                continue;
            if (read(anOut[0], &ch, 1) != 1 || ch == '\n')
                break;
            strLine += ch;
        }
        return strLine;
    };
    auto command = [&](const std::string& strCommand)
    {
        const std::string strLine = strCommand + "\n";
        EXPECT_EQ(static_cast<ssize_t>(strLine.size()), write(anIn[1], strLine.data(), strLine.size()));
        return line();
    };
    std::smatch match;
    const std::string strReady = line();
    ASSERT_TRUE(std::regex_search(strReady, match, std::regex("tcp=([0-9]+)"))) << strReady;
    CTcpClient client(static_cast<uint16_t>(std::stoi(match[1])));
    // A maintenance read of ep3's identity (ID 0x0F: the request goes by sw1:4 to sw2, the
    // response comes back by sw2:5), status at 8 + 44.
    auto readEp3 = [&]
    {
        const Bytes body = Cat({B8(0), Zeros(2), B8(0), B32(0x0F), B8(0xFF), Zeros(3), B32(0), B32(0), B32(1),
                                B32(4), B32(4), B32(2)});
        EXPECT_TRUE(client.Send(Cat({B32(3), B32(36), body})));
        const Bytes reply = client.Receive(60);
        return reply.size() == 60 ? static_cast<int32_t>(Word(reply, 8 + 44)) : 1;
    };
    EXPECT_EQ(0, readEp3());

    EXPECT_EQ("ok", command("fault linkerrors:link=sw1:4,crc=1"));
    EXPECT_EQ(-310, readEp3()) << "every packet over sw1:4 arrives corrupted";
    EXPECT_EQ("tx 0 rx 1 txbytes 0 rxbytes 0 crc 8 retries 0 nacks 8 dropped 0", command("counters sw2 4"))
        << "sw2 took the first request, then refused eight bad copies of the second";
    EXPECT_EQ("ok", command("fault clear:link=sw1:4"));
    EXPECT_EQ(0, readEp3());
    EXPECT_EQ(0, command("fault linkerrors:link=sw1:9").rfind("error: ", 0)) << "no link there";
    EXPECT_EQ(0, command("frobnicate").rfind("error: unknown command", 0));

    close(anIn[1]); // the input ends; the server serves on
    EXPECT_EQ(0, readEp3());
    kill(pid, SIGTERM);
    EXPECT_EQ(0, ExitStatus(pid));
    close(anOut[0]);
}
