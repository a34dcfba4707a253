// The transaction log: one line per transaction, each line a command of the simple script
// language, so that a log can be replayed. What follows "# " is the outcome. The head of a line is
// written before the transaction runs and the rest after it, and the file is opened and closed
// for every fragment, so a line that stops after "# " shows a transaction that never returned.
#pragma once

#include <QString>

// Keeps the path and empties the file; false if it cannot be made.
bool CreateLogFile(const QString& strPath);
// Turns logging on or off (off at start).
void EnableLogging(bool bEnable);
bool IsLoggingEnabled();
// Appends formatted text when logging is on.
void WriteToLog(const char* pszFormat, ...) __attribute__((format(printf, 1, 2)));
