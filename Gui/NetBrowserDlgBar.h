// The network browser, "Active Network Browser": a docked tree of the map's PEs with their
// registers, routing tables, multicast data and port settings. A PE's branch is filled when it
// is first opened.
#pragma once

#include "MainFrameCore.h"
#include "NetBrowser.h"

#include <QDockWidget>

class QTreeWidget;
class QTreeWidgetItem;

class CNetBrowserDlgBar : public QDockWidget
{
    Q_OBJECT

public:
    CNetBrowserDlgBar(CMainFrameCore& core, QWidget* pParent = nullptr);

    // Fills the tree from the document.
    void Rebuild(const CNetworkDocument& document);
    // The registers whose boxes are checked, in tree order.
    std::vector<SCheckedRegister> GetCheckedRegisters() const;
    QTreeWidget* Tree() const { return m_pTree; }
    // Opens a PE's branch (building it) and returns its item, or null.
    QTreeWidgetItem* ExpandNode(int iNode);

signals:
    void commandChosen(ECommand eCommand, const SCommandContext& context);

private:
    void Fill(QTreeWidgetItem* pParent, const std::vector<SBrowserItem>& items);
    void OnExpanded(QTreeWidgetItem* pItem);
    void OnDoubleClicked(QTreeWidgetItem* pItem);
    void OnContextMenu(const QPoint& at);

    CMainFrameCore& m_core;
    QTreeWidget* m_pTree = nullptr;
};
