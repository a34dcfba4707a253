#include "DynamicDGDlg.h"

#include "UserInterface.h"

#include <QDialogButtonBox>
#include <QFormLayout>
#include <QGridLayout>
#include <QHeaderView>
#include <QLabel>
#include <QLineEdit>
#include <QPushButton>
#include <QTreeWidget>
#include <QVBoxLayout>

CDynamicDGDlg::CDynamicDGDlg(uint32_t ulKind, const std::vector<std::pair<uint32_t, uint32_t>>& steps,
                             QWidget* pParent)
    : QDialog(pParent),
      m_profile(steps.empty() ? CDataGenProfile::Default() : CDataGenProfile::FromSteps(steps))
{
    setWindowTitle(QStringLiteral("Dynamic Data Generation Profile"));
    m_pList = new QTreeWidget(this);
    m_pList->setColumnCount(3);
    m_pList->setHeaderLabels(
        {QStringLiteral("Step"), QStringLiteral("Duration (s)"), DataGenRateColumn(ulKind)});
    m_pList->setRootIsDecorated(false);
    m_pList->headerItem()->setTextAlignment(1, Qt::AlignRight | Qt::AlignVCenter);
    m_pList->headerItem()->setTextAlignment(2, Qt::AlignRight | Qt::AlignVCenter);
    m_pList->setSelectionMode(QAbstractItemView::SingleSelection);
    m_pList->header()->setSectionResizeMode(QHeaderView::ResizeToContents);
    m_pList->setMinimumSize(320, 260);

    m_pDuration = new QLineEdit(this);
    m_pRate = new QLineEdit(this);
    auto* pEntry = new QFormLayout;
    pEntry->addRow(QStringLiteral("Duration (seconds):"), m_pDuration);
    pEntry->addRow(DataGenRateColumn(ulKind) + QLatin1Char(':'), m_pRate);

    auto* pButtons = new QGridLayout;
    const std::pair<const char*, void (CDynamicDGDlg::*)()> aButtons[] = {{"Add", nullptr},
                                                                          {"Modify", nullptr},
                                                                          {"Remove", &CDynamicDGDlg::Remove},
                                                                          {"Up", &CDynamicDGDlg::Up},
                                                                          {"Down", &CDynamicDGDlg::Down}};
    int nRow = 0;
    for (const auto& [pszText, pfn] : aButtons)
    {
        auto* pButton = new QPushButton(QString::fromLatin1(pszText), this);
        pButton->setObjectName(QString::fromLatin1(pszText));
        pButtons->addWidget(pButton, nRow++, 0);
        if (pfn)
            connect(pButton, &QPushButton::clicked, this, pfn);
    }
    connect(findChild<QPushButton*>(QStringLiteral("Add")), &QPushButton::clicked, this, [this] { Add(); });
    connect(findChild<QPushButton*>(QStringLiteral("Modify")), &QPushButton::clicked, this,
            [this] { Modify(); });
    pButtons->setRowStretch(nRow, 1);

    auto* pTop = new QHBoxLayout;
    pTop->addWidget(m_pList, 1);
    pTop->addLayout(pButtons);
    auto* pBox = new QDialogButtonBox(QDialogButtonBox::Ok | QDialogButtonBox::Cancel, this);
    connect(pBox, &QDialogButtonBox::accepted, this, &QDialog::accept);
    connect(pBox, &QDialogButtonBox::rejected, this, &QDialog::reject);
    auto* pLayout = new QVBoxLayout(this);
    pLayout->addLayout(pTop);
    pLayout->addLayout(pEntry);
    pLayout->addWidget(pBox);

    connect(m_pList, &QTreeWidget::currentItemChanged, this,
            [this]
            {
                const int nIndex = Selected();
                if (nIndex < 0)
                    return;
                const auto& line = m_profile.Lines()[static_cast<size_t>(nIndex)];
                m_pDuration->setText(QString::number(line.first));
                m_pRate->setText(QString::number(line.second));
            });
    Fill(0);
}

void CDynamicDGDlg::Fill(int nSelect)
{
    m_pList->clear();
    int nStep = 1;
    for (const auto& [ulDuration, ulRate] : m_profile.Lines())
    {
        auto* pItem = new QTreeWidgetItem(
            m_pList, {QString::number(nStep++), QString::number(ulDuration), QString::number(ulRate)});
        pItem->setTextAlignment(1, Qt::AlignRight | Qt::AlignVCenter);
        pItem->setTextAlignment(2, Qt::AlignRight | Qt::AlignVCenter);
    }
    if (nSelect >= 0 && nSelect < m_pList->topLevelItemCount())
        m_pList->setCurrentItem(m_pList->topLevelItem(nSelect));
}

int CDynamicDGDlg::Selected() const
{
    return m_pList->currentItem() ? m_pList->indexOfTopLevelItem(m_pList->currentItem()) : -1;
}

bool CDynamicDGDlg::Add()
{
    const QString strError = m_profile.Add(m_pDuration->text(), m_pRate->text());
    if (!strError.isEmpty())
    {
        ShowMessage(strError);
        return false;
    }
    Fill(m_profile.Count() - 1);
    return true;
}

bool CDynamicDGDlg::Modify()
{
    const int nIndex = Selected();
    if (nIndex < 0)
        return false;
    const QString strError = m_profile.Modify(nIndex, m_pDuration->text(), m_pRate->text());
    if (!strError.isEmpty())
    {
        ShowMessage(strError);
        return false;
    }
    Fill(nIndex);
    return true;
}

void CDynamicDGDlg::Remove()
{
    const int nIndex = Selected();
    if (m_profile.Remove(nIndex))
        Fill(std::min(nIndex, m_profile.Count() - 1));
}

void CDynamicDGDlg::Up()
{
    const int nIndex = Selected();
    if (m_profile.Up(nIndex))
        Fill(nIndex - 1);
}

void CDynamicDGDlg::Down()
{
    const int nIndex = Selected();
    if (m_profile.Down(nIndex))
        Fill(nIndex + 1);
}
