// Running VBScript texts in tests: the output of WScript.Echo and MsgBox, the error of a failed
// load, and a host object that records its calls and fails on request.
#pragma once

#include "VBScriptEngine.h"

#include <QString>
#include <QStringList>

#include <functional>
#include <map>
#include <ostream>

struct SVbsRun
{
    bool bLoaded = false;
    QStringList echo;
    SScriptError error;
};

// Loads (and so runs) a text in a new engine.
SVbsRun RunVbs(const QString& strText);
// The lines a text echoes, joined with "|"; a failed load gives "ERROR <line>:<column> <message>".
QString EchoOf(const QString& strText);

// A host object of recorded calls: each method answers with the result set for it, or fails with
// the status and text set for it.
class CRecordingHost final : public IScriptHostObject
{
public:
    struct SCall
    {
        QString strMethod;
        std::vector<CAutoValue> args;
    };

    QStringList MethodNames() const override;
    bool Call(const QString& strMethod, const std::vector<CAutoValue>& args, CAutoValue* pResult,
              SAutoError* pError) override;

    void SetResult(const QString& strMethod, const CAutoValue& result) { m_results[strMethod] = result; }
    void SetFailure(const QString& strMethod, int32_t nStatus, const QString& strText)
    {
        m_failures[strMethod] = SAutoError{nStatus, strText};
    }

    std::vector<SCall> calls;
    std::function<void()> onCall; // runs inside every call

private:
    std::map<QString, CAutoValue> m_results;
    std::map<QString, SAutoError> m_failures;
};

// Readable QStrings in failure messages.
inline void PrintTo(const QString& str, std::ostream* pStream)
{
    *pStream << '"' << str.toStdString() << '"';
}
