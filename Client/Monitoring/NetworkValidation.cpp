#include "NetworkValidation.h"

#include "HalWrappers.h"
#include "NVXLHal.h"
#include "NVXLStatus.h"
#include "RouteSearch.h"
#include "StatusText.h"
#include "UserInterface.h"

#include <QCoreApplication>

#include <chrono>

namespace
{
// The client's status of a request that got no response: a finding about the PE, not a failure
// of the monitor.
constexpr int32_t kNoResponseStatus = -305;

// The bits of the Port n Error and Status CSR (RapidIO Part 6, LP-Serial) that the HAL counts as
// error conditions, with their names in the standard. The port's OK bit (bit 1) and the bits
// that only say how the port is built are not among them.
struct SErrorBit
{
    uint32_t ulMask;
    const char* pszName;
};
constexpr SErrorBit kErrorBits[] = {
    {0x00000001u, "Port Uninitialized"},
    {0x00000004u, "Port Error"},
    {0x00000008u, "Port Unavailable"},
    {0x00000010u, "Port-write Pending"},
    {0x00000100u, "Input Error-stopped"},
    {0x00000200u, "Input Error-encountered"},
    {0x00000400u, "Input Retry-stopped"},
    {0x00010000u, "Output Error-stopped"},
    {0x00020000u, "Output Error-encountered"},
    {0x00040000u, "Output Retry-stopped"},
    {0x00080000u, "Output Retried"},
    {0x00100000u, "Output Retry-encountered"},
    {0x01000000u, "Output Degraded-encountered"},
    {0x02000000u, "Output Failed-encountered"},
    {0x04000000u, "Output Packet-dropped"},
};
constexpr uint32_t kPortErrorBits = 0x071F071Du;

int64_t SteadyMilliseconds()
{
    return std::chrono::duration_cast<std::chrono::milliseconds>(
               std::chrono::steady_clock::now().time_since_epoch())
        .count();
}

bool IsNullOrUnknown(const CPEPrimitive& pe)
{
    return (pe.uType & (kPETypeNull | kPETypeUnknown)) != 0;
}

QString PEName(const CPEPrimitive& pe)
{
    return pe.CommonName.isEmpty() ? pe.GetTypeString() : pe.CommonName;
}
} // namespace

QString PortErrorText(uint32_t ulErrorBits)
{
    QStringList names;
    for (const SErrorBit& bit : kErrorBits)
    {
        if (ulErrorBits & bit.ulMask)
        {
            names << QLatin1String(bit.pszName);
        }
    }
    return names.join(QStringLiteral(", "));
}

CNetworkValidation::CNetworkValidation() : m_clock(SteadyMilliseconds)
{
    m_timer.setSingleShot(true);
    QObject::connect(&m_timer, &QTimer::timeout, [this] { Tick(); });
}

CNetworkValidation::~CNetworkValidation() = default;

void CNetworkValidation::Init(INetworkValidationView* pView, CPEList* pPEs, CConnectionList* pConnections)
{
    m_pView = pView;
    m_pPEs = nullptr;
    m_pConnections = nullptr;
    m_pCurrentPE = nullptr;
    m_iCurrentIndex = 0;
    m_strLastFailure.clear();
    m_routeCache.clear();
    if (pPEs)
    {
        for (const auto& pPE : *pPEs)
        {
            pPE->Health = PEValidationState{};
            pPE->PortHealth.fill(SPortHealth{});
        }
    }
    if (!pPEs || !pConnections || pPEs->GetCount() < 2)
    {
        return;
    }
    m_pPEs = pPEs;
    m_pConnections = pConnections;
    m_pCurrentPE = m_pPEs->GetByIndex(0);
}

void CNetworkValidation::Start()
{
    KillTimer();
    m_iCurrentIndex = 0;
    SetTimer();
    if (onRunningChanged)
    {
        onRunningChanged(true);
    }
}

void CNetworkValidation::Stop()
{
    KillTimer();
}

void CNetworkValidation::SetTimer()
{
    m_bTimerSet = true;
    // Without an event loop (the command line, tests) the caller drives the ticks itself.
    if (QCoreApplication::instance())
    {
        m_timer.start(kPeriodMs);
    }
}

void CNetworkValidation::KillTimer()
{
    m_bTimerSet = false;
    m_timer.stop();
}

bool CNetworkValidation::Tick()
{
    // Killed first and set again at the end: a slow read can't stack ticks up, and the period
    // runs from the end of one tick to the start of the next.
    KillTimer();
    m_nLastTickPEs = 0;
    if (!m_pPEs || m_pPEs->IsEmpty())
    {
        if (onRunningChanged)
        {
            onRunningChanged(false);
        }
        return false;
    }
    const int64_t llStart = m_clock();
    const int nPEs = m_pPEs->GetCount();
    CheckRouteCache();
    m_bRoutesChecked = true;
    while (true)
    {
        if (m_iCurrentIndex >= nPEs || m_iCurrentIndex < 0)
        {
            m_iCurrentIndex = 0;
        }
        CPEPrimitive* pPE = m_pPEs->GetByIndex(m_iCurrentIndex);
        m_pCurrentPE = pPE;
        QString strFailure;
        if (pPE && !ValidatePE(*pPE, false, &strFailure))
        {
            m_strLastFailure = strFailure;
            m_bRoutesChecked = false;
            UI().ShowMessage(
                QStringLiteral("%1 System Health Monitoring will now be disabled.").arg(strFailure),
                QStringLiteral("System Health Monitoring"), EMessageKind::Warning);
            if (m_pView)
            {
                m_pView->Repaint();
            }
            if (onRunningChanged)
            {
                onRunningChanged(false);
            }
            return false;
        }
        ++m_iCurrentIndex;
        ++m_nLastTickPEs;
        const int64_t llElapsed = m_clock() - llStart;
        if (m_nLastTickPEs >= nPEs || llElapsed >= kTickBudgetMs || llElapsed < 0)
        {
            break;
        }
    }
    m_bRoutesChecked = false;
    if (m_pView)
    {
        m_pView->Repaint();
    }
    SetTimer();
    return true;
}

bool CNetworkValidation::ValidateNetwork(bool bReport)
{
    m_strLastFailure.clear();
    if (!m_pPEs)
    {
        return true;
    }
    const bool bWasRunning = IsRunning();
    KillTimer();
    UI().BeginWork(QStringLiteral("Validate Network"), false);
    UI().SetWorkProgress(QStringLiteral("Validating RapidIO Network.  Please wait..."));
    bool bOk = true;
    const int nPEs = m_pPEs->GetCount();
    // The working window is modal: nothing changes the map while the run lasts.
    CheckRouteCache();
    m_bRoutesChecked = true;
    for (int i = 0; i < nPEs && bOk; ++i)
    {
        UI().SetWorkCounts(QStringLiteral("%1 of %2 PEs").arg(i + 1).arg(nPEs));
        if (UI().WorkCancelled())
        {
            bOk = false;
            break;
        }
        CPEPrimitive* pPE = m_pPEs->GetByIndex(i);
        QString strFailure;
        if (pPE && !ValidatePE(*pPE, true, &strFailure))
        {
            m_strLastFailure = strFailure;
            bOk = false;
        }
    }
    m_bRoutesChecked = false;
    UI().EndWork(QString());
    if (m_pView)
    {
        m_pView->Repaint();
    }
    if (!m_strLastFailure.isEmpty() && bReport)
    {
        UI().ShowMessage(m_strLastFailure, QStringLiteral("Validate Network"), EMessageKind::Warning);
    }
    if (bWasRunning)
    {
        SetTimer();
    }
    return bOk;
}

void CNetworkValidation::ResetStatus()
{
    if (!m_pPEs)
    {
        return;
    }
    for (const auto& pPE : *m_pPEs)
    {
        const bool bChanged = pPE->Health.eStatus != eValidationUnknown;
        pPE->Health = PEValidationState{};
        pPE->PortHealth.fill(SPortHealth{});
        if (bChanged && m_pView)
        {
            m_pView->RefreshPE(*pPE);
        }
    }
    if (m_pView)
    {
        m_pView->Repaint();
    }
}

const CPEPrimitive* CNetworkValidation::HostPE() const
{
    if (const CPEPrimitive* pHost = m_pPEs->GetHostPE())
    {
        return pHost;
    }
    for (const auto& pPE : *m_pPEs)
    {
        if (!pPE->bDeleted && pPE->bHasHostLink)
        {
            return pPE.get();
        }
    }
    return nullptr;
}

CConnectionPrimitive* CNetworkValidation::ConnectionAt(int iNode, int iPort) const
{
    for (const auto& pConnection : *m_pConnections)
    {
        if (!pConnection->bDeleted && pConnection->iPE1 == iNode && pConnection->iPE1Port == iPort)
        {
            return pConnection.get();
        }
    }
    for (const auto& pConnection : *m_pConnections)
    {
        if (!pConnection->bDeleted && pConnection->iPE2 == iNode && pConnection->iPE2Port == iPort)
        {
            return pConnection.get();
        }
    }
    return nullptr;
}

void CNetworkValidation::SetConnectionStatus(CConnectionPrimitive& connection, const QString& strStatus)
{
    if (connection.GetStatus() == strStatus)
    {
        return;
    }
    connection.SetStatus(strStatus);
    if (m_pView)
    {
        m_pView->RefreshConnection(connection);
    }
}

void CNetworkValidation::SetPEStatus(CPEPrimitive& pe, int eStatus, uint16_t uFoundDevice,
                                     uint16_t uFoundVendor)
{
    PEValidationState& health = pe.Health;
    const bool bChanged = health.eStatus != eStatus || health.uFoundDeviceID != uFoundDevice ||
                          health.uFoundVendorID != uFoundVendor;
    health.eStatus = eStatus;
    health.uFoundDeviceID = uFoundDevice;
    health.uFoundVendorID = uFoundVendor;
    if (bChanged && m_pView)
    {
        m_pView->RefreshPE(pe);
    }
}

namespace
{
// A 64-bit mix (the finaliser of MurmurHash3) folded into a running value: order matters, so a
// table that moves to another slot, or a connection to another port, changes the result.
void Mix(uint64_t* pullHash, uint64_t ullValue)
{
    uint64_t x = *pullHash ^ (ullValue + 0x9E3779B97F4A7C15ull + (*pullHash << 6) + (*pullHash >> 2));
    x ^= x >> 33;
    x *= 0xFF51AFD7ED558CCDull;
    x ^= x >> 33;
    x *= 0xC4CEB9FE1A85EC53ull;
    x ^= x >> 33;
    *pullHash = x;
}
} // namespace

uint64_t CNetworkValidation::RoutingFingerprint() const
{
    // What FindRoute reads: the host, each PE's number, kind, IDs in the width in use and tables
    // (the entries by their stamp, and whether they still match the hardware), and each live
    // connection's ends. The health found (statuses) is not part of it.
    uint64_t ullHash = 0;
    Mix(&ullHash, reinterpret_cast<uintptr_t>(HostPE()));
    Mix(&ullHash, static_cast<uint64_t>(m_pPEs->GetCount()));
    for (const auto& pPE : *m_pPEs)
    {
        const CPEPrimitive& pe = *pPE;
        Mix(&ullHash, reinterpret_cast<uintptr_t>(&pe));
        Mix(&ullHash, (static_cast<uint64_t>(static_cast<uint32_t>(pe.iNodeNumber)) << 32) | pe.uType);
        Mix(&ullHash, (static_cast<uint64_t>(pe.GetDestID()) << 32) | (pe.bDeleted ? 1u : 0u) |
                          (pe.bUsesDestID ? 2u : 0u) | (pe.bHasPerPortRoutingTables ? 4u : 0u) |
                          (static_cast<uint64_t>(static_cast<uint16_t>(pe.iNumLocalPorts)) << 8));
        uint16_t wID = 0;
        int iCursor = 0;
        for (bool bMore = pe.GetFirstVDID(&wID, &iCursor); bMore; bMore = pe.GetNextVDID(&wID, &iCursor))
        {
            Mix(&ullHash, 0x10000u | wID);
        }
        for (size_t i = 0; i < pe.RoutingTables.size(); ++i)
        {
            if (const CRoutingTable* pTable = pe.RoutingTables[i].get())
            {
                Mix(&ullHash, (static_cast<uint64_t>(i) << 1) | (pTable->bModified ? 1u : 0u));
                Mix(&ullHash, reinterpret_cast<uintptr_t>(pTable));
                Mix(&ullHash, pTable->Stamp());
            }
        }
    }
    Mix(&ullHash, static_cast<uint64_t>(m_pConnections->GetCount()));
    for (const auto& pConnection : *m_pConnections)
    {
        const CConnectionPrimitive& connection = *pConnection;
        Mix(&ullHash, (static_cast<uint64_t>(static_cast<uint32_t>(connection.iPE1)) << 32) |
                          static_cast<uint32_t>(connection.iPE1Port));
        Mix(&ullHash, (static_cast<uint64_t>(static_cast<uint32_t>(connection.iPE2)) << 32) |
                          static_cast<uint32_t>(connection.iPE2Port));
        Mix(&ullHash, connection.bDeleted ? 1u : 0u);
    }
    return ullHash;
}

void CNetworkValidation::CheckRouteCache()
{
    if (!m_pPEs || !m_pConnections)
    {
        m_routeCache.clear();
        return;
    }
    const uint64_t ullFingerprint = RoutingFingerprint();
    if (ullFingerprint != m_ullRoutingFingerprint)
    {
        m_routeCache.clear();
        m_ullRoutingFingerprint = ullFingerprint;
    }
}

bool CNetworkValidation::RouteTo(const CPEPrimitive& pe, uint32_t* pulDestID, uint8_t* puchHop)
{
    if (!m_bRoutesChecked)
    {
        // A PE validated on its own, outside a tick or a run.
        CheckRouteCache();
    }
    const auto it = m_routeCache.find(&pe);
    if (it != m_routeCache.end())
    {
        *pulDestID = it->second.ulDestID;
        *puchHop = it->second.uchHop;
        return true;
    }
    const CPEPrimitive* pHost = HostPE();
    if (!pHost || FindRoute(pHost, &pe, *m_pPEs, *m_pConnections, pulDestID, puchHop, false, nullptr) != 0)
    {
        return false;
    }
    m_routeCache[&pe] = SRouteToPE{*pulDestID, *puchHop};
    return true;
}

bool CNetworkValidation::ValidatePE(CPEPrimitive& pe, bool bOneShot, QString* pstrFailure)
{
    if (pe.bDeleted || IsNullOrUnknown(pe))
    {
        return true;
    }
    if (bOneShot)
    {
        UI().SetWorkProgress(
            QStringLiteral("Validating RapidIO Network.  Please wait...\nVALIDATING %1\n%2")
                .arg(PEName(pe), QString::asprintf("NodeID %d, DeviceID:%04Xh, VendorID:%04Xh",
                                                   pe.iNodeNumber + 1, pe.DeviceID, pe.ManufID)));
    }
    else if (m_pView)
    {
        m_pView->ShowStatusText(QString::asprintf("Validating Node ID %d", pe.iNodeNumber + 1));
    }

    uint32_t ulDestID = 0;
    uint8_t uchHop = 0;
    if (!RouteTo(pe, &ulDestID, &uchHop))
    {
        *pstrFailure =
            QStringLiteral("Unable to validate Node %1.\n\nCould not find a route to this node.  Valid "
                           "routing tables are required for network validation.")
                .arg(pe.iNodeNumber + 1);
        return false;
    }

    uint16_t wDevice = 0;
    uint16_t wVendor = 0;
    const int32_t nStatus = HalStatusToClient(GetDeviceAndVendor(0, ulDestID, uchHop, &wDevice, &wVendor));
    if (nStatus != 0)
    {
        SetPEStatus(pe, eValidationNotResponding, 0xFFFF, 0xFFFF);
        if (nStatus == kNoResponseStatus)
        {
            return true;
        }
        *pstrFailure = QStringLiteral("Network Communications Error. System failed with error: %1.")
                           .arg(RioErrorText(nStatus));
        return false;
    }
    if (wDevice == pe.DeviceID && wVendor == pe.ManufID)
    {
        SetPEStatus(pe, eValidationOK, 0xFFFF, 0xFFFF);
    }
    else
    {
        SetPEStatus(pe, eValidationIDsNotMatching, wDevice == pe.DeviceID ? 0xFFFF : wDevice,
                    wVendor == pe.ManufID ? 0xFFFF : wVendor);
    }
    if (pe.iNumLocalPorts <= 0)
    {
        return true;
    }
    return CheckPorts(pe, ulDestID, uchHop, pstrFailure);
}

bool CNetworkValidation::CheckPorts(CPEPrimitive& pe, uint32_t ulDestID, uint8_t uchHop, QString* pstrFailure)
{
    // Any failure to read a port that isn't a missing response is a failure of the link to the
    // target; a missing response makes the PE one that doesn't answer, as the identity read does.
    auto failed = [&](int32_t nStatus)
    {
        if (nStatus == kNoResponseStatus)
        {
            SetPEStatus(pe, eValidationNotResponding, 0xFFFF, 0xFFFF);
            return true;
        }
        *pstrFailure = QStringLiteral("Network Communications Error. System failed with error: %1.")
                           .arg(RioErrorText(nStatus));
        return false;
    };

    // The port registers sit in the LP-Serial block that the extended features pointer leads to;
    // a device without one has no ports to check.
    uint16_t wBlock = 0;
    int32_t nStatus = GetExtFeaturesPtr(0, ulDestID, uchHop, &wBlock);
    if (nStatus != 0)
    {
        return failed(nStatus);
    }
    if (wBlock == 0)
    {
        return true;
    }

    const int nPorts = std::min(pe.iNumLocalPorts, static_cast<int>(kMaxPorts));
    bool bAnyConnection = false;
    for (int iPort = 0; iPort < nPorts; ++iPort)
    {
        const auto uchPort = static_cast<uint8_t>(iPort);
        SPortHealth& health = pe.PortHealth[static_cast<size_t>(iPort)];
        health = SPortHealth{};
        health.bChecked = true;
        CConnectionPrimitive* pConnection = ConnectionAt(pe.iNodeNumber, iPort);
        bAnyConnection = bAnyConnection || pConnection;

        uint8_t bTrained = 0;
        nStatus = IsPortTrained(pe.ManufID, pe.DeviceID, 0, ulDestID, uchHop, uchPort, &bTrained);
        if (nStatus != 0)
        {
            return failed(nStatus);
        }
        if (!bTrained)
        {
            health.bDown = true;
            health.Reason = QStringLiteral("Port not trained.");
            pe.Health.PortState[static_cast<size_t>(iPort)] = ePortHealthDown;
            if (pConnection)
            {
                SetConnectionStatus(*pConnection, QStringLiteral("Down"));
            }
            continue;
        }

        // Errors are cleared as the HAL clears them; what was set before is reported, and what
        // stays set afterwards (a port stopped by an error) is called outstanding.
        uint32_t ulFound = 0;
        nStatus = GetPortErrorStatus(0, ulDestID, uchHop, wBlock, uchPort, &ulFound);
        if (nStatus != 0)
        {
            return failed(nStatus);
        }
        ulFound &= kPortErrorBits;
        uint32_t ulRemaining = 0;
        if (ulFound != 0)
        {
            nStatus = ClearPortErrors(pe.ManufID, pe.DeviceID, 0, ulDestID, uchHop, uchPort, &ulRemaining);
            if (nStatus != 0)
            {
                return failed(nStatus);
            }
        }
        if (ulFound != 0 || ulRemaining != 0)
        {
            health.bError = true;
            QStringList parts;
            if (ulRemaining != 0)
            {
                parts << QStringLiteral("Outstanding port errors: %1 (%2).")
                             .arg(PortErrorText(ulRemaining), QString::asprintf("%08Xh", ulRemaining));
            }
            if (const uint32_t ulCleared = ulFound & ~ulRemaining)
            {
                parts << QStringLiteral("Port errors cleared: %1 (%2).")
                             .arg(PortErrorText(ulCleared), QString::asprintf("%08Xh", ulCleared));
            }
            health.Reason = parts.join(QLatin1Char(' '));
            pe.Health.PortState[static_cast<size_t>(iPort)] = ePortHealthError;
            if (pConnection)
            {
                SetConnectionStatus(*pConnection, QStringLiteral("Intermittent"));
            }
            continue;
        }
        pe.Health.PortState[static_cast<size_t>(iPort)] = ePortHealthUp;
        if (pConnection)
        {
            SetConnectionStatus(*pConnection, QStringLiteral("Up"));
        }
    }
    if (!bAnyConnection)
    {
        pe.PortHealth[0].Reason = QStringLiteral("System map error. Cannot not have a PE without a "
                                                 "connection to it. System will continue to operate.");
    }
    return true;
}
