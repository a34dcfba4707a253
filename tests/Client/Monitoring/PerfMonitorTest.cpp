// The performance monitor on the in-process simulator: a discovered map, traffic sent between
// ticks on a clock the test moves, and the rates the monitor computes from the switches' own
// counter registers; the device table, the averaging depth, the counter enables and claims, and
// what ends a tick or switches the monitor off.
#include "PerfMonitor.h"
#include "ClientSimFixture.h"
#include "Discovery.h"
#include "RouteSearch.h"

#include "DebugLog.h"
#include "nvsim/Device.h"

#include <QFile>

#include <set>

namespace nvtest
{
namespace
{
// The monitor's reads carried out on the fabric, timed by a clock the test sets, as the server
// times them: the microseconds since the tick the client names, and the tick in milliseconds.
class CClockedPerfTransport : public IPerfTransport
{
public:
    explicit CClockedPerfTransport(nvsim::CSimFabric& fabric) : m_fabric(fabric) {}

    bool IsOpen() override { return bOpen; }
    int32_t TimedRead(uint32_t ulDestID, uint8_t uchHop, uint32_t ulOffset, uint32_t ulLastTick,
                      uint32_t* pulValue, uint32_t* pulElapsedUs, uint32_t* pulTick) override
    {
        timedReads.push_back(ulOffset);
        if (failOffsets.count(ulOffset))
            return -310;
        const int32_t nStatus = m_fabric.MaintRead(0, ulDestID, uchHop, ulOffset, pulValue, 1, 4, 256, false);
        *pulElapsedUs = static_cast<uint32_t>(ullNowUs - uint64_t{ulLastTick} * 1000);
        *pulTick = static_cast<uint32_t>(ullNowUs / 1000);
        return nStatus;
    }
    int32_t Read(uint32_t ulDestID, uint8_t uchHop, uint32_t ulOffset, uint32_t* pulValue) override
    {
        return m_fabric.MaintRead(0, ulDestID, uchHop, ulOffset, pulValue, 1, 4, 4, false);
    }
    int32_t Write(uint32_t ulDestID, uint8_t uchHop, uint32_t ulOffset, uint32_t ulValue) override
    {
        if (bFailWrites)
            return -310;
        return m_fabric.MaintWrite(0, ulDestID, uchHop, ulOffset, &ulValue, 1, 4, 4, false);
    }

    uint64_t ullNowUs = 5'000'000;
    bool bOpen = true;
    bool bFailWrites = false;
    std::set<uint32_t> failOffsets;
    std::vector<uint32_t> timedReads;

private:
    nvsim::CSimFabric& m_fabric;
};

// host0 - sw1 - sw2 - ep2, with ep1 on sw1 (two CPS-1848s).
std::string Gen2Fabric()
{
    return std::string(kHostLine) +
           "device sw1 switch model=cps1848\ndevice sw2 switch model=cps1848\n"
           "device ep1 endpoint device=0x1001 memory id=0x05 largeid=0x0005\n"
           "device ep2 endpoint device=0x1002 memory id=0x0A largeid=0x000A\n"
           "host host0\nlink host0:0 sw1:0\nlink sw1:1 sw2:1\nlink sw1:2 ep1:0\nlink sw2:2 ep2:0\n"
           "route sw1 0x01 0\nroute sw1 0x05 2\nroute sw1 0x0A 1\nroute sw2 0x01 1\nroute sw2 0x0A 2\n";
}

// host0 - a Tsi578 - ep1.
std::string TsiFabric()
{
    return std::string(kHostLine) + "device sw1 switch model=tsi578\n"
                                    "device ep1 endpoint device=0x1001 memory id=0x05 largeid=0x0005\n"
                                    "host host0\nlink host0:0 sw1:0\nlink sw1:3 ep1:0\n"
                                    "route sw1 0x01 0\nroute sw1 0x05 3\n";
}

constexpr int kPktTx = 3;  // "VC0 Packets Transmitted"
constexpr int kPktRx = 16; // "VC0 Packets Received"

class CPerfMonitorTest : public CClientSimTest
{
protected:
    void Discover(const std::string& strFabric, std::vector<uint32_t> scanIDs)
    {
        Load(strFabric);
        SDiscoveryRequest request;
        request.bTryAllClockRates = false;
        request.bUploadRoutingTables = true;
        request.scanIDs = std::move(scanIDs);
        ASSERT_EQ(0, StandardDiscovery(request, m_map, &m_host, {}));
        m_pClock = std::make_unique<CClockedPerfTransport>(*m_pFabric);
        m_ui.messages.clear();
    }
    // Node number of the switch of a device ID that the host reaches with a hop count.
    int SwitchNode(uint16_t wDeviceID, int iHop) const
    {
        const CPEPrimitive* pHost = m_map.ActivePEs.GetHostPE();
        for (const auto& pPE : m_map.ActivePEs)
        {
            uint32_t ulDestID = 0;
            uint8_t uchHop = 0;
            if (pPE->DeviceID == wDeviceID &&
                FindRoute(pHost, pPE.get(), m_map.ActivePEs, m_map.ActiveConnections, &ulDestID, &uchHop,
                          false, nullptr) == 0 &&
                uchHop == iHop)
                return pPE->iNodeNumber;
        }
        return -1;
    }
    void NWrites(uint32_t ulDestID, int nCount)
    {
        const uint8_t abData[8] = {1, 2, 3, 4, 5, 6, 7, 8};
        for (int i = 0; i < nCount; ++i)
            ASSERT_EQ(0, m_pFabric->DataWrite(0, ulDestID, 0, 0x1000, 1, abData, 8, false));
    }
    std::unique_ptr<CPerfMonitor> Monitor(int iNode)
    {
        auto pMonitor = std::make_unique<CPerfMonitor>(m_map, iNode, *m_pClock);
        pMonitor->fnTimeStamp = [this] { return QString::number(m_pClock->ullNowUs / 1000000); };
        pMonitor->onRate = [this](int iTrace, double dRate) { rates.emplace_back(iTrace, dRate); };
        return pMonitor;
    }
    void Trace(CPerfMonitor& monitor, int iTrace, int iCounter, int iPort)
    {
        monitor.SelectCounter(iTrace, iCounter);
        monitor.SelectPort(iTrace, iPort);
        ASSERT_TRUE(monitor.SetTraceOn(iTrace, true)) << m_ui.messages.join(" | ").toStdString();
    }
    void Second(CPerfMonitor& monitor, uint64_t ullSeconds = 1)
    {
        m_pClock->ullNowUs += ullSeconds * 1'000'000;
        monitor.Tick();
    }

    CNetworkDocument m_map;
    std::unique_ptr<CClockedPerfTransport> m_pClock;
    std::vector<std::pair<int, double>> rates;
};
} // namespace

TEST(PerfDeviceTable, EveryDeviceHasItsTitlePortsAndCounterSet)
{
    struct SExpected
    {
        uint16_t wDevice;
        const char* pszTitle;
        int iPorts;
        size_t nCounters;
    };
    const SExpected expected[] = {
        {0x0310, "IDT 70K2000 PPS Performance Monitor", 22, 4},
        {0x0320, "IDT 80HFC1000 Performance Monitor", 1, 6},
        {0x035A, "IDT 80KSW0001 PPS Performance Monitor", 12, 8},
        {0x035B, "IDT 80KSW0002 CPS-16 Performance Monitor", 16, 11},
        {0x035C, "IDT 80KSW0003 CPS-8 Performance Monitor", 8, 11},
        {0x035D, "IDT 80KSW0004 CPS-12 Performance Monitor", 12, 11},
        {0x035E, "IDT 80KSW0005 CPS-10Q Performance Monitor", 16, 11},
        {0x035F, "IDT 80KSW0005 CPS-6Q Performance Monitor", 16, 11},
        {0x0374, "IDT CPS/VPS-1848 Performance Monitor", 18, 22},
        {0x0375, "IDT CPS-1432 Performance Monitor", 14, 22},
        {0x0377, "IDT VPS-1616 Performance Monitor", 16, 44},
        {0x0378, "IDT SPS-1616 Performance Monitor", 16, 22},
        {0x0379, "IDT CPS-1616 Performance Monitor", 16, 22},
        {0x04F0, "IDT 80KSBR200 Serial Buffer Performance Monitor", 1, 6},
    };
    for (const SExpected& e : expected)
    {
        const SPerfDeviceDesc* pDevice = FindPerfDevice(0x0038, e.wDevice);
        ASSERT_TRUE(pDevice) << std::hex << e.wDevice;
        EXPECT_EQ(QLatin1String(e.pszTitle), pDevice->strTitle);
        EXPECT_EQ(e.iPorts, pDevice->iNumPorts) << e.pszTitle;
        EXPECT_EQ(e.nCounters, pDevice->counters.size()) << e.pszTitle;
        std::set<uint32_t> addresses;
        for (const SPerfCounterDesc& counter : pDevice->counters)
            addresses.insert(counter.ulBase);
        EXPECT_EQ(pDevice->counters.size(), addresses.size())
            << e.pszTitle << ": two counters share an address";
    }
    // The vendor test is exact; other devices have no monitor.
    EXPECT_FALSE(FindPerfDevice(0x0039, 0x0374));
    EXPECT_FALSE(FindPerfDevice(0x0038, 0x0376));
    EXPECT_FALSE(FindPerfDevice(0x0038, 0x0578));
    ASSERT_TRUE(FindPerfDevice(0x000D, 0x0578));
    EXPECT_TRUE(FindPerfDevice(0x000D, 0x0578)->bTsi578);
    ASSERT_TRUE(FindPerfDevice(0x000D, 0x0574));
    EXPECT_EQ(8, FindPerfDevice(0x000D, 0x0574)->iNumPorts) << "the Tsi574 has the form with its 8 ports";
    EXPECT_FALSE(FindPerfDevice(0x000D, 0x0500));

    // Counters sit where the parts have them.
    const SPerfDeviceDesc& cps = *FindPerfDevice(0x0038, 0x0379);
    EXPECT_EQ(QStringLiteral("VC0 Packets Transmitted"), cps.counters[kPktTx].strName);
    EXPECT_EQ(0xF4001Cu, cps.counters[kPktTx].ulBase);
    EXPECT_EQ(QStringLiteral("VC0 Packets Received"), cps.counters[kPktRx].strName);
    EXPECT_EQ(0xF40050u, cps.counters[kPktRx].ulBase);
    EXPECT_EQ(QStringLiteral("Congestion Retries"), cps.counters.back().strName);
    EXPECT_EQ(0xF400CCu, cps.counters.back().ulBase);
    const SPerfDeviceDesc& vps = *FindPerfDevice(0x0038, 0x0377);
    EXPECT_EQ(QStringLiteral("VC1 ACKs Transmitted"), vps.counters[21].strName);
    EXPECT_EQ(0xF40074u, vps.counters[21].ulBase);
    EXPECT_EQ(QStringLiteral("VC5 CRC Limit Packets Dropped"), vps.counters[42].strName);
    EXPECT_EQ(0xF400C8u, vps.counters[42].ulBase);
    const SPerfDeviceDesc& pps = *FindPerfDevice(0x0038, 0x035A);
    EXPECT_EQ(QStringLiteral("Trace Match Counter 4"), pps.counters[7].strName);
    EXPECT_EQ(0xF4002Cu, pps.counters[7].ulBase);

    EXPECT_EQ(0x13040u, Tsi578CounterAddress(0, 0));
    EXPECT_EQ(0x13054u + 0x300u, Tsi578CounterAddress(5, 3));
}

TEST(PerfRate, SumsOverTheValidSamplesAsUnsigned32BitValues)
{
    const uint32_t aCounts[] = {100, 300, 999};
    const uint32_t aElapsed[] = {1'000'000, 1'000'000, 7};
    EXPECT_DOUBLE_EQ(100.0, CPerfMonitor::Rate(aCounts, aElapsed, 1));
    EXPECT_DOUBLE_EQ(200.0, CPerfMonitor::Rate(aCounts, aElapsed, 2));
    EXPECT_DOUBLE_EQ(0.0, CPerfMonitor::Rate(aCounts, aElapsed, 0));
    const uint32_t aZero[] = {0, 0};
    EXPECT_DOUBLE_EQ(0.0, CPerfMonitor::Rate(aCounts, aZero, 2)) << "no time gives no rate";
    // The sums wrap at 32 bits as the counters' registers do.
    const uint32_t aBig[] = {0xFFFFFFFFu, 2};
    EXPECT_DOUBLE_EQ(1.0 / 2'000'000 * 1'000'000, CPerfMonitor::Rate(aBig, aElapsed, 2));
}

TEST_F(CPerfMonitorTest, RatesFollowTheNWritesSentOnThePathAndNothingElse)
{
    ASSERT_NO_FATAL_FAILURE(Discover(Gen2Fabric(), {0x05, 0x0A}));
    const CPEPrimitive* pSw2 = m_map.ActivePEs.GetByNodeNumber(SwitchNode(0x0374, 1));
    ASSERT_TRUE(pSw2);
    auto pMonitor = Monitor(pSw2->iNodeNumber);
    ASSERT_TRUE(pMonitor->Valid());
    EXPECT_EQ(QStringLiteral("IDT CPS/VPS-1848 Performance Monitor - Node %1").arg(pSw2->iNodeNumber + 1),
              pMonitor->Title());
    ASSERT_NO_FATAL_FAILURE(Trace(*pMonitor, 0, kPktTx, 2)); // towards ep2
    ASSERT_NO_FATAL_FAILURE(Trace(*pMonitor, 1, kPktRx, 2)); // from ep2: it sends nothing
    // Switching a trace on set the counters' enable of its port, and only there.
    EXPECT_TRUE(m_pFabric->Device("sw2").ReadRegister(kPerfPortOps + 0x200, nvsim::SRegAccess{0, true}) &
                kPerfCountersEnable);
    EXPECT_FALSE(m_pFabric->Device("sw2").ReadRegister(kPerfPortOps + 0x300, nvsim::SRegAccess{0, true}) &
                 kPerfCountersEnable);
    ASSERT_TRUE(pMonitor->Enable());

    NWrites(0x0A, 7);
    Second(*pMonitor);
    EXPECT_TRUE(rates.empty()) << "the first tick after Enable draws no point";

    NWrites(0x0A, 50);
    Second(*pMonitor);
    ASSERT_EQ(2u, rates.size());
    EXPECT_EQ(0, rates[0].first);
    EXPECT_DOUBLE_EQ(50.0, rates[0].second);
    EXPECT_DOUBLE_EQ(0.0, rates[1].second);

    // Two seconds of 30 writes at depth 1: 15 a second.
    rates.clear();
    NWrites(0x0A, 30);
    Second(*pMonitor, 2);
    ASSERT_EQ(2u, rates.size());
    EXPECT_DOUBLE_EQ(15.0, rates[0].second);

    // The counters clear when read: the same traffic again gives the same rate, not a growing one.
    rates.clear();
    NWrites(0x0A, 30);
    Second(*pMonitor, 2);
    ASSERT_EQ(2u, rates.size());
    EXPECT_DOUBLE_EQ(15.0, rates[0].second);

    // What the report gets: one record a trace, each sample with its time.
    const std::vector<SPerfTraceRecord> records = pMonitor->Records();
    ASSERT_EQ(2u, records.size());
    EXPECT_EQ(QStringLiteral("VC0 Packets Transmitted"), records[0].strCounter);
    EXPECT_EQ(2, records[0].iPort);
    EXPECT_EQ(pSw2->iNodeNumber, records[0].iNode);
    ASSERT_EQ(3u, records[0].samples.size());
    EXPECT_EQ(QStringLiteral("7"), records[0].samples[0].strTime) << "the clock started at 5 s";
    EXPECT_DOUBLE_EQ(50.0, records[0].samples[0].dRate);
}

TEST_F(CPerfMonitorTest, TheAveragingDepthSpreadsTheRateOverThatManySamples)
{
    ASSERT_NO_FATAL_FAILURE(Discover(Gen2Fabric(), {0x05, 0x0A}));
    auto pMonitor = Monitor(SwitchNode(0x0374, 0));
    ASSERT_TRUE(pMonitor->Valid());
    ASSERT_NO_FATAL_FAILURE(Trace(*pMonitor, 0, kPktTx, 2)); // sw1 towards ep1
    pMonitor->SetDepth(3);
    ASSERT_TRUE(pMonitor->Enable());
    Second(*pMonitor);
    for (int n : {10, 20, 30, 40, 50})
    {
        NWrites(0x05, n);
        Second(*pMonitor);
    }
    std::vector<double> got;
    for (const auto& rate : rates)
        got.push_back(rate.second);
    // 10, (10+20)/2, (10+20+30)/3, then the last three.
    EXPECT_EQ((std::vector<double>{10.0, 15.0, 20.0, 30.0, 40.0}), got);

    // A smaller depth takes effect at the next sample.
    rates.clear();
    pMonitor->SetDepth(1);
    NWrites(0x05, 8);
    Second(*pMonitor);
    ASSERT_EQ(1u, rates.size());
    EXPECT_DOUBLE_EQ(8.0, rates[0].second);
}

TEST_F(CPerfMonitorTest, AFailedReadEndsTheTickAndTheNextTickGoesOn)
{
    ASSERT_NO_FATAL_FAILURE(Discover(Gen2Fabric(), {0x05, 0x0A}));
    auto pMonitor = Monitor(SwitchNode(0x0374, 0));
    ASSERT_NO_FATAL_FAILURE(Trace(*pMonitor, 0, kPktTx, 2));
    ASSERT_NO_FATAL_FAILURE(Trace(*pMonitor, 1, kPktTx, 1));
    ASSERT_NO_FATAL_FAILURE(Trace(*pMonitor, 2, kPktRx, 0));
    ASSERT_TRUE(pMonitor->Enable());
    Second(*pMonitor);
    rates.clear();
    m_pClock->timedReads.clear();
    m_pClock->failOffsets = {0xF4001C + 0x100};
    NWrites(0x05, 4);
    Second(*pMonitor);
    EXPECT_EQ((std::vector<uint32_t>{0xF4001C + 0x200, 0xF4001C + 0x100}), m_pClock->timedReads)
        << "the third trace is not read after the second failed";
    ASSERT_EQ(1u, rates.size());
    EXPECT_EQ(0, rates[0].first);
    EXPECT_TRUE(pMonitor->IsEnabled());

    m_pClock->failOffsets.clear();
    rates.clear();
    NWrites(0x05, 6);
    Second(*pMonitor);
    ASSERT_EQ(3u, rates.size()) << "every trace is read again";
    EXPECT_DOUBLE_EQ(6.0, rates[0].second);
    EXPECT_EQ(1, rates[1].first);
    EXPECT_EQ(2, rates[2].first);
    EXPECT_TRUE(m_ui.messages.isEmpty()) << m_ui.messages.join(" | ").toStdString();
}

TEST_F(CPerfMonitorTest, NoLinkNoHostOrNoRouteSwitchesTheMonitorOff)
{
    ASSERT_NO_FATAL_FAILURE(Discover(Gen2Fabric(), {0x05, 0x0A}));
    const int iNode = SwitchNode(0x0374, 0);
    auto pMonitor = Monitor(iNode);
    int nOff = 0;
    pMonitor->onSwitchedOff = [&] { ++nOff; };
    ASSERT_NO_FATAL_FAILURE(Trace(*pMonitor, 0, kPktTx, 2));

    // No link: Enable refuses with the message.
    m_pClock->bOpen = false;
    EXPECT_FALSE(pMonitor->Enable());
    ASSERT_EQ(1, m_ui.messages.size());
    EXPECT_TRUE(m_ui.messages[0].contains(QLatin1String(kPerfRouteMessage)));
    m_pClock->bOpen = true;
    ASSERT_TRUE(pMonitor->Enable());
    Second(*pMonitor);

    // The link closes while running.
    m_pClock->bOpen = false;
    Second(*pMonitor);
    EXPECT_FALSE(pMonitor->IsEnabled());
    EXPECT_EQ(1, nOff);
    m_pClock->bOpen = true;

    // The host goes from the map.
    ASSERT_TRUE(pMonitor->Enable());
    CPEPrimitive* pHost = m_map.ActivePEs.GetHostPE();
    ASSERT_TRUE(pHost);
    pHost->bHasHostLink = false;
    m_pClock->timedReads.clear();
    Second(*pMonitor);
    EXPECT_FALSE(pMonitor->IsEnabled());
    EXPECT_EQ(2, nOff);
    EXPECT_TRUE(m_pClock->timedReads.empty());
    pHost->bHasHostLink = true;

    // The map's tables lose the way to sw2 (sw1's tables are emptied): the message, and off.
    auto pFar = Monitor(SwitchNode(0x0374, 1));
    pFar->onSwitchedOff = [&] { ++nOff; };
    ASSERT_NO_FATAL_FAILURE(Trace(*pFar, 0, kPktTx, 2));
    ASSERT_TRUE(pFar->Enable());
    m_ui.messages.clear();
    for (auto& pTable : m_map.ActivePEs.GetByNodeNumber(iNode)->RoutingTables)
        pTable.reset();
    Second(*pFar);
    EXPECT_FALSE(pFar->IsEnabled());
    EXPECT_EQ(3, nOff);
    ASSERT_EQ(1, m_ui.messages.size());
    EXPECT_TRUE(m_ui.messages[0].contains(QLatin1String(kPerfRouteMessage)));
}

TEST_F(CPerfMonitorTest, ACounterIsControlledByOneWindowAndAFailedEnableLeavesItOff)
{
    ASSERT_NO_FATAL_FAILURE(Discover(Gen2Fabric(), {0x05, 0x0A}));
    const int iNode = SwitchNode(0x0374, 0);
    auto pFirst = Monitor(iNode);
    auto pSecond = Monitor(iNode);
    ASSERT_NO_FATAL_FAILURE(Trace(*pFirst, 0, kPktTx, 2));
    pSecond->SelectCounter(0, kPktTx);
    pSecond->SelectPort(0, 2);
    EXPECT_FALSE(pSecond->SetTraceOn(0, true));
    EXPECT_FALSE(pSecond->Trace(0).bOn);
    ASSERT_EQ(1, m_ui.messages.size());
    EXPECT_EQ(QStringLiteral("This counter is already being controlled by another dialog."),
              m_ui.messages[0]);
    EXPECT_EQ(QStringLiteral("Warning"), m_ui.messageTitles[0]);
    // Another port of the same counter is free.
    m_ui.messages.clear();
    pSecond->SelectPort(0, 1);
    EXPECT_TRUE(pSecond->SetTraceOn(0, true));
    // Once the first window has gone, its counter may be taken.
    pFirst.reset();
    pSecond->SelectPort(0, 2);
    EXPECT_TRUE(pSecond->Trace(0).bOn) << "a trace that is on stays on when its port changes";
    EXPECT_TRUE(m_ui.messages.isEmpty()) << m_ui.messages.join(" | ").toStdString();

    // The enable write fails.
    m_ui.messages.clear();
    m_ui.messageTitles.clear();
    m_pClock->bFailWrites = true;
    pSecond->SelectCounter(1, kPktRx);
    pSecond->SelectPort(1, 5);
    EXPECT_FALSE(pSecond->SetTraceOn(1, true));
    EXPECT_FALSE(pSecond->Trace(1).bOn);
    ASSERT_EQ(1, m_ui.messages.size());
    EXPECT_EQ(QStringLiteral("Unable to enable counter."), m_ui.messages[0]);
    EXPECT_EQ(QStringLiteral("Error"), m_ui.messageTitles[0]);
}

TEST_F(CPerfMonitorTest, Tsi578CountersAreProgrammedRatedAndLogged)
{
    ASSERT_NO_FATAL_FAILURE(Discover(TsiFabric(), {0x05}));
    int iNode = -1;
    for (const auto& pPE : m_map.ActivePEs)
    {
        if (pPE->DeviceID == kPerfDeviceTsi578)
            iNode = pPE->iNodeNumber;
    }
    ASSERT_GE(iNode, 0);
    auto pMonitor = Monitor(iNode);
    ASSERT_TRUE(pMonitor->Valid());
    EXPECT_EQ(QStringLiteral("IDT Tsi-578 Performance Monitor - Node %1").arg(iNode + 1), pMonitor->Title());
    EXPECT_EQ(16, pMonitor->PortNames().size());
    const int iTx = pMonitor->FindCounter(QStringLiteral("unicast packets transmitted"));
    const int iRx = pMonitor->FindCounter(QStringLiteral("Unicast Packets Received"));
    ASSERT_EQ(1, iTx);
    ASSERT_EQ(0, iRx);
    ASSERT_NO_FATAL_FAILURE(Trace(*pMonitor, 0, iTx, 3));
    ASSERT_NO_FATAL_FAILURE(Trace(*pMonitor, 1, iRx, 0));
    // PSC0n1 of port 3 counts unicast packets: received in the high half, transmitted in the low.
    uint32_t ulControl = 0;
    ASSERT_EQ(0, m_pFabric->MaintRead(0, 0xFF, 0, 0x13020 + 0x300, &ulControl, 1, 4, 4, false));
    EXPECT_EQ(uint32_t{Tsi578ControlHalf(iTx)}, ulControl & 0xFFFF);
    EXPECT_EQ(0x0101u, ulControl & 0x0F07);

    SetDebugFlag(eDebugPerfMon, true);
    ASSERT_TRUE(ClearLog());
    ASSERT_TRUE(pMonitor->Enable());
    Second(*pMonitor);
    NWrites(0x05, 12);
    Second(*pMonitor);
    SetDebugFlag(eDebugPerfMon, false);
    ASSERT_GE(rates.size(), 2u);
    EXPECT_EQ(0, rates[0].first);
    EXPECT_DOUBLE_EQ(12.0, rates[0].second) << "the writes left by port 3";
    EXPECT_GE(rates[1].second, 12.0) << "and came in by port 0, with the monitor's own reads";

    QFile log(DebugLogPath());
    ASSERT_TRUE(log.open(QIODevice::ReadOnly));
    const QString strLog = QString::fromLatin1(log.readAll());
    EXPECT_TRUE(strLog.contains(
        QStringLiteral("Read 0000000c from counter at address 00013344 over time period 000f4240")))
        << strLog.toStdString();

    // The same time stamp twice: no time, no rate.
    rates.clear();
    m_pClock->failOffsets.clear();
    pMonitor->Tick();
    ASSERT_FALSE(rates.empty());
    EXPECT_DOUBLE_EQ(0.0, rates[0].second) << "E summed to 0 at depth 1";
}
} // namespace nvtest
