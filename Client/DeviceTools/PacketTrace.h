// The trace and filter hardware of an IDT Gen2 switch: four comparators of 160 bits of compare
// value and mask each, armed per port, a matched packet counted and copied to the trace port or
// dropped. This class holds the tool's state (comparators, the enable matrix, the run state, the
// running totals) and does the register sequences of Play, Pause, Stop, the one-second tick and
// the changes made while armed. The window and norvanta-cli drive it; a QTimer or the command
// line calls Tick() once a second.
#pragma once

#include "PacketGenAccess.h"

#include <QString>
#include <QStringList>

#include <array>
#include <cstdint>

// The caption of the tool's messages.
extern const char* const kPacketTraceCaption; // "Packet Trace/Filter"

constexpr int kTraceMaxPorts = 18;
constexpr int kTraceComparators = 4;
constexpr int kTraceRows = 9; // "Trace 1" to "Trace 4", "Filter 1" to "Filter 4", "Port Write"
constexpr int kTraceCounterRows = 8;
constexpr int kTraceRowPortWrite = 8;
constexpr int kTraceBufferBytes = 256;
constexpr int kTraceCompareBytes = 20; // what the hardware compares: the first 160 bits

constexpr uint32_t kTraceComparatorBase = 0xE40000; // + 0x100 x port + 40 x comparator
constexpr uint32_t kTraceCounterBase = 0xF40020;    // + 0x100 x port + 4 x counter
constexpr uint32_t kTraceEnable = 0x8000;           // Device Control: trace on
constexpr uint32_t kTraceCountersEnable = 0x04000000;

// The address of counter k (0-3 trace, 4-7 filter, 8 port write) of port p.
inline uint32_t TraceCounterAddress(int nPort, int nCounter)
{
    return kTraceCounterBase + 0x100u * static_cast<uint32_t>(nPort) + 4u * static_cast<uint32_t>(nCounter);
}

// "Trace 1" ... "Filter 4", "Port Write".
QString TraceRowName(int nRow);

enum ETraceRunState
{
    eTraceStopped = 0,
    eTracePaused = 1,
    eTraceRunning = 2,
};

class CPacketTrace
{
public:
    // The tool on the switch of node iNode, reached through access.
    CPacketTrace(IGen2SwitchAccess& access, int iNode);
    ~CPacketTrace();
    CPacketTrace(const CPacketTrace&) = delete;
    CPacketTrace& operator=(const CPacketTrace&) = delete;

    // Opening: the usable ports are the trained ones when the switch can be asked, else all of the
    // switch's ports; the trace port is the first usable one unless the old one still is. Shows
    // "There are no trained ports." when none is usable.
    void Open();
    int NumPorts() const { return m_nPorts; }
    bool PortUsable(int nPort) const;
    // The usable ports, in order: the entries of "Trace Port:".
    std::vector<int> UsablePorts() const;

    int TracePort() const { return m_nTracePort; }
    // A new trace port; while armed it goes to the Device Control register (failures are silent).
    void SetTracePort(int nPort);
    int TraceRouting() const { return m_nTraceRouting; }
    void SetTraceRouting(int nRouting) { m_nTraceRouting = nRouting & 1; }

    int RunState() const { return m_nRunState; }
    // The buttons. Each beeps and falls back to stopped when the connection is gone.
    void Play();
    void Pause();
    void Stop();
    // Clears the trace and filter enables of the four comparators in the Port Operations register
    // of every usable port, leaving its other bits. Stop only turns the trace off, and the
    // hardware keeps filtering on the ports' own enables; a command that runs the tool for a while
    // disarms afterwards so that no filter outlives it. False, with the message shown, when an
    // access fails.
    bool Disarm();
    // One second of the timer while running: the eight counters of every usable port are read in
    // one burst and added to the totals of the enabled ones. A read failure beeps and ends the tick.
    void Tick();

    // The enable matrix, rows by kTraceRows and ports.
    bool Check(int nRow, int nPort) const;
    // A check box changed: while running, a newly set box whose counter a performance monitor
    // holds asks whether to pause; armed, the row's comparator is written again.
    void SetCheck(int nRow, int nPort, bool bOn);
    // Whether a row of the matrix is enabled (its comparator is, or it is "Port Write").
    bool RowEnabled(int nRow) const;

    // The comparators.
    bool ComparatorEnabled(int c) const { return m_abEnabled[static_cast<size_t>(c)]; }
    const uint8_t* Compare(int c) const { return m_abCompare[static_cast<size_t>(c)].data(); }
    const uint8_t* Mask(int c) const { return m_abMask[static_cast<size_t>(c)].data(); }
    int Bytes(int c) const { return m_anBytes[static_cast<size_t>(c)]; }
    bool Dirty(int c) const { return m_abDirty[static_cast<size_t>(c)]; }
    bool AnyDirty() const;
    // New buffers for comparator c (at most 256 bytes; the rest reads 0). Armed, the comparator is
    // marked dirty until UpdateDirty sends it.
    void SetComparator(int c, const uint8_t* pCompare, const uint8_t* pMask, int nBytes);
    void SetComparatorEnabled(int c, bool bEnabled);
    // "Update": every dirty comparator goes to the switch.
    void UpdateDirty();
    // The ten words of comparator c as written: five of compare value, five of mask, or zeros when
    // it is disabled.
    std::array<uint32_t, 10> ComparatorWords(int c) const;

    // The counters tab: a counter's button is enabled when its box is checked and its comparator
    // enabled on a usable port; the totals are the program's.
    bool CounterEnabled(int nRow, int nPort) const;
    uint32_t Total(int nRow, int nPort) const;
    void ResetAll();
    void ResetRow(int nRow);
    void ResetPort(int nPort);
    void ResetCounter(int nRow, int nPort);

    // The switch's node, for the counters shared with the performance monitors.
    int Node() const { return m_iNode; }
    // Re-targets the tool (a window opened again on another switch).
    void SetNode(int iNode) { m_iNode = iNode; }

private:
    bool Reach();
    bool Fail(const char* pszText, int32_t nStatus);
    bool ButtonNeedsLink();
    // The counter check of a start; false when the person chose to pause instead.
    bool CounterCheck();
    bool FullStart();
    bool RewriteComparator(int c);
    bool AnyBox(int nPort) const;
    void DropTraceCounters();

    IGen2SwitchAccess& m_access;
    int m_iNode;
    int m_nPorts = kTraceMaxPorts;
    std::array<bool, kTraceMaxPorts> m_abPortUsable{};
    int m_nTracePort = 0;
    int m_nTraceRouting = 0;
    int m_nRunState = eTraceStopped;
    std::array<std::array<bool, kTraceMaxPorts>, kTraceRows> m_abCheck{};
    std::array<bool, kTraceComparators> m_abEnabled{};
    std::array<std::array<uint8_t, kTraceBufferBytes>, kTraceComparators> m_abCompare{};
    std::array<std::array<uint8_t, kTraceBufferBytes>, kTraceComparators> m_abMask{};
    std::array<int, kTraceComparators> m_anBytes{};
    std::array<bool, kTraceComparators> m_abDirty{};
    std::array<std::array<uint32_t, kTraceMaxPorts>, kTraceCounterRows> m_aulTotals{};
};
