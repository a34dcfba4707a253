#include "RouteProgramming.h"

#include "FFRoutes.h"
#include "HalWrappers.h"
#include "NVXLTypes.h"
#include "NetworkMap.h"
#include "RouteSearch.h"
#include "StatusText.h"
#include "UserInterface.h"

namespace
{
// The shared table of a switch without per-port tables, as the HAL names it.
constexpr uint8_t kSharedTable = 255;

uint16_t AllOnes(bool bLong)
{
    return bLong ? 0xFFFF : 0xFF;
}

void Log(const RouteLogFn& log, const QString& strLine)
{
    if (log)
    {
        log(strLine);
    }
}

// One switch of a route: where the packet comes in and where it must leave.
struct SRouteStep
{
    int iNode = 0;
    uint8_t uchInPort = 0;
    uint8_t uchOutPort = 0;
};

// The switches a route passes, in travel order (the route reversed with bReverse).
std::vector<SRouteStep> Steps(const CRoute& route, bool bReverse)
{
    CRoute path = route;
    if (bReverse)
    {
        path.Reverse();
    }
    std::vector<SRouteStep> steps;
    for (int i = 0; i + 1 < path.GetCount(); ++i)
    {
        const ROUTEENTRY& arrival = *path.GetEntry(i);
        const ROUTEENTRY& departure = *path.GetEntry(i + 1);
        steps.push_back({static_cast<int>(arrival.ulToNode), static_cast<uint8_t>(arrival.ulToPort),
                         static_cast<uint8_t>(departure.ulFromPort)});
    }
    return steps;
}

// Lays the all-ones routes from the host to a switch of the map: the hop count that reaches it.
int32_t ReachSwitch(CNetworkDocument& map, const CPEPrimitive& host, int iNode, uint8_t* puchHop)
{
    return ConfigureFFRoutes(*map.pCurrentConnections, static_cast<uint32_t>(host.iNodeNumber),
                             static_cast<uint32_t>(iNode), MapUsesLongIDs(), puchHop);
}
} // namespace

QString SRouteStepFailure::Doing() const
{
    switch (eStep)
    {
    case eLocatePE:
        return QStringLiteral("locating the PE structure for node %1").arg(iNode + 1);
    case eFFRoutes:
        return QStringLiteral("configuring FF routing tables to get to node %1").arg(iNode + 1);
    case eReadEntry:
        return QStringLiteral("reading routing table entry to switch at node %1").arg(iNode + 1);
    case eAddEntry:
        return QStringLiteral("adding routing table entry to switch at node %1").arg(iNode + 1);
    case eNone:
        break;
    }
    return QString();
}

QString RouteText(const CRoute& route)
{
    QString strText;
    route.GetText(strText);
    return strText;
}

void ReportRouteFailure(int32_t nStatus, const QString& strDoing, const RouteLogFn& log)
{
    const QString strText = QStringLiteral("Error %1 (%2) encountered when %3.")
                                .arg(nStatus)
                                .arg(RioErrorText(nStatus), strDoing);
    Log(log, strText + QLatin1Char('\n'));
    ShowMessage(strText);
}

int32_t ProgramRoute(const CRoute& route, CNetworkDocument& map, uint16_t wDestID, bool bReverse,
                     SRouteStepFailure* pFailure)
{
    const CPEPrimitive* pHost = MapHostPE(map);
    const bool bLong = MapUsesLongIDs();
    for (const SRouteStep& step : Steps(route, bReverse))
    {
        pFailure->iNode = step.iNode;
        CPEPrimitive* pSwitch = map.pCurrentPEs->GetByNodeNumber(step.iNode);
        if (!pSwitch || !pHost)
        {
            pFailure->eStep = SRouteStepFailure::eLocatePE;
            return kNoRouteStatus;
        }
        uint8_t uchHop = 0;
        int32_t nStatus = ReachSwitch(map, *pHost, step.iNode, &uchHop);
        if (nStatus != 0)
        {
            pFailure->eStep = SRouteStepFailure::eFFRoutes;
            return nStatus;
        }
        const bool bPerPort = pSwitch->bHasPerPortRoutingTables;
        nStatus = RouteAddEntry(pSwitch->ManufID, pSwitch->DeviceID, 0, AllOnes(bLong), uchHop,
                                bPerPort ? step.uchInPort : kSharedTable, wDestID, step.uchOutPort,
                                eNVXL_RouteTypePort, 0);
        if (nStatus != 0)
        {
            pFailure->eStep = SRouteStepFailure::eAddEntry;
            return nStatus;
        }
        std::unique_ptr<CRoutingTable>& pTable = pSwitch->RoutingTables[bPerPort ? step.uchInPort : 0];
        if (!pTable)
        {
            pTable = std::make_unique<CRoutingTable>();
        }
        // The switch holds the entry now too: the copy stays as true to the hardware as it was.
        pTable->AddEntry(wDestID, step.uchOutPort, eNVXL_RouteTypePort, 0, false);
    }
    pFailure->eStep = SRouteStepFailure::eNone;
    return 0;
}

int32_t ProgramRoute(const CRoute& route, CNetworkDocument& map, uint16_t wDestID, bool bReverse,
                     QString* pstrFailure)
{
    SRouteStepFailure failure;
    const int32_t nStatus = ProgramRoute(route, map, wDestID, bReverse, &failure);
    if (nStatus != 0)
    {
        *pstrFailure = failure.Doing();
    }
    return nStatus;
}

bool ProgramRoute(const CRoute& route, CNetworkDocument& map, uint16_t wDestID, bool bReverse,
                  const RouteLogFn& log)
{
    SRouteStepFailure failure;
    const int32_t nStatus = ProgramRoute(route, map, wDestID, bReverse, &failure);
    if (failure.eStep == SRouteStepFailure::eLocatePE)
    {
        Log(log, QString::asprintf("Unable to locate PE structure for node %d\n", failure.iNode + 1));
    }
    else if (nStatus != 0)
    {
        ReportRouteFailure(nStatus, failure.Doing(), log);
    }
    return nStatus == 0;
}

bool TestRoute(const CRoute& route, CNetworkDocument& map, uint16_t wDestID, bool bReverse,
               const RouteLogFn& log)
{
    const CPEPrimitive* pHost = MapHostPE(map);
    const bool bLong = MapUsesLongIDs();
    for (const SRouteStep& step : Steps(route, bReverse))
    {
        Log(log,
            QString::asprintf(bReverse ? "Testing reverse route to port %d of PE %d for destination ID %Xh "
                                         "to go out port %d\n"
                                       : "Testing forward route to port %d of PE %d for destination ID %Xh "
                                         "to go out port %d\n",
                              step.uchInPort, step.iNode + 1, wDestID, step.uchOutPort));
        const CPEPrimitive* pSwitch = map.pCurrentPEs->GetByNodeNumber(step.iNode);
        if (!pSwitch || !pHost)
        {
            Log(log, QString::asprintf("Unable to locate PE structure for node %d\n", step.iNode + 1));
            return false;
        }
        uint8_t uchHop = 0;
        int32_t nStatus = ReachSwitch(map, *pHost, step.iNode, &uchHop);
        if (nStatus != 0)
        {
            ReportRouteFailure(nStatus, SRouteStepFailure{SRouteStepFailure::eFFRoutes, step.iNode}.Doing(),
                               log);
            return false;
        }
        NVXL_ROUTE_TYPE eType = eNVXL_RouteTypeUndefined;
        uint8_t uchPort = 0;
        uint32_t ulExtra = 0;
        nStatus = RouteGetEntry(pSwitch->ManufID, pSwitch->DeviceID, 0, AllOnes(bLong), uchHop,
                                pSwitch->bHasPerPortRoutingTables ? step.uchInPort : kSharedTable, wDestID,
                                &eType, &uchPort, &ulExtra);
        if (nStatus != 0)
        {
            ReportRouteFailure(nStatus, SRouteStepFailure{SRouteStepFailure::eReadEntry, step.iNode}.Doing(),
                               log);
            return false;
        }
        const bool bFree = eType == eNVXL_RouteTypeUndefined || eType == eNVXL_RouteTypeUnrouted ||
                           (!bReverse && eType == eNVXL_RouteTypeDefault);
        if (bFree || (eType == eNVXL_RouteTypePort && uchPort == step.uchOutPort))
        {
            continue;
        }
        if (eType == eNVXL_RouteTypePort)
        {
            Log(log, QString::asprintf(
                         "There is already an existing port route to port %d here, so can't modify it.\n",
                         uchPort));
        }
        else
        {
            Log(log, QString::asprintf(
                         "There is already a type %d routing table entry here, so can't modify it.\n",
                         static_cast<int>(eType)));
        }
        return false;
    }
    Log(log, QStringLiteral("No conflicts found.\n"));
    return true;
}

bool MakeOnramp(CNetworkDocument& map, const CPEPrimitive& host, const CPEPrimitive& source, uint16_t wDestID,
                const CRoute& existingRoute, CRoute* pResult, const RouteLogFn& log)
{
    const ROUTEENTRY* pLast = existingRoute.GetEntry(existingRoute.GetCount() - 1);
    Log(log, QString::asprintf("MakeOnramp: HostNode=%d SourceNode=%d DestNode=%d, DestID=%d\n",
                               host.iNodeNumber + 1, source.iNodeNumber + 1,
                               pLast ? static_cast<int>(pLast->ulToNode) + 1 : 0, wDestID));
    Log(log, QStringLiteral("Processing the following existing route:\n") + RouteText(existingRoute));
    if (existingRoute.GetCount() < 2)
    {
        Log(log, QStringLiteral("Not enough nodes in this route.\n"));
        return false;
    }
    const auto uSource = static_cast<uint32_t>(source.iNodeNumber);
    for (int i = 0; i + 1 < existingRoute.GetCount(); ++i)
    {
        const uint32_t uJunction = existingRoute.GetEntry(i)->ulToNode;
        Log(log, QString::asprintf("Looking for routes from node %d to node %d\n", source.iNodeNumber + 1,
                                   static_cast<int>(uJunction) + 1));
        if (uSource == uJunction)
        {
            Log(log, QStringLiteral("Found existing route from source to destination PE\n"));
            continue;
        }
        CRoute onramp;
        if (FindShortest(onramp, *map.pCurrentConnections, uSource, uJunction) == 0)
        {
            Log(log, QStringLiteral("Unable to identify an on-ramp route to an existing route.\n"));
            continue;
        }
        Log(log, QStringLiteral("Checking the following potential onramp route:\n") + RouteText(onramp));
        // The junction switch needs an entry in the table of the port the on-ramp arrives at, so
        // the test and the programming cover the whole way to the route's end.
        CRoute joined = onramp;
        joined.Join(existingRoute);
        if (onramp.GetCount() == 1)
        {
            Log(log, QStringLiteral("Found single hop on-ramp route to existing route.\n"));
            if (!TestRoute(joined, map, wDestID, false, log))
            {
                Log(log, QStringLiteral("Conflict with forward route\n"));
                return false;
            }
            if (!ProgramRoute(joined, map, wDestID, false, log))
            {
                return false;
            }
            *pResult = joined;
            return true;
        }
        if (!TestRoute(joined, map, wDestID, false, log))
        {
            Log(log, QStringLiteral("Conflict with forward route\n"));
            Log(log, QStringLiteral("Cannot route to this PE without clobbering existing valid routing table "
                                    "entries.  Skipping it.\n"));
            continue;
        }
        Log(log, QStringLiteral("The following route is good.  Using it to make on-ramp routes.\n") +
                     RouteText(onramp));
        if (!ProgramRoute(joined, map, wDestID, false, log))
        {
            return false;
        }
        *pResult = joined;
        return true;
    }
    return false;
}
