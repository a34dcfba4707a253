#include "NetworkMap.h"

#include "Cipher.h"
#include "DeviceInfo.h"
#include "FileBuffer.h"
#include "NetworkDocument.h"
#include "SafeFile.h"
#include "UserInterface.h"

#include <QFileInfo>

#include <array>
#include <charconv>
#include <cstdio>
#include <cstring>
#include <vector>

namespace
{
int g_iTransportBits = 8;
std::function<int()> g_pfnGetTransportBits;
std::function<void(int)> g_pfnSetTransportBits;

constexpr uint32_t kVersion10 = (1u << 16) | 0u;
constexpr uint32_t kVersion15 = (1u << 16) | 5u;
constexpr uint32_t kVersion16 = (1u << 16) | 6u;
constexpr uint32_t kVersion17 = (1u << 16) | 7u;

// Words of the watch items' log and action, in the order of their numbers (the trigger types'
// are kWatchTriggerWords).
constexpr std::array<const char*, 3> kLogWords = {"None", "All", "Triggers"};
constexpr std::array<const char*, 4> kActionWords = {"None", "Beep", "HighlightPE", "MessageBox"};
// Connection type words, from 1 on; anything else is "Unknown".
constexpr std::array<const char*, 9> kConnectionWords = {"EthernetTCP", "EthernetUDP", "InternetTCP",
                                                         "InternetUDP", "RS232",       "JTAG",
                                                         "I2C7BIT",     "I2C10BIT",    "TSI721DRIVER"};

// Device/vendor pairs that keep one routing table per input port, for files that don't say.
constexpr std::array<std::pair<uint16_t, uint16_t>, 7> kPerPortDevices = {{{0x0564, 0x000D},
                                                                           {0x0568, 0x000D},
                                                                           {0x0574, 0x000D},
                                                                           {0x0576, 0x000D},
                                                                           {0x0577, 0x000D},
                                                                           {0x0578, 0x000D},
                                                                           {0x6352, 0x003B}}};

template <size_t N> int WordIndex(const std::array<const char*, N>& words, const QString& strWord)
{
    for (size_t i = 0; i < N; ++i)
    {
        if (strWord.compare(QLatin1String(words[i]), Qt::CaseInsensitive) == 0)
        {
            return static_cast<int>(i);
        }
    }
    return -1;
}

template <size_t N> const char* WordOf(const std::array<const char*, N>& words, int i, const char* pszOther)
{
    return i >= 0 && static_cast<size_t>(i) < N ? words[static_cast<size_t>(i)] : pszOther;
}

const char* NodeKindWord(int eKind)
{
    switch (eKind)
    {
    case eDrawKindPE:
        return "PE";
    case eDrawKindGroup:
        return "Group";
    case eDrawKindOffViewHandle:
        return "OVH";
    default:
        return "";
    }
}

int NodeKindFromWord(const QString& strWord)
{
    if (strWord == QLatin1String("PE"))
    {
        return eDrawKindPE;
    }
    if (strWord == QLatin1String("Group"))
    {
        return eDrawKindGroup;
    }
    if (strWord == QLatin1String("OVH"))
    {
        return eDrawKindOffViewHandle;
    }
    return eDrawKindNone;
}

const char* StyleWord(int eStyle)
{
    switch (eStyle)
    {
    case eEdgeCurve:
        return "Curve";
    case eEdgeLoopback:
        return "Loopback";
    default:
        return "Straight";
    }
}

// Drawing positions are kept on a grid of ten pixels.
int Snap(int iValue)
{
    return iValue / 10 * 10;
}

QByteArray Latin(const char* psz)
{
    return QByteArray(psz);
}
} // namespace

void SetMapTransportAccess(std::function<int()> pfnGetBits, std::function<void(int)> pfnSetBits)
{
    g_pfnGetTransportBits = std::move(pfnGetBits);
    g_pfnSetTransportBits = std::move(pfnSetBits);
}

int GetMapTransportBits()
{
    return g_pfnGetTransportBits ? g_pfnGetTransportBits() : g_iTransportBits;
}

namespace
{
void SetMapTransportBits(int iBits)
{
    if (g_pfnSetTransportBits)
    {
        g_pfnSetTransportBits(iBits);
    }
    else
    {
        g_iTransportBits = iBits;
    }
}
} // namespace

void CNetworkMap::SetError(const QString& strText, bool bShow)
{
    m_strError = strText;
    m_bErrorShown = bShow;
    if (bShow)
    {
        ShowMessage(strText);
    }
}

// =============================================================================================
// Writing

namespace
{
// Copies a literal to p and returns the end of the copy.
template <size_t N> char* AppendLiteral(char* p, const char (&szText)[N])
{
    std::memcpy(p, szText, N - 1);
    return p + N - 1;
}

class CMapWriter
{
public:
    explicit CMapWriter(CXmlLineWriter& out) : m_Out(out) {}

    void WriteBody(const QByteArray& strIndent, const CNetworkDocument& document, bool bTemplate);
    void WriteWatchItem(const WatchItem& item);
    void WriteScripts(const CNetworkDocument& document);

private:
    void WritePE(const QByteArray& strIndent, const CPEPrimitive& pe);
    void WriteConnection(const QByteArray& strIndent, const CConnectionPrimitive& connection);
    void WriteView(const QByteArray& strIndent, const CMapView& view, bool bTemplate);
    void WriteNode(const QByteArray& strIndent, const CDrawNode& node);
    void WriteEdge(const QByteArray& strIndent, const CDrawEdge& edge);

    CXmlLineWriter& m_Out;
};

void CMapWriter::WriteBody(const QByteArray& strIndent, const CNetworkDocument& document, bool bTemplate)
{
    const CPEList& pes = bTemplate ? document.TemplatePEs : document.ActivePEs;
    const CConnectionList& connections =
        bTemplate ? document.TemplateConnections : document.ActiveConnections;
    const QByteArray strChild = strIndent + '\t';

    m_Out.Open(strIndent, "PEList");
    for (const auto& pPE : pes)
    {
        m_Out.Open(strChild, "PE");
        WritePE(strIndent, *pPE);
        m_Out.Close(strChild, "PE");
        m_Out.Spill();
    }
    m_Out.Close(strIndent, "PEList");

    m_Out.Open(strIndent, "ConnectionList");
    for (const auto& pConnection : connections)
    {
        m_Out.Open(strChild, "Connection");
        WriteConnection(strChild + '\t', *pConnection);
        m_Out.Close(strChild, "Connection");
        m_Out.Spill();
    }
    m_Out.Close(strIndent, "ConnectionList");

    m_Out.Open(strIndent, "ViewList");
    for (const auto& pView : document.Views)
    {
        m_Out.Open(strChild, "View");
        WriteView(strChild + '\t', *pView, bTemplate);
        m_Out.Close(strChild, "View");
    }
    m_Out.Close(strIndent, "ViewList");
}

// The children of a PE stand two tabs in from the body's indent.
void CMapWriter::WritePE(const QByteArray& strIndent, const CPEPrimitive& pe)
{
    const QByteArray strIn = strIndent + "\t\t";
    const char* pszIndent = strIndent.constData();
    if (pe.bDeleted)
    {
        m_Out.Element(strIn, "Deleted", QStringLiteral("Yes"));
    }
    m_Out.Element(strIn, "UniqueID", pe.UniqueID);
    m_Out.Element(strIn, "DeviceID", pe.DeviceID);
    m_Out.Element(strIn, "ManufID", pe.ManufID);
    m_Out.YesNo(strIn, "UsesDestID", pe.bUsesDestID);
    m_Out.YesNo(strIn, "HasPerPortRoutingTables", pe.bHasPerPortRoutingTables);
    m_Out.Element(strIn, "ShortDestID", pe.ShortDestID);
    m_Out.Element(strIn, "VDID_Caps", pe.VDID_Caps);
    m_Out.Element(strIn, "VDID_NumSecondaryIDs", pe.VDID_NumSecondaryIDs);
    m_Out.Element(strIn, "VDID_Impl", pe.VDID_Impl);
    m_Out.Element(strIn, "VDID_NumShortIDs", pe.VDID_NumShortIDs);
    for (int i = 0; i < std::min<int>(pe.VDID_NumShortIDs, 2); ++i)
    {
        m_Out.Element(strIn, QByteArray("VDID_ShortID_" + QByteArray::number(i)).constData(),
                      pe.VDID_ShortIDs[static_cast<size_t>(i)]);
    }
    m_Out.Element(strIn, "OrigShortDestID", pe.OrigShortDestID);
    if (pe.bHasLongDestID)
    {
        m_Out.Element(strIn, "LongDestID", pe.LongDestID);
        m_Out.Element(strIn, "OrigLongDestID", pe.OrigLongDestID);
        m_Out.Element(strIn, "VDID_NumLongIDs", pe.VDID_NumLongIDs);
        for (int i = 0; i < std::min<int>(pe.VDID_NumLongIDs, 2); ++i)
        {
            m_Out.Element(strIn, QByteArray("VDID_LongID_" + QByteArray::number(i)).constData(),
                          pe.VDID_LongIDs[static_cast<size_t>(i)]);
        }
    }
    // These two lines lack the closing bracket of the start tag, as files in the field have them.
    for (int i = 0; i < 2; ++i)
    {
        const uint32_t uSlot = pe.ShortMCastDestID[static_cast<size_t>(i)];
        if (uSlot & 0x80000000u)
        {
            m_Out.Printf("%s\t\t<ShortMCastDestID ID=\"%d\" Index=\"%d\"</ShortMCastDestID>\n", pszIndent,
                         static_cast<int>(uSlot & 0xFFFF), i);
        }
    }
    for (int i = 0; i < 2; ++i)
    {
        const uint32_t uSlot = pe.LongMCastDestID[static_cast<size_t>(i)];
        if (uSlot & 0x80000000u)
        {
            m_Out.Printf("%s\t\t<LongMCastDestID ID=\"%d\" Index=\"%d\"</LongMCastDestID>\n", pszIndent,
                         static_cast<int>(uSlot & 0xFFFF), i);
        }
    }
    m_Out.Element(strIn, "Comment", pe.Comment);
    m_Out.Element(strIn, "CommonName", pe.CommonName);
    m_Out.Element(strIn, "Type", PETypeToText(pe.uType));
    m_Out.Element(strIn, "Symbol", pe.Symbol);
    m_Out.Element(strIn, "NumLocalPorts", pe.iNumLocalPorts);

    const CMulticastInfo& multicast = pe.Multicast;
    if (multicast.bCapsValid)
    {
        const QByteArray strCaps = strIn + '\t';
        m_Out.Open(strIn, "MulticastCaps");
        m_Out.YesNo(strCaps, "SupportsMulticast", multicast.bSupportsMulticast);
        if (multicast.bSupportsMulticast)
        {
            m_Out.YesNo(strCaps, "SupportsSimpleAssociation", multicast.bSupportsSimpleAssociation);
            m_Out.YesNo(strCaps, "SupportsBlockAssociation", multicast.bSupportsBlockAssociation);
            m_Out.YesNo(strCaps, "SupportsPerPortAssociation", multicast.bSupportsPerPortAssociation);
            m_Out.Element(strCaps, "MaxAssocationsPerMask", multicast.iMaxAssociationsPerMask);
            m_Out.Element(strCaps, "MaxMasks", multicast.iMaxMasks);
            m_Out.YesNo(strCaps, "NeedsRoutes", multicast.bNeedsRoutes);
        }
        m_Out.Close(strIn, "MulticastCaps");
    }
    if (multicast.GetNumMasks() > 0)
    {
        const QByteArray strMask = strIn + '\t';
        const QByteArray strMaskChild = strMask + '\t';
        m_Out.Open(strIn, "MulticastMasks");
        for (int i = 0; i < multicast.GetNumMasks(); ++i)
        {
            const SMulticastMask* pMask = multicast.GetMask(i);
            m_Out.Open(strMask, "Mask");
            m_Out.Element(strMaskChild, "MaskID", pMask->MaskID);
            for (const uint16_t wID : pMask->DestIDs)
            {
                m_Out.Element(strMaskChild, "DestID", wID);
            }
            for (const uint8_t uchPort : pMask->Ports)
            {
                m_Out.Element(strMaskChild, "Port", uchPort);
            }
            m_Out.Close(strMask, "Mask");
        }
        m_Out.Close(strIn, "MulticastMasks");
    }

    const QByteArray strPort = strIn + '\t';
    const QByteArray strPortChild = strPort + '\t';
    m_Out.Open(strIn, "PortInfoList");
    for (int i = 0; i < std::min(pe.iNumLocalPorts, kMaxPorts); ++i)
    {
        const PortInfo& port = pe.Ports[static_cast<size_t>(i)];
        m_Out.Open(strPort, "PortInfo");
        const char* pszType = port.eType == ePortSerial     ? "Serial"
                              : port.eType == ePortParallel ? "Parallel"
                                                            : "Unknown";
        m_Out.Element(strPortChild, "Type", QString::fromLatin1(pszType));
        if (port.eType == ePortSerial)
        {
            if (port.InitialWidth != 0xFF)
            {
                m_Out.Element(strPortChild, "InitialWidth", port.InitialWidth);
            }
            if (port.CurrentWidth != 0xFF)
            {
                m_Out.Element(strPortChild, "CurrentWidth", port.CurrentWidth);
            }
            if (port.CurrentLane != 0xFF)
            {
                m_Out.Element(strPortChild, "CurrentLane", port.CurrentLane);
            }
            if (port.OverrideWidth != 0xFF)
            {
                m_Out.Element(strPortChild, "OverrideWidth", port.OverrideWidth);
            }
            if (port.bPoweredDown)
            {
                m_Out.Element(strPortChild, "PoweredDown", QStringLiteral("Yes"));
            }
            if (port.uSpeedMHz != 0)
            {
                m_Out.Printf("%s<Speed Units=\"MHz\">%u</Speed>\n", strPortChild.constData(), port.uSpeedMHz);
            }
        }
        m_Out.Close(strPort, "PortInfo");
    }
    m_Out.Close(strIn, "PortInfoList");

    if (pe.bHasHostLink)
    {
        m_Out.Element(strIn, "ConnectionType",
                      QString::fromLatin1(WordOf(kConnectionWords, pe.eConnectionType - 1, "Unknown")));
        m_Out.Printf("%s<NorvantaServerAddress>%08x</NorvantaServerAddress>\n", strIn.constData(),
                     pe.uNetworkServerAddress);
    }
    if (!pe.SavedRegisters.IsEmpty())
    {
        m_Out.Open(strIn, "Registers");
        for (int i = 0; i < pe.SavedRegisters.GetCount(); ++i)
        {
            const SRegisterValue& value = pe.SavedRegisters.GetAt(i);
            if (!value.bMemSpaceIO)
            {
                m_Out.Printf("%s\t\t\t<Register Offset=\"%05X\">%08X</Register>\n", pszIndent, value.uOffset,
                             value.uValue);
            }
            else
            {
                // Written as files in the field have it: the local address's low and high halves and
                // the RapidIO address's low half; the reader skips such entries.
                m_Out.Printf(
                    "%s\t\t\t<Register MemSpace=\"IO\" LocalAddr=\"%X\" RIOAddr=\"%X\">%08X</Register>\n",
                    pszIndent, static_cast<uint32_t>(value.uLocalAddr),
                    static_cast<uint32_t>(value.uLocalAddr >> 32), static_cast<uint32_t>(value.uRIOAddr));
            }
        }
        m_Out.Close(strIn, "Registers");
    }
    if (pe.bHasDefaultPort)
    {
        m_Out.Element(strIn, "DefaultPort", pe.DefaultPort);
    }
    for (int iSlot = 0; iSlot < kMaxPorts; ++iSlot)
    {
        const CRoutingTable* pTable = pe.RoutingTables[static_cast<size_t>(iSlot)].get();
        if (!pTable)
        {
            continue;
        }
        m_Out.Printf("%s<RoutingTable Port=\"%d\">\n", strIn.constData(), iSlot);
        // Tables hold most of a large map's lines, so each line is put together in place rather
        // than through printf: "<indent>\t\t\t<Route DestID="%d" Port="%d" Type="..."></Route>".
        const QByteArray strRoute = strIndent + "\t\t\t<Route DestID=\"";
        const size_t nRoute = static_cast<size_t>(strRoute.size());
        std::vector<char> line(nRoute + 96);
        std::memcpy(line.data(), strRoute.constData(), nRoute);
        for (const SRouteEntry& entry : pTable->Entries())
        {
            char* pEnd = line.data() + line.size();
            char* p = std::to_chars(line.data() + nRoute, pEnd, entry.DestID).ptr;
            p = AppendLiteral(p, "\" Port=\"");
            p = std::to_chars(p, pEnd, entry.Port).ptr;
            if (entry.eType == eRouteSpecial)
            {
                p = AppendLiteral(p, "\" Type=\"Special\" SpecialType=\"");
                p = std::to_chars(p, pEnd, static_cast<int>(entry.uSpecialType)).ptr;
                p = AppendLiteral(p, "\"></Route>\n");
            }
            else if (entry.eType == eRouteMulticast)
            {
                p = AppendLiteral(p, "\" Type=\"Multicast\"></Route>\n");
            }
            else
            {
                p = AppendLiteral(p, "\" Type=\"Port\"></Route>\n");
            }
            m_Out.Append(QByteArrayView(line.data(), p - line.data()));
            m_Out.Spill();
        }
        m_Out.Close(strIn, "RoutingTable");
    }
}

void CMapWriter::WriteConnection(const QByteArray& strIn, const CConnectionPrimitive& connection)
{
    if (connection.bDeleted)
    {
        m_Out.Element(strIn, "Deleted", QStringLiteral("Yes"));
    }
    m_Out.Printf("%s<PE1 Port=\"%d\">%d</PE1>\n", strIn.constData(), connection.iPE1Port, connection.iPE1);
    m_Out.Printf("%s<PE2 Port=\"%d\">%d</PE2>\n", strIn.constData(), connection.iPE2Port, connection.iPE2);
    m_Out.Element(strIn, "Status", connection.GetStatus());
}

void CMapWriter::WriteView(const QByteArray& strIn, const CMapView& view, bool bTemplate)
{
    m_Out.Element(strIn, "ViewWidth", bTemplate ? view.iTemplateWidth : view.iWidth);
    m_Out.Element(strIn, "ViewHeight", bTemplate ? view.iTemplateHeight : view.iHeight);
    m_Out.Element(strIn, "ViewName", view.Name);
    m_Out.Element(strIn, "ViewDesc", view.Desc);
    m_Out.Element(strIn, "ViewID", view.iViewID);
    const QByteArray strItem = strIn + '\t';
    m_Out.Open(strIn, "NodeList");
    for (const auto& pNode : view.Nodes(bTemplate))
    {
        if (pNode->IsNode())
        {
            m_Out.Open(strItem, "Node");
            WriteNode(strItem + '\t', static_cast<const CDrawNode&>(*pNode));
            m_Out.Close(strItem, "Node");
        }
    }
    m_Out.Close(strIn, "NodeList");
    m_Out.Open(strIn, "EdgeList");
    for (const auto& pEdge : view.Edges(bTemplate))
    {
        if (!pEdge->IsNode())
        {
            m_Out.Open(strItem, "Edge");
            WriteEdge(strItem + '\t', static_cast<const CDrawEdge&>(*pEdge));
            m_Out.Close(strItem, "Edge");
        }
    }
    m_Out.Close(strIn, "EdgeList");
}

void CMapWriter::WriteNode(const QByteArray& strIn, const CDrawNode& node)
{
    m_Out.Element(strIn, "UniqueID", node.uUniqueID);
    m_Out.Element(strIn, "Type", QString::fromLatin1(NodeKindWord(node.eKind)));
    if (node.eKind == eDrawKindPE)
    {
        m_Out.YesNo(strIn, "Visible", node.bVisible);
        m_Out.Element(strIn, "AssociatedNetworkPrimitive", node.iAssociatedPrimitive);
    }
    else
    {
        const QString& strLabel = node.eKind == eDrawKindGroup
                                      ? static_cast<const CDrawGroup&>(node).Label
                                      : static_cast<const CDrawOffViewHandle&>(node).Label;
        if (!strLabel.isEmpty())
        {
            m_Out.Element(strIn, "Label", strLabel);
        }
        if (node.eKind == eDrawKindGroup)
        {
            m_Out.YesNo(strIn, "Visible", node.bVisible);
        }
    }
    if (node.eKind != eDrawKindOffViewHandle && node.iBelongsToGroup != kNoGroup)
    {
        m_Out.Element(strIn, "BelongsToGroup", node.iBelongsToGroup);
    }
    m_Out.Element(strIn, "XPos", node.iXPos);
    m_Out.Element(strIn, "YPos", node.iYPos);
}

void CMapWriter::WriteEdge(const QByteArray& strIn, const CDrawEdge& edge)
{
    m_Out.Element(strIn, "UniqueID", edge.uUniqueID);
    m_Out.Element(strIn, "StartNodeType", QString::fromLatin1(NodeKindWord(edge.eStartKind)));
    m_Out.Element(strIn, "StartNodeUniqueID", edge.uStartUniqueID);
    m_Out.Element(strIn, "EndNodeType", QString::fromLatin1(NodeKindWord(edge.eEndKind)));
    m_Out.Element(strIn, "EndNodeUniqueID", edge.uEndUniqueID);
    const char* pszType = edge.eEdgeType == eEdgeGroupConn     ? "GroupConn"
                          : edge.eEdgeType == eEdgeOffViewConn ? "OVHConn"
                                                               : "PEConn";
    m_Out.Element(strIn, "EdgeType", QString::fromLatin1(pszType));
    m_Out.YesNo(strIn, "Visible", edge.bVisible);
    m_Out.Element(strIn, "AssociatedNetworkPrimitive", edge.iAssociatedPrimitive);
    m_Out.Printf("%s<PathPoints Style=\"%s\">\n", strIn.constData(), StyleWord(edge.Style));
    for (const QPoint& point : edge.GetPath())
    {
        m_Out.Printf("%s\t<Point X=\"%d\" Y=\"%d\"></Point>\n", strIn.constData(), point.x(), point.y());
    }
    m_Out.Close(strIn, "PathPoints");
}

void CMapWriter::WriteWatchItem(const WatchItem& item)
{
    const QByteArray strIn = Latin("\t\t\t");
    m_Out.Element(strIn, "Type", QString::fromLatin1(WordOf(kWatchTriggerWords, item.eType, "Invalid")));
    m_Out.Element(strIn, "PEID", item.iPEID);
    m_Out.Element(strIn, "DestID", item.uDestID);
    // Element escapes the names: every whole-register item's field is "<All>".
    m_Out.Element(strIn, "RegName", item.RegName);
    m_Out.Element(strIn, "RegOffset", item.uRegOffset);
    m_Out.Element(strIn, "BFName", item.BFName);
    m_Out.Element(strIn, "NumBits", item.iNumBits);
    m_Out.Element(strIn, "LSB", item.iLSB);
    m_Out.Element(strIn, "MSB", item.iMSB);
    m_Out.Element(strIn, "OldValue", item.uOldValue);
    m_Out.Element(strIn, "NewValue", item.uNewValue);
    m_Out.Element(strIn, "Param1", item.uParam1);
    m_Out.Element(strIn, "Param2", item.uParam2);
    m_Out.Element(strIn, "Log", QString::fromLatin1(WordOf(kLogWords, item.eLog, "Invalid")));
    m_Out.Element(strIn, "UpdatePeriod", item.iUpdatePeriod);
    m_Out.Element(strIn, "Action", QString::fromLatin1(WordOf(kActionWords, item.eAction, "Invalid")));
}

void CMapWriter::WriteScripts(const CNetworkDocument& document)
{
    const QByteArray strItem = Latin("\t\t");
    const QByteArray strIn = Latin("\t\t\t");
    if (!document.EventScripts.empty())
    {
        m_Out.Open(Latin("\t"), "EventScripts");
        for (const SEventScriptItem& item : document.EventScripts)
        {
            m_Out.Open(strItem, "EventScriptItem");
            m_Out.Element(strIn, "EventID", item.EventID);
            m_Out.Element(strIn, "MethodName", item.MethodName);
            m_Out.Element(strIn, "ScriptFile", item.ScriptFile);
            m_Out.Element(strIn, "Language", item.Language);
            m_Out.YesNo(strIn, "Enabled", item.Enabled);
            m_Out.Close(strItem, "EventScriptItem");
        }
        m_Out.Close(Latin("\t"), "EventScripts");
    }
    if (!document.MenuScripts.empty())
    {
        m_Out.Open(Latin("\t"), "MenuScripts");
        for (const SMenuScriptItem& item : document.MenuScripts)
        {
            m_Out.Open(strItem, "MenuScriptItem");
            m_Out.Element(strIn, "MenuItemName", item.MenuItemName);
            m_Out.Element(strIn, "MethodName", item.MethodName);
            m_Out.Element(strIn, "ScriptFile", item.ScriptFile);
            m_Out.Element(strIn, "Language", item.Language);
            m_Out.Close(strItem, "MenuScriptItem");
        }
        m_Out.Close(Latin("\t"), "MenuScripts");
    }
}
} // namespace

namespace
{
// How much of a map's text is gathered before it goes to the file.
constexpr qsizetype kMapWriteChunk = qsizetype(4) << 20;

// About how long a map's text will be, so the text is allocated once: a few kilobytes a PE and a
// line of about sixty bytes a route.
qsizetype EstimateMapTextSize(const CNetworkDocument& document)
{
    qsizetype nBytes = 4096;
    for (const CPEList* pList : {&document.ActivePEs, &document.TemplatePEs})
    {
        for (const auto& pPE : *pList)
        {
            nBytes += 4096;
            for (const auto& pTable : pPE->RoutingTables)
            {
                nBytes += pTable ? 64 * static_cast<qsizetype>(pTable->Entries().size()) : 0;
            }
        }
    }
    nBytes += 2048 * static_cast<qsizetype>(document.ActiveConnections.GetCount() +
                                            document.TemplateConnections.GetCount());
    return nBytes;
}
} // namespace

QByteArray CNetworkMap::WriteMapText(const CNetworkDocument& document)
{
    CXmlLineWriter out;
    out.Reserve(EstimateMapTextSize(document));
    WriteMap(document, out);
    return out.Text();
}

void CNetworkMap::WriteMap(const CNetworkDocument& document, CXmlLineWriter& out)
{
    iTransportBits = GetMapTransportBits() == 16 ? 16 : 8;
    CMapWriter writer(out);
    out.Append("<?xml version=\"1.0\" encoding=\"utf-8\" ?>\n");
    out.Append("<!-- Norvanta Network Map -->\n");
    out.Printf("<NorvantaMap Version=\"1.7\" NorvantaVersion=\"%d.%d.%03d(%s)\">\n", NV_VERSION_MAJOR,
               NV_VERSION_MINOR, NV_VERSION_BUILD, NV_BUILD_TEXT);
    out.Open(Latin("\t"), "NetworkInfo");
    out.Element(Latin("\t\t"), "TransportType",
                iTransportBits == 8 ? QStringLiteral("Small") : QStringLiteral("Large"));
    out.Close(Latin("\t"), "NetworkInfo");
    out.Open(Latin("\t"), "ActiveMap");
    writer.WriteBody(Latin("\t\t"), document, false);
    out.Close(Latin("\t"), "ActiveMap");
    if (!document.TemplatePEs.IsEmpty() || !document.TemplateConnections.IsEmpty())
    {
        out.Open(Latin("\t"), "TemplateMap");
        writer.WriteBody(Latin("\t\t"), document, true);
        out.Close(Latin("\t"), "TemplateMap");
    }
    out.Open(Latin("\t"), "WatchList");
    for (const WatchItem& item : document.WatchItems)
    {
        out.Open(Latin("\t\t"), "WatchItem");
        writer.WriteWatchItem(item);
        out.Close(Latin("\t\t"), "WatchItem");
    }
    out.Close(Latin("\t"), "WatchList");
    writer.WriteScripts(document);
    out.Append("</NorvantaMap>\n");
    uVersion = kVersion17;
}

bool CNetworkMap::SaveMap(CNetworkDocument& document)
{
    if (document.PathName.isEmpty())
    {
        SetError(QStringLiteral("The map has no file name."), false);
        return false;
    }
    return SaveMapAs(document, document.PathName);
}

bool CNetworkMap::SaveMapAs(CNetworkDocument& document, const QString& strPath)
{
    m_strError.clear();
    m_bErrorShown = false;
    // The text goes to the file as it is made, a few megabytes at a time: the tables of a large
    // fabric make a file of more than a gigabyte.
    CSafeFileWriter file;
    if (file.Open(strPath))
    {
        CXmlLineWriter out;
        out.SetSink([&file](QByteArrayView piece)
                    { return file.Write(piece.data(), static_cast<size_t>(piece.size())); },
                    kMapWriteChunk);
        WriteMap(document, out);
        out.Finish();
    }
    const CSafeSaveResult saved = file.Commit();
    if (!saved.Ok())
    {
        // A file that can't be made shows nothing, as an open failure; once the writing began,
        // the person learns that the save failed and that the old file stands.
        SetError(saved.Text(), saved.Step() != ESafeSaveStep::Create);
        return false;
    }
    document.PathName = strPath;
    document.FileName = QFileInfo(strPath).fileName();
    return true;
}

// =============================================================================================
// Reading

class CMapReader
{
public:
    CMapReader(CNetworkMap& map, CNetworkDocument& document) : m_Map(map), m_Doc(document) {}

    bool Read(const CXmlElement& root);

private:
    // A failure the user is told about, with the format's message.
    bool Fail(const QString& strText)
    {
        m_Map.SetError(strText, true);
        return false;
    }
    // A failure the format reports with no message; the reason is kept for the log and the
    // command line.
    bool FailSilently(const QString& strReason)
    {
        m_Map.SetError(strReason, false);
        return false;
    }

    bool ReadMap(const CXmlElement& map, bool bTemplate);
    bool ReadMapInfo(const CXmlElement& parent, bool bTemplate, bool bBoth);
    bool ReadPEList(const CXmlElement& map, bool bTemplate);
    bool ReadPE(const CXmlElement& element, CPEPrimitive& pe, QPoint* pPosition);
    bool ReadType(const CXmlElement& element, CPEPrimitive& pe);
    bool ReadIDs(const CXmlElement& element, CPEPrimitive& pe);
    bool ReadVDIDs(const CXmlElement& element, const char* pszCount, const char* pszPrefix, uint16_t* pwCount,
                   std::array<uint16_t, 2>& ids);
    bool ReadMulticast(const CXmlElement& element, CPEPrimitive& pe);
    bool ReadPorts(const CXmlElement& element, CPEPrimitive& pe);
    bool ReadHostLink(const CXmlElement& element, CPEPrimitive& pe);
    void ReadRegisters(const CXmlElement& element, CPEPrimitive& pe);
    bool ReadRoutingTables(const CXmlElement& element, CPEPrimitive& pe);
    bool ReadConnectionList(const CXmlElement& map, bool bTemplate);
    bool ReadConnectionEnd(const CXmlElement& connection, const char* pszName, int* piPort, int* piPE);
    bool ReadViewList(const CXmlElement& map, bool bTemplate);
    bool ReadNode(const CXmlElement& element, bool bTemplate, CDrawList& nodes);
    bool ReadEdge(const CXmlElement& element, CDrawList& edges);
    bool ReadPathPoints(const CXmlElement& parent, CDrawEdge& edge, bool bSnapEnds);
    bool ReadWatchList(const CXmlElement& root);
    bool ReadWatchItem(const CXmlElement& element, WatchItem& item);
    bool ReadScripts(const CXmlElement& root);

    // A child number that the format requires: a missing or bad one fails with the message.
    template <typename T>
    bool Required(const CXmlElement& parent, const char* pszName, T* pValue, const QString& strMessage)
    {
        return CXmlHelper::ChildNumber(parent, pszName, pValue) == EXmlValue::Ok || Fail(strMessage);
    }
    // A child number with a default for its absence; a bad one fails with "Bad <name>".
    template <typename T>
    bool Optional(const CXmlElement& parent, const char* pszName, T* pValue, T defaultValue)
    {
        switch (CXmlHelper::ChildNumber(parent, pszName, pValue))
        {
        case EXmlValue::Absent:
            *pValue = defaultValue;
            return true;
        case EXmlValue::Bad:
            return Fail(QStringLiteral("Bad ") + pszName);
        case EXmlValue::Ok:
            break;
        }
        return true;
    }

    CNetworkMap& m_Map;
    CNetworkDocument& m_Doc;
    // Node positions of the PEs of a file older than 1.7, by their position in the PE list.
    std::vector<std::pair<int, QPoint>> m_OldPositions;
    // Edges of the connections of a file older than 1.7, with the positions of their two PEs.
    struct SOldEdge
    {
        std::unique_ptr<CDrawPEConn> pEdge;
        int iPE1 = -1;
        int iPE2 = -1;
    };
    std::vector<SOldEdge> m_OldEdges;
};

bool CMapReader::Read(const CXmlElement& root)
{
    const uint32_t uVersion = m_Map.uVersion;
    if (uVersion >= kVersion15)
    {
        const CXmlElement active = root.firstChildElement("ActiveMap");
        if (active.isNull())
        {
            return FailSilently(QStringLiteral("Missing ActiveMap"));
        }
        if (!ReadMap(active, false))
        {
            return false;
        }
        const CXmlElement templ = root.firstChildElement("TemplateMap");
        if (!templ.isNull() && !ReadMap(templ, true))
        {
            return false;
        }
    }
    else if (!ReadMap(root, false))
    {
        return false;
    }
    if (uVersion >= kVersion17 && !ReadScripts(root))
    {
        return false;
    }
    return ReadWatchList(root);
}

bool CMapReader::ReadMap(const CXmlElement& map, bool bTemplate)
{
    const uint32_t uVersion = m_Map.uVersion;
    m_OldPositions.clear();
    m_OldEdges.clear();
    if (uVersion < kVersion17 && !ReadMapInfo(map, bTemplate, uVersion < kVersion15))
    {
        return false;
    }
    if (!ReadPEList(map, bTemplate) || !ReadConnectionList(map, bTemplate))
    {
        return false;
    }
    if (uVersion >= kVersion17)
    {
        return ReadViewList(map, bTemplate);
    }
    // Older files have no views: their PEs and connections carry their drawing, which becomes the
    // expanded view.
    CMapView* pView = m_Doc.FindView(kExpandedViewID);
    CDrawList& nodes = pView->Nodes(bTemplate);
    CDrawList& edges = pView->Edges(bTemplate);
    const CPEList& pes = bTemplate ? m_Doc.TemplatePEs : m_Doc.ActivePEs;
    for (const auto& [iNodeNumber, position] : m_OldPositions)
    {
        auto pNode = std::make_unique<CDrawPE>();
        pNode->uUniqueID = CNetworkDocument::MakeUniqueTimeID();
        pNode->iAssociatedPrimitive = iNodeNumber;
        pNode->Move(position.x(), position.y());
        nodes.Add(std::move(pNode));
    }
    for (SOldEdge& old : m_OldEdges)
    {
        std::unique_ptr<CDrawPEConn>& pEdge = old.pEdge;
        // The ends are found as the connection found its PEs: by position in the list.
        const CPEPrimitive* pPE1 = pes.GetByIndex(old.iPE1);
        const CPEPrimitive* pPE2 = pes.GetByIndex(old.iPE2);
        const CDrawPE* pStart = pPE1 ? nodes.FindPENode(pPE1->iNodeNumber) : nullptr;
        const CDrawPE* pEnd = pPE2 ? nodes.FindPENode(pPE2->iNodeNumber) : nullptr;
        pEdge->eStartKind = pStart ? eDrawKindPE : eDrawKindNone;
        pEdge->uStartUniqueID = pStart ? pStart->uUniqueID : 0;
        pEdge->eEndKind = pEnd ? eDrawKindPE : eDrawKindNone;
        pEdge->uEndUniqueID = pEnd ? pEnd->uUniqueID : 0;
        pEdge->uUniqueID = CNetworkDocument::MakeUniqueTimeID();
        edges.Add(std::move(pEdge));
    }
    m_OldEdges.clear();
    return true;
}

bool CMapReader::ReadMapInfo(const CXmlElement& parent, bool bTemplate, bool bBoth)
{
    const CXmlElement info = parent.firstChildElement("MapInfo");
    int iWidth = 0;
    int iHeight = 0;
    if (info.isNull() || CXmlHelper::ChildNumber(info, "Width", &iWidth) != EXmlValue::Ok ||
        CXmlHelper::ChildNumber(info, "Height", &iHeight) != EXmlValue::Ok || iWidth < 0 || iHeight < 0)
    {
        return Fail(QStringLiteral("Invalid map info"));
    }
    CMapView* pView = m_Doc.FindView(kExpandedViewID);
    if (!bTemplate || bBoth)
    {
        pView->iWidth = iWidth;
        pView->iHeight = iHeight;
    }
    if (bTemplate || bBoth)
    {
        pView->iTemplateWidth = iWidth;
        pView->iTemplateHeight = iHeight;
    }
    return true;
}

bool CMapReader::ReadPEList(const CXmlElement& map, bool bTemplate)
{
    CPEList& pes = bTemplate ? m_Doc.TemplatePEs : m_Doc.ActivePEs;
    const CXmlElement list = map.firstChildElement("PEList");
    int iPosition = 0;
    for (CXmlElement element = list.firstChildElement("PE"); !element.isNull();
         element = element.nextSiblingElement("PE"), ++iPosition)
    {
        if (CXmlHelper::ChildTextOr(element, "Deleted") == QLatin1String("Yes"))
        {
            // Dropped, but its position still counts as a node number.
            continue;
        }
        auto pPE = std::make_unique<CPEPrimitive>();
        pPE->iNodeNumber = iPosition;
        QPoint position;
        if (!ReadPE(element, *pPE, &position))
        {
            return false;
        }
        if (m_Map.uVersion < kVersion17)
        {
            m_OldPositions.emplace_back(iPosition, position);
        }
        pes.AddPrimitive(std::move(pPE));
    }
    return true;
}

bool CMapReader::ReadPE(const CXmlElement& element, CPEPrimitive& pe, QPoint* pPosition)
{
    pe.UniqueID = CXmlHelper::ChildTextOr(element, "UniqueID");
    if (!Required(element, "DeviceID", &pe.DeviceID, QStringLiteral("Bad DeviceID")) ||
        !Required(element, "ManufID", &pe.ManufID, QStringLiteral("Bad ManufID")) || !ReadType(element, pe))
    {
        return false;
    }
    if (CXmlHelper::ChildYesNo(element, "UsesDestID", &pe.bUsesDestID) == EXmlValue::Absent)
    {
        pe.bUsesDestID = (pe.uType & (kPETypeBridge | kPETypeMemory | kPETypeProcessor)) != 0;
    }
    if (CXmlHelper::ChildYesNo(element, "HasPerPortRoutingTables", &pe.bHasPerPortRoutingTables) ==
        EXmlValue::Absent)
    {
        pe.bHasPerPortRoutingTables = false;
        for (const auto& [wDevice, wVendor] : kPerPortDevices)
        {
            if (pe.DeviceID == wDevice && pe.ManufID == wVendor)
            {
                pe.bHasPerPortRoutingTables = true;
            }
        }
    }
    if (!ReadIDs(element, pe))
    {
        return false;
    }
    pe.Comment = CXmlHelper::ChildTextOr(element, "Comment");
    pe.CommonName = CXmlHelper::ChildTextOr(element, "CommonName");
    if (!CXmlHelper::ChildText(element, "Symbol", &pe.Symbol))
    {
        return Fail(QStringLiteral("Bad Symbol"));
    }
    if (CXmlHelper::ChildNumber(element, "NumLocalPorts", &pe.iNumLocalPorts) != EXmlValue::Ok ||
        pe.iNumLocalPorts < 0 || pe.iNumLocalPorts > kMaxPorts)
    {
        return Fail(QStringLiteral("Bad NumLocalPorts"));
    }
    if (!ReadMulticast(element, pe) || !ReadPorts(element, pe) || !ReadHostLink(element, pe))
    {
        return false;
    }
    ReadRegisters(element, pe);
    uint8_t uchDefault = 0;
    if (!Optional<uint8_t>(element, "DefaultPort", &uchDefault, 0))
    {
        return false;
    }
    if (element.firstChildElement("DefaultPort").isNull())
    {
        pe.ClearDefaultPort();
    }
    else
    {
        pe.SetDefaultPort(uchDefault);
    }
    if (!ReadRoutingTables(element, pe))
    {
        return false;
    }
    pe.bLargeTransport = m_Map.iTransportBits == 16;
    if (m_Map.uVersion < kVersion17)
    {
        int iX = 0;
        int iY = 0;
        if (!Required(element, "XPos", &iX, QStringLiteral("Bad XPos")) ||
            !Required(element, "YPos", &iY, QStringLiteral("Bad YPos")))
        {
            return false;
        }
        *pPosition = QPoint(iX, iY);
    }
    return true;
}

bool CMapReader::ReadType(const CXmlElement& element, CPEPrimitive& pe)
{
    QString strType;
    if (!CXmlHelper::ChildText(element, "Type", &strType))
    {
        return Fail(QStringLiteral("Bad Type"));
    }
    if (m_Map.uVersion != kVersion10)
    {
        pe.uType = PETypeFromText(strType);
        return true;
    }
    static const std::array<std::pair<const char*, uint32_t>, 6> kOldWords = {{{"Switch", kPETypeSwitch},
                                                                               {"Bridge", kPETypeBridge},
                                                                               {"Memory", kPETypeMemory},
                                                                               {"EndPoint", kPETypeProcessor},
                                                                               {"Unknown", kPETypeUnknown},
                                                                               {"Null", kPETypeNull}}};
    for (const auto& [pszWord, uType] : kOldWords)
    {
        if (strType == QLatin1String(pszWord))
        {
            pe.uType = uType;
            return true;
        }
    }
    return FailSilently(QStringLiteral("Unknown PE type '%1'").arg(strType));
}

bool CMapReader::ReadIDs(const CXmlElement& element, CPEPrimitive& pe)
{
    switch (CXmlHelper::ChildNumber(element, "ShortDestID", &pe.ShortDestID))
    {
    case EXmlValue::Ok:
        break;
    case EXmlValue::Bad:
        return Fail(QStringLiteral("Bad ShortDestID"));
    case EXmlValue::Absent:
        // Files before the two transport sizes call the ID DestID.
        if (!Optional<uint16_t>(element, "DestID", &pe.ShortDestID, kNoDestID))
        {
            return false;
        }
        break;
    }
    const bool bVDIDs = m_Map.uVersion >= kVersion16;
    if (bVDIDs &&
        (!Optional<uint16_t>(element, "VDID_Caps", &pe.VDID_Caps, 0) ||
         !Optional<uint16_t>(element, "VDID_NumSecondaryIDs", &pe.VDID_NumSecondaryIDs, 0) ||
         !Optional<uint16_t>(element, "VDID_Impl", &pe.VDID_Impl, 0) ||
         !ReadVDIDs(element, "VDID_NumShortIDs", "VDID_ShortID_", &pe.VDID_NumShortIDs, pe.VDID_ShortIDs)))
    {
        return false;
    }
    if (!Optional<uint16_t>(element, "OrigShortDestID", &pe.OrigShortDestID, kNoDestID))
    {
        return false;
    }
    switch (CXmlHelper::ChildNumber(element, "LongDestID", &pe.LongDestID))
    {
    case EXmlValue::Ok:
        pe.bHasLongDestID = true;
        break;
    case EXmlValue::Bad:
        return Fail(QStringLiteral("Bad LongDestID"));
    case EXmlValue::Absent:
        pe.LongDestID = kNoDestID;
        pe.bHasLongDestID = false;
        break;
    }
    if (!Optional<uint16_t>(element, "OrigLongDestID", &pe.OrigLongDestID, kNoDestID))
    {
        return false;
    }
    if (bVDIDs &&
        !ReadVDIDs(element, "VDID_NumLongIDs", "VDID_LongID_", &pe.VDID_NumLongIDs, pe.VDID_LongIDs))
    {
        return false;
    }
    // The writer leaves these lines unreadable; a hand-made file may hold them well-formed.
    const std::pair<const char*, std::array<uint32_t, 2>*> aMulticastSlots[] = {
        {"ShortMCastDestID", &pe.ShortMCastDestID}, {"LongMCastDestID", &pe.LongMCastDestID}};
    for (const auto& [pszName, pSlots] : aMulticastSlots)
    {
        for (CXmlElement slot = element.firstChildElement(pszName); !slot.isNull();
             slot = slot.nextSiblingElement(pszName))
        {
            uint16_t wID = 0;
            uint8_t uchIndex = 0;
            if (CXmlHelper::AttributeNumber(slot, "ID", &wID) == EXmlValue::Ok &&
                CXmlHelper::AttributeNumber(slot, "Index", &uchIndex) == EXmlValue::Ok && uchIndex < 2)
            {
                (*pSlots)[uchIndex] = 0x80000000u | wID;
            }
        }
    }
    return true;
}

bool CMapReader::ReadVDIDs(const CXmlElement& element, const char* pszCount, const char* pszPrefix,
                           uint16_t* pwCount, std::array<uint16_t, 2>& ids)
{
    uint16_t wCount = 0;
    if (!Optional<uint16_t>(element, pszCount, &wCount, 0))
    {
        return false;
    }
    // The count is cut down to the last ID found.
    uint16_t wFound = 0;
    for (int i = 0; i < std::min<int>(wCount, 2); ++i)
    {
        const QByteArray strName = QByteArray(pszPrefix) + QByteArray::number(i);
        switch (CXmlHelper::ChildNumber(element, strName.constData(), &ids[static_cast<size_t>(i)]))
        {
        case EXmlValue::Ok:
            wFound = static_cast<uint16_t>(i + 1);
            break;
        case EXmlValue::Bad:
            return Fail(QStringLiteral("Bad ") + QString::fromLatin1(strName));
        case EXmlValue::Absent:
            break;
        }
    }
    *pwCount = wFound;
    return true;
}

bool CMapReader::ReadMulticast(const CXmlElement& element, CPEPrimitive& pe)
{
    CMulticastInfo& multicast = pe.Multicast;
    const CXmlElement caps = element.firstChildElement("MulticastCaps");
    if (!caps.isNull())
    {
        multicast.bCapsValid = true;
        CXmlHelper::ChildYesNo(caps, "SupportsMulticast", &multicast.bSupportsMulticast);
        if (multicast.bSupportsMulticast)
        {
            CXmlHelper::ChildYesNo(caps, "SupportsSimpleAssociation", &multicast.bSupportsSimpleAssociation);
            CXmlHelper::ChildYesNo(caps, "SupportsBlockAssociation", &multicast.bSupportsBlockAssociation);
            CXmlHelper::ChildYesNo(caps, "SupportsPerPortAssociation",
                                   &multicast.bSupportsPerPortAssociation);
            CXmlHelper::ChildYesNo(caps, "NeedsRoutes", &multicast.bNeedsRoutes);
            if (!Optional<int>(caps, "MaxAssocationsPerMask", &multicast.iMaxAssociationsPerMask, 0) ||
                !Optional<int>(caps, "MaxMasks", &multicast.iMaxMasks, 0))
            {
                return false;
            }
        }
    }
    const CXmlElement masks = element.firstChildElement("MulticastMasks");
    for (CXmlElement mask = masks.firstChildElement("Mask"); !mask.isNull();
         mask = mask.nextSiblingElement("Mask"))
    {
        int iMaskID = 0;
        if (!Required(mask, "MaskID", &iMaskID, QStringLiteral("Bad MaskID")))
        {
            return false;
        }
        const int iPosition = multicast.AddMask(iMaskID);
        for (CXmlElement child = mask.firstChildElement(); !child.isNull();
             child = child.nextSiblingElement())
        {
            int64_t llValue = 0;
            if (child.hasName("DestID"))
            {
                if (!CXmlHelper::ParseElementNumber(child.text(), 0, 0xFFFF, &llValue))
                {
                    return Fail(QStringLiteral("Bad DestID"));
                }
                multicast.AddDestID(iPosition, static_cast<uint16_t>(llValue));
            }
            else if (child.hasName("Port"))
            {
                if (!CXmlHelper::ParseElementNumber(child.text(), 0, 0xFF, &llValue))
                {
                    return Fail(QStringLiteral("Bad Port"));
                }
                multicast.AddPort(iPosition, static_cast<uint8_t>(llValue));
            }
        }
    }
    return true;
}

bool CMapReader::ReadPorts(const CXmlElement& element, CPEPrimitive& pe)
{
    const CXmlElement list = element.firstChildElement("PortInfoList");
    CXmlElement info = list.firstChildElement("PortInfo");
    // Surplus PortInfo elements are ignored.
    for (int i = 0; i < pe.iNumLocalPorts && !info.isNull(); ++i, info = info.nextSiblingElement("PortInfo"))
    {
        PortInfo& port = pe.Ports[static_cast<size_t>(i)];
        const QString strType = CXmlHelper::ChildTextOr(info, "Type");
        port.eType = strType == QLatin1String("Serial")     ? ePortSerial
                     : strType == QLatin1String("Parallel") ? ePortParallel
                                                            : ePortUnknown;
        if (port.eType != ePortSerial)
        {
            continue;
        }
        bool bPoweredDown = false;
        CXmlHelper::ChildYesNo(info, "PoweredDown", &bPoweredDown);
        port.bPoweredDown = bPoweredDown;
        if (!Optional<uint8_t>(info, "InitialWidth", &port.InitialWidth, 0xFF) ||
            !Optional<uint8_t>(info, "CurrentWidth", &port.CurrentWidth, 0xFF) ||
            !Optional<uint8_t>(info, "CurrentLane", &port.CurrentLane, 0xFF) ||
            !Optional<uint8_t>(info, "OverrideWidth", &port.OverrideWidth, 0xFF) ||
            !Optional<uint32_t>(info, "Speed", &port.uSpeedMHz, 0))
        {
            return false;
        }
    }
    return true;
}

bool CMapReader::ReadHostLink(const CXmlElement& element, CPEPrimitive& pe)
{
    pe.bHasHostLink = false;
    pe.bHostLinkOpen = false;
    if (m_Map.uVersion >= kVersion16)
    {
        QString strWord;
        QString strAddress;
        if (!CXmlHelper::ChildText(element, "ConnectionType", &strWord) ||
            !CXmlHelper::ChildText(element, "NorvantaServerAddress", &strAddress))
        {
            return true;
        }
        int iType = -1;
        for (size_t i = 0; i < kConnectionWords.size(); ++i)
        {
            if (strWord == QLatin1String(kConnectionWords[i]))
            {
                iType = static_cast<int>(i) + 1;
            }
        }
        if (iType < 0)
        {
            return true;
        }
        uint64_t ulAddress = 0;
        if (!CXmlHelper::ParseHex(strAddress, UINT32_MAX, &ulAddress))
        {
            return Fail(QStringLiteral("Bad NorvantaServerAddress"));
        }
        pe.bHasHostLink = true;
        pe.eConnectionType = iType;
        pe.uNetworkServerAddress = static_cast<uint32_t>(ulAddress);
        return true;
    }
    QString strIP;
    if (!CXmlHelper::ChildText(element, "NorvantaServerIP", &strIP))
    {
        return true;
    }
    const QStringList parts = strIP.trimmed().split(QLatin1Char('.'));
    uint32_t uAddress = 0;
    for (const QString& strPart : parts)
    {
        int64_t llByte = 0;
        if (parts.size() != 4 || !CXmlHelper::ParseDecimal(strPart, 0, 255, &llByte))
        {
            return Fail(QStringLiteral("Bad NorvantaServerIP"));
        }
        uAddress = (uAddress << 8) | static_cast<uint32_t>(llByte);
    }
    pe.bHasHostLink = true;
    pe.uNetworkServerAddress = uAddress;
    // Before the connection types, two addresses stood for the direct links.
    pe.eConnectionType = uAddress == 0xFFFFFFFFu   ? eConnRS232
                         : uAddress == 0xFFFFFFFEu ? eConnJTAG
                                                   : eConnEthernetTCP;
    return true;
}

void CMapReader::ReadRegisters(const CXmlElement& element, CPEPrimitive& pe)
{
    const CXmlElement list = element.firstChildElement("Registers");
    for (CXmlElement reg = list.firstChildElement("Register"); !reg.isNull();
         reg = reg.nextSiblingElement("Register"))
    {
        // The value is the element's own text; an I/O entry also holds a child element.
        const QString strValue = reg.ownText();
        uint64_t ulValue = 0;
        if (!CXmlHelper::ParseHex(strValue, UINT32_MAX, &ulValue))
        {
            continue;
        }
        SRegisterValue value;
        value.uValue = static_cast<uint32_t>(ulValue);
        // A value from a file hasn't been confirmed by the hardware.
        value.bFlag = true;
        if (reg.attribute("MemSpace") == QLatin1String("IO"))
        {
            QString strRIO;
            if (!CXmlHelper::ParsePrefixedHex(reg.attribute("LocalAddr"), UINT64_MAX, &value.uLocalAddr) ||
                !CXmlHelper::ChildText(reg, "RIO_Addr", &strRIO) ||
                !CXmlHelper::ParsePrefixedHex(strRIO, UINT64_MAX, &value.uRIOAddr))
            {
                continue;
            }
            value.bMemSpaceIO = true;
        }
        else
        {
            uint64_t ulOffset = 0;
            if (!CXmlHelper::ParseHex(reg.attribute("Offset"), UINT32_MAX, &ulOffset))
            {
                continue;
            }
            value.uOffset = static_cast<uint32_t>(ulOffset);
        }
        pe.SavedRegisters.Append(value);
    }
}

bool CMapReader::ReadRoutingTables(const CXmlElement& element, CPEPrimitive& pe)
{
    for (CXmlElement table = element.firstChildElement("RoutingTable"); !table.isNull();
         table = table.nextSiblingElement("RoutingTable"))
    {
        int iSlot = 0;
        if (CXmlHelper::AttributeNumber(table, "Port", &iSlot) != EXmlValue::Ok || iSlot < 0 ||
            iSlot >= kMaxPorts)
        {
            continue;
        }
        auto pTable = std::make_unique<CRoutingTable>();
        for (CXmlElement route = table.firstChildElement("Route"); !route.isNull();
             route = route.nextSiblingElement("Route"))
        {
            uint16_t wDestID = 0;
            uint8_t uchPort = 0;
            if (CXmlHelper::AttributeNumber(route, "DestID", &wDestID) != EXmlValue::Ok ||
                CXmlHelper::AttributeNumber(route, "Port", &uchPort) != EXmlValue::Ok)
            {
                continue;
            }
            // The type is read as a number (0 port, 1 multicast, 2 special), which the writer's
            // words never are: routes from this program's own files come back as port routes.
            int iType = 0;
            uint32_t eType = eRoutePort;
            uint32_t uSpecial = 0;
            if (CXmlHelper::AttributeNumber(route, "Type", &iType) == EXmlValue::Ok)
            {
                if (iType == 1)
                {
                    eType = eRouteMulticast;
                }
                else if (iType == 2)
                {
                    eType = eRouteSpecial;
                    uSpecial = static_cast<uint32_t>(iType);
                }
            }
            pTable->AddEntry(wDestID, uchPort, eType, uSpecial, false);
        }
        pe.RoutingTables[static_cast<size_t>(iSlot)] = std::move(pTable);
    }
    return true;
}

bool CMapReader::ReadConnectionEnd(const CXmlElement& connection, const char* pszName, int* piPort, int* piPE)
{
    const QString strName = QString::fromLatin1(pszName);
    const CXmlElement end = connection.firstChildElement(pszName);
    if (end.isNull())
    {
        return Fail(QStringLiteral("Bad ") + strName);
    }
    if (CXmlHelper::AttributeNumber(end, "Port", piPort) != EXmlValue::Ok || *piPort < 0 ||
        *piPort >= kMaxPorts)
    {
        return Fail(QStringLiteral("Bad Port attribute"));
    }
    int64_t llPE = 0;
    if (!CXmlHelper::ParseElementNumber(end.text(), 0, INT32_MAX, &llPE))
    {
        return Fail(QStringLiteral("Bad ") + strName + QStringLiteral(" ID"));
    }
    *piPE = static_cast<int>(llPE);
    return true;
}

bool CMapReader::ReadConnectionList(const CXmlElement& map, bool bTemplate)
{
    const CPEList& pes = bTemplate ? m_Doc.TemplatePEs : m_Doc.ActivePEs;
    CConnectionList& connections = bTemplate ? m_Doc.TemplateConnections : m_Doc.ActiveConnections;
    const CXmlElement list = map.firstChildElement("ConnectionList");
    int iPosition = 0;
    for (CXmlElement element = list.firstChildElement("Connection"); !element.isNull();
         element = element.nextSiblingElement("Connection"), ++iPosition)
    {
        if (CXmlHelper::ChildTextOr(element, "Deleted") == QLatin1String("Yes"))
        {
            continue;
        }
        auto pConnection = std::make_unique<CConnectionPrimitive>();
        pConnection->iNodeNumber = iPosition;
        if (!ReadConnectionEnd(element, "PE1", &pConnection->iPE1Port, &pConnection->iPE1) ||
            !ReadConnectionEnd(element, "PE2", &pConnection->iPE2Port, &pConnection->iPE2))
        {
            return false;
        }
        QString strStatus;
        if (!CXmlHelper::ChildText(element, "Status", &strStatus))
        {
            return Fail(QStringLiteral("Bad Status"));
        }
        pConnection->SetStatus(strStatus);
        // The ends are looked up by position among the PEs read, not by node number.
        const CPEPrimitive* pPE1 = pes.GetByIndex(pConnection->iPE1);
        if (!pPE1)
        {
            return Fail(QStringLiteral("File is corrupt. Connection to non-existent PE found."));
        }
        pConnection->uPE1Type = pPE1->uType;
        if (const CPEPrimitive* pPE2 = pes.GetByIndex(pConnection->iPE2))
        {
            pConnection->uPE2Type = pPE2->uType;
        }
        if (m_Map.uVersion < kVersion17)
        {
            auto pEdge = std::make_unique<CDrawPEConn>();
            pEdge->iAssociatedPrimitive = iPosition;
            if (!ReadPathPoints(element, *pEdge, false))
            {
                return false;
            }
            m_OldEdges.push_back({std::move(pEdge), pConnection->iPE1, pConnection->iPE2});
        }
        connections.AddPrimitive(std::move(pConnection));
    }
    return true;
}

bool CMapReader::ReadViewList(const CXmlElement& map, bool bTemplate)
{
    const CXmlElement list = map.firstChildElement("ViewList");
    for (CXmlElement element = list.firstChildElement("View"); !element.isNull();
         element = element.nextSiblingElement("View"))
    {
        int iWidth = 0;
        int iHeight = 0;
        int iViewID = 0;
        QString strName;
        QString strDesc;
        if (CXmlHelper::ChildNumber(element, "ViewWidth", &iWidth) != EXmlValue::Ok || iWidth < 0)
        {
            return Fail(QStringLiteral("Bad ViewWidth"));
        }
        if (CXmlHelper::ChildNumber(element, "ViewHeight", &iHeight) != EXmlValue::Ok || iHeight < 0)
        {
            return Fail(QStringLiteral("Bad ViewHeight"));
        }
        if (!CXmlHelper::ChildText(element, "ViewName", &strName) ||
            !CXmlHelper::ChildText(element, "ViewDesc", &strDesc))
        {
            return Fail(QStringLiteral("Bad Node Type"));
        }
        if (!Required(element, "ViewID", &iViewID, QStringLiteral("Bad ViewID")))
        {
            return false;
        }
        CMapView* pView = m_Doc.FindView(iViewID);
        if (!pView)
        {
            pView = m_Doc.AddView(std::make_unique<CMapView>(strName, iViewID));
            pView->Desc = strDesc;
        }
        else if (!bTemplate)
        {
            pView->Name = strName;
            pView->Desc = strDesc;
        }
        (bTemplate ? pView->iTemplateWidth : pView->iWidth) = iWidth;
        (bTemplate ? pView->iTemplateHeight : pView->iHeight) = iHeight;
        CDrawList& nodes = pView->Nodes(bTemplate);
        CDrawList& edges = pView->Edges(bTemplate);
        const CXmlElement nodeList = element.firstChildElement("NodeList");
        for (CXmlElement node = nodeList.firstChildElement("Node"); !node.isNull();
             node = node.nextSiblingElement("Node"))
        {
            if (!ReadNode(node, bTemplate, nodes))
            {
                return false;
            }
        }
        const CXmlElement edgeList = element.firstChildElement("EdgeList");
        for (CXmlElement edge = edgeList.firstChildElement("Edge"); !edge.isNull();
             edge = edge.nextSiblingElement("Edge"))
        {
            if (!ReadEdge(edge, edges))
            {
                return false;
            }
        }
    }
    return true;
}

bool CMapReader::ReadNode(const CXmlElement& element, bool bTemplate, CDrawList& nodes)
{
    uint32_t uUniqueID = 0;
    if (!Required(element, "UniqueID", &uUniqueID, QStringLiteral("Bad UniqueID")))
    {
        return false;
    }
    const int eKind = NodeKindFromWord(CXmlHelper::ChildTextOr(element, "Type"));
    std::unique_ptr<CDrawNode> pNode;
    if (eKind == eDrawKindPE)
    {
        auto pPE = std::make_unique<CDrawPE>();
        if (!Required(element, "AssociatedNetworkPrimitive", &pPE->iAssociatedPrimitive,
                      QStringLiteral("Bad AssociatedNetworkPE")))
        {
            return false;
        }
        // Found by position among the PEs just read, as connections find theirs.
        const CPEList& pes = bTemplate ? m_Doc.TemplatePEs : m_Doc.ActivePEs;
        if (!pes.GetByIndex(pPE->iAssociatedPrimitive))
        {
            return FailSilently(QStringLiteral("View node of a PE that isn't in the map"));
        }
        pNode = std::move(pPE);
    }
    else if (eKind == eDrawKindGroup)
    {
        auto pGroup = std::make_unique<CDrawGroup>();
        pGroup->Label = CXmlHelper::ChildTextOr(element, "Label", QStringLiteral("Group"));
        pNode = std::move(pGroup);
    }
    else if (eKind == eDrawKindOffViewHandle)
    {
        // A handle's label isn't read back, and a handle is always visible.
        pNode = std::make_unique<CDrawOffViewHandle>();
    }
    else
    {
        return Fail(QStringLiteral("Bad Node Type"));
    }
    pNode->uUniqueID = uUniqueID;
    if (eKind != eDrawKindOffViewHandle)
    {
        if (CXmlHelper::ChildYesNo(element, "Visible", &pNode->bVisible) == EXmlValue::Absent)
        {
            return FailSilently(QStringLiteral("Node without Visible"));
        }
        if (!Optional<int64_t>(element, "BelongsToGroup", &pNode->iBelongsToGroup, kNoGroup))
        {
            return false;
        }
    }
    int iX = 0;
    int iY = 0;
    if (!Required(element, "XPos", &iX, QStringLiteral("Bad XPos")) ||
        !Required(element, "YPos", &iY, QStringLiteral("Bad YPos")))
    {
        return false;
    }
    pNode->Move(Snap(iX), Snap(iY));
    nodes.Add(std::move(pNode));
    return true;
}

bool CMapReader::ReadEdge(const CXmlElement& element, CDrawList& edges)
{
    uint32_t uUniqueID = 0;
    if (!Required(element, "UniqueID", &uUniqueID, QStringLiteral("Bad UniqueID")))
    {
        return false;
    }
    const QString strType = CXmlHelper::ChildTextOr(element, "EdgeType");
    std::unique_ptr<CDrawEdge> pEdge;
    if (strType == QLatin1String("PEConn"))
    {
        pEdge = std::make_unique<CDrawPEConn>();
    }
    else if (strType == QLatin1String("OVHConn"))
    {
        pEdge = std::make_unique<CDrawOffViewConn>();
    }
    else if (strType == QLatin1String("GroupConn"))
    {
        pEdge = std::make_unique<CDrawGroupConn>();
    }
    else
    {
        return Fail(QStringLiteral("Bad EdgeType"));
    }
    pEdge->uUniqueID = uUniqueID;
    QString strKind;
    if (!CXmlHelper::ChildText(element, "StartNodeType", &strKind))
    {
        return Fail(QStringLiteral("Bad StartNodeType"));
    }
    pEdge->eStartKind = NodeKindFromWord(strKind);
    if (!CXmlHelper::ChildText(element, "EndNodeType", &strKind))
    {
        return Fail(QStringLiteral("Bad EndNodeType"));
    }
    pEdge->eEndKind = NodeKindFromWord(strKind);
    if (!Required(element, "StartNodeUniqueID", &pEdge->uStartUniqueID,
                  QStringLiteral("Bad StartNodeUniqueID")) ||
        !Required(element, "EndNodeUniqueID", &pEdge->uEndUniqueID, QStringLiteral("Bad EndNodeUniqueID")))
    {
        return false;
    }
    if (CXmlHelper::ChildYesNo(element, "Visible", &pEdge->bVisible) == EXmlValue::Absent)
    {
        return FailSilently(QStringLiteral("Edge without Visible"));
    }
    if (!Required(element, "AssociatedNetworkPrimitive", &pEdge->iAssociatedPrimitive,
                  QStringLiteral("Bad AssociatedNetworkPE")) ||
        !ReadPathPoints(element, *pEdge, true))
    {
        return false;
    }
    edges.Add(std::move(pEdge));
    return true;
}

bool CMapReader::ReadPathPoints(const CXmlElement& parent, CDrawEdge& edge, bool bSnapEnds)
{
    const CXmlElement path = parent.firstChildElement("PathPoints");
    const QString strStyle = path.attribute("Style");
    if (path.isNull())
    {
        return Fail(QStringLiteral("Bad PathPoints"));
    }
    if (strStyle == QLatin1String("Curve"))
    {
        edge.Style = eEdgeCurve;
    }
    else if (strStyle == QLatin1String("Loopback"))
    {
        edge.Style = eEdgeLoopback;
    }
    else if (strStyle == QLatin1String("Straight"))
    {
        edge.Style = eEdgeStraight;
    }
    else
    {
        return Fail(QStringLiteral("Bad PathPoints"));
    }
    std::vector<QPoint> points;
    for (CXmlElement point = path.firstChildElement("Point"); !point.isNull();
         point = point.nextSiblingElement("Point"))
    {
        int iX = 0;
        int iY = 0;
        if (CXmlHelper::AttributeNumber(point, "X", &iX) != EXmlValue::Ok)
        {
            return Fail(QStringLiteral("Bad X Point"));
        }
        if (CXmlHelper::AttributeNumber(point, "Y", &iY) != EXmlValue::Ok)
        {
            return Fail(QStringLiteral("Bad Y Point"));
        }
        points.emplace_back(iX, iY);
    }
    if (points.empty())
    {
        return Fail(QStringLiteral("No points"));
    }
    if (bSnapEnds)
    {
        // Only the ends sit on the grid; the bends between stay where the user put them.
        points.front() = QPoint(Snap(points.front().x()), Snap(points.front().y()));
        points.back() = QPoint(Snap(points.back().x()), Snap(points.back().y()));
    }
    edge.SetPath(points);
    return true;
}

bool CMapReader::ReadWatchList(const CXmlElement& root)
{
    const CXmlElement list = root.firstChildElement("WatchList");
    for (CXmlElement element = list.firstChildElement("WatchItem"); !element.isNull();
         element = element.nextSiblingElement("WatchItem"))
    {
        WatchItem item;
        if (!ReadWatchItem(element, item))
        {
            return false;
        }
        m_Doc.WatchItems.push_back(item);
    }
    return true;
}

bool CMapReader::ReadWatchItem(const CXmlElement& element, WatchItem& item)
{
    QString strWord;
    if (!CXmlHelper::ChildText(element, "Type", &strWord))
    {
        return Fail(QStringLiteral("Bad WatchItem Type"));
    }
    item.eType = WordIndex(kWatchTriggerWords, strWord.trimmed());
    if (item.eType < 0)
    {
        return Fail(QStringLiteral("Invalid Watch Item Type: %1").arg(strWord));
    }
    if (!Required(element, "PEID", &item.iPEID, QStringLiteral("Invalid Watch Item PEID")) ||
        !Required(element, "DestID", &item.uDestID, QStringLiteral("Invalid Watch Item DestID")))
    {
        return false;
    }
    if (!CXmlHelper::ChildText(element, "RegName", &item.RegName))
    {
        return Fail(QStringLiteral("Invalid Watch Item RegisterName"));
    }
    if (!Required(element, "RegOffset", &item.uRegOffset,
                  QStringLiteral("Invalid Watch Item RegisterOffset")))
    {
        return false;
    }
    if (!CXmlHelper::ChildText(element, "BFName", &item.BFName))
    {
        return Fail(QStringLiteral("Invalid Watch Item BitFieldName"));
    }
    if (!Required(element, "NumBits", &item.iNumBits, QStringLiteral("Invalid Watch Item NumBits")) ||
        !Required(element, "LSB", &item.iLSB, QStringLiteral("Invalid Watch Item LSB")) ||
        !Required(element, "MSB", &item.iMSB, QStringLiteral("Invalid Watch Item MSB")) ||
        !Required(element, "OldValue", &item.uOldValue, QStringLiteral("Invalid Watch Item OldValue")) ||
        !Required(element, "NewValue", &item.uNewValue, QStringLiteral("Invalid Watch Item NewValue")) ||
        !Required(element, "Param1", &item.uParam1, QStringLiteral("Invalid Watch Item Param1")) ||
        !Required(element, "Param2", &item.uParam2, QStringLiteral("Invalid Watch Item Param2")))
    {
        return false;
    }
    if (!CXmlHelper::ChildText(element, "Log", &strWord))
    {
        return Fail(QStringLiteral("Bad WatchItem Log"));
    }
    item.eLog = WordIndex(kLogWords, strWord.trimmed());
    if (item.eLog < 0)
    {
        return Fail(QStringLiteral("Invalid Watch Item Log: %1").arg(strWord));
    }
    if (!Required(element, "UpdatePeriod", &item.iUpdatePeriod,
                  QStringLiteral("Invalid Watch Item UpdatePeriod")))
    {
        return false;
    }
    if (!CXmlHelper::ChildText(element, "Action", &strWord))
    {
        return Fail(QStringLiteral("Bad WatchItem Action"));
    }
    item.eAction = WordIndex(kActionWords, strWord.trimmed());
    if (item.eAction < 0)
    {
        return Fail(QStringLiteral("Invalid Watch Item Action: %1").arg(strWord));
    }
    return true;
}

bool CMapReader::ReadScripts(const CXmlElement& root)
{
    const CXmlElement events = root.firstChildElement("EventScripts");
    for (CXmlElement element = events.firstChildElement("EventScriptItem"); !element.isNull();
         element = element.nextSiblingElement("EventScriptItem"))
    {
        SEventScriptItem item;
        if (!Required(element, "EventID", &item.EventID, QStringLiteral("Bad EventID")))
        {
            return false;
        }
        item.MethodName = CXmlHelper::ChildTextOr(element, "MethodName");
        item.ScriptFile = CXmlHelper::ChildTextOr(element, "ScriptFile");
        item.Language = CXmlHelper::ChildTextOr(element, "Language");
        CXmlHelper::ChildYesNo(element, "Enabled", &item.Enabled);
        m_Doc.EventScripts.push_back(item);
    }
    const CXmlElement menus = root.firstChildElement("MenuScripts");
    for (CXmlElement element = menus.firstChildElement("MenuScriptItem"); !element.isNull();
         element = element.nextSiblingElement("MenuScriptItem"))
    {
        SMenuScriptItem item;
        item.MenuItemName = CXmlHelper::ChildTextOr(element, "MenuItemName");
        item.MethodName = CXmlHelper::ChildTextOr(element, "MethodName");
        item.ScriptFile = CXmlHelper::ChildTextOr(element, "ScriptFile");
        item.Language = CXmlHelper::ChildTextOr(element, "Language");
        m_Doc.MenuScripts.push_back(item);
    }
    return true;
}

bool CNetworkMap::ReadMapText(const QByteArray& text, CNetworkDocument& document)
{
    QByteArray buffer = text;
    CXmlHelper::SkipByteOrderMark(buffer);
    CXmlTree tree;
    if (!tree.Parse(buffer))
    {
        SetError(QStringLiteral("Error parsing file"), true);
        return false;
    }
    const CXmlElement root = tree.Root();
    if (!root.hasName("NorvantaMap") || !root.hasAttribute("Version"))
    {
        SetError(QStringLiteral("Invalid file format.  Bad or missing version identifier."), true);
        return false;
    }
    int iMajor = 0;
    int iMinor = 0;
    if (std::sscanf(root.attribute("Version").toLatin1().constData(), "%d.%d", &iMajor, &iMinor) != 2)
    {
        SetError(QStringLiteral("Invalid file format. Bad version identifier."), true);
        return false;
    }
    if (iMajor != 1 || iMinor < 0 || iMinor > 7)
    {
        SetError(QStringLiteral("Invalid file format. Unknown version."), true);
        return false;
    }
    uVersion = (static_cast<uint32_t>(iMajor) << 16) | static_cast<uint32_t>(iMinor);

    const QString strTransport =
        CXmlHelper::ChildTextOr(root.firstChildElement("NetworkInfo"), "TransportType");
    iTransportBits = strTransport.compare(QLatin1String("Large"), Qt::CaseInsensitive) == 0 ? 16 : 8;

    CMapReader reader(*this, document);
    return reader.Read(root);
}

bool CNetworkMap::LoadMap(const QString& strPath, CNetworkDocument& document, bool bEnciphered)
{
    m_strError.clear();
    m_bErrorShown = false;
    // The map is read into a document of its own, which replaces the caller's only when the whole
    // file has been read: a failure leaves an empty document, never a half-filled one.
    CNetworkDocument loaded;
    loaded.PathName = strPath;
    loaded.FileName = QFileInfo(strPath).fileName();
    bool bOk = false;
    QByteArray buffer;
    switch (ReadWholeFile(strPath, &buffer))
    {
    case EFileRead::Ok:
        bOk = true;
        break;
    case EFileRead::NotFound:
        SetError(QStringLiteral("Open failed.  File not found."), true);
        break;
    case EFileRead::OpenFailed:
        SetError(QStringLiteral("Unable to open file."), true);
        break;
    case EFileRead::TooLarge:
        SetError(QStringLiteral("Unable to allocate memory for register file."), true);
        break;
    case EFileRead::ShortRead:
        SetError(QStringLiteral("Read failed\n"), true);
        break;
    }
    if (bOk && bEnciphered && !DecipherBuffer(buffer, ECipherKey::MapFile))
    {
        SetError(QStringLiteral("Read failed\n"), true);
        bOk = false;
    }
    if (bOk && ReadMapText(buffer, loaded))
    {
        SetMapTransportBits(iTransportBits);
        loaded.SelectView(kExpandedViewID, false);
        document = std::move(loaded);
        return true;
    }
    document.New();
    return false;
}
