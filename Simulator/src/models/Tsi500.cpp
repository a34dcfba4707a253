#include "models/Tsi500.h"

namespace nvsim::models
{
namespace
{
constexpr uint32_t kTableBase = 0x10A00;
constexpr int kTableShift = 17;
constexpr uint32_t kTableWords = 32;
} // namespace

CTsi500Switch::CTsi500Switch(std::string strName, SDeviceConfig config)
    : CStdDevice(std::move(strName), std::move(config))
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

uint32_t CTsi500Switch::ReadRegister(uint32_t ulOffset, const SRegAccess& access)
{
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
