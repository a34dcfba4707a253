#include "RouteSearch.h"

#include "DebugLog.h"

namespace
{
bool IsSwitch(const CPEPrimitive& pe)
{
    return (pe.uType & kPETypeSwitch) != 0;
}

// The first connection that is not deleted with that node and port at either end, and the far end.
const CConnectionPrimitive* ConnectionAtPort(const CConnectionList& connections, int iNode, int iPort,
                                             int* piFarNode, int* piFarPort)
{
    for (const auto& pConnection : connections)
    {
        if (pConnection->bDeleted)
        {
            continue;
        }
        if (pConnection->iPE1 == iNode && pConnection->iPE1Port == iPort)
        {
            *piFarNode = pConnection->iPE2;
            *piFarPort = pConnection->iPE2Port;
            return pConnection.get();
        }
        if (pConnection->iPE2 == iNode && pConnection->iPE2Port == iPort)
        {
            *piFarNode = pConnection->iPE1;
            *piFarPort = pConnection->iPE1Port;
            return pConnection.get();
        }
    }
    return nullptr;
}

// The port a table sends an ID to, or -1 when the table can't be used or has no entry.
int TablePort(const CRoutingTable* pTable, uint32_t ulDestID, int lMode)
{
    if (!pTable || (lMode == eTraceHardwareTables && pTable->bModified))
    {
        return -1;
    }
    uint8_t uchPort = 0;
    return pTable->FindEntry(static_cast<uint16_t>(ulDestID), &uchPort) < 0 ? -1 : uchPort;
}

// Whether a PE answers to an ID of its own.
bool HasOwnID(const CPEPrimitive& pe)
{
    return pe.bUsesDestID && pe.GetDestID() != kNoDestID;
}
} // namespace

int32_t TraceRoute(const CPEList& PEs, const CConnectionList& connections, const CPEPrimitive* pSourcePE,
                   const CPEPrimitive* pTargetPE, uint32_t, uint32_t ulDestID, CRoute* pRoute, int lMode)
{
    CRoute route;
    if (pRoute)
    {
        pRoute->Clear();
    }
    if (!pSourcePE || !pTargetPE)
    {
        return kNoRouteStatus;
    }
    int iPort = 0;
    if (IsSwitch(*pSourcePE))
    {
        iPort = -1;
        for (int iTable = 0; iTable < pSourcePE->iNumLocalPorts && iTable < kMaxPorts && iPort < 0; ++iTable)
        {
            iPort = TablePort(pSourcePE->RoutingTables[static_cast<size_t>(iTable)].get(), ulDestID, lMode);
        }
        if (iPort < 0)
        {
            return kNoRouteStatus;
        }
    }
    int iNode = pSourcePE->iNodeNumber;
    // A packet that crosses more links than the map has, counting both directions, goes round a
    // loop of tables and never arrives.
    const int iMaxLinks = 2 * connections.GetCount();
    for (int iLinks = 0; iLinks <= iMaxLinks; ++iLinks)
    {
        int iFarNode = -1, iFarPort = -1;
        if (!ConnectionAtPort(connections, iNode, iPort, &iFarNode, &iFarPort))
        {
            return kNoRouteStatus;
        }
        route.AddEntry(static_cast<uint32_t>(iNode), static_cast<uint32_t>(iPort),
                       static_cast<uint32_t>(iFarNode), static_cast<uint32_t>(iFarPort));
        const CPEPrimitive* pFar = PEs.GetByNodeNumber(iFarNode);
        if (!pFar)
        {
            return kNoRouteStatus;
        }
        if (pFar == pTargetPE)
        {
            if (pRoute)
            {
                *pRoute = route;
            }
            return 0;
        }
        if (!IsSwitch(*pFar))
        {
            return kNoRouteStatus;
        }
        if (pFar->iNumLocalPorts == 2)
        {
            // A two-port switch passes everything through to its other port.
            iPort = iFarPort == 1 ? 0 : 1;
        }
        else
        {
            const int iTable = pFar->bHasPerPortRoutingTables ? iFarPort : 0;
            if (iTable < 0 || iTable >= kMaxPorts)
            {
                return kNoRouteStatus;
            }
            iPort = TablePort(pFar->RoutingTables[static_cast<size_t>(iTable)].get(), ulDestID, lMode);
            if (iPort < 0)
            {
                return kNoRouteStatus;
            }
        }
        iNode = iFarNode;
    }
    DebugPrint(eDebugFindRoute, "The routing tables for destID %u form a loop\n", ulDestID);
    return kNoRouteStatus;
}

int32_t FindRoute(const CPEPrimitive* pSourcePE, const CPEPrimitive* pTargetPE, const CPEList& PEs,
                  const CConnectionList& connections, uint32_t* pulDestID, uint8_t* puchHopCount,
                  bool bUseModifiedTables, CRoute* pRoute)
{
    const int lMode = bUseModifiedTables ? eTraceModifiedTables : eTraceHardwareTables;
    if (pRoute)
    {
        pRoute->Clear();
    }
    if (!pSourcePE || !pTargetPE)
    {
        return kNoRouteStatus;
    }
    if (pSourcePE->iNodeNumber == pTargetPE->iNodeNumber)
    {
        *pulDestID = 0xFFFFFFFFu;
        *puchHopCount = 0;
        return 0;
    }
    CRoute route;
    uint32_t ulFoundID = 0;
    bool bFound = false;
    const uint32_t ulHostID = HasOwnID(*pSourcePE) ? pSourcePE->GetDestID() : kNoDestID;
    if (ulHostID != kNoDestID)
    {
        DebugPrint(eDebugFindRoute, "Looking for routes using host ID %u\n", ulHostID);
        std::vector<uint16_t> targetIDs;
        if (HasOwnID(*pTargetPE))
        {
            targetIDs.push_back(pTargetPE->GetDestID());
        }
        uint16_t wID = 0;
        int iCursor = 0;
        for (bool bMore = pTargetPE->GetFirstVDID(&wID, &iCursor); bMore;
             bMore = pTargetPE->GetNextVDID(&wID, &iCursor))
        {
            targetIDs.push_back(wID);
        }
        for (uint16_t wTargetID : targetIDs)
        {
            if (wTargetID == kNoDestID)
            {
                continue;
            }
            DebugPrint(eDebugFindRoute, "Looking for routes using target ID %u\n", wTargetID);
            if (TraceRoute(PEs, connections, pSourcePE, pTargetPE, ulHostID, wTargetID, &route, lMode) == 0)
            {
                ulFoundID = wTargetID;
                bFound = true;
                break;
            }
        }
    }
    // A packet addressed to another PE may pass the target on its way; with the right hop count it
    // stops there.
    for (auto it = PEs.begin(); !bFound && it != PEs.end(); ++it)
    {
        const CPEPrimitive& pe = **it;
        const int iShown = pe.iNodeNumber + 1;
        DebugPrint(eDebugFindRoute, "Scanning PE%d\n", iShown);
        if (pe.bDeleted)
        {
            DebugPrint(eDebugFindRoute, "Ignoring PE%d because it has been deleted\n", iShown);
            continue;
        }
        if (!HasOwnID(pe) && pe.GetNumVDIDs() == 0)
        {
            DebugPrint(eDebugFindRoute, "Ignoring PE%d because it does not use a destination ID\n", iShown);
            continue;
        }
        if (&pe == pSourcePE)
        {
            DebugPrint(eDebugFindRoute, "Ignoring PE%d because it is the host PE\n", iShown);
            continue;
        }
        std::vector<uint16_t> ids;
        if (HasOwnID(pe))
        {
            ids.push_back(pe.GetDestID());
        }
        uint16_t wID = 0;
        int iCursor = 0;
        for (bool bMore = pe.GetFirstVDID(&wID, &iCursor); bMore; bMore = pe.GetNextVDID(&wID, &iCursor))
        {
            ids.push_back(wID);
        }
        for (uint16_t wCandidate : ids)
        {
            DebugPrint(eDebugFindRoute, "Checking path to PE with DestID=%u\n", wCandidate);
            if (TraceRoute(PEs, connections, pSourcePE, pTargetPE, ulHostID, wCandidate, &route, lMode) == 0)
            {
                ulFoundID = wCandidate;
                bFound = true;
                break;
            }
        }
    }
    if (!bFound)
    {
        DebugPrint(eDebugFindRoute, "There is no *real* route available.  Must use FF routing\n");
        return kNoRouteStatus;
    }
    QString strText;
    route.GetText(strText);
    DebugPrint(eDebugFindRoute, "Route:\n%s", strText.toLocal8Bit().constData());
    *pulDestID = ulFoundID;
    *puchHopCount = static_cast<uint8_t>(route.GetHopCount());
    DebugPrint(eDebugFindRoute, "Use destID %x to get to target\n", ulFoundID);
    DebugPrint(eDebugFindRoute, "Use hop count %d to get to target\n", route.GetHopCount());
    if (pRoute)
    {
        *pRoute = route;
    }
    return 0;
}

int FromSelection(CRoute& route, const std::vector<SRouteSelectionItem>& selection, const CPEList& PEs,
                  const CConnectionList& connections, bool bForward)
{
    route.Clear();
    std::vector<SRouteSelectionItem> items = selection;
    if (!bForward)
    {
        std::reverse(items.begin(), items.end());
    }
    if (items.size() < 2)
    {
        return eSelectionTooFew;
    }
    if (items.front().eKind != SRouteSelectionItem::ePE)
    {
        return eSelectionExpectedPE;
    }
    int iFrom = items.front().iNodeNumber;
    for (size_t i = 1; i < items.size(); ++i)
    {
        const CConnectionPrimitive* pSelected = nullptr;
        if (items[i].eKind == SRouteSelectionItem::eConnection)
        {
            pSelected = connections.GetByNodeNumber(items[i].iNodeNumber);
            if (++i >= items.size())
            {
                return eSelectionLastNotPE;
            }
            if (items[i].eKind != SRouteSelectionItem::ePE)
            {
                return eSelectionExpectedPE;
            }
        }
        else if (items[i].eKind != SRouteSelectionItem::ePE)
        {
            return eSelectionInvalid;
        }
        const int iTo = items[i].iNodeNumber;
        if (!PEs.GetByNodeNumber(iFrom) || !PEs.GetByNodeNumber(iTo))
        {
            return eSelectionInvalid;
        }
        std::vector<const CConnectionPrimitive*> between;
        for (const auto& pConnection : connections)
        {
            if (!pConnection->bDeleted && ((pConnection->iPE1 == iFrom && pConnection->iPE2 == iTo) ||
                                           (pConnection->iPE2 == iFrom && pConnection->iPE1 == iTo)))
            {
                between.push_back(pConnection.get());
            }
        }
        const CConnectionPrimitive* pTaken = nullptr;
        if (between.empty())
        {
            DebugPrint(eDebugFindRoute, "No route\n");
            return eSelectionNotConnected;
        }
        if (pSelected)
        {
            if (std::find(between.begin(), between.end(), pSelected) == between.end())
            {
                return eSelectionAmbiguous;
            }
            pTaken = pSelected;
        }
        else if (between.size() == 1)
        {
            pTaken = between.front();
        }
        else
        {
            return eSelectionAmbiguous;
        }
        const bool bFromFirst = pTaken->iPE1 == iFrom;
        const int iFromPort = bFromFirst ? pTaken->iPE1Port : pTaken->iPE2Port;
        const int iToPort = bFromFirst ? pTaken->iPE2Port : pTaken->iPE1Port;
        route.AddEntry(static_cast<uint32_t>(iFrom), static_cast<uint32_t>(iFromPort),
                       static_cast<uint32_t>(iTo), static_cast<uint32_t>(iToPort));
        DebugPrint(eDebugFindRoute, "\tPushed entry %d:%d <-> %d:%d.  NumEntries now = %d\n", iFrom,
                   iFromPort, iTo, iToPort, route.GetCount());
        iFrom = iTo;
    }
    return eSelectionOk;
}

QString FromSelectionMessage(int nResult)
{
    switch (nResult)
    {
    case eSelectionTooFew:
        return QStringLiteral("Not enough PEs have been selected to create the route.");
    case eSelectionExpectedPE:
        return QStringLiteral("Expected a PE to be selected but found a connection selected instead.");
    case eSelectionLastNotPE:
        return QStringLiteral("The last item selected must be a PE.");
    case eSelectionNotConnected:
        return QStringLiteral("You have selected two PEs that are not directly connected.");
    case eSelectionAmbiguous:
        return QStringLiteral(
            "There are multiple routes available through the PEs that you have selected.  Please "
            "remove ambiguities by also selecting the desired connections between PEs that have "
            "multiple connections between them.");
    case eSelectionConnectionMismatch:
        return QStringLiteral(
            "You have selected a connection that does not match with the route you are trying to "
            "implement.");
    default:
        return QStringLiteral("Invalid route selected.");
    }
}
