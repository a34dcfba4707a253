// The packet generator without a field model: the packet list's numbering, the settings checks,
// and the PGC register sequence of a send against a scripted switch, access by access.
#include "PacketGen.h"
#include "RecordingUserInterface.h"
#include "ScriptedSwitch.h"

#include <gtest/gtest.h>

namespace
{
using nvtest::CScriptedSwitch;

TEST(PacketListTest, NumbersFollowTheLinesThroughEditMoveUpdateAndDelete)
{
    CPacketList list;
    EXPECT_FALSE(list.UpdateCurrent(QStringLiteral("AA"))) << "no current entry: nothing to update";
    EXPECT_EQ(0, list.Count());

    EXPECT_EQ(0, list.AddCurrent(QStringLiteral("00000001")));
    EXPECT_EQ(1, list.AddCurrent(QStringLiteral("00000002")));
    EXPECT_EQ(2, list.Append(QStringLiteral("00000003")));
    EXPECT_EQ(1, list.CurrentPacketID()) << "Append leaves the current entry alone";
    EXPECT_EQ(3, list.NextPacketID());

    // Moving keeps the numbers with their lines, and refuses at the ends.
    EXPECT_FALSE(list.MoveUp(0));
    EXPECT_FALSE(list.MoveDown(2));
    EXPECT_TRUE(list.MoveUp(1));
    EXPECT_EQ((QStringList{"00000002", "00000001", "00000003"}), list.Texts());
    EXPECT_EQ(1, list.Entry(0).nID);

    // Update replaces the current entry wherever it now stands.
    EXPECT_TRUE(list.UpdateCurrent(QStringLiteral("0000000B")));
    EXPECT_EQ((QStringList{"0000000B", "00000001", "00000003"}), list.Texts());

    // Edit makes the line's number current.
    QString strText;
    EXPECT_TRUE(list.Edit(2, &strText));
    EXPECT_EQ(QStringLiteral("00000003"), strText);
    EXPECT_EQ(2, list.CurrentPacketID());
    EXPECT_FALSE(list.Edit(3, &strText));

    // Deleting the current line forgets it; the selection stays at the index or goes to the last.
    EXPECT_EQ(1, list.Delete(2)) << "the last line went: the new last is selected";
    EXPECT_EQ(-1, list.CurrentPacketID());
    list.SetCurrentPacketID(1);
    EXPECT_EQ(0, list.Delete(0));
    EXPECT_EQ(-1, list.CurrentPacketID());

    // An update of an entry that is gone appends it again under its number.
    list.SetCurrentPacketID(1);
    EXPECT_TRUE(list.UpdateCurrent(QStringLiteral("0000000C")));
    EXPECT_EQ((QStringList{"00000001", "0000000C"}), list.Texts());
    EXPECT_EQ(1, list.Entry(1).nID);
    EXPECT_EQ(0, list.Delete(1)) << "deleting the last of two selects the one left";
    EXPECT_EQ(-1, list.Delete(0));
    EXPECT_EQ(3, list.NextPacketID()) << "numbers are never reused";
}

TEST(PacketGenChecksTest, SettingsAreCheckedInOrder)
{
    SPacketGenSettings settings;
    EXPECT_EQ(QStringLiteral("Start Port not selected."), CheckPacketGenSettings(settings));
    settings.nStartPort = 1;
    EXPECT_EQ(QStringLiteral("End Port not selected."), CheckPacketGenSettings(settings));
    settings.nEndPort = 1;
    EXPECT_EQ(QStringLiteral("Start Port and End Port must be different."), CheckPacketGenSettings(settings));
    settings.nEndPort = 2;
    EXPECT_EQ(QStringLiteral("Flow Type not selected."), CheckPacketGenSettings(settings));
    settings.nFlow = 0;
    EXPECT_EQ(QString(), CheckPacketGenSettings(settings)) << "scenario 1 needs no test port";
    settings.nScenario = 2;
    EXPECT_EQ(QStringLiteral("Test Port not selected."), CheckPacketGenSettings(settings));
    for (int t : {1, 2})
    {
        settings.nTestPort = t;
        EXPECT_EQ(QStringLiteral("Test Port must not be the same as Start Port or End Port."),
                  CheckPacketGenSettings(settings));
    }
    settings.nTestPort = 6;
    EXPECT_EQ(QString(), CheckPacketGenSettings(settings));
    EXPECT_EQ(8, PacketGenFlowNames().size());
    EXPECT_EQ(QStringLiteral("VC0 PRI 2 CRF 1"), PacketGenFlowNames()[5]);
}

class PgcSenderTest : public ::testing::Test
{
protected:
    void SetUp() override
    {
        settings.nFlow = 3;
        settings.nStartPort = 1;
        settings.nEndPort = 2;
        sw.regs[kGen2DeviceControl] = 0x00000100;
        sw.regs[PgcControl(2)] = 0xABCD0FFF;
        sw.regs[PgcControl(1)] = 0x12340000;
        // The end port reports reception on the second poll.
        sw.readQueue[PgcControl(2)] = {0xABCD0FFF, 0, 0x8000};
    }
    EPgcResult Send(const std::vector<uint8_t>& bytes, bool bCapture)
    {
        return CPgcSender(sw).Send(settings, bytes.data(), static_cast<uint32_t>(bytes.size()), 0x0001,
                                   0x0005, bCapture, &capture);
    }

    nvtest::CRecordingUserInterface ui;
    CScriptedSwitch sw;
    SPacketGenSettings settings;
    std::array<uint8_t, kPgcCaptureBytes> capture{};
};

TEST_F(PgcSenderTest, ScenarioOneLoadsTheWordsMarksFirstAndLastAndReadsTheCapture)
{
    // What the end port captured, 75 words; byte b of word w reads w + b.
    for (uint32_t w = 0; w < 75; ++w)
        sw.readQueue[PgcControl(2) + 4].push_back(w << 24 | (w + 1) << 16 | (w + 2) << 8 | (w + 3));
    const std::vector<uint8_t> packet = {0x00, 0x11, 0x22, 0x33, 0x44, 0x55, 0x66, 0x77, 0x88, 0x99};
    ASSERT_EQ(EPgcResult::Captured, Send(packet, true));
    EXPECT_TRUE(ui.messages.isEmpty()) << ui.messages.join(QLatin1Char('|')).toStdString();

    const QStringList expected = {
        "W F20300 80000000", "enable 1 1 1", "enable 2 1 1", "routeadd 1 0001 2",
        // PGC mode on, the rest of the register kept.
        "R F2000C", "W F2000C 10000100",
        // End port: capture mode and flow 3 in bits 9:2; start port: generate mode and flow 3.
        "R 100120", "W 100120 ABCD2C20", "R 100110", "W 100110 12341008",
        // Three words, the last padded with zeros: start of packet on the first control write only,
        // end of packet on the third.
        "W 100114 00112233", "W 100110 12345408", "W 100114 44556677", "W 100110 12345008",
        "W 100114 88990000", "W 100110 12345808",
        // Out of data access, then send.
        "W 100110 12341000", "W 100110 12351000",
        // Reception on the second poll.
        "sleep 100", "R 100120", "sleep 100", "R 100120"};
    const QStringList log = sw.log.mid(0, expected.size());
    EXPECT_EQ(expected, log) << sw.log.join(QLatin1Char('\n')).toStdString();

    // 75 reads of the capture, each after a control write with data access and capture mode.
    const QStringList rest = sw.log.mid(expected.size());
    ASSERT_EQ(151, rest.size()) << rest.join(QLatin1Char('\n')).toStdString();
    for (int w = 0; w < 75; ++w)
    {
        EXPECT_EQ(QStringLiteral("W 100120 ABCD6C20"), rest[2 * w]);
        EXPECT_EQ(QStringLiteral("R 100124"), rest[2 * w + 1]);
    }
    EXPECT_EQ(QStringLiteral("W F2000C 00000100"), rest.last()) << "PGC mode off, the rest as it was";
    EXPECT_EQ((std::vector<uint8_t>{0, 1, 2, 3, 1, 2, 3, 4}),
              std::vector<uint8_t>(capture.begin(), capture.begin() + 8));
    EXPECT_EQ(74, capture[296]);
    EXPECT_EQ(77, capture[299]);
}

TEST_F(PgcSenderTest, AOneWordPacketOpensAndClosesOnOneWriteAndAWriteHasNoCapture)
{
    ASSERT_EQ(EPgcResult::Sent, Send({0x00, 0x12, 0x34, 0x56}, false));
    const QStringList accesses = sw.Accesses();
    const int nData = static_cast<int>(accesses.indexOf(QStringLiteral("W 100114 00123456")));
    ASSERT_GE(nData, 0);
    EXPECT_EQ(QStringLiteral("W 100110 12345C08"), accesses[nData + 1]) << "0x400 and 0x800 together";
    EXPECT_FALSE(accesses.contains(QStringLiteral("R 100124"))) << "nothing to capture";
    EXPECT_EQ(QStringLiteral("W F2000C 00000100"), accesses.last());
}

TEST_F(PgcSenderTest, ScenarioTwoLoopsTheStartPortThroughTheTestPortAndUndoesItAfterwards)
{
    settings.nScenario = 2;
    settings.nTestPort = 6;
    sw.regs[0x15C + 0x20] = 0x00600001; // the start port's control CSR
    sw.regs[0xF40104] = 0x04000000;     // its Port Operations
    ASSERT_EQ(EPgcResult::Sent, Send({0x00, 0x12, 0x34, 0x56}, false));
    const QStringList expectedStart = {
        "W F20300 80000000", "enable 1 1 1", "enable 2 1 1",
        // The answer to the source comes back through the test port to the end port; the
        // packet itself leaves the start port's loop by the test port.
        "routeadd 6 0001 2", "routeadd 1 0005 6",
        // Loop-back with the port disabled meanwhile.
        "R 00017C", "W 00017C 00E00001", "R F40104", "W F40104 04200000", "W 00017C 00600001", "R F2000C"};
    EXPECT_EQ(expectedStart, sw.log.mid(0, expectedStart.size()))
        << sw.log.join(QLatin1Char('\n')).toStdString();
    const QStringList expectedEnd = {"W 00017C 00E00001", "R F40104", "W F40104 04000000",
                                     "W 00017C 00600001", "W F2000C 00000100"};
    EXPECT_EQ(expectedEnd, sw.log.mid(sw.log.size() - expectedEnd.size()));
    EXPECT_EQ(0x04000000u, sw.regs[0xF40104]) << "loop-back off again";
}

TEST_F(PgcSenderTest, ATimeOutStillUndoesTheLoopAndPgcModeButAFailedPollEndsTheSendWhereItStands)
{
    settings.nScenario = 2;
    settings.nTestPort = 6;
    sw.readQueue[PgcControl(2)] = {0xABCD0FFF};
    ASSERT_EQ(EPgcResult::TimedOut, Send({0x00, 0x12, 0x34, 0x56}, true));
    EXPECT_EQ(QStringList{"Timeout waiting for packet reception."}, ui.messages);
    EXPECT_EQ(QStringList{"Packet Generator"}, ui.messageTitles);
    EXPECT_EQ(10, sw.log.filter(QStringLiteral("sleep 100")).size());
    EXPECT_FALSE(sw.log.contains(QStringLiteral("R 100124"))) << "no capture after a time-out";
    EXPECT_EQ(QStringLiteral("W F2000C 00000100"), sw.log.last());
    EXPECT_EQ(0u, sw.regs[0xF40104] & kGen2PortLoopback);

    // A poll that fails: its message, and nothing after it (PGC mode stays on).
    CScriptedSwitch failing;
    failing.regs[kGen2DeviceControl] = 0x100;
    failing.ulFailOffset = PgcControl(2);
    failing.cFailKind = 'R';
    failing.nFailAt = 1; // the read of step 5 passes, the first poll fails
    ui.messages.clear();
    const uint8_t abPacket[4] = {0, 1, 2, 3};
    EXPECT_EQ(EPgcResult::Failed, CPgcSender(failing).Send(settings, abPacket, 4, 1, 5, true, &capture));
    EXPECT_EQ(QStringList{"Unable to test for reception complete. [1]\n\nTimeout on RapidIO transaction"},
              ui.messages);
    EXPECT_EQ(QStringLiteral("R 100120"), failing.log.last());
    EXPECT_EQ(kGen2PgcMode | 0x100u, failing.regs[kGen2DeviceControl]);
}

TEST_F(PgcSenderTest, EachFailingStepShowsItsOwnMessage)
{
    struct SCase
    {
        uint32_t ulOffset;
        char cKind;
        int nAt;
        const char* pszMessage;
    };
    const SCase cases[] = {
        {kGen2DeviceReset, 'W', 0, "Unable to reset start and end ports."},
        {kGen2DeviceControl, 'R', 0, "Unable to enable PGC mode. [1]"},
        {kGen2DeviceControl, 'W', 0, "Unable to enable PGC mode. [2]"},
        {kGen2DeviceControl, 'W', 1, "Unable to disable PGC mode."},
        {PgcControl(2), 'R', 0, "Unable to configure end port. [1]"},
        {PgcControl(2), 'W', 0, "Unable to configure end port. [2]"},
        {PgcControl(2), 'W', 1, "Unable to configure end port. [1]"},
        {PgcControl(2) + 4, 'R', 0, "Unable to read end port data. [1]"},
        {PgcControl(1), 'R', 0, "Unable to configure start port. [1]"},
        {PgcControl(1), 'W', 0, "Unable to configure start port. [2]"},
        {PgcControl(1), 'W', 1, "Unable to configure start port. [3]"},
        {PgcControl(1), 'W', 3, "Unable to configure start port. [3]"},
        {PgcControl(1) + 4, 'W', 0, "Unable to write packet data to packet generator."},
    };
    for (const SCase& test : cases)
    {
        CScriptedSwitch one;
        one.readQueue[PgcControl(2)] = {0, 0x8000};
        one.ulFailOffset = test.ulOffset;
        one.cFailKind = test.cKind;
        one.nFailAt = test.nAt;
        ui.messages.clear();
        const uint8_t abPacket[4] = {0, 1, 2, 3};
        EXPECT_EQ(EPgcResult::Failed, CPgcSender(one).Send(settings, abPacket, 4, 1, 5, true, &capture));
        EXPECT_EQ(QStringList{QString::fromLatin1(test.pszMessage) + "\n\nTimeout on RapidIO transaction"},
                  ui.messages)
            << test.pszMessage;
    }
    // Route entries: scenario 2's first and second.
    settings.nScenario = 2;
    settings.nTestPort = 6;
    for (int nAt : {0, 1})
    {
        CScriptedSwitch one;
        one.nRouteFailAt = nAt;
        ui.messages.clear();
        const uint8_t abPacket[4] = {0, 1, 2, 3};
        EXPECT_EQ(EPgcResult::Failed, CPgcSender(one).Send(settings, abPacket, 4, 1, 5, true, &capture));
        EXPECT_EQ(
            QStringList{nAt == 0
                            ? "Unable to add routing table entry.   [1]\n\nTimeout on RapidIO transaction"
                            : "Unable to add routing table entry.\n\nTimeout on RapidIO transaction"},
            ui.messages);
        EXPECT_FALSE(one.log.contains(QStringLiteral("R F2000C"))) << "nothing after the failed step";
    }
}
} // namespace
