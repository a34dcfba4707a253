// The settings that the Default Settings dialog shows in one place, and the recent file list.
// Questions that may be dismissed for good keep <key>DontAsk and <key>Response in the section
// Messages; the dialog shows each in one of three states.
#pragma once

#include <QString>
#include <QStringList>

#include <cstdint>
#include <vector>

enum EQuestionState
{
    eQuestionAsk = 0,
    eQuestionAlwaysYes = 1,
    eQuestionAlwaysNo = 2,
};

struct SQuestionKey
{
    const char* pszKey;
    const char* pszText; // what the dialog calls it
    bool bHasAnswer;     // false for a warning that is only shown or not
};

// The don't-ask keys of the dialog, in its order.
const std::vector<SQuestionKey>& DefaultSettingsQuestions();
EQuestionState QuestionState(const QString& strKey);
void SetQuestionState(const QString& strKey, EQuestionState eState);

// The transport size (8 or 16) and the host IDs asked once by discovery.
int DefaultDestIDSize();
uint32_t DefaultSmallHostID();
uint32_t DefaultLargeHostID();
// The host ID a person may store for the small transport lies in 0..255.
bool SmallHostIDValid(uint32_t ulID);

// The most recently used map files, newest first (section MRU, keys MRU and MRU%d).
QStringList RecentFiles();
void AddRecentFile(const QString& strPath);
