// norvanta-cli perfmon: one counter of one port of a switch or bridge, sampled as the performance
// monitor window samples it, for a number of ticks. Each tick prints one line with the rate in
// counts per second and the count and time it was made from; with --report the samples go into a
// performance report.
#include "CliCollectingInterface.h"
#include "CliCommand.h"
#include "CliMap.h"
#include "CliOptions.h"

#include "NetworkDocument.h"
#include "PerfMonitor.h"
#include "PerfMonitorReport.h"
#include "PerformanceReport.h"

#include <QFileInfo>

#include <chrono>
#include <cstdio>
#include <thread>

namespace
{
const char* const kUsage =
    "perfmon MAP NODE --port P --counter NAME --ticks N [--depth D] [--interval-ms MS] [--report DIR]";
constexpr int kExitError = 2;

int Fail(const QString& strText)
{
    for (const QString& strLine : strText.trimmed().split(QLatin1Char('\n')))
        std::fprintf(stderr, "perfmon: %s\n", qPrintable(strLine.trimmed()));
    return kExitError;
}

int FailWith(CCollectingInterface& messages, const QString& strFallback)
{
    if (messages.Messages.isEmpty())
        return Fail(strFallback);
    for (const QString& strMessage : messages.Messages)
        Fail(strMessage);
    messages.Messages.clear();
    return kExitError;
}

} // namespace

// Also behind `report perf`, which samples a node the same way to write its report.
int RunPerfmon(const SCliInvocation& invocation)
{
    const CCliOptions options(invocation.args,
                              {"--port", "--counter", "--ticks", "--depth", "--interval-ms", "--report"}, {});
    if (!options.Ok() || options.Positional().size() != 2 || !options.Has("--counter") ||
        !options.Has("--ticks"))
    {
        if (!options.Ok())
            std::fprintf(stderr, "perfmon: %s\n", options.Error().c_str());
        return CliUsage(kUsage);
    }
    uint64_t ulNode = 0;
    uint64_t ulPort = 0;
    uint64_t ulTicks = 0;
    uint64_t ulDepth = 1;
    uint64_t ulInterval = 1000;
    if (!CliNumber(options.Positional()[1], 0xFFFFu, &ulNode) || !options.Number("--port", 0xFFu, &ulPort) ||
        !options.Number("--ticks", 1000000u, &ulTicks) ||
        !options.Number("--depth", kPerfMaxDepth, &ulDepth) ||
        !options.Number("--interval-ms", 3600000u, &ulInterval))
    {
        return kExitError;
    }
    if (ulNode == 0 || ulTicks == 0 || ulDepth == 0)
        return Fail(QStringLiteral("NODE, --ticks and --depth count from 1"));

    CCollectingInterface messages;
    CNetworkDocument map;
    const std::string& strMap = options.Positional()[0];
    if (!LoadCommandMap(strMap, map))
        return FailWith(messages,
                        QStringLiteral("Unable to read the map %1").arg(QString::fromStdString(strMap)));
    messages.Messages.clear();
    const CPEPrimitive* pPE = map.ActivePEs.GetByNodeNumber(static_cast<int>(ulNode - 1));
    if (!pPE || pPE->bDeleted)
        return Fail(QStringLiteral("Node %1 not found").arg(ulNode));

    CPerfMonitor monitor(map, pPE->iNodeNumber, TargetPerfTransport());
    if (!monitor.Valid())
    {
        return Fail(QStringLiteral("Node %1 (device %2, vendor %3) has no performance monitor")
                        .arg(ulNode)
                        .arg(pPE->DeviceID, 4, 16, QLatin1Char('0'))
                        .arg(pPE->ManufID, 4, 16, QLatin1Char('0')));
    }
    const QString strCounter = QString::fromStdString(options.Value("--counter"));
    const int iCounter = monitor.FindCounter(strCounter);
    if (iCounter < 0)
    {
        return Fail(QStringLiteral("Unknown counter '%1'. The counters of the %2:\n  %3")
                        .arg(strCounter, monitor.Device()->strTitle,
                             monitor.CounterNames().join(QStringLiteral("\n  "))));
    }
    if (static_cast<int>(ulPort) >= monitor.Device()->iNumPorts)
    {
        return Fail(QStringLiteral("Port %1 is not a port of the %2: Port 0 to Port %3")
                        .arg(ulPort)
                        .arg(monitor.Device()->strTitle)
                        .arg(monitor.Device()->iNumPorts - 1));
    }

    CliConnection connection = OpenMapTarget(map);
    if (!connection)
        return FailWith(messages, QStringLiteral("Unable to open the target"));
    monitor.SelectCounter(0, iCounter);
    monitor.SelectPort(0, static_cast<int>(ulPort));
    monitor.SetDepth(static_cast<int>(ulDepth));
    if (!monitor.Enable() || !monitor.SetTraceOn(0, true))
        return FailWith(messages, QStringLiteral("Unable to start the monitor"));

    bool bRated = false;
    monitor.onRate = [&](int, double) { bRated = true; };
    const QString strWhat =
        QStringLiteral("Node %1 Port %2 %3").arg(ulNode).arg(ulPort).arg(monitor.CounterNames()[iCounter]);
    std::printf("%s\n", qPrintable(monitor.Title()));
    for (uint64_t t = 0; t < ulTicks; ++t)
    {
        if (t > 0 && ulInterval > 0)
            std::this_thread::sleep_for(std::chrono::milliseconds(ulInterval));
        bRated = false;
        monitor.Tick();
        if (!monitor.IsEnabled())
            return FailWith(messages, QStringLiteral("The monitor switched itself off"));
        const SPerfTrace& trace = monitor.Trace(0);
        if (bRated)
        {
            std::printf("Tick %llu: %s: %.1f per second (%u in %u us)\n",
                        static_cast<unsigned long long>(t + 1), qPrintable(strWhat), trace.dRate,
                        trace.aulCounts[0], trace.aulElapsed[0]);
        }
        else
        {
            std::printf("Tick %llu: %s: %s\n", static_cast<unsigned long long>(t + 1), qPrintable(strWhat),
                        t == 0 ? "first sample" : "no sample (the read failed)");
        }
        std::fflush(stdout);
    }

    if (options.Has("--report"))
    {
        connection.reset();
        CPerformanceReport report(QFileInfo(QString::fromStdString(strMap)).fileName(),
                                  PerfReportRecords(monitor.Records()));
        report.SetOpenWhenDone(false);
        report.SetReportDirectory(QString::fromStdString(options.Value("--report")));
        if (!report.GenerateReport())
            return FailWith(messages, QStringLiteral("Unable to write the performance report"));
        std::printf("Wrote %s\n", qPrintable(QFileInfo(report.OutputPath()).absoluteFilePath()));
    }
    return 0;
}

extern const SCliCommand g_aPerfmonCommands[] = {
    {"perfmon", "MAP NODE --port P --counter NAME --ticks N [--depth D] [--interval-ms MS] [--report DIR]",
     RunPerfmon},
    {nullptr, nullptr, nullptr},
};
