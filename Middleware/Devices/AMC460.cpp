// AMC460: an endpoint that answers to its new base ID as soon as the base ID register is written,
// including the write itself. The write therefore goes to the new ID, and the IDs are read back
// there to see that the device took them.
#include "Devices/DeviceFamilies.h"
#include "Hal/HalRegAccess.h"
#include "Hal/HalStandard.h"

static NVXL_STATUS AMC460HalSetDeviceID(uint16_t wVendorID, uint16_t wDeviceID, uint8_t uchLocalPort,
                                        uint32_t ulDestID, uint8_t uchHopCount, const uint16_t* pwSmall,
                                        const uint16_t* pwLarge)
{
    uint32_t ulValue = 0;
    NVXL_STATUS nStatus = HalReadReg(uchLocalPort, ulDestID, uchHopCount, RIO_BASE_DEVICE_ID, &ulValue);
    if (nStatus != NVXL_OK)
        return nStatus;
    if (pwSmall)
        ulValue = (ulValue & ~0x00FF0000u) | ((uint32_t)(*pwSmall & 0xFFu) << 16);
    if (pwLarge)
        ulValue = (ulValue & ~0x0000FFFFu) | *pwLarge;
    // The host's own device is not reached by an ID and stays where it is.
    uint32_t ulNewDestID = ulDestID;
    if (ulDestID != NVXL_HOST_DESTID)
        ulNewDestID = HalGetLargeTransport() ? (ulValue & 0xFFFFu) : ((ulValue >> 16) & 0xFFu);
    HalDebugPrint(1, "Updating BASE_ID register on AMC460\n");
    nStatus = HalWriteReg(uchLocalPort, ulNewDestID, uchHopCount, RIO_BASE_DEVICE_ID, ulValue);
    if (nStatus != NVXL_OK)
        return nStatus;
    uint16_t wSmall = 0, wLarge = 0;
    return HalGetDeviceID(wVendorID, wDeviceID, uchLocalPort, ulNewDestID, uchHopCount, &wSmall, &wLarge);
}

const HalInterface g_sAMC460Interface = {
    .ulDeviceKey = 0x01000064,
    .pfnSetDeviceID = AMC460HalSetDeviceID,
};
