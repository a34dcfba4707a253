// Multicast delivery: a switch copies a request to a multicast ID out of every port of the mask
// the ID is associated with, by the standard registers or by an IDT Gen2 route entry naming a
// mask, and the copies land at every endpoint they reach.
#include "SimTestUtil.h"

#include "nvsim/StdDevice.h"

#include <gtest/gtest.h>

using namespace nvsim;
using namespace simtest;

namespace
{
// host on port 0 of a standard switch with per-port association; endpoints on ports 1 to 3, the
// third behind a second switch.
const char* const kStandard = R"(
device host endpoint processor memory id=0x01
device sw   switch ports=4 multicast masks=4 perportassoc
device a    endpoint memory id=0x05
device b    endpoint memory id=0x06
device sw2  switch ports=2 multicast masks=2 perportassoc
device c    endpoint memory id=0x07
host host
link host:0 sw:0
link sw:1 a:0
link sw:2 b:0
link sw:3 sw2:0
link sw2:1 c:0
route sw 0x01 0
route sw 0x05 1
route sw 0x06 2
route sw 0x07 3
route sw2 0x07 1
route sw2 0x01 0
)";

// Standard multicast commands through the maintenance registers of a switch.
void AddPort(CSimFabric& f, uint32_t ulDest, uint8_t uchHop, uint32_t ulMask, uint32_t ulPort)
{
    WriteOk(f, ulDest, uchHop, 0x80, (ulMask << 16) | (ulPort << 8) | 0x10);
}

void Associate(CSimFabric& f, uint32_t ulDest, uint8_t uchHop, uint32_t ulId, uint32_t ulMask,
               uint32_t ulIngress)
{
    WriteOk(f, ulDest, uchHop, 0x84, (ulId << 16) | ulMask);
    WriteOk(f, ulDest, uchHop, 0x88, (ulIngress << 8) | 0x60);
}

std::vector<uint8_t> Memory(CSimFabric& f, const char* pszDevice, uint64_t ullAddress, size_t n)
{
    std::vector<uint8_t> data(n);
    f.Device(pszDevice).ReadMemory(ullAddress, data.data(), n);
    return data;
}
} // namespace

TEST(MulticastDelivery, OneWriteAndOneDoorbellReachEveryPortOfTheMaskAndCopiesAreCopiedAgain)
{
    auto pFabric = Fabric(kStandard);
    CSimFabric& f = *pFabric;
    // ID 0x40 on sw: mask 1 = ports 1 and 3, for packets coming in on port 0 (the host's).
    AddPort(f, 0xFF, 0, 1, 1);
    AddPort(f, 0xFF, 0, 1, 3);
    Associate(f, 0xFF, 0, 0x40, 1, 0);
    // The copy that reaches sw2 on its port 0 goes on through sw2's own mask 0 to c.
    AddPort(f, 0x07, 1, 0, 1);
    Associate(f, 0x07, 1, 0x40, 0, 0);

    const uint8_t aData[] = {0xCA, 0xFE, 0x12};
    ASSERT_EQ(0, f.DataWrite(0, 0x40, 0, 0x2000, 1, aData, 3, false)) << "NWRITE";
    const std::vector<uint8_t> expected(aData, aData + 3);
    EXPECT_EQ(expected, Memory(f, "a", 0x2000, 3));
    EXPECT_EQ(expected, Memory(f, "c", 0x2000, 3));
    EXPECT_EQ(std::vector<uint8_t>(3, 0), Memory(f, "b", 0x2000, 3)) << "port 2 is not in the mask";

    ASSERT_EQ(0, f.SendDoorbell(0, 0x40, 0, 0xD00D, false));
    EXPECT_EQ(1u, f.Device("a").DoorbellCount(0));
    EXPECT_EQ(1u, f.Device("c").DoorbellCount(0));
    EXPECT_EQ(0u, f.Device("b").DoorbellCount(0));
    bool bOverflow = false;
    EXPECT_EQ(0xD00D, f.Device("c").TakeDoorbell(0, &bOverflow)->wInfo);

    // The association is per ingress port: from another port the ID is routed as usual (it
    // has no route, so nothing arrives).
    EXPECT_FALSE(f.Device("sw").MulticastPorts(0x40, false, 2));
    EXPECT_TRUE(f.Device("sw").MulticastPorts(0x40, false, 0));
    // Unicast IDs are untouched by the masks.
    ASSERT_EQ(0, f.SendDoorbell(0, 0x06, 0, 0x0001, false));
    EXPECT_EQ(1u, f.Device("b").DoorbellCount(0));
    EXPECT_EQ(1u, f.Device("a").DoorbellCount(0));
}

TEST(MulticastDelivery, NoCopyGoesBackOutOfItsIngressPortAndAnEmptyMaskDeliversNothing)
{
    auto pFabric = Fabric(kStandard);
    CSimFabric& f = *pFabric;
    AddPort(f, 0xFF, 0, 2, 0);
    AddPort(f, 0xFF, 0, 2, 2);
    Associate(f, 0xFF, 0, 0x41, 2, 0);
    ASSERT_EQ(0, f.SendDoorbell(0, 0x41, 0, 0x77, false));
    EXPECT_EQ(1u, f.Device("b").DoorbellCount(0));
    EXPECT_EQ(0u, f.Device("host").DoorbellCount(0)) << "the host's own port is the ingress port";

    // Mask 3 has no ports: the ID is multicast, and nothing gets it; a doorbell times out.
    Associate(f, 0xFF, 0, 0x42, 3, 0);
    EXPECT_EQ(-310, f.SendDoorbell(0, 0x42, 0, 0x78, false));
    EXPECT_EQ(0u, f.Device("a").DoorbellCount(0));
    EXPECT_EQ(1u, f.Device("b").DoorbellCount(0));
}

TEST(MulticastDelivery, MasksThatCopyRoundALoopEndInsteadOfFloodingForever)
{
    // Three switches in a ring, each copying ID 0x50 to both of its neighbours and its endpoint.
    auto pFabric = Fabric(R"(
        device host endpoint id=0x01
        device s1 switch ports=4 multicast masks=1
        device s2 switch ports=3 multicast masks=1
        device s3 switch ports=3 multicast masks=1
        device e2 endpoint memory id=0x05
        host host
        link host:0 s1:0
        link s1:1 s2:0
        link s2:1 s3:0
        link s3:1 s1:2
        link s2:2 e2:0
    )");
    CSimFabric& f = *pFabric;
    for (CSimDevice* pDevice : f.Devices())
    {
        auto* pSwitch = dynamic_cast<CStdDevice*>(pDevice);
        if (!pDevice->IsSwitch() || !pSwitch)
            continue;
        for (uint8_t p = 0; p < pDevice->PortCount(); ++p)
            pSwitch->WriteRegister(0x80, p << 8 | 0x10, 0xFFFFFFFF, {0, true});
        pSwitch->WriteRegister(0x84, (0x50u << 16) | 0, 0xFFFFFFFF, {0, true});
        pSwitch->WriteRegister(0x88, 0x60, 0xFFFFFFFF, {0, true});
    }
    const uint8_t aData[] = {1};
    EXPECT_EQ(0, f.DataWrite(0, 0x50, 0, 0x0, 1, aData, 1, false));
    EXPECT_EQ(1u, Memory(f, "e2", 0, 1)[0]) << "copies reached the endpoint before the budget ran out";
}

TEST(MulticastDelivery, AGen2RouteEntryNamingAMaskCopiesToThatMasksPortsOfTheIngressPort)
{
    auto pFabric = Fabric(R"(
        device host endpoint id=0x01
        device sw   switch model=cps1848
        device a    endpoint memory id=0x05
        device b    endpoint memory id=0x06
        device c    endpoint memory id=0x07
        host host
        link host:0 sw:1
        link sw:0 a:0
        link sw:7 b:0
        link sw:5 c:0
        route sw 0x01 1
    )");
    CSimFabric& f = *pFabric;
    // Mask 3 of every port: ports 0 and 7; then port 1's own mask 3 gets port 5 as well. The
    // broadcast register reads back port 0's mask.
    WriteOk(f, 0xFF, 0, 0xF30000 + 4 * 3, (1u << 0) | (1u << 7));
    EXPECT_EQ((1u << 0) | (1u << 7), ReadOk(f, 0xFF, 0, 0xF38000 + 0x100 * 9 + 4 * 3));
    // Entry 0x40 + 3 for ID 0x60 in every port's table (table select 0, then 0x70/0x74).
    WriteOk(f, 0xFF, 0, 0x10070, 0);
    WriteOk(f, 0xFF, 0, 0x70, 0x60);
    WriteOk(f, 0xFF, 0, 0x74, 0x43);

    ASSERT_EQ(0, f.SendDoorbell(0, 0x60, 0, 0x4242, false));
    EXPECT_EQ(1u, f.Device("a").DoorbellCount(0));
    EXPECT_EQ(1u, f.Device("b").DoorbellCount(0));
    EXPECT_EQ(0u, f.Device("c").DoorbellCount(0));

    WriteOk(f, 0xFF, 0, 0xF38000 + 0x100 * 1 + 4 * 3, (1u << 0) | (1u << 7) | (1u << 5));
    EXPECT_EQ((1u << 0) | (1u << 7), ReadOk(f, 0xFF, 0, 0xF30000 + 4 * 3)) << "port 0's mask";
    const uint8_t aData[] = {0x5A, 0xA5};
    ASSERT_EQ(0, f.DataWrite(0, 0x60, 0, 0x100, 1, aData, 2, false));
    for (const char* pszDevice : {"a", "b", "c"})
        EXPECT_EQ(std::vector<uint8_t>(aData, aData + 2), Memory(f, pszDevice, 0x100, 2)) << pszDevice;

    // Mask bits above the port count do not stick.
    WriteOk(f, 0xFF, 0, 0xF38000 + 4 * 9, 0xFFFFFFFF);
    EXPECT_EQ(0x3FFFFu, ReadOk(f, 0xFF, 0, 0xF38000 + 4 * 9));
}
