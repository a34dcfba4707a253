// Tsi500: a four-port parallel RapidIO switch. Each port has its own route table of 256 IDs held in
// nibbles, eight IDs a word (8 = no route, 0..3 a port); there is no common table.
#include "Devices/DeviceFamilies.h"
#include "Devices/PortControl.h"
#include "Hal/HalRegAccess.h"
#include "Hal/HalStandard.h"

#include <stdlib.h>

#define TSI500_NUM_PORTS 4u
#define TSI500_NUM_IDS 256u
#define TSI500_TABLE_WORDS (TSI500_NUM_IDS / 8u)
#define TSI500_NO_ROUTE 0x8u
#define TSI500_EMPTY_WORD 0x88888888u
#define HAL_PORT_TYPE_PARALLEL 2u
// The parallel ports' error and status registers, in the block at 0x100; bit 1 is port OK.
#define TSI500_PORT_STATUS(uchPort) (0x158u + 32u * (uint32_t)(uchPort))
#define TSI500_PORT_OK 0x2u

static uint32_t TableWord(uint8_t uchTable, uint32_t ulFirstID)
{
    return ((uint32_t)uchTable << 17) + (ulFirstID >> 3) * 4u + 0x10A00u;
}

static uint32_t Nibble(uint32_t ulWord, uint32_t ulID)
{
    return (ulWord >> (4u * (ulID & 7u))) & 0xFu;
}

static NVXL_STATUS Tsi500HalGetPortWidth(uint16_t, uint16_t, uint8_t, uint32_t, uint8_t, uint8_t,
                                         uint8_t* puchPortWidth, uint8_t* puchLane, uint8_t* puchMaxWidth,
                                         uint8_t* puchWidthOverride, uint32_t* pbParallel,
                                         uint32_t* pulPortType)
{
    HalPortWidthNotKnown(HAL_PORT_TYPE_PARALLEL, puchPortWidth, puchLane, puchMaxWidth, puchWidthOverride,
                         pbParallel, pulPortType);
    return NVXL_OK;
}

// The port state is read at the fixed address of the switch's port block rather than through the
// extended features chain. Which register the Tsi500 reports it in could not be confirmed from a
// published source; the RapidIO parallel physical layer's Port n Error and Status register, port
// OK bit, is taken.
static NVXL_STATUS Tsi500HalIsPortTrained(uint16_t, uint16_t, uint8_t uchLocalPort, uint32_t ulDestID,
                                          uint8_t uchHopCount, uint8_t uchPort, uint32_t* pbTrained)
{
    if (!pbTrained || uchPort >= TSI500_NUM_PORTS)
        return NVXL_ERR_INVALID_PARAM;
    uint32_t ulStatus = 0;
    const NVXL_STATUS nStatus =
        HalReadReg0(uchLocalPort, ulDestID, uchHopCount, TSI500_PORT_STATUS(uchPort), &ulStatus);
    if (nStatus != NVXL_OK)
        return nStatus;
    *pbTrained = (ulStatus & TSI500_PORT_OK) ? 1u : 0u;
    return NVXL_OK;
}

static NVXL_STATUS CheckTable(uint8_t uchWhichTable)
{
    return uchWhichTable < TSI500_NUM_PORTS ? NVXL_OK : NVXL_ERR_NOT_SUPPORTED;
}

static NVXL_STATUS Tsi500HalRouteAddEntry(uint16_t, uint16_t, uint8_t uchLocalPort, uint32_t ulDestID,
                                          uint8_t uchHopCount, uint8_t uchWhichTable, uint16_t wRouteDestID,
                                          uint8_t uchRoutePortNum, NVXL_ROUTE_TYPE eType, uint32_t)
{
    NVXL_STATUS nStatus = CheckTable(uchWhichTable);
    if (nStatus != NVXL_OK)
        return nStatus;
    if (eType == eNVXL_RouteTypeUndefined)
        return NVXL_ERR_INVALID_PARAM;
    // Like the other Tsi switches, it routes to ports or nowhere; other entry types are let pass.
    if (eType != eNVXL_RouteTypeUnrouted && eType != eNVXL_RouteTypePort)
        return NVXL_OK;
    if (wRouteDestID >= TSI500_NUM_IDS)
        return NVXL_ERR_ROUTING;
    const uint32_t ulNibble = eType == eNVXL_RouteTypePort ? (uchRoutePortNum & 3u) : TSI500_NO_ROUTE;
    const uint32_t ulOffset = TableWord(uchWhichTable, wRouteDestID);
    uint32_t ulWord = 0;
    nStatus = HalReadReg(uchLocalPort, ulDestID, uchHopCount, ulOffset, &ulWord);
    if (nStatus != NVXL_OK)
        return nStatus;
    const uint32_t ulShift = 4u * (wRouteDestID & 7u);
    ulWord = (ulWord & ~(0xFu << ulShift)) | (ulNibble << ulShift);
    return HalWriteReg(uchLocalPort, ulDestID, uchHopCount, ulOffset, ulWord);
}

static NVXL_STATUS Tsi500HalRouteGetEntry(uint16_t, uint16_t, uint8_t uchLocalPort, uint32_t ulDestID,
                                          uint8_t uchHopCount, uint8_t uchWhichTable, uint16_t wRouteDestID,
                                          NVXL_ROUTE_TYPE* peType, uint8_t* puchPort, uint32_t* pulExtra)
{
    if (!peType || !puchPort || !pulExtra)
        return NVXL_ERR_INVALID_PARAM;
    NVXL_STATUS nStatus = CheckTable(uchWhichTable);
    if (nStatus != NVXL_OK)
        return nStatus;
    if (wRouteDestID >= TSI500_NUM_IDS)
        return NVXL_ERR_ROUTING;
    uint32_t ulWord = 0;
    nStatus =
        HalReadReg(uchLocalPort, ulDestID, uchHopCount, TableWord(uchWhichTable, wRouteDestID), &ulWord);
    if (nStatus != NVXL_OK)
        return nStatus;
    const uint32_t ulNibble = Nibble(ulWord, wRouteDestID);
    *peType = ulNibble < TSI500_NUM_PORTS ? eNVXL_RouteTypePort : eNVXL_RouteTypeUnrouted;
    *puchPort = (uint8_t)ulNibble;
    *pulExtra = 0;
    return NVXL_OK;
}

static NVXL_STATUS Tsi500HalLoadRoutingTable(uint16_t, uint16_t, uint8_t uchLocalPort, uint32_t ulDestID,
                                             uint8_t uchHopCount, uint8_t uchWhichTable,
                                             uint32_t* pulNumEntries, NVXL_ROUTE_ENTRY** ppTable)
{
    if (!pulNumEntries || !ppTable)
        return NVXL_ERR_INVALID_PARAM;
    NVXL_STATUS nStatus = CheckTable(uchWhichTable);
    if (nStatus != NVXL_OK)
        return nStatus;
    uint32_t aulWords[TSI500_TABLE_WORDS];
    nStatus = MaintRead(uchLocalPort, ulDestID, uchHopCount, TableWord(uchWhichTable, 0), aulWords,
                        TSI500_TABLE_WORDS, 4, 4);
    if (nStatus != NVXL_OK)
        return nStatus;
    uint32_t ulCount = 0;
    for (uint32_t d = 0; d < TSI500_NUM_IDS; d++)
    {
        if (aulWords[d / 8u] != TSI500_EMPTY_WORD && Nibble(aulWords[d / 8u], d) < TSI500_NUM_PORTS)
            ulCount++;
    }
    *pulNumEntries = ulCount;
    if (ulCount == 0)
        return NVXL_OK;
    NVXL_ROUTE_ENTRY* pTable = (NVXL_ROUTE_ENTRY*)malloc(ulCount * sizeof(NVXL_ROUTE_ENTRY));
    if (!pTable)
        return NVXL_ERR_NO_MEMORY;
    uint32_t ulEntry = 0;
    for (uint32_t d = 0; d < TSI500_NUM_IDS; d++)
    {
        const uint32_t ulNibble = Nibble(aulWords[d / 8u], d);
        if (aulWords[d / 8u] == TSI500_EMPTY_WORD || ulNibble >= TSI500_NUM_PORTS)
            continue;
        pTable[ulEntry].wDestID = (uint16_t)d;
        pTable[ulEntry].uchPort = (uint8_t)ulNibble;
        pTable[ulEntry].eType = eNVXL_RouteTypePort;
        pTable[ulEntry].ulExtra = 0;
        ulEntry++;
    }
    *ppTable = pTable;
    return NVXL_OK;
}

static NVXL_STATUS Tsi500HalStoreRoutingTable(uint16_t wVendorID, uint16_t wDeviceID, uint8_t uchLocalPort,
                                              uint32_t ulDestID, uint8_t uchHopCount, uint8_t uchWhichTable,
                                              uint32_t ulNumEntries, const NVXL_ROUTE_ENTRY* pTable)
{
    if (!pTable)
        return NVXL_OK;
    const NVXL_STATUS nStatus = CheckTable(uchWhichTable);
    if (nStatus != NVXL_OK)
        return nStatus;
    HalDebugPrint(3, "Storing %srouting table %d to device %04x manuf %04x\n", "", uchWhichTable, wDeviceID,
                  wVendorID);
    uint32_t aulWords[TSI500_TABLE_WORDS];
    for (uint32_t i = 0; i < TSI500_TABLE_WORDS; i++)
        aulWords[i] = TSI500_EMPTY_WORD;
    for (uint32_t i = 0; i < ulNumEntries; i++)
    {
        const uint32_t d = pTable[i].wDestID;
        if (pTable[i].eType != eNVXL_RouteTypePort || d >= TSI500_NUM_IDS)
            continue;
        const uint32_t ulShift = 4u * (d & 7u);
        aulWords[d / 8u] = (aulWords[d / 8u] & ~(0xFu << ulShift)) | ((pTable[i].uchPort & 3u) << ulShift);
    }
    return MaintWrite(uchLocalPort, ulDestID, uchHopCount, TableWord(uchWhichTable, 0), aulWords,
                      TSI500_TABLE_WORDS, 4, 4);
}

const HalInterface g_sTsi500Interface = {
    .ulDeviceKey = 0x0500000D,
    .pfnGetPortWidth = Tsi500HalGetPortWidth,
    .pfnIsPortTrained = Tsi500HalIsPortTrained,
    .pfnIsPerPortRouting = HalHasPerPortRouting,
    .pfnRouteAddEntry = Tsi500HalRouteAddEntry,
    .pfnRouteGetEntry = Tsi500HalRouteGetEntry,
    .pfnLoadRoutingTable = Tsi500HalLoadRoutingTable,
    .pfnStoreRoutingTable = Tsi500HalStoreRoutingTable,
};
