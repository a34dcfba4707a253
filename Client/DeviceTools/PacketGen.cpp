#include "PacketGen.h"

#include "StatusText.h"
#include "UserInterface.h"

#include <utility>

const char* const kPacketGenCaption = "Packet Generator";

namespace
{
constexpr int kReceptionPolls = 10;
constexpr int kReceptionPollMs = 100;
constexpr int kCaptureWords = kPgcCaptureBytes / 4;
} // namespace

QStringList CPacketList::Texts() const
{
    QStringList texts;
    for (const SEntry& entry : m_entries)
        texts << entry.strText;
    return texts;
}

int CPacketList::IndexOf(int nID) const
{
    for (size_t i = 0; i < m_entries.size(); ++i)
    {
        if (m_entries[i].nID == nID)
            return static_cast<int>(i);
    }
    return -1;
}

int CPacketList::Append(const QString& strText)
{
    m_entries.push_back({strText, m_nNextPacketID});
    return m_nNextPacketID++;
}

int CPacketList::AddCurrent(const QString& strText)
{
    m_nCurrentPacketID = Append(strText);
    return m_nCurrentPacketID;
}

bool CPacketList::UpdateCurrent(const QString& strText)
{
    if (m_nCurrentPacketID == -1)
        return false;
    const int nIndex = IndexOf(m_nCurrentPacketID);
    if (nIndex >= 0)
        m_entries[static_cast<size_t>(nIndex)].strText = strText;
    else
        m_entries.push_back({strText, m_nCurrentPacketID});
    return true;
}

bool CPacketList::Edit(int nIndex, QString* pstrText)
{
    if (nIndex < 0 || nIndex >= Count())
        return false;
    *pstrText = m_entries[static_cast<size_t>(nIndex)].strText;
    m_nCurrentPacketID = m_entries[static_cast<size_t>(nIndex)].nID;
    return true;
}

bool CPacketList::MoveUp(int nIndex)
{
    if (nIndex <= 0 || nIndex >= Count())
        return false;
    std::swap(m_entries[static_cast<size_t>(nIndex)], m_entries[static_cast<size_t>(nIndex - 1)]);
    return true;
}

bool CPacketList::MoveDown(int nIndex)
{
    if (nIndex < 0 || nIndex + 1 >= Count())
        return false;
    std::swap(m_entries[static_cast<size_t>(nIndex)], m_entries[static_cast<size_t>(nIndex + 1)]);
    return true;
}

int CPacketList::Delete(int nIndex)
{
    if (nIndex < 0 || nIndex >= Count())
        return Count() > 0 ? Count() - 1 : -1;
    if (m_entries[static_cast<size_t>(nIndex)].nID == m_nCurrentPacketID)
        m_nCurrentPacketID = -1;
    m_entries.erase(m_entries.begin() + nIndex);
    if (m_entries.empty())
        return -1;
    return nIndex < Count() ? nIndex : Count() - 1;
}

void CPacketList::Clear()
{
    m_entries.clear();
    m_nCurrentPacketID = -1;
}

QStringList PacketGenFlowNames()
{
    QStringList names;
    for (int f = 0; f < 8; ++f)
        names << QStringLiteral("VC0 PRI %1 CRF %2").arg(f / 2).arg(f % 2);
    return names;
}

QString CheckPacketGenSettings(const SPacketGenSettings& settings)
{
    if (settings.nStartPort < 0)
        return QStringLiteral("Start Port not selected.");
    if (settings.nEndPort < 0)
        return QStringLiteral("End Port not selected.");
    if (settings.nStartPort == settings.nEndPort)
        return QStringLiteral("Start Port and End Port must be different.");
    if (settings.nFlow < 0 || settings.nFlow > 7)
        return QStringLiteral("Flow Type not selected.");
    if (settings.nScenario == 2)
    {
        if (settings.nTestPort < 0)
            return QStringLiteral("Test Port not selected.");
        if (settings.nTestPort == settings.nStartPort || settings.nTestPort == settings.nEndPort)
            return QStringLiteral("Test Port must not be the same as Start Port or End Port.");
    }
    return QString();
}

EPgcResult CPgcSender::Fail(const char* pszText, int32_t nStatus)
{
    UI().ShowMessage(QString::fromLatin1(pszText).arg(RioErrorText(nStatus)),
                     QString::fromLatin1(kPacketGenCaption), EMessageKind::Error);
    return EPgcResult::Failed;
}

void CPgcSender::UndoLoopback(int nPort, uint32_t ulControl)
{
    // The loop-back is taken out as it was put in, in reverse, with the port disabled meanwhile.
    const uint32_t ulControlOffset = kGen2PortControl + 0x20u * static_cast<uint32_t>(nPort);
    const uint32_t ulOpsOffset = kGen2PortOps + 0x100u * static_cast<uint32_t>(nPort);
    m_access.Write(ulControlOffset, ulControl | kGen2PortDisable);
    uint32_t ulOps = 0;
    m_access.Read(ulOpsOffset, &ulOps);
    m_access.Write(ulOpsOffset, ulOps & ~kGen2PortLoopback);
    m_access.Write(ulControlOffset, ulControl & ~kGen2PortDisable);
}

EPgcResult CPgcSender::Send(const SPacketGenSettings& settings, const uint8_t* pStream, uint32_t nBytes,
                            uint16_t wSrcID, uint16_t wDstID, bool bCapture,
                            std::array<uint8_t, kPgcCaptureBytes>* pCapture)
{
    const int f = settings.nFlow;
    const int s = settings.nStartPort;
    const int e = settings.nEndPort;
    const int t = settings.nTestPort;
    const bool bScenario2 = settings.nScenario == 2;
    int32_t nStatus = 0;

    // 1. Reset the ports' PGC state.
    if ((nStatus = m_access.Write(kGen2DeviceReset, 0x80000000u)) != 0)
        return Fail("Unable to reset start and end ports.\n\n%1", nStatus);
    // 2. Both ports may send and receive.
    m_access.SetPortEnables(static_cast<uint8_t>(s), true, true);
    m_access.SetPortEnables(static_cast<uint8_t>(e), true, true);

    // 3. Routing: the answer to the source ID is steered to the end port.
    uint32_t ulLoopControl = 0;
    if (!bScenario2)
    {
        if ((nStatus = m_access.RouteAddEntry(static_cast<uint8_t>(s), wSrcID, static_cast<uint8_t>(e))) != 0)
            return Fail("Unable to add routing table entry.\n\n%1", nStatus);
    }
    else
    {
        if ((nStatus = m_access.RouteAddEntry(static_cast<uint8_t>(t), wSrcID, static_cast<uint8_t>(e))) != 0)
            return Fail("Unable to add routing table entry.   [1]\n\n%1", nStatus);
        if ((nStatus = m_access.RouteAddEntry(static_cast<uint8_t>(s), wDstID, static_cast<uint8_t>(t))) != 0)
            return Fail("Unable to add routing table entry.\n\n%1", nStatus);
        // The start port loops what it sends back into itself; it is disabled while that changes.
        const uint32_t ulControlOffset = kGen2PortControl + 0x20u * static_cast<uint32_t>(s);
        const uint32_t ulOpsOffset = kGen2PortOps + 0x100u * static_cast<uint32_t>(s);
        m_access.Read(ulControlOffset, &ulLoopControl);
        ulLoopControl |= kGen2PortDisable;
        m_access.Write(ulControlOffset, ulLoopControl);
        uint32_t ulOps = 0;
        m_access.Read(ulOpsOffset, &ulOps);
        m_access.Write(ulOpsOffset, ulOps | kGen2PortLoopback);
        ulLoopControl &= ~kGen2PortDisable;
        m_access.Write(ulControlOffset, ulLoopControl);
    }

    // 4. PGC mode on.
    uint32_t ulDeviceControl = 0;
    if ((nStatus = m_access.Read(kGen2DeviceControl, &ulDeviceControl)) != 0)
        return Fail("Unable to enable PGC mode. [1]\n\n%1", nStatus);
    if ((nStatus = m_access.Write(kGen2DeviceControl, ulDeviceControl | kGen2PgcMode)) != 0)
        return Fail("Unable to enable PGC mode. [2]\n\n%1", nStatus);

    // 5. The end port captures the flow.
    const uint32_t E = PgcControl(e);
    uint32_t ulEndControl = 0;
    if ((nStatus = m_access.Read(E, &ulEndControl)) != 0)
        return Fail("Unable to configure end port. [1]\n\n%1", nStatus);
    if ((nStatus = m_access.Write(E, (ulEndControl & 0xFFFFEC00u) | (1u << (f + 2)) | 0x2000u)) != 0)
        return Fail("Unable to configure end port. [2]\n\n%1", nStatus);

    // 6. The start port generates it.
    const uint32_t S = PgcControl(s);
    uint32_t c1 = 0;
    if ((nStatus = m_access.Read(S, &c1)) != 0)
        return Fail("Unable to configure start port. [1]\n\n%1", nStatus);
    c1 = (c1 & 0xFFFFDC00u) | (1u << f) | 0x1000u;
    if ((nStatus = m_access.Write(S, c1)) != 0)
        return Fail("Unable to configure start port. [2]\n\n%1", nStatus);

    // 7. The packet, a word at a time, first byte in bits 31:24, the first word marked start of
    // packet and the last end of packet.
    c1 |= 0x4000u;
    const uint32_t nWords = (nBytes + 3) / 4;
    for (uint32_t w = 0; w < nWords; ++w)
    {
        uint32_t ulWord = 0;
        for (uint32_t b = 0; b < 4; ++b)
        {
            const uint32_t i = w * 4 + b;
            ulWord = (ulWord << 8) | (i < nBytes ? pStream[i] : 0u);
        }
        if ((nStatus = m_access.Write(S + 4, ulWord)) != 0)
            return Fail("Unable to write packet data to packet generator.\n\n%1", nStatus);
        if (w == 0)
            c1 |= 0x400u;
        else
            c1 &= ~0x400u;
        if (w + 1 == nWords)
            c1 |= 0x800u;
        if ((nStatus = m_access.Write(S, c1)) != 0)
            return Fail("Unable to configure start port. [3]\n\n%1", nStatus);
    }

    // 8, 9. Out of data access, then send.
    c1 &= 0xFFFFB000u;
    if ((nStatus = m_access.Write(S, c1)) != 0)
        return Fail("Unable to configure start port. [3]\n\n%1", nStatus);
    c1 |= 0x10000u;
    if ((nStatus = m_access.Write(S, c1)) != 0)
        return Fail("Unable to configure start port. [3]\n\n%1", nStatus);

    // 10. Wait for the end port to receive.
    bool bReceived = false;
    for (int nPoll = 0; nPoll < kReceptionPolls && !bReceived; ++nPoll)
    {
        m_access.Sleep(kReceptionPollMs);
        uint32_t ulValue = 0;
        if ((nStatus = m_access.Read(E, &ulValue)) != 0)
            return Fail("Unable to test for reception complete. [1]\n\n%1", nStatus);
        bReceived = (ulValue & kGen2ReceptionComplete) != 0;
    }
    EPgcResult eResult = EPgcResult::Sent;
    if (!bReceived)
    {
        UI().ShowMessage(QStringLiteral("Timeout waiting for packet reception."),
                         QString::fromLatin1(kPacketGenCaption), EMessageKind::Error);
        eResult = EPgcResult::TimedOut;
    }
    else if (bCapture)
    {
        // 11. 75 words of the capture, most significant byte first.
        const uint32_t ulRead = (ulEndControl & 0xFFFFFC00u) | (1u << (f + 2)) | 0x6000u;
        pCapture->fill(0);
        for (int w = 0; w < kCaptureWords; ++w)
        {
            if ((nStatus = m_access.Write(E, ulRead)) != 0)
                return Fail("Unable to configure end port. [1]\n\n%1", nStatus);
            uint32_t ulWord = 0;
            if ((nStatus = m_access.Read(E + 4, &ulWord)) != 0)
                return Fail("Unable to read end port data. [1]\n\n%1", nStatus);
            for (int b = 0; b < 4; ++b)
                (*pCapture)[static_cast<size_t>(w * 4 + b)] = static_cast<uint8_t>(ulWord >> (24 - 8 * b));
        }
        eResult = EPgcResult::Captured;
    }

    // 12. The start port out of its loop.
    if (bScenario2)
        UndoLoopback(s, ulLoopControl);
    // 13. PGC mode off.
    if ((nStatus = m_access.Write(kGen2DeviceControl, ulDeviceControl & ~kGen2PgcMode)) != 0)
        return Fail("Unable to disable PGC mode.\n\n%1", nStatus);
    return eResult;
}
