/* Sample custom GUI plug-in: "Show Port Error Status..." and "Clear Port Errors" on the pop-up of
 * a RapidIO switch of the IDT CPS families or the Tsi57x family.
 *
 * Show reads, for every port of the switch, the Port n Error and Status CSR of the LP-Serial
 * extended features block and lists it decoded, one port a line. Clear writes back the
 * write-one-to-clear bits that are set, so that a later look shows only new errors.
 *
 * Where the registers are (RapidIO Interconnect Specification, Part 1 "Input/Output Logical",
 * Part 6 "LP-Serial Physical Layer"):
 *   Assembly Information CAR, 0x0C, bits 15..0: the first extended features block.
 *   A block's header word: bits 31..16 the next block (0 at the end), bits 15..0 its ID. The
 *   LP-Serial blocks have IDs 0x0001, 0x0002, 0x0003 and 0x0009.
 *   Switch Port Information CAR, 0x14, bits 15..8: the number of ports.
 *   Port n Error and Status CSR: block + 0x58 + 0x20 n.
 *     bit 0 Port Uninitialized, 1 Port OK, 2 Port Error (w1c), 3 Port Unavailable,
 *     4 Port-write Pending (w1c), 8 Input Error-stopped, 9 Input Error-encountered (w1c),
 *     10 Input Retry-stopped, 16 Output Error-stopped, 17 Output Error-encountered (w1c),
 *     18 Output Retry-stopped, 19 Output Retried, 20 Output Retry-encountered (w1c),
 *     24 Output Degraded-encountered (w1c), 25 Output Failed-encountered (w1c),
 *     26 Output Packet-dropped (w1c).
 * The plug-in walks the block list rather than assuming 0x100, so it works on any device whose
 * blocks follow the standard; the device list only decides where the items appear.
 *
 * The plug-in takes two command IDs. Both items are enabled only while a target is connected. */
#include "CustomGuiPlugin.h"

#include <stddef.h>
#include <stdio.h>
#include <string.h>

#define NV_EXPORT __attribute__((visibility("default")))

NV_EXPORT uint16_t SetCommandBaseID(uint16_t wNextID);
NV_EXPORT void CleanUp(void);
NV_EXPORT void Initialize(void* pMainWindow, const NV_CGUI_HOST* pHost);
NV_EXPORT int32_t GetFirstSupportedDevice(uint32_t* pulID);
NV_EXPORT int32_t GetNextSupportedDevice(uint32_t* pulID);
NV_EXPORT void UpdatePEPopupMenu(const NV_CGUI_PE* pPE, const NV_CGUI_MENU* pMenu);
NV_EXPORT void RCG_OnPECommand(uint16_t wCommandID, const NV_CGUI_PE* pPE);
NV_EXPORT uint32_t OnUpdatePECommand(uint16_t wCommandID, const NV_CGUI_PE* pPE);

#define OFFSET_ASSEMBLY_INFO 0x0Cu
#define OFFSET_SWITCH_PORT_INFO 0x14u
#define PORT_ERR_STAT(block, port) ((block) + 0x58u + 0x20u * (uint32_t)(port))
#define MAX_PORTS 256u
#define MAX_BLOCKS 64u
/* The bits a write of one clears. */
#define W1C_BITS 0x07120214u

static const uint32_t s_aulDevices[] = {
    /* IDT Gen2 CPS: CPS-1848, CPS-1432, CPS-1616, SPS-1616, VPS-1616 */
    0x00380374u,
    0x00380375u,
    0x00380377u,
    0x00380378u,
    0x00380379u,
    /* IDT Gen1 CPS and PPS */
    0x0038035Au,
    0x0038035Bu,
    0x0038035Cu,
    0x0038035Du,
    0x0038035Eu,
    0x0038035Fu,
    /* Tundra Tsi574 to Tsi578 */
    0x000D0574u,
    0x000D0575u,
    0x000D0576u,
    0x000D0577u,
    0x000D0578u,
};
static const size_t s_nDevices = sizeof(s_aulDevices) / sizeof(s_aulDevices[0]);

static size_t s_nNext;
static uint16_t s_wShowID;
static uint16_t s_wClearID;
static const NV_CGUI_HOST* s_pHost;

uint16_t SetCommandBaseID(uint16_t wNextID)
{
    s_wShowID = wNextID;
    s_wClearID = (uint16_t)(wNextID + 1u);
    return (uint16_t)(wNextID + 2u);
}

void CleanUp(void)
{
    s_pHost = NULL;
}

void Initialize(void* pMainWindow, const NV_CGUI_HOST* pHost)
{
    (void)pMainWindow;
    /* A host older than the functions used here leaves the items disabled. */
    s_pHost = NV_CGUI_HAS(pHost, StatusText) ? pHost : NULL;
}

int32_t GetFirstSupportedDevice(uint32_t* pulID)
{
    s_nNext = 0;
    return GetNextSupportedDevice(pulID);
}

int32_t GetNextSupportedDevice(uint32_t* pulID)
{
    if (s_nNext >= s_nDevices)
        return 1;
    *pulID = s_aulDevices[s_nNext++];
    return 0;
}

void UpdatePEPopupMenu(const NV_CGUI_PE* pPE, const NV_CGUI_MENU* pMenu)
{
    (void)pPE;
    pMenu->AddItem(pMenu->pvMenu, s_wShowID, "Show Port Error Status...");
    pMenu->AddItem(pMenu->pvMenu, s_wClearID, "Clear Port Errors");
}

uint32_t OnUpdatePECommand(uint16_t wCommandID, const NV_CGUI_PE* pPE)
{
    (void)wCommandID;
    return s_pHost && pPE->bConnected ? NV_CGUI_CMD_ENABLED : 0u;
}

/* Appends to a text buffer, never past its end. */
typedef struct
{
    char* psz;
    size_t nSize;
    size_t nUsed;
} STextBuffer;

static void Append(STextBuffer* pBuffer, const char* pszText)
{
    size_t nLength = strlen(pszText);
    if (pBuffer->nUsed + nLength >= pBuffer->nSize)
        nLength = pBuffer->nSize - pBuffer->nUsed - 1;
    memcpy(pBuffer->psz + pBuffer->nUsed, pszText, nLength);
    pBuffer->nUsed += nLength;
    pBuffer->psz[pBuffer->nUsed] = '\0';
}

static void ShowFailure(const char* pszWhat, int32_t nStatus)
{
    char szStatus[256];
    char szText[512];
    s_pHost->StatusText(s_pHost->pvHost, nStatus, szStatus, sizeof(szStatus));
    snprintf(szText, sizeof(szText), "%s\n\n%s", pszWhat, szStatus);
    s_pHost->ShowMessage(s_pHost->pvHost, szText, "Port Error Status", 2u);
}

/* Finds the LP-Serial block and the port count. Returns 0, or a host status (1 when the device has
 * no LP-Serial block, after a message). */
static int32_t FindPorts(const NV_CGUI_PE* pPE, uint32_t* pulBlock, uint32_t* pulPorts)
{
    uint32_t ulValue = 0;
    uint32_t ulBlock;
    unsigned nBlocks = 0;
    int32_t nStatus = s_pHost->MaintRead32(s_pHost->pvHost, pPE->iNode, OFFSET_ASSEMBLY_INFO, &ulValue);
    if (nStatus != 0)
    {
        ShowFailure("Unable to read the Assembly Information CAR.", nStatus);
        return nStatus;
    }
    for (ulBlock = ulValue & 0xFFFFu; ulBlock != 0 && nBlocks < MAX_BLOCKS; ++nBlocks)
    {
        uint32_t ulId;
        nStatus = s_pHost->MaintRead32(s_pHost->pvHost, pPE->iNode, ulBlock, &ulValue);
        if (nStatus != 0)
        {
            ShowFailure("Unable to read an extended features block header.", nStatus);
            return nStatus;
        }
        ulId = ulValue & 0xFFFFu;
        if (ulId == 0x0001u || ulId == 0x0002u || ulId == 0x0003u || ulId == 0x0009u)
            break;
        ulBlock = ulValue >> 16;
    }
    if (ulBlock == 0 || nBlocks == MAX_BLOCKS)
    {
        s_pHost->ShowMessage(s_pHost->pvHost, "This device has no LP-Serial extended features block.",
                             "Port Error Status", 1u);
        return 1;
    }
    nStatus = s_pHost->MaintRead32(s_pHost->pvHost, pPE->iNode, OFFSET_SWITCH_PORT_INFO, &ulValue);
    if (nStatus != 0)
    {
        ShowFailure("Unable to read the Switch Port Information CAR.", nStatus);
        return nStatus;
    }
    *pulPorts = (ulValue >> 8) & 0xFFu;
    if (*pulPorts == 0)
        *pulPorts = 1;
    *pulBlock = ulBlock;
    return 0;
}

static void Describe(uint32_t ulValue, STextBuffer* pBuffer)
{
    static const struct
    {
        uint32_t ulBit;
        const char* pszName;
    } s_aFlags[] = {
        {0x00000004u, ", Port Error"},
        {0x00000008u, ", Unavailable"},
        {0x00000010u, ", Port-write Pending"},
        {0x00000100u, ", Input Error-stopped"},
        {0x00000200u, ", Input Error-encountered"},
        {0x00000400u, ", Input Retry-stopped"},
        {0x00010000u, ", Output Error-stopped"},
        {0x00020000u, ", Output Error-encountered"},
        {0x00040000u, ", Output Retry-stopped"},
        {0x00080000u, ", Output Retried"},
        {0x00100000u, ", Output Retry-encountered"},
        {0x01000000u, ", Output Degraded-encountered"},
        {0x02000000u, ", Output Failed-encountered"},
        {0x04000000u, ", Output Packet-dropped"},
    };
    size_t i;
    if (ulValue & 0x2u)
        Append(pBuffer, "OK");
    else if (ulValue & 0x1u)
        Append(pBuffer, "Uninitialized");
    else
        Append(pBuffer, "No link");
    for (i = 0; i < sizeof(s_aFlags) / sizeof(s_aFlags[0]); ++i)
    {
        if (ulValue & s_aFlags[i].ulBit)
            Append(pBuffer, s_aFlags[i].pszName);
    }
}

static void ShowStatus(const NV_CGUI_PE* pPE)
{
    static char s_szText[MAX_PORTS * 160u];
    char szTitle[64];
    char szLine[64];
    STextBuffer buffer = {s_szText, sizeof(s_szText), 0};
    uint32_t ulBlock = 0;
    uint32_t ulPorts = 0;
    uint32_t ulPort;
    s_szText[0] = '\0';
    if (FindPorts(pPE, &ulBlock, &ulPorts) != 0)
        return;
    snprintf(szLine, sizeof(szLine), "LP-Serial block at 0x%X, %u ports\n\n", (unsigned)ulBlock,
             (unsigned)ulPorts);
    Append(&buffer, szLine);
    for (ulPort = 0; ulPort < ulPorts; ++ulPort)
    {
        uint32_t ulValue = 0;
        const int32_t nStatus =
            s_pHost->MaintRead32(s_pHost->pvHost, pPE->iNode, PORT_ERR_STAT(ulBlock, ulPort), &ulValue);
        if (nStatus != 0)
        {
            char szWhat[96];
            snprintf(szWhat, sizeof(szWhat), "Unable to read the error and status of port %u.",
                     (unsigned)ulPort);
            ShowFailure(szWhat, nStatus);
            return;
        }
        snprintf(szLine, sizeof(szLine), "Port %2u:  %08Xh  ", (unsigned)ulPort, (unsigned)ulValue);
        Append(&buffer, szLine);
        Describe(ulValue, &buffer);
        Append(&buffer, "\n");
    }
    snprintf(szTitle, sizeof(szTitle), "Port Error Status - Node %d", (int)pPE->iNode + 1);
    s_pHost->ShowMessage(s_pHost->pvHost, s_szText, szTitle, 0u);
}

static void ClearErrors(const NV_CGUI_PE* pPE)
{
    uint32_t ulBlock = 0;
    uint32_t ulPorts = 0;
    uint32_t ulPort;
    unsigned nCleared = 0;
    char szText[96];
    if (FindPorts(pPE, &ulBlock, &ulPorts) != 0)
        return;
    for (ulPort = 0; ulPort < ulPorts; ++ulPort)
    {
        uint32_t ulValue = 0;
        const uint32_t ulOffset = PORT_ERR_STAT(ulBlock, ulPort);
        int32_t nStatus = s_pHost->MaintRead32(s_pHost->pvHost, pPE->iNode, ulOffset, &ulValue);
        if (nStatus == 0 && (ulValue & W1C_BITS) != 0)
        {
            nStatus = s_pHost->MaintWrite32(s_pHost->pvHost, pPE->iNode, ulOffset, ulValue & W1C_BITS);
            ++nCleared;
        }
        if (nStatus != 0)
        {
            snprintf(szText, sizeof(szText), "Unable to clear the errors of port %u.", (unsigned)ulPort);
            ShowFailure(szText, nStatus);
            return;
        }
    }
    snprintf(szText, sizeof(szText), "Errors cleared on %u of %u ports.", nCleared, (unsigned)ulPorts);
    s_pHost->ShowMessage(s_pHost->pvHost, szText, "Port Error Status", 0u);
}

void RCG_OnPECommand(uint16_t wCommandID, const NV_CGUI_PE* pPE)
{
    if (!s_pHost)
        return;
    if (wCommandID == s_wShowID)
        ShowStatus(pPE);
    else if (wCommandID == s_wClearID)
        ClearErrors(pPE);
}
