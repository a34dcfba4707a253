// The shortest-route search shared by route generation and NVXL_RT_FindOptimumRoute.
//
// The route wanted between two nodes is the shortest in hops and, among equally short ones, the
// one whose sequence of connection indices is lowest at the first point of difference, using of
// several parallel links only the lowest-indexed one. A breadth-first search finds exactly that
// route to every node at once when each node's links are tried in connection order and each node
// keeps the link that reached it first: the nodes of one distance leave the queue in the order of
// their own best routes, so the first link to reach a node extends the lowest route to it.
#pragma once

#include "NVXLRoute.h"

#include <cstdint>
#include <unordered_map>
#include <vector>

namespace nvxl
{
class CRouteGraph
{
public:
    // Builds the graph of the connections. Node numbers below ulNumKnownNodes stand for
    // themselves; any other node number a connection names gets a place of its own behind them.
    CRouteGraph(const NVXL_CONNECTION* pConnections, uint32_t ulNumConnections, uint32_t ulNumKnownNodes);

    // Place of a node number in the graph, or -1 when no connection names it and it is not known.
    int64_t Place(uint32_t ulNode) const;
    uint32_t NumPlaces() const { return static_cast<uint32_t>(m_nodeOfPlace.size()); }

    // Whether a place has a single link, to another place: then that place and the ports of the
    // link at this end and at the other.
    bool Pendant(uint32_t ulPlace, uint32_t* pulOther, uint32_t* pulNearPort, uint32_t* pulFarPort) const
    {
        const uint32_t a = m_adjacencyStart[ulPlace];
        if (m_adjacencyStart[ulPlace + 1] != a + 1 || m_neighbour[a] == ulPlace)
            return false;
        *pulOther = m_neighbour[a];
        *pulNearPort = m_nearPort[a];
        *pulFarPort = m_farPort[a];
        return true;
    }

    // Searches from a place. lSkipConnection (or -1) may not leave the start.
    void Search(uint32_t ulFrom, int32_t lSkipConnection);
    // Whether the last search reached a place.
    bool Reached(uint32_t ulPlace) const { return m_visited[ulPlace] == m_ulStamp; }
    // The places the last search reached, nearest first: every place comes after the one it was
    // reached from.
    const std::vector<uint32_t>& Order() const { return m_queue; }
    // The connection by which the last search reached a place other than the start.
    uint32_t ParentConnection(uint32_t ulPlace) const { return m_parent[ulPlace]; }
    // The place a place other than the start was reached from in the last search, the port by which
    // it was reached, and the port of the place before it that the link leaves from.
    uint32_t ParentPlace(uint32_t ulPlace) const { return m_parentPlace[ulPlace]; }
    uint32_t ArrivalPort(uint32_t ulPlace) const { return m_farPort[m_parentEdge[ulPlace]]; }
    uint32_t DeparturePort(uint32_t ulPlace) const { return m_nearPort[m_parentEdge[ulPlace]]; }
    uint32_t NodeOf(uint32_t ulPlace) const { return m_nodeOfPlace[ulPlace]; }
    // The route of the last search to a place, in travel order (empty for the start itself), and
    // the index of its first connection (kNoConnection for an empty route).
    uint32_t RouteTo(uint32_t ulPlace, std::vector<NVXL_RT_ROUTE_ENTRY>& route) const;

    static constexpr uint32_t kNoConnection = 0xFFFFFFFFu;

private:
    static constexpr uint32_t kNone = 0xFFFFFFFFu;

    const NVXL_CONNECTION* m_pConnections;
    std::vector<uint32_t> m_nodeOfPlace;
    std::unordered_map<uint32_t, uint32_t> m_extraPlaces;
    uint32_t m_ulNumKnown;
    std::vector<uint32_t> m_adjacencyStart; // per place, into m_adjacency
    std::vector<uint32_t> m_adjacency;      // connection indices, in connection order per place
    std::vector<uint32_t> m_neighbour;      // the place at the other end, beside each of them
    std::vector<uint32_t> m_nearPort;       // and the ports at this end and at the other end
    std::vector<uint32_t> m_farPort;
    std::vector<uint32_t> m_parent;      // connection that reached each place in the last search
    std::vector<uint32_t> m_parentPlace; // and the place it was reached from
    std::vector<uint32_t> m_parentEdge;  // and the entry of m_adjacency it was reached by
    std::vector<uint32_t> m_visited;     // m_ulStamp for the places the last search reached
    uint32_t m_ulStamp = 0;
    std::vector<uint32_t> m_queue;
    uint32_t m_ulFrom = 0;
};
} // namespace nvxl
