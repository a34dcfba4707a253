// The debug log: one text file that takes diagnostics from every layer, in six channels that are
// switched on and off independently. Off by default.
#pragma once

#include <QString>
#include <cstdarg>

enum EDebugChannel
{
    eDebugGeneral = 0,
    eDebugFindRoute = 1,
    eDebugDiscovery = 2,
    eDebugPerfMon = 3,
    eDebugMiddleware = 4,
    eDebugJTAG = 5,
    eDebugChannelCount = 6
};

// Fixes the file name and loads the flags; runs once, at the first use of the log.
void DebugInit();
// Appends "%02d:%s" with the channel and the formatted text when the channel is on. The file is
// opened and closed for every line so the log survives a crash.
void DebugPrint(int nChannel, const char* pszFormat, ...) __attribute__((format(printf, 2, 3)));
void DebugPrintV(int nChannel, const char* pszFormat, va_list args);
// Whether a channel is on.
bool DebugEnabled(int nChannel);
// Switches a channel and stores its key in the preference section Debug.
void SetDebugFlag(int nChannel, bool bEnabled);
// Empties the log; shows "fopen failed with error %d\n" when the file can't be opened.
bool ClearLog();
// Path of the log file.
QString DebugLogPath();
// Preference key of a channel ("General", "FindRoute", ...).
QString DebugChannelKey(int nChannel);
