#include "nvsim/Fabric.h"

#include "nvsim/Status.h"
#include "nvsim/StdDevice.h"

#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <cstring>
#include <deque>
#include <stdexcept>
#include <sys/time.h>

namespace nvsim
{
namespace
{
constexpr uint32_t kHostDestId = 0xFFFFFFFF;
// The largest message RapidIO carries: 16 packets of 256 bytes (RapidIO Part 2).
constexpr uint32_t kMaxMessageBytes = 4096;
constexpr uint32_t kMailboxes = 4;

std::string Format(const char* pszFormat, auto... args)
{
    char szText[256];
    std::snprintf(szText, sizeof szText, pszFormat, args...);
    return szText;
}

std::unique_lock<std::recursive_mutex> LockOf(CSimFabric* pFabric)
{
    return pFabric ? pFabric->Lock() : std::unique_lock<std::recursive_mutex>();
}

uint64_t Address(uint32_t ulHi, uint32_t ulLo)
{
    return (uint64_t{ulHi} << 32) | ulLo;
}
} // namespace

// Where a packet is and what its journey cost so far.
struct CSimFabric::STravel
{
    CSimDevice* pDevice = nullptr; // device it reached last
    uint8_t uchIngress = 0;        // port it came in on there
    uint32_t ulLatencyMs = 0;      // time spent on slow links
    // Every endpoint a multicast request reached, with the port it came in on, first copy first;
    // empty for a request that was not copied (pDevice and uchIngress tell where it went).
    std::vector<std::pair<CSimDevice*, uint8_t>> copies;
    // What travels: ulCount packets of one kind with ullBytes of payload in all. Each link
    // crossed counts them at both its ends.
    SPacketInfo packet;
    uint32_t ulCount = 1;
    uint64_t ullBytes = 0;
    // Where responses end: the device that sent the request (the host when null).
    CSimDevice* pHome = nullptr;

    // Sets what travels next (a request, or the response after it).
    void Carry(EPacketKind eKind, uint8_t uchPriority, uint32_t ulPackets, uint64_t ullPayload)
    {
        packet = SPacketInfo{eKind, static_cast<uint8_t>(std::min<uint32_t>(uchPriority, 3)), false};
        ulCount = ulPackets;
        ullBytes = ullPayload;
    }
};

// ---------------------------------------------------------------------------------------------
// CSimLink

const SLinkEnd* CSimLink::Other(const CSimDevice* pDevice, uint8_t uchPort) const
{
    if (m_a.pDevice == pDevice && m_a.uchPort == uchPort)
        return &m_b;
    if (m_b.pDevice == pDevice && m_b.uchPort == uchPort)
        return &m_a;
    return nullptr;
}

void CSimLink::SetTrained(bool bTrained)
{
    auto lock = LockOf(m_pFabric);
    m_bTrained = bTrained;
}

void CSimLink::SetShape(uint32_t ulSpeedMbaud, uint8_t uchWidth)
{
    auto lock = LockOf(m_pFabric);
    m_ulSpeedMbaud = ulSpeedMbaud;
    m_uchWidth = uchWidth;
}

void CSimLink::LoseResponses(uint32_t ulCount)
{
    auto lock = LockOf(m_pFabric);
    m_bLoseAllResponses = ulCount == 0;
    m_ulResponsesToLose = ulCount;
}

void CSimLink::SetDelayMs(uint32_t ulMs)
{
    auto lock = LockOf(m_pFabric);
    m_ulDelayMs = ulMs;
}

void CSimLink::SetErrorRates(double dCrcRate, double dRetryRate)
{
    auto lock = LockOf(m_pFabric);
    m_dCrcRate = std::clamp(dCrcRate, 0.0, 1.0);
    m_dRetryRate = std::clamp(dRetryRate, 0.0, 1.0);
    m_dCrcDue = m_dRetryDue = 0;
}

void CSimLink::ClearFaults()
{
    auto lock = LockOf(m_pFabric);
    m_bLoseAllResponses = false;
    m_ulResponsesToLose = 0;
    m_ulDelayMs = 0;
    m_dCrcRate = m_dRetryRate = 0;
    m_dCrcDue = m_dRetryDue = 0;
}

// ---------------------------------------------------------------------------------------------
// Building and looking

CSimFabric::CSimFabric() = default;
CSimFabric::~CSimFabric()
{
    StopPcap();
}

bool CSimFabric::AddDevice(std::unique_ptr<CSimDevice> pDevice, std::string* pError)
{
    auto lock = Lock();
    if (FindDevice(pDevice->Name()))
    {
        if (pError)
            *pError = "device '" + pDevice->Name() + "' is defined twice";
        return false;
    }
    pDevice->m_pFabric = this;
    m_portLinks[pDevice.get()].assign(pDevice->PortCount(), nullptr);
    m_byName[pDevice->Name()] = pDevice.get();
    m_devices.push_back(std::move(pDevice));
    return true;
}

CSimLink* CSimFabric::Connect(CSimDevice& a, uint8_t uchPortA, CSimDevice& b, uint8_t uchPortB,
                              std::string* pError)
{
    auto lock = Lock();
    for (const auto& [pDevice, uchPort] : {std::pair{&a, uchPortA}, std::pair{&b, uchPortB}})
    {
        std::string strProblem;
        if (uchPort >= pDevice->PortCount())
            strProblem = "has no port " + std::to_string(uchPort);
        else if (LinkAt(*pDevice, uchPort))
            strProblem = "port " + std::to_string(uchPort) + " is linked already";
        if (!strProblem.empty())
        {
            if (pError)
                *pError = "device '" + pDevice->Name() + "' " + strProblem;
            return nullptr;
        }
    }
    if (&a == &b && uchPortA == uchPortB)
    {
        if (pError)
            *pError = "a port cannot be linked to itself";
        return nullptr;
    }
    auto pLink = std::make_unique<CSimLink>();
    pLink->m_pFabric = this;
    pLink->m_a = {&a, uchPortA};
    pLink->m_b = {&b, uchPortB};
    m_portLinks[&a][uchPortA] = pLink.get();
    m_portLinks[&b][uchPortB] = pLink.get();
    m_links.push_back(std::move(pLink));
    return m_links.back().get();
}

bool CSimFabric::SetHost(const std::string& strName, std::vector<uint8_t> localPorts, std::string* pError)
{
    auto lock = Lock();
    CSimDevice* pDevice = FindDevice(strName);
    if (!pDevice)
    {
        if (pError)
            *pError = "device '" + strName + "' is not defined";
        return false;
    }
    if (localPorts.empty())
    {
        for (uint8_t i = 0; i < pDevice->PortCount(); ++i)
            localPorts.push_back(i);
    }
    for (uint8_t uchPort : localPorts)
    {
        if (uchPort >= pDevice->PortCount())
        {
            if (pError)
                *pError = "device '" + strName + "' has no port " + std::to_string(uchPort);
            return false;
        }
    }
    m_pHost = pDevice;
    m_host.localPorts = std::move(localPorts);
    // Port General Control CSR (RapidIO Part 6, 6.6.4): the server host is a host with Master Enable.
    const uint32_t ulGeneral = reg::kLpSerialBlock + reg::kGeneralControl;
    pDevice->SetReg(ulGeneral, pDevice->Reg(ulGeneral) | 0xC0000000);
    return true;
}

CSimDevice& CSimFabric::Device(const std::string& strName)
{
    CSimDevice* pDevice = FindDevice(strName);
    if (!pDevice)
        throw std::out_of_range("no device '" + strName + "' in the fabric");
    return *pDevice;
}

CSimDevice* CSimFabric::FindDevice(const std::string& strName)
{
    auto lock = Lock();
    const auto it = m_byName.find(strName);
    return it == m_byName.end() ? nullptr : it->second;
}

std::vector<CSimDevice*> CSimFabric::Devices() const
{
    auto lock = Lock();
    std::vector<CSimDevice*> devices;
    for (const auto& pDevice : m_devices)
        devices.push_back(pDevice.get());
    return devices;
}

CSimDevice& CSimFabric::Host()
{
    if (!m_pHost)
        throw std::logic_error("the fabric has no host");
    return *m_pHost;
}

CSimLink* CSimFabric::LinkAt(const CSimDevice& device, uint8_t uchPort) const
{
    auto lock = Lock();
    const auto it = m_portLinks.find(&device);
    if (it == m_portLinks.end() || uchPort >= it->second.size())
        return nullptr;
    return it->second[uchPort];
}

CSimLink* CSimFabric::Link(const std::string& strDevice, uint8_t uchPort)
{
    CSimDevice* pDevice = FindDevice(strDevice);
    return pDevice ? LinkAt(*pDevice, uchPort) : nullptr;
}

bool CSimFabric::PortTrained(const CSimDevice& device, uint8_t uchPort) const
{
    auto lock = Lock();
    const CSimLink* pLink = LinkAt(device, uchPort);
    if (!pLink || !pLink->m_bTrained)
        return false;
    const SLinkEnd& a = pLink->m_a;
    const SLinkEnd& b = pLink->m_b;
    // Both ports must be on, have lanes, and find a baud rate in common (RapidIO Part 6,
    // port initialization: a port whose partner transmits at another rate never sees its
    // idle sequence).
    return a.pDevice->PortEnabled(a.uchPort) && b.pDevice->PortEnabled(b.uchPort) &&
           a.pDevice->PortLanes(a.uchPort) > 0 && b.pDevice->PortLanes(b.uchPort) > 0 &&
           LinkSpeedMbaud(*pLink) != 0;
}

uint32_t CSimFabric::LinkSpeedMbaud(const CSimLink& link) const
{
    auto lock = Lock();
    const uint32_t ulCommon =
        link.m_a.pDevice->PortSpeeds(link.m_a.uchPort) & link.m_b.pDevice->PortSpeeds(link.m_b.uchPort);
    if (ulCommon & speeds::Bit(link.m_ulSpeedMbaud))
        return link.m_ulSpeedMbaud;
    return speeds::Fastest(ulCommon);
}

uint8_t CSimFabric::LinkWidth(const CSimLink& link) const
{
    auto lock = Lock();
    return std::min({link.m_uchWidth, link.m_a.pDevice->PortLanes(link.m_a.uchPort),
                     link.m_b.pDevice->PortLanes(link.m_b.uchPort)});
}

std::vector<CSimLink*> CSimFabric::Links() const
{
    auto lock = Lock();
    std::vector<CSimLink*> links;
    for (const auto& pLink : m_links)
        links.push_back(pLink.get());
    return links;
}

// ---------------------------------------------------------------------------------------------
// Packet transport

bool CSimFabric::HostPort(uint8_t uchLocalPort, uint8_t* puchPort) const
{
    if (!m_pHost || uchLocalPort >= m_host.localPorts.size())
        return false;
    *puchPort = m_host.localPorts[uchLocalPort];
    return true;
}

uint32_t CSimFabric::CutDestId(uint32_t ulDestId, bool bLarge) const
{
    if (ulDestId == kHostDestId)
        return ulDestId;
    return bLarge ? ulDestId & 0xFFFF : ulDestId & 0xFF;
}

bool CSimFabric::CrossLink(CSimLink& link, const SLinkEnd& from, bool bResponse, STravel& travel)
{
    CSimDevice& tx = *from.pDevice;
    if (!PortTrained(tx, from.uchPort))
    {
        tx.CountLinkEvent(from.uchPort, ELinkEvent::DroppedTx, travel.ulCount, travel.packet);
        return false;
    }
    const SLinkEnd& to = *link.Other(from.pDevice, from.uchPort);
    CSimDevice& rx = *to.pDevice;
    SPortState& txState = tx.Port(from.uchPort);
    SPortState& rxState = rx.Port(to.uchPort);
    if (bResponse && (link.m_bLoseAllResponses || link.m_ulResponsesToLose > 0))
    {
        // Lost on the wire: sent, never received.
        if (!link.m_bLoseAllResponses)
            --link.m_ulResponsesToLose;
        tx.CountPackets(from.uchPort, true, travel.packet, travel.ulCount, travel.ullBytes);
        return false;
    }
    if (txState.uchOutboundAckId != rxState.uchInboundAckId)
    {
        // The receiver refuses a packet whose ackID it does not expect (packet-not-accepted,
        // RapidIO Part 6); both ports note the transmission error and the packet is gone.
        txState.ulErrorStatus |= errstat::kOutputErrorEncountered;
        rxState.ulErrorStatus |= errstat::kInputErrorEncountered;
        rx.CountLinkEvent(to.uchPort, ELinkEvent::UnexpectedAckId, 1, travel.packet);
        rx.CountLinkEvent(to.uchPort, ELinkEvent::NackSent, 1, travel.packet);
        tx.CountLinkEvent(from.uchPort, ELinkEvent::NackReceived, 1, travel.packet);
        tx.CountLinkEvent(from.uchPort, ELinkEvent::DroppedTx, travel.ulCount, travel.packet);
        return false;
    }

    // Injected errors: each transmission may be refused with a retry or arrive with a bad CRC;
    // either way the sender sends the packet again (RapidIO Part 6, 5.10: the receiver answers
    // packet-retry or packet-not-accepted, the sender's output port recovers and retransmits).
    uint32_t ulAccepted = travel.ulCount;
    if (link.m_dCrcRate > 0 || link.m_dRetryRate > 0)
    {
        uint32_t ulRetries = 0, ulCrcErrors = 0, ulDropped = 0;
        for (uint32_t n = 0; n < travel.ulCount; ++n)
        {
            uint32_t ulBadCrc = 0, ulRefused = 0;
            for (;;)
            {
                link.m_dRetryDue += link.m_dRetryRate;
                if (link.m_dRetryDue >= 1.0 && ulRefused < CSimLink::kCrcLimit)
                {
                    link.m_dRetryDue -= 1.0;
                    ++ulRefused;
                    continue;
                }
                link.m_dCrcDue += link.m_dCrcRate;
                if (link.m_dCrcDue >= 1.0)
                {
                    link.m_dCrcDue -= 1.0;
                    if (++ulBadCrc < CSimLink::kCrcLimit)
                        continue;
                    ++ulDropped;
                }
                break;
            }
            ulRetries += ulRefused;
            ulCrcErrors += ulBadCrc;
        }
        if (ulRetries > 0)
        {
            rx.CountLinkEvent(to.uchPort, ELinkEvent::RetrySent, ulRetries, travel.packet);
            tx.CountLinkEvent(from.uchPort, ELinkEvent::RetryReceived, ulRetries, travel.packet);
            txState.ulErrorStatus |= errstat::kOutputRetryEncountered;
        }
        if (ulCrcErrors > 0)
        {
            rx.CountLinkEvent(to.uchPort, ELinkEvent::CrcError, ulCrcErrors, travel.packet);
            rx.CountLinkEvent(to.uchPort, ELinkEvent::NackSent, ulCrcErrors, travel.packet);
            tx.CountLinkEvent(from.uchPort, ELinkEvent::NackReceived, ulCrcErrors, travel.packet);
            rxState.ulErrorStatus |= errstat::kInputErrorEncountered;
            txState.ulErrorStatus |= errstat::kOutputErrorEncountered;
        }
        if (ulDropped > 0)
        {
            tx.CountLinkEvent(from.uchPort, ELinkEvent::CrcLimitDrop, ulDropped, travel.packet);
            tx.CountLinkEvent(from.uchPort, ELinkEvent::DroppedTx, ulDropped, travel.packet);
            txState.ulErrorStatus |= errstat::kOutputPacketDropped;
        }
        ulAccepted -= ulDropped;
    }
    if (ulAccepted == 0)
        return false;

    // Accepted and acknowledged at once: nothing stays outstanding. Each packet takes an ackID.
    const uint64_t ullBytes = travel.ullBytes * ulAccepted / travel.ulCount;
    tx.CountPackets(from.uchPort, true, travel.packet, ulAccepted, ullBytes);
    rx.CountPackets(to.uchPort, false, travel.packet, ulAccepted, ullBytes);
    rx.CountLinkEvent(to.uchPort, ELinkEvent::AckSent, ulAccepted, travel.packet);
    tx.CountLinkEvent(from.uchPort, ELinkEvent::AckReceived, ulAccepted, travel.packet);
    txState.uchOutboundAckId = (txState.uchOutboundAckId + ulAccepted) & 0x1F;
    txState.uchOutstandingAckId = txState.uchOutboundAckId;
    rxState.uchInboundAckId = (rxState.uchInboundAckId + ulAccepted) & 0x1F;
    travel.ulCount = ulAccepted;
    travel.ullBytes = ullBytes;
    travel.ulLatencyMs += link.m_ulDelayMs;
    travel.pDevice = to.pDevice;
    travel.uchIngress = to.uchPort;
    return true;
}

bool CSimFabric::Forward(CSimDevice* pDevice, uint8_t uchEgress, uint32_t ulDestId, bool bLarge,
                         bool bResponse, bool bMaintenance, uint8_t uchHop, STravel& travel)
{
    for (uint32_t n = 0; n < kMaxHops; ++n)
    {
        CSimLink* pLink = LinkAt(*pDevice, uchEgress);
        if (!pLink || !CrossLink(*pLink, {pDevice, uchEgress}, bResponse, travel))
            return false;
        pDevice = travel.pDevice;
        if (bResponse)
        {
            // A response is meant for the device that sent the request; any other endpoint
            // drops it.
            if (pDevice == (travel.pHome ? travel.pHome : m_pHost))
                return true;
            if (!pDevice->IsSwitch() || !pDevice->Route(ulDestId, bLarge, travel.uchIngress, &uchEgress))
            {
                pDevice->CountLinkEvent(travel.uchIngress, ELinkEvent::DroppedRx, travel.ulCount,
                                        travel.packet);
                return false;
            }
            continue;
        }
        if (!pDevice->IsSwitch())
        {
            if (pDevice->Accepts(ulDestId, bLarge))
                return true;
            pDevice->CountLinkEvent(travel.uchIngress, ELinkEvent::DroppedRx, travel.ulCount, travel.packet);
            return false;
        }
        if (pDevice->ConsumesOwnId() && ulDestId == pDevice->BaseDeviceId(bLarge))
            return true;
        if (bMaintenance)
        {
            // A switch takes a maintenance request whose hop count has run out, and counts
            // down the hop count of any other before routing it on.
            if (uchHop == 0)
                return true;
            --uchHop;
        }
        else if (const auto oPorts = pDevice->MulticastPorts(ulDestId, bLarge, travel.uchIngress))
            return Replicate(pDevice, *oPorts, ulDestId, bLarge, travel);
        if (!pDevice->Route(ulDestId, bLarge, travel.uchIngress, &uchEgress))
        {
            // A switch drops what its table does not route, and counts it at the ingress port.
            pDevice->CountLinkEvent(travel.uchIngress, ELinkEvent::DroppedRx, travel.ulCount, travel.packet);
            return false;
        }
    }
    return false; // caught in a loop
}

bool CSimFabric::Replicate(CSimDevice* pSwitch, const std::vector<uint8_t>& ports, uint32_t ulDestId,
                           bool bLarge, STravel& travel)
{
    // A switch sends a copy out of each port of the mask, but not back out of the port the packet
    // came in on, where it would only loop (an assumption; see the README). The copies travel side by side,
    // one link at a time, so that the nearest endpoints are reached first; a copy reaching another switch may
    // be copied again. All copies share one budget of link crossings, so that masks that send copies round a
    // loop end as a unicast loop does.
    struct SCopy
    {
        CSimDevice* pFrom;
        uint8_t uchEgress;
        uint32_t ulLatencyMs;
    };
    std::deque<SCopy> pending;
    for (uint8_t uchPort : ports)
    {
        if (uchPort != travel.uchIngress)
            pending.push_back({pSwitch, uchPort, travel.ulLatencyMs});
    }
    std::vector<std::pair<CSimDevice*, uint8_t>> reached;
    uint32_t ulSlowest = travel.ulLatencyMs;
    for (uint32_t ulCrossingsLeft = kMaxCrossings; !pending.empty() && ulCrossingsLeft > 0; --ulCrossingsLeft)
    {
        const SCopy copy = pending.front();
        pending.pop_front();
        CSimLink* pLink = LinkAt(*copy.pFrom, copy.uchEgress);
        STravel hop;
        hop.ulLatencyMs = copy.ulLatencyMs;
        hop.packet = travel.packet;
        hop.packet.bMulticast = true;
        hop.ulCount = travel.ulCount;
        hop.ullBytes = travel.ullBytes;
        if (!pLink || !CrossLink(*pLink, {copy.pFrom, copy.uchEgress}, false, hop))
            continue;
        CSimDevice* pAt = hop.pDevice;
        const bool bConsumed = !pAt->IsSwitch()
                                   ? pAt->Accepts(ulDestId, bLarge)
                                   : pAt->ConsumesOwnId() && ulDestId == pAt->BaseDeviceId(bLarge);
        if (bConsumed)
        {
            reached.emplace_back(pAt, hop.uchIngress);
            ulSlowest = std::max(ulSlowest, hop.ulLatencyMs);
            continue;
        }
        if (!pAt->IsSwitch())
            continue;
        if (const auto oPorts = pAt->MulticastPorts(ulDestId, bLarge, hop.uchIngress))
        {
            for (uint8_t uchPort : *oPorts)
            {
                if (uchPort != hop.uchIngress)
                    pending.push_back({pAt, uchPort, hop.ulLatencyMs});
            }
            continue;
        }
        uint8_t uchEgress = 0;
        if (pAt->Route(ulDestId, bLarge, hop.uchIngress, &uchEgress))
            pending.push_back({pAt, uchEgress, hop.ulLatencyMs});
    }
    if (reached.empty())
        return false;
    travel.copies = std::move(reached);
    travel.pDevice = travel.copies.front().first;
    travel.uchIngress = travel.copies.front().second;
    travel.ulLatencyMs = ulSlowest;
    return true;
}

std::vector<std::pair<CSimDevice*, uint8_t>> CSimFabric::Reached(const STravel& travel)
{
    if (!travel.copies.empty())
        return travel.copies;
    return {{travel.pDevice, travel.uchIngress}};
}

bool CSimFabric::SendRequest(uint8_t uchHostPort, uint32_t ulDestId, bool bLarge, bool bMaintenance,
                             uint8_t uchHop, STravel& travel)
{
    // Packets lost on the way (a CRC limit drop of one of them) lose the whole transaction.
    const uint32_t ulSent = travel.ulCount;
    CSimDevice* pSource = travel.pHome ? travel.pHome : m_pHost;
    return Forward(pSource, uchHostPort, ulDestId, bLarge, false, bMaintenance, uchHop, travel) &&
           travel.ulCount == ulSent && !travel.pDevice->IsMute();
}

bool CSimFabric::SendResponse(CSimDevice& from, uint8_t uchIngressPort, uint32_t ulDestId, bool bLarge,
                              STravel& travel)
{
    // The response leaves by the port the request came in on: switch manuals say so of the
    // responses a switch makes (Tsi578 2.4, CPS-1848 2.3.2.4), and endpoints have no choice.
    // A switch may be told to route its own responses by its table instead.
    uint8_t uchEgress = uchIngressPort;
    if (from.IsSwitch() && from.Config().bResponseByTable &&
        !from.Route(ulDestId, bLarge, uchIngressPort, &uchEgress))
        return false;
    const uint32_t ulSent = travel.ulCount;
    return Forward(&from, uchEgress, ulDestId, bLarge, true, false, 0, travel) && travel.ulCount == ulSent;
}

bool CSimFabric::EchoToSender(CSimDevice& from, uint8_t uchIngressPort, uint32_t ulSenderId, bool bLarge,
                              STravel& travel)
{
    return Forward(&from, uchIngressPort, ulSenderId, bLarge, false, false, 0, travel) &&
           travel.pDevice == m_pHost;
}

// ---------------------------------------------------------------------------------------------
// Transactions

int32_t CSimFabric::MaintRead(uint8_t uchLocalPort, uint32_t ulDestId, uint8_t uchHop, uint32_t ulOffset,
                              uint32_t* pWords, uint32_t ulCount, uint32_t ulWordSize, uint32_t ulStride,
                              bool bLarge, uint32_t* pulLatencyMs, uint32_t ulPriority)
{
    auto lock = Lock();
    std::fill_n(pWords, ulCount, 0u);
    uint8_t uchHostPort = 0;
    if ((ulWordSize != 1 && ulWordSize != 2 && ulWordSize != 4) || !HostPort(uchLocalPort, &uchHostPort))
        return kStatusInvalidParameter;
    const uint32_t ulId = CutDestId(ulDestId, bLarge);
    auto lost = [&]
    {
        AddRioError(kRioErrorResponseTimeout,
                    Format("Maintenance response timeout: DestID 0x%x HopCount %d Offset 0x%x", ulId, uchHop,
                           ulOffset));
        return kStatusTimeout;
    };

    STravel travel;
    CSimDevice* pTarget = m_pHost;
    SRegAccess access{uchHostPort, true};
    if (ulId != kHostDestId)
    {
        // The server carries out a read or write of several words word by word: a request and a
        // response each. Responses go one priority up (RapidIO Part 6, 5.5.2).
        travel.Carry(EPacketKind::MaintRequest, static_cast<uint8_t>(std::min(ulPriority, 3u)),
                     std::max(ulCount, 1u), 0);
        if (!SendRequest(uchHostPort, ulId, bLarge, true, uchHop, travel))
            return lost();
        pTarget = travel.pDevice;
        access = SRegAccess{travel.uchIngress, false};
    }
    for (uint32_t i = 0; i < ulCount; ++i)
    {
        const uint32_t ulAt = ulOffset + i * ulStride;
        const uint32_t ulWord = pTarget->ReadRegister(ulAt & ~0x3u, access);
        // Narrow words come from their byte lanes of the big-endian register.
        const uint32_t ulShift = ulWordSize == 4 ? 0 : 8 * (4 - ulWordSize - (ulAt & (4 - ulWordSize)));
        pWords[i] = ulWordSize == 4 ? ulWord : (ulWord >> ulShift) & ((1u << (8 * ulWordSize)) - 1);
    }
    travel.Carry(EPacketKind::MaintResponse, travel.packet.uchPriority + 1, travel.ulCount,
                 uint64_t{travel.ulCount} * ulWordSize);
    if (!access.bLocal &&
        (!pTarget->AnswersAs(ulId, bLarge) ||
         !SendResponse(*pTarget, access.uchIngressPort, m_pHost->BaseDeviceId(bLarge), bLarge, travel)))
    {
        std::fill_n(pWords, ulCount, 0u);
        return lost();
    }
    if (pulLatencyMs)
        *pulLatencyMs = travel.ulLatencyMs;
    return kStatusOk;
}

int32_t CSimFabric::MaintWrite(uint8_t uchLocalPort, uint32_t ulDestId, uint8_t uchHop, uint32_t ulOffset,
                               const uint32_t* pWords, uint32_t ulCount, uint32_t ulWordSize,
                               uint32_t ulStride, bool bLarge, uint32_t* pulLatencyMs, uint32_t ulPriority)
{
    auto lock = Lock();
    uint8_t uchHostPort = 0;
    if ((ulWordSize != 1 && ulWordSize != 2 && ulWordSize != 4) || !HostPort(uchLocalPort, &uchHostPort))
        return kStatusInvalidParameter;
    const uint32_t ulId = CutDestId(ulDestId, bLarge);
    auto lost = [&]
    {
        AddRioError(kRioErrorResponseTimeout,
                    Format("Maintenance response timeout: DestID 0x%x HopCount %d Offset 0x%x", ulId, uchHop,
                           ulOffset));
        return kStatusTimeout;
    };

    STravel travel;
    CSimDevice* pTarget = m_pHost;
    SRegAccess access{uchHostPort, true};
    if (ulId != kHostDestId)
    {
        // The server carries out a read or write of several words word by word: a request and a
        // response each. Responses go one priority up (RapidIO Part 6, 5.5.2).
        travel.Carry(EPacketKind::MaintRequest, static_cast<uint8_t>(std::min(ulPriority, 3u)),
                     std::max(ulCount, 1u), uint64_t{ulCount} * ulWordSize);
        if (!SendRequest(uchHostPort, ulId, bLarge, true, uchHop, travel))
            return lost();
        pTarget = travel.pDevice;
        access = SRegAccess{travel.uchIngress, false};
    }
    const std::vector<uint8_t> tablesBefore = m_routeJournal.Snapshot(*pTarget);
    for (uint32_t i = 0; i < ulCount; ++i)
    {
        const uint32_t ulAt = ulOffset + i * ulStride;
        const uint32_t ulShift = ulWordSize == 4 ? 0 : 8 * (4 - ulWordSize - (ulAt & (4 - ulWordSize)));
        const uint32_t ulLanes = ulWordSize == 4 ? 0xFFFFFFFF : ((1u << (8 * ulWordSize)) - 1) << ulShift;
        pTarget->WriteRegister(ulAt & ~0x3u, pWords[i] << ulShift, ulLanes, access);
    }
    m_routeJournal.Record(*pTarget, tablesBefore);
    travel.Carry(EPacketKind::MaintResponse, travel.packet.uchPriority + 1, travel.ulCount, 0);
    if (!access.bLocal &&
        (!pTarget->AnswersAs(ulId, bLarge) ||
         !SendResponse(*pTarget, access.uchIngressPort, m_pHost->BaseDeviceId(bLarge), bLarge, travel)))
        return lost();
    if (pulLatencyMs)
        *pulLatencyMs = travel.ulLatencyMs;
    return kStatusOk;
}

int32_t CSimFabric::DataRead(uint8_t uchLocalPort, uint32_t ulDestId, uint32_t ulAddressHi,
                             uint32_t ulAddressLo, uint8_t* p, uint32_t ulCount, bool bLarge,
                             uint32_t* pulLatencyMs, uint32_t ulPriority)
{
    auto lock = Lock();
    std::fill_n(p, ulCount, uint8_t{0});
    uint8_t uchHostPort = 0;
    if (!HostPort(uchLocalPort, &uchHostPort))
        return kStatusInvalidParameter;
    const uint32_t ulId = CutDestId(ulDestId, bLarge);
    const uint64_t ullAddress = Address(ulAddressHi, ulAddressLo);
    if (ulId == kHostDestId)
        return m_pHost->DataRead(ullAddress, p, ulCount);

    STravel travel;
    std::vector<uint8_t> data(ulCount);
    int32_t nStatus = kStatusTimeout;
    const uint8_t uchPriority = static_cast<uint8_t>(std::min(ulPriority, 3u));
    travel.Carry(EPacketKind::Read, uchPriority, PacketsFor(ulCount), 0);
    if (SendRequest(uchHostPort, ulId, bLarge, false, 0, travel))
    {
        nStatus = travel.pDevice->DataRead(ullAddress, data.data(), ulCount);
        travel.Carry(EPacketKind::Response, uchPriority + 1, PacketsFor(ulCount),
                     nStatus == kStatusOk ? ulCount : 0);
        if (!SendResponse(*travel.pDevice, travel.uchIngress, m_pHost->BaseDeviceId(bLarge), bLarge, travel))
            nStatus = kStatusTimeout;
    }
    if (nStatus == kStatusTimeout)
        AddRioError(kRioErrorResponseTimeout, Format("NREAD response timeout: DestID 0x%x Address 0x%x%08x",
                                                     ulId, ulAddressHi, ulAddressLo));
    else if (nStatus != kStatusOk)
        AddRioError(kRioErrorErrorResponse, Format("NREAD error response: DestID 0x%x Address 0x%x%08x", ulId,
                                                   ulAddressHi, ulAddressLo));
    else
        std::copy(data.begin(), data.end(), p);
    if (pulLatencyMs)
        *pulLatencyMs = travel.ulLatencyMs;
    return nStatus;
}

int32_t CSimFabric::DataWrite(uint8_t uchLocalPort, uint32_t ulDestId, uint32_t ulAddressHi,
                              uint32_t ulAddressLo, uint32_t ulXferType, const uint8_t* p, uint32_t ulCount,
                              bool bLarge, uint32_t* pulLatencyMs, uint32_t ulPriority)
{
    auto lock = Lock();
    uint8_t uchHostPort = 0;
    if (ulXferType > 2 || !HostPort(uchLocalPort, &uchHostPort))
        return kStatusInvalidParameter;
    const uint32_t ulId = CutDestId(ulDestId, bLarge);
    const uint64_t ullAddress = Address(ulAddressHi, ulAddressLo);
    if (ulId == kHostDestId)
        return m_pHost->DataWrite(ullAddress, p, ulCount);

    // SWRITE and NWRITE have no response: the host never learns what became of them.
    const bool bResponse = ulXferType == 2;
    STravel travel;
    int32_t nStatus = kStatusTimeout;
    const uint8_t uchPriority = static_cast<uint8_t>(std::min(ulPriority, 3u));
    const EPacketKind eKind = ulXferType == 0   ? EPacketKind::StreamWrite
                              : ulXferType == 1 ? EPacketKind::Write
                                                : EPacketKind::WriteWithResponse;
    travel.Carry(eKind, uchPriority, PacketsFor(ulCount), ulCount);
    if (SendRequest(uchHostPort, ulId, bLarge, false, 0, travel))
    {
        // Every copy of a multicast write lands; the host hears the first copy's response.
        for (const auto& [pCopy, uchIn] : Reached(travel))
        {
            const int32_t nCopy = pCopy->IsMute() ? kStatusTimeout : pCopy->DataWrite(ullAddress, p, ulCount);
            if (pCopy == travel.pDevice)
                nStatus = nCopy;
        }
        travel.Carry(EPacketKind::Response, uchPriority + 1, PacketsFor(ulCount), 0);
        if (bResponse &&
            !SendResponse(*travel.pDevice, travel.uchIngress, m_pHost->BaseDeviceId(bLarge), bLarge, travel))
            nStatus = kStatusTimeout;
    }
    if (pulLatencyMs)
        *pulLatencyMs = travel.ulLatencyMs;
    if (!bResponse)
        return kStatusOk;
    if (nStatus == kStatusTimeout)
        AddRioError(kRioErrorResponseTimeout,
                    Format("NWRITE_R response timeout: DestID 0x%x Address 0x%x%08x", ulId, ulAddressHi,
                           ulAddressLo));
    else if (nStatus != kStatusOk)
        AddRioError(kRioErrorErrorResponse, Format("NWRITE_R error response: DestID 0x%x Address 0x%x%08x",
                                                   ulId, ulAddressHi, ulAddressLo));
    return nStatus;
}

int32_t CSimFabric::SendMessage(uint8_t uchLocalPort, uint32_t ulDestId, uint32_t ulPriority,
                                uint32_t ulMailbox, const uint8_t* p, uint32_t ulCount, bool bLarge,
                                uint32_t* pulLatencyMs)
{
    auto lock = Lock();
    uint8_t uchHostPort = 0;
    if (ulMailbox >= kMailboxes || ulCount > kMaxMessageBytes || !HostPort(uchLocalPort, &uchHostPort))
        return kStatusInvalidParameter;
    const uint32_t ulId = CutDestId(ulDestId, bLarge);
    const uint32_t ulHostId = m_pHost->BaseDeviceId(bLarge);
    SMessage message{ulHostId, bLarge, ulPriority, ulMailbox, std::vector<uint8_t>(p, p + ulCount)};
    if (ulId == kHostDestId)
    {
        m_pHost->DeliverMessage(std::move(message));
        return kStatusOk;
    }

    // A message goes in segments of up to 256 bytes, each answered (RapidIO Part 2).
    const uint8_t uchPriority = static_cast<uint8_t>(std::min(ulPriority, 3u));
    STravel travel;
    travel.Carry(EPacketKind::Message, uchPriority, PacketsFor(ulCount), ulCount);
    if (!SendRequest(uchHostPort, ulId, bLarge, false, 0, travel))
    {
        AddRioError(kRioErrorResponseTimeout,
                    Format("Message response timeout: DestID 0x%x Mailbox %u", ulId, ulMailbox));
        return kStatusTimeout;
    }
    CSimDevice& target = *travel.pDevice;
    const uint8_t uchIngress = travel.uchIngress;
    if (target.Config().bEcho)
    {
        SMessage echo = message;
        echo.ulSourceId = target.BaseDeviceId(bLarge);
        STravel echoTravel;
        echoTravel.Carry(EPacketKind::Message, uchPriority, PacketsFor(ulCount), ulCount);
        if (EchoToSender(target, uchIngress, ulHostId, bLarge, echoTravel))
            m_pHost->DeliverMessage(std::move(echo));
    }
    // A full queue drops the message; the receiver's overflow flag tells of it. Each copy of a
    // multicast message lands in its own receiver's queue.
    for (const auto& [pCopy, uchIn] : Reached(travel))
    {
        if (pCopy != &target && !pCopy->IsMute())
            pCopy->DeliverMessage(message);
    }
    target.DeliverMessage(std::move(message));
    travel.Carry(EPacketKind::Response, uchPriority + 1, PacketsFor(ulCount), 0);
    if (!SendResponse(target, uchIngress, ulHostId, bLarge, travel))
    {
        AddRioError(kRioErrorResponseTimeout,
                    Format("Message response timeout: DestID 0x%x Mailbox %u", ulId, ulMailbox));
        return kStatusTimeout;
    }
    if (pulLatencyMs)
        *pulLatencyMs = travel.ulLatencyMs;
    return kStatusOk;
}

int32_t CSimFabric::SendDoorbell(uint8_t uchLocalPort, uint32_t ulDestId, uint32_t ulPriority, uint16_t wInfo,
                                 bool bLarge, uint32_t* pulLatencyMs)
{
    auto lock = Lock();
    uint8_t uchHostPort = 0;
    if (!HostPort(uchLocalPort, &uchHostPort))
        return kStatusInvalidParameter;
    const uint32_t ulId = CutDestId(ulDestId, bLarge);
    const uint32_t ulHostId = m_pHost->BaseDeviceId(bLarge);
    if (ulId == kHostDestId)
    {
        m_pHost->DeliverDoorbell({ulHostId, bLarge, wInfo});
        return kStatusOk;
    }

    const uint8_t uchPriority = static_cast<uint8_t>(std::min(ulPriority, 3u));
    STravel travel;
    travel.Carry(EPacketKind::Doorbell, uchPriority, 1, 0);
    if (!SendRequest(uchHostPort, ulId, bLarge, false, 0, travel))
    {
        AddRioError(kRioErrorResponseTimeout,
                    Format("Doorbell response timeout: DestID 0x%x Info 0x%04x", ulId, wInfo));
        return kStatusTimeout;
    }
    CSimDevice& target = *travel.pDevice;
    const uint8_t uchIngress = travel.uchIngress;
    if (target.Config().bEcho)
    {
        STravel echoTravel;
        echoTravel.Carry(EPacketKind::Doorbell, uchPriority, 1, 0);
        if (EchoToSender(target, uchIngress, ulHostId, bLarge, echoTravel))
            m_pHost->DeliverDoorbell({target.BaseDeviceId(bLarge), bLarge, wInfo});
    }
    for (const auto& [pCopy, uchIn] : Reached(travel))
    {
        if (pCopy != &target && !pCopy->IsMute())
            pCopy->DeliverDoorbell({ulHostId, bLarge, wInfo});
    }
    target.DeliverDoorbell({ulHostId, bLarge, wInfo});
    travel.Carry(EPacketKind::Response, uchPriority + 1, 1, 0);
    if (!SendResponse(target, uchIngress, ulHostId, bLarge, travel))
    {
        AddRioError(kRioErrorResponseTimeout,
                    Format("Doorbell response timeout: DestID 0x%x Info 0x%04x", ulId, wInfo));
        return kStatusTimeout;
    }
    if (pulLatencyMs)
        *pulLatencyMs = travel.ulLatencyMs;
    return kStatusOk;
}

uint64_t CSimFabric::SendGenerated(CSimDevice& source, uint8_t uchPort, const SGenerated& what,
                                   uint64_t ullTransactions)
{
    auto lock = Lock();
    if (ullTransactions == 0)
        return 0;
    const bool bData = what.eKind != EPacketKind::Doorbell;
    const bool bCarries = what.eKind != EPacketKind::Read && what.eKind != EPacketKind::Doorbell;
    const uint32_t ulPacketsEach = bData ? PacketsFor(what.ulBytes) : 1;
    const uint32_t ulDestId = CutDestId(what.ulDestId, what.bLarge);
    STravel travel;
    travel.pHome = &source;
    travel.Carry(what.eKind, what.uchPriority, static_cast<uint32_t>(ullTransactions * ulPacketsEach),
                 bCarries ? ullTransactions * what.ulBytes : 0);
    if (!SendRequest(uchPort, ulDestId, what.bLarge, false, 0, travel))
        return 0;
    CSimDevice& target = *travel.pDevice;
    const uint8_t uchIngress = travel.uchIngress;
    const uint32_t ulSourceId = source.BaseDeviceId(what.bLarge);
    for (const auto& [pCopy, uchIn] : Reached(travel))
    {
        if (pCopy->IsMute())
            continue;
        if (what.eKind == EPacketKind::Doorbell || what.eKind == EPacketKind::Message)
        {
            // A queue holds kQueueDepth entries; what arrives beyond them is dropped and flagged.
            const uint64_t ullEntries = std::min<uint64_t>(ullTransactions, CSimDevice::kQueueDepth + 1);
            for (uint64_t n = 0; n < ullEntries; ++n)
            {
                if (what.eKind == EPacketKind::Doorbell)
                    pCopy->DeliverDoorbell(
                        {ulSourceId, what.bLarge, static_cast<uint16_t>(what.ullOffset + n)});
                else
                    pCopy->DeliverMessage(
                        {ulSourceId, what.bLarge, what.uchPriority, 0,
                         std::vector<uint8_t>(std::min(what.ulBytes, kMaxMessageBytes), 0x5A)});
            }
        }
        else if (what.eKind != EPacketKind::Read && what.ulBufferBytes > 0)
        {
            // Writes go round the buffer; what lands there is the generator's pattern, so each
            // byte of the buffer needs writing once however many times the stream went round.
            const uint64_t ullBytes = std::min<uint64_t>(ullTransactions * what.ulBytes, what.ulBufferBytes);
            const std::vector<uint8_t> pattern(std::min<uint64_t>(ullBytes, 1u << 16), 0x5A);
            uint64_t ullAt = what.ullOffset % what.ulBufferBytes;
            for (uint64_t ullDone = 0; ullDone < ullBytes;)
            {
                const uint64_t ullChunk =
                    std::min<uint64_t>({ullBytes - ullDone, what.ulBufferBytes - ullAt, pattern.size()});
                pCopy->DataWrite(what.ullAddress + ullAt, pattern.data(), static_cast<uint32_t>(ullChunk));
                ullDone += ullChunk;
                ullAt = (ullAt + ullChunk) % what.ulBufferBytes;
            }
        }
    }
    if (what.eKind != EPacketKind::Write && what.eKind != EPacketKind::StreamWrite)
    {
        travel.Carry(EPacketKind::Response, what.uchPriority + 1,
                     static_cast<uint32_t>(ullTransactions * ulPacketsEach),
                     what.eKind == EPacketKind::Read ? ullTransactions * what.ulBytes : 0);
        SendResponse(target, uchIngress, ulSourceId, what.bLarge, travel);
    }
    return ullTransactions;
}

// ---------------------------------------------------------------------------------------------
// The host's queues, memory and flash

int32_t CSimFabric::FetchMessage(uint32_t ulQueue, SMessage* pMessage, bool* pbValid, bool* pbOverflow)
{
    auto lock = Lock();
    std::optional<SMessage> message = Host().TakeMessage(ulQueue, pbOverflow);
    if (pbValid)
        *pbValid = message.has_value();
    if (message && pMessage)
        *pMessage = std::move(*message);
    return kStatusOk;
}

int32_t CSimFabric::FlushMessages(uint32_t ulQueue)
{
    auto lock = Lock();
    Host().FlushMessages(ulQueue);
    return kStatusOk;
}

int32_t CSimFabric::FetchDoorbell(uint32_t ulQueue, SDoorbell* pDoorbell, bool* pbValid, bool* pbOverflow)
{
    auto lock = Lock();
    std::optional<SDoorbell> doorbell = Host().TakeDoorbell(ulQueue, pbOverflow);
    if (pbValid)
        *pbValid = doorbell.has_value();
    if (doorbell && pDoorbell)
        *pDoorbell = *doorbell;
    return kStatusOk;
}

int32_t CSimFabric::FlushDoorbells(uint32_t ulQueue)
{
    auto lock = Lock();
    Host().FlushDoorbells(ulQueue);
    return kStatusOk;
}

int32_t CSimFabric::MemRead(uint64_t ullAddress, uint32_t ulWordCount, uint32_t ulWordSize, uint8_t* p)
{
    auto lock = Lock();
    if (ulWordSize != 1 && ulWordSize != 2 && ulWordSize != 4 && ulWordSize != 8)
        return kStatusInvalidParameter;
    const uint32_t ulBytes = ulWordCount * ulWordSize;
    if (m_pHost && m_pHost->MapsHostMemory(ullAddress, ulBytes))
        return m_pHost->DataRead(ullAddress, p, ulBytes);
    m_hostMemory.Read(ullAddress, p, ulBytes);
    return kStatusOk;
}

int32_t CSimFabric::MemWrite(uint64_t ullAddress, uint32_t ulWordCount, uint32_t ulWordSize, const uint8_t* p)
{
    auto lock = Lock();
    if (ulWordSize != 1 && ulWordSize != 2 && ulWordSize != 4 && ulWordSize != 8)
        return kStatusInvalidParameter;
    const uint32_t ulBytes = ulWordCount * ulWordSize;
    if (m_pHost && m_pHost->MapsHostMemory(ullAddress, ulBytes))
        return m_pHost->DataWrite(ullAddress, p, ulBytes);
    m_hostMemory.Write(ullAddress, p, ulBytes);
    return kStatusOk;
}

int32_t CSimFabric::FlashRead(uint64_t ullAddress, uint8_t* p, uint32_t ulCount)
{
    auto lock = Lock();
    if (!m_host.bFlash)
        return kStatusNoFlash;
    if (ullAddress > m_host.ullFlashSize || ulCount > m_host.ullFlashSize - ullAddress)
        return kStatusInvalidParameter;
    m_flash.Read(ullAddress, p, ulCount);
    return kStatusOk;
}

int32_t CSimFabric::FlashWrite(uint64_t ullAddress, const uint8_t* p, uint32_t ulCount)
{
    auto lock = Lock();
    if (!m_host.bFlash)
        return kStatusNoFlash;
    if (m_host.bFlashWriteProtect)
        return kStatusFlashProtected;
    if (ullAddress > m_host.ullFlashSize || ulCount > m_host.ullFlashSize - ullAddress)
        return kStatusInvalidParameter;
    m_flash.Write(ullAddress, p, ulCount);
    return kStatusOk;
}

// ---------------------------------------------------------------------------------------------
// Packets as bytes: capture

namespace
{
void PutLe32(uint8_t* p, uint32_t ul)
{
    for (int i = 0; i < 4; ++i)
        p[i] = static_cast<uint8_t>(ul >> (8 * i));
}

void PutLe16(uint8_t* p, uint16_t w)
{
    p[0] = static_cast<uint8_t>(w);
    p[1] = static_cast<uint8_t>(w >> 8);
}
} // namespace

bool CSimFabric::StartPcap(const std::string& strPath, std::string* pError)
{
    auto lock = Lock();
    StopPcap();
    std::FILE* pFile = std::fopen(strPath.c_str(), "wb");
    if (!pFile)
    {
        if (pError)
            *pError = "cannot write the capture file " + strPath + ": " + std::strerror(errno);
        return false;
    }
    // Classic pcap file header, little-endian: magic, version 2.4, zone 0, accuracy 0,
    // snaplen 65535, link-layer type.
    uint8_t header[24] = {};
    PutLe32(header, 0xA1B2C3D4);
    PutLe16(header + 4, 2);
    PutLe16(header + 6, 4);
    PutLe32(header + 16, 65535);
    PutLe32(header + 20, kPcapLinkType);
    if (std::fwrite(header, sizeof header, 1, pFile) != 1 || std::fflush(pFile) != 0)
    {
        if (pError)
            *pError = "cannot write the capture file " + strPath + ": " + std::strerror(errno);
        std::fclose(pFile);
        return false;
    }
    m_pPcap = pFile;
    return true;
}

void CSimFabric::StopPcap()
{
    auto lock = Lock();
    if (m_pPcap)
        std::fclose(m_pPcap);
    m_pPcap = nullptr;
}

bool CSimFabric::PcapRunning() const
{
    auto lock = Lock();
    return m_pPcap != nullptr;
}

void CSimFabric::SetPacketTap(PacketTapFn fn)
{
    auto lock = Lock();
    m_fnTap = std::move(fn);
}

void CSimFabric::Record(const SLinkEnd& from, const SLinkEnd& to, const std::vector<uint8_t>& bytes)
{
    if (m_pPcap)
    {
        timeval now{};
        gettimeofday(&now, nullptr);
        uint8_t record[16];
        PutLe32(record, static_cast<uint32_t>(now.tv_sec));
        PutLe32(record + 4, static_cast<uint32_t>(now.tv_usec));
        PutLe32(record + 8, static_cast<uint32_t>(bytes.size()));
        PutLe32(record + 12, static_cast<uint32_t>(bytes.size()));
        // Flushed record by record, so that a reader sees each packet while the server runs.
        if (std::fwrite(record, sizeof record, 1, m_pPcap) != 1 ||
            std::fwrite(bytes.data(), 1, bytes.size(), m_pPcap) != bytes.size() || std::fflush(m_pPcap) != 0)
        {
            std::fprintf(stderr, "norvanta-sim: packet capture stopped: %s\n", std::strerror(errno));
            StopPcap();
        }
    }
    if (m_fnTap)
        m_fnTap(from, to, bytes);
}

bool CSimFabric::Observed(const SLinkEnd& from, const SLinkEnd& to) const
{
    return m_pPcap || m_fnTap || from.pDevice->WantsPacketBytes(from.uchPort, true) ||
           to.pDevice->WantsPacketBytes(to.uchPort, false);
}

// ---------------------------------------------------------------------------------------------
// Packets as bytes: injection

SInjectResult CSimFabric::InjectPacket(CSimDevice& device, uint8_t uchPort, std::vector<uint8_t> bytes)
{
    auto lock = Lock();
    SInjectResult result;
    result.pDevice = &device;
    result.uchPort = uchPort;
    result.strWhy = "packet injection is not carried out yet";
    (void)bytes;
    return result;
}

// ---------------------------------------------------------------------------------------------
// Error list

std::vector<SRioError> CSimFabric::GetRioErrors()
{
    auto lock = Lock();
    std::vector<SRioError> errors;
    errors.swap(m_errors);
    return errors;
}

void CSimFabric::AddRioError(uint32_t ulCode, std::string strText)
{
    auto lock = Lock();
    if (m_errors.size() >= kMaxRioErrors)
        m_errors.erase(m_errors.begin());
    m_errors.push_back({ulCode, std::move(strText)});
}
} // namespace nvsim
