// A private D-Bus session bus for one test, and programs run against it. The bus is a dbus-daemon
// started by the test on a socket in the test's own directory, so no test ever reaches a bus it
// did not start; the programs get an environment with that bus and no display at all.
#pragma once

#include <string>
#include <sys/types.h>
#include <vector>

namespace nvtest
{
class CTestBus
{
public:
    // Starts the daemon; strServiceDir, when given, is where it looks for activation files.
    explicit CTestBus(const std::string& strServiceDir = std::string());
    ~CTestBus();
    CTestBus(const CTestBus&) = delete;
    CTestBus& operator=(const CTestBus&) = delete;

    bool Ready() const { return !m_strAddress.empty(); }
    const std::string& Address() const { return m_strAddress; }
    // What went wrong when it isn't ready.
    const std::string& Failure() const { return m_strFailure; }

private:
    pid_t m_pid = -1;
    std::string m_strAddress;
    std::string m_strFailure;
};

// The environment of a program under test: a private home, the bus, no display, and the extra
// "NAME=value" entries.
std::vector<std::string> BusEnvironment(const std::string& strBusAddress,
                                        const std::vector<std::string>& extra = {});

// A program running in the background with its output in files.
class CChildProgram
{
public:
    CChildProgram(const std::string& strProgram, const std::vector<std::string>& args,
                  const std::vector<std::string>& environment);
    ~CChildProgram();
    CChildProgram(const CChildProgram&) = delete;
    CChildProgram& operator=(const CChildProgram&) = delete;

    pid_t Pid() const { return m_pid; }
    // True while it runs.
    bool Running();
    // Waits up to iMilliseconds for it to end; its exit code, -1 when it died of a signal, -2 when
    // it still runs.
    int Wait(int iMilliseconds);
    // Sends a signal and waits for the end as Wait does.
    int Signal(int nSignal, int iMilliseconds = 10000);
    std::string Out() const;
    std::string Err() const;

private:
    pid_t m_pid = -1;
    int m_nExit = -2;
    std::string m_strOutPath;
    std::string m_strErrPath;
};

struct SProgramRun
{
    int nExitCode = -1;
    std::string strOut;
    std::string strErr;
};

// Runs a program to its end (killed after iMilliseconds) with the environment given.
SProgramRun RunInEnvironment(const std::string& strProgram, const std::vector<std::string>& args,
                             const std::vector<std::string>& environment, int iMilliseconds = 30000);
} // namespace nvtest
