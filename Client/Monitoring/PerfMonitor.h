// The performance monitor of a switch or bridge: up to four of its counters, each on a port,
// sampled once a second and shown as rates in counts per second. What a device can offer is a
// table per device; the Tsi578 has its own form, with the six statistics counters of each port.
// The window drives Tick() from its one-second timer; the command line and tests call it directly
// with a transport whose clock they control.
#pragma once

#include <QString>
#include <QStringList>

#include <array>
#include <cstdint>
#include <functional>
#include <vector>

class CNetworkDocument;
class CPEPrimitive;

constexpr uint16_t kPerfVendorIDT = 0x0038;
constexpr uint16_t kPerfVendorTundra = 0x000D;
constexpr uint16_t kPerfDeviceTsi578 = 0x0578;

// One counter a device offers: its name, and the address of port 0's counter (port p adds
// 0x100 x p). Every counter here clears itself when read, so a reading is the count since the
// one before.
struct SPerfCounterDesc
{
    QString strName;
    uint32_t ulBase = 0;
};

// How a device's counters are switched on before they count.
enum EPerfControl
{
    ePerfControlNone = 0, // always counting
    ePerfControlGen2,     // CNTRS_EN of the port's Port Operations register
    ePerfControlTsi57x,   // the type and direction of the counter in SP{n}_PSC control registers
};

struct SPerfDeviceDesc
{
    uint16_t wVendorID = kPerfVendorIDT;
    uint16_t wDeviceID = 0;
    QString strTitle; // "IDT CPS-1616 Performance Monitor"
    int iNumPorts = 0;
    std::vector<SPerfCounterDesc> counters;
    EPerfControl eControl = ePerfControlNone;
    bool bTsi578 = false;
};

// The devices that have a performance monitor. The vendor test is exact.
const std::vector<SPerfDeviceDesc>& PerfDeviceTable();
// The description of a device, or null when it has no monitor.
const SPerfDeviceDesc* FindPerfDevice(uint16_t wVendorID, uint16_t wDeviceID);

// Tsi578 counter addresses: SP{port}_PSC{kind}.
uint32_t Tsi578CounterAddress(int iKind, int iPort);
// The Tsi578's control word half for a counter kind (type, direction, all priorities).
uint16_t Tsi578ControlHalf(int iKind);

// Gen2 Port Operations and its counter enable (CPS-1848 family).
constexpr uint32_t kPerfPortOps = 0xF40004;
constexpr uint32_t kPerfCountersEnable = 0x04000000;
// The Tsi57x counter controls: two counters a register, the even one in 31..16.
constexpr uint32_t kTsi578CounterControl = 0x13020;
// The Tsi57x control half fields: priorities 0..3 in bits 12..15, transmit in bit 8, type in 2..0.
constexpr uint16_t kTsi578ControlPriority0 = 0x1000;
constexpr uint16_t kTsi578ControlTransmit = 0x0100;
constexpr uint16_t kTsi578TypeRequests = 0; // unicast request packets
constexpr uint16_t kTsi578TypePackets = 1;  // unicast packets
constexpr uint16_t kTsi578TypeData = 4;     // unicast data, in 4-byte words

// Sets the control half of SP{iPort}_PSC{iCounter} to uHalf, the other half of its register kept
// (read, update, write through the given accesses, which return 0 on success).
bool ProgramTsi578Control(const std::function<int32_t(uint32_t ulOffset, uint32_t* pulValue)>& fnRead,
                          const std::function<int32_t(uint32_t ulOffset, uint32_t ulValue)>& fnWrite,
                          int iPort, int iCounter, uint16_t uHalf);

// Clear-on-read counters have one reader at a time: a claim ties the counter at ulAddress of node
// iNode to an owner (any object) and a slot of it. ClaimPerfCounter is false, and changes nothing,
// when another owner or slot holds the counter; claiming one's own again is true.
bool ClaimPerfCounter(int iNode, uint32_t ulAddress, const void* pOwner, int iSlot);
// Drops the claim when this owner and slot hold it.
void ReleasePerfCounter(int iNode, uint32_t ulAddress, const void* pOwner, int iSlot);
// Whether the counter is held by someone other than this owner and slot.
bool PerfCounterClaimedByOther(int iNode, uint32_t ulAddress, const void* pOwner, int iSlot);
extern const char* const kPerfCounterClaimedMessage; // "This counter is already being controlled..."

// The trace and filter tool of the Gen2 switches counts on the same counters (trace, filter and
// port-write match counters), so it keeps its own list of (node, counter address) beside the
// claims: before it plays it enters what it counts and asks whether a monitor holds any of it.
// Whether any monitor holds the counter.
bool PerfCounterClaimed(int iNode, uint32_t ulAddress);
void EnterTraceCounter(int iNode, uint32_t ulAddress);
void RemoveTraceCounter(int iNode, uint32_t ulAddress);
bool TraceUsesCounter(int iNode, uint32_t ulAddress);

constexpr int kPerfTraces = 4;
constexpr int kPerfMaxDepth = 64;

// Text of a failed route lookup on enable or tick.
extern const char* const kPerfRouteMessage;

// The reads of the monitor: timed reads of one word, and the control register accesses.
class IPerfTransport
{
public:
    virtual ~IPerfTransport() = default;
    virtual bool IsOpen() = 0;
    // One 32-bit word at ulOffset with Stride 256 and Priority 2, timed: *pulElapsedUs is the
    // microseconds since ulLastTick (ms) by the target's clock, *pulTick the target's tick now.
    virtual int32_t TimedRead(uint32_t ulDestID, uint8_t uchHop, uint32_t ulOffset, uint32_t ulLastTick,
                              uint32_t* pulValue, uint32_t* pulElapsedUs, uint32_t* pulTick) = 0;
    virtual int32_t Read(uint32_t ulDestID, uint8_t uchHop, uint32_t ulOffset, uint32_t* pulValue) = 0;
    virtual int32_t Write(uint32_t ulDestID, uint8_t uchHop, uint32_t ulOffset, uint32_t ulValue) = 0;
};

// The front end of the target (local port 0, Priority 2).
IPerfTransport& TargetPerfTransport();

// A rate as sampled, with the time stamp it was taken at.
struct SPerfRateSample
{
    QString strTime;
    double dRate = 0;
};

// What one trace recorded, as the performance report takes it.
struct SPerfTraceRecord
{
    QString strMonitor; // the device's monitor title
    int iNode = -1;
    int iPort = 0;
    uint16_t uDestID = 0xFFFF;
    QString strCounter;
    std::vector<SPerfRateSample> samples;
};

// The state of one trace.
struct SPerfTrace
{
    int iCounter = 0; // index in the device's counters
    int iPort = 0;
    bool bOn = false;
    bool bFirstSample = true;
    int nValid = 0;
    std::array<uint32_t, kPerfMaxDepth> aulCounts{};
    std::array<uint32_t, kPerfMaxDepth> aulElapsed{};
    uint32_t ulLastTick = 0;
    double dRate = 0;
    bool bHasRate = false;
    std::vector<SPerfRateSample> samples; // what the report gets
};

class CPerfMonitor
{
public:
    // A monitor on the PE of node iNode; Valid() is false when the PE has no monitor.
    CPerfMonitor(CNetworkDocument& document, int iNode, IPerfTransport& transport);
    ~CPerfMonitor();
    CPerfMonitor(const CPerfMonitor&) = delete;
    CPerfMonitor& operator=(const CPerfMonitor&) = delete;

    bool Valid() const { return m_pDevice != nullptr; }
    const SPerfDeviceDesc* Device() const { return m_pDevice; }
    int Node() const { return m_iNode; }
    // "IDT CPS-1616 Performance Monitor - Node 3", "IDT Tsi-578 Performance Monitor - Node 3", or
    // "Performance Monitor - Node 3" for a PE without a table.
    QString Title() const;
    // "Port 0", "Port 1", ...
    QStringList PortNames() const;
    QStringList CounterNames() const;
    // The index of a counter name (case ignored), or -1.
    int FindCounter(const QString& strName) const;

    const SPerfTrace& Trace(int i) const { return m_traces[static_cast<size_t>(i)]; }
    void SelectCounter(int iTrace, int iCounter);
    void SelectPort(int iTrace, int iPort);
    // Switches a trace on: the counter is claimed for this monitor and switched on at the device
    // (read, update, write of its control register). Failures show "Unable to enable counter."
    // or "This counter is already being controlled by another dialog." and leave it off.
    bool SetTraceOn(int iTrace, bool bOn);

    int Depth() const { return m_iDepth; }
    void SetDepth(int iDepth);

    // "Enable": looks the route up; without it the message and false. Every trace begins with a
    // first sample.
    bool Enable();
    void Disable();
    bool IsEnabled() const { return m_bEnabled; }

    // One second of the timer: each trace that is on is read and its rate computed.
    void Tick();

    // Rates over the valid samples: sum V / sum E x 1,000,000 with 32-bit sums; 0 when E sums to 0.
    static double Rate(const uint32_t* pulCounts, const uint32_t* pulElapsed, int nValid);

    // What the traces sampled, for the performance report (traces without samples are left out).
    std::vector<SPerfTraceRecord> Records() const;
    void ClearSamples();

    // A rate for a trace's chart and text box.
    std::function<void(int iTrace, double dRate)> onRate;
    // The monitor switched itself off (no link, no host or no route).
    std::function<void()> onSwitchedOff;
    // The time stamp of a sample ("%02d::%02d::%02d" of the wall clock unless replaced).
    std::function<QString()> fnTimeStamp;

private:
    bool Route(uint32_t* pulDestID, uint8_t* puchHop) const;
    uint32_t CounterAddress(const SPerfTrace& trace) const;
    bool SwitchCounterOn(const SPerfTrace& trace);
    void SwitchOff();
    void Release(int iTrace);

    CNetworkDocument& m_document;
    int m_iNode;
    IPerfTransport& m_transport;
    const SPerfDeviceDesc* m_pDevice = nullptr;
    std::array<SPerfTrace, kPerfTraces> m_traces;
    int m_iDepth = 1;
    bool m_bEnabled = false;
};
