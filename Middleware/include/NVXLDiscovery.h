/* Discovery's outputs to the application: its debug channel and its error callback.
 * The client registers both before a discovery; a sink that was never registered is not called. */
#ifndef NVXL_DISCOVERY_H
#define NVXL_DISCOVERY_H

#include "NVXLTypes.h"

#ifdef __cplusplus
extern "C"
{
#endif

    /* Receives the discovery's debug text (the application's debug log, channel Discovery). */
    typedef void (*NVXL_DEBUG_OUTPUT_CALLBACK)(const char* pszText, void* pContext);
    /* Receives a fatal or reportable error with its full text; the result is not used. */
    typedef int32_t (*NVXL_REPORT_ERROR_CALLBACK)(const char* pszText, int32_t lError, void* pContext);

    /* Stores the sink of the discovery debug channel (NULL removes it). Returns 1. */
    int32_t NVXL_RegisterDebugOutput(NVXL_DEBUG_OUTPUT_CALLBACK pfnCallback, void* pContext);
    /* Stores the error callback (NULL removes it) and notes that in the debug channel. Returns 1. */
    int32_t NVXL_RegisterReportError(NVXL_REPORT_ERROR_CALLBACK pfnCallback, void* pContext);
    /* Formats a text into the discovery debug channel. Returns the number of characters. */
    int32_t NVXL_DiscoveryDebugPrint(const char* pszFormat, ...)
#if defined(__GNUC__)
        __attribute__((format(printf, 1, 2)))
#endif
        ;
    /* Hands a text and its status to the error callback, if one is registered. */
    void NVXL_CallReportError(const char* pszText, int32_t lError);

#ifdef __cplusplus
}
#endif

#endif
