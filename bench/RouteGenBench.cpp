// Route generation, in four parts, each against its baseline in the same run:
// 1. Against the depth-first search it replaced: fat trees (four spines, eight endpoints on each
//    leaf) of doubling size, both ways, until the reference needs more than a minute; the speed-up
//    at the largest size it finished, after checking that both gave the same tables.
// 2. At about 500 and 5000 PEs: the generator as it runs (one search tree per PE) against the same
//    generator writing every pair's route entry by entry, with the tables of both compared.
// 3. The client's command on a map of 5000 PEs: flattening the map, generating, and copying the
//    tables back into the map, against the generation alone.
// 4. `routes generate` on a map file of 5000 PEs as the command line runs it (load, generate, save),
//    against writing a file of the same size and flushing it to the disk.
// Times are wall clock and, beside them, the process's CPU time, which the other load of a shared
// machine inflates less.
// With a map file as argument it instead times loading it, generating its routes and saving it,
// and checks that both ways of writing the tables give the same tables for it.
#include "FlatNetwork.h"
#include "NVXLRoute.h"
#include "NetworkDocument.h"
#include "NetworkMap.h"
#include "ReferenceRouting.h"
#include "RouteGeneration.h"
#include "Routing/RouteGenerator.h"

#include <QFile>
#include <QFileInfo>
#include <QTemporaryDir>

#include <fcntl.h>
#include <unistd.h>

#include <time.h>

#include <algorithm>
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

// A host endpoint on spine 0, spines joined to every leaf, endpoints on the leaves (one more on
// each of the first ulExtra leaves).
void FatTree(SFabric& fabric, uint32_t ulSpines, uint32_t ulLeaves, uint32_t ulPerLeaf, uint32_t ulExtra = 0)
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
        for (uint32_t e = 0; e < ulPerLeaf + (l < ulExtra ? 1 : 0); e++)
            fabric.Link(ulLeaf, ulSpines + e, fabric.Add(false, lID++), 0);
    }
}

double Seconds(Clock::time_point start)
{
    return std::chrono::duration<double>(Clock::now() - start).count();
}

double CpuNow()
{
    timespec now{};
    clock_gettime(CLOCK_PROCESS_CPUTIME_ID, &now);
    return static_cast<double>(now.tv_sec) + static_cast<double>(now.tv_nsec) * 1e-9;
}

// Wall and CPU seconds of a piece of work.
struct STime
{
    double dWall = 0, dCpu = 0;
};

template <typename F> STime Time(F&& work)
{
    const Clock::time_point start = Clock::now();
    const double dCpuStart = CpuNow();
    work();
    return {Seconds(start), CpuNow() - dCpuStart};
}

STime Generate(SFabric& fabric, nvxl::EGeneration eHow = nvxl::EGeneration::eFastest)
{
    return Time(
        [&]
        {
            nvxl::GenerateRoutes(static_cast<uint32_t>(fabric.pes.size()), fabric.pes.data(),
                                 static_cast<uint32_t>(fabric.connections.size()), fabric.connections.data(),
                                 fabric.switches.data(), static_cast<uint32_t>(fabric.switches.size()),
                                 nullptr, nullptr, eHow);
        });
}

// A digest of tables: node, table number and entries, in order.
class CDigest
{
public:
    void Add(uint64_t ullValue)
    {
        for (int i = 0; i < 8; i++, ullValue >>= 8)
            m_ullHash = (m_ullHash ^ (ullValue & 0xFFu)) * 0x100000001B3ull;
    }
    void AddEntry(uint16_t wDestID, uint8_t uchPort, uint32_t ulType, uint32_t ulSpecial)
    {
        Add((static_cast<uint64_t>(wDestID) << 40) | (static_cast<uint64_t>(uchPort) << 32) | ulType);
        Add(ulSpecial);
        m_ullEntries++;
    }
    uint64_t Hash() const { return m_ullHash; }
    uint64_t Entries() const { return m_ullEntries; }

private:
    uint64_t m_ullHash = 0xCBF29CE484222325ull;
    uint64_t m_ullEntries = 0;
};

CDigest PoolDigest(const SFabric& fabric)
{
    CDigest digest;
    for (uint32_t s : fabric.switches)
    {
        for (uint32_t t = 0; t < NVXL_MAX_PORTS; t++)
        {
            const int32_t lHandle = fabric.pes[s].alRouteTables[t];
            if (lHandle == NVXL_NO_TABLE)
                continue;
            digest.Add((static_cast<uint64_t>(s) << 32) | t);
            uint32_t ulPos = 0;
            for (const NVXL_RT_ENTRY* p = NVXL_RT_FirstEntry(lHandle, &ulPos); p;
                 p = NVXL_RT_NextEntry(lHandle, &ulPos))
                digest.AddEntry(p->wDestID, p->uchPort, p->ulType, p->ulSpecialType);
        }
    }
    return digest;
}

CDigest MapDigest(const CNetworkDocument& map, const std::vector<uint32_t>& switches)
{
    CDigest digest;
    for (uint32_t s : switches)
    {
        const CPEPrimitive* pPE = map.ActivePEs.GetByNodeNumber(static_cast<int>(s));
        for (uint32_t t = 0; pPE && t < NVXL_MAX_PORTS; t++)
        {
            const CRoutingTable* pTable = pPE->RoutingTables[t].get();
            if (!pTable)
                continue;
            digest.Add((static_cast<uint64_t>(s) << 32) | t);
            for (const SRouteEntry& entry : pTable->Entries())
                digest.AddEntry(entry.DestID, entry.Port, entry.eType, entry.uSpecialType);
        }
    }
    return digest;
}

// The map the client would hold for a flat fabric.
void FabricToMap(const SFabric& fabric, CNetworkDocument& map)
{
    for (const NVXL_PE& record : fabric.pes)
    {
        auto pPE = std::make_unique<CPEPrimitive>();
        pPE->iNodeNumber = static_cast<int>(record.ulNodeID);
        const bool bSwitch = (record.ulTypeFlags & NVXL_PE_SWITCH) != 0;
        pPE->DeviceID = bSwitch ? 0x0374 : 0x80AB;
        pPE->ManufID = 0x0038;
        pPE->uType = record.ulTypeFlags;
        pPE->UniqueID = QString::asprintf("%x%x", record.ulNodeID, pPE->DeviceID);
        pPE->iNumLocalPorts = static_cast<int>(record.ulNumPorts);
        pPE->bHasPerPortRoutingTables = record.ulPerPortTables != 0;
        pPE->bLargeTransport = pPE->bHasLongDestID = record.ulUseLongDestID != 0;
        pPE->bUsesDestID = record.ulHasDestID != 0;
        pPE->LongDestID = record.wLongDestID;
        map.ActivePEs.AddPrimitive(std::move(pPE));
    }
    for (size_t c = 0; c < fabric.connections.size(); c++)
    {
        const NVXL_CONNECTION& record = fabric.connections[c];
        auto pConnection = std::make_unique<CConnectionPrimitive>();
        pConnection->iNodeNumber = static_cast<int>(c);
        pConnection->iPE1 = static_cast<int>(record.ulNodeA);
        pConnection->iPE1Port = static_cast<int>(record.ulPortA);
        pConnection->iPE2 = static_cast<int>(record.ulNodeB);
        pConnection->iPE2Port = static_cast<int>(record.ulPortB);
        pConnection->SetStatus(QStringLiteral("Up"));
        map.ActiveConnections.AddPrimitive(std::move(pConnection));
    }
}

// Load, generate and save of a map file, to a temporary file beside nothing of the original.
int MapFileRun(const char* pszPath)
{
    int iBits = 8;
    SetMapTransportAccess([&iBits] { return iBits; }, [&iBits](int iNewBits) { iBits = iNewBits; });
    CNetworkDocument map;
    bool bOk = false;
    const STime load = Time([&] { bOk = map.Open(QString::fromLocal8Bit(pszPath)); });
    if (!bOk)
    {
        std::fprintf(stderr, "Unable to read %s\n", pszPath);
        return 1;
    }
    const int iRead = iBits;
    SetMapTransportAccess([iRead] { return iRead; }, [](int) {});
    {
        // The generator both ways on the map's records, for the same tables.
        CFlatNetwork flat(0, 0);
        flat.Flatten(map.ActivePEs, map.ActiveConnections, CFlatNetwork::eMulticast);
        SFabric fabric;
        fabric.pes.assign(flat.Network().pPEs, flat.Network().pPEs + flat.Network().ulNumPEs);
        for (const NVXL_PE& record : fabric.pes)
        {
            if (record.ulValid && (record.ulTypeFlags & NVXL_PE_SWITCH))
                fabric.switches.push_back(record.ulNodeID);
        }
        fabric.connections.assign(flat.Network().pConnections,
                                  flat.Network().pConnections + flat.Network().ulNumConnections);
        const STime pairwise = Generate(fabric, nvxl::EGeneration::ePairByPair);
        const CDigest expected = PoolDigest(fabric);
        const STime trees = Generate(fabric);
        const CDigest actual = PoolDigest(fabric);
        const bool bSameTables = expected.Hash() == actual.Hash() && expected.Entries() == actual.Entries();
        for (NVXL_PE& record : fabric.pes)
        {
            // The multicast groups are the flat records' to free.
            record.ulNumMulticastGroups = 0;
            record.pMulticastGroups = nullptr;
        }
        std::printf(
            "generation of %llu entries: pair by pair %.3f s (CPU %.3f s), trees %.3f s (CPU %.3f s), "
            "tables %s\n",
            static_cast<unsigned long long>(actual.Entries()), pairwise.dWall, pairwise.dCpu, trees.dWall,
            trees.dCpu, bSameTables ? "identical" : "DIFFERENT");
        if (!bSameTables)
            return 1;
    }
    int nSwitches = 0;
    const STime generate = Time([&] { nSwitches = GenerateRoutes(map, -1); });
    QTemporaryDir dir;
    const STime save = Time([&] { bOk = map.SaveAs(dir.filePath(QStringLiteral("generated.nvm"))); });
    if (!bOk)
    {
        std::fprintf(stderr, "Unable to save the map\n");
        return 1;
    }
    const double dTotal = load.dWall + generate.dWall + save.dWall;
    std::printf("%d PEs, tables for %d switches\n", map.ActivePEs.GetCount(), nSwitches);
    std::printf("load     %7.3f s (CPU %7.3f s) %5.1f %%\n", load.dWall, load.dCpu,
                100 * load.dWall / dTotal);
    std::printf("generate %7.3f s (CPU %7.3f s) %5.1f %%\n", generate.dWall, generate.dCpu,
                100 * generate.dWall / dTotal);
    std::printf("save     %7.3f s (CPU %7.3f s) %5.1f %%\n", save.dWall, save.dCpu,
                100 * save.dWall / dTotal);
    return 0;
}

double Pairs(const SFabric& fabric)
{
    return static_cast<double>(fabric.ulRoutable) * (fabric.ulRoutable - 1) / 2;
}
} // namespace

int main(int argc, char** argv)
{
    if (argc == 2)
        return MapFileRun(argv[1]);

    double dRefSeconds = 0, dFastSeconds = 0;
    size_t nPEs = 0;
    bool bSame = false;
    std::printf("1. Against the depth-first reference\n");
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
        const double dFast = Generate(fabric).dWall;
        bSame = expected == nvtest::PoolTables(fabric.pes, fabric.switches);
        std::printf("%5zu PEs: reference %8.3f s, generator %8.4f s, tables %s\n", fabric.pes.size(), dRef,
                    dFast, bSame ? "identical" : "DIFFERENT");
        dRefSeconds = dRef;
        dFastSeconds = dFast;
        nPEs = fabric.pes.size();
        if (!bSame)
            return 1;
    }
    std::printf("speed-up at %zu PEs, the largest the reference finishes within a minute: %.0fx\n", nPEs,
                dRefSeconds / dFastSeconds);

    std::printf("\n2. One search tree per PE against writing pair by pair\n");
    struct SSize
    {
        uint32_t ulSpines, ulLeaves, ulPerLeaf;
    };
    for (const SSize& size : {SSize{4, 38, 12}, SSize{16, 293, 16}})
    {
        SFabric fabric;
        FatTree(fabric, size.ulSpines, size.ulLeaves, size.ulPerLeaf);
        const double dPairs = Pairs(fabric);
        const STime pairwise = Generate(fabric, nvxl::EGeneration::ePairByPair);
        const CDigest expected = PoolDigest(fabric);
        const STime trees = Generate(fabric);
        const CDigest actual = PoolDigest(fabric);
        const bool bSameTables = expected.Hash() == actual.Hash() && expected.Entries() == actual.Entries();
        std::printf("%5zu PEs (%u routable, %.0f pairs, %llu entries), tables %s\n", fabric.pes.size(),
                    fabric.ulRoutable, dPairs, static_cast<unsigned long long>(actual.Entries()),
                    bSameTables ? "identical" : "DIFFERENT");
        std::printf("      pair by pair %7.3f s (CPU %7.3f s) %6.1f ns per pair\n", pairwise.dWall,
                    pairwise.dCpu, pairwise.dWall / dPairs * 1e9);
        std::printf("      trees        %7.3f s (CPU %7.3f s) %6.1f ns per pair, %.1fx faster (CPU %.1fx)\n",
                    trees.dWall, trees.dCpu, trees.dWall / dPairs * 1e9, pairwise.dWall / trees.dWall,
                    pairwise.dCpu / trees.dCpu);
        if (fabric.pes.size() > 4000)
            std::printf("      recorded before the trees: 6.9 s, 626 ns per pair; now %.1fx faster\n",
                        626e-9 * dPairs / trees.dWall);
        if (!bSameTables)
            return 1;
    }

    std::printf("\n3. The client's generation on a map of 5000 PEs\n");
    {
        SFabric fabric;
        FatTree(fabric, 16, 293, 16, 2);
        CNetworkDocument map;
        FabricToMap(fabric, map);
        const STime generation = Generate(fabric);
        const CDigest expected = PoolDigest(fabric);
        STime flatten;
        {
            CFlatNetwork flat(0, 0);
            flatten =
                Time([&] { flat.Flatten(map.ActivePEs, map.ActiveConnections, CFlatNetwork::eMulticast); });
        }
        const STime command = Time([&] { GenerateRoutes(map, -1); });
        const CDigest actual = MapDigest(map, fabric.switches);
        const bool bSameTables = expected.Hash() == actual.Hash() && expected.Entries() == actual.Entries();
        std::printf("%5zu PEs, %llu entries, the map's tables %s\n", fabric.pes.size(),
                    static_cast<unsigned long long>(actual.Entries()),
                    bSameTables ? "identical to the generator's" : "DIFFERENT");
        std::printf("      generation alone       %7.3f s (CPU %7.3f s)\n", generation.dWall,
                    generation.dCpu);
        std::printf("      flattening the map     %7.3f s (CPU %7.3f s)\n", flatten.dWall, flatten.dCpu);
        std::printf(
            "      the whole command      %7.3f s (CPU %7.3f s), %.2fx the generation alone (CPU %.2fx)\n",
            command.dWall, command.dCpu, command.dWall / generation.dWall, command.dCpu / generation.dCpu);
        if (!bSameTables)
            return 1;
    }

    std::printf("\n4. `routes generate` on a map file of 5000 PEs: load, generation and save\n");
    {
        // The fabric's IDs are 16-bit ones, so the file is written and read with the large transport.
        SetMapTransportAccess([] { return 16; }, [](int) {});
        SFabric fabric;
        FatTree(fabric, 16, 293, 16, 2);
        CNetworkDocument plain;
        FabricToMap(fabric, plain);
        QTemporaryDir dir;
        const QString strPath = dir.filePath(QStringLiteral("fabric5000.nvm"));
        if (!plain.SaveAs(strPath))
        {
            std::fprintf(stderr, "Unable to save the map\n");
            return 1;
        }
        CNetworkDocument map;
        bool bOk = true;
        const STime command =
            Time([&] { bOk = map.Open(strPath) && GenerateRoutes(map, -1) > 0 && map.SaveAs(strPath); });
        if (!bOk)
        {
            std::fprintf(stderr, "Unable to load, generate or save the map\n");
            return 1;
        }
        // The floor: the same number of bytes written to a file of its own and flushed to the disk.
        const qint64 nBytes = QFileInfo(strPath).size();
        const STime floor = Time(
            [&]
            {
                const QByteArray block(1 << 22, 'x');
                const QByteArray name = QFile::encodeName(dir.filePath(QStringLiteral("floor.bin")));
                const int iFd = ::open(name.constData(), O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC, 0600);
                for (qint64 nDone = 0; iFd >= 0 && nDone < nBytes; nDone += block.size())
                {
                    const size_t nPiece = static_cast<size_t>(std::min<qint64>(block.size(), nBytes - nDone));
                    if (::write(iFd, block.constData(), nPiece) != static_cast<ssize_t>(nPiece))
                        break;
                }
                if (iFd >= 0)
                {
                    ::fsync(iFd);
                    ::close(iFd);
                }
            });
        std::printf("%5d PEs, a file of %.0f MB after the save\n", map.ActivePEs.GetCount(), nBytes / 1e6);
        std::printf("      load, generate, save   %7.3f s (CPU %7.3f s) (target at most 3 s) %s\n",
                    command.dWall, command.dCpu, command.dWall <= 3.0 ? "MET" : "NOT MET");
        std::printf("      writing as many bytes  %7.3f s (CPU %7.3f s), the command is %.2fx that\n",
                    floor.dWall, floor.dCpu, command.dWall / floor.dWall);
        std::printf("      recorded before this work: 19.7 s\n");
    }
    return 0;
}
