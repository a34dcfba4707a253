// Vendor 0x30 endpoints, device 0 and device 0x96. Their destination ID logic lives outside the
// RapidIO configuration space, in a block of memory-mapped registers at RapidIO address 0x02D00000
// that the host reaches by NREAD and NWRITE (or, for the host's own device, through server memory):
// the base ID is copied there, the secondary destination IDs are kept there, and device 0x96 opens
// itself to the host through it.
#include "Devices/DeviceFamilies.h"
#include "Devices/PortControl.h"
#include "Hal/HalRegAccess.h"
#include "Hal/HalStandard.h"

// Registers of the memory-mapped block.
#define V30_HOST_ACCESS 0x02D00020u
#define V30_BASE_ID 0x02D00080u
#define V30_2ARY_ID(wIndex) (0x02D00084u + 4u * (uint32_t)(wIndex))
#define V30_HOST_ACCESS_ENABLE 0x08000000u
// Transfer types of the data gates: NWRITE for writes, and the read type the block answers.
#define V30_WRITE_TYPE 1u
#define V30_READ_TYPE 3u
// VDID capabilities: bit 0 secondary IDs, bit 1 accepts every ID.
#define VDID_SECONDARY 0x1u
#define VDID_ACCEPT_ALL 0x2u
#define HAL_PORT_TYPE_SERIAL 1u

static uint16_t NumSecondaryIDs(uint16_t wDeviceID)
{
    return wDeviceID == 0x0096 ? 3 : 1;
}

// One word of the block. Data transactions carry bytes, most significant first.
static NVXL_STATUS ReadBlockWord(uint8_t uchLocalPort, uint32_t ulDestID, uint32_t ulAddress,
                                 uint32_t* pulValue)
{
    if (ulDestID == NVXL_HOST_DESTID)
        return MemoryRead(0, ulAddress, 1, 4, pulValue);
    uint8_t abBytes[4] = {0, 0, 0, 0};
    const NVXL_STATUS nStatus = DataRead(uchLocalPort, ulDestID, 0, ulAddress, V30_READ_TYPE,
                                         HalGetPriority(), abBytes, sizeof abBytes);
    if (nStatus != NVXL_OK)
        return nStatus;
    *pulValue = ((uint32_t)abBytes[0] << 24) | ((uint32_t)abBytes[1] << 16) | ((uint32_t)abBytes[2] << 8) |
                abBytes[3];
    return NVXL_OK;
}

static NVXL_STATUS WriteBlockWord(uint8_t uchLocalPort, uint32_t ulDestID, uint32_t ulAddress,
                                  uint32_t ulValue)
{
    if (ulDestID == NVXL_HOST_DESTID)
        return MemoryWrite(0, ulAddress, 1, 4, &ulValue);
    const uint8_t abBytes[4] = {(uint8_t)(ulValue >> 24), (uint8_t)(ulValue >> 16), (uint8_t)(ulValue >> 8),
                                (uint8_t)ulValue};
    return DataWrite(uchLocalPort, ulDestID, 0, ulAddress, V30_WRITE_TYPE, HalGetPriority(), abBytes,
                     sizeof abBytes);
}

static NVXL_STATUS V30HalGetPortWidth(uint16_t, uint16_t, uint8_t, uint32_t, uint8_t, uint8_t,
                                      uint8_t* puchPortWidth, uint8_t* puchLane, uint8_t* puchMaxWidth,
                                      uint8_t* puchWidthOverride, uint32_t* pbParallel, uint32_t* pulPortType)
{
    HalPortWidthNotKnown(HAL_PORT_TYPE_SERIAL, puchPortWidth, puchLane, puchMaxWidth, puchWidthOverride,
                         pbParallel, pulPortType);
    return NVXL_OK;
}

// The base ID register as the standard has it, copied into the block for the device's ID logic. The
// host's own device is given its ID through the configuration space alone.
static NVXL_STATUS V30HalSetDeviceID(uint16_t, uint16_t, uint8_t uchLocalPort, uint32_t ulDestID,
                                     uint8_t uchHopCount, const uint16_t* pwSmall, const uint16_t* pwLarge)
{
    uint32_t ulValue = 0;
    NVXL_STATUS nStatus = HalReadReg(uchLocalPort, ulDestID, uchHopCount, RIO_BASE_DEVICE_ID, &ulValue);
    if (nStatus != NVXL_OK)
        return nStatus;
    if (pwSmall)
        ulValue = (ulValue & ~0x00FF0000u) | ((uint32_t)(*pwSmall & 0xFFu) << 16);
    if (pwLarge)
        ulValue = (ulValue & ~0x0000FFFFu) | *pwLarge;
    nStatus = HalWriteReg(uchLocalPort, ulDestID, uchHopCount, RIO_BASE_DEVICE_ID, ulValue);
    if (nStatus != NVXL_OK || ulDestID == NVXL_HOST_DESTID)
        return nStatus;
    return WriteBlockWord(uchLocalPort, ulDestID, V30_BASE_ID, ulValue);
}

static NVXL_STATUS V30HalGetVDIDCaps(uint16_t, uint16_t wDeviceID, uint8_t, uint32_t, uint8_t,
                                     uint16_t* pwFlags, uint16_t* pwNum2ary)
{
    if (pwFlags)
        *pwFlags = wDeviceID == 0x0096 ? (VDID_SECONDARY | VDID_ACCEPT_ALL) : VDID_SECONDARY;
    if (pwNum2ary)
        *pwNum2ary = NumSecondaryIDs(wDeviceID);
    return NVXL_OK;
}

static NVXL_STATUS V30HalGetNum2aryDestIDs(uint16_t, uint16_t wDeviceID, uint8_t, uint32_t, uint8_t,
                                           uint16_t* pwNum2ary)
{
    if (!pwNum2ary)
        return NVXL_ERR_INVALID_PARAM;
    *pwNum2ary = NumSecondaryIDs(wDeviceID);
    return NVXL_OK;
}

static NVXL_STATUS V30HalGet2aryDestID(uint16_t, uint16_t wDeviceID, uint8_t uchLocalPort, uint32_t ulDestID,
                                       uint8_t, uint16_t wIndex, uint16_t* pwSmall, uint16_t* pwLarge)
{
    if (wIndex >= NumSecondaryIDs(wDeviceID))
        return NVXL_ERR_INVALID_PARAM;
    uint32_t ulValue = 0;
    const NVXL_STATUS nStatus = ReadBlockWord(uchLocalPort, ulDestID, V30_2ARY_ID(wIndex), &ulValue);
    if (nStatus != NVXL_OK)
        return nStatus;
    if (pwSmall)
        *pwSmall = (uint16_t)((ulValue >> 16) & 0xFFu);
    if (pwLarge)
        *pwLarge = (uint16_t)(ulValue & 0xFFFFu);
    return NVXL_OK;
}

static NVXL_STATUS V30HalSet2aryDestID(uint16_t, uint16_t wDeviceID, uint8_t uchLocalPort, uint32_t ulDestID,
                                       uint8_t, uint16_t wIndex, const uint16_t* pwSmall,
                                       const uint16_t* pwLarge)
{
    if (wIndex >= NumSecondaryIDs(wDeviceID))
        return NVXL_ERR_INVALID_PARAM;
    uint32_t ulValue = 0;
    const NVXL_STATUS nStatus = ReadBlockWord(uchLocalPort, ulDestID, V30_2ARY_ID(wIndex), &ulValue);
    if (nStatus != NVXL_OK)
        return nStatus;
    if (pwSmall)
        ulValue = (ulValue & ~0x00FF0000u) | ((uint32_t)(*pwSmall & 0xFFu) << 16);
    if (pwLarge)
        ulValue = (ulValue & ~0x0000FFFFu) | *pwLarge;
    return WriteBlockWord(uchLocalPort, ulDestID, V30_2ARY_ID(wIndex), ulValue);
}

static NVXL_STATUS V30HalEnableHostAccess(uint16_t, uint16_t, uint8_t uchLocalPort, uint32_t ulDestID,
                                          uint8_t, uint32_t bEnable)
{
    uint32_t ulValue = 0;
    const NVXL_STATUS nStatus = ReadBlockWord(uchLocalPort, ulDestID, V30_HOST_ACCESS, &ulValue);
    if (nStatus != NVXL_OK)
        return nStatus;
    ulValue = bEnable ? (ulValue | V30_HOST_ACCESS_ENABLE) : (ulValue & ~V30_HOST_ACCESS_ENABLE);
    return WriteBlockWord(uchLocalPort, ulDestID, V30_HOST_ACCESS, ulValue);
}

const HalInterface g_sVendor30Device0Interface = {
    .ulDeviceKey = 0x00000030,
    .pfnGetPortWidth = V30HalGetPortWidth,
    .pfnSetDeviceID = V30HalSetDeviceID,
    .pfnGetVDIDCaps = V30HalGetVDIDCaps,
    .pfnGetNum2aryDestIDs = V30HalGetNum2aryDestIDs,
    .pfnGet2aryDestID = V30HalGet2aryDestID,
    .pfnSet2aryDestID = V30HalSet2aryDestID,
};

const HalInterface g_sVendor30Device96Interface = {
    .ulDeviceKey = 0x00960030,
    .pfnGetPortWidth = V30HalGetPortWidth,
    .pfnSetDeviceID = V30HalSetDeviceID,
    .pfnEnableHostAccess = V30HalEnableHostAccess,
    .pfnGetVDIDCaps = V30HalGetVDIDCaps,
    .pfnGetNum2aryDestIDs = V30HalGetNum2aryDestIDs,
    .pfnGet2aryDestID = V30HalGet2aryDestID,
    .pfnSet2aryDestID = V30HalSet2aryDestID,
};
