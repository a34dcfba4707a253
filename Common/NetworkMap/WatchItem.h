// A watched register or bit field, as the document keeps it and the map file stores it. The
// watch window polls and fires the triggers; this is only its data.
#pragma once

#include <QString>

#include <array>
#include <cstdint>

// Trigger types; the map file names them by kWatchTriggerWords.
enum EWatchTrigger
{
    eTriggerChange = 0,
    eTriggerNotEqual = 1,
    eTriggerEqualTo = 2,
    eTriggerGreaterThan = 3,
    eTriggerGreaterThanOrEqualTo = 4,
    eTriggerLessThan = 5,
    eTriggerLessThanOrEqualTo = 6,
    eTriggerBetweenExclusive = 7,
    eTriggerBetweenInclusive = 8,
    eTriggerNotBetweenExclusive = 9,
    eTriggerNotBetweenInclusive = 10,
};

// The words of the trigger types in the map file, in the order of their numbers; the command line
// takes them too.
inline constexpr std::array<const char*, 11> kWatchTriggerWords = {"Change",
                                                                   "NotEqual",
                                                                   "EqualTo",
                                                                   "GreaterThan",
                                                                   "GreaterThanOrEqualTo",
                                                                   "LessThan",
                                                                   "LessThanOrEqualTo",
                                                                   "BetweenExclusive",
                                                                   "BetweenInclusive",
                                                                   "NotBetweenExclusive",
                                                                   "NotBetweenInclusive"};

enum EWatchLog
{
    eWatchLogNone = 0,
    eWatchLogAll = 1,
    eWatchLogTriggers = 2,
};

enum EWatchAction
{
    eWatchActionNone = 0,
    eWatchActionBeep = 1,
    eWatchActionHighlightPE = 2,
    eWatchActionMessageBox = 3,
};

struct WatchItem
{
    int eType = eTriggerChange;
    int iPEID = -1;            // the PE: its position in the PE list
    uint16_t uDestID = 0xFFFF; // the ID shown; 0xFFFF shows nothing
    QString RegName = QStringLiteral("Undefined");
    uint32_t uRegOffset = 0;                      // maintenance offset, set offset included
    QString BFName = QStringLiteral("Undefined"); // bit field, or "<All>" for the register
    int iNumBits = 32;
    int iLSB = 31; // last bit of the field, RapidIO numbering in a 32-bit word
    int iMSB = 0;  // first bit of the field
    uint32_t uOldValue = 0;
    uint32_t uNewValue = 0;
    uint32_t uParam1 = 0;
    uint32_t uParam2 = 0;
    int iNumEvents = 0;
    int eLog = eWatchLogNone;
    int iUpdatePeriod = 5; // seconds between polls
    int iTicks = 0;        // seconds since the last poll; not saved
    int eAction = eWatchActionNone;
    bool bEnabled = false;     // polled; not saved
    bool bHighlighted = false; // its highlight is on the map; not saved
};
