#include "models/Pmc6352.h"

namespace nvsim::models
{
namespace
{
constexpr uint32_t kCommonTable = 0x11000;
constexpr uint32_t kPortTable = 0x15000;
constexpr uint32_t kPortControl = 0x14000;
constexpr uint32_t kPortUpdate = 0x14010;
constexpr uint32_t kPortStride = 0x2000;
constexpr uint32_t kEngineRun = 0x20;
constexpr uint32_t kSpeed = 0x10000;
constexpr uint32_t kSpeedField = 0xC;
constexpr int kSpeedShift = 2;
constexpr uint8_t kRoutePort = 0x0F;
} // namespace

CPmc6352Switch::CPmc6352Switch(std::string strName, SDeviceConfig config)
    : CStdDevice(std::move(strName), std::move(config)),
      m_tables(PortCount(), std::vector<uint8_t>(kTableBytes)), m_common(kTableBytes)
{
    for (uint8_t t = 0; t < PortCount(); ++t)
    {
        SetMasked(kPortControl + kPortStride * t, kEngineRun, 0xFFFFFFFF);
        SetMasked(kPortUpdate + kPortStride * t, 0, 0xFFFFFFFF);
    }
    SetMasked(kSpeed, 3u << kSpeedShift, 0xFFFFFFFF);
}

bool CPmc6352Switch::EngineRuns(uint8_t uchTable) const
{
    return (Reg(kPortControl + kPortStride * uchTable) & kEngineRun) != 0;
}

bool CPmc6352Switch::TableByte(uint32_t ulOffset, int* pnTable, uint32_t* pulByte) const
{
    if (ulOffset >= kCommonTable && ulOffset < kCommonTable + kTableBytes)
    {
        *pnTable = -1;
        *pulByte = ulOffset - kCommonTable;
        return true;
    }
    if (ulOffset < kPortTable)
        return false;
    const uint32_t ulTable = (ulOffset - kPortTable) / kPortStride;
    const uint32_t ulWithin = (ulOffset - kPortTable) % kPortStride;
    if (ulTable >= PortCount() || ulWithin >= kTableBytes)
        return false;
    *pnTable = static_cast<int>(ulTable);
    *pulByte = ulWithin;
    return true;
}

uint32_t CPmc6352Switch::ReadRegister(uint32_t ulOffset, const SRegAccess& access)
{
    int nTable = 0;
    uint32_t ulByte = 0;
    if (!TableByte(ulOffset & 0xFFFFFC, &nTable, &ulByte))
        return CStdDevice::ReadRegister(ulOffset, access);
    if (nTable >= 0 && EngineRuns(static_cast<uint8_t>(nTable)))
        return 0;
    const std::vector<uint8_t>& table = nTable < 0 ? m_common : m_tables[nTable];
    uint32_t ulValue = 0;
    for (uint32_t k = 0; k < 4; ++k)
        ulValue |= uint32_t{table[ulByte + k]} << (24 - 8 * k);
    return ulValue;
}

void CPmc6352Switch::WriteRegister(uint32_t ulOffset, uint32_t ulValue, uint32_t ulByteMask,
                                   const SRegAccess& access)
{
    int nTable = 0;
    uint32_t ulByte = 0;
    if (!TableByte(ulOffset & 0xFFFFFC, &nTable, &ulByte))
    {
        CStdDevice::WriteRegister(ulOffset, ulValue, ulByteMask, access);
        return;
    }
    for (uint32_t k = 0; k < 4; ++k)
    {
        const uint32_t ulShift = 24 - 8 * k;
        if (!(ulByteMask & (0xFFu << ulShift)))
            continue;
        const uint8_t uchByte = static_cast<uint8_t>(ulValue >> ulShift);
        if (nTable < 0)
        {
            m_common[ulByte + k] = uchByte;
            for (auto& table : m_tables)
                table[ulByte + k] = uchByte;
        }
        else if (!EngineRuns(static_cast<uint8_t>(nTable)))
            m_tables[nTable][ulByte + k] = uchByte;
    }
}

bool CPmc6352Switch::Route(uint32_t ulDestId, bool, uint8_t uchIngressPort, uint8_t* puchEgress) const
{
    if (ulDestId >= kTableBytes || uchIngressPort >= m_tables.size())
        return false;
    const uint8_t uchByte = m_tables[uchIngressPort][ulDestId];
    if (!(uchByte & (kRouteValid | kRouteHighPort)) || (uchByte & kRoutePort) >= PortCount())
        return false;
    *puchEgress = uchByte & kRoutePort;
    return true;
}

uint8_t CPmc6352Switch::RouteEntry(uint32_t ulDestId, uint8_t uchTable) const
{
    auto lock = Guard();
    return ulDestId < kTableBytes && uchTable < m_tables.size() ? m_tables[uchTable][ulDestId] : 0;
}

void CPmc6352Switch::SetRouteEntry(uint32_t ulDestId, uint8_t uchPort, int nTable)
{
    auto lock = Guard();
    if (ulDestId >= kTableBytes)
        return;
    const uint8_t uchByte = uchPort < PortCount() ? static_cast<uint8_t>(kRouteValid | uchPort) : 0;
    for (size_t t = 0; t < m_tables.size(); ++t)
    {
        if (nTable < 0 || static_cast<size_t>(nTable) == t)
            m_tables[t][ulDestId] = uchByte;
    }
    if (nTable < 0)
        m_common[ulDestId] = uchByte;
}

uint32_t CPmc6352Switch::PortSpeeds(uint8_t uchPort) const
{
    if (uchPort >= PortCount())
        return 0;
    static constexpr uint32_t kRates[4] = {0, speeds::k1250, speeds::k2500, speeds::k3125};
    return kRates[(Reg(kSpeed) & kSpeedField) >> kSpeedShift];
}

bool CPmc6352Switch::PresetPortSpeed(uint8_t, uint32_t ulMbaud, std::string* pError)
{
    const uint32_t ulField = ulMbaud == 1250 ? 1 : ulMbaud == 2500 ? 2 : ulMbaud == 3125 ? 3 : 0;
    if (!ulField)
    {
        *pError = "the ports of this switch run at 1.25, 2.5 or 3.125 Gbaud";
        return false;
    }
    SetReg(kSpeed, (Reg(kSpeed) & ~kSpeedField) | (ulField << kSpeedShift));
    return true;
}
} // namespace nvsim::models
