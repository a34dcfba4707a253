// The discovery's outputs to the application: its debug channel and its four callbacks. The client
// registers them before a discovery; they are kept for the process.
#include "Discovery/DiscoveryInternal.h"
#include "Hal/HalText.h"
#include "NVXLDiscovery.h"
#include "NVXLStatus.h"

#include <stdarg.h>
#include <stdlib.h>
#include <string.h>

static NVXL_DEBUG_OUTPUT_CALLBACK g_pfnDebugOutput = NULL;
static void* g_pDebugOutputContext = NULL;
static NVXL_REPORT_ERROR_CALLBACK g_pfnReportError = NULL;
static void* g_pReportErrorContext = NULL;
static NVXL_PROGRESS_CALLBACK g_pfnProgress = NULL;
static void* g_pProgressContext = NULL;
static NVXL_LOG_CALLBACK g_pfnLog = NULL;
static void* g_pLogContext = NULL;
static NVXL_FOUND_PE_CALLBACK g_pfnFoundPE = NULL;
static void* g_pFoundPEContext = NULL;

int32_t NVXL_RegisterDebugOutput(NVXL_DEBUG_OUTPUT_CALLBACK pfnCallback, void* pContext)
{
    g_pfnDebugOutput = pfnCallback;
    g_pDebugOutputContext = pContext;
    return 1;
}

int32_t NVXL_RegisterReportError(NVXL_REPORT_ERROR_CALLBACK pfnCallback, void* pContext)
{
    g_pfnReportError = pfnCallback;
    g_pReportErrorContext = pContext;
    NVXL_DiscoveryDebugPrint("ReportError callback has been registered.\n");
    return 1;
}

int32_t NVXL_RegisterProgressReport(NVXL_PROGRESS_CALLBACK pfnCallback, void* pContext)
{
    g_pfnProgress = pfnCallback;
    g_pProgressContext = pContext;
    NVXL_DiscoveryDebugPrint("ProgressReport callback has been registered.\n");
    return 1;
}

int32_t NVXL_RegisterLog(NVXL_LOG_CALLBACK pfnCallback, void* pContext)
{
    g_pfnLog = pfnCallback;
    g_pLogContext = pContext;
    NVXL_DiscoveryDebugPrint("Log callback has been registered.\n");
    return 1;
}

int32_t NVXL_RegisterFoundPE(NVXL_FOUND_PE_CALLBACK pfnCallback, void* pContext)
{
    g_pfnFoundPE = pfnCallback;
    g_pFoundPEContext = pContext;
    NVXL_DiscoveryDebugPrint("FoundPE callback has been registered.\n");
    return 1;
}

int32_t NVXL_DiscoveryDebugPrint(const char* pszFormat, ...)
{
    // Formatting costs; a discovery of thousands of PEs writes many lines nobody reads.
    if (!g_pfnDebugOutput)
        return 0;
    int32_t nLength = 0;
    va_list args;
    va_start(args, pszFormat);
    char* pszText = NvxlFormatV(&nLength, pszFormat, args);
    va_end(args);
    if (!pszText)
        return 0;
    g_pfnDebugOutput(pszText, g_pDebugOutputContext);
    free(pszText);
    return nLength;
}

void NVXL_CallReportError(const char* pszText, int32_t lError)
{
    if (g_pfnReportError)
        g_pfnReportError(pszText, lError, g_pReportErrorContext);
}

// Formats a text for one callback, or does nothing when it isn't registered.
static void Emit(void (*pfnCallback)(const char*, void*), void* pContext, const char* pszFormat, va_list args)
{
    if (!pfnCallback)
        return;
    int32_t nLength = 0;
    char* pszText = NvxlFormatV(&nLength, pszFormat, args);
    if (!pszText)
        return;
    pfnCallback(pszText, pContext);
    free(pszText);
}

void NvxlProgress(const char* pszFormat, ...)
{
    va_list args;
    va_start(args, pszFormat);
    Emit(g_pfnProgress, g_pProgressContext, pszFormat, args);
    va_end(args);
}

void NvxlLog(const char* pszFormat, ...)
{
    va_list args;
    va_start(args, pszFormat);
    Emit(g_pfnLog, g_pLogContext, pszFormat, args);
    va_end(args);
}

void NvxlDebugAndLog(const char* pszFormat, ...)
{
    va_list args;
    va_start(args, pszFormat);
    Emit(g_pfnDebugOutput, g_pDebugOutputContext, pszFormat, args);
    va_end(args);
    va_start(args, pszFormat);
    Emit(g_pfnLog, g_pLogContext, pszFormat, args);
    va_end(args);
}

void NvxlFoundPE(uint32_t ulIsHost, uint16_t wDeviceID, uint16_t wVendorID, uint16_t wDestID,
                 uint8_t uchHopCount)
{
    if (g_pfnFoundPE)
        g_pfnFoundPE(ulIsHost, wDeviceID, wVendorID, wDestID, uchHopCount, g_pFoundPEContext);
}

int32_t NVXL_ReportFailure(uint32_t ulReport, const char* pszDoing, char* pszBuffer, uint32_t ulBufferSize,
                           NVXL_STATUS lError)
{
    if (lError == NVXL_OK)
        return 0;
    const size_t ulBefore = pszBuffer ? strlen(pszBuffer) : 0;
    AddErrorText(0, pszDoing, pszBuffer, ulBufferSize, lError);
    const size_t ulAfter = pszBuffer ? strlen(pszBuffer) : 0;
    // A text that didn't fit is neither stored nor reported; the failure still ends the step.
    if (ulReport && ulAfter > ulBefore)
    {
        const char* pszMessage = pszBuffer + ulBefore + (ulBefore ? 1 : 0);
        NvxlLog("%s\n", pszMessage);
        NVXL_CallReportError(pszMessage, lError);
    }
    return 1;
}
