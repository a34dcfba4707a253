// Vendor 2 endpoints, device 3 and device 0x12. Each has a register of its own that opens its
// configuration space to the host: 0x10000 on device 3, 0x10120 on device 0x12, written with
// the flag as a word. Device 0x12 has one port, whose Port 0 Control register (0x15C) the HAL
// reads for any port number, and consumes packets for every destination ID, whatever the
// topology's "accept" says (the HAL gives it the accept-all capability). Device 3 does the same
// while it is open to the host.
//
// Source: the HAL's description of the devices. Their manuals could not be found: the reset
// value of host access (closed) is an assumption, and so is its effect: the HAL's users open it
// to put an endpoint in "Accept All" mode, so an open device 3 consumes every destination ID.
#pragma once

#include "nvsim/StdDevice.h"

namespace nvsim::models
{
class CVendor2Endpoint : public CStdDevice
{
public:
    CVendor2Endpoint(std::string strName, SDeviceConfig config);

    bool Accepts(uint32_t ulDestId, bool bLarge) const override;
    // Whether the host was let in (the last word written to the host access register).
    bool HostAccess() const;

private:
    uint32_t HostAccessRegister() const;
};
} // namespace nvsim::models
