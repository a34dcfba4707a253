/* Port speed of the switch families whose lanes and PLLs the HAL drives itself, and the quad maps
 * of the IDT Gen2 switches that say which port runs on which quadrant, PLL and lanes. The
 * functions here are the families' HalGetPortSpeedMHz and HalSetPortSpeedMHz entries; every wait
 * goes through HalSleep. */
#ifndef NVXL_PORT_SPEED_H
#define NVXL_PORT_SPEED_H

#include "NVXLHal.h"

#ifdef __cplusplus
extern "C"
{
#endif

/* The most ports a Gen2 switch has (CPS-1848 and VPS-1848). */
#define HAL_GEN2_MAX_PORTS 18u
/* A map entry of a port that the present quadrant configuration does not give lanes. */
#define HAL_QUAD_NONE 0xFFFFFFFFu

    /* Where each port of a Gen2 switch lives in its present quadrant configuration. */
    typedef struct HAL_QUAD_MAPS
    {
        /* Quadrant of the port; 4 and above (HAL_QUAD_NONE) when the port does not exist. */
        uint32_t ulPortQuadMap[HAL_GEN2_MAX_PORTS];
        /* PLL that clocks the port's lanes. */
        uint32_t ulPortPLLMap[HAL_GEN2_MAX_PORTS];
        /* First lane of the port. */
        uint32_t ulPortLaneLoMap[HAL_GEN2_MAX_PORTS];
        /* Last lane of the port. */
        uint32_t ulPortLaneHiMap[HAL_GEN2_MAX_PORTS];
        /* Ports of the device, existing or not: 18 for the CPS/VPS-1848, 16 for the others. */
        uint32_t ulNumPorts;
    } HAL_QUAD_MAPS;

    /* Builders, one per device: read the Quad Configuration register and fill the maps. */
    NVXL_STATUS HalBuildQuadMapsCPS1848(uint8_t uchLocalPort, uint32_t ulDestID, uint8_t uchHopCount,
                                        HAL_QUAD_MAPS* pMaps);
    NVXL_STATUS HalBuildQuadMapsCPS1432(uint8_t uchLocalPort, uint32_t ulDestID, uint8_t uchHopCount,
                                        HAL_QUAD_MAPS* pMaps);
    NVXL_STATUS HalBuildQuadMapsVPS1616(uint8_t uchLocalPort, uint32_t ulDestID, uint8_t uchHopCount,
                                        HAL_QUAD_MAPS* pMaps);
    NVXL_STATUS HalBuildQuadMapsSPS1616(uint8_t uchLocalPort, uint32_t ulDestID, uint8_t uchHopCount,
                                        HAL_QUAD_MAPS* pMaps);
    NVXL_STATUS HalBuildQuadMapsCPS1616(uint8_t uchLocalPort, uint32_t ulDestID, uint8_t uchHopCount,
                                        HAL_QUAD_MAPS* pMaps);

    /* IDT Gen2 CPS/VPS-1848, CPS-1432, VPS-1616: speed from the port's PLL and lane rates. */
    NVXL_STATUS IDT1848HalGetPortSpeedMHz(uint16_t wVendorID, uint16_t wDeviceID, uint8_t uchLocalPort,
                                          uint32_t ulDestID, uint8_t uchHopCount, uint8_t uchPort,
                                          uint32_t* pulSpeed);
    /* Changes PLL and lane rates with the port disabled, resetting the PLL's ports when it moves. */
    NVXL_STATUS IDT1848HalSetPortSpeedMHz(uint16_t wVendorID, uint16_t wDeviceID, uint8_t uchLocalPort,
                                          uint32_t ulDestID, uint8_t uchHopCount, uint8_t uchPort,
                                          uint32_t ulSpeed);
    /* IDT Gen2 SPS-1616 and CPS-1616: each lane picks one of its quadrant's two PLLs itself. */
    NVXL_STATUS IDTCPS1616HalGetPortSpeedMHz(uint16_t wVendorID, uint16_t wDeviceID, uint8_t uchLocalPort,
                                             uint32_t ulDestID, uint8_t uchHopCount, uint8_t uchPort,
                                             uint32_t* pulSpeed);
    NVXL_STATUS IDTCPS1616HalSetPortSpeedMHz(uint16_t wVendorID, uint16_t wDeviceID, uint8_t uchLocalPort,
                                             uint32_t ulDestID, uint8_t uchHopCount, uint8_t uchPort,
                                             uint32_t ulSpeed);

    /* IDT Gen1 (and the 70K2000): speed from the quad control registers at 0xFF0000. */
    NVXL_STATUS IDTGen1HalGetPortSpeedMHz(uint16_t wVendorID, uint16_t wDeviceID, uint8_t uchLocalPort,
                                          uint32_t ulDestID, uint8_t uchHopCount, uint8_t uchPort,
                                          uint32_t* pulSpeed);
    NVXL_STATUS IDTGen1HalSetPortSpeedMHz(uint16_t wVendorID, uint16_t wDeviceID, uint8_t uchLocalPort,
                                          uint32_t ulDestID, uint8_t uchHopCount, uint8_t uchPort,
                                          uint32_t ulSpeed);

    /* Tsi56x and Tsi57x: speed from the SerDes control word that a pair of ports shares. */
    NVXL_STATUS TsiHalGetPortSpeedMHz(uint16_t wVendorID, uint16_t wDeviceID, uint8_t uchLocalPort,
                                      uint32_t ulDestID, uint8_t uchHopCount, uint8_t uchPort,
                                      uint32_t* pulSpeed);
    NVXL_STATUS TsiHalSetPortSpeedMHz(uint16_t wVendorID, uint16_t wDeviceID, uint8_t uchLocalPort,
                                      uint32_t ulDestID, uint8_t uchHopCount, uint8_t uchPort,
                                      uint32_t ulSpeed);

#ifdef __cplusplus
}
#endif

#endif
