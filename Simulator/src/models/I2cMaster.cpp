#include "models/I2cMaster.h"

namespace nvsim::models
{
namespace
{
constexpr uint32_t kDevId = 0x00;
constexpr uint32_t kReset = 0x04;
constexpr uint32_t kConfig = 0x08;
constexpr uint32_t kCommand = 0x0C;
constexpr uint32_t kReadData = 0x10;
constexpr uint32_t kWriteData = 0x14;

constexpr uint32_t kSoftReset = 0x80000000;
constexpr uint32_t kDevAddr = 0x0000007F;
constexpr uint32_t kPaSize = 0x00030000;
constexpr int kPaSizeShift = 16;
constexpr uint32_t kDataOrder = 0x00800000;
constexpr uint32_t kConfigWritable = kDevAddr | kPaSize | kDataOrder;
constexpr uint32_t kPeripheralAddress = 0x0000FFFF;
constexpr uint32_t kSize = 0x07000000;
constexpr int kSizeShift = 24;
constexpr uint32_t kWrite = 0x40000000;
constexpr uint32_t kStart = 0x80000000;

// Revision in I2C_DEVID: the manual's value could not be read; 1 stands in for it.
constexpr uint32_t kRevision = 0x1;
// I2C_MST_CFG at reset: the boot EEPROM's usual place, address 0x50 with two address bytes.
// The manual's reset value could not be read; these are the settings the HAL's EEPROM routines
// expect to find or set.
constexpr uint32_t kConfigReset = 0x50 | (2u << kPaSizeShift);

uint32_t Merge(uint32_t ulOld, uint32_t ulNew, uint32_t ulMask)
{
    return (ulOld & ~ulMask) | (ulNew & ulMask);
}
} // namespace

CI2cMaster::CI2cMaster(uint32_t ulBase, uint32_t ulEepromBytes, uint8_t uchEepromAddress)
    : m_ulBase(ulBase), m_uchEepromAddress(uchEepromAddress), m_eeprom(ulEepromBytes, 0xFF)
{
    Reset();
}

const std::vector<uint8_t>* CI2cMaster::BootEeprom() const
{
    return !m_eeprom.empty() && (kConfigReset & kDevAddr) == m_uchEepromAddress ? &m_eeprom : nullptr;
}

void CI2cMaster::Reset()
{
    m_ulConfig = kConfigReset;
    m_ulCommand = 0;
    m_ulReadData = 0;
    m_ulWriteData = 0;
}

bool CI2cMaster::Read(uint32_t ulOffset, uint32_t* pulValue) const
{
    switch (ulOffset - m_ulBase)
    {
    case kDevId:
        *pulValue = kRevision;
        return true;
    case kReset:
        *pulValue = 0;
        return true;
    case kConfig:
        *pulValue = m_ulConfig;
        return true;
    case kCommand:
        *pulValue = m_ulCommand;
        return true;
    case kReadData:
        *pulValue = m_ulReadData;
        return true;
    case kWriteData:
        *pulValue = m_ulWriteData;
        return true;
    default:
        return false;
    }
}

bool CI2cMaster::Write(uint32_t ulOffset, uint32_t ulValue, uint32_t ulByteMask)
{
    switch (ulOffset - m_ulBase)
    {
    case kDevId:
    case kReadData:
        return true; // read-only
    case kReset:
        if (ulValue & ulByteMask & kSoftReset)
            Reset();
        return true;
    case kConfig:
        m_ulConfig = Merge(m_ulConfig, ulValue, ulByteMask & kConfigWritable);
        return true;
    case kCommand:
        m_ulCommand = Merge(m_ulCommand, ulValue, ulByteMask);
        if (m_ulCommand & kStart)
            Transfer(m_ulCommand);
        // START clears itself when the transaction is over, which here is at once.
        m_ulCommand &= ~kStart;
        return true;
    case kWriteData:
        m_ulWriteData = Merge(m_ulWriteData, ulValue, ulByteMask);
        return true;
    default:
        return false;
    }
}

// One transaction of up to four bytes with the peripheral at DEV_ADDR. The peripheral address
// is sent with PA_SIZE bytes (0 to 2), so the EEPROM sees only that many low bytes of PADDR.
// Nothing answers at an address other than the EEPROM's: the transaction moves no data.
// Byte order: which byte lane the first byte takes with DORDER clear could not be confirmed
// from a public manual; the model puts it in bits 31..24, the order in which the HAL's EEPROM
// routines read and write data, and in bits 7..0 (RBYTE0) with DORDER set.
void CI2cMaster::Transfer(uint32_t ulCommand)
{
    if (m_eeprom.empty() || (m_ulConfig & kDevAddr) != m_uchEepromAddress)
        return;
    uint32_t ulCount = (ulCommand & kSize) >> kSizeShift;
    if (ulCount > 4)
        ulCount = 4;
    const uint32_t ulAddressBytes = (m_ulConfig & kPaSize) >> kPaSizeShift;
    const uint32_t ulAddressMask = ulAddressBytes == 0 ? 0 : ulAddressBytes == 1 ? 0xFF : kPeripheralAddress;
    const uint32_t ulAddress = ulCommand & kPeripheralAddress & ulAddressMask;
    const bool bLowFirst = (m_ulConfig & kDataOrder) != 0;
    auto lane = [bLowFirst](uint32_t k) { return bLowFirst ? 8 * k : 24 - 8 * k; };
    if (ulCommand & kWrite)
    {
        for (uint32_t k = 0; k < ulCount; ++k)
            m_eeprom[(ulAddress + k) % m_eeprom.size()] = static_cast<uint8_t>(m_ulWriteData >> lane(k));
        return;
    }
    uint32_t ulData = 0;
    for (uint32_t k = 0; k < ulCount; ++k)
        ulData |= uint32_t{m_eeprom[(ulAddress + k) % m_eeprom.size()]} << lane(k);
    m_ulReadData = ulData;
}
} // namespace nvsim::models
