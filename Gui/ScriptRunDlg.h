// The simple script window, "Script Output": the script in the upper pane, the transcript of its
// last run in the lower one, and a menu of its own (New, Open, Save, Save As, Run). It runs the
// script against one PE of the map through CScriptRunCore; the window only shows and edits. It
// is modeless and deletes itself when closed.
#pragma once

#include <QDialog>
#include <QString>

#include <cstdint>
#include <memory>

class CNetworkDocument;
class CPEPrimitive;
class CScriptRunCore;
class IScriptAccess;
class QAction;
class QMenuBar;
class QPlainTextEdit;
class QPushButton;

class CScriptRunDlg : public QDialog
{
    Q_OBJECT

public:
    // The window on a PE of the map (neither owned). pAccess carries the maintenance accesses of a
    // run; null for the transaction front end.
    CScriptRunDlg(CNetworkDocument& map, CPEPrimitive& target, IScriptAccess* pAccess = nullptr,
                  QWidget* pParent = nullptr);
    ~CScriptRunDlg() override;

    // Puts a text in the script pane as an unsaved change, as if typed.
    void SetScriptText(const QString& strText);

    CScriptRunCore& Core() { return *m_pCore; }
    QPlainTextEdit* ScriptPane() const { return m_pScript; }
    QPlainTextEdit* ResultsPane() const { return m_pResults; }
    QMenuBar* MenuBar() const { return m_pMenuBar; }
    // The menu's commands by their text without the dots and shortcut ("New", "Open", "Save",
    // "Save As", "Run"), or null.
    QAction* Command(const QString& strName) const;
    QPushButton* CopyButton() const { return m_pCopy; }
    QPushButton* ClearButton() const { return m_pClear; }

    // The commands, as the menu and the buttons run them.
    void OnNew();
    void OnOpen();
    void OnSave();
    void OnSaveAs();
    void OnRun();
    void OnCopyResults();
    void OnClearResults();

signals:
    // Values read back by a run went into the PE's saved register values.
    void registersChanged(int iNode);

protected:
    void closeEvent(QCloseEvent* pEvent) override;
    void reject() override;

private:
    void BuildMenu();
    // The PE the window works on, found again in the map by its identity (a discovery or a map
    // file replaces the map's objects); null when the map no longer holds it.
    CPEPrimitive* ResolveTarget();
    void ShowScript();
    void ShowResults();
    void UpdateTitle();

    CNetworkDocument& m_map;
    QString m_strTargetID; // the PE's identity across discoveries
    int m_iTargetNode = -1;
    std::unique_ptr<IScriptAccess> m_pOwnAccess;
    std::unique_ptr<CScriptRunCore> m_pCore;
    QMenuBar* m_pMenuBar = nullptr;
    QPlainTextEdit* m_pScript = nullptr;
    QPlainTextEdit* m_pResults = nullptr;
    QPushButton* m_pCopy = nullptr;
    QPushButton* m_pClear = nullptr;
    bool m_bShowing = false;      // the pane is being filled from the script, not edited
    bool m_bRunning = false;      // a run is under way
    bool m_bCloseAsked = false;   // the window was asked to close during a run
    bool m_bRegistersSet = false; // the last run wrote into the register set
};

// Opens the script window on a PE, with strText in the script pane as an unsaved script (nothing
// when empty), and shows it. The window is modeless and owned by pParent until it closes itself.
CScriptRunDlg* OpenScriptWindow(QWidget* pParent, CNetworkDocument& map, CPEPrimitive& pe,
                                const QString& strText = QString());
