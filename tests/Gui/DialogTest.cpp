// The window at start-up and its dialogs: the connection choice with its six tabs, debug
// logging, the default settings, the labels and the working window.
#include "GuiTestEnvironment.h"

#include "ConnectDlg.h"
#include "ConnectionChoice.h"
#include "DebugKeyFile.h"
#include "DebugLoggingDlg.h"
#include "DefaultSettings.h"
#include "DefaultSettingsDlg.h"
#include "LinkSettings.h"
#include "MainFrame.h"
#include "MapOptionsDlg.h"
#include "ParametersDlg.h"
#include "Preferences.h"
#include "QtUserInterface.h"
#include "RecordingUserInterface.h"
#include "SimProcess.h"
#include "TestSupport.h"
#include "WorkingDlg.h"

#include <QApplication>
#include <QCheckBox>
#include <QComboBox>
#include <QDateEdit>
#include <QDir>
#include <QFile>
#include <QLabel>
#include <QLineEdit>
#include <QPushButton>
#include <QRadioButton>
#include <QTabWidget>
#include <QTimer>
#include <QTreeWidget>
#include <QtTest/QTest>

#include <gtest/gtest.h>

namespace
{
TEST(StartupTest, AnEmptyStoreStartsDisconnectedOnAnUntitledSmallTransportMap)
{
    CMainFrame frame;
    EXPECT_EQ("Norvanta - Untitled", frame.windowTitle().toStdString());
    EXPECT_EQ("Not Connected", frame.ConnectionStatus()->text().toStdString());
    EXPECT_EQ("TT=Small", frame.TransportStatus()->text().toStdString());
    EXPECT_EQ("Connect...", frame.Action(eCmdConnect)->text().toStdString());
    EXPECT_EQ(QKeySequence("Alt+C"), frame.Action(eCmdConnect)->shortcut());
    EXPECT_TRUE(frame.Action(eCmdTransportSmall)->isChecked());
    EXPECT_FALSE(frame.Core().IsConnected());
    EXPECT_TRUE(frame.Core().Document().ActivePEs.IsEmpty());
    CDefaultSettingsDlg settings;
    EXPECT_FALSE(settings.LargeTransport()->isChecked());
    for (size_t i = 0; i < DefaultSettingsQuestions().size(); ++i)
    {
        EXPECT_EQ(0, settings.QuestionCombo(static_cast<int>(i))->currentIndex()) << i;
    }
}

TEST(DialogTest, DefaultSettingsStoreTheirStatesAndCheckTheHostID)
{
    nvtest::CRecordingUserInterface ui;
    CDefaultSettingsDlg dialog;
    dialog.LargeTransport()->setChecked(true);
    dialog.QuestionCombo(5)->setCurrentIndex(eQuestionAlwaysNo); // NoOverlaps
    ASSERT_TRUE(dialog.Store());
    EXPECT_EQ(16, DefaultDestIDSize());
    EXPECT_EQ(eQuestionAlwaysNo, QuestionState("NoOverlaps"));
    EXPECT_EQ(eQuestionAsk, QuestionState("DiscoveryLog"));

    CDefaultSettingsDlg again;
    EXPECT_TRUE(again.LargeTransport()->isChecked());
    EXPECT_EQ(eQuestionAlwaysNo, again.QuestionCombo(5)->currentIndex());
    again.SmallHostID()->setText("256");
    EXPECT_FALSE(again.Store());
    EXPECT_EQ(QStringList{"Invalid data entry."}, ui.messages);
    // Back to a new user's settings for the tests that follow in this process.
    RemovePreference("Preferences", "DefaultDestIDSize");
    SetQuestionState("NoOverlaps", eQuestionAsk);
}

TEST(DialogTest, DefaultSettingsHoldTheDiscoveryWindowTheUpdateCheckAndTheDirectories)
{
    nvtest::CRecordingUserInterface ui;
    const auto& directories = DefaultSettingsDirectories();
    std::vector<std::string> keys;
    for (const SDirectoryKey& directory : directories)
    {
        keys.push_back(directory.pszKey);
    }
    EXPECT_EQ((std::vector<std::string>{"AppDir", "BitmapDir", "ModuleDir", "CustomGUI", "EEPROM_DLLs",
                                        "PEReportDir", "PMReportDir", "RegReportDir", "RTReportDir",
                                        "WWReportDir"}),
              keys);
    SetPreference("SystemSettings", "LastCheck", QStringLiteral("2024-03-01"));
    const QString strReports = QString::fromStdString(nvtest::ProcessTempDir()) + "/reports";
    ASSERT_TRUE(QDir().mkpath(strReports));
    {
        CDefaultSettingsDlg dialog;
        // A new user's values: details and pin off, no update check, every directory empty with
        // the installed location shown where there is one.
        EXPECT_FALSE(dialog.DiscoveryDetails()->isChecked());
        EXPECT_FALSE(dialog.DiscoveryPinned()->isChecked());
        EXPECT_FALSE(dialog.CheckForUpdates()->isChecked());
        EXPECT_EQ("30", dialog.UpdateInterval()->text().toStdString());
        EXPECT_EQ("2024-03-01", dialog.LastCheck()->text().toStdString());
        for (size_t i = 0; i < directories.size(); ++i)
        {
            EXPECT_TRUE(dialog.DirectoryField(static_cast<int>(i))->text().isEmpty()) << keys[i];
        }
        EXPECT_FALSE(dialog.DirectoryField(2)->placeholderText().isEmpty()) << "the register library";

        dialog.DiscoveryDetails()->setChecked(true);
        dialog.DiscoveryPinned()->setChecked(true);
        dialog.CheckForUpdates()->setChecked(true);
        dialog.UpdateInterval()->setText("Eh"); // hexadecimal by the number entry rule: 14 days
        dialog.DirectoryField(5)->setText(strReports);
        // A directory that isn't there is refused, on its page, and nothing is stored.
        dialog.DirectoryField(9)->setText(strReports + "/missing");
        EXPECT_FALSE(dialog.Store());
        EXPECT_EQ(QStringList{"Directory not found: '" + strReports + "/missing'"}, ui.messages);
        EXPECT_EQ(2, dialog.Tabs()->currentIndex());
        EXPECT_EQ(0u, GetPreference("Preferences", "DiscoveryDetails", 0u));
        EXPECT_TRUE(GetPreference("Directories", "PEReportDir", QString()).isEmpty());
        dialog.DirectoryField(9)->clear();
        // So is an interval that isn't a number or lies outside 1 to 365 days.
        dialog.UpdateInterval()->setText("12x");
        EXPECT_FALSE(dialog.Store());
        EXPECT_EQ(0, dialog.Tabs()->currentIndex());
        dialog.UpdateInterval()->setText("400");
        EXPECT_FALSE(dialog.Store());
        EXPECT_EQ(QStringList({"Directory not found: '" + strReports + "/missing'", "Invalid data entry.",
                               "The days between update checks must lie in the range 1 to 365."}),
                  ui.messages);
        dialog.UpdateInterval()->setText("Eh");
        ASSERT_TRUE(dialog.Store());
    }
    EXPECT_TRUE(DiscoveryDetails());
    EXPECT_TRUE(DiscoveryPinned());
    EXPECT_EQ(1u, GetPreference("Preferences", "DiscoveryDetails", 0u));
    EXPECT_EQ(1u, GetPreference("SystemSettings", "CheckForUpdates", 0u));
    EXPECT_EQ(14u, GetPreference("SystemSettings", "UpdateInterval", 0u));
    EXPECT_EQ("2024-03-01", GetPreference("SystemSettings", "LastCheck", QString()).toStdString());
    EXPECT_EQ(strReports, GetPreference("Directories", "PEReportDir", QString()));
    EXPECT_EQ("none", GetPreference("Directories", "WWReportDir", QStringLiteral("none")).toStdString())
        << "an empty field stores no key";
    {
        CDefaultSettingsDlg again;
        EXPECT_TRUE(again.DiscoveryPinned()->isChecked());
        EXPECT_EQ(strReports, again.DirectoryField(5)->text());
        // Clearing a field gives the directory back to its default.
        again.DirectoryField(5)->clear();
        again.DiscoveryDetails()->setChecked(false);
        again.DiscoveryPinned()->setChecked(false);
        again.CheckForUpdates()->setChecked(false);
        ASSERT_TRUE(again.Store());
    }
    EXPECT_EQ("none", GetPreference("Directories", "PEReportDir", QStringLiteral("none")).toStdString());
    EXPECT_FALSE(DiscoveryPinned());
    RemovePreference("SystemSettings", "UpdateInterval");
    RemovePreference("SystemSettings", "LastCheck");
}

TEST(DialogTest, ParametersAreCheckedBeforeTheyAreStoredAndTheLinksTakeThem)
{
    nvtest::CRecordingUserInterface ui;
    ReloadLinkSettings();
    const auto& parameters = LinkParameters();
    auto index = [&parameters](const char* pszKey)
    {
        for (size_t i = 0; i < parameters.size(); ++i)
        {
            if (QLatin1String(parameters[i].pszKey) == QLatin1String(pszKey))
            {
                return static_cast<int>(i);
            }
        }
        return -1;
    };
    const int iServer = index("ServerPort");
    const int iAddress = index("BroadcastAddress");
    const int iWait = index("ReceiveWaitMs");
    ASSERT_GE(iServer, 0);
    ASSERT_GE(iAddress, 0);
    ASSERT_GE(iWait, 0);
    {
        CParametersDlg dialog;
        EXPECT_EQ("15000", dialog.Field(iServer)->text().toStdString());
        EXPECT_EQ("255.255.255.255", dialog.Field(iAddress)->text().toStdString());
        dialog.Field(iServer)->setText("3B00h");
        dialog.Field(iAddress)->setText("127.0.0.1");
        dialog.Field(iWait)->setText("5000000");
        // One bad field stores nothing, and shows which.
        EXPECT_FALSE(dialog.Store());
        EXPECT_EQ(QStringList{"Wait limit of a receive must lie in the range 100 to 600000."}, ui.messages);
        EXPECT_EQ("5000000", dialog.Field(iWait)->selectedText().toStdString()) << "the field at fault";
        EXPECT_EQ(0u, GetPreference("Preferences", "ServerPort", 0u));
        dialog.Field(iAddress)->setText("127.0.1");
        dialog.Field(iWait)->setText("2500");
        EXPECT_FALSE(dialog.Store());
        EXPECT_EQ("Please enter a valid IP address.", ui.messages.last().toStdString());
        dialog.Field(iAddress)->setText("127.0.0.1");
        ASSERT_TRUE(dialog.Store());
    }
    EXPECT_EQ(0x3B00u, GetPreference("Preferences", "ServerPort", 0u));
    EXPECT_EQ("127.0.0.1", GetPreference("Preferences", "BroadcastAddress", QString()).toStdString());
    EXPECT_EQ(2500u, GetPreference("Preferences", "ReceiveWaitMs", 0u));

    // Through the menu with no target: the links read the new values at once.
    CMainFrame frame;
    nvtest::CRecordingUserInterface frameUI;
    QTimer::singleShot(0,
                       []
                       {
                           auto* pDialog = qobject_cast<CParametersDlg*>(QApplication::activeModalWidget());
                           ASSERT_NE(nullptr, pDialog);
                           pDialog->accept();
                       });
    frame.RunCommand(eCmdParameters);
    EXPECT_EQ(0x3B00, LinkSettings().wServerPort);
    EXPECT_EQ(0x7F000001u, LinkSettings().ulBroadcastAddress);
    EXPECT_EQ(2500u, LinkSettings().ulWaitMilliseconds);
    EXPECT_TRUE(frameUI.messages.isEmpty());
    // Defaults put the standard values back.
    {
        CParametersDlg dialog;
        dialog.SetDefaults();
        EXPECT_EQ("15000", dialog.Field(iServer)->text().toStdString());
        EXPECT_EQ("255.255.255.255", dialog.Field(iAddress)->text().toStdString());
    }
    for (const SLinkParameter& parameter : parameters)
    {
        RemovePreference("Preferences", QLatin1String(parameter.pszKey));
    }
    ReloadLinkSettings();
}

class ConnectDlgTest : public ::testing::Test
{
protected:
    nvtest::CRecordingUserInterface m_ui;
};

TEST_F(ConnectDlgTest, HasItsSixTabsAndRemembersTheLastOne)
{
    {
        CConnectDlg dialog;
        ASSERT_EQ(6, dialog.Tabs()->count());
        QStringList tabs;
        for (int i = 0; i < 6; ++i)
        {
            tabs << dialog.Tabs()->tabText(i);
        }
        EXPECT_EQ(QStringList({"Ethernet", "Internet", "RS232", "JTAG", "I2C", "PCIe"}), tabs);
        EXPECT_EQ(0, dialog.Tabs()->currentIndex());
        EXPECT_EQ(QStringList({"IP Address", "Device ID", "Vendor ID", "Shrt DestID", "Long DestID", "Prot",
                               "Status"}),
                  [&]
                  {
                      QStringList headers;
                      for (int i = 0; i < dialog.TargetTree()->columnCount(); ++i)
                      {
                          headers << dialog.TargetTree()->headerItem()->text(i);
                      }
                      return headers;
                  }());
        // Each device tab lists what it finds or shows its text; this machine has no pods.
        EXPECT_EQ(
            dialog.NotFoundText(eTabJTAG).toStdString(),
            "No compatible JTAG Pods found.\r\n\r\nThis could be due to the JTAG Pod not being connected, or "
            "the FTDI D2XX\r\ndrivers not being installed properly.");
        EXPECT_FALSE(dialog.NotFoundText(eTabPCIe).isEmpty());
        dialog.Tabs()->setCurrentIndex(eTabInternet);
        dialog.InternetAddress()->setText("10.20.30.40");
        dialog.InternetUdp()->setChecked(true);
        ASSERT_TRUE(dialog.TakeChoice());
        EXPECT_EQ(4, dialog.Choice());
        EXPECT_EQ(0x0A141E28u, dialog.AddressWord());
    }
    CConnectDlg again;
    EXPECT_EQ(eTabInternet, again.Tabs()->currentIndex());
}

TEST_F(ConnectDlgTest, ABadAddressOrNoSelectionKeepsTheDialogOpen)
{
    CConnectDlg dialog;
    dialog.Tabs()->setCurrentIndex(eTabInternet);
    for (const char* pszBad : {"10.20.30", "0.0.0.0"})
    {
        dialog.InternetAddress()->setText(QLatin1String(pszBad));
        EXPECT_FALSE(dialog.TakeChoice()) << pszBad;
    }
    EXPECT_EQ(QStringList({"Please enter a valid IP address.", "Please enter a valid IP address."}),
              m_ui.messages);
    dialog.Tabs()->setCurrentIndex(eTabEthernet);
    EXPECT_FALSE(dialog.TakeChoice());
    EXPECT_EQ(1, m_ui.nBeeps);
}

TEST_F(ConnectDlgTest, TheSearchListsTheSimulatorAndConnectsToIt)
{
    // The search goes to the simulator on loopback, and its answer to a port of our own.
    ReloadLinkSettings();
    SLinkSettings& settings = LinkSettings();
    settings.ulBroadcastAddress = 0x7F000001u;
    settings.ulSearchMilliseconds = 500;
    settings.wReplyPort = nvtest::FreeUdpPort();
    nvtest::CSimProcess sim("demo.topo", {"--reply-port", std::to_string(settings.wReplyPort)});
    ASSERT_TRUE(sim.Ready()) << sim.ErrorOutput();
    settings.wBroadcastPort = sim.BroadcastPort();

    CConnectDlg dialog;
    dialog.Tabs()->setCurrentIndex(eTabEthernet);
    dialog.Search();
    ASSERT_EQ(1, dialog.TargetTree()->topLevelItemCount()) << m_ui.messages.join("|").toStdString();
    QTreeWidgetItem* pLine = dialog.TargetTree()->topLevelItem(0);
    EXPECT_EQ("127.0.0.1", pLine->text(0).toStdString());
    EXPECT_EQ("0001h", pLine->text(1).toStdString());
    EXPECT_EQ("FFF0h", pLine->text(2).toStdString());
    EXPECT_EQ("Ready", pLine->text(6).toStdString());
    EXPECT_EQ(Qt::Checked, pLine->checkState(0));
    EXPECT_EQ("Connect to Target", dialog.windowTitle().toStdString());
    dialog.TargetTree()->setCurrentItem(pLine);
    ASSERT_TRUE(dialog.TakeChoice());
    EXPECT_EQ(1, dialog.Choice());
    EXPECT_EQ(0x7F000001u, dialog.AddressWord());
    // The list that found something new is kept for the next run.
    EXPECT_EQ(1u, GetPreference("TargetList", "NumTargets", 0u));
    ReloadLinkSettings();
}

TEST(DialogTest, DebugLoggingWritesItsKeysAndItsKeyFile)
{
    nvtest::CRecordingUserInterface ui;
    CDebugLoggingDlg dialog;
    EXPECT_EQ("Norvanta Debug Logging", dialog.windowTitle().toStdString());
    EXPECT_FALSE(dialog.Check(eDebugDiscovery)->isChecked());
    dialog.Check(eDebugDiscovery)->setChecked(true);
    EXPECT_EQ(1u, GetPreference("Debug", "Discovery", 0u));
    EXPECT_TRUE(DebugEnabled(eDebugDiscovery));

    DebugPrint(eDebugDiscovery, "a line\n");
    ASSERT_FALSE(nvtest::ReadFile(DebugLogPath().toStdString()).empty());
    dialog.ClearTheLog();
    EXPECT_TRUE(nvtest::ReadFile(DebugLogPath().toStdString()).empty());

    const QString strDir = QString::fromStdString(nvtest::ProcessTempDir()) + "/support";
    QDir().mkpath(strDir);
    dialog.KeyDate()->setDate(QDate(2027, 1, 5));
    ui.texts = {strDir};
    ASSERT_TRUE(dialog.CreateDebugKey());
    EXPECT_EQ(QStringList{"Choose the directory where you want to store the key file."}, ui.choices);
    DebugFlags flags{};
    ASSERT_TRUE(ReadDebugKeyFile(strDir + "/" + DebugKeyFileName(QDate(2027, 1, 5)), &flags));
    EXPECT_EQ((DebugFlags{false, false, true, false, false, false}), flags);
    dialog.Check(eDebugDiscovery)->setChecked(false);
}

TEST(DialogTest, LabelsKeepTheWindowAndPrintSetsApart)
{
    SMapOptions window = SMapOptions::Load(false);
    SMapOptions printing = SMapOptions::Load(true);
    CMapOptionsDlg dialog(window, printing);
    dialog.Check(eOptPortSpeeds, true)->setChecked(true);
    dialog.Check(eOptNodeIDs, false)->setChecked(false);
    dialog.WindowOptions().Save(false);
    dialog.PrintOptions().Save(true);
    EXPECT_EQ(1u, GetPreference("Preferences", "PrintPortSpeeds", 0u));
    EXPECT_EQ(0u, GetPreference("Preferences", "ViewPortSpeeds", 1u));
    EXPECT_EQ(0u, GetPreference("Preferences", "ViewNodeIDs", 1u));
    EXPECT_EQ(1u, GetPreference("Preferences", "PrintNodeIDs", 0u));
    EXPECT_TRUE(SMapOptions::Load(true)[eOptPortSpeeds]);
    EXPECT_FALSE(SMapOptions::Load(false)[eOptNodeIDs]);
}

TEST(DialogTest, TheWorkingWindowShowsProgressAndTakesCancel)
{
    CQtUserInterface ui;
    ui.BeginWork("Standard Discovery", true);
    ASSERT_NE(nullptr, ui.WorkingWindow());
    CWorkingDlg* pWindow = ui.WorkingWindow();
    EXPECT_TRUE(pWindow->isVisible());
    EXPECT_EQ("Standard Discovery", pWindow->windowTitle().toStdString());
    ui.SetWorkProgress("Working...Please wait.");
    ui.AppendWorkLog("Node 1\n");
    ui.SetWorkCounts("PEs found: 3    Switches: 1    Endpoints: 2");
    EXPECT_EQ("Working...Please wait.", pWindow->ProgressText().toStdString());
    EXPECT_EQ("Node 1", pWindow->LogText().toStdString());
    EXPECT_EQ("PEs found: 3    Switches: 1    Endpoints: 2", pWindow->CountsText().toStdString());
    // The details button opens and closes the log pane; the state goes back to the caller.
    EXPECT_FALSE(pWindow->DetailsShown());
    pWindow->DetailsButton()->click();
    EXPECT_TRUE(pWindow->DetailsShown());
    EXPECT_EQ("<< Details", pWindow->DetailsButton()->text().toStdString());
    bool bDetails = false;
    bool bPinned = true;
    ui.GetWorkWindowState(&bDetails, &bPinned);
    EXPECT_TRUE(bDetails);
    EXPECT_FALSE(bPinned);
    EXPECT_FALSE(ui.WorkCancelled());
    EXPECT_EQ("Cancel", pWindow->Button()->text().toStdString());
    QTest::mouseClick(pWindow->Button(), Qt::LeftButton);
    EXPECT_TRUE(ui.WorkCancelled());
    // A warning at the end waits with the button reading "Close", the log still there.
    QTimer::singleShot(50,
                       [&ui]
                       {
                           CWorkingDlg* pDone = ui.WorkingWindow();
                           EXPECT_EQ("Close", pDone->Button()->text().toStdString());
                           EXPECT_EQ("Warning: 2 PEs did not answer", pDone->ProgressText().toStdString());
                           EXPECT_EQ("Node 1", pDone->LogText().toStdString());
                           EXPECT_TRUE(pDone->isVisible());
                           pDone->Button()->click();
                       });
    ui.EndWork("2 PEs did not answer");
    EXPECT_EQ(nullptr, ui.WorkingWindow());
}

TEST(DialogTest, APinnedWorkingWindowStaysAndInnerWorkLeavesTheOuterWindowAlone)
{
    CQtUserInterface ui;
    ui.BeginWork("Standard Discovery", true);
    ui.SetWorkWindowState(true, true);
    CWorkingDlg* pOuter = ui.WorkingWindow();
    EXPECT_TRUE(pOuter->DetailsShown());
    EXPECT_TRUE(pOuter->PinBox()->isChecked());
    ui.AppendWorkLog("FOUND DEVICE HopCount=01");
    // A table transfer inside the discovery gets its own window, over the outer one.
    ui.BeginWork("Uploading all routing tables...", false);
    CWorkingDlg* pInner = ui.WorkingWindow();
    ASSERT_NE(pOuter, pInner);
    EXPECT_EQ(nullptr, pInner->DetailsButton()) << "no log, no details";
    ui.SetWorkCounts("Switch 1 of 2");
    EXPECT_EQ("Switch 1 of 2", pInner->CountsText().toStdString());
    EXPECT_TRUE(pOuter->CountsText().isEmpty());
    ui.EndWork(QString());
    ASSERT_EQ(pOuter, ui.WorkingWindow());
    EXPECT_TRUE(pOuter->isVisible());
    EXPECT_EQ("FOUND DEVICE HopCount=01", pOuter->LogText().toStdString());
    // Escape during the work is a Cancel, not a close.
    pOuter->reject();
    EXPECT_TRUE(pOuter->isVisible());
    EXPECT_TRUE(ui.WorkCancelled());
    // Pinned: the end waits for Close without a warning.
    bool bWaited = false;
    QTimer::singleShot(50,
                       [&]
                       {
                           bWaited = true;
                           EXPECT_EQ("Close", pOuter->Button()->text().toStdString());
                           EXPECT_TRUE(pOuter->isVisible());
                           pOuter->reject(); // the close box works once the work is done
                       });
    ui.EndWork(QString());
    EXPECT_TRUE(bWaited);
    EXPECT_EQ(nullptr, ui.WorkingWindow());
    // Without the pin the window goes at once.
    ui.BeginWork("Standard Discovery", true);
    ui.EndWork(QString());
    EXPECT_EQ(nullptr, ui.WorkingWindow());
}

TEST(DialogTest, FileFiltersTakeTheFormOfTheQtDialogs)
{
    EXPECT_EQ(
        "Norvanta Network Map Files (*.nvm);;All Files (*.*)",
        CQtUserInterface::QtFilter("Norvanta Network Map Files (*.nvm)|*.nvm|All Files|*.*||").toStdString());
}
} // namespace

namespace
{
TEST(DialogTest, ViewingALogThatIsNotThereSaysSo)
{
    nvtest::CRecordingUserInterface ui;
    CDebugLoggingDlg dialog;
    QFile::remove(DebugLogPath());
    EXPECT_FALSE(dialog.ViewLog());
    EXPECT_EQ(QStringList{QStringLiteral("Error:  File not found: '%1'").arg(DebugLogPath())}, ui.messages);
}

TEST(StartupTest, AStoredLargeTransportShowsInTheStatusBar)
{
    SetPreference("Preferences", "DefaultDestIDSize", 16u);
    CMainFrame frame;
    EXPECT_EQ("TT=Large", frame.TransportStatus()->text().toStdString());
    EXPECT_TRUE(frame.Action(eCmdTransportLarge)->isChecked());
    RemovePreference("Preferences", "DefaultDestIDSize");
}
} // namespace
