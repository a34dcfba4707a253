// Standard RapidIO routing table access: the default route and whole tables through the Route
// Configuration DestID/Port registers, in the small form (one ID a read) and the large form
// (four IDs a read).
#include "HalStandard.h"

#include <stdlib.h>
#include <string.h>

// A route port that routes nowhere.
#define HAL_NO_ROUTE 0xFFu
// The large form selects four IDs at once with this bit in the DestID register.
#define HAL_ROUTE_LARGE_SELECT 0x80000000u

// Tests that the device is a switch with the standard table form.
static NVXL_STATUS CheckStandardTable(uint16_t wVendorID, uint16_t wDeviceID, uint8_t uchLocalPort,
                                      uint32_t ulDestID, uint8_t uchHopCount)
{
    uint32_t ulFeatures = 0;
    const NVXL_STATUS nStatus =
        HalGetFeatures(wVendorID, wDeviceID, uchLocalPort, ulDestID, uchHopCount, &ulFeatures);
    if (nStatus != NVXL_OK)
        return nStatus;
    if (!(ulFeatures & RIO_PEF_SWITCH))
        return NVXL_ERR_NOT_A_SWITCH;
    if (!(ulFeatures & RIO_PEF_STD_ROUTE_TABLE))
        return NVXL_ERR_NOT_SUPPORTED;
    return NVXL_OK;
}

NVXL_STATUS HalStdSetDefaultRoute(uint16_t wVendorID, uint16_t wDeviceID, uint8_t uchLocalPort,
                                  uint32_t ulDestID, uint8_t uchHopCount, uint8_t uchPort)
{
    const NVXL_STATUS nStatus = CheckStandardTable(wVendorID, wDeviceID, uchLocalPort, ulDestID, uchHopCount);
    if (nStatus != NVXL_OK)
        return nStatus;
    const uint32_t ulValue = uchPort;
    return MaintWrite(uchLocalPort, ulDestID, uchHopCount, RIO_ROUTE_DEFAULT_PORT, &ulValue, 1, 4, 4);
}

NVXL_STATUS HalStdGetDefaultRoute(uint16_t wVendorID, uint16_t wDeviceID, uint8_t uchLocalPort,
                                  uint32_t ulDestID, uint8_t uchHopCount, uint8_t* puchPort)
{
    NVXL_STATUS nStatus = CheckStandardTable(wVendorID, wDeviceID, uchLocalPort, ulDestID, uchHopCount);
    if (nStatus != NVXL_OK)
        return nStatus;
    uint32_t ulValue = 0;
    nStatus = MaintRead(uchLocalPort, ulDestID, uchHopCount, RIO_ROUTE_DEFAULT_PORT, &ulValue, 1, 4, 4);
    if (nStatus == NVXL_OK && puchPort)
        *puchPort = (uint8_t)(ulValue & 0xFFu);
    return nStatus;
}

// The features and the table size S (route limit plus one) of a switch.
static NVXL_STATUS GetTableShape(uint16_t wVendorID, uint16_t wDeviceID, uint8_t uchLocalPort,
                                 uint32_t ulDestID, uint8_t uchHopCount, uint32_t* pulFeatures,
                                 uint32_t* pulTableSize)
{
    NVXL_STATUS nStatus =
        HalGetFeatures(wVendorID, wDeviceID, uchLocalPort, ulDestID, uchHopCount, pulFeatures);
    if (nStatus != NVXL_OK)
        return nStatus;
    uint32_t ulLimit = 0;
    nStatus = HalGetRouteLimit(wVendorID, wDeviceID, uchLocalPort, ulDestID, uchHopCount, &ulLimit);
    if (nStatus != NVXL_OK)
        return nStatus;
    *pulTableSize = (ulLimit & 0xFFFFu) + 1;
    return NVXL_OK;
}

NVXL_STATUS HalStdLoadTableForm(uint8_t uchLocalPort, uint32_t ulDestID, uint8_t uchHopCount, uint32_t bLarge,
                                uint32_t ulTableSize, uint32_t ulNumPorts, uint32_t* pulNumEntries,
                                NVXL_ROUTE_ENTRY** ppTable)
{
    if (!pulNumEntries || !ppTable)
        return NVXL_ERR_INVALID_PARAM;
    HalDebugPrint(bLarge ? 2 : 3, "Loading standard routing table\n");
    uint8_t* puchPorts = (uint8_t*)malloc(ulTableSize ? ulTableSize : 1);
    if (!puchPorts)
        return NVXL_ERR_NO_MEMORY;

    // The large form answers four IDs a read: i to i + 3 in bits 7..0 up to 31..24.
    const uint32_t ulStep = bLarge ? 4 : 1;
    for (uint32_t i = 0; i < ulTableSize; i += ulStep)
    {
        const uint32_t ulSelect = i;
        NVXL_STATUS nStatus =
            MaintWrite(uchLocalPort, ulDestID, uchHopCount, RIO_ROUTE_CFG_DESTID, &ulSelect, 1, 4, 4);
        uint32_t ulPorts = 0;
        if (nStatus == NVXL_OK)
            nStatus = MaintRead(uchLocalPort, ulDestID, uchHopCount, RIO_ROUTE_CFG_PORT, &ulPorts, 1, 4, 4);
        if (nStatus != NVXL_OK)
        {
            free(puchPorts);
            return nStatus;
        }
        for (uint32_t k = 0; k < ulStep && i + k < ulTableSize; k++)
            puchPorts[i + k] = (uint8_t)((ulPorts >> (8 * k)) & 0xFFu);
    }

    uint32_t ulCount = 0;
    for (uint32_t i = 0; i < ulTableSize; i++)
    {
        if (puchPorts[i] < ulNumPorts)
            ulCount++;
    }
    *pulNumEntries = ulCount;
    if (ulCount == 0)
    {
        free(puchPorts);
        return NVXL_OK;
    }
    NVXL_ROUTE_ENTRY* pTable = (NVXL_ROUTE_ENTRY*)malloc(ulCount * sizeof(NVXL_ROUTE_ENTRY));
    if (!pTable)
    {
        free(puchPorts);
        return NVXL_ERR_NO_MEMORY;
    }
    uint32_t ulEntry = 0;
    for (uint32_t i = 0; i < ulTableSize; i++)
    {
        if (puchPorts[i] >= ulNumPorts)
            continue;
        pTable[ulEntry].wDestID = (uint16_t)i;
        pTable[ulEntry].uchPort = puchPorts[i];
        pTable[ulEntry].eType = eNVXL_RouteTypePort;
        pTable[ulEntry].ulExtra = 0;
        ulEntry++;
    }
    free(puchPorts);
    *ppTable = pTable;
    return NVXL_OK;
}

NVXL_STATUS HalStdLoadRoutingTable(uint16_t wVendorID, uint16_t wDeviceID, uint8_t uchLocalPort,
                                   uint32_t ulDestID, uint8_t uchHopCount, uint8_t, uint32_t* pulNumEntries,
                                   NVXL_ROUTE_ENTRY** ppTable)
{
    uint32_t ulFeatures = 0;
    uint32_t ulTableSize = 0;
    const NVXL_STATUS nStatus =
        GetTableShape(wVendorID, wDeviceID, uchLocalPort, ulDestID, uchHopCount, &ulFeatures, &ulTableSize);
    if (nStatus != NVXL_OK)
        return nStatus;
    // Without the port count every ID reads as unrouted, which is the safe answer.
    uint32_t ulInfo = 0;
    HalGetSwitchPortInfo(wVendorID, wDeviceID, uchLocalPort, ulDestID, uchHopCount, &ulInfo);
    const uint32_t ulNumPorts = (ulInfo >> 8) & 0xFFu;

    if (ulFeatures & RIO_PEF_LARGE_ROUTE_TABLE)
        return HalStdLoadTableForm(uchLocalPort, ulDestID, uchHopCount, 1, ulTableSize, ulNumPorts,
                                   pulNumEntries, ppTable);
    if (ulFeatures & RIO_PEF_STD_ROUTE_TABLE)
        return HalStdLoadTableForm(uchLocalPort, ulDestID, uchHopCount, 0, ulTableSize, ulNumPorts,
                                   pulNumEntries, ppTable);
    return NVXL_ERR_NOT_SUPPORTED;
}

NVXL_STATUS HalStdStoreTableForm(uint8_t uchLocalPort, uint32_t ulDestID, uint8_t uchHopCount,
                                 uint32_t bLarge, uint32_t ulTableSize, uint32_t ulNumEntries,
                                 const NVXL_ROUTE_ENTRY* pTable)
{
    if (!pTable)
        return NVXL_OK;
    uint8_t* puchPorts = (uint8_t*)malloc(ulTableSize ? ulTableSize : 1);
    if (!puchPorts)
        return NVXL_ERR_NO_MEMORY;
    memset(puchPorts, HAL_NO_ROUTE, ulTableSize);

    // The caller's table holds the record of ID i at index i. A table shorter than the switch's
    // leaves the IDs behind it unrouted; records beyond the switch's size are not looked at.
    const uint32_t ulWalk = ulNumEntries < ulTableSize ? ulNumEntries : ulTableSize;
    for (uint32_t i = 0; i < ulWalk; i++)
    {
        if (pTable[i].eType == eNVXL_RouteTypePort && pTable[i].wDestID < ulTableSize)
            puchPorts[pTable[i].wDestID] = pTable[i].uchPort;
    }

    // Only the first ulNumEntries IDs are written, as far as the switch has them.
    NVXL_STATUS nStatus = NVXL_OK;
    const uint32_t ulStep = bLarge ? 4 : 1;
    for (uint32_t i = 0; i < ulNumEntries && i < ulTableSize && nStatus == NVXL_OK; i += ulStep)
    {
        uint32_t aulWords[2];
        if (bLarge)
        {
            aulWords[0] = i | HAL_ROUTE_LARGE_SELECT;
            aulWords[1] = 0;
            for (uint32_t k = 0; k < 4; k++)
            {
                const uint32_t ulPort = i + k < ulTableSize ? puchPorts[i + k] : HAL_NO_ROUTE;
                aulWords[1] |= ulPort << (8 * k);
            }
        }
        else
        {
            aulWords[0] = i;
            aulWords[1] = puchPorts[i];
        }
        // DestID and port in one transaction, so that no other access comes between them.
        nStatus = MaintWrite(uchLocalPort, ulDestID, uchHopCount, RIO_ROUTE_CFG_DESTID, aulWords, 2, 4, 4);
    }
    free(puchPorts);
    return nStatus;
}

NVXL_STATUS HalStdStoreRoutingTable(uint16_t wVendorID, uint16_t wDeviceID, uint8_t uchLocalPort,
                                    uint32_t ulDestID, uint8_t uchHopCount, uint8_t, uint32_t ulNumEntries,
                                    const NVXL_ROUTE_ENTRY* pTable)
{
    if (!pTable)
        return NVXL_OK;
    uint32_t ulFeatures = 0;
    uint32_t ulTableSize = 0;
    const NVXL_STATUS nStatus =
        GetTableShape(wVendorID, wDeviceID, uchLocalPort, ulDestID, uchHopCount, &ulFeatures, &ulTableSize);
    if (nStatus != NVXL_OK)
        return nStatus;
    if (ulFeatures & RIO_PEF_LARGE_ROUTE_TABLE)
        return HalStdStoreTableForm(uchLocalPort, ulDestID, uchHopCount, 1, ulTableSize, ulNumEntries,
                                    pTable);
    if (ulFeatures & RIO_PEF_STD_ROUTE_TABLE)
        return HalStdStoreTableForm(uchLocalPort, ulDestID, uchHopCount, 0, ulTableSize, ulNumEntries,
                                    pTable);
    return NVXL_ERR_NOT_SUPPORTED;
}
