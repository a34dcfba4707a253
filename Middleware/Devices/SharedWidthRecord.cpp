// The record of six early devices (keys in g_aulSharedWidthKeys) whose port widths cannot be read.
// One record serves them all: it is registered once per device with its key rewritten in between,
// so the registry holds six pointers to it and its key ends as the last one, 0x00030002. That key
// was registered earlier by the vendor 2 device 3 record, which therefore wins every lookup: the
// record is reached by none of the six keys: the five earlier ones find no record at all and get
// the dispatcher's defaults. The arrangement is kept as it is on purpose; the six registration
// lines are still logged.
#include "Devices/DeviceFamilies.h"
#include "Devices/PortControl.h"

// The widths are not known. The port type could not be established for these devices either; they
// report the serial type of the standard form.
static NVXL_STATUS SharedHalGetPortWidth(uint16_t, uint16_t, uint8_t, uint32_t, uint8_t, uint8_t,
                                         uint8_t* puchPortWidth, uint8_t* puchLane, uint8_t* puchMaxWidth,
                                         uint8_t* puchWidthOverride, uint32_t* pbParallel,
                                         uint32_t* pulPortType)
{
    HalPortWidthNotKnown(1, puchPortWidth, puchLane, puchMaxWidth, puchWidthOverride, pbParallel,
                         pulPortType);
    return NVXL_OK;
}

const uint32_t g_aulSharedWidthKeys[HAL_SHARED_WIDTH_KEYS] = {0x0400000D, 0x0001006A, 0x0E010000,
                                                              0x0000005A, 0x00020002, 0x00030002};

HalInterface g_sSharedWidthInterface = {
    .ulDeviceKey = 0x0400000D,
    .pfnGetPortWidth = SharedHalGetPortWidth,
};
