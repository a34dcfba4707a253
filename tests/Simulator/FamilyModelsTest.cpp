// The device family models at the register level, by maintenance transactions, and how link
// rates decide whether a link trains: what the models do beyond the HAL's own sequences.
#include "SimTestUtil.h"

#include "models/I2cMaster.h"
#include "models/IdtGen2.h"
#include "models/TsiSwitch.h"
#include "models/Vendor1Device8.h"
#include "nvsim/Topology.h"

#include <gtest/gtest.h>

using namespace nvsim;
using namespace simtest;

namespace
{
constexpr uint32_t kSw = 0xFF;

std::string LoadError(const std::string& strTopology)
{
    std::string strError;
    EXPECT_FALSE(LoadTopologyText(strTopology, &strError));
    return strError;
}

bool Trained(CSimFabric& fabric, const std::string& strDevice, uint8_t uchPort)
{
    return fabric.PortTrained(fabric.Device(strDevice), uchPort);
}
} // namespace

// Every family's model in one network, enumerated: each part has its identity and each endpoint
// answers by its ID through two switches.
TEST(FamilyModels, FamiliesTopologyHoldsEveryFamily)
{
    auto pFabric = ShippedFabric("families.topo");
    ASSERT_TRUE(pFabric);
    const std::pair<const char*, uint32_t> kIdentities[] = {
        {"host0", 0x80AB0038}, {"sw0", 0x03740038},     {"sw578", 0x0578000D}, {"sw568", 0x0568000D},
        {"cps16", 0x035B0038}, {"k70", 0x03100038},     {"pmc", 0x6352003B},   {"v1d8", 0x00080001},
        {"sw500", 0x0500000D}, {"cps1616", 0x03790038}, {"ep30a", 0x00960030}, {"amc", 0x01000064},
        {"v2a", 0x00030002},   {"v2b", 0x00120002},     {"ep30b", 0x00000030}, {"v1d6", 0x00060001}};
    for (const auto& [pszName, ulIdentity] : kIdentities)
        EXPECT_EQ(ulIdentity, pFabric->Device(pszName).Reg(0x00)) << pszName;
    for (uint32_t ulId : {0x10u, 0x11u, 0x20u, 0x30u, 0x40u, 0x50u, 0x60u, 0x70u, 0x80u})
        EXPECT_EQ(0, ReadStatus(*pFabric, ulId, 2, 0x60)) << "ID 0x" << std::hex << ulId;
    EXPECT_EQ(5000u, pFabric->LinkSpeedMbaud(*pFabric->Link("sw0", 0)));
    EXPECT_EQ(6250u, pFabric->LinkSpeedMbaud(*pFabric->Link("cps1616", 4)));
    EXPECT_EQ(1u, pFabric->LinkWidth(*pFabric->Link("sw0", 2))); // the CPS-16's x1 ports
}

TEST(FamilyModels, TopologyRefusesWhatThePartCannotBe)
{
    EXPECT_NE(LoadError("device sw switch model=cps9999\n").find("unknown device model 'cps9999'"),
              std::string::npos);
    EXPECT_NE(LoadError("device ep endpoint model=cps1848\n").find("model 'cps1848' is a switch"),
              std::string::npos);
    EXPECT_NE(LoadError("device ep endpoint quadcfg=1\n").find("applies to switches only"),
              std::string::npos);
    const std::string strNet = "device host endpoint\ndevice sw switch model=tsi578\nhost host\n";
    EXPECT_NE(LoadError(strNet + "link host:0 sw:2 speed=5\n")
                  .find("device 'sw' port 2: the ports of this switch run at 1.25, 2.5 or 3.125 Gbaud"),
              std::string::npos);
    // Ports 2 and 3 share a SerDes: the second link's rate leaves the first one untrained.
    const std::string strError = LoadError(strNet + "device a endpoint\ndevice b endpoint speeds=2.5\n"
                                                    "link sw:2 b:0 speed=2.5\nlink sw:3 a:0 speed=3.125\n");
    EXPECT_NE(strError.find("<text>:6: the link cannot train: sw:2 runs at 3.125 Gbaud, b:0 at 2.5 Gbaud"),
              std::string::npos)
        << strError;
    EXPECT_NE(
        LoadError("device host endpoint\ndevice sw switch model=cps1848\nhost host\nlink host:0 sw:12\n")
            .find("port 12 has no lanes in the quad configuration"),
        std::string::npos);
}

// A link trains at a rate both ends offer, the link's own if they can; Port n Control 2 tells
// the rate, and a port that stops offering it takes the link down.
TEST(FamilyModels, LinksTrainAtARateBothEndsOffer)
{
    auto pFabric = Fabric(R"(
device host endpoint id=0x01 speeds=2.5,5
device sw   switch
host host
link host:0 sw:2 speed=5
)");
    ASSERT_TRUE(pFabric);
    EXPECT_EQ(5000u, pFabric->LinkSpeedMbaud(*pFabric->Link("sw", 2)));
    EXPECT_EQ(0x4u, ReadOk(*pFabric, kSw, 0, 0x154 + 0x20 * 2) >> 28);
    // The switch's port stops offering 5 Gbaud: both fall back to 2.5.
    WriteOk(*pFabric, kSw, 0, 0x154 + 0x20 * 2, 0x01500000);
    EXPECT_EQ(2500u, pFabric->LinkSpeedMbaud(*pFabric->Link("sw", 2)));
    EXPECT_EQ(0x2u, ReadOk(*pFabric, kSw, 0, 0x154 + 0x20 * 2) >> 28);
    // Offering 1.25 Gbaud only, it agrees with the host on nothing: the write is carried out,
    // and its response finds the link down.
    EXPECT_EQ(-310, WriteStatus(*pFabric, kSw, 0, 0x154 + 0x20 * 2, 0x01000000));
    EXPECT_FALSE(Trained(*pFabric, "sw", 2));
    EXPECT_EQ(-310, ReadStatus(*pFabric, kSw, 0, 0x00));
}

class Gen2Registers : public ::testing::Test
{
protected:
    void SetUp() override
    {
        m_pFabric = Fabric(R"(
device host endpoint id=0x01 largeid=0x0001
device sw   switch model=cps1848
device ep   endpoint id=0x05
host host
link host:0 sw:1 speed=3.125
link sw:0 ep:0 speed=3.125
)");
        ASSERT_TRUE(m_pFabric);
    }
    models::CIdtGen2Switch& Sw() { return dynamic_cast<models::CIdtGen2Switch&>(m_pFabric->Device("sw")); }
    std::unique_ptr<CSimFabric> m_pFabric;
};

// A new PLL_DIV_SEL reaches the lanes only when the PLL is reset, and the reset restarts the
// selected ports' links from ackID 0.
TEST_F(Gen2Registers, PllRateTakesEffectThroughTheDeviceReset)
{
    WriteOk(*m_pFabric, kSw, 0, 0xFF0000, 0); // PLL 0 to the 1.25/2.5/5 family
    EXPECT_EQ(speeds::k3125, Sw().PortSpeeds(0));
    m_pFabric->Device("sw").SetAckIds(0, 3, 3, 3);
    WriteOk(*m_pFabric, kSw, 0, 0xF20300, 0x80000000 | (1u << 18) | 1u);
    EXPECT_EQ(speeds::k2500, Sw().PortSpeeds(0));
    EXPECT_EQ(0u, ReadOk(*m_pFabric, kSw, 0, 0xF20300));
    EXPECT_EQ(0, m_pFabric->Device("sw").Port(0).uchInboundAckId);
    EXPECT_EQ(speeds::k3125, Sw().PortSpeeds(1)); // PLL 1 was not reset
    // A lane whose transmit and receive rates differ keeps the port from training.
    WriteOk(*m_pFabric, kSw, 0, 0xFF8000, 0x1E80 | 0x8 | 0x4);
    EXPECT_FALSE(Trained(*m_pFabric, "sw", 0));
}

// The quad configuration deals out the lanes: in arrangement 1 port 0 keeps two lanes and port
// 12 appears with the other two.
TEST_F(Gen2Registers, QuadConfigurationDealsOutTheLanes)
{
    EXPECT_EQ(0x2u, (ReadOk(*m_pFabric, kSw, 0, 0x15C) >> 27) & 0x7); // x4
    EXPECT_EQ(0, Sw().PortLanes(12));
    WriteOk(*m_pFabric, kSw, 0, 0xF20200, 0x1);
    EXPECT_EQ(2, Sw().PortLanes(0));
    EXPECT_EQ(2, Sw().PortLanes(12));
    EXPECT_EQ(2, m_pFabric->LinkWidth(*m_pFabric->Link("sw", 0)));
    EXPECT_EQ(0x3u, (ReadOk(*m_pFabric, kSw, 0, 0x15C) >> 27) & 0x7); // x2
}

// 16-bit IDs of another domain route by the domain part, which may defer to the device part.
TEST_F(Gen2Registers, LargeIdsRouteByDomain)
{
    WriteOk(*m_pFabric, kSw, 0, 0x10070, 2); // port 1's table, where the host's requests come in
    WriteOk(*m_pFabric, kSw, 0, 0xE10000 + 0x1000 * 0 + 4 * 0x01, 1); // back to the host
    WriteOk(*m_pFabric, kSw, 0, 0xE10000 + 0x1000 * 1 + 4 * 0x05, 0);
    EXPECT_EQ(0, ReadStatus(*m_pFabric, 0x0005, 1, 0x00, true)); // domain 0 is the switch's own
    EXPECT_EQ(-310, ReadStatus(*m_pFabric, 0x0305, 1, 0x00, true));
    WriteOk(*m_pFabric, kSw, 0, 0xE10000 + 0x1000 * 1 + 4 * (256 + 3), 0xDD);
    EXPECT_EQ(0, ReadStatus(*m_pFabric, 0x0305, 1, 0x00, true));
    // Extended configuration reads four entries of the selected table at once.
    WriteOk(*m_pFabric, kSw, 0, 0x70, 0x80000004);
    EXPECT_EQ(0xDEDE00DEu, ReadOk(*m_pFabric, kSw, 0, 0x74));
}

TEST(FamilyModels, TsiTableRegistersCountThemselves)
{
    auto pFabric = Fabric(R"(
device host endpoint id=0x01
device sw   switch model=tsi578
device ep   endpoint
host host
link host:0 sw:0
link sw:6 ep:0
)");
    ASSERT_TRUE(pFabric);
    auto& sw = dynamic_cast<models::CTsiSwitch&>(pFabric->Device("sw"));
    // The broadcast pair writes every port's table.
    WriteOk(*pFabric, kSw, 0, 0x10070, 0x21);
    WriteOk(*pFabric, kSw, 0, 0x10074, 6);
    EXPECT_EQ(6, sw.RouteEntry(0x21, 9));
    // Port 9's pair: from entry 0 on, one entry per access.
    WriteOk(*pFabric, kSw, 0, 0x11070 + 0x900, 0x80000000);
    for (uint32_t i = 0; i < 0x22; i++)
        ReadOk(*pFabric, kSw, 0, 0x11074 + 0x900);
    EXPECT_EQ(0x80000022u, ReadOk(*pFabric, kSw, 0, 0x11070 + 0x900));
    WriteOk(*pFabric, kSw, 0, 0x11070 + 0x900, 0x21);
    EXPECT_EQ(6u, ReadOk(*pFabric, kSw, 0, 0x11074 + 0x900));
    // Powering down the even port's lanes of pair 6/7 takes its link down.
    WriteOk(*pFabric, kSw, 0, 0x130C8 + 0x600, 0x2 | 0x4);
    EXPECT_FALSE(Trained(*pFabric, "sw", 6));
    // A packet-not-accepted with a link-request/input-status sent through SP_CS_TX is answered.
    WriteOk(*pFabric, kSw, 0, 0x13014, 0x40FC8000);
    EXPECT_EQ(0x80000010u, ReadOk(*pFabric, kSw, 0, 0x144) & 0x8000001F);
}

// The I2C master's own settings: the EEPROM's address, how many address bytes it gets, and the
// byte order of the data registers.
TEST(FamilyModels, I2cMasterSettings)
{
    models::CI2cMaster i2c(0x1D100, 512, 0x50);
    auto write = [&i2c](uint32_t ulOffset, uint32_t ulValue)
    { ASSERT_TRUE(i2c.Write(ulOffset, ulValue, 0xFFFFFFFF)); };
    auto read = [&i2c](uint32_t ulOffset)
    {
        uint32_t ulValue = 0;
        EXPECT_TRUE(i2c.Read(ulOffset, &ulValue));
        return ulValue;
    };
    EXPECT_EQ(0x00020050u, read(0x1D108));
    write(0x1D114, 0xA1B2C3D4);
    write(0x1D10C, 0xC4000010); // write 4 bytes at 0x10
    EXPECT_EQ(0xA1, i2c.Eeprom()[0x10]);
    EXPECT_EQ(0xD4, i2c.Eeprom()[0x13]);
    EXPECT_EQ(0x44000010u, read(0x1D10C)); // START is over
    write(0x1D108, 0x00820050);            // DORDER: first byte in bits 7..0
    write(0x1D10C, 0x84000010);
    EXPECT_EQ(0xD4C3B2A1u, read(0x1D110));
    // One address byte: the EEPROM sees 0x10 of 0x110, and the address wraps at its size.
    write(0x1D108, 0x00010050);
    write(0x1D10C, 0x82000110);
    EXPECT_EQ(0xA1B20000u, read(0x1D110));
    write(0x1D108, 0x00020050);
    write(0x1D10C, 0x81000210); // 0x210 is 0x10 of a 512-byte EEPROM
    EXPECT_EQ(0xA1000000u, read(0x1D110));
    // The soft reset brings the settings back; nothing is at another address.
    write(0x1D108, 0x00020051);
    write(0x1D10C, 0x81000011);
    EXPECT_EQ(0xA1000000u, read(0x1D110)); // unchanged: nobody answered
    write(0x1D104, 0x80000000);
    EXPECT_EQ(0x00020050u, read(0x1D108));
    uint32_t ulValue = 0;
    EXPECT_FALSE(i2c.Read(0x1D120, &ulValue));
}

TEST(FamilyModels, Vendor1Device8TableKey)
{
    auto pFabric = Fabric(R"(
device host endpoint id=0x01
device sw   switch model=v1dev8
host host
link host:0 sw:0 speed=2.5
)");
    ASSERT_TRUE(pFabric);
    auto& sw = dynamic_cast<models::CVendor1Device8Switch&>(pFabric->Device("sw"));
    WriteOk(*pFabric, kSw, 0, 0x100E8, (1u << 17) + 0xFACD); // a wrong key
    EXPECT_TRUE(sw.TableLocked(1));
    WriteOk(*pFabric, kSw, 0, 0x100E8, (1u << 17) + 0xFACE);
    EXPECT_FALSE(sw.TableLocked(1));
    EXPECT_TRUE(sw.TableLocked(0));
    WriteOk(*pFabric, kSw, 0, 0x10800 + 4 * 7, 0x00000010);
    EXPECT_EQ(1, sw.RouteEntry(7, 1));
    EXPECT_EQ(8, sw.RouteEntry(7, 0));                         // table 0's nibble is locked
    EXPECT_EQ(0x88888880u, ReadOk(*pFabric, kSw, 0, 0x100B0)); // port 0 up, port 1 unlinked
}

// The IDs an endpoint answers to beside its own: a secondary ID written into the vendor 0x30
// block, and every ID once a device with accept-all is opened to the host; maintenance and data
// requests alike, each reaching it only where the switch routes the ID.
TEST(FamilyModels, SecondaryIdsAndAcceptAllDecideWhatAnEndpointTakes)
{
    auto pFabric = Fabric("device host endpoint processor id=0x01\n"
                          "device sw   switch\n"
                          "device ep30 endpoint model=v30dev96 accept=own id=0x05 largeid=0x0005\n"
                          "device ep2  endpoint model=v2dev3 accept=own id=0x06\n"
                          "host host\nlink host:0 sw:0\nlink sw:1 ep30:0\nlink sw:2 ep2:0\n"
                          "route sw 0x01 0\nroute sw 0x05 1\nroute sw 0x21 1\nroute sw 0x22 1\n"
                          "route sw 0x06 2\nroute sw 0x23 2\n");
    ASSERT_TRUE(pFabric);
    CSimFabric& fabric = *pFabric;
    const uint32_t kBlockLo = 0x02D00000;
    auto writeBlock = [&fabric, kBlockLo](uint32_t ulDestId, uint32_t ulOffset, uint32_t ulWord)
    {
        const uint8_t ab[4] = {static_cast<uint8_t>(ulWord >> 24), static_cast<uint8_t>(ulWord >> 16),
                               static_cast<uint8_t>(ulWord >> 8), static_cast<uint8_t>(ulWord)};
        return fabric.DataWrite(0, ulDestId, 0, kBlockLo + ulOffset, 2, ab, 4, false);
    };
    EXPECT_NE(0, ReadStatus(fabric, 0x21, 1, 0x00)) << "no secondary ID yet";
    // Secondary ID 1 (small 0x21, large 0x0221) in the second of the three registers.
    ASSERT_EQ(0, writeBlock(0x05, 0x88, 0x00210221));
    EXPECT_EQ(0x00960030u, ReadOk(fabric, 0x21, 1, 0x00));
    uint8_t ab[4] = {};
    EXPECT_EQ(0, fabric.DataRead(0, 0x21, 0, kBlockLo + 0x88, ab, 4, false)) << "an NREAD to it too";
    EXPECT_NE(0, ReadStatus(fabric, 0x22, 1, 0x00)) << "routed there, but not its ID";
    // Host access open: device 0x96 takes every ID that reaches it.
    ASSERT_EQ(0, writeBlock(0x05, 0x20, 0x08000000));
    EXPECT_EQ(0x00960030u, ReadOk(fabric, 0x22, 1, 0x00));
    ASSERT_EQ(0, writeBlock(0x05, 0x20, 0));
    EXPECT_NE(0, ReadStatus(fabric, 0x22, 1, 0x00)) << "closed again";
    EXPECT_EQ(0x00960030u, ReadOk(fabric, 0x21, 1, 0x00)) << "the secondary ID stays";

    // Vendor 2 device 3: the same through its host access register in configuration space.
    EXPECT_NE(0, ReadStatus(fabric, 0x23, 1, 0x00));
    WriteOk(fabric, 0x06, 1, 0x10000, 1);
    EXPECT_EQ(0x00030002u, ReadOk(fabric, 0x23, 1, 0x00));
}
