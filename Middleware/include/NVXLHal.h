/* The RapidIO HAL: one dispatcher function per device operation, the registry of device-family
 * records behind it, and the gates through which all traffic leaves the middleware.
 *
 * Every operation takes (wVendorID, wDeviceID, uchLocalPort, ulDestID, uchHopCount) first, except
 * the three that only answer a question about a device type and take the device pair alone. The
 * dispatcher looks the device up by (wDeviceID << 16) | wVendorID; when the first record
 * registered for that key fills the operation's entry, the entry gets the same arguments and its
 * result is returned unchanged. Otherwise the standard RapidIO behaviour or a fixed default
 * applies. A device pair of 0xFFFF/0xFFFF matches no record and always takes the standard path.
 *
 * Booleans are 32-bit words (0 or 1). Outputs go through pointers; results are HAL statuses
 * (NVXLTypes.h), 0 for success. */
#ifndef NVXL_HAL_H
#define NVXL_HAL_H

#include "NVXLTypes.h"

#ifdef __cplusplus
extern "C"
{
#endif

/* Capacity of the record registry. */
#define MAXHALIONTERFACES 256

    /* What HalGetPortConfig reports of a port. The mask bits name the fields: bit 0 bParallel, and
     * bits 31, 29, 26, 23, 22, 21, 20, 19, 17 and 11 the field of the Port n Control register that
     * starts at that bit (LSB-0 numbering). */
    typedef struct NVXL_PORT_CONFIG
    {
        uint32_t bParallel;             /* mask bit 0: the port is a parallel port */
        uint32_t ulPortWidth;           /* mask bit 31: bits 31..30, port width support */
        uint32_t ulInitializedWidth;    /* mask bit 29: bits 29..27, initialized port width */
        uint32_t ulWidthOverride;       /* mask bit 26: bits 26..24, port width override */
        uint32_t bPortDisable;          /* mask bit 23: port disabled */
        uint32_t bOutputEnable;         /* mask bit 22: output port enable */
        uint32_t bInputEnable;          /* mask bit 21: input port enable */
        uint32_t bErrorCheckDisable;    /* mask bit 20: error checking disabled */
        uint32_t bMulticastParticipant; /* mask bit 19: multicast-event participant */
        uint32_t bEnumerationBoundary;  /* mask bit 17: enumeration boundary */
        uint32_t ulImplementation;      /* mask bit 11: bits 17..11 of the register */
    } NVXL_PORT_CONFIG;

    /* The record of a device family: its device key and one entry per HAL operation, in this fixed
     * order. An empty (NULL) entry falls to the dispatcher's default. Records are static and outlive
     * every lookup; the registry holds only pointers to them. */
    typedef struct HalInterface
    {
        /* (wDeviceID << 16) | wVendorID of the device the record serves. */
        uint32_t ulDeviceKey;
        /* 1: widths and lanes of a port (255 = not known), whether it is parallel and its type. */
        NVXL_STATUS(*pfnGetPortWidth)
        (uint16_t wVendorID, uint16_t wDeviceID, uint8_t uchLocalPort, uint32_t ulDestID, uint8_t uchHopCount,
         uint8_t uchPort, uint8_t* puchPortWidth, uint8_t* puchLane, uint8_t* puchMaxWidth,
         uint8_t* puchWidthOverride, uint32_t* pbParallel, uint32_t* pulPortType);
        /* 2: configuration fields of a port; *pulMask in: fields wanted, out: fields delivered. */
        NVXL_STATUS(*pfnGetPortConfig)
        (uint16_t wVendorID, uint16_t wDeviceID, uint8_t uchLocalPort, uint32_t ulDestID, uint8_t uchHopCount,
         uint8_t uchPort, uint32_t* pulMask, NVXL_PORT_CONFIG* pRecord);
        /* 3: link speed of a port in MHz, 0 when not known. */
        NVXL_STATUS(*pfnGetPortSpeedMHz)
        (uint16_t wVendorID, uint16_t wDeviceID, uint8_t uchLocalPort, uint32_t ulDestID, uint8_t uchHopCount,
         uint8_t uchPort, uint32_t* pulSpeed);
        /* 4: sets the link speed of a port (1250, 2500, 3125, 5000 or 6250 MHz). */
        NVXL_STATUS(*pfnSetPortSpeedMHz)
        (uint16_t wVendorID, uint16_t wDeviceID, uint8_t uchLocalPort, uint32_t ulDestID, uint8_t uchHopCount,
         uint8_t uchPort, uint32_t ulSpeed);
        /* 5: the device's own 8-bit and 16-bit IDs; either output may be NULL. */
        NVXL_STATUS(*pfnGetDeviceID)
        (uint16_t wVendorID, uint16_t wDeviceID, uint8_t uchLocalPort, uint32_t ulDestID, uint8_t uchHopCount,
         uint16_t* pwSmall, uint16_t* pwLarge);
        /* 6: sets the given IDs; a NULL pointer leaves that ID as it is. */
        NVXL_STATUS(*pfnSetDeviceID)
        (uint16_t wVendorID, uint16_t wDeviceID, uint8_t uchLocalPort, uint32_t ulDestID, uint8_t uchHopCount,
         const uint16_t* pwSmall, const uint16_t* pwLarge);
        /* 7: takes the device lock for wHostDeviceID, retrying once a second for nTimeoutSec. */
        NVXL_STATUS(*pfnAcquireDeviceLock)
        (uint16_t wVendorID, uint16_t wDeviceID, uint8_t uchLocalPort, uint32_t ulDestID, uint8_t uchHopCount,
         uint16_t wHostDeviceID, uint16_t* pwCurrentOwner, int32_t nTimeoutSec, uint32_t bBreakLock);
        /* 8: the ID that holds the device lock (0xFFFF = free). */
        NVXL_STATUS(*pfnGetCurDeviceLock)
        (uint16_t wVendorID, uint16_t wDeviceID, uint8_t uchLocalPort, uint32_t ulDestID, uint8_t uchHopCount,
         uint16_t* pwCurrentOwner);
        /* 9: gives back a lock held by wHostDeviceID. */
        NVXL_STATUS(*pfnReleaseDeviceLock)
        (uint16_t wVendorID, uint16_t wDeviceID, uint8_t uchLocalPort, uint32_t ulDestID, uint8_t uchHopCount,
         uint16_t wHostDeviceID, uint16_t* pwCurrentOwner);
        /* 10: reads the component tag. */
        NVXL_STATUS(*pfnGetComponentTag)
        (uint16_t wVendorID, uint16_t wDeviceID, uint8_t uchLocalPort, uint32_t ulDestID, uint8_t uchHopCount,
         uint32_t* pulTag);
        /* 11: writes the component tag. */
        NVXL_STATUS(*pfnSetComponentTag)
        (uint16_t wVendorID, uint16_t wDeviceID, uint8_t uchLocalPort, uint32_t ulDestID, uint8_t uchHopCount,
         uint32_t ulTag);
        /* 12: whether the link of a port is up (port OK). */
        NVXL_STATUS(*pfnIsPortTrained)
        (uint16_t wVendorID, uint16_t wDeviceID, uint8_t uchLocalPort, uint32_t ulDestID, uint8_t uchHopCount,
         uint8_t uchPort, uint32_t* pbTrained);
        /* 13: pointer to the first extended features block. */
        NVXL_STATUS(*pfnGetExtFeaturesPtr)
        (uint16_t wVendorID, uint16_t wDeviceID, uint8_t uchLocalPort, uint32_t ulDestID, uint8_t uchHopCount,
         uint16_t* pwPtr);
        /* 14: pointer to the extended features block after the one at wCurrentPtr. */
        NVXL_STATUS(*pfnGetNextExtFeature)
        (uint16_t wVendorID, uint16_t wDeviceID, uint8_t uchLocalPort, uint32_t ulDestID, uint8_t uchHopCount,
         uint16_t wCurrentPtr, uint16_t* pwNext);
        /* 15: the Port n Error and Status register of the block at wExtFeaturesPtr. */
        NVXL_STATUS(*pfnGetPortErrorStatus)
        (uint16_t wVendorID, uint16_t wDeviceID, uint8_t uchLocalPort, uint32_t ulDestID, uint8_t uchHopCount,
         uint16_t wExtFeaturesPtr, uint8_t uchPort, uint32_t* pulStatus);
        /* 16: response time-out; *pulTimeout in: new value, out: old value. */
        NVXL_STATUS(*pfnSetResponseTimeout)
        (uint16_t wVendorID, uint16_t wDeviceID, uint8_t uchLocalPort, uint32_t ulDestID, uint8_t uchHopCount,
         uint32_t* pulTimeout);
        /* 17: link time-out; *pulTimeout in: new value, out: old value. */
        NVXL_STATUS(*pfnSetLinkTimeout)
        (uint16_t wVendorID, uint16_t wDeviceID, uint8_t uchLocalPort, uint32_t ulDestID, uint8_t uchHopCount,
         uint32_t* pulTimeout);
        /* 18: enables a port for input and output. */
        NVXL_STATUS(*pfnSetPortEnables)
        (uint16_t wVendorID, uint16_t wDeviceID, uint8_t uchLocalPort, uint32_t ulDestID, uint8_t uchHopCount,
         uint8_t uchPort, uint32_t bInput, uint32_t bOutput);
        /* 19: whether the device type has one routing table per port. */
        int32_t (*pfnIsPerPortRouting)(uint16_t wVendorID, uint16_t wDeviceID);
        /* 20: the Switch Port Information register. */
        NVXL_STATUS(*pfnGetSwitchPortInfo)
        (uint16_t wVendorID, uint16_t wDeviceID, uint8_t uchLocalPort, uint32_t ulDestID, uint8_t uchHopCount,
         uint32_t* pulInfo);
        /* 21: multicast capabilities. */
        NVXL_STATUS(*pfnGetMulticastInfo)
        (uint16_t wVendorID, uint16_t wDeviceID, uint8_t uchLocalPort, uint32_t ulDestID, uint8_t uchHopCount,
         uint32_t* pbSupported, uint32_t* pbSimpleAssoc, uint32_t* pbBlockAssoc, uint32_t* pbPerPortAssoc,
         uint32_t* pulMaxAssociations, uint32_t* pulMaxMasks, uint32_t* pulReserved);
        /* 22: multicast mask command (0 read, 1 add port, 2 delete port, 4 delete all, 5 add all). */
        NVXL_STATUS(*pfnMulticastMaskPort)
        (uint16_t wVendorID, uint16_t wDeviceID, uint8_t uchLocalPort, uint32_t ulDestID, uint8_t uchHopCount,
         uint32_t ulCommand, uint16_t wMaskID, uint8_t uchPort, uint32_t* pulResult);
        /* 23: multicast association command (0 read, 1 write, 2 delete, 3 add). */
        NVXL_STATUS(*pfnMulticastAssociate)
        (uint16_t wVendorID, uint16_t wDeviceID, uint8_t uchLocalPort, uint32_t ulDestID, uint8_t uchHopCount,
         uint32_t ulCommand, uint32_t bLarge, uint16_t wDestBlockSize, uint16_t wDestID, uint16_t wMaskID,
         uint8_t uchPort, uint32_t* pulResult);
        /* 24: the Processing Element Features register. */
        NVXL_STATUS(*pfnGetFeatures)
        (uint16_t wVendorID, uint16_t wDeviceID, uint8_t uchLocalPort, uint32_t ulDestID, uint8_t uchHopCount,
         uint32_t* pulFeatures);
        /* 25: opens or closes the device to the host's maintenance traffic. */
        NVXL_STATUS(*pfnEnableHostAccess)
        (uint16_t wVendorID, uint16_t wDeviceID, uint8_t uchLocalPort, uint32_t ulDestID, uint8_t uchHopCount,
         uint32_t bEnable);
        /* 26: writes one routing table entry (table 255 = all ports). */
        NVXL_STATUS(*pfnRouteAddEntry)
        (uint16_t wVendorID, uint16_t wDeviceID, uint8_t uchLocalPort, uint32_t ulDestID, uint8_t uchHopCount,
         uint8_t uchWhichTable, uint16_t wRouteDestID, uint8_t uchRoutePortNum, NVXL_ROUTE_TYPE eType,
         uint32_t ulExtra);
        /* 27: reads one routing table entry. */
        NVXL_STATUS(*pfnRouteGetEntry)
        (uint16_t wVendorID, uint16_t wDeviceID, uint8_t uchLocalPort, uint32_t ulDestID, uint8_t uchHopCount,
         uint8_t uchWhichTable, uint16_t wRouteDestID, NVXL_ROUTE_TYPE* peType, uint8_t* puchPort,
         uint32_t* pulExtra);
        /* 28: sets the port of IDs that have no entry. */
        NVXL_STATUS(*pfnSetDefaultRoute)
        (uint16_t wVendorID, uint16_t wDeviceID, uint8_t uchLocalPort, uint32_t ulDestID, uint8_t uchHopCount,
         uint8_t uchPort);
        /* 29: the Route Table Destination ID Limit register. */
        NVXL_STATUS(*pfnGetRouteLimit)
        (uint16_t wVendorID, uint16_t wDeviceID, uint8_t uchLocalPort, uint32_t ulDestID, uint8_t uchHopCount,
         uint32_t* pulLimit);
        /* 30: reads a whole routing table; *ppTable is allocated with malloc, the caller frees it. */
        NVXL_STATUS(*pfnLoadRoutingTable)
        (uint16_t wVendorID, uint16_t wDeviceID, uint8_t uchLocalPort, uint32_t ulDestID, uint8_t uchHopCount,
         uint8_t uchWhichTable, uint32_t* pulNumEntries, NVXL_ROUTE_ENTRY** ppTable);
        /* 31: clears every routing table of the device. */
        NVXL_STATUS(*pfnResetRoutingTable)
        (uint16_t wVendorID, uint16_t wDeviceID, uint8_t uchLocalPort, uint32_t ulDestID,
         uint8_t uchHopCount);
        /* 32: whether this switch type accepts a destination ID of its own. */
        int32_t (*pfnUsesDestID)(uint16_t wVendorID, uint16_t wDeviceID);
        /* 33: leaves discovery's mark on the device. */
        NVXL_STATUS(*pfnWriteBreadcrumb)
        (uint16_t wVendorID, uint16_t wDeviceID, uint8_t uchLocalPort, uint32_t ulDestID, uint8_t uchHopCount,
         uint32_t ulValue);
        /* 34: reads discovery's mark back. */
        NVXL_STATUS(*pfnReadBreadcrumb)
        (uint16_t wVendorID, uint16_t wDeviceID, uint8_t uchLocalPort, uint32_t ulDestID, uint8_t uchHopCount,
         uint32_t* pulValue);
        /* 35: number of ports of a switch. */
        NVXL_STATUS(*pfnGetNumPorts)
        (uint16_t wVendorID, uint16_t wDeviceID, uint8_t uchLocalPort, uint32_t ulDestID, uint8_t uchHopCount,
         uint32_t* pulNumPorts);
        /* 36: the Source Operations register. */
        NVXL_STATUS(*pfnGetSourceOps)
        (uint16_t wVendorID, uint16_t wDeviceID, uint8_t uchLocalPort, uint32_t ulDestID, uint8_t uchHopCount,
         uint32_t* pulOps);
        /* 37: the Destination Operations register. */
        NVXL_STATUS(*pfnGetDestOps)
        (uint16_t wVendorID, uint16_t wDeviceID, uint8_t uchLocalPort, uint32_t ulDestID, uint8_t uchHopCount,
         uint32_t* pulOps);
        /* 38: extended addressing mode (low 3 bits of Logical Layer Control). */
        NVXL_STATUS(*pfnGetAddressMode)
        (uint16_t wVendorID, uint16_t wDeviceID, uint8_t uchLocalPort, uint32_t ulDestID, uint8_t uchHopCount,
         uint32_t* pulMode);
        /* 39: assembly ID and assembly vendor. */
        NVXL_STATUS(*pfnGetAssemblyInfo)
        (uint16_t wVendorID, uint16_t wDeviceID, uint8_t uchLocalPort, uint32_t ulDestID, uint8_t uchHopCount,
         uint16_t* pwAssyID, uint16_t* pwAssyVendor);
        /* 40: the default route port. */
        NVXL_STATUS(*pfnGetDefaultRoute)
        (uint16_t wVendorID, uint16_t wDeviceID, uint8_t uchLocalPort, uint32_t ulDestID, uint8_t uchHopCount,
         uint8_t* puchPort);
        /* 41: writes a whole routing table. */
        NVXL_STATUS(*pfnStoreRoutingTable)
        (uint16_t wVendorID, uint16_t wDeviceID, uint8_t uchLocalPort, uint32_t ulDestID, uint8_t uchHopCount,
         uint8_t uchWhichTable, uint32_t ulNumEntries, const NVXL_ROUTE_ENTRY* pTable);
        /* 42: whether the device type has an EEPROM behind it. */
        int32_t (*pfnSupportsEEPROM)(uint16_t wVendorID, uint16_t wDeviceID);
        /* 43: prepares the EEPROM for writing. */
        NVXL_STATUS(*pfnInitEEPROM)
        (uint16_t wVendorID, uint16_t wDeviceID, uint8_t uchLocalPort, uint32_t ulDestID,
         uint8_t uchHopCount);
        /* 44: writes wByteCount bytes at wAddress of the EEPROM. */
        NVXL_STATUS(*pfnWriteEEPROM)
        (uint16_t wVendorID, uint16_t wDeviceID, uint8_t uchLocalPort, uint32_t ulDestID, uint8_t uchHopCount,
         uint16_t wByteCount, uint16_t wAddress, const uint8_t* pbData);
        /* 45: reads wByteCount bytes at wAddress of the EEPROM. */
        NVXL_STATUS(*pfnReadEEPROM)
        (uint16_t wVendorID, uint16_t wDeviceID, uint8_t uchLocalPort, uint32_t ulDestID, uint8_t uchHopCount,
         uint16_t wByteCount, uint16_t wAddress, uint8_t* pbData);
        /* 46: address size and I2C address of the EEPROM. */
        NVXL_STATUS(*pfnSetEEPROMAddress)
        (uint16_t wVendorID, uint16_t wDeviceID, uint8_t uchLocalPort, uint32_t ulDestID, uint8_t uchHopCount,
         uint8_t uchAddressSize, uint8_t uchI2CAddress);
        /* 47: writes a routing table into the device's boot image. */
        NVXL_STATUS(*pfnFlashRoutingTable)
        (uint16_t wVendorID, uint16_t wDeviceID, uint8_t uchLocalPort, uint32_t ulDestID, uint8_t uchHopCount,
         uint8_t uchWhichTable, uint32_t ulNumEntries, const NVXL_ROUTE_ENTRY* pTable);
        /* 48: clears the error bits of a port; *pulRemaining gets those that stay. */
        NVXL_STATUS(*pfnClearPortErrors)
        (uint16_t wVendorID, uint16_t wDeviceID, uint8_t uchLocalPort, uint32_t ulDestID, uint8_t uchHopCount,
         uint8_t uchPort, uint32_t* pulRemaining);
        /* 49: inbound, outstanding and outbound ackIDs of a port. */
        NVXL_STATUS(*pfnGetPortAckIDs)
        (uint16_t wVendorID, uint16_t wDeviceID, uint8_t uchLocalPort, uint32_t ulDestID, uint8_t uchHopCount,
         uint8_t uchPort, uint8_t* puchInbound, uint8_t* puchOutstanding, uint8_t* puchOutbound);
        /* 50: link-request (3 reset, 4 input status) and the link partner's response. */
        NVXL_STATUS(*pfnSendLinkMaintRequest)
        (uint16_t wVendorID, uint16_t wDeviceID, uint8_t uchLocalPort, uint32_t ulDestID, uint8_t uchHopCount,
         uint8_t uchPort, uint32_t ulCommand, uint32_t* pulAckID, uint32_t* pulLinkStatus);
        /* 51: realigns misaligned ackIDs of a port. */
        NVXL_STATUS(*pfnResyncAckIDs)
        (uint16_t wVendorID, uint16_t wDeviceID, uint8_t uchLocalPort, uint32_t ulDestID, uint8_t uchHopCount,
         uint8_t uchPort);
        /* 52: sets or clears the Discovered bit. */
        NVXL_STATUS(*pfnSetPortDiscovered)
        (uint16_t wVendorID, uint16_t wDeviceID, uint8_t uchLocalPort, uint32_t ulDestID, uint8_t uchHopCount,
         uint32_t bDiscovered);
        /* 53: virtual destination ID capabilities (bit 0 secondary IDs, bit 1 accept-all). */
        NVXL_STATUS(*pfnGetVDIDCaps)
        (uint16_t wVendorID, uint16_t wDeviceID, uint8_t uchLocalPort, uint32_t ulDestID, uint8_t uchHopCount,
         uint16_t* pwFlags, uint16_t* pwNum2ary);
        /* 54: number of secondary destination IDs. */
        NVXL_STATUS(*pfnGetNum2aryDestIDs)
        (uint16_t wVendorID, uint16_t wDeviceID, uint8_t uchLocalPort, uint32_t ulDestID, uint8_t uchHopCount,
         uint16_t* pwNum2ary);
        /* 55: reads secondary destination ID wIndex. */
        NVXL_STATUS(*pfnGet2aryDestID)
        (uint16_t wVendorID, uint16_t wDeviceID, uint8_t uchLocalPort, uint32_t ulDestID, uint8_t uchHopCount,
         uint16_t wIndex, uint16_t* pwSmall, uint16_t* pwLarge);
        /* 56: writes secondary destination ID wIndex; a NULL pointer leaves that ID. */
        NVXL_STATUS(*pfnSet2aryDestID)
        (uint16_t wVendorID, uint16_t wDeviceID, uint8_t uchLocalPort, uint32_t ulDestID, uint8_t uchHopCount,
         uint16_t wIndex, const uint16_t* pwSmall, const uint16_t* pwLarge);
    } HalInterface;

    /* ---- Module state ---------------------------------------------------------------------------- */

    /* Removes the installed transport, sets the large-transport flag to 0, the maintenance priority
     * to 2 and empties the registry. Install the transport again afterwards. Returns 0. */
    NVXL_STATUS HalInitialize(void);
    /* Removes the installed transport. */
    void HalTerminate(void);
    /* Transport flag handed down with every transaction: 1 for 16-bit destination IDs. */
    void HalSetLargeTransport(uint32_t bLargeTransport);
    /* The transport flag in force. */
    uint32_t HalGetLargeTransport(void);
    /* Priority handed down with every maintenance transaction (0..2). */
    void HalSetPriority(uint32_t ulPriority);
    /* The maintenance priority in force. */
    uint32_t HalGetPriority(void);
    /* Switches debug level 0..5 on or off; other levels are ignored. */
    void HalSetDebugFlag(uint32_t ulLevel, uint32_t bValue);
    /* Whether a debug level is on; an unknown level reads as 0. */
    uint32_t HalGetDebugFlag(uint32_t ulLevel);
    /* When ulLevel is on, formats the text and hands it to the transport's debug output (the
     * application's debug log, channel Middleware). Returns the number of characters, 0 when off. */
    int32_t HalDebugPrint(uint32_t ulLevel, const char* pszFormat, ...)
#if defined(__GNUC__)
        __attribute__((format(printf, 2, 3)))
#endif
        ;

    /* ---- Registry -------------------------------------------------------------------------------- */

    /* Appends a record to the registry. Returns 1, or 0 when the registry is full (the record is then
     * not registered and a line goes to the standard error stream). */
    int32_t HalRegisterInterface(const HalInterface* pInterface);
    /* The first registered record whose key is (wDeviceID << 16) | wVendorID, or NULL. */
    const HalInterface* HalFindInterface(uint16_t wDeviceID, uint16_t wVendorID);
    /* Registers the device families in their fixed order; called once when the front end is made. */
    void HalRegisterDeviceFamilies(void);

    /* ---- Gates to the transport ----------------------------------------------------------------- */
    /* Without an installed transport every gate returns NVXL_ERR_DRIVER_NOT_OPEN; a transport that
     * lacks the function returns NVXL_ERR_NOT_SUPPORTED. */

    /* Reads ulWordCount words of ulWordSize (1, 2, 4) bytes into pvData, in host byte order. */
    NVXL_STATUS MaintRead(uint8_t uchLocalPort, uint32_t ulDestID, uint8_t uchHopCount, uint32_t ulOffset,
                          void* pvData, uint32_t ulWordCount, uint32_t ulWordSize, uint32_t ulStride);
    /* Writes ulWordCount host-order words of ulWordSize bytes; pvData is not changed. */
    NVXL_STATUS MaintWrite(uint8_t uchLocalPort, uint32_t ulDestID, uint8_t uchHopCount, uint32_t ulOffset,
                           const void* pvData, uint32_t ulWordCount, uint32_t ulWordSize, uint32_t ulStride);
    /* NREAD of ulByteCount bytes at a RapidIO address. */
    NVXL_STATUS DataRead(uint8_t uchLocalPort, uint32_t ulDestID, uint32_t ulRioAddressHi,
                         uint32_t ulRioAddressLo, uint32_t ulXferType, uint32_t ulPriority, void* pvData,
                         uint32_t ulByteCount);
    /* Data write of ulByteCount bytes; ulXferType 0 SWRITE, 1 NWRITE, 2 NWRITE_R. */
    NVXL_STATUS DataWrite(uint8_t uchLocalPort, uint32_t ulDestID, uint32_t ulRioAddressHi,
                          uint32_t ulRioAddressLo, uint32_t ulXferType, uint32_t ulPriority,
                          const void* pvData, uint32_t ulByteCount);
    /* Sends a message to a mailbox. */
    NVXL_STATUS MessageSend(uint8_t uchLocalPort, uint32_t ulDestID, uint32_t ulPriority,
                            uint32_t bMultiPacket, uint32_t ulMailboxNum, const void* pvData,
                            uint32_t ulPacketByteCount, uint32_t ulTotalByteCount);
    /* Sends a doorbell. */
    NVXL_STATUS DoorbellSend(uint8_t uchLocalPort, uint32_t ulDestID, uint32_t ulPriority,
                             uint16_t wInfoWord);
    /* Fetches the next message of a target queue; pvData must hold 4096 bytes; any output may be NULL.
     * *pulSize is 0 when the queue is empty. */
    NVXL_STATUS MessageGet(uint32_t ulWhichQueue, uint8_t* pbTT, uint8_t* pbOverflow, uint32_t* pulSourceID,
                           uint32_t* pulPriority, uint32_t* pulMailboxNum, uint32_t* pulSize, void* pvData);
    /* Empties a message queue of the target. */
    NVXL_STATUS MessageFlush(uint32_t ulWhichQueue);
    /* Fetches the next doorbell of a target queue; any output may be NULL. */
    NVXL_STATUS DoorbellGet(uint32_t ulWhichQueue, uint8_t* pbValid, uint8_t* pbOverflow,
                            uint16_t* pwInfoWord);
    /* Empties a doorbell queue of the target. */
    NVXL_STATUS DoorbellFlush(uint32_t ulWhichQueue);
    /* Reads memory of the server's host. */
    NVXL_STATUS MemoryRead(uint32_t dwAddressHi, uint32_t dwAddressLo, uint32_t dwWordCount,
                           uint32_t dwWordSize, void* pvData);
    /* Writes memory of the server's host. */
    NVXL_STATUS MemoryWrite(uint32_t dwAddressHi, uint32_t dwAddressLo, uint32_t dwWordCount,
                            uint32_t dwWordSize, const void* pvData);
    /* The RapidIO errors the target collected since it was last asked, cut to ulSize - 1 characters
     * and terminated; an empty list leaves pszText as it was. */
    NVXL_STATUS GetRioErrors(char* pszText, uint32_t ulSize);
    /* Device and vendor ID from the Device Identity register; no record is consulted. */
    NVXL_STATUS GetDeviceAndVendor(uint8_t uchLocalPort, uint32_t ulDestID, uint8_t uchHopCount,
                                   uint16_t* pwDevice, uint16_t* pwVendor);

    /* ---- Device operations ----------------------------------------------------------------------- */
    /* Each takes the same arguments as the record entry of the same name; the comment gives what a
     * device without the entry gets. "Standard" is the RapidIO register behaviour. */

    /* Default: all four widths 255, bParallel and port type 0, returns 0. */
    NVXL_STATUS HalGetPortWidth(uint16_t wVendorID, uint16_t wDeviceID, uint8_t uchLocalPort,
                                uint32_t ulDestID, uint8_t uchHopCount, uint8_t uchPort,
                                uint8_t* puchPortWidth, uint8_t* puchLane, uint8_t* puchMaxWidth,
                                uint8_t* puchWidthOverride, uint32_t* pbParallel, uint32_t* pulPortType);
    /* Default: *pulMask 0, NVXL_ERR_NOT_SUPPORTED. */
    NVXL_STATUS HalGetPortConfig(uint16_t wVendorID, uint16_t wDeviceID, uint8_t uchLocalPort,
                                 uint32_t ulDestID, uint8_t uchHopCount, uint8_t uchPort, uint32_t* pulMask,
                                 NVXL_PORT_CONFIG* pRecord);
    /* Default: speed 0 (unknown), returns 0. */
    NVXL_STATUS HalGetPortSpeedMHz(uint16_t wVendorID, uint16_t wDeviceID, uint8_t uchLocalPort,
                                   uint32_t ulDestID, uint8_t uchHopCount, uint8_t uchPort,
                                   uint32_t* pulSpeed);
    /* The lanes of port ulPort of an IDT Gen2 switch (0x0374, 0x0375, 0x0377, 0x0378, 0x0379) for a value
       of its Quad Configuration register: the first lane and how many (0 when the port has none in
       that configuration), and the device's port total. NVXL_ERR_NOT_SUPPORTED for another device,
       NVXL_ERR_INVALID_PARAM for a port at or above the total. Reads nothing. */
    NVXL_STATUS HalGen2PortLanes(uint16_t wDeviceID, uint32_t ulQuadConfig, uint32_t ulPort,
                                 uint32_t* pulFirstLane, uint32_t* pulLanes, uint32_t* pulNumPorts);
    /* An unknown speed gives NVXL_ERR_INVALID_PARAM for every device. Default: NVXL_ERR_NOT_SUPPORTED. */
    NVXL_STATUS HalSetPortSpeedMHz(uint16_t wVendorID, uint16_t wDeviceID, uint8_t uchLocalPort,
                                   uint32_t ulDestID, uint8_t uchHopCount, uint8_t uchPort, uint32_t ulSpeed);
    /* Standard: Base Device ID register. */
    NVXL_STATUS HalGetDeviceID(uint16_t wVendorID, uint16_t wDeviceID, uint8_t uchLocalPort,
                               uint32_t ulDestID, uint8_t uchHopCount, uint16_t* pwSmall, uint16_t* pwLarge);
    /* A small ID above 255 gives NVXL_ERR_INVALID_PARAM for every device. Standard otherwise. */
    NVXL_STATUS HalSetDeviceID(uint16_t wVendorID, uint16_t wDeviceID, uint8_t uchLocalPort,
                               uint32_t ulDestID, uint8_t uchHopCount, const uint16_t* pwSmall,
                               const uint16_t* pwLarge);
    /* Standard: Host Base Device ID Lock register; the higher ID has the higher priority. */
    NVXL_STATUS HalAcquireDeviceLock(uint16_t wVendorID, uint16_t wDeviceID, uint8_t uchLocalPort,
                                     uint32_t ulDestID, uint8_t uchHopCount, uint16_t wHostDeviceID,
                                     uint16_t* pwCurrentOwner, int32_t nTimeoutSec, uint32_t bBreakLock);
    /* Standard. */
    NVXL_STATUS HalGetCurDeviceLock(uint16_t wVendorID, uint16_t wDeviceID, uint8_t uchLocalPort,
                                    uint32_t ulDestID, uint8_t uchHopCount, uint16_t* pwCurrentOwner);
    /* Standard. */
    NVXL_STATUS HalReleaseDeviceLock(uint16_t wVendorID, uint16_t wDeviceID, uint8_t uchLocalPort,
                                     uint32_t ulDestID, uint8_t uchHopCount, uint16_t wHostDeviceID,
                                     uint16_t* pwCurrentOwner);
    /* Standard. */
    NVXL_STATUS HalGetComponentTag(uint16_t wVendorID, uint16_t wDeviceID, uint8_t uchLocalPort,
                                   uint32_t ulDestID, uint8_t uchHopCount, uint32_t* pulTag);
    /* Standard. */
    NVXL_STATUS HalSetComponentTag(uint16_t wVendorID, uint16_t wDeviceID, uint8_t uchLocalPort,
                                   uint32_t ulDestID, uint8_t uchHopCount, uint32_t ulTag);
    /* Standard: port OK bit, found through HalGetExtFeaturesPtr and HalGetPortErrorStatus. */
    NVXL_STATUS HalIsPortTrained(uint16_t wVendorID, uint16_t wDeviceID, uint8_t uchLocalPort,
                                 uint32_t ulDestID, uint8_t uchHopCount, uint8_t uchPort,
                                 uint32_t* pbTrained);
    /* Standard. */
    NVXL_STATUS HalGetExtFeaturesPtr(uint16_t wVendorID, uint16_t wDeviceID, uint8_t uchLocalPort,
                                     uint32_t ulDestID, uint8_t uchHopCount, uint16_t* pwPtr);
    /* Standard. */
    NVXL_STATUS HalGetNextExtFeature(uint16_t wVendorID, uint16_t wDeviceID, uint8_t uchLocalPort,
                                     uint32_t ulDestID, uint8_t uchHopCount, uint16_t wCurrentPtr,
                                     uint16_t* pwNext);
    /* Standard. */
    NVXL_STATUS HalGetPortErrorStatus(uint16_t wVendorID, uint16_t wDeviceID, uint8_t uchLocalPort,
                                      uint32_t ulDestID, uint8_t uchHopCount, uint16_t wExtFeaturesPtr,
                                      uint8_t uchPort, uint32_t* pulStatus);
    /* Standard. */
    NVXL_STATUS HalSetResponseTimeout(uint16_t wVendorID, uint16_t wDeviceID, uint8_t uchLocalPort,
                                      uint32_t ulDestID, uint8_t uchHopCount, uint32_t* pulTimeout);
    /* Standard. */
    NVXL_STATUS HalSetLinkTimeout(uint16_t wVendorID, uint16_t wDeviceID, uint8_t uchLocalPort,
                                  uint32_t ulDestID, uint8_t uchHopCount, uint32_t* pulTimeout);
    /* Default: does nothing, returns 0. */
    NVXL_STATUS HalSetPortEnables(uint16_t wVendorID, uint16_t wDeviceID, uint8_t uchLocalPort,
                                  uint32_t ulDestID, uint8_t uchHopCount, uint8_t uchPort, uint32_t bInput,
                                  uint32_t bOutput);
    /* Default: 0 (one table for all ports). */
    int32_t HalIsPerPortRouting(uint16_t wVendorID, uint16_t wDeviceID);
    /* Standard. */
    NVXL_STATUS HalGetSwitchPortInfo(uint16_t wVendorID, uint16_t wDeviceID, uint8_t uchLocalPort,
                                     uint32_t ulDestID, uint8_t uchHopCount, uint32_t* pulInfo);
    /* Standard. */
    NVXL_STATUS HalGetMulticastInfo(uint16_t wVendorID, uint16_t wDeviceID, uint8_t uchLocalPort,
                                    uint32_t ulDestID, uint8_t uchHopCount, uint32_t* pbSupported,
                                    uint32_t* pbSimpleAssoc, uint32_t* pbBlockAssoc, uint32_t* pbPerPortAssoc,
                                    uint32_t* pulMaxAssociations, uint32_t* pulMaxMasks,
                                    uint32_t* pulReserved);
    /* Standard. */
    NVXL_STATUS HalMulticastMaskPort(uint16_t wVendorID, uint16_t wDeviceID, uint8_t uchLocalPort,
                                     uint32_t ulDestID, uint8_t uchHopCount, uint32_t ulCommand,
                                     uint16_t wMaskID, uint8_t uchPort, uint32_t* pulResult);
    /* Standard. */
    NVXL_STATUS HalMulticastAssociate(uint16_t wVendorID, uint16_t wDeviceID, uint8_t uchLocalPort,
                                      uint32_t ulDestID, uint8_t uchHopCount, uint32_t ulCommand,
                                      uint32_t bLarge, uint16_t wDestBlockSize, uint16_t wDestID,
                                      uint16_t wMaskID, uint8_t uchPort, uint32_t* pulResult);
    /* Standard. */
    NVXL_STATUS HalGetFeatures(uint16_t wVendorID, uint16_t wDeviceID, uint8_t uchLocalPort,
                               uint32_t ulDestID, uint8_t uchHopCount, uint32_t* pulFeatures);
    /* Default: does nothing, returns 0. */
    NVXL_STATUS HalEnableHostAccess(uint16_t wVendorID, uint16_t wDeviceID, uint8_t uchLocalPort,
                                    uint32_t ulDestID, uint8_t uchHopCount, uint32_t bEnable);
    /* Default: NVXL_ERR_NOT_SUPPORTED. */
    NVXL_STATUS HalRouteAddEntry(uint16_t wVendorID, uint16_t wDeviceID, uint8_t uchLocalPort,
                                 uint32_t ulDestID, uint8_t uchHopCount, uint8_t uchWhichTable,
                                 uint16_t wRouteDestID, uint8_t uchRoutePortNum, NVXL_ROUTE_TYPE eType,
                                 uint32_t ulExtra);
    /* Default: NVXL_ERR_INVALID_PARAM without pulExtra, else NVXL_ERR_NOT_SUPPORTED. */
    NVXL_STATUS HalRouteGetEntry(uint16_t wVendorID, uint16_t wDeviceID, uint8_t uchLocalPort,
                                 uint32_t ulDestID, uint8_t uchHopCount, uint8_t uchWhichTable,
                                 uint16_t wRouteDestID, NVXL_ROUTE_TYPE* peType, uint8_t* puchPort,
                                 uint32_t* pulExtra);
    /* Standard. */
    NVXL_STATUS HalSetDefaultRoute(uint16_t wVendorID, uint16_t wDeviceID, uint8_t uchLocalPort,
                                   uint32_t ulDestID, uint8_t uchHopCount, uint8_t uchPort);
    /* Standard. */
    NVXL_STATUS HalGetRouteLimit(uint16_t wVendorID, uint16_t wDeviceID, uint8_t uchLocalPort,
                                 uint32_t ulDestID, uint8_t uchHopCount, uint32_t* pulLimit);
    /* Standard: one entry per routed ID, in rising order of ID. */
    NVXL_STATUS HalLoadRoutingTable(uint16_t wVendorID, uint16_t wDeviceID, uint8_t uchLocalPort,
                                    uint32_t ulDestID, uint8_t uchHopCount, uint8_t uchWhichTable,
                                    uint32_t* pulNumEntries, NVXL_ROUTE_ENTRY** ppTable);
    /* Default: does nothing, returns 0. */
    NVXL_STATUS HalResetRoutingTable(uint16_t wVendorID, uint16_t wDeviceID, uint8_t uchLocalPort,
                                     uint32_t ulDestID, uint8_t uchHopCount);
    /* Default: 0. */
    int32_t HalUsesDestID(uint16_t wVendorID, uint16_t wDeviceID);
    /* Default: the component tag. */
    NVXL_STATUS HalWriteBreadcrumb(uint16_t wVendorID, uint16_t wDeviceID, uint8_t uchLocalPort,
                                   uint32_t ulDestID, uint8_t uchHopCount, uint32_t ulValue);
    /* Default: the component tag. */
    NVXL_STATUS HalReadBreadcrumb(uint16_t wVendorID, uint16_t wDeviceID, uint8_t uchLocalPort,
                                  uint32_t ulDestID, uint8_t uchHopCount, uint32_t* pulValue);
    /* Standard. */
    NVXL_STATUS HalGetNumPorts(uint16_t wVendorID, uint16_t wDeviceID, uint8_t uchLocalPort,
                               uint32_t ulDestID, uint8_t uchHopCount, uint32_t* pulNumPorts);
    /* Standard. */
    NVXL_STATUS HalGetSourceOps(uint16_t wVendorID, uint16_t wDeviceID, uint8_t uchLocalPort,
                                uint32_t ulDestID, uint8_t uchHopCount, uint32_t* pulOps);
    /* Standard. */
    NVXL_STATUS HalGetDestOps(uint16_t wVendorID, uint16_t wDeviceID, uint8_t uchLocalPort, uint32_t ulDestID,
                              uint8_t uchHopCount, uint32_t* pulOps);
    /* Standard. */
    NVXL_STATUS HalGetAddressMode(uint16_t wVendorID, uint16_t wDeviceID, uint8_t uchLocalPort,
                                  uint32_t ulDestID, uint8_t uchHopCount, uint32_t* pulMode);
    /* Standard. */
    NVXL_STATUS HalGetAssemblyInfo(uint16_t wVendorID, uint16_t wDeviceID, uint8_t uchLocalPort,
                                   uint32_t ulDestID, uint8_t uchHopCount, uint16_t* pwAssyID,
                                   uint16_t* pwAssyVendor);
    /* Standard. */
    NVXL_STATUS HalGetDefaultRoute(uint16_t wVendorID, uint16_t wDeviceID, uint8_t uchLocalPort,
                                   uint32_t ulDestID, uint8_t uchHopCount, uint8_t* puchPort);
    /* Standard: pTable holds one record per ID of the table (index = ID). */
    NVXL_STATUS HalStoreRoutingTable(uint16_t wVendorID, uint16_t wDeviceID, uint8_t uchLocalPort,
                                     uint32_t ulDestID, uint8_t uchHopCount, uint8_t uchWhichTable,
                                     uint32_t ulNumEntries, const NVXL_ROUTE_ENTRY* pTable);
    /* Default: 0. */
    int32_t HalSupportsEEPROM(uint16_t wVendorID, uint16_t wDeviceID);
    /* Default: NVXL_ERR_NOT_SUPPORTED. */
    NVXL_STATUS HalInitEEPROM(uint16_t wVendorID, uint16_t wDeviceID, uint8_t uchLocalPort, uint32_t ulDestID,
                              uint8_t uchHopCount);
    /* Default: NVXL_ERR_NOT_SUPPORTED. */
    NVXL_STATUS HalWriteEEPROM(uint16_t wVendorID, uint16_t wDeviceID, uint8_t uchLocalPort,
                               uint32_t ulDestID, uint8_t uchHopCount, uint16_t wByteCount, uint16_t wAddress,
                               const uint8_t* pbData);
    /* Default: NVXL_ERR_NOT_SUPPORTED. */
    NVXL_STATUS HalReadEEPROM(uint16_t wVendorID, uint16_t wDeviceID, uint8_t uchLocalPort, uint32_t ulDestID,
                              uint8_t uchHopCount, uint16_t wByteCount, uint16_t wAddress, uint8_t* pbData);
    /* A device counts as having this entry when its record has HalReadEEPROM. Default:
     * NVXL_ERR_NOT_SUPPORTED. */
    NVXL_STATUS HalSetEEPROMAddress(uint16_t wVendorID, uint16_t wDeviceID, uint8_t uchLocalPort,
                                    uint32_t ulDestID, uint8_t uchHopCount, uint8_t uchAddressSize,
                                    uint8_t uchI2CAddress);
    /* Default: NVXL_ERR_NOT_SUPPORTED. */
    NVXL_STATUS HalFlashRoutingTable(uint16_t wVendorID, uint16_t wDeviceID, uint8_t uchLocalPort,
                                     uint32_t ulDestID, uint8_t uchHopCount, uint8_t uchWhichTable,
                                     uint32_t ulNumEntries, const NVXL_ROUTE_ENTRY* pTable);
    /* Standard: two attempts at most. */
    NVXL_STATUS HalClearPortErrors(uint16_t wVendorID, uint16_t wDeviceID, uint8_t uchLocalPort,
                                   uint32_t ulDestID, uint8_t uchHopCount, uint8_t uchPort,
                                   uint32_t* pulRemaining);
    /* Standard. */
    NVXL_STATUS HalGetPortAckIDs(uint16_t wVendorID, uint16_t wDeviceID, uint8_t uchLocalPort,
                                 uint32_t ulDestID, uint8_t uchHopCount, uint8_t uchPort,
                                 uint8_t* puchInbound, uint8_t* puchOutstanding, uint8_t* puchOutbound);
    /* Standard. */
    NVXL_STATUS HalSendLinkMaintRequest(uint16_t wVendorID, uint16_t wDeviceID, uint8_t uchLocalPort,
                                        uint32_t ulDestID, uint8_t uchHopCount, uint8_t uchPort,
                                        uint32_t ulCommand, uint32_t* pulAckID, uint32_t* pulLinkStatus);
    /* Default: NVXL_ERR_NOT_SUPPORTED. */
    NVXL_STATUS HalResyncAckIDs(uint16_t wVendorID, uint16_t wDeviceID, uint8_t uchLocalPort,
                                uint32_t ulDestID, uint8_t uchHopCount, uint8_t uchPort);
    /* Standard. */
    NVXL_STATUS HalSetPortDiscovered(uint16_t wVendorID, uint16_t wDeviceID, uint8_t uchLocalPort,
                                     uint32_t ulDestID, uint8_t uchHopCount, uint32_t bDiscovered);
    /* Default: no secondary IDs (flags and count 0), returns 0. */
    NVXL_STATUS HalGetVDIDCaps(uint16_t wVendorID, uint16_t wDeviceID, uint8_t uchLocalPort,
                               uint32_t ulDestID, uint8_t uchHopCount, uint16_t* pwFlags,
                               uint16_t* pwNum2ary);
    /* Default: count 0, returns 0. */
    NVXL_STATUS HalGetNum2aryDestIDs(uint16_t wVendorID, uint16_t wDeviceID, uint8_t uchLocalPort,
                                     uint32_t ulDestID, uint8_t uchHopCount, uint16_t* pwNum2ary);
    /* Default: NVXL_ERR_NOT_SUPPORTED. */
    NVXL_STATUS HalGet2aryDestID(uint16_t wVendorID, uint16_t wDeviceID, uint8_t uchLocalPort,
                                 uint32_t ulDestID, uint8_t uchHopCount, uint16_t wIndex, uint16_t* pwSmall,
                                 uint16_t* pwLarge);
    /* Default: NVXL_ERR_NOT_SUPPORTED. */
    NVXL_STATUS HalSet2aryDestID(uint16_t wVendorID, uint16_t wDeviceID, uint8_t uchLocalPort,
                                 uint32_t ulDestID, uint8_t uchHopCount, uint16_t wIndex,
                                 const uint16_t* pwSmall, const uint16_t* pwLarge);

#ifdef __cplusplus
}
#endif

#endif
