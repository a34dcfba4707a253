#include "models/IdtSwitch.h"

namespace nvsim::models
{
namespace
{
// Route table select (CPS1848_RTE_PORT_SEL): 0 the broadcast table, n + 1 port n's.
constexpr uint32_t kTableSelect = 0x10070;
constexpr uint32_t kTableSelectMask = 0x1F;
// Route domain: a 16-bit ID whose high byte equals it routes by its low byte in the device part.
constexpr uint32_t kDomain = 0xF20020;
constexpr uint32_t kDomainMask = 0xFF;
// Route Configuration DestID: Ext_config_en, DESTID_MSB, DESTID_LSB.
constexpr uint32_t kExtendedConfig = 0x80000000;
constexpr uint32_t kDestIdMask = 0x8000FFFF;
// The windows: broadcast table, then one table per port 0x1000 apart; 512 words each.
constexpr uint32_t kBroadcastWindow = 0xE00000;
constexpr uint32_t kPortWindow = 0xE10000;
constexpr uint32_t kPortWindowStride = 0x1000;
} // namespace

CIdtSwitch::CIdtSwitch(std::string strName, SDeviceConfig config, bool bPerPortTables)
    : CStdDevice(std::move(strName), std::move(config)), m_bPerPortTables(bPerPortTables)
{
    Table fresh;
    fresh.fill(kUseDefaultRoute);
    m_tables.assign(bPerPortTables ? PortCount() : 1, fresh);
    if (bPerPortTables)
        SetMasked(kTableSelect, 0, kTableSelectMask);
    SetMasked(kDomain, 0, kDomainMask);
    SetMasked(reg::kRouteDestId, 0, kDestIdMask);
    SetHook(
        reg::kRoutePort,
        [this](const SRegAccess&)
        {
            const Table* pTable = SelectedForRead();
            if (!pTable)
                return uint32_t{0};
            const uint32_t ulIndex = SelectedIndex();
            if (!(Reg(reg::kRouteDestId) & kExtendedConfig))
                return uint32_t{(*pTable)[ulIndex]};
            // Extended configuration: the selected entry and the next three, first in bits 7..0.
            uint32_t ulValue = 0;
            for (uint32_t i = 0; i < 4 && ulIndex + i < kTableEntries; ++i)
                ulValue |= uint32_t{(*pTable)[ulIndex + i]} << (8 * i);
            return ulValue;
        },
        [this](uint32_t ulValue, uint32_t ulByteMask, const SRegAccess&)
        {
            const uint32_t ulIndex = SelectedIndex();
            const bool bExtended = (Reg(reg::kRouteDestId) & kExtendedConfig) != 0;
            for (uint32_t i = 0; i < (bExtended ? 4u : 1u) && ulIndex + i < kTableEntries; ++i)
            {
                if (ulByteMask & (0xFFu << (8 * i)))
                    WriteSelected(ulIndex + i, static_cast<uint8_t>(ulValue >> (8 * i)));
            }
        });
    // Route Default Port. Its reset value could not be found in a public source; "no route" is
    // taken, so that a fresh switch drops what its tables send to the default route (the Linux
    // driver writes that value at enumeration for the same reason).
    SetMasked(reg::kRouteDefaultPort, kNoRoute, 0xFF);
}

uint32_t CIdtSwitch::SelectedIndex() const
{
    // The manual's description of DESTID_MSB could not be read: the model takes a set MSB to
    // select that domain entry, as the switch's own domain (0 after the HAL's reset) never
    // uses its domain entry, and a clear one to select the device entry of DESTID_LSB.
    const uint32_t ulSelect = Reg(reg::kRouteDestId);
    const uint32_t ulMsb = (ulSelect >> 8) & 0xFF;
    return ulMsb ? kDomainPart + ulMsb : ulSelect & 0xFF;
}

const CIdtSwitch::Table* CIdtSwitch::SelectedForRead() const
{
    if (!m_bPerPortTables)
        return &m_tables[0];
    const uint32_t ulSelect = Reg(kTableSelect) & kTableSelectMask;
    // The broadcast table has no storage of its own: it reads as port 0's (an assumption;
    // writes reach every port's table, so what was written through it reads back).
    if (ulSelect == 0)
        return &m_tables[0];
    return ulSelect - 1 < m_tables.size() ? &m_tables[ulSelect - 1] : nullptr;
}

void CIdtSwitch::WriteSelected(uint32_t ulIndex, uint8_t uchValue)
{
    const uint32_t ulSelect = m_bPerPortTables ? Reg(kTableSelect) & kTableSelectMask : 0;
    for (size_t t = 0; t < m_tables.size(); ++t)
    {
        if (ulSelect == 0 || ulSelect - 1 == t)
            m_tables[t][ulIndex] = uchValue;
    }
}

int CIdtSwitch::WindowOf(uint32_t ulOffset, uint32_t* pulIndex) const
{
    constexpr uint32_t kWindowBytes = kTableEntries * 4;
    if (ulOffset >= kBroadcastWindow && ulOffset < kBroadcastWindow + kWindowBytes)
    {
        *pulIndex = (ulOffset - kBroadcastWindow) / 4;
        return -1;
    }
    if (!m_bPerPortTables || ulOffset < kPortWindow)
        return -2;
    const uint32_t ulTable = (ulOffset - kPortWindow) / kPortWindowStride;
    const uint32_t ulWithin = (ulOffset - kPortWindow) % kPortWindowStride;
    if (ulTable >= m_tables.size() || ulWithin >= kWindowBytes)
        return -2;
    *pulIndex = ulWithin / 4;
    return static_cast<int>(ulTable);
}

void CIdtSwitch::CountPackets(uint8_t uchPort, bool bTransmit, const SPacketInfo& packet, uint32_t ulCount,
                              uint64_t ullPayloadBytes)
{
    CStdDevice::CountPackets(uchPort, bTransmit, packet, ulCount, ullPayloadBytes);
    if (m_pCounters)
        m_pCounters->CountPackets(uchPort, bTransmit, packet, ulCount, ullPayloadBytes);
}

void CIdtSwitch::CountLinkEvent(uint8_t uchPort, ELinkEvent eEvent, uint32_t ulCount,
                                const SPacketInfo& packet)
{
    CStdDevice::CountLinkEvent(uchPort, eEvent, ulCount, packet);
    if (m_pCounters)
        m_pCounters->CountLinkEvent(uchPort, eEvent, ulCount, packet);
}

uint32_t CIdtSwitch::ReadRegister(uint32_t ulOffset, const SRegAccess& access)
{
    uint32_t ulCount = 0;
    if (m_pCounters && m_pCounters->Read(ulOffset, &ulCount))
        return ulCount;
    uint32_t ulIndex = 0;
    const int nWindow = WindowOf(ulOffset & 0xFFFFFC, &ulIndex);
    if (nWindow == -2)
        return CStdDevice::ReadRegister(ulOffset, access);
    return m_tables[nWindow < 0 ? 0 : nWindow][ulIndex];
}

void CIdtSwitch::WriteRegister(uint32_t ulOffset, uint32_t ulValue, uint32_t ulByteMask,
                               const SRegAccess& access)
{
    if (m_pCounters && m_pCounters->Holds(ulOffset))
        return; // the counters are read-only
    uint32_t ulIndex = 0;
    const int nWindow = WindowOf(ulOffset & 0xFFFFFC, &ulIndex);
    if (nWindow == -2)
    {
        CStdDevice::WriteRegister(ulOffset, ulValue, ulByteMask, access);
        return;
    }
    // An entry is the low byte of its word; the rest of the word reads as zero.
    if (!(ulByteMask & 0xFF))
        return;
    for (size_t t = 0; t < m_tables.size(); ++t)
    {
        if (nWindow < 0 || static_cast<size_t>(nWindow) == t)
            m_tables[t][ulIndex] = static_cast<uint8_t>(ulValue);
    }
}

uint8_t CIdtSwitch::Lookup(uint32_t ulDestId, bool bLarge, uint8_t uchIngressPort) const
{
    const Table& table = m_tables[m_bPerPortTables && uchIngressPort < m_tables.size() ? uchIngressPort : 0];
    uint8_t uchValue = table[ulDestId & 0xFF];
    if (bLarge && ((ulDestId >> 8) & 0xFF) != (Reg(kDomain) & kDomainMask))
    {
        // Another domain: the domain part decides, unless it defers to the device part.
        const uint8_t uchDomain = table[kDomainPart + ((ulDestId >> 8) & 0xFF)];
        if (uchDomain != kUseDeviceTable)
            uchValue = uchDomain;
    }
    if (uchValue == kUseDefaultRoute)
        uchValue = static_cast<uint8_t>(Reg(reg::kRouteDefaultPort));
    return uchValue;
}

bool CIdtSwitch::Route(uint32_t ulDestId, bool bLarge, uint8_t uchIngressPort, uint8_t* puchEgress) const
{
    // A multicast mask the model cannot copy by, and "no route", drop the packet.
    const uint8_t uchValue = Lookup(ulDestId, bLarge, uchIngressPort);
    if (uchValue >= PortCount())
        return false;
    *puchEgress = uchValue;
    return true;
}

std::optional<std::vector<uint8_t>> CIdtSwitch::MulticastPorts(uint32_t ulDestId, bool bLarge,
                                                               uint8_t uchIngressPort) const
{
    auto lock = Guard();
    // An entry of 0x40 + n sends the packet to the ports of the ingress port's mask n; IDs without
    // such an entry may still be associated through the standard registers.
    const uint8_t uchValue = Lookup(ulDestId, bLarge, uchIngressPort);
    std::vector<uint8_t> ports;
    if (uchValue >= kFirstMask && MaskPorts(uchIngressPort, uchValue - kFirstMask, &ports))
        return ports;
    return CStdDevice::MulticastPorts(ulDestId, bLarge, uchIngressPort);
}

bool CIdtSwitch::MaskPorts(uint8_t, uint32_t, std::vector<uint8_t>*) const
{
    return false;
}

uint8_t CIdtSwitch::TableEntry(uint8_t uchTable, uint32_t ulIndex) const
{
    auto lock = Guard();
    if (uchTable >= m_tables.size() || ulIndex >= kTableEntries)
        return kNoRoute;
    return m_tables[uchTable][ulIndex];
}

uint8_t CIdtSwitch::RouteEntry(uint32_t ulDestId, uint8_t uchTable) const
{
    return TableEntry(uchTable, ulDestId & 0xFF);
}

void CIdtSwitch::SetRouteEntry(uint32_t ulDestId, uint8_t uchPort, int nTable)
{
    auto lock = Guard();
    if (ulDestId >= kDomainPart)
        return;
    for (size_t t = 0; t < m_tables.size(); ++t)
    {
        if (nTable < 0 || static_cast<size_t>(nTable) == t)
            m_tables[t][ulDestId] = uchPort;
    }
}
} // namespace nvsim::models
