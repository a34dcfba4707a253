/* The transport table: the only way the middleware reaches a target. The client installs it at
 * connection time (its HAL adapter converts priority, word size and status); tests install one
 * that talks to an in-process simulated fabric. Every function returns a HAL status. */
#ifndef NVXL_TRANSPORT_H
#define NVXL_TRANSPORT_H

#include "NVXLTypes.h"
#include <stdarg.h>

#ifdef __cplusplus
extern "C"
{
#endif

    typedef struct NVXL_TRANSPORT
    {
        /* Maintenance read of ulWordCount words of ulWordSize (1, 2, 4) bytes; pvData receives them
         * in host byte order. bLargeTransport and ulPriority are the HAL's current settings. */
        NVXL_STATUS (*pfnMaintRead)
        (void* pvContext, uint8_t uchLocalPort, uint32_t ulDestID, uint8_t uchHopCount, uint32_t ulOffset,
         void* pvData, uint32_t ulWordCount, uint32_t ulWordSize, uint32_t ulStride, uint32_t bLargeTransport,
         uint32_t ulPriority);
        /* Maintenance write; pvData holds host-order words and is unchanged on return. */
        NVXL_STATUS (*pfnMaintWrite)
        (void* pvContext, uint8_t uchLocalPort, uint32_t ulDestID, uint8_t uchHopCount, uint32_t ulOffset,
         const void* pvData, uint32_t ulWordCount, uint32_t ulWordSize, uint32_t ulStride,
         uint32_t bLargeTransport, uint32_t ulPriority);
        /* NREAD of ulByteCount bytes; ulXferType 0..3 passes unchanged. */
        NVXL_STATUS (*pfnDataRead)
        (void* pvContext, uint8_t uchLocalPort, uint32_t ulDestID, uint32_t ulRioAddressHi,
         uint32_t ulRioAddressLo, uint32_t ulXferType, uint32_t ulPriority, void* pvData,
         uint32_t ulByteCount, uint32_t bLargeTransport);
        /* Data write: ulXferType 0 SWRITE, 1 NWRITE, 2 NWRITE_R. */
        NVXL_STATUS (*pfnDataWrite)
        (void* pvContext, uint8_t uchLocalPort, uint32_t ulDestID, uint32_t ulRioAddressHi,
         uint32_t ulRioAddressLo, uint32_t ulXferType, uint32_t ulPriority, const void* pvData,
         uint32_t ulByteCount, uint32_t bLargeTransport);
        /* Sends a RapidIO message. */
        NVXL_STATUS (*pfnMessageSend)
        (void* pvContext, uint8_t uchLocalPort, uint32_t ulDestID, uint32_t ulPriority, uint32_t bMultiPacket,
         uint32_t ulMailboxNum, const void* pvData, uint32_t ulPacketByteCount, uint32_t ulTotalByteCount,
         uint32_t bLargeTransport);
        /* Sends a RapidIO doorbell. */
        NVXL_STATUS (*pfnDoorbellSend)
        (void* pvContext, uint8_t uchLocalPort, uint32_t ulDestID, uint32_t ulPriority, uint16_t wInfoWord,
         uint32_t bLargeTransport);
        /* Message queue of the target: ulCommand 1 fetches the next entry into pvData (4096 bytes),
         * 2 flushes. Any output may be null. */
        NVXL_STATUS (*pfnMessageQueue)
        (void* pvContext, uint32_t ulWhichQueue, uint32_t ulCommand, uint8_t* pbTT, uint8_t* pbOverflow,
         uint32_t* pulSourceID, uint32_t* pulPriority, uint32_t* pulMailboxNum, uint32_t* pulSize,
         void* pvData);
        /* Doorbell queue of the target: ulCommand 1 fetches, 2 flushes. */
        NVXL_STATUS (*pfnDoorbellQueue)
        (void* pvContext, uint32_t ulWhichQueue, uint32_t ulCommand, uint8_t* pbValid, uint8_t* pbOverflow,
         uint16_t* pwInfoWord);
        /* Server host memory. */
        NVXL_STATUS (*pfnMemoryRead)
        (void* pvContext, uint32_t dwAddressHi, uint32_t dwAddressLo, uint32_t dwWordCount,
         uint32_t dwWordSize, void* pvData);
        NVXL_STATUS (*pfnMemoryWrite)
        (void* pvContext, uint32_t dwAddressHi, uint32_t dwAddressLo, uint32_t dwWordCount,
         uint32_t dwWordSize, const void* pvData);
        /* Text of the RapidIO errors the target collected since it was last asked, cut to
         * ulSize - 1 characters and terminated. */
        NVXL_STATUS (*pfnGetRioErrors)(void* pvContext, char* pszText, uint32_t ulSize);
        /* Sink of the middleware's debug text (the application's debug log, channel Middleware). */
        void (*pfnDebugOutput)(void* pvContext, const char* pszText);
        /* Passed back to every function above. */
        void* pvContext;
    } NVXL_TRANSPORT;

    /* Installs the table (copied) or, with NULL, removes it. Without a table every gate returns
     * NVXL_ERR_DRIVER_NOT_OPEN. */
    void NVXL_SetTransport(const NVXL_TRANSPORT* pTransport);
    /* The table in force, or NULL. */
    const NVXL_TRANSPORT* NVXL_GetTransport(void);

#ifdef __cplusplus
}
#endif

#endif
