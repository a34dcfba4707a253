// The watch table at work: registers and bit fields of PEs polled on a count of one-second ticks,
// each compared with its trigger, and a trigger that fires counted, logged, raised as an event for
// the user's event scripts and answered by its action (a beep, a highlight on the map, a notice).
// The window drives Tick() from a one-second timer; the command line and tests call it directly.
#pragma once

#include "WatchItem.h"

#include <QDateTime>
#include <QString>
#include <QStringList>
#include <QVariantList>

#include <cstdint>
#include <functional>
#include <vector>

class CNetworkDocument;
class CPEPrimitive;
class IRegisterTransport;

// One logged line as data, for the watch report.
struct SWatchLogRecord
{
    QString Time;  // "%d/%m/%Y %H:%M:%S"
    int iNode = 0; // node number (not plus one)
    uint16_t uDestID = 0xFFFF;
    QString RegName;
    QString BFName;
    int iNumBits = 32;
    uint32_t uOldValue = 0;
    uint32_t uNewValue = 0;
    QString Trigger;
    int iNumEvents = 0;
};

// What a fired trigger hands to the event scripts: the item's position and its data.
struct SWatchEvent
{
    int iIndex = 0;
    WatchItem Item;
};

// A register or field handed to the watch table, as the register editor's "Add to Watch" gives it.
struct SWatchRequest
{
    int iPEID = -1; // position of the PE in the active map's list
    uint16_t uDestID = 0xFFFF;
    QString RegName;
    uint32_t uOffset = 0;
    QString BFName = QStringLiteral("<All>");
    int iNumBits = 32;
    int iLast = 31; // last and first bit, RapidIO numbering
    int iFirst = 0;
    uint32_t ulValue = 0; // the register's stored value
};

// The event number of a watch trigger among the program's events.
constexpr uint32_t kWatchTriggerEventID = 4;

// The 17 arguments of the watch event, in this order: index, PE position, destination ID,
// register name, offset, field name, width, last bit, first bit, old value, new value, X1, X2,
// number of events, log, update period (32-bit values, signed where the item's field is), and the
// trigger type as a byte.
QVariantList WatchEventArguments(const SWatchEvent& event);

// Columns of the watch window, in order.
enum EWatchColumn
{
    eWatchColItem = 0,
    eWatchColNode,
    eWatchColDestID,
    eWatchColRegister,
    eWatchColBF,
    eWatchColValue,
    eWatchColTrigger,
    eWatchColEvents,
    eWatchColAction,
    eWatchColLog,
    eWatchColPeriod,
    eWatchColCount
};
// The headings of the columns: "", "NodeID", "DestID", ... "Updt Period".
QStringList WatchColumnHeadings();

class CWatchMonitor
{
public:
    // Works on the document's watch table; reads go through the transport.
    CWatchMonitor(CNetworkDocument& document, IRegisterTransport& transport);

    std::vector<WatchItem>& Items();
    const std::vector<WatchItem>& Items() const;
    int Count() const;

    // Makes an item for a register or field of the PE at position iPEID: period 5 seconds, log and
    // action None, trigger "BF Changes", both values the field's part of ulValue. Returns its index.
    int AddWatch(int iPEID, uint16_t uDestID, const QString& strRegName, uint32_t uOffset,
                 const QString& strBFName, int iNumBits, int iLast, int iFirst, uint32_t ulValue);

    int AddWatch(const SWatchRequest& request)
    {
        return AddWatch(request.iPEID, request.uDestID, request.RegName, request.uOffset, request.BFName,
                        request.iNumBits, request.iLast, request.iFirst, request.ulValue);
    }

    // The check box of an item. Enabling while no link is open shows "You must be connected to the
    // target system before you can enable a watch item." and leaves it off. Returns the new state.
    bool SetEnabled(int i, bool bEnabled);
    bool ToggleEnabled(int i);
    void EnableAll();
    void DisableAll();
    void RemoveAll();
    // Asks "Remove this watch item?"; true when it went.
    bool Remove(int i);

    // The pop-ups of the Action, Log, Updt Period and #Events columns.
    void SetAction(int i, int eAction);
    void SetLog(int i, int eLog);
    void SetPeriod(int i, int iSeconds);
    void ResetEvents(int i);
    // The trigger window's OK: the type and the parameter texts, read as ParseTriggerParams does.
    // A failure shows its message, changes nothing and returns false.
    bool SetTrigger(int i, int eType, const QString& strX1, const QString& strX2);

    // One second of the timer: with no link open every item is disabled and nothing else happens;
    // otherwise each enabled item counts the second and is polled when its period is up.
    void Tick();
    // Reads an item once and evaluates its trigger.
    void Poll(int i);
    // The destination ID and hop count the map's routing tables give from the host to an item's
    // PE. False when the host or the PE is missing or no route is found.
    bool FindItemRoute(int i, uint32_t* pulDestID, uint8_t* puchHopCount) const;
    // Whether an item's row carries the mark of a trigger that fired at its last poll.
    bool IsMarked(int i) const;

    // The text of a cell of the watch window, with numbers in the display base.
    QString CellText(int i, int iColumn) const;
    // The display base of the preferences: 2, 10 or 16.
    static int DisplayBase();

    // The log box's lines, and the watch lines among them as data.
    const QStringList& LogLines() const { return m_LogLines; }
    const std::vector<SWatchLogRecord>& LogRecords() const { return m_LogRecords; }
    // Asks for a text file and writes the log to it, a line end after each line.
    bool SaveLog();
    // Writes the log to a file; shows "Unable to open%s, error %d" when it can't be opened.
    bool SaveLog(const QString& strPath);
    void ClearLog();

    // The PE command that clears its highlight: the PE's node in every view loses it, and enabled
    // items on that PE forget theirs. ClearAllHighlights does so for every PE.
    void ClearHighlight(int iNode);
    void ClearAllHighlights();

    // Observers, all optional: a row changed, rows came or went, a log line was added, the map's
    // drawing changed, the map (its watch table) was modified, and the event for the scripts.
    std::function<void(int)> onItemChanged;
    std::function<void()> onListChanged;
    std::function<void(const QString&)> onLogLine;
    std::function<void()> onMapRedraw;
    std::function<void()> onModified;
    std::function<void(const SWatchEvent&)> onWatchEvent;
    // The clock of the log lines; the current time unless replaced.
    std::function<QDateTime()> clock;

private:
    bool Valid(int i) const { return i >= 0 && i < Count(); }
    void Fire(int i);
    void WriteLogLine(int i);
    void AddLogLine(const QString& strLine);
    void Highlight(WatchItem& item);
    void SetMark(int i, bool bMarked);
    void Changed(int i);
    void Modified();
    // The PE at an item's position in the active map, or null.
    CPEPrimitive* ItemPE(const WatchItem& item) const;

    CNetworkDocument& m_document;
    IRegisterTransport& m_transport;
    std::vector<char> m_Marks; // in step with the items where set; shorter means unmarked
    QStringList m_LogLines;
    std::vector<SWatchLogRecord> m_LogRecords;
};
