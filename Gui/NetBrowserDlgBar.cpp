#include "NetBrowserDlgBar.h"

#include "MenuBuilder.h"

#include <QHeaderView>
#include <QMenu>
#include <QScrollBar>
#include <QTreeWidget>
#include <QTreeWidgetItemIterator>

#include <limits>

namespace
{
// Where an item keeps what it stands for.
constexpr int kKindRole = Qt::UserRole;
constexpr int kNodeRole = Qt::UserRole + 1;
constexpr int kOffsetRole = Qt::UserRole + 2;
constexpr int kLazyRole = Qt::UserRole + 3;
// What names an item across rebuilds: its kind, its PE and what it stands for, not its text, which
// changes with a register's value.
constexpr int kKeyRole = Qt::UserRole + 4;
// A block's, set's or register's position in its PE's register tree; -1 for other items.
constexpr int kTreeRole = Qt::UserRole + 5;
constexpr QChar kPathSeparator = QChar(0x1F);

QString ItemKey(const SBrowserItem& item)
{
    switch (item.eKind)
    {
    case eBrowsePE:
        return QStringLiteral("%1:%2").arg(item.eKind).arg(item.iNode);
    case eBrowseRegister:
        // Registers of two blocks may share an offset: the place in the register tree tells them
        // apart.
        return QStringLiteral("%1:%2:%3").arg(item.eKind).arg(item.iNode).arg(item.iTreeItem);
    case eBrowseTable:
        return QStringLiteral("%1:%2:%3").arg(item.eKind).arg(item.iNode).arg(item.iTableSlot);
    default:
        return QStringLiteral("%1:%2:%3").arg(item.eKind).arg(item.iNode).arg(item.strText);
    }
}

QString ItemPath(const QTreeWidgetItem* pItem)
{
    QStringList keys;
    for (; pItem; pItem = pItem->parent())
    {
        keys.prepend(pItem->data(0, kKeyRole).toString());
    }
    return keys.join(kPathSeparator);
}

QString RegisterKey(const QTreeWidgetItem* pItem)
{
    return QStringLiteral("%1:%2")
        .arg(pItem->data(0, kNodeRole).toInt())
        .arg(pItem->data(0, kTreeRole).toInt());
}

void CollectChecked(const QTreeWidgetItem* pItem, std::vector<SCheckedRegister>* pChecked)
{
    if (pItem->data(0, kKindRole).toInt() == eBrowseRegister && pItem->checkState(0) == Qt::Checked)
    {
        pChecked->push_back({pItem->data(0, kNodeRole).toInt(), pItem->data(0, kOffsetRole).toUInt()});
    }
    for (int i = 0; i < pItem->childCount(); ++i)
    {
        CollectChecked(pItem->child(i), pChecked);
    }
}
} // namespace

CNetBrowserDlgBar::CNetBrowserDlgBar(CMainFrameCore& core, QWidget* pParent)
    : QDockWidget(QStringLiteral("Active Network Browser"), pParent), m_core(core),
      m_pTree(new QTreeWidget(this))
{
    setObjectName(QStringLiteral("NetworkBrowser"));
    m_pTree->setHeaderHidden(true);
    m_pTree->setContextMenuPolicy(Qt::CustomContextMenu);
    m_pTree->setUniformRowHeights(true);
    // Long register names scroll sideways rather than being cut.
    m_pTree->header()->setSectionResizeMode(QHeaderView::ResizeToContents);
    m_pTree->header()->setStretchLastSection(false);
    setWidget(m_pTree);
    connect(m_pTree, &QTreeWidget::itemExpanded, this, &CNetBrowserDlgBar::OnExpanded);
    connect(m_pTree, &QTreeWidget::itemDoubleClicked, this, &CNetBrowserDlgBar::OnDoubleClicked);
    connect(m_pTree, &QTreeWidget::customContextMenuRequested, this, &CNetBrowserDlgBar::OnContextMenu);
}

void CNetBrowserDlgBar::Fill(QTreeWidgetItem* pParent, const std::vector<SBrowserItem>& items)
{
    QList<QTreeWidgetItem*> made;
    made.reserve(static_cast<qsizetype>(items.size()));
    for (const SBrowserItem& item : items)
    {
        auto* pItem = new QTreeWidgetItem(QStringList(item.strText));
        pItem->setData(0, kKindRole, static_cast<int>(item.eKind));
        pItem->setData(0, kNodeRole, item.iNode);
        pItem->setData(0, kOffsetRole, item.uOffset);
        pItem->setData(0, kKeyRole, ItemKey(item));
        pItem->setData(0, kTreeRole, item.iTreeItem);
        if (item.bCheckable)
        {
            pItem->setCheckState(0, Qt::Unchecked);
        }
        if (item.bHasLazyChildren)
        {
            pItem->setData(0, kLazyRole, true);
            pItem->setChildIndicatorPolicy(QTreeWidgetItem::ShowIndicator);
        }
        Fill(pItem, item.children);
        made.push_back(pItem);
    }
    if (pParent)
    {
        pParent->addChildren(made);
    }
    else
    {
        m_pTree->addTopLevelItems(made);
    }
}

CNetBrowserDlgBar::SState CNetBrowserDlgBar::SaveState() const
{
    SState state;
    std::vector<const QTreeWidgetItem*> pending;
    for (int i = 0; i < m_pTree->topLevelItemCount(); ++i)
    {
        pending.push_back(m_pTree->topLevelItem(i));
    }
    while (!pending.empty())
    {
        const QTreeWidgetItem* pItem = pending.back();
        pending.pop_back();
        if (pItem->isExpanded())
        {
            state.expanded.insert(ItemPath(pItem));
        }
        if (pItem->data(0, kKindRole).toInt() == eBrowseRegister && pItem->checkState(0) == Qt::Checked)
        {
            state.checked.insert(RegisterKey(pItem));
            state.checkedNodes.insert(pItem->data(0, kNodeRole).toInt());
        }
        for (int i = 0; i < pItem->childCount(); ++i)
        {
            pending.push_back(pItem->child(i));
        }
    }
    if (const QTreeWidgetItem* pCurrent = m_pTree->currentItem())
    {
        state.strCurrent = ItemPath(pCurrent);
        state.iCurrentNode = pCurrent->data(0, kNodeRole).toInt();
    }
    state.iScroll = m_pTree->verticalScrollBar()->value();
    return state;
}

void CNetBrowserDlgBar::RestoreState(const SState& state)
{
    QTreeWidgetItem* pCurrent = nullptr;
    std::vector<QTreeWidgetItem*> pending;
    for (int i = 0; i < m_pTree->topLevelItemCount(); ++i)
    {
        QTreeWidgetItem* pItem = m_pTree->topLevelItem(i);
        const int iNode = pItem->data(0, kNodeRole).toInt();
        // A PE with checked registers, or with the picked item, has its branch built even when
        // it is closed, so that the checks and the pick come back.
        if (state.checkedNodes.count(iNode) != 0 || iNode == state.iCurrentNode)
        {
            BuildBranch(pItem);
        }
        pending.push_back(pItem);
    }
    while (!pending.empty())
    {
        QTreeWidgetItem* pItem = pending.back();
        pending.pop_back();
        const QString strPath = ItemPath(pItem);
        if (state.expanded.count(strPath) != 0)
        {
            pItem->setExpanded(true);
        }
        if (pItem->data(0, kKindRole).toInt() == eBrowseRegister &&
            pItem->flags() & Qt::ItemIsUserCheckable && state.checked.count(RegisterKey(pItem)) != 0)
        {
            pItem->setCheckState(0, Qt::Checked);
        }
        if (!state.strCurrent.isEmpty() && strPath == state.strCurrent)
        {
            pCurrent = pItem;
        }
        for (int i = 0; i < pItem->childCount(); ++i)
        {
            pending.push_back(pItem->child(i));
        }
    }
    if (pCurrent)
    {
        m_pTree->setCurrentItem(pCurrent);
    }
    m_pTree->verticalScrollBar()->setValue(state.iScroll);
}

void CNetBrowserDlgBar::Rebuild(const CNetworkDocument& document)
{
    const SState state = SaveState();
    m_pTree->clear();
    Fill(nullptr, BrowserPEItems(document));
    RestoreState(state);
}

void CNetBrowserDlgBar::OnExpanded(QTreeWidgetItem* pItem)
{
    BuildBranch(pItem);
}

void CNetBrowserDlgBar::BuildBranch(QTreeWidgetItem* pItem)
{
    if (!pItem->data(0, kLazyRole).toBool())
    {
        return;
    }
    pItem->setData(0, kLazyRole, false);
    const CPEPrimitive* pPE =
        m_core.Document().pCurrentPEs->GetByNodeNumber(pItem->data(0, kNodeRole).toInt());
    if (pPE)
    {
        Fill(pItem, BrowserPEChildren(*pPE));
    }
}

QTreeWidgetItem* CNetBrowserDlgBar::ExpandNode(int iNode)
{
    for (int i = 0; i < m_pTree->topLevelItemCount(); ++i)
    {
        QTreeWidgetItem* pItem = m_pTree->topLevelItem(i);
        if (pItem->data(0, kNodeRole).toInt() == iNode)
        {
            pItem->setExpanded(true);
            return pItem;
        }
    }
    return nullptr;
}

QTreeWidgetItem* CNetBrowserDlgBar::FindRegister(int iNode, uint32_t uOffset) const
{
    for (QTreeWidgetItemIterator it(m_pTree); *it; ++it)
    {
        if ((*it)->data(0, kKindRole).toInt() == eBrowseRegister &&
            (*it)->data(0, kNodeRole).toInt() == iNode && (*it)->data(0, kOffsetRole).toUInt() == uOffset)
        {
            return *it;
        }
    }
    return nullptr;
}

std::vector<SCheckedRegister> CNetBrowserDlgBar::GetCheckedRegisters() const
{
    std::vector<SCheckedRegister> checked;
    for (int i = 0; i < m_pTree->topLevelItemCount(); ++i)
    {
        CollectChecked(m_pTree->topLevelItem(i), &checked);
    }
    return checked;
}

void CNetBrowserDlgBar::OnDoubleClicked(QTreeWidgetItem* pItem)
{
    SCommandContext context;
    context.iNode = pItem->data(0, kNodeRole).toInt();
    switch (pItem->data(0, kKindRole).toInt())
    {
    case eBrowseRegister:
    case eBrowseBlock:
    case eBrowseRegisterSet:
        m_pTree->setCurrentItem(pItem);
        emit commandChosen(eCmdEditRegister, context);
        break;
    case eBrowseTable:
        emit commandChosen(eCmdTableEdit, context);
        break;
    case eBrowseMulticast:
    case eBrowseMask:
        context.bFromBrowser = true;
        emit commandChosen(eCmdMulticastConfigure, context);
        break;
    default:
        break;
    }
}

void CNetBrowserDlgBar::OnContextMenu(const QPoint& at)
{
    QTreeWidgetItem* pItem = m_pTree->itemAt(at);
    if (!pItem || pItem->data(0, kTreeRole).toInt() < 0)
    {
        return;
    }
    m_pTree->setCurrentItem(pItem);
    SCommandContext context;
    context.iNode = pItem->data(0, kNodeRole).toInt();
    QMenu menu(this);
    const bool bConnected = m_core.IsConnected();
    const bool bRegister = pItem->data(0, kKindRole).toInt() == eBrowseRegister;
    AddMenuItems(&menu, RegisterPopupMenu(),
                 [bConnected, bRegister](QAction* pAction, const SMenuItem& item)
                 {
                     pAction->setEnabled((!item.bNeedsTarget || bConnected) &&
                                         (bRegister || item.eCommand != eCmdEditAllLikeThis));
                 });
    if (QAction* pChosen = menu.exec(m_pTree->viewport()->mapToGlobal(at)))
    {
        emit commandChosen(ActionCommand(pChosen), context);
    }
}

bool CNetBrowserDlgBar::CurrentRegisterPlace(int* piNode, int* piTreeItem) const
{
    const QTreeWidgetItem* pItem = m_pTree->currentItem();
    if (!pItem || pItem->data(0, kTreeRole).toInt() < 0)
    {
        return false;
    }
    *piNode = pItem->data(0, kNodeRole).toInt();
    *piTreeItem = pItem->data(0, kTreeRole).toInt();
    return true;
}

QTreeWidgetItem* CNetBrowserDlgBar::SelectRegisterPlace(int iNode, int iTreeItem)
{
    QTreeWidgetItem* pPEItem = nullptr;
    for (int i = 0; i < m_pTree->topLevelItemCount() && !pPEItem; ++i)
    {
        if (m_pTree->topLevelItem(i)->data(0, kNodeRole).toInt() == iNode)
        {
            pPEItem = m_pTree->topLevelItem(i);
        }
    }
    if (!pPEItem)
    {
        return nullptr;
    }
    BuildBranch(pPEItem);
    std::vector<QTreeWidgetItem*> pending{pPEItem};
    while (!pending.empty())
    {
        QTreeWidgetItem* pItem = pending.back();
        pending.pop_back();
        if (pItem->data(0, kTreeRole).toInt() == iTreeItem)
        {
            for (QTreeWidgetItem* pParent = pItem->parent(); pParent; pParent = pParent->parent())
            {
                pParent->setExpanded(true);
            }
            m_pTree->setCurrentItem(pItem);
            m_pTree->scrollToItem(pItem);
            return pItem;
        }
        for (int i = 0; i < pItem->childCount(); ++i)
        {
            pending.push_back(pItem->child(i));
        }
    }
    return nullptr;
}

bool CNetBrowserDlgBar::SearchRegisters(const QString& strText, const SRegisterSearchOptions& options,
                                        QString* pstrStatus)
{
    CRegisterSearch search;
    if (!search.SetPattern(strText, options))
    {
        *pstrStatus = search.Error();
        return false;
    }
    // Where the walk starts: after the picked item. An item of a PE that isn't in its register
    // tree lies before the tree (the PE, its IDs, the "Registers" heading) or after it.
    SRegisterSearchPlace after;
    if (const QTreeWidgetItem* pCurrent = m_pTree->currentItem())
    {
        after.iNode = pCurrent->data(0, kNodeRole).toInt();
        after.iItem = pCurrent->data(0, kTreeRole).toInt();
        if (after.iItem < 0 && pCurrent->parent())
        {
            const QTreeWidgetItem* pBranch = pCurrent;
            while (pBranch->parent() && pBranch->parent()->parent())
            {
                pBranch = pBranch->parent();
            }
            const int eKind = pBranch->data(0, kKindRole).toInt();
            const bool bBefore = eKind == eBrowseText || (eKind == eBrowseRegisters && pBranch == pCurrent);
            after.iItem = bBefore ? -1 : std::numeric_limits<int>::max() - 1;
        }
    }
    SRegisterSearchPlace found;
    if (!search.FindNextInMap(m_core.Document(), after, &found))
    {
        *pstrStatus = search.Error();
        return false;
    }
    if (!SelectRegisterPlace(found.iNode, found.iItem))
    {
        *pstrStatus = QStringLiteral("Can't find next item in tree.");
        return false;
    }
    pstrStatus->clear();
    return true;
}
