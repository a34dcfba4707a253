// The map window on a map of 5000 PEs and 10000 links, drawn offscreen: building the drawing,
// one full frame with the whole map in view, frames while panning at full size, frames while
// zooming, and the automatic layout, whose neato run must leave the interface thread free. The
// frame times are set against their targets (16 ms for the whole map, 8 ms for panning and
// zooming) and against the earlier way of drawing, one item per link at every zoom, measured in
// the same run.
#include "AutoLayout.h"
#include "ChildView.h"
#include "MainFrameCore.h"
#include "MapScene.h"
#include "UserInterface.h"

#include <QApplication>
#include <QElapsedTimer>
#include <QScrollBar>
#include <QThread>
#include <QTimer>

#include <benchmark/benchmark.h>

#include <cstdio>
#include <map>
#include <memory>
#include <string>
#include <tuple>

namespace
{
constexpr int kSwitches = 1000;
constexpr int kEndpointsPerSwitch = 4;
constexpr int kColumns = 32; // switches in a row of the grid
constexpr double kFrameBudgetMs = 1000.0 / 60.0;

// 1000 switches, each with four endpoints around it, laid out on a grid, each switch linked to
// six switches around it: 5000 PEs and 10000 links, as a large fabric looks once it is laid out.
void FillLargeMap(CNetworkDocument& document)
{
    CMapView& view = *document.FindView(kExpandedViewID);
    int iConnection = 0;
    auto addLink = [&](int iPE1, int iPort1, int iPE2, int iPort2)
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
        pEdge->uUniqueID = 100000 + static_cast<uint32_t>(iConnection);
        pEdge->iAssociatedPrimitive = iConnection;
        pEdge->uStartUniqueID = 1 + static_cast<uint32_t>(iPE1);
        pEdge->uEndUniqueID = 1 + static_cast<uint32_t>(iPE2);
        view.pEdges.Add(std::move(pEdge));
        ++iConnection;
    };
    auto addPE = [&](int iNode, bool bSwitch, int iX, int iY)
    {
        auto pPE = std::make_unique<CPEPrimitive>();
        pPE->iNodeNumber = iNode;
        pPE->SetIdentity(bSwitch ? 0x0038 : 0xFFF0, bSwitch ? 0x0374 : 0x0002, bSwitch, !bSwitch, false,
                         false);
        pPE->iNumLocalPorts = bSwitch ? 18 : 1;
        pPE->bUsesDestID = !bSwitch;
        pPE->ShortDestID = bSwitch ? kNoDestID : static_cast<uint16_t>(iNode & 0xFF);
        auto pNode = std::make_unique<CDrawPE>();
        pNode->uUniqueID = 1 + static_cast<uint32_t>(iNode);
        pNode->iAssociatedPrimitive = iNode;
        pNode->BitmapNoSel = pPE->BitmapNoSel;
        pNode->BitmapSel = pPE->BitmapSel;
        pNode->Move(iX, iY);
        view.pNodes.Add(std::move(pNode));
        document.ActivePEs.AddPrimitive(std::move(pPE));
    };
    for (int s = 0; s < kSwitches; ++s)
    {
        const int iX = 150 + (s % kColumns) * 320;
        const int iY = 150 + (s / kColumns) * 320;
        addPE(s, true, iX, iY);
        for (int e = 0; e < kEndpointsPerSwitch; ++e)
        {
            const int iEndpoint = kSwitches + s * kEndpointsPerSwitch + e;
            addPE(iEndpoint, false, iX + (e % 2 ? 110 : -110), iY + (e / 2 ? 110 : -110));
            addLink(s, e, iEndpoint, 0);
        }
    }
    // Right, down, the two diagonals, and two steps right and down: six links a switch (the
    // grid's edges wrap around, so every switch has all six).
    const int aiSteps[] = {1, kColumns, kColumns + 1, kColumns - 1, 2, 2 * kColumns};
    for (int s = 0; s < kSwitches; ++s)
    {
        for (int k = 0; k < 6; ++k)
        {
            addLink(s, 4 + k, (s + aiSteps[k]) % kSwitches, 10 + k);
        }
    }
    view.iWidth = 150 + kColumns * 320;
    view.iHeight = 150 + (kSwitches / kColumns + 1) * 320;
}

// The window under test, made once for all the measurements.
struct SWindow
{
    SWindow()
    {
        FillLargeMap(core.Document());
        view = std::make_unique<CChildView>(core);
        view->resize(1280, 800);
        view->show();
        view->Rebuild();
    }
    CMainFrameCore core;
    std::unique_ptr<CChildView> view;
};

SWindow& Window()
{
    static SWindow window;
    return window;
}

void Frame(CChildView& view)
{
    benchmark::DoNotOptimize(view.viewport()->grab());
}

void BM_BuildDrawing(benchmark::State& state)
{
    CChildView& view = *Window().view;
    for (auto _ : state)
    {
        view.Rebuild();
    }
    state.counters["nodes"] = view.MapScene()->NodeCount();
    state.counters["links"] = view.MapScene()->EdgeCount();
}

void BM_FrameWholeMap(benchmark::State& state)
{
    CChildView& view = *Window().view;
    view.ZoomToFit();
    Frame(view);
    for (auto _ : state)
    {
        view.viewport()->update();
        Frame(view);
    }
}

void BM_FramePanning(benchmark::State& state)
{
    CChildView& view = *Window().view;
    view.resetTransform();
    QScrollBar& bar = *view.horizontalScrollBar();
    bar.setValue(bar.minimum());
    int iStep = 40;
    for (auto _ : state)
    {
        if (bar.value() + iStep > bar.maximum() || bar.value() + iStep < bar.minimum())
        {
            iStep = -iStep;
        }
        bar.setValue(bar.value() + iStep);
        Frame(view);
    }
}

// The earlier way: far out too, every link an item of its own.
void BM_FrameWholeMapOneItemPerLink(benchmark::State& state)
{
    CChildView& view = *Window().view;
    view.MapScene()->SetBatchedLinks(false);
    view.ZoomToFit();
    Frame(view);
    for (auto _ : state)
    {
        view.viewport()->update();
        Frame(view);
    }
    view.MapScene()->SetBatchedLinks(true);
}

void BM_FrameZoomingOneItemPerLink(benchmark::State& state);

void BM_FrameZooming(benchmark::State& state)
{
    CChildView& view = *Window().view;
    view.ZoomToFit();
    qreal dFactor = 1.15;
    for (auto _ : state)
    {
        if (view.Zoom() * dFactor > 1.5 || view.Zoom() * dFactor < 0.05)
        {
            dFactor = 1.0 / dFactor;
        }
        view.ZoomBy(dFactor);
        Frame(view);
    }
}

BENCHMARK(BM_BuildDrawing)->Unit(benchmark::kMillisecond)->Iterations(3);
BENCHMARK(BM_FrameWholeMap)->Unit(benchmark::kMillisecond)->MinTime(1.0);
BENCHMARK(BM_FramePanning)->Unit(benchmark::kMillisecond)->MinTime(1.0);
BENCHMARK(BM_FrameZooming)->Unit(benchmark::kMillisecond)->MinTime(1.0);
BENCHMARK(BM_FrameWholeMapOneItemPerLink)->Unit(benchmark::kMillisecond)->MinTime(1.0);
BENCHMARK(BM_FrameZoomingOneItemPerLink)->Unit(benchmark::kMillisecond)->MinTime(1.0);

void BM_FrameZoomingOneItemPerLink(benchmark::State& state)
{
    Window().view->MapScene()->SetBatchedLinks(false);
    BM_FrameZooming(state);
    Window().view->MapScene()->SetBatchedLinks(true);
}

// Collects the mean frame times to set them against their targets and the earlier way.
class CReporter : public benchmark::ConsoleReporter
{
public:
    void ReportRuns(const std::vector<Run>& runs) override
    {
        ConsoleReporter::ReportRuns(runs);
        for (const Run& run : runs)
        {
            std::string strName = run.benchmark_name();
            strName = strName.substr(0, strName.find('/'));
            m_Times[strName] = {run.GetAdjustedRealTime(), run.GetAdjustedCPUTime()};
        }
    }
    void Summary() const
    {
        std::printf("\n%-22s %22s %26s %8s\n", "frame (ms, wall/cpu)", "now", "one item per link", "target");
        for (const auto& [pszName, pszBase, dTarget] :
             {std::tuple{"BM_FrameWholeMap", "BM_FrameWholeMapOneItemPerLink", 16.0},
              std::tuple{"BM_FramePanning", "", 8.0},
              std::tuple{"BM_FrameZooming", "BM_FrameZoomingOneItemPerLink", 8.0}})
        {
            const auto now = m_Times.find(pszName);
            if (now == m_Times.end())
            {
                continue;
            }
            const auto base = m_Times.find(pszBase);
            char szBase[64] = "(same path)";
            if (base != m_Times.end())
            {
                std::snprintf(szBase, sizeof(szBase), "%7.2f / %6.2f", base->second.first,
                              base->second.second);
            }
            std::printf("%-22s %12.2f / %6.2f %26s %8.1f  %s\n", pszName + 3, now->second.first,
                        now->second.second, szBase, dTarget,
                        now->second.first <= dTarget ? "MET" : "NOT MET");
        }
    }

private:
    std::map<std::string, std::pair<double, double>> m_Times;
};

// The layout of the whole map: neato on a worker thread, while a 10 ms timer on the interface
// thread counts how long it ever had to wait.
void MeasureLayout()
{
    CNetworkDocument& document = Window().core.Document();
    QString strProgram;
    QString strError;
    if (!CAutoLayout::FindProgram(&strProgram, &strError))
    {
        std::printf("layout: %s\n", qPrintable(strError));
        return;
    }
    QElapsedTimer total;
    total.start();
    // As after a discovery: overlaps removed, room for the labels the window shows.
    const QByteArray input = CAutoLayout::LayoutInput(
        document, true, false, CMapScene::LayoutRoom(document, Window().view->Options()));
    const qint64 iInputMs = total.elapsed();
    QByteArray output;
    bool bOk = false;
    std::unique_ptr<QThread> pThread(
        QThread::create([&] { bOk = CAutoLayout::RunProgram(strProgram, input, &output, &strError); }));
    qint64 iLastTick = total.elapsed();
    qint64 iLongestGap = 0;
    int nTicks = 0;
    QTimer ticker;
    QObject::connect(&ticker, &QTimer::timeout,
                     [&]
                     {
                         const qint64 iNow = total.elapsed();
                         iLongestGap = std::max(iLongestGap, iNow - iLastTick);
                         iLastTick = iNow;
                         ++nTicks;
                     });
    ticker.start(10);
    pThread->start();
    while (!pThread->isFinished())
    {
        QApplication::processEvents(QEventLoop::AllEvents, 10);
        QThread::msleep(1);
    }
    ticker.stop();
    const qint64 iNeatoMs = total.elapsed() - iInputMs;
    if (!bOk)
    {
        std::printf("layout: %s\n", qPrintable(strError));
        return;
    }
    QElapsedTimer apply;
    apply.start();
    const int nMoved = CAutoLayout::Apply(document, CAutoLayout::ParseOutput(output));
    Window().view->Rebuild();
    const qint64 iApplyMs = apply.elapsed();
    std::printf(
        "layout of %d PEs: input %lld ms, neato %.1f s on a worker thread, reading and redrawing %lld ms\n",
        nMoved, static_cast<long long>(iInputMs), iNeatoMs / 1000.0, static_cast<long long>(iApplyMs));
    std::printf(
        "  interface thread during the layout: %d ticks of 10 ms, longest wait %lld ms (%.2f of a 60 Hz "
        "frame budget)\n",
        nTicks, static_cast<long long>(iLongestGap), iLongestGap / kFrameBudgetMs);
}
} // namespace

int main(int argc, char** argv)
{
    if (qEnvironmentVariableIsEmpty("QT_QPA_PLATFORM"))
    {
        qputenv("QT_QPA_PLATFORM", "offscreen");
    }
    QApplication application(argc, argv);
    benchmark::Initialize(&argc, argv);
    CReporter reporter;
    benchmark::RunSpecifiedBenchmarks(&reporter);
    reporter.Summary();
    MeasureLayout();
    Window().view.reset();
    return 0;
}
