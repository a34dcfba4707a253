#include "models/Vendor30.h"

#include "nvsim/Status.h"

#include <algorithm>

namespace nvsim::models
{
namespace
{
constexpr uint32_t kHostAccess = 0x20;
constexpr uint32_t kHostAccessOpen = 0x08000000; // bit 27, counted from the least significant bit
constexpr uint32_t kBaseIdCopy = 0x80;
constexpr uint32_t kSecondaryIds = 0x84;
constexpr uint32_t kUnassigned = 0x00FFFFFF;
} // namespace

CVendor30Endpoint::CVendor30Endpoint(std::string strName, SDeviceConfig config)
    : CStdDevice(std::move(strName), std::move(config))
{
    auto put = [this](uint32_t ulOffset, uint32_t ulValue)
    {
        for (uint32_t k = 0; k < 4; ++k)
            m_block[ulOffset + k] = static_cast<uint8_t>(ulValue >> (24 - 8 * k));
    };
    put(kBaseIdCopy, Reg(reg::kBaseDeviceId));
    for (uint32_t i = 0; i < SecondaryIds(); ++i)
        put(kSecondaryIds + 4 * i, kUnassigned);
}

uint32_t CVendor30Endpoint::SecondaryIds() const
{
    return Config().wDeviceId == 0x0096 ? 3 : 1;
}

bool CVendor30Endpoint::InBlock(uint64_t ullAddress, uint32_t ulCount)
{
    return ullAddress >= kBlock && ullAddress + ulCount <= kBlock + kBlockBytes;
}

uint32_t CVendor30Endpoint::BlockWord(uint32_t ulOffset) const
{
    auto lock = Guard();
    uint32_t ulValue = 0;
    for (uint32_t k = 0; k < 4 && ulOffset + k < kBlockBytes; ++k)
        ulValue |= uint32_t{m_block[ulOffset + k]} << (24 - 8 * k);
    return ulValue;
}

int32_t CVendor30Endpoint::DataRead(uint64_t ullAddress, uint8_t* p, uint32_t ulCount)
{
    if (!InBlock(ullAddress, ulCount))
        return CStdDevice::DataRead(ullAddress, p, ulCount);
    std::copy_n(m_block.begin() + (ullAddress - kBlock), ulCount, p);
    return kStatusOk;
}

int32_t CVendor30Endpoint::DataWrite(uint64_t ullAddress, const uint8_t* p, uint32_t ulCount)
{
    if (!InBlock(ullAddress, ulCount))
        return CStdDevice::DataWrite(ullAddress, p, ulCount);
    std::copy_n(p, ulCount, m_block.begin() + (ullAddress - kBlock));
    return kStatusOk;
}

bool CVendor30Endpoint::MapsHostMemory(uint64_t ullAddress, uint32_t ulCount) const
{
    return InBlock(ullAddress, ulCount);
}

bool CVendor30Endpoint::Accepts(uint32_t ulDestId, bool bLarge) const
{
    if (CStdDevice::Accepts(ulDestId, bLarge))
        return true;
    // Device 0x96 opened to the host is in accept-all mode: every ID routed to it is its own.
    if (Config().wDeviceId == 0x0096 && (BlockWord(kHostAccess) & kHostAccessOpen))
        return true;
    auto matches = [ulDestId, bLarge](uint32_t ulWord)
    { return (bLarge ? ulWord & 0xFFFF : (ulWord >> 16) & 0xFF) == ulDestId; };
    if (matches(BlockWord(kBaseIdCopy)))
        return true;
    for (uint32_t i = 0; i < SecondaryIds(); ++i)
    {
        if (matches(BlockWord(kSecondaryIds + 4 * i)))
            return true;
    }
    return false;
}
} // namespace nvsim::models
