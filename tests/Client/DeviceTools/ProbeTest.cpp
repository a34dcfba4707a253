// The probe set-up against the simulated probe assembly (Simulator/topologies/probe.topo): what
// each mode writes into the switches and the processor's memory, that disabling puts every route,
// mask, association and register back as it was, and the refusals with their texts.
#include "Probe.h"

#include "../Routing/ClientSimFixture.h"
#include "Discovery.h"
#include "NVXLHal.h"
#include "TestSupport.h"
#include "nvsim/Fabric.h"
#include "nvsim/Faults.h"
#include "nvsim/StdDevice.h"

#include <array>
#include <map>

namespace nvtest
{
namespace
{
constexpr uint32_t kLoopback = probe::kLoopbackRegister;

// Everything of a switch the probe may touch: the route of each ID of the topology in every
// port's table, which mask-1 ports are present, the association of each ID, and the loop-back word.
struct SSwitchState
{
    std::map<std::pair<int, uint32_t>, uint8_t> routes;
    std::vector<uint8_t> maskPorts;
    std::map<uint32_t, std::optional<std::vector<uint8_t>>> copies;
    uint32_t ulLoopback = 0;
    bool operator==(const SSwitchState&) const = default;
};

// The probe assembly's state as a whole.
struct SFabricState
{
    SSwitchState probe;
    SSwitchState sys;
    uint32_t ulProcessorWord = 0;
    bool operator==(const SFabricState&) const = default;
};

constexpr std::array<uint32_t, 6> kIDs = {0x01, 0x05, 0x0A, 0x0F, 0x14, 0x30};

class CProbeTest : public CClientSimTest
{
protected:
    void SetUp() override
    {
        CClientSimTest::SetUp();
        std::string strError;
        m_pFabric = nvsim::LoadTopologyFile(SourceDir() + "/Simulator/topologies/probe.topo", &strError);
        ASSERT_TRUE(m_pFabric) << strError;
        m_pTransport = std::make_unique<CSimTransport>(*m_pFabric);
        m_pTransport->Install();
        SDiscoveryRequest request;
        request.bEnumerate = false;
        request.bUploadRoutingTables = true;
        request.bTryAllClockRates = false;
        ASSERT_EQ(0, StandardDiscovery(request, m_map, &m_host, {}))
            << m_ui.messages.join('|').toStdString() << m_ui.workLines.join('|').toStdString();
        m_ui.messages.clear();
        m_pProbe = std::make_unique<CProbe>(m_map, [this] { return m_bConnected; });
    }

    // The map's node of a device of the topology, found by its destination ID or, for a switch,
    // by its place: the probe switch is node 1, the system switch the other switch.
    int NodeOfSystemSwitch() const
    {
        for (const auto& pPE : m_map.ActivePEs)
        {
            if ((pPE->uType & kPETypeSwitch) && pPE->iNodeNumber != probe::kProbeSwitchNode)
                return pPE->iNodeNumber;
        }
        return -1;
    }

    SSwitchState SwitchState(const char* pszName)
    {
        SSwitchState state;
        auto& sw = static_cast<nvsim::CStdDevice&>(m_pFabric->Device(pszName));
        for (int t = 0; t < 8; ++t)
        {
            for (uint32_t ulID : kIDs)
                state.routes[{t, ulID}] = sw.RouteEntry(ulID, static_cast<uint8_t>(t));
        }
        for (uint8_t p = 0; p < 16; ++p)
        {
            if (sw.MulticastMaskHasPort(probe::kMask, p))
                state.maskPorts.push_back(p);
        }
        for (uint32_t ulID : kIDs)
            state.copies[ulID] = sw.MulticastPorts(ulID, false, 1);
        state.ulLoopback = sw.Reg(kLoopback);
        return state;
    }

    SFabricState State()
    {
        SFabricState state;
        state.probe = SwitchState("probe");
        state.sys = SwitchState("sys");
        uint32_t ulWord = 0;
        EXPECT_EQ(0, MemoryRead(0, probe::kProcessorDestIDAddress, 1, 4, &ulWord));
        state.ulProcessorWord = ulWord;
        return state;
    }

    // The data from ep1 (0x05) to ep2 (0x0A) through the system switch, in the given mode.
    void Configure(uint32_t ulMode, uint32_t ulPortToProbe)
    {
        SProbeConfig& c = m_pProbe->Config();
        c.ulMode = ulMode;
        c.ulDataSourceDestID = 0x05;
        c.ulDataTargetDestID = 0x0A;
        c.ulSystemSwitchNodeID = static_cast<uint32_t>(NodeOfSystemSwitch() + 1);
        c.ulSourceIngressPort = 1;
        c.ulPortToProbe = ulPortToProbe;
        c.ulTargetEgressPort = 2;
    }

    QString Messages() const { return m_ui.messages.join('|'); }

    CNetworkDocument m_map;
    std::unique_ptr<CProbe> m_pProbe;
    nvsim::CFaults m_faults;
    bool m_bConnected = true;
};
} // namespace

TEST_F(CProbeTest, DiscoveryPutsTheProbeSwitchAtNodeOne)
{
    const CPEPrimitive* pProbe = m_map.ActivePEs.GetByNodeNumber(probe::kProbeSwitchNode);
    ASSERT_TRUE(pProbe);
    EXPECT_TRUE(pProbe->uType & kPETypeSwitch);
    EXPECT_EQ(0x0578, pProbe->DeviceID);
    EXPECT_GT(NodeOfSystemSwitch(), probe::kProbeSwitchNode);
}

// Mode 1: the system switch copies the data target's traffic to its port to probe (7, the link
// to probe port 4), the probe switch sends what comes in there to the processor, and the
// processor's responses to the source are dropped.
TEST_F(CProbeTest, ModeOneCopiesAtTheSystemSwitchAndDisableRestoresEverything)
{
    Configure(1, 7);
    m_pProbe->Config().bBlockResponses = true;
    const SFabricState before = State();

    ASSERT_EQ(0, m_pProbe->Enable()) << Messages().toStdString();
    EXPECT_TRUE(m_pProbe->IsEnabled());
    EXPECT_TRUE(m_ui.messages.isEmpty()) << Messages().toStdString();
    const SFabricState on = State();
    EXPECT_EQ((std::vector<uint8_t>{2, 7}), on.sys.maskPorts);
    EXPECT_EQ((std::vector<uint8_t>{2, 7}), on.sys.copies.at(0x0A))
        << "ep1's traffic for ep2 goes to ep2 and the probe";
    EXPECT_EQ(2, on.probe.routes.at({probe::kSystemSidePort, 0x0A}));
    EXPECT_EQ(0xFF, on.probe.routes.at({probe::kProcessorPort, 0x05}))
        << "responses to the source are dropped";
    EXPECT_EQ(4, on.probe.routes.at({0, 0x05})) << "other tables are left alone";
    EXPECT_EQ(0x000A0000u, on.ulProcessorWord & 0x00FF0000u) << "small transport: the ID in bits 23..16";
    EXPECT_EQ(before.probe.maskPorts, on.probe.maskPorts);

    ASSERT_EQ(0, m_pProbe->Disable());
    EXPECT_FALSE(m_pProbe->IsEnabled());
    EXPECT_TRUE(m_ui.messages.isEmpty()) << Messages().toStdString();
    EXPECT_TRUE(State() == before);
}

// Mode 2: the probe switch is in the path between ep3 (behind its port 0) and ep2; it copies the
// target's traffic to the processor and on out of port 6.
TEST_F(CProbeTest, ModeTwoCopiesInThePathAndDisableRestoresEverything)
{
    SProbeConfig& c = m_pProbe->Config();
    c.ulMode = 2;
    c.ulDataSourceDestID = 0x0F;
    c.ulDataTargetDestID = 0x0A;
    const SFabricState before = State();

    ASSERT_EQ(0, m_pProbe->Enable()) << Messages().toStdString();
    const SFabricState on = State();
    EXPECT_EQ((std::vector<uint8_t>{2, 6}), on.probe.maskPorts);
    EXPECT_EQ((std::vector<uint8_t>{2, 6}), on.probe.copies.at(0x0A));
    EXPECT_EQ(before.sys, on.sys) << "the system switch takes no part";
    EXPECT_EQ(before.probe.routes, on.probe.routes) << "no discard route without Block Response Packets";

    ASSERT_EQ(0, m_pProbe->Disable());
    EXPECT_TRUE(State() == before);
}

// Mode 3: the system switch routes the target's traffic from the source's port into the probe
// (port 6), the probe copies it to the processor and, through its looped-back port 0, back out of
// port 6, and the system switch routes it on from there to the target.
TEST_F(CProbeTest, ModeThreeTurnsTheTrafficRoundAndDisableRestoresEverything)
{
    Configure(3, 6);
    const SFabricState before = State();

    ASSERT_EQ(0, m_pProbe->Enable()) << Messages().toStdString();
    const SFabricState on = State();
    EXPECT_EQ(6, on.sys.routes.at({1, 0x0A})) << "step 1: into the probe from the source's port";
    EXPECT_EQ((std::vector<uint8_t>{0, 2, 6}), on.probe.maskPorts) << "step 2";
    EXPECT_TRUE(on.probe.copies.at(0x0A).has_value());
    EXPECT_EQ(probe::kLoopbackEnable, on.probe.ulLoopback & probe::kLoopbackEnable) << "step 3";
    EXPECT_TRUE(m_pFabric->Device("probe").PortLoopedBack(0));
    EXPECT_EQ(2, on.sys.routes.at({6, 0x0A})) << "step 4: on to the target from the port to probe";
    EXPECT_EQ(2, on.sys.routes.at({2, 0x0A})) << "the other tables keep their route";

    ASSERT_EQ(0, m_pProbe->Disable());
    EXPECT_TRUE(State() == before);
    EXPECT_FALSE(m_pFabric->Device("probe").PortLoopedBack(0));
}

TEST_F(CProbeTest, EnablingTwiceIsRefusedAndChangesNothing)
{
    Configure(1, 7);
    ASSERT_EQ(0, m_pProbe->Enable());
    const SFabricState on = State();
    m_pTransport->bRecord = true;
    EXPECT_EQ(kProbeAlreadyEnabled, m_pProbe->Enable());
    EXPECT_TRUE(m_pTransport->accesses.empty()) << "not even a read";
    EXPECT_TRUE(State() == on);
    EXPECT_TRUE(m_pProbe->IsEnabled());
}

// Mode 2 needs the probe on the way there and on the way back; the route search reads the map's
// tables, as discovery uploaded them.
TEST_F(CProbeTest, ModeTwoWithTheProbeOnOneRouteOnlyChangesNothing)
{
    SProbeConfig& c = m_pProbe->Config();
    c.ulMode = 2;
    c.ulDataSourceDestID = 0x05;
    c.ulDataTargetDestID = 0x0A;
    const SFabricState before = State();
    m_pTransport->bRecord = true;

    // ep1 and ep2 meet at the system switch: neither way passes the probe.
    EXPECT_EQ(kProbeConfigError, m_pProbe->Enable());
    EXPECT_EQ(
        QStringLiteral("The Norvanta Probe switch must be in the route between the source and target PEs.\n"),
        Messages());

    // ep1's packets for ep2 now go round through the probe (sys port 7 to probe port 4, back over
    // the second link), while ep2 still answers ep1 directly.
    CPEPrimitive* pSys = m_map.ActivePEs.GetByNodeNumber(NodeOfSystemSwitch());
    CPEPrimitive* pProbe = m_map.ActivePEs.GetByNodeNumber(probe::kProbeSwitchNode);
    ASSERT_TRUE(pSys->RoutingTables[1] && pSys->RoutingTables[6] && pProbe->RoutingTables[4]);
    pSys->RoutingTables[1]->AddEntry(0x0A, 7, 3, 0, false);
    pProbe->RoutingTables[4]->AddEntry(0x0A, 6, 3, 0, false);
    m_ui.messages.clear();
    EXPECT_EQ(kProbeConfigError, m_pProbe->Enable());
    EXPECT_EQ(
        QStringLiteral("The Norvanta Probe switch must be in the route between the target and source PEs.\n"),
        Messages());

    EXPECT_FALSE(m_pProbe->IsEnabled());
    for (const SMaintAccess& access : m_pTransport->accesses)
        EXPECT_FALSE(access.bWrite) << "offset 0x" << std::hex << access.ulOffset;
    EXPECT_TRUE(State() == before);
}

// The loop-back register of the probe switch doesn't answer: steps 1 and 2 are undone (the system
// switch's route, the probe's masks and association), and then the step's message is shown.
TEST_F(CProbeTest, AFailureInModeThreeStepThreeUndoesStepsOneAndTwo)
{
    Configure(3, 6);
    const SFabricState before = State();
    std::string strError;
    ASSERT_TRUE(nvsim::ApplyFaultSpec("mute:device=probe,offset=0x130C8", *m_pFabric, m_faults, &strError))
        << strError;

    EXPECT_EQ(kProbeConfigError, m_pProbe->Enable());
    EXPECT_EQ(QStringLiteral("Unable to read loopback register on Probe Switch. (SNH)."), Messages());
    EXPECT_FALSE(m_pProbe->IsEnabled());
    EXPECT_TRUE(State() == before);
    EXPECT_EQ(before.probe.copies, State().probe.copies) << "no association is left behind";
}

// Mode 1's route on the probe switch doesn't answer (port 4's table, 0x11074 + 0x100 x 4): the
// system switch's masks and association go again, and the entry that couldn't be read is left
// alone rather than overwritten.
TEST_F(CProbeTest, AFailedRouteInModeOneUndoesTheMulticastOfTheSystemSwitch)
{
    Configure(1, 7);
    const SFabricState before = State();
    std::string strError;
    ASSERT_TRUE(nvsim::ApplyFaultSpec("mute:device=probe,offset=0x11474", *m_pFabric, m_faults, &strError))
        << strError;
    EXPECT_EQ(kProbeConfigError, m_pProbe->Enable());
    EXPECT_EQ(QStringLiteral("Unable to add route to Probe Switch."), Messages());
    EXPECT_FALSE(m_pProbe->IsEnabled());
    EXPECT_TRUE(State() == before);
}

// A step that fails after others left a mask port it didn't add: only what the set-up added goes.
TEST_F(CProbeTest, UndoKeepsMaskPortsThatWereThereBefore)
{
    Configure(3, 6);
    auto& sw = m_pFabric->Device("probe");
    sw.WriteRegister(0x80, (1u << 16) | (2u << 8) | 0x10, 0xFFFFFFFF, {0, true}); // port 2 into mask 1
    const SFabricState before = State();
    ASSERT_EQ((std::vector<uint8_t>{2}), before.probe.maskPorts);

    ASSERT_EQ(0, m_pProbe->Enable()) << Messages().toStdString();
    ASSERT_EQ(0, m_pProbe->Disable());
    EXPECT_EQ((std::vector<uint8_t>{2}), State().probe.maskPorts);
    EXPECT_TRUE(State() == before);
}

TEST_F(CProbeTest, RefusalsBeforeAnythingIsWritten)
{
    m_pTransport->bRecord = true;
    struct SCase
    {
        std::function<void(SProbeConfig&)> fnSet;
        const char* pszText;
    };
    const std::vector<SCase> cases = {
        {[](SProbeConfig& c) { c.ulMode = 4; }, "Invalid mode.  Must be 1, 2 or 3."},
        {[](SProbeConfig& c) { c.ulDataSourceDestID = 0xFF; }, "Invalid Data Source DestID."},
        {[](SProbeConfig& c) { c.ulDataTargetDestID = 0x100; }, "Invalid Data Target DestID."},
        {[](SProbeConfig& c) { c.ulDataTargetDestID = c.ulDataSourceDestID; }, "Invalid Data Target DestID."},
        {[](SProbeConfig& c) { c.ulSystemSwitchNodeID = 0; }, "Invalid System Switch NodeID."},
        {[](SProbeConfig& c) { c.ulSystemSwitchNodeID = probe::kProbeSwitchNode + 1; },
         "Invalid System Switch NodeID."},
        {[](SProbeConfig& c) { c.ulSourceIngressPort = 255; }, "Invalid Source Ingress Port."},
        {[](SProbeConfig& c) { c.ulPortToProbe = c.ulSourceIngressPort; }, "Invalid Port To Probe."},
        {[](SProbeConfig& c) { c.ulTargetEgressPort = 300; }, "Invalid Target Egress Port."},
        {[](SProbeConfig& c) { c.ulTargetEgressPort = c.ulPortToProbe; }, "Invalid Target Egress Port."},
    };
    for (const SCase& test : cases)
    {
        Configure(1, 7);
        test.fnSet(m_pProbe->Config());
        m_ui.messages.clear();
        EXPECT_EQ(kProbeInvalidInput, m_pProbe->Enable()) << test.pszText;
        EXPECT_EQ(QString::fromLatin1(test.pszText), Messages());
    }
    // Mode 2 has no system switch: its node and ports are not looked at.
    Configure(2, 7);
    m_pProbe->Config().ulSystemSwitchNodeID = 0;
    EXPECT_EQ(0, m_pProbe->Validate());

    // The switches that aren't there, with the configuration error.
    Configure(1, 7);
    m_pProbe->Config().ulSystemSwitchNodeID = 3; // node 2 is an endpoint
    m_ui.messages.clear();
    EXPECT_EQ(kProbeConfigError, m_pProbe->Enable());
    EXPECT_EQ(QStringLiteral("System Switch not found.  Please verify the entered node ID."), Messages());
    m_pProbe->Config().ulMode = 2;
    m_pProbe->Config().ulDataSourceDestID = 0x33;
    m_ui.messages.clear();
    EXPECT_EQ(kProbeConfigError, m_pProbe->Enable());
    EXPECT_EQ(QStringLiteral("Source PE not found.  Please verify the entered destination ID."), Messages());
    m_pProbe->Config().ulDataSourceDestID = 0x05;
    m_pProbe->Config().ulDataTargetDestID = 0x33;
    m_ui.messages.clear();
    EXPECT_EQ(kProbeConfigError, m_pProbe->Enable());
    EXPECT_EQ(QStringLiteral("Target PE not found.  Please verify the entered destination ID."), Messages());

    m_bConnected = false;
    Configure(1, 7);
    m_ui.messages.clear();
    EXPECT_EQ(kProbeNotConnected, m_pProbe->Enable());
    EXPECT_EQ(QStringLiteral("Norvanta is not connected to the target system."), Messages());

    for (const SMaintAccess& access : m_pTransport->accesses)
        EXPECT_FALSE(access.bWrite) << "offset 0x" << std::hex << access.ulOffset;
    EXPECT_FALSE(m_pProbe->IsEnabled());
}

// The host's assembly decides whether there is a probe at all.
TEST_F(CProbeTest, AHostThatIsNoProbeIsRefused)
{
    Configure(1, 7);
    uint32_t ulAssembly = (0x0100u << 16) | 0x0001u; // another board of the same vendor
    int32_t nStatus = NVXL_OK;
    m_pTransport->fnIntercept = [&](const SMaintAccess& access, uint32_t* pulValue, int32_t* pnStatus)
    {
        if (access.bWrite || access.ulDestID != NVXL_HOST_DESTID || access.ulOffset != 0x08)
            return false;
        *pulValue = ulAssembly;
        *pnStatus = nStatus;
        return true;
    };
    EXPECT_EQ(kProbeNotFound, m_pProbe->Enable());
    EXPECT_EQ(QStringLiteral("Norvanta Probe not found."), Messages());

    nStatus = NVXL_ERR_TIMEOUT;
    m_ui.messages.clear();
    EXPECT_NE(0, m_pProbe->Enable());
    ASSERT_EQ(1, m_ui.messages.size());
    EXPECT_TRUE(m_ui.messages[0].startsWith(
        QStringLiteral("Unable to obtain assembly information from target system.\n'")))
        << Messages().toStdString();
    EXPECT_FALSE(m_pProbe->IsEnabled());
}

TEST_F(CProbeTest, ALostConnectionEndsTheProbeWithoutUndoing)
{
    Configure(3, 6);
    ASSERT_EQ(0, m_pProbe->Enable());
    const SFabricState on = State();
    m_bConnected = false;
    EXPECT_EQ(kProbeNotConnected, m_pProbe->Disable());
    EXPECT_EQ(QStringLiteral("Norvanta is no longer connected to the target system."), Messages());
    EXPECT_FALSE(m_pProbe->IsEnabled());
    EXPECT_TRUE(State() == on);
}

// The block's words in their order and byte order; bActive is the probe's state, not a setting.
TEST_F(CProbeTest, ConfigurationBlockRoundTrip)
{
    SProbeConfig& c = m_pProbe->Config();
    c.ulMode = 3;
    c.bBlockResponses = true;
    c.ulDataSourceDestID = 0x1234;
    c.ulDataTargetDestID = 0x0A;
    c.ulSystemSwitchNodeID = 6;
    c.ulSourceIngressPort = 1;
    c.ulPortToProbe = 6;
    c.ulTargetEgressPort = 2;
    std::array<uint8_t, CProbe::kConfigBytes> block{};
    block.fill(0xEE);
    m_pProbe->GetConfig(block.data());
    const std::array<uint8_t, 36> expected = {3, 0, 0, 0, 0, 0, 0, 0, 1, 0, 0, 0, 0x34, 0x12, 0, 0, 0x0A, 0,
                                              0, 0, 6, 0, 0, 0, 1, 0, 0, 0, 6, 0, 0,    0,    2, 0, 0,    0};
    EXPECT_TRUE(std::equal(expected.begin(), expected.end(), block.begin()));
    EXPECT_TRUE(std::all_of(block.begin() + 36, block.end(), [](uint8_t b) { return b == 0; }));

    CProbe other(m_map, [] { return true; });
    block[4] = 1;   // an "active" flag from a script
    block[100] = 7; // and something in the reserved part
    other.SetConfig(block.data());
    EXPECT_FALSE(other.IsEnabled());
    std::array<uint8_t, CProbe::kConfigBytes> again{};
    other.GetConfig(again.data());
    block[4] = 0;
    block[100] = 0;
    EXPECT_EQ(block, again);
}

// While enabled, the probe switch shows "Probe 1" and, in modes 1 and 3, the system switch
// "Probe <its node>.<port to probe>"; both go when it is disabled, and new settings taken while
// it is enabled don't change what Disable undoes.
TEST_F(CProbeTest, MapLabelsFollowTheProbe)
{
    Configure(1, 7);
    ASSERT_EQ(0, m_pProbe->Enable());
    const int iSys = NodeOfSystemSwitch();
    CDrawPE* pProbeNode = m_map.Views.front()->pNodes.FindPENode(probe::kProbeSwitchNode);
    CDrawPE* pSysNode = m_map.Views.front()->pNodes.FindPENode(iSys);
    ASSERT_TRUE(pProbeNode && pSysNode);
    EXPECT_EQ(QStringLiteral("Probe 1"), pProbeNode->strProbeLabel);
    EXPECT_EQ(QString::asprintf("Probe %d.7", iSys + 1), pSysNode->strProbeLabel);

    std::array<uint8_t, CProbe::kConfigBytes> block{};
    m_pProbe->GetConfig(block.data());
    block[0] = 2; // mode 2, waiting for the next Enable
    m_pProbe->SetConfig(block.data());
    EXPECT_EQ(2u, m_pProbe->Config().ulMode);
    EXPECT_EQ(QString::asprintf("Probe %d.7", iSys + 1), pSysNode->strProbeLabel);

    ASSERT_EQ(0, m_pProbe->Disable());
    EXPECT_TRUE(pProbeNode->strProbeLabel.isEmpty());
    EXPECT_TRUE(pSysNode->strProbeLabel.isEmpty());
    EXPECT_TRUE(State().sys.maskPorts.empty()) << "mode 1's masks were undone, not mode 2's";
}
} // namespace nvtest
