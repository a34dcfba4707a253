// Quad maps of the IDT Gen2 switches. The lanes of these switches are grouped in four quadrants;
// the Quad Configuration register (0xF20200) holds one field per quadrant that chooses how the
// quadrant's lanes are shared among its ports. A port that gets no lanes in the chosen arrangement
// does not exist until the arrangement changes.
//
// Source of the arrangements: IDT's user manuals carry them as the Quad Configuration tables (which
// port uses which lanes and PLL for each field value), but the manuals' tables could not be read
// here. The tables below were taken from IDT's published Device Access Routines, as released by the
// RapidIO Trade Association (repositories RapidIO/rapidio_sw and RapidIO/RapidIO_RRMAP, file
// fabric_management/librio/src/CPS_PC.c, tables cps1848_cfg, cps1432_cfg and sps1616_cfg, and
// init_sw_pi for the field width of each device), which transcribe those manual tables port by
// port as lane count, first lane and PLL for each of the four field values. The CPS-1616's table
// (cps1616_cfg, the same lanes as the SPS-1616's) and its two-bit field width come from a later
// revision of the same file (2017).
#include "Hal/HalRegAccess.h"
#include "Hal/PortSpeed.h"

// The Quad Configuration register, read with Stride 0.
#define HAL_QUAD_CONFIG 0xF20200u

namespace
{
// The lanes and PLL of one port in one arrangement; no lanes means the port does not exist there.
struct SPortLanes
{
    uint8_t uchLanes;
    uint8_t uchFirstLane;
    uint8_t uchPLL;
};

// A port's quadrant and its lanes for each of the four values of its quadrant's field.
struct SPortLayout
{
    uint8_t uchQuad;
    SPortLanes asArrangement[4];
};

constexpr SPortLanes kNone = {0, 0, 0};

// CPS-1848 and VPS-1848 (device 0x0374): 18 ports on 48 lanes, one PLL per four lanes. Quadrant 0
// holds ports 0, 4, 8, 12, 16; quadrant 1 ports 1, 5, 9, 13, 17; quadrant 2 ports 2, 6, 10, 14;
// quadrant 3 ports 3, 7, 11, 15. Field values 2 and 3 of quadrants 2 and 3 give no port.
constexpr SPortLayout kCPS1848[] = {
    {0, {{4, 0, 0}, {2, 0, 0}, {2, 0, 0}, {2, 0, 0}}},
    {1, {{4, 4, 1}, {2, 4, 1}, {2, 4, 1}, {2, 4, 1}}},
    {2, {{4, 8, 2}, {2, 8, 2}, kNone, kNone}},
    {3, {{4, 12, 3}, {2, 12, 3}, kNone, kNone}},
    {0, {{4, 16, 4}, {4, 16, 4}, {4, 16, 4}, {4, 16, 4}}},
    {1, {{4, 20, 5}, {4, 20, 5}, {4, 20, 5}, {4, 20, 5}}},
    {2, {{4, 24, 6}, {4, 24, 6}, kNone, kNone}},
    {3, {{4, 28, 7}, {4, 28, 7}, kNone, kNone}},
    {0, {{4, 32, 8}, {4, 32, 8}, {2, 32, 8}, {4, 32, 8}}},
    {1, {{4, 36, 9}, {4, 36, 9}, {2, 36, 9}, {4, 36, 9}}},
    {2, {{4, 40, 10}, {4, 40, 10}, kNone, kNone}},
    {3, {{4, 44, 11}, {4, 44, 11}, kNone, kNone}},
    {0, {kNone, {2, 2, 0}, {2, 2, 0}, {1, 2, 0}}},
    {1, {kNone, {2, 6, 1}, {2, 6, 1}, {1, 6, 1}}},
    {2, {kNone, {2, 10, 2}, kNone, kNone}},
    {3, {kNone, {2, 14, 3}, kNone, kNone}},
    {0, {kNone, kNone, {2, 34, 8}, {1, 3, 0}}},
    {1, {kNone, kNone, {2, 38, 9}, {1, 7, 1}}},
};

// CPS-1432 (device 0x0375): 14 ports on 32 lanes, numbered 0 to 15 without 8 and 9.
constexpr SPortLayout kCPS1432[] = {
    {0, {{4, 0, 0}, {2, 0, 0}, kNone, kNone}},
    {1, {{4, 4, 1}, {2, 4, 1}, kNone, kNone}},
    {2, {{4, 8, 2}, {2, 8, 2}, {2, 8, 2}, {2, 8, 2}}},
    {3, {{4, 12, 3}, {2, 12, 3}, {2, 12, 3}, {2, 12, 3}}},
    {0, {{4, 16, 4}, {4, 16, 4}, kNone, kNone}},
    {1, {{4, 20, 5}, {4, 20, 5}, kNone, kNone}},
    {2, {{4, 24, 6}, {4, 24, 6}, {2, 24, 6}, {4, 24, 6}}},
    {3, {{4, 28, 7}, {4, 28, 7}, {2, 28, 7}, {4, 28, 7}}},
    {0, {kNone, kNone, kNone, kNone}},
    {0, {kNone, kNone, kNone, kNone}},
    {2, {kNone, kNone, {2, 26, 6}, {1, 11, 2}}},
    {3, {kNone, kNone, {2, 30, 7}, {1, 15, 3}}},
    {0, {kNone, {2, 2, 0}, kNone, kNone}},
    {1, {kNone, {2, 6, 1}, kNone, kNone}},
    {2, {kNone, {2, 10, 2}, {2, 10, 2}, {1, 10, 2}}},
    {3, {kNone, {2, 14, 3}, {2, 14, 3}, {1, 14, 3}}},
};

// The 16-lane switches: quadrant q holds ports 4q to 4q + 3 on lanes 4q to 4q + 3, clocked by the
// PLL pair 2q and 2q + 1 (each lane picks one of the pair; the map names the first). The field
// values give one x4 port, two x2, one x2 and two x1, or four x1.
constexpr SPortLanes Layout1616(uint32_t ulPort, uint32_t ulArrangement)
{
    const uint8_t uchQuad = (uint8_t)(ulPort / 4);
    const uint8_t uchFirst = (uint8_t)(4 * uchQuad);
    const uint8_t uchPLL = (uint8_t)(2 * uchQuad);
    constexpr uint8_t kLanes[4][4] = {{4, 0, 0, 0}, {2, 0, 2, 0}, {2, 0, 1, 1}, {1, 1, 1, 1}};
    const uint8_t uchLanes = kLanes[ulArrangement][ulPort % 4];
    return uchLanes ? SPortLanes{uchLanes, (uint8_t)(uchFirst + ulPort % 4), uchPLL} : kNone;
}

// Fills the maps of a device from its layout and a value of the Quad Configuration register, whose
// field for each quadrant is ulFieldWidth bits wide, quadrant 0 in the low bits.
void MapsFromConfig(uint32_t ulConfig, uint32_t ulNumPorts, uint32_t ulFieldWidth,
                    SPortLayout (*pfnLayout)(uint32_t), HAL_QUAD_MAPS* pMaps)
{
    pMaps->ulNumPorts = ulNumPorts;
    for (uint32_t i = 0; i < HAL_GEN2_MAX_PORTS; i++)
    {
        pMaps->ulPortQuadMap[i] = HAL_QUAD_NONE;
        pMaps->ulPortPLLMap[i] = HAL_QUAD_NONE;
        pMaps->ulPortLaneLoMap[i] = HAL_QUAD_NONE;
        pMaps->ulPortLaneHiMap[i] = HAL_QUAD_NONE;
    }
    for (uint32_t ulPort = 0; ulPort < ulNumPorts; ulPort++)
    {
        const SPortLayout sLayout = pfnLayout(ulPort);
        const uint32_t ulArrangement = (ulConfig >> (ulFieldWidth * sLayout.uchQuad)) & 3u;
        const SPortLanes& sLanes = sLayout.asArrangement[ulArrangement];
        if (!sLanes.uchLanes)
            continue;
        pMaps->ulPortQuadMap[ulPort] = sLayout.uchQuad;
        pMaps->ulPortPLLMap[ulPort] = sLanes.uchPLL;
        pMaps->ulPortLaneLoMap[ulPort] = sLanes.uchFirstLane;
        pMaps->ulPortLaneHiMap[ulPort] = sLanes.uchFirstLane + sLanes.uchLanes - 1u;
    }
}

// Reads the Quad Configuration register with Stride 0 and fills the maps from it.
NVXL_STATUS FillMaps(uint8_t uchLocalPort, uint32_t ulDestID, uint8_t uchHopCount, uint32_t ulNumPorts,
                     uint32_t ulFieldWidth, SPortLayout (*pfnLayout)(uint32_t), HAL_QUAD_MAPS* pMaps)
{
    uint32_t ulConfig = 0;
    const NVXL_STATUS nStatus = HalReadReg0(uchLocalPort, ulDestID, uchHopCount, HAL_QUAD_CONFIG, &ulConfig);
    // A failed read leaves every port without lanes.
    MapsFromConfig(ulConfig, nStatus == NVXL_OK ? ulNumPorts : 0, ulFieldWidth, pfnLayout, pMaps);
    pMaps->ulNumPorts = ulNumPorts;
    return nStatus;
}

SPortLayout LayoutCPS1848(uint32_t ulPort)
{
    return kCPS1848[ulPort];
}

SPortLayout LayoutCPS1432(uint32_t ulPort)
{
    return kCPS1432[ulPort];
}

SPortLayout Layout16Lanes(uint32_t ulPort)
{
    SPortLayout sLayout{(uint8_t)(ulPort / 4), {}};
    for (uint32_t ulArrangement = 0; ulArrangement < 4; ulArrangement++)
        sLayout.asArrangement[ulArrangement] = Layout1616(ulPort, ulArrangement);
    return sLayout;
}
} // namespace

NVXL_STATUS HalBuildQuadMapsCPS1848(uint8_t uchLocalPort, uint32_t ulDestID, uint8_t uchHopCount,
                                    HAL_QUAD_MAPS* pMaps)
{
    return FillMaps(uchLocalPort, ulDestID, uchHopCount, 18, 2, LayoutCPS1848, pMaps);
}

NVXL_STATUS HalBuildQuadMapsCPS1432(uint8_t uchLocalPort, uint32_t ulDestID, uint8_t uchHopCount,
                                    HAL_QUAD_MAPS* pMaps)
{
    return FillMaps(uchLocalPort, ulDestID, uchHopCount, 16, 2, LayoutCPS1432, pMaps);
}

// The VPS-1616 has no arrangement table in the published routines (they do not list the device),
// and its manual was not available: it is taken to share the 16-lane layout and the two-bit fields
// of the CPS-1616, whose package and port count it has. Check this against the VPS-1616 manual.
NVXL_STATUS HalBuildQuadMapsVPS1616(uint8_t uchLocalPort, uint32_t ulDestID, uint8_t uchHopCount,
                                    HAL_QUAD_MAPS* pMaps)
{
    return FillMaps(uchLocalPort, ulDestID, uchHopCount, 16, 2, Layout16Lanes, pMaps);
}

// The SPS-1616 spaces its quadrant fields four bits apart.
NVXL_STATUS HalBuildQuadMapsSPS1616(uint8_t uchLocalPort, uint32_t ulDestID, uint8_t uchHopCount,
                                    HAL_QUAD_MAPS* pMaps)
{
    return FillMaps(uchLocalPort, ulDestID, uchHopCount, 16, 4, Layout16Lanes, pMaps);
}

NVXL_STATUS HalBuildQuadMapsCPS1616(uint8_t uchLocalPort, uint32_t ulDestID, uint8_t uchHopCount,
                                    HAL_QUAD_MAPS* pMaps)
{
    return FillMaps(uchLocalPort, ulDestID, uchHopCount, 16, 2, Layout16Lanes, pMaps);
}

NVXL_STATUS HalGen2PortLanes(uint16_t wDeviceID, uint32_t ulQuadConfig, uint32_t ulPort,
                             uint32_t* pulFirstLane, uint32_t* pulLanes, uint32_t* pulNumPorts)
{
    HAL_QUAD_MAPS sMaps;
    switch (wDeviceID)
    {
    case 0x0374:
        MapsFromConfig(ulQuadConfig, 18, 2, LayoutCPS1848, &sMaps);
        break;
    case 0x0375:
        MapsFromConfig(ulQuadConfig, 16, 2, LayoutCPS1432, &sMaps);
        break;
    case 0x0377:
    case 0x0379:
        MapsFromConfig(ulQuadConfig, 16, 2, Layout16Lanes, &sMaps);
        break;
    case 0x0378:
        MapsFromConfig(ulQuadConfig, 16, 4, Layout16Lanes, &sMaps);
        break;
    default:
        return NVXL_ERR_NOT_SUPPORTED;
    }
    *pulNumPorts = sMaps.ulNumPorts;
    *pulFirstLane = 0;
    *pulLanes = 0;
    if (ulPort >= sMaps.ulNumPorts)
        return NVXL_ERR_INVALID_PARAM;
    if (sMaps.ulPortLaneLoMap[ulPort] != HAL_QUAD_NONE)
    {
        *pulFirstLane = sMaps.ulPortLaneLoMap[ulPort];
        *pulLanes = sMaps.ulPortLaneHiMap[ulPort] - sMaps.ulPortLaneLoMap[ulPort] + 1u;
    }
    return NVXL_OK;
}
