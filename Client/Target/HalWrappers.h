// The client's side of the HAL: one wrapper per device operation, named as the operation without
// "Hal". Each returns a client status (HalStatusToClient of the HAL's result) and gives booleans
// as bytes (0 or 1). The wrappers that do not take a device pair address a device the caller does
// not know: they pass vendor and device 0xFFFF, which no record has, so the standard RapidIO
// behaviour applies.
#pragma once

#include "NVXLHal.h"

#include <cstdint>

int32_t GetPortWidth(uint16_t wVendorID, uint16_t wDeviceID, uint8_t uchLocalPort, uint32_t ulDestID,
                     uint8_t uchHopCount, uint8_t uchPort, uint8_t* puchPortWidth, uint8_t* puchLane,
                     uint8_t* puchMaxWidth, uint8_t* puchWidthOverride, uint8_t* pbParallel,
                     uint32_t* pulPortType);
int32_t GetPortConfig(uint16_t wVendorID, uint16_t wDeviceID, uint8_t uchLocalPort, uint32_t ulDestID,
                      uint8_t uchHopCount, uint8_t uchPort, uint32_t* pulMask, NVXL_PORT_CONFIG* pRecord);
int32_t GetPortSpeedMHz(uint16_t wVendorID, uint16_t wDeviceID, uint8_t uchLocalPort, uint32_t ulDestID,
                        uint8_t uchHopCount, uint8_t uchPort, uint32_t* pulSpeed);
int32_t SetPortSpeedMHz(uint16_t wVendorID, uint16_t wDeviceID, uint8_t uchLocalPort, uint32_t ulDestID,
                        uint8_t uchHopCount, uint8_t uchPort, uint32_t ulSpeed);
// The host's or another device's own IDs; either output may be null.
int32_t GetDeviceID(uint8_t uchLocalPort, uint32_t ulDestID, uint8_t uchHopCount, uint16_t* pwSmall,
                    uint16_t* pwLarge);
// Sets the given IDs; a null pointer leaves that ID as it is.
int32_t SetDeviceID(uint8_t uchLocalPort, uint32_t ulDestID, uint8_t uchHopCount, const uint16_t* pwSmall,
                    const uint16_t* pwLarge);
int32_t AcquireDeviceLock(uint16_t wVendorID, uint16_t wDeviceID, uint8_t uchLocalPort, uint32_t ulDestID,
                          uint8_t uchHopCount, uint16_t wHostDeviceID, uint16_t* pwCurrentOwner,
                          int32_t nTimeoutSec, bool bBreakLock);
int32_t GetCurDeviceLock(uint8_t uchLocalPort, uint32_t ulDestID, uint8_t uchHopCount,
                         uint16_t* pwCurrentOwner);
int32_t ReleaseDeviceLock(uint16_t wVendorID, uint16_t wDeviceID, uint8_t uchLocalPort, uint32_t ulDestID,
                          uint8_t uchHopCount, uint16_t wHostDeviceID, uint16_t* pwCurrentOwner);
int32_t GetComponentTag(uint8_t uchLocalPort, uint32_t ulDestID, uint8_t uchHopCount, uint32_t* pulTag);
int32_t SetComponentTag(uint8_t uchLocalPort, uint32_t ulDestID, uint8_t uchHopCount, uint32_t ulTag);
int32_t IsPortTrained(uint16_t wVendorID, uint16_t wDeviceID, uint8_t uchLocalPort, uint32_t ulDestID,
                      uint8_t uchHopCount, uint8_t uchPort, uint8_t* pbTrained);
int32_t GetExtFeaturesPtr(uint8_t uchLocalPort, uint32_t ulDestID, uint8_t uchHopCount, uint16_t* pwPtr);
int32_t GetNextExtFeature(uint16_t wVendorID, uint16_t wDeviceID, uint8_t uchLocalPort, uint32_t ulDestID,
                          uint8_t uchHopCount, uint16_t wCurrentPtr, uint16_t* pwNext);
int32_t GetPortErrorStatus(uint8_t uchLocalPort, uint32_t ulDestID, uint8_t uchHopCount,
                           uint16_t wExtFeaturesPtr, uint8_t uchPort, uint32_t* pulStatus);
// *pulTimeout in: the new value, out: the old one.
int32_t SetResponseTimeout(uint8_t uchLocalPort, uint32_t ulDestID, uint8_t uchHopCount,
                           uint32_t* pulTimeout);
int32_t SetLinkTimeout(uint16_t wVendorID, uint16_t wDeviceID, uint8_t uchLocalPort, uint32_t ulDestID,
                       uint8_t uchHopCount, uint32_t* pulTimeout);
int32_t SetPortEnables(uint16_t wVendorID, uint16_t wDeviceID, uint8_t uchLocalPort, uint32_t ulDestID,
                       uint8_t uchHopCount, uint8_t uchPort, bool bInput, bool bOutput);
// Whether the device type has one routing table per port.
bool IsPerPortRouting(uint16_t wVendorID, uint16_t wDeviceID);
int32_t GetSwitchPortInfo(uint8_t uchLocalPort, uint32_t ulDestID, uint8_t uchHopCount, uint32_t* pulInfo);
int32_t GetMulticastInfo(uint16_t wVendorID, uint16_t wDeviceID, uint8_t uchLocalPort, uint32_t ulDestID,
                         uint8_t uchHopCount, uint8_t* pbSupported, uint8_t* pbSimpleAssoc,
                         uint8_t* pbBlockAssoc, uint8_t* pbPerPortAssoc, uint32_t* pulMaxAssociations,
                         uint32_t* pulMaxMasks, uint32_t* pulReserved);
int32_t MulticastMaskPort(uint16_t wVendorID, uint16_t wDeviceID, uint8_t uchLocalPort, uint32_t ulDestID,
                          uint8_t uchHopCount, uint32_t ulCommand, uint16_t wMaskID, uint8_t uchPort,
                          uint32_t* pulResult);
int32_t MulticastAssociate(uint16_t wVendorID, uint16_t wDeviceID, uint8_t uchLocalPort, uint32_t ulDestID,
                           uint8_t uchHopCount, uint32_t ulCommand, bool bLarge, uint16_t wDestBlockSize,
                           uint16_t wDestID, uint16_t wMaskID, uint8_t uchPort, uint32_t* pulResult);
int32_t GetFeatures(uint8_t uchLocalPort, uint32_t ulDestID, uint8_t uchHopCount, uint32_t* pulFeatures);
int32_t EnableHostAccess(uint16_t wVendorID, uint16_t wDeviceID, uint8_t uchLocalPort, uint32_t ulDestID,
                         uint8_t uchHopCount, bool bEnable);
int32_t RouteAddEntry(uint16_t wVendorID, uint16_t wDeviceID, uint8_t uchLocalPort, uint32_t ulDestID,
                      uint8_t uchHopCount, uint8_t uchWhichTable, uint16_t wRouteDestID,
                      uint8_t uchRoutePortNum, NVXL_ROUTE_TYPE eType, uint32_t ulExtra);
int32_t RouteGetEntry(uint16_t wVendorID, uint16_t wDeviceID, uint8_t uchLocalPort, uint32_t ulDestID,
                      uint8_t uchHopCount, uint8_t uchWhichTable, uint16_t wRouteDestID,
                      NVXL_ROUTE_TYPE* peType, uint8_t* puchPort, uint32_t* pulExtra);
int32_t SetDefaultRoute(uint16_t wVendorID, uint16_t wDeviceID, uint8_t uchLocalPort, uint32_t ulDestID,
                        uint8_t uchHopCount, uint8_t uchPort);
int32_t GetRouteLimit(uint16_t wVendorID, uint16_t wDeviceID, uint8_t uchLocalPort, uint32_t ulDestID,
                      uint8_t uchHopCount, uint32_t* pulLimit);
// *ppTable is allocated with malloc; the caller frees it with free().
int32_t LoadRoutingTable(uint16_t wVendorID, uint16_t wDeviceID, uint8_t uchLocalPort, uint32_t ulDestID,
                         uint8_t uchHopCount, uint8_t uchWhichTable, uint32_t* pulNumEntries,
                         NVXL_ROUTE_ENTRY** ppTable);
int32_t ResetRoutingTable(uint16_t wVendorID, uint16_t wDeviceID, uint8_t uchLocalPort, uint32_t ulDestID,
                          uint8_t uchHopCount);
// Whether this switch type accepts a destination ID of its own.
bool UsesDestID(uint16_t wVendorID, uint16_t wDeviceID);
int32_t WriteBreadcrumb(uint16_t wVendorID, uint16_t wDeviceID, uint8_t uchLocalPort, uint32_t ulDestID,
                        uint8_t uchHopCount, uint32_t ulValue);
int32_t ReadBreadcrumb(uint16_t wVendorID, uint16_t wDeviceID, uint8_t uchLocalPort, uint32_t ulDestID,
                       uint8_t uchHopCount, uint32_t* pulValue);
// Number of ports of the device at this address (HalGetNumPorts of an unknown device).
int32_t GetNumLocalPorts(uint8_t uchLocalPort, uint32_t ulDestID, uint8_t uchHopCount, uint32_t* pulNumPorts);
int32_t GetSourceOps(uint16_t wVendorID, uint16_t wDeviceID, uint8_t uchLocalPort, uint32_t ulDestID,
                     uint8_t uchHopCount, uint32_t* pulOps);
int32_t GetDestOps(uint16_t wVendorID, uint16_t wDeviceID, uint8_t uchLocalPort, uint32_t ulDestID,
                   uint8_t uchHopCount, uint32_t* pulOps);
int32_t GetAddressMode(uint16_t wVendorID, uint16_t wDeviceID, uint8_t uchLocalPort, uint32_t ulDestID,
                       uint8_t uchHopCount, uint32_t* pulMode);
int32_t GetAssemblyInfo(uint8_t uchLocalPort, uint32_t ulDestID, uint8_t uchHopCount, uint16_t* pwAssyID,
                        uint16_t* pwAssyVendor);
int32_t GetDefaultRoute(uint16_t wVendorID, uint16_t wDeviceID, uint8_t uchLocalPort, uint32_t ulDestID,
                        uint8_t uchHopCount, uint8_t* puchPort);
int32_t StoreRoutingTable(uint16_t wVendorID, uint16_t wDeviceID, uint8_t uchLocalPort, uint32_t ulDestID,
                          uint8_t uchHopCount, uint8_t uchWhichTable, uint32_t ulNumEntries,
                          const NVXL_ROUTE_ENTRY* pTable);
// Whether the device type has an EEPROM behind it.
bool SupportsEEPROM(uint16_t wVendorID, uint16_t wDeviceID);
int32_t InitEEPROM(uint16_t wVendorID, uint16_t wDeviceID, uint8_t uchLocalPort, uint32_t ulDestID,
                   uint8_t uchHopCount);
int32_t WriteEEPROM(uint16_t wVendorID, uint16_t wDeviceID, uint8_t uchLocalPort, uint32_t ulDestID,
                    uint8_t uchHopCount, uint16_t wByteCount, uint16_t wAddress, const uint8_t* pbData);
int32_t ReadEEPROM(uint16_t wVendorID, uint16_t wDeviceID, uint8_t uchLocalPort, uint32_t ulDestID,
                   uint8_t uchHopCount, uint16_t wByteCount, uint16_t wAddress, uint8_t* pbData);
int32_t SetEEPROMAddress(uint16_t wVendorID, uint16_t wDeviceID, uint8_t uchLocalPort, uint32_t ulDestID,
                         uint8_t uchHopCount, uint8_t uchAddressSize, uint8_t uchI2CAddress);
int32_t FlashRoutingTable(uint16_t wVendorID, uint16_t wDeviceID, uint8_t uchLocalPort, uint32_t ulDestID,
                          uint8_t uchHopCount, uint8_t uchWhichTable, uint32_t ulNumEntries,
                          const NVXL_ROUTE_ENTRY* pTable);
int32_t ClearPortErrors(uint16_t wVendorID, uint16_t wDeviceID, uint8_t uchLocalPort, uint32_t ulDestID,
                        uint8_t uchHopCount, uint8_t uchPort, uint32_t* pulRemaining);
int32_t GetPortAckIDs(uint16_t wVendorID, uint16_t wDeviceID, uint8_t uchLocalPort, uint32_t ulDestID,
                      uint8_t uchHopCount, uint8_t uchPort, uint8_t* puchInbound, uint8_t* puchOutstanding,
                      uint8_t* puchOutbound);
int32_t SendLinkMaintRequest(uint16_t wVendorID, uint16_t wDeviceID, uint8_t uchLocalPort, uint32_t ulDestID,
                             uint8_t uchHopCount, uint8_t uchPort, uint32_t ulCommand, uint32_t* pulAckID,
                             uint32_t* pulLinkStatus);
int32_t ResyncAckIDs(uint16_t wVendorID, uint16_t wDeviceID, uint8_t uchLocalPort, uint32_t ulDestID,
                     uint8_t uchHopCount, uint8_t uchPort);
int32_t SetPortDiscovered(uint16_t wVendorID, uint16_t wDeviceID, uint8_t uchLocalPort, uint32_t ulDestID,
                          uint8_t uchHopCount, bool bDiscovered);
int32_t GetVDIDCaps(uint16_t wVendorID, uint16_t wDeviceID, uint8_t uchLocalPort, uint32_t ulDestID,
                    uint8_t uchHopCount, uint16_t* pwFlags, uint16_t* pwNum2ary);
int32_t GetNum2aryDestIDs(uint16_t wVendorID, uint16_t wDeviceID, uint8_t uchLocalPort, uint32_t ulDestID,
                          uint8_t uchHopCount, uint16_t* pwNum2ary);
int32_t Get2aryDestID(uint16_t wVendorID, uint16_t wDeviceID, uint8_t uchLocalPort, uint32_t ulDestID,
                      uint8_t uchHopCount, uint16_t wIndex, uint16_t* pwSmall, uint16_t* pwLarge);
int32_t Set2aryDestID(uint16_t wVendorID, uint16_t wDeviceID, uint8_t uchLocalPort, uint32_t ulDestID,
                      uint8_t uchHopCount, uint16_t wIndex, const uint16_t* pwSmall, const uint16_t* pwLarge);
