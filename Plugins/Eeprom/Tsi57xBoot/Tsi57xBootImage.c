/* EEPROM image plug-in for the boot EEPROM of the Tsi57x switches (Tsi574 to Tsi578).
 *
 * The switch loads register values from the EEPROM behind its I2C master when it comes out of
 * reset. The layout written here is the one the HAL's routing-table flash of these parts uses,
 * all words big-endian (the byte at the lowest EEPROM address is bits 31..24):
 *   bytes 0..3   the number of register records in bits 31..16, 0xFFFF in bits 15..0
 *   bytes 4..7   0xFFFFFFFF (left erased)
 *   bytes 8..    the records, 8 bytes each: the register's maintenance offset, then its value
 * The records are replayed in order, so a later record for a register wins. An erased EEPROM
 * (0xFFFF records) loads nothing.
 *
 * A write of several words is a run of registers 4 bytes apart, except at the port register of a
 * routing table's pair (0x74, the broadcast 0x10074 and port n's 0x11074 + 0x100 n): that one
 * steps through the table's entries itself, so each word is one more record at the same offset. */
#include "EepromPlugin.h"

#include <stddef.h>

#define TSI57X_VENDOR 0x000Du
#define HEADER_BYTES 8u
#define RECORD_BYTES 8u
#define MAX_RECORDS 0xFFFEu

/* The six exports, with the types of EepromPlugin.h. */
int32_t GetFirstSupportedDevice(uint32_t* pulId);
int32_t GetNextSupportedDevice(uint32_t* pulId);
int32_t Initialize(uint16_t wVendorOrHigh, uint16_t wDeviceOrLow, uint32_t ulSize, uint8_t* pbBuffer);
int32_t AddRegInit(uint16_t wVendorOrHigh, uint16_t wDeviceOrLow, uint32_t ulSize, uint8_t* pbBuffer,
                   uint32_t ulOffset, uint32_t ulCount, const uint32_t* pulValues);
void Finalize(void);
uint32_t GetBytesUsed(void);

static const uint16_t s_awDevices[] = {0x0574u, 0x0575u, 0x0576u, 0x0577u, 0x0578u};
static const size_t s_nDevices = sizeof(s_awDevices) / sizeof(s_awDevices[0]);

static size_t s_nNextDevice;
static uint32_t s_ulRecords;
static uint32_t s_ulSize;
static uint8_t* s_pbImage;

/* The port register of a DestID/port register pair of the routing tables. */
static int IsRoutePortRegister(uint32_t ulOffset)
{
    if (ulOffset == 0x74u || ulOffset == 0x10074u)
        return 1;
    return ulOffset >= 0x11074u && ulOffset <= 0x11074u + 0x100u * 15u && (ulOffset - 0x11074u) % 0x100u == 0;
}

static void PutWord(uint8_t* pb, uint32_t ulValue)
{
    pb[0] = (uint8_t)(ulValue >> 24);
    pb[1] = (uint8_t)(ulValue >> 16);
    pb[2] = (uint8_t)(ulValue >> 8);
    pb[3] = (uint8_t)ulValue;
}

static int Supported(uint16_t wVendor, uint16_t wDevice)
{
    size_t i;
    if (wVendor != TSI57X_VENDOR)
        return 0;
    for (i = 0; i < s_nDevices; i++)
        if (s_awDevices[i] == wDevice)
            return 1;
    return 0;
}

static void WriteHeader(void)
{
    PutWord(s_pbImage, (s_ulRecords << 16) | 0xFFFFu);
    PutWord(s_pbImage + 4, 0xFFFFFFFFu);
}

int32_t GetFirstSupportedDevice(uint32_t* pulId)
{
    s_nNextDevice = 0;
    return GetNextSupportedDevice(pulId);
}

int32_t GetNextSupportedDevice(uint32_t* pulId)
{
    if (!pulId || s_nNextDevice >= s_nDevices)
        return NV_EEPROM_NO_MORE_DEVICES;
    *pulId = (TSI57X_VENDOR << 16) | s_awDevices[s_nNextDevice++];
    return NV_EEPROM_OK;
}

int32_t Initialize(uint16_t wVendorOrHigh, uint16_t wDeviceOrLow, uint32_t ulSize, uint8_t* pbBuffer)
{
    s_pbImage = NULL;
    s_ulRecords = 0;
    if (!Supported(wVendorOrHigh, wDeviceOrLow))
        return NV_EEPROM_NO_MORE_DEVICES;
    if (!pbBuffer || ulSize < HEADER_BYTES || ulSize > 0x10000u)
        return NV_EEPROM_BAD_IMAGE_SIZE;
    s_pbImage = pbBuffer;
    s_ulSize = ulSize;
    WriteHeader();
    return NV_EEPROM_OK;
}

int32_t AddRegInit(uint16_t wVendorOrHigh, uint16_t wDeviceOrLow, uint32_t ulSize, uint8_t* pbBuffer,
                   uint32_t ulOffset, uint32_t ulCount, const uint32_t* pulValues)
{
    uint32_t i;
    if (!Supported(wVendorOrHigh, wDeviceOrLow) || pbBuffer != s_pbImage || ulSize != s_ulSize)
        return NV_EEPROM_BAD_IMAGE_SIZE;
    if (ulCount && !pulValues)
        return NV_EEPROM_BAD_IMAGE_SIZE;
    /* Nothing is added unless all of it fits. */
    if (s_ulRecords + ulCount > MAX_RECORDS ||
        HEADER_BYTES + (s_ulRecords + ulCount) * RECORD_BYTES > s_ulSize)
        return NV_EEPROM_IMAGE_FULL;
    for (i = 0; i < ulCount; i++)
    {
        uint8_t* pbRecord = s_pbImage + HEADER_BYTES + s_ulRecords * RECORD_BYTES;
        PutWord(pbRecord, IsRoutePortRegister(ulOffset) ? ulOffset : ulOffset + 4u * i);
        PutWord(pbRecord + 4, pulValues[i]);
        s_ulRecords++;
    }
    WriteHeader();
    return NV_EEPROM_OK;
}

void Finalize(void)
{
    if (s_pbImage)
        WriteHeader();
}

uint32_t GetBytesUsed(void)
{
    return s_pbImage ? HEADER_BYTES + s_ulRecords * RECORD_BYTES : 0;
}
