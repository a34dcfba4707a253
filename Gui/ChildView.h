// The map window: the current view of the document drawn in a graphics view, with selection,
// dragging, zoom, the pop-ups of PEs, links, groups and the background, printing, copying to the
// clipboard and the automatic layout, which runs on a worker thread.
#pragma once

#include "MainFrameCore.h"
#include "MapOptions.h"
#include "RouteSearch.h"

#include <QGraphicsView>
#include <QPointer>
#include <QThread>

#include <memory>
#include <utility>
#include <vector>

class CMapScene;
class QMenu;
class QThread;

class CChildView : public QGraphicsView
{
    Q_OBJECT

public:
    CChildView(CMainFrameCore& core, QWidget* pParent = nullptr);
    ~CChildView() override;

    // Builds the drawing anew from the document (after any change to the map or the options).
    void Rebuild();
    CMapScene* MapScene() const { return m_pScene; }

    // The pop-up for the item at a window position, and what its commands apply to. Null for a
    // Null PE, which has none.
    std::unique_ptr<QMenu> PopupAt(const QPoint& at, SCommandContext* pContext);

    // The window's map options and the hidden state of Null PEs.
    SMapOptions Options() const { return m_Options; }
    void SetOptions(const SMapOptions& options);
    bool HideNulls() const { return m_bHideNulls; }
    void SetHideNulls(bool bHide);

    // Zooms by a factor about the middle of the window, or about a point of it.
    void ZoomBy(qreal dFactor);
    void ZoomAt(qreal dFactor, const QPoint& at);
    // Shows the whole drawing, enlarged when it is small.
    void ZoomToFit();
    qreal Zoom() const;

    // The map drawn with the printing options, "Norvanta Network Map - %s" as its title, on a
    // PDF page. False when the file can't be written.
    bool PrintToPdf(const QString& strPath);
    // The map as a picture (at most 4000 pixels a side) on the clipboard.
    void CopyToClipboard();
    // The map drawn into a picture with the given options.
    QImage RenderMap(const SMapOptions& options, int iMaxSide);

    // Starts the automatic layout of the current view: the question and the input now, neato on
    // a worker thread, the new positions when it ends. False when it couldn't start.
    bool StartAutoLayout();
    bool LayoutRunning() const { return m_pLayoutThread != nullptr; }
    // The automatic layout of a document that isn't shown yet (a discovered map), neato on a
    // worker thread while the window goes on painting; returns when it is done. False when it
    // failed, the failure having been shown.
    bool LayoutAndWait(CNetworkDocument& document);

    // The selected PEs and links in the order the person picked them, for manual routes.
    std::vector<SRouteSelectionItem> RouteSelection() const;

signals:
    void commandChosen(ECommand eCommand, const SCommandContext& context);
    void selectionChangedInMap();
    void layoutFinished(bool bApplied);

protected:
    void contextMenuEvent(QContextMenuEvent* pEvent) override;
    void wheelEvent(QWheelEvent* pEvent) override;
    void mouseReleaseEvent(QMouseEvent* pEvent) override;
    void mouseDoubleClickEvent(QMouseEvent* pEvent) override;
    void resizeEvent(QResizeEvent* pEvent) override;
    void showEvent(QShowEvent* pEvent) override;

private:
    void SyncSelection();

    CMainFrameCore& m_core;
    CMapScene* m_pScene = nullptr;
    SMapOptions m_Options;
    bool m_bHideNulls = false;
    bool m_bFitPending = false; // the next drawing is of a map laid out anew: show it whole
    bool m_bFitted = false;     // the map is shown whole and the person hasn't zoomed since
    bool m_bRebuilding = false; // the items are being made from the document
    QPointer<QThread> m_pLayoutThread;
    // Selected drawing objects, oldest pick first: whether it is an edge, and its unique ID.
    std::vector<std::pair<bool, uint32_t>> m_SelectionOrder;
};
