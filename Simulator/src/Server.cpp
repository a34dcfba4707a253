#include "nvsim/Server.h"

#include "ServerCodec.h"

#include <algorithm>
#include <arpa/inet.h>
#include <atomic>
#include <cerrno>
#include <chrono>
#include <condition_variable>
#include <cstring>
#include <deque>
#include <fcntl.h>
#include <ifaddrs.h>
#include <map>
#include <memory>
#include <mutex>
#include <net/if.h>
#include <netinet/in.h>
#include <netinet/tcp.h>
#include <optional>
#include <poll.h>
#include <stdexcept>
#include <sys/socket.h>
#include <thread>
#include <unistd.h>

namespace nvsim
{
namespace
{
using Clock = ServerClock;

// A connection's received bytes are read only up to one whole request of the largest size, so
// a client that sends faster than its replies leave is held back by TCP itself.
constexpr size_t kInputLimit = codec::kHeaderSize + codec::kMaxRequestLength;
// UDP replies held back by a delay may take this much in all; beyond it a reply is dropped,
// as UDP may.
constexpr size_t kMaxQueuedDatagramBytes = 16 * 1024 * 1024;
// Datagrams read from one socket in one round of the loop, so a flood on one carrier does not
// shut out the others.
constexpr int kDatagramsPerRound = 256;
// How often running traffic generators are advanced.
constexpr std::chrono::milliseconds kGeneratorPeriod{5};
// How long the server stops accepting when it runs out of descriptors.
constexpr std::chrono::milliseconds kAcceptPause{100};

const char* FaultName(EReplyFault eKind)
{
    switch (eKind)
    {
    case EReplyFault::Drop:
        return "drop";
    case EReplyFault::BadLength:
        return "badlength";
    case EReplyFault::BadEcho:
        return "badecho";
    case EReplyFault::BadId:
        return "badid";
    case EReplyFault::Partial:
        return "partial";
    case EReplyFault::Garbage:
        return "garbage";
    case EReplyFault::Close:
        return "close";
    case EReplyFault::Delay:
        return "delay";
    case EReplyFault::Status:
        return "status";
    }
    return "?";
}

std::string Endpoint(const sockaddr_in& address)
{
    char szAddress[INET_ADDRSTRLEN] = {};
    inet_ntop(AF_INET, &address.sin_addr, szAddress, sizeof szAddress);
    return std::string(szAddress) + ":" + std::to_string(ntohs(address.sin_port));
}

std::string AddressText(in_addr_t ulAddress)
{
    char szAddress[INET_ADDRSTRLEN] = {};
    inet_ntop(AF_INET, &ulAddress, szAddress, sizeof szAddress);
    return szAddress;
}

std::string Endpoint(in_addr_t ulAddress, uint16_t wPort)
{
    return AddressText(ulAddress) + ":" + std::to_string(wPort);
}

void CloseFd(int& fd)
{
    if (fd >= 0)
        ::close(fd);
    fd = -1;
}

// Bytes that look like nothing the protocol sends: a hostile or broken server.
std::vector<uint8_t> Garbage(size_t n)
{
    std::vector<uint8_t> bytes(n);
    uint32_t ulState = 0xDEADBEEF;
    for (uint8_t& b : bytes)
    {
        ulState = ulState * 1664525u + 1013904223u;
        b = static_cast<uint8_t>(ulState >> 24);
    }
    return bytes;
}

// The broadcast address of the network an interface address of this machine shares with
// ulAddress (network order): the interface's own broadcast address, or for the loopback
// network the top of its range (127.255.255.255, which the kernel routes as a broadcast).
// 0 for a point-to-point link or an address no interface network holds.
in_addr_t DirectedBroadcast(in_addr_t ulAddress)
{
    ifaddrs* pList = nullptr;
    if (getifaddrs(&pList) != 0)
        return 0;
    in_addr_t ulBroadcast = 0;
    uint32_t ulBestMask = 0;
    bool bFound = false;
    for (const ifaddrs* p = pList; p; p = p->ifa_next)
    {
        if (!p->ifa_addr || p->ifa_addr->sa_family != AF_INET || !p->ifa_netmask)
            continue;
        const uint32_t ulOwn = ntohl(reinterpret_cast<const sockaddr_in*>(p->ifa_addr)->sin_addr.s_addr);
        const uint32_t ulMask = ntohl(reinterpret_cast<const sockaddr_in*>(p->ifa_netmask)->sin_addr.s_addr);
        if (((ulOwn ^ ntohl(ulAddress)) & ulMask) != 0 || (bFound && ulMask <= ulBestMask))
            continue;
        bFound = true;
        ulBestMask = ulMask;
        ulBroadcast = 0;
        if ((p->ifa_flags & IFF_BROADCAST) && p->ifa_broadaddr && p->ifa_broadaddr->sa_family == AF_INET)
            ulBroadcast = reinterpret_cast<const sockaddr_in*>(p->ifa_broadaddr)->sin_addr.s_addr;
        else if ((p->ifa_flags & IFF_LOOPBACK) && ulMask < 0xFFFFFFFCu)
            ulBroadcast = htonl(ulOwn | ~ulMask);
    }
    freeifaddrs(pList);
    return ulBroadcast == ulAddress ? 0 : ulBroadcast;
}
} // namespace

class CSimServer::CImpl
{
public:
    CImpl(CSimFabric& fabric, SServerOptions options)
        : m_generators(fabric), m_fabric(fabric), m_options(std::move(options))
    {
    }
    ~CImpl() { Stop(); }

    bool Start(std::string* pError);
    void Stop();
    bool IsRunning() const { return m_thread.joinable(); }
    SServerStats Stats();

    uint16_t m_wTcpPort = 0, m_wUdpPort = 0, m_wBroadcastPort = 0;
    CFaults m_faults;
    CTrafficGenerators m_generators;

private:
    enum class EOut
    {
        Send,  // send the bytes
        Close, // close the connection
        Stall  // never send anything again on this connection
    };
    struct SOut
    {
        Clock::time_point due;
        EOut eAction = EOut::Send;
        std::vector<uint8_t> bytes;
    };
    struct SConnection
    {
        int fd = -1;
        std::string strPeer;
        std::vector<uint8_t> in;
        std::deque<SOut> out;
        size_t nQueued = 0; // bytes in out
        size_t nSent = 0;   // bytes of out.front() already sent
        uint64_t ullRequests = 0;
        bool bStalled = false; // a partial reply stalled it for good
        bool bClosing = false; // NVT_CLOSE came: nothing more is read
        bool bDead = false;

        // Whether to read from it: input that is thrown away always, else up to the limit.
        bool WantsInput() const { return bStalled || bClosing || in.size() < kInputLimit; }
    };
    struct SDatagram
    {
        Clock::time_point due;
        sockaddr_in to{};
        std::vector<uint8_t> bytes;
    };
    // The datagrams of one sender's request so far.
    struct SUdpPartial
    {
        std::vector<uint8_t> in;
        Clock::time_point since; // when the first of them came
        uint64_t ullOrder = 0;   // the order in which requests began, for dropping the oldest
    };
    using SenderKey = std::pair<in_addr_t, uint16_t>;
    // What to send for one request.
    struct SPlan
    {
        std::vector<std::vector<uint8_t>> pieces;
        uint32_t ulDelayMs = 0;
        bool bClose = false;
        bool bStall = false;
    };
    // The fixed entries at the head of the poll list; the connections follow.
    enum EPollSlot
    {
        kSlotWake,
        kSlotTcp,
        kSlotUdp,
        kSlotSearch,
        kSlotSearchBroadcast,
        kFixedSlots
    };

    bool Fail(std::string* pError, const std::string& strText);
    bool OpenSocket(int nType, const char* pszKind, in_addr_t ulAddress, uint16_t wPort, int* pFd,
                    uint16_t* pwBound, std::string* pError);
    bool OpenSearchSockets(in_addr_t ulBind, std::string* pError);
    void Loop();
    void Log(const std::string& strLine) const;
    Clock::time_point Now() const { return m_options.fnClock ? m_options.fnClock() : Clock::now(); }
    uint64_t NowUs() const;
    // The traffic generators' clock: the server's clock in microseconds, not restarted with the
    // server, so that a generator runs on across a restart.
    uint64_t GeneratorNowUs() const
    {
        return static_cast<uint64_t>(
            std::chrono::duration_cast<std::chrono::microseconds>(Now().time_since_epoch()).count());
    }
    SPlan Plan(uint32_t ulMessageId, const std::vector<uint8_t>& body, bool bUdp, const std::string& strPeer);
    void Accept();
    void ReadConnection(SConnection& connection, bool bHungUp);
    void ProcessRequests(SConnection& connection, bool bPeerGone);
    void FlushConnection(SConnection& connection, Clock::time_point now);
    void ReadUdp();
    void DropUdpPartial(std::map<SenderKey, SUdpPartial>::iterator it, const char* pszWhy);
    void ExpireUdpPartials(Clock::time_point now);
    void ReadSearch(int fd);
    void FlushDatagrams(Clock::time_point now);
    int PollTimeoutMs(Clock::time_point now) const;
    SServerStats TakeStats() const;
    void AnswerStats();

    CSimFabric& m_fabric;
    SServerOptions m_options;
    int m_tcp = -1, m_udp = -1;
    // Searches: m_search is bound to the bind address (any address for 0.0.0.0) and sends the
    // answers; m_searchBroadcast, when there is one, to the broadcast address of its network.
    int m_search = -1, m_searchBroadcast = -1;
    int m_wake[2] = {-1, -1};
    std::thread m_thread;
    std::atomic<bool> m_bStop{false};
    Clock::time_point m_start;
    std::optional<Clock::time_point> m_oAcceptResume; // accepting paused until then
    std::vector<std::unique_ptr<SConnection>> m_connections;
    std::deque<SDatagram> m_datagrams;
    size_t m_nQueuedDatagramBytes = 0;
    std::map<SenderKey, SUdpPartial> m_udpInput; // by sender
    size_t m_nUdpPartialBytes = 0;
    uint64_t m_ullUdpOrder = 0;
    std::vector<std::string> m_searchSockets;
    // Stats asked for by other threads, answered by the server thread.
    std::mutex m_statsMutex;
    std::condition_variable m_statsAnswered;
    uint64_t m_ullStatsAsked = 0, m_ullStatsDone = 0;
    SServerStats m_stats;
};

bool CSimServer::CImpl::Fail(std::string* pError, const std::string& strText)
{
    if (pError)
        *pError = strText;
    CloseFd(m_tcp);
    CloseFd(m_udp);
    CloseFd(m_search);
    CloseFd(m_searchBroadcast);
    CloseFd(m_wake[0]);
    CloseFd(m_wake[1]);
    m_searchSockets.clear();
    return false;
}

bool CSimServer::CImpl::OpenSocket(int nType, const char* pszKind, in_addr_t ulAddress, uint16_t wPort,
                                   int* pFd, uint16_t* pwBound, std::string* pError)
{
    sockaddr_in address{};
    address.sin_family = AF_INET;
    address.sin_port = htons(wPort);
    address.sin_addr.s_addr = ulAddress;
    const std::string strWhere = ulAddress == htonl(INADDR_ANY) ? "any address" : AddressText(ulAddress);

    *pFd = ::socket(AF_INET, nType | SOCK_NONBLOCK | SOCK_CLOEXEC, 0);
    if (*pFd < 0)
        return Fail(pError, std::string("cannot create the ") + pszKind + " socket: " + std::strerror(errno));
    // The listening socket may rebind at once after a restart, and several simulators share
    // the search port, each getting every broadcast search.
    const bool bSearch = std::strcmp(pszKind, "broadcast") == 0;
    const int nOne = 1;
    if ((nType == SOCK_STREAM || bSearch) &&
        setsockopt(*pFd, SOL_SOCKET, SO_REUSEADDR, &nOne, sizeof nOne) != 0)
        return Fail(pError, std::string("cannot set SO_REUSEADDR: ") + std::strerror(errno));
    if (::bind(*pFd, reinterpret_cast<const sockaddr*>(&address), sizeof address) != 0)
        return Fail(pError, std::string("cannot bind ") + pszKind + " port " + std::to_string(wPort) +
                                " on " + strWhere + ": " + std::strerror(errno));
    // A burst of clients must find room in the listen queue while the loop is busy.
    if (nType == SOCK_STREAM && ::listen(*pFd, SOMAXCONN) != 0)
        return Fail(pError, std::string("cannot listen on TCP port ") + std::to_string(wPort) + ": " +
                                std::strerror(errno));
    socklen_t nLength = sizeof address;
    getsockname(*pFd, reinterpret_cast<sockaddr*>(&address), &nLength);
    *pwBound = ntohs(address.sin_port);
    return true;
}

bool CSimServer::CImpl::OpenSearchSockets(in_addr_t ulBind, std::string* pError)
{
    const in_addr_t ulBroadcast = ulBind == htonl(INADDR_ANY) ? 0 : DirectedBroadcast(ulBind);
    // On an ephemeral port the broadcast address may find the port taken; try another.
    for (int nTry = 0;; ++nTry)
    {
        if (!OpenSocket(SOCK_DGRAM, "broadcast", ulBind, m_options.wBroadcastPort, &m_search,
                        &m_wBroadcastPort, pError))
            return false;
        if (ulBroadcast == 0)
            break;
        m_searchBroadcast = ::socket(AF_INET, SOCK_DGRAM | SOCK_NONBLOCK | SOCK_CLOEXEC, 0);
        sockaddr_in address{};
        address.sin_family = AF_INET;
        address.sin_port = htons(m_wBroadcastPort);
        address.sin_addr.s_addr = ulBroadcast;
        const int nOne = 1;
        if (m_searchBroadcast >= 0 &&
            setsockopt(m_searchBroadcast, SOL_SOCKET, SO_REUSEADDR, &nOne, sizeof nOne) == 0 &&
            ::bind(m_searchBroadcast, reinterpret_cast<const sockaddr*>(&address), sizeof address) == 0)
            break;
        const int nError = errno;
        CloseFd(m_search);
        CloseFd(m_searchBroadcast);
        if (m_options.wBroadcastPort != 0 || nError != EADDRINUSE || nTry >= 4)
            return Fail(pError, "cannot bind broadcast port " + std::to_string(m_wBroadcastPort) + " on " +
                                    AddressText(ulBroadcast) + ": " + std::strerror(nError));
    }
    m_searchSockets = {Endpoint(ulBind, m_wBroadcastPort)};
    if (ulBroadcast != 0)
        m_searchSockets.push_back(Endpoint(ulBroadcast, m_wBroadcastPort));
    return true;
}

bool CSimServer::CImpl::Start(std::string* pError)
{
    if (IsRunning())
        return Fail(pError, "the server runs already");
    try
    {
        m_fabric.Host();
    }
    catch (const std::logic_error& e)
    {
        return Fail(pError, e.what());
    }
    m_wTcpPort = m_wUdpPort = m_wBroadcastPort = 0;
    in_addr bind{};
    if (inet_pton(AF_INET, m_options.strBindAddress.c_str(), &bind) != 1)
        return Fail(pError, "'" + m_options.strBindAddress + "' is not an IPv4 address to bind to");
    if (pipe2(m_wake, O_NONBLOCK | O_CLOEXEC) != 0)
        return Fail(pError, std::string("cannot create a pipe: ") + std::strerror(errno));
    if (m_options.bTcp &&
        !OpenSocket(SOCK_STREAM, "TCP", bind.s_addr, m_options.wTcpPort, &m_tcp, &m_wTcpPort, pError))
        return false;
    if (m_options.bUdp &&
        !OpenSocket(SOCK_DGRAM, "UDP", bind.s_addr, m_options.wUdpPort, &m_udp, &m_wUdpPort, pError))
        return false;
    if (m_options.bBroadcast && !OpenSearchSockets(bind.s_addr, pError))
        return false;
    m_start = Now();
    m_oAcceptResume.reset();
    m_bStop = false;
    m_thread = std::thread([this] { Loop(); });
    return true;
}

void CSimServer::CImpl::Stop()
{
    if (m_thread.joinable())
    {
        m_bStop = true;
        const char chWake = 0;
        [[maybe_unused]] const ssize_t n = ::write(m_wake[1], &chWake, 1);
        m_thread.join();
    }
    for (auto& pConnection : m_connections)
        CloseFd(pConnection->fd);
    m_connections.clear();
    m_datagrams.clear();
    m_nQueuedDatagramBytes = 0;
    m_udpInput.clear();
    m_nUdpPartialBytes = 0;
    m_searchSockets.clear();
    CloseFd(m_tcp);
    CloseFd(m_udp);
    CloseFd(m_search);
    CloseFd(m_searchBroadcast);
    CloseFd(m_wake[0]);
    CloseFd(m_wake[1]);
}

void CSimServer::CImpl::Log(const std::string& strLine) const
{
    if (m_options.fnLog)
        m_options.fnLog(strLine);
}

uint64_t CSimServer::CImpl::NowUs() const
{
    return static_cast<uint64_t>(
        std::chrono::duration_cast<std::chrono::microseconds>(Now() - m_start).count());
}

CSimServer::CImpl::SPlan CSimServer::CImpl::Plan(uint32_t ulMessageId, const std::vector<uint8_t>& body,
                                                 bool bUdp, const std::string& strPeer)
{
    codec::SOutcome outcome =
        codec::Handle(m_fabric, ulMessageId, body, bUdp, NowUs(), &m_generators, GeneratorNowUs());
    Log((bUdp ? "udp " : "tcp ") + strPeer + " " + outcome.strSummary);
    SPlan plan;
    plan.ulDelayMs = outcome.ulLatencyMs;
    if (outcome.eAction == codec::EAction::Close)
        plan.bClose = true;
    if (outcome.eAction != codec::EAction::Reply)
        return plan;

    codec::SReply& reply = outcome.reply;
    const std::optional<SReplyFault> fault = m_faults.Take(ulMessageId, reply.nEchoOffset >= 0);
    if (fault)
    {
        Log(std::string("  fault ") + FaultName(fault->eKind) + " on the reply to message " +
            std::to_string(ulMessageId));
        switch (fault->eKind)
        {
        case EReplyFault::Drop:
            return plan;
        case EReplyFault::Close:
            plan.bClose = true;
            return plan;
        case EReplyFault::Garbage:
            plan.pieces.push_back(Garbage(static_cast<size_t>(fault->llValue ? fault->llValue : 16)));
            return plan;
        case EReplyFault::Partial:
        {
            size_t nLeft = static_cast<size_t>(fault->llValue ? fault->llValue : 10);
            for (std::vector<uint8_t>& piece :
                 bUdp ? codec::Datagrams(reply) : std::vector<std::vector<uint8_t>>{codec::Serialize(reply)})
            {
                if (nLeft == 0)
                    break;
                piece.resize(std::min(piece.size(), nLeft));
                nLeft -= piece.size();
                plan.pieces.push_back(std::move(piece));
            }
            plan.bStall = true;
            return plan;
        }
        case EReplyFault::BadLength:
            reply.oLength = static_cast<uint32_t>(reply.body.size() + reply.data.size() +
                                                  static_cast<uint32_t>(fault->llValue ? fault->llValue : 1));
            break;
        case EReplyFault::BadEcho:
            codec::Put32(reply.body, reply.nEchoOffset, codec::Get32(reply.body, reply.nEchoOffset) + 1);
            break;
        case EReplyFault::BadId:
            reply.ulMessageId =
                fault->llValue ? static_cast<uint32_t>(fault->llValue) : reply.ulMessageId + 2;
            break;
        case EReplyFault::Status:
            codec::Put32(reply.body, reply.nStatusOffset, static_cast<uint32_t>(fault->llValue));
            break;
        case EReplyFault::Delay:
            plan.ulDelayMs += static_cast<uint32_t>(fault->llValue);
            break;
        }
    }
    if (bUdp)
        plan.pieces = codec::Datagrams(reply);
    else
        plan.pieces.push_back(codec::Serialize(reply));
    return plan;
}

void CSimServer::CImpl::Accept()
{
    for (;;)
    {
        sockaddr_in address{};
        socklen_t nLength = sizeof address;
        const int fd =
            ::accept4(m_tcp, reinterpret_cast<sockaddr*>(&address), &nLength, SOCK_NONBLOCK | SOCK_CLOEXEC);
        if (fd < 0)
        {
            if (errno == EINTR || errno == ECONNABORTED)
                continue;
            // Out of descriptors or memory: the waiting client stays in the listen queue and
            // would wake the loop at once, again and again; leave it there for a while.
            if (errno == EMFILE || errno == ENFILE || errno == ENOBUFS || errno == ENOMEM)
            {
                Log(std::string("tcp cannot accept a connection: ") + std::strerror(errno));
                m_oAcceptResume = Now() + kAcceptPause;
            }
            return;
        }
        // The client sends a header and a body as two sends; Nagle's algorithm would hold
        // the second back for the first's acknowledgement.
        const int nOne = 1;
        setsockopt(fd, IPPROTO_TCP, TCP_NODELAY, &nOne, sizeof nOne);
        auto pConnection = std::make_unique<SConnection>();
        pConnection->fd = fd;
        pConnection->strPeer = Endpoint(address);
        Log("tcp " + pConnection->strPeer + " connected");
        m_connections.push_back(std::move(pConnection));
    }
}

void CSimServer::CImpl::ReadConnection(SConnection& connection, bool bHungUp)
{
    uint8_t buffer[65536];
    bool bGone = false;
    while (connection.WantsInput())
    {
        const bool bKeep = !connection.bClosing && !connection.bStalled;
        const size_t nRoom =
            bKeep ? std::min(sizeof buffer, kInputLimit - connection.in.size()) : sizeof buffer;
        const ssize_t n = ::recv(connection.fd, buffer, nRoom, 0);
        if (n == 0 || (n < 0 && errno != EAGAIN && errno != EWOULDBLOCK && errno != EINTR))
        {
            bGone = true;
            break;
        }
        if (n < 0)
            break;
        if (bKeep)
            connection.in.insert(connection.in.end(), buffer, buffer + n);
    }
    // A reset, or both directions shut, while nothing more was being read.
    if (bHungUp)
        bGone = true;
    if (bGone)
        Log("tcp " + connection.strPeer + " disconnected");
    // Requests that came before the peer left are still carried out (a write lands), though
    // nobody is left to take the replies.
    ProcessRequests(connection, bGone);
    if (bGone)
        connection.bDead = true;
}

void CSimServer::CImpl::ProcessRequests(SConnection& connection, bool bPeerGone)
{
    const Clock::time_point now = Now();
    size_t nDone = 0; // bytes of connection.in taken
    while (!connection.bClosing && !connection.bDead && connection.in.size() - nDone >= codec::kHeaderSize)
    {
        // A client whose replies back up gets no more carried out until it reads them.
        if (!bPeerGone && connection.nQueued >= kReplyBacklogBytes)
            break;
        const uint32_t ulMessageId = codec::Get32(connection.in, nDone);
        const uint32_t ulLength = codec::Get32(connection.in, nDone + 4);
        if (ulLength > codec::kMaxRequestLength)
        {
            Log("tcp " + connection.strPeer + " sent Length " + std::to_string(ulLength) +
                ", beyond any request; connection closed");
            connection.bDead = true;
            connection.in.clear();
            return;
        }
        if (connection.in.size() - nDone < codec::kHeaderSize + ulLength)
            break;
        const auto first = connection.in.begin() + static_cast<std::ptrdiff_t>(nDone + codec::kHeaderSize);
        const std::vector<uint8_t> body(first, first + ulLength);
        nDone += codec::kHeaderSize + ulLength;

        SPlan plan = Plan(ulMessageId, body, false, connection.strPeer);
        ++connection.ullRequests;
        if (bPeerGone)
            continue;
        // Replies leave in the order of their requests, a late one holding up those behind it.
        Clock::time_point due = now + std::chrono::milliseconds(plan.ulDelayMs);
        if (!connection.out.empty())
            due = std::max(due, connection.out.back().due);
        for (std::vector<uint8_t>& piece : plan.pieces)
        {
            connection.nQueued += piece.size();
            connection.out.push_back({due, EOut::Send, std::move(piece)});
        }
        if (plan.bStall)
            connection.out.push_back({due, EOut::Stall, {}});
        if (plan.bClose)
        {
            connection.out.push_back({due, EOut::Close, {}});
            connection.bClosing = true;
            connection.in.clear();
            return;
        }
    }
    connection.in.erase(connection.in.begin(), connection.in.begin() + static_cast<std::ptrdiff_t>(nDone));
}

void CSimServer::CImpl::FlushConnection(SConnection& connection, Clock::time_point now)
{
    while (!connection.bDead && !connection.out.empty() && connection.out.front().due <= now)
    {
        SOut& out = connection.out.front();
        if (out.eAction == EOut::Close)
        {
            Log("tcp " + connection.strPeer + " closed by the server");
            connection.bDead = true;
            return;
        }
        if (out.eAction == EOut::Stall)
        {
            connection.bStalled = true;
            connection.in.clear();
            connection.out.clear();
            connection.nQueued = 0;
            return;
        }
        const ssize_t n = ::send(connection.fd, out.bytes.data() + connection.nSent,
                                 out.bytes.size() - connection.nSent, MSG_NOSIGNAL);
        if (n < 0)
        {
            if (errno != EAGAIN && errno != EWOULDBLOCK && errno != EINTR)
            {
                Log("tcp " + connection.strPeer + " disconnected");
                connection.bDead = true;
            }
            return;
        }
        connection.nSent += static_cast<size_t>(n);
        if (connection.nSent < out.bytes.size())
            return;
        connection.nSent = 0;
        connection.nQueued -= out.bytes.size();
        connection.out.pop_front();
    }
}

void CSimServer::CImpl::ReadUdp()
{
    uint8_t buffer[65536];
    const Clock::time_point now = Now();
    for (int nRead = 0; nRead < kDatagramsPerRound; ++nRead)
    {
        sockaddr_in from{};
        socklen_t nLength = sizeof from;
        const ssize_t n =
            ::recvfrom(m_udp, buffer, sizeof buffer, 0, reinterpret_cast<sockaddr*>(&from), &nLength);
        if (n < 0)
            return;
        // The client sends header, body and payload as datagrams of their own: gather them
        // per sender until a whole request is there.
        const SenderKey key{from.sin_addr.s_addr, from.sin_port};
        auto it = m_udpInput.try_emplace(key, SUdpPartial{{}, now, m_ullUdpOrder}).first;
        ++m_ullUdpOrder;
        std::vector<uint8_t>& in = it->second.in;
        in.insert(in.end(), buffer, buffer + n);
        const size_t nHeld = in.size();
        m_nUdpPartialBytes += static_cast<size_t>(n);
        const std::string strPeer = Endpoint(from);
        size_t nDone = 0;
        while (in.size() - nDone >= codec::kHeaderSize)
        {
            const uint32_t ulMessageId = codec::Get32(in, nDone);
            const uint32_t ulLength = codec::Get32(in, nDone + 4);
            if (ulLength > codec::kMaxRequestLength)
            {
                Log("udp " + strPeer + " sent Length " + std::to_string(ulLength) +
                    ", beyond any request; dropped");
                nDone = in.size();
                break;
            }
            if (in.size() - nDone < codec::kHeaderSize + ulLength)
                break;
            const auto first = in.begin() + static_cast<std::ptrdiff_t>(nDone + codec::kHeaderSize);
            const std::vector<uint8_t> body(first, first + ulLength);
            nDone += codec::kHeaderSize + ulLength;
            SPlan plan = Plan(ulMessageId, body, true, strPeer);
            if (plan.bClose)
            {
                nDone = in.size();
                break;
            }
            size_t nBytes = 0;
            for (const std::vector<uint8_t>& piece : plan.pieces)
                nBytes += piece.size();
            if (m_nQueuedDatagramBytes + nBytes > kMaxQueuedDatagramBytes)
            {
                Log("udp " + strPeer + " reply dropped: too many replies wait for their time");
                continue;
            }
            const Clock::time_point due = now + std::chrono::milliseconds(plan.ulDelayMs);
            for (std::vector<uint8_t>& piece : plan.pieces)
            {
                m_nQueuedDatagramBytes += piece.size();
                m_datagrams.push_back({due, from, std::move(piece)});
            }
        }
        in.erase(in.begin(), in.begin() + static_cast<std::ptrdiff_t>(nDone));
        m_nUdpPartialBytes -= nHeld - in.size();
        if (in.empty())
            m_udpInput.erase(it);
        else if (nDone > 0)
        {
            // What is left starts the next request.
            it->second.since = now;
            it->second.ullOrder = m_ullUdpOrder++;
        }
        // Too many half-received requests, or too large in all: the oldest go.
        while (m_udpInput.size() > kMaxUdpPartialRequests || m_nUdpPartialBytes > kMaxUdpPartialBytes)
        {
            auto oldest = m_udpInput.begin();
            for (auto candidate = m_udpInput.begin(); candidate != m_udpInput.end(); ++candidate)
            {
                if (candidate->second.ullOrder < oldest->second.ullOrder)
                    oldest = candidate;
            }
            DropUdpPartial(oldest, "too many requests are half received");
        }
    }
}

void CSimServer::CImpl::DropUdpPartial(std::map<SenderKey, SUdpPartial>::iterator it, const char* pszWhy)
{
    Log("udp " + Endpoint(it->first.first, ntohs(it->first.second)) + " half-received request of " +
        std::to_string(it->second.in.size()) + " bytes dropped: " + pszWhy);
    m_nUdpPartialBytes -= it->second.in.size();
    m_udpInput.erase(it);
}

void CSimServer::CImpl::ExpireUdpPartials(Clock::time_point now)
{
    for (auto it = m_udpInput.begin(); it != m_udpInput.end();)
    {
        auto next = std::next(it);
        if (it->second.since + kUdpRequestExpiry <= now)
            DropUdpPartial(it, "the rest did not come in time");
        it = next;
    }
}

void CSimServer::CImpl::ReadSearch(int fd)
{
    uint8_t buffer[2048];
    for (int nRead = 0; nRead < kDatagramsPerRound; ++nRead)
    {
        sockaddr_in from{};
        socklen_t nLength = sizeof from;
        const ssize_t n =
            ::recvfrom(fd, buffer, sizeof buffer, 0, reinterpret_cast<sockaddr*>(&from), &nLength);
        if (n < 0)
            return;
        const std::vector<uint8_t> request(buffer, buffer + n);
        if (n < static_cast<ssize_t>(codec::kHeaderSize) || codec::Get32(request, 0) != codec::kIdentify)
        {
            Log("broadcast " + Endpoint(from) + " sent something other than NVT_IDENTIFY; ignored");
            continue;
        }
        // The answer goes to the searcher's address at the reply port, header and record in
        // one datagram, from the bind address, which the searcher then connects to.
        std::vector<uint8_t> answer(codec::kHeaderSize);
        codec::Put32(answer, 0, codec::kIdentifyResp);
        codec::Put32(answer, 4, codec::kIdentityRecordSize);
        const std::vector<uint8_t> record = codec::IdentityRecord(m_fabric, !m_options.bTcp);
        answer.insert(answer.end(), record.begin(), record.end());
        sockaddr_in to = from;
        to.sin_port = htons(m_options.wReplyPort);
        Log("broadcast " + Endpoint(from) + " IDENTIFY -> answered to " + Endpoint(to));
        ::sendto(m_search, answer.data(), answer.size(), 0, reinterpret_cast<const sockaddr*>(&to),
                 sizeof to);
    }
}

void CSimServer::CImpl::FlushDatagrams(Clock::time_point now)
{
    for (auto it = m_datagrams.begin(); it != m_datagrams.end();)
    {
        if (it->due > now)
        {
            ++it;
            continue;
        }
        ::sendto(m_udp, it->bytes.data(), it->bytes.size(), 0, reinterpret_cast<const sockaddr*>(&it->to),
                 sizeof it->to);
        m_nQueuedDatagramBytes -= it->bytes.size();
        it = m_datagrams.erase(it);
    }
}

int CSimServer::CImpl::PollTimeoutMs(Clock::time_point now) const
{
    std::optional<Clock::time_point> next;
    auto consider = [&next](Clock::time_point due) { next = next ? std::min(*next, due) : due; };
    for (const auto& pConnection : m_connections)
    {
        if (!pConnection->out.empty())
            consider(pConnection->out.front().due);
    }
    for (const SDatagram& datagram : m_datagrams)
        consider(datagram.due);
    for (const auto& [key, partial] : m_udpInput)
        consider(partial.since + kUdpRequestExpiry);
    if (m_oAcceptResume)
        consider(*m_oAcceptResume);
    // Running traffic generators send what they owe every few milliseconds.
    if (m_generators.AnyRunning())
        consider(now + kGeneratorPeriod);
    if (!next)
        return -1;
    if (*next <= now)
        return 0;
    return static_cast<int>(std::chrono::ceil<std::chrono::milliseconds>(*next - now).count());
}

void CSimServer::CImpl::Loop()
{
    std::vector<pollfd> fds;
    while (!m_bStop)
    {
        const Clock::time_point now = Now();
        m_generators.Advance(GeneratorNowUs());
        if (m_oAcceptResume && *m_oAcceptResume <= now)
            m_oAcceptResume.reset();
        fds.assign(kFixedSlots, pollfd{-1, POLLIN, 0});
        fds[kSlotWake].fd = m_wake[0];
        // poll() skips negative descriptors: the carriers that are off, a paused listener.
        fds[kSlotTcp].fd = m_oAcceptResume ? -1 : m_tcp;
        fds[kSlotUdp].fd = m_udp;
        fds[kSlotSearch].fd = m_search;
        fds[kSlotSearchBroadcast].fd = m_searchBroadcast;
        for (const auto& pConnection : m_connections)
        {
            // A connection that reads nothing more still reports a reset or a hang-up.
            short nEvents = pConnection->WantsInput() ? POLLIN : 0;
            if (!pConnection->out.empty() && pConnection->out.front().due <= now)
                nEvents |= POLLOUT;
            fds.push_back({pConnection->fd, nEvents, 0});
        }
        if (::poll(fds.data(), fds.size(), PollTimeoutMs(now)) < 0 && errno != EINTR)
            break;

        if (fds[kSlotWake].revents & POLLIN)
        {
            char buffer[64];
            while (::read(m_wake[0], buffer, sizeof buffer) > 0)
            {
            }
        }
        // Connections accepted now come after the ones polled.
        const size_t nPolled = m_connections.size();
        if (fds[kSlotTcp].revents & POLLIN)
            Accept();
        if (fds[kSlotUdp].revents & POLLIN)
            ReadUdp();
        if (fds[kSlotSearch].revents & POLLIN)
            ReadSearch(m_search);
        if (fds[kSlotSearchBroadcast].revents & POLLIN)
            ReadSearch(m_searchBroadcast);
        for (size_t i = 0; i < nPolled; ++i)
        {
            const short nEvents = fds[kFixedSlots + i].revents;
            if (nEvents & (POLLIN | POLLHUP | POLLERR))
                ReadConnection(*m_connections[i], !(nEvents & POLLIN) && (nEvents & (POLLHUP | POLLERR)));
        }

        const Clock::time_point after = Now();
        for (auto& pConnection : m_connections)
        {
            FlushConnection(*pConnection, after);
            // Requests held back while the replies backed up go on as they drain.
            ProcessRequests(*pConnection, false);
        }
        ExpireUdpPartials(after);
        FlushDatagrams(after);
        for (auto it = m_connections.begin(); it != m_connections.end();)
        {
            if ((*it)->bDead)
            {
                CloseFd((*it)->fd);
                it = m_connections.erase(it);
            }
            else
                ++it;
        }
        AnswerStats();
    }
    AnswerStats();
}

SServerStats CSimServer::CImpl::TakeStats() const
{
    SServerStats stats;
    for (const auto& pConnection : m_connections)
        stats.connections.push_back(
            {pConnection->strPeer, pConnection->nQueued, pConnection->in.size(), pConnection->ullRequests});
    stats.nUdpPartialRequests = m_udpInput.size();
    stats.nUdpPartialBytes = m_nUdpPartialBytes;
    stats.nQueuedDatagramBytes = m_nQueuedDatagramBytes;
    stats.searchSockets = m_searchSockets;
    return stats;
}

void CSimServer::CImpl::AnswerStats()
{
    std::lock_guard<std::mutex> lock(m_statsMutex);
    if (m_ullStatsDone == m_ullStatsAsked)
        return;
    m_stats = TakeStats();
    m_ullStatsDone = m_ullStatsAsked;
    m_statsAnswered.notify_all();
}

SServerStats CSimServer::CImpl::Stats()
{
    if (!IsRunning())
        return TakeStats();
    std::unique_lock<std::mutex> lock(m_statsMutex);
    const uint64_t ullTicket = ++m_ullStatsAsked;
    const char chWake = 0;
    [[maybe_unused]] const ssize_t n = ::write(m_wake[1], &chWake, 1);
    m_statsAnswered.wait_for(lock, std::chrono::seconds(10), [&] { return m_ullStatsDone >= ullTicket; });
    return m_stats;
}

// ---------------------------------------------------------------------------------------------

CSimServer::CSimServer(CSimFabric& fabric, SServerOptions options)
    : m_pImpl(std::make_unique<CImpl>(fabric, std::move(options)))
{
}

CSimServer::~CSimServer() = default;

bool CSimServer::Start(std::string* pError)
{
    return m_pImpl->Start(pError);
}
void CSimServer::Stop()
{
    m_pImpl->Stop();
}
bool CSimServer::IsRunning() const
{
    return m_pImpl->IsRunning();
}
uint16_t CSimServer::TcpPort() const
{
    return m_pImpl->m_wTcpPort;
}
uint16_t CSimServer::UdpPort() const
{
    return m_pImpl->m_wUdpPort;
}
uint16_t CSimServer::BroadcastPort() const
{
    return m_pImpl->m_wBroadcastPort;
}
CFaults& CSimServer::Faults()
{
    return m_pImpl->m_faults;
}

CTrafficGenerators& CSimServer::Generators()
{
    return m_pImpl->m_generators;
}
SServerStats CSimServer::Stats() const
{
    return m_pImpl->Stats();
}
} // namespace nvsim
