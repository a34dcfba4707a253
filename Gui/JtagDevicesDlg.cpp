#include "JtagDevicesDlg.h"

#include "NumberText.h"
#include "UserInterface.h"

#include <QDialogButtonBox>
#include <QFormLayout>
#include <QHBoxLayout>
#include <QHeaderView>
#include <QLineEdit>
#include <QPushButton>
#include <QTreeWidget>
#include <QVBoxLayout>
#include <algorithm>

namespace
{
const QString kTitle = QStringLiteral("Unsupported JTAG Devices");
const QString kAlreadyListed =
    QStringLiteral("A device with that JTAG ID is already in the list. Do you want to update it?");

// The pod library takes IR lengths up to what one stored line can hold.
constexpr uint64_t kMaxIRLength = 255;

enum EColumn
{
    eColName,
    eColJtagID,
    eColIRLength
};

QString JtagIDText(uint32_t ulJtagID)
{
    return QString::asprintf("%08Xh", ulJtagID);
}
} // namespace

CJTAGDefineDevicesDlg::CJTAGDefineDevicesDlg(QWidget* pParent) : QDialog(pParent)
{
    setWindowTitle(kTitle);
    m_pList = new QTreeWidget;
    m_pList->setRootIsDecorated(false);
    m_pList->setHeaderLabels(
        {QStringLiteral("Name"), QStringLiteral("JTAG ID"), QStringLiteral("IR Length")});
    m_pList->header()->setStretchLastSection(false);
    m_pList->header()->setSectionResizeMode(eColName, QHeaderView::Stretch);
    m_pList->header()->setSectionResizeMode(eColJtagID, QHeaderView::ResizeToContents);
    m_pList->header()->setSectionResizeMode(eColIRLength, QHeaderView::ResizeToContents);

    m_pName = new QLineEdit;
    m_pJtagID = new QLineEdit;
    m_pJtagID->setPlaceholderText(QStringLiteral("e.g. 0123A0F3h"));
    m_pIRLength = new QLineEdit;
    m_pIRLength->setPlaceholderText(QStringLiteral("bits, e.g. 8"));
    auto* pForm = new QFormLayout;
    pForm->addRow(QStringLiteral("Name:"), m_pName);
    pForm->addRow(QStringLiteral("JTAG ID:"), m_pJtagID);
    pForm->addRow(QStringLiteral("IR Length:"), m_pIRLength);

    m_pAdd = new QPushButton(QStringLiteral("Add"));
    m_pUpdate = new QPushButton(QStringLiteral("Update"));
    m_pDelete = new QPushButton(QStringLiteral("Delete"));
    auto* pActions = new QHBoxLayout;
    pActions->addWidget(m_pAdd);
    pActions->addWidget(m_pUpdate);
    pActions->addWidget(m_pDelete);
    pActions->addStretch();

    auto* pClose = new QDialogButtonBox(QDialogButtonBox::Close);
    connect(pClose, &QDialogButtonBox::rejected, this, &QDialog::accept);
    connect(m_pAdd, &QPushButton::clicked, this, [this] { Add(); });
    connect(m_pUpdate, &QPushButton::clicked, this, [this] { Update(); });
    connect(m_pDelete, &QPushButton::clicked, this, [this] { Delete(); });
    connect(m_pList, &QTreeWidget::currentItemChanged, this,
            [this]
            {
                ShowSelected();
                EnableButtons();
            });

    auto* pLayout = new QVBoxLayout(this);
    pLayout->addWidget(m_pList);
    pLayout->addLayout(pForm);
    pLayout->addLayout(pActions);
    pLayout->addWidget(pClose);

    m_devices = LoadJtagUserDevices();
    Fill(m_devices.empty() ? -1 : 0);
    resize(460, 380);
}

bool CJTAGDefineDevicesDlg::FieldsToDevice(SJtagUserDevice* pDevice) const
{
    const QString strName = m_pName->text().trimmed();
    if (strName.isEmpty())
    {
        ShowMessage(QStringLiteral("Please enter a name for the device."));
        m_pName->setFocus();
        return false;
    }
    uint64_t ulJtagID = 0;
    if (!NumberFromText(m_pJtagID->text(), 0xFFFFFFFFu, &ulJtagID))
    {
        ShowMessage(InvalidEntryText());
        m_pJtagID->setFocus();
        return false;
    }
    uint64_t ulIRLength = 0;
    if (!NumberFromText(m_pIRLength->text(), kMaxIRLength, &ulIRLength) || ulIRLength == 0)
    {
        ShowMessage(InvalidEntryText());
        m_pIRLength->setFocus();
        return false;
    }
    // A line break would split the stored line; the name is kept on one line.
    pDevice->strName = QString(strName)
                           .replace(QLatin1Char('\n'), QLatin1Char(' '))
                           .replace(QLatin1Char('\r'), QLatin1Char(' '));
    pDevice->ulJtagID = static_cast<uint32_t>(ulJtagID);
    pDevice->ulIRLength = static_cast<uint32_t>(ulIRLength);
    return true;
}

bool CJTAGDefineDevicesDlg::Add()
{
    SJtagUserDevice device;
    if (!FieldsToDevice(&device))
    {
        return false;
    }
    std::vector<SJtagUserDevice> devices = m_devices;
    const int iSame = FindJtagUserDevice(devices, device.ulJtagID);
    if (iSame >= 0)
    {
        if (UI().Ask(kAlreadyListed, kTitle, false) != eAnswerYes)
        {
            return false;
        }
        devices[static_cast<size_t>(iSame)] = device;
        return Store(std::move(devices), iSame);
    }
    devices.push_back(device);
    const int iNew = static_cast<int>(devices.size()) - 1;
    return Store(std::move(devices), iNew);
}

bool CJTAGDefineDevicesDlg::Update()
{
    const int iRow = m_pList->indexOfTopLevelItem(m_pList->currentItem());
    if (iRow < 0)
    {
        UI().Beep();
        return false;
    }
    SJtagUserDevice device;
    if (!FieldsToDevice(&device))
    {
        return false;
    }
    std::vector<SJtagUserDevice> devices = m_devices;
    // A new JTAG ID that another row already holds would list the part twice: that row is the
    // one to update, if the person agrees.
    int iTarget = iRow;
    const int iSame = FindJtagUserDevice(devices, device.ulJtagID);
    if (iSame >= 0 && iSame != iRow)
    {
        if (UI().Ask(kAlreadyListed, kTitle, false) != eAnswerYes)
        {
            return false;
        }
        iTarget = iSame;
    }
    devices[static_cast<size_t>(iTarget)] = device;
    return Store(std::move(devices), iTarget);
}

bool CJTAGDefineDevicesDlg::Delete()
{
    const int iRow = m_pList->indexOfTopLevelItem(m_pList->currentItem());
    if (iRow < 0)
    {
        UI().Beep();
        return false;
    }
    std::vector<SJtagUserDevice> devices = m_devices;
    devices.erase(devices.begin() + iRow);
    const int iNext = std::min(iRow, static_cast<int>(devices.size()) - 1);
    return Store(std::move(devices), iNext);
}

bool CJTAGDefineDevicesDlg::Store(std::vector<SJtagUserDevice> devices, int iSelect)
{
    if (!SaveJtagUserDevices(devices))
    {
        // The store has said why; what is shown is what is stored.
        m_devices = LoadJtagUserDevices();
        Fill(m_devices.empty() ? -1 : 0);
        return false;
    }
    m_devices = std::move(devices);
    Fill(iSelect);
    return true;
}

void CJTAGDefineDevicesDlg::Fill(int iSelect)
{
    m_pList->clear();
    for (const SJtagUserDevice& device : m_devices)
    {
        auto* pItem = new QTreeWidgetItem(
            m_pList, {device.strName, JtagIDText(device.ulJtagID), QString::number(device.ulIRLength)});
        pItem->setTextAlignment(eColJtagID, Qt::AlignRight | Qt::AlignVCenter);
        pItem->setTextAlignment(eColIRLength, Qt::AlignRight | Qt::AlignVCenter);
    }
    if (iSelect >= 0 && iSelect < m_pList->topLevelItemCount())
    {
        m_pList->setCurrentItem(m_pList->topLevelItem(iSelect));
    }
    ShowSelected();
    EnableButtons();
}

void CJTAGDefineDevicesDlg::ShowSelected()
{
    const int iRow = m_pList->indexOfTopLevelItem(m_pList->currentItem());
    if (iRow < 0 || iRow >= static_cast<int>(m_devices.size()))
    {
        return;
    }
    const SJtagUserDevice& device = m_devices[static_cast<size_t>(iRow)];
    m_pName->setText(device.strName);
    m_pJtagID->setText(JtagIDText(device.ulJtagID));
    m_pIRLength->setText(QString::number(device.ulIRLength));
}

void CJTAGDefineDevicesDlg::EnableButtons()
{
    const bool bSelected = m_pList->currentItem() != nullptr;
    m_pUpdate->setEnabled(bSelected);
    m_pDelete->setEnabled(bSelected);
}
