/* Basic types of the NVXL middleware: statuses, route entries, device keys.
 * The middleware is a C-style library: free functions, negative statuses, outputs through
 * pointers. It knows nothing of the client and reaches the target only through the transport
 * table that the client installs (NVXLTransport.h). */
#ifndef NVXL_TYPES_H
#define NVXL_TYPES_H

#include <stdint.h>

#ifdef __cplusplus
extern "C"
{
#endif

    typedef int32_t NVXL_STATUS;

    /* HAL statuses. Client statuses live on the client side; the two spaces overlap numerically and
     * only ever cross through HalStatusToClient/ClientStatusToHal. */
    enum
    {
        NVXL_OK = 0,
        NVXL_ERR_OPEN_DEVICE = -1,     /* Unable to open local RIO device. */
        NVXL_ERR_UNSPECIFIED = -2,     /* Unspecified error encountered. */
        NVXL_ERR_DRIVER_NOT_OPEN = -3, /* Driver is not open. */
        NVXL_ERR_DRIVER_PARAM = -4,    /* Driver: invalid parameter. */
        NVXL_ERR_RIO = -5,             /* Driver: RapidIO error. */
        NVXL_ERR_TIMEOUT = -6,         /* A RapidIO timeout has occurred. */
        NVXL_ERR_HIGHER_PRIORITY = -7, /* Another host has a higher priority. */
        NVXL_ERR_LOCKED = -8,          /* Another host already acquired the specified PE. */
        NVXL_ERR_NOT_SUPPORTED = -9,   /* HAL operation is not supported. */
        NVXL_ERR_INVALID_PARAM = -10,  /* Invalid parameter specified on function call. */
        NVXL_ERR_ROUTING = -11,        /* Switch cannot support requested routing. */
        NVXL_ERR_TOO_MANY_SWITCHES = -12,
        NVXL_ERR_NOT_A_SWITCH = -13,
        NVXL_ERR_NO_MEMORY = -14,
        NVXL_ERR_LINK_REQUEST = -15, /* Link request failed. */
        NVXL_ERR_CHILD_PROCESS = -16,
        NVXL_ERR_ACKIDS_ALIGNED = -18 /* maps to the client's "AckIDs are not misaligned" */
    };

/* The ID value of a device that has not been given one, at 8 and 16 bits. */
#define NVXL_DEFAULT_ID_SMALL 0xFFu
#define NVXL_DEFAULT_ID_LARGE 0xFFFFu
/* DestID of the host's own RapidIO device: reached without any RapidIO packet. */
#define NVXL_HOST_DESTID 0xFFFFFFFFu

/* Device key: (wDeviceID << 16) | wVendorID. */
#define NVXL_DEVICE_KEY(wVendorID, wDeviceID) ((((uint32_t)(wDeviceID)) << 16) | (uint32_t)(wVendorID))

    /* Type of a routing table entry. */
    typedef enum
    {
        eNVXL_RouteTypeUndefined = 0,
        eNVXL_RouteTypeUnrouted = 1,
        eNVXL_RouteTypeDefault = 2,
        eNVXL_RouteTypePort = 3,
        eNVXL_RouteTypeMCast = 4,
        eNVXL_RouteTypeSpecial = 5
    } NVXL_ROUTE_TYPE;

    /* One routing table entry as tables travel between the HAL and its callers. Arrays of these are
     * allocated by the HAL with malloc; the caller owns and frees them. */
    typedef struct
    {
        uint16_t wDestID;      /* destination ID of the entry */
        uint8_t uchPort;       /* output port */
        NVXL_ROUTE_TYPE eType; /* what the entry is */
        uint32_t ulExtra;      /* multicast mask or special code, by type */
    } NVXL_ROUTE_ENTRY;

#ifdef __cplusplus
}
#endif

#endif
