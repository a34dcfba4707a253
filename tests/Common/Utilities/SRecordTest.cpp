// S-Record images and register value lines. The srecord package's tools (srec_cat, srec_info)
// serve as an independent writer and reader: what we write must be what they write for the same
// bytes, and what they write we must read back unchanged.
#include "RecordingUserInterface.h"
#include "SimProcess.h"
#include "TestSupport.h"

#include "SRecord.h"

#include <QBuffer>
#include <QFile>
#include <QStandardPaths>

#include <gtest/gtest.h>

#include <random>
#include <string>
#include <vector>

namespace
{
using nvtest::RunProgram;
using nvtest::SRunResult;

std::vector<uint8_t> RandomBytes(size_t nSize, unsigned uSeed)
{
    std::mt19937 generator(uSeed);
    std::vector<uint8_t> bytes(nSize);
    for (uint8_t& uch : bytes)
    {
        uch = static_cast<uint8_t>(generator());
    }
    return bytes;
}

// A tool of the srecord package, found on PATH.
std::string Tool(const char* pszName)
{
    const QString strPath = QStandardPaths::findExecutable(QString::fromLatin1(pszName));
    EXPECT_FALSE(strPath.isEmpty()) << pszName << " is missing: scripts/setup-deps.sh installs srecord";
    return strPath.toStdString();
}

std::string TempPath(const std::string& strName)
{
    return nvtest::ProcessTempDir() + "/" + strName;
}

void WriteBytes(const std::string& strPath, const std::vector<uint8_t>& bytes)
{
    QFile file(QString::fromStdString(strPath));
    ASSERT_TRUE(file.open(QIODevice::WriteOnly));
    file.write(reinterpret_cast<const char*>(bytes.data()), static_cast<qint64>(bytes.size()));
}

// srec_cat's S-Records of a binary file with our layout: 16 bytes a record, no header, the S5 count.
std::string SrecCatImage(const std::vector<uint8_t>& bytes, int iAddressBytes, uint32_t ulOffset)
{
    const std::string strBin = TempPath("srec_cat_in.bin");
    WriteBytes(strBin, bytes);
    const SRunResult result = RunProgram(
        Tool("srec_cat"), {strBin, "-binary", "-offset", std::to_string(ulOffset), "-o", "-", "-motorola",
                           "-address-length=" + std::to_string(iAddressBytes), "-Output_Block_Size=16",
                           "-disable=header", "-disable=exec-start-address"});
    EXPECT_EQ(0, result.nExitCode) << "srec_cat (Debian package srecord) failed: " << result.strErr;
    return result.strOut;
}

std::string OurImage(const std::vector<uint8_t>& bytes, int iAddressBytes, uint32_t ulStart)
{
    QBuffer buffer;
    buffer.open(QIODevice::WriteOnly);
    EXPECT_TRUE(WriteSRecordImage(bytes.data(), bytes.size(), buffer, ulStart, iAddressBytes));
    return buffer.data().toStdString();
}

struct SReadResult
{
    bool bOk = false;
    std::vector<uint8_t> bytes;
    QStringList messages;
};

SReadResult ReadImage(const QByteArray& text)
{
    nvtest::CRecordingUserInterface ui;
    QBuffer buffer;
    buffer.setData(text);
    buffer.open(QIODevice::ReadOnly);
    std::unique_ptr<uint8_t[]> pData;
    size_t nSize = 12345;
    SReadResult result;
    result.bOk = ReadSRecordImage(buffer, &pData, &nSize);
    if (result.bOk)
    {
        result.bytes.assign(pData.get(), pData.get() + nSize);
    }
    else
    {
        EXPECT_EQ(nullptr, pData.get());
        EXPECT_EQ(0u, nSize);
    }
    result.messages = ui.messages;
    return result;
}

TEST(SRecord, FormatGivesTheRecordKindsAndChecksumsOfTheFormat)
{
    // The textbook S1 record: ten bytes at 7AF0h with the checksum 61h.
    const uint8_t aKnown[16] = {0x0A, 0x0A, 0x0D};
    EXPECT_EQ("S1137AF00A0A0D0000000000000000000000000061\n",
              FormatSRecord(aKnown, 16, 0x7AF0, 2).toStdString());
    const std::vector<uint8_t> bytes = RandomBytes(16, 7);
    EXPECT_TRUE(FormatSRecord(bytes.data(), 16, 0x0100, 2).startsWith(QStringLiteral("S1130100")));
    // One address byte is written as S1 too; 0 and 5 have no record kind.
    EXPECT_EQ(FormatSRecord(bytes.data(), 16, 0x0100, 2), FormatSRecord(bytes.data(), 16, 0x0100, 1));
    EXPECT_TRUE(FormatSRecord(bytes.data(), 16, 0x0100, 0).isEmpty());
    EXPECT_TRUE(FormatSRecord(bytes.data(), 16, 0x0100, 5).isEmpty());
    // S2 and S3 lines are those srec_cat writes for the same bytes and address.
    for (int iAddressBytes : {3, 4})
    {
        const std::string strTheirs =
            SrecCatImage(bytes, iAddressBytes, 0x00A1B2C3u >> (8 * (4 - iAddressBytes)));
        const std::string strOurs =
            FormatSRecord(bytes.data(), 16, 0x00A1B2C3u >> (8 * (4 - iAddressBytes)), iAddressBytes)
                .toStdString();
        EXPECT_EQ(strTheirs.substr(0, strTheirs.find('\n') + 1), strOurs) << iAddressBytes;
    }
    // A register value: the offset as the address and the value's bytes high first.
    const uint8_t aValue[4] = {0xD0, 0x60, 0x00, 0x01};
    const QString strValue = FormatSRecord(aValue, 4, 0x15C, 4);
    EXPECT_EQ(QStringLiteral("S3090000015CD0600001"), strValue.left(20));
    EXPECT_EQ(23, strValue.size());
}

TEST(SRecord, ImagesAreWrittenAsSrecCatWritesThem)
{
    // 300 bytes: 18 full records, a short one of 12, and the count record S5030013 E9.
    const std::vector<uint8_t> bytes = RandomBytes(300, 1);
    for (int iAddressBytes : {2, 3, 4})
    {
        const std::string strOurs = OurImage(bytes, iAddressBytes, 0);
        EXPECT_EQ(SrecCatImage(bytes, iAddressBytes, 0), strOurs) << iAddressBytes;
        EXPECT_EQ("S5030013E9\n", strOurs.substr(strOurs.rfind('S')));
    }
    // A start address shifts every record; srec_cat takes the file back to the same bytes.
    const std::string strShifted = OurImage(bytes, 2, 0x4000);
    EXPECT_EQ(SrecCatImage(bytes, 2, 0x4000), strShifted);
    const std::string strSre = TempPath("ours.sre");
    const std::string strBin = TempPath("back.bin");
    {
        QFile file(QString::fromStdString(strSre));
        ASSERT_TRUE(file.open(QIODevice::WriteOnly));
        ASSERT_TRUE(WriteSRecordImage(bytes.data(), bytes.size(), file, 0x4000, 2));
    }
    const SRunResult info = RunProgram(Tool("srec_info"), {strSre});
    EXPECT_EQ(0, info.nExitCode) << info.strErr;
    EXPECT_NE(std::string::npos, info.strOut.find("4000 - 412B")) << info.strOut;
    const SRunResult back =
        RunProgram(Tool("srec_cat"), {strSre, "-offset", "-0x4000", "-o", strBin, "-binary"});
    ASSERT_EQ(0, back.nExitCode) << back.strErr;
    EXPECT_EQ(std::string(bytes.begin(), bytes.end()), nvtest::ReadFile(strBin));
    // An empty image is the count record alone.
    EXPECT_EQ("S5030000FC\n", OurImage({}, 2, 0));
}

TEST(SRecord, TheImageAddressCountsInSixteenBits)
{
    // Records go on at 16 a record and wrap at 10000h, also for wider addresses.
    const std::vector<uint8_t> bytes = RandomBytes(32, 3);
    const QStringList lines = QString::fromStdString(OurImage(bytes, 4, 0x1FFF0)).split('\n');
    ASSERT_EQ(4, lines.size());
    EXPECT_TRUE(lines[0].startsWith(QStringLiteral("S3150000FFF0"))) << lines[0].toStdString();
    EXPECT_TRUE(lines[1].startsWith(QStringLiteral("S31500000000"))) << lines[1].toStdString();
}

TEST(SRecord, ReadsWhatSrecCatWritesWithHeadersAndEndRecords)
{
    const std::vector<uint8_t> bytes = RandomBytes(1000, 5);
    const std::string strBin = TempPath("image.bin");
    WriteBytes(strBin, bytes);
    // srec_cat's default output: an S0 header, S1 data and an S9 start record, all passed over.
    SRunResult result = RunProgram(Tool("srec_cat"), {strBin, "-binary", "-o", "-", "-motorola"});
    ASSERT_EQ(0, result.nExitCode) << result.strErr;
    SReadResult read = ReadImage(QByteArray::fromStdString(result.strOut));
    ASSERT_TRUE(read.bOk) << read.messages.join('|').toStdString();
    EXPECT_EQ(bytes, read.bytes);
    // 32-bit addresses, records of another length, CR LF line ends and lower case all read.
    result = RunProgram(Tool("srec_cat"), {strBin, "-binary", "-o", "-", "-motorola", "-address-length=4",
                                           "-Output_Block_Size=37"});
    ASSERT_EQ(0, result.nExitCode) << result.strErr;
    QByteArray text = QByteArray::fromStdString(result.strOut).toLower();
    text.replace("\n", "\r\n");
    read = ReadImage(text);
    ASSERT_TRUE(read.bOk) << read.messages.join('|').toStdString();
    EXPECT_EQ(bytes, read.bytes);
    // An image that starts above 0 is as large as its highest address; the records that do come
    // land where they say.
    read = ReadImage("S1070010AABBCCDDD7\nS1050020EEFFDD\n");
    ASSERT_TRUE(read.bOk) << read.messages.join('|').toStdString();
    ASSERT_EQ(0x22u, read.bytes.size());
    EXPECT_EQ(std::vector<uint8_t>({0xAA, 0xBB, 0xCC, 0xDD}),
              std::vector<uint8_t>(read.bytes.begin() + 0x10, read.bytes.begin() + 0x14));
    EXPECT_EQ(0xEE, read.bytes[0x20]);
    EXPECT_EQ(0xFF, read.bytes[0x21]);
}

TEST(SRecord, BadImageLinesAreRefusedWithTheirNumber)
{
    const QByteArray good = "S1130000000102030405060708090A0B0C0D0E0F74\n";
    const struct
    {
        QByteArray line;
        const char* pszMessage;
    } cases[] = {
        {"X1130000000102030405060708090A0B0C0D0E0F74\n", "Invalid S Record. Line 2 must begin with 'S'.\n"},
        {"\n", "Invalid S Record. Line 2 must begin with 'S'.\n"},
        {"S1G30000000102030405060708090A0B0C0D0E0F74\n", "Invalid S Record. Line 2 count field is bad.\n"},
        {"S1130Z00000102030405060708090A0B0C0D0E0F74\n", "Invalid S Record. Line 2 address field is bad.\n"},
        {"S113000000010203040506070809\n", "Invalid S Record. Line 2 count field does not match number of "
                                           "characters.\n"},
        // One character more or less than the count promises.
        {"S1130000000102030405060708090A0B0C0D0E0F740\n",
         "Invalid S Record. Line 2 count field does not match number of characters.\n"},
        {"S1130000000102030405060708090A0B0C0D0E0F7\n",
         "Invalid S Record. Line 2 count field does not match number of characters.\n"},
        // A count too small for its own address.
        {"S10200FF\n", "Invalid S Record. Line 2 count field does not match number of characters.\n"},
        {"S1130000000102030405060708090A0B0C0D0E0FQ4\n", "Invalid S Record. Line 2 checksum field is bad.\n"},
        {"S1130000000102030405060708090A0B0C0D0EXF74\n", "Invalid S Record. Line 2 data byte 16 is bad.\n"},
        {"S2140000100102030405060708090A0B0C0D0E0F74\n",
         "Invalid S Record. Line 2 count field does not match number of characters.\n"},
    };
    for (const auto& testCase : cases)
    {
        const SReadResult read = ReadImage(good + testCase.line + good);
        EXPECT_FALSE(read.bOk) << testCase.line.toStdString();
        EXPECT_EQ(QStringList(QString::fromLatin1(testCase.pszMessage)), read.messages)
            << testCase.line.toStdString();
    }
    // The checksum is read, not verified: a wrong one passes.
    const SReadResult read = ReadImage("S1130000000102030405060708090A0B0C0D0E0F00\n");
    EXPECT_TRUE(read.bOk);
    EXPECT_TRUE(read.messages.isEmpty());
    EXPECT_EQ(16u, read.bytes.size());
}

TEST(SRecord, RegisterValueLinesGiveTheirCodes)
{
    const struct
    {
        QByteArray text;
        int iCode;
        uint32_t ulOffset;
        uint32_t ulValue;
    } cases[] = {
        {"S3090000015CD0600001B7\r\n", eSRecValueOk, 0x15C, 0xD0600001},
        {"s3090000015cd0600001b7\r\n", eSRecValueOk, 0x15C, 0xD0600001},
        // The checksum is not checked.
        {"S3090000015CD060000100\r\n", eSRecValueOk, 0x15C, 0xD0600001},
        // A last line without its line feed still has its carriage return.
        {"S30900FFFFFC12345678FF\r", eSRecValueOk, 0xFFFFFC, 0x12345678},
        {"S3090000015CD0600001B7\n", eSRecValueBadLength, 0, 0},
        {"S3090000015CD0600001B7", eSRecValueBadLength, 0, 0},
        {"S3090000015CD0600001B70\r\n", eSRecValueBadLength, 0, 0},
        {"\r\n", eSRecValueBadLength, 0, 0},
        {"S1090000015CD0600001B7\r\n", eSRecValueNotS3, 0, 0},
        {"X3090000015CD0600001B7\r\n", eSRecValueNotS3, 0, 0},
        {"S3080000015CD0600001B7\r\n", eSRecValueBadCount, 0, 0},
        {"S309000G015CD0600001B7\r\n", eSRecValueBadOffset, 0, 0},
        {"S3090000015CD06000X1B7\r\n", eSRecValueBadValue, 0, 0},
        {"", eSRecValueEnd, 0, 0},
    };
    for (const auto& testCase : cases)
    {
        QBuffer buffer;
        buffer.setData(testCase.text);
        buffer.open(QIODevice::ReadOnly);
        uint32_t ulOffset = 0;
        uint32_t ulValue = 0;
        EXPECT_EQ(testCase.iCode, ReadSRecordValue(buffer, &ulOffset, &ulValue))
            << testCase.text.toStdString();
        if (testCase.iCode == eSRecValueOk)
        {
            EXPECT_EQ(testCase.ulOffset, ulOffset);
            EXPECT_EQ(testCase.ulValue, ulValue);
        }
    }
    // Lines follow one another; the end comes after the last.
    QBuffer buffer;
    buffer.setData("S3090000000000000001F5\r\nS3090000000400000002F0\r\n");
    buffer.open(QIODevice::ReadOnly);
    uint32_t ulOffset = 0;
    uint32_t ulValue = 0;
    EXPECT_EQ(eSRecValueOk, ReadSRecordValue(buffer, &ulOffset, &ulValue));
    EXPECT_EQ(eSRecValueOk, ReadSRecordValue(buffer, &ulOffset, &ulValue));
    EXPECT_EQ(4u, ulOffset);
    EXPECT_EQ(2u, ulValue);
    EXPECT_EQ(eSRecValueEnd, ReadSRecordValue(buffer, &ulOffset, &ulValue));
}
} // namespace
