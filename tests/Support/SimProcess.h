// Runs norvanta-sim as a child process on ephemeral loopback ports, for end-to-end tests and
// benchmarks, and runs other programs of the build with their output captured.
#pragma once

#include <cstdint>
#include <string>
#include <sys/types.h>
#include <vector>

namespace nvtest
{
class CSimProcess
{
public:
    // Starts the simulator on a topology (a path, or a file name under Simulator/topologies)
    // with extra options; waits for its ready line.
    explicit CSimProcess(const std::string& strTopology, const std::vector<std::string>& extraArgs = {});
    ~CSimProcess();
    CSimProcess(const CSimProcess&) = delete;
    CSimProcess& operator=(const CSimProcess&) = delete;

    bool Ready() const { return m_wTcpPort != 0; }
    uint16_t TcpPort() const { return m_wTcpPort; }
    uint16_t UdpPort() const { return m_wUdpPort; }
    uint16_t BroadcastPort() const { return m_wBroadcastPort; }
    // The pseudo-terminal of --serial, or empty.
    const std::string& SerialPath() const { return m_strSerialPath; }
    // What the simulator wrote to standard error so far (read after Stop()).
    std::string ErrorOutput() const;
    // Stops it with SIGTERM and returns its exit status (-1 if it died of a signal).
    int Stop();

private:
    pid_t m_pid = -1;
    uint16_t m_wTcpPort = 0;
    uint16_t m_wUdpPort = 0;
    uint16_t m_wBroadcastPort = 0;
    std::string m_strSerialPath;
    std::string m_strErrorFile;
};

struct SRunResult
{
    int nExitCode = -1;
    std::string strOut;
    std::string strErr;
};

// Runs a program with arguments to completion and captures its output.
SRunResult RunProgram(const std::string& strProgram, const std::vector<std::string>& args);

// The argument vector of a program: its path, the arguments and the closing null, pointing into
// the strings given (which must outlive it).
std::vector<char*> ArgumentVector(const std::string& strProgram, const std::vector<std::string>& args);

// Waits for a child process to end; its exit code, or -1 when it died of a signal or could not be
// waited for.
int WaitForExit(pid_t pid);

// A free UDP port on loopback, as the system hands it out.
uint16_t FreeUdpPort();
} // namespace nvtest
