// What a person sees of a map after a discovery, a layout and a reload: every PE keeps the icon of
// its kind, and no label or icon is drawn over another, on the demo fabric and on a large one.
#include "GuiTestEnvironment.h"

#include "AutoLayout.h"
#include "ChildView.h"
#include "EnumerationSettings.h"
#include "LinkSettings.h"
#include "MainFrame.h"
#include "MapScene.h"
#include "Preferences.h"
#include "RecordingUserInterface.h"
#include "SimProcess.h"
#include "TestSupport.h"

#include <QFileInfo>
#include <QScrollBar>

#include <gtest/gtest.h>

#include <map>

namespace
{
using nvguitest::AddLink;
using nvguitest::AddPE;

// Every rectangle drawn for an icon, a node's label block or a link's end label, with a name to
// tell them apart in a failure.
std::vector<std::pair<QRectF, QString>> DrawnRects(const CMapScene& scene)
{
    std::vector<std::pair<QRectF, QString>> rects;
    for (QGraphicsItem* pItem : scene.items())
    {
        if (pItem->type() != eItemNode)
        {
            continue;
        }
        const auto* pNode = static_cast<const CNodeItem*>(pItem);
        const QString strName = QStringLiteral("node %1").arg(pNode->Object()->iAssociatedPrimitive + 1);
        rects.emplace_back(pNode->IconRect(), strName + QStringLiteral(" icon"));
        if (!pNode->LabelRect().isEmpty())
        {
            rects.emplace_back(pNode->LabelRect(),
                               strName + QStringLiteral(" label ") + pNode->Lines().join('/'));
        }
    }
    for (const CEdgeItem* pEdge : scene.Edges())
    {
        for (int iEnd : {0, 1})
        {
            if (!pEdge->LabelRect(iEnd).isEmpty())
            {
                rects.emplace_back(pEdge->LabelRect(iEnd),
                                   QStringLiteral("link %1 end %2 '%3'")
                                       .arg(pEdge->Object()->iAssociatedPrimitive + 1)
                                       .arg(iEnd)
                                       .arg(iEnd == 0 ? pEdge->StartLabel() : pEdge->EndLabel()));
            }
        }
    }
    return rects;
}

// The pairs of rectangles that meet, as text; empty when none do.
QStringList Collisions(const CMapScene& scene, int* pnRects)
{
    const auto rects = DrawnRects(scene);
    *pnRects = static_cast<int>(rects.size());
    QStringList found;
    for (size_t i = 0; i < rects.size(); ++i)
    {
        for (size_t j = i + 1; j < rects.size(); ++j)
        {
            if (rects[i].first.intersects(rects[j].first))
            {
                found << rects[i].second + QStringLiteral(" meets ") + rects[j].second;
            }
        }
    }
    return found;
}

SMapOptions AllLabels()
{
    SMapOptions options;
    for (bool& bFlag : options.abFlags)
    {
        bFlag = true;
    }
    return options;
}

class MapLayoutTest : public ::testing::Test
{
protected:
    void SetUp() override
    {
        ASSERT_TRUE(m_sim.Ready()) << m_sim.ErrorOutput();
        ReloadLinkSettings();
        LinkSettings().wServerPort = m_sim.TcpPort();
        LinkSettings().ulWaitMilliseconds = 3000;
        m_pFrame = std::make_unique<CMainFrame>();
        m_pUI = std::make_unique<nvtest::CRecordingUserInterface>();
        nvguitest::AnswerConnectWithLoopbackServer(*m_pFrame);
        m_pFrame->SetDiscoverySettingsChooser(
            [](CEnumerationSettings& settings)
            {
                settings.SetEnumerate(true);
                settings.SetTryAllClockRates(false);
                return settings.Validate() == CEnumerationSettings::eFieldNone;
            });
        m_pFrame->resize(1200, 800);
        m_pFrame->show();
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
        SetPreference(QStringLiteral("Preferences"), QStringLiteral("LayoutFastThreshold"), 400u);
    }

    void Discover()
    {
        m_pFrame->RunCommand(eCmdConnect);
        ASSERT_TRUE(m_pFrame->Core().IsConnected()) << m_pUI->messages.join('|').toStdString();
        // Logging no, skip unused ports yes, overlaps removed yes.
        m_pUI->answers = {eAnswerNo, eAnswerYes, eAnswerYes};
        m_pFrame->RunCommand(eCmdStandardDiscovery);
        ASSERT_TRUE(m_pUI->messages.isEmpty()) << m_pUI->messages.join('|').toStdString();
    }

    // The icon file each PE is drawn with, by node number.
    std::map<int, std::string> Icons() const
    {
        std::map<int, std::string> icons;
        for (QGraphicsItem* pItem : m_pFrame->MapWindow()->MapScene()->items())
        {
            if (pItem->type() == eItemNode)
            {
                const auto* pNode = static_cast<const CNodeItem*>(pItem);
                icons[pNode->Object()->iAssociatedPrimitive] =
                    QFileInfo(pNode->IconFile()).fileName().toStdString();
            }
        }
        return icons;
    }

    nvtest::CSimProcess m_sim{"demo.topo"};
    std::unique_ptr<CMainFrame> m_pFrame;
    std::unique_ptr<nvtest::CRecordingUserInterface> m_pUI;
};

TEST_F(MapLayoutTest, ASavedMapReopensWithTheIconsOfItsPEs)
{
    Discover();
    const std::map<int, std::string> discovered = Icons();
    const CNetworkDocument& document = m_pFrame->Core().Document();
    ASSERT_EQ(document.ActivePEs.GetCount(), static_cast<int>(discovered.size()));
    // The two switches are in the library; the demo's endpoints are not and carry the badge.
    int nSwitches = 0;
    for (const auto& pPE : document.ActivePEs)
    {
        if (pPE->uType & kPETypeSwitch)
        {
            ++nSwitches;
            EXPECT_EQ("sw-reg-kwn-lrg-nosel.svg", discovered.at(pPE->iNodeNumber));
        }
        else if (pPE->uType == kPETypeNull)
        {
            EXPECT_EQ("null-reg-kwn-lrg-nosel.svg", discovered.at(pPE->iNodeNumber));
        }
    }
    EXPECT_EQ(2, nSwitches);

    const QString strPath = QString::fromStdString(nvtest::ProcessTempDir()) + "/icons.nvm";
    ASSERT_TRUE(m_pFrame->Core().SaveMapAs(strPath)) << m_pUI->messages.join('|').toStdString();
    m_pFrame->Core().Disconnect();
    ASSERT_TRUE(m_pFrame->Core().OpenMap(strPath)) << m_pUI->messages.join('|').toStdString();
    const std::map<int, std::string> reopened = Icons();
    EXPECT_EQ(discovered, reopened);
    // A badge says what it means where it is shown.
    bool bBadgeExplained = false;
    for (QGraphicsItem* pItem : m_pFrame->MapWindow()->MapScene()->items())
    {
        if (pItem->type() == eItemNode && static_cast<CNodeItem*>(pItem)->IconFile().contains("-unkwn-"))
        {
            EXPECT_TRUE(pItem->toolTip().contains("device library has no description"))
                << pItem->toolTip().toStdString();
            bBadgeExplained = true;
        }
    }
    EXPECT_TRUE(bBadgeExplained);
}

TEST_F(MapLayoutTest, TheDemoFabricWithEveryLabelHasNothingDrawnOverAnything)
{
    m_pFrame->MapWindow()->SetHideNulls(false);
    m_pFrame->MapWindow()->SetOptions(AllLabels());
    Discover();
    const CMapScene& scene = *m_pFrame->MapWindow()->MapScene();
    ASSERT_GT(scene.NodeCount(), 30) << "the demo's PEs and the Null PEs of free ports";
    int nRects = 0;
    const QStringList collisions = Collisions(scene, &nRects);
    EXPECT_TRUE(collisions.isEmpty()) << collisions.mid(0, 10).join('\n').toStdString();
    EXPECT_GT(nRects, 2 * scene.NodeCount() + scene.EdgeCount()) << "icons, node labels and port labels";
    // The whole map is in the window after the discovery.
    CChildView& view = *m_pFrame->MapWindow();
    const QRectF shown = view.mapToScene(view.viewport()->rect()).boundingRect();
    EXPECT_TRUE(shown.adjusted(-1, -1, 1, 1).contains(scene.DrawnRect()))
        << "the window shows " << shown.width() << "x" << shown.height() << " of the map";
}

// A fabric of 300 PEs: 20 CPS-1848s in a binary tree, each with 13 endpoints and a Null PE on its
// last port; the tree's links run four lanes at 3.125 Gbaud, so their labels are long.
void FillFabric(CNetworkDocument& document)
{
    constexpr int kSwitches = 20;
    int iNode = kSwitches;
    int iLink = 0;
    for (int s = 0; s < kSwitches; ++s)
    {
        AddPE(document, s, 0x0038, 0x0374, kPETypeSwitch, 100, 100, 18);
    }
    for (int s = 1; s < kSwitches; ++s)
    {
        const int iParent = (s - 1) / 2;
        const int iParentPort = 14 + (s % 2);
        AddLink(document, iLink++, iParent, iParentPort, s, 16);
        for (auto [iPE, iPort] : {std::pair{iParent, iParentPort}, std::pair{s, 16}})
        {
            document.ActivePEs.GetByNodeNumber(iPE)->Ports[static_cast<size_t>(iPort)].CurrentWidth = 4;
            document.ActivePEs.GetByNodeNumber(iPE)->Ports[static_cast<size_t>(iPort)].uSpeedMHz = 3125;
        }
    }
    for (int s = 0; s < kSwitches; ++s)
    {
        for (int p = 0; p < 13; ++p)
        {
            AddPE(document, iNode, 0xFFF0, 0x0002, kPETypeProcessor | kPETypeMemory, 100, 100);
            AddLink(document, iLink++, s, p, iNode++, 0);
        }
        AddPE(document, iNode, 0xFFFF, 0xFFFF, kPETypeNull, 100, 100);
        AddLink(document, iLink++, s, 17, iNode++, 0);
    }
}

TEST_F(MapLayoutTest, ALargeFabricLaidOutByEitherMethodHasNothingDrawnOverAnything)
{
    CNetworkDocument& document = m_pFrame->Core().Document();
    FillFabric(document);
    ASSERT_EQ(300, document.ActivePEs.GetCount());
    CChildView& view = *m_pFrame->MapWindow();
    view.SetHideNulls(false);
    view.SetOptions(AllLabels());
    // Below the threshold neato itself lays the map out; above it the multiscale method does.
    for (uint32_t uThreshold : {400u, 100u})
    {
        SetPreference(QStringLiteral("Preferences"), QStringLiteral("LayoutFastThreshold"), uThreshold);
        for (const auto& pNode : *document.pCurrentNodes)
        {
            static_cast<CDrawNode&>(*pNode).Move(100, 100);
        }
        m_pUI->answers = {eAnswerYes};
        ASSERT_TRUE(view.LayoutAndWait(document)) << m_pUI->messages.join('|').toStdString();
        view.Rebuild();
        int nRects = 0;
        const QStringList collisions = Collisions(*view.MapScene(), &nRects);
        EXPECT_TRUE(collisions.isEmpty())
            << "threshold " << uThreshold << ", " << collisions.size() << " collisions:\n"
            << collisions.mid(0, 10).join('\n').toStdString();
        EXPECT_GT(nRects, 300 + 280 + 2 * 299);
    }
}
} // namespace
