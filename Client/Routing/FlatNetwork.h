// The map as the middleware sees it: flat arrays of PE and connection records, indexed by node
// number, made from the map before a discovery or a route generation and turned back into map
// objects afterwards.
#pragma once

#include "NVXLDiscovery.h"
#include "PrimitiveList.h"

#include <cstdint>
#include <vector>

class CFlatNetwork
{
public:
    // Arrays of the given capacity, every record in its initial state and none in use.
    CFlatNetwork(uint32_t ulMaxPEs, uint32_t ulMaxConnections);
    // Frees the pool tables and multicast groups the records hold.
    ~CFlatNetwork();
    CFlatNetwork(const CFlatNetwork&) = delete;
    CFlatNetwork& operator=(const CFlatNetwork&) = delete;

    // What goes into the records besides identity, IDs, flags and links.
    enum EContent
    {
        eTables = 1,    // each routing table, as a pool table
        eMulticast = 2, // multicast capabilities and groups
    };
    // The records of a map: each PE at the index of its node number (numbers without a PE stay
    // empty, deleted PEs are records with ulValid 0), each connection at the index of its node
    // number. The arrays grow to what the map needs.
    void Flatten(const CPEList& PEs, const CConnectionList& connections, int nContent);
    // Map objects of the records: a PE for every record, deleted where ulValid is 0, with its
    // routing tables from the pool; a connection for every connection record.
    void Rebuild(CPEList& PEs, CConnectionList& connections) const;

    NVXL_NETWORK& Network() { return m_network; }
    const NVXL_NETWORK& Network() const { return m_network; }
    NVXL_PE& PE(uint32_t ulNode) { return m_pes[ulNode]; }

private:
    void Reserve(uint32_t ulPEs, uint32_t ulConnections);

    std::vector<NVXL_PE> m_pes;
    std::vector<NVXL_CONNECTION> m_connections;
    NVXL_NETWORK m_network{};
};

// Copies a map PE into a record and back. The record's routing tables and multicast groups are
// left to the caller.
void PEToRecord(const CPEPrimitive& pe, NVXL_PE& record);
void RecordToPE(const NVXL_PE& record, CPEPrimitive& pe);
