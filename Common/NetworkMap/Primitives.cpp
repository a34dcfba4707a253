#include "Primitives.h"

#include "DeviceInfo.h"
#include "InstallPaths.h"

#include <QStringList>

#include <algorithm>

void CConnectionPrimitive::SetStatus(const QString& strStatus)
{
    Status = strStatus;
    if (strStatus.compare(QLatin1String("Up"), Qt::CaseInsensitive) == 0)
    {
        eStatus = eConnectionUp;
    }
    else if (strStatus.compare(QLatin1String("Intermittent"), Qt::CaseInsensitive) == 0)
    {
        eStatus = eConnectionIntermittent;
    }
    else
    {
        eStatus = eConnectionOther;
    }
}

CPEPrimitive::CPEPrimitive(const CPEPrimitive& other) : CPrimitive(other)
{
    CopyFrom(other);
}

CPEPrimitive& CPEPrimitive::operator=(const CPEPrimitive& other)
{
    if (this != &other)
    {
        CPrimitive::operator=(other);
        CopyFrom(other);
    }
    return *this;
}

void CPEPrimitive::CopyFrom(const CPEPrimitive& other)
{
    DeviceID = other.DeviceID;
    ManufID = other.ManufID;
    ShortDestID = other.ShortDestID;
    LongDestID = other.LongDestID;
    OrigShortDestID = other.OrigShortDestID;
    OrigLongDestID = other.OrigLongDestID;
    ShortMCastDestID = other.ShortMCastDestID;
    LongMCastDestID = other.LongMCastDestID;
    bLargeTransport = other.bLargeTransport;
    bHasLongDestID = other.bHasLongDestID;
    Comment = other.Comment;
    CommonName = other.CommonName;
    uType = other.uType;
    Symbol = other.Symbol;
    iNumLocalPorts = other.iNumLocalPorts;
    for (int i = 0; i < kMaxPorts; ++i)
    {
        const auto& pTable = other.RoutingTables[static_cast<size_t>(i)];
        RoutingTables[static_cast<size_t>(i)] = pTable ? std::make_unique<CRoutingTable>(*pTable) : nullptr;
    }
    uNetworkServerAddress = other.uNetworkServerAddress;
    eConnectionType = other.eConnectionType;
    bHasHostLink = other.bHasHostLink;
    bHostLinkOpen = other.bHostLinkOpen;
    bHasDefaultPort = other.bHasDefaultPort;
    bUsesDestID = other.bUsesDestID;
    bHasPerPortRoutingTables = other.bHasPerPortRoutingTables;
    DefaultPort = other.DefaultPort;
    SavedRegisters = other.SavedRegisters;
    ErrorNote = other.ErrorNote;
    uchUser = other.uchUser;
    Multicast = other.Multicast;
    UniqueID = other.UniqueID;
    Ports = other.Ports;
    VDID_Caps = other.VDID_Caps;
    VDID_NumSecondaryIDs = other.VDID_NumSecondaryIDs;
    VDID_Impl = other.VDID_Impl;
    VDID_NumShortIDs = other.VDID_NumShortIDs;
    VDID_NumLongIDs = other.VDID_NumLongIDs;
    VDID_ShortIDs = other.VDID_ShortIDs;
    VDID_LongIDs = other.VDID_LongIDs;
    PortHealth = other.PortHealth;
    Health = other.Health;
    BitmapNoSel = other.BitmapNoSel;
    BitmapSel = other.BitmapSel;
}

int CPEPrimitive::GetNumVDIDs() const
{
    return bLargeTransport ? VDID_NumLongIDs : VDID_NumShortIDs;
}

bool CPEPrimitive::GetFirstVDID(uint16_t* pwID, int* piCursor) const
{
    *piCursor = -1;
    return GetNextVDID(pwID, piCursor);
}

bool CPEPrimitive::GetNextVDID(uint16_t* pwID, int* piCursor) const
{
    const int iCount = std::min(GetNumVDIDs(), 2);
    if (*piCursor + 1 >= iCount)
    {
        return false;
    }
    ++*piCursor;
    *pwID = (bLargeTransport ? VDID_LongIDs : VDID_ShortIDs)[static_cast<size_t>(*piCursor)];
    return true;
}

bool CPEPrimitive::HasDestID(uint16_t wID, bool bCheckPrimary, bool bCheckVDIDs) const
{
    if (bCheckPrimary && GetDestID() == wID)
    {
        return true;
    }
    if (bCheckVDIDs)
    {
        int iCursor = 0;
        uint16_t wVDID = 0;
        for (bool bMore = GetFirstVDID(&wVDID, &iCursor); bMore; bMore = GetNextVDID(&wVDID, &iCursor))
        {
            if (wVDID == wID)
            {
                return true;
            }
        }
    }
    return false;
}

QString CPEPrimitive::GetTypeString() const
{
    if (uType == kPETypeUnknown)
    {
        return QStringLiteral("Unknown");
    }
    if (uType == kPETypeNull)
    {
        return QStringLiteral("Null");
    }
    QStringList words;
    if (uType & kPETypeProcessor)
    {
        words << QStringLiteral("Processor");
    }
    if (uType & kPETypeBridge)
    {
        words << QStringLiteral("Bridge");
    }
    if (uType & kPETypeSwitch)
    {
        words << QStringLiteral("Switch");
    }
    QString strText = words.join(QLatin1Char('/'));
    if (uType & kPETypeMemory)
    {
        strText += strText.isEmpty() ? QStringLiteral("Memory") : QStringLiteral(" with Memory");
    }
    return strText;
}

QString CPEPrimitive::GetStatusString() const
{
    switch (Health.eStatus)
    {
    case eValidationUnknown:
        return QStringLiteral(
            "Unknown: Enable System Health Monitoring or Validate Network to determine status.");
    case eValidationOK:
        return QStringLiteral("OK");
    case eValidationNotResponding:
        return QStringLiteral("Not Responding");
    case eValidationIDsNotMatching:
    {
        const bool bDevice = Health.uFoundDeviceID < 0xFFFF;
        const bool bVendor = Health.uFoundVendorID < 0xFFFF;
        if (bDevice && bVendor)
        {
            return QString::asprintf("IDs Not Matching : DeviceID:%04Xh, VendorID:%04Xh",
                                     Health.uFoundDeviceID, Health.uFoundVendorID);
        }
        if (bVendor)
        {
            return QString::asprintf("Vendor ID Not Matching:%04Xh", Health.uFoundVendorID);
        }
        if (bDevice)
        {
            return QString::asprintf("Device ID Not Matching:%04Xh", Health.uFoundDeviceID);
        }
        return {};
    }
    default:
        return {};
    }
}

QString CPEPrimitive::GetPortTypeString() const
{
    if (ManufID == 13 && DeviceID == 1280)
    {
        return QStringLiteral("8 Bit Parallel RapidIO");
    }
    return {};
}

void CPEPrimitive::SetDefaultPort(uint8_t uchPort)
{
    DefaultPort = uchPort;
    bHasDefaultPort = true;
}

void CPEPrimitive::ClearDefaultPort()
{
    DefaultPort = 0;
    bHasDefaultPort = false;
}

void CPEPrimitive::SetIdentity(uint32_t uVendor, uint32_t uDevice, bool bSwitch, bool bProcessor,
                               bool bMemory, bool bBridge)
{
    uType = 0;
    QString strIcon;
    bool bKnown = true;
    if (uVendor == kUnknownDeviceIdentity && uDevice == kUnknownDeviceIdentity)
    {
        strIcon = QStringLiteral("unkwn-reg");
        uType = kPETypeUnknown;
        CommonName.clear();
    }
    else if (uVendor >= kNullDeviceIdentity && uDevice >= kNullDeviceIdentity)
    {
        strIcon = QStringLiteral("null-reg");
        uType = kPETypeNull;
        CommonName.clear();
    }
    else
    {
        CDeviceInfo info;
        const auto wVendor = static_cast<uint16_t>(uVendor);
        const auto wDevice = static_cast<uint16_t>(uDevice);
        if (CDeviceInfo::DeviceFilesExist(wDevice, wVendor) && info.LoadForDevice(wDevice, wVendor, bSwitch))
        {
            strIcon = info.GetBitmapFile();
            uType = info.GetPEType();
            CommonName = info.GetCommonName();
        }
        else
        {
            bKnown = false;
            CommonName.clear();
            if (bSwitch)
            {
                uType |= kPETypeSwitch;
            }
            if (bProcessor)
            {
                uType |= kPETypeProcessor;
            }
            if (bBridge)
            {
                uType |= kPETypeBridge;
            }
            if (bMemory)
            {
                uType |= kPETypeMemory;
            }
            const QString strEnd = bMemory ? QStringLiteral("mem") : QStringLiteral("reg");
            if (bSwitch)
            {
                strIcon = QStringLiteral("sw-") + strEnd;
            }
            else if (bProcessor)
            {
                strIcon = QStringLiteral("ep-") + strEnd;
            }
            else if (bBridge)
            {
                strIcon = QStringLiteral("br-") + strEnd;
            }
            else if (bMemory)
            {
                strIcon = QStringLiteral("mem-reg");
            }
            else
            {
                strIcon = QStringLiteral("unkwn-reg");
                uType = kPETypeUnknown;
            }
        }
    }
    const QString strBase =
        BitmapDirectory() + strIcon + (bKnown ? QStringLiteral("-kwn") : QStringLiteral("-unkwn"));
    BitmapNoSel = strBase + QStringLiteral("-lrg-nosel.svg");
    BitmapSel = strBase + QStringLiteral("-lrg-sel.svg");
    Symbol = strIcon;
}
