#include "TransactionLog.h"

#include <cstdarg>
#include <cstdio>

namespace
{
bool g_bLogEnabled = false;
QByteArray g_strLogPath;
} // namespace

bool CreateLogFile(const QString& strPath)
{
    g_strLogPath = strPath.toLocal8Bit();
    FILE* pFile = std::fopen(g_strLogPath.constData(), "w+");
    if (!pFile)
    {
        return false;
    }
    std::fclose(pFile);
    return true;
}

void EnableLogging(bool bEnable)
{
    g_bLogEnabled = bEnable;
}

bool IsLoggingEnabled()
{
    return g_bLogEnabled;
}

void WriteToLog(const char* pszFormat, ...)
{
    if (!g_bLogEnabled || g_strLogPath.isEmpty())
    {
        return;
    }
    char szBuffer[1056];
    va_list args;
    va_start(args, pszFormat);
    std::vsnprintf(szBuffer, sizeof(szBuffer), pszFormat, args);
    va_end(args);
    if (FILE* pFile = std::fopen(g_strLogPath.constData(), "a+"))
    {
        std::fputs(szBuffer, pFile);
        std::fclose(pFile);
    }
}
