// Simple scripts run against a node of a saved map, and transaction logs replayed against the
// target.
#include "CliCommand.h"
#include "CliMap.h"
#include "CliOptions.h"
#include "CliTarget.h"

#include "NetworkDocument.h"
#include "NetworkMap.h"
#include "SimpleScript.h"
#include "TargetConnection.h"
#include "TransactionReplay.h"

#include <QFile>

#include <cstdio>

namespace
{
void PrintText(FILE* pFile, QString strText)
{
    strText.replace(QStringLiteral("\r\n"), QStringLiteral("\n"));
    std::fputs(strText.toLocal8Bit().constData(), pFile);
}

int RunScriptRun(const SCliInvocation& invocation)
{
    const char* const pszUsage = "script run FILE --map MAP --node NODE";
    const CCliOptions options(invocation.args, {"--map", "--node"}, {});
    if (!options.Ok() || options.Positional().size() != 1 || !options.Has("--map") || !options.Has("--node"))
    {
        return CliUsage(pszUsage);
    }
    uint64_t ulNode = 0;
    if (!options.Number("--node", 0xFFFFFFFFu, &ulNode))
    {
        return 2;
    }
    CNetworkDocument map;
    if (!LoadCommandMap(options.Value("--map"), map))
    {
        return 1;
    }
    CPEPrimitive* pTarget = ulNode ? map.ActivePEs.GetByNodeNumber(static_cast<int>(ulNode - 1)) : nullptr;
    if (!pTarget || pTarget->bDeleted)
    {
        std::fprintf(stderr, "Node not found\n");
        return 1;
    }
    CFrontEndScriptAccess access;
    CScriptRunCore script(map, *pTarget, access);
    if (!script.Open(QString::fromStdString(options.Positional()[0])))
    {
        return 1;
    }
    const CliConnection connection = OpenMapTarget(map);
    if (!connection)
    {
        return 1;
    }
    const bool bCompleted = script.Run();
    PrintText(stdout, script.Transcript());
    return bCompleted ? 0 : 1;
}

int RunScriptReplay(const SCliInvocation& invocation)
{
    const char* const pszUsage = "script replay LOG";
    const CCliOptions options(invocation.args, {}, {});
    if (!options.Ok() || options.Positional().size() != 1)
    {
        return CliUsage(pszUsage);
    }
    QFile file(QString::fromStdString(options.Positional()[0]));
    if (!file.open(QIODevice::ReadOnly))
    {
        std::fprintf(stderr, "Unable to open the transaction log %s\n", options.Positional()[0].c_str());
        return 1;
    }
    const QString strLog = QString::fromLocal8Bit(file.readAll());
    auto connection = OpenCliTarget();
    if (!connection)
    {
        return 1;
    }
    CFrontEndScriptAccess access;
    const SReplayResult result = ReplayTransactionLog(strLog, access);
    for (const QString& strLine : result.lines)
    {
        std::printf("%s\n", strLine.toLocal8Bit().constData());
    }
    std::printf("Replayed %d writes and %d reads: %d mismatches, %d lines skipped%s\n", result.nWrites,
                result.nReads, result.nMismatches, result.nSkipped,
                result.bFailed ? ", ended by a failure" : "");
    return result.bFailed || result.nMismatches ? 1 : 0;
}
} // namespace

extern const SCliCommand g_aScriptCommands[] = {
    {"script run", "FILE --map MAP --node NODE", RunScriptRun},
    {"script replay", "LOG", RunScriptReplay},
    {nullptr, nullptr, nullptr},
};
