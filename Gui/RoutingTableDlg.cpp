#include "RoutingTableDlg.h"

#include "RoutingTableEditor.h"
#include "TableTransfer.h"

#include <QListWidget>
#include <QPushButton>
#include <QVBoxLayout>

namespace
{
// Column widths of the list: hexadecimal and decimal IDs fit the narrow one, binary IDs need room
// for 8 or 16 digits.
constexpr int kColumnWidth = 80;
constexpr int kBinaryShortColumnWidth = 100;
constexpr int kBinaryLongColumnWidth = 160;
// The background of a table that the switch doesn't have yet.
const QColor kModifiedColour(255, 255, 192);
} // namespace

CRoutingTableDlg::CRoutingTableDlg(const CPEPrimitive& pe, int iTable, QWidget* pParent) : QDialog(pParent)
{
    const CRoutingTable* pTable =
        iTable >= 0 && iTable < kMaxPorts ? pe.RoutingTables[static_cast<size_t>(iTable)].get() : nullptr;
    setWindowTitle(pe.bHasPerPortRoutingTables
                       ? QString::asprintf("Routing Table - Node %d, Port %d", pe.iNodeNumber + 1, iTable)
                       : QString::asprintf("Routing Table - Node %d, All Ports", pe.iNodeNumber + 1));
    const int nBase = RoutingTableNumberBase();
    const int iIDBits = RoutingTableIDBits();
    m_iColumnWidth = nBase != 2      ? kColumnWidth
                     : iIDBits == 16 ? kBinaryLongColumnWidth
                                     : kBinaryShortColumnWidth;

    auto* pLayout = new QVBoxLayout(this);
    m_pList = new QListWidget;
    // Columns side by side, filled top to bottom, as a long table reads best.
    m_pList->setFlow(QListView::TopToBottom);
    m_pList->setWrapping(true);
    m_pList->setResizeMode(QListView::Adjust);
    m_pList->setGridSize(QSize(m_iColumnWidth, m_pList->fontMetrics().height() + 4));
    m_pList->setSelectionMode(QAbstractItemView::NoSelection);
    m_pList->addItems(RoutingTableLines(pTable, pe.HasDefaultPort(), pe.GetDefaultPort(), nBase, iIDBits));
    if (pTable && pTable->bModified)
    {
        QPalette palette = m_pList->palette();
        palette.setColor(QPalette::Base, kModifiedColour);
        m_pList->setPalette(palette);
    }
    pLayout->addWidget(m_pList);

    m_pButton = new QPushButton(pTable ? QStringLiteral("OK") : QStringLiteral("Close"));
    m_pButton->setDefault(true);
    pLayout->addWidget(m_pButton, 0, Qt::AlignRight);
    connect(m_pButton, &QPushButton::clicked, this, &QDialog::accept);
}

// The view needs nothing of the map beyond the PE; the map is taken so that both routing table
// entries have the same form.
void ShowRoutingTable(QWidget* pParent, const CPEPrimitive& pe, int iTable)
{
    CRoutingTableDlg dialog(pe, iTable, pParent);
    dialog.exec();
}
