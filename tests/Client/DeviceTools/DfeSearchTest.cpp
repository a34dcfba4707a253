// The DFE procedures against the simulator's Gen2 lane model, in process: the client's
// algorithms on one side, the model's registers and error counts on the other. The model puts
// the lane's error-free setting at an optimum the topology names, so each search has a known end.
#include "DfeSearch.h"
#include "DfeTaps.h"

#include "models/Gen2Lanes.h"
#include "nvsim/Fabric.h"
#include "nvsim/Topology.h"

#include <gtest/gtest.h>

#include <memory>
#include <string>

namespace
{
using nvsim::models::CGen2Lanes;

// Port 0 of the switch links to the host; port 1 has no link (lanes 4 to 7).
std::unique_ptr<nvsim::CSimFabric> Fabric(const std::string& strSwitchOptions)
{
    std::string strError;
    auto pFabric = nvsim::LoadTopologyText("device host endpoint device=0x0001 processor id=0x01\n"
                                           "device sw switch model=cps1848 " +
                                               strSwitchOptions +
                                               "\n"
                                               "host host\n"
                                               "link host:0 sw:0 speed=3.125\n",
                                           &strError);
    EXPECT_TRUE(pFabric) << strError;
    return pFabric;
}

// Maintenance accesses straight to the switch, counted.
class CDeviceAccess final : public ISerDesAccess
{
public:
    explicit CDeviceAccess(nvsim::CSimDevice& device) : m_device(device) {}
    int32_t Read(uint32_t ulOffset, uint32_t* pulValue) override
    {
        ++ulReads;
        *pulValue = m_device.ReadRegister(ulOffset, {0, true});
        return 0;
    }
    int32_t Write(uint32_t ulOffset, uint32_t ulValue) override
    {
        writes.emplace_back(ulOffset, ulValue);
        m_device.WriteRegister(ulOffset, ulValue, 0xFFFFFFFF, {0, true});
        return 0;
    }
    uint64_t ulReads = 0;
    std::vector<std::pair<uint32_t, uint32_t>> writes;

private:
    nvsim::CSimDevice& m_device;
};

class DfeSearchTest : public ::testing::Test
{
protected:
    void Open(const std::string& strSwitchOptions = {})
    {
        m_pFabric = Fabric(strSwitchOptions);
        ASSERT_TRUE(m_pFabric);
        m_pAccess = std::make_unique<CDeviceAccess>(m_pFabric->Device("sw"));
        ASSERT_TRUE(LoadSerDesDeviceTable(*m_pAccess, 884, &m_table));
        m_pSearch = std::make_unique<CDfeSearch>(*m_pAccess, m_table);
        m_pSearch->fnLogLine = [](const QString&) {};
        m_pSearch->fnCancelled = [] { return false; };
        m_pSearch->fnProgress = [](uint32_t, uint32_t) {};
        m_pSearch->fnTimeStamp = [] { return QStringLiteral("12:00 PM\n"); };
    }
    DfeTapValues LaneTaps(uint32_t ulLane)
    {
        uint32_t ulValue = 0;
        m_pAccess->Read(serdes::DfeTaps(ulLane), &ulValue);
        return DecodeTaps(ulValue);
    }
    // Puts the lane under DFE control at the given taps, as a finished scan leaves it.
    void SetLane(uint32_t ulLane, const DfeTapValues& taps)
    {
        m_pSearch->EnableDFE(0, ulLane);
        m_pSearch->StepTaps(0, ulLane, EncodeTaps(LaneTapsRegister(ulLane), taps));
    }
    uint32_t LaneTapsRegister(uint32_t ulLane)
    {
        uint32_t ulValue = 0;
        m_pAccess->Read(serdes::DfeTaps(ulLane), &ulValue);
        return ulValue;
    }

    std::unique_ptr<nvsim::CSimFabric> m_pFabric;
    std::unique_ptr<CDeviceAccess> m_pAccess;
    SSerDesDeviceTable m_table;
    std::unique_ptr<CDfeSearch> m_pSearch;
};

const DfeTapValues kDefaultOptimum = {8, 12, 6, 3, 1, 0};

TEST(DfeTapsTest, SignedFieldsRunUpByOneWithTheValueAndRoundTrip)
{
    // Tap 2 of -1: every magnitude bit set, the sign clear; 0: the sign bit alone.
    EXPECT_EQ(0x7800u, EncodeTaps(0, {0, 0, -1, 0, 0, 0}) & 0xF800);
    EXPECT_EQ(0x8000u, EncodeTaps(0, {0, 0, 0, 0, 0, 0}) & 0xF800);
    EXPECT_EQ(-15, DecodeTaps(EncodeTaps(0, {0, 0, -15, 0, 0, 0}))[2]);
    // The reset value of the register is tap 0 at 8 and the others 0.
    EXPECT_EQ((DfeTapValues{8, 0, 0, 0, 0, 0}), DecodeTaps(0x10488010));
    for (int i = 0; i < kDfeShownTaps; ++i)
    {
        const SDfeTapField& f = DfeTapField(i);
        uint32_t ulPreviousRaw = 0;
        for (int32_t v = f.lMin; v <= f.lMax; ++v)
        {
            DfeTapValues values{};
            values[i] = v;
            const uint32_t ulRegister = EncodeTaps(kDfeUpdateBit, values);
            EXPECT_EQ(v, DecodeTaps(ulRegister)[i]) << "tap " << i;
            EXPECT_EQ(kDfeUpdateBit, ulRegister & kDfeUpdateBit) << "bit 0 stays";
            const uint32_t ulRaw = GetRawTaps(ulRegister)[i];
            if (v > f.lMin)
            {
                EXPECT_EQ(ulPreviousRaw + 1, ulRaw) << "tap " << i << " value " << v;
            }
            ulPreviousRaw = ulRaw;
            EXPECT_EQ(ulRegister, PutRawTaps(kDfeUpdateBit, GetRawTaps(ulRegister)));
        }
    }
    // The offset tap's field is shifted by 24 under a mask that starts at bit 23, so only four
    // magnitude bits take part: it holds -16 to 15. It is never shown nor scanned.
    for (int32_t v = -16; v <= 15; ++v)
    {
        EXPECT_EQ(v, DecodeTaps(EncodeTaps(0, {0, 0, 0, 0, 0, v}))[5]);
    }
}

TEST_F(DfeSearchTest, CountErrorsReadsTheStatusAndEveryTwoHundredFiftySixthRoundTheSyncFlags)
{
    Open();
    m_pAccess->ulReads = 0;
    EXPECT_EQ(0u, m_pSearch->CountErrors(0, 0, 0));
    EXPECT_EQ(0u, m_pAccess->ulReads) << "no access for no rounds";

    // The equaliser is off: the lane receives as with all taps 0, far from the optimum, and the
    // counter saturates on every read, which also drops sync.
    EXPECT_EQ(15u * 512 + 2, m_pSearch->CountErrors(0, 0, 512));
    EXPECT_EQ(512u + 2, m_pAccess->ulReads);
    ASSERT_EQ(2u, m_pAccess->writes.size());
    EXPECT_EQ(serdes::LaneSample(0), m_pAccess->writes[0].first);
    EXPECT_EQ(0u, m_pAccess->writes[0].second & 3) << "the flags are cleared by writing them 0";

    // The count stops once it reaches 0x10000.
    m_pAccess->ulReads = 0;
    EXPECT_GE(m_pSearch->CountErrors(0, 0, 100000), 0x10000u);
    EXPECT_LT(m_pAccess->ulReads, 5000u);

    // Lanes of a port without a link see nothing but errors, whatever the taps.
    SetLane(4, kDefaultOptimum);
    EXPECT_EQ(15u * 10, m_pSearch->CountErrors(1, 4, 10));
}

TEST_F(DfeSearchTest, StepTapsWalksInUnitStepsEachAnUpdateAndWritesNothingWhenThere)
{
    Open();
    const uint32_t ulStart = LaneTapsRegister(0);
    m_pAccess->writes.clear();
    m_pSearch->StepTaps(0, 0, ulStart);
    EXPECT_TRUE(m_pAccess->writes.empty());

    const uint32_t ulTarget = EncodeTaps(ulStart, {5, 3, -2, 1, 0, 0});
    m_pSearch->StepTaps(0, 0, ulTarget);
    ASSERT_EQ(3u * 3, m_pAccess->writes.size()) << "three steps (tap 0 from 8 to 5), three writes each";
    for (size_t i = 0; i < m_pAccess->writes.size(); i += 3)
    {
        const uint32_t ulValue = m_pAccess->writes[i].second;
        EXPECT_EQ(ulValue & ~kDfeUpdateBit, m_pAccess->writes[i + 1].second);
        EXPECT_EQ(ulValue | kDfeUpdateBit, m_pAccess->writes[i + 2].second);
    }
    EXPECT_EQ((DfeTapValues{7, 1, -1, 1, 0, 0}), DecodeTaps(m_pAccess->writes[0].second));
    EXPECT_EQ((DfeTapValues{5, 3, -2, 1, 0, 0}), LaneTaps(0));
}

TEST_F(DfeSearchTest, EnableDfeTakesControlOnceWithTheRevisionsWord)
{
    Open();
    m_pSearch->EnableDFE(0, 1);
    EXPECT_EQ("\nEnabling DFE control on port 0 lane 1\nResetting Port 0\n", m_pSearch->Log().toStdString());
    uint32_t ulControl = 0;
    m_pAccess->Read(serdes::DfeControl(1), &ulControl);
    EXPECT_EQ(0x7F000u, ulControl & 0x7F000);
    EXPECT_EQ((DfeTapValues{}), LaneTaps(1)) << "all taps stepped to 0";
    EXPECT_EQ(kDfeUpdateBit, LaneTapsRegister(1) & kDfeUpdateBit);
    // The port was reset: Device Reset Control got the port mask, then the mask with DO_RESET.
    bool bMask = false, bReset = false;
    for (const auto& [ulOffset, ulValue] : m_pAccess->writes)
    {
        bMask |= ulOffset == serdes::kDeviceReset && ulValue == 0x1;
        bReset |= ulOffset == serdes::kDeviceReset && ulValue == 0x80000001;
    }
    EXPECT_TRUE(bMask && bReset);

    m_pAccess->writes.clear();
    m_pSearch->EnableDFE(0, 1);
    EXPECT_TRUE(m_pAccess->writes.empty()) << "already under control";

    // Revision 1 of a CPS-1848 wants the word without bit 18; the model's equaliser works only then.
    Open("rev=0x00010000");
    m_pSearch->EnableDFE(0, 0);
    m_pAccess->Read(serdes::DfeControl(0), &ulControl);
    EXPECT_EQ(0x3F000u, ulControl & 0x7F000);
}

TEST_F(DfeSearchTest, RatioScanWithTheDefaultsEndsAtTheOptimum)
{
    for (const auto& [strOptions, optimum] :
         {std::pair<std::string, DfeTapValues>{"", kDefaultOptimum},
          std::pair<std::string, DfeTapValues>{"dfeopt=8,20,10,5,2", {8, 20, 10, 5, 2, 0}},
          std::pair<std::string, DfeTapValues>{"dfeopt=8,9,4,2,1", {8, 9, 4, 2, 1, 0}}})
    {
        Open(strOptions);
        SDfeScanParams params;
        ASSERT_EQ(0, m_pSearch->Scan(0, 2, params));
        EXPECT_EQ(optimum, LaneTaps(2)) << strOptions;
        const std::string strLog = m_pSearch->Log().toStdString();
        const QString strBest =
            QString::asprintf("\nBEST RATIO SCAN TAP VALUES FOUND:\n%2d\t%2d\t%3d\t%2d\t%2d\t0\n", optimum[0],
                              optimum[1], optimum[2], optimum[3], optimum[4]);
        EXPECT_NE(std::string::npos, strLog.find(strBest.toStdString())) << strLog;
        EXPECT_NE(std::string::npos, strLog.find("12:00 PM\n\nTap0\tTap1\tTap2\tTap3\tTap4\tErrorCnt\n"));
        // Settled at the optimum the lane counts no errors (once the sync flags the far settings
        // left are counted and cleared).
        m_pSearch->CountErrors(0, 2, 256);
        EXPECT_EQ(0u, m_pSearch->CountErrors(0, 2, 4096));
    }
    // The scan set the port up for counting.
    uint32_t ulValue = 0;
    m_pAccess->Read(serdes::PortErrorRateEnable(0), &ulValue);
    EXPECT_EQ(0x4E8015u, ulValue);
    m_pAccess->Read(serdes::kLinkTimeout, &ulValue);
    EXPECT_EQ(0xFF00u, ulValue);
}

TEST_F(DfeSearchTest, OneAtATimeScanEndsAtTheOptimumAndTicksClearTapsTheOtherWayRound)
{
    Open("dfeopt=8,14,7,3,1");
    SDfeScanParams params;
    params.ulMode = 1;
    ASSERT_EQ(0, m_pSearch->Scan(0, 0, params));
    EXPECT_EQ((DfeTapValues{8, 14, 7, 3, 1, 0}), LaneTaps(0)) << m_pSearch->Log().toStdString();
    EXPECT_NE(std::string::npos, m_pSearch->Log().indexOf(QStringLiteral(
                                     "\nBEST ONE-AT-A-TIME TAP VALUES FOUND:\n 8\t14\t  7\t 3\t 1\t0\n")));

    // Ticked, the scan starts from what the lane holds: tap 0 stays where it was put.
    Open();
    SetLane(0, {6, 0, 0, 0, 0, 0});
    params.bClearTaps = 1;
    params.aTaps[1].lMax = 3;
    params.aTaps[2].lMax = 1;
    params.aTaps[3].lMax = 1;
    params.aTaps[4].lMax = 1;
    ASSERT_EQ(0, m_pSearch->Scan(0, 0, params));
    EXPECT_EQ(6, LaneTaps(0)[0]);
}

TEST_F(DfeSearchTest, RatioScanWithNothingGoodSaysSoAndLeavesTheLastSetting)
{
    Open();
    SDfeScanParams params;
    params.aTaps[1] = {0, 5, 1, 0}; // no errors allowed; only the optimum has none
    ASSERT_EQ(0, m_pSearch->Scan(0, 0, params));
    EXPECT_NE(std::string::npos,
              m_pSearch->Log().indexOf(QStringLiteral("\nNO GOOD TAP VALUES FOUND...\n\n12:00 PM\n")));
    EXPECT_EQ((DfeTapValues{8, 5, 2, 1, 0, 0}), LaneTaps(0));
}

TEST_F(DfeSearchTest, AdjustClimbsFromANearbyStartToTheOptimum)
{
    Open();
    SetLane(0, {8, 15, 4, 2, 0, 0});
    SDfeAdjustParams params; // 1000 samples, taps 1 to 4 by 1
    ASSERT_EQ(0, m_pSearch->Adjust(0, 0, params));
    const std::string strLog = m_pSearch->Log().toStdString();
    EXPECT_NE(std::string::npos, strLog.find("\nIter\tSeq\tTap\tTap0\tTap1\tTap2\tTap3\tTap4\tErrorCnt\n"));
    EXPECT_NE(std::string::npos, strLog.find("\nAdjustment complete, final BER count: 0\n")) << strLog;
    EXPECT_NE(std::string::npos, strLog.find("C   0\t 0\t 1\t 8\t14\t")) << strLog;
    // The best setting is the optimum; the lane keeps the last one tested.
    const size_t nLastChange = strLog.rfind("\nC");
    ASSERT_NE(std::string::npos, nLastChange);
    EXPECT_NE(std::string::npos, strLog.find("\t 8\t12\t  6\t 3\t 1\t0\n", nLastChange)) << strLog;
    const size_t nLastTest = strLog.rfind('\n', nLastChange - 1);
    const std::string strLastTest = strLog.substr(nLastTest + 1, nLastChange - nLastTest - 1);
    const DfeTapValues lane = LaneTaps(0);
    EXPECT_NE(std::string::npos, strLastTest.find(QString::asprintf("\t%2d\t%2d\t%3d\t%2d\t%2d\t", lane[0],
                                                                    lane[1], lane[2], lane[3], lane[4])
                                                      .toStdString()))
        << strLastTest;

    // At the optimum the first count is 0: no searching at all.
    SetLane(0, kDefaultOptimum);
    const qsizetype nBefore = m_pSearch->Log().size();
    m_pAccess->writes.clear();
    ASSERT_EQ(0, m_pSearch->Adjust(0, 0, params));
    EXPECT_EQ("\nAdjustment complete, final BER count: 0\n", m_pSearch->Log().mid(nBefore).toStdString());
    EXPECT_TRUE(m_pAccess->writes.empty());
}

TEST_F(DfeSearchTest, AdjustShrinksItsStepsWhenItStallsAndKeepsTheLastSettingTested)
{
    Open();
    // Steps of 2 on tap 1 from 16 reach 14 and then overshoot either way; shrunk to 1 they reach 12.
    SetLane(0, {8, 16, 6, 3, 1, 0});
    SDfeAdjustParams params;
    params.ulSamples = 4096;
    params.ulIterations = 10;
    params.ulCount = 1;
    params.auSeq[0] = 1;
    params.auDelta[0] = 3;
    ASSERT_EQ(0, m_pSearch->Adjust(0, 0, params));
    const std::string strLog = m_pSearch->Log().toStdString();
    // 16 - 3 = 13 is better; 10 and 16 are not, nor (by 2) 11 and 15; by 1, 12 is the optimum.
    EXPECT_NE(std::string::npos, strLog.find("C   0\t 0\t 1\t 8\t13\t")) << strLog;
    EXPECT_NE(std::string::npos, strLog.find("   1\t 0\t 1\t 8\t10\t"));
    EXPECT_NE(std::string::npos, strLog.find("   2\t 0\t 1\t 8\t11\t"));
    EXPECT_NE(std::string::npos, strLog.find("C   3\t 0\t 1\t 8\t12\t  6\t 3\t 1\t0\n"));
    EXPECT_NE(std::string::npos, strLog.find("\nAdjustment complete, final BER count: 0\n"));
    EXPECT_EQ(14, LaneTaps(0)[1]) << "the plus side was tested last";
}

TEST_F(DfeSearchTest, MonitorCompletesOnAGoodLaneAndFailsOrAdjustsOnABadOne)
{
    Open();
    SetLane(0, kDefaultOptimum);
    SDfeMonitorParams monitor;
    monitor.ulSamples = 20;
    monitor.ulIterations = 2;
    SDfeAdjustParams adjust;
    ASSERT_EQ(0, m_pSearch->Monitor(0, 0, monitor, adjust));
    std::string strLog = m_pSearch->Log().toStdString();
    EXPECT_NE(
        std::string::npos,
        strLog.find("\nMonitoring Port 0 Lane 0\n\nSamples:\t\t20\nLeak:\t\t1\nFail:\t\t5\nIterations:\t2\n"
                    "\nIteration  Samples  Errors\n0\t0\t0\n0\t1\t0\n"))
        << strLog;
    EXPECT_NE(std::string::npos, strLog.find("1\t20\t0\n")) << "the line of each iteration";
    EXPECT_EQ(std::string::npos, strLog.find("Failed!"));
    EXPECT_EQ(strLog.size() - 10, strLog.rfind("Complete.\n"));

    // Far from the optimum the fail count is reached on the first sample: iteration 1.
    Open();
    SetLane(0, {8, 31, 0, 0, 0, 0});
    SDfeMonitorParams bad;
    bad.ulFail = 1;
    ASSERT_EQ(0, m_pSearch->Monitor(0, 0, bad, adjust));
    strLog = m_pSearch->Log().toStdString();
    EXPECT_NE(std::string::npos, strLog.find("0\t0\t0\n1\t0\t15\tFailed!\n")) << strLog;
    EXPECT_EQ(std::string::npos, strLog.find("Complete.")) << "the run ends at the failure";

    // With adjustment on failure the adjust brings the lane to the optimum and monitoring goes on.
    Open();
    SetLane(0, {8, 13, 6, 2, 1, 0});
    SDfeMonitorParams retry;
    retry.ulSamples = 2000;
    retry.ulIterations = 1;
    retry.bAdjustOnFail = 1;
    adjust.ulSamples = 4096;
    ASSERT_EQ(0, m_pSearch->Monitor(0, 0, retry, adjust));
    strLog = m_pSearch->Log().toStdString();
    EXPECT_NE(std::string::npos, strLog.find("\tFailed!\nStarting Adjustment...\n")) << strLog;
    EXPECT_NE(std::string::npos, strLog.find("\nRestarting Monitoring...\nIteration  Samples  Errors\n"));
    EXPECT_NE(std::string::npos, strLog.find("Complete.\n"));
    EXPECT_EQ(kDefaultOptimum, LaneTaps(0));
}

TEST_F(DfeSearchTest, CancelStopsEachProcedureAtItsNextAbortCheck)
{
    Open();
    int nChecks = 0;
    m_pSearch->fnCancelled = [&] { return ++nChecks >= 3; };
    SDfeScanParams params;
    EXPECT_EQ(1, m_pSearch->Scan(0, 0, params));
    const std::string strLog = m_pSearch->Log().toStdString();
    EXPECT_EQ(strLog.size() - std::string("\nAborted by user...\n").size(),
              strLog.rfind("\nAborted by user...\n"));
    EXPECT_EQ(3, std::count(strLog.begin(), strLog.end(), '\t') / 5)
        << "the head and two rows before the third check";

    nChecks = 0;
    SetLane(0, {8, 20, 6, 3, 1, 0});
    EXPECT_EQ(1, m_pSearch->Adjust(0, 0, SDfeAdjustParams{}));
    SDfeMonitorParams monitor;
    monitor.bAdjustOnFail = 1;
    monitor.ulFail = 1;
    nChecks = 1; // the monitor's first check passes, the adjust inside it is cancelled
    EXPECT_EQ(1, m_pSearch->Monitor(0, 0, monitor, SDfeAdjustParams{}));
    EXPECT_TRUE(m_pSearch->Log().endsWith(QStringLiteral("\nAborted by user...\n")));
}

TEST_F(DfeSearchTest, PortResetRestoresTheLaneDriveOfTheLanesOfThePort)
{
    Open("quadcfg=1"); // quadrant 0 arrangement 1: port 0 has lanes 0 and 1
    ASSERT_EQ(2u, m_table.ports[0].ulLanes);
    m_pAccess->writes.clear();
    m_pSearch->ResetPorts({0});
    std::vector<uint32_t> offsets;
    for (const auto& [ulOffset, ulValue] : m_pAccess->writes)
    {
        offsets.push_back(ulOffset);
    }
    EXPECT_EQ((std::vector<uint32_t>{serdes::kDeviceReset, serdes::kDeviceReset, serdes::LaneDrive(0),
                                     serdes::LaneDrive(1)}),
              offsets);
}

// The lane model's registers as the grid edits them.
TEST_F(DfeSearchTest, LaneModelGatesTheStrengthAndTakesTapsOnlyOnTheUpdate)
{
    Open();
    CDeviceAccess& a = *m_pAccess;
    uint32_t ulControl = 0;
    a.Read(serdes::LaneControl(3), &ulControl);
    a.Write(serdes::LaneControl(3), (ulControl & ~0x7E0u) | (5u << 5));
    uint32_t ulAfter = 0;
    a.Read(serdes::LaneControl(3), &ulAfter);
    EXPECT_EQ(ulControl, ulAfter) << "strength ignored without the write enable";
    a.Write(serdes::LaneDrive(3), 0x20000000);
    a.Write(serdes::LaneControl(3), (ulControl & ~0x7E0u) | (5u << 5));
    a.Read(serdes::LaneControl(3), &ulAfter);
    EXPECT_EQ(5u, (ulAfter >> 5) & 0x3F);

    // Taps written without the update have no effect on the errors.
    SetLane(3, {8, 31, 0, 0, 0, 0});
    const uint32_t ulFar = m_pSearch->CountErrors(0, 3, 100);
    EXPECT_GT(ulFar, 0u);
    a.Write(serdes::DfeTaps(3), EncodeTaps(0, kDefaultOptimum)); // bit 0 clear: no update
    EXPECT_EQ(ulFar, m_pSearch->CountErrors(0, 3, 100));
    a.Write(serdes::DfeTaps(3), EncodeTaps(kDfeUpdateBit, kDefaultOptimum));
    EXPECT_EQ(0u, m_pSearch->CountErrors(0, 3, 100));

    // Lane status 0 names the lane's port and place in it.
    uint32_t ulStatus = 0;
    a.Read(serdes::LaneErrorStatus(6), &ulStatus);
    EXPECT_EQ(1u, ulStatus >> 24);
    EXPECT_EQ(2u, (ulStatus >> 20) & 0xF);
}

TEST(Gen2LaneModelTest, ErrorRateRisesWithEveryStepFromTheOptimum)
{
    // Strictly rising, so that a hill climb always sees the better neighbour, and exact at the
    // scan thresholds the README works through.
    uint32_t d = 1;
    for (; CGen2Lanes::RateOfDistance(d - 1) < 15u * CGen2Lanes::kRateScale; ++d)
    {
        EXPECT_GT(CGen2Lanes::RateOfDistance(d), CGen2Lanes::RateOfDistance(d - 1)) << d;
    }
    EXPECT_EQ(0u, CGen2Lanes::RateOfDistance(0));
    EXPECT_LE(CGen2Lanes::RateOfDistance(15), 128u);
    EXPECT_GT(CGen2Lanes::RateOfDistance(16), 128u);
    EXPECT_LT(d, 30u) << "saturated well before the far corners of the tap ranges";
    EXPECT_EQ(15u * CGen2Lanes::kRateScale, CGen2Lanes::RateOfDistance(1000));

    std::string strError;
    for (const char* pszBad : {"dfeopt=8,12,6,3", "dfeopt=8,12,6,3,1,0", "dfeopt=16,12,6,3,1",
                               "dfeopt=8,12,6,3,x", "dfeopt=8,12,-16,3,1"})
    {
        EXPECT_FALSE(nvsim::LoadTopologyText(std::string("device sw switch model=cps1848 ") + pszBad + "\n",
                                             &strError))
            << pszBad;
        EXPECT_NE(std::string::npos, strError.find("dfeopt")) << strError;
    }
}
} // namespace
