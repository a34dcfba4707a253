#include "RoutingTableEditorDlg.h"
#include "NumberFormatMenu.h"

#include <QActionGroup>
#include <QFormLayout>
#include <QHBoxLayout>
#include <QLineEdit>
#include <QListWidget>
#include <QMenuBar>
#include <QPushButton>
#include <QSignalBlocker>
#include <QTreeWidget>
#include <QVBoxLayout>

#include <algorithm>
#include <utility>

namespace
{
// Where the type and the port column start in the entry list.
constexpr int kTypeColumnStart = 80;
constexpr int kPortColumnStart = 160;
} // namespace

CRoutingTableEditorDlg::CRoutingTableEditorDlg(CNetworkDocument& map, CPEPrimitive& pe, bool bConnected,
                                               QWidget* pParent)
    : QDialog(pParent), m_editor(map, pe, bConnected)
{
    setWindowTitle(QString::asprintf("Routing Table Editor - Node %d", pe.iNodeNumber + 1));
    auto* pLayout = new QVBoxLayout(this);

    AddNumberFormatMenu(this, pLayout, m_editor.NumberBase(), [this](int nBase) { SetNumberBase(nBase); });

    auto* pLists = new QHBoxLayout;
    m_pTables = new QListWidget;
    m_pTables->addItems(m_editor.TableNames());
    m_pTables->setCurrentRow(0);
    m_pTables->setEnabled(m_editor.TableChoiceEnabled());
    m_pTables->setMaximumWidth(120);
    pLists->addWidget(m_pTables);
    m_pEntries = new QTreeWidget;
    m_pEntries->setColumnCount(3);
    m_pEntries->setHeaderLabels(
        {QStringLiteral("Destination ID"), QStringLiteral("Type"), QStringLiteral("Port")});
    m_pEntries->setRootIsDecorated(false);
    m_pEntries->setColumnWidth(0, kTypeColumnStart);
    m_pEntries->setColumnWidth(1, kPortColumnStart - kTypeColumnStart);
    pLists->addWidget(m_pEntries, 1);
    pLayout->addLayout(pLists);

    auto* pFields = new QFormLayout;
    m_pID = new QLineEdit;
    m_pPort = new QLineEdit;
    pFields->addRow(QStringLiteral("Destination ID:"), m_pID);
    pFields->addRow(QStringLiteral("Port:"), m_pPort);
    pLayout->addLayout(pFields);

    auto* pButtons = new QHBoxLayout;
    auto addButton = [this, pButtons](const QString& strText, auto&& action)
    {
        auto* pButton = new QPushButton(strText);
        pButton->setAutoDefault(false);
        pButtons->addWidget(pButton);
        connect(pButton, &QPushButton::clicked, this, action);
        return pButton;
    };
    addButton(QStringLiteral("Add"),
              [this]
              {
                  if (m_editor.Add(m_pID->text(), m_pPort->text()))
                  {
                      ShowTable();
                  }
              });
    addButton(QStringLiteral("Delete"),
              [this]
              {
                  if (m_editor.DeleteSelected())
                  {
                      ShowTable();
                      ShowFields();
                  }
              });
    // The transfers need a target; without one the editor works on the map alone.
    addButton(QStringLiteral("Upload"),
              [this]
              {
                  m_editor.Upload();
                  ShowTable();
                  ShowFields();
              })
        ->setEnabled(bConnected);
    addButton(QStringLiteral("Download"),
              [this]
              {
                  m_editor.Download();
                  ShowTable();
              })
        ->setEnabled(bConnected);
    pButtons->addStretch();
    addButton(QStringLiteral("Close"), [this] { reject(); });
    pLayout->addLayout(pButtons);

    connect(m_pTables, &QListWidget::currentRowChanged, this,
            [this](int iRow)
            {
                if (m_editor.SelectTable(iRow))
                {
                    ShowTable();
                    ShowFields();
                }
            });
    connect(m_pEntries, &QTreeWidget::currentItemChanged, this,
            [this](QTreeWidgetItem* pItem)
            {
                if (pItem && m_editor.SelectEntry(m_pEntries->indexOfTopLevelItem(pItem)))
                {
                    ShowFields();
                }
            });
    ShowTable();
}

QPushButton* CRoutingTableEditorDlg::Button(const QString& strText) const
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

void CRoutingTableEditorDlg::reject()
{
    if (m_editor.Close())
    {
        QDialog::reject();
    }
}

void CRoutingTableEditorDlg::ShowTable()
{
    const QSignalBlocker blocker(m_pEntries);
    m_pEntries->clear();
    for (const CRoutingTableEditor::SRow& row : m_editor.Rows())
    {
        m_pEntries->addTopLevelItem(new QTreeWidgetItem({row.strID, row.strType, row.strPort}));
    }
    FitColumns();
    if (QTreeWidgetItem* pSelected = m_pEntries->topLevelItem(m_editor.SelectedEntry()))
    {
        m_pEntries->setCurrentItem(pSelected);
    }
}

void CRoutingTableEditorDlg::FitColumns()
{
    // The columns start at 80 and 160 as long as what they hold fits; binary IDs and the headings
    // push them further out rather than being cut.
    const int iMinimum[2] = {kTypeColumnStart, kPortColumnStart - kTypeColumnStart};
    for (int iColumn = 0; iColumn < 2; ++iColumn)
    {
        m_pEntries->resizeColumnToContents(iColumn);
        m_pEntries->setColumnWidth(iColumn, std::max(iMinimum[iColumn], m_pEntries->columnWidth(iColumn)));
    }
}

void CRoutingTableEditorDlg::ShowFields()
{
    m_pID->setText(m_editor.IDField());
    m_pPort->setText(m_editor.PortField());
}

void CRoutingTableEditorDlg::SetNumberBase(int nBase)
{
    m_editor.SetNumberBase(nBase);
    ShowTable();
    if (m_editor.SelectedEntry() >= 0)
    {
        ShowFields();
    }
}

bool EditRoutingTables(QWidget* pParent, CNetworkDocument& map, CPEPrimitive& pe, bool bConnected)
{
    CRoutingTableEditorDlg dialog(map, pe, bConnected, pParent);
    dialog.exec();
    return dialog.Editor().MapChanged();
}
