// The link, the opening of a target, the known-target list and its search, the direct-link
// branches of the front end, and the HAL adapter.
#include "FrontEndFixture.h"

#include "ClientStatus.h"
#include "HalWrappers.h"
#include "NVXLHal.h"
#include "TargetConnection.h"
#include "TargetList.h"

#include <arpa/inet.h>
#include <chrono>
#include <cstdlib>
#include <cstring>
#include <map>
#include <netinet/in.h>
#include <poll.h>
#include <sys/socket.h>
#include <thread>
#include <unistd.h>

using nvtest::Bytes;

namespace
{
// The identity record of a server, as it stands in the message table.
std::vector<uint8_t> IdentityRecord(const char* pszVersion, const char* pszServer)
{
    std::vector<uint8_t> record =
        Bytes(std::string(pszVersion) + " 80ab0038 00050105 00000001 01000000 00000004" + pszServer +
              " 00000001 00000002 00000000");
    record.resize(136, 0);
    return record;
}

class ConnectionTest : public nvtest::FrontEndTest
{
protected:
    CTargetConnection connection;
};

TEST_F(ConnectionTest, OpensServerReadsIdentityAndCapabilities)
{
    CServerCaps::Instance() = CServerCaps{};
    server.Expect(8, {Bytes("0000000a 00000088"), IdentityRecord("20071021", "0208 0000")});
    std::vector<uint8_t> caps = Bytes("000003f3");
    caps.resize(128, 0);
    server.Expect(8, {Bytes("00000022 00000080"), caps});
    server.Expect(8); // the closure message
    LinkSettings().wServerPort = server.Start();
    ASSERT_TRUE(connection.OpenTarget(eConnInternetTCP, 0x7F000001u));
    EXPECT_EQ(QStringLiteral("127. 0. 0. 1"), connection.TargetName());
    const SServerInfo& info = connection.ServerInfo();
    EXPECT_EQ(0x80AB, info.wDeviceID);
    EXPECT_EQ(0x0038, info.wVendorID);
    EXPECT_EQ(5, info.wShortDestID);
    EXPECT_EQ(0x105, info.wLongDestID);
    EXPECT_EQ(4u, info.ulNumLocalPorts);
    EXPECT_EQ(0x3F3u, connection.Capabilities());
    EXPECT_TRUE(ui.messages.isEmpty());
    EXPECT_EQ(
        QStringList({"Processor\tNorvanta Simulator", "OS\tNorvanta Simulator", "Server Version\t2.8",
                     "Driver Version\t1.2", "Interface Version\t20071021", "Memory Read\tSupported",
                     "Memory Write\tSupported", "Doorbell Transmission\tSupported",
                     "Doorbell Reception\tSupported", "Message Transmission\tSupported",
                     "Message Reception\tSupported", "Flash Read\tSupported", "Flash Write\tSupported"}),
        ServerInfoLines(info));
    connection.Disconnect();
    EXPECT_FALSE(connection.IsConnected());
    EXPECT_EQ(Bytes("00000009 00000000 00000021 00000000 00000007 00000000"), server.Finish());
}

TEST_F(ConnectionTest, OldServerIsWarnedAboutAndNeverAskedForCapabilities)
{
    std::vector<uint8_t> record = IdentityRecord("20070101", "0207 0000");
    record[36] = 0;
    record[37] = 9; // an OS type outside the list
    server.Expect(8, {Bytes("0000000a 00000088"), record});
    server.Expect(8);
    LinkSettings().wServerPort = server.Start();
    ASSERT_TRUE(connection.OpenTarget(eConnEthernetTCP, 0x7F000001u));
    EXPECT_EQ(0u, connection.Capabilities());
    ASSERT_EQ(1, ui.messages.size());
    EXPECT_EQ(
        QStringLiteral("Warning.  You are connecting to a server that is not fully compatible with this "
                       "version of Norvanta.\r\n\r\nServer Version: 2.7    Minimum Required Version: "
                       "2.8\r\n\r\nSome Norvanta features may not be supported by the server."),
        ui.messages[0]);
    EXPECT_EQ(QStringLiteral("OS\tUknown type 9\n"), ServerInfoLines(connection.ServerInfo())[1]);
    connection.Disconnect();
    EXPECT_EQ(Bytes("00000009 00000000 00000007 00000000"), server.Finish());
}

TEST_F(ConnectionTest, ServerThatNeverAnswersTheCapabilityRequestStillConnects)
{
    server.Expect(8, {Bytes("0000000a 00000088"), IdentityRecord("20071021", "0208 0000")});
    server.Expect(8);
    server.Expect(8);
    LinkSettings().wServerPort = server.Start();
    ASSERT_TRUE(connection.OpenTarget(eConnInternetTCP, 0x7F000001u));
    EXPECT_EQ(0u, connection.Capabilities());
    connection.Disconnect();
}

TEST_F(ConnectionTest, RefusedConnectionShowsTheServerNotRunningText)
{
    // A bound socket that never listens: connecting to its port is refused.
    const int nBound = ::socket(AF_INET, SOCK_STREAM, 0);
    sockaddr_in address{};
    address.sin_family = AF_INET;
    address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    ASSERT_EQ(0, ::bind(nBound, reinterpret_cast<sockaddr*>(&address), sizeof(address)));
    socklen_t nSize = sizeof(address);
    ::getsockname(nBound, reinterpret_cast<sockaddr*>(&address), &nSize);
    LinkSettings().wServerPort = ntohs(address.sin_port);
    EXPECT_FALSE(connection.OpenTarget(eConnInternetTCP, 0x7F000001u));
    ::close(nBound);
    ASSERT_EQ(1, ui.messages.size());
    EXPECT_EQ(
        QStringLiteral("Unable to connect to the Norvanta Server.\n\nThe server is either not currently "
                       "running, or it is busy with another\nNorvanta Client connection."),
        ui.messages[0]);
    EXPECT_FALSE(connection.IsConnected());
    EXPECT_FALSE(connection.OpenTarget(10, 0x7F000001u));
}

TEST_F(ConnectionTest, GarbageIdentityFailsWithItsTextAndTheNextConnectionWorks)
{
    server.Expect(8, {Bytes("0000000a 00000010"), Bytes("00000000 00000000 00000000 00000000")});
    LinkSettings().wServerPort = server.Start();
    EXPECT_FALSE(connection.OpenTarget(eConnInternetTCP, 0x7F000001u));
    EXPECT_EQ(QStringList({QStringLiteral("Incorrect response")}), ui.messages);
    EXPECT_FALSE(connection.IsConnected());
    server.Finish();

    nvtest::CScriptedServer second;
    second.Expect(8, {Bytes("0000000a 00000088"), IdentityRecord("20070101", "0208 0000")});
    second.Expect(8);
    LinkSettings().wServerPort = second.Start();
    EXPECT_TRUE(connection.OpenTarget(eConnInternetTCP, 0x7F000001u));
    connection.Disconnect();
    second.Finish();
}

TEST_F(ConnectionTest, LateCapabilityReplyDoesNotSpoilTheNextTransaction)
{
    // The extended identity is answered after the wait limit, when the next request is out.
    LinkSettings().ulWaitMilliseconds = 500;
    server.Expect(8, {Bytes("0000000a 00000088"), IdentityRecord("20071021", "0208 0000")});
    std::vector<uint8_t> caps = Bytes("000003f3");
    caps.resize(128, 0);
    server.Expect(8, {Bytes("00000022 00000080"), caps}, false, 750);
    server.Expect(44,
                  {Bytes("00000004 00000034"),
                   Bytes("00000000 ffffffff 00000000 00000000 00000060 00000001 00000004 00000004 00000002"
                         "00000000 00000000 00000000"),
                   Bytes("00050105")});
    server.Expect(8);
    LinkSettings().wServerPort = server.Start();
    ASSERT_TRUE(connection.OpenTarget(eConnInternetTCP, 0x7F000001u));
    EXPECT_EQ(0u, connection.Capabilities());
    uint32_t ulValue = 0;
    EXPECT_EQ(eRioOk, CTargetClient::Instance().Maint_read(0, 0xFFFFFFFFu, 0, 0x60, &ulValue, 1, 4, 2));
    EXPECT_EQ(0x00050105u, ulValue);
    EXPECT_TRUE(ui.messages.isEmpty());
    connection.Disconnect();
}

// A maintenance read whose reply, or the rest of it, comes after the wait limit, followed by the
// same read again: the second must get its own answer, not the first one's.
struct SLateSplit
{
    const char* pszName;
    size_t nEarly;   // bytes of the first reply that come in time
    int32_t nStatus; // what the first read gives
};

void PrintTo(const SLateSplit& c, std::ostream* pStream)
{
    *pStream << c.pszName;
}

class LateReplyTest : public nvtest::FrontEndTest, public ::testing::WithParamInterface<SLateSplit>
{
protected:
    static std::vector<uint8_t> ReadReply(const char* pszValue)
    {
        return Bytes(
            std::string("00000004 00000034"
                        "00000000 ffffffff 00000000 00000000 00000060 00000001 00000004 00000004 00000002"
                        "00000000 00000000 00000000") +
            pszValue);
    }
};

TEST_P(LateReplyTest, NextReadGetsItsOwnAnswer)
{
    LinkSettings().ulWaitMilliseconds = 500;
    const std::vector<uint8_t> first = ReadReply("11111111");
    const std::vector<uint8_t> early(first.begin(), first.begin() + static_cast<long>(GetParam().nEarly));
    const std::vector<uint8_t> late(first.begin() + static_cast<long>(GetParam().nEarly), first.end());
    server.Expect(44, early.empty() ? std::vector<std::vector<uint8_t>>{}
                                    : std::vector<std::vector<uint8_t>>{early});
    server.Expect(0, {late}, false, 750);
    server.Expect(44, {ReadReply("22222222")});
    Connect();
    uint32_t ulValue = 0;
    EXPECT_EQ(GetParam().nStatus, client.Maint_read(0, 0xFFFFFFFFu, 0, 0x60, &ulValue, 1, 4, 2));
    EXPECT_EQ(eRioOk, client.Maint_read(0, 0xFFFFFFFFu, 0, 0x60, &ulValue, 1, 4, 2));
    EXPECT_EQ(0x22222222u, ulValue);
    EXPECT_EQ("Maint_read ffffffff 2 0 60 4 # Failed " + std::to_string(GetParam().nStatus) +
                  "\nMaint_read ffffffff 2 0 60 4 # 22222222 Succeeded\n",
              Log());
}

INSTANTIATE_TEST_SUITE_P(Splits, LateReplyTest,
                         ::testing::Values(SLateSplit{"WholeReply", 0, eRioReceiveReadFailed},
                                           SLateSplit{"AfterHeader", 8, eRioReceiveReadFailed},
                                           SLateSplit{"InsideHeader", 5, eRioIncorrectResponse},
                                           SLateSplit{"BeforeData", 56, eRioReceiveReadFailed}),
                         [](const auto& info) { return std::string(info.param.pszName); });

TEST_F(LateReplyTest, ReplyTheServerNeverSendsCostsOneMoreReadAtMost)
{
    // The first read is never answered. The second one's answer is taken for the late one and
    // dropped; from the third on the reads are in step again.
    LinkSettings().ulWaitMilliseconds = 200;
    server.Expect(44);
    server.Expect(44, {ReadReply("22222222")});
    server.Expect(44, {ReadReply("33333333")});
    server.Expect(44, {ReadReply("44444444")});
    Connect();
    uint32_t ulValue = 0;
    EXPECT_EQ(eRioReceiveReadFailed, client.Maint_read(0, 0xFFFFFFFFu, 0, 0x60, &ulValue, 1, 4, 2));
    EXPECT_EQ(eRioReceiveReadFailed, client.Maint_read(0, 0xFFFFFFFFu, 0, 0x60, &ulValue, 1, 4, 2));
    EXPECT_EQ(eRioOk, client.Maint_read(0, 0xFFFFFFFFu, 0, 0x60, &ulValue, 1, 4, 2));
    EXPECT_EQ(0x33333333u, ulValue);
    EXPECT_EQ(eRioOk, client.Maint_read(0, 0xFFFFFFFFu, 0, 0x60, &ulValue, 1, 4, 2));
    EXPECT_EQ(0x44444444u, ulValue);
}

TEST_F(LateReplyTest, WrongLengthIsNoLateReplyAndStaysUnread)
{
    // Only a timeout makes a reply late. A reply of the right kind with a Length of its own is a
    // wrong reply: it gives -15 and the stream is left where it is.
    LinkSettings().ulWaitMilliseconds = 200;
    std::vector<uint8_t> wrong = ReadReply("11111111 11111111");
    wrong[7] = 0x38;
    server.Expect(44, {wrong});
    server.Expect(44, {ReadReply("22222222")});
    Connect();
    uint32_t ulValue = 0;
    EXPECT_EQ(eRioIncorrectResponse, client.Maint_read(0, 0xFFFFFFFFu, 0, 0x60, &ulValue, 1, 4, 2));
    EXPECT_EQ(eRioIncorrectResponse, client.Maint_read(0, 0xFFFFFFFFu, 0, 0x60, &ulValue, 1, 4, 2));
}

TEST_F(LateReplyTest, ErrorListKeepsWhatTheTextHoldsAndRefusesAnEndlessCount)
{
    // 300 records: all are read, so the stream stays in step, but only the text's room is kept.
    std::vector<uint8_t> records;
    for (uint32_t i = 0; i < 300; ++i)
    {
        std::vector<uint8_t> record(132, 0);
        PutBE32(record.data(), i);
        std::memcpy(record.data() + 4, "Response timeout", 16);
        records.insert(records.end(), record.begin(), record.end());
    }
    std::vector<uint8_t> head = Bytes("00000014 00009ab8 0000012c 00000000");
    server.Expect(8, {head, records});
    // A count no error log has, followed by records without end.
    std::vector<uint8_t> endless = Bytes("00000014 00000008 ffffffff 00000000");
    endless.insert(endless.end(), records.begin(), records.end());
    server.Expect(8, {endless});
    Connect();
    char szText[100];
    std::memset(szText, '#', sizeof(szText));
    EXPECT_EQ(eRioOk, client.GetRioErrors(szText, sizeof(szText)));
    const std::string strFull = "The following RapidIO errors were detected:\n[0x00000000] Response timeout\n"
                                "[0x00000001] Response timeout\n[0x00000002] Response timeout";
    EXPECT_EQ(strFull.substr(0, 99), std::string(szText));
    std::strcpy(szText, "unchanged");
    const auto start = std::chrono::steady_clock::now();
    EXPECT_EQ(eRioIncorrectResponse, client.GetRioErrors(szText, sizeof(szText)));
    EXPECT_LT(std::chrono::steady_clock::now() - start, std::chrono::milliseconds(200));
    EXPECT_STREQ("unchanged", szText);
}

// A server on a UDP port of 127.0.0.1 that answers one maintenance read, after two others have
// sent a forged answer to the client: one from 127.0.0.2 on the server's port, one from the
// server's address on another port.
class CUdpServerWithForgers
{
public:
    CUdpServerWithForgers()
    {
        m_nServer = Bound(0x7F000001u, 0);
        sockaddr_in address{};
        socklen_t nSize = sizeof(address);
        ::getsockname(m_nServer, reinterpret_cast<sockaddr*>(&address), &nSize);
        wPort = ntohs(address.sin_port);
        m_nOtherAddress = Bound(0x7F000002u, wPort);
        m_nOtherPort = Bound(0x7F000001u, 0);
        m_thread = std::thread([this] { Run(); });
    }
    ~CUdpServerWithForgers()
    {
        m_thread.join();
        ::close(m_nServer);
        ::close(m_nOtherAddress);
        ::close(m_nOtherPort);
    }
    uint16_t wPort = 0;

private:
    static int Bound(uint32_t ulAddress, uint16_t wBindPort)
    {
        const int nSocket = ::socket(AF_INET, SOCK_DGRAM, 0);
        sockaddr_in address{};
        address.sin_family = AF_INET;
        address.sin_port = htons(wBindPort);
        address.sin_addr.s_addr = htonl(ulAddress);
        ::bind(nSocket, reinterpret_cast<sockaddr*>(&address), sizeof(address));
        return nSocket;
    }
    static void SendReply(int nSocket, const sockaddr_in& to, const char* pszValue)
    {
        // Header, body and data as datagrams of their own, as a server sends them.
        const std::vector<std::vector<uint8_t>> pieces = {
            Bytes("00000004 00000034"),
            Bytes("00000000 ffffffff 00000000 00000000 00000060 00000001 00000004 00000004 00000002"
                  "00000000 00000000 00000000"),
            Bytes(pszValue)};
        for (const auto& piece : pieces)
        {
            ::sendto(nSocket, piece.data(), piece.size(), 0, reinterpret_cast<const sockaddr*>(&to),
                     sizeof(to));
        }
    }
    void Run()
    {
        sockaddr_in client{};
        for (int i = 0; i < 2; ++i)
        {
            pollfd wait{m_nServer, POLLIN, 0};
            if (::poll(&wait, 1, 5000) <= 0)
            {
                return;
            }
            uint8_t abBuffer[64];
            socklen_t nSize = sizeof(client);
            if (::recvfrom(m_nServer, abBuffer, sizeof(abBuffer), 0, reinterpret_cast<sockaddr*>(&client),
                           &nSize) <= 0)
            {
                return;
            }
        }
        SendReply(m_nOtherAddress, client, "0bad0bad");
        SendReply(m_nOtherPort, client, "0badf00d");
        SendReply(m_nServer, client, "00050105");
    }
    int m_nServer = -1;
    int m_nOtherAddress = -1;
    int m_nOtherPort = -1;
    std::thread m_thread;
};

TEST_F(LateReplyTest, UdpLinkTakesAnswersFromTheServerOnly)
{
    CUdpServerWithForgers peer;
    LinkSettings().wServerPort = peer.wPort;
    LinkSettings().wUdpLocalPort = 0;
    CTargetLink link;
    ASSERT_TRUE(link.Open(eLinkUDP, 0x7F000001u));
    client.SetLink(&link);
    uint32_t ulValue = 0;
    EXPECT_EQ(eRioOk, client.Maint_read(0, 0xFFFFFFFFu, 0, 0x60, &ulValue, 1, 4, 2));
    EXPECT_EQ(0x00050105u, ulValue);
    client.SetLink(nullptr);
    link.Close();
    EXPECT_TRUE(ui.messages.isEmpty());
}

TEST(TargetLink, OpenOnConnectedLinkFailsAndReceiveOfNothingSucceeds)
{
    nvtest::CRecordingUserInterface ui;
    CTargetLink link;
    link.eKind = eLinkNone; // counts as connected
    EXPECT_TRUE(link.IsConnected());
    EXPECT_FALSE(link.Open(eLinkTCP, 0x7F000001u));
    EXPECT_EQ(eLinkNone, link.eKind);
    uint32_t ulLength = 0;
    EXPECT_TRUE(link.Receive(nullptr, &ulLength, 0, 0));
    link.eKind = eLinkJTAG;
    EXPECT_FALSE(link.Send("x", 1));
    EXPECT_TRUE(ui.messages.isEmpty());
}

TEST(TargetLink, DirectLinksFailToOpenWithTheirLibrariesText)
{
    nvtest::CRecordingUserInterface ui;
    CTargetConnection connection;
    EXPECT_FALSE(connection.OpenTarget(eConnTsi721Driver, 0));
    // Pod 2 is the pod library, which this run names none of.
    ::unsetenv("NORVANTA_I2C_POD");
    EXPECT_FALSE(connection.OpenTarget(eConnI2C7Bit, 0x00500201));
    ASSERT_EQ(2, ui.messages.size());
    EXPECT_TRUE(ui.messages[0].startsWith(QStringLiteral("The Tsi721 device driver could not be loaded.")));
    EXPECT_EQ(QStringLiteral("libMPSSE.dll was not loaded."), ui.messages[1]);
}

// A register pod of a direct link that keeps its registers in a map.
class CFakePod final : public IRegisterPod
{
public:
    bool ReadRegister(uint32_t ulOffset, uint32_t* pulValue) override
    {
        if (bFail)
        {
            return false;
        }
        *pulValue = registers[ulOffset];
        return true;
    }
    bool WriteRegister(uint32_t ulOffset, uint32_t ulValue) override
    {
        registers[ulOffset] = ulValue;
        return !bFail;
    }
    void Close() override {}
    std::map<uint32_t, uint32_t> registers;
    bool bFail = false;
};

class CFakeBridge final : public ITsi721Bridge
{
public:
    bool PciCfgRead(uint32_t ulOffset, uint32_t* pulValue) override
    {
        *pulValue = 0xC0000000u | ulOffset;
        return true;
    }
    bool RegisterRead(uint32_t ulOffset, uint32_t* pulValue) override
    {
        *pulValue = registers[ulOffset];
        return true;
    }
    bool RegisterWrite(uint32_t ulOffset, uint32_t ulValue) override
    {
        registers[ulOffset] = ulValue;
        return true;
    }
    bool SrioMaintRead(uint32_t ulDestID, uint8_t uchHop, uint32_t ulOffset, uint32_t* pulValue) override
    {
        *pulValue = (ulDestID << 16) | (uchHop << 8) | (ulOffset & 0xFF);
        return true;
    }
    bool SrioMaintWrite(uint32_t, uint8_t, uint32_t ulOffset, uint32_t ulValue) override
    {
        fabric[ulOffset] = ulValue;
        return true;
    }
    bool DataRead(uint32_t, uint32_t, uint32_t, uint32_t ulFlags, void*, uint32_t*) override
    {
        ulLastFlags = ulFlags;
        return true;
    }
    bool DataWrite(uint32_t, uint32_t, uint32_t, uint32_t ulFlags, const void*, uint32_t*) override
    {
        ulLastFlags = ulFlags;
        return true;
    }
    bool GetDestIDs(uint32_t* pulIDs) override
    {
        *pulIDs = 0x00050105;
        return true;
    }
    void SetDestIDSize(bool) override {}
    void Close() override {}
    std::map<uint32_t, uint32_t> registers;
    std::map<uint32_t, uint32_t> fabric;
    uint32_t ulLastFlags = 0;
};

class DirectLinkTest : public nvtest::FrontEndTest
{
};

TEST_F(DirectLinkTest, PodLinksReadAndWriteFourByteWordsOnly)
{
    CTargetLink link;
    auto pPod = std::make_unique<CFakePod>();
    CFakePod* pFake = pPod.get();
    pFake->registers[0x60] = 0x00050105;
    link.AttachPod(eLinkI2C, std::move(pPod));
    client.SetLink(&link);
    uint32_t aulWords[2] = {};
    EXPECT_EQ(eRioOk, client.Maint_read(0, 0xFFFFFFFFu, 0, 0x60, aulWords, 2, 4, 2));
    EXPECT_EQ(0x00050105u, aulWords[0]);
    uint16_t wHalf = 0;
    EXPECT_EQ(eRioI2CUnsupported, client.Maint_read(0, 0xFFFFFFFFu, 0, 0x60, &wHalf, 1, 2, 2));
    // The I2C branch of the write reports with the JTAG statuses.
    EXPECT_EQ(eRioJtagUnsupported, client.Maint_write(0, 0xFFFFFFFFu, 0, 0x60, &wHalf, 1, 2, 2));
    uint32_t ulValue = 0x12345678;
    EXPECT_EQ(eRioOk, client.Maint_write(0, 0xFFFFFFFFu, 0, 0x6C, &ulValue, 1, 4, 2));
    EXPECT_EQ(0x12345678u, pFake->registers[0x6C]);
    pFake->bFail = true;
    EXPECT_EQ(eRioI2CReadFailed, client.Maint_read(0, 0xFFFFFFFFu, 0, 0x60, aulWords, 1, 4, 2));
    EXPECT_EQ(eRioJtagWriteFailed, client.Maint_write(0, 0xFFFFFFFFu, 0, 0x60, &ulValue, 1, 4, 2));
    // Server messages have no way out of a direct link: the send fails.
    uint8_t abData[4];
    EXPECT_EQ(eRioSendDataReadFailed, client.Nread(0, 1, 0, 0, 0, 2, abData, 4));
    EXPECT_EQ(eRioNullSocketRead, client.MemRead(0, 0, 1, 4, abData));
    client.SetLink(nullptr);
}

TEST_F(DirectLinkTest, BridgeRoutesReadsByOffsetAndDestination)
{
    CTargetLink link;
    auto pBridge = std::make_unique<CFakeBridge>();
    CFakeBridge* pFake = pBridge.get();
    pFake->registers[0x60] = 0xAB;
    link.AttachBridge(std::move(pBridge));
    client.SetLink(&link);
    uint32_t ulValue = 0;
    EXPECT_EQ(eRioOk, client.Maint_read(0, 0xFFFFFFFFu, 0, 0x70010, &ulValue, 1, 4, 2));
    EXPECT_EQ(0xC0000010u, ulValue);
    EXPECT_EQ(eRioOk, client.Maint_read(0, 0xFFFFFFFFu, 0, 0x60, &ulValue, 1, 4, 2));
    EXPECT_EQ(0xABu, ulValue);
    EXPECT_EQ(eRioOk, client.Maint_read(0, 7, 3, 0x14, &ulValue, 1, 4, 2));
    EXPECT_EQ(0x00070314u, ulValue);
    ulValue = 5;
    EXPECT_EQ(eRioOk, client.Maint_write(0, 7, 3, 0x80000068u, &ulValue, 1, 4, 2));
    EXPECT_TRUE(pFake->fabric.empty());
    uint8_t abMemory[4] = {1, 2, 3, 4};
    EXPECT_EQ(eRioOk, client.MemRead(0, 0, 1, 4, abMemory));
    EXPECT_EQ(1, abMemory[0]);
    uint32_t ulCount = 4;
    EXPECT_EQ(eRioOk, client.NreadEx(0, 7, 2, 0, 0x100, 1, true, abMemory, &ulCount));
    EXPECT_EQ(1u | ((4u | 2u) * 4), pFake->ulLastFlags);
    EXPECT_EQ(eRioOk, client.DataWriteEx(0, 7, 1, 0, 0x100, 2, 1, false, abMemory, &ulCount));
    EXPECT_EQ(2u + 64u + 4u, pFake->ulLastFlags);
    EXPECT_EQ(eRioTsi721DataWriteFailed,
              client.DataWriteEx(0, 7, 1, 0, 0x100, 3, 1, false, abMemory, &ulCount));
    client.SetLink(nullptr);
}

TEST_F(DirectLinkTest, WideAddressFormsFailOnOtherLinks)
{
    server.Expect(0);
    Connect();
    uint8_t abData[4] = {};
    uint32_t ulCount = 4;
    EXPECT_EQ(eRioNullSocketRead, client.NreadEx(0, 7, 0, 0, 0, 0, false, abData, &ulCount));
    EXPECT_EQ(eRioNullSocketWrite, client.DataWriteEx(0, 7, 0, 0, 0, 0, 0, false, abData, &ulCount));
    EXPECT_EQ(
        "Nread 7 0 0 00000000000000000 4 # Failed -71\nSwrite 7 0 00000000000000000 4 0 0 0 0 # Failed -71\n",
        Log());
}

class AdapterTest : public nvtest::FrontEndTest
{
};

TEST_F(AdapterTest, HalReachesTheFrontEndAndStatusesAreConverted)
{
    // A device identity read and a switch port read, the second failing with a driver error.
    server.Expect(44,
                  {Bytes("00000004 00000034"),
                   Bytes("00000000 ffffffff 00000000 00000000 00000000 00000001 00000004 00000004 00000002"
                         "00000000 00000000 00000000"),
                   Bytes("80ab0038")});
    server.Expect(44,
                  {Bytes("00000004 00000034"),
                   Bytes("00000000 ffffffff 00000000 00000000 00000014 00000001 00000004 00000004 00000002"
                         "00000000 00000000 fffffecf"),
                   Bytes("00000000")});
    Connect();
    uint16_t wDevice = 0, wVendor = 0;
    EXPECT_EQ(NVXL_OK, GetDeviceAndVendor(0, 0xFFFFFFFFu, 0, &wDevice, &wVendor));
    EXPECT_EQ(0x80AB, wDevice);
    EXPECT_EQ(0x0038, wVendor);
    uint32_t ulInfo = 0;
    EXPECT_EQ(NVXL_ERR_RIO, HalGetSwitchPortInfo(0xFFFF, 0xFFFF, 0, 0xFFFFFFFFu, 0, &ulInfo));
    // A bad priority never reaches the wire.
    HalSetPriority(3);
    EXPECT_EQ(NVXL_ERR_INVALID_PARAM, HalGetSwitchPortInfo(0xFFFF, 0xFFFF, 0, 0xFFFFFFFFu, 0, &ulInfo));
    HalSetPriority(2);
    uint32_t ulWord = 0;
    EXPECT_EQ(NVXL_ERR_INVALID_PARAM, MaintRead(0, 0xFFFFFFFFu, 0, 0, &ulWord, 1, 3, 4));
    EXPECT_EQ(Bytes("00000003 00000024 00000000 ffffffff 00000000 00000000 00000000 00000001 00000004 "
                    "00000004 00000002"
                    "00000003 00000024 00000000 ffffffff 00000000 00000000 00000014 00000001 00000004 "
                    "00000004 00000002"),
              Sent());
}

TEST_F(AdapterTest, HalWriteLeavesCallersBufferAsItWasEvenWhenTheWriteFails)
{
    server.Expect(44, {}, true);
    Connect();
    const uint32_t aulWords[1] = {0x11223344};
    uint32_t aulCopy[1] = {0x11223344};
    EXPECT_EQ(-20, MaintWrite(0, 5, 0, 0x6C, aulCopy, 1, 4, 4));
    EXPECT_EQ(aulWords[0], aulCopy[0]);
}

TEST_F(AdapterTest, ArePortsTrainedReadsAllPortsInOneMessageAndStoresAtMostTheCallersCount)
{
    server.Expect(44,
                  {Bytes("00000004 00000034"),
                   Bytes("00000000 00000004 01000000 00000000 00000014 00000001 00000004 00000004 00000002"
                         "00000000 00000000 00000000"),
                   Bytes("00001003")});
    std::vector<uint8_t> status;
    for (int i = 0; i < 16; ++i)
    {
        const auto word = Bytes(i == 1 ? "00000002" : "00000001");
        status.insert(status.end(), word.begin(), word.end());
    }
    server.Expect(44,
                  {Bytes("00000004 00000070"),
                   Bytes("00000000 00000004 01000000 00000000 00000158 00000010 00000004 00000020 00000002"
                         "00000000 00000000 00000000"),
                   status});
    Connect();
    uint32_t ulNumPorts = 2;
    uint8_t abTrained[2] = {7, 7};
    EXPECT_EQ(eRioOk, client.ArePortsTrained(0xFFFF, 0xFFFF, 0, 4, 1, &ulNumPorts, abTrained));
    EXPECT_EQ(16u, ulNumPorts);
    EXPECT_EQ(0, abTrained[0]);
    EXPECT_EQ(1, abTrained[1]);
}

TEST_F(AdapterTest, I2CWriteByteGivesUpAfterTenPolls)
{
    const auto writeReply = [](const char* pszOffset)
    {
        return std::vector<std::vector<uint8_t>>{
            Bytes("00000006 00000024"), Bytes(std::string("00000000 00000004 01000000 ") + pszOffset +
                                              " 00000001 00000004 00000004 00000002 00000000")};
    };
    server.Expect(44, writeReply("000b700c"));
    server.Expect(44, writeReply("000b7000"));
    server.Expect(44, writeReply("000b7004"));
    for (int i = 0; i < 10; ++i)
    {
        server.Expect(
            44, {Bytes("00000004 00000034"),
                 Bytes("00000000 00000004 01000000 00000000 000b7004 00000001 00000004 00000004 00000002"
                       "00000000 00000000 00000000"),
                 Bytes("00010000")});
    }
    Connect();
    EXPECT_EQ(eRioFlashTimeout, client.I2CWriteByte(0, 4, 1, 0x2, 0x34, 0x5A));
    const auto sent = Sent();
    ASSERT_EQ(13u * 44u, sent.size());
    // The byte, then the command word with the address and device, then the start bit.
    EXPECT_EQ(Bytes("0000005a"), std::vector<uint8_t>(sent.begin() + 40, sent.begin() + 44));
    EXPECT_EQ(Bytes("0134020a"), std::vector<uint8_t>(sent.begin() + 84, sent.begin() + 88));
    EXPECT_EQ(Bytes("00000100"), std::vector<uint8_t>(sent.begin() + 128, sent.begin() + 132));
}

// Answers the search from two loopback addresses; the first answers twice.
class CFakeResponders
{
public:
    explicit CFakeResponders(uint16_t wReplyPort) : m_wReplyPort(wReplyPort)
    {
        m_nListen = ::socket(AF_INET, SOCK_DGRAM, 0);
        sockaddr_in address{};
        address.sin_family = AF_INET;
        address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
        ::bind(m_nListen, reinterpret_cast<sockaddr*>(&address), sizeof(address));
        socklen_t nSize = sizeof(address);
        ::getsockname(m_nListen, reinterpret_cast<sockaddr*>(&address), &nSize);
        wPort = ntohs(address.sin_port);
        m_thread = std::thread([this] { Run(); });
    }
    ~CFakeResponders()
    {
        m_thread.join();
        ::close(m_nListen);
    }
    uint16_t wPort = 0;

private:
    void Answer(uint32_t ulFrom, const std::vector<uint8_t>& datagram)
    {
        const int nSocket = ::socket(AF_INET, SOCK_DGRAM, 0);
        sockaddr_in from{};
        from.sin_family = AF_INET;
        from.sin_addr.s_addr = htonl(ulFrom);
        ::bind(nSocket, reinterpret_cast<sockaddr*>(&from), sizeof(from));
        sockaddr_in to{};
        to.sin_family = AF_INET;
        to.sin_port = htons(m_wReplyPort);
        to.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
        ::sendto(nSocket, datagram.data(), datagram.size(), 0, reinterpret_cast<sockaddr*>(&to), sizeof(to));
        ::close(nSocket);
    }
    void Run()
    {
        uint8_t abRequest[64];
        const ssize_t n = ::recv(m_nListen, abRequest, sizeof(abRequest), 0);
        if (n != 8 || GetBE32(abRequest) != NVT_IDENTIFY)
        {
            return;
        }
        std::vector<uint8_t> answer = Bytes("0000000a 00000088");
        const auto record = IdentityRecord("20071021", "0208 0000");
        answer.insert(answer.end(), record.begin(), record.end());
        Answer(0x7F000002u, answer);
        std::vector<uint8_t> wrongId = answer;
        wrongId[3] = 0x0B;
        Answer(0x7F000004u, wrongId);
        std::vector<uint8_t> second = answer;
        second[8 + 16] = 4; // ready on UDP
        second[8 + 15] = 0; // no large ID
        Answer(0x7F000003u, second);
        answer[8 + 16] = 2; // busy now
        Answer(0x7F000002u, answer);
    }
    uint16_t m_wReplyPort;
    int m_nListen = -1;
    std::thread m_thread;
};

TEST(TargetList, StoredFormRoundTripsAndIncompleteEntriesAreSkipped)
{
    STargetEntry entry;
    entry.strAddress = QStringLiteral("10.0.0.7");
    entry.strDeviceID = QStringLiteral("80ABh");
    entry.strVendorID = QStringLiteral("0038h");
    entry.strShortID = QStringLiteral("5");
    entry.strLongID = QStringLiteral("X");
    entry.strProt = QStringLiteral("UDP");
    EXPECT_EQ(QStringLiteral("10.0.0.7 80ABh 0038h 5 N 65535 1"), CTargetList::ToStoredString(entry));
    STargetEntry back;
    ASSERT_TRUE(CTargetList::FromStoredString(CTargetList::ToStoredString(entry), &back));
    EXPECT_EQ(QStringLiteral("X"), back.strLongID);
    EXPECT_TRUE(back.IsUDP());
    EXPECT_FALSE(CTargetList::FromStoredString(QStringLiteral("10.0.0.7 80ABh 0038h 5 Y 261"), &back));

    SetPreference(QStringLiteral("TargetList"), QStringLiteral("NumTargets"), 2u);
    SetPreference(QStringLiteral("TargetList"), QStringLiteral("Target0"),
                  QStringLiteral("10.0.0.7 80ABh 0038h 5 Y 261"));
    SetPreference(QStringLiteral("TargetList"), QStringLiteral("Target1"),
                  QStringLiteral("10.0.0.8 1h 2h 3 Y 4 0"));
    CTargetList list;
    list.Load();
    ASSERT_EQ(1, list.Entries().size());
    EXPECT_EQ(QStringLiteral("10.0.0.8"), list.Entries()[0].strAddress);
    EXPECT_EQ(QStringLiteral("0001h"), list.Entries()[0].strDeviceID);
    EXPECT_EQ(QStringLiteral("4"), list.Entries()[0].strLongID);
    EXPECT_FALSE(list.Changed());
}

TEST(TargetList, SearchListsEachAnsweringServerOnceAndSavesTheList)
{
    nvtest::CRecordingUserInterface ui;
    SLinkSettings saved = LinkSettings();
    // The reply port must be free: take one from the system.
    const int nProbe = ::socket(AF_INET, SOCK_DGRAM, 0);
    sockaddr_in address{};
    address.sin_family = AF_INET;
    address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    ::bind(nProbe, reinterpret_cast<sockaddr*>(&address), sizeof(address));
    socklen_t nSize = sizeof(address);
    ::getsockname(nProbe, reinterpret_cast<sockaddr*>(&address), &nSize);
    ::close(nProbe);
    LinkSettings().wReplyPort = ntohs(address.sin_port);
    CFakeResponders responders(LinkSettings().wReplyPort);
    LinkSettings().wBroadcastPort = responders.wPort;
    LinkSettings().ulBroadcastAddress = 0x7F000001u;
    LinkSettings().ulSearchMilliseconds = 500;

    CTargetList list;
    QStringList titles;
    EXPECT_TRUE(list.Search([&titles](const QString& strTitle) { titles << strTitle; }));
    EXPECT_EQ(QStringList({"Searching for target endpoints...", "Connect to Target"}), titles);
    EXPECT_EQ(QStringList({"Invalid response to NVT_IDENTIFY"}), ui.messages);
    ASSERT_EQ(2, list.Entries().size());
    const STargetEntry& first = list.Entries()[0];
    EXPECT_EQ(QStringLiteral("127.0.0.2"), first.strAddress);
    EXPECT_EQ(QStringLiteral("80ABh"), first.strDeviceID);
    EXPECT_EQ(QStringLiteral("0038h"), first.strVendorID);
    EXPECT_EQ(QStringLiteral("5"), first.strShortID);
    EXPECT_EQ(QStringLiteral("261"), first.strLongID);
    EXPECT_EQ(QStringLiteral("Busy"), first.strStatus);
    EXPECT_EQ(QStringLiteral(""), first.strProt);
    const STargetEntry& second = list.Entries()[1];
    EXPECT_EQ(QStringLiteral("X"), second.strLongID);
    EXPECT_EQ(QStringLiteral("Ready"), second.strStatus);
    EXPECT_EQ(QStringLiteral("UDP"), second.strProt);
    EXPECT_TRUE(list.Changed());
    list.SaveIfChanged();
    CTargetList reloaded;
    reloaded.Load();
    ASSERT_EQ(2, reloaded.Entries().size());
    EXPECT_EQ(QStringLiteral("127.0.0.3 80ABh 0038h 5 N 65535 1"),
              CTargetList::ToStoredString(reloaded.Entries()[1]));
    LinkSettings() = saved;
}
} // namespace
