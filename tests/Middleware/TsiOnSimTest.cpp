// The HAL's Tsi families (Tsi56x, Tsi57x, Tsi500) against the simulator's models of the parts.
#include "SimFixture.h"

#include "models/TsiSwitch.h"
#include "nvsim/Fabric.h"

namespace nvtest
{
namespace
{
constexpr uint16_t kTundra = 0x000D;
constexpr uint16_t kTsi578 = 0x0578;
constexpr uint32_t kSwitch = 0xFF;
constexpr uint8_t kAllPorts = 255;
constexpr int kPort = eNVXL_RouteTypePort;
constexpr int kUnrouted = eNVXL_RouteTypeUnrouted;

// A Tsi switch of the given model next to the host on its port 0, with endpoints on ports 2
// and 3 (one SerDes pair) that run at 2.5 Gbaud; ep2 can run at nothing else.
std::string TsiNet(const std::string& strModel)
{
    return R"(
device host endpoint processor id=0x01
device sw   switch model=)" +
           strModel + R"( eeprom=8K
device ep2  endpoint accept=own id=0x05 speeds=2.5
device ep3  endpoint accept=own id=0x06
host host
link host:0 sw:0 speed=3.125
link sw:2 ep2:0 speed=2.5
link sw:3 ep3:0 speed=2.5
)";
}

NVXL_STATUS AddRoute(uint16_t wDevice, uint8_t uchTable, uint16_t wId, uint8_t uchPort, int nType)
{
    return HalRouteAddEntry(kTundra, wDevice, 0, kSwitch, 0, uchTable, wId, uchPort,
                            static_cast<NVXL_ROUTE_TYPE>(nType), 0);
}
} // namespace

class Tsi578OnSim : public CFamilySimTest
{
protected:
    void SetUp() override { Load(TsiNet("tsi578")); }
    nvsim::models::CTsiSwitch& Switch() { return Model<nvsim::models::CTsiSwitch>("sw"); }
};

TEST_F(Tsi578OnSim, RoutesRoundTripInEveryTableForm)
{
    // Only ports and "no route" are written; other types pass without a write.
    EXPECT_EQ(NVXL_OK, AddRoute(kTsi578, 0, 0x05, 2, eNVXL_RouteTypeDefault));
    EXPECT_EQ(0xFF, Switch().RouteEntry(0x05, 0));
    EXPECT_EQ(NVXL_ERR_ROUTING, AddRoute(kTsi578, 0, 512, 2, kPort));

    ASSERT_EQ(NVXL_OK, AddRoute(kTsi578, 0, 0x05, 2, kPort));
    ASSERT_EQ(NVXL_OK, AddRoute(kTsi578, 2, 0x01, 0, kPort));
    EXPECT_TRUE(Reaches(0x05));
    NVXL_STATUS nStatus = 0;
    EXPECT_EQ((SRoute{0x05, 2, kPort, 0}), GetRoute(kTundra, kTsi578, 0, 0x05, &nStatus));
    EXPECT_EQ((SRoute{0x05, 0xFF, kUnrouted, 0}), GetRoute(kTundra, kTsi578, 1, 0x05, &nStatus));

    // A port's table through its self-counting register pair, all 512 entries.
    const std::vector<SRoute> table = {{3, 1, kPort, 0}, {300, 7, kPort, 0}, {511, 15, kPort, 0}};
    ASSERT_EQ(NVXL_OK, StoreTable(kTundra, kTsi578, 7, table));
    EXPECT_EQ(table, LoadTable(kTundra, kTsi578, 7, &nStatus));
    EXPECT_EQ(NVXL_OK, nStatus);
    EXPECT_EQ(7, Switch().RouteEntry(300, 7));
    EXPECT_TRUE(LoadTable(kTundra, kTsi578, 8, &nStatus).empty());

    // All tables through the standard registers; the standard store takes one record per ID.
    const std::vector<SRoute> all = {{0x01, 0, kPort, 0}, {0x06, 3, kPort, 0}};
    std::vector<SRoute> records;
    for (uint16_t i = 0; i < 512; i++)
        records.push_back({i, 0xFF, kUnrouted, 0});
    records[0x01] = all[0];
    records[0x06] = all[1];
    ASSERT_EQ(NVXL_OK, StoreTable(kTundra, kTsi578, kAllPorts, records));
    EXPECT_EQ(all, LoadTable(kTundra, kTsi578, kAllPorts, &nStatus));
    EXPECT_EQ(all, LoadTable(kTundra, kTsi578, 3, &nStatus));
    EXPECT_TRUE(Reaches(0x06));
}

// Ports 2 and 3 share a SerDes: a rate change waits for the partner to be idle and takes both.
TEST_F(Tsi578OnSim, SpeedChangeTakesThePortPair)
{
    uint32_t ulSpeed = 0;
    ASSERT_EQ(NVXL_OK, HalGetPortSpeedMHz(kTundra, kTsi578, 0, kSwitch, 0, 2, &ulSpeed));
    EXPECT_EQ(2500u, ulSpeed);
    EXPECT_EQ(NVXL_ERR_NOT_SUPPORTED, HalSetPortSpeedMHz(kTundra, kTsi578, 0, kSwitch, 0, 0, 2500));
    EXPECT_EQ(NVXL_ERR_NOT_SUPPORTED, HalSetPortSpeedMHz(kTundra, kTsi578, 0, kSwitch, 0, 2, 3125));
    EXPECT_EQ(NVXL_ERR_NOT_SUPPORTED, HalSetPortSpeedMHz(kTundra, kTsi578, 0, kSwitch, 0, 2, 5000));

    Fabric().Link("sw", 3)->SetTrained(false);
    ASSERT_EQ(NVXL_OK, HalSetPortSpeedMHz(kTundra, kTsi578, 0, kSwitch, 0, 2, 3125));
    EXPECT_TRUE(Waited(75));
    EXPECT_FALSE(Trained("sw", 2)); // ep2 stays at 2.5 Gbaud
    ASSERT_EQ(NVXL_OK, HalGetPortSpeedMHz(kTundra, kTsi578, 0, kSwitch, 0, 3, &ulSpeed));
    EXPECT_EQ(3125u, ulSpeed);
    Fabric().Link("sw", 3)->SetTrained(true);
    EXPECT_EQ(3125u, LinkMbaud("sw", 3)); // ep3 follows
    Fabric().Link("sw", 3)->SetTrained(false);
    ASSERT_EQ(NVXL_OK, HalSetPortSpeedMHz(kTundra, kTsi578, 0, kSwitch, 0, 2, 2500));
    EXPECT_EQ(2500u, LinkMbaud("sw", 2));
}

TEST_F(Tsi578OnSim, EepromReadAndWriteThroughTheI2cMaster)
{
    const std::vector<uint8_t>& eeprom = Switch().I2c()->Eeprom();
    EXPECT_EQ(1, HalSupportsEEPROM(kTundra, kTsi578));
    ASSERT_EQ(NVXL_OK, HalSetEEPROMAddress(kTundra, kTsi578, 0, kSwitch, 0, 2, 0x50));
    ASSERT_EQ(NVXL_OK, HalInitEEPROM(kTundra, kTsi578, 0, kSwitch, 0));
    EXPECT_EQ((std::vector<uint8_t>{0, 0, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF}),
              std::vector<uint8_t>(eeprom.begin(), eeprom.begin() + 8));

    const uint8_t abData[6] = {0x12, 0x34, 0x56, 0x78, 0x9A, 0xBC};
    ASSERT_EQ(NVXL_OK, HalWriteEEPROM(kTundra, kTsi578, 0, kSwitch, 0, 6, 0x120, abData));
    EXPECT_EQ(std::vector<uint8_t>(abData, abData + 6),
              std::vector<uint8_t>(eeprom.begin() + 0x120, eeprom.begin() + 0x126));
    uint8_t abRead[6] = {};
    ASSERT_EQ(NVXL_OK, HalReadEEPROM(kTundra, kTsi578, 0, kSwitch, 0, 6, 0x120, abRead));
    EXPECT_EQ(std::vector<uint8_t>(abData, abData + 6), std::vector<uint8_t>(abRead, abRead + 6));

    // Nothing answers at another I2C address.
    ASSERT_EQ(NVXL_OK, HalSetEEPROMAddress(kTundra, kTsi578, 0, kSwitch, 0, 2, 0x51));
    const uint8_t abOther[2] = {0xEE, 0xEE};
    ASSERT_EQ(NVXL_OK, HalWriteEEPROM(kTundra, kTsi578, 0, kSwitch, 0, 2, 0x120, abOther));
    EXPECT_EQ(0x12, eeprom[0x120]);
}

// A route table goes into the EEPROM as register records the switch replays at boot: the DestID
// register and the port register of the table, with their values.
TEST_F(Tsi578OnSim, FlashedTableBecomesRegisterRecords)
{
    ASSERT_EQ(NVXL_OK, HalInitEEPROM(kTundra, kTsi578, 0, kSwitch, 0));
    const std::vector<NVXL_ROUTE_ENTRY> table = {{0x05, 2, eNVXL_RouteTypePort, 0},
                                                 {0x06, 0, eNVXL_RouteTypeUnrouted, 0}};
    ASSERT_EQ(NVXL_OK, HalFlashRoutingTable(kTundra, kTsi578, 0, kSwitch, 0, 4, 2, table.data()));
    const std::vector<uint8_t>& eeprom = Switch().I2c()->Eeprom();
    auto word = [&eeprom](size_t n)
    {
        return (uint32_t{eeprom[n]} << 24) | (uint32_t{eeprom[n + 1]} << 16) |
               (uint32_t{eeprom[n + 2]} << 8) | eeprom[n + 3];
    };
    EXPECT_EQ(0x0002FFFFu, word(0));
    EXPECT_EQ(0x11070u + 0x400, word(8));
    EXPECT_EQ(0x05u, word(12));
    EXPECT_EQ(0x11074u + 0x400, word(16));
    EXPECT_EQ(2u, word(20));
}

class Tsi578AckIdsOnSim : public CFamilySimTest
{
protected:
    void SetUp() override { Load(TsiNet("tsi578") + "route sw 0x05 2\nroute sw 0x01 0\n"); }
};

TEST_F(Tsi578AckIdsOnSim, ResyncRealignsTheSwitchWithItsPartner)
{
    ASSERT_TRUE(Reaches(0x05));
    EXPECT_EQ(NVXL_ERR_ACKIDS_ALIGNED, HalResyncAckIDs(kTundra, kTsi578, 0, kSwitch, 0, 3));

    // ep2 restarted: its ackIDs are back at 0 while the switch's port 2 counts on.
    Fabric().Device("ep2").ResetPort(0);
    EXPECT_FALSE(Reaches(0x05));
    ASSERT_EQ(NVXL_OK, HalResyncAckIDs(kTundra, kTsi578, 0, kSwitch, 0, 2));
    EXPECT_TRUE(Reaches(0x05));

    // A partner that does not expect ackID 0 is not one that restarted.
    Fabric().Device("ep3").SetAckIds(0, 5, 0, 0);
    EXPECT_EQ(-17, HalResyncAckIDs(kTundra, kTsi578, 0, kSwitch, 0, 3));
}

class TsiIrregularOnSim : public CFamilySimTest
{
};

// The Tsi568 reads its default route where it writes it (0x7C) and refuses a value above 16;
// the Tsi564 record reads the standard register instead.
TEST_F(TsiIrregularOnSim, DefaultRouteRegisters)
{
    Load(TsiNet("tsi568"));
    ASSERT_EQ(NVXL_OK, HalSetDefaultRoute(kTundra, 0x0568, 0, kSwitch, 0, 3));
    EXPECT_EQ(3u, Read(kSwitch, 0, 0x7C));
    uint8_t uchPort = 0;
    ASSERT_EQ(NVXL_OK, HalGetDefaultRoute(kTundra, 0x0568, 0, kSwitch, 0, &uchPort));
    EXPECT_EQ(3, uchPort);
    Write(kSwitch, 0, 0x7C, 17);
    EXPECT_EQ(NVXL_ERR_UNSPECIFIED, HalGetDefaultRoute(kTundra, 0x0568, 0, kSwitch, 0, &uchPort));

    Load(TsiNet("tsi564"));
    ASSERT_EQ(NVXL_OK, HalSetDefaultRoute(kTundra, 0x0564, 0, kSwitch, 0, 3));
    ASSERT_EQ(NVXL_OK, HalGetDefaultRoute(kTundra, 0x0564, 0, kSwitch, 0, &uchPort));
    EXPECT_EQ(0, uchPort);
}

// The Tsi56x keep the SerDes word of a pair at 0x130C4 + 0x100 x 2k.
TEST_F(TsiIrregularOnSim, Tsi568SerdesWord)
{
    Load(TsiNet("tsi568"));
    Fabric().Link("sw", 2)->SetTrained(false);
    ASSERT_EQ(NVXL_OK, HalSetPortSpeedMHz(kTundra, 0x0568, 0, kSwitch, 0, 3, 1250));
    EXPECT_EQ(0u, Read(kSwitch, 0, 0x130C4 + 0x200) & 0xF);
    EXPECT_EQ(1250u, LinkMbaud("sw", 3)); // ep3 offers every rate
    Fabric().Link("sw", 2)->SetTrained(true);
    EXPECT_FALSE(Trained("sw", 2)); // ep2 offers 2.5 Gbaud only
    uint32_t ulSpeed = 0;
    ASSERT_EQ(NVXL_OK, HalGetPortSpeedMHz(kTundra, 0x0568, 0, kSwitch, 0, 2, &ulSpeed));
    EXPECT_EQ(1250u, ulSpeed);
}

TEST_F(TsiIrregularOnSim, Tsi577RefusesEverySpeedAndTsi575HasNoPortConfig)
{
    Load(TsiNet("tsi577"));
    Fabric().Link("sw", 3)->SetTrained(false);
    EXPECT_EQ(NVXL_ERR_NOT_SUPPORTED, HalSetPortSpeedMHz(kTundra, 0x0577, 0, kSwitch, 0, 2, 2500));
    EXPECT_EQ(2500u, LinkMbaud("sw", 2));

    Load(TsiNet("tsi575"));
    uint32_t ulMask = 0xFFFFFFFF;
    NVXL_PORT_CONFIG config{};
    EXPECT_EQ(NVXL_ERR_NOT_SUPPORTED, HalGetPortConfig(kTundra, 0x0575, 0, kSwitch, 0, 2, &ulMask, &config));
    EXPECT_EQ(0u, ulMask);
    ulMask = 0xFFFFFFFF;
    Load(TsiNet("tsi576"));
    ASSERT_EQ(NVXL_OK, HalGetPortConfig(kTundra, 0x0576, 0, kSwitch, 0, 2, &ulMask, &config));
    EXPECT_EQ(1u, config.bOutputEnable);
}

class Tsi500OnSim : public CFamilySimTest
{
protected:
    void SetUp() override
    {
        Load(R"(
device host endpoint processor id=0x01
device sw   switch model=tsi500
device ep   endpoint accept=own id=0x05
host host
link host:0 sw:0
link sw:2 ep:0
)");
    }
};

TEST_F(Tsi500OnSim, NibbleTablesPerPort)
{
    ASSERT_EQ(NVXL_OK, AddRoute(0x0500, 0, 0x05, 2, kPort));
    EXPECT_FALSE(Reaches(0x05));
    ASSERT_EQ(NVXL_OK, AddRoute(0x0500, 2, 0x01, 0, kPort));
    EXPECT_TRUE(Reaches(0x05));
    NVXL_STATUS nStatus = 0;
    EXPECT_EQ((SRoute{0x05, 2, kPort, 0}), GetRoute(kTundra, 0x0500, 0, 0x05, &nStatus));
    EXPECT_EQ((SRoute{0x04, 8, kUnrouted, 0}), GetRoute(kTundra, 0x0500, 0, 0x04, &nStatus));

    const std::vector<SRoute> table = {{0x05, 2, kPort, 0}, {0xC8, 3, kPort, 0}};
    ASSERT_EQ(NVXL_OK, StoreTable(kTundra, 0x0500, 1, table));
    EXPECT_EQ(table, LoadTable(kTundra, 0x0500, 1, &nStatus));
    LoadTable(kTundra, 0x0500, kAllPorts, &nStatus);
    EXPECT_EQ(NVXL_ERR_NOT_SUPPORTED, nStatus);
    uint32_t bTrained = 0;
    ASSERT_EQ(NVXL_OK, HalIsPortTrained(kTundra, 0x0500, 0, kSwitch, 0, 2, &bTrained));
    EXPECT_EQ(1u, bTrained);
}
} // namespace nvtest
