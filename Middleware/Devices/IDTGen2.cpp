// IDT Gen2 switches: CPS/VPS-1848, CPS-1432, VPS-1616, SPS-1616 and CPS-1616. Like Gen1, with route
// tables of two levels (IDs from 256 up address the second), a reset that restores the default
// route, the quad maps for the port speed, and link requests issued once.
#include "Devices/DeviceFamilies.h"
#include "Devices/IdtRouting.h"
#include "Devices/PortControl.h"
#include "Hal/HalRegAccess.h"
#include "Hal/HalStandard.h"
#include "Hal/PortSpeed.h"

static NVXL_STATUS IDTGen2HalRouteAddEntry(uint16_t, uint16_t wDeviceID, uint8_t uchLocalPort,
                                           uint32_t ulDestID, uint8_t uchHopCount, uint8_t uchWhichTable,
                                           uint16_t wRouteDestID, uint8_t uchRoutePortNum,
                                           NVXL_ROUTE_TYPE eType, uint32_t ulExtra)
{
    return IdtRouteAdd(1, wDeviceID, uchLocalPort, ulDestID, uchHopCount, uchWhichTable, wRouteDestID,
                       uchRoutePortNum, eType, ulExtra);
}

static NVXL_STATUS IDTGen2HalRouteGetEntry(uint16_t, uint16_t wDeviceID, uint8_t uchLocalPort,
                                           uint32_t ulDestID, uint8_t uchHopCount, uint8_t uchWhichTable,
                                           uint16_t wRouteDestID, NVXL_ROUTE_TYPE* peType, uint8_t* puchPort,
                                           uint32_t* pulExtra)
{
    return IdtRouteGet(1, wDeviceID, uchLocalPort, ulDestID, uchHopCount, uchWhichTable, wRouteDestID, peType,
                       puchPort, pulExtra);
}

// The Gen1 reset (route domain 0) and, as Gen2 tables fall back to it, a default route of "no
// route", so that a reset switch drops what it cannot route. Both steps are tried; the first
// failure is returned.
static NVXL_STATUS IDTGen2HalResetRoutingTable(uint16_t wVendorID, uint16_t wDeviceID, uint8_t uchLocalPort,
                                               uint32_t ulDestID, uint8_t uchHopCount)
{
    const NVXL_STATUS nDomain =
        IdtHalResetRoutingTable(wVendorID, wDeviceID, uchLocalPort, ulDestID, uchHopCount);
    const NVXL_STATUS nDefault = HalSetDefaultRoute(wVendorID, wDeviceID, uchLocalPort, ulDestID, uchHopCount,
                                                    (uint8_t)IDT_ROUTE_NONE);
    return nDomain != NVXL_OK ? nDomain : nDefault;
}

// The RapidIO link-request commands.
#define LINK_REQUEST_RESET 3u
#define LINK_REQUEST_INPUT_STATUS 4u
#define LINK_RESPONSE_VALID 0x80000000u

// A Gen2 port sends one link-request for each write of the request register and keeps the response
// to the latest. The request goes out once, so that the response read back belongs to the only
// request sent (IDT's published device routines issue it once too); the standard path sends it
// twice for partners that may drop the first.
static NVXL_STATUS IDTGen2HalSendLinkMaintRequest(uint16_t wVendorID, uint16_t wDeviceID,
                                                  uint8_t uchLocalPort, uint32_t ulDestID,
                                                  uint8_t uchHopCount, uint8_t uchPort, uint32_t ulCommand,
                                                  uint32_t* pulAckID, uint32_t* pulLinkStatus)
{
    if (ulCommand != LINK_REQUEST_RESET && ulCommand != LINK_REQUEST_INPUT_STATUS)
        return NVXL_ERR_INVALID_PARAM;
    uint16_t wPtr = 0;
    NVXL_STATUS nStatus =
        HalGetExtFeaturesPtr(wVendorID, wDeviceID, uchLocalPort, ulDestID, uchHopCount, &wPtr);
    if (nStatus != NVXL_OK)
        return nStatus;
    const uint32_t ulPortBase = wPtr + RIO_EXT_PORT_STRIDE * uchPort;
    nStatus = HalWriteReg0(uchLocalPort, ulDestID, uchHopCount, ulPortBase + RIO_EXT_PORT_LINK_MAINT_REQ,
                           ulCommand);
    if (nStatus != NVXL_OK)
        return nStatus;
    uint32_t ulResponse = 0;
    nStatus = HalReadReg0(uchLocalPort, ulDestID, uchHopCount, ulPortBase + RIO_EXT_PORT_LINK_MAINT_RESP,
                          &ulResponse);
    if (nStatus != NVXL_OK)
        return nStatus;
    if (!(ulResponse & LINK_RESPONSE_VALID))
        return NVXL_ERR_LINK_REQUEST;
    if (pulAckID)
        *pulAckID = (ulResponse >> 5) & 0x1Fu;
    if (pulLinkStatus)
        *pulLinkStatus = ulResponse & 0x1Fu;
    return NVXL_OK;
}

// The entries of every Gen2 record; the speed functions differ between the two groups.
static constexpr HalInterface Gen2Record(uint32_t ulDeviceKey,
                                         decltype(HalInterface::pfnGetPortSpeedMHz) pfnGetSpeed,
                                         decltype(HalInterface::pfnSetPortSpeedMHz) pfnSetSpeed)
{
    HalInterface sRecord{};
    sRecord.ulDeviceKey = ulDeviceKey;
    sRecord.pfnGetPortWidth = HalPortWidthFromControl;
    sRecord.pfnGetPortConfig = HalPortConfigFromControl;
    sRecord.pfnGetPortSpeedMHz = pfnGetSpeed;
    sRecord.pfnSetPortSpeedMHz = pfnSetSpeed;
    sRecord.pfnSetPortEnables = HalPortEnablesInControl;
    sRecord.pfnIsPerPortRouting = HalHasPerPortRouting;
    sRecord.pfnGetMulticastInfo = IdtHalGetMulticastInfo;
    sRecord.pfnRouteAddEntry = IDTGen2HalRouteAddEntry;
    sRecord.pfnRouteGetEntry = IDTGen2HalRouteGetEntry;
    sRecord.pfnLoadRoutingTable = IdtHalLoadRoutingTable;
    sRecord.pfnResetRoutingTable = IDTGen2HalResetRoutingTable;
    sRecord.pfnStoreRoutingTable = IdtHalStoreRoutingTable;
    sRecord.pfnSendLinkMaintRequest = IDTGen2HalSendLinkMaintRequest;
    return sRecord;
}

const HalInterface g_sIDTCPS1848Interface =
    Gen2Record(0x03740038, IDT1848HalGetPortSpeedMHz, IDT1848HalSetPortSpeedMHz);
const HalInterface g_sIDTCPS1432Interface =
    Gen2Record(0x03750038, IDT1848HalGetPortSpeedMHz, IDT1848HalSetPortSpeedMHz);
const HalInterface g_sIDTVPS1616Interface =
    Gen2Record(0x03770038, IDT1848HalGetPortSpeedMHz, IDT1848HalSetPortSpeedMHz);
const HalInterface g_sIDTSPS1616Interface =
    Gen2Record(0x03780038, IDTCPS1616HalGetPortSpeedMHz, IDTCPS1616HalSetPortSpeedMHz);
const HalInterface g_sIDTCPS1616Interface =
    Gen2Record(0x03790038, IDTCPS1616HalGetPortSpeedMHz, IDTCPS1616HalSetPortSpeedMHz);
