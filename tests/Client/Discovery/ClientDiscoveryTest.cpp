// The client's standard discovery on the in-process simulator: the map it makes, the map it
// leaves alone when the walk fails, the layout after the map it replaces, the host's ID, and the
// settings a person enters.
#include "AutoLayout.h"
#include "ClientSimFixture.h"
#include "Discovery.h"
#include "Preferences.h"

#include <QCoreApplication>

namespace nvtest
{
namespace
{
// host0 - sw1 = sw2 (two parallel links) - ep2, ep1 and an unanswering endpoint on sw1.
std::string Fabric()
{
    return std::string(kHostLine) +
           "device sw1 switch model=cps1848\ndevice sw2 switch model=cps1848\n"
           "device ep1 endpoint device=0x1001 memory\ndevice ep2 endpoint device=0x1002 memory\n"
           "device mute endpoint device=0x1003\n"
           "host host0\nlink host0:0 sw1:0\nlink sw1:1 sw2:0\nlink sw1:5 sw2:5\nlink sw1:2 ep1:0\n"
           "link sw2:3 ep2:0\nlink sw1:3 mute:0\nfault mute:device=mute\n";
}

class CDiscoveryClientTest : public CClientSimTest
{
protected:
    int32_t Discover(bool bEnumerate, const LayoutFn& pfnLayout = {})
    {
        SDiscoveryRequest request;
        request.bEnumerate = bEnumerate;
        request.bTryAllClockRates = false;
        return StandardDiscovery(request, m_map, &m_host, pfnLayout);
    }
    const CDrawPE* NodeOf(int iNode) const { return m_map.Views.front()->pNodes.FindPENode(iNode); }

    CNetworkDocument m_map;
};

TEST_F(CDiscoveryClientTest, TheRecordsBecomeTheMapWithGridPositionsAndFannedLinks)
{
    Load(Fabric());
    int nLayouts = 0;
    ASSERT_EQ(0, Discover(true, [&nLayouts](CNetworkDocument&) { return ++nLayouts > 0; }));
    EXPECT_EQ(1, nLayouts) << "a first discovery has no guide and is laid out";
    EXPECT_TRUE(m_ui.questions.filter(QStringLiteral("as a guide")).isEmpty());
    const CPEPrimitive* pHost = m_map.ActivePEs.GetByNodeNumber(0);
    ASSERT_TRUE(pHost);
    EXPECT_TRUE(pHost->bHasHostLink && pHost->bHostLinkOpen);
    EXPECT_EQ(pHost, m_map.ActivePEs.GetHostPE());
    EXPECT_EQ(QStringLiteral("1fff0"), pHost->UniqueID);
    const CPEPrimitive* pSw1 = m_map.ActivePEs.GetByNodeNumber(1);
    EXPECT_EQ(kPETypeSwitch, pSw1->uType & kPETypeSwitch);
    EXPECT_TRUE(pSw1->bHasPerPortRoutingTables);
    EXPECT_FALSE(pSw1->bUsesDestID);
    EXPECT_EQ(18, pSw1->iNumLocalPorts);
    const CPEPrimitive* pEp2 = m_map.ActivePEs.GetPEByDestID(5);
    ASSERT_TRUE(pEp2);
    EXPECT_EQ(0x1002, pEp2->DeviceID);
    EXPECT_EQ(0xFF, pEp2->OrigShortDestID);
    int nUnknown = 0, nNull = 0;
    for (const auto& pPE : m_map.ActivePEs)
    {
        if (pPE->uType & kPETypeUnknown)
        {
            ++nUnknown;
            EXPECT_EQ(kUnknownDeviceIdentity, pPE->ManufID);
            EXPECT_TRUE(pPE->ErrorNote.startsWith(
                QStringLiteral("A RapidIO error was encountered while attempting to "
                               "read the Device ID and Vendor ID")));
        }
        nNull += (pPE->uType & kPETypeNull) ? 1 : 0;
    }
    EXPECT_EQ(1, nUnknown);
    EXPECT_GT(nNull, 0);
    for (const auto& pConnection : m_map.ActiveConnections)
    {
        const CPEPrimitive* pFar = m_map.ActivePEs.GetByNodeNumber(pConnection->iPE2);
        const char* pszExpected = (pFar->uType & kPETypeNull)      ? "Down"
                                  : (pFar->uType & kPETypeUnknown) ? "Intermittent"
                                                                   : "Up";
        EXPECT_EQ(QString::fromLatin1(pszExpected), pConnection->GetStatus());
    }
    // One drawing object per PE and connection; the two links between the switches bend apart.
    EXPECT_EQ(m_map.ActivePEs.GetCount(), m_map.Views.front()->pNodes.GetCount());
    EXPECT_EQ(m_map.ActiveConnections.GetCount(), m_map.Views.front()->pEdges.GetCount());
    EXPECT_EQ(DefaultGridPosition(3), QPoint(NodeOf(3)->iXPos, NodeOf(3)->iYPos));
    EXPECT_EQ(QPoint(410, 260), DefaultGridPosition(8)) << "shifted on an odd row and an odd column";
    std::vector<const CDrawEdge*> bundle;
    for (const auto& pObject : m_map.Views.front()->pEdges)
    {
        const auto* pEdge = static_cast<const CDrawEdge*>(pObject.get());
        const CConnectionPrimitive* pConnection =
            m_map.ActiveConnections.GetByNodeNumber(pEdge->iAssociatedPrimitive);
        if (std::min(pConnection->iPE1, pConnection->iPE2) == 1 &&
            std::max(pConnection->iPE1, pConnection->iPE2) == 2)
            bundle.push_back(pEdge);
    }
    ASSERT_EQ(2u, bundle.size());
    EXPECT_EQ(3u, bundle[0]->GetPath().size());
    EXPECT_EQ(eEdgeCurve, bundle[0]->Style);
    EXPECT_NE(bundle[0]->GetPath()[1], bundle[1]->GetPath()[1]);
}

TEST_F(CDiscoveryClientTest, AFailedDiscoveryLeavesTheMapAsItWas)
{
    Load(Fabric());
    ASSERT_EQ(0, Discover(true));
    m_map.ActivePEs.GetByNodeNumber(2)->Comment = QStringLiteral("kept");
    const int nPEs = m_map.ActivePEs.GetCount();
    const int nNodes = m_map.Views.front()->pNodes.GetCount();
    // The features of sw2 can't be read any more: a failure that ends the walk.
    m_pTransport->fnIntercept = [](const SMaintAccess& access, uint32_t*, int32_t* pnStatus)
    {
        if (access.bWrite || access.ulOffset != 0x10 || access.uchHopCount != 1)
            return false;
        *pnStatus = -6;
        return true;
    };
    EXPECT_EQ(-45, Discover(true)) << "the HAL's time-out as a client status";
    EXPECT_EQ(
        "The following error was encountered while attepting to read features information from a discovered "
        "PE\n[6] A RapidIO timeout has occurred.",
        m_ui.messages.back());
    EXPECT_EQ(nPEs, m_map.ActivePEs.GetCount());
    EXPECT_EQ(nNodes, m_map.Views.front()->pNodes.GetCount());
    EXPECT_EQ(QStringLiteral("kept"), m_map.ActivePEs.GetByNodeNumber(2)->Comment);
}

// Run as the command runs it: the working window shows where the walk stopped, the person is told
// once, and the map stays. A window pinned open ends on that, not on "Done.".
TEST_F(CDiscoveryClientTest, AnEnumerationOutOfIDsIsToldInTheWorkingWindowAndKeepsTheMap)
{
    Load(Fabric());
    CEnumerationSettings settings;
    settings.bEnumerate = true;
    settings.bTryAllClockRates = false;
    settings.ulStartingDestID = 5;
    settings.ulDestIDIncrement = 5;
    ASSERT_EQ(0, StandardDiscoveryCommand(settings, m_map, &m_host, true, {}));
    const int nPEs = m_map.ActivePEs.GetCount();
    ASSERT_NE(nullptr, m_map.ActivePEs.GetPEByDestID(10));
    // The host is counted from the first device found behind it.
    ASSERT_GE(m_ui.workCounts.size(), 2);
    EXPECT_EQ("PEs found: 1    Switches: 0    Endpoints: 1", m_ui.workCounts.first().toStdString());
    m_ui.messages.clear();
    m_ui.workLines.clear();
    m_ui.workCounts.clear();

    // ep2 takes FAh; ep1 would take FFh.
    settings.ulStartingDestID = 0xFA;
    const QString strStop = QStringLiteral(
        "The following error was encountered while attempting to give the most recently discovered endpoint "
        "destination ID FFh, beyond FEh, the last ID of 8-bit transport. The rest of the network was not "
        "walked: enumerate it with 16-bit IDs, or with a smaller first ID or increment\n"
        "[10] Invalid parameter specified on function call.");
    EXPECT_EQ(-39, StandardDiscoveryCommand(settings, m_map, &m_host, true, {}));
    EXPECT_EQ(QStringList({strStop}), m_ui.messages);
    EXPECT_TRUE(m_ui.workLines.contains(QStringLiteral(
        "Enumeration stopped: destination ID FFh is beyond FEh, the last ID of 8-bit transport.")))
        << m_ui.workLines.join(QLatin1Char('|')).toStdString();
    EXPECT_TRUE(m_ui.workLines.contains(strStop + QLatin1Char('\n'))) << "and in the log";
    // What the window counted when the walk stopped is what the walk had recorded.
    ASSERT_GE(m_ui.workCounts.size(), 2);
    EXPECT_EQ(m_ui.workCounts.last().toStdString(),
              m_ui.workCounts[m_ui.workCounts.size() - 2].toStdString());
    EXPECT_EQ(nPEs, m_map.ActivePEs.GetCount());
    EXPECT_EQ(nullptr, m_map.ActivePEs.GetPEByDestID(0xFA)) << "no partial map";
    EXPECT_NE(nullptr, m_map.ActivePEs.GetPEByDestID(10));

    m_ui.messages.clear();
    SetPreference(QStringLiteral("Preferences"), QStringLiteral("DiscoveryPinned"), 1u);
    EXPECT_EQ(-39, StandardDiscoveryCommand(settings, m_map, &m_host, true, {}));
    RemovePreference(QStringLiteral("Preferences"), QStringLiteral("DiscoveryPinned"));
    EXPECT_EQ(QStringList({strStop, QStringLiteral("Warning: The discovery stopped on an error; the map was "
                                                   "not changed.")}),
              m_ui.messages);
}

TEST_F(CDiscoveryClientTest, TheMapItReplacesGuidesTheLayoutByUniqueIDs)
{
    Load(Fabric());
    ASSERT_EQ(0, Discover(true));
    m_map.Views.front()->pNodes.FindPENode(2)->Move(777, 555);
    int nLayouts = 0;
    auto layout = [&nLayouts](CNetworkDocument&) { return ++nLayouts > 0; };
    m_ui.answers = {eAnswerYes};
    ASSERT_EQ(0, Discover(true, layout));
    EXPECT_EQ(
        "Do you want Norvanta to attempt to arrange PEs on the new map\nusing the current active map as a "
        "guide?",
        m_ui.questions.back());
    EXPECT_EQ(0, nLayouts);
    EXPECT_EQ(777, NodeOf(2)->iXPos);
    EXPECT_EQ(555, NodeOf(2)->iYPos);
    const CMapView* pGrouped = m_map.FindView(kGroupedViewID);
    ASSERT_TRUE(pGrouped);
    EXPECT_EQ(QStringLiteral("Grouped View"), pGrouped->Name);
    int nGroups = 0;
    for (const auto& pObject : pGrouped->pNodes)
        nGroups += pObject->eKind == eDrawKindGroup ? 1 : 0;
    EXPECT_GT(nGroups, 0) << "the leaves of a switch stand in a group";

    m_ui.answers = {eAnswerNo};
    ASSERT_EQ(0, Discover(true, layout));
    EXPECT_EQ(1, nLayouts);
    EXPECT_EQ(DefaultGridPosition(2), QPoint(NodeOf(2)->iXPos, NodeOf(2)->iYPos));
    EXPECT_FALSE(m_map.FindView(kGroupedViewID)) << "without a guide only the main view is left";
}

TEST_F(CDiscoveryClientTest, TheAutomaticLayoutRunsNeatoOnTheNewMap)
{
    Load(Fabric());
    static int s_argc = 1;
    static char s_szName[] = "nv_test_client_discovery";
    static char* s_argv[] = {s_szName, nullptr};
    QCoreApplication application(s_argc, s_argv);
    m_ui.answers = {eAnswerNo};
    ASSERT_EQ(0,
              Discover(true, [](CNetworkDocument& document) { return CAutoLayout::Run(document, false); }));
    ASSERT_TRUE(m_ui.messages.filter(QStringLiteral("layout")).isEmpty())
        << m_ui.messages.join('\n').toStdString();
    int nMoved = 0;
    for (const auto& pPE : m_map.ActivePEs)
    {
        const CDrawPE* pNode = NodeOf(pPE->iNodeNumber);
        nMoved += QPoint(pNode->iXPos, pNode->iYPos) != DefaultGridPosition(pPE->iNodeNumber) ? 1 : 0;
        EXPECT_GE(pNode->iXPos, 100);
        EXPECT_GE(pNode->iYPos, 100);
    }
    EXPECT_GT(nMoved, m_map.ActivePEs.GetCount() / 2);
}

TEST_F(CDiscoveryClientTest, AHostWithoutAnIDIsGivenOneBeforeADiscoveryThatOnlyReads)
{
    Load(std::string("device host0 endpoint device=0x0001 processor memory\n") +
         "device sw1 switch model=cps1848\ndevice ep1 endpoint device=0x1001 id=0x21\n"
         "host host0\nlink host0:0 sw1:0\nlink sw1:1 ep1:0\n");
    SetPreference(QStringLiteral("Messages"), QStringLiteral("UseDefaultHostIDDontAsk"), 0u);
    EXPECT_EQ(-70, Discover(false)) << "cancelled";
    EXPECT_EQ("Please enter a small transport destination ID for the Host PE.  This value must be unique in "
              "the system "
              "and must be in the range 0 to 253 (FDh)",
              m_ui.choices.back());
    EXPECT_TRUE(m_map.ActivePEs.IsEmpty());
    m_ui.numbers = {0xFE, 0x33};
    ASSERT_EQ(0, Discover(false));
    EXPECT_EQ(0x33u, (m_pFabric->Device("host0").Reg(0x60) >> 16) & 0xFFu)
        << "an ID out of range is asked again";
    EXPECT_EQ(0x33u, GetPreference(QStringLiteral("Preferences"), QStringLiteral("DefaultSmallHostID"), 0u));
    EXPECT_EQ(0x21, m_map.ActivePEs.GetPEByDestID(0x21)->DeviceID == 0x1001 ? 0x21 : 0);
    SetPreference(QStringLiteral("Messages"), QStringLiteral("UseDefaultHostIDDontAsk"), 1u);
}

TEST(EnumerationSettings, TheChoicesFollowEachOtherAndTheCheckSaysWhatIsWrong)
{
    CRecordingUserInterface ui;
    CEnumerationSettings settings;
    SetPreference(QStringLiteral("Preferences"), QStringLiteral("EnumerateUploadRoutingTables"), 1u);
    settings.Load(false);
    EXPECT_FALSE(settings.bEnumerate);
    EXPECT_TRUE(settings.bUploadRoutingTables) << "without enumeration the upload comes from its preference";
    settings.SetEnumerate(true);
    EXPECT_FALSE(settings.bUploadRoutingTables);
    EXPECT_FALSE(settings.bUploadEnabled);
    settings.SetEnumerate(false);
    settings.SetBuildRoutingTables(true);
    settings.SetUploadRoutingTables(true);
    EXPECT_FALSE(settings.bBuildRoutingTables) << "switching the upload on clears generate-and-download";
    EXPECT_EQ(
        0u, GetPreference(QStringLiteral("Preferences"), QStringLiteral("EnumerateBuildRoutingTables"), 9u));

    settings.strScanSequence = QStringLiteral("5, 0Ah;11b.zz");
    EXPECT_EQ(CEnumerationSettings::eFieldScanSequence, settings.Validate());
    EXPECT_EQ("Invalid data entry.", ui.messages.back());
    settings.strScanSequence = QStringLiteral("5, 0Ah;11b 300");
    ui.answers = {eAnswerNo};
    EXPECT_EQ(CEnumerationSettings::eFieldScanSequence, settings.Validate());
    EXPECT_EQ(
        "One or more destination IDs in your scan sequence are out of range\nand will be ignored during "
        "discovery.\n\nDo you wish to proceed with the discovery?",
        ui.questions.back());
    settings.strHostDestID = QStringLiteral("x1");
    EXPECT_EQ(CEnumerationSettings::eFieldHostDestID, settings.Validate());
    EXPECT_EQ("Invalid format for Local Destination ID", ui.messages.back());
    settings.strHostDestID = QStringLiteral("256");
    EXPECT_EQ(CEnumerationSettings::eFieldHostDestID, settings.Validate());
    EXPECT_EQ("Value is out of range. Must be 0..255", ui.messages.back());
    settings.strHostDestID = QStringLiteral("FDh");
    settings.strDestIDIncrement = QString();
    EXPECT_EQ(CEnumerationSettings::eFieldDestIDIncrement, settings.Validate());
    EXPECT_EQ("Invalid format for Destination ID Increment", ui.messages.back());
    settings.strDestIDIncrement = QStringLiteral("2");
    EXPECT_EQ(CEnumerationSettings::eFieldNone, settings.Validate());
    EXPECT_EQ((std::vector<uint32_t>{5, 10, 3, 300}), settings.scanIDs);
    EXPECT_EQ(0xFDu, settings.ulHostDestID);
    EXPECT_EQ(0xFDu,
              GetPreference(QStringLiteral("Preferences"), QStringLiteral("EnumerateLocalDestID"), 0u));
    EXPECT_EQ(QStringLiteral("05h 0Ah 03h 12Ch"), settings.ScanSequenceText());
}
} // namespace
} // namespace nvtest
