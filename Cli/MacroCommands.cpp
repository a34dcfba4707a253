// Macros (JavaScript or VBScript files) run from the command line with the automation object at
// their disposal, as the Tools menu runs them in the window.
//
// macro run FILE METHOD [--map MAP] [--timeout SECONDS]
//
// - The language follows the file's extension (.js JScript, .vbs VBScript, case ignored).
// - The target of the global options is opened when one answers. A macro that needs no target
//   runs without one: the automation object then reports itself not connected and its target
//   methods fail with status -38. Why the connection failed is printed on standard error only when
//   the macro then called a method that needed the target.
// - MAP, when given, is the map of the node methods (GetNodeList, GetDestIDForNode, ...).
// - METHOD is called with no arguments. Standard output gets what the macro printed, one line for
//   each WScript.Echo / print / console.log, and the text of each message box (MsgBox, alert),
//   as it happens (a box is answered OK, a question Yes, Retry/Cancel with Cancel); then the
//   value METHOD returned on a line of its own: nothing for no value, numbers in decimal,
//   booleans as "true" or "false", strings as they are, and an array as its elements in that
//   form separated by single spaces.
// - Exit status 0 when the method ran; 1 for a script error (the load or the call), printed on
//   standard error as "Error:\t<message>\nCol:\t<column>\nLine:\t<line>"; 2 for bad usage, a file
//   that isn't a macro or can't be read.
// - --timeout stops a macro that runs longer than SECONDS (a script error, exit 1); one held inside
//   a single call that the engine can't break into ends the run two seconds later, also exit 1.
#include "CliCommand.h"
#include "CliMap.h"
#include "CliOptions.h"
#include "CliTarget.h"

#include "Automation.h"
#include "AutomationScriptObject.h"
#include "NetworkDocument.h"
#include "Probe.h"
#include "ScriptEngine.h"
#include "TargetConnection.h"
#include "UserInterface.h"

#include <QCoreApplication>
#include <QFile>
#include <QLocale>

#include <chrono>
#include <condition_variable>
#include <cstdio>
#include <cstdlib>
#include <mutex>
#include <thread>

namespace
{
// The client status of a method that needs the target when none is connected.
constexpr int32_t kNotConnectedToTarget = -38;

void PrintLine(FILE* pFile, const QString& strText)
{
    std::fputs(strText.toLocal8Bit().constData(), pFile);
    std::fputc('\n', pFile);
    std::fflush(pFile);
}

// The automation object of the run, noting whether the macro wanted a target that wasn't there.
class CCliAutomationObject final : public IScriptHostObject
{
public:
    explicit CCliAutomationObject(CAutomation& automation) : m_object(automation) {}
    QStringList MethodNames() const override { return m_object.MethodNames(); }
    bool Call(const QString& strMethod, const std::vector<CAutoValue>& args, CAutoValue* pResult,
              SAutoError* pError) override
    {
        if (m_object.Call(strMethod, args, pResult, pError))
        {
            return true;
        }
        m_bWantedTarget = m_bWantedTarget || pError->nStatus == kNotConnectedToTarget;
        return false;
    }
    bool WantedTarget() const { return m_bWantedTarget; }

private:
    CAutomationScriptObject m_object;
    bool m_bWantedTarget = false;
};

// Keeps the messages of a connection attempt, to be shown only if they turn out to matter.
class CHeldMessages final : public IUserInterface
{
public:
    explicit CHeldMessages(IUserInterface& next) : m_next(next) { SetUserInterface(this); }
    ~CHeldMessages() override { SetUserInterface(&m_next); }
    CHeldMessages(const CHeldMessages&) = delete;
    CHeldMessages& operator=(const CHeldMessages&) = delete;

    void ShowMessage(const QString& strText, const QString&, EMessageKind) override { texts << strText; }
    int Ask(const QString& strText, const QString& strTitle, bool bWithCancel) override
    {
        return m_next.Ask(strText, strTitle, bWithCancel);
    }
    void Beep() override {}
    void SetBusy(bool) override {}

    QStringList texts;

private:
    IUserInterface& m_next;
};

// The last resort of --timeout: an engine stops a script that outruns its time limit with a script
// error; if the run is still going a little later (a host call that hangs, a long WScript.Sleep),
// the process ends with the same exit status.
class CRunDeadline
{
public:
    explicit CRunDeadline(uint64_t ulSeconds)
    {
        if (ulSeconds == 0)
        {
            return;
        }
        m_thread = std::thread(
            [this, ulSeconds]
            {
                std::unique_lock<std::mutex> lock(m_mutex);
                if (!m_condition.wait_for(lock, std::chrono::seconds(ulSeconds) + kGrace,
                                          [this] { return m_bDone; }))
                {
                    std::fprintf(stderr, "The macro was stopped: it ran longer than %llu second%s.\n",
                                 static_cast<unsigned long long>(ulSeconds), ulSeconds == 1 ? "" : "s");
                    std::fflush(stdout);
                    std::_Exit(1);
                }
            });
    }
    ~CRunDeadline()
    {
        if (m_thread.joinable())
        {
            {
                std::lock_guard<std::mutex> lock(m_mutex);
                m_bDone = true;
            }
            m_condition.notify_all();
            m_thread.join();
        }
    }
    CRunDeadline(const CRunDeadline&) = delete;
    CRunDeadline& operator=(const CRunDeadline&) = delete;

private:
    static constexpr std::chrono::milliseconds kGrace{2000};
    std::mutex m_mutex;
    std::condition_variable m_condition;
    bool m_bDone = false;
    std::thread m_thread;
};

// The button a message box is answered with when nobody is there to press one: OK, Yes to a
// question (as the console answers questions), and never the button that asks to try again.
int MessageBoxAnswer(int iButtons)
{
    switch (iButtons & 0x7)
    {
    case 2: // Abort, Retry, Ignore
        return 5;
    case 3: // Yes, No, Cancel
    case 4: // Yes, No
        return 6;
    case 5: // Retry, Cancel
        return 2;
    default: // OK; OK, Cancel
        return 1;
    }
}

// A value returned by a macro as the run prints it.
QString ValueText(const CAutoValue& value)
{
    if (value.IsArray())
    {
        QStringList items;
        for (const CAutoValue& element : value.elements)
        {
            items << ValueText(element);
        }
        return items.join(QLatin1Char(' '));
    }
    switch (value.ElementType())
    {
    case eVtEmpty:
    case eVtVariant:
        return QString();
    case eVtBstr:
        return value.strValue;
    case eVtBool:
        return value.nValue ? QStringLiteral("true") : QStringLiteral("false");
    case eVtR8:
        return QString::number(value.dValue, 'g', QLocale::FloatingPointShortest);
    default:
        return QString::number(value.nValue);
    }
}

void EnsureApplication()
{
    if (!QCoreApplication::instance())
    {
        static int s_argc = 1;
        static char s_szName[] = "norvanta-cli";
        static char* s_argv[] = {s_szName, nullptr};
        static QCoreApplication s_application(s_argc, s_argv);
    }
}

int RunMacro(const SCliInvocation& invocation)
{
    const char* const pszUsage = "macro run FILE METHOD [--map MAP] [--timeout SECONDS]";
    const CCliOptions options(invocation.args, {"--map", "--timeout"}, {});
    if (!options.Ok() || options.Positional().size() != 2)
    {
        if (!options.Ok())
        {
            std::fprintf(stderr, "%s\n", options.Error().c_str());
        }
        return CliUsage(pszUsage);
    }
    uint64_t ulTimeout = 0;
    if (!options.Number("--timeout", 86400, &ulTimeout))
    {
        return 2;
    }
    const QString strFile = QString::fromStdString(options.Positional()[0]);
    const QString strMethod = QString::fromStdString(options.Positional()[1]);
    const QString strLanguage = ScriptLanguageOf(strFile);
    if (strLanguage.isEmpty())
    {
        PrintLine(stderr, QStringLiteral("Invalid script file type.  Must be '.vbs' or '.js'."));
        return 2;
    }
    QFile file(strFile);
    if (!file.open(QIODevice::ReadOnly))
    {
        PrintLine(stderr,
                  QStringLiteral("Unable to open the script file %1: %2").arg(strFile, file.errorString()));
        return 2;
    }
    const QString strText = QString::fromUtf8(file.readAll());
    file.close();

    EnsureApplication();
    std::unique_ptr<CNetworkDocument> pMap;
    if (options.Has("--map"))
    {
        pMap = std::make_unique<CNetworkDocument>();
        if (!LoadCommandMap(options.Value("--map"), *pMap))
        {
            return 1;
        }
    }

    // The target, when one answers; why not is kept for later.
    QStringList connectionFailure;
    CliConnection connection(nullptr, [](CTargetConnection*) {});
    {
        CHeldMessages held(UI());
        connection = pMap ? OpenMapTarget(*pMap) : OpenCliTarget();
        connectionFailure = held.texts;
    }

    SAutomationHooks hooks;
    CTargetConnection* pConnection = connection.get();
    hooks.isConnected = [pConnection] { return pConnection && pConnection->IsConnected(); };
    CNetworkDocument* pDocument = pMap.get();
    hooks.document = [pDocument] { return pDocument; };
    // The probe works on the map: a macro given one may set the probe up and take it down again
    // within its run.
    std::unique_ptr<CProbe> pProbe;
    if (pMap)
    {
        pProbe = std::make_unique<CProbe>(*pMap, hooks.isConnected);
        hooks.probe = [&pProbe] { return pProbe.get(); };
    }
    CAutomation automation(hooks);
    CCliAutomationObject object(automation);

    std::unique_ptr<IScriptEngine> pEngine = CreateScriptEngine(strLanguage);
    if (!pEngine)
    {
        PrintLine(stderr, QStringLiteral("No %1 engine in this build.").arg(strLanguage));
        return 1;
    }
    pEngine->nTimeLimitMs = static_cast<int>(ulTimeout * 1000);
    pEngine->onEcho = [](const QString& strLine) { PrintLine(stdout, strLine); };
    pEngine->onMessageBox = [](const QString& strText, int iButtons, const QString&)
    {
        PrintLine(stdout, strText);
        return MessageBoxAnswer(iButtons);
    };
    pEngine->AddNamedObject(QString::fromLatin1(kAutomationObjectName),
                            QString::fromLatin1(kAutomationProgID), &object);

    auto explainMissingTarget = [&]
    {
        if (object.WantedTarget())
        {
            for (const QString& strText : connectionFailure)
            {
                PrintLine(stderr, strText);
            }
        }
    };
    const CRunDeadline deadline(ulTimeout);
    SScriptError error;
    if (!pEngine->Load(strText, &error))
    {
        explainMissingTarget();
        PrintLine(stderr, ScriptErrorText(error));
        return 1;
    }
    CAutoValue result;
    const bool bCalled = pEngine->Call(strMethod, {}, &result, &error);
    explainMissingTarget();
    if (!bCalled)
    {
        PrintLine(stderr, ScriptErrorText(error));
        return 1;
    }
    if (result.vt != eVtEmpty)
    {
        PrintLine(stdout, ValueText(result));
    }
    return 0;
}
} // namespace

extern const SCliCommand g_aMacroCommands[] = {
    {"macro run", "FILE METHOD [--map MAP] [--timeout SECONDS]", RunMacro},
    {nullptr, nullptr, nullptr},
};
