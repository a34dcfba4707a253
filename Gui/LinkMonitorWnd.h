// The link monitor windows: bit error rates, throughput and traffic efficiency of one port of a
// Tsi switch, charted once a second while "Enable" is on. The logic is CLinkMonitor's; the window
// holds the timer, the settings and the charts.
#pragma once

#include "LinkMonitor.h"

#include <QWidget>

#include <vector>

class CMainFrameCore;
class COScopeCtrl;
class QComboBox;
class QDoubleSpinBox;
class QLabel;
class QLineEdit;
class QPushButton;
class QSpinBox;
class QTimer;

class CLinkMonitorWnd : public QWidget
{
    Q_OBJECT
public:
    CLinkMonitorWnd(ELinkMonitorKind eKind, CNetworkDocument& document, ILinkMonitorTransport& transport,
                    int iNode, int iPort, QWidget* pParent = nullptr);
    ~CLinkMonitorWnd() override;

    CLinkMonitor& Monitor() { return m_monitor; }
    COScopeCtrl* Chart(int i) const { return m_charts[static_cast<size_t>(i)]; }
    QPushButton* EnableButton() const { return m_pEnable; }
    QLabel* LinkUseLabel() const { return m_pLinkUse; }
    bool TimerActive() const;

    // The button: "Enable" starts the timer, "Disable" stops it.
    void SetEnabled(bool bEnabled);
    // One second of the timer (tests call it directly).
    void OnTick();
    // The report of what was recorded, into the performance report directory.
    void OnReport();
    // Efficiency: takes the line rate typed (and stores it).
    void OnLineRateOk();

    // The map's file name the report is headed with.
    QString strMapName;

protected:
    void closeEvent(QCloseEvent* pEvent) override;

private:
    void ApplyChartSettings();

    CLinkMonitor m_monitor;
    QTimer* m_pTimer = nullptr;
    QPushButton* m_pEnable = nullptr;
    QSpinBox* m_pDepth = nullptr;
    QComboBox* m_pFirstChoice = nullptr;  // buffer, or read priority
    QComboBox* m_pSecondChoice = nullptr; // write priority
    QLineEdit* m_pLineRate = nullptr;
    QLabel* m_pLinkUse = nullptr;
    std::vector<COScopeCtrl*> m_charts;
    std::vector<QDoubleSpinBox*> m_maxima;
};

// The three commands of the link pop-up on the frame: each opens (or shows again) the window of
// the Tsi switch port at that link.
void InstallLinkMonitorCommands(CMainFrameCore& frame, QWidget* pParent);
