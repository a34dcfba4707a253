/* The serial EEPROM that a Tsi57x switch or the 0x80AB bridge boots from, reached through the
 * device's I2C master: four registers, R0 mode (I2C address and address size), R1 command, R2 read
 * data and R3 write data, all accessed with Stride 0. A command word is 0x80000000 for a read or
 * 0xC0000000 for a write, plus the byte count (1..4) in bits 27..24 and the EEPROM address. */
#ifndef NVXL_I2C_EEPROM_H
#define NVXL_I2C_EEPROM_H

#include "NVXLHal.h"

#ifdef __cplusplus
extern "C"
{
#endif

    /* R0 of the device's I2C master; R1 to R3 follow 4 bytes apart. */
    uint32_t I2CEepromBase(uint16_t wDeviceID);
    /* Writes one 4-byte word at an EEPROM address. */
    NVXL_STATUS I2CEepromWriteWord(uint8_t uchLocalPort, uint32_t ulDestID, uint8_t uchHopCount,
                                   uint32_t ulBase, uint32_t ulAddress, uint32_t ulValue);
    /* Reads one 4-byte word at an EEPROM address. */
    NVXL_STATUS I2CEepromReadWord(uint8_t uchLocalPort, uint32_t ulDestID, uint8_t uchHopCount,
                                  uint32_t ulBase, uint32_t ulAddress, uint32_t* pulValue);

    /* The entries of the families with such an EEPROM. */
    int32_t I2CEepromHalSupportsEEPROM(uint16_t wVendorID, uint16_t wDeviceID);
    NVXL_STATUS I2CEepromHalInitEEPROM(uint16_t wVendorID, uint16_t wDeviceID, uint8_t uchLocalPort,
                                       uint32_t ulDestID, uint8_t uchHopCount);
    NVXL_STATUS I2CEepromHalWriteEEPROM(uint16_t wVendorID, uint16_t wDeviceID, uint8_t uchLocalPort,
                                        uint32_t ulDestID, uint8_t uchHopCount, uint16_t wByteCount,
                                        uint16_t wAddress, const uint8_t* pbData);
    NVXL_STATUS I2CEepromHalReadEEPROM(uint16_t wVendorID, uint16_t wDeviceID, uint8_t uchLocalPort,
                                       uint32_t ulDestID, uint8_t uchHopCount, uint16_t wByteCount,
                                       uint16_t wAddress, uint8_t* pbData);
    NVXL_STATUS I2CEepromHalSetEEPROMAddress(uint16_t wVendorID, uint16_t wDeviceID, uint8_t uchLocalPort,
                                             uint32_t ulDestID, uint8_t uchHopCount, uint8_t uchAddressSize,
                                             uint8_t uchI2CAddress);

#ifdef __cplusplus
}
#endif

#endif
