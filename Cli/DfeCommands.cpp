// norvanta-cli dfe: the DFE scan, monitor and adjust of a Gen2 switch lane, as the SerDes window
// runs them, with the log printed as it goes. Ctrl-C (SIGINT) cancels a run as the window's
// Cancel does.
#include "CliCollectingInterface.h"
#include "CliCommand.h"
#include "CliMap.h"
#include "CliOptions.h"

#include "DfeSearch.h"
#include "FFRoutes.h"
#include "HalWrappers.h"
#include "NetworkDocument.h"
#include "PETypes.h"
#include "RouteSearch.h"

#include <QRegularExpression>

#include <csignal>
#include <cstdio>
#include <string>

namespace
{
const char* const kCommand = "dfe";
const char* const kUsage =
    "dfe scan|monitor|adjust MAP NODE --port P --lane L [--ber N:E | --samples N]\n"
    "        scan:    [--mode ratio|one] [--clear-taps] [--tap K=FROM:TO:BY:MAXERRS]...\n"
    "        monitor: [--leak N] [--fail N] [--iterations N|forever] [--adjust-on-fail]\n"
    "        adjust:  [--iterations N] [--tap K=DELTA]...";
constexpr int kExitRefused = 1;

volatile std::sig_atomic_t g_bInterrupted = 0;

void OnInterrupt(int)
{
    g_bInterrupted = 1;
}

int Fail(const QString& strText)
{
    for (const QString& strLine : strText.trimmed().split(QLatin1Char('\n')))
    {
        std::fprintf(stderr, "%s: %s\n", kCommand, strLine.trimmed().toLocal8Bit().constData());
    }
    return kExitRefused;
}

struct SDfeArgs
{
    std::string strProcedure, strMap, strNode;
    std::string strPort, strLane, strBer, strSamples, strMode = "ratio", strLeak, strFail, strIterations;
    bool bClearTaps = false;
    bool bAdjustOnFail = false;
    std::vector<std::string> taps;
};

std::string ParseArgs(const std::vector<std::string>& args, SDfeArgs* p)
{
    const CCliOptions options(
        args,
        {"--port", "--lane", "--ber", "--samples", "--mode", "--leak", "--fail", "--iterations", "--tap"},
        {"--clear-taps", "--adjust-on-fail"});
    if (!options.Ok())
    {
        return options.Error();
    }
    const std::vector<std::string>& words = options.Positional();
    if (words.size() > 3)
    {
        return "unexpected word '" + words[3] + "'";
    }
    if (words.size() < 3)
    {
        return "scan, monitor or adjust, a map and a node are needed";
    }
    p->strProcedure = words[0];
    p->strMap = words[1];
    p->strNode = words[2];
    const std::pair<const char*, std::string*> kValues[] = {
        {"--port", &p->strPort}, {"--lane", &p->strLane},
        {"--ber", &p->strBer},   {"--samples", &p->strSamples},
        {"--mode", &p->strMode}, {"--leak", &p->strLeak},
        {"--fail", &p->strFail}, {"--iterations", &p->strIterations}};
    for (const auto& [pszOption, pValue] : kValues)
    {
        if (options.Has(pszOption))
        {
            *pValue = options.Value(pszOption);
        }
    }
    p->taps = options.Values("--tap");
    p->bClearTaps = options.Has("--clear-taps");
    p->bAdjustOnFail = options.Has("--adjust-on-fail");
    if (p->strPort.empty() || p->strLane.empty())
    {
        return "--port and --lane are needed";
    }
    return {};
}

// "N:E": 1 in N x 10^E bits, N from 1 to 9 and E in the procedure's range.
bool ParseBer(const std::string& strText, uint32_t ulMinExp, uint32_t ulMaxExp, SDfeBer* pBer)
{
    const size_t nColon = strText.find(':');
    uint64_t ulInt = 0, ulExp = 0;
    if (nColon == std::string::npos || !CliNumber(strText.substr(0, nColon), 9, &ulInt) || ulInt < 1 ||
        !CliNumber(strText.substr(nColon + 1), ulMaxExp, &ulExp) || ulExp < ulMinExp)
    {
        return false;
    }
    pBer->ulInt = static_cast<uint32_t>(ulInt);
    pBer->ulExp = static_cast<uint32_t>(ulExp);
    return true;
}

// A small count option within 1..ulMax; empty keeps the default.
bool SmallNumber(const std::string& strText, uint64_t ulMax, uint32_t* pulValue)
{
    if (strText.empty())
    {
        return true;
    }
    uint64_t ulValue = 0;
    if (!CliNumber(strText, ulMax, &ulValue) || ulValue < 1)
    {
        return false;
    }
    *pulValue = static_cast<uint32_t>(ulValue);
    return true;
}

int RunDfe(const SCliInvocation& invocation)
{
    SDfeArgs args;
    const std::string strError = ParseArgs(invocation.args, &args);
    if (!strError.empty())
    {
        std::fprintf(stderr, "%s: %s\n", kCommand, strError.c_str());
        return CliUsage(kUsage);
    }
    EDfeProcedure eProcedure = EDfeProcedure::Scan;
    if (args.strProcedure == "monitor")
    {
        eProcedure = EDfeProcedure::Monitor;
    }
    else if (args.strProcedure == "adjust")
    {
        eProcedure = EDfeProcedure::Adjust;
    }
    else if (args.strProcedure != "scan")
    {
        std::fprintf(stderr, "%s: unknown procedure '%s': scan, monitor or adjust\n", kCommand,
                     args.strProcedure.c_str());
        return CliUsage(kUsage);
    }
    uint64_t ulNode = 0, ulPort = 0, ulLane = 0;
    if (!CliNumber(args.strNode, 0xFFFFu, &ulNode) || ulNode == 0 || !CliNumber(args.strPort, 31u, &ulPort) ||
        !CliNumber(args.strLane, 47u, &ulLane))
    {
        return CliUsage(kUsage);
    }

    // The parameter blocks, filled as the dialogs fill them.
    SDfeScanParams scan;
    SDfeMonitorParams monitor;
    SDfeAdjustParams adjust;
    scan.ulMode = args.strMode == "one" ? 1 : 0;
    if (args.strMode != "ratio" && args.strMode != "one")
    {
        return Fail(
            QStringLiteral("--mode is ratio or one, not '%1'").arg(QString::fromStdString(args.strMode)));
    }
    if (eProcedure == EDfeProcedure::Scan)
    {
        SDfeScanEntry entry;
        for (int i = 0; i < 5; ++i)
        {
            entry.astrFrom[i] = QString::number(scan.aTaps[i].lMin);
            entry.astrTo[i] = QString::number(scan.aTaps[i].lMax);
            entry.astrBy[i] = QString::number(scan.aTaps[i].lDelta);
            entry.astrMaxErrs[i] = QString::number(scan.aTaps[i].ulMaxErrs);
        }
        entry.bClearTaps = args.bClearTaps;
        for (const std::string& strTap : args.taps)
        {
            const QStringList parts =
                QString::fromStdString(strTap).split(QRegularExpression(QStringLiteral("[=:]")));
            bool bOk = false;
            const int iTap = parts.value(0).toInt(&bOk);
            if (parts.size() != 5 || !bOk || iTap < 0 || iTap > 4)
            {
                return Fail(QStringLiteral("--tap takes K=FROM:TO:BY:MAXERRS with K from 0 to 4, not '%1'")
                                .arg(QString::fromStdString(strTap)));
            }
            entry.astrFrom[iTap] = parts[1];
            entry.astrTo[iTap] = parts[2];
            entry.astrBy[iTap] = parts[3];
            entry.astrMaxErrs[iTap] = parts[4];
        }
        QString strCheck;
        if (!CheckDfeScanEntry(entry, &scan, &strCheck))
        {
            return Fail(strCheck.isEmpty() ? QStringLiteral("Max Errs is not a number") : strCheck);
        }
    }
    else if (eProcedure == EDfeProcedure::Monitor)
    {
        if (!SmallNumber(args.strLeak, 9, &monitor.ulLeak) || !SmallNumber(args.strFail, 9, &monitor.ulFail))
        {
            return Fail(QStringLiteral("--leak and --fail take 1 to 9"));
        }
        if (args.strIterations == "forever")
        {
            monitor.ulIterations = kDfeMonitorForever;
        }
        else if (!SmallNumber(args.strIterations, 10, &monitor.ulIterations))
        {
            return Fail(QStringLiteral("--iterations takes 1 to 10 or forever"));
        }
        monitor.bAdjustOnFail = args.bAdjustOnFail ? 1 : 0;
    }
    else
    {
        if (!SmallNumber(args.strIterations, 10, &adjust.ulIterations))
        {
            return Fail(QStringLiteral("--iterations takes 1 to 10"));
        }
        if (!args.taps.empty())
        {
            SDfeAdjustEntry entry;
            entry.ulIterations = adjust.ulIterations;
            if (args.taps.size() > 5)
            {
                return Fail(QStringLiteral("at most five --tap rows"));
            }
            for (size_t i = 0; i < 5; ++i)
            {
                entry.abEnable[i] = i < args.taps.size();
                if (i >= args.taps.size())
                {
                    continue;
                }
                const QStringList parts = QString::fromStdString(args.taps[i]).split(QLatin1Char('='));
                bool bOk = false;
                const int iTap = parts.value(0).toInt(&bOk);
                if (parts.size() != 2 || !bOk || iTap < 0 || iTap > 4)
                {
                    return Fail(QStringLiteral("--tap takes K=DELTA with K from 0 to 4, not '%1'")
                                    .arg(QString::fromStdString(args.taps[i])));
                }
                entry.auTap[i] = static_cast<uint32_t>(iTap);
                entry.astrDelta[i] = parts[1];
            }
            QString strCheck;
            if (!CheckDfeAdjustEntry(entry, &adjust, &strCheck))
            {
                return Fail(QStringLiteral("a --tap delta is not a number"));
            }
        }
    }
    SDfeBer ber;
    const bool bBer = !args.strBer.empty();
    if (bBer && !ParseBer(args.strBer, eProcedure == EDfeProcedure::Monitor ? 9 : 7,
                          eProcedure == EDfeProcedure::Monitor ? 14 : 12, &ber))
    {
        return Fail(QStringLiteral("--ber takes N:E, N from 1 to 9 and E from %1 to %2")
                        .arg(eProcedure == EDfeProcedure::Monitor ? 9 : 7)
                        .arg(eProcedure == EDfeProcedure::Monitor ? 14 : 12));
    }
    uint32_t ulSamples = 0;
    if (!args.strSamples.empty() && !SmallNumber(args.strSamples, 0xFFFFFFFFu, &ulSamples))
    {
        return Fail(QStringLiteral("--samples takes a count of 1 or more"));
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
    QString strNodeError;
    const CPEPrimitive* pPE =
        Gen2ToolSwitchNode(map, ulNode, QStringLiteral("lanes the DFE tools tune"), &strNodeError);
    if (!pPE)
    {
        return Fail(strNodeError);
    }
    uint32_t ulDestID = 0;
    uint8_t uchHop = 0;
    const CPEPrimitive* pHost = MapHostPE(map);
    if (!pHost ||
        FindRoute(pHost, pPE, map.ActivePEs, map.ActiveConnections, &ulDestID, &uchHop, false, nullptr) != 0)
    {
        return Fail(QStringLiteral("No route to node %1 in the map").arg(ulNode));
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

    // Everything is checked before the first write: the port and lane, and a running link.
    CTargetSerDesAccess access(ulDestID, uchHop);
    SSerDesDeviceTable table;
    if (!LoadSerDesDeviceTable(access, pPE->DeviceID, &table))
    {
        return Fail(QStringLiteral("Unable to read the quad configuration of node %1").arg(ulNode));
    }
    if (ulPort >= table.ports.size() || table.ports[ulPort].ulLanes == 0)
    {
        return Fail(QStringLiteral("Port %1 has no lanes in the present quad configuration").arg(ulPort));
    }
    const SSerDesPort& port = table.ports[ulPort];
    if (ulLane < port.ulFirstLane || ulLane >= port.ulFirstLane + port.ulLanes)
    {
        return Fail(QStringLiteral("Lane %1 is not a lane of port %2: its lanes are %3 to %4")
                        .arg(ulLane)
                        .arg(ulPort)
                        .arg(port.ulFirstLane)
                        .arg(port.ulFirstLane + port.ulLanes - 1));
    }
    uint32_t ulStatus = 0;
    if (access.Read(serdes::PortErrorStatus(static_cast<uint32_t>(ulPort)), &ulStatus) != 0)
    {
        return Fail(QStringLiteral("Unable to read the status of port %1").arg(ulPort));
    }
    if (!(ulStatus & serdes::kPortOk))
    {
        return Fail(QStringLiteral("Port %1 of node %2 is not trained: a DFE run needs the link up to count "
                                   "its errors. Nothing was written.")
                        .arg(ulPort)
                        .arg(ulNode));
    }
    if (bBer)
    {
        uint32_t ulSpeed = 0;
        GetPortSpeedMHz(kSerDesVendorID, pPE->DeviceID, 0, ulDestID, uchHop, static_cast<uint8_t>(ulPort),
                        &ulSpeed);
        const double dPeriod = MeasureDfeSamplePeriod(access, static_cast<uint32_t>(ulLane));
        ulSamples = DfeBerToSamples(ber, ulSpeed, dPeriod);
        std::printf("Samples: %u (1 in %ue%u bits at %u MHz, %.1f us a sample)\n", ulSamples, ber.ulInt,
                    ber.ulExp, ulSpeed ? ulSpeed : kDfeDefaultSpeedMHz, dPeriod * 1e6);
    }
    if (ulSamples)
    {
        scan.ulSamples = monitor.ulSamples = adjust.ulSamples = ulSamples;
    }

    CDfeSearch search(access, table);
    search.fnLogLine = [](const QString& strLine)
    {
        std::printf("%s\n", strLine.toLocal8Bit().constData());
        std::fflush(stdout);
    };
    search.fnCancelled = [] { return g_bInterrupted != 0; };
    search.fnProgress = [](uint32_t, uint32_t) {};
    g_bInterrupted = 0;
    auto pfnPrevious = std::signal(SIGINT, OnInterrupt);
    std::printf("%s\n", DfeWorkTitle(eProcedure, static_cast<uint32_t>(ulPort), static_cast<uint32_t>(ulLane))
                            .toLocal8Bit()
                            .constData());
    int nResult = 0;
    const uint32_t ulP = static_cast<uint32_t>(ulPort), ulL = static_cast<uint32_t>(ulLane);
    switch (eProcedure)
    {
    case EDfeProcedure::Scan:
        nResult = search.Scan(ulP, ulL, scan);
        break;
    case EDfeProcedure::Monitor:
        nResult = search.Monitor(ulP, ulL, monitor, adjust);
        break;
    case EDfeProcedure::Adjust:
        nResult = search.Adjust(ulP, ulL, adjust);
        break;
    }
    std::signal(SIGINT, pfnPrevious);
    if (!search.Log().endsWith(QLatin1Char('\n')))
    {
        std::printf("\n");
    }
    return nResult == 0 ? 0 : kExitRefused;
}
} // namespace

extern const SCliCommand g_aDfeCommands[] = {
    {"dfe", "scan|monitor|adjust MAP NODE --port P --lane L [--ber N:E | --samples N] [parameters] ...",
     RunDfe},
    {nullptr, nullptr, nullptr}};
