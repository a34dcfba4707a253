// The network browser, "Active Network Browser": a docked tree of the map's PEs with their
// registers, routing tables, multicast data and port settings. A PE's branch is filled when it
// is first opened.
#pragma once

#include "MainFrameCore.h"
#include "NetBrowser.h"
#include "RegisterSearch.h"

#include <QDockWidget>

#include <set>

class QTreeWidget;
class QTreeWidgetItem;

class CNetBrowserDlgBar : public QDockWidget
{
    Q_OBJECT

public:
    CNetBrowserDlgBar(CMainFrameCore& core, QWidget* pParent = nullptr);

    // Fills the tree from the document. What the person opened, checked and picked stays as it
    // was wherever the new tree has the same items (so register values read since show at once).
    void Rebuild(const CNetworkDocument& document);
    // The registers whose boxes are checked, in tree order.
    std::vector<SCheckedRegister> GetCheckedRegisters() const;
    QTreeWidget* Tree() const { return m_pTree; }
    // The item of a register whose branch is built, or null.
    QTreeWidgetItem* FindRegister(int iNode, uint32_t uOffset) const;
    // Opens a PE's branch (building it) and returns its item, or null.
    QTreeWidgetItem* ExpandNode(int iNode);

    // The register tree item the picked item stands for (a block, a set or a register): its PE's
    // node and its position in the PE's register tree. False for any other item.
    bool CurrentRegisterPlace(int* piNode, int* piTreeItem) const;
    // Picks the item of a place in a PE's register tree, building and opening what leads to it.
    QTreeWidgetItem* SelectRegisterPlace(int iNode, int iTreeItem);
    // Find Next of "Find Registers": the next hit after the picked item, in tree order over every
    // PE (branches never opened included), picked when found. *pstrStatus is the reason when none
    // is found: "Not found.", "No search string provided.", a regular expression's error, or the
    // register library's message.
    bool SearchRegisters(const QString& strText, const SRegisterSearchOptions& options, QString* pstrStatus);

signals:
    void commandChosen(ECommand eCommand, const SCommandContext& context);

private:
    // The person's view of the tree, by item paths that survive a rebuild.
    struct SState
    {
        std::set<QString> expanded;
        std::set<QString> checked; // "node:place in the register tree" of checked registers
        std::set<int> checkedNodes;
        QString strCurrent;
        int iCurrentNode = -1;
        int iScroll = 0;
    };
    SState SaveState() const;
    void RestoreState(const SState& state);
    // Builds the items under a PE's node, once.
    void BuildBranch(QTreeWidgetItem* pItem);
    void Fill(QTreeWidgetItem* pParent, const std::vector<SBrowserItem>& items);
    void OnExpanded(QTreeWidgetItem* pItem);
    void OnDoubleClicked(QTreeWidgetItem* pItem);
    void OnContextMenu(const QPoint& at);

    CMainFrameCore& m_core;
    QTreeWidget* m_pTree = nullptr;
};
