// The map file: what the writer prints, what the reader makes of it, and the places where the
// two differ on purpose.
#include "Cipher.h"
#include "NetworkDocument.h"
#include "NetworkMap.h"
#include "TestHelpers.h"

#include <QDir>

#include <gtest/gtest.h>

namespace
{
// A map that uses every element the writer knows.
CNetworkDocument RichDocument()
{
    CNetworkDocument document;
    auto pSwitch = std::make_unique<CPEPrimitive>();
    CPEPrimitive& sw = *pSwitch;
    sw.iNodeNumber = 0;
    sw.UniqueID = QStringLiteral("3780d");
    sw.DeviceID = 0x0378;
    sw.ManufID = 0x0038;
    sw.uType = kPETypeSwitch;
    sw.Symbol = QStringLiteral("sw-reg");
    sw.CommonName = QStringLiteral("CPS-1848");
    sw.Comment = QStringLiteral("spine switch");
    sw.ShortDestID = 0xFF;
    sw.bHasPerPortRoutingTables = true;
    sw.iNumLocalPorts = 3;
    sw.Ports[0].eType = ePortSerial;
    sw.Ports[0].InitialWidth = 4;
    sw.Ports[0].CurrentWidth = 2;
    sw.Ports[0].CurrentLane = 1;
    sw.Ports[0].OverrideWidth = 1;
    sw.Ports[0].bPoweredDown = true;
    sw.Ports[0].uSpeedMHz = 3125;
    sw.Ports[1].eType = ePortParallel;
    sw.Ports[3].eType = ePortSerial; // beyond the port count: not written
    sw.Multicast.bCapsValid = true;
    sw.Multicast.bSupportsMulticast = true;
    sw.Multicast.bSupportsPerPortAssociation = true;
    sw.Multicast.bNeedsRoutes = true;
    sw.Multicast.iMaxAssociationsPerMask = 8;
    sw.Multicast.iMaxMasks = 40;
    const int iMask = sw.Multicast.AddMask(2);
    sw.Multicast.AddDestID(iMask, 0x20);
    sw.Multicast.AddDestID(iMask, 0x21);
    sw.Multicast.AddPort(iMask, 1);
    sw.SetDefaultPort(2);
    sw.SavedRegisters.SetValue(0x6C, 0xCAFEF00D, false);
    sw.RoutingTables[1] = std::make_unique<CRoutingTable>();
    sw.RoutingTables[1]->AddEntry(4, 2, eRoutePort, 0, true);
    sw.RoutingTables[255] = std::make_unique<CRoutingTable>();
    sw.RoutingTables[255]->AddEntry(5, 0, eRoutePort, 0, false);
    document.ActivePEs.AddPrimitive(std::move(pSwitch));

    auto pHost = std::make_unique<CPEPrimitive>();
    CPEPrimitive& host = *pHost;
    host.iNodeNumber = 1;
    host.UniqueID = QStringLiteral("80ab0038");
    host.DeviceID = 0x80AB;
    host.ManufID = 0x0038;
    host.uType = kPETypeProcessor | kPETypeMemory | kPETypeBridge;
    host.Symbol = QStringLiteral("ep-mem");
    host.bUsesDestID = true;
    host.ShortDestID = 1;
    host.OrigShortDestID = 0xFE;
    host.bHasLongDestID = true;
    host.LongDestID = 0x0101;
    host.OrigLongDestID = 0xFFFE;
    host.VDID_Caps = 3;
    host.VDID_NumSecondaryIDs = 1;
    host.VDID_Impl = 2;
    host.VDID_NumShortIDs = 2;
    host.VDID_ShortIDs = {0x11, 0x12};
    host.VDID_NumLongIDs = 1;
    host.VDID_LongIDs = {0x1111, 0};
    host.iNumLocalPorts = 1;
    host.bHasHostLink = true;
    host.bHostLinkOpen = true;
    host.eConnectionType = eConnInternetUDP;
    host.uNetworkServerAddress = 0x7F000001;
    host.Multicast.bCapsValid = true; // valid, without multicast
    document.ActivePEs.AddPrimitive(std::move(pHost));

    auto pConnection = std::make_unique<CConnectionPrimitive>();
    pConnection->iNodeNumber = 0;
    pConnection->iPE1 = 0;
    pConnection->iPE1Port = 2;
    pConnection->iPE2 = 1;
    pConnection->iPE2Port = 0;
    pConnection->SetStatus(QStringLiteral("Up"));
    document.ActiveConnections.AddPrimitive(std::move(pConnection));

    CMapView& expanded = *document.Views.front();
    expanded.Desc = QStringLiteral("all of it");
    expanded.iWidth = 1500;
    expanded.iHeight = 900;
    auto pNode0 = std::make_unique<CDrawPE>();
    pNode0->uUniqueID = 1000;
    pNode0->iAssociatedPrimitive = 0;
    pNode0->Move(100, 150);
    pNode0->iBelongsToGroup = 1003;
    expanded.pNodes.Add(std::move(pNode0));
    auto pNode1 = std::make_unique<CDrawPE>();
    pNode1->uUniqueID = 1001;
    pNode1->iAssociatedPrimitive = 1;
    pNode1->bVisible = false;
    pNode1->Move(300, 150);
    expanded.pNodes.Add(std::move(pNode1));
    auto pGroup = std::make_unique<CDrawGroup>();
    pGroup->uUniqueID = 1003;
    pGroup->Label = QStringLiteral("Rack A");
    pGroup->Move(500, 500);
    expanded.pNodes.Add(std::move(pGroup));
    auto pHandle = std::make_unique<CDrawOffViewHandle>();
    pHandle->uUniqueID = 1004;
    pHandle->Label = QStringLiteral("far side");
    pHandle->Move(700, 20);
    expanded.pNodes.Add(std::move(pHandle));
    auto pEdge = std::make_unique<CDrawPEConn>();
    pEdge->uUniqueID = 1002;
    pEdge->iAssociatedPrimitive = 0;
    pEdge->eStartKind = eDrawKindPE;
    pEdge->uStartUniqueID = 1000;
    pEdge->eEndKind = eDrawKindPE;
    pEdge->uEndUniqueID = 1001;
    pEdge->Style = eEdgeCurve;
    pEdge->SetPath({QPoint(100, 150), QPoint(203, 177), QPoint(300, 150)});
    expanded.pEdges.Add(std::move(pEdge));
    auto pOffEdge = std::make_unique<CDrawOffViewConn>();
    pOffEdge->uUniqueID = 1005;
    pOffEdge->eStartKind = eDrawKindGroup;
    pOffEdge->uStartUniqueID = 1003;
    pOffEdge->eEndKind = eDrawKindOffViewHandle;
    pOffEdge->uEndUniqueID = 1004;
    pOffEdge->SetPath({QPoint(500, 500), QPoint(700, 20)});
    expanded.pEdges.Add(std::move(pOffEdge));

    auto pGrouped = std::make_unique<CMapView>(QStringLiteral("Grouped View"), kGroupedViewID);
    auto pGroupNode = std::make_unique<CDrawGroup>();
    pGroupNode->uUniqueID = 2000;
    pGroupNode->Label = QString();
    pGroupNode->Move(40, 40);
    pGrouped->pNodes.Add(std::move(pGroupNode));
    document.AddView(std::move(pGrouped));

    WatchItem item;
    item.eType = eTriggerNotBetweenInclusive;
    item.iPEID = 1;
    item.uDestID = 1;
    item.RegName = QStringLiteral("Component Tag CSR");
    item.uRegOffset = 0x6C;
    item.BFName = QStringLiteral("Component Tag");
    item.iNumBits = 32;
    item.iLSB = 31;
    item.iMSB = 0;
    item.uOldValue = 1;
    item.uNewValue = 4000000000u;
    item.uParam1 = 3;
    item.uParam2 = 9;
    item.eLog = eWatchLogTriggers;
    item.iUpdatePeriod = 3;
    item.eAction = eWatchActionHighlightPE;
    document.WatchItems.push_back(item);

    SEventScriptItem event;
    event.EventID = 4;
    event.MethodName = QStringLiteral("OnTrigger");
    event.ScriptFile = QStringLiteral("/home/u/watch.js");
    event.Language = QStringLiteral("JScript");
    event.Enabled = true;
    document.EventScripts.push_back(event);
    SMenuScriptItem menu;
    menu.MenuItemName = QStringLiteral("Reset counters");
    menu.MethodName = QStringLiteral("ResetAll");
    menu.ScriptFile = QStringLiteral("/home/u/tools.vbs");
    menu.Language = QStringLiteral("VBScript");
    document.MenuScripts.push_back(menu);
    return document;
}

QByteArray Wrap(const QByteArray& strBody, const char* pszVersion = "1.7")
{
    return QByteArray("<?xml version=\"1.0\"?>\n<NorvantaMap Version=\"") + pszVersion + "\">\n" + strBody +
           "</NorvantaMap>\n";
}

QByteArray OnePE(const QByteArray& strChildren)
{
    return Wrap("<ActiveMap><PEList><PE>" + strChildren + "</PE></PEList></ActiveMap>");
}

const QByteArray kMinimalPE =
    "<DeviceID>1</DeviceID><ManufID>2</ManufID><Type>S</Type><Symbol>sw-reg</Symbol>"
    "<NumLocalPorts>0</NumLocalPorts>";

class MapFile : public ::testing::Test
{
protected:
    void SetUp() override { SetMapTransportAccess(nullptr, nullptr); }
    void TearDown() override { SetMapTransportAccess(nullptr, nullptr); }
    CMessageRecorder m_Recorder;
};
} // namespace

TEST_F(MapFile, WriterPrintsTheHeadAndTheFixedLineForms)
{
    CNetworkDocument document = RichDocument();
    CNetworkMap map;
    const QByteArray text = map.WriteMapText(document);
    EXPECT_TRUE(text.startsWith("<?xml version=\"1.0\" encoding=\"utf-8\" ?>\n<!-- Norvanta Network Map -->\n"
                                "<NorvantaMap Version=\"1.7\" NorvantaVersion=\"4.0.000("));
    EXPECT_TRUE(
        text.contains("\t<NetworkInfo>\n\t\t<TransportType>Small</TransportType>\n\t</NetworkInfo>\n"
                      "\t<ActiveMap>\n\t\t<PEList>\n\t\t\t<PE>\n\t\t\t\t<UniqueID>3780d</UniqueID>\n"));
    EXPECT_TRUE(text.endsWith("\t</MenuScripts>\n</NorvantaMap>\n"));
    EXPECT_TRUE(text.contains("\t\t\t\t\t<Register Offset=\"0006C\">CAFEF00D</Register>\n"));
    EXPECT_TRUE(text.contains("\t\t\t\t<RoutingTable Port=\"1\">\n\t\t\t\t\t<Route DestID=\"4\" Port=\"2\" "
                              "Type=\"Port\"></Route>\n\t\t\t\t</RoutingTable>\n"));
    EXPECT_TRUE(text.contains("\t\t\t\t<NorvantaServerAddress>7f000001</NorvantaServerAddress>\n"));
    EXPECT_TRUE(text.contains("\t\t\t\t<ConnectionType>InternetUDP</ConnectionType>\n"));
    EXPECT_TRUE(text.contains("\t\t\t\t<PE1 Port=\"2\">0</PE1>\n"));
    EXPECT_TRUE(text.contains("\t\t\t\t\t\t<Speed Units=\"MHz\">3125</Speed>\n"));
    EXPECT_TRUE(text.contains("<MaxAssocationsPerMask>8</MaxAssocationsPerMask>"));
    EXPECT_TRUE(text.contains("\t\t<WatchItem>\n\t\t\t<Type>NotBetweenInclusive</Type>\n"));
    EXPECT_TRUE(text.contains("<Type>PBM</Type>"));
    EXPECT_FALSE(text.contains("<TemplateMap>"));
    // A port that is not serial writes its type alone; ports past the count aren't written.
    EXPECT_TRUE(text.contains("<PortInfo>\n\t\t\t\t\t\t<Type>Parallel</Type>\n\t\t\t\t\t</PortInfo>"));
    EXPECT_EQ(text.count("<PortInfo>"), 4);
    // The off-view handle's label is written although it is never read; an empty one isn't.
    EXPECT_TRUE(text.contains("\t\t\t\t\t\t<Label>far side</Label>\n"));
    EXPECT_EQ(text.count("<Label>"), 2);
    EXPECT_FALSE(text.contains("<BelongsToGroup>-1"));
}

TEST_F(MapFile, RoundTripKeepsEveryElement)
{
    CNetworkDocument original = RichDocument();
    original.CopyActiveToTemplate();
    original.TemplatePEs.GetByIndex(0)->Comment = QStringLiteral("as planned");
    SetMapTransportAccess([] { return 16; }, nullptr);
    CNetworkMap writer;
    const QByteArray text = writer.WriteMapText(original);
    EXPECT_TRUE(text.contains("<TransportType>Large</TransportType>"));
    EXPECT_TRUE(text.contains("<TemplateMap>"));

    int iBitsSet = 0;
    SetMapTransportAccess(nullptr, [&](int iBits) { iBitsSet = iBits; });
    CScratchDir dir;
    const QString strPath = dir.Write(QStringLiteral("rich.nvm"), text);
    CNetworkDocument document;
    CNetworkMap reader;
    ASSERT_TRUE(reader.LoadMap(strPath, document, false)) << reader.LastError().toStdString();
    EXPECT_EQ(iBitsSet, 16);
    EXPECT_EQ(reader.iTransportBits, 16);
    EXPECT_EQ(reader.uVersion, 0x00010007u);
    EXPECT_EQ(document.PathName, strPath);
    EXPECT_EQ(document.FileName, QStringLiteral("rich.nvm"));
    EXPECT_TRUE(m_Recorder.Messages.isEmpty());

    ASSERT_EQ(document.ActivePEs.GetCount(), 2);
    const CPEPrimitive& sw = *document.ActivePEs.GetByIndex(0);
    EXPECT_EQ(sw.UniqueID, QStringLiteral("3780d"));
    EXPECT_EQ(sw.DeviceID, 0x0378);
    EXPECT_EQ(sw.ManufID, 0x0038);
    EXPECT_EQ(sw.uType, kPETypeSwitch);
    EXPECT_EQ(sw.Symbol, QStringLiteral("sw-reg"));
    EXPECT_EQ(sw.CommonName, QStringLiteral("CPS-1848"));
    EXPECT_EQ(sw.Comment, QStringLiteral("spine switch"));
    EXPECT_FALSE(sw.bUsesDestID);
    EXPECT_TRUE(sw.bHasPerPortRoutingTables);
    EXPECT_TRUE(sw.bLargeTransport);
    EXPECT_EQ(sw.ShortDestID, 0xFF);
    EXPECT_FALSE(sw.bHasLongDestID);
    EXPECT_EQ(sw.LongDestID, 0xFFFF);
    EXPECT_EQ(sw.iNumLocalPorts, 3);
    EXPECT_EQ(sw.Ports[0].eType, ePortSerial);
    EXPECT_EQ(sw.Ports[0].InitialWidth, 4);
    EXPECT_EQ(sw.Ports[0].CurrentWidth, 2);
    EXPECT_EQ(sw.Ports[0].CurrentLane, 1);
    EXPECT_EQ(sw.Ports[0].OverrideWidth, 1);
    EXPECT_TRUE(sw.Ports[0].bPoweredDown);
    EXPECT_EQ(sw.Ports[0].uSpeedMHz, 3125u);
    EXPECT_EQ(sw.Ports[1].eType, ePortParallel);
    EXPECT_EQ(sw.Ports[2].eType, ePortUnknown);
    EXPECT_EQ(sw.Ports[2].InitialWidth, 0xFF);
    EXPECT_EQ(sw.Ports[3].eType, ePortUnknown);
    EXPECT_TRUE(sw.Multicast.bCapsValid);
    EXPECT_TRUE(sw.Multicast.bSupportsMulticast);
    EXPECT_TRUE(sw.Multicast.bSupportsPerPortAssociation);
    EXPECT_FALSE(sw.Multicast.bSupportsSimpleAssociation);
    EXPECT_TRUE(sw.Multicast.bNeedsRoutes);
    EXPECT_EQ(sw.Multicast.iMaxAssociationsPerMask, 8);
    EXPECT_EQ(sw.Multicast.iMaxMasks, 40);
    ASSERT_EQ(sw.Multicast.GetNumMasks(), 1);
    EXPECT_EQ(sw.Multicast.GetMask(0)->MaskID, 2);
    EXPECT_EQ(sw.Multicast.GetMask(0)->DestIDs, (std::vector<uint16_t>{0x20, 0x21}));
    EXPECT_EQ(sw.Multicast.GetMask(0)->Ports, (std::vector<uint8_t>{1}));
    EXPECT_TRUE(sw.HasDefaultPort());
    EXPECT_EQ(sw.GetDefaultPort(), 2);
    ASSERT_NE(sw.SavedRegisters.Find(0x6C), nullptr);
    EXPECT_EQ(sw.SavedRegisters.Find(0x6C)->uValue, 0xCAFEF00Du);
    EXPECT_TRUE(sw.SavedRegisters.Find(0x6C)->bFlag);
    ASSERT_NE(sw.RoutingTables[1], nullptr);
    EXPECT_EQ(sw.RoutingTables[1]->GetEntry(0).DestID, 4);
    EXPECT_EQ(sw.RoutingTables[1]->GetEntry(0).Port, 2);
    EXPECT_FALSE(sw.RoutingTables[1]->bModified);
    ASSERT_NE(sw.RoutingTables[255], nullptr);
    EXPECT_EQ(sw.RoutingTables[0], nullptr);

    const CPEPrimitive& host = *document.ActivePEs.GetByIndex(1);
    EXPECT_EQ(host.uType, kPETypeProcessor | kPETypeMemory | kPETypeBridge);
    EXPECT_TRUE(host.bUsesDestID);
    EXPECT_FALSE(host.bHasPerPortRoutingTables);
    EXPECT_EQ(host.OrigShortDestID, 0xFE);
    EXPECT_TRUE(host.bHasLongDestID);
    EXPECT_EQ(host.LongDestID, 0x0101);
    EXPECT_EQ(host.OrigLongDestID, 0xFFFE);
    EXPECT_EQ(host.VDID_Caps, 3);
    EXPECT_EQ(host.VDID_NumSecondaryIDs, 1);
    EXPECT_EQ(host.VDID_Impl, 2);
    EXPECT_EQ(host.VDID_NumShortIDs, 2);
    EXPECT_EQ(host.VDID_ShortIDs[1], 0x12);
    EXPECT_EQ(host.VDID_NumLongIDs, 1);
    EXPECT_EQ(host.VDID_LongIDs[0], 0x1111);
    EXPECT_TRUE(host.bHasHostLink);
    EXPECT_FALSE(host.bHostLinkOpen); // never saved
    EXPECT_EQ(host.eConnectionType, eConnInternetUDP);
    EXPECT_EQ(host.uNetworkServerAddress, 0x7F000001u);
    EXPECT_TRUE(host.Multicast.bCapsValid);
    EXPECT_FALSE(host.Multicast.bSupportsMulticast);
    EXPECT_FALSE(host.HasDefaultPort());

    ASSERT_EQ(document.ActiveConnections.GetCount(), 1);
    const CConnectionPrimitive& connection = *document.ActiveConnections.GetByIndex(0);
    EXPECT_EQ(connection.iPE1Port, 2);
    EXPECT_EQ(connection.iPE2, 1);
    EXPECT_EQ(connection.eStatus, eConnectionUp);
    EXPECT_EQ(connection.uPE1Type, kPETypeSwitch);
    EXPECT_EQ(connection.uPE2Type, host.uType);

    ASSERT_EQ(document.Views.size(), 2u);
    const CMapView& expanded = *document.Views[0];
    EXPECT_EQ(expanded.Desc, QStringLiteral("all of it"));
    EXPECT_EQ(expanded.iWidth, 1500);
    EXPECT_EQ(expanded.iTemplateHeight, 900);
    ASSERT_EQ(expanded.pNodes.GetCount(), 4);
    const auto* pNode0 = static_cast<const CDrawPE*>(expanded.pNodes.GetAt(0));
    EXPECT_EQ(pNode0->uUniqueID, 1000u);
    EXPECT_EQ(pNode0->iBelongsToGroup, 1003);
    EXPECT_EQ(pNode0->iXPos, 100);
    EXPECT_EQ(pNode0->iYPos, 150);
    EXPECT_FALSE(expanded.pNodes.GetAt(1)->bVisible);
    EXPECT_EQ(expanded.pNodes.GetAt(1)->iAssociatedPrimitive, 1);
    ASSERT_EQ(expanded.pNodes.GetAt(2)->eKind, eDrawKindGroup);
    EXPECT_EQ(static_cast<const CDrawGroup*>(expanded.pNodes.GetAt(2))->Label, QStringLiteral("Rack A"));
    ASSERT_EQ(expanded.pNodes.GetAt(3)->eKind, eDrawKindOffViewHandle);
    EXPECT_TRUE(static_cast<const CDrawOffViewHandle*>(expanded.pNodes.GetAt(3))->Label.isEmpty());
    ASSERT_EQ(expanded.pEdges.GetCount(), 2);
    const auto* pEdge = static_cast<const CDrawEdge*>(expanded.pEdges.GetAt(0));
    EXPECT_EQ(pEdge->eEdgeType, eEdgePEConn);
    EXPECT_EQ(pEdge->Style, eEdgeCurve);
    EXPECT_EQ(pEdge->uEndUniqueID, 1001u);
    EXPECT_EQ(pEdge->GetPath(), (std::vector<QPoint>{QPoint(100, 150), QPoint(203, 177), QPoint(300, 150)}));
    const auto* pOffEdge = static_cast<const CDrawEdge*>(expanded.pEdges.GetAt(1));
    EXPECT_EQ(pOffEdge->eEdgeType, eEdgeOffViewConn);
    EXPECT_EQ(pOffEdge->eStartKind, eDrawKindGroup);
    EXPECT_EQ(pOffEdge->eEndKind, eDrawKindOffViewHandle);
    // A group without a label reads as "Group".
    EXPECT_EQ(static_cast<const CDrawGroup*>(document.Views[1]->pNodes.GetAt(0))->Label,
              QStringLiteral("Group"));

    EXPECT_EQ(document.TemplatePEs.GetCount(), 2);
    EXPECT_EQ(document.TemplatePEs.GetByIndex(0)->Comment, QStringLiteral("as planned"));
    EXPECT_EQ(expanded.pTemplateEdges.GetCount(), 2);

    ASSERT_EQ(document.WatchItems.size(), 1u);
    const WatchItem& item = document.WatchItems[0];
    const WatchItem& expected = original.WatchItems[0];
    EXPECT_EQ(item.eType, expected.eType);
    EXPECT_EQ(item.iPEID, expected.iPEID);
    EXPECT_EQ(item.uDestID, expected.uDestID);
    EXPECT_EQ(item.RegName, expected.RegName);
    EXPECT_EQ(item.uRegOffset, expected.uRegOffset);
    EXPECT_EQ(item.BFName, expected.BFName);
    EXPECT_EQ(item.uNewValue, expected.uNewValue);
    EXPECT_EQ(item.uParam2, expected.uParam2);
    EXPECT_EQ(item.eLog, expected.eLog);
    EXPECT_EQ(item.iUpdatePeriod, 3);
    EXPECT_EQ(item.eAction, eWatchActionHighlightPE);
    ASSERT_EQ(document.EventScripts.size(), 1u);
    EXPECT_EQ(document.EventScripts[0].EventID, 4u);
    EXPECT_TRUE(document.EventScripts[0].Enabled);
    EXPECT_EQ(document.EventScripts[0].ScriptFile, QStringLiteral("/home/u/watch.js"));
    ASSERT_EQ(document.MenuScripts.size(), 1u);
    EXPECT_EQ(document.MenuScripts[0].MenuItemName, QStringLiteral("Reset counters"));
    EXPECT_EQ(document.MenuScripts[0].Language, QStringLiteral("VBScript"));

    EXPECT_EQ(document.iCurrentViewID, kExpandedViewID);
    EXPECT_FALSE(document.bShowTemplate);

    // Written again, apart from the two labels the reader drops or fills in, the map gives the
    // same text.
    static_cast<CDrawOffViewHandle*>(document.Views[0]->pNodes.GetAt(3))->Label = QStringLiteral("far side");
    static_cast<CDrawOffViewHandle*>(document.Views[0]->pTemplateNodes.GetAt(3))->Label =
        QStringLiteral("far side");
    static_cast<CDrawGroup*>(document.Views[1]->pNodes.GetAt(0))->Label.clear();
    static_cast<CDrawGroup*>(document.Views[1]->pTemplateNodes.GetAt(0))->Label.clear();
    SetMapTransportAccess([] { return 16; }, nullptr);
    CNetworkMap rewriter;
    EXPECT_EQ(rewriter.WriteMapText(document), text);
}

// Every text a person types (names, comments, labels, view descriptions, script entries) may hold
// "<", "&" and ">"; the file must still open and give them back as typed.
TEST_F(MapFile, TypedTextsWithMarkupCharactersReadBackAsTyped)
{
    CNetworkDocument original = RichDocument();
    CPEPrimitive& sw = *original.ActivePEs.GetByIndex(0);
    sw.Comment = QStringLiteral("spine <A&B> </Comment> & more");
    sw.CommonName = QStringLiteral("CPS-1848 <rev C>");
    sw.Symbol = QStringLiteral("sw&reg");
    CMapView& expanded = *original.Views.front();
    expanded.Desc = QStringLiteral("x < y && y > z");
    expanded.Name = QStringLiteral("Lab <1>");
    static_cast<CDrawGroup*>(expanded.pNodes.GetAt(2))->Label = QStringLiteral("Rack <A> & B");
    original.WatchItems[0].RegName = QStringLiteral("Port 0 <Error> & Status");
    original.WatchItems[0].BFName = QStringLiteral("<All>");
    original.EventScripts[0].ScriptFile = QStringLiteral("/home/u/a&b<c>.js");
    original.EventScripts[0].MethodName = QStringLiteral("On<Trigger>");
    original.MenuScripts[0].MenuItemName = QStringLiteral("Reset <all> & go");

    SetMapTransportAccess([] { return 16; }, nullptr);
    CNetworkMap writer;
    const QByteArray text = writer.WriteMapText(original);
    EXPECT_TRUE(text.contains("<BFName>&lt;All&gt;</BFName>"));
    EXPECT_FALSE(text.contains("</Comment> & more")); // the typed end tag is not markup
    CScratchDir dir;
    const QString strPath = dir.Write(QStringLiteral("typed.nvm"), text);
    CNetworkDocument document;
    CNetworkMap reader;
    ASSERT_TRUE(reader.LoadMap(strPath, document, false)) << reader.LastError().toStdString();

    const CPEPrimitive& back = *document.ActivePEs.GetByIndex(0);
    EXPECT_EQ(back.Comment, sw.Comment);
    EXPECT_EQ(back.CommonName, sw.CommonName);
    EXPECT_EQ(back.Symbol, sw.Symbol);
    EXPECT_EQ(document.Views.front()->Desc, expanded.Desc);
    EXPECT_EQ(document.Views.front()->Name, expanded.Name);
    EXPECT_EQ(static_cast<const CDrawGroup*>(document.Views.front()->pNodes.GetAt(2))->Label,
              QStringLiteral("Rack <A> & B"));
    ASSERT_EQ(document.WatchItems.size(), 1u);
    EXPECT_EQ(document.WatchItems[0].RegName, original.WatchItems[0].RegName);
    EXPECT_EQ(document.WatchItems[0].BFName, QStringLiteral("<All>"));
    ASSERT_EQ(document.EventScripts.size(), 1u);
    EXPECT_EQ(document.EventScripts[0].ScriptFile, original.EventScripts[0].ScriptFile);
    EXPECT_EQ(document.EventScripts[0].MethodName, original.EventScripts[0].MethodName);
    ASSERT_EQ(document.MenuScripts.size(), 1u);
    EXPECT_EQ(document.MenuScripts[0].MenuItemName, original.MenuScripts[0].MenuItemName);
    // Saved again, the map gives the same text: nothing is escaped twice.
    CNetworkMap rewriter;
    const QByteArray again = rewriter.WriteMapText(document);
    EXPECT_TRUE(again.contains("<Comment>spine &lt;A&amp;B&gt; &lt;/Comment&gt; &amp; more</Comment>"));
    EXPECT_FALSE(again.contains("&amp;lt;"));
}

TEST_F(MapFile, WriterAndReaderDifferWhereFilesInTheFieldDo)
{
    // A multicast destination ID is written without the closing bracket: the file can't be read.
    CNetworkDocument document = RichDocument();
    document.ActivePEs.GetByIndex(1)->ShortMCastDestID[1] = 0x80000000u | 0x33;
    CNetworkMap map;
    const QByteArray text = map.WriteMapText(document);
    EXPECT_TRUE(text.contains("\t\t\t\t<ShortMCastDestID ID=\"51\" Index=\"1\"</ShortMCastDestID>\n"));
    CNetworkDocument reread;
    EXPECT_FALSE(map.ReadMapText(text, reread));
    EXPECT_EQ(m_Recorder.Messages, QStringList{QStringLiteral("Error parsing file")});

    // Files in the field may hold a raw "<" in a comment; the reader refuses them. This writer
    // escapes it, so its own files read back.
    m_Recorder.Messages.clear();
    EXPECT_FALSE(map.ReadMapText(OnePE(kMinimalPE + "<Comment>ports <4</Comment>"), reread));
    EXPECT_EQ(m_Recorder.Messages, QStringList{QStringLiteral("Error parsing file")});
    CNetworkDocument named = RichDocument();
    named.ActivePEs.GetByIndex(0)->Comment = QStringLiteral("ports <4");
    EXPECT_TRUE(map.WriteMapText(named).contains("<Comment>ports &lt;4</Comment>"));

    // Well-formed by hand, such a slot is read.
    CNetworkDocument handMade;
    ASSERT_TRUE(map.ReadMapText(OnePE(kMinimalPE + "<LongMCastDestID ID=\"70\" Index=\"0\"/>"
                                                   "<LongMCastDestID ID=\"71\" Index=\"2\"/>"),
                                handMade));
    EXPECT_EQ(handMade.ActivePEs.GetByIndex(0)->LongMCastDestID[0], 0x80000046u);
    EXPECT_EQ(handMade.ActivePEs.GetByIndex(0)->LongMCastDestID[1], 0u);
}

TEST_F(MapFile, RouteTypesComeBackAsNumbersOnly)
{
    CNetworkDocument document = RichDocument();
    CRoutingTable& table = *document.ActivePEs.GetByIndex(0)->RoutingTables[1];
    table.AddEntry(7, 3, eRouteMulticast, 0, false);
    table.AddEntry(8, 1, eRouteSpecial, 6, false);
    CNetworkMap map;
    const QByteArray text = map.WriteMapText(document);
    EXPECT_TRUE(text.contains("<Route DestID=\"7\" Port=\"3\" Type=\"Multicast\"></Route>"));
    EXPECT_TRUE(text.contains(
        "\t\t\t\t\t<Route DestID=\"8\" Port=\"1\" Type=\"Special\" SpecialType=\"6\"></Route>\n"));
    CNetworkDocument reread;
    ASSERT_TRUE(map.ReadMapText(text, reread));
    const CRoutingTable& back = *reread.ActivePEs.GetByIndex(0)->RoutingTables[1];
    ASSERT_EQ(back.GetNumEntries(), 3);
    for (const SRouteEntry& entry : back.Entries())
    {
        EXPECT_EQ(entry.eType, eRoutePort);
    }

    const QByteArray numbers =
        OnePE(kMinimalPE + "<RoutingTable Port=\"0\"><Route DestID=\"1\" Port=\"2\" Type=\"1\"/>"
                           "<Route DestID=\"2\" Port=\"3\" Type=\"2\" SpecialType=\"9\"/>"
                           "<Route DestID=\"x\" Port=\"3\"/></RoutingTable>"
                           "<RoutingTable Port=\"256\"><Route DestID=\"1\" Port=\"2\"/>"
                           "</RoutingTable>");
    CNetworkDocument typed;
    ASSERT_TRUE(map.ReadMapText(numbers, typed));
    const CPEPrimitive& pe = *typed.ActivePEs.GetByIndex(0);
    ASSERT_NE(pe.RoutingTables[0], nullptr);
    ASSERT_EQ(pe.RoutingTables[0]->GetNumEntries(), 2);
    EXPECT_EQ(pe.RoutingTables[0]->GetEntry(0).eType, eRouteMulticast);
    EXPECT_EQ(pe.RoutingTables[0]->GetEntry(1).eType, eRouteSpecial);
    EXPECT_EQ(pe.RoutingTables[0]->GetEntry(1).uSpecialType, 2u);
}

TEST_F(MapFile, IORegistersAreWrittenInAFormTheReaderSkips)
{
    CNetworkDocument document = RichDocument();
    document.ActivePEs.GetByIndex(0)->SavedRegisters.SetIOValue(0x1122334455667788ull, 0xAABBCCDD00112233ull,
                                                                7, false);
    CNetworkMap map;
    const QByteArray text = map.WriteMapText(document);
    EXPECT_TRUE(text.contains("<Register MemSpace=\"IO\" LocalAddr=\"55667788\" RIOAddr=\"11223344\">00112233"
                              "</Register>"));
    CNetworkDocument reread;
    ASSERT_TRUE(map.ReadMapText(text, reread));
    EXPECT_EQ(reread.ActivePEs.GetByIndex(0)->SavedRegisters.GetCount(), 1);

    // The form the reader asks for: a "0x" address and a child element.
    CNetworkDocument handMade;
    ASSERT_TRUE(map.ReadMapText(OnePE(kMinimalPE + "<Registers><Register MemSpace=\"IO\" LocalAddr=\"0x10\">"
                                                   "12<RIO_Addr>0x20</RIO_Addr></Register>"
                                                   "<Register Offset=\"zz\">1</Register>"
                                                   "<Register Offset=\"60\">not hex</Register></Registers>"),
                                handMade));
    const CRegisterValueList& values = handMade.ActivePEs.GetByIndex(0)->SavedRegisters;
    ASSERT_EQ(values.GetCount(), 1);
    EXPECT_TRUE(values.GetAt(0).bMemSpaceIO);
    EXPECT_EQ(values.GetAt(0).uLocalAddr, 0x10u);
    EXPECT_EQ(values.GetAt(0).uRIOAddr, 0x20u);
}

TEST_F(MapFile, ReaderDefaultsForAbsentElements)
{
    CNetworkMap map;
    CNetworkDocument document;
    const QByteArray text =
        Wrap("<ActiveMap><PEList>"
             "<PE><DeviceID>1</DeviceID><ManufID>2</ManufID><Type>S</Type><Symbol>s</Symbol>"
             "<NumLocalPorts>2</NumLocalPorts><DestID>12</DestID>"
             "<PortInfoList><PortInfo><Type>Serial</Type></PortInfo><PortInfo><Type>Serial</Type>"
             "</PortInfo><PortInfo><Type>Serial</Type><CurrentWidth>4</CurrentWidth></PortInfo>"
             "</PortInfoList></PE>"
             "<PE><DeviceID>0x564</DeviceID><ManufID>13</ManufID><Type>PM</Type><Symbol>s</Symbol>"
             "<NumLocalPorts>0</NumLocalPorts><VDID_NumShortIDs>2</VDID_NumShortIDs>"
             "<VDID_ShortID_0>5</VDID_ShortID_0><LongDestID>300</LongDestID></PE>"
             "<PE><DeviceID>1</DeviceID><ManufID>2</ManufID><Type>Unknown</Type><Symbol>s</Symbol>"
             "<NumLocalPorts>0</NumLocalPorts><ConnectionType>Pigeon</ConnectionType>"
             "<NorvantaServerAddress>7f000001</NorvantaServerAddress></PE>"
             "</PEList></ActiveMap>");
    ASSERT_TRUE(map.ReadMapText(text, document)) << map.LastError().toStdString();
    const CPEPrimitive& sw = *document.ActivePEs.GetByIndex(0);
    EXPECT_FALSE(sw.bUsesDestID);
    EXPECT_FALSE(sw.bHasPerPortRoutingTables);
    EXPECT_EQ(sw.ShortDestID, 12);
    EXPECT_EQ(sw.OrigShortDestID, 0xFFFF);
    EXPECT_FALSE(sw.bHasLongDestID);
    EXPECT_EQ(sw.UniqueID, QString());
    EXPECT_EQ(sw.Comment, QString());
    EXPECT_FALSE(sw.HasDefaultPort());
    EXPECT_FALSE(sw.Multicast.bCapsValid);
    EXPECT_EQ(sw.Ports[1].eType, ePortSerial);
    EXPECT_EQ(sw.Ports[1].CurrentWidth, 0xFF);
    EXPECT_EQ(sw.Ports[2].eType, ePortUnknown); // a surplus PortInfo is ignored

    const CPEPrimitive& bridge = *document.ActivePEs.GetByIndex(1);
    EXPECT_EQ(bridge.DeviceID, 0x564);
    EXPECT_TRUE(bridge.bUsesDestID);
    EXPECT_TRUE(bridge.bHasPerPortRoutingTables);
    EXPECT_EQ(bridge.ShortDestID, 0xFFFF);
    EXPECT_EQ(bridge.VDID_NumShortIDs, 1); // cut down to the last one found
    EXPECT_EQ(bridge.VDID_ShortIDs[0], 5);
    EXPECT_TRUE(bridge.bHasLongDestID);
    EXPECT_EQ(bridge.LongDestID, 300);
    EXPECT_EQ(bridge.OrigLongDestID, 0xFFFF);

    const CPEPrimitive& unknown = *document.ActivePEs.GetByIndex(2);
    EXPECT_EQ(unknown.uType, kPETypeUnknown);
    EXPECT_FALSE(unknown.bHasHostLink);
    EXPECT_TRUE(document.WatchItems.empty());
    EXPECT_TRUE(m_Recorder.Messages.isEmpty());
}

TEST_F(MapFile, DeletedRecordsDropOutButKeepTheirNumbers)
{
    CNetworkDocument document = RichDocument();
    auto pExtra = std::make_unique<CPEPrimitive>(*document.ActivePEs.GetByIndex(1));
    pExtra->iNodeNumber = 2;
    pExtra->UniqueID = QStringLiteral("third");
    document.ActivePEs.AddPrimitive(std::move(pExtra));
    document.ActivePEs.GetByIndex(1)->bDeleted = true;
    auto pGone = std::make_unique<CConnectionPrimitive>(*document.ActiveConnections.GetByIndex(0));
    pGone->bDeleted = true;
    document.ActiveConnections.AddPrimitive(std::move(pGone));

    CNetworkMap map;
    const QByteArray text = map.WriteMapText(document);
    EXPECT_EQ(text.count("<Deleted>Yes</Deleted>"), 2);
    CNetworkDocument reread;
    ASSERT_TRUE(map.ReadMapText(text, reread));
    ASSERT_EQ(reread.ActivePEs.GetCount(), 2);
    EXPECT_EQ(reread.ActivePEs.GetByIndex(1)->UniqueID, QStringLiteral("third"));
    EXPECT_EQ(reread.ActivePEs.GetByIndex(1)->iNodeNumber, 2);
    EXPECT_EQ(reread.ActiveConnections.GetCount(), 1);
    // The surviving connection names node 1, which now resolves by position to node 2.
    EXPECT_EQ(reread.ActiveConnections.GetByIndex(0)->uPE2Type, reread.ActivePEs.GetByIndex(1)->uType);

    // A connection to a position past the PEs read fails the load.
    const QByteArray broken =
        Wrap("<ActiveMap><PEList><PE>" + kMinimalPE +
             "</PE><PE><Deleted>Yes</Deleted></PE></PEList><ConnectionList><Connection>"
             "<PE1 Port=\"0\">1</PE1><PE2 Port=\"0\">0</PE2><Status>Up</Status></Connection>"
             "</ConnectionList></ActiveMap>");
    CNetworkDocument failed;
    EXPECT_FALSE(map.ReadMapText(broken, failed));
    EXPECT_EQ(m_Recorder.Messages.last(),
              QStringLiteral("File is corrupt. Connection to non-existent PE found."));
}

TEST_F(MapFile, ViewPositionsSnapToTheGridAndHandlesLoseTheirLabels)
{
    const QByteArray text = Wrap(
        "<ActiveMap><PEList><PE>" + kMinimalPE +
        "</PE></PEList><ViewList><View><ViewWidth>800</ViewWidth><ViewHeight>600</ViewHeight>"
        "<ViewName>Expanded View</ViewName><ViewDesc></ViewDesc><ViewID>-1</ViewID><NodeList>"
        "<Node><UniqueID>1</UniqueID><Type>PE</Type><Visible>Yes</Visible><AssociatedNetworkPrimitive>0"
        "</AssociatedNetworkPrimitive><XPos>127</XPos><YPos>-15</YPos></Node>"
        "<Node><UniqueID>2</UniqueID><Type>OVH</Type><Label>away</Label><XPos>5</XPos><YPos>9</YPos></Node>"
        "</NodeList><EdgeList><Edge><UniqueID>3</UniqueID><StartNodeType>PE</"
        "StartNodeType><StartNodeUniqueID>1"
        "</StartNodeUniqueID><EndNodeType>Star</EndNodeType><EndNodeUniqueID>2</"
        "EndNodeUniqueID><EdgeType>OVHConn"
        "</EdgeType><Visible>No</Visible><AssociatedNetworkPrimitive>0</AssociatedNetworkPrimitive>"
        "<PathPoints Style=\"Loopback\"><Point X=\"13\" Y=\"17\"/><Point X=\"55\" Y=\"57\"/><Point X=\"99\" "
        "Y=\"91\"/>"
        "</PathPoints></Edge></EdgeList></View></ViewList></ActiveMap>");
    CNetworkMap map;
    CNetworkDocument document;
    ASSERT_TRUE(map.ReadMapText(text, document)) << map.LastError().toStdString();
    const CMapView& view = *document.Views[0];
    EXPECT_EQ(view.iWidth, 800);
    EXPECT_EQ(view.pNodes.GetAt(0)->iXPos, 120);
    EXPECT_EQ(view.pNodes.GetAt(0)->iYPos, -10);
    const auto* pHandle = static_cast<const CDrawOffViewHandle*>(view.pNodes.GetAt(1));
    EXPECT_TRUE(pHandle->Label.isEmpty());
    EXPECT_TRUE(pHandle->bVisible);
    EXPECT_EQ(pHandle->iXPos, 0);
    const auto* pEdge = static_cast<const CDrawEdge*>(view.pEdges.GetAt(0));
    EXPECT_EQ(pEdge->eEndKind, eDrawKindNone);
    EXPECT_FALSE(pEdge->bVisible);
    EXPECT_EQ(pEdge->Style, eEdgeLoopback);
    EXPECT_EQ(pEdge->GetPath(), (std::vector<QPoint>{QPoint(10, 10), QPoint(55, 57), QPoint(90, 90)}));
}

TEST_F(MapFile, TemplateWithoutViewsLeavesTheTemplateListsEmpty)
{
    const QByteArray text =
        Wrap("<ActiveMap><PEList><PE>" + kMinimalPE +
             "</PE></PEList><ViewList><View><ViewWidth>1</ViewWidth><ViewHeight>2</ViewHeight>"
             "<ViewName>Mine</ViewName><ViewDesc/><ViewID>7</ViewID><NodeList><Node><UniqueID>1"
             "</UniqueID><Type>PE</Type><Visible>Yes</Visible><AssociatedNetworkPrimitive>0"
             "</AssociatedNetworkPrimitive><XPos>0</XPos><YPos>0</YPos></Node></NodeList>"
             "</View></ViewList></ActiveMap>"
             "<TemplateMap><PEList><PE>" +
             kMinimalPE + "</PE></PEList><ViewList/></TemplateMap>");
    CNetworkMap map;
    CNetworkDocument document;
    ASSERT_TRUE(map.ReadMapText(text, document)) << map.LastError().toStdString();
    EXPECT_EQ(document.TemplatePEs.GetCount(), 1);
    ASSERT_EQ(document.Views.size(), 2u);
    for (const auto& pView : document.Views)
    {
        EXPECT_TRUE(pView->pTemplateNodes.IsEmpty());
        EXPECT_TRUE(pView->pTemplateEdges.IsEmpty());
    }
    EXPECT_EQ(document.Views[1]->pNodes.GetCount(), 1);
}

TEST_F(MapFile, RefusesBrokenFilesWithTheirMessages)
{
    const QByteArray kView = "<ViewWidth>1</ViewWidth><ViewHeight>1</ViewHeight><ViewName>v</ViewName>"
                             "<ViewDesc/><ViewID>3</ViewID>";
    const QByteArray kWatch = "<Type>Change</Type><PEID>0</PEID><DestID>1</DestID><RegName>r</RegName>"
                              "<RegOffset>4</RegOffset><BFName>b</BFName><NumBits>32</NumBits><LSB>31</LSB>"
                              "<MSB>0</MSB><OldValue>0</OldValue><NewValue>0</NewValue><Param1>0</Param1>"
                              "<Param2>0</Param2><Log>all</Log><UpdatePeriod>5</UpdatePeriod>";
    const struct
    {
        QByteArray text;
        const char* pszMessage;
    } cases[] = {
        {"<NorvantaMap Version=\"1.7\"><ActiveMap>", "Error parsing file"},
        {"", "Error parsing file"},
        {"<NorvantaMap/>", "Invalid file format.  Bad or missing version identifier."},
        {"<OtherMap Version=\"1.7\"/>", "Invalid file format.  Bad or missing version identifier."},
        {Wrap("", "1"), "Invalid file format. Bad version identifier."},
        {Wrap("", "1.8"), "Invalid file format. Unknown version."},
        {Wrap("", "0.9"), "Invalid file format. Unknown version."},
        {Wrap("", "2.0"), "Invalid file format. Unknown version."},
        {OnePE("<ManufID>2</ManufID>"), "Bad DeviceID"},
        {OnePE("<DeviceID>65536</DeviceID><ManufID>2</ManufID>"), "Bad DeviceID"},
        {OnePE("<DeviceID>1</DeviceID><ManufID>0xZ</ManufID>"), "Bad ManufID"},
        {OnePE("<DeviceID>1</DeviceID><ManufID>2</ManufID>"), "Bad Type"},
        {OnePE("<DeviceID>1</DeviceID><ManufID>2</ManufID><Type>S</Type>"), "Bad Symbol"},
        {OnePE("<DeviceID>1</DeviceID><ManufID>2</ManufID><Type>S</Type><Symbol>s</Symbol>"),
         "Bad NumLocalPorts"},
        {OnePE("<DeviceID>1</DeviceID><ManufID>2</ManufID><Type>S</Type><Symbol>s</Symbol>"
               "<NumLocalPorts>100000</NumLocalPorts>"),
         "Bad NumLocalPorts"},
        {OnePE(kMinimalPE + "<ShortDestID>-1</ShortDestID>"), "Bad ShortDestID"},
        {Wrap("<ActiveMap><PEList><PE>" + kMinimalPE +
              "</PE></PEList><ConnectionList><Connection>"
              "<PE2 Port=\"0\">0</PE2><Status>Up</Status></Connection></ConnectionList></ActiveMap>"),
         "Bad PE1"},
        {Wrap(
             "<ActiveMap><PEList><PE>" + kMinimalPE +
             "</PE></PEList><ConnectionList><Connection>"
             "<PE1 Port=\"a\">0</PE1><PE2 Port=\"0\">0</PE2><Status>Up</Status></Connection></ConnectionList>"
             "</ActiveMap>"),
         "Bad Port attribute"},
        {Wrap(
             "<ActiveMap><PEList><PE>" + kMinimalPE +
             "</PE></PEList><ConnectionList><Connection>"
             "<PE1 Port=\"1\">0</PE1><PE2 Port=\"0\">x</PE2><Status>Up</Status></Connection></ConnectionList>"
             "</ActiveMap>"),
         "Bad PE2 ID"},
        {Wrap("<ActiveMap><PEList><PE>" + kMinimalPE +
              "</PE></PEList><ConnectionList><Connection>"
              "<PE1 Port=\"1\">0</PE1><PE2 Port=\"0\">0</PE2></Connection></ConnectionList></ActiveMap>"),
         "Bad Status"},
        {Wrap("<ActiveMap><ViewList><View><ViewHeight>1</ViewHeight></View></ViewList></ActiveMap>"),
         "Bad ViewWidth"},
        {Wrap("<ActiveMap><ViewList><View><ViewWidth>1</ViewWidth><ViewHeight>1</ViewHeight><ViewName>v</"
              "ViewName>"
              "</View></ViewList></ActiveMap>"),
         "Bad Node Type"},
        {Wrap("<ActiveMap><ViewList><View><ViewWidth>1</ViewWidth><ViewHeight>1</ViewHeight><ViewName>v</"
              "ViewName>"
              "<ViewDesc/><ViewID>one</ViewID></View></ViewList></ActiveMap>"),
         "Bad ViewID"},
        {Wrap("<ActiveMap><ViewList><View>" + kView +
              "<NodeList><Node><UniqueID>1</UniqueID><Type>Star</Type></Node></NodeList></View></ViewList></"
              "ActiveMap>"),
         "Bad Node Type"},
        {Wrap("<ActiveMap><ViewList><View>" + kView +
              "<NodeList><Node><Type>PE</Type></Node></NodeList></View></ViewList></ActiveMap>"),
         "Bad UniqueID"},
        {Wrap("<ActiveMap><ViewList><View>" + kView +
              "<NodeList><Node><UniqueID>1</UniqueID><Type>PE</Type></Node></NodeList></View></ViewList></"
              "ActiveMap>"),
         "Bad AssociatedNetworkPE"},
        {Wrap("<ActiveMap><ViewList><View>" + kView +
              "<NodeList><Node><UniqueID>1</UniqueID><Type>Group</Type><Visible>Yes</Visible><XPos>1</XPos></"
              "Node>"
              "</NodeList></View></ViewList></ActiveMap>"),
         "Bad YPos"},
        {Wrap("<ActiveMap><ViewList><View>" + kView +
              "<EdgeList><Edge><UniqueID>1</UniqueID><EdgeType>Wire</EdgeType></Edge></EdgeList></View></"
              "ViewList>"
              "</ActiveMap>"),
         "Bad EdgeType"},
        {Wrap("<ActiveMap><ViewList><View>" + kView +
              "<EdgeList><Edge><UniqueID>1</UniqueID><EdgeType>PEConn</EdgeType><StartNodeType>PE</"
              "StartNodeType>"
              "<EndNodeType>PE</EndNodeType><StartNodeUniqueID>1</StartNodeUniqueID><EndNodeUniqueID>2"
              "</EndNodeUniqueID><Visible>Yes</Visible><AssociatedNetworkPrimitive>0</"
              "AssociatedNetworkPrimitive>"
              "<PathPoints Style=\"Straight\"/></Edge></EdgeList></View></ViewList></ActiveMap>"),
         "No points"},
        {Wrap("<ActiveMap><ViewList><View>" + kView +
              "<EdgeList><Edge><UniqueID>1</UniqueID><EdgeType>PEConn</EdgeType><StartNodeType>PE</"
              "StartNodeType>"
              "<EndNodeType>PE</EndNodeType><StartNodeUniqueID>1</StartNodeUniqueID><EndNodeUniqueID>2"
              "</EndNodeUniqueID><Visible>Yes</Visible><AssociatedNetworkPrimitive>0</"
              "AssociatedNetworkPrimitive>"
              "<PathPoints Style=\"Straight\"><Point X=\"1\" Y=\"y\"/></PathPoints></Edge></EdgeList></View>"
              "</ViewList></ActiveMap>"),
         "Bad Y Point"},
        {Wrap("<ActiveMap/><WatchList><WatchItem><Type>Sometimes</Type></WatchItem></WatchList>"),
         "Invalid Watch Item Type: Sometimes"},
        {Wrap("<ActiveMap/><WatchList><WatchItem><PEID>0</PEID></WatchItem></WatchList>"),
         "Bad WatchItem Type"},
        {Wrap("<ActiveMap/><WatchList><WatchItem><Type>change</Type><PEID>x</PEID></WatchItem></WatchList>"),
         "Invalid Watch Item PEID"},
        {Wrap("<ActiveMap/><WatchList><WatchItem>" + kWatch + "</WatchItem></WatchList>"),
         "Bad WatchItem Action"},
        {Wrap("<ActiveMap/><WatchList><WatchItem>" + kWatch +
              "<Action>Shout</Action></WatchItem></WatchList>"),
         "Invalid Watch Item Action: Shout"},
    };
    for (const auto& testCase : cases)
    {
        m_Recorder.Messages.clear();
        CNetworkMap map;
        CNetworkDocument document;
        EXPECT_FALSE(map.ReadMapText(testCase.text, document)) << testCase.pszMessage;
        EXPECT_EQ(m_Recorder.Messages, QStringList{QString::fromLatin1(testCase.pszMessage)})
            << testCase.text.toStdString();
        EXPECT_EQ(map.LastError(), QString::fromLatin1(testCase.pszMessage));
    }
}

TEST_F(MapFile, SilentFailuresStillSayWhyToTheCaller)
{
    const QByteArray kView = "<ViewWidth>1</ViewWidth><ViewHeight>1</ViewHeight><ViewName>v</ViewName>"
                             "<ViewDesc/><ViewID>3</ViewID>";
    const QByteArray cases[] = {
        Wrap("<PEList/>"),
        Wrap("<ActiveMap><ViewList><View>" + kView +
             "<NodeList><Node><UniqueID>1</UniqueID><Type>PE</Type><Visible>Yes</Visible>"
             "<AssociatedNetworkPrimitive>4</AssociatedNetworkPrimitive><XPos>1</XPos><YPos>1</YPos></Node></"
             "NodeList>"
             "</View></ViewList></ActiveMap>"),
        Wrap("<ActiveMap><ViewList><View>" + kView +
             "<NodeList><Node><UniqueID>1</UniqueID><Type>Group</Type><XPos>1</XPos><YPos>1</YPos></Node></"
             "NodeList>"
             "</View></ViewList></ActiveMap>"),
        Wrap("<MapInfo><Width>1</Width><Height>1</Height></MapInfo><PEList><PE><DeviceID>1</DeviceID>"
             "<ManufID>2</ManufID><Type>Router</Type></PE></PEList>",
             "1.0"),
    };
    for (const QByteArray& text : cases)
    {
        m_Recorder.Messages.clear();
        CNetworkMap map;
        CNetworkDocument document;
        EXPECT_FALSE(map.ReadMapText(text, document)) << text.toStdString();
        EXPECT_TRUE(m_Recorder.Messages.isEmpty());
        EXPECT_FALSE(map.LastErrorShown());
        EXPECT_FALSE(map.LastError().isEmpty());
    }
}

TEST_F(MapFile, FailedLoadEmptiesTheDocumentAndKeepsTheTransport)
{
    CScratchDir dir;
    const QString strGood = dir.Write(QStringLiteral("good.nvm"), CNetworkMap().WriteMapText(RichDocument()));
    CNetworkDocument document;
    ASSERT_TRUE(document.Open(strGood));
    ASSERT_EQ(document.ActivePEs.GetCount(), 2);

    int iBitsSet = 0;
    SetMapTransportAccess(nullptr, [&](int iBits) { iBitsSet = iBits; });
    QByteArray text = CNetworkMap().WriteMapText(RichDocument());
    text.replace("<TransportType>Small</TransportType>", "<TransportType>large</TransportType>");
    text.replace("<Action>HighlightPE</Action>", "<Action>Flash</Action>");
    const QString strBad = dir.Write(QStringLiteral("bad.nvm"), text);
    CNetworkMap map;
    EXPECT_FALSE(map.LoadMap(strBad, document, false));
    EXPECT_EQ(m_Recorder.Messages, QStringList{QStringLiteral("Invalid Watch Item Action: Flash")});
    EXPECT_EQ(iBitsSet, 0);
    EXPECT_TRUE(document.ActivePEs.IsEmpty());
    EXPECT_TRUE(document.WatchItems.empty());
    EXPECT_TRUE(document.PathName.isEmpty());
    EXPECT_EQ(document.Views.size(), 1u);

    m_Recorder.Messages.clear();
    EXPECT_FALSE(map.LoadMap(dir.Path(QStringLiteral("absent.nvm")), document, false));
    EXPECT_EQ(m_Recorder.Messages, QStringList{QStringLiteral("Open failed.  File not found.")});
    m_Recorder.Messages.clear();
    EXPECT_FALSE(map.LoadMap(dir.Path(QString()), document, false));
    EXPECT_EQ(m_Recorder.Messages, QStringList{QStringLiteral("Unable to open file.")});
}

TEST_F(MapFile, ByteOrderMarkAndEncipheredFiles)
{
    CScratchDir dir;
    const QByteArray text = CNetworkMap().WriteMapText(RichDocument());
    CNetworkDocument document;
    CNetworkMap map;
    ASSERT_TRUE(map.LoadMap(dir.Write(QStringLiteral("bom.nvm"), "\xEF\xBB\xBF" + text), document, false));
    EXPECT_EQ(document.ActivePEs.GetCount(), 2);

    QByteArray enciphered = text;
    ASSERT_TRUE(EncipherBuffer(enciphered, ECipherKey::MapFile));
    const QString strPath = dir.Write(QStringLiteral("secret.nvm"), enciphered);
    ASSERT_TRUE(map.LoadMap(strPath, document, true)) << map.LastError().toStdString();
    EXPECT_EQ(document.ActivePEs.GetByIndex(0)->CommonName, QStringLiteral("CPS-1848"));
    m_Recorder.Messages.clear();
    EXPECT_FALSE(map.LoadMap(strPath, document, false));
    EXPECT_EQ(m_Recorder.Messages, QStringList{QStringLiteral("Error parsing file")});
}

TEST_F(MapFile, SaveReplacesTheFileWholeOrNotAtAll)
{
    CScratchDir dir;
    CNetworkDocument document = RichDocument();
    EXPECT_FALSE(document.Save()); // no file name yet
    const QString strPath = dir.Path(QStringLiteral("map.nvm"));
    ASSERT_TRUE(document.SaveAs(strPath));
    EXPECT_EQ(document.PathName, strPath);
    EXPECT_EQ(document.FileName, QStringLiteral("map.nvm"));
    const QByteArray first = FileBytes(strPath);
    EXPECT_TRUE(first.contains("spine switch"));

    document.ActivePEs.GetByIndex(0)->Comment = QStringLiteral("renamed");
    ASSERT_TRUE(document.Save());
    EXPECT_TRUE(FileBytes(strPath).contains("renamed"));

    CNetworkMap map;
    EXPECT_FALSE(map.SaveMapAs(document, dir.Path(QStringLiteral("no/such/dir/map.nvm"))));
    EXPECT_TRUE(m_Recorder.Messages.isEmpty());
    EXPECT_FALSE(map.LastError().isEmpty());
    EXPECT_EQ(document.PathName, strPath);
    EXPECT_EQ(QDir(dir.Path(QString())).entryList(QDir::Files), QStringList{QStringLiteral("map.nvm")});
}
