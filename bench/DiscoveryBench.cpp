// Discovery over TCP loopback on a fabric of about a thousand PEs (fabric1000.topo): the
// maintenance transactions it takes per PE, and its time against bare round trips of the same
// transactions: every request the discovery made is sent again, byte for byte, on a plain socket,
// so the simulator does the same work and the difference is what the client adds. Discoveries and
// bare runs alternate in rounds so the machine's noise falls on both alike; medians are printed.
// Then the client's whole enumerating discovery of 5000 PEs (fabric5000.topo) with the default
// layout, as the Standard Discovery command runs it: the walk and the map, the layout, and bare
// round trips of the walk's transactions beside them.
#include "SimProcess.h"

#include "AutoLayout.h"
#include "Discovery.h"
#include "RecordingUserInterface.h"

#include <QCoreApplication>

#include "LinkSettings.h"
#include "NVXLDiscovery.h"
#include "NVXLHal.h"
#include "NVXLTransport.h"
#include "Preferences.h"
#include "TargetConnection.h"

#include <algorithm>
#include <arpa/inet.h>
#include <chrono>
#include <cstdio>
#include <netinet/in.h>
#include <netinet/tcp.h>
#include <string>
#include <sys/socket.h>
#include <unistd.h>
#include <vector>

namespace
{
using Clock = std::chrono::steady_clock;

NVXL_TRANSPORT g_inner;
uint64_t g_ullTransactions = 0;

// One request of the discovery, as it went on the wire.
struct SRequest
{
    bool bWrite;
    uint8_t uchLocalPort;
    uint32_t ulDestID;
    uint8_t uchHop;
    uint32_t ulOffset;
    uint32_t ulCount;
    uint32_t ulSize;
    uint32_t ulStride;
    bool bLarge;
    std::vector<uint32_t> words;
};
std::vector<SRequest> g_requests;

NVXL_STATUS CountingRead(void* pvContext, uint8_t uchLocalPort, uint32_t ulDestID, uint8_t uchHop,
                         uint32_t ulOffset, void* pvData, uint32_t ulCount, uint32_t ulSize,
                         uint32_t ulStride, uint32_t bLarge, uint32_t ulPriority)
{
    g_ullTransactions++;
    g_requests.push_back(
        {false, uchLocalPort, ulDestID, uchHop, ulOffset, ulCount, ulSize, ulStride, bLarge != 0, {}});
    return g_inner.pfnMaintRead(pvContext, uchLocalPort, ulDestID, uchHop, ulOffset, pvData, ulCount, ulSize,
                                ulStride, bLarge, ulPriority);
}

NVXL_STATUS CountingWrite(void* pvContext, uint8_t uchLocalPort, uint32_t ulDestID, uint8_t uchHop,
                          uint32_t ulOffset, const void* pvData, uint32_t ulCount, uint32_t ulSize,
                          uint32_t ulStride, uint32_t bLarge, uint32_t ulPriority)
{
    g_ullTransactions++;
    std::vector<uint32_t> words(static_cast<const uint32_t*>(pvData),
                                static_cast<const uint32_t*>(pvData) + ulCount);
    g_requests.push_back({true, uchLocalPort, ulDestID, uchHop, ulOffset, ulCount, ulSize, ulStride,
                          bLarge != 0, std::move(words)});
    return g_inner.pfnMaintWrite(pvContext, uchLocalPort, ulDestID, uchHop, ulOffset, pvData, ulCount, ulSize,
                                 ulStride, bLarge, ulPriority);
}

bool RecvAll(int nSocket, uint8_t* pBuffer, size_t nLength)
{
    size_t nGot = 0;
    while (nGot < nLength)
    {
        const ssize_t n = ::recv(nSocket, pBuffer + nGot, nLength - nGot, 0);
        if (n <= 0)
            return false;
        nGot += static_cast<size_t>(n);
    }
    return true;
}

void Put32(std::vector<uint8_t>& bytes, size_t nAt, uint32_t ulValue)
{
    bytes[nAt] = static_cast<uint8_t>(ulValue >> 24);
    bytes[nAt + 1] = static_cast<uint8_t>(ulValue >> 16);
    bytes[nAt + 2] = static_cast<uint8_t>(ulValue >> 8);
    bytes[nAt + 3] = static_cast<uint8_t>(ulValue);
}

// The message of a request: header, body and (for a write) data, as the client sends them.
std::vector<uint8_t> Encode(const SRequest& r)
{
    const uint32_t ulBody = r.bWrite ? 32 : 36;
    const uint32_t ulData = r.bWrite ? r.ulCount * 4 : 0;
    std::vector<uint8_t> bytes(8 + ulBody + ulData, 0);
    Put32(bytes, 0, r.bWrite ? 5 : 3);
    Put32(bytes, 4, ulBody + ulData);
    uint8_t* pBody = bytes.data() + 8;
    pBody[0] = r.uchLocalPort;
    pBody[3] = r.bLarge ? 1 : 0;
    const uint32_t ulDestID =
        r.ulDestID == 0xFFFFFFFFu ? r.ulDestID : r.ulDestID & (r.bLarge ? 0xFFFFu : 0xFFu);
    Put32(bytes, 12, ulDestID);
    pBody[8] = r.uchHop;
    const size_t nFields = r.bWrite ? 20 : 24;
    Put32(bytes, nFields, r.ulOffset);
    Put32(bytes, nFields + 4, r.ulCount);
    Put32(bytes, nFields + 8, r.ulSize);
    Put32(bytes, nFields + 12, r.ulStride);
    Put32(bytes, nFields + 16, 2);
    for (uint32_t i = 0; i < ulData / 4; i++)
        Put32(bytes, 8 + ulBody + 4 * i, r.words[i]);
    return bytes;
}

// Seconds for the exchanges of the recorded requests on a socket of its own.
double BareSeconds(uint16_t wPort)
{
    const int nSocket = ::socket(AF_INET, SOCK_STREAM, 0);
    const int nOne = 1;
    ::setsockopt(nSocket, IPPROTO_TCP, TCP_NODELAY, &nOne, sizeof(nOne));
    sockaddr_in address{};
    address.sin_family = AF_INET;
    address.sin_port = htons(wPort);
    address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    if (::connect(nSocket, reinterpret_cast<sockaddr*>(&address), sizeof(address)) < 0)
    {
        ::close(nSocket);
        return -1;
    }
    std::vector<std::vector<uint8_t>> messages;
    for (const SRequest& request : g_requests)
        messages.push_back(Encode(request));
    uint8_t abReply[4096];
    const Clock::time_point start = Clock::now();
    for (size_t i = 0; i < messages.size(); i++)
    {
        const std::vector<uint8_t>& message = messages[i];
        const SRequest& request = g_requests[i];
        const size_t nBody = request.bWrite ? 32 : 36;
        const size_t nData = message.size() - 8 - nBody;
        const size_t nReply = request.bWrite ? 36 : 48 + request.ulCount * request.ulSize;
        // Header, body and data as separate sends, as the client makes them.
        if (::send(nSocket, message.data(), 8, 0) != 8 ||
            ::send(nSocket, message.data() + 8, nBody, 0) != static_cast<ssize_t>(nBody) ||
            (nData && ::send(nSocket, message.data() + 8 + nBody, nData, 0) != static_cast<ssize_t>(nData)) ||
            !RecvAll(nSocket, abReply, 8) || !RecvAll(nSocket, abReply + 8, nReply))
        {
            ::close(nSocket);
            return -1;
        }
    }
    const double dSeconds = std::chrono::duration<double>(Clock::now() - start).count();
    const uint8_t abClose[8] = {0, 0, 0, 7, 0, 0, 0, 0};
    ::send(nSocket, abClose, sizeof(abClose), 0);
    ::close(nSocket);
    return dSeconds;
}

// Connects to the simulator over TCP with 16-bit destination IDs on the wire, as the discovery
// asks for them, and puts the counting transport in front of the link's own. Prints why and
// returns false when it can't.
bool ConnectCounting(const nvtest::CSimProcess& sim, CTargetConnection& connection)
{
    if (!sim.Ready())
    {
        std::fprintf(stderr, "norvanta-sim did not start\n%s", sim.ErrorOutput().c_str());
        return false;
    }
    LinkSettings().wServerPort = sim.TcpPort();
    SetPreferenceOverride(QStringLiteral("Preferences"), QStringLiteral("DefaultDestIDSize"),
                          QStringLiteral("16"));
    if (!connection.OpenTarget(eConnInternetTCP, 0x7F000001u))
    {
        std::fprintf(stderr, "cannot connect to norvanta-sim\n");
        return false;
    }
    g_inner = *NVXL_GetTransport();
    NVXL_TRANSPORT counting = g_inner;
    counting.pfnMaintRead = CountingRead;
    counting.pfnMaintWrite = CountingWrite;
    NVXL_SetTransport(&counting);
    return true;
}

double Median(std::vector<double> values)
{
    std::sort(values.begin(), values.end());
    return values[values.size() / 2];
}
} // namespace

// The client's discovery of the 5000-PE fabric with the default layout: the overlap question
// answered Yes, neato or the fast method by the node count, on this thread as without a window.
int LargeDiscovery()
{
    nvtest::CSimProcess sim("fabric5000.topo", {"--no-udp"});
    CTargetConnection connection;
    if (!ConnectCounting(sim, connection))
    {
        return 1;
    }
    g_ullTransactions = 0;
    g_requests.clear();

    nvtest::CRecordingUserInterface ui;
    ui.answers = {eAnswerYes};
    double dLayout = 0;
    int nLaidOut = 0;
    auto layout = [&](CNetworkDocument& document)
    {
        const Clock::time_point start = Clock::now();
        nLaidOut = document.pCurrentNodes->GetCount();
        const bool bOk = CAutoLayout::Run(document, false);
        dLayout = std::chrono::duration<double>(Clock::now() - start).count();
        return bOk;
    };
    SDiscoveryRequest request;
    request.bEnumerate = true;
    request.bLongDestIDs = true;
    request.bTryAllClockRates = false;
    CNetworkDocument map;
    const Clock::time_point start = Clock::now();
    const int32_t nStatus = StandardDiscovery(request, map, nullptr, layout);
    const double dTotal = std::chrono::duration<double>(Clock::now() - start).count();
    NVXL_SetTransport(&g_inner);
    if (nStatus != 0 || !ui.messages.isEmpty())
    {
        std::fprintf(stderr, "discovery of 5000 PEs failed with %d %s\n", nStatus,
                     qPrintable(ui.messages.join(QLatin1Char('|'))));
        return 1;
    }
    const double dBare = BareSeconds(sim.TcpPort());
    connection.Disconnect();
    std::printf("\nenumerating discovery of %d PEs with the default layout (%s, threshold %d nodes):\n",
                map.ActivePEs.GetCount(), nLaidOut >= CAutoLayout::FastThreshold() ? "sfdp" : "neato",
                CAutoLayout::FastThreshold());
    std::printf("discovery and map %.2f s, layout %.2f s, total %.2f s (target at most 20 s) %s\n",
                dTotal - dLayout, dLayout, dTotal, dTotal <= 20.0 ? "MET" : "NOT MET");
    std::printf("bare round trips of its %llu transactions %.2f s\n",
                static_cast<unsigned long long>(g_ullTransactions), dBare);
    return 0;
}

int main(int argc, char** argv)
{
    // The layout program is found beside the application, as in the window.
    QCoreApplication application(argc, argv);
    // "--large-only" skips the rounds on the thousand PEs.
    if (argc > 1 && std::string(argv[1]) == "--large-only")
    {
        return LargeDiscovery();
    }
    nvtest::CSimProcess sim("fabric1000.topo", {"--no-udp"});
    CTargetConnection connection;
    if (!ConnectCounting(sim, connection))
    {
        return 1;
    }

    std::vector<NVXL_PE> pes(NVXL_MAX_PES);
    std::vector<NVXL_CONNECTION> connections(NVXL_MAX_CONNECTIONS);
    NVXL_NETWORK network{0, 0, NVXL_MAX_PES, NVXL_MAX_CONNECTIONS, pes.data(), connections.data()};
    // The standard discovery's settings, enumerating with 16-bit IDs.
    const uint32_t ulFlags = NVXL_DISCOVER_ENUMERATE | NVXL_DISCOVER_USE_LONG_DESTIDS |
                             NVXL_DISCOVER_NO_LOCKS | NVXL_DISCOVER_BREAK_LOCKS | NVXL_DISCOVER_IGNORE_LOCKS |
                             NVXL_DISCOVER_SET_DISCOVERED | NVXL_DISCOVER_SET_RESPONSE_TIMEOUT |
                             NVXL_DISCOVER_SET_LINK_TIMEOUT;
    std::vector<double> discoveries, bares;
    uint64_t ullTransactions = 0;
    for (int nRound = 0; nRound < 5; nRound++)
    {
        g_ullTransactions = 0;
        g_requests.clear();
        const Clock::time_point start = Clock::now();
        const NVXL_STATUS nStatus = NVXL_DiscoverNetwork(ulFlags, 0xFFFFFF00u, 0xFFFFFF00u, nullptr, 0, 2, 1,
                                                         2, 1, nullptr, &network);
        const double dSeconds = std::chrono::duration<double>(Clock::now() - start).count();
        if (nStatus != 0)
        {
            std::fprintf(stderr, "discovery failed with %d\n", nStatus);
            return 1;
        }
        ullTransactions = g_ullTransactions;
        discoveries.push_back(dSeconds);
        const double dBare = BareSeconds(sim.TcpPort());
        if (dBare <= 0)
        {
            std::fprintf(stderr, "bare exchange failed\n");
            return 1;
        }
        bares.push_back(dBare);
        std::printf("round %d: %u PEs, %llu transactions, discovery %.3f s, bare %.3f s\n", nRound + 1,
                    network.ulNumPEs, static_cast<unsigned long long>(ullTransactions), dSeconds, dBare);
    }
    // The counting wrapper goes: the next run wraps the link's own transport, not this one.
    NVXL_SetTransport(&g_inner);
    connection.Disconnect();
    const double dDiscovery = Median(discoveries), dBare = Median(bares);
    std::printf("\ndiscovery of %u PEs over TCP loopback (medians of 5 alternating rounds):\n",
                network.ulNumPEs);
    std::printf("maintenance transactions per PE: %.1f\n",
                static_cast<double>(ullTransactions) / network.ulNumPEs);
    std::printf("discovery %.3f s, bare round trips of as many transactions %.3f s (%.1f us each)\n",
                dDiscovery, dBare, dBare / static_cast<double>(ullTransactions) * 1e6);
    const double dRatio = dDiscovery / dBare;
    std::printf("ratio discovery/bare: %.3f (target at most 1.3) %s\n", dRatio,
                dRatio <= 1.3 ? "MET" : "NOT MET");
    return LargeDiscovery();
}
