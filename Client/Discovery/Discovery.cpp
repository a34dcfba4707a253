#include "Discovery.h"

#include "DebugLog.h"
#include "FlatNetwork.h"
#include "HalWrappers.h"
#include "NVXLDiscovery.h"
#include "NVXLHal.h"
#include "NVXLStatus.h"
#include "Preferences.h"
#include "RouteGeneration.h"
#include "StatusText.h"
#include "TableTransfer.h"
#include "UserInterface.h"

namespace
{
const QString kPreferences = QStringLiteral("Preferences");
// Time-outs written when nothing else was chosen: the largest, as the devices come out of reset.
constexpr uint32_t kDefaultTimeout = 0xFFFFFF;
// A board whose host needs maintenance access opened by hand.
constexpr uint16_t kBoardVendor = 106;
constexpr uint16_t kBoardIDs[] = {1, 512, 513};
// "User aborted the operation".
constexpr int32_t kUserAborted = -70;

void OnProgress(const char* pszText, void*)
{
    UI().SetWorkProgress(QString::fromLatin1(pszText));
}

void OnLog(const char* pszText, void*)
{
    UI().AppendWorkLog(QString::fromLatin1(pszText));
}

// What the walk has recorded so far, for the working window's line of counts. Each found device
// is counted once its record is made; records made before a found device are complete by then,
// so only the new ones are read each time.
struct SFoundCounts
{
    const NVXL_NETWORK* pNetwork = nullptr;
    uint32_t ulCounted = 0;
    int nPEs = 0;
    int nSwitches = 0;
    int nEndpoints = 0;

    void CountNewRecords()
    {
        for (; ulCounted < pNetwork->ulNumPEs; ++ulCounted)
        {
            const NVXL_PE& pe = pNetwork->pPEs[ulCounted];
            if (!pe.ulValid || (pe.ulTypeFlags & NVXL_PE_EMPTY))
            {
                continue;
            }
            ++nPEs;
            if (pe.ulTypeFlags & NVXL_PE_SWITCH)
            {
                ++nSwitches;
            }
            else if (!(pe.ulTypeFlags & NVXL_PE_UNKNOWN))
            {
                ++nEndpoints;
            }
        }
    }
    QString Text() const
    {
        return QString::asprintf("PEs found: %d    Switches: %d    Endpoints: %d", nPEs, nSwitches,
                                 nEndpoints);
    }
};

void OnFoundPE(uint32_t ulIsHost, uint16_t, uint16_t, uint16_t, uint8_t, void* pContext)
{
    // The host is reported before its record is filled in: it is counted with the next device.
    if (ulIsHost)
    {
        return;
    }
    auto* pCounts = static_cast<SFoundCounts*>(pContext);
    pCounts->CountNewRecords();
    UI().SetWorkCounts(pCounts->Text());
}

int32_t OnReportError(const char* pszText, int32_t, void*)
{
    ShowMessage(QString::fromLatin1(pszText));
    return 1;
}

void OnDebug(const char* pszText, void*)
{
    DebugPrint(eDebugDiscovery, "%s", pszText);
}

uint32_t SettingsWord(const SDiscoveryRequest& r)
{
    uint32_t ulFlags = 0;
    ulFlags |= r.bEnumerate ? NVXL_DISCOVER_ENUMERATE : 0;
    ulFlags |= r.bLongDestIDs ? NVXL_DISCOVER_USE_LONG_DESTIDS : 0;
    ulFlags |= r.bNoLocks ? NVXL_DISCOVER_NO_LOCKS : 0;
    ulFlags |= r.bBreakLocks ? NVXL_DISCOVER_BREAK_LOCKS : 0;
    ulFlags |= r.bIgnoreLocks ? NVXL_DISCOVER_IGNORE_LOCKS : 0;
    ulFlags |= r.bTryAllClockRates ? NVXL_DISCOVER_TRY_ALL_CLOCK_RATES : 0;
    ulFlags |= r.bScanExistingIDs ? NVXL_DISCOVER_SCAN_EXISTING_PE_IDS : 0;
    ulFlags |= r.bSetDiscovered ? NVXL_DISCOVER_SET_DISCOVERED : 0;
    ulFlags |= r.bSetResponseTimeout ? NVXL_DISCOVER_SET_RESPONSE_TIMEOUT : 0;
    ulFlags |= r.bUploadRoutingTables ? NVXL_DISCOVER_UPLOAD_ROUTING_TABLES : 0;
    ulFlags |= r.bSkipUploadUnusedPorts ? NVXL_DISCOVER_SKIP_UPLOAD_UNUSED_PORTS : 0;
    ulFlags |= r.bSetLinkTimeout ? NVXL_DISCOVER_SET_LINK_TIMEOUT : 0;
    ulFlags |= r.bAssignVDIDs ? NVXL_DISCOVER_ASSIGN_VDIDS : 0;
    return ulFlags;
}

// The value of a time-out register from its 24-bit setting.
uint32_t TimeoutRegister(const char* pszKey)
{
    return (GetPreference(kPreferences, QString::fromLatin1(pszKey), kDefaultTimeout) << 8) & 0xFFFFFF00u;
}

void ShowHostFailure(int32_t nStatus, const char* pszDoing)
{
    ShowMessage(QString::asprintf("Error %d (%s) encountered when %s.", nStatus,
                                  RioErrorText(nStatus).toLocal8Bit().constData(), pszDoing));
}
} // namespace

CDiscovery::CDiscovery(const CNetworkDocument& currentMap) : m_currentMap(currentMap) {}

int32_t CDiscovery::Discover(const SDiscoveryRequest& request, CNetworkDocument* pNewMap,
                             const CPEPrimitive* pHostPE)
{
    if (request.bLog)
    {
        UI().AppendWorkLog(QString::asprintf("Begin Discovery: Norvanta %d.%d.%d Build %d %s.\n",
                                             NV_VERSION_MAJOR, NV_VERSION_MINOR, NV_VERSION_BUILD,
                                             NV_VERSION_BUILD, NV_BUILD_TEXT));
    }
    if (!request.bEnumerate)
    {
        const int32_t nStatus = DetermineHostID(request.bLongDestIDs);
        if (nStatus != 0)
        {
            return nStatus;
        }
    }
    m_pNewMap = pNewMap;
    bFirstDiscovery = m_currentMap.ActivePEs.IsEmpty() || m_currentMap.ActiveConnections.IsEmpty();
    NVXL_RegisterDebugOutput(DebugEnabled(eDebugDiscovery) ? OnDebug : nullptr, nullptr);
    NVXL_RegisterProgressReport(OnProgress, nullptr);
    NVXL_RegisterLog(request.bLog ? OnLog : nullptr, nullptr);
    NVXL_RegisterReportError(OnReportError, nullptr);
    NVXL_SetVDIDCounts(GetPreference(kPreferences, QStringLiteral("NumSwitchVDIDs"), 2u),
                       GetPreference(kPreferences, QStringLiteral("NumEPAcceptAllVDIDs"), 2u),
                       GetPreference(kPreferences, QStringLiteral("NumEPSecDestIDsVDIDs"), 2u),
                       GetPreference(kPreferences, QStringLiteral("NumEPVDIDs"), 2u),
                       GetPreference(kPreferences, QStringLiteral("ImplementVDIDsUsing"), 1u));

    CFlatNetwork oldNetwork(0, 0);
    oldNetwork.Flatten(m_currentMap.ActivePEs, m_currentMap.ActiveConnections, 0);
    // The record arrays take the largest network a discovery records; a larger one stops it with a
    // message that says so.
    CFlatNetwork newNetwork(NVXL_MAX_PES, NVXL_MAX_CONNECTIONS);
    SFoundCounts counts;
    counts.pNetwork = &newNetwork.Network();
    NVXL_RegisterFoundPE(OnFoundPE, &counts);
    const NVXL_STATUS nResult = NVXL_DiscoverNetwork(
        SettingsWord(request), TimeoutRegister("ResponseTimeout"), TimeoutRegister("LinkTimeout"),
        request.scanIDs.data(), static_cast<int32_t>(request.scanIDs.size()), 2, request.ulHostDestID,
        request.ulFirstDestID, request.ulDestIDIncr, &oldNetwork.Network(), &newNetwork.Network());
    NVXL_RegisterLog(nullptr, nullptr);
    NVXL_RegisterDebugOutput(nullptr, nullptr);
    NVXL_RegisterFoundPE(nullptr, nullptr);
    // The walk may have dropped records it made (a stale revisit): the last count reads them all.
    SFoundCounts finalCounts;
    finalCounts.pNetwork = &newNetwork.Network();
    finalCounts.CountNewRecords();
    UI().SetWorkCounts(finalCounts.Text());

    uint16_t wAssyID = 0, wAssyVendor = 0;
    const int32_t nAssembly = GetAssemblyInfo(0, 0xFFFFFFFFu, 0, &wAssyID, &wAssyVendor);
    if (nAssembly != 0)
    {
        ShowMessage(QStringLiteral("Unable to obtain assembly information from target system.\n'%1'")
                        .arg(RioErrorText(nAssembly)));
    }
    else if (wAssyVendor == kBoardVendor &&
             std::find(std::begin(kBoardIDs), std::end(kBoardIDs), wAssyID) != std::end(kBoardIDs))
    {
        bLayoutBoard = true;
        if (pHostPE)
        {
            EnableHostAccess(pHostPE->ManufID, pHostPE->DeviceID, 0, 0xFFFFFFFFu, 0, true);
        }
    }

    newNetwork.Rebuild(pNewMap->ActivePEs, pNewMap->ActiveConnections);
    if (CPEPrimitive* pHost = pNewMap->ActivePEs.GetByNodeNumber(0))
    {
        if (pHostPE)
        {
            pHost->bHasHostLink = pHostPE->bHasHostLink;
            pHost->bHostLinkOpen = pHostPE->bHostLinkOpen;
            pHost->uNetworkServerAddress = pHostPE->uNetworkServerAddress;
            pHost->eConnectionType = pHostPE->eConnectionType;
        }
        if (const CPEPrimitive* pOldHost = m_currentMap.ActivePEs.GetByIndex(0))
        {
            pHost->Comment = pOldHost->Comment;
            pHost->CommonName = pOldHost->CommonName.isEmpty() ? pHost->CommonName : pOldHost->CommonName;
        }
    }
    BuildDefaultDrawItems(*pNewMap);
    return HalStatusToClient(nResult);
}

int32_t DetermineHostID(bool bLong)
{
    uint16_t wDevice = 0, wVendor = 0;
    int32_t nStatus = HalStatusToClient(GetDeviceAndVendor(0, 0xFFFFFFFFu, 0, &wDevice, &wVendor));
    if (nStatus != 0)
    {
        ShowHostFailure(nStatus, "attempting to determine host PE's device and vendor information");
        return nStatus;
    }
    uint16_t wSmall = 0xFFFF, wLarge = 0xFFFF;
    nStatus = GetDeviceID(0, 0xFFFFFFFFu, 0, &wSmall, &wLarge);
    if (nStatus != 0)
    {
        ShowHostFailure(nStatus, "attempting to determine host PE's destination ID");
        return nStatus;
    }
    const uint16_t wInUse = bLong ? wLarge : wSmall;
    if (bLong ? (wInUse != 0xFFFF && wInUse != 0xFFFE) : (wInUse != 0xFF && wInUse != 0xFE))
    {
        return 0;
    }
    const QString strKey =
        bLong ? QStringLiteral("DefaultLargeHostID") : QStringLiteral("DefaultSmallHostID");
    uint64_t ulID = GetPreference(kPreferences, strKey, 0xFDu);
    if (!GetPreference(QStringLiteral("Messages"), QStringLiteral("UseDefaultHostIDDontAsk"), 1u))
    {
        const QString strPrompt =
            bLong ? QStringLiteral(
                        "Please enter a large transport destination ID for the Host PE.  This value must be "
                        "unique in the system and must be in the range 0 to 65533 (FFFDh)")
                  : QStringLiteral(
                        "Please enter a small transport destination ID for the Host PE.  This value must be "
                        "unique in the system and must be in the range 0 to 253 (FDh)");
        do
        {
            if (!UI().AskNumber(strPrompt, QStringLiteral("Destination ID"), &ulID))
            {
                return kUserAborted;
            }
        } while (ulID > (bLong ? 0xFFFDu : 0xFDu));
        SetPreference(kPreferences, strKey, static_cast<uint32_t>(ulID));
    }
    const uint16_t wID = static_cast<uint16_t>(ulID);
    nStatus =
        bLong ? SetDeviceID(0, 0xFFFFFFFFu, 0, nullptr, &wID) : SetDeviceID(0, 0xFFFFFFFFu, 0, &wID, nullptr);
    if (nStatus != 0)
    {
        ShowHostFailure(nStatus, "attempting to assign host PE's destination ID");
    }
    return nStatus;
}

int32_t StandardDiscovery(SDiscoveryRequest request, CNetworkDocument& map, const CPEPrimitive* pHostPE,
                          const LayoutFn& pfnLayout)
{
    request.bBreakLocks = request.bIgnoreLocks = true;
    request.bSetResponseTimeout = request.bSetLinkTimeout = request.bSetDiscovered = true;
    CNetworkDocument newMap;
    CDiscovery discovery(map);
    const int32_t nStatus = discovery.Discover(request, &newMap, pHostPE);
    if (nStatus != 0)
    {
        return nStatus;
    }
    MergeMaps(newMap, map, pfnLayout, discovery.bLayoutBoard);
    TakeOverMap(newMap, map);
    return 0;
}

int32_t StandardDiscoveryCommand(const CEnumerationSettings& settings, CNetworkDocument& map,
                                 const CPEPrimitive* pHostPE, bool bConnected, const LayoutFn& pfnLayout,
                                 const RegisterUploadFn& pfnUploadRegisters)
{
    SDiscoveryRequest request;
    request.bLog = AskDontAsk(QStringLiteral("DiscoveryLog"), QStringLiteral("Enable discovery logging?"),
                              ApplicationTitle()) == eAnswerYes;
    UI().BeginWork(QStringLiteral("Standard Discovery"), request.bLog);
    if (request.bLog)
    {
        UI().SetWorkWindowState(GetPreference(kPreferences, QStringLiteral("DiscoveryDetails"), 0u) != 0,
                                GetPreference(kPreferences, QStringLiteral("DiscoveryPinned"), 0u) != 0);
    }
    // The window stays over the steps that follow the walk, so that its log keeps all of the run;
    // a warning at the end, or the pin, keeps it open with its button reading "Close".
    auto endWork = [&request](const QString& strWarning)
    {
        UI().EndWork(strWarning);
        // The state as the person left it, the window closed.
        if (request.bLog)
        {
            bool bDetails = false;
            bool bPinned = false;
            UI().GetWorkWindowState(&bDetails, &bPinned);
            SetPreference(kPreferences, QStringLiteral("DiscoveryDetails"), bDetails ? 1u : 0u);
            SetPreference(kPreferences, QStringLiteral("DiscoveryPinned"), bPinned ? 1u : 0u);
        }
    };
    request.bSkipUploadUnusedPorts = AskSkipUploadForUnusedPorts();
    request.bEnumerate = settings.bEnumerate;
    request.bLongDestIDs = settings.b16BitIDs;
    request.bNoLocks = settings.bNoLocks;
    request.bTryAllClockRates = settings.bTryAllClockRates;
    request.bScanExistingIDs = settings.bScanExistingIDs;
    request.bAssignVDIDs = settings.bEnumerate && settings.bAssignVDIDs;
    request.bUploadRoutingTables = false;
    request.scanIDs = settings.scanIDs;
    request.ulHostDestID = settings.ulHostDestID;
    request.ulFirstDestID = settings.ulStartingDestID;
    request.ulDestIDIncr = settings.ulDestIDIncrement;
    const int32_t nStatus = StandardDiscovery(request, map, pHostPE, pfnLayout);
    if (nStatus != 0)
    {
        // The failure was shown as it happened. A window pinned open says how the walk ended rather
        // than that it is done.
        bool bDetails = false;
        bool bPinned = false;
        UI().GetWorkWindowState(&bDetails, &bPinned);
        endWork(bPinned ? QStringLiteral("The discovery stopped on an error; the map was not changed.")
                        : QString());
        return nStatus;
    }
    if (settings.bUploadRegisters && pfnUploadRegisters)
    {
        pfnUploadRegisters(map);
    }
    if (settings.bBuildRoutingTables)
    {
        GenerateAllRoutesCommand(map, bConnected, true);
    }
    if (settings.bUploadRoutingTables)
    {
        UploadAllTables(map, request.bSkipUploadUnusedPorts);
    }
    QString strProblem;
    if (map.ValidateUniqueDestIDs(strProblem))
    {
        strProblem.clear();
    }
    endWork(strProblem);
    return 0;
}
