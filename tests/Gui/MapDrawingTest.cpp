// The map window's drawing after changes: what a person sees must follow every change of the map,
// its selection and its options, however the frames before were drawn, scrolled or cached.
#include "GuiTestEnvironment.h"

#include "ChildView.h"
#include "MainFrame.h"
#include "MapEditing.h"
#include "MapScene.h"
#include "RecordingUserInterface.h"

#include <QApplication>
#include <QImage>
#include <QScrollBar>

#include <gtest/gtest.h>

namespace
{
using nvguitest::AddLink;
using nvguitest::AddPE;

class MapDrawingTest : public ::testing::Test
{
protected:
    void SetUp() override
    {
        m_pFrame = std::make_unique<CMainFrame>();
        m_pUI = std::make_unique<nvtest::CRecordingUserInterface>();
        m_pFrame->resize(1000, 700);
        CNetworkDocument& document = Document();
        // A switch with an endpoint on each side.
        AddPE(document, 0, 0x0038, 0x0374, kPETypeSwitch, 300, 300, 18);
        AddPE(document, 1, 0xFFF0, 0x0002, kPETypeProcessor, 100, 300);
        AddPE(document, 2, 0xFFF0, 0x0002, kPETypeProcessor, 500, 300);
        AddLink(document, 0, 0, 1, 1, 0);
        AddLink(document, 1, 0, 2, 2, 0);
        RouteEdges(*document.pCurrentNodes, *document.pCurrentEdges);
        m_pFrame->MapWindow()->Rebuild();
        m_pFrame->show();
        QApplication::processEvents();
    }

    CNetworkDocument& Document() { return m_pFrame->Core().Document(); }
    CChildView& View() { return *m_pFrame->MapWindow(); }

    std::unique_ptr<CMainFrame> m_pFrame;
    std::unique_ptr<nvtest::CRecordingUserInterface> m_pUI;
};

TEST_F(MapDrawingTest, AnEditThatGrowsTheMapCanBeScrolledTo)
{
    View().ZoomBy(2.0);
    // An endpoint moved far out: the same map, so the window keeps its zoom and place.
    static_cast<CDrawNode*>(Document().pCurrentNodes->FindPENode(2))->Move(4000, 3000);
    RouteEdges(*Document().pCurrentNodes, *Document().pCurrentEdges);
    View().Rebuild();
    EXPECT_TRUE(View().MapScene()->sceneRect().contains(QPointF(4000, 3000)));
    // The scroll bars reach the new part of the map.
    View().centerOn(QPointF(4000, 3000));
    const QPoint at = View().mapFromScene(QPointF(4000, 3000));
    EXPECT_TRUE(View().viewport()->rect().contains(at))
        << at.x() << "," << at.y() << " horizontal bar up to " << View().horizontalScrollBar()->maximum();
}
} // namespace

namespace
{
TEST_F(MapDrawingTest, ZoomingFarOutAndBackKeepsTheSelectedLinks)
{
    CMapScene& scene = *View().MapScene();
    ASSERT_EQ(2u, scene.Edges().size());
    CEdgeItem* pLink = scene.Edges()[0];
    pLink->setSelected(true);
    ASSERT_EQ(1u, Document().SelectedEdges.size());
    // Out to where links are hairlines drawn together, painted, and back in.
    View().ZoomBy(0.05 / View().Zoom());
    View().viewport()->repaint();
    View().ZoomBy(1.0 / View().Zoom());
    View().viewport()->repaint();
    EXPECT_TRUE(pLink->isSelected());
    ASSERT_EQ(1u, Document().SelectedEdges.size());
    EXPECT_EQ(pLink->Object()->uUniqueID, Document().SelectedEdges[0].uUniqueID);
}
} // namespace
