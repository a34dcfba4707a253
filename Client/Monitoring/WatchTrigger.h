// The pieces of a watch item that need no target: the value of a bit field in a 32-bit word, the
// trigger conditions and their texts, the texts of actions and logs, and the reading of a trigger
// typed by a person (in the trigger window or on the command line).
#pragma once

#include "WatchItem.h"

#include <QString>

#include <cstdint>

// Number of trigger types (0 to 10); a type at or above it never fires and reads "Invalid".
constexpr int kNumWatchTriggers = static_cast<int>(kWatchTriggerWords.size());

// The part of a 32-bit word between two bits in RapidIO numbering (bit 0 the most significant),
// shifted down. iMSB is the first bit, iLSB the last; the register's width plays no part.
uint32_t WatchFieldValue(uint32_t uWord, int iMSB, int iLSB);

// Whether a trigger of that type fires for a poll that read uNew after uOld.
bool TriggerFires(int eType, uint32_t uOld, uint32_t uNew, uint32_t uX1, uint32_t uX2);
// Number of parameters a type takes: 0, 1 or 2 (0 for an invalid type).
int TriggerParamCount(int eType);
// The label of a type in the trigger window's list ("BF == X1"), or "Invalid".
QString TriggerLabel(int eType);
// The trigger of an item with the parameters in a base (2, 10 or 16): as the watch window shows
// it, without a tail ("BF == 5", "10 < BF < 20"), or with the base's tail as the report has it
// ("BF == 5h"); "Invalid" for an unknown type.
QString TriggerText(const WatchItem& item, int nBase, bool bTail = false);

// "None", "Beep", "Highlight PE", "MessageBox"; anything else "Invalid".
QString WatchActionText(int eAction);
// "None", "All", "Triggers"; anything else "Invalid".
QString WatchLogText(int eLog);

// A value as the watch window shows it: in the base, padded to the item's width in hexadecimal
// and binary, with the base's tail ("h", "d", "b") when bTail is set.
QString WatchValueText(uint32_t uValue, int iNumBits, int nBase, bool bTail);

// Reads the parameter boxes of the trigger window for a type. Each box the type needs is read by
// the number entry rule (at most 32 bits); with two parameters X1 must be below X2. Returns an
// empty text, or the message to show: "Invalid data entry." or "X2 must be larger than X1".
QString ParseTriggerParams(int eType, const QString& strX1, const QString& strX2, uint32_t* puX1,
                           uint32_t* puX2);

// Reads a trigger written as text, in either of two forms:
//  - a map file word with its parameters after colons: "Change", "EqualTo:5",
//    "BetweenExclusive:10:20" (words ignore case);
//  - the trigger window's label with numbers for X1 and X2: "BF != 5", "10 <= BF <= 20",
//    "(BF < 10) || (BF > 20)" (blanks and brackets optional).
// Numbers follow the number entry rule. Returns an empty text, or what is wrong with it.
QString ParseTriggerSpec(const QString& strText, int* peType, uint32_t* puX1, uint32_t* puX2);
