// "Manage Scripts": the script files and the macro bindings of the global set or of the map's own
// set, as the radio buttons choose. Script files are tested by loading them when added; a binding
// picks a method of a file that loaded. The dialog edits copies of both sets and hands them back on
// OK, so Cancel leaves everything as it was.
#pragma once

#include "MacroBindings.h"

#include <QDialog>
#include <QSet>

#include <functional>

class QComboBox;
class QCheckBox;
class QLineEdit;
class QListWidget;
class QPushButton;
class QRadioButton;
class QTableWidget;

class CScriptSetupDlg : public QDialog
{
    Q_OBJECT

public:
    CScriptSetupDlg(CMacroManager& manager, QWidget* pParent = nullptr);

    // The set on show: the global one or the map's own.
    void ShowGlobal(bool bGlobal);
    bool ShowsGlobal() const { return m_bGlobal; }
    const SMacroBindingSet& EditedGlobal() const { return m_global; }
    const SMacroBindingSet& EditedMap() const { return m_map; }
    // Whether the edits changed a set's bindings or files.
    bool GlobalChanged() const;
    bool MapChanged() const;
    // Hands the edited sets to the manager: the global one is stored in the preferences, the
    // map's own goes into the map's lists. True when the map changed (it then counts as modified).
    bool Apply(CNetworkDocument& document);
    // Whether a file of the set on show failed its test load.
    bool HasErrors(const QString& strPath) const { return m_failed.contains(strPath); }

    // The commands of the buttons. Adding a file asks for it through the user interface.
    void OnAddScriptFile();
    // Adds a file as if chosen; false when it was refused (wrong type, already listed).
    bool AddScriptFile(const QString& strPath);
    void OnRemoveScriptFile();
    void OnEditScriptFile();
    void OnAddEvent();
    void OnRemoveEvent();
    void OnEnableDisable();
    void OnAddMenuItem();
    void OnRemoveMenuItem();

    // How a new binding is chosen: the binding dialog unless replaced (tests answer here). The
    // item comes filled with a default; false when the person cancels.
    std::function<bool(CScriptSetupDlg& dialog, SEventScriptItem* pItem)> chooseEvent;
    std::function<bool(CScriptSetupDlg& dialog, SMenuScriptItem* pItem)> chooseMenuItem;
    // How a file is edited: the Script Editor unless replaced; true when it was saved.
    std::function<bool(const QString& strPath)> editFile;

    // The files of the set on show that loaded, and the methods of one of them.
    QStringList LoadedFiles() const;
    QStringList MethodsOf(const QString& strPath) const;

    QRadioButton* GlobalButton() const { return m_pGlobal; }
    QRadioButton* MapButton() const { return m_pMap; }
    QListWidget* FileList() const { return m_pFiles; }
    QTableWidget* EventTable() const { return m_pEvents; }
    QTableWidget* MenuTable() const { return m_pMenus; }
    QPushButton* EnableButton() const { return m_pEnable; }
    QPushButton* Button(const QString& strObjectName) const;

private:
    SMacroBindingSet& Shown() { return m_bGlobal ? m_global : m_map; }
    const SMacroBindingSet& Shown() const { return m_bGlobal ? m_global : m_map; }
    // Loads a file in a scratch engine; the engine's error text (or why it can't be read) when it
    // fails, empty when it loads.
    QString TestLoad(const QString& strPath) const;
    void CheckFiles();
    void Refresh();
    void UpdateButtons();
    bool ChooseEventDefault(SEventScriptItem* pItem);
    bool ChooseMenuDefault(SMenuScriptItem* pItem);

    CMacroManager& m_manager;
    SMacroBindingSet m_global;
    SMacroBindingSet m_map;
    bool m_bGlobal = true;
    QSet<QString> m_failed; // files of either set whose test load failed
    QRadioButton* m_pGlobal = nullptr;
    QRadioButton* m_pMap = nullptr;
    QListWidget* m_pFiles = nullptr;
    QTableWidget* m_pEvents = nullptr;
    QTableWidget* m_pMenus = nullptr;
    QPushButton* m_pEnable = nullptr;
};

// Picks what a new binding runs: for an event binding the event, for a menu binding the command's
// text; then the script file and one of its methods.
class CMacroBindingDlg : public QDialog
{
    Q_OBJECT

public:
    // An event binding when pEvent is given, else a menu binding.
    CMacroBindingDlg(CScriptSetupDlg& setup, SEventScriptItem* pEvent, SMenuScriptItem* pMenu,
                     QWidget* pParent = nullptr);

    QComboBox* EventBox() const { return m_pEvent; }
    QLineEdit* MenuTextBox() const { return m_pMenuText; }
    QComboBox* FileBox() const { return m_pFile; }
    QComboBox* MethodBox() const { return m_pMethod; }
    QCheckBox* EnabledBox() const { return m_pEnabled; }
    // OK: false (and the dialog stays) when the text or the method is missing.
    bool OnOk();

private:
    void FillMethods();

    CScriptSetupDlg& m_setup;
    SEventScriptItem* m_pEventItem;
    SMenuScriptItem* m_pMenuItem;
    QComboBox* m_pEvent = nullptr;
    QLineEdit* m_pMenuText = nullptr;
    QComboBox* m_pFile = nullptr;
    QComboBox* m_pMethod = nullptr;
    QCheckBox* m_pEnabled = nullptr;
};
