#include "LinkMonitor.h"

#include "DebugLog.h"
#include "NetworkDocument.h"
#include "PETypes.h"
#include "PerfMonitor.h"
#include "Preferences.h"
#include "Reports/ReportTemplate.h"
#include "RouteSearch.h"
#include "TargetClient.h"
#include "TargetLink.h"
#include "UserInterface.h"

#include <QLocale>

#include <algorithm>
#include <cmath>

namespace
{
// Tsi500 port register blocks are 128 KiB apart.
constexpr uint32_t kTsi500PortStride = 0x20000;
// Throughput: 8 words on the Tsi500 (inbound NREADs of priority 0..3, then writes of 0..3).
constexpr uint32_t kTsi500ThroughputWords = 8;

// The Tsi57x has no fixed throughput or efficiency counters. What it has are six statistics
// counters a port, SP{n}_PSC0..5 at 13040h + 4k, each counting what its half of SP{n}_PSC0n1_CTRL,
// PSC2n3_CTRL or PSC4n5_CTRL (13020h/13024h/13028h) selects, and each cleared when read. This
// follows the Tsi578 User Manual's port statistics counter register descriptions (SP{n}_PSC0n1_CTRL
// to SP{n}_PSC4n5_CTRL and SP{n}_PSC0..5, in the serial port registers of its register map) and
// the field layout of Tsi578.h in the RapidIO device access routines. A reading that takes 13038h
// and 13044h as cumulative inbound counters gets the addresses wrong: 13038h is no counter at all,
// 13044h is PSC1, and neither keeps a running total. So the monitors claim two counters, program
// them, and take every reading as the count since the one before.
//   Throughput: PSC4 = received unicast request packets of the read priority, PSC5 = of the write
//   priority (the counters select by priority, not by transaction type), read as 2 words, stride 4.
//   Efficiency: PSC0 = received unicast packets, PSC2 = received unicast data in 4-byte words, all
//   priorities, read as 2 words, stride 8; the same selections as the performance monitor's
//   counters 0 and 2, so one claim table keeps the two from sharing a counter.
constexpr int kTsi57xThroughputCounters[2] = {4, 5};
constexpr int kTsi57xEfficiencyCounters[2] = {0, 2};
constexpr uint16_t kAllPriorities = 0xF000;

class CTargetLinkMonitorTransport final : public ILinkMonitorTransport
{
public:
    bool IsOpen() override
    {
        const CTargetLink* pLink = CTargetClient::Instance().Link();
        return pLink && pLink->IsConnected();
    }
    int32_t TimedRead(uint32_t ulDestID, uint8_t uchHop, uint32_t ulOffset, uint32_t* pulWords,
                      uint32_t ulCount, uint32_t ulStride, uint32_t ulLastTick, uint32_t* pulElapsedUs,
                      uint32_t* pulTick) override
    {
        return CTargetClient::Instance().Maint_read(0, ulDestID, uchHop, ulOffset, pulWords, ulCount,
                                                    ulStride, 2, true, ulLastTick, pulElapsedUs, pulTick);
    }
    int32_t Read(uint32_t ulDestID, uint8_t uchHop, uint32_t ulOffset, uint32_t* pulValue) override
    {
        return CTargetClient::Instance().Maint_read(0, ulDestID, uchHop, ulOffset, pulValue, 1, 4, 2);
    }
    int32_t Write(uint32_t ulDestID, uint8_t uchHop, uint32_t ulOffset, uint32_t ulValue) override
    {
        return CTargetClient::Instance().Maint_write(0, ulDestID, uchHop, ulOffset, &ulValue, 1, 4, 2);
    }
};

const char* const kPreferenceSection = "LinkMonitor";
const char* const kLineRateKey = "LineRateMBps";
constexpr double kDefaultLineRate = 312.5; // 3.125 Gbaud on one lane, 8b/10b coded

uint64_t SumOf(const std::deque<uint32_t>& series)
{
    uint64_t ullSum = 0;
    for (uint32_t ul : series)
    {
        ullSum += ul;
    }
    return ullSum;
}

// The link monitor's records written with the performance report's templates: one table per
// chart, the values with the precision the chart shows.
class CLinkMonitorReport final : public CReport
{
public:
    CLinkMonitorReport(const QString& strMapName, std::vector<SPerfMonitorRecord> records,
                       std::vector<int> decimals)
        : CReport(eReportPerformance), m_records(std::move(records)), m_decimals(std::move(decimals))
    {
        SetMapName(strMapName);
    }

protected:
    bool CheckContent() override
    {
        const bool bAny = std::any_of(m_records.begin(), m_records.end(),
                                      [](const SPerfMonitorRecord& r) { return !r.samples.empty(); });
        if (!bAny)
        {
            ShowMessage(QStringLiteral("There is no data recorded to report."));
        }
        return bAny;
    }
    bool WriteBody() override
    {
        for (size_t i = 0; i < m_records.size(); ++i)
        {
            const SPerfMonitorRecord& record = m_records[i];
            if (!WritePiece(QStringLiteral("pmr_pmh.htm"), PerfMonitorKeys(), PerfMonitorValues(record)) ||
                !WritePiece(QStringLiteral("pmr_th.htm"), {QStringLiteral("TABLETITLE")},
                            {ReportEscape(record.strCounter)}))
            {
                return false;
            }
            for (const SPerfSample& sample : record.samples)
            {
                if (!WritePiece(QStringLiteral("pmr_tl.htm"),
                                {QStringLiteral("SAMPLETIME"), QStringLiteral("SAMPLEDATA")},
                                {ReportEscape(sample.strTime),
                                 QLocale::c().toString(sample.dRate, 'f', m_decimals[i])}))
                {
                    return false;
                }
            }
            if (!WritePiece(QStringLiteral("pmr_tf.htm")))
            {
                return false;
            }
        }
        return true;
    }

private:
    std::vector<SPerfMonitorRecord> m_records;
    std::vector<int> m_decimals;
};
} // namespace

ILinkMonitorTransport& TargetLinkMonitorTransport()
{
    static CTargetLinkMonitorTransport transport;
    return transport;
}

uint32_t LinkMonitorRetryOffset(int iPort, int iBuffer)
{
    return 0x10808 + 4 * static_cast<uint32_t>(iBuffer) + kTsi500PortStride * static_cast<uint32_t>(iPort);
}

uint32_t LinkMonitorCrcOffset(int iPort)
{
    return 0x1090C + kTsi500PortStride * static_cast<uint32_t>(iPort);
}

uint32_t LinkMonitorThroughputOffset(bool bTsi500, int iPort)
{
    return bTsi500 ? 0x1091C + kTsi500PortStride * static_cast<uint32_t>(iPort)
                   : Tsi578CounterAddress(kTsi57xThroughputCounters[0], iPort);
}

uint32_t LinkMonitorEfficiencyOffset(bool bTsi500, int iPort)
{
    return bTsi500 ? 0x10914 + kTsi500PortStride * static_cast<uint32_t>(iPort)
                   : Tsi578CounterAddress(kTsi57xEfficiencyCounters[0], iPort);
}

bool LinkMonitorEnd(const CNetworkDocument& document, int iConnection, ELinkMonitorKind eKind, int* piNode,
                    int* piPort, QString* pstrWhy)
{
    const CConnectionPrimitive* pLink = document.pCurrentConnections->GetByNodeNumber(iConnection);
    if (!pLink)
    {
        *pstrWhy = QStringLiteral("Unable to find the link.");
        return false;
    }
    for (int iEnd = 0; iEnd < 2; ++iEnd)
    {
        const int iNode = iEnd == 0 ? pLink->iPE1 : pLink->iPE2;
        const CPEPrimitive* pPE = document.pCurrentPEs->GetByNodeNumber(iNode);
        if (pPE && pPE->ManufID == kTundraVendorID && (pPE->uType & kPETypeSwitch) &&
            (eKind != eLinkMonitorBitErrors || pPE->DeviceID == kTsi500DeviceID))
        {
            *piNode = iNode;
            *piPort = iEnd == 0 ? pLink->iPE1Port : pLink->iPE2Port;
            return true;
        }
    }
    *pstrWhy = eKind == eLinkMonitorBitErrors
                   ? QStringLiteral("Bit error rates can be monitored only on a port of a Tsi500.")
                   : QStringLiteral("Link monitors need a Tsi switch at one end of the link.");
    return false;
}

SEfficiency ComputeEfficiency(bool bTsi500, uint64_t ullElapsedUs, uint64_t ullPackets, uint64_t ullBytes,
                              double dLineRateMBps)
{
    SEfficiency result;
    if (ullElapsedUs > 0)
    {
        result.dPacketRate = static_cast<double>(ullPackets) / static_cast<double>(ullElapsedUs) * 1000000.0;
    }
    if (ullPackets == 0)
    {
        return result;
    }
    result.dAvgSize = static_cast<double>(ullBytes) / static_cast<double>(ullPackets);
    // Header and CRC: 12 bytes for a small packet, 16 once the packet carries a second CRC.
    result.dPayload = std::max(0.0, result.dAvgSize - (result.dAvgSize <= 140.0 ? 12.0 : 16.0));
    const double dBits = result.dPayload * 8.0;
    // Framing around each packet on the wire: the Tsi500's parallel ports add 96 + 64 bits, the
    // serial ports 112 + 73, and 8b/10b coding leaves 80 % of the rest.
    result.dEfficiency =
        (bTsi500 ? dBits / (dBits + 96.0 + 64.0) : dBits / (dBits + 112.0 + 73.0) * 0.8) * 100.0;
    if (dLineRateMBps > 0)
    {
        result.dLinkUse = result.dPayload * result.dPacketRate / dLineRateMBps / 1000000.0 * 100.0;
    }
    return result;
}

CLinkMonitor::CLinkMonitor(ELinkMonitorKind eKind, CNetworkDocument& document,
                           ILinkMonitorTransport& transport, int iNode, int iPort)
    : m_eKind(eKind), m_document(document), m_transport(transport), m_iNode(iNode), m_iPort(iPort)
{
    if (const CPEPrimitive* pPE = PE())
    {
        m_uDeviceID = pPE->DeviceID;
        // The Tsi574, Tsi577 and Tsi578 share the statistics counters.
        const SPerfDeviceDesc* pDevice = FindPerfDevice(pPE->ManufID, pPE->DeviceID);
        m_bTsi57x = pDevice && pDevice->bTsi578;
    }
    m_dLineRate = StoredLineRate();
}

CLinkMonitor::~CLinkMonitor()
{
    ReleaseCounters();
}

bool CLinkMonitor::UsesStatisticsCounters() const
{
    return m_eKind != eLinkMonitorBitErrors && m_bTsi57x;
}

std::array<int, 2> CLinkMonitor::StatisticsCounters() const
{
    const int* piCounters =
        m_eKind == eLinkMonitorThroughput ? kTsi57xThroughputCounters : kTsi57xEfficiencyCounters;
    return {piCounters[0], piCounters[1]};
}

uint16_t CLinkMonitor::StatisticsControl(int iSeries) const
{
    if (m_eKind == eLinkMonitorThroughput)
    {
        const int iPriority = iSeries == 0 ? m_iReadPriority : m_iWritePriority;
        return static_cast<uint16_t>((kTsi578ControlPriority0 << iPriority) | kTsi578TypeRequests);
    }
    return static_cast<uint16_t>(kAllPriorities | (iSeries == 0 ? kTsi578TypePackets : kTsi578TypeData));
}

const char* CLinkMonitor::ProgramStatisticsControls()
{
    static const char* const pszUnable = "Unable to enable counter.";
    uint32_t ulDestID = 0;
    uint8_t uchHop = 0;
    if (!m_transport.IsOpen())
    {
        return pszUnable;
    }
    if (!FindPERoute(&ulDestID, &uchHop))
    {
        return kLinkMonitorNoRoute;
    }
    const std::array<int, 2> counters = StatisticsCounters();
    for (int i = 0; i < 2; ++i)
    {
        if (!ProgramTsi578Control([&](uint32_t ulOffset, uint32_t* pulValue)
                                  { return m_transport.Read(ulDestID, uchHop, ulOffset, pulValue); },
                                  [&](uint32_t ulOffset, uint32_t ulValue)
                                  { return m_transport.Write(ulDestID, uchHop, ulOffset, ulValue); },
                                  m_iPort, counters[static_cast<size_t>(i)], StatisticsControl(i)))
        {
            return pszUnable;
        }
    }
    return nullptr;
}

void CLinkMonitor::ReleaseCounters()
{
    if (!m_bClaimed)
    {
        return;
    }
    const std::array<int, 2> counters = StatisticsCounters();
    for (int i = 0; i < 2; ++i)
    {
        ReleasePerfCounter(m_iNode, Tsi578CounterAddress(counters[static_cast<size_t>(i)], m_iPort), this, i);
    }
    m_bClaimed = false;
}

QString CLinkMonitor::Title() const
{
    static const char* const apszTitles[] = {"Bit Error Rates - Node %1, Port %2",
                                             "Throughput - Node %1, Port %2, Inbound",
                                             "Traffic Efficiency - Node %1, Port %2, Inbound"};
    return QString::fromLatin1(apszTitles[m_eKind]).arg(m_iNode + 1).arg(m_iPort + 1);
}

QString CLinkMonitor::ReportTitle() const
{
    static const char* const apszTitles[] = {"Bit Error Rate Monitor", "Throughput Monitor",
                                             "Traffic Efficiency Monitor"};
    return QString::fromLatin1(apszTitles[m_eKind]);
}

int CLinkMonitor::NumCharts() const
{
    return m_eKind == eLinkMonitorEfficiency ? 3 : 2;
}

QString CLinkMonitor::ChartTitle(int iChart) const
{
    switch (m_eKind)
    {
    case eLinkMonitorBitErrors:
        return iChart == 0 ? QStringLiteral("Outbound Retries on CRC Error - Buffer %1").arg(m_iBuffer)
                           : QStringLiteral("Inbound CRC Errors");
    case eLinkMonitorThroughput:
        return iChart == 0
                   ? QStringLiteral("Priority %1 Read Rate (Kilopackets / second)").arg(m_iReadPriority)
                   : QStringLiteral("Priority %1 Write Rate (Kilopackets / second)").arg(m_iWritePriority);
    case eLinkMonitorEfficiency:
        return iChart == 0   ? QStringLiteral("Packet Rate (Kilopackets/second)")
               : iChart == 1 ? QStringLiteral("Average Packet Size (bytes)")
                             : QStringLiteral("Packet Efficiency (%)");
    }
    return QString();
}

QString CLinkMonitor::ChartUnits(int iChart) const
{
    switch (m_eKind)
    {
    case eLinkMonitorBitErrors:
        return iChart == 0 ? QStringLiteral("Retries") : QStringLiteral("Errors");
    case eLinkMonitorThroughput:
        return QStringLiteral("kPkt/s");
    case eLinkMonitorEfficiency:
        return iChart == 0   ? QStringLiteral("kPkt/s")
               : iChart == 1 ? QStringLiteral("Bytes")
                             : QStringLiteral("%");
    }
    return QString();
}

void CLinkMonitor::SetDepth(int iDepth)
{
    m_iDepth = std::clamp(iDepth, 1, kLinkMonitorMaxDepth);
    while (static_cast<int>(m_elapsed.size()) > m_iDepth)
    {
        m_elapsed.pop_back();
        m_counts.pop_back();
        m_seconds.pop_back();
    }
}

void CLinkMonitor::SetBuffer(int iBuffer)
{
    m_iBuffer = std::clamp(iBuffer, 0, 3);
    m_bFirstSample = true;
    m_elapsed.clear(), m_counts.clear(), m_seconds.clear();
}

void CLinkMonitor::SetPriorities(int iRead, int iWrite)
{
    m_iReadPriority = std::clamp(iRead, 0, 3);
    m_iWritePriority = std::clamp(iWrite, 0, 3);
    m_bFirstSample = true;
    m_elapsed.clear(), m_counts.clear(), m_seconds.clear();
    // The counters now count other priorities; what they hold from before goes with the first
    // reading after this.
    if (m_bClaimed && m_eKind == eLinkMonitorThroughput)
    {
        if (const char* pszWhy = ProgramStatisticsControls())
        {
            Disable();
            if (onDisabled)
            {
                onDisabled();
            }
            ShowMessage(QString::fromLatin1(pszWhy));
        }
    }
}

void CLinkMonitor::SetLineRate(double dMBps)
{
    if (dMBps > 0)
    {
        m_dLineRate = dMBps;
    }
}

double CLinkMonitor::StoredLineRate()
{
    bool bOk = false;
    const double d = GetPreference(QString::fromLatin1(kPreferenceSection), QString::fromLatin1(kLineRateKey),
                                   QString::number(kDefaultLineRate))
                         .toDouble(&bOk);
    return bOk && d > 0 ? d : kDefaultLineRate;
}

bool CLinkMonitor::StoreLineRate(double dMBps)
{
    return SetPreference(QString::fromLatin1(kPreferenceSection), QString::fromLatin1(kLineRateKey),
                         QString::number(dMBps));
}

bool CLinkMonitor::Enable()
{
    if (UsesStatisticsCounters() && !m_bClaimed)
    {
        const std::array<int, 2> counters = StatisticsCounters();
        for (int i = 0; i < 2; ++i)
        {
            if (PerfCounterClaimedByOther(
                    m_iNode, Tsi578CounterAddress(counters[static_cast<size_t>(i)], m_iPort), this, i))
            {
                UI().ShowMessage(QString::fromLatin1(kPerfCounterClaimedMessage), QStringLiteral("Warning"),
                                 EMessageKind::Warning);
                return false;
            }
        }
        if (const char* pszWhy = ProgramStatisticsControls())
        {
            ShowMessage(QString::fromLatin1(pszWhy));
            return false;
        }
        for (int i = 0; i < 2; ++i)
        {
            ClaimPerfCounter(m_iNode, Tsi578CounterAddress(counters[static_cast<size_t>(i)], m_iPort), this,
                             i);
        }
        m_bClaimed = true;
    }
    m_bEnabled = true;
    m_bFirstSample = true;
    return true;
}

void CLinkMonitor::Disable()
{
    m_bEnabled = false;
    ReleaseCounters();
}

CPEPrimitive* CLinkMonitor::PE() const
{
    return m_document.ActivePEs.GetByNodeNumber(m_iNode);
}

bool CLinkMonitor::FindPERoute(uint32_t* pulDestID, uint8_t* puchHop) const
{
    const CPEPrimitive* pHost = m_document.ActivePEs.GetHostPE();
    const CPEPrimitive* pPE = PE();
    return pHost && pPE &&
           FindRoute(pHost, pPE, m_document.ActivePEs, m_document.ActiveConnections, pulDestID, puchHop,
                     false, nullptr) == 0;
}

bool CLinkMonitor::ReadCounters(uint32_t ulDestID, uint8_t uchHop, uint32_t* pulElapsed, uint32_t* pulTick,
                                uint32_t* pulFirst, uint32_t* pulSecond)
{
    const bool bTsi500 = IsTsi500();
    switch (m_eKind)
    {
    case eLinkMonitorBitErrors:
    {
        uint32_t ulRetries = 0;
        uint32_t ulCrc = 0;
        uint32_t ulIgnored = 0;
        if (m_transport.TimedRead(ulDestID, uchHop, LinkMonitorRetryOffset(m_iPort, m_iBuffer), &ulRetries, 1,
                                  4, m_ulLastTick, pulElapsed, pulTick) != 0 ||
            m_transport.TimedRead(ulDestID, uchHop, LinkMonitorCrcOffset(m_iPort), &ulCrc, 1, 4, m_ulLastTick,
                                  &ulIgnored, &ulIgnored) != 0)
        {
            return false;
        }
        *pulFirst = ulRetries >> 16;
        *pulSecond = ulCrc >> 16;
        return true;
    }
    case eLinkMonitorThroughput:
    {
        uint32_t aulReg[kTsi500ThroughputWords] = {};
        const uint32_t ulWords = bTsi500 ? kTsi500ThroughputWords : 2;
        if (m_transport.TimedRead(ulDestID, uchHop, LinkMonitorThroughputOffset(bTsi500, m_iPort), aulReg,
                                  ulWords, 4, m_ulLastTick, pulElapsed, pulTick) != 0)
        {
            return false;
        }
        DebugPrint(eDebugPerfMon,
                   "Thruput: reg[0]:%08lx reg[1]:%08lx reg[2]:%08lx reg[3]:%08lx reg[4]:%08lx reg[5]:%08lx "
                   "reg[6]:%08lx reg[7]:%08lx \n",
                   static_cast<unsigned long>(aulReg[0]), static_cast<unsigned long>(aulReg[1]),
                   static_cast<unsigned long>(aulReg[2]), static_cast<unsigned long>(aulReg[3]),
                   static_cast<unsigned long>(aulReg[4]), static_cast<unsigned long>(aulReg[5]),
                   static_cast<unsigned long>(aulReg[6]), static_cast<unsigned long>(aulReg[7]));
        // The Tsi500's write counters follow its four read counters; the Tsi57x's two counters
        // are programmed with the read and the write priority.
        *pulFirst = bTsi500 ? aulReg[m_iReadPriority] : aulReg[0];
        *pulSecond = bTsi500 ? aulReg[4 + m_iWritePriority] : aulReg[1];
        return true;
    }
    case eLinkMonitorEfficiency:
    {
        uint32_t aulReg[2] = {};
        if (m_transport.TimedRead(ulDestID, uchHop, LinkMonitorEfficiencyOffset(bTsi500, m_iPort), aulReg, 2,
                                  bTsi500 ? 4 : 8, m_ulLastTick, pulElapsed, pulTick) != 0)
        {
            return false;
        }
        DebugPrint(eDebugPerfMon, "TrafficEfficiency: DC:%08lx PC:%08lx\n",
                   static_cast<unsigned long>(aulReg[0]), static_cast<unsigned long>(aulReg[1]));
        // Second series: data words, first: packets. The Tsi500 has data first, the Tsi57x's PSC0
        // packets and PSC2 data.
        *pulFirst = bTsi500 ? aulReg[1] : aulReg[0];
        *pulSecond = bTsi500 ? aulReg[0] : aulReg[1];
        return true;
    }
    }
    return false;
}

bool CLinkMonitor::Tick()
{
    if (!m_bEnabled)
    {
        return false;
    }
    if (!m_transport.IsOpen())
    {
        Disable();
        if (onDisabled)
        {
            onDisabled();
        }
        return false;
    }
    uint32_t ulDestID = 0;
    uint8_t uchHop = 0;
    if (!FindPERoute(&ulDestID, &uchHop))
    {
        Disable();
        if (onDisabled)
        {
            onDisabled();
        }
        ShowMessage(QString::fromLatin1(kLinkMonitorNoRoute));
        return false;
    }
    uint32_t ulElapsed = 0;
    uint32_t ulTick = 0;
    uint32_t ulFirst = 0;
    uint32_t ulSecond = 0;
    if (!ReadCounters(ulDestID, uchHop, &ulElapsed, &ulTick, &ulFirst, &ulSecond))
    {
        return false; // the history stays as it was; the next tick tries again
    }
    m_ulLastTick = ulTick;
    // The Tsi500's counters are cumulative: what counts is the change since the last reading,
    // taken modulo the counter's width so that a wrap gives the true count (16 bits for its error
    // counters). The Tsi57x's statistics counters clear on read: a reading is already the count.
    const bool bClearOnRead = UsesStatisticsCounters();
    const uint32_t ulMask = m_eKind == eLinkMonitorBitErrors ? 0xFFFFu : 0xFFFFFFFFu;
    const uint32_t ulDeltaFirst = bClearOnRead ? ulFirst : (ulFirst - m_ulPrevFirst) & ulMask;
    const uint32_t ulDeltaSecond = bClearOnRead ? ulSecond : (ulSecond - m_ulPrevSecond) & ulMask;
    m_ulOlderFirst = m_ulPrevFirst;
    m_ulPrevFirst = ulFirst;
    m_ulPrevSecond = ulSecond;
    if (m_bFirstSample)
    {
        // The first reading only starts the deltas and the target's clock (and on a Tsi57x takes
        // away what the counters held from before they were programmed).
        m_bFirstSample = false;
        return false;
    }
    Record(ulElapsed, ulDeltaFirst,
           m_eKind == eLinkMonitorEfficiency ? static_cast<uint32_t>(uint64_t{ulDeltaSecond} * 4)
                                             : ulDeltaSecond);
    Compute();
    return true;
}

void CLinkMonitor::Record(uint32_t ulElapsed, uint32_t ulFirst, uint32_t ulSecond)
{
    m_elapsed.push_front(ulElapsed);
    m_counts.push_front(ulFirst);
    m_seconds.push_front(ulSecond);
    SetDepth(m_iDepth);
}

void CLinkMonitor::Compute()
{
    const uint64_t ullE = SumOf(m_elapsed);
    const uint64_t ullFirst = SumOf(m_counts);
    const uint64_t ullSecond = SumOf(m_seconds);
    const QString strTime = TimeStamp(fnNow ? fnNow() : QTime::currentTime());
    switch (m_eKind)
    {
    case eLinkMonitorBitErrors:
        AddPoint(0, static_cast<double>(ullFirst), strTime);
        AddPoint(1, static_cast<double>(ullSecond), strTime);
        break;
    case eLinkMonitorThroughput:
    {
        const double dE = static_cast<double>(ullE);
        AddPoint(0, ullE ? static_cast<double>(ullFirst) / dE * 1000.0 : 0.0, strTime);
        AddPoint(1, ullE ? static_cast<double>(ullSecond) / dE * 1000.0 : 0.0, strTime);
        break;
    }
    case eLinkMonitorEfficiency:
    {
        m_lastEfficiency = ComputeEfficiency(IsTsi500(), ullE, ullFirst, ullSecond, m_dLineRate);
        DebugPrint(eDebugPerfMon, "PT:%u CT:%u ET:%u   PPC:%u TPC:%u PC:%u   PRate:%lf\n",
                   static_cast<unsigned>(ullFirst), static_cast<unsigned>(m_counts.front()),
                   static_cast<unsigned>(ullE), static_cast<unsigned>(m_ulOlderFirst),
                   static_cast<unsigned>(m_ulPrevFirst), static_cast<unsigned>(m_counts.front()),
                   m_lastEfficiency.dPacketRate);
        AddPoint(0, m_lastEfficiency.dPacketRate / 1000.0, strTime);
        AddPoint(1, m_lastEfficiency.dAvgSize, strTime);
        AddPoint(2, m_lastEfficiency.dEfficiency, strTime);
        break;
    }
    }
}

void CLinkMonitor::AddPoint(int iChart, double dValue, const QString& strTime)
{
    m_lastValues[static_cast<size_t>(iChart)] = dValue;
    m_samples[static_cast<size_t>(iChart)].push_back({strTime, dValue});
}

bool CLinkMonitor::HasData() const
{
    return std::any_of(m_samples.begin(), m_samples.end(), [](const auto& v) { return !v.empty(); });
}

void CLinkMonitor::ClearData()
{
    for (auto& samples : m_samples)
    {
        samples.clear();
    }
}

QString CLinkMonitor::TimeStamp(const QTime& time)
{
    return QString::asprintf("%02d::%02d::%02d", time.hour(), time.minute(), time.second());
}

std::vector<SPerfMonitorRecord> CLinkMonitor::ReportRecords() const
{
    std::vector<SPerfMonitorRecord> records;
    const CPEPrimitive* pPE = PE();
    for (int i = 0; i < NumCharts(); ++i)
    {
        SPerfMonitorRecord record;
        record.strMonitor = ReportTitle();
        record.iNode = m_iNode;
        record.iPort = m_iPort;
        record.uDestID = pPE && pPE->bUsesDestID ? pPE->GetDestID() : uint16_t(0xFFFF);
        record.strCounter = QStringLiteral("%1 (%2)").arg(ChartTitle(i), ChartUnits(i));
        for (const SLinkSample& sample : Samples(i))
        {
            record.samples.push_back({sample.strTime, sample.dValue});
        }
        records.push_back(std::move(record));
    }
    return records;
}

bool CLinkMonitor::GenerateReport(const QString& strMapName, const QString& strDirectory, bool bOpen)
{
    std::vector<int> decimals;
    for (int i = 0; i < NumCharts(); ++i)
    {
        decimals.push_back(m_eKind == eLinkMonitorBitErrors ? 0 : 3);
    }
    CLinkMonitorReport report(strMapName, ReportRecords(), decimals);
    if (!strDirectory.isEmpty())
    {
        report.SetReportDirectory(strDirectory);
    }
    report.SetOpenWhenDone(bOpen);
    return report.GenerateReport();
}
