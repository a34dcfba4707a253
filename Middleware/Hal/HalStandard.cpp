// Standard RapidIO behaviour of the device operations: identity, plain registers, time-outs,
// component tag, device lock, multicast and the LP-Serial port registers.
#include "HalStandard.h"
#include "HalTestHooks.h"

#include <time.h>

// One word of the configuration space, Stride 4.
static NVXL_STATUS ReadReg(uint8_t uchLocalPort, uint32_t ulDestID, uint8_t uchHopCount, uint32_t ulOffset,
                           uint32_t* pulValue)
{
    return MaintRead(uchLocalPort, ulDestID, uchHopCount, ulOffset, pulValue, 1, 4, 4);
}

static NVXL_STATUS WriteReg(uint8_t uchLocalPort, uint32_t ulDestID, uint8_t uchHopCount, uint32_t ulOffset,
                            uint32_t ulValue)
{
    return MaintWrite(uchLocalPort, ulDestID, uchHopCount, ulOffset, &ulValue, 1, 4, 4);
}

// One word of an extended features block: these are accessed with Stride 0.
static NVXL_STATUS ReadExtReg(uint8_t uchLocalPort, uint32_t ulDestID, uint8_t uchHopCount, uint32_t ulOffset,
                              uint32_t* pulValue)
{
    return MaintRead(uchLocalPort, ulDestID, uchHopCount, ulOffset, pulValue, 1, 4, 0);
}

static NVXL_STATUS WriteExtReg(uint8_t uchLocalPort, uint32_t ulDestID, uint8_t uchHopCount,
                               uint32_t ulOffset, uint32_t ulValue)
{
    return MaintWrite(uchLocalPort, ulDestID, uchHopCount, ulOffset, &ulValue, 1, 4, 0);
}

static void RealSleep(uint32_t ulMilliseconds)
{
    struct timespec sWait;
    sWait.tv_sec = (time_t)(ulMilliseconds / 1000u);
    sWait.tv_nsec = (long)(ulMilliseconds % 1000u) * 1000000L;
    while (nanosleep(&sWait, &sWait) != 0)
    {
    }
}

static HAL_SLEEP_FN g_pfnHalSleep = RealSleep;

void HalSetSleepHook(HAL_SLEEP_FN pfnSleep)
{
    g_pfnHalSleep = pfnSleep ? pfnSleep : RealSleep;
}

void HalSleep(uint32_t ulMilliseconds)
{
    g_pfnHalSleep(ulMilliseconds);
}

// ---- Identity ----------------------------------------------------------------------------------

NVXL_STATUS HalStdGetDeviceID(uint16_t, uint16_t, uint8_t uchLocalPort, uint32_t ulDestID,
                              uint8_t uchHopCount, uint16_t* pwSmall, uint16_t* pwLarge)
{
    uint32_t ulValue = 0;
    const NVXL_STATUS nStatus = ReadReg(uchLocalPort, ulDestID, uchHopCount, RIO_BASE_DEVICE_ID, &ulValue);
    if (nStatus != NVXL_OK)
        return nStatus;
    if (pwSmall)
        *pwSmall = (uint16_t)((ulValue >> 16) & 0xFFu);
    if (pwLarge)
        *pwLarge = (uint16_t)(ulValue & 0xFFFFu);
    return NVXL_OK;
}

NVXL_STATUS HalStdSetDeviceID(uint16_t, uint16_t, uint8_t uchLocalPort, uint32_t ulDestID,
                              uint8_t uchHopCount, const uint16_t* pwSmall, const uint16_t* pwLarge)
{
    uint32_t ulValue = 0;
    const NVXL_STATUS nStatus = ReadReg(uchLocalPort, ulDestID, uchHopCount, RIO_BASE_DEVICE_ID, &ulValue);
    if (nStatus != NVXL_OK)
        return nStatus;
    if (pwSmall)
        ulValue = (ulValue & ~0x00FF0000u) | ((uint32_t)(*pwSmall & 0xFFu) << 16);
    if (pwLarge)
        ulValue = (ulValue & ~0x0000FFFFu) | *pwLarge;
    return WriteReg(uchLocalPort, ulDestID, uchHopCount, RIO_BASE_DEVICE_ID, ulValue);
}

NVXL_STATUS HalStdGetAssemblyInfo(uint16_t, uint16_t, uint8_t uchLocalPort, uint32_t ulDestID,
                                  uint8_t uchHopCount, uint16_t* pwAssyID, uint16_t* pwAssyVendor)
{
    uint32_t ulValue = 0;
    const NVXL_STATUS nStatus = ReadReg(uchLocalPort, ulDestID, uchHopCount, RIO_ASSY_IDENTITY, &ulValue);
    if (nStatus != NVXL_OK)
        return nStatus;
    if (pwAssyID)
        *pwAssyID = (uint16_t)(ulValue >> 16);
    if (pwAssyVendor)
        *pwAssyVendor = (uint16_t)(ulValue & 0xFFFFu);
    return NVXL_OK;
}

// ---- Plain registers ---------------------------------------------------------------------------

// Reads one register into an output that must be given.
static NVXL_STATUS ReadRequired(uint8_t uchLocalPort, uint32_t ulDestID, uint8_t uchHopCount,
                                uint32_t ulOffset, uint32_t* pulValue)
{
    if (!pulValue)
        return NVXL_ERR_INVALID_PARAM;
    return ReadReg(uchLocalPort, ulDestID, uchHopCount, ulOffset, pulValue);
}

// Reads one register into an output that may be NULL.
static NVXL_STATUS ReadOptional(uint8_t uchLocalPort, uint32_t ulDestID, uint8_t uchHopCount,
                                uint32_t ulOffset, uint32_t* pulValue)
{
    uint32_t ulValue = 0;
    const NVXL_STATUS nStatus = ReadReg(uchLocalPort, ulDestID, uchHopCount, ulOffset, &ulValue);
    if (nStatus == NVXL_OK && pulValue)
        *pulValue = ulValue;
    return nStatus;
}

NVXL_STATUS HalStdGetFeatures(uint16_t, uint16_t, uint8_t uchLocalPort, uint32_t ulDestID,
                              uint8_t uchHopCount, uint32_t* pulFeatures)
{
    return ReadRequired(uchLocalPort, ulDestID, uchHopCount, RIO_PE_FEATURES, pulFeatures);
}

NVXL_STATUS HalStdGetSwitchPortInfo(uint16_t, uint16_t, uint8_t uchLocalPort, uint32_t ulDestID,
                                    uint8_t uchHopCount, uint32_t* pulInfo)
{
    return ReadRequired(uchLocalPort, ulDestID, uchHopCount, RIO_SWITCH_PORT_INFO, pulInfo);
}

NVXL_STATUS HalStdGetSourceOps(uint16_t, uint16_t, uint8_t uchLocalPort, uint32_t ulDestID,
                               uint8_t uchHopCount, uint32_t* pulOps)
{
    return ReadOptional(uchLocalPort, ulDestID, uchHopCount, RIO_SOURCE_OPS, pulOps);
}

NVXL_STATUS HalStdGetDestOps(uint16_t, uint16_t, uint8_t uchLocalPort, uint32_t ulDestID, uint8_t uchHopCount,
                             uint32_t* pulOps)
{
    return ReadOptional(uchLocalPort, ulDestID, uchHopCount, RIO_DEST_OPS, pulOps);
}

NVXL_STATUS HalStdGetRouteLimit(uint16_t, uint16_t, uint8_t uchLocalPort, uint32_t ulDestID,
                                uint8_t uchHopCount, uint32_t* pulLimit)
{
    return ReadOptional(uchLocalPort, ulDestID, uchHopCount, RIO_ROUTE_DESTID_LIMIT, pulLimit);
}

NVXL_STATUS HalStdGetNumPorts(uint16_t, uint16_t, uint8_t uchLocalPort, uint32_t ulDestID,
                              uint8_t uchHopCount, uint32_t* pulNumPorts)
{
    uint32_t ulInfo = 0;
    const NVXL_STATUS nStatus = ReadReg(uchLocalPort, ulDestID, uchHopCount, RIO_SWITCH_PORT_INFO, &ulInfo);
    if (nStatus == NVXL_OK && pulNumPorts)
        *pulNumPorts = (ulInfo >> 8) & 0xFFu;
    return nStatus;
}

NVXL_STATUS HalStdGetAddressMode(uint16_t, uint16_t, uint8_t uchLocalPort, uint32_t ulDestID,
                                 uint8_t uchHopCount, uint32_t* pulMode)
{
    uint32_t ulValue = 0;
    const NVXL_STATUS nStatus =
        ReadReg(uchLocalPort, ulDestID, uchHopCount, RIO_LOGICAL_LAYER_CTRL, &ulValue);
    if (nStatus == NVXL_OK && pulMode)
        *pulMode = ulValue & 0x7u;
    return nStatus;
}

NVXL_STATUS HalStdGetExtFeaturesPtr(uint16_t, uint16_t, uint8_t uchLocalPort, uint32_t ulDestID,
                                    uint8_t uchHopCount, uint16_t* pwPtr)
{
    if (!pwPtr)
        return NVXL_ERR_INVALID_PARAM;
    uint32_t ulValue = 0;
    const NVXL_STATUS nStatus = ReadReg(uchLocalPort, ulDestID, uchHopCount, RIO_ASSY_INFO, &ulValue);
    if (nStatus == NVXL_OK)
        *pwPtr = (uint16_t)(ulValue & 0xFFFFu);
    return nStatus;
}

NVXL_STATUS HalStdGetNextExtFeature(uint16_t, uint16_t, uint8_t uchLocalPort, uint32_t ulDestID,
                                    uint8_t uchHopCount, uint16_t wCurrentPtr, uint16_t* pwNext)
{
    if (!pwNext)
        return NVXL_ERR_INVALID_PARAM;
    // The block header: the pointer to the next block is in its high half.
    uint32_t ulValue = 0;
    const NVXL_STATUS nStatus = ReadExtReg(uchLocalPort, ulDestID, uchHopCount, wCurrentPtr, &ulValue);
    if (nStatus == NVXL_OK)
        *pwNext = (uint16_t)(ulValue >> 16);
    return nStatus;
}

NVXL_STATUS HalStdGetPortErrorStatus(uint16_t, uint16_t, uint8_t uchLocalPort, uint32_t ulDestID,
                                     uint8_t uchHopCount, uint16_t wExtFeaturesPtr, uint8_t uchPort,
                                     uint32_t* pulStatus)
{
    if (!pulStatus)
        return NVXL_ERR_INVALID_PARAM;
    const uint32_t ulOffset = wExtFeaturesPtr + RIO_EXT_PORT_STRIDE * uchPort + RIO_EXT_PORT_ERR_STATUS;
    return ReadExtReg(uchLocalPort, ulDestID, uchHopCount, ulOffset, pulStatus);
}

NVXL_STATUS HalStdIsPortTrained(uint16_t wVendorID, uint16_t wDeviceID, uint8_t uchLocalPort,
                                uint32_t ulDestID, uint8_t uchHopCount, uint8_t uchPort, uint32_t* pbTrained)
{
    if (!pbTrained)
        return NVXL_ERR_INVALID_PARAM;
    uint16_t wPtr = 0;
    NVXL_STATUS nStatus =
        HalGetExtFeaturesPtr(wVendorID, wDeviceID, uchLocalPort, ulDestID, uchHopCount, &wPtr);
    if (nStatus != NVXL_OK)
        return nStatus;
    uint32_t ulStatus = 0;
    nStatus = HalGetPortErrorStatus(wVendorID, wDeviceID, uchLocalPort, ulDestID, uchHopCount, wPtr, uchPort,
                                    &ulStatus);
    if (nStatus != NVXL_OK)
        return nStatus;
    // Port OK: the link is initialised and the partner answers.
    *pbTrained = (ulStatus >> 1) & 1u;
    return NVXL_OK;
}

// ---- Time-outs ---------------------------------------------------------------------------------

// Writes a new time-out and hands the old one back in the same word.
static NVXL_STATUS SwapTimeout(uint8_t uchLocalPort, uint32_t ulDestID, uint8_t uchHopCount,
                               uint32_t ulOffset, uint32_t* pulTimeout)
{
    if (!pulTimeout)
        return NVXL_ERR_INVALID_PARAM;
    const uint32_t ulNew = *pulTimeout;
    const NVXL_STATUS nStatus = ReadReg(uchLocalPort, ulDestID, uchHopCount, ulOffset, pulTimeout);
    if (nStatus != NVXL_OK)
        return nStatus;
    return WriteReg(uchLocalPort, ulDestID, uchHopCount, ulOffset, ulNew);
}

NVXL_STATUS HalStdSetResponseTimeout(uint16_t, uint16_t, uint8_t uchLocalPort, uint32_t ulDestID,
                                     uint8_t uchHopCount, uint32_t* pulTimeout)
{
    return SwapTimeout(uchLocalPort, ulDestID, uchHopCount, RIO_PORT_RESPONSE_TIMEOUT, pulTimeout);
}

NVXL_STATUS HalStdSetLinkTimeout(uint16_t, uint16_t, uint8_t uchLocalPort, uint32_t ulDestID,
                                 uint8_t uchHopCount, uint32_t* pulTimeout)
{
    return SwapTimeout(uchLocalPort, ulDestID, uchHopCount, RIO_PORT_LINK_TIMEOUT, pulTimeout);
}

// ---- Component tag -----------------------------------------------------------------------------

NVXL_STATUS HalStdGetComponentTag(uint16_t wVendorID, uint16_t wDeviceID, uint8_t uchLocalPort,
                                  uint32_t ulDestID, uint8_t uchHopCount, uint32_t* pulTag)
{
    if (!pulTag)
        return NVXL_ERR_INVALID_PARAM;
    HalDebugPrint(
        1, "Calling MaintRead(LocalPort=%d DestID=%d Hop=%d Offset=0x%x) to get ComponentTag for %04x %04x\n",
        uchLocalPort, (int)ulDestID, uchHopCount, RIO_COMPONENT_TAG, wVendorID, wDeviceID);
    return ReadReg(uchLocalPort, ulDestID, uchHopCount, RIO_COMPONENT_TAG, pulTag);
}

NVXL_STATUS HalStdSetComponentTag(uint16_t wVendorID, uint16_t wDeviceID, uint8_t uchLocalPort,
                                  uint32_t ulDestID, uint8_t uchHopCount, uint32_t ulTag)
{
    HalDebugPrint(
        1,
        "Calling MaintWrite(LocalPort=%d DestID=%d Hop=%d Offset=0x%x Value=%08lx) to set ComponentTag "
        "for %04x %04x\n",
        uchLocalPort, (int)ulDestID, uchHopCount, RIO_COMPONENT_TAG, (unsigned long)ulTag, wVendorID,
        wDeviceID);
    return WriteReg(uchLocalPort, ulDestID, uchHopCount, RIO_COMPONENT_TAG, ulTag);
}

// ---- Device lock -------------------------------------------------------------------------------

// A device of this key has no usable lock register: it counts as locked at once.
#define HAL_KEY_WITHOUT_LOCK 0x00080001u
// Wait between two attempts at a lock held by another host.
#define HAL_LOCK_RETRY_MS 1000u

// Writes a value to the lock register and reads back who holds it.
static NVXL_STATUS WriteReadLock(uint8_t uchLocalPort, uint32_t ulDestID, uint8_t uchHopCount,
                                 uint16_t wValue, uint32_t* pulValue)
{
    NVXL_STATUS nStatus = WriteReg(uchLocalPort, ulDestID, uchHopCount, RIO_HOST_DEVICE_ID_LOCK, wValue);
    if (nStatus != NVXL_OK)
        return nStatus;
    return ReadReg(uchLocalPort, ulDestID, uchHopCount, RIO_HOST_DEVICE_ID_LOCK, pulValue);
}

NVXL_STATUS HalStdAcquireDeviceLock(uint16_t wVendorID, uint16_t wDeviceID, uint8_t uchLocalPort,
                                    uint32_t ulDestID, uint8_t uchHopCount, uint16_t wHostDeviceID,
                                    uint16_t* pwCurrentOwner, int32_t nTimeoutSec, uint32_t bBreakLock)
{
    if (NVXL_DEVICE_KEY(wVendorID, wDeviceID) == HAL_KEY_WITHOUT_LOCK)
        return NVXL_OK;

    uint32_t ulValue = 0;
    NVXL_STATUS nStatus;
    if (bBreakLock)
    {
        // Writing the holder's own ID to the lock register frees it.
        uint16_t wOwner = 0;
        nStatus = HalGetCurDeviceLock(wVendorID, wDeviceID, uchLocalPort, ulDestID, uchHopCount, &wOwner);
        if (nStatus != NVXL_OK)
            return nStatus;
        if (wHostDeviceID < RIO_LOCK_FREE)
        {
            nStatus = WriteReadLock(uchLocalPort, ulDestID, uchHopCount, wOwner, &ulValue);
            if (nStatus != NVXL_OK)
                return nStatus;
            if ((ulValue & 0xFFFFu) != RIO_LOCK_FREE)
            {
                if (pwCurrentOwner)
                    *pwCurrentOwner = (uint16_t)(ulValue & 0xFFFFu);
                return NVXL_ERR_LOCKED;
            }
        }
    }

    nStatus = WriteReadLock(uchLocalPort, ulDestID, uchHopCount, wHostDeviceID, &ulValue);
    if (nStatus != NVXL_OK)
        return nStatus;
    for (;;)
    {
        const uint16_t wOwner = (uint16_t)(ulValue & 0xFFFFu);
        if (wOwner == wHostDeviceID)
            return NVXL_OK;
        if (nTimeoutSec < 1)
        {
            if (pwCurrentOwner)
                *pwCurrentOwner = wOwner;
            // The higher ID has the higher priority.
            return wHostDeviceID >= wOwner ? NVXL_ERR_LOCKED : NVXL_ERR_HIGHER_PRIORITY;
        }
        // The holder releases the lock by writing its own ID; try again once a second.
        HalSleep(HAL_LOCK_RETRY_MS);
        nTimeoutSec--;
        nStatus = WriteReadLock(uchLocalPort, ulDestID, uchHopCount, wHostDeviceID, &ulValue);
        if (nStatus != NVXL_OK)
            return nStatus;
    }
}

NVXL_STATUS HalStdGetCurDeviceLock(uint16_t, uint16_t, uint8_t uchLocalPort, uint32_t ulDestID,
                                   uint8_t uchHopCount, uint16_t* pwCurrentOwner)
{
    uint32_t ulValue = 0;
    const NVXL_STATUS nStatus =
        ReadReg(uchLocalPort, ulDestID, uchHopCount, RIO_HOST_DEVICE_ID_LOCK, &ulValue);
    if (nStatus == NVXL_OK && pwCurrentOwner)
        *pwCurrentOwner = (uint16_t)(ulValue & 0xFFFFu);
    return nStatus;
}

NVXL_STATUS HalStdReleaseDeviceLock(uint16_t wVendorID, uint16_t wDeviceID, uint8_t uchLocalPort,
                                    uint32_t ulDestID, uint8_t uchHopCount, uint16_t wHostDeviceID,
                                    uint16_t* pwCurrentOwner)
{
    if (NVXL_DEVICE_KEY(wVendorID, wDeviceID) == HAL_KEY_WITHOUT_LOCK)
        return NVXL_OK;

    uint32_t ulValue = 0;
    NVXL_STATUS nStatus = ReadReg(uchLocalPort, ulDestID, uchHopCount, RIO_HOST_DEVICE_ID_LOCK, &ulValue);
    if (nStatus != NVXL_OK)
        return nStatus;
    if ((ulValue & 0xFFFFu) == RIO_LOCK_FREE)
        return NVXL_OK;
    if ((ulValue & 0xFFFFu) != wHostDeviceID)
    {
        if (pwCurrentOwner)
            *pwCurrentOwner = (uint16_t)(ulValue & 0xFFFFu);
        return NVXL_ERR_LOCKED;
    }
    nStatus = WriteReg(uchLocalPort, ulDestID, uchHopCount, RIO_HOST_DEVICE_ID_LOCK, wHostDeviceID);
    if (nStatus != NVXL_OK)
        return nStatus;
    // A device that stops answering once the lock is gone has still released it.
    if (ReadReg(uchLocalPort, ulDestID, uchHopCount, RIO_HOST_DEVICE_ID_LOCK, &ulValue) != NVXL_OK ||
        (ulValue & 0xFFFFu) == RIO_LOCK_FREE)
        return NVXL_OK;
    if (pwCurrentOwner)
        *pwCurrentOwner = (uint16_t)(ulValue & 0xFFFFu);
    return NVXL_ERR_LOCKED;
}

// ---- Multicast ---------------------------------------------------------------------------------

NVXL_STATUS HalStdGetMulticastInfo(uint16_t wVendorID, uint16_t wDeviceID, uint8_t uchLocalPort,
                                   uint32_t ulDestID, uint8_t uchHopCount, uint32_t* pbSupported,
                                   uint32_t* pbSimpleAssoc, uint32_t* pbBlockAssoc, uint32_t* pbPerPortAssoc,
                                   uint32_t* pulMaxAssociations, uint32_t* pulMaxMasks, uint32_t* pulReserved)
{
    if (!pbSupported)
        return NVXL_ERR_INVALID_PARAM;
    uint32_t ulFeatures = 0;
    NVXL_STATUS nStatus =
        HalGetFeatures(wVendorID, wDeviceID, uchLocalPort, ulDestID, uchHopCount, &ulFeatures);
    if (nStatus != NVXL_OK)
        return nStatus;
    if (!(ulFeatures & RIO_PEF_MULTICAST))
    {
        *pbSupported = 0;
        return NVXL_OK;
    }
    *pbSupported = 1;
    uint32_t ulValue = 0;
    nStatus = ReadReg(uchLocalPort, ulDestID, uchHopCount, RIO_SWITCH_MCAST_SUPPORT, &ulValue);
    if (nStatus != NVXL_OK)
        return nStatus;
    if (pbSimpleAssoc)
        *pbSimpleAssoc = ulValue >> 31;
    nStatus = ReadReg(uchLocalPort, ulDestID, uchHopCount, RIO_SWITCH_MCAST_INFO, &ulValue);
    if (nStatus != NVXL_OK)
        return nStatus;
    if (pbBlockAssoc)
        *pbBlockAssoc = ulValue >> 31;
    if (pbPerPortAssoc)
        *pbPerPortAssoc = (ulValue >> 30) & 1u;
    // The register holds the maximum number of associations less one.
    if (pulMaxAssociations)
        *pulMaxAssociations = ((ulValue >> 16) & 0x3FFFu) + 1;
    if (pulMaxMasks)
        *pulMaxMasks = ulValue & 0xFFFFu;
    if (pulReserved)
        *pulReserved = 0;
    return NVXL_OK;
}

NVXL_STATUS HalStdMulticastMaskPort(uint16_t, uint16_t, uint8_t uchLocalPort, uint32_t ulDestID,
                                    uint8_t uchHopCount, uint32_t ulCommand, uint16_t wMaskID,
                                    uint8_t uchPort, uint32_t* pulResult)
{
    if (ulCommand == 0 && !pulResult)
        return NVXL_ERR_INVALID_PARAM;
    uint32_t ulWord = ((uint32_t)wMaskID << 16) | ((uint32_t)uchPort << 8);
    switch (ulCommand)
    {
    case 1:
        ulWord |= 0x10u;
        break;
    case 2:
        ulWord |= 0x20u;
        break;
    case 4:
        ulWord |= 0x40u;
        break;
    case 5:
        ulWord |= 0x50u;
        break;
    default:
        break;
    }
    NVXL_STATUS nStatus = WriteReg(uchLocalPort, ulDestID, uchHopCount, RIO_MCAST_MASK_PORT, ulWord);
    if (nStatus != NVXL_OK || ulCommand != 0)
        return nStatus;
    uint32_t ulValue = 0;
    nStatus = ReadReg(uchLocalPort, ulDestID, uchHopCount, RIO_MCAST_MASK_PORT, &ulValue);
    if (nStatus == NVXL_OK)
        *pulResult = ulValue & 1u;
    return nStatus;
}

NVXL_STATUS HalStdMulticastAssociate(uint16_t, uint16_t, uint8_t uchLocalPort, uint32_t ulDestID,
                                     uint8_t uchHopCount, uint32_t ulCommand, uint32_t bLarge,
                                     uint16_t wDestBlockSize, uint16_t wDestID, uint16_t wMaskID,
                                     uint8_t uchPort, uint32_t* pulResult)
{
    if (ulCommand == 0 && !pulResult)
        return NVXL_ERR_INVALID_PARAM;
    // Both words follow the RapidIO standard's layout (RapidIO Part 11, Multicast Associate Select
    // CSR 84h and Multicast Associate Operation CSR 88h), as real switches decode them. 84h: the
    // destination ID in bits 31..16 (a small ID in bits 23..16, the most significant byte of a
    // large one in bits 31..24) and the mask in bits 15..0. 88h: the block size in bits 31..16,
    // the ingress port in 15..8, large transport in bit 7, the command in bits 6..5. Putting the
    // block size in the high half of 84h and the ID in its low half, as one might read the
    // operation's argument order, would associate every ID's mask with destination 0.
    uint32_t aulWords[2];
    aulWords[0] = ((uint32_t)(bLarge ? wDestID : (wDestID & 0xFFu)) << 16) | wMaskID;
    aulWords[1] = ((uint32_t)wDestBlockSize << 16) | ((uint32_t)uchPort << 8);
    if (bLarge)
        aulWords[1] |= 0x80u;
    if (ulCommand == 2)
        aulWords[1] |= 0x40u;
    else if (ulCommand == 3)
        aulWords[1] |= 0x60u;
    // Select and operation go together, so the operation always sees its own selection.
    NVXL_STATUS nStatus =
        MaintWrite(uchLocalPort, ulDestID, uchHopCount, RIO_MCAST_ASSOC_SELECT, aulWords, 2, 4, 4);
    if (nStatus != NVXL_OK || ulCommand != 0)
        return nStatus;
    uint32_t ulValue = 0;
    nStatus = ReadReg(uchLocalPort, ulDestID, uchHopCount, RIO_MCAST_ASSOC_OPERATION, &ulValue);
    if (nStatus == NVXL_OK)
        *pulResult = ulValue & 1u;
    return nStatus;
}

// ---- LP-Serial port registers ------------------------------------------------------------------

// Error bits of the Port n Error and Status register, the bits that are not errors, and the
// error bits that a write of 1 clears.
#define HAL_PORT_ERROR_BITS 0x071F071Du
#define HAL_PORT_OTHER_BITS 0xF8E0F8E2u
#define HAL_PORT_CLEARABLE_BITS 0x07120214u

// The word that clears what can be cleared of a status, keeping the bits that are not errors.
static uint32_t ResetWord(uint32_t ulStatus)
{
    const uint32_t ulReset =
        ((ulStatus & HAL_PORT_ERROR_BITS) & HAL_PORT_CLEARABLE_BITS) | (ulStatus & HAL_PORT_OTHER_BITS);
    HalDebugPrint(2, "Reset bits: 0x%08X\n", ulReset);
    return ulReset;
}

NVXL_STATUS HalStdClearPortErrors(uint16_t wVendorID, uint16_t wDeviceID, uint8_t uchLocalPort,
                                  uint32_t ulDestID, uint8_t uchHopCount, uint8_t uchPort,
                                  uint32_t* pulRemaining)
{
    if (!pulRemaining)
        return NVXL_ERR_INVALID_PARAM;
    uint16_t wPtr = 0;
    NVXL_STATUS nStatus =
        HalGetExtFeaturesPtr(wVendorID, wDeviceID, uchLocalPort, ulDestID, uchHopCount, &wPtr);
    if (nStatus != NVXL_OK)
        return nStatus;
    const uint32_t ulAddress = wPtr + RIO_EXT_PORT_STRIDE * uchPort + RIO_EXT_PORT_ERR_STATUS;

    uint32_t ulStatus = 0;
    nStatus = ReadExtReg(uchLocalPort, ulDestID, uchHopCount, ulAddress, &ulStatus);
    if (nStatus != NVXL_OK)
        return nStatus;
    HalDebugPrint(2, "Port Error Status: 0x%08X\n", ulStatus);
    HalDebugPrint(2, "Error bits: 0x%08X\n", ulStatus & HAL_PORT_ERROR_BITS);
    HalDebugPrint(2, "Non-Error bits: 0x%08X\n", ulStatus & HAL_PORT_OTHER_BITS);

    // Two attempts at most: an error that comes back at once is left to the caller.
    for (int nAttempt = 0; nAttempt < 2 && (ulStatus & HAL_PORT_ERROR_BITS); nAttempt++)
    {
        nStatus = WriteExtReg(uchLocalPort, ulDestID, uchHopCount, ulAddress, ResetWord(ulStatus));
        if (nStatus != NVXL_OK)
            return nStatus;
        nStatus = ReadExtReg(uchLocalPort, ulDestID, uchHopCount, ulAddress, &ulStatus);
        if (nStatus != NVXL_OK)
            return nStatus;
    }
    *pulRemaining = ulStatus & HAL_PORT_ERROR_BITS;
    return NVXL_OK;
}

NVXL_STATUS HalStdGetPortAckIDs(uint16_t wVendorID, uint16_t wDeviceID, uint8_t uchLocalPort,
                                uint32_t ulDestID, uint8_t uchHopCount, uint8_t uchPort, uint8_t* puchInbound,
                                uint8_t* puchOutstanding, uint8_t* puchOutbound)
{
    uint16_t wPtr = 0;
    NVXL_STATUS nStatus =
        HalGetExtFeaturesPtr(wVendorID, wDeviceID, uchLocalPort, ulDestID, uchHopCount, &wPtr);
    if (nStatus != NVXL_OK)
        return nStatus;
    uint32_t ulValue = 0;
    nStatus = ReadExtReg(uchLocalPort, ulDestID, uchHopCount,
                         wPtr + RIO_EXT_PORT_STRIDE * uchPort + RIO_EXT_PORT_LOCAL_ACKID, &ulValue);
    if (nStatus != NVXL_OK)
        return nStatus;
    if (puchInbound)
        *puchInbound = (uint8_t)((ulValue >> 24) & 0x1Fu);
    if (puchOutstanding)
        *puchOutstanding = (uint8_t)((ulValue >> 8) & 0x1Fu);
    if (puchOutbound)
        *puchOutbound = (uint8_t)(ulValue & 0x1Fu);
    return NVXL_OK;
}

// Link-request commands of the RapidIO link maintenance request.
#define HAL_LINK_REQUEST_RESET 3u
#define HAL_LINK_REQUEST_INPUT_STATUS 4u

NVXL_STATUS HalStdSendLinkMaintRequest(uint16_t wVendorID, uint16_t wDeviceID, uint8_t uchLocalPort,
                                       uint32_t ulDestID, uint8_t uchHopCount, uint8_t uchPort,
                                       uint32_t ulCommand, uint32_t* pulAckID, uint32_t* pulLinkStatus)
{
    if (ulCommand != HAL_LINK_REQUEST_RESET && ulCommand != HAL_LINK_REQUEST_INPUT_STATUS)
        return NVXL_ERR_INVALID_PARAM;
    uint16_t wPtr = 0;
    NVXL_STATUS nStatus =
        HalGetExtFeaturesPtr(wVendorID, wDeviceID, uchLocalPort, ulDestID, uchHopCount, &wPtr);
    if (nStatus != NVXL_OK)
        return nStatus;
    const uint32_t ulPortBase = wPtr + RIO_EXT_PORT_STRIDE * uchPort;
    // Issued twice on purpose: a partner that is still recovering from an error may drop the first.
    for (int i = 0; i < 2; i++)
    {
        nStatus = WriteExtReg(uchLocalPort, ulDestID, uchHopCount, ulPortBase + RIO_EXT_PORT_LINK_MAINT_REQ,
                              ulCommand);
        if (nStatus != NVXL_OK)
            return nStatus;
    }
    uint32_t ulResponse = 0;
    nStatus = ReadExtReg(uchLocalPort, ulDestID, uchHopCount, ulPortBase + RIO_EXT_PORT_LINK_MAINT_RESP,
                         &ulResponse);
    if (nStatus != NVXL_OK)
        return nStatus;
    if (!(ulResponse & 0x80000000u))
        return NVXL_ERR_LINK_REQUEST;
    if (pulAckID)
        *pulAckID = (ulResponse >> 5) & 0x1Fu;
    if (pulLinkStatus)
        *pulLinkStatus = ulResponse & 0x1Fu;
    return NVXL_OK;
}

// Discovered bit of the Port General Control register.
#define HAL_PORT_GEN_DISCOVERED 0x20000000u

NVXL_STATUS HalStdSetPortDiscovered(uint16_t wVendorID, uint16_t wDeviceID, uint8_t uchLocalPort,
                                    uint32_t ulDestID, uint8_t uchHopCount, uint32_t bDiscovered)
{
    uint16_t wPtr = 0;
    NVXL_STATUS nStatus =
        HalGetExtFeaturesPtr(wVendorID, wDeviceID, uchLocalPort, ulDestID, uchHopCount, &wPtr);
    if (nStatus != NVXL_OK)
        return nStatus;
    const uint32_t ulAddress = wPtr + RIO_EXT_PORT_GEN_CTRL;
    uint32_t ulValue = 0;
    nStatus = ReadExtReg(uchLocalPort, ulDestID, uchHopCount, ulAddress, &ulValue);
    if (nStatus != NVXL_OK)
        return nStatus;
    if (bDiscovered)
        ulValue |= HAL_PORT_GEN_DISCOVERED;
    else
        ulValue &= ~HAL_PORT_GEN_DISCOVERED;
    return WriteExtReg(uchLocalPort, ulDestID, uchHopCount, ulAddress, ulValue);
}
