#include "InitNetwork.h"

#include "DebugLog.h"
#include "FlatNetwork.h"
#include "NVXLDiscovery.h"
#include "NVXLStatus.h"
#include "Preferences.h"
#include "StatusText.h"
#include "UserInterface.h"

const char* const kNoTemplateText =
    "You must have a template map in order to perform network initialization.";
const char* const kPerformInitText = "Perform network initialization?";

namespace
{
const QString kPreferences = QStringLiteral("Preferences");
// Time-outs written when nothing else was chosen: the largest, as the devices come out of reset.
constexpr uint32_t kDefaultTimeout = 0xFFFFFF;

// The lines with which the initialisation gives up on a template that doesn't fit the fabric; the
// lines after one of them tell which device or port it was.
const char* const kReasonLines[] = {
    "No PEs found in network.\n",
    "No connections found to host PE.\n",
    "Host PE does not match network template.\n",
    "PE device/vendor IDs do not match network template.\n",
    "Host port is not trained.\n",
    "Port is not trained.\n",
};

struct SInitContext
{
    bool bShowLog = false;
    bool bReported = false; // a failed step was shown as it happened
    QStringList lines;
};

void OnProgress(const char* pszText, void*)
{
    UI().SetWorkProgress(QString::fromLatin1(pszText));
}

void OnLog(const char* pszText, void* pContext)
{
    auto* pInit = static_cast<SInitContext*>(pContext);
    const QString strLine = QString::fromLatin1(pszText);
    pInit->lines.append(strLine);
    if (pInit->bShowLog)
    {
        UI().AppendWorkLog(strLine);
    }
}

int32_t OnReportError(const char* pszText, int32_t, void* pContext)
{
    static_cast<SInitContext*>(pContext)->bReported = true;
    ShowMessage(QString::fromLatin1(pszText));
    return 1;
}

void OnDebug(const char* pszText, void*)
{
    DebugPrint(eDebugDiscovery, "%s", pszText);
}

uint32_t TimeoutRegister(const char* pszKey)
{
    return (GetPreference(kPreferences, QString::fromLatin1(pszKey), kDefaultTimeout) << 8) & 0xFFFFFF00u;
}

// The reason the log gives for a template that doesn't fit: its last reason line and what follows.
QString ReasonFromLog(const QStringList& lines)
{
    for (qsizetype i = lines.size() - 1; i >= 0; --i)
    {
        for (const char* pszReason : kReasonLines)
        {
            if (lines[i] == QLatin1String(pszReason))
            {
                return lines.mid(i).join(QString()).trimmed();
            }
        }
    }
    return QString();
}

// The active map made from the records the walk left, with what only the template's primitives
// hold (names, notes, registers read) carried over, and drawn as the template is.
void TakeInitialisedMap(const CFlatNetwork& network, CNetworkDocument& map, const CPEPrimitive* pHostPE)
{
    CPEList PEs;
    CConnectionList connections;
    network.Rebuild(PEs, connections);
    for (const auto& pPE : PEs)
    {
        const CPEPrimitive* pPlanned = map.TemplatePEs.GetByNodeNumber(pPE->iNodeNumber);
        if (!pPlanned)
        {
            continue;
        }
        pPE->CommonName = pPlanned->CommonName;
        pPE->Comment = pPlanned->Comment;
        pPE->SavedRegisters = pPlanned->SavedRegisters;
        pPE->Multicast = pPlanned->Multicast;
    }
    if (CPEPrimitive* pHost = PEs.GetByNodeNumber(0); pHost && pHostPE)
    {
        pHost->bHasHostLink = pHostPE->bHasHostLink;
        pHost->bHostLinkOpen = pHostPE->bHostLinkOpen;
        pHost->uNetworkServerAddress = pHostPE->uNetworkServerAddress;
        pHost->eConnectionType = pHostPE->eConnectionType;
    }
    map.ActivePEs = std::move(PEs);
    map.ActiveConnections = std::move(connections);
    for (const auto& pView : map.Views)
    {
        pView->pNodes = pView->pTemplateNodes;
        pView->pEdges = pView->pTemplateEdges;
        pView->iWidth = pView->iTemplateWidth;
        pView->iHeight = pView->iTemplateHeight;
    }
    map.SelectedNodes.clear();
    map.SelectedEdges.clear();
    map.SelectView(map.iCurrentViewID, map.bShowTemplate);
}
} // namespace

bool HasTemplateMap(const CNetworkDocument& map)
{
    for (const auto& pPE : map.TemplatePEs)
    {
        if (!pPE->bDeleted && !(pPE->ManufID == kNullDeviceIdentity && pPE->DeviceID == kNullDeviceIdentity))
        {
            return true;
        }
    }
    return false;
}

SInitNetworkResult InitNetworkFromTemplate(const SInitNetworkRequest& request, CNetworkDocument& map,
                                           const CPEPrimitive* pHostPE)
{
    SInitNetworkResult result;
    SInitContext context;
    context.bShowLog = request.bLog;
    NVXL_RegisterDebugOutput(DebugEnabled(eDebugDiscovery) ? OnDebug : nullptr, nullptr);
    NVXL_RegisterProgressReport(OnProgress, nullptr);
    // The log is always kept: its last lines are the reason when the template doesn't fit.
    NVXL_RegisterLog(OnLog, &context);
    NVXL_RegisterReportError(OnReportError, &context);
    NVXL_RegisterFoundPE(nullptr, nullptr);

    CFlatNetwork network(0, 0);
    network.Flatten(map.TemplatePEs, map.TemplateConnections, CFlatNetwork::eTables);
    uint32_t ulFlags = 0;
    ulFlags |= request.bLongDestIDs ? NVXL_DISCOVER_USE_LONG_DESTIDS : 0;
    ulFlags |= request.bSetResponseTimeout ? NVXL_DISCOVER_SET_RESPONSE_TIMEOUT : 0;
    ulFlags |= request.bSetLinkTimeout ? NVXL_DISCOVER_SET_LINK_TIMEOUT : 0;
    const NVXL_STATUS nStatus = NVXL_InitNetwork(ulFlags, TimeoutRegister("ResponseTimeout"),
                                                 TimeoutRegister("LinkTimeout"), &network.Network());
    NVXL_RegisterLog(nullptr, nullptr);
    NVXL_RegisterReportError(nullptr, nullptr);
    NVXL_RegisterDebugOutput(nullptr, nullptr);
    result.nStatus = HalStatusToClient(nStatus);
    result.logLines = context.lines;
    if (nStatus == NVXL_OK)
    {
        TakeInitialisedMap(network, map, pHostPE);
        return result;
    }
    if (!context.bReported)
    {
        result.strFailure = ReasonFromLog(context.lines);
        if (result.strFailure.isEmpty())
        {
            result.strFailure =
                QStringLiteral("The network initialization failed: %1").arg(RioErrorText(result.nStatus));
        }
        ShowMessage(result.strFailure);
    }
    return result;
}

int32_t InitializeNetworkCommand(CNetworkDocument& map, const CPEPrimitive* pHostPE, bool bLongDestIDs,
                                 bool* pbInitialised)
{
    if (pbInitialised)
    {
        *pbInitialised = false;
    }
    if (!HasTemplateMap(map))
    {
        ShowMessage(QString::fromLatin1(kNoTemplateText));
        return 0;
    }
    if (UI().Ask(QString::fromLatin1(kPerformInitText), ApplicationTitle(), false) != eAnswerYes)
    {
        return 0;
    }
    SInitNetworkRequest request;
    request.bLongDestIDs = bLongDestIDs;
    request.bLog = AskDontAsk(QStringLiteral("DiscoveryLog"), QStringLiteral("Enable logging?"),
                              ApplicationTitle()) == eAnswerYes;
    UI().BeginWork(QStringLiteral("Network Initialization"), request.bLog);
    if (request.bLog)
    {
        UI().SetWorkWindowState(GetPreference(kPreferences, QStringLiteral("DiscoveryDetails"), 0u) != 0,
                                GetPreference(kPreferences, QStringLiteral("DiscoveryPinned"), 0u) != 0);
    }
    const SInitNetworkResult result = InitNetworkFromTemplate(request, map, pHostPE);
    if (pbInitialised)
    {
        *pbInitialised = result.nStatus == 0;
    }
    // The window shows a problem of the new map's IDs as "Warning: %s".
    QString strWarning;
    if (result.nStatus != 0 || map.ValidateUniqueDestIDs(strWarning))
    {
        strWarning.clear();
    }
    UI().EndWork(strWarning);
    if (request.bLog)
    {
        bool bDetails = false;
        bool bPinned = false;
        UI().GetWorkWindowState(&bDetails, &bPinned);
        SetPreference(kPreferences, QStringLiteral("DiscoveryDetails"), bDetails ? 1u : 0u);
        SetPreference(kPreferences, QStringLiteral("DiscoveryPinned"), bPinned ? 1u : 0u);
    }
    return result.nStatus;
}
