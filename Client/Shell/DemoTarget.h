// The built-in demo target: the fabric simulator, started as a child process on free loopback
// ports with the demo topology, and the link settings that point the client at it. This is the
// one place of the client that knows the simulator exists.
#pragma once

#include <QString>

#include <cstdint>
#include <memory>

class QProcess;

class CDemoTarget
{
public:
    CDemoTarget();
    ~CDemoTarget();
    CDemoTarget(const CDemoTarget&) = delete;
    CDemoTarget& operator=(const CDemoTarget&) = delete;

    // Starts the simulator and waits for its ready line, then points the server, search and
    // reply ports of this run at it (the stored preferences are not touched). On failure shows
    // why and returns false.
    bool Start();
    // Stops the simulator and restores the link settings of the preferences.
    void Stop();

    // Where the client reaches it: 127.0.0.1 in host order, and its TCP port.
    static constexpr uint32_t kAddress = 0x7F000001u;
    uint16_t TcpPort() const { return m_wTcpPort; }

    // The simulator program and the demo topology this build uses; empty when not found.
    static QString SimulatorProgram();
    static QString DemoTopology();

private:
    std::unique_ptr<QProcess> m_pProcess;
    uint16_t m_wTcpPort = 0;
};
