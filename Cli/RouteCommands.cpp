// Routing tables of a saved map: generating them, moving them to and from the target's switches,
// and the way the tables give to a node.
#include "CliCollectingInterface.h"
#include "CliCommand.h"
#include "CliMap.h"
#include "CliOptions.h"
#include "CliTarget.h"

#include "FFRoutes.h"
#include "NVXLHal.h"
#include "NetworkDocument.h"
#include "NetworkMap.h"
#include "RouteCheck.h"
#include "RouteGeneration.h"
#include "RouteSearch.h"
#include "TableTransfer.h"
#include "TargetConnection.h"
#include "UserInterface.h"

#include <algorithm>
#include <cstdio>
#include <memory>

std::unique_ptr<IUserInterface> MakeCliAnswers(bool bSkipUnused);

namespace
{
int CountTables(const CNetworkDocument& map, int* piEntries)
{
    int nSwitches = 0;
    *piEntries = 0;
    for (const auto& pPE : map.ActivePEs)
    {
        bool bAny = false;
        for (const auto& pTable : pPE->RoutingTables)
        {
            if (pTable)
            {
                bAny = true;
                *piEntries += pTable->GetNumEntries();
            }
        }
        nSwitches += bAny ? 1 : 0;
    }
    return nSwitches;
}

int RunRoutesGenerate(const SCliInvocation& invocation)
{
    const char* const pszUsage = "routes generate MAP [--download] [--skip-unused] [--save OUT]";
    const CCliOptions options(invocation.args, {"--save"}, {"--download", "--skip-unused"});
    if (!options.Ok() || options.Positional().size() != 1)
    {
        return CliUsage(pszUsage);
    }
    auto answers = MakeCliAnswers(options.Has("--skip-unused"));
    CNetworkDocument map;
    if (!LoadCommandMap(options.Positional()[0], map))
    {
        return 1;
    }
    GenerateRoutes(map, -1);
    int iEntries = 0;
    const int nSwitches = CountTables(map, &iEntries);
    std::printf("Generated routing tables for %d switches, %d entries\n", nSwitches, iEntries);
    CliConnection connection(nullptr, [](CTargetConnection*) {});
    if (options.Has("--download"))
    {
        connection = OpenMapTarget(map);
        if (!connection)
        {
            return 1;
        }
        const int nDone = DownloadAllTables(map);
        std::printf("Downloaded the routing tables of %d switches\n", nDone);
        if (nDone != nSwitches)
        {
            return 1;
        }
    }
    const std::string strOut = options.Has("--save") ? options.Value("--save") : options.Positional()[0];
    if (!map.SaveAs(QString::fromStdString(strOut)))
    {
        std::fprintf(stderr, "Unable to save the map to %s\n", strOut.c_str());
        return 1;
    }
    std::printf("Saved %s\n", strOut.c_str());
    return 0;
}

int RunRoutesTransfer(const SCliInvocation& invocation, bool bUpload)
{
    const char* const pszUsage =
        bUpload ? "routes upload MAP [--skip-unused]" : "routes download MAP [--skip-unused]";
    const CCliOptions options(invocation.args, {}, {"--skip-unused"});
    if (!options.Ok() || options.Positional().size() != 1)
    {
        return CliUsage(pszUsage);
    }
    auto answers = MakeCliAnswers(options.Has("--skip-unused"));
    CNetworkDocument map;
    if (!LoadCommandMap(options.Positional()[0], map))
    {
        return 1;
    }
    int nSwitches = 0;
    for (const auto& pPE : map.ActivePEs)
    {
        nSwitches += !pPE->bDeleted && (pPE->uType & kPETypeSwitch) ? 1 : 0;
    }
    const CliConnection connection = OpenMapTarget(map);
    if (!connection)
    {
        return 1;
    }
    if (!bUpload)
    {
        const int nDone = DownloadAllTables(map);
        std::printf("Downloaded the routing tables of %d of %d switches\n", nDone, nSwitches);
        return nDone == nSwitches ? 0 : 1;
    }
    const int nDone = UploadAllTables(map, options.Has("--skip-unused"));
    int iEntries = 0;
    CountTables(map, &iEntries);
    std::printf("Uploaded the routing tables of %d of %d switches, %d entries\n", nDone, nSwitches, iEntries);
    if (!map.Save())
    {
        std::fprintf(stderr, "Unable to save the map to %s\n", options.Positional()[0].c_str());
        return 1;
    }
    return nDone == nSwitches ? 0 : 1;
}

int RunRoutesUpload(const SCliInvocation& invocation)
{
    return RunRoutesTransfer(invocation, true);
}

int RunRoutesDownload(const SCliInvocation& invocation)
{
    return RunRoutesTransfer(invocation, false);
}

int RunRouteFind(const SCliInvocation& invocation)
{
    const char* const pszUsage = "route find MAP NODE [--modified]";
    const CCliOptions options(invocation.args, {}, {"--modified"});
    if (!options.Ok() || options.Positional().size() != 2)
    {
        return CliUsage(pszUsage);
    }
    uint64_t ulNode = 0;
    if (!CliNumber(options.Positional()[1], 0xFFFFFFFFu, &ulNode))
    {
        return 2;
    }
    CNetworkDocument map;
    if (!LoadCommandMap(options.Positional()[0], map))
    {
        return 1;
    }
    const CPEPrimitive* pTarget =
        ulNode ? map.ActivePEs.GetByNodeNumber(static_cast<int>(ulNode - 1)) : nullptr;
    if (!pTarget || pTarget->bDeleted)
    {
        std::fprintf(stderr, "Node not found\n");
        return 1;
    }
    uint32_t ulDestID = 0;
    uint8_t uchHop = 0;
    CRoute route;
    if (FindRoute(MapHostPE(map), pTarget, map.ActivePEs, map.ActiveConnections, &ulDestID, &uchHop,
                  options.Has("--modified"), &route) != 0)
    {
        std::fprintf(stderr, "Unable to find a route to that PE.\n");
        return 1;
    }
    if (ulDestID == 0xFFFFFFFFu)
    {
        std::printf("Node %llu is the host: destID FFFFFFFFh hop count 0\n",
                    static_cast<unsigned long long>(ulNode));
        return 0;
    }
    std::printf("Node %llu: destID %Xh hop count %u\n", static_cast<unsigned long long>(ulNode), ulDestID,
                uchHop);
    QString strText;
    route.GetText(strText);
    std::fputs(strText.toLocal8Bit().constData(), stdout);
    return 0;
}
// Opens the map of an analysis command; false with the reason on standard error.
bool LoadAnalysedMap(const char* pszCommand, const std::string& strPath, CNetworkDocument& map)
{
    CCollectingInterface messages;
    if (LoadCommandMap(strPath, map))
    {
        return true;
    }
    const QString strReason = messages.Messages.isEmpty()
                                  ? QStringLiteral("Unable to open the map.")
                                  : messages.Messages.join(QLatin1Char(' ')).trimmed();
    std::fprintf(stderr, "%s: %s: %s\n", pszCommand, strPath.c_str(), strReason.toLocal8Bit().constData());
    return false;
}

// A node named on the command line as the map shows it (its number plus one).
const CPEPrimitive* CommandNode(const CNetworkDocument& map, const std::string& strText)
{
    uint64_t ulNode = 0;
    if (!CliNumber(strText, 0x7FFFFFFFu, &ulNode))
    {
        return nullptr;
    }
    const CPEPrimitive* pPE = ulNode ? map.ActivePEs.GetByNodeNumber(static_cast<int>(ulNode - 1)) : nullptr;
    if (!pPE || pPE->bDeleted)
    {
        std::fprintf(stderr, "Node %s is not on the map\n", strText.c_str());
        return nullptr;
    }
    return pPE;
}

int RunRoutesWhy(const SCliInvocation& invocation)
{
    const char* const pszUsage = "routes why MAP FROM TO";
    const CCliOptions options(invocation.args, {}, {});
    if (!options.Ok() || options.Positional().size() != 3)
    {
        return CliUsage(pszUsage);
    }
    CNetworkDocument map;
    if (!LoadAnalysedMap("routes why", options.Positional()[0], map))
    {
        return 2;
    }
    const CPEPrimitive* pFrom = CommandNode(map, options.Positional()[1]);
    const CPEPrimitive* pTo = pFrom ? CommandNode(map, options.Positional()[2]) : nullptr;
    if (!pTo)
    {
        return 2;
    }
    if (pFrom->uType & kPETypeNull)
    {
        std::fprintf(stderr, "%s is an empty port and sends no packets\n",
                     NodeName(pFrom->iNodeNumber).c_str());
        return 2;
    }
    const bool bLong = MapUsesLongIDs();
    const int iDestID = EndpointDestID(*pTo, bLong);
    if (iDestID < 0)
    {
        std::fprintf(stderr, "%s has no %d-bit destination ID to send a packet to\n",
                     NodeName(pTo->iNodeNumber).c_str(), bLong ? 16 : 8);
        return 2;
    }
    const SPacketTrace trace =
        TracePacket(map.ActivePEs, map.ActiveConnections, *pFrom, static_cast<uint16_t>(iDestID), bLong);
    std::printf("%s to %s: destination ID %Xh (%d-bit)\n", NodeName(pFrom->iNodeNumber).c_str(),
                NodeName(pTo->iNodeNumber).c_str(), static_cast<unsigned>(iDestID), bLong ? 16 : 8);
    for (const SPacketHop& hop : trace.hops)
    {
        std::printf("%s\n  %s\n", hop.strDecision.c_str(), ChannelName(hop.channel).c_str());
    }
    std::printf("%s\n", FateText(trace).c_str());
    return trace.eFate == EPacketFate::eDelivered ? 0 : 1;
}

int RunRoutesCheck(const SCliInvocation& invocation)
{
    const char* const pszUsage = "routes check MAP";
    const CCliOptions options(invocation.args, {}, {});
    if (!options.Ok() || options.Positional().size() != 1)
    {
        return CliUsage(pszUsage);
    }
    CNetworkDocument map;
    if (!LoadAnalysedMap("routes check", options.Positional()[0], map))
    {
        return 2;
    }
    const bool bLong = MapUsesLongIDs();
    const SRouteCheckReport report = CheckRoutes(map.ActivePEs, map.ActiveConnections, bLong);
    const int nPairs = report.nEndpoints * (report.nEndpoints - 1);
    std::printf("Checked %d endpoints, %d pairs, %d-bit IDs\n", report.nEndpoints, std::max(nPairs, 0),
                bLong ? 16 : 8);
    for (const SPairFinding& finding : report.unreachable)
    {
        std::printf("Unreachable: %s -> %s: %s\n  path: %s\n", NodeName(finding.iFromNode).c_str(),
                    NodeName(finding.iToNode).c_str(), FateText(finding.trace).c_str(),
                    PathText(finding.trace).c_str());
    }
    for (const SPairFinding& finding : report.loops)
    {
        std::printf("Routing loop: %s -> %s: %s\n  path: %s\n", NodeName(finding.iFromNode).c_str(),
                    NodeName(finding.iToNode).c_str(), FateText(finding.trace).c_str(),
                    PathText(finding.trace).c_str());
    }
    for (const auto& cycle : report.deadlocks)
    {
        std::printf(
            "Routing deadlock: a cycle of %zu channel dependencies, each channel waiting for the next:\n",
            cycle.size());
        for (const SChannel& channel : cycle)
        {
            std::printf("  %s\n", ChannelName(channel).c_str());
        }
        std::printf("  and back to %s\n", ChannelName(cycle.front()).c_str());
    }
    if (report.Clean())
    {
        std::printf("No unreachable pairs, routing loops or routing deadlocks\n");
        return 0;
    }
    std::printf("Found %zu unreachable pairs, %zu routing loops, %zu routing deadlocks\n",
                report.unreachable.size(), report.loops.size(), report.deadlocks.size());
    return 1;
}
} // namespace

extern const SCliCommand g_aRouteCommands[] = {
    {"routes generate", "MAP [--download] [--skip-unused] [--save OUT]", RunRoutesGenerate},
    {"routes upload", "MAP [--skip-unused]", RunRoutesUpload},
    {"routes download", "MAP [--skip-unused]", RunRoutesDownload},
    {"route find", "MAP NODE [--modified]", RunRouteFind},
    {"routes why", "MAP FROM TO", RunRoutesWhy},
    {"routes check", "MAP", RunRoutesCheck},
    {nullptr, nullptr, nullptr},
};
