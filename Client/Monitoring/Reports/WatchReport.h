// The watch window report: the watch table and the event log. Both come in as plain records, so
// the watch window hands over what it shows and the command line what the map holds.
#pragma once

#include "Report.h"

#include <cstdint>
#include <vector>

class CNetworkDocument;
struct WatchItem;

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
struct SWatchLogRecord
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

// The trigger of an item in words, with its parameters in the base given ("BF Changes",
// "BF != 5h", "10h < BF < 20h", ...; "Invalid" for an unknown type), and an action's word.
QString WatchReportTriggerText(const WatchItem& item, int nBase);
QString WatchReportActionText(int eAction);
// The rows of a map's watch table, values and parameters in the base given.
std::vector<SWatchReportItem> WatchReportItems(const CNetworkDocument& map, int nBase);

QStringList WatchItemKeys();
QStringList WatchItemValues(int iIndex, const SWatchReportItem& item);
QStringList WatchLogKeys();
QStringList WatchLogValues(const SWatchLogRecord& record);

class CWatchReport : public CReport
{
public:
    CWatchReport(const QString& strMapName, std::vector<SWatchReportItem> items,
                 std::vector<SWatchLogRecord> log);

protected:
    bool WriteBody() override;

private:
    std::vector<SWatchReportItem> m_items;
    std::vector<SWatchLogRecord> m_log;
};
