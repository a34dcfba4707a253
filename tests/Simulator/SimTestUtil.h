// Helpers of the simulator's tests: bytes written out field by field, and plain loopback
// sockets that play the client. Deliberately independent of the simulator's own codec.
#pragma once

#include <cstdint>
#include <initializer_list>
#include <memory>
#include <string>
#include <vector>

#include "nvsim/Server.h"

namespace simtest
{
using Bytes = std::vector<uint8_t>;

// The smallest fabric a server serves: the host (ID 01h) and one switch on its port 0.
inline const char* const kHostAndSwitch = R"(
device host endpoint device=0x0001 processor memory id=0x01
device sw   switch ports=4
host host
link host:0 sw:0
)";

// One big-endian field.
Bytes B32(uint32_t ulValue);
Bytes B16(uint16_t wValue);
Bytes B8(uint8_t uchValue);
// n zero bytes.
Bytes Zeros(size_t n);
// The fields one after the other.
Bytes Cat(std::initializer_list<Bytes> parts);
// Big-endian word at an offset.
uint32_t Word(const Bytes& bytes, size_t nOffset);

// A fabric from topology text; the test fails (and the result is null) if it does not load.
std::unique_ptr<nvsim::CSimFabric> Fabric(const std::string& strTopology);

// A fabric from a topology shipped in Simulator/topologies.
std::unique_ptr<nvsim::CSimFabric> ShippedFabric(const std::string& strName);

// One 32-bit maintenance read or write from local port 0, expected to succeed.
uint32_t ReadOk(nvsim::CSimFabric& fabric, uint32_t ulDestId, uint8_t uchHop, uint32_t ulOffset,
                bool bLarge = false);
void WriteOk(nvsim::CSimFabric& fabric, uint32_t ulDestId, uint8_t uchHop, uint32_t ulOffset,
             uint32_t ulValue, bool bLarge = false);
// Status of a 32-bit maintenance read or write from local port 0.
int32_t ReadStatus(nvsim::CSimFabric& fabric, uint32_t ulDestId, uint8_t uchHop, uint32_t ulOffset,
                   bool bLarge = false);
int32_t WriteStatus(nvsim::CSimFabric& fabric, uint32_t ulDestId, uint8_t uchHop, uint32_t ulOffset,
                    uint32_t ulValue, bool bLarge = false);

// A TCP connection to 127.0.0.1.
class CTcpClient
{
public:
    explicit CTcpClient(uint16_t wPort);
    ~CTcpClient();
    CTcpClient(const CTcpClient&) = delete;
    CTcpClient& operator=(const CTcpClient&) = delete;

    bool Connected() const { return m_fd >= 0; }
    int Fd() const { return m_fd; }
    bool Send(const Bytes& bytes);
    // Up to n bytes, waiting at most nTimeoutMs in all; fewer if the time runs out or the
    // server closes.
    Bytes Receive(size_t n, int nTimeoutMs = 3000);
    // True if the server closes the connection within nTimeoutMs without sending anything.
    bool ClosedByPeer(int nTimeoutMs = 3000);

private:
    int m_fd = -1;
};

// A UDP socket on 127.0.0.1, any port.
class CUdpClient
{
public:
    // Binds to wPort (0: any free port).
    explicit CUdpClient(uint16_t wPort = 0);
    ~CUdpClient();
    CUdpClient(const CUdpClient&) = delete;
    CUdpClient& operator=(const CUdpClient&) = delete;

    uint16_t Port() const { return m_wPort; }
    bool SendTo(const std::string& strAddress, uint16_t wPort, const Bytes& bytes, bool bBroadcast = false);
    // The datagrams that arrive until nQuietMs pass without one (waiting at most nTimeoutMs
    // for the first), and with pSenders the address each came from.
    std::vector<Bytes> ReceiveAll(int nTimeoutMs = 3000, int nQuietMs = 300,
                                  std::vector<std::string>* pSenders = nullptr);

private:
    int m_fd = -1;
    uint16_t m_wPort = 0;
};

// A server on ephemeral loopback ports serving a fabric from topology text, and one TCP client
// connected to it.
class CServerRig
{
public:
    explicit CServerRig(const std::string& strTopology, nvsim::SServerOptions options = {});

    // Whether the fabric loaded, the server started and the client connected.
    bool Ready() const { return m_pClient && m_pClient->Connected(); }
    nvsim::CSimFabric& Fabric() { return *m_pFabric; }
    nvsim::CSimServer& Server() { return *m_pServer; }
    CTcpClient& Client() { return *m_pClient; }
    // Sends the request as the client does (header, then the rest) and takes up to nReply
    // bytes of the reply.
    Bytes Exchange(const Bytes& request, size_t nReply, int nTimeoutMs = 3000);

private:
    std::unique_ptr<nvsim::CSimFabric> m_pFabric;
    std::unique_ptr<nvsim::CSimServer> m_pServer;
    std::unique_ptr<CTcpClient> m_pClient;
};
} // namespace simtest
