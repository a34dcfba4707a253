// The values each report puts into its markers: PE entries, routing rows, register rows, watch
// rows and log lines, performance monitors, dates and the texts of a page the desktop can't show.
#include "ReportFixture.h"

#include "NumberText.h"
#include "PEReport.h"
#include "PerformanceReport.h"
#include "RegisterInfoCache.h"
#include "RegisterReport.h"
#include "RegisterTree.h"
#include "RoutingTableReport.h"
#include "WatchItem.h"
#include "WatchReport.h"
#include "WatchTrigger.h"

namespace
{
using nvtest::CReportTest;

QString Value(const QStringList& keys, const QStringList& values, const char* pszKey)
{
    const qsizetype i = keys.indexOf(QString::fromLatin1(pszKey));
    return i >= 0 && i < values.size() ? values[i] : QStringLiteral("<no such key>");
}

class ReportValues : public CReportTest
{
};

TEST_F(ReportValues, PEEntryShowsIdentityPortsTablesAndStatus)
{
    CPEPrimitive& pe = AddPE(4, 0x0038, 0x0374, true, 3);
    pe.bHasPerPortRoutingTables = true;
    pe.Comment = QStringLiteral("rack 2 <top>\nslot 3");
    pe.PortHealth[1].bChecked = true;
    pe.PortHealth[1].bError = true;
    pe.PortHealth[1].Reason = QStringLiteral("Output Error-stopped & retrying");
    pe.PortHealth[2].bChecked = true;
    pe.PortHealth[2].bDown = true;
    const QStringList keys = PEReportKeys();
    QStringList values = PEReportValues(pe, QStringLiteral("sw.svg"));
    ASSERT_EQ(keys.size(), values.size());
    EXPECT_EQ(QStringLiteral("5 - %1").arg(pe.CommonName), Value(keys, values, "NODE"));
    EXPECT_FALSE(pe.CommonName.isEmpty()); // named by its device information file
    EXPECT_EQ(QStringLiteral("0374h"), Value(keys, values, "DEVICEID"));
    EXPECT_EQ(QStringLiteral("0038h"), Value(keys, values, "VENDORID"));
    EXPECT_EQ(QStringLiteral("sw.svg"), Value(keys, values, "ICON"));
    EXPECT_EQ(QStringLiteral("Switch"), Value(keys, values, "TYPE"));
    EXPECT_EQ(QStringLiteral("Port 0 - No Errors<br>Port 1 - Output Error-stopped &amp; retrying<br>Port 2 - "
                             "Port Down"),
              Value(keys, values, "PORTCONFIG"));
    EXPECT_EQ(QStringLiteral("One per ingress port"), Value(keys, values, "RTFORMAT"));
    EXPECT_EQ(
        QStringLiteral("Unknown: Enable System Health Monitoring or Validate Network to determine status."),
        Value(keys, values, "STATUS"));
    EXPECT_EQ(QStringLiteral("rack 2 &lt;top&gt;<br>slot 3"), Value(keys, values, "COMMENT"));

    // After a validation the status is the model's text; a switch with one table for all ports,
    // and a PE without ports, say so.
    pe.Health.eStatus = eValidationIDsNotMatching;
    pe.Health.uFoundDeviceID = 0x0375;
    pe.Health.uFoundVendorID = 0xFFFF;
    pe.bHasPerPortRoutingTables = false;
    values = PEReportValues(pe, QString());
    EXPECT_EQ(QStringLiteral("Device ID Not Matching:0375h"), Value(keys, values, "STATUS"));
    EXPECT_EQ(QStringLiteral("One for all ports"), Value(keys, values, "RTFORMAT"));
    pe.iNumLocalPorts = 0;
    EXPECT_EQ(QStringLiteral("N/A"), RoutingFormatText(pe));
    EXPECT_EQ(QString(), PortConfigText(pe));

    // A PE without a common name is named by its type.
    CPEPrimitive& unknown = AddPE(7, 0xFFFE, 0xFFFE, false, 1);
    EXPECT_EQ(QStringLiteral("8 - Unknown"), Value(keys, PEReportValues(unknown, QString()), "NODE"));
}

TEST_F(ReportValues, RoutingRowsGroupIDsByOutput)
{
    CRoutingTable table;
    for (uint16_t wID : {0, 1, 2, 3, 5, 7, 8})
    {
        table.AddEntry(wID, 1, eRoutePort, 0, false);
    }
    table.AddEntry(4, 2, eRoutePort, 0, false);
    table.AddEntry(0x40, 0, eRouteMulticast, 0, false);
    table.AddEntry(0x41, 0, eRouteSpecial, 2, false);
    using Rows = std::vector<std::pair<QString, QString>>;
    EXPECT_EQ((Rows{{"Port 1", "0h-3h, 5h, 7h, 8h"},
                    {"Port 2", "4h"},
                    {"Mask 0", "40h"},
                    {"Special 2", "41h"},
                    {"Port 3 (default)", "All other IDs"}}),
              RoutingReportRows(&table, true, 3, 16, 8));
    // Decimal, and no default port.
    const Rows decimal = RoutingReportRows(&table, false, 0, 10, 8);
    ASSERT_EQ(4u, decimal.size());
    EXPECT_EQ((std::pair<QString, QString>("Port 1", "0-3, 5, 7, 8")), decimal[0]);
    EXPECT_EQ(QStringLiteral("00000100b-00000110b"), DestIDListText({6, 4, 5, 5}, 2, 8));
    EXPECT_EQ(QStringLiteral("4, 5"), DestIDListText({5, 4}, 10, 16));
    EXPECT_EQ((Rows{{"None", "No routes"}}), RoutingReportRows(nullptr, false, 0, 16, 8));
    EXPECT_EQ(QStringLiteral("HEX"), ReportBaseText(16));
    EXPECT_EQ(QStringLiteral("DEC"), ReportBaseText(10));
    EXPECT_EQ(QStringLiteral("BIN"), ReportBaseText(2));
}

TEST_F(ReportValues, RegisterRowsGoFourFieldsAcross)
{
    CPEPrimitive& pe = AddPE(0, 0x0038, 0x0374, true, 18);
    const CRegisterFileInfo* pInfo = RegisterFileOf(pe);
    ASSERT_NE(nullptr, pInfo);
    const CRegister* pIdentity = nullptr;
    const CRegister* pFeatures = nullptr;
    for (const SRegisterTreeItem& item : RegisterTreeItems(*pInfo))
    {
        if (item.eKind == eTreeRegister && item.uOffset == 0x0)
        {
            pIdentity = item.pRegister;
        }
        if (item.eKind == eTreeRegister && item.uOffset == 0x10)
        {
            pFeatures = item.pRegister;
        }
    }
    ASSERT_NE(nullptr, pIdentity);
    ASSERT_NE(nullptr, pFeatures);

    // Two fields: one row, the other two cells filled with "&nbsp".
    std::vector<SRegisterReportRow> rows = RegisterReportRows(*pIdentity, 0x0, 0x03740038, true);
    ASSERT_EQ(1u, rows.size());
    EXPECT_EQ(QStringList({"Offset: 0x0", "Register Name", "Bits 0-15", "Bits 16-31", "&nbsp", "&nbsp"}),
              rows[0].headValues);
    ASSERT_EQ(RegisterReportRowKeys().size(), rows[0].rowValues.size());
    EXPECT_EQ(QStringLiteral("0x000000"), rows[0].rowValues[0]);
    EXPECT_EQ(QStringLiteral("Device Identity CAR<br><code>0x03740038</code>"), rows[0].rowValues[1]);
    EXPECT_EQ(QStringList({"DeviceIdentity", "DeviceVendorIdentity", "&nbsp", "&nbsp"}),
              rows[0].rowValues.mid(2, 4));
    EXPECT_EQ(QStringList({"374h", "38h", "&nbsp", "&nbsp"}), rows[0].rowValues.mid(6, 4));

    // A register of many fields goes on in rows of four; only the first has the titles and name.
    ASSERT_GT(pFeatures->GetNumBitFields(), 4);
    rows = RegisterReportRows(*pFeatures, 0x10, 0x10000000, false);
    const size_t nRows = static_cast<size_t>((pFeatures->GetNumBitFields() + 3) / 4);
    ASSERT_EQ(nRows, rows.size());
    EXPECT_EQ(QStringLiteral("Offset: 0x10"), rows[0].headValues[0]);
    EXPECT_EQ(QStringList({"Bit 0", "Bit 1", "Bit 2", "Bit 3"}), rows[0].headValues.mid(2, 4));
    EXPECT_EQ(QStringList({"Bridge", "Memory", "Processor", "Switch"}), rows[0].rowValues.mid(2, 4));
    // Bit 3 (Switch) is the one set in 10000000h.
    EXPECT_EQ(QStringLiteral("0h"), rows[0].rowValues[6]);
    EXPECT_TRUE(rows[0].rowValues[9].startsWith(QStringLiteral("1h"))) << qPrintable(rows[0].rowValues[9]);
    // A value not read back from the device says so.
    EXPECT_TRUE(rows[0].rowValues[1].contains(QStringLiteral(">unconfirmed<")))
        << qPrintable(rows[0].rowValues[1]);
    EXPECT_EQ(QStringLiteral("&nbsp"), rows[1].headValues[0]);
    EXPECT_EQ(QStringLiteral("&nbsp"), rows[1].headValues[1]);
    EXPECT_EQ(QStringLiteral("&nbsp"), rows[1].rowValues[0]);
    EXPECT_EQ(QStringLiteral("&nbsp"), rows[1].rowValues[1]);
    EXPECT_EQ(pFeatures->GetBitField(4)->Name, rows[1].rowValues[2]);
}

TEST_F(ReportValues, WatchRowsEscapeTriggersAndShowThePeriod)
{
    WatchItem watch;
    watch.eType = eTriggerNotBetweenExclusive;
    watch.uParam1 = 10;
    watch.uParam2 = 20;
    EXPECT_EQ(QStringLiteral("(BF < Ah) || (BF > 14h)"), TriggerText(watch, 16, true));
    EXPECT_EQ(QStringLiteral("(BF < 10d) || (BF > 20d)"), TriggerText(watch, 10, true));
    EXPECT_EQ(QStringLiteral("(BF < A) || (BF > 14)"), TriggerText(watch, 16)); // the window shows no tail
    watch.eType = eTriggerChange;
    EXPECT_EQ(QStringLiteral("BF Changes"), TriggerText(watch, 16, true));
    watch.eType = 11;
    EXPECT_EQ(QStringLiteral("Invalid"), TriggerText(watch, 16, true));
    EXPECT_EQ(QStringLiteral("Highlight PE"), WatchActionText(eWatchActionHighlightPE));
    EXPECT_EQ(QStringLiteral("Invalid"), WatchActionText(9));

    SWatchReportItem item;
    item.iNode = 2;
    item.uDestID = 5;
    item.strRegister = QStringLiteral("Port 0 Error and Status CSR");
    item.strBitField = QStringLiteral("<All>");
    item.strValue = QStringLiteral("2h");
    item.strTrigger = QStringLiteral("Ah <= BF <= 14h");
    item.iNumEvents = 4;
    item.strAction = QStringLiteral("Beep");
    item.iUpdatePeriod = 3;
    item.bEnabled = true;
    const QStringList keys = WatchItemKeys();
    QStringList values = WatchItemValues(1, item);
    EXPECT_EQ(QStringLiteral("2"), Value(keys, values, "TRIGNUM"));
    EXPECT_EQ(QStringLiteral("Ah &lt= BF &lt= 14h"), Value(keys, values, "TRIGWHEN"));
    EXPECT_EQ(QStringLiteral("3 Seconds"), Value(keys, values, "PERIOD"));
    EXPECT_EQ(QStringLiteral("4"), Value(keys, values, "NUMTRIGS"));
    EXPECT_EQ(QStringLiteral("Node 3 (DestID 0005h): Port 0 Error and Status CSR / &lt;All&gt;"),
              Value(keys, values, "REGISTER"));
    item.bEnabled = false;
    EXPECT_EQ(QStringLiteral("OFF"), Value(keys, WatchItemValues(1, item), "PERIOD"));

    SWatchReportLogRecord record;
    record.strTime = QStringLiteral("05/03/2024 10:11:12");
    record.iNode = 0;
    record.uDestID = 0xFFFF;
    record.strTrigger = QStringLiteral("BF > 3h");
    record.iNumEvents = 9;
    const QStringList log = WatchLogValues(record);
    EXPECT_EQ(QStringLiteral("1"), Value(WatchLogKeys(), log, "LOGNODE"));
    EXPECT_EQ(QString(), Value(WatchLogKeys(), log, "LOGDESTID"));
    EXPECT_EQ(QStringLiteral("BF &gt 3h"), Value(WatchLogKeys(), log, "LOGTRIGGER"));
    EXPECT_EQ(QStringLiteral("9"), Value(WatchLogKeys(), log, "LOGEVENT"));
}

TEST_F(ReportValues, WatchRowsOfAMapNameThePEByItsNodeNumber)
{
    AddPE(0, 0x0038, 0x0374, true, 18);
    AddPE(9, 0x0038, 0x0374, true, 18); // position 1 holds node 9
    WatchItem watch;
    watch.iPEID = 1;
    watch.uNewValue = 0x12;
    watch.eType = eTriggerGreaterThan;
    watch.uParam1 = 0x10;
    watch.eAction = eWatchActionMessageBox;
    m_map.WatchItems.push_back(watch);
    const std::vector<SWatchReportItem> items = WatchReportItems(m_map, 16);
    ASSERT_EQ(1u, items.size());
    EXPECT_EQ(9, items[0].iNode);
    EXPECT_EQ(QStringLiteral("12h"), items[0].strValue);
    EXPECT_EQ(QStringLiteral("BF > 10h"), items[0].strTrigger);
    EXPECT_EQ(QStringLiteral("MessageBox"), items[0].strAction);
    EXPECT_FALSE(items[0].bEnabled); // a map's items are never polled when loaded
}

TEST_F(ReportValues, PerformanceMonitorsAndRates)
{
    SPerfMonitorRecord record;
    record.strMonitor = QStringLiteral("IDT CPS-1616 Performance Monitor");
    record.iNode = 2;
    record.iPort = 7;
    record.uDestID = 0x12;
    EXPECT_EQ(QStringList({"IDT CPS-1616 Performance Monitor - Node 3", "Port 7", "0012h"}),
              PerfMonitorValues(record));
    EXPECT_EQ(QStringLiteral("1234567.9"), PerfRateText(1234567.89));
    EXPECT_EQ(QStringLiteral("0.0"), PerfRateText(0));
}

TEST(ReportTexts, DatesAndPagesTheDesktopCannotShow)
{
    EXPECT_EQ(QStringLiteral("05 March, 2024"), CReport::DateText(QDate(2024, 3, 5)));
    EXPECT_EQ(QStringLiteral("31 December, 1999"), CReport::DateText(QDate(1999, 12, 31)));
    const QString strPath = QStringLiteral("/r/PE Info Report.HTM");
    EXPECT_EQ(QStringLiteral("Error:  File not found: '/r/PE Info Report.HTM'"),
              OpenFailureText(eOpenFileNotFound, strPath));
    EXPECT_EQ(QStringLiteral("Error: Path not found: '/r/PE Info Report.HTM'"),
              OpenFailureText(eOpenPathNotFound, strPath));
    EXPECT_EQ(QStringLiteral("Error: Access denied: '/r/PE Info Report.HTM'"),
              OpenFailureText(eOpenAccessDenied, strPath));
    EXPECT_EQ(QStringLiteral("Error: Out of memory"), OpenFailureText(eOpenOutOfMemory, strPath));
    EXPECT_EQ(QStringLiteral("Error: Sharing violation: '/r/PE Info Report.HTM'"),
              OpenFailureText(eOpenSharingViolation, strPath));
    EXPECT_EQ(QStringLiteral("Error: File name association incomplete or invalid: '/r/PE Info Report.HTM'"),
              OpenFailureText(eOpenAssociationIncomplete, strPath));
    EXPECT_EQ(QStringLiteral("Error: No application associated with the file: '/r/PE Info Report.HTM'"),
              OpenFailureText(eOpenNoAssociation, strPath));
}
} // namespace
