#include "ServerProtocol.h"

#include <arpa/inet.h>

void EncodeHeader(uint8_t* pHeader, uint32_t ulMessageID, uint32_t ulLength)
{
    PutBE32(pHeader, ulMessageID);
    PutBE32(pHeader + 4, ulLength);
}

void DecodeServerInfo(const uint8_t* p, SServerInfo* pInfo)
{
    pInfo->ulInterfaceVersion = GetBE32(p);
    pInfo->wDeviceID = GetBE16(p + 4);
    pInfo->wVendorID = GetBE16(p + 6);
    pInfo->wShortDestID = GetBE16(p + 8);
    pInfo->wLongDestID = GetBE16(p + 10);
    pInfo->bLongDestIDValid = GetBE32(p + 12);
    pInfo->uchStatus = p[16];
    pInfo->ulNumLocalPorts = GetBE32(p + 20);
    pInfo->uchServerMajor = p[24];
    pInfo->uchServerMinor = p[25];
    pInfo->ulDriverMajor = GetBE32(p + 28);
    pInfo->ulDriverMinor = GetBE32(p + 32);
    pInfo->wOSType = GetBE16(p + 36);
    pInfo->wProcessorType = GetBE16(p + 38);
    std::memcpy(pInfo->abReserved.data(), p + 40, pInfo->abReserved.size());
}

void EncodeServerInfo(const SServerInfo& info, uint8_t* p)
{
    std::memset(p, 0, kIdentifyRespSize);
    PutBE32(p, info.ulInterfaceVersion);
    PutBE16(p + 4, info.wDeviceID);
    PutBE16(p + 6, info.wVendorID);
    PutBE16(p + 8, info.wShortDestID);
    PutBE16(p + 10, info.wLongDestID);
    PutBE32(p + 12, info.bLongDestIDValid);
    p[16] = info.uchStatus;
    PutBE32(p + 20, info.ulNumLocalPorts);
    p[24] = info.uchServerMajor;
    p[25] = info.uchServerMinor;
    PutBE32(p + 28, info.ulDriverMajor);
    PutBE32(p + 32, info.ulDriverMinor);
    PutBE16(p + 36, info.wOSType);
    PutBE16(p + 38, info.wProcessorType);
    std::memcpy(p + 40, info.abReserved.data(), info.abReserved.size());
}

void SwapWords(void* pvData, uint32_t ulWordCount, uint32_t ulWordSize)
{
    if (ulWordSize == 4)
    {
        auto* pulWords = static_cast<uint32_t*>(pvData);
        for (uint32_t i = 0; i < ulWordCount; ++i)
        {
            pulWords[i] = htonl(pulWords[i]);
        }
    }
    else if (ulWordSize == 2)
    {
        auto* pwWords = static_cast<uint16_t*>(pvData);
        for (uint32_t i = 0; i < ulWordCount; ++i)
        {
            pwWords[i] = htons(pwWords[i]);
        }
    }
}
