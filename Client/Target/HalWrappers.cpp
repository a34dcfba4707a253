// Every HAL result crosses into the client's status space here, and nowhere else.
#include "HalWrappers.h"

#include "NVXLStatus.h"

namespace
{
// The device pair of a caller that does not know the device: no record has it.
constexpr uint16_t kAnyVendor = 0xFFFF;
constexpr uint16_t kAnyDevice = 0xFFFF;

uint8_t ToByte(uint32_t bValue)
{
    return bValue ? 1 : 0;
}
} // namespace

int32_t GetPortWidth(uint16_t wVendorID, uint16_t wDeviceID, uint8_t uchLocalPort, uint32_t ulDestID,
                     uint8_t uchHopCount, uint8_t uchPort, uint8_t* puchPortWidth, uint8_t* puchLane,
                     uint8_t* puchMaxWidth, uint8_t* puchWidthOverride, uint8_t* pbParallel,
                     uint32_t* pulPortType)
{
    // An output the HAL leaves alone stays as the caller had it.
    uint32_t bParallel = pbParallel ? *pbParallel : 0;
    const NVXL_STATUS nStatus =
        HalGetPortWidth(wVendorID, wDeviceID, uchLocalPort, ulDestID, uchHopCount, uchPort, puchPortWidth,
                        puchLane, puchMaxWidth, puchWidthOverride, &bParallel, pulPortType);
    if (pbParallel)
        *pbParallel = ToByte(bParallel);
    return HalStatusToClient(nStatus);
}

int32_t GetPortConfig(uint16_t wVendorID, uint16_t wDeviceID, uint8_t uchLocalPort, uint32_t ulDestID,
                      uint8_t uchHopCount, uint8_t uchPort, uint32_t* pulMask, NVXL_PORT_CONFIG* pRecord)
{
    return HalStatusToClient(HalGetPortConfig(wVendorID, wDeviceID, uchLocalPort, ulDestID, uchHopCount,
                                              uchPort, pulMask, pRecord));
}

int32_t GetPortSpeedMHz(uint16_t wVendorID, uint16_t wDeviceID, uint8_t uchLocalPort, uint32_t ulDestID,
                        uint8_t uchHopCount, uint8_t uchPort, uint32_t* pulSpeed)
{
    return HalStatusToClient(
        HalGetPortSpeedMHz(wVendorID, wDeviceID, uchLocalPort, ulDestID, uchHopCount, uchPort, pulSpeed));
}

int32_t SetPortSpeedMHz(uint16_t wVendorID, uint16_t wDeviceID, uint8_t uchLocalPort, uint32_t ulDestID,
                        uint8_t uchHopCount, uint8_t uchPort, uint32_t ulSpeed)
{
    return HalStatusToClient(
        HalSetPortSpeedMHz(wVendorID, wDeviceID, uchLocalPort, ulDestID, uchHopCount, uchPort, ulSpeed));
}

int32_t GetDeviceID(uint8_t uchLocalPort, uint32_t ulDestID, uint8_t uchHopCount, uint16_t* pwSmall,
                    uint16_t* pwLarge)
{
    return HalStatusToClient(
        HalGetDeviceID(kAnyVendor, kAnyDevice, uchLocalPort, ulDestID, uchHopCount, pwSmall, pwLarge));
}

int32_t SetDeviceID(uint8_t uchLocalPort, uint32_t ulDestID, uint8_t uchHopCount, const uint16_t* pwSmall,
                    const uint16_t* pwLarge)
{
    return HalStatusToClient(
        HalSetDeviceID(kAnyVendor, kAnyDevice, uchLocalPort, ulDestID, uchHopCount, pwSmall, pwLarge));
}

int32_t AcquireDeviceLock(uint16_t wVendorID, uint16_t wDeviceID, uint8_t uchLocalPort, uint32_t ulDestID,
                          uint8_t uchHopCount, uint16_t wHostDeviceID, uint16_t* pwCurrentOwner,
                          int32_t nTimeoutSec, bool bBreakLock)
{
    return HalStatusToClient(HalAcquireDeviceLock(wVendorID, wDeviceID, uchLocalPort, ulDestID, uchHopCount,
                                                  wHostDeviceID, pwCurrentOwner, nTimeoutSec,
                                                  bBreakLock ? 1 : 0));
}

int32_t GetCurDeviceLock(uint8_t uchLocalPort, uint32_t ulDestID, uint8_t uchHopCount,
                         uint16_t* pwCurrentOwner)
{
    return HalStatusToClient(
        HalGetCurDeviceLock(kAnyVendor, kAnyDevice, uchLocalPort, ulDestID, uchHopCount, pwCurrentOwner));
}

int32_t ReleaseDeviceLock(uint16_t wVendorID, uint16_t wDeviceID, uint8_t uchLocalPort, uint32_t ulDestID,
                          uint8_t uchHopCount, uint16_t wHostDeviceID, uint16_t* pwCurrentOwner)
{
    return HalStatusToClient(HalReleaseDeviceLock(wVendorID, wDeviceID, uchLocalPort, ulDestID, uchHopCount,
                                                  wHostDeviceID, pwCurrentOwner));
}

int32_t GetComponentTag(uint8_t uchLocalPort, uint32_t ulDestID, uint8_t uchHopCount, uint32_t* pulTag)
{
    return HalStatusToClient(
        HalGetComponentTag(kAnyVendor, kAnyDevice, uchLocalPort, ulDestID, uchHopCount, pulTag));
}

int32_t SetComponentTag(uint8_t uchLocalPort, uint32_t ulDestID, uint8_t uchHopCount, uint32_t ulTag)
{
    return HalStatusToClient(
        HalSetComponentTag(kAnyVendor, kAnyDevice, uchLocalPort, ulDestID, uchHopCount, ulTag));
}

int32_t IsPortTrained(uint16_t wVendorID, uint16_t wDeviceID, uint8_t uchLocalPort, uint32_t ulDestID,
                      uint8_t uchHopCount, uint8_t uchPort, uint8_t* pbTrained)
{
    uint32_t bTrained = pbTrained ? *pbTrained : 0;
    const NVXL_STATUS nStatus = HalIsPortTrained(wVendorID, wDeviceID, uchLocalPort, ulDestID, uchHopCount,
                                                 uchPort, pbTrained ? &bTrained : nullptr);
    if (pbTrained)
        *pbTrained = ToByte(bTrained);
    return HalStatusToClient(nStatus);
}

int32_t GetExtFeaturesPtr(uint8_t uchLocalPort, uint32_t ulDestID, uint8_t uchHopCount, uint16_t* pwPtr)
{
    return HalStatusToClient(
        HalGetExtFeaturesPtr(kAnyVendor, kAnyDevice, uchLocalPort, ulDestID, uchHopCount, pwPtr));
}

int32_t GetNextExtFeature(uint16_t wVendorID, uint16_t wDeviceID, uint8_t uchLocalPort, uint32_t ulDestID,
                          uint8_t uchHopCount, uint16_t wCurrentPtr, uint16_t* pwNext)
{
    return HalStatusToClient(
        HalGetNextExtFeature(wVendorID, wDeviceID, uchLocalPort, ulDestID, uchHopCount, wCurrentPtr, pwNext));
}

int32_t GetPortErrorStatus(uint8_t uchLocalPort, uint32_t ulDestID, uint8_t uchHopCount,
                           uint16_t wExtFeaturesPtr, uint8_t uchPort, uint32_t* pulStatus)
{
    return HalStatusToClient(HalGetPortErrorStatus(kAnyVendor, kAnyDevice, uchLocalPort, ulDestID,
                                                   uchHopCount, wExtFeaturesPtr, uchPort, pulStatus));
}

int32_t SetResponseTimeout(uint8_t uchLocalPort, uint32_t ulDestID, uint8_t uchHopCount, uint32_t* pulTimeout)
{
    return HalStatusToClient(
        HalSetResponseTimeout(kAnyVendor, kAnyDevice, uchLocalPort, ulDestID, uchHopCount, pulTimeout));
}

int32_t SetLinkTimeout(uint16_t wVendorID, uint16_t wDeviceID, uint8_t uchLocalPort, uint32_t ulDestID,
                       uint8_t uchHopCount, uint32_t* pulTimeout)
{
    return HalStatusToClient(
        HalSetLinkTimeout(wVendorID, wDeviceID, uchLocalPort, ulDestID, uchHopCount, pulTimeout));
}

int32_t SetPortEnables(uint16_t wVendorID, uint16_t wDeviceID, uint8_t uchLocalPort, uint32_t ulDestID,
                       uint8_t uchHopCount, uint8_t uchPort, bool bInput, bool bOutput)
{
    return HalStatusToClient(HalSetPortEnables(wVendorID, wDeviceID, uchLocalPort, ulDestID, uchHopCount,
                                               uchPort, bInput ? 1 : 0, bOutput ? 1 : 0));
}

bool IsPerPortRouting(uint16_t wVendorID, uint16_t wDeviceID)
{
    return HalIsPerPortRouting(wVendorID, wDeviceID) != 0;
}

int32_t GetSwitchPortInfo(uint8_t uchLocalPort, uint32_t ulDestID, uint8_t uchHopCount, uint32_t* pulInfo)
{
    return HalStatusToClient(
        HalGetSwitchPortInfo(kAnyVendor, kAnyDevice, uchLocalPort, ulDestID, uchHopCount, pulInfo));
}

int32_t GetMulticastInfo(uint16_t wVendorID, uint16_t wDeviceID, uint8_t uchLocalPort, uint32_t ulDestID,
                         uint8_t uchHopCount, uint8_t* pbSupported, uint8_t* pbSimpleAssoc,
                         uint8_t* pbBlockAssoc, uint8_t* pbPerPortAssoc, uint32_t* pulMaxAssociations,
                         uint32_t* pulMaxMasks, uint32_t* pulReserved)
{
    // Outputs the HAL leaves alone (those of a device without multicast) stay as the caller had them.
    uint32_t bSupported = pbSupported ? *pbSupported : 0;
    uint32_t bSimpleAssoc = pbSimpleAssoc ? *pbSimpleAssoc : 0;
    uint32_t bBlockAssoc = pbBlockAssoc ? *pbBlockAssoc : 0;
    uint32_t bPerPortAssoc = pbPerPortAssoc ? *pbPerPortAssoc : 0;
    const NVXL_STATUS nStatus = HalGetMulticastInfo(
        wVendorID, wDeviceID, uchLocalPort, ulDestID, uchHopCount, pbSupported ? &bSupported : nullptr,
        pbSimpleAssoc ? &bSimpleAssoc : nullptr, pbBlockAssoc ? &bBlockAssoc : nullptr,
        pbPerPortAssoc ? &bPerPortAssoc : nullptr, pulMaxAssociations, pulMaxMasks, pulReserved);
    if (pbSupported)
        *pbSupported = ToByte(bSupported);
    if (pbSimpleAssoc)
        *pbSimpleAssoc = ToByte(bSimpleAssoc);
    if (pbBlockAssoc)
        *pbBlockAssoc = ToByte(bBlockAssoc);
    if (pbPerPortAssoc)
        *pbPerPortAssoc = ToByte(bPerPortAssoc);
    return HalStatusToClient(nStatus);
}

int32_t MulticastMaskPort(uint16_t wVendorID, uint16_t wDeviceID, uint8_t uchLocalPort, uint32_t ulDestID,
                          uint8_t uchHopCount, uint32_t ulCommand, uint16_t wMaskID, uint8_t uchPort,
                          uint32_t* pulResult)
{
    return HalStatusToClient(HalMulticastMaskPort(wVendorID, wDeviceID, uchLocalPort, ulDestID, uchHopCount,
                                                  ulCommand, wMaskID, uchPort, pulResult));
}

int32_t MulticastAssociate(uint16_t wVendorID, uint16_t wDeviceID, uint8_t uchLocalPort, uint32_t ulDestID,
                           uint8_t uchHopCount, uint32_t ulCommand, bool bLarge, uint16_t wDestBlockSize,
                           uint16_t wDestID, uint16_t wMaskID, uint8_t uchPort, uint32_t* pulResult)
{
    return HalStatusToClient(HalMulticastAssociate(wVendorID, wDeviceID, uchLocalPort, ulDestID, uchHopCount,
                                                   ulCommand, bLarge ? 1 : 0, wDestBlockSize, wDestID,
                                                   wMaskID, uchPort, pulResult));
}

int32_t GetFeatures(uint8_t uchLocalPort, uint32_t ulDestID, uint8_t uchHopCount, uint32_t* pulFeatures)
{
    return HalStatusToClient(
        HalGetFeatures(kAnyVendor, kAnyDevice, uchLocalPort, ulDestID, uchHopCount, pulFeatures));
}

int32_t EnableHostAccess(uint16_t wVendorID, uint16_t wDeviceID, uint8_t uchLocalPort, uint32_t ulDestID,
                         uint8_t uchHopCount, bool bEnable)
{
    return HalStatusToClient(
        HalEnableHostAccess(wVendorID, wDeviceID, uchLocalPort, ulDestID, uchHopCount, bEnable ? 1 : 0));
}

int32_t RouteAddEntry(uint16_t wVendorID, uint16_t wDeviceID, uint8_t uchLocalPort, uint32_t ulDestID,
                      uint8_t uchHopCount, uint8_t uchWhichTable, uint16_t wRouteDestID,
                      uint8_t uchRoutePortNum, NVXL_ROUTE_TYPE eType, uint32_t ulExtra)
{
    return HalStatusToClient(HalRouteAddEntry(wVendorID, wDeviceID, uchLocalPort, ulDestID, uchHopCount,
                                              uchWhichTable, wRouteDestID, uchRoutePortNum, eType, ulExtra));
}

int32_t RouteGetEntry(uint16_t wVendorID, uint16_t wDeviceID, uint8_t uchLocalPort, uint32_t ulDestID,
                      uint8_t uchHopCount, uint8_t uchWhichTable, uint16_t wRouteDestID,
                      NVXL_ROUTE_TYPE* peType, uint8_t* puchPort, uint32_t* pulExtra)
{
    return HalStatusToClient(HalRouteGetEntry(wVendorID, wDeviceID, uchLocalPort, ulDestID, uchHopCount,
                                              uchWhichTable, wRouteDestID, peType, puchPort, pulExtra));
}

int32_t SetDefaultRoute(uint16_t wVendorID, uint16_t wDeviceID, uint8_t uchLocalPort, uint32_t ulDestID,
                        uint8_t uchHopCount, uint8_t uchPort)
{
    return HalStatusToClient(
        HalSetDefaultRoute(wVendorID, wDeviceID, uchLocalPort, ulDestID, uchHopCount, uchPort));
}

int32_t GetRouteLimit(uint16_t wVendorID, uint16_t wDeviceID, uint8_t uchLocalPort, uint32_t ulDestID,
                      uint8_t uchHopCount, uint32_t* pulLimit)
{
    return HalStatusToClient(
        HalGetRouteLimit(wVendorID, wDeviceID, uchLocalPort, ulDestID, uchHopCount, pulLimit));
}

int32_t LoadRoutingTable(uint16_t wVendorID, uint16_t wDeviceID, uint8_t uchLocalPort, uint32_t ulDestID,
                         uint8_t uchHopCount, uint8_t uchWhichTable, uint32_t* pulNumEntries,
                         NVXL_ROUTE_ENTRY** ppTable)
{
    return HalStatusToClient(HalLoadRoutingTable(wVendorID, wDeviceID, uchLocalPort, ulDestID, uchHopCount,
                                                 uchWhichTable, pulNumEntries, ppTable));
}

int32_t ResetRoutingTable(uint16_t wVendorID, uint16_t wDeviceID, uint8_t uchLocalPort, uint32_t ulDestID,
                          uint8_t uchHopCount)
{
    return HalStatusToClient(HalResetRoutingTable(wVendorID, wDeviceID, uchLocalPort, ulDestID, uchHopCount));
}

bool UsesDestID(uint16_t wVendorID, uint16_t wDeviceID)
{
    return HalUsesDestID(wVendorID, wDeviceID) != 0;
}

int32_t WriteBreadcrumb(uint16_t wVendorID, uint16_t wDeviceID, uint8_t uchLocalPort, uint32_t ulDestID,
                        uint8_t uchHopCount, uint32_t ulValue)
{
    return HalStatusToClient(
        HalWriteBreadcrumb(wVendorID, wDeviceID, uchLocalPort, ulDestID, uchHopCount, ulValue));
}

int32_t ReadBreadcrumb(uint16_t wVendorID, uint16_t wDeviceID, uint8_t uchLocalPort, uint32_t ulDestID,
                       uint8_t uchHopCount, uint32_t* pulValue)
{
    return HalStatusToClient(
        HalReadBreadcrumb(wVendorID, wDeviceID, uchLocalPort, ulDestID, uchHopCount, pulValue));
}

int32_t GetNumLocalPorts(uint8_t uchLocalPort, uint32_t ulDestID, uint8_t uchHopCount, uint32_t* pulNumPorts)
{
    return HalStatusToClient(
        HalGetNumPorts(kAnyVendor, kAnyDevice, uchLocalPort, ulDestID, uchHopCount, pulNumPorts));
}

int32_t GetSourceOps(uint16_t wVendorID, uint16_t wDeviceID, uint8_t uchLocalPort, uint32_t ulDestID,
                     uint8_t uchHopCount, uint32_t* pulOps)
{
    return HalStatusToClient(
        HalGetSourceOps(wVendorID, wDeviceID, uchLocalPort, ulDestID, uchHopCount, pulOps));
}

int32_t GetDestOps(uint16_t wVendorID, uint16_t wDeviceID, uint8_t uchLocalPort, uint32_t ulDestID,
                   uint8_t uchHopCount, uint32_t* pulOps)
{
    return HalStatusToClient(
        HalGetDestOps(wVendorID, wDeviceID, uchLocalPort, ulDestID, uchHopCount, pulOps));
}

int32_t GetAddressMode(uint16_t wVendorID, uint16_t wDeviceID, uint8_t uchLocalPort, uint32_t ulDestID,
                       uint8_t uchHopCount, uint32_t* pulMode)
{
    return HalStatusToClient(
        HalGetAddressMode(wVendorID, wDeviceID, uchLocalPort, ulDestID, uchHopCount, pulMode));
}

int32_t GetAssemblyInfo(uint8_t uchLocalPort, uint32_t ulDestID, uint8_t uchHopCount, uint16_t* pwAssyID,
                        uint16_t* pwAssyVendor)
{
    return HalStatusToClient(HalGetAssemblyInfo(kAnyVendor, kAnyDevice, uchLocalPort, ulDestID, uchHopCount,
                                                pwAssyID, pwAssyVendor));
}

int32_t GetDefaultRoute(uint16_t wVendorID, uint16_t wDeviceID, uint8_t uchLocalPort, uint32_t ulDestID,
                        uint8_t uchHopCount, uint8_t* puchPort)
{
    return HalStatusToClient(
        HalGetDefaultRoute(wVendorID, wDeviceID, uchLocalPort, ulDestID, uchHopCount, puchPort));
}

int32_t StoreRoutingTable(uint16_t wVendorID, uint16_t wDeviceID, uint8_t uchLocalPort, uint32_t ulDestID,
                          uint8_t uchHopCount, uint8_t uchWhichTable, uint32_t ulNumEntries,
                          const NVXL_ROUTE_ENTRY* pTable)
{
    return HalStatusToClient(HalStoreRoutingTable(wVendorID, wDeviceID, uchLocalPort, ulDestID, uchHopCount,
                                                  uchWhichTable, ulNumEntries, pTable));
}

bool SupportsEEPROM(uint16_t wVendorID, uint16_t wDeviceID)
{
    return HalSupportsEEPROM(wVendorID, wDeviceID) != 0;
}

int32_t InitEEPROM(uint16_t wVendorID, uint16_t wDeviceID, uint8_t uchLocalPort, uint32_t ulDestID,
                   uint8_t uchHopCount)
{
    return HalStatusToClient(HalInitEEPROM(wVendorID, wDeviceID, uchLocalPort, ulDestID, uchHopCount));
}

int32_t WriteEEPROM(uint16_t wVendorID, uint16_t wDeviceID, uint8_t uchLocalPort, uint32_t ulDestID,
                    uint8_t uchHopCount, uint16_t wByteCount, uint16_t wAddress, const uint8_t* pbData)
{
    return HalStatusToClient(HalWriteEEPROM(wVendorID, wDeviceID, uchLocalPort, ulDestID, uchHopCount,
                                            wByteCount, wAddress, pbData));
}

int32_t ReadEEPROM(uint16_t wVendorID, uint16_t wDeviceID, uint8_t uchLocalPort, uint32_t ulDestID,
                   uint8_t uchHopCount, uint16_t wByteCount, uint16_t wAddress, uint8_t* pbData)
{
    return HalStatusToClient(HalReadEEPROM(wVendorID, wDeviceID, uchLocalPort, ulDestID, uchHopCount,
                                           wByteCount, wAddress, pbData));
}

int32_t SetEEPROMAddress(uint16_t wVendorID, uint16_t wDeviceID, uint8_t uchLocalPort, uint32_t ulDestID,
                         uint8_t uchHopCount, uint8_t uchAddressSize, uint8_t uchI2CAddress)
{
    return HalStatusToClient(HalSetEEPROMAddress(wVendorID, wDeviceID, uchLocalPort, ulDestID, uchHopCount,
                                                 uchAddressSize, uchI2CAddress));
}

int32_t FlashRoutingTable(uint16_t wVendorID, uint16_t wDeviceID, uint8_t uchLocalPort, uint32_t ulDestID,
                          uint8_t uchHopCount, uint8_t uchWhichTable, uint32_t ulNumEntries,
                          const NVXL_ROUTE_ENTRY* pTable)
{
    return HalStatusToClient(HalFlashRoutingTable(wVendorID, wDeviceID, uchLocalPort, ulDestID, uchHopCount,
                                                  uchWhichTable, ulNumEntries, pTable));
}

int32_t ClearPortErrors(uint16_t wVendorID, uint16_t wDeviceID, uint8_t uchLocalPort, uint32_t ulDestID,
                        uint8_t uchHopCount, uint8_t uchPort, uint32_t* pulRemaining)
{
    return HalStatusToClient(
        HalClearPortErrors(wVendorID, wDeviceID, uchLocalPort, ulDestID, uchHopCount, uchPort, pulRemaining));
}

int32_t GetPortAckIDs(uint16_t wVendorID, uint16_t wDeviceID, uint8_t uchLocalPort, uint32_t ulDestID,
                      uint8_t uchHopCount, uint8_t uchPort, uint8_t* puchInbound, uint8_t* puchOutstanding,
                      uint8_t* puchOutbound)
{
    return HalStatusToClient(HalGetPortAckIDs(wVendorID, wDeviceID, uchLocalPort, ulDestID, uchHopCount,
                                              uchPort, puchInbound, puchOutstanding, puchOutbound));
}

int32_t SendLinkMaintRequest(uint16_t wVendorID, uint16_t wDeviceID, uint8_t uchLocalPort, uint32_t ulDestID,
                             uint8_t uchHopCount, uint8_t uchPort, uint32_t ulCommand, uint32_t* pulAckID,
                             uint32_t* pulLinkStatus)
{
    return HalStatusToClient(HalSendLinkMaintRequest(wVendorID, wDeviceID, uchLocalPort, ulDestID,
                                                     uchHopCount, uchPort, ulCommand, pulAckID,
                                                     pulLinkStatus));
}

int32_t ResyncAckIDs(uint16_t wVendorID, uint16_t wDeviceID, uint8_t uchLocalPort, uint32_t ulDestID,
                     uint8_t uchHopCount, uint8_t uchPort)
{
    return HalStatusToClient(
        HalResyncAckIDs(wVendorID, wDeviceID, uchLocalPort, ulDestID, uchHopCount, uchPort));
}

int32_t SetPortDiscovered(uint16_t wVendorID, uint16_t wDeviceID, uint8_t uchLocalPort, uint32_t ulDestID,
                          uint8_t uchHopCount, bool bDiscovered)
{
    return HalStatusToClient(
        HalSetPortDiscovered(wVendorID, wDeviceID, uchLocalPort, ulDestID, uchHopCount, bDiscovered ? 1 : 0));
}

int32_t GetVDIDCaps(uint16_t wVendorID, uint16_t wDeviceID, uint8_t uchLocalPort, uint32_t ulDestID,
                    uint8_t uchHopCount, uint16_t* pwFlags, uint16_t* pwNum2ary)
{
    return HalStatusToClient(
        HalGetVDIDCaps(wVendorID, wDeviceID, uchLocalPort, ulDestID, uchHopCount, pwFlags, pwNum2ary));
}

int32_t GetNum2aryDestIDs(uint16_t wVendorID, uint16_t wDeviceID, uint8_t uchLocalPort, uint32_t ulDestID,
                          uint8_t uchHopCount, uint16_t* pwNum2ary)
{
    return HalStatusToClient(
        HalGetNum2aryDestIDs(wVendorID, wDeviceID, uchLocalPort, ulDestID, uchHopCount, pwNum2ary));
}

int32_t Get2aryDestID(uint16_t wVendorID, uint16_t wDeviceID, uint8_t uchLocalPort, uint32_t ulDestID,
                      uint8_t uchHopCount, uint16_t wIndex, uint16_t* pwSmall, uint16_t* pwLarge)
{
    return HalStatusToClient(HalGet2aryDestID(wVendorID, wDeviceID, uchLocalPort, ulDestID, uchHopCount,
                                              wIndex, pwSmall, pwLarge));
}

int32_t Set2aryDestID(uint16_t wVendorID, uint16_t wDeviceID, uint8_t uchLocalPort, uint32_t ulDestID,
                      uint8_t uchHopCount, uint16_t wIndex, const uint16_t* pwSmall, const uint16_t* pwLarge)
{
    return HalStatusToClient(HalSet2aryDestID(wVendorID, wDeviceID, uchLocalPort, ulDestID, uchHopCount,
                                              wIndex, pwSmall, pwLarge));
}
