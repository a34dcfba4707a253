// The HAL's process-global state: the installed transport, the transaction settings, the debug
// levels and the registry of device-family records. Everything runs on the one thread that
// drives the target, so nothing here is locked.
#include "HalCore.h"
#include "HalText.h"
#include "NVXLHal.h"
#include "NVXLTransport.h"

#include <stdarg.h>
#include <stdio.h>
#include <stdlib.h>

#define HAL_NUM_DEBUG_LEVELS 6

// Transport flag handed down with every transaction: 1 for 16-bit IDs.
uint32_t g_bLargeTransport = 0;
// Priority handed down with every maintenance transaction.
uint32_t g_ulMaintPriority = 2;

// The registered records, in order of registration, and the number of used entries.
static const HalInterface* g_apHalInterfaces[MAXHALIONTERFACES];
static int32_t g_ulNumHalInterfaces = 0;
// Enable flags of the debug levels 0..5.
static uint32_t g_abHalDebug[HAL_NUM_DEBUG_LEVELS];

// The transport table in force (a copy of the caller's) and whether there is one.
static NVXL_TRANSPORT g_sTransport;
static int g_bTransportInstalled = 0;

void NVXL_SetTransport(const NVXL_TRANSPORT* pTransport)
{
    if (pTransport)
    {
        g_sTransport = *pTransport;
        g_bTransportInstalled = 1;
    }
    else
    {
        g_bTransportInstalled = 0;
    }
}

const NVXL_TRANSPORT* NVXL_GetTransport(void)
{
    return g_bTransportInstalled ? &g_sTransport : NULL;
}

NVXL_STATUS HalInitialize(void)
{
    NVXL_SetTransport(NULL);
    g_bLargeTransport = 0;
    g_ulMaintPriority = 2;
    g_ulNumHalInterfaces = 0;
    return NVXL_OK;
}

void HalTerminate(void)
{
    NVXL_SetTransport(NULL);
}

void HalSetLargeTransport(uint32_t bLargeTransport)
{
    g_bLargeTransport = bLargeTransport;
}

uint32_t HalGetLargeTransport(void)
{
    return g_bLargeTransport;
}

void HalSetPriority(uint32_t ulPriority)
{
    g_ulMaintPriority = ulPriority;
}

uint32_t HalGetPriority(void)
{
    return g_ulMaintPriority;
}

void HalSetDebugFlag(uint32_t ulLevel, uint32_t bValue)
{
    if (ulLevel < HAL_NUM_DEBUG_LEVELS)
        g_abHalDebug[ulLevel] = bValue;
}

uint32_t HalGetDebugFlag(uint32_t ulLevel)
{
    return ulLevel < HAL_NUM_DEBUG_LEVELS ? g_abHalDebug[ulLevel] : 0;
}

char* NvxlFormatV(int32_t* pnLength, const char* pszFormat, va_list args)
{
    va_list argsCopy;
    va_copy(argsCopy, args);
    const int nLength = vsnprintf(NULL, 0, pszFormat, argsCopy);
    va_end(argsCopy);
    if (nLength < 0)
        return NULL;
    char* pszText = (char*)malloc((size_t)nLength + 1);
    if (!pszText)
        return NULL;
    vsnprintf(pszText, (size_t)nLength + 1, pszFormat, args);
    *pnLength = nLength;
    return pszText;
}

char* NvxlFormat(int32_t* pnLength, const char* pszFormat, ...)
{
    va_list args;
    va_start(args, pszFormat);
    char* pszText = NvxlFormatV(pnLength, pszFormat, args);
    va_end(args);
    return pszText;
}

int32_t HalDebugPrint(uint32_t ulLevel, const char* pszFormat, ...)
{
    // A level that is off costs one test and no formatting.
    if (!HalGetDebugFlag(ulLevel))
        return 0;
    int32_t nLength = 0;
    va_list args;
    va_start(args, pszFormat);
    char* pszText = NvxlFormatV(&nLength, pszFormat, args);
    va_end(args);
    if (!pszText)
        return 0;
    const NVXL_TRANSPORT* pTransport = NVXL_GetTransport();
    if (pTransport && pTransport->pfnDebugOutput)
        pTransport->pfnDebugOutput(pTransport->pvContext, pszText);
    free(pszText);
    return nLength;
}

int32_t HalRegisterInterface(const HalInterface* pInterface)
{
    if (!pInterface)
        return 0;
    const uint32_t ulKey = pInterface->ulDeviceKey;
    if (g_ulNumHalInterfaces >= MAXHALIONTERFACES)
    {
        fprintf(stderr,
                "Unable to register custom HAL I/F for Vendor %04Xh, Device %04Xh.  Increase "
                "MAXHALIONTERFACES.\n",
                ulKey & 0xFFFFu, ulKey >> 16);
        return 0;
    }
    g_apHalInterfaces[g_ulNumHalInterfaces++] = pInterface;
    HalDebugPrint(0, "Custom HAL I/F for Vendor %04Xh, Device %04Xh has been registered.\n", ulKey & 0xFFFFu,
                  ulKey >> 16);
    return 1;
}

const HalInterface* HalFindInterface(uint16_t wDeviceID, uint16_t wVendorID)
{
    const uint32_t ulKey = NVXL_DEVICE_KEY(wVendorID, wDeviceID);
    // The key is read through the pointer on every lookup: a record may be re-keyed after it was
    // registered, and the first registered record of a key wins.
    for (int32_t i = 0; i < g_ulNumHalInterfaces; i++)
    {
        if (g_apHalInterfaces[i]->ulDeviceKey == ulKey)
            return g_apHalInterfaces[i];
    }
    return NULL;
}
