/* Standard discovery: the walk of a RapidIO fabric from the host outward, optionally enumerating
 * it, which leaves its findings as flat arrays of PE and connection records. One discovery runs at
 * a time; its state is process-global and nothing here is re-entered.
 *
 * Discovery's outputs to the application are its debug channel, four callbacks (progress line,
 * discovery log, found PE, reportable error) and the records. A sink that was never registered is
 * not called. */
#ifndef NVXL_DISCOVERY_H
#define NVXL_DISCOVERY_H

#include "NVXLTypes.h"

#ifdef __cplusplus
extern "C"
{
#endif

/* Ports a PE record can describe. */
#define NVXL_MAX_PORTS 256
/* Capacity of the record arrays the client hands to a discovery. */
#define NVXL_MAX_PES 5000
#define NVXL_MAX_CONNECTIONS 5000
/* Size of the accumulated error text of a discovery (the buffer of NVXL_ReportFailure). */
#define NVXL_ERROR_TEXT_SIZE 5000
/* A routing table handle that names no table. */
#define NVXL_NO_TABLE (-1)
/* Switches that may stand between the host and the PE in hand, and remembered route entries. */
#define NVXL_MAX_SWITCH_STACK 50
#define NVXL_MAX_REMEMBERED_ROUTES 50
/* Entries of the scan sequence. */
#define NVXL_MAX_SCAN_IDS 1000

/* Bits of the settings word of NVXL_DiscoverNetwork. */
#define NVXL_DISCOVER_ENUMERATE 0x0001u                /* write destination IDs */
#define NVXL_DISCOVER_USE_LONG_DESTIDS 0x0002u         /* 16-bit IDs, all-ones ID FFFFh */
#define NVXL_DISCOVER_NO_LOCKS 0x0004u                 /* take no lock anywhere */
#define NVXL_DISCOVER_BREAK_LOCKS 0x0008u              /* a lock held by another may be broken */
#define NVXL_DISCOVER_IGNORE_LOCKS 0x0010u             /* go on when a held lock can't be broken */
#define NVXL_DISCOVER_TRY_ALL_CLOCK_RATES 0x0020u      /* try each speed on an untrained port */
#define NVXL_DISCOVER_SCAN_EXISTING_PE_IDS 0x0040u     /* seed the scan sequence from the old network */
#define NVXL_DISCOVER_SET_DISCOVERED 0x0080u           /* set the Discovered bit on each PE */
#define NVXL_DISCOVER_SET_RESPONSE_TIMEOUT 0x0100u     /* write the response time-out */
#define NVXL_DISCOVER_UPLOAD_ROUTING_TABLES 0x0200u    /* read each switch's routing tables */
#define NVXL_DISCOVER_SKIP_UPLOAD_UNUSED_PORTS 0x0400u /* leave out inactive ports in that upload */
#define NVXL_DISCOVER_SET_LINK_TIMEOUT 0x2000u         /* write the link time-out */
#define NVXL_DISCOVER_ASSIGN_VDIDS 0x4000u             /* assign virtual IDs (with ENUMERATE) */

/* Bits of NVXL_PE.ulTypeFlags. */
#define NVXL_PE_BRIDGE 0x01u
#define NVXL_PE_SWITCH 0x02u
#define NVXL_PE_MEMORY 0x04u
#define NVXL_PE_PROCESSOR 0x08u
#define NVXL_PE_UNKNOWN 0x10u /* something answered but couldn't be identified */
#define NVXL_PE_EMPTY 0x20u   /* nothing answered behind a port */

/* States of NVXL_CONNECTION.ulState. */
#define NVXL_CONNECTION_UP 0u
#define NVXL_CONNECTION_DOWN 1u
#define NVXL_CONNECTION_INTERMITTENT 2u

    /* One port of a PE record. */
    typedef struct NVXL_PORT
    {
        uint32_t ulActive;        /* port trained and in use */
        uint8_t uchMaxWidth;      /* widest the port supports (255 = not known) */
        uint8_t uchPortWidth;     /* width it initialised to (255 = not known) */
        uint8_t uchLane;          /* lane it initialised on (255 = not known) */
        uint8_t uchWidthOverride; /* width override (255 = not known) */
        uint32_t ulPoweredDown;   /* port powered down */
        uint32_t ulPortType;      /* 0 unknown, 1 serial, 2 parallel */
        uint32_t ulSpeedMHz;      /* link speed, 0 = not known */
    } NVXL_PORT;

    /* One multicast group of a switch, as route generation reads it. */
    typedef struct NVXL_MULTICAST_GROUP
    {
        uint32_t ulMask;       /* mask number */
        uint32_t ulNumDestIDs; /* entries of pulDestIDs */
        uint32_t* pulDestIDs;  /* the group's destination IDs (malloc, freed by NVXL_FreePETables) */
        uint32_t ulNumPorts;   /* entries of pulPorts */
        uint32_t* pulPorts;    /* the mask's ports (malloc, freed by NVXL_FreePETables) */
    } NVXL_MULTICAST_GROUP;

    /* The middleware's record of one PE; its index in the PE array is its node number. */
    typedef struct NVXL_PE
    {
        uint32_t ulValid;          /* 1 = record live, 0 = empty or deleted */
        uint32_t ulNodeID;         /* node number (all ones until set) */
        uint16_t wDeviceID;        /* device identity (FFFFh until read) */
        uint16_t wVendorID;        /* vendor identity (FFFFh until read) */
        uint16_t wShortDestID;     /* 8-bit destination ID in force */
        uint16_t wLongDestID;      /* 16-bit destination ID in force */
        uint16_t wVDIDCaps;        /* bit 0 secondary IDs, bit 1 accept-all */
        uint16_t wNumSecondaryIDs; /* secondary IDs the device offers */
        uint16_t wVDIDMode;        /* bit 15 assigned, bit 0 secondary IDs, bit 1 accept-all */
        uint16_t wNumShortVDIDs;   /* virtual 8-bit IDs held */
        uint16_t wNumLongVDIDs;    /* virtual 16-bit IDs held */
        uint16_t wShortVDIDs[2];   /* the 8-bit virtual IDs */
        uint16_t wLongVDIDs[2];    /* the 16-bit virtual IDs */
        uint16_t wOrigShortDestID; /* 8-bit ID read when the device was found */
        uint16_t wOrigLongDestID;  /* 16-bit ID read when the device was found */
        uint32_t ulUseLongDestID;  /* the network runs with 16-bit IDs */
        uint32_t ulLargeSystem;    /* PE Features: common transport large system */
        uint32_t ulTypeFlags;      /* NVXL_PE_... bits */
        uint32_t ulNumPorts;       /* 1 for an endpoint, the port total of a switch, 0 for none */
        uint32_t ulHasDestID;      /* the PE answers to a destination ID of its own */
        uint32_t ulPerPortTables;  /* one routing table per port */
        uint8_t uchUser;           /* passed through between client and middleware untouched */
        NVXL_PORT asPorts[NVXL_MAX_PORTS];
        uint32_t ulHasMulticast;                /* the multicast capabilities below were read */
        uint32_t ulMulticastSupport;            /* multicast supported */
        uint32_t ulSimpleAssoc;                 /* simple association model */
        uint32_t ulBlockAssoc;                  /* block association */
        uint32_t ulPerPortAssoc;                /* per-port association */
        uint32_t ulMulticastEnabled;            /* route generation adds the multicast entries */
        uint32_t ulMaxAssociations;             /* associations per mask */
        uint32_t ulMaxMasks;                    /* masks */
        uint32_t ulNumMulticastGroups;          /* records in pMulticastGroups */
        NVXL_MULTICAST_GROUP* pMulticastGroups; /* malloc, freed by NVXL_FreePETables */
        int32_t alRouteTables[NVXL_MAX_PORTS];  /* table handles (NVXL_Route.h), NVXL_NO_TABLE = none;
                                                   index 0 only without per-port tables */
        char szUniqueID[256];                   /* identity across discoveries, NUL terminated */
        char szError[512];                      /* diagnosis kept with an unknown device */
    } NVXL_PE;

    /* The middleware's record of one link. End A is the end nearer the host. */
    typedef struct NVXL_CONNECTION
    {
        uint32_t ulValid;    /* 1 = live, 0 = deleted */
        uint32_t ulLoopback; /* both ends on the same PE */
        uint32_t ulPortA;
        uint32_t ulNodeA;
        uint32_t ulPortB;
        uint32_t ulNodeB;
        uint32_t ulTypeA; /* ulTypeFlags of end A */
        uint32_t ulTypeB; /* ulTypeFlags of end B */
        char szLabel[80]; /* text carried with the link */
        uint32_t ulState; /* NVXL_CONNECTION_UP, _DOWN or _INTERMITTENT */
    } NVXL_CONNECTION;

    /* A network: PE and connection arrays, allocated by the caller, and their use. */
    typedef struct NVXL_NETWORK
    {
        uint32_t ulNumPEs;
        uint32_t ulNumConnections;
        uint32_t ulMaxPEs;
        uint32_t ulMaxConnections;
        NVXL_PE* pPEs;
        NVXL_CONNECTION* pConnections;
    } NVXL_NETWORK;

    /* Receives the discovery's debug text (the application's debug log, channel Discovery). */
    typedef void (*NVXL_DEBUG_OUTPUT_CALLBACK)(const char* pszText, void* pContext);
    /* Receives a fatal or reportable error with its full text; the result is not used. */
    typedef int32_t (*NVXL_REPORT_ERROR_CALLBACK)(const char* pszText, int32_t lError, void* pContext);
    /* A short status line without line end, for the working window. */
    typedef void (*NVXL_PROGRESS_CALLBACK)(const char* pszText, void* pContext);
    /* A line of the discovery log, line ends included. */
    typedef void (*NVXL_LOG_CALLBACK)(const char* pszText, void* pContext);
    /* A device newly reached, before anything is written to it. The host reports wDestID FFFFh and
     * hop 0; every other device the all-ones ID of the mode. */
    typedef void (*NVXL_FOUND_PE_CALLBACK)(uint32_t ulIsHost, uint16_t wDeviceID, uint16_t wVendorID,
                                           uint16_t wDestID, uint8_t uchHopCount, void* pContext);

    /* Stores the sink of the discovery debug channel (NULL removes it). Returns 1. */
    int32_t NVXL_RegisterDebugOutput(NVXL_DEBUG_OUTPUT_CALLBACK pfnCallback, void* pContext);
    /* Stores the error callback (NULL removes it) and notes that in the debug channel. Returns 1. */
    int32_t NVXL_RegisterReportError(NVXL_REPORT_ERROR_CALLBACK pfnCallback, void* pContext);
    /* The same for the three other callbacks. Each returns 1. */
    int32_t NVXL_RegisterProgressReport(NVXL_PROGRESS_CALLBACK pfnCallback, void* pContext);
    int32_t NVXL_RegisterLog(NVXL_LOG_CALLBACK pfnCallback, void* pContext);
    int32_t NVXL_RegisterFoundPE(NVXL_FOUND_PE_CALLBACK pfnCallback, void* pContext);
    /* Formats a text into the discovery debug channel. Returns the number of characters. */
    int32_t NVXL_DiscoveryDebugPrint(const char* pszFormat, ...)
#if defined(__GNUC__)
        __attribute__((format(printf, 1, 2)))
#endif
        ;
    /* Hands a text and its status to the error callback, if one is registered. */
    void NVXL_CallReportError(const char* pszText, int32_t lError);

    /* Walks the fabric from the host and appends its findings to pNewNetwork (whose counts are set
     * to 0 first); pOldNetwork, which may be NULL, is only read. The settings word holds
     * NVXL_DISCOVER_... bits. ulResponseTimeout and ulLinkTimeout are register values. pulScanIDs
     * lists IDs to try on a device that won't answer to the all-ones ID. ulPriority is logged only.
     * Returns 0 or a negative HAL status; the records made before a failure stay. A network whose
     * PE or connection array is full stops the discovery with NVXL_ERR_NO_MEMORY. */
    NVXL_STATUS NVXL_DiscoverNetwork(uint32_t ulFlags, uint32_t ulResponseTimeout, uint32_t ulLinkTimeout,
                                     const uint32_t* pulScanIDs, int32_t lNumScanIDs, uint32_t ulPriority,
                                     uint32_t ulHostDestID, uint32_t ulFirstDestID, uint32_t ulDestIDIncr,
                                     const NVXL_NETWORK* pOldNetwork, NVXL_NETWORK* pNewNetwork);

    /* Programs the fabric to match a template: pNetwork's PEs and connections (the host first, its
     * neighbour at node 1) are walked from the host; each device is checked against its record and
     * given the record's destination ID, time-outs, port enables and speeds, and each switch the
     * routing tables its record holds (pool handles). Only NVXL_DISCOVER_USE_LONG_DESTIDS,
     * _SET_RESPONSE_TIMEOUT and _SET_LINK_TIMEOUT are read. The ID width of the HAL is the one the
     * previous discovery or initialisation ran with. Connection states and port activity of the
     * records are updated on the way. Returns 0; NVXL_ERR_UNSPECIFIED for a device or host that does
     * not match its record, an untrained link or a host without a connection; NVXL_ERR_INVALID_PARAM
     * for a network without PEs; or the HAL's status of a step that failed, reported. */
    NVXL_STATUS NVXL_InitNetwork(uint32_t ulFlags, uint32_t ulResponseTimeout, uint32_t ulLinkTimeout,
                                 NVXL_NETWORK* pNetwork);

    /* Adds the text of a failure to pszBuffer (see AddErrorText). With ulReport set, a text that
     * was stored also goes to the discovery log and to the error callback. Returns 0 for status 0,
     * else 1. */
    int32_t NVXL_ReportFailure(uint32_t ulReport, const char* pszDoing, char* pszBuffer,
                               uint32_t ulBufferSize, NVXL_STATUS lError);

    /* Puts every field of a record into its initial state. */
    void NVXL_InitPE(NVXL_PE* pPE);
    void NVXL_InitConnection(NVXL_CONNECTION* pConnection);

    /* Virtual destination ID counts of the next discovery: switches, accept-all endpoints,
     * endpoints with secondary IDs, endpoints whose capabilities can't be read, and the preferred
     * way (1 accept-all, 2 secondary IDs). Returns 0. */
    NVXL_STATUS NVXL_SetVDIDCounts(uint32_t ulSwitch, uint32_t ulEPAcceptAll, uint32_t ulEPSecondary,
                                   uint32_t ulEP, uint32_t ulPreference);

    /* The scan sequence of the discovery in progress (exposed for its tests and for the client's
     * display of it). */
    void NVXL_InitScanSequence(const NVXL_NETWORK* pOldNetwork);
    void NVXL_InsertScanID(uint32_t ulID);
    void NVXL_DeleteScanID(uint32_t ulID);
    void NVXL_PrintScanSequence(void);
    /* Entries of the scan sequence and their number. */
    uint32_t NVXL_GetScanSequence(const uint32_t** ppulIDs);

#ifdef __cplusplus
}
#endif

#endif
