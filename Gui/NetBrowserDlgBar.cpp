#include "NetBrowserDlgBar.h"

#include "MenuBuilder.h"

#include <QHeaderView>
#include <QMenu>
#include <QTreeWidget>

namespace
{
// Where an item keeps what it stands for.
constexpr int kKindRole = Qt::UserRole;
constexpr int kNodeRole = Qt::UserRole + 1;
constexpr int kOffsetRole = Qt::UserRole + 2;
constexpr int kLazyRole = Qt::UserRole + 3;

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

void CNetBrowserDlgBar::Rebuild(const CNetworkDocument& document)
{
    m_pTree->clear();
    Fill(nullptr, BrowserPEItems(document));
}

void CNetBrowserDlgBar::OnExpanded(QTreeWidgetItem* pItem)
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
        emit commandChosen(eCmdEditRegister, context);
        break;
    case eBrowseTable:
        emit commandChosen(eCmdTableEdit, context);
        break;
    default:
        break;
    }
}

void CNetBrowserDlgBar::OnContextMenu(const QPoint& at)
{
    QTreeWidgetItem* pItem = m_pTree->itemAt(at);
    if (!pItem || pItem->data(0, kKindRole).toInt() != eBrowseRegister)
    {
        return;
    }
    SCommandContext context;
    context.iNode = pItem->data(0, kNodeRole).toInt();
    QMenu menu(this);
    const bool bConnected = m_core.IsConnected();
    AddMenuItems(&menu, RegisterPopupMenu(),
                 [bConnected](QAction* pAction, const SMenuItem& item)
                 { pAction->setEnabled(!item.bNeedsTarget || bConnected); });
    if (QAction* pChosen = menu.exec(m_pTree->viewport()->mapToGlobal(at)))
    {
        emit commandChosen(ActionCommand(pChosen), context);
    }
}
