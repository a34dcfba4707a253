#include "FabricDiff.h"

#include "Discovery.h"
#include "FFRoutes.h"
#include "HalWrappers.h"
#include "StatusText.h"
#include "UserInterface.h"

#include <algorithm>
#include <deque>
#include <set>
#include <utility>

namespace
{
// "The host has no destination ID": what discovery would give it one of, which the comparison
// must not.
constexpr int32_t kNoHostID = -1;
constexpr uint32_t kOwnRegisters = 0xFFFFFFFFu;

// The far end of one port of a PE, as a map records it.
struct SPortEnd
{
    int iFarNode = -1;
    int iFarPort = -1;
    int iConnection = -1;
};

// One map, indexed for the comparison: its PEs by node number and, for each PE, what each port
// leads to. A port that leads to a Null PE (nothing answered there) leads nowhere.
class CMapIndex
{
public:
    explicit CMapIndex(const CNetworkDocument& document)
    {
        for (const auto& pPE : document.ActivePEs)
        {
            if (!pPE->bDeleted)
            {
                m_PEs.try_emplace(pPE->iNodeNumber, pPE.get());
            }
        }
        for (const auto& pConnection : document.ActiveConnections)
        {
            if (pConnection->bDeleted)
            {
                continue;
            }
            const CPEPrimitive* p1 = PE(pConnection->iPE1);
            const CPEPrimitive* p2 = PE(pConnection->iPE2);
            if (!p1 || !p2)
            {
                continue;
            }
            if (IsReal(*p1) && IsReal(*p2))
            {
                m_Ports[pConnection->iPE1].try_emplace(
                    pConnection->iPE1Port,
                    SPortEnd{pConnection->iPE2, pConnection->iPE2Port, pConnection->iNodeNumber});
                m_Ports[pConnection->iPE2].try_emplace(
                    pConnection->iPE2Port,
                    SPortEnd{pConnection->iPE1, pConnection->iPE1Port, pConnection->iNodeNumber});
            }
        }
        for (const auto& [iNode, pPE] : m_PEs)
        {
            if (pPE->bHasHostLink && IsReal(*pPE))
            {
                m_iHost = iNode;
                break;
            }
        }
        if (m_iHost < 0 && m_PEs.count(0))
        {
            m_iHost = 0;
        }
    }

    // A PE that stands for something that answered, known or not; a Null PE stands for nothing.
    static bool IsReal(const CPEPrimitive& pe)
    {
        return !(pe.uType & kPETypeNull) &&
               !(pe.ManufID == kNullDeviceIdentity && pe.DeviceID == kNullDeviceIdentity);
    }
    const CPEPrimitive* PE(int iNode) const
    {
        const auto it = m_PEs.find(iNode);
        return it == m_PEs.end() ? nullptr : it->second;
    }
    // The far end of a port that leads to a PE, or null.
    const SPortEnd* Port(int iNode, int iPort) const
    {
        const auto itNode = m_Ports.find(iNode);
        if (itNode == m_Ports.end())
        {
            return nullptr;
        }
        const auto it = itNode->second.find(iPort);
        return it == itNode->second.end() ? nullptr : &it->second;
    }
    // The ports of a PE that lead anywhere, ascending.
    std::vector<int> Ports(int iNode) const
    {
        std::vector<int> ports;
        if (const auto it = m_Ports.find(iNode); it != m_Ports.end())
        {
            for (const auto& entry : it->second)
            {
                ports.push_back(entry.first);
            }
        }
        return ports;
    }
    const std::map<int, const CPEPrimitive*>& PEs() const { return m_PEs; }
    int Host() const { return m_iHost; }

private:
    std::map<int, const CPEPrimitive*> m_PEs;
    std::map<int, std::map<int, SPortEnd>> m_Ports;
    int m_iHost = -1;
};

QString NodeName(int iNode)
{
    return QStringLiteral("Node %1").arg(iNode + 1);
}

QString PortName(int iNode, int iPort)
{
    return QStringLiteral("Node %1 port %2").arg(iNode + 1).arg(iPort);
}

QString Hex(uint32_t uValue)
{
    return QString::number(uValue, 16).toUpper() + QLatin1Char('h');
}

QString Identity(const CPEPrimitive& pe)
{
    if (pe.ManufID == kUnknownDeviceIdentity || (pe.uType & kPETypeUnknown))
    {
        return QStringLiteral("unknown device");
    }
    return QString::asprintf("device %04Xh vendor %04Xh", pe.DeviceID, pe.ManufID);
}

bool HasID(const CPEPrimitive& pe)
{
    return pe.bUsesDestID && pe.GetDestID() != kNoDestID;
}

// "Memory device 1002h vendor FFF0h destID Ah", as discovery lists a PE.
QString Description(const CPEPrimitive& pe)
{
    QString strText = (pe.uType & kPETypeUnknown) ? QStringLiteral("Unknown device")
                                                  : pe.GetTypeString() + QLatin1Char(' ') + Identity(pe);
    if (HasID(pe))
    {
        strText += QStringLiteral(" destID ") + Hex(pe.GetDestID());
    }
    return strText;
}

QString WidthText(uint8_t uchWidth)
{
    return QStringLiteral("%1x").arg(uchWidth);
}

QString SpeedText(uint32_t uSpeedMHz)
{
    return QString::asprintf("%g Gbaud", uSpeedMHz / 1000.0);
}

// Entries that route something: a table upload leaves out what routes nowhere, and a table the
// map made may hold such entries; neither way they say anything about where packets go.
bool Routes(const SRouteEntry& entry)
{
    return entry.eType == eRoutePort || entry.eType == eRouteMulticast || entry.eType == eRouteSpecial;
}

QString RouteText(const SRouteEntry* pEntry)
{
    if (!pEntry)
    {
        return QStringLiteral("none");
    }
    switch (pEntry->eType)
    {
    case eRouteMulticast:
        return QStringLiteral("multicast mask %1").arg(pEntry->Port);
    case eRouteSpecial:
        return QStringLiteral("special route %1").arg(pEntry->uSpecialType);
    default:
        return QStringLiteral("port %1").arg(pEntry->Port);
    }
}

bool SameRoute(const SRouteEntry* pA, const SRouteEntry* pB)
{
    if (!pA || !pB)
    {
        return pA == pB;
    }
    return pA->eType == pB->eType && pA->Port == pB->Port &&
           (pA->eType != eRouteSpecial || pA->uSpecialType == pB->uSpecialType);
}

// "0-3, 5, 7-17": ascending port numbers with their runs joined.
QString PortList(const std::vector<int>& ports)
{
    QStringList parts;
    for (size_t i = 0; i < ports.size();)
    {
        size_t j = i;
        while (j + 1 < ports.size() && ports[j + 1] == ports[j] + 1)
        {
            ++j;
        }
        parts << (j == i ? QString::number(ports[i]) : QStringLiteral("%1-%2").arg(ports[i]).arg(ports[j]));
        i = j + 1;
    }
    return parts.join(QStringLiteral(", "));
}

class CComparison
{
public:
    CComparison(const CNetworkDocument& saved, const CNetworkDocument& live) : m_Saved(saved), m_Live(live) {}

    std::vector<SFabricDifference> Run()
    {
        Match();
        for (const auto& [iNode, pPE] : m_Saved.PEs())
        {
            if (!CMapIndex::IsReal(*pPE))
            {
                continue;
            }
            const auto it = m_SavedToLive.find(iNode);
            if (it == m_SavedToLive.end())
            {
                Add(eDiffPEMissing, iNode, -1, -1,
                    NodeName(iNode) + QStringLiteral(" missing: ") + Description(*pPE));
                continue;
            }
            const CPEPrimitive& live = *m_Live.PE(it->second);
            ComparePE(iNode, *pPE, live);
            ComparePorts(iNode, *pPE, it->second, live);
            CompareTables(iNode, *pPE, live);
        }
        return std::move(m_Differences);
    }

private:
    void Add(EFabricDiffKind eKind, int iNode, int iPort, int iConnection, const QString& strText)
    {
        m_Differences.push_back(SFabricDifference{eKind, iNode, iPort, iConnection, strText});
    }

    // Breadth first from the two hosts; see CompareFabricMaps.
    void Match()
    {
        if (m_Saved.Host() < 0 || m_Live.Host() < 0)
        {
            return;
        }
        std::deque<std::pair<int, int>> queue;
        std::vector<std::pair<int, int>> pairs;
        auto pair = [&](int iSaved, int iLive)
        {
            m_SavedToLive[iSaved] = iLive;
            m_LiveToSaved[iLive] = iSaved;
            queue.emplace_back(iSaved, iLive);
            pairs.emplace_back(iSaved, iLive);
        };
        pair(m_Saved.Host(), m_Live.Host());
        for (bool bMatched = true; bMatched;)
        {
            while (!queue.empty())
            {
                const auto [iSaved, iLive] = queue.front();
                queue.pop_front();
                for (const int iPort : Union(m_Saved.Ports(iSaved), m_Live.Ports(iLive)))
                {
                    const SPortEnd* pSaved = m_Saved.Port(iSaved, iPort);
                    const SPortEnd* pLive = m_Live.Port(iLive, iPort);
                    if (pSaved && pLive && !m_SavedToLive.count(pSaved->iFarNode) &&
                        !m_LiveToSaved.count(pLive->iFarNode))
                    {
                        pair(pSaved->iFarNode, pLive->iFarNode);
                    }
                }
            }
            // A cable moved to another port of the same PE: what is left unmatched beside a matched
            // pair matches a neighbour of the same identity, port order deciding among equals.
            bMatched = false;
            for (size_t i = 0; i < pairs.size(); ++i)
            {
                const auto [iSaved, iLive] = pairs[i];
                for (const int iSavedPort : m_Saved.Ports(iSaved))
                {
                    const int iSavedFar = m_Saved.Port(iSaved, iSavedPort)->iFarNode;
                    if (m_SavedToLive.count(iSavedFar))
                    {
                        continue;
                    }
                    for (const int iLivePort : m_Live.Ports(iLive))
                    {
                        const int iLiveFar = m_Live.Port(iLive, iLivePort)->iFarNode;
                        if (!m_LiveToSaved.count(iLiveFar) &&
                            SameIdentity(*m_Saved.PE(iSavedFar), *m_Live.PE(iLiveFar)))
                        {
                            pair(iSavedFar, iLiveFar);
                            bMatched = true;
                            break;
                        }
                    }
                }
            }
        }
    }

    static std::vector<int> Union(std::vector<int> a, const std::vector<int>& b)
    {
        a.insert(a.end(), b.begin(), b.end());
        std::sort(a.begin(), a.end());
        a.erase(std::unique(a.begin(), a.end()), a.end());
        return a;
    }

    static bool SameIdentity(const CPEPrimitive& a, const CPEPrimitive& b)
    {
        return a.DeviceID == b.DeviceID && a.ManufID == b.ManufID && a.uType == b.uType;
    }

    void ComparePE(int iNode, const CPEPrimitive& saved, const CPEPrimitive& live)
    {
        const bool bSavedUnknown = (saved.uType & kPETypeUnknown) != 0;
        const bool bLiveUnknown = (live.uType & kPETypeUnknown) != 0;
        if (bSavedUnknown != bLiveUnknown ||
            (!bSavedUnknown && (saved.DeviceID != live.DeviceID || saved.ManufID != live.ManufID)))
        {
            Add(eDiffPEChanged, iNode, -1, -1,
                NodeName(iNode) + QStringLiteral(" changed: ") + Identity(saved) + QStringLiteral(", now ") +
                    Identity(live));
        }
        if ((HasID(saved) || HasID(live)) && saved.GetDestID() != live.GetDestID() && !bSavedUnknown &&
            !bLiveUnknown)
        {
            const auto text = [](const CPEPrimitive& pe) {
                return HasID(pe) ? QStringLiteral("destID ") + Hex(pe.GetDestID())
                                 : QStringLiteral("no destID");
            };
            Add(eDiffPEChanged, iNode, -1, -1,
                NodeName(iNode) + QStringLiteral(" changed: ") + text(saved) + QStringLiteral(", now ") +
                    text(live));
        }
    }

    // How the live map's far end of a port is named in the saved map's terms.
    QString LiveEndName(const SPortEnd& end) const
    {
        const auto it = m_LiveToSaved.find(end.iFarNode);
        return it == m_LiveToSaved.end() ? QStringLiteral("a PE the map doesn't have")
                                         : PortName(it->second, end.iFarPort);
    }

    void ComparePorts(int iNode, const CPEPrimitive& saved, int iLiveNode, const CPEPrimitive& live)
    {
        for (const int iPort : Union(m_Saved.Ports(iNode), m_Live.Ports(iLiveNode)))
        {
            const SPortEnd* pSaved = m_Saved.Port(iNode, iPort);
            const SPortEnd* pLive = m_Live.Port(iLiveNode, iPort);
            // A link is seen from both its ends: the first end that comes up says it.
            const bool bSavedSeen = !pSaved || m_SeenSaved.count(pSaved->iConnection);
            const bool bLiveSeen = !pLive || m_SeenLive.count(pLive->iConnection);
            if (bSavedSeen && bLiveSeen)
            {
                continue;
            }
            if (pSaved)
            {
                m_SeenSaved.insert(pSaved->iConnection);
            }
            if (pLive)
            {
                m_SeenLive.insert(pLive->iConnection);
            }
            const QString strPort = PortName(iNode, iPort);
            if (pSaved && !pLive)
            {
                Add(eDiffLinkDown, iNode, iPort, pSaved->iConnection,
                    strPort + QStringLiteral(" down (was up to ") +
                        PortName(pSaved->iFarNode, pSaved->iFarPort) + QLatin1Char(')'));
                continue;
            }
            if (!pSaved)
            {
                const auto itFar = m_LiveToSaved.find(pLive->iFarNode);
                Add(eDiffLinkUp, iNode, iPort, -1,
                    strPort + QStringLiteral(" up") +
                        (itFar == m_LiveToSaved.end()
                             ? QString()
                             : QStringLiteral(" to ") + PortName(itFar->second, pLive->iFarPort)));
                if (itFar == m_LiveToSaved.end())
                {
                    ListAdded(iNode, iPort, pLive->iFarNode, strPort);
                }
                continue;
            }
            const auto itFar = m_SavedToLive.find(pSaved->iFarNode);
            if (itFar == m_SavedToLive.end() || itFar->second != pLive->iFarNode ||
                pSaved->iFarPort != pLive->iFarPort)
            {
                Add(eDiffLinkMoved, iNode, iPort, pSaved->iConnection,
                    strPort + QStringLiteral(" now to ") + LiveEndName(*pLive) + QStringLiteral(" (was ") +
                        PortName(pSaved->iFarNode, pSaved->iFarPort) + QLatin1Char(')'));
                if (!m_LiveToSaved.count(pLive->iFarNode))
                {
                    ListAdded(iNode, iPort, pLive->iFarNode, strPort);
                }
                continue;
            }
            // The same link: its width and speed, as the nearer end reads them, else the far one.
            const CPEPrimitive* pSavedFar = m_Saved.PE(pSaved->iFarNode);
            const CPEPrimitive* pLiveFar = m_Live.PE(pLive->iFarNode);
            if (!CompareShape(iNode, iPort, pSaved->iConnection, saved.Ports[size_t(iPort)],
                              live.Ports[size_t(iPort)]))
            {
                CompareShape(pSaved->iFarNode, pSaved->iFarPort, pSaved->iConnection,
                             pSavedFar->Ports[size_t(pSaved->iFarPort)],
                             pLiveFar->Ports[size_t(pLive->iFarPort)]);
            }
        }
    }

    // Width and speed of one end of a link; true when either differs.
    bool CompareShape(int iNode, int iPort, int iConnection, const PortInfo& saved, const PortInfo& live)
    {
        bool bDiffers = false;
        const auto known = [](uint8_t uchWidth) { return uchWidth != 0xFF && uchWidth != 0; };
        if (known(saved.CurrentWidth) && known(live.CurrentWidth) && saved.CurrentWidth != live.CurrentWidth)
        {
            Add(eDiffLinkShape, iNode, iPort, iConnection,
                PortName(iNode, iPort) + QStringLiteral(" width ") + WidthText(saved.CurrentWidth) +
                    QStringLiteral(", now ") + WidthText(live.CurrentWidth));
            bDiffers = true;
        }
        if (saved.uSpeedMHz != 0 && live.uSpeedMHz != 0 && saved.uSpeedMHz != live.uSpeedMHz)
        {
            Add(eDiffLinkShape, iNode, iPort, iConnection,
                PortName(iNode, iPort) + QStringLiteral(" speed ") + SpeedText(saved.uSpeedMHz) +
                    QStringLiteral(", now ") + SpeedText(live.uSpeedMHz));
            bDiffers = true;
        }
        return bDiffers;
    }

    // An added PE and, behind it, whatever else is new, named by the way from the saved map's PE
    // and port they hang off ("Node 2 port 3, port 1").
    void ListAdded(int iNode, int iPort, int iLiveNode, const QString& strWay)
    {
        if (!m_Added.insert(iLiveNode).second)
        {
            return;
        }
        const CPEPrimitive* pPE = m_Live.PE(iLiveNode);
        Add(eDiffPEAdded, iNode, iPort, -1,
            QStringLiteral("PE added at ") + strWay + QStringLiteral(": ") + Description(*pPE));
        for (const int iFarPort : m_Live.Ports(iLiveNode))
        {
            const SPortEnd* pEnd = m_Live.Port(iLiveNode, iFarPort);
            if (!m_LiveToSaved.count(pEnd->iFarNode) && !m_Added.count(pEnd->iFarNode))
            {
                ListAdded(iNode, iPort, pEnd->iFarNode, strWay + QStringLiteral(", port %1").arg(iFarPort));
            }
        }
    }

    // The tables the map has against those read now. A table the map never had is not compared.
    void CompareTables(int iNode, const CPEPrimitive& saved, const CPEPrimitive& live)
    {
        // The all-ones ID is no system's traffic: every walk and every access to a switch without an
        // ID of its own lays it towards the device in hand and may leave it there, so its entry
        // tells where the last such access went, not how the fabric routes.
        const uint16_t wAllOnes = MapUsesLongIDs() ? 0xFFFF : 0xFF;
        // Differences by what changed, with the tables (ports) they appear in.
        std::map<std::tuple<uint16_t, QString, QString>, std::vector<int>> changes;
        std::vector<int> unread;
        for (size_t uSlot = 0; uSlot < saved.RoutingTables.size(); ++uSlot)
        {
            const CRoutingTable* pSaved = saved.RoutingTables[uSlot].get();
            if (!pSaved)
            {
                continue;
            }
            const CRoutingTable* pLive = live.RoutingTables[uSlot].get();
            if (!pLive)
            {
                unread.push_back(int(uSlot));
                continue;
            }
            std::map<uint16_t, std::pair<const SRouteEntry*, const SRouteEntry*>> entries;
            for (const SRouteEntry& entry : pSaved->Entries())
            {
                if (Routes(entry))
                {
                    entries[entry.DestID].first = &entry;
                }
            }
            for (const SRouteEntry& entry : pLive->Entries())
            {
                if (Routes(entry))
                {
                    entries[entry.DestID].second = &entry;
                }
            }
            for (const auto& [wDestID, both] : entries)
            {
                if (wDestID != wAllOnes && !SameRoute(both.first, both.second))
                {
                    changes[{wDestID, RouteText(both.first), RouteText(both.second)}].push_back(int(uSlot));
                }
            }
        }
        const auto tables = [&saved, iNode](const std::vector<int>& ports)
        {
            if (!saved.bHasPerPortRoutingTables)
            {
                return NodeName(iNode) + QStringLiteral(" table");
            }
            return NodeName(iNode) +
                   (ports.size() == 1 ? QStringLiteral(" table of port ")
                                      : QStringLiteral(" tables of ports ")) +
                   PortList(ports);
        };
        if (!unread.empty())
        {
            Add(eDiffRouteChanged, iNode, -1, -1, tables(unread) + QStringLiteral(": could not be read"));
        }
        for (const auto& [key, ports] : changes)
        {
            const auto& [wDestID, strBefore, strNow] = key;
            Add(eDiffRouteChanged, iNode, ports.size() == 1 ? ports.front() : -1, -1,
                tables(ports) + QStringLiteral(": route ") + Hex(wDestID) + QStringLiteral(" to ") +
                    strBefore + QStringLiteral(", now ") +
                    (strNow == QLatin1String("none") ? strNow : QStringLiteral("to ") + strNow));
        }
    }

    CMapIndex m_Saved;
    CMapIndex m_Live;
    std::map<int, int> m_SavedToLive;
    std::map<int, int> m_LiveToSaved;
    std::set<int> m_SeenSaved;
    std::set<int> m_SeenLive;
    std::set<int> m_Added;
    std::vector<SFabricDifference> m_Differences;
};
} // namespace

std::vector<SFabricDifference> CompareFabricMaps(const CNetworkDocument& saved, const CNetworkDocument& live)
{
    return CComparison(saved, live).Run();
}

int32_t WalkLiveFabric(const CNetworkDocument& saved, const CPEPrimitive* pHostPE, CNetworkDocument* pLive)
{
    const bool bLong = MapUsesLongIDs();
    // A walk without enumeration gives a host without an ID one; a comparison leaves it without.
    uint16_t wSmall = 0xFFFF, wLarge = 0xFFFF;
    int32_t nStatus = GetDeviceID(0, kOwnRegisters, 0, &wSmall, &wLarge);
    if (nStatus != 0)
    {
        ShowMessage(
            QStringLiteral("Unable to read the host's destination ID: %1").arg(RioErrorText(nStatus)));
        return nStatus;
    }
    const uint16_t wHost = bLong ? wLarge : wSmall;
    if (bLong ? (wHost == 0xFFFF || wHost == 0xFFFE) : (wHost == 0xFF || wHost == 0xFE))
    {
        ShowMessage(QStringLiteral("The host has no destination ID of its own (%1); a fabric in service "
                                   "gives it one, and the comparison won't.")
                        .arg(Hex(wHost)));
        return kNoHostID;
    }
    SDiscoveryRequest request;
    request.bEnumerate = false;
    request.bLongDestIDs = bLong;
    // Nothing that stays behind: no locks, no time-outs, no Discovered bits, no port speeds tried.
    request.bNoLocks = true;
    request.bBreakLocks = false;
    request.bIgnoreLocks = false;
    request.bSetResponseTimeout = false;
    request.bSetLinkTimeout = false;
    request.bSetDiscovered = false;
    request.bTryAllClockRates = false;
    request.bAssignVDIDs = false;
    // Every table, so that those of idle ports are compared too; the saved map's IDs reach a PE that
    // rejects the all-ones ID.
    request.bUploadRoutingTables = true;
    request.bSkipUploadUnusedPorts = false;
    request.bScanExistingIDs = true;
    CDiscovery discovery(saved);
    return discovery.Discover(request, pLive, pHostPE);
}

void CFabricComparison::Set(const CNetworkDocument& saved, const std::vector<SFabricDifference>& differences)
{
    Clear();
    const auto markPE = [&](int iNode, EComparisonMark eMark, const QString& strLine)
    {
        const CPEPrimitive* pPE = saved.ActivePEs.GetByNodeNumber(iNode);
        if (!pPE)
        {
            return;
        }
        auto [it, bNew] = m_PEs.try_emplace(iNode);
        SPEMark& mark = it->second;
        if (bNew)
        {
            mark.mark.eMark = eMark;
            mark.strUniqueID = pPE->UniqueID;
            mark.uIdentity = (uint32_t(pPE->DeviceID) << 16) | pPE->ManufID;
        }
        else if (eMark == eMarkMissing)
        {
            mark.mark.eMark = eMarkMissing;
        }
        mark.mark.strTip += (mark.mark.strTip.isEmpty() ? QString() : QStringLiteral("\n")) + strLine;
    };
    const auto markConnection = [&](int iConnection, EComparisonMark eMark, const QString& strLine)
    {
        const CConnectionPrimitive* pConnection = saved.ActiveConnections.GetByNodeNumber(iConnection);
        if (!pConnection)
        {
            return;
        }
        auto [it, bNew] = m_Connections.try_emplace(iConnection);
        SConnectionMark& mark = it->second;
        if (bNew)
        {
            mark.mark.eMark = eMark;
            mark.iPE1 = pConnection->iPE1;
            mark.iPE1Port = pConnection->iPE1Port;
            mark.iPE2 = pConnection->iPE2;
            mark.iPE2Port = pConnection->iPE2Port;
        }
        mark.mark.strTip += (mark.mark.strTip.isEmpty() ? QString() : QStringLiteral("\n")) + strLine;
    };
    // The connection of the saved map at a PE's port, the one a Null PE stands behind included.
    const auto connectionAt = [&saved](int iNode, int iPort) -> const CConnectionPrimitive*
    {
        for (const auto& pConnection : saved.ActiveConnections)
        {
            if (!pConnection->bDeleted && ((pConnection->iPE1 == iNode && pConnection->iPE1Port == iPort) ||
                                           (pConnection->iPE2 == iNode && pConnection->iPE2Port == iPort)))
            {
                return pConnection.get();
            }
        }
        return nullptr;
    };
    for (const SFabricDifference& difference : differences)
    {
        switch (difference.eKind)
        {
        case eDiffPEMissing:
            markPE(difference.iMapNode, eMarkMissing, difference.strText);
            break;
        case eDiffPEChanged:
        case eDiffRouteChanged:
            markPE(difference.iMapNode, eMarkChanged, difference.strText);
            break;
        case eDiffLinkDown:
            markConnection(difference.iMapConnection, eMarkMissing, difference.strText);
            break;
        case eDiffLinkMoved:
        case eDiffLinkShape:
            markConnection(difference.iMapConnection, eMarkChanged, difference.strText);
            break;
        case eDiffLinkUp:
        case eDiffPEAdded:
            // What is new has no item of its own: the port it came up on shows it, on the link to the
            // Null PE that stood there and on that Null PE, or else on the PE itself.
            if (const CConnectionPrimitive* pConnection =
                    connectionAt(difference.iMapNode, difference.iMapPort))
            {
                markConnection(pConnection->iNodeNumber, eMarkAdded, difference.strText);
                const int iFar =
                    pConnection->iPE1 == difference.iMapNode ? pConnection->iPE2 : pConnection->iPE1;
                const CPEPrimitive* pFar = saved.ActivePEs.GetByNodeNumber(iFar);
                if (pFar && (pFar->uType & kPETypeNull))
                {
                    markPE(iFar, eMarkAdded, difference.strText);
                }
            }
            else
            {
                markPE(difference.iMapNode, eMarkChanged, difference.strText);
            }
            break;
        }
    }
}

void CFabricComparison::Clear()
{
    m_PEs.clear();
    m_Connections.clear();
}

const SComparisonMark* CFabricComparison::PEMark(const CPEPrimitive& pe) const
{
    const auto it = m_PEs.find(pe.iNodeNumber);
    if (it == m_PEs.end() || it->second.strUniqueID != pe.UniqueID ||
        it->second.uIdentity != ((uint32_t(pe.DeviceID) << 16) | pe.ManufID))
    {
        return nullptr;
    }
    return &it->second.mark;
}

const SComparisonMark* CFabricComparison::ConnectionMark(const CConnectionPrimitive& connection) const
{
    const auto it = m_Connections.find(connection.iNodeNumber);
    if (it == m_Connections.end() || it->second.iPE1 != connection.iPE1 ||
        it->second.iPE1Port != connection.iPE1Port || it->second.iPE2 != connection.iPE2 ||
        it->second.iPE2Port != connection.iPE2Port)
    {
        return nullptr;
    }
    return &it->second.mark;
}

CFabricComparison& CurrentFabricComparison()
{
    static CFabricComparison comparison;
    return comparison;
}
