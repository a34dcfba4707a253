// How requests and responses travel through the fabric: hop counts, routing tables, lost
// responses and the error list, link faults, data, messages and doorbells.
#include "SimTestUtil.h"

#include "nvsim/Faults.h"
#include "nvsim/StdDevice.h"

#include <gtest/gtest.h>

using namespace nvsim;
using namespace simtest;

namespace
{
// host -- sw -- ep (ID 5, echoes) and plain (ID 6) and rom (ID 7, no memory).
const char* const kStar = R"(
device host  endpoint device=0x0001 processor memory id=0x01 largeid=0x0101
device sw    switch ports=4 routelimit=0x1FF
device ep    endpoint memory echo id=0x05 largeid=0x0005
device plain endpoint memory id=0x06 largeid=0x0006
device rom   endpoint id=0x07 largeid=0x0007
host host
link host:0 sw:0
link sw:1   ep:0
link sw:2   plain:0
link sw:3   rom:0
route sw 0x01 0
route sw 0x05 1
route sw 0x06 2
route sw 0x07 3
)";

void SetRoute(CSimFabric& f, uint32_t ulDestId, uint8_t uchHop, uint32_t ulId, uint32_t ulPort)
{
    const uint32_t aulEntry[] = {ulId, ulPort};
    ASSERT_EQ(0, f.MaintWrite(0, ulDestId, uchHop, 0x70, aulEntry, 2, 4, 4, false));
}

std::string OnlyError(CSimFabric& f)
{
    const std::vector<SRioError> errors = f.GetRioErrors();
    if (errors.size() != 1)
        return "expected one error, got " + std::to_string(errors.size());
    return errors[0].strText;
}

bool Apply(CSimFabric& f, const std::string& strSpec)
{
    std::string strError;
    const bool bOk = ApplyFabricFault(strSpec, f, &strError);
    EXPECT_TRUE(bOk) << strSpec << ": " << strError;
    return bOk;
}
} // namespace

TEST(FabricRouting, HopCountsWalkTheChainOnceRoutesLeadOnAndBack)
{
    auto pFabric = ShippedFabric("chain.topo");
    CSimFabric& f = *pFabric;
    // The first switch answers at hop 0 with no route at all: its response leaves by the port
    // the request came in on.
    EXPECT_EQ(0x0010FFF0u, ReadOk(f, 0xFF, 0, 0x00));
    EXPECT_TRUE(f.GetRioErrors().empty());

    // Hop 1 needs sw1 to route 0xFF onwards...
    EXPECT_EQ(-310, ReadStatus(f, 0xFF, 1, 0x00));
    EXPECT_EQ("Maintenance response timeout: DestID 0xff HopCount 1 Offset 0x0", OnlyError(f));
    SetRoute(f, 0xFF, 0, 0xFF, 1);
    // ...and the response from sw2 needs sw1's route back to the host's ID.
    EXPECT_EQ(-310, ReadStatus(f, 0xFF, 1, 0x14));
    EXPECT_EQ("Maintenance response timeout: DestID 0xff HopCount 1 Offset 0x14", OnlyError(f));
    SetRoute(f, 0xFF, 0, 0x01, 0);
    EXPECT_EQ(0x0400u, ReadOk(f, 0xFF, 1, 0x14)) << "sw2, entered on port 0";

    SetRoute(f, 0xFF, 1, 0xFF, 1);
    SetRoute(f, 0xFF, 1, 0x01, 0);
    SetRoute(f, 0xFF, 2, 0xFF, 1);
    SetRoute(f, 0xFF, 2, 0x01, 0);
    EXPECT_EQ(0x0010FFF0u, ReadOk(f, 0xFF, 2, 0x00)) << "hop 2 is consumed by sw3";
    EXPECT_EQ(0x0002FFF0u, ReadOk(f, 0xFF, 3, 0x00)) << "hop 3 goes on to the endpoint";
    EXPECT_EQ(0x0002FFF0u, ReadOk(f, 0xFF, 9, 0x00)) << "an endpoint takes any hop count";
}

TEST(FabricRouting, AWriteWhoseResponseIsLostStillLands)
{
    auto pFabric = ShippedFabric("chain.topo");
    CSimFabric& f = *pFabric;
    SetRoute(f, 0xFF, 0, 0xFF, 1); // on to sw2, but no way back
    EXPECT_EQ(-310, WriteStatus(f, 0xFF, 1, 0x6C, 0x1234));
    EXPECT_EQ(0x1234u, f.Device("sw2").Reg(0x6C));
    EXPECT_EQ("Maintenance response timeout: DestID 0xff HopCount 1 Offset 0x6c", OnlyError(f));
}

TEST(FabricRouting, ASwitchToldSoRoutesItsOwnResponsesByItsTable)
{
    auto pFabric = Fabric(R"(
        device host endpoint id=0x01
        device sw switch ports=4 response=table
        host host
        link host:0 sw:2
    )");
    CSimFabric& f = *pFabric;
    EXPECT_EQ(-310, WriteStatus(f, 0xFF, 0, 0x6C, 0x77));
    EXPECT_EQ(0x77u, f.Device("sw").Reg(0x6C));
    dynamic_cast<CStdDevice&>(f.Device("sw")).SetRouteEntry(0x01, 2);
    EXPECT_EQ(0x77u, ReadOk(f, 0xFF, 0, 0x6C));
}

TEST(FabricRouting, UntrainedLinksMuteDevicesAndLostResponses)
{
    auto pFabric = Fabric(kStar);
    CSimFabric& f = *pFabric;
    EXPECT_EQ(0x0002FFF0u, ReadOk(f, 0x05, 1, 0x00));

    // An untrained link stops the request: nothing happens at the far end.
    ASSERT_TRUE(Apply(f, "linkdown:link=ep:0"));
    EXPECT_EQ(-310, WriteStatus(f, 0x05, 1, 0x6C, 0xAA));
    EXPECT_EQ(0u, f.Device("ep").Reg(0x6C));
    EXPECT_EQ("Maintenance response timeout: DestID 0x5 HopCount 1 Offset 0x6c", OnlyError(f));
    f.Link("sw", 1)->SetTrained(true);

    // A mute device takes the request and does nothing with it.
    ASSERT_TRUE(Apply(f, "mute:device=ep"));
    EXPECT_EQ(-310, WriteStatus(f, 0x05, 1, 0x6C, 0xBB));
    EXPECT_EQ(0u, f.Device("ep").Reg(0x6C));
    f.Device("ep").SetMute(false);
    f.GetRioErrors();

    // Lost responses: the request is carried out, the answer never arrives.
    ASSERT_TRUE(Apply(f, "loseresp:link=sw:1,count=2"));
    EXPECT_EQ(-310, WriteStatus(f, 0x05, 1, 0x6C, 0xCC));
    EXPECT_EQ(0xCCu, f.Device("ep").Reg(0x6C));
    EXPECT_EQ(-310, ReadStatus(f, 0x05, 1, 0x6C));
    EXPECT_EQ(0xCCu, ReadOk(f, 0x05, 1, 0x6C)) << "the third response gets through";
    ASSERT_TRUE(Apply(f, "loseresp:link=sw:1"));
    for (int i = 0; i < 3; ++i)
        EXPECT_EQ(-310, ReadStatus(f, 0x05, 1, 0x6C));
    EXPECT_EQ(0, ReadStatus(f, 0x06, 1, 0x00)) << "other links are not touched";
    f.Link("sw", 1)->ClearFaults();
    EXPECT_EQ(0, ReadStatus(f, 0x05, 1, 0x6C));

    // A slow link costs its delay each way.
    ASSERT_TRUE(Apply(f, "slow:link=ep:0,ms=40"));
    uint32_t ulValue = 0, ulLatency = 0;
    ASSERT_EQ(0, f.MaintRead(0, 0x05, 1, 0x00, &ulValue, 1, 4, 4, false, &ulLatency));
    EXPECT_EQ(80u, ulLatency);
}

TEST(FabricRouting, LoopsAndWrongWayResponsesAreLost)
{
    auto pFabric = ShippedFabric("loop.topo");
    CSimFabric& f = *pFabric;
    auto route = [&f](const char* pszSwitch, uint32_t ulId, uint8_t uchPort)
    { dynamic_cast<CStdDevice&>(f.Device(pszSwitch)).SetRouteEntry(ulId, uchPort); };
    // 0x33 goes round the ring sw1 -> sw2 -> sw3 -> sw1 for ever.
    route("sw1", 0x33, 1);
    route("sw2", 0x33, 2);
    route("sw3", 0x33, 0);
    uint8_t aBytes[4] = {};
    EXPECT_EQ(-310, f.DataRead(0, 0x33, 0, 0x0, aBytes, 4, false));
    EXPECT_EQ("NREAD response timeout: DestID 0x33 Address 0x000000000", OnlyError(f));
    // The way to ep1 is fine, but responses to the host go round the ring.
    route("sw1", 0x09, 2);
    route("sw1", 0x01, 1);
    route("sw2", 0x01, 2);
    route("sw3", 0x01, 0);
    EXPECT_EQ(-310, f.DataRead(0, 0x09, 0, 0x0, aBytes, 4, false));
    EXPECT_EQ(1u, f.GetRioErrors().size());
    route("sw1", 0x01, 0);
    EXPECT_EQ(0, f.DataRead(0, 0x09, 0, 0x0, aBytes, 4, false));

    // A response that reaches an endpoint other than the host is lost too.
    auto pWrongWay = Fabric(R"(
        device host endpoint id=0x01
        device sw switch ports=4
        device ep endpoint id=0x05
        device other endpoint
        host host
        link host:0 sw:0
        link sw:1 ep:0
        link sw:2 other:0
        route sw 0x05 1
        route sw 0x01 2
    )");
    EXPECT_EQ(-310, ReadStatus(*pWrongWay, 0x05, 1, 0x00));
}

TEST(FabricRouting, DestIdsAreCutToTheTransportSizeAndResponsesUseTheHostIdOfThatSize)
{
    auto pFabric = Fabric(kStar);
    CSimFabric& f = *pFabric;
    EXPECT_EQ(0x0002FFF0u, ReadOk(f, 0x105, 1, 0x00)) << "small transport keeps the low 8 bits";
    // Large transport: 0x105 is an ID of its own, which nothing routes.
    EXPECT_EQ(-310, ReadStatus(f, 0x105, 1, 0x00, true));
    f.GetRioErrors();
    // The host's large ID is 0x0101, which sw does not route yet: the response is lost.
    EXPECT_EQ(-310, ReadStatus(f, 0x05, 1, 0x00, true));
    dynamic_cast<CStdDevice&>(f.Device("sw")).SetRouteEntry(0x101, 0);
    EXPECT_EQ(0x0002FFF0u, ReadOk(f, 0x0005, 1, 0x00, true));
    // 0xFFFFFFFF is the host itself whatever the size, with no packet at all.
    const uint8_t uchOutbound = f.Device("host").Port(0).uchOutboundAckId;
    EXPECT_EQ(0x0001FFF0u, ReadOk(f, 0xFFFFFFFF, 7, 0x00, true));
    EXPECT_EQ(0x0001FFF0u, ReadOk(f, 0xFFFFFFFF, 7, 0x00, false));
    EXPECT_EQ(uchOutbound, f.Device("host").Port(0).uchOutboundAckId) << "no packet left the host";
}

TEST(FabricRouting, EndpointsTakeAnyDestIdUnlessToldOtherwise)
{
    auto pFabric = Fabric(R"(
        device host endpoint id=0x01
        device sw switch ports=4
        device any endpoint id=0x05
        device own endpoint id=0x06 accept=own
        host host
        link host:0 sw:0
        link sw:1 any:0
        link sw:2 own:0
        route sw 0x01 0
        route sw 0x05 1
        route sw 0x06 2
        route sw 0xFF 2
        route sw 0x15 1
    )");
    CSimFabric& f = *pFabric;
    EXPECT_EQ(0, ReadStatus(f, 0x15, 1, 0x00)) << "accept-all endpoint";
    EXPECT_EQ(0, ReadStatus(f, 0x06, 1, 0x00));
    EXPECT_EQ(-310, ReadStatus(f, 0xFF, 1, 0x00)) << "an endpoint with its own ID drops the all-ones ID";
}

TEST(FabricRouting, DefaultPortTakesIdsBeyondTheTable)
{
    auto pFabric = Fabric(R"(
        device host endpoint id=0x01
        device sw switch ports=4 routelimit=0x0F
        device ep endpoint
        host host
        link host:0 sw:0
        link sw:3 ep:0
        route sw 0x01 0
        route sw default 3
    )");
    CSimFabric& f = *pFabric;
    EXPECT_EQ(0x0002FFF0u, ReadOk(f, 0x20, 1, 0x00));
    EXPECT_EQ(-310, ReadStatus(f, 0x0E, 1, 0x00)) << "within the table, unrouted";
}

TEST(FabricRouting, MisalignedAckIdsStopPacketsUntilSoftwareRealignsThem)
{
    auto pFabric = Fabric(kStar);
    CSimFabric& f = *pFabric;
    ASSERT_TRUE(Apply(f, "ackid:device=sw,port=1"));
    EXPECT_EQ(-310, ReadStatus(f, 0x05, 1, 0x00));
    EXPECT_NE(0u, ReadOk(f, 0xFF, 0, 0x178) & errstat::kOutputErrorEncountered);
    EXPECT_NE(0u, f.Device("ep").Port(0).ulErrorStatus & errstat::kInputErrorEncountered);

    // Recovery: ask the partner what it expects, and send that next.
    WriteOk(f, 0xFF, 0, 0x160, linkmaint::kInputStatus);
    const uint32_t ulResponse = ReadOk(f, 0xFF, 0, 0x164);
    ASSERT_NE(0u, ulResponse & linkmaint::kResponseValid);
    const uint32_t ulExpected = (ulResponse >> 5) & 0x1F;
    const uint32_t ulLocal = ReadOk(f, 0xFF, 0, 0x168);
    WriteOk(f, 0xFF, 0, 0x168, (ulLocal & 0xFFFF0000) | (ulExpected << 8) | ulExpected);
    EXPECT_EQ(0x0002FFF0u, ReadOk(f, 0x05, 1, 0x00));
    EXPECT_EQ((ulExpected + 1) & 0x1F, f.Device("ep").Port(0).uchInboundAckId) << "ackIDs move with traffic";
}

TEST(FabricRouting, NreadAndNwriteReachEndpointMemory)
{
    auto pFabric = Fabric(kStar);
    CSimFabric& f = *pFabric;
    const uint8_t aWritten[] = {1, 2, 3, 4, 5};
    EXPECT_EQ(0, f.DataWrite(0, 0x05, 0x1, 0x00001000, 2, aWritten, 5, false)) << "NWRITE_R";
    uint8_t aRead[5] = {};
    EXPECT_EQ(0, f.DataRead(0, 0x05, 0x1, 0x00001000, aRead, 5, false));
    EXPECT_EQ(std::vector<uint8_t>(aWritten, aWritten + 5), std::vector<uint8_t>(aRead, aRead + 5));
    uint8_t aStored[5] = {};
    f.Device("ep").ReadMemory(0x100001000ull, aStored, 5);
    EXPECT_EQ(std::vector<uint8_t>(aWritten, aWritten + 5), std::vector<uint8_t>(aStored, aStored + 5));

    // A PE without memory answers with an ERROR response where a response is due...
    EXPECT_EQ(-105, f.DataWrite(0, 0x07, 0, 0x0, 2, aWritten, 5, false));
    EXPECT_EQ("NWRITE_R error response: DestID 0x7 Address 0x000000000", OnlyError(f));
    EXPECT_EQ(-105, f.DataRead(0, 0x07, 0, 0x0, aRead, 5, false));
    f.GetRioErrors();
    // ...and NWRITE and SWRITE never tell, whatever became of them.
    EXPECT_EQ(0, f.DataWrite(0, 0x07, 0, 0x0, 1, aWritten, 5, false));
    f.Link("sw", 2)->SetTrained(false);
    EXPECT_EQ(0, f.DataWrite(0, 0x06, 0, 0x0, 0, aWritten, 5, false));
    EXPECT_EQ(-310, f.DataWrite(0, 0x06, 0, 0x0, 2, aWritten, 5, false));
    EXPECT_EQ(-304, f.DataWrite(0, 0x05, 0, 0x0, 3, aWritten, 5, false)) << "no transfer type 3";
    EXPECT_EQ("NWRITE_R response timeout: DestID 0x6 Address 0x000000000", OnlyError(f));
}

TEST(FabricRouting, MessagesAndDoorbellsReachQueuesAndEchoesComeBack)
{
    auto pFabric = Fabric(kStar);
    CSimFabric& f = *pFabric;
    const uint8_t aText[] = {'h', 'e', 'l', 'l', 'o'};
    ASSERT_EQ(0, f.SendMessage(0, 0x05, 1, 2, aText, 5, false));
    EXPECT_EQ(1u, f.Device("ep").MessageCount(2));
    SMessage message;
    bool bValid = false, bOverflow = true;
    ASSERT_EQ(0, f.FetchMessage(2, &message, &bValid, &bOverflow));
    ASSERT_TRUE(bValid) << "the echoing endpoint sent it back";
    EXPECT_FALSE(bOverflow);
    EXPECT_EQ(0x05u, message.ulSourceId);
    EXPECT_EQ(2u, message.ulMailbox);
    EXPECT_EQ(1u, message.ulPriority);
    EXPECT_EQ(std::vector<uint8_t>(aText, aText + 5), message.data);
    ASSERT_EQ(0, f.FetchMessage(2, &message, &bValid, nullptr));
    EXPECT_FALSE(bValid);

    ASSERT_EQ(0, f.SendDoorbell(0, 0x05, 0, 0xBEEF, false));
    ASSERT_EQ(0, f.SendDoorbell(0, 0x06, 0, 0x1234, false));
    EXPECT_EQ(1u, f.Device("plain").DoorbellCount(0));
    SDoorbell doorbell;
    ASSERT_EQ(0, f.FetchDoorbell(0, &doorbell, &bValid, nullptr));
    ASSERT_TRUE(bValid);
    EXPECT_EQ(0xBEEF, doorbell.wInfo);
    EXPECT_EQ(0x05u, doorbell.ulSourceId);
    ASSERT_EQ(0, f.FetchDoorbell(0, &doorbell, &bValid, nullptr));
    EXPECT_FALSE(bValid) << "the plain endpoint does not echo";

    EXPECT_EQ(-304, f.SendMessage(0, 0x05, 0, 4, aText, 5, false)) << "mailboxes 0..3";
    const std::vector<uint8_t> tooLong(4097);
    EXPECT_EQ(-304, f.SendMessage(0, 0x05, 0, 0, tooLong.data(), 4097, false));
    f.Link("sw", 2)->LoseResponses(0);
    EXPECT_EQ(-310, f.SendDoorbell(0, 0x06, 0, 0x1, false));
    EXPECT_EQ("Doorbell response timeout: DestID 0x6 Info 0x0001", OnlyError(f));
}

TEST(FabricRouting, HostQueuesOverflowAndFlush)
{
    auto pFabric = Fabric(kStar);
    CSimFabric& f = *pFabric;
    for (uint16_t i = 0; i <= CSimDevice::kQueueDepth; ++i)
        ASSERT_EQ(0, f.SendDoorbell(0, 0xFFFFFFFF, 0, i, false));
    SDoorbell doorbell;
    bool bValid = false, bOverflow = false;
    ASSERT_EQ(0, f.FetchDoorbell(0, &doorbell, &bValid, &bOverflow));
    EXPECT_TRUE(bValid);
    EXPECT_TRUE(bOverflow);
    EXPECT_EQ(0, doorbell.wInfo);
    ASSERT_EQ(0, f.FetchDoorbell(0, &doorbell, &bValid, &bOverflow));
    EXPECT_FALSE(bOverflow) << "the overflow is told once";
    EXPECT_EQ(1, doorbell.wInfo);
    ASSERT_EQ(0, f.FlushDoorbells(0));
    ASSERT_EQ(0, f.FetchDoorbell(0, &doorbell, &bValid, &bOverflow));
    EXPECT_FALSE(bValid);
}

TEST(FabricRouting, ServerHostMemoryAndFlash)
{
    auto pFabric = Fabric(R"(
        device host endpoint id=0x01
        host host flash=4K
    )");
    CSimFabric& f = *pFabric;
    const uint8_t aWords[] = {0xDE, 0xAD, 0xBE, 0xEF, 0x01, 0x02, 0x03, 0x04};
    ASSERT_EQ(0, f.MemWrite(0x1FFFFFFFEull, 4, 2, aWords));
    uint8_t aRead[8] = {};
    ASSERT_EQ(0, f.MemRead(0x1FFFFFFFEull, 2, 4, aRead));
    EXPECT_EQ(std::vector<uint8_t>(aWords, aWords + 8), std::vector<uint8_t>(aRead, aRead + 8));
    EXPECT_EQ(-304, f.MemRead(0, 1, 3, aRead));

    ASSERT_EQ(0, f.FlashRead(0xFFC, aRead, 4));
    EXPECT_EQ(0xFF, aRead[0]) << "erased flash";
    ASSERT_EQ(0, f.FlashWrite(0xFFC, aWords, 4));
    ASSERT_EQ(0, f.FlashRead(0xFFC, aRead, 4));
    EXPECT_EQ(0xEF, aRead[3]);
    EXPECT_EQ(-304, f.FlashRead(0xFFE, aRead, 4)) << "beyond the flash";
    f.HostConfig().bFlashWriteProtect = true;
    EXPECT_EQ(-34, f.FlashWrite(0, aWords, 4));
    f.HostConfig().bFlash = false;
    EXPECT_EQ(-33, f.FlashRead(0, aRead, 4));
}

TEST(FabricRouting, ErrorListKeepsTheLatestEntriesAndEmptiesWhenTaken)
{
    auto pFabric = Fabric(kStar);
    CSimFabric& f = *pFabric;
    for (uint32_t i = 0; i < CSimFabric::kMaxRioErrors + 6; ++i)
        f.AddRioError(i, "error " + std::to_string(i));
    const std::vector<SRioError> errors = f.GetRioErrors();
    ASSERT_EQ(CSimFabric::kMaxRioErrors, errors.size());
    EXPECT_EQ(6u, errors.front().ulCode);
    EXPECT_EQ("error " + std::to_string(CSimFabric::kMaxRioErrors + 5), errors.back().strText);
    EXPECT_TRUE(f.GetRioErrors().empty());
}
