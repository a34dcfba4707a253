// The link monitor windows on a discovered in-process fabric (a host, a Tsi500, two endpoints):
// the button and timer, the charts' titles, units and points, the layout, and the pop-up commands
// that open them. With NV_SCREENSHOT_DIR set each window with data is saved as a picture.
#include "LinkMonitorWnd.h"
#include "ClientSimFixture.h"
#include "ClockedTransport.h"
#include "Discovery.h"
#include "GuiTestEnvironment.h"
#include "MainFrameCore.h"
#include "MapCommands.h"
#include "OScopeCtrl.h"
#include "nvsim/Device.h"
#include "nvsim/Faults.h"

#include <QApplication>
#include <QComboBox>
#include <QDir>
#include <QLabel>
#include <QPushButton>

namespace nvtest
{
namespace
{
class CLinkMonitorWndTest : public CClientSimTest
{
protected:
    virtual const char* SwitchModel() const { return "tsi500"; }
    virtual uint16_t SwitchDeviceID() const { return kTsi500DeviceID; }
    void SetUp() override
    {
        CClientSimTest::SetUp();
        Load(std::string(kHostLine) + "device sw1 switch model=" + SwitchModel() +
             "\n"
             "device ep1 endpoint memory id=0x05 largeid=0x0005\n"
             "device ep2 endpoint memory id=0x0A largeid=0x000A\n"
             "host host0\nlink host0:0 sw1:0\nlink sw1:1 ep1:0\nlink sw1:2 ep2:0\n"
             "route sw1 0x01 0\nroute sw1 0x05 1\nroute sw1 0x0A 2\n");
        SDiscoveryRequest request;
        request.bTryAllClockRates = false;
        request.bUploadRoutingTables = true;
        request.scanIDs = {0x05, 0x0A};
        ASSERT_EQ(0, StandardDiscovery(request, m_map, &m_host, {}));
        for (const auto& pPE : m_map.ActivePEs)
        {
            if (pPE->DeviceID == SwitchDeviceID())
            {
                m_iSwitch = pPE->iNodeNumber;
            }
        }
        ASSERT_GE(m_iSwitch, 0);
        m_pClocked = std::make_unique<CClockedTransport>(*m_pFabric);
        m_ui.messages.clear();
    }
    // Seconds of traffic from ep1 to the host with the window ticking after each: 64-byte
    // writes, more each second, a few refused or corrupted on the way.
    void Run(CLinkMonitorWnd& window, int nSeconds)
    {
        std::string strError;
        nvsim::CFaults faults;
        ASSERT_TRUE(
            nvsim::ApplyFaultSpec("linkerrors:link=sw1:1,crc=0.02,retry=0.05", *m_pFabric, faults, &strError))
            << strError;
        window.Monitor().fnNow = [this]
        { return QTime(14, 0, 0).addMSecs(static_cast<int>(m_pClocked->ulNowMs)); };
        window.SetEnabled(true);
        window.OnTick();
        for (int i = 0; i < nSeconds; ++i)
        {
            nvsim::CSimFabric::SGenerated what;
            what.eKind = nvsim::EPacketKind::Write;
            what.uchPriority = static_cast<uint8_t>(i % 2);
            what.ulDestId = 0x01;
            what.ulBufferBytes = 0x10000;
            what.ulBytes = i % 3 == 0 ? 64 : 256;
            m_pFabric->SendGenerated(m_pFabric->Device("ep1"), 0, what, 200 + 40 * static_cast<uint64_t>(i));
            nvsim::CSimFabric::SGenerated back = what;
            back.ulDestId = 0x05;
            m_pFabric->SendGenerated(m_pFabric->Device("host0"), 0, back, 100);
            m_pClocked->ulNowMs += 1000;
            window.OnTick();
        }
    }
    void Shoot(QWidget& window, const QString& strName)
    {
        if (const QByteArray dir = qgetenv("NV_SCREENSHOT_DIR"); !dir.isEmpty())
        {
            window.grab().save(QDir(QString::fromLocal8Bit(dir)).filePath(strName));
        }
    }
    // The widgets of a window don't overlap one another and lie inside it.
    void ExpectTidy(CLinkMonitorWnd& window)
    {
        window.show();
        QApplication::processEvents();
        std::vector<QRect> boxes;
        for (int i = 0; i < window.Monitor().NumCharts(); ++i)
        {
            boxes.push_back(window.Chart(i)->geometry());
        }
        boxes.push_back(window.EnableButton()->geometry());
        for (size_t i = 0; i < boxes.size(); ++i)
        {
            EXPECT_TRUE(window.rect().contains(boxes[i])) << i;
            EXPECT_GE(boxes[i].height(), 20) << i;
            for (size_t j = i + 1; j < boxes.size(); ++j)
            {
                EXPECT_FALSE(boxes[i].intersects(boxes[j])) << i << " and " << j;
            }
        }
    }

    CNetworkDocument m_map;
    int m_iSwitch = -1;
    std::unique_ptr<CClockedTransport> m_pClocked;
};

TEST_F(CLinkMonitorWndTest, EnableRunsTheTimerAndTheChartsTakeTheMonitorsPoints)
{
    CLinkMonitorWnd window(eLinkMonitorThroughput, m_map, *m_pClocked, m_iSwitch, 1);
    window.setAttribute(Qt::WA_DeleteOnClose, false);
    EXPECT_EQ(QStringLiteral("Throughput - Node %1, Port 2, Inbound").arg(m_iSwitch + 1),
              window.windowTitle());
    EXPECT_EQ(QStringLiteral("Enable"), window.EnableButton()->text());
    EXPECT_EQ(QStringLiteral("kPkt/s"), window.Chart(0)->YUnits());
    EXPECT_EQ(QStringLiteral("Samples"), window.Chart(0)->XUnits());
    window.SetEnabled(true);
    EXPECT_EQ(QStringLiteral("Disable"), window.EnableButton()->text());
    EXPECT_TRUE(window.TimerActive());
    window.SetEnabled(false);
    EXPECT_FALSE(window.TimerActive());

    Run(window, 6);
    ASSERT_EQ(6u, window.Chart(1)->Points().size()) << "the first reading draws nothing";
    EXPECT_DOUBLE_EQ(window.Monitor().LastValues()[1], window.Chart(1)->Points().back());
    // Priority 0 writes in the last second (i = 5 sent at priority 1, so 0 at priority 0 then).
    EXPECT_DOUBLE_EQ(0.0, window.Chart(1)->Points().back());
    EXPECT_NEAR(0.36, window.Chart(1)->Points()[4], 1e-12) << "360 writes at priority 0 in the fifth second";
    // 1 kPkt/s across at first; the 0.56 kPkt/s of priority 1 fit, and a faster second raises
    // the scale to the next 1, 2, 5 step.
    EXPECT_DOUBLE_EQ(1.0, window.Chart(0)->Upper());
    m_pFabric->SendGenerated(m_pFabric->Device("ep1"), 0,
                             {nvsim::EPacketKind::Read, 0, 0x01, false, 0, 0x10000, 0, 8}, 1300);
    m_pClocked->ulNowMs += 1000;
    window.OnTick();
    EXPECT_DOUBLE_EQ(1.3, window.Chart(0)->Points().back()) << "1300 NREADs at priority 0";
    EXPECT_DOUBLE_EQ(2.0, window.Chart(0)->Upper());
    EXPECT_EQ(2, window.Chart(0)->Decimals());
    ExpectTidy(window);
    Shoot(window, QStringLiteral("linkmon-throughput.png"));
    window.close();
    EXPECT_FALSE(window.TimerActive()) << "closing stops the timer";
}

TEST_F(CLinkMonitorWndTest, BitErrorAndEfficiencyWindowsChartWhatTheLinkDid)
{
    CLinkMonitorWnd ber(eLinkMonitorBitErrors, m_map, *m_pClocked, m_iSwitch, 1);
    ber.setAttribute(Qt::WA_DeleteOnClose, false);
    EXPECT_EQ(QStringLiteral("Retries"), ber.Chart(0)->YUnits());
    const uint64_t ullCrc = m_pFabric->Device("sw1").Counters(1).Events(nvsim::ELinkEvent::CrcError);
    Run(ber, 8);
    double dCrc = 0;
    for (double d : ber.Chart(1)->Points())
    {
        dCrc += d;
    }
    EXPECT_GT(dCrc, 0.0);
    EXPECT_DOUBLE_EQ(static_cast<double>(
                         m_pFabric->Device("sw1").Counters(1).Events(nvsim::ELinkEvent::CrcError) - ullCrc),
                     dCrc);
    ExpectTidy(ber);
    Shoot(ber, QStringLiteral("linkmon-ber.png"));

    CLinkMonitorWnd efficiency(eLinkMonitorEfficiency, m_map, *m_pClocked, m_iSwitch, 1);
    efficiency.setAttribute(Qt::WA_DeleteOnClose, false);
    efficiency.Monitor().SetDepth(3);
    Run(efficiency, 8);
    ASSERT_EQ(8u, efficiency.Chart(2)->Points().size());
    EXPECT_DOUBLE_EQ(efficiency.Monitor().LastEfficiency().dEfficiency, efficiency.Chart(2)->Points().back());
    EXPECT_GT(efficiency.Chart(2)->Points().back(), 50.0);
    EXPECT_TRUE(efficiency.LinkUseLabel()->text().contains(QStringLiteral("Link use:")));
    ExpectTidy(efficiency);
    Shoot(efficiency, QStringLiteral("linkmon-efficiency.png"));
}

TEST_F(CLinkMonitorWndTest, LinkPopupOpensTheSwitchEndOrSaysWhyNot)
{
    // The link between the Tsi500 and ep1, and the one between the host and the Tsi500.
    int iToEp1 = -1;
    for (const auto& pLink : *m_map.pCurrentConnections)
    {
        const bool bSwitchEnd = pLink->iPE1 == m_iSwitch || pLink->iPE2 == m_iSwitch;
        const int iOther = pLink->iPE1 == m_iSwitch ? pLink->iPE2 : pLink->iPE1;
        const CPEPrimitive* pOther = m_map.pCurrentPEs->GetByNodeNumber(iOther);
        if (bSwitchEnd && pOther && pOther->GetDestID() == 0x05)
        {
            iToEp1 = pLink->iNodeNumber;
        }
    }
    ASSERT_GE(iToEp1, 0);
    int iNode = -1;
    int iPort = -1;
    QString strWhy;
    ASSERT_TRUE(LinkMonitorEnd(m_map, iToEp1, eLinkMonitorBitErrors, &iNode, &iPort, &strWhy))
        << strWhy.toStdString();
    EXPECT_EQ(m_iSwitch, iNode);
    EXPECT_EQ(1, iPort);
    EXPECT_FALSE(LinkMonitorEnd(m_map, 999, eLinkMonitorThroughput, &iNode, &iPort, &strWhy));
}

class CTsi578LinkMonitorWndTest : public CLinkMonitorWndTest
{
protected:
    const char* SwitchModel() const override { return "tsi578"; }
    uint16_t SwitchDeviceID() const override { return 0x0578; }
};

TEST_F(CTsi578LinkMonitorWndTest, WritePriorityIsOfferedAndASecondWindowOnTheSameCountersStaysOff)
{
    auto pFirst = std::make_unique<CLinkMonitorWnd>(eLinkMonitorThroughput, m_map, *m_pClocked, m_iSwitch, 1);
    pFirst->setAttribute(Qt::WA_DeleteOnClose, false);
    const QList<QComboBox*> choices = pFirst->findChildren<QComboBox*>();
    ASSERT_EQ(2, choices.size());
    EXPECT_TRUE(choices[1]->isEnabled()) << "the Tsi578's counters take a write priority";
    choices[1]->setCurrentIndex(1);
    pFirst->Monitor().fnNow = [this]
    { return QTime(14, 0, 0).addMSecs(static_cast<int>(m_pClocked->ulNowMs)); };
    pFirst->SetEnabled(true);
    ASSERT_TRUE(pFirst->TimerActive());
    pFirst->OnTick();
    for (int i = 0; i < 4; ++i)
    {
        for (uint8_t uchPriority : {uint8_t{0}, uint8_t{1}})
        {
            nvsim::CSimFabric::SGenerated what;
            what.eKind = nvsim::EPacketKind::Write;
            what.uchPriority = uchPriority;
            what.ulDestId = 0x01;
            what.ulBufferBytes = 0x10000;
            what.ulBytes = 64;
            m_pFabric->SendGenerated(m_pFabric->Device("ep1"), 0, what,
                                     100 * static_cast<uint64_t>(i + 1) * (uchPriority + 1u));
        }
        m_pClocked->ulNowMs += 1000;
        pFirst->OnTick();
    }
    ASSERT_EQ(4u, pFirst->Chart(0)->Points().size());
    EXPECT_DOUBLE_EQ(0.4, pFirst->Chart(0)->Points().back()) << "400 priority 0 writes in the last second";
    EXPECT_DOUBLE_EQ(0.8, pFirst->Chart(1)->Points().back()) << "800 priority 1 writes in the last second";
    ExpectTidy(*pFirst);
    Shoot(*pFirst, QStringLiteral("linkmon-throughput-tsi578.png"));

    CLinkMonitorWnd second(eLinkMonitorThroughput, m_map, *m_pClocked, m_iSwitch, 1);
    second.setAttribute(Qt::WA_DeleteOnClose, false);
    second.SetEnabled(true);
    EXPECT_FALSE(second.TimerActive());
    EXPECT_FALSE(second.Monitor().IsEnabled());
    EXPECT_EQ(QStringLiteral("Enable"), second.EnableButton()->text());
    ASSERT_EQ(1, m_ui.messages.size());
    EXPECT_EQ(QStringLiteral("This counter is already being controlled by another dialog."),
              m_ui.messages.back());

    pFirst->close();
    pFirst.reset();
    second.SetEnabled(true);
    EXPECT_TRUE(second.TimerActive()) << "closing the first window released the counters";
    EXPECT_EQ(QStringLiteral("Disable"), second.EnableButton()->text());
}
} // namespace
} // namespace nvtest
