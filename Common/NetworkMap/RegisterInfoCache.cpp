#include "RegisterInfoCache.h"

#include "Cipher.h"
#include "DeviceInfo.h"
#include "FileBuffer.h"
#include "PrimitiveList.h"
#include "UserInterface.h"
#include "XmlHelper.h"

#include <QFileInfo>

CRegisterInfoCache& GetRegisterInfoCache()
{
    static CRegisterInfoCache s_cache;
    return s_cache;
}

std::unique_ptr<CRegisterFileInfo> CRegisterInfoCache::ReadFile(const QString& strPath, bool bEnciphered,
                                                                QString* pstrError)
{
    auto fail = [pstrError](const QString& strMessage, bool bShow) -> std::unique_ptr<CRegisterFileInfo>
    {
        if (pstrError)
        {
            *pstrError = strMessage;
        }
        if (bShow)
        {
            ShowMessage(strMessage);
        }
        return nullptr;
    };
    QByteArray buffer;
    switch (ReadWholeFile(strPath, &buffer))
    {
    case EFileRead::Ok:
        break;
    case EFileRead::NotFound:
        return fail(QStringLiteral("Unable to find register file"), true);
    case EFileRead::OpenFailed:
        return fail(QStringLiteral("Unable to open register file"), true);
    case EFileRead::TooLarge:
        return fail(QStringLiteral("Unable to allocate memory for register file."), true);
    case EFileRead::ShortRead:
        return fail(QStringLiteral("Read failed\n"), true);
    }
    if (bEnciphered && !DecipherBuffer(buffer, ECipherKey::RegisterFile))
    {
        return fail(QStringLiteral("Read failed\n"), true);
    }
    CXmlHelper::SkipByteOrderMark(buffer);

    auto pInfo = std::make_unique<CRegisterFileInfo>();
    pInfo->Name = QFileInfo(strPath).completeBaseName();
    QString strReason;
    switch (pInfo->ReadXml(buffer, &strReason))
    {
    case ERegisterFileRead::Ok:
        return pInfo;
    case ERegisterFileRead::ParseError:
        ShowMessage(QStringLiteral("Invalid register library file format."));
        if (pstrError)
        {
            *pstrError = QStringLiteral("Invalid register library file format. ") + strReason;
        }
        return nullptr;
    case ERegisterFileRead::BadVersion:
        return fail(QStringLiteral("Invalid file format.  Missing or bad document version"), true);
    case ERegisterFileRead::BadContent:
        // A missing element ends the read without a message box.
        return fail(strReason, false);
    }
    return nullptr;
}

CRegisterFileInfo* CRegisterInfoCache::GetFileInfo(uint16_t wDevice, uint16_t wVendor, bool bSwitch)
{
    m_strError.clear();
    bool bEnciphered = false;
    int iRank = 0;
    QString strBase;
    uint16_t wKeyDevice = wDevice;
    uint16_t wKeyVendor = wVendor;
    if (CDeviceInfo::DeviceFilesExist(wDevice, wVendor, &bEnciphered, &iRank))
    {
        strBase = CDeviceInfo::DeviceFileBase(iRank, wDevice, wVendor);
    }
    else
    {
        strBase = CDeviceInfo::GenericFileBase(bSwitch);
        wKeyDevice = bSwitch ? kGenericSwitchDevice : kGenericOtherDevice;
        wKeyVendor = kGenericVendor;
        // The generic files are shipped enciphered.
        bEnciphered = true;
    }
    for (const auto& pEntry : m_Entries)
    {
        if (pEntry->DeviceID == wKeyDevice && pEntry->VendorID == wKeyVendor)
        {
            return pEntry.get();
        }
    }
    const QString strPath = strBase + (bEnciphered ? QStringLiteral(".envr") : QStringLiteral(".nvr"));
    std::unique_ptr<CRegisterFileInfo> pInfo = ReadFile(strPath, bEnciphered, &m_strError);
    if (!pInfo)
    {
        return nullptr;
    }
    pInfo->DeviceID = wKeyDevice;
    pInfo->VendorID = wKeyVendor;
    m_Entries.push_back(std::move(pInfo));
    return m_Entries.back().get();
}

void CRegisterInfoCache::Rebuild(const CPEList& peList)
{
    Clear();
    for (const auto& pPE : peList)
    {
        if (pPE->bDeleted || (pPE->uType & (kPETypeUnknown | kPETypeNull)))
        {
            continue;
        }
        GetFileInfo(pPE->DeviceID, pPE->ManufID, (pPE->uType & kPETypeSwitch) != 0);
    }
}
