#include "TerminalRun.h"

#include "SimProcess.h"
#include "TestSupport.h"

#include <cerrno>
#include <fcntl.h>
#include <poll.h>
#include <pty.h>
#include <termios.h>
#include <unistd.h>

namespace nvtest
{
namespace
{
std::string OutputPath()
{
    static int s_nCount = 0;
    return ProcessTempDir() + "/terminal-" + std::to_string(::getpid()) + "-" + std::to_string(s_nCount++) +
           ".out";
}

// Reads a descriptor to its end (a terminal's master ends with EIO once the child has gone).
std::string ReadToEnd(int fd)
{
    std::string strText;
    char achBuffer[4096];
    for (;;)
    {
        const ssize_t nRead = ::read(fd, achBuffer, sizeof achBuffer);
        if (nRead > 0)
        {
            strText.append(achBuffer, static_cast<size_t>(nRead));
            continue;
        }
        if (nRead < 0 && errno == EINTR)
        {
            continue;
        }
        return strText;
    }
}
} // namespace

STerminalRun RunOnTerminal(const std::string& strProgram, const std::vector<std::string>& args)
{
    STerminalRun result;
    int fdMaster = -1, fdSlave = -1;
    if (::openpty(&fdMaster, &fdSlave, nullptr, nullptr, nullptr) != 0)
    {
        return result;
    }
    // Line ends arrive as written, not turned into CR LF.
    termios mode{};
    ::tcgetattr(fdSlave, &mode);
    mode.c_oflag &= ~static_cast<tcflag_t>(OPOST);
    ::tcsetattr(fdSlave, TCSANOW, &mode);
    const std::string strOutPath = OutputPath();
    std::vector<char*> argv = ArgumentVector(strProgram, args);
    const pid_t pid = ::fork();
    if (pid == 0)
    {
        const int fdIn = ::open("/dev/null", O_RDONLY);
        const int fdOut = ::open(strOutPath.c_str(), O_WRONLY | O_CREAT | O_TRUNC, 0644);
        if (fdIn < 0 || fdOut < 0)
        {
            ::_exit(126);
        }
        ::dup2(fdIn, STDIN_FILENO);
        ::dup2(fdOut, STDOUT_FILENO);
        ::dup2(fdSlave, STDERR_FILENO);
        ::close(fdMaster);
        ::close(fdSlave);
        ::close(fdIn);
        ::close(fdOut);
        ::execv(strProgram.c_str(), argv.data());
        ::_exit(127);
    }
    ::close(fdSlave);
    if (pid < 0)
    {
        ::close(fdMaster);
        return result;
    }
    result.strTerminal = ReadToEnd(fdMaster);
    ::close(fdMaster);
    result.nExitCode = WaitForExit(pid);
    result.strOut = ReadFile(strOutPath);
    return result;
}

STerminalRun RunWithEnvironment(const std::string& strProgram, const std::vector<std::string>& args,
                                const std::vector<std::string>& environment)
{
    STerminalRun result;
    int afdOut[2], afdErr[2];
    if (::pipe(afdOut) != 0)
    {
        return result;
    }
    if (::pipe(afdErr) != 0)
    {
        ::close(afdOut[0]);
        ::close(afdOut[1]);
        return result;
    }
    std::vector<char*> argv = ArgumentVector(strProgram, args);
    std::vector<char*> envp;
    for (const std::string& strEntry : environment)
    {
        envp.push_back(const_cast<char*>(strEntry.c_str()));
    }
    envp.push_back(nullptr);
    const pid_t pid = ::fork();
    if (pid == 0)
    {
        const int fdIn = ::open("/dev/null", O_RDONLY);
        ::dup2(fdIn, STDIN_FILENO);
        ::dup2(afdOut[1], STDOUT_FILENO);
        ::dup2(afdErr[1], STDERR_FILENO);
        for (int fd : {afdOut[0], afdOut[1], afdErr[0], afdErr[1], fdIn})
        {
            ::close(fd);
        }
        ::execve(strProgram.c_str(), argv.data(), envp.data());
        ::_exit(127);
    }
    ::close(afdOut[1]);
    ::close(afdErr[1]);
    // Both pipes are drained together so that neither can fill and stall the child.
    pollfd afdPoll[2] = {{afdOut[0], POLLIN, 0}, {afdErr[0], POLLIN, 0}};
    std::string* apText[2] = {&result.strOut, &result.strTerminal};
    int nOpen = pid > 0 ? 2 : 0;
    while (nOpen > 0)
    {
        if (::poll(afdPoll, 2, -1) < 0)
        {
            if (errno == EINTR)
            {
                continue;
            }
            break;
        }
        for (int i = 0; i < 2; ++i)
        {
            if (afdPoll[i].fd < 0 || !(afdPoll[i].revents & (POLLIN | POLLHUP | POLLERR)))
            {
                continue;
            }
            char achBuffer[4096];
            const ssize_t nRead = ::read(afdPoll[i].fd, achBuffer, sizeof achBuffer);
            if (nRead > 0)
            {
                apText[i]->append(achBuffer, static_cast<size_t>(nRead));
            }
            else if (nRead == 0 || errno != EINTR)
            {
                afdPoll[i].fd = -1;
                --nOpen;
            }
        }
    }
    ::close(afdOut[0]);
    ::close(afdErr[0]);
    if (pid > 0)
    {
        result.nExitCode = WaitForExit(pid);
    }
    return result;
}
} // namespace nvtest
