// The network initialisation script window: on the left the tree of what can be initialised, with
// check boxes (a PE's IDs, registers, routing tables and port speeds); on the right the "Script"
// and "Errors" tabs; below them the options, the host and the format. CNetInitScriptGen does the
// work; the window shows its tree and texts and saves them. The same window saves the register
// values of one PE, with the host fixed to that PE and the format taken from the file's name, and
// makes the boot EEPROM image of one PE ("EEPROM Device Initialization Image").
#pragma once

#include "NetInitScriptGen.h"

#include <QDialog>
#include <QHash>

class CNetworkDocument;
class CPEPrimitive;
class QCheckBox;
class QComboBox;
class QFormLayout;
class QLabel;
class QLineEdit;
class QPlainTextEdit;
class QPushButton;
class QTabWidget;
class QTreeWidget;
class QTreeWidgetItem;

class CNetInitScriptGenDlg : public QDialog
{
    Q_OBJECT

public:
    // "Network Initialization Script Generator" on the whole map.
    explicit CNetInitScriptGenDlg(CNetworkDocument& map, QWidget* pParent = nullptr);
    // "Save Register Values" of one PE: the tree holds its registers, the host is the PE, there are
    // no comments, and the routing tables would be pre-initialised; only "Exclude read-only
    // registers" is left to the person.
    CNetInitScriptGenDlg(CNetworkDocument& map, CPEPrimitive& pe, QWidget* pParent = nullptr);
    // "EEPROM Device Initialization Image" of one PE: the tree holds all that initialises it, the
    // host is the PE, and "Save EEPROM Image" makes the image, saves it and offers to write it.
    struct SEepromImageUse
    {
    };
    CNetInitScriptGenDlg(CNetworkDocument& map, CPEPrimitive& pe, SEepromImageUse,
                         QWidget* pParent = nullptr);
    ~CNetInitScriptGenDlg() override;

    bool SavesRegisterValues() const { return m_pRegisterPE != nullptr && !m_bEepromImage; }
    bool MakesEepromImage() const { return m_bEepromImage; }
    CNetInitScriptGen& Generator() { return m_gen; }

    QTreeWidget* Tree() const { return m_pTree; }
    // The tree's item of a PE ("Node %d"), or null.
    QTreeWidgetItem* NodeItem(int iNode) const;
    // The generator's item that a tree item shows.
    SInitTreeItem* ModelItem(const QTreeWidgetItem* pItem) const;
    // Makes the children of an item (they are made when the item is first opened).
    void Populate(QTreeWidgetItem* pItem);

    QTabWidget* Tabs() const { return m_pTabs; }
    QPlainTextEdit* ScriptPane() const { return m_pScript; }
    QPlainTextEdit* ErrorsPane() const { return m_pErrors; }
    QCheckBox* CommentsBox() const { return m_pComments; }
    QCheckBox* PreInitBox() const { return m_pPreInit; }
    QCheckBox* ExcludeReadOnlyBox() const { return m_pExcludeRO; }
    QLineEdit* HostField() const { return m_pHost; }
    QComboBox* FormatBox() const { return m_pFormat; }
    QPushButton* GenerateButton() const { return m_pGenerate; }
    QPushButton* SaveButton() const { return m_pSave; }
    QPushButton* CopyButton() const { return m_pCopy; }

    // The commands of the buttons.
    bool OnGenerate();
    bool OnSaveScript();
    void OnCopyToClipboard();
    bool OnSaveRegisterValues();
    bool OnSaveEepromImage();

private:
    void BuildWindow();
    void BuildTree();
    QTreeWidgetItem* AddItem(QTreeWidgetItem* pParent, SInitTreeItem& item);
    void OnItemChanged(QTreeWidgetItem* pItem, int iColumn);
    // Sets the check boxes of the made descendants of an item from the generator's tree.
    void ShowChecks(QTreeWidgetItem* pItem);
    void TakeOptions();
    void ShowTexts();
    // What a value file of the PE would hold, before a file is chosen.
    void PreviewRegisterValues();

    CNetworkDocument& m_map;
    CPEPrimitive* m_pRegisterPE = nullptr;
    bool m_bEepromImage = false;
    CNetInitScriptGen m_gen;
    QHash<const QTreeWidgetItem*, SInitTreeItem*> m_items;
    int m_eShownFormat = eInitFormatScript; // the format of the text in the "Script" tab
    bool m_bShowingChecks = false;

    QTreeWidget* m_pTree = nullptr;
    QTabWidget* m_pTabs = nullptr;
    QPlainTextEdit* m_pScript = nullptr;
    QPlainTextEdit* m_pErrors = nullptr;
    QCheckBox* m_pComments = nullptr;
    QCheckBox* m_pPreInit = nullptr;
    QCheckBox* m_pExcludeRO = nullptr;
    QLineEdit* m_pHost = nullptr;
    QComboBox* m_pFormat = nullptr;
    QFormLayout* m_pForm = nullptr;
    QLabel* m_pNote = nullptr;
    QPushButton* m_pGenerate = nullptr;
    QPushButton* m_pSave = nullptr;
    QPushButton* m_pCopy = nullptr;
};
