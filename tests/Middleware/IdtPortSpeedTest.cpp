// Port speed of the IDT switches: the Gen2 quad maps and the order of a speed change with its
// PLL, lanes, reset and waits; the 16-lane switches' per-lane PLL choice; the Gen1 quad registers.
#include "FamilyFixture.h"
#include "PortSpeed.h"

#include <algorithm>
#include <string>

namespace nvtest
{
namespace
{
constexpr uint16_t kIDT = 0x0038;
constexpr uint16_t kCPS1848 = 0x0374;
constexpr uint16_t kCPS1432 = 0x0375;
constexpr uint16_t kSPS1616 = 0x0378;
constexpr uint16_t kCPS1616 = 0x0379;
constexpr uint16_t kCPS16 = 0x035B;
constexpr uint32_t kDest = 0x44;
constexpr uint8_t kHop = 1;
constexpr uint32_t kQuadConfig = 0xF20200;
constexpr uint32_t kReset = 0xF20300;

constexpr uint32_t Pll(uint32_t p)
{
    return 0xFF0000 + 0x10 * p;
}
constexpr uint32_t Lane(uint32_t l)
{
    return 0xFF8000 + 0x100 * l;
}
constexpr uint32_t Control(uint32_t p)
{
    return 0x15C + 32 * p;
}
// Port n Error and Status behind an extended features block at 0x100.
constexpr uint32_t ErrStatus(uint32_t p)
{
    return 0x158 + 32 * p;
}

class IdtPortSpeedTest : public CFamilyTest
{
protected:
    void SetUp() override
    {
        CFamilyTest::SetUp();
        m_target.SetReg(0x0C, 0x100);
    }

    void SetTrained(uint32_t ulPort, bool bTrained)
    {
        m_target.SetReg(ErrStatus(ulPort), bTrained ? 2u : 0u);
    }

    // The writes, in order, leaving out nothing.
    std::vector<SStep> Writes() const
    {
        std::vector<SStep> aWrites;
        for (const SStep& s : Steps())
        {
            if (s.bWrite)
                aWrites.push_back(s);
        }
        return aWrites;
    }

    uint32_t GetSpeed(uint16_t wDevice, uint8_t uchPort)
    {
        uint32_t ulSpeed = 99;
        EXPECT_EQ(HalGetPortSpeedMHz(kIDT, wDevice, 0, kDest, kHop, uchPort, &ulSpeed), 0);
        return ulSpeed;
    }
};

TEST_F(IdtPortSpeedTest, QuadMapsFollowEachQuadrantsField)
{
    // Quadrant 0 arrangement 3, quadrant 1 arrangement 2, quadrant 2 arrangement 1, quadrant 3 0.
    m_target.SetReg(kQuadConfig, 0x1B);
    HAL_QUAD_MAPS sMaps;
    ASSERT_EQ(HalBuildQuadMapsCPS1848(0, kDest, kHop, &sMaps), 0);
    EXPECT_EQ(sMaps.ulNumPorts, 18u);
    ASSERT_EQ(m_target.m_aAccesses.size(), 1u);
    EXPECT_EQ(m_target.m_aAccesses[0].ulOffset, kQuadConfig);
    EXPECT_EQ(m_target.m_aAccesses[0].ulStride, 0u);
    struct SExpect
    {
        uint32_t ulPort, ulQuad, ulPLL, ulLo, ulHi;
    };
    for (const SExpect& e :
         {SExpect{0, 0, 0, 0, 1}, SExpect{12, 0, 0, 2, 2}, SExpect{16, 0, 0, 3, 3}, SExpect{8, 0, 8, 32, 35},
          SExpect{9, 1, 9, 36, 37}, SExpect{17, 1, 9, 38, 39}, SExpect{14, 2, 2, 10, 11},
          SExpect{10, 2, 10, 40, 43}, SExpect{11, 3, 11, 44, 47}})
    {
        EXPECT_EQ(sMaps.ulPortQuadMap[e.ulPort], e.ulQuad) << e.ulPort;
        EXPECT_EQ(sMaps.ulPortPLLMap[e.ulPort], e.ulPLL) << e.ulPort;
        EXPECT_EQ(sMaps.ulPortLaneLoMap[e.ulPort], e.ulLo) << e.ulPort;
        EXPECT_EQ(sMaps.ulPortLaneHiMap[e.ulPort], e.ulHi) << e.ulPort;
    }
    // Arrangement 0 of quadrant 3 leaves port 15 without lanes.
    EXPECT_EQ(sMaps.ulPortQuadMap[15], HAL_QUAD_NONE);

    // The SPS-1616 spaces its fields four bits apart, the CPS-1616 two: the same register value
    // splits quadrant 1 on the one and quadrant 2 on the other into four x1 ports.
    m_target.SetReg(kQuadConfig, 0x30);
    ASSERT_EQ(HalBuildQuadMapsSPS1616(0, kDest, kHop, &sMaps), 0);
    EXPECT_EQ(sMaps.ulPortLaneLoMap[5], 5u);
    EXPECT_EQ(sMaps.ulPortLaneHiMap[5], 5u);
    EXPECT_EQ(sMaps.ulPortPLLMap[5], 2u);
    EXPECT_EQ(sMaps.ulPortQuadMap[9], HAL_QUAD_NONE);
    ASSERT_EQ(HalBuildQuadMapsCPS1616(0, kDest, kHop, &sMaps), 0);
    EXPECT_EQ(sMaps.ulPortQuadMap[5], HAL_QUAD_NONE);
    EXPECT_EQ(sMaps.ulPortLaneHiMap[4], 7u);
    EXPECT_EQ(sMaps.ulPortLaneLoMap[9], 9u);
    EXPECT_EQ(sMaps.ulPortPLLMap[9], 4u);

    // The CPS-1432 has no ports 8 and 9 in any arrangement.
    for (uint32_t ulConfig : {0x00u, 0x55u, 0xAAu, 0xFFu})
    {
        m_target.SetReg(kQuadConfig, ulConfig);
        ASSERT_EQ(HalBuildQuadMapsCPS1432(0, kDest, kHop, &sMaps), 0);
        EXPECT_EQ(sMaps.ulNumPorts, 16u);
        EXPECT_EQ(sMaps.ulPortQuadMap[8], HAL_QUAD_NONE);
        EXPECT_EQ(sMaps.ulPortQuadMap[9], HAL_QUAD_NONE);
        EXPECT_LT(sMaps.ulPortQuadMap[3], 4u);
    }
}

TEST_F(IdtPortSpeedTest, Gen2SpeedComesFromPllFamilyAndAgreeingLanes)
{
    m_target.SetReg(kQuadConfig, 0x1); // quadrant 0: port 0 on lanes 0-1, port 12 on lanes 2-3
    m_target.SetReg(Pll(0), 1);
    m_target.SetReg(Lane(0), 0x14);
    m_target.SetReg(Lane(1), 0x14);
    EXPECT_EQ(GetSpeed(kCPS1848, 0), 6250u);
    m_target.SetReg(Pll(0), 0);
    EXPECT_EQ(GetSpeed(kCPS1848, 0), 5000u);
    m_target.SetReg(Lane(1), 0x0A); // lanes disagree
    EXPECT_EQ(GetSpeed(kCPS1848, 0), 0u);
    m_target.SetReg(Lane(1), 0x12); // transmit and receive rates differ
    EXPECT_EQ(GetSpeed(kCPS1848, 0), 0u);
    m_target.SetReg(Pll(0), 1);
    m_target.SetReg(Lane(0), 0);
    m_target.SetReg(Lane(1), 0);
    EXPECT_EQ(GetSpeed(kCPS1848, 0), 0u); // rate 0 does not exist in the 3.125 family

    // Port 16 has no lanes in this arrangement; port 18 is no port of the device.
    HalSetDebugFlag(2, 1);
    EXPECT_EQ(GetSpeed(kCPS1848, 16), 0u);
    EXPECT_NE(m_target.DebugText().find("Port does not exist given current quad config settings.\n"),
              std::string::npos);
    uint32_t ulSpeed = 0;
    EXPECT_EQ(HalGetPortSpeedMHz(kIDT, kCPS1848, 0, kDest, kHop, 18, &ulSpeed), -4);
    // The maps of this group are not those of a 16-lane switch.
    EXPECT_EQ(IDT1848HalGetPortSpeedMHz(kIDT, kSPS1616, 0, kDest, kHop, 0, &ulSpeed), -4);
}

TEST_F(IdtPortSpeedTest, Gen2ChangeWithinThePllFamilyLeavesThePllAlone)
{
    m_target.SetReg(kQuadConfig, 0x0); // port 4: lanes 16-19 on PLL 4
    m_target.SetReg(Control(4), 0x00400000);
    for (uint32_t l = 16; l < 20; l++)
        m_target.SetReg(Lane(l), 0x1E01); // 1.25 GBd with other bits that must stay
    ASSERT_EQ(HalSetPortSpeedMHz(kIDT, kCPS1848, 0, kDest, kHop, 4, 2500), 0);
    EXPECT_EQ(Writes(), (std::vector<SStep>{{true, Control(4), 0x00C00000},
                                            {true, Lane(16), 0x1E0B},
                                            {true, Lane(17), 0x1E0B},
                                            {true, Lane(18), 0x1E0B},
                                            {true, Lane(19), 0x1E0B},
                                            {true, Control(4), 0x00400000}}));
    EXPECT_FALSE(Touched(Pll(4), true));
    EXPECT_FALSE(Touched(kReset, true));
    EXPECT_EQ(s_aulWaits, std::vector<uint32_t>{75});
    EXPECT_EQ(GetSpeed(kCPS1848, 4), 2500u);
}

TEST_F(IdtPortSpeedTest, Gen2PllChangeIsRefusedWhileANeighbourStaysTrained)
{
    m_target.SetReg(kQuadConfig, 0x1); // ports 0 and 12 share PLL 0
    m_target.SetReg(Control(0), 0x00400000);
    m_target.SetReg(Lane(0), 0x0A);
    m_target.SetReg(Lane(1), 0x0A);
    SetTrained(12, true);
    HalSetDebugFlag(2, 1);
    EXPECT_EQ(HalSetPortSpeedMHz(kIDT, kCPS1848, 0, kDest, kHop, 0, 3125), -9);
    // Tested twice, 175 ms apart, and nothing was changed.
    EXPECT_EQ(s_aulWaits, std::vector<uint32_t>{175});
    size_t nStatusReads = 0;
    for (const SStep& s : Steps())
        nStatusReads += (!s.bWrite && s.ulOffset == ErrStatus(12)) ? 1 : 0;
    EXPECT_EQ(nStatusReads, 2u);
    EXPECT_TRUE(Writes().empty());
    EXPECT_NE(m_target.DebugText().find("Trained, so can't change this port speed.\n"), std::string::npos);

    // A neighbour that has dropped its link by the second look lets the change go ahead: port
    // disabled, lanes, PLL, reset of both ports and the PLL, port enabled, settle.
    Forget();
    s_fnOnWait = [this](uint32_t ulMilliseconds)
    {
        if (ulMilliseconds == 175)
            SetTrained(12, false);
    };
    ASSERT_EQ(HalSetPortSpeedMHz(kIDT, kCPS1848, 0, kDest, kHop, 0, 3125), 0);
    EXPECT_EQ(Writes(), (std::vector<SStep>{{true, Control(0), 0x00C00000},
                                            {true, Lane(0), 0x0A},
                                            {true, Lane(1), 0x0A},
                                            {true, Pll(0), 1},
                                            {true, kReset, 0x80041001},
                                            {true, Control(0), 0x00400000}}));
    EXPECT_EQ(s_aulWaits, (std::vector<uint32_t>{175, 75}));
    const std::string strLog = m_target.DebugText();
    const char* apszOrder[] = {"IDT1848HalSetPortSpeedMHz(V:56 D:884 LP:0 DId:68 HC:1 Port:0 Spd:3125\n",
                               "ulPortLaneHiMap[17] = -1\n",
                               "determine current PLL setting\n",
                               "Disable the port that we are going to change\n",
                               "Disable port 0\n",
                               "Port disabled\n",
                               "Determine current speed for the port\n",
                               "update the port speed for the port\n",
                               "Change PLL selection\n",
                               "Reset the port to allow the PLL and lane rate changes to take effect\n",
                               "Re-enabling the port\n",
                               "IDT1848HalSetPortSpeedMHz Done\n"};
    size_t nAt = 0;
    for (const char* pszLine : apszOrder)
    {
        nAt = strLog.find(pszLine, nAt);
        ASSERT_NE(nAt, std::string::npos) << pszLine;
    }
}

TEST_F(IdtPortSpeedTest, Gen2StepUpFrom1250MovesThePllBeforeTheLanes)
{
    m_target.SetReg(kQuadConfig, 0x1);
    m_target.SetReg(Control(12), 0x00400000);
    m_target.SetReg(Lane(2), 0);
    m_target.SetReg(Lane(3), 0);
    // Port 12 is not the first port on PLL 0, so its present speed is read from its lanes.
    ASSERT_EQ(HalSetPortSpeedMHz(kIDT, kCPS1848, 0, kDest, kHop, 12, 6250), 0);
    const std::vector<SStep> aWrites = Writes();
    const auto itPll = std::find(aWrites.begin(), aWrites.end(), SStep{true, Pll(0), 1});
    const auto itLane = std::find(aWrites.begin(), aWrites.end(), SStep{true, Lane(2), 0x14});
    ASSERT_NE(itPll, aWrites.end());
    ASSERT_NE(itLane, aWrites.end());
    EXPECT_LT(itPll, itLane);
    EXPECT_EQ(m_target.Reg(kReset), 0x80041001u);
    EXPECT_EQ(GetSpeed(kCPS1848, 12), 6250u);

    // A port without lanes cannot change speed.
    Forget();
    m_target.SetReg(kQuadConfig, 0x0);
    EXPECT_EQ(HalSetPortSpeedMHz(kIDT, kCPS1848, 0, kDest, kHop, 12, 2500), -9);
    EXPECT_TRUE(Writes().empty());
}

TEST_F(IdtPortSpeedTest, SixteenLaneSwitchesPickThePllInEachLane)
{
    m_target.SetReg(kQuadConfig, 0x30); // SPS-1616: port 5 alone on lane 5
    m_target.SetReg(Control(5), 0x00400000);
    m_target.SetReg(Lane(5), 0x00001E94);
    ASSERT_EQ(HalSetPortSpeedMHz(kIDT, kSPS1616, 0, kDest, kHop, 5, 3125), 0);
    EXPECT_EQ(Writes(), (std::vector<SStep>{{true, Control(5), 0x00C00000},
                                            {true, Lane(5), 0xC0001E8A},
                                            {true, Control(5), 0x00400000}}));
    EXPECT_EQ(GetSpeed(kSPS1616, 5), 3125u);
    ASSERT_EQ(HalSetPortSpeedMHz(kIDT, kSPS1616, 0, kDest, kHop, 5, 5000), 0);
    EXPECT_EQ(m_target.Reg(Lane(5)), 0x00001E94u);
    EXPECT_EQ(GetSpeed(kSPS1616, 5), 5000u);
    // The PLL registers are never touched, and the lanes settle by themselves.
    for (uint32_t p = 0; p < 8; p++)
        EXPECT_FALSE(Touched(Pll(p), true) || Touched(Pll(p), false));
    EXPECT_TRUE(s_aulWaits.empty());
    // A lane whose transmit and receive sides picked different PLLs has no speed.
    m_target.SetReg(Lane(5), 0x80000014);
    EXPECT_EQ(GetSpeed(kSPS1616, 5), 0u);
    // With two-bit fields the same register value gives the CPS-1616 no port 5.
    EXPECT_EQ(HalSetPortSpeedMHz(kIDT, kCPS1616, 0, kDest, kHop, 5, 2500), -9);
}

TEST_F(IdtPortSpeedTest, Gen1SpeedFollowsTheSharedQuadRegister)
{
    // CPS-16: quad 0 as four ports at 2.5, quad 1 one port at 3.125, quad 2 four ports at 1.25,
    // quad 3 one port: ports 0-3, 4, 5-8, 9.
    m_target.SetReg(0xFF0000, 0x21);
    m_target.SetReg(0xFF1000, 0x42);
    m_target.SetReg(0xFF2000, 0x20);
    m_target.SetReg(0xFF3000, 0x00);
    EXPECT_EQ(GetSpeed(kCPS16, 3), 2500u);
    EXPECT_EQ(GetSpeed(kCPS16, 4), 3125u);
    EXPECT_EQ(GetSpeed(kCPS16, 8), 1250u);
    EXPECT_EQ(GetSpeed(kCPS16, 9), 1250u);
    ASSERT_FALSE(m_target.m_aAccesses.empty());
    EXPECT_EQ(m_target.m_aAccesses[0].ulWordCount, 4u);
    EXPECT_EQ(m_target.m_aAccesses[0].ulStride, 0x1000u);
    uint32_t ulSpeed = 0;
    EXPECT_EQ(HalGetPortSpeedMHz(kIDT, kCPS16, 0, kDest, kHop, 10, &ulSpeed), -10);

    // A speed change reads all ten quad registers; a shared quad with a trained port stays.
    Forget();
    m_target.SetReg(0x0C, 0x100);
    SetTrained(7, true);
    EXPECT_EQ(HalSetPortSpeedMHz(kIDT, kCPS16, 0, kDest, kHop, 6, 2500), -9);
    EXPECT_EQ(m_target.m_aAccesses[0].ulWordCount, 10u);
    EXPECT_TRUE(Writes().empty());
    // A quad of its own changes at once, its reinitialisation bit cleared.
    EXPECT_EQ(HalSetPortSpeedMHz(kIDT, kCPS16, 0, kDest, kHop, 4, 2500), 0);
    EXPECT_EQ(Writes(), (std::vector<SStep>{{true, 0xFF1000, 0x01}}));
    // Gen1 lanes do not run at 5 or 6.25 GBd.
    Forget();
    EXPECT_EQ(HalSetPortSpeedMHz(kIDT, kCPS16, 0, kDest, kHop, 4, 5000), -10);
    EXPECT_TRUE(m_target.m_aAccesses.empty());
}
} // namespace
} // namespace nvtest
