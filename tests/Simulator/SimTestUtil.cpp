#include "SimTestUtil.h"

#include "TestSupport.h"
#include "nvsim/Topology.h"

#include <arpa/inet.h>
#include <chrono>
#include <gtest/gtest.h>
#include <netinet/in.h>
#include <netinet/tcp.h>
#include <poll.h>
#include <sys/socket.h>
#include <unistd.h>

namespace simtest
{
Bytes B32(uint32_t ulValue)
{
    return {static_cast<uint8_t>(ulValue >> 24), static_cast<uint8_t>(ulValue >> 16),
            static_cast<uint8_t>(ulValue >> 8), static_cast<uint8_t>(ulValue)};
}

Bytes B16(uint16_t wValue)
{
    return {static_cast<uint8_t>(wValue >> 8), static_cast<uint8_t>(wValue)};
}

Bytes B8(uint8_t uchValue)
{
    return {uchValue};
}

Bytes Zeros(size_t n)
{
    return Bytes(n, 0);
}

Bytes Cat(std::initializer_list<Bytes> parts)
{
    Bytes bytes;
    for (const Bytes& part : parts)
        bytes.insert(bytes.end(), part.begin(), part.end());
    return bytes;
}

uint32_t Word(const Bytes& bytes, size_t nOffset)
{
    return (uint32_t{bytes.at(nOffset)} << 24) | (uint32_t{bytes.at(nOffset + 1)} << 16) |
           (uint32_t{bytes.at(nOffset + 2)} << 8) | bytes.at(nOffset + 3);
}

std::unique_ptr<nvsim::CSimFabric> Fabric(const std::string& strTopology)
{
    std::string strError;
    std::unique_ptr<nvsim::CSimFabric> pFabric = nvsim::LoadTopologyText(strTopology, &strError);
    EXPECT_TRUE(pFabric) << strError;
    return pFabric;
}

std::unique_ptr<nvsim::CSimFabric> ShippedFabric(const std::string& strName)
{
    std::string strError;
    std::unique_ptr<nvsim::CSimFabric> pFabric =
        nvsim::LoadTopologyFile(nvtest::SourceDir() + "/Simulator/topologies/" + strName, &strError);
    EXPECT_TRUE(pFabric) << strError;
    return pFabric;
}

uint32_t ReadOk(nvsim::CSimFabric& fabric, uint32_t ulDestId, uint8_t uchHop, uint32_t ulOffset, bool bLarge)
{
    uint32_t ulValue = 0;
    EXPECT_EQ(0, fabric.MaintRead(0, ulDestId, uchHop, ulOffset, &ulValue, 1, 4, 4, bLarge))
        << "read of 0x" << std::hex << ulOffset << " at DestID 0x" << ulDestId << " hop " << std::dec
        << int{uchHop};
    return ulValue;
}

void WriteOk(nvsim::CSimFabric& fabric, uint32_t ulDestId, uint8_t uchHop, uint32_t ulOffset,
             uint32_t ulValue, bool bLarge)
{
    EXPECT_EQ(0, fabric.MaintWrite(0, ulDestId, uchHop, ulOffset, &ulValue, 1, 4, 4, bLarge))
        << "write of 0x" << std::hex << ulOffset << " at DestID 0x" << ulDestId << " hop " << std::dec
        << int{uchHop};
}

int32_t ReadStatus(nvsim::CSimFabric& fabric, uint32_t ulDestId, uint8_t uchHop, uint32_t ulOffset,
                   bool bLarge)
{
    uint32_t ulValue = 0;
    return fabric.MaintRead(0, ulDestId, uchHop, ulOffset, &ulValue, 1, 4, 4, bLarge);
}

int32_t WriteStatus(nvsim::CSimFabric& fabric, uint32_t ulDestId, uint8_t uchHop, uint32_t ulOffset,
                    uint32_t ulValue, bool bLarge)
{
    return fabric.MaintWrite(0, ulDestId, uchHop, ulOffset, &ulValue, 1, 4, 4, bLarge);
}

namespace
{
using Clock = std::chrono::steady_clock;

int RemainingMs(Clock::time_point deadline)
{
    const auto left = std::chrono::duration_cast<std::chrono::milliseconds>(deadline - Clock::now()).count();
    return left > 0 ? static_cast<int>(left) : 0;
}

sockaddr_in Loopback(const std::string& strAddress, uint16_t wPort)
{
    sockaddr_in address{};
    address.sin_family = AF_INET;
    address.sin_port = htons(wPort);
    inet_pton(AF_INET, strAddress.c_str(), &address.sin_addr);
    return address;
}
} // namespace

CTcpClient::CTcpClient(uint16_t wPort)
{
    m_fd = ::socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0);
    const sockaddr_in address = Loopback("127.0.0.1", wPort);
    if (::connect(m_fd, reinterpret_cast<const sockaddr*>(&address), sizeof address) != 0)
    {
        ::close(m_fd);
        m_fd = -1;
        return;
    }
    const int nOne = 1;
    setsockopt(m_fd, IPPROTO_TCP, TCP_NODELAY, &nOne, sizeof nOne);
}

CTcpClient::~CTcpClient()
{
    if (m_fd >= 0)
        ::close(m_fd);
}

bool CTcpClient::Send(const Bytes& bytes)
{
    return ::send(m_fd, bytes.data(), bytes.size(), MSG_NOSIGNAL) == static_cast<ssize_t>(bytes.size());
}

Bytes CTcpClient::Receive(size_t n, int nTimeoutMs)
{
    Bytes bytes;
    const Clock::time_point deadline = Clock::now() + std::chrono::milliseconds(nTimeoutMs);
    while (bytes.size() < n)
    {
        pollfd fd{m_fd, POLLIN, 0};
        if (::poll(&fd, 1, RemainingMs(deadline)) <= 0)
            break;
        uint8_t buffer[65536];
        const ssize_t nGot = ::recv(m_fd, buffer, std::min(sizeof buffer, n - bytes.size()), 0);
        if (nGot <= 0)
            break;
        bytes.insert(bytes.end(), buffer, buffer + nGot);
    }
    return bytes;
}

bool CTcpClient::ClosedByPeer(int nTimeoutMs)
{
    pollfd fd{m_fd, POLLIN, 0};
    if (::poll(&fd, 1, nTimeoutMs) <= 0)
        return false;
    uint8_t b = 0;
    return ::recv(m_fd, &b, 1, 0) == 0;
}

CUdpClient::CUdpClient(uint16_t wPort)
{
    m_fd = ::socket(AF_INET, SOCK_DGRAM | SOCK_CLOEXEC, 0);
    sockaddr_in address = Loopback("127.0.0.1", wPort);
    if (wPort != 0)
        address.sin_addr.s_addr = htonl(INADDR_ANY);
    ::bind(m_fd, reinterpret_cast<const sockaddr*>(&address), sizeof address);
    socklen_t nLength = sizeof address;
    getsockname(m_fd, reinterpret_cast<sockaddr*>(&address), &nLength);
    m_wPort = ntohs(address.sin_port);
}

CUdpClient::~CUdpClient()
{
    ::close(m_fd);
}

bool CUdpClient::SendTo(const std::string& strAddress, uint16_t wPort, const Bytes& bytes, bool bBroadcast)
{
    const int nOne = 1;
    if (bBroadcast)
        setsockopt(m_fd, SOL_SOCKET, SO_BROADCAST, &nOne, sizeof nOne);
    const sockaddr_in address = Loopback(strAddress, wPort);
    return ::sendto(m_fd, bytes.data(), bytes.size(), 0, reinterpret_cast<const sockaddr*>(&address),
                    sizeof address) == static_cast<ssize_t>(bytes.size());
}

CServerRig::CServerRig(const std::string& strTopology, nvsim::SServerOptions options)
{
    m_pFabric = simtest::Fabric(strTopology);
    if (!m_pFabric)
        return;
    options.wTcpPort = 0;
    options.wUdpPort = 0;
    options.wBroadcastPort = 0;
    m_pServer = std::make_unique<nvsim::CSimServer>(*m_pFabric, options);
    std::string strError;
    if (!m_pServer->Start(&strError))
    {
        ADD_FAILURE() << strError;
        return;
    }
    m_pClient = std::make_unique<CTcpClient>(m_pServer->TcpPort());
}

Bytes CServerRig::Exchange(const Bytes& request, size_t nReply, int nTimeoutMs)
{
    EXPECT_TRUE(m_pClient->Send(Bytes(request.begin(), request.begin() + 8)));
    if (request.size() > 8)
    {
        EXPECT_TRUE(m_pClient->Send(Bytes(request.begin() + 8, request.end())));
    }
    return m_pClient->Receive(nReply, nTimeoutMs);
}

std::vector<Bytes> CUdpClient::ReceiveAll(int nTimeoutMs, int nQuietMs, std::vector<std::string>* pSenders)
{
    std::vector<Bytes> datagrams;
    int nWait = nTimeoutMs;
    for (;;)
    {
        pollfd fd{m_fd, POLLIN, 0};
        if (::poll(&fd, 1, nWait) <= 0)
            break;
        uint8_t buffer[65536];
        sockaddr_in from{};
        socklen_t nLength = sizeof from;
        const ssize_t nGot =
            ::recvfrom(m_fd, buffer, sizeof buffer, 0, reinterpret_cast<sockaddr*>(&from), &nLength);
        if (nGot < 0)
            break;
        datagrams.emplace_back(buffer, buffer + nGot);
        if (pSenders)
        {
            char szAddress[INET_ADDRSTRLEN] = {};
            inet_ntop(AF_INET, &from.sin_addr, szAddress, sizeof szAddress);
            pSenders->push_back(szAddress);
        }
        nWait = nQuietMs;
    }
    return datagrams;
}
} // namespace simtest
