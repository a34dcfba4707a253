// The ways to a PE that the routing tables of the map don't give: the shortest path through the
// map's links, and temporary route entries for the all-ones ID laid along it switch by switch.
#pragma once

#include "NetworkDocument.h"
#include "Route.h"

#include <cstdint>

// Replaces the route by the shortest path from one node to another through the map's links (the
// search of route generation). lSkipConnection, when not -1, is the position of a connection that
// may not leave ulFromNode; with bContinue the route found before stands unless this one is
// strictly shorter. Returns the number of links.
int FindShortest(CRoute& route, const CConnectionList& connections, uint32_t ulFromNode, uint32_t ulToNode,
                 int32_t lSkipConnection = -1, bool bContinue = false);

// Lays entries for the all-ones ID (FFFFh with bLong, else FFh) in every switch on the shortest path
// from ulFromNode (the host) to ulToNode, and entries for the host's ID back, so that a maintenance
// packet to the all-ones ID with the hop count *puchHopCount reaches the PE. The entries stay in the
// switches. Returns 0 or the client status of the first failing step; without a path the hop count
// is 0 and the result 0.
int32_t ConfigureFFRoutes(const CConnectionList& connections, uint32_t ulFromNode, uint32_t ulToNode,
                          bool bLong, uint8_t* puchHopCount);
// The same for two PEs of a map.
int32_t SetupFFRoute(const CNetworkDocument& map, const CPEPrimitive* pFrom, const CPEPrimitive* pTo,
                     bool bLarge, uint8_t* puchHopCount);

// The host PE of the current map: the one whose host link is open, or else the first one with a host
// link, or else node 0. Null for an empty map.
CPEPrimitive* MapHostPE(const CNetworkDocument& map);
// Whether the map works with 16-bit destination IDs.
bool MapUsesLongIDs();

// The way to a PE for an operation on it: the route the hardware's tables give, or for a PE without
// an ID of its own the all-ones ID with routes laid to it. Shows "Unable to find a route to that
// PE.\n" or "Unable to configure routing tables.\n" and returns false when there is none.
bool ReachPE(const CNetworkDocument& map, const CPEPrimitive& pe, uint32_t* pulDestID, uint8_t* puchHopCount);
