// Vendor 0x38 device 0x80AB: a PCIe to RapidIO bridge with one port. Its port width and speed come
// from its own port registers, and it boots from an EEPROM behind its I2C master.
#include "Devices/DeviceFamilies.h"
#include "Devices/I2CEeprom.h"
#include "Devices/PortControl.h"
#include "Hal/HalRegAccess.h"

#define HAL_PORT_TYPE_SERIAL 1u
// A Port Control value of exactly 1 reports nothing: the outputs are left as they are.
#define B80AB_CONTROL_NOT_SET_UP 1u
// Port width support: bit 31 x4, else bit 30 x1.
#define B80AB_WIDTH_X4 0x80000000u
#define B80AB_WIDTH_X1 0x40000000u
// The port's speed register: bits 31..28 give the speed as a code (1 1.25, 2 2.5, 3 3.125, 4 5 GBd);
// bits 24 (1.25), 22 (2.5), 20 (3.125) and 18 (5 GBd) select one, and one of them is what a change
// sets.
#define B80AB_SPEED 0x154u
#define B80AB_SPEED_SELECT_MASK 0x1550000u
#define B80AB_SPEED_1250 0x1000000u
#define B80AB_SPEED_2500 0x400000u
#define B80AB_SPEED_3125 0x100000u
#define B80AB_SPEED_5000 0x40000u

static NVXL_STATUS B80ABHalGetPortWidth(uint16_t, uint16_t, uint8_t uchLocalPort, uint32_t ulDestID,
                                        uint8_t uchHopCount, uint8_t uchPort, uint8_t* puchPortWidth,
                                        uint8_t* puchLane, uint8_t* puchMaxWidth, uint8_t* puchWidthOverride,
                                        uint32_t* pbParallel, uint32_t* pulPortType)
{
    if (pulPortType)
        *pulPortType = HAL_PORT_TYPE_SERIAL;
    uint32_t ulControl = 0;
    const NVXL_STATUS nStatus =
        HalReadReg(uchLocalPort, ulDestID, uchHopCount, HAL_PORT_CONTROL(uchPort), &ulControl);
    if (nStatus != NVXL_OK || ulControl == B80AB_CONTROL_NOT_SET_UP)
        return nStatus;
    const uint8_t uchMaxWidth = (ulControl & B80AB_WIDTH_X4) ? 4 : (ulControl & B80AB_WIDTH_X1) ? 1 : 255;
    HalDecodePortWidth(ulControl, uchMaxWidth, puchPortWidth, puchLane, puchMaxWidth, puchWidthOverride,
                       pbParallel);
    return NVXL_OK;
}

static NVXL_STATUS B80ABHalGetPortSpeedMHz(uint16_t, uint16_t, uint8_t uchLocalPort, uint32_t ulDestID,
                                           uint8_t uchHopCount, uint8_t, uint32_t* pulSpeed)
{
    if (!pulSpeed)
        return NVXL_ERR_INVALID_PARAM;
    uint32_t ulValue = 0;
    const NVXL_STATUS nStatus = HalReadReg(uchLocalPort, ulDestID, uchHopCount, B80AB_SPEED, &ulValue);
    if (nStatus != NVXL_OK)
        return nStatus;
    switch (ulValue >> 28)
    {
    case 1:
        *pulSpeed = 1250;
        break;
    case 2:
        *pulSpeed = 2500;
        break;
    case 3:
        *pulSpeed = 3125;
        break;
    case 4:
        *pulSpeed = 5000;
        break;
    default:
        // Without a speed code, the selection bits tell, fastest first.
        *pulSpeed = (ulValue & B80AB_SPEED_5000)   ? 5000
                    : (ulValue & B80AB_SPEED_3125) ? 3125
                    : (ulValue & B80AB_SPEED_2500) ? 2500
                    : (ulValue & B80AB_SPEED_1250) ? 1250
                                                   : 0;
        break;
    }
    return NVXL_OK;
}

static NVXL_STATUS B80ABHalSetPortSpeedMHz(uint16_t, uint16_t, uint8_t uchLocalPort, uint32_t ulDestID,
                                           uint8_t uchHopCount, uint8_t, uint32_t ulSpeed)
{
    uint32_t ulSelect;
    switch (ulSpeed)
    {
    case 1250:
        ulSelect = B80AB_SPEED_1250;
        break;
    case 2500:
        ulSelect = B80AB_SPEED_2500;
        break;
    case 3125:
        ulSelect = B80AB_SPEED_3125;
        break;
    case 5000:
        ulSelect = B80AB_SPEED_5000;
        break;
    default:
        return NVXL_ERR_NOT_SUPPORTED;
    }
    uint32_t ulValue = 0;
    const NVXL_STATUS nStatus = HalReadReg(uchLocalPort, ulDestID, uchHopCount, B80AB_SPEED, &ulValue);
    if (nStatus != NVXL_OK)
        return nStatus;
    return HalWriteReg(uchLocalPort, ulDestID, uchHopCount, B80AB_SPEED,
                       (ulValue & ~B80AB_SPEED_SELECT_MASK) | ulSelect);
}

const HalInterface g_sIDT80ABInterface = {
    .ulDeviceKey = 0x80AB0038,
    .pfnGetPortWidth = B80ABHalGetPortWidth,
    .pfnGetPortSpeedMHz = B80ABHalGetPortSpeedMHz,
    .pfnSetPortSpeedMHz = B80ABHalSetPortSpeedMHz,
    .pfnSupportsEEPROM = I2CEepromHalSupportsEEPROM,
    .pfnInitEEPROM = I2CEepromHalInitEEPROM,
    .pfnWriteEEPROM = I2CEepromHalWriteEEPROM,
    .pfnReadEEPROM = I2CEepromHalReadEEPROM,
    .pfnSetEEPROMAddress = I2CEepromHalSetEEPROMAddress,
};
