/* The state of the discovery in progress and the steps its parts share. There is exactly one
 * discovery at a time; all of this is process-global. */
#ifndef NVXL_DISCOVERY_INTERNAL_H
#define NVXL_DISCOVERY_INTERNAL_H

#include "NVXLDiscovery.h"

#ifdef __cplusplus
extern "C"
{
#endif

    /* One switch between the host and the PE in hand. */
    typedef struct NVXL_SWITCH_STACK_ENTRY
    {
        uint16_t wVendorID;
        uint16_t wDeviceID;
        uint32_t ulDestID;    /* ID that reaches the switch */
        uint8_t uchLocalPort; /* host's local port, always 0 */
        uint8_t uchHopCount;  /* hop count of the switch */
        int8_t chTable;       /* table to change: the entry port with per-port tables, else -1 (all) */
        uint8_t uchRoutePort; /* output port towards the PE in hand */
    } NVXL_SWITCH_STACK_ENTRY;

    /* A routing entry as it was before the walk changed it. */
    typedef struct NVXL_REMEMBERED_ROUTE
    {
        uint32_t ulStackEntry;
        uint16_t wRouteDestID;
        uint8_t uchRoutePort;
        uint32_t ulType;
        uint32_t ulSpecialType;
    } NVXL_REMEMBERED_ROUTE;

    typedef struct NVXL_DISCOVERY_STATE
    {
        uint32_t ulFlags;
        uint32_t ulResponseTimeout;
        uint32_t ulLinkTimeout;
        uint32_t ulHostDestID;
        uint32_t ulNextDestID;
        uint32_t ulDestIDIncr;
        uint32_t bOutOfIDs; /* the counter ran past the transport's IDs; that stop is reported */
        uint32_t ulAllOnesID;
        uint32_t ulNodeNumber; /* number the next PE record gets */
        uint32_t ulBreadcrumbBase;
        const NVXL_NETWORK* pOldNetwork;
        NVXL_NETWORK* pNewNetwork;
        NVXL_PE* pHostPE;
        int32_t lStackTop; /* -1 when empty */
        NVXL_SWITCH_STACK_ENTRY asStack[NVXL_MAX_SWITCH_STACK];
        uint32_t ulNumRemembered;
        NVXL_REMEMBERED_ROUTE asRemembered[NVXL_MAX_REMEMBERED_ROUTES];
        uint32_t ulNumScanIDs;
        uint32_t aulScanIDs[NVXL_MAX_SCAN_IDS];
        char szErrorText[NVXL_ERROR_TEXT_SIZE];
    } NVXL_DISCOVERY_STATE;

    extern NVXL_DISCOVERY_STATE g_sDiscovery;

    /* Whether a settings bit is on. */
    int NvxlFlag(uint32_t ulFlag);

    /* The texts of a discovery: to the progress line, to the discovery log, and to both the debug
     * channel and the log. */
    void NvxlProgress(const char* pszFormat, ...)
#if defined(__GNUC__)
        __attribute__((format(printf, 1, 2)))
#endif
        ;
    void NvxlLog(const char* pszFormat, ...)
#if defined(__GNUC__)
        __attribute__((format(printf, 1, 2)))
#endif
        ;
    void NvxlDebugAndLog(const char* pszFormat, ...)
#if defined(__GNUC__)
        __attribute__((format(printf, 1, 2)))
#endif
        ;
    /* Appends a diagnosis to the accumulated error text (after a line end), if it fits. */
    void NvxlAppendErrorText(const char* pszFormat, ...)
#if defined(__GNUC__)
        __attribute__((format(printf, 1, 2)))
#endif
        ;
    /* Calls the FoundPE callback. */
    void NvxlFoundPE(uint32_t ulIsHost, uint16_t wDeviceID, uint16_t wVendorID, uint16_t wDestID,
                     uint8_t uchHopCount);
    /* NVXL_ReportFailure on the accumulated text. */
    int32_t NvxlReport(uint32_t ulReport, const char* pszDoing, NVXL_STATUS lError);

    /* One maintenance read of the Device Identity CAR. */
    NVXL_STATUS HalGetDeviceVendorID(uint8_t uchLocalPort, uint32_t ulDestID, uint8_t uchHopCount,
                                     uint16_t* pwDeviceID, uint16_t* pwVendorID);

    /* Opens the host's port for input and output and, as the flags say, sets the host's response
     * and link time-outs; each failure is reported and returned. */
    NVXL_STATUS NvxlOpenHostPort(uint16_t wVendor, uint16_t wDevice);

    /* Sets a switch's response time-out (only with bResponse) and link time-out as the flags say,
     * logging the old values; each failure is reported and returned. */
    NVXL_STATUS NvxlSetSwitchTimeouts(uint16_t wVendorID, uint16_t wDeviceID, uint32_t ulDestID,
                                      uint8_t uchHopCount, uint32_t bResponse);

    /* The locking step: takes the lock of a device for the host unless locks are off; *pbLocked
     * tells whether this discovery now holds it. */
    NVXL_STATUS NvxlLockPE(uint16_t wVendorID, uint16_t wDeviceID, uint32_t ulDestID, uint8_t uchHopCount,
                           uint32_t* pbLocked);
    /* Clears the errors of a port and notes in the accumulated text what stays, with a hint at
     * misaligned ackIDs. A failure to clear is logged and, with bNoteFailure, added to the text. */
    void NvxlClearPortErrors(uint16_t wVendorID, uint16_t wDeviceID, uint32_t ulDestID, uint8_t uchHopCount,
                             uint8_t uchPort, uint32_t bNoteFailure, const char* pszFailText,
                             const char* pszOutstandingText, const char* pszNoneText);
    /* A PE's unique ID: the parent's followed by "%x%x%x%x" of the four values, kept to 255
     * characters. */
    void NvxlSetUniqueID(NVXL_PE* pPE, const char* pszParentID, uint32_t ulParentPort, uint32_t ulEntryPort,
                         uint32_t ulDeviceID, uint32_t ulVendorID);
    /* Writes a destination ID of the transport's width to a device: ulID into *pwLong with bLong,
     * its low byte into *pwShort otherwise, logged with the format of that width; the other output
     * is left as it is. Returns the HAL's status of the write. */
    NVXL_STATUS NvxlWriteDestID(uint16_t wVendorID, uint16_t wDeviceID, uint32_t ulDestID,
                                uint8_t uchHopCount, uint32_t bLong, uint32_t ulID, const char* pszLongLog,
                                const char* pszShortLog, uint16_t* pwShort, uint16_t* pwLong);
    /* Type flags of a PE from its PE Features register. */
    uint32_t NvxlTypeFlags(uint32_t ulFeatures);

    /* Records: the next initialised record (counted), or NULL when the network is full. */
    NVXL_PE* NewPE(NVXL_NETWORK* pNetwork);
    NVXL_CONNECTION* NewConnection(NVXL_NETWORK* pNetwork);
    /* The record of a node, or NULL beyond the count. */
    NVXL_PE* FindPE(const NVXL_NETWORK* pNetwork, uint32_t ulNode);
    /* The first valid connection with that node and port at either end; the far end's node and port
     * go to the outputs. NULL when there is none. */
    NVXL_CONNECTION* FindConnectionAtPort(const NVXL_NETWORK* pNetwork, uint32_t ulNode, uint32_t ulPort,
                                          uint32_t* pulOtherNode, uint32_t* pulOtherPort);
    /* The first valid connection between the two node-and-port pairs, in either orientation. */
    NVXL_CONNECTION* FindConnection(const NVXL_NETWORK* pNetwork, uint32_t ulNodeA, uint32_t ulPortA,
                                    uint32_t ulNodeB, uint32_t ulPortB);
    /* Whether ulCount IDs of the next-ID counter, from ulNextID on, are IDs the transport carries: the
     * all-ones ID and whatever lies beyond it are not, and a counter that reaches them would hand out the
     * unassigned ID and then, written as a low byte, the IDs of PEs already numbered. When they
     * don't fit, the enumeration stops here: the stop is reported naming pszWhom and the first ID
     * that doesn't fit, bOutOfIDs is set, and NVXL_ERR_INVALID_PARAM is returned. */
    NVXL_STATUS NvxlCheckNextIDs(uint32_t ulNextID, uint32_t ulCount, const char* pszWhom, uint32_t bVirtual);
    /* Makes a PE or connection record, reporting a full network as the failure of this step. */
    NVXL_STATUS NvxlNewPE(NVXL_PE** ppPE);
    NVXL_STATUS NvxlNewConnection(NVXL_CONNECTION** ppConnection);

    /* The switch stack and the temporary routes kept up through it. */
    NVXL_STATUS PushSwitch(uint16_t wVendorID, uint16_t wDeviceID, uint8_t uchLocalPort, uint32_t ulDestID,
                           uint8_t uchHopCount, int8_t chTable, uint8_t uchRoutePort);
    void PopSwitch(uint32_t ulRestore);
    NVXL_STATUS BuildRoute(uint16_t wDestID, uint32_t ulRemember);
    void RememberRoute(uint32_t ulStackEntry, uint16_t wRouteDestID, uint8_t uchRoutePort, uint32_t ulType,
                       uint32_t ulSpecialType);
    NVXL_STATUS RestoreRoute(uint32_t ulStackEntry);

    /* Visits whatever lies behind uchParentPort of pParentPE; uchHopCount is that of the PE to find,
     * ulParentDestID and uchParentHopCount address the parent (-1 and 0 for the host). */
    NVXL_STATUS NVXL_Walk(uint32_t ulHostDestID, uint8_t uchHopCount, NVXL_PE* pParentPE,
                          uint8_t uchParentPort, uint32_t ulParentDestID, uint8_t uchParentHopCount);

    /* Scan sequence helpers of the walk. */
    void NVXL_ScanExistingIDs(const NVXL_PE* pParentPE, uint8_t uchParentPort);
    const NVXL_PE* NVXL_FindOldPE(const char* pszUniqueID);
    /* Assigns the virtual IDs of a PE from *pulNextID on. Returns 0 or a HAL error. */
    NVXL_STATUS NVXL_AssignVDIDs(uint16_t wVendorID, uint16_t wDeviceID, uint8_t uchLocalPort,
                                 uint32_t ulDestID, uint8_t uchHopCount, uint32_t ulIsSwitch,
                                 uint32_t* pulNextID, NVXL_PE* pPE);

#ifdef __cplusplus
}
#endif

#endif
