// norvanta-cli linkmon: one port of a Tsi switch watched as the link monitor windows watch it, for
// a number of ticks; after the first reading each tick prints what the window would chart.
#include "CliCollectingInterface.h"
#include "CliCommand.h"
#include "CliMap.h"
#include "CliOptions.h"

#include "LinkMonitor.h"
#include "NetworkDocument.h"
#include "PETypes.h"
#include "UserInterface.h"

#include <QLocale>

#include <chrono>
#include <cstdio>
#include <string>
#include <thread>

namespace
{
const char* const kCommand = "linkmon";
const char* const kUsage =
    "linkmon ber|throughput|efficiency MAP NODE PORT --ticks N [--depth D] [--interval-ms N]\n"
    "        [--buffer B] [--read-priority P] [--write-priority P] [--line-rate MBPS] [--report DIR]";
constexpr int kExitError = 2;

int Fail(const QString& strText)
{
    for (const QString& strLine : strText.trimmed().split(QLatin1Char('\n')))
    {
        std::fprintf(stderr, "%s: %s\n", kCommand, strLine.trimmed().toLocal8Bit().constData());
    }
    return kExitError;
}

struct SLinkmonArgs
{
    std::string strKind;
    std::string strMap;
    std::string strNode;
    std::string strPort;
    std::string strTicks;
    std::string strDepth = "1";
    std::string strInterval = "1000";
    std::string strBuffer = "0";
    std::string strRead = "0";
    std::string strWrite = "0";
    std::string strLineRate;
    std::string strReport;
};

std::string ParseArgs(const std::vector<std::string>& args, SLinkmonArgs* pArgs)
{
    const CCliOptions options(args,
                              {"--ticks", "--depth", "--interval-ms", "--buffer", "--read-priority",
                               "--write-priority", "--line-rate", "--report"},
                              {});
    if (!options.Ok())
    {
        return options.Error();
    }
    const std::vector<std::string>& words = options.Positional();
    if (words.size() > 4)
    {
        return "unexpected word '" + words[4] + "'";
    }
    if (words.size() < 4)
    {
        return "ber, throughput or efficiency, a map, a node and a port are needed";
    }
    pArgs->strKind = words[0];
    pArgs->strMap = words[1];
    pArgs->strNode = words[2];
    pArgs->strPort = words[3];
    const std::pair<const char*, std::string*> kValues[] = {
        {"--ticks", &pArgs->strTicks},          {"--depth", &pArgs->strDepth},
        {"--interval-ms", &pArgs->strInterval}, {"--buffer", &pArgs->strBuffer},
        {"--read-priority", &pArgs->strRead},   {"--write-priority", &pArgs->strWrite},
        {"--line-rate", &pArgs->strLineRate},   {"--report", &pArgs->strReport}};
    for (const auto& [pszOption, pValue] : kValues)
    {
        if (options.Has(pszOption))
        {
            *pValue = options.Value(pszOption);
        }
    }
    if (pArgs->strTicks.empty())
    {
        return "--ticks is needed";
    }
    return {};
}

QString Number(double d, int iDecimals)
{
    return QLocale::c().toString(d, 'f', iDecimals);
}

// The line of a tick: the chart values, named as the window names them.
QString TickLine(const CLinkMonitor& monitor, const QString& strTime)
{
    const auto& v = monitor.LastValues();
    switch (monitor.Kind())
    {
    case eLinkMonitorBitErrors:
        return QStringLiteral("%1 retries(buffer %2)=%3 crc=%4")
            .arg(strTime)
            .arg(monitor.Buffer())
            .arg(Number(v[0], 0), Number(v[1], 0));
    case eLinkMonitorThroughput:
        return QStringLiteral("%1 read(p%2)=%3 kPkt/s write(p%4)=%5 kPkt/s")
            .arg(strTime)
            .arg(monitor.ReadPriority())
            .arg(Number(v[0], 3))
            .arg(monitor.WritePriority())
            .arg(Number(v[1], 3));
    case eLinkMonitorEfficiency:
    {
        const SEfficiency& e = monitor.LastEfficiency();
        return QStringLiteral(
                   "%1 rate=%2 kPkt/s size=%3 bytes payload=%4 bytes efficiency=%5 % link-use=%6 %")
            .arg(strTime, Number(v[0], 3), Number(e.dAvgSize, 1), Number(e.dPayload, 1),
                 Number(e.dEfficiency, 2), Number(e.dLinkUse, 3));
    }
    }
    return QString();
}

int RunLinkmon(const SCliInvocation& invocation)
{
    SLinkmonArgs args;
    const std::string strError = ParseArgs(invocation.args, &args);
    if (!strError.empty())
    {
        std::fprintf(stderr, "%s: %s\n", kCommand, strError.c_str());
        return CliUsage(kUsage);
    }
    ELinkMonitorKind eKind = eLinkMonitorBitErrors;
    if (args.strKind == "throughput")
    {
        eKind = eLinkMonitorThroughput;
    }
    else if (args.strKind == "efficiency")
    {
        eKind = eLinkMonitorEfficiency;
    }
    else if (args.strKind != "ber")
    {
        std::fprintf(stderr, "%s: unknown monitor '%s': ber, throughput or efficiency\n", kCommand,
                     args.strKind.c_str());
        return CliUsage(kUsage);
    }
    uint64_t ulTicks = 0, ulDepth = 0, ulInterval = 0, ulBuffer = 0, ulRead = 0, ulWrite = 0, ulNode = 0,
             ulPort = 0;
    if (!CliNumber(args.strTicks, 1000000u, &ulTicks) || ulTicks == 0 ||
        !CliNumber(args.strDepth, 16u, &ulDepth) || ulDepth == 0 ||
        !CliNumber(args.strInterval, 3600000u, &ulInterval) || !CliNumber(args.strBuffer, 3u, &ulBuffer) ||
        !CliNumber(args.strRead, 3u, &ulRead) || !CliNumber(args.strWrite, 3u, &ulWrite) ||
        !CliNumber(args.strNode, 0xFFFFu, &ulNode) || ulNode == 0 || !CliNumber(args.strPort, 255u, &ulPort))
    {
        return CliUsage(kUsage);
    }
    double dLineRate = 0;
    if (!args.strLineRate.empty())
    {
        bool bOk = false;
        dLineRate = QString::fromStdString(args.strLineRate).toDouble(&bOk);
        if (!bOk || dLineRate <= 0)
        {
            return Fail(QStringLiteral("Bad line rate '%1': megabytes per second above 0")
                            .arg(QString::fromStdString(args.strLineRate)));
        }
    }

    CCollectingInterface messages;
    CNetworkDocument map;
    if (!LoadCommandMap(args.strMap, map))
    {
        for (const QString& strMessage : messages.Messages)
        {
            Fail(strMessage);
        }
        return Fail(QStringLiteral("Unable to read the map %1").arg(QString::fromStdString(args.strMap)));
    }
    const int iNode = static_cast<int>(ulNode - 1);
    const CPEPrimitive* pPE = map.ActivePEs.GetByNodeNumber(iNode);
    if (!pPE || pPE->bDeleted)
    {
        return Fail(QStringLiteral("Node %1 not found").arg(ulNode));
    }
    if (pPE->ManufID != kTundraVendorID || !(pPE->uType & kPETypeSwitch))
    {
        return Fail(QStringLiteral("Node %1 is not a Tsi switch: the link monitors read Tsi port counters")
                        .arg(ulNode));
    }
    if (eKind == eLinkMonitorBitErrors && pPE->DeviceID != kTsi500DeviceID)
    {
        return Fail(QStringLiteral("Node %1 is not a Tsi500: bit error rates are read on the Tsi500 only")
                        .arg(ulNode));
    }
    if (static_cast<int>(ulPort) >= pPE->iNumLocalPorts)
    {
        return Fail(QStringLiteral("Node %1 has no port %2: its ports are 0 to %3")
                        .arg(ulNode)
                        .arg(ulPort)
                        .arg(pPE->iNumLocalPorts - 1));
    }

    CliConnection connection = OpenMapTarget(map);
    if (!connection)
    {
        for (const QString& strMessage : messages.Messages)
        {
            Fail(strMessage);
        }
        return Fail(QStringLiteral("Unable to open the target"));
    }
    CLinkMonitor monitor(eKind, map, TargetLinkMonitorTransport(), iNode, static_cast<int>(ulPort));
    monitor.SetDepth(static_cast<int>(ulDepth));
    monitor.SetBuffer(static_cast<int>(ulBuffer));
    monitor.SetPriorities(static_cast<int>(ulRead), static_cast<int>(ulWrite));
    if (dLineRate > 0)
    {
        monitor.SetLineRate(dLineRate);
    }
    std::printf("%s\n", monitor.Title().toLocal8Bit().constData());
    if (!monitor.Enable())
    {
        // No route, a counter another reader holds, or controls that could not be set.
        for (const QString& strMessage : messages.Messages)
        {
            Fail(strMessage);
        }
        return kExitError;
    }
    // The first reading starts the counts; each tick after it is one line.
    for (uint64_t t = 0; t <= ulTicks; ++t)
    {
        if (t > 0 && ulInterval > 0)
        {
            std::this_thread::sleep_for(std::chrono::milliseconds(ulInterval));
        }
        if (monitor.Tick())
        {
            const std::vector<SLinkSample>& samples = monitor.Samples(0);
            std::printf("%s\n", TickLine(monitor, samples.back().strTime).toLocal8Bit().constData());
            std::fflush(stdout);
        }
        else if (!monitor.IsEnabled())
        {
            for (const QString& strMessage : messages.Messages)
            {
                Fail(strMessage);
            }
            return messages.Messages.isEmpty() ? Fail(QStringLiteral("The connection to the target was lost"))
                                               : kExitError;
        }
        else if (t > 0)
        {
            Fail(QStringLiteral("A read of the port's counters failed; the tick was skipped"));
        }
    }
    if (!args.strReport.empty())
    {
        connection.reset();
        if (!monitor.GenerateReport(QString::fromStdString(args.strMap),
                                    QString::fromStdString(args.strReport), false))
        {
            for (const QString& strMessage : messages.Messages)
            {
                Fail(strMessage);
            }
            return kExitError;
        }
    }
    return 0;
}
} // namespace

extern const SCliCommand g_aLinkmonCommands[] = {
    {"linkmon", "ber|throughput|efficiency MAP NODE PORT --ticks N [--depth D] [--interval-ms N] ...",
     RunLinkmon},
    {nullptr, nullptr, nullptr}};
