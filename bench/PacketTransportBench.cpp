// The simulator's generated traffic with and without anybody looking at its packets as bytes:
// unobserved, a batch is counted as a whole and nothing is encoded; with a packet tap (what a
// pcap capture or a device's packet hook costs) every packet is encoded, one by one. Prints
// nanoseconds per transaction of each, medians of alternating rounds, and their ratio, for
// single transactions (the traffic generator's small steps) and for large batches.
#include "TestSupport.h"
#include "nvsim/Fabric.h"
#include "nvsim/Topology.h"

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <vector>

namespace
{
using Clock = std::chrono::steady_clock;

double Median(std::vector<double> values)
{
    std::sort(values.begin(), values.end());
    return values[values.size() / 2];
}

// Nanoseconds per transaction of ulCalls calls of SendGenerated with ullEach transactions each.
double Run(nvsim::CSimFabric& fabric, const nvsim::CSimFabric::SGenerated& what, uint32_t ulCalls,
           uint64_t ullEach)
{
    nvsim::CSimDevice& host = fabric.Host();
    uint64_t ullSent = 0;
    const auto start = Clock::now();
    for (uint32_t n = 0; n < ulCalls; ++n)
        ullSent += fabric.SendGenerated(host, 0, what, ullEach);
    const double dNs = std::chrono::duration<double, std::nano>(Clock::now() - start).count();
    if (ullSent != ulCalls * ullEach)
        std::fprintf(stderr, "only %llu of %llu transactions arrived\n",
                     static_cast<unsigned long long>(ullSent),
                     static_cast<unsigned long long>(ulCalls * ullEach));
    return dNs / static_cast<double>(ulCalls * ullEach);
}
} // namespace

int main()
{
    std::string strError;
    auto pFabric =
        nvsim::LoadTopologyFile(nvtest::SourceDir() + "/Simulator/topologies/traffic.topo", &strError);
    if (!pFabric)
    {
        std::fprintf(stderr, "%s\n", strError.c_str());
        return 1;
    }
    nvsim::CSimFabric::SGenerated what;
    what.eKind = nvsim::EPacketKind::WriteWithResponse;
    what.ulDestId = 0x0B; // two switches away
    what.ullAddress = 0x100000;
    what.ulBufferBytes = 1 << 16;
    what.ulBytes = 256;

    uint64_t ullTapped = 0;
    auto tap = [&](const nvsim::SLinkEnd&, const nvsim::SLinkEnd&, const std::vector<uint8_t>& bytes)
    { ullTapped += bytes.size(); };

    std::printf("generated NWRITE_R of 256 bytes to an endpoint two switches away (4 links each way)\n");
    std::printf("%-34s %14s %14s %8s\n", "", "unobserved", "tapped", "ratio");
    for (const auto& [pszName, ulCalls, ullEach] :
         {std::tuple{"single transactions, ns each", 20000u, uint64_t{1}},
          std::tuple{"batches of 4096, ns each", 20u, uint64_t{4096}}})
    {
        std::vector<double> plain, tapped;
        for (int nRound = 0; nRound < 7; ++nRound)
        {
            pFabric->SetPacketTap(nullptr);
            plain.push_back(Run(*pFabric, what, ulCalls, ullEach));
            pFabric->SetPacketTap(tap);
            tapped.push_back(Run(*pFabric, what, ulCalls / 4, ullEach));
        }
        pFabric->SetPacketTap(nullptr);
        const double dPlain = Median(plain), dTapped = Median(tapped);
        std::printf("%-34s %14.1f %14.1f %8.1f\n", pszName, dPlain, dTapped, dTapped / dPlain);
    }
    std::printf("(%llu bytes of packets tapped)\n", static_cast<unsigned long long>(ullTapped));
    return 0;
}
