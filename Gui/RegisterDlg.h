// The register editor: registers of PEs drawn with their bit fields on a page, read from the
// hardware (upload) and written to it (download) one at a time or all together, one field edited
// in place, and what is written recorded as a simple script. The work itself is the register
// library's (CRegisterAccess); this window shows it and takes the person's input.
#pragma once

#include "RegisterAccess.h"

#include "WatchMonitor.h"

#include <QMainWindow>
#include <QPointer>
#include <QWidget>

#include <functional>
#include <vector>

class CNetworkDocument;
struct SRegisterValue;
class QAction;
class QComboBox;
class QLineEdit;
class QScrollArea;

// The page of the editor, in units of one pixel: 910 wide, eight bits a row, 100 a bit and 50 a
// row. A register takes its header of 36 and 50 for each eight bits; one collapsed to its title
// takes 20.
namespace RegisterPage
{
constexpr int kWidth = 910;
constexpr int kBitsPerRow = 8;
constexpr int kBitWidth = 100;
constexpr int kRowHeight = 50;
constexpr int kHeaderHeight = 36;
constexpr int kCollapsedHeight = 20;
// The bits sit in the middle of the page.
constexpr int kLeft = (kWidth - kBitsPerRow * kBitWidth) / 2;
// Each row: the bit numbers, then the field boxes below them.
constexpr int kBitNumberHeight = 14;
constexpr int kTitleHeight = 20;
} // namespace RegisterPage

// The number base's tail for a value: "h", "d" or "b" when the value is 2 or more, else none.
QString RegisterValueTail(uint64_t ulValue, int eDisplayBase);
// A field's value as the editor shows it, with its tail.
QString RegisterFieldValueText(uint64_t ulValue, int eDisplayBase);

class CRegisterDlg;

// The drawing of the editor's registers, one block per register under each other.
class CRegisterChildView : public QWidget
{
    Q_OBJECT

public:
    explicit CRegisterChildView(CRegisterDlg& dialog, QWidget* pParent = nullptr);

    // Geometry, in the view's own coordinates.
    int ItemTop(int iItem) const;
    int ItemHeight(int iItem) const;
    int TotalHeight() const;
    QRect ItemRect(int iItem) const;
    QRect TitleRect(int iItem) const;
    // The box of one bit, and the boxes of a field: one per row it spans.
    QRect BitRect(int iItem, int iBit) const;
    std::vector<QRect> FieldRects(int iItem, int iField) const;
    // The box among a field's that holds its text: the widest, the first of equals.
    QRect FieldTextRect(int iItem, int iField) const;

    // Texts as drawn.
    QString NodeText(int iItem) const;
    QString NameText(int iItem) const;
    // "= 0x%08X" with the stored value, or empty without one.
    QString ValueText(int iItem) const;
    QString AddressText(int iItem) const;
    // The number of a bit as the register file numbers it.
    QString BitNumberText(int iItem, int iBit) const;
    // "%s [%s]\n<value><tail>": the field's name, its bit range "%02d:%02d" as the register file
    // numbers bits, and its value in the display base (no value line without a stored value).
    QString FieldText(int iItem, int iField) const;
    // The first line of a field's text as its box shows it, and the font it is drawn in: the
    // whole line where it fits, else the name alone, else the name cut short.
    QString DrawnNameLine(int iItem, int iField, QFont* pFont) const;

    // What lies at a point: the item and field (-1 for none), and whether it is the title line.
    struct SHit
    {
        int iItem = -1;
        int iField = -1;
        bool bTitle = false;
        bool bToggle = false; // the collapse box of the title
    };
    SHit HitTest(const QPoint& at) const;

    // Sets the height from the items; call after they change.
    void UpdateSize();

signals:
    void fieldClicked(int iItem, int iField);
    void itemClicked(int iItem);
    void toggleClicked(int iItem);
    void popupRequested(int iItem, int iField, const QPoint& globalAt);

protected:
    void paintEvent(QPaintEvent* pEvent) override;
    void mousePressEvent(QMouseEvent* pEvent) override;
    void mouseDoubleClickEvent(QMouseEvent* pEvent) override;
    void contextMenuEvent(QContextMenuEvent* pEvent) override;
    bool event(QEvent* pEvent) override;

private:
    void PaintItem(QPainter& painter, int iItem) const;
    void PaintField(QPainter& painter, int iItem, int iField) const;
    int Rows(int iItem) const;

    CRegisterDlg& m_dialog;
};

class CRegisterDlg : public QMainWindow
{
    Q_OBJECT

public:
    CRegisterDlg(CNetworkDocument& document, QWidget* pParent = nullptr);
    ~CRegisterDlg() override;

    // Adds the registers of a PE's block (one set of it, or the block alone for iSet -1), or only
    // its register iRegister when that is 0 or more. bClear starts the view anew. With an open
    // link each register is offered for upload ("Upload this register?", key UploadEditRegs).
    // False when the register file or the block can't be had (already shown).
    bool AddRegisters(CPEPrimitive& pe, const QString& strBlock, int iSet, int eType, int iRegister = -1,
                      bool bClear = true);
    // Drops the items whose PE is no longer the document's PE of that node (the map changed);
    // true when any was dropped.
    bool DropStaleItems();

    const std::vector<RegisterItem>& Items() const { return m_Items; }
    bool IsCollapsed(int iItem) const;
    void SetCollapsed(int iItem, bool bCollapsed);
    int CurrentItem() const { return m_iCurrent; }
    void SetCurrentItem(int iItem);
    // The stored value of an item, or null.
    const SRegisterValue* StoredValue(int iItem) const;

    // One register and all of them, read or written.
    bool UploadRegister(int iItem);
    bool DownloadRegister(int iItem);
    int UploadAll();
    int DownloadAll();

    // Hex, Decimal, Binary of the View menu.
    void SetDisplayBase(int eBase);
    int DisplayBase() const { return m_eDisplayBase; }
    // Whether fields that are read-only may be edited too.
    void SetEditReadOnly(bool bEdit) { m_bEditReadOnly = bEdit; }

    // Recording of what is written. Stopping shows what was recorded in a box titled "Transaction
    // Log" and hands it to the script editor, when there is one.
    void StartRecording();
    void PauseRecording();
    void ResumeRecording();
    void StopRecording();
    CRegisterAccess& Access() { return m_access; }

    // Field editing: opens the edit of a field (false when the field may not be edited), commits
    // it as Enter does (false keeps it open), or drops it as Escape does.
    bool BeginEdit(int iItem, int iField);
    bool CommitEdit();
    void CancelEdit();
    bool EditOpen() const { return m_bEditOpen; }
    int EditItem() const { return m_iEditItem; }
    int EditField() const { return m_iEditField; }
    QLineEdit* EditLine() const { return m_pEdit; }
    QComboBox* EditCombo() const { return m_pCombo; }

    // Hands a register (iField -1) or a field to the watch window.
    void AddToWatch(int iItem, int iField);

    // Enables the commands that need the target as the link is open or not.
    void UpdateActions();

    CRegisterChildView* View() const { return m_pView; }
    QScrollArea* ScrollArea() const { return m_pScroll; }
    QAction* BaseAction(int eBase) const;

    // Opens the simple-script window on a recorded text, aimed at the PE the editor shows (its
    // first register's); installed by the window that has one.
    using ScriptEditorOpener =
        std::function<void(QWidget* pParent, CPEPrimitive* pPE, const QString& strScript)>;
    static void SetScriptEditorOpener(ScriptEditorOpener opener);
    static const ScriptEditorOpener& InstalledScriptEditorOpener();

signals:
    // Register values of the map were read, written or edited here.
    void valuesChanged();
    // "Add to Watch" on a register with a stored value.
    void watchRequested(const SWatchRequest& request);

protected:
    bool eventFilter(QObject* pObject, QEvent* pEvent) override;

private:
    void BuildMenus();
    void UpdateTitle();
    void Redraw();
    void OnPopup(int iItem, int iField, const QPoint& globalAt);
    void OnComboChosen(int iIndex);
    bool LinkOpen() const;

    CNetworkDocument& m_document;
    CRegisterAccess m_access;
    std::vector<RegisterItem> m_Items;
    std::vector<bool> m_Collapsed;
    int m_iCurrent = -1;
    int m_eDisplayBase = 16;
    bool m_bEditReadOnly = false;
    int m_nUploadAll = 0; // an answer to "Upload this register?" for the rest of one opening
    bool m_bEditOpen = false;
    int m_iEditItem = -1;
    int m_iEditField = -1;

    CRegisterChildView* m_pView = nullptr;
    QScrollArea* m_pScroll = nullptr;
    QLineEdit* m_pEdit = nullptr;
    QComboBox* m_pCombo = nullptr;
    QAction* m_pHex = nullptr;
    QAction* m_pDecimal = nullptr;
    QAction* m_pBinary = nullptr;
    QAction* m_pEditReadOnly = nullptr;
    QAction* m_pRecord = nullptr;
    QAction* m_pPause = nullptr;
    QAction* m_pStop = nullptr;
    std::vector<QAction*> m_TargetActions; // offered while a link is open
};

// Opens the editor on an item of a PE's register tree: one register, the registers of a set, or
// those of a block (all its sets). bClear starts the editor anew.
bool EditRegisterTreeItem(CRegisterDlg& dialog, CPEPrimitive& pe, int iTreeItem, bool bClear = true);
// "Edit All Like This Register": the register at that place of the tree in every set of its block,
// on every PE of the map of the same device, in node order. Returns the number of registers shown.
int EditAllLikeThis(CRegisterDlg& dialog, CNetworkDocument& document, const CPEPrimitive& pe, int iTreeItem);
