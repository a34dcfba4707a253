#pragma once
// The performance monitor window of one PE: four traces, each a counter on a port with its strip
// chart and its rate, an averaging depth shared by the four, and Enable, which drives the
// monitor from a one-second timer. Modeless, one per PE: opening it again shows the one there is.

#include "PerfMonitor.h"

#include <QWidget>

#include <array>
#include <memory>

class COScopeCtrl;
class CMainFrameCore;
class CNetworkDocument;
class QCheckBox;
class QComboBox;
class QLineEdit;
class QPushButton;
class QSpinBox;
class QTimer;

class CPerfMonitorWnd : public QWidget
{
    Q_OBJECT
public:
    // The window of node iNode: the one already open, raised, or a new one. Null (with nothing
    // shown) when the PE has no performance monitor.
    static CPerfMonitorWnd* Open(CNetworkDocument& document, int iNode, QWidget* pParent = nullptr,
                                 IPerfTransport& transport = TargetPerfTransport());
    // The open window of a node, or null.
    static CPerfMonitorWnd* Find(int iNode);

    ~CPerfMonitorWnd() override;

    CPerfMonitor& Monitor() { return *m_pMonitor; }
    COScopeCtrl* Chart(int i) const { return m_traces[static_cast<size_t>(i)].pChart; }
    QComboBox* CounterBox(int i) const { return m_traces[static_cast<size_t>(i)].pCounter; }
    QComboBox* PortBox(int i) const { return m_traces[static_cast<size_t>(i)].pPort; }
    QCheckBox* OnBox(int i) const { return m_traces[static_cast<size_t>(i)].pOn; }
    QLineEdit* RateBox(int i) const { return m_traces[static_cast<size_t>(i)].pRate; }
    QPushButton* EnableButton() const { return m_pEnable; }
    QSpinBox* DepthBox() const { return m_pDepth; }
    QTimer* Timer() const { return m_pTimer; }

    // The timer's tick (tests call it directly).
    void OnTick();
    // "Report": the samples of the traces go into the performance report.
    bool MakeReport();

protected:
    void closeEvent(QCloseEvent* pEvent) override;

private:
    CPerfMonitorWnd(CNetworkDocument& document, int iNode, IPerfTransport& transport, QWidget* pParent);
    void OnEnable(bool bChecked);
    void OnTraceOn(int iTrace, bool bOn);
    void OnRate(int iTrace, double dRate);
    void SwitchedOff();

    struct STraceWidgets
    {
        QCheckBox* pOn = nullptr;
        QComboBox* pCounter = nullptr;
        QComboBox* pPort = nullptr;
        QLineEdit* pRate = nullptr;
        COScopeCtrl* pChart = nullptr;
        double dPeak = 0;
    };

    CNetworkDocument& m_document;
    std::unique_ptr<CPerfMonitor> m_pMonitor;
    std::array<STraceWidgets, kPerfTraces> m_traces;
    QPushButton* m_pEnable = nullptr;
    QSpinBox* m_pDepth = nullptr;
    QTimer* m_pTimer = nullptr;
};

// The PE pop-up's "Performance Monitor..." (IDT table and Tsi57x form): opens or raises the
// node's window.
void InstallPerfMonitorCommands(CMainFrameCore& frame, QWidget* pParent);
