// The macro manager's bindings: which binding an event or a menu command runs, the global set in
// the preferences under its exact keys, the map-specific set in the map file, and how a run
// reports a file that doesn't load, a method that isn't there and a file that can't be read.
// The engine here is a small double whose "language" declares functions with "function NAME" and
// fails to load at a line reading "syntax error", so these cases don't depend on either real
// engine; ScriptEnginesBindingTest runs the main paths on the real JavaScript engine.
#include "MacroBindings.h"
#include "NetworkDocument.h"
#include "Preferences.h"
#include "RecordingUserInterface.h"
#include "TestSupport.h"

#include <QCoreApplication>
#include <QDir>
#include <QFile>

#include <utility>

#include <gtest/gtest.h>

namespace
{
// The JavaScript engine wants an application object.
void EnsureApplication()
{
    if (!QCoreApplication::instance())
    {
        static int s_argc = 1;
        static char s_szName[] = "nv_test_client_scriptbindings";
        static char* s_argv[] = {s_szName, nullptr};
        static QCoreApplication s_application(s_argc, s_argv);
    }
}

// What the double engines did, in order.
struct SCallRecord
{
    QString strLanguage;
    QString strMethod;
    std::vector<CAutoValue> args;
};

struct SEngineLog
{
    std::vector<SCallRecord> calls;
    QStringList namedObjects; // "name|progID"
    int nEngines = 0;
};

class CFakeEngine final : public IScriptEngine
{
public:
    CFakeEngine(QString strLanguage, SEngineLog& log) : m_strLanguage(std::move(strLanguage)), m_log(log) {}

    QString Language() const override { return m_strLanguage; }
    void AddNamedObject(const QString& strName, const QString& strProgID, IScriptHostObject*) override
    {
        m_log.namedObjects << strName + QLatin1Char('|') + strProgID;
    }
    bool Load(const QString& strText, SScriptError* pError) override
    {
        const QStringList lines = strText.split(QLatin1Char('\n'));
        QStringList methods;
        for (int i = 0; i < lines.size(); ++i)
        {
            const QString strLine = lines[i].trimmed();
            if (strLine == QLatin1String("syntax error"))
            {
                *pError = {QStringLiteral("Syntax error"), i + 1, 1};
                return false;
            }
            if (strLine.startsWith(QLatin1String("function ")))
            {
                methods << strLine.mid(9).section(QLatin1Char('('), 0, 0).trimmed();
            }
        }
        m_methods = methods;
        return true;
    }
    bool HasMethod(const QString& strName) const override { return m_methods.contains(strName); }
    bool Call(const QString& strMethod, const std::vector<CAutoValue>& args, CAutoValue*,
              SScriptError* pError) override
    {
        if (!HasMethod(strMethod))
        {
            *pError = {QStringLiteral("'%1' is undefined").arg(strMethod), 0, 0};
            return false;
        }
        m_log.calls.push_back({m_strLanguage, strMethod, args});
        if (onEcho)
        {
            onEcho(strMethod);
        }
        return true;
    }

private:
    QString m_strLanguage;
    SEngineLog& m_log;
    QStringList m_methods;
};

// Stands for the automation object: the engine double only records that it was added.
class CHostObject final : public IScriptHostObject
{
public:
    QStringList MethodNames() const override { return {QStringLiteral("GetLastError")}; }
    bool Call(const QString&, const std::vector<CAutoValue>&, CAutoValue*, SAutoError*) override
    {
        return true;
    }
};

class ScriptBindingsTest : public ::testing::Test
{
protected:
    void SetUp() override
    {
        m_strDir = QString::fromStdString(nvtest::ProcessTempDir()) + QStringLiteral("/bindings");
        QDir().mkpath(m_strDir);
        m_manager.SetEngineFactory(
            [this](const QString& strLanguage) -> std::unique_ptr<IScriptEngine>
            {
                if (strLanguage != QLatin1String("JScript") && strLanguage != QLatin1String("VBScript"))
                {
                    return nullptr;
                }
                ++m_log.nEngines;
                return std::make_unique<CFakeEngine>(strLanguage, m_log);
            });
        m_manager.onEcho = [this](const QString& strText) { m_echoes << strText; };
        m_manager.SetHostObject(&m_host);
    }

    QString WriteScript(const QString& strName, const QString& strText) const
    {
        const QString strPath = m_strDir + QLatin1Char('/') + strName;
        QFile file(strPath);
        EXPECT_TRUE(file.open(QIODevice::WriteOnly | QIODevice::Truncate));
        file.write(strText.toUtf8());
        return strPath;
    }
    static SEventScriptItem Event(uint32_t ulID, const QString& strMethod, const QString& strFile,
                                  bool bEnabled)
    {
        SEventScriptItem item;
        item.EventID = ulID;
        item.MethodName = strMethod;
        item.ScriptFile = strFile;
        item.Language = ScriptLanguageOf(strFile);
        item.Enabled = bEnabled;
        return item;
    }
    static SMenuScriptItem Menu(const QString& strName, const QString& strMethod, const QString& strFile)
    {
        SMenuScriptItem item;
        item.MenuItemName = strName;
        item.MethodName = strMethod;
        item.ScriptFile = strFile;
        item.Language = ScriptLanguageOf(strFile);
        return item;
    }
    QStringList CalledMethods() const
    {
        QStringList methods;
        for (const SCallRecord& call : m_log.calls)
        {
            methods << call.strMethod;
        }
        return methods;
    }

    QString m_strDir;
    CHostObject m_host;
    SEngineLog m_log;
    QStringList m_echoes;
    CMacroManager m_manager;
    nvtest::CRecordingUserInterface m_ui;
};

TEST_F(ScriptBindingsTest, AnEnabledMapBindingHidesTheGlobalOneAndADisabledOneLetsItRun)
{
    const QString strFile = WriteScript(
        QStringLiteral("events.js"), QStringLiteral("function MapConnect() {}\nfunction GlobalConnect() {}\n"
                                                    "function GlobalClosing() {}\n"));
    m_manager.Global().SetEvent(Event(eMacroEventConnection, QStringLiteral("GlobalConnect"), strFile, true));
    m_manager.Global().SetEvent(Event(eMacroEventClosing, QStringLiteral("GlobalClosing"), strFile, false));
    m_manager.MapSpecific().SetEvent(
        Event(eMacroEventConnection, QStringLiteral("MapConnect"), strFile, true));

    // The map's binding runs, and only it.
    EXPECT_TRUE(m_manager.FireEvent(eMacroEventConnection));
    EXPECT_EQ(QStringList({"MapConnect"}), CalledMethods());
    EXPECT_EQ(1, m_log.nEngines);

    // Disabled in the map: the global binding runs instead.
    m_manager.MapSpecific().EventBindings[0].Enabled = false;
    EXPECT_TRUE(m_manager.FireEvent(eMacroEventConnection));
    EXPECT_EQ(QStringList({"MapConnect", "GlobalConnect"}), CalledMethods());

    // A disabled global binding and no map binding: nothing runs, and nothing is shown.
    EXPECT_FALSE(m_manager.FireEvent(eMacroEventClosing));
    EXPECT_FALSE(m_manager.FireEvent(eMacroEventDiscoveryDone));
    EXPECT_EQ(2u, m_log.calls.size());
    EXPECT_TRUE(m_ui.messages.isEmpty()) << m_ui.messages.join('|').toStdString();
    // Every run had the automation object, under its name and ProgID, and its output went out.
    EXPECT_EQ(QStringList({"Norvanta|Norvanta.Automation", "Norvanta|Norvanta.Automation"}),
              m_log.namedObjects)
        << "the host object must be added before each run";
    EXPECT_EQ(QStringList({"MapConnect", "GlobalConnect"}), m_echoes);
}

TEST_F(ScriptBindingsTest, MenuCommandsTakeIdsMapFirstAndRunTheirBindingWithoutArguments)
{
    const QString strFile = WriteScript(QStringLiteral("tools.vbs"),
                                        QStringLiteral("function Reset\nfunction Dump\nfunction Both\n"));
    m_manager.Global().SetMenuItem(Menu(QStringLiteral("Reset counters"), QStringLiteral("Reset"), strFile));
    m_manager.Global().SetMenuItem(Menu(QStringLiteral("Dump"), QStringLiteral("Dump"), strFile));
    m_manager.MapSpecific().SetMenuItem(Menu(QStringLiteral("Both"), QStringLiteral("Both"), strFile));
    m_manager.AssignCommandIDs();

    const std::vector<SMenuScriptItem> items = m_manager.MenuItems();
    ASSERT_EQ(3u, items.size());
    EXPECT_EQ(QStringLiteral("Both"), items[0].MenuItemName);
    EXPECT_EQ(QStringLiteral("Reset counters"), items[1].MenuItemName);
    EXPECT_EQ(QStringLiteral("Dump"), items[2].MenuItemName);
    for (size_t i = 0; i < items.size(); ++i)
    {
        EXPECT_EQ(kFirstMacroCommandID + static_cast<int>(i), items[i].iCommandID);
    }

    EXPECT_TRUE(m_manager.RunMenuScript(items[2].iCommandID));
    EXPECT_TRUE(m_manager.RunMenuScript(items[0].iCommandID));
    EXPECT_EQ(QStringList({"Dump", "Both"}), CalledMethods());
    EXPECT_TRUE(m_log.calls[0].args.empty());
    EXPECT_EQ(QStringLiteral("VBScript"), m_log.calls[0].strLanguage);
    // IDs that no binding has run nothing.
    EXPECT_FALSE(m_manager.RunMenuScript(kFirstMacroCommandID + 3));
    EXPECT_FALSE(m_manager.RunMenuScript(5));
    EXPECT_EQ(2u, m_log.calls.size());

    // A second binding of an item name replaces the first rather than adding a twin.
    m_manager.Global().SetMenuItem(Menu(QStringLiteral("dump"), QStringLiteral("Reset"), strFile));
    ASSERT_EQ(2u, m_manager.Global().MenuBindings.size());
    EXPECT_EQ(QStringLiteral("Reset"), m_manager.Global().MenuBindings[1].MethodName);
}

TEST_F(ScriptBindingsTest, FailuresAreShownAtTheRunWithTheirTextAndTheProgramGoesOn)
{
    const QString strGood = WriteScript(QStringLiteral("good.js"), QStringLiteral("function Present() {}\n"));
    const QString strBad =
        WriteScript(QStringLiteral("bad.js"), QStringLiteral("function Fine() {}\nsyntax error\n"));

    // A method the file doesn't have loads fine and fails at the call, with the engine's text.
    m_manager.Global().SetEvent(Event(eMacroEventConnection, QStringLiteral("Absent"), strGood, true));
    EXPECT_FALSE(m_manager.FireEvent(eMacroEventConnection));
    EXPECT_EQ(QStringList({"Error:\t'Absent' is undefined\nCol:\t0\nLine:\t0"}), m_ui.messages);

    // A file that doesn't load is reported at every run.
    m_manager.Global().SetEvent(Event(eMacroEventClosing, QStringLiteral("Fine"), strBad, true));
    EXPECT_FALSE(m_manager.FireEvent(eMacroEventClosing));
    EXPECT_FALSE(m_manager.FireEvent(eMacroEventClosing));
    EXPECT_EQ(kScriptLoadFailedText, m_ui.messages.value(1));
    EXPECT_EQ(kScriptLoadFailedText, m_ui.messages.value(2));

    // A file that has gone, and a language with no engine, say so by name.
    m_manager.Global().SetEvent(Event(eMacroEventDiscoveryDone, QStringLiteral("Present"),
                                      m_strDir + QStringLiteral("/gone.js"), true));
    EXPECT_FALSE(m_manager.FireEvent(eMacroEventDiscoveryDone));
    EXPECT_TRUE(m_ui.messages.value(3).startsWith(QStringLiteral("Unable to open script file ") + m_strDir +
                                                  QStringLiteral("/gone.js, error ")))
        << m_ui.messages.value(3).toStdString();
    SEventScriptItem perl = Event(eMacroEventWatchTrigger, QStringLiteral("Present"), strGood, true);
    perl.Language = QStringLiteral("PerlScript");
    m_manager.Global().SetEvent(perl);
    EXPECT_FALSE(m_manager.FireEvent(eMacroEventWatchTrigger));
    EXPECT_TRUE(m_ui.messages.value(4).contains(QStringLiteral("PerlScript")))
        << m_ui.messages.value(4).toStdString();
    EXPECT_TRUE(m_log.calls.empty());

    // After all that the good binding still runs.
    m_manager.Global().EventBindings[0].MethodName = QStringLiteral("Present");
    EXPECT_TRUE(m_manager.FireEvent(eMacroEventConnection));
    EXPECT_EQ(QStringList({"Present"}), CalledMethods());
    EXPECT_FALSE(m_manager.IsRunning());
}

TEST_F(ScriptBindingsTest, AnEventRaisedWhileAMacroRunsIsDropped)
{
    const QString strFile = WriteScript(QStringLiteral("nested.js"),
                                        QStringLiteral("function Outer() {}\nfunction Inner() {}\n"));
    m_manager.Global().SetEvent(Event(eMacroEventConnection, QStringLiteral("Outer"), strFile, true));
    m_manager.Global().SetEvent(Event(eMacroEventWatchTrigger, QStringLiteral("Inner"), strFile, true));
    bool bNestedRan = true;
    m_manager.onEcho = [&](const QString& strText)
    {
        if (strText == QLatin1String("Outer"))
        {
            EXPECT_TRUE(m_manager.IsRunning());
            bNestedRan = m_manager.FireEvent(eMacroEventWatchTrigger);
        }
    };
    EXPECT_TRUE(m_manager.FireEvent(eMacroEventConnection));
    EXPECT_FALSE(bNestedRan);
    EXPECT_EQ(QStringList({"Outer"}), CalledMethods());
    // Once the run is over the event runs again.
    EXPECT_TRUE(m_manager.FireEvent(eMacroEventWatchTrigger));
}

TEST_F(ScriptBindingsTest, TheGlobalSetRoundTripsThroughThePreferencesUnderItsKeys)
{
    SMacroBindingSet set;
    set.ScriptFiles = {QStringLiteral("/s/a.js"), QStringLiteral("/s/b.vbs")};
    set.MenuBindings = {Menu(QStringLiteral("Reset"), QStringLiteral("DoReset"), QStringLiteral("/s/b.vbs")),
                        Menu(QStringLiteral("Dump"), QStringLiteral("DoDump"), QStringLiteral("/s/a.js"))};
    set.EventBindings = {
        Event(eMacroEventWatchTrigger, QStringLiteral("OnWatch"), QStringLiteral("/s/a.js"), true),
        Event(eMacroEventClosing, QStringLiteral("OnClose"), QStringLiteral("/s/b.vbs"), false)};
    ASSERT_TRUE(SaveGlobalBindings(set));
    ReopenPreferences();

    const QString kMenu = QStringLiteral("MenuScripts");
    const QString kEvent = QStringLiteral("EventScripts");
    EXPECT_EQ(2u, GetPreference(kMenu, QStringLiteral("ScriptFileCount"), 0u));
    EXPECT_EQ(QStringLiteral("/s/b.vbs"), GetPreference(kMenu, QStringLiteral("ScriptFileName1"), ""));
    EXPECT_EQ(2u, GetPreference(kMenu, QStringLiteral("MenuScriptCount"), 0u));
    EXPECT_EQ(QStringLiteral("Dump"), GetPreference(kMenu, QStringLiteral("MenuItemName1"), ""));
    EXPECT_EQ(QStringLiteral("DoReset"), GetPreference(kMenu, QStringLiteral("MethodName0"), ""));
    EXPECT_EQ(QStringLiteral("/s/b.vbs"), GetPreference(kMenu, QStringLiteral("ScriptFile0"), ""));
    EXPECT_EQ(QStringLiteral("JScript"), GetPreference(kMenu, QStringLiteral("Language1"), ""));
    EXPECT_EQ(2u, GetPreference(kEvent, QStringLiteral("EventScriptCount"), 0u));
    EXPECT_EQ(4u, GetPreference(kEvent, QStringLiteral("EventID0"), 0u));
    EXPECT_EQ(QStringLiteral("OnClose"), GetPreference(kEvent, QStringLiteral("MethodName1"), ""));
    EXPECT_EQ(QStringLiteral("/s/a.js"), GetPreference(kEvent, QStringLiteral("ScriptFile0"), ""));
    EXPECT_EQ(QStringLiteral("VBScript"), GetPreference(kEvent, QStringLiteral("Language1"), ""));
    EXPECT_EQ(1u, GetPreference(kEvent, QStringLiteral("Enabled0"), 9u));
    EXPECT_EQ(0u, GetPreference(kEvent, QStringLiteral("Enabled1"), 9u));

    CMacroManager manager;
    manager.LoadGlobal();
    EXPECT_EQ(set.ScriptFiles, manager.Global().ScriptFiles);
    EXPECT_TRUE(manager.Global().SameBindings(set));
    EXPECT_TRUE(IsMacroCommandID(manager.Global().MenuBindings[1].iCommandID));

    // A smaller set leaves no keys of the entries it dropped.
    set.ScriptFiles.removeLast();
    set.MenuBindings.pop_back();
    set.EventBindings.pop_back();
    ASSERT_TRUE(SaveGlobalBindings(set));
    ReopenPreferences();
    EXPECT_EQ(QStringLiteral("-"), GetPreference(kMenu, QStringLiteral("ScriptFileName1"), "-"));
    EXPECT_EQ(QStringLiteral("-"), GetPreference(kMenu, QStringLiteral("MenuItemName1"), "-"));
    EXPECT_EQ(99u, GetPreference(kEvent, QStringLiteral("EventID1"), 99u));
    const SMacroBindingSet reread = LoadGlobalBindings();
    EXPECT_TRUE(reread.SameBindings(set));
    EXPECT_EQ(QStringList({"/s/a.js"}), reread.ScriptFiles);
}

TEST_F(ScriptBindingsTest, TheMapSetIsSavedInTheMapFileAndTakenWhenAMapIsOpened)
{
    m_manager.MapSpecific().AddScriptFile(QStringLiteral("/m/unbound.js"));
    m_manager.MapSpecific().AddScriptFile(QStringLiteral("/m/map.js"));
    m_manager.MapSpecific().AddScriptFile(QStringLiteral("/m/t.vbs"));
    m_manager.MapSpecific().SetEvent(
        Event(eMacroEventDiscoveryDone, QStringLiteral("Found"), QStringLiteral("/m/map.js"), false));
    m_manager.MapSpecific().SetMenuItem(
        Menu(QStringLiteral("Tidy"), QStringLiteral("Tidy"), QStringLiteral("/m/t.vbs")));
    CNetworkDocument document;
    m_manager.PutMap(document);
    // The map's lists match the set: nothing is taken, and the unbound file stays.
    EXPECT_FALSE(m_manager.TakeMap(document));
    EXPECT_EQ(3, m_manager.MapSpecific().ScriptFiles.size());

    const QString strPath = m_strDir + QStringLiteral("/bound.nvm");
    ASSERT_TRUE(document.SaveAs(strPath));
    CNetworkDocument reopened;
    ASSERT_TRUE(reopened.Open(strPath));
    EXPECT_TRUE(MapBindings(reopened).SameBindings(m_manager.MapSpecific()));

    // Another map replaces the set, and its files are those its bindings use.
    CMacroManager other;
    other.Global().SetMenuItem(Menu(QStringLiteral("Global"), QStringLiteral("G"), QStringLiteral("/g.js")));
    EXPECT_TRUE(other.TakeMap(reopened));
    EXPECT_EQ(QStringList({"/m/map.js", "/m/t.vbs"}), other.MapSpecific().ScriptFiles);
    ASSERT_EQ(1u, other.MapSpecific().EventBindings.size());
    EXPECT_FALSE(other.MapSpecific().EventBindings[0].Enabled);
    const std::vector<SMenuScriptItem> items = other.MenuItems();
    ASSERT_EQ(2u, items.size());
    EXPECT_EQ(QStringLiteral("Tidy"), items[0].MenuItemName);
    EXPECT_EQ(kFirstMacroCommandID, items[0].iCommandID);
    // A new, empty map empties the set.
    EXPECT_TRUE(other.TakeMap(CNetworkDocument()));
    EXPECT_TRUE(other.MapSpecific().EventBindings.empty());
    EXPECT_EQ(1u, other.MenuItems().size());
}

TEST_F(ScriptBindingsTest, RemovingAFileTakesItsBindingsAlong)
{
    SMacroBindingSet set;
    set.AddScriptFile(QStringLiteral("/a.js"));
    EXPECT_FALSE(set.AddScriptFile(QStringLiteral("/a.js")));
    set.AddScriptFile(QStringLiteral("/b.js"));
    set.SetEvent(Event(eMacroEventConnection, QStringLiteral("A"), QStringLiteral("/a.js"), true));
    set.SetEvent(Event(eMacroEventClosing, QStringLiteral("B"), QStringLiteral("/b.js"), true));
    set.SetMenuItem(Menu(QStringLiteral("A"), QStringLiteral("A"), QStringLiteral("/a.js")));
    EXPECT_EQ(2, set.BindingsOf(QStringLiteral("/a.js")));
    set.RemoveScriptFile(QStringLiteral("/a.js"));
    EXPECT_EQ(QStringList({"/b.js"}), set.ScriptFiles);
    EXPECT_TRUE(set.MenuBindings.empty());
    ASSERT_EQ(1u, set.EventBindings.size());
    EXPECT_EQ(QStringLiteral("B"), set.EventBindings[0].MethodName);
    // One binding per event: a second for the same event replaces the first.
    set.SetEvent(Event(eMacroEventClosing, QStringLiteral("C"), QStringLiteral("/b.js"), false));
    ASSERT_EQ(1u, set.EventBindings.size());
    EXPECT_EQ(QStringLiteral("C"), set.EventBindings[0].MethodName);
}

// Confirms every name but those it is told the script lacks.
class CNamesEngine final : public IScriptEngine
{
public:
    CNamesEngine(QString strLanguage, QStringList missing)
        : m_strLanguage(std::move(strLanguage)), m_missing(std::move(missing))
    {
    }
    QString Language() const override { return m_strLanguage; }
    void AddNamedObject(const QString&, const QString&, IScriptHostObject*) override {}
    bool Load(const QString&, SScriptError*) override { return true; }
    bool HasMethod(const QString& strName) const override { return !m_missing.contains(strName); }
    bool Call(const QString&, const std::vector<CAutoValue>&, CAutoValue*, SScriptError*) override
    {
        return false;
    }

private:
    QString m_strLanguage;
    QStringList m_missing;
};

TEST(ScriptBindingValuesTest, TheMethodsOfAScriptAreItsDeclaredFunctionsTheEngineHas)
{
    const QString strJScript = QStringLiteral("var x = 1; // function Commented() is still a candidate\n"
                                              "function Connect(a, b) {\n  function inner() {}\n}\n"
                                              "OnTrigger = function (args) {};\nvar notAFunction = 3;\n"
                                              "function Connect() {}\n");
    EXPECT_EQ(QStringList({"Connect", "OnTrigger"}),
              ScriptMethodNames(CNamesEngine(QStringLiteral("JScript"), {"Commented", "inner"}), strJScript));
    const QString strVBScript =
        QStringLiteral("Dim x\nSub OnConnect()\nEnd Sub\n  private function Helper(a)\n"
                       "End Function\nx = \"Sub NotOne\"\nPublic Sub Tidy\nEnd Sub\n");
    EXPECT_EQ(QStringList({"OnConnect", "Helper", "Tidy"}),
              ScriptMethodNames(CNamesEngine(QStringLiteral("VBScript"), {}), strVBScript));
}

// The same paths on the real JavaScript engine, with the output caught from WScript.Echo.
TEST(ScriptEnginesBindingTest, RealScriptsReportAtTheRunAndGetTheWatchArray)
{
    EnsureApplication();
    nvtest::CRecordingUserInterface ui;
    const QString strDir = QString::fromStdString(nvtest::ProcessTempDir());
    const QString strGood = strDir + QStringLiteral("/real.js");
    const QString strBad = strDir + QStringLiteral("/real-bad.js");
    for (const auto& [strPath, strText] :
         {std::pair{strGood,
                    QStringLiteral("WScript.Echo('loaded');\n"
                                   "function OnWatch(a) { WScript.Echo(a.length + ' ' + a[0] + ' ' + "
                                   "typeof a[1] + ' ' + a[1] + ' ' + a[2]); }\n")},
          std::pair{strBad, QStringLiteral("function OnWatch(a) {\n  var = 1;\n}\n")}})
    {
        QFile file(strPath);
        ASSERT_TRUE(file.open(QIODevice::WriteOnly | QIODevice::Truncate));
        file.write(strText.toUtf8());
    }
    CMacroManager manager;
    QStringList echoes;
    manager.onEcho = [&echoes](const QString& strText) { echoes << strText; };

    manager.Global().SetEvent({eMacroEventWatchTrigger, QStringLiteral("OnWatch"), strGood, "JScript", true});
    const CAutoValue array =
        MacroArgumentArray({QVariant::fromValue<uint32_t>(4000000000u),
                            QVariant(QStringLiteral("Port 1 CSR")), QVariant::fromValue<int32_t>(-3)});
    EXPECT_TRUE(manager.FireEvent(eMacroEventWatchTrigger, {array}));
    EXPECT_EQ(QStringList({"loaded", "3 4000000000 string Port 1 CSR -3"}), echoes);
    EXPECT_TRUE(ui.messages.isEmpty()) << ui.messages.join('|').toStdString();

    // A method the file lacks: the file loads (its top-level code runs), the call fails with the
    // engine's text.
    manager.Global().SetEvent({eMacroEventClosing, QStringLiteral("OnClosing"), strGood, "JScript", true});
    EXPECT_FALSE(manager.FireEvent(eMacroEventClosing));
    EXPECT_EQ(QStringLiteral("loaded"), echoes.back());
    ASSERT_EQ(1, ui.messages.size());
    EXPECT_TRUE(ui.messages[0].startsWith(QStringLiteral("Error:\t"))) << ui.messages[0].toStdString();
    EXPECT_TRUE(ui.messages[0].contains(QStringLiteral("OnClosing"))) << ui.messages[0].toStdString();
    EXPECT_TRUE(ui.messages[0].contains(QStringLiteral("\nCol:\t"))) << ui.messages[0].toStdString();

    // A syntax error: the run stops at the load.
    manager.Global().SetEvent({eMacroEventClosing, QStringLiteral("OnWatch"), strBad, "JScript", true});
    EXPECT_FALSE(manager.FireEvent(eMacroEventClosing));
    EXPECT_EQ(QStringList({ui.messages[0], kScriptLoadFailedText}), ui.messages);

    // A VBScript handler of the map's set gets the same array, and hides the global handler.
    const QString strVbs = strDir + QStringLiteral("/real.vbs");
    {
        QFile file(strVbs);
        ASSERT_TRUE(file.open(QIODevice::WriteOnly | QIODevice::Truncate));
        file.write("Sub OnWatch(a)\n  WScript.Echo UBound(a) & \" \" & a(0) & \" \" & a(1)\nEnd Sub\n");
    }
    manager.MapSpecific().SetEvent(
        {eMacroEventWatchTrigger, QStringLiteral("OnWatch"), strVbs, "VBScript", true});
    echoes.clear();
    EXPECT_TRUE(manager.FireEvent(eMacroEventWatchTrigger, {array}));
    EXPECT_EQ(QStringList({"2 4000000000 Port 1 CSR"}), echoes);
}

TEST(ScriptBindingValuesTest, TheWatchArgumentsBecomeOneArrayOfTypedVariants)
{
    const QVariantList values = {QVariant::fromValue<int32_t>(-2), QVariant::fromValue<uint32_t>(0xFFFFFFFFu),
                                 QVariant(QStringLiteral("Port 0 Error and Status CSR")),
                                 QVariant::fromValue<uint8_t>(7)};
    const CAutoValue array = MacroArgumentArray(values);
    EXPECT_TRUE(array.IsArray());
    EXPECT_EQ(eVtVariant, array.ElementType());
    ASSERT_EQ(4u, array.elements.size());
    EXPECT_EQ(eVtInt, array.elements[0].vt);
    EXPECT_EQ(-2, array.elements[0].nValue);
    EXPECT_EQ(eVtUI4, array.elements[1].vt);
    EXPECT_EQ(0xFFFFFFFFll, array.elements[1].nValue);
    EXPECT_EQ(eVtBstr, array.elements[2].vt);
    EXPECT_EQ(QStringLiteral("Port 0 Error and Status CSR"), array.elements[2].strValue);
    EXPECT_EQ(eVtUI1, array.elements[3].vt);
    EXPECT_EQ(7, array.elements[3].nValue);
}

TEST(ScriptBindingValuesTest, EventsHaveTheirLabelsAndCommandIdsStayInTheirRange)
{
    EXPECT_EQ((std::vector<uint32_t>{1, 3, 4, 5}), MacroEventIDs());
    EXPECT_EQ(QStringLiteral("Connect/Disconnect"), MacroEventLabel(1));
    EXPECT_EQ(QStringLiteral("Discovery Complete"), MacroEventLabel(3));
    EXPECT_EQ(QStringLiteral("Watch Trigger"), MacroEventLabel(4));
    EXPECT_EQ(QStringLiteral("Application Closing"), MacroEventLabel(5));
    EXPECT_EQ(QStringLiteral("Event 9"), MacroEventLabel(9));
    EXPECT_FALSE(IsMacroCommandID(kFirstMacroCommandID - 1));
    EXPECT_FALSE(IsMacroCommandID(kFirstMacroCommandID + kMaxMacroCommands));
}
} // namespace
