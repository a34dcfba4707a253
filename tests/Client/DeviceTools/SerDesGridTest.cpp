// The lane grid's row model against a scripted switch: which lanes a port shows, what a row reads,
// and each cell edit as its exact register sequence (the strength's write-enable dance, the clamps,
// the DFE bit by revision, the three-step tap update, loop-back over the port, error counting).
#include "SerDesGrid.h"
#include "DfeTaps.h"

#include <QString>
#include <QStringList>

#include <gtest/gtest.h>

#include <algorithm>
#include <map>

namespace
{
// Registers in a map, every access a line of the log: "R 00201C", "W 00201C 20000000",
// "speed 1", "speed 1 = 5000".
class CScriptedLanes final : public ISerDesGridAccess
{
public:
    int32_t Read(uint32_t ulOffset, uint32_t* pulValue) override
    {
        log << QStringLiteral("R %1").arg(ulOffset, 6, 16, QLatin1Char('0')).toUpper();
        if (ulOffset == ulFailing)
            return -1;
        // A lane's error status counts what came since the last read: a scripted sequence.
        auto it = errors.find(ulOffset);
        if (it != errors.end() && !it->second.empty())
        {
            *pulValue = it->second.front();
            it->second.erase(it->second.begin());
            return 0;
        }
        *pulValue = regs[ulOffset];
        return 0;
    }
    int32_t Write(uint32_t ulOffset, uint32_t ulValue) override
    {
        log << QStringLiteral("W %1 %2")
                   .arg(ulOffset, 6, 16, QLatin1Char('0'))
                   .arg(ulValue, 8, 16, QLatin1Char('0'))
                   .toUpper();
        regs[ulOffset] = ulValue;
        return 0;
    }
    int32_t GetPortSpeedMHz(uint32_t ulPort, uint32_t* pulSpeedMHz) override
    {
        log << QStringLiteral("speed %1").arg(ulPort);
        *pulSpeedMHz = ulSpeed;
        return nSpeedStatus;
    }
    int32_t SetPortSpeedMHz(uint32_t ulPort, uint32_t ulSpeedMHz) override
    {
        log << QStringLiteral("speed %1 = %2").arg(ulPort).arg(ulSpeedMHz);
        ulSpeed = ulSpeedMHz;
        return 0;
    }
    // The log's writes alone.
    QStringList Writes() const { return log.filter(QStringLiteral("W ")); }

    std::map<uint32_t, uint32_t> regs;
    std::map<uint32_t, std::vector<uint32_t>> errors;
    QStringList log;
    uint32_t ulSpeed = 3125;
    int32_t nSpeedStatus = 0;
    uint32_t ulFailing = 0xFFFFFFFF;
};

QString W(uint32_t ulOffset, uint32_t ulValue)
{
    return QStringLiteral("W %1 %2")
        .arg(ulOffset, 6, 16, QLatin1Char('0'))
        .arg(ulValue, 8, 16, QLatin1Char('0'))
        .toUpper();
}

QString R(uint32_t ulOffset)
{
    return QStringLiteral("R %1").arg(ulOffset, 6, 16, QLatin1Char('0')).toUpper();
}

// The registers of lane 4 (port 1 of a CPS-1848 with quad configuration 0).
constexpr uint32_t kLane = 4;
const uint32_t kControl = serdes::LaneControl(kLane);
const uint32_t kDrive = serdes::LaneDrive(kLane);
const uint32_t kDfeCtl = serdes::DfeControl(kLane);
const uint32_t kTaps = serdes::DfeTaps(kLane);

class SerDesGridTest : public ::testing::Test
{
protected:
    void SetUp() override
    {
        m_switch.regs[serdes::kQuadConfig] = 0;
        ASSERT_TRUE(m_grid.Load(884));
        ASSERT_TRUE(m_grid.SelectPort(1));
        ASSERT_EQ(kLane, m_grid.LaneOf(0));
        m_switch.log.clear();
    }
    CScriptedLanes m_switch;
    CSerDesGrid m_grid{m_switch};
};

TEST_F(SerDesGridTest, APortShowsTheLanesItsQuadConfigurationGivesIt)
{
    // Arrangement 0: four lanes each on ports 0, 4 and 8 among others.
    EXPECT_EQ(4, m_grid.RowCount());
    ASSERT_TRUE(m_grid.SelectPort(4));
    EXPECT_EQ(16u, m_grid.LaneOf(0));
    EXPECT_EQ(19u, m_grid.LaneOf(3));
    EXPECT_EQ("16", m_grid.CellText(0, eSerDesLane));
    // Arrangement 1: port 0 keeps lanes 0 and 1, port 12 gets lanes 2 and 3.
    m_switch.regs[serdes::kQuadConfig] = 1;
    ASSERT_TRUE(m_grid.Load(884));
    ASSERT_TRUE(m_grid.SelectPort(0));
    EXPECT_EQ(2, m_grid.RowCount());
    ASSERT_TRUE(m_grid.SelectPort(12));
    EXPECT_EQ(2u, m_grid.LaneOf(0));
    EXPECT_EQ(3u, m_grid.LaneOf(1));
    // A port without lanes is not offered and can't be chosen; another device is no grid's.
    m_switch.regs[serdes::kQuadConfig] = 0;
    ASSERT_TRUE(m_grid.Load(884));
    const std::vector<uint32_t> ports = m_grid.Ports();
    EXPECT_EQ(std::find(ports.begin(), ports.end(), 12u), ports.end());
    EXPECT_FALSE(m_grid.SelectPort(12));
    EXPECT_FALSE(m_grid.SelectPort(99));
    EXPECT_FALSE(m_grid.Load(0x0578));
}

TEST_F(SerDesGridTest, ARowReadsDriveEqualiserAndLoopBackFromTheLaneRegisters)
{
    m_switch.regs[kControl] = 45u << 5 | 0x1E;            // strength 45, rate bits around it
    m_switch.regs[kDrive] = 0x20000000 | 17u << 6 | 0x2A; // pre 17, post 42
    m_switch.regs[kDfeCtl] = 0x7F000;                     // bit 18 set
    m_switch.regs[kTaps] = EncodeTaps(0x1, {9, 20, -4, 7, -3, 0});
    m_switch.regs[serdes::LaneControl(6)] = 0x8000; // another lane of the port loops back
    m_grid.ReadRow(0);
    EXPECT_EQ("3.125", m_grid.CellText(0, eSerDesSpeed));
    EXPECT_EQ("45", m_grid.CellText(0, eSerDesStrength));
    EXPECT_EQ("17", m_grid.CellText(0, eSerDesPre));
    EXPECT_EQ("42", m_grid.CellText(0, eSerDesPost));
    EXPECT_EQ("ON", m_grid.CellText(0, eSerDesDfeOn)) << "revision 0: bit 18 set is on";
    const QStringList taps = {"9", "20", "-4", "7", "-3"};
    for (int i = 0; i < 5; ++i)
        EXPECT_EQ(taps[i], m_grid.CellText(0, eSerDesTap0 + i)) << "tap " << i;
    EXPECT_EQ("Enabled", m_grid.CellText(0, eSerDesLoopback)) << "any lane of the port";
    EXPECT_EQ("Disabled", m_grid.CellText(0, eSerDesCountEnable));

    // Later silicon reads the bit the other way round (Device Info bits 20:16).
    m_switch.regs[serdes::kDeviceInfo] = 0x00010000;
    m_switch.regs[serdes::LaneControl(6)] = 0;
    m_switch.ulSpeed = 0;
    m_grid.ReadRow(0);
    EXPECT_EQ("OFF", m_grid.CellText(0, eSerDesDfeOn));
    EXPECT_EQ("Disabled", m_grid.CellText(0, eSerDesLoopback));
    EXPECT_EQ("Invalid", m_grid.CellText(0, eSerDesSpeed));
    // Bits 23:21 are not the grid's revision.
    m_switch.regs[serdes::kDeviceInfo] = 0x00E00000;
    m_grid.ReadRow(0);
    EXPECT_EQ("ON", m_grid.CellText(0, eSerDesDfeOn));

    // A read that fails leaves the row's register cells empty, not showing stale values.
    m_switch.ulFailing = kDrive;
    m_grid.ReadRow(0);
    EXPECT_EQ("", m_grid.CellText(0, eSerDesPre));
    EXPECT_EQ("", m_grid.CellText(0, eSerDesStrength));
    EXPECT_EQ("4", m_grid.CellText(0, eSerDesLane));
}

TEST(SerDesSpeedTest, OnlyTheFiveRatesHaveTexts)
{
    EXPECT_EQ(QStringList({"1.25", "2.5", "3.125", "5.0", "6.25"}), SerDesSpeedTexts());
    ASSERT_EQ(5u, SerDesSpeedsMHz().size());
    for (size_t i = 0; i < 5; ++i)
        EXPECT_EQ(SerDesSpeedTexts()[static_cast<int>(i)], SerDesSpeedText(SerDesSpeedsMHz()[i]));
    EXPECT_EQ("Invalid", SerDesSpeedText(0));
    EXPECT_EQ("Invalid", SerDesSpeedText(3000));
}

TEST_F(SerDesGridTest, StrengthIsWrittenOnlyWhileTheDriveWriteEnableIsSet)
{
    // Write enable clear: set it, write the strength, clear it again.
    m_switch.regs[kDrive] = 0x00000155;
    m_switch.regs[kControl] = 0x0000801E;
    m_grid.SetStrength(0, 40);
    ASSERT_GE(m_switch.log.size(), 5);
    EXPECT_EQ(QStringList({R(kDrive), W(kDrive, 0x20000155), R(kControl), W(kControl, 0x801E | 40u << 5),
                           W(kDrive, 0x00000155)}),
              m_switch.log.mid(0, 5));
    EXPECT_EQ("40", m_grid.CellText(0, eSerDesStrength)) << "the row is read again";

    // Already set: only the control register, and above 63 is 63.
    m_switch.regs[kDrive] = 0x20000155;
    m_switch.log.clear();
    m_grid.SetStrength(0, 200);
    EXPECT_EQ(QStringList({R(kDrive), R(kControl), W(kControl, 0x801E | 63u << 5)}), m_switch.log.mid(0, 3));
    EXPECT_EQ(QStringList({W(kControl, 0x801E | 63u << 5)}), m_switch.Writes());
}

TEST_F(SerDesGridTest, PreAndPostReplaceTheirBitsOfTheDriveAndClamp)
{
    m_switch.regs[kDrive] = 0x20000000 | 3u << 6 | 5;
    m_grid.SetPre(0, 31);
    m_grid.SetPost(0, 64);
    m_grid.SetPre(0, 32);
    EXPECT_EQ(QStringList({W(kDrive, 0x20000000 | 31u << 6 | 5), W(kDrive, 0x20000000 | 31u << 6 | 63),
                           W(kDrive, 0x20000000 | 31u << 6 | 63)}),
              m_switch.Writes());
    m_grid.SetPost(0, 0);
    EXPECT_EQ("31", m_grid.CellText(0, eSerDesPre));
    EXPECT_EQ("0", m_grid.CellText(0, eSerDesPost));
    EXPECT_EQ(0x20000000u | 31u << 6, m_switch.regs[kDrive]);
}

TEST_F(SerDesGridTest, DfeOnOffFollowsTheRevisionBits)
{
    m_switch.regs[kDfeCtl] = 0x00003555;
    m_grid.SetDfeOn(0, true);
    EXPECT_EQ(QStringList({W(kDfeCtl, 0x00043555)}), m_switch.Writes()) << "revision 0: on sets bit 18";
    EXPECT_EQ("ON", m_grid.CellText(0, eSerDesDfeOn));
    m_grid.SetDfeOn(0, false);
    EXPECT_EQ(0x00003555u, m_switch.regs[kDfeCtl]);
    EXPECT_EQ("OFF", m_grid.CellText(0, eSerDesDfeOn));

    m_switch.regs[serdes::kDeviceInfo] = 0x00020000;
    m_switch.log.clear();
    m_grid.SetDfeOn(0, true);
    EXPECT_EQ(QStringList({W(kDfeCtl, 0x00003555)}), m_switch.Writes()) << "later revisions: on clears it";
    EXPECT_EQ("ON", m_grid.CellText(0, eSerDesDfeOn));
    m_grid.SetDfeOn(0, false);
    EXPECT_EQ(0x00043555u, m_switch.regs[kDfeCtl]);
    EXPECT_EQ("OFF", m_grid.CellText(0, eSerDesDfeOn));
}

TEST_F(SerDesGridTest, ATapGoesInThroughDecodeEncodeAndTheThreeWriteUpdate)
{
    const uint32_t ulStart = 0x10488010; // tap 0 at 8, the others 0, update bit clear
    m_switch.regs[kTaps] = ulStart;
    m_grid.SetTap(0, 2, -5);
    const uint32_t ulValue = EncodeTaps(ulStart, {8, 0, -5, 0, 0, 0});
    EXPECT_EQ(QStringList({W(kTaps, ulValue), W(kTaps, ulValue & ~1u), W(kTaps, ulValue | 1u)}),
              m_switch.Writes());
    EXPECT_EQ("-5", m_grid.CellText(0, eSerDesTap2));
    EXPECT_EQ("8", m_grid.CellText(0, eSerDesTap0));
    EXPECT_EQ(0x10000000u, m_switch.regs[kTaps] & 0x1F800000) << "the offset tap stays";

    // Out of the tap's range is its end; the other fields keep their values.
    m_grid.SetTap(0, 4, 9);
    m_grid.SetTap(0, 1, -2);
    EXPECT_EQ((DfeTapValues{8, 0, -5, 0, 3, 0}), DecodeTaps(m_switch.regs[kTaps]));
    m_grid.SetTap(0, 3, -100);
    EXPECT_EQ(-7, DecodeTaps(m_switch.regs[kTaps])[3]);
}

TEST_F(SerDesGridTest, TypedValuesFollowTheNumberRuleAndTextThatIsNoNumberWritesNothing)
{
    m_switch.regs[kDrive] = 0x20000000;
    QString strError;
    EXPECT_TRUE(m_grid.EditCell(0, eSerDesStrength, "20h", &strError));
    EXPECT_EQ("32", m_grid.CellText(0, eSerDesStrength));
    EXPECT_TRUE(m_grid.EditCell(0, eSerDesPost, "101", &strError));
    EXPECT_EQ("63", m_grid.CellText(0, eSerDesPost)) << "bare digits are decimal, then clamped";
    EXPECT_TRUE(m_grid.EditCell(0, eSerDesTap3, "-6", &strError));
    EXPECT_EQ("-6", m_grid.CellText(0, eSerDesTap3));
    m_switch.log.clear();
    for (int iColumn : {int(eSerDesStrength), int(eSerDesTap1)})
    {
        EXPECT_FALSE(m_grid.EditCell(0, iColumn, "x1", &strError));
        EXPECT_EQ("Invalid data entry.", strError);
    }
    EXPECT_FALSE(m_grid.EditCell(0, eSerDesPre, "-3", &strError)) << "only taps take a sign";
    EXPECT_TRUE(m_switch.Writes().isEmpty());
    EXPECT_FALSE(m_grid.EditCell(0, eSerDesErrorCount, "5", &strError)) << "read-only";
}

TEST_F(SerDesGridTest, LoopBackIsSetAndClearedOnEveryLaneOfThePort)
{
    m_switch.regs[serdes::LaneControl(5)] = 0x7E0;
    m_grid.SetLoopback(true);
    EXPECT_EQ(QStringList({W(serdes::LaneControl(4), 0x8000), W(serdes::LaneControl(5), 0x87E0),
                           W(serdes::LaneControl(6), 0x8000), W(serdes::LaneControl(7), 0x8000)}),
              m_switch.Writes());
    for (int r = 0; r < 4; ++r)
        EXPECT_EQ("Enabled", m_grid.CellText(r, eSerDesLoopback));
    EXPECT_EQ(0u, m_switch.regs[serdes::LaneControl(8)]) << "port 2's lanes untouched";
    m_grid.SetLoopback(false);
    EXPECT_EQ(0x7E0u, m_switch.regs[serdes::LaneControl(5)]);
    EXPECT_EQ("Disabled", m_grid.CellText(3, eSerDesLoopback));
}

TEST_F(SerDesGridTest, ErrorCountingSetsUpThePortCountsEachLaneAndStopsCleanly)
{
    const uint32_t p = 1;
    m_switch.regs[serdes::PortOperations(p)] = 0x00000040;
    m_grid.SetErrorCounting(true);
    EXPECT_EQ(QStringList({W(serdes::PortErrorRateEnable(p), 0x4E8015), W(serdes::PortErrorRate(p), 0x30000),
                           W(serdes::PortErrorThreshold(p), 0), W(serdes::PortOperations(p), 0x04000040)}),
              m_switch.Writes());
    EXPECT_EQ(0x1044u + 0x40, serdes::PortErrorRateEnable(p));
    EXPECT_EQ("Enabled\n0:00:00", m_grid.CellText(0, eSerDesCountEnable));

    // Lane 4 counts 3 then 15 (bits 10:7); lane 5 counts nothing; the other bits don't count.
    m_switch.errors[serdes::LaneErrorStatus(4)] = {3u << 7 | 0x7000, 15u << 7};
    m_switch.errors[serdes::LaneErrorStatus(5)] = {0x0000707F, 0x0000707F};
    m_grid.Tick();
    m_grid.Tick();
    EXPECT_EQ("18", m_grid.CellText(0, eSerDesErrorCount));
    EXPECT_EQ("0", m_grid.CellText(1, eSerDesErrorCount));
    EXPECT_EQ("0", m_grid.CellText(1, eSerDesErrorRate));
    EXPECT_EQ("Enabled\n0:00:02", m_grid.CellText(2, eSerDesCountEnable));
    // 18 errors in 2 seconds at 3.125 Gbaud.
    EXPECT_DOUBLE_EQ(18.0 / (2 * 3125e6), m_grid.ErrorRate(0));
    EXPECT_EQ("2.88e-09", m_grid.CellText(0, eSerDesErrorRate));
    for (int i = 0; i < 3661 - 2; ++i)
        m_grid.Tick();
    EXPECT_EQ("Enabled\n1:01:01", m_grid.CountEnableText());

    m_switch.log.clear();
    m_grid.SetErrorCounting(false);
    EXPECT_EQ(QStringList({W(serdes::PortOperations(p), 0x00000040)}), m_switch.Writes());
    EXPECT_EQ("Disabled", m_grid.CellText(0, eSerDesCountEnable));
    m_switch.log.clear();
    m_grid.Tick();
    EXPECT_TRUE(m_switch.log.isEmpty()) << "no counting while disabled";
    EXPECT_EQ("18", m_grid.CellText(0, eSerDesErrorCount)) << "the last count stays shown";

    // On again: the counts start from 0, after a read that drops what the lanes held.
    m_switch.errors[serdes::LaneErrorStatus(4)] = {7u << 7, 1u << 7};
    m_grid.SetErrorCounting(true);
    EXPECT_EQ("0", m_grid.CellText(0, eSerDesErrorCount));
    m_grid.Tick();
    EXPECT_EQ("1", m_grid.CellText(0, eSerDesErrorCount));
    // Another port: this one's counting stops.
    m_switch.log.clear();
    ASSERT_TRUE(m_grid.SelectPort(2));
    EXPECT_EQ(W(serdes::PortOperations(1), 0x00000040), m_switch.Writes().value(0));
    EXPECT_FALSE(m_grid.IsCounting());
}

TEST_F(SerDesGridTest, PortSpeedGoesThroughTheHalAndTheRowsAreReadAgain)
{
    EXPECT_EQ(0, m_grid.SetPortSpeed(5000));
    EXPECT_EQ("speed 1 = 5000", m_switch.log.value(0));
    for (int r = 0; r < m_grid.RowCount(); ++r)
        EXPECT_EQ("5.0", m_grid.CellText(r, eSerDesSpeed));
    // The HAL failing to tell shows "Invalid".
    m_switch.nSpeedStatus = -9;
    m_grid.ReadAll();
    EXPECT_EQ("Invalid", m_grid.CellText(0, eSerDesSpeed));
}

} // namespace
