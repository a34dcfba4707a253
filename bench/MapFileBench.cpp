// Map file speed: loading and saving a map of 5000 PEs and 10000 connections, against a bare DOM
// parse of the same text. The ratio is what matters: the reader and writer should add little to
// what the parser costs anyway.
#include "NetworkDocument.h"
#include "NetworkMap.h"
#include "UserInterface.h"

#include <QDomDocument>
#include <QTemporaryDir>

#include <benchmark/benchmark.h>

#include <cstdio>
#include <map>
#include <string>

namespace
{
constexpr int kSwitches = 1000;
constexpr int kEndpoints = 4000;
constexpr int kPortsPerSwitch = 16;

// 1000 switches of 16 ports, each with 4 endpoints and 12 links to other switches: 5000 PEs and
// 10000 connections, each switch with a routing table, all of it drawn in the expanded view.
CNetworkDocument LargeDocument()
{
    CNetworkDocument document;
    CMapView& view = *document.Views.front();
    for (int i = 0; i < kSwitches + kEndpoints; ++i)
    {
        auto pPE = std::make_unique<CPEPrimitive>();
        const bool bSwitch = i < kSwitches;
        pPE->iNodeNumber = i;
        pPE->DeviceID = bSwitch ? 0x0374 : 0x80AB;
        pPE->ManufID = 0x0038;
        pPE->uType = bSwitch ? kPETypeSwitch : (kPETypeProcessor | kPETypeBridge);
        pPE->Symbol = bSwitch ? QStringLiteral("sw-reg") : QStringLiteral("ep-reg");
        pPE->CommonName = bSwitch ? QStringLiteral("CPS-1848") : QStringLiteral("Tsi721");
        pPE->UniqueID = QString::asprintf("%x%x", i, pPE->DeviceID);
        pPE->bUsesDestID = !bSwitch;
        pPE->ShortDestID = bSwitch ? 0xFFFF : static_cast<uint16_t>(i);
        pPE->iNumLocalPorts = bSwitch ? kPortsPerSwitch : 1;
        for (int p = 0; p < pPE->iNumLocalPorts; ++p)
        {
            pPE->Ports[static_cast<size_t>(p)].eType = ePortSerial;
            pPE->Ports[static_cast<size_t>(p)].CurrentWidth = 4;
            pPE->Ports[static_cast<size_t>(p)].uSpeedMHz = 3125;
        }
        if (bSwitch)
        {
            auto pTable = std::make_unique<CRoutingTable>();
            for (int d = 0; d < 64; ++d)
            {
                pTable->AddEntry(static_cast<uint16_t>(kSwitches + (i * 4 + d) % kEndpoints),
                                 static_cast<uint8_t>(d % kPortsPerSwitch), eRoutePort, 0, false);
            }
            pPE->RoutingTables[255] = std::move(pTable);
        }
        auto pNode = std::make_unique<CDrawPE>();
        pNode->uUniqueID = static_cast<uint32_t>(1000000 + i);
        pNode->iAssociatedPrimitive = i;
        pNode->Move((i % 100) * 100, (i / 100) * 100);
        view.pNodes.Add(std::move(pNode));
        document.ActivePEs.AddPrimitive(std::move(pPE));
    }
    int iConnection = 0;
    auto connect = [&](int iPE1, int iPort1, int iPE2, int iPort2)
    {
        auto pConnection = std::make_unique<CConnectionPrimitive>();
        pConnection->iNodeNumber = iConnection;
        pConnection->iPE1 = iPE1;
        pConnection->iPE1Port = iPort1;
        pConnection->iPE2 = iPE2;
        pConnection->iPE2Port = iPort2;
        pConnection->SetStatus(QStringLiteral("Up"));
        document.ActiveConnections.AddPrimitive(std::move(pConnection));
        auto pEdge = std::make_unique<CDrawPEConn>();
        pEdge->uUniqueID = static_cast<uint32_t>(2000000 + iConnection);
        pEdge->iAssociatedPrimitive = iConnection;
        pEdge->eStartKind = eDrawKindPE;
        pEdge->uStartUniqueID = static_cast<uint32_t>(1000000 + iPE1);
        pEdge->eEndKind = eDrawKindPE;
        pEdge->uEndUniqueID = static_cast<uint32_t>(1000000 + iPE2);
        pEdge->SetPath(
            {QPoint((iPE1 % 100) * 100, (iPE1 / 100) * 100), QPoint((iPE2 % 100) * 100, (iPE2 / 100) * 100)});
        view.pEdges.Add(std::move(pEdge));
        ++iConnection;
    };
    for (int e = 0; e < kEndpoints; ++e)
    {
        connect(e / 4, e % 4, kSwitches + e, 0);
    }
    // Ports 4 to 15 of each switch: six links to the next switches, taking their ports from the far end.
    for (int s = 0; s < kSwitches; ++s)
    {
        for (int k = 0; k < 6; ++k)
        {
            connect(s, 4 + k, (s + k + 1) % kSwitches, 10 + k);
        }
    }
    return document;
}

struct SFixture
{
    QTemporaryDir dir;
    QString strMapPath;
    QString strSavePath;
    QByteArray text;

    SFixture()
    {
        CNetworkDocument document = LargeDocument();
        strMapPath = dir.filePath(QStringLiteral("large.nvm"));
        strSavePath = dir.filePath(QStringLiteral("saved.nvm"));
        CNetworkMap map;
        map.SaveMapAs(document, strMapPath);
        text = map.WriteMapText(document);
    }
};

SFixture& Fixture()
{
    static SFixture s_fixture;
    return s_fixture;
}

void BM_BareDomParse(benchmark::State& state)
{
    const QByteArray& text = Fixture().text;
    for (auto _ : state)
    {
        QDomDocument dom;
        benchmark::DoNotOptimize(dom.setContent(text));
    }
    state.SetBytesProcessed(static_cast<int64_t>(state.iterations()) * text.size());
}
BENCHMARK(BM_BareDomParse)->Unit(benchmark::kMillisecond)->MinTime(2.0);

void BM_MapLoadAndSave(benchmark::State& state)
{
    SFixture& fixture = Fixture();
    for (auto _ : state)
    {
        CNetworkDocument document;
        CNetworkMap map;
        if (!map.LoadMap(fixture.strMapPath, document, false) || document.ActivePEs.GetCount() != 5000 ||
            document.ActiveConnections.GetCount() != 10000)
        {
            state.SkipWithError("the map didn't load whole");
            break;
        }
        if (!map.SaveMapAs(document, fixture.strSavePath))
        {
            state.SkipWithError("the map didn't save");
            break;
        }
    }
    state.SetBytesProcessed(static_cast<int64_t>(state.iterations()) * fixture.text.size());
}
BENCHMARK(BM_MapLoadAndSave)->Unit(benchmark::kMillisecond)->MinTime(2.0);

// Keeps the real time per iteration of each benchmark, besides printing as usual.
class CRatioReporter : public benchmark::ConsoleReporter
{
public:
    void ReportRuns(const std::vector<Run>& runs) override
    {
        for (const Run& run : runs)
        {
            if (!run.error_occurred && run.iterations > 0)
            {
                m_Times[run.benchmark_name()] = run.GetAdjustedRealTime();
            }
        }
        ConsoleReporter::ReportRuns(runs);
    }
    double Time(const std::string& strName) const
    {
        auto it = m_Times.find(strName);
        return it == m_Times.end() ? 0.0 : it->second;
    }

private:
    std::map<std::string, double> m_Times;
};
} // namespace

int main(int argc, char** argv)
{
    benchmark::Initialize(&argc, argv);
    std::printf("Map of 5000 PEs and 10000 connections: %lld bytes\n",
                static_cast<long long>(Fixture().text.size()));
    CRatioReporter reporter;
    benchmark::RunSpecifiedBenchmarks(&reporter);
    const double dParse = reporter.Time("BM_BareDomParse/min_time:2.000");
    const double dLoadSave = reporter.Time("BM_MapLoadAndSave/min_time:2.000");
    if (dParse > 0.0 && dLoadSave > 0.0)
    {
        std::printf("Ratio load+save / bare DOM parse: %.2f\n", dLoadSave / dParse);
    }
    benchmark::Shutdown();
    return 0;
}
