#include "RouteGeneration.h"

#include "DebugLog.h"
#include "FlatNetwork.h"
#include "NVXLRoute.h"
#include "TableTransfer.h"
#include "UserInterface.h"

#include <chrono>

namespace
{
struct SProgressState
{
    bool bShown = false;
    uint32_t ulLastStep = 0;
    uint32_t ulCalls = 0;
    std::chrono::steady_clock::time_point lastUpdate;
};

// A few steps don't need a window. The window follows every new step, and the text within a step
// at most ten times a second: a large map has millions of pairs, one call each, so within a step
// the clock is read only every 256th call.
int32_t GenerationProgress(const char* pszText, uint32_t ulStep, uint32_t ulTotalSteps, void* pUser)
{
    auto* pState = static_cast<SProgressState*>(pUser);
    if (ulTotalSteps < 6)
    {
        return 0;
    }
    if (pState->bShown && ulStep == pState->ulLastStep && (++pState->ulCalls & 0xFFu) != 0)
    {
        return 1;
    }
    const auto now = std::chrono::steady_clock::now();
    if (!pState->bShown)
    {
        UI().BeginWork(QStringLiteral("Computing shortest hop routes between endpoints..."), false);
        pState->bShown = true;
    }
    else if (ulStep == pState->ulLastStep && now - pState->lastUpdate < std::chrono::milliseconds(100))
    {
        return 1;
    }
    pState->ulLastStep = ulStep;
    pState->lastUpdate = now;
    UI().SetWorkProgress(QString::asprintf("%s (%u of %u)", pszText, ulStep, ulTotalSteps));
    return 1;
}

void RouteDebugOutput(const char* pszText, void*)
{
    DebugPrint(eDebugFindRoute, "%s", pszText);
}

uint16_t PrimaryID(const CPEPrimitive& pe)
{
    return pe.GetDestID();
}
} // namespace

int GenerateRoutes(CNetworkDocument& map, int iNode)
{
    std::vector<uint32_t> switches;
    for (const auto& pPE : *map.pCurrentPEs)
    {
        if (pPE->bDeleted || pPE->iNodeNumber < 0)
        {
            continue;
        }
        if ((iNode < 0 && (pPE->uType & kPETypeSwitch)) || pPE->iNodeNumber == iNode)
        {
            switches.push_back(static_cast<uint32_t>(pPE->iNodeNumber));
            for (auto& pTable : pPE->RoutingTables)
            {
                pTable.reset();
            }
        }
    }
    // Every connection goes in, deleted or not; the generator doesn't look at their state.
    CFlatNetwork flat(0, 0);
    flat.Flatten(*map.pCurrentPEs, *map.pCurrentConnections, CFlatNetwork::eMulticast);
    for (uint32_t i = 0; i < flat.Network().ulNumConnections; ++i)
    {
        flat.Network().pConnections[i].ulValid = 1;
    }
    NVXL_RT_RegisterDebugOutput(DebugEnabled(eDebugFindRoute) ? RouteDebugOutput : nullptr, nullptr);
    SProgressState progress;
    NVXL_RT_GenerateRoutes(flat.Network().ulNumPEs, flat.Network().pPEs, flat.Network().ulNumConnections,
                           flat.Network().pConnections, switches.data(),
                           static_cast<uint32_t>(switches.size()), GenerationProgress, &progress);
    NVXL_RT_RegisterDebugOutput(nullptr, nullptr);
    if (progress.bShown)
    {
        UI().EndWork(QString());
    }
    // Each pool table is given back as soon as it is copied: the next copy takes its memory.
    int nGiven = 0;
    for (uint32_t ulNode : switches)
    {
        CPEPrimitive* pPE = map.pCurrentPEs->GetByNodeNumber(static_cast<int>(ulNode));
        NVXL_PE& record = flat.PE(ulNode);
        bool bAny = false;
        for (int t = 0; t < kMaxPorts; ++t)
        {
            const int32_t lHandle = record.alRouteTables[t];
            if (lHandle == NVXL_NO_TABLE)
            {
                continue;
            }
            auto pTable = std::make_unique<CRoutingTable>();
            uint32_t ulCount = 0;
            NVXL_RT_GetNumEntries(lHandle, &ulCount);
            const NVXL_RT_ENTRY* pEntries = NVXL_RT_GetEntries(lHandle);
            pTable->Reserve(ulCount);
            for (uint32_t e = 0; e < ulCount; ++e)
            {
                const NVXL_RT_ENTRY& entry = pEntries[e];
                const uint32_t ulType = entry.ulType >= eRouteUnrouted && entry.ulType <= eRouteSpecial
                                            ? entry.ulType
                                            : eRouteUndefined;
                pTable->AddEntry(entry.wDestID, entry.uchPort, ulType, entry.ulSpecialType, true);
            }
            NVXL_RT_FreeTable(lHandle);
            record.alRouteTables[t] = NVXL_NO_TABLE;
            pPE->RoutingTables[static_cast<size_t>(t)] = std::move(pTable);
            bAny = true;
        }
        nGiven += bAny ? 1 : 0;
    }
    return nGiven;
}

void GenerateAllRoutesCommand(CNetworkDocument& map, bool bConnected, bool bDiscoveryFlow)
{
    GenerateRoutes(map, -1);
    if (!bConnected)
    {
        return;
    }
    const QString strQuestion =
        bDiscoveryFlow
            ? QStringLiteral(
                  "Routing tables have been generated.\n\nDo you want to download them to the target?")
            : QStringLiteral("The routing tables have been generated.\n\nDo you want to download them to the "
                             "target?");
    if (UI().Ask(strQuestion, ApplicationTitle(), false) == eAnswerYes)
    {
        DownloadAllTables(map);
    }
}

bool CreateRoutes(CNetworkDocument& map, const std::vector<SRouteSelectionItem>& selection, bool bForward,
                  bool bReverse, bool bConnected, const ChooseIDFn& pfnChooseID)
{
    const QString strSelection = QStringLiteral("Selection Error");
    if (selection.size() < 2)
    {
        UI().ShowMessage(QStringLiteral("Not enough PEs have been selected to create the route."),
                         strSelection, EMessageKind::Error);
        return false;
    }
    if (selection.front().eKind != SRouteSelectionItem::ePE)
    {
        UI().ShowMessage(QStringLiteral("The first item selected must be a PE."), strSelection,
                         EMessageKind::Error);
        return false;
    }
    if (selection.back().eKind != SRouteSelectionItem::ePE)
    {
        UI().ShowMessage(QStringLiteral("The last item selected must be a PE."), strSelection,
                         EMessageKind::Error);
        return false;
    }
    const CPEPrimitive* pFirst = map.pCurrentPEs->GetByNodeNumber(selection.front().iNodeNumber);
    const CPEPrimitive* pLast = map.pCurrentPEs->GetByNodeNumber(selection.back().iNodeNumber);
    if (!pFirst || !pLast)
    {
        UI().ShowMessage(pFirst ? QStringLiteral("Error 2.") : QStringLiteral("Error 1"),
                         QStringLiteral("Internal Error"), EMessageKind::Error);
        return false;
    }
    uint16_t wFirstID = PrimaryID(*pFirst), wLastID = PrimaryID(*pLast);
    if ((pFirst->GetNumVDIDs() || pLast->GetNumVDIDs()) && pfnChooseID &&
        (!pfnChooseID(*pFirst, &wFirstID) || !pfnChooseID(*pLast, &wLastID)))
    {
        return false;
    }
    bool abMade[2] = {false, false};
    for (int nDirection = 0; nDirection < 2; ++nDirection)
    {
        const bool bThisForward = nDirection == 0;
        if ((bThisForward && !bForward) || (!bThisForward && !bReverse))
        {
            continue;
        }
        CRoute route;
        const int nResult =
            FromSelection(route, selection, *map.pCurrentPEs, *map.pCurrentConnections, bThisForward);
        if (nResult != eSelectionOk)
        {
            ShowMessage(FromSelectionMessage(nResult));
            continue;
        }
        const uint16_t wDestID = bThisForward ? wLastID : wFirstID;
        for (int i = 1; i < route.GetCount(); ++i)
        {
            const ROUTEENTRY& in = *route.GetEntry(i - 1);
            const ROUTEENTRY& out = *route.GetEntry(i);
            CPEPrimitive* pJunction = map.pCurrentPEs->GetByNodeNumber(static_cast<int>(in.ulToNode));
            if (!pJunction || !(pJunction->uType & kPETypeSwitch))
            {
                continue;
            }
            DebugPrint(eDebugFindRoute, "RouteEntry:  InputPort:%u DestID:%u OutputPort:%u\n", in.ulToPort,
                       wDestID, out.ulFromPort);
            const size_t nTable = pJunction->bHasPerPortRoutingTables ? in.ulToPort : 0;
            if (nTable >= static_cast<size_t>(kMaxPorts))
            {
                continue;
            }
            std::unique_ptr<CRoutingTable>& pTable = pJunction->RoutingTables[nTable];
            if (!pTable)
            {
                pTable = std::make_unique<CRoutingTable>();
            }
            pTable->AddEntry(wDestID, static_cast<uint8_t>(out.ulFromPort), eRoutePort, 0, true);
        }
        abMade[nDirection] = true;
    }
    QString strText;
    if (abMade[0] && abMade[1])
    {
        strText = QStringLiteral("Forward and reverse routes have been created.");
    }
    else if (bForward && bReverse && (abMade[0] || abMade[1]))
    {
        strText = abMade[0] ? QStringLiteral("Only the forward route was created.")
                            : QStringLiteral("Only the reverse route was created.");
    }
    else if (abMade[0] || abMade[1])
    {
        strText = abMade[0] ? QStringLiteral("The forward route has been created.")
                            : QStringLiteral("The reverse route has been created.");
    }
    else
    {
        ShowMessage(QStringLiteral("Unable to create routes."));
        return false;
    }
    if (bConnected)
    {
        if (UI().Ask(strText + QStringLiteral("\n\nDo you want to download all tables to the target?"),
                     ApplicationTitle(), false) == eAnswerYes)
        {
            DownloadAllTables(map);
        }
    }
    else
    {
        ShowMessage(strText, EMessageKind::Information);
    }
    return true;
}
