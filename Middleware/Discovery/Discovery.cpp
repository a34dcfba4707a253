// The discovery driver: settings, the host PE, its port and its lock, then the walk (Walk.cpp).
#include "Discovery/DiscoveryInternal.h"
#include "NVXLHal.h"
#include "NVXLRoute.h"
#include "NVXLStatus.h"

#include <stdarg.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>
#include <time.h>

NVXL_DISCOVERY_STATE g_sDiscovery;

// The lock of a PE is tried for this many seconds before it counts as held by another.
#define LOCK_RETRIES 15
// Host port through which the fabric is reached.
#define HOST_PORT 0

int NvxlFlag(uint32_t ulFlag)
{
    return (g_sDiscovery.ulFlags & ulFlag) != 0;
}

int32_t NvxlReport(uint32_t ulReport, const char* pszDoing, NVXL_STATUS lError)
{
    return NVXL_ReportFailure(ulReport, pszDoing, g_sDiscovery.szErrorText, NVXL_ERROR_TEXT_SIZE, lError);
}

void NvxlAppendErrorText(const char* pszFormat, ...)
{
    char szText[512];
    va_list args;
    va_start(args, pszFormat);
    vsnprintf(szText, sizeof szText, pszFormat, args);
    va_end(args);
    const size_t ulHeld = strlen(g_sDiscovery.szErrorText);
    const size_t ulSeparator = ulHeld ? 1 : 0;
    if (ulHeld + ulSeparator + strlen(szText) + 1 > NVXL_ERROR_TEXT_SIZE)
        return;
    if (ulSeparator)
        strcat(g_sDiscovery.szErrorText, "\n");
    strcat(g_sDiscovery.szErrorText, szText);
}

NVXL_STATUS HalGetDeviceVendorID(uint8_t uchLocalPort, uint32_t ulDestID, uint8_t uchHopCount,
                                 uint16_t* pwDeviceID, uint16_t* pwVendorID)
{
    return GetDeviceAndVendor(uchLocalPort, ulDestID, uchHopCount, pwDeviceID, pwVendorID);
}

uint32_t NvxlTypeFlags(uint32_t ulFeatures)
{
    uint32_t ulFlags = 0;
    if (ulFeatures & 0x80000000u)
        ulFlags |= NVXL_PE_BRIDGE;
    if (ulFeatures & 0x40000000u)
        ulFlags |= NVXL_PE_MEMORY;
    if (ulFeatures & 0x20000000u)
        ulFlags |= NVXL_PE_PROCESSOR;
    if (ulFeatures & 0x10000000u)
        ulFlags |= NVXL_PE_SWITCH;
    return ulFlags;
}

void NvxlSetUniqueID(NVXL_PE* pPE, const char* pszParentID, uint32_t ulParentPort, uint32_t ulEntryPort,
                     uint32_t ulDeviceID, uint32_t ulVendorID)
{
    char szID[sizeof pPE->szUniqueID + 64];
    snprintf(szID, sizeof szID, "%.255s%x%x%x%x", pszParentID, ulParentPort, ulEntryPort, ulDeviceID,
             ulVendorID);
    szID[sizeof pPE->szUniqueID - 1] = '\0';
    memcpy(pPE->szUniqueID, szID, sizeof pPE->szUniqueID);
}

NVXL_STATUS NvxlWriteDestID(uint16_t wVendorID, uint16_t wDeviceID, uint32_t ulDestID, uint8_t uchHopCount,
                            uint32_t bLong, uint32_t ulID, const char* pszLongLog, const char* pszShortLog,
                            uint16_t* pwShort, uint16_t* pwLong)
{
    if (bLong)
    {
        *pwLong = (uint16_t)ulID;
        NVXL_DiscoveryDebugPrint(pszLongLog, *pwLong);
        return HalSetDeviceID(wVendorID, wDeviceID, 0, ulDestID, uchHopCount, NULL, pwLong);
    }
    *pwShort = (uint16_t)(ulID & 0xFFu);
    NVXL_DiscoveryDebugPrint(pszShortLog, *pwShort);
    return HalSetDeviceID(wVendorID, wDeviceID, 0, ulDestID, uchHopCount, pwShort, NULL);
}

void NVXL_InitPE(NVXL_PE* pPE)
{
    memset(pPE, 0, sizeof *pPE);
    pPE->ulNodeID = 0xFFFFFFFFu;
    pPE->wDeviceID = pPE->wVendorID = 0xFFFF;
    pPE->wShortDestID = pPE->wLongDestID = 0xFFFF;
    pPE->wOrigShortDestID = pPE->wOrigLongDestID = 0xFFFF;
    pPE->ulTypeFlags = NVXL_PE_UNKNOWN;
    for (uint32_t ulPort = 0; ulPort < NVXL_MAX_PORTS; ulPort++)
    {
        NVXL_PORT* pPort = &pPE->asPorts[ulPort];
        pPort->uchMaxWidth = pPort->uchPortWidth = pPort->uchLane = pPort->uchWidthOverride = 255;
        pPE->alRouteTables[ulPort] = NVXL_NO_TABLE;
    }
}

void NVXL_InitConnection(NVXL_CONNECTION* pConnection)
{
    memset(pConnection, 0, sizeof *pConnection);
    pConnection->ulState = NVXL_CONNECTION_DOWN;
}

NVXL_PE* NewPE(NVXL_NETWORK* pNetwork)
{
    if (!pNetwork || pNetwork->ulNumPEs >= pNetwork->ulMaxPEs)
        return NULL;
    NVXL_PE* pPE = &pNetwork->pPEs[pNetwork->ulNumPEs++];
    NVXL_InitPE(pPE);
    return pPE;
}

NVXL_CONNECTION* NewConnection(NVXL_NETWORK* pNetwork)
{
    if (!pNetwork || pNetwork->ulNumConnections >= pNetwork->ulMaxConnections)
        return NULL;
    NVXL_CONNECTION* pConnection = &pNetwork->pConnections[pNetwork->ulNumConnections++];
    NVXL_InitConnection(pConnection);
    return pConnection;
}

// A full network ends the discovery: going on would leave devices that were configured but have no
// record, and a map that silently lacks part of the fabric.
static NVXL_STATUS ReportFull(const char* pszWhat, uint32_t ulCapacity)
{
    char szDoing[160];
    snprintf(szDoing, sizeof szDoing,
             "attempting to record more %s than the %u that a discovery can hold (the rest of the network "
             "was not walked)",
             pszWhat, ulCapacity);
    NvxlReport(1, szDoing, NVXL_ERR_NO_MEMORY);
    return NVXL_ERR_NO_MEMORY;
}

NVXL_STATUS NvxlCheckNextIDs(uint32_t ulNextID, uint32_t ulCount, const char* pszWhom, uint32_t bVirtual)
{
    const uint32_t ulLast = g_sDiscovery.ulAllOnesID - 1u;
    for (uint32_t i = 0; i < ulCount; i++)
    {
        // Counted in 64 bits: an increment near 2^32 must not bring the counter round again.
        const uint64_t ullID = (uint64_t)ulNextID + (uint64_t)i * g_sDiscovery.ulDestIDIncr;
        if (ullID <= ulLast)
            continue;
        const int bLong = NvxlFlag(NVXL_DISCOVER_USE_LONG_DESTIDS);
        const int nBits = bLong ? 16 : 8;
        NvxlProgress(
            "Enumeration stopped: destination ID %llXh is beyond %Xh, the last ID of %d-bit transport.",
            (unsigned long long)ullID, ulLast, nBits);
        char szDoing[400];
        snprintf(
            szDoing, sizeof szDoing,
            "attempting to give %s %sdestination ID %llXh, beyond %Xh, the last ID of %d-bit transport. "
            "The rest of the network was not walked: enumerate it %swith a smaller first ID or increment",
            pszWhom, bVirtual ? "the virtual " : "", (unsigned long long)ullID, ulLast, nBits,
            bLong ? "" : "with 16-bit IDs, or ");
        g_sDiscovery.bOutOfIDs = 1;
        NvxlReport(1, szDoing, NVXL_ERR_INVALID_PARAM);
        return NVXL_ERR_INVALID_PARAM;
    }
    return NVXL_OK;
}

NVXL_STATUS NvxlNewPE(NVXL_PE** ppPE)
{
    *ppPE = NewPE(g_sDiscovery.pNewNetwork);
    if (*ppPE)
        return NVXL_OK;
    return ReportFull("PEs", g_sDiscovery.pNewNetwork ? g_sDiscovery.pNewNetwork->ulMaxPEs : 0u);
}

NVXL_STATUS NvxlNewConnection(NVXL_CONNECTION** ppConnection)
{
    *ppConnection = NewConnection(g_sDiscovery.pNewNetwork);
    if (*ppConnection)
        return NVXL_OK;
    return ReportFull("connections",
                      g_sDiscovery.pNewNetwork ? g_sDiscovery.pNewNetwork->ulMaxConnections : 0u);
}

NVXL_PE* FindPE(const NVXL_NETWORK* pNetwork, uint32_t ulNode)
{
    if (!pNetwork || ulNode >= pNetwork->ulNumPEs)
        return NULL;
    return &pNetwork->pPEs[ulNode];
}

NVXL_CONNECTION* FindConnectionAtPort(const NVXL_NETWORK* pNetwork, uint32_t ulNode, uint32_t ulPort,
                                      uint32_t* pulOtherNode, uint32_t* pulOtherPort)
{
    if (!pNetwork)
        return NULL;
    for (uint32_t i = 0; i < pNetwork->ulNumConnections; i++)
    {
        NVXL_CONNECTION* pConnection = &pNetwork->pConnections[i];
        if (!pConnection->ulValid)
            continue;
        if (pConnection->ulNodeA == ulNode && pConnection->ulPortA == ulPort)
        {
            *pulOtherNode = pConnection->ulNodeB;
            *pulOtherPort = pConnection->ulPortB;
            return pConnection;
        }
        if (pConnection->ulNodeB == ulNode && pConnection->ulPortB == ulPort)
        {
            *pulOtherNode = pConnection->ulNodeA;
            *pulOtherPort = pConnection->ulPortA;
            return pConnection;
        }
    }
    return NULL;
}

NVXL_CONNECTION* FindConnection(const NVXL_NETWORK* pNetwork, uint32_t ulNodeA, uint32_t ulPortA,
                                uint32_t ulNodeB, uint32_t ulPortB)
{
    if (!pNetwork)
        return NULL;
    for (uint32_t i = 0; i < pNetwork->ulNumConnections; i++)
    {
        NVXL_CONNECTION* pConnection = &pNetwork->pConnections[i];
        if (!pConnection->ulValid)
            continue;
        if ((pConnection->ulNodeA == ulNodeA && pConnection->ulPortA == ulPortA &&
             pConnection->ulNodeB == ulNodeB && pConnection->ulPortB == ulPortB) ||
            (pConnection->ulNodeA == ulNodeB && pConnection->ulPortA == ulPortB &&
             pConnection->ulNodeB == ulNodeA && pConnection->ulPortB == ulPortA))
            return pConnection;
    }
    return NULL;
}

NVXL_STATUS NvxlOpenHostPort(uint16_t wVendor, uint16_t wDevice)
{
    NVXL_STATUS nStatus = HalSetPortEnables(wVendor, wDevice, 0, NVXL_HOST_DESTID, 0, HOST_PORT, 1, 1);
    if (NvxlReport(1, "attempting to enable the host PE's RapidIO port for input and output", nStatus))
        return nStatus;
    if (NvxlFlag(NVXL_DISCOVER_SET_RESPONSE_TIMEOUT))
    {
        uint32_t ulTimeout = g_sDiscovery.ulResponseTimeout;
        nStatus = HalSetResponseTimeout(wVendor, wDevice, 0, NVXL_HOST_DESTID, 0, &ulTimeout);
        NVXL_DiscoveryDebugPrint("Old response timeout value was %08lx\n", (unsigned long)ulTimeout);
        if (NvxlReport(1, "attempting to set the host PE's response timeout value", nStatus))
            return nStatus;
    }
    if (NvxlFlag(NVXL_DISCOVER_SET_LINK_TIMEOUT))
    {
        uint32_t ulTimeout = g_sDiscovery.ulLinkTimeout;
        nStatus = HalSetLinkTimeout(wVendor, wDevice, 0, NVXL_HOST_DESTID, 0, &ulTimeout);
        NVXL_DiscoveryDebugPrint("Old link timeout value was %08lx\n", (unsigned long)ulTimeout);
        if (NvxlReport(1, "attempting to set the host PE's link timeout value", nStatus))
            return nStatus;
    }
    return NVXL_OK;
}

NVXL_STATUS NvxlLockPE(uint16_t wVendorID, uint16_t wDeviceID, uint32_t ulDestID, uint8_t uchHopCount,
                       uint32_t* pbLocked)
{
    *pbLocked = 0;
    if (NvxlFlag(NVXL_DISCOVER_NO_LOCKS))
        return NVXL_OK;
    const uint16_t wLockValue = (uint16_t)g_sDiscovery.ulHostDestID;
    uint16_t wOwner = 0xFFFF;
    NVXL_STATUS nStatus = HalAcquireDeviceLock(wVendorID, wDeviceID, 0, ulDestID, uchHopCount, wLockValue,
                                               &wOwner, LOCK_RETRIES, 0);
    if (nStatus == NVXL_OK)
    {
        *pbLocked = 1;
        return NVXL_OK;
    }
    if (nStatus != NVXL_ERR_LOCKED && nStatus != NVXL_ERR_HIGHER_PRIORITY)
        return nStatus;
    if (!NvxlFlag(NVXL_DISCOVER_BREAK_LOCKS))
    {
        const char* pszText = "The host PE was found to be already locked with an ID of %d.\n  'BreakLocks' "
                              "is not set so aborting.";
        NvxlProgress(pszText, wOwner);
        NvxlLog(pszText, wOwner);
        NvxlLog("\n");
        NvxlReport(1, "attepting to lock PE (Already locked, 'BreakLocks' not set)", nStatus);
        return nStatus;
    }
    const char* pszText =
        "The host PE was found to be already locked with an ID of %d.\n  Attempting to break lock...";
    NvxlProgress(pszText, wOwner);
    NvxlLog(pszText, wOwner);
    NvxlLog("\n");
    nStatus = HalAcquireDeviceLock(wVendorID, wDeviceID, 0, ulDestID, uchHopCount, wLockValue, &wOwner,
                                   LOCK_RETRIES, 1);
    if (nStatus == NVXL_OK)
    {
        *pbLocked = 1;
        return NVXL_OK;
    }
    if (nStatus != NVXL_ERR_LOCKED && nStatus != NVXL_ERR_HIGHER_PRIORITY)
        return nStatus;
    // Going on without the lock: it was never taken, so it is never given back.
    if (NvxlFlag(NVXL_DISCOVER_IGNORE_LOCKS))
        return NVXL_OK;
    NvxlProgress("Unable to break the existing lock. Aborting.");
    NvxlLog("Unable to break the existing lock. Aborting.");
    NvxlLog("\n");
    NvxlReport(1, "attepting to break existing lock and re-lock the host PE (user abort)", nStatus);
    return nStatus;
}

void NvxlClearPortErrors(uint16_t wVendorID, uint16_t wDeviceID, uint32_t ulDestID, uint8_t uchHopCount,
                         uint8_t uchPort, uint32_t bNoteFailure, const char* pszFailText,
                         const char* pszOutstandingText, const char* pszNoneText)
{
    uint32_t ulRemaining = 0;
    const NVXL_STATUS nStatus =
        HalClearPortErrors(wVendorID, wDeviceID, 0, ulDestID, uchHopCount, uchPort, &ulRemaining);
    if (nStatus != NVXL_OK)
    {
        NvxlDebugAndLog("%s", pszFailText);
        if (bNoteFailure)
            NvxlReport(0, "attempting to clear port errors", nStatus);
        return;
    }
    if (!ulRemaining)
    {
        NVXL_DiscoveryDebugPrint("%s", pszNoneText);
        return;
    }
    NvxlDebugAndLog(pszOutstandingText, (unsigned long)ulRemaining);
    NvxlAppendErrorText(
        "Outstanding port errors dectected after multiple attempts to clear them.  Port status is %08lX",
        (unsigned long)ulRemaining);
    uint8_t uchInbound = 0, uchOutstanding = 0, uchOutbound = 0;
    if (HalGetPortAckIDs(wVendorID, wDeviceID, 0, ulDestID, uchHopCount, uchPort, &uchInbound,
                         &uchOutstanding, &uchOutbound) == NVXL_OK &&
        uchOutstanding != uchOutbound)
        NvxlAppendErrorText(
            "Possible AckID misalignment problem.  Outstanding AckID is %d, Outbound AckID is %d",
            uchOutstanding, uchOutbound);
}

// Fills the host's record: identity, lock, breadcrumb, IDs, port.
static NVXL_STATUS SetUpHostPE(uint32_t* pbLocked)
{
    NVXL_PE* pHost = g_sDiscovery.pHostPE;
    const int bLong = NvxlFlag(NVXL_DISCOVER_USE_LONG_DESTIDS);
    if (NvxlFlag(NVXL_DISCOVER_ENUMERATE) && g_sDiscovery.ulHostDestID >= g_sDiscovery.ulAllOnesID)
    {
        // The all-ones ID is the one every device answers before it is numbered, and whatever is
        // above it doesn't fit the transport: the host can't be given either, nor can the walk
        // route answers home to it.
        char szDoing[240];
        snprintf(szDoing, sizeof szDoing,
                 "attempting to give the host PE destination ID %Xh: the IDs of %d-bit transport end at %Xh, "
                 "and %Xh stands for none",
                 g_sDiscovery.ulHostDestID, bLong ? 16 : 8, g_sDiscovery.ulAllOnesID - 1u,
                 g_sDiscovery.ulAllOnesID);
        NvxlReport(1, szDoing, NVXL_ERR_INVALID_PARAM);
        return NVXL_ERR_INVALID_PARAM;
    }
    uint16_t wDevice = 0xFFFF, wVendor = 0xFFFF;
    NVXL_STATUS nStatus = HalGetDeviceVendorID(0, NVXL_HOST_DESTID, 0, &wDevice, &wVendor);
    if (NvxlReport(1, "attempting to read the host PE's device and vendor information", nStatus))
        return nStatus;
    nStatus = NvxlLockPE(wVendor, wDevice, NVXL_HOST_DESTID, 0, pbLocked);
    if (nStatus != NVXL_OK)
        return nStatus;
    const char* pszFound = "FOUND DEVICE HopCount=%02d:  DeviceID=%04Xh  VendorID=%04Xh";
    NvxlProgress(pszFound, 0, wDevice, wVendor);
    NvxlFoundPE(1, wDevice, wVendor, 0xFFFF, 0);
    NvxlLog(pszFound, 0, wDevice, wVendor);
    NvxlLog("\n");
    nStatus = HalWriteBreadcrumb(wVendor, wDevice, 0, NVXL_HOST_DESTID, 0,
                                 g_sDiscovery.ulBreadcrumbBase | (g_sDiscovery.ulNodeNumber & 0xFFu));
    if (NvxlReport(1, "attempting to write the breadcrumb to the host PE.", nStatus))
        return nStatus;
    uint32_t ulFeatures = 0;
    nStatus = HalGetFeatures(wVendor, wDevice, 0, NVXL_HOST_DESTID, 0, &ulFeatures);
    if (NvxlReport(1, "attepting to read features information from host PE", nStatus))
        return nStatus;
    uint16_t wShort = 0xFFFF, wLong = 0xFFFF;
    nStatus = HalGetDeviceID(wVendor, wDevice, 0, NVXL_HOST_DESTID, 0, &wShort, &wLong);
    if (NvxlReport(1, "attempting to read the host PE's current destination ID", nStatus))
        return nStatus;
    NVXL_DiscoveryDebugPrint("Current DestID:%04x %02x\n", wLong, wShort);
    const uint16_t wOrigShort = wShort, wOrigLong = wLong;
    if (NvxlFlag(NVXL_DISCOVER_ENUMERATE))
    {
        nStatus = NvxlWriteDestID(wVendor, wDevice, NVXL_HOST_DESTID, 0, bLong, g_sDiscovery.ulHostDestID,
                                  "Set long DestID:%04x\n", "Set short DestID:%02x\n", &wShort, &wLong);
        if (NvxlReport(1, "attempting to set the host PE's destination ID", nStatus))
            return nStatus;
        if (NvxlFlag(NVXL_DISCOVER_ASSIGN_VDIDS))
        {
            nStatus = NVXL_AssignVDIDs(wVendor, wDevice, 0, NVXL_HOST_DESTID, 0, 0,
                                       &g_sDiscovery.ulNextDestID, pHost);
            if (nStatus != NVXL_OK && g_sDiscovery.bOutOfIDs)
                return nStatus;
            if (NvxlReport(1, "attempting to set the host PE's VDIDs", nStatus))
                return nStatus;
        }
    }
    snprintf(pHost->szUniqueID, sizeof pHost->szUniqueID, "%x%x", wDevice, wVendor);
    NVXL_DiscoveryDebugPrint("HostPE UniqueID: %s\n", pHost->szUniqueID);
    pHost->wDeviceID = wDevice;
    pHost->wVendorID = wVendor;
    pHost->ulNumPorts = 1;
    pHost->wShortDestID = wShort;
    pHost->wLongDestID = wLong;
    pHost->wOrigShortDestID = wOrigShort;
    pHost->wOrigLongDestID = wOrigLong;
    pHost->ulHasDestID = 1;
    pHost->ulPerPortTables = HalIsPerPortRouting(wVendor, wDevice) ? 1 : 0;
    pHost->ulLargeSystem = (ulFeatures >> 4) & 1u;
    pHost->ulUseLongDestID = bLong ? 1 : 0;
    pHost->ulTypeFlags = NvxlTypeFlags(ulFeatures);
    pHost->ulNodeID = g_sDiscovery.ulNodeNumber;
    NVXL_PORT* pPort = &pHost->asPorts[HOST_PORT];
    uint32_t bParallel = 0;
    nStatus = HalGetPortWidth(wVendor, wDevice, 0, NVXL_HOST_DESTID, 0, HOST_PORT, &pPort->uchPortWidth,
                              &pPort->uchLane, &pPort->uchMaxWidth, &pPort->uchWidthOverride, &bParallel,
                              &pPort->ulPortType);
    if (NvxlReport(1, "attempting to read the host PE's port width and state information", nStatus))
        return nStatus;
    nStatus = HalGetPortSpeedMHz(wVendor, wDevice, 0, NVXL_HOST_DESTID, 0, HOST_PORT, &pPort->ulSpeedMHz);
    if (NvxlReport(1, "attempting to determine the host PE's port speed", nStatus))
        return nStatus;
    HalGetVDIDCaps(wVendor, wDevice, 0, NVXL_HOST_DESTID, 0, &pHost->wVDIDCaps, &pHost->wNumSecondaryIDs);
    pPort->ulActive = 1;
    pHost->ulValid = 1;
    if (NvxlFlag(NVXL_DISCOVER_SET_DISCOVERED))
    {
        nStatus = HalSetPortDiscovered(wVendor, wDevice, 0, NVXL_HOST_DESTID, 0, 1);
        if (NvxlReport(1, "attempting to set the 'Discovered' flag on the host PE", nStatus))
            return nStatus;
    }
    g_sDiscovery.ulNodeNumber++;
    return NVXL_OK;
}

// The record and the down connection of a host whose port did not train.
static NVXL_STATUS AddUntrainedHostPort(void)
{
    NVXL_PE* pHost = g_sDiscovery.pHostPE;
    NVXL_PE* pEmpty = NULL;
    NVXL_STATUS nStatus = NvxlNewPE(&pEmpty);
    if (nStatus != NVXL_OK)
        return nStatus;
    NvxlSetUniqueID(pEmpty, pHost->szUniqueID, 0, 0, 0xFFFF, 0xFFFF);
    pEmpty->wShortDestID = 0xFFFF;
    pEmpty->wLongDestID = 0;
    pEmpty->ulNumPorts = 0;
    pEmpty->ulHasDestID = 0;
    pEmpty->ulPerPortTables = 0;
    pEmpty->ulTypeFlags = NVXL_PE_EMPTY;
    pEmpty->ulNodeID = g_sDiscovery.ulNodeNumber;
    pEmpty->ulValid = 1;
    g_sDiscovery.szErrorText[0] = '\0';
    NVXL_CONNECTION* pConnection = NULL;
    nStatus = NvxlNewConnection(&pConnection);
    if (nStatus != NVXL_OK)
        return nStatus;
    pConnection->ulNodeA = pHost->ulNodeID;
    pConnection->ulPortA = HOST_PORT;
    pConnection->ulNodeB = pEmpty->ulNodeID;
    pConnection->ulPortB = 0;
    pConnection->ulTypeA = pHost->ulTypeFlags;
    pConnection->ulTypeB = pEmpty->ulTypeFlags;
    pConnection->ulState = NVXL_CONNECTION_DOWN;
    pConnection->ulValid = 1;
    NVXL_DiscoveryDebugPrint("UniqueID: %s\n", pEmpty->szUniqueID);
    NVXL_DiscoveryDebugPrint("Added connection from %d to %d\n", (int)pConnection->ulNodeA + 1,
                             (int)pConnection->ulNodeB + 1);
    return NVXL_OK;
}

// The host, its port, the walk behind it, and the host's lock given back.
static NVXL_STATUS DiscoverFromHost(void)
{
    uint32_t bLocked = 0;
    NVXL_STATUS nStatus = SetUpHostPE(&bLocked);
    if (nStatus != NVXL_OK)
        return nStatus;
    const NVXL_PE* pHost = g_sDiscovery.pHostPE;
    const uint16_t wVendor = pHost->wVendorID, wDevice = pHost->wDeviceID;
    NvxlClearPortErrors(wVendor, wDevice, NVXL_HOST_DESTID, 0, HOST_PORT, 1,
                        "Unable to clear host port errors.\n", "Outstanding host port errors: %08lx.\n",
                        "No outstanding host port errors.\n");
    uint32_t bTrained = 0;
    nStatus = HalIsPortTrained(wVendor, wDevice, 0, NVXL_HOST_DESTID, 0, HOST_PORT, &bTrained);
    if (NvxlReport(1, "attempting to determine if the host PE's RapidIO port was trained", nStatus))
        return nStatus;
    if (bTrained)
    {
        nStatus = NvxlOpenHostPort(wVendor, wDevice);
        if (nStatus != NVXL_OK)
            return nStatus;
        if (HalResyncAckIDs(wVendor, wDevice, 0, NVXL_HOST_DESTID, 0, HOST_PORT) != NVXL_OK)
            NVXL_DiscoveryDebugPrint("Unable to re-synch Host ack IDs\n");
        // A failure behind the host ends the discovery at once; the host's lock stays held.
        nStatus =
            NVXL_Walk(g_sDiscovery.ulHostDestID, 0, g_sDiscovery.pHostPE, HOST_PORT, NVXL_HOST_DESTID, 0);
        if (nStatus != NVXL_OK)
            return nStatus;
    }
    else
    {
        NvxlProgress("Note:  The host PE's RapidIO device is not trained.");
        NvxlLog("The host PE's RapidIO device is not trained.\n");
        NvxlDebugAndLog("Port is not trained on the host device.\n");
        nStatus = AddUntrainedHostPort();
        if (nStatus != NVXL_OK)
            return nStatus;
    }
    if (!NvxlFlag(NVXL_DISCOVER_NO_LOCKS) && bLocked)
    {
        nStatus = HalReleaseDeviceLock(wVendor, wDevice, 0, NVXL_HOST_DESTID, 0,
                                       (uint16_t)g_sDiscovery.ulHostDestID, NULL);
        NvxlReport(1, "attempting to release the lock on the host PE", nStatus);
        return nStatus;
    }
    return NVXL_OK;
}

static const char* YesNo(uint32_t ulFlag)
{
    return NvxlFlag(ulFlag) ? "Yes" : "No";
}

static void LogSettings(uint32_t ulPriority)
{
    NvxlLog("Settings...\n");
    NvxlLog(ulPriority == 0   ? "\tPriority: Low\n"
            : ulPriority == 1 ? "\tPriority: Med\n"
                              : "\tPriority: High\n");
    NvxlLog("\tNoLocks: %s\n", YesNo(NVXL_DISCOVER_NO_LOCKS));
    NvxlLog("\tBreakLocks: %s\n", YesNo(NVXL_DISCOVER_BREAK_LOCKS));
    NvxlLog("\tIgnoreLocks: %s\n", YesNo(NVXL_DISCOVER_IGNORE_LOCKS));
    NvxlLog("\tTryAllClockRates: %s\n", YesNo(NVXL_DISCOVER_TRY_ALL_CLOCK_RATES));
    NvxlLog("\tEnumerate: %s\n", YesNo(NVXL_DISCOVER_ENUMERATE));
    NvxlLog("\tUseLongDestIDs: %s\n", YesNo(NVXL_DISCOVER_USE_LONG_DESTIDS));
    NvxlLog("\tScanExistingPEIDs: %s\n", YesNo(NVXL_DISCOVER_SCAN_EXISTING_PE_IDS));
    NvxlLog("\tSetDiscovered: %s\n", YesNo(NVXL_DISCOVER_SET_DISCOVERED));
    NvxlLog("\tSetResponseTimeout: %s\n", YesNo(NVXL_DISCOVER_SET_RESPONSE_TIMEOUT));
    NvxlLog("\tUploadRoutingTables: %s\n", YesNo(NVXL_DISCOVER_UPLOAD_ROUTING_TABLES));
    NvxlLog("\tSkipUploadUnusedPorts: %s\n", YesNo(NVXL_DISCOVER_SKIP_UPLOAD_UNUSED_PORTS));
    NvxlLog("\tSetLinkTimeout: %s\n", YesNo(NVXL_DISCOVER_SET_LINK_TIMEOUT));
    NvxlLog("\tAssignVDIDs: %s\n", YesNo(NVXL_DISCOVER_ASSIGN_VDIDS));
}

// A base that no earlier discovery used: its top 24 bits mark the devices of this one. The clock's
// nanoseconds go into the seed so that two discoveries within one second don't share it.
static uint32_t NewBreadcrumbBase(void)
{
    struct timespec now;
    clock_gettime(CLOCK_REALTIME, &now);
    unsigned int uSeed = (unsigned int)now.tv_sec ^ (unsigned int)now.tv_nsec;
    const uint32_t ulFirst = (uint32_t)rand_r(&uSeed);
    const uint32_t ulSecond = (uint32_t)rand_r(&uSeed);
    return ((ulFirst << 16) + ulSecond) & 0xFFFFFF00u;
}

NVXL_STATUS NVXL_DiscoverNetwork(uint32_t ulFlags, uint32_t ulResponseTimeout, uint32_t ulLinkTimeout,
                                 const uint32_t* pulScanIDs, int32_t lNumScanIDs, uint32_t ulPriority,
                                 uint32_t ulHostDestID, uint32_t ulFirstDestID, uint32_t ulDestIDIncr,
                                 const NVXL_NETWORK* pOldNetwork, NVXL_NETWORK* pNewNetwork)
{
    NVXL_DISCOVERY_STATE* pState = &g_sDiscovery;
    NvxlProgress("Beginning standard network discovery...");
    NvxlLog("Beginning standard network discovery...\n");

    pState->ulFlags = ulFlags;
    LogSettings(ulPriority);
    const int bLong = NvxlFlag(NVXL_DISCOVER_USE_LONG_DESTIDS);
    HalSetLargeTransport(bLong ? 1 : 0);
    pState->ulAllOnesID = bLong ? NVXL_DEFAULT_ID_LARGE : NVXL_DEFAULT_ID_SMALL;
    pState->ulHostDestID = ulHostDestID;
    NvxlLog("\tHostDestID: %Xh\n", ulHostDestID);
    pState->ulNextDestID = ulFirstDestID;
    NvxlLog("\tFirstDestID: %Xh\n", ulFirstDestID);
    pState->ulDestIDIncr = ulDestIDIncr;
    pState->bOutOfIDs = 0;
    NvxlLog("\tDestIDIncr: %Xh\n", ulDestIDIncr);
    pState->pOldNetwork = pOldNetwork;
    pState->ulResponseTimeout = ulResponseTimeout;
    NvxlLog("\tResponseTimeout: %Xh\n", ulResponseTimeout);
    pState->ulLinkTimeout = ulLinkTimeout;
    NvxlLog("\tLinkTimeout: %Xh\n", ulLinkTimeout);
    pState->szErrorText[0] = '\0';
    pState->ulNumScanIDs = 0;
    if (NvxlFlag(NVXL_DISCOVER_SCAN_EXISTING_PE_IDS))
        NVXL_InitScanSequence(pOldNetwork);
    for (int32_t i = 0; i < lNumScanIDs && pulScanIDs; i++)
    {
        const uint32_t ulID = pulScanIDs[i];
        if (ulID == pState->ulAllOnesID || ulID >= 0x10000u || (!bLong && ulID > 0xFFu))
            continue;
        uint32_t n = 0;
        while (n < pState->ulNumScanIDs && pState->aulScanIDs[n] != ulID)
            n++;
        if (n == pState->ulNumScanIDs && pState->ulNumScanIDs < NVXL_MAX_SCAN_IDS)
            pState->aulScanIDs[pState->ulNumScanIDs++] = ulID;
    }
    NVXL_PrintScanSequence();
    NvxlLog("Discovery initialization is complete.\n");
    NVXL_DiscoveryDebugPrint("Discovery initialization is complete.\n");

    pState->pNewNetwork = pNewNetwork;
    pNewNetwork->ulNumPEs = 0;
    pNewNetwork->ulNumConnections = 0;
    pState->szErrorText[0] = '\0';
    pState->ulNodeNumber = 0;
    pState->ulBreadcrumbBase = NewBreadcrumbBase();
    pState->lStackTop = -1;
    pState->ulNumRemembered = 0;
    NVXL_STATUS nStatus = NvxlNewPE(&pState->pHostPE);
    if (nStatus != NVXL_OK)
        return nStatus;

    if (NvxlFlag(NVXL_DISCOVER_ENUMERATE))
    {
        NvxlProgress("Enumerating RapidIO Network.  Please wait...");
        NvxlLog("Performing standard discovery with enumeration.\n");
    }
    else
    {
        NvxlProgress("Discovering RapidIO Network.  Please wait...");
        NvxlLog("Performing standard discovery without enumeration.\n");
    }

    uint16_t wShort = 0xFFFF, wLong = 0xFFFF;
    nStatus = HalGetDeviceID(0xFFFF, 0xFFFF, 0, NVXL_HOST_DESTID, 0, &wShort, &wLong);
    if (nStatus != NVXL_OK)
        return nStatus;
    pState->pHostPE->wShortDestID = pState->pHostPE->wOrigShortDestID = wShort;
    pState->pHostPE->wLongDestID = pState->pHostPE->wOrigLongDestID = wLong;
    NVXL_DiscoveryDebugPrint("Current DestID:%04x %02x\n", wLong, wShort);
    if (!NvxlFlag(NVXL_DISCOVER_ENUMERATE))
    {
        pState->ulHostDestID = bLong ? wLong : wShort;
        pState->pHostPE->ulHasDestID = 1;
        NvxlDebugAndLog("Host Device ID is %d\n", (int)pState->ulHostDestID);
    }

    nStatus = DiscoverFromHost();
    if (nStatus != NVXL_OK)
        return nStatus;
    NVXL_DiscoveryDebugPrint("Network discovery complete\n");
    NvxlProgress("Network discovery complete.");
    NvxlLog("Network discovery complete.\n");
    return NVXL_OK;
}
