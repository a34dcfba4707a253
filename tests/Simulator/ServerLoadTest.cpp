// The server under load and abuse: clients that never read, bursts of connections, garbage,
// oversized and half-sent requests, clients that vanish, and UDP requests that never complete.
// Whatever one client does, the others go on being served and the server's memory stays
// bounded. Everything runs on loopback and ends in a few seconds.
#include "SimTestUtil.h"

#include "ServerCodec.h"

#include "nvsim/Server.h"

#include <arpa/inet.h>
#include <atomic>
#include <chrono>
#include <fstream>
#include <functional>
#include <gtest/gtest.h>
#include <netinet/in.h>
#include <netinet/tcp.h>
#include <poll.h>
#include <set>
#include <sstream>
#include <sys/socket.h>
#include <thread>
#include <unistd.h>

using namespace nvsim;
using namespace simtest;

namespace
{
// A host with 16 MiB of flash (the default), 0xFF when erased.
const char* const kTopology = kHostAndSwitch;

constexpr uint32_t kMiB = 1024 * 1024;
const Bytes kIdentify = Cat({B32(9), B32(0)});
constexpr size_t kIdentifyReply = 144;

uint32_t Negative(int32_t nStatus)
{
    return static_cast<uint32_t>(nStatus);
}

// NVT_MAINTREAD of the host's Device Identity, body and whole request.
const Bytes kReadBody = Cat({B8(0), Zeros(2), B8(0), B32(0xFFFFFFFF), B8(0), Zeros(2), B8(0), B32(0),
                             B32(0x00), B32(1), B32(4), B32(4), B32(2)});
const Bytes kReadReply = Cat({B32(4), B32(52), kReadBody, Zeros(12), B32(0x0001FFF0)});

// Polls the server's stats until the predicate holds or nTimeoutMs pass; the last stats seen.
SServerStats WaitForStats(const CSimServer& server, const std::function<bool(const SServerStats&)>& fnDone,
                          int nTimeoutMs = 3000)
{
    const auto deadline = std::chrono::steady_clock::now() + std::chrono::milliseconds(nTimeoutMs);
    SServerStats stats = server.Stats();
    while (!fnDone(stats) && std::chrono::steady_clock::now() < deadline)
    {
        std::this_thread::sleep_for(std::chrono::milliseconds(5));
        stats = server.Stats();
    }
    return stats;
}

uint16_t LocalPort(int fd)
{
    sockaddr_in address{};
    socklen_t nLength = sizeof address;
    getsockname(fd, reinterpret_cast<sockaddr*>(&address), &nLength);
    return ntohs(address.sin_port);
}

// The stats of the connection whose client end is at that local port.
const SConnectionStats* ConnectionOf(const SServerStats& stats, uint16_t wClientPort)
{
    const std::string strPeer = "127.0.0.1:" + std::to_string(wClientPort);
    for (const SConnectionStats& connection : stats.connections)
    {
        if (connection.strPeer == strPeer)
            return &connection;
    }
    return nullptr;
}

// A raw TCP socket to 127.0.0.1, for what CTcpClient does not do (its fd, a hard close).
class CRawClient
{
public:
    explicit CRawClient(uint16_t wPort, bool bNonBlocking = false)
    {
        m_fd = ::socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC | (bNonBlocking ? SOCK_NONBLOCK : 0), 0);
        sockaddr_in address{};
        address.sin_family = AF_INET;
        address.sin_port = htons(wPort);
        address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
        m_nConnect =
            ::connect(m_fd, reinterpret_cast<const sockaddr*>(&address), sizeof address) == 0 ? 0 : errno;
    }
    ~CRawClient() { Close(); }
    CRawClient(const CRawClient&) = delete;
    CRawClient& operator=(const CRawClient&) = delete;

    int Fd() const { return m_fd; }
    bool Connecting() const { return m_nConnect == 0 || m_nConnect == EINPROGRESS; }
    bool Send(const Bytes& bytes) const
    {
        return ::send(m_fd, bytes.data(), bytes.size(), MSG_NOSIGNAL) == static_cast<ssize_t>(bytes.size());
    }
    // Closes at once with a reset, dropping whatever is unread or unsent.
    void Abort()
    {
        const linger hard{1, 0};
        setsockopt(m_fd, SOL_SOCKET, SO_LINGER, &hard, sizeof hard);
        Close();
    }
    void Close()
    {
        if (m_fd >= 0)
            ::close(m_fd);
        m_fd = -1;
    }

private:
    int m_fd = -1;
    int m_nConnect = 0;
};

// The IPv4 addresses that UDP sockets of this network namespace are bound to at a port, from
// the kernel's own table.
std::set<std::string> UdpBindings(uint16_t wPort)
{
    std::set<std::string> addresses;
    std::ifstream table("/proc/net/udp");
    std::string strLine;
    std::getline(table, strLine); // the column heads
    while (std::getline(table, strLine))
    {
        std::istringstream fields(strLine);
        std::string strSlot, strLocal;
        fields >> strSlot >> strLocal;
        const size_t nColon = strLocal.find(':');
        if (nColon == std::string::npos || std::stoul(strLocal.substr(nColon + 1), nullptr, 16) != wPort)
            continue;
        // The address is printed as the 32-bit word of its bytes in memory order.
        in_addr address{};
        address.s_addr = static_cast<in_addr_t>(std::stoul(strLocal.substr(0, nColon), nullptr, 16));
        char szAddress[INET_ADDRSTRLEN] = {};
        inet_ntop(AF_INET, &address, szAddress, sizeof szAddress);
        addresses.insert(szAddress);
    }
    return addresses;
}

class CFakeClock
{
public:
    ServerClock::time_point Now() const { return m_base + std::chrono::milliseconds(m_llMs.load()); }
    void Advance(std::chrono::milliseconds elapsed) { m_llMs += elapsed.count(); }

private:
    const ServerClock::time_point m_base = ServerClock::now();
    std::atomic<int64_t> m_llMs{0};
};
} // namespace

TEST(ServerLoad, AClientThatNeverReadsIsHeldBackAndTheOthersAreServed)
{
    CServerRig rig(kTopology);
    ASSERT_TRUE(rig.Ready());
    const CSimServer& server = rig.Server();

    // 64 flash reads of 1 MiB each, sent in one go by a client that then reads nothing.
    constexpr uint32_t kRequests = 64;
    const Bytes flashRead = Cat({B32(0), B32(0), B32(kMiB), B32(0)});
    Bytes requests;
    for (uint32_t i = 0; i < kRequests; ++i)
    {
        const Bytes request = Cat({B32(35), B32(16), flashRead});
        requests.insert(requests.end(), request.begin(), request.end());
    }
    CTcpClient hog(server.TcpPort());
    ASSERT_TRUE(hog.Connected());
    const uint16_t wHogPort = LocalPort(hog.Fd());
    ASSERT_TRUE(hog.Send(requests));

    // The server stops taking the hog's requests once its replies back up.
    const auto hogStats = [&](const SServerStats& stats) { return ConnectionOf(stats, wHogPort); };
    SServerStats stats =
        WaitForStats(server,
                     [&](const SServerStats& s)
                     {
                         const SConnectionStats* p = hogStats(s);
                         return p && (p->nUnreadRequestBytes > 0 || p->ullRequests == kRequests);
                     });
    const SConnectionStats* pHog = hogStats(stats);
    ASSERT_NE(nullptr, pHog);
    EXPECT_LT(pHog->ullRequests, kRequests) << "every request was carried out, its replies piling up";
    EXPECT_GT(pHog->nUnreadRequestBytes, 0u) << "the rest wait, unread";
    EXPECT_LE(pHog->nQueuedReplyBytes, kReplyBacklogBytes + 28 + kMiB)
        << "at most one reply beyond the backlog bound is queued";
    EXPECT_LT(pHog->nQueuedReplyBytes, 2 * kMiB);

    // Meanwhile another client is answered.
    CTcpClient& other = rig.Client();
    ASSERT_TRUE(other.Send(Cat({B32(3), B32(36), kReadBody})));
    EXPECT_EQ(kReadReply, other.Receive(kReadReply.size(), 2000));

    // When the hog reads at last, every reply comes, whole and in order.
    for (uint32_t i = 0; i < kRequests; ++i)
    {
        const Bytes reply = hog.Receive(28 + kMiB, 5000);
        ASSERT_EQ(28 + kMiB, reply.size()) << "reply " << i;
        ASSERT_EQ(Cat({B32(36), B32(20 + kMiB), flashRead, B32(0)}),
                  Bytes(reply.begin(), reply.begin() + 28));
        ASSERT_EQ(0xFF, reply[28]);
        ASSERT_EQ(0xFF, reply.back());
    }
    stats = WaitForStats(server,
                         [&](const SServerStats& s)
                         {
                             const SConnectionStats* p = hogStats(s);
                             return p && p->ullRequests == kRequests && p->nQueuedReplyBytes == 0;
                         });
    ASSERT_NE(nullptr, hogStats(stats));
    EXPECT_EQ(kRequests, hogStats(stats)->ullRequests);
    EXPECT_EQ(0u, hogStats(stats)->nUnreadRequestBytes);
}

TEST(ServerLoad, ABurstOf200ConnectionsIsAcceptedWhileTheServerIsBusyAndAllAreServed)
{
    CServerRig rig(kTopology);
    ASSERT_TRUE(rig.Ready());
    const uint16_t wPort = rig.Server().TcpPort();
    constexpr size_t kClients = 200;

    // Keep the server thread busy: it waits for the fabric with a request in hand.
    std::unique_lock<std::recursive_mutex> busy = rig.Fabric().Lock();
    ASSERT_TRUE(rig.Client().Send(kIdentify));
    std::this_thread::sleep_for(std::chrono::milliseconds(50));

    // All connections are set up by the kernel from the listen queue, none of them dropped to
    // wait for a second try at its SYN.
    std::vector<std::unique_ptr<CRawClient>> clients;
    for (size_t i = 0; i < kClients; ++i)
        clients.push_back(std::make_unique<CRawClient>(wPort, true));
    size_t nConnected = 0;
    const auto deadline = std::chrono::steady_clock::now() + std::chrono::seconds(3);
    std::vector<bool> connected(kClients, false);
    while (nConnected < kClients && std::chrono::steady_clock::now() < deadline)
    {
        std::vector<pollfd> fds;
        for (const auto& pClient : clients)
            fds.push_back({pClient->Fd(), POLLOUT, 0});
        ::poll(fds.data(), fds.size(), 50);
        for (size_t i = 0; i < kClients; ++i)
        {
            int nError = -1;
            socklen_t nLength = sizeof nError;
            if (!connected[i] && (fds[i].revents & POLLOUT) &&
                getsockopt(fds[i].fd, SOL_SOCKET, SO_ERROR, &nError, &nLength) == 0 && nError == 0)
            {
                connected[i] = true;
                ++nConnected;
            }
        }
    }
    size_t nRetried = 0;
    for (const auto& pClient : clients)
    {
        tcp_info info{};
        socklen_t nLength = sizeof info;
        if (getsockopt(pClient->Fd(), IPPROTO_TCP, TCP_INFO, &info, &nLength) == 0 &&
            info.tcpi_total_retrans > 0)
            ++nRetried;
    }
    busy.unlock();
    EXPECT_EQ(kClients, nConnected);
    EXPECT_EQ(0u, nRetried);
    EXPECT_EQ(kIdentifyReply, rig.Client().Receive(kIdentifyReply).size());

    // Every one of them is answered.
    for (const auto& pClient : clients)
        ASSERT_TRUE(pClient->Send(kIdentify));
    std::vector<size_t> received(kClients, 0);
    size_t nAnswered = 0;
    const auto answerDeadline = std::chrono::steady_clock::now() + std::chrono::seconds(5);
    while (nAnswered < kClients && std::chrono::steady_clock::now() < answerDeadline)
    {
        std::vector<pollfd> fds;
        for (const auto& pClient : clients)
            fds.push_back({pClient->Fd(), POLLIN, 0});
        ::poll(fds.data(), fds.size(), 50);
        for (size_t i = 0; i < kClients; ++i)
        {
            if (!(fds[i].revents & POLLIN) || received[i] >= kIdentifyReply)
                continue;
            uint8_t buffer[256];
            const ssize_t n = ::recv(fds[i].fd, buffer, sizeof buffer, 0);
            if (n > 0 && (received[i] += static_cast<size_t>(n)) >= kIdentifyReply)
                ++nAnswered;
        }
    }
    EXPECT_EQ(kClients, nAnswered);
    EXPECT_EQ(kClients + 1, rig.Server().Stats().connections.size());

    // Once they go, the server lets go of them.
    clients.clear();
    const SServerStats stats =
        WaitForStats(rig.Server(), [](const SServerStats& s) { return s.connections.size() == 1; });
    EXPECT_EQ(1u, stats.connections.size());
}

TEST(ServerLoad, GarbageOversizedAndVanishingClientsLeaveTheOthersServed)
{
    CServerRig rig(kTopology);
    ASSERT_TRUE(rig.Ready());
    const uint16_t wPort = rig.Server().TcpPort();

    // Messages that are not requests, and a request shorter than its fixed part, are passed
    // over with their bodies; the stream stays in step.
    CTcpClient garbage(wPort);
    Bytes noise(100);
    uint32_t ulState = 12345;
    for (uint8_t& b : noise)
        b = static_cast<uint8_t>((ulState = ulState * 1103515245u + 12345u) >> 16);
    ASSERT_TRUE(garbage.Send(Cat({B32(0x55AA55AA), B32(100), noise, B32(3), B32(3), Zeros(3), kIdentify})));
    EXPECT_EQ(kIdentifyReply, garbage.Receive(kIdentifyReply).size());

    // Requests asking for more than any reply may carry are refused, with nothing allocated
    // for them.
    const Bytes hugeMaintRead = Cat({B8(0), Zeros(2), B8(0), B32(0xFFFFFFFF), B8(0), Zeros(3), B32(0), B32(0),
                                     B32(0x40000001), B32(4), B32(4), B32(0)});
    ASSERT_TRUE(garbage.Send(Cat({B32(3), B32(36), hugeMaintRead})));
    EXPECT_EQ(Cat({B32(4), B32(48), hugeMaintRead, Zeros(8), B32(Negative(-304))}), garbage.Receive(56));
    const Bytes hugeDataRead =
        Cat({B8(0), Zeros(2), B8(0), B32(5), B32(0), B32(0), B32(0), B32(0), B32(0xFFFFFFFF), B32(0)});
    ASSERT_TRUE(garbage.Send(Cat({B32(15), B32(32), hugeDataRead})));
    EXPECT_EQ(Cat({B32(16), B32(36), hugeDataRead, B32(Negative(-304))}), garbage.Receive(44));
    const Bytes hugeMemRead = Cat({B32(0), B32(0), B32(0xFFFFFFFF), B32(8), B32(0)});
    ASSERT_TRUE(garbage.Send(Cat({B32(29), B32(20), hugeMemRead})));
    EXPECT_EQ(Cat({B32(30), B32(24), hugeMemRead, B32(Negative(-304))}), garbage.Receive(32));
    const Bytes hugeFlashRead = Cat({B32(0), B32(0), B32(0xFFFFFFFF), B32(0)});
    ASSERT_TRUE(garbage.Send(Cat({B32(35), B32(16), hugeFlashRead})));
    EXPECT_EQ(Cat({B32(36), B32(20), hugeFlashRead, B32(Negative(-304))}), garbage.Receive(28));
    // A write whose count promises more than its Length brings.
    const Bytes liarWrite = Cat({B8(0), Zeros(2), B8(0), B32(0xFFFFFFFF), B8(0), Zeros(3), B32(0x6C),
                                 B32(0xFFFFFFFF), B32(4), B32(4), B32(0)});
    ASSERT_TRUE(garbage.Send(Cat({B32(5), B32(36), liarWrite, B32(0x12345678)})));
    EXPECT_EQ(Cat({B32(6), B32(36), liarWrite, B32(Negative(-304))}), garbage.Receive(44));

    // The largest request the server reads is read whole; one byte more ends the connection.
    const Bytes bigWrite = Cat({B8(0), Zeros(2), B8(0), B32(0xFFFFFFFF), B8(0), Zeros(3), B32(0x6C), B32(1),
                                B32(4), B32(4), B32(0)});
    Bytes largest = Cat({B32(5), B32(static_cast<uint32_t>(codec::kMaxRequestLength)), bigWrite});
    largest.resize(codec::kHeaderSize + codec::kMaxRequestLength, 0xA5);
    ASSERT_TRUE(garbage.Send(largest));
    EXPECT_EQ(Cat({B32(6), B32(36), bigWrite, B32(Negative(-304))}), garbage.Receive(44));
    ASSERT_TRUE(garbage.Send(Cat({B32(5), B32(static_cast<uint32_t>(codec::kMaxRequestLength + 1))})));
    EXPECT_TRUE(garbage.ClosedByPeer());

    // Clients that vanish: halfway through a body, halfway through a large payload, and with
    // 8 MiB of replies on their way to them, cut off with a reset.
    {
        CRawClient halfBody(wPort);
        ASSERT_TRUE(halfBody.Send(Cat({B32(3), B32(36), Bytes(kReadBody.begin(), kReadBody.begin() + 20)})));
        CRawClient halfPayload(wPort);
        ASSERT_TRUE(halfPayload.Send(Cat({B32(31), B32(20 + kMiB), B32(0), B32(0), B32(kMiB / 4), B32(4),
                                          B32(0), Bytes(kMiB / 2, 0x5A)})));
        CRawClient reset(wPort);
        const Bytes flashRead = Cat({B32(35), B32(16), B32(0), B32(0), B32(kMiB), B32(0)});
        for (int i = 0; i < 8; ++i)
            ASSERT_TRUE(reset.Send(flashRead));
        WaitForStats(rig.Server(),
                     [](const SServerStats& s)
                     {
                         size_t nBusy = 0;
                         for (const SConnectionStats& connection : s.connections)
                             nBusy += connection.nUnreadRequestBytes > 0 || connection.ullRequests > 0;
                         return nBusy >= 3;
                     });
        reset.Abort();
        halfBody.Close();
        halfPayload.Abort();
    }
    const SServerStats stats =
        WaitForStats(rig.Server(), [](const SServerStats& s) { return s.connections.size() == 1; });
    ASSERT_EQ(1u, stats.connections.size()) << "only the well-behaved client is left";
    EXPECT_EQ(0u, stats.connections[0].nQueuedReplyBytes);
    EXPECT_EQ(0u, stats.connections[0].nUnreadRequestBytes);
    EXPECT_EQ(kReadReply, rig.Exchange(Cat({B32(3), B32(36), kReadBody}), kReadReply.size()));
}

TEST(ServerLoad, HalfReceivedUdpRequestsExpire)
{
    CFakeClock clock;
    SServerOptions options;
    options.fnClock = [&clock] { return clock.Now(); };
    CServerRig rig(kTopology, options);
    ASSERT_TRUE(rig.Ready());
    const CSimServer& server = rig.Server();
    const uint16_t wPort = server.UdpPort();

    // One sender stops after the header, one halfway through the body, one is just slow.
    CUdpClient headerOnly, halfBody, slow;
    ASSERT_TRUE(headerOnly.SendTo("127.0.0.1", wPort, Cat({B32(3), B32(36)})));
    ASSERT_TRUE(halfBody.SendTo("127.0.0.1", wPort, Cat({B32(3), B32(36)})));
    ASSERT_TRUE(halfBody.SendTo("127.0.0.1", wPort, Bytes(kReadBody.begin(), kReadBody.begin() + 20)));
    ASSERT_TRUE(slow.SendTo("127.0.0.1", wPort, Cat({B32(3), B32(36)})));
    SServerStats stats = WaitForStats(server, [](const SServerStats& s) { return s.nUdpPartialBytes == 44; });
    EXPECT_EQ(3u, stats.nUdpPartialRequests);
    EXPECT_EQ(44u, stats.nUdpPartialBytes);

    // Just before the expiry the slow one finishes its request and is answered.
    clock.Advance(kUdpRequestExpiry - std::chrono::milliseconds(1));
    EXPECT_EQ(3u, server.Stats().nUdpPartialRequests);
    ASSERT_TRUE(slow.SendTo("127.0.0.1", wPort, kReadBody));
    std::vector<Bytes> datagrams = slow.ReceiveAll();
    ASSERT_EQ(3u, datagrams.size());
    EXPECT_EQ(Cat({B32(4), B32(52)}), datagrams[0]);
    EXPECT_EQ(B32(0x0001FFF0), datagrams[2]);

    // Then the two that never finished are dropped.
    clock.Advance(std::chrono::milliseconds(2));
    stats = server.Stats();
    EXPECT_EQ(0u, stats.nUdpPartialRequests);
    EXPECT_EQ(0u, stats.nUdpPartialBytes);

    // A new request from either is read from its own header, not from the stale one.
    for (CUdpClient* pClient : {&headerOnly, &halfBody})
    {
        ASSERT_TRUE(pClient->SendTo("127.0.0.1", wPort, Cat({B32(3), B32(36)})));
        ASSERT_TRUE(pClient->SendTo("127.0.0.1", wPort, kReadBody));
        datagrams = pClient->ReceiveAll();
        ASSERT_EQ(3u, datagrams.size());
        EXPECT_EQ(Cat({B32(4), B32(52)}), datagrams[0]);
        EXPECT_EQ(Cat({kReadBody, Zeros(12)}), datagrams[1]);
        EXPECT_EQ(B32(0x0001FFF0), datagrams[2]);
    }

    // A Length beyond any request drops what came, and the sender's next request is answered.
    ASSERT_TRUE(headerOnly.SendTo("127.0.0.1", wPort, Cat({B32(3), B32(0xFFFFFFFF), kReadBody})));
    ASSERT_TRUE(headerOnly.SendTo("127.0.0.1", wPort, Cat({B32(9), B32(0)})));
    datagrams = headerOnly.ReceiveAll();
    ASSERT_EQ(2u, datagrams.size());
    EXPECT_EQ(Cat({B32(10), B32(136)}), datagrams[0]);
    EXPECT_EQ(0u, server.Stats().nUdpPartialBytes);
}

TEST(ServerLoad, HalfReceivedUdpRequestsAreBoundedInNumberAndSize)
{
    CServerRig rig(kTopology);
    ASSERT_TRUE(rig.Ready());
    const CSimServer& server = rig.Server();
    const uint16_t wPort = server.UdpPort();

    // More senders with a header outstanding than the server keeps: the oldest go.
    constexpr size_t kSenders = kMaxUdpPartialRequests + 44;
    std::vector<std::unique_ptr<CUdpClient>> senders;
    for (size_t i = 0; i < kSenders; ++i)
    {
        senders.push_back(std::make_unique<CUdpClient>());
        ASSERT_TRUE(senders.back()->SendTo("127.0.0.1", wPort, Cat({B32(3), B32(36)})));
        // In batches, so that none is lost in the socket's receive buffer.
        if (i % 50 == 49 || i + 1 == kSenders)
        {
            const size_t nExpected = std::min(i + 1, kMaxUdpPartialRequests);
            WaitForStats(server, [&](const SServerStats& s) { return s.nUdpPartialBytes >= 8 * nExpected; });
        }
    }
    SServerStats stats = server.Stats();
    EXPECT_EQ(kMaxUdpPartialRequests, stats.nUdpPartialRequests);
    EXPECT_EQ(8 * kMaxUdpPartialRequests, stats.nUdpPartialBytes);
    // The newest is still there and completes; the oldest was dropped.
    ASSERT_TRUE(senders.back()->SendTo("127.0.0.1", wPort, kReadBody));
    EXPECT_EQ(3u, senders.back()->ReceiveAll().size());
    ASSERT_TRUE(senders.front()->SendTo("127.0.0.1", wPort, kReadBody));
    EXPECT_TRUE(senders.front()->ReceiveAll(300).empty());
    senders.clear();

    // Large half-sent writes from a few senders stay within the byte bound.
    std::vector<std::unique_ptr<CUdpClient>> writers;
    const Bytes chunk(60000, 0x3C);
    for (int w = 0; w < 10; ++w)
    {
        writers.push_back(std::make_unique<CUdpClient>());
        CUdpClient& writer = *writers.back();
        ASSERT_TRUE(
            writer.SendTo("127.0.0.1", wPort,
                          Cat({B32(31), B32(20 + kMiB), B32(0), B32(0), B32(kMiB / 4), B32(4), B32(0)})));
        for (int c = 0; c < 16; ++c)
        {
            ASSERT_TRUE(writer.SendTo("127.0.0.1", wPort, chunk));
            stats = server.Stats();
            ASSERT_LE(stats.nUdpPartialBytes, kMaxUdpPartialBytes);
        }
    }
    EXPECT_GT(stats.nUdpPartialBytes, kMaxUdpPartialBytes - 2 * kMiB) << "the newest are kept";
}

TEST(ServerLoad, SearchSocketsHonourTheBindAddress)
{
    auto pFabric = Fabric(kTopology);
    ASSERT_TRUE(pFabric);
    CUdpClient searcher;
    SServerOptions options;
    options.strBindAddress = "127.0.0.2";
    options.wTcpPort = options.wUdpPort = options.wBroadcastPort = 0;
    options.wReplyPort = searcher.Port();
    CSimServer server(*pFabric, options);
    std::string strError;
    ASSERT_TRUE(server.Start(&strError)) << strError;
    const uint16_t wPort = server.BroadcastPort();

    // Bound to the address and to the broadcast address of its network, not to every address.
    EXPECT_EQ((std::set<std::string>{"127.0.0.2", "127.255.255.255"}), UdpBindings(wPort));
    const std::vector<std::string> expected{"127.0.0.2:" + std::to_string(wPort),
                                            "127.255.255.255:" + std::to_string(wPort)};
    EXPECT_EQ(expected, server.Stats().searchSockets);

    // A search sent to the address, or broadcast on its network, is answered from the address;
    // one sent to another address of the machine is not heard.
    std::vector<std::string> senders;
    ASSERT_TRUE(searcher.SendTo("127.0.0.2", wPort, kIdentify));
    EXPECT_EQ(1u, searcher.ReceiveAll(3000, 300, &senders).size());
    ASSERT_TRUE(searcher.SendTo("127.255.255.255", wPort, kIdentify, true));
    EXPECT_EQ(1u, searcher.ReceiveAll(3000, 300, &senders).size());
    EXPECT_EQ((std::vector<std::string>{"127.0.0.2", "127.0.0.2"}), senders);
    ASSERT_TRUE(searcher.SendTo("127.0.0.1", wPort, kIdentify));
    EXPECT_TRUE(searcher.ReceiveAll(300).empty());
    server.Stop();

    // 0.0.0.0 serves every address with one search socket.
    options.strBindAddress = "0.0.0.0";
    options.bTcp = options.bUdp = false;
    CSimServer any(*pFabric, options);
    ASSERT_TRUE(any.Start(&strError)) << strError;
    EXPECT_EQ((std::set<std::string>{"0.0.0.0"}), UdpBindings(any.BroadcastPort()));
    ASSERT_TRUE(searcher.SendTo("127.0.0.1", any.BroadcastPort(), kIdentify));
    EXPECT_EQ(1u, searcher.ReceiveAll().size());
}
