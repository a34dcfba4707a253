// What the connection dialog needs besides its widgets: the checks of what a person types, the
// address words of the connection choices, and the lists of each tab with the text each shows
// when it finds nothing.
#pragma once

#include <QString>
#include <QStringList>

#include <cstdint>
#include <vector>

// The tabs of the dialog, in their order; LastConnTab remembers one of these.
enum EConnectionTab
{
    eTabEthernet = 0,
    eTabInternet = 1,
    eTabRS232 = 2,
    eTabJTAG = 3,
    eTabI2C = 4,
    eTabPCIe = 5,
};

// The tab shown first: the one used last.
int LastConnectionTab();
void SetLastConnectionTab(int iTab);

// A typed IPv4 address in host order. False for fewer than four fields, a field above 255 or
// anything else that isn't an address, and for 0.0.0.0.
bool ParseInternetAddress(const QString& strText, uint32_t* pulAddress);
QString InvalidAddressText();

// A typed server: an IPv4 address with an optional ":port" (1 to 65535); *pwPort is 0 without
// one, which leaves the server port of the settings. False with the message to show.
bool ParseInternetTarget(const QString& strText, uint32_t* pulAddress, uint16_t* pwPort, QString* pstrError);
QString InvalidPortText();

// The link's parameters of Settings > Parameters: keys of the section Preferences that the server
// links read when they open a socket or search.
struct SLinkParameter
{
    const char* pszKey;
    const char* pszText; // what the dialog calls it
    uint32_t ulMin;      // range of a number
    uint32_t ulMax;
    uint32_t ulDefault;    // the standard value (host order for the address)
    bool bAddress = false; // an IPv4 address, stored as "a.b.c.d"
};
const std::vector<SLinkParameter>& LinkParameters();
// The stored value as the dialog shows it: the number in decimal, the address dotted.
QString LinkParameterText(const SLinkParameter& parameter);
QString LinkParameterDefaultText(const SLinkParameter& parameter);
// Reads a typed value: a number by the number entry rule within the parameter's range, or an
// address. False with the message to show.
bool ParseLinkParameter(const SLinkParameter& parameter, const QString& strText, uint32_t* pulValue,
                        QString* pstrError);
void StoreLinkParameter(const SLinkParameter& parameter, uint32_t ulValue);

// The address word of an I2C choice: (address << 16) | (pod << 8) | channel.
uint32_t I2CAddressWord(uint32_t ulAddress, uint32_t ulPod, uint32_t ulChannel);
// Whether an I2C address fits the chosen addressing (7 or 10 bits).
bool I2CAddressInRange(uint32_t ulAddress, bool b7Bit);

// One entry of a tab's list: the text shown and the value handed back.
struct SLinkEntry
{
    QString strText;
    uint32_t ulValue = 0;
};

// A tab's list, or the text it shows instead when there is nothing to list.
struct SLinkList
{
    std::vector<SLinkEntry> entries;
    QString strNotFound;
};

// Serial ports of this machine that can be opened (/dev/ttyS*, /dev/ttyUSB*, /dev/ttyACM*).
SLinkList SerialPorts();
// The baud rates offered, and the one chosen by default.
const std::vector<int>& BaudRates();
constexpr int kDefaultBaudRate = 115200;
QStringList FlowControls();
// The JTAG pods and the I2C pod channels that can be used.
SLinkList JtagDevices();
SLinkList I2CChannels();
// The Tsi721 bridges of this machine.
SLinkList PcieBridges();
