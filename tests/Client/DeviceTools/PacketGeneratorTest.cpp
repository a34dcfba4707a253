// The generator tool with the field model: the checks before a send in their order, a response
// told from a copy of the packet sent, the response's length found by its own layout, and the
// list's file with its questions.
#include "PacketGenerator.h"
#include "NpfFile.h"
#include "PacketText.h"
#include "RIOPacket.h"
#include "RecordingUserInterface.h"
#include "ScriptedSwitch.h"
#include "TestSupport.h"

#include <QFile>

#include <gtest/gtest.h>

namespace
{
using nvtest::CScriptedSwitch;

void Set(CRIOPacket& packet, uint32_t nField, uint32_t ulValue)
{
    ASSERT_NE(nullptr, packet.FindField(nField)) << nField;
    packet.FindField(nField)->SetValue(ulValue, false);
}

// A maintenance read of 4 bytes at 0x60 from ID 0x01 to ID 0x05.
void MakeReadRequest(CRIOPacket& packet)
{
    packet.SetTypeAndIDSize(8, 0);
    Set(packet, eRIOFieldDESTID8, 0x05);
    Set(packet, eRIOFieldSRCID8, 0x01);
    Set(packet, eRIOFieldSIZE, 8);
    Set(packet, eRIOFieldSOURCETID, 0x2A);
    Set(packet, eRIOFieldREGADDRESS, 0x60);
}

// Its answer: a maintenance read response with the word 0x12345678 (in the upper half of the double word).
std::vector<uint8_t> ReadResponse()
{
    CRIOPacket packet;
    packet.SetTypeAndIDSize(8, 0);
    packet.GetFieldObject(eRIOFieldSIZE)->SetValue(8, true);
    Set(packet, eRIOFieldTRANSACTION, 2);
    Set(packet, eRIOFieldACKID, 0x11);
    Set(packet, eRIOFieldDESTID8, 0x01);
    Set(packet, eRIOFieldSRCID8, 0x05);
    Set(packet, eRIOFieldTARGETTID, 0x2A);
    const uint8_t abData[8] = {0x12, 0x34, 0x56, 0x78, 0, 0, 0, 0};
    EXPECT_TRUE(packet.SetData(abData, nullptr, 8));
    std::vector<uint8_t> bytes;
    EXPECT_TRUE(packet.GetStream(bytes));
    return bytes;
}

// The end port's capture holds the bytes, zeros after them.
void ScriptCapture(CScriptedSwitch& sw, const std::vector<uint8_t>& bytes)
{
    sw.readQueue[PgcControl(2)] = {0, 0x8000};
    for (size_t w = 0; w < 75; ++w)
    {
        uint32_t ulWord = 0;
        for (size_t b = 0; b < 4; ++b)
            ulWord = (ulWord << 8) | (w * 4 + b < bytes.size() ? bytes[w * 4 + b] : 0u);
        sw.readQueue[PgcControl(2) + 4].push_back(ulWord);
    }
}

class PacketGeneratorTest : public ::testing::Test
{
protected:
    void SetUp() override
    {
        SPacketGenSettings& settings = generator.Settings();
        settings.nFlow = 0;
        settings.nStartPort = 1;
        settings.nEndPort = 2;
        MakeReadRequest(packet);
    }

    nvtest::CRecordingUserInterface ui;
    CScriptedSwitch sw;
    CPacketGenerator generator{sw};
    CRIOPacket packet;
};

TEST_F(PacketGeneratorTest, ChecksComeInOrderAndTheUnlistedPacketIsAddedFirst)
{
    sw.bConnected = false;
    EXPECT_EQ(EPgcResult::Failed, generator.Send(&packet));
    EXPECT_EQ(QStringList{"Not connected."}, ui.messages);
    EXPECT_EQ(0, generator.List().Count()) << "nothing is added before the checks of the choices";

    sw.bConnected = true;
    generator.Settings().nEndPort = -1;
    ui.messages.clear();
    generator.Send(&packet);
    EXPECT_EQ(QStringList{"End Port not selected."}, ui.messages);

    generator.Settings().nEndPort = 2;
    ui.messages.clear();
    EXPECT_EQ(EPgcResult::Failed, generator.Send(nullptr));
    EXPECT_EQ(QStringList{"No packet to send."}, ui.messages);

    sw.bRoute = false;
    ui.messages.clear();
    generator.Send(&packet);
    EXPECT_EQ(QStringList{"Unable to configure routing tables."}, ui.messages);
    ASSERT_EQ(1, generator.List().Count()) << "the packet in hand went into the list first";
    EXPECT_EQ(PacketStreamLine(packet), generator.List().Entry(0).strText);
    EXPECT_EQ(0, generator.List().CurrentPacketID());

    sw.bRoute = true;
    sw.bPE = false;
    ui.messages.clear();
    generator.Send(&packet);
    EXPECT_EQ(QStringList{"Unable to find connected PE."}, ui.messages);
    EXPECT_EQ(1, generator.List().Count()) << "a current entry is not added again";
    EXPECT_TRUE(sw.Accesses().isEmpty());
    EXPECT_EQ(QStringList{"Packet Generator"}, ui.messageTitles.mid(0, 1));
}

TEST_F(PacketGeneratorTest, AResponseIsLoadedAndListedAndItsLengthFoundByItsOwnLayout)
{
    const std::vector<uint8_t> response = ReadResponse();
    ASSERT_EQ(20u, response.size()) << "header, IDs, 32 bits of response fields, 8 data bytes and the CRC";
    ScriptCapture(sw, response);
    ASSERT_EQ(EPgcResult::Captured, generator.Send(&packet));
    EXPECT_TRUE(ui.messages.isEmpty()) << ui.messages.join(QLatin1Char('|')).toStdString();
    EXPECT_FALSE(generator.LastWasCopy());
    ASSERT_EQ(2, generator.List().Count()) << "the request, then the response as a new entry";
    EXPECT_EQ(-1, generator.List().CurrentPacketID());
    // The response went into the packet in hand, in the layout it had: its first bytes are the
    // response's.
    std::vector<uint8_t> inHand;
    ASSERT_TRUE(packet.GetStream(inHand));
    EXPECT_EQ(std::vector<uint8_t>(response.begin(), response.begin() + 4),
              std::vector<uint8_t>(inHand.begin(), inHand.begin() + 4));
    EXPECT_EQ(PacketStreamLine(packet), generator.List().Entry(1).strText);
    EXPECT_TRUE(packet.IsAutoCRC()) << "set back from the check box";

    // The whole response, cut from the capture where its CRC checks.
    std::vector<uint8_t> measured;
    ASSERT_TRUE(MeasureCapturedPacket(generator.LastCapture().data(), kPgcCaptureBytes, &measured));
    EXPECT_EQ(response, measured);
    CRIOPacket decoded;
    ASSERT_TRUE(LoadPacketLine(decoded, measured));
    EXPECT_EQ(8u, decoded.GetFType());
    ASSERT_NE(nullptr, decoded.FindField(eRIOFieldTRANSACTION));
    EXPECT_EQ(2u, decoded.FindField(eRIOFieldTRANSACTION)->GetValue());
    std::vector<uint8_t> data;
    ASSERT_TRUE(decoded.GetData(data));
    EXPECT_EQ(0x12, data[0]);
    EXPECT_EQ(0x78, data[3]);

    // Zeros, or a packet whose CRC is wrong, have no layout.
    std::vector<uint8_t> broken = response;
    broken[response.size() - 2] ^= 0x01;
    broken.resize(kPgcCaptureBytes, 0);
    EXPECT_FALSE(MeasureCapturedPacket(broken.data(), kPgcCaptureBytes, &measured));
}

// Every layout longer than the packet whose CRC falls on the capture's zeros checks too (the CRC
// run over a packet and its CRC leaves 0, and zeros keep it 0): the packet is the shortest.
TEST(MeasureCapturedPacket, TakesTheShortestLayoutWhoseCrcChecks)
{
    // An NREAD's response with 8 bytes of data, as a switch's capture returns it.
    const std::vector<uint8_t> response =
        ParsePacketListLine(QStringLiteral("004D330A 80020102 03040506 0708B283"));
    struct SCase
    {
        const char* pszName;
        std::vector<uint8_t> bytes;
    };
    std::vector<uint8_t> longRead = ReadResponse();
    const SCase cases[] = {{"response with data, 8 bytes", response},
                           {"maintenance read response", longRead}};
    for (const SCase& c : cases)
    {
        std::vector<uint8_t> capture = c.bytes;
        capture.resize(kPgcCaptureBytes, 0);
        std::vector<uint8_t> measured;
        ASSERT_TRUE(MeasureCapturedPacket(capture.data(), kPgcCaptureBytes, &measured)) << c.pszName;
        EXPECT_EQ(c.bytes, measured) << c.pszName;
    }
}

TEST_F(PacketGeneratorTest, ACaptureThatMatchesTheSentBytesAfterTheAckIDIsACopy)
{
    std::vector<uint8_t> sent;
    ASSERT_TRUE(packet.GetStream(sent));
    std::vector<uint8_t> copy = sent;
    copy[0] ^= 0xFC; // another ackID, nothing else
    ScriptCapture(sw, copy);
    ASSERT_EQ(EPgcResult::Captured, generator.Send(&packet));
    EXPECT_TRUE(generator.LastWasCopy());
    EXPECT_EQ(QStringList{"A copy of the transmitted packet was received."}, ui.messages);
    EXPECT_EQ(1, generator.List().Count());
    std::vector<uint8_t> after;
    packet.GetStream(after);
    EXPECT_EQ(sent, after) << "the packet in hand stays";

    // Only bytes 1 to 3 are compared: a later difference still reads as a copy.
    copy[5] ^= 0xFF;
    ScriptCapture(sw, copy);
    ui.messages.clear();
    generator.Send(&packet);
    EXPECT_TRUE(generator.LastWasCopy());
}

TEST_F(PacketGeneratorTest, AWriteWithoutResponseHasNoCaptureButAMaintenanceWriteHasOne)
{
    CRIOPacket write;
    write.SetTypeAndIDSize(5, 0);
    Set(write, eRIOFieldTRANSACTION, 4); // NWRITE
    sw.readQueue[PgcControl(2)] = {0, 0x8000};
    EXPECT_EQ(EPgcResult::Sent, generator.Send(&write));
    EXPECT_FALSE(sw.Accesses().contains(QStringLiteral("R 100124")));

    CRIOPacket maintWrite;
    maintWrite.SetTypeAndIDSize(8, 0);
    Set(maintWrite, eRIOFieldTRANSACTION, 1);
    EXPECT_TRUE(maintWrite.ExpectsResponse());
    generator.List().SetCurrentPacketID(-1);
    ScriptCapture(sw, ReadResponse());
    sw.log.clear();
    EXPECT_EQ(EPgcResult::Captured, generator.Send(&maintWrite));
    EXPECT_EQ(75, sw.Accesses().filter(QStringLiteral("R 100124")).size());
}

TEST_F(PacketGeneratorTest, OpeningAsksAppendOrReplaceAndSavingAsksAllOrSelected)
{
    const QString strPath = QString::fromStdString(nvtest::ProcessTempDir()) + QStringLiteral("/gen.npf");
    QString strError;
    ASSERT_TRUE(WriteNpfFile(strPath, {"00480001", "00480002"}, &strError));

    EXPECT_TRUE(generator.OpenFile(strPath));
    EXPECT_TRUE(ui.questions.isEmpty()) << "an empty list is not asked about";
    EXPECT_EQ((QStringList{"00480001", "00480002"}), generator.List().Texts());

    ui.answers = {eAnswerCancel, eAnswerNo, eAnswerYes};
    EXPECT_FALSE(generator.OpenFile(strPath));
    EXPECT_EQ(2, generator.List().Count());
    EXPECT_EQ(QStringLiteral(
                  "Choose Yes to add packets to the existing packet list.\nPress No to replace the packet "
                  "list with the loaded packets."),
              ui.questions[0]);
    EXPECT_TRUE(generator.OpenFile(strPath));
    EXPECT_EQ(2, generator.List().Count()) << "No replaces";
    EXPECT_EQ(2, generator.List().Entry(0).nID) << "numbers go on";
    EXPECT_TRUE(generator.OpenFile(strPath));
    EXPECT_EQ(4, generator.List().Count()) << "Yes appends";

    QStringList lines;
    ui.questions.clear();
    EXPECT_TRUE(generator.LinesToSave({}, &lines));
    EXPECT_EQ(4, lines.size());
    EXPECT_TRUE(ui.questions.isEmpty());
    ui.answers = {eAnswerNo, eAnswerCancel};
    EXPECT_TRUE(generator.LinesToSave({3, 1}, &lines));
    EXPECT_EQ((QStringList{"00480002", "00480002"}), lines) << "the selected lines, in list order";
    EXPECT_FALSE(generator.LinesToSave({1}, &lines));

    // A file of another format: its message under the generator's caption, the list untouched.
    ASSERT_TRUE(WriteNpfFile(strPath, {}, &strError));
    QFile::resize(strPath, 5);
    ui.messages.clear();
    EXPECT_FALSE(generator.OpenFile(strPath));
    EXPECT_EQ(QStringList{"Invalid packet file format. [2]"}, ui.messages);
    EXPECT_EQ(4, generator.List().Count());
}
} // namespace
