// The health monitor in the window: on a map discovered from the in-process fabric, "Validate
// Network" and "System Health Monitoring" colour the PEs that fail and the links that are down,
// redraw only the items that changed, and stop with the map's colours kept when the target goes.
#include "ChildView.h"
#include "Discovery.h"
#include "GuiTestEnvironment.h"
#include "HalTestHooks.h"
#include "HealthMonitor.h"
#include "MainFrame.h"
#include "MapScene.h"
#include "NVXLHal.h"
#include "RecordingUserInterface.h"
#include "SimTransport.h"
#include "nvsim/Topology.h"

#include <QAction>
#include <QStatusBar>

#include <gtest/gtest.h>

namespace
{
// host0 - sw1 - sw2 - ep2, with ep1 on sw1; the switches route the endpoints' IDs.
const char* const kTopology =
    "device host0 endpoint device=0x0001 processor memory id=0x01 largeid=0x0001\n"
    "device sw1 switch model=cps1848\ndevice sw2 switch model=cps1848\n"
    "device ep1 endpoint device=0x1001 memory id=0x05 largeid=0x0005\n"
    "device ep2 endpoint device=0x1002 memory id=0x0A largeid=0x000A\n"
    "host host0\nlink host0:0 sw1:0\nlink sw1:1 sw2:1\nlink sw1:2 ep1:0\nlink sw2:2 ep2:0\n"
    "route sw1 0x01 0\nroute sw1 0x05 2\nroute sw1 0x0A 1\nroute sw2 0x01 1\nroute sw2 0x0A 2\n";

class HealthMapTest : public ::testing::Test
{
protected:
    void SetUp() override
    {
        HalInitialize();
        HalRegisterDeviceFamilies();
        HalSetSleepHook([](uint32_t) {});
        std::string strError;
        m_pFabric = nvsim::LoadTopologyText(kTopology, &strError);
        ASSERT_TRUE(m_pFabric) << strError;
        m_pTransport = std::make_unique<nvtest::CSimTransport>(*m_pFabric);
        m_pTransport->Install();
        m_pFrame = std::make_unique<CMainFrame>();
        m_pUI = std::make_unique<nvtest::CRecordingUserInterface>();
        m_pFrame->resize(1200, 800);

        CPEPrimitive host;
        host.bHasHostLink = host.bHostLinkOpen = true;
        SDiscoveryRequest request;
        request.bTryAllClockRates = false;
        request.bUploadRoutingTables = true;
        request.scanIDs = {0x05, 0x0A};
        ASSERT_EQ(0, StandardDiscovery(request, Document(), &host, {}));
        m_pFrame->Core().NotifyMap();
        m_pFrame->show();
        m_pEp1 = Document().ActivePEs.GetPEByDestID(0x05);
        m_pEp2 = Document().ActivePEs.GetPEByDestID(0x0A);
        ASSERT_TRUE(m_pEp1 && m_pEp2);
        m_pUI->messages.clear();
    }
    void TearDown() override
    {
        m_pFrame.reset();
        m_pUI.reset();
        m_pTransport.reset();
        HalSetSleepHook(nullptr);
        HalInitialize();
    }
    CNetworkDocument& Document() { return m_pFrame->Core().Document(); }
    CMapScene& Scene() { return *m_pFrame->MapWindow()->MapScene(); }
    CNodeItem* NodeOf(const CPEPrimitive* pPE)
    {
        return Scene().NodeItem(Document().pCurrentNodes->FindPENode(pPE->iNodeNumber)->uUniqueID);
    }
    // The drawn link of the connection on a PE's port 0 (an endpoint's only link).
    CEdgeItem* LinkOf(const CPEPrimitive* pPE)
    {
        for (CEdgeItem* pEdge : Scene().Edges())
        {
            const CConnectionPrimitive* pConnection =
                Document().ActiveConnections.GetByNodeNumber(pEdge->Object()->iAssociatedPrimitive);
            if (pConnection->iPE2 == pPE->iNodeNumber || pConnection->iPE1 == pPE->iNodeNumber)
                return pEdge;
        }
        return nullptr;
    }

    std::unique_ptr<nvsim::CSimFabric> m_pFabric;
    std::unique_ptr<nvtest::CSimTransport> m_pTransport;
    std::unique_ptr<CMainFrame> m_pFrame;
    std::unique_ptr<nvtest::CRecordingUserInterface> m_pUI;
    CPEPrimitive* m_pEp1 = nullptr;
    CPEPrimitive* m_pEp2 = nullptr;
};

TEST_F(HealthMapTest, AFailedPEAndADownLinkTakeTheirColours)
{
    m_pFabric->Device("ep2").SetMute(true);
    m_pFabric->Link("sw1", 2)->SetTrained(false);
    m_pFrame->RunCommand(eCmdValidateNetwork);
    EXPECT_TRUE(m_pUI->messages.isEmpty()) << m_pUI->messages.join(QLatin1Char('\n')).toStdString();
    EXPECT_EQ(QStringList{QStringLiteral("Validate Network")}, m_pUI->workTitles);

    EXPECT_EQ(QColor(Qt::red), NodeOf(m_pEp2)->Fault()) << "muted: not responding";
    EXPECT_EQ(QColor(Qt::red), NodeOf(m_pEp1)->Fault()) << "behind a pulled link";
    EXPECT_FALSE(NodeOf(Document().ActivePEs.GetHostPE())->Fault().isValid());
    EXPECT_EQ(QColor(Qt::red), LinkOf(m_pEp1)->Colour());
    EXPECT_EQ(QColor(60, 60, 60), LinkOf(m_pEp2)->Colour()) << "the muted endpoint's link still trains";
    // A port with nothing behind it is down as it should be: pale, not a fault.
    const CPEPrimitive* pNull = nullptr;
    for (const auto& pPE : Document().ActivePEs)
        pNull = pNull ? pNull : (pPE->uType & kPETypeNull ? pPE.get() : nullptr);
    ASSERT_TRUE(pNull);
    EXPECT_EQ(QColor(190, 190, 190), LinkOf(pNull)->Colour());
    // The PE's information gives its state and what its ports showed: sw1 (node 2) lost the
    // link on its port 2.
    m_pUI->messages.clear();
    SCommandContext context;
    context.iNode = 1;
    ASSERT_EQ(0x0374, Document().ActivePEs.GetByNodeNumber(1)->DeviceID);
    m_pFrame->RunCommand(eCmdDisplayPEInfo, context);
    ASSERT_EQ(1, m_pUI->messages.size());
    EXPECT_TRUE(
        m_pUI->messages[0].contains(QStringLiteral("\nStatus:\tOK\nPort 2:\tPort not trained.\nPort 3:\tPort "
                                                   "not trained.\n")))
        << m_pUI->messages[0].toStdString();
    // Far out, the mark of the failed PE is the fault's colour.
    EXPECT_EQ(QColor(Qt::red).rgb(), NodeOf(m_pEp2)->Mark().rgb);

    // Without fault indicators the same states draw no colour.
    SMapOptions options = m_pFrame->MapWindow()->Options();
    options[eOptFaultIndicators] = false;
    m_pFrame->MapWindow()->SetOptions(options);
    EXPECT_FALSE(NodeOf(m_pEp2)->Fault().isValid());
    EXPECT_EQ(QColor(60, 60, 60), LinkOf(m_pEp1)->Colour());
}

TEST_F(HealthMapTest, TheMonitorRedrawsWhatChangedAndStopsWithTheTarget)
{
    QAction* pToggle = m_pFrame->Action(eCmdHealthMonitoring);
    ASSERT_TRUE(pToggle);
    m_pFrame->RunCommand(eCmdHealthMonitoring);
    CNetworkValidation& validation = m_pFrame->HealthMonitor()->Validation();
    EXPECT_TRUE(validation.IsRunning());
    EXPECT_TRUE(pToggle->isChecked());

    // A tick on a healthy network, then a board swapped behind sw2: the next tick colours the
    // very items already drawn, with no new drawing of the map.
    ASSERT_TRUE(validation.Tick());
    CNodeItem* pEp2Node = NodeOf(m_pEp2);
    EXPECT_FALSE(pEp2Node->Fault().isValid());
    m_pFabric->Device("ep2").SetReg(0x00, 0x2002'FFF0);
    ASSERT_TRUE(validation.Tick());
    EXPECT_EQ(pEp2Node, NodeOf(m_pEp2)) << "the items are kept";
    EXPECT_EQ(QColor(200, 0, 200), pEp2Node->Fault()) << "another device answers";
    EXPECT_EQ(QStringLiteral("Device ID Not Matching:2002h"), m_pEp2->GetStatusString());
    EXPECT_TRUE(m_pFrame->statusBar()->currentMessage().startsWith(QStringLiteral("Validating Node ID ")));

    // The target goes: the monitor stops, its check item clears, and the colours stay.
    m_pFrame->Core().NotifyStatus();
    EXPECT_FALSE(validation.IsRunning());
    EXPECT_FALSE(pToggle->isChecked());
    EXPECT_EQ(QColor(200, 0, 200), NodeOf(m_pEp2)->Fault());
    EXPECT_EQ(eValidationIDsNotMatching, m_pEp2->Health.eStatus);

    // Switched on again, every PE starts from Unknown.
    m_pFrame->RunCommand(eCmdHealthMonitoring);
    EXPECT_EQ(eValidationUnknown, m_pEp2->Health.eStatus);
    EXPECT_FALSE(NodeOf(m_pEp2)->Fault().isValid());
    m_pFrame->RunCommand(eCmdHealthMonitoring);
    EXPECT_FALSE(validation.IsRunning());
}
} // namespace
