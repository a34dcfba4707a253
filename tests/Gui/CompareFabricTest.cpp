// "Compare with Fabric" in the window: the map discovered from the demo fabric, edited so that it
// no longer matches, compared with the fabric; the differences are listed in the working window and
// coloured on the map, with tool tips saying what changed, until "Clear Comparison".
#include "GuiTestEnvironment.h"

#include "ChildView.h"
#include "EnumerationSettings.h"
#include "LinkSettings.h"
#include "MainFrame.h"
#include "MapScene.h"
#include "RecordingUserInterface.h"
#include "SimProcess.h"

#include <QDir>

#include <gtest/gtest.h>

namespace
{
const QColor kMissing(200, 0, 200);
const QColor kChanged(255, 140, 0);

class CompareFabricTest : public ::testing::Test
{
protected:
    void SetUp() override
    {
        ASSERT_TRUE(m_sim.Ready()) << m_sim.ErrorOutput();
        nvguitest::PointLinkAtSimulator(m_sim.TcpPort());
        m_pFrame = std::make_unique<CMainFrame>();
        m_pUI = std::make_unique<nvtest::CRecordingUserInterface>();
        nvguitest::AnswerConnectWithLoopbackServer(*m_pFrame);
        m_pFrame->SetDiscoverySettingsChooser(
            [](CEnumerationSettings& settings)
            {
                settings.SetEnumerate(false);
                settings.SetTryAllClockRates(false);
                settings.SetUploadRoutingTables(true);
                return settings.Validate() == CEnumerationSettings::eFieldNone;
            });
    }
    void TearDown() override
    {
        if (m_pFrame->Core().IsConnected())
        {
            m_pFrame->Core().Disconnect();
        }
        m_pUI.reset();
        m_pFrame.reset();
        ReloadLinkSettings();
    }

    CNetworkDocument& Document() { return m_pFrame->Core().Document(); }
    CNodeItem* NodeOf(int iNode)
    {
        const CDrawPE* pNode = Document().FindView(kExpandedViewID)->pNodes.FindPENode(iNode);
        return pNode ? m_pFrame->MapWindow()->MapScene()->NodeItem(pNode->uUniqueID) : nullptr;
    }
    CEdgeItem* EdgeOf(const CConnectionPrimitive& connection)
    {
        for (CEdgeItem* pEdge : m_pFrame->MapWindow()->MapScene()->Edges())
        {
            if (pEdge->Object()->iAssociatedPrimitive == connection.iNodeNumber)
            {
                return pEdge;
            }
        }
        return nullptr;
    }
    CConnectionPrimitive* ConnectionAt(int iNode, int iPort)
    {
        for (const auto& pConnection : Document().ActiveConnections)
        {
            if (pConnection->iPE1 == iNode && pConnection->iPE1Port == iPort)
            {
                return pConnection.get();
            }
        }
        return nullptr;
    }

    nvtest::CSimProcess m_sim{"demo.topo"};
    std::unique_ptr<CMainFrame> m_pFrame;
    std::unique_ptr<nvtest::CRecordingUserInterface> m_pUI;
};

TEST_F(CompareFabricTest, TheDifferencesAreListedAndColouredUntilCleared)
{
    m_pFrame->RunCommand(eCmdConnect);
    ASSERT_TRUE(m_pFrame->Core().IsConnected());
    m_pFrame->RunCommand(eCmdStandardDiscovery);
    ASSERT_TRUE(m_pUI->messages.isEmpty()) << m_pUI->messages.join(QLatin1Char('|')).toStdString();

    // Compared at once, the map matches, and nothing is coloured.
    m_pUI->workLines.clear();
    m_pFrame->RunCommand(eCmdCompareWithFabric);
    EXPECT_TRUE(m_pUI->messages.isEmpty()) << m_pUI->messages.join(QLatin1Char('|')).toStdString();
    EXPECT_EQ("Compare with Fabric", m_pUI->workTitles.last().toStdString());
    EXPECT_TRUE(m_pUI->workLines.contains(QStringLiteral("The fabric matches the map.\n")));
    EXPECT_TRUE(m_pUI->workLines.filter(QStringLiteral("Node ")).isEmpty())
        << m_pUI->workLines.join('|').toStdString();
    const CPEPrimitive* pSw1 = Document().ActivePEs.GetByNodeNumber(1);
    ASSERT_TRUE(pSw1 && (pSw1->uType & kPETypeSwitch));
    ASSERT_TRUE(NodeOf(1));
    EXPECT_FALSE(NodeOf(1)->Halo().isValid());

    // The map now says: ep2 (ID Ah) is another device, sw1's port 3 has an endpoint on it, and the
    // first link between the switches trained one lane wide.
    CPEPrimitive* pEp2 = Document().ActivePEs.GetPEByDestID(0x0A);
    ASSERT_TRUE(pEp2);
    pEp2->DeviceID = 0x1003;
    CConnectionPrimitive* pPort3 = ConnectionAt(1, 3);
    ASSERT_TRUE(pPort3);
    CPEPrimitive* pGhost = Document().ActivePEs.GetByNodeNumber(pPort3->iPE2);
    ASSERT_TRUE(pGhost->uType & kPETypeNull);
    pGhost->uType = kPETypeMemory;
    pGhost->DeviceID = 0x0002;
    pGhost->ManufID = 0xFFF0;
    pGhost->ShortDestID = 0x30;
    pGhost->bUsesDestID = true;
    pPort3->SetStatus(QStringLiteral("Up"));
    Document().ActivePEs.GetByNodeNumber(1)->Ports[4].CurrentWidth = 1;
    CConnectionPrimitive* pPort4 = ConnectionAt(1, 4);
    ASSERT_TRUE(pPort4);

    m_pUI->workLines.clear();
    m_pFrame->RunCommand(eCmdCompareWithFabric);
    EXPECT_EQ(QStringList{QStringLiteral(
                  "Warning: 4 differences from the map, marked on it: magenta is gone, green "
                  "is new, orange has changed.")},
              m_pUI->messages);
    const QString strGhost = QStringLiteral("Node %1").arg(pGhost->iNodeNumber + 1);
    const QString strEp2 = QStringLiteral("Node %1").arg(pEp2->iNodeNumber + 1);
    const QStringList expected = {
        QStringLiteral("Node 2 port 3 down (was up to %1 port 0)\n").arg(strGhost),
        QStringLiteral("Node 2 port 4 width 1x, now 4x\n"),
        strEp2 + QStringLiteral(" changed: device 1003h vendor FFF0h, now device 0002h vendor FFF0h\n"),
        strGhost + QStringLiteral(" missing: Memory device 0002h vendor FFF0h destID 30h\n"),
    };
    EXPECT_EQ(expected.join('|').toStdString(),
              m_pUI->workLines.filter(QStringLiteral("Node ")).join('|').toStdString());

    // Magenta for what is gone, orange for what changed; the tool tips say what.
    CNodeItem* pGhostItem = NodeOf(pGhost->iNodeNumber);
    ASSERT_TRUE(pGhostItem);
    EXPECT_EQ(kMissing.rgb(), pGhostItem->Halo().rgb());
    EXPECT_EQ(expected[3].trimmed(), pGhostItem->toolTip());
    ASSERT_TRUE(NodeOf(pEp2->iNodeNumber));
    EXPECT_EQ(kChanged.rgb(), NodeOf(pEp2->iNodeNumber)->Halo().rgb());
    EXPECT_FALSE(NodeOf(1)->Halo().isValid()) << "sw1 itself is as it was";
    ASSERT_TRUE(EdgeOf(*pPort3) && EdgeOf(*pPort4));
    EXPECT_EQ(kMissing.rgb(), EdgeOf(*pPort3)->Colour().rgb());
    EXPECT_EQ(kChanged.rgb(), EdgeOf(*pPort4)->Colour().rgb());
    EXPECT_EQ(expected[1].trimmed(), EdgeOf(*pPort4)->toolTip());
    const QColor plain = EdgeOf(*ConnectionAt(1, 1))->Colour();
    EXPECT_NE(kChanged.rgb(), plain.rgb());
    EXPECT_NE(kMissing.rgb(), plain.rgb());
    if (const QByteArray dir = qgetenv("NV_SCREENSHOT_DIR"); !dir.isEmpty())
    {
        m_pFrame->resize(1400, 900);
        m_pFrame->MapWindow()->ZoomToFit();
        m_pFrame->grab().save(QDir(QString::fromLocal8Bit(dir)).filePath(QStringLiteral("compare.png")));
    }

    m_pFrame->RunCommand(eCmdClearComparison);
    ASSERT_TRUE(NodeOf(pGhost->iNodeNumber));
    EXPECT_FALSE(NodeOf(pGhost->iNodeNumber)->Halo().isValid());
    EXPECT_EQ(plain.rgb(), EdgeOf(*pPort4)->Colour().rgb());
    EXPECT_TRUE(EdgeOf(*pPort4)->toolTip().isEmpty());
}
} // namespace
