#include "FakeTarget.h"

#include <cstring>

namespace nvtest
{
namespace
{
constexpr uint32_t kLock = 0x68;
constexpr uint32_t kRouteDestID = 0x70;
constexpr uint32_t kRoutePort = 0x74;
constexpr uint32_t kLockFree = 0xFFFF;
// Error bits of Port n Error and Status that a write of 1 clears.
constexpr uint32_t kWrite1ClearBits = 0x07120214;
} // namespace

CFakeTarget::CFakeTarget()
{
    m_mapRegs[kLock] = kLockFree;
}

CFakeTarget::~CFakeTarget()
{
    NVXL_SetTransport(nullptr);
}

void CFakeTarget::Install()
{
    NVXL_TRANSPORT sTransport{};
    sTransport.pfnMaintRead = &CFakeTarget::MaintRead;
    sTransport.pfnMaintWrite = &CFakeTarget::MaintWrite;
    sTransport.pfnDataRead = &CFakeTarget::DataRead;
    sTransport.pfnDataWrite = &CFakeTarget::DataWrite;
    sTransport.pfnMemoryRead = &CFakeTarget::MemoryRead;
    sTransport.pfnMemoryWrite = &CFakeTarget::MemoryWrite;
    sTransport.pfnGetRioErrors = &CFakeTarget::GetRioErrors;
    sTransport.pfnDebugOutput = &CFakeTarget::DebugOutput;
    sTransport.pvContext = this;
    NVXL_SetTransport(&sTransport);
}

uint32_t CFakeTarget::Reg(uint32_t ulOffset) const
{
    const auto it = m_mapRegs.find(ulOffset);
    return it == m_mapRegs.end() ? 0 : it->second;
}

void CFakeTarget::SetRouteTable(std::vector<uint8_t> auchPorts, bool bLargeForm)
{
    m_auchRoutes = std::move(auchPorts);
    m_bLargeRouteForm = bLargeForm;
}

void CFakeTarget::SetErrorStatusRegister(uint32_t ulOffset, uint32_t ulValue, uint32_t ulStickyBits)
{
    m_mapRegs[ulOffset] = ulValue;
    m_mapStickyBits[ulOffset] = ulStickyBits;
}

std::string CFakeTarget::DebugText() const
{
    std::string strText;
    for (const std::string& strLine : m_astrDebug)
        strText += strLine;
    return strText;
}

size_t CFakeTarget::NumWrites() const
{
    size_t nWrites = 0;
    for (const SAccess& sAccess : m_aAccesses)
        nWrites += sAccess.bWrite ? 1 : 0;
    return nWrites;
}

uint32_t CFakeTarget::ReadWord(uint32_t ulOffset)
{
    uint32_t ulHooked = 0;
    if (m_fnReadWord && m_fnReadWord(ulOffset, ulHooked))
        return ulHooked;
    if (ulOffset == kRoutePort && !m_auchRoutes.empty())
    {
        const uint32_t ulFirst = m_ulRouteSelect & 0x7FFFFFFF;
        const uint32_t ulCount = m_bLargeRouteForm ? 4 : 1;
        uint32_t ulValue = 0;
        for (uint32_t k = 0; k < ulCount; k++)
        {
            const uint32_t ulPort = ulFirst + k < m_auchRoutes.size() ? m_auchRoutes[ulFirst + k] : 0xFF;
            ulValue |= ulPort << (8 * k);
        }
        return ulValue;
    }
    return Reg(ulOffset);
}

void CFakeTarget::WriteWord(uint32_t ulOffset, uint32_t ulValue)
{
    if (m_fnWriteWord && m_fnWriteWord(ulOffset, ulValue))
        return;
    if (ulOffset == kLock)
    {
        // RapidIO Host Base Device ID Lock: a free lock takes any ID, the holder's own ID frees
        // it, and any other ID leaves it as it is.
        const uint32_t ulHeld = Reg(kLock) & 0xFFFF;
        const uint32_t ulWritten = ulValue & 0xFFFF;
        if (ulHeld == kLockFree)
            m_mapRegs[kLock] = ulWritten;
        else if (ulHeld == ulWritten)
            m_mapRegs[kLock] = kLockFree;
        return;
    }
    if (!m_auchRoutes.empty() && ulOffset == kRouteDestID)
    {
        m_ulRouteSelect = ulValue;
        return;
    }
    if (!m_auchRoutes.empty() && ulOffset == kRoutePort)
    {
        const uint32_t ulFirst = m_ulRouteSelect & 0x7FFFFFFF;
        const uint32_t ulCount = m_bLargeRouteForm ? 4 : 1;
        for (uint32_t k = 0; k < ulCount && ulFirst + k < m_auchRoutes.size(); k++)
            m_auchRoutes[ulFirst + k] = static_cast<uint8_t>(ulValue >> (8 * k));
        return;
    }
    const auto itSticky = m_mapStickyBits.find(ulOffset);
    if (itSticky != m_mapStickyBits.end())
    {
        const uint32_t ulCleared = Reg(ulOffset) & ~(ulValue & kWrite1ClearBits);
        m_mapRegs[ulOffset] = ulCleared | itSticky->second;
        return;
    }
    m_mapRegs[ulOffset] = ulValue;
}

NVXL_STATUS CFakeTarget::MaintRead(void* pvContext, uint8_t uchLocalPort, uint32_t ulDestID,
                                   uint8_t uchHopCount, uint32_t ulOffset, void* pvData, uint32_t ulWordCount,
                                   uint32_t ulWordSize, uint32_t ulStride, uint32_t bLargeTransport,
                                   uint32_t ulPriority)
{
    auto* pThis = static_cast<CFakeTarget*>(pvContext);
    SAccess sAccess{false,      uchLocalPort, ulDestID, uchHopCount,     ulOffset,  ulWordCount,
                    ulWordSize, ulStride,     {},       bLargeTransport, ulPriority};
    const auto itFail = pThis->m_mapFailReads.find(ulOffset);
    if (itFail != pThis->m_mapFailReads.end())
    {
        pThis->m_aAccesses.push_back(sAccess);
        return itFail->second;
    }
    for (uint32_t i = 0; i < ulWordCount; i++)
    {
        const uint32_t ulValue = pThis->ReadWord(ulOffset + i * ulStride);
        sAccess.aulWords.push_back(ulValue);
        if (ulWordSize == 4)
            std::memcpy(static_cast<uint8_t*>(pvData) + 4 * i, &ulValue, 4);
    }
    pThis->m_aAccesses.push_back(sAccess);
    return NVXL_OK;
}

NVXL_STATUS CFakeTarget::MaintWrite(void* pvContext, uint8_t uchLocalPort, uint32_t ulDestID,
                                    uint8_t uchHopCount, uint32_t ulOffset, const void* pvData,
                                    uint32_t ulWordCount, uint32_t ulWordSize, uint32_t ulStride,
                                    uint32_t bLargeTransport, uint32_t ulPriority)
{
    auto* pThis = static_cast<CFakeTarget*>(pvContext);
    SAccess sAccess{true,       uchLocalPort, ulDestID, uchHopCount,     ulOffset,  ulWordCount,
                    ulWordSize, ulStride,     {},       bLargeTransport, ulPriority};
    for (uint32_t i = 0; i < ulWordCount && (ulWordSize == 4 || ulWordSize == 1); i++)
    {
        uint32_t ulValue = 0;
        if (ulWordSize == 4)
            std::memcpy(&ulValue, static_cast<const uint8_t*>(pvData) + 4 * i, 4);
        else
            ulValue = static_cast<const uint8_t*>(pvData)[i];
        sAccess.aulWords.push_back(ulValue);
    }
    pThis->m_aAccesses.push_back(sAccess);
    const auto itFail = pThis->m_mapFailWrites.find(ulOffset);
    if (itFail != pThis->m_mapFailWrites.end())
        return itFail->second;
    for (uint32_t i = 0; i < sAccess.aulWords.size(); i++)
        pThis->WriteWord(ulOffset + i * ulStride, sAccess.aulWords[i]);
    if (pThis->m_fnAfterWrite)
        pThis->m_fnAfterWrite(sAccess);
    return NVXL_OK;
}

NVXL_STATUS CFakeTarget::DataRead(void* pvContext, uint8_t, uint32_t ulDestID, uint32_t,
                                  uint32_t ulRioAddressLo, uint32_t ulXferType, uint32_t, void* pvData,
                                  uint32_t ulByteCount, uint32_t)
{
    auto* pThis = static_cast<CFakeTarget*>(pvContext);
    SDataAccess sAccess{SDataAccess::eDataRead, ulDestID, ulRioAddressLo, ulXferType, ulByteCount, {}};
    for (uint32_t i = 0; i < ulByteCount; i++)
    {
        const auto it = pThis->m_mapDataBytes.find(ulRioAddressLo + i);
        const uint8_t bValue = it == pThis->m_mapDataBytes.end() ? 0 : it->second;
        static_cast<uint8_t*>(pvData)[i] = bValue;
        sAccess.aulValues.push_back(bValue);
    }
    pThis->m_aDataAccesses.push_back(sAccess);
    return NVXL_OK;
}

NVXL_STATUS CFakeTarget::DataWrite(void* pvContext, uint8_t, uint32_t ulDestID, uint32_t,
                                   uint32_t ulRioAddressLo, uint32_t ulXferType, uint32_t, const void* pvData,
                                   uint32_t ulByteCount, uint32_t)
{
    auto* pThis = static_cast<CFakeTarget*>(pvContext);
    SDataAccess sAccess{SDataAccess::eDataWrite, ulDestID, ulRioAddressLo, ulXferType, ulByteCount, {}};
    for (uint32_t i = 0; i < ulByteCount; i++)
    {
        const uint8_t bValue = static_cast<const uint8_t*>(pvData)[i];
        pThis->m_mapDataBytes[ulRioAddressLo + i] = bValue;
        sAccess.aulValues.push_back(bValue);
    }
    pThis->m_aDataAccesses.push_back(sAccess);
    return NVXL_OK;
}

NVXL_STATUS CFakeTarget::MemoryRead(void* pvContext, uint32_t, uint32_t dwAddressLo, uint32_t dwWordCount,
                                    uint32_t dwWordSize, void* pvData)
{
    auto* pThis = static_cast<CFakeTarget*>(pvContext);
    if (dwWordSize != 4)
        return NVXL_ERR_INVALID_PARAM;
    SDataAccess sAccess{SDataAccess::eMemoryRead, 0, dwAddressLo, 0, dwWordCount, {}};
    for (uint32_t i = 0; i < dwWordCount; i++)
    {
        const auto it = pThis->m_mapMemoryWords.find(dwAddressLo + 4 * i);
        const uint32_t ulValue = it == pThis->m_mapMemoryWords.end() ? 0 : it->second;
        std::memcpy(static_cast<uint8_t*>(pvData) + 4 * i, &ulValue, 4);
        sAccess.aulValues.push_back(ulValue);
    }
    pThis->m_aDataAccesses.push_back(sAccess);
    return NVXL_OK;
}

NVXL_STATUS CFakeTarget::MemoryWrite(void* pvContext, uint32_t, uint32_t dwAddressLo, uint32_t dwWordCount,
                                     uint32_t dwWordSize, const void* pvData)
{
    auto* pThis = static_cast<CFakeTarget*>(pvContext);
    if (dwWordSize != 4)
        return NVXL_ERR_INVALID_PARAM;
    SDataAccess sAccess{SDataAccess::eMemoryWrite, 0, dwAddressLo, 0, dwWordCount, {}};
    for (uint32_t i = 0; i < dwWordCount; i++)
    {
        uint32_t ulValue = 0;
        std::memcpy(&ulValue, static_cast<const uint8_t*>(pvData) + 4 * i, 4);
        pThis->m_mapMemoryWords[dwAddressLo + 4 * i] = ulValue;
        sAccess.aulValues.push_back(ulValue);
    }
    pThis->m_aDataAccesses.push_back(sAccess);
    return NVXL_OK;
}

NVXL_STATUS CFakeTarget::GetRioErrors(void* pvContext, char* pszText, uint32_t ulSize)
{
    auto* pThis = static_cast<CFakeTarget*>(pvContext);
    if (pThis->m_nRioErrorsStatus == NVXL_OK && !pThis->m_strRioErrors.empty() && ulSize > 0)
    {
        std::strncpy(pszText, pThis->m_strRioErrors.c_str(), ulSize - 1);
        pszText[ulSize - 1] = '\0';
    }
    return pThis->m_nRioErrorsStatus;
}

void CFakeTarget::DebugOutput(void* pvContext, const char* pszText)
{
    static_cast<CFakeTarget*>(pvContext)->m_astrDebug.emplace_back(pszText);
}
} // namespace nvtest
