// The health monitor on the in-process simulator: a map discovered from a fabric whose switches
// already route the endpoints' IDs, then faults injected into the fabric (a muted endpoint, a
// swapped board, a link pulled, port errors, a failing transport) and what the monitor makes of
// them: the PE states and texts, the connection states, the port records, whether it goes on.
#include "NetworkValidation.h"
#include "ClientSimFixture.h"
#include "Discovery.h"

#include "DebugLog.h"

#include <QFile>
#include <QSet>

namespace nvtest
{
namespace
{
// host0 - sw1 - sw2 - ep2, with ep1 on sw1; the other switch ports lead nowhere.
std::string Fabric()
{
    return std::string(kHostLine) +
           "device sw1 switch model=cps1848\ndevice sw2 switch model=cps1848\n"
           "device ep1 endpoint device=0x1001 memory id=0x05 largeid=0x0005\n"
           "device ep2 endpoint device=0x1002 memory id=0x0A largeid=0x000A\n"
           "host host0\nlink host0:0 sw1:0\nlink sw1:1 sw2:1\nlink sw1:2 ep1:0\nlink sw2:2 ep2:0\n"
           "route sw1 0x01 0\nroute sw1 0x05 2\nroute sw1 0x0A 1\nroute sw2 0x01 1\nroute sw2 0x0A 2\n";
}

// What the monitor asked the map window to do.
class CRecordingView : public INetworkValidationView
{
public:
    void RefreshPE(const CPEPrimitive& pe) override { refreshedPEs << pe.iNodeNumber; }
    void RefreshConnection(const CConnectionPrimitive& connection) override
    {
        refreshedConnections << connection.iNodeNumber;
    }
    void Repaint() override { ++nRepaints; }
    void ShowStatusText(const QString& strText) override { statusTexts << strText; }
    void Clear()
    {
        refreshedPEs.clear();
        refreshedConnections.clear();
        statusTexts.clear();
        nRepaints = 0;
    }

    QList<int> refreshedPEs;
    QList<int> refreshedConnections;
    QStringList statusTexts;
    int nRepaints = 0;
};

class CNetworkValidationTest : public CClientSimTest
{
protected:
    void SetUp() override
    {
        CClientSimTest::SetUp();
        Load(Fabric());
        SDiscoveryRequest request;
        request.bTryAllClockRates = false;
        request.bUploadRoutingTables = true;
        request.scanIDs = {0x05, 0x0A};
        ASSERT_EQ(0, StandardDiscovery(request, m_map, &m_host, {}));
        m_pSw1 = PEWith(0x0374, 1);
        m_pSw2 = PEWith(0x0374, 2);
        m_pEp1 = m_map.ActivePEs.GetPEByDestID(0x05);
        m_pEp2 = m_map.ActivePEs.GetPEByDestID(0x0A);
        ASSERT_TRUE(m_pSw1 && m_pSw2 && m_pEp1 && m_pEp2) << MapText();
        m_ui.messages.clear();
        m_validation.Init(&m_view, &m_map.ActivePEs, &m_map.ActiveConnections);
    }
    std::string MapText() const
    {
        std::string strText;
        for (const auto& pPE : m_map.ActivePEs)
            strText += QString::asprintf("node %d dev %04X ven %04X id %X type %X\n", pPE->iNodeNumber + 1,
                                         pPE->DeviceID, pPE->ManufID, pPE->GetDestID(), pPE->uType)
                           .toStdString();
        return strText + m_ui.messages.join(QLatin1Char('\n')).toStdString();
    }
    // The n-th PE (from 1) of a device ID in the order of finding.
    CPEPrimitive* PEWith(uint16_t wDevice, int iNth)
    {
        for (const auto& pPE : m_map.ActivePEs)
        {
            if (pPE->DeviceID == wDevice && --iNth == 0)
                return pPE.get();
        }
        return nullptr;
    }
    CConnectionPrimitive* Link(const CPEPrimitive* pA, const CPEPrimitive* pB)
    {
        for (const auto& pConnection : m_map.ActiveConnections)
        {
            if ((pConnection->iPE1 == pA->iNodeNumber && pConnection->iPE2 == pB->iNodeNumber) ||
                (pConnection->iPE2 == pA->iNodeNumber && pConnection->iPE1 == pB->iNodeNumber))
                return pConnection.get();
        }
        return nullptr;
    }
    // Validates every PE once as the background monitor does, in one tick.
    bool Sweep()
    {
        m_validation.Start();
        return m_validation.Tick();
    }

    CNetworkDocument m_map;
    CPEPrimitive* m_pSw1 = nullptr;
    CPEPrimitive* m_pSw2 = nullptr;
    CPEPrimitive* m_pEp1 = nullptr;
    CPEPrimitive* m_pEp2 = nullptr;
    CRecordingView m_view;
    CNetworkValidation m_validation;
};

TEST_F(CNetworkValidationTest, AHealthyNetworkIsOKWithItsUnusedPortsDown)
{
    // Discovery left its own words on the links; a validation starts from Unknown.
    for (const auto& pPE : m_map.ActivePEs)
        EXPECT_EQ(QStringLiteral("Unknown: Enable System Health Monitoring or Validate Network to determine "
                                 "status."),
                  pPE->GetStatusString());
    m_pSw1->PortHealth[3].Reason = QStringLiteral("left from before");
    Link(m_pSw1, m_pSw2)->SetStatus(QStringLiteral("Down"));

    ASSERT_TRUE(m_validation.ValidateNetwork(true));
    EXPECT_TRUE(m_ui.messages.isEmpty()) << m_ui.messages.join(QLatin1Char('\n')).toStdString();
    for (const auto& pPE : m_map.ActivePEs)
    {
        if (pPE->uType & kPETypeNull)
            EXPECT_EQ(eValidationUnknown, pPE->Health.eStatus) << "a Null PE isn't checked";
        else
            EXPECT_EQ(QStringLiteral("OK"), pPE->GetStatusString()) << "node " << pPE->iNodeNumber + 1;
    }
    EXPECT_EQ(QStringLiteral("Up"), Link(m_pSw1, m_pSw2)->GetStatus());
    EXPECT_EQ(eConnectionUp, Link(m_pSw1, m_pSw2)->eStatus);
    EXPECT_EQ(QStringLiteral("Up"), Link(m_pSw2, m_pEp2)->GetStatus());
    // A port that leads nowhere is untrained: its link to the Null PE is down, with the reason.
    const SPortHealth& unused = m_pSw1->PortHealth[3];
    EXPECT_TRUE(unused.bChecked && unused.bDown && !unused.bError);
    EXPECT_EQ(QStringLiteral("Port not trained."), unused.Reason);
    EXPECT_EQ(ePortHealthDown, m_pSw1->Health.PortState[3]);
    EXPECT_EQ(ePortHealthUp, m_pSw1->Health.PortState[1]);
    EXPECT_TRUE(m_pSw1->PortHealth[1].Reason.isEmpty());
    EXPECT_FALSE(m_pSw1->PortHealth[1].bDown || m_pSw1->PortHealth[1].bError);
    int nDown = 0;
    for (const auto& pConnection : m_map.ActiveConnections)
    {
        const bool bToNull = (m_map.ActivePEs.GetByNodeNumber(pConnection->iPE1)->uType |
                              m_map.ActivePEs.GetByNodeNumber(pConnection->iPE2)->uType) &
                             kPETypeNull;
        EXPECT_EQ(bToNull ? QStringLiteral("Down") : QStringLiteral("Up"), pConnection->GetStatus());
        nDown += bToNull ? 1 : 0;
    }
    EXPECT_EQ((18 - 3) + (18 - 2), nDown) << "every free port of the two 18-port switches";
}

TEST_F(CNetworkValidationTest, APEThatStopsAnsweringIsAFindingAndTheMonitorGoesOn)
{
    ASSERT_TRUE(Sweep());
    m_pFabric->Device("ep2").SetMute(true);
    m_view.Clear();
    ASSERT_TRUE(m_validation.Tick());
    EXPECT_TRUE(m_validation.IsRunning());
    EXPECT_EQ(QStringLiteral("Not Responding"), m_pEp2->GetStatusString());
    EXPECT_EQ(QStringLiteral("OK"), m_pSw2->GetStatusString());
    EXPECT_TRUE(m_ui.messages.isEmpty());
    // Only what changed is drawn again: the muted endpoint, no link (its switch port still trains).
    EXPECT_EQ(QList<int>{m_pEp2->iNodeNumber}, m_view.refreshedPEs);
    EXPECT_TRUE(m_view.refreshedConnections.isEmpty());
    EXPECT_EQ(1, m_view.nRepaints);
    EXPECT_TRUE(
        m_view.statusTexts.contains(QString::asprintf("Validating Node ID %d", m_pEp2->iNodeNumber + 1)));

    m_pFabric->Device("ep2").SetMute(false);
    ASSERT_TRUE(m_validation.Tick());
    EXPECT_EQ(QStringLiteral("OK"), m_pEp2->GetStatusString()) << "answers again at the next visit";
}

TEST_F(CNetworkValidationTest, ASwappedBoardShowsTheIDsThatDiffer)
{
    nvsim::CSimDevice& ep1 = m_pFabric->Device("ep1");
    ep1.SetReg(0x00, 0x1001'0ABC); // same device, another vendor
    nvsim::CSimDevice& ep2 = m_pFabric->Device("ep2");
    ep2.SetReg(0x00, 0x2002'0ABC); // both differ
    ASSERT_TRUE(m_validation.ValidateNetwork(true));
    EXPECT_EQ(eValidationIDsNotMatching, m_pEp1->Health.eStatus);
    EXPECT_EQ(QStringLiteral("Vendor ID Not Matching:0ABCh"), m_pEp1->GetStatusString());
    EXPECT_EQ(0xFFFF, m_pEp1->Health.uFoundDeviceID);
    EXPECT_EQ(QStringLiteral("IDs Not Matching : DeviceID:2002h, VendorID:0ABCh"), m_pEp2->GetStatusString());

    ep2.SetReg(0x00, 0x2002'FFF0); // only the device differs
    ASSERT_TRUE(m_validation.ValidateNetwork(true));
    EXPECT_EQ(QStringLiteral("Device ID Not Matching:2002h"), m_pEp2->GetStatusString());
    // The ports of a PE that answers with another identity are still looked at.
    EXPECT_EQ(ePortHealthUp, m_pEp2->Health.PortState[0]);
}

TEST_F(CNetworkValidationTest, APulledLinkGoesDownAndTheFarPEStopsAnswering)
{
    ASSERT_TRUE(Sweep());
    m_view.Clear();
    m_pFabric->Link("sw2", 2)->SetTrained(false);
    ASSERT_TRUE(m_validation.Tick());
    CConnectionPrimitive* pLink = Link(m_pSw2, m_pEp2);
    EXPECT_EQ(QStringLiteral("Down"), pLink->GetStatus());
    EXPECT_EQ(eConnectionOther, pLink->eStatus);
    EXPECT_EQ(QStringLiteral("Port not trained."), m_pSw2->PortHealth[2].Reason);
    EXPECT_EQ(QStringLiteral("Not Responding"), m_pEp2->GetStatusString());
    EXPECT_EQ(QList<int>{pLink->iNodeNumber}, m_view.refreshedConnections);
    EXPECT_TRUE(m_view.refreshedPEs.contains(m_pEp2->iNodeNumber));

    m_pFabric->Link("sw2", 2)->SetTrained(true);
    ASSERT_TRUE(m_validation.Tick());
    EXPECT_EQ(QStringLiteral("Up"), pLink->GetStatus());
    EXPECT_EQ(QStringLiteral("OK"), m_pEp2->GetStatusString());
    EXPECT_TRUE(m_pSw2->PortHealth[2].Reason.isEmpty()) << "the reason goes when the check starts again";
}

TEST_F(CNetworkValidationTest, PortErrorsMakeALinkIntermittentUntilACleanCheck)
{
    // sw2 is the second end of the link from sw1: the link is found from that end too. The
    // switch ahead of sw2 is kept from seeing errors of its own, so only sw2's port speaks.
    CConnectionPrimitive* pLink = Link(m_pSw1, m_pSw2);
    ASSERT_EQ(m_pSw2->iNodeNumber, pLink->iPE2);
    nvsim::CSimDevice& sw2 = m_pFabric->Device("sw2");
    sw2.InjectPortErrors(1, 0x00000100u | 0x00020000u); // input error-stopped, output error-encountered
    ASSERT_TRUE(Sweep());
    EXPECT_EQ(QStringLiteral("Intermittent"), pLink->GetStatus());
    EXPECT_EQ(eConnectionIntermittent, pLink->eStatus);
    const SPortHealth& port = m_pSw2->PortHealth[1];
    EXPECT_TRUE(port.bError && !port.bDown);
    EXPECT_EQ(QStringLiteral("Outstanding port errors: Input Error-stopped (00000100h). Port errors cleared: "
                             "Output Error-encountered (00020000h)."),
              port.Reason);
    EXPECT_EQ(ePortHealthError, m_pSw2->Health.PortState[1]);
    EXPECT_EQ(0x00000100u, sw2.Port(1).ulErrorStatus & 0x071F071Du)
        << "the clearable error was cleared, the stopped state stays";
    EXPECT_EQ(QStringLiteral("OK"), m_pSw2->GetStatusString())
        << "a port error is no fault of the PE's identity";

    // Still stopped: still intermittent, and now with nothing cleared.
    ASSERT_TRUE(m_validation.Tick());
    EXPECT_EQ(QStringLiteral("Outstanding port errors: Input Error-stopped (00000100h)."), port.Reason);

    sw2.Port(1).ulErrorStatus &= ~0x00000100u; // the port recovers
    ASSERT_TRUE(m_validation.Tick());
    EXPECT_EQ(QStringLiteral("Up"), pLink->GetStatus());
    EXPECT_FALSE(port.bError);
    EXPECT_TRUE(port.Reason.isEmpty());
}

TEST_F(CNetworkValidationTest, ACommunicationFailureOrAMissingRouteEndsTheMonitorWithItsMessage)
{
    // A transport failure other than a missing response while reading ep1's identity.
    const uint32_t ulEp1 = m_pEp1->GetDestID();
    m_pTransport->fnIntercept = [ulEp1](const SMaintAccess& access, uint32_t*, int32_t* pnStatus)
    {
        if (access.bWrite || access.ulOffset != 0 || access.ulDestID != ulEp1)
            return false;
        *pnStatus = -6; // the HAL's time-out
        return true;
    };
    m_validation.Start();
    EXPECT_FALSE(m_validation.Tick());
    EXPECT_FALSE(m_validation.IsRunning());
    ASSERT_EQ(1, m_ui.messages.size());
    EXPECT_EQ(QStringLiteral("Network Communications Error. System failed with error: Timeout on RapidIO "
                             "transaction. System Health Monitoring will now be disabled."),
              m_ui.messages[0]);
    EXPECT_EQ(QStringLiteral("System Health Monitoring"), m_ui.messageTitles.value(0));
    EXPECT_EQ(QStringLiteral("Not Responding"), m_pEp1->GetStatusString());

    // No route: the map lost sw1's entry for ep2's ID, and no other ID passes ep2.
    m_pTransport->fnIntercept = nullptr;
    m_ui.messages.clear();
    int nRemoved = 0;
    for (auto& pTable : m_pSw1->RoutingTables)
    {
        const int iEntry = pTable ? pTable->FindEntry(0x0A) : -1;
        nRemoved += iEntry >= 0 && pTable->RemoveAt(iEntry) ? 1 : 0;
    }
    ASSERT_GT(nRemoved, 0);
    EXPECT_FALSE(m_validation.ValidateNetwork(true));
    ASSERT_EQ(1, m_ui.messages.size());
    EXPECT_EQ(QString::asprintf("Unable to validate Node %d.\n\nCould not find a route to this node.  Valid "
                                "routing tables are required for network validation.",
                                m_pSw2->iNodeNumber + 1),
              m_ui.messages[0]);
    EXPECT_EQ(m_ui.messages[0], m_validation.LastFailure());
}

TEST_F(CNetworkValidationTest, ATickKeepsToItsBudgetAndTheNextPicksUpWhereItStopped)
{
    const int nPEs = m_map.ActivePEs.GetCount();
    int64_t llNow = 0;
    m_validation.SetClock([&llNow] { return llNow += 60; });
    m_validation.Start();
    ASSERT_TRUE(m_validation.Tick());
    EXPECT_EQ(2, m_validation.PEsInLastTick()) << "60 ms after the first PE, 120 ms after the second";
    EXPECT_EQ(2, m_validation.CurrentIndex());
    ASSERT_TRUE(m_validation.Tick());
    EXPECT_EQ(4, m_validation.CurrentIndex());
    // Round the list and past its end: the cursor starts again at the first PE.
    for (int i = 0; i < nPEs; ++i)
        ASSERT_TRUE(m_validation.Tick());
    EXPECT_EQ(4, m_validation.CurrentIndex());
    EXPECT_EQ(QStringLiteral("OK"), m_pEp2->GetStatusString());

    // A clock that goes backwards ends the tick after one PE.
    m_validation.SetClock([&llNow] { return llNow -= 5; });
    ASSERT_TRUE(m_validation.Tick());
    EXPECT_EQ(1, m_validation.PEsInLastTick());

    // A clock that stands still: a small network is covered whole, once, in each tick.
    m_validation.SetClock([] { return int64_t{7}; });
    ASSERT_TRUE(m_validation.Tick());
    EXPECT_EQ(nPEs, m_validation.PEsInLastTick());
    EXPECT_TRUE(m_validation.IsRunning());
    m_validation.Stop();
    EXPECT_FALSE(m_validation.IsRunning());
    EXPECT_EQ(QStringLiteral("OK"), m_pEp2->GetStatusString()) << "the state stays after the monitor stops";
}

TEST_F(CNetworkValidationTest, AMapErrorIsNotedAndAOnePEMapHasNoWork)
{
    // ep1's only link arrives at a port the map says ep1 hasn't got: no connection on its ports.
    Link(m_pSw1, m_pEp1)->iPE2Port = 1;
    ASSERT_TRUE(m_validation.ValidateNetwork(true));
    EXPECT_EQ(QStringLiteral("System map error. Cannot not have a PE without a connection to it. System will "
                             "continue to operate."),
              m_pEp1->PortHealth[0].Reason);
    EXPECT_EQ(QStringLiteral("OK"), m_pEp1->GetStatusString());

    // Reset: every PE back to Unknown with clean port records, and the ones that changed redrawn.
    m_view.Clear();
    m_validation.ResetStatus();
    for (const auto& pPE : m_map.ActivePEs)
    {
        EXPECT_EQ(eValidationUnknown, pPE->Health.eStatus);
        EXPECT_TRUE(pPE->PortHealth[0].Reason.isEmpty() && !pPE->PortHealth[0].bChecked);
    }
    EXPECT_EQ(5, m_view.refreshedPEs.size()) << "the host, two switches and two endpoints had a state";

    CNetworkDocument single;
    single.ActivePEs.AddPrimitive(std::make_unique<CPEPrimitive>(*m_map.ActivePEs.GetByIndex(0)));
    m_pTransport->bRecord = true;
    CNetworkValidation lone;
    lone.Init(nullptr, &single.ActivePEs, &single.ActiveConnections);
    lone.Start();
    EXPECT_FALSE(lone.Tick()) << "no work: the monitor ends";
    EXPECT_TRUE(lone.ValidateNetwork(true));
    EXPECT_TRUE(m_pTransport->accesses.empty());
    EXPECT_EQ(eValidationUnknown, single.ActivePEs.GetByIndex(0)->Health.eStatus);
}

// The way to each PE is searched once and kept: later sweeps read the hardware without searching
// the map again, until the map changes in something the search reads.
TEST_F(CNetworkValidationTest, TheWayToEachPEIsSearchedOnceAndKeptWhileTheMapStaysTheSame)
{
    // Every search ends in the route search's log line.
    const auto Searches = []
    {
        QFile log(DebugLogPath());
        return log.open(QIODevice::ReadOnly) ? log.readAll().count("Use destID") : -1;
    };
    SetDebugFlag(eDebugFindRoute, true);
    ASSERT_TRUE(ClearLog());
    ASSERT_TRUE(m_validation.ValidateNetwork(false));
    const int nFirst = Searches();
    EXPECT_EQ(4, nFirst) << "the two switches and two endpoints; the host is itself";
    ASSERT_TRUE(ClearLog());
    ASSERT_TRUE(Sweep());
    ASSERT_TRUE(m_validation.ValidateNetwork(false));
    EXPECT_EQ(0, Searches()) << "a tick and a run later, nothing was searched again";
    // The states the monitor writes (a link found down) are no change of the routes.
    EXPECT_EQ(QStringLiteral("OK"), m_pEp2->GetStatusString());

    // An entry of sw1 written again, as an upload or the editor writes it: every way is searched anew.
    for (auto& pTable : m_pSw1->RoutingTables)
    {
        if (pTable && pTable->FindEntry(0x05) >= 0)
            pTable->AddEntry(0x05, 2, 3, 0, false);
    }
    ASSERT_TRUE(ClearLog());
    ASSERT_TRUE(m_validation.ValidateNetwork(false));
    EXPECT_EQ(4, Searches()) << "a table that changed drops every way kept";
    SetDebugFlag(eDebugFindRoute, false);
}

// Each kind of change the route search reads makes the next sweep search again; with a stale way
// these sweeps would still report the PE OK.
TEST_F(CNetworkValidationTest, AWayKeptIsDroppedWhenTheMapChanges)
{
    const QString strNoRoute = QString::asprintf(
        "Unable to validate Node %d.\n\nCould not find a route to this node.  Valid routing tables are "
        "required for network validation.",
        m_pSw2->iNodeNumber + 1);
    ASSERT_TRUE(m_validation.ValidateNetwork(false));

    // sw1's tables edited and not yet sent: the search reads only tables that match the hardware.
    std::vector<CRoutingTable*> withEp2;
    for (auto& pTable : m_pSw1->RoutingTables)
    {
        if (pTable && pTable->FindEntry(0x0A) >= 0)
            withEp2.push_back(pTable.get());
    }
    ASSERT_FALSE(withEp2.empty());
    for (CRoutingTable* pTable : withEp2)
        pTable->bModified = true;
    EXPECT_FALSE(m_validation.ValidateNetwork(false));
    EXPECT_EQ(strNoRoute, m_validation.LastFailure());
    for (CRoutingTable* pTable : withEp2)
        pTable->bModified = false;
    ASSERT_TRUE(m_validation.ValidateNetwork(false)) << m_validation.LastFailure().toStdString();

    // The link between the switches deleted from the map.
    Link(m_pSw1, m_pSw2)->bDeleted = true;
    EXPECT_FALSE(m_validation.ValidateNetwork(false));
    EXPECT_EQ(strNoRoute, m_validation.LastFailure());
    Link(m_pSw1, m_pSw2)->bDeleted = false;
    ASSERT_TRUE(m_validation.ValidateNetwork(false));

    // A table thrown away, in the background monitor's tick.
    std::unique_ptr<CRoutingTable> pKept = std::move(m_pSw1->RoutingTables[0]);
    ASSERT_TRUE(pKept && pKept->FindEntry(0x0A) >= 0) << "the host's port";
    m_validation.Start();
    EXPECT_FALSE(m_validation.Tick());
    EXPECT_EQ(strNoRoute, m_validation.LastFailure());
    m_pSw1->RoutingTables[0] = std::move(pKept);
    m_ui.messages.clear();

    // ep1 given another ID on the map, checked on its own outside a sweep: no table routes the new
    // ID and no other ID passes ep1.
    ASSERT_TRUE(m_validation.ValidateNetwork(false));
    const uint16_t wOld = m_pEp1->ShortDestID;
    m_pEp1->ShortDestID = 0x0C;
    QString strFailure;
    EXPECT_FALSE(m_validation.ValidatePE(*m_pEp1, false, &strFailure));
    EXPECT_TRUE(
        strFailure.startsWith(QString::asprintf("Unable to validate Node %d.", m_pEp1->iNodeNumber + 1)))
        << strFailure.toStdString();
    m_pEp1->ShortDestID = wOld;
    strFailure.clear();
    EXPECT_TRUE(m_validation.ValidatePE(*m_pEp1, false, &strFailure)) << strFailure.toStdString();
    EXPECT_EQ(QStringLiteral("OK"), m_pEp1->GetStatusString());
}
} // namespace
} // namespace nvtest
