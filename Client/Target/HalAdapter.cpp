#include "HalAdapter.h"

#include "DebugLog.h"
#include "NVXLHal.h"
#include "NVXLStatus.h"
#include "NVXLTransport.h"
#include "TargetClient.h"

#include <cstring>
#include <vector>

namespace
{
CTargetClient* g_pClient = nullptr;

bool ValidPriority(uint32_t ulPriority)
{
    return ulPriority <= 2;
}

// Stores the transport flag again, as the HAL's callers may have passed one of their own.
void KeepTransportFlag(uint32_t bLargeTransport)
{
    if (bLargeTransport == 0 || bLargeTransport == 1)
    {
        HalSetLargeTransport(bLargeTransport);
    }
}

NVXL_STATUS AdapterMaintRead(void*, uint8_t uchLocalPort, uint32_t ulDestID, uint8_t uchHopCount,
                             uint32_t ulOffset, void* pvData, uint32_t ulWordCount, uint32_t ulWordSize,
                             uint32_t ulStride, uint32_t bLargeTransport, uint32_t ulPriority)
{
    if (!ValidPriority(ulPriority))
    {
        return NVXL_ERR_INVALID_PARAM;
    }
    KeepTransportFlag(bLargeTransport);
    int32_t nStatus = 0;
    switch (ulWordSize)
    {
    case 1:
        nStatus = g_pClient->Maint_read(uchLocalPort, ulDestID, uchHopCount, ulOffset,
                                        static_cast<uint8_t*>(pvData), ulWordCount, ulStride, ulPriority);
        break;
    case 2:
        nStatus = g_pClient->Maint_read(uchLocalPort, ulDestID, uchHopCount, ulOffset,
                                        static_cast<uint16_t*>(pvData), ulWordCount, ulStride, ulPriority);
        break;
    case 4:
        nStatus = g_pClient->Maint_read(uchLocalPort, ulDestID, uchHopCount, ulOffset,
                                        static_cast<uint32_t*>(pvData), ulWordCount, ulStride, ulPriority);
        break;
    default:
        return NVXL_ERR_INVALID_PARAM;
    }
    return ClientStatusToHal(nStatus);
}

NVXL_STATUS AdapterMaintWrite(void*, uint8_t uchLocalPort, uint32_t ulDestID, uint8_t uchHopCount,
                              uint32_t ulOffset, const void* pvData, uint32_t ulWordCount,
                              uint32_t ulWordSize, uint32_t ulStride, uint32_t bLargeTransport,
                              uint32_t ulPriority)
{
    if (!ValidPriority(ulPriority))
    {
        return NVXL_ERR_INVALID_PARAM;
    }
    KeepTransportFlag(bLargeTransport);
    if (ulWordSize != 1 && ulWordSize != 2 && ulWordSize != 4)
    {
        return NVXL_ERR_INVALID_PARAM;
    }
    // The front end swaps the words in place and leaves them swapped on failure; the HAL's
    // callers get their buffer back untouched, so it works on a copy.
    uint32_t aulSmall[16];
    std::vector<uint32_t> large;
    const size_t nBytes = static_cast<size_t>(ulWordCount) * ulWordSize;
    void* pvCopy = aulSmall;
    if (nBytes > sizeof(aulSmall))
    {
        large.resize((nBytes + 3) / 4);
        pvCopy = large.data();
    }
    std::memcpy(pvCopy, pvData, nBytes);
    int32_t nStatus = 0;
    switch (ulWordSize)
    {
    case 1:
        nStatus = g_pClient->Maint_write(uchLocalPort, ulDestID, uchHopCount, ulOffset,
                                         static_cast<uint8_t*>(pvCopy), ulWordCount, ulStride, ulPriority);
        break;
    case 2:
        nStatus = g_pClient->Maint_write(uchLocalPort, ulDestID, uchHopCount, ulOffset,
                                         static_cast<uint16_t*>(pvCopy), ulWordCount, ulStride, ulPriority);
        break;
    default:
        nStatus = g_pClient->Maint_write(uchLocalPort, ulDestID, uchHopCount, ulOffset,
                                         static_cast<uint32_t*>(pvCopy), ulWordCount, ulStride, ulPriority);
        break;
    }
    return ClientStatusToHal(nStatus);
}

NVXL_STATUS AdapterDataRead(void*, uint8_t uchLocalPort, uint32_t ulDestID, uint32_t ulRioAddressHi,
                            uint32_t ulRioAddressLo, uint32_t ulXferType, uint32_t ulPriority, void* pvData,
                            uint32_t ulByteCount, uint32_t bLargeTransport)
{
    if (!ValidPriority(ulPriority))
    {
        return NVXL_ERR_INVALID_PARAM;
    }
    KeepTransportFlag(bLargeTransport);
    return ClientStatusToHal(g_pClient->Nread(uchLocalPort, ulDestID, ulRioAddressHi, ulRioAddressLo,
                                              ulXferType, ulPriority, pvData, ulByteCount));
}

NVXL_STATUS AdapterDataWrite(void*, uint8_t uchLocalPort, uint32_t ulDestID, uint32_t ulRioAddressHi,
                             uint32_t ulRioAddressLo, uint32_t ulXferType, uint32_t ulPriority,
                             const void* pvData, uint32_t ulByteCount, uint32_t bLargeTransport)
{
    if (!ValidPriority(ulPriority))
    {
        return NVXL_ERR_INVALID_PARAM;
    }
    KeepTransportFlag(bLargeTransport);
    return ClientStatusToHal(g_pClient->DataWrite(uchLocalPort, ulDestID, ulRioAddressHi, ulRioAddressLo,
                                                  ulXferType, ulPriority, pvData, ulByteCount));
}

NVXL_STATUS AdapterMessageSend(void*, uint8_t uchLocalPort, uint32_t ulDestID, uint32_t ulPriority,
                               uint32_t bMultiPacket, uint32_t ulMailboxNum, const void* pvData,
                               uint32_t ulPacketByteCount, uint32_t ulTotalByteCount,
                               uint32_t bLargeTransport)
{
    if (!ValidPriority(ulPriority))
    {
        return NVXL_ERR_INVALID_PARAM;
    }
    KeepTransportFlag(bLargeTransport);
    return ClientStatusToHal(g_pClient->Message(uchLocalPort, ulDestID, ulPriority, bMultiPacket != 0,
                                                ulMailboxNum, pvData, ulPacketByteCount, ulTotalByteCount));
}

NVXL_STATUS AdapterDoorbellSend(void*, uint8_t uchLocalPort, uint32_t ulDestID, uint32_t ulPriority,
                                uint16_t wInfoWord, uint32_t bLargeTransport)
{
    if (!ValidPriority(ulPriority))
    {
        return NVXL_ERR_INVALID_PARAM;
    }
    KeepTransportFlag(bLargeTransport);
    return ClientStatusToHal(g_pClient->Doorbell(uchLocalPort, ulDestID, ulPriority, wInfoWord));
}

NVXL_STATUS AdapterMessageQueue(void*, uint32_t ulWhichQueue, uint32_t ulCommand, uint8_t* pbTT,
                                uint8_t* pbOverflow, uint32_t* pulSourceID, uint32_t* pulPriority,
                                uint32_t* pulMailboxNum, uint32_t* pulSize, void* pvData)
{
    return ClientStatusToHal(g_pClient->MessageQueue(ulWhichQueue, ulCommand, pbTT, pbOverflow, pulSourceID,
                                                     pulPriority, pulMailboxNum, pulSize, pvData));
}

NVXL_STATUS AdapterDoorbellQueue(void*, uint32_t ulWhichQueue, uint32_t ulCommand, uint8_t* pbValid,
                                 uint8_t* pbOverflow, uint16_t* pwInfoWord)
{
    return ClientStatusToHal(
        g_pClient->DoorbellQueue(ulWhichQueue, ulCommand, pbValid, pbOverflow, pwInfoWord));
}

NVXL_STATUS AdapterMemoryRead(void*, uint32_t dwAddressHi, uint32_t dwAddressLo, uint32_t dwWordCount,
                              uint32_t dwWordSize, void* pvData)
{
    return ClientStatusToHal(g_pClient->MemRead(dwAddressHi, dwAddressLo, dwWordCount, dwWordSize, pvData));
}

NVXL_STATUS AdapterMemoryWrite(void*, uint32_t dwAddressHi, uint32_t dwAddressLo, uint32_t dwWordCount,
                               uint32_t dwWordSize, const void* pvData)
{
    return ClientStatusToHal(g_pClient->MemWrite(dwAddressHi, dwAddressLo, dwWordCount, dwWordSize, pvData));
}

NVXL_STATUS AdapterGetRioErrors(void*, char* pszText, uint32_t ulSize)
{
    return ClientStatusToHal(g_pClient->GetRioErrors(pszText, ulSize));
}

void AdapterDebugOutput(void*, const char* pszText)
{
    DebugPrint(eDebugMiddleware, "%s", pszText);
}
} // namespace

void InstallHalAdapter(CTargetClient* pClient)
{
    g_pClient = pClient;
    HalInitialize();
    HalRegisterDeviceFamilies();
    NVXL_TRANSPORT transport{};
    transport.pfnMaintRead = AdapterMaintRead;
    transport.pfnMaintWrite = AdapterMaintWrite;
    transport.pfnDataRead = AdapterDataRead;
    transport.pfnDataWrite = AdapterDataWrite;
    transport.pfnMessageSend = AdapterMessageSend;
    transport.pfnDoorbellSend = AdapterDoorbellSend;
    transport.pfnMessageQueue = AdapterMessageQueue;
    transport.pfnDoorbellQueue = AdapterDoorbellQueue;
    transport.pfnMemoryRead = AdapterMemoryRead;
    transport.pfnMemoryWrite = AdapterMemoryWrite;
    transport.pfnGetRioErrors = AdapterGetRioErrors;
    transport.pfnDebugOutput = AdapterDebugOutput;
    NVXL_SetTransport(&transport);
}
