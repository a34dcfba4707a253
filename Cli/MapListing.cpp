#include "MapListing.h"

#include "NetworkDocument.h"
#include "NetworkMap.h"

#include <charconv>
#include <unordered_map>

namespace
{
// Builds the listing straight into UTF-8 bytes: a map with routing tables has a million routes, and
// a formatted string per route costs more than reading the whole file.
class CListing
{
public:
    CListing& operator<<(const char* psz)
    {
        m_text.append(psz);
        return *this;
    }
    CListing& operator<<(char ch)
    {
        m_text.append(ch);
        return *this;
    }
    CListing& operator<<(const QString& str)
    {
        m_text.append(str.toUtf8());
        return *this;
    }
    CListing& operator<<(const QByteArray& str)
    {
        m_text.append(str);
        return *this;
    }
    CListing& Dec(int64_t llValue) { return Number(llValue, 10, 0); }
    // Upper-case hexadecimal, at least iWidth digits.
    CListing& Hex(uint32_t uValue, int iWidth = 0) { return Number(uValue, 16, iWidth); }

    QByteArray Take() { return std::move(m_text); }

private:
    CListing& Number(int64_t llValue, int nBase, int iWidth)
    {
        char szDigits[24];
        const auto result = std::to_chars(szDigits, szDigits + sizeof(szDigits), llValue, nBase);
        const int nLength = static_cast<int>(result.ptr - szDigits);
        for (int i = nLength; i < iWidth; ++i)
        {
            m_text.append('0');
        }
        for (char* p = szDigits; p < result.ptr; ++p)
        {
            m_text.append(nBase == 16 && *p >= 'a' ? static_cast<char>(*p - 'a' + 'A') : *p);
        }
        return *this;
    }

    QByteArray m_text;
};

void Name(CListing& out, const CPEPrimitive& pe)
{
    if (!pe.CommonName.isEmpty())
    {
        out << pe.CommonName;
        return;
    }
    out.Hex(pe.DeviceID, 4) << "h/";
    out.Hex(pe.ManufID, 4) << 'h';
}

void Route(CListing& out, const SRouteEntry& entry)
{
    out.Hex(entry.DestID) << "h >> ";
    switch (entry.eType)
    {
    case eRouteMulticast:
        out << "Mask ";
        out.Dec(entry.Port);
        break;
    case eRouteSpecial:
        out << '?';
        out.Dec(entry.uSpecialType);
        break;
    default:
        out.Dec(entry.Port);
        break;
    }
}

void ListPEs(CListing& out, const CPEList& pes)
{
    out << "PEs: ";
    out.Dec(pes.GetCount()) << '\n';
    for (const auto& pPE : pes)
    {
        const CPEPrimitive& pe = *pPE;
        out << "  Node ";
        out.Dec(pe.iNodeNumber + 1) << "  ";
        Name(out, pe);
        out << "  " << pe.GetTypeString() << "  device ";
        out.Hex(pe.DeviceID, 4) << "h vendor ";
        out.Hex(pe.ManufID, 4) << "h  ports ";
        out.Dec(pe.iNumLocalPorts);
        if (pe.bUsesDestID || pe.GetDestID() != kNoDestID)
        {
            out << "  destID ";
            out.Hex(pe.GetDestID()) << 'h';
        }
        if (pe.bHasHostLink)
        {
            out << "  host link";
        }
        if (!pe.UniqueID.isEmpty())
        {
            out << "  unique ID " << pe.UniqueID;
        }
        out << '\n';
        if (!pe.Comment.isEmpty())
        {
            out << "      comment: " << pe.Comment << '\n';
        }
    }
}

void ListConnections(CListing& out, const CConnectionList& connections)
{
    out << "Connections: ";
    out.Dec(connections.GetCount()) << '\n';
    for (const auto& pConnection : connections)
    {
        out << "  Node ";
        out.Dec(pConnection->iPE1 + 1) << " port ";
        out.Dec(pConnection->iPE1Port) << " -- Node ";
        out.Dec(pConnection->iPE2 + 1) << " port ";
        out.Dec(pConnection->iPE2Port) << "  " << pConnection->GetStatus() << '\n';
    }
}

void ListTables(CListing& out, const CPEList& pes)
{
    out << "Routing tables:\n";
    for (const auto& pPE : pes)
    {
        if (pPE->HasDefaultPort())
        {
            out << "  Node ";
            out.Dec(pPE->iNodeNumber + 1) << " default port ";
            out.Dec(pPE->GetDefaultPort()) << '\n';
        }
        for (int iSlot = 0; iSlot < kMaxPorts; ++iSlot)
        {
            const CRoutingTable* pTable = pPE->RoutingTables[static_cast<size_t>(iSlot)].get();
            if (!pTable)
            {
                continue;
            }
            out << "  Node ";
            out.Dec(pPE->iNodeNumber + 1) << ' ';
            if (pPE->bHasPerPortRoutingTables)
            {
                out << "port ";
                out.Dec(iSlot);
            }
            else
            {
                out << "all ports";
            }
            out << ": ";
            if (pTable->Entries().empty())
            {
                out << "No routes";
            }
            const char* pszSeparator = "";
            for (const SRouteEntry& entry : pTable->Entries())
            {
                out << pszSeparator;
                Route(out, entry);
                pszSeparator = ", ";
            }
            out << '\n';
        }
        const CMulticastInfo& multicast = pPE->Multicast;
        for (int i = 0; i < multicast.GetNumMasks(); ++i)
        {
            const SMulticastMask* pMask = multicast.GetMask(i);
            out << "  Node ";
            out.Dec(pPE->iNodeNumber + 1) << " mask ";
            out.Dec(pMask->MaskID) << ": IDs ";
            const char* pszSeparator = "";
            for (const uint16_t wID : pMask->DestIDs)
            {
                out << pszSeparator;
                out.Hex(wID) << 'h';
                pszSeparator = " ";
            }
            out << "; ports ";
            pszSeparator = "";
            for (const uint8_t uchPort : pMask->Ports)
            {
                out << pszSeparator;
                out.Dec(uchPort);
                pszSeparator = " ";
            }
            out << '\n';
        }
    }
}

// Node numbers to PEs, for checks that look up every end of every connection: the first PE with
// a number wins, as in the list's own look-up.
class CNodeIndex
{
public:
    explicit CNodeIndex(const CPEList& pes)
    {
        m_PEs.reserve(static_cast<size_t>(pes.GetCount()));
        for (const auto& pPE : pes)
        {
            m_PEs.try_emplace(pPE->iNodeNumber, pPE.get());
        }
    }
    const CPEPrimitive* Find(int iNodeNumber) const
    {
        const auto it = m_PEs.find(iNodeNumber);
        return it == m_PEs.end() ? nullptr : it->second;
    }

private:
    std::unordered_map<int, const CPEPrimitive*> m_PEs;
};

// A discovery puts a Null PE behind every port where nothing answered, and an Unknown one behind
// a port where something trained but couldn't be read. Neither has ports of its own that anyone
// knows of: the one link to it ends on its port 0.
bool IsPlaceholderEnd(const CPEPrimitive& pe, int iPort)
{
    return (pe.uType == kPETypeNull || pe.uType == kPETypeUnknown) && pe.iNumLocalPorts == 0 && iPort == 0;
}
} // namespace

QByteArray MapListing(const CNetworkDocument& document, const CNetworkMap& map)
{
    CListing out;
    out << "Map " << document.FileName << ": version ";
    out.Dec(map.uVersion >> 16) << '.';
    out.Dec(map.uVersion & 0xFFFF) << ", " << (map.iTransportBits == 16 ? "16-bit" : "8-bit")
                                   << " transport\n";
    for (const bool bTemplate : {false, true})
    {
        const CPEList& pes = bTemplate ? document.TemplatePEs : document.ActivePEs;
        const CConnectionList& connections =
            bTemplate ? document.TemplateConnections : document.ActiveConnections;
        if (bTemplate && pes.IsEmpty() && connections.IsEmpty())
        {
            continue;
        }
        out << (bTemplate ? "Template map\n" : "Active map\n");
        ListPEs(out, pes);
        ListConnections(out, connections);
        ListTables(out, pes);
    }
    out << "Views: ";
    out.Dec(static_cast<int64_t>(document.Views.size())) << '\n';
    for (const auto& pView : document.Views)
    {
        out << "  " << pView->Name << " (";
        out.Dec(pView->iViewID) << "): ";
        out.Dec(pView->pNodes.GetCount()) << " nodes, ";
        out.Dec(pView->pEdges.GetCount()) << " edges, ";
        out.Dec(pView->iWidth) << " x ";
        out.Dec(pView->iHeight) << '\n';
    }
    out << "Watch items: ";
    out.Dec(static_cast<int64_t>(document.WatchItems.size())) << '\n';
    return out.Take();
}

QStringList CheckMap(const CNetworkDocument& document)
{
    QStringList problems;
    QString strMessage;
    if (!document.ValidateUniqueDestIDs(strMessage))
    {
        problems << strMessage;
    }
    const CNodeIndex pes(document.ActivePEs);
    for (const auto& pConnection : document.ActiveConnections)
    {
        for (const auto& [iNode, iPort] : {std::pair(pConnection->iPE1, pConnection->iPE1Port),
                                           std::pair(pConnection->iPE2, pConnection->iPE2Port)})
        {
            const CPEPrimitive* pPE = pes.Find(iNode);
            if (!pPE)
            {
                problems << QStringLiteral("Connection %1 names Node %2, which isn't in the map.")
                                .arg(pConnection->iNodeNumber + 1)
                                .arg(iNode + 1);
            }
            else if (iPort >= pPE->iNumLocalPorts && !IsPlaceholderEnd(*pPE, iPort))
            {
                problems << QStringLiteral("Connection %1 uses port %2 of Node %3, which has %4 ports.")
                                .arg(pConnection->iNodeNumber + 1)
                                .arg(iPort)
                                .arg(iNode + 1)
                                .arg(pPE->iNumLocalPorts);
            }
        }
    }
    for (const auto& pView : document.Views)
    {
        for (const auto& pNode : pView->pNodes)
        {
            if (pNode->eKind == eDrawKindPE && !pes.Find(pNode->iAssociatedPrimitive))
            {
                problems << QStringLiteral("View '%1' draws Node %2, which isn't in the map.")
                                .arg(pView->Name)
                                .arg(pNode->iAssociatedPrimitive + 1);
            }
        }
    }
    return problems;
}
