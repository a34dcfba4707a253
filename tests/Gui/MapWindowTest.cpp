// The map window: what it draws of a map, the pop-ups of each kind of item, grouping, printing,
// the clipboard, and the automatic layout on its worker thread.
#include "GuiTestEnvironment.h"

#include "AutoLayout.h"
#include "ChildView.h"
#include "InstallPaths.h"
#include "MainFrame.h"
#include "MapEditing.h"
#include "MapScene.h"
#include "MenuBuilder.h"
#include "RecordingUserInterface.h"
#include "TestSupport.h"

#include <QApplication>
#include <QClipboard>
#include <QElapsedTimer>
#include <QFile>
#include <QGuiApplication>
#include <QMenu>
#include <QTimer>
#include <QtTest/QTest>

#include <gtest/gtest.h>

namespace
{
using nvguitest::AddLink;
using nvguitest::AddPE;

constexpr uint16_t kIDT = 0x0038;
constexpr uint16_t kNull = 0xFFFF;

// Texts of a menu's actions, sub-menus included, and of the enabled ones.
void Collect(const QMenu* pMenu, QStringList* pAll, QStringList* pEnabled)
{
    for (QAction* pAction : pMenu->actions())
    {
        if (pAction->menu())
        {
            pAll->push_back(pAction->text());
            Collect(pAction->menu(), pAll, pEnabled);
        }
        else if (!pAction->isSeparator())
        {
            pAll->push_back(pAction->text());
            if (pAction->isEnabled())
            {
                pEnabled->push_back(pAction->text());
            }
        }
    }
}

class MapWindowTest : public ::testing::Test
{
protected:
    void SetUp() override
    {
        m_pFrame = std::make_unique<CMainFrame>();
        m_pUI = std::make_unique<nvtest::CRecordingUserInterface>();
        m_pFrame->resize(1000, 700);
        CNetworkDocument& document = Document();
        // Node 0 a CPS-1848 switch, 1 an endpoint, 2 a Tsi721 bridge, 3 a Null PE behind the switch.
        AddPE(document, 0, kIDT, 0x0374, kPETypeSwitch, 300, 300, 18);
        AddPE(document, 1, 0xFFF0, 0x0002, kPETypeProcessor, 100, 300);
        AddPE(document, 2, kIDT, 0x80AB, kPETypeBridge | kPETypeProcessor, 500, 300);
        AddPE(document, 3, kNull, kNull, kPETypeNull, 300, 500);
        AddLink(document, 0, 1, 0, 0, 3);
        AddLink(document, 1, 0, 4, 2, 0, QStringLiteral("Down"));
        AddLink(document, 2, 0, 5, 2, 1);
        AddLink(document, 3, 0, 9, 3, 0);
        document.ActivePEs.GetByNodeNumber(0)->Ports[3].CurrentWidth = 4;
        document.ActivePEs.GetByNodeNumber(0)->Ports[3].uSpeedMHz = 3125;
        RouteEdges(*document.pCurrentNodes, *document.pCurrentEdges);
        m_pFrame->MapWindow()->Rebuild();
        m_pFrame->show();
    }

    CNetworkDocument& Document() { return m_pFrame->Core().Document(); }
    CChildView& View() { return *m_pFrame->MapWindow(); }
    QPoint WindowPos(int iX, int iY) { return View().mapFromScene(QPointF(iX, iY)); }

    std::unique_ptr<QMenu> Popup(int iX, int iY, SCommandContext* pContext, QStringList* pAll,
                                 QStringList* pEnabled)
    {
        std::unique_ptr<QMenu> pMenu = View().PopupAt(WindowPos(iX, iY), pContext);
        if (pMenu)
        {
            Collect(pMenu.get(), pAll, pEnabled);
        }
        return pMenu;
    }

    std::unique_ptr<CMainFrame> m_pFrame;
    std::unique_ptr<nvtest::CRecordingUserInterface> m_pUI;
};

TEST_F(MapWindowTest, PopupsHoldTheItemsOfEachKindOfPE)
{
    SCommandContext context;
    QStringList all;
    QStringList enabled;
    const QStringList kBridgeItems = {"PCIe to RapidIO Bridge...", "RapidIO to PCIe Bridge...",
                                      "DMA Registers...",          "Msg Tx Registers...",
                                      "Msg Rx Registers...",       "Port Status..."};

    ASSERT_TRUE(Popup(300, 300, &context, &all, &enabled));
    EXPECT_EQ(0, context.iNode);
    EXPECT_EQ("Display PE Info...", all.front().toStdString());
    for (const char* pszItem :
         {"Performance Monitor...", "Port/Quad Map...", "Port/Lane Mapping and Control...",
          "Packet Generator...", "Packet Trace/Filter...", "SerDes Configuration...",
          "Virtual Destination IDs", "Routing Table", "Multicast", "EEPROM", "Registers", "Server Info..."})
    {
        EXPECT_TRUE(all.contains(QLatin1String(pszItem))) << pszItem;
    }
    for (const QString& strItem : kBridgeItems)
    {
        EXPECT_FALSE(all.contains(strItem)) << strItem.toStdString();
    }
    // Without a target the commands that touch hardware are not offered.
    EXPECT_FALSE(enabled.contains("Edit Memory..."));
    EXPECT_FALSE(enabled.contains("Performance Monitor..."));
    EXPECT_TRUE(enabled.contains("Display PE Info..."));
    EXPECT_TRUE(enabled.contains("Connect..."));

    all.clear();
    ASSERT_TRUE(Popup(100, 300, &context, &all, &enabled));
    EXPECT_EQ(1, context.iNode);
    EXPECT_TRUE(all.contains("Display PE Info..."));
    for (const char* pszItem :
         {"Performance Monitor...", "Port/Quad Map...", "Packet Generator...", "DMA Registers..."})
    {
        EXPECT_FALSE(all.contains(QLatin1String(pszItem))) << pszItem;
    }

    all.clear();
    ASSERT_TRUE(Popup(500, 300, &context, &all, &enabled));
    EXPECT_EQ(2, context.iNode);
    for (const QString& strItem : kBridgeItems)
    {
        EXPECT_TRUE(all.contains(strItem)) << strItem.toStdString();
    }
    EXPECT_FALSE(all.contains("Performance Monitor..."));
    EXPECT_FALSE(all.contains("Port/Quad Map..."));

    // A Null PE has no pop-up at all.
    EXPECT_EQ(nullptr, View().PopupAt(WindowPos(300, 500), &context));
}

TEST_F(MapWindowTest, PopupsOfALinkAGroupAndTheBackground)
{
    SCommandContext context;
    QStringList all;
    QStringList enabled;
    ASSERT_TRUE(Popup(200, 300, &context, &all, &enabled));
    EXPECT_EQ(0, context.iConnection);
    EXPECT_EQ(QStringList({"Link Status...", "Re-sync AckIDs", "Routing Table...", "Set Port Speed...",
                           "Straight Link", "Traffic Efficiency...", "Bit Error Rate...", "Throughput..."}),
              all);

    all.clear();
    ASSERT_TRUE(Popup(800, 100, &context, &all, &enabled));
    EXPECT_EQ(QStringList({"Labels...", "Map Size...", "Autosize Map Now", "Copy Map to Clipboard",
                           "Capture Active Map as Template", "Auto-Layout"}),
              all);
    EXPECT_NEAR(800, context.iMapX, 1);
    EXPECT_NEAR(100, context.iMapY, 1);

    for (int iNode : {1, 3})
    {
        Document().pCurrentNodes->FindPENode(iNode)->bSelected = true;
    }
    const uint32_t uGroup = GroupSelectedItems(Document());
    ASSERT_NE(0u, uGroup);
    View().Rebuild();
    const CDrawPrimitive* pGroup = Document().pCurrentNodes->FindByUniqueID(uGroup);
    all.clear();
    ASSERT_TRUE(Popup(pGroup->iXPos, pGroup->iYPos, &context, &all, &enabled));
    EXPECT_EQ(uGroup, context.uGroupUniqueID);
    EXPECT_EQ(QStringList({"Open", "Properties..."}), all);
}

TEST_F(MapWindowTest, TheMapShowsLabelsPortsAndFaultsByTheOptions)
{
    CMapScene& scene = *View().MapScene();
    EXPECT_EQ(4, scene.NodeCount());
    EXPECT_EQ(4, scene.EdgeCount());
    const CNodeItem* pSwitch = scene.NodeItem(1000);
    ASSERT_NE(nullptr, pSwitch);
    // A switch has no ID of its own; the endpoint shows its ID.
    EXPECT_EQ(QStringList({"CPS-1848", "Node 1"}), pSwitch->Lines());
    EXPECT_TRUE(scene.NodeItem(1001)->Lines().contains("ID: 11h"));

    SMapOptions options = View().Options();
    options[eOptPortWidths] = true;
    options[eOptPortSpeeds] = true;
    options[eOptDeviceIDs] = true;
    View().SetOptions(options);
    EXPECT_TRUE(View().MapScene()->NodeItem(1000)->Lines().contains("Dev: 0374h"));
    QStringList labels;
    for (QGraphicsItem* pItem : View().MapScene()->items())
    {
        if (pItem->type() == eItemEdge)
        {
            labels << static_cast<CEdgeItem*>(pItem)->StartLabel() + "|" +
                          static_cast<CEdgeItem*>(pItem)->EndLabel();
        }
    }
    // The endpoint's port 0 to the switch's port 3, which runs four lanes at 3.125 Gbaud.
    EXPECT_TRUE(labels.contains("0|3 4x 3.125G")) << labels.join(", ").toStdString();

    // Hiding nulls takes the Null PE and its link off the map.
    View().SetHideNulls(true);
    EXPECT_EQ(3, View().MapScene()->NodeCount());
    EXPECT_EQ(3, View().MapScene()->EdgeCount());
    View().SetHideNulls(false);
    EXPECT_EQ(4, View().MapScene()->NodeCount());
}

TEST_F(MapWindowTest, DraggingANodeMovesItInTheMapAndItsLinksFollow)
{
    CNodeItem* pEndpoint = View().MapScene()->NodeItem(1001);
    pEndpoint->setPos(150, 420);
    EXPECT_TRUE(View().MapScene()->CommitMoves(Document()));
    const CDrawPrimitive* pNode = Document().pCurrentNodes->FindPENode(1);
    EXPECT_EQ(150, pNode->iXPos);
    EXPECT_EQ(420, pNode->iYPos);
    const auto* pEdge = static_cast<const CDrawEdge*>(Document().pCurrentEdges->FindByUniqueID(5000));
    ASSERT_EQ(2u, pEdge->GetPath().size());
    EXPECT_EQ(QPoint(150, 420), pEdge->GetPath()[0]);
    EXPECT_FALSE(View().MapScene()->CommitMoves(Document()));
}

TEST_F(MapWindowTest, CommandsNotYetThereSayIt)
{
    m_pFrame->RunCommand(eCmdCheckForUpdates);
    m_pFrame->RunCommand(eCmdReferenceLibrary);
    EXPECT_EQ(QStringList({"\"Check for Updates\" is not available in this version of Norvanta yet.",
                           "\"Reference Library\" is not available in this version of Norvanta yet."}),
              m_pUI->messages);
    // A subsystem hooks in with one call.
    int nRuns = 0;
    m_pFrame->Core().SetCommandHandler(eCmdCheckForUpdates, [&nRuns](const SCommandContext&) { ++nRuns; });
    QAction* pAction = m_pFrame->Action(eCmdCheckForUpdates);
    ASSERT_NE(nullptr, pAction);
    pAction->trigger();
    EXPECT_EQ(1, nRuns);
    EXPECT_EQ(2, m_pUI->messages.size());
}

TEST_F(MapWindowTest, PrintWritesAPdfAndCopyPutsAPictureOnTheClipboard)
{
    const QString strPath = QString::fromStdString(nvtest::ProcessTempDir()) + "/map.pdf";
    m_pUI->texts = {strPath};
    m_pFrame->RunCommand(eCmdFilePrint);
    QFile pdf(strPath);
    ASSERT_TRUE(pdf.open(QIODevice::ReadOnly));
    const QByteArray contents = pdf.readAll();
    EXPECT_TRUE(contents.startsWith("%PDF"));
    EXPECT_GT(contents.size(), 2000);
    EXPECT_TRUE(m_pUI->messages.isEmpty());

    m_pFrame->RunCommand(eCmdCopyToClipboard);
    const QImage image = QGuiApplication::clipboard()->image();
    ASSERT_FALSE(image.isNull());
    // The whole map: its 1000 pixels, with the drawing on a white ground.
    EXPECT_GE(image.width(), 1000);
    int nInk = 0;
    for (int y = 0; y < image.height(); y += 3)
    {
        for (int x = 0; x < image.width(); x += 3)
        {
            nInk += image.pixel(x, y) != QColor(Qt::white).rgb();
        }
    }
    EXPECT_GT(nInk, 200);
    EXPECT_EQ(QColor(Qt::white).rgb(), image.pixel(image.width() - 2, image.height() - 2));
}

TEST_F(MapWindowTest, GroupingShowsTheGroupAndItsViewHoldsTheMembers)
{
    for (int iNode : {1, 2})
    {
        Document().pCurrentNodes->FindPENode(iNode)->bSelected = true;
    }
    m_pFrame->RunCommand(eCmdGroup);
    // The two members leave the expanded view's drawing; the group and its links stand for them.
    EXPECT_EQ(3, View().MapScene()->NodeCount());
    const CDrawGroup* pGroup = nullptr;
    for (const auto& pNode : *Document().pCurrentNodes)
    {
        if (pNode->eKind == eDrawKindGroup)
        {
            pGroup = static_cast<const CDrawGroup*>(pNode.get());
        }
    }
    ASSERT_NE(nullptr, pGroup);
    EXPECT_EQ("Undefined", pGroup->Label.toStdString());
    SCommandContext context;
    context.uGroupUniqueID = pGroup->uUniqueID;
    m_pFrame->RunCommand(eCmdGroupOpen, context);
    ASSERT_NE(kExpandedViewID, Document().iCurrentViewID);
    // The members, and one off-view handle for each of their three links to the switch.
    int nPEs = 0;
    int nHandles = 0;
    for (const auto& pNode : *Document().pCurrentNodes)
    {
        nPEs += pNode->eKind == eDrawKindPE;
        nHandles += pNode->eKind == eDrawKindOffViewHandle;
    }
    EXPECT_EQ(2, nPEs);
    EXPECT_EQ(3, nHandles);
    EXPECT_EQ(5, View().MapScene()->NodeCount());
    m_pFrame->RunCommand(eCmdPreviousView);
    EXPECT_EQ(kExpandedViewID, Document().iCurrentViewID);
}

TEST_F(MapWindowTest, AutoLayoutRunsOffTheInterfaceThreadAndMovesTheNodes)
{
    // Stack every node on one spot; the layout must spread them out.
    for (const auto& pNode : *Document().pCurrentNodes)
    {
        static_cast<CDrawNode&>(*pNode).Move(50, 50);
    }
    View().Rebuild();
    m_pUI->answers = {eAnswerYes};
    int nTicks = 0;
    QTimer ticker;
    QObject::connect(&ticker, &QTimer::timeout, [&nTicks] { ++nTicks; });
    ticker.start(5);
    bool bFinished = false;
    bool bApplied = false;
    QObject::connect(&View(), &CChildView::layoutFinished,
                     [&](bool bOk)
                     {
                         bFinished = true;
                         bApplied = bOk;
                     });
    m_pFrame->RunCommand(eCmdAutoLayout);
    EXPECT_EQ(QStringList{"Elliminate PE overlaps?"}, m_pUI->questions);
    EXPECT_TRUE(View().LayoutRunning());
    ASSERT_TRUE(nvguitest::WaitFor([&] { return bFinished; }));
    EXPECT_TRUE(bApplied) << m_pUI->messages.join("|").toStdString();
    EXPECT_GT(nTicks, 0);
    std::set<std::pair<int, int>> positions;
    for (const auto& pNode : *Document().pCurrentNodes)
    {
        positions.insert({pNode->iXPos, pNode->iYPos});
        EXPECT_GE(pNode->iXPos, 100);
        EXPECT_GE(pNode->iYPos, 100);
    }
    EXPECT_EQ(4u, positions.size());
    EXPECT_TRUE(m_pFrame->Core().IsModified());
}
} // namespace

namespace
{
TEST_F(MapWindowTest, SelectionInfoAndPEInfoTellWhatIsChosen)
{
    m_pFrame->RunCommand(eCmdSelectAll);
    EXPECT_EQ(4u, Document().SelectedNodes.size());
    EXPECT_TRUE(Document().SelectedEdges.empty());
    m_pFrame->RunCommand(eCmdShowSelectedItemInfo);
    ASSERT_EQ(1, m_pUI->messages.size());
    EXPECT_EQ(4, m_pUI->messages[0].count('\n') + 1);
    EXPECT_TRUE(m_pUI->messages[0].contains("node 1, at (300, 300)")) << m_pUI->messages[0].toStdString();

    SCommandContext context;
    context.iNode = 0;
    m_pFrame->RunCommand(eCmdDisplayPEInfo, context);
    ASSERT_EQ(2, m_pUI->messages.size());
    const QStringList lines = m_pUI->messages[1].split('\n');
    EXPECT_EQ(QStringList({"Node 1", "Name:\tCPS-1848", "Type:\tSwitch", "Device ID:\t0374h",
                           "Vendor ID:\t0038h", "Ports:\t18"}),
              lines.mid(0, 6));
}

TEST_F(MapWindowTest, MapSizeAutosizeAndStraightLinksChangeTheView)
{
    m_pUI->numbers = {2400, 1800};
    m_pFrame->RunCommand(eCmdMapSize);
    EXPECT_EQ(QStringList({"Map width in pixels:", "Map height in pixels:"}), m_pUI->choices);
    EXPECT_EQ(2400, Document().pCurrentView->iWidth);
    EXPECT_EQ(1800, Document().pCurrentView->iHeight);
    EXPECT_GE(View().MapScene()->MapRect().width(), 2400);
    // Cancelled half way: nothing changes.
    m_pUI->numbers = {3000};
    m_pFrame->RunCommand(eCmdMapSize);
    EXPECT_EQ(2400, Document().pCurrentView->iWidth);

    m_pFrame->RunCommand(eCmdAutosizeMap);
    EXPECT_EQ(600, Document().pCurrentView->iWidth);
    EXPECT_EQ(600, Document().pCurrentView->iHeight);

    // A link bent by a hand-made path is laid straight between its two nodes again.
    auto* pEdge = static_cast<CDrawEdge*>(Document().pCurrentEdges->FindByUniqueID(5001));
    pEdge->Style = eEdgeCurve;
    pEdge->SetPath({QPoint(300, 300), QPoint(400, 200), QPoint(500, 300)});
    SCommandContext context;
    context.iConnection = 1;
    m_pFrame->RunCommand(eCmdStraightLink, context);
    EXPECT_EQ(eEdgeStraight, pEdge->Style);
    EXPECT_EQ((std::vector<QPoint>{QPoint(300, 300), QPoint(500, 300)}), pEdge->GetPath());
    EXPECT_TRUE(m_pFrame->Core().IsModified());
}

TEST_F(MapWindowTest, GroupPropertiesRenameTheGroupAndItsView)
{
    for (int iNode : {1, 2})
    {
        Document().pCurrentNodes->FindPENode(iNode)->bSelected = true;
    }
    const uint32_t uGroup = GroupSelectedItems(Document());
    ASSERT_NE(0u, uGroup);
    SetGroupProperties(Document(), uGroup, "Line cards", "slots 3 and 4");
    const auto* pGroup = static_cast<const CDrawGroup*>(Document().pCurrentNodes->FindByUniqueID(uGroup));
    EXPECT_EQ("Line cards", pGroup->Label.toStdString());
    EXPECT_EQ("slots 3 and 4", pGroup->Comment.toStdString());
    ASSERT_TRUE(OpenGroupView(Document(), uGroup));
    EXPECT_EQ("Line cards", Document().pCurrentView->Name.toStdString());
    // Next goes round the views and comes back to the expanded one.
    m_pFrame->RunCommand(eCmdNextView);
    EXPECT_EQ(kExpandedViewID, Document().iCurrentViewID);
    EXPECT_FALSE(OpenGroupView(Document(), uGroup + 12345));
}

TEST(IconCacheTest, MapsFromElsewhereFindTheirIconsHere)
{
    const QString strSwitch = BitmapDirectory() + "sw-reg-kwn-lrg-nosel.svg";
    EXPECT_EQ(strSwitch, CIconCache::Resolve(
                             "c:\\Program Files\\Halvorn\\Norvanta4\\bitmaps\\sw-reg-kwn-lrg-nosel.bmp"));
    EXPECT_EQ(strSwitch, CIconCache::Resolve(strSwitch));
    EXPECT_EQ(BitmapDirectory() + "unkwn-reg-unkwn-lrg-sel.svg",
              CIconCache::Resolve("/nowhere/gadget-lrg-sel.bmp"));
    const QPixmap& icon = CIconCache::Icon(strSwitch);
    EXPECT_EQ(QSize(CIconCache::kIconSize, CIconCache::kIconSize), icon.size());
    // Drawn, not blank: some pixel of the icon is opaque.
    const QImage image = icon.toImage();
    bool bInk = false;
    for (int y = 0; y < image.height() && !bInk; ++y)
    {
        for (int x = 0; x < image.width() && !bInk; ++x)
        {
            bInk = qAlpha(image.pixel(x, y)) > 0;
        }
    }
    EXPECT_TRUE(bInk);
}
} // namespace

namespace
{
TEST_F(MapWindowTest, DraggingWithTheMouseMovesTheNodeAndMarksTheMapChanged)
{
    m_pFrame->Core().SetModified(false);
    QWidget* pViewport = View().viewport();
    const QPoint from = WindowPos(100, 300);
    const QPoint to = WindowPos(160, 380);
    QTest::mousePress(pViewport, Qt::LeftButton, Qt::NoModifier, from);
    QMouseEvent move(QEvent::MouseMove, QPointF(to), pViewport->mapToGlobal(QPointF(to)), Qt::NoButton,
                     Qt::LeftButton, Qt::NoModifier);
    QApplication::sendEvent(pViewport, &move);
    QTest::mouseRelease(pViewport, Qt::LeftButton, Qt::NoModifier, to);
    const CDrawPrimitive* pNode = Document().pCurrentNodes->FindPENode(1);
    EXPECT_NEAR(160, pNode->iXPos, 2);
    EXPECT_NEAR(380, pNode->iYPos, 2);
    EXPECT_TRUE(m_pFrame->Core().IsModified());
    // The pressed node is the selection, in the document too.
    ASSERT_EQ(1u, Document().SelectedNodes.size());
    EXPECT_EQ(1001u, Document().SelectedNodes[0].uUniqueID);
}

TEST_F(MapWindowTest, TheTemplateMapIsACopyThatKeepsItsOwnLayout)
{
    m_pFrame->RunCommand(eCmdCaptureTemplate);
    m_pFrame->RunCommand(eCmdTemplateMap);
    EXPECT_TRUE(Document().bShowTemplate);
    EXPECT_TRUE(m_pFrame->Action(eCmdTemplateMap)->isChecked());
    EXPECT_EQ(4, View().MapScene()->NodeCount());
    static_cast<CDrawNode*>(Document().pCurrentNodes->FindPENode(0))->Move(700, 700);
    m_pFrame->RunCommand(eCmdActiveMap);
    EXPECT_FALSE(Document().bShowTemplate);
    EXPECT_EQ(300, Document().pCurrentNodes->FindPENode(0)->iXPos);
    EXPECT_EQ(QPointF(300, 300), View().MapScene()->NodeItem(1000)->pos());
}
} // namespace

namespace
{
TEST_F(MapWindowTest, TheRouteSelectionKeepsTheOrderOfPicking)
{
    auto item = [this](bool bEdge, uint32_t uUniqueID) -> QGraphicsItem*
    {
        for (QGraphicsItem* pItem : m_pFrame->MapWindow()->MapScene()->items())
        {
            if (bEdge && pItem->type() == eItemEdge &&
                static_cast<CEdgeItem*>(pItem)->Object()->uUniqueID == uUniqueID)
            {
                return pItem;
            }
            if (!bEdge && pItem->type() == eItemNode &&
                static_cast<CNodeItem*>(pItem)->Object()->uUniqueID == uUniqueID)
            {
                return pItem;
            }
        }
        return nullptr;
    };
    // The bridge, then the second of its two links to the switch, then the switch.
    for (auto [bEdge, uID] : {std::pair{false, 1002u}, std::pair{true, 5002u}, std::pair{false, 1000u}})
    {
        QGraphicsItem* pItem = item(bEdge, uID);
        ASSERT_NE(nullptr, pItem) << uID;
        pItem->setSelected(true);
    }
    auto kinds = [this]
    {
        std::vector<std::pair<int, int>> out;
        for (const SRouteSelectionItem& selected : m_pFrame->MapWindow()->RouteSelection())
        {
            out.emplace_back(selected.eKind, selected.iNodeNumber);
        }
        return out;
    };
    using Item = SRouteSelectionItem;
    EXPECT_EQ((std::vector<std::pair<int, int>>{{Item::ePE, 2}, {Item::eConnection, 2}, {Item::ePE, 0}}),
              kinds());
    // Dropping the link keeps the others in their places; picking it again puts it last.
    item(true, 5002u)->setSelected(false);
    EXPECT_EQ((std::vector<std::pair<int, int>>{{Item::ePE, 2}, {Item::ePE, 0}}), kinds());
    item(true, 5002u)->setSelected(true);
    EXPECT_EQ((std::vector<std::pair<int, int>>{{Item::ePE, 2}, {Item::ePE, 0}, {Item::eConnection, 2}}),
              kinds());
}
} // namespace

namespace
{
TEST_F(MapWindowTest, PrintingDrawsNoSelectionAndScalesTheDrawingNotTheEmptyMapArea)
{
    m_pFrame->RunCommand(eCmdSelectAll);
    ASSERT_FALSE(View().MapScene()->selectedItems().isEmpty());
    Document().pCurrentView->iWidth = 5000;
    Document().pCurrentView->iHeight = 4000;
    CMapScene printed;
    printed.Build(Document(), SMapOptions::Load(true), false, true);
    EXPECT_TRUE(printed.selectedItems().isEmpty());
    EXPECT_EQ(4, printed.NodeCount());
    // The map area is 5000 by 4000 pixels; what is drawn, and what goes on the page, is the
    // nodes between (100, 300) and (500, 500) with their labels.
    EXPECT_GE(printed.MapRect().width(), 5000);
    EXPECT_LT(printed.DrawnRect().width(), 600);
    EXPECT_TRUE(printed.DrawnRect().contains(QRectF(100, 300, 400, 200)));
    // The window's selection is untouched by printing.
    View().Rebuild();
    EXPECT_EQ(4, static_cast<int>(Document().SelectedNodes.size()));
}
} // namespace
