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

// The keys of the section Directories that the dialog shows, in its order: where the program, its
// icons, register library, plug-ins and reports are.
struct SDirectoryKey
{
    const char* pszKey;
    const char* pszText; // what the dialog calls it
};
const std::vector<SDirectoryKey>& DefaultSettingsDirectories();
// The directory that stands while the key is empty, or an empty text when none does.
QString DirectoryDefault(const QString& strKey);
// A typed directory is taken when it is empty (the default stands) or names a directory.
bool DirectoryValid(const QString& strPath);

// How the working window of discovery shows: with its details (the log) open, and pinned, so that
// it stays when discovery ends (section Preferences, keys DiscoveryDetails and DiscoveryPinned).
bool DiscoveryDetails();
bool DiscoveryPinned();
void SetDiscoveryWindowState(bool bDetails, bool bPinned);

// The automatic update check (section SystemSettings): on or off, the days between checks, and
// the date of the last one as the check stored it (empty when there was none).
struct SUpdateSettings
{
    bool bCheckForUpdates = false;
    uint32_t ulIntervalDays = 30;
    QString strLastCheck;

    static SUpdateSettings Load();
    void Save() const;
};
constexpr uint32_t kMaxUpdateIntervalDays = 365;

// The most recently used map files, newest first (section MRU, keys MRU and MRU%d).
QStringList RecentFiles();
void AddRecentFile(const QString& strPath);
