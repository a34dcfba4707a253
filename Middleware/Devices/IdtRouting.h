/* Routing of the IDT switches (70K2000, Gen1 and Gen2): the port values of their route tables, the
 * table select register, and the memory windows through which a whole table is read and written. */
#ifndef NVXL_IDT_ROUTING_H
#define NVXL_IDT_ROUTING_H

#include "NVXLHal.h"

#ifdef __cplusplus
extern "C"
{
#endif

/* A port entry of the second level of a Gen2 table (IDs 256 and up): the type that the Gen2
 * switches add to the standard route types. */
#define IDT_ROUTE_TYPE_LEVEL2_PORT ((NVXL_ROUTE_TYPE)6)

/* Port values of an IDT route table. 221 is only meaningful in a domain entry: route by the device
 * part of the table (the CPS manuals' "use device table" or "force local"). */
#define IDT_ROUTE_USE_DEVICE_TABLE 221u
#define IDT_ROUTE_DEFAULT 222u
#define IDT_ROUTE_NONE 223u
#define IDT_ROUTE_MCAST 64u

    /* Ports (and so per-port tables) of an IDT switch; 0 for a device the family does not know. */
    uint32_t IdtNumPorts(uint16_t wDeviceID);
    /* NVXL_ERR_NOT_SUPPORTED for a table number that the device does not have (255 is every port's). */
    NVXL_STATUS IdtCheckTable(uint16_t wDeviceID, uint8_t uchWhichTable);
    /* Route add through the table select, DestID and port registers; bGen2 allows the second level and
     * picks the log line. */
    NVXL_STATUS IdtRouteAdd(int bGen2, uint16_t wDeviceID, uint8_t uchLocalPort, uint32_t ulDestID,
                            uint8_t uchHopCount, uint8_t uchWhichTable, uint16_t wRouteDestID,
                            uint8_t uchRoutePortNum, NVXL_ROUTE_TYPE eType, uint32_t ulExtra);
    /* Route get through the same registers; bGen2 decodes the second level. */
    NVXL_STATUS IdtRouteGet(int bGen2, uint16_t wDeviceID, uint8_t uchLocalPort, uint32_t ulDestID,
                            uint8_t uchHopCount, uint8_t uchWhichTable, uint16_t wRouteDestID,
                            NVXL_ROUTE_TYPE* peType, uint8_t* puchPort, uint32_t* pulExtra);
    /* Reads the 512-word table window at ulBase (device part, then domain part) and lists its entries:
     * IDs 0 to 255 from the device part and, with 16-bit transport, the other domains' IDs by their
     * domain entries. */
    NVXL_STATUS IdtLoadTableWindow(uint8_t uchLocalPort, uint32_t ulDestID, uint8_t uchHopCount,
                                   uint32_t ulBase, uint32_t* pulNumEntries, NVXL_ROUTE_ENTRY** ppTable);
    /* Writes the 512-word table window at ulBase from a list of entries, 16-bit IDs laid out over the
     * domain and device parts. */
    NVXL_STATUS IdtStoreTableWindow(uint8_t uchLocalPort, uint32_t ulDestID, uint8_t uchHopCount,
                                    uint32_t ulBase, uint32_t ulNumEntries, const NVXL_ROUTE_ENTRY* pTable);

    /* Entries shared by the Gen1 and Gen2 records. */
    NVXL_STATUS IdtHalLoadRoutingTable(uint16_t wVendorID, uint16_t wDeviceID, uint8_t uchLocalPort,
                                       uint32_t ulDestID, uint8_t uchHopCount, uint8_t uchWhichTable,
                                       uint32_t* pulNumEntries, NVXL_ROUTE_ENTRY** ppTable);
    NVXL_STATUS IdtHalStoreRoutingTable(uint16_t wVendorID, uint16_t wDeviceID, uint8_t uchLocalPort,
                                        uint32_t ulDestID, uint8_t uchHopCount, uint8_t uchWhichTable,
                                        uint32_t ulNumEntries, const NVXL_ROUTE_ENTRY* pTable);
    /* Writes 0 to the switch's route domain register (0xF20020). */
    NVXL_STATUS IdtHalResetRoutingTable(uint16_t wVendorID, uint16_t wDeviceID, uint8_t uchLocalPort,
                                        uint32_t ulDestID, uint8_t uchHopCount);
    /* Multicast by mask numbers in the route table, without association registers. */
    NVXL_STATUS IdtHalGetMulticastInfo(uint16_t wVendorID, uint16_t wDeviceID, uint8_t uchLocalPort,
                                       uint32_t ulDestID, uint8_t uchHopCount, uint32_t* pbSupported,
                                       uint32_t* pbSimpleAssoc, uint32_t* pbBlockAssoc,
                                       uint32_t* pbPerPortAssoc, uint32_t* pulMaxAssociations,
                                       uint32_t* pulMaxMasks, uint32_t* pulReserved);

#ifdef __cplusplus
}
#endif

#endif
