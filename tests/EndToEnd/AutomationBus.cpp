#include "AutomationBus.h"

#include "SimProcess.h"
#include "TestSupport.h"

#include <cerrno>
#include <chrono>
#include <csignal>
#include <fcntl.h>
#include <fstream>
#include <poll.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <thread>
#include <unistd.h>

namespace nvtest
{
namespace
{
std::string NewDirectory(const std::string& strStem)
{
    static int s_nCount = 0;
    const std::string strPath = ProcessTempDir() + "/" + strStem + "-" + std::to_string(::getpid()) + "-" +
                                std::to_string(s_nCount++);
    ::mkdir(strPath.c_str(), 0700);
    return strPath;
}

std::vector<char*> EnvironmentVector(const std::vector<std::string>& environment)
{
    std::vector<char*> result;
    for (const std::string& strEntry : environment)
    {
        result.push_back(const_cast<char*>(strEntry.c_str()));
    }
    result.push_back(nullptr);
    return result;
}

// Reaps a child without blocking (iMilliseconds 0) or waiting up to that long.
int Reap(pid_t pid, int iMilliseconds)
{
    const auto end = std::chrono::steady_clock::now() + std::chrono::milliseconds(iMilliseconds);
    for (;;)
    {
        int nStatus = 0;
        const pid_t done = ::waitpid(pid, &nStatus, WNOHANG);
        if (done == pid)
        {
            return WIFEXITED(nStatus) ? WEXITSTATUS(nStatus) : -1;
        }
        if (done < 0 && errno != EINTR)
        {
            return -1;
        }
        if (std::chrono::steady_clock::now() >= end)
        {
            return -2;
        }
        std::this_thread::sleep_for(std::chrono::milliseconds(10));
    }
}
} // namespace

CTestBus::CTestBus(const std::string& strServiceDir)
{
    const std::string strDir = NewDirectory("bus");
    const std::string strConfig = strDir + "/session.conf";
    {
        std::ofstream config(strConfig);
        config << "<!DOCTYPE busconfig PUBLIC \"-//freedesktop//DTD D-Bus Bus Configuration 1.0//EN\"\n"
                  " \"http://www.freedesktop.org/standards/dbus/1.0/busconfig.dtd\">\n"
                  "<busconfig>\n"
                  "  <type>session</type>\n"
                  "  <listen>unix:dir="
               << strDir << "</listen>\n";
        if (!strServiceDir.empty())
        {
            config << "  <servicedir>" << strServiceDir << "</servicedir>\n";
        }
        config << "  <policy context=\"default\">\n"
                  "    <allow send_destination=\"*\" eavesdrop=\"true\"/>\n"
                  "    <allow eavesdrop=\"true\"/>\n"
                  "    <allow own=\"*\"/>\n"
                  "  </policy>\n"
                  "</busconfig>\n";
    }
    int afdPipe[2] = {-1, -1};
    if (::pipe(afdPipe) != 0)
    {
        m_strFailure = "no pipe";
        return;
    }
    const std::string strPrint = "--print-address=" + std::to_string(afdPipe[1]);
    const std::string strConfigArg = "--config-file=" + strConfig;
    // Services it starts inherit this environment: the private home and the bus, no display.
    const std::vector<std::string> environment = BusEnvironment(std::string());
    std::vector<char*> envp = EnvironmentVector(environment);
    const std::string strDaemon = "/usr/bin/dbus-daemon";
    const std::vector<std::string> args = {strConfigArg, "--nofork", "--nosyslog", strPrint};
    std::vector<char*> argv = ArgumentVector(strDaemon, args);
    m_pid = ::fork();
    if (m_pid == 0)
    {
        ::close(afdPipe[0]);
        // Its own complaints and the output of the servers it starts go to a log beside it.
        const int fdNull = ::open("/dev/null", O_RDWR);
        const int fdLog = ::open((strDir + "/daemon.log").c_str(), O_WRONLY | O_CREAT | O_TRUNC, 0644);
        ::dup2(fdNull, STDIN_FILENO);
        ::dup2(fdLog, STDOUT_FILENO);
        ::dup2(fdLog, STDERR_FILENO);
        ::execve(strDaemon.c_str(), argv.data(), envp.data());
        ::_exit(127);
    }
    ::close(afdPipe[1]);
    std::string strLine;
    pollfd waitFor{afdPipe[0], POLLIN, 0};
    while (strLine.find('\n') == std::string::npos && ::poll(&waitFor, 1, 10000) > 0)
    {
        char achBuffer[512];
        const ssize_t nRead = ::read(afdPipe[0], achBuffer, sizeof achBuffer);
        if (nRead <= 0)
        {
            break;
        }
        strLine.append(achBuffer, static_cast<size_t>(nRead));
    }
    ::close(afdPipe[0]);
    if (strLine.find('\n') == std::string::npos)
    {
        m_strFailure = "dbus-daemon gave no address";
        return;
    }
    m_strAddress = strLine.substr(0, strLine.find('\n'));
}

CTestBus::~CTestBus()
{
    if (m_pid > 0)
    {
        ::kill(m_pid, SIGTERM);
        if (Reap(m_pid, 5000) == -2)
        {
            ::kill(m_pid, SIGKILL);
            Reap(m_pid, 5000);
        }
    }
}

std::vector<std::string> BusEnvironment(const std::string& strBusAddress,
                                        const std::vector<std::string>& extra)
{
    const std::string strHome = ProcessTempDir();
    std::vector<std::string> environment = {"HOME=" + strHome,
                                            "PATH=/usr/bin:/bin",
                                            "LANG=C.UTF-8",
                                            "XDG_RUNTIME_DIR=" + strHome,
                                            "XDG_CONFIG_HOME=" + strHome + "/config",
                                            "XDG_DATA_HOME=" + strHome + "/data",
                                            "TMPDIR=" + strHome};
    if (!strBusAddress.empty())
    {
        environment.push_back("DBUS_SESSION_BUS_ADDRESS=" + strBusAddress);
    }
    for (const std::string& strEntry : extra)
    {
        // An extra entry replaces one of the same name.
        const std::string strName = strEntry.substr(0, strEntry.find('=') + 1);
        std::erase_if(environment, [&](const std::string& s) { return s.rfind(strName, 0) == 0; });
        environment.push_back(strEntry);
    }
    return environment;
}

CChildProgram::CChildProgram(const std::string& strProgram, const std::vector<std::string>& args,
                             const std::vector<std::string>& environment)
{
    const std::string strDir = NewDirectory("child");
    m_strOutPath = strDir + "/out";
    m_strErrPath = strDir + "/err";
    std::vector<char*> argv = ArgumentVector(strProgram, args);
    std::vector<char*> envp = EnvironmentVector(environment);
    m_pid = ::fork();
    if (m_pid == 0)
    {
        const int fdIn = ::open("/dev/null", O_RDONLY);
        const int fdOut = ::open(m_strOutPath.c_str(), O_WRONLY | O_CREAT | O_TRUNC, 0644);
        const int fdErr = ::open(m_strErrPath.c_str(), O_WRONLY | O_CREAT | O_TRUNC, 0644);
        if (fdIn < 0 || fdOut < 0 || fdErr < 0)
        {
            ::_exit(126);
        }
        ::dup2(fdIn, STDIN_FILENO);
        ::dup2(fdOut, STDOUT_FILENO);
        ::dup2(fdErr, STDERR_FILENO);
        ::execve(strProgram.c_str(), argv.data(), envp.data());
        ::_exit(127);
    }
}

CChildProgram::~CChildProgram()
{
    if (Running())
    {
        ::kill(m_pid, SIGKILL);
        Wait(5000);
    }
}

bool CChildProgram::Running()
{
    return Wait(0) == -2;
}

int CChildProgram::Wait(int iMilliseconds)
{
    if (m_nExit == -2 && m_pid > 0)
    {
        m_nExit = Reap(m_pid, iMilliseconds);
    }
    return m_nExit;
}

int CChildProgram::Signal(int nSignal, int iMilliseconds)
{
    if (Running())
    {
        ::kill(m_pid, nSignal);
    }
    return Wait(iMilliseconds);
}

std::string CChildProgram::Out() const
{
    return ReadFile(m_strOutPath);
}

std::string CChildProgram::Err() const
{
    return ReadFile(m_strErrPath);
}

SProgramRun RunInEnvironment(const std::string& strProgram, const std::vector<std::string>& args,
                             const std::vector<std::string>& environment, int iMilliseconds)
{
    CChildProgram program(strProgram, args, environment);
    SProgramRun run;
    run.nExitCode = program.Wait(iMilliseconds);
    if (run.nExitCode == -2)
    {
        program.Signal(SIGKILL, 5000);
        run.nExitCode = -1;
    }
    run.strOut = program.Out();
    run.strErr = program.Err();
    return run;
}
} // namespace nvtest
