// Passive discovery on the in-process simulator: a fabric in service whose endpoints answer only
// their own IDs is resolved through the routes its tables already hold, and the journal of the
// switches' tables shows that nothing the system routes was redirected; candidates are tried by
// route length; what can't be resolved (no route leads there, a switch answered, the fabric
// changed) stays unknown with its reason; and the route test's judgement of entries.
#include "PassiveDiscovery.h"
#include "ClientSimFixture.h"
#include "Discovery.h"
#include "FFRoutes.h"
#include "RouteProgramming.h"
#include "TestSupport.h"

#include "nvsim/StdDevice.h"

#include <fstream>
#include <map>
#include <sstream>
#include <tuple>

namespace nvtest
{
namespace
{
// The CPS-1848's and 70K2000's route table codes (IDT CPS-1848 manual, Route Table Entries).
constexpr uint8_t kIdtDefault = 0xDE;
constexpr uint8_t kIdtNoRoute = 0xDF;

std::string ShippedTopology(const char* pszName)
{
    std::ifstream in(SourceDir() + "/Simulator/topologies/" + pszName);
    std::ostringstream text;
    text << in.rdbuf();
    return text.str();
}

// Every entry of every table of the fabric's switches, by (switch, table, ID).
using TableState = std::map<std::tuple<std::string, int, uint32_t>, uint8_t>;

TableState Tables(nvsim::CSimFabric& fabric)
{
    TableState state;
    for (nvsim::CSimDevice* pDevice : fabric.Devices())
    {
        const auto* pSwitch = dynamic_cast<const nvsim::CStdDevice*>(pDevice);
        if (!pSwitch || !pDevice->IsSwitch())
            continue;
        const int nTables = pDevice->Config().bPerPortRouting ? pDevice->PortCount() : 1;
        for (int t = 0; t < nTables; ++t)
        {
            for (uint32_t ulID = 0; ulID <= 0xFF; ++ulID)
                state[{pDevice->Name(), t, ulID}] = pSwitch->RouteEntry(ulID, static_cast<uint8_t>(t));
        }
    }
    return state;
}

class CPassiveDiscoveryTest : public CClientSimTest
{
protected:
    // The first phase alone: the walk that doesn't enumerate and uploads the tables.
    void Walk()
    {
        SDiscoveryRequest request;
        request.bLog = true;
        request.bTryAllClockRates = false;
        request.bScanExistingIDs = false;
        request.bUploadRoutingTables = true;
        request.bSkipUploadUnusedPorts = true;
        request.bBreakLocks = request.bIgnoreLocks = request.bSetDiscovered = false;
        CDiscovery discovery(m_map);
        ASSERT_EQ(0, discovery.Discover(request, &m_map, &m_host));
        m_ui.workLines.clear();
    }
    void Resolve()
    {
        ResolvePassively(m_map, false, [this](const QString& strLine) { m_log << strLine; });
    }
    // The whole discovery, as the command runs it with logging on.
    int32_t Passive()
    {
        m_ui.answers = {eAnswerYes};
        const int32_t nStatus = PassiveDiscoveryCommand(m_map, &m_host, {});
        m_log = m_ui.workLines;
        return nStatus;
    }
    // Node number of the PE linked to a PE's port, or -1.
    int Behind(int iNode, int iPort) const
    {
        for (const auto& pConnection : m_map.ActiveConnections)
        {
            if (pConnection->iPE1 == iNode && pConnection->iPE1Port == iPort)
                return pConnection->iPE2;
            if (pConnection->iPE2 == iNode && pConnection->iPE2Port == iPort)
                return pConnection->iPE1;
        }
        return -1;
    }
    CPEPrimitive& PE(int iNode) const { return *m_map.ActivePEs.GetByNodeNumber(iNode); }
    // The log lines of one PE's turn: from its first line up to the next PE's.
    QStringList Section(int iNode) const
    {
        const QString strUnknown =
            QStringLiteral("Attempting to identify unknown PE at node %1\n").arg(iNode + 1);
        const QString strKnown =
            QStringLiteral("Adding on-ramp route to known PE at node %1\n").arg(iNode + 1);
        QStringList lines;
        bool bIn = false;
        for (const QString& strLine : m_log)
        {
            if (bIn && (strLine.startsWith(QStringLiteral("Attempting to identify unknown PE at node")) ||
                        strLine.startsWith(QStringLiteral("Adding on-ramp route to known PE at node"))))
                break;
            bIn = bIn || strLine == strUnknown || strLine == strKnown;
            if (bIn)
                lines << strLine;
        }
        return lines;
    }
    static int IndexOf(const QStringList& lines, const QString& strStart)
    {
        for (int i = 0; i < lines.size(); ++i)
        {
            if (lines[i].startsWith(strStart))
                return i;
        }
        return -1;
    }

    CNetworkDocument m_map;
    QStringList m_log;
};

TEST_F(CPassiveDiscoveryTest, AFabricInServiceIsResolvedThroughItsOwnRoutesWithNoEntryInUseChanged)
{
    Load(ShippedTopology("inservice.topo"));
    // sw1's default route (the standard Route Default Port CSR, 78h) sends what it can't route to
    // the host; a walk of a fabric in service must not reset it to "no route".
    nvsim::CSimDevice* pSw1 = m_pFabric->FindDevice("sw1");
    ASSERT_NE(nullptr, pSw1);
    pSw1->SetReg(0x78, 0);
    const uint32_t ulDefaultBefore = pSw1->Reg(0x78);
    const TableState before = Tables(*m_pFabric);
    m_pFabric->RouteJournal().Enable(true);
    ASSERT_EQ(0, Passive());
    EXPECT_EQ(QStringList{QStringLiteral("Passive Discovery")}, m_ui.workTitles);
    EXPECT_EQ(QStringList{QStringLiteral("Enable discovery logging?")}, m_ui.questions)
        << "no settings and no question about unused ports";

    const int iSw1 = Behind(0, 0);
    const int iSw2 = Behind(iSw1, 3);
    const int iDsp1 = Behind(iSw1, 1), iIo1 = Behind(iSw1, 2);
    const int iDsp2 = Behind(iSw2, 1), iDsp3 = Behind(iSw2, 2), iSpare = Behind(iSw2, 3);
    ASSERT_TRUE(iSw2 > 0 && iDsp1 > 0 && iIo1 > 0 && iDsp2 > 0 && iDsp3 > 0 && iSpare > 0);
    // The DSPs answer only their own IDs: the walk left them unknown, the routes identified them.
    for (auto [iNode, wID] : {std::pair{iDsp1, 0x05}, std::pair{iDsp2, 0x0F}, std::pair{iDsp3, 0x14}})
    {
        const CPEPrimitive& pe = PE(iNode);
        EXPECT_FALSE(pe.uType & kPETypeUnknown) << "node " << iNode + 1;
        EXPECT_TRUE(pe.uType & kPETypeProcessor);
        EXPECT_EQ(0x0101, pe.DeviceID);
        EXPECT_EQ(0xFFF0, pe.ManufID);
        EXPECT_TRUE(pe.bUsesDestID);
        EXPECT_EQ(wID, pe.ShortDestID);
        EXPECT_TRUE(pe.ErrorNote.isEmpty());
        EXPECT_TRUE(m_log.contains(QStringLiteral("Successfully identified node %1\n").arg(iNode + 1)));
    }
    for (const auto& pConnection : m_map.ActiveConnections)
    {
        if (pConnection->iPE2 == iDsp3 || pConnection->iPE1 == iDsp3)
        {
            EXPECT_EQ(QStringLiteral("Up"), pConnection->GetStatus());
        }
    }
    // Nothing routes the spare board's ID: it stays unknown and says why.
    EXPECT_TRUE(PE(iSpare).uType & kPETypeUnknown);
    EXPECT_TRUE(
        m_log.contains(QStringLiteral("No existing routes found.  Unable to determine ID of node %1 using "
                                      "routing table information.\n")
                           .arg(iSpare + 1)));

    // The host's own route to dsp1 is used as it stands; dsp3, reached only from io1, needs an
    // on-ramp at sw1's port from the host.
    const QStringList dsp1 = Section(iDsp1);
    EXPECT_GE(
        IndexOf(dsp1, QStringLiteral("Found the following existing route from the host to the unknown PE "
                                     "using ID 5h:\n")),
        0)
        << dsp1.join(QString()).toStdString();
    EXPECT_EQ(-1, IndexOf(dsp1, QStringLiteral("MakeOnramp:")));
    const QStringList dsp3 = Section(iDsp3);
    EXPECT_GE(
        IndexOf(dsp3, QStringLiteral("The following route is good.  Using it to make on-ramp routes.\n")), 0)
        << dsp3.join(QString()).toStdString();
    EXPECT_NE(0u, IdentityAt(0x14, 1)) << "the on-ramp stays: the host reaches dsp3 by its ID";
    uint8_t uchPort = 0;
    ASSERT_TRUE(PE(iSw1).RoutingTables[0]);
    EXPECT_GE(PE(iSw1).RoutingTables[0]->FindEntry(0x14, &uchPort), 0) << "the map's copy holds the on-ramp";
    EXPECT_EQ(3, uchPort);
    // io1 answered the walk; it already has its ways to and from the host.
    EXPECT_GE(IndexOf(Section(iIo1), QStringLiteral("Found the following existing route from the host to the "
                                                    "unknown PE:\n")),
              0);
    EXPECT_TRUE(m_log.contains(QStringLiteral("Successfully routed from host to node %1\n").arg(iIo1 + 1)));
    EXPECT_TRUE(m_ui.workLines.contains(QStringLiteral("Passive discovery complete.")));

    // The journal: apart from the all-ones ID of the discovery's own temporary routes, only free
    // entries were written, and every entry the system routed by holds what it held.
    const std::vector<nvsim::SRouteWrite>& journal = m_pFabric->RouteJournal().Entries();
    bool bOnramp = false;
    for (const nvsim::SRouteWrite& write : journal)
    {
        if (write.ulDestId == 0xFF)
            continue;
        EXPECT_TRUE(write.uchOld == kIdtDefault || write.uchOld == kIdtNoRoute)
            << write.strSwitch << " table " << write.nTable << " ID " << write.ulDestId << ": "
            << int(write.uchOld) << " -> " << int(write.uchNew);
        bOnramp = bOnramp || (write.strSwitch == "sw1" && write.nTable == 0 && write.ulDestId == 0x14 &&
                              write.uchNew == 3);
    }
    EXPECT_TRUE(bOnramp) << m_pFabric->RouteJournal().Text();
    EXPECT_EQ(ulDefaultBefore, pSw1->Reg(0x78)) << "the default route was reset";
    const TableState after = Tables(*m_pFabric);
    for (const auto& [key, uchBefore] : before)
    {
        if (uchBefore < 18)
        {
            EXPECT_EQ(uchBefore, after.at(key))
                << std::get<0>(key) << " table " << std::get<1>(key) << " ID " << std::get<2>(key);
        }
    }
}

// host0 on sw1's port 4; epX on port 5 answers only 0x30, which the host routes to it directly.
// 0x2A reaches it from epZ through sw2 and is found first in sw1's tables (port 1 before port 4).
std::string TwoCandidates(const char* pszExtra = "")
{
    return std::string(kHostLine) +
           "device sw1 switch model=cps1848\ndevice sw2 switch model=cps1848\n"
           "device epX endpoint device=0x2001 memory accept=own id=0x30\n"
           "device epZ endpoint device=0x2002 memory id=0x50\n"
           "host host0\nlink host0:0 sw1:4\nlink sw1:1 sw2:0\nlink sw1:5 epX:0\nlink sw2:2 epZ:0\n"
           "route sw1 0x01 4\nroute sw2 0x01 0\n"
           "route sw2 0x2A 0 table=2\nroute sw1 0x2A 5 table=1\nroute sw1 0x30 5 table=4\n" +
           std::string(pszExtra);
}

TEST_F(CPassiveDiscoveryTest, TheCandidateWithTheShortestRouteIsTriedFirstAnd8BitIgnoresWideIDs)
{
    Load(TwoCandidates());
    Walk();
    const int iSw1 = Behind(0, 0);
    const int iX = Behind(iSw1, 5);
    ASSERT_GT(iX, 0);
    ASSERT_TRUE(PE(iX).uType & kPETypeUnknown);
    // An entry no 8-bit packet can carry, towards the same port.
    PE(iSw1).RoutingTables[2] = std::make_unique<CRoutingTable>();
    PE(iSw1).RoutingTables[2]->AddEntry(0x130, 5, eRoutePort, 0, false);
    Resolve();
    const QStringList lines = Section(iX);
    const int iLong = IndexOf(lines, QStringLiteral("2Ah is a potential destination ID"));
    const int iShort = IndexOf(lines, QStringLiteral("30h is a potential destination ID"));
    ASSERT_GE(iLong, 0) << lines.join(QString()).toStdString();
    EXPECT_GT(iShort, iLong) << "0x2A is found first";
    EXPECT_EQ(-1, IndexOf(lines, QStringLiteral("130h is a potential destination ID")));
    const int iSorted = IndexOf(lines, QStringLiteral("Sorting existing routes"));
    ASSERT_GE(iSorted, 0);
    EXPECT_EQ(iSorted + 1,
              IndexOf(lines, QStringLiteral("Found the following existing route from the host to the "
                                            "unknown PE using ID 30h:")))
        << lines.join(QString()).toStdString();
    EXPECT_EQ(-1, IndexOf(lines, QStringLiteral("MakeOnramp:"))) << "the longer route was never needed";
    EXPECT_EQ(-1, IndexOf(lines, QStringLiteral("Unable to identify")));
    EXPECT_EQ(0x30, PE(iX).ShortDestID);
    EXPECT_EQ(0x2001, PE(iX).DeviceID);
}

TEST_F(CPassiveDiscoveryTest, AnUnknownThatAnswersAsASwitchStaysUnknown)
{
    // sw3 loses its answers during the walk; afterwards a route the host uses ends there.
    Load(std::string(kHostLine) +
         "device sw1 switch model=cps1848\ndevice sw3 switch model=cps1848\n"
         "host host0\nlink host0:0 sw1:0\nlink sw1:1 sw3:0\nroute sw1 0x01 0\nroute sw1 0x60 1 table=0\n"
         "route sw3 0x01 0\n");
    m_pFabric->Device("sw3").SetMute(true);
    Walk();
    m_pFabric->Device("sw3").SetMute(false);
    const int iSw3 = Behind(Behind(0, 0), 1);
    ASSERT_GT(iSw3, 0);
    ASSERT_TRUE(PE(iSw3).uType & kPETypeUnknown);
    Resolve();
    const QStringList lines = Section(iSw3);
    EXPECT_GE(IndexOf(lines, QStringLiteral("FOUND DEVICE HopCount=01:  DeviceID=0374h  VendorID=0038h")), 0)
        << lines.join(QString()).toStdString();
    EXPECT_GE(IndexOf(lines, QStringLiteral("Unable to identify node %1 using DestID 60h").arg(iSw3 + 1)), 0);
    EXPECT_TRUE(
        lines.contains(QStringLiteral("Unable to determine ID of node %1 using routing table information.\n")
                           .arg(iSw3 + 1)));
    EXPECT_TRUE(PE(iSw3).uType & kPETypeUnknown);
    EXPECT_FALSE(PE(iSw3).bUsesDestID);
}

TEST_F(CPassiveDiscoveryTest, AFabricThatChangesAfterTheWalkLeavesThatPEUnknownAndTheRestGoesOn)
{
    Load(ShippedTopology("inservice.topo"));
    Walk();
    const int iSw2 = Behind(Behind(0, 0), 3);
    const int iDsp2 = Behind(iSw2, 1), iDsp3 = Behind(iSw2, 2);
    ASSERT_TRUE(iDsp2 > 0 && iDsp3 > 0);
    m_pFabric->Link("dsp3", 0)->SetTrained(false);
    Resolve();
    EXPECT_FALSE(PE(iDsp2).uType & kPETypeUnknown);
    EXPECT_TRUE(PE(iDsp3).uType & kPETypeUnknown);
    ASSERT_FALSE(m_ui.messages.isEmpty());
    EXPECT_TRUE(m_ui.messages.back().endsWith(QStringLiteral(
        "encountered when attempting to read device and vendor information from the unknown PE.")))
        << m_ui.messages.back().toStdString();
    EXPECT_TRUE(
        m_log.contains(QStringLiteral("Unable to identify node %1 using DestID 14h\n").arg(iDsp3 + 1)));
}

TEST_F(CPassiveDiscoveryTest, BehindAHostPortThatIsNotTrainedThereIsNothingToResolveAndNothingIsWritten)
{
    std::string strTopology = ShippedTopology("inservice.topo");
    strTopology.replace(strTopology.find("link host0:0 sw1:0 speed=3.125"), 30,
                        "link host0:0 sw1:0 speed=3.125 trained=no");
    Load(strTopology);
    m_pFabric->RouteJournal().Enable(true);
    ASSERT_EQ(0, Passive());
    ASSERT_EQ(2, m_map.ActivePEs.GetCount());
    EXPECT_EQ(kPETypeNull, PE(1).uType) << "the host's port leads nowhere";
    ASSERT_EQ(1, m_map.ActiveConnections.GetCount());
    EXPECT_EQ(QStringLiteral("Down"), m_map.ActiveConnections.GetByIndex(0)->GetStatus());
    EXPECT_TRUE(m_log.contains(QStringLiteral("\nResolving unknown nodes.\n")));
    EXPECT_EQ(-1, IndexOf(m_log, QStringLiteral("Attempting to identify")));
    EXPECT_TRUE(m_pFabric->RouteJournal().Entries().empty()) << m_pFabric->RouteJournal().Text();
}

TEST_F(CPassiveDiscoveryTest, ARouteTestFreesUnusedAndDefaultEntriesForwardButNoDefaultOneInReverse)
{
    Load(ShippedTopology("inservice.topo"));
    Walk();
    const int iSw1 = Behind(0, 0);
    const int iSw2 = Behind(iSw1, 3);
    const int iDsp2 = Behind(iSw2, 1);
    ASSERT_GT(iDsp2, 0);
    CRoute route; // host - sw1 - sw2 - dsp2
    route.AddEntry(0, 0, static_cast<uint32_t>(iSw1), 0);
    route.AddEntry(static_cast<uint32_t>(iSw1), 3, static_cast<uint32_t>(iSw2), 0);
    route.AddEntry(static_cast<uint32_t>(iSw2), 1, static_cast<uint32_t>(iDsp2), 0);
    m_pFabric->RouteJournal().Enable(true);
    auto test = [&](uint16_t wID, bool bReverse)
    {
        m_log.clear();
        return TestRoute(route, m_map, wID, bReverse, [this](const QString& strLine) { m_log << strLine; });
    };
    // 0x33 is routed nowhere: every entry for it still holds the reset value, "use the default port".
    EXPECT_TRUE(test(0x33, false));
    EXPECT_EQ(QStringLiteral("No conflicts found.\n"), m_log.back());
    EXPECT_EQ(
        QStringLiteral("Testing forward route to port 0 of PE %1 for destination ID 33h to go out port 3\n")
            .arg(iSw1 + 1),
        m_log.front());
    EXPECT_FALSE(test(0x33, true));
    EXPECT_EQ(QStringLiteral("There is already a type 2 routing table entry here, so can't modify it.\n"),
              m_log.back());
    // The route the host uses for dsp2 already goes this way; io1's ID goes elsewhere.
    EXPECT_TRUE(test(0x0F, false));
    EXPECT_FALSE(test(0x0A, false));
    EXPECT_EQ(QStringLiteral("There is already an existing port route to port 2 here, so can't modify it.\n"),
              m_log.back());
    for (const nvsim::SRouteWrite& write : m_pFabric->RouteJournal().Entries())
        EXPECT_EQ(0xFFu, write.ulDestId) << "a test writes only the temporary all-ones routes";
}
} // namespace
} // namespace nvtest
