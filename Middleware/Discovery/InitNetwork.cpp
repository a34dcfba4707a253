// Template-guided initialisation: the fabric is programmed to match a map made before (a template)
// rather than asked what it looks like. The template's PEs are walked from the host outward along
// its connections; each device is checked against its record, given the record's destination ID
// and time-outs, and each switch gets the port enables, port speeds and routing tables that the
// template holds. Devices are reached by the same temporary routes as in the discovery walk
// (Walk.cpp), but nothing is probed, locked or marked with a breadcrumb.
#include "Discovery/DiscoveryInternal.h"
#include "NVXLHal.h"
#include "NVXLRoute.h"
#include "NVXLStatus.h"

#include <stdlib.h>
#include <string.h>

#define ALL_TABLES 255u
#define HOST_PORT 0u
#define SERIAL_PORT 1u

// The template being walked.
static NVXL_NETWORK* s_pTemplate;
// Which PEs are being initialised at the moment, from the host down to the PE in hand: a loop in
// the template leads back to one of them, and entering it again from below would go round the
// loop until the switch stack is full.
static uint8_t s_abOnPath[NVXL_MAX_PES];

static int LongIDs(void)
{
    return NvxlFlag(NVXL_DISCOVER_USE_LONG_DESTIDS);
}

static int OnPath(uint32_t ulNode)
{
    return ulNode < NVXL_MAX_PES && s_abOnPath[ulNode];
}

static void SetOnPath(uint32_t ulNode, uint8_t bOn)
{
    if (ulNode < NVXL_MAX_PES)
        s_abOnPath[ulNode] = bOn;
}

// Clears a switch port's errors and notes what stays. The ackIDs read for the hint are those of
// port 0, whichever port was cleared, as the initialisation has always done.
static void ClearSwitchPortErrors(const NVXL_PE* pPE, uint32_t ulDestID, uint8_t uchHopCount, uint8_t uchPort)
{
    uint32_t ulRemaining = 0;
    const NVXL_STATUS nStatus =
        HalClearPortErrors(pPE->wVendorID, pPE->wDeviceID, 0, ulDestID, uchHopCount, uchPort, &ulRemaining);
    if (nStatus != NVXL_OK)
    {
        NvxlDebugAndLog("Unable to clear port errors.\n");
        return;
    }
    if (!ulRemaining)
    {
        NvxlDebugAndLog("No outstanding port errors.\n");
        return;
    }
    NvxlDebugAndLog("Outstanding port errors: %08lx.\n", (unsigned long)ulRemaining);
    NvxlAppendErrorText(
        "Outstanding port errors dectected after multiple attempts to clear them.  Port status is %08lX",
        (unsigned long)ulRemaining);
    uint8_t uchInbound = 0, uchOutstanding = 0, uchOutbound = 0;
    if (HalGetPortAckIDs(pPE->wVendorID, pPE->wDeviceID, 0, ulDestID, uchHopCount, 0, &uchInbound,
                         &uchOutstanding, &uchOutbound) == NVXL_OK &&
        uchOutstanding != uchOutbound)
        NvxlAppendErrorText(
            "Possible AckID misalignment problem.  Outstanding AckID is %d, Outbound AckID is %d",
            uchOutstanding, uchOutbound);
}

// Sends a switch's routing tables from the pool to the device. Done after everything behind the
// switch has been initialised: the tables overwrite the temporary entries that led there.
static NVXL_STATUS DownloadTables(const NVXL_PE* pPE, uint32_t ulDestID, uint8_t uchHopCount)
{
    const int bPerPort = pPE->ulPerPortTables != 0;
    uint32_t ulTables = bPerPort ? pPE->ulNumPorts : 1u;
    if (ulTables > NVXL_MAX_PORTS)
        ulTables = NVXL_MAX_PORTS;
    for (uint32_t ulPort = 0; ulPort < ulTables; ulPort++)
    {
        const int32_t lHandle = pPE->alRouteTables[bPerPort ? ulPort : 0];
        uint32_t ulCount = 0;
        if (lHandle == NVXL_NO_TABLE || !NVXL_RT_GetNumEntries(lHandle, &ulCount))
            continue;
        if (bPerPort)
            NvxlLog("Downloading routing table for port %d to node %d\n", (int)ulPort,
                    (int)pPE->ulNodeID + 1);
        else
            NvxlLog("Downloading routing table to node %d\n", (int)pPE->ulNodeID + 1);
        NVXL_ROUTE_ENTRY* pEntries = (NVXL_ROUTE_ENTRY*)calloc(ulCount ? ulCount : 1u, sizeof *pEntries);
        if (!pEntries)
        {
            NvxlReport(1, "downloading routing table.\n", NVXL_ERR_NO_MEMORY);
            return NVXL_ERR_NO_MEMORY;
        }
        uint32_t ulPos = 0, n = 0;
        for (const NVXL_RT_ENTRY* pEntry = NVXL_RT_FirstEntry(lHandle, &ulPos); pEntry && n < ulCount;
             pEntry = NVXL_RT_NextEntry(lHandle, &ulPos), n++)
        {
            pEntries[n].wDestID = pEntry->wDestID;
            pEntries[n].uchPort = pEntry->uchPort;
            pEntries[n].eType = (NVXL_ROUTE_TYPE)pEntry->ulType;
            pEntries[n].ulExtra = pEntry->ulSpecialType;
        }
        const NVXL_STATUS nStatus =
            HalStoreRoutingTable(pPE->wVendorID, pPE->wDeviceID, 0, ulDestID, uchHopCount,
                                 bPerPort ? (uint8_t)ulPort : (uint8_t)ALL_TABLES, n, pEntries);
        free(pEntries);
        if (NvxlReport(1, "downloading routing table.\n", nStatus))
            return nStatus;
    }
    return NVXL_OK;
}

static NVXL_STATUS InitPE(uint32_t ulNode, uint32_t ulHostID, uint8_t uchHopCount, NVXL_PE* pParent,
                          uint8_t uchParentPort, uint8_t uchEntryPort, uint32_t ulParentDestID,
                          uint8_t uchParentHopCount);

// Port P of a switch being initialised: the link to what the template has behind it, and that PE.
static NVXL_STATUS InitSwitchPort(NVXL_PE* pPE, uint8_t uchPort, uint8_t uchEntryPort, uint32_t ulDestID,
                                  uint8_t uchHopCount, uint32_t ulHostID, uint32_t ulParentNode)
{
    uint32_t ulFarNode = 0, ulFarPort = 0;
    NVXL_CONNECTION* pConnection =
        FindConnectionAtPort(s_pTemplate, pPE->ulNodeID, uchPort, &ulFarNode, &ulFarPort);
    if (!pConnection)
        return NVXL_OK;
    const uint16_t wVendorID = pPE->wVendorID, wDeviceID = pPE->wDeviceID;
    NVXL_STATUS nStatus;
    if (ulFarNode == ulParentNode)
    {
        // The way back towards the host: enabled, and not walked again.
        nStatus = HalSetPortEnables(wVendorID, wDeviceID, 0, ulDestID, uchHopCount, uchPort, 1, 1);
        NvxlReport(1, "attempting to enable a port on the most recently discovered switch", nStatus);
        return nStatus;
    }
    const NVXL_PE* pFar = FindPE(s_pTemplate, ulFarNode);
    if (!pFar || !pFar->ulValid || (pFar->ulTypeFlags & (NVXL_PE_UNKNOWN | NVXL_PE_EMPTY)) ||
        pConnection->ulLoopback || OnPath(ulFarNode))
        return NVXL_OK;

    NVXL_PORT* pPortRecord = &pPE->asPorts[uchPort];
    if (pPortRecord->ulPortType == SERIAL_PORT && pPortRecord->ulSpeedMHz != 0)
    {
        uint32_t ulSpeed = 0;
        nStatus = HalGetPortSpeedMHz(wVendorID, wDeviceID, 0, ulDestID, uchHopCount, uchPort, &ulSpeed);
        if (NvxlReport(1, "attempting to get port speed", nStatus))
            return nStatus;
        if (ulSpeed != pPortRecord->ulSpeedMHz)
        {
            nStatus = HalSetPortSpeedMHz(wVendorID, wDeviceID, 0, ulDestID, uchHopCount, uchPort,
                                         pPortRecord->ulSpeedMHz);
            if (NvxlReport(1, "attempting to set port speed", nStatus))
                return nStatus;
        }
    }
    ClearSwitchPortErrors(pPE, ulDestID, uchHopCount, uchPort);
    uint32_t bTrained = 0;
    nStatus = HalIsPortTrained(wVendorID, wDeviceID, 0, ulDestID, uchHopCount, uchPort, &bTrained);
    if (NvxlReport(1, "attempting to determine if the PE's RapidIO port was trained", nStatus))
        return nStatus;
    if (!bTrained)
    {
        pConnection->ulState = NVXL_CONNECTION_DOWN;
        pPortRecord->ulActive = 0;
        NvxlLog("Port is not trained.\n");
        NvxlLog("Port %d of node %d, which leads to node %d in the template, is not trained.\n", uchPort,
                (int)pPE->ulNodeID + 1, (int)ulFarNode + 1);
        return NVXL_ERR_UNSPECIFIED;
    }
    pConnection->ulState = NVXL_CONNECTION_UP;
    nStatus = HalSetPortEnables(wVendorID, wDeviceID, 0, ulDestID, uchHopCount, uchPort, 1, 1);
    if (NvxlReport(1, "attempting to enable a port on the most recently discovered switch", nStatus))
        return nStatus;
    const uint8_t uchTable = pPE->ulPerPortTables ? uchPort : (uint8_t)ALL_TABLES;
    NvxlDebugAndLog("Routing responses in port %d, out port %d to DestID %d (host)\n", uchPort, uchEntryPort,
                    (int)ulHostID);
    nStatus = HalRouteAddEntry(wVendorID, wDeviceID, 0, ulDestID, uchHopCount, uchTable, (uint16_t)ulHostID,
                               uchEntryPort, eNVXL_RouteTypePort, 0);
    if (NvxlReport(1, "attempting to add a temporary reverse-direction routing table entry", nStatus))
        return nStatus;
    nStatus = PushSwitch(wVendorID, wDeviceID, 0, ulDestID, uchHopCount,
                         pPE->ulPerPortTables ? (int8_t)uchEntryPort : (int8_t)-1, uchPort);
    if (NvxlReport(1, "attempting to add the most recently discovered switch to the switch stack", nStatus))
        return nStatus;
    // A failure behind this port ends the initialisation with the stack as it stands.
    nStatus = InitPE(ulFarNode, ulHostID, (uint8_t)(uchHopCount + 1), pPE, uchPort, (uint8_t)ulFarPort,
                     ulDestID, uchHopCount);
    if (nStatus != NVXL_OK)
        return nStatus;
    PopSwitch(0);
    return NVXL_OK;
}

static NVXL_STATUS InitPE(uint32_t ulNode, uint32_t ulHostID, uint8_t uchHopCount, NVXL_PE* pParent,
                          uint8_t uchParentPort, uint8_t uchEntryPort, uint32_t ulParentDestID,
                          uint8_t uchParentHopCount)
{
    (void)uchParentPort;
    (void)ulParentDestID;
    (void)uchParentHopCount;
    NVXL_PE* pPE = FindPE(s_pTemplate, ulNode);
    if (!pPE || !pPE->ulValid || (pPE->ulTypeFlags & (NVXL_PE_UNKNOWN | NVXL_PE_EMPTY)))
        return NVXL_OK;
    const int bLong = LongIDs();
    // The device still answers to what it had when the template was made.
    uint32_t ulDestID = g_sDiscovery.ulAllOnesID;
    if (pPE->ulHasDestID)
        ulDestID = bLong ? pPE->wOrigLongDestID : pPE->wOrigShortDestID;
    NVXL_STATUS nStatus = BuildRoute((uint16_t)ulDestID, 0);
    if (NvxlReport(1, "setting up temporary routing table entries", nStatus))
        return nStatus;
    uint16_t wDeviceID = 0xFFFF, wVendorID = 0xFFFF;
    nStatus = HalGetDeviceVendorID(0, ulDestID, uchHopCount, &wDeviceID, &wVendorID);
    if (NvxlReport(1, "attempting to read device and vendor information", nStatus))
        return nStatus;
    if (wDeviceID != pPE->wDeviceID || wVendorID != pPE->wVendorID)
    {
        NvxlLog("PE device/vendor IDs do not match network template.\n");
        NvxlLog(
            "Node %d of the template is DeviceID=%04Xh VendorID=%04Xh; the PE at hop count %d behind port "
            "%d of node %d is DeviceID=%04Xh VendorID=%04Xh.\n",
            (int)ulNode + 1, pPE->wDeviceID, pPE->wVendorID, uchHopCount, uchParentPort,
            (int)pParent->ulNodeID + 1, wDeviceID, wVendorID);
        return NVXL_ERR_UNSPECIFIED;
    }
    nStatus = HalResetRoutingTable(wVendorID, wDeviceID, 0, ulDestID, uchHopCount);
    if (NvxlReport(1, "performing part-specific discovery pre-initialization", nStatus))
        return nStatus;
    nStatus = NvxlSetSwitchTimeouts(wVendorID, wDeviceID, ulDestID, uchHopCount, 1);
    if (nStatus != NVXL_OK)
        return nStatus;
    if (pPE->ulHasDestID)
    {
        // Written in the record's own width; the device answers to it from now on.
        const int bRecordLong = pPE->ulUseLongDestID != 0;
        const uint32_t ulNewID = bRecordLong ? pPE->wLongDestID : pPE->wShortDestID;
        uint16_t wShort = 0, wLong = 0;
        nStatus = NvxlWriteDestID(wVendorID, wDeviceID, ulDestID, uchHopCount, (uint32_t)bRecordLong, ulNewID,
                                  "Set Long DestID:%04x\n", "Set Short DestID:%02x\n", &wShort, &wLong);
        if (NvxlReport(1, "setting new destination ID", nStatus))
            return nStatus;
        ulDestID = bRecordLong ? wLong : wShort;
        nStatus = BuildRoute((uint16_t)ulDestID, 0);
        if (NvxlReport(1, "setting up temporary routing table entries", nStatus))
            return nStatus;
    }
    if (!(pPE->ulTypeFlags & NVXL_PE_SWITCH))
    {
        NvxlLog("Endpoint at node %d has been initialized.\n", (int)ulNode + 1);
        return NVXL_OK;
    }
    SetOnPath(ulNode, 1);
    uint32_t ulPorts = pPE->ulNumPorts < NVXL_MAX_PORTS ? pPE->ulNumPorts : NVXL_MAX_PORTS;
    for (uint32_t ulPort = 0; ulPort < ulPorts; ulPort++)
    {
        nStatus = InitSwitchPort(pPE, (uint8_t)ulPort, uchEntryPort, ulDestID, uchHopCount, ulHostID,
                                 pParent->ulNodeID);
        if (nStatus != NVXL_OK)
            return nStatus;
    }
    SetOnPath(ulNode, 0);
    return DownloadTables(pPE, ulDestID, uchHopCount);
}

// Checks the host against the template and sets it up: its ID, port speed, port and time-outs.
static NVXL_STATUS InitHost(NVXL_PE* pHost)
{
    uint32_t ulFarNode = 0, ulFarPort = 0;
    NVXL_CONNECTION* pConnection =
        FindConnectionAtPort(s_pTemplate, pHost->ulNodeID, HOST_PORT, &ulFarNode, &ulFarPort);
    if (!pConnection)
    {
        NvxlLog("No connections found to host PE.\n");
        return NVXL_ERR_UNSPECIFIED;
    }
    uint16_t wDevice = 0xFFFF, wVendor = 0xFFFF;
    NVXL_STATUS nStatus = HalGetDeviceVendorID(0, NVXL_HOST_DESTID, 0, &wDevice, &wVendor);
    if (NvxlReport(1, "attempting to read the host PE's device and vendor information", nStatus))
        return nStatus;
    if (wDevice != pHost->wDeviceID || wVendor != pHost->wVendorID)
    {
        NvxlLog("Host PE does not match network template.\n");
        NvxlLog("Node %d of the template is DeviceID=%04Xh VendorID=%04Xh; the host PE is DeviceID=%04Xh "
                "VendorID=%04Xh.\n",
                (int)pHost->ulNodeID + 1, pHost->wDeviceID, pHost->wVendorID, wDevice, wVendor);
        return NVXL_ERR_UNSPECIFIED;
    }
    uint16_t wShort = pHost->wShortDestID, wLong = pHost->wLongDestID;
    if (LongIDs())
    {
        NVXL_DiscoveryDebugPrint("Set Long DestID:%04x\n", wLong);
        nStatus = HalSetDeviceID(wVendor, wDevice, 0, NVXL_HOST_DESTID, 0, NULL, &wLong);
    }
    else
    {
        NVXL_DiscoveryDebugPrint("Set Short DestID:%02x\n", wShort);
        nStatus = HalSetDeviceID(wVendor, wDevice, 0, NVXL_HOST_DESTID, 0, &wShort, NULL);
    }
    if (NvxlReport(1, "attempting to set host PE destination ID", nStatus))
        return nStatus;
    const NVXL_PORT* pPort = &pHost->asPorts[HOST_PORT];
    if (pPort->ulPortType == SERIAL_PORT && pPort->ulSpeedMHz != 0)
    {
        nStatus = HalSetPortSpeedMHz(wVendor, wDevice, 0, NVXL_HOST_DESTID, 0, HOST_PORT, pPort->ulSpeedMHz);
        if (NvxlReport(1, "attempting to set port speed on host PE", nStatus))
            return nStatus;
    }
    NvxlClearPortErrors(wVendor, wDevice, NVXL_HOST_DESTID, 0, HOST_PORT, 1,
                        "Unable to clear host port errors.\n", "Outstanding host port errors: %08lx.\n",
                        "No outstanding host port errors.\n");
    uint32_t bTrained = 0;
    nStatus = HalIsPortTrained(wVendor, wDevice, 0, NVXL_HOST_DESTID, 0, HOST_PORT, &bTrained);
    if (NvxlReport(1, "attempting to determine if the host PE's RapidIO port was trained", nStatus))
        return nStatus;
    if (!bTrained)
    {
        pConnection->ulState = NVXL_CONNECTION_DOWN;
        NvxlLog("Host port is not trained.\n");
        return NVXL_ERR_UNSPECIFIED;
    }
    return NvxlOpenHostPort(wVendor, wDevice);
}

NVXL_STATUS NVXL_InitNetwork(uint32_t ulFlags, uint32_t ulResponseTimeout, uint32_t ulLinkTimeout,
                             NVXL_NETWORK* pNetwork)
{
    NVXL_DISCOVERY_STATE* pState = &g_sDiscovery;
    // The width comes from what the previous discovery or initialisation left, before this call's
    // flags are stored: after a change of width the first initialisation still runs on the old one.
    const int bPreviousLong = NvxlFlag(NVXL_DISCOVER_USE_LONG_DESTIDS);
    HalSetLargeTransport(bPreviousLong ? 1 : 0);
    pState->ulAllOnesID = bPreviousLong ? NVXL_DEFAULT_ID_LARGE : NVXL_DEFAULT_ID_SMALL;

    pState->lStackTop = -1;
    pState->ulNumRemembered = 0;
    pState->ulFlags = ulFlags;
    pState->ulResponseTimeout = ulResponseTimeout;
    pState->ulLinkTimeout = ulLinkTimeout;
    pState->szErrorText[0] = '\0';
    pState->pHostPE = NULL;
    s_pTemplate = pNetwork;
    memset(s_abOnPath, 0, sizeof s_abOnPath);
    if (!pNetwork || pNetwork->ulNumPEs == 0 || !pNetwork->pPEs)
    {
        NvxlLog("No PEs found in network.\n");
        return NVXL_ERR_INVALID_PARAM;
    }
    NVXL_PE* pHost = &pNetwork->pPEs[0];
    pState->pHostPE = pHost;

    NVXL_STATUS nStatus = InitHost(pHost);
    if (nStatus != NVXL_OK)
        return nStatus;
    uint32_t ulFarNode = 0, ulFarPort = 0;
    if (!FindConnectionAtPort(pNetwork, 0, HOST_PORT, &ulFarNode, &ulFarPort))
    {
        NvxlLog("No connections found to host PE.\n");
        return NVXL_ERR_UNSPECIFIED;
    }
    const uint32_t ulHostID = LongIDs() ? pHost->wLongDestID : pHost->wShortDestID;
    pState->ulHostDestID = ulHostID;
    SetOnPath(0, 1);
    // The walk begins at node 1, the host's neighbour in a map laid out by the discovery walk.
    nStatus = InitPE(1, ulHostID, 0, pHost, HOST_PORT, (uint8_t)ulFarPort, NVXL_HOST_DESTID, 0);
    SetOnPath(0, 0);
    return nStatus;
}
