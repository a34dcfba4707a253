// The boot EEPROM behind the I2C master of the Tsi57x switches and the 0x80AB bridge. Data words
// carry their bytes from the high end down: the byte at the lowest EEPROM address is bits 31..24.
#include "Devices/I2CEeprom.h"
#include "Hal/HalRegAccess.h"

#define I2C_BASE_TSI57X 0x1D108u
#define I2C_BASE_80AB 0x49108u
#define I2C_MODE(ulBase) (ulBase)
#define I2C_COMMAND(ulBase) ((ulBase) + 4u)
#define I2C_READ_DATA(ulBase) ((ulBase) + 8u)
#define I2C_WRITE_DATA(ulBase) ((ulBase) + 12u)
#define I2C_CMD_READ 0x80000000u
#define I2C_CMD_WRITE 0xC0000000u
#define I2C_CMD_COUNT_SHIFT 24u
// Mode register: the I2C address of the EEPROM (bits 6..0) and its address size (bits 17..16).
#define I2C_MODE_ADDRESS 0x7Fu
#define I2C_MODE_SIZE_SHIFT 16u
#define I2C_MODE_SIZE 0x30000u

uint32_t I2CEepromBase(uint16_t wDeviceID)
{
    return wDeviceID == 0x80AB ? I2C_BASE_80AB : I2C_BASE_TSI57X;
}

// Data first, then the command that moves it.
static NVXL_STATUS WriteBytes(uint8_t uchLocalPort, uint32_t ulDestID, uint8_t uchHopCount, uint32_t ulBase,
                              uint32_t ulAddress, uint32_t ulCount, uint32_t ulValue)
{
    const NVXL_STATUS nStatus =
        HalWriteReg0(uchLocalPort, ulDestID, uchHopCount, I2C_WRITE_DATA(ulBase), ulValue);
    if (nStatus != NVXL_OK)
        return nStatus;
    return HalWriteReg0(uchLocalPort, ulDestID, uchHopCount, I2C_COMMAND(ulBase),
                        I2C_CMD_WRITE + (ulCount << I2C_CMD_COUNT_SHIFT) + ulAddress);
}

static NVXL_STATUS ReadBytes(uint8_t uchLocalPort, uint32_t ulDestID, uint8_t uchHopCount, uint32_t ulBase,
                             uint32_t ulAddress, uint32_t ulCount, uint32_t* pulValue)
{
    const NVXL_STATUS nStatus = HalWriteReg0(uchLocalPort, ulDestID, uchHopCount, I2C_COMMAND(ulBase),
                                             I2C_CMD_READ + (ulCount << I2C_CMD_COUNT_SHIFT) + ulAddress);
    if (nStatus != NVXL_OK)
        return nStatus;
    return HalReadReg0(uchLocalPort, ulDestID, uchHopCount, I2C_READ_DATA(ulBase), pulValue);
}

NVXL_STATUS I2CEepromWriteWord(uint8_t uchLocalPort, uint32_t ulDestID, uint8_t uchHopCount, uint32_t ulBase,
                               uint32_t ulAddress, uint32_t ulValue)
{
    return WriteBytes(uchLocalPort, ulDestID, uchHopCount, ulBase, ulAddress, 4, ulValue);
}

NVXL_STATUS I2CEepromReadWord(uint8_t uchLocalPort, uint32_t ulDestID, uint8_t uchHopCount, uint32_t ulBase,
                              uint32_t ulAddress, uint32_t* pulValue)
{
    return ReadBytes(uchLocalPort, ulDestID, uchHopCount, ulBase, ulAddress, 4, pulValue);
}

int32_t I2CEepromHalSupportsEEPROM(uint16_t, uint16_t)
{
    return 1;
}

// An empty image: no register records (count 0 in the high half of word 0) and an erased word 4.
NVXL_STATUS I2CEepromHalInitEEPROM(uint16_t, uint16_t wDeviceID, uint8_t uchLocalPort, uint32_t ulDestID,
                                   uint8_t uchHopCount)
{
    const uint32_t ulBase = I2CEepromBase(wDeviceID);
    const NVXL_STATUS nStatus = I2CEepromWriteWord(uchLocalPort, ulDestID, uchHopCount, ulBase, 0, 0xFFFFu);
    if (nStatus != NVXL_OK)
        return nStatus;
    return I2CEepromWriteWord(uchLocalPort, ulDestID, uchHopCount, ulBase, 4, 0xFFFFFFFFu);
}

NVXL_STATUS I2CEepromHalWriteEEPROM(uint16_t, uint16_t wDeviceID, uint8_t uchLocalPort, uint32_t ulDestID,
                                    uint8_t uchHopCount, uint16_t wByteCount, uint16_t wAddress,
                                    const uint8_t* pbData)
{
    if (!pbData && wByteCount)
        return NVXL_ERR_INVALID_PARAM;
    const uint32_t ulBase = I2CEepromBase(wDeviceID);
    for (uint32_t ulDone = 0; ulDone < wByteCount; ulDone += 4)
    {
        const uint32_t ulCount = wByteCount - ulDone < 4 ? wByteCount - ulDone : 4;
        uint32_t ulValue = 0;
        for (uint32_t k = 0; k < ulCount; k++)
            ulValue |= (uint32_t)pbData[ulDone + k] << (24u - 8u * k);
        const NVXL_STATUS nStatus =
            WriteBytes(uchLocalPort, ulDestID, uchHopCount, ulBase, wAddress + ulDone, ulCount, ulValue);
        if (nStatus != NVXL_OK)
            return nStatus;
    }
    return NVXL_OK;
}

NVXL_STATUS I2CEepromHalReadEEPROM(uint16_t, uint16_t wDeviceID, uint8_t uchLocalPort, uint32_t ulDestID,
                                   uint8_t uchHopCount, uint16_t wByteCount, uint16_t wAddress,
                                   uint8_t* pbData)
{
    if (!pbData && wByteCount)
        return NVXL_ERR_INVALID_PARAM;
    const uint32_t ulBase = I2CEepromBase(wDeviceID);
    for (uint32_t ulDone = 0; ulDone < wByteCount; ulDone += 4)
    {
        const uint32_t ulCount = wByteCount - ulDone < 4 ? wByteCount - ulDone : 4;
        uint32_t ulValue = 0;
        const NVXL_STATUS nStatus =
            ReadBytes(uchLocalPort, ulDestID, uchHopCount, ulBase, wAddress + ulDone, ulCount, &ulValue);
        if (nStatus != NVXL_OK)
            return nStatus;
        for (uint32_t k = 0; k < ulCount; k++)
            pbData[ulDone + k] = (uint8_t)(ulValue >> (24u - 8u * k));
    }
    return NVXL_OK;
}

// The mode register is written only when the address or the address size has to change.
NVXL_STATUS I2CEepromHalSetEEPROMAddress(uint16_t, uint16_t wDeviceID, uint8_t uchLocalPort,
                                         uint32_t ulDestID, uint8_t uchHopCount, uint8_t uchAddressSize,
                                         uint8_t uchI2CAddress)
{
    const uint32_t ulBase = I2CEepromBase(wDeviceID);
    uint32_t ulMode = 0;
    const NVXL_STATUS nStatus = HalReadReg0(uchLocalPort, ulDestID, uchHopCount, I2C_MODE(ulBase), &ulMode);
    if (nStatus != NVXL_OK)
        return nStatus;
    const uint32_t ulWanted = ((uint32_t)uchI2CAddress & I2C_MODE_ADDRESS) |
                              (((uint32_t)uchAddressSize << I2C_MODE_SIZE_SHIFT) & I2C_MODE_SIZE);
    if ((ulMode & (I2C_MODE_ADDRESS | I2C_MODE_SIZE)) == ulWanted)
        return NVXL_OK;
    ulMode = (ulMode & ~(I2C_MODE_ADDRESS | I2C_MODE_SIZE)) | ulWanted;
    return HalWriteReg0(uchLocalPort, ulDestID, uchHopCount, I2C_MODE(ulBase), ulMode);
}
