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
#include <QScreen>
#include <QScrollBar>
#include <QWindow>

#include <cmath>
#include <functional>
#include <set>

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

    // The map area as the window paints it, into a raster image of the kind a desktop paints.
    QImage Painted(QImage::Format eFormat = QImage::Format_RGB32)
    {
        QImage image(View().viewport()->size(), eFormat);
        image.fill(Qt::magenta);
        View().viewport()->render(&image);
        return image.convertToFormat(QImage::Format_RGB32);
    }
    // What the window shows of the map area once it has painted what changed.
    QImage OnScreen()
    {
        QApplication::processEvents();
        QApplication::processEvents();
        QWidget* pViewport = View().viewport();
        const QPoint origin = pViewport->mapTo(pViewport->window(), QPoint(0, 0));
        return QGuiApplication::primaryScreen()
            ->grabWindow(pViewport->window()->winId(), origin.x(), origin.y(), pViewport->width(),
                         pViewport->height())
            .toImage()
            .convertToFormat(QImage::Format_RGB32);
    }
    // Whether a pixel within a distance of a point of the map passes a test.
    bool Near(const QImage& image, const QPointF& at, int iDistance, const std::function<bool(QColor)>& test)
    {
        const QPoint centre = View().mapFromScene(at);
        for (int y = centre.y() - iDistance; y <= centre.y() + iDistance; ++y)
        {
            for (int x = centre.x() - iDistance; x <= centre.x() + iDistance; ++x)
            {
                if (image.rect().contains(x, y) && test(image.pixelColor(x, y)))
                {
                    return true;
                }
            }
        }
        return false;
    }
    static bool Grey(QColor colour)
    {
        return colour.red() < 140 && std::abs(colour.red() - colour.blue()) < 20;
    }
    static bool Blue(QColor colour) { return colour.blue() > 150 && colour.red() < 90; }
    // Text is black; the links are a dark grey.
    static bool Ink(QColor colour) { return colour.lightness() < 40; }
    void ShowAt(qreal dZoom, const QPointF& centre)
    {
        View().ZoomBy(dZoom / View().Zoom());
        View().centerOn(centre);
    }

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

namespace
{
TEST_F(MapDrawingTest, ALinkShowsItsSelectionAndFollowsItsNodeAfterAFrameWasDrawn)
{
    CMapScene& scene = *View().MapScene();
    CEdgeItem* pLink = scene.Edges()[0];
    ASSERT_EQ(QLineF(300, 300, 100, 300), pLink->Line());
    // Close up, between the two nodes' labels: a grey line, on the screen as painted.
    ShowAt(1.0, QPointF(300, 300));
    QImage image = OnScreen();
    EXPECT_TRUE(Near(image, QPointF(200, 300), 1, Grey));
    EXPECT_FALSE(Near(image, QPointF(200, 300), 2, Blue));
    EXPECT_EQ(image, Painted());

    // What changes is painted again: the window doesn't keep showing the old state.
    pLink->setSelected(true);
    image = OnScreen();
    EXPECT_TRUE(Near(image, QPointF(200, 300), 1, Blue));
    pLink->setSelected(false);
    EXPECT_FALSE(Near(OnScreen(), QPointF(200, 300), 2, Blue));

    // The endpoint dragged down: the link leaves its old place and runs to the new one.
    scene.NodeItem(1001)->setPos(100, 500);
    image = OnScreen();
    EXPECT_FALSE(Near(image, QPointF(160, 300), 3, Grey));
    EXPECT_TRUE(Near(image, QPointF(200, 400), 1, Grey));

    // Far out the same holds for the hairlines.
    ShowAt(0.15, QPointF(300, 400));
    image = OnScreen();
    EXPECT_TRUE(Near(image, QPointF(200, 400), 1, Grey));
    pLink->setSelected(true);
    EXPECT_TRUE(Near(OnScreen(), QPointF(200, 400), 1, Blue));
}

TEST_F(MapDrawingTest, FarOutANodeIsAMarkThatShowsItsSelection)
{
    CNodeItem* pSwitch = View().MapScene()->NodeItem(1000);
    ShowAt(0.15, QPointF(300, 300));
    const QPoint at = View().mapFromScene(QPointF(300, 300));
    QImage image = OnScreen();
    const QColor mark = pSwitch->Mark().rgb;
    EXPECT_EQ(mark.rgb(), image.pixelColor(at).rgb());
    // Between the nodes there is only the link and the ground.
    EXPECT_EQ(QColor(Qt::white).rgb(), image.pixelColor(View().mapFromScene(QPointF(300, 200))).rgb());
    pSwitch->setSelected(true);
    image = OnScreen();
    EXPECT_TRUE(Blue(image.pixelColor(at))) << image.pixelColor(at).name().toStdString();
    // Closer in, the node is its icon again, in many colours, not a mark.
    ShowAt(1.0, QPointF(300, 300));
    image = Painted();
    const QPoint centre = View().mapFromScene(QPointF(300, 300));
    std::set<QRgb> colours;
    for (int y = centre.y() - 20; y <= centre.y() + 20; ++y)
    {
        for (int x = centre.x() - 20; x <= centre.x() + 20; ++x)
        {
            colours.insert(image.pixel(x, y));
        }
    }
    EXPECT_GT(colours.size(), 20u);
}

TEST_F(MapDrawingTest, LinkLabelsFollowTheOptionsAfterAFrameWasDrawn)
{
    CEdgeItem* pLink = View().MapScene()->Edges()[0];
    ASSERT_FALSE(pLink->StartLabel().isEmpty());
    const QRectF label = pLink->LabelRect(0);
    ShowAt(1.0, QPointF(300, 300));
    EXPECT_TRUE(Near(Painted(), label.center(), 3, Ink));
    // Far out, text would be specks: none is drawn.
    ShowAt(0.3, QPointF(300, 300));
    EXPECT_FALSE(Near(Painted(), label.center(), 1, Ink));

    SMapOptions options = View().Options();
    options[eOptPortNumbers] = false;
    options[eOptPortWidths] = false;
    options[eOptPortSpeeds] = false;
    View().SetOptions(options);
    ShowAt(1.0, QPointF(300, 300));
    EXPECT_TRUE(View().MapScene()->Edges()[0]->StartLabel().isEmpty());
    EXPECT_FALSE(Near(Painted(), label.center(), 3, Ink));
}

// Links at every slope through the middle of a wider map.
class MapDrawingPixelsTest : public MapDrawingTest
{
protected:
    void SetUp() override
    {
        MapDrawingTest::SetUp();
        CNetworkDocument& document = Document();
        constexpr int kSpokes = 24;
        for (int i = 0; i < 2 * kSpokes; ++i)
        {
            const double dAngle = M_PI * i / kSpokes + 0.05;
            AddPE(document, 10 + i, 0xFFF0, 0x0002, kPETypeProcessor,
                  static_cast<int>(2000 + 1500 * std::cos(dAngle)),
                  static_cast<int>(2000 + 1500 * std::sin(dAngle)));
        }
        for (int i = 0; i < kSpokes; ++i)
        {
            AddLink(document, 10 + i, 10 + i, 0, 10 + i + kSpokes, 0);
        }
        RouteEdges(*document.pCurrentNodes, *document.pCurrentEdges);
        View().Rebuild();
    }
    // As after scrolling: strips of the window painted one at a time, each on its own, give the
    // same pixels as the window painted whole.
    void ExpectPiecesMatchWhole();
    // The links drawn into a 32-bit image, which takes them straight into its pixels, lie where
    // the painter draws them into a 24-bit one.
    void ExpectPixelsMatchPainter();
};

// Far out, where links are hairlines, and close in, where they are smoothed bands.
TEST_F(MapDrawingPixelsTest, AWindowPaintedInPiecesEqualsItPaintedWhole)
{
    for (const qreal dZoom : {0.22, 1.3})
    {
        SCOPED_TRACE(dZoom);
        ShowAt(dZoom, QPointF(2000, 2000));
        ExpectPiecesMatchWhole();
    }
}

TEST_F(MapDrawingPixelsTest, TheLinksSetIntoThePixelsLieWhereThePainterDrawsThem)
{
    for (const qreal dZoom : {0.22, 1.3})
    {
        SCOPED_TRACE(dZoom);
        ShowAt(dZoom, QPointF(2000, 2000));
        ExpectPixelsMatchPainter();
    }
}

void MapDrawingPixelsTest::ExpectPiecesMatchWhole()
{
    const QImage whole = Painted();
    QImage pieces(whole.size(), QImage::Format_RGB32);
    pieces.fill(Qt::magenta);
    const int iWidth = whole.width();
    const int iHeight = whole.height();
    for (const QRect& strip : {QRect(0, 0, iWidth / 3, iHeight), QRect(iWidth / 3, 0, 37, iHeight / 2),
                               QRect(iWidth / 3, iHeight / 2, 37, iHeight - iHeight / 2),
                               QRect(iWidth / 3 + 37, 0, iWidth, iHeight)})
    {
        View().viewport()->render(&pieces, strip.topLeft(), QRegion(strip));
    }
    int nDifferent = 0;
    for (int y = 0; y < iHeight; ++y)
    {
        for (int x = 0; x < iWidth; ++x)
        {
            nDifferent += whole.pixel(x, y) != pieces.pixel(x, y);
        }
    }
    EXPECT_EQ(0, nDifferent);
}

void MapDrawingPixelsTest::ExpectPixelsMatchPainter()
{
    // A 32-bit image takes the links straight into its pixels; a 24-bit one has the painter draw.
    const QImage set = Painted(QImage::Format_RGB32);
    const QImage drawn = Painted(QImage::Format_RGB888);
    auto dark = [](const QImage& image, int iX, int iY)
    { return image.rect().contains(iX, iY) && qGray(image.pixel(iX, iY)) < 128; };
    // Every dark pixel of each has one of the other at most a pixel away.
    auto unmatched = [&](const QImage& from, const QImage& to)
    {
        int nDark = 0;
        int nAlone = 0;
        for (int y = 0; y < from.height(); ++y)
        {
            for (int x = 0; x < from.width(); ++x)
            {
                if (!dark(from, x, y))
                {
                    continue;
                }
                ++nDark;
                bool bMatched = false;
                for (int dy = -1; dy <= 1 && !bMatched; ++dy)
                {
                    for (int dx = -1; dx <= 1 && !bMatched; ++dx)
                    {
                        bMatched = dark(to, x + dx, y + dy);
                    }
                }
                nAlone += !bMatched;
            }
        }
        EXPECT_GT(nDark, 3000);
        return nAlone;
    };
    EXPECT_EQ(0, unmatched(set, drawn));
    EXPECT_EQ(0, unmatched(drawn, set));
}
} // namespace
