// The report directories dialog and the report commands of the main window: what the dialog
// shows and stores, and the PE and routing table reports written from the map on show.
#include "GuiTestEnvironment.h"

#include "MainFrame.h"
#include "Preferences.h"
#include "RecordingUserInterface.h"
#include "ReportDirsDlg.h"
#include "TestSupport.h"

#include <QApplication>
#include <QDir>
#include <QFileInfo>
#include <QLabel>
#include <QLineEdit>
#include <QPushButton>

#include <gtest/gtest.h>

namespace
{
const QString kDirectories = QStringLiteral("Directories");

TEST(ReportDirsDlgTest, BrowsesWithItsPromptsAndStoresTheFiveDirectories)
{
    nvtest::CRecordingUserInterface ui;
    const QString strBase = QString::fromStdString(nvtest::ProcessTempDir()) + QStringLiteral("/report-dirs");
    for (int i = 0; i < eReportKindCount; ++i)
    {
        RemovePreference(kDirectories,
                         QString::fromLatin1(ReportKindInfo(static_cast<EReportKind>(i)).pszKey));
    }
    SetPreference(kDirectories, QStringLiteral("RTReportDir"), strBase + QStringLiteral("/rt"));
    {
        CReportDirsDlg dialog;
        // Each box shows the stored directory, or is empty with the default greyed in it.
        EXPECT_EQ(strBase + QStringLiteral("/rt"), dialog.Edit(eReportRoutingTable)->text());
        EXPECT_TRUE(dialog.Edit(eReportPEInfo)->text().isEmpty());
        EXPECT_EQ(ReportDirectoryDefault(eReportPEInfo), dialog.Edit(eReportPEInfo)->placeholderText());
        // Browse asks with the kind's own words; a cancelled choice leaves the box.
        ui.texts = {strBase + QStringLiteral("/pe"), strBase + QStringLiteral("/perf"), QString()};
        dialog.BrowseButton(eReportPEInfo)->click();
        dialog.BrowseButton(eReportPerformance)->click();
        dialog.BrowseButton(eReportRegister)->click();
        dialog.BrowseButton(eReportWatch)->click();
        EXPECT_EQ(QStringList({"Choose a directory for PE Reports",
                               "Choose a directory for Performance Monitor Reports",
                               "Choose a directory for Register Reports",
                               "Choose a directory for Watch Window Reports"}),
                  ui.choices);
        EXPECT_EQ(strBase + QStringLiteral("/pe"), dialog.Edit(eReportPEInfo)->text());
        EXPECT_TRUE(dialog.Edit(eReportRegister)->text().isEmpty());
        dialog.Edit(eReportRoutingTable)->setText(QStringLiteral("  "));
        dialog.accept();
        EXPECT_EQ(QDialog::Accepted, dialog.result());
    }
    EXPECT_TRUE(ui.messages.isEmpty());
    EXPECT_EQ(strBase + QStringLiteral("/pe/"), ReportDirectory(eReportPEInfo));
    EXPECT_EQ(strBase + QStringLiteral("/perf/"), ReportDirectory(eReportPerformance));
    // An emptied box gives the default back.
    EXPECT_EQ(ReportDirectoryDefault(eReportRoutingTable), ReportDirectory(eReportRoutingTable));
    EXPECT_EQ(ReportDirectoryDefault(eReportRegister), ReportDirectory(eReportRegister));
}

TEST(ReportDirsDlgTest, RowsLineUpAndShowTheWholeDefaultPath)
{
    nvtest::CRecordingUserInterface ui;
    CReportDirsDlg dialog;
    dialog.show();
    QApplication::processEvents();
    const int iEditX = dialog.Edit(eReportPEInfo)->geometry().x();
    const int iBrowseX = dialog.BrowseButton(eReportPEInfo)->geometry().x();
    int iLastBottom = 0;
    for (int i = 0; i < eReportKindCount; ++i)
    {
        const auto eKind = static_cast<EReportKind>(i);
        QLineEdit* pEdit = dialog.Edit(eKind);
        EXPECT_EQ(iEditX, pEdit->geometry().x());
        EXPECT_EQ(iBrowseX, dialog.BrowseButton(eKind)->geometry().x());
        EXPECT_GE(pEdit->geometry().top(), iLastBottom) << "rows overlap";
        iLastBottom = pEdit->geometry().bottom();
        // The default fits in its box, so the person sees where the reports go.
        EXPECT_GE(pEdit->width(), pEdit->fontMetrics().horizontalAdvance(pEdit->placeholderText()));
        EXPECT_LT(pEdit->geometry().right(), dialog.BrowseButton(eKind)->geometry().left());
    }
    // A picture of the dialog for a person to look at, when asked for.
    if (const QByteArray dir = qgetenv("NV_GRAB_DIR"); !dir.isEmpty())
    {
        dialog.grab().save(QString::fromLocal8Bit(dir) + QStringLiteral("/report-dirs.png"));
    }
}

TEST(ReportDirsDlgTest, TheNetworkMenuWritesTheReportsOfTheMapOnShow)
{
    CMainFrame frame;
    nvtest::CRecordingUserInterface ui;
    const QString strBase =
        QString::fromStdString(nvtest::ProcessTempDir()) + QStringLiteral("/frame-reports");
    SetPreference(kDirectories, QStringLiteral("PEReportDir"), strBase + QStringLiteral("/pe"));
    SetPreference(kDirectories, QStringLiteral("RTReportDir"), strBase + QStringLiteral("/rt"));

    // Without a switch the routing table report has nothing to say, and nothing is opened.
    nvguitest::AddPE(frame.Core().Document(), 0, 0xFFF0, 0x0001, kPETypeProcessor, 100, 150);
    frame.RunCommand(eCmdRoutingTableReport);
    EXPECT_EQ(QStringList(QStringLiteral("There are no switches in the map to report routing tables of.")),
              ui.messages);
    EXPECT_TRUE(ui.openedDocuments.isEmpty());

    ui.messages.clear();
    nvguitest::AddPE(frame.Core().Document(), 1, 0x0038, 0x0374, kPETypeSwitch, 300, 150, 18);
    frame.RunCommand(eCmdPEInfoReport);
    frame.RunCommand(eCmdRoutingTableReport);
    EXPECT_TRUE(ui.messages.isEmpty()) << qPrintable(ui.messages.join('\n'));
    const QStringList expected = {
        QFileInfo(strBase + QStringLiteral("/pe/Output/PE Info Report.HTM")).absoluteFilePath(),
        QFileInfo(strBase + QStringLiteral("/rt/Output/Routing Table Report.HTM")).absoluteFilePath()};
    EXPECT_EQ(expected, ui.openedDocuments);
    for (const QString& strPage : expected)
    {
        EXPECT_GT(QFileInfo(strPage).size(), 500) << qPrintable(strPage);
    }
    RemovePreference(kDirectories, QStringLiteral("PEReportDir"));
    RemovePreference(kDirectories, QStringLiteral("RTReportDir"));
}
} // namespace
