#include "ConnectDlg.h"

#include "JtagDevicesDlg.h"
#include "NumberText.h"
#include "Preferences.h"
#include "TargetConnection.h"
#include "UserInterface.h"

#include <QComboBox>
#include <QDialogButtonBox>
#include <QFormLayout>
#include <QHBoxLayout>
#include <QHeaderView>
#include <QLabel>
#include <QLineEdit>
#include <QListWidget>
#include <QPushButton>
#include <QRadioButton>
#include <QTabWidget>
#include <QTreeWidget>
#include <QVBoxLayout>

namespace
{
const QString kTitle = QStringLiteral("Connect to Target");
const QString kRS232Section = QStringLiteral("Preferences/RS232");

enum EListIndex
{
    eListRS232,
    eListJTAG,
    eListI2C,
    eListPCIe
};

int SelectedValue(const QListWidget* pList)
{
    const QListWidgetItem* pItem = pList ? pList->currentItem() : nullptr;
    return pItem ? pItem->data(Qt::UserRole).toInt() : -1;
}

int SelectedValue(const QTreeWidget* pTree)
{
    const QTreeWidgetItem* pItem = pTree ? pTree->currentItem() : nullptr;
    return pItem ? pItem->data(0, Qt::UserRole).toInt() : -1;
}
} // namespace

CConnectDlg::CConnectDlg(QWidget* pParent) : QDialog(pParent)
{
    setWindowTitle(kTitle);
    m_lists = {SerialPorts(), JtagDevices(), I2CChannels(), PcieBridges()};
    m_pTabs = new QTabWidget(this);
    m_pTabs->addTab(MakeEthernetTab(), QStringLiteral("Ethernet"));
    m_pTabs->addTab(MakeInternetTab(), QStringLiteral("Internet"));

    auto* pSerialExtra = new QWidget;
    auto* pSerialForm = new QFormLayout(pSerialExtra);
    m_pBaudRate = new QComboBox;
    for (int iRate : BaudRates())
    {
        m_pBaudRate->addItem(QString::number(iRate), iRate);
    }
    const uint32_t ulRate =
        GetPreference(kRS232Section, QStringLiteral("BaudRate"), static_cast<uint32_t>(kDefaultBaudRate));
    m_pBaudRate->setCurrentIndex(std::max(0, m_pBaudRate->findData(static_cast<int>(ulRate))));
    m_pFlowControl = new QComboBox;
    m_pFlowControl->addItems(FlowControls());
    m_pFlowControl->setCurrentIndex(
        static_cast<int>(GetPreference(kRS232Section, QStringLiteral("Handshake"), 0u)));
    pSerialForm->addRow(QStringLiteral("Baud rate:"), m_pBaudRate);
    pSerialForm->addRow(QStringLiteral("Flow control:"), m_pFlowControl);
    m_pTabs->addTab(MakeListTab(m_lists[eListRS232], &m_pSerialPorts, pSerialExtra), QStringLiteral("RS232"));
    m_pTabs->addTab(MakeJtagTab(), QStringLiteral("JTAG"));

    auto* pI2CExtra = new QWidget;
    auto* pI2CForm = new QFormLayout(pI2CExtra);
    m_pI2CAddress = new QLineEdit(
        GetPreference(QStringLiteral("Preferences"), QStringLiteral("I2C_ConnAddress"), QString()));
    // An I2C address is a few hex digits: the box is sized for them, not stretched across the tab.
    m_pI2CAddress->setMaximumWidth(
        m_pI2CAddress->fontMetrics().horizontalAdvance(QStringLiteral("0000000000h")) + 16);
    m_pI2CAddress->setPlaceholderText(QStringLiteral("e.g. 50h"));
    auto* p7Bit = new QRadioButton(QStringLiteral("7 bit"));
    m_pI2C10Bit = new QRadioButton(QStringLiteral("10 bit"));
    const bool b10Bit =
        GetPreference(QStringLiteral("Preferences"), QStringLiteral("I2C_ConnAddressSize"), 7u) == 10;
    (b10Bit ? m_pI2C10Bit : p7Bit)->setChecked(true);
    auto* pBits = new QHBoxLayout;
    pBits->addWidget(p7Bit);
    pBits->addWidget(m_pI2C10Bit);
    pBits->addStretch();
    pI2CForm->addRow(QStringLiteral("Address:"), m_pI2CAddress);
    pI2CForm->addRow(QStringLiteral("Addressing:"), pBits);
    m_pTabs->addTab(MakeListTab(m_lists[eListI2C], &m_pI2CChannels, pI2CExtra), QStringLiteral("I2C"));
    m_pTabs->addTab(MakeListTab(m_lists[eListPCIe], &m_pBridges), QStringLiteral("PCIe"));
    m_pTabs->setCurrentIndex(LastConnectionTab());

    auto* pButtons = new QDialogButtonBox(QDialogButtonBox::Cancel, this);
    pButtons->addButton(QStringLiteral("Connect"), QDialogButtonBox::AcceptRole)->setDefault(true);
    connect(pButtons, &QDialogButtonBox::accepted, this, &CConnectDlg::accept);
    connect(pButtons, &QDialogButtonBox::rejected, this, &CConnectDlg::reject);
    auto* pLayout = new QVBoxLayout(this);
    pLayout->addWidget(m_pTabs);
    pLayout->addWidget(pButtons);
    resize(620, 360);
}

QWidget* CConnectDlg::MakeEthernetTab()
{
    auto* pTab = new QWidget;
    auto* pLayout = new QVBoxLayout(pTab);
    m_pTargets = new QTreeWidget;
    m_pTargets->setRootIsDecorated(false);
    m_pTargets->setHeaderLabels(CTargetList::Columns());
    m_pTargets->header()->setSectionResizeMode(QHeaderView::ResizeToContents);
    pLayout->addWidget(m_pTargets);
    auto* pButtons = new QHBoxLayout;
    auto* pSearch = new QPushButton(QStringLiteral("Search"));
    auto* pRemove = new QPushButton(QStringLiteral("Remove"));
    pButtons->addWidget(pSearch);
    pButtons->addWidget(pRemove);
    pButtons->addStretch();
    pLayout->addLayout(pButtons);
    connect(pSearch, &QPushButton::clicked, this, &CConnectDlg::Search);
    connect(pRemove, &QPushButton::clicked, this,
            [this]
            {
                const int iRow = m_pTargets->indexOfTopLevelItem(m_pTargets->currentItem());
                if (iRow >= 0)
                {
                    m_targets.Remove(iRow);
                    FillTargets();
                }
            });
    connect(m_pTargets, &QTreeWidget::itemDoubleClicked, this, &CConnectDlg::accept);
    m_targets.Load();
    FillTargets();
    return pTab;
}

QWidget* CConnectDlg::MakeInternetTab()
{
    auto* pTab = new QWidget;
    auto* pForm = new QFormLayout(pTab);
    m_pAddress = new QLineEdit;
    m_pAddress->setPlaceholderText(QStringLiteral("192.168.1.10  or  192.168.1.10:15000"));
    auto* pTcp = new QRadioButton(QStringLiteral("TCP"));
    m_pInternetUdp = new QRadioButton(QStringLiteral("UDP"));
    pTcp->setChecked(true);
    auto* pProtocol = new QHBoxLayout;
    pProtocol->addWidget(pTcp);
    pProtocol->addWidget(m_pInternetUdp);
    pProtocol->addStretch();
    pForm->addRow(QStringLiteral("IP address:"), m_pAddress);
    pForm->addRow(QStringLiteral("Protocol:"), pProtocol);
    auto* pNote = new QLabel(QStringLiteral("A server on another port than that of Settings > Parameters is "
                                            "reached by adding \":port\" to its address."));
    pNote->setWordWrap(true);
    pForm->addRow(pNote);
    return pTab;
}

QWidget* CConnectDlg::MakeListTab(const SLinkList& list, QListWidget** ppList, QWidget* pExtra)
{
    auto* pTab = new QWidget;
    auto* pLayout = new QVBoxLayout(pTab);
    if (list.entries.empty())
    {
        auto* pText = new QLabel(list.strNotFound);
        pText->setWordWrap(true);
        pText->setAlignment(Qt::AlignCenter);
        pLayout->addWidget(pText);
        *ppList = nullptr;
    }
    else
    {
        *ppList = new QListWidget;
        for (const SLinkEntry& entry : list.entries)
        {
            auto* pItem = new QListWidgetItem(entry.strText, *ppList);
            pItem->setData(Qt::UserRole, entry.ulValue);
        }
        (*ppList)->setCurrentRow(0);
        pLayout->addWidget(*ppList);
    }
    if (pExtra)
    {
        pLayout->addWidget(pExtra);
    }
    return pTab;
}

QWidget* CConnectDlg::MakeJtagTab()
{
    auto* pTab = new QWidget;
    auto* pLayout = new QVBoxLayout(pTab);
    const SLinkList& list = m_lists[eListJTAG];
    if (list.entries.empty())
    {
        auto* pText = new QLabel(list.strNotFound);
        pText->setWordWrap(true);
        pText->setAlignment(Qt::AlignCenter);
        pLayout->addWidget(pText);
        m_pJtagDevices = nullptr;
    }
    else
    {
        m_pJtagDevices = new QTreeWidget;
        m_pJtagDevices->setRootIsDecorated(false);
        m_pJtagDevices->setHeaderLabels({QStringLiteral("JTAG Pod"), QStringLiteral("Chain Pos"),
                                         QStringLiteral("Device ID"), QStringLiteral("Vendor ID"),
                                         QStringLiteral("Device Name")});
        m_pJtagDevices->header()->setSectionResizeMode(QHeaderView::ResizeToContents);
        m_pJtagDevices->header()->setStretchLastSection(true);
        for (const SLinkEntry& entry : list.entries)
        {
            auto* pItem = new QTreeWidgetItem(m_pJtagDevices, entry.strText.split(QLatin1Char('\t')));
            pItem->setData(0, Qt::UserRole, entry.ulValue);
            for (int iColumn = 1; iColumn <= 3; ++iColumn)
            {
                pItem->setTextAlignment(iColumn, Qt::AlignRight | Qt::AlignVCenter);
            }
        }
        m_pJtagDevices->setCurrentItem(m_pJtagDevices->topLevelItem(0));
        connect(m_pJtagDevices, &QTreeWidget::itemDoubleClicked, this, &CConnectDlg::accept);
        pLayout->addWidget(m_pJtagDevices);
    }
    // Parts the pod library doesn't know stop the walk of their chain; the button under the list
    // is where they are told to it.
    auto* pRow = new QHBoxLayout;
    auto* pDefine = new QPushButton(QStringLiteral("Unsupported Devices..."));
    pRow->addWidget(pDefine);
    pRow->addStretch();
    pLayout->addLayout(pRow);
    connect(pDefine, &QPushButton::clicked, this, &CConnectDlg::DefineJtagDevices);
    return pTab;
}

void CConnectDlg::DefineJtagDevices()
{
    CJTAGDefineDevicesDlg dialog(this);
    dialog.exec();
    m_lists[eListJTAG] = JtagDevices();
    const bool bCurrent = m_pTabs->currentIndex() == eTabJTAG;
    QWidget* pOld = m_pTabs->widget(eTabJTAG);
    m_pTabs->removeTab(eTabJTAG);
    pOld->deleteLater();
    m_pTabs->insertTab(eTabJTAG, MakeJtagTab(), QStringLiteral("JTAG"));
    if (bCurrent)
    {
        m_pTabs->setCurrentIndex(eTabJTAG);
    }
}

void CConnectDlg::FillTargets()
{
    m_pTargets->clear();
    for (const STargetEntry& entry : m_targets.Entries())
    {
        auto* pItem = new QTreeWidgetItem(m_pTargets, {entry.strAddress, entry.strDeviceID, entry.strVendorID,
                                                       entry.strShortID, entry.strLongID, entry.strProt,
                                                       entry.strStatus});
        pItem->setCheckState(0, entry.bChecked ? Qt::Checked : Qt::Unchecked);
    }
}

void CConnectDlg::Search()
{
    m_targets.Search([this](const QString& strTitle) { setWindowTitle(strTitle); });
    FillTargets();
}

QString CConnectDlg::NotFoundText(int iTab) const
{
    if (iTab < eTabRS232 || iTab > eTabPCIe)
    {
        return QString();
    }
    const SLinkList& list = m_lists[static_cast<size_t>(iTab - eTabRS232)];
    return list.entries.empty() ? list.strNotFound : QString();
}

bool CConnectDlg::TakeChoice()
{
    const int iTab = m_pTabs->currentIndex();
    m_wServerPort = 0;
    switch (iTab)
    {
    case eTabEthernet:
    {
        const int iRow = m_pTargets->indexOfTopLevelItem(m_pTargets->currentItem());
        if (iRow < 0 || iRow >= m_targets.Entries().size())
        {
            UI().Beep();
            return false;
        }
        const STargetEntry& entry = m_targets.Entries()[iRow];
        m_ulAddressWord = entry.Address();
        m_nChoice = entry.IsUDP() ? eConnEthernetUDP : eConnEthernetTCP;
        m_targets.SaveIfChanged();
        break;
    }
    case eTabInternet:
    {
        QString strError;
        if (!ParseInternetTarget(m_pAddress->text(), &m_ulAddressWord, &m_wServerPort, &strError))
        {
            ShowMessage(strError);
            return false;
        }
        m_nChoice = m_pInternetUdp->isChecked() ? eConnInternetUDP : eConnInternetTCP;
        break;
    }
    case eTabRS232:
    {
        if (SelectedValue(m_pSerialPorts) < 0)
        {
            ShowMessage(QStringLiteral("Please select a valid COM Port."));
            return false;
        }
        if (m_pBaudRate->currentIndex() < 0)
        {
            ShowMessage(QStringLiteral("Please select a valid BAUD Rate."));
            return false;
        }
        if (m_pFlowControl->currentIndex() < 0)
        {
            ShowMessage(QStringLiteral("Please select a valid flow control setting."));
            return false;
        }
        if (!SetPreference(kRS232Section, QStringLiteral("BaudRate"), m_pBaudRate->currentData().toUInt()))
        {
            ShowMessage(QStringLiteral("Unable to update baud rate to selected value.\n"));
        }
        if (!SetPreference(kRS232Section, QStringLiteral("Handshake"),
                           static_cast<uint32_t>(m_pFlowControl->currentIndex())))
        {
            ShowMessage(QStringLiteral("Unable to update flow control to selected setting.\n"));
        }
        m_nChoice = eConnRS232;
        m_ulAddressWord = static_cast<uint32_t>(SelectedValue(m_pSerialPorts));
        break;
    }
    case eTabJTAG:
        if (SelectedValue(m_pJtagDevices) < 0)
        {
            UI().Beep();
            return false;
        }
        m_nChoice = eConnJTAG;
        m_ulAddressWord = static_cast<uint32_t>(SelectedValue(m_pJtagDevices));
        break;
    case eTabI2C:
    {
        uint64_t ulAddress = 0;
        if (SelectedValue(m_pI2CChannels) < 0)
        {
            UI().Beep();
            return false;
        }
        if (!NumberFromText(m_pI2CAddress->text(), &ulAddress))
        {
            ShowMessage(InvalidEntryText());
            return false;
        }
        const bool b7Bit = !m_pI2C10Bit->isChecked();
        if (!I2CAddressInRange(static_cast<uint32_t>(ulAddress), b7Bit))
        {
            ShowMessage(QStringLiteral("Address out of range."));
            return false;
        }
        SetPreference(QStringLiteral("Preferences"), QStringLiteral("I2C_ConnAddress"),
                      m_pI2CAddress->text());
        SetPreference(QStringLiteral("Preferences"), QStringLiteral("I2C_ConnAddressSize"), b7Bit ? 7u : 10u);
        // The entry's value is (pod << 8) | channel.
        const auto ulPodChannel = static_cast<uint32_t>(SelectedValue(m_pI2CChannels));
        m_nChoice = b7Bit ? eConnI2C7Bit : eConnI2C10Bit;
        m_ulAddressWord =
            I2CAddressWord(static_cast<uint32_t>(ulAddress), ulPodChannel >> 8, ulPodChannel & 0xFF);
        break;
    }
    case eTabPCIe:
        if (SelectedValue(m_pBridges) < 0)
        {
            UI().Beep();
            return false;
        }
        m_nChoice = eConnTsi721Driver;
        m_ulAddressWord = static_cast<uint32_t>(SelectedValue(m_pBridges));
        break;
    default:
        return false;
    }
    SetLastConnectionTab(iTab);
    return true;
}

void CConnectDlg::accept()
{
    if (TakeChoice())
    {
        QDialog::accept();
    }
}
