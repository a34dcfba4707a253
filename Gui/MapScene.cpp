#include "MapScene.h"

#include "AutoLayout.h"
#include "InstallPaths.h"
#include "NetworkDocument.h"

#include <QFileInfo>
#include <QPainter>
#include <QPainterPathStroker>
#include <QStyleOptionGraphicsItem>
#include <QSvgRenderer>

#include <cmath>
#include <map>

namespace
{
// Width of the label area under a node, and the distance of a link's port label from its end.
constexpr qreal kLabelWidth = 130.0;
constexpr qreal kLineHeight = 13.0;
constexpr qreal kPortLabelDistance = 36.0;
// Below these zoom factors the small texts aren't drawn: they would be unreadable specks.
constexpr qreal kNodeTextDetail = 0.45;
constexpr qreal kIconDetail = 0.2;
constexpr qreal kSmoothLineDetail = 0.8;
constexpr qreal kEdgeTextDetail = 0.6;
// Distance between parallel links of the same two nodes.
constexpr qreal kLaneSpacing = 18.0;

QFont MapFont(int iPointSize)
{
    QFont font(QStringLiteral("Arial"));
    font.setPixelSize(iPointSize);
    return font;
}

QPointF Along(const QPainterPath& path, bool bFromStart)
{
    const qreal dLength = path.length();
    if (dLength <= 0)
    {
        return path.pointAtPercent(0);
    }
    const qreal dAt = std::min(kPortLabelDistance, dLength / 2) / dLength;
    return path.pointAtPercent(bFromStart ? dAt : 1.0 - dAt);
}
} // namespace

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
    static QHash<QString, QPixmap> cache;
    const auto it = cache.constFind(strPath);
    if (it != cache.constEnd())
    {
        return *it;
    }
    QPixmap pixmap(kIconSize, kIconSize);
    pixmap.fill(Qt::transparent);
    QSvgRenderer renderer(Resolve(strPath));
    if (renderer.isValid())
    {
        QPainter painter(&pixmap);
        renderer.render(&painter);
    }
    return *cache.insert(strPath, pixmap);
}

CNodeItem::CNodeItem(CDrawPrimitive* pObject, const QPixmap& normal, const QPixmap& selected,
                     const QStringList& lines)
    : m_pObject(pObject), m_Normal(normal), m_Selected(selected), m_Lines(lines)
{
    setFlags(ItemIsSelectable | ItemIsMovable | ItemSendsGeometryChanges);
    setPos(pObject->iXPos, pObject->iYPos);
    m_Mark = QColor::fromRgba(
        normal.toImage().scaled(1, 1, Qt::IgnoreAspectRatio, Qt::SmoothTransformation).pixel(0, 0));
    m_Mark.setAlpha(255);
    const qreal dHalf = CIconCache::kIconSize / 2.0;
    for (const QString& strLine : m_Lines)
    {
        QStaticText text(strLine);
        text.setTextFormat(Qt::PlainText);
        text.prepare(QTransform(), MapFont(10));
        m_Texts.push_back(text);
    }
    m_Bounds = QRectF(-dHalf - 4, -dHalf - 4, CIconCache::kIconSize + 8, CIconCache::kIconSize + 8)
                   .united(QRectF(-kLabelWidth / 2, dHalf, kLabelWidth, kLineHeight * m_Lines.size() + 2));
}

int CNodeItem::Kind() const
{
    return m_pObject->eKind;
}

void CNodeItem::SetMarks(bool bFault, const QColor& halo)
{
    m_bFault = bFault;
    m_Halo = halo;
    update();
}

QRectF CNodeItem::boundingRect() const
{
    return m_Bounds;
}

QPainterPath CNodeItem::shape() const
{
    QPainterPath path;
    const qreal dHalf = CIconCache::kIconSize / 2.0;
    path.addRect(-dHalf, -dHalf, CIconCache::kIconSize, CIconCache::kIconSize);
    return path;
}

void CNodeItem::paint(QPainter* pPainter, const QStyleOptionGraphicsItem* pOption, QWidget*)
{
    const qreal dHalf = CIconCache::kIconSize / 2.0;
    const QRectF iconRect(-dHalf, -dHalf, CIconCache::kIconSize, CIconCache::kIconSize);
    const qreal dDetail = pOption->levelOfDetailFromTransform(pPainter->worldTransform());
    if (dDetail < kIconDetail)
    {
        // A whole large map in view: each node is a few pixels, and a mark is all that shows.
        pPainter->fillRect(iconRect, isSelected() ? QColor(0, 90, 200) : m_Mark);
        return;
    }
    pPainter->setRenderHint(QPainter::SmoothPixmapTransform, dDetail < 1.0);
    if (m_Halo.isValid())
    {
        pPainter->setPen(Qt::NoPen);
        pPainter->setBrush(m_Halo);
        pPainter->drawEllipse(iconRect.adjusted(-4, -4, 4, 4));
    }
    pPainter->drawPixmap(iconRect.topLeft(), isSelected() ? m_Selected : m_Normal);
    if (m_bFault)
    {
        pPainter->setPen(QPen(Qt::red, 3));
        pPainter->setBrush(Qt::NoBrush);
        pPainter->drawRect(iconRect.adjusted(-2, -2, 2, 2));
    }
    if (dDetail < kNodeTextDetail)
    {
        return;
    }
    pPainter->setFont(MapFont(10));
    pPainter->setPen(Qt::black);
    qreal dY = dHalf + 1;
    for (const QStaticText& text : m_Texts)
    {
        pPainter->drawStaticText(QPointF(-text.size().width() / 2, dY), text);
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
    return QGraphicsItem::itemChange(eChange, value);
}

CEdgeItem::CEdgeItem(CDrawPrimitive* pObject, CNodeItem* pStart, CNodeItem* pEnd, int iLane,
                     const QString& strStartLabel, const QString& strEndLabel, const QColor& colour)
    : m_pObject(pObject), m_pStart(pStart), m_pEnd(pEnd), m_iLane(iLane), m_strStartLabel(strStartLabel),
      m_strEndLabel(strEndLabel), m_Colour(colour)
{
    setFlags(ItemIsSelectable);
    setZValue(-1);
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

void CEdgeItem::Adjust()
{
    prepareGeometryChange();
    m_Path = Path();
    m_StartLabelAt = Along(m_Path, true);
    m_EndLabelAt = Along(m_Path, false);
}

QRectF CEdgeItem::boundingRect() const
{
    return m_Path.boundingRect().adjusted(-30, -12, 30, 12);
}

QPainterPath CEdgeItem::shape() const
{
    QPainterPathStroker stroker;
    stroker.setWidth(8);
    return stroker.createStroke(m_Path);
}

void CEdgeItem::paint(QPainter* pPainter, const QStyleOptionGraphicsItem* pOption, QWidget*)
{
    const qreal dDetail = pOption->levelOfDetailFromTransform(pPainter->worldTransform());
    pPainter->setRenderHint(QPainter::Antialiasing, dDetail >= kSmoothLineDetail);
    QPen pen(isSelected() ? QColor(0, 90, 200) : m_Colour, isSelected() ? 3 : 2);
    // Far out a link is a hairline: as visible, and much cheaper to draw.
    pen.setCosmetic(dDetail < kSmoothLineDetail);
    if (pen.isCosmetic())
    {
        pen.setWidth(isSelected() ? 2 : 1);
    }
    pPainter->setPen(pen);
    pPainter->setBrush(Qt::NoBrush);
    if (m_pStart != m_pEnd && m_iLane == 0)
    {
        pPainter->drawLine(m_pStart->pos(), m_pEnd->pos());
    }
    else
    {
        pPainter->drawPath(m_Path);
    }
    if ((m_strStartLabel.isEmpty() && m_strEndLabel.isEmpty()) || dDetail < kEdgeTextDetail)
    {
        return;
    }
    pPainter->setFont(MapFont(9));
    const QFontMetricsF metrics(pPainter->font());
    for (const auto& [at, strText] :
         {std::pair{m_StartLabelAt, m_strStartLabel}, std::pair{m_EndLabelAt, m_strEndLabel}})
    {
        if (strText.isEmpty())
        {
            continue;
        }
        QRectF box = metrics.boundingRect(strText).adjusted(-2, 0, 2, 0);
        box.moveCenter(at);
        pPainter->setPen(Qt::NoPen);
        pPainter->setBrush(QColor(255, 255, 255, 220));
        pPainter->drawRect(box);
        pPainter->setPen(Qt::black);
        pPainter->drawText(box, Qt::AlignCenter, strText);
    }
}

CMapScene::CMapScene(QObject* pParent) : QGraphicsScene(pParent) {}

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

QColor LinkColour(const CConnectionPrimitive* pConnection, const SMapOptions& options)
{
    if (pConnection && options[eOptFaultIndicators] && !pConnection->GetStatus().isEmpty())
    {
        if (pConnection->eStatus == eConnectionIntermittent)
        {
            return QColor(230, 140, 0);
        }
        if (pConnection->eStatus != eConnectionUp)
        {
            return Qt::red;
        }
    }
    return QColor(60, 60, 60);
}
} // namespace

void CMapScene::Build(CNetworkDocument& document, const SMapOptions& options, bool bHideNulls)
{
    clear();
    m_Nodes.clear();
    m_iEdges = 0;
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
        if (node.eKind == eDrawKindPE)
        {
            pPE = pes.value(node.iAssociatedPrimitive);
            if (!pPE || (bHideNulls && pPE->uType == kPETypeNull))
            {
                continue;
            }
            if (strNormal.isEmpty())
            {
                strNormal = pPE->BitmapNoSel;
                strSelected = pPE->BitmapSel;
            }
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
        auto* pItem = new CNodeItem(&node, CIconCache::Icon(strNormal), CIconCache::Icon(strSelected), lines);
        if (pPE)
        {
            const auto& pe = static_cast<const CDrawPE&>(node);
            const bool bFault =
                options[eOptFaultIndicators] && (pPE->Health.eStatus == eValidationNotResponding ||
                                                 pPE->Health.eStatus == eValidationIDsNotMatching);
            QColor halo;
            if (pe.bHighlighted)
            {
                halo = QColor(255, 230, 0, 180);
            }
            else if (pe.bTrafficSource || pe.bTrafficTarget)
            {
                halo = pe.bTrafficSource ? QColor(0, 200, 0, 120) : QColor(0, 120, 255, 120);
            }
            pItem->SetMarks(bFault, halo);
        }
        pItem->setSelected(node.bSelected);
        addItem(pItem);
        m_Nodes.insert(node.uUniqueID, pItem);
    }
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
        auto* pItem =
            new CEdgeItem(&edge, pStart, pEnd, iLane, strStart, strEnd, LinkColour(pConnection, options));
        pItem->setSelected(edge.bSelected);
        addItem(pItem);
        ++m_iEdges;
    }
    const CMapView& view = *document.pCurrentView;
    const QRectF mapSize(0, 0, document.bShowTemplate ? view.iTemplateWidth : view.iWidth,
                         document.bShowTemplate ? view.iTemplateHeight : view.iHeight);
    m_MapRect = mapSize.united(itemsBoundingRect().adjusted(-20, -20, 20, 20));
    setSceneRect(m_MapRect);
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
    }
    return bMoved;
}
