#include "Probe.h"

#include "FFRoutes.h"
#include "HalWrappers.h"
#include "NVXLHal.h"
#include "NVXLStatus.h"
#include "NetworkDocument.h"
#include "RouteSearch.h"
#include "StatusText.h"
#include "UserInterface.h"

#include <algorithm>
#include <array>

namespace
{
// Multicast Mask Port commands (RapidIO Part 11, Multicast Mask Port CSR).
constexpr uint32_t kVerifyPort = 0;
constexpr uint32_t kAddPort = 1;
constexpr uint32_t kDeletePort = 2;
// Multicast Associate commands (Multicast Associate Operation CSR).
constexpr uint32_t kDeleteAssociation = 2;
constexpr uint32_t kAddAssociation = 3;

constexpr int32_t kNotConnected = kProbeNotConnected;

// The steps of each mode, as bits of the mask that Disable is given.
constexpr uint32_t Step(int n)
{
    return 1u << (n - 1);
}

void Say(const char* pszText)
{
    ShowMessage(QString::fromLatin1(pszText));
}

void Warn(const char* pszText)
{
    ShowMessage(QString::fromLatin1(pszText), EMessageKind::Warning);
}

// The 32-bit little-endian words of the configuration block.
void PutWord(uint8_t* p, uint32_t ulValue)
{
    for (int i = 0; i < 4; ++i)
        p[i] = static_cast<uint8_t>(ulValue >> (8 * i));
}

uint32_t GetWord(const uint8_t* p)
{
    return uint32_t{p[0]} | (uint32_t{p[1]} << 8) | (uint32_t{p[2]} << 16) | (uint32_t{p[3]} << 24);
}

bool IsSwitch(const CPEPrimitive& pe)
{
    return !pe.bDeleted && (pe.uType & kPETypeSwitch) != 0;
}

// The PE on the map that answers to a destination ID of the width in use.
const CPEPrimitive* PEWithID(const CNetworkDocument& map, uint32_t ulID)
{
    for (const auto& pPE : map.ActivePEs)
    {
        if (!pPE->bDeleted && pPE->bUsesDestID && pPE->GetDestID() == ulID)
            return pPE.get();
    }
    return nullptr;
}

bool RouteHasNode(const CRoute& route, int iNode)
{
    const auto& entries = route.Entries();
    return std::any_of(entries.begin(), entries.end(),
                       [iNode](const ROUTEENTRY& e) {
                           return static_cast<int>(e.ulToNode) == iNode ||
                                  static_cast<int>(e.ulFromNode) == iNode;
                       });
}
} // namespace

CProbe::CProbe(CNetworkDocument& document, std::function<bool()> isConnected)
    : m_document(document), m_isConnected(std::move(isConnected))
{
}

CProbe::~CProbe() = default;

bool CProbe::LargeIDs() const
{
    return MapUsesLongIDs();
}

int32_t CProbe::Validate() const
{
    const SProbeConfig& c = m_config;
    if (c.ulMode < 1 || c.ulMode > 3)
    {
        Say("Invalid mode.  Must be 1, 2 or 3.");
        return kProbeInvalidInput;
    }
    // The all-ones ID addresses devices that have none; no traffic of a PE goes to it.
    const uint32_t ulAllOnes = LargeIDs() ? 0xFFFFu : 0xFFu;
    if (c.ulDataSourceDestID >= ulAllOnes)
    {
        Say("Invalid Data Source DestID.");
        return kProbeInvalidInput;
    }
    if (c.ulDataTargetDestID >= ulAllOnes || c.ulDataTargetDestID == c.ulDataSourceDestID)
    {
        Say("Invalid Data Target DestID.");
        return kProbeInvalidInput;
    }
    if (c.ulMode == 2)
        return 0; // the probe is in the path: no system switch takes part
    // Node numbers as a person sees them start at 1; the probe's own switch can't be the system's.
    if (c.ulSystemSwitchNodeID == 0 || c.ulSystemSwitchNodeID > 0xFFFF ||
        c.ulSystemSwitchNodeID - 1 == static_cast<uint32_t>(probe::kProbeSwitchNode))
    {
        Say("Invalid System Switch NodeID.");
        return kProbeInvalidInput;
    }
    if (c.ulSourceIngressPort >= probe::kDiscardPort)
    {
        Say("Invalid Source Ingress Port.");
        return kProbeInvalidInput;
    }
    if (c.ulPortToProbe >= probe::kDiscardPort || c.ulPortToProbe == c.ulSourceIngressPort)
    {
        Say("Invalid Port To Probe.");
        return kProbeInvalidInput;
    }
    if (c.ulTargetEgressPort >= probe::kDiscardPort || c.ulTargetEgressPort == c.ulPortToProbe ||
        c.ulTargetEgressPort == c.ulSourceIngressPort)
    {
        Say("Invalid Target Egress Port.");
        return kProbeInvalidInput;
    }
    return 0;
}

int32_t CProbe::Enable()
{
    if (m_config.bActive)
        return kProbeAlreadyEnabled;
    if (const int32_t nInvalid = Validate(); nInvalid != 0)
        return nInvalid;
    if (!m_isConnected || !m_isConnected())
    {
        Say("Norvanta is not connected to the target system.");
        return kNotConnected;
    }
    uint16_t wAssyID = 0, wAssyVendor = 0;
    const int32_t nAssembly = GetAssemblyInfo(0, NVXL_HOST_DESTID, 0, &wAssyID, &wAssyVendor);
    if (nAssembly != 0)
    {
        ShowMessage(QStringLiteral("Unable to obtain assembly information from target system.\n'%1'")
                        .arg(RioErrorText(nAssembly)));
        return nAssembly;
    }
    if (wAssyVendor != probe::kAssemblyVendor || wAssyID != probe::kAssemblyID)
    {
        Say("Norvanta Probe not found.");
        return kProbeNotFound;
    }

    m_undo = SUndo{};
    m_applied = m_config;
    uint32_t ulDone = 0;
    int32_t nResult = kProbeConfigError;
    switch (m_applied.ulMode)
    {
    case 1:
        nResult = EnableMode1(&ulDone);
        break;
    case 2:
        nResult = EnableMode2(&ulDone);
        break;
    default:
        nResult = EnableMode3(&ulDone);
        break;
    }
    if (nResult != 0)
        return nResult;
    m_ulStepsDone = ulDone;
    m_config.bActive = true;
    m_applied.bActive = true;
    MarkMap();
    if (onStateChanged)
        onStateChanged();
    return 0;
}

int32_t CProbe::Disable()
{
    if (!m_config.bActive)
        return 0;
    if (!m_isConnected || !m_isConnected())
    {
        // Nothing can be undone over a link that is gone; the fabric keeps what was set.
        Say("Norvanta is no longer connected to the target system.");
        m_config.bActive = false;
        m_ulStepsDone = 0;
        MarkMap();
        if (onStateChanged)
            onStateChanged();
        return kNotConnected;
    }
    DisableMode(m_applied.ulMode, m_ulStepsDone);
    m_config.bActive = false;
    m_applied.bActive = false;
    m_ulStepsDone = 0;
    MarkMap();
    if (onStateChanged)
        onStateChanged();
    return 0;
}

bool CProbe::FindSwitch(int iNode, SSwitchWay* pWay) const
{
    const CPEPrimitive* pPE = m_document.ActivePEs.GetByNodeNumber(iNode);
    if (!pPE || !IsSwitch(*pPE))
        return false;
    const CPEPrimitive* pHost = MapHostPE(m_document);
    if (!pHost)
        return false;
    uint32_t ulDestID = 0;
    uint8_t uchHop = 0;
    if (FindRoute(pHost, pPE, m_document.ActivePEs, m_document.ActiveConnections, &ulDestID, &uchHop, false,
                  nullptr) != 0)
        return false;
    pWay->pPE = pPE;
    pWay->ulDestID = ulDestID;
    pWay->uchHop = uchHop;
    return true;
}

bool CProbe::AddMaskPort(const SSwitchWay& way, uint8_t uchPort, std::vector<uint8_t>* pAdded)
{
    const uint16_t wVendor = way.pPE->ManufID;
    const uint16_t wDevice = way.pPE->DeviceID;
    // A port the mask held already stays in it when the probe is disabled.
    uint32_t ulPresent = 0;
    if (MulticastMaskPort(wVendor, wDevice, 0, way.ulDestID, way.uchHop, kVerifyPort, probe::kMask, uchPort,
                          &ulPresent) == 0 &&
        (ulPresent & 1))
        return true;
    if (MulticastMaskPort(wVendor, wDevice, 0, way.ulDestID, way.uchHop, kAddPort, probe::kMask, uchPort,
                          nullptr) != 0)
        return false;
    pAdded->push_back(uchPort);
    return true;
}

bool CProbe::Associate(const SSwitchWay& way, uint8_t uchIngressPort)
{
    if (MulticastAssociate(way.pPE->ManufID, way.pPE->DeviceID, 0, way.ulDestID, way.uchHop, kAddAssociation,
                           LargeIDs(), 0, static_cast<uint16_t>(m_applied.ulDataTargetDestID), probe::kMask,
                           uchIngressPort, nullptr) != 0)
        return false;
    m_undo.uchAssocPort = uchIngressPort;
    m_undo.bAssociated = true;
    return true;
}

bool CProbe::SetRoute(const SSwitchWay& way, uint8_t uchTable, uint16_t wDestID, uint8_t uchPort,
                      SSavedRoute* pSaved)
{
    const uint16_t wVendor = way.pPE->ManufID;
    const uint16_t wDevice = way.pPE->DeviceID;
    *pSaved = SSavedRoute{};
    pSaved->uchTable = uchTable;
    pSaved->wDestID = wDestID;
    NVXL_ROUTE_TYPE eType = eNVXL_RouteTypeUnrouted;
    uint8_t uchOld = 0xFF;
    uint32_t ulExtra = 0;
    if (RouteGetEntry(wVendor, wDevice, 0, way.ulDestID, way.uchHop, uchTable, wDestID, &eType, &uchOld,
                      &ulExtra) == 0)
    {
        pSaved->eType = eType;
        pSaved->uchPort = uchOld;
        pSaved->ulExtra = ulExtra;
        pSaved->bKnown = true;
    }
    return RouteAddEntry(wVendor, wDevice, 0, way.ulDestID, way.uchHop, uchTable, wDestID, uchPort,
                         eNVXL_RouteTypePort, 0) == 0;
}

bool CProbe::RestoreRoute(const SSwitchWay& way, const SSavedRoute& saved)
{
    // An entry that couldn't be read is left as it is rather than guessed at.
    if (!saved.bKnown)
        return true;
    const auto eType = saved.eType != eNVXL_RouteTypeUndefined ? static_cast<NVXL_ROUTE_TYPE>(saved.eType)
                                                               : eNVXL_RouteTypeUnrouted;
    const uint8_t uchPort = saved.uchPort;
    return RouteAddEntry(way.pPE->ManufID, way.pPE->DeviceID, 0, way.ulDestID, way.uchHop, saved.uchTable,
                         saved.wDestID, uchPort, eType, saved.ulExtra) == 0;
}

const char* CProbe::SetProcessorDestID()
{
    uint32_t ulWord = 0;
    if (HalStatusToClient(MemoryRead(0, probe::kProcessorDestIDAddress, 1, 4, &ulWord)) != 0)
        return "Unable to read probe processor multicast DestID (SNH).";
    m_undo.ulProcessorWord = ulWord;
    const uint32_t ulID = m_applied.ulDataTargetDestID;
    ulWord =
        LargeIDs() ? (ulWord & ~0xFFFFu) | (ulID & 0xFFFFu) : (ulWord & ~0xFF0000u) | ((ulID & 0xFFu) << 16);
    if (HalStatusToClient(MemoryWrite(0, probe::kProcessorDestIDAddress, 1, 4, &ulWord)) != 0)
        return "Unable to write probe processor multicast DestID (SNH).";
    return nullptr;
}

// Mode 1: the system switch copies the traffic for the data target to the probe, whose switch
// hands what comes in on its system-side port to the processor.
int32_t CProbe::EnableMode1(uint32_t* pulDone)
{
    const SProbeConfig& c = m_applied;
    if (!FindSwitch(static_cast<int>(c.ulSystemSwitchNodeID) - 1, &m_undo.system))
    {
        Say("System Switch not found.  Please verify the entered node ID.");
        return kProbeConfigError;
    }
    if (!FindSwitch(probe::kProbeSwitchNode, &m_undo.probe))
    {
        Say("Probe Switch not found (SNH).");
        return kProbeConfigError;
    }
    const SSwitchWay& sys = m_undo.system;
    const SSwitchWay& prb = m_undo.probe;
    auto fail = [&](const char* pszText)
    {
        DisableMode(1, *pulDone);
        Say(pszText);
        return kProbeConfigError;
    };

    uint8_t bSupported = 0;
    if (GetMulticastInfo(sys.pPE->ManufID, sys.pPE->DeviceID, 0, sys.ulDestID, sys.uchHop, &bSupported,
                         nullptr, nullptr, nullptr, nullptr, nullptr, nullptr) != 0 ||
        !bSupported)
        return fail("The specified System Switch does not support multicast.");
    *pulDone |= Step(1);
    if (!AddMaskPort(sys, static_cast<uint8_t>(c.ulPortToProbe), &m_undo.systemPorts))
        return fail("Unable to add multicast mask to Probe Port on System Switch.");
    if (!AddMaskPort(sys, static_cast<uint8_t>(c.ulTargetEgressPort), &m_undo.systemPorts))
        return fail("Unable to add multicast mask to Egress Port on System Switch.");

    if (!Associate(sys, static_cast<uint8_t>(c.ulSourceIngressPort)))
        return fail("Unable to set multicast association for Data Target DestID.");
    *pulDone |= Step(2);

    // A route step counts as begun before its write: a write whose answer was lost may still have
    // been carried out. The undo puts back only entries that were read first.
    *pulDone |= Step(3);
    if (!SetRoute(prb, probe::kSystemSidePort, static_cast<uint16_t>(c.ulDataTargetDestID),
                  probe::kProcessorPort, &m_undo.probeRoute))
        return fail("Unable to add route to Probe Switch.");

    if (c.bBlockResponses)
    {
        // The processor's answers to the copies it takes must not reach the source.
        *pulDone |= Step(4);
        if (!SetRoute(prb, probe::kProcessorPort, static_cast<uint16_t>(c.ulDataSourceDestID),
                      probe::kDiscardPort, &m_undo.discardRoute))
            return fail("Unable to add route to Probe Switch.");
    }

    if (const char* pszFailed = SetProcessorDestID())
        return fail(pszFailed);
    *pulDone |= Step(5);
    return 0;
}

// Mode 2: the probe switch is in the path between the two PEs and copies what passes to the
// processor.
int32_t CProbe::EnableMode2(uint32_t* pulDone)
{
    const SProbeConfig& c = m_applied;
    const CPEPrimitive* pSource = PEWithID(m_document, c.ulDataSourceDestID);
    if (!pSource)
    {
        Say("Source PE not found.  Please verify the entered destination ID.");
        return kProbeConfigError;
    }
    const CPEPrimitive* pTarget = PEWithID(m_document, c.ulDataTargetDestID);
    if (!pTarget)
    {
        Say("Target PE not found.  Please verify the entered destination ID.");
        return kProbeConfigError;
    }
    if (!FindSwitch(probe::kProbeSwitchNode, &m_undo.probe))
    {
        Say("Norvanta Probe Switch not found.");
        return kProbeConfigError;
    }
    // Both ways must pass the probe, or it would see only half of the conversation.
    CRoute forward, back;
    if (TraceRoute(m_document.ActivePEs, m_document.ActiveConnections, pSource, pTarget, c.ulDataSourceDestID,
                   c.ulDataTargetDestID, &forward, eTraceHardwareTables) != 0 ||
        !RouteHasNode(forward, probe::kProbeSwitchNode))
    {
        Say("The Norvanta Probe switch must be in the route between the source and target PEs.\n");
        return kProbeConfigError;
    }
    if (TraceRoute(m_document.ActivePEs, m_document.ActiveConnections, pTarget, pSource, c.ulDataTargetDestID,
                   c.ulDataSourceDestID, &back, eTraceHardwareTables) != 0 ||
        !RouteHasNode(back, probe::kProbeSwitchNode))
    {
        Say("The Norvanta Probe switch must be in the route between the target and source PEs.\n");
        return kProbeConfigError;
    }
    // The port by which the source's packets enter the probe switch.
    uint8_t uchIngress = 0;
    for (const ROUTEENTRY& e : forward.Entries())
    {
        if (static_cast<int>(e.ulToNode) == probe::kProbeSwitchNode)
        {
            uchIngress = static_cast<uint8_t>(e.ulToPort);
            break;
        }
    }

    const SSwitchWay& prb = m_undo.probe;
    auto fail = [&](const char* pszText)
    {
        DisableMode(2, *pulDone);
        Say(pszText);
        return kProbeConfigError;
    };
    *pulDone |= Step(1);
    if (!AddMaskPort(prb, probe::kProcessorPort, &m_undo.probePorts))
        return fail("Unable to add multicast mask to Probe Port on System Switch.");
    if (!AddMaskPort(prb, probe::kReturnPort, &m_undo.probePorts))
        return fail("Unable to add multicast mask to Egress Port on System Switch.");
    if (!Associate(prb, uchIngress))
        return fail("Unable to set multicast association for Data Target DestID.");
    if (c.bBlockResponses)
    {
        *pulDone |= Step(2);
        if (!SetRoute(prb, probe::kProcessorPort, static_cast<uint16_t>(c.ulDataSourceDestID),
                      probe::kDiscardPort, &m_undo.discardRoute))
            return fail("Unable to add route to Probe Switch.");
    }
    if (const char* pszFailed = SetProcessorDestID())
        return fail(pszFailed);
    *pulDone |= Step(3);
    return 0;
}

// Mode 3: the system switch sends the traffic for the data target into the probe; the probe
// copies it to the processor and, through its looped-back port 0, back out to the system switch,
// which sends it on to the target.
int32_t CProbe::EnableMode3(uint32_t* pulDone)
{
    const SProbeConfig& c = m_applied;
    if (!FindSwitch(static_cast<int>(c.ulSystemSwitchNodeID) - 1, &m_undo.system))
    {
        Say("System Switch not found.  Please verify the entered node ID.");
        return kProbeConfigError;
    }
    if (!FindSwitch(probe::kProbeSwitchNode, &m_undo.probe))
    {
        Say("Probe Switch not found (SNH).");
        return kProbeConfigError;
    }
    const SSwitchWay& sys = m_undo.system;
    const SSwitchWay& prb = m_undo.probe;
    const auto wTarget = static_cast<uint16_t>(c.ulDataTargetDestID);
    auto fail = [&](const char* pszText)
    {
        DisableMode(3, *pulDone);
        Say(pszText);
        return kProbeConfigError;
    };

    *pulDone |= Step(1);
    if (!SetRoute(sys, static_cast<uint8_t>(c.ulSourceIngressPort), wTarget,
                  static_cast<uint8_t>(c.ulPortToProbe), &m_undo.firstRoute))
        return fail("Unable to add route to System Switch.");

    *pulDone |= Step(2);
    for (uint8_t uchPort : {probe::kProcessorPort, probe::kLoopbackPort, probe::kReturnPort})
    {
        if (!AddMaskPort(prb, uchPort, &m_undo.probePorts))
            return fail("Unable to add multicast mask to Probe Port on Probe Switch.");
    }
    // The traffic enters the probe switch where the system switch's port to probe leads.
    uint8_t uchIngress = probe::kReturnPort;
    for (const auto& pLink : m_document.ActiveConnections)
    {
        if (pLink->bDeleted)
            continue;
        if (pLink->iPE1 == sys.pPE->iNodeNumber && pLink->iPE1Port == static_cast<int>(c.ulPortToProbe) &&
            pLink->iPE2 == prb.pPE->iNodeNumber)
            uchIngress = static_cast<uint8_t>(pLink->iPE2Port);
        else if (pLink->iPE2 == sys.pPE->iNodeNumber &&
                 pLink->iPE2Port == static_cast<int>(c.ulPortToProbe) && pLink->iPE1 == prb.pPE->iNodeNumber)
            uchIngress = static_cast<uint8_t>(pLink->iPE1Port);
    }
    if (!Associate(prb, uchIngress))
        return fail("Unable to set multicast association for Data Target DestID.");

    uint32_t ulLoop = 0;
    if (HalStatusToClient(
            MaintRead(0, prb.ulDestID, prb.uchHop, probe::kLoopbackRegister, &ulLoop, 1, 4, 4)) != 0)
        return fail("Unable to read loopback register on Probe Switch. (SNH).");
    m_undo.bLoopbackWasOn = (ulLoop & probe::kLoopbackEnable) != 0;
    *pulDone |= Step(3); // clearing the bit again is harmless if the write didn't happen
    ulLoop |= probe::kLoopbackEnable;
    if (HalStatusToClient(
            MaintWrite(0, prb.ulDestID, prb.uchHop, probe::kLoopbackRegister, &ulLoop, 1, 4, 4)) != 0)
        return fail("Unable to write loopback register on Probe Switch. (SNH).");

    *pulDone |= Step(4);
    if (!SetRoute(sys, static_cast<uint8_t>(c.ulPortToProbe), wTarget,
                  static_cast<uint8_t>(c.ulTargetEgressPort), &m_undo.returnRoute))
        return fail("Unable to add route to Probe Switch.");

    if (const char* pszFailed = SetProcessorDestID())
        return fail(pszFailed);
    *pulDone |= Step(5);
    return 0;
}

void CProbe::DisableMode(uint32_t ulMode, uint32_t ulSteps)
{
    const SSwitchWay& sys = m_undo.system;
    const SSwitchWay& prb = m_undo.probe;
    auto deletePorts =
        [](const SSwitchWay& way, std::vector<uint8_t>& ports, const char* pszProbe, const char* pszEgress)
    {
        // Last added first; the first port added is the probe's, the others lead on.
        for (size_t i = ports.size(); i-- > 0;)
        {
            if (MulticastMaskPort(way.pPE->ManufID, way.pPE->DeviceID, 0, way.ulDestID, way.uchHop,
                                  kDeletePort, probe::kMask, ports[i], nullptr) != 0)
                Warn(i == 0 ? pszProbe : pszEgress);
        }
        ports.clear();
    };
    auto unassociate = [this](const SSwitchWay& way, const char* pszWarning)
    {
        if (!m_undo.bAssociated)
            return;
        if (MulticastAssociate(way.pPE->ManufID, way.pPE->DeviceID, 0, way.ulDestID, way.uchHop,
                               kDeleteAssociation, LargeIDs(), 0,
                               static_cast<uint16_t>(m_applied.ulDataTargetDestID), probe::kMask,
                               m_undo.uchAssocPort, nullptr) != 0)
            Warn(pszWarning);
        m_undo.bAssociated = false;
    };
    auto restoreWord = [this]
    {
        uint32_t ulWord = m_undo.ulProcessorWord;
        if (HalStatusToClient(MemoryWrite(0, probe::kProcessorDestIDAddress, 1, 4, &ulWord)) != 0)
            Warn("Warning: Unable to write probe processor multicast DestID (SNH).");
    };
    auto restoreRoute = [this](const SSwitchWay& way, const SSavedRoute& saved, const char* pszWarning)
    {
        if (!RestoreRoute(way, saved))
            Warn(pszWarning);
    };

    switch (ulMode)
    {
    case 1:
        if (ulSteps & Step(5))
            restoreWord();
        if (ulSteps & Step(4))
            restoreRoute(prb, m_undo.discardRoute, "Warning: Unable to add route to Probe Switch.");
        if (ulSteps & Step(3))
            restoreRoute(prb, m_undo.probeRoute, "Warning: Unable to add route to Probe Switch.");
        if (ulSteps & Step(2))
            unassociate(sys, "Warning: Unable to delete multicast association on System Switch.");
        if (ulSteps & Step(1))
            deletePorts(sys, m_undo.systemPorts,
                        "Warning: Unable to delete multicast mask to Probe Port on System Switch.",
                        "Warning: Unable to delete multicast mask to Egress Port on System Switch.");
        break;
    case 2:
        if (ulSteps & Step(3))
            restoreWord();
        if (ulSteps & Step(2))
            restoreRoute(prb, m_undo.discardRoute, "Warning: Unable to add route to Probe Switch.");
        if (ulSteps & Step(1))
        {
            unassociate(prb, "Warning: Unable to delete multicast association on System Switch.");
            deletePorts(prb, m_undo.probePorts,
                        "Warning: Unable to delete multicast mask to Probe Port on System Switch.",
                        "Warning: Unable to delete multicast mask to Egress Port on System Switch.");
        }
        break;
    default:
        if (ulSteps & Step(5))
            restoreWord();
        if (ulSteps & Step(4))
            restoreRoute(sys, m_undo.returnRoute, "Warning: Unable to add route to Probe Switch.");
        if ((ulSteps & Step(3)) && !m_undo.bLoopbackWasOn)
        {
            uint32_t ulLoop = 0;
            if (HalStatusToClient(
                    MaintRead(0, prb.ulDestID, prb.uchHop, probe::kLoopbackRegister, &ulLoop, 1, 4, 4)) != 0)
                Warn("Warning: Unable to read loopback register on Probe Switch. (SNH).");
            else
            {
                ulLoop &= ~probe::kLoopbackEnable;
                if (HalStatusToClient(MaintWrite(0, prb.ulDestID, prb.uchHop, probe::kLoopbackRegister,
                                                 &ulLoop, 1, 4, 4)) != 0)
                    Warn("Warning: Unable to write loopback register on Probe Switch. (SNH).");
            }
        }
        if (ulSteps & Step(2))
        {
            unassociate(prb, "Warning: Unable to delete multicast association for Data Target DestID.");
            for (size_t i = m_undo.probePorts.size(); i-- > 0;)
            {
                if (MulticastMaskPort(prb.pPE->ManufID, prb.pPE->DeviceID, 0, prb.ulDestID, prb.uchHop,
                                      kDeletePort, probe::kMask, m_undo.probePorts[i], nullptr) != 0)
                    Warn("Warning: Unable to delete multicast mask to Probe Port on Probe Switch.");
            }
            m_undo.probePorts.clear();
        }
        if (ulSteps & Step(1))
            restoreRoute(sys, m_undo.firstRoute, "Warning: Unable to add route to System Switch.");
        break;
    }
}

void CProbe::GetConfig(uint8_t* pBlock) const
{
    std::fill_n(pBlock, kConfigBytes, uint8_t{0});
    const SProbeConfig& c = m_config;
    const std::array<uint32_t, 9> words = {c.ulMode,
                                           c.bActive ? 1u : 0u,
                                           c.bBlockResponses ? 1u : 0u,
                                           c.ulDataSourceDestID,
                                           c.ulDataTargetDestID,
                                           c.ulSystemSwitchNodeID,
                                           c.ulSourceIngressPort,
                                           c.ulPortToProbe,
                                           c.ulTargetEgressPort};
    for (size_t i = 0; i < words.size(); ++i)
        PutWord(pBlock + 4 * i, words[i]);
}

void CProbe::SetConfig(const uint8_t* pBlock)
{
    SProbeConfig& c = m_config;
    c.ulMode = GetWord(pBlock);
    // bActive (bytes 4..7) is the probe's state, not a setting: it is not taken.
    c.bBlockResponses = GetWord(pBlock + 8) != 0;
    c.ulDataSourceDestID = GetWord(pBlock + 12);
    c.ulDataTargetDestID = GetWord(pBlock + 16);
    c.ulSystemSwitchNodeID = GetWord(pBlock + 20);
    c.ulSourceIngressPort = GetWord(pBlock + 24);
    c.ulPortToProbe = GetWord(pBlock + 28);
    c.ulTargetEgressPort = GetWord(pBlock + 32);
}

std::vector<CProbe::SMapLabel> CProbe::MapLabels() const
{
    std::vector<SMapLabel> labels;
    if (!m_config.bActive)
        return labels;
    labels.push_back({probe::kProbeSwitchNode, QStringLiteral("Probe 1")});
    if (m_applied.ulMode != 2)
    {
        labels.push_back({static_cast<int>(m_applied.ulSystemSwitchNodeID) - 1,
                          QString::asprintf("Probe %d.%d", static_cast<int>(m_applied.ulSystemSwitchNodeID),
                                            static_cast<int>(m_applied.ulPortToProbe))});
    }
    return labels;
}

void CProbe::MarkMap() const
{
    const std::vector<SMapLabel> labels = MapLabels();
    for (const auto& pView : m_document.Views)
    {
        for (const auto& pObject : pView->pNodes)
        {
            if (pObject->eKind != eDrawKindPE)
                continue;
            auto& node = static_cast<CDrawPE&>(*pObject);
            node.strProbeLabel.clear();
            for (const SMapLabel& label : labels)
            {
                if (label.iNode == node.iAssociatedPrimitive)
                    node.strProbeLabel = label.strText;
            }
        }
    }
}
