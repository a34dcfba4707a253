// The script host: one interface in front of the two macro languages, JavaScript (QJSEngine) and
// VBScript (our own interpreter). A host loads a script text, which runs its top-level code and
// defines its functions, and then calls functions by name with a list of arguments. Errors come
// back with the engine's message and the line and column where they happened.
#pragma once

#include "AutoValue.h"

#include <QString>
#include <QStringList>

#include <functional>
#include <memory>
#include <vector>

// A script's failure: the engine's message and where it stands (1-based line and column; 0 when
// the engine can't tell).
struct SScriptError
{
    QString strMessage;
    int iLine = 0;
    int iColumn = 0;
};

// The text a failed macro call shows: "Error:\t", the message, "\nCol:\t", the column,
// "\nLine:\t", the line.
QString ScriptErrorText(const SScriptError& error);

// An object of the host that scripts can use by name: the automation object.
class IScriptHostObject
{
public:
    virtual ~IScriptHostObject() = default;
    // The methods the object has, as the host spells them.
    virtual QStringList MethodNames() const = 0;
    // Calls a method; the name is matched without regard to case. False with *pError on failure,
    // which the engine raises as a script error (VBScript's Err.Number, a JavaScript exception's
    // "number") carrying the negated status and the text.
    virtual bool Call(const QString& strMethod, const std::vector<CAutoValue>& args, CAutoValue* pResult,
                      SAutoError* pError) = 0;
};

class IScriptEngine
{
public:
    virtual ~IScriptEngine() = default;

    // "VBScript" or "JScript".
    virtual QString Language() const = 0;
    // Makes a host object known to scripts: as a global of that name, and as what
    // CreateObject(strProgID) in VBScript and new ActiveXObject(strProgID) in JavaScript give.
    virtual void AddNamedObject(const QString& strName, const QString& strProgID,
                                IScriptHostObject* pObject) = 0;
    // Parses a text and runs its top-level code. False with *pError on a syntax or run-time error;
    // the engine then holds nothing of the text.
    virtual bool Load(const QString& strText, SScriptError* pError) = 0;
    // Whether the loaded text defines a function (or Sub) of that name.
    virtual bool HasMethod(const QString& strName) const = 0;
    // Calls a function of the loaded text by name. *pResult is the function's value (empty for a
    // Sub). A function that isn't there, a wrong number of arguments and any run-time error fail
    // with *pError.
    virtual bool Call(const QString& strMethod, const std::vector<CAutoValue>& args, CAutoValue* pResult,
                      SScriptError* pError) = 0;

    // Where the script's output goes: WScript.Echo (both languages), print() and console.log()
    // (JavaScript). Unset: the text is dropped.
    std::function<void(const QString&)> onEcho;
    // MsgBox (VBScript) and alert() (JavaScript): the text, the buttons and icon flags and the
    // title; returns the button pressed (1 OK, 2 Cancel, 6 Yes, 7 No). Unset: the text goes to
    // onEcho and the answer is 1.
    std::function<int(const QString& strText, int iButtons, const QString& strTitle)> onMessageBox;
    // The longest one Load or Call may run, in milliseconds; 0 (the default) for no limit. A script
    // that runs longer is stopped, and the Load or Call fails with a script error.
    int nTimeLimitMs = 0;
};

// "VBScript" for a .vbs file, "JScript" for a .js file (case ignored), empty otherwise.
QString ScriptLanguageOf(const QString& strPath);
// A new engine for a language ("VBScript" or "JScript"), or null for any other.
std::unique_ptr<IScriptEngine> CreateScriptEngine(const QString& strLanguage);
