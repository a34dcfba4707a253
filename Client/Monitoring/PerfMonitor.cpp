#include "PerfMonitor.h"

#include "DebugLog.h"
#include "NetworkDocument.h"
#include "RouteSearch.h"
#include "TargetClient.h"
#include "TargetLink.h"
#include "UserInterface.h"

#include <QTime>

#include <algorithm>
#include <map>
#include <set>
#include <utility>

const char* const kPerfRouteMessage =
    "You must be connected and have all routing tables\nsynchronized to enable performance monitoring";

namespace
{
std::vector<SPerfCounterDesc> SetA(bool bTraceMatch)
{
    std::vector<SPerfCounterDesc> counters = {{QStringLiteral("Port ACK Counter"), 0xF40010},
                                              {QStringLiteral("Port NACK Counter"), 0xF40014},
                                              {QStringLiteral("PPS Packet Counter"), 0xF40018},
                                              {QStringLiteral("Switch Packet Counter"), 0xF4001C}};
    if (bTraceMatch)
    {
        for (int i = 0; i < 4; ++i)
            counters.push_back({QStringLiteral("Trace Match Counter %1").arg(i + 1), 0xF40020u + 4u * i});
    }
    return counters;
}

std::vector<SPerfCounterDesc> SetB()
{
    std::vector<SPerfCounterDesc> counters = {{QStringLiteral("Port ACK Counter"), 0xF40010},
                                              {QStringLiteral("Port NACK Counter"), 0xF40014},
                                              {QStringLiteral("Switch Packet Counter"), 0xF4001C}};
    for (int i = 0; i < 4; ++i)
        counters.push_back({QStringLiteral("Trace Match Counter %1").arg(i + 1), 0xF40020u + 4u * i});
    for (int i = 0; i < 4; ++i)
        counters.push_back({QStringLiteral("Filter Match Counter %1").arg(i + 1), 0xF40030u + 4u * i});
    return counters;
}

// The Gen2 switches' statistics counters (CPS-1848 family, per port at 0x100 apart).
std::vector<SPerfCounterDesc> SetC(bool bVirtualChannels)
{
    std::vector<SPerfCounterDesc> counters = {{QStringLiteral("VC0 ACKs Transmitted"), 0xF40010},
                                              {QStringLiteral("VC0 NACKs Transmitted"), 0xF40014},
                                              {QStringLiteral("VC0 Retry Symbols Transmitted"), 0xF40018},
                                              {QStringLiteral("VC0 Packets Transmitted"), 0xF4001C}};
    for (int i = 0; i < 4; ++i)
        counters.push_back({QStringLiteral("Trace Match Counter Value %1").arg(i + 1), 0xF40020u + 4u * i});
    for (int i = 0; i < 4; ++i)
        counters.push_back({QStringLiteral("Filter Match Counter Value %1").arg(i + 1), 0xF40030u + 4u * i});
    counters.insert(counters.end(),
                    {{QStringLiteral("VC0 ACKs Received"), 0xF40040},
                     {QStringLiteral("VC0 NACKs Received"), 0xF40044},
                     {QStringLiteral("VC0 Retry Symbols Received"), 0xF40048},
                     {QStringLiteral("VC0 Switch Crosspoint Buffer Output Packets"), 0xF4004C},
                     {QStringLiteral("VC0 Packets Received"), 0xF40050},
                     {QStringLiteral("VC0 Received Packets Dropped"), 0xF40064},
                     {QStringLiteral("VC0 Transmit Packets Dropped"), 0xF40068},
                     {QStringLiteral("VC0 TTL Packets Dropped"), 0xF4006C},
                     {QStringLiteral("VC0 CRC Limit Packets Dropped"), 0xF40070}});
    if (bVirtualChannels)
    {
        // The VPS-1616's VC1 and VC5 counters follow the VC0 ones in order, without the NACKs.
        const char* const apszKinds[] = {
            "ACKs Transmitted",    "Retry Symbols Transmitted", "Packets Transmitted",
            "ACKs Received",       "Retry Symbols Received",    "Switch Crosspoint Buffer Output Packets",
            "Packets Received",    "Received Packets Dropped",  "Transmitted Packets Dropped",
            "TTL Packets Dropped", "CRC Limit Packets Dropped"};
        uint32_t ulAddress = 0xF40074;
        for (const char* pszVC : {"VC1", "VC5"})
        {
            for (const char* pszKind : apszKinds)
            {
                counters.push_back(
                    {QStringLiteral("%1 %2").arg(QLatin1String(pszVC), QLatin1String(pszKind)), ulAddress});
                ulAddress += 4;
            }
        }
    }
    counters.push_back({QStringLiteral("Congestion Retries"), 0xF400CC});
    return counters;
}

// The serial buffer and the bridge: no manual at hand gives their counter addresses, so they are
// taken to follow the switches' layout, six words from 0xF40010 in the order of their names.
std::vector<SPerfCounterDesc> SetD()
{
    const char* const apszNames[] = {
        "Data Packet Received Counter",     "Data Packet Transmitted Counter",
        "Priority Packet Received Counter", "Priority Packet Transmitted Counter",
        "Packet Received Counter",          "Packet Transmitted Counter"};
    std::vector<SPerfCounterDesc> counters;
    uint32_t ulAddress = 0xF40010;
    for (const char* pszName : apszNames)
    {
        counters.push_back({QLatin1String(pszName), ulAddress});
        ulAddress += 4;
    }
    return counters;
}

// The Tsi578's six statistics counters a port, SP{n}_PSC0 to 5, as this monitor programs them.
struct STsiKind
{
    const char* pszName;
    uint16_t uType; // 0 unicast requests, 1 unicast packets, 2 retry symbols, 4 unicast data
    bool bTransmit;
};
constexpr STsiKind kTsiKinds[6] = {
    {"Unicast Packets Received", 1, false},    {"Unicast Packets Transmitted", 1, true},
    {"Unicast Data Words Received", 4, false}, {"Unicast Data Words Transmitted", 4, true},
    {"Retry Symbols Received", 2, false},      {"Retry Symbols Transmitted", 2, true},
};

SPerfDeviceDesc Device(uint16_t wDeviceID, const char* pszTitle, int iPorts,
                       std::vector<SPerfCounterDesc> counters, EPerfControl eControl = ePerfControlNone)
{
    SPerfDeviceDesc device;
    device.wDeviceID = wDeviceID;
    device.strTitle = QLatin1String(pszTitle);
    device.iNumPorts = iPorts;
    device.counters = std::move(counters);
    device.eControl = eControl;
    return device;
}

// Which reader controls a counter of a PE: (node, counter address) to (owner, slot): a performance
// monitor and its trace, or a link monitor. A counter clears when read, so two readers would each
// see part of the count.
using ClaimMap = std::map<std::pair<int, uint32_t>, std::pair<const void*, int>>;
ClaimMap& Claims()
{
    static ClaimMap s_claims;
    return s_claims;
}

class CTargetPerfTransport final : public IPerfTransport
{
public:
    bool IsOpen() override
    {
        const CTargetLink* pLink = CTargetClient::Instance().Link();
        return pLink && pLink->IsConnected();
    }
    int32_t TimedRead(uint32_t ulDestID, uint8_t uchHop, uint32_t ulOffset, uint32_t ulLastTick,
                      uint32_t* pulValue, uint32_t* pulElapsedUs, uint32_t* pulTick) override
    {
        return CTargetClient::Instance().Maint_read(0, ulDestID, uchHop, ulOffset, pulValue, 1, 256, 2, true,
                                                    ulLastTick, pulElapsedUs, pulTick);
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
} // namespace

const std::vector<SPerfDeviceDesc>& PerfDeviceTable()
{
    static const std::vector<SPerfDeviceDesc> s_table = []
    {
        std::vector<SPerfDeviceDesc> table;
        table.push_back(Device(0x0310, "IDT 70K2000 PPS Performance Monitor", 22, SetA(false)));
        table.push_back(Device(0x0320, "IDT 80HFC1000 Performance Monitor", 1, SetD()));
        table.push_back(Device(0x035A, "IDT 80KSW0001 PPS Performance Monitor", 12, SetA(true)));
        table.push_back(Device(0x035B, "IDT 80KSW0002 CPS-16 Performance Monitor", 16, SetB()));
        table.push_back(Device(0x035C, "IDT 80KSW0003 CPS-8 Performance Monitor", 8, SetB()));
        table.push_back(Device(0x035D, "IDT 80KSW0004 CPS-12 Performance Monitor", 12, SetB()));
        table.push_back(Device(0x035E, "IDT 80KSW0005 CPS-10Q Performance Monitor", 16, SetB()));
        table.push_back(Device(0x035F, "IDT 80KSW0005 CPS-6Q Performance Monitor", 16, SetB()));
        table.push_back(
            Device(0x0374, "IDT CPS/VPS-1848 Performance Monitor", 18, SetC(false), ePerfControlGen2));
        table.push_back(
            Device(0x0375, "IDT CPS-1432 Performance Monitor", 14, SetC(false), ePerfControlGen2));
        table.push_back(Device(0x0377, "IDT VPS-1616 Performance Monitor", 16, SetC(true), ePerfControlGen2));
        table.push_back(
            Device(0x0378, "IDT SPS-1616 Performance Monitor", 16, SetC(false), ePerfControlGen2));
        table.push_back(
            Device(0x0379, "IDT CPS-1616 Performance Monitor", 16, SetC(false), ePerfControlGen2));
        table.push_back(Device(0x04F0, "IDT 80KSBR200 Serial Buffer Performance Monitor", 1, SetD()));
        std::vector<SPerfCounterDesc> tsi;
        for (int k = 0; k < 6; ++k)
            tsi.push_back({QLatin1String(kTsiKinds[k].pszName), Tsi578CounterAddress(k, 0)});
        // The Tsi574 and Tsi577 have the Tsi578's statistics counters and use its window.
        for (const auto& [wDevice, iPorts] :
             {std::pair<uint16_t, int>{kPerfDeviceTsi578, 16}, {0x0577, 16}, {0x0574, 8}})
        {
            SPerfDeviceDesc tsi57x =
                Device(wDevice, "IDT Tsi-578 Performance Monitor", iPorts, tsi, ePerfControlTsi57x);
            tsi57x.wVendorID = kPerfVendorTundra;
            tsi57x.bTsi578 = true;
            table.push_back(std::move(tsi57x));
        }
        return table;
    }();
    return s_table;
}

const SPerfDeviceDesc* FindPerfDevice(uint16_t wVendorID, uint16_t wDeviceID)
{
    for (const SPerfDeviceDesc& device : PerfDeviceTable())
    {
        if (device.wVendorID == wVendorID && device.wDeviceID == wDeviceID)
            return &device;
    }
    return nullptr;
}

uint32_t Tsi578CounterAddress(int iKind, int iPort)
{
    return 0x13040u + 4u * static_cast<uint32_t>(iKind) + 0x100u * static_cast<uint32_t>(iPort);
}

uint16_t Tsi578ControlHalf(int iKind)
{
    const STsiKind& kind = kTsiKinds[std::clamp(iKind, 0, 5)];
    // Priorities 15..12 all counted, direction in bit 8, type in 2..0.
    return static_cast<uint16_t>(0xF000u | (kind.bTransmit ? 0x100u : 0u) | kind.uType);
}

const char* const kPerfCounterClaimedMessage = "This counter is already being controlled by another dialog.";

bool ProgramTsi578Control(const std::function<int32_t(uint32_t, uint32_t*)>& fnRead,
                          const std::function<int32_t(uint32_t, uint32_t)>& fnWrite, int iPort, int iCounter,
                          uint16_t uHalf)
{
    // PSC0n1, PSC2n3, PSC4n5; the even counter in the high half.
    const uint32_t ulAddress = kTsi578CounterControl + 4u * static_cast<uint32_t>(iCounter / 2) +
                               0x100u * static_cast<uint32_t>(iPort);
    uint32_t ulControl = 0;
    if (fnRead(ulAddress, &ulControl) != 0)
        return false;
    ulControl = iCounter % 2 == 0 ? (ulControl & 0x0000FFFFu) | (uint32_t{uHalf} << 16)
                                  : (ulControl & 0xFFFF0000u) | uHalf;
    return fnWrite(ulAddress, ulControl) == 0;
}

bool PerfCounterClaimedByOther(int iNode, uint32_t ulAddress, const void* pOwner, int iSlot)
{
    const auto it = Claims().find({iNode, ulAddress});
    return it != Claims().end() && it->second != std::make_pair(pOwner, iSlot);
}

bool ClaimPerfCounter(int iNode, uint32_t ulAddress, const void* pOwner, int iSlot)
{
    if (PerfCounterClaimedByOther(iNode, ulAddress, pOwner, iSlot))
        return false;
    Claims()[{iNode, ulAddress}] = {pOwner, iSlot};
    return true;
}

void ReleasePerfCounter(int iNode, uint32_t ulAddress, const void* pOwner, int iSlot)
{
    const auto it = Claims().find({iNode, ulAddress});
    if (it != Claims().end() && it->second == std::make_pair(pOwner, iSlot))
        Claims().erase(it);
}

bool PerfCounterClaimed(int iNode, uint32_t ulAddress)
{
    return Claims().count({iNode, ulAddress}) != 0;
}

namespace
{
std::set<std::pair<int, uint32_t>>& TraceCounters()
{
    static std::set<std::pair<int, uint32_t>> s_counters;
    return s_counters;
}
} // namespace

void EnterTraceCounter(int iNode, uint32_t ulAddress)
{
    TraceCounters().insert({iNode, ulAddress});
}

void RemoveTraceCounter(int iNode, uint32_t ulAddress)
{
    TraceCounters().erase({iNode, ulAddress});
}

bool TraceUsesCounter(int iNode, uint32_t ulAddress)
{
    return TraceCounters().count({iNode, ulAddress}) != 0;
}

IPerfTransport& TargetPerfTransport()
{
    static CTargetPerfTransport s_transport;
    return s_transport;
}

CPerfMonitor::CPerfMonitor(CNetworkDocument& document, int iNode, IPerfTransport& transport)
    : m_document(document), m_iNode(iNode), m_transport(transport)
{
    if (const CPEPrimitive* pPE = document.ActivePEs.GetByNodeNumber(iNode))
    {
        m_pDevice = FindPerfDevice(pPE->ManufID, pPE->DeviceID);
    }
    for (int i = 0; i < kPerfTraces; ++i)
    {
        // Traces start on different counters, so that four can be switched on as they stand.
        m_traces[static_cast<size_t>(i)].iCounter =
            m_pDevice ? i % static_cast<int>(m_pDevice->counters.size()) : 0;
    }
    fnTimeStamp = []
    {
        const QTime now = QTime::currentTime();
        return QString::asprintf("%02d::%02d::%02d", now.hour(), now.minute(), now.second());
    };
}

CPerfMonitor::~CPerfMonitor()
{
    for (int i = 0; i < kPerfTraces; ++i)
        Release(i);
}

QString CPerfMonitor::Title() const
{
    if (!m_pDevice)
        return QStringLiteral("Performance Monitor - Node %1").arg(m_iNode + 1);
    return QStringLiteral("%1 - Node %2").arg(m_pDevice->strTitle).arg(m_iNode + 1);
}

QStringList CPerfMonitor::PortNames() const
{
    QStringList names;
    for (int p = 0; m_pDevice && p < m_pDevice->iNumPorts; ++p)
        names << QStringLiteral("Port %1").arg(p);
    return names;
}

QStringList CPerfMonitor::CounterNames() const
{
    QStringList names;
    if (m_pDevice)
    {
        for (const SPerfCounterDesc& counter : m_pDevice->counters)
            names << counter.strName;
    }
    return names;
}

int CPerfMonitor::FindCounter(const QString& strName) const
{
    const QStringList names = CounterNames();
    for (int i = 0; i < names.size(); ++i)
    {
        if (names[i].compare(strName.trimmed(), Qt::CaseInsensitive) == 0)
            return i;
    }
    return -1;
}

void CPerfMonitor::SelectCounter(int iTrace, int iCounter)
{
    if (!m_pDevice || iTrace < 0 || iTrace >= kPerfTraces || iCounter < 0 ||
        iCounter >= static_cast<int>(m_pDevice->counters.size()))
        return;
    SPerfTrace& trace = m_traces[static_cast<size_t>(iTrace)];
    const bool bWasOn = trace.bOn;
    SetTraceOn(iTrace, false);
    trace.iCounter = iCounter;
    if (bWasOn)
        SetTraceOn(iTrace, true);
}

void CPerfMonitor::SelectPort(int iTrace, int iPort)
{
    if (!m_pDevice || iTrace < 0 || iTrace >= kPerfTraces || iPort < 0 || iPort >= m_pDevice->iNumPorts)
        return;
    SPerfTrace& trace = m_traces[static_cast<size_t>(iTrace)];
    const bool bWasOn = trace.bOn;
    SetTraceOn(iTrace, false);
    trace.iPort = iPort;
    if (bWasOn)
        SetTraceOn(iTrace, true);
}

uint32_t CPerfMonitor::CounterAddress(const SPerfTrace& trace) const
{
    if (m_pDevice->bTsi578)
        return Tsi578CounterAddress(trace.iCounter, trace.iPort);
    return m_pDevice->counters[static_cast<size_t>(trace.iCounter)].ulBase +
           0x100u * static_cast<uint32_t>(trace.iPort);
}

bool CPerfMonitor::Route(uint32_t* pulDestID, uint8_t* puchHop) const
{
    const CPEPrimitive* pHost = m_document.ActivePEs.GetHostPE();
    const CPEPrimitive* pPE = m_document.ActivePEs.GetByNodeNumber(m_iNode);
    return pHost && pPE &&
           FindRoute(pHost, pPE, m_document.ActivePEs, m_document.ActiveConnections, pulDestID, puchHop,
                     false, nullptr) == 0;
}

bool CPerfMonitor::SwitchCounterOn(const SPerfTrace& trace)
{
    if (m_pDevice->eControl == ePerfControlNone)
        return true;
    uint32_t ulDestID = 0;
    uint8_t uchHop = 0;
    if (!m_transport.IsOpen() || !Route(&ulDestID, &uchHop))
        return false;
    const uint32_t ulPort = static_cast<uint32_t>(trace.iPort);
    uint32_t ulControl = 0;
    if (m_pDevice->eControl == ePerfControlGen2)
    {
        const uint32_t ulAddress = kPerfPortOps + 0x100u * ulPort;
        if (m_transport.Read(ulDestID, uchHop, ulAddress, &ulControl) != 0)
            return false;
        return m_transport.Write(ulDestID, uchHop, ulAddress, ulControl | kPerfCountersEnable) == 0;
    }
    return ProgramTsi578Control([&](uint32_t ulAddress, uint32_t* pulValue)
                                { return m_transport.Read(ulDestID, uchHop, ulAddress, pulValue); },
                                [&](uint32_t ulAddress, uint32_t ulValue)
                                { return m_transport.Write(ulDestID, uchHop, ulAddress, ulValue); },
                                trace.iPort, trace.iCounter, Tsi578ControlHalf(trace.iCounter));
}

bool CPerfMonitor::SetTraceOn(int iTrace, bool bOn)
{
    if (!m_pDevice || iTrace < 0 || iTrace >= kPerfTraces)
        return false;
    SPerfTrace& trace = m_traces[static_cast<size_t>(iTrace)];
    if (!bOn)
    {
        Release(iTrace);
        trace.bOn = false;
        return false;
    }
    if (trace.bOn)
        return true;
    if (PerfCounterClaimedByOther(m_iNode, CounterAddress(trace), this, iTrace))
    {
        UI().ShowMessage(QString::fromLatin1(kPerfCounterClaimedMessage), QStringLiteral("Warning"),
                         EMessageKind::Warning);
        return false;
    }
    if (!SwitchCounterOn(trace))
    {
        UI().ShowMessage(QStringLiteral("Unable to enable counter."), QStringLiteral("Error"),
                         EMessageKind::Error);
        return false;
    }
    ClaimPerfCounter(m_iNode, CounterAddress(trace), this, iTrace);
    trace.bOn = true;
    trace.bFirstSample = true;
    trace.nValid = 0;
    trace.bHasRate = false;
    return true;
}

void CPerfMonitor::Release(int iTrace)
{
    const SPerfTrace& trace = m_traces[static_cast<size_t>(iTrace)];
    if (!m_pDevice || !trace.bOn)
        return;
    ReleasePerfCounter(m_iNode, CounterAddress(trace), this, iTrace);
}

void CPerfMonitor::SetDepth(int iDepth)
{
    m_iDepth = std::clamp(iDepth, 1, kPerfMaxDepth);
    for (SPerfTrace& trace : m_traces)
        trace.nValid = std::min(trace.nValid, m_iDepth);
}

bool CPerfMonitor::Enable()
{
    uint32_t ulDestID = 0;
    uint8_t uchHop = 0;
    if (!m_pDevice || !m_transport.IsOpen() || !Route(&ulDestID, &uchHop))
    {
        UI().ShowMessage(QLatin1String(kPerfRouteMessage), QString(), EMessageKind::Error);
        m_bEnabled = false;
        return false;
    }
    for (SPerfTrace& trace : m_traces)
    {
        trace.bFirstSample = true;
        trace.nValid = 0;
    }
    m_bEnabled = true;
    return true;
}

void CPerfMonitor::Disable()
{
    m_bEnabled = false;
}

void CPerfMonitor::SwitchOff()
{
    m_bEnabled = false;
    if (onSwitchedOff)
        onSwitchedOff();
}

double CPerfMonitor::Rate(const uint32_t* pulCounts, const uint32_t* pulElapsed, int nValid)
{
    uint32_t ulSumCounts = 0;
    uint32_t ulSumElapsed = 0;
    for (int i = 0; i < nValid; ++i)
    {
        ulSumCounts += pulCounts[i];
        ulSumElapsed += pulElapsed[i];
    }
    if (ulSumElapsed == 0)
        return 0.0;
    return static_cast<double>(ulSumCounts) / static_cast<double>(ulSumElapsed) * 1000000.0;
}

void CPerfMonitor::Tick()
{
    if (!m_bEnabled || !m_pDevice)
        return;
    // Without a link or a host there is nothing to monitor.
    if (!m_transport.IsOpen() || !m_document.ActivePEs.GetHostPE())
    {
        SwitchOff();
        return;
    }
    for (int i = 0; i < kPerfTraces; ++i)
    {
        SPerfTrace& trace = m_traces[static_cast<size_t>(i)];
        if (!trace.bOn)
            continue;
        uint32_t ulDestID = 0;
        uint8_t uchHop = 0;
        if (!Route(&ulDestID, &uchHop))
        {
            SwitchOff();
            UI().ShowMessage(QLatin1String(kPerfRouteMessage), QString(), EMessageKind::Error);
            return;
        }
        const uint32_t ulAddress = CounterAddress(trace);
        uint32_t ulValue = 0;
        uint32_t ulElapsed = 0;
        uint32_t ulTick = trace.ulLastTick;
        if (m_transport.TimedRead(ulDestID, uchHop, ulAddress, trace.ulLastTick, &ulValue, &ulElapsed,
                                  &ulTick) != 0)
        {
            // A failed read ends this tick; the monitor goes on at the next.
            return;
        }
        if (m_pDevice->bTsi578)
        {
            DebugPrint(eDebugPerfMon, "Read %08lx from counter at address %08lx over time period %08lx\n",
                       static_cast<unsigned long>(ulValue), static_cast<unsigned long>(ulAddress),
                       static_cast<unsigned long>(ulElapsed));
        }
        trace.ulLastTick = ulTick;
        if (trace.bFirstSample)
        {
            trace.bFirstSample = false;
            trace.nValid = 0;
            continue;
        }
        trace.nValid = std::min(trace.nValid + 1, m_iDepth);
        for (int k = trace.nValid - 1; k > 0; --k)
        {
            trace.aulCounts[static_cast<size_t>(k)] = trace.aulCounts[static_cast<size_t>(k - 1)];
            trace.aulElapsed[static_cast<size_t>(k)] = trace.aulElapsed[static_cast<size_t>(k - 1)];
        }
        trace.aulCounts[0] = ulValue;
        trace.aulElapsed[0] = ulElapsed;
        trace.dRate = Rate(trace.aulCounts.data(), trace.aulElapsed.data(), trace.nValid);
        trace.bHasRate = true;
        trace.samples.push_back({fnTimeStamp ? fnTimeStamp() : QString(), trace.dRate});
        if (onRate)
            onRate(i, trace.dRate);
    }
}

std::vector<SPerfTraceRecord> CPerfMonitor::Records() const
{
    std::vector<SPerfTraceRecord> records;
    const CPEPrimitive* pPE = m_document.ActivePEs.GetByNodeNumber(m_iNode);
    for (const SPerfTrace& trace : m_traces)
    {
        if (!m_pDevice || trace.samples.empty())
            continue;
        SPerfTraceRecord record;
        record.strMonitor = m_pDevice->strTitle;
        record.iNode = m_iNode;
        record.iPort = trace.iPort;
        record.uDestID = pPE ? pPE->GetDestID() : uint16_t(0xFFFF);
        record.strCounter = m_pDevice->counters[static_cast<size_t>(trace.iCounter)].strName;
        record.samples = trace.samples;
        records.push_back(std::move(record));
    }
    return records;
}

void CPerfMonitor::ClearSamples()
{
    for (SPerfTrace& trace : m_traces)
        trace.samples.clear();
}
