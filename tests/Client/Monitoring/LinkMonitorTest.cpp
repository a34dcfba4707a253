// The link monitors on an in-process fabric found by discovery: a host, a Tsi500 and two
// endpoints. Traffic and link errors are made in the fabric between ticks; the target's clock is
// the test's, so every rate is exact.
#include "LinkMonitor.h"
#include "ClientSimFixture.h"
#include "ClockedTransport.h"
#include "Discovery.h"
#include "PerfMonitor.h"
#include "Preferences.h"
#include "TestSupport.h"
#include "nvsim/Device.h"
#include "nvsim/Faults.h"

#include <QDir>
#include <QFile>
#include <QTemporaryDir>

namespace nvtest
{
namespace
{
std::string Tsi500Fabric()
{
    return std::string(kHostLine) + "device sw1 switch model=tsi500\n"
                                    "device ep1 endpoint memory id=0x05 largeid=0x0005\n"
                                    "device ep2 endpoint memory id=0x0A largeid=0x000A\n"
                                    "host host0\nlink host0:0 sw1:0\nlink sw1:1 ep1:0\nlink sw1:2 ep2:0\n"
                                    "route sw1 0x01 0\nroute sw1 0x05 1\nroute sw1 0x0A 2\n";
}

// The same with a Tsi578 in the middle.
std::string Tsi578Fabric()
{
    return std::string(kHostLine) + "device sw1 switch model=tsi578\n"
                                    "device ep1 endpoint memory id=0x05 largeid=0x0005\n"
                                    "device ep2 endpoint memory id=0x0A largeid=0x000A\n"
                                    "host host0\nlink host0:0 sw1:0\nlink sw1:1 ep1:0\nlink sw1:2 ep2:0\n"
                                    "route sw1 0x01 0\nroute sw1 0x05 1\nroute sw1 0x0A 2\n";
}

class CLinkMonitorTest : public CClientSimTest
{
protected:
    virtual std::string Topology() const { return Tsi500Fabric(); }
    virtual uint16_t SwitchDeviceID() const { return kTsi500DeviceID; }
    void SetUp() override
    {
        CClientSimTest::SetUp();
        Load(Topology());
        SDiscoveryRequest request;
        request.bTryAllClockRates = false;
        request.bUploadRoutingTables = true;
        request.scanIDs = {0x05, 0x0A};
        ASSERT_EQ(0, StandardDiscovery(request, m_map, &m_host, {}));
        for (const auto& pPE : m_map.ActivePEs)
        {
            if (pPE->DeviceID == SwitchDeviceID())
            {
                m_iSwitch = pPE->iNodeNumber;
            }
        }
        ASSERT_GE(m_iSwitch, 0) << "discovery found the switch";
        m_pTransport = std::make_unique<CClockedTransport>(*m_pFabric);
        m_ui.messages.clear();
    }
    void TearDown() override
    {
        ClearPreferenceOverrides();
        CClientSimTest::TearDown();
    }
    std::unique_ptr<CLinkMonitor> Monitor(ELinkMonitorKind eKind, int iPort)
    {
        auto pMonitor = std::make_unique<CLinkMonitor>(eKind, m_map, *m_pTransport, m_iSwitch, iPort);
        pMonitor->fnNow = [this]
        { return QTime(10, 4, 0).addMSecs(static_cast<int>(m_pTransport->ulNowMs)); };
        return pMonitor;
    }
    // n writes of a payload from a device's port 0 to a destination ID, at a priority.
    void Writes(const std::string& strFrom, uint32_t ulDestID, uint64_t n, uint32_t ulBytes,
                uint8_t uchPriority = 0)
    {
        nvsim::CSimFabric::SGenerated what;
        what.eKind = nvsim::EPacketKind::Write;
        what.uchPriority = uchPriority;
        what.ulDestId = ulDestID;
        what.ulBufferBytes = 0x10000;
        what.ulBytes = ulBytes;
        ASSERT_EQ(n, m_pFabric->SendGenerated(m_pFabric->Device(strFrom), 0, what, n));
    }
    void Fault(const std::string& strSpec)
    {
        std::string strError;
        ASSERT_TRUE(nvsim::ApplyFaultSpec(strSpec, *m_pFabric, m_faults, &strError)) << strError;
    }
    // Moves the target's clock and ticks; returns whether points were drawn.
    bool TickAfter(CLinkMonitor& monitor, uint32_t ulMs)
    {
        m_pTransport->ulNowMs += ulMs;
        return monitor.Tick();
    }

    CNetworkDocument m_map;
    int m_iSwitch = -1;
    std::unique_ptr<CClockedTransport> m_pTransport;
    nvsim::CFaults m_faults;
};

TEST_F(CLinkMonitorTest, ThroughputIsTheDeltaOfTheChosenPriorityOverTheTargetsElapsedTime)
{
    auto pMonitor = Monitor(eLinkMonitorThroughput, 1);
    EXPECT_EQ(QStringLiteral("Throughput - Node %1, Port 2, Inbound").arg(m_iSwitch + 1), pMonitor->Title());
    pMonitor->SetPriorities(0, 1);
    pMonitor->SetDepth(1);
    Writes("ep1", 0x01, 7, 32, 1); // counted before the start: only a base for the deltas
    pMonitor->Enable();
    EXPECT_FALSE(TickAfter(*pMonitor, 1000)) << "the first reading draws nothing";
    EXPECT_TRUE(pMonitor->Samples(0).empty());

    Writes("ep1", 0x01, 250, 32, 1);
    ASSERT_TRUE(TickAfter(*pMonitor, 500));
    EXPECT_DOUBLE_EQ(0.0, pMonitor->LastValues()[0]) << "no reads at priority 0";
    EXPECT_DOUBLE_EQ(250.0 / 500000.0 * 1000.0, pMonitor->LastValues()[1]) << "0.5 kPkt/s";
    EXPECT_EQ(QStringLiteral("10::04::06"), pMonitor->Samples(1).back().strTime);

    // Depth 2: the rate is taken over both seconds, the sums of packets and of time.
    pMonitor->SetDepth(2);
    Writes("ep1", 0x01, 1000, 32, 1);
    ASSERT_TRUE(TickAfter(*pMonitor, 1000));
    EXPECT_DOUBLE_EQ((250.0 + 1000.0) / 1500000.0 * 1000.0, pMonitor->LastValues()[1]);
    // Depth 1 again: the older sample goes.
    pMonitor->SetDepth(1);
    Writes("ep1", 0x01, 3000, 32, 1);
    ASSERT_TRUE(TickAfter(*pMonitor, 1000));
    EXPECT_DOUBLE_EQ(3.0, pMonitor->LastValues()[1]);
    EXPECT_EQ(3u, pMonitor->Samples(1).size());
    EXPECT_EQ((std::deque<uint32_t>{1000000}), pMonitor->ElapsedHistory());
}

TEST_F(CLinkMonitorTest, ThroughputHistoryNeverHoldsMoreThanSixteen)
{
    auto pMonitor = Monitor(eLinkMonitorThroughput, 1);
    pMonitor->SetDepth(40);
    EXPECT_EQ(16, pMonitor->Depth());
    pMonitor->SetPriorities(2, 0);
    pMonitor->Enable();
    TickAfter(*pMonitor, 1000);
    uint64_t ullPackets = 0;
    for (int i = 0; i < 20; ++i)
    {
        Writes("ep1", 0x01, 10 * (i + 1), 8, 0);
        ullPackets += (i >= 4) ? 10 * (i + 1) : 0; // the last sixteen
        ASSERT_TRUE(TickAfter(*pMonitor, 1000));
    }
    EXPECT_EQ(16u, pMonitor->CountHistory().size());
    // Writes at priority 0 are the Tsi500's fifth word; the read counter of priority 2 saw none.
    EXPECT_DOUBLE_EQ(static_cast<double>(ullPackets) / 16000000.0 * 1000.0, pMonitor->LastValues()[1]);
    EXPECT_DOUBLE_EQ(0.0, pMonitor->LastValues()[0]);
}

TEST_F(CLinkMonitorTest, EfficiencyFromTheSwitchsDataAndPacketCounters)
{
    auto pMonitor = Monitor(eLinkMonitorEfficiency, 1);
    EXPECT_EQ(QStringLiteral("Traffic Efficiency - Node %1, Port 2, Inbound").arg(m_iSwitch + 1),
              pMonitor->Title());
    pMonitor->SetLineRate(200.0);
    pMonitor->Enable();
    TickAfter(*pMonitor, 1000);
    Writes("ep1", 0x01, 400, 64);
    ASSERT_TRUE(TickAfter(*pMonitor, 2000));
    const SEfficiency& e = pMonitor->LastEfficiency();
    EXPECT_DOUBLE_EQ(200.0, e.dPacketRate);
    EXPECT_DOUBLE_EQ(64.0, e.dAvgSize);
    EXPECT_DOUBLE_EQ(52.0, e.dPayload);
    EXPECT_NEAR(416.0 / (416.0 + 160.0) * 100.0, e.dEfficiency, 1e-9);
    EXPECT_NEAR(52.0 * 200.0 / 200.0 / 1e6 * 100.0, e.dLinkUse, 1e-12);
    EXPECT_DOUBLE_EQ(0.2, pMonitor->LastValues()[0]) << "the chart shows kilopackets";
    EXPECT_DOUBLE_EQ(64.0, pMonitor->LastValues()[1]);

    // A second of nothing with depth 1: no packets, so the size and efficiency are 0.
    TickAfter(*pMonitor, 1000);
    EXPECT_DOUBLE_EQ(0.0, pMonitor->LastValues()[0]);
    EXPECT_DOUBLE_EQ(0.0, pMonitor->LastValues()[2]);
}

TEST(LinkMonitorEfficiency, HeaderSizeStepsAtOneHundredFortyAndPayloadNeverNegative)
{
    // 140 bytes a packet: 12 bytes of header.
    SEfficiency e = ComputeEfficiency(false, 1000000, 10, 1400, 312.5);
    EXPECT_DOUBLE_EQ(128.0, e.dPayload);
    EXPECT_NEAR(1024.0 / (1024.0 + 185.0) * 0.8 * 100.0, e.dEfficiency, 1e-9);
    // 141: 16.
    e = ComputeEfficiency(false, 1000000, 10, 1410, 312.5);
    EXPECT_DOUBLE_EQ(125.0, e.dPayload);
    // Below 12 bytes: nothing is payload and the efficiency is 0.
    e = ComputeEfficiency(true, 1000000, 10, 80, 312.5);
    EXPECT_DOUBLE_EQ(8.0, e.dAvgSize);
    EXPECT_DOUBLE_EQ(0.0, e.dPayload);
    EXPECT_DOUBLE_EQ(0.0, e.dEfficiency);
    // No packets: 0 without dividing; no time: no rate.
    e = ComputeEfficiency(true, 1000000, 0, 4000, 312.5);
    EXPECT_DOUBLE_EQ(0.0, e.dAvgSize);
    EXPECT_DOUBLE_EQ(0.0, e.dEfficiency);
    e = ComputeEfficiency(true, 0, 5, 400, 312.5);
    EXPECT_DOUBLE_EQ(0.0, e.dPacketRate);
}

TEST_F(CLinkMonitorTest, BitErrorsCountRetriesAndCrcErrorsAsTheFabricSawThem)
{
    auto pMonitor = Monitor(eLinkMonitorBitErrors, 1);
    EXPECT_EQ(QStringLiteral("Bit Error Rates - Node %1, Port 2").arg(m_iSwitch + 1), pMonitor->Title());
    pMonitor->SetBuffer(0);
    EXPECT_EQ(QStringLiteral("Outbound Retries on CRC Error - Buffer 0"), pMonitor->ChartTitle(0));
    pMonitor->Enable();
    TickAfter(*pMonitor, 1000);
    ASSERT_TRUE(TickAfter(*pMonitor, 1000));
    EXPECT_DOUBLE_EQ(0.0, pMonitor->LastValues()[0]) << "a clean link";
    EXPECT_DOUBLE_EQ(0.0, pMonitor->LastValues()[1]);

    nvsim::CSimDevice& sw = m_pFabric->Device("sw1");
    const uint64_t ullRetriesBefore = sw.Counters(1).Events(nvsim::ELinkEvent::RetryReceived);
    const uint64_t ullCrcBefore = sw.Counters(1).Events(nvsim::ELinkEvent::CrcError);
    Fault("linkerrors:link=sw1:1,crc=0.1,retry=0.2");
    Writes("host0", 0x05, 200, 32); // out of port 1: refused now and then
    Writes("ep1", 0x01, 200, 32);   // into port 1: some arrive corrupted
    ASSERT_TRUE(TickAfter(*pMonitor, 1000));
    const double dRetries =
        static_cast<double>(sw.Counters(1).Events(nvsim::ELinkEvent::RetryReceived) - ullRetriesBefore);
    const double dCrc =
        static_cast<double>(sw.Counters(1).Events(nvsim::ELinkEvent::CrcError) - ullCrcBefore);
    EXPECT_GT(dRetries, 0.0);
    EXPECT_GT(dCrc, 0.0);
    EXPECT_DOUBLE_EQ(dRetries, pMonitor->LastValues()[0]);
    EXPECT_DOUBLE_EQ(dCrc, pMonitor->LastValues()[1]);

    // Another buffer saw none of those priority 0 retries.
    pMonitor->SetBuffer(1);
    TickAfter(*pMonitor, 1000);
    Writes("host0", 0x05, 200, 32);
    ASSERT_TRUE(TickAfter(*pMonitor, 1000));
    EXPECT_DOUBLE_EQ(0.0, pMonitor->LastValues()[0]);
}

TEST_F(CLinkMonitorTest, SixteenBitErrorCounterThatWrapsStillGivesTheCount)
{
    auto pMonitor = Monitor(eLinkMonitorBitErrors, 2);
    const uint32_t ulCrc = LinkMonitorCrcOffset(2);
    m_pTransport->overrides[ulCrc] = 0xFFFEu << 16;
    pMonitor->Enable();
    TickAfter(*pMonitor, 1000);
    m_pTransport->overrides[ulCrc] = 0x0003u << 16;
    ASSERT_TRUE(TickAfter(*pMonitor, 1000));
    EXPECT_DOUBLE_EQ(5.0, pMonitor->LastValues()[1]);
}

TEST_F(CLinkMonitorTest, ThirtyTwoBitCounterThatWrapsGivesAnUnsignedDelta)
{
    auto pMonitor = Monitor(eLinkMonitorThroughput, 2);
    const uint32_t ulRead0 = LinkMonitorThroughputOffset(true, 2);
    m_pTransport->overrides[ulRead0] = 0xFFFFFFF0u;
    pMonitor->Enable();
    TickAfter(*pMonitor, 1000);
    m_pTransport->overrides[ulRead0] = 0x10u;
    ASSERT_TRUE(TickAfter(*pMonitor, 1000));
    EXPECT_DOUBLE_EQ(0x20 / 1000000.0 * 1000.0, pMonitor->LastValues()[0]);
}

TEST_F(CLinkMonitorTest, FailedReadSkipsTheTickAndKeepsTheHistory)
{
    auto pMonitor = Monitor(eLinkMonitorThroughput, 1);
    pMonitor->SetPriorities(0, 0);
    pMonitor->SetDepth(4);
    pMonitor->Enable();
    TickAfter(*pMonitor, 1000);
    Writes("ep1", 0x01, 100, 8);
    ASSERT_TRUE(TickAfter(*pMonitor, 1000));
    const std::deque<uint32_t> history = pMonitor->SecondHistory(); // the writes
    ASSERT_EQ(std::deque<uint32_t>{100}, history);
    m_pTransport->nFailures = 1;
    EXPECT_FALSE(TickAfter(*pMonitor, 1000));
    EXPECT_EQ(history, pMonitor->SecondHistory());
    EXPECT_TRUE(pMonitor->IsEnabled()) << "a failed read is not the end";
    EXPECT_TRUE(m_ui.messages.empty());
    // The next tick measures from the last good reading: two seconds, and what came in them.
    Writes("ep1", 0x01, 60, 8);
    ASSERT_TRUE(TickAfter(*pMonitor, 1000));
    EXPECT_EQ((std::deque<uint32_t>{2000000, 1000000}), pMonitor->ElapsedHistory());
    EXPECT_EQ((std::deque<uint32_t>{60, 100}), pMonitor->SecondHistory());
}

TEST_F(CLinkMonitorTest, NoRouteSwitchesOffWithTheMessageAndALostLinkSilently)
{
    CLinkMonitor missing(eLinkMonitorEfficiency, m_map, *m_pTransport, 77, 0);
    int nOff = 0;
    missing.onDisabled = [&nOff] { ++nOff; };
    missing.Enable();
    EXPECT_FALSE(missing.Tick());
    EXPECT_FALSE(missing.IsEnabled());
    EXPECT_EQ(1, nOff);
    ASSERT_EQ(1u, m_ui.messages.size());
    EXPECT_EQ(QString::fromLatin1(kLinkMonitorNoRoute), m_ui.messages.front());
    EXPECT_EQ(0, m_pTransport->nReads);

    auto pMonitor = Monitor(eLinkMonitorThroughput, 1);
    pMonitor->Enable();
    m_pTransport->bOpen = false;
    EXPECT_FALSE(pMonitor->Tick());
    EXPECT_FALSE(pMonitor->IsEnabled());
    EXPECT_EQ(1u, m_ui.messages.size()) << "no message for a lost connection";
}

TEST_F(CLinkMonitorTest, ReportHoldsEveryPointWithItsTimeOrSaysThereIsNone)
{
    QTemporaryDir dir;
    ASSERT_TRUE(dir.isValid());
    auto pMonitor = Monitor(eLinkMonitorBitErrors, 1);
    EXPECT_FALSE(pMonitor->GenerateReport(QStringLiteral("lab.nvm"), dir.path(), false));
    ASSERT_FALSE(m_ui.messages.empty());
    EXPECT_EQ(QStringLiteral("There is no data recorded to report."), m_ui.messages.back());

    pMonitor = Monitor(eLinkMonitorThroughput, 1);
    pMonitor->SetPriorities(1, 3);
    pMonitor->Enable();
    TickAfter(*pMonitor, 1000);
    Writes("ep1", 0x01, 1234, 8, 3);
    ASSERT_TRUE(TickAfter(*pMonitor, 1000));
    const std::vector<SPerfMonitorRecord> records = pMonitor->ReportRecords();
    ASSERT_EQ(2u, records.size());
    EXPECT_EQ(QStringLiteral("Throughput Monitor"), records[1].strMonitor);
    EXPECT_EQ(QStringLiteral("Priority 3 Write Rate (Kilopackets / second) (kPkt/s)"), records[1].strCounter);
    ASSERT_EQ(1u, records[1].samples.size());
    EXPECT_EQ(QStringLiteral("10::04::07"), records[1].samples[0].strTime);

    // The shipped templates, copied where the report is told to look.
    const QString strTemplates = ShippedReportTemplates(eReportPerformance);
    for (const QString& strName : QDir(strTemplates).entryList(QDir::Files))
    {
        ASSERT_TRUE(QFile::copy(strTemplates + strName, dir.filePath(strName)));
    }
    ASSERT_TRUE(pMonitor->GenerateReport(QStringLiteral("lab.nvm"), dir.path(), false));
    QFile page(dir.filePath(QStringLiteral("Output/Performance Report.HTM")));
    ASSERT_TRUE(page.open(QIODevice::ReadOnly));
    const QString strPage = QString::fromUtf8(page.readAll());
    EXPECT_TRUE(strPage.contains(QStringLiteral("1.234"))) << "1234 writes in a second";
    EXPECT_TRUE(strPage.contains(QStringLiteral("10::04::07")));
    EXPECT_TRUE(strPage.contains(QStringLiteral("Throughput Monitor")));
}

// ---- Tsi578: the statistics counters, programmed and cleared on read ----------------------------

class CTsi578LinkMonitorTest : public CLinkMonitorTest
{
protected:
    std::string Topology() const override { return Tsi578Fabric(); }
    uint16_t SwitchDeviceID() const override { return kPerfDeviceTsi578; }
    // A control register of port 1 as the switch holds it (the switch is hop 0 from the host).
    uint32_t Control(uint32_t ulRegister)
    {
        uint32_t ulValue = 0;
        EXPECT_EQ(0, m_pTransport->Read(0xFF, 0, ulRegister + 0x100, &ulValue));
        return ulValue;
    }
};

// A performance monitor's accesses on the fabric, enough to switch a trace on.
class CFabricPerfTransport final : public IPerfTransport
{
public:
    explicit CFabricPerfTransport(nvsim::CSimFabric& fabric) : m_fabric(fabric) {}
    bool IsOpen() override { return true; }
    int32_t TimedRead(uint32_t ulDestID, uint8_t uchHop, uint32_t ulOffset, uint32_t, uint32_t* pulValue,
                      uint32_t* pulElapsedUs, uint32_t* pulTick) override
    {
        *pulElapsedUs = 1000000;
        *pulTick = 0;
        return m_fabric.MaintRead(0, ulDestID, uchHop, ulOffset, pulValue, 1, 4, 4, false);
    }
    int32_t Read(uint32_t ulDestID, uint8_t uchHop, uint32_t ulOffset, uint32_t* pulValue) override
    {
        return m_fabric.MaintRead(0, ulDestID, uchHop, ulOffset, pulValue, 1, 4, 4, false);
    }
    int32_t Write(uint32_t ulDestID, uint8_t uchHop, uint32_t ulOffset, uint32_t ulValue) override
    {
        return m_fabric.MaintWrite(0, ulDestID, uchHop, ulOffset, &ulValue, 1, 4, 4, false);
    }

private:
    nvsim::CSimFabric& m_fabric;
};

TEST_F(CTsi578LinkMonitorTest, ThroughputCountsReceivedRequestsOfEachPriorityFromClearOnReadCounters)
{
    auto pMonitor = Monitor(eLinkMonitorThroughput, 1);
    pMonitor->SetPriorities(0, 1);
    Writes("ep1", 0x01, 40, 32, 1); // before the controls are set: nothing counts them
    ASSERT_TRUE(pMonitor->Enable());
    // PSC4n5_CTRL of port 1: PSC4 received requests of priority 0, PSC5 of priority 1.
    EXPECT_EQ(0x10000000u | 0x2000u, Control(0x13028));
    EXPECT_FALSE(TickAfter(*pMonitor, 1000));

    Writes("ep1", 0x01, 100, 32, 0);
    Writes("ep1", 0x01, 250, 32, 1);
    Writes("ep2", 0x01, 70, 32, 1); // another port's traffic
    ASSERT_TRUE(TickAfter(*pMonitor, 500));
    EXPECT_DOUBLE_EQ(100.0 / 500000.0 * 1000.0, pMonitor->LastValues()[0]);
    EXPECT_DOUBLE_EQ(250.0 / 500000.0 * 1000.0, pMonitor->LastValues()[1]);

    // The same again: a reading is the count since the last one, not a running total.
    Writes("ep1", 0x01, 250, 32, 1);
    ASSERT_TRUE(TickAfter(*pMonitor, 500));
    EXPECT_DOUBLE_EQ(0.0, pMonitor->LastValues()[0]);
    EXPECT_DOUBLE_EQ(0.5, pMonitor->LastValues()[1]);
    EXPECT_EQ((std::deque<uint32_t>{250}), pMonitor->SecondHistory());

    // Other priorities while on: the controls follow, the next reading starts afresh.
    pMonitor->SetPriorities(2, 0);
    EXPECT_EQ(0x40000000u | 0x1000u, Control(0x13028));
    Writes("ep1", 0x01, 30, 32, 0);
    EXPECT_FALSE(TickAfter(*pMonitor, 1000));
    Writes("ep1", 0x01, 600, 32, 2);
    Writes("ep1", 0x01, 300, 32, 0);
    ASSERT_TRUE(TickAfter(*pMonitor, 1000));
    EXPECT_DOUBLE_EQ(0.6, pMonitor->LastValues()[0]);
    EXPECT_DOUBLE_EQ(0.3, pMonitor->LastValues()[1]);
}

TEST_F(CTsi578LinkMonitorTest, EfficiencyFromReceivedPacketsAndDataWords)
{
    auto pMonitor = Monitor(eLinkMonitorEfficiency, 1);
    pMonitor->SetLineRate(200.0);
    const uint32_t ulOtherHalf = 0x00000105; // PSC3's control, set by someone else: kept
    ASSERT_EQ(0, m_pTransport->Write(0xFF, 0, 0x13124, ulOtherHalf));
    ASSERT_TRUE(pMonitor->Enable());
    EXPECT_EQ(0xF0010000u, Control(0x13020) & 0xFFFF0000u) << "PSC0: received packets, all priorities";
    EXPECT_EQ(0xF0040000u | ulOtherHalf, Control(0x13024)) << "PSC2: received data words";
    TickAfter(*pMonitor, 1000);

    Writes("ep1", 0x01, 300, 32, 0);
    Writes("ep1", 0x01, 100, 32, 2);
    ASSERT_TRUE(TickAfter(*pMonitor, 2000));
    const SEfficiency& e = pMonitor->LastEfficiency();
    EXPECT_DOUBLE_EQ(200.0, e.dPacketRate);
    EXPECT_DOUBLE_EQ(32.0, e.dAvgSize) << "8 data words a packet";
    const SEfficiency expected = ComputeEfficiency(false, 2000000, 400, 400 * 32, 200.0);
    EXPECT_DOUBLE_EQ(expected.dEfficiency, e.dEfficiency);
    EXPECT_DOUBLE_EQ(expected.dEfficiency, pMonitor->LastValues()[2]);

    Writes("ep1", 0x01, 50, 64, 1);
    ASSERT_TRUE(TickAfter(*pMonitor, 1000));
    EXPECT_DOUBLE_EQ(50.0, pMonitor->LastEfficiency().dPacketRate) << "the 400 before were cleared";
    EXPECT_DOUBLE_EQ(64.0, pMonitor->LastEfficiency().dAvgSize);
}

TEST_F(CTsi578LinkMonitorTest, ClaimedCounterIsRefusedToASecondReaderUntilReleased)
{
    CFabricPerfTransport perfTransport(*m_pFabric);
    CPerfMonitor perf(m_map, m_iSwitch, perfTransport);
    ASSERT_TRUE(perf.Valid());
    // Trace 0 on "Unicast Packets Received" of port 1: SP1_PSC0, which efficiency needs.
    perf.SelectCounter(0, perf.FindCounter(QStringLiteral("Unicast Packets Received")));
    perf.SelectPort(0, 1);
    ASSERT_TRUE(perf.SetTraceOn(0, true));

    auto pEfficiency = Monitor(eLinkMonitorEfficiency, 1);
    const int nWritesBefore = m_pTransport->nWrites;
    EXPECT_FALSE(pEfficiency->Enable());
    EXPECT_FALSE(pEfficiency->IsEnabled());
    ASSERT_EQ(1, m_ui.messages.size());
    EXPECT_EQ(QStringLiteral("This counter is already being controlled by another dialog."),
              m_ui.messages.back());
    EXPECT_EQ(nWritesBefore, m_pTransport->nWrites) << "the other reader's controls are left alone";
    // Throughput on the same port uses PSC4 and PSC5: free.
    auto pThroughput = Monitor(eLinkMonitorThroughput, 1);
    EXPECT_TRUE(pThroughput->Enable());

    perf.SetTraceOn(0, false);
    ASSERT_TRUE(pEfficiency->Enable());
    // Now the link monitor holds PSC0 and PSC2, and the performance monitor is refused them.
    m_ui.messages.clear();
    EXPECT_FALSE(perf.SetTraceOn(0, true));
    perf.SelectCounter(1, perf.FindCounter(QStringLiteral("Unicast Data Words Received")));
    perf.SelectPort(1, 1);
    EXPECT_FALSE(perf.SetTraceOn(1, true));
    EXPECT_EQ(2, m_ui.messages.size());
    // Disable gives them back; so does closing (the monitor going away).
    pEfficiency->Disable();
    EXPECT_TRUE(perf.SetTraceOn(0, true));
    perf.SetTraceOn(0, false);
    ASSERT_TRUE(pEfficiency->Enable());
    pEfficiency.reset();
    EXPECT_TRUE(perf.SetTraceOn(1, true));
    perf.SetTraceOn(1, false);
    auto pSecond = Monitor(eLinkMonitorThroughput, 1);
    EXPECT_FALSE(pSecond->Enable()) << "the first throughput monitor still holds PSC4 and PSC5";
}

TEST_F(CTsi578LinkMonitorTest, FailedControlWriteLeavesTheMonitorOffAndNothingClaimed)
{
    auto pMonitor = Monitor(eLinkMonitorThroughput, 2);
    m_pTransport->nWriteFailures = 1;
    EXPECT_FALSE(pMonitor->Enable());
    EXPECT_FALSE(pMonitor->IsEnabled());
    ASSERT_EQ(1, m_ui.messages.size());
    EXPECT_EQ(QStringLiteral("Unable to enable counter."), m_ui.messages.back());
    auto pOther = Monitor(eLinkMonitorThroughput, 2);
    EXPECT_TRUE(pOther->Enable()) << "a failed enable claims nothing";
    EXPECT_EQ(1, m_ui.messages.size());
}

TEST(LinkMonitorOffsets, Tsi57xWordsAreStatisticsCountersAndTsi500sUnchanged)
{
    EXPECT_EQ(0x13050u + 0x300u, LinkMonitorThroughputOffset(false, 3)); // SP3_PSC4
    EXPECT_EQ(0x13040u + 0x100u, LinkMonitorEfficiencyOffset(false, 1)); // SP1_PSC0
    EXPECT_EQ(0x1091Cu + 0x40000u, LinkMonitorThroughputOffset(true, 2));
    EXPECT_EQ(0x10914u + 0x20000u, LinkMonitorEfficiencyOffset(true, 1));
}
} // namespace
} // namespace nvtest
