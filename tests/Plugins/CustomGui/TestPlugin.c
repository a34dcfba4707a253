/* The custom GUI plug-ins of the loader's tests, one source built many times: each definition
 * leaves out an export or changes one behaviour. Every call is appended as a line
 * "<PLUGIN_NAME> <event>" to the file named by NV_CGUI_TEST_LOG, which is how the tests see calls
 * of a library that has since been unloaded.
 *
 *   PLUGIN_NAME        name in the log lines
 *   PLUGIN_IDS         command IDs taken (default 1)
 *   PLUGIN_DEVICES     number of supported devices 0x0038:0x0374, 0x0038:0x0375... (default 1)
 *   NO_SET_BASE, NO_CLEAN_UP, NO_INITIALIZE, NO_GET_FIRST, NO_GET_NEXT, NO_UPDATE_MENU,
 *   NO_ON_COMMAND, NO_ON_UPDATE   leave that export out */
#include "CustomGuiPlugin.h"

#include <stdio.h>
#include <stdlib.h>

#define NV_EXPORT __attribute__((visibility("default")))

#ifndef PLUGIN_IDS
#define PLUGIN_IDS 1
#endif
#ifndef PLUGIN_DEVICES
#define PLUGIN_DEVICES 1
#endif

static uint16_t s_wBase;
static unsigned s_nNext;

static void Log(const char* pszFormat, unsigned a, unsigned b)
{
    const char* pszPath = getenv("NV_CGUI_TEST_LOG");
    FILE* pFile;
    if (!pszPath || !(pFile = fopen(pszPath, "a")))
        return;
    fprintf(pFile, "%s ", PLUGIN_NAME);
    fprintf(pFile, pszFormat, a, b);
    fputc('\n', pFile);
    fclose(pFile);
}

#ifndef NO_SET_BASE
NV_EXPORT uint16_t SetCommandBaseID(uint16_t wNextID);
uint16_t SetCommandBaseID(uint16_t wNextID)
{
    Log("SetCommandBaseID %u", wNextID, 0);
    s_wBase = wNextID;
    return (uint16_t)(wNextID + PLUGIN_IDS);
}
#endif

#ifndef NO_CLEAN_UP
NV_EXPORT void CleanUp(void);
void CleanUp(void)
{
    Log("CleanUp", 0, 0);
}
#endif

#ifndef NO_INITIALIZE
NV_EXPORT void Initialize(void* pMainWindow, const NV_CGUI_HOST* pHost);
void Initialize(void* pMainWindow, const NV_CGUI_HOST* pHost)
{
    Log("Initialize window=%u host=%u", pMainWindow != 0,
        pHost != 0 && pHost->ulSize == sizeof(NV_CGUI_HOST) && pHost->ulVersion == NV_CGUI_HOST_VERSION);
}
#endif

#ifndef NO_GET_NEXT
NV_EXPORT int32_t GetNextSupportedDevice(uint32_t* pulID);
int32_t GetNextSupportedDevice(uint32_t* pulID)
{
#ifdef FIRST_FAILS
    (void)pulID;
    return 1;
#else
    if (s_nNext >= PLUGIN_DEVICES)
        return 1;
    *pulID = 0x00380374u + s_nNext++;
    return 0;
#endif
}
#endif

#ifndef NO_GET_FIRST
NV_EXPORT int32_t GetFirstSupportedDevice(uint32_t* pulID);
int32_t GetFirstSupportedDevice(uint32_t* pulID)
{
    Log("GetFirstSupportedDevice", 0, 0);
    s_nNext = 0;
#ifdef FIRST_FAILS
    (void)pulID;
    return 1;
#else
    if (s_nNext >= PLUGIN_DEVICES)
        return 1;
    *pulID = 0x00380374u + s_nNext++;
    return 0;
#endif
}
#endif

#ifndef NO_UPDATE_MENU
NV_EXPORT void UpdatePEPopupMenu(const NV_CGUI_PE* pPE, const NV_CGUI_MENU* pMenu);
void UpdatePEPopupMenu(const NV_CGUI_PE* pPE, const NV_CGUI_MENU* pMenu)
{
    int i;
    char szText[64];
    Log("UpdatePEPopupMenu node=%u", (unsigned)pPE->iNode, 0);
    for (i = 0; i < (int)PLUGIN_IDS; ++i)
    {
        snprintf(szText, sizeof(szText), "%s Command %d", PLUGIN_NAME, i + 1);
        if (i > 0)
            pMenu->AddSeparator(pMenu->pvMenu);
        pMenu->AddItem(pMenu->pvMenu, (uint16_t)(s_wBase + i), szText);
    }
    /* An ID that isn't the plug-in's is refused. */
    if (pMenu->AddItem(pMenu->pvMenu, (uint16_t)(s_wBase + PLUGIN_IDS), "Not Mine") == 0)
        Log("AddItem took a foreign ID", 0, 0);
}
#endif

#ifndef NO_ON_COMMAND
NV_EXPORT void RCG_OnPECommand(uint16_t wCommandID, const NV_CGUI_PE* pPE);
void RCG_OnPECommand(uint16_t wCommandID, const NV_CGUI_PE* pPE)
{
    Log("RCG_OnPECommand %u node=%u", wCommandID, (unsigned)pPE->iNode);
}
#endif

#ifndef NO_ON_UPDATE
NV_EXPORT uint32_t OnUpdatePECommand(uint16_t wCommandID, const NV_CGUI_PE* pPE);
uint32_t OnUpdatePECommand(uint16_t wCommandID, const NV_CGUI_PE* pPE)
{
    (void)pPE;
    /* The first command is checked, the second disabled, the others plainly enabled. */
    if (wCommandID == s_wBase)
        return NV_CGUI_CMD_ENABLED | NV_CGUI_CMD_CHECKED;
    if (wCommandID == s_wBase + 1u)
        return 0;
    return NV_CGUI_CMD_ENABLED;
}
#endif
