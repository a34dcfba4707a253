#include "MapScene.h"

#include "AutoLayout.h"
#include "DeviceInfo.h"
#include "FabricDiff.h"
#include "InstallPaths.h"
#include "NetworkDocument.h"

#include <QFileInfo>
#include <QPaintEngine>
#include <QPainter>
#include <QPainterPathStroker>
#include <QStyleOptionGraphicsItem>
#include <QSvgRenderer>
#include <QTextLayout>

#include <algorithm>
#include <cmath>
#include <limits>
#include <map>

namespace
{
constexpr qreal kIconHalf = CIconCache::kIconSize / 2.0;
// Node labels: lines of Arial at 10 pixels under the icon. Link labels: Arial at 9 pixels.
constexpr int kNodeFontPixels = 10;
constexpr int kLinkFontPixels = 9;
constexpr qreal kLineHeight = 13.0;
constexpr qreal kLabelGap = 2.0; // between the icon and its first line
// Room kept free around icons and labels, so that neighbours never touch.
constexpr qreal kPad = 3.0;
// Text smaller than this many pixels on the screen isn't drawn: it would be an unreadable speck.
constexpr qreal kReadablePixels = 6.0;
constexpr qreal kNodeTextDetail = kReadablePixels / kNodeFontPixels;
constexpr qreal kEdgeTextDetail = kReadablePixels / kLinkFontPixels;
// Below this zoom a node is a mark of its icon's colour; below the other a link is a hairline.
constexpr qreal kIconDetail = CMapScene::kFarDetail;
constexpr qreal kSmoothLineDetail = 0.8;
// A selected link, and the mark of a selected node far out.
constexpr QRgb kSelectedLink = qRgb(0, 90, 200);
// The view's least size of an item it paints, in pixels: a node's box is at least the icon and its
// margin a side, and so is below this size only where the node is a mark. (A little below that
// size at the zoom of marks, for rounding; between, the items paint nothing.)
constexpr qreal kSkippedNodePixels = (CIconCache::kIconSize + 8) * kIconDetail * 0.99;
// Distance between parallel links of the same two nodes.
constexpr qreal kLaneSpacing = 18.0;
// Step of the search for a free place along a link.
constexpr qreal kLabelStep = 4.0;

QFont MapFont(int iPixels)
{
    QFont font(QStringLiteral("Arial"));
    font.setPixelSize(iPixels);
    return font;
}

// The two fonts of the map, made once: a font made anew for every item painted costs more than
// the painting.
const QFont& NodeFont()
{
    static const QFont font = MapFont(kNodeFontPixels);
    return font;
}

const QFont& LinkFont()
{
    static const QFont font = MapFont(kLinkFontPixels);
    return font;
}

const QFontMetricsF& NodeMetrics()
{
    static const QFontMetricsF metrics(MapFont(kNodeFontPixels));
    return metrics;
}

const QFontMetricsF& LinkMetrics()
{
    static const QFontMetricsF metrics(MapFont(kLinkFontPixels));
    return metrics;
}

qreal WidestLine(const QStringList& lines)
{
    qreal dWidest = 0;
    for (const QString& strLine : lines)
    {
        dWidest = std::max(dWidest, NodeMetrics().horizontalAdvance(strLine));
    }
    return dWidest;
}

QSizeF LinkLabelSize(const QString& strText)
{
    return QSizeF(LinkMetrics().horizontalAdvance(strText) + 4, LinkMetrics().height());
}

bool g_bPrinting = false;

// The depth of the scene's index: leaves of some tens of items. The index's own choice, a leaf
// per item, is too fine for a map: a long link lies in every leaf its box crosses, and a view of
// the whole map then walks tens of thousands of leaves for every frame.
int IndexDepth(int nItems)
{
    constexpr int kItemsPerLeaf = 32;
    int iDepth = 4;
    while (iDepth < 12 && (nItems >> iDepth) > kItemsPerLeaf)
    {
        ++iDepth;
    }
    return iDepth;
}

// The part of a line inside a rectangle (Liang and Barsky), or false when none is. A long link
// seen close up is cut to the window before it is stroked, which is much the cheaper.
bool ClipLine(QLineF* pLine, const QRectF& rect)
{
    const QPointF from = pLine->p1();
    const QPointF delta = pLine->p2() - from;
    qreal dEnter = 0.0;
    qreal dLeave = 1.0;
    const std::array<std::pair<qreal, qreal>, 4> sides = {{{-delta.x(), from.x() - rect.left()},
                                                           {delta.x(), rect.right() - from.x()},
                                                           {-delta.y(), from.y() - rect.top()},
                                                           {delta.y(), rect.bottom() - from.y()}}};
    for (const auto& [dP, dQ] : sides)
    {
        if (dP == 0)
        {
            if (dQ < 0)
            {
                return false;
            }
            continue;
        }
        const qreal dT = dQ / dP;
        if (dP < 0)
        {
            dEnter = std::max(dEnter, dT);
        }
        else
        {
            dLeave = std::min(dLeave, dT);
        }
    }
    if (dEnter > dLeave)
    {
        return false;
    }
    *pLine = QLineF(from + delta * dEnter, from + delta * dLeave);
    return true;
}

// The pixels of the image a painter paints, for setting opaque lines and squares straight into
// them: far out the links of a large map are some hundred thousand pixels and its nodes thousands
// of small squares, close in the links are smoothed bands, and the painter's general drawing costs
// many times what setting them does. Only for a plain 32-bit image painted without a clip of its
// own, transparency or rotation; otherwise it isn't valid and the painter draws.
class CPixelTarget
{
public:
    explicit CPixelTarget(QPainter* pPainter)
    {
        QPaintEngine* pEngine = pPainter->paintEngine();
        if (!pEngine || pEngine->type() != QPaintEngine::Raster || !pEngine->paintDevice() ||
            pEngine->paintDevice()->devType() != QInternal::Image || pPainter->hasClipping() ||
            pPainter->opacity() < 1.0 || pPainter->compositionMode() != QPainter::CompositionMode_SourceOver)
        {
            return;
        }
        auto* pImage = static_cast<QImage*>(pEngine->paintDevice());
        const QImage::Format eFormat = pImage->format();
        m_Transform = pPainter->deviceTransform();
        if ((eFormat != QImage::Format_RGB32 && eFormat != QImage::Format_ARGB32 &&
             eFormat != QImage::Format_ARGB32_Premultiplied) ||
            m_Transform.type() > QTransform::TxScale)
        {
            return;
        }
        // What may be painted, in the image's pixels: the part of the window being repainted.
        const QRegion clip = pEngine->systemClip();
        for (const QRect& rect : clip.isEmpty() ? QRegion(pImage->rect()) : clip.intersected(pImage->rect()))
        {
            m_Clip.push_back(rect);
        }
        m_pBits = pImage->bits();
        m_iStride = pImage->bytesPerLine();
    }

    bool IsValid() const { return m_pBits != nullptr; }

    // A one-pixel line between two points of the scene; false, and nothing drawn, when it lies
    // too far out of the image for the pixel arithmetic.
    bool Line(const QLineF& line, QRgb rgb)
    {
        QPoint from;
        QPoint to;
        if (!Pixel(line.p1(), &from) || !Pixel(line.p2(), &to))
        {
            return false;
        }
        const QRect box = QRect(from, to).normalized();
        for (const QRect& rect : m_Clip)
        {
            if (box.intersects(rect))
            {
                LineIn(rect, from, to, 0xFF000000u | rgb);
            }
        }
        return true;
    }

    // A line some pixels wide with smoothed edges, its ends carried on by half the width: in each
    // column (or row, for a steep line) a pixel takes the colour by the share of it that the
    // line's band covers. False, and nothing drawn, when it can't be drawn so.
    bool SmoothLine(const QLineF& line, qreal dWidth, QRgb rgb)
    {
        constexpr qreal kLimit = 1 << 28;
        QPointF from = m_Transform.map(line.p1());
        QPointF to = m_Transform.map(line.p2());
        if (!(std::abs(from.x()) < kLimit && std::abs(from.y()) < kLimit && std::abs(to.x()) < kLimit &&
              std::abs(to.y()) < kLimit) ||
            m_Transform.m11() != m_Transform.m22())
        {
            return false;
        }
        const bool bXMajor = std::abs(to.x() - from.x()) >= std::abs(to.y() - from.y());
        qreal dMajorFrom = bXMajor ? from.x() : from.y();
        qreal dMajorTo = bXMajor ? to.x() : to.y();
        qreal dMinorFrom = bXMajor ? from.y() : from.x();
        qreal dMinorTo = bXMajor ? to.y() : to.x();
        if (dMajorTo < dMajorFrom)
        {
            std::swap(dMajorFrom, dMajorTo);
            std::swap(dMinorFrom, dMinorTo);
        }
        const qreal dLength = dMajorTo - dMajorFrom;
        if (dLength < 1e-6)
        {
            return false;
        }
        const qreal dSlope = (dMinorTo - dMinorFrom) / dLength;
        const qreal dSecant = std::sqrt(1 + dSlope * dSlope);
        // Across the major axis the band is wider than the line by the secant of its angle.
        const qreal dHalf = dWidth * dSecant / 2;
        const qreal dCap = dWidth / dSecant / 2;
        const int iFirst = static_cast<int>(std::ceil(dMajorFrom - dCap - 0.5));
        const int iLast = static_cast<int>(std::floor(dMajorTo + dCap - 0.5));
        const qsizetype iRow = m_iStride / qsizetype(sizeof(QRgb));
        auto* pPixels = reinterpret_cast<QRgb*>(m_pBits);
        for (const QRect& clip : m_Clip)
        {
            int iFrom = std::max(iFirst, bXMajor ? clip.left() : clip.top());
            int iTo = std::min(iLast, bXMajor ? clip.right() : clip.bottom());
            const int iMinorLow = bXMajor ? clip.top() : clip.left();
            const int iMinorHigh = bXMajor ? clip.bottom() : clip.right();
            // Only where the band reaches into the clip's rows (or columns), with a step to spare.
            if (dSlope != 0)
            {
                qreal dEnter = (iMinorLow - dHalf - dMinorFrom) / dSlope + dMajorFrom - 0.5;
                qreal dLeave = (iMinorHigh + 1 + dHalf - dMinorFrom) / dSlope + dMajorFrom - 0.5;
                if (dEnter > dLeave)
                {
                    std::swap(dEnter, dLeave);
                }
                iFrom = std::max<qreal>(iFrom, std::floor(std::max<qreal>(dEnter, iFrom - 1.0)) - 1);
                iTo = std::min<qreal>(iTo, std::ceil(std::min<qreal>(dLeave, iTo + 1.0)) + 1);
            }
            for (int i = iFrom; i <= iTo; ++i)
            {
                const qreal dCentre = dMinorFrom + dSlope * (i + 0.5 - dMajorFrom);
                const qreal dLow = dCentre - dHalf;
                const qreal dHigh = dCentre + dHalf;
                const int jFrom = std::max(static_cast<int>(std::floor(dLow)), iMinorLow);
                const int jTo = std::min(static_cast<int>(std::floor(dHigh)), iMinorHigh);
                for (int j = jFrom; j <= jTo; ++j)
                {
                    const qreal dCover = std::min<qreal>(dHigh, j + 1) - std::max<qreal>(dLow, j);
                    QRgb& pixel = pPixels[(bXMajor ? j : i) * iRow + (bXMajor ? i : j)];
                    pixel = Blend(pixel, rgb, static_cast<int>(dCover * 256));
                }
            }
        }
        return true;
    }

    // The pixels whose centres lie in a rectangle of the scene, or the one under its middle when
    // it is smaller than that.
    bool Fill(const QRectF& rect, QRgb rgb)
    {
        const QRectF at = m_Transform.mapRect(rect);
        constexpr qreal kLimit = 1 << 28;
        if (!(std::abs(at.left()) < kLimit && std::abs(at.right()) < kLimit && std::abs(at.top()) < kLimit &&
              std::abs(at.bottom()) < kLimit))
        {
            return false;
        }
        QRect pixels(
            QPoint(static_cast<int>(std::ceil(at.left() - 0.5)), static_cast<int>(std::ceil(at.top() - 0.5))),
            QPoint(static_cast<int>(std::ceil(at.right() - 0.5)) - 1,
                   static_cast<int>(std::ceil(at.bottom() - 0.5)) - 1));
        if (pixels.isEmpty())
        {
            pixels = QRect(static_cast<int>(std::floor(at.center().x())),
                           static_cast<int>(std::floor(at.center().y())), 1, 1);
        }
        for (const QRect& clip : m_Clip)
        {
            const QRect part = pixels.intersected(clip);
            for (int y = part.top(); y <= part.bottom(); ++y)
            {
                auto* pRow = reinterpret_cast<QRgb*>(m_pBits + y * m_iStride);
                std::fill(pRow + part.left(), pRow + part.right() + 1, 0xFF000000u | rgb);
            }
        }
        return true;
    }

private:
    // An opaque colour over a pixel by a share in 256ths.
    static QRgb Blend(QRgb pixel, QRgb rgb, int iShare)
    {
        if (iShare >= 256)
        {
            return 0xFF000000u | rgb;
        }
        if (iShare <= 0)
        {
            return pixel;
        }
        // Two channels at a time, each in a half of a 32-bit word: red and blue, then alpha and
        // green.
        const quint32 uShare = static_cast<quint32>(iShare);
        const quint32 uSource = 0xFF000000u | rgb;
        const quint32 uRedBlue =
            (((uSource & 0xFF00FFu) * uShare + (pixel & 0xFF00FFu) * (256 - uShare)) >> 8) & 0xFF00FFu;
        const quint32 uAlphaGreen =
            ((((uSource >> 8) & 0xFF00FFu) * uShare + ((pixel >> 8) & 0xFF00FFu) * (256 - uShare)) >> 8) &
            0xFF00FFu;
        return uRedBlue | (uAlphaGreen << 8);
    }

    bool Pixel(const QPointF& point, QPoint* pPixel) const
    {
        constexpr qreal kLimit = 1 << 28;
        const QPointF at = m_Transform.map(point);
        if (!(std::abs(at.x()) < kLimit && std::abs(at.y()) < kLimit))
        {
            return false;
        }
        *pPixel = QPoint(static_cast<int>(std::floor(at.x())), static_cast<int>(std::floor(at.y())));
        return true;
    }

    // The pixels of a line inside one rectangle. The pixel of each step along the line follows
    // from the step alone, not from where the drawing started, so that the parts of a line that
    // different repaints draw meet without a jog.
    void LineIn(const QRect& clip, QPoint from, QPoint to, QRgb rgb) const
    {
        int iDX = to.x() - from.x();
        int iDY = to.y() - from.y();
        const bool bXMajor = std::abs(iDX) >= std::abs(iDY);
        // Along the major axis from the lower end: step i is at minor offset
        // floor((2 i delta + length) / (2 length)), the nearest pixel to the line.
        if (bXMajor ? iDX < 0 : iDY < 0)
        {
            std::swap(from, to);
            iDX = -iDX;
            iDY = -iDY;
        }
        const qint64 iLength = bXMajor ? iDX : iDY;
        const qint64 iDelta = bXMajor ? iDY : iDX;
        const int iMajorFrom = bXMajor ? from.x() : from.y();
        const int iMinorFrom = bXMajor ? from.y() : from.x();
        qint64 iFirst = std::max(0, (bXMajor ? clip.left() : clip.top()) - iMajorFrom);
        qint64 iLast = std::min<qint64>(iLength, (bXMajor ? clip.right() : clip.bottom()) - iMajorFrom);
        // The steps whose minor offset q(i) lies within the clip's rows (or columns).
        const qint64 iLow = (bXMajor ? clip.top() : clip.left()) - iMinorFrom;
        const qint64 iHigh = (bXMajor ? clip.bottom() : clip.right()) - iMinorFrom;
        auto floorDiv = [](qint64 iA, qint64 iB) { return iA / iB - (iA % iB != 0 && iA < 0); };
        auto ceilDiv = [](qint64 iA, qint64 iB) { return iA / iB + (iA % iB != 0 && iA > 0); };
        if (iDelta > 0)
        {
            // Climbing: q(i) >= m from i = ceil((2 L m - L) / 2 d); q(i) <= M below that of M + 1.
            iFirst = std::max(iFirst, ceilDiv(2 * iLength * iLow - iLength, 2 * iDelta));
            iLast = std::min(iLast, ceilDiv(2 * iLength * (iHigh + 1) - iLength, 2 * iDelta) - 1);
        }
        else if (iDelta < 0)
        {
            // Falling by e = -d: q(i) >= m up to i = floor((L - 2 L m) / 2 e); q(i) <= M after
            // floor((L - 2 L (M + 1)) / 2 e).
            iFirst = std::max(iFirst, floorDiv(iLength - 2 * iLength * (iHigh + 1), -2 * iDelta) + 1);
            iLast = std::min(iLast, floorDiv(iLength - 2 * iLength * iLow, -2 * iDelta));
        }
        else if (iLow > 0 || iHigh < 0)
        {
            return;
        }
        if (iFirst > iLast)
        {
            return;
        }
        const qint64 iTwiceLength = 2 * std::max<qint64>(iLength, 1);
        const qint64 iStep = 2 * iDelta;
        const qint64 iNumerator = iStep * iFirst + iLength;
        const qint64 iQuotient = floorDiv(iNumerator, iTwiceLength);
        qint64 iRemainder = iNumerator - iQuotient * iTwiceLength;
        const int iMajor = iMajorFrom + static_cast<int>(iFirst);
        const int iMinor = iMinorFrom + static_cast<int>(iQuotient);
        const qsizetype iRow = m_iStride / qsizetype(sizeof(QRgb));
        QRgb* pPixel = reinterpret_cast<QRgb*>(m_pBits) + (bXMajor ? iMinor : iMajor) * iRow +
                       (bXMajor ? iMajor : iMinor);
        const qsizetype iMajorStep = bXMajor ? 1 : iRow;
        const qsizetype iMinorStep = bXMajor ? iRow : 1;
        if (iDelta >= 0)
        {
            for (qint64 i = iFirst; i <= iLast; ++i)
            {
                *pPixel = rgb;
                pPixel += iMajorStep;
                iRemainder += iStep;
                if (iRemainder >= iTwiceLength)
                {
                    iRemainder -= iTwiceLength;
                    pPixel += iMinorStep;
                }
            }
        }
        else
        {
            for (qint64 i = iFirst; i <= iLast; ++i)
            {
                *pPixel = rgb;
                pPixel += iMajorStep;
                iRemainder += iStep;
                if (iRemainder < 0)
                {
                    iRemainder += iTwiceLength;
                    pPixel -= iMinorStep;
                }
            }
        }
    }

    uchar* m_pBits = nullptr;
    qsizetype m_iStride = 0;
    QTransform m_Transform;
    std::vector<QRect> m_Clip;
};

// The parent of the link items: no contents, no size, nothing to pick.
class CLinkLayer : public QGraphicsItem
{
public:
    CLinkLayer() { setFlag(ItemHasNoContents); }
    QRectF boundingRect() const override { return QRectF(); }
    void paint(QPainter*, const QStyleOptionGraphicsItem*, QWidget*) override {}
};

// Rectangles already taken on the map, by cells of a grid, for finding a free place quickly.
class CTakenSpace
{
public:
    void Add(const QRectF& rect)
    {
        if (rect.isEmpty())
        {
            return;
        }
        const int iIndex = static_cast<int>(m_Rects.size());
        m_Rects.push_back(rect);
        ForCells(rect, [&](quint64 uCell) { m_Cells[uCell].push_back(iIndex); });
    }
    bool Meets(const QRectF& rect) const
    {
        bool bMeets = false;
        ForCells(rect,
                 [&](quint64 uCell)
                 {
                     const auto it = m_Cells.constFind(uCell);
                     if (bMeets || it == m_Cells.constEnd())
                     {
                         return;
                     }
                     for (int iIndex : *it)
                     {
                         if (m_Rects[static_cast<size_t>(iIndex)].intersects(rect))
                         {
                             bMeets = true;
                             return;
                         }
                     }
                 });
        return bMeets;
    }

private:
    static constexpr qreal kCell = 64.0;
    template <typename Fn> static void ForCells(const QRectF& rect, Fn&& fn)
    {
        const int iLeft = static_cast<int>(std::floor(rect.left() / kCell));
        const int iRight = static_cast<int>(std::floor(rect.right() / kCell));
        const int iTop = static_cast<int>(std::floor(rect.top() / kCell));
        const int iBottom = static_cast<int>(std::floor(rect.bottom() / kCell));
        for (int y = iTop; y <= iBottom; ++y)
        {
            for (int x = iLeft; x <= iRight; ++x)
            {
                fn((static_cast<quint64>(static_cast<quint32>(y)) << 32) | static_cast<quint32>(x));
            }
        }
    }

    std::vector<QRectF> m_Rects;
    QHash<quint64, std::vector<int>> m_Cells;
};
} // namespace

CTextLine::CTextLine(const QString& strText, const QFont& font)
{
    QTextLayout layout(strText, font);
    layout.setCacheEnabled(true);
    layout.beginLayout();
    QTextLine line = layout.createLine();
    line.setNumColumns(static_cast<int>(strText.size()));
    layout.endLayout();
    m_Runs = layout.glyphRuns();
    m_Size = QSizeF(line.naturalTextWidth(), line.height());
}

void CTextLine::Draw(QPainter* pPainter, const QPointF& topLeft) const
{
    for (const QGlyphRun& run : m_Runs)
    {
        pPainter->drawGlyphRun(topLeft, run);
    }
}

QString CIconCache::Resolve(const QString& strPath)
{
    if (!strPath.isEmpty() && QFileInfo(strPath).isFile())
    {
        return strPath;
    }
    // Maps written elsewhere name icons by their Windows paths and bitmap files.
    QString strName =
        QFileInfo(QString(strPath).replace(QLatin1Char('\\'), QLatin1Char('/'))).completeBaseName();
    const QString strSvg = BitmapDirectory() + strName + QStringLiteral(".svg");
    if (!strName.isEmpty() && QFileInfo(strSvg).isFile())
    {
        return strSvg;
    }
    const bool bSelected =
        strPath.endsWith(QLatin1String("-sel.svg")) || strPath.endsWith(QLatin1String("-sel.bmp"));
    return BitmapDirectory() + (bSelected ? QStringLiteral("unkwn-reg-unkwn-lrg-sel.svg")
                                          : QStringLiteral("unkwn-reg-unkwn-lrg-nosel.svg"));
}

const QPixmap& CIconCache::Icon(const QString& strPath)
{
    return Icon(strPath, kIconSize);
}

const QPixmap& CIconCache::Icon(const QString& strPath, int iPixels)
{
    // Sizes by halves of the full one: 48, 24, 12, 6.
    int iSize = kIconSize;
    while (iSize / 2 >= iPixels && iSize > 6)
    {
        iSize /= 2;
    }
    static QHash<QString, QPixmap> cache;
    const QString strKey = strPath + QLatin1Char('@') + QString::number(iSize);
    const auto it = cache.constFind(strKey);
    if (it != cache.constEnd())
    {
        return *it;
    }
    QPixmap pixmap(iSize, iSize);
    pixmap.fill(Qt::transparent);
    QSvgRenderer renderer(Resolve(strPath));
    if (renderer.isValid())
    {
        QPainter painter(&pixmap);
        painter.setRenderHint(QPainter::Antialiasing);
        renderer.render(&painter);
    }
    return *cache.insert(strKey, pixmap);
}

QColor CIconCache::Mark(const QString& strPath)
{
    static QHash<QString, QColor> cache;
    const auto it = cache.constFind(strPath);
    if (it != cache.constEnd())
    {
        return *it;
    }
    QColor mark = QColor::fromRgba(
        Icon(strPath).toImage().scaled(1, 1, Qt::IgnoreAspectRatio, Qt::SmoothTransformation).pixel(0, 0));
    mark.setAlpha(255);
    return *cache.insert(strPath, mark);
}

SPEIcon PEIcon(const CPEPrimitive& pe, QHash<uint32_t, bool>* pKnown)
{
    SPEIcon icon;
    if (!pe.BitmapNoSel.isEmpty())
    {
        // Set by the PE's identity in this run.
        icon.strNormal = pe.BitmapNoSel;
        icon.strSelected = pe.BitmapSel.isEmpty() ? pe.BitmapNoSel : pe.BitmapSel;
        icon.bInLibrary = !pe.BitmapNoSel.contains(QLatin1String("-unkwn-lrg"));
        return icon;
    }
    // Read from a file: the symbol names the family; the type stands in for a missing symbol.
    QString strSymbol = pe.Symbol;
    const bool bSpecial = pe.uType == kPETypeNull || pe.uType == kPETypeUnknown;
    if (strSymbol.isEmpty())
    {
        const QString strEnd = (pe.uType & kPETypeMemory) ? QStringLiteral("mem") : QStringLiteral("reg");
        if (pe.uType == kPETypeNull)
        {
            strSymbol = QStringLiteral("null-reg");
        }
        else if (pe.uType & kPETypeSwitch)
        {
            strSymbol = QStringLiteral("sw-") + strEnd;
        }
        else if (pe.uType & kPETypeProcessor)
        {
            strSymbol = QStringLiteral("ep-") + strEnd;
        }
        else if (pe.uType & kPETypeBridge)
        {
            strSymbol = QStringLiteral("br-") + strEnd;
        }
        else if (pe.uType & kPETypeMemory)
        {
            strSymbol = QStringLiteral("mem-reg");
        }
        else
        {
            strSymbol = QStringLiteral("unkwn-reg");
        }
    }
    if (!bSpecial)
    {
        const uint32_t uKey = (static_cast<uint32_t>(pe.DeviceID) << 16) | pe.ManufID;
        if (pKnown && pKnown->contains(uKey))
        {
            icon.bInLibrary = pKnown->value(uKey);
        }
        else
        {
            icon.bInLibrary = CDeviceInfo::DeviceFilesExist(pe.DeviceID, pe.ManufID);
            if (pKnown)
            {
                pKnown->insert(uKey, icon.bInLibrary);
            }
        }
    }
    const QString strBase =
        BitmapDirectory() + strSymbol + (icon.bInLibrary ? QStringLiteral("-kwn") : QStringLiteral("-unkwn"));
    icon.strNormal = strBase + QStringLiteral("-lrg-nosel.svg");
    icon.strSelected = strBase + QStringLiteral("-lrg-sel.svg");
    return icon;
}

void CNodeItem::SetPrinting(bool bPrinting)
{
    g_bPrinting = bPrinting;
}

CNodeItem::CNodeItem(CDrawPrimitive* pObject, const QString& strNormal, const QString& strSelected,
                     const QStringList& lines)
    : m_pObject(pObject), m_strNormal(strNormal), m_strSelected(strSelected), m_Lines(lines)
{
    setFlags(ItemIsSelectable | ItemIsMovable | ItemSendsGeometryChanges);
    setPos(pObject->iXPos, pObject->iYPos);
    m_Mark = CIconCache::Mark(strNormal);
    for (const QString& strLine : m_Lines)
    {
        m_Texts.emplace_back(strLine, NodeFont());
    }
    if (!m_Lines.isEmpty())
    {
        const qreal dWidth = WidestLine(m_Lines) + 2;
        m_Label = QRectF(-dWidth / 2, kIconHalf + kLabelGap, dWidth, kLineHeight * m_Lines.size());
    }
    m_Bounds = QRectF(-kIconHalf - 4, -kIconHalf - 4, CIconCache::kIconSize + 8, CIconCache::kIconSize + 8)
                   .united(m_Label);
}

SNodeRoom CNodeItem::Room(const QStringList& lines)
{
    SNodeRoom room;
    room.dHalfWidth = std::max(kIconHalf, (WidestLine(lines) + 2) / 2) + kPad;
    room.dAbove = kIconHalf + kPad;
    room.dBelow = lines.isEmpty() ? room.dAbove : kIconHalf + kLabelGap + kLineHeight * lines.size() + kPad;
    return room;
}

SNodeMark CNodeItem::Mark() const
{
    // Far out a PE at fault shows in its fault's colour rather than its icon's.
    return SNodeMark{IconRect(), m_Fault.isValid() ? m_Fault.rgb() : m_Mark.rgb(), isSelected()};
}

int CNodeItem::Kind() const
{
    return m_pObject->eKind;
}

void CNodeItem::SetMarks(const QColor& fault, const QColor& halo)
{
    m_Fault = fault;
    m_Halo = halo;
    update();
}

void CNodeItem::SetFault(const QColor& fault)
{
    if (fault == m_Fault)
    {
        return;
    }
    m_Fault = fault;
    update();
    if (m_iSlot >= 0 && scene())
    {
        static_cast<CMapScene*>(scene())->Refresh(this, m_iSlot);
    }
}

QRectF CNodeItem::IconRect() const
{
    return QRectF(pos() - QPointF(kIconHalf, kIconHalf),
                  QSizeF(CIconCache::kIconSize, CIconCache::kIconSize));
}

QRectF CNodeItem::LabelRect() const
{
    return m_Label.isEmpty() ? QRectF() : m_Label.translated(pos());
}

QRectF CNodeItem::boundingRect() const
{
    return m_Bounds;
}

QPainterPath CNodeItem::shape() const
{
    QPainterPath path;
    path.addRect(-kIconHalf, -kIconHalf, CIconCache::kIconSize, CIconCache::kIconSize);
    return path;
}

void CNodeItem::paint(QPainter* pPainter, const QStyleOptionGraphicsItem* pOption, QWidget*)
{
    const QRectF iconRect(-kIconHalf, -kIconHalf, CIconCache::kIconSize, CIconCache::kIconSize);
    const qreal dDetail = pOption->levelOfDetailFromTransform(pPainter->worldTransform());
    const bool bSelected = isSelected() && !g_bPrinting;
    if (dDetail < kIconDetail)
    {
        // A whole large map in view: each node is a few pixels, and a mark is all that shows. A
        // scene that draws the links draws the marks over them too.
        const auto* pScene = static_cast<const CMapScene*>(scene());
        if (!pScene || !pScene->BatchedLinks())
        {
            pPainter->fillRect(iconRect, bSelected           ? QColor::fromRgb(kSelectedLink)
                                         : m_Fault.isValid() ? m_Fault
                                                             : m_Mark);
        }
        return;
    }
    if (m_Halo.isValid())
    {
        pPainter->setPen(Qt::NoPen);
        pPainter->setBrush(m_Halo);
        pPainter->drawEllipse(iconRect.adjusted(-4, -4, 4, 4));
    }
    // The icon rendered nearest the size it shows at, so that little scaling is left to do.
    const int iPixels = static_cast<int>(std::ceil(CIconCache::kIconSize * dDetail));
    const QPixmap& icon = CIconCache::Icon(bSelected ? m_strSelected : m_strNormal, iPixels);
    pPainter->setRenderHint(QPainter::SmoothPixmapTransform, icon.width() != iPixels);
    pPainter->drawPixmap(iconRect, icon, QRectF(icon.rect()));
    if (m_Fault.isValid())
    {
        pPainter->setPen(QPen(m_Fault, 3));
        pPainter->setBrush(Qt::NoBrush);
        pPainter->drawRect(iconRect.adjusted(-2, -2, 2, 2));
    }
    if (dDetail < kNodeTextDetail || m_Texts.empty())
    {
        return;
    }
    // A light ground under the text, so that a link passing behind it doesn't cross the letters.
    pPainter->setPen(Qt::NoPen);
    pPainter->setBrush(Qt::white);
    pPainter->drawRect(m_Label);
    pPainter->setPen(Qt::black);
    qreal dY = m_Label.top();
    for (const CTextLine& text : m_Texts)
    {
        text.Draw(pPainter, QPointF(-text.Size().width() / 2, dY));
        dY += kLineHeight;
    }
}

QVariant CNodeItem::itemChange(GraphicsItemChange eChange, const QVariant& value)
{
    if (eChange == ItemPositionHasChanged)
    {
        for (CEdgeItem* pEdge : m_Edges)
        {
            pEdge->Adjust();
        }
    }
    if ((eChange == ItemPositionHasChanged || eChange == ItemSelectedHasChanged) && m_iSlot >= 0 && scene())
    {
        static_cast<CMapScene*>(scene())->Refresh(this, m_iSlot);
    }
    return QGraphicsItem::itemChange(eChange, value);
}

CEdgeItem::CEdgeItem(CDrawPrimitive* pObject, CNodeItem* pStart, CNodeItem* pEnd, int iLane,
                     const QString& strStartLabel, const QString& strEndLabel, const QColor& colour)
    : m_pObject(pObject), m_pStart(pStart), m_pEnd(pEnd), m_iLane(iLane), m_Colour(colour)
{
    // The scene draws the links, all together; the items are there to be picked and selected.
    setFlags(ItemIsSelectable | ItemHasNoContents);
    m_Labels[0].strText = strStartLabel;
    m_Labels[1].strText = strEndLabel;
    for (SLabel& label : m_Labels)
    {
        if (!label.strText.isEmpty())
        {
            label.size = LinkLabelSize(label.strText);
            label.text = CTextLine(label.strText, LinkFont());
        }
    }
    pStart->AddEdge(this);
    if (pEnd != pStart)
    {
        pEnd->AddEdge(this);
    }
    Adjust();
}

QPainterPath CEdgeItem::Path() const
{
    const QPointF from = m_pStart->pos();
    const QPointF to = m_pEnd->pos();
    QPainterPath path(from);
    if (m_pStart == m_pEnd)
    {
        // A link from a PE to itself: a loop beside the icon, one further out per lane.
        const qreal dOut = 50 + kLaneSpacing * m_iLane;
        path.cubicTo(from + QPointF(dOut, -dOut), from + QPointF(dOut, dOut), from);
        return path;
    }
    if (m_iLane == 0)
    {
        path.lineTo(to);
        return path;
    }
    // Parallel links bow out to alternate sides, further with each lane.
    const QPointF delta = to - from;
    const qreal dLength = std::hypot(delta.x(), delta.y());
    const QPointF normal = dLength > 0 ? QPointF(-delta.y() / dLength, delta.x() / dLength) : QPointF(0, 1);
    const qreal dOffset = kLaneSpacing * ((m_iLane + 1) / 2) * (m_iLane % 2 ? 1 : -1) * 2;
    path.quadTo((from + to) / 2 + normal * dOffset, to);
    return path;
}

QPointF CEdgeItem::PointAt(int iEnd, qreal dDistance) const
{
    dDistance = std::clamp(dDistance, 0.0, m_dLength);
    if (m_pStart != m_pEnd && m_iLane == 0)
    {
        const QPointF from = m_pStart->pos();
        const QPointF to = m_pEnd->pos();
        if (m_dLength <= 0)
        {
            return from;
        }
        const QPointF step = (to - from) / m_dLength;
        return iEnd == 0 ? from + step * dDistance : to - step * dDistance;
    }
    const qreal dAt = m_Path.percentAtLength(iEnd == 0 ? dDistance : m_dLength - dDistance);
    return m_Path.pointAtPercent(std::clamp(dAt, 0.0, 1.0));
}

QRectF CEdgeItem::LabelRectAt(int iEnd, qreal dDistance) const
{
    const SLabel& label = m_Labels[static_cast<size_t>(iEnd)];
    if (label.strText.isEmpty())
    {
        return QRectF();
    }
    QRectF box(QPointF(), label.size);
    box.moveCenter(PointAt(iEnd, dDistance));
    return box;
}

QRectF CEdgeItem::LabelRect(int iEnd) const
{
    const SLabel& label = m_Labels[static_cast<size_t>(iEnd)];
    if (label.strText.isEmpty())
    {
        return QRectF();
    }
    QRectF box(QPointF(), label.size);
    box.moveCenter(label.at);
    return box;
}

qreal CEdgeItem::LabelClearance(int iEnd) const
{
    const SLabel& label = m_Labels[static_cast<size_t>(iEnd)];
    const QPointF node = (iEnd == 0 ? m_pStart : m_pEnd)->pos();
    // The way the link leaves the node, from a point a little along it.
    const QPointF towards = PointAt(iEnd, std::min<qreal>(10.0, m_dLength)) - node;
    const qreal dLength = std::hypot(towards.x(), towards.y());
    if (dLength <= 0)
    {
        return 0;
    }
    const qreal dX = std::abs(towards.x()) / dLength;
    const qreal dY = std::abs(towards.y()) / dLength;
    qreal dClear = std::numeric_limits<qreal>::max();
    if (dX > 1e-6)
    {
        dClear = std::min(dClear, (kIconHalf + kPad + label.size.width() / 2) / dX);
    }
    if (dY > 1e-6)
    {
        dClear = std::min(dClear, (kIconHalf + kPad + label.size.height() / 2) / dY);
    }
    return dClear;
}

void CEdgeItem::SetLabelDistance(int iEnd, qreal dDistance, const QPointF& shift)
{
    SLabel& label = m_Labels[static_cast<size_t>(iEnd)];
    if (label.strText.isEmpty())
    {
        return;
    }
    RepaintArea();
    prepareGeometryChange();
    label.at = PointAt(iEnd, dDistance) + shift;
    m_Bounds = m_Path.boundingRect().adjusted(-3, -3, 3, 3).united(LabelRect(0)).united(LabelRect(1));
    RepaintArea();
}

void CEdgeItem::Adjust()
{
    RepaintArea();
    prepareGeometryChange();
    m_Path = Path();
    m_dLength = m_Path.length();
    m_Bounds = m_Path.boundingRect().adjusted(-3, -3, 3, 3);
    RepaintArea();
    for (int iEnd : {0, 1})
    {
        SetLabelDistance(iEnd, LabelClearance(iEnd));
    }
}

QRectF CEdgeItem::boundingRect() const
{
    return m_Bounds;
}

QPainterPath CEdgeItem::shape() const
{
    QPainterPathStroker stroker;
    stroker.setWidth(8);
    return stroker.createStroke(m_Path);
}

void CEdgeItem::paint(QPainter* pPainter, const QStyleOptionGraphicsItem*, QWidget*)
{
    // Drawn on its own only when the scene doesn't draw the links together.
    const QPaintDevice* pDevice = pPainter->device();
    const QRectF exposed =
        pPainter->worldTransform().inverted().mapRect(QRectF(0, 0, pDevice->width(), pDevice->height()));
    DrawLinks(pPainter, {Drawing()}, exposed);
}

QVariant CEdgeItem::itemChange(GraphicsItemChange eChange, const QVariant& value)
{
    if (eChange == ItemSelectedHasChanged)
    {
        RepaintArea();
    }
    return QGraphicsItem::itemChange(eChange, value);
}

void CEdgeItem::SetColour(const QColor& colour)
{
    if (colour == m_Colour)
    {
        return;
    }
    m_Colour = colour;
    RepaintArea();
}

void CEdgeItem::RepaintArea() const
{
    if (m_iSlot < 0 || !scene())
    {
        return;
    }
    static_cast<CMapScene*>(scene())->Refresh(this, m_iSlot);
    // An item without contents of its own isn't repainted by the scene when it changes.
    if (flags() & ItemHasNoContents)
    {
        scene()->update(m_Bounds);
    }
}

SLinkDrawing CEdgeItem::Drawing() const
{
    return SLinkDrawing{m_Bounds,    Line(), this, m_Colour.rgb(), m_pStart != m_pEnd && m_iLane == 0,
                        isSelected()};
}

void CEdgeItem::DrawLinks(QPainter* pPainter, const std::vector<SLinkDrawing>& links, const QRectF& rect)
{
    const qreal dDetail = QStyleOptionGraphicsItem::levelOfDetailFromTransform(pPainter->worldTransform());
    const bool bSmooth = dDetail >= kSmoothLineDetail;
    const QRectF exposed = rect.adjusted(-4, -4, 4, 4);
    // The straight lines go straight into the image's pixels where they can: hairlines far out,
    // smoothed bands close in.
    CPixelTarget pixels(pPainter);
    const bool bPixels = pixels.IsValid();
    const qreal dScale = pPainter->deviceTransform().m11();
    // The rest of the links in view by colour, selected ones apart to go on top: a few calls
    // draw them all.
    struct SBatch
    {
        QRgb rgb;
        bool bSelected;
        QList<QLineF> lines;
        QPainterPath curves;
    };
    std::vector<SBatch> batches;
    std::vector<const CEdgeItem*> labelled;
    const bool bLabels = dDetail >= kEdgeTextDetail;
    for (const SLinkDrawing& link : links)
    {
        if (!link.bounds.intersects(exposed))
        {
            continue;
        }
        if (bLabels)
        {
            labelled.push_back(link.pEdge);
        }
        const bool bSelected = link.bSelected && !g_bPrinting;
        const QRgb rgb = bSelected ? kSelectedLink : link.rgb;
        const bool bStraight = link.bStraight;
        if (bStraight && bPixels &&
            (bSmooth ? pixels.SmoothLine(link.line, (bSelected ? 3 : 2) * dScale, rgb)
                     : !bSelected && pixels.Line(link.line, rgb)))
        {
            continue;
        }
        auto it = std::find_if(batches.begin(), batches.end(),
                               [&](const SBatch& batch)
                               { return batch.rgb == rgb && batch.bSelected == bSelected; });
        if (it == batches.end())
        {
            it = batches.insert(batches.end(), SBatch{rgb, bSelected, {}, {}});
        }
        if (bStraight)
        {
            // A long link whose box is in view may pass the window by, and is cut to it when not:
            // stroking the part in view is much the cheaper.
            QLineF line = link.line;
            if (ClipLine(&line, exposed))
            {
                it->lines.push_back(line);
            }
        }
        else
        {
            it->curves.addPath(link.pEdge->m_Path);
        }
    }
    const bool bWasSmooth = pPainter->testRenderHint(QPainter::Antialiasing);
    pPainter->setRenderHint(QPainter::Antialiasing, bSmooth);
    pPainter->setBrush(Qt::NoBrush);
    std::stable_partition(batches.begin(), batches.end(),
                          [](const SBatch& batch) { return !batch.bSelected; });
    for (const SBatch& batch : batches)
    {
        // Far out a link is a hairline: as visible, and much cheaper to draw.
        QPen pen(QColor::fromRgb(batch.rgb), bSmooth ? (batch.bSelected ? 3 : 2) : (batch.bSelected ? 2 : 1));
        pen.setCosmetic(!bSmooth);
        pPainter->setPen(pen);
        pPainter->drawLines(batch.lines);
        if (!batch.curves.isEmpty())
        {
            pPainter->drawPath(batch.curves);
        }
    }
    pPainter->setRenderHint(QPainter::Antialiasing, bWasSmooth);
    if (!bLabels)
    {
        return;
    }
    // The labels over all the lines, so that no link crosses another's label.
    QList<QRectF> boxes;
    std::vector<std::pair<QPointF, const CTextLine*>> texts;
    for (const CEdgeItem* pEdge : labelled)
    {
        for (int iEnd : {0, 1})
        {
            const QRectF box = pEdge->LabelRect(iEnd);
            if (box.isEmpty() || !box.intersects(exposed))
            {
                continue;
            }
            boxes.push_back(box);
            const CTextLine& text = pEdge->m_Labels[static_cast<size_t>(iEnd)].text;
            texts.emplace_back(box.center() - QPointF(text.Size().width(), text.Size().height()) / 2, &text);
        }
    }
    if (boxes.isEmpty())
    {
        return;
    }
    pPainter->setPen(QColor(150, 150, 150));
    pPainter->setBrush(Qt::white);
    pPainter->drawRects(boxes);
    pPainter->setPen(Qt::black);
    for (const auto& [at, pText] : texts)
    {
        pText->Draw(pPainter, at);
    }
}

CMapScene::CMapScene(QObject* pParent) : QGraphicsScene(pParent)
{
    // Far out the scene draws the nodes' marks itself, and the view passes their items by.
    setMinimumRenderSize(kSkippedNodePixels);
    // The scene's ground, not the view's: a view with a ground of its own doesn't let the scene
    // draw its background, where the links are.
    setBackgroundBrush(Qt::white);
}

namespace
{
QString PortLabel(const CPEPrimitive* pPE, int iPort, const SMapOptions& options)
{
    if (!pPE || iPort < 0 || iPort >= kMaxPorts)
    {
        return QString();
    }
    QStringList parts;
    if (options[eOptPortNumbers])
    {
        parts << QString::number(iPort);
    }
    const PortInfo& port = pPE->Ports[static_cast<size_t>(iPort)];
    if (options[eOptPortWidths] && !PortWidthText(port.CurrentWidth).isEmpty())
    {
        parts << PortWidthText(port.CurrentWidth);
    }
    if (options[eOptPortSpeeds] && !PortSpeedText(port.uSpeedMHz).isEmpty())
    {
        parts << PortSpeedText(port.uSpeedMHz);
    }
    return parts.join(QLatin1Char(' '));
}

// The marks of a comparison with the live fabric: magenta is gone (red already means a link that is
// down), green is new, orange has changed.
QColor ComparisonColour(EComparisonMark eMark)
{
    switch (eMark)
    {
    case eMarkMissing:
        return QColor(200, 0, 200, 190);
    case eMarkAdded:
        return QColor(0, 170, 60, 190);
    case eMarkChanged:
        break;
    }
    return QColor(255, 140, 0, 190);
}

// bToNothing: the link ends at a Null PE, a port with nothing behind it. That one being down is
// how it should be, and is drawn pale rather than as a fault, so real faults stand out.
QColor LinkColour(const CConnectionPrimitive* pConnection, const SMapOptions& options, bool bToNothing)
{
    if (pConnection && options[eOptFaultIndicators] && !pConnection->GetStatus().isEmpty())
    {
        if (pConnection->eStatus == eConnectionIntermittent)
        {
            return QColor(230, 140, 0);
        }
        if (pConnection->eStatus != eConnectionUp)
        {
            return bToNothing ? QColor(190, 190, 190) : QColor(Qt::red);
        }
    }
    return QColor(60, 60, 60);
}

bool LeadsNowhere(const CConnectionPrimitive* pConnection, const QHash<int, const CPEPrimitive*>& pes)
{
    if (!pConnection)
    {
        return false;
    }
    const CPEPrimitive* pEnd1 = pes.value(pConnection->iPE1);
    const CPEPrimitive* pEnd2 = pes.value(pConnection->iPE2);
    return (pEnd1 && (pEnd1->uType & kPETypeNull)) || (pEnd2 && (pEnd2->uType & kPETypeNull));
}

// The frame of a PE the health monitor found at fault: red when it doesn't answer, magenta when
// another device answers in its place; none while it is OK, unchecked or fault marks are off.
QColor HealthColour(const CPEPrimitive& pe, const SMapOptions& options)
{
    if (!options[eOptFaultIndicators])
    {
        return QColor();
    }
    switch (pe.Health.eStatus)
    {
    case eValidationNotResponding:
        return QColor(Qt::red);
    case eValidationIDsNotMatching:
        return QColor(200, 0, 200);
    default:
        return QColor();
    }
}

QString BadgeTip(const CPEPrimitive& pe)
{
    return QStringLiteral("%1\nThe question mark: the device library has no description of this device "
                          "(device %2, vendor %3), so only its standard RapidIO registers are known "
                          "and its icon shows its type.")
        .arg(pe.CommonName.isEmpty() ? pe.GetTypeString() : pe.CommonName,
             QString::asprintf("%04Xh", pe.DeviceID), QString::asprintf("%04Xh", pe.ManufID));
}
} // namespace

SLayoutRoom CMapScene::LayoutRoom(const CNetworkDocument& document, const SMapOptions& options)
{
    SLayoutRoom room;
    room.nodeRoom = [](const QStringList& lines) { return CNodeItem::Room(lines); };
    QHash<int, const CPEPrimitive*> pes;
    for (const auto& pPE : *document.pCurrentPEs)
    {
        pes.insert(pPE->iNodeNumber, pPE.get());
    }
    for (const auto& pConnection : *document.pCurrentConnections)
    {
        if (pConnection->bDeleted)
        {
            continue;
        }
        for (const auto& [iPE, iPort] : {std::pair{pConnection->iPE1, pConnection->iPE1Port},
                                         std::pair{pConnection->iPE2, pConnection->iPE2Port}})
        {
            const QString strLabel = PortLabel(pes.value(iPE), iPort, options);
            if (!strLabel.isEmpty())
            {
                const QSizeF size = LinkLabelSize(strLabel);
                room.dLinkLabel = std::max(room.dLinkLabel, std::max(size.width(), size.height()) + kPad);
            }
        }
    }
    return room;
}

void CMapScene::Build(CNetworkDocument& document, const SMapOptions& options, bool bHideNulls, bool bPrinting)
{
    clear();
    m_Nodes.clear();
    m_Edges.clear();
    m_Marks.clear();
    m_Links.clear();
    RefreshLabels(document, options);
    QHash<int, const CPEPrimitive*> pes;
    for (const auto& pPE : *document.pCurrentPEs)
    {
        if (!pPE->bDeleted)
        {
            pes.insert(pPE->iNodeNumber, pPE.get());
        }
    }
    QHash<int, const CConnectionPrimitive*> connections;
    for (const auto& pConnection : *document.pCurrentConnections)
    {
        if (!pConnection->bDeleted)
        {
            connections.insert(pConnection->iNodeNumber, pConnection.get());
        }
    }
    const QString strIcons = BitmapDirectory();
    QHash<uint32_t, bool> known;
    for (const auto& pObject : *document.pCurrentNodes)
    {
        auto& node = static_cast<CDrawNode&>(*pObject);
        if (!node.bVisible || node.iBelongsToGroup != kNoGroup)
        {
            continue;
        }
        QString strNormal = node.BitmapNoSel;
        QString strSelected = node.BitmapSel;
        QStringList lines = node.TextLines;
        const CPEPrimitive* pPE = nullptr;
        bool bInLibrary = true;
        if (node.eKind == eDrawKindPE)
        {
            pPE = pes.value(node.iAssociatedPrimitive);
            if (!pPE || (bHideNulls && pPE->uType == kPETypeNull))
            {
                continue;
            }
            // The PE decides its icon: the node's copy may be stale or, from a file, missing.
            const SPEIcon icon = PEIcon(*pPE, &known);
            strNormal = icon.strNormal;
            strSelected = icon.strSelected;
            bInLibrary = icon.bInLibrary;
        }
        else if (node.eKind == eDrawKindGroup)
        {
            strNormal = strIcons + QStringLiteral("grp-1-lrg-nosel.svg");
            strSelected = strIcons + QStringLiteral("grp-1-lrg-sel.svg");
            lines = {static_cast<CDrawGroup&>(node).Label};
        }
        else if (node.eKind == eDrawKindOffViewHandle)
        {
            strNormal = strIcons + QStringLiteral("ovh-1-lrg-nosel.svg");
            strSelected = strIcons + QStringLiteral("ovh-1-lrg-sel.svg");
            lines = {static_cast<CDrawOffViewHandle&>(node).Label};
        }
        if (node.eKind == eDrawKindPE)
        {
            // The probe's points, under the node's own lines.
            lines << static_cast<const CDrawPE&>(node).strProbeLabel;
        }
        lines.removeAll(QString());
        auto* pItem = new CNodeItem(&node, strNormal, strSelected, lines);
        if (pPE)
        {
            const auto& pe = static_cast<const CDrawPE&>(node);
            QColor halo;
            if (pe.bHighlighted)
            {
                halo = QColor(255, 230, 0, 180);
            }
            else if (pe.bTrafficSource || pe.bTrafficTarget)
            {
                halo = pe.bTrafficSource ? QColor(0, 200, 0, 120) : QColor(0, 120, 255, 120);
            }
            const SComparisonMark* pCompared = CurrentFabricComparison().PEMark(*pPE);
            if (pCompared)
            {
                halo = ComparisonColour(pCompared->eMark);
            }
            pItem->SetMarks(HealthColour(*pPE, options), halo);
            if (!bInLibrary)
            {
                pItem->setToolTip(BadgeTip(*pPE));
            }
            if (pCompared)
            {
                pItem->setToolTip(pCompared->strTip);
            }
        }
        pItem->setSelected(node.bSelected && !bPrinting);
        addItem(pItem);
        m_Nodes.insert(node.uUniqueID, pItem);
        pItem->SetSlot(static_cast<int>(m_Marks.size()));
        m_Marks.push_back(pItem->Mark());
    }
    // The links under the nodes, as the children of one item: the view then sorts one item for
    // them all in each frame, not thousands, and passes each by in a few steps.
    auto* pLinks = new CLinkLayer;
    pLinks->setZValue(-1);
    addItem(pLinks);
    // Links between the same two nodes are drawn side by side rather than on top of each other.
    std::map<std::pair<uint32_t, uint32_t>, int> lanes;
    for (const auto& pObject : *document.pCurrentEdges)
    {
        auto& edge = static_cast<CDrawEdge&>(*pObject);
        CNodeItem* pStart = m_Nodes.value(edge.uStartUniqueID);
        CNodeItem* pEnd = m_Nodes.value(edge.uEndUniqueID);
        if (!edge.bVisible || !pStart || !pEnd)
        {
            continue;
        }
        const auto key = std::minmax(edge.uStartUniqueID, edge.uEndUniqueID);
        const int iLane = lanes[key]++;
        const CConnectionPrimitive* pConnection = connections.value(edge.iAssociatedPrimitive);
        QString strStart;
        QString strEnd;
        if (pConnection)
        {
            const int iStartPE = pStart->Object()->iAssociatedPrimitive;
            const bool bForward = pStart->Kind() != eDrawKindPE || iStartPE == pConnection->iPE1;
            const int iStartPort = bForward ? pConnection->iPE1Port : pConnection->iPE2Port;
            const int iEndPort = bForward ? pConnection->iPE2Port : pConnection->iPE1Port;
            if (pStart->Kind() == eDrawKindPE)
            {
                strStart = PortLabel(pes.value(iStartPE), iStartPort, options);
            }
            if (pEnd->Kind() == eDrawKindPE)
            {
                strEnd = PortLabel(pes.value(pEnd->Object()->iAssociatedPrimitive), iEndPort, options);
            }
        }
        const SComparisonMark* pCompared =
            pConnection ? CurrentFabricComparison().ConnectionMark(*pConnection) : nullptr;
        auto* pItem =
            new CEdgeItem(&edge, pStart, pEnd, iLane, strStart, strEnd,
                          pCompared ? QColor(ComparisonColour(pCompared->eMark).rgb())
                                    : LinkColour(pConnection, options, LeadsNowhere(pConnection, pes)));
        if (pCompared)
        {
            pItem->setToolTip(pCompared->strTip);
        }
        pItem->setFlag(QGraphicsItem::ItemHasNoContents, m_bBatched);
        pItem->setSelected(edge.bSelected && !bPrinting);
        pItem->setParentItem(pLinks);
        pItem->SetSlot(static_cast<int>(m_Edges.size()));
        m_Edges.push_back(pItem);
        m_Links.push_back(pItem->Drawing());
    }
    PlaceLinkLabels();
    const CMapView& view = *document.pCurrentView;
    const QRectF mapSize(0, 0, document.bShowTemplate ? view.iTemplateWidth : view.iWidth,
                         document.bShowTemplate ? view.iTemplateHeight : view.iHeight);
    m_DrawnRect = itemsBoundingRect().adjusted(-20, -20, 20, 20);
    m_MapRect = mapSize.united(m_DrawnRect);
    setSceneRect(m_MapRect);
    setBspTreeDepth(IndexDepth(static_cast<int>(m_Nodes.size() + m_Edges.size())));
}

void CMapScene::SetBatchedLinks(bool bBatched)
{
    m_bBatched = bBatched;
    setMinimumRenderSize(bBatched ? kSkippedNodePixels : 0.0);
    for (CEdgeItem* pEdge : m_Edges)
    {
        pEdge->setFlag(QGraphicsItem::ItemHasNoContents, bBatched);
    }
    update();
}

void CMapScene::drawBackground(QPainter* pPainter, const QRectF& rect)
{
    QGraphicsScene::drawBackground(pPainter, rect);
    if (!m_bBatched)
    {
        return;
    }
    CEdgeItem::DrawLinks(pPainter, m_Links, rect);
    if (QStyleOptionGraphicsItem::levelOfDetailFromTransform(pPainter->worldTransform()) >= kIconDetail)
    {
        return;
    }
    // Far out, the marks that stand for the nodes, over the links. The view doesn't ask most of
    // the node items to paint (they are below its least size), and those it asks paint nothing.
    const QRectF exposed = rect.adjusted(-1, -1, 1, 1);
    CPixelTarget pixels(pPainter);
    for (const SNodeMark& mark : m_Marks)
    {
        const QRgb rgb = mark.bSelected && !g_bPrinting ? kSelectedLink : mark.rgb;
        if (mark.icon.intersects(exposed) && !(pixels.IsValid() && pixels.Fill(mark.icon, rgb)))
        {
            pPainter->fillRect(mark.icon, QColor::fromRgb(rgb));
        }
    }
}

void CMapScene::RefreshHealth(const CPEPrimitive& pe, const SMapOptions& options)
{
    for (CNodeItem* pNode : std::as_const(m_Nodes))
    {
        if (pNode->Kind() == eDrawKindPE && pNode->Object()->iAssociatedPrimitive == pe.iNodeNumber)
        {
            pNode->SetFault(HealthColour(pe, options));
        }
    }
}

void CMapScene::RefreshHealth(const CConnectionPrimitive& connection, const SMapOptions& options,
                              bool bToNothing)
{
    for (CEdgeItem* pEdge : m_Edges)
    {
        if (pEdge->Object()->iAssociatedPrimitive == connection.iNodeNumber)
        {
            pEdge->SetColour(LinkColour(&connection, options, bToNothing));
        }
    }
}

void CMapScene::Refresh(const CNodeItem* pNode, int iSlot)
{
    if (static_cast<size_t>(iSlot) < m_Marks.size())
    {
        m_Marks[static_cast<size_t>(iSlot)] = pNode->Mark();
    }
}

void CMapScene::Refresh(const CEdgeItem* pEdge, int iSlot)
{
    if (static_cast<size_t>(iSlot) < m_Links.size())
    {
        m_Links[static_cast<size_t>(iSlot)] = pEdge->Drawing();
    }
}

void CMapScene::PlaceLinkLabels()
{
    CTakenSpace taken;
    for (CNodeItem* pNode : std::as_const(m_Nodes))
    {
        taken.Add(pNode->IconRect().adjusted(-kPad, -kPad, kPad, kPad));
        taken.Add(pNode->LabelRect());
    }
    // The directions in which links leave each node, to spread the labels of a busy node out to
    // where its links are far enough apart for them.
    QHash<const CNodeItem*, std::vector<qreal>> directions;
    auto direction = [](const CEdgeItem* pEdge, int iEnd)
    {
        const QPointF from = pEdge->EndNode(iEnd)->pos();
        const QPointF to = pEdge->EndNode(1 - iEnd)->pos();
        return std::atan2(to.y() - from.y(), to.x() - from.x());
    };
    for (const CEdgeItem* pEdge : m_Edges)
    {
        if (pEdge->EndNode(0) != pEdge->EndNode(1))
        {
            directions[pEdge->EndNode(0)].push_back(direction(pEdge, 0));
            directions[pEdge->EndNode(1)].push_back(direction(pEdge, 1));
        }
    }
    auto spreadDistance = [&](const CEdgeItem* pEdge, int iEnd, const QRectF& label)
    {
        if (pEdge->EndNode(0) == pEdge->EndNode(1))
        {
            return 0.0;
        }
        const qreal dOwn = direction(pEdge, iEnd);
        qreal dNearest = M_PI;
        bool bSelfSeen = false;
        for (qreal dOther : directions.value(pEdge->EndNode(iEnd)))
        {
            if (!bSelfSeen && dOther == dOwn)
            {
                bSelfSeen = true;
                continue;
            }
            const qreal dApart = std::abs(std::remainder(dOther - dOwn, 2 * M_PI));
            dNearest = std::min(dNearest, dApart);
        }
        // Two labels at distance d on rays an angle a apart stand 2 d sin(a / 2) from each other.
        const qreal dChord = 2 * std::sin(std::max(dNearest, 0.05) / 2);
        return std::min((std::max(label.width(), label.height()) + kPad) / dChord, pEdge->PathLength() * 0.4);
    };
    for (CEdgeItem* pEdge : m_Edges)
    {
        for (int iEnd : {0, 1})
        {
            if (pEdge->LabelRectAt(iEnd, 0).isEmpty())
            {
                continue;
            }
            // From next to its own icon out to next to the far one; failing a free place, the
            // nearest one.
            const qreal dFirst = std::max(pEdge->LabelClearance(iEnd),
                                          spreadDistance(pEdge, iEnd, pEdge->LabelRectAt(iEnd, 0)));
            const qreal dLast = pEdge->EndNode(0) == pEdge->EndNode(1)
                                    ? pEdge->PathLength() / 2
                                    : pEdge->PathLength() - pEdge->LabelClearance(1 - iEnd);
            // Along the link first; failing that, nearer the node too and just beside the link.
            const QPointF delta = pEdge->EndNode(1 - iEnd)->pos() - pEdge->EndNode(iEnd)->pos();
            const qreal dSpan = std::hypot(delta.x(), delta.y());
            const QPointF normal = dSpan > 0 ? QPointF(-delta.y(), delta.x()) / dSpan : QPointF(0, 1);
            const QRectF shape = pEdge->LabelRectAt(iEnd, 0);
            const qreal dBeside =
                (std::abs(normal.x()) * shape.width() + std::abs(normal.y()) * shape.height()) / 2 + 2;
            qreal dChosen = dFirst;
            QPointF shift;
            bool bFound = false;
            // A label stays in its own half of the link, where it is read as its end's; only when
            // that half is full does it go further.
            const qreal dHalf = std::min(dLast, pEdge->PathLength() / 2);
            const qreal dNear = pEdge->LabelClearance(iEnd);
            struct SPass
            {
                qreal dFrom;
                qreal dTo;
                qreal dSide;
            };
            const std::array<SPass, 6> passes = {{{dFirst, dHalf, 0.0},
                                                  {dNear, dHalf, 0.0},
                                                  {dNear, dHalf, dBeside},
                                                  {dNear, dHalf, -dBeside},
                                                  {dHalf, dLast, 0.0},
                                                  {dNear, dLast, dBeside}}};
            for (const auto& [dFrom, dTo, dSide] : passes)
            {
                for (qreal dAt = dFrom; dAt <= dTo && !bFound; dAt += kLabelStep)
                {
                    const QPointF offset = normal * dSide;
                    if (!taken.Meets(pEdge->LabelRectAt(iEnd, dAt).translated(offset).adjusted(-1, -1, 1, 1)))
                    {
                        dChosen = dAt;
                        shift = offset;
                        bFound = true;
                    }
                }
                if (bFound)
                {
                    break;
                }
            }
            pEdge->SetLabelDistance(iEnd, dChosen, shift);
            taken.Add(pEdge->LabelRect(iEnd));
        }
    }
}

bool CMapScene::CommitMoves(CNetworkDocument& document)
{
    bool bMoved = false;
    for (CNodeItem* pItem : std::as_const(m_Nodes))
    {
        CDrawPrimitive* pObject = pItem->Object();
        const QPoint at = pItem->pos().toPoint();
        if (at.x() != pObject->iXPos || at.y() != pObject->iYPos)
        {
            static_cast<CDrawNode*>(pObject)->Move(at.x(), at.y());
            bMoved = true;
        }
    }
    if (bMoved)
    {
        RouteEdges(*document.pCurrentNodes, *document.pCurrentEdges);
        PlaceLinkLabels();
    }
    return bMoved;
}
