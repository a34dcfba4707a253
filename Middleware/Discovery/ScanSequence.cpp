// Which destination IDs the discovery speaks to besides the all-ones ID, and which virtual IDs it
// hands out. The scan sequence serves devices that an earlier enumeration gave an ID and closed to
// anything else; the newest insertion is tried first.
#include "Discovery/DiscoveryInternal.h"
#include "NVXLHal.h"

#include <stdio.h>
#include <string.h>

static uint32_t g_ulNumSwitchVDIDs = 2;
static uint32_t g_ulNumEPAcceptAllVDIDs = 2;
static uint32_t g_ulNumEPSecDestIDsVDIDs = 2;
static uint32_t g_ulNumEPVDIDs = 2;
static uint32_t g_ulImplemenationPreference = 1;

// A PE record holds this many virtual IDs of each width.
#define RECORD_VDIDS 2u

NVXL_STATUS NVXL_SetVDIDCounts(uint32_t ulSwitch, uint32_t ulEPAcceptAll, uint32_t ulEPSecondary,
                               uint32_t ulEP, uint32_t ulPreference)
{
    g_ulNumSwitchVDIDs = ulSwitch;
    g_ulNumEPAcceptAllVDIDs = ulEPAcceptAll;
    g_ulNumEPSecDestIDsVDIDs = ulEPSecondary;
    g_ulNumEPVDIDs = ulEP;
    g_ulImplemenationPreference = ulPreference;
    NVXL_DiscoveryDebugPrint("g_ulNumSwitchVDIDs=%d\n", (int)ulSwitch);
    NVXL_DiscoveryDebugPrint("g_ulNumEPAcceptAllVDIDs=%d\n", (int)ulEPAcceptAll);
    NVXL_DiscoveryDebugPrint("g_ulNumEPSecDestIDsVDIDs=%d\n", (int)ulEPSecondary);
    NVXL_DiscoveryDebugPrint("g_ulNumEPVDIDs=%d\n", (int)ulEP);
    NVXL_DiscoveryDebugPrint("g_ulImplemenationPreference=%d\n", (int)ulPreference);
    return NVXL_OK;
}

void NVXL_DeleteScanID(uint32_t ulID)
{
    for (uint32_t i = 0; i < g_sDiscovery.ulNumScanIDs; i++)
    {
        if (g_sDiscovery.aulScanIDs[i] != ulID)
            continue;
        NVXL_DiscoveryDebugPrint("Deleting ID %d from scan sequence\n", (int)ulID);
        memmove(&g_sDiscovery.aulScanIDs[i], &g_sDiscovery.aulScanIDs[i + 1],
                (g_sDiscovery.ulNumScanIDs - i - 1) * sizeof(uint32_t));
        g_sDiscovery.ulNumScanIDs--;
        return;
    }
}

void NVXL_InsertScanID(uint32_t ulID)
{
    NVXL_DeleteScanID(ulID);
    NVXL_DiscoveryDebugPrint("Inserting ID %d into scan sequence\n", (int)ulID);
    // A full sequence gives up its last entry, the one that would be tried last.
    uint32_t ulMoved = g_sDiscovery.ulNumScanIDs;
    if (ulMoved == NVXL_MAX_SCAN_IDS)
        ulMoved--;
    memmove(&g_sDiscovery.aulScanIDs[1], &g_sDiscovery.aulScanIDs[0], ulMoved * sizeof(uint32_t));
    g_sDiscovery.aulScanIDs[0] = ulID;
    g_sDiscovery.ulNumScanIDs = ulMoved + 1;
}

static uint16_t CurrentID(const NVXL_PE* pPE)
{
    return NvxlFlag(NVXL_DISCOVER_USE_LONG_DESTIDS) ? pPE->wLongDestID : pPE->wShortDestID;
}

void NVXL_InitScanSequence(const NVXL_NETWORK* pOldNetwork)
{
    NVXL_DiscoveryDebugPrint("InitScanSequence\n");
    g_sDiscovery.ulNumScanIDs = 0;
    for (uint32_t i = 0; pOldNetwork && i < pOldNetwork->ulNumPEs; i++)
    {
        if (pOldNetwork->pPEs[i].ulHasDestID)
            NVXL_InsertScanID(CurrentID(&pOldNetwork->pPEs[i]));
    }
}

void NVXL_PrintScanSequence(void)
{
    char szDebug[NVXL_MAX_SCAN_IDS * 6 + 32] = "Scan Seq: ";
    char szLog[NVXL_MAX_SCAN_IDS * 7 + 32] = "Scan Sequence: ";
    size_t nDebug = strlen(szDebug), nLog = strlen(szLog);
    for (uint32_t i = 0; i < g_sDiscovery.ulNumScanIDs; i++)
    {
        nDebug +=
            (size_t)snprintf(szDebug + nDebug, sizeof szDebug - nDebug, "%x ", g_sDiscovery.aulScanIDs[i]);
        nLog += (size_t)snprintf(szLog + nLog, sizeof szLog - nLog, "%Xh ", g_sDiscovery.aulScanIDs[i]);
    }
    NVXL_DiscoveryDebugPrint("%s\n", szDebug);
    NvxlLog("%s\n", szLog);
}

uint32_t NVXL_GetScanSequence(const uint32_t** ppulIDs)
{
    if (ppulIDs)
        *ppulIDs = g_sDiscovery.aulScanIDs;
    return g_sDiscovery.ulNumScanIDs;
}

const NVXL_PE* NVXL_FindOldPE(const char* pszUniqueID)
{
    const NVXL_NETWORK* pOld = g_sDiscovery.pOldNetwork;
    for (uint32_t i = 0; pOld && i < pOld->ulNumPEs; i++)
    {
        NVXL_DiscoveryDebugPrint("Compare: '%s' with '%s'\n", pOld->pPEs[i].szUniqueID, pszUniqueID);
        if (strcmp(pOld->pPEs[i].szUniqueID, pszUniqueID) == 0)
            return &pOld->pPEs[i];
    }
    return NULL;
}

void NVXL_ScanExistingIDs(const NVXL_PE* pParentPE, uint8_t uchParentPort)
{
    NVXL_DiscoveryDebugPrint(
        "Finding the ID of a PE on the same port of the same device in the old network...\n");
    const NVXL_NETWORK* pOld = g_sDiscovery.pOldNetwork;
    const NVXL_PE* pOldParent = NVXL_FindOldPE(pParentPE->szUniqueID);
    if (!pOldParent)
        return;
    NVXL_DiscoveryDebugPrint("There is a PE that matches the parent PE in the old network.\n");
    uint32_t ulOtherNode = 0, ulOtherPort = 0;
    if (!FindConnectionAtPort(pOld, (uint32_t)(pOldParent - pOld->pPEs), uchParentPort, &ulOtherNode,
                              &ulOtherPort))
        return;
    NVXL_DiscoveryDebugPrint("There is a PE in the old network on that port.\n");
    const NVXL_PE* pOldPE = FindPE(pOld, ulOtherNode);
    if (!pOldPE || !pOldPE->ulHasDestID)
        return;
    // The ID the place had when the device was found goes in last, so it is tried first.
    NVXL_InsertScanID(CurrentID(pOldPE));
    NVXL_InsertScanID(NvxlFlag(NVXL_DISCOVER_USE_LONG_DESTIDS) ? pOldPE->wOrigLongDestID
                                                               : pOldPE->wOrigShortDestID);
}

NVXL_STATUS NVXL_AssignVDIDs(uint16_t wVendorID, uint16_t wDeviceID, uint8_t uchLocalPort, uint32_t ulDestID,
                             uint8_t uchHopCount, uint32_t ulIsSwitch, uint32_t* pulNextID, NVXL_PE* pPE)
{
    const int bLong = NvxlFlag(NVXL_DISCOVER_USE_LONG_DESTIDS);
    NVXL_DiscoveryDebugPrint(
        "Assign VDID   VendorID:%x DevID:%x Port:%d DestID:%x Hop:%d Switch:%c NextID:%x\n", wVendorID,
        wDeviceID, uchLocalPort, ulDestID, uchHopCount, ulIsSwitch ? 'Y' : 'N', *pulNextID);
    NVXL_DiscoveryDebugPrint("Get VDID Caps\n");
    const NVXL_STATUS nCaps = HalGetVDIDCaps(wVendorID, wDeviceID, uchLocalPort, ulDestID, uchHopCount,
                                             &pPE->wVDIDCaps, &pPE->wNumSecondaryIDs);
    uint32_t ulCount = 0;
    int bSecondary = 0;
    if (nCaps != NVXL_OK)
    {
        NVXL_DiscoveryDebugPrint("Couldn't get VDID caps so use AA\n");
        ulCount = g_ulNumEPVDIDs;
    }
    else if (ulIsSwitch)
    {
        ulCount = g_ulNumSwitchVDIDs;
    }
    else if (pPE->wVDIDCaps & 0x3u)
    {
        // Either capability bit leads here; the preference alone picks the way, even one the device
        // doesn't offer.
        if (g_ulImplemenationPreference == 2)
        {
            NVXL_DiscoveryDebugPrint("Supports AA and 2ary DestIDs. Use 2ary\n");
            ulCount = g_ulNumEPSecDestIDsVDIDs < pPE->wNumSecondaryIDs ? g_ulNumEPSecDestIDsVDIDs
                                                                       : pPE->wNumSecondaryIDs;
            bSecondary = 1;
        }
        else
        {
            NVXL_DiscoveryDebugPrint("Supports AA and 2ary DestIDs. Use AA\n");
            ulCount = g_ulNumEPAcceptAllVDIDs;
        }
    }
    else
    {
        NVXL_DiscoveryDebugPrint("Doesn't support 2ary or AA.\n");
    }
    NVXL_DiscoveryDebugPrint("Assigning %d VDIDs\n", (int)ulCount);
    const char* pszWhom = pPE == g_sDiscovery.pHostPE ? "the host PE"
                          : ulIsSwitch                ? "the most recently discovered switch"
                                                      : "the most recently discovered endpoint";
    const NVXL_STATUS nRange = NvxlCheckNextIDs(*pulNextID, ulCount, pszWhom, 1);
    if (nRange != NVXL_OK)
        return nRange;
    if (!bSecondary)
        HalEnableHostAccess(wVendorID, wDeviceID, uchLocalPort, ulDestID, uchHopCount, 1);
    for (uint32_t i = 0; i < ulCount; i++)
    {
        const uint16_t wID = bLong ? (uint16_t)*pulNextID : (uint16_t)(*pulNextID & 0xFFu);
        if (bSecondary)
        {
            NVXL_DiscoveryDebugPrint(
                bLong ? "Set Secondary DestID to %04x\n" : "Set Secondary DestID to %02x\n", wID);
            const NVXL_STATUS nStatus =
                HalSet2aryDestID(wVendorID, wDeviceID, uchLocalPort, ulDestID, uchHopCount, (uint16_t)i,
                                 bLong ? NULL : &wID, bLong ? &wID : NULL);
            if (nStatus != NVXL_OK)
                return nStatus;
        }
        if (i < RECORD_VDIDS)
        {
            if (bLong)
                pPE->wLongVDIDs[i] = wID;
            else
                pPE->wShortVDIDs[i] = wID;
        }
        NVXL_DiscoveryDebugPrint(bLong ? "Assign VDID %04x\n" : "Assign VDID %02x\n", wID);
        *pulNextID += g_sDiscovery.ulDestIDIncr;
    }
    // The record holds two IDs of each width; a larger count still took IDs from the counter.
    const uint16_t wHeld = (uint16_t)(ulCount < RECORD_VDIDS ? ulCount : RECORD_VDIDS);
    if (bLong)
        pPE->wNumLongVDIDs = wHeld;
    else
        pPE->wNumShortVDIDs = wHeld;
    pPE->wVDIDMode = bSecondary ? 0x8001u : 0x8002u;
    return NVXL_OK;
}
