#include "nvsim/Device.h"

#include "nvsim/Fabric.h"
#include "nvsim/Status.h"

#include <algorithm>
#include <stdexcept>

namespace nvsim
{
namespace
{
// The configuration space is 24 bits of byte address; registers are 32-bit words.
constexpr uint32_t kConfigSpaceMask = 0x00FFFFFC;

struct SRate
{
    uint32_t ulMbaud;
    uint32_t ulBit;
    const char* pszText;
};
constexpr SRate kRates[] = {{1250, speeds::k1250, "1.25"},
                            {2500, speeds::k2500, "2.5"},
                            {3125, speeds::k3125, "3.125"},
                            {5000, speeds::k5000, "5"},
                            {6250, speeds::k6250, "6.25"}};
} // namespace

namespace speeds
{
uint32_t Bit(uint32_t ulMbaud)
{
    for (const SRate& rate : kRates)
    {
        if (rate.ulMbaud == ulMbaud)
            return rate.ulBit;
    }
    return 0;
}

uint32_t Fastest(uint32_t ulSet)
{
    uint32_t ulMbaud = 0;
    for (const SRate& rate : kRates)
    {
        if (ulSet & rate.ulBit)
            ulMbaud = rate.ulMbaud;
    }
    return ulMbaud;
}

std::string Text(uint32_t ulSet)
{
    std::string strText;
    for (const SRate& rate : kRates)
    {
        if (!(ulSet & rate.ulBit))
            continue;
        if (!strText.empty())
            strText += ",";
        strText += rate.pszText;
    }
    return strText.empty() ? "none" : strText;
}
} // namespace speeds

CSimDevice::CSimDevice(std::string strName, SDeviceConfig config)
    : m_strName(std::move(strName)), m_config(std::move(config)), m_ports(m_config.uchPortCount),
      m_counters(m_config.uchPortCount)
{
}

CSimDevice::~CSimDevice() = default;

std::unique_lock<std::recursive_mutex> CSimDevice::Guard() const
{
    if (!m_pFabric)
        return {};
    return m_pFabric->Lock();
}

uint32_t CSimDevice::ReadRegister(uint32_t ulOffset, const SRegAccess& access)
{
    ulOffset &= kConfigSpaceMask;
    const auto it = m_hooks.find(ulOffset);
    if (it != m_hooks.end() && it->second.fnRead)
        return it->second.fnRead(access);
    return Reg(ulOffset);
}

void CSimDevice::WriteRegister(uint32_t ulOffset, uint32_t ulValue, uint32_t ulByteMask,
                               const SRegAccess& access)
{
    ulOffset &= kConfigSpaceMask;
    const auto it = m_hooks.find(ulOffset);
    if (it != m_hooks.end())
    {
        if (it->second.fnWrite)
            it->second.fnWrite(ulValue, ulByteMask, access);
        return;
    }
    SetReg(ulOffset, (Reg(ulOffset) & ~ulByteMask) | (ulValue & ulByteMask));
}

uint32_t CSimDevice::Reg(uint32_t ulOffset) const
{
    auto lock = Guard();
    const auto it = m_regs.find(ulOffset & kConfigSpaceMask);
    return it == m_regs.end() ? 0 : it->second;
}

void CSimDevice::SetReg(uint32_t ulOffset, uint32_t ulValue)
{
    auto lock = Guard();
    m_regs[ulOffset & kConfigSpaceMask] = ulValue;
}

void CSimDevice::SetHook(uint32_t ulOffset, RegReadFn fnRead, RegWriteFn fnWrite)
{
    m_hooks[ulOffset & kConfigSpaceMask] = SRegHook{std::move(fnRead), std::move(fnWrite)};
}

void CSimDevice::SetReadOnly(uint32_t ulOffset, uint32_t ulValue)
{
    SetReg(ulOffset, ulValue);
    SetHook(ulOffset, nullptr, nullptr);
}

void CSimDevice::SetMasked(uint32_t ulOffset, uint32_t ulValue, uint32_t ulWritable)
{
    SetReg(ulOffset, ulValue);
    SetHook(ulOffset, nullptr,
            [this, ulOffset, ulWritable](uint32_t ulNew, uint32_t ulByteMask, const SRegAccess&)
            {
                const uint32_t ulMask = ulWritable & ulByteMask;
                SetReg(ulOffset, (Reg(ulOffset) & ~ulMask) | (ulNew & ulMask));
            });
}

bool CSimDevice::Route(uint32_t, bool, uint8_t, uint8_t*) const
{
    return false;
}

std::optional<std::vector<uint8_t>> CSimDevice::MulticastPorts(uint32_t, bool, uint8_t) const
{
    return std::nullopt;
}

bool CSimDevice::Accepts(uint32_t ulDestId, bool bLarge) const
{
    return m_config.bAcceptAnyId || ulDestId == BaseDeviceId(bLarge);
}

uint32_t CSimDevice::BaseDeviceId(bool bLarge) const
{
    // Base Device ID CSR (RapidIO Part 3, 3.5.1): bits 23..16 small ID, bits 15..0 large ID.
    const uint32_t ulValue = Reg(0x60);
    return bLarge ? (ulValue & 0xFFFF) : ((ulValue >> 16) & 0xFF);
}

bool CSimDevice::PortEnabled(uint8_t) const
{
    return true;
}

uint32_t CSimDevice::PortSpeeds(uint8_t) const
{
    return speeds::kAll;
}

uint8_t CSimDevice::PortLanes(uint8_t) const
{
    return m_config.uchMaxWidth;
}

bool CSimDevice::PresetPortSpeed(uint8_t, uint32_t, std::string*)
{
    return true;
}

bool CSimDevice::AnswersAs(uint32_t, bool) const
{
    return true;
}

bool CSimDevice::ConsumesOwnId() const
{
    return false;
}

bool CSimDevice::MapsHostMemory(uint64_t, uint32_t) const
{
    return false;
}

void CSimDevice::CountPackets(uint8_t uchPort, bool bTransmit, const SPacketInfo& packet, uint32_t ulCount,
                              uint64_t ullPayloadBytes)
{
    if (uchPort >= m_counters.size())
        return;
    SPortCounters& counters = m_counters[uchPort];
    (bTransmit ? counters.txPackets : counters.rxPackets)[packet.uchPriority & 3] += ulCount;
    if (packet.IsRequest())
        (bTransmit ? counters.ullTxRequests : counters.ullRxRequests) += ulCount;
    (bTransmit ? counters.ullTxPayloadBytes : counters.ullRxPayloadBytes) += ullPayloadBytes;
}

void CSimDevice::CountLinkEvent(uint8_t uchPort, ELinkEvent eEvent, uint32_t ulCount, const SPacketInfo&)
{
    if (uchPort < m_counters.size())
        m_counters[uchPort].events[static_cast<size_t>(eEvent)] += ulCount;
}

SPortCounters CSimDevice::Counters(uint8_t uchPort) const
{
    auto lock = Guard();
    return uchPort < m_counters.size() ? m_counters[uchPort] : SPortCounters{};
}

void CSimDevice::ResetDeviceReceived(uint8_t) {}

void CSimDevice::ClearCounters()
{
    auto lock = Guard();
    m_counters.assign(m_counters.size(), SPortCounters{});
}

void CSimDevice::ResetPort(uint8_t uchPort)
{
    auto lock = Guard();
    Port(uchPort) = SPortState{};
}

int32_t CSimDevice::DataRead(uint64_t ullAddress, uint8_t* p, uint32_t ulCount)
{
    if (!m_config.bMemory)
        return kStatusErrorResponse;
    m_memory.Read(ullAddress, p, ulCount);
    return kStatusOk;
}

int32_t CSimDevice::DataWrite(uint64_t ullAddress, const uint8_t* p, uint32_t ulCount)
{
    if (!m_config.bMemory)
        return kStatusErrorResponse;
    m_memory.Write(ullAddress, p, ulCount);
    return kStatusOk;
}

bool CSimDevice::DeliverMessage(SMessage message)
{
    auto lock = Guard();
    auto& queue = m_messageQueues[message.ulMailbox];
    if (queue.entries.size() >= kQueueDepth)
    {
        queue.bOverflow = true;
        return false;
    }
    queue.entries.push_back(std::move(message));
    return true;
}

bool CSimDevice::DeliverDoorbell(SDoorbell doorbell)
{
    auto lock = Guard();
    auto& queue = m_doorbellQueues[0];
    if (queue.entries.size() >= kQueueDepth)
    {
        queue.bOverflow = true;
        return false;
    }
    queue.entries.push_back(doorbell);
    return true;
}

namespace
{
template <typename T>
std::optional<T> TakeFrom(std::map<uint32_t, SInboundQueue<T>>& queues, uint32_t ulQueue, bool* pbOverflow)
{
    auto& queue = queues[ulQueue];
    if (pbOverflow)
        *pbOverflow = queue.bOverflow;
    queue.bOverflow = false;
    if (queue.entries.empty())
        return std::nullopt;
    T entry = std::move(queue.entries.front());
    queue.entries.pop_front();
    return entry;
}

template <typename T> size_t CountIn(const std::map<uint32_t, SInboundQueue<T>>& queues, uint32_t ulQueue)
{
    const auto it = queues.find(ulQueue);
    return it == queues.end() ? 0 : it->second.entries.size();
}
} // namespace

std::optional<SMessage> CSimDevice::TakeMessage(uint32_t ulQueue, bool* pbOverflow)
{
    auto lock = Guard();
    return TakeFrom(m_messageQueues, ulQueue, pbOverflow);
}

std::optional<SDoorbell> CSimDevice::TakeDoorbell(uint32_t ulQueue, bool* pbOverflow)
{
    auto lock = Guard();
    return TakeFrom(m_doorbellQueues, ulQueue, pbOverflow);
}

void CSimDevice::FlushMessages(uint32_t ulQueue)
{
    auto lock = Guard();
    m_messageQueues.erase(ulQueue);
}

void CSimDevice::FlushDoorbells(uint32_t ulQueue)
{
    auto lock = Guard();
    m_doorbellQueues.erase(ulQueue);
}

size_t CSimDevice::MessageCount(uint32_t ulQueue) const
{
    auto lock = Guard();
    return CountIn(m_messageQueues, ulQueue);
}

size_t CSimDevice::DoorbellCount(uint32_t ulQueue) const
{
    auto lock = Guard();
    return CountIn(m_doorbellQueues, ulQueue);
}

void CSimDevice::ReadMemory(uint64_t ullAddress, uint8_t* p, size_t n) const
{
    auto lock = Guard();
    m_memory.Read(ullAddress, p, n);
}

void CSimDevice::WriteMemory(uint64_t ullAddress, const uint8_t* p, size_t n)
{
    auto lock = Guard();
    m_memory.Write(ullAddress, p, n);
}

SPortState& CSimDevice::Port(uint8_t uchPort)
{
    if (uchPort >= m_ports.size())
        throw std::out_of_range("device " + m_strName + " has no port " + std::to_string(uchPort));
    return m_ports[uchPort];
}

const SPortState& CSimDevice::Port(uint8_t uchPort) const
{
    return const_cast<CSimDevice*>(this)->Port(uchPort);
}

void CSimDevice::InjectPortErrors(uint8_t uchPort, uint32_t ulBits)
{
    auto lock = Guard();
    Port(uchPort).ulErrorStatus |= ulBits & ~0x3u;
}

void CSimDevice::SetAckIds(uint8_t uchPort, uint8_t uchInbound, uint8_t uchOutstanding, uint8_t uchOutbound)
{
    auto lock = Guard();
    SPortState& port = Port(uchPort);
    port.uchInboundAckId = uchInbound & 0x1F;
    port.uchOutstandingAckId = uchOutstanding & 0x1F;
    port.uchOutboundAckId = uchOutbound & 0x1F;
}

void CSimDevice::SetMute(bool bMute)
{
    auto lock = Guard();
    m_bMute = bMute;
}

bool CSimDevice::IsMute() const
{
    auto lock = Guard();
    return m_bMute;
}

void CSimDevice::MuteRegister(uint32_t ulOffset)
{
    auto lock = Guard();
    m_mutedRegisters.push_back(ulOffset & ~0x3u);
}

bool CSimDevice::IsRegisterMuted(uint32_t ulOffset) const
{
    auto lock = Guard();
    return std::find(m_mutedRegisters.begin(), m_mutedRegisters.end(), ulOffset & ~0x3u) !=
           m_mutedRegisters.end();
}

bool CSimDevice::WantsPacketBytes(uint8_t, bool) const
{
    return false;
}

EPacketAction CSimDevice::PacketArriving(uint8_t, const std::vector<uint8_t>&)
{
    return EPacketAction::Pass;
}

bool CSimDevice::PacketLeaving(uint8_t, const std::vector<uint8_t>&)
{
    return false;
}

bool CSimDevice::PortLoopedBack(uint8_t) const
{
    return false;
}
} // namespace nvsim
