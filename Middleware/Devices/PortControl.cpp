// The Port n Control register (RapidIO LP-Serial, block at 0x100) as the IDT and Tsi switches and a
// few endpoints have it: port width, configuration fields and port enables.
#include "Devices/PortControl.h"
#include "Hal/HalRegAccess.h"

#define HAL_WIDTH_NOT_KNOWN 255u
// Port types of HalGetPortWidth.
#define HAL_PORT_TYPE_SERIAL 1u

// Fields of the register (LSB-0 numbering).
#define CTL_WIDTH_SHIFT 30u
#define CTL_INIT_WIDTH_SHIFT 27u
#define CTL_OVERRIDE_SHIFT 24u
#define CTL_IMPLEMENTATION_SHIFT 11u

// The fields that HalGetPortConfig can deliver: bit 0 the parallel flag, the others the register
// field that starts at that bit.
#define CONFIG_PARALLEL 0x00000001u
#define CONFIG_FIELDS 0xA4FA0800u

static void Put(uint8_t* puchOut, uint32_t ulValue)
{
    if (puchOut)
        *puchOut = (uint8_t)ulValue;
}

void HalDecodePortWidth(uint32_t ulControl, uint8_t uchMaxWidth, uint8_t* puchPortWidth, uint8_t* puchLane,
                        uint8_t* puchMaxWidth, uint8_t* puchWidthOverride, uint32_t* pbParallel)
{
    // Initialized port width: x1 on lane 0, x1 on the redundant lane 2, or x4.
    switch ((ulControl >> CTL_INIT_WIDTH_SHIFT) & 7u)
    {
    case 0:
        Put(puchPortWidth, 1);
        Put(puchLane, 0);
        break;
    case 1:
        Put(puchPortWidth, 1);
        Put(puchLane, 2);
        break;
    case 2:
        Put(puchPortWidth, 4);
        Put(puchLane, HAL_WIDTH_NOT_KNOWN);
        break;
    default:
        Put(puchPortWidth, HAL_WIDTH_NOT_KNOWN);
        Put(puchLane, HAL_WIDTH_NOT_KNOWN);
        break;
    }
    Put(puchMaxWidth, uchMaxWidth);
    // An override to a single lane (lane 0 or lane 2) narrows the port to x1.
    const uint32_t ulOverride = (ulControl >> CTL_OVERRIDE_SHIFT) & 7u;
    Put(puchWidthOverride, (ulOverride == 2 || ulOverride == 3) ? 1u : HAL_WIDTH_NOT_KNOWN);
    if (pbParallel)
        *pbParallel = 0;
}

void HalPortWidthNotKnown(uint32_t ulPortType, uint8_t* puchPortWidth, uint8_t* puchLane,
                          uint8_t* puchMaxWidth, uint8_t* puchWidthOverride, uint32_t* pbParallel,
                          uint32_t* pulPortType)
{
    Put(puchPortWidth, HAL_WIDTH_NOT_KNOWN);
    Put(puchLane, HAL_WIDTH_NOT_KNOWN);
    Put(puchMaxWidth, HAL_WIDTH_NOT_KNOWN);
    Put(puchWidthOverride, HAL_WIDTH_NOT_KNOWN);
    if (pbParallel)
        *pbParallel = 0;
    if (pulPortType)
        *pulPortType = ulPortType;
}

NVXL_STATUS HalPortWidthFromControl(uint16_t, uint16_t, uint8_t uchLocalPort, uint32_t ulDestID,
                                    uint8_t uchHopCount, uint8_t uchPort, uint8_t* puchPortWidth,
                                    uint8_t* puchLane, uint8_t* puchMaxWidth, uint8_t* puchWidthOverride,
                                    uint32_t* pbParallel, uint32_t* pulPortType)
{
    if (pulPortType)
        *pulPortType = HAL_PORT_TYPE_SERIAL;
    uint32_t ulControl = 0;
    const NVXL_STATUS nStatus =
        HalReadReg(uchLocalPort, ulDestID, uchHopCount, HAL_PORT_CONTROL(uchPort), &ulControl);
    if (nStatus != NVXL_OK)
        return nStatus;
    // Port width support: x1 only, or x1 and x4.
    const uint32_t ulSupport = ulControl >> CTL_WIDTH_SHIFT;
    const uint8_t uchMaxWidth = ulSupport == 0 ? 1 : ulSupport == 1 ? 4 : HAL_WIDTH_NOT_KNOWN;
    HalDecodePortWidth(ulControl, uchMaxWidth, puchPortWidth, puchLane, puchMaxWidth, puchWidthOverride,
                       pbParallel);
    return NVXL_OK;
}

NVXL_STATUS HalPortConfigFromControl(uint16_t, uint16_t, uint8_t uchLocalPort, uint32_t ulDestID,
                                     uint8_t uchHopCount, uint8_t uchPort, uint32_t* pulMask,
                                     NVXL_PORT_CONFIG* pRecord)
{
    if (!pulMask || !pRecord)
        return NVXL_ERR_INVALID_PARAM;
    uint32_t ulControl = 0;
    const NVXL_STATUS nStatus =
        HalReadReg(uchLocalPort, ulDestID, uchHopCount, HAL_PORT_CONTROL(uchPort), &ulControl);
    if (nStatus != NVXL_OK)
        return nStatus;
    const uint32_t ulWanted = *pulMask & (CONFIG_PARALLEL | CONFIG_FIELDS);
    // These ports are all serial.
    if (ulWanted & CONFIG_PARALLEL)
        pRecord->bParallel = 0;
    if (ulWanted & (1u << 31))
        pRecord->ulPortWidth = ulControl >> CTL_WIDTH_SHIFT;
    if (ulWanted & (1u << 29))
        pRecord->ulInitializedWidth = (ulControl >> CTL_INIT_WIDTH_SHIFT) & 7u;
    if (ulWanted & (1u << 26))
        pRecord->ulWidthOverride = (ulControl >> CTL_OVERRIDE_SHIFT) & 7u;
    if (ulWanted & (1u << 23))
        pRecord->bPortDisable = (ulControl >> 23) & 1u;
    if (ulWanted & (1u << 22))
        pRecord->bOutputEnable = (ulControl >> 22) & 1u;
    if (ulWanted & (1u << 21))
        pRecord->bInputEnable = (ulControl >> 21) & 1u;
    if (ulWanted & (1u << 20))
        pRecord->bErrorCheckDisable = (ulControl >> 20) & 1u;
    if (ulWanted & (1u << 19))
        pRecord->bMulticastParticipant = (ulControl >> 19) & 1u;
    if (ulWanted & (1u << 17))
        pRecord->bEnumerationBoundary = (ulControl >> 17) & 1u;
    if (ulWanted & (1u << 11))
        pRecord->ulImplementation = (ulControl >> CTL_IMPLEMENTATION_SHIFT) & 0x7Fu;
    *pulMask = ulWanted;
    return NVXL_OK;
}

NVXL_STATUS HalPortEnablesInControl(uint16_t, uint16_t, uint8_t uchLocalPort, uint32_t ulDestID,
                                    uint8_t uchHopCount, uint8_t uchPort, uint32_t bInput, uint32_t bOutput)
{
    uint32_t ulControl = 0;
    const NVXL_STATUS nStatus =
        HalReadReg(uchLocalPort, ulDestID, uchHopCount, HAL_PORT_CONTROL(uchPort), &ulControl);
    if (nStatus != NVXL_OK)
        return nStatus;
    ulControl &= ~(HAL_PORT_CTL_INPUT_ENABLE | HAL_PORT_CTL_OUTPUT_ENABLE);
    if (bInput)
        ulControl |= HAL_PORT_CTL_INPUT_ENABLE;
    if (bOutput)
        ulControl |= HAL_PORT_CTL_OUTPUT_ENABLE;
    return HalWriteReg(uchLocalPort, ulDestID, uchHopCount, HAL_PORT_CONTROL(uchPort), ulControl);
}

int32_t HalHasPerPortRouting(uint16_t, uint16_t)
{
    return 1;
}
