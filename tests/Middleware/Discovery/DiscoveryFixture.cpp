#include "DiscoveryFixture.h"

#include <cstdio>

namespace nvtest
{
std::vector<const NVXL_PE*> SNetwork::PEs(uint32_t ulTypeFlags) const
{
    std::vector<const NVXL_PE*> result;
    for (uint32_t i = 0; i < network.ulNumPEs; i++)
    {
        if (pes[i].ulValid && (!ulTypeFlags || (pes[i].ulTypeFlags & ulTypeFlags)))
            result.push_back(&pes[i]);
    }
    return result;
}

std::vector<const NVXL_CONNECTION*> SNetwork::Connections() const
{
    std::vector<const NVXL_CONNECTION*> result;
    for (uint32_t i = 0; i < network.ulNumConnections; i++)
    {
        if (connections[i].ulValid)
            result.push_back(&connections[i]);
    }
    return result;
}

const NVXL_PE* SNetwork::ByUniqueID(const std::string& strID) const
{
    for (const NVXL_PE* pPE : PEs())
    {
        if (strID == pPE->szUniqueID)
            return pPE;
    }
    return nullptr;
}

const NVXL_PE* SNetwork::ByDevice(uint16_t wDeviceID) const
{
    for (const NVXL_PE* pPE : PEs())
    {
        if (pPE->wDeviceID == wDeviceID && pPE->wVendorID != 0xFFFF)
            return pPE;
    }
    return nullptr;
}

void CDiscoveryTest::SetUp()
{
    HalInitialize();
    HalRegisterDeviceFamilies();
    s_sleeps.clear();
    HalSetSleepHook([](uint32_t ulMs) { s_sleeps.push_back(ulMs); });
    NVXL_SetVDIDCounts(2, 2, 2, 2, 1);
    NVXL_RegisterProgressReport([](const char* pszText, void* pContext)
                                { static_cast<CDiscoveryTest*>(pContext)->m_progress.push_back(pszText); },
                                this);
    NVXL_RegisterLog([](const char* pszText, void* pContext)
                     { static_cast<CDiscoveryTest*>(pContext)->m_log.push_back(pszText); },
                     this);
    NVXL_RegisterFoundPE(
        [](uint32_t ulIsHost, uint16_t wDevice, uint16_t wVendor, uint16_t wDest, uint8_t uchHop,
           void* pContext)
        {
            char szText[64];
            std::snprintf(szText, sizeof szText, "%u %04x %04x %04x %u", ulIsHost, wDevice, wVendor, wDest,
                          uchHop);
            static_cast<CDiscoveryTest*>(pContext)->m_found.push_back(szText);
        },
        this);
    NVXL_RegisterReportError(
        [](const char* pszText, int32_t lError, void* pContext)
        {
            auto* pSelf = static_cast<CDiscoveryTest*>(pContext);
            pSelf->m_errors.push_back(pszText);
            pSelf->m_errorCodes.push_back(lError);
            return 1;
        },
        this);
    NVXL_RegisterDebugOutput([](const char* pszText, void* pContext)
                             { static_cast<CDiscoveryTest*>(pContext)->m_debug += pszText; },
                             this);
}

void CDiscoveryTest::TearDown()
{
    NVXL_RegisterProgressReport(nullptr, nullptr);
    NVXL_RegisterLog(nullptr, nullptr);
    NVXL_RegisterFoundPE(nullptr, nullptr);
    NVXL_RegisterReportError(nullptr, nullptr);
    NVXL_RegisterDebugOutput(nullptr, nullptr);
    HalSetSleepHook(nullptr);
    m_pNetwork.reset();
    m_pTransport.reset();
    HalInitialize();
}

void CDiscoveryTest::Load(const std::string& strTopology)
{
    std::string strError;
    m_pFabric = nvsim::LoadTopologyText(strTopology, &strError);
    ASSERT_TRUE(m_pFabric) << strError;
    m_pTransport = std::make_unique<CSimTransport>(*m_pFabric);
    m_pTransport->Install();
}

NVXL_STATUS CDiscoveryTest::Discover(uint32_t ulFlags, uint32_t ulHostID, uint32_t ulFirstID,
                                     uint32_t ulIncrement, const std::vector<uint32_t>& scanIDs,
                                     const NVXL_NETWORK* pOld, uint32_t ulMaxPEs, uint32_t ulMaxConnections)
{
    m_pNetwork = std::make_unique<SNetwork>(ulMaxPEs, ulMaxConnections);
    m_progress.clear();
    m_log.clear();
    m_errors.clear();
    m_errorCodes.clear();
    m_found.clear();
    m_debug.clear();
    return NVXL_DiscoverNetwork(ulFlags, 0x00FFFF00u, 0x00FFFF00u, scanIDs.data(),
                                static_cast<int32_t>(scanIDs.size()), 2, ulHostID, ulFirstID, ulIncrement,
                                pOld, &m_pNetwork->network);
}

std::string CDiscoveryTest::LogText() const
{
    std::string strText;
    for (const std::string& strLine : m_log)
        strText += strLine;
    return strText;
}
} // namespace nvtest
