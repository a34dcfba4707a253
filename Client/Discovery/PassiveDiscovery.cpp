#include "PassiveDiscovery.h"

#include "DebugLog.h"
#include "Discovery.h"
#include "FFRoutes.h"
#include "HalWrappers.h"
#include "NVXLHal.h"
#include "NVXLStatus.h"
#include "NetworkMap.h"
#include "Preferences.h"
#include "StatusText.h"
#include "UserInterface.h"

#include <algorithm>

namespace
{
const QString kPreferences = QStringLiteral("Preferences");
// PE Features (RapidIO Part 1, 5.4.3), bit numbers counted from the least significant bit.
constexpr uint32_t kFeatureBridge = 1u << 31;
constexpr uint32_t kFeatureMemory = 1u << 30;
constexpr uint32_t kFeatureProcessor = 1u << 29;
constexpr uint32_t kFeatureSwitch = 1u << 28;
constexpr uint32_t kFeatureLargeTransport = 1u << 4;
// The board of Discover whose SRIO interface may be off, and the interface's register on it.
constexpr uint16_t kBoardVendor = 106;
constexpr uint16_t kBoardIDs[] = {1, 512, 513};
constexpr uint32_t kSrioInterfaceRegister = 0x48004;
constexpr uint32_t kSrioInterfaceEnable = 0x00000001;
constexpr uint32_t kOwnDevice = 0xFFFFFFFFu;

void Log(const RouteLogFn& log, const QString& strLine)
{
    if (log)
    {
        log(strLine);
    }
}

// The far end of the link at a PE's port: false when the port has none.
bool FarEnd(const CNetworkDocument& map, int iNode, int iPort, int* piFarNode, int* piFarPort)
{
    for (const auto& pConnection : *map.pCurrentConnections)
    {
        if (pConnection->bDeleted)
        {
            continue;
        }
        if (pConnection->iPE1 == iNode && pConnection->iPE1Port == iPort)
        {
            *piFarNode = pConnection->iPE2;
            *piFarPort = pConnection->iPE2Port;
            return true;
        }
        if (pConnection->iPE2 == iNode && pConnection->iPE2Port == iPort)
        {
            *piFarNode = pConnection->iPE1;
            *piFarPort = pConnection->iPE1Port;
            return true;
        }
    }
    return false;
}

CConnectionPrimitive* ConnectionAt(const CNetworkDocument& map, int iNode, int iPort)
{
    for (const auto& pConnection : *map.pCurrentConnections)
    {
        if (!pConnection->bDeleted && ((pConnection->iPE1 == iNode && pConnection->iPE1Port == iPort) ||
                                       (pConnection->iPE2 == iNode && pConnection->iPE2Port == iPort)))
        {
            return pConnection.get();
        }
    }
    return nullptr;
}

// Whether the table sends wDestID out of uchPort by a port route.
bool RoutesTo(const CRoutingTable* pTable, uint16_t wDestID, uint32_t ulPort)
{
    if (!pTable)
    {
        return false;
    }
    const int iEntry = pTable->FindEntry(wDestID);
    if (iEntry < 0)
    {
        return false;
    }
    const SRouteEntry& entry = pTable->GetEntry(iEntry);
    return entry.eType == eRoutePort && entry.Port == ulPort;
}

bool OnRoute(const std::vector<ROUTEENTRY>& backward, uint32_t ulNode)
{
    return std::any_of(backward.begin(), backward.end(),
                       [ulNode](const ROUTEENTRY& link)
                       { return link.ulToNode == ulNode || link.ulFromNode == ulNode; });
}

uint16_t HostID(const CPEPrimitive& host, bool bLong)
{
    return bLong ? host.LongDestID : host.ShortDestID;
}

uint16_t PrimaryID(const CPEPrimitive& pe, bool bLong)
{
    return bLong ? pe.LongDestID : pe.ShortDestID;
}

// The working lists of one PE and the steps of the second phase on it.
class CPassiveResolver
{
public:
    CPassiveResolver(CNetworkDocument& map, bool bLong, const RouteLogFn& log)
        : m_map(map), m_bLong(bLong), m_log(log)
    {
    }

    void Run();
    const std::vector<int>& Identified() const { return m_identified; }

private:
    void ResolveUnknown(CPEPrimitive& pe);
    void RouteKnown(const CPEPrimitive& pe);
    // The switch at a PE's port 0, logged with pszLinked; null (logged) when there is none.
    const CPEPrimitive* SwitchAtPort0(const CPEPrimitive& pe, const char* pszLinked, int* piSwitchPort);
    // The routes the tables give from anywhere to the host, for the host's ID.
    ExistingRouteList HostRoutes(bool bKnownPE);
    // Makes sure the PE has a way back to the host; false (logged) when it has none.
    bool ReturnPath(const CPEPrimitive& pe, const ExistingRouteList& hostRoutes);

    CNetworkDocument& m_map;
    bool m_bLong;
    const RouteLogFn& m_log;
    CPEPrimitive* m_pHost = nullptr;
    std::vector<int> m_identified;
};

void CPassiveResolver::Run()
{
    m_pHost = m_map.pCurrentPEs->GetByNodeNumber(0);
    if (!m_pHost)
    {
        return;
    }
    UI().SetWorkProgress(QStringLiteral("Initial discovery phase complete.  Resolving unidentified PEs."));
    DebugPrint(eDebugDiscovery, "Initial discovery phase complete.  Resolving unidentified PEs.\n");
    Log(m_log, QStringLiteral("\nResolving unknown nodes.\n"));
    // Node numbers are those of the walk; the list doesn't change while it is gone through.
    std::vector<CPEPrimitive*> pes;
    for (const auto& pPE : *m_map.pCurrentPEs)
    {
        pes.push_back(pPE.get());
    }
    for (CPEPrimitive* pPE : pes)
    {
        if (UI().WorkCancelled())
        {
            return;
        }
        if (pPE->bDeleted)
        {
            continue;
        }
        if (pPE->uType & kPETypeUnknown)
        {
            ResolveUnknown(*pPE);
        }
        else if ((pPE->uType & (kPETypeBridge | kPETypeMemory | kPETypeProcessor)) && pPE != m_pHost)
        {
            RouteKnown(*pPE);
        }
    }
}

const CPEPrimitive* CPassiveResolver::SwitchAtPort0(const CPEPrimitive& pe, const char* pszLinked,
                                                    int* piSwitchPort)
{
    const int iNode = pe.iNodeNumber;
    int iFar = -1;
    if (!FarEnd(m_map, iNode, 0, &iFar, piSwitchPort))
    {
        Log(m_log, QString::asprintf("Unable to locate a connection emanating from node %d\n", iNode + 1));
        return nullptr;
    }
    Log(m_log, QString::asprintf(pszLinked, iFar + 1, *piSwitchPort));
    const CPEPrimitive* pSwitch = m_map.pCurrentPEs->GetByNodeNumber(iFar);
    if (!pSwitch || !(pSwitch->uType & kPETypeSwitch))
    {
        Log(m_log,
            QString::asprintf("Node %d is not a switch.  Can't resolve this unknown PE's ID.\n", iFar + 1));
        return nullptr;
    }
    return pSwitch;
}

ExistingRouteList CPassiveResolver::HostRoutes(bool bKnownPE)
{
    ExistingRouteList routes;
    int iSwitch = -1, iSwitchPort = -1;
    if (!FarEnd(m_map, m_pHost->iNodeNumber, 0, &iSwitch, &iSwitchPort))
    {
        Log(m_log, bKnownPE ? QStringLiteral("No existing host routes found.")
                            : QStringLiteral("No existing host routes found.\n"));
        return routes;
    }
    Log(m_log, QString::asprintf("Node %d is connected to the host node through it's port %d\n", iSwitch + 1,
                                 iSwitchPort));
    const CPEPrimitive* pSwitch = m_map.pCurrentPEs->GetByNodeNumber(iSwitch);
    if (pSwitch && (pSwitch->uType & kPETypeSwitch))
    {
        const std::vector<ROUTEENTRY> seed{{0, static_cast<uint32_t>(iSwitchPort),
                                            static_cast<uint32_t>(m_pHost->iNodeNumber),
                                            static_cast<uint32_t>(iSwitch)}};
        FindAllRoutes(&routes, seed, m_map, *pSwitch, HostID(*m_pHost, m_bLong),
                      static_cast<uint32_t>(iSwitchPort));
    }
    if (routes.empty())
    {
        Log(m_log, bKnownPE ? QStringLiteral("No existing host routes found.")
                            : QStringLiteral("No existing host routes found.\n"));
    }
    else
    {
        Log(m_log, QString::asprintf(bKnownPE ? "%d existing routes found to host\n"
                                              : "%d existing routes found to host.\n",
                                     static_cast<int>(routes.size())));
    }
    return routes;
}

bool CPassiveResolver::ReturnPath(const CPEPrimitive& pe, const ExistingRouteList& hostRoutes)
{
    const int iNode = pe.iNodeNumber;
    const uint16_t wHostID = HostID(*m_pHost, m_bLong);
    Log(m_log,
        QString::asprintf("Processing %d existing routes to host\n", static_cast<int>(hostRoutes.size())));
    if (hostRoutes.empty())
    {
        CRoute route;
        if (FindShortest(route, *m_map.pCurrentConnections, static_cast<uint32_t>(iNode),
                         static_cast<uint32_t>(m_pHost->iNodeNumber)) == 0)
        {
            Log(m_log, QString::asprintf("Unable to find an optimum route to node %d\n", iNode + 1));
            return false;
        }
        // No table routes the host's ID towards the host: the entries this needs are unused, but
        // they are checked all the same before anything is written.
        return TestRoute(route, m_map, wHostID, false, m_log) &&
               ProgramRoute(route, m_map, wHostID, false, m_log);
    }
    for (const SExistingRoute& existing : hostRoutes)
    {
        if (existing.route.GetEntry(0)->ulFromNode == static_cast<uint32_t>(iNode))
        {
            Log(m_log,
                QStringLiteral("Found the following existing route from the unknown PE to the host:\n") +
                    RouteText(existing.route));
            return true;
        }
    }
    for (const SExistingRoute& existing : hostRoutes)
    {
        CRoute result;
        if (MakeOnramp(m_map, *m_pHost, pe, wHostID, existing.route, &result, m_log))
        {
            return true;
        }
    }
    Log(m_log, QStringLiteral("Unable to make a return route on-ramp.\n"));
    return false;
}

void CPassiveResolver::ResolveUnknown(CPEPrimitive& pe)
{
    const int iNode = pe.iNodeNumber;
    Log(m_log, QString::asprintf("Attempting to identify unknown PE at node %d\n", iNode + 1));
    int iSwitchPort = -1;
    const CPEPrimitive* pSwitch =
        SwitchAtPort0(pe, "Node %d is connected to this unknown node through it's port %d\n", &iSwitchPort);
    if (!pSwitch)
    {
        return;
    }
    // The IDs the far switch sends towards the unknown PE, from any of its tables.
    Log(m_log, QStringLiteral("Begin table scan.\n"));
    std::vector<uint16_t> destIDs;
    const int nMaxTable = pSwitch->bHasPerPortRoutingTables ? pSwitch->iNumLocalPorts - 1 : 0;
    for (int nTable = 0; nTable <= nMaxTable; ++nTable)
    {
        Log(m_log, QString::asprintf("nTable:%d nMinTable:%d nMaxTable:%d.\n", nTable, 0, nMaxTable));
        const CRoutingTable* pTable = pSwitch->RoutingTables[static_cast<size_t>(nTable)].get();
        if (!pTable)
        {
            continue;
        }
        Log(m_log, QString::asprintf("Scanning entries for port %d of node %d.\n", nTable,
                                     pSwitch->iNodeNumber + 1));
        Log(m_log,
            QString::asprintf("There are %d routing entries in this table.\n", pTable->GetNumEntries()));
        for (const SRouteEntry& entry : pTable->Entries())
        {
            if (entry.eType != eRoutePort || entry.Port != iSwitchPort ||
                (!m_bLong && entry.DestID >= 0x100) ||
                std::find(destIDs.begin(), destIDs.end(), entry.DestID) != destIDs.end())
            {
                continue;
            }
            destIDs.push_back(entry.DestID);
            Log(m_log, QString::asprintf("%Xh is a potential destination ID for node %d\n", entry.DestID,
                                         iNode + 1));
        }
    }

    const ExistingRouteList hostRoutes = HostRoutes(false);
    ExistingRouteList targetRoutes;
    const std::vector<ROUTEENTRY> seed{{0, static_cast<uint32_t>(iSwitchPort), static_cast<uint32_t>(iNode),
                                        static_cast<uint32_t>(pSwitch->iNodeNumber)}};
    for (uint16_t wDestID : destIDs)
    {
        Log(m_log, QString::asprintf("(1):Finding all existing routes to node %d using destination ID %Xh\n",
                                     iNode + 1, wDestID));
        FindAllRoutes(&targetRoutes, seed, m_map, *pSwitch, wDestID, static_cast<uint32_t>(iSwitchPort));
    }
    const QString strUnresolved =
        QString::asprintf("Unable to determine ID of node %d using routing table information.\n", iNode + 1);
    auto clear = [] { DebugPrint(eDebugDiscovery, "Clearing DestIDList.\n"); };
    if (targetRoutes.empty())
    {
        Log(m_log, QStringLiteral("No existing routes found.  ") + strUnresolved);
        clear();
        return;
    }
    if (!ReturnPath(pe, hostRoutes))
    {
        clear();
        return;
    }
    Log(m_log, QString::asprintf("Processing %d existing routes to target PE\n",
                                 static_cast<int>(targetRoutes.size())));
    Log(m_log, QStringLiteral("Sorting existing routes\n"));
    // The ID that needs the fewest hops is tried first; among equals, the order of finding stands.
    std::stable_sort(targetRoutes.begin(), targetRoutes.end(),
                     [](const SExistingRoute& a, const SExistingRoute& b)
                     { return a.route.GetCount() < b.route.GetCount(); });
    for (const SExistingRoute& existing : targetRoutes)
    {
        CRoute way;
        if (existing.route.GetEntry(0)->ulFromNode == static_cast<uint32_t>(m_pHost->iNodeNumber))
        {
            Log(m_log,
                QString::asprintf("Found the following existing route from the host to the unknown PE using "
                                  "ID %Xh:\n",
                                  existing.wDestID) +
                    RouteText(existing.route));
            way = existing.route;
        }
        else if (!MakeOnramp(m_map, *m_pHost, *m_pHost, existing.wDestID, existing.route, &way, m_log))
        {
            continue;
        }
        if (IdentifyPE(m_map, iNode, existing.wDestID, static_cast<uint8_t>(way.GetHopCount()), m_log))
        {
            Log(m_log, QString::asprintf("Successfully identified node %d\n", iNode + 1));
            m_identified.push_back(iNode);
            clear();
            return;
        }
        Log(m_log,
            QString::asprintf("Unable to identify node %d using DestID %Xh\n", iNode + 1, existing.wDestID));
    }
    Log(m_log, strUnresolved);
    clear();
}

void CPassiveResolver::RouteKnown(const CPEPrimitive& pe)
{
    const int iNode = pe.iNodeNumber;
    const uint16_t wDestID = PrimaryID(pe, m_bLong);
    Log(m_log, QString::asprintf("Adding on-ramp route to known PE at node %d\n", iNode + 1));
    int iSwitchPort = -1;
    const CPEPrimitive* pSwitch =
        SwitchAtPort0(pe, "Node %d is connected to this known node through it's port %d\n", &iSwitchPort);
    if (!pSwitch)
    {
        return;
    }
    if (!ReturnPath(pe, HostRoutes(true)))
    {
        return;
    }
    Log(m_log, QString::asprintf("(2):Finding all existing routes to node %d using destination ID %Xh\n",
                                 iNode + 1, wDestID));
    ExistingRouteList targetRoutes;
    const std::vector<ROUTEENTRY> seed{{0, static_cast<uint32_t>(iSwitchPort), static_cast<uint32_t>(iNode),
                                        static_cast<uint32_t>(pSwitch->iNodeNumber)}};
    FindAllRoutes(&targetRoutes, seed, m_map, *pSwitch, wDestID, static_cast<uint32_t>(iSwitchPort));
    const uint16_t wHostID = HostID(*m_pHost, m_bLong);
    if (!targetRoutes.empty())
    {
        Log(m_log, QString::asprintf("Processing %d existing routes to target PE\n",
                                     static_cast<int>(targetRoutes.size())));
        bool bRouted = false;
        for (const SExistingRoute& existing : targetRoutes)
        {
            if (existing.route.GetEntry(0)->ulFromNode == static_cast<uint32_t>(m_pHost->iNodeNumber))
            {
                Log(m_log,
                    QStringLiteral("Found the following existing route from the host to the unknown PE:\n") +
                        RouteText(existing.route));
                bRouted = true;
                break;
            }
        }
        for (size_t i = 0; !bRouted && i < targetRoutes.size(); ++i)
        {
            CRoute way;
            bRouted = MakeOnramp(m_map, *m_pHost, *m_pHost, wDestID, targetRoutes[i].route, &way, m_log);
        }
        if (!bRouted)
        {
            Log(m_log,
                QString::asprintf("Unable to route from host to node %d without modifying existing routing "
                                  "entries.\n",
                                  iNode + 1));
            return;
        }
    }
    else
    {
        Log(m_log, QStringLiteral("There are no existing routes to worry about.\n"));
        CRoute route;
        if (FindShortest(route, *m_map.pCurrentConnections, static_cast<uint32_t>(m_pHost->iNodeNumber),
                         static_cast<uint32_t>(iNode)) == 0)
        {
            Log(m_log, QString::asprintf("Unable to find an optimum route to node %d\n", iNode + 1));
            return;
        }
        Log(m_log, QStringLiteral("Adding the following route:\n") + RouteText(route));
        // Nothing routes the PE's ID, but the host's ID is in use everywhere: both directions are
        // tested before they are written, so that a return route the system relies on stays.
        if (!TestRoute(route, m_map, wDestID, false, m_log) ||
            !ProgramRoute(route, m_map, wDestID, false, m_log))
        {
            Log(m_log, QStringLiteral("Unable to build forward route\n"));
            return;
        }
        if (!TestRoute(route, m_map, wHostID, true, m_log) ||
            !ProgramRoute(route, m_map, wHostID, true, m_log))
        {
            Log(m_log, QStringLiteral("Unable to build return route\n"));
            return;
        }
    }
    Log(m_log, QString::asprintf("Successfully routed from host to node %d\n", iNode + 1));
}
} // namespace

void FindAllRoutes(ExistingRouteList* pList, const std::vector<ROUTEENTRY>& backward,
                   const CNetworkDocument& map, const CPEPrimitive& pe, uint16_t wDestID, uint32_t ulOutPort)
{
    const bool bPerPort = pe.bHasPerPortRoutingTables;
    if (!bPerPort && !RoutesTo(pe.RoutingTables[0].get(), wDestID, ulOutPort))
    {
        return;
    }
    const int iNode = pe.iNodeNumber;
    // The ports whose arriving packets this switch sends on the way, and what is behind each.
    struct SFeeder
    {
        int iPort;
        int iFarNode;
        int iFarPort;
        const CPEPrimitive* pFar;
    };
    std::vector<SFeeder> feeders;
    for (int iPort = 0; iPort < pe.iNumLocalPorts; ++iPort)
    {
        if (static_cast<uint32_t>(iPort) == ulOutPort ||
            (bPerPort && !RoutesTo(pe.RoutingTables[static_cast<size_t>(iPort)].get(), wDestID, ulOutPort)))
        {
            continue;
        }
        SFeeder feeder{iPort, -1, -1, nullptr};
        if (!FarEnd(map, iNode, iPort, &feeder.iFarNode, &feeder.iFarPort))
        {
            continue;
        }
        feeder.pFar = map.pCurrentPEs->GetByNodeNumber(feeder.iFarNode);
        if (feeder.pFar && !feeder.pFar->bDeleted)
        {
            feeders.push_back(feeder);
        }
    }
    for (const SFeeder& feeder : feeders)
    {
        if (feeder.pFar->uType & (kPETypeSwitch | kPETypeNull))
        {
            continue;
        }
        CRoute route;
        route.AddEntry(static_cast<uint32_t>(feeder.iFarNode), static_cast<uint32_t>(feeder.iFarPort),
                       static_cast<uint32_t>(iNode), static_cast<uint32_t>(feeder.iPort));
        for (auto it = backward.rbegin(); it != backward.rend(); ++it)
        {
            route.AddEntry(*it);
        }
        const QString strText = RouteText(route);
        DebugPrint(eDebugDiscovery,
                   bPerPort ? "(2)Found the following complete route for destID %d:\n%s"
                            : "(1)Found the following complete route for destID %d:\n%s",
                   wDestID, strText.toLocal8Bit().constData());
        pList->push_back({wDestID, std::move(route)});
    }
    for (const SFeeder& feeder : feeders)
    {
        if (!(feeder.pFar->uType & kPETypeSwitch) ||
            OnRoute(backward, static_cast<uint32_t>(feeder.iFarNode)))
        {
            continue;
        }
        std::vector<ROUTEENTRY> longer = backward;
        longer.push_back({static_cast<uint32_t>(feeder.iPort), static_cast<uint32_t>(feeder.iFarPort),
                          static_cast<uint32_t>(iNode), static_cast<uint32_t>(feeder.iFarNode)});
        FindAllRoutes(pList, longer, map, *feeder.pFar, wDestID, static_cast<uint32_t>(feeder.iFarPort));
    }
}

bool IdentifyPE(CNetworkDocument& map, int iNode, uint16_t wDestID, uint8_t uchHopCount,
                const RouteLogFn& log)
{
    CPEPrimitive* pPE = map.pCurrentPEs->GetByNodeNumber(iNode);
    if (!pPE)
    {
        return false;
    }
    DebugPrint(eDebugDiscovery, "Attempting to access PE using destination ID %Xh\n", wDestID);
    uint16_t wDevice = 0, wVendor = 0;
    int32_t nStatus = HalStatusToClient(GetDeviceAndVendor(0, wDestID, uchHopCount, &wDevice, &wVendor));
    if (nStatus != 0)
    {
        ReportRouteFailure(
            nStatus, QStringLiteral("attempting to read device and vendor information from the unknown PE"),
            log);
        return false;
    }
    const QString strFound = QString::asprintf("FOUND DEVICE HopCount=%02d:  DeviceID=%04Xh  VendorID=%04Xh",
                                               uchHopCount, wDevice, wVendor);
    UI().SetWorkProgress(strFound);
    Log(log, strFound + QLatin1Char('\n'));
    uint32_t ulFeatures = 0;
    nStatus = GetFeatures(0, wDestID, uchHopCount, &ulFeatures);
    if (nStatus != 0)
    {
        ReportRouteFailure(nStatus, QStringLiteral("attepting to read features information from the PE"),
                           log);
        return false;
    }
    // A switch answers any ID once the hop count runs out: what answered may not own the ID.
    if (ulFeatures & kFeatureSwitch)
    {
        return false;
    }
    uint16_t wSmall = kNoDestID, wLarge = kNoDestID;
    nStatus = GetDeviceID(0, wDestID, uchHopCount, &wSmall, &wLarge);
    if (nStatus != 0)
    {
        ReportRouteFailure(nStatus, QStringLiteral("attempting to read the destination ID from the PE"), log);
        return false;
    }
    pPE->DeviceID = wDevice;
    pPE->ManufID = wVendor;
    pPE->SetIdentity(wVendor, wDevice, false, (ulFeatures & kFeatureProcessor) != 0,
                     (ulFeatures & kFeatureMemory) != 0, (ulFeatures & kFeatureBridge) != 0);
    if (pPE->CommonName.isEmpty())
    {
        pPE->CommonName = QString::asprintf("%x%x", wDevice, wVendor);
    }
    pPE->bHasHostLink = false;
    pPE->iNumLocalPorts = 1;
    pPE->bHasPerPortRoutingTables = false;
    pPE->bHasLongDestID = (ulFeatures & kFeatureLargeTransport) != 0;
    pPE->bLargeTransport = MapUsesLongIDs() && pPE->bHasLongDestID;
    pPE->ShortDestID = pPE->OrigShortDestID = wSmall;
    pPE->LongDestID = pPE->OrigLongDestID = wLarge;
    pPE->bUsesDestID = true;
    pPE->ErrorNote.clear();
    if (CConnectionPrimitive* pConnection = ConnectionAt(map, iNode, 0))
    {
        pConnection->SetStatus(QStringLiteral("Up"));
    }
    return true;
}

std::vector<int> ResolvePassively(CNetworkDocument& map, bool bLong, const RouteLogFn& log)
{
    CPassiveResolver resolver(map, bLong, log);
    resolver.Run();
    return resolver.Identified();
}

int32_t CDiscovery::PassiveDiscovery(bool bLog, bool bLongDestIDs, CNetworkDocument* pMap,
                                     const CPEPrimitive* pHostPE, const LayoutFn& pfnLayout)
{
    SDiscoveryRequest request;
    request.bLog = bLog;
    request.bEnumerate = false;
    request.bLongDestIDs = bLongDestIDs;
    request.bNoLocks = true;
    request.bBreakLocks = false;
    request.bIgnoreLocks = false;
    request.bUploadRoutingTables = true;
    request.bSkipUploadUnusedPorts = true;
    request.bTryAllClockRates = false;
    request.bScanExistingIDs = false;
    request.bSetResponseTimeout = true;
    request.bSetLinkTimeout = true;
    request.bSetDiscovered = false;
    request.bAssignVDIDs = false;
    CNetworkDocument newMap;
    const int32_t nStatus = Discover(request, &newMap, pHostPE);
    if (nStatus != 0)
    {
        return nStatus;
    }
    const RouteLogFn log =
        bLog ? RouteLogFn([](const QString& strLine) { UI().AppendWorkLog(strLine); }) : RouteLogFn();
    PassiveIdentified = ResolvePassively(newMap, bLongDestIDs, log);
    UI().SetWorkProgress(QStringLiteral("Passive discovery complete."));
    MergeMaps(newMap, *pMap, pfnLayout, bLayoutBoard);
    TakeOverMap(newMap, *pMap);
    return 0;
}

namespace
{
// On the board whose host reaches the fabric through an SRIO interface of its own, asks to turn
// the interface on when it is off, before the walk needs it.
void OfferSrioInterface(const CPEPrimitive* pHostPE)
{
    uint16_t wAssyID = 0, wAssyVendor = 0;
    if (GetAssemblyInfo(0, kOwnDevice, 0, &wAssyID, &wAssyVendor) != 0 || wAssyVendor != kBoardVendor ||
        std::find(std::begin(kBoardIDs), std::end(kBoardIDs), wAssyID) == std::end(kBoardIDs))
    {
        return;
    }
    uint32_t ulInterface = 0;
    if (HalStatusToClient(MaintRead(0, kOwnDevice, 0, kSrioInterfaceRegister, &ulInterface, 1, 4, 4)) != 0 ||
        (ulInterface & kSrioInterfaceEnable))
    {
        return;
    }
    if (UI().Ask(QStringLiteral("Do you want to enable the SRIO interface?"), ApplicationTitle(), false) !=
            eAnswerYes ||
        !pHostPE)
    {
        return;
    }
    const int32_t nStatus = EnableHostAccess(pHostPE->ManufID, pHostPE->DeviceID, 0, kOwnDevice, 0, true);
    if (nStatus != 0)
    {
        ShowMessage(QStringLiteral("Unable to enable the SRIO interface.\n%1").arg(RioErrorText(nStatus)));
        return;
    }
    // The host's port as the interface brings it up; the walk reads it again for the map.
    uint32_t ulPortInfo = 0;
    GetSwitchPortInfo(0, kOwnDevice, 0, &ulPortInfo);
}
} // namespace

int32_t PassiveDiscoveryCommand(CNetworkDocument& map, const CPEPrimitive* pHostPE, const LayoutFn& pfnLayout,
                                std::vector<int>* pIdentified)
{
    const bool bLog = AskDontAsk(QStringLiteral("DiscoveryLog"), QStringLiteral("Enable discovery logging?"),
                                 ApplicationTitle()) == eAnswerYes;
    OfferSrioInterface(pHostPE);
    UI().BeginWork(QStringLiteral("Passive Discovery"), bLog);
    if (bLog)
    {
        UI().SetWorkWindowState(GetPreference(kPreferences, QStringLiteral("DiscoveryDetails"), 0u) != 0,
                                GetPreference(kPreferences, QStringLiteral("DiscoveryPinned"), 0u) != 0);
    }
    CDiscovery discovery(map);
    const int32_t nStatus = discovery.PassiveDiscovery(bLog, MapUsesLongIDs(), &map, pHostPE, pfnLayout);
    if (pIdentified)
    {
        *pIdentified = discovery.PassiveIdentified;
    }
    QString strProblem;
    if (nStatus == 0 && map.ValidateUniqueDestIDs(strProblem))
    {
        strProblem.clear();
    }
    bool bDetails = false;
    bool bPinned = false;
    UI().GetWorkWindowState(&bDetails, &bPinned);
    if (nStatus != 0 && bPinned)
    {
        strProblem = QStringLiteral("The discovery stopped on an error; the map was not changed.");
    }
    UI().EndWork(strProblem);
    if (bLog)
    {
        UI().GetWorkWindowState(&bDetails, &bPinned);
        SetPreference(kPreferences, QStringLiteral("DiscoveryDetails"), bDetails ? 1u : 0u);
        SetPreference(kPreferences, QStringLiteral("DiscoveryPinned"), bPinned ? 1u : 0u);
    }
    return nStatus;
}
