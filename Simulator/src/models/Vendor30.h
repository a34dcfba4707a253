// Vendor 0x30 endpoints, device 0 and device 0x96. Their destination ID logic lives in a block of
// memory-mapped registers at RapidIO address 0x02D00000, reached by NREAD and NWRITE (and, for
// the server's own device, through the server host's memory):
//   0x02D00020  host access: bit 27 (0x08000000) opens device 0x96 to the host, which puts it
//               in accept-all mode
//   0x02D00080  copy of the Base Device ID the ID logic answers to
//   0x02D00084 + 4 i  secondary destination ID i (small ID in 23..16, large in 15..0):
//               three on device 0x96, one on device 0
// An endpoint told "accept=own" consumes packets for its base ID, the copy, and its secondary
// IDs, and, while device 0x96 is open to the host, for every ID. Words travel most significant
// byte first.
//
// Source: the HAL's description of the devices (block address, registers, fields, counts). The
// devices' manuals could not be found: the reset values (secondary IDs unassigned, 0x00FFFFFF;
// host access closed) are assumptions. So is the effect of host access: the HAL's users open it
// to put the endpoint in "Accept All" mode (the VDID assignment of enumeration, and the walk's
// step on an endpoint that answered), so the model takes an open device for one that consumes
// every destination ID. The bit is counted from the least significant bit, as the fields of the
// secondary ID words are (small ID in 23..16).
#pragma once

#include "nvsim/StdDevice.h"

#include <array>

namespace nvsim::models
{
class CVendor30Endpoint : public CStdDevice
{
public:
    static constexpr uint64_t kBlock = 0x02D00000;
    static constexpr uint32_t kBlockBytes = 0x100;

    CVendor30Endpoint(std::string strName, SDeviceConfig config);

    int32_t DataRead(uint64_t ullAddress, uint8_t* p, uint32_t ulCount) override;
    int32_t DataWrite(uint64_t ullAddress, const uint8_t* p, uint32_t ulCount) override;
    bool Accepts(uint32_t ulDestId, bool bLarge) const override;
    bool MapsHostMemory(uint64_t ullAddress, uint32_t ulCount) const override;

    // Number of secondary destination IDs.
    uint32_t SecondaryIds() const;
    // A word of the block (offset within it).
    uint32_t BlockWord(uint32_t ulOffset) const;

private:
    static bool InBlock(uint64_t ullAddress, uint32_t ulCount);

    std::array<uint8_t, kBlockBytes> m_block{};
};
} // namespace nvsim::models
