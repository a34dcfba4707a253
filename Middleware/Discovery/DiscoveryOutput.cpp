// The discovery's two outputs to the application: its debug channel and its error callback.
// Both are registered by the client before a discovery and kept for the process.
#include "Hal/HalText.h"
#include "NVXLDiscovery.h"

#include <stdarg.h>
#include <stdlib.h>

static NVXL_DEBUG_OUTPUT_CALLBACK g_pfnDebugOutput = NULL;
static void* g_pDebugOutputContext = NULL;
static NVXL_REPORT_ERROR_CALLBACK g_pfnReportError = NULL;
static void* g_pReportErrorContext = NULL;

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

int32_t NVXL_DiscoveryDebugPrint(const char* pszFormat, ...)
{
    int32_t nLength = 0;
    va_list args;
    va_start(args, pszFormat);
    char* pszText = NvxlFormatV(&nLength, pszFormat, args);
    va_end(args);
    if (!pszText)
        return 0;
    if (g_pfnDebugOutput)
        g_pfnDebugOutput(pszText, g_pDebugOutputContext);
    free(pszText);
    return nLength;
}

void NVXL_CallReportError(const char* pszText, int32_t lError)
{
    if (g_pfnReportError)
        g_pfnReportError(pszText, lError, g_pReportErrorContext);
}
