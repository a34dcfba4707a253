// The HAL's multicast operations against the simulator: masks and associations written through
// the standard registers as a real switch decodes them, and the IDT Gen2 route entries naming a
// mask, each checked by the packets that then arrive.
#include "SimFixture.h"

#include "nvsim/Fabric.h"
#include "nvsim/StdDevice.h"

namespace nvtest
{
namespace
{
constexpr uint32_t kSwitch = 0xFF; // the switch next to the host, at hop count 0
constexpr uint16_t kGenericVendor = 0xFFF0;
constexpr uint16_t kGenericSwitch = 0x0002;

// host on port 0 of a switch with per-port association; endpoints on ports 1, 2 and 3.
const char* const kNet = R"(
device host endpoint processor id=0x01 largeid=0x0001
device sw   switch ports=4 multicast masks=8 perportassoc
device a    endpoint memory id=0x05
device b    endpoint memory id=0x06
device c    endpoint memory id=0x07
host host
link host:0 sw:0
link sw:1 a:0
link sw:2 b:0
link sw:3 c:0
)";

class MulticastOnSim : public CFamilySimTest
{
protected:
    void SetUp() override { Load(kNet); }
    NVXL_STATUS MaskPort(uint32_t ulCommand, uint16_t wMask, uint8_t uchPort, uint32_t* pulResult = nullptr)
    {
        return HalMulticastMaskPort(kGenericVendor, kGenericSwitch, 0, kSwitch, 0, ulCommand, wMask, uchPort,
                                    pulResult);
    }
    NVXL_STATUS Associate(uint32_t ulCommand, bool bLarge, uint16_t wId, uint16_t wMask, uint8_t uchPort,
                          uint32_t* pulResult = nullptr)
    {
        return HalMulticastAssociate(kGenericVendor, kGenericSwitch, 0, kSwitch, 0, ulCommand, bLarge ? 1 : 0,
                                     0, wId, wMask, uchPort, pulResult);
    }
    std::optional<std::vector<uint8_t>> Ports(uint32_t ulId, bool bLarge, uint8_t uchIngress)
    {
        return Device("sw").MulticastPorts(ulId, bLarge, uchIngress);
    }
};
} // namespace

TEST_F(MulticastOnSim, CapabilitiesMasksAndAssociationsLandWhereTheSwitchLooksForThem)
{
    uint32_t bSupported = 0, bSimple = 9, bBlock = 9, bPerPort = 0, ulAssoc = 0, ulMasks = 0, ulRes = 9;
    ASSERT_EQ(NVXL_OK, HalGetMulticastInfo(kGenericVendor, kGenericSwitch, 0, kSwitch, 0, &bSupported,
                                           &bSimple, &bBlock, &bPerPort, &ulAssoc, &ulMasks, &ulRes));
    EXPECT_EQ(1u, bSupported);
    EXPECT_EQ(0u, bSimple);
    EXPECT_EQ(0u, bBlock);
    EXPECT_EQ(1u, bPerPort);
    EXPECT_EQ(8u, ulMasks);

    ASSERT_EQ(NVXL_OK, MaskPort(1, 5, 1));
    ASSERT_EQ(NVXL_OK, MaskPort(1, 5, 3));
    uint32_t ulPresent = 9;
    ASSERT_EQ(NVXL_OK, MaskPort(0, 5, 3, &ulPresent));
    EXPECT_EQ(1u, ulPresent);
    ASSERT_EQ(NVXL_OK, MaskPort(0, 5, 2, &ulPresent));
    EXPECT_EQ(0u, ulPresent);

    // A small ID: associated with mask 5 for packets entering on port 0, and on no other port.
    ASSERT_EQ(NVXL_OK, Associate(3, false, 0xA7, 5, 0));
    EXPECT_EQ((std::vector<uint8_t>{1, 3}), Ports(0xA7, false, 0));
    EXPECT_FALSE(Ports(0xA7, false, 1));
    EXPECT_FALSE(Ports(0, false, 0)) << "nothing went to destination 0";
    ASSERT_EQ(NVXL_OK, Associate(0, false, 0xA7, 5, 0, &ulPresent));
    EXPECT_EQ(1u, ulPresent) << "Write_to_Verify sees the association the HAL made";

    // A large ID keeps all 16 bits; mask 6 is ports 2 and 3.
    ASSERT_EQ(NVXL_OK, MaskPort(1, 6, 2));
    ASSERT_EQ(NVXL_OK, MaskPort(1, 6, 3));
    ASSERT_EQ(NVXL_OK, Associate(3, true, 0xBE42, 6, 0));
    EXPECT_EQ((std::vector<uint8_t>{2, 3}), Ports(0xBE42, true, 0));
    EXPECT_FALSE(Ports(0x42, true, 0));

    // Deleting all ports of a mask and the association undoes both.
    ASSERT_EQ(NVXL_OK, MaskPort(4, 5, 0));
    EXPECT_EQ(std::vector<uint8_t>{}, Ports(0xA7, false, 0));
    ASSERT_EQ(NVXL_OK, Associate(2, false, 0xA7, 5, 0));
    EXPECT_FALSE(Ports(0xA7, false, 0));
}

TEST_F(MulticastOnSim, OneNwriteToTheAssociatedIdReachesBothEndpointsOfTheMask)
{
    ASSERT_EQ(NVXL_OK, MaskPort(1, 2, 1));
    ASSERT_EQ(NVXL_OK, MaskPort(1, 2, 2));
    ASSERT_EQ(NVXL_OK, Associate(3, false, 0x33, 2, 0));
    const uint8_t aData[] = {0x11, 0x22, 0x33, 0x44};
    ASSERT_EQ(0, Fabric().DataWrite(0, 0x33, 0, 0x400, 1, aData, 4, false));
    for (const char* pszDevice : {"a", "b", "c"})
    {
        uint8_t aStored[4] = {};
        Device(pszDevice).ReadMemory(0x400, aStored, 4);
        const bool bInMask = std::string(pszDevice) != "c";
        EXPECT_EQ(bInMask, std::equal(aData, aData + 4, aStored)) << pszDevice;
    }
}

// The Gen2 form: the route table entry names the mask; the HAL writes it as type 4.
class MulticastOnGen2 : public CFamilySimTest
{
protected:
    void SetUp() override
    {
        Load(R"(
device host endpoint processor id=0x01
device sw   switch model=cps1848
device a    endpoint id=0x05
device b    endpoint id=0x06
device c    endpoint id=0x07
host host
link host:0 sw:1
link sw:0 a:0
link sw:7 b:0
link sw:4 c:0
route sw 0x01 1
)");
    }
};

TEST_F(MulticastOnGen2, ARouteEntryOfTypeMulticastSendsTheDoorbellToEveryPortOfTheMask)
{
    // Mask 7 of every port: ports 0 and 7. ID 0x70 in every table (255): mask 7.
    Write(kSwitch, 0, 0xF30000 + 4 * 7, (1u << 0) | (1u << 7));
    ASSERT_EQ(NVXL_OK,
              HalRouteAddEntry(0x0038, 0x0374, 0, kSwitch, 0, 255, 0x70, 7, eNVXL_RouteTypeMCast, 0));
    ASSERT_EQ(0, Fabric().SendDoorbell(0, 0x70, 0, 0xABCD, false));
    EXPECT_EQ(1u, Device("a").DoorbellCount(0));
    EXPECT_EQ(1u, Device("b").DoorbellCount(0));
    EXPECT_EQ(0u, Device("c").DoorbellCount(0));

    // Only the host's ingress table names the mask for ID 0x71: from port 1 it is copied; the
    // entry reads back as a multicast entry.
    ASSERT_EQ(NVXL_OK, HalRouteAddEntry(0x0038, 0x0374, 0, kSwitch, 0, 1, 0x71, 7, eNVXL_RouteTypeMCast, 0));
    uint8_t uchPort = 0;
    NVXL_ROUTE_TYPE eType = eNVXL_RouteTypeUndefined;
    uint32_t ulExtra = 0;
    ASSERT_EQ(NVXL_OK, HalRouteGetEntry(0x0038, 0x0374, 0, kSwitch, 0, 1, 0x71, &eType, &uchPort, &ulExtra));
    EXPECT_EQ(eNVXL_RouteTypeMCast, eType);
    EXPECT_EQ(7, uchPort);
    ASSERT_EQ(0, Fabric().SendDoorbell(0, 0x71, 0, 0x0001, false));
    EXPECT_EQ(2u, Device("a").DoorbellCount(0));
    EXPECT_EQ(2u, Device("b").DoorbellCount(0));
}
} // namespace nvtest
