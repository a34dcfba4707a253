// Per-port counters: what crosses each link is counted at both its ends, in the simulator's own
// totals and in the registers of the device models, with their enables and clear-on-read; link
// faults raise the error counters and the standard error registers.
#include "SimTestUtil.h"

#include "nvsim/Fabric.h"
#include "nvsim/Faults.h"
#include "nvsim/StdDevice.h"

#include <gtest/gtest.h>

#include <vector>

using namespace nvsim;
using namespace simtest;

namespace
{
// host -- sw1 (CPS-1848) -- sw2 (CPS-1848) -- ep (memory), and a bystander endpoint on sw1.
constexpr const char* kPath = R"(
device host endpoint device=0x0001 processor memory id=0x01
device sw1  switch model=cps1848
device sw2  switch model=cps1848
device ep   endpoint memory id=0x05
device by   endpoint memory id=0x06
host host
link host:0 sw1:0
link sw1:1  sw2:3
link sw2:4  ep:0
link sw1:2  by:0
route sw1 0x01 0
route sw1 0x05 1
route sw1 0x06 2
route sw2 0x01 3
route sw2 0x05 4
)";

constexpr uint32_t kPortOps = 0xF40004;
constexpr uint32_t kCountersEnable = 0x04000000;
constexpr uint32_t kAckTx = 0xF40010, kNackTx = 0xF40014, kRetryTx = 0xF40018, kPktTx = 0xF4001C;
constexpr uint32_t kAckRx = 0xF40040, kNackRx = 0xF40044, kCpbTx = 0xF4004C, kPktRx = 0xF40050;
constexpr uint32_t kDropRx = 0xF40064, kCrcLimitDrop = 0xF40070, kCongestionRetries = 0xF400CC;

// A register read or write inside the device, without a packet (so it counts nothing).
uint32_t Peek(CSimDevice& device, uint32_t ulOffset)
{
    return device.ReadRegister(ulOffset, SRegAccess{0, true});
}
void Poke(CSimDevice& device, uint32_t ulOffset, uint32_t ulValue)
{
    device.WriteRegister(ulOffset, ulValue, 0xFFFFFFFF, SRegAccess{0, true});
}
void EnableCounters(CSimDevice& device)
{
    for (uint8_t p = 0; p < device.PortCount(); ++p)
        Poke(device, kPortOps + 0x100 * p, kCountersEnable);
}
uint32_t Counter(CSimDevice& device, uint32_t ulBase, uint8_t uchPort)
{
    return Peek(device, ulBase + 0x100 * uchPort);
}

void NWrites(CSimFabric& fabric, uint32_t ulDestId, int nCount, uint32_t ulBytes = 8, uint32_t ulPriority = 0)
{
    const std::vector<uint8_t> data(ulBytes, 0xA5);
    for (int i = 0; i < nCount; ++i)
        ASSERT_EQ(
            0, fabric.DataWrite(0, ulDestId, 0, 0x1000, 1, data.data(), ulBytes, false, nullptr, ulPriority));
}
} // namespace

TEST(PortCounters, NWritesAreCountedOnEveryPortOfTheirPathAndNowhereElse)
{
    auto pFabric = Fabric(kPath);
    CSimFabric& f = *pFabric;
    CSimDevice& sw1 = f.Device("sw1");
    CSimDevice& sw2 = f.Device("sw2");
    EnableCounters(sw1);
    EnableCounters(sw2);

    NWrites(f, 0x05, 7, 300, 1); // 300 bytes: two packets each, at priority 1

    // The simulator's totals: 14 packets left the host and arrived at the endpoint, crossing
    // each switch in at one port and out at another, with all the payload.
    EXPECT_EQ(14u, f.Device("host").Counters(0).txPackets[1]);
    EXPECT_EQ(14u, f.Device("ep").Counters(0).rxPackets[1]);
    EXPECT_EQ(2100u, f.Device("ep").Counters(0).ullRxPayloadBytes);
    for (auto [pDevice, uchIn, uchOut] : {std::tuple{&sw1, 0, 1}, std::tuple{&sw2, 3, 4}})
    {
        const SPortCounters in = pDevice->Counters(static_cast<uint8_t>(uchIn));
        const SPortCounters out = pDevice->Counters(static_cast<uint8_t>(uchOut));
        EXPECT_EQ(14u, in.RxPackets()) << pDevice->Name();
        EXPECT_EQ(0u, in.TxPackets()) << "NWRITE has no response";
        EXPECT_EQ(14u, out.TxPackets()) << pDevice->Name();
        EXPECT_EQ(14u, in.Events(ELinkEvent::AckSent));
        EXPECT_EQ(14u, out.Events(ELinkEvent::AckReceived));
    }
    EXPECT_EQ(0u, sw1.Counters(2).RxPackets() + sw1.Counters(2).TxPackets()) << "not on the path";
    EXPECT_EQ(0u, f.Device("by").Counters(0).RxPackets());

    // The CPS-1848's registers say the same.
    EXPECT_EQ(14u, Counter(sw1, kPktRx, 0));
    EXPECT_EQ(14u, Counter(sw1, kAckTx, 0));
    EXPECT_EQ(14u, Counter(sw1, kCpbTx, 0));
    EXPECT_EQ(14u, Counter(sw1, kPktTx, 1));
    EXPECT_EQ(14u, Counter(sw1, kAckRx, 1));
    EXPECT_EQ(14u, Counter(sw2, kPktRx, 3));
    EXPECT_EQ(14u, Counter(sw2, kPktTx, 4));
    for (uint8_t p : {2, 5, 17})
        EXPECT_EQ(0u, Counter(sw1, kPktRx, p) + Counter(sw1, kPktTx, p)) << "port " << int{p};
    EXPECT_EQ(0u, Counter(sw1, kPktTx, 0));
    EXPECT_EQ(0u, Counter(sw1, kNackTx, 0) + Counter(sw1, kRetryTx, 0));
}

TEST(PortCounters, Gen2CountersCountOnlyWhenEnabledAndClearOnRead)
{
    auto pFabric = Fabric(kPath);
    CSimFabric& f = *pFabric;
    CSimDevice& sw1 = f.Device("sw1");

    NWrites(f, 0x05, 3);
    EXPECT_EQ(0u, Counter(sw1, kPktRx, 0)) << "counters are off at reset";
    EXPECT_EQ(3u, sw1.Counters(0).RxPackets()) << "the simulator's own totals always count";

    Poke(sw1, kPortOps, kCountersEnable); // port 0 only
    NWrites(f, 0x05, 4);
    EXPECT_EQ(4u, Counter(sw1, kPktRx, 0));
    EXPECT_EQ(0u, Counter(sw1, kPktRx, 0)) << "a read clears the counter";
    EXPECT_EQ(0u, Counter(sw1, kPktTx, 1)) << "port 1 was not enabled";

    // Over the network: a maintenance read of the counter counts its own request on the way in,
    // before the counter is read and cleared; its response leaves by the same port.
    NWrites(f, 0x05, 5);
    EXPECT_EQ(6u, ReadOk(f, 0x00, 0, kPktRx));
    EXPECT_EQ(1u, ReadOk(f, 0x00, 0, kPktRx)) << "only the read's own request since the last read";
    EXPECT_EQ(2u, ReadOk(f, 0x00, 0, kPktTx)) << "the two responses";
    WriteOk(f, 0x00, 0, kPktRx, 1234);
    EXPECT_EQ(2u, Peek(sw1, kPktRx)) << "the counter is read-only: the write and this read's request";

    // Unroutable packets are dropped and counted at the port they came in on.
    const uint8_t data[4] = {};
    EXPECT_EQ(0, f.DataWrite(0, 0x77, 0, 0, 1, data, 4, false));
    EXPECT_EQ(1u, Counter(sw1, kDropRx, 0));
    EXPECT_EQ(13u, Counter(sw1, kCpbTx, 0)) << "14 received since enabling, less the dropped one";
}

TEST(PortCounters, ResponsesCountOnePriorityUpOnTheWayBack)
{
    auto pFabric = Fabric(kPath);
    CSimFabric& f = *pFabric;
    uint8_t data[600] = {};
    ASSERT_EQ(0, f.DataRead(0, 0x05, 0, 0, data, sizeof data, false, nullptr, 1));
    const SPortCounters up = f.Device("sw2").Counters(4);
    EXPECT_EQ(3u, up.txPackets[1]) << "an NREAD asks for 256 bytes at most: three requests at priority 1";
    EXPECT_EQ(3u, up.rxPackets[2]) << "600 bytes come back in three responses at priority 2";
    EXPECT_EQ(600u, up.ullRxPayloadBytes);
    EXPECT_EQ(3u, up.ullTxRequests);
    EXPECT_EQ(0u, up.ullRxRequests);
}

TEST(PortCounters, Tsi578CountersCountWhatTheirControlSelectsAndClearOnRead)
{
    auto pFabric = Fabric(R"(
device host endpoint device=0x0001 processor memory id=0x01
device sw   switch model=tsi578
device ep   endpoint memory id=0x05
host host
link host:0 sw:0
link sw:4   ep:0
route sw 0x01 0
route sw 0x05 4
)");
    CSimFabric& f = *pFabric;
    CSimDevice& sw = f.Device("sw");
    // Port 0: PSC0 received unicast packets of priority 0 only, PSC1 received request packets of
    // any priority. Port 4: PSC0 transmitted data in 4-byte units, PSC1 received control symbols.
    Poke(sw, 0x13020, (0x1001u << 16) | 0xF000);
    Poke(sw, 0x13420, (0xF104u << 16) | 0xF003);

    NWrites(f, 0x05, 3, 64, 0);
    NWrites(f, 0x05, 2, 64, 2);

    EXPECT_EQ(3u, Peek(sw, 0x13040)) << "priority 0 only";
    EXPECT_EQ(5u, Peek(sw, 0x13044));
    EXPECT_EQ(80u, Peek(sw, 0x13440)) << "5 x 64 bytes in 4-byte units";
    EXPECT_EQ(5u, Peek(sw, 0x13444)) << "the endpoint's five packet-accepted symbols";
    EXPECT_EQ(0u, Peek(sw, 0x13040)) << "the counters clear on read";
    EXPECT_EQ(0u, Peek(sw, 0x13048)) << "a counter set up to count nothing";
}

TEST(PortCounters, Tsi500CountersAreCumulative)
{
    auto pFabric = Fabric(R"(
device host endpoint device=0x0001 processor memory id=0x01
device sw   switch model=tsi500
device ep   endpoint memory id=0x05
host host
link host:0 sw:1
link sw:2   ep:0
route sw 0x01 1
route sw 0x05 2
)");
    CSimFabric& f = *pFabric;
    CSimDevice& sw = f.Device("sw");
    const uint32_t ulPort1 = 0x20000;
    NWrites(f, 0x05, 4, 32, 1);
    uint8_t data[8] = {};
    ASSERT_EQ(0, f.DataRead(0, 0x05, 0, 0, data, 8, false, nullptr, 0));

    EXPECT_EQ(5u, Peek(sw, ulPort1 + 0x10918)) << "inbound packets";
    EXPECT_EQ(32u, Peek(sw, ulPort1 + 0x10914)) << "4 x 32 bytes in 4-byte units";
    EXPECT_EQ(1u, Peek(sw, ulPort1 + 0x1091C)) << "NREAD at priority 0";
    EXPECT_EQ(4u, Peek(sw, ulPort1 + 0x10930)) << "writes at priority 1";
    EXPECT_EQ(5u, Peek(sw, ulPort1 + 0x10918)) << "not cleared by a read";
    EXPECT_EQ(0u, Peek(sw, 0x10918)) << "port 0 saw nothing";
}

TEST(PortCounters, CrcErrorsAndRetriesAtARateShowInCountersAndErrorRegisters)
{
    auto pFabric = Fabric(kPath);
    CSimFabric& f = *pFabric;
    CSimDevice& sw1 = f.Device("sw1");
    CSimDevice& sw2 = f.Device("sw2");
    EnableCounters(sw1);
    EnableCounters(sw2);
    // sw2 port 3 counts CRC errors in its error rate counter, and calls itself degraded at 20.
    const uint32_t ulEm = reg::kErrorBlock + reg::kErrorPortStride * 3;
    Poke(sw2, ulEm + reg::kErrorRateEnable, errdetect::kBadCrc);
    Poke(sw2, ulEm + reg::kErrorThreshold, 20u << 16);

    std::string strError;
    CFaults faults;
    ASSERT_TRUE(ApplyFaultSpec("linkerrors:link=sw1:1,crc=0.25", f, faults, &strError)) << strError;
    NWrites(f, 0x05, 100);

    // One transmission in four arrives corrupted and is sent again: 133 transmissions, 33 errors.
    EXPECT_EQ(33u, sw2.Counters(3).Events(ELinkEvent::CrcError));
    EXPECT_EQ(33u, Counter(sw2, kNackTx, 3));
    EXPECT_EQ(33u, Counter(sw1, kNackRx, 1));
    EXPECT_EQ(100u, Counter(sw2, kPktRx, 3)) << "every packet got through in the end";
    EXPECT_EQ(100u, f.Device("ep").Counters(0).RxPackets());
    EXPECT_EQ(errdetect::kBadCrc, Peek(sw2, ulEm + reg::kErrorDetect) & errdetect::kBadCrc);
    EXPECT_EQ(33u, Peek(sw2, ulEm + reg::kErrorRate) & 0xFF);
    EXPECT_NE(0u, ReadOk(f, 0x05, 1, 0x100 + 0x58 + 32 * 3) & errstat::kOutputDegraded)
        << "a maintenance read of sw2 (hop 1) sees port 3 degraded";
    EXPECT_NE(0u, sw1.ReadRegister(0x158 + 32 * 1, SRegAccess{}) & errstat::kOutputErrorEncountered);
    EXPECT_EQ(0u, sw1.Counters(0).Events(ELinkEvent::CrcError)) << "only that link is faulty";

    // Retries instead: every other transmission is refused for want of a buffer, so from the
    // second packet on each goes twice: 199 transmissions, 99 refused.
    ASSERT_TRUE(ApplyFaultSpec("linkerrors:link=sw1:1,crc=0,retry=0.5", f, faults, &strError)) << strError;
    NWrites(f, 0x05, 100);
    EXPECT_EQ(99u, Counter(sw2, kRetryTx, 3));
    EXPECT_EQ(99u, Counter(sw2, kCongestionRetries, 3));
    EXPECT_EQ(99u, sw1.Counters(1).Events(ELinkEvent::RetryReceived));
    EXPECT_EQ(200u, f.Device("ep").Counters(0).RxPackets()) << "retried packets are not lost";
    EXPECT_NE(0u, sw1.ReadRegister(0x158 + 32 * 1, SRegAccess{}) & errstat::kOutputRetryEncountered);

    // A link that corrupts everything: the sender gives up after the CRC limit and the write is
    // lost; NWRITE_R tells the host with a time-out.
    ASSERT_TRUE(ApplyFaultSpec("linkerrors:link=sw1:1,crc=1", f, faults, &strError)) << strError;
    const uint8_t data[4] = {};
    EXPECT_EQ(-310, f.DataWrite(0, 0x05, 0, 0, 2, data, 4, false));
    EXPECT_EQ(1u, Counter(sw1, kCrcLimitDrop, 1));
    EXPECT_EQ(CSimLink::kCrcLimit, Counter(sw1, kNackRx, 1));

    ASSERT_TRUE(ApplyFaultSpec("clear:link=sw1:1", f, faults, &strError)) << strError;
    EXPECT_EQ(0, f.DataWrite(0, 0x05, 0, 0, 2, data, 4, false));
    EXPECT_EQ(0u, Counter(sw1, kNackRx, 1));
}
