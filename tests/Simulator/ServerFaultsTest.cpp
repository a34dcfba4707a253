// Reply faults: each one spoils the server's answer the way it promises, for the requests it
// names, as often as it is told, and the fault specs of the command line read as documented.
#include "SimTestUtil.h"

#include "nvsim/Faults.h"

#include <chrono>
#include <gtest/gtest.h>

using namespace nvsim;
using namespace simtest;

namespace
{
const char* const kTopology = kHostAndSwitch;

// Maintenance read of sw's Device Identity (hop 0) and the reply it should get.
const Bytes kReadBody = Cat({B8(0), Zeros(2), B8(0), B32(0xFF), B8(0), Zeros(2), B8(0), B32(0), B32(0x00),
                             B32(1), B32(4), B32(4), B32(2)});
const Bytes kRead = Cat({B32(3), B32(36), kReadBody});
const Bytes kReadReply = Cat({B32(4), B32(52), kReadBody, Zeros(8), B32(0), B32(0x0010FFF0)});
const Bytes kIdentify = Cat({B32(9), B32(0)});

uint32_t Negative(int32_t nStatus)
{
    return static_cast<uint32_t>(nStatus);
}

void AddFault(CServerRig& rig, const std::string& strSpec)
{
    std::string strError;
    ASSERT_TRUE(ApplyFaultSpec(strSpec, rig.Fabric(), rig.Server().Faults(), &strError)) << strError;
}

using Clock = std::chrono::steady_clock;
} // namespace

TEST(ServerFaults, DropLosesTheNamedRepliesOnly)
{
    CServerRig rig(kTopology);
    ASSERT_TRUE(rig.Ready());
    AddFault(rig, "drop:count=2,msg=3");
    EXPECT_EQ(144u, rig.Exchange(kIdentify, 144).size()) << "other messages are answered";
    EXPECT_TRUE(rig.Exchange(kRead, 60, 300).empty());
    EXPECT_TRUE(rig.Exchange(kRead, 60, 300).empty());
    EXPECT_EQ(kReadReply, rig.Exchange(kRead, 60));
    EXPECT_EQ(0u, rig.Server().Faults().Pending());
}

TEST(ServerFaults, MangledReplies)
{
    CServerRig rig(kTopology);
    ASSERT_TRUE(rig.Ready());

    AddFault(rig, "badlength");
    Bytes expected = kReadReply;
    expected[7] = 53;
    EXPECT_EQ(expected, rig.Exchange(kRead, 60));

    AddFault(rig, "badlength:value=-4");
    expected[7] = 48;
    EXPECT_EQ(expected, rig.Exchange(kRead, 60));

    // Bad echo waits for a reply that has an echo: IDENTIFY passes untouched.
    AddFault(rig, "badecho");
    EXPECT_EQ(144u, rig.Exchange(kIdentify, 144).size());
    expected = kReadReply;
    expected[8 + 6] = 0x01; // DestID 0xFF + 1
    expected[8 + 7] = 0x00;
    EXPECT_EQ(expected, rig.Exchange(kRead, 60));

    AddFault(rig, "badid");
    expected = kReadReply;
    expected[3] = 6;
    EXPECT_EQ(expected, rig.Exchange(kRead, 60));

    AddFault(rig, "badid:value=99");
    expected[3] = 99;
    EXPECT_EQ(expected, rig.Exchange(kRead, 60));

    // A maintenance read answered with a status, its data still there.
    AddFault(rig, "status:value=-310");
    EXPECT_EQ(144u, rig.Exchange(kIdentify, 144).size());
    EXPECT_EQ(Cat({B32(4), B32(52), kReadBody, Zeros(8), B32(Negative(-310)), B32(0x0010FFF0)}),
              rig.Exchange(kRead, 60));
    EXPECT_EQ(kReadReply, rig.Exchange(kRead, 60)) << "once only";
}

TEST(ServerFaults, GarbageCloseAndPartialReplies)
{
    {
        CServerRig rig(kTopology);
        ASSERT_TRUE(rig.Ready());
        AddFault(rig, "garbage:bytes=20");
        const Bytes garbage = rig.Exchange(kRead, 100, 300);
        ASSERT_EQ(20u, garbage.size());
        EXPECT_NE(4u, Word(garbage, 0));
    }
    {
        CServerRig rig(kTopology);
        ASSERT_TRUE(rig.Ready());
        AddFault(rig, "close:msg=9");
        EXPECT_EQ(kReadReply, rig.Exchange(kRead, 60));
        ASSERT_TRUE(rig.Client().Send(kIdentify));
        EXPECT_TRUE(rig.Client().ClosedByPeer());
    }
    {
        // Part of the reply, then silence on that connection for good.
        CServerRig rig(kTopology);
        ASSERT_TRUE(rig.Ready());
        AddFault(rig, "partial:bytes=12");
        EXPECT_EQ(Bytes(kReadReply.begin(), kReadReply.begin() + 12), rig.Exchange(kRead, 60, 300));
        EXPECT_TRUE(rig.Exchange(kIdentify, 144, 300).empty());
        CTcpClient other(rig.Server().TcpPort());
        ASSERT_TRUE(other.Send(kIdentify));
        EXPECT_EQ(144u, other.Receive(144).size()) << "other connections go on";
    }
}

TEST(ServerFaults, DelayIsScheduledNotSlept)
{
    CServerRig rig(kTopology);
    ASSERT_TRUE(rig.Ready());
    AddFault(rig, "delay:ms=1000,msg=3");
    const Clock::time_point start = Clock::now();
    ASSERT_TRUE(rig.Client().Send(kRead));

    // Meanwhile another client is served, before the late reply leaves.
    CTcpClient other(rig.Server().TcpPort());
    ASSERT_TRUE(other.Send(kIdentify));
    EXPECT_EQ(144u, other.Receive(144).size());
    EXPECT_TRUE(rig.Client().Receive(1, 0).empty());

    EXPECT_EQ(kReadReply, rig.Client().Receive(60));
    EXPECT_GE(Clock::now() - start, std::chrono::milliseconds(990));
}

TEST(ServerFaults, RepliesKeepTheirOrderBehindADelayedOne)
{
    CServerRig rig(kTopology);
    ASSERT_TRUE(rig.Ready());
    rig.Server().Faults().DelayReplies(300, 1, 3);
    ASSERT_TRUE(rig.Client().Send(kRead));
    ASSERT_TRUE(rig.Client().Send(kIdentify));
    EXPECT_EQ(kReadReply, rig.Client().Receive(60));
    EXPECT_EQ(144u, rig.Client().Receive(144).size());
}

TEST(ServerFaults, NeverAnswerIdentifyEx)
{
    CServerRig rig(kTopology);
    ASSERT_TRUE(rig.Ready());
    AddFault(rig, "noidentifyex");
    EXPECT_EQ(144u, rig.Exchange(kIdentify, 144).size());
    EXPECT_TRUE(rig.Exchange(Cat({B32(33), B32(0)}), 136, 300).empty());
    EXPECT_TRUE(rig.Exchange(Cat({B32(33), B32(0)}), 136, 300).empty()) << "for good";
    EXPECT_EQ(kReadReply, rig.Exchange(kRead, 60));
}

TEST(ServerFaults, FaultsApplyOverUdpToo)
{
    CServerRig rig(kTopology);
    ASSERT_TRUE(rig.Ready());
    CUdpClient client;
    rig.Server().Faults().MaintReadStatus(-305);
    ASSERT_TRUE(client.SendTo("127.0.0.1", rig.Server().UdpPort(), kRead));
    const std::vector<Bytes> datagrams = client.ReceiveAll();
    ASSERT_EQ(3u, datagrams.size());
    EXPECT_EQ(Negative(-305), Word(datagrams[1], 44));
    EXPECT_EQ(B32(0x0010FFF0), datagrams[2]);

    AddFault(rig, "partial:bytes=8");
    ASSERT_TRUE(client.SendTo("127.0.0.1", rig.Server().UdpPort(), kRead));
    EXPECT_EQ(std::vector<Bytes>{Cat({B32(4), B32(52)})}, client.ReceiveAll()) << "the header only";
}

TEST(ServerFaults, SpecsAreCheckedAsTheyAreRead)
{
    CSimFabric fabric;
    CFaults faults;
    SReplyFault fault;
    std::string strError;
    ASSERT_TRUE(ParseReplyFault("delay:ms=250,count=0,msg=33", &fault, &strError)) << strError;
    EXPECT_EQ(EReplyFault::Delay, fault.eKind);
    EXPECT_EQ(250, fault.llValue);
    EXPECT_EQ(0u, fault.ulCount);
    EXPECT_EQ(33u, fault.ulMessageId);
    ASSERT_TRUE(ParseReplyFault("status", &fault, &strError));
    EXPECT_EQ(-310, fault.llValue);
    EXPECT_EQ(3u, fault.ulMessageId);
    // value= names the value of every kind that has one.
    ASSERT_TRUE(ParseReplyFault("status:msg=3,value=-305", &fault, &strError)) << strError;
    EXPECT_EQ(-305, fault.llValue);
    ASSERT_TRUE(ParseReplyFault("delay:msg=3,value=300", &fault, &strError)) << strError;
    EXPECT_EQ(300, fault.llValue);
    ASSERT_TRUE(ParseReplyFault("partial:value=4", &fault, &strError)) << strError;
    EXPECT_EQ(4, fault.llValue);

    struct SCase
    {
        const char* pszSpec;
        const char* pszError;
    };
    const SCase cases[] = {
        {"delay", "fault 'delay': needs ms= (or value=)"},
        {"delay:ms=5,value=5", "fault 'delay:ms=5,value=5': give value= or ms=, not both"},
        {"status:msg=5", "fault 'status:msg=5': a status fault answers maintenance reads (msg=3) only"},
        {"drop:count=two", "fault 'drop:count=two': count must be a number from 0 to 4294967295"},
        {"drop:size=3", "fault 'drop:size=3': unknown key 'size' for drop"},
        {"drop:count", "fault 'drop:count': 'count' is not KEY=VALUE"},
        {"explode", "fault 'explode': unknown fault kind"},
        {"mute:device=nobody", "fault 'mute:device=nobody': there is no device 'nobody'"},
        {"linkdown:link=sw1", "fault 'linkdown:link=sw1': link= names a link by one end, DEVICE:PORT"},
    };
    for (const SCase& c : cases)
    {
        strError.clear();
        EXPECT_FALSE(ApplyFaultSpec(c.pszSpec, fabric, faults, &strError)) << c.pszSpec;
        EXPECT_EQ(c.pszError, strError);
    }
    EXPECT_EQ(0u, faults.Pending());
}
