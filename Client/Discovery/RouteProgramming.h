// Laying routes on a fabric that carries traffic: programming a route's entries switch by switch,
// checking first that the entries a route needs are free, and joining a short on-ramp from a PE to
// a route that already exists, so that the PE can use it without any entry in use being changed.
// Passive discovery and the VDID update use them; each switch is reached by the all-ones ID along
// temporary routes (ConfigureFFRoutes), and every entry written goes into the map's copy too.
#pragma once

#include "NetworkDocument.h"
#include "Route.h"

#include <QString>

#include <cstdint>
#include <functional>

// Where a route's programming or test stopped.
struct SRouteStepFailure
{
    enum EStep
    {
        eNone,
        eLocatePE,  // no PE of that node number in the map
        eFFRoutes,  // the temporary routes to the switch could not be laid
        eReadEntry, // its entry could not be read
        eAddEntry,  // its entry could not be written
    };
    EStep eStep = eNone;
    int iNode = -1; // node number of the switch (shown plus one)

    // What was being done, for "Error %d (%s) encountered when %s.": "configuring FF routing
    // tables to get to node %d", "adding routing table entry to switch at node %d", ...
    QString Doing() const;
};

// The working window's log lines of the route steps; empty: not logged.
using RouteLogFn = std::function<void(const QString& strLine)>;

// Lays a route for wDestID along route (links in travel order; with bReverse the other way):
// every switch it passes gets a port entry for the ID, in the table of the port the packet
// arrives at (the shared table without per-port tables), towards the next link; the map's tables
// get the same entries. Returns 0 or the status of the step that failed, which *pFailure names.
int32_t ProgramRoute(const CRoute& route, CNetworkDocument& map, uint16_t wDestID, bool bReverse,
                     SRouteStepFailure* pFailure);
// The same, with the failing step in words ("adding routing table entry to switch at node %d").
int32_t ProgramRoute(const CRoute& route, CNetworkDocument& map, uint16_t wDestID, bool bReverse,
                     QString* pstrFailure);
// The same for a walk that logs: "Unable to locate PE structure for node %d\n" for a missing PE, a
// reported failure ("Error %d (%s) encountered when %s.") for a failing access. True when every
// switch was done.
bool ProgramRoute(const CRoute& route, CNetworkDocument& map, uint16_t wDestID, bool bReverse,
                  const RouteLogFn& log);

// Whether the route may be laid for wDestID without changing an entry the network uses: at each
// switch the entry for the ID in the arrival port's table is read from the hardware. Going
// forward an undefined, unrouted or default entry (types 0, 1, 2) is free; a reverse route must
// not take a default entry either, as the traffic that falls to the default port would follow it.
// A port entry that already leads where the route goes is fine. Logs each switch it tests and
// what it found; a failing access is reported. True when nothing conflicts.
bool TestRoute(const CRoute& route, CNetworkDocument& map, uint16_t wDestID, bool bReverse,
               const RouteLogFn& log);

// Finds a way from pSource onto existingRoute (which carries wDestID to its end) and lays it: for
// each switch on the existing route in order, the shortest path from the source to it is tried,
// joined with the rest of the existing route, tested and programmed. The first that works is left
// in *pResult (the whole way from the source to the route's end). False when none could be laid.
bool MakeOnramp(CNetworkDocument& map, const CPEPrimitive& host, const CPEPrimitive& source, uint16_t wDestID,
                const CRoute& existingRoute, CRoute* pResult, const RouteLogFn& log);

// Shows and logs a failing access of the route steps as "Error %d (%s) encountered when %s.".
void ReportRouteFailure(int32_t nStatus, const QString& strDoing, const RouteLogFn& log);

// The text of a route as the log shows it: a line "PE %d Port %d -> PE %d Port %d" for each link.
QString RouteText(const CRoute& route);
