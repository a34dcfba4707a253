#include "MulticastDlg.h"
#include "NumberFormatMenu.h"

#include <QActionGroup>
#include <QComboBox>
#include <QGroupBox>
#include <QHBoxLayout>
#include <QHeaderView>
#include <QLabel>
#include <QLineEdit>
#include <QListWidget>
#include <QMenuBar>
#include <QPushButton>
#include <QSignalBlocker>
#include <QStyle>
#include <QTreeWidget>
#include <QVBoxLayout>

#include <algorithm>
#include <utility>

namespace
{
// The port number of a row of the ports list.
constexpr int kPortRole = Qt::UserRole;
} // namespace

CMulticastDlg::CMulticastDlg(CMulticastEditor& editor, QWidget* pParent) : QDialog(pParent), m_editor(editor)
{
    setWindowTitle(m_editor.Title());
    auto* pLayout = new QVBoxLayout(this);

    AddNumberFormatMenu(this, pLayout, m_editor.NumberBase(), [this](int nBase) { SetNumberBase(nBase); });

    auto* pBody = new QHBoxLayout;
    // The ports: "Port %d" and the link's state as two columns that line up, split at the tab.
    auto* pPortsBox = new QGroupBox(QStringLiteral("Ports"));
    auto* pPortsLayout = new QVBoxLayout(pPortsBox);
    m_pPorts = new QTreeWidget;
    m_pPorts->setColumnCount(2);
    m_pPorts->setHeaderLabels({QStringLiteral("Port"), QStringLiteral("Link")});
    m_pPorts->setRootIsDecorated(false);
    m_pPorts->setSelectionMode(QAbstractItemView::NoSelection);
    m_pPorts->header()->setStretchLastSection(true);
    for (const CMulticastEditor::SPortRow& row : m_editor.PortRows())
    {
        const QStringList cells = row.strText.split(QLatin1Char('\t'));
        auto* pItem = new QTreeWidgetItem({cells.value(0), cells.value(1)});
        pItem->setData(0, kPortRole, row.iPort);
        pItem->setFlags(Qt::ItemIsEnabled | Qt::ItemIsUserCheckable);
        pItem->setCheckState(0, Qt::Unchecked);
        m_pPorts->addTopLevelItem(pItem);
    }
    m_pPorts->resizeColumnToContents(0);
    m_pPorts->resizeColumnToContents(1);
    // The list is as wide as its two columns and a scroll bar: the columns never cut a text and
    // the window doesn't spread them apart.
    const QFontMetrics metrics(m_pPorts->font());
    int iStateWidth = m_pPorts->header()->sectionSizeHint(1);
    for (int iRow = 0; iRow < m_pPorts->topLevelItemCount(); ++iRow)
    {
        iStateWidth =
            std::max(iStateWidth, metrics.horizontalAdvance(m_pPorts->topLevelItem(iRow)->text(1)) + 16);
    }
    m_pPorts->setFixedWidth(m_pPorts->columnWidth(0) + iStateWidth + 2 * m_pPorts->frameWidth() +
                            style()->pixelMetric(QStyle::PM_ScrollBarExtent, nullptr, m_pPorts));
    pPortsLayout->addWidget(m_pPorts);
    pBody->addWidget(pPortsBox);

    // The mask and its destination IDs.
    auto* pMaskBox = new QGroupBox(QStringLiteral("Multicast Mask"));
    auto* pMaskLayout = new QVBoxLayout(pMaskBox);
    m_pMasks = new QComboBox;
    m_pMasks->addItems(m_editor.MaskNames());
    m_pMasks->setCurrentIndex(m_editor.CurrentMask());
    pMaskLayout->addWidget(m_pMasks);
    pMaskLayout->addWidget(new QLabel(QStringLiteral("Destination IDs:")));
    m_pIDs = new QListWidget;
    pMaskLayout->addWidget(m_pIDs, 1);
    auto* pAddRow = new QHBoxLayout;
    m_pID = new QLineEdit;
    m_pID->setPlaceholderText(QStringLiteral("Destination ID"));
    pAddRow->addWidget(m_pID, 1);
    auto makeButton = [this](const QString& strText)
    {
        auto* pButton = new QPushButton(strText);
        pButton->setAutoDefault(false);
        return pButton;
    };
    QPushButton* pAdd = makeButton(QStringLiteral("Add ID"));
    pAddRow->addWidget(pAdd);
    pMaskLayout->addLayout(pAddRow);
    QPushButton* pRemove = makeButton(QStringLiteral("Remove ID"));
    pMaskLayout->addWidget(pRemove, 0, Qt::AlignLeft);
    pBody->addWidget(pMaskBox, 1);
    pMaskBox->setMinimumWidth(240);
    pLayout->addLayout(pBody, 1);

    auto* pButtons = new QHBoxLayout;
    pButtons->addStretch();
    QPushButton* pOk = makeButton(QStringLiteral("OK"));
    QPushButton* pCancel = makeButton(QStringLiteral("Cancel"));
    pButtons->addWidget(pOk);
    pButtons->addWidget(pCancel);
    pLayout->addLayout(pButtons);

    // A device without masks has nothing to edit.
    const bool bMasks = m_editor.CurrentMask() >= 0;
    for (QWidget* pWidget : std::initializer_list<QWidget*>{m_pPorts, m_pMasks, m_pIDs, m_pID, pAdd, pRemove})
    {
        pWidget->setEnabled(bMasks);
    }

    connect(pAdd, &QPushButton::clicked, this, &CMulticastDlg::AddID);
    // Enter in the field adds the ID; it doesn't close the window.
    connect(m_pID, &QLineEdit::returnPressed, this, &CMulticastDlg::AddID);
    connect(pRemove, &QPushButton::clicked, this,
            [this]
            {
                if (m_editor.RemoveID(m_pIDs->currentRow()))
                {
                    ShowIDs();
                }
            });
    connect(pOk, &QPushButton::clicked, this, &CMulticastDlg::accept);
    connect(pCancel, &QPushButton::clicked, this, &CMulticastDlg::reject);
    connect(m_pMasks, &QComboBox::currentIndexChanged, this,
            [this](int iMask)
            {
                if (m_editor.SelectMask(iMask))
                {
                    ShowMask();
                }
            });
    connect(m_pPorts, &QTreeWidget::itemChanged, this,
            [this](QTreeWidgetItem* pItem, int iColumn)
            {
                if (iColumn == 0)
                {
                    m_editor.TickPort(pItem->data(0, kPortRole).toInt(), pItem->checkState(0) == Qt::Checked);
                }
            });
    ShowMask();
    resize(sizeHint().width(), 440);
}

QPushButton* CMulticastDlg::Button(const QString& strText) const
{
    for (QPushButton* pButton : findChildren<QPushButton*>())
    {
        if (pButton->text() == strText)
        {
            return pButton;
        }
    }
    return nullptr;
}

int CMulticastDlg::RowPort(const QTreeWidget* pPorts, int iRow)
{
    const QTreeWidgetItem* pItem = pPorts->topLevelItem(iRow);
    return pItem ? pItem->data(0, kPortRole).toInt() : -1;
}

void CMulticastDlg::accept()
{
    m_editor.Accept();
    QDialog::accept();
}

void CMulticastDlg::ShowMask()
{
    const QSignalBlocker blocker(m_pPorts);
    for (int iRow = 0; iRow < m_pPorts->topLevelItemCount(); ++iRow)
    {
        m_pPorts->topLevelItem(iRow)->setCheckState(
            0, m_editor.IsPortTicked(RowPort(m_pPorts, iRow)) ? Qt::Checked : Qt::Unchecked);
    }
    ShowIDs();
}

void CMulticastDlg::ShowIDs()
{
    const int iRow = m_pIDs->currentRow();
    m_pIDs->clear();
    m_pIDs->addItems(m_editor.IDTexts());
    m_pIDs->setCurrentRow(std::min(iRow, m_pIDs->count() - 1));
}

void CMulticastDlg::AddID()
{
    if (m_editor.AddID(m_pID->text()))
    {
        m_pID->clear();
        ShowIDs();
        m_pIDs->setCurrentRow(m_pIDs->count() - 1);
    }
    else
    {
        // The text stays to be put right.
        m_pID->selectAll();
    }
    m_pID->setFocus();
}

void CMulticastDlg::SetNumberBase(int nBase)
{
    m_editor.SetNumberBase(nBase);
    ShowIDs();
}

bool RunMulticastDlg(QWidget* pParent, CMulticastEditor& editor)
{
    CMulticastDlg dialog(editor, pParent);
    return dialog.exec() == QDialog::Accepted;
}
