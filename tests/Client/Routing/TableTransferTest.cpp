// Generated routing tables in the map and in the simulated switches, the ways to PEs without an
// ID, and the commands around them.
#include "TableTransfer.h"
#include "ClientSimFixture.h"
#include "Discovery.h"
#include "FFRoutes.h"
#include "Preferences.h"
#include "RouteGeneration.h"

#include <set>

namespace nvtest
{
namespace
{
// host0 - sw1 - sw2 - ep2, ep1 and ep3 on sw1, all CPS-1848 switches with a table per port.
std::string Fabric()
{
    return std::string(kHostLine) +
           "device sw1 switch model=cps1848\ndevice sw2 switch model=cps1848\n"
           "device ep1 endpoint device=0x1001 memory\ndevice ep2 endpoint device=0x1002 memory\n"
           "device ep3 endpoint device=0x1003 memory\n"
           "host host0\nlink host0:0 sw1:0\nlink sw1:1 sw2:0\nlink sw1:2 ep1:0\nlink sw2:3 ep2:0\n"
           "link sw1:4 ep3:0\n";
}

class CTableTest : public CClientSimTest
{
protected:
    // An enumerated map of the fabric: ep2 gets 5, ep1 10, ep3 15.
    void Discover(bool bEnumerate = true)
    {
        SDiscoveryRequest request;
        request.bEnumerate = bEnumerate;
        request.bTryAllClockRates = false;
        ASSERT_EQ(0, StandardDiscovery(request, m_map, &m_host, {}));
    }
    CPEPrimitive* Node(int iNode) { return m_map.ActivePEs.GetByNodeNumber(iNode); }
    CPEPrimitive* Switch(const char* pszUniqueID) { return m_map.ActivePEs.GetPEByUniqueID(pszUniqueID); }

    CNetworkDocument m_map;
};

TEST_F(CTableTest, GeneratedTablesGoDownAndTheSwitchesRouteByThem)
{
    Load(Fabric());
    Discover();
    EXPECT_EQ(0u, IdentityAt(5, 2) & 0xFFFF0000u) << "before any download nothing routes ID 5";
    EXPECT_EQ(2, GenerateRoutes(m_map));
    CPEPrimitive* pSw1 = Switch("1fff00037438");
    ASSERT_TRUE(pSw1 && pSw1->RoutingTables[0]);
    EXPECT_TRUE(pSw1->RoutingTables[0]->bModified);
    uint8_t uchPort = 0;
    EXPECT_GE(pSw1->RoutingTables[0]->FindEntry(5, &uchPort), 0);
    EXPECT_EQ(1, uchPort);
    // The route search reads only tables the hardware has, until they went down.
    uint32_t ulID = 0;
    uint8_t uchHop = 0;
    const CPEPrimitive* pEp2 = m_map.ActivePEs.GetPEByDestID(5);
    EXPECT_EQ(kNoRouteStatus, FindRoute(Node(0), pEp2, m_map.ActivePEs, m_map.ActiveConnections, &ulID,
                                        &uchHop, false, nullptr));

    m_ui.answers = {eAnswerYes};
    EXPECT_EQ(2, DownloadAllTables(m_map));
    EXPECT_EQ("Skip routing table download for unused ports?", m_ui.questions.back());
    EXPECT_FALSE(pSw1->RoutingTables[0]->bModified);
    ASSERT_EQ(0, FindRoute(Node(0), pEp2, m_map.ActivePEs, m_map.ActiveConnections, &ulID, &uchHop, false,
                           nullptr));
    EXPECT_EQ(5u, ulID);
    EXPECT_EQ(2, uchHop);
    EXPECT_EQ(0x1002FFF0u, IdentityAt(5, 2)) << "the switches route by the downloaded tables";
    EXPECT_EQ(0x1003FFF0u, IdentityAt(15, 1));
    // An unused port's table was left alone: sw1 port 3 leads to an empty place.
    EXPECT_TRUE(IsUnusedPort(m_map, *pSw1, 3));
    EXPECT_FALSE(IsUnusedPort(m_map, *pSw1, 2));

    // Back up: the tables read are those sent, no longer marked modified; the default port is read.
    const std::vector<SRouteEntry> sent = pSw1->RoutingTables[0]->Entries();
    pSw1->RoutingTables[0].reset();
    EXPECT_EQ(2, UploadAllTables(m_map, true));
    ASSERT_TRUE(pSw1->RoutingTables[0]);
    EXPECT_FALSE(pSw1->RoutingTables[0]->bModified);
    for (const SRouteEntry& entry : sent)
    {
        EXPECT_GE(pSw1->RoutingTables[0]->FindEntry(entry.DestID, &uchPort), 0) << entry.DestID;
        EXPECT_EQ(entry.Port, uchPort) << entry.DestID;
    }
    EXPECT_TRUE(pSw1->HasDefaultPort());
}

TEST_F(CTableTest, SwitchesWithoutIDsAreReachedByAllOnesRoutesThatStay)
{
    Load(Fabric());
    Discover(false);
    CPEPrimitive* pSw2 = Switch("1fff000374381037438");
    ASSERT_TRUE(pSw2);
    uint8_t uchHop = 0;
    ASSERT_EQ(0, SetupFFRoute(m_map, Node(0), Node(pSw2->iNodeNumber), false, &uchHop));
    EXPECT_EQ(1, uchHop);
    EXPECT_EQ(0x0374'0038u, IdentityAt(0xFF, 1));
    const CPEPrimitive* pEp2 = nullptr;
    for (const auto& pPE : m_map.ActivePEs)
        pEp2 = pPE->DeviceID == 0x1002 ? pPE.get() : pEp2;
    ASSERT_EQ(0, SetupFFRoute(m_map, Node(0), pEp2, false, &uchHop));
    EXPECT_EQ(2, uchHop);
    EXPECT_EQ(0x1002FFF0u, IdentityAt(0xFF, 2)) << "the entries stay in the switches";

    // Reaching the switch for an operation takes the same way.
    uint32_t ulDestID = 0;
    ASSERT_TRUE(ReachPE(m_map, *pSw2, &ulDestID, &uchHop));
    EXPECT_EQ(0xFFu, ulDestID);
    EXPECT_EQ(1, uchHop);
    QString strShown;
    ASSERT_TRUE(ReadDefaultPort(m_map, *pSw2, &strShown));
    EXPECT_TRUE(strShown.endsWith(QLatin1Char('h')));
    EXPECT_FALSE(SetDefaultPortFromText(m_map, *pSw2, QStringLiteral("  ")));
    EXPECT_FALSE(SetDefaultPortFromText(m_map, *pSw2, QStringLiteral("zz")));
    EXPECT_TRUE(SetDefaultPortFromText(m_map, *pSw2, QStringLiteral("3")));
    EXPECT_EQ((QStringList{QStringLiteral("Please enter a default port value."),
                           QStringLiteral("Invalid format for default port")}),
              m_ui.messages.mid(m_ui.messages.size() - 2));
    EXPECT_EQ(3, pSw2->GetDefaultPort());
    ASSERT_TRUE(ReadDefaultPort(m_map, *pSw2, &strShown));
    EXPECT_EQ("3h", strShown);
}

TEST_F(CTableTest, ManualRoutesGoIntoTheTablesOfTheSwitchesOnTheWay)
{
    Load(Fabric());
    Discover();
    const CPEPrimitive* pEp1 = m_map.ActivePEs.GetPEByDestID(10);
    const CPEPrimitive* pEp2 = m_map.ActivePEs.GetPEByDestID(5);
    CPEPrimitive* pSw1 = Switch("1fff00037438");
    CPEPrimitive* pSw2 = Switch("1fff000374381037438");
    using Item = SRouteSelectionItem;
    const std::vector<Item> selection = {{Item::ePE, pEp1->iNodeNumber},
                                         {Item::ePE, pSw1->iNodeNumber},
                                         {Item::ePE, pSw2->iNodeNumber},
                                         {Item::ePE, pEp2->iNodeNumber}};
    ASSERT_TRUE(CreateRoutes(m_map, selection, true, true, false));
    EXPECT_EQ("Forward and reverse routes have been created.", m_ui.messages.back());
    uint8_t uchPort = 0;
    ASSERT_TRUE(pSw1->RoutingTables[2]);
    EXPECT_GE(pSw1->RoutingTables[2]->FindEntry(5, &uchPort), 0) << "arriving from ep1 on port 2";
    EXPECT_EQ(1, uchPort);
    ASSERT_TRUE(pSw2->RoutingTables[3]);
    EXPECT_GE(pSw2->RoutingTables[3]->FindEntry(10, &uchPort), 0);
    EXPECT_EQ(0, uchPort);
    EXPECT_TRUE(pSw2->RoutingTables[3]->bModified);

    EXPECT_FALSE(CreateRoutes(m_map, {{Item::ePE, pEp1->iNodeNumber}}, true, false, false));
    EXPECT_EQ("Not enough PEs have been selected to create the route.", m_ui.messages.back());
    EXPECT_FALSE(CreateRoutes(m_map, {{Item::ePE, pEp1->iNodeNumber}, {Item::ePE, pEp2->iNodeNumber}}, true,
                              false, false));
    EXPECT_EQ("Unable to create routes.", m_ui.messages.back());
    EXPECT_EQ("You have selected two PEs that are not directly connected.",
              m_ui.messages.at(m_ui.messages.size() - 2));
}
} // namespace
} // namespace nvtest

namespace nvtest
{
namespace
{
TEST_F(CTableTest, FlashingWritesTheTableIntoTheSwitchsEepromImage)
{
    // A Tsi578 with a serial EEPROM: flashing appends the port routes of every port's table as
    // register-write records.
    Load(std::string(kHostLine) +
         "device sw1 switch model=tsi578 eeprom=8K\ndevice ep1 endpoint device=0x1001 memory\n"
         "device ep2 endpoint device=0x1002 memory\n"
         "host host0\nlink host0:0 sw1:0\nlink sw1:1 ep1:0\nlink sw1:2 ep2:0\n");
    Discover();
    ASSERT_EQ(1, GenerateRoutes(m_map));
    CPEPrimitive* pSw1 = Switch("1fff000578d");
    ASSERT_TRUE(pSw1);
    ASSERT_TRUE(pSw1->bHasPerPortRoutingTables);
    int nEntries = 0;
    for (const auto& pTable : pSw1->RoutingTables)
    {
        for (int i = 0; pTable && i < pTable->GetNumEntries(); ++i)
        {
            nEntries += pTable->GetEntry(i).eType == eRoutePort ? 1 : 0;
        }
    }
    ASSERT_GT(nEntries, 2);

    EXPECT_TRUE(DownloadPETables(m_map, *pSw1, true, true, false)) << "with the image started afresh";
    EXPECT_TRUE(m_ui.messages.isEmpty()) << m_ui.messages.join(QLatin1Char('|')).toStdString();
    EXPECT_EQ(QStringList{"Flashing routing tables. Please wait..."}, m_ui.workTitles);
    EXPECT_FALSE(pSw1->RoutingTables[0]->bModified);
    // The image's header counts two records (a DestID and a port register write) per route.
    uint8_t header[4] = {0, 0, 0, 0};
    ASSERT_EQ(NVXL_OK, HalReadEEPROM(0x000D, 0x0578, 0, 0xFF, 0, 4, 0, header));
    EXPECT_EQ(2 * nEntries, (header[0] << 8) | header[1]);
    // Flashing doesn't touch the live table: nothing routes ep2's ID yet.
    const CPEPrimitive* pEp2 = m_map.ActivePEs.GetPEByUniqueID("1fff000578d201002fff0");
    ASSERT_TRUE(pEp2);
    EXPECT_EQ(0u, IdentityAt(pEp2->ShortDestID, 1) & 0xFFFF0000u);
}
} // namespace
} // namespace nvtest

namespace nvtest
{
namespace
{
// 16-bit IDs from 0xF0 in steps of 0x81 spread the PEs over domains 0 to 4, each domain's IDs
// behind different switches, so that every CPS-1848 on the way routes some domains by their
// domain entry and others by its device entries: after the download each PE answers a
// maintenance read at the ID and hop count the map gives for it.
TEST_F(CTableTest, SixteenBitIDsOfSeveralDomainsReachEveryPEThroughTheSwitches)
{
    Load(std::string(kHostLine) +
         "device sw1 switch model=cps1848\ndevice sw2 switch model=cps1848\ndevice sw3 switch model=cps1432\n"
         "device ep1 endpoint device=0x1001 memory\ndevice ep2 endpoint device=0x1002 memory\n"
         "device ep3 endpoint device=0x1003 memory\ndevice ep4 endpoint device=0x1004 memory\n"
         "device ep5 endpoint device=0x1005 memory\ndevice ep6 endpoint device=0x1006 memory\n"
         "host host0\nlink host0:0 sw1:0\nlink sw1:1 sw2:0\nlink sw2:1 sw3:0\n"
         "link sw1:2 ep1:0\nlink sw2:2 ep2:0\nlink sw3:2 ep3:0\nlink sw1:3 ep4:0\n"
         "link sw2:3 ep5:0\nlink sw3:3 ep6:0\n");
    SetMapTransportAccess([] { return 16; }, [](int) {});
    HalSetLargeTransport(1);
    SDiscoveryRequest request;
    request.bEnumerate = true;
    request.bLongDestIDs = true;
    request.bTryAllClockRates = false;
    request.ulFirstDestID = 0xF0;
    request.ulDestIDIncr = 0x81;
    ASSERT_EQ(0, StandardDiscovery(request, m_map, &m_host, {}));
    std::set<int> domains;
    int nEndpoints = 0;
    for (const auto& pPE : m_map.ActivePEs)
    {
        if (pPE.get() != Node(0) && !(pPE->uType & (kPETypeSwitch | kPETypeNull | kPETypeUnknown)))
        {
            ++nEndpoints;
            domains.insert(pPE->LongDestID >> 8);
        }
    }
    ASSERT_EQ(6, nEndpoints);
    ASSERT_GE(domains.size(), 4u) << "the IDs must span several domains";
    ASSERT_EQ(3, GenerateRoutes(m_map));
    m_ui.answers = {eAnswerNo};
    ASSERT_EQ(3, DownloadAllTables(m_map)) << m_ui.messages.join(QLatin1Char('|')).toStdString();

    for (const auto& pPE : m_map.ActivePEs)
    {
        if (pPE.get() == Node(0) || (pPE->uType & (kPETypeNull | kPETypeUnknown)))
            continue;
        uint32_t ulID = 0;
        uint8_t uchHop = 0;
        ASSERT_EQ(0, FindRoute(Node(0), pPE.get(), m_map.ActivePEs, m_map.ActiveConnections, &ulID, &uchHop,
                               false, nullptr))
            << pPE->CommonName.toStdString();
        if (!(pPE->uType & kPETypeSwitch))
        {
            EXPECT_EQ(pPE->LongDestID, ulID) << "an endpoint is reached by its own ID";
        }
        uint32_t ulIdentity = 0;
        EXPECT_EQ(0, m_pFabric->MaintRead(0, ulID, uchHop, 0, &ulIdentity, 1, 4, 4, true))
            << std::hex << ulID << " hop " << int{uchHop};
        EXPECT_EQ((uint32_t{pPE->DeviceID} << 16) | pPE->ManufID, ulIdentity)
            << std::hex << ulID << " hop " << int{uchHop};
    }
}
} // namespace
} // namespace nvtest
