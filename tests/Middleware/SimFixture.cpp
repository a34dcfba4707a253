#include "SimFixture.h"

#include "nvsim/Topology.h"

#include <algorithm>
#include <cstdlib>

namespace nvtest
{
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
    m_pTransport = std::make_unique<CSimTransport>(*m_pFabric);
    m_pTransport->Install();
}

void CFamilySimTest::TearDown()
{
    m_pTransport.reset();
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
