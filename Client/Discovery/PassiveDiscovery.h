// Passive discovery: finds out what a network in service looks like without disturbing it. It
// changes no destination ID and overwrites no routing entry the running system needs. A first,
// non-enumerating walk uploads every switch's tables; endpoints that answer only their own ID stay
// unknown after it. The second phase reads the tables of the new map to work out which IDs are
// routed towards each unknown PE, finds the existing routes that carry them, adds only short
// on-ramps from the host where a route doesn't start there, and reads the PE through them. Then
// it makes sure every known endpoint has a way to and from the host.
#pragma once

#include "MapMerge.h"
#include "NetworkDocument.h"
#include "Route.h"
#include "RouteProgramming.h"

#include <cstdint>
#include <vector>

// A route that the routing tables give, with the ID it carries.
struct SExistingRoute
{
    uint16_t wDestID = 0;
    CRoute route; // links in travel order
};
using ExistingRouteList = std::vector<SExistingRoute>;

// Every route, as the tables of the map have it, that ends with the links of backward (the last
// link of travel first, each link in travel order) for wDestID: a search backwards from pe, the
// switch at the start of those links, which sends the ID out of ulOutPort. Any PE that would send
// the ID into a switch whose table passes it on this way is the start of one; switches are looked
// through, and no route passes a switch twice. Adds what it finds to *pList.
void FindAllRoutes(ExistingRouteList* pList, const std::vector<ROUTEENTRY>& backward,
                   const CNetworkDocument& map, const CPEPrimitive& pe, uint16_t wDestID, uint32_t ulOutPort);

// Reads the unknown PE at iNode through wDestID with uchHopCount and, unless it is a switch, fills
// in its record: identity, type, IDs, and its link as up. Failing accesses are reported. True when
// the PE is identified.
bool IdentifyPE(CNetworkDocument& map, int iNode, uint16_t wDestID, uint8_t uchHopCount,
                const RouteLogFn& log);

// The second phase on a newly discovered map (host at node 0): resolves the unknown PEs and routes
// the known endpoints to and from the host, logging each step when log is given. Returns the node
// numbers of the PEs it identified.
std::vector<int> ResolvePassively(CNetworkDocument& map, bool bLong, const RouteLogFn& log);

// The passive discovery command: the logging question, the working window "Passive Discovery", the
// SRIO interface question on a board whose interface is off, the discovery, and on success the
// check of unique IDs, shown as "Warning: %s". Returns the discovery's status; the map is replaced
// only on success. *pIdentified, when given, receives the nodes identified through the routes.
int32_t PassiveDiscoveryCommand(CNetworkDocument& map, const CPEPrimitive* pHostPE, const LayoutFn& pfnLayout,
                                std::vector<int>* pIdentified = nullptr);
