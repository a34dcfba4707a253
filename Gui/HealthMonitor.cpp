#include "HealthMonitor.h"

#include "ChildView.h"
#include "MainFrameCore.h"
#include "MapScene.h"

#include <QAction>
#include <QStatusBar>

CHealthMonitor::CHealthMonitor(CMainFrameCore& core, CChildView& view, QStatusBar& statusBar)
    : m_core(core), m_view(view), m_statusBar(statusBar)
{
    m_validation.onRunningChanged = [this](bool bRunning) { ShowRunning(bRunning); };
}

void CHealthMonitor::Install(QAction* pToggle)
{
    m_pToggle = pToggle;
    if (m_pToggle)
    {
        m_pToggle->setCheckable(true);
    }
    m_core.SetCommandHandler(eCmdHealthMonitoring, [this](const SCommandContext&) { Toggle(); });
    m_core.SetCommandHandler(eCmdValidateNetwork, [this](const SCommandContext&) { Validate(); });
}

void CHealthMonitor::InitLists()
{
    CNetworkDocument& document = m_core.Document();
    m_validation.Init(this, &document.ActivePEs, &document.ActiveConnections);
    m_nPEsSeen = document.ActivePEs.GetCount();
    m_view.Rebuild();
}

void CHealthMonitor::Toggle()
{
    if (m_validation.IsRunning())
    {
        m_validation.Stop();
        ShowRunning(false);
        return;
    }
    InitLists();
    m_validation.Start();
}

void CHealthMonitor::Validate()
{
    if (!m_validation.IsRunning())
    {
        InitLists();
    }
    m_validation.ValidateNetwork(true);
}

void CHealthMonitor::ConnectionChanged(bool bConnected)
{
    // The states found stay on the map; only the reading stops.
    if (!bConnected && m_validation.IsRunning())
    {
        m_validation.Stop();
        ShowRunning(false);
    }
}

void CHealthMonitor::MapChanged()
{
    // A map loaded or discovered while the monitor runs is taken up from its first PE; an edit of
    // the same map leaves the states found so far.
    if (m_validation.IsRunning() && m_core.Document().ActivePEs.GetCount() != m_nPEsSeen)
    {
        InitLists();
        m_validation.Start();
    }
}

void CHealthMonitor::ShowRunning(bool bRunning)
{
    if (m_pToggle)
    {
        m_pToggle->setChecked(bRunning);
    }
    if (!bRunning)
    {
        m_statusBar.clearMessage();
    }
}

void CHealthMonitor::RefreshPE(const CPEPrimitive& pe)
{
    // The template map is drawn from other records: the active map's states don't show on it.
    if (!m_core.Document().bShowTemplate)
    {
        m_view.MapScene()->RefreshHealth(pe, m_view.Options());
    }
}

void CHealthMonitor::RefreshConnection(const CConnectionPrimitive& connection)
{
    const CNetworkDocument& document = m_core.Document();
    if (document.bShowTemplate)
    {
        return;
    }
    bool bToNothing = false;
    for (const int iNode : {connection.iPE1, connection.iPE2})
    {
        const CPEPrimitive* pEnd = document.ActivePEs.GetByNodeNumber(iNode);
        bToNothing = bToNothing || (pEnd && (pEnd->uType & kPETypeNull));
    }
    m_view.MapScene()->RefreshHealth(connection, m_view.Options(), bToNothing);
}

void CHealthMonitor::Repaint()
{
    // The items that changed have asked for their own areas to be painted; nothing else is.
}

void CHealthMonitor::ShowStatusText(const QString& strText)
{
    m_statusBar.showMessage(strText);
}
