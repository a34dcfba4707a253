#include "MapEditing.h"

#include "AutoLayout.h"
#include "NetworkDocument.h"

#include <map>
#include <set>

namespace
{
// Where the handles of links that leave a group stand in the group's view, right of the members.
constexpr int kHandleOffsetX = 200;
constexpr int kHandleSpacingY = 90;

template <typename T> T* AddObject(CDrawList& list, std::unique_ptr<T> pObject)
{
    pObject->uUniqueID = CNetworkDocument::MakeUniqueTimeID();
    return list.Add(std::move(pObject));
}
} // namespace

uint32_t GroupSelectedItems(CNetworkDocument& document)
{
    CDrawList& nodes = *document.pCurrentNodes;
    CDrawList& edges = *document.pCurrentEdges;
    std::set<uint32_t> members;
    int iSumX = 0;
    int iSumY = 0;
    for (const auto& pNode : nodes)
    {
        if (pNode->bSelected && pNode->IsNode() &&
            static_cast<CDrawNode&>(*pNode).iBelongsToGroup == kNoGroup)
        {
            members.insert(pNode->uUniqueID);
            iSumX += pNode->iXPos;
            iSumY += pNode->iYPos;
        }
    }
    if (members.size() < 2)
    {
        return 0;
    }
    const int iCount = static_cast<int>(members.size());
    auto* pGroup = AddObject(nodes, std::make_unique<CDrawGroup>());
    pGroup->Label = QStringLiteral("Undefined");
    pGroup->Move(iSumX / iCount, iSumY / iCount);
    const uint32_t uGroupID = pGroup->uUniqueID;

    auto pView = std::make_unique<CMapView>(pGroup->Label, static_cast<int>(uGroupID & 0x7FFFFFFF));
    CDrawList& viewNodes = pView->Nodes(document.bShowTemplate);
    CDrawList& viewEdges = pView->Edges(document.bShowTemplate);
    std::map<uint32_t, uint32_t> copies; // member's unique ID -> its copy in the group's view
    for (const auto& pNode : nodes)
    {
        if (members.count(pNode->uUniqueID))
        {
            static_cast<CDrawNode&>(*pNode).iBelongsToGroup = uGroupID;
            pNode->bSelected = false;
            auto pCopy = pNode->Clone();
            static_cast<CDrawNode&>(*pCopy).iBelongsToGroup = kNoGroup;
            copies[pNode->uUniqueID] = pCopy->uUniqueID;
            viewNodes.Add(std::move(pCopy));
        }
    }
    int iHandles = 0;
    std::vector<std::unique_ptr<CDrawPrimitive>> groupLinks;
    for (const auto& pObject : edges)
    {
        const auto& edge = static_cast<const CDrawEdge&>(*pObject);
        const bool bStartIn = members.count(edge.uStartUniqueID) != 0;
        const bool bEndIn = members.count(edge.uEndUniqueID) != 0;
        if (bStartIn && bEndIn)
        {
            viewEdges.Add(edge.Clone());
            continue;
        }
        if (!bStartIn && !bEndIn)
        {
            continue;
        }
        // A link that leaves the group: the group stands for its inner end in this view, and an
        // off-view handle for its outer end in the group's view.
        auto pGroupLink = std::make_unique<CDrawGroupConn>();
        pGroupLink->uUniqueID = CNetworkDocument::MakeUniqueTimeID();
        pGroupLink->iAssociatedPrimitive = edge.iAssociatedPrimitive;
        pGroupLink->eStartKind = eDrawKindGroup;
        pGroupLink->uStartUniqueID = uGroupID;
        pGroupLink->eEndKind = bStartIn ? edge.eEndKind : edge.eStartKind;
        pGroupLink->uEndUniqueID = bStartIn ? edge.uEndUniqueID : edge.uStartUniqueID;
        groupLinks.push_back(std::move(pGroupLink));

        const uint32_t uInner = bStartIn ? edge.uStartUniqueID : edge.uEndUniqueID;
        const CDrawPrimitive* pInner = nodes.FindByUniqueID(uInner);
        auto* pHandle = AddObject(viewNodes, std::make_unique<CDrawOffViewHandle>());
        pHandle->Label = QStringLiteral("Off view");
        pHandle->Move(pInner->iXPos + kHandleOffsetX, pInner->iYPos + kHandleSpacingY * (iHandles++ % 3 - 1));
        auto* pHandleLink = AddObject(viewEdges, std::make_unique<CDrawOffViewConn>());
        pHandleLink->iAssociatedPrimitive = edge.iAssociatedPrimitive;
        pHandleLink->eStartKind = static_cast<const CDrawNode*>(pInner)->eKind;
        pHandleLink->uStartUniqueID = copies[uInner];
        pHandleLink->eEndKind = eDrawKindOffViewHandle;
        pHandleLink->uEndUniqueID = pHandle->uUniqueID;
    }
    for (auto& pLink : groupLinks)
    {
        edges.Add(std::move(pLink));
    }
    RouteEdges(nodes, edges);
    RouteEdges(viewNodes, viewEdges);
    document.AddView(std::move(pView));
    document.SelectedNodes.clear();
    return uGroupID;
}

bool OpenGroupView(CNetworkDocument& document, uint32_t uGroupUniqueID)
{
    const int iViewID = static_cast<int>(uGroupUniqueID & 0x7FFFFFFF);
    if (!document.FindView(iViewID))
    {
        return false;
    }
    document.SelectView(iViewID, document.bShowTemplate);
    return document.iCurrentViewID == iViewID;
}

void SetGroupProperties(CNetworkDocument& document, uint32_t uGroupUniqueID, const QString& strLabel,
                        const QString& strComment)
{
    for (const auto& pView : document.Views)
    {
        for (bool bTemplate : {false, true})
        {
            if (CDrawPrimitive* pNode = pView->Nodes(bTemplate).FindByUniqueID(uGroupUniqueID);
                pNode && pNode->eKind == eDrawKindGroup)
            {
                static_cast<CDrawGroup*>(pNode)->Label = strLabel;
                static_cast<CDrawGroup*>(pNode)->Comment = strComment;
            }
        }
        if (pView->iViewID == static_cast<int>(uGroupUniqueID & 0x7FFFFFFF))
        {
            pView->Name = strLabel;
        }
    }
}

bool StraightenLink(CNetworkDocument& document, int iConnection)
{
    for (const auto& pObject : *document.pCurrentEdges)
    {
        auto& edge = static_cast<CDrawEdge&>(*pObject);
        if (edge.iAssociatedPrimitive != iConnection)
        {
            continue;
        }
        const CDrawPrimitive* pStart = document.pCurrentNodes->FindByUniqueID(edge.uStartUniqueID);
        const CDrawPrimitive* pEnd = document.pCurrentNodes->FindByUniqueID(edge.uEndUniqueID);
        if (!pStart || !pEnd || pStart == pEnd)
        {
            return false;
        }
        edge.Style = eEdgeStraight;
        edge.SetPath({QPoint(pStart->iXPos, pStart->iYPos), QPoint(pEnd->iXPos, pEnd->iYPos)});
        return true;
    }
    return false;
}
