/* One action of a network initialisation script: what brings one part of a network up from
 * power-on. Arrays of these are what the generated header gives an embedded host, and what the
 * client plays against the HAL. */
#ifndef NVXL_SCRIPT_H
#define NVXL_SCRIPT_H

#include "NVXLTypes.h"

#include <stdint.h>

#ifdef __cplusplus
extern "C"
{
#endif

    typedef enum
    {
        eNVXL_ScrOpNone = 0,     /* no action: a comment alone */
        eNVXL_ScrOpSetDest = 1,  /* give the device its destination IDs */
        eNVXL_ScrOpMaintW = 2,   /* write one register */
        eNVXL_ScrOpRoute = 3,    /* add one routing table entry */
        eNVXL_ScrOpSetSpeed = 4, /* set the speed of a port */
        eNVXL_ScrOpInitRT = 5    /* start a routing table; the entries that follow are stored with it */
    } NVXL_SCRIPTOP;

    typedef struct
    {
        uint32_t eOp;     /* NVXL_SCRIPTOP */
        uint16_t wVendor; /* vendor ID of the device the action goes to */
        uint16_t wDevice; /* its device ID */
        uint32_t ulDest;  /* destination ID on the way to it; NVXL_HOST_DESTID for the host's own device */
        uint8_t byHop;    /* hop count */
        union
        {
            struct
            {
                uint16_t wShortID; /* the new 8-bit ID */
                uint16_t wLongID;  /* the new 16-bit ID */
            } sSetDest;
            struct
            {
                uint32_t ulOffset; /* register offset */
                uint32_t ulValue;  /* value written */
            } sMaint;
            struct
            {
                uint8_t byTable;    /* table number: the arrival port, or 255 for the device's one table */
                uint8_t byPort;     /* output port */
                uint16_t wTarget;   /* destination ID routed */
                uint32_t ulSpecial; /* special route code, with eType special */
                uint32_t eType;     /* NVXL_ROUTE_TYPE */
            } sRoute;
            struct
            {
                uint8_t byPort;     /* port */
                uint16_t wSpeedMHz; /* speed */
            } sPortSettings;
            struct
            {
                uint8_t byTable; /* table number */
            } sRoutingTable;
        } u;
    } NVXL_SCRIPTCOMMANDSTRUCT;

#ifdef __cplusplus
}
#endif

#endif
