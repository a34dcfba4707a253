// A device whose identity register reads 0 (vendor 0, device 0). It is taken for a bridge whatever
// its features register says; the register is still read, so that an unreachable device fails as
// any other would.
#include "Devices/DeviceFamilies.h"
#include "Hal/HalRegAccess.h"
#include "Hal/HalStandard.h"

#define HAL_FEATURES_BRIDGE 0x80000000u

static NVXL_STATUS NoIdentityHalGetFeatures(uint16_t, uint16_t, uint8_t uchLocalPort, uint32_t ulDestID,
                                            uint8_t uchHopCount, uint32_t* pulFeatures)
{
    if (!pulFeatures)
        return NVXL_ERR_INVALID_PARAM;
    uint32_t ulIgnored = 0;
    const NVXL_STATUS nStatus = HalReadReg(uchLocalPort, ulDestID, uchHopCount, RIO_PE_FEATURES, &ulIgnored);
    if (nStatus != NVXL_OK)
        return nStatus;
    *pulFeatures = HAL_FEATURES_BRIDGE;
    return NVXL_OK;
}

const HalInterface g_sNoIdentityInterface = {
    .ulDeviceKey = 0,
    .pfnGetFeatures = NoIdentityHalGetFeatures,
};
