// Custom GUI plug-ins: the loader on a folder of plug-ins that each lack one export or behave oddly
// (messages, command IDs in file order, the device list, CleanUp at the end), the PE pop-up that
// the main frame's map window builds with their items, and the sample plug-in reading a switch's
// port registers on the simulator.
#include "GuiTestEnvironment.h"

#include "ChildView.h"
#include "CustomGUIManager.h"
#include "EnumerationSettings.h"
#include "LinkSettings.h"
#include "MainFrame.h"
#include "MapScene.h"
#include "Preferences.h"
#include "RecordingUserInterface.h"
#include "SimProcess.h"
#include "TargetClient.h"
#include "TestSupport.h"

#include <QAction>
#include <QApplication>
#include <QDir>
#include <QFile>
#include <QMenu>

#include <gtest/gtest.h>

namespace
{
const QString kLoaderDir = QStringLiteral(NV_CGUI_LOADER_DIR);
constexpr uint16_t kIDT = 0x0038;

QString LoaderFile(const char* pszName)
{
    return kLoaderDir + QLatin1Char('/') + QLatin1String(pszName);
}

// The calls the test plug-ins logged, read from the file they append to.
class CPluginLog
{
public:
    CPluginLog()
        : m_strPath(QString::fromStdString(nvtest::ProcessTempDir()) +
                    QStringLiteral("/cgui-%1.log").arg(++s_nCount))
    {
        QFile::remove(m_strPath);
        qputenv("NV_CGUI_TEST_LOG", QFile::encodeName(m_strPath));
    }
    ~CPluginLog() { qunsetenv("NV_CGUI_TEST_LOG"); }
    QStringList Lines() const
    {
        QFile file(m_strPath);
        if (!file.open(QIODevice::ReadOnly | QIODevice::Text))
        {
            return {};
        }
        return QString::fromUtf8(file.readAll()).split(QLatin1Char('\n'), Qt::SkipEmptyParts);
    }
    QStringList Matching(const QString& strEvent) const { return Lines().filter(strEvent); }

private:
    static inline int s_nCount = 0;
    QString m_strPath;
};

// The items a menu holds behind its last separator-free run of host items: every action that a
// plug-in added, with its state.
struct SPluginItem
{
    QString strText;
    bool bEnabled = false;
    bool bChecked = false;
    QAction* pAction = nullptr;
};

std::vector<SPluginItem> PluginItems(const QMenu& menu)
{
    std::vector<SPluginItem> items;
    for (QAction* pAction : menu.actions())
    {
        if (pAction->property("customGuiCommand").isValid())
        {
            items.push_back({pAction->text(), pAction->isEnabled(), pAction->isChecked(), pAction});
        }
    }
    return items;
}

TEST(CustomGUIManagerTest, EveryBadPluginIsReportedAndPassedOverWhileTheOthersLoadInFileOrder)
{
    CPluginLog log;
    nvtest::CRecordingUserInterface ui;
    QWidget window;
    auto pManager = std::make_unique<CCustomGUIManager>(&window);
    pManager->LoadFolder(kLoaderDir);

    // Each failure its own message, followed by the search's; the library without
    // SetCommandBaseID goes without a word.
    const QStringList expected = {
        QStringLiteral("Error.  Required interface 'CleanUp' not found in %1")
            .arg(LoaderFile("a03_nocleanup.so")),
        QStringLiteral("Unable to load '%1'").arg(LoaderFile("a03_nocleanup.so")),
        QStringLiteral("Error.  Required interface 'Initialize' not found in %1")
            .arg(LoaderFile("a04_noinit.so")),
        QStringLiteral("Unable to load '%1'").arg(LoaderFile("a04_noinit.so")),
        QStringLiteral("Error.  Required interface 'GetFirstSupportedDevice' not found in %1")
            .arg(LoaderFile("a05_nofirst.so")),
        QStringLiteral("Unable to load '%1'").arg(LoaderFile("a05_nofirst.so")),
        QStringLiteral("Error.  Required interface 'GetNextSupportedDevice' not found in %1")
            .arg(LoaderFile("a06_nonext.so")),
        QStringLiteral("Unable to load '%1'").arg(LoaderFile("a06_nonext.so")),
    };
    ASSERT_EQ(expected.size() + 2, ui.messages.size()) << ui.messages.join(QLatin1Char('|')).toStdString();
    EXPECT_EQ(expected, ui.messages.mid(0, expected.size()));
    // The file that isn't a library: the system's reason after the file name.
    const QString strNotALibrary = LoaderFile("a10_notalib.so");
    const QString strLoadError = ui.messages[expected.size()];
    EXPECT_TRUE(strLoadError.startsWith(QStringLiteral("Error loading %1\n\n").arg(strNotALibrary)))
        << strLoadError.toStdString();
    EXPECT_GT(strLoadError.size(), QStringLiteral("Error loading %1\n\n").arg(strNotALibrary).size());
    EXPECT_EQ(QStringLiteral("Unable to load '%1'").arg(strNotALibrary), ui.messages.last());

    // IDs went out in file order, counting those of libraries that failed after taking theirs; the
    // library that takes none leaves the next ID where it was.
    EXPECT_EQ((QStringList{"a01_good SetCommandBaseID 33137", "a02_noids SetCommandBaseID 33139",
                           "a03_nocleanup SetCommandBaseID 33139", "a04_noinit SetCommandBaseID 33140",
                           "a05_nofirst SetCommandBaseID 33141", "a06_nonext SetCommandBaseID 33142",
                           "a08_firstfails SetCommandBaseID 33143", "a09_noupdate SetCommandBaseID 33144"}),
              log.Matching(QStringLiteral("SetCommandBaseID")));
    EXPECT_EQ(33145, pManager->NextCommandID());

    // Initialize had the window and a host table of this version, before the device list, for
    // every library that got that far.
    EXPECT_EQ(
        (QStringList{"a01_good Initialize window=1 host=1", "a02_noids Initialize window=1 host=1",
                     "a05_nofirst Initialize window=1 host=1", "a06_nonext Initialize window=1 host=1",
                     "a08_firstfails Initialize window=1 host=1", "a09_noupdate Initialize window=1 host=1"}),
        log.Matching(QStringLiteral("Initialize")));

    // Four libraries stay; the one whose device list is empty among them.
    QStringList loaded;
    for (const SCustomGUILibrary& library : pManager->Libraries())
    {
        loaded << QFileInfo(library.strPath).fileName();
    }
    EXPECT_EQ((QStringList{"a01_good.so", "a02_noids.so", "a08_firstfails.so", "a09_noupdate.so"}), loaded);
    const auto& devices = pManager->Devices();
    ASSERT_EQ(4u, devices.size());
    EXPECT_EQ(std::make_pair(kIDT, uint16_t{0x0374}), std::make_pair(devices[0].wHigh, devices[0].wLow));
    EXPECT_EQ(std::make_pair(kIDT, uint16_t{0x0375}), std::make_pair(devices[1].wHigh, devices[1].wLow));
    EXPECT_EQ(std::make_pair(kIDT, uint16_t{0x0374}), std::make_pair(devices[2].wHigh, devices[2].wLow));
    EXPECT_EQ(std::make_pair(kIDT, uint16_t{0x0374}), std::make_pair(devices[3].wHigh, devices[3].wLow));
    for (size_t i = 0; i < 3; ++i)
    {
        EXPECT_NE(nullptr, devices[i].pfnUpdatePEPopupMenu) << i;
        EXPECT_NE(nullptr, devices[i].pfnRCG_OnPECommand) << i;
        EXPECT_NE(nullptr, devices[i].pfnOnUpdatePECommand) << i;
    }
    // A missing optional export is kept as null beside the others.
    EXPECT_EQ(nullptr, devices[3].pfnUpdatePEPopupMenu);
    EXPECT_NE(nullptr, devices[3].pfnRCG_OnPECommand);
    EXPECT_EQ(3u, devices[3].iLibrary);

    // Nothing is cleaned up before the end; then every library that stayed, once, in load order,
    // the one without devices included.
    EXPECT_TRUE(log.Matching(QStringLiteral("CleanUp")).isEmpty());
    pManager.reset();
    EXPECT_EQ((QStringList{"a01_good CleanUp", "a02_noids CleanUp", "a08_firstfails CleanUp",
                           "a09_noupdate CleanUp"}),
              log.Matching(QStringLiteral("CleanUp")));
}

TEST(CustomGUIManagerTest, TheProgramsManagerIsMadeOnceAndReadsTheFolderOfThePreferences)
{
    CPluginLog log;
    nvtest::CRecordingUserInterface ui;
    ASSERT_EQ(nullptr, ExistingCustomGUIManager());
    // A folder with one good plug-in.
    const QString strFolder = QString::fromStdString(nvtest::ProcessTempDir()) + QStringLiteral("/cgui-one");
    QDir().mkpath(strFolder);
    QFile::remove(strFolder + QStringLiteral("/good.so"));
    ASSERT_TRUE(QFile::copy(LoaderFile("a01_good.so"), strFolder + QStringLiteral("/good.so")));
    SetPreference(QStringLiteral("Directories"), QStringLiteral("CustomGUI"), strFolder);
    EXPECT_EQ(strFolder + QLatin1Char('/'), CustomGUIFolder());

    QWidget first;
    QWidget second;
    CCustomGUIManager& manager = GetCustomGUIManager(&first);
    EXPECT_EQ(&first, manager.MainWindow());
    ASSERT_EQ(1u, manager.Libraries().size());
    // A second call finds it, loads nothing and only takes the new window; a null one keeps it.
    EXPECT_EQ(&manager, &GetCustomGUIManager(&second));
    EXPECT_EQ(&second, manager.MainWindow());
    EXPECT_EQ(&manager, &GetCustomGUIManager(nullptr));
    EXPECT_EQ(&second, manager.MainWindow());
    EXPECT_EQ(1, log.Matching(QStringLiteral("SetCommandBaseID")).size());
    EXPECT_TRUE(ui.messages.isEmpty());

    ReleaseCustomGUIManager();
    EXPECT_EQ(nullptr, ExistingCustomGUIManager());
    EXPECT_EQ(QStringList{"a01_good CleanUp"}, log.Matching(QStringLiteral("CleanUp")));
    SetPreference(QStringLiteral("Directories"), QStringLiteral("CustomGUI"), QString());
}

class CustomGUIPopupTest : public ::testing::Test
{
protected:
    void SetUp() override
    {
        // The plug-ins that load without a message (the frame's own message boxes are in force
        // while it is made).
        const QString strFolder =
            QString::fromStdString(nvtest::ProcessTempDir()) + QStringLiteral("/cgui-popup");
        QDir().mkpath(strFolder);
        for (const char* pszName :
             {"a01_good.so", "a02_noids.so", "a07_nobase.so", "a08_firstfails.so", "a09_noupdate.so"})
        {
            QFile::remove(strFolder + QLatin1Char('/') + QLatin1String(pszName));
            ASSERT_TRUE(
                QFile::copy(LoaderFile(pszName), strFolder + QLatin1Char('/') + QLatin1String(pszName)));
        }
        SetPreference(QStringLiteral("Directories"), QStringLiteral("CustomGUI"), strFolder);
        m_pFrame = std::make_unique<CMainFrame>();
        m_pUI = std::make_unique<nvtest::CRecordingUserInterface>();
        m_pFrame->resize(1000, 700);
        CNetworkDocument& document = m_pFrame->Core().Document();
        // Node 0 a CPS-1848, node 1 a CPS-1432, node 2 an endpoint none of the plug-ins names.
        nvguitest::AddPE(document, 0, kIDT, 0x0374, kPETypeSwitch, 300, 300, 18);
        nvguitest::AddPE(document, 1, kIDT, 0x0375, kPETypeSwitch, 500, 300, 16);
        nvguitest::AddPE(document, 2, 0xFFF0, 0x0002, kPETypeProcessor, 100, 300);
        m_pFrame->MapWindow()->Rebuild();
        m_pFrame->show();
    }
    void TearDown() override
    {
        m_pUI.reset();
        m_pFrame.reset();
        SetPreference(QStringLiteral("Directories"), QStringLiteral("CustomGUI"), QString());
    }
    std::unique_ptr<QMenu> Popup(int iX, int iY, SCommandContext* pContext)
    {
        CChildView& view = *m_pFrame->MapWindow();
        return view.PopupAt(view.mapFromScene(QPointF(iX, iY)), pContext);
    }

    CPluginLog m_log;
    std::unique_ptr<nvtest::CRecordingUserInterface> m_pUI;
    std::unique_ptr<CMainFrame> m_pFrame;
};

TEST_F(CustomGUIPopupTest, APEOfANamedDeviceGetsThePluginsItemsWithTheirStateAndTheyCarryThemselvesOut)
{
    // The frame loaded the folder once, on its creation.
    ASSERT_NE(nullptr, ExistingCustomGUIManager());
    EXPECT_EQ(4u, ExistingCustomGUIManager()->Libraries().size());
    EXPECT_EQ(m_pFrame.get(), ExistingCustomGUIManager()->MainWindow());

    SCommandContext context;
    std::unique_ptr<QMenu> pMenu = Popup(300, 300, &context);
    ASSERT_TRUE(pMenu);
    ASSERT_EQ(0, context.iNode);
    std::vector<SPluginItem> items = PluginItems(*pMenu);
    // a01_good's two items: the first checked, the second disabled. a02_noids has no ID to add
    // an item with, and a09_noupdate has no UpdatePEPopupMenu.
    ASSERT_EQ(2u, items.size());
    EXPECT_EQ("a01_good Command 1", items[0].strText.toStdString());
    EXPECT_TRUE(items[0].bEnabled);
    EXPECT_TRUE(items[0].bChecked);
    EXPECT_EQ("a01_good Command 2", items[1].strText.toStdString());
    EXPECT_FALSE(items[1].bEnabled);
    EXPECT_FALSE(items[1].bChecked);
    // They stand after the host's own items, behind a separator.
    const QList<QAction*> actions = pMenu->actions();
    const qsizetype iFirst = actions.indexOf(items[0].pAction);
    ASSERT_GT(iFirst, 0);
    EXPECT_TRUE(actions[iFirst - 1]->isSeparator());
    EXPECT_FALSE(actions[iFirst - 2]->property("customGuiCommand").isValid());
    // Both plug-ins that name the device were asked, and no foreign ID got in.
    EXPECT_EQ((QStringList{"a01_good UpdatePEPopupMenu node=0", "a02_noids UpdatePEPopupMenu node=0"}),
              m_log.Matching(QStringLiteral("UpdatePEPopupMenu")));
    EXPECT_TRUE(m_log.Matching(QStringLiteral("foreign")).isEmpty());

    // Choosing the item calls the plug-in with its ID and the PE.
    items[0].pAction->trigger();
    EXPECT_EQ(QStringList{"a01_good RCG_OnPECommand 33137 node=0"},
              m_log.Matching(QStringLiteral("RCG_OnPE")));

    // The CPS-1432 is named by a01_good alone; the endpoint by nobody.
    pMenu = Popup(500, 300, &context);
    ASSERT_TRUE(pMenu);
    EXPECT_EQ(1, context.iNode);
    items = PluginItems(*pMenu);
    ASSERT_EQ(2u, items.size());
    items[1].pAction->setEnabled(true);
    items[1].pAction->trigger();
    EXPECT_EQ("a01_good RCG_OnPECommand 33138 node=1",
              m_log.Matching(QStringLiteral("RCG_OnPE")).value(1).toStdString());
    pMenu = Popup(100, 300, &context);
    ASSERT_TRUE(pMenu);
    EXPECT_EQ(2, context.iNode);
    EXPECT_TRUE(PluginItems(*pMenu).empty());

    // The frame's end is the plug-ins' end. (The menu is the map window's child.)
    pMenu.reset();
    m_pUI.reset();
    m_pFrame.reset();
    EXPECT_EQ(nullptr, ExistingCustomGUIManager());
    EXPECT_EQ(4, m_log.Matching(QStringLiteral("CleanUp")).size());
}

// The sample plug-in in a folder of its own, on the demo fabric: its items on a CPS-1848 switch,
// enabled while connected, and "Show Port Error Status..." reading the switch's port registers.
class SamplePluginTest : public ::testing::Test
{
protected:
    void SetUp() override
    {
        ASSERT_TRUE(m_sim.Ready()) << m_sim.ErrorOutput();
        const QString strFolder =
            QString::fromStdString(nvtest::ProcessTempDir()) + QStringLiteral("/cgui-sample");
        QDir().mkpath(strFolder);
        QFile::remove(strFolder + QStringLiteral("/port_error_status.so"));
        ASSERT_TRUE(
            QFile::copy(QStringLiteral(NV_CGUI_SAMPLE), strFolder + QStringLiteral("/port_error_status.so")));
        SetPreference(QStringLiteral("Directories"), QStringLiteral("CustomGUI"), strFolder);
        nvguitest::PointLinkAtSimulator(m_sim.TcpPort());
        m_pFrame = std::make_unique<CMainFrame>();
        m_pUI = std::make_unique<nvtest::CRecordingUserInterface>();
        m_pFrame->resize(1200, 800);
        nvguitest::AnswerConnectWithLoopbackServer(*m_pFrame);
        m_pFrame->SetDiscoverySettingsChooser(
            [](CEnumerationSettings& settings)
            {
                settings.SetEnumerate(false);
                settings.SetTryAllClockRates(false);
                settings.SetUploadRoutingTables(true);
                return settings.Validate() == CEnumerationSettings::eFieldNone;
            });
        m_pFrame->show();
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
        SetPreference(QStringLiteral("Directories"), QStringLiteral("CustomGUI"), QString());
    }

    nvtest::CSimProcess m_sim{"demo.topo", {"--no-udp", "--no-broadcast"}};
    std::unique_ptr<nvtest::CRecordingUserInterface> m_pUI;
    std::unique_ptr<CMainFrame> m_pFrame;
};

TEST_F(SamplePluginTest, ShowPortErrorStatusReadsEveryPortOfTheSwitch)
{
    ASSERT_TRUE(m_pUI->messages.isEmpty()) << m_pUI->messages.join(QLatin1Char('|')).toStdString();
    CCustomGUIManager* pManager = ExistingCustomGUIManager();
    ASSERT_NE(nullptr, pManager);
    ASSERT_EQ(1u, pManager->Libraries().size());

    // Before a connection there is no map to pick a switch from; a PE of the sample's device
    // list gets its items, disabled until connected.
    CNetworkDocument offline;
    nvguitest::AddPE(offline, 0, kIDT, 0x0374, kPETypeSwitch, 0, 0, 18);
    QMenu menu;
    EXPECT_EQ(2, pManager->ExtendPEPopup(&menu, offline, *offline.ActivePEs.GetByNodeNumber(0)));
    std::vector<SPluginItem> items = PluginItems(menu);
    ASSERT_EQ(2u, items.size());
    EXPECT_EQ("Show Port Error Status...", items[0].strText.toStdString());
    EXPECT_EQ("Clear Port Errors", items[1].strText.toStdString());
    EXPECT_FALSE(items[0].bEnabled);

    m_pFrame->RunCommand(eCmdConnect);
    ASSERT_TRUE(m_pFrame->Core().IsConnected());
    m_pFrame->RunCommand(eCmdStandardDiscovery);
    ASSERT_TRUE(m_pUI->messages.isEmpty()) << m_pUI->messages.join(QLatin1Char('|')).toStdString();
    CNetworkDocument& document = m_pFrame->Core().Document();
    const CPEPrimitive* pSw1 = document.ActivePEs.GetByNodeNumber(1);
    ASSERT_TRUE(pSw1 && pSw1->ManufID == kIDT && pSw1->DeviceID == 0x0374);
    const CPEPrimitive* pEp1 = document.ActivePEs.GetPEByDestID(0x05);
    ASSERT_TRUE(pEp1);

    // The pop-up of sw1 in the map window: the sample's items, enabled now; an endpoint has none.
    CChildView& view = *m_pFrame->MapWindow();
    auto popupOf = [&](const CPEPrimitive& pe)
    {
        const CDrawPE* pNode = document.pCurrentNodes->FindPENode(pe.iNodeNumber);
        EXPECT_TRUE(pNode);
        CNodeItem* pItem = view.MapScene()->NodeItem(pNode->uUniqueID);
        EXPECT_TRUE(pItem);
        view.centerOn(pItem);
        SCommandContext context;
        auto pMenu = view.PopupAt(view.mapFromScene(pItem->sceneBoundingRect().center()), &context);
        EXPECT_EQ(pe.iNodeNumber, context.iNode);
        return pMenu;
    };
    std::unique_ptr<QMenu> pMenu = popupOf(*pSw1);
    ASSERT_TRUE(pMenu);
    items = PluginItems(*pMenu);
    ASSERT_EQ(2u, items.size());
    EXPECT_TRUE(items[0].bEnabled);
    EXPECT_TRUE(items[1].bEnabled);
    if (const QString strShot = qEnvironmentVariable("NV_SCREENSHOT_DIR"); !strShot.isEmpty())
    {
        pMenu->popup(view.mapToGlobal(QPoint(40, 40)));
        QApplication::processEvents();
        pMenu->grab().save(strShot + QStringLiteral("/pe-popup-plugin.png"));
        pMenu->hide();
    }
    std::unique_ptr<QMenu> pEndpointMenu = popupOf(*pEp1);
    ASSERT_TRUE(pEndpointMenu);
    EXPECT_TRUE(PluginItems(*pEndpointMenu).empty());

    // What the switch's port 0 (to the host) and port 3 (nothing there) hold, read here directly.
    uint32_t ulDestID = 0;
    uint8_t uchHops = 0;
    ASSERT_EQ(0, MapRouteToPE(document, pSw1->iNodeNumber, &ulDestID, &uchHops));
    uint32_t aulStatus[18] = {};
    ASSERT_EQ(0, CTargetClient::Instance().Maint_read(0, ulDestID, uchHops, 0x158, aulStatus, 18, 0x20, 0));
    ASSERT_TRUE(aulStatus[0] & 0x2) << "port 0 is trained";
    ASSERT_FALSE(aulStatus[3] & 0x2) << "port 3 has no link";

    m_pUI->messages.clear();
    items[0].pAction->trigger();
    ASSERT_EQ(1, m_pUI->messages.size()) << m_pUI->messages.join(QLatin1Char('|')).toStdString();
    EXPECT_EQ(QStringLiteral("Port Error Status - Node %1").arg(pSw1->iNodeNumber + 1),
              m_pUI->messageTitles.last());
    const QStringList lines = m_pUI->messages.last().split(QLatin1Char('\n'));
    EXPECT_EQ("LP-Serial block at 0x100, 18 ports", lines.value(0).toStdString());
    const QStringList ports = lines.filter(QStringLiteral("Port "));
    ASSERT_EQ(18, ports.size());
    EXPECT_EQ(QStringLiteral("Port  0:  %1h  OK").arg(aulStatus[0], 8, 16, QLatin1Char('0')).toUpper(),
              ports[0].toUpper());
    EXPECT_TRUE(ports[3].toUpper().startsWith(
        QStringLiteral("Port  3:  %1h  ").arg(aulStatus[3], 8, 16, QLatin1Char('0')).toUpper()))
        << ports[3].toStdString();
    EXPECT_FALSE(ports[3].contains(QStringLiteral("OK")));

    // Disconnected, the plug-in's read fails and it says why.
    m_pFrame->Core().Disconnect();
    m_pUI->messages.clear();
    items[0].pAction->trigger();
    ASSERT_EQ(1, m_pUI->messages.size());
    EXPECT_TRUE(
        m_pUI->messages[0].startsWith(QStringLiteral("Unable to read the Assembly Information CAR.\n\n")))
        << m_pUI->messages[0].toStdString();
}
} // namespace
