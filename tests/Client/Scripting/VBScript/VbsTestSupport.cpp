#include "VbsTestSupport.h"

SVbsRun RunVbs(const QString& strText)
{
    SVbsRun run;
    std::unique_ptr<IScriptEngine> engine = CreateVBScriptEngine();
    engine->onEcho = [&run](const QString& strLine) { run.echo << strLine; };
    run.bLoaded = engine->Load(strText, &run.error);
    return run;
}

QString EchoOf(const QString& strText)
{
    const SVbsRun run = RunVbs(strText);
    if (!run.bLoaded)
    {
        return QStringLiteral("ERROR %1:%2 %3")
            .arg(run.error.iLine)
            .arg(run.error.iColumn)
            .arg(run.error.strMessage);
    }
    return run.echo.join(QLatin1Char('|'));
}

QStringList CRecordingHost::MethodNames() const
{
    return {QStringLiteral("MaintRead"), QStringLiteral("MaintWrite"), QStringLiteral("GetNodeList"),
            QStringLiteral("WriteToLog"), QStringLiteral("IsConnected")};
}

bool CRecordingHost::Call(const QString& strMethod, const std::vector<CAutoValue>& args, CAutoValue* pResult,
                          SAutoError* pError)
{
    calls.push_back({strMethod, args});
    if (onCall)
    {
        onCall();
    }
    const auto failure = m_failures.find(strMethod);
    if (failure != m_failures.end())
    {
        *pError = failure->second;
        return false;
    }
    const auto result = m_results.find(strMethod);
    *pResult = result != m_results.end() ? result->second : CAutoValue();
    return true;
}
