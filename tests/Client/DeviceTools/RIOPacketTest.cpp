// The packet field model: layouts of every class, data sizing and the long-packet tail, address and
// register address splitting both ways (with the Addr and 32-bit Ext Addr quirks), legal values and
// pick lists, CRCs checked against an independent bit-by-bit CRC and packets worked out by hand
// from the RapidIO physical and logical layers, packing and unpacking, callbacks.
#include "RIOPacket.h"
#include "RIOPacketTestSupport.h"

#include <gtest/gtest.h>

#include <map>
#include <random>

namespace
{
using namespace pkttest;

constexpr uint32_t kHeader[] = {eRIOFieldACKID,    eRIOFieldVC, eRIOFieldCRF,
                                eRIOFieldPRIORITY, eRIOFieldTT, eRIOFieldFTYPE};

std::vector<uint32_t> WithHeader(std::initializer_list<uint32_t> rest)
{
    std::vector<uint32_t> ids(std::begin(kHeader), std::end(kHeader));
    ids.insert(ids.end(), rest);
    return ids;
}

uint32_t InPacketBits(const CRIOPacket& packet)
{
    uint32_t nBits = 0;
    for (int i = 0; i < packet.GetFieldCount(); ++i)
    {
        if (packet.GetField(i)->bInPacket)
        {
            nBits += static_cast<uint32_t>(packet.GetField(i)->nBits);
        }
    }
    return nBits;
}

// Byte offset of a field in the stream.
uint32_t OffsetOf(const CRIOPacket& packet, uint32_t nID)
{
    uint32_t nBits = 0;
    for (int i = 0; i < packet.GetFieldCount(); ++i)
    {
        const CRIOPacketField* pField = packet.GetField(i);
        if (pField->nFieldID == nID)
        {
            return nBits / 8;
        }
        if (pField->bInPacket)
        {
            nBits += static_cast<uint32_t>(pField->nBits);
        }
    }
    ADD_FAILURE() << "no field " << nID;
    return 0;
}

TEST(RIOPacket, ANewPacketHasNoClassAHeaderAndACrcAndFourBytes)
{
    CRIOPacket packet;
    EXPECT_EQ(0u, packet.GetFType());
    EXPECT_FALSE(packet.FindField(eRIOFieldFTYPE)->IsValueValid()) << "FType 0 is no class";
    EXPECT_EQ(WithHeader({eRIOFieldCRC}), Layout(packet)) << "32 bits in all, so no Pad";
    EXPECT_EQ(4u, packet.GetPacketBytes());
    EXPECT_EQ(34u, packet.GetAddressBits());
    EXPECT_TRUE(packet.IsAutoCRC());
    EXPECT_EQ(nullptr, packet.FindField(eRIOFieldDATA));
    EXPECT_EQ(nullptr, packet.GetField(7));
    EXPECT_EQ(nullptr, packet.GetField(-1));
    // Every kind exists once, with its ID, whether in the list or not.
    for (uint32_t nID = 0; nID < kRIOFieldCount; ++nID)
    {
        ASSERT_NE(nullptr, packet.GetFieldObject(nID));
        EXPECT_EQ(nID, packet.GetFieldObject(nID)->nFieldID);
    }
    EXPECT_EQ(64u, packet.GetFieldObject(eRIOFieldDATASIZE)->GetValue());
}

TEST(RIOPacket, FieldsClampToTheirWidthAndMarkTheValueIllegal)
{
    CRIOPacket packet;
    CRIOPacketField& ackID = Field(packet, eRIOFieldACKID);
    ackID.SetValue(0x1FF, false);
    EXPECT_EQ(0x3Fu, ackID.GetValue());
    EXPECT_FALSE(ackID.IsValueValid());
    ackID.SetValue(0x3F, false);
    EXPECT_TRUE(ackID.IsValueValid());

    // The one 32-bit field: its maximum comes out as 0, so SetValue keeps only 0; bytes get through.
    packet.SetTypeAndIDSize(2, 0);
    packet.SetAddressBits(66);
    CRIOPacketField& ext = Field(packet, eRIOFieldEXTADDR32);
    ext.SetValue(0x12345678, false);
    EXPECT_EQ(0u, ext.GetValue());
    EXPECT_FALSE(ext.IsValueValid());
    const uint8_t ab[4] = {0x12, 0x34, 0x56, 0x78};
    EXPECT_TRUE(ext.SetValueBytes(ab, 4, false));
    EXPECT_EQ(0x12345678u, ext.GetValue());
    EXPECT_FALSE(ext.SetValueBytes(ab, 5, false)) << "more bytes than the buffer holds";

    // FType: above 15 clamps to 15; a value in range that names no class is kept and illegal.
    CRIOPacketField& ftype = Field(packet, eRIOFieldFTYPE);
    ftype.SetValue(3, false);
    EXPECT_EQ(3u, ftype.GetValue());
    EXPECT_FALSE(ftype.IsValueValid());
    ftype.SetValue(99, false);
    EXPECT_EQ(15u, ftype.GetValue());
    EXPECT_FALSE(ftype.IsValueValid());

    // TT 2 and 3 are kept and illegal, and lay out 16-bit IDs.
    packet.SetTypeAndIDSize(2, 2);
    EXPECT_EQ(2u, packet.GetTT());
    EXPECT_FALSE(Field(packet, eRIOFieldTT).IsValueValid());
    EXPECT_NE(nullptr, packet.FindField(eRIOFieldDESTID16));

    // Masks use the common rule whatever the class does with values.
    CRIOPacketField& trans = Field(packet, eRIOFieldTRANSACTION);
    trans.SetMask(0x1F, false);
    EXPECT_EQ(0xFu, trans.GetMask());
    EXPECT_FALSE(trans.IsMaskValid());
    trans.SetMask(3, false);
    EXPECT_TRUE(trans.IsMaskValid()) << "3 is no legal Trans for FType 2, but a legal mask";
}

TEST(RIOPacket, LegalValuesFollowTheClass)
{
    CRIOPacket packet;
    const auto legal = [&packet](uint32_t nID)
    {
        std::vector<uint32_t> values;
        for (uint32_t ul = 0; ul < 16; ++ul)
        {
            uint32_t ulCopy = ul;
            if (packet.GetFieldObject(nID)->ValidateValue(ulCopy))
            {
                values.push_back(ul);
            }
        }
        return values;
    };
    using V = std::vector<uint32_t>;
    const std::map<uint32_t, std::pair<V, V>> byClass = {
        {2, {{4, 12, 13, 14, 15}, {0, 1, 2, 3, 4, 5, 6, 7, 8, 9, 10, 11, 12, 13, 14, 15}}},
        {5, {{4, 5, 12, 13, 14}, {0, 1, 2, 3, 4, 5, 6, 7, 8, 9, 10, 11, 12, 13, 14, 15}}},
        {6, {{}, {}}},
        {8, {{0, 1, 2, 3, 4}, {0, 1, 2, 3, 4, 5, 6, 7, 8, 9, 10, 11, 12}}},
        {10, {{}, {}}},
        {11, {{}, {9, 10, 11, 12, 13, 14}}},
        {13, {{0, 1, 8}, {}}},
    };
    for (const auto& [ulFType, expected] : byClass)
    {
        packet.SetTypeAndIDSize(ulFType, 0);
        EXPECT_TRUE(Field(packet, eRIOFieldFTYPE).IsValueValid()) << ulFType;
        EXPECT_EQ(expected.first, legal(eRIOFieldTRANSACTION)) << "Trans, FType " << ulFType;
        EXPECT_EQ(expected.second, legal(eRIOFieldSIZE)) << "Size, FType " << ulFType;
    }
    EXPECT_EQ(V({0, 1}), legal(eRIOFieldTT));
    uint32_t ulBig = 20;
    EXPECT_FALSE(packet.GetFieldObject(eRIOFieldTRANSACTION)->ValidateValue(ulBig));
    EXPECT_EQ(15u, ulBig);
    uint32_t ulAddress = 0;
    EXPECT_FALSE(packet.GetFieldObject(eRIOFieldADDRESS)->ValidateValue(ulAddress))
        << "Address never validates";

    // CRC: a value in range keeps the validity the check gave it; out of range clamps, illegal.
    CRIOPacketField* pCrc = packet.GetFieldObject(eRIOFieldCRC);
    pCrc->SetValueValid(false);
    uint32_t ulCrc = 0x1234;
    EXPECT_FALSE(pCrc->ValidateValue(ulCrc));
    pCrc->SetValueValid(true);
    EXPECT_TRUE(pCrc->ValidateValue(ulCrc));
    ulCrc = 0x12345;
    EXPECT_FALSE(pCrc->ValidateValue(ulCrc));
    EXPECT_EQ(0xFFFFu, ulCrc);
}

struct SLayoutCase
{
    uint32_t ulFType;
    uint32_t ulTrans;
    std::vector<uint32_t> ids; // after the header
};

TEST(RIOPacket, EachClassLaysOutItsFieldsInWireOrder)
{
    const std::vector<SLayoutCase> cases = {
        {2, 4, {6, 8, 10, 11, 13, 16, 17, 21, 26, 30}},
        {5, 4, {6, 8, 10, 11, 13, 16, 17, 21, 26, 27, 30}},
        {6, 0, {6, 8, 16, 17, 22, 26, 37, 27, 30, 31}},
        {8, 0, {6, 8, 10, 11, 13, 15, 38, 20, 21, 23, 30}},
        {8, 1, {6, 8, 10, 11, 13, 15, 38, 20, 21, 23, 27, 30}},
        {8, 2, {6, 8, 10, 12, 14, 15, 24, 27, 30}},
        {8, 3, {6, 8, 10, 12, 14, 15, 24, 30}},
        {8, 4, {6, 8, 10, 11, 13, 15, 38, 20, 21, 23, 27, 30}},
        {8, 7, {6, 8, 10, 11, 13, 15, 38, 20, 21, 23, 27, 30}},
        {10, 0, {6, 8, 25, 13, 32, 30, 31}},
        {11, 0, {6, 8, 33, 11, 34, 35, 36, 27, 30}},
        {13, 0, {6, 8, 10, 12, 14, 30}},
        {13, 1, {6, 8, 10, 12, 34, 35, 36, 30}},
        {13, 8, {6, 8, 10, 12, 14, 37, 27, 30}},
    };
    for (const SLayoutCase& layoutCase : cases)
    {
        CRIOPacket packet;
        packet.SetTypeAndIDSize(layoutCase.ulFType, 0);
        if (packet.FindField(eRIOFieldTRANSACTION))
        {
            Set(packet, eRIOFieldTRANSACTION, layoutCase.ulTrans);
        }
        // 8 bytes of data, no long tail (Size decides the maintenance response's data too).
        packet.GetFieldObject(eRIOFieldSIZE)->SetValue(layoutCase.ulFType == 11 ? 9 : 11, false);
        std::vector<uint32_t> expected(std::begin(kHeader), std::end(kHeader));
        expected.insert(expected.end(), layoutCase.ids.begin(), layoutCase.ids.end());
        EXPECT_EQ(expected, Layout(packet))
            << "FType " << layoutCase.ulFType << " Trans " << layoutCase.ulTrans;
        // Padded to 32 bits, but for the doorbell, whose 8-bit Info leaves it at 72 bits and 16 of pad.
        EXPECT_EQ(layoutCase.ulFType == 10 ? 88u : 0u,
                  InPacketBits(packet) % 32 + (layoutCase.ulFType == 10 ? 64 : 0));
    }

    // 16-bit IDs and the extended addresses.
    CRIOPacket packet;
    packet.SetTypeAndIDSize(2, 1);
    packet.SetAddressBits(50);
    EXPECT_EQ(WithHeader({7, 9, 10, 11, 13, 18, 16, 17, 21, 26, 30}), Layout(packet));
    packet.SetAddressBits(66);
    EXPECT_EQ(WithHeader({7, 9, 10, 11, 13, 19, 16, 17, 21, 26, 30, 31}), Layout(packet));
    packet.SetAddressBits(40);
    EXPECT_EQ(66u, packet.GetAddressBits()) << "only 34, 50 and 66 are address sizes";
    packet.SetTypeAndIDSize(6, 0);
    EXPECT_EQ(WithHeader({6, 8, 19, 16, 17, 22, 26, 37, 27, 30, 31}), Layout(packet));
}

TEST(RIOPacket, TheDoorbellCarriesAnEightBitInfoAndIsPaddedOnce)
{
    CRIOPacket packet;
    packet.SetTypeAndIDSize(10, 0);
    Set(packet, eRIOFieldINFO, 0x1AB);
    EXPECT_EQ(0xFFu, Get(packet, eRIOFieldINFO));
    // 72 bits and 16 of pad: 11 bytes.
    EXPECT_EQ(11u, packet.GetPacketBytes());
}

TEST(RIOPacket, DataIsSizedBySizeAndWdptrOrByDataSize)
{
    CRIOPacket packet;
    // Maintenance: Trans 1, 2 and 4 carry the size by Size and wdptr, at most 64, in double-words.
    packet.SetTypeAndIDSize(8, 0);
    Set(packet, eRIOFieldTRANSACTION, 1);
    const std::vector<std::tuple<uint32_t, uint32_t, int32_t>> maintenance = {
        {8, 0, 64}, {5, 1, 64}, {11, 0, 64}, {11, 1, 128}, {12, 0, 256}, {12, 1, 512}, {15, 1, 512}};
    for (const auto& [ulSize, ulWdptr, nBits] : maintenance)
    {
        Set(packet, eRIOFieldSIZE, ulSize);
        Set(packet, eRIOFieldWDPTR, ulWdptr);
        EXPECT_EQ(nBits, Field(packet, eRIOFieldDATA).nBits) << "Size " << ulSize << " wdptr " << ulWdptr;
    }
    Set(packet, eRIOFieldTRANSACTION, 7);
    EXPECT_EQ(0, Field(packet, eRIOFieldDATA).nBits) << "Trans 7 lists Data but sizes it to nothing";

    // A streaming write rounds Data Size up to double-words and holds it between 8 and 256.
    packet.SetTypeAndIDSize(6, 0);
    const std::vector<std::pair<uint32_t, uint32_t>> streaming = {
        {0, 8}, {1, 8}, {9, 16}, {72, 72}, {1000, 256}};
    for (const auto& [ulDataSize, ulBytes] : streaming)
    {
        Set(packet, eRIOFieldDATASIZE, ulDataSize);
        std::vector<uint8_t> data;
        ASSERT_TRUE(packet.GetData(data));
        EXPECT_EQ(ulBytes, data.size()) << "Data Size " << ulDataSize;
        uint32_t nDataBytes = 0;
        uint32_t nDataSize = 0;
        std::vector<uint8_t> bytes;
        packet.GetStream(bytes, &nDataBytes, &nDataSize);
        EXPECT_EQ(ulBytes, nDataBytes);
        EXPECT_EQ(ulDataSize, nDataSize);
    }
    // 256 bytes: 72 before the early CRC (8 header bytes ahead), 184 after.
    EXPECT_EQ(72 * 8, Field(packet, eRIOFieldDATA).nBits);
    EXPECT_EQ(184 * 8, Field(packet, eRIOFieldDATA2).nBits);

    // A response rounds down; messages go by Size.
    packet.SetTypeAndIDSize(13, 0);
    Set(packet, eRIOFieldTRANSACTION, 8);
    Set(packet, eRIOFieldDATASIZE, 15);
    EXPECT_EQ(64, Field(packet, eRIOFieldDATA).nBits);
    Set(packet, eRIOFieldDATASIZE, 3);
    EXPECT_EQ(64, Field(packet, eRIOFieldDATA).nBits);
    packet.SetTypeAndIDSize(11, 0);
    const std::vector<std::pair<uint32_t, uint32_t>> messages = {{9, 8},    {10, 16},  {11, 32}, {12, 64},
                                                                 {13, 128}, {14, 256}, {0, 256}};
    for (const auto& [ulSize, ulBytes] : messages)
    {
        Set(packet, eRIOFieldSIZE, ulSize);
        std::vector<uint8_t> data;
        ASSERT_TRUE(packet.GetData(data));
        EXPECT_EQ(ulBytes, data.size()) << "Size " << ulSize;
    }
}

TEST(RIOPacket, ALongWriteGetsAnEarlyCrcAfterByte80AndTheFinalCrcCoversIt)
{
    CRIOPacket packet;
    packet.SetTypeAndIDSize(5, 0);
    Set(packet, eRIOFieldTRANSACTION, 14);
    Set(packet, eRIOFieldSIZE, 12);
    Set(packet, eRIOFieldWDPTR, 1);
    // 64 bytes doubled for the test-and-swap: 128.
    ASSERT_NE(nullptr, packet.FindField(eRIOFieldEARLYCRC));
    ASSERT_NE(nullptr, packet.FindField(eRIOFieldDATA2));
    EXPECT_EQ(70 * 8, Field(packet, eRIOFieldDATA).nBits);
    EXPECT_EQ(58 * 8, Field(packet, eRIOFieldDATA2).nBits);
    EXPECT_EQ(80u, OffsetOf(packet, eRIOFieldEARLYCRC)) << "Data ends at byte 80 of the packet";

    std::vector<uint8_t> data(128);
    for (size_t i = 0; i < data.size(); ++i)
    {
        data[i] = static_cast<uint8_t>(i * 7 + 3);
    }
    ASSERT_TRUE(packet.SetData(data.data(), nullptr, 128));
    Set(packet, eRIOFieldACKID, 0x2A);
    const std::vector<uint8_t> bytes = Stream(packet);
    // 10 header bytes, 70 data, early CRC, 58 data, CRC, pad.
    ASSERT_EQ(144u, bytes.size());
    EXPECT_EQ(WireCrc(bytes, 80), Word16(bytes, 80));
    EXPECT_EQ(WireCrc(bytes, 140), Word16(bytes, 140));
    EXPECT_EQ(0, Word16(bytes, 142)) << "pad";
    EXPECT_EQ(std::vector<uint8_t>(data.begin(), data.begin() + 70),
              std::vector<uint8_t>(bytes.begin() + 10, bytes.begin() + 80));
    EXPECT_EQ(std::vector<uint8_t>(data.begin() + 70, data.end()),
              std::vector<uint8_t>(bytes.begin() + 82, bytes.begin() + 140));
    EXPECT_EQ(0x2A << 2, bytes[0] & 0xFC) << "the ackID is on the wire, only the CRC takes it as 0";
    std::vector<uint8_t> back;
    ASSERT_TRUE(packet.GetData(back));
    EXPECT_EQ(data, back);
}

TEST(RIOPacket, TheLayoutSeesDataSizeBeforeSizingRoundsIt)
{
    // A response of 79 bytes by Data Size: over the 74 bytes of room, so the tail is laid out, but
    // sizing rounds it down to 72, which fits, and leaves Data2 as it was.
    CRIOPacket packet;
    packet.SetTypeAndIDSize(13, 0);
    Set(packet, eRIOFieldTRANSACTION, 8);
    Set(packet, eRIOFieldDATASIZE, 79);
    EXPECT_NE(nullptr, packet.FindField(eRIOFieldEARLYCRC));
    ASSERT_NE(nullptr, packet.FindField(eRIOFieldDATA2));
    EXPECT_EQ(72 * 8, Field(packet, eRIOFieldDATA).nBits);
    EXPECT_EQ(0, Field(packet, eRIOFieldDATA2).nBits);
}

TEST(RIOPacket, AnAddressSplitsIntoItsPiecesAndThePiecesComposeItAgain)
{
    CRIOPacket packet;
    packet.SetTypeAndIDSize(2, 0);
    packet.SetAddressBits(50);
    const uint64_t ulAddress = 0x0003ABCD98765434ull; // bits 49:0
    uint8_t ab[9] = {};
    for (int i = 0; i < 8; ++i)
    {
        ab[i] = static_cast<uint8_t>(ulAddress >> (8 * i));
    }
    ASSERT_TRUE(Field(packet, eRIOFieldADDRESS).SetValueBytes(ab, 9, false));
    EXPECT_EQ((ulAddress >> 34) & 0xFFFF, Get(packet, eRIOFieldEXTADDR16));
    EXPECT_EQ((ulAddress >> 32) & 3, Get(packet, eRIOFieldXAMSBS));
    EXPECT_EQ((ulAddress >> 3) & 0x1FFFFFFF, Get(packet, eRIOFieldADDR));
    EXPECT_EQ((ulAddress >> 2) & 1, Get(packet, eRIOFieldWDPTR));
    // On the wire: ext addr, then addr, wdptr and xamsbs in one word (34-bit part).
    const std::vector<uint8_t> bytes = Stream(packet);
    ASSERT_EQ(16u, bytes.size());
    EXPECT_EQ((ulAddress >> 34) & 0xFFFF, Word16(bytes, 6));
    const uint32_t ulWord =
        static_cast<uint32_t>(bytes[8]) << 24 | bytes[9] << 16 | bytes[10] << 8 | bytes[11];
    EXPECT_EQ(((ulAddress & 0xFFFFFFF8) | (((ulAddress >> 2) & 1) << 2) | ((ulAddress >> 32) & 3)), ulWord);

    // The pieces compose the address back in the same layout...
    Set(packet, eRIOFieldWDPTR, 0);
    const uint8_t* pbAddress = nullptr;
    uint32_t nCount = 0;
    Field(packet, eRIOFieldADDRESS).GetValueBytes(&pbAddress, &nCount);
    ASSERT_EQ(9u, nCount);
    const uint64_t ulNoWdptr = ulAddress & ~uint64_t{4} & ~uint64_t{3};
    for (uint32_t i = 0; i < 9; ++i)
    {
        EXPECT_EQ(static_cast<uint8_t>(i < 8 ? ulNoWdptr >> (8 * i) : 0), pbAddress[i]) << "byte " << i;
    }
    // ...but an edit of Addr itself writes Ext Addr unshifted after the low word, then ExtAdd MSBs.
    Set(packet, eRIOFieldADDR, 0x1234567);
    Field(packet, eRIOFieldADDRESS).GetValueBytes(&pbAddress, &nCount);
    const uint8_t abAddr[9] = {0x38, 0x2B, 0x1A, 0x09, 0xF3, 0xEA, 0x01, 0, 0};
    EXPECT_EQ(std::vector<uint8_t>(abAddr, abAddr + 9), std::vector<uint8_t>(pbAddress, pbAddress + 9));
    EXPECT_EQ(0xEAF3u, Get(packet, eRIOFieldEXTADDR16)) << "the pieces themselves are untouched";
}

TEST(RIOPacket, ASixtySixBitAddressLosesItsExtAddrThroughTheSplit)
{
    CRIOPacket packet;
    packet.SetTypeAndIDSize(5, 1);
    packet.SetAddressBits(66);
    const uint64_t ulAddress = 0xFEDCBA9876543215ull;
    uint8_t ab[9] = {};
    for (int i = 0; i < 8; ++i)
    {
        ab[i] = static_cast<uint8_t>(ulAddress >> (8 * i));
    }
    ab[8] = 0x02;
    Field(packet, eRIOFieldADDRESS).SetValueBytes(ab, 9, false);
    // Bits 65:34 go through SetValue, which keeps only 0 in a 32-bit field.
    EXPECT_EQ(0u, Get(packet, eRIOFieldEXTADDR32));
    EXPECT_FALSE(Field(packet, eRIOFieldEXTADDR32).IsValueValid());
    EXPECT_EQ((ulAddress >> 32) & 3, Get(packet, eRIOFieldXAMSBS));
    EXPECT_EQ((ulAddress >> 3) & 0x1FFFFFFF, Get(packet, eRIOFieldADDR));
    EXPECT_EQ(1u, Get(packet, eRIOFieldWDPTR));

    // Bytes get there; a piece's change then composes all 66 bits.
    const uint8_t abExt[4] = {0x89, 0xAB, 0xCD, 0xEF};
    Field(packet, eRIOFieldEXTADDR32).SetValueBytes(abExt, 4, false);
    Set(packet, eRIOFieldXAMSBS, 2);
    const uint8_t* pbAddress = nullptr;
    uint32_t nCount = 0;
    Field(packet, eRIOFieldADDRESS).GetValueBytes(&pbAddress, &nCount);
    const uint32_t ulExt = 0x89ABCDEF;
    EXPECT_EQ(static_cast<uint8_t>((ulExt << 2) | 2), pbAddress[4]);
    EXPECT_EQ(static_cast<uint8_t>(ulExt >> 6), pbAddress[5]);
    EXPECT_EQ(static_cast<uint8_t>(ulExt >> 30), pbAddress[8]);
}

TEST(RIOPacket, RegisterAddressSplitsIntoConfigOffsetAndWdptrAndTheyComposeIt)
{
    CRIOPacket packet;
    packet.SetTypeAndIDSize(8, 0);
    Set(packet, eRIOFieldREGADDRESS, 0x12344C);
    EXPECT_EQ(0x12344Cu >> 3, Get(packet, eRIOFieldCONFIGOFFSET));
    EXPECT_EQ(1u, Get(packet, eRIOFieldWDPTR));
    const std::vector<uint8_t> bytes = Stream(packet);
    ASSERT_EQ(12u, bytes.size());
    EXPECT_EQ(0x12, bytes[7]);
    EXPECT_EQ(0x34, bytes[8]);
    EXPECT_EQ(0x4C, bytes[9]) << "config offset, wdptr, two reserved bits";

    Set(packet, eRIOFieldCONFIGOFFSET, 0x10);
    EXPECT_EQ(0x84u, Get(packet, eRIOFieldREGADDRESS));
    Set(packet, eRIOFieldWDPTR, 0);
    EXPECT_EQ(0x80u, Get(packet, eRIOFieldREGADDRESS));
    // Without notification the aid is left alone.
    Field(packet, eRIOFieldCONFIGOFFSET).SetValue(0x20, true);
    EXPECT_EQ(0x80u, Get(packet, eRIOFieldREGADDRESS));
}

TEST(RIOPacket, PickListsGiveTheirTextsByClassSizeAndWdptr)
{
    CRIOPacket packet;
    packet.SetTypeAndIDSize(2, 0);
    QString strText;
    Field(packet, eRIOFieldPRIORITY).GetOptions(strText);
    EXPECT_EQ("0=Low\n1=Medium\n2=High\n3=Highest\n", strText.toStdString());
    Field(packet, eRIOFieldTT).GetOptions(strText);
    EXPECT_EQ("0=8-bit Source/Dest IDs\n1=16-bit Source/Dest IDs\n", strText.toStdString());
    Field(packet, eRIOFieldFTYPE).GetOptions(strText);
    EXPECT_EQ(
        "2=Request Class\n5=Write Class\n6=Streaming-Write Class\n8=Maintenance Class\nA=Doorbell Class\n"
        "B=Message Class\nD=Response Class\n",
        strText.toStdString());
    Field(packet, eRIOFieldTRANSACTION).GetOptions(strText);
    EXPECT_EQ("4=NREAD\nC=ATOMIC inc\nD=ATOMIC dec\nE=ATOMIC set\nF=ATOMIC clr\n", strText.toStdString());
    Field(packet, eRIOFieldSIZE).GetOptions(strText);
    EXPECT_EQ(16u, Field(packet, eRIOFieldSIZE).vecOptions.size());
    EXPECT_TRUE(strText.startsWith("0=1 Byte  [10000000]\n1=1 Byte  [01000000]\n"));
    EXPECT_TRUE(strText.contains("B=8 Bytes  [11111111]\n"));
    EXPECT_TRUE(strText.endsWith("F=224 Bytes\n"));
    Field(packet, eRIOFieldADDR).GetOptions(strText);
    EXPECT_EQ("<Error: No Options>", strText.toStdString());
    EXPECT_FALSE(Field(packet, eRIOFieldADDR).HasOptions());

    Set(packet, eRIOFieldWDPTR, 1);
    Field(packet, eRIOFieldSIZE).GetOptions(strText);
    EXPECT_TRUE(strText.startsWith("0=1 Byte  [00001000]\n"));
    EXPECT_TRUE(strText.contains("6=2 Bytes  [00000011]\n"));
    EXPECT_TRUE(strText.contains("B=16 Bytes\n"));
    EXPECT_TRUE(strText.endsWith("F=256 Bytes\n"));

    // wdptr offers the row of the current Size.
    Set(packet, eRIOFieldSIZE, 11);
    Field(packet, eRIOFieldWDPTR).GetOptions(strText);
    EXPECT_EQ("0=8 Bytes  [11111111]\n1=16 Bytes\n", strText.toStdString());
    Set(packet, eRIOFieldSIZE, 5);
    Field(packet, eRIOFieldWDPTR).GetOptions(strText);
    EXPECT_EQ("0=3 Bytes  [11100000]\n1=3 Bytes  [00000111]\n", strText.toStdString());

    packet.SetTypeAndIDSize(5, 0);
    Field(packet, eRIOFieldTRANSACTION).GetOptions(strText);
    EXPECT_EQ("4=NWRITE\n5=NWRITE_R\nC=Atomic Swap\nD=Atomic Compare & Swap\nE=Atomic Test & Swap\n",
              strText.toStdString());
    packet.SetTypeAndIDSize(8, 0);
    Field(packet, eRIOFieldTRANSACTION).GetOptions(strText);
    EXPECT_EQ("0=Maint Read Request\n1=Maint Write Request\n2=Maint Read Response\n3=Maint Write Response\n"
              "4=Port-write Request\n",
              strText.toStdString());
    Field(packet, eRIOFieldSIZE).GetOptions(strText);
    EXPECT_EQ(13u, Field(packet, eRIOFieldSIZE).vecOptions.size()) << "maintenance sizes stop at 12";
    packet.SetTypeAndIDSize(11, 0);
    Field(packet, eRIOFieldSIZE).GetOptions(strText);
    EXPECT_EQ("9=8 Bytes\nA=16 Bytes\nB=32 Bytes\nC=64 Bytes\nD=128 Bytes\nE=256 Bytes\n",
              strText.toStdString());
    packet.SetTypeAndIDSize(13, 0);
    Field(packet, eRIOFieldTRANSACTION).GetOptions(strText);
    EXPECT_EQ("0=Response WITHOUT Data\n1=Message Response\n8=Response WITH Data\n", strText.toStdString());
    Field(packet, eRIOFieldSTATUS).GetOptions(strText);
    EXPECT_EQ("0=Done\n7=Error\n", strText.toStdString());

    // Trans offers a list only for the classes that have one.
    packet.SetTypeAndIDSize(6, 0);
    EXPECT_FALSE(packet.GetFieldObject(eRIOFieldTRANSACTION)->HasOptions());
    packet.GetFieldObject(eRIOFieldTRANSACTION)->GetOptions(strText);
    EXPECT_EQ("", strText.toStdString());
    EXPECT_FALSE(packet.GetFieldObject(eRIOFieldSIZE)->HasOptions());
}

TEST(RIOPacket, SelectOptionTakesTheEntryByIndex)
{
    CRIOPacket packet;
    packet.SetTypeAndIDSize(8, 0);
    CRIOPacketField& ftype = Field(packet, eRIOFieldFTYPE);
    ftype.SelectOption(6);
    EXPECT_EQ(13u, packet.GetFType()) << "the seventh class";
    EXPECT_NE(nullptr, packet.FindField(eRIOFieldTARGETTID)) << "and laid out";
    ftype.SelectOption(7);
    EXPECT_EQ(13u, packet.GetFType()) << "out of range: nothing";
    CRIOPacketField& trans = Field(packet, eRIOFieldTRANSACTION);
    trans.SelectOption(2);
    EXPECT_EQ(8u, trans.GetValue());
    EXPECT_NE(nullptr, packet.FindField(eRIOFieldDATA));
    Set(packet, eRIOFieldTARGETTID, 5);
    Field(packet, eRIOFieldTARGETTID).SelectOption(0);
    EXPECT_EQ(5u, Get(packet, eRIOFieldTARGETTID)) << "a field without a pick list ignores it";
}

TEST(RIOPacket, ToolTipsExplainTheAidsAndTheCrcs)
{
    CRIOPacket packet;
    QString strText;
    packet.SetTypeAndIDSize(6, 0);
    ASSERT_TRUE(Field(packet, eRIOFieldADDRESS).HasToolTip());
    Field(packet, eRIOFieldADDRESS).GetToolTip(strText);
    EXPECT_EQ("This field sets the Addr, Ext Addr (if present), XAMSBS, and wdptr fields for you.  It is not "
              "actually part of the packet.",
              strText.toStdString());
    Field(packet, eRIOFieldDATASIZE).GetToolTip(strText);
    EXPECT_EQ("This field sets the size of the Data field(s).  It is not actually part of the packet.",
              strText.toStdString());
    Field(packet, eRIOFieldCRC).GetToolTip(strText);
    EXPECT_EQ("CRC for the packet.  Double click to force automatic calculation.", strText.toStdString());
    packet.GetFieldObject(eRIOFieldEARLYCRC)->GetToolTip(strText);
    EXPECT_EQ("Early CRC for the packet.  Double click to force automatic calculation.",
              strText.toStdString());
    EXPECT_FALSE(Field(packet, eRIOFieldADDR).HasToolTip());

    packet.SetTypeAndIDSize(13, 0);
    Set(packet, eRIOFieldTRANSACTION, 8);
    EXPECT_TRUE(Field(packet, eRIOFieldDATASIZE).HasToolTip());
    Field(packet, eRIOFieldDATASIZE).GetToolTip(strText);
    EXPECT_EQ("", strText.toStdString()) << "only streaming and plain writes explain it";
    packet.SetTypeAndIDSize(8, 0);
    Field(packet, eRIOFieldREGADDRESS).GetToolTip(strText);
    EXPECT_EQ(
        "This field sets the Config Offset and wdptr fields for you.  It is not actually part of the packet.",
        strText.toStdString());
}

TEST(RIOPacket, ColumnsHaveTheirWidthsAndTheAidsStayOffTheWire)
{
    CRIOPacket packet;
    std::map<uint32_t, uint32_t> widths = {
        {eRIOFieldADDR, 60},  {eRIOFieldADDRESS, 65}, {eRIOFieldREGADDRESS, 55}, {eRIOFieldDATA, 80},
        {eRIOFieldDATA2, 80}, {eRIOFieldDESTID8, 50}, {eRIOFieldCRC, 50}};
    for (const auto& [nID, nWidth] : widths)
    {
        EXPECT_EQ(nWidth, packet.GetFieldObject(nID)->nColumnWidth) << nID;
    }
    for (uint32_t nID = 0; nID < kRIOFieldCount; ++nID)
    {
        const bool bAid = nID == eRIOFieldADDRESS || nID == eRIOFieldDATASIZE || nID == eRIOFieldREGADDRESS;
        EXPECT_EQ(!bAid, packet.GetFieldObject(nID)->bInPacket) << nID;
    }
    EXPECT_EQ("Data\nSize\n(bytes)", packet.GetFieldObject(eRIOFieldDATASIZE)->strCaption.toStdString());
    EXPECT_EQ("ExtAdd\nMSBs", packet.GetFieldObject(eRIOFieldXAMSBS)->strCaption.toStdString());
}

TEST(RIOPacket, AnNreadWorkedOutByHandPacksToItsBytes)
{
    // ackID 3, VC 0, CRF 0, prio 1, tt 0, ftype 2: 000011 0 0 | 01 00 0010 = 0C 42; dest 12, src 34;
    // ttype 4, rdsize 8 = 48; srcTID 56; address 12345678 with wdptr 1, xamsbs 1: the word is
    // addr[31:3] wdptr xamsbs = 1234567D; then the CRC over it all with the ackID bits as 0.
    CRIOPacket packet;
    packet.SetTypeAndIDSize(2, 0);
    Set(packet, eRIOFieldACKID, 3);
    Set(packet, eRIOFieldPRIORITY, 1);
    Set(packet, eRIOFieldDESTID8, 0x12);
    Set(packet, eRIOFieldSRCID8, 0x34);
    Set(packet, eRIOFieldTRANSACTION, 4);
    Set(packet, eRIOFieldSIZE, 8);
    Set(packet, eRIOFieldSOURCETID, 0x56);
    Set(packet, eRIOFieldADDR, 0x12345678 >> 3);
    Set(packet, eRIOFieldWDPTR, 1);
    Set(packet, eRIOFieldXAMSBS, 1);
    std::vector<uint8_t> expected = {0x0C, 0x42, 0x12, 0x34, 0x48, 0x56, 0x12, 0x34, 0x56, 0x7D};
    const uint16_t uCrc = WireCrc(expected, expected.size());
    expected.push_back(static_cast<uint8_t>(uCrc >> 8));
    expected.push_back(static_cast<uint8_t>(uCrc));
    EXPECT_EQ(expected, Stream(packet));
    EXPECT_EQ(uCrc, Get(packet, eRIOFieldCRC));
    EXPECT_TRUE(Field(packet, eRIOFieldCRC).IsValueValid());
    EXPECT_EQ(0x12u, packet.GetDestID());
    EXPECT_EQ(0x34u, packet.GetSourceID());

    // The independent CRC itself: the CCITT check value of "123456789".
    const std::vector<uint8_t> check = {'1', '2', '3', '4', '5', '6', '7', '8', '9'};
    EXPECT_EQ(0x29B1, BitCrc(check, check.size()));
    EXPECT_EQ(0x29B1, packet.Crc(check.data(), 9));
}

TEST(RIOPacket, AMaintenanceWriteWithSixteenBitIDsWorkedOutByHand)
{
    // ackID 0x21, prio 2, tt 1, ftype 8: 100001 0 0 | 10 01 1000 = 84 98; dest 1234, src ABCD;
    // ttype 1, wrsize 8 = 18; srcTID 07; hop FF; config offset 0x000A1 with wdptr 0 = 00 05 08;
    // 8 bytes of data (4 bytes by size 8, in a double-word); CRC and pad: 24 bytes in all.
    CRIOPacket packet;
    packet.SetTypeAndIDSize(8, 1);
    Set(packet, eRIOFieldTRANSACTION, 1);
    Set(packet, eRIOFieldACKID, 0x21);
    Set(packet, eRIOFieldPRIORITY, 2);
    Set(packet, eRIOFieldDESTID16, 0x1234);
    Set(packet, eRIOFieldSRCID16, 0xABCD);
    Set(packet, eRIOFieldSIZE, 8);
    Set(packet, eRIOFieldSOURCETID, 7);
    Set(packet, eRIOFieldHOPCOUNT, 0xFF);
    Set(packet, eRIOFieldREGADDRESS, 0x508);
    const uint8_t abData[8] = {0xDE, 0xAD, 0xBE, 0xEF, 0, 0, 0, 0};
    ASSERT_TRUE(packet.SetData(abData, nullptr, 8));
    std::vector<uint8_t> expected = {0x84, 0x98, 0x12, 0x34, 0xAB, 0xCD, 0x18, 0x07, 0xFF, 0x00,
                                     0x05, 0x08, 0xDE, 0xAD, 0xBE, 0xEF, 0x00, 0x00, 0x00, 0x00};
    const uint16_t uCrc = WireCrc(expected, expected.size());
    expected.push_back(static_cast<uint8_t>(uCrc >> 8));
    expected.push_back(static_cast<uint8_t>(uCrc));
    expected.push_back(0);
    expected.push_back(0);
    EXPECT_EQ(expected, Stream(packet));
    EXPECT_EQ(0x1234u, packet.GetDestID());
    EXPECT_EQ(0xABCDu, packet.GetSourceID());
}

TEST(RIOPacket, WithoutAutoCrcAChangeTurnsTheCrcIllegalUntilItIsRight)
{
    CRIOPacket packet;
    packet.SetTypeAndIDSize(10, 0);
    Set(packet, eRIOFieldINFO, 0x11);
    const uint32_t ulGood = Get(packet, eRIOFieldCRC);
    packet.SetAutoCRC(false);
    EXPECT_TRUE(Field(packet, eRIOFieldCRC).IsValueValid());
    Set(packet, eRIOFieldDESTID8, 0x22);
    CRIOPacketField& crc = Field(packet, eRIOFieldCRC);
    EXPECT_FALSE(crc.IsValueValid()) << "the CRC stays as it was and no longer fits";
    EXPECT_EQ(ulGood, crc.GetValue());
    Set(packet, eRIOFieldDESTID8, 0);
    EXPECT_TRUE(crc.IsValueValid()) << "back to the bytes it was computed for";
    Set(packet, eRIOFieldDESTID8, 0x22);
    ASSERT_FALSE(crc.IsValueValid());

    // Typing the right value makes it legal; the double click recomputes it.
    std::vector<uint8_t> bytes = Stream(packet);
    const uint16_t uRight = WireCrc(bytes, 7);
    crc.SetValue(uRight ^ 1, false);
    EXPECT_FALSE(crc.IsValueValid());
    crc.SetValue(uRight, false);
    EXPECT_TRUE(crc.IsValueValid());
    Set(packet, eRIOFieldSOURCETID, 9);
    ASSERT_FALSE(crc.IsValueValid());
    packet.UpdateCRC(false);
    EXPECT_TRUE(crc.IsValueValid());
    packet.PackStream();
    bytes = Stream(packet);
    EXPECT_EQ(WireCrc(bytes, 7), Word16(bytes, 7));

    // Turning it back on recomputes.
    Set(packet, eRIOFieldSOURCETID, 10);
    packet.SetAutoCRC(true);
    EXPECT_TRUE(crc.IsValueValid());
    Set(packet, eRIOFieldSOURCETID, 11);
    bytes = Stream(packet);
    EXPECT_EQ(WireCrc(bytes, 7), Word16(bytes, 7));
}

TEST(RIOPacket, TheEarlyCrcIsCheckedOnItsOwn)
{
    CRIOPacket packet;
    packet.SetTypeAndIDSize(6, 0);
    Set(packet, eRIOFieldDATASIZE, 200);
    std::vector<uint8_t> data(200, 0x5A);
    packet.SetData(data.data(), nullptr, 200);
    packet.SetAutoCRC(false);
    EXPECT_TRUE(Field(packet, eRIOFieldEARLYCRC).IsValueValid());
    EXPECT_TRUE(Field(packet, eRIOFieldCRC).IsValueValid());
    // A byte after the early CRC spoils only the final CRC.
    data[150] = 0;
    packet.SetData(data.data(), nullptr, 200);
    EXPECT_TRUE(Field(packet, eRIOFieldEARLYCRC).IsValueValid());
    EXPECT_FALSE(Field(packet, eRIOFieldCRC).IsValueValid());
    // One before it spoils both.
    data[0] = 0;
    packet.SetData(data.data(), nullptr, 200);
    EXPECT_FALSE(Field(packet, eRIOFieldEARLYCRC).IsValueValid());
    Field(packet, eRIOFieldEARLYCRC).SetValue(0x12345, false);
    EXPECT_EQ(0xFFFFu, Get(packet, eRIOFieldEARLYCRC)) << "the early CRC uses the common rule";
    EXPECT_FALSE(Field(packet, eRIOFieldEARLYCRC).IsValueValid());
    packet.UpdateCRC(false);
    EXPECT_TRUE(Field(packet, eRIOFieldEARLYCRC).IsValueValid());
    EXPECT_TRUE(Field(packet, eRIOFieldCRC).IsValueValid());
}

TEST(RIOPacket, CallbacksTellOfEachRebuildAndEachFieldTakenOver)
{
    struct SSeen
    {
        int nLayouts = 0;
        std::vector<uint32_t> fields;
    } seen;
    CRIOPacket packet;
    packet.SetLayoutCallback(&seen, [](void* pArg) { ++static_cast<SSeen*>(pArg)->nLayouts; });
    packet.SetFieldCallback(&seen, [](void* pArg, uint32_t nID)
                            { static_cast<SSeen*>(pArg)->fields.push_back(nID); });
    packet.SetTypeAndIDSize(8, 0);
    EXPECT_EQ(3, seen.nLayouts) << "FType, TT and the last rebuild";
    EXPECT_EQ(std::vector<uint32_t>({eRIOFieldFTYPE, eRIOFieldTT}), seen.fields);
    seen = {};
    Set(packet, eRIOFieldDESTID8, 4);
    EXPECT_EQ(0, seen.nLayouts);
    EXPECT_EQ(std::vector<uint32_t>({eRIOFieldDESTID8}), seen.fields);
    seen = {};
    Set(packet, eRIOFieldCONFIGOFFSET, 4);
    EXPECT_EQ(1, seen.nLayouts) << "Register Address rebuilds";
    EXPECT_EQ(std::vector<uint32_t>({eRIOFieldREGADDRESS, eRIOFieldCONFIGOFFSET}), seen.fields);
    seen = {};
    // A field that isn't in the list only rebuilds.
    packet.GetFieldObject(eRIOFieldINFO)->SetValue(3, false);
    EXPECT_EQ(1, seen.nLayouts);
    EXPECT_TRUE(seen.fields.empty());
    seen = {};
    Set(packet, eRIOFieldHOPCOUNT, 5);
    packet.GetFieldObject(eRIOFieldHOPCOUNT)->SetValue(6, true);
    EXPECT_EQ(std::vector<uint32_t>({eRIOFieldHOPCOUNT}), seen.fields) << "no notification, no call";
}

TEST(RIOPacket, ExpectsResponseByClassAndTransaction)
{
    CRIOPacket packet;
    const std::vector<std::tuple<uint32_t, uint32_t, bool>> cases = {
        {2, 4, true}, {5, 4, false}, {5, 5, true},  {6, 0, false}, {8, 0, true},   {8, 1, true},
        {8, 2, true}, {8, 4, false}, {10, 0, true}, {11, 0, true}, {13, 0, false}, {13, 8, false}};
    for (const auto& [ulFType, ulTrans, bExpects] : cases)
    {
        packet.SetTypeAndIDSize(ulFType, 0);
        packet.GetFieldObject(eRIOFieldTRANSACTION)->SetValue(ulTrans, false);
        EXPECT_EQ(bExpects, packet.ExpectsResponse()) << "FType " << ulFType << " Trans " << ulTrans;
    }
}

TEST(RIOPacket, LoadStreamReadsTheFieldsOfTheCurrentListAndLeavesTheRest)
{
    CRIOPacket source;
    source.SetTypeAndIDSize(10, 0);
    Set(source, eRIOFieldACKID, 9);
    Set(source, eRIOFieldDESTID8, 0xA5);
    Set(source, eRIOFieldSRCID8, 0x5A);
    Set(source, eRIOFieldSOURCETID, 0x77);
    Set(source, eRIOFieldINFO, 0xC3);
    std::vector<uint8_t> mask;
    std::vector<uint8_t> bytes;
    ASSERT_TRUE(source.GetStream(bytes, nullptr, nullptr, &mask));

    // A packet in another layout reads only as far as its list goes, and nPacketBytes stays.
    CRIOPacket target;
    target.LoadStream(bytes.data(), static_cast<uint32_t>(bytes.size()));
    EXPECT_EQ(10u, target.GetFType());
    EXPECT_EQ(WithHeader({eRIOFieldCRC}), Layout(target)) << "LoadStream doesn't rebuild";
    EXPECT_EQ(4u, target.GetPacketBytes());
    // Loaded again after the rebuild, every field is there; no mask means all ones.
    target.SetTypeAndIDSize(target.GetFType(), target.GetTT());
    target.LoadStream(bytes.data(), static_cast<uint32_t>(bytes.size()));
    EXPECT_EQ(9u, Get(target, eRIOFieldACKID));
    EXPECT_EQ(0xA5u, Get(target, eRIOFieldDESTID8));
    EXPECT_EQ(0xC3u, Get(target, eRIOFieldINFO));
    EXPECT_EQ(source.FindField(eRIOFieldCRC)->GetValue(), Get(target, eRIOFieldCRC));
    EXPECT_EQ(0x3Fu, Field(target, eRIOFieldACKID).GetMask());
    EXPECT_EQ(0xFFu, Field(target, eRIOFieldINFO).GetMask());
    EXPECT_EQ(0xFFFFu, Field(target, eRIOFieldCRC).GetMask());

    // With a mask stream the masks come from it; a short stream leaves the later fields unread.
    std::vector<uint8_t> customMask(bytes.size(), 0);
    customMask[2] = 0xF0; // dest ID
    const uint32_t ulDataSize = 40;
    target.LoadStream(bytes.data(), 3, &ulDataSize, customMask.data());
    EXPECT_EQ(0xF0u, Field(target, eRIOFieldDESTID8).GetMask());
    EXPECT_EQ(0xFFu, Field(target, eRIOFieldSRCID8).GetMask()) << "byte 3 lies past the count: unread";
    EXPECT_EQ(0x5Au, Get(target, eRIOFieldSRCID8));
    EXPECT_EQ(0xFFu, Field(target, eRIOFieldINFO).GetMask());
    EXPECT_EQ(40u, target.GetFieldObject(eRIOFieldDATASIZE)->GetValue());
}

TEST(RIOPacket, MasksPackIntoTheMaskStreamInTheSameLayout)
{
    CRIOPacket packet;
    packet.SetTypeAndIDSize(13, 0);
    Field(packet, eRIOFieldFTYPE).SetMask(0xF, false);
    Field(packet, eRIOFieldDESTID8).SetMask(0xFF, false);
    Field(packet, eRIOFieldTARGETTID).SetMask(0x0F, false);
    std::vector<uint8_t> bytes;
    std::vector<uint8_t> mask;
    packet.GetStream(bytes, nullptr, nullptr, &mask);
    ASSERT_EQ(8u, mask.size());
    EXPECT_EQ(std::vector<uint8_t>({0x00, 0x0F, 0xFF, 0x00, 0x00, 0x0F, 0x00, 0x00}), mask);
}

// Sets every field of the list that doesn't decide the layout to a pseudo-random value.
void FillFields(CRIOPacket& packet, std::mt19937& random)
{
    for (int i = 0; i < packet.GetFieldCount(); ++i)
    {
        CRIOPacketField* pField = packet.GetField(i);
        switch (pField->nFieldID)
        {
        case eRIOFieldTT:
        case eRIOFieldFTYPE:
        case eRIOFieldTRANSACTION:
        case eRIOFieldSIZE:
        case eRIOFieldWDPTR:
        case eRIOFieldDATASIZE:
        case eRIOFieldADDRESS:
        case eRIOFieldREGADDRESS:
        case eRIOFieldCRC:
        case eRIOFieldEARLYCRC:
        case eRIOFieldPAD:
        case eRIOFieldDATA:
        case eRIOFieldDATA2:
            break;
        case eRIOFieldEXTADDR32:
        {
            const uint32_t ulValue = random();
            const uint8_t ab[4] = {static_cast<uint8_t>(ulValue >> 24), static_cast<uint8_t>(ulValue >> 16),
                                   static_cast<uint8_t>(ulValue >> 8), static_cast<uint8_t>(ulValue)};
            pField->SetValueBytes(ab, 4, false);
            break;
        }
        default:
            pField->SetValue(static_cast<uint32_t>(random()) & ((1u << pField->nBits) - 1), false);
            break;
        }
    }
    std::vector<uint8_t> data;
    if (packet.GetData(data))
    {
        for (uint8_t& b : data)
        {
            b = static_cast<uint8_t>(random());
        }
        packet.SetData(data.data(), nullptr, static_cast<uint32_t>(data.size()));
    }
}

struct SClassCase
{
    uint32_t ulFType, ulTT, ulTrans, ulSize, ulWdptr, ulDataSize, nAddressBits;
};

TEST(RIOPacket, EveryClassPacksAndUnpacksBackToTheSameFields)
{
    const std::vector<SClassCase> cases = {
        {2, 0, 4, 8, 0, 0, 34},   {2, 1, 12, 11, 1, 0, 50}, {2, 0, 4, 15, 1, 0, 66},  {5, 0, 4, 11, 0, 0, 34},
        {5, 1, 5, 12, 1, 0, 50},  {5, 0, 14, 12, 1, 0, 66}, {5, 1, 4, 15, 1, 0, 34},  {6, 0, 0, 0, 0, 16, 34},
        {6, 1, 0, 0, 0, 256, 66}, {6, 0, 0, 0, 0, 72, 50},  {8, 0, 0, 8, 1, 0, 34},   {8, 1, 1, 11, 0, 0, 34},
        {8, 0, 2, 8, 0, 0, 34},   {8, 1, 3, 8, 0, 0, 34},   {8, 0, 4, 12, 1, 0, 34},  {10, 0, 0, 0, 0, 0, 34},
        {10, 1, 0, 0, 0, 0, 34},  {11, 0, 0, 9, 0, 0, 34},  {11, 1, 0, 14, 0, 0, 34}, {13, 0, 0, 0, 0, 0, 34},
        {13, 1, 1, 0, 0, 0, 34},  {13, 0, 8, 0, 0, 8, 34},  {13, 1, 8, 0, 0, 256, 34}};
    std::mt19937 random(1234);
    for (const SClassCase& c : cases)
    {
        SCOPED_TRACE(testing::Message()
                     << "FType " << c.ulFType << " TT " << c.ulTT << " Trans " << c.ulTrans << " Size "
                     << c.ulSize << " Data Size " << c.ulDataSize << " bits " << c.nAddressBits);
        CRIOPacket packet;
        packet.SetAddressBits(c.nAddressBits);
        packet.SetTypeAndIDSize(c.ulFType, c.ulTT);
        for (const auto& [nID, ulValue] :
             {std::pair{eRIOFieldTRANSACTION, c.ulTrans}, std::pair{eRIOFieldSIZE, c.ulSize},
              std::pair{eRIOFieldWDPTR, c.ulWdptr}, std::pair{eRIOFieldDATASIZE, c.ulDataSize}})
        {
            if (CRIOPacketField* pField = packet.FindField(nID))
            {
                pField->SetValue(ulValue, false);
            }
        }
        FillFields(packet, random);
        const std::vector<uint8_t> bytes = Stream(packet);
        ASSERT_FALSE(bytes.empty());
        // A doorbell is 72 or 88 bits and one pad: 11 or 13 bytes.
        EXPECT_EQ(c.ulFType == 10 ? 11u + 2 * c.ulTT : 0u, c.ulFType == 10 ? bytes.size() : bytes.size() % 4);
        EXPECT_EQ(WireCrc(bytes, OffsetOf(packet, eRIOFieldCRC)), Get(packet, eRIOFieldCRC));

        // The same layout: LoadStream gives back every field's bytes.
        CRIOPacket copy;
        copy.SetAddressBits(c.nAddressBits);
        copy.SetTypeAndIDSize(c.ulFType, c.ulTT);
        for (uint32_t nID : {eRIOFieldTRANSACTION, eRIOFieldSIZE, eRIOFieldWDPTR, eRIOFieldDATASIZE})
        {
            if (CRIOPacketField* pField = copy.FindField(nID))
            {
                pField->SetValue(packet.GetFieldObject(nID)->GetValue(), false);
            }
        }
        ASSERT_EQ(Layout(packet), Layout(copy));
        copy.LoadStream(bytes.data(), static_cast<uint32_t>(bytes.size()));
        copy.PackStream();
        EXPECT_EQ(bytes, Stream(copy));

        // From the bytes alone the layout is found again, and the CRCs check.
        CRIOPacket decoded;
        decoded.SetAddressBits(c.nAddressBits);
        EXPECT_TRUE(LoadPacketBytes(decoded, bytes.data(), static_cast<uint32_t>(bytes.size())));
        EXPECT_EQ(Layout(packet), Layout(decoded));
        for (int i = 0; i < packet.GetFieldCount(); ++i)
        {
            const CRIOPacketField* pField = packet.GetField(i);
            if (!pField->bInPacket)
            {
                continue;
            }
            const uint8_t* pbExpected = nullptr;
            const uint8_t* pbActual = nullptr;
            uint32_t nExpected = 0;
            uint32_t nActual = 0;
            pField->GetValueBytes(&pbExpected, &nExpected);
            decoded.GetFieldObject(pField->nFieldID)->GetValueBytes(&pbActual, &nActual);
            EXPECT_EQ(std::vector<uint8_t>(pbExpected, pbExpected + nExpected),
                      std::vector<uint8_t>(pbActual, pbActual + nActual))
                << "field " << pField->nFieldID;
        }
        EXPECT_TRUE(decoded.FindField(eRIOFieldCRC)->IsValueValid());
        if (const CRIOPacketField* pEarly = decoded.FindField(eRIOFieldEARLYCRC))
        {
            EXPECT_TRUE(pEarly->IsValueValid());
        }
        EXPECT_EQ(bytes, Stream(decoded)) << "the stream holds the bytes as loaded";
        EXPECT_FALSE(decoded.IsAutoCRC());
    }
}

TEST(RIOPacket, LoadPacketBytesComposesTheAidsAndFlagsABadCrc)
{
    CRIOPacket packet;
    packet.SetTypeAndIDSize(8, 0);
    Set(packet, eRIOFieldREGADDRESS, 0x00015C);
    std::vector<uint8_t> bytes = Stream(packet);
    CRIOPacket decoded;
    ASSERT_TRUE(LoadPacketBytes(decoded, bytes.data(), static_cast<uint32_t>(bytes.size())));
    EXPECT_EQ(0x15Cu, Get(decoded, eRIOFieldREGADDRESS));
    EXPECT_TRUE(Field(decoded, eRIOFieldCRC).IsValueValid());

    bytes[5] ^= 0x10;
    ASSERT_TRUE(LoadPacketBytes(decoded, bytes.data(), static_cast<uint32_t>(bytes.size())));
    EXPECT_FALSE(Field(decoded, eRIOFieldCRC).IsValueValid());

    // A changed ackID doesn't matter to the CRC.
    bytes[5] ^= 0x10;
    bytes[0] ^= 0xFC;
    ASSERT_TRUE(LoadPacketBytes(decoded, bytes.data(), static_cast<uint32_t>(bytes.size())));
    EXPECT_TRUE(Field(decoded, eRIOFieldCRC).IsValueValid());

    // Bytes the layout doesn't cover are reported.
    bytes.resize(bytes.size() + 4, 0);
    EXPECT_FALSE(LoadPacketBytes(decoded, bytes.data(), static_cast<uint32_t>(bytes.size())));
}
} // namespace
