// Packet files: what is written reads back line for line, and each way a file can be wrong has
// its own message.
#include "NpfFile.h"
#include "TestSupport.h"

#include <QDir>
#include <QFile>

#include <gtest/gtest.h>

#include <fstream>

namespace
{
QString Path(const char* pszName)
{
    return QString::fromStdString(nvtest::ProcessTempDir()) + QLatin1Char('/') + QLatin1String(pszName);
}

void WriteRaw(const QString& strPath, const std::string& strText)
{
    std::ofstream(strPath.toStdString(), std::ios::binary) << strText;
}

TEST(NpfFileTest, WrittenPacketsReadBackWithTheHeaderLines)
{
    const QString strPath = Path("list.npf");
    const QStringList packets = {"00A20011 22334455 6677", "00480001 00000000", ""};
    QString strError;
    ASSERT_TRUE(WriteNpfFile(strPath, packets, &strError)) << strError.toStdString();
    QFile file(strPath);
    ASSERT_TRUE(file.open(QIODevice::ReadOnly));
    EXPECT_EQ(QByteArray("Norvanta Packet File\nV1.0\n00A20011 22334455 6677\n00480001 00000000\n\n"),
              file.readAll());

    QStringList read;
    ASSERT_TRUE(ReadNpfFile(strPath, &read, &strError));
    EXPECT_EQ(packets, read) << "every line comes back, unchecked";

    // A file from a system whose lines end in CR LF reads the same.
    WriteRaw(strPath, "Norvanta Packet File\r\nV1.0\r\n00480001\r\n");
    ASSERT_TRUE(ReadNpfFile(strPath, &read, &strError));
    EXPECT_EQ(QStringList{"00480001"}, read);
}

TEST(NpfFileTest, EachBrokenHeaderHasItsNumberAndAMissingFileItsErrorNumber)
{
    const QString strPath = Path("bad.npf");
    const std::pair<std::string, const char*> cases[] = {
        {"", "Invalid packet file format. [1]"},
        {"Other Packet File\nV1.0\n", "Invalid packet file format. [2]"},
        {"Norvanta Packet File\n", "Invalid packet file format. [3]"},
        {"Norvanta Packet File\nV2.0\n00480001\n", "Invalid packet file format. [4]"},
    };
    for (const auto& [strText, pszMessage] : cases)
    {
        WriteRaw(strPath, strText);
        QStringList read = {"left over"};
        QString strError;
        EXPECT_FALSE(ReadNpfFile(strPath, &read, &strError));
        EXPECT_EQ(QString::fromLatin1(pszMessage), strError);
        EXPECT_TRUE(read.isEmpty());
    }
    QStringList read;
    QString strError;
    const QString strMissing = Path("no-such.npf");
    EXPECT_FALSE(ReadNpfFile(strMissing, &read, &strError));
    EXPECT_EQ(QStringLiteral("Unable to open packet file %1, error 2").arg(strMissing), strError);

    // A file that can't be made leaves what stood there and says why.
    const QString strDir = Path("npf-dir");
    QDir().mkpath(strDir);
    EXPECT_FALSE(WriteNpfFile(strDir, {"00"}, &strError));
    EXPECT_TRUE(strError.startsWith(QStringLiteral("Unable to create packet file %1, error ").arg(strDir)))
        << strError.toStdString();
    EXPECT_NE(QStringLiteral("Unable to create packet file %1, error 0").arg(strDir), strError);
    EXPECT_TRUE(QFileInfo(strDir).isDir());
}
} // namespace
