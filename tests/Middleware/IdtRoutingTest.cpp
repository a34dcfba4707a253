// Routing of the IDT families (70K2000, Gen1, Gen2) against a fake switch whose route registers
// write into the table windows, as the devices' tables do.
#include "FamilyFixture.h"

#include <cstdlib>
#include <string>

namespace nvtest
{
namespace
{
constexpr uint16_t kIDT = 0x0038;
constexpr uint16_t kCPS1848 = 0x0374;
constexpr uint16_t kCPS1432 = 0x0375;
constexpr uint16_t kCPS8 = 0x035C;
constexpr uint16_t k70K2000 = 0x0310;
constexpr uint32_t kDest = 0x21;
constexpr uint8_t kHop = 2;
constexpr NVXL_ROUTE_TYPE kLevel2Port = static_cast<NVXL_ROUTE_TYPE>(6);

struct SRoute
{
    NVXL_ROUTE_TYPE eType;
    uint8_t uchPort;
    uint32_t ulExtra;
    bool operator==(const SRoute&) const = default;
};

std::ostream& operator<<(std::ostream& os, const SRoute& s)
{
    return os << "type " << s.eType << " port " << int(s.uchPort) << " extra " << s.ulExtra;
}

class IdtRoutingTest : public CFamilyTest
{
protected:
    // The switch's route registers: the table select chooses a window, the DestID register an entry
    // in it, and the port register reads and writes that entry.
    void EmulateRouteRegisters()
    {
        m_target.m_fnWriteWord = [this](uint32_t ulOffset, uint32_t ulValue)
        {
            if (ulOffset == 0x10070)
                m_ulSelect = ulValue;
            else if (ulOffset == 0x70)
                m_ulEntry = ulValue;
            else if (ulOffset == 0x74)
            {
                m_target.SetReg(Entry(), ulValue);
                return true;
            }
            return false;
        };
        m_target.m_fnReadWord = [this](uint32_t ulOffset, uint32_t& ulValue)
        {
            if (ulOffset != 0x74)
                return false;
            ulValue = m_target.Reg(Entry());
            return true;
        };
    }

    // An ID with a high byte selects that entry of the domain part (0x400 into the window), any
    // other its entry of the device part.
    uint32_t Entry() const
    {
        const uint32_t ulWindow = m_ulSelect == 0 ? 0xE00000 : 0xE10000 + 0x1000 * (m_ulSelect - 1);
        const uint32_t ulHigh = (m_ulEntry >> 8) & 0xFF;
        return ulWindow + (ulHigh ? 0x400 + 4 * ulHigh : 4 * (m_ulEntry & 0xFF));
    }

    // A window as the switch leaves it after a reset: no routes.
    void ClearWindow(uint32_t ulBase)
    {
        for (uint32_t i = 0; i < 512; i++)
            m_target.SetReg(ulBase + 4 * i, 223);
    }

    SRoute Get(uint16_t wDevice, uint8_t uchTable, uint16_t wID)
    {
        SRoute sRoute{eNVXL_RouteTypeUndefined, 0xEE, 0xEEEE};
        EXPECT_EQ(HalRouteGetEntry(kIDT, wDevice, 0, kDest, kHop, uchTable, wID, &sRoute.eType,
                                   &sRoute.uchPort, &sRoute.ulExtra),
                  0);
        return sRoute;
    }

    NVXL_STATUS Add(uint16_t wDevice, uint8_t uchTable, uint16_t wID, NVXL_ROUTE_TYPE eType, uint8_t uchPort,
                    uint32_t ulExtra = 0)
    {
        return HalRouteAddEntry(kIDT, wDevice, 0, kDest, kHop, uchTable, wID, uchPort, eType, ulExtra);
    }

    uint32_t m_ulSelect = 0;
    uint32_t m_ulEntry = 0;
};

TEST_F(IdtRoutingTest, Gen2RoutesRoundTripThroughRegistersAndWindows)
{
    EmulateRouteRegisters();
    ClearWindow(0xE13000);
    ClearWindow(0xE00000);

    ASSERT_EQ(Add(kCPS1848, 3, 5, eNVXL_RouteTypePort, 7), 0);
    ASSERT_EQ(Add(kCPS1848, 3, 6, eNVXL_RouteTypeMCast, 2), 0);
    ASSERT_EQ(Add(kCPS1848, 3, 7, eNVXL_RouteTypeUnrouted, 9), 0);
    ASSERT_EQ(Add(kCPS1848, 3, 8, eNVXL_RouteTypeDefault, 9), 0);
    ASSERT_EQ(Add(kCPS1848, 3, 9, eNVXL_RouteTypeSpecial, 1, 2), 0);
    ASSERT_EQ(Add(kCPS1848, 3, 10, eNVXL_RouteTypeUndefined, 0, 221), 0);
    ASSERT_EQ(Add(kCPS1848, 3, 300, kLevel2Port, 4), 0);
    ASSERT_EQ(Add(kCPS1848, 3, 0x22D, eNVXL_RouteTypeUndefined, 0, 221), 0);
    // Table n is selected as n + 1, and every add selects it again.
    EXPECT_EQ(WritesTo(0x10070), std::vector<uint32_t>(8, 4));
    EXPECT_EQ(m_target.Reg(0xE13000 + 4 * 6), 66u);
    EXPECT_EQ(m_target.Reg(0xE13000 + 4 * 9), 129u);
    EXPECT_EQ(m_target.Reg(0xE13400 + 4 * 1), 4u) << "ID 300 sets the entry of domain 1";

    EXPECT_EQ(Get(kCPS1848, 3, 5), (SRoute{eNVXL_RouteTypePort, 7, 0}));
    EXPECT_EQ(Get(kCPS1848, 3, 6), (SRoute{eNVXL_RouteTypeMCast, 2, 0}));
    EXPECT_EQ(Get(kCPS1848, 3, 7).eType, eNVXL_RouteTypeUnrouted);
    EXPECT_EQ(Get(kCPS1848, 3, 8).eType, eNVXL_RouteTypeDefault);
    // A special code reads back raw; 221 is special only at the second level.
    EXPECT_EQ(Get(kCPS1848, 3, 9), (SRoute{eNVXL_RouteTypeUndefined, 0, 129}));
    EXPECT_EQ(Get(kCPS1848, 3, 10), (SRoute{eNVXL_RouteTypeUndefined, 0, 221}));
    EXPECT_EQ(Get(kCPS1848, 3, 300), (SRoute{kLevel2Port, 4, 0}));
    EXPECT_EQ(Get(kCPS1848, 3, 0x22D), (SRoute{eNVXL_RouteTypeSpecial, 221, 221}));

    // The window of table 3, read in four blocks of 128 words. With 8-bit IDs only the device part
    // holds routes: IDs 5, 6, 9 and 10 (7 has none, 8 takes the default route).
    Forget();
    uint32_t ulEntries = 0;
    NVXL_ROUTE_ENTRY* pTable = nullptr;
    ASSERT_EQ(HalLoadRoutingTable(kIDT, kCPS1848, 0, kDest, kHop, 3, &ulEntries, &pTable), 0);
    std::vector<SStep> aReads;
    for (const SAccess& a : m_target.m_aAccesses)
    {
        EXPECT_EQ(a.ulWordCount, 128u);
        EXPECT_EQ(a.ulStride, 4u);
        aReads.push_back({a.bWrite, a.ulOffset, 0});
    }
    EXPECT_EQ(aReads,
              (std::vector<SStep>{
                  {false, 0xE13000, 0}, {false, 0xE13200, 0}, {false, 0xE13400, 0}, {false, 0xE13600, 0}}));
    ASSERT_EQ(ulEntries, 4u);
    EXPECT_EQ(pTable[0].wDestID, 5);
    EXPECT_EQ(pTable[0].eType, eNVXL_RouteTypePort);
    EXPECT_EQ(pTable[1].eType, eNVXL_RouteTypeMCast);
    EXPECT_EQ(pTable[1].uchPort, 2);
    EXPECT_EQ(pTable[2].eType, eNVXL_RouteTypeSpecial);
    EXPECT_EQ(pTable[2].ulExtra, 2u);
    EXPECT_EQ(pTable[2].uchPort, 1);
    EXPECT_EQ(pTable[3].wDestID, 10);
    free(pTable);

    // With 16-bit IDs domain 1 sends all its 256 IDs to port 4, and domain 2 routes by the device
    // part: 4 + 256 + 4 routes in rising order of ID.
    HalSetLargeTransport(1);
    pTable = nullptr;
    ASSERT_EQ(HalLoadRoutingTable(kIDT, kCPS1848, 0, kDest, kHop, 3, &ulEntries, &pTable), 0);
    ASSERT_EQ(ulEntries, 264u);
    EXPECT_EQ(pTable[4].wDestID, 0x100);
    EXPECT_EQ(pTable[4].uchPort, 4);
    EXPECT_EQ(pTable[259].wDestID, 0x1FF);
    EXPECT_EQ(pTable[259].eType, eNVXL_RouteTypePort);
    EXPECT_EQ(pTable[260].wDestID, 0x205);
    EXPECT_EQ(pTable[260].uchPort, 7);
    EXPECT_EQ(pTable[261].wDestID, 0x206);
    EXPECT_EQ(pTable[261].eType, eNVXL_RouteTypeMCast);
    EXPECT_EQ(pTable[263].wDestID, 0x20A);

    // What was loaded, stored into the all-ports table, gives the same window word for word: domain
    // 1 agrees on one port, domain 2 does not and goes back to the device part.
    ASSERT_EQ(HalStoreRoutingTable(kIDT, kCPS1848, 0, kDest, kHop, 255, ulEntries, pTable), 0);
    free(pTable);
    HalSetLargeTransport(0);
    for (uint32_t i = 0; i < 512; i++)
    {
        // The default route of ID 8 has no entry in a loaded list; domain 0 always routes by the
        // device part, and the store marks its entry so.
        const uint32_t ulExpected = i == 8 ? 223u : i == 256 ? 221u : m_target.Reg(0xE13000 + 4 * i);
        ASSERT_EQ(m_target.Reg(0xE00000 + 4 * i), ulExpected) << i;
    }
    EXPECT_EQ(WritesTo(0xE00200).size(), 128u);
}

TEST_F(IdtRoutingTest, BadRouteArgumentsTouchNothing)
{
    NVXL_ROUTE_TYPE eType{};
    uint8_t uchPort = 0;
    uint32_t ulExtra = 0, ulEntries = 0;
    NVXL_ROUTE_ENTRY* pTable = nullptr;
    NVXL_ROUTE_ENTRY sEntry{1, 2, eNVXL_RouteTypePort, 0};
    // The CPS-1432 has tables 0..15 and the all-ports one; the CPS-8 tables 0..7.
    EXPECT_EQ(Add(kCPS1432, 16, 5, eNVXL_RouteTypePort, 1), -9);
    EXPECT_EQ(HalRouteGetEntry(kIDT, kCPS1432, 0, kDest, kHop, 16, 5, &eType, &uchPort, &ulExtra), -9);
    EXPECT_EQ(HalLoadRoutingTable(kIDT, kCPS1432, 0, kDest, kHop, 16, &ulEntries, &pTable), -9);
    EXPECT_EQ(HalStoreRoutingTable(kIDT, kCPS1432, 0, kDest, kHop, 16, 1, &sEntry), -9);
    EXPECT_EQ(Add(kCPS8, 8, 5, eNVXL_RouteTypePort, 1), -9);
    // Second-level ports only exist from ID 256 up, and only on Gen2.
    EXPECT_EQ(Add(kCPS1848, 0, 255, kLevel2Port, 1), -4);
    EXPECT_EQ(Add(kCPS8, 0, 300, kLevel2Port, 1), -10);
    EXPECT_EQ(Add(kCPS1848, 0, 5, static_cast<NVXL_ROUTE_TYPE>(9), 1), -10);
    EXPECT_EQ(HalRouteGetEntry(kIDT, kCPS1848, 0, kDest, kHop, 0, 5, &eType, &uchPort, nullptr), -10);
    // The 70K2000 has the all-ports table only, and no raw values.
    EXPECT_EQ(Add(k70K2000, 0, 5, eNVXL_RouteTypePort, 1), -9);
    EXPECT_EQ(HalRouteGetEntry(kIDT, k70K2000, 0, kDest, kHop, 1, 5, &eType, &uchPort, &ulExtra), -9);
    EXPECT_EQ(HalLoadRoutingTable(kIDT, k70K2000, 0, kDest, kHop, 0, &ulEntries, &pTable), -9);
    EXPECT_EQ(HalStoreRoutingTable(kIDT, k70K2000, 0, kDest, kHop, 0, 1, &sEntry), -9);
    EXPECT_EQ(Add(k70K2000, 255, 5, eNVXL_RouteTypeUndefined, 1), -10);
    EXPECT_TRUE(m_target.m_aAccesses.empty());
    EXPECT_TRUE(s_aulWaits.empty());
}

TEST_F(IdtRoutingTest, Gen1AndGen2DifferInTheirLogAndReset)
{
    EmulateRouteRegisters();
    HalSetDebugFlag(3, 1);
    ASSERT_EQ(Add(kCPS8, 255, 5, eNVXL_RouteTypePort, 7), 0);
    ASSERT_EQ(Add(kCPS1848, 255, 0x1234, eNVXL_RouteTypeMCast, 3), 0);
    EXPECT_NE(m_target.DebugText().find("Add IDTGen1 Type 3 Route:  0005 -> 07\n"), std::string::npos);
    EXPECT_NE(m_target.DebugText().find("Add IDTGen2 Type 4 Route:  1234 -> 43\n"), std::string::npos);

    // Gen1 clears the route domain; Gen2 also sends unrouted IDs nowhere.
    Forget();
    m_target.SetReg(0x10, 0x10000100);
    EXPECT_EQ(HalResetRoutingTable(kIDT, kCPS8, 0, kDest, kHop), 0);
    EXPECT_EQ(Steps(), (std::vector<SStep>{{true, 0xF20020, 0}}));
    Forget();
    EXPECT_EQ(HalResetRoutingTable(kIDT, kCPS1848, 0, kDest, kHop), 0);
    EXPECT_EQ(WritesTo(0xF20020), std::vector<uint32_t>{0});
    EXPECT_EQ(WritesTo(0x78), std::vector<uint32_t>{223});
    // Both steps are tried; the first failure is the answer.
    Forget();
    m_target.FailWrites(0xF20020, -6);
    EXPECT_EQ(HalResetRoutingTable(kIDT, kCPS1848, 0, kDest, kHop), -6);
    EXPECT_EQ(WritesTo(0x78), std::vector<uint32_t>{223});
}

TEST_F(IdtRoutingTest, The70K2000WaitsAfterEveryRouteAndDecodesItsOwnValues)
{
    EmulateRouteRegisters();
    ClearWindow(0xE00000);
    ASSERT_EQ(Add(k70K2000, 255, 1, eNVXL_RouteTypePort, 4), 0);
    ASSERT_EQ(Add(k70K2000, 255, 2, eNVXL_RouteTypeMCast, 0x25), 0);
    ASSERT_EQ(Add(k70K2000, 255, 3, eNVXL_RouteTypeSpecial, 0x1F, 2), 0);
    EXPECT_EQ(s_aulWaits, (std::vector<uint32_t>{75, 75, 75}));
    // No table select: the switch has one table.
    EXPECT_FALSE(Touched(0x10070, true));

    EXPECT_EQ(Get(k70K2000, 255, 1), (SRoute{eNVXL_RouteTypePort, 4, 0}));
    EXPECT_EQ(Get(k70K2000, 255, 2), (SRoute{eNVXL_RouteTypeMCast, 0x25, 0}));
    EXPECT_EQ(Get(k70K2000, 255, 3), (SRoute{eNVXL_RouteTypeSpecial, 0x1F, 2}));
    EXPECT_EQ(Get(k70K2000, 255, 4).eType, eNVXL_RouteTypeUnrouted);

    HalSetDebugFlag(3, 1);
    uint32_t ulEntries = 0;
    NVXL_ROUTE_ENTRY* pTable = nullptr;
    ASSERT_EQ(HalLoadRoutingTable(kIDT, k70K2000, 0, kDest, kHop, 255, &ulEntries, &pTable), 0);
    EXPECT_EQ(ulEntries, 3u);
    free(pTable);
    EXPECT_NE(m_target.DebugText().find("Loading IDT 70K2000 PPS routing table\n"), std::string::npos);
}

TEST_F(IdtRoutingTest, PortEnablesChangeOnlyTheTwoEnableBits)
{
    m_target.SetReg(0x15C + 32 * 2, 0x80600001);
    EXPECT_EQ(HalSetPortEnables(kIDT, 0x035B, 0, kDest, kHop, 2, 1, 0), 0);
    EXPECT_EQ(m_target.Reg(0x15C + 32 * 2), 0x80200001u);
    EXPECT_EQ(HalSetPortEnables(kIDT, kCPS1848, 0, kDest, kHop, 2, 0, 1), 0);
    EXPECT_EQ(m_target.Reg(0x15C + 32 * 2), 0x80400001u);
}
} // namespace
} // namespace nvtest
