// Route generation against the depth-first search it replaced. Fat trees (four spines, eight
// endpoints on each leaf) of doubling size are generated both ways until the reference needs more
// than a minute; at the largest size it finished, the speed-up is printed, after checking that both
// gave the same tables. Then the time per pair of routable PEs at about 500 and 5000 PEs.
#include "NVXLRoute.h"
#include "ReferenceRouting.h"

#include <chrono>
#include <cstdio>
#include <vector>

namespace
{
using Clock = std::chrono::steady_clock;

struct SFabric
{
    std::vector<NVXL_PE> pes;
    std::vector<NVXL_CONNECTION> connections;
    std::vector<uint32_t> switches;
    uint32_t ulRoutable = 0;

    ~SFabric() { NVXL_FreePETables(pes.data(), static_cast<uint32_t>(pes.size())); }

    uint32_t Add(bool bSwitch, int32_t lID)
    {
        NVXL_PE pe;
        NVXL_InitPE(&pe);
        pe.ulValid = 1;
        pe.ulNodeID = static_cast<uint32_t>(pes.size());
        pe.ulTypeFlags = bSwitch ? NVXL_PE_SWITCH : NVXL_PE_PROCESSOR;
        pe.ulNumPorts = bSwitch ? 18 : 1;
        pe.ulPerPortTables = bSwitch ? 1 : 0;
        pe.ulUseLongDestID = 1;
        if (lID >= 0)
        {
            pe.ulHasDestID = 1;
            pe.wLongDestID = static_cast<uint16_t>(lID);
            ulRoutable++;
        }
        pes.push_back(pe);
        if (bSwitch)
            switches.push_back(pe.ulNodeID);
        return pe.ulNodeID;
    }
    void Link(uint32_t a, uint32_t ulPortA, uint32_t b, uint32_t ulPortB)
    {
        NVXL_CONNECTION connection;
        NVXL_InitConnection(&connection);
        connection.ulValid = 1;
        connection.ulNodeA = a;
        connection.ulPortA = ulPortA;
        connection.ulNodeB = b;
        connection.ulPortB = ulPortB;
        connections.push_back(connection);
    }
};

// A host endpoint on spine 0, spines joined to every leaf, endpoints on the leaves.
void FatTree(SFabric& fabric, uint32_t ulSpines, uint32_t ulLeaves, uint32_t ulPerLeaf)
{
    int32_t lID = 1;
    const uint32_t ulHost = fabric.Add(false, lID++);
    for (uint32_t s = 0; s < ulSpines; s++)
        fabric.Add(true, -1);
    fabric.Link(ulHost, 0, 1, 0);
    for (uint32_t l = 0; l < ulLeaves; l++)
    {
        const uint32_t ulLeaf = fabric.Add(true, -1);
        for (uint32_t s = 0; s < ulSpines; s++)
            fabric.Link(ulLeaf, s, 1 + s, 1 + (l % 17));
        for (uint32_t e = 0; e < ulPerLeaf; e++)
            fabric.Link(ulLeaf, ulSpines + e, fabric.Add(false, lID++), 0);
    }
}

double Seconds(Clock::time_point start)
{
    return std::chrono::duration<double>(Clock::now() - start).count();
}

double Generate(SFabric& fabric)
{
    const Clock::time_point start = Clock::now();
    NVXL_RT_GenerateRoutes(static_cast<uint32_t>(fabric.pes.size()), fabric.pes.data(),
                           static_cast<uint32_t>(fabric.connections.size()), fabric.connections.data(),
                           fabric.switches.data(), static_cast<uint32_t>(fabric.switches.size()), nullptr,
                           nullptr);
    return Seconds(start);
}

double Pairs(const SFabric& fabric)
{
    return static_cast<double>(fabric.ulRoutable) * (fabric.ulRoutable - 1) / 2;
}
} // namespace

int main()
{
    double dRefSeconds = 0, dFastSeconds = 0;
    size_t nPEs = 0;
    bool bSame = false;
    for (uint32_t ulLeaves = 4;; ulLeaves *= 2)
    {
        SFabric fabric;
        FatTree(fabric, 4, ulLeaves, 8);
        const Clock::time_point start = Clock::now();
        bool bGaveUp = false;
        const nvtest::CGeneratedTables expected = nvtest::ReferenceGenerate(
            fabric.pes, fabric.connections, fabric.switches, start + std::chrono::seconds(60), &bGaveUp);
        const double dRef = Seconds(start);
        if (bGaveUp)
        {
            std::printf("%5zu PEs: the reference needs more than a minute\n", fabric.pes.size());
            break;
        }
        const double dFast = Generate(fabric);
        bSame = expected == nvtest::PoolTables(fabric.pes, fabric.switches);
        std::printf("%5zu PEs: reference %8.3f s, generator %8.4f s, tables %s\n", fabric.pes.size(), dRef,
                    dFast, bSame ? "identical" : "DIFFERENT");
        dRefSeconds = dRef;
        dFastSeconds = dFast;
        nPEs = fabric.pes.size();
        if (!bSame)
            return 1;
    }
    std::printf("\nspeed-up at %zu PEs, the largest the reference finishes within a minute: %.0fx\n", nPEs,
                dRefSeconds / dFastSeconds);

    struct SSize
    {
        uint32_t ulSpines, ulLeaves, ulPerLeaf;
    };
    for (const SSize& size : {SSize{4, 38, 12}, SSize{16, 293, 16}})
    {
        SFabric fabric;
        FatTree(fabric, size.ulSpines, size.ulLeaves, size.ulPerLeaf);
        const double dFast = Generate(fabric);
        std::printf("%5zu PEs (%u routable, %.0f pairs): %.3f s, %.1f ns per pair\n", fabric.pes.size(),
                    fabric.ulRoutable, Pairs(fabric), dFast, dFast / Pairs(fabric) * 1e9);
    }
    return 0;
}
