// The dispatcher: one function per device operation. Each looks the device up in the registry;
// when the first record of the device's key fills the operation's entry, the entry gets the same
// arguments and its result is returned unchanged. Otherwise the standard RapidIO behaviour or a
// fixed default applies, so that a device the HAL does not know still works wherever the RapidIO
// standard defines the operation.
#include "HalStandard.h"
#include "NVXLHal.h"

#include <stddef.h>

// The record is the device key and the 56 entries in their fixed order, and nothing else.
static_assert(sizeof(HalInterface) == offsetof(HalInterface, pfnGetPortWidth) + 56 * sizeof(void (*)(void)),
              "HalInterface holds the device key and 56 entries");

// The arguments that address a device, passed on unchanged.
#define HAL_TARGET_ARGS wVendorID, wDeviceID, uchLocalPort, ulDestID, uchHopCount

// The device's record, looked up once per call, and its entry for an operation: NULL when the
// device has no record or the record leaves the entry empty.
#define HAL_ENTRY(pfnName) (pInterface ? pInterface->pfnName : NULL)
#define HAL_LOOKUP() const HalInterface* pInterface = HalFindInterface(wDeviceID, wVendorID)

#define HAL_NOT_KNOWN 255u

NVXL_STATUS HalGetPortWidth(uint16_t wVendorID, uint16_t wDeviceID, uint8_t uchLocalPort, uint32_t ulDestID,
                            uint8_t uchHopCount, uint8_t uchPort, uint8_t* puchPortWidth, uint8_t* puchLane,
                            uint8_t* puchMaxWidth, uint8_t* puchWidthOverride, uint32_t* pbParallel,
                            uint32_t* pulPortType)
{
    HAL_LOOKUP();
    if (HAL_ENTRY(pfnGetPortWidth))
        return HAL_ENTRY(pfnGetPortWidth)(HAL_TARGET_ARGS, uchPort, puchPortWidth, puchLane, puchMaxWidth,
                                          puchWidthOverride, pbParallel, pulPortType);
    // The RapidIO standard has no register of its own for this: nothing is known.
    if (puchPortWidth)
        *puchPortWidth = HAL_NOT_KNOWN;
    if (puchLane)
        *puchLane = HAL_NOT_KNOWN;
    if (puchMaxWidth)
        *puchMaxWidth = HAL_NOT_KNOWN;
    if (puchWidthOverride)
        *puchWidthOverride = HAL_NOT_KNOWN;
    if (pbParallel)
        *pbParallel = 0;
    if (pulPortType)
        *pulPortType = 0;
    return NVXL_OK;
}

NVXL_STATUS HalGetPortConfig(uint16_t wVendorID, uint16_t wDeviceID, uint8_t uchLocalPort, uint32_t ulDestID,
                             uint8_t uchHopCount, uint8_t uchPort, uint32_t* pulMask,
                             NVXL_PORT_CONFIG* pRecord)
{
    HAL_LOOKUP();
    if (HAL_ENTRY(pfnGetPortConfig))
        return HAL_ENTRY(pfnGetPortConfig)(HAL_TARGET_ARGS, uchPort, pulMask, pRecord);
    if (pulMask)
        *pulMask = 0;
    return NVXL_ERR_NOT_SUPPORTED;
}

NVXL_STATUS HalGetPortSpeedMHz(uint16_t wVendorID, uint16_t wDeviceID, uint8_t uchLocalPort,
                               uint32_t ulDestID, uint8_t uchHopCount, uint8_t uchPort, uint32_t* pulSpeed)
{
    HAL_LOOKUP();
    if (HAL_ENTRY(pfnGetPortSpeedMHz))
        return HAL_ENTRY(pfnGetPortSpeedMHz)(HAL_TARGET_ARGS, uchPort, pulSpeed);
    if (!pulSpeed)
        return NVXL_ERR_INVALID_PARAM;
    *pulSpeed = 0;
    return NVXL_OK;
}

NVXL_STATUS HalSetPortSpeedMHz(uint16_t wVendorID, uint16_t wDeviceID, uint8_t uchLocalPort,
                               uint32_t ulDestID, uint8_t uchHopCount, uint8_t uchPort, uint32_t ulSpeed)
{
    HalDebugPrint(
        2,
        "SetPortSpeedMHz\n\tVendor=0x%x\n\tDevice=0x%x\n\tLocalPort=%d\n\tDestID=%d\n\tHopCount=%d\n"
        "\tPort=%d\n\tSpeed=%d\n",
        wVendorID, wDeviceID, uchLocalPort, (int)ulDestID, uchHopCount, uchPort, (int)ulSpeed);
    // A speed that no RapidIO link runs at is refused for every device, before any family sees it.
    if (ulSpeed != 1250 && ulSpeed != 2500 && ulSpeed != 3125 && ulSpeed != 5000 && ulSpeed != 6250)
    {
        HalDebugPrint(2, "Invalid speed setting %d.\n", (int)ulSpeed);
        return NVXL_ERR_INVALID_PARAM;
    }
    HAL_LOOKUP();
    if (HAL_ENTRY(pfnSetPortSpeedMHz))
        return HAL_ENTRY(pfnSetPortSpeedMHz)(HAL_TARGET_ARGS, uchPort, ulSpeed);
    HalDebugPrint(2, "No SetPortSpeed implementation for Device %x Vendor %x.\n", wDeviceID, wVendorID);
    return NVXL_ERR_NOT_SUPPORTED;
}

NVXL_STATUS HalGetDeviceID(uint16_t wVendorID, uint16_t wDeviceID, uint8_t uchLocalPort, uint32_t ulDestID,
                           uint8_t uchHopCount, uint16_t* pwSmall, uint16_t* pwLarge)
{
    HAL_LOOKUP();
    if (HAL_ENTRY(pfnGetDeviceID))
        return HAL_ENTRY(pfnGetDeviceID)(HAL_TARGET_ARGS, pwSmall, pwLarge);
    return HalStdGetDeviceID(HAL_TARGET_ARGS, pwSmall, pwLarge);
}

NVXL_STATUS HalSetDeviceID(uint16_t wVendorID, uint16_t wDeviceID, uint8_t uchLocalPort, uint32_t ulDestID,
                           uint8_t uchHopCount, const uint16_t* pwSmall, const uint16_t* pwLarge)
{
    // An 8-bit ID cannot exceed 255 on any device: refused before anything is touched.
    if (pwSmall && *pwSmall > 0xFFu)
        return NVXL_ERR_INVALID_PARAM;
    HAL_LOOKUP();
    if (HAL_ENTRY(pfnSetDeviceID))
        return HAL_ENTRY(pfnSetDeviceID)(HAL_TARGET_ARGS, pwSmall, pwLarge);
    return HalStdSetDeviceID(HAL_TARGET_ARGS, pwSmall, pwLarge);
}

NVXL_STATUS HalAcquireDeviceLock(uint16_t wVendorID, uint16_t wDeviceID, uint8_t uchLocalPort,
                                 uint32_t ulDestID, uint8_t uchHopCount, uint16_t wHostDeviceID,
                                 uint16_t* pwCurrentOwner, int32_t nTimeoutSec, uint32_t bBreakLock)
{
    HAL_LOOKUP();
    if (HAL_ENTRY(pfnAcquireDeviceLock))
        return HAL_ENTRY(pfnAcquireDeviceLock)(HAL_TARGET_ARGS, wHostDeviceID, pwCurrentOwner, nTimeoutSec,
                                               bBreakLock);
    return HalStdAcquireDeviceLock(HAL_TARGET_ARGS, wHostDeviceID, pwCurrentOwner, nTimeoutSec, bBreakLock);
}

NVXL_STATUS HalGetCurDeviceLock(uint16_t wVendorID, uint16_t wDeviceID, uint8_t uchLocalPort,
                                uint32_t ulDestID, uint8_t uchHopCount, uint16_t* pwCurrentOwner)
{
    HAL_LOOKUP();
    if (HAL_ENTRY(pfnGetCurDeviceLock))
        return HAL_ENTRY(pfnGetCurDeviceLock)(HAL_TARGET_ARGS, pwCurrentOwner);
    return HalStdGetCurDeviceLock(HAL_TARGET_ARGS, pwCurrentOwner);
}

NVXL_STATUS HalReleaseDeviceLock(uint16_t wVendorID, uint16_t wDeviceID, uint8_t uchLocalPort,
                                 uint32_t ulDestID, uint8_t uchHopCount, uint16_t wHostDeviceID,
                                 uint16_t* pwCurrentOwner)
{
    HAL_LOOKUP();
    if (HAL_ENTRY(pfnReleaseDeviceLock))
        return HAL_ENTRY(pfnReleaseDeviceLock)(HAL_TARGET_ARGS, wHostDeviceID, pwCurrentOwner);
    return HalStdReleaseDeviceLock(HAL_TARGET_ARGS, wHostDeviceID, pwCurrentOwner);
}

NVXL_STATUS HalGetComponentTag(uint16_t wVendorID, uint16_t wDeviceID, uint8_t uchLocalPort,
                               uint32_t ulDestID, uint8_t uchHopCount, uint32_t* pulTag)
{
    HAL_LOOKUP();
    if (HAL_ENTRY(pfnGetComponentTag))
    {
        HalDebugPrint(1, "Calling custom HalGetComponentTag for %04x %04x\n", wVendorID, wDeviceID);
        return HAL_ENTRY(pfnGetComponentTag)(HAL_TARGET_ARGS, pulTag);
    }
    return HalStdGetComponentTag(HAL_TARGET_ARGS, pulTag);
}

NVXL_STATUS HalSetComponentTag(uint16_t wVendorID, uint16_t wDeviceID, uint8_t uchLocalPort,
                               uint32_t ulDestID, uint8_t uchHopCount, uint32_t ulTag)
{
    HAL_LOOKUP();
    if (HAL_ENTRY(pfnSetComponentTag))
    {
        HalDebugPrint(1, "Calling custom HalSetComponentTag for %04x %04x, value %08lx\n", wVendorID,
                      wDeviceID, (unsigned long)ulTag);
        return HAL_ENTRY(pfnSetComponentTag)(HAL_TARGET_ARGS, ulTag);
    }
    return HalStdSetComponentTag(HAL_TARGET_ARGS, ulTag);
}

NVXL_STATUS HalIsPortTrained(uint16_t wVendorID, uint16_t wDeviceID, uint8_t uchLocalPort, uint32_t ulDestID,
                             uint8_t uchHopCount, uint8_t uchPort, uint32_t* pbTrained)
{
    HAL_LOOKUP();
    if (HAL_ENTRY(pfnIsPortTrained))
        return HAL_ENTRY(pfnIsPortTrained)(HAL_TARGET_ARGS, uchPort, pbTrained);
    return HalStdIsPortTrained(HAL_TARGET_ARGS, uchPort, pbTrained);
}

NVXL_STATUS HalGetExtFeaturesPtr(uint16_t wVendorID, uint16_t wDeviceID, uint8_t uchLocalPort,
                                 uint32_t ulDestID, uint8_t uchHopCount, uint16_t* pwPtr)
{
    HAL_LOOKUP();
    if (HAL_ENTRY(pfnGetExtFeaturesPtr))
        return HAL_ENTRY(pfnGetExtFeaturesPtr)(HAL_TARGET_ARGS, pwPtr);
    return HalStdGetExtFeaturesPtr(HAL_TARGET_ARGS, pwPtr);
}

NVXL_STATUS HalGetNextExtFeature(uint16_t wVendorID, uint16_t wDeviceID, uint8_t uchLocalPort,
                                 uint32_t ulDestID, uint8_t uchHopCount, uint16_t wCurrentPtr,
                                 uint16_t* pwNext)
{
    HAL_LOOKUP();
    if (HAL_ENTRY(pfnGetNextExtFeature))
        return HAL_ENTRY(pfnGetNextExtFeature)(HAL_TARGET_ARGS, wCurrentPtr, pwNext);
    return HalStdGetNextExtFeature(HAL_TARGET_ARGS, wCurrentPtr, pwNext);
}

NVXL_STATUS HalGetPortErrorStatus(uint16_t wVendorID, uint16_t wDeviceID, uint8_t uchLocalPort,
                                  uint32_t ulDestID, uint8_t uchHopCount, uint16_t wExtFeaturesPtr,
                                  uint8_t uchPort, uint32_t* pulStatus)
{
    HAL_LOOKUP();
    if (HAL_ENTRY(pfnGetPortErrorStatus))
        return HAL_ENTRY(pfnGetPortErrorStatus)(HAL_TARGET_ARGS, wExtFeaturesPtr, uchPort, pulStatus);
    return HalStdGetPortErrorStatus(HAL_TARGET_ARGS, wExtFeaturesPtr, uchPort, pulStatus);
}

NVXL_STATUS HalSetResponseTimeout(uint16_t wVendorID, uint16_t wDeviceID, uint8_t uchLocalPort,
                                  uint32_t ulDestID, uint8_t uchHopCount, uint32_t* pulTimeout)
{
    HAL_LOOKUP();
    if (HAL_ENTRY(pfnSetResponseTimeout))
        return HAL_ENTRY(pfnSetResponseTimeout)(HAL_TARGET_ARGS, pulTimeout);
    return HalStdSetResponseTimeout(HAL_TARGET_ARGS, pulTimeout);
}

NVXL_STATUS HalSetLinkTimeout(uint16_t wVendorID, uint16_t wDeviceID, uint8_t uchLocalPort, uint32_t ulDestID,
                              uint8_t uchHopCount, uint32_t* pulTimeout)
{
    HAL_LOOKUP();
    if (HAL_ENTRY(pfnSetLinkTimeout))
        return HAL_ENTRY(pfnSetLinkTimeout)(HAL_TARGET_ARGS, pulTimeout);
    return HalStdSetLinkTimeout(HAL_TARGET_ARGS, pulTimeout);
}

NVXL_STATUS HalSetPortEnables(uint16_t wVendorID, uint16_t wDeviceID, uint8_t uchLocalPort, uint32_t ulDestID,
                              uint8_t uchHopCount, uint8_t uchPort, uint32_t bInput, uint32_t bOutput)
{
    HAL_LOOKUP();
    if (HAL_ENTRY(pfnSetPortEnables))
        return HAL_ENTRY(pfnSetPortEnables)(HAL_TARGET_ARGS, uchPort, bInput, bOutput);
    // Standard ports come up enabled; only some families gate them.
    return NVXL_OK;
}

int32_t HalIsPerPortRouting(uint16_t wVendorID, uint16_t wDeviceID)
{
    HAL_LOOKUP();
    if (HAL_ENTRY(pfnIsPerPortRouting))
        return HAL_ENTRY(pfnIsPerPortRouting)(wVendorID, wDeviceID);
    return 0;
}

NVXL_STATUS HalGetSwitchPortInfo(uint16_t wVendorID, uint16_t wDeviceID, uint8_t uchLocalPort,
                                 uint32_t ulDestID, uint8_t uchHopCount, uint32_t* pulInfo)
{
    HAL_LOOKUP();
    if (HAL_ENTRY(pfnGetSwitchPortInfo))
        return HAL_ENTRY(pfnGetSwitchPortInfo)(HAL_TARGET_ARGS, pulInfo);
    return HalStdGetSwitchPortInfo(HAL_TARGET_ARGS, pulInfo);
}

NVXL_STATUS HalGetMulticastInfo(uint16_t wVendorID, uint16_t wDeviceID, uint8_t uchLocalPort,
                                uint32_t ulDestID, uint8_t uchHopCount, uint32_t* pbSupported,
                                uint32_t* pbSimpleAssoc, uint32_t* pbBlockAssoc, uint32_t* pbPerPortAssoc,
                                uint32_t* pulMaxAssociations, uint32_t* pulMaxMasks, uint32_t* pulReserved)
{
    HAL_LOOKUP();
    if (HAL_ENTRY(pfnGetMulticastInfo))
        return HAL_ENTRY(pfnGetMulticastInfo)(HAL_TARGET_ARGS, pbSupported, pbSimpleAssoc, pbBlockAssoc,
                                              pbPerPortAssoc, pulMaxAssociations, pulMaxMasks, pulReserved);
    return HalStdGetMulticastInfo(HAL_TARGET_ARGS, pbSupported, pbSimpleAssoc, pbBlockAssoc, pbPerPortAssoc,
                                  pulMaxAssociations, pulMaxMasks, pulReserved);
}

NVXL_STATUS HalMulticastMaskPort(uint16_t wVendorID, uint16_t wDeviceID, uint8_t uchLocalPort,
                                 uint32_t ulDestID, uint8_t uchHopCount, uint32_t ulCommand, uint16_t wMaskID,
                                 uint8_t uchPort, uint32_t* pulResult)
{
    HAL_LOOKUP();
    if (HAL_ENTRY(pfnMulticastMaskPort))
        return HAL_ENTRY(pfnMulticastMaskPort)(HAL_TARGET_ARGS, ulCommand, wMaskID, uchPort, pulResult);
    return HalStdMulticastMaskPort(HAL_TARGET_ARGS, ulCommand, wMaskID, uchPort, pulResult);
}

NVXL_STATUS HalMulticastAssociate(uint16_t wVendorID, uint16_t wDeviceID, uint8_t uchLocalPort,
                                  uint32_t ulDestID, uint8_t uchHopCount, uint32_t ulCommand, uint32_t bLarge,
                                  uint16_t wDestBlockSize, uint16_t wDestID, uint16_t wMaskID,
                                  uint8_t uchPort, uint32_t* pulResult)
{
    HAL_LOOKUP();
    if (HAL_ENTRY(pfnMulticastAssociate))
        return HAL_ENTRY(pfnMulticastAssociate)(HAL_TARGET_ARGS, ulCommand, bLarge, wDestBlockSize, wDestID,
                                                wMaskID, uchPort, pulResult);
    return HalStdMulticastAssociate(HAL_TARGET_ARGS, ulCommand, bLarge, wDestBlockSize, wDestID, wMaskID,
                                    uchPort, pulResult);
}

NVXL_STATUS HalGetFeatures(uint16_t wVendorID, uint16_t wDeviceID, uint8_t uchLocalPort, uint32_t ulDestID,
                           uint8_t uchHopCount, uint32_t* pulFeatures)
{
    HAL_LOOKUP();
    if (HAL_ENTRY(pfnGetFeatures))
        return HAL_ENTRY(pfnGetFeatures)(HAL_TARGET_ARGS, pulFeatures);
    return HalStdGetFeatures(HAL_TARGET_ARGS, pulFeatures);
}

NVXL_STATUS HalEnableHostAccess(uint16_t wVendorID, uint16_t wDeviceID, uint8_t uchLocalPort,
                                uint32_t ulDestID, uint8_t uchHopCount, uint32_t bEnable)
{
    HAL_LOOKUP();
    if (HAL_ENTRY(pfnEnableHostAccess))
        return HAL_ENTRY(pfnEnableHostAccess)(HAL_TARGET_ARGS, bEnable);
    // A standard device is always open to maintenance traffic.
    return NVXL_OK;
}

NVXL_STATUS HalRouteAddEntry(uint16_t wVendorID, uint16_t wDeviceID, uint8_t uchLocalPort, uint32_t ulDestID,
                             uint8_t uchHopCount, uint8_t uchWhichTable, uint16_t wRouteDestID,
                             uint8_t uchRoutePortNum, NVXL_ROUTE_TYPE eType, uint32_t ulExtra)
{
    HAL_LOOKUP();
    if (HAL_ENTRY(pfnRouteAddEntry))
        return HAL_ENTRY(pfnRouteAddEntry)(HAL_TARGET_ARGS, uchWhichTable, wRouteDestID, uchRoutePortNum,
                                           eType, ulExtra);
    return NVXL_ERR_NOT_SUPPORTED;
}

NVXL_STATUS HalRouteGetEntry(uint16_t wVendorID, uint16_t wDeviceID, uint8_t uchLocalPort, uint32_t ulDestID,
                             uint8_t uchHopCount, uint8_t uchWhichTable, uint16_t wRouteDestID,
                             NVXL_ROUTE_TYPE* peType, uint8_t* puchPort, uint32_t* pulExtra)
{
    HAL_LOOKUP();
    if (HAL_ENTRY(pfnRouteGetEntry))
        return HAL_ENTRY(pfnRouteGetEntry)(HAL_TARGET_ARGS, uchWhichTable, wRouteDestID, peType, puchPort,
                                           pulExtra);
    if (!pulExtra)
        return NVXL_ERR_INVALID_PARAM;
    return NVXL_ERR_NOT_SUPPORTED;
}

NVXL_STATUS HalSetDefaultRoute(uint16_t wVendorID, uint16_t wDeviceID, uint8_t uchLocalPort,
                               uint32_t ulDestID, uint8_t uchHopCount, uint8_t uchPort)
{
    HAL_LOOKUP();
    if (HAL_ENTRY(pfnSetDefaultRoute))
        return HAL_ENTRY(pfnSetDefaultRoute)(HAL_TARGET_ARGS, uchPort);
    return HalStdSetDefaultRoute(HAL_TARGET_ARGS, uchPort);
}

NVXL_STATUS HalGetRouteLimit(uint16_t wVendorID, uint16_t wDeviceID, uint8_t uchLocalPort, uint32_t ulDestID,
                             uint8_t uchHopCount, uint32_t* pulLimit)
{
    HAL_LOOKUP();
    if (HAL_ENTRY(pfnGetRouteLimit))
        return HAL_ENTRY(pfnGetRouteLimit)(HAL_TARGET_ARGS, pulLimit);
    return HalStdGetRouteLimit(HAL_TARGET_ARGS, pulLimit);
}

NVXL_STATUS HalLoadRoutingTable(uint16_t wVendorID, uint16_t wDeviceID, uint8_t uchLocalPort,
                                uint32_t ulDestID, uint8_t uchHopCount, uint8_t uchWhichTable,
                                uint32_t* pulNumEntries, NVXL_ROUTE_ENTRY** ppTable)
{
    HAL_LOOKUP();
    if (HAL_ENTRY(pfnLoadRoutingTable))
        return HAL_ENTRY(pfnLoadRoutingTable)(HAL_TARGET_ARGS, uchWhichTable, pulNumEntries, ppTable);
    return HalStdLoadRoutingTable(HAL_TARGET_ARGS, uchWhichTable, pulNumEntries, ppTable);
}

NVXL_STATUS HalResetRoutingTable(uint16_t wVendorID, uint16_t wDeviceID, uint8_t uchLocalPort,
                                 uint32_t ulDestID, uint8_t uchHopCount)
{
    HAL_LOOKUP();
    if (HAL_ENTRY(pfnResetRoutingTable))
        return HAL_ENTRY(pfnResetRoutingTable)(HAL_TARGET_ARGS);
    return NVXL_OK;
}

int32_t HalUsesDestID(uint16_t wVendorID, uint16_t wDeviceID)
{
    HAL_LOOKUP();
    if (HAL_ENTRY(pfnUsesDestID))
        return HAL_ENTRY(pfnUsesDestID)(wVendorID, wDeviceID);
    return 0;
}

NVXL_STATUS HalWriteBreadcrumb(uint16_t wVendorID, uint16_t wDeviceID, uint8_t uchLocalPort,
                               uint32_t ulDestID, uint8_t uchHopCount, uint32_t ulValue)
{
    HAL_LOOKUP();
    if (HAL_ENTRY(pfnWriteBreadcrumb))
    {
        HalDebugPrint(1, "Calling custom HalWriteBreadcrumb for %04x %04x, value %08lx\n", wVendorID,
                      wDeviceID, (unsigned long)ulValue);
        return HAL_ENTRY(pfnWriteBreadcrumb)(HAL_TARGET_ARGS, ulValue);
    }
    // By default the breadcrumb lives in the component tag.
    return HalSetComponentTag(HAL_TARGET_ARGS, ulValue);
}

NVXL_STATUS HalReadBreadcrumb(uint16_t wVendorID, uint16_t wDeviceID, uint8_t uchLocalPort, uint32_t ulDestID,
                              uint8_t uchHopCount, uint32_t* pulValue)
{
    HAL_LOOKUP();
    if (HAL_ENTRY(pfnReadBreadcrumb))
    {
        HalDebugPrint(1, "Calling custom HalReadBreadcrumb for %04x %04x\n", wVendorID, wDeviceID);
        return HAL_ENTRY(pfnReadBreadcrumb)(HAL_TARGET_ARGS, pulValue);
    }
    return HalGetComponentTag(HAL_TARGET_ARGS, pulValue);
}

NVXL_STATUS HalGetNumPorts(uint16_t wVendorID, uint16_t wDeviceID, uint8_t uchLocalPort, uint32_t ulDestID,
                           uint8_t uchHopCount, uint32_t* pulNumPorts)
{
    HAL_LOOKUP();
    if (HAL_ENTRY(pfnGetNumPorts))
        return HAL_ENTRY(pfnGetNumPorts)(HAL_TARGET_ARGS, pulNumPorts);
    return HalStdGetNumPorts(HAL_TARGET_ARGS, pulNumPorts);
}

NVXL_STATUS HalGetSourceOps(uint16_t wVendorID, uint16_t wDeviceID, uint8_t uchLocalPort, uint32_t ulDestID,
                            uint8_t uchHopCount, uint32_t* pulOps)
{
    HAL_LOOKUP();
    if (HAL_ENTRY(pfnGetSourceOps))
        return HAL_ENTRY(pfnGetSourceOps)(HAL_TARGET_ARGS, pulOps);
    return HalStdGetSourceOps(HAL_TARGET_ARGS, pulOps);
}

NVXL_STATUS HalGetDestOps(uint16_t wVendorID, uint16_t wDeviceID, uint8_t uchLocalPort, uint32_t ulDestID,
                          uint8_t uchHopCount, uint32_t* pulOps)
{
    HAL_LOOKUP();
    if (HAL_ENTRY(pfnGetDestOps))
        return HAL_ENTRY(pfnGetDestOps)(HAL_TARGET_ARGS, pulOps);
    return HalStdGetDestOps(HAL_TARGET_ARGS, pulOps);
}

NVXL_STATUS HalGetAddressMode(uint16_t wVendorID, uint16_t wDeviceID, uint8_t uchLocalPort, uint32_t ulDestID,
                              uint8_t uchHopCount, uint32_t* pulMode)
{
    HAL_LOOKUP();
    if (HAL_ENTRY(pfnGetAddressMode))
        return HAL_ENTRY(pfnGetAddressMode)(HAL_TARGET_ARGS, pulMode);
    return HalStdGetAddressMode(HAL_TARGET_ARGS, pulMode);
}

NVXL_STATUS HalGetAssemblyInfo(uint16_t wVendorID, uint16_t wDeviceID, uint8_t uchLocalPort,
                               uint32_t ulDestID, uint8_t uchHopCount, uint16_t* pwAssyID,
                               uint16_t* pwAssyVendor)
{
    HAL_LOOKUP();
    if (HAL_ENTRY(pfnGetAssemblyInfo))
        return HAL_ENTRY(pfnGetAssemblyInfo)(HAL_TARGET_ARGS, pwAssyID, pwAssyVendor);
    return HalStdGetAssemblyInfo(HAL_TARGET_ARGS, pwAssyID, pwAssyVendor);
}

NVXL_STATUS HalGetDefaultRoute(uint16_t wVendorID, uint16_t wDeviceID, uint8_t uchLocalPort,
                               uint32_t ulDestID, uint8_t uchHopCount, uint8_t* puchPort)
{
    HAL_LOOKUP();
    if (HAL_ENTRY(pfnGetDefaultRoute))
        return HAL_ENTRY(pfnGetDefaultRoute)(HAL_TARGET_ARGS, puchPort);
    return HalStdGetDefaultRoute(HAL_TARGET_ARGS, puchPort);
}

NVXL_STATUS HalStoreRoutingTable(uint16_t wVendorID, uint16_t wDeviceID, uint8_t uchLocalPort,
                                 uint32_t ulDestID, uint8_t uchHopCount, uint8_t uchWhichTable,
                                 uint32_t ulNumEntries, const NVXL_ROUTE_ENTRY* pTable)
{
    HAL_LOOKUP();
    if (HAL_ENTRY(pfnStoreRoutingTable))
        return HAL_ENTRY(pfnStoreRoutingTable)(HAL_TARGET_ARGS, uchWhichTable, ulNumEntries, pTable);
    return HalStdStoreRoutingTable(HAL_TARGET_ARGS, uchWhichTable, ulNumEntries, pTable);
}

int32_t HalSupportsEEPROM(uint16_t wVendorID, uint16_t wDeviceID)
{
    HAL_LOOKUP();
    if (HAL_ENTRY(pfnSupportsEEPROM))
        return HAL_ENTRY(pfnSupportsEEPROM)(wVendorID, wDeviceID);
    return 0;
}

NVXL_STATUS HalInitEEPROM(uint16_t wVendorID, uint16_t wDeviceID, uint8_t uchLocalPort, uint32_t ulDestID,
                          uint8_t uchHopCount)
{
    HAL_LOOKUP();
    if (HAL_ENTRY(pfnInitEEPROM))
        return HAL_ENTRY(pfnInitEEPROM)(HAL_TARGET_ARGS);
    return NVXL_ERR_NOT_SUPPORTED;
}

NVXL_STATUS HalWriteEEPROM(uint16_t wVendorID, uint16_t wDeviceID, uint8_t uchLocalPort, uint32_t ulDestID,
                           uint8_t uchHopCount, uint16_t wByteCount, uint16_t wAddress, const uint8_t* pbData)
{
    HAL_LOOKUP();
    if (HAL_ENTRY(pfnWriteEEPROM))
        return HAL_ENTRY(pfnWriteEEPROM)(HAL_TARGET_ARGS, wByteCount, wAddress, pbData);
    return NVXL_ERR_NOT_SUPPORTED;
}

NVXL_STATUS HalReadEEPROM(uint16_t wVendorID, uint16_t wDeviceID, uint8_t uchLocalPort, uint32_t ulDestID,
                          uint8_t uchHopCount, uint16_t wByteCount, uint16_t wAddress, uint8_t* pbData)
{
    HAL_LOOKUP();
    if (HAL_ENTRY(pfnReadEEPROM))
        return HAL_ENTRY(pfnReadEEPROM)(HAL_TARGET_ARGS, wByteCount, wAddress, pbData);
    return NVXL_ERR_NOT_SUPPORTED;
}

NVXL_STATUS HalSetEEPROMAddress(uint16_t wVendorID, uint16_t wDeviceID, uint8_t uchLocalPort,
                                uint32_t ulDestID, uint8_t uchHopCount, uint8_t uchAddressSize,
                                uint8_t uchI2CAddress)
{
    // A device has an addressable EEPROM when it can read one: the read entry decides, and a record
    // with only the address entry is treated as having no EEPROM. A record with the read entry but
    // without this one has nothing to call and is refused the same way.
    HAL_LOOKUP();
    if (HAL_ENTRY(pfnReadEEPROM) && HAL_ENTRY(pfnSetEEPROMAddress))
        return HAL_ENTRY(pfnSetEEPROMAddress)(HAL_TARGET_ARGS, uchAddressSize, uchI2CAddress);
    return NVXL_ERR_NOT_SUPPORTED;
}

NVXL_STATUS HalFlashRoutingTable(uint16_t wVendorID, uint16_t wDeviceID, uint8_t uchLocalPort,
                                 uint32_t ulDestID, uint8_t uchHopCount, uint8_t uchWhichTable,
                                 uint32_t ulNumEntries, const NVXL_ROUTE_ENTRY* pTable)
{
    HAL_LOOKUP();
    if (HAL_ENTRY(pfnFlashRoutingTable))
        return HAL_ENTRY(pfnFlashRoutingTable)(HAL_TARGET_ARGS, uchWhichTable, ulNumEntries, pTable);
    return NVXL_ERR_NOT_SUPPORTED;
}

NVXL_STATUS HalClearPortErrors(uint16_t wVendorID, uint16_t wDeviceID, uint8_t uchLocalPort,
                               uint32_t ulDestID, uint8_t uchHopCount, uint8_t uchPort,
                               uint32_t* pulRemaining)
{
    HAL_LOOKUP();
    if (HAL_ENTRY(pfnClearPortErrors))
        return HAL_ENTRY(pfnClearPortErrors)(HAL_TARGET_ARGS, uchPort, pulRemaining);
    return HalStdClearPortErrors(HAL_TARGET_ARGS, uchPort, pulRemaining);
}

NVXL_STATUS HalGetPortAckIDs(uint16_t wVendorID, uint16_t wDeviceID, uint8_t uchLocalPort, uint32_t ulDestID,
                             uint8_t uchHopCount, uint8_t uchPort, uint8_t* puchInbound,
                             uint8_t* puchOutstanding, uint8_t* puchOutbound)
{
    HAL_LOOKUP();
    if (HAL_ENTRY(pfnGetPortAckIDs))
        return HAL_ENTRY(pfnGetPortAckIDs)(HAL_TARGET_ARGS, uchPort, puchInbound, puchOutstanding,
                                           puchOutbound);
    return HalStdGetPortAckIDs(HAL_TARGET_ARGS, uchPort, puchInbound, puchOutstanding, puchOutbound);
}

NVXL_STATUS HalSendLinkMaintRequest(uint16_t wVendorID, uint16_t wDeviceID, uint8_t uchLocalPort,
                                    uint32_t ulDestID, uint8_t uchHopCount, uint8_t uchPort,
                                    uint32_t ulCommand, uint32_t* pulAckID, uint32_t* pulLinkStatus)
{
    HAL_LOOKUP();
    if (HAL_ENTRY(pfnSendLinkMaintRequest))
        return HAL_ENTRY(pfnSendLinkMaintRequest)(HAL_TARGET_ARGS, uchPort, ulCommand, pulAckID,
                                                  pulLinkStatus);
    return HalStdSendLinkMaintRequest(HAL_TARGET_ARGS, uchPort, ulCommand, pulAckID, pulLinkStatus);
}

NVXL_STATUS HalResyncAckIDs(uint16_t wVendorID, uint16_t wDeviceID, uint8_t uchLocalPort, uint32_t ulDestID,
                            uint8_t uchHopCount, uint8_t uchPort)
{
    HAL_LOOKUP();
    if (HAL_ENTRY(pfnResyncAckIDs))
        return HAL_ENTRY(pfnResyncAckIDs)(HAL_TARGET_ARGS, uchPort);
    return NVXL_ERR_NOT_SUPPORTED;
}

NVXL_STATUS HalSetPortDiscovered(uint16_t wVendorID, uint16_t wDeviceID, uint8_t uchLocalPort,
                                 uint32_t ulDestID, uint8_t uchHopCount, uint32_t bDiscovered)
{
    HAL_LOOKUP();
    if (HAL_ENTRY(pfnSetPortDiscovered))
        return HAL_ENTRY(pfnSetPortDiscovered)(HAL_TARGET_ARGS, bDiscovered);
    return HalStdSetPortDiscovered(HAL_TARGET_ARGS, bDiscovered);
}

NVXL_STATUS HalGetVDIDCaps(uint16_t wVendorID, uint16_t wDeviceID, uint8_t uchLocalPort, uint32_t ulDestID,
                           uint8_t uchHopCount, uint16_t* pwFlags, uint16_t* pwNum2ary)
{
    HAL_LOOKUP();
    if (!HAL_ENTRY(pfnGetVDIDCaps))
    {
        // Without an entry the device simply has no secondary destination IDs.
        if (!pwFlags)
            return NVXL_OK;
        HalDebugPrint(1, "No custom VDID Caps. Flags=0, Num2ary=0\n");
        *pwFlags = 0;
        if (pwNum2ary)
            *pwNum2ary = 0;
        return NVXL_OK;
    }
    NVXL_STATUS nStatus = HAL_ENTRY(pfnGetVDIDCaps)(HAL_TARGET_ARGS, pwFlags, pwNum2ary);
    if (nStatus != NVXL_OK)
    {
        HalDebugPrint(1, "Can't get VDID caps.\n");
        return nStatus;
    }
    if (pwFlags && (*pwFlags & 1u))
    {
        // The count comes from the device's own operation, whatever the caps entry left there.
        HalDebugPrint(1, "Supports 2ary DestIDs.\n");
        uint16_t wNum2ary = 0;
        nStatus = HalGetNum2aryDestIDs(HAL_TARGET_ARGS, &wNum2ary);
        if (pwNum2ary)
            *pwNum2ary = wNum2ary;
        HalDebugPrint(1, "Num2ary=%d\n", wNum2ary);
        return nStatus;
    }
    HalDebugPrint(1, "No custom VDID Caps. Num2ary=0\n");
    if (pwNum2ary)
        *pwNum2ary = 0;
    return NVXL_OK;
}

NVXL_STATUS HalGetNum2aryDestIDs(uint16_t wVendorID, uint16_t wDeviceID, uint8_t uchLocalPort,
                                 uint32_t ulDestID, uint8_t uchHopCount, uint16_t* pwNum2ary)
{
    HAL_LOOKUP();
    if (HAL_ENTRY(pfnGetNum2aryDestIDs))
        return HAL_ENTRY(pfnGetNum2aryDestIDs)(HAL_TARGET_ARGS, pwNum2ary);
    if (pwNum2ary)
        *pwNum2ary = 0;
    return NVXL_OK;
}

NVXL_STATUS HalGet2aryDestID(uint16_t wVendorID, uint16_t wDeviceID, uint8_t uchLocalPort, uint32_t ulDestID,
                             uint8_t uchHopCount, uint16_t wIndex, uint16_t* pwSmall, uint16_t* pwLarge)
{
    HAL_LOOKUP();
    if (HAL_ENTRY(pfnGet2aryDestID))
        return HAL_ENTRY(pfnGet2aryDestID)(HAL_TARGET_ARGS, wIndex, pwSmall, pwLarge);
    return NVXL_ERR_NOT_SUPPORTED;
}

NVXL_STATUS HalSet2aryDestID(uint16_t wVendorID, uint16_t wDeviceID, uint8_t uchLocalPort, uint32_t ulDestID,
                             uint8_t uchHopCount, uint16_t wIndex, const uint16_t* pwSmall,
                             const uint16_t* pwLarge)
{
    HAL_LOOKUP();
    if (HAL_ENTRY(pfnSet2aryDestID))
        return HAL_ENTRY(pfnSet2aryDestID)(HAL_TARGET_ARGS, wIndex, pwSmall, pwLarge);
    return NVXL_ERR_NOT_SUPPORTED;
}
