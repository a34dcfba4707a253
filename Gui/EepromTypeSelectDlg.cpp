#include "EepromTypeSelectDlg.h"

#include "EepromImage.h"
#include "Preferences.h"
#include "UserInterface.h"

#include <QHBoxLayout>
#include <QHeaderView>
#include <QPushButton>
#include <QTreeWidget>
#include <QVBoxLayout>

namespace
{
const QString kSection = QStringLiteral("Preferences");
const QString kKey = QStringLiteral("DefaultI2Cchip");
} // namespace

CEepromTypeSelectDlg::CEepromTypeSelectDlg(QWidget* pParent) : QDialog(pParent)
{
    setWindowTitle(QStringLiteral("Select EEPROM Device"));
    auto* pLayout = new QVBoxLayout(this);
    m_pList = new QTreeWidget(this);
    m_pList->setRootIsDecorated(false);
    m_pList->setUniformRowHeights(true);
    m_pList->setHeaderLabels({QStringLiteral("Manufacturer"), QStringLiteral("Device Type"),
                              QStringLiteral("Size (bytes)"), QStringLiteral("Page Size (bytes)"),
                              QStringLiteral("Addr Size (bytes)")});
    const SEepromType* pDefault = DefaultType();
    for (const SEepromType& type : EepromTypes())
    {
        auto* pItem = new QTreeWidgetItem(m_pList);
        pItem->setText(0, QLatin1String(type.pszManufacturer));
        pItem->setText(1, QLatin1String(type.pszDeviceType));
        pItem->setText(2, QString::number(type.ulSize));
        pItem->setText(3, QString::number(type.ulPageSize));
        pItem->setText(4, QString::number(type.ulAddressSize));
        for (int iColumn = 2; iColumn <= 4; ++iColumn)
        {
            pItem->setTextAlignment(iColumn, Qt::AlignRight | Qt::AlignVCenter);
        }
        if (&type == pDefault)
        {
            m_pList->setCurrentItem(pItem);
        }
    }
    for (int iColumn = 0; iColumn < m_pList->columnCount(); ++iColumn)
    {
        m_pList->resizeColumnToContents(iColumn);
    }
    pLayout->addWidget(m_pList, 1);
    auto* pButtons = new QHBoxLayout;
    auto* pNext = new QPushButton(QStringLiteral("Next"), this);
    auto* pCancel = new QPushButton(QStringLiteral("Cancel"), this);
    pNext->setDefault(true);
    pButtons->addStretch(1);
    pButtons->addWidget(pNext);
    pButtons->addWidget(pCancel);
    pLayout->addLayout(pButtons);
    connect(pNext, &QPushButton::clicked, this, [this] { OnNext(); });
    connect(pCancel, &QPushButton::clicked, this, &QDialog::reject);
    connect(m_pList, &QTreeWidget::itemDoubleClicked, this, [this] { OnNext(); });
    int iWidth = 0;
    for (int iColumn = 0; iColumn < m_pList->columnCount(); ++iColumn)
    {
        iWidth += m_pList->columnWidth(iColumn);
    }
    resize(iWidth + 60, 380);
}

bool CEepromTypeSelectDlg::OnNext()
{
    const int iRow = m_pList->currentItem() ? m_pList->indexOfTopLevelItem(m_pList->currentItem()) : -1;
    if (iRow < 0 || !m_pList->currentItem()->isSelected())
    {
        ShowMessage(QStringLiteral("Please select an EEPROM Device"));
        return false;
    }
    m_pChosen = &EepromTypes()[static_cast<size_t>(iRow)];
    SetPreference(kSection, kKey, QString::fromLatin1(m_pChosen->pszDeviceType));
    accept();
    return true;
}

const SEepromType* CEepromTypeSelectDlg::DefaultType()
{
    return FindEepromType(GetPreference(kSection, kKey, QString()));
}
