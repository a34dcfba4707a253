// The route search and table generation exactly as they were first written: a depth-first search
// over every simple path, bounded by the best length found, and tables that take every entry in
// turn. Exponential in the worst case, so it lives here as the reference that the generator's
// results are compared with, on fabrics small enough for it.
#pragma once

#include "NVXLRoute.h"

#include <chrono>
#include <cstdint>
#include <map>
#include <utility>
#include <vector>

namespace nvtest
{
class CReferenceSearch
{
public:
    CReferenceSearch(const NVXL_CONNECTION* pConnections, uint32_t ulNumConnections)
        : m_pConnections(pConnections), m_ulNumConnections(ulNumConnections)
    {
    }

    // The best route from ulFrom to ulTo, kept between calls as the original kept it.
    const std::vector<NVXL_RT_ROUTE_ENTRY>& Find(uint32_t ulFrom, uint32_t ulTo, int32_t lSkip,
                                                 bool bContinue)
    {
        if (!bContinue)
        {
            m_ulLevel = 0;
            m_best.clear();
        }
        Search(ulFrom, ulTo, lSkip);
        return m_best;
    }

private:
    void Search(uint32_t ulFrom, uint32_t ulTo, int32_t lSkip)
    {
        m_ulLevel++;
        if (ulFrom == ulTo)
            return;
        std::vector<uint32_t> seen;
        for (uint32_t c = 0; c < m_ulNumConnections; c++)
        {
            if (static_cast<int32_t>(c) == lSkip)
                continue;
            const NVXL_CONNECTION& connection = m_pConnections[c];
            uint32_t ulNext, ulNearPort, ulFarPort;
            if (connection.ulNodeA == ulFrom)
            {
                ulNext = connection.ulNodeB;
                ulNearPort = connection.ulPortA;
                ulFarPort = connection.ulPortB;
            }
            else if (connection.ulNodeB == ulFrom)
            {
                ulNext = connection.ulNodeA;
                ulNearPort = connection.ulPortB;
                ulFarPort = connection.ulPortA;
            }
            else
            {
                continue;
            }
            bool bOnRoute = false;
            for (const NVXL_RT_ROUTE_ENTRY& entry : m_temp)
                bOnRoute = bOnRoute || entry.ulToNode == ulNext || entry.ulFromNode == ulNext;
            bool bSeen = false;
            for (uint32_t ulSeen : seen)
                bSeen = bSeen || ulSeen == ulNext;
            if (bOnRoute || bSeen)
                continue;
            seen.push_back(ulNext);
            m_temp.push_back({ulFarPort, ulNearPort, ulNext, ulFrom});
            if (ulNext == ulTo)
            {
                if (m_best.empty() || m_best.size() > m_temp.size())
                    m_best = m_temp;
            }
            else if (m_best.empty() || m_ulLevel < m_best.size())
            {
                Search(ulNext, ulTo, static_cast<int32_t>(c));
            }
            m_temp.pop_back();
        }
        m_ulLevel--;
    }

    const NVXL_CONNECTION* m_pConnections;
    uint32_t m_ulNumConnections;
    uint32_t m_ulLevel = 0;
    std::vector<NVXL_RT_ROUTE_ENTRY> m_temp;
    std::vector<NVXL_RT_ROUTE_ENTRY> m_best;
};

// A table as a switch ends up holding it: destination ID to (type, port), the last entry written
// for an ID standing.
using CTableContent = std::map<uint16_t, std::pair<uint32_t, uint32_t>>;
// The tables of a generation: (node, table number) to content.
using CGeneratedTables = std::map<std::pair<uint32_t, uint32_t>, CTableContent>;

// Generates the tables of the listed switches with the reference search, entry by entry. With a
// deadline, gives up when it has passed (between two pairs) and sets *pbGaveUp.
CGeneratedTables ReferenceGenerate(const std::vector<NVXL_PE>& pes,
                                   const std::vector<NVXL_CONNECTION>& connections,
                                   const std::vector<uint32_t>& switches,
                                   std::chrono::steady_clock::time_point deadline = {},
                                   bool* pbGaveUp = nullptr);
// The pool tables that NVXL_RT_GenerateRoutes left in the records of the listed switches.
CGeneratedTables PoolTables(const std::vector<NVXL_PE>& pes, const std::vector<uint32_t>& switches);
} // namespace nvtest
