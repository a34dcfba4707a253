#include "ChildView.h"

#include "AutoLayout.h"
#include "CustomGUIManager.h"
#include "MapScene.h"
#include "MenuBuilder.h"
#include "Preferences.h"
#include "UserInterface.h"

#include <QApplication>
#include <QClipboard>
#include <QContextMenuEvent>
#include <QEventLoop>
#include <QMenu>
#include <QPageLayout>
#include <QPainter>
#include <QPdfWriter>
#include <QResizeEvent>
#include <QScrollBar>
#include <QThread>
#include <QWheelEvent>

#include <cmath>
#include <memory>
#include <set>

namespace
{
constexpr qreal kMinZoom = 0.02;
constexpr qreal kMaxZoom = 8.0;
constexpr qreal kMaxFitZoom = 2.0;

// What a layout run hands back from its worker thread.
struct SLayoutJob
{
    QString strProgram;
    QByteArray input;
    QByteArray output;
    QString strError;
    bool bOk = false;
    const CDrawList* pNodes = nullptr; // the node list it was made for
    int iNodeCount = 0;
};
} // namespace

CChildView::CChildView(CMainFrameCore& core, QWidget* pParent)
    : QGraphicsView(pParent), m_core(core), m_pScene(new CMapScene(this))
{
    setScene(m_pScene);
    setDragMode(RubberBandDrag);
    setViewportUpdateMode(SmartViewportUpdate);
    setOptimizationFlags(DontSavePainterState | DontAdjustForAntialiasing);
    setTransformationAnchor(AnchorUnderMouse);
    // Scroll bars that come and go would change the room a fit was made for.
    setHorizontalScrollBarPolicy(Qt::ScrollBarAlwaysOn);
    setVerticalScrollBarPolicy(Qt::ScrollBarAlwaysOn);
    m_Options = SMapOptions::Load(false);
    m_bHideNulls = GetPreference(QStringLiteral("Preferences"), QStringLiteral("HideNulls"), 0u) != 0;
    connect(m_pScene, &QGraphicsScene::selectionChanged, this, &CChildView::SyncSelection);
}

CChildView::~CChildView()
{
    // The scene empties itself after this, and must not report that to a document that may be
    // gone by then.
    m_pScene->disconnect(this);
    if (m_pLayoutThread)
    {
        m_pLayoutThread->disconnect(this);
        m_pLayoutThread->wait();
    }
}

void CChildView::Rebuild()
{
    const CNetworkDocument& document = m_core.Document();
    // A map that shares no node with the one drawn (a discovery, a file, another view) is shown
    // whole; an edit of the same map keeps the zoom and the place the person chose.
    bool bNewMap = true;
    for (const auto& pNode : *document.pCurrentNodes)
    {
        if (m_pScene->NodeItem(pNode->uUniqueID))
        {
            bNewMap = false;
            break;
        }
    }
    // The map point in the middle of the window stays there when the map area changes size.
    const QPointF centre = mapToScene(viewport()->rect().center());
    // The items take their selection from the document, which must not hear it back while they
    // are made. The scene's other signals go out: its index and the scroll bars follow the new
    // scene rectangle by them.
    m_bRebuilding = true;
    m_pScene->Build(m_core.Document(), m_Options, m_bHideNulls);
    m_bRebuilding = false;
    if ((bNewMap || m_bFitPending || m_bFitted) && m_pScene->NodeCount() > 0)
    {
        ZoomToFit();
    }
    else
    {
        centerOn(centre);
    }
}

void CChildView::SetOptions(const SMapOptions& options)
{
    m_Options = options;
    Rebuild();
}

void CChildView::SetHideNulls(bool bHide)
{
    m_bHideNulls = bHide;
    SetPreference(QStringLiteral("Preferences"), QStringLiteral("HideNulls"), bHide ? 1u : 0u);
    Rebuild();
}

void CChildView::SyncSelection()
{
    if (m_bRebuilding)
    {
        return;
    }
    CNetworkDocument& document = m_core.Document();
    document.SelectedNodes.clear();
    document.SelectedEdges.clear();
    for (const auto& pObject : *document.pCurrentNodes)
    {
        pObject->bSelected = false;
    }
    for (const auto& pObject : *document.pCurrentEdges)
    {
        pObject->bSelected = false;
    }
    std::vector<std::pair<bool, uint32_t>> selected;
    for (QGraphicsItem* pItem : m_pScene->selectedItems())
    {
        if (pItem->type() == eItemNode)
        {
            CDrawPrimitive* pObject = static_cast<CNodeItem*>(pItem)->Object();
            pObject->bSelected = true;
            document.SelectedNodes.push_back({pObject->uUniqueID, static_cast<uint16_t>(pObject->eKind)});
            selected.emplace_back(false, pObject->uUniqueID);
        }
        else if (pItem->type() == eItemEdge)
        {
            CDrawPrimitive* pObject = static_cast<CEdgeItem*>(pItem)->Object();
            pObject->bSelected = true;
            document.SelectedEdges.push_back({pObject->uUniqueID, 0});
            selected.emplace_back(true, pObject->uUniqueID);
        }
    }
    // Keep the order of picking: what stays selected keeps its place, new picks go last. Sets keep
    // this linear, as Select All on a large map comes here once per item.
    const std::set<std::pair<bool, uint32_t>> now(selected.begin(), selected.end());
    std::erase_if(m_SelectionOrder, [&now](const auto& item) { return !now.contains(item); });
    std::set<std::pair<bool, uint32_t>> kept(m_SelectionOrder.begin(), m_SelectionOrder.end());
    for (const auto& item : selected)
    {
        if (kept.insert(item).second)
        {
            m_SelectionOrder.push_back(item);
        }
    }
    emit selectionChangedInMap();
}

std::vector<SRouteSelectionItem> CChildView::RouteSelection() const
{
    const CNetworkDocument& document = m_core.Document();
    std::vector<SRouteSelectionItem> items;
    for (const auto& [bEdge, uUniqueID] : m_SelectionOrder)
    {
        const CDrawPrimitive* pObject =
            (bEdge ? document.pCurrentEdges : document.pCurrentNodes)->FindByUniqueID(uUniqueID);
        if (!pObject)
        {
            continue;
        }
        SRouteSelectionItem item;
        if (bEdge)
        {
            const bool bLink = static_cast<const CDrawEdge*>(pObject)->eEdgeType == eEdgePEConn;
            item.eKind = bLink ? SRouteSelectionItem::eConnection : SRouteSelectionItem::eOther;
        }
        else
        {
            item.eKind =
                pObject->eKind == eDrawKindPE ? SRouteSelectionItem::ePE : SRouteSelectionItem::eOther;
        }
        item.iNodeNumber = pObject->iAssociatedPrimitive;
        items.push_back(item);
    }
    return items;
}

std::unique_ptr<QMenu> CChildView::PopupAt(const QPoint& at, SCommandContext* pContext)
{
    *pContext = SCommandContext();
    const QPointF scenePos = mapToScene(at);
    pContext->iMapX = static_cast<int>(scenePos.x());
    pContext->iMapY = static_cast<int>(scenePos.y());
    std::vector<SMenuItem> items;
    const CPEPrimitive* pPopupPE = nullptr;
    QGraphicsItem* pItem = itemAt(at);
    if (pItem && pItem->type() == eItemNode)
    {
        CDrawPrimitive* pObject = static_cast<CNodeItem*>(pItem)->Object();
        if (pObject->eKind == eDrawKindPE)
        {
            const CPEPrimitive* pPE =
                m_core.Document().pCurrentPEs->GetByNodeNumber(pObject->iAssociatedPrimitive);
            if (!pPE)
            {
                return nullptr;
            }
            items = PEPopupMenu(pPE->ManufID, pPE->DeviceID, pPE->uType);
            pContext->iNode = pPE->iNodeNumber;
            pPopupPE = pPE;
        }
        else if (pObject->eKind == eDrawKindGroup)
        {
            items = GroupPopupMenu();
            pContext->uGroupUniqueID = pObject->uUniqueID;
        }
        else
        {
            return nullptr;
        }
    }
    else if (pItem && pItem->type() == eItemEdge)
    {
        items = ConnectionPopupMenu();
        pContext->iConnection = static_cast<CEdgeItem*>(pItem)->Object()->iAssociatedPrimitive;
    }
    else
    {
        items = BackgroundPopupMenu();
    }
    if (items.empty())
    {
        return nullptr;
    }
    auto pMenu = std::make_unique<QMenu>(this);
    const bool bConnected = m_core.IsConnected();
    AddMenuItems(pMenu.get(), items,
                 [bConnected](QAction* pAction, const SMenuItem& item)
                 { pAction->setEnabled(!item.bNeedsTarget || bConnected); });
    // The items of custom GUI plug-ins for the PE's device; they carry themselves out.
    CCustomGUIManager* pPlugins = ExistingCustomGUIManager();
    if (pPopupPE && pPlugins)
    {
        pPlugins->ExtendPEPopup(pMenu.get(), m_core.Document(), *pPopupPE);
    }
    return pMenu;
}

void CChildView::contextMenuEvent(QContextMenuEvent* pEvent)
{
    SCommandContext context;
    // The item under the click becomes the selection, as a person expects of a pop-up.
    if (QGraphicsItem* pItem = itemAt(pEvent->pos()); pItem && !pItem->isSelected())
    {
        m_pScene->clearSelection();
        pItem->setSelected(true);
    }
    std::unique_ptr<QMenu> pMenu = PopupAt(pEvent->pos(), &context);
    if (!pMenu)
    {
        return;
    }
    if (QAction* pChosen = pMenu->exec(pEvent->globalPos()); pChosen && ActionCommand(pChosen) != eCmdNone)
    {
        emit commandChosen(ActionCommand(pChosen), context);
    }
}

void CChildView::wheelEvent(QWheelEvent* pEvent)
{
    // Shift and the wheel scroll; the wheel alone zooms about the point under the mouse.
    if (pEvent->modifiers() & Qt::ShiftModifier)
    {
        QGraphicsView::wheelEvent(pEvent);
        return;
    }
    const int iSteps = pEvent->angleDelta().y();
    if (iSteps != 0)
    {
        ZoomAt(std::pow(1.25, iSteps / 120.0), pEvent->position().toPoint());
    }
    pEvent->accept();
}

void CChildView::mouseReleaseEvent(QMouseEvent* pEvent)
{
    QGraphicsView::mouseReleaseEvent(pEvent);
    if (m_pScene->CommitMoves(m_core.Document()))
    {
        m_core.SetModified();
    }
}

void CChildView::mouseDoubleClickEvent(QMouseEvent* pEvent)
{
    QGraphicsItem* pItem = itemAt(pEvent->pos());
    if (pItem && pItem->type() == eItemNode &&
        static_cast<CNodeItem*>(pItem)->Object()->eKind == eDrawKindGroup)
    {
        SCommandContext context;
        context.uGroupUniqueID = static_cast<CNodeItem*>(pItem)->Object()->uUniqueID;
        emit commandChosen(eCmdGroupOpen, context);
        return;
    }
    QGraphicsView::mouseDoubleClickEvent(pEvent);
}

qreal CChildView::Zoom() const
{
    return transform().m11();
}

void CChildView::ZoomBy(qreal dFactor)
{
    ZoomAt(dFactor, viewport()->rect().center());
}

void CChildView::ZoomAt(qreal dFactor, const QPoint& at)
{
    m_bFitted = false;
    const qreal dTarget = std::clamp(Zoom() * dFactor, kMinZoom, kMaxZoom);
    // The map point under the given place of the window stays there.
    const QPointF fixed = mapToScene(at);
    const ViewportAnchor eAnchor = transformationAnchor();
    setTransformationAnchor(NoAnchor);
    // The whole window is drawn anew at the new zoom: moving the old picture along with the scroll
    // bars first would be wasted work.
    const ViewportUpdateMode eUpdate = viewportUpdateMode();
    setViewportUpdateMode(FullViewportUpdate);
    scale(dTarget / Zoom(), dTarget / Zoom());
    const QPointF moved = mapFromScene(fixed) - QPointF(at);
    horizontalScrollBar()->setValue(horizontalScrollBar()->value() + qRound(moved.x()));
    verticalScrollBar()->setValue(verticalScrollBar()->value() + qRound(moved.y()));
    setViewportUpdateMode(eUpdate);
    setTransformationAnchor(eAnchor);
}

void CChildView::showEvent(QShowEvent* pEvent)
{
    QGraphicsView::showEvent(pEvent);
    if (m_bFitPending)
    {
        ZoomToFit();
    }
}

void CChildView::resizeEvent(QResizeEvent* pEvent)
{
    QGraphicsView::resizeEvent(pEvent);

    // Until the person zooms, a map shown whole stays whole as the window changes size.
    if (m_bFitted || m_bFitPending)
    {
        ZoomToFit();
    }
}

void CChildView::ZoomToFit()
{
    if (!isVisible())
    {
        m_bFitPending = true;
        return;
    }
    m_bFitPending = false;
    m_bFitted = true;

    // The drawing, not the empty rest of the map area, fills the window; a small map is enlarged
    // up to the point where its icons would turn coarse.
    const QRectF drawn = m_pScene->DrawnRect();
    if (drawn.isEmpty())
    {
        return;
    }
    fitInView(drawn, Qt::KeepAspectRatio);
    if (Zoom() > kMaxFitZoom)
    {
        const qreal dFactor = kMaxFitZoom / Zoom();
        scale(dFactor, dFactor);
        centerOn(drawn.center());
    }
}

QImage CChildView::RenderMap(const SMapOptions& options, int iMaxSide)
{
    CMapScene scene;
    scene.Build(m_core.Document(), options, m_bHideNulls);
    const QRectF source = scene.MapRect();
    const qreal dScale = std::min(1.0, iMaxSide / std::max(source.width(), source.height()));
    QImage image((source.size() * dScale).toSize().expandedTo(QSize(1, 1)),
                 QImage::Format_ARGB32_Premultiplied);
    image.fill(Qt::white);
    QPainter painter(&image);
    painter.setRenderHint(QPainter::Antialiasing);
    scene.render(&painter, QRectF(QPointF(0, 0), image.size()), source);
    return image;
}

void CChildView::CopyToClipboard()
{
    QApplication::clipboard()->setImage(RenderMap(m_Options, 4000));
}

bool CChildView::PrintToPdf(const QString& strPath)
{
    CNetworkDocument& document = m_core.Document();
    document.bPrinting = true;
    CMapScene scene;
    scene.Build(document, SMapOptions::Load(true), m_bHideNulls, true);
    document.bPrinting = false;
    // The window's labels came from the window's options: put them back.
    RefreshLabels(document, m_Options);

    QPdfWriter writer(strPath);
    // The drawing, not the empty map area around it, is scaled to the page.
    const QRectF source = scene.DrawnRect();
    writer.setPageOrientation(source.width() > source.height() ? QPageLayout::Landscape
                                                               : QPageLayout::Portrait);
    writer.setTitle(QStringLiteral("Norvanta Network Map - %1")
                        .arg(document.FileName.isEmpty() ? QStringLiteral("Untitled") : document.FileName));
    QPainter painter;
    if (!painter.begin(&writer))
    {
        return false;
    }
    const QRectF page(QPointF(0, 0), QSizeF(writer.width(), writer.height()));
    QFont font(QStringLiteral("Arial"));
    font.setPointSize(14);
    painter.setFont(font);
    const qreal dTitle = painter.fontMetrics().height() * 2.0;
    painter.drawText(QRectF(page.left(), page.top(), page.width(), dTitle), Qt::AlignHCenter | Qt::AlignTop,
                     writer.title());
    CNodeItem::SetPrinting(true);
    scene.render(&painter, page.adjusted(0, dTitle, 0, 0), source, Qt::KeepAspectRatio);
    CNodeItem::SetPrinting(false);
    return painter.end();
}

bool CChildView::LayoutAndWait(CNetworkDocument& document)
{
    auto runOnWorker =
        [](const QString& strProgram, const QByteArray& input, QByteArray* pOutput, QString* pstrError)
    {
        bool bOk = false;
        QEventLoop loop;
        QThread* pThread =
            QThread::create([&] { bOk = CAutoLayout::RunProgram(strProgram, input, pOutput, pstrError); });
        connect(pThread, &QThread::finished, &loop, &QEventLoop::quit);
        pThread->start();
        // Input from the person waits: the map being laid out isn't the one on the screen yet.
        loop.exec(QEventLoop::ExcludeUserInputEvents);
        pThread->wait();
        delete pThread;
        return bOk;
    };
    RefreshLabels(document, m_Options);
    const bool bOk =
        CAutoLayout::Run(document, m_bHideNulls, runOnWorker, CMapScene::LayoutRoom(document, m_Options));
    m_bFitPending = bOk;
    return bOk;
}

bool CChildView::StartAutoLayout()
{
    if (m_pLayoutThread)
    {
        return false;
    }
    CNetworkDocument& document = m_core.Document();
    auto pJob = std::make_shared<SLayoutJob>();
    RefreshLabels(document, m_Options);
    pJob->input = CAutoLayout::LayoutInput(document, CAutoLayout::AskNoOverlaps(), m_bHideNulls,
                                           CMapScene::LayoutRoom(document, m_Options));
    pJob->pNodes = document.pCurrentNodes;
    pJob->iNodeCount = document.pCurrentNodes->GetCount();
    QString strError;
    if (!CAutoLayout::FindProgram(&pJob->strProgram, &strError))
    {
        ShowMessage(strError);
        return false;
    }
    m_pLayoutThread = QThread::create(
        [pJob] {
            pJob->bOk =
                CAutoLayout::RunProgram(pJob->strProgram, pJob->input, &pJob->output, &pJob->strError);
        });
    connect(m_pLayoutThread, &QThread::finished, this,
            [this, pJob]
            {
                m_pLayoutThread->deleteLater();
                m_pLayoutThread = nullptr;
                CNetworkDocument& current = m_core.Document();
                // A map that was replaced or reshaped meanwhile keeps its own positions.
                const bool bSameMap = current.pCurrentNodes == pJob->pNodes &&
                                      current.pCurrentNodes->GetCount() == pJob->iNodeCount;
                if (!pJob->bOk)
                {
                    ShowMessage(pJob->strError);
                }
                else if (bSameMap)
                {
                    CAutoLayout::Apply(current, CAutoLayout::ParseOutput(pJob->output));
                    m_core.SetModified();
                    m_bFitPending = true;
                    Rebuild();
                }
                emit layoutFinished(pJob->bOk && bSameMap);
            });
    m_pLayoutThread->start();
    return true;
}
