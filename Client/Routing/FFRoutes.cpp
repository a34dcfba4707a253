#include "FFRoutes.h"

#include "HalWrappers.h"
#include "NVXLHal.h"
#include "NVXLRoute.h"
#include "NVXLStatus.h"
#include "NetworkMap.h"
#include "RouteSearch.h"
#include "UserInterface.h"

#include <vector>

namespace
{
constexpr uint8_t kAllTables = 255;
constexpr uint32_t kSwitchFeature = 0x10000000u;

std::vector<NVXL_CONNECTION> FlatConnections(const CConnectionList& connections)
{
    std::vector<NVXL_CONNECTION> flat;
    flat.reserve(static_cast<size_t>(connections.GetCount()));
    for (const auto& pConnection : connections)
    {
        NVXL_CONNECTION record;
        NVXL_InitConnection(&record);
        record.ulValid = pConnection->bDeleted ? 0 : 1;
        record.ulNodeA = static_cast<uint32_t>(pConnection->iPE1);
        record.ulPortA = static_cast<uint32_t>(pConnection->iPE1Port);
        record.ulNodeB = static_cast<uint32_t>(pConnection->iPE2);
        record.ulPortB = static_cast<uint32_t>(pConnection->iPE2Port);
        flat.push_back(record);
    }
    return flat;
}
} // namespace

int FindShortest(CRoute& route, const CConnectionList& connections, uint32_t ulFromNode, uint32_t ulToNode,
                 int32_t lSkipConnection, bool bContinue)
{
    const std::vector<NVXL_CONNECTION> flat = FlatConnections(connections);
    NVXL_RT_FindOptimumRoute(flat.data(), static_cast<uint32_t>(flat.size()), ulFromNode, ulToNode,
                             lSkipConnection, bContinue ? 1 : 0);
    const NVXL_RT_ROUTE_ENTRY* pEntries = nullptr;
    const uint32_t ulCount = NVXL_RT_GetRoute(&pEntries);
    route.Clear();
    for (uint32_t i = 0; i < ulCount; ++i)
    {
        route.AddEntry(
            {pEntries[i].ulToPort, pEntries[i].ulFromPort, pEntries[i].ulToNode, pEntries[i].ulFromNode});
    }
    return route.GetCount();
}

int32_t ConfigureFFRoutes(const CConnectionList& connections, uint32_t ulFromNode, uint32_t ulToNode,
                          bool bLong, uint8_t* puchHopCount)
{
    *puchHopCount = 0;
    CRoute route;
    FindShortest(route, connections, ulFromNode, ulToNode);
    const uint16_t wAllOnes = bLong ? 0xFFFF : 0xFF;
    uint32_t ulDestID = 0xFFFFFFFFu;
    uint8_t uchHop = 0;
    uint16_t wHostShort = 0xFFFF, wHostLong = 0xFFFF;
    for (int i = 0; i < route.GetCount(); ++i)
    {
        const ROUTEENTRY& entry = *route.GetEntry(i);
        if (i == 0)
        {
            const int32_t nStatus = GetDeviceID(0, ulDestID, uchHop, &wHostShort, &wHostLong);
            if (nStatus != 0)
            {
                return nStatus;
            }
        }
        uint16_t wDevice = 0xFFFF, wVendor = 0xFFFF;
        int32_t nStatus = HalStatusToClient(GetDeviceAndVendor(0, ulDestID, uchHop, &wDevice, &wVendor));
        uint32_t ulFeatures = 0;
        if (nStatus == 0)
        {
            nStatus = GetFeatures(0, ulDestID, uchHop, &ulFeatures);
        }
        if (nStatus != 0)
        {
            return nStatus;
        }
        if (ulFeatures & kSwitchFeature)
        {
            uint32_t ulInfo = 0;
            nStatus = GetSwitchPortInfo(0, ulDestID, uchHop, &ulInfo);
            if (nStatus != 0)
            {
                return nStatus;
            }
            const uint8_t uchEntryPort = static_cast<uint8_t>(ulInfo & 0xFF);
            const uint8_t uchExitPort = static_cast<uint8_t>(entry.ulFromPort);
            const bool bPerPort = IsPerPortRouting(wVendor, wDevice);
            nStatus =
                RouteAddEntry(wVendor, wDevice, 0, ulDestID, uchHop, bPerPort ? uchEntryPort : kAllTables,
                              wAllOnes, uchExitPort, eNVXL_RouteTypePort, 0);
            if (nStatus == HalStatusToClient(NVXL_ERR_ROUTING))
            {
                // A switch that can't hold the entry sends everything it can't route that way instead.
                nStatus = SetDefaultRoute(wVendor, wDevice, 0, ulDestID, uchHop, uchExitPort);
            }
            if (nStatus != 0)
            {
                return nStatus;
            }
            nStatus =
                RouteAddEntry(wVendor, wDevice, 0, ulDestID, uchHop, bPerPort ? uchExitPort : kAllTables,
                              bLong ? wHostLong : wHostShort, uchEntryPort, eNVXL_RouteTypePort, 0);
            if (nStatus != 0)
            {
                return nStatus;
            }
        }
        if (i == 0)
        {
            ulDestID = wAllOnes;
        }
        else
        {
            ++uchHop;
        }
    }
    *puchHopCount = uchHop;
    return 0;
}

int32_t SetupFFRoute(const CNetworkDocument& map, const CPEPrimitive* pFrom, const CPEPrimitive* pTo,
                     bool bLarge, uint8_t* puchHopCount)
{
    *puchHopCount = 0;
    if (!pFrom || !pTo || !map.pCurrentConnections)
    {
        return 0;
    }
    return ConfigureFFRoutes(*map.pCurrentConnections, static_cast<uint32_t>(pFrom->iNodeNumber),
                             static_cast<uint32_t>(pTo->iNodeNumber), bLarge, puchHopCount);
}

CPEPrimitive* MapHostPE(const CNetworkDocument& map)
{
    if (!map.pCurrentPEs)
    {
        return nullptr;
    }
    if (CPEPrimitive* pHost = map.pCurrentPEs->GetHostPE())
    {
        return pHost;
    }
    for (const auto& pPE : *map.pCurrentPEs)
    {
        if (!pPE->bDeleted && pPE->bHasHostLink)
        {
            return pPE.get();
        }
    }
    return map.pCurrentPEs->GetByNodeNumber(0);
}

bool MapUsesLongIDs()
{
    return GetMapTransportBits() == 16;
}

bool ReachPE(const CNetworkDocument& map, const CPEPrimitive& pe, uint32_t* pulDestID, uint8_t* puchHopCount)
{
    const CPEPrimitive* pHost = MapHostPE(map);
    const bool bLong = MapUsesLongIDs();
    if (pe.bUsesDestID)
    {
        if (FindRoute(pHost, &pe, *map.pCurrentPEs, *map.pCurrentConnections, pulDestID, puchHopCount, false,
                      nullptr) != 0)
        {
            ShowMessage(QStringLiteral("Unable to find a route to that PE.\n"));
            return false;
        }
        return true;
    }
    if (!pHost || SetupFFRoute(map, pHost, &pe, bLong, puchHopCount) != 0)
    {
        ShowMessage(QStringLiteral("Unable to configure routing tables.\n"));
        return false;
    }
    *pulDestID = bLong ? 0xFFFFu : 0xFFu;
    if (pHost == &pe)
    {
        *pulDestID = 0xFFFFFFFFu;
    }
    return true;
}
