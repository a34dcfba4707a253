// Vendor 1 device 8: a fixed two-port switch. Its links always run at 2.5 GBd, it has no lock
// register, and its route tables share one word per destination ID, one nibble per table (8 = no
// route), in a small area for 8-bit IDs and a large one for 16-bit IDs. The area in use follows
// the transport width. The tables are write-protected: each write is framed by an unlock and a
// lock of the table through one register.
#include "Devices/DeviceFamilies.h"
#include "Hal/HalRegAccess.h"
#include "Hal/HalStandard.h"

#include <stdlib.h>

#define DEVICE8_FIXED_SPEED 2500u
// Port status: one nibble a port, bit 3 of it set while the port is down.
#define DEVICE8_PORT_STATUS 0x100B0u
#define DEVICE8_STATUS_PORTS 8u
#define DEVICE8_PORT_DOWN 0x8u
// Switch Port Information: two ports.
#define DEVICE8_SWITCH_PORT_INFO 0x200u
#define DEVICE8_NUM_TABLES 2u
// The table areas, their sizes in words and the transfer block.
#define DEVICE8_SMALL_TABLE 0x10800u
#define DEVICE8_LARGE_TABLE 0x11C00u
#define DEVICE8_SMALL_WORDS 256u
#define DEVICE8_LARGE_WORDS 2048u
#define DEVICE8_BLOCK 128u
#define DEVICE8_NO_ROUTE 0x8u
// Writing (1 << (table + 16)) + DEVICE8_LOCK_KEY here unlocks a table, and the same write locks
// it again.
#define DEVICE8_TABLE_LOCK 0x100E8u
#define DEVICE8_LOCK_KEY 64206u

// The table area in use and its size.
static void TableArea(uint32_t* pulBase, uint32_t* pulWords)
{
    const uint32_t bLarge = HalGetLargeTransport();
    *pulBase = bLarge ? DEVICE8_LARGE_TABLE : DEVICE8_SMALL_TABLE;
    *pulWords = bLarge ? DEVICE8_LARGE_WORDS : DEVICE8_SMALL_WORDS;
}

static NVXL_STATUS ToggleTableLock(uint8_t uchLocalPort, uint32_t ulDestID, uint8_t uchHopCount,
                                   uint8_t uchTable)
{
    return HalWriteReg(uchLocalPort, ulDestID, uchHopCount, DEVICE8_TABLE_LOCK,
                       (1u << (uchTable + 16u)) + DEVICE8_LOCK_KEY);
}

static uint32_t Nibble(uint32_t ulWord, uint8_t uchTable)
{
    return (ulWord >> (4u * uchTable)) & 0xFu;
}

static uint32_t WithNibble(uint32_t ulWord, uint8_t uchTable, uint32_t ulNibble)
{
    const uint32_t ulShift = 4u * uchTable;
    return (ulWord & ~(0xFu << ulShift)) | ((ulNibble & 0xFu) << ulShift);
}

static NVXL_STATUS Device8HalGetPortSpeedMHz(uint16_t, uint16_t, uint8_t, uint32_t, uint8_t, uint8_t,
                                             uint32_t* pulSpeed)
{
    if (!pulSpeed)
        return NVXL_ERR_INVALID_PARAM;
    *pulSpeed = DEVICE8_FIXED_SPEED;
    return NVXL_OK;
}

static NVXL_STATUS Device8HalSetPortSpeedMHz(uint16_t, uint16_t, uint8_t, uint32_t, uint8_t, uint8_t,
                                             uint32_t)
{
    return NVXL_ERR_NOT_SUPPORTED;
}

static NVXL_STATUS Device8HalAcquireDeviceLock(uint16_t, uint16_t, uint8_t, uint32_t, uint8_t, uint16_t,
                                               uint16_t*, int32_t, uint32_t)
{
    return NVXL_OK;
}

static NVXL_STATUS Device8HalReleaseDeviceLock(uint16_t, uint16_t, uint8_t, uint32_t, uint8_t, uint16_t,
                                               uint16_t*)
{
    return NVXL_OK;
}

static NVXL_STATUS Device8HalIsPortTrained(uint16_t, uint16_t, uint8_t uchLocalPort, uint32_t ulDestID,
                                           uint8_t uchHopCount, uint8_t uchPort, uint32_t* pbTrained)
{
    if (!pbTrained || uchPort >= DEVICE8_STATUS_PORTS)
        return NVXL_ERR_INVALID_PARAM;
    uint32_t ulStatus = 0;
    const NVXL_STATUS nStatus =
        HalReadReg(uchLocalPort, ulDestID, uchHopCount, DEVICE8_PORT_STATUS, &ulStatus);
    if (nStatus != NVXL_OK)
        return nStatus;
    *pbTrained = (Nibble(ulStatus, uchPort) & DEVICE8_PORT_DOWN) ? 0u : 1u;
    return NVXL_OK;
}

static NVXL_STATUS Device8HalGetSwitchPortInfo(uint16_t, uint16_t, uint8_t, uint32_t, uint8_t,
                                               uint32_t* pulInfo)
{
    if (!pulInfo)
        return NVXL_ERR_INVALID_PARAM;
    *pulInfo = DEVICE8_SWITCH_PORT_INFO;
    return NVXL_OK;
}

static NVXL_STATUS Device8HalRouteAddEntry(uint16_t, uint16_t, uint8_t uchLocalPort, uint32_t ulDestID,
                                           uint8_t uchHopCount, uint8_t uchWhichTable, uint16_t wRouteDestID,
                                           uint8_t uchRoutePortNum, NVXL_ROUTE_TYPE eType, uint32_t)
{
    if (uchWhichTable >= DEVICE8_NUM_TABLES)
        return NVXL_ERR_NOT_SUPPORTED;
    uint32_t ulNibble;
    if (eType == eNVXL_RouteTypeUndefined)
        return NVXL_ERR_INVALID_PARAM;
    if (eType == eNVXL_RouteTypeUnrouted)
        ulNibble = DEVICE8_NO_ROUTE;
    else if (eType == eNVXL_RouteTypePort && uchRoutePortNum < DEVICE8_NO_ROUTE)
        ulNibble = uchRoutePortNum;
    else
        return NVXL_ERR_ROUTING;
    uint32_t ulBase, ulWords;
    TableArea(&ulBase, &ulWords);
    if (wRouteDestID >= ulWords)
        return NVXL_ERR_ROUTING;

    const uint32_t ulOffset = ulBase + 4u * wRouteDestID;
    uint32_t ulWord = 0;
    NVXL_STATUS nStatus = HalReadReg(uchLocalPort, ulDestID, uchHopCount, ulOffset, &ulWord);
    if (nStatus != NVXL_OK)
        return nStatus;
    nStatus = ToggleTableLock(uchLocalPort, ulDestID, uchHopCount, uchWhichTable);
    if (nStatus != NVXL_OK)
        return nStatus;
    nStatus = HalWriteReg(uchLocalPort, ulDestID, uchHopCount, ulOffset,
                          WithNibble(ulWord, uchWhichTable, ulNibble));
    if (nStatus != NVXL_OK)
        return nStatus;
    return ToggleTableLock(uchLocalPort, ulDestID, uchHopCount, uchWhichTable);
}

static NVXL_STATUS Device8HalRouteGetEntry(uint16_t, uint16_t, uint8_t uchLocalPort, uint32_t ulDestID,
                                           uint8_t uchHopCount, uint8_t uchWhichTable, uint16_t wRouteDestID,
                                           NVXL_ROUTE_TYPE* peType, uint8_t* puchPort, uint32_t* pulExtra)
{
    if (!peType || !puchPort || !pulExtra)
        return NVXL_ERR_INVALID_PARAM;
    if (uchWhichTable >= DEVICE8_NUM_TABLES)
        return NVXL_ERR_NOT_SUPPORTED;
    uint32_t ulBase, ulWords;
    TableArea(&ulBase, &ulWords);
    if (wRouteDestID >= ulWords)
        return NVXL_ERR_ROUTING;
    uint32_t ulWord = 0;
    const NVXL_STATUS nStatus =
        HalReadReg(uchLocalPort, ulDestID, uchHopCount, ulBase + 4u * wRouteDestID, &ulWord);
    if (nStatus != NVXL_OK)
        return nStatus;
    const uint32_t ulNibble = Nibble(ulWord, uchWhichTable);
    *peType = ulNibble < DEVICE8_NO_ROUTE ? eNVXL_RouteTypePort : eNVXL_RouteTypeUnrouted;
    *puchPort = (uint8_t)ulNibble;
    *pulExtra = 0;
    return NVXL_OK;
}

// Reads the whole area in use into a new array.
static NVXL_STATUS ReadArea(uint8_t uchLocalPort, uint32_t ulDestID, uint8_t uchHopCount, uint32_t ulBase,
                            uint32_t ulWords, uint32_t** ppulWords)
{
    uint32_t* pulWords = (uint32_t*)malloc(ulWords * sizeof(uint32_t));
    if (!pulWords)
        return NVXL_ERR_NO_MEMORY;
    for (uint32_t i = 0; i < ulWords; i += DEVICE8_BLOCK)
    {
        const NVXL_STATUS nStatus = MaintRead(uchLocalPort, ulDestID, uchHopCount, ulBase + 4u * i,
                                              pulWords + i, DEVICE8_BLOCK, 4, 4);
        if (nStatus != NVXL_OK)
        {
            free(pulWords);
            return nStatus;
        }
    }
    *ppulWords = pulWords;
    return NVXL_OK;
}

static NVXL_STATUS Device8HalLoadRoutingTable(uint16_t wVendorID, uint16_t wDeviceID, uint8_t uchLocalPort,
                                              uint32_t ulDestID, uint8_t uchHopCount, uint8_t uchWhichTable,
                                              uint32_t* pulNumEntries, NVXL_ROUTE_ENTRY** ppTable)
{
    if (!pulNumEntries || !ppTable)
        return NVXL_ERR_INVALID_PARAM;
    if (uchWhichTable >= DEVICE8_NUM_TABLES)
        return NVXL_ERR_NOT_SUPPORTED;
    uint32_t ulBase, ulWords;
    TableArea(&ulBase, &ulWords);
    HalDebugPrint(3,
                  HalGetLargeTransport() ? "Loading large routing table %d from device %04x manuf %04x\n"
                                         : "Loading small routing table %d from device %04x manuf %04x\n",
                  uchWhichTable, wDeviceID, wVendorID);
    uint32_t* pulWords = NULL;
    NVXL_STATUS nStatus = ReadArea(uchLocalPort, ulDestID, uchHopCount, ulBase, ulWords, &pulWords);
    if (nStatus != NVXL_OK)
        return nStatus;
    uint32_t ulCount = 0;
    for (uint32_t i = 0; i < ulWords; i++)
        ulCount += Nibble(pulWords[i], uchWhichTable) < DEVICE8_NO_ROUTE ? 1u : 0u;
    *pulNumEntries = ulCount;
    if (ulCount == 0)
    {
        free(pulWords);
        return NVXL_OK;
    }
    NVXL_ROUTE_ENTRY* pTable = (NVXL_ROUTE_ENTRY*)malloc(ulCount * sizeof(NVXL_ROUTE_ENTRY));
    if (!pTable)
    {
        free(pulWords);
        return NVXL_ERR_NO_MEMORY;
    }
    uint32_t ulEntry = 0;
    for (uint32_t i = 0; i < ulWords; i++)
    {
        const uint32_t ulNibble = Nibble(pulWords[i], uchWhichTable);
        if (ulNibble >= DEVICE8_NO_ROUTE)
            continue;
        pTable[ulEntry].wDestID = (uint16_t)i;
        pTable[ulEntry].uchPort = (uint8_t)ulNibble;
        pTable[ulEntry].eType = eNVXL_RouteTypePort;
        pTable[ulEntry].ulExtra = 0;
        ulEntry++;
    }
    free(pulWords);
    *ppTable = pTable;
    return NVXL_OK;
}

static NVXL_STATUS Device8HalStoreRoutingTable(uint16_t wVendorID, uint16_t wDeviceID, uint8_t uchLocalPort,
                                               uint32_t ulDestID, uint8_t uchHopCount, uint8_t uchWhichTable,
                                               uint32_t ulNumEntries, const NVXL_ROUTE_ENTRY* pTable)
{
    if (!pTable && ulNumEntries)
        return NVXL_ERR_INVALID_PARAM;
    if (uchWhichTable >= DEVICE8_NUM_TABLES)
        return NVXL_ERR_NOT_SUPPORTED;
    uint32_t ulBase, ulWords;
    TableArea(&ulBase, &ulWords);
    HalDebugPrint(3,
                  HalGetLargeTransport() ? "Storing large routing table %d to device %04x manuf %04x\n"
                                         : "Storing small routing table %d to device %04x manuf %04x\n",
                  uchWhichTable, wDeviceID, wVendorID);
    // The other tables' nibbles share the words: they are read first and written back as they were.
    uint32_t* pulWords = NULL;
    NVXL_STATUS nStatus = ReadArea(uchLocalPort, ulDestID, uchHopCount, ulBase, ulWords, &pulWords);
    if (nStatus != NVXL_OK)
        return nStatus;
    for (uint32_t i = 0; i < ulWords; i++)
        pulWords[i] = WithNibble(pulWords[i], uchWhichTable, DEVICE8_NO_ROUTE);
    for (uint32_t i = 0; i < ulNumEntries; i++)
    {
        if (pTable[i].eType == eNVXL_RouteTypePort && pTable[i].wDestID < ulWords &&
            pTable[i].uchPort < DEVICE8_NO_ROUTE)
            pulWords[pTable[i].wDestID] =
                WithNibble(pulWords[pTable[i].wDestID], uchWhichTable, pTable[i].uchPort);
    }
    nStatus = ToggleTableLock(uchLocalPort, ulDestID, uchHopCount, uchWhichTable);
    for (uint32_t i = 0; i < ulWords && nStatus == NVXL_OK; i += DEVICE8_BLOCK)
        nStatus = MaintWrite(uchLocalPort, ulDestID, uchHopCount, ulBase + 4u * i, pulWords + i,
                             DEVICE8_BLOCK, 4, 4);
    free(pulWords);
    if (nStatus != NVXL_OK)
        return nStatus;
    return ToggleTableLock(uchLocalPort, ulDestID, uchHopCount, uchWhichTable);
}

// Empties the tables of both ports.
static NVXL_STATUS Device8HalResetRoutingTable(uint16_t wVendorID, uint16_t wDeviceID, uint8_t uchLocalPort,
                                               uint32_t ulDestID, uint8_t uchHopCount)
{
    for (uint8_t uchTable = 0; uchTable < DEVICE8_NUM_TABLES; uchTable++)
    {
        const NVXL_STATUS nStatus = HalStoreRoutingTable(wVendorID, wDeviceID, uchLocalPort, ulDestID,
                                                         uchHopCount, uchTable, 0, NULL);
        if (nStatus != NVXL_OK)
            return nStatus;
    }
    return NVXL_OK;
}

const HalInterface g_sVendor1Device8Interface = {
    .ulDeviceKey = 0x00080001,
    .pfnGetPortSpeedMHz = Device8HalGetPortSpeedMHz,
    .pfnSetPortSpeedMHz = Device8HalSetPortSpeedMHz,
    .pfnAcquireDeviceLock = Device8HalAcquireDeviceLock,
    .pfnReleaseDeviceLock = Device8HalReleaseDeviceLock,
    .pfnIsPortTrained = Device8HalIsPortTrained,
    .pfnGetSwitchPortInfo = Device8HalGetSwitchPortInfo,
    .pfnRouteAddEntry = Device8HalRouteAddEntry,
    .pfnRouteGetEntry = Device8HalRouteGetEntry,
    .pfnLoadRoutingTable = Device8HalLoadRoutingTable,
    .pfnResetRoutingTable = Device8HalResetRoutingTable,
    .pfnStoreRoutingTable = Device8HalStoreRoutingTable,
};
