// The JavaScript engine behind the script host interface, on QJSEngine.
//
// The globals a macro sees are made by a small prelude in JavaScript (kPrelude): print(),
// console.log(), alert(), WScript.Echo(), ActiveXObject and VBArray, and one object per host
// object whose functions call through a bridge QObject into C++. A host failure comes back from
// the bridge as a record and the prelude throws it as an Error with the text as message and the
// negated client status as number, so a macro's try/catch sees both.
//
// Positions: QJSEngine's stack trace of evaluate() gives a syntax error's line and column. For a
// run-time error Qt 6.4 knows only the line (its stack frames have no column: -1), so the column
// of a run-time error is 0, which the script host reads as "unknown".
#include "JScriptEngine.h"

#include <QJSEngine>
#include <QJSValue>
#include <QObject>
#include <QPointer>

#include <atomic>
#include <chrono>
#include <cmath>
#include <condition_variable>
#include <mutex>
#include <thread>

namespace
{
// The names the engine gives the macro's text and its own prelude in stack traces.
const QString kMacroFile = QStringLiteral("macro.js");
const QString kHostFile = QStringLiteral("norvanta-host.js");

// Error number of "Automation server can't create object" (the control error 429 as HRESULT).
constexpr int kCantCreateObject = -2146827859;
// Error number of a value that can't be handed to a host object ("Type mismatch", error 13).
constexpr int kTypeMismatch = 13;

// The prelude. It is a function of the bridge and the global object, and gives back an object with
// the two entries the engine needs: addHost(index, name, progID, methods) and call(f, args), which
// calls a macro's function and says whether it threw.
const char* const kPrelude = R"JS(
(function (bridge, global) {
    'use strict';
    var hostFile = 'norvanta-host.js';
    // The line of the macro that called into the host: the first stack frame outside the prelude.
    function callerLine(stack) {
        var frames = String(stack).split('\n');
        for (var i = 0; i < frames.length; ++i) {
            if (frames[i].indexOf(hostFile) < 0) {
                var m = /:(\d+)$/.exec(frames[i]);
                if (m) {
                    return Number(m[1]);
                }
            }
        }
        return 0;
    }
    function raise(message, number) {
        var e = new Error(message);
        e.number = number;
        e.description = message;
        var line = callerLine(e.stack);
        if (line > 0) {
            e.lineNumber = line;
        }
        throw e;
    }
    function text(args) {
        return Array.prototype.map.call(args, function (a) { return String(a); }).join(' ');
    }
    function echo() { bridge.echo(text(arguments)); }

    global.print = echo;
    global.console = { log: echo, info: echo, warn: echo, error: echo, debug: echo };
    global.alert = function (message) {
        bridge.messageBox(message === undefined ? '' : String(message), 0, '');
    };

    var byProgID = {};
    global.ActiveXObject = function ActiveXObject(progID) {
        var o = byProgID[String(progID).toLowerCase()];
        if (o === undefined) {
            raise("Automation server can't create object", -2146827859);
        }
        return o;
    };
    global.WScript = {
        Echo: echo,
        CreateObject: function (progID) { return new global.ActiveXObject(progID); }
    };
    // Arrays from the host are plain arrays already; VBArray lets macros written for engines that
    // hand over safe arrays run unchanged.
    global.VBArray = function VBArray(a) {
        if (!(this instanceof VBArray)) {
            return new VBArray(a);
        }
        this.items = Array.prototype.slice.call(a instanceof VBArray ? a.items : a);
    };
    global.VBArray.prototype.toArray = function () { return this.items.slice(); };
    global.VBArray.prototype.lbound = function () { return 0; };
    global.VBArray.prototype.ubound = function () { return this.items.length - 1; };
    global.VBArray.prototype.getItem = function (i) { return this.items[i]; };
    global.VBArray.prototype.dimensions = function () { return 1; };

    return {
        addHost: function (index, name, progID, methods) {
            var target = {};
            var byLower = {};
            methods.forEach(function (method) {
                var f = function () {
                    var r = bridge.invoke(index, method, Array.prototype.slice.call(arguments));
                    if (r.failed) {
                        raise(r.message, r.number);
                    }
                    return r.value;
                };
                target[method] = f;
                byLower[method.toLowerCase()] = f;
            });
            // Method names as the host spells them, and in any other case too.
            var o = new Proxy(target, {
                get: function (t, p) {
                    if (typeof p !== 'string' || p in t) {
                        return t[p];
                    }
                    return byLower[p.toLowerCase()];
                },
                has: function (t, p) {
                    return p in t || (typeof p === 'string' && p.toLowerCase() in byLower);
                }
            });
            if (name) {
                global[name] = o;
            }
            if (progID) {
                byProgID[progID.toLowerCase()] = o;
            }
        },
        call: function (f, args) {
            try {
                return { threw: false, value: f.apply(undefined, args) };
            } catch (e) {
                return { threw: true, value: e };
            }
        }
    };
})
)JS";

// The names of the typed arrays and the element type each gives the host.
uint16_t TypedArrayElementType(const QString& strConstructor)
{
    static const struct
    {
        const char* pszName;
        uint16_t vt;
    } kTypes[] = {{"Int32Array", eVtI4},   {"Int16Array", eVtI2},         {"Int8Array", eVtI1},
                  {"Uint8Array", eVtUI1},  {"Uint8ClampedArray", eVtUI1}, {"Uint16Array", eVtUI2},
                  {"Uint32Array", eVtUI4}, {"Float32Array", eVtR8},       {"Float64Array", eVtR8}};
    for (const auto& type : kTypes)
    {
        if (strConstructor == QLatin1String(type.pszName))
        {
            return type.vt;
        }
    }
    return eVtEmpty;
}

CAutoValue NumberFromJs(double d)
{
    if (std::isfinite(d) && d == std::trunc(d) && d >= -2147483648.0 && d <= 2147483647.0)
    {
        return CAutoValue::Number(eVtI4, static_cast<int64_t>(d));
    }
    return CAutoValue::Real(d);
}

// A scalar of JavaScript as a value of the host; false for objects and functions.
bool ScalarFromJs(const QJSValue& value, CAutoValue* pValue)
{
    if (value.isUndefined() || value.isNull())
    {
        *pValue = CAutoValue();
    }
    else if (value.isBool())
    {
        *pValue = CAutoValue::Number(eVtBool, value.toBool() ? 1 : 0);
    }
    else if (value.isNumber())
    {
        *pValue = NumberFromJs(value.toNumber());
    }
    else if (value.isString())
    {
        *pValue = CAutoValue::Text(value.toString());
    }
    else
    {
        return false;
    }
    return true;
}

// A JavaScript value as a value of the host. Arrays become arrays of variants and typed arrays
// arrays of their element type, both marked by reference when bByRef (arguments to the host, whose
// write methods take their data that way). False for what has no form in the host: objects,
// functions, arrays of arrays.
bool ValueFromJs(const QJSValue& value, bool bByRef, CAutoValue* pValue)
{
    if (ScalarFromJs(value, pValue))
    {
        return true;
    }
    if (!value.isObject() || value.isCallable())
    {
        return false;
    }
    const uint16_t vtTyped =
        value.isArray()
            ? static_cast<uint16_t>(eVtVariant)
            : TypedArrayElementType(
                  value.property(QStringLiteral("constructor")).property(QStringLiteral("name")).toString());
    if (vtTyped == eVtEmpty)
    {
        return false;
    }
    CAutoValue array;
    array.vt = static_cast<uint16_t>(vtTyped | eVtArray | (bByRef ? eVtByRef : 0));
    const quint32 nLength = value.property(QStringLiteral("length")).toUInt();
    array.elements.reserve(nLength);
    for (quint32 i = 0; i < nLength; ++i)
    {
        const QJSValue element = value.property(i);
        CAutoValue item;
        if (vtTyped == eVtVariant)
        {
            if (!ScalarFromJs(element, &item))
            {
                return false;
            }
        }
        else if (vtTyped == eVtR8)
        {
            item = CAutoValue::Real(element.toNumber());
        }
        else
        {
            item = CAutoValue::Number(vtTyped, static_cast<int64_t>(element.toNumber()));
        }
        array.elements.push_back(std::move(item));
    }
    *pValue = std::move(array);
    return true;
}

QJSValue ValueToJs(QJSEngine& engine, const CAutoValue& value)
{
    if (value.IsArray())
    {
        QJSValue array = engine.newArray(static_cast<uint>(value.elements.size()));
        for (size_t i = 0; i < value.elements.size(); ++i)
        {
            array.setProperty(static_cast<quint32>(i), ValueToJs(engine, value.elements[i]));
        }
        return array;
    }
    switch (value.ElementType())
    {
    case eVtEmpty:
    case eVtVariant:
        return QJSValue(QJSValue::UndefinedValue);
    case eVtBstr:
        return QJSValue(value.strValue);
    case eVtBool:
        return QJSValue(value.nValue != 0);
    case eVtR8:
        return QJSValue(value.dValue);
    default:
        return QJSValue(static_cast<double>(value.nValue));
    }
}

// One frame of evaluate()'s stack trace: "function:line:column:source".
struct SStackFrame
{
    int iLine = 0;
    int iColumn = 0;
    QString strSource;
};

SStackFrame ParseStackFrame(const QString& strFrame)
{
    SStackFrame frame;
    const QStringList parts = strFrame.split(QLatin1Char(':'));
    if (parts.size() >= 4)
    {
        frame.iLine = std::max(parts[1].toInt(), 0);
        frame.iColumn = std::max(parts[2].toInt(), 0);
        frame.strSource = parts.mid(3).join(QLatin1Char(':'));
    }
    return frame;
}

// Interrupts the engine when a call runs longer than its limit.
class CWatchdog
{
public:
    CWatchdog(QJSEngine& engine, int nLimitMs, std::atomic<bool>& bFired)
    {
        bFired = false;
        if (nLimitMs <= 0)
        {
            return;
        }
        m_thread = std::thread(
            [this, &engine, nLimitMs, &bFired]
            {
                std::unique_lock<std::mutex> lock(m_mutex);
                if (!m_condition.wait_for(lock, std::chrono::milliseconds(nLimitMs),
                                          [this] { return m_bDone; }))
                {
                    bFired = true;
                    engine.setInterrupted(true);
                }
            });
    }
    ~CWatchdog()
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
    CWatchdog(const CWatchdog&) = delete;
    CWatchdog& operator=(const CWatchdog&) = delete;

private:
    std::mutex m_mutex;
    std::condition_variable m_condition;
    bool m_bDone = false;
    std::thread m_thread;
};

class CJScriptEngine;

// What the prelude calls: the host objects, the echo and the message box.
class CJScriptBridge final : public QObject
{
    Q_OBJECT
public:
    explicit CJScriptBridge(CJScriptEngine& owner) : m_owner(owner) {}

    Q_INVOKABLE QJSValue invoke(int iObject, const QString& strMethod, const QJSValue& args);
    Q_INVOKABLE void echo(const QString& strText);
    Q_INVOKABLE int messageBox(const QString& strText, int iButtons, const QString& strTitle);

private:
    CJScriptEngine& m_owner;
};

class CJScriptEngine final : public IScriptEngine
{
public:
    CJScriptEngine() { NewEngine(); }
    ~CJScriptEngine() override
    {
        // The engine goes before the bridge it calls, its values before the engine.
        m_addHost = QJSValue();
        m_call = QJSValue();
        m_pJs.reset();
    }

    QString Language() const override { return QStringLiteral("JScript"); }

    void AddNamedObject(const QString& strName, const QString& strProgID, IScriptHostObject* pObject) override
    {
        m_hosts.push_back({strName, strProgID, pObject});
        InstallHost(static_cast<int>(m_hosts.size()) - 1);
    }

    bool Load(const QString& strText, SScriptError* pError) override
    {
        NewEngine();
        QStringList trace;
        QJSValue result;
        {
            CWatchdog watchdog(*m_pJs, nTimeLimitMs, m_bInterrupted);
            result = m_pJs->evaluate(strText, kMacroFile, 1, &trace);
        }
        ClearInterrupt();
        if (trace.isEmpty() && !result.isError())
        {
            return true;
        }
        SScriptError error = ErrorOf(result);
        if (!trace.isEmpty())
        {
            const SStackFrame frame = ParseStackFrame(trace.front());
            if (frame.strSource.endsWith(kMacroFile))
            {
                error.iColumn = frame.iColumn;
                if (error.iLine == 0)
                {
                    error.iLine = frame.iLine;
                }
            }
        }
        NewEngine();
        if (pError)
        {
            *pError = error;
        }
        return false;
    }

    bool HasMethod(const QString& strName) const override
    {
        return m_pJs->globalObject().property(strName).isCallable();
    }

    bool Call(const QString& strMethod, const std::vector<CAutoValue>& args, CAutoValue* pResult,
              SScriptError* pError) override
    {
        const QJSValue function = m_pJs->globalObject().property(strMethod);
        if (!function.isCallable())
        {
            if (pError)
            {
                *pError = {QStringLiteral("The script has no function named '%1'.").arg(strMethod), 0, 0};
            }
            return false;
        }
        QJSValue jsArgs = m_pJs->newArray(static_cast<uint>(args.size()));
        for (size_t i = 0; i < args.size(); ++i)
        {
            jsArgs.setProperty(static_cast<quint32>(i), ValueToJs(*m_pJs, args[i]));
        }
        QJSValue outcome;
        {
            CWatchdog watchdog(*m_pJs, nTimeLimitMs, m_bInterrupted);
            outcome = m_call.call({function, jsArgs});
        }
        ClearInterrupt();
        // An interrupted call can't be caught by the prelude: the outcome is then the error itself.
        const bool bRecord = outcome.isObject() && outcome.hasOwnProperty(QStringLiteral("threw"));
        if (bRecord && !outcome.property(QStringLiteral("threw")).toBool())
        {
            CAutoValue result;
            if (!ValueFromJs(outcome.property(QStringLiteral("value")), false, &result))
            {
                result = CAutoValue::Text(outcome.property(QStringLiteral("value")).toString());
            }
            if (pResult)
            {
                *pResult = std::move(result);
            }
            return true;
        }
        const SScriptError error = ErrorOf(bRecord ? outcome.property(QStringLiteral("value")) : outcome);
        if (pError)
        {
            *pError = error;
        }
        return false;
    }

    // The bridge's work.
    QJSValue InvokeHost(int iObject, const QString& strMethod, const QJSValue& args)
    {
        QJSValue record = m_pJs->newObject();
        auto fail = [&](const QString& strText, int nNumber)
        {
            record.setProperty(QStringLiteral("failed"), true);
            record.setProperty(QStringLiteral("message"), strText);
            record.setProperty(QStringLiteral("number"), nNumber);
            return record;
        };
        if (iObject < 0 || iObject >= static_cast<int>(m_hosts.size()))
        {
            return fail(QStringLiteral("Automation server can't create object"), kCantCreateObject);
        }
        std::vector<CAutoValue> values;
        const quint32 nArgs = args.property(QStringLiteral("length")).toUInt();
        for (quint32 i = 0; i < nArgs; ++i)
        {
            CAutoValue value;
            if (!ValueFromJs(args.property(i), true, &value))
            {
                return fail(
                    QStringLiteral("Type mismatch: argument %1 of %2 must be a number, a string, a boolean "
                                   "or an array of them.")
                        .arg(i + 1)
                        .arg(strMethod),
                    kTypeMismatch);
            }
            values.push_back(std::move(value));
        }
        CAutoValue result;
        SAutoError error;
        if (!m_hosts[static_cast<size_t>(iObject)].pObject->Call(strMethod, values, &result, &error))
        {
            return fail(error.strText, -error.nStatus);
        }
        record.setProperty(QStringLiteral("failed"), false);
        record.setProperty(QStringLiteral("value"), ValueToJs(*m_pJs, result));
        return record;
    }

    void Echo(const QString& strText)
    {
        if (onEcho)
        {
            onEcho(strText);
        }
    }

    int MessageBox(const QString& strText, int iButtons, const QString& strTitle)
    {
        if (onMessageBox)
        {
            return onMessageBox(strText, iButtons, strTitle);
        }
        Echo(strText);
        return 1;
    }

private:
    struct SHost
    {
        QString strName;
        QString strProgID;
        IScriptHostObject* pObject;
    };

    // A watchdog that fired as the script ended leaves the engine interrupted: the next script
    // would stop at once.
    void ClearInterrupt()
    {
        if (m_bInterrupted)
        {
            m_pJs->setInterrupted(false);
        }
    }

    // A fresh engine with the prelude and every host object in it.
    void NewEngine()
    {
        m_addHost = QJSValue();
        m_call = QJSValue();
        m_pJs.reset();
        m_pBridge = std::make_unique<CJScriptBridge>(*this);
        m_pJs = std::make_unique<QJSEngine>();
        QJSEngine::setObjectOwnership(m_pBridge.get(), QJSEngine::CppOwnership);
        const QJSValue prelude = m_pJs->evaluate(QString::fromUtf8(kPrelude), kHostFile, 1);
        const QJSValue entries = prelude.call({m_pJs->newQObject(m_pBridge.get()), m_pJs->globalObject()});
        Q_ASSERT(!entries.isError());
        m_addHost = entries.property(QStringLiteral("addHost"));
        m_call = entries.property(QStringLiteral("call"));
        for (size_t i = 0; i < m_hosts.size(); ++i)
        {
            InstallHost(static_cast<int>(i));
        }
    }

    void InstallHost(int iIndex)
    {
        const SHost& host = m_hosts[static_cast<size_t>(iIndex)];
        const QStringList methods = host.pObject ? host.pObject->MethodNames() : QStringList();
        QJSValue jsMethods = m_pJs->newArray(static_cast<uint>(methods.size()));
        for (qsizetype i = 0; i < methods.size(); ++i)
        {
            jsMethods.setProperty(static_cast<quint32>(i), methods[i]);
        }
        m_addHost.call({iIndex, host.strName, host.strProgID, jsMethods});
    }

    // The message and line of what a script threw.
    SScriptError ErrorOf(const QJSValue& thrown) const
    {
        SScriptError error;
        if (m_bInterrupted)
        {
            error.strMessage =
                QStringLiteral("The script was stopped: it ran longer than its time limit of %1 ms.")
                    .arg(nTimeLimitMs);
        }
        else if (thrown.isError() || thrown.hasProperty(QStringLiteral("message")))
        {
            const QString strName = thrown.property(QStringLiteral("name")).toString();
            const QString strMessage = thrown.property(QStringLiteral("message")).toString();
            error.strMessage = strName == QLatin1String("Error") || strName.isEmpty()
                                   ? strMessage
                                   : QStringLiteral("%1: %2").arg(strName, strMessage);
        }
        else
        {
            error.strMessage = thrown.toString();
        }
        if (thrown.isObject())
        {
            error.iLine = std::max(thrown.property(QStringLiteral("lineNumber")).toInt(), 0);
        }
        return error;
    }

    std::vector<SHost> m_hosts;
    std::unique_ptr<CJScriptBridge> m_pBridge;
    std::unique_ptr<QJSEngine> m_pJs;
    QJSValue m_addHost;
    QJSValue m_call;
    std::atomic<bool> m_bInterrupted{false};
};

QJSValue CJScriptBridge::invoke(int iObject, const QString& strMethod, const QJSValue& args)
{
    return m_owner.InvokeHost(iObject, strMethod, args);
}

void CJScriptBridge::echo(const QString& strText)
{
    m_owner.Echo(strText);
}

int CJScriptBridge::messageBox(const QString& strText, int iButtons, const QString& strTitle)
{
    return m_owner.MessageBox(strText, iButtons, strTitle);
}
} // namespace

std::unique_ptr<IScriptEngine> CreateJScriptEngine()
{
    return std::make_unique<CJScriptEngine>();
}

#include "JScriptEngine.moc"
