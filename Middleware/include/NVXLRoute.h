/* Route generation: shortest-hop routes between every pair of routable PEs of a flat network,
 * written into the routing tables of a set of switches, and the pool of growable tables that
 * holds them. Tables are named by integer handles (NVXL_PE.alRouteTables). All of it is
 * process-global and single-threaded. */
#ifndef NVXL_ROUTE_H
#define NVXL_ROUTE_H

#include "NVXLDiscovery.h"

#ifdef __cplusplus
extern "C"
{
#endif

    /* One entry of a pool table. ulType is an NVXL_ROUTE_TYPE. */
    typedef struct NVXL_RT_ENTRY
    {
        uint16_t wDestID;
        uint8_t uchPort;
        uint32_t ulType;
        uint32_t ulSpecialType;
    } NVXL_RT_ENTRY;

    /* One link of a route, in travel order: port and node of arrival, port and node of departure. */
    typedef struct NVXL_RT_ROUTE_ENTRY
    {
        uint32_t ulToPort;
        uint32_t ulFromPort;
        uint32_t ulToNode;
        uint32_t ulFromNode;
    } NVXL_RT_ROUTE_ENTRY;

    /* Reports a step of route generation; a result of 0 stops the reports, never the work. */
    typedef int32_t (*NVXL_RT_PROGRESS)(const char* pszText, uint32_t ulStep, uint32_t ulTotalSteps,
                                        void* pUser);

    /* Receives route generation's debug text (the application's debug log, channel FindRoute). */
    typedef void (*NVXL_RT_DEBUG_OUTPUT)(const char* pszText, void* pContext);
    /* Stores the debug sink (NULL removes it). Register it only while the channel is on: a route
     * generation of thousands of PEs writes lines for every pair. */
    void NVXL_RT_RegisterDebugOutput(NVXL_RT_DEBUG_OUTPUT pfnOutput, void* pContext);

    /* ---- Table pool ------------------------------------------------------------------------------- */

    /* A new empty table with room for 16 entries; its handle, or NVXL_NO_TABLE without memory. */
    int32_t NVXL_RT_NewTable(void);
    /* Frees a table. 1, or 0 for a bad handle. */
    int32_t NVXL_RT_FreeTable(int32_t lHandle);
    /* Appends an entry, growing the table by 16 when it is full. 1, or 0 for a bad handle or no
     * memory. */
    int32_t NVXL_RT_AddEntry(int32_t lHandle, const NVXL_RT_ENTRY* pEntry);
    /* Appends ulCount entries at once, growing the table once to the next multiple of 16. 1, or 0
     * for a bad handle or no memory (the table is then unchanged). */
    int32_t NVXL_RT_AddEntries(int32_t lHandle, const NVXL_RT_ENTRY* pEntries, uint32_t ulCount);
    /* Iteration: the first or next entry and its position in *pulPos; NULL at the end or for a bad
     * handle. */
    const NVXL_RT_ENTRY* NVXL_RT_FirstEntry(int32_t lHandle, uint32_t* pulPos);
    const NVXL_RT_ENTRY* NVXL_RT_NextEntry(int32_t lHandle, uint32_t* pulPos);
    /* Number of entries. 1, or 0 for a bad handle. */
    int32_t NVXL_RT_GetNumEntries(int32_t lHandle, uint32_t* pulNum);
    /* The entries in order (valid until the table changes), or NULL for a bad or empty handle. */
    const NVXL_RT_ENTRY* NVXL_RT_GetEntries(int32_t lHandle);
    /* Frees every table of the pool. */
    void NVXL_RT_FreeAllTables(void);
    /* Frees, for each PE, its 256 table handles (setting them to none) and its multicast groups. */
    void NVXL_FreePETables(NVXL_PE* pPEs, uint32_t ulNumPEs);

    /* ---- Routes ----------------------------------------------------------------------------------- */

    /* Replaces the tables of the listed switch nodes by the routes between every pair of routable PEs
     * (a PE with an ID of its own or virtual IDs of its width). Each pair's route is the shortest in
     * hops; among equally short ones, the one whose links have the lowest connection indices at the
     * first point of difference; of parallel links only the lowest-indexed is used. Both directions of
     * a pair take the same links. Every connection counts, whatever its state or validity. Switches
     * with multicast enabled also get their multicast entries. pfnProgress may be NULL. Each table
     * holds at most one entry per destination ID: the one the last route through it asked for. */
    void NVXL_RT_GenerateRoutes(uint32_t ulNumPEs, NVXL_PE* pPEs, uint32_t ulNumConnections,
                                const NVXL_CONNECTION* pConnections, const uint32_t* pulSwitchNodes,
                                uint32_t ulNumSwitches, NVXL_RT_PROGRESS pfnProgress, void* pUser);

    /* The route from ulFromNode to ulToNode that route generation uses, into the best route
     * (NVXL_RT_GetRoute); empty when there is none or the two are the same node. lSkipConnection,
     * when not -1, is a connection that may not leave ulFromNode. With ulContinue set the best route
     * of the previous search is kept unless this search finds a strictly shorter one. Returns 1. */
    int32_t NVXL_RT_FindOptimumRoute(const NVXL_CONNECTION* pConnections, uint32_t ulNumConnections,
                                     uint32_t ulFromNode, uint32_t ulToNode, int32_t lSkipConnection,
                                     uint32_t ulContinue);
    /* The best route's entries (valid until the next search) and their number. */
    uint32_t NVXL_RT_GetRoute(const NVXL_RT_ROUTE_ENTRY** ppEntries);

#ifdef __cplusplus
}
#endif

#endif
