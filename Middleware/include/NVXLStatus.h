/* HAL status texts and the two mappings between HAL statuses and client statuses.
 *
 * The two spaces overlap numerically with different meanings (-9 is "not supported" here and a
 * socket error on the client side), so a status always crosses between them through one of the
 * mappings, never unconverted. */
#ifndef NVXL_STATUS_H
#define NVXL_STATUS_H

#include "NVXLTypes.h"

#ifdef __cplusplus
extern "C"
{
#endif

    /* Text of a HAL status, "Unknown error." for a value without one. The text lives in one static
     * buffer that the next call overwrites: copy it to keep it. */
    const char* HalErrorText(NVXL_STATUS nStatus);
    /* Client status of a HAL status; values without a counterpart pass unchanged. */
    int32_t HalStatusToClient(NVXL_STATUS nStatus);
    /* HAL status of a client status; values without a counterpart pass unchanged. */
    NVXL_STATUS ClientStatusToHal(int32_t nStatus);
    /* Collects the text of a failure for discovery. Status 0 returns 0 and adds nothing. Otherwise the
     * text of the failure ("...while <pszDoing>...") is appended to pszBuffer, after a line end when
     * the buffer is not empty, unless it would not fit in ulBufferSize (then the buffer stays as it
     * is). A RapidIO error (-5) fetches the target's error list for the text. With bEcho the appended
     * text also goes to the discovery debug output and to the ReportError callback (NVXLDiscovery.h).
     * Returns 1 for every non-zero status. */
    int32_t AddErrorText(uint32_t bEcho, const char* pszDoing, char* pszBuffer, uint32_t ulBufferSize,
                         NVXL_STATUS nStatus);

#ifdef __cplusplus
}
#endif

#endif
