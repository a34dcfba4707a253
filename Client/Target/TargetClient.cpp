#include "TargetClient.h"

#include "ClientStatus.h"
#include "HalAdapter.h"
#include "HalWrappers.h"
#include "LinkSettings.h"
#include "NVXLHal.h"
#include "NVXLStatus.h"
#include "Preferences.h"
#include "ServerCaps.h"
#include "TargetLink.h"
#include "TransactionLog.h"

#include <algorithm>
#include <arpa/inet.h>
#include <chrono>
#include <cstdio>
#include <cstring>
#include <string>
#include <vector>

namespace
{
// Whether DestIDs go as 16 bits on the wire. The preference is read again whenever the store has
// changed, so a change of the transport size takes effect at the next transaction.
bool LargeTransport()
{
    static uint32_t ulSeenGeneration = ~0u;
    static bool bLarge = false;
    if (ulSeenGeneration != PreferenceGeneration())
    {
        ulSeenGeneration = PreferenceGeneration();
        bLarge = GetPreference(QStringLiteral("Preferences"), QStringLiteral("DefaultDestIDSize"), 8u) == 16;
    }
    return bLarge;
}

// The DestID of a maintenance read as it goes on the wire.
uint32_t CutDestID(uint32_t ulDestID, bool bLarge)
{
    if (ulDestID == 0xFFFFFFFFu)
    {
        return ulDestID;
    }
    return bLarge ? (ulDestID & 0xFFFFu) : (ulDestID & 0xFFu);
}

uint32_t TickMilliseconds()
{
    using namespace std::chrono;
    return static_cast<uint32_t>(duration_cast<milliseconds>(steady_clock::now().time_since_epoch()).count());
}

// The common head of the requests that address a RapidIO target.
void PutTargetHead(uint8_t* pBody, uint8_t uchLocalPort, bool bLarge)
{
    pBody[0] = uchLocalPort;
    pBody[3] = bLarge ? 1 : 0;
}

void LogBytes(const void* pvData, uint32_t ulByteCount)
{
    const auto* pbData = static_cast<const uint8_t*>(pvData);
    for (uint32_t i = 0; i < ulByteCount; ++i)
    {
        WriteToLog("%x ", pbData[i]);
    }
}

// Memory and flash bytes print as signed characters, so those above 7Fh come out sign-extended.
void LogSignedBytes(const void* pvData, uint32_t ulByteCount)
{
    const auto* pchData = static_cast<const signed char*>(pvData);
    for (uint32_t i = 0; i < ulByteCount; ++i)
    {
        WriteToLog("%x ", static_cast<unsigned int>(static_cast<int>(pchData[i])));
    }
}

void LogFailed(int32_t nStatus)
{
    WriteToLog("Failed %d\n", nStatus);
}
} // namespace

CTargetClient& CTargetClient::Instance()
{
    static CTargetClient client;
    return client;
}

CTargetClient::CTargetClient()
{
    InstallHalAdapter(this);
}

bool CTargetClient::Connected() const
{
    return m_pLink && m_pLink->IsConnected();
}

bool CTargetClient::SendMessage(uint32_t ulMessageID, const uint8_t* pBody, uint32_t ulBodySize,
                                const void* pvData, uint32_t ulDataSize, uint32_t ulChunk)
{
    uint8_t abHeader[kHeaderSize];
    EncodeHeader(abHeader, ulMessageID, ulBodySize + ulDataSize);
    const bool bDataWhole = ulChunk == 0 || ulDataSize <= ulChunk;
    const CTargetLink::SPiece aPieces[] = {
        {abHeader, kHeaderSize}, {pBody, ulBodySize}, {pvData, bDataWhole ? ulDataSize : 0}};
    if (!m_pLink->SendPieces(aPieces, 3))
    {
        return false;
    }
    if (bDataWhole)
    {
        return true;
    }
    const auto* pbData = static_cast<const uint8_t*>(pvData);
    for (uint32_t ulSent = 0; ulSent < ulDataSize;)
    {
        const uint32_t ulPiece = std::min(ulChunk, ulDataSize - ulSent);
        if (!m_pLink->Send(pbData + ulSent, ulPiece))
        {
            return false;
        }
        ulSent += ulPiece;
    }
    return true;
}

bool CTargetClient::ReceiveRaw(void* pvBuffer, uint32_t* pulLength)
{
    const uint32_t ulWait = LinkSettings().ulWaitMilliseconds;
    return m_pLink->Receive(pvBuffer, pulLength, ulWait / 1000, (ulWait % 1000) * 1000);
}

CTargetClient::EReceive CTargetClient::ReceiveExact(void* pvBuffer, uint32_t ulLength)
{
    uint32_t ulGot = ulLength;
    const bool bOk = ReceiveRaw(pvBuffer, &ulGot);
    m_ulReplyLeft -= std::min(ulGot, m_ulReplyLeft);
    if (bOk)
    {
        return EReceive::Ok;
    }
    // The rest of this reply may still come after its limit: it is thrown away when it does.
    m_pLink->Late().ulRestBytes = m_ulReplyLeft;
    m_ulReplyLeft = 0;
    return ulGot == 0 ? EReceive::Failed : EReceive::Short;
}

bool CTargetClient::DiscardLate(uint32_t ulLength)
{
    uint8_t abScrap[kMaxChunk];
    while (ulLength)
    {
        uint32_t ulPiece = std::min<uint32_t>(ulLength, sizeof(abScrap));
        if (!ReceiveRaw(abScrap, &ulPiece))
        {
            return false;
        }
        ulLength -= ulPiece;
    }
    return true;
}

CTargetClient::EReceive CTargetClient::ReceiveHeader(uint32_t ulExpectedID, uint32_t ulExpectedLength,
                                                     uint32_t* pulMessageID, uint32_t* pulLength)
{
    CTargetLink::SLateReplies& late = m_pLink->Late();
    m_ulReplyLeft = 0;
    // Whether a late reply was thrown away on the way to this one. If this one then fails to come,
    // the server may have skipped the late reply and what went was this one's answer: the notes
    // are dropped rather than carried on, so that a lost reply costs one transaction at most.
    bool bDiscarded = false;
    if (late.ulRestBytes)
    {
        const uint32_t ulRest = late.ulRestBytes;
        late.ulRestBytes = 0;
        if (!DiscardLate(ulRest))
        {
            late.Clear();
            return EReceive::Failed;
        }
        bDiscarded = true;
    }
    uint8_t abHeader[kHeaderSize];
    uint32_t ulHave = late.ulHeadPart;
    bool bLateHead = ulHave != 0;
    std::memcpy(abHeader, late.abHeadPart.data(), ulHave);
    late.ulHeadPart = 0;
    for (;;)
    {
        uint32_t ulGot = kHeaderSize - ulHave;
        const bool bOk = ReceiveRaw(abHeader + ulHave, &ulGot);
        ulHave += ulGot;
        if (!bOk)
        {
            if (bDiscarded)
            {
                late.Clear();
            }
            else if (ulHave == 0 || bLateHead)
            {
                late.Add(ulExpectedID, ulExpectedLength);
            }
            if (ulHave != 0)
            {
                // Part of a header: the rest will complete it, and it is then thrown away. When
                // the part is an earlier reply's, this one is still due as well.
                std::memcpy(late.abHeadPart.data(), abHeader, ulHave);
                late.ulHeadPart = ulHave;
                if (!bDiscarded && !bLateHead && late.ulCount > 0)
                {
                    late.Add(ulExpectedID, ulExpectedLength);
                }
            }
            return ulHave == 0 || bLateHead ? EReceive::Failed : EReceive::Short;
        }
        const uint32_t ulMessageID = GetBE32(abHeader);
        const uint32_t ulLength = GetBE32(abHeader + 4);
        bool bLate = bLateHead;
        // A late reply comes before this one; one that never came is forgotten.
        for (uint32_t i = 0; !bLate && i < late.ulCount; ++i)
        {
            const CTargetLink::SLateReplies::SReply& reply = late.replies[i];
            if (reply.ulMessageID == ulMessageID &&
                (reply.ulLength == CTargetLink::SLateReplies::kAnyLength || reply.ulLength == ulLength))
            {
                for (uint32_t j = 0; j < i; ++j)
                {
                    late.PopFront();
                }
                bLate = true;
            }
        }
        if (!bLate)
        {
            late.Clear();
            *pulMessageID = ulMessageID;
            *pulLength = ulLength;
            m_ulReplyLeft = ulLength;
            return EReceive::Ok;
        }
        if (!bLateHead || (late.ulCount && late.replies[0].ulMessageID == ulMessageID))
        {
            late.PopFront();
        }
        bLateHead = false;
        bDiscarded = true;
        ulHave = 0;
        if (!DiscardLate(ulLength))
        {
            late.Clear();
            return EReceive::Failed;
        }
    }
}

void CTargetClient::Drain(uint32_t ulLength)
{
    uint8_t abScrap[kMaxChunk];
    while (ulLength)
    {
        const uint32_t ulPiece = std::min<uint32_t>(ulLength, sizeof(abScrap));
        if (ReceiveExact(abScrap, ulPiece) != EReceive::Ok)
        {
            return;
        }
        ulLength -= ulPiece;
    }
}

// ---------------------------------------------------------------------------------------------
// Maintenance

int32_t CTargetClient::Maint_read(uint8_t uchLocalPort, uint32_t ulDestID, uint8_t uchHopCount,
                                  uint32_t ulOffset, uint8_t* pData, uint32_t ulWordCount, uint32_t ulStride,
                                  uint32_t ulPriority, bool bTimed, uint32_t ulLastTick, uint32_t* pulElapsed,
                                  uint32_t* pulTick)
{
    return MaintReadAny(uchLocalPort, ulDestID, uchHopCount, ulOffset, pData, ulWordCount, 1, ulStride,
                        ulPriority, bTimed, ulLastTick, pulElapsed, pulTick);
}

int32_t CTargetClient::Maint_read(uint8_t uchLocalPort, uint32_t ulDestID, uint8_t uchHopCount,
                                  uint32_t ulOffset, uint16_t* pData, uint32_t ulWordCount, uint32_t ulStride,
                                  uint32_t ulPriority, bool bTimed, uint32_t ulLastTick, uint32_t* pulElapsed,
                                  uint32_t* pulTick)
{
    return MaintReadAny(uchLocalPort, ulDestID, uchHopCount, ulOffset, pData, ulWordCount, 2, ulStride,
                        ulPriority, bTimed, ulLastTick, pulElapsed, pulTick);
}

int32_t CTargetClient::Maint_read(uint8_t uchLocalPort, uint32_t ulDestID, uint8_t uchHopCount,
                                  uint32_t ulOffset, uint32_t* pData, uint32_t ulWordCount, uint32_t ulStride,
                                  uint32_t ulPriority, bool bTimed, uint32_t ulLastTick, uint32_t* pulElapsed,
                                  uint32_t* pulTick)
{
    return MaintReadAny(uchLocalPort, ulDestID, uchHopCount, ulOffset, pData, ulWordCount, 4, ulStride,
                        ulPriority, bTimed, ulLastTick, pulElapsed, pulTick);
}

int32_t CTargetClient::MaintReadAny(uint8_t uchLocalPort, uint32_t ulDestID, uint8_t uchHopCount,
                                    uint32_t ulOffset, void* pvData, uint32_t ulWordCount,
                                    uint32_t ulWordSize, uint32_t ulStride, uint32_t ulPriority, bool bTimed,
                                    uint32_t ulLastTick, uint32_t* pulElapsed, uint32_t* pulTick)
{
    WriteToLog("Maint_read %x %d %x %x %x ", ulDestID, ulPriority, uchHopCount, ulOffset,
               ulWordCount * ulWordSize);
    WriteToLog("# ");
    const int32_t nStatus =
        ReadTransaction(uchLocalPort, ulDestID, uchHopCount, ulOffset, pvData, ulWordCount, ulWordSize,
                        ulStride, ulPriority, bTimed, ulLastTick, pulElapsed, pulTick);
    if (nStatus != eRioOk)
    {
        return nStatus;
    }
    SwapWords(pvData, ulWordCount, ulWordSize);
    if (IsLoggingEnabled())
    {
        for (uint32_t i = 0; i < ulWordCount; ++i)
        {
            const uint32_t ulWord = ulWordSize == 4   ? static_cast<const uint32_t*>(pvData)[i]
                                    : ulWordSize == 2 ? static_cast<const uint16_t*>(pvData)[i]
                                                      : static_cast<const uint8_t*>(pvData)[i];
            WriteToLog("%x ", ulWord);
        }
    }
    WriteToLog("Succeeded\n");
    return eRioOk;
}

int32_t CTargetClient::ReadTransaction(uint8_t uchLocalPort, uint32_t ulDestID, uint8_t uchHopCount,
                                       uint32_t ulOffset, void* pvData, uint32_t ulWordCount,
                                       uint32_t ulWordSize, uint32_t ulStride, uint32_t ulPriority,
                                       bool bTimed, uint32_t ulLastTick, uint32_t* pulElapsed,
                                       uint32_t* pulTick)
{
    if (!Connected())
    {
        LogFailed(eRioNotConnected);
        return eRioNotConnected;
    }
    const ELinkKind eKind = m_pLink->eKind;
    if (eKind == eLinkNone && !m_pLink->Pod())
    {
        return eRioNullSocketRead;
    }
    // The image link with a register image attached answers from it (the EEPROM image maker).
    if (eKind == eLinkJTAG || eKind == eLinkI2C || eKind == eLinkPCIe || eKind == eLinkNone)
    {
        if (bTimed)
        {
            const uint32_t ulTick = TickMilliseconds();
            if (pulElapsed)
            {
                *pulElapsed = (ulTick - ulLastTick) * 1000;
            }
            if (pulTick)
            {
                *pulTick = ulTick;
            }
        }
        const int32_t nBadSize = eKind == eLinkJTAG  ? eRioJtagUnsupported
                                 : eKind == eLinkI2C ? eRioI2CUnsupported
                                                     : eRioTsi721Unsupported;
        const int32_t nReadFailed = eKind == eLinkJTAG  ? eRioJtagReadFailed
                                    : eKind == eLinkI2C ? eRioI2CReadFailed
                                                        : eRioTsi721ReadFailed;
        if (ulWordSize != 4)
        {
            LogFailed(nBadSize);
            return nBadSize;
        }
        auto* pulWords = static_cast<uint32_t*>(pvData);
        uint32_t ulAddress = ulOffset;
        for (uint32_t i = 0; i < ulWordCount; ++i)
        {
            uint32_t ulValue = 0;
            bool bOk = false;
            if (eKind == eLinkPCIe)
            {
                ITsi721Bridge* pBridge = m_pLink->pTsi721;
                if (pBridge && ulOffset >= 0x70000 && ulOffset <= 0x7FFFF)
                {
                    bOk = pBridge->PciCfgRead(ulOffset - 0x70000, &ulValue);
                }
                else if (pBridge && ulDestID != 0xFFFFFFFFu)
                {
                    bOk = pBridge->SrioMaintRead(ulDestID, uchHopCount, ulAddress, &ulValue);
                    ulAddress += ulStride;
                }
                else if (pBridge)
                {
                    bOk = pBridge->RegisterRead(ulAddress, &ulValue);
                    ulAddress += ulStride;
                }
            }
            else
            {
                IRegisterPod* pPod = m_pLink->Pod();
                bOk = pPod && pPod->ReadRegister(ulAddress, &ulValue);
                ulAddress += ulStride;
            }
            if (!bOk)
            {
                LogFailed(nReadFailed);
                return nReadFailed;
            }
            pulWords[i] = htonl(ulValue);
        }
        return eRioOk;
    }

    // The server exchange: message 3 out, message 4 back with the data.
    const bool bLarge = LargeTransport();
    const uint32_t ulWireDestID = CutDestID(ulDestID, bLarge);
    uint8_t abBody[kMaintReadSize] = {};
    PutTargetHead(abBody, uchLocalPort, bLarge);
    PutBE32(abBody + 4, ulWireDestID);
    abBody[8] = uchHopCount;
    abBody[11] = bTimed ? 1 : 0;
    PutBE32(abBody + 12, ulLastTick);
    PutBE32(abBody + 16, ulOffset);
    PutBE32(abBody + 20, ulWordCount);
    PutBE32(abBody + 24, ulWordSize);
    PutBE32(abBody + 28, ulStride);
    PutBE32(abBody + 32, ulPriority);
    if (!SendMessage(NVT_MAINTREAD, abBody, sizeof(abBody)))
    {
        LogFailed(eRioSendReadFailed);
        return eRioSendReadFailed;
    }
    const uint32_t ulDataSize = ulWordCount * ulWordSize;
    uint32_t ulMessageID = 0;
    uint32_t ulLength = 0;
    EReceive eReceived =
        ReceiveHeader(NVT_MAINTREADRESP, ulDataSize + kMaintReadRespSize, &ulMessageID, &ulLength);
    if (eReceived == EReceive::Failed)
    {
        LogFailed(eRioReceiveReadFailed);
        return eRioReceiveReadFailed;
    }
    if (eReceived == EReceive::Short || ulMessageID != NVT_MAINTREADRESP ||
        ulLength != ulDataSize + kMaintReadRespSize)
    {
        LogFailed(eRioIncorrectResponse);
        return eRioIncorrectResponse;
    }
    uint8_t abReply[kMaintReadRespSize];
    eReceived = ReceiveExact(abReply, sizeof(abReply));
    if (eReceived != EReceive::Ok)
    {
        const int32_t nStatus = eReceived == EReceive::Failed ? eRioReceiveReadFailed : eRioIncorrectResponse;
        LogFailed(nStatus);
        return nStatus;
    }
    if (abReply[0] != uchLocalPort || GetBE32(abReply + 4) != ulWireDestID || abReply[8] != uchHopCount ||
        GetBE32(abReply + 16) != ulOffset)
    {
        LogFailed(eRioResponseMismatch);
        return eRioResponseMismatch;
    }
    if (GetBE32(abReply + 20) != ulWordCount)
    {
        LogFailed(eRioIncorrectResponse);
        return eRioIncorrectResponse;
    }
    if (ReceiveExact(pvData, ulDataSize) != EReceive::Ok)
    {
        LogFailed(eRioReceiveReadFailed);
        return eRioReceiveReadFailed;
    }
    if (bTimed)
    {
        if (pulElapsed)
        {
            *pulElapsed = GetBE32(abReply + 36);
        }
        if (pulTick)
        {
            *pulTick = GetBE32(abReply + 40);
        }
    }
    const auto nStatus = static_cast<int32_t>(GetBE32(abReply + 44));
    if (nStatus != eRioOk)
    {
        LogFailed(nStatus);
    }
    return nStatus;
}

int32_t CTargetClient::Maint_write(uint8_t uchLocalPort, uint32_t ulDestID, uint8_t uchHopCount,
                                   uint32_t ulOffset, uint8_t* pData, uint32_t ulWordCount, uint32_t ulStride,
                                   uint32_t ulPriority)
{
    return MaintWriteAny(uchLocalPort, ulDestID, uchHopCount, ulOffset, pData, ulWordCount, 1, ulStride,
                         ulPriority);
}

int32_t CTargetClient::Maint_write(uint8_t uchLocalPort, uint32_t ulDestID, uint8_t uchHopCount,
                                   uint32_t ulOffset, uint16_t* pData, uint32_t ulWordCount,
                                   uint32_t ulStride, uint32_t ulPriority)
{
    return MaintWriteAny(uchLocalPort, ulDestID, uchHopCount, ulOffset, pData, ulWordCount, 2, ulStride,
                         ulPriority);
}

int32_t CTargetClient::Maint_write(uint8_t uchLocalPort, uint32_t ulDestID, uint8_t uchHopCount,
                                   uint32_t ulOffset, uint32_t* pData, uint32_t ulWordCount,
                                   uint32_t ulStride, uint32_t ulPriority)
{
    return MaintWriteAny(uchLocalPort, ulDestID, uchHopCount, ulOffset, pData, ulWordCount, 4, ulStride,
                         ulPriority);
}

int32_t CTargetClient::MaintWriteAny(uint8_t uchLocalPort, uint32_t ulDestID, uint8_t uchHopCount,
                                     uint32_t ulOffset, void* pvData, uint32_t ulWordCount,
                                     uint32_t ulWordSize, uint32_t ulStride, uint32_t ulPriority)
{
    // The head's byte count is WordCount x 4 whatever the word size: replayed logs rely on it.
    WriteToLog("Maint_write %x %d %x %x %x ", ulDestID, ulPriority, uchHopCount, ulOffset, ulWordCount * 4);
    if (IsLoggingEnabled())
    {
        for (uint32_t i = 0; i < ulWordCount; ++i)
        {
            const uint32_t ulWord = ulWordSize == 4   ? static_cast<const uint32_t*>(pvData)[i]
                                    : ulWordSize == 2 ? static_cast<const uint16_t*>(pvData)[i]
                                                      : static_cast<const uint8_t*>(pvData)[i];
            WriteToLog("%x ", ulWord);
        }
    }
    WriteToLog("# ");
    SwapWords(pvData, ulWordCount, ulWordSize);
    const int32_t nStatus = WriteTransaction(uchLocalPort, ulDestID, uchHopCount, ulOffset, pvData,
                                             ulWordCount, ulWordSize, ulStride, ulPriority);
    if (nStatus != eRioOk)
    {
        return nStatus;
    }
    SwapWords(pvData, ulWordCount, ulWordSize);
    WriteToLog("Succeeded\n");
    return eRioOk;
}

int32_t CTargetClient::WriteTransaction(uint8_t uchLocalPort, uint32_t ulDestID, uint8_t uchHopCount,
                                        uint32_t ulOffset, const void* pvData, uint32_t ulWordCount,
                                        uint32_t ulWordSize, uint32_t ulStride, uint32_t ulPriority)
{
    if (!Connected())
    {
        LogFailed(eRioNotConnected);
        return eRioNotConnected;
    }
    const ELinkKind eKind = m_pLink->eKind;
    if (eKind == eLinkNone && !m_pLink->Pod())
    {
        return eRioOk;
    }
    if (eKind == eLinkJTAG || eKind == eLinkI2C || eKind == eLinkPCIe || eKind == eLinkNone)
    {
        // The I2C branch reports its failures with the JTAG statuses.
        const int32_t nBadSize = eKind == eLinkPCIe ? eRioTsi721Unsupported : eRioJtagUnsupported;
        const int32_t nWriteFailed = eKind == eLinkPCIe ? eRioTsi721WriteFailed : eRioJtagWriteFailed;
        if (ulWordSize != 4)
        {
            LogFailed(nBadSize);
            return nBadSize;
        }
        if (eKind == eLinkPCIe && (ulOffset & 0x80000000u))
        {
            return eRioOk;
        }
        const auto* pulWords = static_cast<const uint32_t*>(pvData);
        uint32_t ulAddress = ulOffset;
        for (uint32_t i = 0; i < ulWordCount; ++i, ulAddress += ulStride)
        {
            const uint32_t ulValue = ntohl(pulWords[i]);
            bool bOk = false;
            if (eKind == eLinkPCIe)
            {
                ITsi721Bridge* pBridge = m_pLink->pTsi721;
                bOk = pBridge && (ulDestID != 0xFFFFFFFFu
                                      ? pBridge->SrioMaintWrite(ulDestID, uchHopCount, ulAddress, ulValue)
                                      : pBridge->RegisterWrite(ulAddress, ulValue));
            }
            else
            {
                IRegisterPod* pPod = m_pLink->Pod();
                bOk = pPod && pPod->WriteRegister(ulAddress, ulValue);
            }
            if (!bOk)
            {
                LogFailed(nWriteFailed);
                return nWriteFailed;
            }
        }
        return eRioOk;
    }

    const bool bLarge = LargeTransport();
    const uint32_t ulDataSize = ulWordCount * ulWordSize;
    uint8_t abBody[kMaintWriteSize] = {};
    PutTargetHead(abBody, uchLocalPort, bLarge);
    PutBE32(abBody + 4, ulDestID);
    abBody[8] = uchHopCount;
    PutBE32(abBody + 12, ulOffset);
    PutBE32(abBody + 16, ulWordCount);
    PutBE32(abBody + 20, ulWordSize);
    PutBE32(abBody + 24, ulStride);
    PutBE32(abBody + 28, ulPriority);
    if (!SendMessage(NVT_MAINTWRITE, abBody, sizeof(abBody), pvData, ulDataSize))
    {
        LogFailed(eRioSendWriteFailed);
        return eRioSendWriteFailed;
    }
    uint32_t ulMessageID = 0;
    uint32_t ulLength = 0;
    EReceive eReceived = ReceiveHeader(NVT_MAINTWRITERESP, kMaintWriteRespSize, &ulMessageID, &ulLength);
    if (eReceived == EReceive::Failed)
    {
        LogFailed(eRioReceiveWriteFailed);
        return eRioReceiveWriteFailed;
    }
    if (eReceived == EReceive::Short || ulMessageID != NVT_MAINTWRITERESP || ulLength != kMaintWriteRespSize)
    {
        LogFailed(eRioIncorrectResponse);
        return eRioIncorrectResponse;
    }
    uint8_t abReply[kMaintWriteRespSize];
    eReceived = ReceiveExact(abReply, sizeof(abReply));
    if (eReceived != EReceive::Ok)
    {
        const int32_t nStatus =
            eReceived == EReceive::Failed ? eRioReceiveWriteFailed : eRioIncorrectResponse;
        LogFailed(nStatus);
        return nStatus;
    }
    if (abReply[0] != uchLocalPort || GetBE32(abReply + 4) != ulDestID || abReply[8] != uchHopCount ||
        GetBE32(abReply + 12) != ulOffset || GetBE32(abReply + 16) != ulWordCount)
    {
        LogFailed(eRioResponseMismatch);
        return eRioResponseMismatch;
    }
    const auto nStatus = static_cast<int32_t>(GetBE32(abReply + 32));
    if (nStatus != eRioOk)
    {
        LogFailed(nStatus);
    }
    return nStatus;
}

int32_t CTargetClient::ReceiveReply(uint32_t ulExpectedID, uint32_t ulExpectedLength, uint8_t* pBody,
                                    uint32_t ulBodySize, int32_t nReceiveFailed, uint32_t* pulLength)
{
    uint32_t ulMessageID = 0;
    uint32_t ulLength = 0;
    const EReceive eHeader = ReceiveHeader(ulExpectedID, ulExpectedLength, &ulMessageID, &ulLength);
    if (eHeader == EReceive::Failed)
    {
        return nReceiveFailed;
    }
    if (eHeader == EReceive::Short || ulMessageID != ulExpectedID ||
        (ulExpectedLength != kAnyLength && ulLength != ulExpectedLength) || ulLength < ulBodySize)
    {
        return eRioIncorrectResponse;
    }
    const EReceive eBody = ReceiveExact(pBody, ulBodySize);
    if (eBody != EReceive::Ok)
    {
        return eBody == EReceive::Failed ? nReceiveFailed : eRioIncorrectResponse;
    }
    if (pulLength)
    {
        *pulLength = ulLength;
    }
    return eRioOk;
}

// ---------------------------------------------------------------------------------------------
// Data, messages and doorbells

int32_t CTargetClient::Nread(uint8_t uchLocalPort, uint32_t ulDestID, uint32_t ulRioAddressHi,
                             uint32_t ulRioAddressLo, uint32_t ulXferType, uint32_t ulPriority, void* pvData,
                             uint32_t ulByteCount)
{
    WriteToLog("Nread %x 0 %x %x%08x %x ", ulDestID, ulPriority, ulRioAddressHi, ulRioAddressLo, ulByteCount);
    WriteToLog("# ");
    if (!Connected())
    {
        LogFailed(eRioNotConnected);
        return eRioNotConnected;
    }
    if (m_pLink->eKind == eLinkJTAG)
    {
        LogFailed(eRioJtagUnsupported);
        return eRioJtagUnsupported;
    }
    uint8_t abBody[kDataXferSize] = {};
    PutTargetHead(abBody, uchLocalPort, LargeTransport());
    PutBE32(abBody + 4, ulDestID);
    PutBE32(abBody + 8, ulXferType);
    PutBE32(abBody + 12, ulPriority);
    PutBE32(abBody + 16, ulRioAddressHi);
    PutBE32(abBody + 20, ulRioAddressLo);
    PutBE32(abBody + 24, ulByteCount);
    if (!SendMessage(NVT_DATAREAD, abBody, sizeof(abBody)))
    {
        LogFailed(eRioSendDataReadFailed);
        return eRioSendDataReadFailed;
    }
    uint8_t abReply[kDataXferRespSize];
    uint32_t ulLength = 0;
    int32_t nStatus = ReceiveReply(NVT_DATAREADRESP, kAnyLength, abReply, sizeof(abReply),
                                   eRioReceiveDataReadFailed, &ulLength);
    if (nStatus != eRioOk)
    {
        LogFailed(nStatus);
        return nStatus;
    }
    if (abReply[0] != uchLocalPort || GetBE32(abReply + 4) != ulDestID ||
        GetBE32(abReply + 24) != ulByteCount)
    {
        LogFailed(eRioResponseMismatch);
        return eRioResponseMismatch;
    }
    nStatus = static_cast<int32_t>(GetBE32(abReply + 32));
    if (nStatus != eRioOk)
    {
        // A failed read carries no data as a rule; whatever it does carry is thrown away.
        Drain(ulLength - kDataXferRespSize);
        LogFailed(nStatus);
        return nStatus;
    }
    if (ulLength != ulByteCount + kDataXferRespSize)
    {
        LogFailed(eRioIncorrectResponse);
        return eRioIncorrectResponse;
    }
    if (ReceiveExact(pvData, ulByteCount) != EReceive::Ok)
    {
        LogFailed(eRioReceiveDataReadFailed);
        return eRioReceiveDataReadFailed;
    }
    LogBytes(pvData, ulByteCount);
    WriteToLog("Succeeded\n");
    return eRioOk;
}

int32_t CTargetClient::DataWrite(uint8_t uchLocalPort, uint32_t ulDestID, uint32_t ulRioAddressHi,
                                 uint32_t ulRioAddressLo, uint32_t ulXferType, uint32_t ulPriority,
                                 const void* pvData, uint32_t ulByteCount)
{
    WriteToLog("%s", ulXferType == 0 ? "Swrite " : ulXferType == 1 ? "Nwrite " : "Nwrite_R ");
    WriteToLog("%x %x %x%08x %x ", ulDestID, ulPriority, ulRioAddressHi, ulRioAddressLo, ulByteCount);
    LogBytes(pvData, ulByteCount);
    WriteToLog("# ");
    if (!Connected())
    {
        LogFailed(eRioNotConnected);
        return eRioNotConnected;
    }
    if (m_pLink->eKind == eLinkJTAG)
    {
        LogFailed(eRioJtagUnsupported);
        return eRioJtagUnsupported;
    }
    uint8_t abBody[kDataXferSize] = {};
    PutTargetHead(abBody, uchLocalPort, LargeTransport());
    PutBE32(abBody + 4, ulDestID);
    PutBE32(abBody + 8, ulXferType);
    PutBE32(abBody + 12, ulPriority);
    PutBE32(abBody + 16, ulRioAddressHi);
    PutBE32(abBody + 20, ulRioAddressLo);
    PutBE32(abBody + 24, ulByteCount);
    if (!SendMessage(NVT_DATAWRITE, abBody, sizeof(abBody), pvData, ulByteCount))
    {
        LogFailed(eRioSendDataWriteFailed);
        return eRioSendDataWriteFailed;
    }
    uint8_t abReply[kDataXferRespSize];
    const int32_t nStatus = ReceiveReply(NVT_DATAWRITERESP, kDataXferRespSize, abReply, sizeof(abReply),
                                         eRioReceiveDataWriteFailed);
    if (nStatus != eRioOk)
    {
        LogFailed(nStatus);
        return nStatus;
    }
    if (abReply[0] != uchLocalPort || GetBE32(abReply + 4) != ulDestID ||
        GetBE32(abReply + 24) != ulByteCount)
    {
        LogFailed(eRioResponseMismatch);
        return eRioResponseMismatch;
    }
    // The line says the exchange went through; the target's own status is the result.
    WriteToLog("Succeeded\n");
    return static_cast<int32_t>(GetBE32(abReply + 32));
}

int32_t CTargetClient::NreadEx(uint8_t, uint32_t ulDestID, uint32_t ulAddressExt, uint32_t ulRioAddressHi,
                               uint32_t ulRioAddressLo, uint32_t ulPriority, bool bFlag, void* pvData,
                               uint32_t* pulByteCount)
{
    WriteToLog("Nread %x 0 %x %x%08x%08x %x ", ulDestID, ulPriority, ulAddressExt, ulRioAddressHi,
               ulRioAddressLo, *pulByteCount);
    WriteToLog("# ");
    if (!m_pLink || m_pLink->eKind != eLinkPCIe || !m_pLink->pTsi721)
    {
        LogFailed(eRioNullSocketRead);
        return eRioNullSocketRead;
    }
    const uint32_t ulFlags = (ulPriority & 3) | (((bFlag ? 4u : 0u) | (ulAddressExt & 3)) * 4);
    if (!m_pLink->pTsi721->DataRead(ulDestID, ulRioAddressHi, ulRioAddressLo, ulFlags, pvData, pulByteCount))
    {
        LogFailed(eRioTsi721DataReadFailed);
        return eRioTsi721DataReadFailed;
    }
    WriteToLog("Succeeded\n");
    return eRioOk;
}

int32_t CTargetClient::DataWriteEx(uint8_t, uint32_t ulDestID, uint32_t ulAddressExt, uint32_t ulRioAddressHi,
                                   uint32_t ulRioAddressLo, uint32_t ulPriority, uint32_t ulXferType,
                                   bool bFlag, const void* pvData, uint32_t* pulByteCount)
{
    if (m_pLink && m_pLink->eKind == eLinkPCIe && (ulPriority > 2 || ulXferType > 2))
    {
        return eRioTsi721DataWriteFailed;
    }
    WriteToLog("%s", ulXferType == 0 ? "Swrite " : ulXferType == 1 ? "Nwrite " : "Nwrite_R ");
    WriteToLog("%x %x %x%08x%08x %x ", ulDestID, ulPriority, ulAddressExt, ulRioAddressHi, ulRioAddressLo,
               *pulByteCount);
    LogBytes(pvData, *pulByteCount);
    WriteToLog("# ");
    if (!m_pLink || m_pLink->eKind != eLinkPCIe || !m_pLink->pTsi721)
    {
        LogFailed(eRioNullSocketRead);
        return eRioNullSocketWrite;
    }
    static const uint32_t aulTypeFlags[3] = {128, 64, 192};
    const uint32_t ulFlags =
        ulPriority + aulTypeFlags[ulXferType] + (((bFlag ? 4u : 0u) | (ulAddressExt & 3)) * 4);
    if (!m_pLink->pTsi721->DataWrite(ulDestID, ulRioAddressHi, ulRioAddressLo, ulFlags, pvData, pulByteCount))
    {
        LogFailed(eRioTsi721DataWriteFailed);
        return eRioTsi721DataWriteFailed;
    }
    WriteToLog("Succeeded\n");
    return eRioOk;
}

int32_t CTargetClient::Message(uint8_t uchLocalPort, uint32_t ulDestID, uint32_t ulPriority,
                               bool bMultiPacket, uint32_t ulMailboxNum, const void* pvData,
                               uint32_t ulPacketByteCount, uint32_t ulTotalByteCount)
{
    WriteToLog("Message %x %x %x %x ", ulDestID, ulMailboxNum, ulPacketByteCount, ulTotalByteCount);
    LogBytes(pvData, ulTotalByteCount);
    WriteToLog("# ");
    if (!Connected())
    {
        LogFailed(eRioNotConnected);
        return eRioNotConnected;
    }
    if (m_pLink->eKind == eLinkJTAG)
    {
        LogFailed(eRioJtagUnsupported);
        return eRioJtagUnsupported;
    }
    uint8_t abBody[kMessageSize] = {};
    PutTargetHead(abBody, uchLocalPort, LargeTransport());
    PutBE32(abBody + 4, bMultiPacket ? 1 : 0);
    PutBE32(abBody + 8, ulDestID);
    PutBE32(abBody + 12, ulPriority);
    PutBE32(abBody + 16, ulMailboxNum);
    PutBE32(abBody + 20, ulPacketByteCount);
    PutBE32(abBody + 24, ulTotalByteCount);
    if (!SendMessage(NVT_MESSAGE, abBody, sizeof(abBody), pvData, ulTotalByteCount))
    {
        LogFailed(eRioSendMessageFailed);
        return eRioSendMessageFailed;
    }
    uint8_t abReply[kMessageRespSize];
    const int32_t nStatus =
        ReceiveReply(NVT_MESSAGERESP, kMessageRespSize, abReply, sizeof(abReply), eRioReceiveMessageFailed);
    if (nStatus != eRioOk)
    {
        LogFailed(nStatus);
        return nStatus;
    }
    if (abReply[0] != uchLocalPort || GetBE32(abReply + 8) != ulDestID ||
        GetBE32(abReply + 24) != ulTotalByteCount)
    {
        LogFailed(eRioResponseMismatch);
        return eRioResponseMismatch;
    }
    WriteToLog("Succeeded\n");
    return static_cast<int32_t>(GetBE32(abReply + 28));
}

int32_t CTargetClient::Doorbell(uint8_t uchLocalPort, uint32_t ulDestID, uint32_t ulPriority,
                                uint16_t wInfoWord)
{
    WriteToLog("Doorbell %x %x # ", ulDestID, wInfoWord);
    if (!Connected())
    {
        LogFailed(eRioNotConnected);
        return eRioNotConnected;
    }
    if (m_pLink->eKind == eLinkJTAG)
    {
        LogFailed(eRioJtagUnsupported);
        return eRioJtagUnsupported;
    }
    uint8_t abBody[kDoorbellSize] = {};
    PutTargetHead(abBody, uchLocalPort, LargeTransport());
    PutBE32(abBody + 4, ulDestID);
    PutBE32(abBody + 8, ulPriority);
    PutBE16(abBody + 12, wInfoWord);
    if (!SendMessage(NVT_DOORBELL, abBody, sizeof(abBody)))
    {
        LogFailed(eRioSendDoorbellFailed);
        return eRioSendDoorbellFailed;
    }
    uint8_t abReply[kDoorbellRespSize];
    const int32_t nStatus = ReceiveReply(NVT_DOORBELLRESP, kDoorbellRespSize, abReply, sizeof(abReply),
                                         eRioReceiveDoorbellFailed);
    if (nStatus != eRioOk)
    {
        LogFailed(nStatus);
        return nStatus;
    }
    if (abReply[0] != uchLocalPort || GetBE32(abReply + 4) != ulDestID || GetBE16(abReply + 12) != wInfoWord)
    {
        LogFailed(eRioResponseMismatch);
        return eRioResponseMismatch;
    }
    WriteToLog("Succeeded\n");
    return static_cast<int32_t>(GetBE32(abReply + 16));
}

int32_t CTargetClient::MessageQueue(uint32_t ulWhichQueue, uint32_t ulCommand, uint8_t* pbTT,
                                    uint8_t* pbOverflow, uint32_t* pulSourceID, uint32_t* pulPriority,
                                    uint32_t* pulMailboxNum, uint32_t* pulSize, void* pvData)
{
    constexpr uint32_t kMaxMessage = 4096;
    if (!Connected())
    {
        return eRioNotConnected;
    }
    if (m_pLink->eKind == eLinkJTAG)
    {
        return eRioJtagUnsupported;
    }
    uint8_t abBody[kQueueSize] = {};
    PutBE32(abBody, ulWhichQueue);
    PutBE32(abBody + 4, ulCommand);
    if (!SendMessage(NVT_MESSAGEQUEUE, abBody, sizeof(abBody)))
    {
        return eRioSendMessageFailed;
    }
    uint8_t abReply[kMessageQueueRespSize];
    uint32_t ulLength = 0;
    const int32_t nStatus = ReceiveReply(NVT_MESSAGEQUEUERESP, kAnyLength, abReply, sizeof(abReply),
                                         eRioReceiveMessageFailed, &ulLength);
    if (nStatus != eRioOk)
    {
        return nStatus;
    }
    const uint32_t ulSize = GetBE32(abReply + 24);
    const uint32_t ulDataSize = ulCommand == 1 ? ulSize : 0;
    if (ulLength != kMessageQueueRespSize + ulDataSize || ulDataSize > kMaxMessage)
    {
        return eRioIncorrectResponse;
    }
    auto* pbData = static_cast<uint8_t*>(pvData);
    for (uint32_t ulGot = 0; ulGot < ulDataSize;)
    {
        const uint32_t ulPiece = std::min(kMaxChunk, ulDataSize - ulGot);
        if (!pbData)
        {
            Drain(ulDataSize - ulGot);
            break;
        }
        if (ReceiveExact(pbData + ulGot, ulPiece) != EReceive::Ok)
        {
            return eRioReceiveDataReadFailed;
        }
        ulGot += ulPiece;
    }
    if (pbOverflow)
    {
        *pbOverflow = abReply[8];
    }
    if (pbTT)
    {
        *pbTT = abReply[9];
    }
    if (pulSourceID)
    {
        *pulSourceID = GetBE32(abReply + 12);
    }
    if (pulPriority)
    {
        *pulPriority = GetBE32(abReply + 16);
    }
    if (pulMailboxNum)
    {
        *pulMailboxNum = GetBE32(abReply + 20);
    }
    if (pulSize)
    {
        *pulSize = ulSize;
    }
    return static_cast<int32_t>(GetBE32(abReply + 28));
}

int32_t CTargetClient::DoorbellQueue(uint32_t ulWhichQueue, uint32_t ulCommand, uint8_t* pbValid,
                                     uint8_t* pbOverflow, uint16_t* pwInfoWord)
{
    if (!Connected())
    {
        return eRioNotConnected;
    }
    if (m_pLink->eKind == eLinkJTAG)
    {
        return eRioJtagUnsupported;
    }
    uint8_t abBody[kQueueSize] = {};
    PutBE32(abBody, ulWhichQueue);
    PutBE32(abBody + 4, ulCommand);
    if (!SendMessage(NVT_DOORBELLQUEUE, abBody, sizeof(abBody)))
    {
        return eRioSendDoorbellFailed;
    }
    uint8_t abReply[kDoorbellQueueRespSize];
    const int32_t nStatus = ReceiveReply(NVT_DOORBELLQUEUERESP, kDoorbellQueueRespSize, abReply,
                                         sizeof(abReply), eRioReceiveDoorbellFailed);
    if (nStatus != eRioOk)
    {
        return nStatus;
    }
    if (pbOverflow)
    {
        *pbOverflow = abReply[8];
    }
    if (pbValid)
    {
        *pbValid = abReply[9];
    }
    if (pwInfoWord)
    {
        *pwInfoWord = GetBE16(abReply + 10);
    }
    return static_cast<int32_t>(GetBE32(abReply + 12));
}

// ---------------------------------------------------------------------------------------------
// The server host's memory and flash

int32_t CTargetClient::MemRead(uint32_t ulAddressHi, uint32_t ulAddressLo, uint32_t ulWordCount,
                               uint32_t ulWordSize, void* pvData)
{
    if (!CServerCaps::Instance().bMemoryRead)
    {
        return eRioServerUnsupported;
    }
    WriteToLog("MemRead %x%08x %x %x ", ulAddressHi, ulAddressLo, ulWordCount, ulWordSize);
    WriteToLog("# ");
    if (!Connected())
    {
        LogFailed(eRioNotConnected);
        return eRioNotConnected;
    }
    const ELinkKind eKind = m_pLink->eKind;
    if (eKind == eLinkJTAG || eKind == eLinkI2C || eKind == eLinkNone)
    {
        LogFailed(eRioNullSocketRead);
        return eRioNullSocketRead;
    }
    if (eKind == eLinkPCIe)
    {
        WriteToLog("Succeeded\n");
        return eRioOk;
    }
    uint8_t abBody[kMemXferSize] = {};
    PutBE32(abBody, ulAddressHi);
    PutBE32(abBody + 4, ulAddressLo);
    PutBE32(abBody + 8, ulWordCount);
    PutBE32(abBody + 12, ulWordSize);
    if (!SendMessage(NVT_MEMREAD, abBody, sizeof(abBody)))
    {
        LogFailed(eRioSendMemReadFailed);
        return eRioSendMemReadFailed;
    }
    const uint32_t ulDataSize = ulWordCount * ulWordSize;
    uint8_t abReply[kMemXferRespSize];
    const int32_t nStatus = ReceiveReply(NVT_MEMREADRESP, kMemXferRespSize + ulDataSize, abReply,
                                         sizeof(abReply), eRioReceiveMemReadFailed);
    if (nStatus != eRioOk)
    {
        LogFailed(nStatus);
        return nStatus;
    }
    if (std::memcmp(abReply, abBody, 16) != 0)
    {
        LogFailed(eRioResponseMismatch);
        return eRioResponseMismatch;
    }
    if (ReceiveExact(pvData, ulDataSize) != EReceive::Ok)
    {
        LogFailed(eRioReceiveMemReadFailed);
        return eRioReceiveMemReadFailed;
    }
    LogSignedBytes(pvData, ulDataSize);
    WriteToLog("Succeeded\n");
    return static_cast<int32_t>(GetBE32(abReply + 20));
}

int32_t CTargetClient::MemWrite(uint32_t ulAddressHi, uint32_t ulAddressLo, uint32_t ulWordCount,
                                uint32_t ulWordSize, const void* pvData)
{
    if (!CServerCaps::Instance().bMemoryWrite)
    {
        return eRioServerUnsupported;
    }
    const uint32_t ulDataSize = ulWordCount * ulWordSize;
    WriteToLog("MemWrite %x%08x %x %x ", ulAddressHi, ulAddressLo, ulWordCount, ulWordSize);
    LogSignedBytes(pvData, ulDataSize);
    WriteToLog("# ");
    if (!Connected())
    {
        LogFailed(eRioNotConnected);
        return eRioNotConnected;
    }
    uint8_t abBody[kMemXferSize] = {};
    PutBE32(abBody, ulAddressHi);
    PutBE32(abBody + 4, ulAddressLo);
    PutBE32(abBody + 8, ulWordCount);
    PutBE32(abBody + 12, ulWordSize);
    if (!SendMessage(NVT_MEMWRITE, abBody, sizeof(abBody), pvData, ulDataSize))
    {
        LogFailed(eRioSendMemWriteFailed);
        return eRioSendMemWriteFailed;
    }
    uint8_t abReply[kMemXferRespSize];
    const int32_t nStatus =
        ReceiveReply(NVT_MEMWRITERESP, kMemXferRespSize, abReply, sizeof(abReply), eRioReceiveMemWriteFailed);
    if (nStatus != eRioOk)
    {
        LogFailed(nStatus);
        return nStatus;
    }
    if (std::memcmp(abReply, abBody, 16) != 0)
    {
        LogFailed(eRioResponseMismatch);
        return eRioResponseMismatch;
    }
    WriteToLog("Succeeded\n");
    return static_cast<int32_t>(GetBE32(abReply + 20));
}

int32_t CTargetClient::FlashRead(uint32_t ulAddressHi, uint32_t ulAddressLo, uint32_t ulByteCount,
                                 void* pvData)
{
    if (!CServerCaps::Instance().bFlashRead)
    {
        return eRioServerUnsupported;
    }
    WriteToLog("FlashRead %x%08x %x ", ulAddressHi, ulAddressLo, ulByteCount);
    WriteToLog("# ");
    if (!Connected())
    {
        LogFailed(eRioNotConnected);
        return eRioNotConnected;
    }
    uint8_t abBody[kFlashXferSize] = {};
    PutBE32(abBody, ulAddressHi);
    PutBE32(abBody + 4, ulAddressLo);
    PutBE32(abBody + 8, ulByteCount);
    if (!SendMessage(NVT_FLASHREAD, abBody, sizeof(abBody)))
    {
        LogFailed(eRioSendFlashReadFailed);
        return eRioSendFlashReadFailed;
    }
    uint8_t abReply[kFlashXferRespSize];
    const int32_t nStatus = ReceiveReply(NVT_FLASHREADRESP, kFlashXferRespSize + ulByteCount, abReply,
                                         sizeof(abReply), eRioReceiveFlashReadFailed);
    if (nStatus != eRioOk)
    {
        LogFailed(nStatus);
        return nStatus;
    }
    if (std::memcmp(abReply, abBody, 12) != 0)
    {
        LogFailed(eRioResponseMismatch);
        return eRioResponseMismatch;
    }
    if (ReceiveExact(pvData, ulByteCount) != EReceive::Ok)
    {
        LogFailed(eRioReceiveFlashReadFailed);
        return eRioReceiveFlashReadFailed;
    }
    LogSignedBytes(pvData, ulByteCount);
    WriteToLog("Succeeded\n");
    return static_cast<int32_t>(GetBE32(abReply + 16));
}

int32_t CTargetClient::FlashWrite(uint32_t ulAddressHi, uint32_t ulAddressLo, uint32_t ulByteCount,
                                  const void* pvData)
{
    if (!CServerCaps::Instance().bFlashWrite)
    {
        return eRioServerUnsupported;
    }
    WriteToLog("FlashWrite HI:%08x LO:%08x Size:%x ", ulAddressHi, ulAddressLo, ulByteCount);
    LogSignedBytes(pvData, ulByteCount);
    WriteToLog("# ");
    if (!Connected())
    {
        LogFailed(eRioNotConnected);
        return eRioNotConnected;
    }
    uint8_t abBody[kFlashXferSize] = {};
    PutBE32(abBody, ulAddressHi);
    PutBE32(abBody + 4, ulAddressLo);
    PutBE32(abBody + 8, ulByteCount);
    if (!SendMessage(NVT_FLASHWRITE, abBody, sizeof(abBody), pvData, ulByteCount, kMaxChunk))
    {
        LogFailed(eRioSendFlashWriteFailed);
        return eRioSendFlashWriteFailed;
    }
    uint8_t abReply[kFlashXferRespSize];
    const int32_t nStatus = ReceiveReply(NVT_FLASHWRITERESP, kFlashXferRespSize, abReply, sizeof(abReply),
                                         eRioReceiveFlashWriteFailed);
    if (nStatus != eRioOk)
    {
        LogFailed(nStatus);
        return nStatus;
    }
    if (std::memcmp(abReply, abBody, 12) != 0)
    {
        LogFailed(eRioResponseMismatch);
        return eRioResponseMismatch;
    }
    WriteToLog("Succeeded\n");
    return static_cast<int32_t>(GetBE32(abReply + 16));
}

int32_t CTargetClient::DataGen(const uint8_t* pRequest, uint8_t* pReply)
{
    constexpr int32_t kSendFailed = -29;
    constexpr int32_t kReceiveFailed = -30;
    if (!Connected())
    {
        return eRioNotConnected;
    }
    if (!SendMessage(NVT_DATAGEN, pRequest, kDataGenSize))
    {
        return kSendFailed;
    }
    const int32_t nStatus =
        ReceiveReply(NVT_DATAGENRESP, kDataGenRespSize, pReply, kDataGenRespSize, kReceiveFailed);
    if (nStatus != eRioOk)
    {
        return nStatus;
    }
    return static_cast<int32_t>(GetBE32(pReply + 212));
}

// ---------------------------------------------------------------------------------------------
// Errors and identity

int32_t CTargetClient::GetRioErrors(char* pszText, uint32_t ulSize)
{
    if (!Connected())
    {
        return eRioNotConnected;
    }
    if (m_pLink->eKind == eLinkJTAG)
    {
        return eRioJtagUnsupported;
    }
    if (!SendMessage(NVT_GETRIOERRORS, nullptr, 0))
    {
        return eRioSendGetErrorsFailed;
    }
    uint32_t ulMessageID = 0;
    uint32_t ulLength = 0;
    const EReceive eHeader = ReceiveHeader(NVT_GETRIOERRORSRESP, kAnyLength, &ulMessageID, &ulLength);
    if (eHeader == EReceive::Failed)
    {
        return eRioReceiveGetErrorsFailed;
    }
    if (eHeader == EReceive::Short || ulMessageID != NVT_GETRIOERRORSRESP)
    {
        return eRioIncorrectResponse;
    }
    uint8_t abHead[kRioErrorsHeadSize];
    EReceive eReceived = ReceiveExact(abHead, sizeof(abHead));
    if (eReceived != EReceive::Ok)
    {
        return eReceived == EReceive::Failed ? eRioReceiveGetErrorsFailed : eRioIncorrectResponse;
    }
    const uint32_t ulCount = GetBE32(abHead);
    const auto nStatus = static_cast<int32_t>(GetBE32(abHead + 4));
    if (ulCount == 0)
    {
        return nStatus;
    }
    if (ulCount > kMaxRioErrorRecords)
    {
        // No target collects that many: the count is garbage, and reading on would not end.
        return eRioIncorrectResponse;
    }
    // Only what the caller's text can hold is kept; the other records are read and dropped.
    const size_t nRoom = pszText && ulSize ? ulSize - 1 : 0;
    std::string strText = "The following RapidIO errors were detected:";
    strText.resize(std::min(strText.size(), nRoom));
    for (uint32_t i = 0; i < ulCount; ++i)
    {
        uint8_t abRecord[kRioErrorRecordSize];
        eReceived = ReceiveExact(abRecord, sizeof(abRecord));
        if (eReceived != EReceive::Ok)
        {
            return eReceived == EReceive::Failed ? eRioReceiveGetErrorsFailed : eRioIncorrectResponse;
        }
        if (strText.size() < nRoom)
        {
            abRecord[kRioErrorRecordSize - 1] = 0;
            char szLine[160];
            const int nLine = std::snprintf(szLine, sizeof(szLine), "\n[0x%08lX] %s",
                                            static_cast<unsigned long>(GetBE32(abRecord)),
                                            reinterpret_cast<const char*>(abRecord + 4));
            strText.append(szLine,
                           std::min<size_t>(static_cast<size_t>(std::max(nLine, 0)), nRoom - strText.size()));
        }
    }
    if (pszText && ulSize)
    {
        std::memcpy(pszText, strText.data(), strText.size());
        pszText[strText.size()] = 0;
    }
    return nStatus;
}

int32_t CTargetClient::GetServerInfo(SServerInfo* pInfo, uint32_t* pulCapabilities)
{
    if (!Connected())
    {
        return eRioNotConnected;
    }
    const ELinkKind eKind = m_pLink->eKind;
    if (eKind == eLinkJTAG || eKind == eLinkI2C || eKind == eLinkPCIe)
    {
        // A direct link has no server: the record is made here from the host device itself.
        *pInfo = SServerInfo{};
        const int32_t nStatus =
            HalStatusToClient(GetDeviceAndVendor(0, 0xFFFFFFFFu, 0, &pInfo->wDeviceID, &pInfo->wVendorID));
        if (nStatus != eRioOk)
        {
            return nStatus;
        }
        if (eKind == eLinkPCIe)
        {
            uint32_t ulIDs = 0;
            if (!m_pLink->pTsi721 || !m_pLink->pTsi721->GetDestIDs(&ulIDs))
            {
                ulIDs = 0;
            }
            pInfo->wShortDestID = static_cast<uint16_t>(ulIDs >> 16);
            pInfo->wLongDestID = static_cast<uint16_t>(ulIDs);
            if (m_pLink->pTsi721)
            {
                m_pLink->pTsi721->SetDestIDSize(LargeTransport());
            }
        }
        pInfo->ulNumLocalPorts = 1;
        uint32_t ulFeatures = 0;
        if (GetFeatures(0, 0xFFFFFFFFu, 0, &ulFeatures) == eRioOk && (ulFeatures & (1u << 28)))
        {
            uint32_t ulPortInfo = 0;
            if (GetSwitchPortInfo(0, 0xFFFFFFFFu, 0, &ulPortInfo) == eRioOk)
            {
                pInfo->ulNumLocalPorts = (ulPortInfo >> 8) & 0xFF;
            }
        }
        pInfo->wOSType = 0xFFFF;
        pInfo->wProcessorType = 0xFFFF;
        pInfo->ulInterfaceVersion = 0xFFFFFFFFu;
        pInfo->uchServerMajor = 0xFF;
        pInfo->uchServerMinor = 0xFF;
        *pulCapabilities = eKind == eLinkPCIe ? 0xF3 : 0;
        return eRioOk;
    }

    if (!SendMessage(NVT_IDENTIFY, nullptr, 0))
    {
        return eRioSendIdentifyFailed;
    }
    uint8_t abRecord[kIdentifyRespSize];
    int32_t nStatus = ReceiveReply(NVT_IDENTIFYRESP, kIdentifyRespSize, abRecord, sizeof(abRecord),
                                   eRioReceiveIdentifyFailed);
    if (nStatus != eRioOk)
    {
        return nStatus;
    }
    DecodeServerInfo(abRecord, pInfo);
    *pulCapabilities = 0;
    if (pInfo->ulInterfaceVersion < 0x20070910u)
    {
        return eRioOk;
    }
    if (!SendMessage(NVT_IDENTIFYEX, nullptr, 0))
    {
        return eRioSendIdentifyFailed;
    }
    uint32_t ulMessageID = 0;
    uint32_t ulLength = 0;
    const EReceive eHeader = ReceiveHeader(NVT_IDENTIFYEXRESP, kIdentifyExRespSize, &ulMessageID, &ulLength);
    if (eHeader == EReceive::Failed)
    {
        // An older server that does not know the extended identity: it simply has no capabilities.
        return eRioOk;
    }
    if (eHeader == EReceive::Short || ulMessageID != NVT_IDENTIFYEXRESP || ulLength != kIdentifyExRespSize)
    {
        return eRioIncorrectResponse;
    }
    uint8_t abCaps[kIdentifyExRespSize];
    const EReceive eBody = ReceiveExact(abCaps, sizeof(abCaps));
    if (eBody != EReceive::Ok)
    {
        return eBody == EReceive::Failed ? eRioReceiveIdentifyFailed : eRioIncorrectResponse;
    }
    *pulCapabilities = GetBE32(abCaps);
    return eRioOk;
}

// ---------------------------------------------------------------------------------------------
// Helpers above the transactions

int32_t CTargetClient::ArePortsTrained(uint16_t wVendorID, uint16_t wDeviceID, uint8_t uchLocalPort,
                                       uint32_t ulDestID, uint8_t uchHopCount, uint32_t* pulNumPorts,
                                       uint8_t* pbTrained)
{
    uint32_t aulStatus[256] = {};
    uint32_t ulCount = 0;
    if ((static_cast<uint32_t>(wDeviceID) << 16 | wVendorID) == 0x0500000Du)
    {
        // This switch keeps its port status in a register of its own per port.
        ulCount = 4;
        const int32_t nStatus =
            Maint_read(uchLocalPort, ulDestID, uchHopCount, 0x10068, aulStatus, ulCount, 0x20000, 2);
        if (nStatus != eRioOk)
        {
            return nStatus;
        }
        for (uint32_t i = 0; i < ulCount && i < *pulNumPorts; ++i)
        {
            pbTrained[i] = (aulStatus[i] & 0xFF800800u) == 0xFF800800u ? 1 : 0;
        }
        *pulNumPorts = ulCount;
        return eRioOk;
    }
    uint32_t ulPortInfo = 0;
    int32_t nStatus = GetSwitchPortInfo(uchLocalPort, ulDestID, uchHopCount, &ulPortInfo);
    if (nStatus != eRioOk)
    {
        return nStatus;
    }
    ulCount = (ulPortInfo >> 8) & 0xFF;
    if (ulCount == 0)
    {
        ulCount = 1;
    }
    nStatus = Maint_read(uchLocalPort, ulDestID, uchHopCount, 0x158, aulStatus, ulCount, 32, 2);
    if (nStatus != eRioOk)
    {
        return nStatus;
    }
    for (uint32_t i = 0; i < ulCount && i < *pulNumPorts; ++i)
    {
        pbTrained[i] = (aulStatus[i] & 0x2u) ? 1 : 0;
    }
    *pulNumPorts = ulCount;
    return eRioOk;
}

int32_t CTargetClient::I2CWriteByte(uint8_t uchLocalPort, uint32_t ulDestID, uint8_t uchHopCount,
                                    uint32_t ulDeviceAddr, uint32_t ulAddress, uint8_t uchValue)
{
    uint32_t ulWord = uchValue;
    int32_t nStatus = Maint_write(uchLocalPort, ulDestID, uchHopCount, 0xB700C, &ulWord, 1, 4, 2);
    if (nStatus != eRioOk)
    {
        return nStatus;
    }
    ulWord = ((((ulAddress & 0xFF) << 8) | (ulDeviceAddr & 7)) << 8) | 0x0100000Au;
    nStatus = Maint_write(uchLocalPort, ulDestID, uchHopCount, 0xB7000, &ulWord, 1, 4, 2);
    if (nStatus != eRioOk)
    {
        return nStatus;
    }
    ulWord = 0x100;
    nStatus = Maint_write(uchLocalPort, ulDestID, uchHopCount, 0xB7004, &ulWord, 1, 4, 2);
    if (nStatus != eRioOk)
    {
        return nStatus;
    }
    uint32_t ulControl = 0;
    for (int nPoll = 0; nPoll < 10; ++nPoll)
    {
        nStatus = Maint_read(uchLocalPort, ulDestID, uchHopCount, 0xB7004, &ulControl, 1, 4, 2);
        if (nStatus != eRioOk)
        {
            return nStatus;
        }
        if (!(ulControl & (1u << 16)))
        {
            break;
        }
    }
    if (ulControl & (1u << 16))
    {
        return eRioFlashTimeout;
    }
    if (ulControl & (1u << 26))
    {
        return eRioNoFlash;
    }
    if (ulControl & (1u << 25))
    {
        return eRioFlashWriteProtected;
    }
    return eRioOk;
}

int32_t CTargetClient::I2CReadByte(uint8_t uchLocalPort, uint32_t ulDestID, uint8_t uchHopCount,
                                   uint32_t ulDeviceAddr, uint32_t ulAddress, uint8_t* puchValue)
{
    uint32_t ulWord = ((((ulAddress & 0xFF) << 8) | (ulDeviceAddr & 7)) << 8) | 0x0000000Au;
    int32_t nStatus = Maint_write(uchLocalPort, ulDestID, uchHopCount, 0xB7000, &ulWord, 1, 4, 2);
    if (nStatus != eRioOk)
    {
        return nStatus;
    }
    ulWord = 0x100;
    nStatus = Maint_write(uchLocalPort, ulDestID, uchHopCount, 0xB7004, &ulWord, 1, 4, 2);
    if (nStatus != eRioOk)
    {
        return nStatus;
    }
    uint32_t ulControl = 0;
    for (int nPoll = 0; nPoll < 10; ++nPoll)
    {
        nStatus = Maint_read(uchLocalPort, ulDestID, uchHopCount, 0xB7004, &ulControl, 1, 4, 2);
        if (nStatus != eRioOk)
        {
            return nStatus;
        }
        if (!(ulControl & (1u << 16)))
        {
            break;
        }
    }
    nStatus = Maint_read(uchLocalPort, ulDestID, uchHopCount, 0xB7008, &ulWord, 1, 4, 2);
    if (nStatus != eRioOk)
    {
        return nStatus;
    }
    *puchValue = static_cast<uint8_t>(ulWord);
    return eRioOk;
}
