#pragma once
// The packet generator window of an IDT Gen2 switch ("Packet Generation and Capture"): the packet
// in hand as a grid of its fields, its raw bytes and its data in hex editors, a list of packets
// with its file, the scenario and port choices, and "Send Packet". One window per map; opened
// again on another switch it re-targets itself and keeps its list.

#include "PacketGenerator.h"

#include <QPlainTextEdit>
#include <QWidget>

#include <memory>
#include <vector>

#include "GridCtrl.h"

class CMainFrameCore;
class CNetworkDocument;
class CRIOPacket;
class QButtonGroup;
class QCheckBox;
class QComboBox;
class QLabel;
class QLineEdit;
class QListWidget;
class QPushButton;
class QRadioButton;

// A hex editor: bytes as "%02X", nGroup bytes to a group, nColumns groups to a line. What is typed
// is read back as hex digit pairs, other characters skipped.
class CHexEditor : public QPlainTextEdit
{
    Q_OBJECT
public:
    CHexEditor(int nColumns, int nGroup, QWidget* pParent = nullptr);
    void SetBytes(const std::vector<uint8_t>& bytes);
    std::vector<uint8_t> Bytes() const;
    // The size that shows nLines lines of the full width.
    QSize SizeForLines(int nLines) const;

signals:
    // Enter was pressed in the editor.
    void EnterPressed();

protected:
    void keyPressEvent(QKeyEvent* pEvent) override;

private:
    int m_nColumns;
    int m_nGroup;
};

// A grid that shows one packet and owns it; the packet's layout and field changes redraw it.
class CPacketGrid : public CGridCtrl
{
    Q_OBJECT
public:
    explicit CPacketGrid(QWidget* pParent);
    ~CPacketGrid() override;
    CRIOPacket& Packet() { return *m_pPacket; }
    // Shows the packet's fields as they are now.
    virtual void Rebuild() = 0;

signals:
    // A field changed (an edit, a choice, a CRC forced), or the layout did.
    void PacketChanged();

protected:
    std::unique_ptr<CRIOPacket> m_pPacket;
    bool m_bRebuilding = false;

private:
    static void LayoutChanged(void* pArg);
    static void FieldChanged(void* pArg, uint32_t nFieldID);
};

// The grid of the packet in hand: one column per field, its heading "%s\n[%d]" and its value, drop
// lists for fields with options, red for an illegal value. It owns the packet.
class IDT_Gen2_PacketGenGrid : public CPacketGrid
{
    Q_OBJECT
public:
    explicit IDT_Gen2_PacketGenGrid(QWidget* pParent = nullptr);
    void Rebuild() override;

private:
    void OnEdited(int iRow, int iColumn, const QString& strText);
    void OnOption(int iRow, int iColumn, int iIndex);
    void OnDoubleClick(int iRow, int iColumn);
};

class CIDT_Gen2_PacketGenDlg : public QWidget
{
    Q_OBJECT
public:
    // The map's window, re-targeted to node iNode (or a new one). Null when the PE isn't one of the
    // Gen2 switches (nothing happens then).
    static CIDT_Gen2_PacketGenDlg* Open(CNetworkDocument& document, int iNode, QWidget* pParent = nullptr);
    // The open window, or null.
    static CIDT_Gen2_PacketGenDlg* Instance();
    ~CIDT_Gen2_PacketGenDlg() override;

    CPacketGenerator& Generator() { return m_generator; }
    IDT_Gen2_PacketGenGrid* Grid() const { return m_pGrid; }
    CRIOPacket& Packet() { return m_pGrid->Packet(); }
    int Node() const { return m_access.Node(); }
    QListWidget* List() const { return m_pList; }
    CHexEditor* RawEditor() const { return m_pRaw; }
    CHexEditor* DataEditor() const { return m_pData; }
    QLineEdit* FillBox() const { return m_pFill; }
    QComboBox* FlowBox() const { return m_pFlow; }
    QComboBox* StartBox() const { return m_pStart; }
    QComboBox* EndBox() const { return m_pEnd; }
    QComboBox* TestBox() const { return m_pTest; }
    QRadioButton* ScenarioButton(int nScenario) const;
    QRadioButton* AddressBitsButton(int nBits) const;
    QCheckBox* AutoCrcBox() const { return m_pAutoCrc; }
    QPushButton* Button(const QString& strText) const;

    // The commands, as the buttons run them.
    void UpdateFromRaw();
    void UpdateFromData();
    void Randomize();
    void Fill();
    void AddToList();
    void UpdateList();
    void EditSelected();
    void MoveUp();
    void MoveDown();
    void DeleteSelected();
    void SendPacket();
    void OpenFile();
    void SaveFile();

private:
    CIDT_Gen2_PacketGenDlg(CNetworkDocument& document, int iNode, QWidget* pParent);
    void Retarget(int iNode);
    void Refresh();
    void RefreshList(int nSelect);
    void RefreshButtons();
    void TakeChoices();
    int SelectedRow() const;

    CTargetGen2Access m_access;
    CPacketGenerator m_generator;
    IDT_Gen2_PacketGenGrid* m_pGrid = nullptr;
    CHexEditor* m_pRaw = nullptr;
    CHexEditor* m_pData = nullptr;
    QLabel* m_pDataLabel = nullptr;
    QLineEdit* m_pFill = nullptr;
    QPushButton* m_pRandomize = nullptr;
    QPushButton* m_pFillButton = nullptr;
    QPushButton* m_pDataUpdate = nullptr;
    QListWidget* m_pList = nullptr;
    QComboBox* m_pFlow = nullptr;
    QComboBox* m_pStart = nullptr;
    QComboBox* m_pEnd = nullptr;
    QComboBox* m_pTest = nullptr;
    QCheckBox* m_pAutoCrc = nullptr;
    QButtonGroup* m_pScenario = nullptr;
    QButtonGroup* m_pAddressBits = nullptr;
    std::vector<QPushButton*> m_buttons;
};

// The PE pop-up's "Packet Generator..." on a Gen2 switch.
void InstallPacketGenCommands(CMainFrameCore& frame, QWidget* pParent);
