// The map commands of norvanta-cli: show a map file's contents as text, and check a map file.
#include "CliCollectingInterface.h"
#include "CliCommand.h"
#include "MapListing.h"

#include "NetworkDocument.h"
#include "NetworkMap.h"
#include "UserInterface.h"

#include <QStringList>

#include <cstdio>
#include <string>

namespace
{
void Print(const QString& strLine)
{
    std::printf("%s\n", strLine.toLocal8Bit().constData());
}

void PrintError(const QString& strLine)
{
    std::fprintf(stderr, "%s\n", strLine.toLocal8Bit().constData());
}

// Reads the map named by the invocation ("FILE" or "--enciphered FILE"); false with the reason
// on standard error.
bool LoadFromArguments(const SCliInvocation& invocation, const char* pszCommand, CNetworkDocument& document,
                       CNetworkMap& map)
{
    bool bEnciphered = false;
    QString strPath;
    for (const std::string& strArg : invocation.args)
    {
        if (strArg == "--enciphered")
        {
            bEnciphered = true;
        }
        else if (strPath.isEmpty())
        {
            strPath = QString::fromStdString(strArg);
        }
        else
        {
            PrintError(QStringLiteral("%1: unexpected argument '%2'")
                           .arg(QLatin1String(pszCommand), QString::fromStdString(strArg)));
            return false;
        }
    }
    if (strPath.isEmpty())
    {
        PrintError(QStringLiteral("%1: a map file is needed").arg(QLatin1String(pszCommand)));
        return false;
    }
    CCollectingInterface messages;
    if (map.LoadMap(strPath, document, bEnciphered))
    {
        return true;
    }
    const QString strReason =
        messages.Messages.isEmpty() ? map.LastError() : messages.Messages.join(QLatin1Char(' '));
    PrintError(QStringLiteral("%1: %2: %3").arg(QLatin1String(pszCommand), strPath, strReason.trimmed()));
    return false;
}

int RunMapShow(const SCliInvocation& invocation)
{
    CNetworkDocument document;
    CNetworkMap map;
    if (!LoadFromArguments(invocation, "map show", document, map))
    {
        return 1;
    }
    const QByteArray text = MapListing(document, map);
    std::fwrite(text.constData(), 1, static_cast<size_t>(text.size()), stdout);
    return 0;
}

int RunMapCheck(const SCliInvocation& invocation)
{
    CNetworkDocument document;
    CNetworkMap map;
    if (!LoadFromArguments(invocation, "map check", document, map))
    {
        return 1;
    }
    const QStringList problems = CheckMap(document);
    for (const QString& strProblem : problems)
    {
        PrintError(strProblem);
    }
    if (!problems.isEmpty())
    {
        return 2;
    }
    Print(QStringLiteral("%1: OK, %2 PEs, %3 connections")
              .arg(document.FileName)
              .arg(document.ActivePEs.GetCount())
              .arg(document.ActiveConnections.GetCount()));
    return 0;
}
} // namespace

extern const SCliCommand g_aMapCommands[] = {
    {"map show", "[--enciphered] FILE", RunMapShow},
    {"map check", "[--enciphered] FILE", RunMapCheck},
    {nullptr, nullptr, nullptr},
};
