#include "MacroBindings.h"

#include "NetworkDocument.h"
#include "Preferences.h"
#include "UserInterface.h"

#include <QMetaType>
#include <QRegularExpression>

#include <algorithm>

#include <cerrno>
#include <cstdio>

namespace
{
const QString kMenuSection = QStringLiteral("MenuScripts");
const QString kEventSection = QStringLiteral("EventScripts");

QString Key(const char* pszName, int i)
{
    return QString::fromLatin1(pszName) + QString::number(i);
}

// Removes the numbered keys of entries from iFrom up to the count the store held before.
void RemoveStale(const QString& strSection, const char* const* ppszNames, int iFrom, int iOldCount)
{
    for (int i = iFrom; i < iOldCount; ++i)
    {
        for (const char* const* ppszName = ppszNames; *ppszName; ++ppszName)
        {
            RemovePreference(strSection, Key(*ppszName, i));
        }
    }
}

bool SameMenu(const SMenuScriptItem& a, const SMenuScriptItem& b)
{
    return a.MenuItemName == b.MenuItemName && a.MethodName == b.MethodName && a.ScriptFile == b.ScriptFile &&
           a.Language == b.Language;
}

bool SameEvent(const SEventScriptItem& a, const SEventScriptItem& b)
{
    return a.EventID == b.EventID && a.MethodName == b.MethodName && a.ScriptFile == b.ScriptFile &&
           a.Language == b.Language && a.Enabled == b.Enabled;
}

// Lets the run counter go down however the run ends.
struct SRunGuard
{
    explicit SRunGuard(int& iCount) : m_iCount(iCount) { ++m_iCount; }
    ~SRunGuard() { --m_iCount; }
    SRunGuard(const SRunGuard&) = delete;
    SRunGuard& operator=(const SRunGuard&) = delete;
    int& m_iCount;
};
} // namespace

const std::vector<uint32_t>& MacroEventIDs()
{
    static const std::vector<uint32_t> ids = {eMacroEventConnection, eMacroEventDiscoveryDone,
                                              eMacroEventWatchTrigger, eMacroEventClosing};
    return ids;
}

QString MacroEventLabel(uint32_t ulEventID)
{
    switch (ulEventID)
    {
    case eMacroEventConnection:
        return QStringLiteral("Connect/Disconnect");
    case eMacroEventDiscoveryDone:
        return QStringLiteral("Discovery Complete");
    case eMacroEventWatchTrigger:
        return QStringLiteral("Watch Trigger");
    case eMacroEventClosing:
        return QStringLiteral("Application Closing");
    default:
        return QStringLiteral("Event %1").arg(ulEventID);
    }
}

int SMacroBindingSet::FindEvent(uint32_t ulEventID) const
{
    for (size_t i = 0; i < EventBindings.size(); ++i)
    {
        if (EventBindings[i].EventID == ulEventID)
        {
            return static_cast<int>(i);
        }
    }
    return -1;
}

int SMacroBindingSet::FindMenuItem(const QString& strMenuItemName) const
{
    for (size_t i = 0; i < MenuBindings.size(); ++i)
    {
        if (MenuBindings[i].MenuItemName.compare(strMenuItemName, Qt::CaseInsensitive) == 0)
        {
            return static_cast<int>(i);
        }
    }
    return -1;
}

int SMacroBindingSet::FindCommand(int iCommandID) const
{
    for (size_t i = 0; i < MenuBindings.size(); ++i)
    {
        if (MenuBindings[i].iCommandID == iCommandID)
        {
            return static_cast<int>(i);
        }
    }
    return -1;
}

bool SMacroBindingSet::AddScriptFile(const QString& strPath)
{
    if (ScriptFiles.contains(strPath))
    {
        return false;
    }
    ScriptFiles << strPath;
    return true;
}

int SMacroBindingSet::BindingsOf(const QString& strPath) const
{
    int nCount = 0;
    for (const SMenuScriptItem& item : MenuBindings)
    {
        nCount += item.ScriptFile == strPath ? 1 : 0;
    }
    for (const SEventScriptItem& item : EventBindings)
    {
        nCount += item.ScriptFile == strPath ? 1 : 0;
    }
    return nCount;
}

void SMacroBindingSet::RemoveScriptFile(const QString& strPath)
{
    ScriptFiles.removeAll(strPath);
    std::erase_if(MenuBindings,
                  [&strPath](const SMenuScriptItem& item) { return item.ScriptFile == strPath; });
    std::erase_if(EventBindings,
                  [&strPath](const SEventScriptItem& item) { return item.ScriptFile == strPath; });
}

void SMacroBindingSet::SetEvent(const SEventScriptItem& binding)
{
    const int i = FindEvent(binding.EventID);
    if (i >= 0)
    {
        EventBindings[static_cast<size_t>(i)] = binding;
    }
    else
    {
        EventBindings.push_back(binding);
    }
}

void SMacroBindingSet::SetMenuItem(const SMenuScriptItem& binding)
{
    const int i = FindMenuItem(binding.MenuItemName);
    if (i >= 0)
    {
        MenuBindings[static_cast<size_t>(i)] = binding;
    }
    else
    {
        MenuBindings.push_back(binding);
    }
}

bool SMacroBindingSet::SameBindings(const SMacroBindingSet& other) const
{
    return std::equal(MenuBindings.begin(), MenuBindings.end(), other.MenuBindings.begin(),
                      other.MenuBindings.end(), SameMenu) &&
           std::equal(EventBindings.begin(), EventBindings.end(), other.EventBindings.begin(),
                      other.EventBindings.end(), SameEvent);
}

SMacroBindingSet LoadGlobalBindings()
{
    SMacroBindingSet set;
    const int nFiles = static_cast<int>(GetPreference(kMenuSection, QStringLiteral("ScriptFileCount"), 0u));
    for (int i = 0; i < nFiles; ++i)
    {
        const QString strPath = GetPreference(kMenuSection, Key("ScriptFileName", i), QString());
        if (!strPath.isEmpty())
        {
            set.AddScriptFile(strPath);
        }
    }
    const int nMenus = static_cast<int>(GetPreference(kMenuSection, QStringLiteral("MenuScriptCount"), 0u));
    for (int i = 0; i < nMenus; ++i)
    {
        SMenuScriptItem item;
        item.MenuItemName = GetPreference(kMenuSection, Key("MenuItemName", i), QString());
        item.MethodName = GetPreference(kMenuSection, Key("MethodName", i), QString());
        item.ScriptFile = GetPreference(kMenuSection, Key("ScriptFile", i), QString());
        item.Language = GetPreference(kMenuSection, Key("Language", i), QString());
        if (!item.MenuItemName.isEmpty() && !item.MethodName.isEmpty())
        {
            set.MenuBindings.push_back(item);
        }
    }
    const int nEvents =
        static_cast<int>(GetPreference(kEventSection, QStringLiteral("EventScriptCount"), 0u));
    for (int i = 0; i < nEvents; ++i)
    {
        SEventScriptItem item;
        item.EventID = GetPreference(kEventSection, Key("EventID", i), 0u);
        item.MethodName = GetPreference(kEventSection, Key("MethodName", i), QString());
        item.ScriptFile = GetPreference(kEventSection, Key("ScriptFile", i), QString());
        item.Language = GetPreference(kEventSection, Key("Language", i), QString());
        item.Enabled = GetPreference(kEventSection, Key("Enabled", i), 0u) != 0;
        if (item.EventID != 0 && !item.MethodName.isEmpty())
        {
            set.EventBindings.push_back(item);
        }
    }
    return set;
}

bool SaveGlobalBindings(const SMacroBindingSet& set)
{
    static const char* const kFileKeys[] = {"ScriptFileName", nullptr};
    static const char* const kMenuKeys[] = {"MenuItemName", "MethodName", "ScriptFile", "Language", nullptr};
    static const char* const kEventKeys[] = {"EventID",  "MethodName", "ScriptFile",
                                             "Language", "Enabled",    nullptr};
    const int nOldFiles =
        static_cast<int>(GetPreference(kMenuSection, QStringLiteral("ScriptFileCount"), 0u));
    const int nOldMenus =
        static_cast<int>(GetPreference(kMenuSection, QStringLiteral("MenuScriptCount"), 0u));
    const int nOldEvents =
        static_cast<int>(GetPreference(kEventSection, QStringLiteral("EventScriptCount"), 0u));

    bool bOk = SetPreference(kMenuSection, QStringLiteral("ScriptFileCount"),
                             static_cast<uint32_t>(set.ScriptFiles.size()));
    for (int i = 0; bOk && i < set.ScriptFiles.size(); ++i)
    {
        bOk = SetPreference(kMenuSection, Key("ScriptFileName", i), set.ScriptFiles[i]);
    }
    bOk = bOk && SetPreference(kMenuSection, QStringLiteral("MenuScriptCount"),
                               static_cast<uint32_t>(set.MenuBindings.size()));
    for (size_t n = 0; bOk && n < set.MenuBindings.size(); ++n)
    {
        const SMenuScriptItem& item = set.MenuBindings[n];
        const int i = static_cast<int>(n);
        bOk = SetPreference(kMenuSection, Key("MenuItemName", i), item.MenuItemName) &&
              SetPreference(kMenuSection, Key("MethodName", i), item.MethodName) &&
              SetPreference(kMenuSection, Key("ScriptFile", i), item.ScriptFile) &&
              SetPreference(kMenuSection, Key("Language", i), item.Language);
    }
    bOk = bOk && SetPreference(kEventSection, QStringLiteral("EventScriptCount"),
                               static_cast<uint32_t>(set.EventBindings.size()));
    for (size_t n = 0; bOk && n < set.EventBindings.size(); ++n)
    {
        const SEventScriptItem& item = set.EventBindings[n];
        const int i = static_cast<int>(n);
        bOk = SetPreference(kEventSection, Key("EventID", i), item.EventID) &&
              SetPreference(kEventSection, Key("MethodName", i), item.MethodName) &&
              SetPreference(kEventSection, Key("ScriptFile", i), item.ScriptFile) &&
              SetPreference(kEventSection, Key("Language", i), item.Language) &&
              SetPreference(kEventSection, Key("Enabled", i), item.Enabled ? 1u : 0u);
    }
    if (!bOk)
    {
        return false;
    }
    RemoveStale(kMenuSection, kFileKeys, static_cast<int>(set.ScriptFiles.size()), nOldFiles);
    RemoveStale(kMenuSection, kMenuKeys, static_cast<int>(set.MenuBindings.size()), nOldMenus);
    RemoveStale(kEventSection, kEventKeys, static_cast<int>(set.EventBindings.size()), nOldEvents);
    return SyncPreferences();
}

SMacroBindingSet MapBindings(const CNetworkDocument& document)
{
    SMacroBindingSet set;
    set.MenuBindings = document.MenuScripts;
    set.EventBindings = document.EventScripts;
    for (const SEventScriptItem& item : set.EventBindings)
    {
        set.AddScriptFile(item.ScriptFile);
    }
    for (const SMenuScriptItem& item : set.MenuBindings)
    {
        set.AddScriptFile(item.ScriptFile);
    }
    return set;
}

void StoreMapBindings(const SMacroBindingSet& set, CNetworkDocument& document)
{
    document.MenuScripts = set.MenuBindings;
    document.EventScripts = set.EventBindings;
}

QStringList ScriptMethodNames(const IScriptEngine& engine, const QString& strText)
{
    static const QRegularExpression kJScript(QStringLiteral(
        R"((?:\bfunction\s+([A-Za-z_$][\w$]*)\s*\()|(?:\b([A-Za-z_$][\w$]*)\s*=\s*function\b))"));
    static const QRegularExpression kVBScript(
        QStringLiteral(R"(^\s*(?:(?:Public|Private)\s+)?(?:Sub|Function)\s+([A-Za-z][A-Za-z0-9_]*))"),
        QRegularExpression::CaseInsensitiveOption | QRegularExpression::MultilineOption);
    const bool bVBScript = engine.Language() == QLatin1String("VBScript");
    QStringList names;
    auto it = (bVBScript ? kVBScript : kJScript).globalMatch(strText);
    while (it.hasNext())
    {
        const QRegularExpressionMatch match = it.next();
        const QString strName = match.captured(1).isEmpty() ? match.captured(2) : match.captured(1);
        if (!strName.isEmpty() && !names.contains(strName, Qt::CaseInsensitive) && engine.HasMethod(strName))
        {
            names << strName;
        }
    }
    return names;
}

CAutoValue MacroArgumentArray(const QVariantList& values)
{
    CAutoValue array;
    array.vt = static_cast<uint16_t>(eVtVariant | eVtArray);
    array.elements.reserve(static_cast<size_t>(values.size()));
    for (const QVariant& value : values)
    {
        switch (value.metaType().id())
        {
        case QMetaType::UInt:
            array.elements.push_back(CAutoValue::Number(eVtUI4, value.toUInt()));
            break;
        case QMetaType::Int:
            array.elements.push_back(CAutoValue::Number(eVtInt, value.toInt()));
            break;
        case QMetaType::UChar:
            array.elements.push_back(CAutoValue::Number(eVtUI1, value.value<uint8_t>()));
            break;
        case QMetaType::Bool:
            array.elements.push_back(CAutoValue::Number(eVtBool, value.toBool() ? 1 : 0));
            break;
        default:
            array.elements.push_back(CAutoValue::Text(value.toString()));
            break;
        }
    }
    return array;
}

bool ReadScriptFile(const QString& strPath, QString* pstrText, QString* pstrError)
{
    errno = 0;
    FILE* pFile = std::fopen(strPath.toLocal8Bit().constData(), "rb");
    if (!pFile)
    {
        *pstrError = QStringLiteral("Unable to open script file %1, error %2").arg(strPath).arg(errno);
        return false;
    }
    QByteArray bytes;
    char buffer[4096];
    size_t nRead = 0;
    while ((nRead = std::fread(buffer, 1, sizeof(buffer), pFile)) > 0)
    {
        bytes.append(buffer, static_cast<qsizetype>(nRead));
    }
    const int nError = std::ferror(pFile) != 0 ? (errno != 0 ? errno : EIO) : 0;
    std::fclose(pFile);
    if (nError != 0)
    {
        *pstrError = QStringLiteral("Unable to open script file %1, error %2").arg(strPath).arg(nError);
        return false;
    }
    *pstrText = QString::fromUtf8(bytes);
    return true;
}

CMacroManager::CMacroManager() : m_factory(CreateScriptEngine) {}

void CMacroManager::LoadGlobal()
{
    m_global = LoadGlobalBindings();
    AssignCommandIDs();
}

bool CMacroManager::SaveGlobal() const
{
    return SaveGlobalBindings(m_global);
}

bool CMacroManager::TakeMap(const CNetworkDocument& document)
{
    SMacroBindingSet fromMap = MapBindings(document);
    if (fromMap.SameBindings(m_map))
    {
        return false;
    }
    m_map = std::move(fromMap);
    AssignCommandIDs();
    return true;
}

void CMacroManager::PutMap(CNetworkDocument& document) const
{
    StoreMapBindings(m_map, document);
}

void CMacroManager::AssignCommandIDs()
{
    int iNext = kFirstMacroCommandID;
    for (SMacroBindingSet* pSet : {&m_map, &m_global})
    {
        for (SMenuScriptItem& item : pSet->MenuBindings)
        {
            item.iCommandID = IsMacroCommandID(iNext) ? iNext++ : 0;
        }
    }
}

std::vector<SMenuScriptItem> CMacroManager::MenuItems() const
{
    std::vector<SMenuScriptItem> items;
    for (const SMacroBindingSet* pSet : {&m_map, &m_global})
    {
        for (const SMenuScriptItem& item : pSet->MenuBindings)
        {
            if (item.iCommandID != 0)
            {
                items.push_back(item);
            }
        }
    }
    return items;
}

bool CMacroManager::RunMenuScript(int iCommandID)
{
    if (!IsMacroCommandID(iCommandID))
    {
        return false;
    }
    for (const SMacroBindingSet* pSet : {&m_map, &m_global})
    {
        const int i = pSet->FindCommand(iCommandID);
        if (i >= 0)
        {
            // A copy: the script may lead to the sets being changed while it runs.
            const SMenuScriptItem item = pSet->MenuBindings[static_cast<size_t>(i)];
            return RunMethod(item.ScriptFile, item.Language, item.MethodName, {});
        }
    }
    return false;
}

bool CMacroManager::FireEvent(uint32_t ulEventID, const std::vector<CAutoValue>& args)
{
    if (IsRunning())
    {
        return false;
    }
    for (const SMacroBindingSet* pSet : {&m_map, &m_global})
    {
        const int i = pSet->FindEvent(ulEventID);
        if (i >= 0 && pSet->EventBindings[static_cast<size_t>(i)].Enabled)
        {
            const SEventScriptItem item = pSet->EventBindings[static_cast<size_t>(i)];
            return RunMethod(item.ScriptFile, item.Language, item.MethodName, args);
        }
    }
    return false;
}

std::unique_ptr<IScriptEngine> CMacroManager::CreateEngine(const QString& strLanguage, bool bQuiet) const
{
    std::unique_ptr<IScriptEngine> pEngine = m_factory ? m_factory(strLanguage) : nullptr;
    if (!pEngine)
    {
        return nullptr;
    }
    if (m_pHostObject)
    {
        pEngine->AddNamedObject(QString::fromLatin1(kAutomationObjectName),
                                QString::fromLatin1(kAutomationProgID), m_pHostObject);
    }
    if (bQuiet)
    {
        // A test load must not hold the program up: a top-level loop that never ends is stopped.
        pEngine->nTimeLimitMs = kTestLoadTimeLimitMs;
        pEngine->onEcho = [](const QString&) {};
        pEngine->onMessageBox = [](const QString&, int, const QString&) { return 1; };
    }
    else
    {
        pEngine->onEcho = onEcho;
        pEngine->onMessageBox = onMessageBox;
    }
    return pEngine;
}

bool CMacroManager::RunMethod(const QString& strFile, const QString& strLanguage, const QString& strMethod,
                              const std::vector<CAutoValue>& args)
{
    SRunGuard guard(m_iRunning);
    std::unique_ptr<IScriptEngine> pEngine = CreateEngine(strLanguage);
    if (!pEngine)
    {
        ShowMessage(QStringLiteral("There is no script engine for the language '%1' of %2.")
                        .arg(strLanguage, strFile));
        return false;
    }
    QString strText;
    QString strError;
    if (!ReadScriptFile(strFile, &strText, &strError))
    {
        ShowMessage(strError);
        return false;
    }
    SScriptError error;
    if (!pEngine->Load(strText, &error))
    {
        ShowMessage(kScriptLoadFailedText);
        return false;
    }
    CAutoValue result;
    if (!pEngine->Call(strMethod, args, &result, &error))
    {
        ShowMessage(ScriptErrorText(error));
        return false;
    }
    return true;
}
