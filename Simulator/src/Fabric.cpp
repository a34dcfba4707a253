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

// --- The packets of the transactions the fabric carries out, for whoever looks at their bytes.

SRioPacket Header(uint8_t uchFType, bool bLarge, uint32_t ulDestId, uint32_t ulSourceId, uint32_t ulPriority)
{
    SRioPacket packet;
    packet.uchFType = uchFType;
    packet.uchTt = bLarge ? 1 : 0;
    const uint32_t ulMask = bLarge ? 0xFFFF : 0xFF;
    packet.ulDestId = ulDestId & ulMask;
    packet.ulSourceId = ulSourceId & ulMask;
    packet.uchPriority = static_cast<uint8_t>(std::min(ulPriority, 3u));
    return packet;
}

// The smallest of the standard's address sizes that holds an address.
uint8_t AddressBitsFor(uint64_t ullAddress)
{
    return (ullAddress >> 34) == 0 ? 34 : (ullAddress >> 50) == 0 ? 50 : 66;
}

// The part of a transfer that packet n carries: 256 bytes a packet.
struct SChunk
{
    uint64_t ullAddress = 0;
    uint32_t ulOffset = 0; // into the transfer
    uint32_t ulBytes = 0;
};

SChunk ChunkOf(uint64_t ullAddress, uint32_t ulCount, uint32_t n)
{
    const uint32_t ulOffset = std::min(n * kMaxPacketPayload, ulCount);
    return {ullAddress + ulOffset, ulOffset, std::min(ulCount - ulOffset, kMaxPacketPayload)};
}

// Sets the address (and the size and wdptr but for SWRITE) of a packet of the I/O classes for a
// chunk, and returns the payload that carries it: the double-words that hold the chunk, with its
// bytes from pData in place (zeros around them, and all zeros without pData). A transfer that
// starts inside a double-word spreads its last chunk over one double-word more than 256 bytes
// hold; the packet then carries the first 256 (the server has no smaller packets to offer).
std::vector<uint8_t> PlaceChunk(SRioPacket& packet, const SChunk& chunk, bool bWrite, const uint8_t* pData)
{
    const uint64_t ullBase = chunk.ullAddress & ~uint64_t{7};
    const uint32_t ulLead = static_cast<uint32_t>(chunk.ullAddress - ullBase);
    const bool bStream = packet.uchFType == ftype::kStreamWrite;
    packet.uchAddressBits = AddressBitsFor(chunk.ullAddress);
    packet.SetAddress(ullBase, bStream);
    uint32_t ulSpan = 0;
    if (bStream)
        ulSpan = std::clamp((ulLead + chunk.ulBytes + 7) & ~7u, 8u, kMaxPacketPayload);
    else
    {
        uint8_t uchSize = 15;
        bool bWdptr = true;
        SizeFor(chunk.ullAddress, chunk.ulBytes, bWrite, &uchSize, &bWdptr);
        packet.uchSize = uchSize;
        packet.bWdptr = bWdptr;
        ulSpan = std::max(8u, TransferBytes(uchSize, bWdptr));
    }
    std::vector<uint8_t> data(ulSpan, 0);
    if (pData)
    {
        const uint32_t ulCopy = std::min(chunk.ulBytes, ulSpan - ulLead);
        std::copy_n(pData + chunk.ulOffset, ulCopy, data.begin() + ulLead);
    }
    return data;
}

// A word of a maintenance transaction in its byte lanes of the double-word.
std::vector<uint8_t> WordInLanes(uint32_t ulAt, uint32_t ulWordSize, uint32_t ulWord)
{
    std::vector<uint8_t> data(8, 0);
    const uint32_t ulLane = ulAt & 7 & ~(ulWordSize - 1);
    for (uint32_t i = 0; i < ulWordSize; ++i)
        data[ulLane + i] = static_cast<uint8_t>(ulWord >> (8 * (ulWordSize - 1 - i)));
    return data;
}

// A maintenance read or write request of one word at register offset ulAt.
SRioPacket MaintRequestPacket(bool bWrite, bool bLarge, uint32_t ulDestId, uint32_t ulSourceId,
                              uint32_t ulPriority, uint32_t ulAt, uint32_t ulWordSize, uint32_t ulWord,
                              uint8_t uchTid)
{
    SRioPacket packet = Header(ftype::kMaintenance, bLarge, ulDestId, ulSourceId, ulPriority);
    packet.uchTrans = bWrite ? ttype::kMaintWrite : ttype::kMaintRead;
    packet.uchSourceTid = uchTid;
    const uint32_t ulAligned = ulAt & ~(ulWordSize - 1) & 0xFFFFFF;
    uint8_t uchSize = 8;
    bool bWdptr = false;
    SizeFor(ulAligned, ulWordSize, bWrite, &uchSize, &bWdptr);
    packet.uchSize = uchSize;
    packet.ulConfigOffset = ulAligned >> 3;
    packet.bWdptr = bWdptr;
    if (bWrite)
        packet.data = WordInLanes(ulAligned, ulWordSize, ulWord);
    return packet;
}

// Its response; hop count 0xFF as the standard has responders set it.
SRioPacket MaintResponsePacket(bool bWrite, bool bLarge, uint32_t ulDestId, uint32_t ulSourceId,
                               uint32_t ulPriority, uint32_t ulAt, uint32_t ulWordSize, uint32_t ulWord,
                               uint8_t uchTid)
{
    SRioPacket packet = Header(ftype::kMaintenance, bLarge, ulDestId, ulSourceId, ulPriority);
    packet.uchTrans = bWrite ? ttype::kMaintWriteResp : ttype::kMaintReadResp;
    packet.uchTargetTid = uchTid;
    packet.uchHopCount = 0xFF;
    if (!bWrite)
        packet.data = WordInLanes(ulAt, ulWordSize, ulWord);
    return packet;
}

// A response of the I/O and message classes (ftype 13).
SRioPacket ResponsePacket(bool bLarge, uint32_t ulDestId, uint32_t ulSourceId, uint32_t ulPriority,
                          uint8_t uchTrans, uint8_t uchStatus, uint8_t uchTid)
{
    SRioPacket packet = Header(ftype::kResponse, bLarge, ulDestId, ulSourceId, ulPriority);
    packet.uchTrans = uchTrans;
    packet.uchStatus = uchStatus;
    packet.uchTargetTid = uchTid;
    return packet;
}

// Segment n of a message of ulCount bytes (up to 16 of 256 bytes, RapidIO Part 2).
SRioPacket MessagePacket(bool bLarge, uint32_t ulDestId, uint32_t ulSourceId, uint32_t ulPriority,
                         uint32_t ulMailbox, const uint8_t* p, uint32_t ulCount, uint32_t n)
{
    SRioPacket packet = Header(ftype::kMessage, bLarge, ulDestId, ulSourceId, ulPriority);
    const uint32_t ulSegments = PacketsFor(ulCount);
    packet.uchMsgLen = static_cast<uint8_t>((ulSegments - 1) & 0xF);
    packet.uchSize = MessageSizeFor(std::min(ulCount, kMaxPacketPayload));
    packet.uchMailbox = static_cast<uint8_t>(ulMailbox & 3);
    packet.uchMsgSeg = static_cast<uint8_t>(n & 0xF);
    const SChunk chunk = ChunkOf(0, ulCount, n);
    packet.data.assign(std::max(8u, (chunk.ulBytes + 7) & ~7u), 0);
    if (p)
        std::copy_n(p + chunk.ulOffset, chunk.ulBytes, packet.data.begin());
    return packet;
}

SRioPacket MessageResponsePacket(const SRioPacket& segment, uint32_t ulPriority)
{
    SRioPacket packet = ResponsePacket(segment.uchTt == 1, segment.ulSourceId, segment.ulDestId, ulPriority,
                                       ttype::kResponseMessage, kRioStatusDone, 0);
    packet.uchLetter = segment.uchLetter;
    packet.uchMailbox = segment.uchMailbox;
    packet.uchMsgSeg = segment.uchMsgSeg;
    return packet;
}

SRioPacket DoorbellPacket(bool bLarge, uint32_t ulDestId, uint32_t ulSourceId, uint32_t ulPriority,
                          uint16_t wInfo, uint8_t uchTid)
{
    SRioPacket packet = Header(ftype::kDoorbell, bLarge, ulDestId, ulSourceId, ulPriority);
    packet.wInfo = wInfo;
    packet.uchSourceTid = uchTid;
    return packet;
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

    // What the packets are, for whoever looks at their bytes: packet n of the batch, its ackID
    // and (maintenance requests) hop count aside. Only called when somebody looks.
    std::function<SRioPacket(uint32_t n)> fnDescribe;
    // A packet given as bytes (InjectPacket): the bytes as they travel.
    std::vector<uint8_t>* pBytes = nullptr;
    // Hop count a maintenance request carries on the link it is crossing.
    uint8_t uchHop = 0;
    // Why the last crossing did not get the packets across.
    EPacketFate eFate = EPacketFate::Lost;
    std::string strWhy;

    // Sets what travels next (a request, or the response after it).
    void Carry(EPacketKind eKind, uint8_t uchPriority, uint32_t ulPackets, uint64_t ullPayload)
    {
        packet = SPacketInfo{eKind, static_cast<uint8_t>(std::min<uint32_t>(uchPriority, 3)), false};
        ulCount = ulPackets;
        ullBytes = ullPayload;
        fnDescribe = nullptr;
    }
    bool HasBytes() const { return pBytes || fnDescribe; }
    bool Fail(EPacketFate eWhat, std::string strText)
    {
        eFate = eWhat;
        strWhy = std::move(strText);
        return false;
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

std::vector<uint8_t> CSimFabric::PacketBytes(const STravel& travel, uint32_t n, uint8_t uchAckId) const
{
    std::vector<uint8_t> bytes;
    if (travel.pBytes)
    {
        // The link renumbers the packet; the ackID bits are outside the CRC.
        bytes = *travel.pBytes;
        if (!bytes.empty())
            bytes[0] = static_cast<uint8_t>((bytes[0] & 0x03) | ((uchAckId & 0x3F) << 2));
        return bytes;
    }
    if (!travel.fnDescribe)
        return bytes;
    SRioPacket packet = travel.fnDescribe(n);
    packet.uchAckId = uchAckId & 0x3F;
    if (packet.uchFType == ftype::kMaintenance && !IsResponsePacket(packet))
        packet.uchHopCount = travel.uchHop;
    std::string strError;
    bytes = EncodePacket(packet, &strError);
    if (bytes.empty())
        std::fprintf(stderr, "norvanta-sim: cannot encode a packet it carries: %s\n", strError.c_str());
    return bytes;
}

std::string CSimFabric::PortName(const CSimDevice& device, uint8_t uchPort)
{
    return device.Name() + " port " + std::to_string(uchPort);
}

bool CSimFabric::CrossPort(const SLinkEnd& from, bool bResponse, STravel& travel)
{
    CSimDevice& tx = *from.pDevice;
    SPortState& txState = tx.Port(from.uchPort);

    // A device may take packets as they leave (a capture engine), link or no link.
    if (travel.HasBytes() && tx.WantsPacketBytes(from.uchPort, true))
    {
        uint32_t ulTaken = 0;
        for (uint32_t n = 0; n < travel.ulCount; ++n)
        {
            const uint8_t uchAckId = static_cast<uint8_t>((txState.uchOutboundAckId + n - ulTaken) & 0x1F);
            if (tx.PacketLeaving(from.uchPort, PacketBytes(travel, n, uchAckId)))
                ++ulTaken;
        }
        if (ulTaken > 0)
        {
            travel.ullBytes -= travel.ullBytes * ulTaken / travel.ulCount;
            travel.ulCount -= ulTaken;
            if (travel.ulCount == 0)
                return travel.Fail(EPacketFate::Taken,
                                   "taken by " + PortName(tx, from.uchPort) + " as it left");
        }
    }

    if (tx.PortLoopedBack(from.uchPort))
    {
        // Port loop-back: what the port transmits comes straight back into its own input,
        // whatever its link does. The port is its own partner, so its ackIDs keep step.
        const uint32_t ulCount = travel.ulCount;
        tx.CountPackets(from.uchPort, true, travel.packet, ulCount, travel.ullBytes);
        tx.CountPackets(from.uchPort, false, travel.packet, ulCount, travel.ullBytes);
        tx.CountLinkEvent(from.uchPort, ELinkEvent::AckSent, ulCount, travel.packet);
        tx.CountLinkEvent(from.uchPort, ELinkEvent::AckReceived, ulCount, travel.packet);
        const uint8_t uchFirstAckId = txState.uchOutboundAckId;
        txState.uchOutboundAckId = (txState.uchOutboundAckId + ulCount) & 0x1F;
        txState.uchOutstandingAckId = txState.uchOutboundAckId;
        txState.uchInboundAckId = (txState.uchInboundAckId + ulCount) & 0x1F;
        return Arrive(from, from, uchFirstAckId, travel);
    }

    CSimLink* pLink = LinkAt(tx, from.uchPort);
    if (!pLink)
        return travel.Fail(EPacketFate::Lost, PortName(tx, from.uchPort) + " has no link");
    CSimLink& link = *pLink;
    if (!PortTrained(tx, from.uchPort))
    {
        tx.CountLinkEvent(from.uchPort, ELinkEvent::DroppedTx, travel.ulCount, travel.packet);
        return travel.Fail(EPacketFate::Lost, "the link of " + PortName(tx, from.uchPort) + " is down");
    }
    const SLinkEnd& to = *link.Other(from.pDevice, from.uchPort);
    CSimDevice& rx = *to.pDevice;
    SPortState& rxState = rx.Port(to.uchPort);
    if (bResponse && (link.m_bLoseAllResponses || link.m_ulResponsesToLose > 0))
    {
        // Lost on the wire: sent, never received.
        if (!link.m_bLoseAllResponses)
            --link.m_ulResponsesToLose;
        tx.CountPackets(from.uchPort, true, travel.packet, travel.ulCount, travel.ullBytes);
        return travel.Fail(EPacketFate::Lost, "lost on the link of " + PortName(tx, from.uchPort));
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
        return travel.Fail(EPacketFate::Lost, PortName(rx, to.uchPort) + " refused an unexpected ackID");
    }
    if (travel.pBytes && !PacketCrcsGood(travel.pBytes->data(), travel.pBytes->size()))
    {
        // A packet sent with a bad CRC: it goes on the wire, and the receiver answers
        // packet-not-accepted and drops it (RapidIO Part 6, 5.10). Its ackID is not used up.
        if (m_pPcap || m_fnTap)
            Record(from, to, PacketBytes(travel, 0, txState.uchOutboundAckId));
        rx.CountLinkEvent(to.uchPort, ELinkEvent::CrcError, 1, travel.packet);
        rx.CountLinkEvent(to.uchPort, ELinkEvent::NackSent, 1, travel.packet);
        tx.CountLinkEvent(from.uchPort, ELinkEvent::NackReceived, 1, travel.packet);
        rxState.ulErrorStatus |= errstat::kInputErrorEncountered;
        txState.ulErrorStatus |= errstat::kOutputErrorEncountered;
        travel.pDevice = &rx;
        travel.uchIngress = to.uchPort;
        return travel.Fail(EPacketFate::Dropped, PortName(rx, to.uchPort) + " dropped it: bad CRC");
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
        return travel.Fail(EPacketFate::Lost,
                           "too many CRC errors on the link of " + PortName(tx, from.uchPort));

    // Accepted and acknowledged at once: nothing stays outstanding. Each packet takes an ackID.
    const uint64_t ullBytes = travel.ullBytes * ulAccepted / travel.ulCount;
    tx.CountPackets(from.uchPort, true, travel.packet, ulAccepted, ullBytes);
    rx.CountPackets(to.uchPort, false, travel.packet, ulAccepted, ullBytes);
    rx.CountLinkEvent(to.uchPort, ELinkEvent::AckSent, ulAccepted, travel.packet);
    tx.CountLinkEvent(from.uchPort, ELinkEvent::AckReceived, ulAccepted, travel.packet);
    const uint8_t uchFirstAckId = txState.uchOutboundAckId;
    txState.uchOutboundAckId = (txState.uchOutboundAckId + ulAccepted) & 0x1F;
    txState.uchOutstandingAckId = txState.uchOutboundAckId;
    rxState.uchInboundAckId = (rxState.uchInboundAckId + ulAccepted) & 0x1F;
    travel.ulCount = ulAccepted;
    travel.ullBytes = ullBytes;
    travel.ulLatencyMs += link.m_ulDelayMs;
    return Arrive(from, to, uchFirstAckId, travel);
}

bool CSimFabric::Arrive(const SLinkEnd& from, const SLinkEnd& to, uint8_t uchFirstAckId, STravel& travel)
{
    travel.pDevice = to.pDevice;
    travel.uchIngress = to.uchPort;
    const bool bRecord = m_pPcap || m_fnTap;
    const bool bHook = to.pDevice->WantsPacketBytes(to.uchPort, false);
    if (!travel.HasBytes() || (!bRecord && !bHook))
        return true;
    // Each packet as it was on the link, to the capture; then the receiver's device may filter
    // it or keep it before it is routed or consumed.
    uint32_t ulDropped = 0, ulTaken = 0;
    for (uint32_t n = 0; n < travel.ulCount; ++n)
    {
        const std::vector<uint8_t> bytes =
            PacketBytes(travel, n, static_cast<uint8_t>((uchFirstAckId + n) & 0x1F));
        if (bRecord)
            Record(from, to, bytes);
        if (!bHook)
            continue;
        switch (to.pDevice->PacketArriving(to.uchPort, bytes))
        {
        case EPacketAction::Drop:
            ++ulDropped;
            break;
        case EPacketAction::Take:
            ++ulTaken;
            break;
        case EPacketAction::Pass:
            break;
        }
    }
    if (ulDropped > 0)
        to.pDevice->CountLinkEvent(to.uchPort, ELinkEvent::DroppedRx, ulDropped, travel.packet);
    const uint32_t ulGone = ulDropped + ulTaken;
    if (ulGone == 0)
        return true;
    travel.ullBytes -= travel.ullBytes * ulGone / travel.ulCount;
    travel.ulCount -= ulGone;
    if (travel.ulCount > 0)
        return true;
    if (ulTaken > 0)
        return travel.Fail(EPacketFate::Taken,
                           "taken by " + PortName(*to.pDevice, to.uchPort) + " as it arrived");
    return travel.Fail(EPacketFate::Dropped,
                       "dropped by " + PortName(*to.pDevice, to.uchPort) + " as it arrived");
}

bool CSimFabric::Forward(CSimDevice* pDevice, uint8_t uchEgress, uint32_t ulDestId, bool bLarge,
                         bool bResponse, bool bMaintenance, uint8_t uchHop, STravel& travel)
{
    for (uint32_t n = 0; n < kMaxHops; ++n)
    {
        travel.uchHop = uchHop;
        if (!CrossPort({pDevice, uchEgress}, bResponse, travel))
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
        STravel hop;
        hop.ulLatencyMs = copy.ulLatencyMs;
        hop.packet = travel.packet;
        hop.packet.bMulticast = true;
        hop.ulCount = travel.ulCount;
        hop.ullBytes = travel.ullBytes;
        hop.fnDescribe = travel.fnDescribe;
        hop.pBytes = travel.pBytes;
        if (!CrossPort({copy.pFrom, copy.uchEgress}, false, hop))
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
    const uint32_t ulHostId = m_pHost->BaseDeviceId(bLarge);
    const uint8_t uchTid = TakeTids(std::max(ulCount, 1u));

    STravel travel;
    CSimDevice* pTarget = m_pHost;
    SRegAccess access{uchHostPort, true};
    if (ulId != kHostDestId)
    {
        // The server carries out a read or write of several words word by word: a request and a
        // response each. Responses go one priority up (RapidIO Part 6, 5.5.2).
        travel.Carry(EPacketKind::MaintRequest, static_cast<uint8_t>(std::min(ulPriority, 3u)),
                     std::max(ulCount, 1u), 0);
        travel.fnDescribe = [&, uchPriority = travel.packet.uchPriority](uint32_t n)
        {
            return MaintRequestPacket(false, bLarge, ulId, ulHostId, uchPriority, ulOffset + n * ulStride,
                                      ulWordSize, 0, static_cast<uint8_t>(uchTid + n));
        };
        if (!SendRequest(uchHostPort, ulId, bLarge, true, uchHop, travel) ||
            travel.pDevice->IsRegisterMuted(ulOffset))
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
    travel.fnDescribe = [&, uchPriority = travel.packet.uchPriority](uint32_t n)
    {
        return MaintResponsePacket(false, bLarge, ulHostId, pTarget->BaseDeviceId(bLarge), uchPriority,
                                   ulOffset + n * ulStride, ulWordSize, n < ulCount ? pWords[n] : 0,
                                   static_cast<uint8_t>(uchTid + n));
    };
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
    const uint32_t ulHostId = m_pHost->BaseDeviceId(bLarge);
    const uint8_t uchTid = TakeTids(std::max(ulCount, 1u));

    STravel travel;
    CSimDevice* pTarget = m_pHost;
    SRegAccess access{uchHostPort, true};
    if (ulId != kHostDestId)
    {
        // The server carries out a read or write of several words word by word: a request and a
        // response each. Responses go one priority up (RapidIO Part 6, 5.5.2).
        travel.Carry(EPacketKind::MaintRequest, static_cast<uint8_t>(std::min(ulPriority, 3u)),
                     std::max(ulCount, 1u), uint64_t{ulCount} * ulWordSize);
        travel.fnDescribe = [&, uchPriority = travel.packet.uchPriority](uint32_t n)
        {
            return MaintRequestPacket(true, bLarge, ulId, ulHostId, uchPriority, ulOffset + n * ulStride,
                                      ulWordSize, n < ulCount ? pWords[n] : 0,
                                      static_cast<uint8_t>(uchTid + n));
        };
        if (!SendRequest(uchHostPort, ulId, bLarge, true, uchHop, travel) ||
            travel.pDevice->IsRegisterMuted(ulOffset))
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
    travel.fnDescribe = [&, uchPriority = travel.packet.uchPriority](uint32_t n)
    {
        return MaintResponsePacket(true, bLarge, ulHostId, pTarget->BaseDeviceId(bLarge), uchPriority,
                                   ulOffset + n * ulStride, ulWordSize, 0, static_cast<uint8_t>(uchTid + n));
    };
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
    const uint32_t ulHostId = m_pHost->BaseDeviceId(bLarge);
    const uint8_t uchTid = TakeTids(PacketsFor(ulCount));
    travel.Carry(EPacketKind::Read, uchPriority, PacketsFor(ulCount), 0);
    travel.fnDescribe = [&](uint32_t n)
    {
        SRioPacket packet = Header(ftype::kRequest, bLarge, ulId, ulHostId, uchPriority);
        packet.uchTrans = ttype::kNread;
        packet.uchSourceTid = static_cast<uint8_t>(uchTid + n);
        PlaceChunk(packet, ChunkOf(ullAddress, ulCount, n), false, nullptr);
        return packet;
    };
    if (SendRequest(uchHostPort, ulId, bLarge, false, 0, travel))
    {
        nStatus = travel.pDevice->DataRead(ullAddress, data.data(), ulCount);
        travel.Carry(EPacketKind::Response, uchPriority + 1, PacketsFor(ulCount),
                     nStatus == kStatusOk ? ulCount : 0);
        travel.fnDescribe = [&, pTarget = travel.pDevice](uint32_t n)
        {
            const bool bOk = nStatus == kStatusOk;
            SRioPacket packet =
                ResponsePacket(bLarge, ulHostId, pTarget->BaseDeviceId(bLarge), uchPriority + 1u,
                               bOk ? ttype::kResponseWithData : ttype::kResponseNoData,
                               bOk ? kRioStatusDone : kRioStatusError, static_cast<uint8_t>(uchTid + n));
            if (bOk)
            {
                SRioPacket request = Header(ftype::kRequest, bLarge, 0, 0, 0);
                packet.data = PlaceChunk(request, ChunkOf(ullAddress, ulCount, n), false, data.data());
            }
            return packet;
        };
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
    const uint32_t ulHostId = m_pHost->BaseDeviceId(bLarge);
    const uint8_t uchTid = TakeTids(PacketsFor(ulCount));
    travel.Carry(eKind, uchPriority, PacketsFor(ulCount), ulCount);
    travel.fnDescribe = [&](uint32_t n)
    {
        SRioPacket packet = Header(ulXferType == 0 ? ftype::kStreamWrite : ftype::kWrite, bLarge, ulId,
                                   ulHostId, uchPriority);
        packet.uchTrans = ulXferType == 2 ? ttype::kNwriteR : ttype::kNwrite;
        packet.uchSourceTid = static_cast<uint8_t>(uchTid + n);
        packet.data = PlaceChunk(packet, ChunkOf(ullAddress, ulCount, n), true, p);
        return packet;
    };
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
        travel.fnDescribe = [&, pTarget = travel.pDevice](uint32_t n)
        {
            return ResponsePacket(
                bLarge, ulHostId, pTarget->BaseDeviceId(bLarge), uchPriority + 1u, ttype::kResponseNoData,
                nStatus == kStatusOk ? kRioStatusDone : kRioStatusError, static_cast<uint8_t>(uchTid + n));
        };
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
    travel.fnDescribe = [&](uint32_t n)
    { return MessagePacket(bLarge, ulId, ulHostId, uchPriority, ulMailbox, p, ulCount, n); };
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
        echoTravel.fnDescribe = [&](uint32_t n)
        { return MessagePacket(bLarge, ulHostId, echo.ulSourceId, uchPriority, ulMailbox, p, ulCount, n); };
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
    travel.fnDescribe = [&](uint32_t n)
    {
        return MessageResponsePacket(
            MessagePacket(bLarge, ulId, ulHostId, uchPriority, ulMailbox, nullptr, ulCount, n),
            uchPriority + 1u);
    };
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
    const uint8_t uchTid = TakeTids(1);
    travel.Carry(EPacketKind::Doorbell, uchPriority, 1, 0);
    travel.fnDescribe = [&](uint32_t)
    { return DoorbellPacket(bLarge, ulId, ulHostId, uchPriority, wInfo, uchTid); };
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
        echoTravel.fnDescribe = [&](uint32_t)
        { return DoorbellPacket(bLarge, ulHostId, target.BaseDeviceId(bLarge), uchPriority, wInfo, uchTid); };
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
    travel.fnDescribe = [&](uint32_t)
    {
        return ResponsePacket(bLarge, ulHostId, target.BaseDeviceId(bLarge), uchPriority + 1u,
                              ttype::kResponseNoData, kRioStatusDone, uchTid);
    };
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
    const uint32_t ulSourceId = source.BaseDeviceId(what.bLarge);
    const uint8_t uchTid = TakeTids(static_cast<uint32_t>(ullTransactions * ulPacketsEach));
    // Packet n is chunk n % ulPacketsEach of transaction n / ulPacketsEach; writes go round the
    // buffer with the generator's pattern.
    const std::vector<uint8_t> pattern(bCarries ? std::min(what.ulBytes, kMaxMessageBytes) : 0, 0x5A);
    auto transactionAddress = [&](uint64_t ullTransaction)
    {
        const uint64_t ullAt = what.ullOffset + ullTransaction * what.ulBytes;
        return what.ullAddress + (what.ulBufferBytes ? ullAt % what.ulBufferBytes : ullAt);
    };
    auto request = [&](uint32_t n)
    {
        const uint64_t ullTransaction = n / ulPacketsEach;
        const uint32_t ulChunk = n % ulPacketsEach;
        const auto uchTidN = static_cast<uint8_t>(uchTid + n);
        switch (what.eKind)
        {
        case EPacketKind::Doorbell:
            return DoorbellPacket(what.bLarge, ulDestId, ulSourceId, what.uchPriority,
                                  static_cast<uint16_t>(what.ullOffset + ullTransaction), uchTidN);
        case EPacketKind::Message:
            return MessagePacket(what.bLarge, ulDestId, ulSourceId, what.uchPriority, 0, pattern.data(),
                                 static_cast<uint32_t>(pattern.size()), ulChunk);
        default:
        {
            const uint8_t uchFType = what.eKind == EPacketKind::Read          ? ftype::kRequest
                                     : what.eKind == EPacketKind::StreamWrite ? ftype::kStreamWrite
                                                                              : ftype::kWrite;
            SRioPacket packet = Header(uchFType, what.bLarge, ulDestId, ulSourceId, what.uchPriority);
            packet.uchTrans = what.eKind == EPacketKind::Read                ? ttype::kNread
                              : what.eKind == EPacketKind::WriteWithResponse ? ttype::kNwriteR
                                                                             : ttype::kNwrite;
            packet.uchSourceTid = uchTidN;
            const std::vector<uint8_t> data =
                PlaceChunk(packet, ChunkOf(transactionAddress(ullTransaction), what.ulBytes, ulChunk),
                           packet.uchFType != ftype::kRequest,
                           what.eKind == EPacketKind::Read ? nullptr : pattern.data());
            if (what.eKind != EPacketKind::Read)
                packet.data = data;
            return packet;
        }
        }
    };
    travel.Carry(what.eKind, what.uchPriority, static_cast<uint32_t>(ullTransactions * ulPacketsEach),
                 bCarries ? ullTransactions * what.ulBytes : 0);
    travel.fnDescribe = request;
    if (!SendRequest(uchPort, ulDestId, what.bLarge, false, 0, travel))
        return 0;
    CSimDevice& target = *travel.pDevice;
    const uint8_t uchIngress = travel.uchIngress;
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
        travel.fnDescribe = [&](uint32_t n)
        {
            const SRioPacket asked = request(n);
            if (asked.uchFType == ftype::kMessage)
                return MessageResponsePacket(asked, what.uchPriority + 1u);
            SRioPacket packet = ResponsePacket(what.bLarge, ulSourceId, target.BaseDeviceId(what.bLarge),
                                               what.uchPriority + 1u, ttype::kResponseNoData, kRioStatusDone,
                                               asked.uchSourceTid);
            if (what.eKind == EPacketKind::Read)
            {
                // What the generator reads back is the memory's; the description shows its size.
                packet.uchTrans = ttype::kResponseWithData;
                packet.data.assign(std::max(8u, TransferBytes(asked.uchSize, asked.bWdptr)), 0);
            }
            return packet;
        };
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

// ---------------------------------------------------------------------------------------------
// Packets as bytes: injection

namespace
{
// What routing needs of a packet's header, read without knowing its address size.
struct SRouteInfo
{
    uint8_t uchFType = 0, uchTrans = 0, uchPriority = 0;
    bool bLarge = false;
    uint32_t ulDestId = 0, ulSourceId = 0;
    bool bMaintRequest = false, bResponse = false;
    size_t nHopAt = 0; // maintenance: where the hop count is
};

bool ReadRouteInfo(const std::vector<uint8_t>& b, SRouteInfo* pInfo)
{
    if (b.size() < 4 || ((b[1] >> 4) & 3) > 1)
        return false;
    SRouteInfo& info = *pInfo;
    info.uchPriority = b[1] >> 6;
    info.bLarge = ((b[1] >> 4) & 3) == 1;
    info.uchFType = b[1] & 0xF;
    const size_t nIdsEnd = info.bLarge ? 6 : 4;
    if (b.size() <= nIdsEnd + 2)
        return false;
    info.ulDestId = info.bLarge ? (b[2] << 8) | b[3] : b[2];
    info.ulSourceId = info.bLarge ? (b[4] << 8) | b[5] : b[3];
    info.uchTrans = b[nIdsEnd] >> 4;
    info.bResponse = info.uchFType == ftype::kResponse ||
                     (info.uchFType == ftype::kMaintenance &&
                      (info.uchTrans == ttype::kMaintReadResp || info.uchTrans == ttype::kMaintWriteResp));
    info.bMaintRequest = info.uchFType == ftype::kMaintenance && !info.bResponse;
    info.nHopAt = nIdsEnd + 2;
    return true;
}

EPacketKind KindOf(const SRouteInfo& info)
{
    switch (info.uchFType)
    {
    case ftype::kMaintenance:
        return info.bResponse ? EPacketKind::MaintResponse : EPacketKind::MaintRequest;
    case ftype::kRequest:
        return EPacketKind::Read;
    case ftype::kWrite:
        return info.uchTrans == ttype::kNwriteR ? EPacketKind::WriteWithResponse : EPacketKind::Write;
    case ftype::kStreamWrite:
        return EPacketKind::StreamWrite;
    case ftype::kDoorbell:
        return EPacketKind::Doorbell;
    case ftype::kMessage:
        return EPacketKind::Message;
    default:
        return EPacketKind::Response;
    }
}

// A switch counts the hop count of a maintenance request down as it routes it, and so makes
// its CRCs anew (RapidIO Part 3: the CRC is recomputed by each switch that changes hop_count).
void CountHopDown(std::vector<uint8_t>& b, size_t nHopAt)
{
    const size_t n = b.size();
    const bool bPad = n >= 8 && b[n - 1] == 0 && b[n - 2] == 0 &&
                      PacketCrc(b.data(), n - 4) == ((b[n - 4] << 8) | b[n - 3]);
    const size_t nCrcAt = n - (bPad ? 4 : 2);
    --b[nHopAt];
    if (n > 84)
    {
        const uint16_t wEarly = PacketCrc(b.data(), 80);
        b[80] = static_cast<uint8_t>(wEarly >> 8);
        b[81] = static_cast<uint8_t>(wEarly);
    }
    const uint16_t wCrc = PacketCrc(b.data(), nCrcAt);
    b[nCrcAt] = static_cast<uint8_t>(wCrc >> 8);
    b[nCrcAt + 1] = static_cast<uint8_t>(wCrc);
}

uint8_t AddressBitsOf(const CSimDevice& device)
{
    // Logical Layer Control CSR, extended addressing control: 0b100 66-bit, 0b010 50-bit,
    // 0b001 34-bit.
    const uint32_t ulMode = device.Reg(reg::kLogicalControl) & 7;
    return ulMode & 4 ? 66 : ulMode & 2 ? 50 : 34;
}
} // namespace

SInjectResult CSimFabric::InjectPacket(CSimDevice& device, uint8_t uchPort, std::vector<uint8_t> bytes)
{
    auto lock = Lock();
    SInjectResult result;
    result.pDevice = &device;
    result.uchPort = uchPort;
    if (bytes.size() < 4 || bytes.size() > 276)
    {
        result.eFate = EPacketFate::Invalid;
        result.strWhy = std::to_string(bytes.size()) + " bytes are no packet (4 to 276 bytes)";
        return result;
    }
    if (uchPort >= device.PortCount())
    {
        result.eFate = EPacketFate::Invalid;
        result.strWhy = device.Name() + " has no port " + std::to_string(uchPort);
        return result;
    }
    uint32_t ulBudget = kMaxCrossings;
    return CarryBytes(device, uchPort, bytes, true, ulBudget);
}

SInjectResult CSimFabric::CarryBytes(CSimDevice& from, uint8_t uchPort, std::vector<uint8_t>& bytes,
                                     bool bAnswer, uint32_t& ulBudget)
{
    SInjectResult result;
    result.pDevice = &from;
    result.uchPort = uchPort;
    SRouteInfo info;
    const bool bRoutable = ReadRouteInfo(bytes, &info);
    SRioPacket decoded;
    const bool bDecoded = DecodePacket(bytes, 34, &decoded) == EDecodeResult::Ok;
    STravel travel;
    travel.Carry(KindOf(info), info.uchPriority, 1, bDecoded ? decoded.data.size() : 0);
    travel.pBytes = &bytes;
    travel.pHome = &from;

    CSimDevice* pDevice = &from;
    uint8_t uchEgress = uchPort;
    auto end = [&](EPacketFate eFate, std::string strWhy)
    {
        result.eFate = eFate;
        result.strWhy = std::move(strWhy);
        return result;
    };
    auto drop = [&](std::string strWhy)
    {
        pDevice->CountLinkEvent(travel.uchIngress, ELinkEvent::DroppedRx, 1, travel.packet);
        return end(EPacketFate::Dropped, PortName(*pDevice, travel.uchIngress) + " dropped it: " + strWhy);
    };
    while (ulBudget > 0)
    {
        --ulBudget;
        if (!CrossPort({pDevice, uchEgress}, info.bResponse, travel))
        {
            if (travel.pDevice)
            {
                result.pDevice = travel.pDevice;
                result.uchPort = travel.uchIngress;
            }
            return end(travel.eFate, travel.strWhy);
        }
        pDevice = travel.pDevice;
        const uint8_t uchIngress = travel.uchIngress;
        result.pDevice = pDevice;
        result.uchPort = uchIngress;
        if (!bRoutable)
            return drop("its header is no packet's");

        bool bConsume = false;
        if (!pDevice->IsSwitch())
        {
            if (!info.bResponse && !pDevice->Accepts(info.ulDestId, info.bLarge))
                return drop("not addressed to it");
            bConsume = true;
        }
        else if (!info.bResponse && pDevice->ConsumesOwnId() &&
                 info.ulDestId == pDevice->BaseDeviceId(info.bLarge))
            bConsume = true;
        else if (info.bMaintRequest)
        {
            // A switch takes a maintenance request whose hop count has run out, and counts down
            // the hop count of any other before routing it on.
            if (bytes[info.nHopAt] == 0)
                bConsume = true;
            else
                CountHopDown(bytes, info.nHopAt);
        }
        else if (!info.bResponse)
        {
            if (const auto oPorts = pDevice->MulticastPorts(info.ulDestId, info.bLarge, uchIngress))
            {
                // A copy out of each port of the mask but the one it came in on; the first copy
                // that is consumed tells what became of the packet.
                std::optional<SInjectResult> first;
                for (uint8_t uchOut : *oPorts)
                {
                    if (uchOut == uchIngress)
                        continue;
                    std::vector<uint8_t> copy = bytes;
                    SInjectResult copyResult = CarryBytes(*pDevice, uchOut, copy, bAnswer, ulBudget);
                    if (!first ||
                        (first->eFate != EPacketFate::Consumed && copyResult.eFate == EPacketFate::Consumed))
                        first = std::move(copyResult);
                }
                if (!first)
                    return drop("its multicast mask has no other port");
                return *first;
            }
        }
        if (bConsume)
        {
            result.eFate = EPacketFate::Consumed;
            result.strWhy = "consumed by " + PortName(*pDevice, uchIngress);
            if (pDevice->IsMute())
                return result;
            std::optional<std::vector<uint8_t>> response =
                Consume(*pDevice, uchIngress, bytes, &result.strWhy);
            if (response && bAnswer)
            {
                // The response leaves by the port the request came in on, or by the table of a
                // switch told to route its own responses.
                uint8_t uchOut = uchIngress;
                SInjectResult answer;
                if (pDevice->IsSwitch() && pDevice->Config().bResponseByTable &&
                    !pDevice->Route(info.ulSourceId, info.bLarge, uchIngress, &uchOut))
                {
                    answer.eFate = EPacketFate::Dropped;
                    answer.pDevice = pDevice;
                    answer.uchPort = uchIngress;
                }
                else
                    answer = CarryBytes(*pDevice, uchOut, *response, false, ulBudget);
                result.bResponse = true;
                result.eResponseFate = answer.eFate;
                result.pResponseDevice = answer.pDevice;
                result.uchResponsePort = answer.uchPort;
            }
            return result;
        }
        if (!pDevice->Route(info.ulDestId, info.bLarge, uchIngress, &uchEgress))
            return drop("no route for ID " + std::to_string(info.ulDestId));
    }
    return end(EPacketFate::Lost, "caught in a loop");
}

std::optional<std::vector<uint8_t>> CSimFabric::Consume(CSimDevice& device, uint8_t uchIngress,
                                                        const std::vector<uint8_t>& bytes, std::string* pWhat)
{
    SRioPacket request;
    std::string strError;
    if (DecodePacket(bytes, AddressBitsOf(device), &request, &strError) != EDecodeResult::Ok)
    {
        *pWhat += ", which could not read it: " + strError;
        return std::nullopt;
    }
    const bool bLarge = request.LargeIds();
    const uint32_t ulOwnId = device.BaseDeviceId(bLarge);
    const uint8_t uchPriority = static_cast<uint8_t>(std::min(request.uchPriority + 1, 3));
    auto encode = [](const SRioPacket& packet) { return EncodePacket(packet); };
    auto respond = [&](uint8_t uchTrans, uint8_t uchStatus, std::vector<uint8_t> data = {})
    {
        SRioPacket response = ResponsePacket(bLarge, request.ulSourceId, ulOwnId, uchPriority, uchTrans,
                                             uchStatus, request.uchSourceTid);
        response.data = std::move(data);
        return encode(response);
    };
    uint8_t uchFirst = 0;
    const uint32_t ulBytes = TransferBytes(request.uchSize, request.bWdptr, &uchFirst);

    switch (request.uchFType)
    {
    case ftype::kMaintenance:
    {
        if (request.uchTrans != ttype::kMaintRead && request.uchTrans != ttype::kMaintWrite)
            return std::nullopt; // responses and port-writes end here
        const bool bWrite = request.uchTrans == ttype::kMaintWrite;
        SRioPacket response = Header(ftype::kMaintenance, bLarge, request.ulSourceId, ulOwnId, uchPriority);
        response.uchTrans = bWrite ? ttype::kMaintWriteResp : ttype::kMaintReadResp;
        response.uchTargetTid = request.uchSourceTid;
        response.uchHopCount = 0xFF;
        // Maintenance accesses are of up to 64 bytes (RapidIO Part 1, 4.3); others are refused.
        const uint32_t ulBase = request.ulConfigOffset << 3;
        if (ulBytes == 0 || ulBytes > 64 || (bWrite && request.data.size() < uchFirst + ulBytes))
        {
            response.uchStatus = kRioStatusError;
            *pWhat += ", which answered ERROR";
            return encode(response);
        }
        const SRegAccess access{uchIngress, false};
        std::vector<uint8_t> data(std::max<uint32_t>(8, uchFirst + ulBytes), 0);
        const std::vector<uint8_t> tablesBefore =
            bWrite ? m_routeJournal.Snapshot(device) : std::vector<uint8_t>{};
        for (uint32_t ulWordAt = uchFirst & ~3u; ulWordAt < uchFirst + ulBytes; ulWordAt += 4)
        {
            // The byte lanes of this register that the access covers.
            uint32_t ulMask = 0, ulValue = 0;
            for (uint32_t i = 0; i < 4; ++i)
            {
                const uint32_t ulAt = ulWordAt + i;
                if (ulAt >= uchFirst && ulAt < uchFirst + ulBytes)
                {
                    ulMask |= 0xFFu << (8 * (3 - i));
                    if (bWrite)
                        ulValue |= uint32_t{request.data[ulAt]} << (8 * (3 - i));
                }
            }
            if (bWrite)
                device.WriteRegister(ulBase + ulWordAt, ulValue, ulMask, access);
            else
            {
                const uint32_t ulWord = device.ReadRegister(ulBase + ulWordAt, access);
                for (uint32_t i = 0; i < 4; ++i)
                {
                    if (ulMask & (0xFFu << (8 * (3 - i))))
                        data[ulWordAt + i] = static_cast<uint8_t>(ulWord >> (8 * (3 - i)));
                }
            }
        }
        if (bWrite)
            m_routeJournal.Record(device, tablesBefore);
        else
            response.data = std::move(data);
        *pWhat += bWrite ? ", which wrote it" : ", which read it";
        return encode(response);
    }
    case ftype::kRequest:
    case ftype::kWrite:
    {
        const bool bWrite = request.uchFType == ftype::kWrite;
        const bool bPlain = request.uchTrans == (bWrite ? ttype::kNwrite : ttype::kNread) ||
                            (bWrite && request.uchTrans == ttype::kNwriteR);
        // The atomics are not carried out: they are answered ERROR (a target without them).
        if (!bPlain || ulBytes == 0 || (bWrite && request.data.size() < uchFirst + ulBytes))
        {
            *pWhat += ", which answered ERROR";
            return bWrite && request.uchTrans == ttype::kNwrite
                       ? std::nullopt
                       : std::optional(respond(ttype::kResponseNoData, kRioStatusError));
        }
        // The size's wdptr is no address bit once the access is of whole double-words.
        const uint64_t ullAddress = (request.Address() & ~uint64_t{7}) + uchFirst;
        if (bWrite)
        {
            const int32_t nStatus = device.DataWrite(ullAddress, request.data.data() + uchFirst, ulBytes);
            *pWhat += nStatus == kStatusOk ? ", which wrote it to memory" : ", which has no memory";
            if (request.uchTrans == ttype::kNwrite)
                return std::nullopt;
            return respond(ttype::kResponseNoData, nStatus == kStatusOk ? kRioStatusDone : kRioStatusError);
        }
        std::vector<uint8_t> data(std::max<uint32_t>(8, uchFirst + ulBytes), 0);
        const int32_t nStatus = device.DataRead(ullAddress, data.data() + uchFirst, ulBytes);
        *pWhat += nStatus == kStatusOk ? ", which read its memory" : ", which has no memory";
        if (nStatus != kStatusOk)
            return respond(ttype::kResponseNoData, kRioStatusError);
        return respond(ttype::kResponseWithData, kRioStatusDone, std::move(data));
    }
    case ftype::kStreamWrite:
    {
        const int32_t nStatus = device.DataWrite(request.Address(), request.data.data(),
                                                 static_cast<uint32_t>(request.data.size()));
        *pWhat += nStatus == kStatusOk ? ", which wrote it to memory" : ", which has no memory";
        return std::nullopt;
    }
    case ftype::kDoorbell:
    {
        // A full doorbell queue answers RETRY (RapidIO Part 2, 3.1).
        const bool bQueued = device.DeliverDoorbell({request.ulSourceId, bLarge, request.wInfo});
        *pWhat += bQueued ? ", which queued the doorbell" : ", whose doorbell queue is full";
        return respond(ttype::kResponseNoData, bQueued ? kRioStatusDone : kRioStatusRetry);
    }
    case ftype::kMessage:
    {
        // Segments are put together by sender, letter and mailbox; the message is queued when
        // the last of them has come.
        auto& message =
            m_reassembly[{&device, request.ulSourceId, bLarge, request.uchLetter, request.uchMailbox}];
        message.resize(request.uchMsgLen + 1u);
        message[std::min<size_t>(request.uchMsgSeg, request.uchMsgLen)] = request.data;
        bool bQueued = true;
        const bool bComplete =
            std::all_of(message.begin(), message.end(), [](const auto& segment) { return !segment.empty(); });
        if (bComplete)
        {
            SMessage whole{request.ulSourceId, bLarge, request.uchPriority, request.uchMailbox, {}};
            for (const auto& segment : message)
                whole.data.insert(whole.data.end(), segment.begin(), segment.end());
            m_reassembly.erase({&device, request.ulSourceId, bLarge, request.uchLetter, request.uchMailbox});
            bQueued = device.DeliverMessage(std::move(whole));
        }
        *pWhat += !bComplete ? ", which keeps the segment"
                  : bQueued  ? ", which queued the message"
                             : ", whose message queue is full";
        SRioPacket response = MessageResponsePacket(request, uchPriority);
        response.ulSourceId = ulOwnId;
        response.uchStatus = bQueued ? kRioStatusDone : kRioStatusRetry;
        return encode(response);
    }
    default:
        return std::nullopt; // responses end where they are consumed
    }
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
