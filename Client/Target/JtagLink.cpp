#include "JtagLink.h"

#include "DebugLog.h"
#include "DeviceInfo.h"
#include "Preferences.h"
#include "UserInterface.h"

#include <QLibrary>
#include <QRegularExpression>
#include <memory>

namespace
{
const QString kDeviceSection = QStringLiteral("JtagDeviceList");

const QString kNoPods =
    QStringLiteral("No compatible JTAG Pods found.\r\n\r\nThis could be due to the JTAG Pod not being "
                   "connected, or the FTDI D2XX\r\ndrivers not being installed properly.");

// Offset of the Device Identity CAR: device ID in the high half, vendor ID in the low.
constexpr uint32_t kDeviceIdentityCar = 0x00;

QLibrary* Library(void* pv)
{
    return static_cast<QLibrary*>(pv);
}

// The library's diagnostics go to the JTAG channel of the debug log, appended line by line.
void DebugLine(void*, const char* pszLine)
{
    if (pszLine && DebugEnabled(eDebugJTAG))
    {
        DebugPrint(eDebugJTAG, "JTAG: %s\n", pszLine);
    }
}

QString PodName(uint32_t ulPod)
{
    return QStringLiteral("USB%1").arg(ulPod);
}

QString DeviceName(uint16_t wDeviceID, uint16_t wVendorID)
{
    if (CDeviceInfo::DeviceFilesExist(wDeviceID, wVendorID))
    {
        CDeviceInfo info;
        if (info.LoadForDevice(wDeviceID, wVendorID, false) && !info.GetCommonName().isEmpty())
        {
            return info.GetCommonName();
        }
    }
    return QStringLiteral("Unknown Device");
}

// Adds every stored user device to an open pod; a refusal is logged and the walk goes on.
void AddUserDevices(CJtagLibrary& library, int32_t lHandle)
{
    for (const SJtagUserDevice& device : LoadJtagUserDevices())
    {
        const QByteArray name = device.strName.toLocal8Bit();
        const int32_t lStatus =
            library.pfnAddDevice(lHandle, name.constData(), device.ulJtagID, device.ulIRLength);
        if (lStatus != kJtagOk)
        {
            DebugPrint(eDebugJTAG, "JTAG: jtagAddDevice %s %08X failed %d\n", name.constData(),
                       device.ulJtagID, lStatus);
        }
    }
}
} // namespace

// --- The list of devices the library does not know

QString JtagUserDeviceText(const SJtagUserDevice& device)
{
    return QStringLiteral("%1 %2 %3")
        .arg(QString::asprintf("%08X", device.ulJtagID))
        .arg(device.ulIRLength)
        .arg(device.strName);
}

bool ParseJtagUserDevice(const QString& strText, SJtagUserDevice* pDevice)
{
    static const QRegularExpression pattern(QStringLiteral("^([0-9A-Fa-f]{1,8}) +([0-9]{1,3}) (.+)$"));
    const QRegularExpressionMatch match = pattern.match(strText);
    if (!match.hasMatch())
    {
        return false;
    }
    const uint32_t ulIRLength = match.captured(2).toUInt();
    if (ulIRLength == 0 || ulIRLength > 255)
    {
        return false;
    }
    pDevice->ulJtagID = match.captured(1).toUInt(nullptr, 16);
    pDevice->ulIRLength = ulIRLength;
    pDevice->strName = match.captured(3);
    return true;
}

std::vector<SJtagUserDevice> LoadJtagUserDevices()
{
    std::vector<SJtagUserDevice> devices;
    const uint32_t ulCount = GetPreference(kDeviceSection, QStringLiteral("NumDevices"), 0u);
    for (uint32_t i = 0; i < ulCount && i < 1024; ++i)
    {
        SJtagUserDevice device;
        const QString strText = GetPreference(kDeviceSection, QStringLiteral("Device%1").arg(i), QString());
        if (ParseJtagUserDevice(strText, &device))
        {
            devices.push_back(device);
        }
    }
    return devices;
}

bool SaveJtagUserDevices(const std::vector<SJtagUserDevice>& devices)
{
    const uint32_t ulOld = GetPreference(kDeviceSection, QStringLiteral("NumDevices"), 0u);
    for (size_t i = 0; i < devices.size(); ++i)
    {
        if (!SetPreference(kDeviceSection, QStringLiteral("Device%1").arg(i), JtagUserDeviceText(devices[i])))
        {
            return false;
        }
    }
    for (uint32_t i = static_cast<uint32_t>(devices.size()); i < ulOld && i < 1024; ++i)
    {
        RemovePreference(kDeviceSection, QStringLiteral("Device%1").arg(i));
    }
    return SetPreference(kDeviceSection, QStringLiteral("NumDevices"), static_cast<uint32_t>(devices.size()));
}

int FindJtagUserDevice(const std::vector<SJtagUserDevice>& devices, uint32_t ulJtagID)
{
    for (size_t i = 0; i < devices.size(); ++i)
    {
        if (devices[i].ulJtagID == ulJtagID)
        {
            return static_cast<int>(i);
        }
    }
    return -1;
}

// --- The library

CJtagLibrary& CJtagLibrary::Instance()
{
    static CJtagLibrary library;
    return library;
}

QString CJtagLibrary::ConfiguredName()
{
    const QString strEnv = qEnvironmentVariable("NORVANTA_JTAG_LIBRARY");
    if (!strEnv.isEmpty())
    {
        return strEnv;
    }
    return GetPreference(QStringLiteral("Preferences"), QStringLiteral("JtagLibrary"), "nvt_jtag");
}

void CJtagLibrary::Forget()
{
    pfnGetDriverVersion = nullptr;
    pfnSetDebugLevel = nullptr;
    pfnSetDebugCallback = nullptr;
    pfnOpen = nullptr;
    pfnAddDevice = nullptr;
    pfnDiscover = nullptr;
    pfnDeviceSelect = nullptr;
    pfnRead = nullptr;
    pfnWrite = nullptr;
    pfnClose = nullptr;
    if (m_pvLibrary)
    {
        // Our callback must not outlive the library's knowledge of it; the library itself stays
        // mapped, as a pod closed late may still call into it.
        delete Library(m_pvLibrary);
        m_pvLibrary = nullptr;
    }
    m_strLoaded.clear();
}

bool CJtagLibrary::Start(bool bQuietIfAbsent)
{
    const QString strName = ConfiguredName();
    if (m_pvLibrary && strName == m_strLoaded)
    {
        return true;
    }
    Forget();
    auto pLibrary = std::make_unique<QLibrary>(strName);
    if (!pLibrary->load())
    {
        DebugPrint(eDebugJTAG, "JTAG: %s\n", pLibrary->errorString().toLocal8Bit().constData());
        if (!bQuietIfAbsent)
        {
            ShowMessage(kNoPods);
        }
        return false;
    }
    void* apfn[std::size(kJtagEntryPoints)] = {};
    for (size_t i = 0; i < std::size(kJtagEntryPoints); ++i)
    {
        apfn[i] = reinterpret_cast<void*>(pLibrary->resolve(kJtagEntryPoints[i]));
        if (!apfn[i])
        {
            ShowMessage(QStringLiteral("The JTAG pod library %1 has no entry point %2, so it can't be used.")
                            .arg(pLibrary->fileName(), QLatin1String(kJtagEntryPoints[i])));
            return false;
        }
    }
    pfnGetDriverVersion = reinterpret_cast<PFN_jtagGetDriverVersion>(apfn[0]);
    pfnSetDebugLevel = reinterpret_cast<PFN_jtagSetDebugLevel>(apfn[1]);
    pfnSetDebugCallback = reinterpret_cast<PFN_jtagSetDebugCallback>(apfn[2]);
    pfnOpen = reinterpret_cast<PFN_jtagOpen>(apfn[3]);
    pfnAddDevice = reinterpret_cast<PFN_jtagAddDevice>(apfn[4]);
    pfnDiscover = reinterpret_cast<PFN_jtagDiscover>(apfn[5]);
    pfnDeviceSelect = reinterpret_cast<PFN_jtagDeviceSelect>(apfn[6]);
    pfnRead = reinterpret_cast<PFN_jtagRead>(apfn[7]);
    pfnWrite = reinterpret_cast<PFN_jtagWrite>(apfn[8]);
    pfnClose = reinterpret_cast<PFN_jtagClose>(apfn[9]);
    m_pvLibrary = pLibrary.release();
    m_strLoaded = strName;

    DebugInit();
    uint32_t ulVersion = 0;
    if (pfnGetDriverVersion(&ulVersion) != kJtagOk || ulVersion < kJtagMinDriverVersion)
    {
        ShowMessage(
            QStringLiteral("FTDI D2XX Driver is not up to date.\n\n Please download and install V2.08.14 "
                           "or later from ftdichip.com."),
            EMessageKind::Warning);
    }
    pfnSetDebugLevel(DebugEnabled(eDebugJTAG) ? 1 : 0);
    pfnSetDebugCallback(&DebugLine, nullptr);
    return true;
}

// --- Scan

std::vector<SJtagChainEntry> ScanJtagPods(QString* pstrNotFound)
{
    std::vector<SJtagChainEntry> rows;
    CJtagLibrary& library = CJtagLibrary::Instance();
    if (!library.Start(true))
    {
        *pstrNotFound = kNoPods;
        return rows;
    }
    uint32_t ulPods = 0;
    for (uint32_t ulPod = 0; ulPod < kMaxJtagPods; ++ulPod)
    {
        const QByteArray name = PodName(ulPod).toLatin1();
        int32_t lHandle = -1;
        if (library.pfnOpen(name.constData(), &lHandle) != kJtagOk)
        {
            break;
        }
        ++ulPods;
        AddUserDevices(library, lHandle);
        uint32_t ulCount = 0;
        const int32_t lStatus = library.pfnDiscover(lHandle, &ulCount);
        if (lStatus != kJtagOk)
        {
            DebugPrint(eDebugJTAG, "JTAG: jtagDiscover on %s failed %d\n", name.constData(), lStatus);
            ulCount = 0;
        }
        for (uint32_t ulPosition = 0; ulPosition < ulCount; ++ulPosition)
        {
            uint32_t ulIdentity = 0;
            const int32_t lSelect = library.pfnDeviceSelect(lHandle, ulPosition);
            const int32_t lRead =
                lSelect == kJtagOk ? library.pfnRead(lHandle, kDeviceIdentityCar, &ulIdentity) : lSelect;
            if (lRead != kJtagOk)
            {
                DebugPrint(eDebugJTAG, "JTAG: %s position %u has no readable identity (%d)\n",
                           name.constData(), ulPosition, lRead);
                continue;
            }
            SJtagChainEntry row;
            row.ulPod = ulPod;
            row.ulPosition = ulPosition;
            row.wDeviceID = static_cast<uint16_t>(ulIdentity >> 16);
            row.wVendorID = static_cast<uint16_t>(ulIdentity);
            row.strName = DeviceName(row.wDeviceID, row.wVendorID);
            rows.push_back(row);
        }
        library.pfnClose(lHandle);
    }
    if (ulPods == 0)
    {
        *pstrNotFound = kNoPods;
    }
    else if (rows.empty())
    {
        *pstrNotFound = QStringLiteral("No devices found on JTAG chain.");
    }
    return rows;
}

// --- The register path

CJtagRegisterPod::CJtagRegisterPod(int32_t lHandle, uint32_t ulPod, uint32_t ulPosition)
    : m_lHandle(lHandle), m_ulPod(ulPod), m_ulPosition(ulPosition)
{
}

CJtagRegisterPod::~CJtagRegisterPod()
{
    Close();
}

bool CJtagRegisterPod::ReadRegister(uint32_t ulOffset, uint32_t* pulValue)
{
    if (m_lHandle < 0)
    {
        return false;
    }
    const int32_t lStatus = CJtagLibrary::Instance().pfnRead(m_lHandle, ulOffset, pulValue);
    if (lStatus != kJtagOk)
    {
        DebugPrint(eDebugJTAG, "JTAG: read of %08X at USB%u:%u failed %d\n", ulOffset, m_ulPod, m_ulPosition,
                   lStatus);
    }
    return lStatus == kJtagOk;
}

bool CJtagRegisterPod::WriteRegister(uint32_t ulOffset, uint32_t ulValue)
{
    if (m_lHandle < 0)
    {
        return false;
    }
    const int32_t lStatus = CJtagLibrary::Instance().pfnWrite(m_lHandle, ulOffset, ulValue);
    if (lStatus != kJtagOk)
    {
        DebugPrint(eDebugJTAG, "JTAG: write of %08X to %08X at USB%u:%u failed %d\n", ulValue, ulOffset,
                   m_ulPod, m_ulPosition, lStatus);
    }
    return lStatus == kJtagOk;
}

void CJtagRegisterPod::Close()
{
    if (m_lHandle >= 0 && CJtagLibrary::Instance().pfnClose)
    {
        CJtagLibrary::Instance().pfnClose(m_lHandle);
    }
    m_lHandle = -1;
}

bool OpenJtagLink(CTargetLink& link, uint32_t ulAddressWord)
{
    CJtagLibrary& library = CJtagLibrary::Instance();
    if (!library.Start())
    {
        return false;
    }
    const uint32_t ulPod = ulAddressWord >> 16;
    const uint32_t ulPosition = ulAddressWord & 0xFFFFu;
    const QByteArray name = PodName(ulPod).toLatin1();
    int32_t lHandle = -1;
    if (library.pfnOpen(name.constData(), &lHandle) != kJtagOk)
    {
        ShowMessage(kNoPods);
        return false;
    }
    auto pPod = std::make_unique<CJtagRegisterPod>(lHandle, ulPod, ulPosition);
    AddUserDevices(library, lHandle);
    uint32_t ulCount = 0;
    int32_t lStatus = library.pfnDiscover(lHandle, &ulCount);
    if (lStatus != kJtagOk || ulCount == 0)
    {
        ShowMessage(QStringLiteral("No devices found on JTAG chain."));
        return false;
    }
    if (ulPosition >= ulCount)
    {
        ShowMessage(
            QStringLiteral("There is no device at position %1 of the JTAG chain on %2: the chain holds %3.")
                .arg(ulPosition)
                .arg(PodName(ulPod))
                .arg(ulCount));
        return false;
    }
    lStatus = library.pfnDeviceSelect(lHandle, ulPosition);
    if (lStatus == kJtagUnknownChain)
    {
        ShowMessage(
            QStringLiteral("A device on the JTAG chain of %1 is not known to the JTAG pod library.\n\nAdd "
                           "it to the Unsupported JTAG Devices with its JTAG ID and IR length.")
                .arg(PodName(ulPod)));
        return false;
    }
    if (lStatus != kJtagOk)
    {
        ShowMessage(
            QStringLiteral("Unable to select the device at position %1 of the JTAG chain on %2 (error %3).")
                .arg(ulPosition)
                .arg(PodName(ulPod))
                .arg(lStatus));
        return false;
    }
    link.AttachPod(eLinkJTAG, std::move(pPod));
    link.lJTAGDevice = static_cast<int32_t>(ulAddressWord);
    return true;
}
