#include "SimFixture.h"

#include "NVXLStatus.h"
#include "nvsim/Topology.h"

#include <algorithm>
#include <cstdlib>
#include <cstring>

namespace nvtest
{
namespace
{
nvsim::CSimFabric& FabricOf(void* pvContext)
{
    return *static_cast<nvsim::CSimFabric*>(pvContext);
}

NVXL_STATUS SimMaintRead(void* pvContext, uint8_t uchLocalPort, uint32_t ulDestID, uint8_t uchHopCount,
                         uint32_t ulOffset, void* pvData, uint32_t ulWordCount, uint32_t ulWordSize,
                         uint32_t ulStride, uint32_t bLargeTransport, uint32_t)
{
    std::vector<uint32_t> aulWords(ulWordCount);
    const int32_t nStatus =
        FabricOf(pvContext).MaintRead(uchLocalPort, ulDestID, uchHopCount, ulOffset, aulWords.data(),
                                      ulWordCount, ulWordSize, ulStride, bLargeTransport != 0);
    for (uint32_t i = 0; i < ulWordCount; i++)
    {
        if (ulWordSize == 1)
            static_cast<uint8_t*>(pvData)[i] = static_cast<uint8_t>(aulWords[i]);
        else if (ulWordSize == 2)
            static_cast<uint16_t*>(pvData)[i] = static_cast<uint16_t>(aulWords[i]);
        else
            static_cast<uint32_t*>(pvData)[i] = aulWords[i];
    }
    return ClientStatusToHal(nStatus);
}

NVXL_STATUS SimMaintWrite(void* pvContext, uint8_t uchLocalPort, uint32_t ulDestID, uint8_t uchHopCount,
                          uint32_t ulOffset, const void* pvData, uint32_t ulWordCount, uint32_t ulWordSize,
                          uint32_t ulStride, uint32_t bLargeTransport, uint32_t)
{
    std::vector<uint32_t> aulWords(ulWordCount);
    for (uint32_t i = 0; i < ulWordCount; i++)
    {
        if (ulWordSize == 1)
            aulWords[i] = static_cast<const uint8_t*>(pvData)[i];
        else if (ulWordSize == 2)
            aulWords[i] = static_cast<const uint16_t*>(pvData)[i];
        else
            aulWords[i] = static_cast<const uint32_t*>(pvData)[i];
    }
    return ClientStatusToHal(FabricOf(pvContext).MaintWrite(uchLocalPort, ulDestID, uchHopCount, ulOffset,
                                                            aulWords.data(), ulWordCount, ulWordSize,
                                                            ulStride, bLargeTransport != 0));
}

NVXL_STATUS SimDataRead(void* pvContext, uint8_t uchLocalPort, uint32_t ulDestID, uint32_t ulHi,
                        uint32_t ulLo, uint32_t, uint32_t, void* pvData, uint32_t ulByteCount,
                        uint32_t bLargeTransport)
{
    return ClientStatusToHal(FabricOf(pvContext).DataRead(uchLocalPort, ulDestID, ulHi, ulLo,
                                                          static_cast<uint8_t*>(pvData), ulByteCount,
                                                          bLargeTransport != 0));
}

NVXL_STATUS SimDataWrite(void* pvContext, uint8_t uchLocalPort, uint32_t ulDestID, uint32_t ulHi,
                         uint32_t ulLo, uint32_t ulXferType, uint32_t, const void* pvData,
                         uint32_t ulByteCount, uint32_t bLargeTransport)
{
    return ClientStatusToHal(FabricOf(pvContext).DataWrite(uchLocalPort, ulDestID, ulHi, ulLo, ulXferType,
                                                           static_cast<const uint8_t*>(pvData), ulByteCount,
                                                           bLargeTransport != 0));
}

// Server host memory travels unswapped, as the client passes it on.
NVXL_STATUS SimMemoryRead(void* pvContext, uint32_t ulHi, uint32_t ulLo, uint32_t ulWordCount,
                          uint32_t ulWordSize, void* pvData)
{
    return ClientStatusToHal(FabricOf(pvContext).MemRead((uint64_t{ulHi} << 32) | ulLo, ulWordCount,
                                                         ulWordSize, static_cast<uint8_t*>(pvData)));
}

NVXL_STATUS SimMemoryWrite(void* pvContext, uint32_t ulHi, uint32_t ulLo, uint32_t ulWordCount,
                           uint32_t ulWordSize, const void* pvData)
{
    return ClientStatusToHal(FabricOf(pvContext).MemWrite((uint64_t{ulHi} << 32) | ulLo, ulWordCount,
                                                          ulWordSize, static_cast<const uint8_t*>(pvData)));
}

NVXL_STATUS SimGetRioErrors(void* pvContext, char* pszText, uint32_t ulSize)
{
    std::string strText;
    for (const nvsim::SRioError& error : FabricOf(pvContext).GetRioErrors())
        strText += error.strText + "\n";
    if (ulSize > 0)
    {
        const size_t nCopy = std::min<size_t>(strText.size(), ulSize - 1);
        std::memcpy(pszText, strText.data(), nCopy);
        pszText[nCopy] = '\0';
    }
    return NVXL_OK;
}
} // namespace

void CFamilySimTest::Load(const std::string& strTopology)
{
    std::string strError;
    m_pFabric = nvsim::LoadTopologyText(strTopology, &strError);
    ASSERT_TRUE(m_pFabric) << strError;
    HalInitialize();
    for (uint32_t ulLevel = 0; ulLevel < 6; ulLevel++)
        HalSetDebugFlag(ulLevel, 0);
    HalRegisterDeviceFamilies();
    s_aulWaits.clear();
    HalSetSleepHook(&CFamilySimTest::RecordWait);
    NVXL_TRANSPORT transport{};
    transport.pfnMaintRead = SimMaintRead;
    transport.pfnMaintWrite = SimMaintWrite;
    transport.pfnDataRead = SimDataRead;
    transport.pfnDataWrite = SimDataWrite;
    transport.pfnMemoryRead = SimMemoryRead;
    transport.pfnMemoryWrite = SimMemoryWrite;
    transport.pfnGetRioErrors = SimGetRioErrors;
    transport.pvContext = m_pFabric.get();
    NVXL_SetTransport(&transport);
}

void CFamilySimTest::TearDown()
{
    NVXL_SetTransport(nullptr);
    HalSetSleepHook(nullptr);
    HalInitialize();
}

uint32_t CFamilySimTest::Read(uint32_t ulDestId, uint8_t uchHop, uint32_t ulOffset)
{
    uint32_t ulValue = 0;
    EXPECT_EQ(0, m_pFabric->MaintRead(0, ulDestId, uchHop, ulOffset, &ulValue, 1, 4, 4, false))
        << "read of 0x" << std::hex << ulOffset;
    return ulValue;
}

void CFamilySimTest::Write(uint32_t ulDestId, uint8_t uchHop, uint32_t ulOffset, uint32_t ulValue)
{
    EXPECT_EQ(0, m_pFabric->MaintWrite(0, ulDestId, uchHop, ulOffset, &ulValue, 1, 4, 4, false))
        << "write of 0x" << std::hex << ulOffset;
}

bool CFamilySimTest::Waited(uint32_t ulMs)
{
    return std::find(s_aulWaits.begin(), s_aulWaits.end(), ulMs) != s_aulWaits.end();
}

bool CFamilySimTest::Reaches(uint32_t ulDestId, uint8_t uchHop)
{
    uint32_t ulValue = 0;
    return m_pFabric->MaintRead(0, ulDestId, uchHop, 0x00, &ulValue, 1, 4, 4, false) == 0;
}

bool CFamilySimTest::Trained(const std::string& strDevice, uint8_t uchPort)
{
    return m_pFabric->PortTrained(Device(strDevice), uchPort);
}

uint32_t CFamilySimTest::LinkMbaud(const std::string& strDevice, uint8_t uchPort)
{
    const nvsim::CSimLink* pLink = m_pFabric->Link(strDevice, uchPort);
    return pLink ? m_pFabric->LinkSpeedMbaud(*pLink) : 0;
}
} // namespace nvtest

namespace nvtest
{
std::vector<SRoute> LoadTable(uint16_t wVendorID, uint16_t wDeviceID, uint8_t uchTable, NVXL_STATUS* pnStatus,
                              uint32_t ulDestID, uint8_t uchHopCount)
{
    uint32_t ulCount = 0;
    NVXL_ROUTE_ENTRY* pTable = nullptr;
    *pnStatus =
        HalLoadRoutingTable(wVendorID, wDeviceID, 0, ulDestID, uchHopCount, uchTable, &ulCount, &pTable);
    std::vector<SRoute> routes;
    for (uint32_t i = 0; pTable && i < ulCount; i++)
        routes.push_back(
            {pTable[i].wDestID, pTable[i].uchPort, static_cast<int>(pTable[i].eType), pTable[i].ulExtra});
    free(pTable);
    return routes;
}

NVXL_STATUS StoreTable(uint16_t wVendorID, uint16_t wDeviceID, uint8_t uchTable,
                       const std::vector<SRoute>& routes, uint32_t ulDestID, uint8_t uchHopCount)
{
    std::vector<NVXL_ROUTE_ENTRY> entries;
    for (const SRoute& r : routes)
        entries.push_back({r.wDestID, r.uchPort, static_cast<NVXL_ROUTE_TYPE>(r.nType), r.ulExtra});
    return HalStoreRoutingTable(wVendorID, wDeviceID, 0, ulDestID, uchHopCount, uchTable,
                                static_cast<uint32_t>(entries.size()), entries.data());
}

SRoute GetRoute(uint16_t wVendorID, uint16_t wDeviceID, uint8_t uchTable, uint16_t wRouteDestID,
                NVXL_STATUS* pnStatus, uint32_t ulDestID, uint8_t uchHopCount)
{
    NVXL_ROUTE_TYPE eType = eNVXL_RouteTypeUndefined;
    uint8_t uchPort = 0;
    uint32_t ulExtra = 0;
    *pnStatus = HalRouteGetEntry(wVendorID, wDeviceID, 0, ulDestID, uchHopCount, uchTable, wRouteDestID,
                                 &eType, &uchPort, &ulExtra);
    return {wRouteDestID, uchPort, static_cast<int>(eType), ulExtra};
}
} // namespace nvtest
