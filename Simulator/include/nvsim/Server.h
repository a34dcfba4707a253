// The simulated server: serves one fabric over TCP and UDP and answers broadcast searches,
// speaking the client/server message protocol. It runs a poll loop in a thread of its own;
// slow replies are scheduled, never slept, so one client cannot hold up another.
#pragma once

#include "nvsim/Fabric.h"
#include "nvsim/Faults.h"

#include <cstdint>
#include <functional>
#include <memory>
#include <string>

namespace nvsim
{
struct SServerOptions
{
    std::string strBindAddress = "127.0.0.1"; // address of the TCP and UDP sockets
    uint16_t wTcpPort = 15000;                // 0: any free port
    uint16_t wUdpPort = 15000;
    uint16_t wBroadcastPort = 15001; // searches come here, on any address
    uint16_t wReplyPort = 15002;     // where searchers listen for the answer
    bool bTcp = true, bUdp = true, bBroadcast = true;
    // When set, called on the server thread with one line per request and per reply fault.
    std::function<void(const std::string&)> fnLog;
};

class CSimServer
{
public:
    // The fabric must outlive the server.
    CSimServer(CSimFabric& fabric, SServerOptions options = {});
    ~CSimServer();
    CSimServer(const CSimServer&) = delete;
    CSimServer& operator=(const CSimServer&) = delete;

    // Binds the sockets and starts the server thread; false with *pError if a socket cannot
    // be made or bound.
    bool Start(std::string* pError);
    // Stops the thread and closes every socket; the server can be started again.
    void Stop();
    bool IsRunning() const;

    // The ports bound by Start (0 for a carrier that is off).
    uint16_t TcpPort() const;
    uint16_t UdpPort() const;
    uint16_t BroadcastPort() const;

    // Reply faults in force.
    CFaults& Faults();

private:
    class CImpl;
    std::unique_ptr<CImpl> m_pImpl;
};
} // namespace nvsim
