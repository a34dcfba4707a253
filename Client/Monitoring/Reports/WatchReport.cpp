#include "WatchReport.h"

#include "NetworkDocument.h"
#include "NumberText.h"
#include "Primitives.h"
#include "ReportTemplate.h"
#include "WatchItem.h"
#include "WatchMonitor.h"
#include "WatchTrigger.h"

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
        item.strTrigger = TriggerText(watch, nBase, true);
        item.iNumEvents = watch.iNumEvents;
        item.strAction = WatchActionText(watch.eAction);
        item.iUpdatePeriod = watch.iUpdatePeriod;
        item.bEnabled = watch.bEnabled;
        items.push_back(item);
    }
    return items;
}

std::vector<SWatchReportLogRecord> WatchReportLog(const std::vector<SWatchLogRecord>& records, int nBase)
{
    std::vector<SWatchReportLogRecord> lines;
    lines.reserve(records.size());
    for (const SWatchLogRecord& record : records)
    {
        SWatchReportLogRecord line;
        line.strTime = record.Time;
        line.iNode = record.iNode;
        line.uDestID = record.uDestID;
        line.strRegister = record.RegName;
        line.strBitField = record.BFName;
        line.strValue = WatchValueText(record.uNewValue, record.iNumBits, nBase, true);
        line.strTrigger = record.Trigger;
        line.iNumEvents = record.iNumEvents;
        lines.push_back(line);
    }
    return lines;
}

std::unique_ptr<CWatchReport> MakeWatchRunReport(const CNetworkDocument& map,
                                                 const std::vector<SWatchLogRecord>& log, int nBase)
{
    return std::make_unique<CWatchReport>(map.FileName, WatchReportItems(map, nBase),
                                          WatchReportLog(log, nBase));
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

QStringList WatchLogValues(const SWatchReportLogRecord& record)
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
                           std::vector<SWatchReportLogRecord> log)
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
    for (const SWatchReportLogRecord& record : m_log)
    {
        if (!WritePiece(QStringLiteral("wwr_eltl.htm"), logKeys, WatchLogValues(record)))
        {
            return false;
        }
    }
    return WritePiece(QStringLiteral("wwr_eltf.htm"));
}
