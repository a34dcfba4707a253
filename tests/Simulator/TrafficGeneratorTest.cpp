// The traffic generators: paced by the clock the test drives, counted on the ports they cross,
// lagging above the link's capacity, and driven over the real server protocol (NVT_DATAGEN).
#include "SimTestUtil.h"

#include "nvsim/Fabric.h"
#include "nvsim/TrafficGen.h"

#include <gtest/gtest.h>

using namespace nvsim;
using namespace simtest;

namespace
{
// The host's generator sends through a switch to ep; gen (ID 0x07) is a remote generator whose
// control structure is at 0x00400000. The link to slow is 1.25 Gbaud x1.
constexpr const char* kFabric = R"(
server caps=0x3FF
device host endpoint device=0x0001 processor memory id=0x01
device sw   switch ports=4
device ep   endpoint memory id=0x05
device gen  endpoint memory id=0x07 datagen=0x00400000
device slow endpoint memory id=0x09
host host
link host:0 sw:0
link sw:1   ep:0
link sw:2   gen:0
link sw:3   slow:0 speed=1.25 width=1
route sw 0x01 0
route sw 0x05 1
route sw 0x07 2
route sw 0x09 3
)";

constexpr uint64_t kSecondUs = 1000000;

SDataGenRequest Start(uint32_t ulKind, uint16_t wDest, std::vector<std::pair<uint32_t, uint32_t>> steps,
                      bool bRepeat = true)
{
    SDataGenRequest request;
    request.ulCommand = 2;
    request.ulKind = ulKind;
    request.ulTransferSize = 256;
    request.bRepeat = bRepeat;
    request.wDestId = wDest;
    request.ullDestAddress = 0xEFBFF000;
    request.ulDestBufferSize = 0x00400000;
    request.steps = std::move(steps);
    return request;
}

SDataGenRequest Ask(uint32_t ulCommand, uint16_t wGenerator = 0xFFFF, uint32_t ulControl = 0)
{
    SDataGenRequest request;
    request.ulCommand = ulCommand;
    request.wRemoteDestId = wGenerator;
    request.ulControlLo = ulControl;
    return request;
}
} // namespace

TEST(TrafficGenerator, SendsAtItsRateAsTheClockMovesAndEveryPortOnTheWayCountsIt)
{
    auto pFabric = Fabric(kFabric);
    CTrafficGenerators generators(*pFabric);
    const uint64_t t0 = 5 * kSecondUs;
    ASSERT_EQ(0, generators.Command(Start(1, 0x05, {{1, 1000000}}), t0).nStatus);
    EXPECT_EQ(0u, generators.Sent(0xFFFF)) << "nothing is sent before the clock moves";

    for (int nTick = 1; nTick <= 10; ++nTick)
        generators.Advance(t0 + nTick * kSecondUs / 10);
    // 1,000,000 bytes a second in NWRITEs of 256 bytes: 3906 whole transactions in one second.
    EXPECT_EQ(3906u, generators.Sent(0xFFFF));
    EXPECT_EQ(3906u, pFabric->Device("sw").Counters(0).RxPackets());
    EXPECT_EQ(3906u, pFabric->Device("sw").Counters(1).TxPackets());
    EXPECT_EQ(3906u * 256, pFabric->Device("ep").Counters(0).ullRxPayloadBytes);
    EXPECT_EQ(0u,
              pFabric->Device("sw").Counters(2).TxPackets() + pFabric->Device("sw").Counters(3).TxPackets());
    uint8_t byte = 0;
    pFabric->Device("ep").ReadMemory(0xEFBFF000, &byte, 1);
    EXPECT_EQ(0x5A, byte) << "the writes land in the endpoint's memory";

    const SDataGenReply status = generators.Command(Ask(3), t0 + kSecondUs + 1);
    EXPECT_EQ(0, status.nStatus);
    EXPECT_FALSE(status.bLagging);
    EXPECT_FALSE(status.bFinished);

    // Stopped, it sends nothing more.
    EXPECT_EQ(0, generators.Command(Ask(0), t0 + 2 * kSecondUs).nStatus);
    const uint64_t ullSent = generators.Sent(0xFFFF);
    generators.Advance(t0 + 5 * kSecondUs);
    EXPECT_EQ(ullSent, generators.Sent(0xFFFF));
    EXPECT_FALSE(generators.Running(0xFFFF));
}

TEST(TrafficGenerator, FollowsItsProfileStepByStepAndFinishesUnlessItRepeats)
{
    auto pFabric = Fabric(kFabric);
    CTrafficGenerators generators(*pFabric);
    // Doorbells: 100 a second for 2 s, then 10 a second for 1 s, once.
    ASSERT_EQ(0, generators.Command(Start(10, 0x05, {{2, 100}, {1, 10}}, false), 0).nStatus);
    generators.Advance(kSecondUs);
    EXPECT_EQ(0u, generators.Command(Ask(3), kSecondUs).ulCurrentStep);
    generators.Advance(2 * kSecondUs + kSecondUs / 2);
    EXPECT_EQ(1u, generators.Command(Ask(3), 2 * kSecondUs + kSecondUs / 2).ulCurrentStep);
    EXPECT_EQ(205u, generators.Sent(0xFFFF)) << "200 in the first step, 5 in half a second of the second";
    EXPECT_EQ(64u, pFabric->Device("ep").DoorbellCount(0)) << "the doorbell queue is full";

    const SDataGenReply done = generators.Command(Ask(3), 4 * kSecondUs);
    EXPECT_TRUE(done.bFinished);
    EXPECT_FALSE(generators.Running(0xFFFF));

    // A rate change reaches a running generator only.
    EXPECT_EQ(-307, generators.Command(Ask(1), 5 * kSecondUs).nStatus);
}

TEST(TrafficGenerator, LagsAboveWhatItsLinkCarries)
{
    auto pFabric = Fabric(kFabric);
    CTrafficGenerators generators(*pFabric);
    // The remote generator gen sends to slow; gen's own link is 3.125 Gbaud x4 and carries
    // 1.25 GB/s, so 500 MB/s keeps up, but the host asked for 2 GB/s does not.
    SDataGenRequest remote = Start(1, 0x09, {{1, 500000000}});
    remote.wRemoteDestId = 0x07;
    remote.ulControlLo = 0x00400000;
    ASSERT_EQ(0, generators.Command(remote, 0).nStatus);
    generators.Advance(kSecondUs / 100);
    EXPECT_FALSE(generators.Command(Ask(3, 0x07, 0x00400000), kSecondUs / 100).bLagging);
    EXPECT_EQ(19531u, generators.Sent(0x07)) << "5 MB in 10 ms, in 256-byte writes";
    EXPECT_EQ(19531u, pFabric->Device("sw").Counters(2).RxPackets()) << "counted where gen's traffic enters";

    ASSERT_EQ(0, generators.Command(Start(1, 0x05, {{1, 2000000000}}), 0).nStatus);
    generators.Advance(kSecondUs / 100);
    const SDataGenReply status = generators.Command(Ask(3), kSecondUs / 100);
    EXPECT_TRUE(status.bLagging);
    // The link's share: 1.25 GB/s x 256 / (256 + 24) for 10 ms, in 256-byte writes.
    EXPECT_EQ(44642u, generators.Sent(0xFFFF));
}

TEST(TrafficGenerator, RemoteGeneratorsAreFoundByIdAndControlStructure)
{
    auto pFabric = Fabric(kFabric);
    CTrafficGenerators generators(*pFabric);
    EXPECT_EQ(0, generators.Command(Ask(4, 0x07, 0x00400000), 0).nStatus);
    EXPECT_EQ(-402, generators.Command(Ask(4, 0x07, 0x00500000), 0).nStatus) << "wrong control structure";
    EXPECT_EQ(-402, generators.Command(Ask(4, 0x05, 0x00400000), 0).nStatus) << "ep has no generator";
    EXPECT_EQ(-307, generators.Command(Ask(3, 0x07, 0x00400000), 0).nStatus) << "status before any start";
    EXPECT_EQ(-400, generators.Command(Ask(9), 0).nStatus);
    EXPECT_EQ(-304, generators.Command(Start(5, 0x05, {{1, 1000}}), 0).nStatus) << "kind 5 is none";
    EXPECT_EQ(-304, generators.Command(Start(1, 0x05, {}), 0).nStatus) << "no steps";

    pFabric->ServerConfig().ulCapabilities = 0x3F3;
    EXPECT_EQ(-306, generators.Command(Ask(3), 0).nStatus) << "a server without the capability";
}

TEST(TrafficGenerator, StartStatusAndStopOverTheServerProtocol)
{
    // The server's clock is the test's: it moves only when the test says so.
    auto pNow = std::make_shared<ServerClock::time_point>(ServerClock::now());
    SServerOptions options;
    options.fnClock = [pNow] { return *pNow; };
    CServerRig rig(kFabric, options);
    ASSERT_TRUE(rig.Ready());

    // Command 2, NWRITE (1) of 256 bytes, repeat, small IDs, to 0x05 from the local generator,
    // 0xefbff000 with a buffer of 0x00400000, one step: 1 s at 1000 x 1000 bytes/s.
    auto body = [](uint32_t ulCommand)
    {
        return Cat({B32(ulCommand), B32(1), B32(256), B32(1), Zeros(7), B8(0), B16(0x05), B16(0xFFFF), B32(0),
                    B32(0xEFBFF000), B32(0x00400000), B32(0), B32(0), B32(1), B32(1), B32(1000000),
                    Zeros(152)});
    };
    const Bytes start = body(2);
    ASSERT_EQ(212u, start.size());
    EXPECT_EQ(Cat({B32(12), B32(228), start, B32(0), B32(0), B32(0), B32(0)}),
              rig.Exchange(Cat({B32(11), B32(212), start}), 236));

    *pNow += std::chrono::milliseconds(500);
    const Bytes status = body(3);
    const Bytes reply = rig.Exchange(Cat({B32(11), B32(212), status}), 236);
    ASSERT_EQ(236u, reply.size());
    EXPECT_EQ(status, Bytes(reply.begin() + 8, reply.begin() + 220)) << "the request is echoed";
    EXPECT_EQ(0u, Word(reply, 220)) << "status";
    EXPECT_EQ(0u, Word(reply, 224)) << "step";
    EXPECT_EQ(0u, Word(reply, 228)) << "not lagging";
    EXPECT_EQ(1953u, rig.Server().Generators().Sent(0xFFFF)) << "half a second's worth";

    const Bytes stop = body(0);
    EXPECT_EQ(0u, Word(rig.Exchange(Cat({B32(11), B32(212), stop}), 236), 220));
    EXPECT_FALSE(rig.Server().Generators().Running(0xFFFF));
    EXPECT_EQ(1953u, rig.Fabric().Device("ep").Counters(0).RxPackets());
}

TEST(TrafficGenerator, ShippedTrafficTopologyCarriesTheStreamsOfBothGenerators)
{
    auto pFabric = ShippedFabric("traffic.topo");
    ASSERT_TRUE(pFabric);
    CTrafficGenerators generators(*pFabric);
    // The host's stream to epB crosses sw0 and sw1 and no other link.
    ASSERT_EQ(0, generators.Command(Start(1, 0x0B, {{1, 100000000}}), 0).nStatus);
    generators.Advance(kSecondUs / 100);
    EXPECT_FALSE(generators.Command(Ask(3), kSecondUs / 100).bLagging);
    EXPECT_EQ(3906u, pFabric->Device("sw1").Counters(5).TxPackets()) << "1 MB in 10 ms towards epB";
    EXPECT_EQ(3906u, pFabric->Device("sw0").Counters(2).TxPackets());
    EXPECT_EQ(0u, pFabric->Device("sw0").Counters(1).TxPackets()) << "nothing towards ep5";

    // The remote generator on its x4 link towards the host keeps up with 100 MB/s too.
    SDataGenRequest remote = Start(3, 0x01, {{1, 100000000}});
    remote.wRemoteDestId = 0x07;
    remote.ulControlLo = 0x00400000;
    ASSERT_EQ(0, generators.Command(remote, kSecondUs).nStatus);
    generators.Advance(kSecondUs + kSecondUs / 100);
    EXPECT_EQ(3906u, generators.Sent(0x07));
    EXPECT_EQ(3906u, pFabric->Device("sw0").Counters(3).RxPackets()) << "NREAD requests from gen7";
    EXPECT_EQ(3906u, pFabric->Device("sw0").Counters(3).TxPackets()) << "and their responses";
}
