// Tsi564, Tsi568 and the Tsi57x switches (Tsi574 to Tsi578). Each port has its own route table of
// 512 IDs behind a pair of registers (0x11070/0x11074 + 0x100 per port) that counts through the
// table by itself once 0x80000000 is written to the first one; the standard registers reach the
// table of all ports. The Tsi57x boot from an EEPROM behind their I2C master, into which a route
// table can be written as register records, and can realign the ackIDs of a port.
#include "Devices/DeviceFamilies.h"
#include "Devices/I2CEeprom.h"
#include "Devices/PortControl.h"
#include "Hal/HalRegAccess.h"
#include "Hal/HalStandard.h"
#include "Hal/PortSpeed.h"

#include <stdlib.h>

#define HAL_ALL_TABLES 255u
#define TSI_NUM_PORTS 16u
#define TSI_NUM_IDS 512u
#define TSI_BLOCK 128u
#define TSI_NO_ROUTE 255u
#define TSI_ROUTE_DESTID(uchTable) (0x11070u + 0x100u * (uint32_t)(uchTable))
#define TSI_ROUTE_PORT(uchTable) (0x11074u + 0x100u * (uint32_t)(uchTable))
// Written to a table's DestID register, it starts the self-counting walk at ID 0.
#define TSI_ROUTE_AUTO_INCREMENT 0x80000000u
// Default route register of the Tsi56x; a port above 16 is not one.
#define TSI_DEFAULT_ROUTE 0x7Cu
#define TSI_DEFAULT_ROUTE_LIMIT 17u

static NVXL_STATUS CheckTable(uint8_t uchWhichTable)
{
    return (uchWhichTable == HAL_ALL_TABLES || uchWhichTable < TSI_NUM_PORTS) ? NVXL_OK
                                                                              : NVXL_ERR_NOT_SUPPORTED;
}

// The DestID and port registers of a table; the standard pair for the table of all ports.
static uint32_t DestIDRegister(uint8_t uchWhichTable)
{
    return uchWhichTable == HAL_ALL_TABLES ? RIO_ROUTE_CFG_DESTID : TSI_ROUTE_DESTID(uchWhichTable);
}

static uint32_t PortRegister(uint8_t uchWhichTable)
{
    return uchWhichTable == HAL_ALL_TABLES ? RIO_ROUTE_CFG_PORT : TSI_ROUTE_PORT(uchWhichTable);
}

static NVXL_STATUS TsiHalRouteAddEntry(uint16_t, uint16_t, uint8_t uchLocalPort, uint32_t ulDestID,
                                       uint8_t uchHopCount, uint8_t uchWhichTable, uint16_t wRouteDestID,
                                       uint8_t uchRoutePortNum, NVXL_ROUTE_TYPE eType, uint32_t)
{
    NVXL_STATUS nStatus = CheckTable(uchWhichTable);
    if (nStatus != NVXL_OK)
        return nStatus;
    if (eType == eNVXL_RouteTypeUndefined)
        return NVXL_ERR_INVALID_PARAM;
    // The switch routes to a port or nowhere: other entry types have nothing to write.
    if (eType != eNVXL_RouteTypeUnrouted && eType != eNVXL_RouteTypePort)
        return NVXL_OK;
    if (wRouteDestID >= TSI_NUM_IDS)
        return NVXL_ERR_ROUTING;
    const uint32_t ulPort = eType == eNVXL_RouteTypePort ? uchRoutePortNum : TSI_NO_ROUTE;
    HalDebugPrint(3, "Add route for DestID %d in port %d, out port %d\n", wRouteDestID, uchWhichTable,
                  (int)ulPort);
    nStatus = HalWriteReg(uchLocalPort, ulDestID, uchHopCount, DestIDRegister(uchWhichTable), wRouteDestID);
    if (nStatus != NVXL_OK)
        return nStatus;
    return HalWriteReg(uchLocalPort, ulDestID, uchHopCount, PortRegister(uchWhichTable), ulPort);
}

static NVXL_STATUS TsiHalRouteGetEntry(uint16_t, uint16_t, uint8_t uchLocalPort, uint32_t ulDestID,
                                       uint8_t uchHopCount, uint8_t uchWhichTable, uint16_t wRouteDestID,
                                       NVXL_ROUTE_TYPE* peType, uint8_t* puchPort, uint32_t* pulExtra)
{
    if (!peType || !puchPort || !pulExtra)
        return NVXL_ERR_INVALID_PARAM;
    NVXL_STATUS nStatus = CheckTable(uchWhichTable);
    if (nStatus != NVXL_OK)
        return nStatus;
    if (wRouteDestID >= TSI_NUM_IDS)
        return NVXL_ERR_ROUTING;
    nStatus = HalWriteReg(uchLocalPort, ulDestID, uchHopCount, DestIDRegister(uchWhichTable), wRouteDestID);
    if (nStatus != NVXL_OK)
        return nStatus;
    uint32_t ulPort = 0;
    nStatus = HalReadReg(uchLocalPort, ulDestID, uchHopCount, PortRegister(uchWhichTable), &ulPort);
    if (nStatus != NVXL_OK)
        return nStatus;
    *peType = ulPort < TSI_NUM_PORTS ? eNVXL_RouteTypePort : eNVXL_RouteTypeUnrouted;
    *puchPort = (uint8_t)ulPort;
    *pulExtra = 0;
    HalDebugPrint(3, "Got route for table %d: Type:%d Port:%d SpecialType:%d\n", uchWhichTable, (int)*peType,
                  *puchPort, 0);
    return NVXL_OK;
}

static NVXL_STATUS TsiHalLoadRoutingTable(uint16_t, uint16_t wDeviceID, uint8_t uchLocalPort,
                                          uint32_t ulDestID, uint8_t uchHopCount, uint8_t uchWhichTable,
                                          uint32_t* pulNumEntries, NVXL_ROUTE_ENTRY** ppTable)
{
    if (!pulNumEntries || !ppTable)
        return NVXL_ERR_INVALID_PARAM;
    NVXL_STATUS nStatus = CheckTable(uchWhichTable);
    if (nStatus != NVXL_OK)
        return nStatus;
    if (uchWhichTable == HAL_ALL_TABLES)
        return HalStdLoadTableForm(uchLocalPort, ulDestID, uchHopCount, 0, TSI_NUM_IDS, TSI_NUM_PORTS,
                                   pulNumEntries, ppTable);

    HalDebugPrint(3, "Loading routing table for IDT Tsi%x\n", wDeviceID);
    uint32_t* pulPorts = (uint32_t*)malloc(TSI_NUM_IDS * sizeof(uint32_t));
    if (!pulPorts)
        return NVXL_ERR_NO_MEMORY;
    nStatus = HalWriteReg0(uchLocalPort, ulDestID, uchHopCount, TSI_ROUTE_DESTID(uchWhichTable),
                           TSI_ROUTE_AUTO_INCREMENT);
    for (uint32_t i = 0; i < TSI_NUM_IDS && nStatus == NVXL_OK; i += TSI_BLOCK)
        nStatus = MaintRead(uchLocalPort, ulDestID, uchHopCount, TSI_ROUTE_PORT(uchWhichTable), pulPorts + i,
                            TSI_BLOCK, 4, 0);
    if (nStatus != NVXL_OK)
    {
        free(pulPorts);
        return nStatus;
    }
    uint32_t ulCount = 0;
    for (uint32_t i = 0; i < TSI_NUM_IDS; i++)
        ulCount += pulPorts[i] < TSI_NUM_PORTS ? 1u : 0u;
    *pulNumEntries = ulCount;
    if (ulCount == 0)
    {
        free(pulPorts);
        return NVXL_OK;
    }
    NVXL_ROUTE_ENTRY* pTable = (NVXL_ROUTE_ENTRY*)malloc(ulCount * sizeof(NVXL_ROUTE_ENTRY));
    if (!pTable)
    {
        free(pulPorts);
        return NVXL_ERR_NO_MEMORY;
    }
    uint32_t ulEntry = 0;
    for (uint32_t i = 0; i < TSI_NUM_IDS; i++)
    {
        if (pulPorts[i] >= TSI_NUM_PORTS)
            continue;
        pTable[ulEntry].wDestID = (uint16_t)i;
        pTable[ulEntry].uchPort = (uint8_t)pulPorts[i];
        pTable[ulEntry].eType = eNVXL_RouteTypePort;
        pTable[ulEntry].ulExtra = 0;
        ulEntry++;
    }
    free(pulPorts);
    *ppTable = pTable;
    return NVXL_OK;
}

static NVXL_STATUS TsiHalStoreRoutingTable(uint16_t, uint16_t, uint8_t uchLocalPort, uint32_t ulDestID,
                                           uint8_t uchHopCount, uint8_t uchWhichTable, uint32_t ulNumEntries,
                                           const NVXL_ROUTE_ENTRY* pTable)
{
    if (!pTable)
        return NVXL_OK;
    NVXL_STATUS nStatus = CheckTable(uchWhichTable);
    if (nStatus != NVXL_OK)
        return nStatus;
    if (uchWhichTable == HAL_ALL_TABLES)
        return HalStdStoreTableForm(uchLocalPort, ulDestID, uchHopCount, 0, TSI_NUM_IDS, ulNumEntries,
                                    pTable);

    uint32_t* pulPorts = (uint32_t*)malloc(TSI_NUM_IDS * sizeof(uint32_t));
    if (!pulPorts)
        return NVXL_ERR_NO_MEMORY;
    for (uint32_t i = 0; i < TSI_NUM_IDS; i++)
        pulPorts[i] = TSI_NO_ROUTE;
    for (uint32_t i = 0; i < ulNumEntries; i++)
    {
        if (pTable[i].eType == eNVXL_RouteTypePort && pTable[i].wDestID < TSI_NUM_IDS)
            pulPorts[pTable[i].wDestID] = pTable[i].uchPort;
    }
    nStatus = HalWriteReg0(uchLocalPort, ulDestID, uchHopCount, TSI_ROUTE_DESTID(uchWhichTable),
                           TSI_ROUTE_AUTO_INCREMENT);
    for (uint32_t i = 0; i < TSI_NUM_IDS && nStatus == NVXL_OK; i += TSI_BLOCK)
        nStatus = MaintWrite(uchLocalPort, ulDestID, uchHopCount, TSI_ROUTE_PORT(uchWhichTable), pulPorts + i,
                             TSI_BLOCK, 4, 0);
    free(pulPorts);
    return nStatus;
}

static NVXL_STATUS Tsi56xHalSetDefaultRoute(uint16_t, uint16_t, uint8_t uchLocalPort, uint32_t ulDestID,
                                            uint8_t uchHopCount, uint8_t uchPort)
{
    return HalWriteReg(uchLocalPort, ulDestID, uchHopCount, TSI_DEFAULT_ROUTE, uchPort);
}

static NVXL_STATUS Tsi568HalGetDefaultRoute(uint16_t, uint16_t, uint8_t uchLocalPort, uint32_t ulDestID,
                                            uint8_t uchHopCount, uint8_t* puchPort)
{
    if (!puchPort)
        return NVXL_ERR_INVALID_PARAM;
    uint32_t ulValue = 0;
    const NVXL_STATUS nStatus = HalReadReg(uchLocalPort, ulDestID, uchHopCount, TSI_DEFAULT_ROUTE, &ulValue);
    if (nStatus != NVXL_OK)
        return nStatus;
    *puchPort = (uint8_t)ulValue;
    return *puchPort < TSI_DEFAULT_ROUTE_LIMIT ? NVXL_OK : NVXL_ERR_UNSPECIFIED;
}

// The EEPROM image: word 0 holds the number of register records in its high half, and the records
// (register address, value) follow. A route becomes two records, the DestID register and the port
// register of its table, which the switch replays at boot.
static NVXL_STATUS Tsi57xHalFlashRoutingTable(uint16_t, uint16_t wDeviceID, uint8_t uchLocalPort,
                                              uint32_t ulDestID, uint8_t uchHopCount, uint8_t uchWhichTable,
                                              uint32_t ulNumEntries, const NVXL_ROUTE_ENTRY* pTable)
{
    if (!pTable && ulNumEntries)
        return NVXL_ERR_INVALID_PARAM;
    NVXL_STATUS nStatus = CheckTable(uchWhichTable);
    if (nStatus != NVXL_OK)
        return nStatus;
    const uint32_t ulBase = I2CEepromBase(wDeviceID);
    uint32_t ulHeader = 0;
    nStatus = I2CEepromReadWord(uchLocalPort, ulDestID, uchHopCount, ulBase, 0, &ulHeader);
    if (nStatus != NVXL_OK)
        return nStatus;
    const uint32_t ulHeld = ulHeader >> 16;
    // New records start at 2 x H + 8, H being the number of records the image already holds.
    uint32_t ulAddress = 2u * ulHeld + 8u;
    uint32_t ulRecords = 0;
    for (uint32_t i = 0; i < ulNumEntries; i++)
    {
        if (pTable[i].eType != eNVXL_RouteTypePort)
            continue;
        const uint32_t aulWords[4] = {DestIDRegister(uchWhichTable), pTable[i].wDestID,
                                      PortRegister(uchWhichTable), pTable[i].uchPort};
        for (uint32_t k = 0; k < 4; k++)
        {
            nStatus = I2CEepromWriteWord(uchLocalPort, ulDestID, uchHopCount, ulBase, ulAddress, aulWords[k]);
            if (nStatus != NVXL_OK)
                return nStatus;
            ulAddress += 4;
        }
        ulRecords += 2;
    }
    return I2CEepromWriteWord(uchLocalPort, ulDestID, uchHopCount, ulBase, 0,
                              ((ulHeld + ulRecords) << 16) | 0xFFFFu);
}

// Registers of port n used to realign ackIDs: Local ackID, Error and Status, Control (block at
// 0x100), and the switch's own recovery register.
#define TSI_LOCAL_ACKID(uchPort) (0x148u + 32u * (uint32_t)(uchPort))
#define TSI_ERR_STATUS(uchPort) (0x158u + 32u * (uint32_t)(uchPort))
#define TSI_RECOVERY(uchPort) (0x13014u + 0x100u * (uint32_t)(uchPort))
#define TSI_CONTROL_BIT1 0x2u
#define TSI_ACKID_RESET 0x80000000u
#define TSI_RECOVERY_VALUE 0x40FC8000u
// A link-response link status of 16: the partner's input port is OK.
#define LINK_STATUS_OK 16u
#define LINK_REQUEST_INPUT_STATUS 4u
// The link partner did not answer as a working port: nothing to realign with.
#define TSI_ERR_PARTNER_NOT_OK (-17)

// Brings the switch's ackIDs of a port back in step with a partner that restarted from ackID 0:
// ask the partner for its state, and if the ackIDs differ, reset the local ones and clear the port's
// errors.
static NVXL_STATUS Tsi57xHalResyncAckIDs(uint16_t wVendorID, uint16_t wDeviceID, uint8_t uchLocalPort,
                                         uint32_t ulDestID, uint8_t uchHopCount, uint8_t uchPort)
{
    uint32_t ulAckID = 0, ulLinkStatus = 0;
    NVXL_STATUS nStatus =
        HalSendLinkMaintRequest(wVendorID, wDeviceID, uchLocalPort, ulDestID, uchHopCount, uchPort,
                                LINK_REQUEST_INPUT_STATUS, &ulAckID, &ulLinkStatus);
    if (nStatus != NVXL_OK)
        return nStatus;
    if (ulLinkStatus != LINK_STATUS_OK || ulAckID != 0)
        return TSI_ERR_PARTNER_NOT_OK;

    uint32_t ulLocal = 0;
    nStatus = HalReadReg0(uchLocalPort, ulDestID, uchHopCount, TSI_LOCAL_ACKID(uchPort), &ulLocal);
    if (nStatus != NVXL_OK)
        return nStatus;
    const uint32_t ulInbound = (ulLocal >> 24) & 0x1Fu;
    const uint32_t ulOutstanding = (ulLocal >> 8) & 0x1Fu;
    const uint32_t ulOutbound = ulLocal & 0x1Fu;
    if (ulInbound == ulAckID && ulOutstanding == ulAckID && ulOutbound == ulAckID)
        return NVXL_ERR_ACKIDS_ALIGNED;

    uint32_t ulControl = 0;
    nStatus = HalReadReg0(uchLocalPort, ulDestID, uchHopCount, HAL_PORT_CONTROL(uchPort), &ulControl);
    if (nStatus != NVXL_OK)
        return nStatus;
    nStatus = HalWriteReg0(uchLocalPort, ulDestID, uchHopCount, HAL_PORT_CONTROL(uchPort),
                           ulControl | TSI_CONTROL_BIT1);
    if (nStatus != NVXL_OK)
        return nStatus;
    nStatus = HalWriteReg0(uchLocalPort, ulDestID, uchHopCount, HAL_PORT_CONTROL(uchPort),
                           ulControl & ~TSI_CONTROL_BIT1);
    if (nStatus != NVXL_OK)
        return nStatus;
    nStatus = HalWriteReg0(uchLocalPort, ulDestID, uchHopCount, TSI_LOCAL_ACKID(uchPort), TSI_ACKID_RESET);
    if (nStatus != NVXL_OK)
        return nStatus;
    nStatus = HalWriteReg(uchLocalPort, ulDestID, uchHopCount, TSI_RECOVERY(uchPort), TSI_RECOVERY_VALUE);
    if (nStatus != NVXL_OK)
        return nStatus;
    return HalWriteReg0(uchLocalPort, ulDestID, uchHopCount, TSI_ERR_STATUS(uchPort), 0xFFFFFFFFu);
}

// The Tsi577 cannot change its speed from here.
static NVXL_STATUS Tsi577HalSetPortSpeedMHz(uint16_t, uint16_t, uint8_t, uint32_t, uint8_t, uint8_t, uint32_t)
{
    return NVXL_ERR_NOT_SUPPORTED;
}

static constexpr HalInterface Tsi56xRecord(uint32_t ulDeviceKey)
{
    HalInterface sRecord{};
    sRecord.ulDeviceKey = ulDeviceKey;
    sRecord.pfnGetPortWidth = HalPortWidthFromControl;
    sRecord.pfnGetPortConfig = HalPortConfigFromControl;
    sRecord.pfnGetPortSpeedMHz = TsiHalGetPortSpeedMHz;
    sRecord.pfnSetPortSpeedMHz = TsiHalSetPortSpeedMHz;
    sRecord.pfnIsPerPortRouting = HalHasPerPortRouting;
    sRecord.pfnRouteAddEntry = TsiHalRouteAddEntry;
    sRecord.pfnRouteGetEntry = TsiHalRouteGetEntry;
    sRecord.pfnSetDefaultRoute = Tsi56xHalSetDefaultRoute;
    sRecord.pfnLoadRoutingTable = TsiHalLoadRoutingTable;
    sRecord.pfnStoreRoutingTable = TsiHalStoreRoutingTable;
    return sRecord;
}

static constexpr HalInterface Tsi57xRecord(uint32_t ulDeviceKey)
{
    HalInterface sRecord{};
    sRecord.ulDeviceKey = ulDeviceKey;
    sRecord.pfnGetPortWidth = HalPortWidthFromControl;
    sRecord.pfnGetPortConfig = HalPortConfigFromControl;
    sRecord.pfnGetPortSpeedMHz = TsiHalGetPortSpeedMHz;
    sRecord.pfnSetPortSpeedMHz = TsiHalSetPortSpeedMHz;
    sRecord.pfnIsPerPortRouting = HalHasPerPortRouting;
    sRecord.pfnRouteAddEntry = TsiHalRouteAddEntry;
    sRecord.pfnRouteGetEntry = TsiHalRouteGetEntry;
    sRecord.pfnLoadRoutingTable = TsiHalLoadRoutingTable;
    sRecord.pfnStoreRoutingTable = TsiHalStoreRoutingTable;
    sRecord.pfnSupportsEEPROM = I2CEepromHalSupportsEEPROM;
    sRecord.pfnInitEEPROM = I2CEepromHalInitEEPROM;
    sRecord.pfnWriteEEPROM = I2CEepromHalWriteEEPROM;
    sRecord.pfnReadEEPROM = I2CEepromHalReadEEPROM;
    sRecord.pfnSetEEPROMAddress = I2CEepromHalSetEEPROMAddress;
    sRecord.pfnFlashRoutingTable = Tsi57xHalFlashRoutingTable;
    sRecord.pfnResyncAckIDs = Tsi57xHalResyncAckIDs;
    return sRecord;
}

// The Tsi564 has no default route reader of its own: reading falls to the standard register while
// setting goes to 0x7C. Kept as it is.
const HalInterface g_sTsi564Interface = Tsi56xRecord(0x0564000D);

static constexpr HalInterface Tsi568Record()
{
    HalInterface sRecord = Tsi56xRecord(0x0568000D);
    sRecord.pfnGetDefaultRoute = Tsi568HalGetDefaultRoute;
    return sRecord;
}
const HalInterface g_sTsi568Interface = Tsi568Record();

const HalInterface g_sTsi574Interface = Tsi57xRecord(0x0574000D);

// The Tsi575 record has no port configuration entry; kept as it is.
static constexpr HalInterface Tsi575Record()
{
    HalInterface sRecord = Tsi57xRecord(0x0575000D);
    sRecord.pfnGetPortConfig = NULL;
    return sRecord;
}
const HalInterface g_sTsi575Interface = Tsi575Record();

const HalInterface g_sTsi576Interface = Tsi57xRecord(0x0576000D);

static constexpr HalInterface Tsi577Record()
{
    HalInterface sRecord = Tsi57xRecord(0x0577000D);
    sRecord.pfnSetPortSpeedMHz = Tsi577HalSetPortSpeedMHz;
    return sRecord;
}
const HalInterface g_sTsi577Interface = Tsi577Record();

const HalInterface g_sTsi578Interface = Tsi57xRecord(0x0578000D);
