#include "SimProcess.h"

#include "TestSupport.h"

#include <arpa/inet.h>
#include <cerrno>
#include <chrono>
#include <csignal>
#include <cstdio>
#include <cstring>
#include <fcntl.h>
#include <filesystem>
#include <netinet/in.h>
#include <poll.h>
#include <spawn.h>
#include <sys/socket.h>
#include <sys/wait.h>
#include <unistd.h>

extern char** environ;

namespace nvtest
{
namespace
{
uint16_t PortOf(const std::string& strLine, const std::string& strKey)
{
    const size_t nAt = strLine.find(strKey + "=");
    return nAt == std::string::npos
               ? 0
               : static_cast<uint16_t>(std::stoul(strLine.substr(nAt + strKey.size() + 1)));
}

} // namespace

std::vector<char*> ArgumentVector(const std::string& strProgram, const std::vector<std::string>& args)
{
    std::vector<char*> argv;
    argv.push_back(const_cast<char*>(strProgram.c_str()));
    for (const std::string& strArg : args)
    {
        argv.push_back(const_cast<char*>(strArg.c_str()));
    }
    argv.push_back(nullptr);
    return argv;
}

int WaitForExit(pid_t pid)
{
    int nStatus = 0;
    while (::waitpid(pid, &nStatus, 0) < 0)
    {
        if (errno != EINTR)
        {
            return -1;
        }
    }
    return WIFEXITED(nStatus) ? WEXITSTATUS(nStatus) : -1;
}

CSimProcess::CSimProcess(const std::string& strTopology, const std::vector<std::string>& extraArgs)
{
    std::string strPath = strTopology;
    if (!std::filesystem::exists(strPath))
    {
        strPath = SourceDir() + "/Simulator/topologies/" + strTopology;
    }
    static int nCount = 0;
    m_strErrorFile =
        ProcessTempDir() + "/sim-stderr-" + std::to_string(::getpid()) + "-" + std::to_string(nCount++);
    std::vector<std::string> args = {"--bind",     "127.0.0.1", "--tcp-port",       "0",
                                     "--udp-port", "0",         "--broadcast-port", "0"};
    args.insert(args.end(), extraArgs.begin(), extraArgs.end());
    args.push_back(strPath);

    int anPipe[2];
    if (::pipe(anPipe) < 0)
    {
        return;
    }
    posix_spawn_file_actions_t actions;
    posix_spawn_file_actions_init(&actions);
    posix_spawn_file_actions_adddup2(&actions, anPipe[1], STDOUT_FILENO);
    posix_spawn_file_actions_addclose(&actions, anPipe[0]);
    posix_spawn_file_actions_addopen(&actions, STDERR_FILENO, m_strErrorFile.c_str(),
                                     O_WRONLY | O_CREAT | O_TRUNC, 0644);
    const std::string strProgram = BuiltProgram("Simulator/norvanta-sim");
    auto argv = ArgumentVector(strProgram, args);
    const int nSpawn = posix_spawn(&m_pid, strProgram.c_str(), &actions, nullptr, argv.data(), environ);
    posix_spawn_file_actions_destroy(&actions);
    ::close(anPipe[1]);
    if (nSpawn != 0)
    {
        m_pid = -1;
        ::close(anPipe[0]);
        return;
    }
    // The ready line, within a generous limit for a loaded machine.
    std::string strLine;
    const auto deadline = std::chrono::steady_clock::now() + std::chrono::seconds(20);
    while (strLine.find('\n') == std::string::npos && std::chrono::steady_clock::now() < deadline)
    {
        pollfd wait{anPipe[0], POLLIN, 0};
        if (::poll(&wait, 1, 200) <= 0)
        {
            continue;
        }
        char ch = 0;
        if (::read(anPipe[0], &ch, 1) != 1)
        {
            break;
        }
        strLine += ch;
    }
    ::close(anPipe[0]);
    if (strLine.rfind("norvanta-sim ready", 0) == 0)
    {
        m_wTcpPort = PortOf(strLine, "tcp");
        m_wUdpPort = PortOf(strLine, "udp");
        m_wBroadcastPort = PortOf(strLine, "broadcast");
        const size_t nSerial = strLine.find(" serial=");
        if (nSerial != std::string::npos)
        {
            const size_t nStart = nSerial + 8;
            m_strSerialPath = strLine.substr(nStart, strLine.find_first_of(" \n", nStart) - nStart);
        }
    }
}

CSimProcess::~CSimProcess()
{
    Stop();
}

int CSimProcess::Stop()
{
    if (m_pid <= 0)
    {
        return -1;
    }
    ::kill(m_pid, SIGTERM);
    const int nExit = WaitForExit(m_pid);
    m_pid = -1;
    return nExit;
}

std::string CSimProcess::ErrorOutput() const
{
    return ReadFile(m_strErrorFile);
}

SRunResult RunProgram(const std::string& strProgram, const std::vector<std::string>& args)
{
    SRunResult result;
    static int nCount = 0;
    const std::string strBase =
        ProcessTempDir() + "/run-" + std::to_string(::getpid()) + "-" + std::to_string(nCount++);
    posix_spawn_file_actions_t actions;
    posix_spawn_file_actions_init(&actions);
    posix_spawn_file_actions_addopen(&actions, STDIN_FILENO, "/dev/null", O_RDONLY, 0);
    posix_spawn_file_actions_addopen(&actions, STDOUT_FILENO, (strBase + ".out").c_str(),
                                     O_WRONLY | O_CREAT | O_TRUNC, 0644);
    posix_spawn_file_actions_addopen(&actions, STDERR_FILENO, (strBase + ".err").c_str(),
                                     O_WRONLY | O_CREAT | O_TRUNC, 0644);
    auto argv = ArgumentVector(strProgram, args);
    pid_t pid = -1;
    if (posix_spawn(&pid, strProgram.c_str(), &actions, nullptr, argv.data(), environ) == 0)
    {
        result.nExitCode = WaitForExit(pid);
    }
    posix_spawn_file_actions_destroy(&actions);
    result.strOut = ReadFile(strBase + ".out");
    result.strErr = ReadFile(strBase + ".err");
    return result;
}

uint16_t FreeUdpPort()
{
    const int nSocket = ::socket(AF_INET, SOCK_DGRAM, 0);
    sockaddr_in address{};
    address.sin_family = AF_INET;
    address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    ::bind(nSocket, reinterpret_cast<sockaddr*>(&address), sizeof(address));
    socklen_t nSize = sizeof(address);
    ::getsockname(nSocket, reinterpret_cast<sockaddr*>(&address), &nSize);
    ::close(nSocket);
    return ntohs(address.sin_port);
}
} // namespace nvtest
