#include "WatchReport.h"

#include "NetworkDocument.h"
#include "NumberText.h"
#include "Primitives.h"
#include "ReportTemplate.h"
#include "WatchItem.h"

namespace
{
// The trigger's condition made safe for the page: "<" and ">" as "&lt" and "&gt".
QString TriggerCell(const QString& strTrigger)
{
    QString strCell = strTrigger;
    strCell.replace(QLatin1Char('&'), QStringLiteral("&amp;"));
    strCell.replace(QLatin1Char('<'), QStringLiteral("&lt"));
    strCell.replace(QLatin1Char('>'), QStringLiteral("&gt"));
    return strCell;
}

QString RegisterCell(int iNode, uint16_t uDestID, const QString& strRegister, const QString& strBitField)
{
    QString strCell = QStringLiteral("Node %1").arg(iNode + 1);
    if (uDestID != 0xFFFF)
    {
        strCell += QString::asprintf(" (DestID %04Xh)", uDestID);
    }
    strCell += QStringLiteral(": ") + ReportEscape(strRegister);
    if (!strBitField.isEmpty())
    {
        strCell += QStringLiteral(" / ") + ReportEscape(strBitField);
    }
    return strCell;
}
} // namespace

QString WatchReportTriggerText(const WatchItem& item, int nBase)
{
    const QString x1 = NumberToText(item.uParam1, nBase, true);
    const QString x2 = NumberToText(item.uParam2, nBase, true);
    switch (item.eType)
    {
    case eTriggerChange:
        return QStringLiteral("BF Changes");
    case eTriggerNotEqual:
        return QStringLiteral("BF != %1").arg(x1);
    case eTriggerEqualTo:
        return QStringLiteral("BF == %1").arg(x1);
    case eTriggerGreaterThan:
        return QStringLiteral("BF > %1").arg(x1);
    case eTriggerGreaterThanOrEqualTo:
        return QStringLiteral("BF >= %1").arg(x1);
    case eTriggerLessThan:
        return QStringLiteral("BF < %1").arg(x1);
    case eTriggerLessThanOrEqualTo:
        return QStringLiteral("BF <= %1").arg(x1);
    case eTriggerBetweenExclusive:
        return QStringLiteral("%1 < BF < %2").arg(x1, x2);
    case eTriggerBetweenInclusive:
        return QStringLiteral("%1 <= BF <= %2").arg(x1, x2);
    case eTriggerNotBetweenExclusive:
        return QStringLiteral("(BF < %1) || (BF > %2)").arg(x1, x2);
    case eTriggerNotBetweenInclusive:
        return QStringLiteral("(BF <= %1) || (BF >= %2)").arg(x1, x2);
    default:
        return QStringLiteral("Invalid");
    }
}

QString WatchReportActionText(int eAction)
{
    switch (eAction)
    {
    case eWatchActionNone:
        return QStringLiteral("None");
    case eWatchActionBeep:
        return QStringLiteral("Beep");
    case eWatchActionHighlightPE:
        return QStringLiteral("Highlight PE");
    case eWatchActionMessageBox:
        return QStringLiteral("MessageBox");
    default:
        return QStringLiteral("Invalid");
    }
}

std::vector<SWatchReportItem> WatchReportItems(const CNetworkDocument& map, int nBase)
{
    std::vector<SWatchReportItem> items;
    for (const WatchItem& watch : map.WatchItems)
    {
        SWatchReportItem item;
        // iPEID is the PE's place in the list; people know it by its node number.
        const CPEPrimitive* pPE = map.pCurrentPEs ? map.pCurrentPEs->GetByIndex(watch.iPEID) : nullptr;
        item.iNode = pPE ? pPE->iNodeNumber : watch.iPEID;
        item.uDestID = watch.uDestID;
        item.strRegister = watch.RegName;
        item.strBitField = watch.BFName;
        item.strValue = NumberToText(watch.uNewValue, nBase, true);
        item.strTrigger = WatchReportTriggerText(watch, nBase);
        item.iNumEvents = watch.iNumEvents;
        item.strAction = WatchReportActionText(watch.eAction);
        item.iUpdatePeriod = watch.iUpdatePeriod;
        item.bEnabled = watch.bEnabled;
        items.push_back(item);
    }
    return items;
}

QStringList WatchItemKeys()
{
    return {QStringLiteral("TRIGNUM"),  QStringLiteral("REGISTER"), QStringLiteral("VALUE"),
            QStringLiteral("TRIGWHEN"), QStringLiteral("NUMTRIGS"), QStringLiteral("ACTION"),
            QStringLiteral("PERIOD")};
}

QStringList WatchItemValues(int iIndex, const SWatchReportItem& item)
{
    return {QString::number(iIndex + 1),
            RegisterCell(item.iNode, item.uDestID, item.strRegister, item.strBitField),
            ReportEscape(item.strValue),
            TriggerCell(item.strTrigger),
            QString::number(item.iNumEvents),
            ReportEscape(item.strAction),
            item.bEnabled ? QStringLiteral("%1 Seconds").arg(item.iUpdatePeriod) : QStringLiteral("OFF")};
}

QStringList WatchLogKeys()
{
    return {QStringLiteral("LOGTIME"),     QStringLiteral("LOGNODE"), QStringLiteral("LOGDESTID"),
            QStringLiteral("LOGREGISTER"), QStringLiteral("LOGBF"),   QStringLiteral("LOGVALUE"),
            QStringLiteral("LOGTRIGGER"),  QStringLiteral("LOGEVENT")};
}

QStringList WatchLogValues(const SWatchLogRecord& record)
{
    return {ReportEscape(record.strTime),
            QString::number(record.iNode + 1),
            record.uDestID == 0xFFFF ? QString() : QString::asprintf("%04Xh", record.uDestID),
            ReportEscape(record.strRegister),
            ReportEscape(record.strBitField),
            ReportEscape(record.strValue),
            TriggerCell(record.strTrigger),
            QString::number(record.iNumEvents)};
}

CWatchReport::CWatchReport(const QString& strMapName, std::vector<SWatchReportItem> items,
                           std::vector<SWatchLogRecord> log)
    : CReport(eReportWatch), m_items(std::move(items)), m_log(std::move(log))
{
    SetMapName(strMapName);
}

bool CWatchReport::WriteBody()
{
    if (!WritePiece(QStringLiteral("wwr_wlh.htm")) || !WritePiece(QStringLiteral("wwr_wlth.htm")))
    {
        return false;
    }
    const QStringList itemKeys = WatchItemKeys();
    for (size_t i = 0; i < m_items.size(); ++i)
    {
        if (!WritePiece(QStringLiteral("wwr_wltl.htm"), itemKeys,
                        WatchItemValues(static_cast<int>(i), m_items[i])))
        {
            return false;
        }
    }
    if (!WritePiece(QStringLiteral("wwr_wltf.htm")) || !WritePiece(QStringLiteral("wwr_elh.htm")) ||
        !WritePiece(QStringLiteral("wwr_elth.htm")))
    {
        return false;
    }
    const QStringList logKeys = WatchLogKeys();
    for (const SWatchLogRecord& record : m_log)
    {
        if (!WritePiece(QStringLiteral("wwr_eltl.htm"), logKeys, WatchLogValues(record)))
        {
            return false;
        }
    }
    return WritePiece(QStringLiteral("wwr_eltf.htm"));
}
