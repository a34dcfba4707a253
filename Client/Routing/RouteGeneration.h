// The client's side of route generation and of manual route creation: the map's switches get
// routing tables, in the map first, and on request in the hardware.
#pragma once

#include "NetworkDocument.h"
#include "RouteSearch.h"

#include <functional>
#include <vector>

// Generates the tables of every switch of the current map (iNode -1) or of one PE, replacing the
// tables they had; the new tables are marked modified. A progress window "Computing shortest hop
// routes between endpoints..." shows when there are six steps or more. Returns the number of
// switches that were given tables.
int GenerateRoutes(CNetworkDocument& map, int iNode = -1);

// The command: generates the tables of all switches and, when a target is connected, asks
// whether to download them, then does so. bDiscoveryFlow picks the question asked after a
// discovery.
void GenerateAllRoutesCommand(CNetworkDocument& map, bool bConnected, bool bDiscoveryFlow);

// Picks the destination ID to use for an end of a manual route whose PEs have virtual IDs; false
// when the person cancels.
using ChooseIDFn = std::function<bool(const CPEPrimitive& pe, uint16_t* pwID)>;

// Manual route creation from the selection: the forward route (to the last PE's ID), the reverse
// route (to the first PE's), or both, added as port routes to the tables of the switches on the
// way and marked modified. Shows the outcome, and with a target connected offers to download all
// tables. Returns true when at least one route was made.
bool CreateRoutes(CNetworkDocument& map, const std::vector<SRouteSelectionItem>& selection, bool bForward,
                  bool bReverse, bool bConnected, const ChooseIDFn& pfnChooseID = {});
