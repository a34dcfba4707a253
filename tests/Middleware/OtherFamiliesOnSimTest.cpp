// The HAL's other device families (PMC6352, vendor 1, vendor 0x30, vendor 2, AMC460, Tsi721)
// and the device lock between two hosts, against the simulator's models of the parts.
#include "SimFixture.h"

#include "models/Pmc6352.h"
#include "models/Tsi721.h"
#include "models/Vendor1Device8.h"
#include "models/Vendor2.h"
#include "models/Vendor30.h"
#include "nvsim/Fabric.h"

namespace nvtest
{
namespace
{
constexpr uint32_t kSwitch = 0xFF;
constexpr uint8_t kAllPorts = 255;
constexpr int kPort = eNVXL_RouteTypePort;
constexpr int kUnrouted = eNVXL_RouteTypeUnrouted;

// A switch of the given model next to the host on its port 0, an endpoint with ID 5 on port 1.
std::string SwitchNet(const std::string& strModel, const std::string& strSpeed = "3.125")
{
    return R"(
device host endpoint processor id=0x01
device sw   switch model=)" +
           strModel + R"(
device ep   endpoint accept=own id=0x05
host host
link host:0 sw:0 speed=)" +
           strSpeed + "\nlink sw:1 ep:0 speed=" + strSpeed + "\n";
}
} // namespace

class Pmc6352OnSim : public CFamilySimTest
{
protected:
    void SetUp() override { Load(SwitchNet("pmc6352")); }
    nvsim::models::CPmc6352Switch& Switch() { return Model<nvsim::models::CPmc6352Switch>("sw"); }
    NVXL_STATUS Add(uint8_t uchTable, uint16_t wId, uint8_t uchPort, int nType = kPort)
    {
        return HalRouteAddEntry(0x003B, 0x6352, 0, kSwitch, 0, uchTable, wId, uchPort,
                                static_cast<NVXL_ROUTE_TYPE>(nType), 0);
    }
};

// Port tables are only reached with their lookup engine stopped; the HAL stops and restarts it.
TEST_F(Pmc6352OnSim, RoutesRoundTripAroundTheLookupEngine)
{
    ASSERT_EQ(NVXL_OK, Add(3, 0x0102, 7));
    EXPECT_TRUE(Switch().EngineRuns(3));
    NVXL_STATUS nStatus = 0;
    EXPECT_EQ((SRoute{0x0102, 7, kPort, 0}), GetRoute(0x003B, 0x6352, 3, 0x0102, &nStatus));
    EXPECT_EQ((SRoute{0x0103, 0, kUnrouted, 0}), GetRoute(0x003B, 0x6352, 3, 0x0103, &nStatus));
    EXPECT_EQ(0x20u, Read(kSwitch, 0, 0x14010 + 0x2000 * 3) & 0x20u);

    const std::vector<SRoute> table = {{0x05, 1, kPort, 0}, {0xFFF, 15, kPort, 0}};
    ASSERT_EQ(NVXL_OK, StoreTable(0x003B, 0x6352, 9, table));
    EXPECT_EQ(table, LoadTable(0x003B, 0x6352, 9, &nStatus));
    EXPECT_TRUE(Switch().EngineRuns(9));
    ASSERT_EQ(NVXL_OK, StoreTable(0x003B, 0x6352, kAllPorts, table));
    EXPECT_EQ(table, LoadTable(0x003B, 0x6352, kAllPorts, &nStatus));

    // With an engine left running, the table cannot be written.
    Write(kSwitch, 0, 0x15000 + 0x2000 * 4, 0x81818181);
    EXPECT_EQ(0, Switch().RouteEntry(0, 4));
}

// The HAL and the part agree on which byte of a table word holds an ID and on what a byte means:
// a route the HAL writes is the one the switch routes by, and a route the switch holds reads back.
TEST_F(Pmc6352OnSim, HalAndSwitchAgreeOnEachTableByte)
{
    for (uint16_t wId = 0x0100; wId < 0x0104; wId++)
        ASSERT_EQ(NVXL_OK, Add(3, wId, static_cast<uint8_t>(wId & 3u) + 6u));
    for (uint16_t wId = 0x0100; wId < 0x0104; wId++)
        EXPECT_EQ(0x80 + 6 + (wId & 3), Switch().RouteEntry(wId, 3)) << std::hex << wId;
    EXPECT_EQ(0, Switch().RouteEntry(0x0104, 3));
    EXPECT_EQ(0, Switch().RouteEntry(0x0100, 2));

    // Routes the switch holds, to low and high ports, read back through the HAL.
    Switch().SetRouteEntry(0x0205, 9, 5);
    Switch().SetRouteEntry(0x0206, 2, 5);
    NVXL_STATUS nStatus = 0;
    EXPECT_EQ((SRoute{0x0205, 9, kPort, 0}), GetRoute(0x003B, 0x6352, 5, 0x0205, &nStatus));
    EXPECT_EQ((SRoute{0x0206, 2, kPort, 0}), GetRoute(0x003B, 0x6352, 5, 0x0206, &nStatus));
    EXPECT_EQ((SRoute{0x0207, 0, kUnrouted, 0}), GetRoute(0x003B, 0x6352, 5, 0x0207, &nStatus));
    EXPECT_EQ((std::vector<SRoute>{{0x0205, 9, kPort, 0}, {0x0206, 2, kPort, 0}}),
              LoadTable(0x003B, 0x6352, 5, &nStatus));

    // Tables stored by the HAL route the endpoint's traffic both ways: in port 0 to the
    // endpoint, in port 1 back to the host.
    EXPECT_FALSE(Reaches(0x05));
    ASSERT_EQ(NVXL_OK, StoreTable(0x003B, 0x6352, 0, {{0x05, 1, kPort, 0}}));
    ASSERT_EQ(NVXL_OK, StoreTable(0x003B, 0x6352, 1, {{0x01, 0, kPort, 0}}));
    EXPECT_TRUE(Reaches(0x05));
    EXPECT_EQ(0x81, Switch().RouteEntry(0x05, 0));
}

// The flash writes the table into every port's table through the common one, byte by byte.
TEST_F(Pmc6352OnSim, FlashedTableRoutesOnEveryPort)
{
    const std::vector<NVXL_ROUTE_ENTRY> table = {{0x01, 0, eNVXL_RouteTypePort, 0},
                                                 {0x05, 1, eNVXL_RouteTypePort, 0}};
    ASSERT_EQ(NVXL_OK, HalFlashRoutingTable(0x003B, 0x6352, 0, kSwitch, 0, 0, 2, table.data()));
    for (uint8_t t = 0; t < 16; t++)
    {
        EXPECT_EQ(0x81, Switch().RouteEntry(0x05, t)) << "table " << int{t};
        EXPECT_TRUE(Switch().EngineRuns(t));
    }
    EXPECT_TRUE(Reaches(0x05));
    uint32_t ulSpeed = 0;
    ASSERT_EQ(NVXL_OK, HalGetPortSpeedMHz(0x003B, 0x6352, 0, kSwitch, 0, 1, &ulSpeed));
    EXPECT_EQ(3125u, ulSpeed);
}

// The switch takes requests for its own ID: once it has one, it answers by ID at any hop count.
TEST_F(Pmc6352OnSim, ConsumesItsOwnId)
{
    EXPECT_EQ(1, HalUsesDestID(0x003B, 0x6352));
    Write(kSwitch, 0, 0x60, 0x00090009);
    Write(kSwitch, 0, 0x6C, 0xC0FFEE);
    EXPECT_EQ(0xC0FFEEu, Read(0x09, 3, 0x6C));
}

class Vendor1OnSim : public CFamilySimTest
{
};

TEST_F(Vendor1OnSim, Device8IsFixedAndWriteProtected)
{
    Load(SwitchNet("v1dev8", "2.5"));
    uint32_t ulSpeed = 0;
    ASSERT_EQ(NVXL_OK, HalGetPortSpeedMHz(0x0001, 0x0008, 0, kSwitch, 0, 1, &ulSpeed));
    EXPECT_EQ(2500u, ulSpeed);
    EXPECT_EQ(NVXL_ERR_NOT_SUPPORTED, HalSetPortSpeedMHz(0x0001, 0x0008, 0, kSwitch, 0, 1, 2500));
    EXPECT_EQ(NVXL_OK, HalAcquireDeviceLock(0x0001, 0x0008, 0, kSwitch, 0, 0x01, nullptr, 0, 0));
    EXPECT_EQ(0u, Read(kSwitch, 0, 0x68));

    uint32_t bTrained = 0;
    ASSERT_EQ(NVXL_OK, HalIsPortTrained(0x0001, 0x0008, 0, kSwitch, 0, 1, &bTrained));
    EXPECT_EQ(1u, bTrained);
    Fabric().Link("sw", 1)->SetTrained(false);
    ASSERT_EQ(NVXL_OK, HalIsPortTrained(0x0001, 0x0008, 0, kSwitch, 0, 1, &bTrained));
    EXPECT_EQ(0u, bTrained);
    Fabric().Link("sw", 1)->SetTrained(true);

    auto& sw = Model<nvsim::models::CVendor1Device8Switch>("sw");
    ASSERT_EQ(NVXL_OK, HalRouteAddEntry(0x0001, 0x0008, 0, kSwitch, 0, 0, 0x05, 1, eNVXL_RouteTypePort, 0));
    ASSERT_EQ(NVXL_OK, HalRouteAddEntry(0x0001, 0x0008, 0, kSwitch, 0, 1, 0x01, 0, eNVXL_RouteTypePort, 0));
    EXPECT_TRUE(sw.TableLocked(0));
    EXPECT_TRUE(Reaches(0x05));
    // A write that does not unlock the table leaves it as it was.
    Write(kSwitch, 0, 0x10800 + 4 * 0x05, 0x88888880);
    EXPECT_EQ(1, sw.RouteEntry(0x05, 0));

    NVXL_STATUS nStatus = 0;
    const std::vector<SRoute> table = {{0x05, 1, kPort, 0}, {0x20, 0, kPort, 0}};
    ASSERT_EQ(NVXL_OK, StoreTable(0x0001, 0x0008, 0, table));
    EXPECT_EQ(table, LoadTable(0x0001, 0x0008, 0, &nStatus));
    EXPECT_EQ(0, sw.RouteEntry(0x01, 1)); // the other table's nibbles kept

    // 16-bit IDs route by the large area, which follows the HAL's transport size.
    HalSetLargeTransport(1);
    ASSERT_EQ(NVXL_OK, StoreTable(0x0001, 0x0008, 0, {{0x0405, 1, kPort, 0}}));
    EXPECT_EQ((std::vector<SRoute>{{0x0405, 1, kPort, 0}}), LoadTable(0x0001, 0x0008, 0, &nStatus));
    EXPECT_EQ(1, sw.LargeRouteEntry(0x0405, 0));
    EXPECT_EQ(1, sw.RouteEntry(0x05, 0)); // the small area is another table
    EXPECT_TRUE(sw.TableLocked(0));
}

TEST_F(Vendor1OnSim, Device6OnlyPretends)
{
    Load(SwitchNet("v1dev6"));
    uint32_t ulFeatures = 0;
    ASSERT_EQ(NVXL_OK, HalGetFeatures(0x0001, 0x0006, 0, kSwitch, 0, &ulFeatures));
    EXPECT_EQ(0x10000000u, ulFeatures);
    EXPECT_EQ(NVXL_OK, HalAcquireDeviceLock(0x0001, 0x0006, 0, kSwitch, 0, 0x01, nullptr, 0, 0));
    EXPECT_EQ(0xFFFFu, Read(kSwitch, 0, 0x68));
    EXPECT_EQ(NVXL_OK, HalRouteAddEntry(0x0001, 0x0006, 0, kSwitch, 0, 0, 0x05, 1, eNVXL_RouteTypePort, 0));
    EXPECT_FALSE(Reaches(0x05));
}

class Vendor30OnSim : public CFamilySimTest
{
protected:
    void SetUp() override
    {
        Load(R"(
device host endpoint processor id=0x01
device sw   switch
device ep   endpoint model=v30dev96 accept=own id=0x05
host host
link host:0 sw:0
link sw:1 ep:0
route sw 0x01 0
route sw 0x05 1
route sw 0x07 1
route sw 0x21 1
)");
    }
    nvsim::models::CVendor30Endpoint& Endpoint() { return Model<nvsim::models::CVendor30Endpoint>("ep"); }
};

// The secondary IDs live outside the configuration space and are reached by NREAD and NWRITE;
// the endpoint then takes packets for them.
TEST_F(Vendor30OnSim, SecondaryIdsByDataTransactions)
{
    uint16_t wFlags = 0, wCount = 0;
    ASSERT_EQ(NVXL_OK, HalGetVDIDCaps(0x0030, 0x0096, 0, 0x05, 1, &wFlags, &wCount));
    EXPECT_EQ(3u, wCount);
    const uint16_t wSmall = 0x21, wLarge = 0x0221;
    ASSERT_EQ(NVXL_OK, HalSet2aryDestID(0x0030, 0x0096, 0, 0x05, 1, 2, &wSmall, &wLarge));
    EXPECT_EQ(0x00210221u, Endpoint().BlockWord(0x84 + 8));
    uint16_t wGotSmall = 0, wGotLarge = 0;
    ASSERT_EQ(NVXL_OK, HalGet2aryDestID(0x0030, 0x0096, 0, 0x05, 1, 2, &wGotSmall, &wGotLarge));
    EXPECT_EQ(wSmall, wGotSmall);
    EXPECT_EQ(wLarge, wGotLarge);
    EXPECT_EQ(NVXL_ERR_INVALID_PARAM,
              HalGet2aryDestID(0x0030, 0x0096, 0, 0x05, 1, 3, &wGotSmall, &wGotLarge));
    EXPECT_TRUE(Reaches(0x21));

    const uint16_t wNewSmall = 0x07;
    ASSERT_EQ(NVXL_OK, HalSetDeviceID(0x0030, 0x0096, 0, 0x05, 1, &wNewSmall, nullptr));
    EXPECT_EQ(0x07u, (Endpoint().BlockWord(0x80) >> 16) & 0xFF);
    EXPECT_EQ(0x07u, Read(0x07, 1, 0x60) >> 16);

    ASSERT_EQ(NVXL_OK, HalEnableHostAccess(0x0030, 0x0096, 0, 0x07, 1, 1));
    EXPECT_EQ(0x08000000u, Endpoint().BlockWord(0x20));
}

// On the server's own device the block is reached through the server host's memory.
TEST_F(CFamilySimTest, Vendor30HostDeviceThroughServerMemory)
{
    Load(R"(
device host endpoint model=v30dev0 processor id=0x01
host host
)");
    const uint16_t wSmall = 0x31, wLarge = 0x0331;
    ASSERT_EQ(NVXL_OK, HalSet2aryDestID(0x0030, 0x0000, 0, NVXL_HOST_DESTID, 0, 0, &wSmall, &wLarge));
    uint16_t wGotSmall = 0, wGotLarge = 0;
    ASSERT_EQ(NVXL_OK, HalGet2aryDestID(0x0030, 0x0000, 0, NVXL_HOST_DESTID, 0, 0, &wGotSmall, &wGotLarge));
    EXPECT_EQ(wSmall, wGotSmall);
    EXPECT_EQ(wLarge, wGotLarge);
    EXPECT_EQ(NVXL_ERR_INVALID_PARAM,
              HalSet2aryDestID(0x0030, 0x0000, 0, NVXL_HOST_DESTID, 0, 1, &wSmall, &wLarge));
}

TEST_F(CFamilySimTest, Vendor2HostAccessAndTheSharedRecord)
{
    Load(R"(
device host endpoint processor id=0x01
device sw   switch
device d3   endpoint model=v2dev3 accept=own id=0x05
device d12  endpoint model=v2dev12 accept=own id=0x06
host host
link host:0 sw:0
link sw:1 d3:0
link sw:2 d12:0
route sw 0x01 0
route sw 0x05 1
route sw 0x06 2
route sw 0x07 2
)");
    ASSERT_EQ(NVXL_OK, HalEnableHostAccess(0x0002, 0x0003, 0, 0x05, 1, 1));
    EXPECT_TRUE(Model<nvsim::models::CVendor2Endpoint>("d3").HostAccess());
    ASSERT_EQ(NVXL_OK, HalEnableHostAccess(0x0002, 0x0012, 0, 0x06, 1, 1));
    EXPECT_TRUE(Model<nvsim::models::CVendor2Endpoint>("d12").HostAccess());
    // Device 0x12 takes any ID; device 3 only its own.
    EXPECT_TRUE(Reaches(0x07));

    // 0x00030002 finds the device 3 record, registered before the shared one: no width known.
    uint8_t uchWidth = 0, uchLane = 0, uchMax = 0, uchOverride = 0;
    uint32_t bParallel = 0, ulType = 0;
    ASSERT_EQ(NVXL_OK, HalGetPortWidth(0x0002, 0x0003, 0, 0x05, 1, 0, &uchWidth, &uchLane, &uchMax,
                                       &uchOverride, &bParallel, &ulType));
    EXPECT_EQ(255, uchWidth);
    // Device 0x12 reads its one port's control register whatever the port number.
    ASSERT_EQ(NVXL_OK, HalGetPortWidth(0x0002, 0x0012, 0, 0x06, 1, 5, &uchWidth, &uchLane, &uchMax,
                                       &uchOverride, &bParallel, &ulType));
    EXPECT_EQ(4, uchWidth);
    EXPECT_EQ(4, uchMax);
}

// A device whose identity reads 0 is taken for a bridge, after its features register was read.
TEST_F(CFamilySimTest, DeviceWithoutIdentityIsABridge)
{
    Load(SwitchNet("generic") + "device odd endpoint vendor=0 device=0\nlink sw:2 odd:0\nroute sw 0x01 0\n"
                                "route sw 0x08 2\n");
    uint32_t ulFeatures = 0;
    ASSERT_EQ(NVXL_OK, HalGetFeatures(0, 0, 0, 0x08, 1, &ulFeatures));
    EXPECT_EQ(0x80000000u, ulFeatures);
    Fabric().Link("sw", 2)->SetTrained(false);
    EXPECT_EQ(NVXL_ERR_RIO, HalGetFeatures(0, 0, 0, 0x08, 1, &ulFeatures)); // a lost response
}

// The AMC460 answers to a new ID as soon as it has it: the HAL writes the ID to the new ID.
TEST_F(CFamilySimTest, Amc460TakesItsNewIdAtOnce)
{
    Load(R"(
device host endpoint processor id=0x01
device sw   switch
device amc  endpoint model=amc460 id=0x05
host host
link host:0 sw:0
link sw:1 amc:0
route sw 0x01 0
route sw 0x05 1
route sw 0x09 1
route sw 0x0A 1
)");
    const uint16_t wSmall = 0x09;
    ASSERT_EQ(NVXL_OK, HalSetDeviceID(0x0064, 0x0100, 0, 0x05, 1, &wSmall, nullptr));
    EXPECT_EQ(0x09u, Read(0x09, 1, 0x60) >> 16);
    // Written through its old ID, the write is carried out but its answer never arrives.
    uint32_t ulValue = 0x000A0000 | (Read(0x09, 1, 0x60) & 0xFFFF);
    EXPECT_EQ(-310, Fabric().MaintWrite(0, 0x09, 1, 0x60, &ulValue, 1, 4, 4, false));
    EXPECT_EQ(0x0Au, Read(0x0A, 1, 0x60) >> 16);
}

class Tsi721OnSim : public CFamilySimTest
{
protected:
    void SetUp() override
    {
        Load(R"(
device host endpoint processor id=0x01
device sw   switch
device br   endpoint model=tsi721 accept=own id=0x05 eeprom=4K
host host
link host:0 sw:0
link sw:1 br:0 speed=5
route sw 0x01 0
route sw 0x05 1
)");
    }
};

TEST_F(Tsi721OnSim, RateIsTheEnabledBaudRate)
{
    uint32_t ulSpeed = 0;
    ASSERT_EQ(NVXL_OK, HalGetPortSpeedMHz(0x0038, 0x80AB, 0, 0x05, 1, 0, &ulSpeed));
    EXPECT_EQ(5000u, ulSpeed);
    ASSERT_EQ(NVXL_OK, HalSetPortSpeedMHz(0x0038, 0x80AB, 0, 0x05, 1, 0, 2500));
    EXPECT_EQ(2500u, LinkMbaud("sw", 1));
    ASSERT_EQ(NVXL_OK, HalGetPortSpeedMHz(0x0038, 0x80AB, 0, 0x05, 1, 0, &ulSpeed));
    EXPECT_EQ(2500u, ulSpeed);
    EXPECT_EQ(NVXL_ERR_INVALID_PARAM, HalSetPortSpeedMHz(0x0038, 0x80AB, 0, 0x05, 1, 0, 3000));

    uint8_t uchWidth = 0, uchLane = 0, uchMax = 0, uchOverride = 0;
    uint32_t bParallel = 0, ulType = 0;
    ASSERT_EQ(NVXL_OK, HalGetPortWidth(0x0038, 0x80AB, 0, 0x05, 1, 0, &uchWidth, &uchLane, &uchMax,
                                       &uchOverride, &bParallel, &ulType));
    EXPECT_EQ(4, uchMax);
    EXPECT_EQ(4, uchWidth);
}

TEST_F(Tsi721OnSim, EepromThroughItsI2cMaster)
{
    const uint8_t abData[3] = {0xA1, 0xB2, 0xC3};
    ASSERT_EQ(NVXL_OK, HalWriteEEPROM(0x0038, 0x80AB, 0, 0x05, 1, 3, 0x40, abData));
    EXPECT_EQ(0xB2, Model<nvsim::models::CTsi721Endpoint>("br").I2c().Eeprom()[0x41]);
    uint8_t abRead[3] = {};
    ASSERT_EQ(NVXL_OK, HalReadEEPROM(0x0038, 0x80AB, 0, 0x05, 1, 3, 0x40, abRead));
    EXPECT_EQ(std::vector<uint8_t>(abData, abData + 3), std::vector<uint8_t>(abRead, abRead + 3));
}

// The device lock between two hosts with IDs 1 and 2: taken, refused by priority, broken.
TEST_F(CFamilySimTest, DeviceLockBetweenTwoHosts)
{
    Load(SwitchNet("cps1848"));
    const uint16_t wVendor = 0x0038, wDevice = 0x0374;
    uint16_t wOwner = 0;
    ASSERT_EQ(NVXL_OK, HalAcquireDeviceLock(wVendor, wDevice, 0, kSwitch, 0, 1, &wOwner, 0, 0));
    EXPECT_EQ(0x0001u, Read(kSwitch, 0, 0x68));
    // Host 2 arrives second: it waits its two seconds and is refused.
    EXPECT_EQ(NVXL_ERR_LOCKED, HalAcquireDeviceLock(wVendor, wDevice, 0, kSwitch, 0, 2, &wOwner, 2, 0));
    EXPECT_EQ(1u, wOwner);
    EXPECT_EQ((std::vector<uint32_t>{1000, 1000}), s_aulWaits);
    EXPECT_EQ(NVXL_ERR_LOCKED, HalReleaseDeviceLock(wVendor, wDevice, 0, kSwitch, 0, 2, &wOwner));

    // Host 2 breaks the lock and holds it; host 1 then defers to the higher ID.
    ASSERT_EQ(NVXL_OK, HalAcquireDeviceLock(wVendor, wDevice, 0, kSwitch, 0, 2, &wOwner, 0, 1));
    EXPECT_EQ(0x0002u, Read(kSwitch, 0, 0x68));
    EXPECT_EQ(NVXL_ERR_HIGHER_PRIORITY,
              HalAcquireDeviceLock(wVendor, wDevice, 0, kSwitch, 0, 1, &wOwner, 0, 0));
    EXPECT_EQ(2u, wOwner);
    ASSERT_EQ(NVXL_OK, HalReleaseDeviceLock(wVendor, wDevice, 0, kSwitch, 0, 2, &wOwner));
    EXPECT_EQ(0xFFFFu, Read(kSwitch, 0, 0x68));
}
} // namespace nvtest
