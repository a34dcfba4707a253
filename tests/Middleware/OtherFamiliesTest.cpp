// The remaining families: PMC6352 with its lookup engines, the vendor 0x30 ID block reached by data
// transactions, vendor 2, the AMC460, the 0x80AB bridge and vendor 1 device 8's nibble tables.
#include "FamilyFixture.h"

#include <array>
#include <cstdlib>
#include <string>

namespace nvtest
{
namespace
{
constexpr uint32_t kDest = 0x30;
constexpr uint8_t kHop = 1;

class OtherFamiliesTest : public CFamilyTest
{
};

// ---- PMC6352 ----------------------------------------------------------------------------------

constexpr uint16_t kPmcVendor = 0x003B;
constexpr uint16_t kPmcDevice = 0x6352;

TEST_F(OtherFamiliesTest, PmcPortTablesAreAccessedWithTheirEngineStopped)
{
    m_target.SetReg(0x18000, 0x21); // port 2's engine runs
    ASSERT_EQ(HalRouteAddEntry(kPmcVendor, kPmcDevice, 0, kDest, kHop, 2, 0x105, 9, eNVXL_RouteTypePort, 0),
              0);
    EXPECT_EQ(Steps(), (std::vector<SStep>{{false, 0x18000, 0x21},
                                           {true, 0x18000, 0x01},
                                           {false, 0x19104, 0},
                                           {true, 0x19104, 0x00890000},
                                           {true, 0x18000, 0x21},
                                           {false, 0x18010, 0},
                                           {true, 0x18010, 0x20}}));

    NVXL_ROUTE_TYPE eType{};
    uint8_t uchPort = 0;
    uint32_t ulExtra = 0;
    ASSERT_EQ(HalRouteGetEntry(kPmcVendor, kPmcDevice, 0, kDest, kHop, 2, 0x105, &eType, &uchPort, &ulExtra),
              0);
    EXPECT_EQ(eType, eNVXL_RouteTypePort);
    EXPECT_EQ(uchPort, 9);
    ASSERT_EQ(HalRouteGetEntry(kPmcVendor, kPmcDevice, 0, kDest, kHop, 2, 0x106, &eType, &uchPort, &ulExtra),
              0);
    EXPECT_EQ(eType, eNVXL_RouteTypeUnrouted);

    // Port 0 at 0x15000 (engine stopped: left alone), and the common table without any engine.
    Forget();
    ASSERT_EQ(HalRouteAddEntry(kPmcVendor, kPmcDevice, 0, kDest, kHop, 0, 7, 1, eNVXL_RouteTypePort, 0), 0);
    EXPECT_EQ(WritesTo(0x14000), std::vector<uint32_t>{});
    EXPECT_EQ(m_target.Reg(0x15004), 0x00000081u);
    Forget();
    ASSERT_EQ(HalRouteAddEntry(kPmcVendor, kPmcDevice, 0, kDest, kHop, 255, 7, 1, eNVXL_RouteTypePort, 0), 0);
    EXPECT_EQ(Steps(), (std::vector<SStep>{{false, 0x11004, 0}, {true, 0x11004, 0x00000081}}));
    ASSERT_EQ(HalRouteAddEntry(kPmcVendor, kPmcDevice, 0, kDest, kHop, 255, 7, 1, eNVXL_RouteTypeUnrouted, 0),
              0);
    EXPECT_EQ(m_target.Reg(0x11004), 0u);

    // A whole table, loaded and stored back into another port.
    uint32_t ulEntries = 0;
    NVXL_ROUTE_ENTRY* pTable = nullptr;
    ASSERT_EQ(HalLoadRoutingTable(kPmcVendor, kPmcDevice, 0, kDest, kHop, 2, &ulEntries, &pTable), 0);
    ASSERT_EQ(ulEntries, 1u);
    EXPECT_EQ(pTable[0].wDestID, 0x105);
    EXPECT_EQ(pTable[0].uchPort, 9);
    ASSERT_EQ(HalStoreRoutingTable(kPmcVendor, kPmcDevice, 0, kDest, kHop, 5, ulEntries, pTable), 0);
    free(pTable);
    EXPECT_EQ(m_target.Reg(0x15000 + 0xA000 + 0x104), 0x00890000u);
    EXPECT_EQ(m_target.Reg(0x14010 + 0xA000), 0x20u);

    // Bad input, refused untouched.
    Forget();
    EXPECT_EQ(HalRouteAddEntry(kPmcVendor, kPmcDevice, 0, kDest, kHop, 16, 1, 1, eNVXL_RouteTypePort, 0), -9);
    EXPECT_EQ(HalRouteAddEntry(kPmcVendor, kPmcDevice, 0, kDest, kHop, 0, 4096, 1, eNVXL_RouteTypePort, 0),
              -11);
    EXPECT_EQ(HalRouteAddEntry(kPmcVendor, kPmcDevice, 0, kDest, kHop, 0, 1, 1, eNVXL_RouteTypeMCast, 0),
              -11);
    EXPECT_EQ(HalRouteAddEntry(kPmcVendor, kPmcDevice, 0, kDest, kHop, 0, 1, 1, eNVXL_RouteTypeUndefined, 0),
              -10);
    EXPECT_TRUE(m_target.m_aAccesses.empty());
}

// ID d is byte d & 3 of its word counted from the most significant byte, as the byte-wide flash
// writes it; a byte is a route when bit 7 (as written) or bit 3 (ports 8 to 15) is set.
TEST_F(OtherFamiliesTest, PmcTableBytesFollowRapidIOByteOrder)
{
    m_target.SetReg(0x15000 + 0x2000 * 3 + 0x20, 0x8A070C83); // IDs 0x20..0x23 of port 3's table
    const struct
    {
        uint16_t wID;
        NVXL_ROUTE_TYPE eType;
        uint8_t uchPort;
    } aExpected[] = {{0x20, eNVXL_RouteTypePort, 10},
                     {0x21, eNVXL_RouteTypeUnrouted, 7},
                     {0x22, eNVXL_RouteTypePort, 12},
                     {0x23, eNVXL_RouteTypePort, 3}};
    for (const auto& expected : aExpected)
    {
        NVXL_ROUTE_TYPE eType{};
        uint8_t uchPort = 0;
        uint32_t ulExtra = 1;
        ASSERT_EQ(HalRouteGetEntry(kPmcVendor, kPmcDevice, 0, kDest, kHop, 3, expected.wID, &eType, &uchPort,
                                   &ulExtra),
                  0);
        EXPECT_EQ(eType, expected.eType) << expected.wID;
        if (expected.eType == eNVXL_RouteTypePort)
        {
            EXPECT_EQ(uchPort, expected.uchPort) << expected.wID;
        }
        EXPECT_EQ(ulExtra, 0u);
    }
    uint32_t ulEntries = 0;
    NVXL_ROUTE_ENTRY* pTable = nullptr;
    ASSERT_EQ(HalLoadRoutingTable(kPmcVendor, kPmcDevice, 0, kDest, kHop, 3, &ulEntries, &pTable), 0);
    ASSERT_EQ(ulEntries, 3u);
    EXPECT_EQ(pTable[0].wDestID, 0x20);
    EXPECT_EQ(pTable[1].wDestID, 0x22);
    EXPECT_EQ(pTable[2].wDestID, 0x23);
    EXPECT_EQ(pTable[2].uchPort, 3);

    // Stored as the flash writes it: byte d of the table image at offset d.
    ASSERT_EQ(HalStoreRoutingTable(kPmcVendor, kPmcDevice, 0, kDest, kHop, 255, ulEntries, pTable), 0);
    free(pTable);
    EXPECT_EQ(m_target.Reg(0x11020), 0x8A008C83u);
    // Every route written reads back as written, ports 0 to 15, in each byte of a word.
    for (uint8_t uchPort = 0; uchPort < 16; uchPort++)
    {
        const uint16_t wID = static_cast<uint16_t>(0x400 + uchPort);
        ASSERT_EQ(
            HalRouteAddEntry(kPmcVendor, kPmcDevice, 0, kDest, kHop, 7, wID, uchPort, eNVXL_RouteTypePort, 0),
            0);
    }
    for (uint8_t uchPort = 0; uchPort < 16; uchPort++)
    {
        NVXL_ROUTE_TYPE eType{};
        uint8_t uchRead = 0xFF;
        uint32_t ulExtra = 0;
        ASSERT_EQ(HalRouteGetEntry(kPmcVendor, kPmcDevice, 0, kDest, kHop, 7,
                                   static_cast<uint16_t>(0x400 + uchPort), &eType, &uchRead, &ulExtra),
                  0);
        EXPECT_EQ(eType, eNVXL_RouteTypePort);
        EXPECT_EQ(uchRead, uchPort);
    }
    EXPECT_EQ(m_target.Reg(0x15000 + 0x2000 * 7 + 0x40C), 0x8C8D8E8Fu);
}

TEST_F(OtherFamiliesTest, PmcFlashWritesAllPortTablesAtOnce)
{
    m_target.SetReg(0x14000, 0x20);
    m_target.SetReg(0x1A000, 0x24);
    const NVXL_ROUTE_ENTRY asEntries[] = {{5, 3, eNVXL_RouteTypePort, 0}, {4095, 15, eNVXL_RouteTypePort, 0}};
    ASSERT_EQ(HalFlashRoutingTable(kPmcVendor, kPmcDevice, 0, kDest, kHop, 255, 2, asEntries), 0);
    const std::vector<SAccess>& aAccesses = m_target.m_aAccesses;
    ASSERT_EQ(aAccesses.size(), 1u + 2u + 128u + 2u);
    EXPECT_EQ(aAccesses[0].ulWordCount, 16u);
    EXPECT_EQ(aAccesses[0].ulStride, 8192u);
    EXPECT_EQ(Steps()[1], (SStep{true, 0x14000, 0x00}));
    EXPECT_EQ(Steps()[2], (SStep{true, 0x1A000, 0x04}));
    for (uint32_t k = 0; k < 128; k++)
    {
        const SAccess& a = aAccesses[3 + k];
        ASSERT_EQ(a.ulOffset, 0x11000 + 32 * k);
        ASSERT_EQ(a.ulWordCount, 32u);
        ASSERT_EQ(a.ulWordSize, 1u);
        ASSERT_EQ(a.ulStride, 1u);
    }
    EXPECT_EQ(aAccesses[3].aulWords[5], 0x83u);
    EXPECT_EQ(aAccesses[3].aulWords[6], 0u);
    EXPECT_EQ(aAccesses[130].aulWords[31], 0x8Fu);
    EXPECT_EQ(Steps()[131], (SStep{true, 0x14000, 0x20}));
    EXPECT_EQ(Steps()[132], (SStep{true, 0x1A000, 0x24}));

    // The speed register speaks for every port.
    uint32_t ulSpeed = 0;
    m_target.SetReg(0x10000, 0x8);
    EXPECT_EQ(HalGetPortSpeedMHz(kPmcVendor, kPmcDevice, 0, kDest, kHop, 3, &ulSpeed), 0);
    EXPECT_EQ(ulSpeed, 2500u);
    m_target.SetReg(0x10000, 0x3);
    EXPECT_EQ(HalGetPortSpeedMHz(kPmcVendor, kPmcDevice, 0, kDest, kHop, 3, &ulSpeed), 0);
    EXPECT_EQ(ulSpeed, 0u);
    EXPECT_EQ(HalUsesDestID(kPmcVendor, kPmcDevice), 1);
    EXPECT_EQ(HalIsPerPortRouting(kPmcVendor, kPmcDevice), 1);
}

// ---- Vendor 0x30 and vendor 2 -------------------------------------------------------------------

TEST_F(OtherFamiliesTest, Vendor30KeepsItsIDsInTheDataBlock)
{
    m_target.SetReg(0x60, 0x00FFFFFF);
    const uint16_t wSmall = 5, wLarge = 0x1234;
    ASSERT_EQ(HalSetDeviceID(0x0030, 0x0096, 0, 7, 1, &wSmall, &wLarge), 0);
    EXPECT_EQ(m_target.Reg(0x60), 0x00051234u);
    ASSERT_EQ(m_target.m_aDataAccesses.size(), 1u);
    const SDataAccess& sWrite = m_target.m_aDataAccesses[0];
    EXPECT_EQ(sWrite.eKind, SDataAccess::eDataWrite);
    EXPECT_EQ(sWrite.ulDestID, 7u);
    EXPECT_EQ(sWrite.ulAddress, 0x02D00080u);
    EXPECT_EQ(sWrite.ulXferType, 1u);
    EXPECT_EQ(sWrite.aulValues, (std::vector<uint32_t>{0x00, 0x05, 0x12, 0x34}));
    // The host's own device has no data block to copy to.
    Forget();
    ASSERT_EQ(HalSetDeviceID(0x0030, 0x0000, 0, 0xFFFFFFFF, 0, &wSmall, nullptr), 0);
    EXPECT_TRUE(m_target.m_aDataAccesses.empty());

    // Secondary IDs: read by NREAD of the block word, written back whole.
    m_target.m_mapDataBytes[0x02D0008C] = 0;
    m_target.m_mapDataBytes[0x02D0008D] = 0x21;
    m_target.m_mapDataBytes[0x02D0008E] = 0x43;
    m_target.m_mapDataBytes[0x02D0008F] = 0x65;
    uint16_t wGotSmall = 0, wGotLarge = 0;
    ASSERT_EQ(HalGet2aryDestID(0x0030, 0x0096, 0, 7, 1, 2, &wGotSmall, &wGotLarge), 0);
    EXPECT_EQ(wGotSmall, 0x21);
    EXPECT_EQ(wGotLarge, 0x4365);
    EXPECT_EQ(m_target.m_aDataAccesses.back().ulXferType, 3u);
    const uint16_t wNewSmall = 9;
    ASSERT_EQ(HalSet2aryDestID(0x0030, 0x0096, 0, 7, 1, 2, &wNewSmall, nullptr), 0);
    EXPECT_EQ(m_target.m_mapDataBytes[0x02D0008D], 9);
    EXPECT_EQ(m_target.m_mapDataBytes[0x02D0008F], 0x65);
    EXPECT_EQ(m_target.m_aDataAccesses.back().ulXferType, 1u);
    // Through server memory for the host's own device.
    m_target.m_mapMemoryWords[0x02D00084] = 0x00070102;
    ASSERT_EQ(HalGet2aryDestID(0x0030, 0x0000, 0, 0xFFFFFFFF, 0, 0, &wGotSmall, &wGotLarge), 0);
    EXPECT_EQ(wGotSmall, 7);
    EXPECT_EQ(wGotLarge, 0x0102);
    EXPECT_EQ(m_target.m_aDataAccesses.back().eKind, SDataAccess::eMemoryRead);

    // Device 0x96 has three secondary IDs, device 0 one; beyond them nothing is touched.
    Forget();
    EXPECT_EQ(HalGet2aryDestID(0x0030, 0x0096, 0, 7, 1, 3, &wGotSmall, &wGotLarge), -10);
    EXPECT_EQ(HalSet2aryDestID(0x0030, 0x0000, 0, 7, 1, 1, &wNewSmall, nullptr), -10);
    EXPECT_TRUE(m_target.m_aDataAccesses.empty());

    uint16_t wFlags = 0, wNum = 0;
    ASSERT_EQ(HalGetVDIDCaps(0x0030, 0x0096, 0, 7, 1, &wFlags, &wNum), 0);
    EXPECT_EQ(wFlags, 3);
    EXPECT_EQ(wNum, 3);
    ASSERT_EQ(HalGetVDIDCaps(0x0030, 0x0000, 0, 7, 1, &wFlags, &wNum), 0);
    EXPECT_EQ(wFlags, 1);
    EXPECT_EQ(wNum, 1);
    // Vendor 2 device 0x12 accepts all IDs and has no secondary ones.
    ASSERT_EQ(HalGetVDIDCaps(0x0002, 0x0012, 0, 7, 1, &wFlags, &wNum), 0);
    EXPECT_EQ(wFlags, 2);
    EXPECT_EQ(wNum, 0);
    EXPECT_TRUE(m_target.m_aAccesses.empty());

    // Host access of device 0x96 is bit 27 of the block's control word; device 0 has none.
    m_target.m_mapDataBytes[0x02D00020] = 0x01;
    ASSERT_EQ(HalEnableHostAccess(0x0030, 0x0096, 0, 7, 1, 1), 0);
    EXPECT_EQ(m_target.m_mapDataBytes[0x02D00020], 0x09);
    ASSERT_EQ(HalEnableHostAccess(0x0030, 0x0096, 0, 7, 1, 0), 0);
    EXPECT_EQ(m_target.m_mapDataBytes[0x02D00020], 0x01);
    Forget();
    EXPECT_EQ(HalEnableHostAccess(0x0030, 0x0000, 0, 7, 1, 1), 0);
    EXPECT_TRUE(m_target.m_aDataAccesses.empty());
}

TEST_F(OtherFamiliesTest, Vendor2OpensItselfAndReadsOneControlRegister)
{
    ASSERT_EQ(HalEnableHostAccess(0x0002, 0x0003, 0, kDest, kHop, 1), 0);
    ASSERT_EQ(HalEnableHostAccess(0x0002, 0x0012, 0, kDest, kHop, 0), 0);
    EXPECT_EQ(Steps(), (std::vector<SStep>{{true, 0x10000, 1}, {true, 0x10120, 0}}));

    // Device 0x12 answers every port from the one register at 0x15C.
    Forget();
    m_target.SetReg(0x15C, (1u << 30) | (2u << 27) | (2u << 24));
    std::array<uint8_t, 4> auchWidths{};
    uint32_t bParallel = 9, ulType = 0;
    ASSERT_EQ(HalGetPortWidth(0x0002, 0x0012, 0, kDest, kHop, 5, &auchWidths[0], &auchWidths[1],
                              &auchWidths[2], &auchWidths[3], &bParallel, &ulType),
              0);
    EXPECT_EQ(auchWidths, (std::array<uint8_t, 4>{4, 255, 4, 1}));
    EXPECT_EQ(ulType, 1u);
    EXPECT_EQ(bParallel, 0u);
    EXPECT_EQ(Steps(), (std::vector<SStep>{{false, 0x15C, (1u << 30) | (2u << 27) | (2u << 24)}}));
}

// ---- AMC460 and the 0x80AB bridge -----------------------------------------------------------------

TEST_F(OtherFamiliesTest, AMC460IsWrittenAndReadBackAtItsNewID)
{
    m_target.SetReg(0x60, 0x00FFFFFF);
    HalSetDebugFlag(1, 1);
    const uint16_t wSmall = 3;
    ASSERT_EQ(HalSetDeviceID(0x0064, 0x0100, 0, 0xFF, 2, &wSmall, nullptr), 0);
    ASSERT_EQ(m_target.m_aAccesses.size(), 3u);
    EXPECT_EQ(m_target.m_aAccesses[0].ulDestID, 0xFFu);
    EXPECT_EQ(m_target.m_aAccesses[1].ulDestID, 3u);
    EXPECT_TRUE(m_target.m_aAccesses[1].bWrite);
    EXPECT_EQ(m_target.m_aAccesses[1].aulWords, std::vector<uint32_t>{0x0003FFFF});
    EXPECT_EQ(m_target.m_aAccesses[2].ulDestID, 3u);
    EXPECT_EQ(m_target.m_aAccesses[2].ulOffset, 0x60u);
    EXPECT_NE(m_target.DebugText().find("Updating BASE_ID register on AMC460\n"), std::string::npos);

    // With 16-bit transport the large ID addresses it; the host's own device stays where it is.
    Forget();
    HalSetLargeTransport(1);
    const uint16_t wLarge = 0x1234;
    ASSERT_EQ(HalSetDeviceID(0x0064, 0x0100, 0, 0xFFFF, 2, nullptr, &wLarge), 0);
    EXPECT_EQ(m_target.m_aAccesses[1].ulDestID, 0x1234u);
    Forget();
    ASSERT_EQ(HalSetDeviceID(0x0064, 0x0100, 0, 0xFFFFFFFF, 0, nullptr, &wLarge), 0);
    for (const SAccess& a : m_target.m_aAccesses)
        EXPECT_EQ(a.ulDestID, 0xFFFFFFFFu);
}

TEST_F(OtherFamiliesTest, BridgePortWidthAndSpeedRegisters)
{
    std::array<uint8_t, 4> auchWidths{77, 77, 77, 77};
    uint32_t bParallel = 9, ulType = 0;
    m_target.SetReg(0x15C, 1);
    ASSERT_EQ(HalGetPortWidth(0x0038, 0x80AB, 0, kDest, kHop, 0, &auchWidths[0], &auchWidths[1],
                              &auchWidths[2], &auchWidths[3], &bParallel, &ulType),
              0);
    EXPECT_EQ(auchWidths, (std::array<uint8_t, 4>{77, 77, 77, 77}));
    m_target.SetReg(0x15C, 0xC0000000 | (2u << 27));
    ASSERT_EQ(HalGetPortWidth(0x0038, 0x80AB, 0, kDest, kHop, 0, &auchWidths[0], &auchWidths[1],
                              &auchWidths[2], &auchWidths[3], &bParallel, &ulType),
              0);
    EXPECT_EQ(auchWidths, (std::array<uint8_t, 4>{4, 255, 4, 255}));
    m_target.SetReg(0x15C, 0x40000000);
    ASSERT_EQ(HalGetPortWidth(0x0038, 0x80AB, 0, kDest, kHop, 0, &auchWidths[0], &auchWidths[1],
                              &auchWidths[2], &auchWidths[3], &bParallel, &ulType),
              0);
    EXPECT_EQ(auchWidths[2], 1);

    uint32_t ulSpeed = 0;
    for (const auto& [ulValue, ulExpected] : std::vector<std::pair<uint32_t, uint32_t>>{{0x30000000, 3125},
                                                                                        {0x40400000, 5000},
                                                                                        {0x00440000, 5000},
                                                                                        {0x00500000, 3125},
                                                                                        {0x01400000, 2500},
                                                                                        {0x01000000, 1250},
                                                                                        {0x00000000, 0}})
    {
        m_target.SetReg(0x154, ulValue);
        ASSERT_EQ(HalGetPortSpeedMHz(0x0038, 0x80AB, 0, kDest, kHop, 0, &ulSpeed), 0);
        EXPECT_EQ(ulSpeed, ulExpected) << std::hex << ulValue;
    }
    m_target.SetReg(0x154, 0x3155000F);
    ASSERT_EQ(HalSetPortSpeedMHz(0x0038, 0x80AB, 0, kDest, kHop, 0, 1250), 0);
    EXPECT_EQ(m_target.Reg(0x154), 0x3100000Fu);
    ASSERT_EQ(HalSetPortSpeedMHz(0x0038, 0x80AB, 0, kDest, kHop, 0, 5000), 0);
    EXPECT_EQ(m_target.Reg(0x154), 0x3004000Fu);
    Forget();
    EXPECT_EQ(HalSetPortSpeedMHz(0x0038, 0x80AB, 0, kDest, kHop, 0, 6250), -9);
    EXPECT_TRUE(m_target.m_aAccesses.empty());
}

// ---- Vendor 1 device 8 ------------------------------------------------------------------------

TEST_F(OtherFamiliesTest, Device8TablesAreNibblesUnlockedForEveryWrite)
{
    for (uint32_t i = 0; i < 256; i++)
        m_target.SetReg(0x10800 + 4 * i, 0x88888888);
    ASSERT_EQ(HalRouteAddEntry(0x0001, 0x0008, 0, kDest, kHop, 1, 3, 1, eNVXL_RouteTypePort, 0), 0);
    const uint32_t ulUnlock1 = (1u << 17) + 64206;
    EXPECT_EQ(Steps(), (std::vector<SStep>{{false, 0x1080C, 0x88888888},
                                           {true, 0x100E8, ulUnlock1},
                                           {true, 0x1080C, 0x88888818},
                                           {true, 0x100E8, ulUnlock1}}));

    // A table of its own from the area: table 0 untouched by the write above.
    HalSetDebugFlag(3, 1);
    uint32_t ulEntries = 9;
    NVXL_ROUTE_ENTRY* pTable = nullptr;
    ASSERT_EQ(HalLoadRoutingTable(0x0001, 0x0008, 0, kDest, kHop, 0, &ulEntries, &pTable), 0);
    EXPECT_EQ(ulEntries, 0u);
    ASSERT_EQ(HalLoadRoutingTable(0x0001, 0x0008, 0, kDest, kHop, 1, &ulEntries, &pTable), 0);
    ASSERT_EQ(ulEntries, 1u);
    EXPECT_EQ(pTable[0].wDestID, 3);
    EXPECT_EQ(pTable[0].uchPort, 1);
    EXPECT_NE(m_target.DebugText().find("Loading small routing table 1 from device 0008 manuf 0001\n"),
              std::string::npos);

    // Stored into table 0, the entries of table 1 stay where they are.
    ASSERT_EQ(HalStoreRoutingTable(0x0001, 0x0008, 0, kDest, kHop, 0, ulEntries, pTable), 0);
    free(pTable);
    EXPECT_EQ(m_target.Reg(0x1080C), 0x88888811u);
    EXPECT_EQ(WritesTo(0x100E8), (std::vector<uint32_t>{ulUnlock1, ulUnlock1, 65536 + 64206, 65536 + 64206}));
    // Reset empties both ports' tables.
    ASSERT_EQ(HalResetRoutingTable(0x0001, 0x0008, 0, kDest, kHop), 0);
    EXPECT_EQ(m_target.Reg(0x1080C), 0x88888888u);

    // The large area follows a 16-bit transport.
    Forget();
    HalSetLargeTransport(1);
    ASSERT_EQ(HalRouteAddEntry(0x0001, 0x0008, 0, kDest, kHop, 0, 1000, 1, eNVXL_RouteTypeUnrouted, 0), 0);
    EXPECT_TRUE(Touched(0x11C00 + 4000, true));
    HalSetLargeTransport(0);

    // Out of range, refused untouched.
    Forget();
    EXPECT_EQ(HalRouteAddEntry(0x0001, 0x0008, 0, kDest, kHop, 0, 256, 1, eNVXL_RouteTypePort, 0), -11);
    EXPECT_EQ(HalRouteAddEntry(0x0001, 0x0008, 0, kDest, kHop, 2, 1, 1, eNVXL_RouteTypePort, 0), -9);
    EXPECT_EQ(HalRouteAddEntry(0x0001, 0x0008, 0, kDest, kHop, 0, 1, 8, eNVXL_RouteTypePort, 0), -11);
    uint32_t bTrained = 0;
    EXPECT_EQ(HalIsPortTrained(0x0001, 0x0008, 0, kDest, kHop, 8, &bTrained), -10);
    EXPECT_TRUE(m_target.m_aAccesses.empty());

    // Port status: bit 3 of the port's nibble means down.
    m_target.SetReg(0x100B0, 0x00000080);
    ASSERT_EQ(HalIsPortTrained(0x0001, 0x0008, 0, kDest, kHop, 1, &bTrained), 0);
    EXPECT_EQ(bTrained, 0u);
    ASSERT_EQ(HalIsPortTrained(0x0001, 0x0008, 0, kDest, kHop, 0, &bTrained), 0);
    EXPECT_EQ(bTrained, 1u);
}
} // namespace
} // namespace nvtest
