#include "Routing/RouteSearch.h"

#include <algorithm>

namespace nvxl
{
CRouteGraph::CRouteGraph(const NVXL_CONNECTION* pConnections, uint32_t ulNumConnections,
                         uint32_t ulNumKnownNodes)
    : m_pConnections(pConnections), m_ulNumKnown(ulNumKnownNodes)
{
    m_nodeOfPlace.resize(ulNumKnownNodes);
    for (uint32_t i = 0; i < ulNumKnownNodes; i++)
        m_nodeOfPlace[i] = i;
    // Places for node numbers beyond the known ones, and the degree of every place.
    std::vector<uint32_t> placeA(ulNumConnections), placeB(ulNumConnections);
    auto placeOf = [this](uint32_t ulNode)
    {
        if (ulNode < m_ulNumKnown)
            return ulNode;
        auto [it, bNew] = m_extraPlaces.try_emplace(ulNode, static_cast<uint32_t>(m_nodeOfPlace.size()));
        if (bNew)
            m_nodeOfPlace.push_back(ulNode);
        return it->second;
    };
    for (uint32_t c = 0; c < ulNumConnections; c++)
    {
        placeA[c] = placeOf(pConnections[c].ulNodeA);
        placeB[c] = placeOf(pConnections[c].ulNodeB);
    }
    const uint32_t ulPlaces = NumPlaces();
    m_adjacencyStart.assign(ulPlaces + 1, 0);
    for (uint32_t c = 0; c < ulNumConnections; c++)
    {
        m_adjacencyStart[placeA[c] + 1]++;
        if (placeB[c] != placeA[c])
            m_adjacencyStart[placeB[c] + 1]++;
    }
    for (uint32_t p = 0; p < ulPlaces; p++)
        m_adjacencyStart[p + 1] += m_adjacencyStart[p];
    m_adjacency.resize(m_adjacencyStart[ulPlaces]);
    m_neighbour.resize(m_adjacencyStart[ulPlaces]);
    m_nearPort.resize(m_adjacencyStart[ulPlaces]);
    m_farPort.resize(m_adjacencyStart[ulPlaces]);
    std::vector<uint32_t> fill(m_adjacencyStart.begin(), m_adjacencyStart.end() - 1);
    // Connections go in in index order, so each place's list is in connection order.
    for (uint32_t c = 0; c < ulNumConnections; c++)
    {
        const NVXL_CONNECTION& connection = pConnections[c];
        uint32_t a = fill[placeA[c]]++;
        m_adjacency[a] = c;
        m_neighbour[a] = placeB[c];
        m_nearPort[a] = connection.ulPortA;
        m_farPort[a] = connection.ulPortB;
        if (placeB[c] != placeA[c])
        {
            a = fill[placeB[c]]++;
            m_adjacency[a] = c;
            m_neighbour[a] = placeA[c];
            m_nearPort[a] = connection.ulPortB;
            m_farPort[a] = connection.ulPortA;
        }
    }
    m_parent.assign(ulPlaces, kNone);
    m_parentPlace.assign(ulPlaces, kNone);
    m_parentEdge.assign(ulPlaces, 0);
    m_visited.assign(ulPlaces, 0);
    m_queue.reserve(ulPlaces);
}

int64_t CRouteGraph::Place(uint32_t ulNode) const
{
    if (ulNode < m_ulNumKnown)
        return ulNode;
    auto it = m_extraPlaces.find(ulNode);
    return it == m_extraPlaces.end() ? -1 : static_cast<int64_t>(it->second);
}

void CRouteGraph::Search(uint32_t ulFrom, int32_t lSkipConnection)
{
    if (++m_ulStamp == 0)
    {
        // After four thousand million searches the marks start again from a clean array.
        std::fill(m_visited.begin(), m_visited.end(), 0);
        m_ulStamp = 1;
    }
    m_ulFrom = ulFrom;
    m_queue.clear();
    m_queue.push_back(ulFrom);
    m_visited[ulFrom] = m_ulStamp;
    m_parent[ulFrom] = kNone;
    for (size_t nHead = 0; nHead < m_queue.size(); nHead++)
    {
        const uint32_t ulPlace = m_queue[nHead];
        for (uint32_t a = m_adjacencyStart[ulPlace]; a < m_adjacencyStart[ulPlace + 1]; a++)
        {
            const uint32_t ulNextPlace = m_neighbour[a];
            if (m_visited[ulNextPlace] == m_ulStamp)
                continue;
            const uint32_t c = m_adjacency[a];
            if (ulPlace == ulFrom && static_cast<int64_t>(c) == lSkipConnection)
                continue;
            m_visited[ulNextPlace] = m_ulStamp;
            m_parent[ulNextPlace] = c;
            m_parentPlace[ulNextPlace] = ulPlace;
            m_parentEdge[ulNextPlace] = a;
            m_queue.push_back(ulNextPlace);
        }
    }
}

uint32_t CRouteGraph::RouteTo(uint32_t ulPlace, std::vector<NVXL_RT_ROUTE_ENTRY>& route) const
{
    route.clear();
    uint32_t ulFirst = kNoConnection;
    if (!Reached(ulPlace))
        return ulFirst;
    for (uint32_t ulAt = ulPlace; ulAt != m_ulFrom;)
    {
        ulFirst = m_parent[ulAt];
        const NVXL_CONNECTION& connection = m_pConnections[ulFirst];
        const uint32_t ulNode = m_nodeOfPlace[ulAt];
        // The link was taken from the node before towards this one: this node is its B end, unless
        // only its A end is this node.
        NVXL_RT_ROUTE_ENTRY entry;
        if (connection.ulNodeB == ulNode && connection.ulNodeA != ulNode)
            entry = {connection.ulPortB, connection.ulPortA, connection.ulNodeB, connection.ulNodeA};
        else
            entry = {connection.ulPortA, connection.ulPortB, connection.ulNodeA, connection.ulNodeB};
        route.push_back(entry);
        ulAt = static_cast<uint32_t>(Place(entry.ulFromNode));
    }
    std::reverse(route.begin(), route.end());
    return ulFirst;
}
} // namespace nvxl
