// Replaying a transaction log: every maintenance write that succeeded when it was logged is made
// again, and every maintenance read that succeeded is made again and its words compared with the
// logged ones. The log holds neither the local port nor the stride, so lines of one word are
// replayed on local port 0 and lines of several words are passed over and reported.
#pragma once

#include "SimpleScript.h"

#include <QString>
#include <QStringList>

struct SReplayResult
{
    int nWrites = 0;      // writes made
    int nReads = 0;       // reads made and compared
    int nMismatches = 0;  // reads whose words differ from the log
    int nSkipped = 0;     // lines not replayed (failed when logged, several words, other transactions)
    bool bFailed = false; // a transaction of the replay failed, which ends it
    QStringList lines;    // what was found, line by line, in the form "Line %d: ..."
};

// Replays the text of a log through the access. Line numbers count from 1.
SReplayResult ReplayTransactionLog(const QString& strLog, IScriptAccess& access);
