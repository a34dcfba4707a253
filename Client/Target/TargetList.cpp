#include "TargetList.h"

#include "LinkSettings.h"
#include "Preferences.h"
#include "ServerProtocol.h"
#include "TargetLink.h"
#include "UserInterface.h"

#include <arpa/inet.h>
#include <cstdio>

namespace
{
const QString kSection = QStringLiteral("TargetList");
constexpr uint32_t kAnswerSize = kHeaderSize + kIdentifyRespSize;

QString AddressText(uint32_t ulAddress)
{
    return QString::asprintf("%d.%d.%d.%d", ulAddress >> 24, (ulAddress >> 16) & 0xFF,
                             (ulAddress >> 8) & 0xFF, ulAddress & 0xFF);
}
} // namespace

uint32_t STargetEntry::Address() const
{
    in_addr address{};
    if (inet_pton(AF_INET, strAddress.toLatin1().constData(), &address) != 1)
    {
        return 0;
    }
    return ntohl(address.s_addr);
}

QStringList CTargetList::Columns()
{
    return {QStringLiteral("IP Address"),  QStringLiteral("Device ID"),   QStringLiteral("Vendor ID"),
            QStringLiteral("Shrt DestID"), QStringLiteral("Long DestID"), QStringLiteral("Prot"),
            QStringLiteral("Status")};
}

QString CTargetList::ToStoredString(const STargetEntry& entry)
{
    const bool bHasLong = entry.strLongID != QLatin1String("X");
    return QString::asprintf(
        "%s %s %s %s %c %s %d", entry.strAddress.toLatin1().constData(),
        entry.strDeviceID.toLatin1().constData(), entry.strVendorID.toLatin1().constData(),
        entry.strShortID.toLatin1().constData(), bHasLong ? 'Y' : 'N',
        bHasLong ? entry.strLongID.toLatin1().constData() : "65535", entry.IsUDP() ? 1 : 0);
}

bool CTargetList::FromStoredString(const QString& strStored, STargetEntry* pEntry)
{
    unsigned int a = 0, b = 0, c = 0, d = 0, uDevice = 0, uVendor = 0, uShort = 0, uLong = 0;
    char chLong = 0;
    int nProt = 0;
    const QByteArray stored = strStored.toLatin1();
    if (std::sscanf(stored.constData(), "%u.%u.%u.%u %xh %xh %u %c %u %d", &a, &b, &c, &d, &uDevice, &uVendor,
                    &uShort, &chLong, &uLong, &nProt) != 10)
    {
        return false;
    }
    pEntry->strAddress = QString::asprintf("%u.%u.%u.%u", a, b, c, d);
    pEntry->strDeviceID = QString::asprintf("%04Xh", uDevice);
    pEntry->strVendorID = QString::asprintf("%04Xh", uVendor);
    pEntry->strShortID = QString::asprintf("%u", uShort);
    pEntry->strLongID = chLong == 'N' ? QStringLiteral("X") : QString::asprintf("%u", uLong);
    pEntry->strProt = nProt == 1 ? QStringLiteral("UDP") : QStringLiteral("TCP");
    pEntry->strStatus.clear();
    pEntry->bChecked = false;
    return true;
}

void CTargetList::Load()
{
    m_entries.clear();
    m_bChanged = false;
    const uint32_t ulCount = GetPreference(kSection, QStringLiteral("NumTargets"), 0u);
    for (uint32_t i = 0; i < ulCount && i < 4096; ++i)
    {
        STargetEntry entry;
        if (FromStoredString(GetPreference(kSection, QString::asprintf("Target%u", i), QString()), &entry))
        {
            m_entries.append(entry);
        }
    }
}

void CTargetList::SaveIfChanged()
{
    if (!m_bChanged)
    {
        return;
    }
    for (int i = 0; i < m_entries.size(); ++i)
    {
        SetPreference(kSection, QString::asprintf("Target%d", i), ToStoredString(m_entries[i]));
    }
    SetPreference(kSection, QStringLiteral("NumTargets"), static_cast<uint32_t>(m_entries.size()));
    m_bChanged = false;
}

void CTargetList::Remove(int nIndex)
{
    if (nIndex >= 0 && nIndex < m_entries.size())
    {
        m_entries.remove(nIndex);
        m_bChanged = true;
    }
}

int CTargetList::LineOf(const QString& strAddress)
{
    for (int i = 0; i < m_entries.size(); ++i)
    {
        if (m_entries[i].strAddress == strAddress)
        {
            return i;
        }
    }
    STargetEntry entry;
    entry.strAddress = strAddress;
    m_entries.append(entry);
    return m_entries.size() - 1;
}

bool CTargetList::Search(const std::function<void(const QString&)>& setTitle)
{
    const auto title = [&setTitle](const QString& strTitle)
    {
        if (setTitle)
        {
            setTitle(strTitle);
        }
    };
    for (STargetEntry& entry : m_entries)
    {
        entry.bChecked = false;
    }
    title(QStringLiteral("Searching for target endpoints..."));

    CTargetLink sender;
    CTargetLink receiver;
    if (!sender.Open(eLinkBroadcastSender, 0) || !receiver.Open(eLinkBroadcastReceiver, 0))
    {
        title(QStringLiteral("Connect to Target"));
        return false;
    }
    uint8_t abRequest[kHeaderSize];
    EncodeHeader(abRequest, NVT_IDENTIFY, 0);
    if (!sender.SendBroadcast(abRequest, sizeof(abRequest)))
    {
        title(QStringLiteral("Connect to Target"));
        return false;
    }

    bool bComplete = true;
    const uint32_t ulWait = LinkSettings().ulSearchMilliseconds;
    for (;;)
    {
        uint8_t abAnswer[kAnswerSize];
        uint32_t ulLength = sizeof(abAnswer);
        uint32_t ulSender = 0;
        if (!receiver.ReceiveDatagram(abAnswer, &ulLength, ulWait / 1000, (ulWait % 1000) * 1000, &ulSender))
        {
            break;
        }
        if (ulLength != kAnswerSize)
        {
            ShowMessage(QString::asprintf("RecvFrom failed:  read %d bytes.  Error %d",
                                          static_cast<int>(ulLength), 0));
            bComplete = false;
            break;
        }
        if (GetBE32(abAnswer) != NVT_IDENTIFYRESP)
        {
            ShowMessage(QStringLiteral("Invalid response to NVT_IDENTIFY"));
            continue;
        }
        if (GetBE32(abAnswer + 4) != kIdentifyRespSize)
        {
            ShowMessage(QStringLiteral("Invalid size in NVT_IDENTIFYRESP"));
            continue;
        }
        SServerInfo info;
        DecodeServerInfo(abAnswer + kHeaderSize, &info);
        STargetEntry& entry = m_entries[LineOf(AddressText(ulSender))];
        entry.strDeviceID = QString::asprintf("%04Xh", info.wDeviceID);
        entry.strVendorID = QString::asprintf("%04Xh", info.wVendorID);
        entry.strShortID = QString::asprintf("%d", info.wShortDestID);
        entry.strLongID =
            info.bLongDestIDValid ? QString::asprintf("%d", info.wLongDestID) : QStringLiteral("X");
        switch (info.uchStatus)
        {
        case 1:
            entry.strStatus = QStringLiteral("Ready");
            entry.strProt = QStringLiteral("TCP");
            break;
        case 2:
            entry.strStatus = QStringLiteral("Busy");
            entry.strProt.clear();
            break;
        case 3:
            entry.strStatus = QStringLiteral("Not Avail");
            entry.strProt.clear();
            break;
        case 4:
            entry.strStatus = QStringLiteral("Ready");
            entry.strProt = QStringLiteral("UDP");
            break;
        default:
            entry.strStatus = QStringLiteral("Unknown");
            entry.strProt = QStringLiteral("?");
            break;
        }
        entry.bChecked = true;
        m_bChanged = true;
    }
    sender.Close();
    receiver.Close();
    title(QStringLiteral("Connect to Target"));
    return bComplete;
}
