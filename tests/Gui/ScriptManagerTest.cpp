// Macros in the window: "Manage Scripts" with its texts, tables, file checks and binding edits; the
// Script Editor's check; the Tools menu's macro items; and the program's events (connect and
// disconnect, discovery, a watch trigger, closing) running JavaScript handlers against the
// simulator, with the handlers' output caught from WScript.Echo.
#include "GuiTestEnvironment.h"

#include "EnumerationSettings.h"
#include "LinkSettings.h"
#include "MacroBindings.h"
#include "MainFrame.h"
#include "NetworkMap.h"
#include "Preferences.h"
#include "RecordingUserInterface.h"
#include "ScriptEditorDlg.h"
#include "ScriptSetupDlg.h"
#include "SimProcess.h"
#include "TestSupport.h"
#include "WatchWnd.h"

#include <QAction>
#include <QApplication>
#include <QCheckBox>
#include <QComboBox>
#include <QDir>
#include <QElapsedTimer>
#include <QFile>
#include <QGroupBox>
#include <QHeaderView>
#include <QLabel>
#include <QLineEdit>
#include <QListWidget>
#include <QMenu>
#include <QMenuBar>
#include <QPlainTextEdit>
#include <QPushButton>
#include <QRadioButton>
#include <QTableWidget>
#include <QTextBlock>
#include <QTimer>

#include <gtest/gtest.h>

namespace
{
QString ScratchDir()
{
    const QString strDir = QString::fromStdString(nvtest::ProcessTempDir()) + QStringLiteral("/macros");
    QDir().mkpath(strDir);
    return strDir;
}

QString WriteScript(const QString& strName, const QString& strText)
{
    const QString strPath = ScratchDir() + QLatin1Char('/') + strName;
    QFile file(strPath);
    EXPECT_TRUE(file.open(QIODevice::WriteOnly | QIODevice::Truncate)) << strPath.toStdString();
    file.write(strText.toUtf8());
    return strPath;
}

QStringList Headings(const QTableWidget* pTable)
{
    QStringList headings;
    for (int i = 0; i < pTable->columnCount(); ++i)
    {
        headings << pTable->horizontalHeaderItem(i)->text();
    }
    return headings;
}

QStringList Row(const QTableWidget* pTable, int iRow)
{
    QStringList cells;
    for (int i = 0; i < pTable->columnCount(); ++i)
    {
        cells << (pTable->item(iRow, i) ? pTable->item(iRow, i)->text() : QString());
    }
    return cells;
}

QStringList ListTexts(const QListWidget* pList)
{
    QStringList texts;
    for (int i = 0; i < pList->count(); ++i)
    {
        texts << pList->item(i)->text();
    }
    return texts;
}

const QString kTools = QStringLiteral("function Tidy() { WScript.Echo('tidy ' + Norvanta.IsConnected()); }\n"
                                      "function Count(a, b) { return 2; }\n"
                                      "var Later = function () {};\n");

class ScriptSetupDlgTest : public ::testing::Test
{
protected:
    void SetUp() override
    {
        ASSERT_TRUE(SaveGlobalBindings(SMacroBindingSet()));
        m_strTools = WriteScript(QStringLiteral("tools.js"), kTools);
        m_strBroken =
            WriteScript(QStringLiteral("broken.js"), QStringLiteral("function Ok() {}\nfunction (\n"));
    }

    QString m_strTools;
    QString m_strBroken;
    nvtest::CRecordingUserInterface m_ui;
    CMacroManager m_manager;
};

TEST_F(ScriptSetupDlgTest, TitlesTablesAndTheFileChecksSayWhatTheyShould)
{
    CScriptSetupDlg dialog(m_manager);
    EXPECT_EQ(QStringLiteral("Manage Scripts - Global Macros"), dialog.windowTitle());
    EXPECT_EQ(QStringLiteral("Global"), dialog.GlobalButton()->text());
    EXPECT_EQ(QStringLiteral("Map-Specific"), dialog.MapButton()->text());
    dialog.MapButton()->click();
    EXPECT_EQ(QStringLiteral("Manage Scripts - Map-Specific Macros"), dialog.windowTitle());
    EXPECT_FALSE(dialog.ShowsGlobal());
    dialog.GlobalButton()->click();
    EXPECT_EQ(QStringLiteral("Manage Scripts - Global Macros"), dialog.windowTitle());
    EXPECT_EQ(QStringList({"State", "Event", "Script File"}), Headings(dialog.EventTable()));
    EXPECT_EQ(QStringList({"Menu Command", "Method", "Script File"}), Headings(dialog.MenuTable()));
    EXPECT_EQ(QStringLiteral("Enable/Disable"), dialog.EnableButton()->text());

    // The file comes through the file request; a text file is refused by its extension.
    m_ui.texts = {ScratchDir() + QStringLiteral("/notes.txt")};
    dialog.Button(QStringLiteral("AddFile"))->click();
    EXPECT_EQ(QStringList({"Add Script File"}), m_ui.choices);
    EXPECT_EQ(QStringList({"Invalid script file type.  Must be '.vbs' or '.js'."}), m_ui.messages);
    EXPECT_EQ(0, dialog.FileList()->count());

    // A file with a syntax error shows the engine's error and stays, marked.
    EXPECT_TRUE(dialog.AddScriptFile(m_strBroken));
    ASSERT_EQ(2, m_ui.messages.size());
    EXPECT_TRUE(m_ui.messages[1].startsWith(QStringLiteral("Error:\t"))) << m_ui.messages[1].toStdString();
    EXPECT_TRUE(m_ui.messages[1].endsWith(QStringLiteral("\nLine:\t2"))) << m_ui.messages[1].toStdString();
    EXPECT_EQ(QStringList({QDir::toNativeSeparators(m_strBroken) + "-[Contains errors. Not loaded.]"}),
              ListTexts(dialog.FileList()));
    // A good one loads quietly; the same file twice is refused.
    EXPECT_TRUE(dialog.AddScriptFile(m_strTools));
    EXPECT_EQ(2, m_ui.messages.size());
    EXPECT_FALSE(dialog.AddScriptFile(m_strTools));
    EXPECT_EQ(3, m_ui.messages.size());
    EXPECT_EQ(QDir::toNativeSeparators(m_strTools), dialog.FileList()->item(1)->text());
    // A name typed without its extension takes ".vbs".
    const QString strNamed = WriteScript(QStringLiteral("named.vbs"), QStringLiteral("Sub Go()\nEnd Sub\n"));
    m_ui.texts = {ScratchDir() + QStringLiteral("/named")};
    dialog.Button(QStringLiteral("AddFile"))->click();
    EXPECT_EQ(strNamed, dialog.EditedGlobal().ScriptFiles.value(2));
    EXPECT_FALSE(dialog.HasErrors(strNamed)) << m_ui.messages.join('|').toStdString();
    EXPECT_EQ(QStringList({"Go"}), dialog.MethodsOf(strNamed));
    dialog.Button(QStringLiteral("RemoveFile"))->click();
    ASSERT_EQ(2, dialog.FileList()->count());
    EXPECT_EQ(3, m_ui.messages.size());
    // Only the file that loaded can be bound, and its methods are its functions.
    EXPECT_EQ(QStringList({m_strTools}), dialog.LoadedFiles());
    EXPECT_EQ(QStringList({"Tidy", "Count", "Later"}), dialog.MethodsOf(m_strTools));

    // Put right in the editor, the broken file loads and loses its mark.
    dialog.editFile = [this](const QString& strPath)
    {
        EXPECT_EQ(m_strBroken, strPath);
        WriteScript(QStringLiteral("broken.js"), QStringLiteral("function Ok() {}\n"));
        return true;
    };
    dialog.FileList()->setCurrentRow(0);
    dialog.Button(QStringLiteral("EditFile"))->click();
    EXPECT_EQ(QDir::toNativeSeparators(m_strBroken), dialog.FileList()->item(0)->text());
    EXPECT_EQ(2, dialog.LoadedFiles().size());
}

TEST_F(ScriptSetupDlgTest, BindingsAreAddedReplacedToggledAndAppliedToTheirSet)
{
    CScriptSetupDlg dialog(m_manager);
    // Without a file that loads there is nothing to bind.
    dialog.Button(QStringLiteral("AddEvent"))->click();
    EXPECT_EQ(QStringList({"Add a script file that loads without errors first."}), m_ui.messages);
    ASSERT_TRUE(dialog.AddScriptFile(m_strTools));

    SEventScriptItem next;
    dialog.chooseEvent = [&next](CScriptSetupDlg&, SEventScriptItem* pItem)
    {
        *pItem = next;
        return true;
    };
    next = {eMacroEventWatchTrigger, QStringLiteral("Tidy"), m_strTools, QString(), true};
    dialog.Button(QStringLiteral("AddEvent"))->click();
    ASSERT_EQ(1, dialog.EventTable()->rowCount());
    EXPECT_EQ(QStringList({"Enabled", "Watch Trigger", "tools.js"}), Row(dialog.EventTable(), 0));
    EXPECT_EQ(QStringLiteral("JScript"), dialog.EditedGlobal().EventBindings[0].Language);

    // The selected row's state names the button; pressing it turns the state over.
    dialog.EventTable()->selectRow(0);
    EXPECT_EQ(QStringLiteral("Disable"), dialog.EnableButton()->text());
    dialog.EnableButton()->click();
    EXPECT_EQ(QStringLiteral("Disabled"), dialog.EventTable()->item(0, 0)->text());
    EXPECT_EQ(QStringLiteral("Enable"), dialog.EnableButton()->text());
    EXPECT_FALSE(dialog.EditedGlobal().EventBindings[0].Enabled);

    // A second binding of the same event asks; No keeps the first, Yes replaces it.
    next = {eMacroEventWatchTrigger, QStringLiteral("Later"), m_strTools, QString(), true};
    m_ui.answers = {eAnswerNo};
    dialog.Button(QStringLiteral("AddEvent"))->click();
    EXPECT_EQ(QStringList({"Do you want to replace the existing entry with this one?"}), m_ui.questions);
    EXPECT_EQ(QStringLiteral("Tidy"), dialog.EditedGlobal().EventBindings[0].MethodName);
    m_ui.answers = {eAnswerYes};
    dialog.Button(QStringLiteral("AddEvent"))->click();
    ASSERT_EQ(1u, dialog.EditedGlobal().EventBindings.size());
    EXPECT_EQ(QStringLiteral("Later"), dialog.EditedGlobal().EventBindings[0].MethodName);

    SMenuScriptItem menu{QStringLiteral("  Tidy Up  "), QStringLiteral("Tidy"), m_strTools, QString(), 0};
    dialog.chooseMenuItem = [&menu](CScriptSetupDlg&, SMenuScriptItem* pItem)
    {
        *pItem = menu;
        return true;
    };
    dialog.Button(QStringLiteral("AddMenu"))->click();
    ASSERT_EQ(1, dialog.MenuTable()->rowCount());
    EXPECT_EQ(QStringList({"Tidy Up", "Tidy", "tools.js"}), Row(dialog.MenuTable(), 0));

    // The map's own set is separate: its tables start empty and its edits stay there.
    dialog.MapButton()->click();
    EXPECT_EQ(0, dialog.EventTable()->rowCount());
    EXPECT_EQ(0, dialog.FileList()->count());
    ASSERT_TRUE(dialog.AddScriptFile(m_strTools));
    next = {eMacroEventConnection, QStringLiteral("Tidy"), m_strTools, QString(), true};
    m_ui.questions.clear();
    dialog.Button(QStringLiteral("AddEvent"))->click();
    EXPECT_TRUE(m_ui.questions.isEmpty()) << "the global set's binding is no reason to ask";
    EXPECT_TRUE(dialog.GlobalChanged());
    EXPECT_TRUE(dialog.MapChanged());

    // Removing a bound file asks first; No keeps file and binding.
    dialog.FileList()->setCurrentRow(0);
    m_ui.answers = {eAnswerNo};
    dialog.Button(QStringLiteral("RemoveFile"))->click();
    EXPECT_TRUE(m_ui.questions.back().startsWith(QStringLiteral("tools.js is used by 1 macro binding(s)")))
        << m_ui.questions.back().toStdString();
    EXPECT_EQ(1, dialog.FileList()->count());
    EXPECT_EQ(1, dialog.EventTable()->rowCount());

    // OK hands both sets on: the global one to the preferences, the map's into the map.
    CNetworkDocument document;
    EXPECT_TRUE(dialog.Apply(document));
    ASSERT_EQ(1u, document.EventScripts.size());
    EXPECT_EQ(eMacroEventConnection, document.EventScripts[0].EventID);
    EXPECT_TRUE(document.MenuScripts.empty());
    ReopenPreferences();
    const SMacroBindingSet stored = LoadGlobalBindings();
    EXPECT_TRUE(stored.SameBindings(m_manager.Global()));
    ASSERT_EQ(1u, stored.MenuBindings.size());
    EXPECT_EQ(QStringLiteral("Tidy Up"), stored.MenuBindings[0].MenuItemName);
    EXPECT_EQ(kFirstMacroCommandID + 0, m_manager.MenuItems().front().iCommandID);

    // A dialog that changes nothing leaves the map unmodified.
    CScriptSetupDlg again(m_manager);
    EXPECT_FALSE(again.GlobalChanged());
    EXPECT_FALSE(again.Apply(document));
}

// Children of a box that overlap each other, by their geometry in the box.
QStringList Overlaps(const QWidget* pParent)
{
    QStringList overlaps;
    const QList<QWidget*> children = pParent->findChildren<QWidget*>(QString(), Qt::FindDirectChildrenOnly);
    for (int i = 0; i < children.size(); ++i)
    {
        for (int j = i + 1; j < children.size(); ++j)
        {
            if (children[i]->isVisible() && children[j]->isVisible() &&
                children[i]->geometry().intersects(children[j]->geometry()))
            {
                overlaps << children[i]->metaObject()->className() + QStringLiteral("/") +
                                children[j]->metaObject()->className();
            }
        }
    }
    return overlaps;
}

TEST_F(ScriptSetupDlgTest, AFileWhoseLoadNeverEndsIsStoppedAndMarked)
{
    const QString strLoop =
        WriteScript(QStringLiteral("loop.js"), QStringLiteral("while (true) {}\nfunction F() {}\n"));
    CScriptSetupDlg dialog(m_manager);
    QElapsedTimer timer;
    timer.start();
    EXPECT_TRUE(dialog.AddScriptFile(strLoop));
    EXPECT_LT(timer.elapsed(), kTestLoadTimeLimitMs + 3000);
    ASSERT_EQ(1, m_ui.messages.size());
    EXPECT_TRUE(m_ui.messages[0].startsWith(QStringLiteral("Error:\t"))) << m_ui.messages[0].toStdString();
    EXPECT_TRUE(dialog.HasErrors(strLoop));
    EXPECT_TRUE(dialog.LoadedFiles().isEmpty());
}

TEST_F(ScriptSetupDlgTest, TheBindingDialogOffersLoadedFilesAndTheirMethodsAndWantsAllItNeeds)
{
    CScriptSetupDlg setup(m_manager);
    ASSERT_TRUE(setup.AddScriptFile(m_strBroken));
    ASSERT_TRUE(setup.AddScriptFile(m_strTools));
    m_ui.messages.clear();

    SMenuScriptItem menu;
    CMacroBindingDlg dialog(setup, nullptr, &menu);
    EXPECT_EQ(QStringLiteral("Add General Utility Macro"), dialog.windowTitle());
    ASSERT_EQ(1, dialog.FileBox()->count());
    EXPECT_EQ(m_strTools, dialog.FileBox()->itemData(0).toString());
    ASSERT_EQ(3, dialog.MethodBox()->count());
    EXPECT_EQ(QStringLiteral("Tidy"), dialog.MethodBox()->itemText(0));
    EXPECT_FALSE(dialog.OnOk());
    EXPECT_EQ(QStringList({"Enter the text of the menu command."}), m_ui.messages);
    dialog.MenuTextBox()->setText(QStringLiteral("Count things"));
    dialog.MethodBox()->setCurrentIndex(1);
    EXPECT_TRUE(dialog.OnOk());
    EXPECT_EQ(QStringLiteral("Count things"), menu.MenuItemName);
    EXPECT_EQ(QStringLiteral("Count"), menu.MethodName);
    EXPECT_EQ(m_strTools, menu.ScriptFile);

    SEventScriptItem event;
    event.EventID = eMacroEventClosing;
    event.Enabled = true;
    CMacroBindingDlg eventDialog(setup, &event, nullptr);
    QStringList labels;
    for (int i = 0; i < eventDialog.EventBox()->count(); ++i)
    {
        labels << eventDialog.EventBox()->itemText(i);
    }
    EXPECT_EQ(
        QStringList({"Connect/Disconnect", "Discovery Complete", "Watch Trigger", "Application Closing"}),
        labels);
    EXPECT_EQ(QStringLiteral("Application Closing"), eventDialog.EventBox()->currentText());
    eventDialog.EventBox()->setCurrentIndex(1);
    eventDialog.EnabledBox()->setChecked(false);
    eventDialog.show();
    QApplication::processEvents();
    EXPECT_TRUE(Overlaps(&eventDialog).isEmpty()) << Overlaps(&eventDialog).join(' ').toStdString();
    EXPECT_GE(eventDialog.FileBox()->width(),
              eventDialog.FileBox()->fontMetrics().horizontalAdvance(eventDialog.FileBox()->currentText()));
    if (const QString strShots = qEnvironmentVariable("NV_SCREENSHOT_DIR"); !strShots.isEmpty())
    {
        eventDialog.grab().save(strShots + QStringLiteral("/add-event-macro.png"));
    }
    EXPECT_TRUE(eventDialog.OnOk());
    EXPECT_EQ(eMacroEventDiscoveryDone, event.EventID);
    EXPECT_FALSE(event.Enabled);
    EXPECT_EQ(QStringLiteral("JScript"), event.Language);
}

TEST_F(ScriptSetupDlgTest, TheDialogIsLaidOutWithoutClippedColumnsOrOverlaps)
{
    const QString strLong = WriteScript(QStringLiteral("a-script-file-with-a-rather-long-name.js"), kTools);
    m_manager.Global().AddScriptFile(m_strTools);
    m_manager.Global().AddScriptFile(strLong);
    m_manager.Global().AddScriptFile(m_strBroken);
    for (uint32_t ulID : MacroEventIDs())
    {
        m_manager.Global().SetEvent(
            {ulID, QStringLiteral("Tidy"), strLong, QStringLiteral("JScript"), ulID != 3});
    }
    m_manager.Global().SetMenuItem({QStringLiteral("Reset all port error counters"), QStringLiteral("Tidy"),
                                    strLong, QStringLiteral("JScript"), 0});
    m_manager.Global().SetMenuItem(
        {QStringLiteral("Dump"), QStringLiteral("Count"), m_strTools, QStringLiteral("JScript"), 0});
    CScriptSetupDlg dialog(m_manager);
    dialog.show();
    QApplication::processEvents();

    for (QTableWidget* pTable : {dialog.EventTable(), dialog.MenuTable()})
    {
        // Every cell's text fits its column, the last one (which stretches) included.
        for (int iColumn = 0; iColumn < pTable->columnCount(); ++iColumn)
        {
            const int iHeading = pTable->horizontalHeader()->fontMetrics().horizontalAdvance(
                pTable->horizontalHeaderItem(iColumn)->text());
            EXPECT_GE(pTable->columnWidth(iColumn), iHeading) << Headings(pTable)[iColumn].toStdString();
            for (int iRow = 0; iRow < pTable->rowCount(); ++iRow)
            {
                const int iText =
                    pTable->fontMetrics().horizontalAdvance(pTable->item(iRow, iColumn)->text());
                EXPECT_GT(pTable->columnWidth(iColumn), iText)
                    << Headings(pTable)[iColumn].toStdString() << " row " << iRow;
            }
        }
        // No horizontal scrolling needed: the columns fit the table.
        EXPECT_LE(pTable->horizontalHeader()->length(), pTable->viewport()->width());
    }
    EXPECT_EQ(4, dialog.EventTable()->rowCount());
    EXPECT_EQ(QStringLiteral("Disabled"), dialog.EventTable()->item(1, 0)->text());
    // The file list shows the marked file's whole text.
    const QListWidget* pFiles = dialog.FileList();
    EXPECT_EQ(3, pFiles->count());
    for (int i = 0; i < pFiles->count(); ++i)
    {
        EXPECT_LE(pFiles->fontMetrics().horizontalAdvance(pFiles->item(i)->text()),
                  pFiles->viewport()->width())
            << pFiles->item(i)->text().toStdString();
    }
    // Nothing overlaps, in the dialog or in its boxes, and the button columns line up.
    EXPECT_TRUE(Overlaps(&dialog).isEmpty()) << Overlaps(&dialog).join(' ').toStdString();
    for (QGroupBox* pBox : dialog.findChildren<QGroupBox*>())
    {
        EXPECT_TRUE(Overlaps(pBox).isEmpty()) << pBox->title().toStdString();
    }
    const int iButtonsX = dialog.Button(QStringLiteral("AddFile"))->mapTo(&dialog, QPoint()).x();
    for (const char* pszName :
         {"RemoveFile", "EditFile", "AddEvent", "RemoveEvent", "EnableDisable", "AddMenu", "RemoveMenu"})
    {
        QPushButton* pButton = dialog.Button(QString::fromLatin1(pszName));
        EXPECT_EQ(iButtonsX, pButton->mapTo(&dialog, QPoint()).x()) << pszName;
        EXPECT_GE(pButton->width(), pButton->fontMetrics().horizontalAdvance(pButton->text())) << pszName;
    }
    if (const QString strShots = qEnvironmentVariable("NV_SCREENSHOT_DIR"); !strShots.isEmpty())
    {
        dialog.EventTable()->selectRow(0);
        dialog.grab().save(strShots + QStringLiteral("/manage-scripts.png"));
    }
}

TEST_F(ScriptSetupDlgTest, TheEditorChecksTheTextInTheFilesEngine)
{
    CScriptEditorDlg editor;
    ASSERT_TRUE(editor.Load(m_strTools));
    editor.CheckButton()->click();
    EXPECT_EQ(QStringList({"No errors were found."}), m_ui.messages);
    // What is checked is the text in the editor, not the file.
    editor.Editor()->setPlainText(QStringLiteral("function a() {}\n\nvar b = ;\nfunction c() {}\n"));
    editor.CheckButton()->click();
    ASSERT_EQ(2, m_ui.messages.size());
    EXPECT_TRUE(m_ui.messages[1].startsWith(QStringLiteral("Error:\t"))) << m_ui.messages[1].toStdString();
    EXPECT_TRUE(m_ui.messages[1].endsWith(QStringLiteral("\nLine:\t3"))) << m_ui.messages[1].toStdString();
    EXPECT_EQ(2, editor.Editor()->textCursor().blockNumber()) << "the cursor goes to the line in error";
    EXPECT_EQ(kTools, QString::fromStdString(nvtest::ReadFile(m_strTools.toStdString())));

    // A VBScript file goes to the VBScript engine.
    CScriptEditorDlg vbs;
    ASSERT_TRUE(vbs.Load(WriteScript(QStringLiteral("tools.vbs"), QStringLiteral("Sub Tidy()\nEnd Sub\n"))));
    vbs.CheckButton()->click();
    EXPECT_EQ(QStringLiteral("No errors were found."), m_ui.messages.back());
    vbs.Editor()->setPlainText(QStringLiteral("Sub Tidy()\nIf Then\nEnd Sub\n"));
    vbs.CheckButton()->click();
    EXPECT_TRUE(m_ui.messages.back().startsWith(QStringLiteral("Error:\t")))
        << m_ui.messages.back().toStdString();
    EXPECT_TRUE(m_ui.messages.back().endsWith(QStringLiteral("\nLine:\t2")))
        << m_ui.messages.back().toStdString();
    // A file of neither language can't be checked.
    CScriptEditorDlg text;
    ASSERT_TRUE(text.Load(ScratchDir() + QStringLiteral("/notes.txt")));
    text.CheckButton()->click();
    EXPECT_EQ(QStringLiteral("Invalid script file type.  Must be '.vbs' or '.js'."), m_ui.messages.back());
}

// The window on the demo fabric, with handlers for every event that echo what they got.
class MacroEventsTest : public ::testing::Test
{
protected:
    void SetUp() override
    {
        ASSERT_TRUE(m_sim.Ready()) << m_sim.ErrorOutput();
        ASSERT_TRUE(SaveGlobalBindings(SMacroBindingSet()));
        nvguitest::PointLinkAtSimulator(m_sim.TcpPort());
        m_strHandlers = WriteScript(
            QStringLiteral("handlers.js"),
            QStringLiteral(
                "function OnConnect() { WScript.Echo('connect ' + Norvanta.IsConnected()); }\n"
                "function OnDiscovery() { WScript.Echo('discovery'); }\n"
                "function OnWatch(a) { WScript.Echo('watch ' + a.length + ' ' + a[3] + ' ' + a[4] + ' "
                "' + a[9] + ' ' + a[10] + ' ' + a[13]); }\n"
                "function OnClose() { WScript.Echo('closing'); }\n"
                "function MapOnConnect() { WScript.Echo('map connect'); }\n"));
        m_pFrame = std::make_unique<CMainFrame>();
        m_pUI = std::make_unique<nvtest::CRecordingUserInterface>();
        nvguitest::AnswerConnectWithLoopbackServer(*m_pFrame);
        m_pFrame->SetDiscoverySettingsChooser(
            [](CEnumerationSettings& settings)
            {
                settings.SetEnumerate(false);
                settings.SetUploadRegisters(false);
                settings.SetTryAllClockRates(false);
                return settings.Validate() == CEnumerationSettings::eFieldNone;
            });
        m_pFrame->Macros().onEcho = [this](const QString& strText) { m_echoes << strText; };
        SMacroBindingSet& global = m_pFrame->Macros().Global();
        global.AddScriptFile(m_strHandlers);
        global.SetEvent({eMacroEventConnection, QStringLiteral("OnConnect"), m_strHandlers, "JScript", true});
        global.SetEvent(
            {eMacroEventDiscoveryDone, QStringLiteral("OnDiscovery"), m_strHandlers, "JScript", true});
        global.SetEvent({eMacroEventWatchTrigger, QStringLiteral("OnWatch"), m_strHandlers, "JScript", true});
        global.SetEvent({eMacroEventClosing, QStringLiteral("OnClose"), m_strHandlers, "JScript", true});
    }
    void TearDown() override
    {
        if (m_pFrame && m_pFrame->Core().IsConnected())
        {
            m_pFrame->Core().Disconnect();
        }
        m_pUI.reset();
        m_pFrame.reset();
        ReloadLinkSettings();
    }
    QStringList ToolsMacroTexts() const
    {
        QStringList texts;
        for (QAction* pAction : m_pFrame->MacroActions())
        {
            if (!pAction->isSeparator())
            {
                texts << pAction->text();
            }
        }
        return texts;
    }

    nvtest::CSimProcess m_sim{"demo.topo"};
    QString m_strHandlers;
    std::unique_ptr<CMainFrame> m_pFrame;
    std::unique_ptr<nvtest::CRecordingUserInterface> m_pUI;
    QStringList m_echoes;
};

TEST_F(MacroEventsTest, ConnectDiscoveryWatchTriggerAndClosingRunTheirHandlers)
{
    m_pFrame->RunCommand(eCmdConnect);
    ASSERT_TRUE(m_pFrame->Core().IsConnected()) << m_pUI->messages.join('|').toStdString();
    EXPECT_EQ(QStringList({"connect 1"}), m_echoes) << "the handler sees the program connected";

    // No discovery log, no skipping of ports, the layout as it comes.
    m_pUI->answers = {eAnswerNo, eAnswerNo, eAnswerNo};
    m_pFrame->RunCommand(eCmdStandardDiscovery);
    EXPECT_EQ(QStringList({"connect 1", "discovery"}), m_echoes) << m_pUI->messages.join('|').toStdString();
    // The watch's route search goes by the switches' tables as read from them.
    m_pFrame->RunCommand(eCmdUploadAllTables);

    // A watch item on ep1's component tag, added with a value the tag doesn't have: the first poll
    // sees a change and the trigger fires.
    CNetworkDocument& document = m_pFrame->Core().Document();
    int iEp1 = -1;
    for (int i = 0; i < document.ActivePEs.GetCount(); ++i)
    {
        const CPEPrimitive* pPE = document.ActivePEs.GetByIndex(i);
        if (!pPE->bHasHostLink && (pPE->uType & kPETypeSwitch) == 0 && pPE->ShortDestID == 0x05)
        {
            iEp1 = i;
        }
    }
    ASSERT_GE(iEp1, 0) << "the discovery found ep1";
    CWatchMonitor& monitor = m_pFrame->WatchWindow().Monitor();
    const int iItem = monitor.AddWatch(iEp1, 0x05, QStringLiteral("Component Tag CSR"), 0x6C,
                                       QStringLiteral("<All>"), 32, 31, 0, 0xFEEDF00Du);
    ASSERT_TRUE(monitor.SetEnabled(iItem, true));
    monitor.Poll(iItem);
    ASSERT_EQ(1, monitor.Items()[static_cast<size_t>(iItem)].iNumEvents)
        << m_pUI->messages.join('|').toStdString() << monitor.LogLines().join('|').toStdString();
    ASSERT_EQ(3, m_echoes.size());
    const WatchItem& item = monitor.Items()[static_cast<size_t>(iItem)];
    EXPECT_EQ(QStringLiteral("watch 17 Component Tag CSR 108 %1 %2 1").arg(0xFEEDF00Du).arg(item.uNewValue),
              m_echoes[2]);

    // Closing: Yes to disconnecting, No to saving; the disconnect is an event too, then closing.
    m_pUI->answers = {eAnswerYes, eAnswerNo};
    EXPECT_TRUE(m_pFrame->close());
    EXPECT_EQ(QStringList({"connect 1", "discovery", m_echoes.value(2), "connect 0", "closing"}), m_echoes);
    EXPECT_TRUE(m_pUI->messages.isEmpty()) << m_pUI->messages.join('|').toStdString();
}

TEST_F(MacroEventsTest, AMapBringsItsOwnBindingsAndMenuItemsAndEditingThemModifiesIt)
{
    // The map's own connect handler, saved with the map, and a menu macro of the global set.
    m_pFrame->Macros().Global().SetMenuItem({QStringLiteral("Tidy & Check"), QStringLiteral("OnDiscovery"),
                                             m_strHandlers, QStringLiteral("JScript"), 0});
    CNetworkDocument saved;
    saved.EventScripts.push_back({eMacroEventConnection, QStringLiteral("MapOnConnect"), m_strHandlers,
                                  QStringLiteral("JScript"), true});
    saved.MenuScripts.push_back({QStringLiteral("Map Macro"), QStringLiteral("OnClose"), m_strHandlers,
                                 QStringLiteral("JScript"), 0});
    const QString strMap = ScratchDir() + QStringLiteral("/with-macros.nvm");
    ASSERT_TRUE(saved.SaveAs(strMap));
    m_pUI->texts = {strMap};
    m_pFrame->RunCommand(eCmdFileOpen);
    ASSERT_EQ(strMap, m_pFrame->Core().Document().PathName) << m_pUI->messages.join('|').toStdString();

    // The Tools menu lists the map's item first, then the global one.
    EXPECT_EQ(QStringList({"Map Macro", "Tidy && Check"}), ToolsMacroTexts());
    if (const QString strShots = qEnvironmentVariable("NV_SCREENSHOT_DIR"); !strShots.isEmpty())
    {
        QMenu* pTools =
            m_pFrame->MacroActions().front()->associatedObjects().isEmpty()
                ? nullptr
                : qobject_cast<QMenu*>(m_pFrame->MacroActions().front()->associatedObjects().front());
        ASSERT_NE(nullptr, pTools);
        pTools->popup(QPoint(40, 40));
        QApplication::processEvents();
        pTools->grab().save(strShots + QStringLiteral("/tools-menu.png"));
        pTools->hide();
    }
    m_pFrame->MacroActions().back()->trigger();
    EXPECT_EQ(QStringList({"discovery"}), m_echoes);
    m_pFrame->MacroActions()[1]->trigger();
    EXPECT_EQ(QStringList({"discovery", "closing"}), m_echoes);

    // The map's enabled binding hides the global one.
    m_pFrame->RunCommand(eCmdConnect);
    ASSERT_TRUE(m_pFrame->Core().IsConnected());
    EXPECT_EQ(QStringLiteral("map connect"), m_echoes.value(2));
    EXPECT_EQ(3, m_echoes.size());

    // Disabling the map's binding in "Manage Scripts" marks the map modified and lets the global
    // handler run at the next disconnect.
    m_pFrame->Core().SetModified(false);
    bool bShown = false;
    QTimer::singleShot(0,
                       [&bShown]
                       {
                           auto* pDialog = qobject_cast<CScriptSetupDlg*>(QApplication::activeModalWidget());
                           ASSERT_NE(nullptr, pDialog);
                           bShown = true;
                           pDialog->MapButton()->click();
                           EXPECT_EQ(QStringList({"Enabled", "Connect/Disconnect", "handlers.js"}),
                                     Row(pDialog->EventTable(), 0));
                           pDialog->EventTable()->selectRow(0);
                           pDialog->EnableButton()->click();
                           pDialog->accept();
                       });
    m_pFrame->RunCommand(eCmdManageScripts);
    EXPECT_TRUE(bShown);
    EXPECT_TRUE(m_pFrame->Core().IsModified());
    ASSERT_EQ(1u, m_pFrame->Core().Document().EventScripts.size());
    EXPECT_FALSE(m_pFrame->Core().Document().EventScripts[0].Enabled);
    m_pUI->answers = {eAnswerYes};
    m_pFrame->RunCommand(eCmdConnect);
    ASSERT_FALSE(m_pFrame->Core().IsConnected());
    EXPECT_EQ(QStringLiteral("connect 0"), m_echoes.value(3));

    // A new map has no bindings of its own: only the global item stays.
    m_pUI->answers = {eAnswerNo};
    m_pFrame->RunCommand(eCmdFileNew);
    EXPECT_EQ(QStringList({"Tidy && Check"}), ToolsMacroTexts());
    EXPECT_TRUE(m_pFrame->Macros().MapSpecific().EventBindings.empty());
}
} // namespace
