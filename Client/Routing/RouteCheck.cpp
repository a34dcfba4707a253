#include "RouteCheck.h"

#include <QString>

#include <algorithm>
#include <cstdarg>
#include <cstdio>
#include <map>
#include <set>
#include <tuple>
#include <unordered_map>

namespace
{
std::string Format(const char* pszFormat, ...) __attribute__((format(printf, 1, 2)));
std::string Format(const char* pszFormat, ...)
{
    char achText[512];
    va_list args;
    va_start(args, pszFormat);
    std::vsnprintf(achText, sizeof achText, pszFormat, args);
    va_end(args);
    return achText;
}

constexpr uint32_t kEndpointFunctions = kPETypeProcessor | kPETypeBridge | kPETypeMemory;

bool IsSwitch(const CPEPrimitive& pe)
{
    return (pe.uType & kPETypeSwitch) != 0;
}

// Whether a PE takes packets addressed to wID: its primary ID or one of its VDIDs of the width in
// use. A switch takes them only when it carries an endpoint function of its own.
bool Accepts(const CPEPrimitive& pe, uint16_t wID, bool bLongIDs)
{
    if (EndpointDestID(pe, bLongIDs) < 0)
    {
        return false;
    }
    if ((bLongIDs ? pe.LongDestID : pe.ShortDestID) == wID)
    {
        return true;
    }
    const int nVDIDs = std::min<int>(2, bLongIDs ? pe.VDID_NumLongIDs : pe.VDID_NumShortIDs);
    const auto& aVDIDs = bLongIDs ? pe.VDID_LongIDs : pe.VDID_ShortIDs;
    return std::find(aVDIDs.begin(), aVDIDs.begin() + nVDIDs, wID) != aVDIDs.begin() + nVDIDs;
}

// Look-ups by node number and by (node, port), built once for a map.
class CMapIndex
{
public:
    CMapIndex(const CPEList& PEs, const CConnectionList& connections)
    {
        for (const auto& pPE : PEs)
        {
            if (!pPE->bDeleted)
            {
                m_PEs.emplace(pPE->iNodeNumber, pPE.get());
            }
        }
        // The first connection in list order at a port is the one that counts, as in the route search.
        for (const auto& pConnection : connections)
        {
            if (pConnection->bDeleted)
            {
                continue;
            }
            m_Links.emplace(Key(pConnection->iPE1, pConnection->iPE1Port),
                            SEnd{pConnection.get(), pConnection->iPE2, pConnection->iPE2Port});
            m_Links.emplace(Key(pConnection->iPE2, pConnection->iPE2Port),
                            SEnd{pConnection.get(), pConnection->iPE1, pConnection->iPE1Port});
        }
    }

    struct SEnd
    {
        const CConnectionPrimitive* pConnection;
        int iNode;
        int iPort;
    };

    const CPEPrimitive* PE(int iNode) const
    {
        const auto it = m_PEs.find(iNode);
        return it == m_PEs.end() ? nullptr : it->second;
    }
    const SEnd* Link(int iNode, int iPort) const
    {
        const auto it = m_Links.find(Key(iNode, iPort));
        return it == m_Links.end() ? nullptr : &it->second;
    }
    // The lowest port of a PE with a link on it, or -1.
    int FirstLinkedPort(const CPEPrimitive& pe) const
    {
        const int nPorts = std::clamp(pe.iNumLocalPorts, 1, kMaxPorts);
        for (int iPort = 0; iPort < nPorts; ++iPort)
        {
            if (Link(pe.iNodeNumber, iPort))
            {
                return iPort;
            }
        }
        return -1;
    }

private:
    static uint64_t Key(int iNode, int iPort)
    {
        return (static_cast<uint64_t>(static_cast<uint32_t>(iNode)) << 32) | static_cast<uint32_t>(iPort);
    }

    std::unordered_map<int, const CPEPrimitive*> m_PEs;
    std::unordered_map<uint64_t, SEnd> m_Links;
};

// What a switch does with a packet: the port it sends it out of, or -1 with the reason it drops it.
struct SDecision
{
    int iPort = -1;
    std::string strText; // the decision, or the reason for the drop
};

std::string TableName(const CPEPrimitive& pe, int iTable)
{
    return pe.bHasPerPortRoutingTables ? Format("table of port %d", iTable) : std::string("routing table");
}

SDecision Unrouted(const CPEPrimitive& pe, const std::string& strWhy)
{
    SDecision decision;
    if (pe.HasDefaultPort())
    {
        decision.iPort = pe.GetDefaultPort();
        decision.strText = Format("%s: %s, default route port %d", NodeName(pe.iNodeNumber).c_str(),
                                  strWhy.c_str(), decision.iPort);
    }
    else
    {
        decision.strText = strWhy + " and no default route port is set";
    }
    return decision;
}

// The switch's choice for wDestID arriving on iInPort (-1: the packet starts at this switch; a
// per-port switch then uses the first of its tables that routes the ID, as the route search does).
SDecision SwitchDecision(const CPEPrimitive& pe, int iInPort, uint16_t wDestID, bool bExplain)
{
    int iTable = 0;
    if (pe.bHasPerPortRoutingTables)
    {
        iTable = iInPort;
        if (iInPort < 0)
        {
            const int nPorts = std::clamp(pe.iNumLocalPorts, 0, kMaxPorts);
            for (iTable = 0; iTable < nPorts; ++iTable)
            {
                const auto& pTable = pe.RoutingTables[static_cast<size_t>(iTable)];
                if (pTable && pTable->FindEntry(wDestID) >= 0)
                {
                    break;
                }
            }
            if (iTable == nPorts)
            {
                return Unrouted(pe, Format("none of the tables of %s has an entry for ID %Xh",
                                           NodeName(pe.iNodeNumber).c_str(), wDestID));
            }
        }
    }
    const CRoutingTable* pTable =
        iTable >= 0 && iTable < kMaxPorts ? pe.RoutingTables[static_cast<size_t>(iTable)].get() : nullptr;
    const int iEntry = pTable ? pTable->FindEntry(wDestID) : -1;
    if (!bExplain && iEntry >= 0 && pTable->GetEntry(iEntry).eType == eRoutePort)
    {
        return SDecision{pTable->GetEntry(iEntry).Port, {}}; // the common case, when nobody reads why
    }
    const std::string strNode = NodeName(pe.iNodeNumber);
    const std::string strTable = TableName(pe, iTable);
    if (!pTable)
    {
        return Unrouted(pe, Format("%s has no %s", strNode.c_str(), strTable.c_str()));
    }
    if (iEntry < 0)
    {
        return Unrouted(
            pe, Format("the %s of %s has no entry for ID %Xh", strTable.c_str(), strNode.c_str(), wDestID));
    }
    const SRouteEntry& entry = pTable->GetEntry(iEntry);
    SDecision decision;
    switch (entry.eType)
    {
    case eRoutePort:
        decision.iPort = entry.Port;
        decision.strText =
            Format("%s: %s routes ID %Xh to port %d", strNode.c_str(), strTable.c_str(), wDestID, entry.Port);
        return decision;
    case eRouteDefault:
        return Unrouted(pe, Format("the %s of %s sends ID %Xh to the default route", strTable.c_str(),
                                   strNode.c_str(), wDestID));
    case eRouteMulticast:
        decision.strText = Format("the %s of %s sends ID %Xh to multicast mask %d; the walk of one packet "
                                  "does not follow multicast copies",
                                  strTable.c_str(), strNode.c_str(), wDestID, entry.Port);
        return decision;
    case eRouteSpecial:
        decision.strText = Format("the %s of %s has the device-specific route code %u for ID %Xh",
                                  strTable.c_str(), strNode.c_str(), entry.uSpecialType, wDestID);
        return decision;
    default:
        decision.strText =
            Format("the %s of %s marks ID %Xh as not routed", strTable.c_str(), strNode.c_str(), wDestID);
        return decision;
    }
}

// With bExplain false the decisions of hops that go on are left without text.
SPacketTrace Trace(const CMapIndex& index, const CPEPrimitive& from, uint16_t wDestID, bool bLongIDs,
                   bool bExplain)
{
    SPacketTrace trace;
    trace.wDestID = wDestID;
    auto end = [&trace](EPacketFate eFate, int iNode, std::string strReason = {})
    {
        trace.eFate = eFate;
        trace.iFateNode = iNode;
        trace.strReason = std::move(strReason);
        return trace;
    };
    if (Accepts(from, wDestID, bLongIDs))
    {
        return end(EPacketFate::eDelivered, from.iNodeNumber);
    }
    SDecision decision;
    if (IsSwitch(from))
    {
        decision = SwitchDecision(from, -1, wDestID, bExplain);
    }
    else
    {
        decision.iPort = index.FirstLinkedPort(from);
        decision.strText =
            decision.iPort < 0 ? NodeName(from.iNodeNumber) + " has no link to send on"
            : !bExplain        ? std::string()
                        : Format("%s: sends on port %d", NodeName(from.iNodeNumber).c_str(), decision.iPort);
    }
    std::set<std::pair<int, int>> visited; // (switch, arrival port)
    const CPEPrimitive* pAt = &from;
    for (;;)
    {
        const int iNode = pAt->iNodeNumber;
        if (decision.iPort < 0)
        {
            return end(EPacketFate::eDropped, iNode, decision.strText);
        }
        const CMapIndex::SEnd* pFar = index.Link(iNode, decision.iPort);
        if (!pFar)
        {
            return end(EPacketFate::eDropped, iNode,
                       Format("nothing is connected to %s", LinkName(iNode, decision.iPort).c_str()));
        }
        if (pFar->pConnection->GetStatus().compare(QLatin1String("Down"), Qt::CaseInsensitive) == 0)
        {
            return end(EPacketFate::eDropped, iNode,
                       Format("the link on %s is down", LinkName(iNode, decision.iPort).c_str()));
        }
        trace.hops.push_back({SChannel{iNode, decision.iPort, pFar->iNode, pFar->iPort}, decision.strText});
        const CPEPrimitive* pNext = index.PE(pFar->iNode);
        if (!pNext)
        {
            return end(
                EPacketFate::eDropped, iNode,
                Format("the far end of %s is not on the map", LinkName(iNode, decision.iPort).c_str()));
        }
        pAt = pNext;
        if (Accepts(*pAt, wDestID, bLongIDs))
        {
            return end(EPacketFate::eDelivered, pAt->iNodeNumber);
        }
        if (pAt->uType & kPETypeNull)
        {
            return end(EPacketFate::eDropped, pAt->iNodeNumber,
                       NodeName(pAt->iNodeNumber) + " is an empty port: nothing answers there");
        }
        if (!IsSwitch(*pAt))
        {
            const int iOwnID = EndpointDestID(*pAt, bLongIDs);
            const std::string strNode = NodeName(pAt->iNodeNumber);
            return end(EPacketFate::eDropped, pAt->iNodeNumber,
                       iOwnID < 0 ? Format("%s is not a switch and has no destination ID", strNode.c_str())
                                  : Format("%s is an endpoint with ID %Xh, not the destination",
                                           strNode.c_str(), static_cast<unsigned>(iOwnID)));
        }
        if (!visited.emplace(pAt->iNodeNumber, pFar->iPort).second)
        {
            return end(
                EPacketFate::eLooped, pAt->iNodeNumber,
                Format("it arrives on %s a second time", LinkName(pAt->iNodeNumber, pFar->iPort).c_str()));
        }
        decision = SwitchDecision(*pAt, pFar->iPort, wDestID, bExplain);
    }
}

// Strongly connected components of a directed graph (Tarjan's algorithm, without recursion so
// that a long chain of channels can't exhaust the stack).
std::vector<std::vector<int>> StrongComponents(const std::vector<std::vector<int>>& successors)
{
    const int n = static_cast<int>(successors.size());
    std::vector<int> aiIndex(static_cast<size_t>(n), -1), aiLow(static_cast<size_t>(n), 0);
    std::vector<bool> abOnStack(static_cast<size_t>(n), false);
    std::vector<int> stack;
    std::vector<std::vector<int>> components;
    int iNext = 0;
    for (int iRoot = 0; iRoot < n; ++iRoot)
    {
        if (aiIndex[static_cast<size_t>(iRoot)] >= 0)
        {
            continue;
        }
        std::vector<std::pair<int, size_t>> work = {{iRoot, 0}}; // node, next successor to look at
        while (!work.empty())
        {
            auto& [v, nChild] = work.back();
            const auto uv = static_cast<size_t>(v);
            if (nChild == 0 && aiIndex[uv] < 0)
            {
                aiIndex[uv] = aiLow[uv] = iNext++;
                stack.push_back(v);
                abOnStack[uv] = true;
            }
            if (nChild < successors[uv].size())
            {
                const int w = successors[uv][nChild++];
                const auto uw = static_cast<size_t>(w);
                if (aiIndex[uw] < 0)
                {
                    work.emplace_back(w, 0);
                }
                else if (abOnStack[uw])
                {
                    aiLow[uv] = std::min(aiLow[uv], aiIndex[uw]);
                }
                continue;
            }
            if (aiLow[uv] == aiIndex[uv])
            {
                std::vector<int> component;
                int w = -1;
                do
                {
                    w = stack.back();
                    stack.pop_back();
                    abOnStack[static_cast<size_t>(w)] = false;
                    component.push_back(w);
                } while (w != v);
                components.push_back(std::move(component));
            }
            const int iDone = v;
            work.pop_back();
            if (!work.empty())
            {
                const auto up = static_cast<size_t>(work.back().first);
                aiLow[up] = std::min(aiLow[up], aiLow[static_cast<size_t>(iDone)]);
            }
        }
    }
    return components;
}

// A shortest cycle through iStart that stays inside one component, in order from iStart.
std::vector<int> CycleThrough(int iStart, const std::vector<std::vector<int>>& successors,
                              const std::vector<int>& aiComponent)
{
    std::map<int, int> parent;
    std::vector<int> frontier = {iStart};
    parent[iStart] = -1;
    for (size_t i = 0; i < frontier.size(); ++i)
    {
        const int v = frontier[i];
        for (const int w : successors[static_cast<size_t>(v)])
        {
            if (aiComponent[static_cast<size_t>(w)] != aiComponent[static_cast<size_t>(iStart)])
            {
                continue;
            }
            if (w == iStart)
            {
                std::vector<int> cycle;
                for (int u = v; u != -1; u = parent[u])
                {
                    cycle.push_back(u);
                }
                std::reverse(cycle.begin(), cycle.end());
                return cycle;
            }
            if (parent.emplace(w, v).second)
            {
                frontier.push_back(w);
            }
        }
    }
    return {};
}
} // namespace

bool SChannel::operator<(const SChannel& other) const
{
    return std::tie(iNode, iPort, iFarNode, iFarPort) <
           std::tie(other.iNode, other.iPort, other.iFarNode, other.iFarPort);
}

int EndpointDestID(const CPEPrimitive& pe, bool bLongIDs)
{
    if (pe.bDeleted || (pe.uType & kPETypeNull))
    {
        return -1;
    }
    if (IsSwitch(pe) && !(pe.uType & kEndpointFunctions))
    {
        return -1;
    }
    const uint16_t wID = bLongIDs ? pe.LongDestID : pe.ShortDestID;
    if (!pe.bUsesDestID || wID == kNoDestID || (!bLongIDs && wID > 0xFF))
    {
        return -1;
    }
    return wID;
}

SPacketTrace TracePacket(const CPEList& PEs, const CConnectionList& connections, const CPEPrimitive& from,
                         uint16_t wDestID, bool bLongIDs)
{
    return Trace(CMapIndex(PEs, connections), from, wDestID, bLongIDs, true);
}

SRouteCheckReport CheckRoutes(const CPEList& PEs, const CConnectionList& connections, bool bLongIDs)
{
    const CMapIndex index(PEs, connections);
    std::vector<const CPEPrimitive*> endpoints;
    for (const auto& pPE : PEs)
    {
        if (EndpointDestID(*pPE, bLongIDs) >= 0)
        {
            endpoints.push_back(pPE.get());
        }
    }
    SRouteCheckReport report;
    report.nEndpoints = static_cast<int>(endpoints.size());

    std::map<SChannel, int> channelNumbers;
    std::vector<SChannel> channels;
    std::vector<std::vector<int>> successors;
    auto number = [&](const SChannel& channel)
    {
        const auto [it, bNew] = channelNumbers.emplace(channel, static_cast<int>(channels.size()));
        if (bNew)
        {
            channels.push_back(channel);
            successors.emplace_back();
        }
        return it->second;
    };
    std::set<std::pair<int, int>> dependencies;

    for (const CPEPrimitive* pFrom : endpoints)
    {
        for (const CPEPrimitive* pTo : endpoints)
        {
            if (pFrom == pTo)
            {
                continue;
            }
            const auto wDestID = static_cast<uint16_t>(EndpointDestID(*pTo, bLongIDs));
            SPairFinding finding{pFrom->iNodeNumber, pTo->iNodeNumber,
                                 Trace(index, *pFrom, wDestID, bLongIDs, false)};
            const SPacketTrace& trace = finding.trace;
            if (trace.eFate != EPacketFate::eLooped)
            {
                for (size_t i = 1; i < trace.hops.size(); ++i)
                {
                    const int iHeld = number(trace.hops[i - 1].channel);
                    const int iWanted = number(trace.hops[i].channel);
                    if (dependencies.emplace(iHeld, iWanted).second)
                    {
                        successors[static_cast<size_t>(iHeld)].push_back(iWanted);
                    }
                }
            }
            if (trace.eFate != EPacketFate::eDelivered)
            {
                finding.trace = Trace(index, *pFrom, wDestID, bLongIDs, true); // again, telling why
            }
            if (finding.trace.eFate == EPacketFate::eLooped)
            {
                report.loops.push_back(std::move(finding));
            }
            else if (finding.trace.eFate == EPacketFate::eDropped)
            {
                report.unreachable.push_back(std::move(finding));
            }
        }
    }

    const auto components = StrongComponents(successors);
    std::vector<int> aiComponent(channels.size(), -1);
    for (size_t i = 0; i < components.size(); ++i)
    {
        for (const int v : components[i])
        {
            aiComponent[static_cast<size_t>(v)] = static_cast<int>(i);
        }
    }
    for (const auto& component : components)
    {
        // Start at the lowest channel of the component, so the report doesn't depend on the order
        // the pairs were traced in.
        const int iStart =
            *std::min_element(component.begin(), component.end(),
                              [&](int a, int b) {
                                  return channels[static_cast<size_t>(a)] < channels[static_cast<size_t>(b)];
                              });
        const std::vector<int> cycle = CycleThrough(iStart, successors, aiComponent);
        if (cycle.empty())
        {
            continue; // a single channel that doesn't depend on itself
        }
        std::vector<SChannel> named;
        for (const int v : cycle)
        {
            named.push_back(channels[static_cast<size_t>(v)]);
        }
        report.deadlocks.push_back(std::move(named));
    }
    std::sort(report.deadlocks.begin(), report.deadlocks.end());
    return report;
}

std::string NodeName(int iNode)
{
    return Format("Node %d", iNode + 1);
}

std::string LinkName(int iNode, int iPort)
{
    return Format("Node %d port %d", iNode + 1, iPort);
}

std::string ChannelName(const SChannel& channel)
{
    return LinkName(channel.iNode, channel.iPort) + " -> " + LinkName(channel.iFarNode, channel.iFarPort);
}

std::string FateText(const SPacketTrace& trace)
{
    const char* pszFate = trace.eFate == EPacketFate::eDelivered ? "delivered"
                          : trace.eFate == EPacketFate::eLooped  ? "looped"
                                                                 : "dropped";
    std::string strText = std::string(pszFate) + " at " + NodeName(trace.iFateNode);
    if (!trace.strReason.empty())
    {
        strText += " (" + trace.strReason + ")";
    }
    return strText;
}

std::string PathText(const SPacketTrace& trace)
{
    std::string strText;
    for (const SPacketHop& hop : trace.hops)
    {
        strText += (strText.empty() ? "" : ", ") + ChannelName(hop.channel);
    }
    return strText.empty() ? std::string("(no link crossed)") : strText;
}
