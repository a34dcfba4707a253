#include "WatchMonitor.h"

#include "NetworkDocument.h"
#include "Preferences.h"
#include "RegisterAccess.h"
#include "RouteSearch.h"
#include "UserInterface.h"
#include "WatchTrigger.h"

#include <QFile>

#include <cerrno>
#include <cstdio>

namespace
{
const QString kNoticeTitle = QStringLiteral("Trigger!");
} // namespace

QVariantList WatchEventArguments(const SWatchEvent& event)
{
    const WatchItem& item = event.Item;
    return {QVariant::fromValue<int32_t>(event.iIndex),
            QVariant::fromValue<int32_t>(item.iPEID),
            QVariant::fromValue<uint32_t>(item.uDestID),
            QVariant(item.RegName),
            QVariant::fromValue<uint32_t>(item.uRegOffset),
            QVariant(item.BFName),
            QVariant::fromValue<int32_t>(item.iNumBits),
            QVariant::fromValue<int32_t>(item.iLSB),
            QVariant::fromValue<int32_t>(item.iMSB),
            QVariant::fromValue<uint32_t>(item.uOldValue),
            QVariant::fromValue<uint32_t>(item.uNewValue),
            QVariant::fromValue<uint32_t>(item.uParam1),
            QVariant::fromValue<uint32_t>(item.uParam2),
            QVariant::fromValue<int32_t>(item.iNumEvents),
            QVariant::fromValue<int32_t>(item.eLog),
            QVariant::fromValue<int32_t>(item.iUpdatePeriod),
            QVariant::fromValue<uint8_t>(static_cast<uint8_t>(item.eType))};
}

QStringList WatchColumnHeadings()
{
    return {QString(),
            QStringLiteral("NodeID"),
            QStringLiteral("DestID"),
            QStringLiteral("Register"),
            QStringLiteral("BF"),
            QStringLiteral("Value"),
            QStringLiteral("Trigger"),
            QStringLiteral("#Events"),
            QStringLiteral("Action"),
            QStringLiteral("Log"),
            QStringLiteral("Updt Period")};
}

CWatchMonitor::CWatchMonitor(CNetworkDocument& document, IRegisterTransport& transport)
    : clock([] { return QDateTime::currentDateTime(); }), m_document(document), m_transport(transport)
{
}

std::vector<WatchItem>& CWatchMonitor::Items()
{
    return m_document.WatchItems;
}

const std::vector<WatchItem>& CWatchMonitor::Items() const
{
    return m_document.WatchItems;
}

int CWatchMonitor::Count() const
{
    return static_cast<int>(m_document.WatchItems.size());
}

int CWatchMonitor::AddWatch(int iPEID, uint16_t uDestID, const QString& strRegName, uint32_t uOffset,
                            const QString& strBFName, int iNumBits, int iLast, int iFirst, uint32_t ulValue)
{
    WatchItem item;
    item.iPEID = iPEID;
    item.uDestID = uDestID;
    item.RegName = strRegName;
    item.uRegOffset = uOffset;
    item.BFName = strBFName;
    item.iNumBits = iNumBits;
    item.iLSB = iLast;
    item.iMSB = iFirst;
    item.iUpdatePeriod = 5;
    item.eLog = eWatchLogNone;
    item.eAction = eWatchActionNone;
    item.eType = eTriggerChange;
    item.uOldValue = item.uNewValue = WatchFieldValue(ulValue, iFirst, iLast);
    Items().push_back(item);
    if (onListChanged)
    {
        onListChanged();
    }
    Modified();
    return Count() - 1;
}

bool CWatchMonitor::SetEnabled(int i, bool bEnabled)
{
    if (!Valid(i))
    {
        return false;
    }
    WatchItem& item = Items()[static_cast<size_t>(i)];
    if (bEnabled && !m_transport.IsOpen())
    {
        ShowMessage(
            QStringLiteral("You must be connected to the target system before you can enable a watch item."),
            EMessageKind::Information);
        bEnabled = false;
    }
    item.bEnabled = bEnabled;
    Changed(i);
    return item.bEnabled;
}

bool CWatchMonitor::ToggleEnabled(int i)
{
    return Valid(i) && SetEnabled(i, !Items()[static_cast<size_t>(i)].bEnabled);
}

void CWatchMonitor::EnableAll()
{
    if (Count() == 0)
    {
        return;
    }
    // One message for the lot when there is no link.
    if (!SetEnabled(0, true))
    {
        return;
    }
    for (int i = 1; i < Count(); ++i)
    {
        SetEnabled(i, true);
    }
}

void CWatchMonitor::DisableAll()
{
    for (int i = 0; i < Count(); ++i)
    {
        if (Items()[static_cast<size_t>(i)].bEnabled)
        {
            Items()[static_cast<size_t>(i)].bEnabled = false;
            Changed(i);
        }
    }
}

void CWatchMonitor::RemoveAll()
{
    if (Items().empty())
    {
        return;
    }
    Items().clear();
    m_Marks.clear();
    if (onListChanged)
    {
        onListChanged();
    }
    Modified();
}

bool CWatchMonitor::Remove(int i)
{
    if (!Valid(i) ||
        UI().Ask(QStringLiteral("Remove this watch item?"), ApplicationTitle(), false) != eAnswerYes)
    {
        return false;
    }
    Items().erase(Items().begin() + i);
    if (static_cast<size_t>(i) < m_Marks.size())
    {
        m_Marks.erase(m_Marks.begin() + i);
    }
    if (onListChanged)
    {
        onListChanged();
    }
    Modified();
    return true;
}

void CWatchMonitor::SetAction(int i, int eAction)
{
    if (Valid(i))
    {
        Items()[static_cast<size_t>(i)].eAction = eAction;
        Changed(i);
        Modified();
    }
}

void CWatchMonitor::SetLog(int i, int eLog)
{
    if (Valid(i))
    {
        Items()[static_cast<size_t>(i)].eLog = eLog;
        Changed(i);
        Modified();
    }
}

void CWatchMonitor::SetPeriod(int i, int iSeconds)
{
    if (Valid(i))
    {
        Items()[static_cast<size_t>(i)].iUpdatePeriod = iSeconds;
        Changed(i);
        Modified();
    }
}

void CWatchMonitor::ResetEvents(int i)
{
    if (Valid(i))
    {
        Items()[static_cast<size_t>(i)].iNumEvents = 0;
        Changed(i);
        Modified();
    }
}

bool CWatchMonitor::SetTrigger(int i, int eType, const QString& strX1, const QString& strX2)
{
    if (!Valid(i))
    {
        return false;
    }
    WatchItem& item = Items()[static_cast<size_t>(i)];
    uint32_t uX1 = item.uParam1;
    uint32_t uX2 = item.uParam2;
    const QString strError = ParseTriggerParams(eType, strX1, strX2, &uX1, &uX2);
    if (!strError.isEmpty())
    {
        ShowMessage(strError, EMessageKind::Error);
        return false;
    }
    item.eType = eType;
    item.uParam1 = uX1;
    item.uParam2 = uX2;
    Changed(i);
    Modified();
    return true;
}

void CWatchMonitor::Tick()
{
    if (!m_transport.IsOpen())
    {
        // A lost link stops every item, silently.
        DisableAll();
        return;
    }
    for (int i = 0; i < Count(); ++i)
    {
        WatchItem& item = Items()[static_cast<size_t>(i)];
        if (!item.bEnabled)
        {
            continue;
        }
        if (++item.iTicks >= item.iUpdatePeriod)
        {
            item.iTicks = 0;
            Poll(i);
        }
    }
}

CPEPrimitive* CWatchMonitor::ItemPE(const WatchItem& item) const
{
    // Polls go to the network as it was found, whichever map is on show.
    return m_document.ActivePEs.GetByIndex(item.iPEID);
}

bool CWatchMonitor::FindItemRoute(int i, uint32_t* pulDestID, uint8_t* puchHopCount) const
{
    if (!Valid(i))
    {
        return false;
    }
    const CPEPrimitive* pHost = m_document.ActivePEs.GetHostPE();
    const CPEPrimitive* pPE = ItemPE(Items()[static_cast<size_t>(i)]);
    return pHost && pPE &&
           FindRoute(pHost, pPE, m_document.ActivePEs, m_document.ActiveConnections, pulDestID, puchHopCount,
                     false, nullptr) == 0;
}

void CWatchMonitor::Poll(int i)
{
    if (!Valid(i))
    {
        return;
    }
    WatchItem& item = Items()[static_cast<size_t>(i)];
    // A PE that isn't there (or no host) skips the poll and leaves the item on.
    if (!m_document.ActivePEs.GetHostPE() || !ItemPE(item))
    {
        return;
    }
    uint32_t ulDestID = 0;
    uint8_t uchHop = 0;
    if (!FindItemRoute(i, &ulDestID, &uchHop))
    {
        item.bEnabled = false;
        Changed(i);
        AddLogLine(QStringLiteral("Watch item %1 disabled.  Must synchronize routing tables.").arg(i + 1));
        return;
    }
    uint32_t ulWord = 0;
    const int32_t nStatus = m_transport.MaintRead(ulDestID, uchHop, item.uRegOffset, &ulWord);
    // The item may have gone while the read ran (a window's events are pumped meanwhile).
    if (!Valid(i))
    {
        return;
    }
    WatchItem& polled = Items()[static_cast<size_t>(i)];
    if (nStatus != 0)
    {
        polled.bEnabled = false;
        Changed(i);
        AddLogLine(QStringLiteral("Watch item %1 disabled due to RapidIO error %2").arg(i + 1).arg(nStatus));
        return;
    }
    polled.uNewValue = WatchFieldValue(ulWord, polled.iMSB, polled.iLSB);
    if (polled.uOldValue != polled.uNewValue)
    {
        Changed(i);
    }
    if (TriggerFires(polled.eType, polled.uOldValue, polled.uNewValue, polled.uParam1, polled.uParam2))
    {
        ++polled.iNumEvents;
        SetMark(i, true);
        Changed(i);
        Fire(i);
    }
    else
    {
        SetMark(i, false);
        if (polled.eLog == eWatchLogAll)
        {
            WriteLogLine(i);
        }
    }
    if (Valid(i))
    {
        Items()[static_cast<size_t>(i)].uOldValue = Items()[static_cast<size_t>(i)].uNewValue;
    }
}

void CWatchMonitor::Fire(int i)
{
    WatchItem& item = Items()[static_cast<size_t>(i)];
    uint32_t ulDestID = 0;
    uint8_t uchHop = 0;
    if (onWatchEvent && FindItemRoute(i, &ulDestID, &uchHop))
    {
        onWatchEvent(SWatchEvent{i, item});
    }
    if (!Valid(i))
    {
        return;
    }
    WatchItem& fired = Items()[static_cast<size_t>(i)];
    if (fired.eLog != eWatchLogNone)
    {
        WriteLogLine(i);
    }
    switch (fired.eAction)
    {
    case eWatchActionBeep:
        UI().Beep();
        break;
    case eWatchActionHighlightPE:
        Highlight(fired);
        break;
    case eWatchActionMessageBox:
        UI().ShowNotice(QStringLiteral("Watch item %1: Node %2 %3 '%4' = %5\nTrigger: %6")
                            .arg(i + 1)
                            .arg(ItemPE(fired) ? ItemPE(fired)->iNodeNumber + 1 : fired.iPEID + 1)
                            .arg(fired.RegName, fired.BFName,
                                 WatchValueText(fired.uNewValue, fired.iNumBits, DisplayBase(), true),
                                 TriggerText(fired, DisplayBase())),
                        kNoticeTitle);
        break;
    default:
        break;
    }
}

void CWatchMonitor::Highlight(WatchItem& item)
{
    const CPEPrimitive* pPE = ItemPE(item);
    if (!pPE)
    {
        return;
    }
    if (CDrawPE* pNode = m_document.pCurrentNodes->FindPENode(pPE->iNodeNumber))
    {
        pNode->bHighlighted = true;
    }
    item.bHighlighted = true;
    if (onMapRedraw)
    {
        onMapRedraw();
    }
}

void CWatchMonitor::WriteLogLine(int i)
{
    const WatchItem& item = Items()[static_cast<size_t>(i)];
    const CPEPrimitive* pPE = ItemPE(item);
    SWatchLogRecord record;
    record.Time = clock().toString(QStringLiteral("dd/MM/yyyy HH:mm:ss"));
    record.iNode = pPE ? pPE->iNodeNumber : item.iPEID;
    record.uDestID = item.uDestID;
    record.RegName = item.RegName;
    record.BFName = item.BFName;
    record.iNumBits = item.iNumBits;
    record.uOldValue = item.uOldValue;
    record.uNewValue = item.uNewValue;
    record.Trigger = TriggerText(item, DisplayBase());
    record.iNumEvents = item.iNumEvents;
    const QString strLine =
        QStringLiteral("T=%1 NODE:%2 DESTID:%3h Reg='%4' BF='%5' Value=%6 Trigger='%7' #Event=%8")
            .arg(record.Time)
            .arg(record.iNode + 1, -3)
            .arg(QString::asprintf("%04X", item.uDestID))
            .arg(item.RegName, item.BFName,
                 WatchValueText(item.uNewValue, item.iNumBits, DisplayBase(), true), record.Trigger)
            .arg(item.iNumEvents);
    m_LogRecords.push_back(record);
    AddLogLine(strLine);
}

void CWatchMonitor::AddLogLine(const QString& strLine)
{
    m_LogLines.append(strLine);
    if (onLogLine)
    {
        onLogLine(strLine);
    }
}

bool CWatchMonitor::SaveLog()
{
    const QString strPath =
        UI().ChooseFile(true, QStringLiteral("Save Log"),
                        QStringLiteral("Text Files (*.txt)|*.txt|All Files|*.*||"), QStringLiteral(".txt"));
    return !strPath.isEmpty() && SaveLog(strPath);
}

bool CWatchMonitor::SaveLog(const QString& strPath)
{
    errno = 0;
    std::FILE* pFile = std::fopen(QFile::encodeName(strPath).constData(), "w");
    if (!pFile)
    {
        ShowMessage(QStringLiteral("Unable to open%1, error %2").arg(strPath).arg(errno));
        return false;
    }
    bool bOk = true;
    for (const QString& strLine : m_LogLines)
    {
        const QByteArray line = strLine.toLocal8Bit() + '\n';
        bOk = std::fwrite(line.constData(), 1, static_cast<size_t>(line.size()), pFile) ==
                  static_cast<size_t>(line.size()) &&
              bOk;
    }
    bOk = std::fclose(pFile) == 0 && bOk;
    if (!bOk)
    {
        ShowMessage(QStringLiteral("Unable to write %1, error %2").arg(strPath).arg(errno));
    }
    return bOk;
}

void CWatchMonitor::ClearLog()
{
    m_LogLines.clear();
    m_LogRecords.clear();
}

void CWatchMonitor::ClearHighlight(int iNode)
{
    for (const auto& pView : m_document.Views)
    {
        for (bool bTemplate : {false, true})
        {
            if (CDrawPE* pNode = pView->Nodes(bTemplate).FindPENode(iNode))
            {
                pNode->bHighlighted = false;
            }
        }
    }
    for (WatchItem& item : Items())
    {
        const CPEPrimitive* pPE = ItemPE(item);
        if (item.bEnabled && pPE && pPE->iNodeNumber == iNode)
        {
            item.bHighlighted = false;
        }
    }
    if (onMapRedraw)
    {
        onMapRedraw();
    }
}

void CWatchMonitor::ClearAllHighlights()
{
    for (const auto& pView : m_document.Views)
    {
        for (bool bTemplate : {false, true})
        {
            for (const auto& pObject : pView->Nodes(bTemplate))
            {
                if (pObject->eKind == eDrawKindPE)
                {
                    static_cast<CDrawPE&>(*pObject).bHighlighted = false;
                }
            }
        }
    }
    for (WatchItem& item : Items())
    {
        if (item.bEnabled)
        {
            item.bHighlighted = false;
        }
    }
    if (onMapRedraw)
    {
        onMapRedraw();
    }
}

bool CWatchMonitor::IsMarked(int i) const
{
    return i >= 0 && static_cast<size_t>(i) < m_Marks.size() && m_Marks[static_cast<size_t>(i)] != 0;
}

void CWatchMonitor::SetMark(int i, bool bMarked)
{
    if (m_Marks.size() < Items().size())
    {
        m_Marks.resize(Items().size(), 0);
    }
    if (IsMarked(i) != bMarked)
    {
        m_Marks[static_cast<size_t>(i)] = bMarked ? 1 : 0;
        Changed(i);
    }
}

void CWatchMonitor::Changed(int i)
{
    if (onItemChanged)
    {
        onItemChanged(i);
    }
}

void CWatchMonitor::Modified()
{
    if (onModified)
    {
        onModified();
    }
}

int CWatchMonitor::DisplayBase()
{
    const uint32_t ulBase = GetPreference(QStringLiteral("Preferences"), QStringLiteral("DefaultBase"), 16u);
    return ulBase == 2 || ulBase == 10 ? static_cast<int>(ulBase) : 16;
}

QString CWatchMonitor::CellText(int i, int iColumn) const
{
    if (!Valid(i))
    {
        return QString();
    }
    const WatchItem& item = Items()[static_cast<size_t>(i)];
    const CPEPrimitive* pPE = ItemPE(item);
    switch (iColumn)
    {
    case eWatchColItem:
        return QString::number(i + 1);
    case eWatchColNode:
        return QString::number((pPE ? pPE->iNodeNumber : item.iPEID) + 1);
    case eWatchColDestID:
        return item.uDestID == 0xFFFF ? QString() : QString::asprintf("%04Xh", item.uDestID);
    case eWatchColRegister:
        return item.RegName;
    case eWatchColBF:
        return item.BFName;
    case eWatchColValue:
        return WatchValueText(item.uNewValue, item.iNumBits, DisplayBase(), false);
    case eWatchColTrigger:
        return TriggerText(item, DisplayBase());
    case eWatchColEvents:
        return QString::number(item.iNumEvents);
    case eWatchColAction:
        return WatchActionText(item.eAction);
    case eWatchColLog:
        return WatchLogText(item.eLog);
    case eWatchColPeriod:
        return QStringLiteral("%1 Seconds").arg(item.iUpdatePeriod);
    default:
        return QString();
    }
}
