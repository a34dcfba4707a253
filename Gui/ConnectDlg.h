// The connection choice: six tabs, "Ethernet" (the broadcast search and the list of known
// targets), "Internet" (a typed address), "RS232", "JTAG", "I2C" and "PCIe" (each with its
// list, or the text it shows when there is nothing to list). It hands back the connection
// choice and its 32-bit address word.
#pragma once

#include "ConnectionChoice.h"
#include "TargetList.h"

#include <QDialog>

class QButtonGroup;
class QComboBox;
class QLabel;
class QLineEdit;
class QListWidget;
class QRadioButton;
class QTabWidget;
class QTreeWidget;

class CConnectDlg : public QDialog
{
    Q_OBJECT

public:
    explicit CConnectDlg(QWidget* pParent = nullptr);

    int32_t Choice() const { return m_nChoice; }
    uint32_t AddressWord() const { return m_ulAddressWord; }
    // The port typed after the address on the Internet tab, or 0 for the settings' server port.
    uint16_t ServerPort() const { return m_wServerPort; }

    // Checks the current tab and takes its choice; false (with the tab's message) keeps the
    // dialog open.
    bool TakeChoice();
    // The broadcast search of the Ethernet tab.
    void Search();

    QTabWidget* Tabs() const { return m_pTabs; }
    QTreeWidget* TargetTree() const { return m_pTargets; }
    QLineEdit* InternetAddress() const { return m_pAddress; }
    QRadioButton* InternetUdp() const { return m_pInternetUdp; }
    QListWidget* I2CChannelList() const { return m_pI2CChannels; }
    QLineEdit* I2CAddress() const { return m_pI2CAddress; }
    QRadioButton* I2C10Bit() const { return m_pI2C10Bit; }
    QTreeWidget* JtagDeviceList() const { return m_pJtagDevices; }
    QListWidget* SerialPortList() const { return m_pSerialPorts; }
    // Opens "Unsupported JTAG Devices" and, when it closes, walks the chains again with the list
    // as it now stands.
    void DefineJtagDevices();
    // The text a tab shows in place of its list, or empty when it has a list.
    QString NotFoundText(int iTab) const;

    void accept() override;

private:
    QWidget* MakeEthernetTab();
    QWidget* MakeInternetTab();
    QWidget* MakeListTab(const SLinkList& list, QListWidget** ppList, QWidget* pExtra = nullptr);
    void FillTargets();
    QWidget* MakeJtagTab();

    QTabWidget* m_pTabs = nullptr;
    CTargetList m_targets;
    QTreeWidget* m_pTargets = nullptr;
    QLineEdit* m_pAddress = nullptr;
    QRadioButton* m_pInternetUdp = nullptr;
    QListWidget* m_pSerialPorts = nullptr;
    QComboBox* m_pBaudRate = nullptr;
    QComboBox* m_pFlowControl = nullptr;
    QTreeWidget* m_pJtagDevices = nullptr; // the scan's rows in their columns
    QListWidget* m_pI2CChannels = nullptr;
    QLineEdit* m_pI2CAddress = nullptr;
    QRadioButton* m_pI2C10Bit = nullptr;
    QListWidget* m_pBridges = nullptr;
    std::vector<SLinkList> m_lists; // RS232, JTAG, I2C and PCIe, as found when the dialog opened
    int32_t m_nChoice = 0;
    uint32_t m_ulAddressWord = 0;
    uint16_t m_wServerPort = 0;
};
