// The network model: records, lists, look-ups, identity, validation and the document's views.
#include "NetworkDocument.h"
#include "TestHelpers.h"

#include <gtest/gtest.h>

namespace
{
CPEPrimitive* AddPE(CPEList& list, int iNode, uint32_t uType, uint16_t wShortID)
{
    auto pPE = std::make_unique<CPEPrimitive>();
    pPE->iNodeNumber = iNode;
    pPE->uType = uType;
    pPE->ShortDestID = wShortID;
    return list.AddPrimitive(std::move(pPE));
}
} // namespace

TEST(ConnectionPrimitive, StatusWordSetsStateIgnoringCase)
{
    CConnectionPrimitive connection;
    EXPECT_EQ(connection.eStatus, eConnectionOther);
    EXPECT_TRUE(connection.GetStatus().isEmpty());
    EXPECT_EQ(connection.uPE1Type, kPETypeUnknown);

    connection.SetStatus(QStringLiteral("UP"));
    EXPECT_EQ(connection.eStatus, 0);
    connection.SetStatus(QStringLiteral("intermittent"));
    EXPECT_EQ(connection.eStatus, 1);
    connection.SetStatus(QStringLiteral("down"));
    EXPECT_EQ(connection.eStatus, 2);
    connection.SetStatus(QStringLiteral("Sideways"));
    EXPECT_EQ(connection.eStatus, 2);
    EXPECT_EQ(connection.GetStatus(), QStringLiteral("Sideways"));
}

TEST(PEPrimitive, TypeStatusAndPortTexts)
{
    CPEPrimitive pe;
    EXPECT_EQ(pe.GetTypeString(), QStringLiteral("Unknown"));
    pe.uType = kPETypeNull;
    EXPECT_EQ(pe.GetTypeString(), QStringLiteral("Null"));
    pe.uType = kPETypeSwitch | kPETypeProcessor | kPETypeBridge | kPETypeMemory;
    EXPECT_EQ(pe.GetTypeString(), QStringLiteral("Processor/Bridge/Switch with Memory"));
    pe.uType = kPETypeMemory;
    EXPECT_EQ(pe.GetTypeString(), QStringLiteral("Memory"));
    pe.uType = kPETypeSwitch;
    EXPECT_EQ(pe.GetTypeString(), QStringLiteral("Switch"));

    EXPECT_EQ(
        pe.GetStatusString(),
        QStringLiteral("Unknown: Enable System Health Monitoring or Validate Network to determine status."));
    pe.Health.eStatus = eValidationOK;
    EXPECT_EQ(pe.GetStatusString(), QStringLiteral("OK"));
    pe.Health.eStatus = eValidationNotResponding;
    EXPECT_EQ(pe.GetStatusString(), QStringLiteral("Not Responding"));
    pe.Health.eStatus = eValidationIDsNotMatching;
    EXPECT_EQ(pe.GetStatusString(), QString());
    pe.Health.uFoundDeviceID = 0x1234;
    EXPECT_EQ(pe.GetStatusString(), QStringLiteral("Device ID Not Matching:1234h"));
    pe.Health.uFoundVendorID = 0x0038;
    EXPECT_EQ(pe.GetStatusString(), QStringLiteral("IDs Not Matching : DeviceID:1234h, VendorID:0038h"));
    pe.Health.uFoundDeviceID = 0xFFFF;
    EXPECT_EQ(pe.GetStatusString(), QStringLiteral("Vendor ID Not Matching:0038h"));

    EXPECT_EQ(pe.GetPortTypeString(), QString());
    pe.ManufID = 13;
    pe.DeviceID = 1280;
    EXPECT_EQ(pe.GetPortTypeString(), QStringLiteral("8 Bit Parallel RapidIO"));
}

TEST(PEPrimitive, DestIDsAndVDIDsFollowTheTransportWidth)
{
    CPEPrimitive pe;
    pe.ShortDestID = 5;
    pe.LongDestID = 0x1005;
    pe.VDID_NumShortIDs = 2;
    pe.VDID_ShortIDs = {7, 8};
    pe.VDID_NumLongIDs = 1;
    pe.VDID_LongIDs = {0x1007, 0x1008};

    EXPECT_EQ(pe.GetDestID(), 5);
    EXPECT_EQ(pe.GetNumVDIDs(), 2);
    EXPECT_TRUE(pe.HasDestID(8, false, true));
    EXPECT_FALSE(pe.HasDestID(8, true, false));
    EXPECT_TRUE(pe.HasDestID(5, true, false));

    pe.bLargeTransport = true;
    EXPECT_EQ(pe.GetDestID(), 0x1005);
    uint16_t wID = 0;
    int iCursor = 0;
    ASSERT_TRUE(pe.GetFirstVDID(&wID, &iCursor));
    EXPECT_EQ(wID, 0x1007);
    EXPECT_FALSE(pe.GetNextVDID(&wID, &iCursor));
    EXPECT_FALSE(pe.HasDestID(0x1008, true, true));
}

TEST(PEPrimitive, CopyIsDeep)
{
    CPEPrimitive pe;
    pe.RoutingTables[3] = std::make_unique<CRoutingTable>();
    pe.RoutingTables[3]->AddEntry(9, 2, eRoutePort, 0, false);
    pe.SavedRegisters.SetValue(0x60, 0x12, false);
    pe.Multicast.AddDestID(pe.Multicast.AddMask(1), 4);
    pe.PortHealth[2].Reason = QStringLiteral("stuck");

    CPEPrimitive copy(pe);
    ASSERT_NE(copy.RoutingTables[3], nullptr);
    EXPECT_NE(copy.RoutingTables[3].get(), pe.RoutingTables[3].get());
    copy.RoutingTables[3]->AddEntry(10, 1, eRoutePort, 0, false);
    EXPECT_EQ(pe.RoutingTables[3]->GetNumEntries(), 1);
    EXPECT_EQ(copy.SavedRegisters.Find(0x60)->uValue, 0x12u);
    EXPECT_EQ(copy.Multicast.GetMask(0)->DestIDs.size(), 1u);
    EXPECT_EQ(copy.PortHealth[2].Reason, QStringLiteral("stuck"));
}

TEST(PrimitiveList, PositionAndNodeNumberStayApart)
{
    CPEList list;
    AddPE(list, 0, kPETypeProcessor, 1);
    // Node 1 was deleted and dropped by a load: node 2 stands at position 1.
    AddPE(list, 2, kPETypeProcessor, 3);
    EXPECT_EQ(list.GetByIndex(1)->iNodeNumber, 2);
    EXPECT_EQ(list.GetByNodeNumber(1), nullptr);
    EXPECT_EQ(list.GetByNodeNumber(2), list.GetByIndex(1));
    EXPECT_EQ(list.GetByIndex(2), nullptr);
    EXPECT_EQ(list.GetByIndex(-1), nullptr);
    EXPECT_EQ(list.GetIndexOf(list.GetByNodeNumber(2)), 1);

    int iSeen = 0;
    for (CPEPrimitive* pPE = list.GetFirst(); pPE; pPE = list.GetNext())
    {
        ++iSeen;
    }
    EXPECT_EQ(iSeen, 2);

    CPEList copy;
    copy = list;
    EXPECT_NE(copy.GetByIndex(0), list.GetByIndex(0));
    EXPECT_EQ(copy.GetByIndex(1)->iNodeNumber, 2);
}

TEST(PrimitiveList, DestIDLookUpTriesEachPEInOrder)
{
    CPEList list;
    CPEPrimitive* pEarly = AddPE(list, 0, kPETypeProcessor, 1);
    pEarly->VDID_NumShortIDs = 1;
    pEarly->VDID_ShortIDs[0] = 9;
    CPEPrimitive* pLate = AddPE(list, 1, kPETypeProcessor, 9);
    EXPECT_EQ(list.GetPEByDestID(9), pEarly);
    EXPECT_EQ(list.GetPEByDestID(1), pEarly);
    EXPECT_EQ(list.GetPEByDestID(2), nullptr);
    pEarly->bDeleted = true;
    EXPECT_EQ(list.GetPEByDestID(9), pLate);

    pLate->UniqueID = QStringLiteral("38e0");
    EXPECT_EQ(list.GetPEByUniqueID(QStringLiteral("38e0")), pLate);
    EXPECT_EQ(list.GetPEByUniqueID(QStringLiteral("38e")), nullptr);

    EXPECT_EQ(list.GetHostPE(), nullptr);
    pLate->bHasHostLink = true;
    pLate->uNetworkServerAddress = 0x7F000001;
    pLate->eConnectionType = eConnEthernetTCP;
    EXPECT_EQ(list.GetHostPE(), nullptr); // the link isn't open
    pLate->bHostLinkOpen = true;
    EXPECT_EQ(list.GetHostPE(), pLate);
    EXPECT_EQ(list.GetHostPE(0x7F000001, eConnEthernetTCP), pLate);
    EXPECT_EQ(list.GetHostPE(0x7F000001, eConnEthernetUDP), nullptr);
}

TEST(PrimitiveList, LivePEsComeInNodeOrderWithoutTheDeleted)
{
    CPEList list;
    CPEPrimitive* pThird = AddPE(list, 2, kPETypeSwitch, 3);
    CPEPrimitive* pFirst = AddPE(list, 0, kPETypeProcessor, 1);
    CPEPrimitive* pGone = AddPE(list, 1, kPETypeSwitch, 2);
    CPEPrimitive* pTwinA = AddPE(list, 5, kPETypeSwitch, 5);
    CPEPrimitive* pTwinB = AddPE(list, 5, kPETypeSwitch, 6);
    pGone->bDeleted = true;
    // Equal node numbers keep the order of the list.
    EXPECT_EQ((std::vector<CPEPrimitive*>{pFirst, pThird, pTwinA, pTwinB}), list.LivePEsInNodeOrder());
    EXPECT_TRUE(CPEList().LivePEsInNodeOrder().empty());
}

TEST(RoutingTable, SortedOneEntryPerIDAndModifiedOnRequest)
{
    CRoutingTable table;
    table.AddEntry(20, 1, eRoutePort, 0, false);
    table.AddEntry(5, 2, eRoutePort, 0, false);
    EXPECT_FALSE(table.bModified);
    table.AddEntry(20, 7, eRouteSpecial, 3, true);
    EXPECT_TRUE(table.bModified);
    ASSERT_EQ(table.GetNumEntries(), 2);
    EXPECT_EQ(table.GetEntry(0).DestID, 5);
    EXPECT_EQ(table.GetEntry(1).Port, 7);
    EXPECT_EQ(table.GetEntry(1).uSpecialType, 3u);
    uint8_t uchPort = 0;
    EXPECT_EQ(table.FindEntry(20, &uchPort), 1);
    EXPECT_EQ(uchPort, 7);
    EXPECT_EQ(table.FindEntry(6), -1);
    EXPECT_TRUE(table.RemoveAt(0));
    EXPECT_FALSE(table.RemoveAt(1));
    EXPECT_EQ(table.FindEntry(20), 0);
}

// The stamp moves with every change of the entries, a failed removal is none, and a copy keeps
// the stamp of the contents it copied.
TEST(RoutingTable, StampChangesWithTheEntries)
{
    CRoutingTable table;
    const uint64_t ullEmpty = table.Stamp();
    EXPECT_EQ(ullEmpty, table.Stamp()) << "asking twice is no change";
    table.AddEntry(5, 2, eRoutePort, 0, false);
    const uint64_t ullOne = table.Stamp();
    EXPECT_NE(ullEmpty, ullOne);
    table.AddEntry(5, 3, eRoutePort, 0, false);
    const uint64_t ullRewritten = table.Stamp();
    EXPECT_NE(ullOne, ullRewritten);
    EXPECT_FALSE(table.RemoveAt(4));
    EXPECT_EQ(ullRewritten, table.Stamp());
    const CRoutingTable copy = table;
    EXPECT_EQ(ullRewritten, copy.Stamp());
    EXPECT_TRUE(table.RemoveAt(0));
    const uint64_t ullRemoved = table.Stamp();
    EXPECT_NE(ullRewritten, ullRemoved);
    table.Clear();
    EXPECT_NE(ullRemoved, table.Stamp());
    EXPECT_NE(CRoutingTable().Stamp(), CRoutingTable().Stamp()) << "two tables never share a stamp";
}

TEST(MulticastInfo, MasksAndCursors)
{
    CMulticastInfo info;
    EXPECT_EQ(info.GetFirstMask(), -1);
    const int iFirst = info.AddMask(3);
    const int iSecond = info.AddMask(8);
    EXPECT_EQ(iFirst, 0);
    EXPECT_EQ(iSecond, 1);
    EXPECT_TRUE(info.AddDestID(iFirst, 0x10));
    EXPECT_TRUE(info.AddDestID(iFirst, 0x10)); // already there: nothing added
    EXPECT_TRUE(info.AddDestID(iFirst, 0x11));
    EXPECT_TRUE(info.AddPort(iSecond, 4));
    EXPECT_FALSE(info.AddDestID(2, 1));
    EXPECT_FALSE(info.AddPort(-1, 1));

    EXPECT_EQ(info.GetFirstMask(), 3);
    EXPECT_EQ(info.GetFirstDestID(), 0x10);
    EXPECT_EQ(info.GetNextDestID(), 0x11);
    EXPECT_EQ(info.GetNextDestID(), -1);
    EXPECT_EQ(info.GetFirstPort(), -1);
    EXPECT_EQ(info.GetNextMask(), 8);
    EXPECT_EQ(info.GetFirstDestID(), -1);
    EXPECT_EQ(info.GetFirstPort(), 4);
    EXPECT_EQ(info.GetNextMask(), -1);

    EXPECT_EQ(info.FindMask(8), 1);
    EXPECT_EQ(info.FindMask(9), -1);
    EXPECT_TRUE(info.RemoveMaskAt(0));
    EXPECT_FALSE(info.RemoveMaskAt(1));
    EXPECT_EQ(info.GetFirstMask(), 8);
    info.ClearMasks();
    EXPECT_EQ(info.GetNumMasks(), 0);
    EXPECT_EQ(info.GetFirstMask(), -1);
}

TEST(RegisterValueList, MaintenanceAndIOEntriesDoNotSeeEachOther)
{
    CRegisterValueList values;
    values.SetValue(0x100, 1, true);
    values.SetIOValue(0x100, 0x100, 2, false);
    EXPECT_EQ(values.Find(0x100)->uValue, 1u);
    EXPECT_EQ(values.FindIO(0x100, 0x100)->uValue, 2u);
    EXPECT_EQ(values.FindIO(0x100, 0), nullptr);
    values.SetValue(0x100, 3, false);
    EXPECT_EQ(values.GetCount(), 2);
    EXPECT_EQ(values.Find(0x100)->uValue, 3u);
    EXPECT_FALSE(values.Find(0x100)->bFlag);
}

TEST(NetworkDocument, ValidationTellsOnlyTheFirstConflictOfEndpoints)
{
    CNetworkDocument document;
    QString strMessage = QStringLiteral("untouched");
    AddPE(document.ActivePEs, 0, kPETypeSwitch, 4);
    AddPE(document.ActivePEs, 1, kPETypeSwitch, 4);
    AddPE(document.ActivePEs, 2, kPETypeProcessor, 4);
    AddPE(document.ActivePEs, 3, kPETypeUnknown, 7);
    AddPE(document.ActivePEs, 4, kPETypeNull, 7);
    EXPECT_TRUE(document.ValidateUniqueDestIDs(strMessage));
    EXPECT_EQ(strMessage, QStringLiteral("untouched"));

    AddPE(document.ActivePEs, 5, kPETypeBridge, 9);
    AddPE(document.ActivePEs, 6, kPETypeMemory, 4);
    AddPE(document.ActivePEs, 7, kPETypeBridge, 9);
    EXPECT_FALSE(document.ValidateUniqueDestIDs(strMessage));
    EXPECT_EQ(strMessage,
              QStringLiteral("Destination IDs are not unique. Node 3 and Node 7 have an ID of 4"));

    // With large transport the long IDs count, and those differ.
    for (const auto& pPE : document.ActivePEs)
    {
        pPE->bLargeTransport = true;
        pPE->LongDestID = static_cast<uint16_t>(pPE->iNodeNumber);
    }
    EXPECT_TRUE(document.ValidateUniqueDestIDs(strMessage));
}

TEST(NetworkDocument, UniqueTimeIDsNeverRepeat)
{
    const uint32_t uFirst = CNetworkDocument::MakeUniqueTimeID();
    const uint32_t uSecond = CNetworkDocument::MakeUniqueTimeID();
    EXPECT_EQ(uSecond, uFirst + 1);
    EXPECT_GE(uFirst, 1600000000u);
}

TEST(NetworkDocument, ViewSelectionFallsBackToTheExpandedView)
{
    CNetworkDocument document;
    ASSERT_EQ(document.Views.size(), 1u);
    EXPECT_EQ(document.pCurrentView->Name, QStringLiteral("Expanded View"));
    EXPECT_EQ(document.pCurrentPEs, &document.ActivePEs);

    CMapView* pGrouped =
        document.AddView(std::make_unique<CMapView>(QStringLiteral("Grouped View"), kGroupedViewID));
    CMapView* pEmpty = document.AddView(std::make_unique<CMapView>(QStringLiteral("Empty"), 5));
    (void)pEmpty;
    auto pNode = std::make_unique<CDrawPE>();
    pNode->bSelected = true;
    pGrouped->pNodes.Add(std::move(pNode));

    document.SelectView(kGroupedViewID, false);
    EXPECT_EQ(document.iCurrentViewID, kGroupedViewID);
    EXPECT_EQ(document.pCurrentNodes, &pGrouped->pNodes);
    EXPECT_FALSE(pGrouped->pNodes.GetAt(0)->bSelected);
    EXPECT_EQ(document.ViewHistory, std::vector<int>{kExpandedViewID});

    // The template lists of the grouped view are empty: that view isn't shown.
    document.ToggleTemplate(true);
    EXPECT_EQ(document.iCurrentViewID, kExpandedViewID);
    EXPECT_TRUE(document.ViewHistory.empty());
    EXPECT_EQ(document.pCurrentPEs, &document.TemplatePEs);

    document.SelectView(kGroupedViewID, false);
    document.SelectView(5, false);
    EXPECT_EQ(document.iCurrentViewID, kExpandedViewID);
    EXPECT_TRUE(document.ViewHistory.empty());

    document.SelectView(kGroupedViewID, false);
    EXPECT_TRUE(document.SelectPreviousView());
    EXPECT_EQ(document.iCurrentViewID, kExpandedViewID);
    EXPECT_FALSE(document.SelectPreviousView());
}

TEST(NetworkDocument, WatchHighlightsComeBackWithTheView)
{
    CNetworkDocument document;
    AddPE(document.ActivePEs, 0, kPETypeProcessor, 1);
    AddPE(document.ActivePEs, 4, kPETypeProcessor, 2);
    auto pNode = std::make_unique<CDrawPE>();
    pNode->iAssociatedPrimitive = 4;
    CDrawPE* pRaw = document.pCurrentView->pNodes.Add(std::move(pNode));
    WatchItem item;
    item.iPEID = 1; // position in the list, whose PE has node number 4
    item.eAction = eWatchActionHighlightPE;
    item.bHighlighted = true;
    document.WatchItems.push_back(item);
    // A stopped item keeps its mark to itself.
    document.SelectView(kExpandedViewID, false);
    EXPECT_FALSE(pRaw->bHighlighted);
    document.WatchItems[0].bEnabled = true;
    document.SelectView(kExpandedViewID, false);
    EXPECT_TRUE(pRaw->bHighlighted);
}

TEST(NetworkDocument, CopiesAreDeepAndCopyToTemplateCoversEveryView)
{
    CNetworkDocument document;
    AddPE(document.ActivePEs, 0, kPETypeSwitch, 1)->RoutingTables[0] = std::make_unique<CRoutingTable>();
    auto pConnection = std::make_unique<CConnectionPrimitive>();
    pConnection->iPE1 = 0;
    document.ActiveConnections.AddPrimitive(std::move(pConnection));
    document.pCurrentView->iWidth = 2000;
    document.pCurrentView->pNodes.Add(std::make_unique<CDrawPE>());
    CMapView* pSecond = document.AddView(std::make_unique<CMapView>(QStringLiteral("Second"), 3));
    pSecond->pEdges.Add(std::make_unique<CDrawPEConn>());
    pSecond->pNodes.Add(std::make_unique<CDrawGroup>());

    document.CopyActiveToTemplate();
    EXPECT_EQ(document.TemplatePEs.GetCount(), 1);
    EXPECT_NE(document.TemplatePEs.GetByIndex(0), document.ActivePEs.GetByIndex(0));
    EXPECT_NE(document.TemplatePEs.GetByIndex(0)->RoutingTables[0], nullptr);
    EXPECT_EQ(document.TemplateConnections.GetCount(), 1);
    EXPECT_EQ(document.Views[0]->iTemplateWidth, 2000);
    EXPECT_EQ(document.Views[0]->pTemplateNodes.GetCount(), 1);
    EXPECT_EQ(document.Views[1]->pTemplateEdges.GetCount(), 1);
    EXPECT_NE(document.Views[1]->pTemplateEdges.GetAt(0), document.Views[1]->pEdges.GetAt(0));

    document.SelectView(3, false);
    CNetworkDocument copy(document);
    EXPECT_EQ(copy.iCurrentViewID, 3);
    EXPECT_EQ(copy.pCurrentView, copy.FindView(3));
    EXPECT_EQ(copy.pCurrentPEs, &copy.ActivePEs);
    EXPECT_NE(copy.ActivePEs.GetByIndex(0), document.ActivePEs.GetByIndex(0));

    CNetworkDocument moved(std::move(copy));
    EXPECT_EQ(moved.pCurrentView, moved.FindView(3));
    EXPECT_EQ(moved.ActivePEs.GetCount(), 1);
    EXPECT_EQ(copy.ActivePEs.GetCount(), 0);
    EXPECT_EQ(copy.pCurrentView, copy.Views.front().get());

    document.New();
    EXPECT_EQ(document.Views.size(), 1u);
    EXPECT_TRUE(document.ActivePEs.IsEmpty());
    EXPECT_TRUE(document.TemplatePEs.IsEmpty());
}

TEST(DrawObjects, PortLabelsStand36PixelsAlongThePath)
{
    CDrawPEConn edge;
    edge.SetPath({QPoint(0, 0), QPoint(100, 0), QPoint(100, 60)});
    EXPECT_DOUBLE_EQ(edge.GetStartLabelPosition().x(), 36.0);
    EXPECT_DOUBLE_EQ(edge.GetStartLabelPosition().y(), 0.0);
    EXPECT_DOUBLE_EQ(edge.GetEndLabelPosition().x(), 100.0);
    EXPECT_DOUBLE_EQ(edge.GetEndLabelPosition().y(), 24.0);

    CDrawList list;
    list.Add(std::make_unique<CDrawPEConn>(edge));
    CDrawList copy = list;
    EXPECT_EQ(static_cast<CDrawEdge*>(copy.GetAt(0))->GetPath().size(), 3u);
    EXPECT_EQ(static_cast<CDrawEdge*>(copy.GetAt(0))->eEdgeType, eEdgePEConn);
}

TEST(PEIdentity, PlaceholdersAndUnknownDevicesGetTheirIcons)
{
    CMessageRecorder recorder;
    CScratchDir modules;
    CPEPrimitive pe;
    pe.CommonName = QStringLiteral("old");
    pe.SetIdentity(0xFFFF, 0xFFFF, true, false, false, false);
    EXPECT_EQ(pe.uType, kPETypeNull);
    EXPECT_EQ(pe.Symbol, QStringLiteral("null-reg"));
    EXPECT_TRUE(pe.CommonName.isEmpty());
    EXPECT_EQ(pe.BitmapNoSel, modules.Path(QStringLiteral("null-reg-kwn-lrg-nosel.svg")));
    EXPECT_EQ(pe.BitmapSel, modules.Path(QStringLiteral("null-reg-kwn-lrg-sel.svg")));

    pe.SetIdentity(0xFFFE, 0xFFFE, false, false, false, false);
    EXPECT_EQ(pe.uType, kPETypeUnknown);
    EXPECT_EQ(pe.Symbol, QStringLiteral("unkwn-reg"));

    pe.SetIdentity(0x0038, 0x1234, true, false, true, false);
    EXPECT_EQ(pe.uType, kPETypeSwitch | kPETypeMemory);
    EXPECT_EQ(pe.Symbol, QStringLiteral("sw-mem"));
    EXPECT_EQ(pe.BitmapNoSel, modules.Path(QStringLiteral("sw-mem-unkwn-lrg-nosel.svg")));
    pe.SetIdentity(0x0038, 0x1234, false, true, false, true);
    EXPECT_EQ(pe.Symbol, QStringLiteral("ep-reg"));
    EXPECT_EQ(pe.uType, kPETypeProcessor | kPETypeBridge);
    pe.SetIdentity(0x0038, 0x1234, false, false, false, true);
    EXPECT_EQ(pe.Symbol, QStringLiteral("br-reg"));
    pe.SetIdentity(0x0038, 0x1234, false, false, true, false);
    EXPECT_EQ(pe.Symbol, QStringLiteral("mem-reg"));
    pe.SetIdentity(0x0038, 0x1234, false, false, false, false);
    EXPECT_EQ(pe.Symbol, QStringLiteral("unkwn-reg"));
    EXPECT_EQ(pe.uType, kPETypeUnknown);
    EXPECT_TRUE(recorder.Messages.isEmpty());
}

TEST(PEIdentity, KnownDeviceTakesItsInformationFile)
{
    CMessageRecorder recorder;
    CScratchDir modules;
    modules.Write(QStringLiteral("0_12340038.nvi"),
                  "<?xml version=\"1.0\"?>\n<NorvantaDeviceInfo Version=\"1.3\">\n"
                  "<BitmapFile>sw-reg</BitmapFile><CommonName>Test Switch</CommonName><PEType>S</PEType>\n"
                  "<TOC><TOCEntry Type=\"Register\">Std</TOCEntry></TOC></NorvantaDeviceInfo>\n");
    modules.Write(QStringLiteral("0_12340038.nvr"), "<NorvantaMemoryMap Version=\"1.3\"/>");
    CPEPrimitive pe;
    pe.SetIdentity(0x0038, 0x1234, false, true, false, false);
    EXPECT_EQ(pe.uType, kPETypeSwitch);
    EXPECT_EQ(pe.CommonName, QStringLiteral("Test Switch"));
    EXPECT_EQ(pe.Symbol, QStringLiteral("sw-reg"));
    EXPECT_EQ(pe.BitmapSel, modules.Path(QStringLiteral("sw-reg-kwn-lrg-sel.svg")));
    EXPECT_TRUE(recorder.Messages.isEmpty());
}
