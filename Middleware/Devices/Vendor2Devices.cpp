// Vendor 2 endpoints, device 0x12 and device 3. Both keep the host out of their configuration space
// until a register of their own opens it; device 0x12 reports its port in one fixed control
// register whatever the port, and accepts all destination IDs without secondary ones.
#include "Devices/DeviceFamilies.h"
#include "Devices/PortControl.h"
#include "Hal/HalRegAccess.h"

// The registers that open each device to the host.
#define VENDOR2_DEVICE3_HOST_ACCESS 0x10000u
#define VENDOR2_DEVICE12_HOST_ACCESS 0x10120u
// VDID capability: accepts every destination ID (bit 1).
#define VDID_ACCEPT_ALL 0x2u

static NVXL_STATUS Vendor2Device3HalEnableHostAccess(uint16_t, uint16_t, uint8_t uchLocalPort,
                                                     uint32_t ulDestID, uint8_t uchHopCount, uint32_t bEnable)
{
    return HalWriteReg(uchLocalPort, ulDestID, uchHopCount, VENDOR2_DEVICE3_HOST_ACCESS, bEnable);
}

static NVXL_STATUS Vendor2Device12HalEnableHostAccess(uint16_t, uint16_t, uint8_t uchLocalPort,
                                                      uint32_t ulDestID, uint8_t uchHopCount,
                                                      uint32_t bEnable)
{
    return HalWriteReg(uchLocalPort, ulDestID, uchHopCount, VENDOR2_DEVICE12_HOST_ACCESS, bEnable);
}

static NVXL_STATUS Vendor2Device12HalGetPortWidth(uint16_t, uint16_t, uint8_t uchLocalPort, uint32_t ulDestID,
                                                  uint8_t uchHopCount, uint8_t, uint8_t* puchPortWidth,
                                                  uint8_t* puchLane, uint8_t* puchMaxWidth,
                                                  uint8_t* puchWidthOverride, uint32_t* pbParallel,
                                                  uint32_t* pulPortType)
{
    // The device has one port: its Port 0 Control register (0x15C) answers for any port number.
    return HalPortWidthFromControl(0, 0, uchLocalPort, ulDestID, uchHopCount, 0, puchPortWidth, puchLane,
                                   puchMaxWidth, puchWidthOverride, pbParallel, pulPortType);
}

static NVXL_STATUS Vendor2Device12HalGetVDIDCaps(uint16_t, uint16_t, uint8_t, uint32_t, uint8_t,
                                                 uint16_t* pwFlags, uint16_t* pwNum2ary)
{
    if (pwFlags)
        *pwFlags = VDID_ACCEPT_ALL;
    if (pwNum2ary)
        *pwNum2ary = 0;
    return NVXL_OK;
}

const HalInterface g_sVendor2Device12Interface = {
    .ulDeviceKey = 0x00120002,
    .pfnGetPortWidth = Vendor2Device12HalGetPortWidth,
    .pfnEnableHostAccess = Vendor2Device12HalEnableHostAccess,
    .pfnGetVDIDCaps = Vendor2Device12HalGetVDIDCaps,
};

const HalInterface g_sVendor2Device3Interface = {
    .ulDeviceKey = 0x00030002,
    .pfnEnableHostAccess = Vendor2Device3HalEnableHostAccess,
};
