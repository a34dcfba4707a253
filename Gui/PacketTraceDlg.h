#pragma once
// The trace and filter window of an IDT Gen2 switch ("Packet Trace / Filter"): the trace port and
// routing mode, the Enable matrix of trace, filter and port-write checks per port, Play, Pause and
// Stop, and two tabs: the comparators' settings (a template packet with its compare and mask rows,
// hex editors for its data, a binary editor of the first 20 bytes) and the packet counters.

#include "PacketGenDlg.h"
#include "PacketTrace.h"
#include "PacketTraceCapture.h"

#include <QWidget>

#include <array>
#include <memory>
#include <vector>

class QButtonGroup;
class QCheckBox;
class QComboBox;
class QLabel;
class QLineEdit;
class QPushButton;
class QTabWidget;
class QTimer;

// The comparator's template packet with a "Compare" and a "Mask" row; fields are counted from the
// start of the packet and those past the first 160 bits read "Excluded".
class IDT_Gen2_PacketTraceGrid : public CPacketGrid
{
    Q_OBJECT
public:
    explicit IDT_Gen2_PacketTraceGrid(QWidget* pParent = nullptr);
    void Rebuild() override;

private:
    void OnEdited(int iRow, int iColumn, const QString& strText);
    void OnOption(int iRow, int iColumn, int iIndex);
};

// The heading of a field in the template grid, by where its bits lie: "%s\n[%d]" within the first
// 160 bits, "%s\n[%d(%d)]" across bit 160, "%s\n[%d(0)]" behind it. nStartBit is the field's
// first bit in the stream.
QString TraceFieldHeading(const QString& strCaption, int nBits, int nStartBit, bool bInPacket);

// "Comparator Settings".
class CIDT_Gen2_PacketTraceCfgDlg : public QWidget
{
    Q_OBJECT
public:
    CIDT_Gen2_PacketTraceCfgDlg(CPacketTrace& trace, QWidget* pParent = nullptr);
    IDT_Gen2_PacketTraceGrid* Grid() const { return m_pGrid; }
    QComboBox* ComparatorBox() const { return m_pComparator; }
    QCheckBox* EnabledBox() const { return m_pEnabled; }
    QLineEdit* BinaryBox(int nByte, bool bMask) const;
    QPushButton* ArmedUpdateButton() const { return m_pArmedUpdate; }
    int Comparator() const { return m_nComparator; }
    // Loads a comparator's buffers into the template.
    void SelectComparator(int c);
    // "Update" by the binary editor: the 20 pairs go into the comparator's buffers.
    void TakeBinary();
    // Shows the armed "Update" while a comparator waits to be sent.
    void RefreshArmed();

signals:
    // A comparator's enable changed (the matrix rows follow it).
    void ComparatorEnabledChanged();

private:
    void StoreTemplate();
    void ShowTemplate();
    void TakeHexEditors();

    CPacketTrace& m_trace;
    int m_nComparator = 0;
    bool m_bLoading = false;
    QComboBox* m_pComparator = nullptr;
    QCheckBox* m_pEnabled = nullptr;
    IDT_Gen2_PacketTraceGrid* m_pGrid = nullptr;
    QButtonGroup* m_pAddressBits = nullptr;
    CHexEditor* m_pCompareData = nullptr;
    CHexEditor* m_pMaskData = nullptr;
    std::array<QLineEdit*, kTraceCompareBytes> m_apCompare{};
    std::array<QLineEdit*, kTraceCompareBytes> m_apMask{};
    QPushButton* m_pArmedUpdate = nullptr;
};

// "Packet Counters".
class CIDT_Gen2_PacketTraceRunDlg : public QWidget
{
    Q_OBJECT
public:
    CIDT_Gen2_PacketTraceRunDlg(CPacketTrace& trace, QWidget* pParent = nullptr);
    QPushButton* CounterButton(int nRow, int nPort) const;
    QPushButton* RowButton(int nRow) const { return m_apRows[static_cast<size_t>(nRow)]; }
    QPushButton* PortButton(int nPort) const { return m_apPorts[static_cast<size_t>(nPort)]; }
    // Shows the totals and which counters count.
    void Refresh();

private:
    CPacketTrace& m_trace;
    std::array<std::array<QPushButton*, kTraceMaxPorts>, kTraceCounterRows> m_apCounters{};
    std::array<QPushButton*, kTraceCounterRows> m_apRows{};
    std::array<QPushButton*, kTraceMaxPorts> m_apPorts{};
};

class CIDT_Gen2_PacketTraceTabDlg : public QWidget
{
    Q_OBJECT
public:
    // The window of node iNode: the one open for it, raised, or a new one. Null when the PE isn't
    // one of the Gen2 switches.
    static CIDT_Gen2_PacketTraceTabDlg* Open(CNetworkDocument& document, int iNode,
                                             QWidget* pParent = nullptr);
    static CIDT_Gen2_PacketTraceTabDlg* Find(int iNode);
    ~CIDT_Gen2_PacketTraceTabDlg() override;

    CPacketTrace& Trace() { return m_trace; }
    CIDT_Gen2_PacketTraceCfgDlg* CfgTab() const { return m_pCfg; }
    CIDT_Gen2_PacketTraceRunDlg* RunTab() const { return m_pRun; }
    QTabWidget* Tabs() const { return m_pTabs; }
    QComboBox* TracePortBox() const { return m_pTracePort; }
    QCheckBox* EnableBox(int nRow, int nPort) const;
    QPushButton* PlayButton() const { return m_pPlay; }
    QPushButton* PauseButton() const { return m_pPause; }
    QPushButton* StopButton() const { return m_pStop; }
    QCheckBox* CaptureBox() const { return m_pCapture; }
    QTimer* Timer() const { return m_pTimer; }
    // Packets the trace port's capture caught (with "Capture traced packets" on while playing).
    const std::vector<std::vector<uint8_t>>& Captured() const { return m_captured; }

    void Play();
    void Pause();
    void Stop();
    // The one-second timer.
    void OnTick();
    // "Save Capture...": the captured packets as a pcap file.
    void SaveCapture();

private:
    CIDT_Gen2_PacketTraceTabDlg(CNetworkDocument& document, int iNode, QWidget* pParent);
    void RefreshMatrix();
    void RefreshState();
    void DrainCapture();
    void EndCapture();

    CTargetGen2Access m_access;
    CPacketTrace m_trace;
    CTraceCapture m_capture;
    std::vector<std::vector<uint8_t>> m_captured;
    QComboBox* m_pTracePort = nullptr;
    QButtonGroup* m_pRouting = nullptr;
    std::array<std::array<QCheckBox*, kTraceMaxPorts>, kTraceRows> m_apEnable{};
    std::array<QLabel*, kTraceMaxPorts> m_apPortLabels{};
    QPushButton* m_pPlay = nullptr;
    QPushButton* m_pPause = nullptr;
    QPushButton* m_pStop = nullptr;
    QCheckBox* m_pCapture = nullptr;
    QLabel* m_pState = nullptr;
    QTabWidget* m_pTabs = nullptr;
    CIDT_Gen2_PacketTraceCfgDlg* m_pCfg = nullptr;
    CIDT_Gen2_PacketTraceRunDlg* m_pRun = nullptr;
    QTimer* m_pTimer = nullptr;
};

// The PE pop-up's "Packet Trace/Filter..." on a Gen2 switch.
void InstallPacketTraceCommands(CMainFrameCore& frame, QWidget* pParent);
