// Whole reports written to a report directory: the page, its support files and pictures, the
// shipped templates a new directory gets, and every failure that ends a report.
#include "ReportFixture.h"

#include "PEReport.h"
#include "PerformanceReport.h"
#include "RegisterReport.h"
#include "RoutingTableReport.h"
#include "WatchReport.h"

#include <QFileInfo>
#include <QRegularExpression>

#include <cerrno>

namespace
{
using nvtest::CReportTest;

class ReportPages : public CReportTest
{
protected:
    void SetUp() override
    {
        CReportTest::SetUp();
        m_map.FileName = QStringLiteral("lab <A>.nvm");
        CPEPrimitive& sw = AddPE(0, 0x0038, 0x0374, true, 4);
        sw.ShortDestID = 0xFF;
        sw.bHasPerPortRoutingTables = true;
        sw.RoutingTables[0] = std::make_unique<CRoutingTable>();
        sw.RoutingTables[0]->AddEntry(1, 1, eRoutePort, 0, false);
        sw.RoutingTables[0]->AddEntry(2, 2, eRoutePort, 0, false);
        sw.RoutingTables[1] = std::make_unique<CRoutingTable>();
        sw.RoutingTables[1]->AddEntry(0, 0, eRoutePort, 0, false);
        CPEPrimitive& ep = AddPE(1, 0x0038, 0x80AB, false, 1);
        ep.ShortDestID = 1;
        AddPE(2, 0xFFFF, 0xFFFF, false, 0); // a port that leads nowhere
    }

    // How many times a text stands in a page.
    static int Count(const QString& strPage, const QString& strText)
    {
        return static_cast<int>(strPage.count(strText));
    }
};

TEST_F(ReportPages, PEReportWritesThePageWithItsStyleAndPictures)
{
    CPEReport report(m_map);
    ASSERT_TRUE(Generate(report)) << qPrintable(m_ui.messages.join(QLatin1Char('\n')));
    EXPECT_TRUE(m_ui.messages.isEmpty());
    EXPECT_EQ(m_strDir + QStringLiteral("Output/PE Info Report.HTM"), report.OutputPath());
    // The page went to the desktop to be shown.
    EXPECT_EQ(QStringList(QFileInfo(report.OutputPath()).absoluteFilePath()), m_ui.openedDocuments);

    const QString strPage = Page(report);
    EXPECT_TRUE(strPage.contains(QStringLiteral("<title>PE - lab &lt;A&gt;.nvm</title>")));
    EXPECT_TRUE(strPage.contains(QStringLiteral("05 March, 2024")));
    EXPECT_FALSE(strPage.contains(QStringLiteral("##!!!"))) << "a marker was left unfilled";
    // Both PEs, but not the Null one, each with its picture beside the page.
    EXPECT_EQ(2, Count(strPage, QStringLiteral("<td class=\"node\">")));
    EXPECT_TRUE(strPage.contains(QStringLiteral("<td class=\"node\">1 - ")));
    EXPECT_TRUE(strPage.contains(QStringLiteral("<td class=\"node\">2 - ")));
    for (int i = 0; i < 2; ++i)
    {
        const QString strIcon = QFileInfo(m_map.ActivePEs.GetByIndex(i)->BitmapNoSel).fileName();
        ASSERT_FALSE(strIcon.isEmpty());
        EXPECT_TRUE(strPage.contains(QStringLiteral("<img src=\"%1\"").arg(strIcon)));
        EXPECT_TRUE(QFileInfo(m_strDir + QStringLiteral("Output/") + strIcon).isFile())
            << qPrintable(strIcon);
    }
    EXPECT_TRUE(strPage.contains(QStringLiteral("Port 0 - No Errors<br>Port 1 - No Errors<br>Port 2")));
    // The new directory got the shipped templates; the output has the style sheet but no pieces.
    EXPECT_TRUE(QFileInfo(m_strDir + QStringLiteral("per_pei.htm")).isFile());
    EXPECT_TRUE(QFileInfo(m_strDir + QStringLiteral("Output/report.css")).isFile());
    EXPECT_FALSE(QFileInfo(m_strDir + QStringLiteral("Output/per_pei.htm")).exists());
}

TEST_F(ReportPages, APersonsOwnTemplatesAreUsedAndKept)
{
    QDir().mkpath(m_strDir);
    const QStringList pieces = ReportKindInfo(eReportPEInfo).pieces;
    for (const QString& strPiece : pieces)
    {
        QFile piece(m_strDir + strPiece);
        ASSERT_TRUE(piece.open(QIODevice::WriteOnly));
        piece.write(strPiece == QLatin1String("per_pei.htm")  ? "[##!!!NODE!!!##|##!!!RTFORMAT!!!##]"
                    : strPiece == QLatin1String("per_rh.htm") ? "head ##!!!MAPNAME!!!## ##!!!OTHER!!!##"
                                                              : "");
    }
    {
        QFile extra(m_strDir + QStringLiteral("logo.png"));
        ASSERT_TRUE(extra.open(QIODevice::WriteOnly));
        extra.write("png");
    }
    CPEReport report(m_map);
    report.SetOpenWhenDone(false);
    ASSERT_TRUE(Generate(report));
    const QString strName = m_map.ActivePEs.GetByIndex(0)->CommonName;
    EXPECT_EQ(QStringLiteral(
                  "head lab &lt;A&gt;.nvm ##!!!OTHER!!!##\n[1 - %1|One per ingress port]\n[2 - %2|N/A]\n")
                  .arg(strName, m_map.ActivePEs.GetByIndex(1)->CommonName),
              Page(report));
    EXPECT_TRUE(m_ui.openedDocuments.isEmpty());
    // Nothing shipped was added to the person's set; their other files went along.
    EXPECT_FALSE(QFileInfo::exists(m_strDir + QStringLiteral("report.css")));
    EXPECT_TRUE(QFileInfo(m_strDir + QStringLiteral("Output/logo.png")).isFile());
}

TEST_F(ReportPages, FailuresEndTheReportWithTheirMessage)
{
    // A piece missing from a person's set: the page stays as far as it got.
    {
        CPEReport report(m_map);
        report.SetOpenWhenDone(false);
        ASSERT_TRUE(Generate(report));
        ASSERT_TRUE(QFile::remove(m_strDir + QStringLiteral("per_pei.htm")));
        EXPECT_FALSE(Generate(report));
        EXPECT_EQ(QStringList(QStringLiteral("File could not be opened %1").arg(ENOENT)), m_ui.messages);
        const QString strPage = Page(report);
        EXPECT_TRUE(strPage.contains(QStringLiteral("<thead>")));
        EXPECT_FALSE(strPage.contains(QStringLiteral("</html>")));
    }
    // The page can't be opened for writing: a directory stands where it should go.
    m_ui.messages.clear();
    {
        CPEReport report(m_map);
        report.SetReportDirectory(m_strDir + QStringLiteral("second"));
        report.SetOpenWhenDone(false);
        QDir().mkpath(report.OutputPath());
        EXPECT_FALSE(report.GenerateReport());
        EXPECT_EQ(QStringList(QStringLiteral("Unable to open file '%1'").arg(report.OutputPath())),
                  m_ui.messages);
    }
    // A support file can't be copied (a directory stands in its place in Output).
    m_ui.messages.clear();
    {
        CPEReport report(m_map);
        report.SetReportDirectory(m_strDir + QStringLiteral("third"));
        report.SetOpenWhenDone(false);
        QDir().mkpath(report.OutputDirectory() + QStringLiteral("report.css"));
        EXPECT_FALSE(report.GenerateReport());
        ASSERT_EQ(1, m_ui.messages.size());
        EXPECT_EQ(QStringLiteral("Failed to copy file %1report.css to %2report.css, error %3")
                      .arg(report.TemplateDirectory(), report.OutputDirectory())
                      .arg(EISDIR),
                  m_ui.messages[0]);
    }
    // A report directory that can't be made.
    m_ui.messages.clear();
    {
        QFile blocker(m_strDir + QStringLiteral("file"));
        ASSERT_TRUE(blocker.open(QIODevice::WriteOnly));
        CPEReport report(m_map);
        report.SetReportDirectory(m_strDir + QStringLiteral("file/reports"));
        EXPECT_FALSE(report.GenerateReport());
        EXPECT_EQ(QStringList(QStringLiteral("Unable to create directory '%1file/reports/'").arg(m_strDir)),
                  m_ui.messages);
    }
    // Nothing could show the page: it is written all the same.
    m_ui.messages.clear();
    m_ui.bOpenDocuments = false;
    {
        CPEReport report(m_map);
        report.SetReportDirectory(m_strDir + QStringLiteral("fourth"));
        EXPECT_FALSE(report.GenerateReport());
        EXPECT_EQ(QStringList(QStringLiteral("Error: No application associated with the file: '%1'")
                                  .arg(report.OutputPath())),
                  m_ui.messages);
        EXPECT_TRUE(Page(report).contains(QStringLiteral("</html>")));
    }
}

TEST_F(ReportPages, ReportDirectoriesComeFromThePreferences)
{
    for (int i = 0; i < eReportKindCount; ++i)
    {
        const auto eKind = static_cast<EReportKind>(i);
        const QString strKey = QString::fromLatin1(ReportKindInfo(eKind).pszKey);
        RemovePreference(QStringLiteral("Directories"), strKey);
        EXPECT_EQ(ReportDirectoryDefault(eKind), ReportDirectory(eKind));
        EXPECT_TRUE(
            ReportDirectoryDefault(eKind).endsWith(QStringLiteral("/Halvorn/Norvanta4/") + strKey + '/'));
        EXPECT_TRUE(QFileInfo(ShippedReportTemplates(eKind) + ReportKindInfo(eKind).pieces.front()).isFile())
            << qPrintable(ShippedReportTemplates(eKind));
        SetPreference(QStringLiteral("Directories"), strKey, m_strDir + strKey);
        EXPECT_EQ(m_strDir + strKey + '/', ReportDirectory(eKind));
        RemovePreference(QStringLiteral("Directories"), strKey);
    }
    CRoutingTableReport report(m_map);
    EXPECT_EQ(ReportDirectoryDefault(eReportRoutingTable) + QStringLiteral("Output/Routing Table Report.HTM"),
              report.OutputPath());
}

TEST_F(ReportPages, RoutingTableReportListsEachTableOfEachSwitch)
{
    CRoutingTableReport report(m_map);
    report.SetNumberFormat(16, 8);
    ASSERT_TRUE(Generate(report)) << qPrintable(m_ui.messages.join(QLatin1Char('\n')));
    QString strPage = Page(report);
    EXPECT_FALSE(strPage.contains(QStringLiteral("##!!!")));
    // One switch with four per-port tables, two of them absent.
    EXPECT_EQ(1, Count(strPage, QStringLiteral("<h2>Node 1 - ")));
    EXPECT_TRUE(
        strPage.contains(QStringLiteral("4 ports &middot; Destination ID <span class=\"mono\">FFh</span>")));
    for (int iPort = 0; iPort < 4; ++iPort)
    {
        EXPECT_TRUE(strPage.contains(QStringLiteral("<caption>Input port %1</caption>").arg(iPort)));
    }
    EXPECT_EQ(4, Count(strPage, QStringLiteral("Destination IDs (HEX)")));
    EXPECT_TRUE(strPage.contains(QStringLiteral("<tr><td>Port 1</td><td class=\"ids\">1h</td></tr>")));
    EXPECT_TRUE(strPage.contains(QStringLiteral("<tr><td>Port 0</td><td class=\"ids\">0h</td></tr>")));
    EXPECT_EQ(2, Count(strPage, QStringLiteral("<td class=\"ids\">No routes</td>")));

    // One table for all ports.
    CPEPrimitive& sw = *m_map.ActivePEs.GetByIndex(0);
    sw.bHasPerPortRoutingTables = false;
    sw.SetDefaultPort(3);
    report.SetNumberFormat(10, 8);
    ASSERT_TRUE(Generate(report));
    strPage = Page(report);
    EXPECT_EQ(1, Count(strPage, QStringLiteral("<caption>Input port **All**</caption>")));
    EXPECT_EQ(1, Count(strPage, QStringLiteral("Destination IDs (DEC)")));
    EXPECT_TRUE(strPage.contains(
        QStringLiteral("<tr><td>Port 3 (default)</td><td class=\"ids\">All other IDs</td></tr>")));

    // A map without switches has nothing to report.
    m_ui.messages.clear();
    sw.bDeleted = true;
    EXPECT_FALSE(Generate(report));
    EXPECT_EQ(QStringList(QStringLiteral("There are no switches in the map to report routing tables of.")),
              m_ui.messages);
}

TEST_F(ReportPages, RegisterReportShowsStoredValuesOnly)
{
    CRegisterReport empty(m_map, MapRegisterItems(m_map));
    EXPECT_FALSE(Generate(empty));
    EXPECT_EQ(QStringList(QStringLiteral("There are no valid register values to report.")), m_ui.messages);
    EXPECT_FALSE(QFileInfo::exists(empty.OutputPath()));

    m_ui.messages.clear();
    m_map.ActivePEs.GetByIndex(0)->SavedRegisters.SetValue(0x0, 0x03740038, false);
    m_map.ActivePEs.GetByIndex(0)->SavedRegisters.SetValue(0x10, 0x10000000, false);
    m_map.ActivePEs.GetByIndex(1)->SavedRegisters.SetValue(0x0, 0x80AB0038, true);
    // All PEs, then the endpoint (node 2) alone.
    CRegisterReport all(m_map, MapRegisterItems(m_map));
    ASSERT_TRUE(Generate(all)) << qPrintable(m_ui.messages.join(QLatin1Char('\n')));
    QString strPage = Page(all);
    EXPECT_FALSE(strPage.contains(QStringLiteral("##!!!")));
    EXPECT_EQ(2, Count(strPage, QStringLiteral("<h2>Node ")));
    EXPECT_EQ(2, Count(strPage, QStringLiteral("Offset: 0x0<")));
    EXPECT_EQ(1, Count(strPage, QStringLiteral("Offset: 0x10<")));
    EXPECT_TRUE(strPage.contains(QStringLiteral("<code>0x80AB0038</code>")));
    EXPECT_EQ(1, Count(strPage, QStringLiteral(">unconfirmed<")));
    // Each PE's block of capability registers is headed once.
    EXPECT_EQ(2, Count(strPage, QStringLiteral("<h3>Capability Registers (CARs)</h3>")));

    CRegisterReport one(m_map, MapRegisterItems(m_map, 1));
    ASSERT_TRUE(Generate(one));
    strPage = Page(one);
    EXPECT_EQ(1, Count(strPage, QStringLiteral("<h2>Node ")));
    EXPECT_TRUE(strPage.contains(QStringLiteral("<h2>Node 2 - ")));
    EXPECT_FALSE(strPage.contains(QStringLiteral("0x03740038")));
}

TEST_F(ReportPages, WatchAndPerformanceReportsWriteTheirRecords)
{
    SWatchReportItem item;
    item.iNode = 0;
    item.strRegister = QStringLiteral("Port 0 Error and Status CSR");
    item.strBitField = QStringLiteral("<All>");
    item.strTrigger = QStringLiteral("BF > 1h");
    item.strAction = QStringLiteral("None");
    SWatchReportLogRecord record;
    record.strTime = QStringLiteral("05/03/2024 10:11:12");
    record.strTrigger = QStringLiteral("BF > 1h");
    CWatchReport watch(m_map.FileName, {item, item}, {record});
    ASSERT_TRUE(Generate(watch)) << qPrintable(m_ui.messages.join(QLatin1Char('\n')));
    QString strPage = Page(watch);
    EXPECT_FALSE(strPage.contains(QStringLiteral("##!!!")));
    EXPECT_EQ(QStringLiteral("Watch Window Report.HTM"), QFileInfo(watch.OutputPath()).fileName());
    EXPECT_EQ(3, Count(strPage, QStringLiteral("BF &gt 1h")));
    EXPECT_EQ(2, Count(strPage, QStringLiteral("<td>OFF</td>")));
    EXPECT_TRUE(strPage.contains(QStringLiteral("05/03/2024 10:11:12")));

    // Performance: one table per monitor, one row per sample.
    CPerformanceReport none(m_map.FileName, {});
    EXPECT_FALSE(Generate(none));
    EXPECT_EQ(QStringList(QStringLiteral("There is no performance monitor data to report.")), m_ui.messages);
    SPerfMonitorRecord monitor;
    monitor.strMonitor = QStringLiteral("IDT CPS/VPS-1848 Performance Monitor");
    monitor.strCounter = QStringLiteral("VC0 Packets Received");
    monitor.iNode = 0;
    monitor.iPort = 3;
    monitor.samples = {{QStringLiteral("10:00:01"), 1500.0}, {QStringLiteral("10:00:02"), 1750.25}};
    SPerfMonitorRecord second = monitor;
    second.iPort = 4;
    second.samples.resize(1);
    CPerformanceReport perf(m_map.FileName, {monitor, second});
    ASSERT_TRUE(Generate(perf));
    strPage = Page(perf);
    EXPECT_FALSE(strPage.contains(QStringLiteral("##!!!")));
    EXPECT_EQ(2,
              Count(strPage, QStringLiteral("<caption>VC0 Packets Received (counts per second)</caption>")));
    EXPECT_EQ(3, Count(strPage, QStringLiteral("<td class=\"num\">")));
    EXPECT_TRUE(strPage.contains(QStringLiteral("<td class=\"num\">1750.2</td>")) ||
                strPage.contains(QStringLiteral("<td class=\"num\">1750.3</td>")));
    EXPECT_TRUE(strPage.contains(QStringLiteral("Port 4 &middot;")));
}
} // namespace
