// Capture files: the header and records byte for byte as the dissector expects them, read back,
// and files that are not captures refused.
#include "PcapFile.h"
#include "TestSupport.h"

#include <QFile>

#include <gtest/gtest.h>

namespace
{
QString Path(const char* pszName)
{
    return QString::fromStdString(nvtest::ProcessTempDir()) + QLatin1Char('/') + QLatin1String(pszName);
}

TEST(PcapFileTest, HeaderAndRecordsAreLittleEndianWithTheRapidIOLinkType)
{
    const QString strPath = Path("two.pcap");
    CPcapWriter writer;
    QString strError;
    ASSERT_TRUE(writer.Open(strPath, &strError)) << strError.toStdString();
    EXPECT_FALSE(QFile::exists(strPath)) << "nothing stands at the path before the file is complete";
    const uint8_t abFirst[] = {0x00, 0x48, 0x05, 0x01, 0x00, 0x00, 0x12, 0x34};
    const uint8_t abSecond[] = {0x04, 0xD2, 0x01, 0x05, 0x20, 0x00, 0x00, 0x10, 0xAA, 0xBB, 0xCC, 0xDD};
    ASSERT_TRUE(writer.Write(abFirst, sizeof abFirst, 1700000000u * 1000000ull + 250));
    ASSERT_TRUE(writer.Write(abSecond, sizeof abSecond, 1700000001u * 1000000ull + 999999));
    ASSERT_TRUE(writer.Close(&strError)) << strError.toStdString();
    EXPECT_EQ(2, writer.Records());

    QFile file(strPath);
    ASSERT_TRUE(file.open(QIODevice::ReadOnly));
    const QByteArray data = file.readAll();
    ASSERT_EQ(24 + 16 + 8 + 16 + 12, data.size());
    EXPECT_EQ(QByteArray::fromHex("d4c3b2a1020004000000000000000000ffff000093000000"), data.left(24));
    // ts 1700000000 = 0x6553F100, 250 us, 8 bytes captured of 8.
    EXPECT_EQ(QByteArray::fromHex("00f15365fa0000000800000008000000") +
                  QByteArray::fromHex("0048050100001234"),
              data.mid(24, 24));

    std::vector<SPcapRecord> records;
    uint32_t ulLinkType = 0;
    ASSERT_TRUE(ReadPcapFile(strPath, &records, &ulLinkType, &strError)) << strError.toStdString();
    EXPECT_EQ(147u, ulLinkType);
    ASSERT_EQ(2u, records.size());
    EXPECT_EQ(std::vector<uint8_t>(abSecond, abSecond + sizeof abSecond), records[1].bytes);
    EXPECT_EQ(1700000001u * 1000000ull + 999999, records[1].ullMicroseconds);
    EXPECT_EQ(12u, records[1].ulOriginalLength);

    // Cut short in the middle of the second record.
    QFile::remove(Path("cut.pcap"));
    QFile cut(Path("cut.pcap"));
    ASSERT_TRUE(cut.open(QIODevice::WriteOnly));
    cut.write(data.left(data.size() - 3));
    cut.close();
    EXPECT_FALSE(ReadPcapFile(Path("cut.pcap"), &records, &ulLinkType, &strError));
    EXPECT_NE(-1, strError.indexOf(QStringLiteral("record 2 is cut short"))) << strError.toStdString();

    QFile other(Path("other.pcap"));
    ASSERT_TRUE(other.open(QIODevice::WriteOnly));
    other.write(QByteArray(32, 'x'));
    other.close();
    EXPECT_FALSE(ReadPcapFile(Path("other.pcap"), &records, &ulLinkType, &strError));
    EXPECT_NE(-1, strError.indexOf(QStringLiteral("is not a pcap file"))) << strError.toStdString();
}
} // namespace
