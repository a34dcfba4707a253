// The health of the network on a saved map, checked against the target: once over every PE
// (validate), or as the background monitor does it, tick by tick, printing what changes (health).
#include "CliCollectingInterface.h"
#include "CliCommand.h"
#include "CliMap.h"
#include "CliOptions.h"
#include "CliTarget.h"

#include "NetworkDocument.h"
#include "NetworkValidation.h"
#include "TargetConnection.h"

#include <chrono>
#include <cstdio>
#include <thread>
#include <vector>

namespace
{
const char* const kValidateUsage = "validate MAP [--all]";
const char* const kHealthUsage = "health MAP --ticks N [--interval MS] [--all]";

// Exit statuses: everything checked is OK; something is not; the check could not be made.
constexpr int kExitHealthy = 0;
constexpr int kExitFaults = 1;
constexpr int kExitError = 2;

bool IsPlaceholder(const CPEPrimitive* pPE)
{
    return !pPE || (pPE->uType & kPETypeNull);
}

bool IsChecked(const CPEPrimitive& pe)
{
    return !pe.bDeleted && !(pe.uType & (kPETypeNull | kPETypeUnknown));
}

QString PELine(const CPEPrimitive& pe)
{
    const QString strName = pe.CommonName.isEmpty() ? pe.GetTypeString() : pe.CommonName;
    const QString strState = IsChecked(pe) ? pe.GetStatusString() : QStringLiteral("not checked");
    return QString::asprintf("Node %d (%s, %04Xh/%04Xh): ", pe.iNodeNumber + 1,
                             strName.toLocal8Bit().constData(), pe.DeviceID, pe.ManufID) +
           strState;
}

// "Link 3 (Node 2 port 1 - Node 3 port 1)".
QString LinkName(const CConnectionPrimitive& connection)
{
    return QString::asprintf("Link %d (Node %d port %d - Node %d port %d)", connection.iNodeNumber + 1,
                             connection.iPE1 + 1, connection.iPE1Port, connection.iPE2 + 1,
                             connection.iPE2Port);
}

// The link's status with the reason its ports gave, when there is one.
QString LinkState(const CNetworkDocument& map, const CConnectionPrimitive& connection)
{
    QString strState =
        connection.GetStatus().isEmpty() ? QStringLiteral("(no status)") : connection.GetStatus();
    if (connection.eStatus == eConnectionUp)
    {
        return strState;
    }
    for (const auto& [iNode, iPort] :
         {std::pair{connection.iPE1, connection.iPE1Port}, std::pair{connection.iPE2, connection.iPE2Port}})
    {
        const CPEPrimitive* pPE = map.ActivePEs.GetByNodeNumber(iNode);
        if (pPE && iPort >= 0 && iPort < static_cast<int>(kMaxPorts) &&
            !pPE->PortHealth[static_cast<size_t>(iPort)].Reason.isEmpty())
        {
            return strState + QStringLiteral(": Node %1 port %2: %3")
                                  .arg(iNode + 1)
                                  .arg(iPort)
                                  .arg(pPE->PortHealth[static_cast<size_t>(iPort)].Reason);
        }
    }
    return strState;
}

// Whether a link is shown: links to a port that leads nowhere only with --all.
bool ShowLink(const CNetworkDocument& map, const CConnectionPrimitive& connection, bool bAll)
{
    return !connection.bDeleted && (bAll || (!IsPlaceholder(map.ActivePEs.GetByNodeNumber(connection.iPE1)) &&
                                             !IsPlaceholder(map.ActivePEs.GetByNodeNumber(connection.iPE2))));
}

void Print(const QString& strLine)
{
    std::printf("%s\n", strLine.toLocal8Bit().constData());
}

// Counts what isn't well, prints the summary line and gives the exit status.
int Summary(const CNetworkDocument& map)
{
    int nPEs = 0, nBadPEs = 0, nLinks = 0, nBadLinks = 0;
    for (const auto& pPE : map.ActivePEs)
    {
        if (IsChecked(*pPE))
        {
            ++nPEs;
            nBadPEs += pPE->Health.eStatus == eValidationOK ? 0 : 1;
        }
    }
    for (const auto& pConnection : map.ActiveConnections)
    {
        if (ShowLink(map, *pConnection, false))
        {
            ++nLinks;
            nBadLinks += pConnection->eStatus == eConnectionUp ? 0 : 1;
        }
    }
    std::printf("%d PEs checked, %d not OK; %d links between PEs, %d not up\n", nPEs, nBadPEs, nLinks,
                nBadLinks);
    return nBadPEs + nBadLinks == 0 ? kExitHealthy : kExitFaults;
}

void PrintMessages(const QStringList& messages)
{
    for (const QString& strText : messages)
    {
        std::fprintf(stderr, "%s\n", strText.trimmed().toLocal8Bit().constData());
    }
}

// Opens the map and the target for it; false (with the reason printed) when either fails.
bool OpenMapAndTarget(const std::string& strPath, CNetworkDocument& map, CliConnection& connection)
{
    CCollectingInterface messages;
    if (!LoadCommandMap(strPath, map))
    {
        PrintMessages(messages.Messages.isEmpty() ? QStringList{QStringLiteral("Unable to open the map.")}
                                                  : messages.Messages);
        return false;
    }
    connection = OpenMapTarget(map);
    PrintMessages(messages.Messages);
    return connection != nullptr;
}

int RunValidate(const SCliInvocation& invocation)
{
    const CCliOptions options(invocation.args, {}, {"--all"});
    if (!options.Ok() || options.Positional().size() != 1)
    {
        return CliUsage(kValidateUsage);
    }
    CNetworkDocument map;
    CliConnection connection(nullptr, [](CTargetConnection*) {});
    if (!OpenMapAndTarget(options.Positional()[0], map, connection))
    {
        return kExitError;
    }
    CNetworkValidation validation;
    validation.Init(nullptr, &map.ActivePEs, &map.ActiveConnections);
    bool bOk = true;
    {
        CCollectingInterface messages;
        bOk = validation.ValidateNetwork(false);
    }
    const bool bAll = options.Has("--all");
    for (const auto& pPE : map.ActivePEs)
    {
        if (!pPE->bDeleted && (bAll || !IsPlaceholder(pPE.get())))
        {
            Print(PELine(*pPE));
        }
    }
    for (const auto& pConnection : map.ActiveConnections)
    {
        if (ShowLink(map, *pConnection, bAll))
        {
            Print(LinkName(*pConnection) + QStringLiteral(": ") + LinkState(map, *pConnection));
        }
    }
    if (!bOk)
    {
        std::fprintf(stderr, "%s\n", validation.LastFailure().toLocal8Bit().constData());
        return kExitError;
    }
    return Summary(map);
}

// What the health command compares between ticks.
struct SSnapshot
{
    std::vector<QString> peStates;
    std::vector<QString> linkStates;
};

SSnapshot Snapshot(const CNetworkDocument& map)
{
    SSnapshot snapshot;
    for (const auto& pPE : map.ActivePEs)
    {
        snapshot.peStates.push_back(pPE->GetStatusString());
    }
    for (const auto& pConnection : map.ActiveConnections)
    {
        snapshot.linkStates.push_back(LinkState(map, *pConnection));
    }
    return snapshot;
}

// "Unknown: Enable System Health ..." is long; a change from it reads "Unknown".
QString Short(const QString& strState)
{
    return strState.startsWith(QLatin1String("Unknown: ")) ? QStringLiteral("Unknown") : strState;
}

int RunHealth(const SCliInvocation& invocation)
{
    const CCliOptions options(invocation.args, {"--ticks", "--interval"}, {"--all"});
    uint64_t ulTicks = 0;
    uint64_t ulInterval = CNetworkValidation::kPeriodMs;
    if (!options.Ok() || options.Positional().size() != 1 || !options.Has("--ticks"))
    {
        return CliUsage(kHealthUsage);
    }
    if (!options.Number("--ticks", 1000000, &ulTicks) || !options.Number("--interval", 3600000, &ulInterval))
    {
        return kExitError;
    }
    CNetworkDocument map;
    CliConnection connection(nullptr, [](CTargetConnection*) {});
    if (!OpenMapAndTarget(options.Positional()[0], map, connection))
    {
        return kExitError;
    }
    const bool bAll = options.Has("--all");
    CNetworkValidation validation;
    validation.Init(nullptr, &map.ActivePEs, &map.ActiveConnections);
    if (!validation.HasWork())
    {
        std::fprintf(stderr, "The map has fewer than two PEs: there is nothing to monitor.\n");
        return kExitError;
    }
    validation.Start();
    SSnapshot before = Snapshot(map);
    for (uint64_t ulTick = 1; ulTick <= ulTicks; ++ulTick)
    {
        if (ulTick > 1 && ulInterval > 0)
        {
            std::this_thread::sleep_for(std::chrono::milliseconds(ulInterval));
        }
        bool bRunning = true;
        QStringList messages;
        {
            CCollectingInterface collecting;
            bRunning = validation.Tick();
            messages = collecting.Messages;
        }
        const SSnapshot after = Snapshot(map);
        for (size_t i = 0; i < after.peStates.size(); ++i)
        {
            const CPEPrimitive* pPE = map.ActivePEs.GetByIndex(static_cast<int>(i));
            if (after.peStates[i] != before.peStates[i] && (bAll || !IsPlaceholder(pPE)))
            {
                std::printf("tick %llu: Node %d: %s -> %s\n", static_cast<unsigned long long>(ulTick),
                            pPE->iNodeNumber + 1, Short(before.peStates[i]).toLocal8Bit().constData(),
                            Short(after.peStates[i]).toLocal8Bit().constData());
            }
        }
        for (size_t i = 0; i < after.linkStates.size(); ++i)
        {
            const CConnectionPrimitive* pConnection = map.ActiveConnections.GetByIndex(static_cast<int>(i));
            if (after.linkStates[i] != before.linkStates[i] && ShowLink(map, *pConnection, bAll))
            {
                std::printf("tick %llu: %s: %s -> %s\n", static_cast<unsigned long long>(ulTick),
                            LinkName(*pConnection).toLocal8Bit().constData(),
                            before.linkStates[i].toLocal8Bit().constData(),
                            after.linkStates[i].toLocal8Bit().constData());
            }
        }
        std::fflush(stdout);
        before = after;
        if (!bRunning)
        {
            PrintMessages(messages);
            return kExitError;
        }
    }
    validation.Stop();
    std::printf("%llu ticks, the last one covering %d PEs\n", static_cast<unsigned long long>(ulTicks),
                validation.PEsInLastTick());
    return Summary(map);
}
} // namespace

extern const SCliCommand g_aHealthCommands[] = {
    {"validate", kValidateUsage + 9, RunValidate},
    {"health", kHealthUsage + 7, RunHealth},
    {nullptr, nullptr, nullptr},
};
