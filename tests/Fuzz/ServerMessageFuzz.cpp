// The client's side of the server protocol: every reply decoder of the transaction front end,
// fed with whatever a server might send. The first byte picks the transaction, the second sizes
// it, and the rest is the byte stream that comes back, on a socket pair that ends there.
#include "LinkSettings.h"
#include "ServerCaps.h"
#include "TargetClient.h"
#include "TargetLink.h"

#include "FuzzSupport.h"

#include <algorithm>
#include <array>
#include <sys/socket.h>
#include <unistd.h>
#include <vector>

namespace
{
// What one transaction may ask at most, so a reply that claims more cannot push it further.
constexpr uint32_t kMaxBytes = 4096;

void Run(CTargetClient& client, uint8_t uchOp, uint8_t uchSize)
{
    std::vector<uint8_t> buffer(kMaxBytes + 16, 0x5A);
    void* pv = buffer.data();
    const uint32_t ulWords = 1 + uchSize % 16;
    const uint32_t ulBytes = 1 + uchSize * 8u;
    uint32_t ulA = 0, ulB = 0, ulC = 0, ulD = 0, ulE = 0;
    uint8_t uchA = 0, uchB = 0;
    uint16_t wA = 0;
    switch (uchOp % 18)
    {
    case 0:
        client.Maint_read(0, 5, 1, 0x60, static_cast<uint32_t*>(pv), ulWords, 4, 0);
        break;
    case 1:
        client.Maint_read(0, 5, 1, 0x60, static_cast<uint8_t*>(pv), ulWords, 4, 0);
        break;
    case 2:
        client.Maint_read(0, 5, 1, 0x60, static_cast<uint16_t*>(pv), ulWords, 4, 0);
        break;
    case 3:
        client.Maint_read(0, 5, 1, 0x60, static_cast<uint32_t*>(pv), ulWords, 0, 0, true, 7, &ulA, &ulB);
        break;
    case 4:
        client.Maint_write(0, 5, 1, 0x60, static_cast<uint32_t*>(pv), ulWords, 4, 0);
        break;
    case 5:
        client.Nread(0, 5, 0, 0x1000, 0, 0, pv, ulBytes);
        break;
    case 6:
        client.DataWrite(0, 5, 0, 0x1000, 1, 0, pv, ulBytes);
        break;
    case 7:
        client.Message(0, 5, 0, uchSize & 1, 0, pv, std::min<uint32_t>(ulBytes, 256), ulBytes);
        break;
    case 8:
        client.Doorbell(0, 5, 0, 0x1234);
        break;
    case 9:
        client.MessageQueue(0, 1 + (uchSize & 1), &uchA, &uchB, &ulA, &ulB, &ulC, &ulD, pv);
        break;
    case 10:
        client.DoorbellQueue(0, 1 + (uchSize & 1), &uchA, &uchB, &wA);
        break;
    case 11:
        client.MemRead(0, 0x100, ulWords, 1u << (uchSize % 3), pv);
        break;
    case 12:
        client.MemWrite(0, 0x100, ulWords, 1u << (uchSize % 3), pv);
        break;
    case 13:
        client.FlashRead(0, 0x100, ulBytes, pv);
        break;
    case 14:
        client.FlashWrite(0, 0x100, ulBytes, pv);
        break;
    case 15:
    {
        std::array<uint8_t, kDataGenSize> request{};
        std::array<uint8_t, kDataGenRespSize> reply{};
        client.DataGen(request.data(), reply.data());
        break;
    }
    case 16:
        client.GetRioErrors(static_cast<char*>(pv), 1 + uchSize * 16u);
        break;
    default:
    {
        SServerInfo info;
        client.GetServerInfo(&info, &ulE);
        break;
    }
    }
}
void RunOnSocket(int iSocket, uint8_t uchOp, uint8_t uchSize)
{
    LinkSettings().ulWaitMilliseconds = 20;
    // A server that offers every transaction, so that none is refused before it is sent.
    CServerCaps::Instance().Fill(0x20071021u, 0x3FFu);
    CTargetLink link;
    link.eKind = eLinkTCP;
    link.sSocket = iSocket;
    CTargetClient& client = CTargetClient::Instance();
    client.SetLink(&link);
    Run(client, uchOp, uchSize);
    client.SetLink(nullptr);
    link.sSocket = -1;
}
} // namespace

// When not -1, the socket of a live peer: the seed maker runs the transactions against the
// simulator through it, and the rest of the input is not used.
int g_iSeedLinkFd = -1;

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* pData, size_t nSize)
{
    nvfuzz::Silence();
    if (nSize < 2)
    {
        return 0;
    }
    if (g_iSeedLinkFd >= 0)
    {
        RunOnSocket(g_iSeedLinkFd, pData[0], pData[1]);
        return 0;
    }
    // A socket pair holds what the peer wrote until it is read; more than its buffer would block.
    const size_t nStream = std::min<size_t>(nSize - 2, 64 * 1024);
    int aiPair[2];
    if (::socketpair(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0, aiPair) != 0)
    {
        return 0;
    }
    const int iBufferSize = 256 * 1024;
    ::setsockopt(aiPair[1], SOL_SOCKET, SO_SNDBUF, &iBufferSize, sizeof iBufferSize);
    ::setsockopt(aiPair[0], SOL_SOCKET, SO_RCVBUF, &iBufferSize, sizeof iBufferSize);
    size_t nDone = 0;
    while (nDone < nStream)
    {
        const ssize_t n = ::send(aiPair[1], pData + 2 + nDone, nStream - nDone, MSG_NOSIGNAL | MSG_DONTWAIT);
        if (n <= 0)
        {
            break;
        }
        nDone += static_cast<size_t>(n);
    }
    ::shutdown(aiPair[1], SHUT_WR);

    RunOnSocket(aiPair[0], pData[0], pData[1]);
    ::close(aiPair[0]);
    ::close(aiPair[1]);
    return 0;
}
