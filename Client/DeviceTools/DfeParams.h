// The parameter blocks of the three DFE procedures, with their defaults, the preference keys that
// remember each dialog's last input, the dialogs' checks, and the sums behind their estimates.
#pragma once

#include <QString>

#include <cstdint>

// One tap's scan range and the errors a setting may show and still count as good.
struct SDfeScanTap
{
    int32_t lMin;
    int32_t lMax;
    int32_t lDelta;
    uint32_t ulMaxErrs;
};

struct SDfeScanParams
{
    uint32_t ulRatio = 2;
    uint32_t ulMode = 0; // 0 ratio, 1 one-at-a-time
    // 0 (the box "Clear Taps at Start" not ticked) starts a one-at-a-time scan from tap 0 in the
    // middle of its range and the others 0; ticked, the scan starts from what the lane holds.
    uint32_t bClearTaps = 0;
    uint32_t ulSamples = 4096;
    SDfeScanTap aTaps[5] = {{8, 8, 1, 256}, {0, 31, 1, 128}, {0, 15, 1, 64}, {0, 7, 1, 32}, {0, 3, 1, 16}};
};

struct SDfeMonitorParams
{
    uint32_t ulCurErrs = 0;
    uint32_t ulSamples = 4096;
    uint32_t ulLeak = 1;
    uint32_t ulFail = 5;
    uint32_t ulIterations = 5; // 0xFFFFFFFF: for ever
    uint32_t bAdjustOnFail = 0;
    uint32_t bPrintEach = 1;
};
constexpr uint32_t kDfeMonitorForever = 0xFFFFFFFF;

struct SDfeAdjustParams
{
    uint32_t ulSamples = 1000;
    uint32_t aulUnused[2] = {0, 0};
    uint32_t ulIterations = 4;
    uint32_t ulCount = 4; // entries of auSeq and auDelta in use
    uint32_t auSeq[5] = {1, 2, 3, 4, 0};
    uint32_t auDelta[5] = {1, 1, 1, 1, 0};
};

// A bit error rate of 1 in N x 10^E bits.
struct SDfeBer
{
    uint32_t ulInt = 1;
    uint32_t ulExp = 9;
};

// The speed used for the sums when the port's speed can't be read.
constexpr uint32_t kDfeDefaultSpeedMHz = 1250;

// Sample periods that cover N x 10^E bits at the port's speed: truncate(bits / R / T + 0.5), R the
// speed in bits per second and T the sample period in seconds.
uint32_t DfeBerToSamples(const SDfeBer& ber, uint32_t ulSpeedMHz, double dSampleSeconds);
// The Scan dialog's two estimates in seconds: for the ratio search and for one at a time.
double DfeRatioScanSeconds(const SDfeScanParams& params, const SDfeBer& ber, uint32_t ulSpeedMHz);
double DfeOneAtATimeSeconds(const SDfeScanParams& params, const SDfeBer& ber, uint32_t ulSpeedMHz);
// "Time = %f seconds".
QString DfeTimeText(double dSeconds);

// The dialogs' fields as typed, for the checks and the preference store.
struct SDfeScanEntry
{
    SDfeBer ber;
    bool bClearTaps = false;
    QString astrFrom[5], astrTo[5], astrBy[5], astrMaxErrs[5];
};
struct SDfeMonitorEntry
{
    SDfeBer ber{1, 12};
    uint32_t ulLeak = 1;
    uint32_t ulFail = 5;
    uint32_t ulIterations = 5;
};
struct SDfeAdjustEntry
{
    SDfeBer ber;
    uint32_t ulIterations = 4;
    bool abEnable[5] = {true, true, true, true, false};
    uint32_t auTap[5] = {1, 2, 3, 4, 0};
    QString astrDelta[5] = {"1", "1", "1", "1", "0"};
};

// The last input of each dialog from section "Preferences", with the blocks' defaults.
SDfeScanEntry LoadDfeScanEntry();
SDfeMonitorEntry LoadDfeMonitorEntry();
SDfeAdjustEntry LoadDfeAdjustEntry();
void StoreDfeScanEntry(const SDfeScanEntry& entry);
// Writes the iterations under "IDT_DFE_MON_Iterations", which the load never reads: a person's
// iterations are thus not remembered, as has always been the case.
void StoreDfeMonitorEntry(const SDfeMonitorEntry& entry);
void StoreDfeAdjustEntry(const SDfeAdjustEntry& entry);

// The Scan dialog's check, tap by tap: false with the message box text in *pstrError ("" when the
// check ended quietly on a Max Errs that isn't a number). On success the ranges go into *pParams.
bool CheckDfeScanEntry(const SDfeScanEntry& entry, SDfeScanParams* pParams, QString* pstrError);
// The Adjust dialog's check: the enabled rows' deltas by the number rule; on success the
// enabled rows fill auSeq and auDelta in row order and ulCount counts them.
bool CheckDfeAdjustEntry(const SDfeAdjustEntry& entry, SDfeAdjustParams* pParams, QString* pstrError);
// Caption of the checks' message boxes.
constexpr const char* kDfeInvalidValueCaption = "Invalid value.";
