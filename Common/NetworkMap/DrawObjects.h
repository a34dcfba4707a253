// The drawing objects of a map view, as data: where each PE, group and off-view handle stands,
// and the path of each link. They name their network records by node number and never own
// them. Painting them belongs to the map window.
#pragma once

#include <QPoint>
#include <QPointF>
#include <QString>
#include <QStringList>

#include <cstdint>
#include <memory>
#include <vector>

// Kind numbers of nodes, as the selection and the edges' end kinds carry them.
enum EDrawKind
{
    eDrawKindNone = 0,
    eDrawKindPE = 1,
    eDrawKindGroup = 4,
    eDrawKindOffViewHandle = 8,
};

// Kinds of edge, by what stands at their ends.
enum EEdgeType
{
    eEdgePEConn = 1,
    eEdgeGroupConn = 2,
    eEdgeOffViewConn = 3,
};

enum EEdgeStyle
{
    eEdgeStraight = 0,
    eEdgeCurve = 1,
    eEdgeLoopback = 2,
};

// A node that belongs to no group.
constexpr int64_t kNoGroup = -1;

class CDrawPrimitive
{
public:
    virtual ~CDrawPrimitive() = default;
    // A deep copy of the object with its own kind.
    virtual std::unique_ptr<CDrawPrimitive> Clone() const = 0;
    // True for the three node kinds.
    virtual bool IsNode() const = 0;

    int iXPos = 0;
    int iYPos = 0;
    uint32_t uUniqueID = 0; // from MakeUniqueTimeID
    int eKind = eDrawKindNone;
    bool bVisible = true;
    bool bSelected = false;
    int iAssociatedPrimitive = -1; // node number of the PE or connection drawn (-1: none)

protected:
    explicit CDrawPrimitive(int eKindOf) : eKind(eKindOf) {}
    CDrawPrimitive(const CDrawPrimitive&) = default;
};

class CDrawNode : public CDrawPrimitive
{
public:
    bool IsNode() const override { return true; }
    // Moves the node to a map position.
    void Move(int iX, int iY)
    {
        iXPos = iX;
        iYPos = iY;
    }

    QString BitmapNoSel; // icon files, normal and selected
    QString BitmapSel;
    int iBitmapWidth = 0; // size of the icon as drawn
    int iBitmapHeight = 0;
    QStringList TextLines;              // label lines under the icon, by the map options
    int64_t iBelongsToGroup = kNoGroup; // unique ID of the group node holding this one, or -1

protected:
    using CDrawPrimitive::CDrawPrimitive;
};

class CDrawPE : public CDrawNode
{
public:
    CDrawPE() : CDrawNode(eDrawKindPE) {}
    std::unique_ptr<CDrawPrimitive> Clone() const override { return std::make_unique<CDrawPE>(*this); }

    bool bTrafficSource = false; // marks of the traffic generator
    bool bTrafficTarget = false;
    bool bHighlighted = false; // by a watch item's "Highlight PE" action
    QString strProbeLabel;     // "Probe 1" or "Probe %d.%d" while the probe works here; not saved
};

class CDrawGroup : public CDrawNode
{
public:
    CDrawGroup() : CDrawNode(eDrawKindGroup) {}
    std::unique_ptr<CDrawPrimitive> Clone() const override { return std::make_unique<CDrawGroup>(*this); }

    QString Label = QStringLiteral("Group");
    QString Comment;
};

class CDrawOffViewHandle : public CDrawNode
{
public:
    CDrawOffViewHandle() : CDrawNode(eDrawKindOffViewHandle) {}
    std::unique_ptr<CDrawPrimitive> Clone() const override
    {
        return std::make_unique<CDrawOffViewHandle>(*this);
    }

    QString Label;
};

class CDrawEdge : public CDrawPrimitive
{
public:
    bool IsNode() const override { return false; }
    // Replaces the path and works out where the port numbers stand.
    void SetPath(const std::vector<QPoint>& points);
    const std::vector<QPoint>& GetPath() const { return m_Path; }
    // Where the port number of the start and of the end is drawn: 36 pixels along the path from
    // each end. Meaningful with two points or more.
    QPointF GetStartLabelPosition() const { return m_StartLabel; }
    QPointF GetEndLabelPosition() const { return m_EndLabel; }

    int eEdgeType;
    int eStartKind = eDrawKindNone; // kinds and unique IDs of the two end nodes
    uint32_t uStartUniqueID = 0;
    int eEndKind = eDrawKindNone;
    uint32_t uEndUniqueID = 0;
    int Style = eEdgeStraight;

protected:
    explicit CDrawEdge(int eType) : CDrawPrimitive(eDrawKindNone), eEdgeType(eType) {}

private:
    std::vector<QPoint> m_Path;
    QPointF m_StartLabel;
    QPointF m_EndLabel;
};

class CDrawPEConn : public CDrawEdge
{
public:
    CDrawPEConn() : CDrawEdge(eEdgePEConn) {}
    std::unique_ptr<CDrawPrimitive> Clone() const override { return std::make_unique<CDrawPEConn>(*this); }
};

class CDrawGroupConn : public CDrawEdge
{
public:
    CDrawGroupConn() : CDrawEdge(eEdgeGroupConn) {}
    std::unique_ptr<CDrawPrimitive> Clone() const override { return std::make_unique<CDrawGroupConn>(*this); }
};

class CDrawOffViewConn : public CDrawEdge
{
public:
    CDrawOffViewConn() : CDrawEdge(eEdgeOffViewConn) {}
    std::unique_ptr<CDrawPrimitive> Clone() const override
    {
        return std::make_unique<CDrawOffViewConn>(*this);
    }
};

// An owned list of drawing objects; copies are deep.
class CDrawList
{
public:
    CDrawList() = default;
    CDrawList(const CDrawList& other) { CopyFrom(other); }
    CDrawList(CDrawList&&) noexcept = default;
    CDrawList& operator=(const CDrawList& other)
    {
        if (this != &other)
        {
            CopyFrom(other);
        }
        return *this;
    }
    CDrawList& operator=(CDrawList&&) noexcept = default;

    // Appends an object; the list takes ownership. Returns the object.
    template <typename T> T* Add(std::unique_ptr<T> pObject)
    {
        T* pRaw = pObject.get();
        m_Objects.push_back(std::move(pObject));
        return pRaw;
    }
    int GetCount() const { return static_cast<int>(m_Objects.size()); }
    bool IsEmpty() const { return m_Objects.empty(); }
    CDrawPrimitive* GetAt(int i) const
    {
        return i >= 0 && i < GetCount() ? m_Objects[static_cast<size_t>(i)].get() : nullptr;
    }
    // The object with that unique ID, or null.
    CDrawPrimitive* FindByUniqueID(uint32_t uUniqueID) const;
    // The PE node drawing the PE with that node number, or null.
    CDrawPE* FindPENode(int iNodeNumber) const;
    void RemoveAll() { m_Objects.clear(); }

    auto begin() const { return m_Objects.begin(); }
    auto end() const { return m_Objects.end(); }

private:
    void CopyFrom(const CDrawList& other);

    std::vector<std::unique_ptr<CDrawPrimitive>> m_Objects;
};
