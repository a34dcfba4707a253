#include "SimTransport.h"

#include "NVXLHal.h"
#include "NVXLStatus.h"

#include <cstdio>
#include <cstring>
#include <string>

namespace nvtest
{
CSimTransport::CSimTransport(nvsim::CSimFabric& fabric) : m_fabric(fabric) {}

CSimTransport::~CSimTransport()
{
    NVXL_SetTransport(nullptr);
}

void CSimTransport::Install()
{
    NVXL_TRANSPORT transport{};
    transport.pfnMaintRead = &CSimTransport::MaintRead;
    transport.pfnMaintWrite = &CSimTransport::MaintWrite;
    transport.pfnDataRead = &CSimTransport::DataRead;
    transport.pfnDataWrite = &CSimTransport::DataWrite;
    transport.pfnMemoryRead = &CSimTransport::MemoryRead;
    transport.pfnMemoryWrite = &CSimTransport::MemoryWrite;
    transport.pfnGetRioErrors = &CSimTransport::GetRioErrors;
    transport.pvContext = this;
    NVXL_SetTransport(&transport);
}

bool CSimTransport::Intercept(const SMaintAccess& access, uint32_t* pulValue, int32_t* pnStatus)
{
    if (bRecord)
        accesses.push_back(access);
    return fnIntercept && fnIntercept(access, pulValue, pnStatus);
}

int32_t CSimTransport::MaintRead(void* pvContext, uint8_t uchLocalPort, uint32_t ulDestID,
                                 uint8_t uchHopCount, uint32_t ulOffset, void* pvData, uint32_t ulWordCount,
                                 uint32_t ulWordSize, uint32_t ulStride, uint32_t bLargeTransport, uint32_t)
{
    auto* pSelf = static_cast<CSimTransport*>(pvContext);
    pSelf->ullMaintReads++;
    std::vector<uint32_t> words(ulWordCount ? ulWordCount : 1u, 0u);
    int32_t nStatus = 0;
    uint32_t ulValue = 0;
    if (pSelf->Intercept({false, uchLocalPort, ulDestID, uchHopCount, ulOffset, 0}, &ulValue, &nStatus))
    {
        std::fill(words.begin(), words.end(), ulValue);
    }
    else
    {
        nStatus = ClientStatusToHal(pSelf->m_fabric.MaintRead(uchLocalPort, ulDestID, uchHopCount, ulOffset,
                                                              words.data(), ulWordCount, ulWordSize, ulStride,
                                                              bLargeTransport != 0));
    }
    for (uint32_t i = 0; i < ulWordCount; i++)
    {
        if (ulWordSize == 4)
            static_cast<uint32_t*>(pvData)[i] = words[i];
        else if (ulWordSize == 2)
            static_cast<uint16_t*>(pvData)[i] = static_cast<uint16_t>(words[i]);
        else
            static_cast<uint8_t*>(pvData)[i] = static_cast<uint8_t>(words[i]);
    }
    return nStatus;
}

int32_t CSimTransport::MaintWrite(void* pvContext, uint8_t uchLocalPort, uint32_t ulDestID,
                                  uint8_t uchHopCount, uint32_t ulOffset, const void* pvData,
                                  uint32_t ulWordCount, uint32_t ulWordSize, uint32_t ulStride,
                                  uint32_t bLargeTransport, uint32_t)
{
    auto* pSelf = static_cast<CSimTransport*>(pvContext);
    pSelf->ullMaintWrites++;
    std::vector<uint32_t> words(ulWordCount ? ulWordCount : 1u, 0u);
    for (uint32_t i = 0; i < ulWordCount; i++)
    {
        words[i] = ulWordSize == 4   ? static_cast<const uint32_t*>(pvData)[i]
                   : ulWordSize == 2 ? static_cast<const uint16_t*>(pvData)[i]
                                     : static_cast<const uint8_t*>(pvData)[i];
    }
    int32_t nStatus = 0;
    uint32_t ulValue = 0;
    if (pSelf->Intercept({true, uchLocalPort, ulDestID, uchHopCount, ulOffset, words[0]}, &ulValue, &nStatus))
        return nStatus;
    return ClientStatusToHal(pSelf->m_fabric.MaintWrite(uchLocalPort, ulDestID, uchHopCount, ulOffset,
                                                        words.data(), ulWordCount, ulWordSize, ulStride,
                                                        bLargeTransport != 0));
}

int32_t CSimTransport::DataRead(void* pvContext, uint8_t uchLocalPort, uint32_t ulDestID, uint32_t ulHi,
                                uint32_t ulLo, uint32_t, uint32_t, void* pvData, uint32_t ulByteCount,
                                uint32_t bLargeTransport)
{
    auto* pSelf = static_cast<CSimTransport*>(pvContext);
    return ClientStatusToHal(pSelf->m_fabric.DataRead(uchLocalPort, ulDestID, ulHi, ulLo,
                                                      static_cast<uint8_t*>(pvData), ulByteCount,
                                                      bLargeTransport != 0));
}

int32_t CSimTransport::DataWrite(void* pvContext, uint8_t uchLocalPort, uint32_t ulDestID, uint32_t ulHi,
                                 uint32_t ulLo, uint32_t ulXferType, uint32_t, const void* pvData,
                                 uint32_t ulByteCount, uint32_t bLargeTransport)
{
    auto* pSelf = static_cast<CSimTransport*>(pvContext);
    return ClientStatusToHal(pSelf->m_fabric.DataWrite(uchLocalPort, ulDestID, ulHi, ulLo, ulXferType,
                                                       static_cast<const uint8_t*>(pvData), ulByteCount,
                                                       bLargeTransport != 0));
}

int32_t CSimTransport::MemoryRead(void* pvContext, uint32_t ulHi, uint32_t ulLo, uint32_t ulWordCount,
                                  uint32_t ulWordSize, void* pvData)
{
    auto* pSelf = static_cast<CSimTransport*>(pvContext);
    return ClientStatusToHal(pSelf->m_fabric.MemRead((static_cast<uint64_t>(ulHi) << 32) | ulLo, ulWordCount,
                                                     ulWordSize, static_cast<uint8_t*>(pvData)));
}

int32_t CSimTransport::MemoryWrite(void* pvContext, uint32_t ulHi, uint32_t ulLo, uint32_t ulWordCount,
                                   uint32_t ulWordSize, const void* pvData)
{
    auto* pSelf = static_cast<CSimTransport*>(pvContext);
    return ClientStatusToHal(pSelf->m_fabric.MemWrite((static_cast<uint64_t>(ulHi) << 32) | ulLo, ulWordCount,
                                                      ulWordSize, static_cast<const uint8_t*>(pvData)));
}

int32_t CSimTransport::GetRioErrors(void* pvContext, char* pszText, uint32_t ulSize)
{
    auto* pSelf = static_cast<CSimTransport*>(pvContext);
    const std::vector<nvsim::SRioError> errors = pSelf->m_fabric.GetRioErrors();
    if (errors.empty() || !ulSize)
        return 0;
    std::string strText = "The following RapidIO errors were detected:";
    for (const nvsim::SRioError& error : errors)
    {
        char szCode[32];
        std::snprintf(szCode, sizeof szCode, "\n[0x%08X] ", error.ulCode);
        strText += szCode + error.strText;
    }
    std::snprintf(pszText, ulSize, "%s", strText.c_str());
    return 0;
}
} // namespace nvtest
