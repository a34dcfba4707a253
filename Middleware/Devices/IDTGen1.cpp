// IDT Gen1 switches: the 80KSW0001 PPS and the CPS-16, CPS-8, CPS-12, CPS-10Q and CPS-6Q. Per-port
// route tables behind the table select register, the table windows, and the quad control registers
// that set the port speeds.
#include "Devices/DeviceFamilies.h"
#include "Devices/IdtRouting.h"
#include "Devices/PortControl.h"
#include "Hal/PortSpeed.h"

static NVXL_STATUS IDTGen1HalRouteAddEntry(uint16_t, uint16_t wDeviceID, uint8_t uchLocalPort,
                                           uint32_t ulDestID, uint8_t uchHopCount, uint8_t uchWhichTable,
                                           uint16_t wRouteDestID, uint8_t uchRoutePortNum,
                                           NVXL_ROUTE_TYPE eType, uint32_t ulExtra)
{
    return IdtRouteAdd(0, wDeviceID, uchLocalPort, ulDestID, uchHopCount, uchWhichTable, wRouteDestID,
                       uchRoutePortNum, eType, ulExtra);
}

static NVXL_STATUS IDTGen1HalRouteGetEntry(uint16_t, uint16_t wDeviceID, uint8_t uchLocalPort,
                                           uint32_t ulDestID, uint8_t uchHopCount, uint8_t uchWhichTable,
                                           uint16_t wRouteDestID, NVXL_ROUTE_TYPE* peType, uint8_t* puchPort,
                                           uint32_t* pulExtra)
{
    return IdtRouteGet(0, wDeviceID, uchLocalPort, ulDestID, uchHopCount, uchWhichTable, wRouteDestID, peType,
                       puchPort, pulExtra);
}

static constexpr HalInterface Gen1Record(uint32_t ulDeviceKey)
{
    HalInterface sRecord{};
    sRecord.ulDeviceKey = ulDeviceKey;
    sRecord.pfnGetPortWidth = HalPortWidthFromControl;
    sRecord.pfnGetPortConfig = HalPortConfigFromControl;
    sRecord.pfnGetPortSpeedMHz = IDTGen1HalGetPortSpeedMHz;
    sRecord.pfnSetPortSpeedMHz = IDTGen1HalSetPortSpeedMHz;
    sRecord.pfnSetPortEnables = HalPortEnablesInControl;
    sRecord.pfnIsPerPortRouting = HalHasPerPortRouting;
    sRecord.pfnGetMulticastInfo = IdtHalGetMulticastInfo;
    sRecord.pfnRouteAddEntry = IDTGen1HalRouteAddEntry;
    sRecord.pfnRouteGetEntry = IDTGen1HalRouteGetEntry;
    sRecord.pfnLoadRoutingTable = IdtHalLoadRoutingTable;
    sRecord.pfnResetRoutingTable = IdtHalResetRoutingTable;
    sRecord.pfnStoreRoutingTable = IdtHalStoreRoutingTable;
    return sRecord;
}

const HalInterface g_sIDTPPSInterface = Gen1Record(0x035A0038);
const HalInterface g_sIDTCPS16Interface = Gen1Record(0x035B0038);
const HalInterface g_sIDTCPS8Interface = Gen1Record(0x035C0038);
const HalInterface g_sIDTCPS12Interface = Gen1Record(0x035D0038);
const HalInterface g_sIDTCPS10QInterface = Gen1Record(0x035E0038);
const HalInterface g_sIDTCPS6QInterface = Gen1Record(0x035F0038);
