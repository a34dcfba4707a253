// Macros bound to the program: methods of the user's VBScript and JScript files that run from
// items of the Tools menu ("General Utility Macros") or when the program raises an event ("Event
// Handler Macros"). Bindings come in two sets: the global one, kept in the preferences, and the
// map-specific one, kept in the map file. The macro manager holds both, tries the map-specific set
// first, and runs a binding in a fresh engine with the automation object at the script's disposal.
#pragma once

#include "AutoValue.h"
#include "AutomationScriptObject.h"
#include "ScriptBindings.h"
#include "ScriptEngine.h"

#include <QString>
#include <QStringList>
#include <QVariantList>

#include <cstdint>
#include <functional>
#include <memory>
#include <vector>

class CNetworkDocument;

// The events the program raises, by their IDs.
enum EMacroEvent : uint32_t
{
    eMacroEventConnection = 1,    // a connection to a target was made or dropped; no arguments
    eMacroEventDiscoveryDone = 3, // an active or passive discovery ended; no arguments
    eMacroEventWatchTrigger = 4,  // a watch item's trigger fired; one array of 17 values
    eMacroEventClosing = 5,       // the main window is closing; no arguments
};

// The events a binding can be made for, in the order the "Manage Scripts" dialog offers them.
const std::vector<uint32_t>& MacroEventIDs();
// The label of an event in the "Event" column; "Event %u" for an ID the program doesn't raise.
QString MacroEventLabel(uint32_t ulEventID);

// Menu bindings get command IDs from this range, far above the shell's ECommand values.
constexpr int kFirstMacroCommandID = 0x8000;
constexpr int kMaxMacroCommands = 0x1000;
constexpr bool IsMacroCommandID(int iCommandID)
{
    return iCommandID >= kFirstMacroCommandID && iCommandID < kFirstMacroCommandID + kMaxMacroCommands;
}

// The texts the manager and the dialog show.
inline const QString kScriptLoadFailedText =
    QStringLiteral("Script file contains errors.  Unable to run script.");
inline const QString kInvalidScriptTypeText =
    QStringLiteral("Invalid script file type.  Must be '.vbs' or '.js'.");
inline const QString kNotLoadedSuffix = QStringLiteral("-[Contains errors. Not loaded.]");
inline const QString kReplaceBindingText =
    QStringLiteral("Do you want to replace the existing entry with this one?");

// One set of bindings: the script files the person added, the menu bindings and the event
// bindings. An event has at most one binding in a set, and a menu item name at most one.
struct SMacroBindingSet
{
    QStringList ScriptFiles;
    std::vector<SMenuScriptItem> MenuBindings;
    std::vector<SEventScriptItem> EventBindings;

    // Index of the binding of an event (enabled or not), or -1.
    int FindEvent(uint32_t ulEventID) const;
    // Index of the menu binding with that item name (case ignored), or -1.
    int FindMenuItem(const QString& strMenuItemName) const;
    // Index of the menu binding with that command ID, or -1.
    int FindCommand(int iCommandID) const;
    // Adds a file once (paths compared as given); false when it is there already.
    bool AddScriptFile(const QString& strPath);
    // How many bindings of either kind use a file.
    int BindingsOf(const QString& strPath) const;
    // Removes a file and every binding that uses it.
    void RemoveScriptFile(const QString& strPath);
    // Puts a binding in, replacing the one of the same event or menu item name.
    void SetEvent(const SEventScriptItem& binding);
    void SetMenuItem(const SMenuScriptItem& binding);

    bool SameBindings(const SMacroBindingSet& other) const;
};

// The global set in the preferences: section "MenuScripts" with "ScriptFileCount",
// "ScriptFileName%d", "MenuScriptCount", "MenuItemName%d", "MethodName%d", "ScriptFile%d",
// "Language%d"; section "EventScripts" with "EventScriptCount", "EventID%d", "MethodName%d",
// "ScriptFile%d", "Language%d", "Enabled%d" (1 or 0). The numbers count from 0.
SMacroBindingSet LoadGlobalBindings();
// Writes the set and removes the keys of entries beyond it; false when the store can't be written
// (the store has said why).
bool SaveGlobalBindings(const SMacroBindingSet& set);

// The map-specific set as the map file carries it: its menu and event bindings. The map keeps no
// list of files, so the set's files are those its bindings use, in order of first use.
SMacroBindingSet MapBindings(const CNetworkDocument& document);
// Writes the bindings into the map's lists.
void StoreMapBindings(const SMacroBindingSet& set, CNetworkDocument& document);

// The functions a loaded script defines: the names its text declares ("function f" and "f =
// function" in JScript, "Sub f" and "Function f" in VBScript) that the engine confirms it has.
QStringList ScriptMethodNames(const IScriptEngine& engine, const QString& strText);
// The watch event's values as the one array argument a handler receives: a one-dimensional array
// of variants, each with its own type (19 for 32-bit unsigned, 22 for 32-bit signed, 17 for a
// byte, 8 for a string).
CAutoValue MacroArgumentArray(const QVariantList& values);

// Reads a script file whole. False with *pstrError set to the text to show when it can't be read.
bool ReadScriptFile(const QString& strPath, QString* pstrText, QString* pstrError);

// The longest a test load of a script file may run (its top-level code), in milliseconds.
constexpr int kTestLoadTimeLimitMs = 5000;

// The single macro manager of the application.
class CMacroManager
{
public:
    using EngineFactory = std::function<std::unique_ptr<IScriptEngine>(const QString& strLanguage)>;

    CMacroManager();

    SMacroBindingSet& Global() { return m_global; }
    const SMacroBindingSet& Global() const { return m_global; }
    SMacroBindingSet& MapSpecific() { return m_map; }
    const SMacroBindingSet& MapSpecific() const { return m_map; }

    // Reads the global set from the preferences, and writes it back.
    void LoadGlobal();
    bool SaveGlobal() const;
    // Takes the map-specific set from a map when the map's lists differ from it (a map was opened
    // or started afresh); true when the set changed. Files without a binding stay in the set as
    // long as the map's lists match it.
    bool TakeMap(const CNetworkDocument& document);
    // Writes the map-specific set into the map's lists.
    void PutMap(CNetworkDocument& document) const;

    // Gives the menu bindings their command IDs: map-specific ones first, then the global ones.
    void AssignCommandIDs();
    // The menu bindings as the Tools menu lists them, with their command IDs.
    std::vector<SMenuScriptItem> MenuItems() const;

    // Runs the menu binding of a command ID: the map-specific set's, else the global set's. False
    // when there is none, or it failed (the failure has been shown).
    bool RunMenuScript(int iCommandID);
    // Runs the binding of an event: the map-specific set's when it has one enabled, else the
    // global set's when it has one enabled. At most one runs. An event raised while a macro runs
    // (from a timer during its message box, say) is dropped, so handlers never pile up. False
    // when nothing ran or the run failed.
    bool FireEvent(uint32_t ulEventID, const std::vector<CAutoValue>& args = {});
    // Runs a method of a script file: loads the file in a new engine of the language with the
    // automation object, calls the method with the arguments, and shows any failure.
    bool RunMethod(const QString& strFile, const QString& strLanguage, const QString& strMethod,
                   const std::vector<CAutoValue>& args);
    bool IsRunning() const { return m_iRunning > 0; }

    // An engine of a language with the automation object added and the output hooks set; null
    // for a language there is no engine for. bQuiet drops what the script echoes and limits the
    // time it may take to kTestLoadTimeLimitMs (a load made only to test a file); a run has no
    // limit.
    std::unique_ptr<IScriptEngine> CreateEngine(const QString& strLanguage, bool bQuiet = false) const;

    // The automation object the scripts get as "Norvanta"; none leaves scripts without it.
    void SetHostObject(IScriptHostObject* pObject) { m_pHostObject = pObject; }
    IScriptHostObject* HostObject() const { return m_pHostObject; }
    // Replaces the engine factory (CreateScriptEngine unless replaced).
    void SetEngineFactory(EngineFactory factory) { m_factory = std::move(factory); }

    // Where the scripts' output goes (WScript.Echo, print) and how MsgBox/alert ask; handed to
    // every engine a run makes.
    std::function<void(const QString&)> onEcho;
    std::function<int(const QString& strText, int iButtons, const QString& strTitle)> onMessageBox;

private:
    SMacroBindingSet m_global;
    SMacroBindingSet m_map;
    IScriptHostObject* m_pHostObject = nullptr;
    EngineFactory m_factory;
    int m_iRunning = 0;
};
