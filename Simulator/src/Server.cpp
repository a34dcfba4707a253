#include "nvsim/Server.h"

#include "ServerCodec.h"

#include <arpa/inet.h>
#include <atomic>
#include <cerrno>
#include <chrono>
#include <cstring>
#include <deque>
#include <fcntl.h>
#include <map>
#include <memory>
#include <netinet/in.h>
#include <netinet/tcp.h>
#include <poll.h>
#include <stdexcept>
#include <sys/socket.h>
#include <thread>
#include <unistd.h>

namespace nvsim
{
namespace
{
using Clock = std::chrono::steady_clock;

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
} // namespace

class CSimServer::CImpl
{
public:
    CImpl(CSimFabric& fabric, SServerOptions options) : m_fabric(fabric), m_options(std::move(options)) {}
    ~CImpl() { Stop(); }

    bool Start(std::string* pError);
    void Stop();
    bool IsRunning() const { return m_thread.joinable(); }

    uint16_t m_wTcpPort = 0, m_wUdpPort = 0, m_wBroadcastPort = 0;
    CFaults m_faults;

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
        size_t nSent = 0;      // bytes of out.front() already sent
        bool bStalled = false; // a partial reply stalled it for good
        bool bClosing = false; // NVT_CLOSE came: nothing more is read
        bool bDead = false;
    };
    struct SDatagram
    {
        Clock::time_point due;
        sockaddr_in to{};
        std::vector<uint8_t> bytes;
    };
    // What to send for one request.
    struct SPlan
    {
        std::vector<std::vector<uint8_t>> pieces;
        uint32_t ulDelayMs = 0;
        bool bClose = false;
        bool bStall = false;
    };

    bool Fail(std::string* pError, const std::string& strText);
    bool OpenSocket(int nType, uint16_t wPort, bool bAnyAddress, int* pFd, uint16_t* pwBound,
                    std::string* pError);
    void Loop();
    void Log(const std::string& strLine) const;
    uint64_t NowUs() const;
    SPlan Plan(uint32_t ulMessageId, const std::vector<uint8_t>& body, bool bUdp, const std::string& strPeer);
    void Accept();
    void ReadConnection(SConnection& connection);
    void ProcessRequests(SConnection& connection);
    void FlushConnection(SConnection& connection, Clock::time_point now);
    void ReadUdp();
    void ReadBroadcast();
    void FlushDatagrams(Clock::time_point now);
    int PollTimeoutMs(Clock::time_point now) const;

    CSimFabric& m_fabric;
    SServerOptions m_options;
    int m_tcp = -1, m_udp = -1, m_broadcast = -1;
    int m_wake[2] = {-1, -1};
    std::thread m_thread;
    std::atomic<bool> m_bStop{false};
    Clock::time_point m_start = Clock::now();
    std::vector<std::unique_ptr<SConnection>> m_connections;
    std::deque<SDatagram> m_datagrams;
    std::map<std::pair<uint32_t, uint16_t>, std::vector<uint8_t>> m_udpInput; // by sender
};

bool CSimServer::CImpl::Fail(std::string* pError, const std::string& strText)
{
    if (pError)
        *pError = strText;
    CloseFd(m_tcp);
    CloseFd(m_udp);
    CloseFd(m_broadcast);
    CloseFd(m_wake[0]);
    CloseFd(m_wake[1]);
    return false;
}

bool CSimServer::CImpl::OpenSocket(int nType, uint16_t wPort, bool bAnyAddress, int* pFd, uint16_t* pwBound,
                                   std::string* pError)
{
    const char* pszKind = nType == SOCK_STREAM ? "TCP" : (bAnyAddress ? "broadcast" : "UDP");
    sockaddr_in address{};
    address.sin_family = AF_INET;
    address.sin_port = htons(wPort);
    if (bAnyAddress)
        address.sin_addr.s_addr = htonl(INADDR_ANY);
    else if (inet_pton(AF_INET, m_options.strBindAddress.c_str(), &address.sin_addr) != 1)
        return Fail(pError, "'" + m_options.strBindAddress + "' is not an IPv4 address to bind to");

    *pFd = ::socket(AF_INET, nType | SOCK_NONBLOCK | SOCK_CLOEXEC, 0);
    if (*pFd < 0)
        return Fail(pError, std::string("cannot create the ") + pszKind + " socket: " + std::strerror(errno));
    // The listening socket may rebind at once after a restart, and several simulators share
    // the broadcast port, each getting every search.
    const int nOne = 1;
    if ((nType == SOCK_STREAM || bAnyAddress) &&
        setsockopt(*pFd, SOL_SOCKET, SO_REUSEADDR, &nOne, sizeof nOne) != 0)
        return Fail(pError, std::string("cannot set SO_REUSEADDR: ") + std::strerror(errno));
    if (::bind(*pFd, reinterpret_cast<const sockaddr*>(&address), sizeof address) != 0)
        return Fail(pError, std::string("cannot bind ") + pszKind + " port " + std::to_string(wPort) +
                                " on " + (bAnyAddress ? "any address" : m_options.strBindAddress) + ": " +
                                std::strerror(errno));
    if (nType == SOCK_STREAM && ::listen(*pFd, 8) != 0)
        return Fail(pError, std::string("cannot listen on TCP port ") + std::to_string(wPort) + ": " +
                                std::strerror(errno));
    socklen_t nLength = sizeof address;
    getsockname(*pFd, reinterpret_cast<sockaddr*>(&address), &nLength);
    *pwBound = ntohs(address.sin_port);
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
    if (pipe2(m_wake, O_NONBLOCK | O_CLOEXEC) != 0)
        return Fail(pError, std::string("cannot create a pipe: ") + std::strerror(errno));
    if (m_options.bTcp && !OpenSocket(SOCK_STREAM, m_options.wTcpPort, false, &m_tcp, &m_wTcpPort, pError))
        return false;
    if (m_options.bUdp && !OpenSocket(SOCK_DGRAM, m_options.wUdpPort, false, &m_udp, &m_wUdpPort, pError))
        return false;
    if (m_options.bBroadcast &&
        !OpenSocket(SOCK_DGRAM, m_options.wBroadcastPort, true, &m_broadcast, &m_wBroadcastPort, pError))
        return false;
    m_start = Clock::now();
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
    m_udpInput.clear();
    CloseFd(m_tcp);
    CloseFd(m_udp);
    CloseFd(m_broadcast);
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
        std::chrono::duration_cast<std::chrono::microseconds>(Clock::now() - m_start).count());
}

CSimServer::CImpl::SPlan CSimServer::CImpl::Plan(uint32_t ulMessageId, const std::vector<uint8_t>& body,
                                                 bool bUdp, const std::string& strPeer)
{
    codec::SOutcome outcome = codec::Handle(m_fabric, ulMessageId, body, bUdp, NowUs());
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
            return;
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

void CSimServer::CImpl::ReadConnection(SConnection& connection)
{
    uint8_t buffer[65536];
    bool bGone = false;
    for (;;)
    {
        const ssize_t n = ::recv(connection.fd, buffer, sizeof buffer, 0);
        if (n == 0 || (n < 0 && errno != EAGAIN && errno != EWOULDBLOCK && errno != EINTR))
        {
            Log("tcp " + connection.strPeer + " disconnected");
            bGone = true;
            break;
        }
        if (n < 0)
            break;
        if (!connection.bClosing && !connection.bStalled)
            connection.in.insert(connection.in.end(), buffer, buffer + n);
    }
    // Requests that came before the peer left are still carried out (a write lands), though
    // nobody is left to take the replies.
    ProcessRequests(connection);
    if (bGone)
        connection.bDead = true;
}

void CSimServer::CImpl::ProcessRequests(SConnection& connection)
{
    const Clock::time_point now = Clock::now();
    while (!connection.bClosing && connection.in.size() >= codec::kHeaderSize)
    {
        const uint32_t ulMessageId = codec::Get32(connection.in, 0);
        const uint32_t ulLength = codec::Get32(connection.in, 4);
        if (ulLength > codec::kMaxRequestLength)
        {
            Log("tcp " + connection.strPeer + " sent Length " + std::to_string(ulLength) +
                ", beyond any request; connection closed");
            connection.bDead = true;
            return;
        }
        if (connection.in.size() < codec::kHeaderSize + ulLength)
            break;
        const std::vector<uint8_t> body(connection.in.begin() + codec::kHeaderSize,
                                        connection.in.begin() + codec::kHeaderSize + ulLength);
        connection.in.erase(connection.in.begin(), connection.in.begin() + codec::kHeaderSize + ulLength);

        SPlan plan = Plan(ulMessageId, body, false, connection.strPeer);
        // Replies leave in the order of their requests, a late one holding up those behind it.
        Clock::time_point due = now + std::chrono::milliseconds(plan.ulDelayMs);
        if (!connection.out.empty())
            due = std::max(due, connection.out.back().due);
        for (std::vector<uint8_t>& piece : plan.pieces)
            connection.out.push_back({due, EOut::Send, std::move(piece)});
        if (plan.bStall)
            connection.out.push_back({due, EOut::Stall, {}});
        if (plan.bClose)
        {
            connection.out.push_back({due, EOut::Close, {}});
            connection.bClosing = true;
        }
    }
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
            return;
        }
        const ssize_t n = ::send(connection.fd, out.bytes.data() + connection.nSent,
                                 out.bytes.size() - connection.nSent, MSG_NOSIGNAL);
        if (n < 0)
        {
            if (errno != EAGAIN && errno != EWOULDBLOCK && errno != EINTR)
                connection.bDead = true;
            return;
        }
        connection.nSent += static_cast<size_t>(n);
        if (connection.nSent < out.bytes.size())
            return;
        connection.nSent = 0;
        connection.out.pop_front();
    }
}

void CSimServer::CImpl::ReadUdp()
{
    uint8_t buffer[65536];
    const Clock::time_point now = Clock::now();
    for (;;)
    {
        sockaddr_in from{};
        socklen_t nLength = sizeof from;
        const ssize_t n =
            ::recvfrom(m_udp, buffer, sizeof buffer, 0, reinterpret_cast<sockaddr*>(&from), &nLength);
        if (n < 0)
            return;
        // The client sends header, body and payload as datagrams of their own: gather them
        // per sender until a whole request is there.
        const auto key = std::make_pair(from.sin_addr.s_addr, from.sin_port);
        std::vector<uint8_t>& in = m_udpInput[key];
        in.insert(in.end(), buffer, buffer + n);
        const std::string strPeer = Endpoint(from);
        while (in.size() >= codec::kHeaderSize)
        {
            const uint32_t ulMessageId = codec::Get32(in, 0);
            const uint32_t ulLength = codec::Get32(in, 4);
            if (ulLength > codec::kMaxRequestLength)
            {
                Log("udp " + strPeer + " sent Length " + std::to_string(ulLength) +
                    ", beyond any request; dropped");
                in.clear();
                break;
            }
            if (in.size() < codec::kHeaderSize + ulLength)
                break;
            const std::vector<uint8_t> body(in.begin() + codec::kHeaderSize,
                                            in.begin() + codec::kHeaderSize + ulLength);
            in.erase(in.begin(), in.begin() + codec::kHeaderSize + ulLength);
            SPlan plan = Plan(ulMessageId, body, true, strPeer);
            if (plan.bClose)
            {
                in.clear();
                break;
            }
            const Clock::time_point due = now + std::chrono::milliseconds(plan.ulDelayMs);
            for (std::vector<uint8_t>& piece : plan.pieces)
                m_datagrams.push_back({due, from, std::move(piece)});
        }
        if (in.empty())
            m_udpInput.erase(key);
    }
}

void CSimServer::CImpl::ReadBroadcast()
{
    uint8_t buffer[2048];
    for (;;)
    {
        sockaddr_in from{};
        socklen_t nLength = sizeof from;
        const ssize_t n =
            ::recvfrom(m_broadcast, buffer, sizeof buffer, 0, reinterpret_cast<sockaddr*>(&from), &nLength);
        if (n < 0)
            return;
        const std::vector<uint8_t> request(buffer, buffer + n);
        if (n < static_cast<ssize_t>(codec::kHeaderSize) || codec::Get32(request, 0) != codec::kIdentify)
        {
            Log("broadcast " + Endpoint(from) + " sent something other than NVT_IDENTIFY; ignored");
            continue;
        }
        // The answer goes to the searcher's address at the reply port, header and record in
        // one datagram.
        std::vector<uint8_t> answer(codec::kHeaderSize);
        codec::Put32(answer, 0, codec::kIdentifyResp);
        codec::Put32(answer, 4, codec::kIdentityRecordSize);
        const std::vector<uint8_t> record = codec::IdentityRecord(m_fabric, !m_options.bTcp);
        answer.insert(answer.end(), record.begin(), record.end());
        sockaddr_in to = from;
        to.sin_port = htons(m_options.wReplyPort);
        Log("broadcast " + Endpoint(from) + " IDENTIFY -> answered to " + Endpoint(to));
        ::sendto(m_broadcast, answer.data(), answer.size(), 0, reinterpret_cast<const sockaddr*>(&to),
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
    if (!next)
        return -1;
    if (*next <= now)
        return 0;
    return static_cast<int>(std::chrono::ceil<std::chrono::milliseconds>(*next - now).count());
}

void CSimServer::CImpl::Loop()
{
    while (!m_bStop)
    {
        const Clock::time_point now = Clock::now();
        std::vector<pollfd> fds;
        fds.push_back({m_wake[0], POLLIN, 0});
        fds.push_back({m_tcp, POLLIN, 0});
        fds.push_back({m_udp, POLLIN, 0});
        fds.push_back({m_broadcast, POLLIN, 0});
        for (const auto& pConnection : m_connections)
        {
            short nEvents = POLLIN;
            if (!pConnection->out.empty() && pConnection->out.front().due <= now)
                nEvents |= POLLOUT;
            fds.push_back({pConnection->fd, nEvents, 0});
        }
        // poll() skips negative descriptors: the carriers that are off.
        if (::poll(fds.data(), fds.size(), PollTimeoutMs(now)) < 0 && errno != EINTR)
            break;

        if (fds[0].revents & POLLIN)
        {
            char buffer[64];
            while (::read(m_wake[0], buffer, sizeof buffer) > 0)
            {
            }
        }
        if (fds[1].revents & POLLIN)
            Accept();
        if (fds[2].revents & POLLIN)
            ReadUdp();
        if (fds[3].revents & POLLIN)
            ReadBroadcast();
        for (size_t i = 0; i < m_connections.size() && 4 + i < fds.size(); ++i)
        {
            if (fds[4 + i].revents & (POLLIN | POLLHUP | POLLERR))
                ReadConnection(*m_connections[i]);
        }

        const Clock::time_point after = Clock::now();
        for (auto& pConnection : m_connections)
            FlushConnection(*pConnection, after);
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
    }
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
} // namespace nvsim
