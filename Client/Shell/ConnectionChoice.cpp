#include "ConnectionChoice.h"

#include "Preferences.h"

#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QLibrary>

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
    const QDir devices(QStringLiteral("/dev"));
    const QStringList names =
        devices.entryList({QStringLiteral("ttyS*"), QStringLiteral("ttyUSB*"), QStringLiteral("ttyACM*")},
                          QDir::System, QDir::Name);
    uint32_t ulIndex = 0;
    for (const QString& strName : names)
    {
        if (CanOpen(devices.filePath(strName)))
        {
            list.entries.push_back({devices.filePath(strName), ulIndex});
        }
        ++ulIndex;
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
    SLinkList list;
    // The pod library is the pod maker's; without it no pod can be reached.
    QLibrary library(QStringLiteral("nvt_jtag"));
    if (!library.load())
    {
        list.strNotFound =
            QStringLiteral("No compatible JTAG Pods found.\r\n\r\nThis could be due to the JTAG Pod not "
                           "being connected, or the FTDI D2XX\r\ndrivers not being installed properly.");
        return list;
    }
    library.unload();
    list.strNotFound = QStringLiteral("No devices found on JTAG chain.");
    return list;
}

SLinkList I2CChannels()
{
    SLinkList list;
    // Adapters of the kernel's i2c-dev interface, by the name the adapter gives itself.
    const QDir adapters(QStringLiteral("/sys/class/i2c-dev"));
    const QStringList names = adapters.entryList(QDir::Dirs | QDir::NoDotAndDotDot, QDir::Name);
    for (const QString& strName : names)
    {
        QFile nameFile(adapters.filePath(strName + QStringLiteral("/name")));
        if (!nameFile.open(QIODevice::ReadOnly) || !CanOpen(QStringLiteral("/dev/") + strName))
        {
            continue;
        }
        const QString strDescription = QString::fromLocal8Bit(nameFile.readAll()).trimmed();
        const uint32_t ulChannel = strName.mid(4).toUInt();
        list.entries.push_back({QStringLiteral("%1\t%2").arg(strDescription).arg(ulChannel), ulChannel});
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
    const bool bDriver = QFileInfo::exists(QStringLiteral("/sys/class/rio_mport")) ||
                         QFileInfo::exists(QStringLiteral("/dev/rio_mport0"));
    if (!bDriver)
    {
        list.strNotFound =
            QStringLiteral("The Tsi721 device driver could not be loaded.\r\n\r\nPlease ensure you have "
                           "installed the latest driver package from IDT.");
        return list;
    }
    if (CanOpen(QStringLiteral("/dev/rio_mport0")))
    {
        list.entries.push_back({QStringLiteral("Tsi721 RapidIO/PCIe Bridge %1").arg(0), 0});
    }
    else
    {
        list.strNotFound = QStringLiteral("No PCIe Tsi721 boards found.");
    }
    return list;
}
