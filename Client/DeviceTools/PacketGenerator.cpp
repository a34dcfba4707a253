#include "PacketGenerator.h"

#include "NpfFile.h"
#include "PacketText.h"
#include "RIOPacket.h"
#include "UserInterface.h"

#include <algorithm>
#include <functional>

namespace
{
// Lays a packet out by what its fields now say: FType and TT first, then what depends on them.
void RelayoutByHeader(CRIOPacket& packet, const uint8_t* pBytes, uint32_t nBytes)
{
    packet.LoadStream(pBytes, nBytes);
    packet.SetTypeAndIDSize(packet.GetFType(), packet.GetTT());
    packet.LoadStream(pBytes, nBytes);
    packet.SetTypeAndIDSize(packet.GetFType(), packet.GetTT());
    packet.LoadStream(pBytes, nBytes);
}

bool CrcsCheck(CRIOPacket& packet, uint32_t nBytes)
{
    if (packet.GetPacketBytes() == 0 || packet.GetPacketBytes() > nBytes)
        return false;
    packet.UpdateCRC(true);
    const CRIOPacketField* pCrc = packet.FindField(eRIOFieldCRC);
    const CRIOPacketField* pEarly = packet.FindField(eRIOFieldEARLYCRC);
    return pCrc && pCrc->IsValueValid() && (!pEarly || pEarly->IsValueValid());
}
} // namespace

QString PacketStreamLine(const CRIOPacket& packet)
{
    std::vector<uint8_t> bytes;
    if (!packet.GetStream(bytes))
        return QString();
    return PacketListString(bytes);
}

namespace
{
// Lays the packet out for the bytes with each address size and each data size the header leaves
// open (Data Size of a streaming write or a response with data, Size of a maintenance response,
// whose data the request's Size sizes), until fnAccept takes the layout.
bool TryLayouts(CRIOPacket& packet, const uint8_t* pBytes, uint32_t nBytes,
                const std::function<bool(CRIOPacket&)>& fnAccept)
{
    for (uint32_t nAddressBits : {34u, 50u, 66u})
    {
        packet.SetAddressBits(nAddressBits);
        RelayoutByHeader(packet, pBytes, nBytes);
        if (fnAccept(packet))
            return true;
        const uint32_t ulFType = packet.GetFType();
        std::vector<std::pair<uint32_t, uint32_t>> sizes;
        if (ulFType == 6 || ulFType == 13)
        {
            for (uint32_t n = 8; n <= 256; n += 8)
                sizes.push_back({eRIOFieldDATASIZE, n});
        }
        else if (ulFType == 8)
        {
            for (uint32_t s = 0; s <= 12; ++s)
                sizes.push_back({eRIOFieldSIZE, s});
        }
        for (const auto& [nField, ulValue] : sizes)
        {
            packet.GetFieldObject(nField)->SetValue(ulValue, false);
            packet.LoadStream(pBytes, nBytes);
            if (fnAccept(packet))
                return true;
        }
    }
    return false;
}
} // namespace

bool MeasureCapturedPacket(const uint8_t* pBytes, uint32_t nBytes, std::vector<uint8_t>* pPacket)
{
    // The capture is zero past the packet, and the CRC run over a packet and its CRC leaves 0, which
    // zeros keep: every layout longer than the packet whose CRC falls on zeros checks as well. The
    // packet is the shortest layout that checks.
    CRIOPacket packet;
    packet.SetAutoCRC(false);
    uint32_t nShortest = 0;
    TryLayouts(packet, pBytes, nBytes,
               [nBytes, &nShortest](CRIOPacket& p)
               {
                   if (CrcsCheck(p, nBytes) && (nShortest == 0 || p.GetPacketBytes() < nShortest))
                       nShortest = p.GetPacketBytes();
                   return false;
               });
    if (nShortest == 0)
        return false;
    pPacket->assign(pBytes, pBytes + nShortest);
    return true;
}

bool LoadPacketLine(CRIOPacket& packet, const std::vector<uint8_t>& bytes)
{
    packet.SetAutoCRC(false);
    const uint32_t nBytes = static_cast<uint32_t>(bytes.size());
    if (TryLayouts(packet, bytes.data(), nBytes,
                   [nBytes](CRIOPacket& p) { return p.GetPacketBytes() == nBytes; }))
        return true;
    packet.SetAddressBits(34);
    RelayoutByHeader(packet, bytes.data(), nBytes);
    return false;
}

void CPacketGenerator::Message(const QString& strText, bool bError)
{
    UI().ShowMessage(strText, QString::fromLatin1(kPacketGenCaption),
                     bError ? EMessageKind::Error : EMessageKind::Information);
}

void CPacketGenerator::AddToList(const CRIOPacket& packet)
{
    m_list.AddCurrent(PacketStreamLine(packet));
}

void CPacketGenerator::UpdateList(const CRIOPacket& packet)
{
    m_list.UpdateCurrent(PacketStreamLine(packet));
}

bool CPacketGenerator::EditLine(int nIndex, CRIOPacket& packet)
{
    QString strLine;
    if (!m_list.Edit(nIndex, &strLine))
        return false;
    const std::vector<uint8_t> bytes = ParsePacketListLine(strLine);
    packet.LoadStream(bytes.data(), static_cast<uint32_t>(bytes.size()));
    return true;
}

EPgcResult CPacketGenerator::Send(CRIOPacket* pPacket)
{
    m_bLastCopy = false;
    if (!m_pAccess->IsConnected())
    {
        Message(QStringLiteral("Not connected."));
        return EPgcResult::Failed;
    }
    const QString strCheck = CheckPacketGenSettings(m_settings);
    if (!strCheck.isEmpty())
    {
        Message(strCheck);
        return EPgcResult::Failed;
    }
    if (m_list.CurrentPacketID() == -1 && pPacket)
        AddToList(*pPacket);
    std::vector<uint8_t> stream;
    if (!pPacket || !pPacket->GetStream(stream) || stream.empty())
    {
        Message(QStringLiteral("No packet to send."));
        return EPgcResult::Failed;
    }
    if (!m_pAccess->ConfigureRoute())
    {
        Message(QStringLiteral("Unable to configure routing tables."));
        return EPgcResult::Failed;
    }
    if (!m_pAccess->FindConnectedPE())
    {
        Message(QStringLiteral("Unable to find connected PE."));
        return EPgcResult::Failed;
    }

    const EPgcResult eResult =
        CPgcSender(*m_pAccess)
            .Send(m_settings, stream.data(), static_cast<uint32_t>(stream.size()),
                  static_cast<uint16_t>(pPacket->GetSourceID()), static_cast<uint16_t>(pPacket->GetDestID()),
                  pPacket->ExpectsResponse(), &m_abCapture);
    if (eResult != EPgcResult::Captured)
        return eResult;

    // A new packet has the 4 bytes of the header and CRC, so its first bytes after the one with
    // the ackID are what tells a copy of the packet sent from a response.
    CRIOPacket fresh;
    fresh.LoadStream(m_abCapture.data(), kPgcCaptureBytes);
    std::vector<uint8_t> caught;
    if (!fresh.GetStream(caught))
    {
        Message(QStringLiteral("Unable to parse response packet."));
        return EPgcResult::Failed;
    }
    bool bCopy = true;
    for (size_t i = 1; i < caught.size() && bCopy; ++i)
        bCopy = i < stream.size() && caught[i] == stream[i];
    if (bCopy)
    {
        m_bLastCopy = true;
        Message(QStringLiteral("A copy of the transmitted packet was received."), false);
        return eResult;
    }
    // A response: its CRCs are checked as they came, not recomputed, while it is loaded.
    pPacket->SetAutoCRC(false);
    pPacket->LoadStream(m_abCapture.data(), kPgcCaptureBytes);
    pPacket->SetAutoCRC(m_bAutoCRC);
    m_list.SetCurrentPacketID(-1);
    m_list.Append(PacketStreamLine(*pPacket));
    return eResult;
}

bool CPacketGenerator::OpenFile(const QString& strPath)
{
    QStringList lines;
    QString strError;
    if (!ReadNpfFile(strPath, &lines, &strError))
    {
        Message(strError);
        return false;
    }
    if (m_list.Count() > 0)
    {
        const int nAnswer =
            UI().Ask(QStringLiteral("Choose Yes to add packets to the existing packet list.\nPress No "
                                    "to replace the packet list with the loaded packets."),
                     QStringLiteral("Append to packet list?"), true);
        if (nAnswer == eAnswerCancel)
            return false;
        if (nAnswer == eAnswerNo)
            m_list.Clear();
    }
    for (const QString& strLine : lines)
        m_list.Append(strLine);
    return true;
}

bool CPacketGenerator::LinesToSave(const std::vector<int>& selected, QStringList* pLines)
{
    *pLines = m_list.Texts();
    if (selected.empty())
        return true;
    const int nAnswer =
        UI().Ask(QStringLiteral("Choose Yes to save all packets in the packet list.\nChoose No to "
                                "save just the selected packet(s)\nChoose Cancel to abort without "
                                "saving."),
                 QStringLiteral("Save entire packet list?"), true);
    if (nAnswer == eAnswerCancel)
        return false;
    if (nAnswer == eAnswerNo)
    {
        std::vector<int> sorted = selected;
        std::sort(sorted.begin(), sorted.end());
        pLines->clear();
        for (int nIndex : sorted)
        {
            if (nIndex >= 0 && nIndex < m_list.Count())
                *pLines << m_list.Entry(nIndex).strText;
        }
    }
    return true;
}

bool CPacketGenerator::SaveFile(const QString& strPath, const QStringList& lines)
{
    QString strError;
    if (!WriteNpfFile(strPath, lines, &strError))
    {
        Message(strError);
        return false;
    }
    return true;
}
