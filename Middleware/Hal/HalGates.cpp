// The gates through which all traffic leaves the middleware. Each one hands its arguments, with
// the HAL's transport flag, to the installed transport table; the transport converts priority,
// word size and status on the client side.
#include "HalCore.h"
#include "NVXLHal.h"
#include "NVXLTransport.h"

#include <string.h>

// The first word of a buffer at the given word size, for the debug log. Sizes other than 2 and 4
// are shown as a byte.
static uint32_t FirstWord(const void* pvData, uint32_t ulWordSize)
{
    if (!pvData)
        return 0;
    if (ulWordSize == 4)
    {
        uint32_t ulWord;
        memcpy(&ulWord, pvData, sizeof ulWord);
        return ulWord;
    }
    if (ulWordSize == 2)
    {
        uint16_t wWord;
        memcpy(&wWord, pvData, sizeof wWord);
        return wWord;
    }
    return *(const uint8_t*)pvData;
}

NVXL_STATUS MaintRead(uint8_t uchLocalPort, uint32_t ulDestID, uint8_t uchHopCount, uint32_t ulOffset,
                      void* pvData, uint32_t ulWordCount, uint32_t ulWordSize, uint32_t ulStride)
{
    const NVXL_TRANSPORT* pTransport = NVXL_GetTransport();
    NVXL_STATUS nStatus = NVXL_ERR_DRIVER_NOT_OPEN;
    if (pTransport)
        nStatus = pTransport->pfnMaintRead
                      ? pTransport->pfnMaintRead(pTransport->pvContext, uchLocalPort, ulDestID, uchHopCount,
                                                 ulOffset, pvData, ulWordCount, ulWordSize, ulStride,
                                                 g_bLargeTransport, g_ulMaintPriority)
                      : NVXL_ERR_NOT_SUPPORTED;
    // Logged after the read, so FirstWord is whatever the buffer holds even after a failure.
    HalDebugPrint(2,
                  "MaintRead\n\tLocalPort=%d\n\tDestID=%d\n\tHopCount=%d\n\tOffset=0x%x\n\tWordCount=%d\n"
                  "\tWordSize=%d\n\tStride=%d\n\tFirstWord=%x\n\treturn=%d\n",
                  uchLocalPort, (int)ulDestID, uchHopCount, ulOffset, (int)ulWordCount, (int)ulWordSize,
                  (int)ulStride, FirstWord(pvData, ulWordSize), nStatus);
    return nStatus;
}

NVXL_STATUS MaintWrite(uint8_t uchLocalPort, uint32_t ulDestID, uint8_t uchHopCount, uint32_t ulOffset,
                       const void* pvData, uint32_t ulWordCount, uint32_t ulWordSize, uint32_t ulStride)
{
    HalDebugPrint(2,
                  "MaintWrite\n\tLocalPort=%d\n\tDestID=%d\n\tHopCount=%d\n\tOffset=0x%x\n\tWordCount=%d\n"
                  "\tWordSize=%d\n\tStride=%d\n\tFirstWord=%x\n",
                  uchLocalPort, (int)ulDestID, uchHopCount, ulOffset, (int)ulWordCount, (int)ulWordSize,
                  (int)ulStride, FirstWord(pvData, ulWordSize));
    const NVXL_TRANSPORT* pTransport = NVXL_GetTransport();
    NVXL_STATUS nStatus = NVXL_ERR_DRIVER_NOT_OPEN;
    if (pTransport)
        nStatus = pTransport->pfnMaintWrite
                      ? pTransport->pfnMaintWrite(pTransport->pvContext, uchLocalPort, ulDestID, uchHopCount,
                                                  ulOffset, pvData, ulWordCount, ulWordSize, ulStride,
                                                  g_bLargeTransport, g_ulMaintPriority)
                      : NVXL_ERR_NOT_SUPPORTED;
    HalDebugPrint(2, "\treturn=%d\n", nStatus);
    return nStatus;
}

NVXL_STATUS DataRead(uint8_t uchLocalPort, uint32_t ulDestID, uint32_t ulRioAddressHi,
                     uint32_t ulRioAddressLo, uint32_t ulXferType, uint32_t ulPriority, void* pvData,
                     uint32_t ulByteCount)
{
    const NVXL_TRANSPORT* pTransport = NVXL_GetTransport();
    if (!pTransport)
        return NVXL_ERR_DRIVER_NOT_OPEN;
    if (!pTransport->pfnDataRead)
        return NVXL_ERR_NOT_SUPPORTED;
    return pTransport->pfnDataRead(pTransport->pvContext, uchLocalPort, ulDestID, ulRioAddressHi,
                                   ulRioAddressLo, ulXferType, ulPriority, pvData, ulByteCount,
                                   g_bLargeTransport);
}

NVXL_STATUS DataWrite(uint8_t uchLocalPort, uint32_t ulDestID, uint32_t ulRioAddressHi,
                      uint32_t ulRioAddressLo, uint32_t ulXferType, uint32_t ulPriority, const void* pvData,
                      uint32_t ulByteCount)
{
    const NVXL_TRANSPORT* pTransport = NVXL_GetTransport();
    if (!pTransport)
        return NVXL_ERR_DRIVER_NOT_OPEN;
    if (!pTransport->pfnDataWrite)
        return NVXL_ERR_NOT_SUPPORTED;
    return pTransport->pfnDataWrite(pTransport->pvContext, uchLocalPort, ulDestID, ulRioAddressHi,
                                    ulRioAddressLo, ulXferType, ulPriority, pvData, ulByteCount,
                                    g_bLargeTransport);
}

NVXL_STATUS MessageSend(uint8_t uchLocalPort, uint32_t ulDestID, uint32_t ulPriority, uint32_t bMultiPacket,
                        uint32_t ulMailboxNum, const void* pvData, uint32_t ulPacketByteCount,
                        uint32_t ulTotalByteCount)
{
    const NVXL_TRANSPORT* pTransport = NVXL_GetTransport();
    if (!pTransport)
        return NVXL_ERR_DRIVER_NOT_OPEN;
    if (!pTransport->pfnMessageSend)
        return NVXL_ERR_NOT_SUPPORTED;
    return pTransport->pfnMessageSend(pTransport->pvContext, uchLocalPort, ulDestID, ulPriority, bMultiPacket,
                                      ulMailboxNum, pvData, ulPacketByteCount, ulTotalByteCount,
                                      g_bLargeTransport);
}

NVXL_STATUS DoorbellSend(uint8_t uchLocalPort, uint32_t ulDestID, uint32_t ulPriority, uint16_t wInfoWord)
{
    const NVXL_TRANSPORT* pTransport = NVXL_GetTransport();
    if (!pTransport)
        return NVXL_ERR_DRIVER_NOT_OPEN;
    if (!pTransport->pfnDoorbellSend)
        return NVXL_ERR_NOT_SUPPORTED;
    return pTransport->pfnDoorbellSend(pTransport->pvContext, uchLocalPort, ulDestID, ulPriority, wInfoWord,
                                       g_bLargeTransport);
}

// Commands of the target's message and doorbell queues.
#define HAL_QUEUE_FETCH 1
#define HAL_QUEUE_FLUSH 2

NVXL_STATUS MessageGet(uint32_t ulWhichQueue, uint8_t* pbTT, uint8_t* pbOverflow, uint32_t* pulSourceID,
                       uint32_t* pulPriority, uint32_t* pulMailboxNum, uint32_t* pulSize, void* pvData)
{
    const NVXL_TRANSPORT* pTransport = NVXL_GetTransport();
    if (!pTransport)
        return NVXL_ERR_DRIVER_NOT_OPEN;
    if (!pTransport->pfnMessageQueue)
        return NVXL_ERR_NOT_SUPPORTED;
    return pTransport->pfnMessageQueue(pTransport->pvContext, ulWhichQueue, HAL_QUEUE_FETCH, pbTT, pbOverflow,
                                       pulSourceID, pulPriority, pulMailboxNum, pulSize, pvData);
}

NVXL_STATUS MessageFlush(uint32_t ulWhichQueue)
{
    const NVXL_TRANSPORT* pTransport = NVXL_GetTransport();
    if (!pTransport)
        return NVXL_ERR_DRIVER_NOT_OPEN;
    if (!pTransport->pfnMessageQueue)
        return NVXL_ERR_NOT_SUPPORTED;
    return pTransport->pfnMessageQueue(pTransport->pvContext, ulWhichQueue, HAL_QUEUE_FLUSH, NULL, NULL, NULL,
                                       NULL, NULL, NULL, NULL);
}

NVXL_STATUS DoorbellGet(uint32_t ulWhichQueue, uint8_t* pbValid, uint8_t* pbOverflow, uint16_t* pwInfoWord)
{
    const NVXL_TRANSPORT* pTransport = NVXL_GetTransport();
    if (!pTransport)
        return NVXL_ERR_DRIVER_NOT_OPEN;
    if (!pTransport->pfnDoorbellQueue)
        return NVXL_ERR_NOT_SUPPORTED;
    return pTransport->pfnDoorbellQueue(pTransport->pvContext, ulWhichQueue, HAL_QUEUE_FETCH, pbValid,
                                        pbOverflow, pwInfoWord);
}

NVXL_STATUS DoorbellFlush(uint32_t ulWhichQueue)
{
    const NVXL_TRANSPORT* pTransport = NVXL_GetTransport();
    if (!pTransport)
        return NVXL_ERR_DRIVER_NOT_OPEN;
    if (!pTransport->pfnDoorbellQueue)
        return NVXL_ERR_NOT_SUPPORTED;
    return pTransport->pfnDoorbellQueue(pTransport->pvContext, ulWhichQueue, HAL_QUEUE_FLUSH, NULL, NULL,
                                        NULL);
}

NVXL_STATUS MemoryRead(uint32_t dwAddressHi, uint32_t dwAddressLo, uint32_t dwWordCount, uint32_t dwWordSize,
                       void* pvData)
{
    const NVXL_TRANSPORT* pTransport = NVXL_GetTransport();
    if (!pTransport)
        return NVXL_ERR_DRIVER_NOT_OPEN;
    if (!pTransport->pfnMemoryRead)
        return NVXL_ERR_NOT_SUPPORTED;
    return pTransport->pfnMemoryRead(pTransport->pvContext, dwAddressHi, dwAddressLo, dwWordCount, dwWordSize,
                                     pvData);
}

NVXL_STATUS MemoryWrite(uint32_t dwAddressHi, uint32_t dwAddressLo, uint32_t dwWordCount, uint32_t dwWordSize,
                        const void* pvData)
{
    const NVXL_TRANSPORT* pTransport = NVXL_GetTransport();
    if (!pTransport)
        return NVXL_ERR_DRIVER_NOT_OPEN;
    if (!pTransport->pfnMemoryWrite)
        return NVXL_ERR_NOT_SUPPORTED;
    return pTransport->pfnMemoryWrite(pTransport->pvContext, dwAddressHi, dwAddressLo, dwWordCount,
                                      dwWordSize, pvData);
}

NVXL_STATUS GetRioErrors(char* pszText, uint32_t ulSize)
{
    const NVXL_TRANSPORT* pTransport = NVXL_GetTransport();
    if (!pTransport)
        return NVXL_ERR_DRIVER_NOT_OPEN;
    if (!pTransport->pfnGetRioErrors)
        return NVXL_ERR_NOT_SUPPORTED;
    return pTransport->pfnGetRioErrors(pTransport->pvContext, pszText, ulSize);
}

NVXL_STATUS GetDeviceAndVendor(uint8_t uchLocalPort, uint32_t ulDestID, uint8_t uchHopCount,
                               uint16_t* pwDevice, uint16_t* pwVendor)
{
    uint32_t ulIdentity = 0;
    const NVXL_STATUS nStatus = MaintRead(uchLocalPort, ulDestID, uchHopCount, 0x00, &ulIdentity, 1, 4, 4);
    if (nStatus != NVXL_OK)
        return nStatus;
    if (pwDevice)
        *pwDevice = (uint16_t)(ulIdentity >> 16);
    if (pwVendor)
        *pwVendor = (uint16_t)(ulIdentity & 0xFFFFu);
    return NVXL_OK;
}
