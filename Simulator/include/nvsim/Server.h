// The simulated server: serves one fabric over TCP and UDP and answers broadcast searches,
// speaking the client/server message protocol. It runs a poll loop in a thread of its own;
// slow replies are scheduled, never slept, so one client cannot hold up another.
#pragma once

#include "nvsim/Fabric.h"
#include "nvsim/Faults.h"
#include "nvsim/TrafficGen.h"

#include <chrono>
#include <cstddef>
#include <cstdint>
#include <functional>
#include <memory>
#include <string>
#include <vector>

namespace nvsim
{
using ServerClock = std::chrono::steady_clock;

// A connection takes no new request while this many bytes of its replies wait to be sent, so a
// client that never reads holds at most this much and one reply more (and what the kernel
// buffers); its further requests stay unread until it reads.
inline constexpr size_t kReplyBacklogBytes = 256 * 1024;
// A UDP request whose datagrams are not all there this long after its first one is dropped.
inline constexpr std::chrono::milliseconds kUdpRequestExpiry{5000};
// At most this many senders may have a UDP request half received, in this many bytes in all;
// beyond either the oldest half-received request is dropped.
inline constexpr size_t kMaxUdpPartialRequests = 256;
inline constexpr size_t kMaxUdpPartialBytes = 8 * 1024 * 1024;

struct SServerOptions
{
    // Address of the TCP, UDP and search sockets; 0.0.0.0 serves every address.
    std::string strBindAddress = "127.0.0.1";
    uint16_t wTcpPort = 15000; // 0: any free port
    uint16_t wUdpPort = 15000;
    uint16_t wBroadcastPort = 15001; // searches come here
    uint16_t wReplyPort = 15002;     // where searchers listen for the answer
    bool bTcp = true, bUdp = true, bBroadcast = true;
    // When set, called on the server thread with one line per request and per reply fault.
    std::function<void(const std::string&)> fnLog;
    // The server's clock (reply schedules, the tick of timed reads, expiry of half-received
    // UDP requests); the steady clock when not set. Tests move time on with it.
    std::function<ServerClock::time_point()> fnClock;
};

// What the server holds, as its own thread sees it.
struct SConnectionStats
{
    std::string strPeer;            // "ADDRESS:PORT" of the client
    size_t nQueuedReplyBytes = 0;   // replies waiting to be sent
    size_t nUnreadRequestBytes = 0; // received, not yet carried out
    uint64_t ullRequests = 0;       // requests carried out
};
struct SServerStats
{
    std::vector<SConnectionStats> connections;
    size_t nUdpPartialRequests = 0; // senders with a UDP request half received
    size_t nUdpPartialBytes = 0;
    size_t nQueuedDatagramBytes = 0; // UDP replies waiting for their time
    // The addresses the search sockets are bound to ("ADDRESS:PORT").
    std::vector<std::string> searchSockets;
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
    // The traffic generators NVT_DATAGEN drives (the server advances them by its clock).
    CTrafficGenerators& Generators();

    // A snapshot taken by the server thread between two rounds of its loop (so after it has
    // dropped what expired by its clock), or of the stopped server.
    SServerStats Stats() const;

private:
    class CImpl;
    std::unique_ptr<CImpl> m_pImpl;
};
} // namespace nvsim
