// What the routing tables of a map do to data packets: the hop-by-hop walk of one packet (where it
// is delivered, looped or dropped, and why), and a check of the whole map for endpoint pairs that
// can't reach each other, routing loops, and routing deadlock. Deadlock is a cycle in the channel
// dependency graph (Dally and Seitz, "Deadlock-free message routing in multiprocessor
// interconnection networks", 1987): the channels are the directed links, and a packet that holds
// one channel while it waits for the next makes the first depend on the second.
//
// Switching follows the RapidIO common transport specification: a switch with per-port tables
// routes by the table of the port the packet came in on, else by its one table; an ID with no
// entry leaves on the default route port (Standard Route Default Port CSR) when one is set, and is
// dropped otherwise. An endpoint takes a packet addressed to one
// of its own IDs of the transport width in use and drops any other.
#pragma once

#include "PrimitiveList.h"

#include <cstdint>
#include <string>
#include <vector>

// A directed link: leaves iNode on iPort, arrives at iFarNode on iFarPort (node numbers).
struct SChannel
{
    int iNode = -1;
    int iPort = -1;
    int iFarNode = -1;
    int iFarPort = -1;

    bool operator==(const SChannel& other) const = default;
    bool operator<(const SChannel& other) const;
};

enum class EPacketFate
{
    eDelivered,
    eDropped,
    eLooped,
};

// One link the packet crosses, with the reason it was sent that way by the node it leaves.
struct SPacketHop
{
    SChannel channel;
    std::string strDecision; // "Node 2: table of port 0 routes ID 5h to port 1"
};

struct SPacketTrace
{
    uint16_t wDestID = 0;
    std::vector<SPacketHop> hops;
    EPacketFate eFate = EPacketFate::eDropped;
    int iFateNode = -1;    // node number where the packet ends up
    std::string strReason; // why it was dropped or looped; empty when delivered
};

// The destination ID of a PE in the transport width in use, or -1 when it has none. Switches
// without an endpoint function and Null PEs have none; a device of unknown kind that was given an
// ID counts as the endpoint it answers as.
int EndpointDestID(const CPEPrimitive& pe, bool bLongIDs);

// Follows a data packet for wDestID from pFrom through the map's tables until it is delivered,
// dropped or comes to a (switch, arrival port) it was at before.
SPacketTrace TracePacket(const CPEList& PEs, const CConnectionList& connections, const CPEPrimitive& from,
                         uint16_t wDestID, bool bLongIDs);

// A pair of endpoints whose packets don't arrive, with the walk that shows it.
struct SPairFinding
{
    int iFromNode = -1;
    int iToNode = -1;
    SPacketTrace trace;
};

struct SRouteCheckReport
{
    int nEndpoints = 0;
    std::vector<SPairFinding> unreachable; // dropped on the way
    std::vector<SPairFinding> loops;       // looped on the way
    // One cycle of channel dependencies per strongly connected component, channels in order: each
    // depends on the next, and the last on the first.
    std::vector<std::vector<SChannel>> deadlocks;

    bool Clean() const { return unreachable.empty() && loops.empty() && deadlocks.empty(); }
};

// Traces a packet between every ordered pair of endpoints and builds the channel dependency graph
// from the paths taken (the part of a dropped path up to its drop counts; a looping path is told
// as a loop only).
SRouteCheckReport CheckRoutes(const CPEList& PEs, const CConnectionList& connections, bool bLongIDs);

// Texts as the map names things: "Node 3", "Node 3 port 1", and a channel
// "Node 3 port 1 -> Node 4 port 0".
std::string NodeName(int iNode);
std::string LinkName(int iNode, int iPort);
std::string ChannelName(const SChannel& channel);
// "delivered at Node 4", "dropped at Node 2 (reason)", "looped at Node 3 (reason)".
std::string FateText(const SPacketTrace& trace);
// The path of a trace as its links: "Node 1 port 0 -> Node 2 port 3, Node 2 port 1 -> Node 4 port 0".
std::string PathText(const SPacketTrace& trace);
