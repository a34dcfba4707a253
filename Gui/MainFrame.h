// The main window: the map window in the middle, the network browser docked beside it, the
// menus of the command set, a tool bar and the status texts. Its logic lives in the shell's
// CMainFrameCore; this class shows it and carries out the commands that need a window.
#pragma once

#include "FindRegisterDlg.h"
#include "MacroBindings.h"
#include "MainFrameCore.h"
#include "NetworkCommands.h"
#include "RegisterDlg.h"
#include "WatchWnd.h"

#include <QMainWindow>
#include <QPointer>

#include <memory>

class CChildView;
class CHealthMonitor;
class CNetBrowserDlgBar;
class CQtUserInterface;
class QLabel;
class QMenu;
class QToolBar;

class CMainFrame : public QMainWindow
{
    Q_OBJECT

public:
    explicit CMainFrame(QWidget* pParent = nullptr);
    ~CMainFrame() override;

    CMainFrameCore& Core() { return m_core; }
    CChildView* MapWindow() const { return m_pView; }
    CNetBrowserDlgBar* Browser() const { return m_pBrowser; }
    // The system health monitor and its commands.
    CHealthMonitor* HealthMonitor() const { return m_pHealth.get(); }
    QLabel* ConnectionStatus() const { return m_pConnectionStatus; }
    QLabel* TransportStatus() const { return m_pTransportStatus; }
    // The register editor and the find dialog, made when first asked for (null before).
    CRegisterDlg* RegisterEditor() const { return m_pRegisterDlg; }
    CFindRegisterDlg* FindRegisterDialog() const { return m_pFindDlg; }
    // The watch window, made when first needed; its timer runs from then on.
    CWatchDlg& WatchWindow();
    // The action of a main menu command (the first, when a command stands twice).
    QAction* Action(ECommand eCommand) const;

    // How the connect command asks for a connection; the connection dialog unless replaced
    // (tests answer for the person here).
    void SetConnectionChooser(ConnectionChooser chooser) { m_chooser = std::move(chooser); }
    // Replaces the discovery settings window (tests answer for the person).
    void SetDiscoverySettingsChooser(DiscoverySettingsChooser chooser)
    {
        m_settingsChooser = std::move(chooser);
    }

    // The macro manager: the global and map-specific macro bindings and the events they run on.
    CMacroManager& Macros() { return m_macros; }
    // The Tools menu's items of the menu bindings, in menu order.
    const std::vector<QAction*>& MacroActions() const { return m_macroActions; }

    // Runs a command as if chosen from a menu.
    void RunCommand(ECommand eCommand, const SCommandContext& context = {});

protected:
    void closeEvent(QCloseEvent* pEvent) override;

private:
    void BuildMenus();
    void BuildToolBar();
    void InstallHandlers();
    void OnMapChanged();
    void OnStatusChanged();
    void UpdateRecentFiles();
    void OpenMapFile(const QString& strPath);
    bool OfferSave();
    void ShowPEInfo(int iNode);
    void ShowSelectedItemInfo();
    void SetMapSize();
    void InstallRegisterHandlers();
    void InstallWatchHandlers();
    void InstallMacroHandlers();
    // Puts the menu bindings at the end of the Tools menu, after "Manage Scripts".
    void RebuildMacroMenu();
    CRegisterDlg& OpenRegisterEditor();
    // After register values changed: the browser and the editor show them.
    void ShowRegisterValues();

    std::unique_ptr<CQtUserInterface> m_pInterface;
    CMainFrameCore m_core;
    CChildView* m_pView = nullptr;
    CNetBrowserDlgBar* m_pBrowser = nullptr;
    QToolBar* m_pToolBar = nullptr;
    QLabel* m_pConnectionStatus = nullptr;
    QLabel* m_pTransportStatus = nullptr;
    QMenu* m_pRecentMenu = nullptr;
    std::vector<QAction*> m_Actions;
    ConnectionChooser m_chooser;
    DiscoverySettingsChooser m_settingsChooser;
    QPointer<CRegisterDlg> m_pRegisterDlg;
    QPointer<CFindRegisterDlg> m_pFindDlg;
    std::unique_ptr<CHealthMonitor> m_pHealth;
    QPointer<CWatchDlg> m_pWatchDlg;
    // The automation object that macros reach as "Norvanta".
    std::unique_ptr<CAutomationScriptObject> m_pScriptObject;
    CMacroManager m_macros;
    QMenu* m_pToolsMenu = nullptr;
    std::vector<QAction*> m_macroActions;
    bool m_bWasConnected = false; // the connection state the last connect/disconnect event told
};
