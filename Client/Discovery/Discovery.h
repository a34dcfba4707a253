// The client's side of standard discovery: it hands the middleware the flat records of the map it
// has and the callbacks, turns the records the walk leaves into a new map, lays that out after the
// map it replaces, and makes it the current map. A discovery that fails leaves the map as it was.
#pragma once

#include "EnumerationSettings.h"
#include "MapMerge.h"
#include "NetworkDocument.h"

#include <cstdint>
#include <functional>
#include <vector>

// What one discovery is asked to do: the settings word's choices and the IDs.
struct SDiscoveryRequest
{
    bool bLog = false;
    bool bEnumerate = false;
    bool bLongDestIDs = false;
    bool bNoLocks = true;
    bool bBreakLocks = true;
    bool bIgnoreLocks = true;
    bool bUploadRoutingTables = false;
    bool bSkipUploadUnusedPorts = false;
    bool bTryAllClockRates = true;
    bool bScanExistingIDs = true;
    bool bSetResponseTimeout = true;
    bool bSetLinkTimeout = true;
    bool bSetDiscovered = true;
    bool bAssignVDIDs = false;
    std::vector<uint32_t> scanIDs;
    uint32_t ulHostDestID = 1;
    uint32_t ulFirstDestID = 5;
    uint32_t ulDestIDIncr = 5;
};

class CDiscovery
{
public:
    // A discovery that replaces currentMap's active map.
    explicit CDiscovery(const CNetworkDocument& currentMap);

    // Walks the fabric and fills pNewMap's active map with what was found (PEs in the order of
    // finding, the host first, with pHostPE's link; default drawing objects). Returns 0 or a client
    // status; the new map is filled whatever the result.
    int32_t Discover(const SDiscoveryRequest& request, CNetworkDocument* pNewMap,
                     const CPEPrimitive* pHostPE);

    // Passive discovery (PassiveDiscovery.cpp): a walk that changes no ID and breaks no lock and
    // uploads the tables, then the unknown PEs resolved through the routes already in the tables
    // and the known endpoints given ways to and from the host. On success the new map, laid out
    // after pMap by MergeMaps, replaces it. Returns 0 or the walk's client status.
    int32_t PassiveDiscovery(bool bLog, bool bLongDestIDs, CNetworkDocument* pMap,
                             const CPEPrimitive* pHostPE, const LayoutFn& pfnLayout);
    // The nodes passive discovery identified through the routes in the tables.
    std::vector<int> PassiveIdentified;

    // True when the current map had no PEs or no connections.
    bool bFirstDiscovery = false;
    // The target is a board whose map is laid out anew when it has two real PEs.
    bool bLayoutBoard = false;

private:
    const CNetworkDocument& m_currentMap;
    CNetworkDocument* m_pNewMap = nullptr;
};

// Before a discovery that doesn't enumerate, gives the host an ID of its own when it has none (a
// reserved one: FFh or FEh, FFFFh or FFFEh), asking for it unless the preference says to take the
// default. Shows its failures. Returns 0 or a client status.
int32_t DetermineHostID(bool bLong);

// A discovery that, when it succeeds, replaces the active map of pMap, laid out by MergeMaps with
// pfnLayout as the automatic layout. Break, ignore, time-out and Discovered settings are always on.
int32_t StandardDiscovery(SDiscoveryRequest request, CNetworkDocument& map, const CPEPrimitive* pHostPE,
                          const LayoutFn& pfnLayout);

// The whole command after the settings were accepted: the logging question, the working window
// "Standard Discovery", the question about unused ports, the discovery, and on success what the
// settings ask for afterwards (route generation and download, table upload) and the check of
// unique IDs, shown as "Warning: %s". Returns the discovery's status.
// pfnUploadRegisters reads the registers of every PE when the settings ask for it; the register
// library belongs to the shell, which supplies it.
using RegisterUploadFn = std::function<void(CNetworkDocument& map)>;
int32_t StandardDiscoveryCommand(const CEnumerationSettings& settings, CNetworkDocument& map,
                                 const CPEPrimitive* pHostPE, bool bConnected, const LayoutFn& pfnLayout,
                                 const RegisterUploadFn& pfnUploadRegisters = {});
