// The pool of routing tables: slots addressed by their index, each a growable list of entries. A
// handle outlives the generation that made it until the client frees it, so freed slots are kept
// on a list and handed out again.
#include "NVXLRoute.h"

#include <stdlib.h>
#include <string.h>

#define POOL_GROWTH 256u
#define TABLE_GROWTH 16u

typedef struct
{
    NVXL_RT_ENTRY* pEntries;
    uint32_t ulNumEntries;
    uint32_t ulCapacity;
    uint32_t bInUse;
} RT_SLOT;

static RT_SLOT* g_pSlots = NULL;
static uint32_t g_ulNumSlots = 0;
static uint32_t g_ulUsedSlots = 0; // slots ever handed out; those below may be free again
static int32_t* g_plFreeSlots = NULL;
static uint32_t g_ulNumFree = 0;

static RT_SLOT* Slot(int32_t lHandle)
{
    if (lHandle < 0 || (uint32_t)lHandle >= g_ulUsedSlots || !g_pSlots[lHandle].bInUse)
        return NULL;
    return &g_pSlots[lHandle];
}

int32_t NVXL_RT_NewTable(void)
{
    int32_t lHandle = NVXL_NO_TABLE;
    if (g_ulNumFree)
    {
        lHandle = g_plFreeSlots[g_ulNumFree - 1];
    }
    else
    {
        if (g_ulUsedSlots == g_ulNumSlots)
        {
            const uint32_t ulNewCount = g_ulNumSlots + POOL_GROWTH;
            RT_SLOT* pSlots = (RT_SLOT*)realloc(g_pSlots, ulNewCount * sizeof(RT_SLOT));
            int32_t* plFree = (int32_t*)realloc(g_plFreeSlots, ulNewCount * sizeof(int32_t));
            if (pSlots)
                g_pSlots = pSlots;
            if (plFree)
                g_plFreeSlots = plFree;
            if (!pSlots || !plFree)
                return NVXL_NO_TABLE;
            memset(&g_pSlots[g_ulNumSlots], 0, POOL_GROWTH * sizeof(RT_SLOT));
            g_ulNumSlots = ulNewCount;
        }
        lHandle = (int32_t)g_ulUsedSlots;
    }
    RT_SLOT* pSlot = &g_pSlots[lHandle];
    pSlot->pEntries = (NVXL_RT_ENTRY*)malloc(TABLE_GROWTH * sizeof(NVXL_RT_ENTRY));
    if (!pSlot->pEntries)
        return NVXL_NO_TABLE;
    pSlot->ulNumEntries = 0;
    pSlot->ulCapacity = TABLE_GROWTH;
    pSlot->bInUse = 1;
    if (g_ulNumFree)
        g_ulNumFree--;
    else
        g_ulUsedSlots++;
    return lHandle;
}

int32_t NVXL_RT_FreeTable(int32_t lHandle)
{
    RT_SLOT* pSlot = Slot(lHandle);
    if (!pSlot)
        return 0;
    free(pSlot->pEntries);
    memset(pSlot, 0, sizeof *pSlot);
    g_plFreeSlots[g_ulNumFree++] = lHandle;
    return 1;
}

int32_t NVXL_RT_AddEntry(int32_t lHandle, const NVXL_RT_ENTRY* pEntry)
{
    RT_SLOT* pSlot = Slot(lHandle);
    if (!pSlot || !pEntry)
        return 0;
    if (pSlot->ulNumEntries == pSlot->ulCapacity)
    {
        NVXL_RT_ENTRY* pEntries = (NVXL_RT_ENTRY*)realloc(
            pSlot->pEntries, (pSlot->ulCapacity + TABLE_GROWTH) * sizeof(NVXL_RT_ENTRY));
        if (!pEntries)
            return 0;
        pSlot->pEntries = pEntries;
        pSlot->ulCapacity += TABLE_GROWTH;
    }
    pSlot->pEntries[pSlot->ulNumEntries++] = *pEntry;
    return 1;
}

int32_t NVXL_RT_AddEntries(int32_t lHandle, const NVXL_RT_ENTRY* pEntries, uint32_t ulCount)
{
    RT_SLOT* pSlot = Slot(lHandle);
    if (!pSlot || (!pEntries && ulCount))
        return 0;
    if (ulCount > pSlot->ulCapacity - pSlot->ulNumEntries)
    {
        const uint64_t ullNeeded = (uint64_t)pSlot->ulNumEntries + ulCount;
        const uint64_t ullCapacity = (ullNeeded + TABLE_GROWTH - 1) / TABLE_GROWTH * TABLE_GROWTH;
        if (ullCapacity > UINT32_MAX)
            return 0;
        NVXL_RT_ENTRY* pGrown =
            (NVXL_RT_ENTRY*)realloc(pSlot->pEntries, (size_t)ullCapacity * sizeof(NVXL_RT_ENTRY));
        if (!pGrown)
            return 0;
        pSlot->pEntries = pGrown;
        pSlot->ulCapacity = (uint32_t)ullCapacity;
    }
    if (ulCount)
        memcpy(&pSlot->pEntries[pSlot->ulNumEntries], pEntries, ulCount * sizeof(NVXL_RT_ENTRY));
    pSlot->ulNumEntries += ulCount;
    return 1;
}

const NVXL_RT_ENTRY* NVXL_RT_FirstEntry(int32_t lHandle, uint32_t* pulPos)
{
    if (pulPos)
        *pulPos = 0;
    return NVXL_RT_NextEntry(lHandle, pulPos);
}

const NVXL_RT_ENTRY* NVXL_RT_NextEntry(int32_t lHandle, uint32_t* pulPos)
{
    const RT_SLOT* pSlot = Slot(lHandle);
    if (!pSlot || !pulPos || *pulPos >= pSlot->ulNumEntries)
        return NULL;
    return &pSlot->pEntries[(*pulPos)++];
}

int32_t NVXL_RT_GetNumEntries(int32_t lHandle, uint32_t* pulNum)
{
    const RT_SLOT* pSlot = Slot(lHandle);
    if (!pSlot || !pulNum)
        return 0;
    *pulNum = pSlot->ulNumEntries;
    return 1;
}

const NVXL_RT_ENTRY* NVXL_RT_GetEntries(int32_t lHandle)
{
    const RT_SLOT* pSlot = Slot(lHandle);
    return pSlot && pSlot->ulNumEntries ? pSlot->pEntries : NULL;
}

void NVXL_RT_FreeAllTables(void)
{
    for (uint32_t i = 0; i < g_ulUsedSlots; i++)
        free(g_pSlots[i].pEntries);
    free(g_pSlots);
    free(g_plFreeSlots);
    g_pSlots = NULL;
    g_plFreeSlots = NULL;
    g_ulNumSlots = g_ulUsedSlots = g_ulNumFree = 0;
}

void NVXL_FreePETables(NVXL_PE* pPEs, uint32_t ulNumPEs)
{
    if (!pPEs)
        return;
    for (uint32_t i = 0; i < ulNumPEs; i++)
    {
        NVXL_PE* pPE = &pPEs[i];
        for (uint32_t ulPort = 0; ulPort < NVXL_MAX_PORTS; ulPort++)
        {
            if (pPE->alRouteTables[ulPort] != NVXL_NO_TABLE)
                NVXL_RT_FreeTable(pPE->alRouteTables[ulPort]);
            pPE->alRouteTables[ulPort] = NVXL_NO_TABLE;
        }
        for (uint32_t ulGroup = 0; ulGroup < pPE->ulNumMulticastGroups && pPE->pMulticastGroups; ulGroup++)
        {
            free(pPE->pMulticastGroups[ulGroup].pulDestIDs);
            free(pPE->pMulticastGroups[ulGroup].pulPorts);
        }
        free(pPE->pMulticastGroups);
        pPE->pMulticastGroups = NULL;
        pPE->ulNumMulticastGroups = 0;
    }
}
