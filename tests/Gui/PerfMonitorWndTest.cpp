// The performance monitor window on a map discovered from the in-process fabric: its title and
// selectors, the traces switched on from their boxes, Enable and the timer, the rates on the
// charts and in the text boxes as NWRITEs cross the switch, one window per PE, and a layout whose
// charts and selectors neither overlap nor cut their texts.
#include "GuiTestEnvironment.h"

#include "ClientSimFixture.h"
#include "Discovery.h"
#include "MainFrame.h"
#include "MapCommands.h"
#include "OScopeCtrl.h"
#include "PerfMonitorWnd.h"
#include "RouteSearch.h"

#include <QApplication>
#include <QCheckBox>
#include <QComboBox>
#include <QDir>
#include <QLineEdit>
#include <QPushButton>
#include <QSpinBox>
#include <QTimer>

#include <cmath>

namespace nvtest
{
namespace
{
// The monitor's reads on the fabric, timed by the test's clock as the server would time them.
class CClockedTransport : public IPerfTransport
{
public:
    explicit CClockedTransport(nvsim::CSimFabric& fabric) : m_fabric(fabric) {}
    bool IsOpen() override { return bOpen; }
    int32_t TimedRead(uint32_t ulDestID, uint8_t uchHop, uint32_t ulOffset, uint32_t ulLastTick,
                      uint32_t* pulValue, uint32_t* pulElapsedUs, uint32_t* pulTick) override
    {
        *pulElapsedUs = static_cast<uint32_t>(ullNowUs - uint64_t{ulLastTick} * 1000);
        *pulTick = static_cast<uint32_t>(ullNowUs / 1000);
        return m_fabric.MaintRead(0, ulDestID, uchHop, ulOffset, pulValue, 1, 4, 256, false);
    }
    int32_t Read(uint32_t ulDestID, uint8_t uchHop, uint32_t ulOffset, uint32_t* pulValue) override
    {
        return m_fabric.MaintRead(0, ulDestID, uchHop, ulOffset, pulValue, 1, 4, 4, false);
    }
    int32_t Write(uint32_t ulDestID, uint8_t uchHop, uint32_t ulOffset, uint32_t ulValue) override
    {
        return m_fabric.MaintWrite(0, ulDestID, uchHop, ulOffset, &ulValue, 1, 4, 4, false);
    }
    uint64_t ullNowUs = 1'000'000;
    bool bOpen = true;

private:
    nvsim::CSimFabric& m_fabric;
};

class PerfMonitorWndTest : public CClientSimTest
{
protected:
    void SetUp() override
    {
        CClientSimTest::SetUp();
        Load(std::string(kHostLine) + "device sw1 switch model=cps1848\n"
                                      "device ep1 endpoint device=0x1001 memory id=0x05 largeid=0x0005\n"
                                      "device ep2 endpoint device=0x1002 memory id=0x0A largeid=0x000A\n"
                                      "host host0\nlink host0:0 sw1:0\nlink sw1:1 ep1:0\nlink sw1:2 ep2:0\n"
                                      "route sw1 0x01 0\nroute sw1 0x05 1\nroute sw1 0x0A 2\n");
        SDiscoveryRequest request;
        request.bTryAllClockRates = false;
        request.bUploadRoutingTables = true;
        request.scanIDs = {0x05, 0x0A};
        ASSERT_EQ(0, StandardDiscovery(request, m_map, &m_host, {}));
        for (const auto& pPE : m_map.ActivePEs)
        {
            if (pPE->DeviceID == 0x0374)
                m_iSwitch = pPE->iNodeNumber;
        }
        ASSERT_GE(m_iSwitch, 0);
        m_pClock = std::make_unique<CClockedTransport>(*m_pFabric);
        m_ui.messages.clear();
    }
    void NWrites(uint32_t ulDestID, int nCount)
    {
        const uint8_t abData[8] = {};
        for (int i = 0; i < nCount; ++i)
            ASSERT_EQ(0, m_pFabric->DataWrite(0, ulDestID, 0, 0x1000, 1, abData, 8, false));
    }
    void Second(CPerfMonitorWnd& window)
    {
        m_pClock->ullNowUs += 1'000'000;
        window.OnTick();
    }

    CNetworkDocument m_map;
    int m_iSwitch = -1;
    std::unique_ptr<CClockedTransport> m_pClock;
};
} // namespace

TEST_F(PerfMonitorWndTest, TracesDrawTheRatesOfTheirCountersOnTheirCharts)
{
    CPerfMonitorWnd* pWindow = CPerfMonitorWnd::Open(m_map, m_iSwitch, nullptr, *m_pClock);
    ASSERT_TRUE(pWindow);
    EXPECT_EQ(pWindow, CPerfMonitorWnd::Open(m_map, m_iSwitch, nullptr, *m_pClock)) << "one window a PE";
    pWindow->resize(1280, 720);
    QApplication::processEvents();
    EXPECT_EQ(QStringLiteral("IDT CPS/VPS-1848 Performance Monitor - Node %1").arg(m_iSwitch + 1),
              pWindow->windowTitle());
    EXPECT_EQ(18, pWindow->PortBox(0)->count());
    EXPECT_EQ(QStringLiteral("Port 17"), pWindow->PortBox(0)->itemText(17));
    EXPECT_EQ(22, pWindow->CounterBox(0)->count());

    // Trace 1: packets out to ep1; trace 2: packets out to ep2; trace 3: packets in from the host.
    const int iTx = pWindow->CounterBox(0)->findText(QStringLiteral("VC0 Packets Transmitted"));
    const int iRx = pWindow->CounterBox(0)->findText(QStringLiteral("VC0 Packets Received"));
    ASSERT_GE(iTx, 0);
    ASSERT_GE(iRx, 0);
    const int aCounter[] = {iTx, iTx, iRx};
    const int aPort[] = {1, 2, 0};
    for (int i = 0; i < 3; ++i)
    {
        pWindow->CounterBox(i)->setCurrentIndex(aCounter[i]);
        pWindow->PortBox(i)->setCurrentIndex(aPort[i]);
        pWindow->OnBox(i)->setChecked(true);
        EXPECT_TRUE(pWindow->Monitor().Trace(i).bOn) << i;
    }
    EXPECT_EQ(QStringLiteral("VC0 Packets Received"),
              pWindow->Monitor().CounterNames()[pWindow->Monitor().Trace(2).iCounter]);
    // A fourth trace on a counter that the first controls is refused and its box stays clear.
    pWindow->CounterBox(3)->setCurrentIndex(iTx);
    pWindow->PortBox(3)->setCurrentIndex(1);
    pWindow->OnBox(3)->setChecked(true);
    EXPECT_FALSE(pWindow->OnBox(3)->isChecked());
    EXPECT_EQ(QStringList{QStringLiteral("This counter is already being controlled by another dialog.")},
              m_ui.messages);
    m_ui.messages.clear();
    pWindow->PortBox(3)->setCurrentIndex(3);
    pWindow->OnBox(3)->setChecked(true);
    ASSERT_TRUE(pWindow->OnBox(3)->isChecked());

    pWindow->DepthBox()->setValue(2);
    EXPECT_EQ(2, pWindow->Monitor().Depth());
    pWindow->EnableButton()->click();
    EXPECT_EQ(QStringLiteral("Disable"), pWindow->EnableButton()->text());
    EXPECT_TRUE(pWindow->Timer()->isActive());
    EXPECT_EQ(1000, pWindow->Timer()->interval());

    Second(*pWindow);
    EXPECT_TRUE(pWindow->Chart(0)->Points().empty()) << "the first tick draws no point";
    for (int t = 0; t < 40; ++t)
    {
        const int nToEp1 = 30 + static_cast<int>(20 * std::sin(t / 4.0));
        const int nToEp2 = t < 20 ? 5 : 60;
        NWrites(0x05, nToEp1);
        NWrites(0x0A, nToEp2);
        Second(*pWindow);
    }
    ASSERT_EQ(40u, pWindow->Chart(0)->Points().size());
    // Depth 2: the last two seconds, 60 to ep2 in each.
    EXPECT_DOUBLE_EQ(60.0, pWindow->Chart(1)->Points().back());
    EXPECT_EQ(QStringLiteral("60.0"), pWindow->RateBox(1)->text());
    EXPECT_DOUBLE_EQ(5.0, pWindow->Chart(1)->Points()[10]);
    const double dLastEp1 =
        (30 + static_cast<int>(20 * std::sin(39 / 4.0)) + 30 + static_cast<int>(20 * std::sin(38 / 4.0))) /
        2.0;
    EXPECT_DOUBLE_EQ(dLastEp1, pWindow->Chart(0)->Points().back());
    // The host's port takes every write and the monitor's own reads.
    EXPECT_GE(pWindow->Chart(2)->Points().back(), 60.0 + dLastEp1);
    EXPECT_TRUE(pWindow->Chart(3)->Points().size() == 40u && pWindow->Chart(3)->Points().back() == 0.0)
        << "nothing leaves port 3";
    // Each chart's range holds what it drew.
    for (int i = 0; i < kPerfTraces; ++i)
    {
        double dPeak = 0;
        for (double d : pWindow->Chart(i)->Points())
            dPeak = std::max(dPeak, d);
        EXPECT_GE(pWindow->Chart(i)->Upper(), dPeak) << i;
        EXPECT_LE(pWindow->Chart(i)->Upper(), std::max(10.0, dPeak * 2.5)) << i;
    }

    // Nothing overlaps: the four charts, and each trace's selectors beside its chart; no selector
    // cuts the longest counter name.
    QApplication::processEvents();
    for (int i = 0; i < kPerfTraces; ++i)
    {
        const QRect chart(pWindow->Chart(i)->mapTo(pWindow, QPoint(0, 0)), pWindow->Chart(i)->size());
        const QRect counter(pWindow->CounterBox(i)->mapTo(pWindow, QPoint(0, 0)),
                            pWindow->CounterBox(i)->size());
        EXPECT_FALSE(chart.intersects(counter)) << i;
        EXPECT_GE(pWindow->CounterBox(i)->width(), pWindow->CounterBox(i)->sizeHint().width()) << i;
        for (int j = i + 1; j < kPerfTraces; ++j)
        {
            const QRect other(pWindow->Chart(j)->mapTo(pWindow, QPoint(0, 0)), pWindow->Chart(j)->size());
            EXPECT_FALSE(chart.intersects(other)) << i << " " << j;
        }
    }
    if (const QByteArray dir = qgetenv("NV_GRAB_DIR"); !dir.isEmpty())
        pWindow->grab().save(QDir(QString::fromLocal8Bit(dir)).filePath(QStringLiteral("perfmon.png")));

    // The link goes: the window switches itself off.
    m_pClock->bOpen = false;
    Second(*pWindow);
    EXPECT_FALSE(pWindow->Timer()->isActive());
    EXPECT_EQ(QStringLiteral("Enable"), pWindow->EnableButton()->text());
    EXPECT_FALSE(pWindow->EnableButton()->isChecked());

    // Closing it frees the PE for a new window.
    pWindow->close();
    ASSERT_TRUE(nvguitest::WaitFor([this] { return CPerfMonitorWnd::Find(m_iSwitch) == nullptr; }, 2000));
    m_pClock->bOpen = true;
    CPerfMonitorWnd* pAgain = CPerfMonitorWnd::Open(m_map, m_iSwitch, nullptr, *m_pClock);
    ASSERT_TRUE(pAgain);
    pAgain->PortBox(0)->setCurrentIndex(1);
    pAgain->CounterBox(0)->setCurrentIndex(iTx);
    pAgain->OnBox(0)->setChecked(true);
    EXPECT_TRUE(pAgain->OnBox(0)->isChecked()) << "the closed window gave its counters up";
    pAgain->close();
    nvguitest::WaitFor([this] { return CPerfMonitorWnd::Find(m_iSwitch) == nullptr; }, 2000);
}

TEST_F(PerfMonitorWndTest, EnableWithoutALinkSaysWhyAndStaysOff)
{
    CPerfMonitorWnd* pWindow = CPerfMonitorWnd::Open(m_map, m_iSwitch, nullptr, *m_pClock);
    ASSERT_TRUE(pWindow);
    m_pClock->bOpen = false;
    pWindow->EnableButton()->click();
    EXPECT_FALSE(pWindow->EnableButton()->isChecked());
    EXPECT_EQ(QStringLiteral("Enable"), pWindow->EnableButton()->text());
    EXPECT_FALSE(pWindow->Timer()->isActive());
    ASSERT_EQ(1, m_ui.messages.size());
    EXPECT_EQ(QLatin1String(kPerfRouteMessage), m_ui.messages[0]);
    // Endpoints have no monitor.
    EXPECT_FALSE(
        CPerfMonitorWnd::Open(m_map, m_map.ActivePEs.GetPEByDestID(0x05)->iNodeNumber, nullptr, *m_pClock));
    pWindow->close();
    nvguitest::WaitFor([this] { return CPerfMonitorWnd::Find(m_iSwitch) == nullptr; }, 2000);
}
} // namespace nvtest

// The PE pop-up's command opens the node's window on the frame's map, and again shows the same.
TEST(PerfMonitorCommand, ThePopUpCommandOpensOneWindowForThePE)
{
    SetMapTransportAccess([] { return 8; }, [](int) {});
    CMainFrame frame;
    nvguitest::AddPE(frame.Core().Document(), 0, 0x0038, 0x0379, kPETypeSwitch, 200, 100, 16);
    nvguitest::AddPE(frame.Core().Document(), 1, 0x000D, 0x0578, kPETypeSwitch, 300, 100, 16);
    frame.Core().NotifyMap();
    SCommandContext context;
    context.iNode = 0;
    frame.RunCommand(eCmdPerformanceMonitor, context);
    CPerfMonitorWnd* pWindow = CPerfMonitorWnd::Find(0);
    ASSERT_TRUE(pWindow);
    EXPECT_TRUE(pWindow->isVisible());
    EXPECT_EQ(QStringLiteral("IDT CPS-1616 Performance Monitor - Node 1"), pWindow->windowTitle());
    frame.RunCommand(eCmdPerformanceMonitor, context);
    EXPECT_EQ(pWindow, CPerfMonitorWnd::Find(0));
    context.iNode = 1;
    frame.RunCommand(eCmdTsi578PerformanceMonitor, context);
    ASSERT_TRUE(CPerfMonitorWnd::Find(1));
    EXPECT_EQ(QStringLiteral("IDT Tsi-578 Performance Monitor - Node 2"),
              CPerfMonitorWnd::Find(1)->windowTitle());
    EXPECT_EQ(QStringLiteral("Unicast Packets Received"),
              CPerfMonitorWnd::Find(1)->CounterBox(0)->itemText(0));
    CPerfMonitorWnd::Find(0)->close();
    CPerfMonitorWnd::Find(1)->close();
    EXPECT_TRUE(
        nvguitest::WaitFor([] { return !CPerfMonitorWnd::Find(0) && !CPerfMonitorWnd::Find(1); }, 2000));
    SetMapTransportAccess(nullptr, nullptr);
}
