// HAL status texts, the mappings between the HAL's and the client's status spaces, and the
// collection of failure texts that discovery keeps for the PE in hand.
#include "HalText.h"
#include "NVXLDiscovery.h"
#include "NVXLHal.h"
#include "NVXLStatus.h"

#include <stdio.h>
#include <stdlib.h>
#include <string.h>

typedef struct
{
    NVXL_STATUS nStatus;
    const char* pszText;
} HAL_STATUS_TEXT;

static const HAL_STATUS_TEXT s_asHalTexts[] = {
    {0, "No Error."},
    {-1, "Unable to open local RIO device."},
    {-2, "Unspecified error encountered."},
    {-3, "Norvanta Driver Error: Driver is not open."},
    {-4, "Norvanta Driver Error: Invalid parameter detected."},
    {-5, "Norvanta Driver Error: RapidIO error."},
    {-6, "A RapidIO timeout has occurred."},
    {-7, "Another host has a higher priority."},
    {-8, "Another host already acquired the specified PE."},
    {-9, "HAL operation is not supported."},
    {-10, "Invalid parameter specified on function call."},
    {-11, "Switch cannot suport requested routing."},
    {-12, "There are too many switches in the network."},
    {-13, "Device is not a switch."},
    {-14, "Not enough memory to complete operation."},
    {-15, "Link request failed."},
    {-16, "Child process error."},
};

const char* HalErrorText(NVXL_STATUS nStatus)
{
    // One buffer for all callers, as the text is usually printed at once.
    static char s_szText[64];
    const char* pszText = "Unknown error.";
    for (size_t i = 0; i < sizeof s_asHalTexts / sizeof s_asHalTexts[0]; i++)
    {
        if (s_asHalTexts[i].nStatus == nStatus)
        {
            pszText = s_asHalTexts[i].pszText;
            break;
        }
    }
    snprintf(s_szText, sizeof s_szText, "%s", pszText);
    return s_szText;
}

typedef struct
{
    NVXL_STATUS nHal;
    int32_t nClient;
} HAL_STATUS_PAIR;

// HAL status to client status; every other value passes unchanged.
static const HAL_STATUS_PAIR s_asHalToClient[] = {
    {0, 0},     {-1, -301},  {-2, -302}, {-3, -303}, {-4, -304}, {-5, -305},
    {-6, -45},  {-7, -103},  {-8, -107}, {-9, -47},  {-10, -39}, {-11, -110},
    {-12, -46}, {-13, -111}, {-14, -69}, {-15, -62}, {-18, -73},
};

// Client status to HAL status; every other value passes unchanged. The client has three ways of
// saying "RapidIO error" that the HAL knows as one.
static const HAL_STATUS_PAIR s_asClientToHal[] = {
    {0, 0},      {-10, -39},  {-6, -45},  {-12, -46}, {-9, -47},  {-15, -62},
    {-14, -69},  {-5, -105},  {-5, -305}, {-5, -310}, {-8, -107}, {-7, -103},
    {-11, -110}, {-13, -111}, {-1, -301}, {-2, -302}, {-3, -303}, {-4, -304},
};

int32_t HalStatusToClient(NVXL_STATUS nStatus)
{
    for (size_t i = 0; i < sizeof s_asHalToClient / sizeof s_asHalToClient[0]; i++)
    {
        if (s_asHalToClient[i].nHal == nStatus)
            return s_asHalToClient[i].nClient;
    }
    return nStatus;
}

NVXL_STATUS ClientStatusToHal(int32_t nStatus)
{
    for (size_t i = 0; i < sizeof s_asClientToHal / sizeof s_asClientToHal[0]; i++)
    {
        if (s_asClientToHal[i].nClient == nStatus)
            return s_asClientToHal[i].nHal;
    }
    return nStatus;
}

// Size of the buffer for the target's list of RapidIO errors.
#define HAL_RIO_ERRORS_SIZE 256

// The text of a failure while doing pszDoing, allocated with malloc.
static char* FailureText(const char* pszDoing, NVXL_STATUS nStatus, int32_t* pnLength)
{
    if (nStatus == NVXL_ERR_RIO)
    {
        // Only the target knows more about a RapidIO error.
        char szErrors[HAL_RIO_ERRORS_SIZE];
        szErrors[0] = '\0';
        if (GetRioErrors(szErrors, sizeof szErrors) != NVXL_OK)
            return NvxlFormat(pnLength,
                              "A RapidIO error was encountered while %s\n%s\nAn attempt to obtain additional "
                              "information describing the error was unsuccessful.",
                              pszDoing, HalErrorText(NVXL_ERR_RIO));
        szErrors[sizeof szErrors - 1] = '\0';
        return NvxlFormat(pnLength, "A RapidIO error was encountered while %s\n%s", pszDoing, szErrors);
    }
    return NvxlFormat(pnLength, "The following error was encountered while %s\n[%d] %s", pszDoing, -nStatus,
                      HalErrorText(nStatus));
}

int32_t AddErrorText(uint32_t bEcho, const char* pszDoing, char* pszBuffer, uint32_t ulBufferSize,
                     NVXL_STATUS nStatus)
{
    if (nStatus == NVXL_OK)
        return 0;
    int32_t nLength = 0;
    char* pszText = FailureText(pszDoing ? pszDoing : "", nStatus, &nLength);
    if (!pszText)
        return 1;

    // A text that does not fit is dropped whole, together with its echo. The line end between
    // two texts counts too, so the buffer can never overflow.
    const size_t ulHeld = pszBuffer ? strlen(pszBuffer) : 0;
    const size_t ulSeparator = ulHeld ? 1 : 0;
    if (!pszBuffer || ulHeld + ulSeparator + (size_t)nLength + 1 > ulBufferSize)
    {
        free(pszText);
        return 1;
    }
    if (ulSeparator)
        strcat(pszBuffer, "\n");
    strcat(pszBuffer, pszText);
    if (bEcho)
    {
        NVXL_DiscoveryDebugPrint("%s", pszText);
        NVXL_CallReportError(pszText, nStatus);
    }
    free(pszText);
    return 1;
}
