/* The standard RapidIO behaviour of the HAL operations: what a device gets when its record has no
 * entry of its own. Device families use these too where they follow the standard in part.
 * Every access is one 32-bit word (WordCount 1, WordSize 4, Stride 4); registers of the
 * LP-Serial extended features block use Stride 0. A failed access ends the operation with its
 * status. Operations that rest on others (the features, the extended features pointer, the lock
 * owner) reach them through the dispatcher, so that a record overriding one changes them all. */
#ifndef NVXL_HAL_STANDARD_H
#define NVXL_HAL_STANDARD_H

#include "NVXLHal.h"

#ifdef __cplusplus
extern "C"
{
#endif

/* Registers of the RapidIO capability and command and status space. */
#define RIO_DEV_IDENTITY 0x00u
#define RIO_ASSY_IDENTITY 0x08u
#define RIO_ASSY_INFO 0x0Cu
#define RIO_PE_FEATURES 0x10u
#define RIO_SWITCH_PORT_INFO 0x14u
#define RIO_SOURCE_OPS 0x18u
#define RIO_DEST_OPS 0x1Cu
#define RIO_SWITCH_MCAST_SUPPORT 0x30u
#define RIO_ROUTE_DESTID_LIMIT 0x34u
#define RIO_SWITCH_MCAST_INFO 0x38u
#define RIO_LOGICAL_LAYER_CTRL 0x4Cu
#define RIO_BASE_DEVICE_ID 0x60u
#define RIO_HOST_DEVICE_ID_LOCK 0x68u
#define RIO_COMPONENT_TAG 0x6Cu
#define RIO_ROUTE_CFG_DESTID 0x70u
#define RIO_ROUTE_CFG_PORT 0x74u
#define RIO_ROUTE_DEFAULT_PORT 0x78u
#define RIO_MCAST_MASK_PORT 0x80u
#define RIO_MCAST_ASSOC_SELECT 0x84u
#define RIO_MCAST_ASSOC_OPERATION 0x88u
#define RIO_PORT_LINK_TIMEOUT 0x120u
#define RIO_PORT_RESPONSE_TIMEOUT 0x124u

/* Offsets in the LP-Serial extended features block (port n adds 32 x n). */
#define RIO_EXT_PORT_GEN_CTRL 0x3Cu
#define RIO_EXT_PORT_LINK_MAINT_REQ 0x40u
#define RIO_EXT_PORT_LINK_MAINT_RESP 0x44u
#define RIO_EXT_PORT_LOCAL_ACKID 0x48u
#define RIO_EXT_PORT_ERR_STATUS 0x58u
#define RIO_EXT_PORT_STRIDE 32u

/* Bits of the Processing Element Features register (LSB-0). */
#define RIO_PEF_SWITCH 0x10000000u
#define RIO_PEF_MULTICAST 0x00000400u
#define RIO_PEF_LARGE_ROUTE_TABLE 0x00000200u
#define RIO_PEF_STD_ROUTE_TABLE 0x00000100u

/* The lock register's value when no host holds it. */
#define RIO_LOCK_FREE 0xFFFFu

    /* Waits through the replaceable sleep hook (HalTestHooks.h), so that every wait of the HAL, the
     * lock's retries and the families' settling times alike, can be observed and skipped by tests. */
    void HalSleep(uint32_t ulMilliseconds);

    NVXL_STATUS HalStdGetDeviceID(uint16_t wVendorID, uint16_t wDeviceID, uint8_t uchLocalPort,
                                  uint32_t ulDestID, uint8_t uchHopCount, uint16_t* pwSmall,
                                  uint16_t* pwLarge);
    NVXL_STATUS HalStdSetDeviceID(uint16_t wVendorID, uint16_t wDeviceID, uint8_t uchLocalPort,
                                  uint32_t ulDestID, uint8_t uchHopCount, const uint16_t* pwSmall,
                                  const uint16_t* pwLarge);
    NVXL_STATUS HalStdGetAssemblyInfo(uint16_t wVendorID, uint16_t wDeviceID, uint8_t uchLocalPort,
                                      uint32_t ulDestID, uint8_t uchHopCount, uint16_t* pwAssyID,
                                      uint16_t* pwAssyVendor);
    NVXL_STATUS HalStdGetFeatures(uint16_t wVendorID, uint16_t wDeviceID, uint8_t uchLocalPort,
                                  uint32_t ulDestID, uint8_t uchHopCount, uint32_t* pulFeatures);
    NVXL_STATUS HalStdGetSwitchPortInfo(uint16_t wVendorID, uint16_t wDeviceID, uint8_t uchLocalPort,
                                        uint32_t ulDestID, uint8_t uchHopCount, uint32_t* pulInfo);
    NVXL_STATUS HalStdGetSourceOps(uint16_t wVendorID, uint16_t wDeviceID, uint8_t uchLocalPort,
                                   uint32_t ulDestID, uint8_t uchHopCount, uint32_t* pulOps);
    NVXL_STATUS HalStdGetDestOps(uint16_t wVendorID, uint16_t wDeviceID, uint8_t uchLocalPort,
                                 uint32_t ulDestID, uint8_t uchHopCount, uint32_t* pulOps);
    NVXL_STATUS HalStdGetRouteLimit(uint16_t wVendorID, uint16_t wDeviceID, uint8_t uchLocalPort,
                                    uint32_t ulDestID, uint8_t uchHopCount, uint32_t* pulLimit);
    NVXL_STATUS HalStdGetNumPorts(uint16_t wVendorID, uint16_t wDeviceID, uint8_t uchLocalPort,
                                  uint32_t ulDestID, uint8_t uchHopCount, uint32_t* pulNumPorts);
    NVXL_STATUS HalStdGetAddressMode(uint16_t wVendorID, uint16_t wDeviceID, uint8_t uchLocalPort,
                                     uint32_t ulDestID, uint8_t uchHopCount, uint32_t* pulMode);
    NVXL_STATUS HalStdGetExtFeaturesPtr(uint16_t wVendorID, uint16_t wDeviceID, uint8_t uchLocalPort,
                                        uint32_t ulDestID, uint8_t uchHopCount, uint16_t* pwPtr);
    NVXL_STATUS HalStdGetNextExtFeature(uint16_t wVendorID, uint16_t wDeviceID, uint8_t uchLocalPort,
                                        uint32_t ulDestID, uint8_t uchHopCount, uint16_t wCurrentPtr,
                                        uint16_t* pwNext);
    NVXL_STATUS HalStdGetPortErrorStatus(uint16_t wVendorID, uint16_t wDeviceID, uint8_t uchLocalPort,
                                         uint32_t ulDestID, uint8_t uchHopCount, uint16_t wExtFeaturesPtr,
                                         uint8_t uchPort, uint32_t* pulStatus);
    NVXL_STATUS HalStdIsPortTrained(uint16_t wVendorID, uint16_t wDeviceID, uint8_t uchLocalPort,
                                    uint32_t ulDestID, uint8_t uchHopCount, uint8_t uchPort,
                                    uint32_t* pbTrained);
    NVXL_STATUS HalStdSetResponseTimeout(uint16_t wVendorID, uint16_t wDeviceID, uint8_t uchLocalPort,
                                         uint32_t ulDestID, uint8_t uchHopCount, uint32_t* pulTimeout);
    NVXL_STATUS HalStdSetLinkTimeout(uint16_t wVendorID, uint16_t wDeviceID, uint8_t uchLocalPort,
                                     uint32_t ulDestID, uint8_t uchHopCount, uint32_t* pulTimeout);
    NVXL_STATUS HalStdGetComponentTag(uint16_t wVendorID, uint16_t wDeviceID, uint8_t uchLocalPort,
                                      uint32_t ulDestID, uint8_t uchHopCount, uint32_t* pulTag);
    NVXL_STATUS HalStdSetComponentTag(uint16_t wVendorID, uint16_t wDeviceID, uint8_t uchLocalPort,
                                      uint32_t ulDestID, uint8_t uchHopCount, uint32_t ulTag);
    NVXL_STATUS HalStdAcquireDeviceLock(uint16_t wVendorID, uint16_t wDeviceID, uint8_t uchLocalPort,
                                        uint32_t ulDestID, uint8_t uchHopCount, uint16_t wHostDeviceID,
                                        uint16_t* pwCurrentOwner, int32_t nTimeoutSec, uint32_t bBreakLock);
    NVXL_STATUS HalStdGetCurDeviceLock(uint16_t wVendorID, uint16_t wDeviceID, uint8_t uchLocalPort,
                                       uint32_t ulDestID, uint8_t uchHopCount, uint16_t* pwCurrentOwner);
    NVXL_STATUS HalStdReleaseDeviceLock(uint16_t wVendorID, uint16_t wDeviceID, uint8_t uchLocalPort,
                                        uint32_t ulDestID, uint8_t uchHopCount, uint16_t wHostDeviceID,
                                        uint16_t* pwCurrentOwner);
    NVXL_STATUS HalStdGetMulticastInfo(uint16_t wVendorID, uint16_t wDeviceID, uint8_t uchLocalPort,
                                       uint32_t ulDestID, uint8_t uchHopCount, uint32_t* pbSupported,
                                       uint32_t* pbSimpleAssoc, uint32_t* pbBlockAssoc,
                                       uint32_t* pbPerPortAssoc, uint32_t* pulMaxAssociations,
                                       uint32_t* pulMaxMasks, uint32_t* pulReserved);
    NVXL_STATUS HalStdMulticastMaskPort(uint16_t wVendorID, uint16_t wDeviceID, uint8_t uchLocalPort,
                                        uint32_t ulDestID, uint8_t uchHopCount, uint32_t ulCommand,
                                        uint16_t wMaskID, uint8_t uchPort, uint32_t* pulResult);
    NVXL_STATUS HalStdMulticastAssociate(uint16_t wVendorID, uint16_t wDeviceID, uint8_t uchLocalPort,
                                         uint32_t ulDestID, uint8_t uchHopCount, uint32_t ulCommand,
                                         uint32_t bLarge, uint16_t wDestBlockSize, uint16_t wDestID,
                                         uint16_t wMaskID, uint8_t uchPort, uint32_t* pulResult);
    NVXL_STATUS HalStdSetDefaultRoute(uint16_t wVendorID, uint16_t wDeviceID, uint8_t uchLocalPort,
                                      uint32_t ulDestID, uint8_t uchHopCount, uint8_t uchPort);
    NVXL_STATUS HalStdGetDefaultRoute(uint16_t wVendorID, uint16_t wDeviceID, uint8_t uchLocalPort,
                                      uint32_t ulDestID, uint8_t uchHopCount, uint8_t* puchPort);
    /* Chooses the large or the small table form from the features, with the table size taken from
     * the route limit and the port count from the switch port information. */
    NVXL_STATUS HalStdLoadRoutingTable(uint16_t wVendorID, uint16_t wDeviceID, uint8_t uchLocalPort,
                                       uint32_t ulDestID, uint8_t uchHopCount, uint8_t uchWhichTable,
                                       uint32_t* pulNumEntries, NVXL_ROUTE_ENTRY** ppTable);
    /* Reads ulTableSize IDs through the route configuration registers, in the large form (four
     * ports a read) or the small one, and keeps the IDs whose port is below ulNumPorts. */
    NVXL_STATUS HalStdLoadTableForm(uint8_t uchLocalPort, uint32_t ulDestID, uint8_t uchHopCount,
                                    uint32_t bLarge, uint32_t ulTableSize, uint32_t ulNumPorts,
                                    uint32_t* pulNumEntries, NVXL_ROUTE_ENTRY** ppTable);
    NVXL_STATUS HalStdStoreRoutingTable(uint16_t wVendorID, uint16_t wDeviceID, uint8_t uchLocalPort,
                                        uint32_t ulDestID, uint8_t uchHopCount, uint8_t uchWhichTable,
                                        uint32_t ulNumEntries, const NVXL_ROUTE_ENTRY* pTable);
    /* Writes a table of ulTableSize IDs through the route configuration registers, in the large or
     * the small form. pTable holds the record of ID i at index i; only port entries are written, all
     * other IDs get 255 (no route). */
    NVXL_STATUS HalStdStoreTableForm(uint8_t uchLocalPort, uint32_t ulDestID, uint8_t uchHopCount,
                                     uint32_t bLarge, uint32_t ulTableSize, uint32_t ulNumEntries,
                                     const NVXL_ROUTE_ENTRY* pTable);
    NVXL_STATUS HalStdClearPortErrors(uint16_t wVendorID, uint16_t wDeviceID, uint8_t uchLocalPort,
                                      uint32_t ulDestID, uint8_t uchHopCount, uint8_t uchPort,
                                      uint32_t* pulRemaining);
    NVXL_STATUS HalStdGetPortAckIDs(uint16_t wVendorID, uint16_t wDeviceID, uint8_t uchLocalPort,
                                    uint32_t ulDestID, uint8_t uchHopCount, uint8_t uchPort,
                                    uint8_t* puchInbound, uint8_t* puchOutstanding, uint8_t* puchOutbound);
    NVXL_STATUS HalStdSendLinkMaintRequest(uint16_t wVendorID, uint16_t wDeviceID, uint8_t uchLocalPort,
                                           uint32_t ulDestID, uint8_t uchHopCount, uint8_t uchPort,
                                           uint32_t ulCommand, uint32_t* pulAckID, uint32_t* pulLinkStatus);
    NVXL_STATUS HalStdSetPortDiscovered(uint16_t wVendorID, uint16_t wDeviceID, uint8_t uchLocalPort,
                                        uint32_t ulDestID, uint8_t uchHopCount, uint32_t bDiscovered);

#ifdef __cplusplus
}
#endif

#endif
