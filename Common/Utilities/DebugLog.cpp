#include "DebugLog.h"

#include "Preferences.h"
#include "UserInterface.h"

#include <QDir>
#include <cerrno>
#include <cstdio>

namespace
{
const char* const kChannelKeys[eDebugChannelCount] = {"General", "FindRoute",  "Discovery",
                                                      "PerfMon", "Middleware", "JTAG"};

struct SDebugState
{
    bool bInitialised = false;
    bool abFlags[eDebugChannelCount] = {};
    QByteArray strPath;
};

SDebugState g_debug;

void EnsureInit()
{
    if (!g_debug.bInitialised)
    {
        DebugInit();
    }
}
} // namespace

QString DebugChannelKey(int nChannel)
{
    return nChannel >= 0 && nChannel < eDebugChannelCount ? QString::fromLatin1(kChannelKeys[nChannel])
                                                          : QString();
}

void DebugInit()
{
    if (g_debug.bInitialised)
    {
        return;
    }
    g_debug.bInitialised = true;
    QString strTemp = QDir::tempPath();
    if (strTemp.isEmpty() || !QDir(strTemp).exists())
    {
        ShowMessage(QString::asprintf("Unable to locate local temporary directory. Error %d", ENOENT));
        strTemp = QStringLiteral("/tmp");
    }
    if (!strTemp.endsWith(QLatin1Char('/')))
    {
        strTemp += QLatin1Char('/');
    }
    g_debug.strPath = QString::asprintf("%sNorvanta.log", strTemp.toLocal8Bit().constData()).toLocal8Bit();
    for (int i = 0; i < eDebugChannelCount; ++i)
    {
        g_debug.abFlags[i] = GetPreference(QStringLiteral("Debug"), DebugChannelKey(i), 0u) != 0;
    }
}

bool DebugEnabled(int nChannel)
{
    EnsureInit();
    return nChannel >= 0 && nChannel < eDebugChannelCount && g_debug.abFlags[nChannel];
}

void SetDebugFlag(int nChannel, bool bEnabled)
{
    EnsureInit();
    if (nChannel < 0 || nChannel >= eDebugChannelCount)
    {
        return;
    }
    g_debug.abFlags[nChannel] = bEnabled;
    SetPreference(QStringLiteral("Debug"), DebugChannelKey(nChannel), bEnabled ? 1u : 0u);
}

void DebugPrintV(int nChannel, const char* pszFormat, va_list args)
{
    if (!DebugEnabled(nChannel))
    {
        return;
    }
    char szBuffer[1024];
    std::vsnprintf(szBuffer, sizeof(szBuffer), pszFormat, args);
    if (FILE* pFile = std::fopen(g_debug.strPath.constData(), "a"))
    {
        std::fprintf(pFile, "%02d:%s", nChannel, szBuffer);
        std::fclose(pFile);
    }
}

void DebugPrint(int nChannel, const char* pszFormat, ...)
{
    if (!DebugEnabled(nChannel))
    {
        return;
    }
    va_list args;
    va_start(args, pszFormat);
    DebugPrintV(nChannel, pszFormat, args);
    va_end(args);
}

bool ClearLog()
{
    EnsureInit();
    FILE* pFile = std::fopen(g_debug.strPath.constData(), "w");
    if (!pFile)
    {
        ShowMessage(QString::asprintf("fopen failed with error %d\n", errno));
        return false;
    }
    std::fclose(pFile);
    return true;
}

QString DebugLogPath()
{
    EnsureInit();
    return QString::fromLocal8Bit(g_debug.strPath);
}
