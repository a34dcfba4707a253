// Small maps with routing tables, built by hand for the tests of what the tables do to packets.
#pragma once

#include "NetworkDocument.h"

#include <memory>
#include <vector>

namespace routemaps
{
// A map under construction: PEs take node numbers in the order they are added.
struct SBuilder
{
    CNetworkDocument doc;

    int Switch(int nPorts, bool bPerPort = false)
    {
        CPEPrimitive& pe = Add(kPETypeSwitch, nPorts);
        pe.bHasPerPortRoutingTables = bPerPort;
        return pe.iNodeNumber;
    }
    int Endpoint(uint16_t wID, bool bLargeTransport = false)
    {
        CPEPrimitive& pe = Add(kPETypeProcessor, 1);
        pe.bUsesDestID = true;
        pe.ShortDestID = static_cast<uint16_t>(wID & 0xFF);
        pe.LongDestID = wID;
        pe.bHasLongDestID = true;
        pe.bLargeTransport = bLargeTransport;
        return pe.iNodeNumber;
    }
    int Null()
    {
        CPEPrimitive& pe = Add(kPETypeNull, 0);
        pe.DeviceID = pe.ManufID = 0xFFFF;
        return pe.iNodeNumber;
    }
    void Link(int a, int iPortA, int b, int iPortB, const char* pszStatus = "Up")
    {
        auto pConnection = std::make_unique<CConnectionPrimitive>();
        pConnection->iNodeNumber = doc.ActiveConnections.GetCount();
        pConnection->iPE1 = a;
        pConnection->iPE1Port = iPortA;
        pConnection->iPE2 = b;
        pConnection->iPE2Port = iPortB;
        pConnection->uPE1Type = PE(a).uType;
        pConnection->uPE2Type = PE(b).uType;
        pConnection->SetStatus(QString::fromLatin1(pszStatus));
        doc.ActiveConnections.AddPrimitive(std::move(pConnection));
    }
    // A route entry in a switch's table (iTable is the arrival port on a per-port switch, else 0).
    void Route(int iNode, int iTable, uint16_t wID, uint8_t uchPort, uint32_t eType = eRoutePort,
               uint32_t uSpecial = 0)
    {
        auto& pTable = PE(iNode).RoutingTables[static_cast<size_t>(iTable)];
        if (!pTable)
        {
            pTable = std::make_unique<CRoutingTable>();
        }
        pTable->AddEntry(wID, uchPort, eType, uSpecial, false);
    }
    // The same entry in every table a switch uses.
    void RouteAll(int iNode, uint16_t wID, uint8_t uchPort)
    {
        const CPEPrimitive& pe = PE(iNode);
        const int nTables = pe.bHasPerPortRoutingTables ? pe.iNumLocalPorts : 1;
        for (int iTable = 0; iTable < nTables; ++iTable)
        {
            Route(iNode, iTable, wID, uchPort);
        }
    }
    CPEPrimitive& PE(int iNode) { return *doc.ActivePEs.GetByNodeNumber(iNode); }

private:
    CPEPrimitive& Add(uint32_t uType, int nPorts)
    {
        auto pPE = std::make_unique<CPEPrimitive>();
        pPE->iNodeNumber = doc.ActivePEs.GetCount();
        pPE->uType = uType;
        pPE->iNumLocalPorts = nPorts;
        return *doc.ActivePEs.AddPrimitive(std::move(pPE));
    }
};

// Two switches in a tree: endpoints 1 and 2 (IDs 1, 2) on switch 0's ports 0 and 1, switch 0 port 2
// to switch 3 port 0, whose per-port tables serve endpoints 4 and 5 (IDs 3, 4) on ports 1 and 2.
// Nodes: 0 switch, 1 and 2 endpoints, 3 switch, 4 and 5 endpoints.
inline void Tree(SBuilder& map)
{
    const int a = map.Switch(4);
    const int e1 = map.Endpoint(1);
    const int e2 = map.Endpoint(2);
    const int b = map.Switch(4, true);
    const int e3 = map.Endpoint(3);
    const int e4 = map.Endpoint(4);
    map.Link(e1, 0, a, 0);
    map.Link(a, 1, e2, 0);
    map.Link(a, 2, b, 0);
    map.Link(b, 1, e3, 0);
    map.Link(e4, 0, b, 2);
    map.RouteAll(a, 1, 0);
    map.RouteAll(a, 2, 1);
    map.RouteAll(a, 3, 2);
    map.RouteAll(a, 4, 2);
    for (uint16_t wID = 1; wID <= 2; ++wID)
    {
        map.RouteAll(b, wID, 0);
    }
    map.RouteAll(b, 3, 1);
    map.RouteAll(b, 4, 2);
}

// How the tables of a ring send packets between switches.
enum class ERingRouting
{
    eClockwise,   // every packet goes round clockwise (port 1) until it reaches its switch
    eDateline,    // the link from switch 3 back to switch 0 is never used: a line 0-1-2-3
    eNoTablesYet, // only the local endpoint is routed
};

// Four switches in a ring, node i port 1 to node i+1 port 0, each with an endpoint on port 2:
// nodes 0..3 switches, 4..7 endpoints with IDs 0x10..0x13 (long IDs 0x110..0x113 when bLong).
inline void Ring(SBuilder& map, ERingRouting eRouting, bool bLong = false)
{
    for (int i = 0; i < 4; ++i)
    {
        map.Switch(3);
    }
    for (int i = 0; i < 4; ++i)
    {
        map.Endpoint(static_cast<uint16_t>((bLong ? 0x110 : 0x10) + i), bLong);
    }
    for (int i = 0; i < 4; ++i)
    {
        map.Link(i, 1, (i + 1) % 4, 0);
        map.Link(i, 2, 4 + i, 0);
    }
    for (int iSwitch = 0; iSwitch < 4; ++iSwitch)
    {
        for (int iTo = 0; iTo < 4; ++iTo)
        {
            const auto wID = static_cast<uint16_t>((bLong ? 0x110 : 0x10) + iTo);
            if (iTo == iSwitch)
            {
                map.Route(iSwitch, 0, wID, 2);
            }
            else if (eRouting == ERingRouting::eClockwise)
            {
                map.Route(iSwitch, 0, wID, 1);
            }
            else if (eRouting == ERingRouting::eDateline)
            {
                map.Route(iSwitch, 0, wID, iTo > iSwitch ? 1 : 0);
            }
        }
    }
}
} // namespace routemaps
