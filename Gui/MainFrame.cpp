#include "MainFrame.h"

#include "AutoLayout.h"
#include "Automation.h"
#include "ChildView.h"
#include "CompareCommand.h"
#include "ConnectDlg.h"
#include "CustomGUIManager.h"
#include "DataGenDlg.h"
#include "DebugLoggingDlg.h"
#include "DefaultSettings.h"
#include "DefaultSettingsDlg.h"
#include "DialogVDIDs.h"
#include "EnumerationDlg.h"
#include "FindRegisterDlg.h"
#include "HealthMonitor.h"
#include "InitNetworkCommand.h"
#include "LinkMonitorWnd.h"
#include "LinkSettings.h"
#include "MapEditing.h"
#include "MapOptionsDlg.h"
#include "MapScene.h"
#include "MemoryViewerWnd.h"
#include "MenuBuilder.h"
#include "MulticastCommands.h"
#include "MulticastDlg.h"
#include "NetBrowserDlgBar.h"
#include "NetworkCommands.h"
#include "NetworkMap.h"
#include "PacketGenDlg.h"
#include "PacketTraceDlg.h"
#include "ParametersDlg.h"
#include "PerfMonitorWnd.h"
#include "Preferences.h"
#include "ProbeSetupDlg.h"
#include "QtUserInterface.h"
#include "RegisterDlg.h"
#include "RegisterValueFile.h"
#include "ReportCommands.h"
#include "ReportDirsDlg.h"
#include "RoutingTableDlg.h"
#include "RoutingTableEditor.h"
#include "RoutingTableEditorDlg.h"
#include "ScriptCommands.h"
#include "ScriptSetupDlg.h"
#include "SerDesConfig.h"

#include <QCloseEvent>
#include <QGuiApplication>
#include <QInputDialog>
#include <QLabel>
#include <QMenuBar>
#include <QScreen>
#include <QStatusBar>
#include <QToolBar>

namespace
{
const QString kPreferences = QStringLiteral("Preferences");
static_assert(kFirstMacroCommandID > eCmdCount,
              "macro command IDs must not collide with the menu's commands");
} // namespace

CMainFrame::CMainFrame(QWidget* pParent)
    : QMainWindow(pParent), m_pInterface(std::make_unique<CQtUserInterface>(this))
{
    setObjectName(QStringLiteral("MainFrame"));
    m_pView = new CChildView(m_core, this);
    setCentralWidget(m_pView);
    m_pBrowser = new CNetBrowserDlgBar(m_core, this);
    addDockWidget(Qt::LeftDockWidgetArea, m_pBrowser);
    // Wide enough for a register's name with its value beside it.
    resizeDocks({m_pBrowser}, {440}, Qt::Horizontal);
    m_pConnectionStatus = new QLabel(this);
    m_pTransportStatus = new QLabel(this);
    statusBar()->addPermanentWidget(m_pConnectionStatus);
    statusBar()->addPermanentWidget(m_pTransportStatus);

    BuildMenus();
    BuildToolBar();
    InstallHandlers();
    m_chooser = [this](int32_t* pnChoice, uint32_t* pulAddressWord)
    {
        CConnectDlg dialog(this);
        if (dialog.exec() != QDialog::Accepted)
        {
            return false;
        }
        *pnChoice = dialog.Choice();
        *pulAddressWord = dialog.AddressWord();
        m_core.Session().SetNextServerPort(dialog.ServerPort());
        return true;
    };
    m_core.onMapChanged = [this] { OnMapChanged(); };
    m_core.onStatusChanged = [this] { OnStatusChanged(); };
    connect(m_pView, &CChildView::commandChosen, this, &CMainFrame::RunCommand);
    connect(m_pBrowser, &CNetBrowserDlgBar::commandChosen, this, &CMainFrame::RunCommand);
    connect(m_pView, &CChildView::layoutFinished, this, [this](bool) { statusBar()->clearMessage(); });

    // The size it was left at; the first time, most of the screen.
    if (!restoreGeometry(QByteArray::fromBase64(
            GetPreference(kPreferences, QStringLiteral("MainFrameGeometry"), QString()).toLatin1())))
    {
        const QSize screen = QGuiApplication::primaryScreen()
                                 ? QGuiApplication::primaryScreen()->availableSize()
                                 : QSize(1280, 860);
        resize(std::max(1000, screen.width() * 9 / 10), std::max(700, screen.height() * 9 / 10));
    }
    restoreState(QByteArray::fromBase64(
        GetPreference(kPreferences, QStringLiteral("MainFrameBars"), QString()).toLatin1()));
    OnMapChanged();
    OnStatusChanged();
    // The custom GUI plug-ins, once for the frame's life.
    GetCustomGUIManager(this).SetMapSource([this] { return &m_core.Document(); },
                                           [this] { return m_core.IsConnected(); });
}

CMainFrame::~CMainFrame()
{
    ReleaseCustomGUIManager();
    m_core.onMapChanged = m_core.onStatusChanged = nullptr;
    m_pHealth.reset();
    // The windows that refer to the core go before it does.
    delete m_pView;
    delete m_pBrowser;
}

void CMainFrame::BuildMenus()
{
    for (const SMenuItem& top : MainMenu())
    {
        QMenu* pMenu = menuBar()->addMenu(top.strText);
        AddMenuItems(pMenu, top.children,
                     [this](QAction* pAction, const SMenuItem&)
                     {
                         m_Actions.push_back(pAction);
                         connect(pAction, &QAction::triggered, this,
                                 [this, pAction] { RunCommand(ActionCommand(pAction)); });
                     });
        if (top.strText == QLatin1String("Tools"))
        {
            m_pToolsMenu = pMenu;
        }
        if (top.strText == QLatin1String("File"))
        {
            m_pRecentMenu = new QMenu(QStringLiteral("Recent Files"), pMenu);
            pMenu->insertMenu(Action(eCmdFileExit), m_pRecentMenu);
            pMenu->insertSeparator(Action(eCmdFileExit));
        }
    }
    for (ECommand eCommand : {eCmdViewToolbar, eCmdViewStatusBar, eCmdViewBrowser, eCmdHideNulls,
                              eCmdActiveMap, eCmdTemplateMap, eCmdTransportSmall, eCmdTransportLarge})
    {
        Action(eCommand)->setCheckable(true);
    }
    Action(eCmdViewStatusBar)->setChecked(true);
    Action(eCmdViewBrowser)->setChecked(true);
    Action(eCmdHideNulls)->setChecked(m_pView->HideNulls());
    UpdateRecentFiles();
}

void CMainFrame::BuildToolBar()
{
    m_pToolBar = addToolBar(QStringLiteral("Toolbar"));
    m_pToolBar->setObjectName(QStringLiteral("Toolbar"));
    for (ECommand eCommand :
         {eCmdFileNew, eCmdFileOpen, eCmdFileSave, eCmdConnect, eCmdConnectDemo, eCmdAutoLayout})
    {
        QAction* pAction = m_pToolBar->addAction(CommandName(eCommand));
        connect(pAction, &QAction::triggered, this, [this, eCommand] { RunCommand(eCommand); });
    }
    m_pToolBar->addSeparator();
    connect(m_pToolBar->addAction(QStringLiteral("Zoom In")), &QAction::triggered, this,
            [this] { m_pView->ZoomBy(1.25); });
    connect(m_pToolBar->addAction(QStringLiteral("Zoom Out")), &QAction::triggered, this,
            [this] { m_pView->ZoomBy(0.8); });
    connect(m_pToolBar->addAction(QStringLiteral("Fit")), &QAction::triggered, this,
            [this] { m_pView->ZoomToFit(); });
    Action(eCmdViewToolbar)->setChecked(true);
}

QAction* CMainFrame::Action(ECommand eCommand) const
{
    for (QAction* pAction : m_Actions)
    {
        if (ActionCommand(pAction) == eCommand)
        {
            return pAction;
        }
    }
    return nullptr;
}

void CMainFrame::RunCommand(ECommand eCommand, const SCommandContext& context)
{
    m_core.RunCommand(eCommand, context);
}

void CMainFrame::InstallHandlers()
{
    CMainFrameCore& core = m_core;
    auto on = [&core](ECommand eCommand, auto handler)
    { core.SetCommandHandler(eCommand, [handler](const SCommandContext& context) { handler(context); }); };
    auto connectCommand = [this](const SCommandContext&) { m_core.OnTargetConnect(m_chooser); };
    on(eCmdFileNew,
       [this](const SCommandContext&)
       {
           if (OfferSave())
           {
               m_core.NewMap();
           }
       });
    on(eCmdFileOpen,
       [this](const SCommandContext&)
       {
           const QString strPath =
               UI().ChooseFile(false, QStringLiteral("Open"), CNetworkMap::FileFilter(), QString());
           if (!strPath.isEmpty() && OfferSave())
           {
               OpenMapFile(strPath);
           }
       });
    on(eCmdFileSave,
       [this](const SCommandContext&)
       {
           if (m_core.SaveMap())
           {
               AddRecentFile(m_core.Document().PathName);
               UpdateRecentFiles();
           }
       });
    on(eCmdFileSaveAs,
       [this](const SCommandContext&)
       {
           const QString strPath = UI().ChooseFile(true, QStringLiteral("Save As"), CNetworkMap::FileFilter(),
                                                   m_core.Document().FileName);
           if (!strPath.isEmpty() && m_core.SaveMapAs(strPath))
           {
               AddRecentFile(strPath);
               UpdateRecentFiles();
           }
       });
    on(eCmdFilePrint,
       [this](const SCommandContext&)
       {
           const QString strPath =
               UI().ChooseFile(true, QStringLiteral("Print"), QStringLiteral("PDF Files (*.pdf)|*.pdf||"),
                               QStringLiteral("Network Map.pdf"));
           if (!strPath.isEmpty() && !m_pView->PrintToPdf(strPath))
           {
               ShowMessage(QStringLiteral("Unable to print to %1.").arg(strPath));
           }
       });
    on(eCmdFileExit, [this](const SCommandContext&) { close(); });
    on(eCmdSelectAll,
       [this](const SCommandContext&)
       {
           for (QGraphicsItem* pItem : m_pView->MapScene()->items())
           {
               pItem->setSelected(pItem->type() == eItemNode);
           }
       });
    on(eCmdGroup,
       [this](const SCommandContext&)
       {
           if (GroupSelectedItems(m_core.Document()) != 0)
           {
               m_core.SetModified();
               OnMapChanged();
           }
       });
    on(eCmdViewToolbar, [this](const SCommandContext&) { m_pToolBar->setVisible(!m_pToolBar->isVisible()); });
    on(eCmdViewStatusBar,
       [this](const SCommandContext&) { statusBar()->setVisible(!statusBar()->isVisible()); });
    on(eCmdViewBrowser, [this](const SCommandContext&) { m_pBrowser->setVisible(!m_pBrowser->isVisible()); });
    on(eCmdLabels,
       [this](const SCommandContext&)
       {
           CMapOptionsDlg dialog(m_pView->Options(), SMapOptions::Load(true), this);
           if (dialog.exec() == QDialog::Accepted)
           {
               dialog.WindowOptions().Save(false);
               dialog.PrintOptions().Save(true);
               m_pView->SetOptions(dialog.WindowOptions());
           }
       });
    on(eCmdHideNulls,
       [this](const SCommandContext&)
       {
           m_pView->SetHideNulls(!m_pView->HideNulls());
           Action(eCmdHideNulls)->setChecked(m_pView->HideNulls());
       });
    on(eCmdActiveMap,
       [this](const SCommandContext&)
       {
           m_core.Document().ToggleTemplate(false);
           OnMapChanged();
       });
    on(eCmdTemplateMap,
       [this](const SCommandContext&)
       {
           m_core.Document().ToggleTemplate(true);
           OnMapChanged();
       });
    on(eCmdPreviousView,
       [this](const SCommandContext&)
       {
           if (m_core.Document().SelectPreviousView())
           {
               OnMapChanged();
           }
       });
    on(eCmdNextView,
       [this](const SCommandContext&)
       {
           CNetworkDocument& document = m_core.Document();
           for (size_t i = 0; i < document.Views.size(); ++i)
           {
               if (document.Views[i]->iViewID == document.iCurrentViewID)
               {
                   document.SelectView(document.Views[(i + 1) % document.Views.size()]->iViewID,
                                       document.bShowTemplate);
                   break;
               }
           }
           OnMapChanged();
       });
    on(eCmdConnect, connectCommand);
    on(eCmdPEConnect, connectCommand);
    on(eCmdPEDisconnect, [this](const SCommandContext&) { m_core.OnTargetConnect(m_chooser); });
    on(eCmdConnectDemo, [this](const SCommandContext&) { m_core.ConnectDemo(); });
    on(eCmdTransportSmall, [this](const SCommandContext&) { m_core.SetTransportSize(8); });
    on(eCmdTransportLarge, [this](const SCommandContext&) { m_core.SetTransportSize(16); });
    on(eCmdCaptureTemplate,
       [this](const SCommandContext&)
       {
           m_core.Document().CopyActiveToTemplate();
           m_core.SetModified();
       });
    on(eCmdMapSize, [this](const SCommandContext&) { SetMapSize(); });
    on(eCmdAutosizeMap,
       [this](const SCommandContext&)
       {
           AutosizeMap(m_core.Document());
           m_core.SetModified();
           OnMapChanged();
       });
    on(eCmdBaseHex,
       [](const SCommandContext&) { SetPreference(kPreferences, QStringLiteral("DefaultBase"), 16u); });
    on(eCmdBaseDecimal,
       [](const SCommandContext&) { SetPreference(kPreferences, QStringLiteral("DefaultBase"), 10u); });
    on(eCmdBaseBinary,
       [](const SCommandContext&) { SetPreference(kPreferences, QStringLiteral("DefaultBase"), 2u); });
    on(eCmdDefaultSettings,
       [this](const SCommandContext&)
       {
           CDefaultSettingsDlg dialog(this);
           if (dialog.exec() == QDialog::Accepted)
           {
               OnStatusChanged();
           }
       });
    on(eCmdParameters,
       [this](const SCommandContext&)
       {
           CParametersDlg dialog(this);
           if (dialog.exec() != QDialog::Accepted)
           {
               return;
           }
           // A link that is open keeps the values it was opened with.
           if (m_core.IsConnected())
           {
               ShowMessage(QStringLiteral("The new parameters take effect at the next connection."),
                           EMessageKind::Information);
           }
           else
           {
               ReloadLinkSettings();
           }
       });
    on(eCmdAbout,
       [](const SCommandContext&)
       {
           UI().ShowMessage(
               QStringLiteral("Norvanta 4\n\nA management and debug client for RapidIO networks."),
               QStringLiteral("About Norvanta"), EMessageKind::Information);
       });
    on(eCmdDebugLogging,
       [this](const SCommandContext&)
       {
           CDebugLoggingDlg dialog(this);
           dialog.exec();
       });
    on(eCmdShowSelectedItemInfo, [this](const SCommandContext&) { ShowSelectedItemInfo(); });
    on(eCmdDisplayPEInfo, [this](const SCommandContext& context) { ShowPEInfo(context.iNode); });
    on(eCmdServerInfo,
       [this](const SCommandContext&)
       {
           UI().ShowMessage(m_core.Session().ServerInfo().join(QLatin1Char('\n')),
                            QStringLiteral("Server Info"), EMessageKind::Information);
       });
    on(eCmdStraightLink,
       [this](const SCommandContext& context)
       {
           if (StraightenLink(m_core.Document(), context.iConnection))
           {
               m_core.SetModified();
               OnMapChanged();
           }
       });
    on(eCmdCopyToClipboard, [this](const SCommandContext&) { m_pView->CopyToClipboard(); });
    on(eCmdAutoLayout,
       [this](const SCommandContext&)
       {
           if (m_pView->StartAutoLayout())
           {
               statusBar()->showMessage(QStringLiteral("Laying out the map..."));
           }
       });
    on(eCmdGroupOpen,
       [this](const SCommandContext& context)
       {
           if (OpenGroupView(m_core.Document(), context.uGroupUniqueID))
           {
               OnMapChanged();
           }
       });
    on(eCmdGroupProperties,
       [this](const SCommandContext& context)
       {
           const CDrawPrimitive* pNode =
               m_core.Document().pCurrentNodes->FindByUniqueID(context.uGroupUniqueID);
           if (!pNode || pNode->eKind != eDrawKindGroup)
           {
               return;
           }
           const auto* pGroup = static_cast<const CDrawGroup*>(pNode);
           bool bOk = false;
           const QString strLabel =
               QInputDialog::getText(this, QStringLiteral("Group Properties"), QStringLiteral("Label:"),
                                     QLineEdit::Normal, pGroup->Label, &bOk);
           if (!bOk)
           {
               return;
           }
           const QString strComment = QInputDialog::getMultiLineText(
               this, QStringLiteral("Group Properties"), QStringLiteral("Comment:"), pGroup->Comment, &bOk);
           if (bOk)
           {
               SetGroupProperties(m_core.Document(), context.uGroupUniqueID, strLabel, strComment);
               m_core.SetModified();
               OnMapChanged();
           }
       });
    SNetworkCommandHooks hooks;
    m_settingsChooser = [this](CEnumerationSettings& settings)
    { return CEnumerationDlg(settings, this).exec() == QDialog::Accepted; };
    hooks.chooseSettings = [this](CEnumerationSettings& settings) { return m_settingsChooser(settings); };
    hooks.layout = [this](CNetworkDocument& document) { return m_pView->LayoutAndWait(document); };
    hooks.selection = [this] { return m_pView->RouteSelection(); };
    hooks.discoveryDone = [this] { m_macros.FireEvent(eMacroEventDiscoveryDone); };
    InstallNetworkCommands(m_core, hooks);
    InstallCompareCommands(m_core);
    InstallScriptCommands(m_core, this);
    InstallReportCommands(m_core);
    InstallPerfMonitorCommands(m_core, this);
    InstallLinkMonitorCommands(m_core, this);
    InstallPacketGenCommands(m_core, this);
    InstallPacketTraceCommands(m_core, this);
    InstallSerDesConfigCommands(m_core, this);
    InstallProbeCommands(m_core, this);
    InstallMemoryViewerCommands(m_core, this);
    m_core.SetCommandHandler(eCmdReportDirectories,
                             [this](const SCommandContext&)
                             {
                                 CReportDirsDlg dialog(this);
                                 dialog.exec();
                             });
    m_core.SetCommandHandler(eCmdTrafficGenerator,
                             [this](const SCommandContext& context)
                             {
                                 if (context.iNode >= 0)
                                     CDataGenDlg::OpenFor(
                                         m_core.Document(), context.iNode, [this] { m_pView->Rebuild(); },
                                         this);
                             });
    InstallInitNetworkCommand(m_core);
    InstallVDIDCommands(m_core, VDIDDialogRunner(this));
    InstallMulticastCommands(m_core,
                             [this](CMulticastEditor& editor) { return RunMulticastDlg(this, editor); });
    on(eCmdTableEdit,
       [this](const SCommandContext& context)
       {
           CPEPrimitive* pPE = m_core.Document().pCurrentPEs->GetByNodeNumber(context.iNode);
           if (pPE && (pPE->uType & kPETypeSwitch) &&
               EditRoutingTables(this, m_core.Document(), *pPE, m_core.IsConnected()))
           {
               m_core.SetModified();
               OnMapChanged();
           }
       });
    on(eCmdLinkRoutingTable,
       [this](const SCommandContext& context)
       {
           const CNetworkDocument& document = m_core.Document();
           const CConnectionPrimitive* pLink =
               document.pCurrentConnections->GetByNodeNumber(context.iConnection);
           const CPEPrimitive* pSwitch = nullptr;
           int iTable = 0;
           if (!pLink || !LinkRoutingTable(document, *pLink, &pSwitch, &iTable))
           {
               ShowMessage(QStringLiteral("Neither end of this link is a switch: it has no routing table."),
                           EMessageKind::Information);
               return;
           }
           ShowRoutingTable(this, *pSwitch, iTable);
       });
    InstallRegisterHandlers();
    m_pHealth = std::make_unique<CHealthMonitor>(m_core, *m_pView, *statusBar());
    m_pHealth->Install(Action(eCmdHealthMonitoring));
    InstallWatchHandlers();
    InstallMacroHandlers();
}

CWatchDlg& CMainFrame::WatchWindow()
{
    if (!m_pWatchDlg)
    {
        m_pWatchDlg = new CWatchDlg(m_core.Document(), ShellRegisterTransport(), this);
        connect(m_pWatchDlg, &CWatchDlg::modified, this, [this] { m_core.SetModified(); });
        connect(m_pWatchDlg, &CWatchDlg::mapRedraw, m_pView, &CChildView::Rebuild);
        m_pWatchDlg->Monitor().onWatchEvent = [this](const SWatchEvent& event)
        { m_macros.FireEvent(eMacroEventWatchTrigger, {MacroArgumentArray(WatchEventArguments(event))}); };
    }
    return *m_pWatchDlg;
}

void CMainFrame::InstallWatchHandlers()
{
    m_core.SetCommandHandler(eCmdViewWatchWindow,
                             [this](const SCommandContext&)
                             {
                                 CWatchDlg& window = WatchWindow();
                                 window.show();
                                 window.raise();
                                 window.activateWindow();
                             });
    m_core.SetCommandHandler(eCmdResetAllTriggers, [this](const SCommandContext&)
                             { WatchWindow().Monitor().ClearAllHighlights(); });
    m_core.SetCommandHandler(eCmdResetTrigger, [this](const SCommandContext& context)
                             { WatchWindow().Monitor().ClearHighlight(context.iNode); });
}

void CMainFrame::InstallMacroHandlers()
{
    // Macros and D-Bus callers drive the one automation object of the frame, so they share its
    // priorities, its log switch and its last error. What only a window can do is added here.
    SAutomationHooks& hooks = m_core.Automation().Hooks();
    hooks.mapToClipboard = [this]
    {
        RunCommand(eCmdCopyToClipboard);
        return true;
    };
    hooks.memoryViewerOpen = [this](uint32_t ulNode, uint64_t ullAddress, uint32_t ulNumBytes,
                                    bool bBigEndian, uint32_t ulWordSize, bool bShowAscii,
                                    uint32_t ulNumColumns)
    {
        return OpenMemoryViewer(this, m_core.Document(), ulNode, ullAddress, ulNumBytes, bBigEndian,
                                ulWordSize, bShowAscii, ulNumColumns);
    };
    hooks.memoryViewerClose = [this](uint32_t ulNode) { return CloseMemoryViewer(this, ulNode); };
    m_pScriptObject = std::make_unique<CAutomationScriptObject>(m_core.Automation());
    m_macros.SetHostObject(m_pScriptObject.get());
    m_macros.onEcho = [](const QString& strText)
    { UI().ShowMessage(strText, ApplicationTitle(), EMessageKind::Information); };
    m_macros.onMessageBox = [](const QString& strText, int iButtons, const QString& strTitle)
    {
        const QString strCaption = strTitle.isEmpty() ? ApplicationTitle() : strTitle;
        switch (iButtons & 0xF)
        {
        case 1: // OK, Cancel
            return UI().Ask(strText, strCaption, false) == eAnswerYes ? 1 : 2;
        case 3: // Yes, No, Cancel
            return UI().Ask(strText, strCaption, true);
        case 4: // Yes, No
            return UI().Ask(strText, strCaption, false);
        default:
            UI().ShowMessage(strText, strCaption, EMessageKind::Information);
            return 1;
        }
    };
    m_macros.LoadGlobal();
    m_macros.TakeMap(m_core.Document());
    m_core.SetCommandHandler(eCmdManageScripts,
                             [this](const SCommandContext&)
                             {
                                 CScriptSetupDlg dialog(m_macros, this);
                                 if (dialog.exec() != QDialog::Accepted)
                                 {
                                     return;
                                 }
                                 if (dialog.Apply(m_core.Document()))
                                 {
                                     m_core.SetModified();
                                 }
                                 RebuildMacroMenu();
                             });
    RebuildMacroMenu();
}

void CMainFrame::RebuildMacroMenu()
{
    for (QAction* pAction : m_macroActions)
    {
        m_pToolsMenu->removeAction(pAction);
        delete pAction;
    }
    m_macroActions.clear();
    const std::vector<SMenuScriptItem> items = m_macros.MenuItems();
    if (items.empty())
    {
        return;
    }
    m_macroActions.push_back(m_pToolsMenu->addSeparator());
    for (const SMenuScriptItem& item : items)
    {
        QString strText = item.MenuItemName;
        QAction* pAction = m_pToolsMenu->addAction(strText.replace(QLatin1Char('&'), QStringLiteral("&&")));
        const int iCommandID = item.iCommandID;
        connect(pAction, &QAction::triggered, this,
                [this, iCommandID] { m_macros.RunMenuScript(iCommandID); });
        m_macroActions.push_back(pAction);
    }
}

CRegisterDlg& CMainFrame::OpenRegisterEditor()
{
    if (!m_pRegisterDlg)
    {
        m_pRegisterDlg = new CRegisterDlg(m_core.Document(), this);
        connect(m_pRegisterDlg, &CRegisterDlg::valuesChanged, this, &CMainFrame::ShowRegisterValues);
        connect(m_pRegisterDlg, &CRegisterDlg::watchRequested, this,
                [this](const SWatchRequest& request) { WatchWindow().AddWatch(request); });
    }
    m_pRegisterDlg->show();
    m_pRegisterDlg->raise();
    m_pRegisterDlg->activateWindow();
    return *m_pRegisterDlg;
}

void CMainFrame::ShowRegisterValues()
{
    // The rebuilt tree keeps what the person opened, checked and picked, and now shows the
    // values read.
    m_core.SetModified();
    m_pBrowser->Rebuild(m_core.Document());
    if (m_pRegisterDlg)
    {
        m_pRegisterDlg->View()->update();
    }
}

void CMainFrame::InstallRegisterHandlers()
{
    auto on = [this](ECommand eCommand, CommandHandler handler)
    { m_core.SetCommandHandler(eCommand, std::move(handler)); };
    on(eCmdUploadRegisters,
       [this](const SCommandContext&)
       {
           if (UploadCheckedRegisters(m_core.Document(), m_pBrowser->GetCheckedRegisters()) > 0)
           {
               ShowRegisterValues();
           }
       });
    on(eCmdDownloadRegisters,
       [this](const SCommandContext&)
       {
           if (DownloadCheckedRegisters(m_core.Document(), m_pBrowser->GetCheckedRegisters()) > 0)
           {
               ShowRegisterValues();
           }
       });
    on(eCmdEditRegister,
       [this](const SCommandContext&)
       {
           int iNode = -1;
           int iTreeItem = -1;
           CPEPrimitive* pPE = nullptr;
           if (m_pBrowser->CurrentRegisterPlace(&iNode, &iTreeItem) &&
               (pPE = m_core.Document().pCurrentPEs->GetByNodeNumber(iNode)) != nullptr)
           {
               EditRegisterTreeItem(OpenRegisterEditor(), *pPE, iTreeItem);
           }
       });
    on(eCmdEditAllLikeThis,
       [this](const SCommandContext&)
       {
           int iNode = -1;
           int iTreeItem = -1;
           const CPEPrimitive* pPE = nullptr;
           if (m_pBrowser->CurrentRegisterPlace(&iNode, &iTreeItem) &&
               (pPE = m_core.Document().pCurrentPEs->GetByNodeNumber(iNode)) != nullptr)
           {
               EditAllLikeThis(OpenRegisterEditor(), m_core.Document(), *pPE, iTreeItem);
           }
       });
    on(eCmdFindRegister,
       [this](const SCommandContext&)
       {
           if (!m_pFindDlg)
           {
               m_pFindDlg = new CFindRegisterDlg(m_pBrowser, this);
           }
           m_pFindDlg->show();
           m_pFindDlg->raise();
           m_pFindDlg->activateWindow();
       });
    on(eCmdLoadRegisters,
       [this](const SCommandContext& context)
       {
           CPEPrimitive* pPE = m_core.Document().pCurrentPEs->GetByNodeNumber(context.iNode);
           if (!pPE ||
               AskDontAsk(QStringLiteral("LoadRegisters"),
                          QStringLiteral("You must ensure that the file you load is compatible with the PE "
                                         "that you have selected."),
                          ApplicationTitle()) != eAnswerYes)
           {
               return;
           }
           const QString strPath = UI().ChooseFile(
               false, QStringLiteral("Load Registers"),
               QStringLiteral("CSV Files (*.csv)|*.csv|S-Record Files (*.sre)|*.sre||"), QString());
           if (strPath.isEmpty())
           {
               return;
           }
           if (LoadRegisters(m_core.Document(), *pPE, strPath, &ShellRegisterTransport()).bOk)
           {
               ShowRegisterValues();
           }
       });
}

void CMainFrame::OnMapChanged()
{
    // A map opened or started afresh brings its own macro bindings.
    if (m_macros.TakeMap(m_core.Document()))
    {
        RebuildMacroMenu();
    }
    m_pView->Rebuild();
    m_pHealth->MapChanged();
    m_pBrowser->Rebuild(m_core.Document());
    if (m_pRegisterDlg)
    {
        m_pRegisterDlg->DropStaleItems();
    }
    if (m_pWatchDlg)
    {
        m_pWatchDlg->Rebuild();
    }
    Action(eCmdActiveMap)->setChecked(!m_core.Document().bShowTemplate);
    Action(eCmdTemplateMap)->setChecked(m_core.Document().bShowTemplate);
}

void CMainFrame::OnStatusChanged()
{
    setWindowTitle(m_core.TitleText());
    m_pHealth->ConnectionChanged(m_core.IsConnected());
    if (m_pRegisterDlg)
    {
        m_pRegisterDlg->UpdateActions();
    }
    if (m_pWatchDlg && !m_core.IsConnected())
    {
        // Disconnecting stops every watch item.
        m_pWatchDlg->Monitor().DisableAll();
    }
    m_pConnectionStatus->setText(m_core.ConnectionStatusText());
    m_pTransportStatus->setText(m_core.TransportStatusText());
    Action(eCmdConnect)
        ->setText(m_core.IsConnected() ? QStringLiteral("Disconnect...") : QStringLiteral("Connect..."));
    Action(eCmdTransportSmall)->setChecked(m_core.TransportStatusText() == QLatin1String("TT=Small"));
    Action(eCmdTransportLarge)->setChecked(m_core.TransportStatusText() == QLatin1String("TT=Large"));
    if (m_core.IsConnected() != m_bWasConnected)
    {
        m_bWasConnected = m_core.IsConnected();
        m_macros.FireEvent(eMacroEventConnection);
    }
}

void CMainFrame::UpdateRecentFiles()
{
    m_pRecentMenu->clear();
    const QStringList files = RecentFiles();
    for (int i = 0; i < files.size(); ++i)
    {
        const QString strPath = files[i];
        connect(m_pRecentMenu->addAction(QStringLiteral("&%1 %2").arg(i + 1).arg(strPath)),
                &QAction::triggered, this,
                [this, strPath]
                {
                    if (OfferSave())
                    {
                        OpenMapFile(strPath);
                    }
                });
    }
    m_pRecentMenu->setEnabled(!files.isEmpty());
}

void CMainFrame::OpenMapFile(const QString& strPath)
{
    if (m_core.OpenMap(strPath))
    {
        AddRecentFile(strPath);
        UpdateRecentFiles();
        m_pView->ZoomToFit();
    }
}

bool CMainFrame::OfferSave()
{
    if (!m_core.IsModified())
    {
        return true;
    }
    const QString strName =
        m_core.Document().FileName.isEmpty() ? QStringLiteral("Untitled") : m_core.Document().FileName;
    const int nAnswer =
        UI().Ask(QStringLiteral("Save changes to %1?").arg(strName), ApplicationTitle(), true);
    return nAnswer == eAnswerNo || (nAnswer == eAnswerYes && m_core.SaveMap());
}

void CMainFrame::ShowPEInfo(int iNode)
{
    const CPEPrimitive* pPE = m_core.Document().pCurrentPEs->GetByNodeNumber(iNode);
    if (!pPE)
    {
        return;
    }
    QStringList lines;
    lines
        << QString::asprintf("Node %d", pPE->iNodeNumber + 1)
        << QStringLiteral("Name:\t%1").arg(pPE->CommonName.isEmpty() ? pPE->GetTypeString() : pPE->CommonName)
        << QStringLiteral("Type:\t%1").arg(pPE->GetTypeString())
        << QString::asprintf("Device ID:\t%04Xh", pPE->DeviceID)
        << QString::asprintf("Vendor ID:\t%04Xh", pPE->ManufID)
        << QString::asprintf("Ports:\t%d", pPE->iNumLocalPorts)
        << QStringLiteral("Status:\t%1").arg(pPE->GetStatusString());
    // What the health monitor found on the ports, where it found something to say.
    for (int iPort = 0; iPort < std::min(pPE->iNumLocalPorts, static_cast<int>(kMaxPorts)); ++iPort)
    {
        const QString& strReason = pPE->PortHealth[static_cast<size_t>(iPort)].Reason;
        if (!strReason.isEmpty())
        {
            lines << QStringLiteral("Port %1:\t%2").arg(iPort).arg(strReason);
        }
    }
    if (pPE->bUsesDestID)
    {
        lines << QString::asprintf("Destination ID:\t%Xh", pPE->GetDestID());
    }
    if (pPE->bHasHostLink)
    {
        lines << QStringLiteral("Host link:\t%1")
                     .arg(pPE->bHostLinkOpen ? QStringLiteral("open") : QStringLiteral("closed"));
    }
    if (!pPE->Comment.isEmpty())
    {
        lines << QStringLiteral("Comment:\t%1").arg(pPE->Comment);
    }
    UI().ShowMessage(lines.join(QLatin1Char('\n')), QStringLiteral("PE Info"), EMessageKind::Information);
}

void CMainFrame::ShowSelectedItemInfo()
{
    const CNetworkDocument& document = m_core.Document();
    QStringList lines;
    for (const SSelectedItem& item : document.SelectedNodes)
    {
        const CDrawPrimitive* pNode = document.pCurrentNodes->FindByUniqueID(item.uUniqueID);
        lines << QString::asprintf("Node object %u: kind %d, node %d, at (%d, %d)", item.uUniqueID,
                                   item.uKind, pNode ? pNode->iAssociatedPrimitive + 1 : 0,
                                   pNode ? pNode->iXPos : 0, pNode ? pNode->iYPos : 0);
    }
    for (const SSelectedItem& item : document.SelectedEdges)
    {
        const CDrawPrimitive* pEdge = document.pCurrentEdges->FindByUniqueID(item.uUniqueID);
        lines << QString::asprintf("Link object %u: connection %d", item.uUniqueID,
                                   pEdge ? pEdge->iAssociatedPrimitive + 1 : 0);
    }
    UI().ShowMessage(lines.isEmpty() ? QStringLiteral("Nothing is selected.") : lines.join(QLatin1Char('\n')),
                     QStringLiteral("Selected Item Info"), EMessageKind::Information);
}

void CMainFrame::SetMapSize()
{
    CNetworkDocument& document = m_core.Document();
    CMapView& view = *document.pCurrentView;
    int& iWidth = document.bShowTemplate ? view.iTemplateWidth : view.iWidth;
    int& iHeight = document.bShowTemplate ? view.iTemplateHeight : view.iHeight;
    uint64_t ulWidth = static_cast<uint64_t>(iWidth);
    uint64_t ulHeight = static_cast<uint64_t>(iHeight);
    if (UI().AskNumber(QStringLiteral("Map width in pixels:"), QStringLiteral("Map Size"), &ulWidth) &&
        UI().AskNumber(QStringLiteral("Map height in pixels:"), QStringLiteral("Map Size"), &ulHeight))
    {
        iWidth = static_cast<int>(std::min<uint64_t>(ulWidth, 1000000));
        iHeight = static_cast<int>(std::min<uint64_t>(ulHeight, 1000000));
        m_core.SetModified();
        OnMapChanged();
    }
}

void CMainFrame::closeEvent(QCloseEvent* pEvent)
{
    if (!m_core.QueryClose())
    {
        pEvent->ignore();
        return;
    }
    SetPreference(kPreferences, QStringLiteral("MainFrameBars"), QString::fromLatin1(saveState().toBase64()));
    SetPreference(kPreferences, QStringLiteral("MainFrameGeometry"),
                  QString::fromLatin1(saveGeometry().toBase64()));
    m_macros.FireEvent(eMacroEventClosing);
    pEvent->accept();
}
