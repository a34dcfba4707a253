#include "models/Vendor1Device8.h"

#include "nvsim/Fabric.h"

namespace nvsim::models
{
namespace
{
constexpr uint32_t kPortStatus = 0x100B0;
constexpr uint32_t kTableLock = 0x100E8;
constexpr uint32_t kLockKey = 0xFACE;
constexpr uint32_t kSmallTable = 0x10800;
constexpr uint32_t kSmallWords = 256;
constexpr uint32_t kLargeTable = 0x11C00;
constexpr uint32_t kLargeWords = 2048;
constexpr uint32_t kEmptyWord = 0x88888888;
constexpr uint32_t kPortDown = 0x8;

uint32_t Nibble(uint32_t ulWord, uint32_t ulTable)
{
    return (ulWord >> (4 * ulTable)) & 0xF;
}
} // namespace

CVendor1Device8Switch::CVendor1Device8Switch(std::string strName, SDeviceConfig config)
    : CStdDevice(std::move(strName), std::move(config)), m_small(kSmallWords, kEmptyWord),
      m_large(kLargeWords, kEmptyWord)
{
    SetReadOnly(reg::kHostLock, 0);
    SetHook(
        kPortStatus,
        [this](const SRegAccess&)
        {
            uint32_t ulValue = 0;
            for (uint8_t n = 0; n < 8; ++n)
            {
                const bool bUp = n < PortCount() && Fabric() && Fabric()->PortTrained(*this, n);
                ulValue |= (bUp ? 0u : kPortDown) << (4 * n);
            }
            return ulValue;
        },
        nullptr);
    SetHook(
        kTableLock, [this](const SRegAccess&) { return m_ulUnlocked << 16; },
        [this](uint32_t ulValue, uint32_t ulByteMask, const SRegAccess&)
        {
            if (ulByteMask != 0xFFFFFFFF || (ulValue & 0xFFFF) != kLockKey)
                return;
            m_ulUnlocked ^= (ulValue >> 16) & ((1u << kPorts) - 1);
        });
}

bool CVendor1Device8Switch::TableLocked(uint8_t uchTable) const
{
    auto lock = Guard();
    return !(m_ulUnlocked & (1u << uchTable));
}

uint32_t CVendor1Device8Switch::ReadRegister(uint32_t ulOffset, const SRegAccess& access)
{
    ulOffset &= 0xFFFFFC;
    if (ulOffset >= kSmallTable && ulOffset < kSmallTable + 4 * kSmallWords)
        return m_small[(ulOffset - kSmallTable) / 4];
    if (ulOffset >= kLargeTable && ulOffset < kLargeTable + 4 * kLargeWords)
        return m_large[(ulOffset - kLargeTable) / 4];
    return CStdDevice::ReadRegister(ulOffset, access);
}

void CVendor1Device8Switch::WriteRegister(uint32_t ulOffset, uint32_t ulValue, uint32_t ulByteMask,
                                          const SRegAccess& access)
{
    ulOffset &= 0xFFFFFC;
    uint32_t* pulWord = nullptr;
    if (ulOffset >= kSmallTable && ulOffset < kSmallTable + 4 * kSmallWords)
        pulWord = &m_small[(ulOffset - kSmallTable) / 4];
    else if (ulOffset >= kLargeTable && ulOffset < kLargeTable + 4 * kLargeWords)
        pulWord = &m_large[(ulOffset - kLargeTable) / 4];
    if (!pulWord)
    {
        CStdDevice::WriteRegister(ulOffset, ulValue, ulByteMask, access);
        return;
    }
    // Only the nibbles of unlocked tables take the new value.
    uint32_t ulMask = 0;
    for (uint32_t t = 0; t < kPorts; ++t)
        ulMask |= (m_ulUnlocked & (1u << t)) ? 0xFu << (4 * t) : 0;
    ulMask &= ulByteMask;
    *pulWord = (*pulWord & ~ulMask) | (ulValue & ulMask);
}

bool CVendor1Device8Switch::Route(uint32_t ulDestId, bool bLarge, uint8_t uchIngressPort,
                                  uint8_t* puchEgress) const
{
    const std::vector<uint32_t>& area = bLarge ? m_large : m_small;
    if (ulDestId >= area.size() || uchIngressPort >= kPorts)
        return false;
    const uint32_t ulPort = Nibble(area[ulDestId], uchIngressPort);
    if (ulPort >= PortCount())
        return false;
    *puchEgress = static_cast<uint8_t>(ulPort);
    return true;
}

uint32_t CVendor1Device8Switch::PortSpeeds(uint8_t uchPort) const
{
    return uchPort < PortCount() ? speeds::k2500 : 0;
}

bool CVendor1Device8Switch::PresetPortSpeed(uint8_t, uint32_t ulMbaud, std::string* pError)
{
    if (ulMbaud == 2500)
        return true;
    *pError = "the ports of this switch run at 2.5 Gbaud only";
    return false;
}

uint8_t CVendor1Device8Switch::RouteEntry(uint32_t ulDestId, uint8_t uchTable) const
{
    auto lock = Guard();
    return ulDestId < kSmallWords && uchTable < kPorts ? Nibble(m_small[ulDestId], uchTable) : kNoRoute;
}

uint8_t CVendor1Device8Switch::LargeRouteEntry(uint32_t ulDestId, uint8_t uchTable) const
{
    auto lock = Guard();
    return ulDestId < kLargeWords && uchTable < kPorts ? Nibble(m_large[ulDestId], uchTable) : kNoRoute;
}

void CVendor1Device8Switch::SetRouteEntry(uint32_t ulDestId, uint8_t uchPort, int nTable)
{
    auto lock = Guard();
    if (ulDestId >= kSmallWords)
        return;
    for (uint32_t t = 0; t < kPorts; ++t)
    {
        if (nTable >= 0 && static_cast<uint32_t>(nTable) != t)
            continue;
        const uint32_t ulShift = 4 * t;
        const uint32_t ulNibble = uchPort < kPorts ? uchPort : kNoRoute;
        m_small[ulDestId] = (m_small[ulDestId] & ~(0xFu << ulShift)) | (ulNibble << ulShift);
    }
}
} // namespace nvsim::models
