// Multicast masks of a saved map, written to the target's switches: one switch, or all of them.
#include "CliCommand.h"
#include "CliMap.h"
#include "CliOptions.h"
#include "CliTarget.h"

#include "FFRoutes.h"
#include "Multicast.h"
#include "NVXLHal.h"
#include "NetworkDocument.h"
#include "TargetConnection.h"
#include "UserInterface.h"

#include <cstdio>
#include <memory>

std::unique_ptr<IUserInterface> MakeCliAnswers(bool bSkipUnused);

namespace
{
void CountMasks(const CPEPrimitive& pe, int* pnPorts, int* pnIDs)
{
    *pnPorts = 0;
    *pnIDs = 0;
    for (int i = 0; i < pe.Multicast.GetNumMasks(); ++i)
    {
        *pnPorts += static_cast<int>(pe.Multicast.GetMask(i)->Ports.size());
        *pnIDs += static_cast<int>(pe.Multicast.GetMask(i)->DestIDs.size());
    }
}

int RunMulticastDownload(const SCliInvocation& invocation)
{
    const char* const pszUsage = "multicast download MAP [NODE]";
    const CCliOptions options(invocation.args, {}, {});
    if (!options.Ok() || options.Positional().empty() || options.Positional().size() > 2)
    {
        return CliUsage(pszUsage);
    }
    uint64_t ulNode = 0;
    if (options.Positional().size() == 2)
    {
        if (!CliNumber(options.Positional()[1], 0xFFFFFFFFu, &ulNode))
        {
            return 2;
        }
        if (ulNode == 0)
        {
            std::fprintf(stderr, "Node numbers start at 1\n");
            return 2;
        }
    }
    auto answers = MakeCliAnswers(false);
    CNetworkDocument map;
    if (!LoadCommandMap(options.Positional()[0], map))
    {
        return 1;
    }
    const CPEPrimitive* pPE = nullptr;
    if (ulNode)
    {
        pPE = map.ActivePEs.GetByNodeNumber(static_cast<int>(ulNode - 1));
        if (!pPE || pPE->bDeleted)
        {
            std::fprintf(stderr, "Node not found\n");
            return 1;
        }
        // Refused before the target is even opened: nothing is written to a switch that can't
        // take the masks.
        if (!CheckMulticastSupport(*pPE))
        {
            return 1;
        }
    }
    auto connection = OpenCliTarget();
    if (!connection)
    {
        return 1;
    }
    HalSetLargeTransport(MapUsesLongIDs() ? 1 : 0);
    if (CPEPrimitive* pHost = MapHostPE(map))
    {
        pHost->bHasHostLink = true;
        pHost->bHostLinkOpen = true;
    }
    if (pPE)
    {
        if (!DownloadMulticast(map, *pPE))
        {
            return 1;
        }
        int nPorts = 0;
        int nIDs = 0;
        CountMasks(*pPE, &nPorts, &nIDs);
        std::printf("Downloaded %d multicast masks to Node %llu: %d ports, %d destination IDs\n",
                    pPE->Multicast.GetNumMasks(), static_cast<unsigned long long>(ulNode), nPorts, nIDs);
        return 0;
    }
    const SMulticastDownload result = DownloadAllMulticast(map);
    std::printf("Downloaded the multicast masks of %d of %d switches\n", result.nDone, result.nSwitches);
    return result.nDone == result.nSwitches ? 0 : 1;
}
} // namespace

extern const SCliCommand g_aMulticastCommands[] = {
    {"multicast download", "MAP [NODE]", RunMulticastDownload},
    {nullptr, nullptr, nullptr},
};
