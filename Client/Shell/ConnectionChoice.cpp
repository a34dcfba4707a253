#include "ConnectionChoice.h"

#include "JtagLink.h"

#include "I2cLink.h"
#include "LinkSettings.h"
#include "MportBridge.h"
#include "NumberText.h"
#include "Preferences.h"
#include "RS232Comms.h"

#include <QDir>
#include <QFile>
#include <QFileInfo>

#include <fcntl.h>
#include <unistd.h>

namespace
{
bool CanOpen(const QString& strDevice)
{
    const int nFile = ::open(QFile::encodeName(strDevice).constData(), O_RDWR | O_NOCTTY | O_NONBLOCK);
    if (nFile < 0)
    {
        return false;
    }
    ::close(nFile);
    return true;
}
} // namespace

int LastConnectionTab()
{
    const uint32_t ulTab = GetPreference(QStringLiteral("Preferences"), QStringLiteral("LastConnTab"), 0u);
    return ulTab <= eTabPCIe ? static_cast<int>(ulTab) : eTabEthernet;
}

void SetLastConnectionTab(int iTab)
{
    SetPreference(QStringLiteral("Preferences"), QStringLiteral("LastConnTab"), static_cast<uint32_t>(iTab));
}

bool ParseInternetAddress(const QString& strText, uint32_t* pulAddress)
{
    const QStringList fields = strText.trimmed().split(QLatin1Char('.'));
    if (fields.size() != 4)
    {
        return false;
    }
    uint32_t ulAddress = 0;
    for (const QString& strField : fields)
    {
        bool bOk = false;
        const uint uField = strField.toUInt(&bOk, 10);
        if (!bOk || uField > 255)
        {
            return false;
        }
        ulAddress = (ulAddress << 8) | uField;
    }
    if (ulAddress == 0)
    {
        return false;
    }
    *pulAddress = ulAddress;
    return true;
}

QString InvalidAddressText()
{
    return QStringLiteral("Please enter a valid IP address.");
}

QString InvalidPortText()
{
    return QStringLiteral("Please enter a valid port number (1 to 65535) after the address.");
}

bool ParseInternetTarget(const QString& strText, uint32_t* pulAddress, uint16_t* pwPort, QString* pstrError)
{
    const QString strTrimmed = strText.trimmed();
    const qsizetype iColon = strTrimmed.indexOf(QLatin1Char(':'));
    uint16_t wPort = 0;
    if (iColon >= 0)
    {
        bool bOk = false;
        const uint uPort = strTrimmed.mid(iColon + 1).trimmed().toUInt(&bOk, 10);
        if (!bOk || uPort < 1 || uPort > 0xFFFF)
        {
            *pstrError = InvalidPortText();
            return false;
        }
        wPort = static_cast<uint16_t>(uPort);
    }
    if (!ParseInternetAddress(iColon >= 0 ? strTrimmed.left(iColon) : strTrimmed, pulAddress))
    {
        *pstrError = InvalidAddressText();
        return false;
    }
    *pwPort = wPort;
    return true;
}

const std::vector<SLinkParameter>& LinkParameters()
{
    const SLinkSettings standard;
    static const std::vector<SLinkParameter> parameters = {
        {"ServerPort", "Server port (TCP and UDP)", 1, 0xFFFF, standard.wServerPort},
        {"UdpLocalPort", "Local UDP port (0: any)", 0, 0xFFFF, standard.wUdpLocalPort},
        {"BroadcastAddress", "Search broadcast address", 0, 0xFFFFFFFFu, standard.ulBroadcastAddress, true},
        {"BroadcastPort", "Search port of the servers", 1, 0xFFFF, standard.wBroadcastPort},
        {"BroadcastReplyPort", "Search reply port", 1, 0xFFFF, standard.wReplyPort},
        {"SearchWaitMs", "Search wait after the last answer (ms)", 100, 60000, standard.ulSearchMilliseconds},
        {"ReceiveWaitMs", "Wait limit of a receive (ms)", 100, 600000, standard.ulWaitMilliseconds},
    };
    return parameters;
}

namespace
{
QString DottedAddress(uint32_t ulAddress)
{
    return QStringLiteral("%1.%2.%3.%4")
        .arg(ulAddress >> 24)
        .arg((ulAddress >> 16) & 0xFF)
        .arg((ulAddress >> 8) & 0xFF)
        .arg(ulAddress & 0xFF);
}

const QString kPreferences = QStringLiteral("Preferences");
} // namespace

QString LinkParameterDefaultText(const SLinkParameter& parameter)
{
    return parameter.bAddress ? DottedAddress(parameter.ulDefault) : QString::number(parameter.ulDefault);
}

QString LinkParameterText(const SLinkParameter& parameter)
{
    const QString strKey = QLatin1String(parameter.pszKey);
    if (parameter.bAddress)
    {
        return GetPreference(kPreferences, strKey, LinkParameterDefaultText(parameter));
    }
    const uint32_t ulValue = GetPreference(kPreferences, strKey, parameter.ulDefault);
    return QString::number(ulValue >= parameter.ulMin && ulValue <= parameter.ulMax ? ulValue
                                                                                    : parameter.ulDefault);
}

bool ParseLinkParameter(const SLinkParameter& parameter, const QString& strText, uint32_t* pulValue,
                        QString* pstrError)
{
    if (parameter.bAddress)
    {
        const QStringList fields = strText.trimmed().split(QLatin1Char('.'));
        uint32_t ulAddress = 0;
        bool bValid = fields.size() == 4;
        for (const QString& strField : fields)
        {
            bool bOk = false;
            const uint uField = strField.toUInt(&bOk, 10);
            bValid = bValid && bOk && uField <= 255;
            ulAddress = (ulAddress << 8) | (uField & 0xFF);
        }
        if (!bValid || ulAddress == 0)
        {
            *pstrError = InvalidAddressText();
            return false;
        }
        *pulValue = ulAddress;
        return true;
    }
    uint64_t ulValue = 0;
    if (!NumberFromText(strText, &ulValue))
    {
        *pstrError = InvalidEntryText();
        return false;
    }
    if (ulValue < parameter.ulMin || ulValue > parameter.ulMax)
    {
        *pstrError = QStringLiteral("%1 must lie in the range %2 to %3.")
                         .arg(QString::fromLatin1(parameter.pszText).section(QStringLiteral(" ("), 0, 0))
                         .arg(parameter.ulMin)
                         .arg(parameter.ulMax);
        return false;
    }
    *pulValue = static_cast<uint32_t>(ulValue);
    return true;
}

void StoreLinkParameter(const SLinkParameter& parameter, uint32_t ulValue)
{
    const QString strKey = QLatin1String(parameter.pszKey);
    if (parameter.bAddress)
    {
        SetPreference(kPreferences, strKey, DottedAddress(ulValue));
    }
    else
    {
        SetPreference(kPreferences, strKey, ulValue);
    }
}

uint32_t I2CAddressWord(uint32_t ulAddress, uint32_t ulPod, uint32_t ulChannel)
{
    return (ulAddress << 16) | ((ulPod & 0xFF) << 8) | (ulChannel & 0xFF);
}

bool I2CAddressInRange(uint32_t ulAddress, bool b7Bit)
{
    return ulAddress <= (b7Bit ? 0x7Fu : 0x3FFu);
}

SLinkList SerialPorts()
{
    SLinkList list;
    // The value of an entry is its number among all candidates, opened or not, which is how the
    // link finds the device again.
    const QStringList candidates = SerialPortCandidates();
    for (qsizetype i = 0; i < candidates.size(); ++i)
    {
        if (CanOpen(candidates[i]))
        {
            list.entries.push_back({candidates[i], static_cast<uint32_t>(i)});
        }
    }
    if (list.entries.empty())
    {
        list.strNotFound = QStringLiteral("Please select a valid COM Port.");
    }
    return list;
}

const std::vector<int>& BaudRates()
{
    static const std::vector<int> rates = {1200,  2400,  4800,  9600,   14400,  19200,
                                           38400, 56000, 57600, 115200, 128000, 256000};
    return rates;
}

QStringList FlowControls()
{
    return {QStringLiteral("None"), QStringLiteral("Hardware"), QStringLiteral("Software")};
}

SLinkList JtagDevices()
{
    // Every pod's chain, walked with the devices the pod library does not know added first; the
    // value handed back is the chain entry's address word.
    SLinkList list;
    for (const SJtagChainEntry& row : ScanJtagPods(&list.strNotFound))
    {
        // The columns of the scan, split by tabs: "JTAG Pod", "Chain Pos", "Device ID",
        // "Vendor ID", "Device Name".
        list.entries.push_back({QStringLiteral("USB%1\t%2\t%3\t%4\t%5")
                                    .arg(row.ulPod)
                                    .arg(row.ulPosition)
                                    .arg(QString::asprintf("%04Xh", row.wDeviceID),
                                         QString::asprintf("%04Xh", row.wVendorID), row.strName),
                                JtagAddressWord(row.ulPod, row.ulPosition)});
    }
    return list;
}

SLinkList I2CChannels()
{
    SLinkList list;
    // Every channel of every pod: kernel adapters by the name the adapter gives itself, FTDI
    // cables of the accepted kinds, and the channels of a pod library. The value is
    // (pod << 8) | channel, the low half of the address word.
    for (const SI2cPodChannel& channel : CI2cLayer::Instance().Channels())
    {
        list.entries.push_back(
            {QStringLiteral("%1\t%2").arg(channel.info.strDescription).arg(channel.info.ulId),
             (static_cast<uint32_t>(channel.ePod) << 8) | (channel.info.ulId & 0xFF)});
    }
    if (list.entries.empty())
    {
        list.strNotFound = QStringLiteral("libMPSSE.dll was not loaded.");
    }
    return list;
}

SLinkList PcieBridges()
{
    SLinkList list;
    if (!MportDriverPresent())
    {
        list.strNotFound =
            QStringLiteral("The Tsi721 device driver could not be loaded.\r\n\r\nPlease ensure you have "
                           "installed the latest driver package from IDT.");
        return list;
    }
    // Only the first bridge is looked for.
    if (MportBridgeOpens(0))
    {
        list.entries.push_back({QStringLiteral("Tsi721 RapidIO/PCIe Bridge %1").arg(0), 0});
    }
    else
    {
        list.strNotFound = QStringLiteral("No PCIe Tsi721 boards found.");
    }
    return list;
}
