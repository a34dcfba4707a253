// Filling template pieces: how markers are counted per line, what stays as it is, and a piece that
// isn't there.
#include "ReportTemplate.h"

#include "TestSupport.h"

#include <QBuffer>
#include <QFile>

#include <cerrno>
#include <gtest/gtest.h>

namespace
{
QString Fill(const QString& strLine, const QStringList& keys, const QStringList& values)
{
    return FillTemplateLine(strLine, keys, values);
}

TEST(ReportTemplate, MarkersAreCountedPerLine)
{
    // Every marker of the line is filled, each key wherever it stands, in any order of the list.
    EXPECT_EQ(QStringLiteral("<td>3 - CPS</td><td>Switch</td><td>3 - CPS</td>"),
              Fill(QStringLiteral("<td>##!!!NODE!!!##</td><td>##!!!TYPE!!!##</td><td>##!!!NODE!!!##</td>"),
                   {QStringLiteral("TYPE"), QStringLiteral("NODE")},
                   {QStringLiteral("Switch"), QStringLiteral("3 - CPS")}));
    // A line of one marker stops at the first pair that matched, so a value that looks like a
    // marker stays as the value...
    const QStringList keys = {QStringLiteral("A"), QStringLiteral("B")};
    const QStringList values = {QStringLiteral("##!!!B!!!##"), QStringLiteral("bee")};
    EXPECT_EQ(QStringLiteral("x ##!!!B!!!## y"), Fill(QStringLiteral("x ##!!!A!!!## y"), keys, values));
    // ...while a line with a second marker goes on through the list and fills it too.
    EXPECT_EQ(QStringLiteral("bee ##!!!Z!!!##"),
              Fill(QStringLiteral("##!!!A!!!## ##!!!Z!!!##"), keys, values));
    // Keys are whole: "A" does not match inside "AB".
    EXPECT_EQ(QStringLiteral("##!!!AB!!!##"), Fill(QStringLiteral("##!!!AB!!!##"), keys, values));
}

TEST(ReportTemplate, UnknownMarkersAndEmptyListsLeaveTheLine)
{
    const QString strLine = QStringLiteral("<p>##!!!DATE!!!## ##!!!NOPE!!!##</p>");
    EXPECT_EQ(QStringLiteral("<p>5 March ##!!!NOPE!!!##</p>"),
              Fill(strLine, {QStringLiteral("DATE")}, {QStringLiteral("5 March")}));
    EXPECT_EQ(strLine, Fill(strLine, {}, {}));
    EXPECT_EQ(QStringLiteral("##!!!DATE!!!##"), ReportMarker(QStringLiteral("DATE")));
}

TEST(ReportTemplate, WritesEachLineWithALineFeed)
{
    const QString strPath = QString::fromStdString(nvtest::ProcessTempDir()) + QStringLiteral("/piece.htm");
    {
        QFile piece(strPath);
        ASSERT_TRUE(piece.open(QIODevice::WriteOnly | QIODevice::Truncate));
        // DOS line ends, an empty line, and a last line without its end.
        piece.write("<tr>\r\n\r\n<td>##!!!V!!!##</td>\r\n</tr>");
    }
    QBuffer output;
    output.open(QIODevice::WriteOnly);
    QString strMessage;
    ASSERT_TRUE(
        WriteTemplate(strPath, output, {QStringLiteral("V")}, {QStringLiteral("7 &amp; 8")}, &strMessage));
    EXPECT_EQ(QByteArray("<tr>\n\n<td>7 &amp; 8</td>\n</tr>\n"), output.data());
    EXPECT_TRUE(strMessage.isEmpty());
}

TEST(ReportTemplate, AMissingPieceSaysSoAndWritesNothing)
{
    QBuffer output;
    output.open(QIODevice::WriteOnly);
    output.write("head\n");
    QString strMessage;
    EXPECT_FALSE(
        WriteTemplate(QString::fromStdString(nvtest::ProcessTempDir()) + QStringLiteral("/absent.htm"),
                      output, {QStringLiteral("V")}, {QStringLiteral("x")}, &strMessage));
    EXPECT_EQ(QStringLiteral("File could not be opened %1").arg(ENOENT), strMessage);
    EXPECT_EQ(QByteArray("head\n"), output.data());
}
} // namespace
