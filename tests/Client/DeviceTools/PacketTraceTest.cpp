// The trace and filter tool against a scripted switch: what a start writes to each port, the
// armed rewrite of one comparator with its fixed bits, the counting tick, the question when a
// performance monitor holds a counter, and the buttons' states.
#include "PacketTrace.h"
#include "PerfMonitor.h"
#include "RecordingUserInterface.h"
#include "ScriptedSwitch.h"

#include <gtest/gtest.h>

namespace
{
using nvtest::CScriptedSwitch;

constexpr int kNode = 7;

class PacketTraceTest : public ::testing::Test
{
protected:
    void SetUp() override
    {
        sw.nPorts = 8;
        sw.trained = {0, 1, 4};
        sw.regs[0xF2000C] = 0x1001003E; // PGC mode, optional routing and port 31 set before
        trace.Open();
        sw.log.clear();
    }
    void SetComparator(int c, std::vector<uint8_t> compare, std::vector<uint8_t> mask)
    {
        trace.SetComparator(c, compare.data(), mask.data(), static_cast<int>(compare.size()));
    }

    nvtest::CRecordingUserInterface ui;
    CScriptedSwitch sw;
    CPacketTrace trace{sw, kNode};
};

TEST_F(PacketTraceTest, OpeningFindsTheTrainedPortsOrTakesThemAll)
{
    EXPECT_EQ((std::vector<int>{0, 1, 4}), trace.UsablePorts());
    EXPECT_EQ(0, trace.TracePort());

    CScriptedSwitch unknown;
    unknown.nPorts = 14;
    unknown.bTrainedQueryFails = true;
    CPacketTrace all(unknown, 1);
    all.Open();
    EXPECT_EQ(14u, all.UsablePorts().size()) << "a failed query counts every port of the switch";
    EXPECT_FALSE(all.PortUsable(14));

    CScriptedSwitch none;
    none.nPorts = 4;
    CPacketTrace empty(none, 2);
    empty.Open();
    EXPECT_EQ(QStringList{"There are no trained ports."}, ui.messages);
    EXPECT_EQ(QStringList{"Packet Trace/Filter"}, ui.messageTitles);
}

TEST_F(PacketTraceTest, APlayWithNothingEnabledStillClearsAndEnablesTheCountersOfEveryPort)
{
    trace.Play();
    EXPECT_EQ(eTraceRunning, trace.RunState());
    const QStringList expected = {"R F2000C", "R F40004", "W F40004 00000000", "W F40004 04000000",
                                  "R F40104", "W F40104 00000000", "W F40104 04000000", "R F40404",
                                  "W F40404 00000000", "W F40404 04000000",
                                  // Trace on to port 0 in the default mode; PGC mode kept.
                                  "W F2000C 10008000"};
    EXPECT_EQ(expected, sw.Accesses());
    EXPECT_TRUE(ui.messages.isEmpty());
}

TEST_F(PacketTraceTest, APlayArmsEachComparatorsOwnBitsAndBurstsOnlyWherePortsHaveBoxes)
{
    SetComparator(1, {0x00, 0x12, 0x34, 0x56, 0x78}, {0x00, 0xFF, 0xFF, 0xF0, 0x0F});
    trace.SetComparatorEnabled(1, true);
    SetComparator(3, {0xAA}, {0xFF}); // disabled: its block reads zero
    trace.SetCheck(1, 1, true);       // Trace 2 on port 1
    trace.SetCheck(5, 4, true);       // Filter 2 on port 4
    trace.SetCheck(7, 4, true);       // Filter 4 on port 4: its comparator is off
    trace.SetTraceRouting(1);
    trace.SetTracePort(4);
    EXPECT_TRUE(sw.log.isEmpty()) << "stopped: nothing goes to the switch";
    trace.Play();

    QStringList block;
    for (int w = 0; w < 40; ++w)
        block << QStringLiteral("00000000");
    block[10] = QStringLiteral("00123456");
    block[11] = QStringLiteral("78000000");
    block[15] = QStringLiteral("00FFFFF0");
    block[16] = QStringLiteral("0F000000");
    const QStringList expected = {"R F2000C",
                                  "R F40004",
                                  "W F40004 00000000",
                                  "W F40004 04000000",
                                  "R F40104",
                                  "W F40104 00000000",
                                  "WB E40100 " + block.join(QLatin1Char(' ')),
                                  "W F40104 04000400",
                                  "R F40404",
                                  "W F40404 00000000",
                                  "WB E40400 " + block.join(QLatin1Char(' ')),
                                  "W F40404 04004000",
                                  "W F2000C 10018008"};
    EXPECT_EQ(expected, sw.Accesses());
}

TEST_F(PacketTraceTest, ChangingAComparatorWhileArmedUsesTheFirstComparatorsBitsAroundTheBurst)
{
    trace.SetComparatorEnabled(2, true);
    trace.SetCheck(2, 1, true); // Trace 3 on port 1
    trace.SetCheck(6, 1, true); // Filter 3 on port 1
    trace.Play();
    sw.regs[0xF40104] = 0x04000000 | 0x800 | 0x8000;
    sw.log.clear();

    SetComparator(2, {0x01, 0x02}, {0xFF, 0xFF});
    EXPECT_TRUE(trace.Dirty(2));
    EXPECT_TRUE(sw.log.isEmpty()) << "a change waits for Update";
    trace.UpdateDirty();
    EXPECT_FALSE(trace.AnyDirty());
    const QStringList accesses = sw.Accesses();
    const QStringList port1 = accesses.mid(accesses.indexOf(QStringLiteral("R F40104")), 4);
    ASSERT_EQ(4, port1.size()) << accesses.join(QLatin1Char('\n')).toStdString();
    EXPECT_EQ(QStringLiteral("W F40104 0400A800"), port1[1]) << "0x200 cleared, 0x2000 set";
    EXPECT_EQ(
        QStringLiteral("WB E40150 01020000 00000000 00000000 00000000 00000000 FFFF0000 00000000 00000000 "
                       "00000000 00000000"),
        port1[2]);
    EXPECT_EQ(QStringLiteral("W F40104 0400AA00"), port1[3]);
    // Ports without a box get their register rewritten but no burst.
    EXPECT_TRUE(accesses.contains(QStringLiteral("R F40004")));
    EXPECT_EQ(1, accesses.filter(QStringLiteral("WB ")).size());

    // A check box changed while armed rewrites that row's comparator at once.
    sw.log.clear();
    trace.SetCheck(6, 4, true);
    EXPECT_EQ(1, sw.Accesses().filter(QStringLiteral("WB E40450")).size())
        << sw.log.join(QLatin1Char('\n')).toStdString();
}

TEST_F(PacketTraceTest, TheTickAddsEnabledCountersOnlyAndResetsTouchOnlyTheTotals)
{
    trace.SetComparatorEnabled(0, true);
    trace.SetCheck(0, 1, true); // Trace 1 on port 1
    trace.SetCheck(4, 1, true); // Filter 1 on port 1
    trace.SetCheck(1, 1, true); // Trace 2: comparator off
    trace.Tick();
    EXPECT_TRUE(sw.log.isEmpty()) << "no tick while stopped";
    trace.Play();
    for (int k = 0; k < 8; ++k)
        sw.readQueue[TraceCounterAddress(1, k)] = {static_cast<uint32_t>(10 + k),
                                                   static_cast<uint32_t>(100 + k)};
    sw.log.clear();
    trace.Tick();
    EXPECT_EQ((QStringList{"RB F40020 8", "RB F40120 8", "RB F40420 8"}), sw.Accesses());
    trace.Tick();
    EXPECT_EQ(110u, trace.Total(0, 1));
    EXPECT_EQ(118u, trace.Total(4, 1));
    EXPECT_EQ(0u, trace.Total(1, 1)) << "its comparator is disabled";
    EXPECT_FALSE(trace.CounterEnabled(1, 1));

    trace.Pause();
    trace.Tick();
    EXPECT_EQ(110u, trace.Total(0, 1)) << "paused: no tick";

    trace.ResetRow(4);
    EXPECT_EQ(0u, trace.Total(4, 1));
    EXPECT_EQ(110u, trace.Total(0, 1));
    trace.ResetPort(1);
    EXPECT_EQ(0u, trace.Total(0, 1));

    // A failed read beeps and ends the tick.
    trace.Play();
    sw.ulFailOffset = TraceCounterAddress(0, 0);
    sw.cFailKind = 'R';
    sw.readQueue[TraceCounterAddress(1, 0)] = {5};
    const int nBeeps = ui.nBeeps;
    trace.Tick();
    EXPECT_EQ(nBeeps + 1, ui.nBeeps);
    EXPECT_EQ(0u, trace.Total(0, 1)) << "the ports after the failure were not read";
}

TEST_F(PacketTraceTest, ACounterAPerformanceMonitorHoldsAsksBeforeStartingAndOnANewCheck)
{
    trace.SetComparatorEnabled(1, true);
    trace.SetCheck(1, 4, true);
    const int nOwner = 0;
    ASSERT_TRUE(ClaimPerfCounter(kNode, TraceCounterAddress(4, 1), &nOwner, 0));

    ui.answers = {eAnswerYes};
    trace.Play();
    EXPECT_EQ(eTracePaused, trace.RunState()) << "Yes pauses instead of starting";
    ASSERT_EQ(1, ui.questions.size());
    EXPECT_EQ(
        QStringLiteral("A performance monitor is currently configured to monitor one or more of the same "
                       "trace/filter counters.  Trace/Filter must be paused for the performance monitor to "
                       "function properly.  Do you want to Pause instead?"),
        ui.questions[0]);
    EXPECT_TRUE(sw.Accesses().isEmpty());
    EXPECT_TRUE(TraceUsesCounter(kNode, TraceCounterAddress(4, 1)));

    ui.answers = {eAnswerNo};
    trace.Play(); // from paused: asked again, No resumes without writing
    EXPECT_EQ(eTraceRunning, trace.RunState());
    EXPECT_TRUE(sw.Accesses().isEmpty());

    // A box turned on while running, on a counter a monitor holds.
    ASSERT_TRUE(ClaimPerfCounter(kNode, TraceCounterAddress(1, 5), &nOwner, 1));
    ui.answers = {eAnswerYes};
    trace.SetCheck(5, 1, true);
    EXPECT_EQ(eTracePaused, trace.RunState());
    EXPECT_EQ(QStringLiteral(
                  "A performance monitor is currently configured to monitor this trace/filter counter.  "
                  "Trace/Filter must be paused for the performance monitor to function properly.  Do you "
                  "want to Pause?"),
              ui.questions.last());
    EXPECT_FALSE(TraceUsesCounter(kNode, TraceCounterAddress(1, 5))) << "paused: not entered";

    ReleasePerfCounter(kNode, TraceCounterAddress(4, 1), &nOwner, 0);
    ReleasePerfCounter(kNode, TraceCounterAddress(1, 5), &nOwner, 1);
    trace.Stop();
    EXPECT_FALSE(TraceUsesCounter(kNode, TraceCounterAddress(4, 1)));
}

TEST_F(PacketTraceTest, ButtonsFollowTheStateTableAndALostLinkStopsWithABeep)
{
    trace.Pause();
    EXPECT_EQ(1, ui.nBeeps) << "Pause while stopped";
    trace.Stop();
    EXPECT_TRUE(sw.log.isEmpty()) << "Stop while stopped does nothing";
    trace.Play();
    sw.log.clear();
    trace.Play();
    EXPECT_TRUE(sw.log.isEmpty()) << "Play while running does nothing";

    // The trace port moves while armed: bits 5:1 of Device Control, nothing else.
    sw.regs[0xF2000C] = 0x10008000;
    trace.SetTracePort(4);
    EXPECT_EQ((QStringList{"R F2000C", "W F2000C 10008008"}), sw.Accesses());

    sw.log.clear();
    trace.Stop();
    EXPECT_EQ(eTraceStopped, trace.RunState());
    EXPECT_EQ((QStringList{"R F2000C", "W F2000C 10000008"}), sw.Accesses());

    trace.Play();
    sw.bConnected = false;
    const int nBeeps = ui.nBeeps;
    trace.Pause();
    EXPECT_EQ(nBeeps + 1, ui.nBeeps);
    EXPECT_EQ(eTraceStopped, trace.RunState());
}

TEST_F(PacketTraceTest, DisarmClearsOnlyTheComparatorEnablesAndSkipsPortsWithoutThem)
{
    SetComparator(0, {0x00, 0x08}, {0x00, 0x0F});
    trace.SetComparatorEnabled(0, true);
    SetComparator(3, {0x00, 0x05}, {0x00, 0x0F});
    trace.SetComparatorEnabled(3, true);
    trace.SetCheck(0, 0, true); // Trace 1 on port 0
    trace.SetCheck(7, 4, true); // Filter 4 on port 4
    trace.Play();
    trace.Stop();
    EXPECT_EQ(0x04000200u, sw.regs[0xF40004]) << "Stop leaves the comparators armed";
    EXPECT_EQ(0x04010000u, sw.regs[0xF40404]);
    sw.regs[0xF40404] |= 0x00200100u; // loop-back set meanwhile
    sw.log.clear();
    EXPECT_TRUE(trace.Disarm());
    const QStringList expected = {"R F40004", "W F40004 04000000", "R F40104", "R F40404",
                                  "W F40404 04200100"};
    EXPECT_EQ(expected, sw.Accesses());

    sw.regs[0xF40104] = 0x0001FE00u;
    sw.ulFailOffset = 0xF40104;
    sw.cFailKind = 'W';
    EXPECT_FALSE(trace.Disarm());
    EXPECT_EQ(QStringList{"Unable to write Port Operations Register.\n\nTimeout on RapidIO transaction"},
              ui.messages);
}

TEST_F(PacketTraceTest, AFailedAccessShowsItsMessageAndLeavesTheStateAlone)
{
    sw.ulFailOffset = 0xF40104;
    sw.cFailKind = 'W';
    sw.nFailAt = 1;
    trace.Play();
    EXPECT_EQ(eTraceStopped, trace.RunState());
    EXPECT_EQ(QStringList{"Unable to write Port Operations Register.\n\nTimeout on RapidIO transaction"},
              ui.messages);
    EXPECT_EQ(QStringLiteral("W F40104 04000000"), sw.Accesses().last()) << "the ports before stay armed";

    sw.bRoute = false;
    ui.messages.clear();
    trace.Play();
    EXPECT_EQ(QStringList{"Unable to configure routing tables."}, ui.messages);
    sw.bRoute = true;
    sw.bPE = false;
    ui.messages.clear();
    trace.Play();
    EXPECT_EQ(QStringList{"Unable to find connected PE."}, ui.messages);
}
} // namespace
