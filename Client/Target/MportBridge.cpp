#include "MportBridge.h"

#include "MportIoctl.h"
#include "UserInterface.h"

#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QLibrary>

#include <cerrno>
#include <cstring>
#include <fcntl.h>
#include <sys/ioctl.h>
#include <unistd.h>

namespace
{
// RapidIO Part 1, 5.4.1: Device Identity CAR at 0; the Tsi721 answers 0x80AB (device) and 0x0038
// (its vendor ID) there.
constexpr uint32_t kDeviceIdentityCar = 0x00;
constexpr uint32_t kTsi721Identity = 0x80AB0038u;
// RapidIO Part 3 (common transport): Base Device ID CSR.
constexpr uint32_t kBaseDeviceIdCsr = 0x60;

QString DevicePath(uint32_t ulIndex)
{
    return QStringLiteral("/dev/rio_mport%1").arg(ulIndex);
}

QString ClassDir(uint32_t ulIndex)
{
    return QStringLiteral("/sys/class/rio_mport/rio_mport%1").arg(ulIndex);
}

// The kernel's character device.
class CKernelMport : public IMportDevice
{
public:
    CKernelMport(int nFd, QString strConfigFile) : m_nFd(nFd), m_strConfigFile(std::move(strConfigFile)) {}
    ~CKernelMport() override { ::close(m_nFd); }
    CKernelMport(const CKernelMport&) = delete;
    CKernelMport& operator=(const CKernelMport&) = delete;

    int Ioctl(unsigned long ulRequest, void* pvArg) override
    {
        return ::ioctl(m_nFd, ulRequest, pvArg) < 0 ? -errno : 0;
    }

    int PciConfigRead(uint32_t ulOffset, uint32_t* pulValue) override
    {
        // The config file gives the configuration space as bytes, little-endian as PCI has it.
        if (m_strConfigFile.isEmpty() || (ulOffset & 3))
        {
            return -EINVAL;
        }
        QFile file(m_strConfigFile);
        if (!file.open(QIODevice::ReadOnly))
        {
            return -EACCES;
        }
        uint8_t ab[4];
        if (!file.seek(ulOffset) || file.read(reinterpret_cast<char*>(ab), 4) != 4)
        {
            return -EIO;
        }
        *pulValue = ab[0] | (ab[1] << 8) | (ab[2] << 16) | (static_cast<uint32_t>(ab[3]) << 24);
        return 0;
    }

private:
    int m_nFd;
    QString m_strConfigFile;
};

// A library standing in for the kernel's device.
class CLibraryMport : public IMportDevice
{
public:
    CLibraryMport(std::unique_ptr<QLibrary> pLibrary, int nHandle, MportIoctlFn pfnIoctl,
                  MportPciConfigReadFn pfnConfig, MportCloseFn pfnClose)
        : m_pLibrary(std::move(pLibrary)), m_nHandle(nHandle), m_pfnIoctl(pfnIoctl), m_pfnConfig(pfnConfig),
          m_pfnClose(pfnClose)
    {
    }
    ~CLibraryMport() override { m_pfnClose(m_nHandle); }
    CLibraryMport(const CLibraryMport&) = delete;
    CLibraryMport& operator=(const CLibraryMport&) = delete;

    int Ioctl(unsigned long ulRequest, void* pvArg) override
    {
        return m_pfnIoctl(m_nHandle, ulRequest, pvArg);
    }
    int PciConfigRead(uint32_t ulOffset, uint32_t* pulValue) override
    {
        return m_pfnConfig(m_nHandle, ulOffset, pulValue);
    }

private:
    std::unique_ptr<QLibrary> m_pLibrary;
    int m_nHandle;
    MportIoctlFn m_pfnIoctl;
    MportPciConfigReadFn m_pfnConfig;
    MportCloseFn m_pfnClose;
};

SMportOpenResult Failure(EMportOpen eWhy, QString strDetail = {})
{
    SMportOpenResult result;
    result.eWhy = eWhy;
    result.strDetail = std::move(strDetail);
    return result;
}

SMportOpenResult OpenThroughLibrary(const QString& strPath, uint32_t ulIndex)
{
    auto pLibrary = std::make_unique<QLibrary>(strPath);
    if (!pLibrary->load())
    {
        return Failure(EMportOpen::NoDriver, pLibrary->errorString());
    }
    auto pfnOpen = reinterpret_cast<MportOpenFn>(pLibrary->resolve("nv_mport_open"));
    auto pfnIoctl = reinterpret_cast<MportIoctlFn>(pLibrary->resolve("nv_mport_ioctl"));
    auto pfnConfig = reinterpret_cast<MportPciConfigReadFn>(pLibrary->resolve("nv_mport_pci_config_read"));
    auto pfnClose = reinterpret_cast<MportCloseFn>(pLibrary->resolve("nv_mport_close"));
    if (!pfnOpen || !pfnIoctl || !pfnConfig || !pfnClose)
    {
        return Failure(EMportOpen::NoDriver, QStringLiteral("%1 lacks an nv_mport_ entry").arg(strPath));
    }
    int nHandle = -1;
    const int nResult = pfnOpen(ulIndex, &nHandle);
    if (nResult == -ENOENT || nResult == -ENODEV)
    {
        return Failure(EMportOpen::NoBridge);
    }
    if (nResult != 0)
    {
        return Failure(nResult == -EACCES || nResult == -EPERM ? EMportOpen::NoAccess : EMportOpen::Failed,
                       QString::fromLocal8Bit(std::strerror(-nResult)));
    }
    SMportOpenResult result;
    result.eWhy = EMportOpen::Ok;
    result.pDevice =
        std::make_unique<CLibraryMport>(std::move(pLibrary), nHandle, pfnIoctl, pfnConfig, pfnClose);
    return result;
}

SMportOpenResult OpenThroughKernel(uint32_t ulIndex)
{
    const QByteArray path = DevicePath(ulIndex).toLocal8Bit();
    const int nFd = ::open(path.constData(), O_RDWR | O_CLOEXEC);
    if (nFd < 0)
    {
        const int nError = errno;
        if (nError == ENOENT || nError == ENXIO || nError == ENODEV)
        {
            // The class folder exists as soon as the driver is loaded, bridge or not.
            return Failure(QFileInfo::exists(QStringLiteral("/sys/class/rio_mport")) ? EMportOpen::NoBridge
                                                                                     : EMportOpen::NoDriver);
        }
        return Failure(nError == EACCES || nError == EPERM ? EMportOpen::NoAccess : EMportOpen::Failed,
                       QString::fromLocal8Bit(std::strerror(nError)));
    }
    SMportOpenResult result;
    result.eWhy = EMportOpen::Ok;
    result.pDevice = std::make_unique<CKernelMport>(nFd, FindPciConfigFile(ClassDir(ulIndex)));
    return result;
}

// The mport, opened and checked to be a Tsi721.
SMportOpenResult OpenTsi721(uint32_t ulIndex)
{
    SMportOpenResult result = OpenMportDevice(ulIndex);
    if (!result.pDevice)
    {
        return result;
    }
    uint32_t ulIdentity = 0;
    rio_mport_maint_io io = mport::MaintIo(0, 0, kDeviceIdentityCar, 4, &ulIdentity);
    const int nResult = result.pDevice->Ioctl(RIO_MPORT_MAINT_READ_LOCAL, &io);
    if (nResult != 0)
    {
        return Failure(EMportOpen::Failed, QString::fromLocal8Bit(std::strerror(-nResult)));
    }
    if (ulIdentity != kTsi721Identity)
    {
        return Failure(EMportOpen::NoBridge);
    }
    return result;
}
} // namespace

SMportOpenResult OpenMportDevice(uint32_t ulIndex)
{
    const QByteArray library = qgetenv(kMportLibraryVariable);
    if (!library.isEmpty())
    {
        return OpenThroughLibrary(QString::fromLocal8Bit(library), ulIndex);
    }
    return OpenThroughKernel(ulIndex);
}

QString FindPciConfigFile(const QString& strClassDir)
{
    QString strDir = strClassDir;
    for (int i = 0; i < 4; ++i)
    {
        const QString strConfig = strDir + QStringLiteral("/config");
        if (QFileInfo(strConfig).isFile())
        {
            return strConfig;
        }
        strDir += QStringLiteral("/device");
        if (!QFileInfo(strDir).isDir())
        {
            break;
        }
    }
    return {};
}

CMportBridge::CMportBridge(std::unique_ptr<IMportDevice> pDevice) : m_pDevice(std::move(pDevice))
{
    rio_mport_properties properties;
    std::memset(&properties, 0, sizeof(properties));
    if (Call(RIO_MPORT_GET_PROPERTIES, &properties))
    {
        m_nDriverLarge = properties.sys_size ? 1 : 0;
        m_bLarge = m_nDriverLarge == 1;
    }
}

bool CMportBridge::Call(unsigned long ulRequest, void* pvArg)
{
    if (!m_pDevice)
    {
        m_nLastError = EBADF;
        return false;
    }
    const int nResult = m_pDevice->Ioctl(ulRequest, pvArg);
    m_nLastError = -nResult;
    return nResult == 0;
}

bool CMportBridge::PciCfgRead(uint32_t ulOffset, uint32_t* pulValue)
{
    if (!m_pDevice)
    {
        m_nLastError = EBADF;
        return false;
    }
    const int nResult = m_pDevice->PciConfigRead(ulOffset, pulValue);
    m_nLastError = -nResult;
    return nResult == 0;
}

bool CMportBridge::RegisterRead(uint32_t ulOffset, uint32_t* pulValue)
{
    // The local maintenance requests of a Tsi721 mport reach its whole register space (BAR0).
    rio_mport_maint_io io = mport::MaintIo(0, 0, ulOffset, 4, pulValue);
    return Call(RIO_MPORT_MAINT_READ_LOCAL, &io);
}

bool CMportBridge::RegisterWrite(uint32_t ulOffset, uint32_t ulValue)
{
    rio_mport_maint_io io = mport::MaintIo(0, 0, ulOffset, 4, &ulValue);
    return Call(RIO_MPORT_MAINT_WRITE_LOCAL, &io);
}

bool CMportBridge::SrioMaintRead(uint32_t ulDestID, uint8_t uchHopCount, uint32_t ulOffset,
                                 uint32_t* pulValue)
{
    const auto wDestID = static_cast<uint16_t>(ulDestID & (m_bLarge ? 0xFFFFu : 0xFFu));
    rio_mport_maint_io io = mport::MaintIo(wDestID, uchHopCount, ulOffset, 4, pulValue);
    return Call(RIO_MPORT_MAINT_READ_REMOTE, &io);
}

bool CMportBridge::SrioMaintWrite(uint32_t ulDestID, uint8_t uchHopCount, uint32_t ulOffset, uint32_t ulValue)
{
    const auto wDestID = static_cast<uint16_t>(ulDestID & (m_bLarge ? 0xFFFFu : 0xFFu));
    rio_mport_maint_io io = mport::MaintIo(wDestID, uchHopCount, ulOffset, 4, &ulValue);
    return Call(RIO_MPORT_MAINT_WRITE_REMOTE, &io);
}

// The flags word: priority in bits 0 and 1, the address extension in bits 2 and 3, the front
// end's flag in bit 4, the write type in bits 6 and 7. The mport driver picks the priority
// itself and carries 64-bit addresses only, so a nonzero extension cannot be sent and fails.
bool CMportBridge::DataRead(uint32_t ulDestID, uint32_t ulAddressHi, uint32_t ulAddressLo, uint32_t ulFlags,
                            void* pvData, uint32_t* pulByteCount)
{
    if (ulFlags & 0x0Cu)
    {
        m_nLastError = EINVAL;
        return false;
    }
    const auto wDestID = static_cast<uint16_t>(ulDestID & (m_bLarge ? 0xFFFFu : 0xFFu));
    const uint64_t ullAddress = (static_cast<uint64_t>(ulAddressHi) << 32) | ulAddressLo;
    rio_transfer_io transfer =
        mport::Transfer(wDestID, ullAddress, pvData, *pulByteCount, RIO_EXCHANGE_DEFAULT);
    rio_transaction transaction = mport::Transaction(&transfer, RIO_TRANSFER_DIR_READ);
    return Call(RIO_TRANSFER, &transaction);
}

bool CMportBridge::DataWrite(uint32_t ulDestID, uint32_t ulAddressHi, uint32_t ulAddressLo, uint32_t ulFlags,
                             const void* pvData, uint32_t* pulByteCount)
{
    const int nMethod = mport::ExchangeOfFlags(ulFlags);
    if ((ulFlags & 0x0Cu) || nMethod < 0)
    {
        m_nLastError = EINVAL;
        return false;
    }
    const auto wDestID = static_cast<uint16_t>(ulDestID & (m_bLarge ? 0xFFFFu : 0xFFu));
    const uint64_t ullAddress = (static_cast<uint64_t>(ulAddressHi) << 32) | ulAddressLo;
    rio_transfer_io transfer =
        mport::Transfer(wDestID, ullAddress, pvData, *pulByteCount, static_cast<uint16_t>(nMethod));
    rio_transaction transaction = mport::Transaction(&transfer, RIO_TRANSFER_DIR_WRITE);
    return Call(RIO_TRANSFER, &transaction);
}

bool CMportBridge::GetDestIDs(uint32_t* pulIDs)
{
    // The host IDs are the bridge's own, in its Base Device ID CSR; packed small ID high, large
    // ID low, the packing the front end and its callers use.
    uint32_t ulCsr = 0;
    if (!RegisterRead(kBaseDeviceIdCsr, &ulCsr))
    {
        return false;
    }
    *pulIDs = mport::PackDestIDs(ulCsr);
    return true;
}

void CMportBridge::SetDestIDSize(bool bLarge)
{
    // The ID the bridge takes inbound messages for is the kernel's business on Linux (it
    // programs it from the mport's host ID when a mailbox opens), so nothing is written to the
    // bridge here. The driver sends every request in its own transport size; when the settings
    // ask for the other one the user is told which size the requests carry.
    if (m_nDriverLarge >= 0 && bLarge != (m_nDriverLarge == 1))
    {
        ShowMessage(QStringLiteral("The Tsi721 bridge's driver addresses the fabric with %1-bit destination "
                                   "IDs, not the %2-bit IDs of the settings. Requests carry %1-bit IDs.")
                        .arg(m_nDriverLarge ? 16 : 8)
                        .arg(bLarge ? 16 : 8),
                    EMessageKind::Warning);
        m_bLarge = m_nDriverLarge == 1;
        return;
    }
    m_bLarge = bLarge;
}

void CMportBridge::Close()
{
    m_pDevice.reset();
}

std::unique_ptr<ITsi721Bridge> OpenMportBridge(uint32_t ulIndex)
{
    SMportOpenResult result = OpenTsi721(ulIndex);
    switch (result.eWhy)
    {
    case EMportOpen::Ok:
        return std::make_unique<CMportBridge>(std::move(result.pDevice));
    case EMportOpen::NoDriver:
        ShowMessage(
            QStringLiteral("The Tsi721 device driver could not be loaded.\r\n\r\nPlease ensure you have "
                           "installed the latest driver package from IDT."));
        break;
    case EMportOpen::NoBridge:
        ShowMessage(QStringLiteral("No PCIe Tsi721 boards found."));
        break;
    case EMportOpen::NoAccess:
    case EMportOpen::Failed:
        ShowMessage(QStringLiteral("Unable to open the Tsi721 bridge %1: %2")
                        .arg(DevicePath(ulIndex), result.strDetail));
        break;
    }
    return nullptr;
}

bool MportDriverPresent()
{
    const QByteArray library = qgetenv(kMportLibraryVariable);
    if (!library.isEmpty())
    {
        QLibrary probe(QString::fromLocal8Bit(library));
        return probe.load();
    }
    return QFileInfo::exists(QStringLiteral("/sys/class/rio_mport")) || QFileInfo::exists(DevicePath(0));
}

bool MportBridgeOpens(uint32_t ulIndex)
{
    return OpenTsi721(ulIndex).pDevice != nullptr;
}
