/* A plug-in that lacks one of the six exports (Finalize): the loader must pass it over. It names
 * a Tsi578 so that a test can see its device did not get listed. */
#include "EepromPlugin.h"

int32_t GetFirstSupportedDevice(uint32_t* pulId);
int32_t GetNextSupportedDevice(uint32_t* pulId);
int32_t Initialize(uint16_t wHigh, uint16_t wLow, uint32_t ulSize, uint8_t* pbBuffer);
int32_t AddRegInit(uint16_t wHigh, uint16_t wLow, uint32_t ulSize, uint8_t* pbBuffer, uint32_t ulOffset,
                   uint32_t ulCount, const uint32_t* pulValues);
uint32_t GetBytesUsed(void);

static int s_nNext;

int32_t GetFirstSupportedDevice(uint32_t* pulId)
{
    s_nNext = 0;
    return GetNextSupportedDevice(pulId);
}

int32_t GetNextSupportedDevice(uint32_t* pulId)
{
    if (s_nNext++ > 0)
        return NV_EEPROM_NO_MORE_DEVICES;
    *pulId = 0x000D0578u;
    return NV_EEPROM_OK;
}

int32_t Initialize(uint16_t wHigh, uint16_t wLow, uint32_t ulSize, uint8_t* pbBuffer)
{
    (void)wHigh, (void)wLow, (void)ulSize, (void)pbBuffer;
    return NV_EEPROM_OK;
}

int32_t AddRegInit(uint16_t wHigh, uint16_t wLow, uint32_t ulSize, uint8_t* pbBuffer, uint32_t ulOffset,
                   uint32_t ulCount, const uint32_t* pulValues)
{
    (void)wHigh, (void)wLow, (void)ulSize, (void)pbBuffer, (void)ulOffset, (void)ulCount, (void)pulValues;
    return NV_EEPROM_OK;
}

uint32_t GetBytesUsed(void)
{
    return 0;
}
