#include "NetworkCommands.h"

#include "AutoLayout.h"
#include "Discovery.h"
#include "EnumerationSettings.h"
#include "FFRoutes.h"
#include "LinkCommands.h"
#include "MainFrameCore.h"
#include "NetBrowser.h"
#include "PassiveDiscovery.h"
#include "RouteSearch.h"
#include "TableTransfer.h"
#include "UserInterface.h"

namespace
{
constexpr uint32_t kOwnDeviceID = 0xFFFFFFFFu; // the host's own registers, without a packet

// The stored settings as the settings window would accept them, for callers without a window.
bool TakeStoredSettings(CEnumerationSettings& settings)
{
    return settings.Validate() == CEnumerationSettings::eFieldNone;
}

bool LayoutOnThisThread(CNetworkDocument& document)
{
    return CAutoLayout::Run(document, false);
}

// The switch that a PE command names, or null (the command then does nothing: a pop-up of another
// kind never offers it).
CPEPrimitive* CommandSwitch(CMainFrameCore& frame, const SCommandContext& context)
{
    CPEPrimitive* pPE = frame.Document().pCurrentPEs->GetByNodeNumber(context.iNode);
    return pPE && (pPE->uType & kPETypeSwitch) ? pPE : nullptr;
}

// Commands that go to the hardware need the link: they are not offered without it, and say so
// when they are run some other way (a script, the headless demo).
bool NeedTarget(const CMainFrameCore& frame)
{
    if (frame.IsConnected())
    {
        return true;
    }
    ShowMessage(QStringLiteral("Not connected to a target. Connect to a target first."));
    return false;
}

void MapChanged(CMainFrameCore& frame)
{
    frame.SetModified();
    frame.NotifyMap();
}
} // namespace

int32_t MapRouteToPE(const CNetworkDocument& document, int iNode, uint32_t* pulDestID, uint8_t* puchHopCount)
{
    const CPEPrimitive* pPE = document.pCurrentPEs->GetByNodeNumber(iNode);
    if (!pPE)
    {
        return kNoRouteStatus;
    }
    if (pPE->bHasHostLink && pPE->bHostLinkOpen)
    {
        *pulDestID = kOwnDeviceID;
        *puchHopCount = 0;
        return 0;
    }
    const CPEPrimitive* pHost = MapHostPE(document);
    if (!pHost)
    {
        return kNoRouteStatus;
    }
    // The tables the hardware has first; failing them, all-ones routes laid along the map's
    // shortest path. A PE that no link of the map leads to has no way at all.
    if (pPE->bUsesDestID && FindRoute(pHost, pPE, *document.pCurrentPEs, *document.pCurrentConnections,
                                      pulDestID, puchHopCount, false, nullptr) == 0)
    {
        return 0;
    }
    CRoute path;
    if (FindShortest(path, *document.pCurrentConnections, static_cast<uint32_t>(pHost->iNodeNumber),
                     static_cast<uint32_t>(iNode)) == 0)
    {
        return kNoRouteStatus;
    }
    const bool bLong = MapUsesLongIDs();
    const int32_t nStatus = SetupFFRoute(document, pHost, pPE, bLong, puchHopCount);
    if (nStatus != 0)
    {
        return nStatus;
    }
    *pulDestID = bLong ? 0xFFFFu : 0xFFu;
    return 0;
}

void InstallNetworkCommands(CMainFrameCore& frame, SNetworkCommandHooks hooks)
{
    if (!hooks.chooseSettings)
    {
        hooks.chooseSettings = TakeStoredSettings;
    }
    if (!hooks.layout)
    {
        hooks.layout = LayoutOnThisThread;
    }
    PERouteFinder() = MapRouteToPE;

    auto discovery = [&frame, hooks](const SCommandContext&)
    {
        if (!NeedTarget(frame))
        {
            return;
        }
        CEnumerationSettings settings;
        settings.Load(MapUsesLongIDs());
        if (!hooks.chooseSettings(settings))
        {
            return;
        }
        if (settings.b16BitIDs != MapUsesLongIDs())
        {
            frame.SetTransportSize(settings.b16BitIDs ? 16 : 8);
        }
        auto uploadRegisters = [](CNetworkDocument& map) { UploadRegisters(map, AllRegisters(map)); };
        if (StandardDiscoveryCommand(settings, frame.Document(), frame.HostPE(), frame.IsConnected(),
                                     hooks.layout, uploadRegisters) == 0)
        {
            AutosizeMap(frame.Document());
            MapChanged(frame);
        }
        if (hooks.discoveryDone)
        {
            hooks.discoveryDone();
        }
    };
    frame.SetCommandHandler(eCmdStandardDiscovery, discovery);
    frame.SetCommandHandler(eCmdPEStandardDiscovery, discovery);

    // Passive discovery has no settings: it never enumerates, and the ID width is the map's.
    auto passiveDiscovery = [&frame, hooks](const SCommandContext&)
    {
        if (!NeedTarget(frame))
        {
            return;
        }
        if (PassiveDiscoveryCommand(frame.Document(), frame.HostPE(), hooks.layout) == 0)
        {
            AutosizeMap(frame.Document());
            MapChanged(frame);
        }
        if (hooks.discoveryDone)
        {
            hooks.discoveryDone();
        }
    };
    frame.SetCommandHandler(eCmdPassiveDiscovery, passiveDiscovery);
    frame.SetCommandHandler(eCmdPEPassiveDiscovery, passiveDiscovery);

    frame.SetCommandHandler(eCmdGenerateAllTables,
                            [&frame](const SCommandContext&)
                            {
                                GenerateAllRoutesCommand(frame.Document(), frame.IsConnected(), false);
                                MapChanged(frame);
                            });
    frame.SetCommandHandler(eCmdUploadAllTables,
                            [&frame](const SCommandContext&)
                            {
                                if (!NeedTarget(frame))
                                {
                                    return;
                                }
                                UploadAllTables(frame.Document(), AskSkipUploadForUnusedPorts());
                                MapChanged(frame);
                            });
    frame.SetCommandHandler(eCmdDownloadAllTables,
                            [&frame](const SCommandContext&)
                            {
                                if (NeedTarget(frame))
                                {
                                    DownloadAllTables(frame.Document());
                                    frame.NotifyMap();
                                }
                            });

    frame.SetCommandHandler(eCmdTableUpload,
                            [&frame](const SCommandContext& context)
                            {
                                CPEPrimitive* pSwitch = CommandSwitch(frame, context);
                                if (pSwitch && NeedTarget(frame) &&
                                    UploadPETables(frame.Document(), *pSwitch, false))
                                {
                                    MapChanged(frame);
                                }
                            });
    frame.SetCommandHandler(eCmdTableGenerate,
                            [&frame](const SCommandContext& context)
                            {
                                if (CommandSwitch(frame, context) &&
                                    GenerateRoutes(frame.Document(), context.iNode) > 0)
                                {
                                    MapChanged(frame);
                                }
                            });
    frame.SetCommandHandler(eCmdTableDownload,
                            [&frame](const SCommandContext& context)
                            {
                                CPEPrimitive* pSwitch = CommandSwitch(frame, context);
                                if (pSwitch && NeedTarget(frame) &&
                                    DownloadPETables(frame.Document(), *pSwitch, false, false, false))
                                {
                                    frame.NotifyMap();
                                }
                            });
    frame.SetCommandHandler(
        eCmdSetDefaultPort,
        [&frame](const SCommandContext& context)
        {
            CPEPrimitive* pSwitch = CommandSwitch(frame, context);
            QString strPort;
            if (!pSwitch || !NeedTarget(frame) || !ReadDefaultPort(frame.Document(), *pSwitch, &strPort))
            {
                return;
            }
            if (UI().AskText(QStringLiteral("Default port:"), QStringLiteral("Set Default Port"), &strPort) &&
                SetDefaultPortFromText(frame.Document(), *pSwitch, strPort))
            {
                MapChanged(frame);
            }
        });

    frame.SetCommandHandler(eCmdLinkStatus,
                            [&frame](const SCommandContext& context)
                            {
                                if (NeedTarget(frame))
                                {
                                    LinkStatusCommand(frame.Document(), context.iConnection);
                                }
                            });
    frame.SetCommandHandler(eCmdResyncAckIDs,
                            [&frame](const SCommandContext& context)
                            {
                                if (NeedTarget(frame))
                                {
                                    ResyncAckIDsCommand(frame.Document(), context.iConnection);
                                }
                            });
    frame.SetCommandHandler(eCmdSetPortSpeed,
                            [&frame](const SCommandContext& context)
                            {
                                if (NeedTarget(frame))
                                {
                                    SetPortSpeedCommand(frame.Document(), context.iConnection);
                                }
                            });

    auto routes = [&frame, hooks](bool bForward, bool bReverse)
    {
        return [&frame, hooks, bForward, bReverse](const SCommandContext&)
        {
            const std::vector<SRouteSelectionItem> selection =
                hooks.selection ? hooks.selection() : std::vector<SRouteSelectionItem>();
            if (CreateRoutes(frame.Document(), selection, bForward, bReverse, frame.IsConnected(),
                             hooks.chooseID))
            {
                MapChanged(frame);
            }
        };
    };
    frame.SetCommandHandler(eCmdCreateBidirectionalRoute, routes(true, true));
    frame.SetCommandHandler(eCmdCreateForwardRoute, routes(true, false));
    frame.SetCommandHandler(eCmdCreateReverseRoute, routes(false, true));
}
