#include "models/Tsi721.h"

namespace nvsim::models
{
namespace
{
constexpr uint32_t kI2cBase = 0x49100;
constexpr uint32_t kRates = speeds::k1250 | speeds::k2500 | speeds::k3125 | speeds::k5000;
constexpr uint32_t kWidth2x = 1u << 31;
} // namespace

CTsi721Endpoint::CTsi721Endpoint(std::string strName, SDeviceConfig config)
    : CStdDevice(std::move(strName), std::move(config)),
      m_i2c(kI2cBase, Config().ulEepromBytes, Config().uchEepromAddress)
{
    SetSupportedSpeeds(kRates);
}

uint32_t CTsi721Endpoint::ReadRegister(uint32_t ulOffset, const SRegAccess& access)
{
    uint32_t ulValue = 0;
    if (m_i2c.Read(ulOffset, &ulValue))
        return ulValue;
    return CStdDevice::ReadRegister(ulOffset, access);
}

void CTsi721Endpoint::WriteRegister(uint32_t ulOffset, uint32_t ulValue, uint32_t ulByteMask,
                                    const SRegAccess& access)
{
    if (!m_i2c.Write(ulOffset, ulValue, ulByteMask))
        CStdDevice::WriteRegister(ulOffset, ulValue, ulByteMask, access);
}

uint32_t CTsi721Endpoint::PortControlRead(uint8_t uchPort) const
{
    // A four-lane port also supports x2.
    const uint32_t ulValue = CStdDevice::PortControlRead(uchPort);
    return PortLanes(uchPort) >= 4 ? ulValue | kWidth2x : ulValue;
}

bool CTsi721Endpoint::PresetPortSpeed(uint8_t, uint32_t ulMbaud, std::string* pError)
{
    if (speeds::Bit(ulMbaud) & kRates)
        return true;
    *pError = "the Tsi721 runs its port at 1.25 to 5 Gbaud";
    return false;
}
} // namespace nvsim::models
