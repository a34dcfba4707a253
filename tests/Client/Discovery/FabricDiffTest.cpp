// The comparison of a saved map with a map of the live fabric, on pairs of hand-made maps: PEs
// matched by their place whatever their numbers, and the lines for each kind of change.
#include "FabricDiff.h"
#include "NetworkMap.h"
#include "RecordingUserInterface.h"

#include <gtest/gtest.h>

namespace nvtest
{
namespace
{
constexpr uint16_t kSwitchDevice = 0x0374;
constexpr uint16_t kSwitchVendor = 0x0038;
constexpr uint16_t kEndpointDevice = 0x0002;
constexpr uint16_t kEndpointVendor = 0xFFF0;

// Builds the active map of a document the way discovery leaves it: PEs, Up links between them with
// both ends' port data, and a Null PE behind each port where nothing answered.
class CMapBuilder
{
public:
    explicit CMapBuilder(CNetworkDocument& document)
        : m_document(document), m_iConnections(document.ActiveConnections.GetCount())
    {
    }

    CPEPrimitive& Endpoint(int iNode, uint16_t wID, bool bHost = false)
    {
        CPEPrimitive& pe =
            Add(iNode, kPETypeMemory | (bHost ? kPETypeProcessor : 0u), kEndpointDevice, kEndpointVendor, 1);
        pe.ShortDestID = wID;
        pe.bUsesDestID = true;
        pe.bHasHostLink = bHost;
        return pe;
    }
    CPEPrimitive& Switch(int iNode)
    {
        CPEPrimitive& pe = Add(iNode, kPETypeSwitch, kSwitchDevice, kSwitchVendor, 18);
        pe.bHasPerPortRoutingTables = true;
        return pe;
    }
    void Link(int iNode1, int iPort1, int iNode2, int iPort2, uint8_t uchWidth = 4, uint32_t uSpeed = 3125)
    {
        Connect(iNode1, iPort1, iNode2, iPort2, QStringLiteral("Up"));
        for (const auto& [iNode, iPort] : {std::pair{iNode1, iPort1}, std::pair{iNode2, iPort2}})
        {
            PortInfo& port = m_document.ActivePEs.GetByNodeNumber(iNode)->Ports[size_t(iPort)];
            port.CurrentWidth = uchWidth;
            port.uSpeedMHz = uSpeed;
        }
    }
    void Empty(int iNode, int iPort, int iNullNode)
    {
        Add(iNullNode, kPETypeNull, kNullDeviceIdentity, kNullDeviceIdentity, 0);
        Connect(iNode, iPort, iNullNode, 0, QStringLiteral("Down"));
    }
    // A route of a switch in the tables of the given ports (0..17 when none are given).
    void Route(int iNode, uint16_t wDestID, uint8_t uchPort, std::vector<int> tables = {})
    {
        if (tables.empty())
        {
            for (int i = 0; i < 18; ++i)
            {
                tables.push_back(i);
            }
        }
        CPEPrimitive* pPE = m_document.ActivePEs.GetByNodeNumber(iNode);
        for (const int iTable : tables)
        {
            auto& pTable = pPE->RoutingTables[size_t(iTable)];
            if (!pTable)
            {
                pTable = std::make_unique<CRoutingTable>();
            }
            pTable->AddEntry(wDestID, uchPort, eRoutePort, 0, false);
        }
    }

private:
    CPEPrimitive& Add(int iNode, uint32_t uType, uint16_t wDevice, uint16_t wVendor, int iPorts)
    {
        auto pPE = std::make_unique<CPEPrimitive>();
        pPE->iNodeNumber = iNode;
        pPE->uType = uType;
        pPE->DeviceID = wDevice;
        pPE->ManufID = wVendor;
        pPE->iNumLocalPorts = iPorts;
        pPE->UniqueID = QStringLiteral("pe%1").arg(iNode);
        return *m_document.ActivePEs.AddPrimitive(std::move(pPE));
    }
    void Connect(int iNode1, int iPort1, int iNode2, int iPort2, const QString& strStatus)
    {
        auto pConnection = std::make_unique<CConnectionPrimitive>();
        pConnection->iNodeNumber = m_iConnections++;
        pConnection->iPE1 = iNode1;
        pConnection->iPE1Port = iPort1;
        pConnection->iPE2 = iNode2;
        pConnection->iPE2Port = iPort2;
        pConnection->SetStatus(strStatus);
        m_document.ActiveConnections.AddPrimitive(std::move(pConnection));
    }

    CNetworkDocument& m_document;
    int m_iConnections;
};

// host (1) - sw (2) with ep 5h on port 1, port 2 empty, and over two parallel links (ports 4 and 5)
// a second switch with ep Fh on its port 1. Node numbers follow a list given in the order host,
// sw1, ep, null, sw2, ep2, null2, so that a live map can number the same fabric differently.
void DemoFabric(CNetworkDocument& document, const std::array<int, 7>& nodes, bool bSecondParallel = true)
{
    CMapBuilder map(document);
    const auto [iHost, iSw1, iEp1, iNull1, iSw2, iEp2, iNull2] = nodes;
    map.Endpoint(iHost, 0x01, true);
    map.Switch(iSw1);
    map.Endpoint(iEp1, 0x05);
    map.Switch(iSw2);
    map.Endpoint(iEp2, 0x0F);
    map.Link(iHost, 0, iSw1, 0);
    map.Link(iSw1, 1, iEp1, 0);
    map.Empty(iSw1, 2, iNull1);
    map.Link(iSw1, 4, iSw2, 4, 4, 5000);
    if (bSecondParallel)
    {
        map.Link(iSw1, 5, iSw2, 5, 4, 5000);
    }
    map.Link(iSw2, 1, iEp2, 0);
    map.Empty(iSw2, 2, iNull2);
    for (const auto& [wID, uchPort1, uchPort2] : {std::tuple{uint16_t(0x01), uint8_t(0), uint8_t(5)},
                                                  std::tuple{uint16_t(0x05), uint8_t(1), uint8_t(5)},
                                                  std::tuple{uint16_t(0x0F), uint8_t(4), uint8_t(1)}})
    {
        map.Route(iSw1, wID, uchPort1);
        map.Route(iSw2, wID, uchPort2);
    }
}

constexpr std::array<int, 7> kSavedNodes = {0, 1, 2, 3, 4, 5, 6};
// The same fabric found in another order: the far switch and its endpoint first.
constexpr std::array<int, 7> kLiveNodes = {0, 1, 6, 5, 2, 3, 4};

class CFabricDiffTest : public ::testing::Test
{
protected:
    void SetUp() override
    {
        SetMapTransportAccess([] { return 8; }, [](int) {});
        DemoFabric(m_saved, kSavedNodes);
    }
    std::vector<std::string> Lines()
    {
        std::vector<std::string> lines;
        for (const SFabricDifference& difference : CompareFabricMaps(m_saved, m_live))
        {
            lines.push_back(difference.strText.toStdString());
        }
        return lines;
    }
    CPEPrimitive& Live(int iSavedIndex)
    {
        return *m_live.ActivePEs.GetByNodeNumber(kLiveNodes[size_t(iSavedIndex)]);
    }

    CRecordingUserInterface m_ui;
    CNetworkDocument m_saved;
    CNetworkDocument m_live;
};

TEST_F(CFabricDiffTest, TheSameFabricNumberedOtherwiseMatches)
{
    DemoFabric(m_live, kLiveNodes);
    EXPECT_EQ(std::vector<std::string>{}, Lines());
    // The all-ones ID's entry is whatever the last walk laid; a table the map never read isn't
    // compared; entries that route nowhere say nothing.
    CMapBuilder live(m_live);
    live.Route(kLiveNodes[1], 0xFF, 4, {0});
    m_live.ActivePEs.GetByNodeNumber(kLiveNodes[1])
        ->RoutingTables[17]
        ->AddEntry(0x20, 0xDE, eRouteDefault, 0, false);
    m_saved.ActivePEs.GetByNodeNumber(1)->RoutingTables[3].reset();
    live.Route(kLiveNodes[1], 0x33, 2, {3});
    EXPECT_EQ(std::vector<std::string>{}, Lines());
}

TEST_F(CFabricDiffTest, AParallelLinkDownKeepsThePEsBehindItMatched)
{
    // The first link of the pair goes down: sw2 is now reached through port 5 only.
    DemoFabric(m_live, kLiveNodes);
    for (const auto& pConnection : m_live.ActiveConnections)
    {
        if (pConnection->iPE1 == kLiveNodes[1] && pConnection->iPE1Port == 4)
        {
            pConnection->bDeleted = true;
        }
    }
    EXPECT_EQ(std::vector<std::string>{"Node 2 port 4 down (was up to Node 5 port 4)"}, Lines());
}

TEST_F(CFabricDiffTest, AMissingSwitchTakesItsEndpointAlongAndItsPortsGoDownOnce)
{
    CMapBuilder live(m_live);
    live.Endpoint(0, 0x01, true);
    live.Switch(1);
    live.Endpoint(2, 0x05);
    live.Link(0, 0, 1, 0);
    live.Link(1, 1, 2, 0);
    live.Empty(1, 2, 3);
    live.Empty(1, 4, 4);
    live.Empty(1, 5, 5);
    for (const auto& [wID, uchPort] :
         {std::pair{uint16_t(0x01), uint8_t(0)}, std::pair{uint16_t(0x05), uint8_t(1)},
          std::pair{uint16_t(0x0F), uint8_t(4)}})
    {
        live.Route(1, wID, uchPort);
    }
    EXPECT_EQ((std::vector<std::string>{
                  "Node 2 port 4 down (was up to Node 5 port 4)",
                  "Node 2 port 5 down (was up to Node 5 port 5)",
                  "Node 5 missing: Switch device 0374h vendor 0038h",
                  "Node 6 missing: Memory device 0002h vendor FFF0h destID Fh",
              }),
              Lines());
}

TEST_F(CFabricDiffTest, WhatCameUpOnAnEmptyPortIsListedWithEverythingBehindIt)
{
    DemoFabric(m_live, kLiveNodes);
    // A switch on sw1's empty port 2 (node 3 of the saved map), with an endpoint on its port 1.
    CMapBuilder live(m_live);
    m_live.ActivePEs.GetByNodeNumber(kLiveNodes[3])->bDeleted = true;
    for (const auto& pConnection : m_live.ActiveConnections)
    {
        pConnection->bDeleted = pConnection->bDeleted || pConnection->iPE2 == kLiveNodes[3];
    }
    live.Switch(20);
    live.Endpoint(21, 0x2A);
    live.Link(kLiveNodes[1], 2, 20, 7);
    live.Link(20, 1, 21, 0);
    EXPECT_EQ((std::vector<std::string>{
                  "Node 2 port 2 up",
                  "PE added at Node 2 port 2: Switch device 0374h vendor 0038h",
                  "PE added at Node 2 port 2, port 1: Memory device 0002h vendor FFF0h destID 2Ah",
              }),
              Lines());
}

TEST_F(CFabricDiffTest, IdentityIDsWidthSpeedAndPortsAreComparedOncePerLink)
{
    DemoFabric(m_live, kLiveNodes);
    Live(2).DeviceID = 0x1003;
    Live(5).ShortDestID = 0x11;
    // sw1-sw2 port 4 trained narrower and slower, seen from both ends: one line each.
    for (const auto& [iIndex, iPort] : {std::pair{1, 4}, std::pair{4, 4}})
    {
        Live(iIndex).Ports[size_t(iPort)].CurrentWidth = 1;
        Live(iIndex).Ports[size_t(iPort)].uSpeedMHz = 2500;
    }
    // Only the far end of sw2-ep knows its width changed.
    Live(5).Ports[0].CurrentWidth = 2;
    EXPECT_EQ((std::vector<std::string>{
                  "Node 2 port 4 width 4x, now 1x",
                  "Node 2 port 4 speed 5 Gbaud, now 2.5 Gbaud",
                  "Node 3 changed: device 0002h vendor FFF0h, now device 1003h vendor FFF0h",
                  "Node 6 port 0 width 4x, now 2x",
                  "Node 6 changed: destID Fh, now destID 11h",
              }),
              Lines());
}

TEST_F(CFabricDiffTest, RouteChangesAreGroupedByTheTablesTheyAppearIn)
{
    DemoFabric(m_live, kLiveNodes);
    CMapBuilder live(m_live);
    live.Route(kLiveNodes[4], 0x0F, 2);               // every table of sw2
    live.Route(kLiveNodes[1], 0x05, 2, {0, 1, 2, 7}); // some of sw1's
    m_live.ActivePEs.GetByNodeNumber(kLiveNodes[1])
        ->RoutingTables[9]
        ->AddEntry(0x05, 3, eRouteMulticast, 0, false);
    live.Route(kLiveNodes[1], 0x40, 4, {6});
    CPEPrimitive& sw1 = *m_live.ActivePEs.GetByNodeNumber(kLiveNodes[1]);
    const int iEntry = sw1.RoutingTables[11]->FindEntry(0x01);
    ASSERT_GE(iEntry, 0);
    sw1.RoutingTables[11]->RemoveAt(iEntry);
    sw1.RoutingTables[12].reset();
    EXPECT_EQ((std::vector<std::string>{
                  "Node 2 table of port 12: could not be read",
                  "Node 2 table of port 11: route 1h to port 0, now none",
                  "Node 2 table of port 9: route 5h to port 1, now to multicast mask 3",
                  "Node 2 tables of ports 0-2, 7: route 5h to port 1, now to port 2",
                  "Node 2 table of port 6: route 40h to none, now to port 4",
                  "Node 5 tables of ports 0-17: route Fh to port 1, now to port 2",
              }),
              Lines());
}

TEST_F(CFabricDiffTest, ACableMovedToAnotherPortOfTheSameSwitch)
{
    DemoFabric(m_live, kLiveNodes);
    for (const auto& pConnection : m_live.ActiveConnections)
    {
        if (pConnection->iPE1 == kLiveNodes[4] && pConnection->iPE1Port == 1)
        {
            pConnection->iPE1Port = 6; // ep Fh now on sw2's port 6
        }
    }
    EXPECT_EQ((std::vector<std::string>{
                  "Node 5 port 1 down (was up to Node 6 port 0)",
                  "Node 5 port 6 up to Node 6 port 0",
              }),
              Lines());
}

TEST_F(CFabricDiffTest, TheMarksStayOnTheMapTheyWereMadeFor)
{
    DemoFabric(m_live, kLiveNodes, false);
    CMapBuilder live(m_live);
    Live(2).DeviceID = 0x1003;
    live.Endpoint(30, 0x33);
    live.Link(kLiveNodes[4], 2, 30, 0);
    m_live.ActivePEs.GetByNodeNumber(kLiveNodes[6])->bDeleted = true;
    CFabricComparison comparison;
    comparison.Set(m_saved, CompareFabricMaps(m_saved, m_live));
    ASSERT_FALSE(comparison.IsEmpty());
    const SComparisonMark* pChanged = comparison.PEMark(*m_saved.ActivePEs.GetByNodeNumber(2));
    ASSERT_TRUE(pChanged);
    EXPECT_EQ(eMarkChanged, pChanged->eMark);
    EXPECT_EQ(QStringLiteral("Node 3 changed: device 0002h vendor FFF0h, now device 1003h vendor FFF0h"),
              pChanged->strTip);
    // The parallel link that went down, and the Null PE where an endpoint came up, with its link.
    const CConnectionPrimitive* pDown = nullptr;
    const CConnectionPrimitive* pToNull = nullptr;
    for (const auto& pConnection : m_saved.ActiveConnections)
    {
        pDown = pConnection->iPE1 == 1 && pConnection->iPE1Port == 5 ? pConnection.get() : pDown;
        pToNull = pConnection->iPE1 == 4 && pConnection->iPE1Port == 2 ? pConnection.get() : pToNull;
    }
    ASSERT_TRUE(pDown && pToNull);
    ASSERT_TRUE(comparison.ConnectionMark(*pDown));
    EXPECT_EQ(eMarkMissing, comparison.ConnectionMark(*pDown)->eMark);
    ASSERT_TRUE(comparison.ConnectionMark(*pToNull));
    EXPECT_EQ(eMarkAdded, comparison.ConnectionMark(*pToNull)->eMark);
    const SComparisonMark* pNull = comparison.PEMark(*m_saved.ActivePEs.GetByNodeNumber(6));
    ASSERT_TRUE(pNull);
    EXPECT_EQ(eMarkAdded, pNull->eMark);
    EXPECT_EQ(QStringLiteral("Node 5 port 2 up\nPE added at Node 5 port 2: Memory device 0002h vendor FFF0h "
                             "destID 33h"),
              pNull->strTip);
    EXPECT_FALSE(comparison.PEMark(*m_saved.ActivePEs.GetByNodeNumber(0))) << "unchanged";

    // Another map with the same numbers: no marks on it.
    CNetworkDocument other;
    DemoFabric(other, kSavedNodes);
    other.ActivePEs.GetByNodeNumber(2)->UniqueID = QStringLiteral("elsewhere");
    EXPECT_FALSE(comparison.PEMark(*other.ActivePEs.GetByNodeNumber(2)));
    comparison.Clear();
    EXPECT_TRUE(comparison.IsEmpty());
    EXPECT_FALSE(comparison.PEMark(*m_saved.ActivePEs.GetByNodeNumber(2)));
}
} // namespace
} // namespace nvtest
