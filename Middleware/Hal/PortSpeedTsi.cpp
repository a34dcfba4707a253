// Port speed of the Tsi56x and Tsi57x switches. Two neighbouring ports (2k and 2k + 1) share one
// SerDes macro and its control word, so a speed change of one is a speed change of both: it is only
// done while the partner port has no link to lose.
#include "Hal/HalRegAccess.h"
#include "Hal/HalStandard.h"
#include "Hal/PortSpeed.h"
#include "NVXLStatus.h"

// The SerDes control word of a port pair: at 0x130C4 on the Tsi564 and Tsi568, at 0x130C8 on the
// Tsi57x, one block of 0x100 per pair.
#define TSI56X_SERDES_CONTROL 0x130C4u
#define TSI57X_SERDES_CONTROL 0x130C8u
// Bits 1..0: the rate (0 1.25, 1 2.5, 2 3.125 GBd). Bits 3..2 hold the pair's lanes while the rate
// changes: bit 3 alone for an odd port, both bits for an even one.
#define TSI_SERDES_RATE 0x3u
#define TSI_SERDES_HOLD_ODD 0x8u
#define TSI_SERDES_HOLD_EVEN 0xCu
#define TSI_SERDES_HOLD_MASK 0xCu
#define TSI_NUM_PORTS 16u
// Settling time of the SerDes after the rate changed.
#define TSI_SPEED_SETTLE_MS 75u

static uint32_t SerdesControl(uint16_t wDeviceID, uint8_t uchPort)
{
    const uint32_t ulBase =
        (wDeviceID == 0x0564 || wDeviceID == 0x0568) ? TSI56X_SERDES_CONTROL : TSI57X_SERDES_CONTROL;
    return ulBase + 0x100u * (uint32_t)(uchPort & 0xFEu);
}

NVXL_STATUS TsiHalGetPortSpeedMHz(uint16_t, uint16_t wDeviceID, uint8_t uchLocalPort, uint32_t ulDestID,
                                  uint8_t uchHopCount, uint8_t uchPort, uint32_t* pulSpeed)
{
    if (!pulSpeed || uchPort >= TSI_NUM_PORTS)
        return NVXL_ERR_INVALID_PARAM;
    uint32_t ulValue = 0;
    const NVXL_STATUS nStatus =
        HalReadReg(uchLocalPort, ulDestID, uchHopCount, SerdesControl(wDeviceID, uchPort), &ulValue);
    if (nStatus != NVXL_OK)
        return nStatus;
    static const uint32_t s_aulSpeeds[4] = {1250, 2500, 3125, 0};
    *pulSpeed = s_aulSpeeds[ulValue & TSI_SERDES_RATE];
    return NVXL_OK;
}

NVXL_STATUS TsiHalSetPortSpeedMHz(uint16_t wVendorID, uint16_t wDeviceID, uint8_t uchLocalPort,
                                  uint32_t ulDestID, uint8_t uchHopCount, uint8_t uchPort, uint32_t ulSpeed)
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
        return NVXL_ERR_NOT_SUPPORTED;
    }
    // Port 0 is never changed: it carries the management link of the switch.
    if (uchPort == 0)
        return NVXL_ERR_NOT_SUPPORTED;
    if (uchPort >= TSI_NUM_PORTS)
        return NVXL_ERR_INVALID_PARAM;

    const uint8_t uchPartner = (uint8_t)(uchPort ^ 1u);
    uint32_t bTrained = 0;
    NVXL_STATUS nStatus =
        HalIsPortTrained(wVendorID, wDeviceID, uchLocalPort, ulDestID, uchHopCount, uchPartner, &bTrained);
    if (nStatus != NVXL_OK)
    {
        HalDebugPrint(3, "Unable to test if port %d is trained. Error %d '%s'\n", uchPartner, nStatus,
                      HalErrorText(nStatus));
        return nStatus;
    }
    if (bTrained)
    {
        HalDebugPrint(3, "Port %d is trained, so not messing with this one\n", uchPartner);
        return NVXL_ERR_NOT_SUPPORTED;
    }

    // Hold the lanes, change the rate, release them.
    const uint32_t ulOffset = SerdesControl(wDeviceID, uchPort);
    uint32_t ulValue = 0;
    nStatus = HalReadReg(uchLocalPort, ulDestID, uchHopCount, ulOffset, &ulValue);
    if (nStatus != NVXL_OK)
        return nStatus;
    ulValue |= (uchPort & 1u) ? TSI_SERDES_HOLD_ODD : TSI_SERDES_HOLD_EVEN;
    nStatus = HalWriteReg(uchLocalPort, ulDestID, uchHopCount, ulOffset, ulValue);
    if (nStatus != NVXL_OK)
        return nStatus;
    ulValue = (ulValue & ~TSI_SERDES_RATE) | ulRate;
    nStatus = HalWriteReg(uchLocalPort, ulDestID, uchHopCount, ulOffset, ulValue);
    if (nStatus != NVXL_OK)
        return nStatus;
    ulValue &= ~TSI_SERDES_HOLD_MASK;
    nStatus = HalWriteReg(uchLocalPort, ulDestID, uchHopCount, ulOffset, ulValue);
    if (nStatus != NVXL_OK)
        return nStatus;
    HalSleep(TSI_SPEED_SETTLE_MS);
    return NVXL_OK;
}
