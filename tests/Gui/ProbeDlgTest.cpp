// The probe's two windows on the simulated probe assembly: the packet capture set-up (its texts,
// the fields it takes, Enable and Disable with the buttons and fields that follow) and the port
// set-up of the probe switch (status, speed and lane checks written at once and read again), each
// laid out without overlaps. With NV_SCREENSHOT_DIR set each window is saved as a picture.
#include "ClientSimFixture.h"
#include "Discovery.h"
#include "GuiTestEnvironment.h"
#include "MapOptions.h"
#include "MapScene.h"
#include "Probe.h"
#include "ProbePortConfigDlg.h"
#include "ProbeSetupDlg.h"
#include "TestSupport.h"
#include "nvsim/Faults.h"

#include <QApplication>
#include <QCheckBox>
#include <QComboBox>
#include <QDir>
#include <QGroupBox>
#include <QImage>
#include <QLabel>
#include <QLineEdit>
#include <QPainter>
#include <QPushButton>
#include <QRadioButton>

#include <gtest/gtest.h>

namespace nvtest
{
namespace
{
class CProbeDlgTest : public CClientSimTest
{
protected:
    void SetUp() override
    {
        CClientSimTest::SetUp();
        std::string strError;
        m_pFabric = nvsim::LoadTopologyFile(SourceDir() + "/Simulator/topologies/probe.topo", &strError);
        ASSERT_TRUE(m_pFabric) << strError;
        m_pTransport = std::make_unique<CSimTransport>(*m_pFabric);
        m_pTransport->Install();
        SDiscoveryRequest request;
        request.bUploadRoutingTables = true;
        request.bTryAllClockRates = false;
        ASSERT_EQ(0, StandardDiscovery(request, m_map, &m_host, {}));
        for (const auto& pPE : m_map.ActivePEs)
        {
            if ((pPE->uType & kPETypeSwitch) && pPE->iNodeNumber != probe::kProbeSwitchNode)
                m_iSystem = pPE->iNodeNumber;
        }
        m_ui.messages.clear();
    }
    void Save(QWidget& window, const QString& strName)
    {
        if (const QByteArray dir = qgetenv("NV_SCREENSHOT_DIR"); !dir.isEmpty())
            window.grab().save(QDir(QString::fromLocal8Bit(dir)).filePath(strName));
    }
    // The given widgets lie inside the window, are tall enough to read and don't overlap.
    static void ExpectTidy(QWidget& window, const std::vector<QWidget*>& widgets)
    {
        window.show();
        QApplication::processEvents();
        std::vector<QRect> boxes;
        for (QWidget* pWidget : widgets)
            boxes.emplace_back(pWidget->mapTo(&window, QPoint(0, 0)), pWidget->size());
        for (size_t i = 0; i < boxes.size(); ++i)
        {
            EXPECT_TRUE(window.rect().contains(boxes[i])) << i;
            EXPECT_GE(boxes[i].height(), 14) << i;
            EXPECT_GE(boxes[i].width(), widgets[i]->sizeHint().width()) << "clipped: " << i;
            for (size_t j = i + 1; j < boxes.size(); ++j)
                EXPECT_FALSE(boxes[i].intersects(boxes[j])) << i << " and " << j;
        }
    }

    CNetworkDocument m_map;
    int m_iSystem = -1;
};
} // namespace

TEST_F(CProbeDlgTest, CaptureSetUpEnablesAndDisablesTheProbe)
{
    CProbe probe(m_map, [] { return true; });
    CProbeSetupDlg dlg(probe);
    EXPECT_EQ(QStringLiteral("Probe Packet Capture Configuration"), dlg.windowTitle());
    EXPECT_TRUE(dlg.Mode(1)->isChecked());
    EXPECT_EQ(QStringLiteral("Block Response Packets"), dlg.BlockResponses()->text());
    EXPECT_EQ(QStringLiteral("The probe is disabled."), dlg.StateLabel()->text());
    EXPECT_TRUE(dlg.EnableButton()->isEnabled());
    EXPECT_FALSE(dlg.DisableButton()->isEnabled());

    // A field that is no number shows its own text and nothing is enabled.
    dlg.Field(CProbeSetupDlg::eSourceID)->setText(QStringLiteral("5x"));
    EXPECT_EQ(kProbeInvalidInput, dlg.EnableProbe());
    EXPECT_EQ(QStringList{QStringLiteral("Invalid Data Source DestID.")}, m_ui.messages);

    dlg.Field(CProbeSetupDlg::eSourceID)->setText(QStringLiteral("5h"));
    dlg.Field(CProbeSetupDlg::eTargetID)->setText(QStringLiteral("0Ah"));
    dlg.Field(CProbeSetupDlg::eSystemNode)->setText(QString::number(m_iSystem + 1));
    dlg.Field(CProbeSetupDlg::eIngressPort)->setText(QStringLiteral("1"));
    dlg.Field(CProbeSetupDlg::ePortToProbe)->setText(QStringLiteral("7"));
    dlg.Field(CProbeSetupDlg::eEgressPort)->setText(QStringLiteral("2"));
    dlg.BlockResponses()->setChecked(true);
    m_ui.messages.clear();
    dlg.EnableButton()->click();
    EXPECT_TRUE(m_ui.messages.isEmpty()) << m_ui.messages.join('|').toStdString();
    ASSERT_TRUE(probe.IsEnabled());
    EXPECT_EQ(0x0Au, probe.Config().ulDataTargetDestID);
    EXPECT_EQ(7u, probe.Config().ulPortToProbe);
    EXPECT_TRUE(probe.Config().bBlockResponses);
    EXPECT_EQ(QStringLiteral("The probe is enabled."), dlg.StateLabel()->text());
    EXPECT_FALSE(dlg.EnableButton()->isEnabled());
    EXPECT_TRUE(dlg.DisableButton()->isEnabled());
    EXPECT_FALSE(dlg.Field(CProbeSetupDlg::eTargetID)->isEnabled()) << "locked while enabled";
    EXPECT_FALSE(dlg.Mode(2)->isEnabled());
    EXPECT_TRUE(m_pFabric->Device("sys").MulticastPorts(0x0A, false, 1).has_value());

    ExpectTidy(dlg, {dlg.Mode(1), dlg.Mode(2), dlg.Mode(3), dlg.Field(CProbeSetupDlg::eSourceID),
                     dlg.Field(CProbeSetupDlg::eEgressPort), dlg.BlockResponses(), dlg.StateLabel(),
                     dlg.EnableButton(), dlg.DisableButton()});
    Save(dlg, QStringLiteral("probe-setup.png"));

    dlg.DisableButton()->click();
    EXPECT_FALSE(probe.IsEnabled());
    EXPECT_FALSE(m_pFabric->Device("sys").MulticastPorts(0x0A, false, 1).has_value());
    EXPECT_TRUE(dlg.EnableButton()->isEnabled());
    EXPECT_TRUE(dlg.Field(CProbeSetupDlg::eTargetID)->isEnabled());

    // Mode 2 has no system switch: its fields are off.
    dlg.Mode(2)->setChecked(true);
    EXPECT_FALSE(dlg.Field(CProbeSetupDlg::eSystemNode)->isEnabled());
    EXPECT_FALSE(dlg.Field(CProbeSetupDlg::ePortToProbe)->isEnabled());
    EXPECT_TRUE(dlg.Field(CProbeSetupDlg::eTargetID)->isEnabled());
}

TEST_F(CProbeDlgTest, PortSetUpWritesAtOnceAndReadsTheStatusAgain)
{
    CProbePorts ports(m_map);
    ASSERT_TRUE(ports.Reach());
    CProbePortConfigDlg dlg(ports);
    EXPECT_EQ(QStringLiteral("Probe Port Configuration"), dlg.windowTitle());
    for (int i = 0; i < 3; ++i)
    {
        EXPECT_EQ(QStringLiteral("Status: Trained"), dlg.Status(i)->text()) << i;
        EXPECT_EQ(QStringLiteral("3.125 Gbaud"), dlg.Speed(i)->currentText()) << i;
        EXPECT_EQ(QStringLiteral("Invert RX Data"), dlg.Check(i, CProbePorts::eInvertRx)->text());
        EXPECT_EQ(QStringLiteral("Reverse TX Lanes"), dlg.Check(i, CProbePorts::eReverseTx)->text());
        EXPECT_FALSE(dlg.Check(i, CProbePorts::eInvertTx)->isChecked());
    }
    auto& probeSwitch = m_pFabric->Device("probe");

    // Port 0's lanes inverted: every lane's register holds the bit and the straight link is down.
    dlg.Check(0, CProbePorts::eInvertRx)->setChecked(true);
    EXPECT_EQ(QStringLiteral("Status: Not Trained"), dlg.Status(0)->text());
    for (uint32_t l = 0; l < 4; ++l)
        EXPECT_TRUE(probeSwitch.Reg(CProbePorts::LaneRegister(0, l)) & CProbePorts::kInvertRx) << l;
    EXPECT_EQ(QStringLiteral("Status: Trained"), dlg.Status(1)->text()) << "port 4 has lanes of its own";
    dlg.Check(0, CProbePorts::eInvertRx)->setChecked(false);
    EXPECT_EQ(QStringLiteral("Status: Trained"), dlg.Status(0)->text());

    // Port 6's lanes reversed, in its pair's SerDes word.
    dlg.Check(2, CProbePorts::eReverseTx)->setChecked(true);
    EXPECT_TRUE(probeSwitch.Reg(CProbePorts::DloopRegister(6)) & CProbePorts::kSwapTx);
    EXPECT_EQ(QStringLiteral("Status: Not Trained"), dlg.Status(2)->text());
    dlg.Check(2, CProbePorts::eReverseTx)->setChecked(false);
    EXPECT_EQ(QStringLiteral("Status: Trained"), dlg.Status(2)->text());

    // Port 4 at 1.25 Gbaud while the system switch's end stays at 3.125: the link goes down.
    dlg.Speed(1)->setCurrentIndex(0);
    emit dlg.Speed(1)->activated(0);
    EXPECT_EQ(QStringLiteral("1.25 Gbaud"), dlg.Speed(1)->currentText());
    EXPECT_EQ(QStringLiteral("Status: Not Trained"), dlg.Status(1)->text());
    dlg.Speed(1)->setCurrentIndex(2);
    emit dlg.Speed(1)->activated(2);
    EXPECT_EQ(QStringLiteral("Status: Trained"), dlg.Status(1)->text());
    EXPECT_TRUE(m_ui.messages.isEmpty()) << m_ui.messages.join('|').toStdString();

    ExpectTidy(dlg,
               {dlg.Status(0), dlg.Speed(0), dlg.Check(0, CProbePorts::eInvertRx),
                dlg.Check(0, CProbePorts::eReverseTx), dlg.Status(1), dlg.Speed(1),
                dlg.Check(1, CProbePorts::eReverseTx), dlg.Status(2), dlg.Check(2, CProbePorts::eReverseTx)});
    Save(dlg, QStringLiteral("probe-ports.png"));
}

// A port whose status register doesn't answer shows "Status: Unknown"; a write that fails says so.
TEST_F(CProbeDlgTest, PortSetUpShowsWhatItCouldNotRead)
{
    nvsim::CFaults faults;
    std::string strError;
    // Port 4's Error and Status register (LP-Serial block at 0x100, port n at 0x158 + 0x20 n).
    ASSERT_TRUE(nvsim::ApplyFaultSpec("mute:device=probe,offset=0x1D8", *m_pFabric, faults, &strError))
        << strError;
    ASSERT_TRUE(nvsim::ApplyFaultSpec("mute:device=probe,offset=0x136C8", *m_pFabric, faults, &strError))
        << strError;
    CProbePorts ports(m_map);
    ASSERT_TRUE(ports.Reach());
    CProbePortConfigDlg dlg(ports);
    EXPECT_EQ(QStringLiteral("Status: Trained"), dlg.Status(0)->text());
    EXPECT_EQ(QStringLiteral("Status: Unknown"), dlg.Status(1)->text());
    EXPECT_FALSE(dlg.Check(2, CProbePorts::eReverseRx)->isEnabled()) << "port 6's SerDes word didn't answer";
    SProbePortState state;
    EXPECT_NE(0, ports.SetControl(6, CProbePorts::eReverseRx, true, &state));
    EXPECT_FALSE(state.bRead);
}

// The map draws the probe's labels under the nodes' own lines while the probe is enabled.
TEST_F(CProbeDlgTest, TheMapShowsTheProbesPoints)
{
    CProbe probe(m_map, [] { return true; });
    SProbeConfig& c = probe.Config();
    c.ulMode = 3;
    c.ulDataSourceDestID = 0x05;
    c.ulDataTargetDestID = 0x0A;
    c.ulSystemSwitchNodeID = static_cast<uint32_t>(m_iSystem + 1);
    c.ulSourceIngressPort = 1;
    c.ulPortToProbe = 6;
    c.ulTargetEgressPort = 2;
    ASSERT_EQ(0, probe.Enable()) << m_ui.messages.join('|').toStdString();

    CMapScene scene;
    SMapOptions options;
    options[eOptNodeIDs] = true;
    scene.Build(m_map, options, true, false);
    auto lines = [&](int iNode)
    {
        const CDrawPE* pNode = m_map.pCurrentNodes->FindPENode(iNode);
        const CNodeItem* pItem = pNode ? scene.NodeItem(pNode->uUniqueID) : nullptr;
        return pItem ? pItem->Lines() : QStringList{QStringLiteral("(not drawn)")};
    };
    EXPECT_EQ(QStringLiteral("Probe 1"), lines(probe::kProbeSwitchNode).last());
    EXPECT_TRUE(lines(probe::kProbeSwitchNode).contains(QStringLiteral("Node 2")));
    EXPECT_EQ(QString::asprintf("Probe %d.6", m_iSystem + 1), lines(m_iSystem).last());
    EXPECT_FALSE(lines(0).join('|').contains(QStringLiteral("Probe")));
    if (const QByteArray dir = qgetenv("NV_SCREENSHOT_DIR"); !dir.isEmpty())
    {
        QImage image(scene.itemsBoundingRect().size().toSize() + QSize(40, 40), QImage::Format_ARGB32);
        image.fill(Qt::white);
        QPainter painter(&image);
        scene.render(&painter, QRectF(20, 20, image.width() - 40, image.height() - 40),
                     scene.itemsBoundingRect());
        painter.end();
        image.save(QDir(QString::fromLocal8Bit(dir)).filePath(QStringLiteral("probe-map.png")));
    }

    ASSERT_EQ(0, probe.Disable());
    scene.Build(m_map, options, true, false);
    EXPECT_FALSE(lines(probe::kProbeSwitchNode).join('|').contains(QStringLiteral("Probe")));
    EXPECT_FALSE(lines(m_iSystem).join('|').contains(QStringLiteral("Probe")));
}
} // namespace nvtest
