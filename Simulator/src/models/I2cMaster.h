// The I2C master of the Tsi57x switches and the Tsi721 bridge, with the serial EEPROM the part
// boots from on its bus. Register layout (the part's I2C block, from its DEVID register up):
//   +0x00 I2C_DEVID     revision, read-only
//   +0x04 I2C_RESET     SRESET (bit 31) puts the master's registers back to reset
//   +0x08 I2C_MST_CFG   DEV_ADDR (6..0), PA_SIZE (17..16), DORDER (23)
//   +0x0C I2C_MST_CNTRL PADDR (15..0), SIZE (26..24), WRITE (30), START (31)
//   +0x10 I2C_MST_RDATA data read by the last transaction
//   +0x14 I2C_MST_TDATA data the next write transaction sends
// Offsets and field masks are those of the Tsi578 register header published with IDT's Device
// Access Routines by the RapidIO Trade Association (Tsi578.h: Tsi578_I2C_*); the Tsi721 has the
// same block at 0x49100 (the HAL's EEPROM routines address it there).
#pragma once

#include <cstdint>
#include <vector>

namespace nvsim::models
{
class CI2cMaster
{
public:
    // ulBase: address of I2C_DEVID. An EEPROM of ulEepromBytes (0: none) answers at the 7-bit
    // I2C address uchEepromAddress.
    CI2cMaster(uint32_t ulBase, uint32_t ulEepromBytes, uint8_t uchEepromAddress);

    // Register access; false when the offset is none of the master's registers.
    bool Read(uint32_t ulOffset, uint32_t* pulValue) const;
    bool Write(uint32_t ulOffset, uint32_t ulValue, uint32_t ulByteMask);

    // The master's registers as the part's reset leaves them.
    void Reset();
    // The EEPROM the part's boot loader reads after a reset: the one at the reset value of
    // DEV_ADDR; null when nothing answers there.
    const std::vector<uint8_t>* BootEeprom() const;

    // The EEPROM's contents (erased bytes read 0xFF); empty when there is none.
    const std::vector<uint8_t>& Eeprom() const { return m_eeprom; }
    std::vector<uint8_t>& Eeprom() { return m_eeprom; }

private:
    void Transfer(uint32_t ulCommand);

    uint32_t m_ulBase;
    uint8_t m_uchEepromAddress;
    std::vector<uint8_t> m_eeprom;
    uint32_t m_ulConfig = 0;
    uint32_t m_ulCommand = 0;
    uint32_t m_ulReadData = 0;
    uint32_t m_ulWriteData = 0;
};
} // namespace nvsim::models
