// PMC6352: a switch with a byte-wide route table per port (4096 IDs) and a common table, all in
// its register space. A port's lookup engine reads its table all the time; the table may only be
// accessed while that engine is stopped, and a table update is announced to the port afterwards.
#include "Devices/DeviceFamilies.h"
#include "Devices/PortControl.h"
#include "Hal/HalRegAccess.h"
#include "Hal/HalStandard.h"

#include <stdlib.h>
#include <string.h>

#define HAL_ALL_TABLES 255u
#define PMC_NUM_PORTS 16u
#define PMC_TABLE_BYTES 4096u
#define PMC_TABLE_WORDS (PMC_TABLE_BYTES / 4u)
#define PMC_BLOCK 128u
// The common table, and port n's table.
#define PMC_COMMON_TABLE 0x11000u
#define PMC_PORT_TABLE(uchTable) (0x15000u + 0x2000u * (uint32_t)(uchTable))
// Port n's control register, with bit 5 set while its lookup engine runs, and its update register,
// whose bit 5 tells the port that its table changed.
#define PMC_PORT_CONTROL(uchTable) (0x14000u + 0x2000u * (uint32_t)(uchTable))
#define PMC_PORT_UPDATE(uchTable) (0x14010u + 0x2000u * (uint32_t)(uchTable))
#define PMC_ENGINE_RUN 0x20u
#define PMC_PORT_STRIDE 0x2000u
// A table byte. A route is written as 128 + port: bit 7 marks it, bits 3..0 hold the port; no
// route is 0. On the way back a byte with bit 3 set is a route too (it names ports 8 to 15), but
// bit 3 alone cannot be the mark, since a route to ports 0 to 7 is written without it and would
// read back as no route. So a byte is a route when bit 7 or bit 3 is set: every byte written reads
// back as it was written, and every byte with bit 3 set is still a route to the port in bits 3..0.
#define PMC_ROUTE_VALID 0x80u
#define PMC_ROUTE_HIGH_PORT 0x08u
#define PMC_ROUTE_PORT 0x0Fu
// The link speed register: bits 3..2 give the speed of all ports.
#define PMC_SPEED 0x10000u
// The flash writes the table in pieces of this many bytes.
#define PMC_FLASH_PIECE 32u

static NVXL_STATUS CheckTable(uint8_t uchWhichTable)
{
    return (uchWhichTable == HAL_ALL_TABLES || uchWhichTable < PMC_NUM_PORTS) ? NVXL_OK
                                                                              : NVXL_ERR_NOT_SUPPORTED;
}

static uint32_t TableBase(uint8_t uchWhichTable)
{
    return uchWhichTable == HAL_ALL_TABLES ? PMC_COMMON_TABLE : PMC_PORT_TABLE(uchWhichTable);
}

// Stops a port table's engine if it runs; *pulControl keeps the register for the restart.
static NVXL_STATUS StopEngine(uint8_t uchLocalPort, uint32_t ulDestID, uint8_t uchHopCount,
                              uint8_t uchWhichTable, uint32_t* pulControl)
{
    *pulControl = 0;
    if (uchWhichTable == HAL_ALL_TABLES)
        return NVXL_OK;
    NVXL_STATUS nStatus =
        HalReadReg(uchLocalPort, ulDestID, uchHopCount, PMC_PORT_CONTROL(uchWhichTable), pulControl);
    if (nStatus != NVXL_OK || !(*pulControl & PMC_ENGINE_RUN))
        return nStatus;
    return HalWriteReg(uchLocalPort, ulDestID, uchHopCount, PMC_PORT_CONTROL(uchWhichTable),
                       *pulControl & ~PMC_ENGINE_RUN);
}

// Restarts what StopEngine stopped and tells the port that its table was accessed.
static NVXL_STATUS RestartEngine(uint8_t uchLocalPort, uint32_t ulDestID, uint8_t uchHopCount,
                                 uint8_t uchWhichTable, uint32_t ulControl)
{
    if (uchWhichTable == HAL_ALL_TABLES)
        return NVXL_OK;
    NVXL_STATUS nStatus;
    if (ulControl & PMC_ENGINE_RUN)
    {
        nStatus =
            HalWriteReg(uchLocalPort, ulDestID, uchHopCount, PMC_PORT_CONTROL(uchWhichTable), ulControl);
        if (nStatus != NVXL_OK)
            return nStatus;
    }
    uint32_t ulUpdate = 0;
    nStatus = HalReadReg(uchLocalPort, ulDestID, uchHopCount, PMC_PORT_UPDATE(uchWhichTable), &ulUpdate);
    if (nStatus != NVXL_OK)
        return nStatus;
    return HalWriteReg(uchLocalPort, ulDestID, uchHopCount, PMC_PORT_UPDATE(uchWhichTable),
                       ulUpdate | PMC_ENGINE_RUN);
}

// ID d is byte d & 3 of the word at d & 0xFFC. Bytes are numbered as RapidIO numbers them, byte 0
// the most significant of the word (the lowest address): ID d is the table's byte at offset d, as a
// byte-wide access reaches it.
static uint32_t ByteShift(uint16_t wRouteDestID)
{
    return 8u * (3u - (wRouteDestID & 3u));
}

static uint32_t TableByte(uint32_t ulWord, uint16_t wRouteDestID)
{
    return (ulWord >> ByteShift(wRouteDestID)) & 0xFFu;
}

static int IsRoute(uint32_t ulByte)
{
    return (ulByte & (PMC_ROUTE_VALID | PMC_ROUTE_HIGH_PORT)) != 0;
}

static NVXL_STATUS PMC6352HalRouteAddEntry(uint16_t, uint16_t, uint8_t uchLocalPort, uint32_t ulDestID,
                                           uint8_t uchHopCount, uint8_t uchWhichTable, uint16_t wRouteDestID,
                                           uint8_t uchRoutePortNum, NVXL_ROUTE_TYPE eType, uint32_t)
{
    NVXL_STATUS nStatus = CheckTable(uchWhichTable);
    if (nStatus != NVXL_OK)
        return nStatus;
    uint32_t ulByte;
    if (eType == eNVXL_RouteTypeUndefined)
        return NVXL_ERR_INVALID_PARAM;
    if (eType == eNVXL_RouteTypePort)
        ulByte = (uchRoutePortNum & PMC_ROUTE_PORT) + PMC_ROUTE_VALID;
    else if (eType == eNVXL_RouteTypeUnrouted)
        ulByte = 0;
    else
        return NVXL_ERR_ROUTING;
    if (wRouteDestID >= PMC_TABLE_BYTES)
        return NVXL_ERR_ROUTING;

    uint32_t ulControl = 0;
    nStatus = StopEngine(uchLocalPort, ulDestID, uchHopCount, uchWhichTable, &ulControl);
    if (nStatus != NVXL_OK)
        return nStatus;
    const uint32_t ulOffset = TableBase(uchWhichTable) + (wRouteDestID & 0xFFCu);
    uint32_t ulWord = 0;
    nStatus = HalReadReg(uchLocalPort, ulDestID, uchHopCount, ulOffset, &ulWord);
    if (nStatus != NVXL_OK)
        return nStatus;
    const uint32_t ulShift = ByteShift(wRouteDestID);
    ulWord = (ulWord & ~(0xFFu << ulShift)) | (ulByte << ulShift);
    nStatus = HalWriteReg(uchLocalPort, ulDestID, uchHopCount, ulOffset, ulWord);
    if (nStatus != NVXL_OK)
        return nStatus;
    return RestartEngine(uchLocalPort, ulDestID, uchHopCount, uchWhichTable, ulControl);
}

static NVXL_STATUS PMC6352HalRouteGetEntry(uint16_t, uint16_t, uint8_t uchLocalPort, uint32_t ulDestID,
                                           uint8_t uchHopCount, uint8_t uchWhichTable, uint16_t wRouteDestID,
                                           NVXL_ROUTE_TYPE* peType, uint8_t* puchPort, uint32_t* pulExtra)
{
    if (!peType || !puchPort || !pulExtra)
        return NVXL_ERR_INVALID_PARAM;
    NVXL_STATUS nStatus = CheckTable(uchWhichTable);
    if (nStatus != NVXL_OK)
        return nStatus;
    if (wRouteDestID >= PMC_TABLE_BYTES)
        return NVXL_ERR_ROUTING;
    uint32_t ulControl = 0;
    nStatus = StopEngine(uchLocalPort, ulDestID, uchHopCount, uchWhichTable, &ulControl);
    if (nStatus != NVXL_OK)
        return nStatus;
    uint32_t ulWord = 0;
    nStatus = HalReadReg(uchLocalPort, ulDestID, uchHopCount,
                         TableBase(uchWhichTable) + (wRouteDestID & 0xFFCu), &ulWord);
    if (nStatus != NVXL_OK)
        return nStatus;
    nStatus = RestartEngine(uchLocalPort, ulDestID, uchHopCount, uchWhichTable, ulControl);
    if (nStatus != NVXL_OK)
        return nStatus;
    const uint32_t ulByte = TableByte(ulWord, wRouteDestID);
    *peType = IsRoute(ulByte) ? eNVXL_RouteTypePort : eNVXL_RouteTypeUnrouted;
    *puchPort = (uint8_t)(ulByte & PMC_ROUTE_PORT);
    *pulExtra = 0;
    return NVXL_OK;
}

static NVXL_STATUS PMC6352HalLoadRoutingTable(uint16_t, uint16_t, uint8_t uchLocalPort, uint32_t ulDestID,
                                              uint8_t uchHopCount, uint8_t uchWhichTable,
                                              uint32_t* pulNumEntries, NVXL_ROUTE_ENTRY** ppTable)
{
    if (!pulNumEntries || !ppTable)
        return NVXL_ERR_INVALID_PARAM;
    NVXL_STATUS nStatus = CheckTable(uchWhichTable);
    if (nStatus != NVXL_OK)
        return nStatus;
    HalDebugPrint(3, "Loading routing table %d from PMC6352\n", uchWhichTable);
    uint32_t* pulWords = (uint32_t*)malloc(PMC_TABLE_WORDS * sizeof(uint32_t));
    if (!pulWords)
        return NVXL_ERR_NO_MEMORY;
    uint32_t ulControl = 0;
    nStatus = StopEngine(uchLocalPort, ulDestID, uchHopCount, uchWhichTable, &ulControl);
    for (uint32_t i = 0; i < PMC_TABLE_WORDS && nStatus == NVXL_OK; i += PMC_BLOCK)
        nStatus = MaintRead(uchLocalPort, ulDestID, uchHopCount, TableBase(uchWhichTable) + 4u * i,
                            pulWords + i, PMC_BLOCK, 4, 4);
    if (nStatus == NVXL_OK)
        nStatus = RestartEngine(uchLocalPort, ulDestID, uchHopCount, uchWhichTable, ulControl);
    if (nStatus != NVXL_OK)
    {
        free(pulWords);
        return nStatus;
    }
    uint32_t ulCount = 0;
    for (uint32_t d = 0; d < PMC_TABLE_BYTES; d++)
        ulCount += IsRoute(TableByte(pulWords[d / 4u], (uint16_t)d)) ? 1u : 0u;
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
    for (uint32_t d = 0; d < PMC_TABLE_BYTES; d++)
    {
        const uint32_t ulByte = TableByte(pulWords[d / 4u], (uint16_t)d);
        if (!IsRoute(ulByte))
            continue;
        pTable[ulEntry].wDestID = (uint16_t)d;
        pTable[ulEntry].uchPort = (uint8_t)(ulByte & PMC_ROUTE_PORT);
        pTable[ulEntry].eType = eNVXL_RouteTypePort;
        pTable[ulEntry].ulExtra = 0;
        ulEntry++;
    }
    free(pulWords);
    *ppTable = pTable;
    return NVXL_OK;
}

// The table as the device holds it: one byte per ID, in memory order.
static void BuildImage(uint32_t ulNumEntries, const NVXL_ROUTE_ENTRY* pTable, uint8_t* pbImage)
{
    memset(pbImage, 0, PMC_TABLE_BYTES);
    for (uint32_t i = 0; i < ulNumEntries; i++)
    {
        if (pTable[i].eType == eNVXL_RouteTypePort && pTable[i].wDestID < PMC_TABLE_BYTES)
            pbImage[pTable[i].wDestID] = (uint8_t)((pTable[i].uchPort & PMC_ROUTE_PORT) + PMC_ROUTE_VALID);
    }
}

static NVXL_STATUS PMC6352HalStoreRoutingTable(uint16_t, uint16_t, uint8_t uchLocalPort, uint32_t ulDestID,
                                               uint8_t uchHopCount, uint8_t uchWhichTable,
                                               uint32_t ulNumEntries, const NVXL_ROUTE_ENTRY* pTable)
{
    if (!pTable)
        return NVXL_OK;
    NVXL_STATUS nStatus = CheckTable(uchWhichTable);
    if (nStatus != NVXL_OK)
        return nStatus;
    uint8_t* pbImage = (uint8_t*)malloc(PMC_TABLE_BYTES);
    uint32_t* pulWords = (uint32_t*)malloc(PMC_TABLE_WORDS * sizeof(uint32_t));
    if (!pbImage || !pulWords)
    {
        free(pbImage);
        free(pulWords);
        return NVXL_ERR_NO_MEMORY;
    }
    BuildImage(ulNumEntries, pTable, pbImage);
    // ID d is byte d & 3 of word d / 4, byte 0 the most significant.
    for (uint32_t i = 0; i < PMC_TABLE_WORDS; i++)
        pulWords[i] = ((uint32_t)pbImage[4 * i] << 24) | ((uint32_t)pbImage[4 * i + 1] << 16) |
                      ((uint32_t)pbImage[4 * i + 2] << 8) | (uint32_t)pbImage[4 * i + 3];
    free(pbImage);
    uint32_t ulControl = 0;
    nStatus = StopEngine(uchLocalPort, ulDestID, uchHopCount, uchWhichTable, &ulControl);
    for (uint32_t i = 0; i < PMC_TABLE_WORDS && nStatus == NVXL_OK; i += PMC_BLOCK)
        nStatus = MaintWrite(uchLocalPort, ulDestID, uchHopCount, TableBase(uchWhichTable) + 4u * i,
                             pulWords + i, PMC_BLOCK, 4, 4);
    free(pulWords);
    if (nStatus != NVXL_OK)
        return nStatus;
    return RestartEngine(uchLocalPort, ulDestID, uchHopCount, uchWhichTable, ulControl);
}

// Writes one table into every port's table at once, through the common table: the engines that run
// are stopped for the time of the write and started again afterwards. The table is written as
// bytes, a piece of 32 at a time.
static NVXL_STATUS PMC6352HalFlashRoutingTable(uint16_t, uint16_t, uint8_t uchLocalPort, uint32_t ulDestID,
                                               uint8_t uchHopCount, uint8_t, uint32_t ulNumEntries,
                                               const NVXL_ROUTE_ENTRY* pTable)
{
    if (!pTable && ulNumEntries)
        return NVXL_ERR_INVALID_PARAM;
    uint8_t* pbImage = (uint8_t*)malloc(PMC_TABLE_BYTES);
    if (!pbImage)
        return NVXL_ERR_NO_MEMORY;
    BuildImage(ulNumEntries, pTable, pbImage);

    uint32_t aulControl[PMC_NUM_PORTS];
    NVXL_STATUS nStatus = MaintRead(uchLocalPort, ulDestID, uchHopCount, PMC_PORT_CONTROL(0), aulControl,
                                    PMC_NUM_PORTS, 4, PMC_PORT_STRIDE);
    for (uint32_t i = 0; i < PMC_NUM_PORTS && nStatus == NVXL_OK; i++)
    {
        if (aulControl[i] & PMC_ENGINE_RUN)
            nStatus = HalWriteReg(uchLocalPort, ulDestID, uchHopCount, PMC_PORT_CONTROL(i),
                                  aulControl[i] & ~PMC_ENGINE_RUN);
    }
    for (uint32_t ulByte = 0; ulByte < PMC_TABLE_BYTES && nStatus == NVXL_OK; ulByte += PMC_FLASH_PIECE)
        nStatus = MaintWrite(uchLocalPort, ulDestID, uchHopCount, PMC_COMMON_TABLE + ulByte, pbImage + ulByte,
                             PMC_FLASH_PIECE, 1, 1);
    free(pbImage);
    for (uint32_t i = 0; i < PMC_NUM_PORTS && nStatus == NVXL_OK; i++)
    {
        if (aulControl[i] & PMC_ENGINE_RUN)
            nStatus = HalWriteReg(uchLocalPort, ulDestID, uchHopCount, PMC_PORT_CONTROL(i), aulControl[i]);
    }
    return nStatus;
}

static NVXL_STATUS PMC6352HalGetPortSpeedMHz(uint16_t, uint16_t, uint8_t uchLocalPort, uint32_t ulDestID,
                                             uint8_t uchHopCount, uint8_t, uint32_t* pulSpeed)
{
    if (!pulSpeed)
        return NVXL_ERR_INVALID_PARAM;
    uint32_t ulValue = 0;
    const NVXL_STATUS nStatus = HalReadReg(uchLocalPort, ulDestID, uchHopCount, PMC_SPEED, &ulValue);
    if (nStatus != NVXL_OK)
        return nStatus;
    static const uint32_t s_aulSpeeds[4] = {0, 1250, 2500, 3125};
    *pulSpeed = s_aulSpeeds[(ulValue >> 2) & 3u];
    return NVXL_OK;
}

// The switch accepts a destination ID of its own.
static int32_t PMC6352HalUsesDestID(uint16_t, uint16_t)
{
    return 1;
}

const HalInterface g_sPMC6352Interface = {
    .ulDeviceKey = 0x6352003B,
    .pfnGetPortWidth = HalPortWidthFromControl,
    .pfnGetPortSpeedMHz = PMC6352HalGetPortSpeedMHz,
    .pfnIsPerPortRouting = HalHasPerPortRouting,
    .pfnRouteAddEntry = PMC6352HalRouteAddEntry,
    .pfnRouteGetEntry = PMC6352HalRouteGetEntry,
    .pfnLoadRoutingTable = PMC6352HalLoadRoutingTable,
    .pfnUsesDestID = PMC6352HalUsesDestID,
    .pfnStoreRoutingTable = PMC6352HalStoreRoutingTable,
    .pfnFlashRoutingTable = PMC6352HalFlashRoutingTable,
};
