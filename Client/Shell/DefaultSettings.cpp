#include "DefaultSettings.h"

#include "InstallPaths.h"
#include "Preferences.h"
#include "UserInterface.h"

#include <QCoreApplication>
#include <QFileInfo>

namespace
{
constexpr int kMaxRecentFiles = 4;
const QString kMessages = QStringLiteral("Messages");
const QString kPreferences = QStringLiteral("Preferences");
const QString kDirectories = QStringLiteral("Directories");
const QString kSystemSettings = QStringLiteral("SystemSettings");
} // namespace

const std::vector<SQuestionKey>& DefaultSettingsQuestions()
{
    static const std::vector<SQuestionKey> questions = {
        {"UseDefaultHostID", "Use the default host ID", true},
        {"SkipDownloadToUnusedPorts", "Skip routing table download for unused ports", true},
        {"SkipUploadFromUnusedPorts", "Skip routing table upload for unused ports", true},
        {"UseWorkingMapAsGuide", "Use the working map as layout guide", true},
        {"UseTemplateMapAsGuide", "Use the template map as layout guide", true},
        {"NoOverlaps", "Elliminate PE overlaps", true},
        {"DiscoveryLog", "Enable discovery logging", true},
        {"LoadRegisters", "Load registers warning", true},
        {"UploadEditRegs", "Upload edited registers warning", true},
        {"PLMCWarning", "Port/lane control warning", false},
        {"LPSCWarning", "Port speed warning", false},
        {"SoftwareUpdateCheck", "Update reminder", false},
    };
    return questions;
}

EQuestionState QuestionState(const QString& strKey)
{
    if (GetPreference(kMessages, strKey + QStringLiteral("DontAsk"), 0u) != 1)
    {
        return eQuestionAsk;
    }
    return GetPreference(kMessages, strKey + QStringLiteral("Response"), eAnswerYes) == eAnswerNo
               ? eQuestionAlwaysNo
               : eQuestionAlwaysYes;
}

void SetQuestionState(const QString& strKey, EQuestionState eState)
{
    SetPreference(kMessages, strKey + QStringLiteral("DontAsk"), eState == eQuestionAsk ? 0u : 1u);
    if (eState != eQuestionAsk)
    {
        SetPreference(kMessages, strKey + QStringLiteral("Response"),
                      static_cast<uint32_t>(eState == eQuestionAlwaysNo ? eAnswerNo : eAnswerYes));
    }
}

int DefaultDestIDSize()
{
    return GetPreference(kPreferences, QStringLiteral("DefaultDestIDSize"), 8u) == 16 ? 16 : 8;
}

uint32_t DefaultSmallHostID()
{
    return GetPreference(kPreferences, QStringLiteral("DefaultSmallHostID"), 0xFDu);
}

uint32_t DefaultLargeHostID()
{
    return GetPreference(kPreferences, QStringLiteral("DefaultLargeHostID"), 0xFDu);
}

bool SmallHostIDValid(uint32_t ulID)
{
    return ulID <= 255;
}

const std::vector<SDirectoryKey>& DefaultSettingsDirectories()
{
    static const std::vector<SDirectoryKey> directories = {
        {"AppDir", "Application"},
        {"BitmapDir", "Icons"},
        {"ModuleDir", "Register library"},
        {"CustomGUI", "Custom GUI plug-ins"},
        {"EEPROM_DLLs", "EEPROM plug-ins"},
        {"PEReportDir", "PE info reports"},
        {"PMReportDir", "Performance monitor reports"},
        {"RegReportDir", "Register reports"},
        {"RTReportDir", "Routing table reports"},
        {"WWReportDir", "Watch window reports"},
    };
    return directories;
}

QString DirectoryDefault(const QString& strKey)
{
    if (strKey == QLatin1String("AppDir"))
    {
        return QCoreApplication::applicationDirPath();
    }
    // The install paths fall back beside the program, or to the build tree, while their key is
    // empty; with the key set that fallback isn't known here.
    if ((strKey == QLatin1String("ModuleDir") || strKey == QLatin1String("BitmapDir")) &&
        GetPreference(kDirectories, strKey, QString()).isEmpty())
    {
        return strKey == QLatin1String("ModuleDir") ? ModuleDirectory() : BitmapDirectory();
    }
    return QString();
}

bool DirectoryValid(const QString& strPath)
{
    return strPath.trimmed().isEmpty() || QFileInfo(strPath.trimmed()).isDir();
}

bool DiscoveryDetails()
{
    return GetPreference(kPreferences, QStringLiteral("DiscoveryDetails"), 0u) != 0;
}

bool DiscoveryPinned()
{
    return GetPreference(kPreferences, QStringLiteral("DiscoveryPinned"), 0u) != 0;
}

void SetDiscoveryWindowState(bool bDetails, bool bPinned)
{
    SetPreference(kPreferences, QStringLiteral("DiscoveryDetails"), bDetails ? 1u : 0u);
    SetPreference(kPreferences, QStringLiteral("DiscoveryPinned"), bPinned ? 1u : 0u);
}

SUpdateSettings SUpdateSettings::Load()
{
    SUpdateSettings settings;
    settings.bCheckForUpdates = GetPreference(kSystemSettings, QStringLiteral("CheckForUpdates"), 0u) != 0;
    settings.ulIntervalDays =
        GetPreference(kSystemSettings, QStringLiteral("UpdateInterval"), settings.ulIntervalDays);
    settings.strLastCheck = GetPreference(kSystemSettings, QStringLiteral("LastCheck"), QString());
    return settings;
}

void SUpdateSettings::Save() const
{
    SetPreference(kSystemSettings, QStringLiteral("CheckForUpdates"), bCheckForUpdates ? 1u : 0u);
    SetPreference(kSystemSettings, QStringLiteral("UpdateInterval"), ulIntervalDays);
}

QStringList RecentFiles()
{
    QStringList files;
    const int nCount = static_cast<int>(GetPreference(QStringLiteral("MRU"), QStringLiteral("MRU"), 0u));
    for (int i = 0; i < nCount && i < kMaxRecentFiles; ++i)
    {
        const QString strPath =
            GetPreference(QStringLiteral("MRU"), QStringLiteral("MRU%1").arg(i), QString());
        if (!strPath.isEmpty())
        {
            files << strPath;
        }
    }
    return files;
}

void AddRecentFile(const QString& strPath)
{
    QStringList files = RecentFiles();
    files.removeAll(strPath);
    files.prepend(strPath);
    while (files.size() > kMaxRecentFiles)
    {
        files.removeLast();
    }
    SetPreference(QStringLiteral("MRU"), QStringLiteral("MRU"), static_cast<uint32_t>(files.size()));
    for (int i = 0; i < files.size(); ++i)
    {
        SetPreference(QStringLiteral("MRU"), QStringLiteral("MRU%1").arg(i), files[i]);
    }
}
