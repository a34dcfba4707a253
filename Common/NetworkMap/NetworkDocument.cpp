#include "NetworkDocument.h"

#include "NetworkMap.h"

#include <ctime>

CNetworkDocument::CNetworkDocument()
{
    MakeExpandedView();
    UpdateCurrentPointers();
}

CNetworkDocument::CNetworkDocument(const CNetworkDocument& other)
{
    *this = other;
}

CNetworkDocument& CNetworkDocument::operator=(const CNetworkDocument& other)
{
    if (this == &other)
    {
        return *this;
    }
    bPrinting = other.bPrinting;
    iCurrentViewID = other.iCurrentViewID;
    bShowTemplate = other.bShowTemplate;
    ViewHistory = other.ViewHistory;
    Views.clear();
    for (const auto& pView : other.Views)
    {
        Views.push_back(std::make_unique<CMapView>(*pView));
    }
    ActivePEs = other.ActivePEs;
    ActiveConnections = other.ActiveConnections;
    TemplatePEs = other.TemplatePEs;
    TemplateConnections = other.TemplateConnections;
    SelectedNodes = other.SelectedNodes;
    SelectedEdges = other.SelectedEdges;
    WatchItems = other.WatchItems;
    MenuScripts = other.MenuScripts;
    EventScripts = other.EventScripts;
    FileName = other.FileName;
    PathName = other.PathName;
    UpdateCurrentPointers();
    return *this;
}

CNetworkDocument::CNetworkDocument(CNetworkDocument&& other) noexcept
{
    *this = std::move(other);
}

CNetworkDocument& CNetworkDocument::operator=(CNetworkDocument&& other) noexcept
{
    if (this == &other)
    {
        return *this;
    }
    bPrinting = other.bPrinting;
    iCurrentViewID = other.iCurrentViewID;
    bShowTemplate = other.bShowTemplate;
    ViewHistory = std::move(other.ViewHistory);
    Views = std::move(other.Views);
    ActivePEs = std::move(other.ActivePEs);
    ActiveConnections = std::move(other.ActiveConnections);
    TemplatePEs = std::move(other.TemplatePEs);
    TemplateConnections = std::move(other.TemplateConnections);
    SelectedNodes = std::move(other.SelectedNodes);
    SelectedEdges = std::move(other.SelectedEdges);
    WatchItems = std::move(other.WatchItems);
    MenuScripts = std::move(other.MenuScripts);
    EventScripts = std::move(other.EventScripts);
    FileName = std::move(other.FileName);
    PathName = std::move(other.PathName);
    UpdateCurrentPointers();
    // The source stays a usable, empty document.
    other.New();
    return *this;
}

void CNetworkDocument::MakeExpandedView()
{
    Views.push_back(std::make_unique<CMapView>(QStringLiteral("Expanded View"), kExpandedViewID));
}

void CNetworkDocument::New()
{
    bPrinting = false;
    iCurrentViewID = kExpandedViewID;
    bShowTemplate = false;
    ViewHistory.clear();
    Views.clear();
    ActivePEs.RemoveAll();
    ActiveConnections.RemoveAll();
    TemplatePEs.RemoveAll();
    TemplateConnections.RemoveAll();
    SelectedNodes.clear();
    SelectedEdges.clear();
    WatchItems.clear();
    MenuScripts.clear();
    EventScripts.clear();
    FileName.clear();
    PathName.clear();
    MakeExpandedView();
    UpdateCurrentPointers();
}

bool CNetworkDocument::Save()
{
    CNetworkMap map;
    return map.SaveMap(*this);
}

bool CNetworkDocument::SaveAs(const QString& strPath)
{
    CNetworkMap map;
    return map.SaveMapAs(*this, strPath);
}

bool CNetworkDocument::Open(const QString& strPath, bool bEnciphered)
{
    CNetworkMap map;
    return map.LoadMap(strPath, *this, bEnciphered);
}

CMapView* CNetworkDocument::FindView(int iViewID) const
{
    for (const auto& pView : Views)
    {
        if (pView->iViewID == iViewID)
        {
            return pView.get();
        }
    }
    return nullptr;
}

CMapView* CNetworkDocument::AddView(std::unique_ptr<CMapView> pView)
{
    Views.push_back(std::move(pView));
    return Views.back().get();
}

void CNetworkDocument::UpdateCurrentPointers()
{
    if (Views.empty())
    {
        MakeExpandedView();
    }
    pCurrentView = FindView(iCurrentViewID);
    if (!pCurrentView)
    {
        pCurrentView = Views.front().get();
        iCurrentViewID = pCurrentView->iViewID;
    }
    pCurrentPEs = bShowTemplate ? &TemplatePEs : &ActivePEs;
    pCurrentConnections = bShowTemplate ? &TemplateConnections : &ActiveConnections;
    pCurrentNodes = &pCurrentView->Nodes(bShowTemplate);
    pCurrentEdges = &pCurrentView->Edges(bShowTemplate);
}

void CNetworkDocument::SelectView(int iViewID, bool bTemplate)
{
    CMapView* pView = FindView(iViewID);
    if (!pView || (pView->iViewID != kExpandedViewID && pView->Nodes(bTemplate).IsEmpty()))
    {
        ViewHistory.clear();
        pView = FindView(kExpandedViewID);
        if (!pView)
        {
            pView = Views.front().get();
        }
    }
    else if (pCurrentView && pCurrentView->iViewID != pView->iViewID)
    {
        ViewHistory.push_back(pCurrentView->iViewID);
    }
    iCurrentViewID = pView->iViewID;
    bShowTemplate = bTemplate;
    UpdateCurrentPointers();

    for (const auto& pNode : *pCurrentNodes)
    {
        pNode->bSelected = false;
    }
    for (const auto& pEdge : *pCurrentEdges)
    {
        pEdge->bSelected = false;
    }
    SelectedNodes.clear();
    SelectedEdges.clear();
    ApplyWatchHighlights();
}

bool CNetworkDocument::SelectPreviousView()
{
    while (!ViewHistory.empty())
    {
        const int iPrevious = ViewHistory.back();
        ViewHistory.pop_back();
        if (!FindView(iPrevious))
        {
            continue;
        }
        // Going back mustn't put the view being left into the history.
        const std::vector<int> rest = ViewHistory;
        SelectView(iPrevious, bShowTemplate);
        if (iCurrentViewID == iPrevious)
        {
            ViewHistory = rest;
        }
        return true;
    }
    return false;
}

void CNetworkDocument::ToggleTemplate(bool bTemplate)
{
    SelectView(iCurrentViewID, bTemplate);
}

void CNetworkDocument::ApplyWatchHighlights()
{
    for (WatchItem& item : WatchItems)
    {
        if (item.eAction != eWatchActionHighlightPE || !item.bEnabled || !item.bHighlighted)
        {
            continue;
        }
        const CPEPrimitive* pPE = pCurrentPEs->GetByIndex(item.iPEID);
        if (!pPE)
        {
            continue;
        }
        if (CDrawPE* pNode = pCurrentNodes->FindPENode(pPE->iNodeNumber))
        {
            pNode->bHighlighted = true;
        }
    }
}

void CNetworkDocument::CopyActiveToTemplate()
{
    TemplatePEs = ActivePEs;
    TemplateConnections = ActiveConnections;
    for (const auto& pView : Views)
    {
        pView->iTemplateWidth = pView->iWidth;
        pView->iTemplateHeight = pView->iHeight;
        pView->pTemplateNodes = pView->pNodes;
        pView->pTemplateEdges = pView->pEdges;
    }
    UpdateCurrentPointers();
}

bool CNetworkDocument::ValidateUniqueDestIDs(QString& strMessage) const
{
    constexpr uint32_t kSkipped = kPETypeSwitch | kPETypeUnknown | kPETypeNull;
    std::vector<const CPEPrimitive*> endpoints;
    for (const auto& pPE : *pCurrentPEs)
    {
        if (!pPE->bDeleted && !(pPE->uType & kSkipped))
        {
            endpoints.push_back(pPE.get());
        }
    }
    for (size_t i = 0; i < endpoints.size(); ++i)
    {
        for (size_t j = i + 1; j < endpoints.size(); ++j)
        {
            if (endpoints[i]->GetDestID() == endpoints[j]->GetDestID())
            {
                strMessage = QString::asprintf(
                    "Destination IDs are not unique. Node %d and Node %d have an ID of %d",
                    endpoints[i]->iNodeNumber + 1, endpoints[j]->iNodeNumber + 1, endpoints[i]->GetDestID());
                return false;
            }
        }
    }
    return true;
}

uint32_t CNetworkDocument::MakeUniqueTimeID()
{
    static uint32_t s_uLast = 0;
    const auto uNow = static_cast<uint32_t>(std::time(nullptr));
    s_uLast = uNow > s_uLast ? uNow : s_uLast + 1;
    return s_uLast;
}
