// The registry of device families: the registration order, the shared record and the records whose
// entries stray from their neighbours on purpose.
#include "FamilyFixture.h"

#include <array>
#include <cstdio>
#include <string>

namespace nvtest
{
namespace
{
class DeviceTableTest : public CFamilyTest
{
};

TEST_F(DeviceTableTest, FamiliesAreRegisteredInTheirFixedOrder)
{
    HalInitialize();
    m_target.Install();
    HalSetDebugFlag(0, 1);
    HalRegisterDeviceFamilies();

    const std::vector<uint32_t> aulExpected = {
        0x00120002, 0x00030002, 0x03100038, 0x035A0038, 0x035B0038, 0x035C0038, 0x035D0038, 0x035E0038,
        0x035F0038, 0x03740038, 0x03750038, 0x03770038, 0x03780038, 0x03790038, 0x00000000, 0x00060001,
        0x00080001, 0x0400000D, 0x0001006A, 0x0E010000, 0x0000005A, 0x00020002, 0x00030002, 0x6352003B,
        0x00000030, 0x00960030, 0x0500000D, 0x0564000D, 0x0568000D, 0x0574000D, 0x0575000D, 0x0576000D,
        0x0577000D, 0x0578000D, 0x01000064, 0x80AB0038};
    std::vector<uint32_t> aulLogged;
    for (const std::string& strLine : m_target.m_astrDebug)
    {
        unsigned uVendor = 0, uDevice = 0;
        ASSERT_EQ(std::sscanf(strLine.c_str(),
                              "Custom HAL I/F for Vendor %04Xh, Device %04Xh has been registered.\n",
                              &uVendor, &uDevice),
                  2)
            << strLine;
        aulLogged.push_back((uDevice << 16) | uVendor);
    }
    EXPECT_EQ(aulLogged, aulExpected);
    // Registering touches no device.
    EXPECT_TRUE(m_target.m_aAccesses.empty());
}

TEST_F(DeviceTableTest, SharedRecordLosesEveryLookup)
{
    // The six keys of the shared record: the last one belongs to the vendor 2 device 3 record
    // registered before it, the others to nothing any more.
    const HalInterface* pDevice3 = HalFindInterface(0x0003, 0x0002);
    ASSERT_NE(pDevice3, nullptr);
    EXPECT_NE(pDevice3->pfnEnableHostAccess, nullptr);
    EXPECT_EQ(pDevice3->pfnGetPortWidth, nullptr);
    EXPECT_EQ(HalFindInterface(0x0400, 0x000D), nullptr);
    EXPECT_EQ(HalFindInterface(0x0001, 0x006A), nullptr);
    EXPECT_EQ(HalFindInterface(0x0E01, 0x0000), nullptr);
    EXPECT_EQ(HalFindInterface(0x0000, 0x005A), nullptr);
    EXPECT_EQ(HalFindInterface(0x0002, 0x0002), nullptr);

    // So the port width of 0x00030002 is the dispatcher's "not known", without an access.
    std::array<uint8_t, 4> auchWidths{};
    uint32_t bParallel = 7, ulType = 7;
    EXPECT_EQ(HalGetPortWidth(0x0002, 0x0003, 0, 5, 1, 0, &auchWidths[0], &auchWidths[1], &auchWidths[2],
                              &auchWidths[3], &bParallel, &ulType),
              0);
    EXPECT_EQ(auchWidths, (std::array<uint8_t, 4>{255, 255, 255, 255}));
    EXPECT_EQ(ulType, 0u);
    EXPECT_TRUE(m_target.m_aAccesses.empty());

    // Registering again (a second front end) leaves the lookups as they were.
    HalInitialize();
    m_target.Install();
    HalRegisterDeviceFamilies();
    EXPECT_EQ(HalFindInterface(0x0003, 0x0002), pDevice3);
    EXPECT_EQ(HalFindInterface(0x0400, 0x000D), nullptr);
}

TEST_F(DeviceTableTest, IrregularTsiRecordsKeepTheirGaps)
{
    // Tsi575 has no port configuration entry while the Tsi574 has one.
    m_target.SetReg(0x15C + 32 * 2, 0x40600000);
    uint32_t ulMask = 0xFFFFFFFF;
    NVXL_PORT_CONFIG sConfig{};
    EXPECT_EQ(HalGetPortConfig(0x000D, 0x0575, 0, 9, 1, 2, &ulMask, &sConfig), -9);
    EXPECT_EQ(ulMask, 0u);
    EXPECT_TRUE(m_target.m_aAccesses.empty());
    ulMask = (1u << 31) | (1u << 22) | (1u << 23) | 1u | (1u << 5);
    ASSERT_EQ(HalGetPortConfig(0x000D, 0x0574, 0, 9, 1, 2, &ulMask, &sConfig), 0);
    // Bit 5 names no field: it is not delivered.
    EXPECT_EQ(ulMask, (1u << 31) | (1u << 22) | (1u << 23) | 1u);
    EXPECT_EQ(sConfig.ulPortWidth, 1u);
    EXPECT_EQ(sConfig.bOutputEnable, 1u);
    EXPECT_EQ(sConfig.bPortDisable, 0u);
    EXPECT_EQ(sConfig.bParallel, 0u);

    // Tsi577 refuses a speed change whatever the port, without looking at the device; the Tsi578
    // next to it changes the speed.
    Forget();
    EXPECT_EQ(HalSetPortSpeedMHz(0x000D, 0x0577, 0, 9, 1, 3, 2500), -9);
    EXPECT_TRUE(m_target.m_aAccesses.empty());
    // Partner port 2 reads as not trained (an empty register space).
    EXPECT_EQ(HalSetPortSpeedMHz(0x000D, 0x0578, 0, 9, 1, 3, 2500), 0);
    EXPECT_EQ(WritesTo(0x130C8 + 0x200).size(), 3u);
}

TEST_F(DeviceTableTest, OnlyTheTsi568ReadsItsOwnDefaultRoute)
{
    m_target.SetReg(0x10, 0x10000100); // a switch with the standard table form
    m_target.SetReg(0x78, 5);
    m_target.SetReg(0x7C, 9);
    uint8_t uchPort = 0;
    EXPECT_EQ(HalGetDefaultRoute(0x000D, 0x0568, 0, 9, 1, &uchPort), 0);
    EXPECT_EQ(uchPort, 9);
    EXPECT_EQ(Steps(), (std::vector<SStep>{{false, 0x7C, 9}}));
    // The Tsi564 reads the standard register.
    EXPECT_EQ(HalGetDefaultRoute(0x000D, 0x0564, 0, 9, 1, &uchPort), 0);
    EXPECT_EQ(uchPort, 5);
    // Both set it through 0x7C.
    EXPECT_EQ(HalSetDefaultRoute(0x000D, 0x0564, 0, 9, 1, 3), 0);
    EXPECT_EQ(m_target.Reg(0x7C), 3u);
    // A port of 17 or more is not a default route.
    m_target.SetReg(0x7C, 17);
    EXPECT_EQ(HalGetDefaultRoute(0x000D, 0x0568, 0, 9, 1, &uchPort), -2);
    m_target.SetReg(0x7C, 16);
    EXPECT_EQ(HalGetDefaultRoute(0x000D, 0x0568, 0, 9, 1, &uchPort), 0);
}

TEST_F(DeviceTableTest, DevicesThatAnswerForThemselves)
{
    // The device without identity is a bridge, once its features register could be read.
    m_target.SetReg(0x10, 0x10000000);
    uint32_t ulFeatures = 0;
    EXPECT_EQ(HalGetFeatures(0, 0, 0, 3, 1, &ulFeatures), 0);
    EXPECT_EQ(ulFeatures, 0x80000000u);
    EXPECT_EQ(Steps(), (std::vector<SStep>{{false, 0x10, 0x10000000}}));
    m_target.FailReads(0x10, -6);
    EXPECT_EQ(HalGetFeatures(0, 0, 0, 3, 1, &ulFeatures), -6);

    // Vendor 1 device 6 pretends without a single access.
    Forget();
    uint32_t ulValue = 0, ulEntries = 9;
    uint16_t wOwner = 0;
    EXPECT_EQ(HalGetFeatures(1, 6, 0, 3, 1, &ulValue), 0);
    EXPECT_EQ(ulValue, 0x10000000u);
    EXPECT_EQ(HalGetSwitchPortInfo(1, 6, 0, 3, 1, &ulValue), 0);
    EXPECT_EQ(ulValue, 32u);
    EXPECT_EQ(HalIsPortTrained(1, 6, 0, 3, 1, 4, &ulValue), 0);
    EXPECT_EQ(ulValue, 1u);
    EXPECT_EQ(HalAcquireDeviceLock(1, 6, 0, 3, 1, 7, &wOwner, 5, 0), 0);
    EXPECT_EQ(HalReleaseDeviceLock(1, 6, 0, 3, 1, 7, &wOwner), 0);
    EXPECT_EQ(HalRouteAddEntry(1, 6, 0, 3, 1, 0, 5, 1, eNVXL_RouteTypePort, 0), 0);
    NVXL_ROUTE_TYPE eType = eNVXL_RouteTypePort;
    uint8_t uchPort = 0;
    EXPECT_EQ(HalRouteGetEntry(1, 6, 0, 3, 1, 0, 5, &eType, &uchPort, &ulValue), 0);
    EXPECT_EQ(eType, eNVXL_RouteTypeUnrouted);
    NVXL_ROUTE_ENTRY* pTable = nullptr;
    EXPECT_EQ(HalLoadRoutingTable(1, 6, 0, 3, 1, 0, &ulEntries, &pTable), 0);
    EXPECT_EQ(ulEntries, 0u);
    EXPECT_EQ(pTable, nullptr);
    NVXL_ROUTE_ENTRY sEntry{5, 1, eNVXL_RouteTypePort, 0};
    EXPECT_EQ(HalStoreRoutingTable(1, 6, 0, 3, 1, 0, 1, &sEntry), 0);

    // Vendor 1 device 8 runs at a fixed speed and has no lock to take.
    EXPECT_EQ(HalGetPortSpeedMHz(1, 8, 0, 3, 1, 1, &ulValue), 0);
    EXPECT_EQ(ulValue, 2500u);
    EXPECT_EQ(HalSetPortSpeedMHz(1, 8, 0, 3, 1, 1, 2500), -9);
    EXPECT_EQ(HalAcquireDeviceLock(1, 8, 0, 3, 1, 7, &wOwner, 5, 1), 0);
    EXPECT_EQ(HalReleaseDeviceLock(1, 8, 0, 3, 1, 7, &wOwner), 0);
    EXPECT_EQ(HalGetSwitchPortInfo(1, 8, 0, 3, 1, &ulValue), 0);
    EXPECT_EQ(ulValue, 0x200u);
    EXPECT_TRUE(m_target.m_aAccesses.empty());
}
} // namespace
} // namespace nvtest
