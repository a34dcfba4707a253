/* A complete plug-in for a made-up device 0x1234 of vendor 0xABCD, and for the Tsi578 too: loaded
 * after the sample plug-in (its name sorts later), it must not take the Tsi578 over. Its image is
 * one byte per register write: the low byte of the first value. */
#include "EepromPlugin.h"

int32_t GetFirstSupportedDevice(uint32_t* pulId);
int32_t GetNextSupportedDevice(uint32_t* pulId);
int32_t Initialize(uint16_t wHigh, uint16_t wLow, uint32_t ulSize, uint8_t* pbBuffer);
int32_t AddRegInit(uint16_t wHigh, uint16_t wLow, uint32_t ulSize, uint8_t* pbBuffer, uint32_t ulOffset,
                   uint32_t ulCount, const uint32_t* pulValues);
void Finalize(void);
uint32_t GetBytesUsed(void);

static const uint32_t s_aulIds[] = {0xABCD1234u, 0x000D0578u};
static unsigned s_nNext;
static uint32_t s_ulUsed;

int32_t GetFirstSupportedDevice(uint32_t* pulId)
{
    s_nNext = 0;
    return GetNextSupportedDevice(pulId);
}

int32_t GetNextSupportedDevice(uint32_t* pulId)
{
    if (s_nNext >= sizeof(s_aulIds) / sizeof(s_aulIds[0]))
        return NV_EEPROM_NO_MORE_DEVICES;
    *pulId = s_aulIds[s_nNext++];
    return NV_EEPROM_OK;
}

int32_t Initialize(uint16_t wHigh, uint16_t wLow, uint32_t ulSize, uint8_t* pbBuffer)
{
    (void)wHigh, (void)wLow, (void)pbBuffer;
    s_ulUsed = 0;
    return ulSize == 0 ? NV_EEPROM_BAD_IMAGE_SIZE : NV_EEPROM_OK;
}

int32_t AddRegInit(uint16_t wHigh, uint16_t wLow, uint32_t ulSize, uint8_t* pbBuffer, uint32_t ulOffset,
                   uint32_t ulCount, const uint32_t* pulValues)
{
    (void)wHigh, (void)wLow, (void)ulOffset;
    if (s_ulUsed >= ulSize)
        return 7; /* a code of its own */
    if (ulCount)
        pbBuffer[s_ulUsed++] = (uint8_t)pulValues[0];
    return NV_EEPROM_OK;
}

void Finalize(void) {}

uint32_t GetBytesUsed(void)
{
    return s_ulUsed;
}
