// The standard RapidIO registers of the generic devices, exercised by maintenance transactions
// the way the HAL issues them.
#include "SimTestUtil.h"

#include "nvsim/Faults.h"
#include "nvsim/StdDevice.h"

#include <gtest/gtest.h>

using namespace nvsim;
using namespace simtest;

namespace
{
// The host reaches sw (hop 0, DestID 0xFF) on sw's port 2; ep (ID 5) hangs off sw's port 1 on
// a one-lane link; far is behind an untrained link; sw's port 0 is free.
const char* const kTopology = R"(
device host endpoint device=0x0001 processor memory id=0x01 largeid=0x0001
device sw   switch ports=4
device ep   endpoint memory id=0x05 largeid=0x0005
device far  endpoint
host host
link host:0 sw:2 speed=3.125 width=4
link sw:1   ep:0 speed=1.25 width=1
link sw:3   far:0 trained=no
route sw 0x01 2
route sw 0x05 1
)";

constexpr uint32_t kSw = 0xFF; // the switch answers to any ID at hop 0

uint32_t PortReg(uint32_t ulRegister, uint8_t uchPort)
{
    return 0x100 + ulRegister + 0x20 * uchPort;
}

CStdDevice& Std(CSimFabric& fabric, const std::string& strName)
{
    return dynamic_cast<CStdDevice&>(fabric.Device(strName));
}
} // namespace

TEST(StandardRegisters, HostBaseDeviceIdLockIsTakenFreedAndHeld)
{
    auto pFabric = Fabric(kTopology);
    CSimFabric& f = *pFabric;
    EXPECT_EQ(0xFFFFu, ReadOk(f, kSw, 0, 0x68));

    WriteOk(f, kSw, 0, 0x68, 0x0005);
    EXPECT_EQ(0x0005u, ReadOk(f, kSw, 0, 0x68)) << "a write to the free lock takes it";
    WriteOk(f, kSw, 0, 0x68, 0x0007);
    EXPECT_EQ(0x0005u, ReadOk(f, kSw, 0, 0x68)) << "another host cannot take a held lock";
    WriteOk(f, kSw, 0, 0x68, 0xFFFF);
    EXPECT_EQ(0x0005u, ReadOk(f, kSw, 0, 0x68)) << "writing 0xFFFF is no release";
    WriteOk(f, kSw, 0, 0x68, 0x0005);
    EXPECT_EQ(0xFFFFu, ReadOk(f, kSw, 0, 0x68)) << "the holder's own ID frees it";
    WriteOk(f, kSw, 0, 0x68, 0xFFFF);
    EXPECT_EQ(0xFFFFu, ReadOk(f, kSw, 0, 0x68));
    WriteOk(f, kSw, 0, 0x68, 0x0007);
    EXPECT_EQ(0x0007u, f.Device("sw").Reg(0x68));

    // A lock another host holds, as the fault option sets it: this host's writes bounce off.
    std::string strError;
    ASSERT_TRUE(ApplyFabricFault("lock:device=ep,holder=0x22", f, &strError)) << strError;
    WriteOk(f, 0x05, 1, 0x68, 0x0001);
    EXPECT_EQ(0x0022u, ReadOk(f, 0x05, 1, 0x68));
    WriteOk(f, 0x05, 1, 0x68, 0x0022);
    EXPECT_EQ(0xFFFFu, ReadOk(f, 0x05, 1, 0x68));
}

TEST(StandardRegisters, SwitchPortInformationGivesThePortTheRequestCameInOn)
{
    auto pFabric = Fabric(kTopology);
    EXPECT_EQ(0x0402u, ReadOk(*pFabric, kSw, 0, 0x14)) << "4 ports, entered on port 2";

    // Behind a first switch, the second one sees the request come in on its port 5.
    auto pChain = Fabric(R"(
        device host endpoint id=0x01
        device swa switch ports=4
        device swb switch ports=8
        host host
        link host:0 swa:3
        link swa:0 swb:5
        route swa 0xFF 0
        route swa 0x01 3
    )");
    EXPECT_EQ(0x0403u, ReadOk(*pChain, 0xFF, 0, 0x14));
    EXPECT_EQ(0x0805u, ReadOk(*pChain, 0xFF, 1, 0x14));

    // On the host itself, with no packet, it is the port behind the local port used.
    auto pTwoPorts = Fabric(R"(
        device host switch ports=2
        host host localports=1,0
    )");
    uint32_t ulValue = 0;
    ASSERT_EQ(0, pTwoPorts->MaintRead(0, 0xFFFFFFFF, 0, 0x14, &ulValue, 1, 4, 4, false));
    EXPECT_EQ(0x0201u, ulValue);
    ASSERT_EQ(0, pTwoPorts->MaintRead(1, 0xFFFFFFFF, 0, 0x14, &ulValue, 1, 4, 4, false));
    EXPECT_EQ(0x0200u, ulValue);
}

TEST(StandardRegisters, CapabilityRegistersDescribeTheDeviceAndAreReadOnly)
{
    auto pFabric = Fabric(kTopology);
    CSimFabric& f = *pFabric;
    // Switch: identity, features (switch, standard route table, large transport, extended
    // features, 34-bit addresses), the LP-Serial block of a switch at 0x100.
    EXPECT_EQ(0x0010FFF0u, ReadOk(f, kSw, 0, 0x00));
    EXPECT_EQ(0x10000119u, ReadOk(f, kSw, 0, 0x10));
    EXPECT_EQ(0x0100u, ReadOk(f, kSw, 0, 0x0C) & 0xFFFF);
    EXPECT_EQ(0x10000009u, ReadOk(f, kSw, 0, 0x100));
    EXPECT_EQ(0xFFu, ReadOk(f, kSw, 0, 0x34));
    EXPECT_EQ(0x00000004u, ReadOk(f, kSw, 0, 0x18)) << "a switch issues port-writes";
    WriteOk(f, kSw, 0, 0x10, 0);
    WriteOk(f, kSw, 0, 0x00, 0x12345678);
    EXPECT_EQ(0x10000119u, ReadOk(f, kSw, 0, 0x10));
    EXPECT_EQ(0x0010FFF0u, ReadOk(f, kSw, 0, 0x00));

    // Host endpoint: processor and memory, the endpoint block ID, NREAD/NWRITE/messages.
    EXPECT_EQ(0x0001FFF0u, ReadOk(f, 0xFFFFFFFF, 0, 0x00));
    EXPECT_EQ(0x60000019u, ReadOk(f, 0xFFFFFFFF, 0, 0x10));
    EXPECT_EQ(0x10000002u, ReadOk(f, 0xFFFFFFFF, 0, 0x100));
    EXPECT_EQ(0x0000FC04u, ReadOk(f, 0xFFFFFFFF, 0, 0x18));
    EXPECT_EQ(0x0000FC04u, ReadOk(f, 0xFFFFFFFF, 0, 0x1C));
    EXPECT_EQ(0x0u, ReadOk(f, 0xFFFFFFFF, 0, 0x34)) << "no route table on an endpoint";
    EXPECT_EQ(0xC0000000u, ReadOk(f, 0xFFFFFFFF, 0, 0x13C)) << "the server host is a host with Master Enable";

    // Time-outs: all ones at reset in bits 31..8, the low byte reserved.
    EXPECT_EQ(0xFFFFFF00u, ReadOk(f, kSw, 0, 0x120));
    WriteOk(f, kSw, 0, 0x124, 0x123456FF);
    EXPECT_EQ(0x12345600u, ReadOk(f, kSw, 0, 0x124));
    // Discovered bit of Port General Control.
    EXPECT_EQ(0u, ReadOk(f, kSw, 0, 0x13C));
    WriteOk(f, kSw, 0, 0x13C, 0x20000000);
    EXPECT_EQ(0x20000000u, ReadOk(f, kSw, 0, 0x13C));
}

TEST(StandardRegisters, RouteTableStandardFormAsTheHalLoadsAndStoresIt)
{
    auto pFabric = Fabric(kTopology);
    CSimFabric& f = *pFabric;
    // Store: one write of two words at 0x70, destination ID then port.
    const uint32_t aulEntry[] = {0x07, 0x03};
    ASSERT_EQ(0, f.MaintWrite(0, kSw, 0, 0x70, aulEntry, 2, 4, 4, false));
    EXPECT_EQ(3u, Std(f, "sw").RouteEntry(0x07));
    // Load: select the ID, read the port.
    WriteOk(f, kSw, 0, 0x70, 0x07);
    EXPECT_EQ(0x03u, ReadOk(f, kSw, 0, 0x74));
    WriteOk(f, kSw, 0, 0x70, 0x08);
    EXPECT_EQ(0xFFu, ReadOk(f, kSw, 0, 0x74)) << "an entry nobody set routes nowhere";
    // No extended form on this switch: Ext_config_en stays clear, the port stays single.
    WriteOk(f, kSw, 0, 0x70, 0x80000007);
    EXPECT_EQ(0x07u, ReadOk(f, kSw, 0, 0x70));
    EXPECT_EQ(0x03u, ReadOk(f, kSw, 0, 0x74));
    // Default port.
    EXPECT_EQ(0u, ReadOk(f, kSw, 0, 0x78));
    WriteOk(f, kSw, 0, 0x78, 0x03);
    EXPECT_EQ(3u, ReadOk(f, kSw, 0, 0x78));
}

TEST(StandardRegisters, RouteTableExtendedFormAsTheHalLoadsAndStoresIt)
{
    auto pFabric = Fabric(R"(
        device host endpoint id=0x01
        device ext switch ports=4 routetable=extended
        device both switch ports=4 routetable=both
        host host
        link host:0 ext:0
        link ext:1 both:0
        route ext 0xFF 1
        route ext 0x01 0
    )");
    CSimFabric& f = *pFabric;
    EXPECT_EQ(0x00000200u, ReadOk(f, 0xFF, 0, 0x10) & 0x300) << "extended form only";
    EXPECT_EQ(0x00000300u, ReadOk(f, 0xFF, 1, 0x10) & 0x300) << "both forms";

    // Large store: (ID | 0x80000000) and four ports, the first in bits 7..0.
    const uint32_t aulBlock[] = {0x80000010, 0x03020100};
    ASSERT_EQ(0, f.MaintWrite(0, 0xFF, 0, 0x70, aulBlock, 2, 4, 4, false));
    for (uint32_t i = 0; i < 4; ++i)
        EXPECT_EQ(i, Std(f, "ext").RouteEntry(0x10 + i));
    // Large load: the HAL selects every fourth ID without Ext_config_en and reads four ports.
    WriteOk(f, 0xFF, 0, 0x70, 0x10);
    EXPECT_EQ(0x03020100u, ReadOk(f, 0xFF, 0, 0x74));

    // A switch with both forms gives four ports only while Ext_config_en is set.
    ASSERT_EQ(0, f.MaintWrite(0, 0xFF, 1, 0x70, aulBlock, 2, 4, 4, false));
    WriteOk(f, 0xFF, 1, 0x70, 0x11);
    EXPECT_EQ(0x01u, ReadOk(f, 0xFF, 1, 0x74));
    WriteOk(f, 0xFF, 1, 0x70, 0x80000010);
    EXPECT_EQ(0x03020100u, ReadOk(f, 0xFF, 1, 0x74));
}

TEST(StandardRegisters, PerPortTablesAnswerForTheIngressPortAndTakeWritesEverywhere)
{
    auto pFabric = Fabric(R"(
        device host endpoint id=0x01
        device sw switch ports=4 perport
        host host
        link host:0 sw:2
        route sw 0x09 3 table=2
        route sw 0x09 0 table=1
    )");
    CSimFabric& f = *pFabric;
    WriteOk(f, 0xFF, 0, 0x70, 0x09);
    EXPECT_EQ(0x03u, ReadOk(f, 0xFF, 0, 0x74)) << "the table of port 2, where the request came in";

    const uint32_t aulEntry[] = {0x09, 0x01};
    ASSERT_EQ(0, f.MaintWrite(0, 0xFF, 0, 0x70, aulEntry, 2, 4, 4, false));
    for (uint8_t uchTable = 0; uchTable < 4; ++uchTable)
        EXPECT_EQ(1u, Std(f, "sw").RouteEntry(0x09, uchTable)) << "table " << int{uchTable};
}

TEST(StandardRegisters, PortRegistersFollowTheLink)
{
    auto pFabric = Fabric(kTopology);
    CSimFabric& f = *pFabric;
    auto status = [&](uint8_t uchPort) { return ReadOk(f, kSw, 0, PortReg(0x58, uchPort)) & 0x3; };
    EXPECT_EQ(errstat::kPortOk, status(2)) << "the host's link trained";
    EXPECT_EQ(errstat::kPortOk, status(1));
    EXPECT_EQ(errstat::kPortUninitialized, status(0)) << "nothing on port 0";
    EXPECT_EQ(errstat::kPortUninitialized, status(3)) << "untrained link";

    f.Link("sw", 1)->SetTrained(false);
    EXPECT_EQ(errstat::kPortUninitialized, status(1));
    EXPECT_EQ(errstat::kPortUninitialized, f.Device("ep").ReadRegister(PortReg(0x58, 0), {}) & 0x3);
    f.Link("sw", 1)->SetTrained(true);
    EXPECT_EQ(errstat::kPortOk, status(1));

    // Port Disable (bit 23 of Port n Control) takes the link down at both ends.
    const uint32_t ulControl = ReadOk(f, kSw, 0, PortReg(0x5C, 1));
    WriteOk(f, kSw, 0, PortReg(0x5C, 1), ulControl | (1u << 23));
    EXPECT_EQ(errstat::kPortUninitialized, status(1));
    EXPECT_FALSE(f.PortTrained(f.Device("ep"), 0));
    WriteOk(f, kSw, 0, PortReg(0x5C, 1), ulControl);
    EXPECT_EQ(errstat::kPortOk, status(1));

    // Port n Control: 4x support, serial port, the initialized width of the link.
    const uint32_t ulWide = ReadOk(f, kSw, 0, PortReg(0x5C, 2));
    EXPECT_EQ(0x1u, ulWide >> 30) << "4x supported, 2x not";
    EXPECT_EQ(0x2u, (ulWide >> 27) & 0x7) << "trained four lanes wide";
    EXPECT_EQ(1u, ulWide & 1) << "serial port";
    EXPECT_EQ(0x0u, (ReadOk(f, kSw, 0, PortReg(0x5C, 1)) >> 27) & 0x7) << "one lane";
    // Port n Control 2: the baud rate the link runs at.
    EXPECT_EQ(0x3u, ReadOk(f, kSw, 0, PortReg(0x54, 2)) >> 28) << "3.125 Gbaud";
    EXPECT_EQ(0x1u, ReadOk(f, kSw, 0, PortReg(0x54, 1)) >> 28) << "1.25 Gbaud";
    EXPECT_EQ(0x0u, ReadOk(f, kSw, 0, PortReg(0x54, 3)) >> 28) << "untrained: no rate";
}

TEST(StandardRegisters, PortErrorBitsStayUntilWrittenWithOne)
{
    auto pFabric = Fabric(kTopology);
    CSimFabric& f = *pFabric;
    const uint32_t ulInjected =
        errstat::kOutputErrorEncountered | errstat::kInputErrorStopped | errstat::kPortError;
    std::string strError;
    ASSERT_TRUE(ApplyFabricFault("porterr:device=sw,port=1,bits=0x20104", f, &strError)) << strError;
    EXPECT_EQ(ulInjected | errstat::kPortOk, ReadOk(f, kSw, 0, PortReg(0x58, 1)));

    // The clearing write the HAL makes: the error bits that clear and the other bits as read.
    const uint32_t ulRead = ReadOk(f, kSw, 0, PortReg(0x58, 1));
    WriteOk(f, kSw, 0, PortReg(0x58, 1), ((ulRead & 0x071F071D) & 0x07120214) | (ulRead & 0xF8E0F8E2));
    EXPECT_EQ(errstat::kInputErrorStopped | errstat::kPortOk, ReadOk(f, kSw, 0, PortReg(0x58, 1)))
        << "the input error-stopped state is no write-1-to-clear bit";
    WriteOk(f, kSw, 0, PortReg(0x58, 1), 0xFFFFFFFF);
    EXPECT_EQ(errstat::kInputErrorStopped | errstat::kPortOk, ReadOk(f, kSw, 0, PortReg(0x58, 1)));
}

TEST(StandardRegisters, LinkMaintenanceRequestFillsTheResponseRegister)
{
    auto pFabric = Fabric(kTopology);
    CSimFabric& f = *pFabric;
    f.Device("ep").SetAckIds(0, 7, 0, 0);

    // input-status, written twice as the HAL does: valid, the partner's expected ackID, OK.
    WriteOk(f, kSw, 0, PortReg(0x40, 1), linkmaint::kInputStatus);
    WriteOk(f, kSw, 0, PortReg(0x40, 1), linkmaint::kInputStatus);
    EXPECT_EQ(0x80000000u | (7u << 5) | 0x10u, ReadOk(f, kSw, 0, PortReg(0x44, 1)));
    EXPECT_EQ((7u << 5) | 0x10u, ReadOk(f, kSw, 0, PortReg(0x44, 1))) << "response_valid clears on read";
    EXPECT_EQ(4u, ReadOk(f, kSw, 0, PortReg(0x40, 1))) << "the request register keeps the command";

    // reset-device draws no link-response: valid alone says it went out.
    WriteOk(f, kSw, 0, PortReg(0x40, 1), linkmaint::kResetDevice);
    EXPECT_EQ(0x80000000u, ReadOk(f, kSw, 0, PortReg(0x44, 1)));

    // No partner across an untrained link: nothing comes back.
    WriteOk(f, kSw, 0, PortReg(0x40, 3), linkmaint::kInputStatus);
    EXPECT_EQ(0u, ReadOk(f, kSw, 0, PortReg(0x44, 3)));

    // A partner stuck in input error-stopped reports so, and the request frees it.
    f.Device("ep").InjectPortErrors(0, errstat::kInputErrorStopped);
    WriteOk(f, kSw, 0, PortReg(0x40, 1), linkmaint::kInputStatus);
    EXPECT_EQ(linkmaint::kStatusErrorStopped, ReadOk(f, kSw, 0, PortReg(0x44, 1)) & 0x1F);
    EXPECT_EQ(0u, f.Device("ep").Port(0).ulErrorStatus & errstat::kInputErrorStopped);
}

TEST(StandardRegisters, LocalAckIdRegisterHoldsThePortsAckIds)
{
    auto pFabric = Fabric(kTopology);
    CSimFabric& f = *pFabric;
    std::string strError;
    ASSERT_TRUE(ApplyFabricFault("ackid:device=sw,port=0,inbound=3,outstanding=4,outbound=5", f, &strError))
        << strError;
    EXPECT_EQ(0x03000405u, ReadOk(f, kSw, 0, PortReg(0x48, 0)));

    WriteOk(f, kSw, 0, PortReg(0x48, 0), 0x0A000B0C);
    const SPortState& port = f.Device("sw").Port(0);
    EXPECT_EQ(10, port.uchInboundAckId);
    EXPECT_EQ(11, port.uchOutstandingAckId);
    EXPECT_EQ(12, port.uchOutboundAckId);
    // Clr_outstanding_ackIDs: nothing stays unacknowledged.
    WriteOk(f, kSw, 0, PortReg(0x48, 0), 0x8A00000D);
    EXPECT_EQ(13, port.uchOutstandingAckId);
    EXPECT_EQ(0x0A000D0Du, ReadOk(f, kSw, 0, PortReg(0x48, 0)));
}

TEST(StandardRegisters, BaseDeviceIdComponentTagAndNarrowAccesses)
{
    auto pFabric = Fabric(kTopology);
    CSimFabric& f = *pFabric;
    EXPECT_EQ(0x00FFFFFFu, ReadOk(f, kSw, 0, 0x60)) << "no ID at reset";
    WriteOk(f, kSw, 0, 0x60, 0xFF120034);
    EXPECT_EQ(0x00120034u, ReadOk(f, kSw, 0, 0x60)) << "bits 31..24 are reserved";
    EXPECT_EQ(0x12u, f.Device("sw").BaseDeviceId(false));
    EXPECT_EQ(0x34u, f.Device("sw").BaseDeviceId(true));

    WriteOk(f, kSw, 0, 0x6C, 0x11223344);
    // Words of 1 and 2 bytes use their byte lanes of the big-endian register.
    uint32_t ulByte = 0xAB;
    ASSERT_EQ(0, f.MaintWrite(0, kSw, 0, 0x6F, &ulByte, 1, 1, 1, false));
    EXPECT_EQ(0x112233ABu, ReadOk(f, kSw, 0, 0x6C));
    uint32_t aulHalves[2] = {};
    ASSERT_EQ(0, f.MaintRead(0, kSw, 0, 0x6C, aulHalves, 2, 2, 2, false));
    EXPECT_EQ(0x1122u, aulHalves[0]);
    EXPECT_EQ(0x33ABu, aulHalves[1]);
    ASSERT_EQ(0, f.MaintRead(0, kSw, 0, 0x6D, &ulByte, 1, 1, 1, false));
    EXPECT_EQ(0x22u, ulByte);
    // Stride 0 repeats the same register.
    uint32_t aulSame[3] = {};
    ASSERT_EQ(0, f.MaintRead(0, kSw, 0, 0x6C, aulSame, 3, 4, 0, false));
    EXPECT_EQ(aulSame[0], aulSame[2]);
    // A two-byte write of the lock's ID half takes the lock.
    uint32_t ulHalf = 0x0042;
    ASSERT_EQ(0, f.MaintWrite(0, kSw, 0, 0x6A, &ulHalf, 1, 2, 2, false));
    EXPECT_EQ(0x42u, f.Device("sw").Reg(0x68));
    EXPECT_EQ(-304, f.MaintRead(0, kSw, 0, 0x6C, aulSame, 1, 3, 3, false)) << "word size 3";
}

TEST(StandardRegisters, MulticastMasksAndAssociations)
{
    auto pFabric = Fabric(R"(
        device host endpoint id=0x01
        device sw switch ports=4 multicast masks=4 assoc=8 blockassoc simpleassoc
        host host
        link host:0 sw:0
    )");
    CSimFabric& f = *pFabric;
    CStdDevice& sw = Std(f, "sw");
    EXPECT_EQ(1u << 10, ReadOk(f, 0xFF, 0, 0x10) & (1u << 10));
    EXPECT_EQ(0x80000000u, ReadOk(f, 0xFF, 0, 0x30));
    EXPECT_EQ(0x80000000u | (7u << 16) | 4u, ReadOk(f, 0xFF, 0, 0x38));

    // Mask 2: add port 3, verify, delete it; add all ports; delete all.
    auto mask = [&](uint32_t ulCommand, uint32_t ulPort)
    {
        WriteOk(f, 0xFF, 0, 0x80, (2u << 16) | (ulPort << 8) | ulCommand);
        return ReadOk(f, 0xFF, 0, 0x80) & 1;
    };
    mask(0x10, 3);
    EXPECT_EQ(1u, mask(0x00, 3)) << "Write_to_Verify finds port 3";
    EXPECT_EQ(0u, mask(0x00, 1));
    mask(0x20, 3);
    EXPECT_FALSE(sw.MulticastMaskHasPort(2, 3));
    mask(0x50, 0);
    EXPECT_TRUE(sw.MulticastMaskHasPort(2, 1));
    EXPECT_TRUE(sw.MulticastMaskHasPort(2, 3));
    mask(0x40, 0);
    EXPECT_FALSE(sw.MulticastMaskHasPort(2, 0));

    // Block association of IDs 0x25 and 0x26 with masks 2 and 3.
    WriteOk(f, 0xFF, 0, 0x84, (0x25u << 16) | 2u);
    WriteOk(f, 0xFF, 0, 0x88, (1u << 16) | 0x60);
    EXPECT_EQ(std::optional<uint16_t>(2), sw.MulticastAssociation(0x25, false, 0));
    EXPECT_EQ(std::optional<uint16_t>(3), sw.MulticastAssociation(0x26, false, 0));
    WriteOk(f, 0xFF, 0, 0x88, 0x00);
    EXPECT_EQ(1u, ReadOk(f, 0xFF, 0, 0x88) & 1) << "Write_To_Verify finds the association";
    WriteOk(f, 0xFF, 0, 0x88, 0x40);
    EXPECT_FALSE(sw.MulticastAssociation(0x25, false, 0));
    WriteOk(f, 0xFF, 0, 0x88, 0x00);
    EXPECT_EQ(0u, ReadOk(f, 0xFF, 0, 0x88) & 1);
}
