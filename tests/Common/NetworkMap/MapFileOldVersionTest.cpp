// Map files of the versions before 1.7: no views, positions on the PEs, paths on the connections,
// the server address as a dotted text, and in 1.0 the PE type as a word.
#include "NetworkDocument.h"
#include "NetworkMap.h"
#include "TestHelpers.h"

#include <gtest/gtest.h>

namespace
{
class OldMapFile : public ::testing::Test
{
protected:
    void SetUp() override { SetMapTransportAccess(nullptr, nullptr); }
    CMessageRecorder m_Recorder;
};
} // namespace

TEST_F(OldMapFile, Version14BuildsTheExpandedViewFromThePEsAndConnections)
{
    CNetworkMap map;
    CNetworkDocument document;
    ASSERT_TRUE(map.ReadMapText(TestData(QStringLiteral("version14.nvm")), document))
        << map.LastError().toStdString();
    EXPECT_TRUE(m_Recorder.Messages.isEmpty());

    ASSERT_EQ(document.ActivePEs.GetCount(), 3);
    const CPEPrimitive& host = *document.ActivePEs.GetByIndex(0);
    EXPECT_EQ(host.DeviceID, 0x80AB);
    EXPECT_EQ(host.ShortDestID, 1); // from DestID
    EXPECT_TRUE(host.bUsesDestID);
    EXPECT_TRUE(host.bHasHostLink);
    EXPECT_EQ(host.eConnectionType, eConnEthernetTCP);
    EXPECT_EQ(host.uNetworkServerAddress, 0x7F000001u);
    EXPECT_EQ(host.VDID_NumShortIDs, 0); // no VDIDs before 1.6
    const CPEPrimitive& sw = *document.ActivePEs.GetByIndex(1);
    EXPECT_EQ(sw.iNodeNumber, 2);
    EXPECT_TRUE(sw.bHasPerPortRoutingTables); // 0574/000D keeps tables per port
    EXPECT_EQ(sw.eConnectionType, eConnRS232);
    EXPECT_EQ(document.ActivePEs.GetByIndex(2)->eConnectionType, eConnJTAG);
    EXPECT_EQ(document.ActivePEs.GetByIndex(2)->uType, kPETypeNull);

    const CMapView& view = *document.Views[0];
    EXPECT_EQ(view.iWidth, 1200);
    EXPECT_EQ(view.iHeight, 700);
    EXPECT_EQ(view.iTemplateWidth, 1200);
    EXPECT_EQ(view.iTemplateHeight, 700);
    EXPECT_TRUE(view.pTemplateNodes.IsEmpty());
    ASSERT_EQ(view.pNodes.GetCount(), 3);
    const CDrawPE* pHostNode = view.pNodes.FindPENode(0);
    const CDrawPE* pSwitchNode = view.pNodes.FindPENode(2);
    ASSERT_NE(pHostNode, nullptr);
    ASSERT_NE(pSwitchNode, nullptr);
    EXPECT_EQ(pHostNode->iXPos, 104);
    EXPECT_TRUE(pHostNode->bVisible);
    EXPECT_NE(pHostNode->uUniqueID, pSwitchNode->uUniqueID);

    ASSERT_EQ(view.pEdges.GetCount(), 2);
    const auto* pEdge = static_cast<const CDrawEdge*>(view.pEdges.GetAt(0));
    EXPECT_EQ(pEdge->eEdgeType, eEdgePEConn);
    EXPECT_TRUE(pEdge->bVisible);
    EXPECT_EQ(pEdge->eStartKind, eDrawKindPE);
    EXPECT_EQ(pEdge->uStartUniqueID, pHostNode->uUniqueID);
    // PE2 names position 1, which after the deleted PE holds node 2.
    EXPECT_EQ(pEdge->uEndUniqueID, pSwitchNode->uUniqueID);
    EXPECT_EQ(pEdge->GetPath().size(), 2u);
    const auto* pCurve = static_cast<const CDrawEdge*>(view.pEdges.GetAt(1));
    EXPECT_EQ(pCurve->Style, eEdgeCurve);
    EXPECT_EQ(pCurve->iAssociatedPrimitive, 1);
    EXPECT_EQ(document.ActiveConnections.GetByIndex(1)->eStatus, eConnectionOther);
}

TEST_F(OldMapFile, Version16ReadsBothMapsVDIDsAndConnectionTypes)
{
    int iBits = 0;
    SetMapTransportAccess(nullptr, [&](int i) { iBits = i; });
    CScratchDir dir;
    CNetworkMap map;
    CNetworkDocument document;
    ASSERT_TRUE(map.LoadMap(dir.Write(QStringLiteral("v16.nvm"), TestData(QStringLiteral("version16.nvm"))),
                            document, false))
        << map.LastError().toStdString();
    SetMapTransportAccess(nullptr, nullptr);
    EXPECT_EQ(iBits, 16);
    const CPEPrimitive& host = *document.ActivePEs.GetByIndex(0);
    EXPECT_TRUE(host.bLargeTransport);
    EXPECT_EQ(host.GetDestID(), 257);
    EXPECT_EQ(host.VDID_NumShortIDs, 2);
    EXPECT_EQ(host.VDID_ShortIDs[1], 10);
    EXPECT_EQ(host.eConnectionType, eConnRS232);
    EXPECT_EQ(host.uNetworkServerAddress, 0xFFFFFFFFu);

    const CMapView& view = *document.Views[0];
    EXPECT_EQ(view.iWidth, 900);
    EXPECT_EQ(view.iTemplateWidth, 640);
    EXPECT_EQ(view.iTemplateHeight, 480);
    ASSERT_EQ(view.pTemplateNodes.GetCount(), 1);
    EXPECT_EQ(view.pTemplateNodes.GetAt(0)->iXPos, 60);
    EXPECT_EQ(document.TemplatePEs.GetCount(), 1);
    // Scripts are kept only from 1.7 on.
    EXPECT_TRUE(document.EventScripts.empty());
}

TEST_F(OldMapFile, Version15TakesTheServerAddressAndNoVDIDs)
{
    QByteArray text = TestData(QStringLiteral("version16.nvm"));
    text.replace("Version=\"1.6\"", "Version=\"1.5\"");
    text.replace("<ConnectionType>RS232</ConnectionType>", "<NorvantaServerIP>10.1.2.3</NorvantaServerIP>");
    CNetworkMap map;
    CNetworkDocument document;
    ASSERT_TRUE(map.ReadMapText(text, document)) << map.LastError().toStdString();
    const CPEPrimitive& host = *document.ActivePEs.GetByIndex(0);
    EXPECT_EQ(host.VDID_NumShortIDs, 0);
    EXPECT_EQ(host.eConnectionType, eConnEthernetTCP);
    EXPECT_EQ(host.uNetworkServerAddress, 0x0A010203u);

    text.replace("<Width>640</Width>", "<Width>wide</Width>");
    EXPECT_FALSE(map.ReadMapText(text, document));
    EXPECT_EQ(m_Recorder.Messages, QStringList{QStringLiteral("Invalid map info")});
    m_Recorder.Messages.clear();
    text.replace("<NorvantaServerIP>10.1.2.3</NorvantaServerIP>",
                 "<NorvantaServerIP>10.1.2</NorvantaServerIP>");
    text.replace("<Width>wide</Width>", "<Width>640</Width>");
    EXPECT_FALSE(map.ReadMapText(text, document));
    EXPECT_EQ(m_Recorder.Messages, QStringList{QStringLiteral("Bad NorvantaServerIP")});
}

TEST_F(OldMapFile, Version10NamesTheTypeInWords)
{
    const QByteArray head =
        "<NorvantaMap Version=\"1.0\"><MapInfo><Width>1</Width><Height>1</Height></MapInfo><PEList>";
    const QByteArray pe = "<PE><DeviceID>1</DeviceID><ManufID>2</ManufID><Symbol>s</Symbol><NumLocalPorts>0"
                          "</NumLocalPorts><XPos>0</XPos><YPos>0</YPos><Type>";
    CNetworkMap map;
    CNetworkDocument document;
    ASSERT_TRUE(map.ReadMapText(head + pe + "EndPoint</Type></PE>" + pe + "Switch</Type></PE>" + pe +
                                    "Memory</Type></PE></PEList></NorvantaMap>",
                                document))
        << map.LastError().toStdString();
    EXPECT_EQ(document.ActivePEs.GetByIndex(0)->uType, kPETypeProcessor);
    EXPECT_EQ(document.ActivePEs.GetByIndex(1)->uType, kPETypeSwitch);
    EXPECT_EQ(document.ActivePEs.GetByIndex(2)->uType, kPETypeMemory);
    // In 1.1 the letters are read instead, so the word "Switch" gives a switch by its capital S.
    CNetworkDocument later;
    QByteArray text = head + pe + "Bridge</Type></PE></PEList></NorvantaMap>";
    text.replace("1.0", "1.1");
    ASSERT_TRUE(map.ReadMapText(text, later));
    EXPECT_EQ(later.ActivePEs.GetByIndex(0)->uType, kPETypeBridge);
    // A PE without its position fails.
    EXPECT_FALSE(map.ReadMapText(head +
                                     "<PE><DeviceID>1</DeviceID><ManufID>2</ManufID><Symbol>s</Symbol>"
                                     "<NumLocalPorts>0</NumLocalPorts><Type>Switch</Type><XPos>0</XPos></PE>"
                                     "</PEList></NorvantaMap>",
                                 later));
    EXPECT_EQ(m_Recorder.Messages, QStringList{QStringLiteral("Bad YPos")});
}
