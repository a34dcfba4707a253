// HTML reports of a saved map: PE information, routing tables, stored register values and the
// watch table. Each page is written to Output/ below the report directory (--dir, else the one the
// preferences name) and its path printed; nothing is opened.
#include "CliCollectingInterface.h"
#include "CliCommand.h"
#include "CliMap.h"
#include "CliOptions.h"

#include "NetworkDocument.h"
#include "PEReport.h"
#include "PerformanceReport.h"
#include "Preferences.h"
#include "RegisterReport.h"
#include "RoutingTableReport.h"
#include "WatchReport.h"

#include <QDir>
#include <QFileInfo>

#include <cstdio>
#include <memory>

int RunPerfmon(const SCliInvocation& invocation);

namespace
{
void PrintMessages(const CCollectingInterface& messages)
{
    for (const QString& strMessage : messages.Messages)
    {
        std::fprintf(stderr, "%s\n", qPrintable(strMessage));
    }
}

// Reads the map of a report command; prints why it can't and gives false.
bool LoadReportMap(const std::string& strPath, CNetworkDocument& map, CCollectingInterface& messages)
{
    if (LoadCommandMap(strPath, map))
    {
        return true;
    }
    PrintMessages(messages);
    std::fprintf(stderr, "Unable to read the map '%s'\n", strPath.c_str());
    return false;
}

// Writes a report and prints where it went. Exit status: 0 written, 1 nothing to report, 2 a
// fault (a directory that can't be written, a file that can't be copied or opened).
int RunReport(CReport& report, const CCliOptions& options, CCollectingInterface& messages)
{
    report.SetOpenWhenDone(false);
    if (options.Has("--dir"))
    {
        report.SetReportDirectory(QString::fromStdString(options.Value("--dir")));
    }
    if (!report.GenerateReport())
    {
        PrintMessages(messages);
        return report.NothingToReport() ? 1 : 2;
    }
    std::printf("Wrote %s\n", qPrintable(QFileInfo(report.OutputPath()).absoluteFilePath()));
    return 0;
}

int RunReportCommand(const SCliInvocation& invocation, const char* pszUsage, EReportKind eKind)
{
    const bool bTakesNode = eKind == eReportRegister;
    const CCliOptions options(
        invocation.args,
        bTakesNode ? std::vector<std::string>{"--dir", "--node"} : std::vector<std::string>{"--dir"}, {});
    if (!options.Ok() || options.Positional().size() != 1 ||
        (options.Has("--dir") && options.Value("--dir").empty()))
    {
        return CliUsage(pszUsage);
    }
    uint64_t ulNode = 0;
    if (!options.Number("--node", 0xFFFFFFFFu, &ulNode))
    {
        return 2;
    }
    CCollectingInterface messages;
    CNetworkDocument map;
    if (!LoadReportMap(options.Positional()[0], map, messages))
    {
        return 2;
    }
    messages.Messages.clear();
    map.FileName = QFileInfo(QString::fromStdString(options.Positional()[0])).fileName();
    if (eKind == eReportPEInfo)
    {
        CPEReport report(map);
        return RunReport(report, options, messages);
    }
    if (eKind == eReportRoutingTable)
    {
        CRoutingTableReport report(map);
        return RunReport(report, options, messages);
    }
    if (eKind == eReportRegister)
    {
        int iNode = -1;
        if (options.Has("--node"))
        {
            const CPEPrimitive* pPE =
                ulNode ? map.ActivePEs.GetByNodeNumber(static_cast<int>(ulNode - 1)) : nullptr;
            if (!pPE || pPE->bDeleted)
            {
                std::fprintf(stderr, "Node %llu is not in the map\n",
                             static_cast<unsigned long long>(ulNode));
                return 2;
            }
            iNode = pPE->iNodeNumber;
        }
        CRegisterReport report(map, MapRegisterItems(map, iNode));
        return RunReport(report, options, messages);
    }
    if (eKind == eReportWatch)
    {
        if (map.WatchItems.empty())
        {
            std::fprintf(stderr, "The map has no watch items to report.\n");
            return 1;
        }
        const uint32_t ulBase =
            GetPreference(QStringLiteral("Preferences"), QStringLiteral("DefaultBase"), 16u);
        // A saved map holds the watch table but no event log: that lives in the watch window.
        CWatchReport report(map.FileName, WatchReportItems(map, ulBase == 2 || ulBase == 10 ? ulBase : 16),
                            {});
        return RunReport(report, options, messages);
    }
    // The performance monitors keep their samples in their windows only; a map holds none.
    std::fprintf(stderr,
                 "The performance report is not available from a saved map alone: performance monitor "
                 "samples are not kept in the map. Name the node, port and counter to sample "
                 "(report perf MAP --node N --port P --counter NAME --dir DIR).\n");
    return 2;
}

int RunReportPE(const SCliInvocation& invocation)
{
    return RunReportCommand(invocation, "report pe MAP [--dir DIR]", eReportPEInfo);
}

int RunReportRouting(const SCliInvocation& invocation)
{
    return RunReportCommand(invocation, "report routing MAP [--dir DIR]", eReportRoutingTable);
}

int RunReportRegisters(const SCliInvocation& invocation)
{
    return RunReportCommand(invocation, "report registers MAP [--node N] [--dir DIR]", eReportRegister);
}

int RunReportWatch(const SCliInvocation& invocation)
{
    return RunReportCommand(invocation, "report watch MAP [--dir DIR]", eReportWatch);
}

// A saved map holds no performance samples: with --node the command takes them itself, as the
// performance monitor does (perfmon), and writes the report of that run.
int RunReportPerf(const SCliInvocation& invocation)
{
    const char* const kPerfUsage = "report perf MAP --node N --port P --counter NAME --dir DIR [--ticks N] "
                                   "[--depth D] [--interval-ms MS]";
    const CCliOptions options(
        invocation.args, {"--node", "--port", "--counter", "--dir", "--ticks", "--depth", "--interval-ms"},
        {});
    if (!options.Ok() || options.Positional().size() != 1 || !options.Has("--node"))
    {
        if (!options.Ok())
            std::fprintf(stderr, "report perf: %s\n", options.Error().c_str());
        return RunReportCommand(invocation, kPerfUsage, eReportPerformance);
    }
    if (!options.Has("--counter") || !options.Has("--dir"))
        return CliUsage(kPerfUsage);
    SCliInvocation perfmon;
    perfmon.args = {options.Positional()[0],
                    options.Value("--node"),
                    "--counter",
                    options.Value("--counter"),
                    "--ticks",
                    options.Has("--ticks") ? options.Value("--ticks") : std::string("5"),
                    "--report",
                    options.Value("--dir")};
    for (const char* pszOption : {"--port", "--depth", "--interval-ms"})
    {
        if (options.Has(pszOption))
        {
            perfmon.args.push_back(pszOption);
            perfmon.args.push_back(options.Value(pszOption));
        }
    }
    return RunPerfmon(perfmon);
}
} // namespace

extern const SCliCommand g_aReportCommands[] = {
    {"report pe", "MAP [--dir DIR]", RunReportPE},
    {"report routing", "MAP [--dir DIR]", RunReportRouting},
    {"report registers", "MAP [--node N] [--dir DIR]", RunReportRegisters},
    {"report watch", "MAP [--dir DIR]", RunReportWatch},
    {"report perf", "MAP --node N --port P --counter NAME --dir DIR [--ticks N] [--depth D]", RunReportPerf},
    {nullptr, nullptr, nullptr},
};
