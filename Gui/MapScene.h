// The drawing of a map view: one graphics item per PE, group and off-view handle, and one per
// link, built once from the view's drawing objects and kept until the map changes. Items paint
// from shared icon pixmaps and cache themselves in device coordinates, so panning a map of
// thousands of PEs draws only what is in view, and far out each item is a mark and a hairline.
#pragma once

#include "MapOptions.h"

#include <QGraphicsItem>
#include <QGraphicsScene>
#include <QHash>
#include <QPixmap>
#include <QStaticText>

#include <cstdint>
#include <vector>

class CNetworkDocument;
class CDrawPrimitive;
class CEdgeItem;

// Icons by file, rendered once at the size the map draws them.
class CIconCache
{
public:
    static constexpr int kIconSize = 48;
    // The icon of a drawing object's file; a Windows bitmap name falls back to the SVG of the same
    // name in the icon directory, and a missing file to the unknown device's icon.
    static const QPixmap& Icon(const QString& strPath);
    static QString Resolve(const QString& strPath);
};

// Item types, for telling items apart under the mouse.
enum EMapItemType
{
    eItemNode = QGraphicsItem::UserType + 1,
    eItemEdge = QGraphicsItem::UserType + 2,
};

class CNodeItem : public QGraphicsItem
{
public:
    CNodeItem(CDrawPrimitive* pObject, const QPixmap& normal, const QPixmap& selected,
              const QStringList& lines);

    int type() const override { return eItemNode; }
    QRectF boundingRect() const override;
    QPainterPath shape() const override;
    void paint(QPainter* pPainter, const QStyleOptionGraphicsItem* pOption, QWidget* pWidget) override;

    CDrawPrimitive* Object() const { return m_pObject; }
    int Kind() const;
    void AddEdge(CEdgeItem* pEdge) { m_Edges.push_back(pEdge); }
    void SetMarks(bool bFault, const QColor& halo);
    const QStringList& Lines() const { return m_Lines; }

protected:
    QVariant itemChange(GraphicsItemChange eChange, const QVariant& value) override;

private:
    CDrawPrimitive* m_pObject;
    QPixmap m_Normal;
    QPixmap m_Selected;
    QStringList m_Lines;
    std::vector<QStaticText> m_Texts;
    QRectF m_Bounds;
    std::vector<CEdgeItem*> m_Edges;
    bool m_bFault = false;
    QColor m_Halo;
    QColor m_Mark; // the icon's average colour, drawn in its place when the map is far out
};

class CEdgeItem : public QGraphicsItem
{
public:
    // iLane spreads parallel links between the same two nodes apart: 0 for the first.
    CEdgeItem(CDrawPrimitive* pObject, CNodeItem* pStart, CNodeItem* pEnd, int iLane,
              const QString& strStartLabel, const QString& strEndLabel, const QColor& colour);

    int type() const override { return eItemEdge; }
    QRectF boundingRect() const override;
    QPainterPath shape() const override;
    void paint(QPainter* pPainter, const QStyleOptionGraphicsItem* pOption, QWidget* pWidget) override;

    // Follows its end nodes after they moved.
    void Adjust();
    CDrawPrimitive* Object() const { return m_pObject; }
    QString StartLabel() const { return m_strStartLabel; }
    QString EndLabel() const { return m_strEndLabel; }

private:
    QPainterPath Path() const;

    CDrawPrimitive* m_pObject;
    CNodeItem* m_pStart;
    CNodeItem* m_pEnd;
    int m_iLane;
    QString m_strStartLabel;
    QString m_strEndLabel;
    QColor m_Colour;
    QPainterPath m_Path;
    QPointF m_StartLabelAt;
    QPointF m_EndLabelAt;
};

class CMapScene : public QGraphicsScene
{
    Q_OBJECT

public:
    explicit CMapScene(QObject* pParent = nullptr);

    // Builds the items of the document's current view with the map options given.
    void Build(CNetworkDocument& document, const SMapOptions& options, bool bHideNulls);
    // Writes the positions of nodes that were dragged back into their drawing objects and lays
    // their links anew. Returns true when something moved.
    bool CommitMoves(CNetworkDocument& document);
    // The node item of a drawing object's unique ID, or null.
    CNodeItem* NodeItem(uint32_t uUniqueID) const { return m_Nodes.value(uUniqueID); }
    int NodeCount() const { return static_cast<int>(m_Nodes.size()); }
    int EdgeCount() const { return m_iEdges; }
    // The rectangle of the map: the view's map size, grown to hold every item.
    QRectF MapRect() const { return m_MapRect; }

private:
    QHash<uint32_t, CNodeItem*> m_Nodes;
    int m_iEdges = 0;
    QRectF m_MapRect;
};
