// Port speed of the IDT switches. Gen2 ports run at the rate of their lanes, in the rate family of
// the PLL that clocks them (1.25/2.5/5 GBd or 3.125/6.25 GBd); a port can only move to the other
// family by moving its PLL, which drags every other port on that PLL along. Gen1 ports take their
// speed from the quad control register they share with up to three neighbours.
#include "Hal/HalRegAccess.h"
#include "Hal/HalStandard.h"
#include "Hal/PortSpeed.h"

// Gen2 PLL and lane control registers.
#define GEN2_PLL_CONTROL(ulPLL) (0xFF0000u + 0x10u * (ulPLL))
#define GEN2_LANE_CONTROL(ulLane) (0xFF8000u + 0x100u * (ulLane))
// Bit 0 of a PLL register: 0 for the 1.25/2.5/5 GBd family, 1 for the 3.125/6.25 GBd family.
#define GEN2_PLL_SELECT 0x1u
// Transmit (bits 4..3) and receive (bits 2..1) rate fields of a lane register.
#define GEN2_LANE_RATE_MASK 0x1Eu
#define GEN2_LANE_RATE_HALF 10u
#define GEN2_LANE_RATE_FULL 20u
// On the 16-lane switches a lane picks the second PLL of its pair with these two bits (transmit
// and receive).
#define CPS1616_LANE_PLL_SELECT 0xC0000000u
// The Device Reset register: one bit a port (bits 17..0), one bit a PLL from bit 18 up, and bit 31
// to carry out the reset of what is selected (CPS1848_DEVICE_RESET_CTL in IDT's register header).
#define GEN2_DEVICE_RESET 0xF20300u
#define GEN2_RESET_PLL_SHIFT 18u
#define GEN2_RESET_DO 0x80000000u
// A trained neighbour may be in the middle of retraining: it gets this long to settle.
#define GEN2_RETEST_MS 175u
// Settling time of a port after a speed change.
#define HAL_SPEED_SETTLE_MS 75u

// Device IDs of the Gen2 switches.
#define IDT_CPS1848 0x0374u
#define IDT_CPS1432 0x0375u
#define IDT_VPS1616 0x0377u
#define IDT_SPS1616 0x0378u
#define IDT_CPS1616 0x0379u

static const char s_szNoPort[] = "Port does not exist given current quad config settings.\n";

// The maps of the CPS/VPS-1848, CPS-1432 and VPS-1616; other devices are not of this group.
static NVXL_STATUS BuildMaps1848Group(uint16_t wDeviceID, uint8_t uchLocalPort, uint32_t ulDestID,
                                      uint8_t uchHopCount, HAL_QUAD_MAPS* pMaps)
{
    switch (wDeviceID)
    {
    case IDT_CPS1848:
        return HalBuildQuadMapsCPS1848(uchLocalPort, ulDestID, uchHopCount, pMaps);
    case IDT_CPS1432:
        return HalBuildQuadMapsCPS1432(uchLocalPort, ulDestID, uchHopCount, pMaps);
    case IDT_VPS1616:
        return HalBuildQuadMapsVPS1616(uchLocalPort, ulDestID, uchHopCount, pMaps);
    default:
        return NVXL_ERR_DRIVER_PARAM;
    }
}

// The maps of the SPS-1616 and CPS-1616.
static NVXL_STATUS BuildMaps1616Group(uint16_t wDeviceID, uint8_t uchLocalPort, uint32_t ulDestID,
                                      uint8_t uchHopCount, HAL_QUAD_MAPS* pMaps)
{
    switch (wDeviceID)
    {
    case IDT_SPS1616:
        return HalBuildQuadMapsSPS1616(uchLocalPort, ulDestID, uchHopCount, pMaps);
    case IDT_CPS1616:
        return HalBuildQuadMapsCPS1616(uchLocalPort, ulDestID, uchHopCount, pMaps);
    default:
        return NVXL_ERR_DRIVER_PARAM;
    }
}

// Whether the port has lanes in the present arrangement.
static int PortExists(const HAL_QUAD_MAPS* pMaps, uint32_t ulPort)
{
    return ulPort < pMaps->ulNumPorts && pMaps->ulPortQuadMap[ulPort] < 4;
}

static void LogMaps(const HAL_QUAD_MAPS* pMaps)
{
    for (uint32_t i = 0; i < pMaps->ulNumPorts; i++)
    {
        HalDebugPrint(2, "ulPortQuadMap[%d] = %d\n", (int)i, (int)pMaps->ulPortQuadMap[i]);
        HalDebugPrint(2, "ulPortPLLMap[%d] = %d\n", (int)i, (int)pMaps->ulPortPLLMap[i]);
        HalDebugPrint(2, "ulPortLaneLoMap[%d] = %d\n", (int)i, (int)pMaps->ulPortLaneLoMap[i]);
        HalDebugPrint(2, "ulPortLaneHiMap[%d] = %d\n", (int)i, (int)pMaps->ulPortLaneHiMap[i]);
    }
}

// The speed of one lane from its rate field and the rate family of its PLL; 0 when the transmit
// and receive rates differ or the rate does not exist in that family.
static uint32_t LaneSpeed(uint32_t ulPllSelect, uint32_t ulLane)
{
    const uint32_t ulTx = (ulLane >> 3) & 3u;
    const uint32_t ulRx = (ulLane >> 1) & 3u;
    if (ulTx != ulRx)
        return 0;
    if (ulPllSelect)
        return ulTx == 0 ? 0 : ulTx == 1 ? 3125 : 6250;
    return ulTx == 0 ? 1250 : ulTx == 1 ? 2500 : 5000;
}

// The speed of a port's lanes, 0 when they disagree. With bPllFromLane the rate family comes from
// each lane's own PLL choice (16-lane switches), otherwise from ulPllSelect.
static NVXL_STATUS ReadLanesSpeed(uint8_t uchLocalPort, uint32_t ulDestID, uint8_t uchHopCount,
                                  const HAL_QUAD_MAPS* pMaps, uint32_t ulPort, int bPllFromLane,
                                  uint32_t ulPllSelect, uint32_t* pulSpeed)
{
    uint32_t ulSpeed = 0;
    for (uint32_t ulLane = pMaps->ulPortLaneLoMap[ulPort]; ulLane <= pMaps->ulPortLaneHiMap[ulPort]; ulLane++)
    {
        uint32_t ulValue = 0;
        const NVXL_STATUS nStatus =
            HalReadReg0(uchLocalPort, ulDestID, uchHopCount, GEN2_LANE_CONTROL(ulLane), &ulValue);
        if (nStatus != NVXL_OK)
            return nStatus;
        uint32_t ulSelect = ulPllSelect;
        if (bPllFromLane)
        {
            const uint32_t ulLanePll = ulValue & CPS1616_LANE_PLL_SELECT;
            if (ulLanePll != 0 && ulLanePll != CPS1616_LANE_PLL_SELECT)
            {
                ulSpeed = 0;
                break;
            }
            ulSelect = ulLanePll ? 1u : 0u;
        }
        const uint32_t ulLaneSpeed = LaneSpeed(ulSelect, ulValue);
        if (ulLaneSpeed == 0 || (ulSpeed != 0 && ulLaneSpeed != ulSpeed))
        {
            ulSpeed = 0;
            break;
        }
        ulSpeed = ulLaneSpeed;
    }
    *pulSpeed = ulSpeed;
    return NVXL_OK;
}

NVXL_STATUS IDT1848HalGetPortSpeedMHz(uint16_t, uint16_t wDeviceID, uint8_t uchLocalPort, uint32_t ulDestID,
                                      uint8_t uchHopCount, uint8_t uchPort, uint32_t* pulSpeed)
{
    if (!pulSpeed)
        return NVXL_ERR_INVALID_PARAM;
    HAL_QUAD_MAPS sMaps;
    NVXL_STATUS nStatus = BuildMaps1848Group(wDeviceID, uchLocalPort, ulDestID, uchHopCount, &sMaps);
    if (nStatus != NVXL_OK)
        return nStatus;
    HalDebugPrint(2, "ulNumPorts = %d\n", (int)sMaps.ulNumPorts);
    if (uchPort >= sMaps.ulNumPorts)
        return NVXL_ERR_DRIVER_PARAM;
    // A port without lanes has no speed to tell.
    *pulSpeed = 0;
    if (!PortExists(&sMaps, uchPort))
    {
        HalDebugPrint(2, "%s", s_szNoPort);
        return NVXL_OK;
    }
    uint32_t ulPll = 0;
    nStatus = HalReadReg(uchLocalPort, ulDestID, uchHopCount, GEN2_PLL_CONTROL(sMaps.ulPortPLLMap[uchPort]),
                         &ulPll);
    if (nStatus != NVXL_OK)
        return nStatus;
    return ReadLanesSpeed(uchLocalPort, ulDestID, uchHopCount, &sMaps, uchPort, 0, ulPll & GEN2_PLL_SELECT,
                          pulSpeed);
}

NVXL_STATUS IDTCPS1616HalGetPortSpeedMHz(uint16_t wVendorID, uint16_t wDeviceID, uint8_t uchLocalPort,
                                         uint32_t ulDestID, uint8_t uchHopCount, uint8_t uchPort,
                                         uint32_t* pulSpeed)
{
    HalDebugPrint(2, "IDTCPS1616HalGetPortSpeedMHz(V:%d D:%d LP:%d DId:%d HC:%d Port:%d\n", wVendorID,
                  wDeviceID, uchLocalPort, (int)ulDestID, uchHopCount, uchPort);
    if (!pulSpeed)
        return NVXL_ERR_INVALID_PARAM;
    HAL_QUAD_MAPS sMaps;
    const NVXL_STATUS nStatus = BuildMaps1616Group(wDeviceID, uchLocalPort, ulDestID, uchHopCount, &sMaps);
    if (nStatus != NVXL_OK)
        return nStatus;
    HalDebugPrint(2, "ulNumPorts = %d\n", (int)sMaps.ulNumPorts);
    if (uchPort >= sMaps.ulNumPorts)
        return NVXL_ERR_DRIVER_PARAM;
    *pulSpeed = 0;
    if (!PortExists(&sMaps, uchPort))
    {
        HalDebugPrint(2, "%s", s_szNoPort);
        return NVXL_OK;
    }
    // The speed setting writes the PLL choice into every lane and never touches the PLL registers,
    // so the lanes alone tell the rate family here.
    return ReadLanesSpeed(uchLocalPort, ulDestID, uchHopCount, &sMaps, uchPort, 1, 0, pulSpeed);
}

// PLL rate family and lane rate of a speed; 0 for a speed the Gen2 lanes do not run at.
static int Gen2Setting(uint32_t ulSpeed, uint32_t* pulPllSelect, uint32_t* pulRate)
{
    switch (ulSpeed)
    {
    case 1250:
        *pulPllSelect = 0;
        *pulRate = 0;
        return 1;
    case 2500:
        *pulPllSelect = 0;
        *pulRate = GEN2_LANE_RATE_HALF;
        return 1;
    case 3125:
        *pulPllSelect = 1;
        *pulRate = GEN2_LANE_RATE_HALF;
        return 1;
    case 5000:
        *pulPllSelect = 0;
        *pulRate = GEN2_LANE_RATE_FULL;
        return 1;
    case 6250:
        *pulPllSelect = 1;
        *pulRate = GEN2_LANE_RATE_FULL;
        return 1;
    default:
        return 0;
    }
}

// A port whose link would drop when its PLL changes. A neighbour that is still trained after a
// second look keeps the PLL as it is.
static NVXL_STATUS CheckPllNeighbours(uint16_t wVendorID, uint16_t wDeviceID, uint8_t uchLocalPort,
                                      uint32_t ulDestID, uint8_t uchHopCount, const HAL_QUAD_MAPS* pMaps,
                                      uint32_t ulPort)
{
    const uint32_t ulPll = pMaps->ulPortPLLMap[ulPort];
    for (uint32_t i = 0; i < pMaps->ulNumPorts; i++)
    {
        if (i == ulPort || !PortExists(pMaps, i) || pMaps->ulPortPLLMap[i] != ulPll)
            continue;
        uint32_t bTrained = 0;
        NVXL_STATUS nStatus = HalIsPortTrained(wVendorID, wDeviceID, uchLocalPort, ulDestID, uchHopCount,
                                               (uint8_t)i, &bTrained);
        if (nStatus != NVXL_OK)
            return nStatus;
        if (!bTrained)
            continue;
        HalSleep(GEN2_RETEST_MS);
        nStatus = HalIsPortTrained(wVendorID, wDeviceID, uchLocalPort, ulDestID, uchHopCount, (uint8_t)i,
                                   &bTrained);
        if (nStatus != NVXL_OK)
            return nStatus;
        if (bTrained)
        {
            HalDebugPrint(2, "Trained, so can't change this port speed.\n");
            return NVXL_ERR_NOT_SUPPORTED;
        }
    }
    return NVXL_OK;
}

// Sets the Port Disable bit of a port whose output is on.
static NVXL_STATUS DisablePort(uint8_t uchLocalPort, uint32_t ulDestID, uint8_t uchHopCount, uint8_t uchPort)
{
    uint32_t ulControl = 0;
    NVXL_STATUS nStatus =
        HalReadReg(uchLocalPort, ulDestID, uchHopCount, HAL_PORT_CONTROL(uchPort), &ulControl);
    if (nStatus != NVXL_OK)
        return nStatus;
    if (ulControl & HAL_PORT_CTL_OUTPUT_ENABLE)
    {
        HalDebugPrint(2, "Disable port %d\n", uchPort);
        nStatus = HalWriteReg(uchLocalPort, ulDestID, uchHopCount, HAL_PORT_CONTROL(uchPort),
                              ulControl | HAL_PORT_CTL_DISABLE);
        if (nStatus != NVXL_OK)
            return nStatus;
    }
    HalDebugPrint(2, "Port disabled\n");
    return NVXL_OK;
}

static NVXL_STATUS EnablePort(uint8_t uchLocalPort, uint32_t ulDestID, uint8_t uchHopCount, uint8_t uchPort)
{
    HalDebugPrint(2, "Re-enabling the port\n");
    uint32_t ulControl = 0;
    const NVXL_STATUS nStatus =
        HalReadReg(uchLocalPort, ulDestID, uchHopCount, HAL_PORT_CONTROL(uchPort), &ulControl);
    if (nStatus != NVXL_OK)
        return nStatus;
    return HalWriteReg(uchLocalPort, ulDestID, uchHopCount, HAL_PORT_CONTROL(uchPort),
                       ulControl & ~HAL_PORT_CTL_DISABLE);
}

static NVXL_STATUS ChangePll(uint8_t uchLocalPort, uint32_t ulDestID, uint8_t uchHopCount, uint32_t ulPll,
                             uint32_t ulPllSelect)
{
    HalDebugPrint(2, "Change PLL selection\n");
    uint32_t ulValue = 0;
    const NVXL_STATUS nStatus =
        HalReadReg(uchLocalPort, ulDestID, uchHopCount, GEN2_PLL_CONTROL(ulPll), &ulValue);
    if (nStatus != NVXL_OK)
        return nStatus;
    return HalWriteReg(uchLocalPort, ulDestID, uchHopCount, GEN2_PLL_CONTROL(ulPll),
                       (ulValue & ~GEN2_PLL_SELECT) | ulPllSelect);
}

// The lowest-numbered existing port on the port's PLL.
static int IsFirstOnPll(const HAL_QUAD_MAPS* pMaps, uint32_t ulPort)
{
    for (uint32_t i = 0; i < ulPort; i++)
    {
        if (PortExists(pMaps, i) && pMaps->ulPortPLLMap[i] == pMaps->ulPortPLLMap[ulPort])
            return 0;
    }
    return 1;
}

NVXL_STATUS IDT1848HalSetPortSpeedMHz(uint16_t wVendorID, uint16_t wDeviceID, uint8_t uchLocalPort,
                                      uint32_t ulDestID, uint8_t uchHopCount, uint8_t uchPort,
                                      uint32_t ulSpeed)
{
    HalDebugPrint(2, "IDT1848HalSetPortSpeedMHz(V:%d D:%d LP:%d DId:%d HC:%d Port:%d Spd:%d\n", wVendorID,
                  wDeviceID, uchLocalPort, (int)ulDestID, uchHopCount, uchPort, (int)ulSpeed);
    HAL_QUAD_MAPS sMaps;
    NVXL_STATUS nStatus = BuildMaps1848Group(wDeviceID, uchLocalPort, ulDestID, uchHopCount, &sMaps);
    if (nStatus != NVXL_OK)
        return nStatus;
    LogMaps(&sMaps);
    if (!PortExists(&sMaps, uchPort))
    {
        HalDebugPrint(2, "%s", s_szNoPort);
        return NVXL_ERR_NOT_SUPPORTED;
    }
    uint32_t ulPllSelect = 0, ulRate = 0;
    if (!Gen2Setting(ulSpeed, &ulPllSelect, &ulRate))
        return NVXL_ERR_DRIVER_PARAM;
    const uint32_t ulPll = sMaps.ulPortPLLMap[uchPort];

    HalDebugPrint(2, "determine current PLL setting\n");
    uint32_t ulPllValue = 0;
    nStatus = HalReadReg(uchLocalPort, ulDestID, uchHopCount, GEN2_PLL_CONTROL(ulPll), &ulPllValue);
    if (nStatus != NVXL_OK)
        return nStatus;
    const uint32_t ulCurrentSelect = ulPllValue & GEN2_PLL_SELECT;
    const int bPllChange = ulCurrentSelect != ulPllSelect;
    if (bPllChange)
    {
        nStatus =
            CheckPllNeighbours(wVendorID, wDeviceID, uchLocalPort, ulDestID, uchHopCount, &sMaps, uchPort);
        if (nStatus != NVXL_OK)
            return nStatus;
    }

    HalDebugPrint(2, "Disable the port that we are going to change\n");
    nStatus = DisablePort(uchLocalPort, ulDestID, uchHopCount, uchPort);
    if (nStatus != NVXL_OK)
        return nStatus;

    HalDebugPrint(2, "Determine current speed for the port\n");
    uint32_t ulCurrentSpeed = 0;
    if (!IsFirstOnPll(&sMaps, uchPort))
    {
        nStatus = ReadLanesSpeed(uchLocalPort, ulDestID, uchHopCount, &sMaps, uchPort, 0, ulCurrentSelect,
                                 &ulCurrentSpeed);
        if (nStatus != NVXL_OK)
            return nStatus;
    }

    // Lanes at 1.25 GBd still run on the old PLL family; stepping them up to 3.125 or 6.25 GBd moves
    // the PLL first, so that the lanes never see a rate their PLL cannot give.
    int bPllDone = 0;
    if (bPllChange && ulCurrentSpeed == 1250 && (ulSpeed == 3125 || ulSpeed == 6250))
    {
        nStatus = ChangePll(uchLocalPort, ulDestID, uchHopCount, ulPll, ulPllSelect);
        if (nStatus != NVXL_OK)
            return nStatus;
        bPllDone = 1;
    }

    HalDebugPrint(2, "update the port speed for the port\n");
    for (uint32_t ulLane = sMaps.ulPortLaneLoMap[uchPort]; ulLane <= sMaps.ulPortLaneHiMap[uchPort]; ulLane++)
    {
        uint32_t ulValue = 0;
        nStatus = HalReadReg0(uchLocalPort, ulDestID, uchHopCount, GEN2_LANE_CONTROL(ulLane), &ulValue);
        if (nStatus != NVXL_OK)
            return nStatus;
        nStatus = HalWriteReg0(uchLocalPort, ulDestID, uchHopCount, GEN2_LANE_CONTROL(ulLane),
                               (ulValue & ~GEN2_LANE_RATE_MASK) | ulRate);
        if (nStatus != NVXL_OK)
            return nStatus;
    }

    if (bPllChange && !bPllDone)
    {
        nStatus = ChangePll(uchLocalPort, ulDestID, uchHopCount, ulPll, ulPllSelect);
        if (nStatus != NVXL_OK)
            return nStatus;
    }

    if (bPllChange)
    {
        // A new PLL rate reaches the lanes only through a reset of the PLL and of its ports.
        HalDebugPrint(2, "Reset the port to allow the PLL and lane rate changes to take effect\n");
        uint32_t ulReset = 0;
        nStatus = HalReadReg(uchLocalPort, ulDestID, uchHopCount, GEN2_DEVICE_RESET, &ulReset);
        if (nStatus != NVXL_OK)
            return nStatus;
        for (uint32_t i = 0; i < sMaps.ulNumPorts; i++)
        {
            if (PortExists(&sMaps, i) && sMaps.ulPortPLLMap[i] == ulPll)
                ulReset |= 1u << i;
        }
        ulReset |= (1u << (GEN2_RESET_PLL_SHIFT + ulPll)) | GEN2_RESET_DO;
        nStatus = HalWriteReg(uchLocalPort, ulDestID, uchHopCount, GEN2_DEVICE_RESET, ulReset);
        if (nStatus != NVXL_OK)
            return nStatus;
    }

    nStatus = EnablePort(uchLocalPort, ulDestID, uchHopCount, uchPort);
    if (nStatus != NVXL_OK)
        return nStatus;
    HalDebugPrint(2, "IDT1848HalSetPortSpeedMHz Done\n");
    HalSleep(HAL_SPEED_SETTLE_MS);
    return NVXL_OK;
}

NVXL_STATUS IDTCPS1616HalSetPortSpeedMHz(uint16_t wVendorID, uint16_t wDeviceID, uint8_t uchLocalPort,
                                         uint32_t ulDestID, uint8_t uchHopCount, uint8_t uchPort,
                                         uint32_t ulSpeed)
{
    HalDebugPrint(2, "IDTCPS1616HalSetPortSpeedMHz(V:%d D:%d LP:%d DId:%d HC:%d Port:%d Spd:%d\n", wVendorID,
                  wDeviceID, uchLocalPort, (int)ulDestID, uchHopCount, uchPort, (int)ulSpeed);
    HAL_QUAD_MAPS sMaps;
    NVXL_STATUS nStatus = BuildMaps1616Group(wDeviceID, uchLocalPort, ulDestID, uchHopCount, &sMaps);
    if (nStatus != NVXL_OK)
        return nStatus;
    LogMaps(&sMaps);
    if (!PortExists(&sMaps, uchPort))
    {
        HalDebugPrint(2, "%s", s_szNoPort);
        return NVXL_ERR_NOT_SUPPORTED;
    }
    uint32_t ulPllSelect = 0, ulRate = 0;
    if (!Gen2Setting(ulSpeed, &ulPllSelect, &ulRate))
        return NVXL_ERR_DRIVER_PARAM;
    // Each lane chooses between the two PLLs of its quadrant, which stay set up one for each rate
    // family: no PLL moves and no other port is disturbed.
    const uint32_t ulLaneSetting = ulRate | (ulPllSelect ? CPS1616_LANE_PLL_SELECT : 0u);

    HalDebugPrint(2, "Disable the port\n");
    nStatus = DisablePort(uchLocalPort, ulDestID, uchHopCount, uchPort);
    if (nStatus != NVXL_OK)
        return nStatus;

    HalDebugPrint(2, "Set PLL and lane rate for all lanes\n");
    for (uint32_t ulLane = sMaps.ulPortLaneLoMap[uchPort]; ulLane <= sMaps.ulPortLaneHiMap[uchPort]; ulLane++)
    {
        uint32_t ulValue = 0;
        nStatus = HalReadReg0(uchLocalPort, ulDestID, uchHopCount, GEN2_LANE_CONTROL(ulLane), &ulValue);
        if (nStatus != NVXL_OK)
            return nStatus;
        ulValue &= ~(CPS1616_LANE_PLL_SELECT | GEN2_LANE_RATE_MASK);
        nStatus = HalWriteReg0(uchLocalPort, ulDestID, uchHopCount, GEN2_LANE_CONTROL(ulLane),
                               ulValue | ulLaneSetting);
        if (nStatus != NVXL_OK)
            return nStatus;
    }
    return EnablePort(uchLocalPort, ulDestID, uchHopCount, uchPort);
}

// ---- Gen1 -------------------------------------------------------------------------------------

#define GEN1_QUAD_CONTROL 0xFF0000u
#define GEN1_QUAD_STRIDE 0x1000u
// The most quad registers a Gen1 switch has; a speed change always reads them all.
#define GEN1_MAX_QUADS 10u
// Bit 5: the quad runs as four x1 ports (one port otherwise). Bit 6: forced reinitialisation.
// Bits 1..0: the speed.
#define GEN1_QUAD_FOUR_PORTS 0x20u
#define GEN1_QUAD_REINIT 0x40u
#define GEN1_QUAD_SPEED 0x3u

// Quad registers of a Gen1 device. The 70K2000 shares the Gen1 quad registers, but its count could
// not be found in any published source: it reads all ten, as a speed change does on every device.
static uint32_t Gen1NumQuads(uint16_t wDeviceID)
{
    switch (wDeviceID)
    {
    case 0x035A:
    case 0x035D:
        return 3;
    case 0x035B:
        return 4;
    case 0x035C:
        return 2;
    case 0x035E:
        return 10;
    case 0x035F:
        return 6;
    default:
        return GEN1_MAX_QUADS;
    }
}

// Reads the quad registers and numbers the ports in quad order: a quad of four x1 ports gives four
// ports, any other quad one. apuchQuadOfPort has room for four ports a quad.
static NVXL_STATUS Gen1PortTable(uint8_t uchLocalPort, uint32_t ulDestID, uint8_t uchHopCount,
                                 uint32_t ulNumQuads, uint32_t* aulQuads, uint8_t* auchQuadOfPort,
                                 uint32_t* pulNumPorts)
{
    const NVXL_STATUS nStatus = MaintRead(uchLocalPort, ulDestID, uchHopCount, GEN1_QUAD_CONTROL, aulQuads,
                                          ulNumQuads, 4, GEN1_QUAD_STRIDE);
    if (nStatus != NVXL_OK)
        return nStatus;
    uint32_t ulPorts = 0;
    for (uint32_t r = 0; r < ulNumQuads; r++)
    {
        const uint32_t ulCount = (aulQuads[r] & GEN1_QUAD_FOUR_PORTS) ? 4 : 1;
        for (uint32_t k = 0; k < ulCount; k++)
            auchQuadOfPort[ulPorts++] = (uint8_t)r;
    }
    *pulNumPorts = ulPorts;
    return NVXL_OK;
}

NVXL_STATUS IDTGen1HalGetPortSpeedMHz(uint16_t, uint16_t wDeviceID, uint8_t uchLocalPort, uint32_t ulDestID,
                                      uint8_t uchHopCount, uint8_t uchPort, uint32_t* pulSpeed)
{
    if (!pulSpeed)
        return NVXL_ERR_INVALID_PARAM;
    uint32_t aulQuads[GEN1_MAX_QUADS];
    uint8_t auchQuadOfPort[4 * GEN1_MAX_QUADS];
    uint32_t ulNumPorts = 0;
    const NVXL_STATUS nStatus = Gen1PortTable(uchLocalPort, ulDestID, uchHopCount, Gen1NumQuads(wDeviceID),
                                              aulQuads, auchQuadOfPort, &ulNumPorts);
    if (nStatus != NVXL_OK)
        return nStatus;
    if (uchPort >= ulNumPorts)
        return NVXL_ERR_INVALID_PARAM;
    static const uint32_t s_aulSpeeds[4] = {1250, 2500, 3125, 0};
    *pulSpeed = s_aulSpeeds[aulQuads[auchQuadOfPort[uchPort]] & GEN1_QUAD_SPEED];
    return NVXL_OK;
}

NVXL_STATUS IDTGen1HalSetPortSpeedMHz(uint16_t wVendorID, uint16_t wDeviceID, uint8_t uchLocalPort,
                                      uint32_t ulDestID, uint8_t uchHopCount, uint8_t uchPort,
                                      uint32_t ulSpeed)
{
    uint32_t ulRate;
    switch (ulSpeed)
    {
    case 1250:
        ulRate = 0;
        break;
    case 2500:
        ulRate = 1;
        break;
    case 3125:
        ulRate = 2;
        break;
    default:
        return NVXL_ERR_INVALID_PARAM;
    }
    uint32_t aulQuads[GEN1_MAX_QUADS];
    uint8_t auchQuadOfPort[4 * GEN1_MAX_QUADS];
    uint32_t ulNumPorts = 0;
    NVXL_STATUS nStatus = Gen1PortTable(uchLocalPort, ulDestID, uchHopCount, GEN1_MAX_QUADS, aulQuads,
                                        auchQuadOfPort, &ulNumPorts);
    if (nStatus != NVXL_OK)
        return nStatus;
    if (uchPort >= ulNumPorts)
        return NVXL_ERR_INVALID_PARAM;
    const uint32_t ulQuad = auchQuadOfPort[uchPort];
    // The four ports of a shared quad change speed together: none of the others may be in use.
    if (aulQuads[ulQuad] & GEN1_QUAD_FOUR_PORTS)
    {
        for (uint32_t i = 0; i < ulNumPorts; i++)
        {
            if (i == uchPort || auchQuadOfPort[i] != ulQuad)
                continue;
            uint32_t bTrained = 0;
            nStatus = HalIsPortTrained(wVendorID, wDeviceID, uchLocalPort, ulDestID, uchHopCount, (uint8_t)i,
                                       &bTrained);
            if (nStatus != NVXL_OK)
                return nStatus;
            if (bTrained)
                return NVXL_ERR_NOT_SUPPORTED;
        }
    }
    const uint32_t ulValue = (aulQuads[ulQuad] & ~(GEN1_QUAD_REINIT | GEN1_QUAD_SPEED)) | ulRate;
    return HalWriteReg(uchLocalPort, ulDestID, uchHopCount, GEN1_QUAD_CONTROL + GEN1_QUAD_STRIDE * ulQuad,
                       ulValue);
}
