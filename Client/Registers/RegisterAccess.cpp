#include "RegisterAccess.h"

#include "DeviceInfo.h"
#include "FFRoutes.h"
#include "NetworkDocument.h"
#include "NumberText.h"
#include "RegisterInfoCache.h"
#include "RegisterTree.h"
#include "RegisterValueList.h"
#include "RouteSearch.h"
#include "StatusText.h"
#include "TargetClient.h"
#include "TargetLink.h"
#include "UserInterface.h"

namespace
{
uint32_t FromBigEndian(const uint8_t* pBytes)
{
    return (uint32_t(pBytes[0]) << 24) | (uint32_t(pBytes[1]) << 16) | (uint32_t(pBytes[2]) << 8) | pBytes[3];
}

void ToBigEndian(uint32_t ulValue, uint8_t* pBytes)
{
    pBytes[0] = static_cast<uint8_t>(ulValue >> 24);
    pBytes[1] = static_cast<uint8_t>(ulValue >> 16);
    pBytes[2] = static_cast<uint8_t>(ulValue >> 8);
    pBytes[3] = static_cast<uint8_t>(ulValue);
}

// The front end of the target: maintenance on local port 0, data and memory as big-endian words.
class CTargetRegisterTransport final : public IRegisterTransport
{
public:
    bool IsOpen() override
    {
        const CTargetLink* pLink = CTargetClient::Instance().Link();
        return pLink && pLink->IsConnected();
    }
    int32_t MaintRead(uint32_t ulDestID, uint8_t uchHop, uint32_t ulOffset, uint32_t* pulValue) override
    {
        return CTargetClient::Instance().Maint_read(0, ulDestID, uchHop, ulOffset, pulValue, 1, 4, 0);
    }
    int32_t MaintWrite(uint32_t ulDestID, uint8_t uchHop, uint32_t ulOffset, uint32_t ulValue) override
    {
        return CTargetClient::Instance().Maint_write(0, ulDestID, uchHop, ulOffset, &ulValue, 1, 4, 0);
    }
    int32_t NRead(uint32_t ulDestID, uint64_t ulAddress, uint32_t* pulValue) override
    {
        uint8_t abData[4] = {};
        const int32_t nStatus =
            CTargetClient::Instance().Nread(0, ulDestID, static_cast<uint32_t>(ulAddress >> 32),
                                            static_cast<uint32_t>(ulAddress), 0, 0, abData, 4);
        *pulValue = FromBigEndian(abData);
        return nStatus;
    }
    int32_t NWrite(uint32_t ulDestID, uint64_t ulAddress, uint32_t ulValue) override
    {
        uint8_t abData[4];
        ToBigEndian(ulValue, abData);
        return CTargetClient::Instance().DataWrite(0, ulDestID, static_cast<uint32_t>(ulAddress >> 32),
                                                   static_cast<uint32_t>(ulAddress), 1, 0, abData, 4);
    }
    int32_t LocalRead(uint64_t ulAddress, uint32_t* pulValue) override
    {
        uint8_t abData[4] = {};
        const int32_t nStatus = CTargetClient::Instance().MemRead(
            static_cast<uint32_t>(ulAddress >> 32), static_cast<uint32_t>(ulAddress), 1, 4, abData);
        *pulValue = FromBigEndian(abData);
        return nStatus;
    }
    int32_t LocalWrite(uint64_t ulAddress, uint32_t ulValue) override
    {
        uint8_t abData[4];
        ToBigEndian(ulValue, abData);
        return CTargetClient::Instance().MemWrite(static_cast<uint32_t>(ulAddress >> 32),
                                                  static_cast<uint32_t>(ulAddress), 1, 4, abData);
    }
    int32_t I2CRead(uint32_t ulDestID, uint8_t uchHop, uint32_t ulDevice, uint32_t ulRegister,
                    uint8_t* puchValue) override
    {
        return CTargetClient::Instance().I2CReadByte(0, ulDestID, uchHop, ulDevice, ulRegister, puchValue);
    }
    int32_t I2CWrite(uint32_t ulDestID, uint8_t uchHop, uint32_t ulDevice, uint32_t ulRegister,
                     uint8_t uchValue) override
    {
        return CTargetClient::Instance().I2CWriteByte(0, ulDestID, uchHop, ulDevice, ulRegister, uchValue);
    }
    QString RioErrorDetail() override
    {
        char szErrors[2048] = "";
        if (CTargetClient::Instance().GetRioErrors(szErrors, sizeof(szErrors)) != 0)
        {
            return QString();
        }
        return QString::fromLocal8Bit(szErrors);
    }
};

// The all-ones destination ID that addresses the host's own device.
constexpr uint32_t kHostDestID = 0xFFFFFFFFu;

bool IsI2CDevice(const CPEPrimitive& pe)
{
    return pe.DeviceID == kI2CRegisterDevice && pe.ManufID == kI2CRegisterVendor;
}

// Saves a value under the item's key.
void StoreValue(const RegisterItem& item, uint32_t ulValue, bool bFlag)
{
    if (!item.pValues)
    {
        return;
    }
    if (item.eType == 1 && item.bIO)
    {
        item.pValues->SetIOValue(item.uLocalAddr, item.uRIOAddr, ulValue, bFlag);
    }
    else
    {
        item.pValues->SetValue(item.uOffset, ulValue, bFlag);
    }
}

SRegisterValue* FindValue(const RegisterItem& item)
{
    if (!item.pValues)
    {
        return nullptr;
    }
    return item.eType == 1 && item.bIO ? item.pValues->FindIO(item.uLocalAddr, item.uRIOAddr)
                                       : item.pValues->Find(item.uOffset);
}
} // namespace

IRegisterTransport& TargetRegisterTransport()
{
    static CTargetRegisterTransport s_transport;
    return s_transport;
}

bool MakeRegisterItems(CPEPrimitive& pe, const QString& strBlock, int iSet, int eType,
                       std::vector<RegisterItem>* pItems)
{
    CRegisterFileInfo* pInfo = RegisterFileOf(pe);
    if (!pInfo)
    {
        ShowMessage(QStringLiteral("Unable to load register info."));
        return false;
    }
    const CRegisterBlock* pBlock = pInfo->FindBlock(strBlock);
    if (!pBlock)
    {
        UI().ShowMessage(QStringLiteral("Unable to find register block\n\n'%1'").arg(strBlock),
                         QStringLiteral("Internal Error"), EMessageKind::Error);
        return false;
    }
    uint32_t uSetOffset = 0;
    QString strName = pBlock->Name;
    if (iSet >= 0 && iSet < pBlock->GetNumSets())
    {
        const RegisterSetInfo* pSet = pBlock->GetSet(iSet);
        uSetOffset = pSet->uOffset;
        strName += QStringLiteral(",") + pSet->Name;
    }
    for (int r = 0; r < pBlock->GetNumRegisters(); ++r)
    {
        const CRegister* pRegister = pBlock->GetRegister(r);
        RegisterItem item;
        item.pPE = &pe;
        item.iNodeNumber = pe.iNodeNumber;
        item.pRegister = pRegister;
        item.bIO = pRegister->bMemSpaceIO;
        if (item.bIO)
        {
            item.uLocalAddr = pRegister->uLocalAddr + uSetOffset;
            item.uRIOAddr = pRegister->uRIOAddr + uSetOffset;
        }
        else
        {
            item.uOffset = pRegister->uByteOffset + uSetOffset;
        }
        item.uSetOffset = uSetOffset;
        item.Name = strName;
        item.eType = eType;
        item.pValues = &pe.SavedRegisters;
        pItems->push_back(item);
    }
    return true;
}

std::vector<RegisterItem> TreeRegisterItems(CPEPrimitive& pe)
{
    std::vector<RegisterItem> items;
    const CRegisterFileInfo* pInfo = RegisterFileOf(pe);
    if (!pInfo)
    {
        return items;
    }
    const QStringList i2cBlocks = I2CBlockNames(pe);
    for (const SRegisterTreeItem& treeItem : RegisterTreeItems(*pInfo))
    {
        if (treeItem.eKind != eTreeRegister || treeItem.pRegister->bMemSpaceIO ||
            i2cBlocks.contains(treeItem.pBlock->Name))
        {
            continue;
        }
        RegisterItem item;
        item.pPE = &pe;
        item.iNodeNumber = pe.iNodeNumber;
        item.pRegister = treeItem.pRegister;
        item.uOffset = treeItem.uOffset;
        item.uSetOffset = treeItem.pSet ? treeItem.pSet->uOffset : 0;
        item.Name = treeItem.pSet && treeItem.pBlock->GetNumSets() > 1
                        ? treeItem.pBlock->Name + QStringLiteral(",") + treeItem.pSet->Name
                        : treeItem.pBlock->Name;
        item.eType = eTOCRegister;
        item.pValues = &pe.SavedRegisters;
        items.push_back(item);
    }
    return items;
}

CRegisterAccess::CRegisterAccess(CNetworkDocument& document, IRegisterTransport* pTransport)
    : m_document(document), m_transport(pTransport ? *pTransport : TargetRegisterTransport())
{
}

bool CRegisterAccess::PrepareAccess(const CPEPrimitive& pe)
{
    if (!m_transport.IsOpen())
    {
        return true;
    }
    const CPEPrimitive* pHost = MapHostPE(m_document);
    if (pe.bHasHostLink && pe.bHostLinkOpen)
    {
        m_ulDestID = kHostDestID;
        m_uchHopCount = 0;
        return true;
    }
    // The tables of the map first, for a PE that answers to its ID.
    if (pHost && pe.bUsesDestID &&
        FindRoute(pHost, &pe, *m_document.pCurrentPEs, *m_document.pCurrentConnections, &m_ulDestID,
                  &m_uchHopCount, false, nullptr) == 0)
    {
        return true;
    }
    // Otherwise routes for the all-ones ID, laid hop by hop along the shortest path.
    UI().BeginWork(ApplicationTitle(), false);
    UI().SetWorkProgress(QStringLiteral("Configuring routing tables.  Please wait..."));
    CRoute path;
    int32_t nStatus = -1;
    uint8_t uchHop = 0;
    if (pHost &&
        FindShortest(path, *m_document.pCurrentConnections, static_cast<uint32_t>(pHost->iNodeNumber),
                     static_cast<uint32_t>(pe.iNodeNumber)) > 0)
    {
        nStatus = SetupFFRoute(m_document, pHost, &pe, MapUsesLongIDs(), &uchHop);
    }
    UI().EndWork(QString());
    if (nStatus != 0)
    {
        m_bRoutesChanged = false;
        ShowMessage(QStringLiteral("Unable to configure routing tables.\n"));
        return false;
    }
    m_ulDestID = MapUsesLongIDs() ? 0xFFFFu : 0xFFu;
    m_uchHopCount = uchHop;
    m_bRoutesChanged = true;
    return true;
}

QString CRegisterAccess::UploadFailureText(int32_t nStatus)
{
    const QString strHead = QStringLiteral("Error %1 (%2) encountered when attempting to upload a register.")
                                .arg(-nStatus)
                                .arg(RioErrorText(nStatus));
    if (nStatus != kRioErrorWithDetail)
    {
        return strHead;
    }
    const QString strAdvice = QStringLiteral(
        "This error is often caused by invalid routing tables.  Please ensure that you have either generated "
        "and downloaded routing tables, or you have uploaded existing routing tables.");
    const QString strDetail = m_transport.RioErrorDetail();
    if (strDetail.isEmpty())
    {
        return strHead + QStringLiteral("\r\n\r\n") + strAdvice;
    }
    return strHead.chopped(1) + QStringLiteral(".  Additional information follows:\r\n\r\n") + strDetail +
           QStringLiteral("\r\n\r\n") + strAdvice;
}

int32_t CRegisterAccess::UploadRegister(const RegisterItem& item, uint32_t* pulValue)
{
    int32_t nStatus = 0;
    uint32_t ulValue = *pulValue;
    if (item.eType == 1)
    {
        if (!item.bIO)
        {
            nStatus = m_transport.MaintRead(m_ulDestID, m_uchHopCount, item.uOffset, &ulValue);
        }
        else if (m_ulDestID == kHostDestID)
        {
            nStatus = m_transport.LocalRead(item.uLocalAddr, &ulValue);
        }
        else
        {
            nStatus = m_transport.NRead(m_ulDestID, item.uRIOAddr, &ulValue);
        }
        if (nStatus != 0)
        {
            ShowMessage(UploadFailureText(nStatus));
            return nStatus;
        }
    }
    else if (item.eType == 2)
    {
        if (!item.pPE || !IsI2CDevice(*item.pPE))
        {
            return 0;
        }
        uint8_t uchValue = 0;
        nStatus =
            m_transport.I2CRead(m_ulDestID, m_uchHopCount, item.uOffset >> 8, item.uOffset & 0xFF, &uchValue);
        if (nStatus != 0)
        {
            ShowMessage(QStringLiteral("Read-back failed.\n\n") + RioErrorText(nStatus));
            return nStatus;
        }
        ulValue = uchValue;
    }
    else
    {
        // A kind the editor doesn't know reads as a success with the old value.
        return 0;
    }
    *pulValue = ulValue;
    StoreValue(item, ulValue, false);
    return 0;
}

int32_t CRegisterAccess::DownloadRegister(const RegisterItem& item, uint32_t ulValue)
{
    int32_t nStatus = 0;
    if (item.eType == 1)
    {
        if (!item.bIO)
        {
            if (m_eRecordState == eRecordRecording)
            {
                Record(item.uOffset, ulValue);
            }
            nStatus = m_transport.MaintWrite(m_ulDestID, m_uchHopCount, item.uOffset, ulValue);
        }
        else if (m_ulDestID == kHostDestID)
        {
            nStatus = m_transport.LocalWrite(item.uLocalAddr, ulValue);
        }
        else
        {
            nStatus = m_transport.NWrite(m_ulDestID, item.uRIOAddr, ulValue);
        }
    }
    else if (item.eType == 2 && item.pPE && IsI2CDevice(*item.pPE))
    {
        nStatus = m_transport.I2CWrite(m_ulDestID, m_uchHopCount, item.uOffset >> 8, item.uOffset & 0xFF,
                                       static_cast<uint8_t>(ulValue));
    }
    if (nStatus != 0)
    {
        ShowMessage(QString::asprintf("Unable to update register.\nRapidIO HAL Error %d", nStatus));
    }
    return nStatus;
}

bool CRegisterAccess::CommitField(const RegisterItem& item, int iField, const QString& strText)
{
    const CBitField* pField = item.pRegister ? item.pRegister->GetBitField(iField) : nullptr;
    if (!pField || !item.pValues || !item.pPE)
    {
        return false;
    }
    // The other bits come from the value kept for the register, not from a fresh read.
    SRegisterValue* pSaved = FindValue(item);
    if (!pSaved)
    {
        StoreValue(item, 0, true);
        pSaved = FindValue(item);
    }
    const uint64_t ulMax = pField->iNumBits >= 64 ? ~0ull : (1ull << pField->iNumBits) - 1;
    uint64_t ulField = 0;
    if (!NumberFromText(strText, ulMax, &ulField))
    {
        ShowMessage(InvalidEntryText());
        return false;
    }
    const int iBits = item.pRegister->GetNumBits();
    const uint32_t ulMask = pField->GetMask(iBits);
    const int iShift = iBits - 1 - pField->iLastBit;
    const uint32_t ulNew = (pSaved->uValue & ~ulMask) | ((static_cast<uint32_t>(ulField) << iShift) & ulMask);
    if (!PrepareAccess(*item.pPE))
    {
        return false;
    }
    if (DownloadRegister(item, ulNew) != 0)
    {
        return false;
    }
    StoreValue(item, ulNew, true);
    uint32_t ulRead = ulNew;
    return UploadRegister(item, &ulRead) == 0;
}

int CRegisterAccess::TransferAll(const std::vector<RegisterItem>& items, const QString& strProgress,
                                 const std::function<ETransfer(const RegisterItem&)>& transfer)
{
    UI().BeginWork(ApplicationTitle(), false);
    UI().SetWorkProgress(strProgress);
    int nDone = 0;
    const CPEPrimitive* pLastPE = nullptr;
    for (const RegisterItem& item : items)
    {
        if (UI().WorkCancelled())
        {
            break;
        }
        if (item.pPE != pLastPE)
        {
            if (!PrepareAccess(*item.pPE))
            {
                break;
            }
            pLastPE = item.pPE;
        }
        const ETransfer eResult = transfer(item);
        if (eResult == eTransferFailed)
        {
            break;
        }
        nDone += eResult == eTransferDone ? 1 : 0;
    }
    UI().EndWork(QString());
    return nDone;
}

int CRegisterAccess::UploadAll(const std::vector<RegisterItem>& items)
{
    return TransferAll(items, QStringLiteral("Uploading register data.  Please wait..."),
                       [this](const RegisterItem& item)
                       {
                           uint32_t ulValue = 0;
                           if (const SRegisterValue* pSaved = FindValue(item))
                           {
                               ulValue = pSaved->uValue;
                           }
                           return UploadRegister(item, &ulValue) == 0 ? eTransferDone : eTransferFailed;
                       });
}

int CRegisterAccess::DownloadAll(const std::vector<RegisterItem>& items)
{
    return TransferAll(items, QStringLiteral("Downloading register data.  Please wait..."),
                       [this](const RegisterItem& item)
                       {
                           const SRegisterValue* pSaved = FindValue(item);
                           if (!pSaved)
                           {
                               return eTransferSkipped;
                           }
                           uint32_t ulValue = pSaved->uValue;
                           return DownloadRegister(item, ulValue) == 0 && UploadRegister(item, &ulValue) == 0
                                      ? eTransferDone
                                      : eTransferFailed;
                       });
}

void CRegisterAccess::StartRecording()
{
    m_eRecordState = eRecordRecording;
    m_strRecordText.clear();
    m_bForceHeader = true;
}

void CRegisterAccess::PauseRecording()
{
    if (m_eRecordState == eRecordRecording)
    {
        m_eRecordState = eRecordPaused;
    }
}

void CRegisterAccess::ResumeRecording()
{
    if (m_eRecordState == eRecordPaused)
    {
        m_eRecordState = eRecordRecording;
    }
}

QString CRegisterAccess::StopRecording()
{
    m_eRecordState = eRecordOff;
    QString strText;
    strText.swap(m_strRecordText);
    return strText;
}

QString CRegisterAccess::WindowTitle() const
{
    switch (m_eRecordState)
    {
    case eRecordPaused:
        return QStringLiteral("Register Editor - Recording Paused");
    case eRecordRecording:
        return QStringLiteral("Register Editor - Recording");
    default:
        return QStringLiteral("Register Editor");
    }
}

void CRegisterAccess::Record(uint32_t ulOffset, uint32_t ulValue)
{
    if (m_bForceHeader || m_ulDestID != m_ulRecordedDestID || m_uchHopCount != m_uchRecordedHop)
    {
        m_strRecordText +=
            QString::asprintf("// The following commands were recorded for DestID %Xh, HopCount %d\r\n",
                              m_ulDestID, m_uchHopCount);
        m_ulRecordedDestID = m_ulDestID;
        m_uchRecordedHop = m_uchHopCount;
        m_bForceHeader = false;
    }
    m_strRecordText += QString::asprintf("w %X %X\r\n", ulOffset, ulValue);
}
