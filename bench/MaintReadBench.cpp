// How much the client adds to a maintenance read. Against one norvanta-sim, in one run, it
// times (a) a one-word read of the host's Base Device ID through the whole client road (HAL,
// adapter, front end, link), (b) a bare socket exchange of exactly the same bytes in the pieces
// of the message table (two sends, three receives), and (c) the leanest bare exchange of those
// bytes (one send, one receive), and prints the ratios a/b, the measure of record, and a/c. The
// three alternate in rounds so that the machine's noise falls on all alike.
#include "SimProcess.h"

#include "LinkSettings.h"
#include "NVXLHal.h"
#include "TargetConnection.h"

#include <algorithm>
#include <arpa/inet.h>
#include <benchmark/benchmark.h>
#include <cstdio>
#include <netinet/in.h>
#include <netinet/tcp.h>
#include <sys/socket.h>
#include <unistd.h>

namespace
{
uint16_t g_wPort = 0;

bool RecvAll(int nSocket, uint8_t* pBuffer, size_t nLength)
{
    size_t nGot = 0;
    while (nGot < nLength)
    {
        const ssize_t n = ::recv(nSocket, pBuffer + nGot, nLength - nGot, 0);
        if (n <= 0)
        {
            return false;
        }
        nGot += static_cast<size_t>(n);
    }
    return true;
}

void ClientRoad(benchmark::State& state)
{
    uint32_t ulValue = 0;
    for (auto _ : state)
    {
        if (MaintRead(0, 0xFFFFFFFFu, 0, 0x60, &ulValue, 1, 4, 4) != 0)
        {
            state.SkipWithError("read failed");
            break;
        }
        benchmark::DoNotOptimize(ulValue);
    }
}

int ConnectBare(benchmark::State& state)
{
    const int nSocket = ::socket(AF_INET, SOCK_STREAM, 0);
    const int nOne = 1;
    ::setsockopt(nSocket, IPPROTO_TCP, TCP_NODELAY, &nOne, sizeof(nOne));
    sockaddr_in address{};
    address.sin_family = AF_INET;
    address.sin_port = htons(g_wPort);
    address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    if (::connect(nSocket, reinterpret_cast<sockaddr*>(&address), sizeof(address)) < 0)
    {
        state.SkipWithError("cannot connect to norvanta-sim");
        ::close(nSocket);
        return -1;
    }
    return nSocket;
}

void CloseBare(int nSocket)
{
    const uint8_t abClose[8] = {0, 0, 0, 7, 0, 0, 0, 0};
    ::send(nSocket, abClose, sizeof(abClose), 0);
    ::close(nSocket);
}

// The request: header and body of message 3 for one word at 60h of the host.
const uint8_t kRequest[44] = {0,    0, 0, 3, 0, 0, 0, 36, 0, 0, 0, 0, 0xFF, 0xFF, 0xFF,
                              0xFF, 0, 0, 0, 0, 0, 0, 0,  0, 0, 0, 0, 0x60, 0,    0,
                              0,    1, 0, 0, 0, 4, 0, 0,  0, 4, 0, 0, 0,    2};

void BareSocket(benchmark::State& state)
{
    const int nSocket = ConnectBare(state);
    if (nSocket < 0)
    {
        return;
    }
    // The same message the client sends: header and body as two sends, then the reply's header,
    // body and data as three receives.
    uint8_t abReply[64];
    for (auto _ : state)
    {
        if (::send(nSocket, kRequest, 8, 0) != 8 || ::send(nSocket, kRequest + 8, 36, 0) != 36 ||
            !RecvAll(nSocket, abReply, 8) || !RecvAll(nSocket, abReply + 8, 48) ||
            !RecvAll(nSocket, abReply + 56, 4))
        {
            state.SkipWithError("exchange failed");
            break;
        }
        benchmark::DoNotOptimize(abReply);
    }
    CloseBare(nSocket);
}

void BareSocketLean(benchmark::State& state)
{
    const int nSocket = ConnectBare(state);
    if (nSocket < 0)
    {
        return;
    }
    uint8_t abReply[64];
    for (auto _ : state)
    {
        if (::send(nSocket, kRequest, sizeof(kRequest), 0) != 44 || !RecvAll(nSocket, abReply, 60))
        {
            state.SkipWithError("exchange failed");
            break;
        }
        benchmark::DoNotOptimize(abReply);
    }
    CloseBare(nSocket);
}

// Collects the time per iteration of each run; the runs alternate, client road first.
class CRatioReporter : public benchmark::ConsoleReporter
{
public:
    void ReportRuns(const std::vector<Run>& runs) override
    {
        ConsoleReporter::ReportRuns(runs);
        for (const Run& run : runs)
        {
            if (run.error_occurred || run.iterations == 0)
            {
                continue;
            }
            const double dNs = run.real_accumulated_time / static_cast<double>(run.iterations) * 1e9;
            const std::string strName = run.benchmark_name();
            (strName.find("ClientRoad") != std::string::npos ? m_client
             : strName.find("Lean") != std::string::npos     ? m_lean
                                                             : m_bare)
                .push_back(dNs);
        }
    }
    // Median of the rounds' ratios to each baseline, and the median times.
    bool Result(double* pdRatio, double* pdLeanRatio, double* pdClient, double* pdBare, double* pdLean) const
    {
        const size_t nRounds = std::min({m_client.size(), m_bare.size(), m_lean.size()});
        if (nRounds == 0)
        {
            return false;
        }
        std::vector<double> ratios;
        std::vector<double> leanRatios;
        for (size_t i = 0; i < nRounds; ++i)
        {
            ratios.push_back(m_client[i] / m_bare[i]);
            leanRatios.push_back(m_client[i] / m_lean[i]);
        }
        *pdRatio = Median(ratios);
        *pdLeanRatio = Median(leanRatios);
        *pdClient = Median(m_client);
        *pdBare = Median(m_bare);
        *pdLean = Median(m_lean);
        return true;
    }

private:
    static double Median(std::vector<double> values)
    {
        std::sort(values.begin(), values.end());
        return values[values.size() / 2];
    }
    std::vector<double> m_client;
    std::vector<double> m_bare;
    std::vector<double> m_lean;
};
} // namespace

int main(int argc, char** argv)
{
    nvtest::CSimProcess sim("demo.topo", {"--no-udp"});
    if (!sim.Ready())
    {
        std::fprintf(stderr, "norvanta-sim did not start\n%s", sim.ErrorOutput().c_str());
        return 1;
    }
    g_wPort = sim.TcpPort();
    LinkSettings().wServerPort = g_wPort;
    CTargetConnection connection;
    if (!connection.OpenTarget(eConnInternetTCP, 0x7F000001u))
    {
        std::fprintf(stderr, "cannot connect to norvanta-sim\n");
        return 1;
    }
    for (int nRound = 0; nRound < 7; ++nRound)
    {
        benchmark::RegisterBenchmark("ClientRoad", ClientRoad)->MinTime(0.3);
        benchmark::RegisterBenchmark("BareSocket", BareSocket)->MinTime(0.3);
        benchmark::RegisterBenchmark("BareSocketLean", BareSocketLean)->MinTime(0.3);
    }
    benchmark::Initialize(&argc, argv);
    CRatioReporter reporter;
    benchmark::RunSpecifiedBenchmarks(&reporter);
    connection.Disconnect();
    double dRatio = 0, dLeanRatio = 0, dClient = 0, dBare = 0, dLean = 0;
    if (!reporter.Result(&dRatio, &dLeanRatio, &dClient, &dBare, &dLean))
    {
        std::fprintf(stderr, "no measurement\n");
        return 1;
    }
    std::printf("\nmaintenance read, one word, TCP loopback (medians of 7 alternating rounds):\n"
                "client road %.1f us, bare socket %.1f us, lean bare socket %.1f us\n",
                dClient / 1000, dBare / 1000, dLean / 1000);
    std::printf("ratio client/bare: %.3f (target at most 1.10) %s\n", dRatio,
                dRatio <= 1.10 ? "MET" : "NOT MET");
    std::printf("ratio client/lean bare: %.3f (for information)\n", dLeanRatio);
    return 0;
}
