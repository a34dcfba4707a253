// The script host's shared parts: the error text of a failed macro, the language of a file, and
// the engine of a language.
#include "ScriptEngine.h"

#include "JScriptEngine.h"
#include "VBScriptEngine.h"

#include <QFileInfo>

QString ScriptErrorText(const SScriptError& error)
{
    return QStringLiteral("Error:\t%1\nCol:\t%2\nLine:\t%3")
        .arg(error.strMessage)
        .arg(error.iColumn)
        .arg(error.iLine);
}

QString ScriptLanguageOf(const QString& strPath)
{
    const QString strSuffix = QFileInfo(strPath).suffix();
    if (strSuffix.compare(QLatin1String("vbs"), Qt::CaseInsensitive) == 0)
    {
        return QStringLiteral("VBScript");
    }
    if (strSuffix.compare(QLatin1String("js"), Qt::CaseInsensitive) == 0)
    {
        return QStringLiteral("JScript");
    }
    return QString();
}

std::unique_ptr<IScriptEngine> CreateScriptEngine(const QString& strLanguage)
{
    if (strLanguage.compare(QLatin1String("VBScript"), Qt::CaseInsensitive) == 0)
    {
        return CreateVBScriptEngine();
    }
    if (strLanguage.compare(QLatin1String("JScript"), Qt::CaseInsensitive) == 0)
    {
        return CreateJScriptEngine();
    }
    return nullptr;
}
