// The health monitor in the window: the main frame's CNetworkValidation, driven by its timer, with
// the map window as what it redraws. It carries out "System Health Monitoring" (on and off) and
// "Validate Network", stops when the target is disconnected, and keeps watching the map it is
// given when that map is replaced.
#pragma once

#include "MapCommands.h"
#include "NetworkValidation.h"

#include <QPointer>

class CChildView;
class CMainFrameCore;
class QAction;
class QStatusBar;

class CHealthMonitor : public INetworkValidationView
{
public:
    CHealthMonitor(CMainFrameCore& core, CChildView& view, QStatusBar& statusBar);

    // Installs the two commands on the frame; pToggle is the menu's check item, kept in step.
    void Install(QAction* pToggle);
    // The frame tells it of a connection that came or went, and of a map that changed.
    void ConnectionChanged(bool bConnected);
    void MapChanged();

    CNetworkValidation& Validation() { return m_validation; }

    // INetworkValidationView: the colours of the items that changed, and the status bar.
    void RefreshPE(const CPEPrimitive& pe) override;
    void RefreshConnection(const CConnectionPrimitive& connection) override;
    void Repaint() override;
    void ShowStatusText(const QString& strText) override;

private:
    void Toggle();
    void Validate();
    // Hands the active map's lists to the monitor, which resets every PE's state.
    void InitLists();
    void ShowRunning(bool bRunning);

    CMainFrameCore& m_core;
    CChildView& m_view;
    QStatusBar& m_statusBar;
    QPointer<QAction> m_pToggle;
    CNetworkValidation m_validation;
    int m_nPEsSeen = -1; // PEs of the map when the lists were handed over
};
