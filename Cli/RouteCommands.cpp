// Routing tables of a saved map: generating them, moving them to and from the target's switches,
// and the way the tables give to a node.
#include "CliCommand.h"
#include "CliMap.h"
#include "CliOptions.h"
#include "CliTarget.h"

#include "FFRoutes.h"
#include "NVXLHal.h"
#include "NetworkDocument.h"
#include "NetworkMap.h"
#include "RouteGeneration.h"
#include "RouteSearch.h"
#include "TableTransfer.h"
#include "TargetConnection.h"
#include "UserInterface.h"

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
} // namespace

extern const SCliCommand g_aRouteCommands[] = {
    {"routes generate", "MAP [--download] [--skip-unused] [--save OUT]", RunRoutesGenerate},
    {"routes upload", "MAP [--skip-unused]", RunRoutesUpload},
    {"routes download", "MAP [--skip-unused]", RunRoutesDownload},
    {"route find", "MAP NODE [--modified]", RunRouteFind},
    {nullptr, nullptr, nullptr},
};
