// The three DFE procedures of an IDT Gen2 switch lane - Scan, Adjust and Monitor - and the steps
// they are built of: counting errors, writing and walking the taps, enabling the equaliser,
// resetting a port. The procedures run on the caller's thread and write their log as they go;
// at each abort check they ask the working window whether the person pressed Cancel.
#pragma once

#include "DfeParams.h"
#include "DfeTaps.h"
#include "SerDesAccess.h"

#include <QString>

#include <cstdint>
#include <functional>
#include <vector>

enum class EDfeProcedure
{
    Scan,
    Monitor,
    Adjust
};

class CDfeSearch
{
public:
    // Works on the switch behind access with the device table of its device ID.
    CDfeSearch(ISerDesAccess& access, const SSerDesDeviceTable& table);

    // Where the log goes, one complete line at a time (without its line end). Unset: the working
    // window's log.
    std::function<void(const QString&)> fnLogLine;
    // Whether to give up; unset: the working window's Cancel.
    std::function<bool()> fnCancelled;
    // Progress: settings done and in all. Unset: the working window's count line.
    std::function<void(uint32_t, uint32_t)> fnProgress;
    // The log's time stamp line. Unset: the local time as "hh:mm AP" and a line end. (The
    // procedures stamped their log with the shell's "time /T", which gives that form; running a
    // shell for it has no point here.)
    std::function<QString()> fnTimeStamp;

    // The whole log so far.
    const QString& Log() const { return m_strLog; }

    // Errors counted over up to n reads of the lane error status, stopping at 0x10000.
    uint32_t CountErrors(uint32_t ulPort, uint32_t ulLane, uint32_t n);
    // The three writes of a tap register value, the last one the update.
    void PutTapRegister(uint32_t ulLane, uint32_t ulValue);
    // Moves the lane's taps to ulTarget in unit steps; nothing is written when they are there.
    void StepTaps(uint32_t ulPort, uint32_t ulLane, uint32_t ulTarget);
    // Puts the equaliser under the tools' control unless it is already.
    void EnableDFE(uint32_t ulPort, uint32_t ulLane);
    // Resets the ports through Device Reset Control, keeping their lanes' drive settings.
    void ResetPorts(const std::vector<uint32_t>& ports);

    // The procedures: 0 when they ran to the end, 1 after an abort.
    int Scan(uint32_t ulPort, uint32_t ulLane, const SDfeScanParams& params);
    int Adjust(uint32_t ulPort, uint32_t ulLane, const SDfeAdjustParams& params);
    int Monitor(uint32_t ulPort, uint32_t ulLane, SDfeMonitorParams& params, const SDfeAdjustParams& adjust);

    // The value of a scan's last best setting, or of the lane's taps now.
    uint32_t ReadTaps(uint32_t ulLane);

private:
    int ScanRatio(uint32_t ulPort, uint32_t ulLane, const SDfeScanParams& params);
    int ScanOneAtATime(uint32_t ulPort, uint32_t ulLane, const SDfeScanParams& params);
    void Print(const QString& strText);
    void PrintRow(const DfeTapValues& taps, uint32_t ulErrors);
    // One setting of a scan: stepped in, the port reset, the count flushed; the errors of ulSamples rounds.
    uint32_t MeasureSetting(uint32_t ulPort, uint32_t ulLane, uint32_t ulWord, uint32_t ulSamples);
    void PrintTime();
    bool AbortCheck();
    void Progress(uint32_t ulDone, uint32_t ulTotal);
    uint32_t Read(uint32_t ulOffset);
    void Write(uint32_t ulOffset, uint32_t ulValue);

    ISerDesAccess& m_access;
    SSerDesDeviceTable m_table;
    QString m_strLog;
    QString m_strPending; // the part of the last line not yet handed out
};

// Sample period of the line: the seconds one access to the switch takes, measured by reading
// the lane sample register over and over for ulMilliseconds.
double MeasureDfeSamplePeriod(ISerDesAccess& access, uint32_t ulLane, uint32_t ulMilliseconds = 1000);

// The working window's title of a run.
QString DfeWorkTitle(EDfeProcedure eProcedure, uint32_t ulPort, uint32_t ulLane);
// Its text: "Performing DFE Scan Search.  This is a lengthy process. Please be patient." and the like.
QString DfeWorkText(EDfeProcedure eProcedure);
