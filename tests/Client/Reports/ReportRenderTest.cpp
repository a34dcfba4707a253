// Each kind of report as a browser loads it: headless Chromium reads the page from file:// (with
// every background service off and no name resolving, so it never reaches a network) and prints
// the document it built; the tables must be there with their rows.
#include "ReportFixture.h"

#include "PEReport.h"
#include "PerformanceReport.h"
#include "RegisterReport.h"
#include "RoutingTableReport.h"
#include "WatchReport.h"

#include <QProcess>
#include <QStandardPaths>
#include <QUrl>

namespace
{
using nvtest::CReportTest;

class ReportRender : public CReportTest
{
protected:
    void SetUp() override
    {
        CReportTest::SetUp();
        m_strChromium = QStandardPaths::findExecutable(QStringLiteral("chromium"));
        if (m_strChromium.isEmpty())
        {
            GTEST_SKIP() << "chromium is not installed (scripts/setup-deps.sh installs it)";
        }
        m_map.FileName = QStringLiteral("render.nvm");
        CPEPrimitive& sw = AddPE(0, 0x0038, 0x0374, true, 2);
        sw.RoutingTables[0] = std::make_unique<CRoutingTable>();
        sw.RoutingTables[0]->AddEntry(1, 1, eRoutePort, 0, false);
        sw.SavedRegisters.SetValue(0x10, 0x10000000, false);
        AddPE(1, 0x0038, 0x80AB, false, 1).ShortDestID = 1;
    }

    // The document Chromium built from a page, or an empty text (with the reason in *pstrError).
    QString DumpDom(const QString& strPage, QString* pstrError)
    {
        const QString strProfile = m_strDir + QStringLiteral("chromium-profile");
        QProcess chromium;
        chromium.setProgram(m_strChromium);
        chromium.setArguments(
            {QStringLiteral("--headless"), QStringLiteral("--no-sandbox"), QStringLiteral("--disable-gpu"),
             QStringLiteral("--no-first-run"), QStringLiteral("--disable-background-networking"),
             QStringLiteral("--disable-component-update"), QStringLiteral("--disable-sync"),
             QStringLiteral("--disable-default-apps"), QStringLiteral("--disable-extensions"),
             QStringLiteral("--disable-domain-reliability"), QStringLiteral("--no-pings"),
             QStringLiteral("--disable-breakpad"), QStringLiteral("--host-resolver-rules=MAP * ~NOTFOUND"),
             QStringLiteral("--user-data-dir=") + strProfile, QStringLiteral("--dump-dom"),
             QUrl::fromLocalFile(strPage).toString()});
        chromium.start();
        if (!chromium.waitForFinished(90000))
        {
            chromium.kill();
            chromium.waitForFinished();
            *pstrError = QStringLiteral("chromium did not finish");
            return QString();
        }
        *pstrError = QString::fromLocal8Bit(chromium.readAllStandardError()).right(2000);
        return QString::fromUtf8(chromium.readAllStandardOutput());
    }

    void ExpectLoaded(CReport& report, int nMinTables, int nMinRows, const QString& strText)
    {
        report.SetOpenWhenDone(false);
        ASSERT_TRUE(Generate(report)) << qPrintable(m_ui.messages.join(QLatin1Char('\n')));
        QString strError;
        const QString strDom = DumpDom(report.OutputPath(), &strError);
        ASSERT_FALSE(strDom.isEmpty()) << qPrintable(strError);
        // The page parsed into one document with the style sheet linked and its tables whole.
        EXPECT_TRUE(strDom.contains(QStringLiteral("<link rel=\"stylesheet\" href=\"report.css\">")));
        EXPECT_EQ(strDom.count(QStringLiteral("<table")), strDom.count(QStringLiteral("</table>")));
        EXPECT_GE(strDom.count(QStringLiteral("<table")), nMinTables) << qPrintable(strDom);
        EXPECT_GE(strDom.count(QStringLiteral("<tr")), nMinRows) << qPrintable(strDom);
        EXPECT_TRUE(strDom.contains(strText)) << qPrintable(strText);
        EXPECT_FALSE(strDom.contains(QStringLiteral("##!!!")));
        EXPECT_TRUE(strDom.trimmed().endsWith(QStringLiteral("</html>")));
    }

    QString m_strChromium;
};

TEST_F(ReportRender, EveryKindOfReportLoadsWithItsTables)
{
    {
        CPEReport report(m_map);
        ExpectLoaded(report, 1, 3, QStringLiteral("One for all ports"));
    }
    {
        CRoutingTableReport report(m_map);
        report.SetNumberFormat(16, 8);
        ExpectLoaded(report, 1, 2, QStringLiteral("Input port **All**"));
    }
    {
        CRegisterReport report(m_map, MapRegisterItems(m_map));
        // Processing Element Features CAR: its fields go on over several tables.
        ExpectLoaded(report, 2, 4, QStringLiteral("Offset: 0x10"));
    }
    {
        SWatchReportItem item;
        item.strRegister = QStringLiteral("Component Tag CSR");
        item.strTrigger = QStringLiteral("X1 < BF");
        item.bEnabled = true;
        SWatchReportLogRecord record;
        record.strTrigger = QStringLiteral("BF < 2h");
        CWatchReport report(m_map.FileName, {item}, {record});
        // "&lt" without its semicolon still reads as "<" in the document.
        ExpectLoaded(report, 2, 4, QStringLiteral("BF &lt; 2h"));
    }
    {
        SPerfMonitorRecord monitor;
        monitor.strMonitor = QStringLiteral("IDT CPS/VPS-1848 Performance Monitor");
        monitor.strCounter = QStringLiteral("VC0 ACKs Transmitted");
        monitor.samples = {{QStringLiteral("10:00:01"), 42.0}};
        CPerformanceReport report(m_map.FileName, {monitor});
        ExpectLoaded(report, 1, 2, QStringLiteral("42.0"));
    }
}
} // namespace
