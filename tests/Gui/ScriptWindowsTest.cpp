// The script windows and the initialisation script window on maps discovered from the in-process
// fabric: the transcript a run shows, the question about unsaved scripts, the tree's checks and
// what they leave out, the errors tab, and the bytes each save writes.
#include "GuiTestEnvironment.h"

#include "ClientSimFixture.h"
#include "Discovery.h"
#include "MainFrame.h"
#include "NetInitScriptGenDlg.h"
#include "RegisterDlg.h"
#include "RegisterValueFile.h"
#include "RouteGeneration.h"
#include "ScriptEditorDlg.h"
#include "ScriptRunDlg.h"
#include "SimpleScript.h"
#include "TestSupport.h"

#include <QAction>
#include <QApplication>
#include <QCheckBox>
#include <QClipboard>
#include <QComboBox>
#include <QDir>
#include <QFileInfo>
#include <QLabel>
#include <QLineEdit>
#include <QPlainTextEdit>
#include <QPointer>
#include <QPushButton>
#include <QTabWidget>
#include <QTest>
#include <QTimer>
#include <QTreeWidget>

#include <algorithm>
#include <functional>

namespace
{
using nvtest::CRecordingUserInterface;

// host0 - sw1 - ep1 (port 2), one CPS-1848 with a table per port.
const char* const kOneSwitch = "device sw1 switch model=cps1848\ndevice ep1 endpoint device=0x1001 memory\n"
                               "host host0\nlink host0:0 sw1:0\nlink sw1:2 ep1:0\n";

QString TempDir(const char* pszName)
{
    const QString strPath = QString::fromStdString(nvtest::ProcessTempDir()) + "/" + pszName;
    QDir().mkpath(strPath);
    return strPath;
}

QString FileText(const QString& strPath)
{
    return QString::fromStdString(nvtest::ReadFile(strPath.toStdString()));
}

QString LineFeeds(QString strText)
{
    strText.replace(QStringLiteral("\r\n"), QStringLiteral("\n"));
    return strText;
}

// Maintenance accesses straight to the fabric, as the transaction front end would make them.
class CFabricAccess final : public IScriptAccess
{
public:
    explicit CFabricAccess(nvsim::CSimFabric& fabric) : m_fabric(fabric) {}
    bool IsConnected() override { return bConnected; }
    int32_t Write(uint32_t ulDestID, uint8_t uchHop, uint32_t ulOffset, uint32_t ulValue) override
    {
        return m_fabric.MaintWrite(0, ulDestID, uchHop, ulOffset, &ulValue, 1, 4, 4, false);
    }
    int32_t Read(uint32_t ulDestID, uint8_t uchHop, uint32_t ulOffset, uint32_t* pulValue) override
    {
        return m_fabric.MaintRead(0, ulDestID, uchHop, ulOffset, pulValue, 1, 4, 4, false);
    }
    bool bConnected = true;

private:
    nvsim::CSimFabric& m_fabric;
};

class ScriptWindowsTest : public nvtest::CClientSimTest
{
protected:
    void Discover(bool bEnumerate, bool bRoutes)
    {
        Load(std::string(nvtest::kHostLine) + kOneSwitch);
        SDiscoveryRequest request;
        request.bEnumerate = bEnumerate;
        request.bTryAllClockRates = false;
        ASSERT_EQ(0, StandardDiscovery(request, m_map, &m_host, {}));
        if (bRoutes)
        {
            GenerateRoutes(m_map);
        }
    }
    CPEPrimitive* ByDevice(uint16_t wDevice) const
    {
        for (const auto& pPE : m_map.ActivePEs)
        {
            if (pPE->DeviceID == wDevice && !(pPE->uType & (kPETypeNull | kPETypeUnknown)))
            {
                return pPE.get();
            }
        }
        return nullptr;
    }
    // The registers of a node's tree item, in tree order, through every level of groups.
    static std::vector<SInitTreeItem*> Registers(SInitTreeItem& node)
    {
        std::vector<SInitTreeItem*> registers;
        std::function<void(SInitTreeItem&)> walk = [&](SInitTreeItem& item)
        {
            for (SInitTreeItem& child : item.children)
            {
                if (child.eKind == eInitItemRegister)
                {
                    registers.push_back(&child);
                }
                walk(child);
            }
        };
        walk(node);
        return registers;
    }
    static QTreeWidgetItem* Child(QTreeWidgetItem* pItem, const QString& strText)
    {
        for (int i = 0; i < pItem->childCount(); ++i)
        {
            if (pItem->child(i)->text(0).startsWith(strText))
            {
                return pItem->child(i);
            }
        }
        return nullptr;
    }

    CNetworkDocument m_map;
};

TEST_F(ScriptWindowsTest, TheScriptWindowRunsWhatIsTypedAndShowsTheTranscriptExactly)
{
    Discover(false, false);
    CPEPrimitive* pEndpoint = ByDevice(0x1001);
    ASSERT_NE(nullptr, pEndpoint);
    CFabricAccess access(*m_pFabric);
    CScriptRunDlg window(m_map, *pEndpoint, &access);
    const QString strNode = QString::number(pEndpoint->iNodeNumber + 1);
    EXPECT_EQ("Script - Untitled - Target Node " + strNode, window.windowTitle());

    window.show();
    QTest::keyClicks(window.ScriptPane(), QStringLiteral("r 0"));
    QTest::keyClick(window.ScriptPane(), Qt::Key_Return);
    QTest::keyClicks(window.ScriptPane(), QStringLiteral("w 6C 5A5A"));
    EXPECT_EQ("Script - Untitled* - Target Node " + strNode, window.windowTitle());
    ASSERT_NE(nullptr, window.Command(QStringLiteral("Run")));
    window.Command(QStringLiteral("Run"))->trigger();
    // The endpoint has no route yet: it is reached through the all-ones ID, and answers with its
    // identity from the fabric.
    const QString strDone = QStringLiteral("r 0\n        /*0x00000000 0x1001FFF0*/\n"
                                           "w 6C 5A5A\n        /*read back: 0x0000006C 0x00005A5A*/\n"
                                           "\nScript completed with 0 errors and 0 warnings.\n");
    EXPECT_EQ(strDone, window.ResultsPane()->toPlainText());
    EXPECT_EQ(LineFeeds(window.Core().Transcript()), window.ResultsPane()->toPlainText());
    EXPECT_TRUE(m_ui.messages.isEmpty()) << m_ui.messages.join('|').toStdString();

    // Copying leaves the selection cleared; clearing empties the pane.
    QApplication::clipboard()->clear();
    window.CopyButton()->click();
    EXPECT_EQ(strDone, QApplication::clipboard()->text());
    EXPECT_FALSE(window.ResultsPane()->textCursor().hasSelection());
    window.ClearButton()->click();
    EXPECT_TRUE(window.ResultsPane()->toPlainText().isEmpty());

    // An error ends the run with the count of one; a warning doesn't.
    window.SetScriptText(QStringLiteral("R 100\nr 6C\nw 1000000 0\nr 0"));
    window.Command(QStringLiteral("Run"))->trigger();
    EXPECT_EQ(QStringLiteral("R 100\n>>>>>>>>Warning: Unrecognized command ignored\n"
                             "r 6C\n        /*0x0000006C 0x00005A5A*/\n"
                             "w 1000000 0\n>>>>>>>>Invalid or missing address field.\n"
                             ">>>>>>>>Script aborted with 1 error and 1 warnings.\n"),
              window.ResultsPane()->toPlainText());

    // Without a link nothing runs, and the transcript of the last run stays.
    access.bConnected = false;
    const QString strLast = window.ResultsPane()->toPlainText();
    window.Command(QStringLiteral("Run"))->trigger();
    EXPECT_EQ(QStringList{"Norvanta must be connected to the target."}, m_ui.messages);
    EXPECT_EQ(strLast, window.ResultsPane()->toPlainText());
    m_ui.answers = {eAnswerNo};
    window.close();
}

TEST_F(ScriptWindowsTest, ClosingAModifiedScriptAsksAndKeepsTheWindowUntilAnswered)
{
    nvguitest::AddPE(m_map, 0, 0xFFF0, 0x0001, kPETypeProcessor, 100, 100);
    CPEPrimitive* pPE = m_map.ActivePEs.GetByNodeNumber(0);
    pPE->UniqueID = QStringLiteral("1001");
    const QString strDir = TempDir("script-window");
    const QString kQuestion =
        QStringLiteral("The script has been modified.\r\n\r\nDo you want to save the changes?");

    QPointer<CScriptRunDlg> pWindow = OpenScriptWindow(nullptr, m_map, *pPE, QStringLiteral("r 0\nr 4"));
    ASSERT_TRUE(pWindow);
    EXPECT_TRUE(pWindow->isVisible());
    EXPECT_EQ("r 0\nr 4", pWindow->ScriptPane()->toPlainText());
    EXPECT_EQ("Script - Untitled* - Target Node 1", pWindow->windowTitle())
        << "a recorded text is not saved yet";

    // Cancel keeps the window and the text.
    m_ui.answers = {eAnswerCancel};
    pWindow->close();
    EXPECT_EQ(QStringList{kQuestion}, m_ui.questions);
    EXPECT_TRUE(pWindow->isVisible());

    // Yes with a save that is called off keeps it too; Yes with a name saves and closes.
    m_ui.answers = {eAnswerYes};
    pWindow->close();
    EXPECT_TRUE(pWindow->isVisible());
    m_ui.answers = {eAnswerYes};
    m_ui.texts = {strDir + "/recorded.txt"};
    pWindow->close();
    EXPECT_EQ("r 0\nr 4\n", FileText(strDir + "/recorded.txt"));
    QCoreApplication::sendPostedEvents(nullptr, QEvent::DeferredDelete);
    EXPECT_FALSE(pWindow) << "the window deletes itself when closed";

    // An unmodified script closes without a question; No drops the changes.
    m_ui.questions.clear();
    pWindow = OpenScriptWindow(nullptr, m_map, *pPE);
    EXPECT_EQ("Script - Untitled - Target Node 1", pWindow->windowTitle());
    pWindow->close();
    EXPECT_TRUE(m_ui.questions.isEmpty());
    pWindow = OpenScriptWindow(nullptr, m_map, *pPE);
    QTest::keyClicks(pWindow->ScriptPane(), QStringLiteral("w 60 1"));
    m_ui.answers = {eAnswerNo};
    pWindow->close();
    EXPECT_EQ(QStringList{kQuestion}, m_ui.questions);
    QCoreApplication::sendPostedEvents(nullptr, QEvent::DeferredDelete);
    EXPECT_FALSE(pWindow);
}

TEST_F(ScriptWindowsTest, TheScriptWindowFollowsItsPEWhenTheMapIsReplacedAndFilesComeAndGo)
{
    nvguitest::AddPE(m_map, 0, 0xFFF0, 0x0001, kPETypeProcessor, 100, 100);
    nvguitest::AddPE(m_map, 1, 0xFFF0, 0x0002, kPETypeProcessor, 200, 100);
    CPEPrimitive* pPE = m_map.ActivePEs.GetByNodeNumber(1);
    pPE->UniqueID = QStringLiteral("2002");
    nvtest::CRecordingUserInterface& ui = m_ui;
    const QString strDir = TempDir("script-files");
    {
        QFile file(strDir + "/poke.txt");
        ASSERT_TRUE(file.open(QIODevice::WriteOnly));
        file.write("// poke\r\nw 60 5\r\n");
    }
    CScriptRunDlg window(m_map, *pPE);
    ui.texts = {strDir + "/poke.txt"};
    window.OnOpen();
    EXPECT_EQ("// poke\nw 60 5\n", window.ScriptPane()->toPlainText());
    EXPECT_EQ("Script - poke.txt - Target Node 2", window.windowTitle()) << "showing a file is no change";
    window.ScriptPane()->moveCursor(QTextCursor::End);
    QTest::keyClicks(window.ScriptPane(), QStringLiteral("r 60"));
    EXPECT_EQ("Script - poke.txt* - Target Node 2", window.windowTitle());
    window.OnSave();
    EXPECT_EQ("// poke\nw 60 5\nr 60\n", FileText(strDir + "/poke.txt"));
    EXPECT_EQ("Script - poke.txt - Target Node 2", window.windowTitle());
    ui.texts = {strDir + "/copy"};
    window.OnSaveAs();
    EXPECT_EQ("Script - copy.bin - Target Node 2", window.windowTitle());
    EXPECT_TRUE(QFileInfo::exists(strDir + "/copy.bin"));

    // A new map puts the PE at another node: the window finds it by its identity.
    CNetworkDocument replaced;
    nvguitest::AddPE(replaced, 0, 0xFFF0, 0x0002, kPETypeProcessor, 200, 100);
    replaced.ActivePEs.GetByNodeNumber(0)->UniqueID = QStringLiteral("2002");
    m_map = std::move(replaced);
    QTest::keyClicks(window.ScriptPane(), QStringLiteral(" "));
    EXPECT_EQ("Script - copy.bin* - Target Node 1", window.windowTitle());
    EXPECT_EQ(m_map.ActivePEs.GetByNodeNumber(0), &window.Core().Target());

    // A map without it: nothing runs, and the run says why.
    m_map.New();
    window.OnRun();
    EXPECT_EQ(QStringList{"Node 1 is no longer in the map: the script has no target."}, ui.messages);
    EXPECT_TRUE(window.ResultsPane()->toPlainText().isEmpty());
}

TEST_F(ScriptWindowsTest, UncheckingANodeInTheTreeTakesItsActionsOutOfTheScript)
{
    Discover(true, true);
    CPEPrimitive* pSwitch = ByDevice(0x0374);
    ASSERT_NE(nullptr, pSwitch);
    CNetInitScriptGenDlg dialog(m_map);
    EXPECT_EQ("Network Initialization Script Generator", dialog.windowTitle());
    EXPECT_EQ("1", dialog.HostField()->text()) << "the PE of the open link";
    EXPECT_EQ(3, dialog.Tree()->topLevelItemCount());
    EXPECT_EQ(2, dialog.FormatBox()->count());
    EXPECT_EQ("C/C++ Header (for Norvanta MiddleWare", dialog.FormatBox()->itemText(1));
    dialog.GenerateButton()->click();
    EXPECT_EQ(0, dialog.Tabs()->currentIndex());
    EXPECT_EQ("Script", dialog.Tabs()->tabText(0));
    const QString strAll = dialog.ScriptPane()->toPlainText();
    EXPECT_TRUE(strAll.contains("SETDEST Vendor:38h Device:374h")) << strAll.toStdString();
    EXPECT_TRUE(strAll.contains("SPEED Vendor:38h Device:374h"));

    // A click on the switch's box unchecks everything below it, also what is opened only later.
    QTreeWidgetItem* pNode = dialog.NodeItem(pSwitch->iNodeNumber);
    ASSERT_NE(nullptr, pNode);
    EXPECT_EQ(QString::asprintf("Node %d (CPS-1848)", pSwitch->iNodeNumber + 1), pNode->text(0));
    pNode->setExpanded(true);
    QTreeWidgetItem* pTables = Child(pNode, "Routing Tables");
    ASSERT_NE(nullptr, pTables);
    EXPECT_EQ(0, pTables->childCount()) << "children are made when an item opens";
    pNode->setCheckState(0, Qt::Unchecked);
    pTables->setExpanded(true);
    ASSERT_GT(pTables->childCount(), 2);
    EXPECT_EQ("Port 0", pTables->child(0)->text(0));
    for (QTreeWidgetItem* pItem : {Child(pNode, "DestID: Short="), pTables, pTables->child(2)})
    {
        ASSERT_NE(nullptr, pItem);
        EXPECT_EQ(Qt::Unchecked, pItem->checkState(0)) << pItem->text(0).toStdString();
    }
    dialog.GenerateButton()->click();
    QString strScript = dialog.ScriptPane()->toPlainText();
    EXPECT_FALSE(strScript.contains("SETDEST Vendor:38h Device:374h"));
    EXPECT_FALSE(strScript.contains("SPEED Vendor:38h Device:374h"));
    EXPECT_EQ(1, strScript.count("Device:374h")) << "only the route for the endpoint's power-up ID";
    EXPECT_TRUE(strScript.contains("SETDEST Vendor:FFF0h Device:1001h"));

    // Checking one child of the unchecked node brings that action back, and nothing else.
    Child(pNode, "DestID: Short=")->setCheckState(0, Qt::Checked);
    EXPECT_EQ(Qt::Unchecked, pNode->checkState(0)) << "a check doesn't roll up";
    dialog.GenerateButton()->click();
    strScript = dialog.ScriptPane()->toPlainText();
    EXPECT_TRUE(strScript.contains("SETDEST Vendor:38h Device:374h"));
    EXPECT_EQ(2, strScript.count("Device:374h"));
    // The options take effect at the next generation.
    dialog.CommentsBox()->setChecked(false);
    dialog.GenerateButton()->click();
    EXPECT_FALSE(dialog.ScriptPane()->toPlainText().contains("#"));
}

TEST_F(ScriptWindowsTest, ErrorsShowInTheirTabAndARefusedHostChangesNothing)
{
    Discover(true, false);
    CNetInitScriptGenDlg dialog(m_map);
    dialog.GenerateButton()->click();
    ASSERT_EQ(1, dialog.Tabs()->currentIndex()) << "the tab with the errors is shown";
    EXPECT_EQ("Errors", dialog.Tabs()->tabText(1));
    const int iEndpoint = ByDevice(0x1001)->iNodeNumber + 1;
    EXPECT_EQ(
        QStringLiteral("Unable to initialize Node %1:  Unable to find a valid route to the PE.  Make sure "
                       "routing tables are complete.\n"
                       "Unable to initialize registers on Node %1:  Unable to find a valid route to the "
                       "PE.  Make sure routing tables are complete.\n2 errors.\n")
            .arg(iEndpoint),
        dialog.ErrorsPane()->toPlainText());
    EXPECT_FALSE(dialog.ScriptPane()->toPlainText().isEmpty()) << "what could be done is there";

    const QString strScript = dialog.ScriptPane()->toPlainText();
    for (const char* pszHost : {"abc", "0", "99"})
    {
        dialog.HostField()->setText(QString::fromLatin1(pszHost));
        dialog.GenerateButton()->click();
        EXPECT_EQ("Please enter a valid host node number.", m_ui.messages.back()) << pszHost;
    }
    dialog.HostField()->setText(QString::number(ByDevice(0x0374)->iNodeNumber + 1));
    dialog.GenerateButton()->click();
    EXPECT_EQ("The Host PE must be an endpoint.  Please select an endpoint.\n", m_ui.messages.back());
    EXPECT_EQ(strScript, dialog.ScriptPane()->toPlainText());
    EXPECT_EQ(1, dialog.Tabs()->currentIndex());

    // With the tables generated the errors go, and the script tab comes back.
    GenerateRoutes(m_map);
    dialog.HostField()->setText("1");
    dialog.GenerateButton()->click();
    EXPECT_EQ(0, dialog.Tabs()->currentIndex());
    EXPECT_TRUE(dialog.ErrorsPane()->toPlainText().isEmpty());
}

TEST_F(ScriptWindowsTest, SaveScriptWritesTheGeneratorsTextInEachFormat)
{
    Discover(true, true);
    const QString strDir = TempDir("init-scripts");
    CNetInitScriptGenDlg dialog(m_map);
    EXPECT_EQ("Save Script", dialog.SaveButton()->text());
    dialog.PreInitBox()->setChecked(true);
    for (int iFormat : {eInitFormatScript, eInitFormatHeader})
    {
        dialog.FormatBox()->setCurrentIndex(iFormat);
        dialog.GenerateButton()->click();
        const QString strPath = strDir + QString::asprintf("/init%d.txt", iFormat);
        m_ui.texts = {strPath};
        ASSERT_TRUE(dialog.OnSaveScript());

        CNetInitScriptGen gen(m_map);
        gen.BuildTree();
        gen.bComments = true;
        gen.bPreInitRT = true;
        gen.eFormat = iFormat;
        ASSERT_TRUE(gen.Generate("1"));
        const QByteArray expected = LineFeeds(gen.ScriptText()).toUtf8();
        EXPECT_EQ(expected.toStdString(), nvtest::ReadFile(strPath.toStdString())) << iFormat;
        EXPECT_GT(expected.size(), 200);
    }
    EXPECT_TRUE(
        nvtest::ReadFile((strDir + "/init1.txt").toStdString()).starts_with("NVXL_SCRIPTCOMMANDSTRUCT"));

    // A file that can't be made: the system's error number, and the text as it stands.
    const QString strBad = strDir + "/missing/init.txt";
    m_ui.texts = {strBad};
    EXPECT_FALSE(dialog.OnSaveScript());
    EXPECT_EQ(QStringLiteral("Unable to open%1, error 2").arg(strBad), m_ui.messages.back());
    m_ui.texts.clear();
    EXPECT_FALSE(dialog.OnSaveScript()) << "a cancelled file choice";
}

TEST_F(ScriptWindowsTest, SaveRegistersWritesThePEsCheckedValuesInTheFormatOfItsExtension)
{
    Discover(true, true);
    CPEPrimitive* pSwitch = ByDevice(0x0374);
    ASSERT_NE(nullptr, pSwitch);
    // Values for three registers, one of them read-only; the rest have none and start unchecked.
    CNetInitScriptGen probe(m_map);
    probe.BuildTree();
    std::vector<SInitTreeItem*> registers = Registers(*probe.NodeItem(pSwitch->iNodeNumber));
    ASSERT_GT(registers.size(), 10u);
    const auto readOnly = std::find_if(registers.begin(), registers.end(),
                                       [](const SInitTreeItem* pItem) { return pItem->bReadOnly; });
    ASSERT_NE(registers.end(), readOnly);
    std::vector<SInitTreeItem*> writable;
    std::copy_if(registers.begin(), registers.end(), std::back_inserter(writable),
                 [](const SInitTreeItem* pItem) { return !pItem->bReadOnly; });
    ASSERT_GT(writable.size(), 9u);
    pSwitch->SavedRegisters.Clear();
    std::vector<std::pair<uint32_t, uint32_t>> values;
    for (SInitTreeItem* pItem : {writable[3], *readOnly, writable[9]})
    {
        values.emplace_back(pItem->ulOffset, 0xA5000000u | pItem->ulOffset);
        pSwitch->SavedRegisters.SetValue(pItem->ulOffset, values.back().second, false);
    }
    std::sort(values.begin(), values.end());
    const QString strDir = TempDir("register-values");

    CNetInitScriptGenDlg dialog(m_map, *pSwitch);
    EXPECT_EQ("Save Register Values", dialog.windowTitle());
    EXPECT_EQ("Save Register Values", dialog.SaveButton()->text());
    EXPECT_TRUE(dialog.SavesRegisterValues());
    EXPECT_TRUE(dialog.HostField()->isHidden()) << "the host is the PE";
    EXPECT_TRUE(dialog.FormatBox()->isHidden()) << "the file's extension gives the format";
    EXPECT_FALSE(dialog.CommentsBox()->isChecked());
    EXPECT_TRUE(dialog.ExcludeReadOnlyBox()->isEnabled());
    ASSERT_EQ(1, dialog.Tree()->topLevelItemCount()) << "only the PE in hand";
    ASSERT_EQ(1, dialog.Tree()->topLevelItem(0)->childCount());
    EXPECT_EQ("Registers", dialog.Tree()->topLevelItem(0)->child(0)->text(0));
    // A group shows whether anything below it goes into the file.
    dialog.Tree()->topLevelItem(0)->child(0)->setExpanded(true);
    int nChecked = 0;
    int nUnchecked = 0;
    for (int i = 0; i < dialog.Tree()->topLevelItem(0)->child(0)->childCount(); ++i)
    {
        const QTreeWidgetItem* pGroup = dialog.Tree()->topLevelItem(0)->child(0)->child(i);
        (pGroup->checkState(0) == Qt::Checked ? nChecked : nUnchecked)++;
    }
    EXPECT_GE(nChecked, 1);
    EXPECT_LE(nChecked, 3);
    EXPECT_GE(nUnchecked, 3);

    // CSV: the checked registers in tree order, CR LF kept.
    m_ui.texts = {strDir + "/values.csv"};
    ASSERT_TRUE(dialog.OnSaveRegisterValues());
    QString strExpected;
    for (const auto& [ulOffset, ulValue] : values)
    {
        strExpected += QString::asprintf("%06X,%08X\r\n", ulOffset, ulValue);
    }
    EXPECT_EQ(strExpected, FileText(strDir + "/values.csv"));
    EXPECT_EQ(LineFeeds(strExpected), dialog.ScriptPane()->toPlainText());

    // S-Records and the IDT script hold the same values, as the register loader reads them.
    m_ui.texts = {strDir + "/values.sre"};
    ASSERT_TRUE(dialog.OnSaveRegisterValues());
    std::vector<SRegisterFileValue> read;
    ASSERT_TRUE(ReadRegisterValueFile(strDir + "/values.sre", &read));
    ASSERT_EQ(values.size(), read.size());
    for (size_t i = 0; i < values.size(); ++i)
    {
        EXPECT_EQ(values[i].first, read[i].ulOffset);
        EXPECT_EQ(values[i].second, read[i].ulValue);
    }
    dialog.ExcludeReadOnlyBox()->setChecked(true);
    m_ui.texts = {strDir + "/values.txt"};
    ASSERT_TRUE(dialog.OnSaveRegisterValues());
    const QString strIdt = FileText(strDir + "/values.txt");
    EXPECT_EQ(2, strIdt.count("\r\n")) << strIdt.toStdString();
    EXPECT_FALSE(strIdt.contains(QString::asprintf("W %X ", (*readOnly)->ulOffset)));
    EXPECT_TRUE(m_ui.messages.isEmpty()) << m_ui.messages.join('|').toStdString();

    // Names it can't save.
    m_ui.texts = {strDir + "/values.bin"};
    EXPECT_FALSE(dialog.OnSaveRegisterValues());
    EXPECT_EQ("Invalid file extension.", m_ui.messages.back());
    m_ui.texts = {strDir + "/values.nvs"};
    EXPECT_FALSE(dialog.OnSaveRegisterValues());
    EXPECT_EQ("Saving a boot image (.nvs) is not available in this version.", m_ui.messages.back());
    EXPECT_FALSE(QFileInfo::exists(strDir + "/values.nvs"));

    // A checked register without a value: the error in its tab, and no file.
    QTreeWidgetItem* pRegisters = dialog.Tree()->topLevelItem(0)->child(0);
    dialog.Tree()->topLevelItem(0)->setExpanded(true);
    pRegisters->setExpanded(true);
    EXPECT_EQ(Qt::Checked, pRegisters->checkState(0)) << "as the generator builds it";
    pRegisters->setCheckState(0, Qt::Unchecked);
    pRegisters->setCheckState(0, Qt::Checked);
    m_ui.texts = {strDir + "/all.csv"};
    EXPECT_FALSE(dialog.OnSaveRegisterValues());
    EXPECT_EQ("Register values cannot be saved.  Correct errors and try again.", m_ui.messages.back());
    EXPECT_EQ(1, dialog.Tabs()->currentIndex());
    const QString strErrors = dialog.ErrorsPane()->toPlainText();
    const QString kNoValue =
        QStringLiteral("Unable to initialize register '%1': No value has been uploaded for this register.\n");
    for (const SInitTreeItem* pItem : registers)
    {
        const bool bValue = pSwitch->SavedRegisters.Find(pItem->ulOffset) != nullptr;
        EXPECT_EQ(!bValue, strErrors.contains(kNoValue.arg(pItem->strRegisterName)))
            << pItem->strRegisterName.toStdString();
    }
    EXPECT_TRUE(strErrors.endsWith(QStringLiteral("%1 errors.\n").arg(registers.size() - 3)));
    EXPECT_FALSE(QFileInfo::exists(strDir + "/all.csv"));

    // A file that can't be written.
    pRegisters->setCheckState(0, Qt::Unchecked);
    const QString strBad = strDir + "/missing/values.csv";
    m_ui.texts = {strBad};
    EXPECT_FALSE(dialog.OnSaveRegisterValues());
    EXPECT_EQ(QStringLiteral("Unable to create IDT script file %1, error 2").arg(strBad),
              m_ui.messages.back());
}

TEST_F(ScriptWindowsTest, TheEditorSavesOnlyWhenAsked)
{
    const QString strDir = TempDir("script-editor");
    const QString strPath = strDir + "/macro.vbs";
    {
        QFile file(strPath);
        ASSERT_TRUE(file.open(QIODevice::WriteOnly));
        file.write("Sub Main()\nEnd Sub\n");
    }
    CScriptEditorDlg editor;
    ASSERT_TRUE(editor.Load(strPath));
    EXPECT_EQ("Script Editor", editor.windowTitle());
    const QList<QLabel*> labels = editor.findChildren<QLabel*>();
    EXPECT_TRUE(std::any_of(labels.begin(), labels.end(),
                            [&strPath](const QLabel* pLabel)
                            { return pLabel->text() == QDir::toNativeSeparators(strPath); }))
        << "the file's path shows in the window";
    EXPECT_EQ("Sub Main()\nEnd Sub\n", editor.Editor()->toPlainText());
    EXPECT_EQ("Check For Errors", editor.CheckButton()->text());

    editor.Editor()->moveCursor(QTextCursor::End);
    QTest::keyClicks(editor.Editor(), QStringLiteral("' more"));
    editor.CancelButton()->click();
    EXPECT_EQ("Sub Main()\nEnd Sub\n", FileText(strPath)) << "Cancel writes nothing";

    CScriptEditorDlg second;
    ASSERT_TRUE(second.Load(strDir + "/new.js"));
    EXPECT_TRUE(second.Editor()->toPlainText().isEmpty()) << "a file that isn't there yet starts empty";
    QTest::keyClicks(second.Editor(), QStringLiteral("function f() {}"));
    EXPECT_EQ("Save and Close", second.SaveButton()->text());
    second.SaveButton()->click();
    EXPECT_EQ(QDialog::Accepted, second.result());
    EXPECT_EQ("function f() {}", FileText(strDir + "/new.js"));

    // A file that can't be read, and one that can't be written: the text stays in the editor.
    CScriptEditorDlg third;
    EXPECT_FALSE(third.Load(strDir));
    EXPECT_EQ(QStringLiteral("Unable to open script file %1, error 21").arg(strDir), m_ui.messages.back());
    ASSERT_TRUE(third.Load(strDir + "/gone/x.js"));
    QTest::keyClicks(third.Editor(), QStringLiteral("var x;"));
    EXPECT_FALSE(third.OnSaveAndClose());
    EXPECT_EQ("var x;", third.Editor()->toPlainText());
}

TEST_F(ScriptWindowsTest, TheFramesCommandsOpenTheWindows)
{
    CMainFrame frame;
    CRecordingUserInterface ui; // after the frame's own
    CNetworkDocument& document = frame.Core().Document();
    nvguitest::AddPE(document, 0, 0xFFF0, 0x0001, kPETypeProcessor, 100, 100);
    SCommandContext context;
    context.iNode = 0;
    frame.RunCommand(eCmdRunScript, context);
    auto windows = frame.findChildren<CScriptRunDlg*>();
    ASSERT_EQ(1, windows.size());
    EXPECT_TRUE(windows[0]->isVisible());
    EXPECT_EQ("Script - Untitled - Target Node 1", windows[0]->windowTitle());

    // Closing the program asks about the unsaved script first; Cancel keeps both windows.
    QTest::keyClicks(windows[0]->ScriptPane(), QStringLiteral("r 0"));
    frame.show();
    ui.answers = {eAnswerCancel};
    EXPECT_FALSE(frame.close());
    EXPECT_EQ(QStringList{"The script has been modified.\r\n\r\nDo you want to save the changes?"},
              ui.questions);
    EXPECT_TRUE(frame.isVisible());
    EXPECT_TRUE(windows[0]->isVisible());
    ui.answers = {eAnswerNo};
    windows[0]->close();
    EXPECT_FALSE(windows[0]->isVisible());

    QStringList titles;
    const auto closeModal = [&titles]
    {
        QWidget* pModal = QApplication::activeModalWidget();
        titles << (pModal ? pModal->windowTitle() : QString());
        if (auto* pDialog = qobject_cast<QDialog*>(pModal))
        {
            pDialog->reject();
        }
    };
    QTimer::singleShot(0, &frame, closeModal);
    frame.RunCommand(eCmdCreateInitScript);
    QTimer::singleShot(0, &frame, closeModal);
    frame.RunCommand(eCmdSaveRegisters, context);
    EXPECT_EQ((QStringList{"Network Initialization Script Generator", "Save Register Values"}), titles);

    // What the register editor records, once stopped, opens as an unsaved script of its PE.
    for (CScriptRunDlg* pWindow : frame.findChildren<CScriptRunDlg*>())
    {
        delete pWindow;
    }
    const CRegisterDlg::ScriptEditorOpener& opener = CRegisterDlg::InstalledScriptEditorOpener();
    ASSERT_TRUE(static_cast<bool>(opener));
    const QString strRecorded =
        QStringLiteral("// The following commands were recorded for DestID FFh, HopCount 0\r\nw 6C 1\r\n");
    opener(&frame, document.ActivePEs.GetByNodeNumber(0), strRecorded);
    windows = frame.findChildren<CScriptRunDlg*>();
    ASSERT_EQ(1, windows.size());
    EXPECT_EQ(strRecorded.toStdString(), windows[0]
                                             ->ScriptPane()
                                             ->toPlainText()
                                             .replace(QLatin1Char('\n'), QStringLiteral("\r\n"))
                                             .toStdString());
    EXPECT_TRUE(windows[0]->windowTitle().endsWith(QStringLiteral("Target Node 1")));
    ui.answers = {eAnswerNo};
    delete windows[0];
}
} // namespace
