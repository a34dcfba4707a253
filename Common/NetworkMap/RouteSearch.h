// Which destination ID and hop count reach a PE from the host: read out of the routing tables the
// map holds, link by link, as a packet would go. Also the route that a selection of PEs and
// connections on the map stands for.
#pragma once

#include "PrimitiveList.h"
#include "Route.h"

#include <cstdint>
#include <vector>

// Result of a search that found no route ("There is no valid route to a PE using the current
// routing tables").
constexpr int32_t kNoRouteStatus = -28;

// Which tables a trace may read.
enum ETraceMode
{
    eTraceModifiedTables = 1, // every table of the map
    eTraceHardwareTables = 2, // only tables that match the hardware (not modified since their last transfer)
};

// The destination ID and hop count that reach pTargetPE from pSourcePE (the host), and the route
// taken. The target's own IDs are tried first; failing that, every other PE's IDs, since a packet
// on its way to another PE may pass the target and a maintenance packet stops where its hop count
// runs out. The same PE gives DestID 0xFFFFFFFF and hop 0. Returns 0 or kNoRouteStatus.
int32_t FindRoute(const CPEPrimitive* pSourcePE, const CPEPrimitive* pTargetPE, const CPEList& PEs,
                  const CConnectionList& connections, uint32_t* pulDestID, uint8_t* puchHopCount,
                  bool bUseModifiedTables, CRoute* pRoute);

// Follows the tables from pSourcePE for ulDestID until pTargetPE is reached. A trace longer than
// twice the number of connections has gone round a loop of tables and fails. Returns 0 or
// kNoRouteStatus.
int32_t TraceRoute(const CPEList& PEs, const CConnectionList& connections, const CPEPrimitive* pSourcePE,
                   const CPEPrimitive* pTargetPE, uint32_t ulHostID, uint32_t ulDestID, CRoute* pRoute,
                   int lMode);

// One item of a selection on the map, in the order of selecting.
struct SRouteSelectionItem
{
    enum EKind
    {
        ePE,
        eConnection,
        eOther, // a group or an off-view handle
    };
    EKind eKind = ePE;
    int iNodeNumber = -1; // of the PE or the connection
};

// Results of FromSelection.
enum EFromSelection
{
    eSelectionOk = 0,
    eSelectionTooFew = 1,
    eSelectionExpectedPE = 2,
    eSelectionLastNotPE = 3,
    eSelectionNotConnected = 4,
    eSelectionAmbiguous = 5,
    eSelectionConnectionMismatch = 6,
    eSelectionInvalid = 7,
};

// Builds the route that the selection stands for: PEs one after the other, each pair joined by
// its only connection or by the connection selected between them. bForward false takes the
// selection from its end. Returns an EFromSelection value.
int FromSelection(CRoute& route, const std::vector<SRouteSelectionItem>& selection, const CPEList& PEs,
                  const CConnectionList& connections, bool bForward);
// The message manual route creation shows for a result of FromSelection.
QString FromSelectionMessage(int nResult);
