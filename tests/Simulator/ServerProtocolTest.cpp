// The server answers each message of the protocol byte for byte. Requests and expected replies
// are written out here field by field from the message tables, not made by the server's codec.
#include "SimTestUtil.h"

#include "nvsim/Server.h"

#include <gtest/gtest.h>

using namespace nvsim;
using namespace simtest;

namespace
{
// host (ID 0x01, large 0x0203) -- sw -- ep (ID 5, echoes) ; lost (ID 6) is not routed back.
const char* const kTopology = R"(
device host endpoint device=0x0001 processor memory id=0x01 largeid=0x0203
device sw   switch ports=4
device ep   endpoint memory echo id=0x05 largeid=0x0005
host host flash=64K
link host:0 sw:0
link sw:1 ep:0
route sw 0x01 0
route sw 0x05 1
)";

// The fixed part of an NVT_MAINTREAD request body (36 bytes).
Bytes MaintReadBody(uint32_t ulDestId, uint8_t uchHop, uint32_t ulOffset, uint32_t ulCount, uint32_t ulSize,
                    uint32_t ulStride, bool bTimed = false, uint32_t ulLastTick = 0)
{
    return Cat({B8(0), Zeros(2), B8(0), B32(ulDestId), B8(uchHop), Zeros(2), B8(bTimed ? 1 : 0),
                B32(ulLastTick), B32(ulOffset), B32(ulCount), B32(ulSize), B32(ulStride), B32(2)});
}

Bytes Head(const Bytes& bytes, size_t n)
{
    return Bytes(bytes.begin(), bytes.begin() + n);
}

uint32_t Negative(int32_t nStatus)
{
    return static_cast<uint32_t>(nStatus);
}

class ServerProtocol : public ::testing::Test
{
protected:
    void SetUp() override { StartServer(kTopology); }

    void StartServer(const std::string& strTopology, SServerOptions options = {})
    {
        m_pRig.reset();
        m_pRig = std::make_unique<CServerRig>(strTopology, options);
        ASSERT_TRUE(m_pRig->Ready());
        m_pFabric = &m_pRig->Fabric();
        m_pServer = &m_pRig->Server();
        m_pClient = &m_pRig->Client();
    }

    Bytes Exchange(const Bytes& request, size_t nReply) { return m_pRig->Exchange(request, nReply); }

    std::unique_ptr<CServerRig> m_pRig;
    CSimFabric* m_pFabric = nullptr;
    CSimServer* m_pServer = nullptr;
    CTcpClient* m_pClient = nullptr;
};
} // namespace

TEST_F(ServerProtocol, MaintReadAnswersWithTheEchoStatusAndData)
{
    // The host's Device Identity CAR.
    const Bytes body = MaintReadBody(0xFFFFFFFF, 0, 0x00, 1, 4, 4);
    EXPECT_EQ(Cat({B32(4), B32(52), body, B32(0), B32(0), B32(0), B32(0x0001FFF0)}),
              Exchange(Cat({B32(3), B32(36), body}), 60));

    // Two half-words of the Base Device ID CSR (0x00010203): data in network order.
    const Bytes halves = MaintReadBody(0xFFFFFFFF, 0, 0x60, 2, 2, 2);
    EXPECT_EQ(Cat({B32(4), B32(52), halves, Zeros(8), B32(0), B16(0x0001), B16(0x0203)}),
              Exchange(Cat({B32(3), B32(36), halves}), 60));

    // A lost response: Status -310 and the data still there, as zeros.
    const Bytes lost = MaintReadBody(0x06, 1, 0x00, 2, 4, 4);
    EXPECT_EQ(Cat({B32(4), B32(56), lost, Zeros(8), B32(Negative(-310)), Zeros(8)}),
              Exchange(Cat({B32(3), B32(36), lost}), 64));

    // The error list holds what happened.
    Bytes text(128, 0);
    const std::string strText = "Maintenance response timeout: DestID 0x6 HopCount 1 Offset 0x0";
    std::copy(strText.begin(), strText.end(), text.begin());
    EXPECT_EQ(Cat({B32(20), B32(8 + 132), B32(1), B32(0), B32(1), text}),
              Exchange(Cat({B32(19), B32(0)}), 148));
    EXPECT_EQ(Cat({B32(20), B32(8), B32(0), B32(0)}), Exchange(Cat({B32(19), B32(0)}), 16));
}

TEST_F(ServerProtocol, TimedMaintReadCarriesTheServersTick)
{
    const Bytes reply =
        Exchange(Cat({B32(3), B32(36), MaintReadBody(0xFFFFFFFF, 0, 0x00, 1, 4, 4, true, 0)}), 60);
    ASSERT_EQ(60u, reply.size());
    EXPECT_EQ(0u, Word(reply, 8 + 12)) << "ulLastTick echoed";
    const uint32_t ulElapsedUs = Word(reply, 8 + 36);
    const uint32_t ulTickMs = Word(reply, 8 + 40);
    EXPECT_EQ(ulTickMs, ulElapsedUs / 1000) << "microseconds since tick 0 agree with the tick";
}

TEST_F(ServerProtocol, MaintWriteCarriesItOutAndEchoes)
{
    const Bytes body =
        Cat({B8(0), Zeros(2), B8(0), B32(0xFF), B8(0), Zeros(3), B32(0x6C), B32(1), B32(4), B32(4), B32(2)});
    EXPECT_EQ(Cat({B32(6), B32(36), body, B32(0)}),
              Exchange(Cat({B32(5), B32(36), body, B32(0xCAFEF00D)}), 44));
    EXPECT_EQ(0xCAFEF00Du, m_pFabric->Device("sw").Reg(0x6C));

    // Length and data that do not agree: refused, nothing written.
    const Bytes two =
        Cat({B8(0), Zeros(2), B8(0), B32(0xFF), B8(0), Zeros(3), B32(0x6C), B32(2), B32(4), B32(4), B32(2)});
    EXPECT_EQ(Cat({B32(6), B32(36), two, B32(Negative(-304))}),
              Exchange(Cat({B32(5), B32(36), two, B32(0x11111111)}), 44));
    EXPECT_EQ(0xCAFEF00Du, m_pFabric->Device("sw").Reg(0x6C));
}

TEST_F(ServerProtocol, IdentifyAndIdentifyExDescribeTheServer)
{
    const Bytes record =
        Cat({B32(0x20071021), B16(0x0001), B16(0xFFF0), B16(0x0001), B16(0x0203), B32(1), B8(1), Zeros(3),
             B32(1), B8(2), B8(8), Zeros(2), B32(1), B32(0), B16(0), B16(0), Zeros(96)});
    EXPECT_EQ(Cat({B32(10), B32(136), record}), Exchange(Cat({B32(9), B32(0)}), 144));
    EXPECT_EQ(Cat({B32(34), B32(128), B32(0x3F3), Zeros(124)}), Exchange(Cat({B32(33), B32(0)}), 136));
}

TEST_F(ServerProtocol, IdentityComesFromTheTopology)
{
    StartServer(R"(
        server version=3.1 driver=4.2 interface=0x20070910 caps=0x0F ostype=1 cputype=2 status=busy
        device host switch ports=3 vendor=0x1234 device=0x5678 id=0x22 largeid=0x3344 smallonly
        host host localports=2,1
    )");
    const Bytes record =
        Cat({B32(0x20070910), B16(0x5678), B16(0x1234), B16(0x0022), B16(0x3344), B32(0), B8(2), Zeros(3),
             B32(2), B8(3), B8(1), Zeros(2), B32(4), B32(2), B16(1), B16(2), Zeros(96)});
    EXPECT_EQ(Cat({B32(10), B32(136), record}), Exchange(Cat({B32(9), B32(0)}), 144));
    EXPECT_EQ(Cat({B32(34), B32(128), B32(0x0F), Zeros(124)}), Exchange(Cat({B32(33), B32(0)}), 136));
}

TEST_F(ServerProtocol, DataReadAndWrite)
{
    const Bytes write =
        Cat({B8(0), Zeros(2), B8(0), B32(0x05), B32(2), B32(1), B32(0x1), B32(0x1000), B32(4), B32(0)});
    EXPECT_EQ(Cat({B32(18), B32(36), write, B32(0)}),
              Exchange(Cat({B32(17), B32(36), write, B32(0x01020304)}), 44));

    const Bytes read =
        Cat({B8(0), Zeros(2), B8(0), B32(0x05), B32(0), B32(1), B32(0x1), B32(0x1000), B32(4), B32(0)});
    EXPECT_EQ(Cat({B32(16), B32(40), read, B32(0), B32(0x01020304)}),
              Exchange(Cat({B32(15), B32(32), read}), 48));

    // A failed read carries no data.
    const Bytes lost =
        Cat({B8(0), Zeros(2), B8(0), B32(0x33), B32(0), B32(1), B32(0), B32(0), B32(4), B32(0)});
    EXPECT_EQ(Cat({B32(16), B32(36), lost, B32(Negative(-310))}),
              Exchange(Cat({B32(15), B32(32), lost}), 44));
    EXPECT_TRUE(m_pClient->Receive(1, 200).empty());
}

TEST_F(ServerProtocol, MessagesDoorbellsAndTheirQueues)
{
    const Bytes message = Cat({B8(0), Zeros(2), B8(0), B32(0), B32(0x05), B32(1), B32(1), B32(5), B32(5)});
    const Bytes hello = {'h', 'e', 'l', 'l', 'o'};
    EXPECT_EQ(Cat({B32(22), B32(32), message, B32(0)}),
              Exchange(Cat({B32(21), B32(33), message, hello}), 40));
    // The echoing endpoint sent it back to the host's queue of mailbox 1.
    EXPECT_EQ(Cat({B32(26), B32(37), B32(1), B32(1), B8(0), B8(0), Zeros(2), B32(0x05), B32(1), B32(1),
                   B32(5), B32(0), hello}),
              Exchange(Cat({B32(25), B32(8), B32(1), B32(1)}), 45));
    EXPECT_EQ(Cat({B32(26), B32(32), B32(1), B32(1), Zeros(4), B32(0), B32(0), B32(0), B32(0), B32(0)}),
              Exchange(Cat({B32(25), B32(8), B32(1), B32(1)}), 40));

    const Bytes doorbell = Cat({B8(0), Zeros(2), B8(0), B32(0x05), B32(0), B16(0xBEEF), Zeros(2)});
    EXPECT_EQ(Cat({B32(24), B32(20), doorbell, B32(0)}), Exchange(Cat({B32(23), B32(16), doorbell}), 28));
    EXPECT_EQ(Cat({B32(28), B32(16), B32(0), B32(1), B8(0), B8(1), B16(0xBEEF), B32(0)}),
              Exchange(Cat({B32(27), B32(8), B32(0), B32(1)}), 24));
    // Flush, then nothing to fetch.
    Exchange(Cat({B32(23), B32(16), doorbell}), 28);
    EXPECT_EQ(Cat({B32(28), B32(16), B32(0), B32(2), B8(0), B8(0), B16(0), B32(0)}),
              Exchange(Cat({B32(27), B32(8), B32(0), B32(2)}), 24));
    EXPECT_EQ(Cat({B32(28), B32(16), B32(0), B32(1), B8(0), B8(0), B16(0), B32(0)}),
              Exchange(Cat({B32(27), B32(8), B32(0), B32(1)}), 24));
}

TEST_F(ServerProtocol, HostMemoryAndFlash)
{
    const Bytes memWrite = Cat({B32(0), B32(0x2000), B32(2), B32(2), B32(0)});
    EXPECT_EQ(Cat({B32(32), B32(24), memWrite, B32(0)}),
              Exchange(Cat({B32(31), B32(24), memWrite, B32(0xA1B2C3D4)}), 32));
    const Bytes memRead = Cat({B32(0), B32(0x2000), B32(1), B32(4), B32(0)});
    EXPECT_EQ(Cat({B32(30), B32(28), memRead, B32(0), B32(0xA1B2C3D4)}),
              Exchange(Cat({B32(29), B32(20), memRead}), 36));

    const Bytes flashWrite = Cat({B32(0), B32(0x100), B32(3), B32(0)});
    EXPECT_EQ(Cat({B32(38), B32(20), flashWrite, B32(0)}),
              Exchange(Cat({B32(37), B32(19), flashWrite, Bytes{7, 8, 9}}), 28));
    const Bytes flashRead = Cat({B32(0), B32(0xFF), B32(5), B32(0)});
    EXPECT_EQ(Cat({B32(36), B32(25), flashRead, B32(0), Bytes{0xFF, 7, 8, 9, 0xFF}}),
              Exchange(Cat({B32(35), B32(16), flashRead}), 33));

    m_pFabric->HostConfig().bFlashWriteProtect = true;
    EXPECT_EQ(Cat({B32(38), B32(20), flashWrite, B32(Negative(-34))}),
              Exchange(Cat({B32(37), B32(19), flashWrite, Bytes{7, 8, 9}}), 28));
}

TEST_F(ServerProtocol, DataGenIsNotSupportedAndCloseEndsTheConnection)
{
    Bytes datagen(212);
    for (size_t i = 0; i < datagen.size(); ++i)
        datagen[i] = static_cast<uint8_t>(i);
    EXPECT_EQ(Cat({B32(12), B32(228), datagen, B32(Negative(-306)), Zeros(12)}),
              Exchange(Cat({B32(11), B32(212), datagen}), 236));

    // A message the protocol does not know is passed over; the stream stays in step.
    ASSERT_TRUE(m_pClient->Send(Cat({B32(13), B32(4), B32(0x12345678)})));
    EXPECT_TRUE(m_pClient->Receive(1, 200).empty());
    EXPECT_EQ(144u, Exchange(Cat({B32(9), B32(0)}), 144).size());

    ASSERT_TRUE(m_pClient->Send(Cat({B32(7), B32(0)})));
    EXPECT_TRUE(m_pClient->ClosedByPeer());
}

TEST_F(ServerProtocol, OverUdpEveryPartOfAReplyIsADatagramOfItsOwn)
{
    CUdpClient client;
    // The request as the client sends it: header and body in datagrams of their own.
    ASSERT_TRUE(client.SendTo("127.0.0.1", m_pServer->UdpPort(), Cat({B32(3), B32(36)})));
    const Bytes body = MaintReadBody(0xFFFFFFFF, 0, 0x00, 200, 4, 0);
    ASSERT_TRUE(client.SendTo("127.0.0.1", m_pServer->UdpPort(), body));
    std::vector<Bytes> datagrams = client.ReceiveAll();
    ASSERT_EQ(4u, datagrams.size()) << "header, body, and 800 bytes of data in pieces of 512";
    EXPECT_EQ(Cat({B32(4), B32(848)}), datagrams[0]);
    EXPECT_EQ(Cat({body, Zeros(12)}), datagrams[1]);
    EXPECT_EQ(512u, datagrams[2].size());
    EXPECT_EQ(288u, datagrams[3].size());
    EXPECT_EQ(B32(0x0001FFF0), Head(datagrams[3], 4));

    // Identify over UDP says "ready on UDP"; a request in one datagram is fine too.
    ASSERT_TRUE(client.SendTo("127.0.0.1", m_pServer->UdpPort(), Cat({B32(9), B32(0)})));
    datagrams = client.ReceiveAll();
    ASSERT_EQ(2u, datagrams.size());
    EXPECT_EQ(Cat({B32(10), B32(136)}), datagrams[0]);
    ASSERT_EQ(136u, datagrams[1].size());
    EXPECT_EQ(4, datagrams[1][16]);
}

TEST_F(ServerProtocol, BroadcastSearchIsAnsweredAtTheReplyPort)
{
    CUdpClient searcher;
    SServerOptions options;
    options.wReplyPort = searcher.Port();
    StartServer(kTopology, options);
    const Bytes identify = Cat({B32(9), B32(0)});
    const Bytes answer =
        Cat({B32(10), B32(136), B32(0x20071021), B16(0x0001), B16(0xFFF0), B16(0x0001), B16(0x0203), B32(1),
             B8(1), Zeros(3), B32(1), B8(2), B8(8), Zeros(2), B32(1), B32(0), B16(0), B16(0), Zeros(96)});

    ASSERT_TRUE(searcher.SendTo("127.0.0.1", m_pServer->BroadcastPort(), identify));
    EXPECT_EQ(std::vector<Bytes>{answer}, searcher.ReceiveAll());

    // Two simulators share the broadcast port; a loopback broadcast reaches both.
    auto pOther = Fabric(kTopology);
    options.wTcpPort = options.wUdpPort = 0;
    options.wBroadcastPort = m_pServer->BroadcastPort();
    CSimServer other(*pOther, options);
    std::string strError;
    ASSERT_TRUE(other.Start(&strError)) << strError;
    ASSERT_TRUE(searcher.SendTo("127.255.255.255", m_pServer->BroadcastPort(), identify, true));
    EXPECT_EQ((std::vector<Bytes>{answer, answer}), searcher.ReceiveAll());

    // Anything but NVT_IDENTIFY goes unanswered.
    ASSERT_TRUE(searcher.SendTo("127.0.0.1", m_pServer->BroadcastPort(), Cat({B32(33), B32(0)})));
    EXPECT_TRUE(searcher.ReceiveAll(500).empty());
}

TEST_F(ServerProtocol, SeveralClientsAreServedTogether)
{
    CTcpClient second(m_pServer->TcpPort());
    ASSERT_TRUE(second.Connected());
    ASSERT_TRUE(second.Send(Cat({B32(9), B32(0)})));
    EXPECT_EQ(144u, second.Receive(144).size());
    EXPECT_EQ(144u, Exchange(Cat({B32(9), B32(0)}), 144).size());

    // A hostile Length ends that connection only.
    ASSERT_TRUE(second.Send(Cat({B32(3), B32(0x7FFFFFFF)})));
    EXPECT_TRUE(second.ClosedByPeer());
    EXPECT_EQ(144u, Exchange(Cat({B32(9), B32(0)}), 144).size());
}
