// Tsi721 (device 0x80AB, vendor 0x0038): a PCIe to RapidIO bridge with one port of up to four
// lanes (x1, x2 or x4, Port Width Support bits 31 and 30) at 1.25 to 5 Gbaud, as an endpoint.
// Its port rate is set through the standard Port 0 Control 2 (0x154): the enable bit of each
// rate; a port enabled for several trains at one its partner offers too. It boots from an EEPROM
// behind its I2C master at 0x49100 (I2cMaster.h).
//
// Sources: IDT's Tsi721 product brief (port widths and rates); the HAL's description of the
// device (0x154 fields, the I2C master at 0x49108..0x49114); RapidIO Part 6, 6.6.10.
#pragma once

#include "models/I2cMaster.h"
#include "nvsim/StdDevice.h"

namespace nvsim::models
{
class CTsi721Endpoint : public CStdDevice
{
public:
    CTsi721Endpoint(std::string strName, SDeviceConfig config);

    uint32_t ReadRegister(uint32_t ulOffset, const SRegAccess& access) override;
    void WriteRegister(uint32_t ulOffset, uint32_t ulValue, uint32_t ulByteMask,
                       const SRegAccess& access) override;
    bool PresetPortSpeed(uint8_t uchPort, uint32_t ulMbaud, std::string* pError) override;

    CI2cMaster& I2c() { return m_i2c; }

protected:
    uint32_t PortControlRead(uint8_t uchPort) const override;

private:
    CI2cMaster m_i2c;
};
} // namespace nvsim::models
