// Vendor 1 device 6: a device that only pretends to be a switch. It is answered without a single
// access: a switch with no ports worth routing, always trained, with an empty route table, and no
// lock to take; route writes are accepted and dropped.
#include "Devices/DeviceFamilies.h"

#define HAL_FEATURES_SWITCH 0x10000000u
#define DEVICE6_SWITCH_PORT_INFO 32u

static NVXL_STATUS Device6HalGetFeatures(uint16_t, uint16_t, uint8_t, uint32_t, uint8_t,
                                         uint32_t* pulFeatures)
{
    if (!pulFeatures)
        return NVXL_ERR_INVALID_PARAM;
    *pulFeatures = HAL_FEATURES_SWITCH;
    return NVXL_OK;
}

static NVXL_STATUS Device6HalGetSwitchPortInfo(uint16_t, uint16_t, uint8_t, uint32_t, uint8_t,
                                               uint32_t* pulInfo)
{
    if (!pulInfo)
        return NVXL_ERR_INVALID_PARAM;
    *pulInfo = DEVICE6_SWITCH_PORT_INFO;
    return NVXL_OK;
}

static NVXL_STATUS Device6HalIsPortTrained(uint16_t, uint16_t, uint8_t, uint32_t, uint8_t, uint8_t,
                                           uint32_t* pbTrained)
{
    if (!pbTrained)
        return NVXL_ERR_INVALID_PARAM;
    *pbTrained = 1;
    return NVXL_OK;
}

static NVXL_STATUS Device6HalAcquireDeviceLock(uint16_t, uint16_t, uint8_t, uint32_t, uint8_t, uint16_t,
                                               uint16_t*, int32_t, uint32_t)
{
    return NVXL_OK;
}

static NVXL_STATUS Device6HalReleaseDeviceLock(uint16_t, uint16_t, uint8_t, uint32_t, uint8_t, uint16_t,
                                               uint16_t*)
{
    return NVXL_OK;
}

static NVXL_STATUS Device6HalRouteAddEntry(uint16_t, uint16_t, uint8_t, uint32_t, uint8_t, uint8_t, uint16_t,
                                           uint8_t, NVXL_ROUTE_TYPE, uint32_t)
{
    return NVXL_OK;
}

static NVXL_STATUS Device6HalRouteGetEntry(uint16_t, uint16_t, uint8_t, uint32_t, uint8_t, uint8_t, uint16_t,
                                           NVXL_ROUTE_TYPE* peType, uint8_t* puchPort, uint32_t* pulExtra)
{
    if (!peType || !puchPort || !pulExtra)
        return NVXL_ERR_INVALID_PARAM;
    *peType = eNVXL_RouteTypeUnrouted;
    *puchPort = 0;
    *pulExtra = 0;
    return NVXL_OK;
}

static NVXL_STATUS Device6HalLoadRoutingTable(uint16_t, uint16_t, uint8_t, uint32_t, uint8_t, uint8_t,
                                              uint32_t* pulNumEntries, NVXL_ROUTE_ENTRY**)
{
    if (!pulNumEntries)
        return NVXL_ERR_INVALID_PARAM;
    *pulNumEntries = 0;
    return NVXL_OK;
}

static NVXL_STATUS Device6HalStoreRoutingTable(uint16_t, uint16_t, uint8_t, uint32_t, uint8_t, uint8_t,
                                               uint32_t, const NVXL_ROUTE_ENTRY*)
{
    return NVXL_OK;
}

const HalInterface g_sVendor1Device6Interface = {
    .ulDeviceKey = 0x00060001,
    .pfnAcquireDeviceLock = Device6HalAcquireDeviceLock,
    .pfnReleaseDeviceLock = Device6HalReleaseDeviceLock,
    .pfnIsPortTrained = Device6HalIsPortTrained,
    .pfnGetSwitchPortInfo = Device6HalGetSwitchPortInfo,
    .pfnGetFeatures = Device6HalGetFeatures,
    .pfnRouteAddEntry = Device6HalRouteAddEntry,
    .pfnRouteGetEntry = Device6HalRouteGetEntry,
    .pfnLoadRoutingTable = Device6HalLoadRoutingTable,
    .pfnStoreRoutingTable = Device6HalStoreRoutingTable,
};
