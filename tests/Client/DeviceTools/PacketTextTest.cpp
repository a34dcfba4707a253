// The text forms of packets: the packet list's line both ways, the grid's radix rule and cell
// texts, fields named by caption, and building a packet from FIELD=VALUE texts with its refusals.
#include "PacketText.h"
#include "RIOPacket.h"
#include "RIOPacketTestSupport.h"

#include <gtest/gtest.h>

namespace
{
using namespace pkttest;

TEST(PacketText, TheListLineGroupsFourBytesAndParsesBack)
{
    const std::vector<uint8_t> bytes = {0x00, 0xA2, 0x00, 0x11, 0x22, 0x33, 0x44, 0x55, 0x66, 0x77};
    EXPECT_EQ("00A20011 22334455 6677", PacketListString(bytes).toStdString());
    EXPECT_EQ("", PacketListString(std::vector<uint8_t>{}).toStdString());
    EXPECT_EQ("0A0B0C0D", PacketListString(std::vector<uint8_t>{10, 11, 12, 13}).toStdString());
    EXPECT_EQ(bytes, ParsePacketListLine(QStringLiteral("00A20011 22334455 6677")));
    // Other characters are skipped and digits pair across them; an odd last digit is dropped.
    EXPECT_EQ(std::vector<uint8_t>({0xAB, 0xCD, 0xEF}),
              ParsePacketListLine(QStringLiteral("a-b:cd xy ef 1")));
    EXPECT_TRUE(ParsePacketListLine(QStringLiteral("no hex here")).empty() == false)
        << "'e' is a hex digit: only letters past F are skipped";
    EXPECT_TRUE(ParsePacketListLine(QStringLiteral("qrst uvwxyz")).empty());
    // At most 1024 bytes.
    EXPECT_EQ(1024u, ParsePacketListLine(QString(3000, QLatin1Char('5'))).size());
}

TEST(PacketText, CellsAreHexadecimalUnlessTheyEndInARadixLetter)
{
    uint64_t ulValue = 0;
    ASSERT_TRUE(CellTextToNumber(QStringLiteral("10"), UINT64_MAX, &ulValue));
    EXPECT_EQ(0x10u, ulValue) << "bare digits are hex in a cell";
    ASSERT_TRUE(CellTextToNumber(QStringLiteral("10D"), UINT64_MAX, &ulValue));
    EXPECT_EQ(10u, ulValue);
    ASSERT_TRUE(CellTextToNumber(QStringLiteral("101b"), UINT64_MAX, &ulValue));
    EXPECT_EQ(5u, ulValue);
    ASSERT_TRUE(CellTextToNumber(QStringLiteral("ffH"), UINT64_MAX, &ulValue));
    EXPECT_EQ(0xFFu, ulValue);
    ASSERT_TRUE(CellTextToNumber(QStringLiteral("0x1F"), UINT64_MAX, &ulValue));
    EXPECT_EQ(0x1Fu, ulValue);
    // A text ending in B is taken as it stands, even where hex was meant.
    ASSERT_TRUE(CellTextToNumber(QStringLiteral("1B"), UINT64_MAX, &ulValue));
    EXPECT_EQ(1u, ulValue);
    EXPECT_FALSE(CellTextToNumber(QStringLiteral("12D4"), UINT64_MAX, &ulValue) && ulValue != 0x12D4);
    EXPECT_FALSE(CellTextToNumber(QStringLiteral("xyz"), UINT64_MAX, &ulValue));
    EXPECT_FALSE(CellTextToNumber(QStringLiteral(""), UINT64_MAX, &ulValue));
    EXPECT_FALSE(CellTextToNumber(QStringLiteral("100000000"), 0xFFFFFFFF, &ulValue));
}

TEST(PacketText, TypingIntoACellSetsTheFieldAsTheGridDoes)
{
    CRIOPacket packet;
    packet.SetTypeAndIDSize(2, 0);
    packet.SetAddressBits(50);
    CRIOPacketField& dest = Field(packet, eRIOFieldDESTID8);
    ASSERT_TRUE(SetFieldFromCellText(dest, QStringLiteral("7f")));
    EXPECT_EQ(0x7Fu, dest.GetValue());
    ASSERT_TRUE(SetFieldFromCellText(dest, QStringLiteral("300d")));
    EXPECT_EQ(0xFFu, dest.GetValue());
    EXPECT_FALSE(dest.IsValueValid()) << "out of range: clamped and red";
    EXPECT_FALSE(SetFieldFromCellText(dest, QStringLiteral("zz")));
    EXPECT_EQ(0xFFu, dest.GetValue()) << "a failed parse leaves the field alone";
    ASSERT_TRUE(SetFieldFromCellText(dest, QStringLiteral("1"), true));
    EXPECT_EQ(1u, dest.GetMask());

    // Address is over 32 bits: nine bytes, lowest first, and the pieces follow.
    CRIOPacketField& address = Field(packet, eRIOFieldADDRESS);
    ASSERT_TRUE(SetFieldFromCellText(address, QStringLiteral("3ABCD98765434")));
    EXPECT_EQ((0x3ABCD98765434ull >> 3) & 0x1FFFFFFF, Get(packet, eRIOFieldADDR));
    EXPECT_EQ((0x3ABCD98765434ull >> 34) & 0xFFFF, Get(packet, eRIOFieldEXTADDR16));
    EXPECT_EQ("3ABCD98765434", FieldValueText(address).toStdString());
}

TEST(PacketText, ValueCellsShowHexOfTheFieldsWidthOrSeeBelow)
{
    CRIOPacket packet;
    packet.SetTypeAndIDSize(6, 0);
    Set(packet, eRIOFieldDESTID8, 5);
    EXPECT_EQ("05", FieldValueText(Field(packet, eRIOFieldDESTID8)).toStdString());
    Set(packet, eRIOFieldADDR, 0x1234);
    EXPECT_EQ("00001234", FieldValueText(Field(packet, eRIOFieldADDR)).toStdString()) << "29 bits: 8 digits";
    EXPECT_EQ("0", FieldValueText(Field(packet, eRIOFieldVC)).toStdString());
    EXPECT_EQ("0040", FieldValueText(Field(packet, eRIOFieldDATASIZE)).toStdString());
    EXPECT_EQ("91A0", FieldValueText(Field(packet, eRIOFieldADDRESS)).toStdString())
        << "Address without a high word: plain %X";
    EXPECT_EQ("See below", FieldValueText(Field(packet, eRIOFieldDATA)).toStdString());
    EXPECT_EQ("See below", FieldValueText(*packet.GetFieldObject(eRIOFieldDATA2)).toStdString());
    Field(packet, eRIOFieldDATA).SetMask(0, false);
    EXPECT_EQ("See below", FieldMaskText(Field(packet, eRIOFieldDATA)).toStdString());

    // Data of 32 bits or less reads as a value.
    packet.SetTypeAndIDSize(8, 0);
    Set(packet, eRIOFieldTRANSACTION, 3);
    EXPECT_EQ(nullptr, packet.FindField(eRIOFieldDATA));
    Field(packet, eRIOFieldTARGETTID).SetMask(0xA, false);
    EXPECT_EQ("0A", FieldMaskText(Field(packet, eRIOFieldTARGETTID)).toStdString());

    // The Address's high word comes first, the low word in eight digits.
    packet.SetTypeAndIDSize(2, 0);
    packet.SetAddressBits(66);
    const uint8_t ab[9] = {0x08, 0, 0, 0, 0x01, 0, 0, 0, 0};
    Field(packet, eRIOFieldADDRESS).SetValueBytes(ab, 9, true);
    EXPECT_EQ("100000008", FieldValueText(Field(packet, eRIOFieldADDRESS)).toStdString());

    EXPECT_EQ("Dest\nID\n[8]", FieldHeadingText(Field(packet, eRIOFieldDESTID8)).toStdString());
    EXPECT_EQ("Address", FieldHeadingText(Field(packet, eRIOFieldADDRESS)).toStdString())
        << "not in the stream";
}

TEST(PacketText, FieldsAreNamedByTheirCaptions)
{
    CRIOPacket packet;
    EXPECT_EQ("DestID", FieldTypedName(*packet.GetFieldObject(eRIOFieldDESTID16)).toStdString());
    EXPECT_EQ("DataSize(bytes)", FieldTypedName(*packet.GetFieldObject(eRIOFieldDATASIZE)).toStdString());
    EXPECT_TRUE(IsFieldName(QStringLiteral("destid"), *packet.GetFieldObject(eRIOFieldDESTID8)));
    EXPECT_TRUE(IsFieldName(QStringLiteral("Dest ID"), *packet.GetFieldObject(eRIOFieldDESTID8)));
    EXPECT_TRUE(IsFieldName(QStringLiteral("DataSize"), *packet.GetFieldObject(eRIOFieldDATASIZE)));
    EXPECT_TRUE(IsFieldName(QStringLiteral("Data Size (bytes)"), *packet.GetFieldObject(eRIOFieldDATASIZE)));
    EXPECT_TRUE(IsFieldName(QStringLiteral("EXTADDMSBS"), *packet.GetFieldObject(eRIOFieldXAMSBS)));
    EXPECT_FALSE(IsFieldName(QStringLiteral("Dest"), *packet.GetFieldObject(eRIOFieldDESTID8)));
    EXPECT_FALSE(IsFieldName(QStringLiteral("Data"), *packet.GetFieldObject(eRIOFieldDATASIZE)));
}

TEST(PacketText, FieldLinesShowCaptionsValuesAndPickListTexts)
{
    CRIOPacket packet;
    packet.SetTypeAndIDSize(13, 0);
    Set(packet, eRIOFieldTRANSACTION, 8);
    Set(packet, eRIOFieldSTATUS, 7);
    Set(packet, eRIOFieldDATASIZE, 8);
    const uint8_t abData[8] = {1, 2, 3, 4, 5, 6, 7, 8};
    packet.SetData(abData, nullptr, 8);
    const QStringList lines = PacketFieldLines(packet);
    ASSERT_EQ(packet.GetFieldCount(), lines.size());
    EXPECT_EQ("AckID: 00", lines[0].toStdString());
    EXPECT_EQ("FType: D (Response Class)", lines[5].toStdString());
    EXPECT_EQ("Dest ID: 00", lines[6].toStdString());
    EXPECT_EQ("Trans: 8 (Response WITH Data)", lines[8].toStdString());
    EXPECT_EQ("Status: 7 (Error)", lines[9].toStdString());
    EXPECT_EQ("Data Size (bytes): 0008", lines[11].toStdString());
    EXPECT_EQ("Data: 01020304 05060708", lines[12].toStdString());
    EXPECT_TRUE(lines[13].startsWith("CRC: "));
}

TEST(PacketText, LegalValuesAreListedForMessages)
{
    CRIOPacket packet;
    packet.SetTypeAndIDSize(2, 0);
    EXPECT_EQ("4 (NREAD), 12 (ATOMIC inc), 13 (ATOMIC dec), 14 (ATOMIC set), 15 (ATOMIC clr)",
              LegalValuesText(Field(packet, eRIOFieldTRANSACTION)).toStdString());
    EXPECT_EQ("0 to 63", LegalValuesText(Field(packet, eRIOFieldACKID)).toStdString());
    EXPECT_EQ("0 to 536870911 (1fffffffh)", LegalValuesText(Field(packet, eRIOFieldADDR)).toStdString());
    EXPECT_EQ("0 (8-bit Source/Dest IDs), 1 (16-bit Source/Dest IDs)",
              LegalValuesText(Field(packet, eRIOFieldTT)).toStdString());
    packet.SetTypeAndIDSize(6, 0);
    EXPECT_EQ("none", LegalValuesText(*packet.GetFieldObject(eRIOFieldTRANSACTION)).toStdString());
}

SPacketBuildResult Build(CRIOPacket& packet, std::vector<SPacketFieldText> fields)
{
    return BuildPacketFromTexts(packet, fields);
}

TEST(PacketText, APacketIsBuiltFromFieldTextsInAnyOrder)
{
    // Fields that decide the layout go first whatever their place; numbers by the entry rule.
    CRIOPacket packet;
    const SPacketBuildResult result = Build(packet, {{"DestID", "0x12"},
                                                     {"Source ID", "52"},
                                                     {"SourceTID", "56h"},
                                                     {"Addr", "0x2468ACF"},
                                                     {"wdptr", "1"},
                                                     {"extaddmsbs", "1"},
                                                     {"AckID", "3"},
                                                     {"Priority", "1"},
                                                     {"Size", "8"},
                                                     {"Trans", "4"},
                                                     {"FType", "2"}});
    ASSERT_EQ(SPacketBuildResult::eNone, result.eError) << result.messages.join('\n').toStdString();
    EXPECT_EQ("0C421234 48561234 567D", PacketListString(Stream(packet)).left(22).toStdString());

    // A class sized by Data Size takes the data's length; Register Address splits.
    CRIOPacket swrite;
    ASSERT_EQ(SPacketBuildResult::eNone,
              Build(swrite, {{"FType", "6"}, {"Data", "0102030405060708 090A0B0C0D0E0F10"}}).eError);
    EXPECT_EQ(16u, Get(swrite, eRIOFieldDATASIZE));
    std::vector<uint8_t> data;
    swrite.GetData(data);
    EXPECT_EQ(16u, data.size());
    EXPECT_EQ(0x10, data[15]);
    CRIOPacket maint;
    ASSERT_EQ(
        SPacketBuildResult::eNone,
        Build(maint, {{"FType", "8"}, {"Trans", "0"}, {"Size", "8"}, {"RegisterAddress", "0x15C"}}).eError);
    EXPECT_EQ(0x2Bu, Get(maint, eRIOFieldCONFIGOFFSET));
    EXPECT_EQ(1u, Get(maint, eRIOFieldWDPTR));

    // A shorter data block is filled with zeros.
    CRIOPacket write;
    ASSERT_EQ(SPacketBuildResult::eNone,
              Build(write, {{"FType", "5"}, {"Trans", "4"}, {"Size", "11"}, {"Data", "AABB"}}).eError);
    write.GetData(data);
    EXPECT_EQ(std::vector<uint8_t>({0xAA, 0xBB, 0, 0, 0, 0, 0, 0}), data);

    // A 66-bit address keeps its extended part, which the model's SetValue can't hold.
    CRIOPacket wide;
    wide.SetAddressBits(66);
    ASSERT_EQ(SPacketBuildResult::eNone,
              Build(wide, {{"FType", "2"}, {"Trans", "4"}, {"ExtAddr", "0x89ABCDEF"}, {"Addr", "1"}}).eError);
    EXPECT_EQ(0x89ABCDEFu, Get(wide, eRIOFieldEXTADDR32));
    CRIOPacket wideAddress;
    wideAddress.SetAddressBits(66);
    ASSERT_EQ(SPacketBuildResult::eNone,
              Build(wideAddress, {{"FType", "2"}, {"Trans", "4"}, {"Address", "0xFFFFFFFC00000008"}}).eError);
    EXPECT_EQ(0x3FFFFFFFu, Get(wideAddress, eRIOFieldEXTADDR32));
    EXPECT_EQ(1u, Get(wideAddress, eRIOFieldADDR));

    // A CRC given stands as given.
    CRIOPacket bad;
    ASSERT_EQ(SPacketBuildResult::eNone, Build(bad, {{"FType", "10"}, {"CRC", "0x1234"}}).eError);
    EXPECT_EQ(0x1234u, Get(bad, eRIOFieldCRC));
    EXPECT_FALSE(Field(bad, eRIOFieldCRC).IsValueValid());
    const std::vector<uint8_t> bytes = Stream(bad);
    EXPECT_EQ(0x1234, Word16(bytes, 7));
}

TEST(PacketText, UnknownFieldsAndBadNumbersAreUsageErrors)
{
    CRIOPacket packet;
    SPacketBuildResult result = Build(packet, {{"FType", "2"}, {"Colour", "3"}});
    EXPECT_EQ(SPacketBuildResult::eUsage, result.eError);
    EXPECT_EQ("unknown field 'Colour'", result.messages.join('|').toStdString());
    result = Build(packet, {{"FType", "2"}, {"DestID", "12q"}});
    EXPECT_EQ(SPacketBuildResult::eUsage, result.eError);
    EXPECT_EQ("Invalid data entry. '12q' for DestID", result.messages.join('|').toStdString());
    result = Build(packet, {{"FType", "6"}, {"Data", "123"}});
    EXPECT_EQ(SPacketBuildResult::eUsage, result.eError) << "an odd number of digits";
    EXPECT_EQ(0u, packet.GetFType()) << "nothing was built";
}

TEST(PacketText, IllegalValuesAndFieldsOutsideTheLayoutAreRefused)
{
    CRIOPacket packet;
    SPacketBuildResult result = Build(packet, {{"FType", "2"}, {"Trans", "3"}});
    EXPECT_EQ(SPacketBuildResult::eRefused, result.eError);
    EXPECT_EQ("Trans=3 is not legal with FType 2; legal values: 4 (NREAD), 12 (ATOMIC inc), 13 (ATOMIC dec), "
              "14 (ATOMIC set), 15 (ATOMIC clr)",
              result.messages.join('|').toStdString());

    CRIOPacket defaults;
    result = Build(defaults, {{"FType", "2"}});
    EXPECT_EQ(SPacketBuildResult::eRefused, result.eError) << "Trans left at 0 is no NREAD";
    EXPECT_TRUE(result.messages.join('|').startsWith("Trans=0 is not legal"));

    CRIOPacket wide;
    result = Build(wide, {{"FType", "10"}, {"DestID", "300"}});
    EXPECT_EQ(SPacketBuildResult::eRefused, result.eError);
    EXPECT_EQ("DestID=300 is out of range: DestID holds 8 bits, 0 to 255 (ffh)",
              result.messages.join('|').toStdString());

    CRIOPacket notThere;
    result = Build(notThere, {{"FType", "10"}, {"HopCount", "1"}});
    EXPECT_EQ(SPacketBuildResult::eRefused, result.eError);
    EXPECT_EQ(
        "HopCount is not a field of this packet (FType 10, Trans 0); its fields are: AckID VC CRF Priority "
        "TT FType DestID SourceID rsvd SourceTID Info CRC Pad",
        result.messages.join('|').toStdString());

    CRIOPacket tooMuch;
    result =
        Build(tooMuch, {{"FType", "8"}, {"Trans", "1"}, {"Size", "8"}, {"Data", "00112233445566778899"}});
    EXPECT_EQ(SPacketBuildResult::eRefused, result.eError);
    EXPECT_EQ("Data: 10 bytes given, but this packet carries 8 bytes of data",
              result.messages.join('|').toStdString());

    CRIOPacket ftype;
    result = Build(ftype, {{"FType", "3"}});
    EXPECT_EQ(
        "FType=3 is not legal; legal values: 2 (Request Class), 5 (Write Class), 6 (Streaming-Write Class), "
        "8 (Maintenance Class), 10 (Doorbell Class), 11 (Message Class), 13 (Response Class)",
        result.messages.join('|').toStdString());

    // A maintenance response sizes its data by Size, which it doesn't carry.
    CRIOPacket response;
    ASSERT_EQ(SPacketBuildResult::eNone,
              Build(response, {{"FType", "8"}, {"Trans", "2"}, {"Size", "12"}, {"wdptr", "0"}}).eError);
    std::vector<uint8_t> data;
    response.GetData(data);
    EXPECT_EQ(32u, data.size());
}
} // namespace
