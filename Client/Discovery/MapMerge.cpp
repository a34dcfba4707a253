#include "MapMerge.h"

#include "DebugLog.h"
#include "UserInterface.h"

#include <map>
#include <utility>
#include <vector>

namespace
{
// How far apart the links of one bundle bend, in pixels.
constexpr int kBundleSpacing = 20;
// Size of the loop of a link from a PE back to itself.
constexpr int kLoopSize = 30;

void DumpViews(const char* pszTitle, const CNetworkDocument& map)
{
    DebugPrint(eDebugDiscovery, "%s", pszTitle);
    for (const auto& pView : map.Views)
    {
        DebugPrint(eDebugDiscovery, "View %d '%s': %d nodes, %d edges\n", pView->iViewID,
                   pView->Name.toLocal8Bit().constData(), pView->pNodes.GetCount(), pView->pEdges.GetCount());
    }
}

std::unique_ptr<CDrawPE> NewPENode(const CPEPrimitive& pe, QPoint position)
{
    auto pNode = std::make_unique<CDrawPE>();
    pNode->uUniqueID = CNetworkDocument::MakeUniqueTimeID();
    pNode->iAssociatedPrimitive = pe.iNodeNumber;
    pNode->bVisible = !pe.bDeleted;
    pNode->BitmapNoSel = pe.BitmapNoSel;
    pNode->BitmapSel = pe.BitmapSel;
    pNode->Move(position.x(), position.y());
    return pNode;
}

// A connection's straight path, or a loop beside a PE linked to itself.
void SetDefaultPath(CDrawPEConn& edge, const CDrawPE& start, const CDrawPE& end)
{
    const QPoint a(start.iXPos, start.iYPos), b(end.iXPos, end.iYPos);
    if (&start == &end)
    {
        edge.Style = eEdgeLoopback;
        edge.SetPath({a, a + QPoint(kLoopSize, -kLoopSize), a + QPoint(2 * kLoopSize, 0),
                      a + QPoint(kLoopSize, kLoopSize), a});
        return;
    }
    edge.Style = eEdgeStraight;
    edge.SetPath({a, b});
}

std::unique_ptr<CDrawPEConn> NewConnectionEdge(const CConnectionPrimitive& connection, const CDrawPE& start,
                                               const CDrawPE& end)
{
    auto pEdge = std::make_unique<CDrawPEConn>();
    pEdge->uUniqueID = CNetworkDocument::MakeUniqueTimeID();
    pEdge->iAssociatedPrimitive = connection.iNodeNumber;
    pEdge->bVisible = !connection.bDeleted;
    pEdge->eStartKind = eDrawKindPE;
    pEdge->uStartUniqueID = start.uUniqueID;
    pEdge->eEndKind = eDrawKindPE;
    pEdge->uEndUniqueID = end.uUniqueID;
    SetDefaultPath(*pEdge, start, end);
    return pEdge;
}

// Links that share both end PEs bend apart, each by its place in the bundle.
void FanOut(CDrawList& nodes, CDrawList& edges)
{
    std::map<std::pair<uint32_t, uint32_t>, std::vector<CDrawEdge*>> bundles;
    for (const auto& pObject : edges)
    {
        auto* pEdge = static_cast<CDrawEdge*>(pObject.get());
        if (pEdge->GetPath().size() >= 3 || pEdge->uStartUniqueID == pEdge->uEndUniqueID)
        {
            continue;
        }
        bundles[std::minmax(pEdge->uStartUniqueID, pEdge->uEndUniqueID)].push_back(pEdge);
    }
    for (auto& [ends, bundle] : bundles)
    {
        if (bundle.size() < 2)
        {
            continue;
        }
        const CDrawPrimitive* pStart = nodes.FindByUniqueID(ends.first);
        const CDrawPrimitive* pEnd = nodes.FindByUniqueID(ends.second);
        if (!pStart || !pEnd)
        {
            continue;
        }
        const QPoint a(pStart->iXPos, pStart->iYPos), b(pEnd->iXPos, pEnd->iYPos);
        const QPointF along(b - a);
        const double dLength = std::max(1.0, std::hypot(along.x(), along.y()));
        const QPointF normal(-along.y() / dLength, along.x() / dLength);
        for (size_t i = 0; i < bundle.size(); ++i)
        {
            const double dOffset =
                (static_cast<double>(i) - (static_cast<double>(bundle.size()) - 1) / 2) * kBundleSpacing;
            const QPoint bend = ((a + b) / 2) + (normal * dOffset).toPoint();
            bundle[i]->Style = eEdgeCurve;
            bundle[i]->SetPath({a, bend, b});
        }
    }
}

int CountRealPEs(const CNetworkDocument& map)
{
    int nReal = 0;
    for (const auto& pPE : map.ActivePEs)
    {
        nReal += !pPE->bDeleted && !(pPE->uType & (kPETypeNull | kPETypeUnknown)) ? 1 : 0;
    }
    return nReal;
}

// The grouped view: the leaves of each switch (endpoints, empty and unknown places with no other
// link) stand in a group beside it, so that a large map shows its switches and their ties.
void AddGroupedView(CNetworkDocument& map)
{
    const CMapView& main = *map.Views.front();
    auto pView = std::make_unique<CMapView>(QStringLiteral("Grouped View"), kGroupedViewID);
    pView->pNodes = main.pNodes;
    pView->pEdges = main.pEdges;
    std::map<int, std::vector<int>> neighbours;
    for (const auto& pConnection : map.ActiveConnections)
    {
        if (!pConnection->bDeleted && pConnection->iPE1 != pConnection->iPE2)
        {
            neighbours[pConnection->iPE1].push_back(pConnection->iPE2);
            neighbours[pConnection->iPE2].push_back(pConnection->iPE1);
        }
    }
    for (const auto& pPE : map.ActivePEs)
    {
        if (pPE->bDeleted || !(pPE->uType & kPETypeSwitch))
        {
            continue;
        }
        std::vector<CDrawPE*> leaves;
        for (int iNeighbour : neighbours[pPE->iNodeNumber])
        {
            const CPEPrimitive* pOther = map.ActivePEs.GetByNodeNumber(iNeighbour);
            CDrawPE* pNode = pView->pNodes.FindPENode(iNeighbour);
            if (pOther && pNode && !(pOther->uType & kPETypeSwitch) && neighbours[iNeighbour].size() == 1 &&
                pNode->iBelongsToGroup == kNoGroup)
            {
                leaves.push_back(pNode);
            }
        }
        const CDrawPE* pSwitchNode = pView->pNodes.FindPENode(pPE->iNodeNumber);
        if (leaves.size() < 2 || !pSwitchNode)
        {
            continue;
        }
        auto pGroup = std::make_unique<CDrawGroup>();
        pGroup->uUniqueID = CNetworkDocument::MakeUniqueTimeID();
        pGroup->Label = QString::asprintf("Node %d", pPE->iNodeNumber + 1);
        pGroup->Move(pSwitchNode->iXPos + 60, pSwitchNode->iYPos + 60);
        for (CDrawPE* pLeaf : leaves)
        {
            pLeaf->iBelongsToGroup = pGroup->uUniqueID;
        }
        auto pLink = std::make_unique<CDrawGroupConn>();
        pLink->uUniqueID = CNetworkDocument::MakeUniqueTimeID();
        pLink->eStartKind = eDrawKindPE;
        pLink->uStartUniqueID = pSwitchNode->uUniqueID;
        pLink->eEndKind = eDrawKindGroup;
        pLink->uEndUniqueID = pGroup->uUniqueID;
        pLink->SetPath(
            {QPoint(pSwitchNode->iXPos, pSwitchNode->iYPos), QPoint(pGroup->iXPos, pGroup->iYPos)});
        pView->pNodes.Add(std::move(pGroup));
        pView->pEdges.Add(std::move(pLink));
    }
    map.AddView(std::move(pView));
}
} // namespace

QPoint DefaultGridPosition(int iNode)
{
    const int iColumn = iNode % 5;
    const int iRow = iNode / 5;
    return QPoint((iColumn + 1) * 100 + (iRow % 2 ? 10 : 0), iRow * 100 + 150 + (iColumn % 2 ? 10 : 0));
}

void BuildDefaultDrawItems(CNetworkDocument& map)
{
    CMapView& view = *map.Views.front();
    view.pNodes.RemoveAll();
    view.pEdges.RemoveAll();
    for (const auto& pPE : map.ActivePEs)
    {
        view.pNodes.Add(NewPENode(*pPE, DefaultGridPosition(pPE->iNodeNumber)));
    }
    for (const auto& pConnection : map.ActiveConnections)
    {
        const CDrawPE* pStart = view.pNodes.FindPENode(pConnection->iPE1);
        const CDrawPE* pEnd = view.pNodes.FindPENode(pConnection->iPE2);
        if (pStart && pEnd)
        {
            view.pEdges.Add(NewConnectionEdge(*pConnection, *pStart, *pEnd));
        }
    }
    FanOut(view.pNodes, view.pEdges);
}

void MergeMaps(CNetworkDocument& newMap, const CNetworkDocument& currentMap, const LayoutFn& pfnLayout,
               bool bForceLayout)
{
    DumpViews("Old Map View Dump\n", currentMap);
    DumpViews("New Map View Dump\n", newMap);
    const CPEList* pGuidePEs = nullptr;
    const CConnectionList* pGuideConnections = nullptr;
    const CDrawList* pGuideNodes = nullptr;
    const CDrawList* pGuideEdges = nullptr;
    bool bTemplateAnswered = false;
    if (currentMap.TemplatePEs.GetCount() > 2)
    {
        bTemplateAnswered =
            AskDontAsk(QStringLiteral("UseTemplateMapAsGuide"),
                       QStringLiteral(
                           "Do you want Norvanta to attempt to arrange PEs on the new map\nusing the current "
                           "template map as a guide?"),
                       ApplicationTitle()) == eAnswerYes;
        if (bTemplateAnswered)
        {
            pGuidePEs = &currentMap.TemplatePEs;
            pGuideConnections = &currentMap.TemplateConnections;
            pGuideNodes = &currentMap.Views.front()->pTemplateNodes;
            pGuideEdges = &currentMap.Views.front()->pTemplateEdges;
        }
    }
    if (!bTemplateAnswered && currentMap.ActivePEs.GetCount() > 2 &&
        AskDontAsk(
            QStringLiteral("UseWorkingMapAsGuide"),
            QStringLiteral("Do you want Norvanta to attempt to arrange PEs on the new map\nusing the current "
                           "active map as a guide?"),
            ApplicationTitle()) == eAnswerYes)
    {
        pGuidePEs = &currentMap.ActivePEs;
        pGuideConnections = &currentMap.ActiveConnections;
        pGuideNodes = &currentMap.Views.front()->pNodes;
        pGuideEdges = &currentMap.Views.front()->pEdges;
    }

    CMapView& view = *newMap.Views.front();
    view.pNodes.RemoveAll();
    view.pEdges.RemoveAll();
    std::map<int, int> guideOfNew; // new node number to guide node number
    for (const auto& pPE : newMap.ActivePEs)
    {
        const CPEPrimitive* pGuide = pGuidePEs ? pGuidePEs->GetPEByUniqueID(pPE->UniqueID) : nullptr;
        const CDrawPE* pGuideNode = pGuide ? pGuideNodes->FindPENode(pGuide->iNodeNumber) : nullptr;
        if (pGuideNode)
        {
            guideOfNew[pPE->iNodeNumber] = pGuide->iNodeNumber;
            auto pNode = NewPENode(*pPE, QPoint(pGuideNode->iXPos, pGuideNode->iYPos));
            pNode->iBitmapWidth = pGuideNode->iBitmapWidth;
            pNode->iBitmapHeight = pGuideNode->iBitmapHeight;
            view.pNodes.Add(std::move(pNode));
        }
        else
        {
            view.pNodes.Add(NewPENode(*pPE, DefaultGridPosition(pPE->iNodeNumber)));
        }
    }
    for (const auto& pConnection : newMap.ActiveConnections)
    {
        const CDrawPE* pStart = view.pNodes.FindPENode(pConnection->iPE1);
        const CDrawPE* pEnd = view.pNodes.FindPENode(pConnection->iPE2);
        if (!pStart || !pEnd)
        {
            continue;
        }
        auto pEdge = NewConnectionEdge(*pConnection, *pStart, *pEnd);
        auto itA = guideOfNew.find(pConnection->iPE1);
        auto itB = guideOfNew.find(pConnection->iPE2);
        if (pGuideConnections && itA != guideOfNew.end() && itB != guideOfNew.end())
        {
            for (const auto& pGuideConnection : *pGuideConnections)
            {
                const bool bSame = pGuideConnection->iPE1 == itA->second &&
                                   pGuideConnection->iPE2 == itB->second &&
                                   pGuideConnection->iPE1Port == pConnection->iPE1Port &&
                                   pGuideConnection->iPE2Port == pConnection->iPE2Port;
                const bool bSwapped = pGuideConnection->iPE2 == itA->second &&
                                      pGuideConnection->iPE1 == itB->second &&
                                      pGuideConnection->iPE2Port == pConnection->iPE1Port &&
                                      pGuideConnection->iPE1Port == pConnection->iPE2Port;
                if (!bSame && !bSwapped)
                {
                    continue;
                }
                for (const auto& pObject : *pGuideEdges)
                {
                    auto* pGuideEdge = dynamic_cast<const CDrawPEConn*>(pObject.get());
                    if (pGuideEdge && pGuideEdge->iAssociatedPrimitive == pGuideConnection->iNodeNumber &&
                        pGuideEdge->GetPath().size() >= 2)
                    {
                        std::vector<QPoint> path = pGuideEdge->GetPath();
                        if (bSwapped)
                        {
                            std::reverse(path.begin(), path.end());
                        }
                        pEdge->Style = pGuideEdge->Style;
                        pEdge->SetPath(path);
                    }
                }
                break;
            }
        }
        view.pEdges.Add(std::move(pEdge));
    }
    FanOut(view.pNodes, view.pEdges);
    const bool bGuide = pGuidePEs != nullptr;
    if ((!bGuide || (bForceLayout && CountRealPEs(newMap) == 2)) && pfnLayout)
    {
        newMap.SelectView(kExpandedViewID, false);
        pfnLayout(newMap);
    }
    while (newMap.Views.size() > 1)
    {
        newMap.Views.pop_back();
    }
    if (bGuide)
    {
        AddGroupedView(newMap);
    }
    newMap.SelectView(kExpandedViewID, false);
    DumpViews("Old Map Views\n", currentMap);
    DumpViews("New Map Views\n", newMap);
}

void TakeOverMap(CNetworkDocument& newMap, CNetworkDocument& map)
{
    map.ActivePEs = std::move(newMap.ActivePEs);
    map.ActiveConnections = std::move(newMap.ActiveConnections);
    std::vector<std::unique_ptr<CMapView>> views;
    for (auto& pView : map.Views)
    {
        if (pView->iViewID == kExpandedViewID)
        {
            pView->pNodes = std::move(newMap.Views.front()->pNodes);
            pView->pEdges = std::move(newMap.Views.front()->pEdges);
            views.push_back(std::move(pView));
        }
        else if (!pView->pTemplateNodes.IsEmpty() && pView->iViewID != kGroupedViewID)
        {
            pView->pNodes.RemoveAll();
            pView->pEdges.RemoveAll();
            views.push_back(std::move(pView));
        }
    }
    for (size_t i = 1; i < newMap.Views.size(); ++i)
    {
        views.push_back(std::move(newMap.Views[i]));
    }
    map.Views = std::move(views);
    map.SelectedNodes.clear();
    map.SelectedEdges.clear();
    map.ViewHistory.clear();
    map.SelectView(kExpandedViewID, map.bShowTemplate);
}
