// Route tables of the IDT switches. A route table entry is one byte-sized port value: a port number,
// 222 for the default route, 223 for no route, 64 plus a mask number for multicast, and special
// codes in bits 7..6. The tables are reached one entry at a time through the standard route
// registers after the table select register (0x10070) has chosen a port's table, or whole through a
// memory window of 512 words: the all-ports table at 0xE00000, port n's at 0xE10000 + 0x1000 n.
#include "Devices/IdtRouting.h"
#include "Hal/HalRegAccess.h"
#include "Hal/HalStandard.h"

#include <stdlib.h>

#define IDT_TABLE_SELECT 0x10070u
#define IDT_DOMAIN 0xF20020u
#define IDT_TABLE_ALL_PORTS 0xE00000u
#define IDT_TABLE_PORT(uchTable) (0xE10000u + 0x1000u * (uint32_t)(uchTable))
#define IDT_TABLE_WORDS 512u
#define IDT_TABLE_BLOCK 128u
#define IDT_TABLE_BLOCK_BYTES 0x200u
// Gen2 port values 0..17 are ports, 64..103 the 40 multicast masks.
#define IDT_MAX_PORT_VALUE 18u
#define IDT_MCAST_LAST 103u
#define IDT_NUM_MCAST_MASKS 40u
// IDs from 256 up address the second level of a Gen2 table.
#define IDT_LEVEL2_FIRST_ID 256u
#define HAL_ALL_TABLES 255u

uint32_t IdtNumPorts(uint16_t wDeviceID)
{
    switch (wDeviceID)
    {
    case 0x035C:
        return 8;
    case 0x035A:
    case 0x035D:
        return 12;
    case 0x035B:
    case 0x035E:
    case 0x035F:
    case 0x0375:
    case 0x0377:
    case 0x0378:
    case 0x0379:
        return 16;
    case 0x0374:
        return 18;
    default:
        return 0;
    }
}

NVXL_STATUS IdtCheckTable(uint16_t wDeviceID, uint8_t uchWhichTable)
{
    if (uchWhichTable != HAL_ALL_TABLES && uchWhichTable >= IdtNumPorts(wDeviceID))
        return NVXL_ERR_NOT_SUPPORTED;
    return NVXL_OK;
}

// The table select value: table n is n + 1, the all-ports table 0.
static uint32_t TableSelect(uint8_t uchWhichTable)
{
    return uchWhichTable == HAL_ALL_TABLES ? 0u : uchWhichTable + 1u;
}

NVXL_STATUS IdtRouteAdd(int bGen2, uint16_t wDeviceID, uint8_t uchLocalPort, uint32_t ulDestID,
                        uint8_t uchHopCount, uint8_t uchWhichTable, uint16_t wRouteDestID,
                        uint8_t uchRoutePortNum, NVXL_ROUTE_TYPE eType, uint32_t ulExtra)
{
    NVXL_STATUS nStatus = IdtCheckTable(wDeviceID, uchWhichTable);
    if (nStatus != NVXL_OK)
        return nStatus;
    uint32_t ulValue;
    switch ((int)eType)
    {
    case eNVXL_RouteTypeUndefined:
        // A raw port value, for codes that have no type of their own.
        ulValue = ulExtra;
        break;
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
    case IDT_ROUTE_TYPE_LEVEL2_PORT:
        if (!bGen2)
            return NVXL_ERR_INVALID_PARAM;
        // Only the second level holds ports of this kind.
        if (wRouteDestID < IDT_LEVEL2_FIRST_ID)
            return NVXL_ERR_DRIVER_PARAM;
        ulValue = uchRoutePortNum;
        break;
    default:
        return NVXL_ERR_INVALID_PARAM;
    }
    HalDebugPrint(3,
                  bGen2 ? "Add IDTGen2 Type %d Route:  %04x -> %02x\n"
                        : "Add IDTGen1 Type %d Route:  %04x -> %02x\n",
                  (int)eType, wRouteDestID, ulValue);
    nStatus = HalWriteReg(uchLocalPort, ulDestID, uchHopCount, IDT_TABLE_SELECT, TableSelect(uchWhichTable));
    if (nStatus != NVXL_OK)
        return nStatus;
    nStatus = HalWriteReg(uchLocalPort, ulDestID, uchHopCount, RIO_ROUTE_CFG_DESTID, wRouteDestID);
    if (nStatus != NVXL_OK)
        return nStatus;
    return HalWriteReg(uchLocalPort, ulDestID, uchHopCount, RIO_ROUTE_CFG_PORT, ulValue);
}

NVXL_STATUS IdtRouteGet(int bGen2, uint16_t wDeviceID, uint8_t uchLocalPort, uint32_t ulDestID,
                        uint8_t uchHopCount, uint8_t uchWhichTable, uint16_t wRouteDestID,
                        NVXL_ROUTE_TYPE* peType, uint8_t* puchPort, uint32_t* pulExtra)
{
    if (!peType || !puchPort || !pulExtra)
        return NVXL_ERR_INVALID_PARAM;
    NVXL_STATUS nStatus = IdtCheckTable(wDeviceID, uchWhichTable);
    if (nStatus != NVXL_OK)
        return nStatus;
    nStatus = HalWriteReg(uchLocalPort, ulDestID, uchHopCount, IDT_TABLE_SELECT, TableSelect(uchWhichTable));
    if (nStatus != NVXL_OK)
        return nStatus;
    nStatus = HalWriteReg(uchLocalPort, ulDestID, uchHopCount, RIO_ROUTE_CFG_DESTID, wRouteDestID);
    if (nStatus != NVXL_OK)
        return nStatus;
    uint32_t ulValue = 0;
    nStatus = HalReadReg(uchLocalPort, ulDestID, uchHopCount, RIO_ROUTE_CFG_PORT, &ulValue);
    if (nStatus != NVXL_OK)
        return nStatus;

    const int bLevel2 = bGen2 && wRouteDestID >= IDT_LEVEL2_FIRST_ID;
    NVXL_ROUTE_TYPE eType = eNVXL_RouteTypeUndefined;
    uint32_t ulPort = 0;
    uint32_t ulExtra = 0;
    if (ulValue == IDT_ROUTE_USE_DEVICE_TABLE)
    {
        // A special entry at the second level (a domain that routes by the device part); at the
        // first level it names no port.
        eType = bLevel2 ? eNVXL_RouteTypeSpecial : eNVXL_RouteTypeUndefined;
        ulPort = bLevel2 ? IDT_ROUTE_USE_DEVICE_TABLE : 0u;
        ulExtra = IDT_ROUTE_USE_DEVICE_TABLE;
    }
    else if (ulValue == IDT_ROUTE_DEFAULT)
    {
        eType = eNVXL_RouteTypeDefault;
        ulPort = ulValue;
    }
    else if (ulValue == IDT_ROUTE_NONE)
    {
        eType = eNVXL_RouteTypeUnrouted;
        ulPort = ulValue;
    }
    else if (ulValue < IDT_MAX_PORT_VALUE)
    {
        eType = bLevel2 ? IDT_ROUTE_TYPE_LEVEL2_PORT : eNVXL_RouteTypePort;
        ulPort = ulValue & 0x3Fu;
    }
    else if (ulValue >= IDT_ROUTE_MCAST && ulValue <= IDT_MCAST_LAST)
    {
        eType = eNVXL_RouteTypeMCast;
        ulPort = ulValue & 0x3Fu;
    }
    else
    {
        ulExtra = ulValue;
    }
    *peType = eType;
    *puchPort = (uint8_t)ulPort;
    *pulExtra = ulExtra;
    HalDebugPrint(3, "Got IDTGen2 route for table %d: Type:%d Port:%d SpecialType:%d\n", uchWhichTable,
                  (int)eType, (int)ulPort, (int)ulExtra);
    return NVXL_OK;
}

// A table window holds two parts of 256 words (CPS-1848 User Manual, 2.3.1 and the IDT specific
// routing table registers; CPS-16/12/8 User Manual, 8.2): the device part at the window's base,
// indexed by an 8-bit ID or the low byte of a 16-bit ID, and the domain part 0x400 above it,
// indexed by the high byte of a 16-bit ID. A 16-bit ID whose high byte is 0 or the switch's
// route domain (0xF20020, which this HAL keeps at 0) routes by the device part; any other by its
// domain entry, which is a port, the default route, no route, or 0xDD to route by the device
// part after all. So a domain either leaves the switch by one port as a whole, or shares the
// device part with domain 0 and with every other domain that does.
#define IDT_DOMAIN_PART 256u
#define IDT_NUM_IDS 65536u

// The port value of a route entry; IDT_ROUTE_NONE for one that names no route.
static uint32_t EntryValue(const NVXL_ROUTE_ENTRY* pEntry)
{
    switch (pEntry->eType)
    {
    case eNVXL_RouteTypePort:
        return pEntry->uchPort;
    case eNVXL_RouteTypeMCast:
        return pEntry->uchPort + IDT_ROUTE_MCAST;
    case eNVXL_RouteTypeSpecial:
        return pEntry->uchPort + (pEntry->ulExtra << 6);
    case eNVXL_RouteTypeDefault:
        return IDT_ROUTE_DEFAULT;
    default:
        // Unrouted and undefined entries stay at "no route".
        return IDT_ROUTE_NONE;
    }
}

// Whether a table word is a route of its own (neither "no route" nor the default route).
static int IsRouteWord(uint32_t ulValue)
{
    return ulValue != IDT_ROUTE_NONE && ulValue != IDT_ROUTE_DEFAULT;
}

static void DecodeWord(uint16_t wDestID, uint32_t ulValue, NVXL_ROUTE_ENTRY* pEntry)
{
    // Bits 7..6: 0 a port, 1 a multicast mask, 2 and 3 special codes.
    const uint32_t ulKind = (ulValue >> 6) & 3u;
    pEntry->wDestID = wDestID;
    pEntry->uchPort = (uint8_t)(ulValue & 0x3Fu);
    pEntry->eType = ulKind == 0   ? eNVXL_RouteTypePort
                    : ulKind == 1 ? eNVXL_RouteTypeMCast
                                  : eNVXL_RouteTypeSpecial;
    pEntry->ulExtra = ulKind >= 2 ? ulKind : 0u;
}

// A domain entry may name a port or the default route; multicast masks and special codes live in
// the device part only.
static int FitsDomainEntry(uint32_t ulValue)
{
    return ulValue < IDT_ROUTE_MCAST || ulValue == IDT_ROUTE_DEFAULT;
}

// Lays a list of routes out as the two parts of a window (512 words). IDs below 256 go into the
// device part. Each other domain with routes becomes one domain entry when all its routes agree
// on a port; otherwise it is marked 0xDD and its routes go into the device part by their low
// byte, unless giving it its commonest port loses no more of its routes than the device entries
// already taken by other IDs would (which also leaves those entries free for later domains). *pulLost gets
// how many IDs the two parts could not carry.
static NVXL_STATUS PackTableWindow(uint32_t ulNumEntries, const NVXL_ROUTE_ENTRY* pTable, uint32_t* pulWords,
                                   uint32_t* pulLost)
{
    for (uint32_t i = 0; i < IDT_TABLE_WORDS; i++)
        pulWords[i] = IDT_ROUTE_NONE;
    // Domain 0 always routes by the device part; its entry is kept at 0xDD as IDT's routines keep it.
    pulWords[IDT_DOMAIN_PART] = IDT_ROUTE_USE_DEVICE_TABLE;

    // The value of each ID, a later record for an ID replacing an earlier one.
    uint16_t* pwByID = (uint16_t*)malloc(IDT_NUM_IDS * sizeof(uint16_t));
    if (!pwByID)
        return NVXL_ERR_NO_MEMORY;
    for (uint32_t i = 0; i < IDT_NUM_IDS; i++)
        pwByID[i] = (uint16_t)IDT_ROUTE_NONE;
    uint32_t ulHighest = 0;
    for (uint32_t i = 0; i < ulNumEntries; i++)
    {
        const uint32_t ulValue = EntryValue(&pTable[i]);
        pwByID[pTable[i].wDestID] = (uint16_t)ulValue;
        if (ulValue != IDT_ROUTE_NONE && pTable[i].wDestID > ulHighest)
            ulHighest = pTable[i].wDestID;
    }
    for (uint32_t i = 0; i < IDT_DOMAIN_PART; i++)
        pulWords[i] = pwByID[i];

    uint32_t ulLost = 0;
    for (uint32_t ulDomain = 1; ulDomain <= (ulHighest >> 8); ulDomain++)
    {
        const uint16_t* pwDomain = pwByID + (ulDomain << 8);
        uint32_t aulCount[256] = {0};
        uint32_t ulRoutes = 0, ulClashes = 0;
        for (uint32_t ulLow = 0; ulLow < 256; ulLow++)
        {
            const uint32_t ulValue = pwDomain[ulLow];
            if (ulValue == IDT_ROUTE_NONE)
                continue;
            ulRoutes++;
            if (ulValue < 256 && FitsDomainEntry(ulValue))
                aulCount[ulValue]++;
            if (pulWords[ulLow] != IDT_ROUTE_NONE && pulWords[ulLow] != ulValue)
                ulClashes++;
        }
        if (ulRoutes == 0)
            continue;
        uint32_t ulBest = 0;
        for (uint32_t v = 1; v < 256; v++)
            ulBest = aulCount[v] > aulCount[ulBest] ? v : ulBest;
        const uint32_t ulMissed = ulRoutes - aulCount[ulBest];
        if (aulCount[ulBest] != 0 && ulMissed <= ulClashes)
        {
            pulWords[IDT_DOMAIN_PART + ulDomain] = ulBest;
            ulLost += ulMissed;
            continue;
        }
        pulWords[IDT_DOMAIN_PART + ulDomain] = IDT_ROUTE_USE_DEVICE_TABLE;
        for (uint32_t ulLow = 0; ulLow < 256; ulLow++)
        {
            const uint32_t ulValue = pwDomain[ulLow];
            if (ulValue == IDT_ROUTE_NONE)
                continue;
            if (pulWords[ulLow] == IDT_ROUTE_NONE)
                pulWords[ulLow] = ulValue;
            else if (pulWords[ulLow] != ulValue)
                HalDebugPrint(
                    2, "DestID %04x shares device entry %02x, which routes to %02x, and cannot have %02x\n",
                    (ulDomain << 8) | ulLow, ulLow, pulWords[ulLow], ulValue);
        }
        ulLost += ulClashes;
    }
    free(pwByID);
    *pulLost = ulLost;
    return NVXL_OK;
}

NVXL_STATUS IdtLoadTableWindow(uint8_t uchLocalPort, uint32_t ulDestID, uint8_t uchHopCount, uint32_t ulBase,
                               uint32_t* pulNumEntries, NVXL_ROUTE_ENTRY** ppTable)
{
    uint32_t* pulWords = (uint32_t*)malloc(IDT_TABLE_WORDS * sizeof(uint32_t));
    if (!pulWords)
        return NVXL_ERR_NO_MEMORY;
    for (uint32_t ulBlock = 0; ulBlock < IDT_TABLE_WORDS / IDT_TABLE_BLOCK; ulBlock++)
    {
        const NVXL_STATUS nStatus =
            MaintRead(uchLocalPort, ulDestID, uchHopCount, ulBase + ulBlock * IDT_TABLE_BLOCK_BYTES,
                      pulWords + ulBlock * IDT_TABLE_BLOCK, IDT_TABLE_BLOCK, 4, 4);
        if (nStatus != NVXL_OK)
        {
            free(pulWords);
            return nStatus;
        }
    }
    // The device part gives the routes of IDs 0 to 255. With 16-bit IDs the domain part adds those
    // of the other domains: a port for every ID of the domain, or with 0xDD the device part's
    // routes under the domain's high byte.
    const int bLarge = HalGetLargeTransport() != 0;
    uint32_t ulDeviceRoutes = 0;
    for (uint32_t i = 0; i < IDT_DOMAIN_PART; i++)
        ulDeviceRoutes += IsRouteWord(pulWords[i]) ? 1u : 0u;
    uint32_t ulCount = ulDeviceRoutes;
    for (uint32_t ulDomain = 1; bLarge && ulDomain < 256; ulDomain++)
    {
        const uint32_t ulValue = pulWords[IDT_DOMAIN_PART + ulDomain];
        ulCount += ulValue == IDT_ROUTE_USE_DEVICE_TABLE ? ulDeviceRoutes : IsRouteWord(ulValue) ? 256u : 0u;
    }
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
    for (uint32_t ulDomain = 0; ulDomain < (bLarge ? 256u : 1u); ulDomain++)
    {
        const uint32_t ulDomainValue = pulWords[IDT_DOMAIN_PART + ulDomain];
        const int bDevicePart = ulDomain == 0 || ulDomainValue == IDT_ROUTE_USE_DEVICE_TABLE;
        if (!bDevicePart && !IsRouteWord(ulDomainValue))
            continue;
        for (uint32_t ulLow = 0; ulLow < 256; ulLow++)
        {
            const uint32_t ulValue = bDevicePart ? pulWords[ulLow] : ulDomainValue;
            if (IsRouteWord(ulValue))
                DecodeWord((uint16_t)((ulDomain << 8) | ulLow), ulValue, &pTable[ulEntry++]);
        }
    }
    free(pulWords);
    *ppTable = pTable;
    return NVXL_OK;
}

NVXL_STATUS IdtStoreTableWindow(uint8_t uchLocalPort, uint32_t ulDestID, uint8_t uchHopCount, uint32_t ulBase,
                                uint32_t ulNumEntries, const NVXL_ROUTE_ENTRY* pTable)
{
    uint32_t* pulWords = (uint32_t*)malloc(IDT_TABLE_WORDS * sizeof(uint32_t));
    if (!pulWords)
        return NVXL_ERR_NO_MEMORY;
    uint32_t ulLost = 0;
    NVXL_STATUS nStatus = PackTableWindow(ulNumEntries, pTable, pulWords, &ulLost);
    if (ulLost)
        HalDebugPrint(1,
                      "%u destination IDs do not fit the domain and device tables and are routed otherwise\n",
                      ulLost);
    for (uint32_t ulBlock = 0; ulBlock < IDT_TABLE_WORDS / IDT_TABLE_BLOCK && nStatus == NVXL_OK; ulBlock++)
        nStatus = MaintWrite(uchLocalPort, ulDestID, uchHopCount, ulBase + ulBlock * IDT_TABLE_BLOCK_BYTES,
                             pulWords + ulBlock * IDT_TABLE_BLOCK, IDT_TABLE_BLOCK, 4, 4);
    free(pulWords);
    return nStatus;
}

static uint32_t TableWindow(uint8_t uchWhichTable)
{
    return uchWhichTable == HAL_ALL_TABLES ? IDT_TABLE_ALL_PORTS : IDT_TABLE_PORT(uchWhichTable);
}

NVXL_STATUS IdtHalLoadRoutingTable(uint16_t, uint16_t wDeviceID, uint8_t uchLocalPort, uint32_t ulDestID,
                                   uint8_t uchHopCount, uint8_t uchWhichTable, uint32_t* pulNumEntries,
                                   NVXL_ROUTE_ENTRY** ppTable)
{
    if (!pulNumEntries || !ppTable)
        return NVXL_ERR_INVALID_PARAM;
    const NVXL_STATUS nStatus = IdtCheckTable(wDeviceID, uchWhichTable);
    if (nStatus != NVXL_OK)
        return nStatus;
    HalDebugPrint(3, "Loading IDTGen1 routing table\n");
    return IdtLoadTableWindow(uchLocalPort, ulDestID, uchHopCount, TableWindow(uchWhichTable), pulNumEntries,
                              ppTable);
}

NVXL_STATUS IdtHalStoreRoutingTable(uint16_t, uint16_t wDeviceID, uint8_t uchLocalPort, uint32_t ulDestID,
                                    uint8_t uchHopCount, uint8_t uchWhichTable, uint32_t ulNumEntries,
                                    const NVXL_ROUTE_ENTRY* pTable)
{
    if (!pTable)
        return NVXL_OK;
    const NVXL_STATUS nStatus = IdtCheckTable(wDeviceID, uchWhichTable);
    if (nStatus != NVXL_OK)
        return nStatus;
    return IdtStoreTableWindow(uchLocalPort, ulDestID, uchHopCount, TableWindow(uchWhichTable), ulNumEntries,
                               pTable);
}

NVXL_STATUS IdtHalResetRoutingTable(uint16_t, uint16_t, uint8_t uchLocalPort, uint32_t ulDestID,
                                    uint8_t uchHopCount)
{
    return HalWriteReg(uchLocalPort, ulDestID, uchHopCount, IDT_DOMAIN, 0);
}

NVXL_STATUS IdtHalGetMulticastInfo(uint16_t, uint16_t wDeviceID, uint8_t, uint32_t, uint8_t,
                                   uint32_t* pbSupported, uint32_t* pbSimpleAssoc, uint32_t* pbBlockAssoc,
                                   uint32_t* pbPerPortAssoc, uint32_t* pulMaxAssociations,
                                   uint32_t* pulMaxMasks, uint32_t* pulReserved)
{
    if (!pbSupported)
        return NVXL_ERR_INVALID_PARAM;
    // A multicast entry of the route table names its mask itself: there are no associations to set
    // up. The Gen1 and Gen2 tables name masks 0..39 (values 64..103); the 70K2000 spends bits 5 and
    // 3..0 of the value on the mask number.
    *pbSupported = 1;
    if (pbSimpleAssoc)
        *pbSimpleAssoc = 0;
    if (pbBlockAssoc)
        *pbBlockAssoc = 0;
    if (pbPerPortAssoc)
        *pbPerPortAssoc = 0;
    if (pulMaxAssociations)
        *pulMaxAssociations = 0;
    if (pulMaxMasks)
        *pulMaxMasks = wDeviceID == 0x0310 ? 32u : IDT_NUM_MCAST_MASKS;
    if (pulReserved)
        *pulReserved = 0;
    return NVXL_OK;
}
