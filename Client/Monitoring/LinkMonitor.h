// The link monitors: one port of a Tundra/IDT Tsi switch watched once a second, its counters turned
// into bit error rates, throughput or traffic efficiency. Each monitor keeps the last D samples
// (elapsed microseconds and two counts) and charts what it computes over them. The window drives
// Tick() from a one-second timer; the command line and tests call it directly.
#pragma once

#include "Reports/PerformanceReport.h"

#include <QString>
#include <QStringList>
#include <QTime>

#include <array>
#include <cstdint>
#include <deque>
#include <functional>
#include <vector>

class CNetworkDocument;
class CPEPrimitive;

enum ELinkMonitorKind
{
    eLinkMonitorBitErrors = 0,
    eLinkMonitorThroughput,
    eLinkMonitorEfficiency,
};

// Timed maintenance reads: with the words, the target's millisecond tick now and the microseconds
// since ulLastTick, so that a rate is measured on the target's clock, not the client's.
class ILinkMonitorTransport
{
public:
    virtual ~ILinkMonitorTransport() = default;
    virtual bool IsOpen() = 0;
    virtual int32_t TimedRead(uint32_t ulDestID, uint8_t uchHop, uint32_t ulOffset, uint32_t* pulWords,
                              uint32_t ulCount, uint32_t ulStride, uint32_t ulLastTick,
                              uint32_t* pulElapsedUs, uint32_t* pulTick) = 0;
    // Plain one-word accesses, for the counter controls.
    virtual int32_t Read(uint32_t ulDestID, uint8_t uchHop, uint32_t ulOffset, uint32_t* pulValue) = 0;
    virtual int32_t Write(uint32_t ulDestID, uint8_t uchHop, uint32_t ulOffset, uint32_t ulValue) = 0;
};
// Over the transaction front end: LocalPort 0, Priority 2, bTimed.
ILinkMonitorTransport& TargetLinkMonitorTransport();

constexpr uint16_t kTundraVendorID = 0x000D;
constexpr uint16_t kTsi500DeviceID = 0x0500;
constexpr int kLinkMonitorMaxDepth = 16;
constexpr const char* kLinkMonitorNoRoute =
    "You must be connected and have all routing tables\nsynchronized to enable performance monitoring";

// Register offsets of the monitors (the Tsi500's ports are 0x20000 apart, the Tsi57x's 0x100). On
// the Tsi57x the throughput words are SP{n}_PSC4 and PSC5 (stride 4), the efficiency words
// SP{n}_PSC0 and PSC2 (stride 8).
uint32_t LinkMonitorRetryOffset(int iPort, int iBuffer); // Tsi500 outbound retries, buffer b
uint32_t LinkMonitorCrcOffset(int iPort);                // Tsi500 inbound CRC errors
uint32_t LinkMonitorThroughputOffset(bool bTsi500, int iPort);
uint32_t LinkMonitorEfficiencyOffset(bool bTsi500, int iPort);

// The end of a link on the map a monitor of that kind watches: the Tsi switch at either end (the
// Tsi500 for bit error rates), the first end when both are. False with the reason in *pstrWhy.
bool LinkMonitorEnd(const CNetworkDocument& document, int iConnection, ELinkMonitorKind eKind, int* piNode,
                    int* piPort, QString* pstrWhy);

// The efficiency sums as the window computes them.
struct SEfficiency
{
    double dPacketRate = 0; // R, packets per second
    double dAvgSize = 0;    // S, bytes per packet
    double dPayload = 0;    // S less the header, not below 0
    double dEfficiency = 0; // percent
    double dLinkUse = 0;    // percent of L
};
// From the sums over the history: E microseconds, P packets, B bytes, and the line rate L in
// megabytes per second.
SEfficiency ComputeEfficiency(bool bTsi500, uint64_t ullElapsedUs, uint64_t ullPackets, uint64_t ullBytes,
                              double dLineRateMBps);

// One chart point with its time stamp.
struct SLinkSample
{
    QString strTime; // "%02d::%02d::%02d"
    double dValue = 0;
};

class CLinkMonitor
{
public:
    // Watches port iPort (from 0) of the PE at node number iNode of the document's active network.
    CLinkMonitor(ELinkMonitorKind eKind, CNetworkDocument& document, ILinkMonitorTransport& transport,
                 int iNode, int iPort);
    // Gives up the counters it claimed.
    ~CLinkMonitor();
    CLinkMonitor(const CLinkMonitor&) = delete;
    CLinkMonitor& operator=(const CLinkMonitor&) = delete;

    ELinkMonitorKind Kind() const { return m_eKind; }
    int Node() const { return m_iNode; }
    int Port() const { return m_iPort; }
    uint16_t DeviceID() const { return m_uDeviceID; }
    bool IsTsi500() const { return m_uDeviceID == kTsi500DeviceID; }

    // "Bit Error Rates - Node %d, Port %d" and the like, node and port counted from 1.
    QString Title() const;
    // "Bit Error Rate Monitor", "Throughput Monitor", "Traffic Efficiency Monitor".
    QString ReportTitle() const;
    // The charts: their titles and Y units.
    int NumCharts() const;
    QString ChartTitle(int iChart) const;
    QString ChartUnits(int iChart) const;

    // Settings of the window. The depth is clamped to 1..16; changing a selection starts afresh.
    void SetDepth(int iDepth);
    int Depth() const { return m_iDepth; }
    void SetBuffer(int iBuffer); // bit errors: the buffer whose retries are charted (0..3)
    int Buffer() const { return m_iBuffer; }
    void SetPriorities(int iRead, int iWrite); // throughput: 0..3 each
    int ReadPriority() const { return m_iReadPriority; }
    int WritePriority() const { return m_iWritePriority; }
    void SetLineRate(double dMBps); // efficiency: L in megabytes per second
    double LineRate() const { return m_dLineRate; }
    // L as stored in the preferences (LinkMonitor/LineRateMBps, 312.5 if unset) and its store.
    static double StoredLineRate();
    static bool StoreLineRate(double dMBps);

    // "Enable": on, and the next reading is only a start. On a Tsi57x the two statistics counters
    // read are claimed and programmed first; when another reader holds one, "This counter is
    // already being controlled by another dialog."; when they cannot be programmed, "Unable to
    // enable counter." (or the no-route text); either way the monitor stays off and false.
    // "Disable": off, and the counters are released.
    bool Enable();
    void Disable();
    // Whether the monitor reads a Tsi57x's clear-on-read statistics counters (throughput and
    // efficiency on a Tsi574, Tsi577 or Tsi578), and the counters (0..5) of its first and second series.
    bool UsesStatisticsCounters() const;
    std::array<int, 2> StatisticsCounters() const;
    // The control half programmed for the series iSeries (0, 1).
    uint16_t StatisticsControl(int iSeries) const;
    bool IsEnabled() const { return m_bEnabled; }

    // One second of the timer. Returns true when chart points were added.
    bool Tick();

    // The values of the last point of each chart, and the efficiency sums of the last tick.
    const std::array<double, 3>& LastValues() const { return m_lastValues; }
    const SEfficiency& LastEfficiency() const { return m_lastEfficiency; }
    // Every point of a chart since the window was opened.
    const std::vector<SLinkSample>& Samples(int iChart) const
    {
        return m_samples[static_cast<size_t>(iChart)];
    }
    bool HasData() const;
    void ClearData();
    // The history, newest first: elapsed microseconds, counts, second counts.
    const std::deque<uint32_t>& ElapsedHistory() const { return m_elapsed; }
    const std::deque<uint32_t>& CountHistory() const { return m_counts; }
    const std::deque<uint32_t>& SecondHistory() const { return m_seconds; }

    // The report's records: one per chart.
    std::vector<SPerfMonitorRecord> ReportRecords() const;
    // Writes the performance report with the recorded points; "There is no data recorded to
    // report." when there are none.
    bool GenerateReport(const QString& strMapName, const QString& strDirectory = QString(),
                        bool bOpen = true);

    // The clock of the time stamps (the wall clock unless set).
    std::function<QTime()> fnNow;
    // Called when a tick switched the monitor off (lost link or no route).
    std::function<void()> onDisabled;

    // "%02d::%02d::%02d".
    static QString TimeStamp(const QTime& time);

private:
    CPEPrimitive* PE() const;
    bool FindPERoute(uint32_t* pulDestID, uint8_t* puchHop) const;
    bool ReadCounters(uint32_t ulDestID, uint8_t uchHop, uint32_t* pulElapsed, uint32_t* pulTick,
                      uint32_t* pulFirst, uint32_t* pulSecond);
    void Record(uint32_t ulElapsed, uint32_t ulFirst, uint32_t ulSecond);
    void Compute();
    void AddPoint(int iChart, double dValue, const QString& strTime);
    // Programs the controls of both statistics counters; 0, or the failure's message.
    const char* ProgramStatisticsControls();
    void ReleaseCounters();

    ELinkMonitorKind m_eKind;
    CNetworkDocument& m_document;
    ILinkMonitorTransport& m_transport;
    int m_iNode;
    int m_iPort;
    uint16_t m_uDeviceID = 0;
    int m_iDepth = 1;
    int m_iBuffer = 0;
    int m_iReadPriority = 0;
    int m_iWritePriority = 0;
    double m_dLineRate = 312.5;
    bool m_bEnabled = false;
    bool m_bTsi57x = false;  // a Tsi574, Tsi577 or Tsi578
    bool m_bClaimed = false; // the statistics counters are ours
    bool m_bFirstSample = true;
    uint32_t m_ulLastTick = 0;
    uint32_t m_ulPrevFirst = 0; // the last counter readings, for the deltas
    uint32_t m_ulPrevSecond = 0;
    uint32_t m_ulOlderFirst = 0; // the packet counter before the last, for the log
    std::deque<uint32_t> m_elapsed;
    std::deque<uint32_t> m_counts;
    std::deque<uint32_t> m_seconds;
    std::array<double, 3> m_lastValues{};
    SEfficiency m_lastEfficiency;
    std::array<std::vector<SLinkSample>, 3> m_samples;
};
