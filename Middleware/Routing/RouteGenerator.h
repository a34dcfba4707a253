// Route generation with a choice of how the tables are written (NVXL_RT_GenerateRoutes takes the
// fastest way that gives the same tables).
#pragma once

#include "NVXLRoute.h"

#include <cstdint>

namespace nvxl
{
enum class EGeneration
{
    eFastest,    // from one search tree per PE where no two PEs share a destination ID
    ePairByPair, // every pair's route written entry by entry, in the order of the pairs
};

void GenerateRoutes(uint32_t ulNumPEs, NVXL_PE* pPEs, uint32_t ulNumConnections,
                    const NVXL_CONNECTION* pConnections, const uint32_t* pulSwitchNodes,
                    uint32_t ulNumSwitches, NVXL_RT_PROGRESS pfnProgress, void* pUser, EGeneration eHow);
} // namespace nvxl
