// IDT 70K2000: a switch with one route table for all its ports, reached through the standard route
// registers and the all-ports table window. The switch is given 75 milliseconds after each route
// write before it is addressed again.
#include "Devices/DeviceFamilies.h"
#include "Devices/IdtRouting.h"
#include "Devices/PortControl.h"
#include "Hal/HalRegAccess.h"
#include "Hal/HalStandard.h"
#include "Hal/PortSpeed.h"

#define HAL_ALL_TABLES 255u
#define IDT70K_TABLE_WINDOW 0xE00000u
#define IDT70K_ROUTE_SETTLE_MS 75u

static NVXL_STATUS IDT70K2000HalRouteAddEntry(uint16_t, uint16_t, uint8_t uchLocalPort, uint32_t ulDestID,
                                              uint8_t uchHopCount, uint8_t uchWhichTable,
                                              uint16_t wRouteDestID, uint8_t uchRoutePortNum,
                                              NVXL_ROUTE_TYPE eType, uint32_t ulExtra)
{
    if (uchWhichTable != HAL_ALL_TABLES)
        return NVXL_ERR_NOT_SUPPORTED;
    uint32_t ulValue;
    switch (eType)
    {
    case eNVXL_RouteTypeUnrouted:
        ulValue = IDT_ROUTE_NONE;
        break;
    case eNVXL_RouteTypeDefault:
        ulValue = IDT_ROUTE_DEFAULT;
        break;
    case eNVXL_RouteTypePort:
        ulValue = uchRoutePortNum;
        break;
    case eNVXL_RouteTypeMCast:
        ulValue = uchRoutePortNum | IDT_ROUTE_MCAST;
        break;
    case eNVXL_RouteTypeSpecial:
        ulValue = uchRoutePortNum | ((ulExtra & 3u) << 6);
        break;
    default:
        // No raw values: the switch has no codes beyond the typed ones.
        return NVXL_ERR_INVALID_PARAM;
    }
    HalDebugPrint(3, "Add 70K2000 Type %d Route:  %04x -> %02x\n", (int)eType, wRouteDestID, ulValue);
    NVXL_STATUS nStatus =
        HalWriteReg(uchLocalPort, ulDestID, uchHopCount, RIO_ROUTE_CFG_DESTID, wRouteDestID);
    if (nStatus != NVXL_OK)
        return nStatus;
    nStatus = HalWriteReg(uchLocalPort, ulDestID, uchHopCount, RIO_ROUTE_CFG_PORT, ulValue);
    if (nStatus != NVXL_OK)
        return nStatus;
    HalSleep(IDT70K_ROUTE_SETTLE_MS);
    return NVXL_OK;
}

static NVXL_STATUS IDT70K2000HalRouteGetEntry(uint16_t, uint16_t, uint8_t uchLocalPort, uint32_t ulDestID,
                                              uint8_t uchHopCount, uint8_t uchWhichTable,
                                              uint16_t wRouteDestID, NVXL_ROUTE_TYPE* peType,
                                              uint8_t* puchPort, uint32_t* pulExtra)
{
    if (!peType || !puchPort || !pulExtra)
        return NVXL_ERR_INVALID_PARAM;
    if (uchWhichTable != HAL_ALL_TABLES)
        return NVXL_ERR_NOT_SUPPORTED;
    NVXL_STATUS nStatus =
        HalWriteReg(uchLocalPort, ulDestID, uchHopCount, RIO_ROUTE_CFG_DESTID, wRouteDestID);
    if (nStatus != NVXL_OK)
        return nStatus;
    uint32_t ulValue = 0;
    nStatus = HalReadReg(uchLocalPort, ulDestID, uchHopCount, RIO_ROUTE_CFG_PORT, &ulValue);
    if (nStatus != NVXL_OK)
        return nStatus;
    *pulExtra = 0;
    *puchPort = (uint8_t)ulValue;
    if (ulValue == IDT_ROUTE_NONE)
        *peType = eNVXL_RouteTypeUnrouted;
    else if (ulValue == IDT_ROUTE_DEFAULT)
        *peType = eNVXL_RouteTypeDefault;
    else
    {
        // Bits 7..6: 0 a port (bits 4..0), 1 a multicast mask (bits 5 and 3..0), 2 and 3 special codes.
        const uint32_t ulKind = (ulValue >> 6) & 3u;
        if (ulKind == 0)
        {
            *peType = eNVXL_RouteTypePort;
            *puchPort = (uint8_t)(ulValue & 0x1Fu);
        }
        else if (ulKind == 1)
        {
            *peType = eNVXL_RouteTypeMCast;
            *puchPort = (uint8_t)(ulValue & 0x2Fu);
        }
        else
        {
            *peType = eNVXL_RouteTypeSpecial;
            *puchPort = (uint8_t)(ulValue & 0x1Fu);
            *pulExtra = ulKind;
        }
    }
    HalDebugPrint(3, "Got 70K2000 Type %d Route:  %04x -> %02x\n", (int)*peType, wRouteDestID, ulValue);
    return NVXL_OK;
}

static NVXL_STATUS IDT70K2000HalLoadRoutingTable(uint16_t, uint16_t, uint8_t uchLocalPort, uint32_t ulDestID,
                                                 uint8_t uchHopCount, uint8_t uchWhichTable,
                                                 uint32_t* pulNumEntries, NVXL_ROUTE_ENTRY** ppTable)
{
    if (!pulNumEntries || !ppTable)
        return NVXL_ERR_INVALID_PARAM;
    if (uchWhichTable != HAL_ALL_TABLES)
        return NVXL_ERR_NOT_SUPPORTED;
    HalDebugPrint(3, "Loading IDT 70K2000 PPS routing table\n");
    return IdtLoadTableWindow(uchLocalPort, ulDestID, uchHopCount, IDT70K_TABLE_WINDOW, pulNumEntries,
                              ppTable);
}

static NVXL_STATUS IDT70K2000HalStoreRoutingTable(uint16_t, uint16_t, uint8_t uchLocalPort, uint32_t ulDestID,
                                                  uint8_t uchHopCount, uint8_t uchWhichTable,
                                                  uint32_t ulNumEntries, const NVXL_ROUTE_ENTRY* pTable)
{
    if (!pTable)
        return NVXL_OK;
    if (uchWhichTable != HAL_ALL_TABLES)
        return NVXL_ERR_NOT_SUPPORTED;
    return IdtStoreTableWindow(uchLocalPort, ulDestID, uchHopCount, IDT70K_TABLE_WINDOW, ulNumEntries,
                               pTable);
}

const HalInterface g_sIDT70K2000Interface = {
    .ulDeviceKey = 0x03100038,
    .pfnGetPortWidth = HalPortWidthFromControl,
    .pfnGetPortSpeedMHz = IDTGen1HalGetPortSpeedMHz,
    .pfnSetPortSpeedMHz = IDTGen1HalSetPortSpeedMHz,
    .pfnSetPortEnables = HalPortEnablesInControl,
    .pfnGetMulticastInfo = IdtHalGetMulticastInfo,
    .pfnRouteAddEntry = IDT70K2000HalRouteAddEntry,
    .pfnRouteGetEntry = IDT70K2000HalRouteGetEntry,
    .pfnLoadRoutingTable = IDT70K2000HalLoadRoutingTable,
    .pfnResetRoutingTable = IdtHalResetRoutingTable,
    .pfnStoreRoutingTable = IDT70K2000HalStoreRoutingTable,
};
