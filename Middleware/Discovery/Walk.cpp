// The network walk: depth first from the host, one PE at a time, reached by temporary routes kept
// up through a stack of the switches on the way and undone when each switch is left. A breadcrumb
// written into every device recognises a device reached a second time, which is how the loops of
// the fabric are found.
#include "Discovery/DiscoveryInternal.h"
#include "NVXLHal.h"
#include "NVXLRoute.h"
#include "NVXLStatus.h"

#include <stdio.h>
#include <stdlib.h>
#include <string.h>

#define ALL_TABLES 255u

// Port speeds tried, in order, on a switch port that did not train.
static const uint32_t s_aulTrySpeeds[] = {1250, 2500, 3125, 5000, 6250};

// The HAL's table number of a stack entry's table.
static uint8_t StackTable(const NVXL_SWITCH_STACK_ENTRY* pEntry)
{
    return pEntry->chTable == -1 ? (uint8_t)ALL_TABLES : (uint8_t)pEntry->chTable;
}

// An error's number made positive, with its text, for the log lines that show both.
static int Positive(NVXL_STATUS nStatus)
{
    return nStatus < 0 ? -nStatus : nStatus;
}

NVXL_STATUS PushSwitch(uint16_t wVendorID, uint16_t wDeviceID, uint8_t uchLocalPort, uint32_t ulDestID,
                       uint8_t uchHopCount, int8_t chTable, uint8_t uchRoutePort)
{
    if (g_sDiscovery.lStackTop + 1 >= NVXL_MAX_SWITCH_STACK)
        return NVXL_ERR_TOO_MANY_SWITCHES;
    NVXL_SWITCH_STACK_ENTRY* pEntry = &g_sDiscovery.asStack[++g_sDiscovery.lStackTop];
    pEntry->wVendorID = wVendorID;
    pEntry->wDeviceID = wDeviceID;
    pEntry->uchLocalPort = uchLocalPort;
    pEntry->ulDestID = ulDestID;
    pEntry->uchHopCount = uchHopCount;
    pEntry->chTable = chTable;
    pEntry->uchRoutePort = uchRoutePort;
    return NVXL_OK;
}

void PopSwitch(uint32_t ulRestore)
{
    NVXL_DiscoveryDebugPrint("Pop Switch %d\n", (int)g_sDiscovery.lStackTop);
    if (g_sDiscovery.lStackTop < 0)
        return;
    if (ulRestore)
        RestoreRoute((uint32_t)g_sDiscovery.lStackTop);
    g_sDiscovery.lStackTop--;
}

void RememberRoute(uint32_t ulStackEntry, uint16_t wRouteDestID, uint8_t uchRoutePort, uint32_t ulType,
                   uint32_t ulSpecialType)
{
    NVXL_DiscoveryDebugPrint(
        "RememberRoute: StackEntry=%d RouteDestID=0x%x RoutePortNum=%d Type=%d SpecialType=%d\n",
        (int)ulStackEntry, wRouteDestID, uchRoutePort, (int)ulType, (int)ulSpecialType);
    // The list is bounded on purpose: an original that doesn't fit is lost and not restored.
    if (g_sDiscovery.ulNumRemembered >= NVXL_MAX_REMEMBERED_ROUTES)
    {
        NVXL_DiscoveryDebugPrint("RememberRoute: list is full\n");
        return;
    }
    // The oldest original of an entry is the one to restore.
    for (uint32_t i = 0; i < g_sDiscovery.ulNumRemembered; i++)
    {
        const NVXL_REMEMBERED_ROUTE* pRoute = &g_sDiscovery.asRemembered[i];
        if (pRoute->ulStackEntry == ulStackEntry && pRoute->wRouteDestID == wRouteDestID)
        {
            NVXL_DiscoveryDebugPrint("RememberRoute: entry already present.  Not adding it.\n");
            return;
        }
    }
    NVXL_REMEMBERED_ROUTE* pRoute = &g_sDiscovery.asRemembered[g_sDiscovery.ulNumRemembered++];
    pRoute->ulStackEntry = ulStackEntry;
    pRoute->wRouteDestID = wRouteDestID;
    pRoute->uchRoutePort = uchRoutePort;
    pRoute->ulType = ulType;
    pRoute->ulSpecialType = ulSpecialType;
}

NVXL_STATUS RestoreRoute(uint32_t ulStackEntry)
{
    NVXL_REMEMBERED_ROUTE asKept[NVXL_MAX_REMEMBERED_ROUTES];
    uint32_t ulKept = 0;
    const NVXL_SWITCH_STACK_ENTRY* pSwitch = &g_sDiscovery.asStack[ulStackEntry];
    for (uint32_t i = 0; i < g_sDiscovery.ulNumRemembered; i++)
    {
        const NVXL_REMEMBERED_ROUTE* pRoute = &g_sDiscovery.asRemembered[i];
        if (pRoute->ulStackEntry != ulStackEntry)
        {
            asKept[ulKept++] = *pRoute;
            continue;
        }
        NVXL_DiscoveryDebugPrint(
            "RestoreRoute: StackEntry=%d RouteDestID=0x%x RoutePortNum=%d Type=%d SpecialType=%d\n",
            (int)pRoute->ulStackEntry, pRoute->wRouteDestID, pRoute->uchRoutePort, (int)pRoute->ulType,
            (int)pRoute->ulSpecialType);
        const NVXL_STATUS nStatus =
            HalRouteAddEntry(pSwitch->wVendorID, pSwitch->wDeviceID, pSwitch->uchLocalPort, pSwitch->ulDestID,
                             pSwitch->uchHopCount, StackTable(pSwitch), pRoute->wRouteDestID,
                             pRoute->uchRoutePort, (NVXL_ROUTE_TYPE)pRoute->ulType, pRoute->ulSpecialType);
        if (nStatus != NVXL_OK)
        {
            NvxlDebugAndLog("Unable to restore a route entry. Error %d '%s'\n", Positive(nStatus),
                            HalErrorText(nStatus));
            return nStatus;
        }
    }
    memcpy(g_sDiscovery.asRemembered, asKept, ulKept * sizeof asKept[0]);
    g_sDiscovery.ulNumRemembered = ulKept;
    return NVXL_OK;
}

NVXL_STATUS BuildRoute(uint16_t wDestID, uint32_t ulRemember)
{
    NVXL_DiscoveryDebugPrint("BuildRoute: Setting routing tables up for destID 0x%x\n", wDestID);
    NvxlLog("Setting routing tables up for destID %Xh\n", wDestID);
    if (g_sDiscovery.lStackTop < 0)
    {
        NVXL_DiscoveryDebugPrint("BuildRoute: No switches on the stack.  Nothing to do.\n");
        NvxlLog("No switches on the stack.  Nothing to do.\n");
        return NVXL_OK;
    }
    for (int32_t i = 0; i <= g_sDiscovery.lStackTop; i++)
    {
        const NVXL_SWITCH_STACK_ENTRY* pSwitch = &g_sDiscovery.asStack[i];
        NVXL_DiscoveryDebugPrint("BuildRoute: Updating routing table in switch at hopcount %d\n",
                                 pSwitch->uchHopCount);
        NvxlLog("Updating routing table in switch at hopcount %d\n", pSwitch->uchHopCount);
        const uint8_t uchTable = StackTable(pSwitch);
        NVXL_STATUS nStatus;
        if (ulRemember)
        {
            NVXL_ROUTE_TYPE eType = eNVXL_RouteTypeUndefined;
            uint8_t uchPort = 0;
            uint32_t ulExtra = 0;
            nStatus = HalRouteGetEntry(pSwitch->wVendorID, pSwitch->wDeviceID, pSwitch->uchLocalPort,
                                       pSwitch->ulDestID, pSwitch->uchHopCount, uchTable, wDestID, &eType,
                                       &uchPort, &ulExtra);
            if (nStatus != NVXL_OK)
            {
                NvxlDebugAndLog("Unable to read existing route entry. Error %d '%s'\n", Positive(nStatus),
                                HalErrorText(nStatus));
                return nStatus;
            }
            RememberRoute((uint32_t)i, wDestID, uchPort, (uint32_t)eType, ulExtra);
        }
        nStatus = HalRouteAddEntry(pSwitch->wVendorID, pSwitch->wDeviceID, pSwitch->uchLocalPort,
                                   pSwitch->ulDestID, pSwitch->uchHopCount, uchTable, wDestID,
                                   pSwitch->uchRoutePort, eNVXL_RouteTypePort, 0);
        if (nStatus == NVXL_ERR_ROUTING)
        {
            // A device that can't hold this entry gets the way out as its default port, for good.
            NvxlDebugAndLog(
                "Unable to add route entry. Error %d '%s'.  Using default output port method instead.\n",
                Positive(nStatus), HalErrorText(nStatus));
            nStatus = HalSetDefaultRoute(pSwitch->wVendorID, pSwitch->wDeviceID, pSwitch->uchLocalPort,
                                         pSwitch->ulDestID, pSwitch->uchHopCount, pSwitch->uchRoutePort);
        }
        if (nStatus != NVXL_OK)
        {
            NvxlDebugAndLog("Unable to add route entry. Error %d '%s'\n", Positive(nStatus),
                            HalErrorText(nStatus));
            return nStatus;
        }
    }
    return NVXL_OK;
}

// Fills the connection record from a parent's port to a new node.
static void Connect(NVXL_CONNECTION* pConnection, const NVXL_PE* pParent, uint32_t ulParentPort,
                    const NVXL_PE* pPE, uint32_t ulPort, uint32_t ulState)
{
    pConnection->ulNodeA = pParent->ulNodeID;
    pConnection->ulPortA = ulParentPort;
    pConnection->ulNodeB = pPE->ulNodeID;
    pConnection->ulPortB = ulPort;
    pConnection->ulTypeA = pParent->ulTypeFlags;
    pConnection->ulTypeB = pPE->ulTypeFlags;
    pConnection->ulLoopback = pParent == pPE ? 1 : 0;
    pConnection->ulState = ulState;
    pConnection->ulValid = 1;
}

// The record of a place where a port leads to nothing that could be identified: an unknown device
// (something trained but nothing could be read behind it) or an empty port.
static NVXL_STATUS AddPlaceholder(const NVXL_PE* pParent, uint32_t ulParentPort, uint32_t ulTypeFlags,
                                  uint32_t ulState, const char* pszUniqueText)
{
    NVXL_PE* pPE = NULL;
    NVXL_STATUS nStatus = NvxlNewPE(&pPE);
    if (nStatus != NVXL_OK)
        return nStatus;
    NvxlSetUniqueID(pPE, pParent->szUniqueID, ulParentPort, 0, 0xFFFF, 0xFFFF);
    NVXL_DiscoveryDebugPrint(pszUniqueText, pPE->szUniqueID);
    pPE->wShortDestID = 0xFFFF;
    pPE->wLongDestID = 0;
    pPE->ulNumPorts = 0;
    pPE->ulHasDestID = 0;
    pPE->ulTypeFlags = ulTypeFlags;
    pPE->ulNodeID = g_sDiscovery.ulNodeNumber;
    // The diagnosis is cut to what the record holds.
    if (ulTypeFlags == NVXL_PE_UNKNOWN)
    {
        strncpy(pPE->szError, g_sDiscovery.szErrorText, sizeof pPE->szError - 1);
        pPE->szError[sizeof pPE->szError - 1] = '\0';
    }
    pPE->ulValid = 1;
    g_sDiscovery.szErrorText[0] = '\0';
    NVXL_CONNECTION* pConnection = NULL;
    nStatus = NvxlNewConnection(&pConnection);
    if (nStatus != NVXL_OK)
        return nStatus;
    Connect(pConnection, pParent, ulParentPort, pPE, 0, ulState);
    NVXL_DiscoveryDebugPrint("Added connection from %d to %d\n", (int)pConnection->ulNodeA + 1,
                             (int)pConnection->ulNodeB + 1);
    g_sDiscovery.ulNodeNumber++;
    return NVXL_OK;
}

static NVXL_STATUS MakeUnknownEndpoint(const NVXL_PE* pParent, uint32_t ulParentPort)
{
    NvxlDebugAndLog("This is an unknown endpoint\n");
    return AddPlaceholder(pParent, ulParentPort, NVXL_PE_UNKNOWN, NVXL_CONNECTION_INTERMITTENT,
                          "UniqueID: %s\n");
}

// A device whose breadcrumb shows it was reached before in this discovery: the link by which it was
// reached now is a connection, and a record made earlier for its entry port from its own side (an
// empty or unknown place, before the device was known) is stale.
static NVXL_STATUS Revisit(NVXL_PE* pParent, uint8_t uchParentPort, uint16_t wVendorID, uint16_t wDeviceID,
                           uint32_t ulDestID, uint8_t uchHopCount, uint32_t ulBreadcrumb)
{
    NVXL_NETWORK* pNetwork = g_sDiscovery.pNewNetwork;
    NvxlLog("We've already visited this node.");
    NVXL_DiscoveryDebugPrint("We've already visited this node.  It's breadcrumb is %08x\n", ulBreadcrumb);
    // The breadcrumb holds the low byte of the node number only: beyond 256 nodes it names another
    // node, which is accepted.
    const uint32_t ulNode = ulBreadcrumb & 0xFFu;
    NVXL_PE* pPE = FindPE(pNetwork, ulNode);
    if (!pPE)
        return NVXL_OK;
    uint32_t ulInfo = 0;
    NVXL_STATUS nStatus = HalGetSwitchPortInfo(wVendorID, wDeviceID, 0, ulDestID, uchHopCount, &ulInfo);
    if (NvxlReport(1, "attempting to read switch port information", nStatus))
        return nStatus;
    const uint32_t ulEntryPort = ulInfo & 0xFFu;
    NvxlDebugAndLog("Entering port %d\n", (int)ulEntryPort);
    uint32_t ulOtherNode = 0, ulOtherPort = 0;
    NVXL_CONNECTION* pExisting =
        FindConnectionAtPort(pNetwork, ulNode, ulEntryPort, &ulOtherNode, &ulOtherPort);
    if (pExisting)
    {
        NVXL_DiscoveryDebugPrint("Found existing connection to port %d on PE %d\n", (int)ulEntryPort,
                                 (int)ulNode + 1);
        if (ulOtherNode != pParent->ulNodeID)
        {
            NVXL_PE* pStale = FindPE(pNetwork, ulOtherNode);
            if (pStale)
            {
                pStale->ulValid = 0;
                NVXL_DiscoveryDebugPrint("PE %d deleted\n", (int)ulOtherNode + 1);
            }
            else
            {
                NVXL_DiscoveryDebugPrint("PE not found.  Could not delete\n");
            }
            pExisting->ulValid = 0;
            NVXL_DiscoveryDebugPrint("Connection deleted\n");
        }
        else
        {
            NVXL_DiscoveryDebugPrint("That connection is a real one back to me.  Don't delete it!\n");
        }
    }
    else
    {
        NVXL_DiscoveryDebugPrint("Connection not found.  Could not delete\n");
    }
    if (FindConnection(pNetwork, pParent->ulNodeID, uchParentPort, ulNode, ulEntryPort))
    {
        NVXL_DiscoveryDebugPrint("Found existing connection using NodeID %d and %d\n", (int)pParent->ulNodeID,
                                 (int)ulNode);
        return NVXL_OK;
    }
    NVXL_DiscoveryDebugPrint("Did not find connection using NodeID %d and %d\n", (int)pParent->ulNodeID,
                             (int)ulNode);
    NVXL_CONNECTION* pConnection = NULL;
    nStatus = NvxlNewConnection(&pConnection);
    if (nStatus != NVXL_OK)
        return nStatus;
    Connect(pConnection, pParent, uchParentPort, pPE, ulEntryPort, NVXL_CONNECTION_UP);
    NVXL_DiscoveryDebugPrint("Added connection from %d to %d\n", (int)pConnection->ulNodeA + 1,
                             (int)pConnection->ulNodeB + 1);
    return NVXL_OK;
}

// Fills the fields every found device's record shares.
static void FillFoundPE(NVXL_PE* pPE, uint16_t wVendorID, uint16_t wDeviceID, uint32_t ulFeatures)
{
    pPE->wDeviceID = wDeviceID;
    pPE->wVendorID = wVendorID;
    pPE->ulPerPortTables = HalIsPerPortRouting(wVendorID, wDeviceID) ? 1 : 0;
    pPE->ulLargeSystem = (ulFeatures >> 4) & 1u;
    pPE->ulUseLongDestID = NvxlFlag(NVXL_DISCOVER_USE_LONG_DESTIDS) ? 1 : 0;
    pPE->ulTypeFlags = NvxlTypeFlags(ulFeatures);
    pPE->ulNodeID = g_sDiscovery.ulNodeNumber;
}

// Reads a port's width and speed into its record.
static NVXL_STATUS ReadPortShape(const NVXL_PE* pPE, uint32_t ulDestID, uint8_t uchHopCount, uint8_t uchPort,
                                 NVXL_PORT* pPort, const char* pszWidthText, const char* pszSpeedText)
{
    uint32_t bParallel = 0;
    NVXL_STATUS nStatus = HalGetPortWidth(pPE->wVendorID, pPE->wDeviceID, 0, ulDestID, uchHopCount, uchPort,
                                          &pPort->uchPortWidth, &pPort->uchLane, &pPort->uchMaxWidth,
                                          &pPort->uchWidthOverride, &bParallel, &pPort->ulPortType);
    if (NvxlReport(1, pszWidthText, nStatus))
        return nStatus;
    if (!pszSpeedText)
        return NVXL_OK;
    nStatus = HalGetPortSpeedMHz(pPE->wVendorID, pPE->wDeviceID, 0, ulDestID, uchHopCount, uchPort,
                                 &pPort->ulSpeedMHz);
    NvxlReport(1, pszSpeedText, nStatus);
    return nStatus;
}

static NVXL_STATUS EndpointSteps(NVXL_PE* pParent, uint8_t uchParentPort, uint16_t wVendorID,
                                 uint16_t wDeviceID, uint32_t* pulDestID, uint8_t uchHopCount,
                                 uint32_t ulFeatures)
{
    const int bLong = NvxlFlag(NVXL_DISCOVER_USE_LONG_DESTIDS);
    uint16_t wShort = 0xFFFF, wLong = 0xFFFF;
    NVXL_STATUS nStatus = HalGetDeviceID(wVendorID, wDeviceID, 0, *pulDestID, uchHopCount, &wShort, &wLong);
    if (NvxlReport(1, "attempting to read the most recently discovered endpoint's destination ID", nStatus))
        return nStatus;
    NVXL_DiscoveryDebugPrint("Current DestID:%04x %02x\n", wLong, wShort);
    const uint16_t wOrigShort = wShort, wOrigLong = wLong;
    uint32_t ulID = bLong ? wLong : wShort;
    if (NvxlFlag(NVXL_DISCOVER_ENUMERATE))
    {
        // Nothing is written to a device that can't be given an ID.
        nStatus = NvxlCheckNextIDs(g_sDiscovery.ulNextDestID, 1, "the most recently discovered endpoint", 0);
        if (nStatus != NVXL_OK)
            return nStatus;
        nStatus = HalEnableHostAccess(wVendorID, wDeviceID, 0, *pulDestID, uchHopCount, 1);
        if (NvxlReport(1, "attempting to set 'Accept All' mode on the most recently discovered endpoint",
                       nStatus))
            return nStatus;
        ulID = g_sDiscovery.ulNextDestID;
        nStatus = NvxlWriteDestID(wVendorID, wDeviceID, *pulDestID, uchHopCount, bLong, ulID,
                                  "Set Long DestID:%04x\n", "Set Short DestID:%02x\n", &wShort, &wLong);
        if (NvxlReport(1, "attempting to set the most recently discovered endpoint's destination ID",
                       nStatus))
            return nStatus;
        *pulDestID = ulID;
        nStatus = BuildRoute((uint16_t)ulID, 1);
        if (NvxlReport(1, "setting up temporary routing table entries", nStatus))
            return nStatus;
        g_sDiscovery.ulNextDestID += g_sDiscovery.ulDestIDIncr;
    }
    NvxlDebugAndLog("This is a processor endpoint with ID = %d\n", (int)ulID);
    NVXL_PE* pPE = NULL;
    nStatus = NvxlNewPE(&pPE);
    if (nStatus != NVXL_OK)
        return nStatus;
    NvxlSetUniqueID(pPE, pParent->szUniqueID, uchParentPort, 0, wDeviceID, wVendorID);
    NVXL_DiscoveryDebugPrint("UniqueID: %s\n", pPE->szUniqueID);
    FillFoundPE(pPE, wVendorID, wDeviceID, ulFeatures);
    pPE->ulNumPorts = 1;
    pPE->wShortDestID = wShort;
    pPE->wLongDestID = wLong;
    pPE->wOrigShortDestID = wOrigShort;
    pPE->wOrigLongDestID = wOrigLong;
    pPE->ulHasDestID = 1;
    if (NvxlFlag(NVXL_DISCOVER_ENUMERATE) && NvxlFlag(NVXL_DISCOVER_ASSIGN_VDIDS))
    {
        nStatus = NVXL_AssignVDIDs(wVendorID, wDeviceID, 0, *pulDestID, uchHopCount, 0,
                                   &g_sDiscovery.ulNextDestID, pPE);
        if (nStatus != NVXL_OK && g_sDiscovery.bOutOfIDs)
            return nStatus;
        if (NvxlReport(1, "attempting to set the most recently discovered switch's VDIDs", nStatus))
            return nStatus;
    }
    NVXL_CONNECTION* pConnection = NULL;
    nStatus = NvxlNewConnection(&pConnection);
    if (nStatus != NVXL_OK)
        return nStatus;
    Connect(pConnection, pParent, uchParentPort, pPE, 0, NVXL_CONNECTION_UP);
    nStatus =
        ReadPortShape(pPE, *pulDestID, uchHopCount, 0, &pPE->asPorts[0],
                      "attempting to get port info for the most recently discovered endpoint's port", NULL);
    if (nStatus != NVXL_OK)
        return nStatus;
    HalGetVDIDCaps(wVendorID, wDeviceID, 0, *pulDestID, uchHopCount, &pPE->wVDIDCaps, &pPE->wNumSecondaryIDs);
    nStatus =
        HalGetPortSpeedMHz(wVendorID, wDeviceID, 0, *pulDestID, uchHopCount, 0, &pPE->asPorts[0].ulSpeedMHz);
    if (NvxlReport(1, "attempting to determine the speed of the most recently discovered endpoint's port",
                   nStatus))
        return nStatus;
    pPE->asPorts[0].ulActive = 1;
    pPE->ulValid = 1;
    g_sDiscovery.szErrorText[0] = '\0';
    if (NvxlFlag(NVXL_DISCOVER_SET_DISCOVERED))
    {
        nStatus = HalSetPortDiscovered(wVendorID, wDeviceID, 0, *pulDestID, uchHopCount, 1);
        if (NvxlReport(1, "attempting to set the 'Discovered' flag on the most recently discovered endpoint",
                       nStatus))
            return nStatus;
    }
    g_sDiscovery.ulNodeNumber++;
    return NVXL_OK;
}

// Reads a switch's routing tables into pool tables of its record. A table that can't be read is
// left out; the discovery goes on.
static void UploadTables(NVXL_PE* pPE, uint32_t ulDestID, uint8_t uchHopCount)
{
    const int bPerPort = pPE->ulPerPortTables != 0;
    const uint32_t ulTables = bPerPort ? pPE->ulNumPorts : 1;
    for (uint32_t ulPort = 0; ulPort < ulTables && ulPort < NVXL_MAX_PORTS; ulPort++)
    {
        if (bPerPort && NvxlFlag(NVXL_DISCOVER_SKIP_UPLOAD_UNUSED_PORTS) && !pPE->asPorts[ulPort].ulActive)
            continue;
        const uint8_t uchTable = bPerPort ? (uint8_t)ulPort : (uint8_t)ALL_TABLES;
        if (bPerPort)
            NvxlLog("Uploading routing table for port %d of switch at node %d\n", (int)ulPort,
                    (int)pPE->ulNodeID + 1);
        else
            NvxlLog("Uploading routing table from switch at node %d\n", (int)pPE->ulNodeID + 1);
        uint32_t ulNumEntries = 0;
        NVXL_ROUTE_ENTRY* pTable = NULL;
        const NVXL_STATUS nStatus = HalLoadRoutingTable(pPE->wVendorID, pPE->wDeviceID, 0, ulDestID,
                                                        uchHopCount, uchTable, &ulNumEntries, &pTable);
        if (nStatus != NVXL_OK)
        {
            if (bPerPort)
                NvxlLog("Unable to upload routing table for port %d of node %d. Error %d '%s'\n", (int)ulPort,
                        (int)pPE->ulNodeID + 1, Positive(nStatus), HalErrorText(nStatus));
            else
                NvxlLog("Unable to upload routing table for node %d. Error %d '%s'\n", (int)pPE->ulNodeID + 1,
                        Positive(nStatus), HalErrorText(nStatus));
            continue;
        }
        const int32_t lHandle = NVXL_RT_NewTable();
        pPE->alRouteTables[bPerPort ? ulPort : 0] = lHandle;
        for (uint32_t i = 0; i < ulNumEntries && pTable; i++)
        {
            const NVXL_RT_ENTRY entry = {pTable[i].wDestID, pTable[i].uchPort, (uint32_t)pTable[i].eType,
                                         pTable[i].ulExtra};
            NVXL_RT_AddEntry(lHandle, &entry);
        }
        free(pTable);
    }
}

// One port of a switch: an empty record when it doesn't train, else the walk behind it, with the
// switch on the stack and a temporary entry that brings the responses from behind it home.
static NVXL_STATUS PortSteps(NVXL_PE* pPE, uint8_t uchPort, uint8_t uchEntryPort, uint32_t ulDestID,
                             uint8_t uchHopCount)
{
    const uint16_t wVendorID = pPE->wVendorID, wDeviceID = pPE->wDeviceID;
    const uint32_t ulHostID = g_sDiscovery.ulHostDestID;
    NvxlDebugAndLog("Looking in port %d and out port %d of PE %d\n", uchEntryPort, uchPort,
                    (int)pPE->ulNodeID + 1);
    const char* pszTrainedText =
        "attempting to determine if a port is trained on the most recently discovered switch";
    uint32_t bTrained = 0;
    NVXL_STATUS nStatus =
        HalIsPortTrained(wVendorID, wDeviceID, 0, ulDestID, uchHopCount, uchPort, &bTrained);
    if (NvxlReport(1, pszTrainedText, nStatus))
        return nStatus;
    if (!bTrained)
    {
        NvxlDebugAndLog("Port %d is not trained at current speed\n", uchPort);
        for (size_t i = 0; NvxlFlag(NVXL_DISCOVER_TRY_ALL_CLOCK_RATES) &&
                           i < sizeof s_aulTrySpeeds / sizeof s_aulTrySpeeds[0];
             i++)
        {
            const uint32_t ulSpeed = s_aulTrySpeeds[i];
            NVXL_DiscoveryDebugPrint("Set the port speed to %d MHz to see if it trains...\n", (int)ulSpeed);
            NvxlLog("Setting the port speed to %d MHz to see if it trains...\n", (int)ulSpeed);
            nStatus = HalSetPortSpeedMHz(wVendorID, wDeviceID, 0, ulDestID, uchHopCount, uchPort, ulSpeed);
            if (nStatus != NVXL_OK)
            {
                NvxlDebugAndLog("Unable to set port speed. Error %d '%s'\n", Positive(nStatus),
                                HalErrorText(nStatus));
                break;
            }
            nStatus = HalIsPortTrained(wVendorID, wDeviceID, 0, ulDestID, uchHopCount, uchPort, &bTrained);
            if (NvxlReport(1, pszTrainedText, nStatus))
                return nStatus;
            if (bTrained)
            {
                NvxlDebugAndLog("Port is now trained at %d MHz\n", (int)ulSpeed);
                break;
            }
        }
    }
    if (!bTrained)
    {
        NvxlDebugAndLog("Port is not trained. Skipping it\n");
        pPE->asPorts[uchPort].ulActive = 0;
        return AddPlaceholder(pPE, uchPort, NVXL_PE_EMPTY, NVXL_CONNECTION_DOWN, "NULLPE UniqueID: %s\n");
    }
    pPE->asPorts[uchPort].ulActive = 1;
    const char* pszEnableText = "attempting to enable a port on the most recently discovered switch";
    nStatus = HalSetPortEnables(wVendorID, wDeviceID, 0, ulDestID, uchHopCount, uchPort, 1, 1);
    if (NvxlReport(1, pszEnableText, nStatus))
        return nStatus;
    NvxlClearPortErrors(wVendorID, wDeviceID, ulDestID, uchHopCount, uchPort, 0,
                        "Unable to clear local port errors.\n", "Outstanding local port errors: %08lx.\n",
                        "No outstanding local port errors.\n");
    uint32_t ulAckID = 0, ulLinkStatus = 0;
    nStatus = HalSendLinkMaintRequest(wVendorID, wDeviceID, 0, ulDestID, uchHopCount, uchPort, 4, &ulAckID,
                                      &ulLinkStatus);
    if (nStatus != NVXL_OK)
        NvxlDebugAndLog("Link request failed with error %d\n", (int)nStatus);
    else
        NvxlDebugAndLog("Link request successfully sent\n");
    nStatus = ReadPortShape(
        pPE, ulDestID, uchHopCount, uchPort, &pPE->asPorts[uchPort],
        "attempting to read the most recently discovered switch's port width and state information",
        "attempting to determine the speed of a port on the most recently discovered switch");
    if (nStatus != NVXL_OK)
        return nStatus;

    const uint8_t uchTable = pPE->ulPerPortTables ? uchPort : (uint8_t)ALL_TABLES;
    NVXL_ROUTE_TYPE eOrigType = eNVXL_RouteTypeUndefined;
    uint8_t uchOrigPort = 0;
    uint32_t ulOrigSpecial = 0;
    nStatus = HalRouteGetEntry(wVendorID, wDeviceID, 0, ulDestID, uchHopCount, uchTable, (uint16_t)ulHostID,
                               &eOrigType, &uchOrigPort, &ulOrigSpecial);
    if (NvxlReport(
            1,
            "attempting to read existing routing table entry before adding temporary reverse-direction entry",
            nStatus))
        return nStatus;
    NvxlDebugAndLog("Routing responses in port %d, out port %d to host DestID %d\n", uchPort, uchEntryPort,
                    (int)ulHostID);
    nStatus = HalRouteAddEntry(wVendorID, wDeviceID, 0, ulDestID, uchHopCount, uchTable, (uint16_t)ulHostID,
                               uchEntryPort, eNVXL_RouteTypePort, 0);
    if (NvxlReport(1, "attempting to add a temporary reverse-direction routing table entry", nStatus))
        return nStatus;
    nStatus = PushSwitch(wVendorID, wDeviceID, 0, ulDestID, uchHopCount,
                         pPE->ulPerPortTables ? (int8_t)uchEntryPort : (int8_t)-1, uchPort);
    if (NvxlReport(1, "attempting to add the most recently discovered switch to the switch stack", nStatus))
        return nStatus;
    // A failure behind this port ends the discovery as it stands: the stack and the temporary entries
    // are left as they are.
    nStatus = NVXL_Walk(ulHostID, (uint8_t)(uchHopCount + 1), pPE, uchPort, ulDestID, uchHopCount);
    if (nStatus != NVXL_OK)
        return nStatus;
    PopSwitch(1);
    NvxlDebugAndLog(
        "Restoring original reverse direction route.  OrigPort:%d OrigType:%d OrigSpecialType:%d \n",
        uchOrigPort, (int)eOrigType, (int)ulOrigSpecial);
    nStatus = HalRouteAddEntry(wVendorID, wDeviceID, 0, ulDestID, uchHopCount, uchTable, (uint16_t)ulHostID,
                               uchOrigPort, eOrigType, ulOrigSpecial);
    NvxlReport(1, "attempting to restore original reverse-direction routing table entry", nStatus);
    return nStatus;
}

NVXL_STATUS NvxlSetSwitchTimeouts(uint16_t wVendorID, uint16_t wDeviceID, uint32_t ulDestID,
                                  uint8_t uchHopCount, uint32_t bResponse)
{
    NVXL_STATUS nStatus = NVXL_OK;
    if (bResponse && NvxlFlag(NVXL_DISCOVER_SET_RESPONSE_TIMEOUT))
    {
        uint32_t ulTimeout = g_sDiscovery.ulResponseTimeout;
        nStatus = HalSetResponseTimeout(wVendorID, wDeviceID, 0, ulDestID, uchHopCount, &ulTimeout);
        NvxlDebugAndLog("Old response timeout value was %08lx\n", (unsigned long)ulTimeout);
        if (NvxlReport(
                1,
                "attempting to set the RapidIO response timeout value on the most recently discovered switch",
                nStatus))
            return nStatus;
    }
    if (NvxlFlag(NVXL_DISCOVER_SET_LINK_TIMEOUT))
    {
        uint32_t ulTimeout = g_sDiscovery.ulLinkTimeout;
        nStatus = HalSetLinkTimeout(wVendorID, wDeviceID, 0, ulDestID, uchHopCount, &ulTimeout);
        NvxlDebugAndLog("Old link timeout value was %08lx\n", (unsigned long)ulTimeout);
        if (NvxlReport(
                1, "attempting to set the RapidIO link timeout value on the most recently discovered switch",
                nStatus))
            return nStatus;
    }
    return NVXL_OK;
}

static NVXL_STATUS SwitchSteps(NVXL_PE* pParent, uint8_t uchParentPort, uint16_t wVendorID,
                               uint16_t wDeviceID, uint32_t* pulDestID, uint8_t uchHopCount,
                               uint32_t ulFeatures)
{
    const int bLong = NvxlFlag(NVXL_DISCOVER_USE_LONG_DESTIDS);
    uint32_t ulSwitchID = g_sDiscovery.ulAllOnesID;
    NVXL_STATUS nStatus;
    if (HalUsesDestID(wVendorID, wDeviceID))
    {
        if (NvxlFlag(NVXL_DISCOVER_ENUMERATE))
        {
            const uint32_t ulNextID = g_sDiscovery.ulNextDestID;
            nStatus = NvxlCheckNextIDs(ulNextID, 1, "the most recently discovered switch", 0);
            if (nStatus != NVXL_OK)
                return nStatus;
            uint16_t wWritten = 0;
            const NVXL_STATUS nWrite =
                NvxlWriteDestID(wVendorID, wDeviceID, *pulDestID, uchHopCount, bLong, ulNextID,
                                "Set long DestID:%04x\n", "Set long DestID:%02x\n", &wWritten, &wWritten);
            *pulDestID = ulNextID;
            nStatus = BuildRoute((uint16_t)ulNextID, 1);
            if (NvxlReport(1, "setting up temporary routing table entries", nStatus))
                return nStatus;
            // The write is judged by what the switch holds afterwards: a switch that took the ID may
            // not have answered the write through its old one.
            uint16_t wShort = 0xFFFF, wLong = 0xFFFF;
            nStatus = HalGetDeviceID(wVendorID, wDeviceID, 0, *pulDestID, uchHopCount, &wShort, &wLong);
            NVXL_DiscoveryDebugPrint(bLong ? "Read back DestID:%04x\n" : "Read back DestID:%02x\n",
                                     bLong ? wLong : wShort);
            if (NvxlReport(1,
                           "attempting to read the most recently discovered switch's current destination ID",
                           nStatus))
                return nStatus;
            if ((bLong ? wLong : wShort) != wWritten &&
                NvxlReport(1, "attempting to set the most recently discovered switch's destination ID",
                           nWrite))
                return nWrite;
            ulSwitchID = ulNextID;
            g_sDiscovery.ulNextDestID += g_sDiscovery.ulDestIDIncr;
        }
        else
        {
            uint16_t wLong = 0xFFFF;
            nStatus = HalGetDeviceID(wVendorID, wDeviceID, 0, *pulDestID, uchHopCount, NULL, &wLong);
            NVXL_DiscoveryDebugPrint("Read switch DestID:%04x\n", wLong);
            if (NvxlReport(
                    1,
                    "attempting to read the current destination ID from the most recently discovered switch",
                    nStatus))
                return nStatus;
            ulSwitchID = wLong;
        }
    }
    const uint32_t ulDestID = *pulDestID;
    nStatus = NvxlSetSwitchTimeouts(wVendorID, wDeviceID, ulDestID, uchHopCount,
                                    ulSwitchID != g_sDiscovery.ulAllOnesID);
    if (nStatus != NVXL_OK)
        return nStatus;
    uint32_t ulInfo = 0;
    nStatus = HalGetSwitchPortInfo(wVendorID, wDeviceID, 0, ulDestID, uchHopCount, &ulInfo);
    if (NvxlReport(1, "attempting to read switch port information from the most recently discovered switch",
                   nStatus))
        return nStatus;
    const uint32_t ulNumPorts = (ulInfo >> 8) & 0xFFu;
    const uint8_t uchEntryPort = (uint8_t)(ulInfo & 0xFFu);
    nStatus = HalSetPortEnables(wVendorID, wDeviceID, 0, ulDestID, uchHopCount, uchEntryPort, 1, 1);
    if (NvxlReport(1, "attempting to enable a port on the most recently discovered switch", nStatus))
        return nStatus;

    NVXL_PE* pPE = NULL;
    nStatus = NvxlNewPE(&pPE);
    if (nStatus != NVXL_OK)
        return nStatus;
    pPE->asPorts[uchEntryPort].ulActive = 1;
    NvxlSetUniqueID(pPE, pParent->szUniqueID, uchParentPort, uchEntryPort, wDeviceID, wVendorID);
    NVXL_DiscoveryDebugPrint("UniqueID: %s\n", pPE->szUniqueID);
    pPE->ulNumPorts = ulNumPorts;
    if (bLong)
    {
        pPE->wLongDestID = (uint16_t)ulSwitchID;
        pPE->wShortDestID = 0;
    }
    else
    {
        pPE->wShortDestID = (uint16_t)(ulSwitchID & 0xFFu);
        pPE->wLongDestID = 0;
    }
    FillFoundPE(pPE, wVendorID, wDeviceID, ulFeatures);
    if (NvxlFlag(NVXL_DISCOVER_ENUMERATE) && NvxlFlag(NVXL_DISCOVER_ASSIGN_VDIDS))
    {
        nStatus = NVXL_AssignVDIDs(wVendorID, wDeviceID, 0, ulDestID, uchHopCount, 1,
                                   &g_sDiscovery.ulNextDestID, pPE);
        if (nStatus != NVXL_OK && g_sDiscovery.bOutOfIDs)
            return nStatus;
        if (NvxlReport(1, "attempting to set the most recently discovered switch's VDIDs", nStatus))
            return nStatus;
    }
    pPE->ulHasDestID = ulSwitchID != g_sDiscovery.ulAllOnesID ? 1 : 0;
    NVXL_CONNECTION* pConnection = NULL;
    nStatus = NvxlNewConnection(&pConnection);
    if (nStatus != NVXL_OK)
        return nStatus;
    Connect(pConnection, pParent, uchParentPort, pPE, uchEntryPort, NVXL_CONNECTION_UP);
    nStatus = ReadPortShape(
        pPE, ulDestID, uchHopCount, uchEntryPort, &pPE->asPorts[uchEntryPort],
        "attempting to read the most recently discovered switch's port width and state information",
        "attempting to determine the speed of a port on the most recently discovered switch");
    if (nStatus != NVXL_OK)
        return nStatus;
    HalGetVDIDCaps(wVendorID, wDeviceID, 0, ulDestID, uchHopCount, &pPE->wVDIDCaps, &pPE->wNumSecondaryIDs);
    uint32_t ulReserved = 0;
    if (HalGetMulticastInfo(wVendorID, wDeviceID, 0, ulDestID, uchHopCount, &pPE->ulMulticastSupport,
                            &pPE->ulSimpleAssoc, &pPE->ulBlockAssoc, &pPE->ulPerPortAssoc,
                            &pPE->ulMaxAssociations, &pPE->ulMaxMasks, &ulReserved) == NVXL_OK)
        pPE->ulHasMulticast = 1;
    pPE->ulValid = 1;
    if (NvxlFlag(NVXL_DISCOVER_SET_DISCOVERED))
    {
        nStatus = HalSetPortDiscovered(wVendorID, wDeviceID, 0, ulDestID, uchHopCount, 1);
        if (NvxlReport(1, "attempting to set the 'Discovered' flag on the most recently discovered switch",
                       nStatus))
            return nStatus;
    }
    g_sDiscovery.szErrorText[0] = '\0';
    g_sDiscovery.ulNodeNumber++;

    for (uint32_t ulPort = 0; ulPort < ulNumPorts; ulPort++)
    {
        if (ulPort == uchEntryPort)
            continue;
        nStatus = PortSteps(pPE, (uint8_t)ulPort, uchEntryPort, ulDestID, uchHopCount);
        if (nStatus != NVXL_OK)
            return nStatus;
    }
    if (NvxlFlag(NVXL_DISCOVER_UPLOAD_ROUTING_TABLES))
        UploadTables(pPE, ulDestID, uchHopCount);
    return NVXL_OK;
}

NVXL_STATUS NVXL_Walk(uint32_t ulHostDestID, uint8_t uchHopCount, NVXL_PE* pParentPE, uint8_t uchParentPort,
                      uint32_t ulParentDestID, uint8_t uchParentHopCount)
{
    const uint32_t ulAllOnes = g_sDiscovery.ulAllOnesID;
    uint32_t ulDestID = ulAllOnes;
    uint32_t bLocked = 0;
    NVXL_STATUS nStatus = BuildRoute((uint16_t)ulAllOnes, 1);
    if (NvxlReport(1, "setting up temporary routing table entries", nStatus))
        return nStatus;
    NVXL_DiscoveryDebugPrint("Attempt to read Device and Vendor info using dest ID 0x%x\n", ulAllOnes);
    NvxlLog("Attempting to read Device and Vendor info using dest ID %Xh\n", ulAllOnes);
    uint16_t wDeviceID = 0xFFFF, wVendorID = 0xFFFF;
    nStatus = HalGetDeviceVendorID(0, ulAllOnes, uchHopCount, &wDeviceID, &wVendorID);
    if (nStatus == NVXL_ERR_RIO)
    {
        // The usual sign of an absent or mistrained partner: repair the parent's side of the link.
        const NVXL_STATUS nResync = HalResyncAckIDs(pParentPE->wVendorID, pParentPE->wDeviceID, 0,
                                                    ulParentDestID, uchParentHopCount, uchParentPort);
        if (nResync == NVXL_ERR_ACKIDS_ALIGNED)
            NvxlDebugAndLog("AckIDs appear to already be synched.\n");
        else if (nResync != NVXL_OK)
            NvxlDebugAndLog("Unable to re-synch ack IDs.  Error %d\n", (int)nResync);
        NvxlClearPortErrors(pParentPE->wVendorID, pParentPE->wDeviceID, ulParentDestID, uchParentHopCount,
                            uchParentPort, 1, "Unable to clear host port errors.\n",
                            "Outstanding host port errors: %08lx.\n", "No outstanding host port errors.\n");
    }
    // Read again whatever the first read gave.
    nStatus = HalGetDeviceVendorID(0, ulAllOnes, uchHopCount, &wDeviceID, &wVendorID);
    if (nStatus == NVXL_ERR_RIO)
    {
        // A device enumerated earlier may answer its own ID only.
        if (NvxlFlag(NVXL_DISCOVER_SCAN_EXISTING_PE_IDS))
        {
            NVXL_ScanExistingIDs(pParentPE, uchParentPort);
            NVXL_PrintScanSequence();
        }
        for (uint32_t i = 0; i < g_sDiscovery.ulNumScanIDs; i++)
        {
            const uint32_t ulID = g_sDiscovery.aulScanIDs[i];
            if (ulID == ulHostDestID)
            {
                NvxlAppendErrorText("NOTE:  Destination ID %d in scan sequence ignored - same as host ID.",
                                    (int)ulID);
                NvxlDebugAndLog("NOTE:  Destination ID %d in scan sequence ignored - same as host ID.\n",
                                (int)ulID);
                continue;
            }
            nStatus = BuildRoute((uint16_t)ulID, 1);
            if (NvxlReport(1, "setting up temporary routing table entries", nStatus))
                return nStatus;
            NVXL_DiscoveryDebugPrint("Attempting to read Device and Vendor info using dest ID 0x%x\n", ulID);
            NvxlLog("Attempting to read Device and Vendor info using dest ID %Xh\n", ulID);
            nStatus = HalGetDeviceVendorID(0, ulID, uchHopCount, &wDeviceID, &wVendorID);
            if (nStatus != NVXL_ERR_RIO)
            {
                ulDestID = ulID;
                break;
            }
        }
    }
    if (nStatus != NVXL_OK)
    {
        // Only this read is forgiven: what trained but can't be read becomes an unknown device.
        NvxlReport(0, "attempting to read the Device ID and Vendor ID for this PE during discovery", nStatus);
        const NVXL_STATUS nRecord = MakeUnknownEndpoint(pParentPE, uchParentPort);
        NvxlDebugAndLog("Error %d (%s) when attempting to read the DeviceID and VendorID for this PE\n",
                        (int)nStatus, HalErrorText(nStatus));
        if (nRecord != NVXL_OK)
            return nRecord;
        return nStatus == NVXL_ERR_RIO ? NVXL_OK : nStatus;
    }

    NvxlProgress("FOUND DEVICE HopCount=%02d:  DeviceID=%04Xh  VendorID=%04Xh", uchHopCount, wDeviceID,
                 wVendorID);
    NvxlDebugAndLog("FOUND DEVICE HopCount=%02d:  DeviceID=0x%04x  VendorID=0x%04x\n", uchHopCount, wDeviceID,
                    wVendorID);
    NvxlFoundPE(0, wDeviceID, wVendorID, (uint16_t)ulAllOnes, uchHopCount);
    uint32_t ulBreadcrumb = 0;
    nStatus = HalReadBreadcrumb(wVendorID, wDeviceID, 0, ulDestID, uchHopCount, &ulBreadcrumb);
    if (NvxlReport(1, "attempting to read the breadcrumb from a discovered PE", nStatus))
        return nStatus;
    const uint32_t ulOwnBreadcrumb = g_sDiscovery.ulBreadcrumbBase | (g_sDiscovery.ulNodeNumber & 0xFFu);
    NVXL_DiscoveryDebugPrint("Current Breadcrumb:%08lx Found Breadcrumb:%08lx\n",
                             (unsigned long)ulOwnBreadcrumb, (unsigned long)ulBreadcrumb);
    if ((ulBreadcrumb & 0xFFFFFF00u) == g_sDiscovery.ulBreadcrumbBase)
        return Revisit(pParentPE, uchParentPort, wVendorID, wDeviceID, ulDestID, uchHopCount, ulBreadcrumb);

    nStatus = NvxlLockPE(wVendorID, wDeviceID, ulDestID, uchHopCount, &bLocked);
    if (nStatus != NVXL_OK)
        return nStatus;
    nStatus = HalWriteBreadcrumb(wVendorID, wDeviceID, 0, ulDestID, uchHopCount, ulOwnBreadcrumb);
    if (NvxlReport(1, "attempting to write to the breadcrumb on a discovered PE", nStatus))
        return nStatus;
    NVXL_DiscoveryDebugPrint("Wrote Breadcrumb:%08lx\n", (unsigned long)ulOwnBreadcrumb);
    uint32_t ulFeatures = 0;
    nStatus = HalGetFeatures(wVendorID, wDeviceID, 0, ulDestID, uchHopCount, &ulFeatures);
    if (NvxlReport(1, "attepting to read features information from a discovered PE", nStatus))
        return nStatus;
    // The part-specific pre-initialisation resets routing state (the IDT switches' domain and
    // default route, the whole table of vendor 1's device 8): it belongs to bringing a fabric up.
    // A walk that neither enumerates nor takes locks looks at a fabric in service, whose traffic
    // depends on that state, and leaves it alone.
    if (NvxlFlag(NVXL_DISCOVER_ENUMERATE) || !NvxlFlag(NVXL_DISCOVER_NO_LOCKS))
    {
        nStatus = HalResetRoutingTable(wVendorID, wDeviceID, 0, ulDestID, uchHopCount);
        if (NvxlReport(1, "performing part-specific discovery pre-initialization", nStatus))
            return nStatus;
    }
    if (ulFeatures & 0x10000000u)
        nStatus =
            SwitchSteps(pParentPE, uchParentPort, wVendorID, wDeviceID, &ulDestID, uchHopCount, ulFeatures);
    else
        nStatus =
            EndpointSteps(pParentPE, uchParentPort, wVendorID, wDeviceID, &ulDestID, uchHopCount, ulFeatures);
    if (nStatus != NVXL_OK)
        return nStatus;
    if (!NvxlFlag(NVXL_DISCOVER_NO_LOCKS) && bLocked)
    {
        nStatus = HalReleaseDeviceLock(wVendorID, wDeviceID, 0, ulDestID, uchHopCount, (uint16_t)ulHostDestID,
                                       NULL);
        if (nStatus != NVXL_OK)
            return nStatus;
        NvxlDebugAndLog("Released host lock\n");
    }
    return NVXL_OK;
}
