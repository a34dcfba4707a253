// Maintenance transactions of the front end against a scripted server: the exact bytes on the
// wire (written out by hand from the message tables), the reply checks, and the log lines.
#include "FrontEndFixture.h"

#include "ClientStatus.h"

using nvtest::Bytes;

namespace
{
class MaintTest : public nvtest::FrontEndTest
{
};

TEST_F(MaintTest, ReadOfHostIdentitySendsExactMessageAndReturnsHostOrderWords)
{
    server.Expect(44,
                  {Bytes("00000004 00000034"),
                   Bytes("00000000 ffffffff 00000000 00000000 00000060 00000001 00000004 00000004 00000002"
                         "00000000 00000000 00000000"),
                   Bytes("000500ff")});
    Connect();
    uint32_t ulValue = 0;
    EXPECT_EQ(eRioOk, client.Maint_read(0, 0xFFFFFFFFu, 0, 0x60, &ulValue, 1, 4, 2));
    EXPECT_EQ(0x000500FFu, ulValue);
    EXPECT_EQ(Bytes("00000003 00000024"
                    "00000000 ffffffff 00000000 00000000 00000060 00000001 00000004 00000004 00000002"),
              Sent());
    EXPECT_EQ("Maint_read ffffffff 2 0 60 4 # 500ff Succeeded\n", Log());
}

TEST_F(MaintTest, ReadCutsDestIDToTransportSizeButNotTheHostID)
{
    // Small transport: 0x1234 goes as 0x34; the echo must carry what was sent.
    server.Expect(44,
                  {Bytes("00000004 00000032"),
                   Bytes("00000000 00000034 05000000 00000000 00000014 00000001 00000002 00000002 00000001"
                         "00000000 00000000 00000000"),
                   Bytes("0810")});
    Connect();
    uint16_t wValue = 0;
    EXPECT_EQ(eRioOk, client.Maint_read(0, 0x1234, 5, 0x14, &wValue, 1, 2, 1));
    EXPECT_EQ(0x0810, wValue);
    const auto sent = Sent();
    ASSERT_EQ(44u, sent.size());
    EXPECT_EQ(Bytes("00000000 00000034 05000000"), std::vector<uint8_t>(sent.begin() + 8, sent.begin() + 20));
    // The maintenance read's head gives the true byte count of a 2-byte word.
    EXPECT_EQ("Maint_read 1234 1 5 14 2 # 810 Succeeded\n", Log());
}

TEST_F(MaintTest, ReadWithLargeTransportKeepsSixteenBitsAndSetsTheFlag)
{
    SetPreferenceOverride(QStringLiteral("Preferences"), QStringLiteral("DefaultDestIDSize"),
                          QStringLiteral("16"));
    server.Expect(44,
                  {Bytes("00000004 00000031"),
                   Bytes("00000000 00001234 00000000 00000000 00000000 00000001 00000001 00000001 00000002"
                         "00000000 00000000 00000000"),
                   Bytes("ab")});
    Connect();
    uint8_t uchValue = 0;
    EXPECT_EQ(eRioOk, client.Maint_read(0, 0x51234, 0, 0, &uchValue, 1, 1, 2));
    EXPECT_EQ(0xAB, uchValue);
    const auto sent = Sent();
    EXPECT_EQ(Bytes("00000001 00001234"), std::vector<uint8_t>(sent.begin() + 8, sent.begin() + 16));
}

TEST_F(MaintTest, ReadOfZeroWordsExpectsReplyOfLength48)
{
    server.Expect(44,
                  {Bytes("00000004 00000030"),
                   Bytes("00000000 ffffffff 00000000 00000000 00000000 00000000 00000004 00000004 00000002"
                         "00000000 00000000 00000000")});
    Connect();
    uint32_t ulValue = 0x55;
    EXPECT_EQ(eRioOk, client.Maint_read(0, 0xFFFFFFFFu, 0, 0, &ulValue, 0, 4, 2));
    EXPECT_EQ(0x55u, ulValue);
}

TEST_F(MaintTest, ReadWithServerStatusStillConsumesItsDataSoTheNextTransactionWorks)
{
    const auto reply = [](const char* pszStatus, const char* pszData)
    {
        return std::vector<std::vector<uint8_t>>{
            Bytes("00000004 00000034"),
            Bytes(
                std::string("00000000 00000007 02000000 00000000 00000100 00000001 00000004 00000004 00000002"
                            "00000000 00000000") +
                pszStatus),
            Bytes(pszData)};
    };
    server.Expect(44, reply("fffffeca", "cafef00d")); // -310
    server.Expect(44, reply("00000000", "00000042"));
    Connect();
    uint32_t ulValue = 0;
    EXPECT_EQ(-310, client.Maint_read(0, 7, 2, 0x100, &ulValue, 1, 4, 2));
    EXPECT_EQ(eRioOk, client.Maint_read(0, 7, 2, 0x100, &ulValue, 1, 4, 2));
    EXPECT_EQ(0x42u, ulValue);
    EXPECT_EQ("Maint_read 7 2 2 100 4 # Failed -310\nMaint_read 7 2 2 100 4 # 42 Succeeded\n", Log());
}

TEST_F(MaintTest, TimedReadHandsBackTheServersStamps)
{
    server.Expect(44,
                  {Bytes("00000004 00000034"),
                   Bytes("00000000 ffffffff 00000000 00001000 00000060 00000001 00000004 00000004 00000002"
                         "000003e8 00002000 00000000"),
                   Bytes("00000001")});
    Connect();
    uint32_t ulValue = 0, ulElapsed = 0, ulTick = 0;
    EXPECT_EQ(eRioOk, client.Maint_read(0, 0xFFFFFFFFu, 0, 0x60, &ulValue, 1, 4, 2, true, 0x1000, &ulElapsed,
                                        &ulTick));
    EXPECT_EQ(1000u, ulElapsed);
    EXPECT_EQ(0x2000u, ulTick);
    const auto sent = Sent();
    EXPECT_EQ(1, sent[8 + 11]);
}

// Broken replies: each gives its status, is logged as a failure, and leaves no half state in
// the client (the stream itself stays where it is, as there is no resynchronisation).
struct SBrokenReply
{
    const char* pszName;
    std::vector<std::vector<uint8_t>> answer;
    bool bHangUp;
    int32_t nStatus;
};

// Names the case in test output instead of dumping its bytes.
void PrintTo(const SBrokenReply& c, std::ostream* pStream)
{
    *pStream << c.pszName;
}

class BrokenReadReplyTest : public nvtest::FrontEndTest, public ::testing::WithParamInterface<SBrokenReply>
{
};

TEST_P(BrokenReadReplyTest, GivesItsStatus)
{
    server.Expect(44, GetParam().answer, GetParam().bHangUp);
    Connect();
    uint32_t ulValue = 0;
    const int32_t nStatus = client.Maint_read(0, 9, 1, 0x60, &ulValue, 1, 4, 2);
    EXPECT_EQ(GetParam().nStatus, nStatus);
    EXPECT_EQ("Maint_read 9 2 1 60 4 # Failed " + std::to_string(GetParam().nStatus) + "\n", Log());
}

const char* const kGoodBody =
    "00000000 00000009 01000000 00000000 00000060 00000001 00000004 00000004 00000002"
    "00000000 00000000 00000000";

INSTANTIATE_TEST_SUITE_P(
    Replies, BrokenReadReplyTest,
    ::testing::Values(
        SBrokenReply{"Silence", {}, false, eRioReceiveReadFailed},
        SBrokenReply{"HangUp", {}, true, eRioReceiveReadFailed},
        SBrokenReply{"WrongId",
                     {Bytes("00000006 00000034"), Bytes(kGoodBody), Bytes("00000000")},
                     false,
                     eRioIncorrectResponse},
        SBrokenReply{"WrongLength",
                     {Bytes("00000004 00000038"), Bytes(kGoodBody), Bytes("00000000")},
                     false,
                     eRioIncorrectResponse},
        SBrokenReply{"ShortHeader", {Bytes("00000004")}, false, eRioIncorrectResponse},
        SBrokenReply{"ShortBody",
                     {Bytes("00000004 00000034"), Bytes("00000000 00000009")},
                     false,
                     eRioIncorrectResponse},
        SBrokenReply{"WrongDestEcho",
                     {Bytes("00000004 00000034"),
                      Bytes("00000000 0000000a 01000000 00000000 00000060 00000001 00000004 00000004 00000002"
                            "00000000 00000000 00000000"),
                      Bytes("00000000")},
                     false,
                     eRioResponseMismatch},
        SBrokenReply{"WrongOffsetEcho",
                     {Bytes("00000004 00000034"),
                      Bytes("00000000 00000009 01000000 00000000 00000064 00000001 00000004 00000004 00000002"
                            "00000000 00000000 00000000"),
                      Bytes("00000000")},
                     false,
                     eRioResponseMismatch},
        SBrokenReply{"WrongWordCountEcho",
                     {Bytes("00000004 00000034"),
                      Bytes("00000000 00000009 01000000 00000000 00000060 00000002 00000004 00000004 00000002"
                            "00000000 00000000 00000000"),
                      Bytes("00000000")},
                     false,
                     eRioIncorrectResponse},
        SBrokenReply{
            "MissingData", {Bytes("00000004 00000034"), Bytes(kGoodBody)}, false, eRioReceiveReadFailed}),
    [](const auto& info) { return std::string(info.param.pszName); });

TEST_F(MaintTest, DroppedConnectionIsReportedWithTheServersText)
{
    server.Expect(44, {}, true);
    Connect();
    uint32_t ulValue = 0;
    EXPECT_EQ(eRioReceiveReadFailed, client.Maint_read(0, 9, 1, 0x60, &ulValue, 1, 4, 2));
    ASSERT_EQ(1, ui.messages.size());
    EXPECT_TRUE(
        ui.messages[0].startsWith(QStringLiteral("Norvanta Server has dropped the connection.\nError is ")));
}

TEST_F(MaintTest, WriteSendsHeaderBodyAndDataAndLeavesTheBufferAsItWas)
{
    server.Expect(
        48, {Bytes("00000006 00000024"),
             Bytes("00000000 00001234 03000000 0000006c 00000002 00000004 00000004 00000002 00000000")});
    Connect();
    uint32_t aulWords[2] = {0xDEADBEEFu, 1};
    EXPECT_EQ(eRioOk, client.Maint_write(0, 0x1234, 3, 0x6C, aulWords, 2, 4, 2));
    EXPECT_EQ(0xDEADBEEFu, aulWords[0]);
    EXPECT_EQ(1u, aulWords[1]);
    // The write does not cut the DestID: 0x1234 goes as it is with small transport.
    EXPECT_EQ(Bytes("00000005 00000028"
                    "00000000 00001234 03000000 0000006c 00000002 00000004 00000004 00000002"
                    "deadbeef 00000001"),
              Sent());
    EXPECT_EQ("Maint_write 1234 2 3 6c 8 deadbeef 1 # Succeeded\n", Log());
}

TEST_F(MaintTest, WriteOfBytesLogsFourBytesPerWordAndFailureLeavesWordsSwapped)
{
    server.Expect(
        42, {Bytes("00000006 00000024"),
             Bytes("00000000 00000001 00000000 00000010 00000001 00000002 00000002 00000002 ffffffed")});
    Connect();
    uint16_t wWord = 0x1234;
    EXPECT_EQ(-19 /* status from the target */, client.Maint_write(0, 1, 0, 0x10, &wWord, 1, 2, 2));
    EXPECT_EQ(0x3412, wWord);
    EXPECT_EQ("Maint_write 1 2 0 10 4 1234 # Failed -19\n", Log());
}

TEST_F(MaintTest, WriteReplyEchoesAreChecked)
{
    server.Expect(
        44, {Bytes("00000006 00000024"),
             Bytes("00000000 00000001 00000000 00000020 00000001 00000004 00000004 00000002 00000000")});
    Connect();
    uint32_t ulWord = 5;
    EXPECT_EQ(eRioResponseMismatch, client.Maint_write(0, 1, 0, 0x10, &ulWord, 1, 4, 2));
}

TEST_F(MaintTest, NothingIsLoggedWhenLoggingIsOff)
{
    EnableLogging(false);
    server.Expect(44,
                  {Bytes("00000004 00000034"),
                   Bytes("00000000 ffffffff 00000000 00000000 00000060 00000001 00000004 00000004 00000002"
                         "00000000 00000000 00000000"),
                   Bytes("00000001")});
    Connect();
    uint32_t ulValue = 0;
    EXPECT_EQ(eRioOk, client.Maint_read(0, 0xFFFFFFFFu, 0, 0x60, &ulValue, 1, 4, 2));
    EXPECT_EQ("", Log());
}

TEST_F(MaintTest, NotConnectedIsLoggedAndNoLinkReadsFailWithoutEntry)
{
    CTargetLink closed;
    client.SetLink(&closed);
    uint32_t ulValue = 0;
    EXPECT_EQ(eRioNotConnected, client.Maint_read(0, 1, 0, 0, &ulValue, 1, 4, 2));
    EXPECT_EQ(eRioNotConnected, client.Maint_write(0, 1, 0, 0, &ulValue, 1, 4, 2));
    closed.eKind = eLinkNone;
    EXPECT_EQ(eRioNullSocketRead, client.Maint_read(0, 1, 0, 0, &ulValue, 1, 4, 2));
    EXPECT_EQ(eRioOk, client.Maint_write(0, 1, 0, 0, &ulValue, 1, 4, 2));
    EXPECT_EQ("Maint_read 1 2 0 0 4 # Failed -11\n"
              "Maint_write 1 2 0 0 4 0 # Failed -11\n"
              "Maint_read 1 2 0 0 4 # "
              "Maint_write 1 2 0 0 4 0 # Succeeded\n",
              Log());
    client.SetLink(nullptr);
}
} // namespace

namespace
{
// Replies of random bytes, some behind a well-formed header so the body checks are reached too:
// every one ends in a status, without a hang or a crash, and the client is ready for the next
// connection.
TEST(MaintGarbage, RandomRepliesAlwaysEndInAStatus)
{
    nvtest::CRecordingUserInterface ui;
    const SLinkSettings saved = LinkSettings();
    LinkSettings().ulWaitMilliseconds = 200;
    uint32_t ulSeed = 12345;
    const auto next = [&ulSeed]()
    {
        ulSeed = ulSeed * 1103515245u + 12345u;
        return (ulSeed >> 16) & 0x7FFF;
    };
    for (int nRound = 0; nRound < 60; ++nRound)
    {
        std::vector<uint8_t> reply(next() % 80);
        for (uint8_t& b : reply)
        {
            b = static_cast<uint8_t>(next());
        }
        if (nRound % 2 == 0 && reply.size() >= 8)
        {
            const auto header = Bytes("00000004 00000034");
            std::copy(header.begin(), header.end(), reply.begin());
        }
        nvtest::CScriptedServer server;
        server.Expect(44, {reply}, true);
        LinkSettings().wServerPort = server.Start();
        CTargetLink link;
        ASSERT_TRUE(link.Open(eLinkTCP, 0x7F000001u));
        CTargetClient::Instance().SetLink(&link);
        uint32_t ulValue = 0;
        const int32_t nStatus = CTargetClient::Instance().Maint_read(0, 9, 1, 0x60, &ulValue, 1, 4, 2);
        EXPECT_TRUE(nStatus == eRioIncorrectResponse || nStatus == eRioReceiveReadFailed ||
                    nStatus == eRioResponseMismatch)
            << "round " << nRound << " status " << nStatus;
        link.Close();
        CTargetClient::Instance().SetLink(nullptr);
        server.Finish();
    }
    LinkSettings() = saved;
}
} // namespace
