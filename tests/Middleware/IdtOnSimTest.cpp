// The HAL's IDT families (Gen2, Gen1, 70K2000) against the simulator's models of the parts.
#include "SimFixture.h"

#include "models/IdtGen2.h"
#include "nvsim/Fabric.h"

namespace nvtest
{
namespace
{
constexpr uint16_t kIdt = 0x0038;
constexpr uint16_t kCps1848 = 0x0374;
constexpr uint16_t kCps1616 = 0x0379;
constexpr uint16_t kCps16 = 0x035B;
constexpr uint16_t k70K2000 = 0x0310;
constexpr uint32_t kSwitch = 0xFF; // the switch next to the host, reached at hop count 0
constexpr uint8_t kAllPorts = 255;

constexpr int kUnrouted = eNVXL_RouteTypeUnrouted;
constexpr int kDefault = eNVXL_RouteTypeDefault;
constexpr int kPort = eNVXL_RouteTypePort;
constexpr int kMcast = eNVXL_RouteTypeMCast;
constexpr int kSpecial = eNVXL_RouteTypeSpecial;
constexpr int kLevel2Port = 6;

// A CPS-1848 whose quadrant 0 is split (field value 1): ports 0 and 12 have two lanes each on
// PLL 0. The host is on port 1 (PLL 1). ep0 only runs at 3.125 Gbaud, ep12 at any rate.
const char* const kGen2Net = R"(
device host endpoint processor id=0x01
device sw   switch model=cps1848 quadcfg=0x1
device ep0  endpoint accept=own id=0x05 speeds=3.125
device ep12 endpoint accept=own id=0x06
host host
link host:0 sw:1 speed=3.125
link sw:0 ep0:0 speed=3.125
link sw:12 ep12:0 speed=3.125
)";

NVXL_STATUS AddRoute(uint16_t wDevice, uint8_t uchTable, uint16_t wId, uint8_t uchPort, int nType,
                     uint32_t ulExtra = 0)
{
    return HalRouteAddEntry(kIdt, wDevice, 0, kSwitch, 0, uchTable, wId, uchPort,
                            static_cast<NVXL_ROUTE_TYPE>(nType), ulExtra);
}

SRoute Get(uint16_t wDevice, uint8_t uchTable, uint16_t wId)
{
    NVXL_STATUS nStatus = 0;
    const SRoute route = GetRoute(kIdt, wDevice, uchTable, wId, &nStatus);
    EXPECT_EQ(NVXL_OK, nStatus);
    return route;
}

uint32_t Speed(uint16_t wDevice, uint8_t uchPort, NVXL_STATUS nExpected = NVXL_OK)
{
    uint32_t ulSpeed = 0;
    EXPECT_EQ(nExpected, HalGetPortSpeedMHz(kIdt, wDevice, 0, kSwitch, 0, uchPort, &ulSpeed));
    return ulSpeed;
}

NVXL_STATUS SetSpeed(uint16_t wDevice, uint8_t uchPort, uint32_t ulSpeed)
{
    return HalSetPortSpeedMHz(kIdt, wDevice, 0, kSwitch, 0, uchPort, ulSpeed);
}
} // namespace

class IdtGen2OnSim : public CFamilySimTest
{
protected:
    void SetUp() override { Load(kGen2Net); }
    nvsim::models::CIdtGen2Switch& Switch() { return Model<nvsim::models::CIdtGen2Switch>("sw"); }
};

// A route goes into the table of the port it is meant for: the switch routes a packet by the
// table of the port it came in on, and the broadcast table writes every port's.
TEST_F(IdtGen2OnSim, RoutesByTheTableOfTheIngressPort)
{
    ASSERT_EQ(NVXL_OK, AddRoute(kCps1848, 0, 0x01, 1, kPort)); // responses come in on port 0
    ASSERT_EQ(NVXL_OK, AddRoute(kCps1848, 2, 0x05, 0, kPort)); // the wrong table for the host
    EXPECT_FALSE(Reaches(0x05));
    ASSERT_EQ(NVXL_OK, AddRoute(kCps1848, 1, 0x05, 0, kPort));
    EXPECT_TRUE(Reaches(0x05));

    EXPECT_EQ((SRoute{0x05, 0, kPort, 0}), Get(kCps1848, 1, 0x05));
    // A table not written keeps its reset value: use the default route.
    EXPECT_EQ((SRoute{0x05, 222, kDefault, 0}), Get(kCps1848, 3, 0x05));

    ASSERT_EQ(NVXL_OK, AddRoute(kCps1848, kAllPorts, 0x06, 12, kPort));
    EXPECT_EQ((SRoute{0x06, 12, kPort, 0}), Get(kCps1848, 0, 0x06));
    EXPECT_EQ((SRoute{0x06, 12, kPort, 0}), Get(kCps1848, 17, 0x06));
    EXPECT_FALSE(Reaches(0x06)); // port 12's table has no way back to the host yet
    ASSERT_EQ(NVXL_OK, AddRoute(kCps1848, 12, 0x01, 1, kPort));
    EXPECT_TRUE(Reaches(0x06));
}

TEST_F(IdtGen2OnSim, RouteValuesOfEveryKindRoundTrip)
{
    ASSERT_EQ(NVXL_OK, AddRoute(kCps1848, 4, 0x10, 7, kMcast));
    EXPECT_EQ((SRoute{0x10, 7, kMcast, 0}), Get(kCps1848, 4, 0x10));
    ASSERT_EQ(NVXL_OK, AddRoute(kCps1848, 4, 0x11, 0, kUnrouted));
    EXPECT_EQ((SRoute{0x11, 223, kUnrouted, 0}), Get(kCps1848, 4, 0x11));
    ASSERT_EQ(NVXL_OK, AddRoute(kCps1848, 4, 0x12, 0, kDefault));
    EXPECT_EQ((SRoute{0x12, 222, kDefault, 0}), Get(kCps1848, 4, 0x12));
    EXPECT_EQ(0x40u + 7, Switch().TableEntry(4, 0x10));
}

// IDs from 256 up are the second level of the table: the domain part, selected by the high byte.
TEST_F(IdtGen2OnSim, SecondLevelEntriesLiveInTheDomainPart)
{
    ASSERT_EQ(NVXL_OK, AddRoute(kCps1848, 5, 300, 9, kPort));
    EXPECT_EQ((SRoute{300, 9, kLevel2Port, 0}), Get(kCps1848, 5, 300));
    EXPECT_EQ(9, Switch().TableEntry(5, nvsim::models::CIdtSwitch::kDomainPart + (300 >> 8)));
    EXPECT_EQ(NVXL_ERR_DRIVER_PARAM, AddRoute(kCps1848, 5, 100, 9, kLevel2Port));
}

TEST_F(IdtGen2OnSim, TablesStoreAndLoadThroughTheWindows)
{
    const std::vector<SRoute> table = {{0x01, 3, kPort, 0}, {0x02, 4, kMcast, 0}, {0x03, 2, kSpecial, 2}};
    ASSERT_EQ(NVXL_OK, StoreTable(kIdt, kCps1848, 5, table));
    NVXL_STATUS nStatus = 0;
    EXPECT_EQ(table, LoadTable(kIdt, kCps1848, 5, &nStatus));
    EXPECT_EQ(NVXL_OK, nStatus);
    // The other ports' tables are untouched; an untouched table loads empty.
    EXPECT_TRUE(LoadTable(kIdt, kCps1848, 6, &nStatus).empty());

    ASSERT_EQ(NVXL_OK, StoreTable(kIdt, kCps1848, kAllPorts, {{0x05, 0, kPort, 0}, {0x01, 1, kPort, 0}}));
    EXPECT_EQ((std::vector<SRoute>{{0x01, 1, kPort, 0}, {0x05, 0, kPort, 0}}),
              LoadTable(kIdt, kCps1848, 9, &nStatus));
    EXPECT_EQ((std::vector<SRoute>{{0x01, 1, kPort, 0}, {0x05, 0, kPort, 0}}),
              LoadTable(kIdt, kCps1848, kAllPorts, &nStatus));
    EXPECT_TRUE(Reaches(0x05));
}

// A 16-bit table goes into the two parts of the switch's table: a domain whose IDs all leave by
// one port takes one domain entry, a domain split over several ports routes by the device part
// (0xDD), which it shares with domain 0 and every other such domain. Where sharing would send an
// ID the wrong way, the HAL compares what either choice loses.
TEST_F(IdtGen2OnSim, SixteenBitTablesSplitIntoDomainAndDeviceEntries)
{
    using nvsim::models::CIdtSwitch;
    const std::vector<SRoute> table = {
        {0x0005, 0, kPort, 0}, {0x0006, 12, kPort, 0}, // domain 0
        {0x0110, 3, kPort, 0}, {0x0111, 3, kPort, 0},  // domain 1: one port
        {0x0210, 4, kPort, 0}, {0x0220, 7, kPort, 0},  // domain 2: two ports, device entries free
        {0x0305, 9, kPort, 0}, {0x0306, 12, kPort, 0}, // domain 3: 0x0305 would take 0x0005's entry
        {0x0307, 9, kPort, 0}, {0x0421, 5, kMcast, 0}, // domain 4: a multicast mask
        {0x0430, 6, kPort, 0},
    };
    ASSERT_EQ(NVXL_OK, StoreTable(kIdt, kCps1848, 2, table));
    const auto Entry = [this](uint32_t ulIndex) { return Switch().TableEntry(2, ulIndex); };
    EXPECT_EQ(CIdtSwitch::kUseDeviceTable, Entry(CIdtSwitch::kDomainPart + 0));
    EXPECT_EQ(3, Entry(CIdtSwitch::kDomainPart + 1));
    EXPECT_EQ(CIdtSwitch::kUseDeviceTable, Entry(CIdtSwitch::kDomainPart + 2));
    EXPECT_EQ(9, Entry(CIdtSwitch::kDomainPart + 3)) << "sharing loses 0x0305, one port loses 0x0306";
    EXPECT_EQ(CIdtSwitch::kUseDeviceTable, Entry(CIdtSwitch::kDomainPart + 4))
        << "masks live in the device part";
    EXPECT_EQ(CIdtSwitch::kNoRoute, Entry(CIdtSwitch::kDomainPart + 5));
    EXPECT_EQ(0x40 + 5, Entry(0x21));
    EXPECT_EQ(CIdtSwitch::kUseDefaultRoute, Switch().TableEntry(3, CIdtSwitch::kDomainPart + 1))
        << "other ports' tables untouched";

    // Where the switch sends a 16-bit packet that came in on port 2.
    const auto Egress = [this](uint32_t ulDestId) -> int
    {
        uint8_t uchPort = 0;
        return Switch().Route(ulDestId, true, 2, &uchPort) ? uchPort : -1;
    };
    EXPECT_EQ(0, Egress(0x0005));
    EXPECT_EQ(12, Egress(0x0006));
    EXPECT_EQ(3, Egress(0x0110));
    EXPECT_EQ(3, Egress(0x01AB)) << "the whole domain leaves by its port";
    EXPECT_EQ(4, Egress(0x0210));
    EXPECT_EQ(7, Egress(0x0220));
    EXPECT_EQ(9, Egress(0x0305));
    EXPECT_EQ(9, Egress(0x0307));
    EXPECT_EQ(9, Egress(0x0306)) << "the one ID of domain 3 that no layout carries";
    EXPECT_EQ(6, Egress(0x0430));
    EXPECT_EQ(-1, Egress(0x0500));
    EXPECT_EQ(6, Egress(0x0030)) << "an ID of domain 0 without a route shares domain 4's device entry";

    // Read back with 16-bit IDs: the device part under domains 0, 2 and 4, and every ID of domains 1
    // and 3. With 8-bit IDs only the device part.
    HalSetLargeTransport(1);
    NVXL_STATUS nStatus = 0;
    const std::vector<SRoute> loaded = LoadTable(kIdt, kCps1848, 2, &nStatus);
    HalSetLargeTransport(0);
    ASSERT_EQ(NVXL_OK, nStatus);
    ASSERT_EQ(3u * 6 + 2 * 256, loaded.size());
    EXPECT_EQ((SRoute{0x0005, 0, kPort, 0}), loaded.front());
    EXPECT_EQ((SRoute{0x0110, 3, kPort, 0}), loaded[6 + 0x10]);
    EXPECT_EQ((SRoute{0x0221, 5, kMcast, 0}), loaded[6 + 256 + 4]);
    EXPECT_EQ((SRoute{0x0306, 9, kPort, 0}), loaded[6 + 256 + 6 + 6]);
    EXPECT_EQ((SRoute{0x0430, 6, kPort, 0}), loaded.back());
    EXPECT_EQ(6u, LoadTable(kIdt, kCps1848, 2, &nStatus).size());
}

TEST_F(IdtGen2OnSim, ResetRestoresTheDomainAndDropsTheDefaultRoute)
{
    Write(kSwitch, 0, 0xF20020, 0x12);
    Write(kSwitch, 0, 0x78, 1);
    ASSERT_EQ(NVXL_OK, HalResetRoutingTable(kIdt, kCps1848, 0, kSwitch, 0));
    EXPECT_EQ(0u, Read(kSwitch, 0, 0xF20020));
    EXPECT_EQ(0xDFu, Read(kSwitch, 0, 0x78));
}

TEST_F(IdtGen2OnSim, LinkRequestIsAnsweredByThePartner)
{
    uint32_t ulAckID = 99, ulStatus = 0;
    Fabric().Device("ep0").SetAckIds(0, 7, 0, 0);
    ASSERT_EQ(NVXL_OK, HalSendLinkMaintRequest(kIdt, kCps1848, 0, kSwitch, 0, 0, 4, &ulAckID, &ulStatus));
    EXPECT_EQ(7u, ulAckID);
    EXPECT_EQ(0x10u, ulStatus);
    Fabric().Link("sw", 0)->SetTrained(false);
    EXPECT_EQ(NVXL_ERR_LINK_REQUEST,
              HalSendLinkMaintRequest(kIdt, kCps1848, 0, kSwitch, 0, 0, 4, &ulAckID, &ulStatus));
}

// Port 0 shares PLL 0 with port 12: moving it to the other rate family needs port 12 idle, and
// the PLL's new rate reaches the lanes through the reset, which restarts both ports.
TEST_F(IdtGen2OnSim, PllChangeWaitsForTheNeighbourAndResetsThePorts)
{
    EXPECT_EQ(3125u, Speed(kCps1848, 0));
    EXPECT_EQ(0u, Speed(kCps1848, 13)); // no lanes in this quad configuration
    EXPECT_EQ(NVXL_ERR_NOT_SUPPORTED, SetSpeed(kCps1848, 0, 2500));
    EXPECT_TRUE(Waited(175));
    EXPECT_EQ(3125u, Speed(kCps1848, 0));

    Fabric().Link("sw", 12)->SetTrained(false);
    Fabric().Device("sw").SetAckIds(0, 4, 4, 4);
    Fabric().Device("sw").SetAckIds(12, 2, 2, 2);
    s_aulWaits.clear();
    ASSERT_EQ(NVXL_OK, SetSpeed(kCps1848, 0, 2500));
    EXPECT_TRUE(Waited(75));
    EXPECT_FALSE(Waited(175));
    EXPECT_EQ(2500u, Speed(kCps1848, 0));
    EXPECT_EQ(0u, Switch().AppliedPllSelect(0));
    EXPECT_EQ(0, Fabric().Device("sw").Port(0).uchOutboundAckId);
    EXPECT_EQ(0, Fabric().Device("sw").Port(12).uchInboundAckId);
    // Port 12's lanes now run in the lower family too.
    EXPECT_EQ(nvsim::speeds::k2500, Fabric().Device("sw").PortSpeeds(12));
    // ep0 only runs at 3.125 Gbaud: the link is down until the port is back at that rate.
    EXPECT_FALSE(Trained("sw", 0));
    ASSERT_EQ(NVXL_OK, SetSpeed(kCps1848, 0, 3125));
    EXPECT_TRUE(Trained("sw", 0));
    EXPECT_EQ(3125u, LinkMbaud("sw", 0));
    Fabric().Link("sw", 12)->SetTrained(true);
    EXPECT_EQ(3125u, LinkMbaud("sw", 12));
}

// Within a rate family only the lanes change: no neighbour test, no reset.
TEST_F(IdtGen2OnSim, RateChangeWithinTheFamilyLeavesThePllAlone)
{
    Fabric().Device("sw").SetAckIds(12, 2, 2, 2);
    ASSERT_EQ(NVXL_OK, SetSpeed(kCps1848, 0, 6250));
    EXPECT_FALSE(Waited(175));
    EXPECT_EQ(6250u, Speed(kCps1848, 0));
    EXPECT_EQ(2, Fabric().Device("sw").Port(12).uchInboundAckId);
    EXPECT_TRUE(Trained("sw", 12));
    EXPECT_FALSE(Trained("sw", 0)); // ep0 cannot follow
    EXPECT_EQ(NVXL_ERR_NOT_SUPPORTED, SetSpeed(kCps1848, 13, 2500));
}

class IdtCps1616OnSim : public CFamilySimTest
{
protected:
    void SetUp() override
    {
        Load(R"(
device host endpoint processor id=0x01
device sw   switch model=cps1616
device ep4  endpoint speeds=5,6.25
device ep8  endpoint speeds=5
host host
link host:0 sw:0 speed=3.125
link sw:4 ep4:0 speed=5
link sw:8 ep8:0 speed=5
)");
    }
};

// Each lane of the 16-lane switches picks its PLL itself: a change of rate family touches no
// other port.
TEST_F(IdtCps1616OnSim, LanesPickTheirPll)
{
    EXPECT_EQ(5000u, Speed(kCps1616, 4));
    ASSERT_EQ(NVXL_OK, SetSpeed(kCps1616, 4, 6250));
    EXPECT_EQ(6250u, Speed(kCps1616, 4));
    EXPECT_EQ(6250u, LinkMbaud("sw", 4));
    EXPECT_EQ(0xC0000000u, Read(kSwitch, 0, 0xFF8000 + 0x100 * 4) & 0xC0000000u);
    EXPECT_EQ(5000u, LinkMbaud("sw", 8));
    ASSERT_EQ(NVXL_OK, SetSpeed(kCps1616, 8, 3125));
    EXPECT_FALSE(Trained("sw", 8));
}

class IdtGen1OnSim : public CFamilySimTest
{
protected:
    // Quad 1 holds ports 4 to 7 (four x1 ports).
    void SetUp() override
    {
        Load(R"(
device host endpoint processor id=0x01
device sw   switch model=cps16
device ep4  endpoint id=0x05 speeds=2.5
device ep5  endpoint id=0x06
host host
link host:0 sw:0 speed=3.125
link sw:4 ep4:0 speed=2.5
link sw:5 ep5:0 speed=2.5
)");
    }
};

TEST_F(IdtGen1OnSim, QuadRateIsSharedByItsPorts)
{
    EXPECT_EQ(3125u, Speed(kCps16, 0));
    EXPECT_EQ(2500u, Speed(kCps16, 4));
    Speed(kCps16, 16, NVXL_ERR_INVALID_PARAM);
    EXPECT_EQ(NVXL_ERR_NOT_SUPPORTED, SetSpeed(kCps16, 4, 3125)); // port 5 is trained
    Fabric().Link("sw", 5)->SetTrained(false);
    ASSERT_EQ(NVXL_OK, SetSpeed(kCps16, 4, 3125));
    EXPECT_EQ(3125u, Speed(kCps16, 7));
    EXPECT_FALSE(Trained("sw", 4)); // ep4 runs at 2.5 Gbaud only
    ASSERT_EQ(NVXL_OK, SetSpeed(kCps16, 4, 2500));
    EXPECT_TRUE(Trained("sw", 4));
}

TEST_F(IdtGen1OnSim, RoutesRoundTripInEveryTableForm)
{
    ASSERT_EQ(NVXL_OK, AddRoute(kCps16, 0, 0x05, 4, kPort));
    ASSERT_EQ(NVXL_OK, AddRoute(kCps16, 4, 0x01, 0, kPort));
    EXPECT_TRUE(Reaches(0x05));
    EXPECT_EQ((SRoute{0x05, 4, kPort, 0}), Get(kCps16, 0, 0x05));
    EXPECT_EQ(NVXL_ERR_INVALID_PARAM, AddRoute(kCps16, 0, 300, 4, kLevel2Port));
    EXPECT_EQ(NVXL_ERR_NOT_SUPPORTED, AddRoute(kCps16, 16, 0x05, 4, kPort));

    const std::vector<SRoute> table = {{0x01, 0, kPort, 0}, {0x06, 5, kPort, 0}};
    ASSERT_EQ(NVXL_OK, StoreTable(kIdt, kCps16, kAllPorts, table));
    NVXL_STATUS nStatus = 0;
    EXPECT_EQ(table, LoadTable(kIdt, kCps16, 5, &nStatus));
    EXPECT_EQ(table, LoadTable(kIdt, kCps16, kAllPorts, &nStatus));
    EXPECT_TRUE(Reaches(0x06));
}

class Idt70K2000OnSim : public CFamilySimTest
{
protected:
    void SetUp() override
    {
        Load(R"(
device host endpoint processor id=0x01
device sw   switch model=70k2000
device ep   endpoint accept=own id=0x05
host host
link host:0 sw:0 speed=2.5
link sw:3 ep:0 speed=2.5
)");
    }
};

TEST_F(Idt70K2000OnSim, OneTableForAllPorts)
{
    EXPECT_EQ(NVXL_ERR_NOT_SUPPORTED, AddRoute(k70K2000, 0, 0x05, 3, kPort));
    ASSERT_EQ(NVXL_OK, AddRoute(k70K2000, kAllPorts, 0x05, 3, kPort));
    EXPECT_EQ((std::vector<uint32_t>{75}), s_aulWaits);
    ASSERT_EQ(NVXL_OK, AddRoute(k70K2000, kAllPorts, 0x01, 0, kPort));
    EXPECT_TRUE(Reaches(0x05));
    EXPECT_EQ((SRoute{0x05, 3, kPort, 0}), Get(k70K2000, kAllPorts, 0x05));

    const std::vector<SRoute> table = {{0x01, 0, kPort, 0}, {0x07, 3, kMcast, 0}};
    ASSERT_EQ(NVXL_OK, StoreTable(kIdt, k70K2000, kAllPorts, table));
    NVXL_STATUS nStatus = 0;
    EXPECT_EQ(table, LoadTable(kIdt, k70K2000, kAllPorts, &nStatus));
    EXPECT_FALSE(Reaches(0x05)); // the store replaced the whole table
}
} // namespace nvtest
