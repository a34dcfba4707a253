// The map window on a map of 5000 PEs and 10000 links, shown on the offscreen screen and painted
// through its backing store as on a desktop: building the drawing, a full frame with the whole map
// in view, panning (the scroll bars moved, the view scrolling what it showed and painting what comes
// into sight), zooming one wheel notch at a time, and the automatic layout, whose neato run must
// leave the interface thread free. Each frame is run to its end through the event loop. The times
// are set against their targets (16 ms for the whole map, 8 ms for panning and zooming) and against
// baselines measured in the same run: every pan step repainting the whole window, and the links
// drawn one item each.
#include "AutoLayout.h"
#include "ChildView.h"
#include "MainFrameCore.h"
#include "MapScene.h"
#include "UserInterface.h"

#include <QApplication>
#include <QElapsedTimer>
#include <QPaintEvent>
#include <QScrollBar>
#include <QThread>
#include <QTimer>
#include <QWheelEvent>

#include <benchmark/benchmark.h>

#include <algorithm>
#include <array>
#include <cstdio>
#include <ctime>
#include <map>
#include <memory>
#include <string>
#include <string_view>
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

// What the map area paints: how often and how many pixels, to show what a frame redrew.
class CPaintCounter : public QObject
{
public:
    bool eventFilter(QObject* pObject, QEvent* pEvent) override
    {
        if (pEvent->type() == QEvent::Paint)
        {
            ++m_nPaints;
            for (const QRect& rect : static_cast<QPaintEvent*>(pEvent)->region())
            {
                m_dPixels += static_cast<double>(rect.width()) * rect.height();
            }
        }
        return QObject::eventFilter(pObject, pEvent);
    }
    int m_nPaints = 0;
    double m_dPixels = 0;
};

// The window under test, made once for all the measurements: shown on the offscreen screen, so
// that it paints through its backing store as on a desktop.
struct SWindow
{
    SWindow()
    {
        FillLargeMap(core.Document());
        view = std::make_unique<CChildView>(core);
        view->resize(1280, 800);
        view->show();
        view->Rebuild();
        view->viewport()->installEventFilter(&counter);
        QApplication::processEvents();
    }
    CMainFrameCore core;
    std::unique_ptr<CChildView> view;
    CPaintCounter counter;
};

SWindow& Window()
{
    static SWindow window;
    return window;
}

// Runs the event loop until the map area has painted what the last step made dirty, as between two
// movements of a person's hand. False when nothing was painted.
bool Settle()
{
    CPaintCounter& counter = Window().counter;
    const int nBefore = counter.m_nPaints;
    for (int i = 0; i < 20 && counter.m_nPaints == nBefore; ++i)
    {
        QApplication::processEvents();
    }
    return counter.m_nPaints != nBefore;
}

// A frame repainted whole, as after a change of zoom or of the map.
void FullFrame(CChildView& view)
{
    view.viewport()->update();
    Settle();
}

// Per frame: the share of the map area repainted, and frames that painted nothing (which would
// make the times meaningless).
void CountPaints(benchmark::State& state, double dPixelsBefore, int iStepsWithoutPaint, int nPaintsBefore)
{
    const QSize size = Window().view->viewport()->size();
    state.counters["paints"] =
        double(Window().counter.m_nPaints - nPaintsBefore) / double(state.iterations());
    state.counters["repainted"] = (Window().counter.m_dPixels - dPixelsBefore) /
                                  (static_cast<double>(size.width()) * size.height() * state.iterations());
    state.counters["unpainted"] = iStepsWithoutPaint;
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
    view.MapScene()->SetBatchedLinks(state.range(0) != 0);
    view.ZoomToFit();
    FullFrame(view);
    const double dPixels = Window().counter.m_dPixels;
    const int nPaints = Window().counter.m_nPaints;
    int nUnpainted = 0;
    for (auto _ : state)
    {
        view.viewport()->update();
        nUnpainted += Settle() ? 0 : 1;
    }
    CountPaints(state, dPixels, nUnpainted, nPaints);
    view.MapScene()->SetBatchedLinks(true);
}

// Panning at a zoom (percent): the scroll bars moved 40 pixels a step, back and forth, across the
// middle of the map. The view scrolls what it showed and paints the strip that comes into sight;
// with range 1 set, every step repaints the whole window instead (what a pan costs without that).
void BM_FramePanning(benchmark::State& state)
{
    CChildView& view = *Window().view;
    const bool bFullRepaint = state.range(1) != 0;
    view.ZoomToFit();
    view.ZoomBy(state.range(0) / 100.0 / view.Zoom());
    view.centerOn(view.MapScene()->DrawnRect().center());
    FullFrame(view);
    QScrollBar& bar = *view.horizontalScrollBar();
    const int iFrom = std::max(bar.minimum(), bar.value() - 1000);
    const int iTo = std::min(bar.maximum(), bar.value() + 1000);
    int iStep = 40;
    const double dPixels = Window().counter.m_dPixels;
    const int nPaints = Window().counter.m_nPaints;
    int nUnpainted = 0;
    for (auto _ : state)
    {
        if (bar.value() + iStep > iTo || bar.value() + iStep < iFrom)
        {
            iStep = -iStep;
        }
        bar.setValue(bar.value() + iStep);
        if (bFullRepaint)
        {
            view.viewport()->update();
        }
        nUnpainted += Settle() ? 0 : 1;
    }
    CountPaints(state, dPixels, nUnpainted, nPaints);
}

// The time the interface thread has run, in milliseconds: steadier than the wall clock on a busy
// machine.
double ThreadCpuMs()
{
    timespec now{};
    clock_gettime(CLOCK_THREAD_CPUTIME_ID, &now);
    return now.tv_sec * 1e3 + now.tv_nsec / 1e6;
}

// By batched links or not, zoom level reached (in thousandths) and direction: the time of the
// notches that reached it, and how many.
std::map<std::tuple<bool, int, bool>, std::pair<double, int>> g_ZoomSteps;

// The wheel notches by the zoom they reached: where the drawing is slowest.
void PrintZoomSteps()
{
    std::printf("\nwheel notch by the zoom it reaches (ms of cpu):\n%8s %10s %10s %12s %12s\n", "zoom %",
                "in", "out", "in, 1/link", "out, 1/link");
    std::map<int, std::array<double, 4>> rows;
    for (const auto& [key, value] : g_ZoomSteps)
    {
        const auto& [bBatched, iZoom, bIn] = key;
        auto& row = rows.try_emplace(iZoom, std::array<double, 4>{-1, -1, -1, -1}).first->second;
        row[(bBatched ? 0 : 2) + (bIn ? 0 : 1)] = value.first / value.second;
    }
    for (const auto& [iZoom, row] : rows)
    {
        std::printf("%8.1f", iZoom / 10.0);
        for (double dMs : row)
        {
            if (dMs < 0)
            {
                std::printf(" %10s", "-");
            }
            else
            {
                std::printf(" %10.2f", dMs);
            }
        }
        std::printf("\n");
    }
}

// Zooming as the mouse wheel does it, one notch a frame about the middle of the window, in from
// the whole map to 200 % and out again.
void BM_FrameZooming(benchmark::State& state)
{
    CChildView& view = *Window().view;
    view.MapScene()->SetBatchedLinks(state.range(0) != 0);
    view.ZoomToFit();
    FullFrame(view);
    const qreal dFitted = view.Zoom();
    QWidget& viewport = *view.viewport();
    const QPointF at = QRectF(viewport.rect()).center();
    int iNotch = 120;
    const double dPixels = Window().counter.m_dPixels;
    const int nPaints = Window().counter.m_nPaints;
    int nUnpainted = 0;
    for (auto _ : state)
    {
        if ((iNotch > 0 && view.Zoom() * 1.25 > 2.0) || (iNotch < 0 && view.Zoom() / 1.25 < dFitted))
        {
            iNotch = -iNotch;
        }
        const double dCpuFrom = ThreadCpuMs();
        QWheelEvent wheel(at, viewport.mapToGlobal(at), QPoint(), QPoint(0, iNotch), Qt::NoButton,
                          Qt::NoModifier, Qt::NoScrollPhase, false);
        QApplication::sendEvent(&viewport, &wheel);
        nUnpainted += Settle() ? 0 : 1;
        auto& [dTotal, nSteps] =
            g_ZoomSteps[std::tuple(state.range(0) != 0, qRound(view.Zoom() * 1000), iNotch > 0)];
        dTotal += ThreadCpuMs() - dCpuFrom;
        ++nSteps;
    }
    CountPaints(state, dPixels, nUnpainted, nPaints);
    view.MapScene()->SetBatchedLinks(true);
}

BENCHMARK(BM_BuildDrawing)->Unit(benchmark::kMillisecond)->Iterations(3);
BENCHMARK(BM_FrameWholeMap)->ArgName("batched")->Arg(1)->Arg(0)->Unit(benchmark::kMillisecond)->MinTime(1.0);
BENCHMARK(BM_FramePanning)
    ->ArgNames({"zoom", "full"})
    ->Args({100, 0})
    ->Args({100, 1})
    ->Args({30, 0})
    ->Args({30, 1})
    ->Unit(benchmark::kMillisecond)
    ->MinTime(1.0);
BENCHMARK(BM_FrameZooming)->ArgName("batched")->Arg(1)->Arg(0)->Unit(benchmark::kMillisecond)->MinTime(1.0);

// Collects the mean frame times to set them against their targets and their baselines.
class CReporter : public benchmark::ConsoleReporter
{
public:
    void ReportRuns(const std::vector<Run>& runs) override
    {
        ConsoleReporter::ReportRuns(runs);
        for (const Run& run : runs)
        {
            std::string strName = run.benchmark_name();
            strName = strName.substr(0, strName.find("/min_time"));
            m_Times[strName] = {run.GetAdjustedRealTime(), run.GetAdjustedCPUTime()};
        }
    }
    void Summary() const
    {
        std::printf("\n%-26s %16s   %-34s %8s\n", "frame (ms, wall / cpu)", "now", "baseline (wall / cpu)",
                    "target");
        for (const auto& [pszWhat, pszName, pszBase, pszBaseWhat, dTarget] :
             {std::tuple{"whole map", "BM_FrameWholeMap/batched:1", "BM_FrameWholeMap/batched:0",
                         "one item per link", 16.0},
              std::tuple{"pan at 100 %", "BM_FramePanning/zoom:100/full:0", "BM_FramePanning/zoom:100/full:1",
                         "whole window repainted", 8.0},
              std::tuple{"pan at 30 %", "BM_FramePanning/zoom:30/full:0", "BM_FramePanning/zoom:30/full:1",
                         "whole window repainted", 8.0},
              std::tuple{"zoom, wheel notch", "BM_FrameZooming/batched:1", "BM_FrameZooming/batched:0",
                         "one item per link", 8.0}})
        {
            const auto now = m_Times.find(pszName);
            if (now == m_Times.end())
            {
                continue;
            }
            const auto base = m_Times.find(pszBase);
            char szBase[96] = "-";
            if (base != m_Times.end())
            {
                std::snprintf(szBase, sizeof(szBase), "%7.2f / %6.2f %s", base->second.first,
                              base->second.second, pszBaseWhat);
            }
            std::printf("%-26s %7.2f / %6.2f   %-34s %8.1f  %s\n", pszWhat, now->second.first,
                        now->second.second, szBase, dTarget,
                        now->second.first <= dTarget ? "MET" : "NOT MET");
        }
    }

private:
    std::map<std::string, std::pair<double, double>> m_Times;
};

// The window as drawn, whole and at a few zooms about the middle of the map.
void SaveFrames(const QString& strDirectory)
{
    CChildView& view = *Window().view;
    for (const int iZoom : {0, 15, 30, 60, 100, 150})
    {
        view.ZoomToFit();
        if (iZoom > 0)
        {
            view.ZoomBy(iZoom / 100.0 / view.Zoom());
            view.centerOn(view.MapScene()->DrawnRect().center());
        }
        FullFrame(view);
        const QString strPath =
            QStringLiteral("%1/map-%2.png").arg(strDirectory).arg(iZoom, 3, 10, QLatin1Char('0'));
        QImage image(view.viewport()->size(), QImage::Format_RGB32);
        view.viewport()->render(&image);
        image.save(strPath);
        std::printf("saved %s\n", qPrintable(strPath));
    }
}

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
    // --no-layout leaves the layout out, for profiling the frames alone; --frames DIR saves the
    // window as drawn at a few zooms, to look at.
    const auto noLayout = std::find(argv + 1, argv + argc, std::string_view("--no-layout"));
    const bool bLayout = noLayout == argv + argc;
    if (!bLayout)
    {
        std::rotate(noLayout, noLayout + 1, argv + argc);
        --argc;
    }
    QString strFrames;
    const auto frames = std::find(argv + 1, argv + argc, std::string_view("--frames"));
    if (frames + 1 < argv + argc)
    {
        strFrames = QString::fromLocal8Bit(frames[1]);
        std::rotate(frames, frames + 2, argv + argc);
        argc -= 2;
    }
    benchmark::Initialize(&argc, argv);
    CReporter reporter;
    benchmark::RunSpecifiedBenchmarks(&reporter);
    reporter.Summary();
    PrintZoomSteps();
    if (!strFrames.isEmpty())
    {
        SaveFrames(strFrames);
    }
    if (bLayout)
    {
        MeasureLayout();
    }
    Window().view.reset();
    return 0;
}
