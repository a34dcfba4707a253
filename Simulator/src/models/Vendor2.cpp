#include "models/Vendor2.h"

namespace nvsim::models
{
CVendor2Endpoint::CVendor2Endpoint(std::string strName, SDeviceConfig config)
    : CStdDevice(std::move(strName), std::move(config))
{
    SetMasked(HostAccessRegister(), 0, 0xFFFFFFFF);
}

uint32_t CVendor2Endpoint::HostAccessRegister() const
{
    return Config().wDeviceId == 0x0012 ? 0x10120 : 0x10000;
}

bool CVendor2Endpoint::HostAccess() const
{
    return Reg(HostAccessRegister()) != 0;
}

bool CVendor2Endpoint::Accepts(uint32_t ulDestId, bool bLarge) const
{
    // Device 0x12 always takes every ID; device 3 does while it is open to the host.
    return Config().wDeviceId == 0x0012 || HostAccess() || CStdDevice::Accepts(ulDestId, bLarge);
}
} // namespace nvsim::models
