// The field model against the golden packets, worked out from the RapidIO standard and shared with
// the simulator's own encoder: each packet built from its fields gives its bytes (or the client's
// bytes where the model lays it out differently on purpose), the bytes decode to its fields, and
// the CRCs in the table check by an independent bit-by-bit CRC.
#include "PacketText.h"
#include "RIOPacket.h"
#include "RIOPacketTestSupport.h"
#include "TestSupport.h"

#include <gtest/gtest.h>

#include <QRegularExpression>
#include <fstream>
#include <set>

namespace
{
using namespace pkttest;

struct SGolden
{
    int nLine = 0;
    std::string strName;
    uint32_t nAddressBits = 34;
    std::vector<SPacketFieldText> fields;
    std::vector<uint8_t> bytes;       // as the standard lays it out
    std::vector<uint8_t> clientBytes; // as the model does, where it differs on purpose
};

std::string GoldenPath()
{
    return nvtest::SourceDir() + "/tests/data/golden-packets.txt";
}

std::vector<SGolden> ReadGolden(std::string* pstrError)
{
    std::vector<SGolden> packets;
    std::ifstream file(GoldenPath());
    std::string strLine;
    int nLine = 0;
    while (std::getline(file, strLine))
    {
        ++nLine;
        const QString strText = QString::fromStdString(strLine).trimmed();
        if (strText.isEmpty() || strText.startsWith(QLatin1Char('#')))
        {
            continue;
        }
        const QStringList parts = strText.split(QLatin1Char(';'));
        if (parts.size() != 4 && parts.size() != 5)
        {
            *pstrError = "line " + std::to_string(nLine) + " has " + std::to_string(parts.size()) + " parts";
            return {};
        }
        SGolden golden;
        golden.nLine = nLine;
        golden.strName = parts[0].trimmed().toStdString();
        golden.nAddressBits = parts[1].trimmed().toUInt();
        for (const QString& strField :
             parts[2].split(QRegularExpression(QStringLiteral("\\s+")), Qt::SkipEmptyParts))
        {
            const qsizetype nEquals = strField.indexOf(QLatin1Char('='));
            if (nEquals <= 0)
            {
                *pstrError =
                    "line " + std::to_string(nLine) + ": no FIELD=VALUE in " + strField.toStdString();
                return {};
            }
            golden.fields.push_back({strField.left(nEquals), strField.mid(nEquals + 1)});
        }
        golden.bytes = ParsePacketListLine(parts[3]);
        if (parts.size() == 5)
        {
            golden.clientBytes = ParsePacketListLine(parts[4]);
        }
        packets.push_back(std::move(golden));
    }
    return packets;
}

// The value a golden line gives a field, or nullptr.
const SPacketFieldText* Given(const SGolden& golden, const CRIOPacketField& field)
{
    for (const SPacketFieldText& text : golden.fields)
    {
        if (IsFieldName(text.strName, field))
        {
            return &text;
        }
    }
    return nullptr;
}

class RIOPacketGolden : public testing::Test
{
protected:
    void SetUp() override
    {
        if (!std::ifstream(GoldenPath()))
        {
            GTEST_SKIP() << GoldenPath() << " is not there yet";
        }
        std::string strError;
        m_packets = ReadGolden(&strError);
        ASSERT_TRUE(strError.empty()) << strError;
        ASSERT_FALSE(m_packets.empty());
    }

    std::vector<SGolden> m_packets;
};

TEST_F(RIOPacketGolden, TheTableCoversEveryClassIdSizeAndAddressSizeAndLongPackets)
{
    std::set<std::pair<uint32_t, uint32_t>> classes;
    std::set<uint32_t> addressBits;
    std::set<uint32_t> idSizes;
    bool bLong = false;
    bool bAckID = false;
    for (const SGolden& golden : m_packets)
    {
        CRIOPacket packet;
        packet.SetAddressBits(golden.nAddressBits);
        LoadPacketBytes(packet, golden.bytes.data(), static_cast<uint32_t>(golden.bytes.size()));
        const uint32_t ulFType = packet.GetFType();
        const uint32_t ulTrans = (ulFType == 8 || ulFType == 13) ? Get(packet, eRIOFieldTRANSACTION) : 0;
        classes.insert({ulFType, ulTrans});
        addressBits.insert(golden.nAddressBits);
        idSizes.insert(packet.GetTT());
        bLong = bLong || golden.bytes.size() > 200;
        bAckID = bAckID || (golden.bytes[0] >> 2) != 0;
    }
    for (const std::pair<uint32_t, uint32_t>& wanted : std::vector<std::pair<uint32_t, uint32_t>>{{2, 0},
                                                                                                  {5, 0},
                                                                                                  {6, 0},
                                                                                                  {8, 0},
                                                                                                  {8, 1},
                                                                                                  {8, 2},
                                                                                                  {8, 3},
                                                                                                  {8, 4},
                                                                                                  {10, 0},
                                                                                                  {11, 0},
                                                                                                  {13, 0},
                                                                                                  {13, 1},
                                                                                                  {13, 8}})
    {
        EXPECT_TRUE(classes.count(wanted))
            << "no packet of FType " << wanted.first << " Trans " << wanted.second;
    }
    EXPECT_EQ(std::set<uint32_t>({34, 50, 66}), addressBits);
    EXPECT_EQ(std::set<uint32_t>({0, 1}), idSizes);
    EXPECT_TRUE(bLong);
    EXPECT_TRUE(bAckID);
}

TEST_F(RIOPacketGolden, TheCrcsOfTheTableCheckBitByBit)
{
    for (const SGolden& golden : m_packets)
    {
        SCOPED_TRACE(golden.strName);
        const std::vector<uint8_t>& bytes = golden.bytes;
        ASSERT_EQ(0u, bytes.size() % 4) << "padded to 32 bits";
        // The CRC ends the packet, or stands ahead of two bytes of zero pad.
        const size_t n = bytes.size();
        const bool bAtEnd = WireCrc(bytes, n - 2) == Word16(bytes, n - 2);
        const bool bBeforePad = Word16(bytes, n - 2) == 0 && WireCrc(bytes, n - 4) == Word16(bytes, n - 4);
        EXPECT_TRUE(bAtEnd || bBeforePad);
        if (bytes.size() > 84)
        {
            EXPECT_EQ(WireCrc(bytes, 80), Word16(bytes, 80)) << "early CRC after the first 80 bytes";
        }
    }
}

TEST_F(RIOPacketGolden, EachPacketBuiltFromItsFieldsGivesItsBytes)
{
    for (const SGolden& golden : m_packets)
    {
        SCOPED_TRACE(testing::Message() << golden.strName << " (line " << golden.nLine << ")");
        CRIOPacket packet;
        packet.SetAddressBits(golden.nAddressBits);
        const SPacketBuildResult result = BuildPacketFromTexts(packet, golden.fields);
        ASSERT_EQ(SPacketBuildResult::eNone, result.eError) << result.messages.join('\n').toStdString();
        const std::vector<uint8_t>& expected = golden.clientBytes.empty() ? golden.bytes : golden.clientBytes;
        EXPECT_EQ(PacketListString(expected).toStdString(), PacketListString(Stream(packet)).toStdString());
    }
}

TEST_F(RIOPacketGolden, EachPacketsBytesDecodeToItsFields)
{
    for (const SGolden& golden : m_packets)
    {
        SCOPED_TRACE(testing::Message() << golden.strName << " (line " << golden.nLine << ")");
        const std::vector<uint8_t>& bytes = golden.clientBytes.empty() ? golden.bytes : golden.clientBytes;
        CRIOPacket packet;
        packet.SetAddressBits(golden.nAddressBits);
        EXPECT_TRUE(LoadPacketBytes(packet, bytes.data(), static_cast<uint32_t>(bytes.size())));
        EXPECT_TRUE(Field(packet, eRIOFieldCRC).IsValueValid());
        if (CRIOPacketField* pEarly = packet.FindField(eRIOFieldEARLYCRC))
        {
            EXPECT_TRUE(pEarly->IsValueValid());
        }
        for (int i = 0; i < packet.GetFieldCount(); ++i)
        {
            CRIOPacketField* pField = packet.GetField(i);
            const SPacketFieldText* pGiven = Given(golden, *pField);
            if (!pGiven || !pField->bInPacket)
            {
                continue;
            }
            if (pField->nFieldID == eRIOFieldDATA)
            {
                std::vector<uint8_t> data;
                ASSERT_TRUE(packet.GetData(data));
                EXPECT_EQ(pGiven->strValue.toUpper().toStdString(),
                          PacketListString(data).remove(' ').toStdString());
                continue;
            }
            if (pField->nFieldID == eRIOFieldDATA2)
            {
                continue;
            }
            bool bOk = false;
            const uint32_t ulGiven = pGiven->strValue.startsWith(QLatin1String("0x"), Qt::CaseInsensitive)
                                         ? pGiven->strValue.mid(2).toUInt(&bOk, 16)
                                         : pGiven->strValue.toUInt(&bOk, 10);
            ASSERT_TRUE(bOk) << pGiven->strValue.toStdString();
            EXPECT_EQ(ulGiven, pField->GetValue()) << pGiven->strName.toStdString();
        }
        // Built again from the decoded fields, the packet gives the same bytes.
        packet.SetAutoCRC(true);
        packet.PackStream();
        EXPECT_EQ(bytes, Stream(packet));
    }
}
} // namespace
