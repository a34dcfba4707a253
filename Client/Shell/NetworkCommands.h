// The commands of the Network menu and of a switch's routing table pop-up: standard discovery,
// route generation, table transfers, the default port and manual routes. The shell installs them
// on the frame so that the window, the headless demo and tests run the very same commands; the
// window supplies what only it can (the settings window, the selection, a layout that keeps it
// responsive).
#pragma once

#include "MapMerge.h"
#include "RouteGeneration.h"

#include <functional>
#include <vector>

class CEnumerationSettings;
class CMainFrameCore;

// Shows the discovery settings for the person to change and check; false when cancelled. The
// settings come loaded from the preferences.
using DiscoverySettingsChooser = std::function<bool(CEnumerationSettings& settings)>;
// The map's selection in the order it was made, for manual routes.
using RouteSelectionSource = std::function<std::vector<SRouteSelectionItem>()>;

struct SNetworkCommandHooks
{
    // Without one, the stored settings are checked and taken as they are.
    DiscoverySettingsChooser chooseSettings;
    // Without one, CAutoLayout::Run lays out the discovered map on the calling thread.
    LayoutFn layout;
    // Without one, manual routes see an empty selection.
    RouteSelectionSource selection;
    ChooseIDFn chooseID;
    // Told when an active or passive discovery has run to its end, whether it found everything or
    // stopped at a failure (not when it was cancelled before it began).
    std::function<void()> discoveryDone;
};

// Installs the handlers on the frame, and the route search as the way the browser's commands reach
// a PE.
void InstallNetworkCommands(CMainFrameCore& frame, SNetworkCommandHooks hooks = {});

// The way to a PE for the browser and other single-PE commands: the open host PE directly, else
// the tables the hardware has, else all-ones routes laid along the map's shortest path to it.
// Returns 0 or a client status (-28 when the map has no way there).
int32_t MapRouteToPE(const CNetworkDocument& document, int iNode, uint32_t* pulDestID, uint8_t* puchHopCount);
