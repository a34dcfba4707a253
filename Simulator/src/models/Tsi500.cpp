#include "models/Tsi500.h"

namespace nvsim::models
{
namespace
{
constexpr uint32_t kTableBase = 0x10A00;
constexpr int kTableShift = 17;
constexpr uint32_t kTableWords = 32;
} // namespace

namespace
{
std::vector<SCounterDef> Tsi500Counters()
{
    std::vector<SCounterDef> counters;
    for (uint8_t b = 0; b < 4; ++b)
        counters.push_back({0x808 + 4u * b, ECountSource::Event, ELinkEvent::RetryReceived,
                            static_cast<uint8_t>(1u << b), 16, 16});
    counters.push_back({0x90C, ECountSource::Event, ELinkEvent::CrcError, 0xF, 16, 16});
    counters.push_back({0x914, ECountSource::RxData4});
    counters.push_back({0x918, ECountSource::RxPackets});
    for (uint8_t p = 0; p < 4; ++p)
    {
        counters.push_back(
            {0x91C + 4u * p, ECountSource::RxReads, ELinkEvent::Count, static_cast<uint8_t>(1u << p)});
        counters.push_back(
            {0x92C + 4u * p, ECountSource::RxWrites, ELinkEvent::Count, static_cast<uint8_t>(1u << p)});
    }
    return counters;
}
} // namespace

CTsi500Switch::CTsi500Switch(std::string strName, SDeviceConfig config)
    : CStdDevice(std::move(strName), std::move(config)),
      m_bank(0x10000, 1u << kTableShift, kPorts, Tsi500Counters(), false)
{
    for (auto& table : m_tables)
        table.fill(kNoRoute);
}

bool CTsi500Switch::TableWord(uint32_t ulOffset, uint32_t* pulTable, uint32_t* pulWord) const
{
    const uint32_t ulTable = ulOffset >> kTableShift;
    const uint32_t ulWithin = ulOffset & ((1u << kTableShift) - 1);
    if (ulTable >= kPorts || ulWithin < kTableBase || ulWithin >= kTableBase + 4 * kTableWords)
        return false;
    *pulTable = ulTable;
    *pulWord = (ulWithin - kTableBase) / 4;
    return true;
}

void CTsi500Switch::CountPackets(uint8_t uchPort, bool bTransmit, const SPacketInfo& packet, uint32_t ulCount,
                                 uint64_t ullPayloadBytes)
{
    CStdDevice::CountPackets(uchPort, bTransmit, packet, ulCount, ullPayloadBytes);
    m_bank.CountPackets(uchPort, bTransmit, packet, ulCount, ullPayloadBytes);
}

void CTsi500Switch::CountLinkEvent(uint8_t uchPort, ELinkEvent eEvent, uint32_t ulCount,
                                   const SPacketInfo& packet)
{
    CStdDevice::CountLinkEvent(uchPort, eEvent, ulCount, packet);
    m_bank.CountLinkEvent(uchPort, eEvent, ulCount, packet);
}

uint32_t CTsi500Switch::ReadRegister(uint32_t ulOffset, const SRegAccess& access)
{
    uint32_t ulCount = 0;
    if (m_bank.Read(ulOffset, &ulCount))
        return ulCount;
    uint32_t ulTable = 0, ulWord = 0;
    if (!TableWord(ulOffset & 0xFFFFFC, &ulTable, &ulWord))
        return CStdDevice::ReadRegister(ulOffset, access);
    uint32_t ulValue = 0;
    for (uint32_t k = 0; k < 8; ++k)
        ulValue |= uint32_t{m_tables[ulTable][8 * ulWord + k]} << (4 * k);
    return ulValue;
}

void CTsi500Switch::WriteRegister(uint32_t ulOffset, uint32_t ulValue, uint32_t ulByteMask,
                                  const SRegAccess& access)
{
    if (m_bank.Holds(ulOffset))
        return; // the counters are read-only
    uint32_t ulTable = 0, ulWord = 0;
    if (!TableWord(ulOffset & 0xFFFFFC, &ulTable, &ulWord))
    {
        CStdDevice::WriteRegister(ulOffset, ulValue, ulByteMask, access);
        return;
    }
    for (uint32_t k = 0; k < 8; ++k)
    {
        if (ulByteMask & (0xFu << (4 * k)))
            m_tables[ulTable][8 * ulWord + k] = (ulValue >> (4 * k)) & 0xF;
    }
}

bool CTsi500Switch::Route(uint32_t ulDestId, bool, uint8_t uchIngressPort, uint8_t* puchEgress) const
{
    if (ulDestId >= 256 || uchIngressPort >= kPorts)
        return false;
    const uint8_t uchNibble = m_tables[uchIngressPort][ulDestId];
    if (uchNibble >= kPorts || uchNibble >= PortCount())
        return false;
    *puchEgress = uchNibble;
    return true;
}

uint8_t CTsi500Switch::RouteEntry(uint32_t ulDestId, uint8_t uchTable) const
{
    auto lock = Guard();
    return ulDestId < 256 && uchTable < kPorts ? m_tables[uchTable][ulDestId] : kNoRoute;
}

void CTsi500Switch::SetRouteEntry(uint32_t ulDestId, uint8_t uchPort, int nTable)
{
    auto lock = Guard();
    if (ulDestId >= 256)
        return;
    for (int t = 0; t < kPorts; ++t)
    {
        if (nTable < 0 || nTable == t)
            m_tables[t][ulDestId] = uchPort < kPorts ? uchPort : kNoRoute;
    }
}
} // namespace nvsim::models
