// The Tsi families: per-port route tables behind self-counting register pairs, the SerDes speed of
// port pairs, the boot EEPROM behind the I2C master with the route records written into it, ackID
// repair, and the nibble tables of the Tsi500.
#include "FamilyFixture.h"

#include <array>
#include <cstdlib>
#include <map>
#include <string>

namespace nvtest
{
namespace
{
constexpr uint16_t kTundra = 0x000D;
constexpr uint16_t kTsi568 = 0x0568;
constexpr uint16_t kTsi574 = 0x0574;
constexpr uint16_t kTsi578 = 0x0578;
constexpr uint16_t kTsi500 = 0x0500;
constexpr uint32_t kDest = 0x12;
constexpr uint8_t kHop = 3;

class TsiFamiliesTest : public CFamilyTest
{
protected:
    void SetUp() override
    {
        CFamilyTest::SetUp();
        m_target.SetReg(0x0C, 0x100);
    }

    // The per-port table registers: 0x80000000 written to a table's DestID register starts a walk
    // from ID 0 on which every access of the port register moves on by one; any other value selects
    // that one ID.
    void EmulateCountingTables()
    {
        m_target.m_fnWriteWord = [this](uint32_t ulOffset, uint32_t ulValue)
        {
            const uint32_t ulTable = (ulOffset - 0x11070) / 0x100;
            if (ulOffset >= 0x11070 && ulOffset < 0x12070 && ulOffset % 0x100 == 0x70)
            {
                m_bCounting = (ulValue & 0x80000000) != 0;
                m_ulIndex = m_bCounting ? 0 : ulValue;
                return true;
            }
            if (ulOffset >= 0x11074 && ulOffset < 0x12074 && ulOffset % 0x100 == 0x74)
            {
                Table(ulTable)[m_ulIndex] = ulValue;
                m_ulIndex += m_bCounting ? 1 : 0;
                return true;
            }
            return false;
        };
        m_target.m_fnReadWord = [this](uint32_t ulOffset, uint32_t& ulValue)
        {
            if (ulOffset < 0x11074 || ulOffset >= 0x12074 || ulOffset % 0x100 != 0x74)
                return false;
            ulValue = Table((ulOffset - 0x11074) / 0x100)[m_ulIndex];
            m_ulIndex += m_bCounting ? 1 : 0;
            return true;
        };
    }

    std::vector<uint32_t>& Table(uint32_t ulTable)
    {
        auto it = m_mapTables.find(ulTable);
        if (it == m_mapTables.end())
            it = m_mapTables.emplace(ulTable, std::vector<uint32_t>(512, 255)).first;
        return it->second;
    }

    // An EEPROM behind the I2C master at ulBase: a command moves up to four bytes between the
    // EEPROM and the data registers, the high byte first.
    void EmulateEeprom(uint32_t ulBase)
    {
        m_abEeprom.fill(0xFF);
        m_target.m_fnWriteWord = [this, ulBase](uint32_t ulOffset, uint32_t ulValue)
        {
            if (ulOffset != ulBase + 4)
                return false;
            const uint32_t ulCount = (ulValue >> 24) & 0xF;
            const uint32_t ulAddress = ulValue & 0xFFFFFF;
            if ((ulValue & 0xC0000000) == 0xC0000000)
            {
                const uint32_t ulData = m_target.Reg(ulBase + 12);
                for (uint32_t k = 0; k < ulCount; k++)
                    m_abEeprom[ulAddress + k] = uint8_t(ulData >> (24 - 8 * k));
            }
            else if (ulValue & 0x80000000)
            {
                uint32_t ulData = 0;
                for (uint32_t k = 0; k < ulCount; k++)
                    ulData |= uint32_t(m_abEeprom[ulAddress + k]) << (24 - 8 * k);
                m_target.SetReg(ulBase + 8, ulData);
            }
            return false;
        };
    }

    uint32_t EepromWord(uint32_t ulAddress) const
    {
        return (uint32_t(m_abEeprom[ulAddress]) << 24) | (uint32_t(m_abEeprom[ulAddress + 1]) << 16) |
               (uint32_t(m_abEeprom[ulAddress + 2]) << 8) | m_abEeprom[ulAddress + 3];
    }

    std::map<uint32_t, std::vector<uint32_t>> m_mapTables;
    uint32_t m_ulIndex = 0;
    bool m_bCounting = false;
    std::array<uint8_t, 256> m_abEeprom{};
};

TEST_F(TsiFamiliesTest, RoutesGoThroughTheTablesRegisterPair)
{
    HalSetDebugFlag(3, 1);
    EXPECT_EQ(HalRouteAddEntry(kTundra, kTsi578, 0, kDest, kHop, 3, 5, 7, eNVXL_RouteTypePort, 0), 0);
    EXPECT_EQ(HalRouteAddEntry(kTundra, kTsi578, 0, kDest, kHop, 255, 6, 7, eNVXL_RouteTypeUnrouted, 0), 0);
    EXPECT_EQ(Steps(), (std::vector<SStep>{
                           {true, 0x11370, 5}, {true, 0x11374, 7}, {true, 0x70, 6}, {true, 0x74, 255}}));
    EXPECT_NE(m_target.DebugText().find("Add route for DestID 5 in port 3, out port 7\n"), std::string::npos);

    NVXL_ROUTE_TYPE eType{};
    uint8_t uchPort = 0;
    uint32_t ulExtra = 9;
    m_target.SetReg(0x11374, 15);
    EXPECT_EQ(HalRouteGetEntry(kTundra, kTsi568, 0, kDest, kHop, 3, 5, &eType, &uchPort, &ulExtra), 0);
    EXPECT_EQ(eType, eNVXL_RouteTypePort);
    EXPECT_EQ(uchPort, 15);
    EXPECT_EQ(ulExtra, 0u);
    m_target.SetReg(0x11374, 16);
    EXPECT_EQ(HalRouteGetEntry(kTundra, kTsi568, 0, kDest, kHop, 3, 5, &eType, &uchPort, &ulExtra), 0);
    EXPECT_EQ(eType, eNVXL_RouteTypeUnrouted);

    // Only ports and "no route" mean something here; bad input is refused before any access.
    Forget();
    EXPECT_EQ(HalRouteAddEntry(kTundra, kTsi578, 0, kDest, kHop, 3, 5, 7, eNVXL_RouteTypeDefault, 0), 0);
    EXPECT_EQ(HalRouteAddEntry(kTundra, kTsi578, 0, kDest, kHop, 3, 5, 7, eNVXL_RouteTypeMCast, 0), 0);
    EXPECT_EQ(HalRouteAddEntry(kTundra, kTsi578, 0, kDest, kHop, 3, 5, 7, eNVXL_RouteTypeUndefined, 0), -10);
    EXPECT_EQ(HalRouteAddEntry(kTundra, kTsi578, 0, kDest, kHop, 3, 512, 7, eNVXL_RouteTypePort, 0), -11);
    EXPECT_EQ(HalRouteGetEntry(kTundra, kTsi578, 0, kDest, kHop, 3, 512, &eType, &uchPort, &ulExtra), -11);
    EXPECT_EQ(HalRouteAddEntry(kTundra, kTsi578, 0, kDest, kHop, 16, 5, 7, eNVXL_RouteTypePort, 0), -9);
    EXPECT_TRUE(m_target.m_aAccesses.empty());
}

TEST_F(TsiFamiliesTest, PerPortTablesLoadAndStoreThroughTheCountingRegister)
{
    EmulateCountingTables();
    const NVXL_ROUTE_ENTRY asEntries[] = {{3, 1, eNVXL_RouteTypePort, 0},
                                          {4, 2, eNVXL_RouteTypeUnrouted, 0},
                                          {511, 15, eNVXL_RouteTypePort, 0}};
    ASSERT_EQ(HalStoreRoutingTable(kTundra, kTsi574, 0, kDest, kHop, 2, 3, asEntries), 0);
    std::vector<uint32_t> aulExpected(512, 255);
    aulExpected[3] = 1;
    aulExpected[511] = 15;
    EXPECT_EQ(Table(2), aulExpected);
    ASSERT_EQ(m_target.m_aAccesses.size(), 5u);
    EXPECT_EQ(m_target.m_aAccesses[0].ulOffset, 0x11270u);
    EXPECT_EQ(m_target.m_aAccesses[0].aulWords, std::vector<uint32_t>{0x80000000});
    for (size_t i = 0; i < m_target.m_aAccesses.size(); i++)
    {
        EXPECT_EQ(m_target.m_aAccesses[i].ulStride, 0u);
        EXPECT_EQ(m_target.m_aAccesses[i].ulWordCount, i == 0 ? 1u : 128u);
    }

    Forget();
    HalSetDebugFlag(3, 1);
    uint32_t ulEntries = 0;
    NVXL_ROUTE_ENTRY* pTable = nullptr;
    ASSERT_EQ(HalLoadRoutingTable(kTundra, kTsi574, 0, kDest, kHop, 2, &ulEntries, &pTable), 0);
    ASSERT_EQ(ulEntries, 2u);
    EXPECT_EQ(pTable[0].wDestID, 3);
    EXPECT_EQ(pTable[0].uchPort, 1);
    EXPECT_EQ(pTable[1].wDestID, 511);
    EXPECT_EQ(pTable[1].uchPort, 15);
    EXPECT_EQ(pTable[1].eType, eNVXL_RouteTypePort);
    free(pTable);
    EXPECT_NE(m_target.DebugText().find("Loading routing table for IDT Tsi574\n"), std::string::npos);

    // The table of all ports is the standard table of 512 IDs and 16 ports.
    std::vector<uint8_t> auchRoutes(512, 255);
    auchRoutes[7] = 4;
    auchRoutes[8] = 16;
    m_target.SetRouteTable(auchRoutes, false);
    ASSERT_EQ(HalLoadRoutingTable(kTundra, kTsi574, 0, kDest, kHop, 255, &ulEntries, &pTable), 0);
    ASSERT_EQ(ulEntries, 1u);
    EXPECT_EQ(pTable[0].wDestID, 7);
    free(pTable);
}

TEST_F(TsiFamiliesTest, SpeedChangesHoldThePairsLanesAndThenSettle)
{
    // Tsi568, port 5: its pair's word at 0x130C4 + 0x400, partner port 4 not trained.
    m_target.SetReg(0x134C4, 0x31);
    ASSERT_EQ(HalSetPortSpeedMHz(kTundra, kTsi568, 0, kDest, kHop, 5, 3125), 0);
    EXPECT_EQ(WritesTo(0x134C4), (std::vector<uint32_t>{0x39, 0x3A, 0x32}));
    EXPECT_EQ(s_aulWaits, std::vector<uint32_t>{75});
    uint32_t ulSpeed = 0;
    EXPECT_EQ(HalGetPortSpeedMHz(kTundra, kTsi568, 0, kDest, kHop, 4, &ulSpeed), 0);
    EXPECT_EQ(ulSpeed, 3125u);

    // Tsi57x, even port 2: both hold bits, in the word at 0x130C8 + 0x200.
    Forget();
    ASSERT_EQ(HalSetPortSpeedMHz(kTundra, kTsi574, 0, kDest, kHop, 2, 2500), 0);
    EXPECT_EQ(WritesTo(0x132C8), (std::vector<uint32_t>{0x0C, 0x0D, 0x01}));

    // Port 0, a speed the SerDes cannot run and a trained partner are refused.
    Forget();
    EXPECT_EQ(HalSetPortSpeedMHz(kTundra, kTsi574, 0, kDest, kHop, 0, 2500), -9);
    EXPECT_EQ(HalSetPortSpeedMHz(kTundra, kTsi574, 0, kDest, kHop, 2, 5000), -9);
    EXPECT_TRUE(m_target.m_aAccesses.empty());
    HalSetDebugFlag(3, 1);
    m_target.SetReg(0x158 + 32 * 3, 0x2);
    EXPECT_EQ(HalSetPortSpeedMHz(kTundra, kTsi574, 0, kDest, kHop, 2, 2500), -9);
    EXPECT_EQ(m_target.NumWrites(), 0u);
    EXPECT_NE(m_target.DebugText().find("Port 3 is trained, so not messing with this one\n"),
              std::string::npos);
    m_target.FailReads(0x0C, -6);
    EXPECT_EQ(HalSetPortSpeedMHz(kTundra, kTsi574, 0, kDest, kHop, 2, 2500), -6);
    EXPECT_NE(m_target.DebugText().find(
                  "Unable to test if port 3 is trained. Error -6 'A RapidIO timeout has occurred.'\n"),
              std::string::npos);
    EXPECT_TRUE(s_aulWaits.empty());
}

TEST_F(TsiFamiliesTest, EepromReadWriteInitThroughTheI2CMaster)
{
    EmulateEeprom(0x1D108);
    EXPECT_EQ(HalSupportsEEPROM(kTundra, kTsi574), 1);
    const uint8_t abData[7] = {1, 2, 3, 4, 5, 6, 7};
    ASSERT_EQ(HalWriteEEPROM(kTundra, kTsi574, 0, kDest, kHop, 7, 0x10, abData), 0);
    EXPECT_EQ(WritesTo(0x1D114), (std::vector<uint32_t>{0x01020304, 0x05060700}));
    EXPECT_EQ(WritesTo(0x1D10C), (std::vector<uint32_t>{0xC4000010, 0xC3000014}));
    for (const SAccess& a : m_target.m_aAccesses)
        EXPECT_EQ(a.ulStride, 0u);

    Forget();
    uint8_t abRead[7] = {};
    ASSERT_EQ(HalReadEEPROM(kTundra, kTsi574, 0, kDest, kHop, 7, 0x10, abRead), 0);
    EXPECT_EQ(std::vector<uint8_t>(abRead, abRead + 7), std::vector<uint8_t>(abData, abData + 7));
    EXPECT_EQ(WritesTo(0x1D10C), (std::vector<uint32_t>{0x84000010, 0x83000014}));

    ASSERT_EQ(HalInitEEPROM(kTundra, kTsi574, 0, kDest, kHop), 0);
    EXPECT_EQ(EepromWord(0), 0x0000FFFFu);
    EXPECT_EQ(EepromWord(4), 0xFFFFFFFFu);

    // The mode register is only written when the address or its size changes.
    Forget();
    m_target.SetReg(0x1D108, 0x80010050);
    EXPECT_EQ(HalSetEEPROMAddress(kTundra, kTsi574, 0, kDest, kHop, 1, 0x50), 0);
    EXPECT_EQ(m_target.NumWrites(), 0u);
    EXPECT_EQ(HalSetEEPROMAddress(kTundra, kTsi574, 0, kDest, kHop, 2, 0x51), 0);
    EXPECT_EQ(m_target.Reg(0x1D108), 0x80020051u);

    // The bridge has the same master at 0x49108.
    Forget();
    EmulateEeprom(0x49108);
    ASSERT_EQ(HalWriteEEPROM(0x0038, 0x80AB, 0, kDest, kHop, 2, 0x20, abData), 0);
    EXPECT_EQ(WritesTo(0x4910C), std::vector<uint32_t>{0xC2000020});
    EXPECT_EQ(m_abEeprom[0x21], 2);
    EXPECT_EQ(HalReadEEPROM(0x0038, 0x80AB, 0, kDest, kHop, 2, 0, nullptr), -10);
}

TEST_F(TsiFamiliesTest, FlashingAppendsRegisterRecordsToTheEeprom)
{
    EmulateEeprom(0x1D108);
    m_abEeprom[0] = 0x00;
    m_abEeprom[1] = 0x03; // three records held
    const NVXL_ROUTE_ENTRY asEntries[] = {
        {5, 1, eNVXL_RouteTypePort, 0}, {6, 2, eNVXL_RouteTypeUnrouted, 0}, {9, 4, eNVXL_RouteTypePort, 0}};
    ASSERT_EQ(HalFlashRoutingTable(kTundra, kTsi578, 0, kDest, kHop, 2, 3, asEntries), 0);
    const std::vector<uint32_t> aulExpected = {0x11270, 5, 0x11274, 1, 0x11270, 9, 0x11274, 4};
    for (uint32_t i = 0; i < aulExpected.size(); i++)
        EXPECT_EQ(EepromWord(14 + 4 * i), aulExpected[i]) << i;
    EXPECT_EQ(EepromWord(0), 0x0007FFFFu);
    // The write command of a word at address a is a - 0x3C000000.
    EXPECT_EQ(WritesTo(0x1D10C)[0], 0x84000000u);
    EXPECT_EQ(WritesTo(0x1D10C)[1], 0xC400000Eu);

    // The table of all ports is replayed through the standard registers.
    m_abEeprom.fill(0);
    ASSERT_EQ(HalFlashRoutingTable(kTundra, kTsi578, 0, kDest, kHop, 255, 1, asEntries), 0);
    EXPECT_EQ(EepromWord(8), 0x70u);
    EXPECT_EQ(EepromWord(16), 0x74u);
    EXPECT_EQ(EepromWord(0), 0x0002FFFFu);
    EXPECT_EQ(HalFlashRoutingTable(kTundra, kTsi578, 0, kDest, kHop, 16, 1, asEntries), -9);
}

TEST_F(TsiFamiliesTest, AckIDRepairStepsAndItsRefusals)
{
    // Port 3: link response at 0x1A4, local ackIDs at 0x1A8, control at 0x1BC.
    m_target.SetReg(0x1A4, 0x80000010);
    m_target.SetReg(0x1A8, 0x05000505);
    m_target.SetReg(0x1BC, 0x00600010);
    ASSERT_EQ(HalResyncAckIDs(kTundra, kTsi578, 0, kDest, kHop, 3), 0);
    std::vector<SStep> aSteps = Steps();
    ASSERT_GE(aSteps.size(), 10u);
    // After the link request (pointer, two requests, response): the repair itself.
    EXPECT_EQ(std::vector<SStep>(aSteps.begin() + 4, aSteps.end()),
              (std::vector<SStep>{{false, 0x1A8, 0x05000505},
                                  {false, 0x1BC, 0x00600010},
                                  {true, 0x1BC, 0x00600012},
                                  {true, 0x1BC, 0x00600010},
                                  {true, 0x1A8, 0x80000000},
                                  {true, 0x13314, 0x40FC8000},
                                  {true, 0x1B8, 0xFFFFFFFF}}));

    // Aligned ackIDs need no repair; a partner that is not OK or not at ackID 0 cannot be realigned.
    Forget();
    m_target.SetReg(0x1A8, 0);
    EXPECT_EQ(HalResyncAckIDs(kTundra, kTsi578, 0, kDest, kHop, 3), -18);
    m_target.SetReg(0x1A4, 0x80000011);
    EXPECT_EQ(HalResyncAckIDs(kTundra, kTsi578, 0, kDest, kHop, 3), -17);
    m_target.SetReg(0x1A4, 0x80000070);
    EXPECT_EQ(HalResyncAckIDs(kTundra, kTsi578, 0, kDest, kHop, 3), -17);
    m_target.SetReg(0x1A4, 0x00000010);
    EXPECT_EQ(HalResyncAckIDs(kTundra, kTsi578, 0, kDest, kHop, 3), -15);
    // Only the link requests were written.
    for (const SStep& s : Steps())
        EXPECT_TRUE(!s.bWrite || s.ulOffset == 0x1A0) << s;
}

TEST_F(TsiFamiliesTest, Tsi500KeepsItsTablesInNibbles)
{
    // Table 1, ID 13: word 0x20000 + 0x10A00 + 4, nibble 5.
    for (uint32_t i = 0; i < 32; i++)
        m_target.SetReg(0x30A00 + 4 * i, 0x88888888);
    ASSERT_EQ(HalRouteAddEntry(kTundra, kTsi500, 0, kDest, kHop, 1, 13, 2, eNVXL_RouteTypePort, 0), 0);
    EXPECT_EQ(m_target.Reg(0x30A04), 0x88288888u);
    NVXL_ROUTE_TYPE eType{};
    uint8_t uchPort = 0;
    uint32_t ulExtra = 0;
    ASSERT_EQ(HalRouteGetEntry(kTundra, kTsi500, 0, kDest, kHop, 1, 13, &eType, &uchPort, &ulExtra), 0);
    EXPECT_EQ(eType, eNVXL_RouteTypePort);
    EXPECT_EQ(uchPort, 2);
    ASSERT_EQ(HalRouteGetEntry(kTundra, kTsi500, 0, kDest, kHop, 1, 12, &eType, &uchPort, &ulExtra), 0);
    EXPECT_EQ(eType, eNVXL_RouteTypeUnrouted);

    uint32_t ulEntries = 0;
    NVXL_ROUTE_ENTRY* pTable = nullptr;
    ASSERT_EQ(HalLoadRoutingTable(kTundra, kTsi500, 0, kDest, kHop, 1, &ulEntries, &pTable), 0);
    ASSERT_EQ(ulEntries, 1u);
    EXPECT_EQ(pTable[0].wDestID, 13);
    EXPECT_EQ(pTable[0].uchPort, 2);
    // Stored into table 3, the table reads back the same.
    ASSERT_EQ(HalStoreRoutingTable(kTundra, kTsi500, 0, kDest, kHop, 3, ulEntries, pTable), 0);
    free(pTable);
    EXPECT_EQ(m_target.Reg(0x70A04), 0x88288888u);
    EXPECT_EQ(m_target.Reg(0x70A00), 0x88888888u);
    ASSERT_EQ(HalRouteAddEntry(kTundra, kTsi500, 0, kDest, kHop, 3, 13, 2, eNVXL_RouteTypeUnrouted, 0), 0);
    EXPECT_EQ(m_target.Reg(0x70A04), 0x88888888u);

    // No table of all ports, no fifth port, no ID beyond 255: refused untouched.
    Forget();
    EXPECT_EQ(HalLoadRoutingTable(kTundra, kTsi500, 0, kDest, kHop, 255, &ulEntries, &pTable), -9);
    EXPECT_EQ(HalRouteAddEntry(kTundra, kTsi500, 0, kDest, kHop, 255, 1, 1, eNVXL_RouteTypePort, 0), -9);
    EXPECT_EQ(HalRouteAddEntry(kTundra, kTsi500, 0, kDest, kHop, 4, 1, 1, eNVXL_RouteTypePort, 0), -9);
    EXPECT_EQ(HalRouteAddEntry(kTundra, kTsi500, 0, kDest, kHop, 0, 256, 1, eNVXL_RouteTypePort, 0), -11);
    EXPECT_TRUE(m_target.m_aAccesses.empty());

    // Parallel ports: widths unknown, type 2; the port state at the fixed port block.
    std::array<uint8_t, 4> auchWidths{};
    uint32_t bParallel = 9, ulType = 0, bTrained = 0;
    EXPECT_EQ(HalGetPortWidth(kTundra, kTsi500, 0, kDest, kHop, 1, &auchWidths[0], &auchWidths[1],
                              &auchWidths[2], &auchWidths[3], &bParallel, &ulType),
              0);
    EXPECT_EQ(auchWidths, (std::array<uint8_t, 4>{255, 255, 255, 255}));
    EXPECT_EQ(ulType, 2u);
    EXPECT_EQ(bParallel, 0u);
    m_target.SetReg(0x158 + 32 * 2, 0x2);
    EXPECT_EQ(HalIsPortTrained(kTundra, kTsi500, 0, kDest, kHop, 2, &bTrained), 0);
    EXPECT_EQ(bTrained, 1u);
    EXPECT_EQ(HalIsPerPortRouting(kTundra, kTsi500), 1);
}
} // namespace
} // namespace nvtest
