/* The interface of a custom GUI plug-in: a shared library that adds commands to the pop-up menu of
 * a PE on the map, for the device types it names. This header is all a plug-in needs; it uses
 * only C and <stdint.h>, so a plug-in is built without Qt and without any other header of the
 * host. README.md beside this file describes the life of a plug-in step by step.
 *
 * The host loads every library of its plug-in folder once, in file-name order, and asks each for
 * these exports by name (extern "C", default visibility):
 *
 *   required  SetCommandBaseID, CleanUp, Initialize, GetFirstSupportedDevice,
 *             GetNextSupportedDevice
 *   optional  UpdatePEPopupMenu, RCG_OnPECommand, OnUpdatePECommand
 *
 * A device is named by a 32-bit ID: the RapidIO vendor ID in bits 31..16, the device ID in bits
 * 15..0 (the device identity CAR at offset 0 read the other way round). For a PE of a device the
 * plug-in names, the host calls the optional exports when the person opens the PE's pop-up,
 * before it is shown, and when the person picks one of the plug-in's items.
 *
 * Everything runs on the host's GUI thread, one call at a time. Pointers the host passes are
 * valid for the duration of the call only, except the host table given to Initialize, which
 * stays valid until CleanUp returns. */
#ifndef NV_CUSTOM_GUI_PLUGIN_H
#define NV_CUSTOM_GUI_PLUGIN_H

#include <stdint.h>

#ifdef __cplusplus
extern "C"
{
#endif

/* Versions of the structures below. A structure's ulSize is the size the host built it with;
 * a newer host only ever appends members, so a plug-in tests ulSize before it uses a member
 * that a later version added (NV_CGUI_HAS(pTable, member)). */
#define NV_CGUI_HOST_VERSION 1u

#define NV_CGUI_HAS(pStruct, member)                                                                         \
    ((pStruct) != 0 && (pStruct)->ulSize >= (uint32_t)((const char*)&(pStruct)->member -                     \
                                                       (const char*)(pStruct) + sizeof((pStruct)->member)))

/* The first command ID the host hands out; every ID a plug-in takes lies from here to 0xFFFF. */
#define NV_CGUI_FIRST_COMMAND_ID 33137u

/* Type flags of a PE (NV_CGUI_PE.ulTypeFlags); several may be set. */
#define NV_CGUI_PE_BRIDGE 0x01u
#define NV_CGUI_PE_SWITCH 0x02u
#define NV_CGUI_PE_MEMORY 0x04u
#define NV_CGUI_PE_PROCESSOR 0x08u
#define NV_CGUI_PE_UNKNOWN 0x10u

/* No destination ID (a switch that only answers maintenance packets by hop count). */
#define NV_CGUI_NO_DEST_ID 0xFFFFFFFFu
/* No known way to the PE in the map's routing tables. */
#define NV_CGUI_NO_HOP_COUNT 0xFFu

    /* The PE a call is about, as the map knows it. */
    typedef struct NV_CGUI_PE
    {
        uint32_t ulSize;    /* sizeof(NV_CGUI_PE) of the host */
        int32_t iNode;      /* the PE's node number in the map; the key of the host calls */
        uint16_t wVendorID; /* device identity */
        uint16_t wDeviceID;
        uint32_t ulDestID;      /* the PE's own destination ID, or NV_CGUI_NO_DEST_ID */
        uint32_t ulRouteDestID; /* the ID a maintenance packet is sent with to reach the PE from the
                                   host through the map's tables (0xFFFFFFFF for the host itself) */
        uint8_t uchHopCount;    /* hop count of that packet, or NV_CGUI_NO_HOP_COUNT */
        uint8_t uchReserved[3];
        uint32_t ulTypeFlags; /* NV_CGUI_PE_... */
        uint32_t ulNumPorts;  /* ports the map knows of */
        uint32_t bConnected;  /* non-zero while the host has a target connected */
    } NV_CGUI_PE;

    /* What the host lets a plug-in do. pvHost is the first argument of every function. Statuses
     * are the host's client statuses: 0 success, negative a failure whose text StatusText gives. */
    typedef struct NV_CGUI_HOST
    {
        uint32_t ulSize;    /* sizeof(NV_CGUI_HOST) of the host */
        uint32_t ulVersion; /* NV_CGUI_HOST_VERSION of the host */
        void* pvHost;

        /* 32-bit maintenance read and write of a register of the PE with node number iNode, through
         * the target connection: the host finds the route (laying temporary routes where the map
         * has none) and sends the transaction. */
        int32_t (*MaintRead32)(void* pvHost, int32_t iNode, uint32_t ulOffset, uint32_t* pulValue);
        int32_t (*MaintWrite32)(void* pvHost, int32_t iNode, uint32_t ulOffset, uint32_t ulValue);
        /* A message box with one OK button; pszTitle may be null for the program's title.
         * ulKind: 0 information, 1 warning, 2 error. Returns when the person has closed it. */
        void (*ShowMessage)(void* pvHost, const char* pszText, const char* pszTitle, uint32_t ulKind);
        /* The text of a status, cut to ulSize - 1 bytes and terminated; returns its full length. */
        uint32_t (*StatusText)(void* pvHost, int32_t nStatus, char* pszText, uint32_t ulSize);
    } NV_CGUI_HOST;

    /* The pop-up being built for a PE. Items are added in order after the host's own. */
    typedef struct NV_CGUI_MENU
    {
        uint32_t ulSize; /* sizeof(NV_CGUI_MENU) of the host */
        void* pvMenu;
        /* An item with one of the plug-in's command IDs (one it took in SetCommandBaseID) and its
         * text (UTF-8). Returns 0, or non-zero when the ID isn't the plug-in's (nothing added). */
        int32_t (*AddItem)(void* pvMenu, uint16_t wCommandID, const char* pszText);
        int32_t (*AddSeparator)(void* pvMenu);
    } NV_CGUI_MENU;

/* Results of OnUpdatePECommand. */
#define NV_CGUI_CMD_ENABLED 0x1u
#define NV_CGUI_CMD_CHECKED 0x2u

    /* Takes command IDs from wNextID on and returns the next free one after them (wNextID itself
     * when the plug-in takes none). Called first of all, so IDs go out in file-name order. */
    typedef uint16_t (*PFN_CGUI_SET_COMMAND_BASE_ID)(uint16_t wNextID);
    /* Called once, at the host's end, before the library is unloaded. */
    typedef void (*PFN_CGUI_CLEAN_UP)(void);
    /* Called once after loading. pMainWindow is the host's main window (a QMainWindow* of the
     * host's Qt) as an opaque pointer: a plug-in built against the same Qt may parent its own
     * windows on it, any other leaves it alone. pHost stays valid until CleanUp returns. */
    typedef void (*PFN_CGUI_INITIALIZE)(void* pMainWindow, const NV_CGUI_HOST* pHost);
    /* The device list: 0 and *pulID, or non-zero when there is none (more). */
    typedef int32_t (*PFN_CGUI_GET_FIRST_DEVICE)(uint32_t* pulID);
    typedef int32_t (*PFN_CGUI_GET_NEXT_DEVICE)(uint32_t* pulID);
    /* Adds the plug-in's items for the PE to its pop-up. */
    typedef void (*PFN_CGUI_UPDATE_PE_POPUP_MENU)(const NV_CGUI_PE* pPE, const NV_CGUI_MENU* pMenu);
    /* Carries out one of the plug-in's commands on the PE. */
    typedef void (*PFN_CGUI_ON_PE_COMMAND)(uint16_t wCommandID, const NV_CGUI_PE* pPE);
    /* How a command stands for the PE: NV_CGUI_CMD_ENABLED and NV_CGUI_CMD_CHECKED. Without this
     * export every item is enabled and unchecked. */
    typedef uint32_t (*PFN_CGUI_ON_UPDATE_PE_COMMAND)(uint16_t wCommandID, const NV_CGUI_PE* pPE);

#define NV_CGUI_EXPORT_SET_COMMAND_BASE_ID "SetCommandBaseID"
#define NV_CGUI_EXPORT_CLEAN_UP "CleanUp"
#define NV_CGUI_EXPORT_INITIALIZE "Initialize"
#define NV_CGUI_EXPORT_GET_FIRST_DEVICE "GetFirstSupportedDevice"
#define NV_CGUI_EXPORT_GET_NEXT_DEVICE "GetNextSupportedDevice"
#define NV_CGUI_EXPORT_UPDATE_PE_POPUP_MENU "UpdatePEPopupMenu"
#define NV_CGUI_EXPORT_ON_PE_COMMAND "RCG_OnPECommand"
#define NV_CGUI_EXPORT_ON_UPDATE_PE_COMMAND "OnUpdatePECommand"

#ifdef __cplusplus
}
#endif

#endif
