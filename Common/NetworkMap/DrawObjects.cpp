#include "DrawObjects.h"

#include <cmath>

namespace
{
// Distance along a link at which its port number is drawn, from either end.
constexpr double kPortLabelDistance = 36.0;

QPointF Along(const QPoint& from, const QPoint& towards)
{
    const double dX = towards.x() - from.x();
    const double dY = towards.y() - from.y();
    const double dLength = std::hypot(dX, dY);
    if (dLength == 0.0)
    {
        return QPointF(from);
    }
    return QPointF(from.x() + dX * kPortLabelDistance / dLength,
                   from.y() + dY * kPortLabelDistance / dLength);
}
} // namespace

void CDrawEdge::SetPath(const std::vector<QPoint>& points)
{
    m_Path = points;
    if (m_Path.size() >= 2)
    {
        m_StartLabel = Along(m_Path[0], m_Path[1]);
        m_EndLabel = Along(m_Path[m_Path.size() - 1], m_Path[m_Path.size() - 2]);
    }
    else
    {
        m_StartLabel = m_EndLabel = QPointF();
    }
}

CDrawPrimitive* CDrawList::FindByUniqueID(uint32_t uUniqueID) const
{
    for (const auto& pObject : m_Objects)
    {
        if (pObject->uUniqueID == uUniqueID)
        {
            return pObject.get();
        }
    }
    return nullptr;
}

CDrawPE* CDrawList::FindPENode(int iNodeNumber) const
{
    for (const auto& pObject : m_Objects)
    {
        if (pObject->eKind == eDrawKindPE && pObject->iAssociatedPrimitive == iNodeNumber)
        {
            return static_cast<CDrawPE*>(pObject.get());
        }
    }
    return nullptr;
}

void CDrawList::CopyFrom(const CDrawList& other)
{
    m_Objects.clear();
    m_Objects.reserve(other.m_Objects.size());
    for (const auto& pObject : other.m_Objects)
    {
        m_Objects.push_back(pObject->Clone());
    }
}
