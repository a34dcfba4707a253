// Data, message, doorbell, queue, memory, flash and error-list transactions against a scripted
// server, with their golden bytes written out by hand from the message tables.
#include "FrontEndFixture.h"

#include "ClientStatus.h"

#include <cstring>

using nvtest::Bytes;

namespace
{
class DataTest : public nvtest::FrontEndTest
{
};

TEST_F(DataTest, NreadSendsRequestAndReceivesBytes)
{
    server.Expect(40,
                  {Bytes("00000010 00000028"),
                   Bytes("00000000 00000005 00000001 00000001 00000000 10000000 00000004 00000000 00000000"),
                   Bytes("01 02 fe 04")});
    Connect();
    uint8_t abData[4] = {};
    EXPECT_EQ(eRioOk, client.Nread(0, 5, 0, 0x10000000, 1, 1, abData, 4));
    EXPECT_EQ(Bytes("01 02 fe 04"), std::vector<uint8_t>(abData, abData + 4));
    EXPECT_EQ(
        Bytes("0000000f 00000020 00000000 00000005 00000001 00000001 00000000 10000000 00000004 00000000"),
        Sent());
    EXPECT_EQ("Nread 5 0 1 010000000 4 # 1 2 fe 4 Succeeded\n", Log());
}

TEST_F(DataTest, FailedNreadCarriesNoDataAndIsLoggedAsFailure)
{
    server.Expect(
        40, {Bytes("00000010 00000024"),
             Bytes("00000000 00000005 00000000 00000002 00000000 00000000 00000004 00000000 fffffecf")});
    Connect();
    uint8_t abData[4] = {9, 9, 9, 9};
    EXPECT_EQ(-305, client.Nread(0, 5, 0, 0, 0, 2, abData, 4));
    EXPECT_EQ(9, abData[0]);
    EXPECT_EQ("Nread 5 0 2 000000000 4 # Failed -305\n", Log());
}

TEST_F(DataTest, DataWriteGoesInThreePartsAndLogsSucceededEvenWithTargetError)
{
    server.Expect(
        43, {Bytes("00000012 00000024"),
             Bytes("00000000 00000006 00000002 00000000 00000001 00000020 00000003 00000000 fffffecf")});
    Connect();
    const uint8_t abData[3] = {0xAA, 0x01, 0x80};
    EXPECT_EQ(-305, client.DataWrite(0, 6, 1, 0x20, 2, 0, abData, 3));
    EXPECT_EQ(
        Bytes("00000011 00000023 00000000 00000006 00000002 00000000 00000001 00000020 00000003 00000000"
              "aa 01 80"),
        Sent());
    EXPECT_EQ("Nwrite_R 6 0 100000020 3 aa 1 80 # Succeeded\n", Log());
}

TEST_F(DataTest, MessageAndDoorbell)
{
    server.Expect(8 + 28 + 2,
                  {Bytes("00000016 00000020"),
                   Bytes("00000000 00000000 00000003 00000001 00000002 00000002 00000002 00000000")});
    server.Expect(8 + 16,
                  {Bytes("00000018 00000014"), Bytes("00000000 00000003 00000000 beef0000 00000000")});
    Connect();
    const uint8_t abMessage[2] = {0x11, 0x22};
    EXPECT_EQ(eRioOk, client.Message(0, 3, 1, false, 2, abMessage, 2, 2));
    EXPECT_EQ(eRioOk, client.Doorbell(0, 3, 0, 0xBEEF));
    EXPECT_EQ(Bytes("00000015 0000001e 00000000 00000000 00000003 00000001 00000002 00000002 00000002 1122"
                    "00000017 00000010 00000000 00000003 00000000 beef0000"),
              Sent());
    EXPECT_EQ("Message 3 2 2 2 11 22 # Succeeded\nDoorbell 3 beef # Succeeded\n", Log());
}

TEST_F(DataTest, MessageQueueFetchReadsTheMessageAndEmptyQueueHasNoData)
{
    std::vector<uint8_t> message(600);
    for (size_t i = 0; i < message.size(); ++i)
    {
        message[i] = static_cast<uint8_t>(i);
    }
    server.Expect(16, {Bytes("0000001a 00000278"),
                       Bytes("00000000 00000001 01010000 00000009 00000001 00000003 00000258 00000000"),
                       message});
    server.Expect(16, {Bytes("0000001a 00000020"),
                       Bytes("00000000 00000001 00000000 00000000 00000000 00000000 00000000 00000000")});
    server.Expect(16, {Bytes("0000001c 00000010"), Bytes("00000001 00000001 00010102 00000000")});
    Connect();
    std::vector<uint8_t> buffer(4096);
    uint8_t bTT = 0, bOverflow = 0;
    uint32_t ulSource = 0, ulPriority = 0, ulMailbox = 0, ulSize = 0;
    EXPECT_EQ(eRioOk, client.MessageQueue(0, 1, &bTT, &bOverflow, &ulSource, &ulPriority, &ulMailbox, &ulSize,
                                          buffer.data()));
    EXPECT_EQ(600u, ulSize);
    EXPECT_EQ(1, bOverflow);
    EXPECT_EQ(1, bTT);
    EXPECT_EQ(9u, ulSource);
    EXPECT_EQ(3u, ulMailbox);
    EXPECT_EQ(message, std::vector<uint8_t>(buffer.begin(), buffer.begin() + 600));
    EXPECT_EQ(eRioOk,
              client.MessageQueue(0, 1, nullptr, nullptr, nullptr, nullptr, nullptr, &ulSize, buffer.data()));
    EXPECT_EQ(0u, ulSize);
    uint8_t bValid = 0;
    uint16_t wInfo = 0;
    EXPECT_EQ(eRioOk, client.DoorbellQueue(1, 1, &bValid, &bOverflow, &wInfo));
    EXPECT_EQ(1, bValid);
    EXPECT_EQ(0, bOverflow);
    EXPECT_EQ(0x0102, wInfo);
    EXPECT_EQ(Bytes("00000019 00000008 00000000 00000001 00000019 00000008 00000000 00000001"
                    "0000001b 00000008 00000001 00000001"),
              Sent());
    EXPECT_EQ("", Log()); // the queues are not logged
}

TEST_F(DataTest, MessageQueueRefusesAMessageLargerThanTheCallersBuffer)
{
    server.Expect(16, {Bytes("0000001a 00001020"),
                       Bytes("00000000 00000001 00000000 00000000 00000000 00000000 00001001 00000000")});
    Connect();
    std::vector<uint8_t> buffer(4096);
    EXPECT_EQ(eRioIncorrectResponse,
              client.MessageQueue(0, 1, nullptr, nullptr, nullptr, nullptr, nullptr, nullptr, buffer.data()));
}

TEST_F(DataTest, MemoryReadAndWriteLogBytesAsSignedCharacters)
{
    server.Expect(28, {Bytes("0000001e 0000001a"),
                       Bytes("00000000 00001000 00000001 00000002 00000000 00000000"), Bytes("80 7f")});
    server.Expect(
        30, {Bytes("00000020 00000018"), Bytes("00000000 00001000 00000001 00000002 00000000 00000000")});
    Connect();
    uint8_t abData[2] = {};
    EXPECT_EQ(eRioOk, client.MemRead(0, 0x1000, 1, 2, abData));
    EXPECT_EQ(0x80, abData[0]);
    EXPECT_EQ(eRioOk, client.MemWrite(0, 0x1000, 1, 2, abData));
    EXPECT_EQ(Bytes("0000001d 00000014 00000000 00001000 00000001 00000002 00000000"
                    "0000001f 00000016 00000000 00001000 00000001 00000002 00000000 807f"),
              Sent());
    EXPECT_EQ(
        "MemRead 000001000 1 2 # ffffff80 7f Succeeded\nMemWrite 000001000 1 2 ffffff80 7f # Succeeded\n",
        Log());
}

TEST_F(DataTest, MemoryAndFlashNeedTheServersCapability)
{
    CServerCaps::Instance() = CServerCaps{};
    uint8_t abData[4] = {};
    EXPECT_EQ(eRioServerUnsupported, client.MemRead(0, 0, 1, 4, abData));
    EXPECT_EQ(eRioServerUnsupported, client.MemWrite(0, 0, 1, 4, abData));
    EXPECT_EQ(eRioServerUnsupported, client.FlashRead(0, 0, 4, abData));
    EXPECT_EQ(eRioServerUnsupported, client.FlashWrite(0, 0, 4, abData));
    EXPECT_EQ("", Log());
}

TEST_F(DataTest, FlashReadWriteAndTheirEchoCheck)
{
    server.Expect(24, {Bytes("00000024 00000016"), Bytes("00000000 00000040 00000002 00000000 00000000"),
                       Bytes("c0de")});
    server.Expect(26, {Bytes("00000026 00000014"), Bytes("00000000 00000041 00000002 00000000 00000000")});
    Connect();
    uint8_t abData[2] = {};
    EXPECT_EQ(eRioOk, client.FlashRead(0, 0x40, 2, abData));
    EXPECT_EQ(0xC0, abData[0]);
    EXPECT_EQ(eRioResponseMismatch, client.FlashWrite(0, 0x40, 2, abData));
    EXPECT_EQ("FlashRead 000000040 2 # ffffffc0 ffffffde Succeeded\n"
              "FlashWrite HI:00000000 LO:00000040 Size:2 ffffffc0 ffffffde # Failed -18\n",
              Log());
}

TEST_F(DataTest, RioErrorListIsFormattedAndCutToTheCallersSize)
{
    std::vector<uint8_t> record1 = Bytes("00000102");
    std::vector<uint8_t> text1(128, 0);
    std::memcpy(text1.data(), "Port 3 fatal", 12);
    record1.insert(record1.end(), text1.begin(), text1.end());
    std::vector<uint8_t> record2 = Bytes("deadbeef");
    std::vector<uint8_t> text2(128, 'x'); // no terminator: the client forces one
    record2.insert(record2.end(), text2.begin(), text2.end());
    server.Expect(8, {Bytes("00000014 00000000"), Bytes("00000002 00000000"), record1, record2});
    server.Expect(8, {Bytes("00000014 00000008"), Bytes("00000000 fffffffe")});
    Connect();
    char szText[512] = "unchanged";
    EXPECT_EQ(eRioOk, client.GetRioErrors(szText, sizeof(szText)));
    EXPECT_EQ("The following RapidIO errors were detected:\n[0x00000102] Port 3 fatal\n[0xDEADBEEF] " +
                  std::string(127, 'x'),
              std::string(szText));
    std::strcpy(szText, "unchanged");
    EXPECT_EQ(-2, client.GetRioErrors(szText, sizeof(szText)));
    EXPECT_STREQ("unchanged", szText);
}

TEST_F(DataTest, DataGenExchangesItsFixedBodies)
{
    std::vector<uint8_t> request(212, 0);
    request[3] = 3;
    std::vector<uint8_t> reply = request;
    const auto tail = Bytes("fffffeca 00000002 00000000 00000001");
    reply.insert(reply.end(), tail.begin(), tail.end());
    server.Expect(220, {Bytes("0000000c 000000e4"), reply});
    Connect();
    std::vector<uint8_t> answer(228);
    EXPECT_EQ(-310, client.DataGen(request.data(), answer.data()));
    EXPECT_EQ(2u, GetBE32(answer.data() + 216));
}
} // namespace
