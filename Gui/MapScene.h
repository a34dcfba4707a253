// The drawing of a map view: one graphics item per PE, group and off-view handle, and one per
// link, built once from the view's drawing objects and kept until the map changes. Nodes paint
// themselves from shared icon pixmaps; the links are drawn by the scene under the nodes, those in
// sight together in a few calls, and their items are there to be picked and selected. The scene's
// index hands the view only what is in sight, text is left out where it would be too small to
// read, and far out each node is a mark and each link a hairline. The labels at the ends of links
// are placed along their links where they meet no icon and no other label.
#pragma once

#include "AutoLayout.h"
#include "MapOptions.h"

#include <QGlyphRun>
#include <QGraphicsItem>
#include <QGraphicsScene>
#include <QHash>
#include <QPixmap>

#include <array>
#include <cstdint>
#include <vector>

class CNetworkDocument;
class CDrawPrimitive;
class CPEPrimitive;
class CEdgeItem;
class CConnectionPrimitive;

// Icons by file, rendered once at the size the map draws them.
class CIconCache
{
public:
    static constexpr int kIconSize = 48;
    // The icon of a drawing object's file; a Windows bitmap name falls back to the SVG of the same
    // name in the icon directory, and a missing file to the unknown device's icon.
    static const QPixmap& Icon(const QString& strPath);
    // The same icon rendered for drawing at about iPixels a side (a power of two below the full
    // size), so that a map seen from afar scales small pictures rather than large ones.
    static const QPixmap& Icon(const QString& strPath, int iPixels);
    // The icon's average colour, the mark that stands for it far out.
    static QColor Mark(const QString& strPath);
    static QString Resolve(const QString& strPath);
};

// The icon files of a PE, from its symbol and type: the ones its identity gave it, or for a PE
// read from a map file, which keeps only the symbol, the symbol's files with the mark of whether
// the device library describes the device.
struct SPEIcon
{
    QString strNormal;
    QString strSelected;
    bool bInLibrary = true; // false: the icon carries the "not in the library" badge
};
// pKnown, when given, keeps what the library was asked, by device key, for the next PE.
SPEIcon PEIcon(const CPEPrimitive& pe, QHash<uint32_t, bool>* pKnown = nullptr);

// Item types, for telling items apart under the mouse.
enum EMapItemType
{
    eItemNode = QGraphicsItem::UserType + 1,
    eItemEdge = QGraphicsItem::UserType + 2,
};

// A line of text laid out once, into glyphs at their places: drawn at any zoom without being laid
// out again, which a zoom would otherwise ask of every label in view.
class CTextLine
{
public:
    CTextLine() = default;
    CTextLine(const QString& strText, const QFont& font);
    QSizeF Size() const { return m_Size; }
    // Draws the line with its box's top left corner at a point, in the painter's pen.
    void Draw(QPainter* pPainter, const QPointF& topLeft) const;

private:
    QList<QGlyphRun> m_Runs;
    QSizeF m_Size;
};

// What a frame reads of each link and each node far out, kept by the scene side by side in memory:
// going through thousands of items scattered over the heap would cost a frame more than drawing.
struct SLinkDrawing
{
    QRectF bounds; // the link and its labels
    QLineF line;   // between the end nodes
    const CEdgeItem* pEdge = nullptr;
    QRgb rgb = 0;
    bool bStraight = true; // false: the link bows out beside others, or loops
    bool bSelected = false;
};
struct SNodeMark
{
    QRectF icon;
    QRgb rgb = 0; // the icon's average colour
    bool bSelected = false;
};

class CNodeItem : public QGraphicsItem
{
public:
    CNodeItem(CDrawPrimitive* pObject, const QString& strNormal, const QString& strSelected,
              const QStringList& lines);

    int type() const override { return eItemNode; }
    QRectF boundingRect() const override;
    QPainterPath shape() const override;
    void paint(QPainter* pPainter, const QStyleOptionGraphicsItem* pOption, QWidget* pWidget) override;

    CDrawPrimitive* Object() const { return m_pObject; }
    int Kind() const;
    void AddEdge(CEdgeItem* pEdge) { m_Edges.push_back(pEdge); }
    // The fault frame (invalid: none) and the halo (invalid: none) around the icon.
    void SetMarks(const QColor& fault, const QColor& halo);
    // The fault frame alone, as the health monitor changes it.
    void SetFault(const QColor& fault);
    QColor Fault() const { return m_Fault; }
    // The ring drawn around the icon (invalid: none).
    QColor Halo() const { return m_Halo; }
    const QStringList& Lines() const { return m_Lines; }
    // The icon file drawn.
    QString IconFile() const { return m_strNormal; }
    // The mark that stands for the node far out.
    SNodeMark Mark() const;
    // Its place in the scene's list of marks.
    void SetSlot(int iSlot) { m_iSlot = iSlot; }
    // Where the icon and the label block stand, in scene coordinates; the label's is empty when
    // the node shows no text.
    QRectF IconRect() const;
    QRectF LabelRect() const;
    // The room of a node with these lines around its position: what the layout must keep free.
    static SNodeRoom Room(const QStringList& lines);

    // Drawing the map for a printer: no selection marks.
    static void SetPrinting(bool bPrinting);

protected:
    QVariant itemChange(GraphicsItemChange eChange, const QVariant& value) override;

private:
    CDrawPrimitive* m_pObject;
    QString m_strNormal;
    QString m_strSelected;
    QStringList m_Lines;
    std::vector<CTextLine> m_Texts;
    QRectF m_Label; // item coordinates
    QRectF m_Bounds;
    std::vector<CEdgeItem*> m_Edges;
    QColor m_Fault;
    QColor m_Halo;
    QColor m_Mark; // the icon's average colour, drawn in its place when the map is far out
    int m_iSlot = -1;
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

    // Follows its end nodes after they moved; the labels go next to the icons.
    void Adjust();
    CDrawPrimitive* Object() const { return m_pObject; }
    QColor Colour() const { return m_Colour; }
    // A new colour for the link, as the health monitor changes its state.
    void SetColour(const QColor& colour);
    // The straight line between the two end nodes.
    QLineF Line() const { return QLineF(m_pStart->pos(), m_pEnd->pos()); }
    CNodeItem* EndNode(int iEnd) const { return iEnd == 0 ? m_pStart : m_pEnd; }
    QString StartLabel() const { return m_Labels[0].strText; }
    QString EndLabel() const { return m_Labels[1].strText; }
    // The label box of an end (0 the start, 1 the end) in scene coordinates; empty without text.
    QRectF LabelRect(int iEnd) const;
    // The length of the link's path, and the label box of an end centred at a distance along it.
    qreal PathLength() const { return m_dLength; }
    QRectF LabelRectAt(int iEnd, qreal dDistance) const;
    // The least distance from an end at which its label clears the end node's icon.
    qreal LabelClearance(int iEnd) const;
    // Puts an end's label at a distance along the link, moved aside by a shift.
    void SetLabelDistance(int iEnd, qreal dDistance, const QPointF& shift = QPointF());

    // What the scene draws of the link, and its place in the scene's list.
    SLinkDrawing Drawing() const;
    void SetSlot(int iSlot) { m_iSlot = iSlot; }
    // Draws the links of a list that meet a rectangle of the scene, their lines a colour at a time
    // and their labels over all the lines; far out the lines are hairlines and there is no text.
    static void DrawLinks(QPainter* pPainter, const std::vector<SLinkDrawing>& links, const QRectF& rect);

protected:
    QVariant itemChange(GraphicsItemChange eChange, const QVariant& value) override;

private:
    struct SLabel
    {
        QString strText;
        CTextLine text;
        QSizeF size;
        QPointF at; // centre, in scene coordinates
    };

    QPainterPath Path() const;
    QPointF PointAt(int iEnd, qreal dDistance) const;
    // Has the scene repaint where the link is drawn, when it draws it.
    void RepaintArea() const;

    CDrawPrimitive* m_pObject;
    CNodeItem* m_pStart;
    CNodeItem* m_pEnd;
    int m_iLane;
    std::array<SLabel, 2> m_Labels;
    QColor m_Colour;
    QPainterPath m_Path;
    qreal m_dLength = 0;
    QRectF m_Bounds;
    int m_iSlot = -1;
};

class CMapScene : public QGraphicsScene
{
    Q_OBJECT

public:
    // Below this zoom a node is drawn as a mark of its icon's colour.
    static constexpr qreal kFarDetail = 0.2;

    explicit CMapScene(QObject* pParent = nullptr);

    // Builds the items of the document's current view with the map options given. For a printer
    // nothing is drawn as selected.
    void Build(CNetworkDocument& document, const SMapOptions& options, bool bHideNulls,
               bool bPrinting = false);
    // Writes the positions of nodes that were dragged back into their drawing objects and lays
    // their links anew. Returns true when something moved.
    bool CommitMoves(CNetworkDocument& document);
    // The node item of a drawing object's unique ID, or null.
    CNodeItem* NodeItem(uint32_t uUniqueID) const { return m_Nodes.value(uUniqueID); }
    int NodeCount() const { return static_cast<int>(m_Nodes.size()); }
    int EdgeCount() const { return static_cast<int>(m_Edges.size()); }
    const std::vector<CEdgeItem*>& Edges() const { return m_Edges; }
    // The rectangle of the map: the view's map size, grown to hold every item.
    QRectF MapRect() const { return m_MapRect; }
    // The rectangle the items take, with a small margin.
    QRectF DrawnRect() const { return m_DrawnRect; }

    // What the automatic layout must know of this drawing's sizes for a document with these
    // options: the room of each node and the longest link label.
    static SLayoutRoom LayoutRoom(const CNetworkDocument& document, const SMapOptions& options);

    // The health monitor changed a PE's state or a connection's status: their items take the
    // colours of it, and only where they are drawn is painted again.
    void RefreshHealth(const CPEPrimitive& pe, const SMapOptions& options);
    // bToNothing: the connection ends at a Null PE.
    void RefreshHealth(const CConnectionPrimitive& connection, const SMapOptions& options, bool bToNothing);

    // An item's drawing changed: where it is, or whether it is selected.
    void Refresh(const CNodeItem* pNode, int iSlot);
    void Refresh(const CEdgeItem* pEdge, int iSlot);

    // On (as made): the scene draws the links, all together, under the nodes. Off: every link
    // draws itself as an item of its own (for measuring against).
    void SetBatchedLinks(bool bBatched);
    bool BatchedLinks() const { return m_bBatched; }

protected:
    void drawBackground(QPainter* pPainter, const QRectF& rect) override;

private:
    // Slides each link label along its link, from its end outwards, to the first place where it
    // meets no icon, no node label and no label placed before it.
    void PlaceLinkLabels();

    QHash<uint32_t, CNodeItem*> m_Nodes;
    std::vector<CEdgeItem*> m_Edges;
    // What a frame reads, by the items' places: the nodes in the order made, the links as above.
    std::vector<SNodeMark> m_Marks;
    std::vector<SLinkDrawing> m_Links;
    QRectF m_MapRect;
    QRectF m_DrawnRect;
    bool m_bBatched = true;
};
