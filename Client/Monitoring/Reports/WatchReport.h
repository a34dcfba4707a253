// The watch window report: the watch table and the event log. Both come in as plain records, so
// the watch window hands over what it shows and the command line what the map holds.
#pragma once

#include "Report.h"

#include <cstdint>
#include <memory>
#include <vector>

class CNetworkDocument;
struct SWatchLogRecord;
class CWatchReport;

// One row of the watch table.
struct SWatchReportItem
{
    int iNode = -1;            // node number of the PE (shown plus one)
    uint16_t uDestID = 0xFFFF; // 0xFFFF shows none
    QString strRegister;       // register name
    QString strBitField;       // field name, "<All>" for the register
    QString strValue;          // the value as the window shows it
    QString strTrigger;        // the trigger as the window shows it, "BF > 10h" and the like
    int iNumEvents = 0;
    QString strAction;     // "None", "Beep", "Highlight PE", "MessageBox"
    int iUpdatePeriod = 5; // seconds
    bool bEnabled = false; // a disabled item reports its period as "OFF"
};

// One line of the event log.
struct SWatchReportLogRecord
{
    QString strTime; // "%d/%m/%Y %H:%M:%S"
    int iNode = -1;
    uint16_t uDestID = 0xFFFF;
    QString strRegister;
    QString strBitField;
    QString strValue;   // the new value as logged
    QString strTrigger; // the trigger text
    int iNumEvents = 0;
};

// The rows of a map's watch table, values and parameters in the base given with its tail; the
// trigger and action texts are the watch window's (TriggerText, WatchActionText).
std::vector<SWatchReportItem> WatchReportItems(const CNetworkDocument& map, int nBase);
// The watch monitor's log records as report lines: the value with the base's tail, the trigger as
// it was logged, the destination ID from the map's item where the record has none.
std::vector<SWatchReportLogRecord> WatchReportLog(const std::vector<SWatchLogRecord>& records, int nBase);
// The report of a watch run: the map's watch table and the monitor's log.
std::unique_ptr<CWatchReport> MakeWatchRunReport(const CNetworkDocument& map,
                                                 const std::vector<SWatchLogRecord>& log, int nBase);

QStringList WatchItemKeys();
QStringList WatchItemValues(int iIndex, const SWatchReportItem& item);
QStringList WatchLogKeys();
QStringList WatchLogValues(const SWatchReportLogRecord& record);

class CWatchReport : public CReport
{
public:
    CWatchReport(const QString& strMapName, std::vector<SWatchReportItem> items,
                 std::vector<SWatchReportLogRecord> log);

protected:
    bool WriteBody() override;

private:
    std::vector<SWatchReportItem> m_items;
    std::vector<SWatchReportLogRecord> m_log;
};
