// Comparing a saved map with the fabric as it is now: a walk that leaves the fabric as it found it
// (no IDs given, no locks, no time-outs or Discovered bits, every temporary route put back) and
// reads every switch's routing tables, and a comparison of the map it makes with the saved one.
// The differences are lines of text for a terminal or a log, each tied to the saved map's PE,
// port and connection it concerns, so that a window can mark them on the map.
#pragma once

#include "NetworkDocument.h"

#include <QString>

#include <cstdint>
#include <map>
#include <vector>

enum EFabricDiffKind
{
    eDiffPEMissing,    // a PE of the map that the walk didn't find
    eDiffPEAdded,      // a PE that the map doesn't have
    eDiffPEChanged,    // identity or destination ID
    eDiffLinkDown,     // a link of the map that is down now
    eDiffLinkUp,       // a link that the map has down or doesn't have
    eDiffLinkMoved,    // a port that leads somewhere else now
    eDiffLinkShape,    // width or speed
    eDiffRouteChanged, // a routing table entry
};

struct SFabricDifference
{
    EFabricDiffKind eKind = eDiffPEChanged;
    int iMapNode = -1;       // node number of the saved map's PE (the one an added PE hangs off)
    int iMapPort = -1;       // port of that PE, where a port is concerned
    int iMapConnection = -1; // node number of the saved map's connection, where one is concerned
    QString strText;         // the line as printed
};

// Compares a saved map with a map of the live fabric, both active maps. PEs are matched by their
// place, not by their node numbers (a new walk numbers them as it finds them): the two hosts
// match, and from each matched pair, port by port in ascending order and breadth first, the PEs
// behind the same port of both match when neither is matched yet. A PE is thus known by the
// shortest path of ports from the host that still exists in both, so a parallel or loop link that
// went down doesn't make the PEs behind it strangers. What is left unmatched beside a matched pair
// then matches a neighbour of the same identity on another port (a cable moved), and the search
// goes on from there. Lines come ordered by the saved map's node
// number, then port.
std::vector<SFabricDifference> CompareFabricMaps(const CNetworkDocument& saved, const CNetworkDocument& live);

// Walks the live fabric into pLive's active map without changing it, with saved's width of IDs
// and saved's IDs to try on a PE that doesn't answer the all-ones ID. pHostPE carries the host's
// link. A host without a destination ID of its own is refused before anything is sent to the
// fabric (giving it one would be a change). Failures are shown through the user interface.
// Returns 0 or a client status.
int32_t WalkLiveFabric(const CNetworkDocument& saved, const CPEPrimitive* pHostPE, CNetworkDocument* pLive);

// The marks a comparison leaves on the saved map's drawing, by node number of PEs and of
// connections. Each mark keeps the identity of what it marks so that it isn't shown on another
// map that happens to use the same numbers.
enum EComparisonMark
{
    eMarkMissing,
    eMarkAdded,
    eMarkChanged,
};
struct SComparisonMark
{
    EComparisonMark eMark = eMarkChanged;
    QString strTip; // the difference lines that concern the item, one a line
};
class CFabricComparison
{
public:
    // Marks of the differences on the saved map they were found on.
    void Set(const CNetworkDocument& saved, const std::vector<SFabricDifference>& differences);
    void Clear();
    bool IsEmpty() const { return m_PEs.empty() && m_Connections.empty(); }

    // The mark of a PE or a connection of a map, or null when it has none or the map isn't the one
    // compared (the item with that number has another identity).
    const SComparisonMark* PEMark(const CPEPrimitive& pe) const;
    const SComparisonMark* ConnectionMark(const CConnectionPrimitive& connection) const;

private:
    struct SPEMark
    {
        SComparisonMark mark;
        QString strUniqueID;
        uint32_t uIdentity = 0;
    };
    struct SConnectionMark
    {
        SComparisonMark mark;
        int iPE1 = -1;
        int iPE1Port = -1;
        int iPE2 = -1;
        int iPE2Port = -1;
    };
    std::map<int, SPEMark> m_PEs;
    std::map<int, SConnectionMark> m_Connections;
};

// The comparison shown on the window's map (one per process, as there is one map window).
CFabricComparison& CurrentFabricComparison();
