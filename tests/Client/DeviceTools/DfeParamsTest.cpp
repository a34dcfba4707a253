// The DFE dialogs' sums and checks, and the preference keys they remember their input under.
#include "DfeParams.h"

#include "Preferences.h"

#include <gtest/gtest.h>

namespace
{
TEST(DfeParamsTest, BerToSamplesAndTheScanEstimates)
{
    // 1 in 10^9 bits at 3.125 Gbaud is 0.32 s; at 100 us a sample that is 3200 samples.
    EXPECT_EQ(3200u, DfeBerToSamples({1, 9}, 3125, 0.0001));
    // An unknown speed counts as 1250 MHz; the result is rounded.
    EXPECT_EQ(8000u, DfeBerToSamples({1, 9}, 0, 0.0001));
    EXPECT_EQ(3u, DfeBerToSamples({5, 7}, 1250, 0.015));
    EXPECT_EQ(0u, DfeBerToSamples({1, 9}, 3125, 0));

    SDfeScanParams params; // tap 0: 8..8 by 1 (1 setting), tap 1: 0..31 by 1 (32 settings)
    EXPECT_DOUBLE_EQ(32 * 0.32, DfeRatioScanSeconds(params, {1, 9}, 3125));
    // One at a time: (0 + 31 + 15 + 7 + 3) settings' worth.
    EXPECT_DOUBLE_EQ(56 * 0.32, DfeOneAtATimeSeconds(params, {1, 9}, 3125));
    EXPECT_EQ("Time = 10.240000 seconds", DfeTimeText(10.24).toStdString());
}

TEST(DfeParamsTest, ScanCheckTakesTheTapsInOrderWithItsTexts)
{
    SDfeScanEntry entry = LoadDfeScanEntry();
    SDfeScanParams params;
    QString strError;
    ASSERT_TRUE(CheckDfeScanEntry(entry, &params, &strError));
    EXPECT_EQ(128u, params.aTaps[1].ulMaxErrs);

    struct SCase
    {
        int iTap;
        const char* pszFrom;
        const char* pszTo;
        const char* pszBy;
        const char* pszMax;
        const char* pszError;
    };
    const SCase cases[] = {
        {2, "-16", "15", "1", "64", "Please enter an integer value between -15 and 15"},
        {1, "0", "32", "1", "64", "Please enter an integer value between 0 and 31"},
        {3, "x", "7", "1", "64", "Please enter an integer value between -7 and 7"},
        {4, "3", "1", "1", "16", "Max must not be less than Min"},
        {1, "0", "31", "0", "16", "Please enter an integer value greater than 1"},
        {0, "8", "8", "1", "zz", ""},
    };
    for (const SCase& c : cases)
    {
        SDfeScanEntry bad = entry;
        bad.astrFrom[c.iTap] = c.pszFrom;
        bad.astrTo[c.iTap] = c.pszTo;
        bad.astrBy[c.iTap] = c.pszBy;
        bad.astrMaxErrs[c.iTap] = c.pszMax;
        SDfeScanParams untouched;
        untouched.aTaps[1].lMax = 20;
        EXPECT_FALSE(CheckDfeScanEntry(bad, &untouched, &strError)) << c.pszError;
        EXPECT_EQ(c.pszError, strError.toStdString());
        EXPECT_EQ(20, untouched.aTaps[1].lMax) << "a failed check changes nothing";
    }
    // Max Errs by the number rule: bare digits decimal, an h tail hexadecimal.
    entry.astrMaxErrs[1] = "40h";
    entry.bClearTaps = true;
    ASSERT_TRUE(CheckDfeScanEntry(entry, &params, &strError));
    EXPECT_EQ(0x40u, params.aTaps[1].ulMaxErrs);
    EXPECT_EQ(1u, params.bClearTaps);
}

TEST(DfeParamsTest, AdjustCheckPacksTheEnabledRowsInOrder)
{
    SDfeAdjustEntry entry;
    entry.abEnable[0] = false;
    entry.abEnable[4] = true;
    entry.auTap[4] = 0;
    entry.astrDelta[2] = "2";
    entry.astrDelta[4] = "3";
    SDfeAdjustParams params;
    QString strError;
    ASSERT_TRUE(CheckDfeAdjustEntry(entry, &params, &strError));
    EXPECT_EQ(4u, params.ulCount);
    EXPECT_EQ((std::vector<uint32_t>{2, 3, 4, 0}), std::vector<uint32_t>(params.auSeq, params.auSeq + 4));
    EXPECT_EQ((std::vector<uint32_t>{1, 2, 1, 3}), std::vector<uint32_t>(params.auDelta, params.auDelta + 4));

    entry.astrDelta[3] = "nope";
    EXPECT_FALSE(CheckDfeAdjustEntry(entry, &params, &strError));
    EXPECT_TRUE(strError.isEmpty());
}

TEST(DfeParamsTest, DialogsRememberTheirInputButTheMonitorsIterations)
{
    SDfeScanEntry scan = LoadDfeScanEntry();
    scan.astrTo[1] = "20";
    scan.ber = {5, 11};
    StoreDfeScanEntry(scan);
    EXPECT_EQ("20", LoadDfeScanEntry().astrTo[1].toStdString());
    EXPECT_EQ(11u, LoadDfeScanEntry().ber.ulExp);

    SDfeMonitorEntry monitor = LoadDfeMonitorEntry();
    monitor.ulIterations = 9;
    monitor.ulLeak = 3;
    StoreDfeMonitorEntry(monitor);
    EXPECT_EQ(3u, LoadDfeMonitorEntry().ulLeak);
    EXPECT_EQ(5u, LoadDfeMonitorEntry().ulIterations) << "written under another key than it is read";
    EXPECT_EQ(9u, GetPreference(QStringLiteral("Preferences"), QStringLiteral("IDT_DFE_MON_Iterations"), 0u));

    SDfeAdjustEntry adjust = LoadDfeAdjustEntry();
    adjust.abEnable[1] = false;
    adjust.astrDelta[0] = "4";
    StoreDfeAdjustEntry(adjust);
    EXPECT_FALSE(LoadDfeAdjustEntry().abEnable[1]);
    EXPECT_EQ("4", LoadDfeAdjustEntry().astrDelta[0].toStdString());
}
} // namespace
