#include "DfeSearch.h"

#include "UserInterface.h"

#include <QElapsedTimer>
#include <QTime>

#include <algorithm>
#include <cstdlib>

namespace
{
constexpr uint32_t kDfeControlWord = 0x7F000;
constexpr uint32_t kDfeControlEarly = 0x7F000;
constexpr uint32_t kDfeControlRev1 = 0x3F000;
constexpr uint32_t kCountLimit = 0x10000;
constexpr uint32_t kLaneErrorMask = 0x780; // bits 10..7
constexpr int kLaneErrorShift = 7;
constexpr uint32_t kSampleFlags = 0x3;
constexpr uint32_t kScanErrorRateEnable = 0x4E8015;
constexpr uint32_t kScanErrorRate = 0x30000;
constexpr uint32_t kScanLinkTimeout = 0xFF00;
constexpr int kResetDummyReads = 100;
const char* const kAborted = "\nAborted by user...\n";
const char* const kTableHead = "Tap0\tTap1\tTap2\tTap3\tTap4\tErrorCnt\n";

// The runs of good settings of one tap and the longest of them.
struct SWindows
{
    bool bInWindow = false;
    int32_t lStart = 0;
    uint32_t ulStartWord = 0;
    bool bBest = false;
    int32_t lBestStart = 0;
    int32_t lBestEnd = 0;
    uint32_t ulBestStartWord = 0;
    uint32_t ulBestEndWord = 0;

    void Close(int32_t lEnd, uint32_t ulEndWord)
    {
        bInWindow = false;
        if (!bBest || lEnd - lStart > lBestEnd - lBestStart)
        {
            bBest = true;
            lBestStart = lStart;
            lBestEnd = lEnd;
            ulBestStartWord = ulStartWord;
            ulBestEndWord = ulEndWord;
        }
    }
    // One setting measured: e errors against the limit; ulLastWord is the setting before it.
    void Take(int32_t lValue, uint32_t ulWord, uint32_t ulErrors, uint32_t ulLimit, int32_t lBy,
              uint32_t ulLastWord)
    {
        if (!bInWindow && ulErrors <= ulLimit)
        {
            bInWindow = true;
            lStart = lValue;
            ulStartWord = ulWord;
        }
        else if (bInWindow && ulErrors > ulLimit)
        {
            Close(lValue - lBy, ulLastWord);
        }
    }
};

bool InRange(int iTap, int32_t lValue)
{
    const SDfeTapField& f = DfeTapField(iTap);
    return lValue >= f.lMin && lValue <= f.lMax;
}

uint32_t SettingsOf(const SDfeScanTap& tap, int32_t lBy)
{
    return static_cast<uint32_t>((tap.lMax - tap.lMin) / lBy + 1);
}
} // namespace

CDfeSearch::CDfeSearch(ISerDesAccess& access, const SSerDesDeviceTable& table)
    : m_access(access), m_table(table)
{
}

uint32_t CDfeSearch::Read(uint32_t ulOffset)
{
    uint32_t ulValue = 0;
    m_access.Read(ulOffset, &ulValue);
    return ulValue;
}

void CDfeSearch::Write(uint32_t ulOffset, uint32_t ulValue)
{
    m_access.Write(ulOffset, ulValue);
}

uint32_t CDfeSearch::ReadTaps(uint32_t ulLane)
{
    return Read(serdes::DfeTaps(ulLane));
}

void CDfeSearch::Print(const QString& strText)
{
    m_strLog += strText;
    m_strPending += strText;
    qsizetype nEnd = 0;
    while ((nEnd = m_strPending.indexOf(QLatin1Char('\n'))) >= 0)
    {
        const QString strLine = m_strPending.left(nEnd);
        m_strPending.remove(0, nEnd + 1);
        if (fnLogLine)
        {
            fnLogLine(strLine);
        }
        else
        {
            UI().AppendWorkLog(strLine);
        }
    }
}

uint32_t CDfeSearch::MeasureSetting(uint32_t ulPort, uint32_t ulLane, uint32_t ulWord, uint32_t ulSamples)
{
    StepTaps(ulPort, ulLane, ulWord);
    ResetPorts({ulPort});
    CountErrors(ulPort, ulLane, 1);
    return CountErrors(ulPort, ulLane, ulSamples);
}

void CDfeSearch::PrintRow(const DfeTapValues& taps, uint32_t ulErrors)
{
    Print(QString::asprintf("%2d\t%2d\t%3d\t%2d\t%2d\t%d\n", taps[0], taps[1], taps[2], taps[3], taps[4],
                            static_cast<int>(ulErrors)));
}

void CDfeSearch::PrintTime()
{
    Print(fnTimeStamp ? fnTimeStamp()
                      : QTime::currentTime().toString(QStringLiteral("hh:mm AP")) + QLatin1Char('\n'));
}

bool CDfeSearch::AbortCheck()
{
    const bool bCancelled = fnCancelled ? fnCancelled() : UI().WorkCancelled();
    if (bCancelled)
    {
        Print(QString::fromLatin1(kAborted));
    }
    return bCancelled;
}

void CDfeSearch::Progress(uint32_t ulDone, uint32_t ulTotal)
{
    if (fnProgress)
    {
        fnProgress(ulDone, ulTotal);
    }
    else
    {
        UI().SetWorkCounts(QStringLiteral("%1 of %2").arg(ulDone).arg(ulTotal));
    }
}

uint32_t CDfeSearch::CountErrors(uint32_t ulPort, uint32_t ulLane, uint32_t n)
{
    (void)ulPort;
    uint32_t ulAcc = 0;
    for (uint32_t ulRound = n; ulRound > 0 && ulAcc < kCountLimit; --ulRound)
    {
        ulAcc += (Read(serdes::LaneErrorStatus(ulLane)) & kLaneErrorMask) >> kLaneErrorShift;
        if ((ulRound & 0xFF) == 0)
        {
            uint32_t ulSample = Read(serdes::LaneSample(ulLane));
            if (ulSample & kSampleFlags)
            {
                ulSample &= ~kSampleFlags;
                Write(serdes::LaneSample(ulLane), ulSample);
                ++ulAcc;
            }
        }
    }
    return ulAcc;
}

void CDfeSearch::PutTapRegister(uint32_t ulLane, uint32_t ulValue)
{
    Write(serdes::DfeTaps(ulLane), ulValue);
    Write(serdes::DfeTaps(ulLane), ulValue & ~kDfeUpdateBit);
    Write(serdes::DfeTaps(ulLane), ulValue | kDfeUpdateBit);
}

void CDfeSearch::StepTaps(uint32_t ulPort, uint32_t ulLane, uint32_t ulTarget)
{
    (void)ulPort;
    const uint32_t ulCurrent = Read(serdes::DfeTaps(ulLane));
    DfeRawTaps now = GetRawTaps(ulCurrent);
    const DfeRawTaps target = GetRawTaps(ulTarget);
    uint32_t ulSteps = 0;
    for (int i = 0; i < kDfeTapCount; ++i)
    {
        ulSteps =
            std::max(ulSteps, static_cast<uint32_t>(std::abs(static_cast<int64_t>(target[i]) - now[i])));
    }
    for (uint32_t s = 0; s < ulSteps; ++s)
    {
        for (int i = 0; i < kDfeTapCount; ++i)
        {
            if (now[i] < target[i])
            {
                ++now[i];
            }
            else if (now[i] > target[i])
            {
                --now[i];
            }
        }
        PutTapRegister(ulLane, PutRawTaps(ulCurrent, now));
    }
}

void CDfeSearch::EnableDFE(uint32_t ulPort, uint32_t ulLane)
{
    const uint32_t ulControl = Read(serdes::DfeControl(ulLane));
    const uint32_t ulTaps = Read(serdes::DfeTaps(ulLane));
    const uint16_t wDevice = static_cast<uint16_t>(Read(serdes::kDeviceIdentity) >> 16);
    const uint32_t ulRevision = (Read(serdes::kDeviceInfo) >> 16) & 0xFF;
    uint32_t ulWanted = kDfeControlEarly;
    if (ulRevision == 1 && (wDevice == 0x374 || wDevice == 0x377 || wDevice == 0x378 || wDevice == 0x379))
    {
        ulWanted = kDfeControlRev1;
    }
    if ((ulControl & kDfeControlWord) == ulWanted && (ulTaps & kDfeUpdateBit))
    {
        return;
    }
    Print(QString::asprintf("\nEnabling DFE control on port %d lane %d", static_cast<int>(ulPort),
                            static_cast<int>(ulLane)));
    Write(serdes::DfeControl(ulLane), (ulControl & ~kDfeControlWord) | ulWanted);
    Write(serdes::DfeTaps(ulLane), ulTaps | kDfeUpdateBit);
    StepTaps(ulPort, ulLane, EncodeTaps(ulTaps | kDfeUpdateBit, DfeTapValues{}));
    Print(QString::asprintf("\nResetting Port %d\n", static_cast<int>(ulPort)));
    ResetPorts({ulPort});
    CountErrors(ulPort, ulLane, 1);
}

void CDfeSearch::ResetPorts(const std::vector<uint32_t>& ports)
{
    std::vector<std::pair<uint32_t, uint32_t>> drives;
    uint32_t ulMask = 0;
    for (uint32_t ulPort : ports)
    {
        if (ulPort < m_table.ports.size())
        {
            const SSerDesPort& port = m_table.ports[ulPort];
            for (uint32_t l = port.ulFirstLane; l < port.ulFirstLane + port.ulLanes; ++l)
            {
                drives.emplace_back(serdes::LaneDrive(l), Read(serdes::LaneDrive(l)));
            }
        }
        ulMask |= 1u << ulPort;
    }
    Write(serdes::kDeviceReset, ulMask);
    Write(serdes::kDeviceReset, ulMask | serdes::kDoReset);
    for (int i = 0; i < kResetDummyReads; ++i)
    {
        Read(serdes::kDeviceIdentity);
    }
    for (const auto& [ulOffset, ulValue] : drives)
    {
        Write(ulOffset, ulValue);
    }
}

int CDfeSearch::Scan(uint32_t ulPort, uint32_t ulLane, const SDfeScanParams& params)
{
    return params.ulMode == 0 ? ScanRatio(ulPort, ulLane, params) : ScanOneAtATime(ulPort, ulLane, params);
}

int CDfeSearch::ScanRatio(uint32_t ulPort, uint32_t ulLane, const SDfeScanParams& params)
{
    const int32_t r = params.ulRatio ? static_cast<int32_t>(params.ulRatio) : 1;
    EnableDFE(ulPort, ulLane);
    const uint32_t ulBase = Read(serdes::DfeTaps(ulLane)) | kDfeUpdateBit;
    DfeTapValues start = DecodeTaps(ulBase);
    std::fill(start.begin() + 1, start.end(), 0);
    StepTaps(ulPort, ulLane, EncodeTaps(ulBase, start));

    Write(serdes::PortErrorRateEnable(ulPort), kScanErrorRateEnable);
    Write(serdes::PortErrorRate(ulPort), kScanErrorRate);
    Write(serdes::PortErrorThreshold(ulPort), 0);
    Write(serdes::kLinkTimeout, kScanLinkTimeout);
    PrintTime();
    Print(QStringLiteral("\n"));

    SDfeScanTap tap0 = params.aTaps[0];
    SDfeScanTap tap1 = params.aTaps[1];
    for (SDfeScanTap* pTap : {&tap0, &tap1})
    {
        if (pTap->lMin == pTap->lMax && pTap->lDelta == 0)
        {
            pTap->lDelta = 1;
        }
    }
    // A step of 0 over a range would never end; the dialog and the command line refuse it.
    const int32_t lBy0 = std::max(tap0.lDelta, 1);
    const int32_t lBy1 = std::max(tap1.lDelta, 1);
    Print(QString::fromLatin1(kTableHead));
    const uint32_t ulTotal = SettingsOf(tap0, lBy0) * SettingsOf(tap1, lBy1);
    uint32_t ulDone = 0;
    Progress(0, ulTotal);

    SWindows windows;
    uint32_t ulLastWord = ulBase;
    for (int32_t t0 = tap0.lMin; t0 <= tap0.lMax; t0 += lBy0)
    {
        windows.bInWindow = false;
        int32_t lLast = tap1.lMin;
        for (int32_t t1 = tap1.lMin; t1 <= tap1.lMax; t1 += lBy1)
        {
            const DfeTapValues taps = {t0, t1, t1 / r, t1 / r / r, t1 / r / r / r, 0};
            const uint32_t ulWord = EncodeTaps(ulBase, taps);
            const uint32_t e = MeasureSetting(ulPort, ulLane, ulWord, params.ulSamples);
            if (AbortCheck())
            {
                return 1;
            }
            PrintRow(taps, e);
            Progress(++ulDone, ulTotal);
            windows.Take(t1, ulWord, e, tap1.ulMaxErrs, lBy1, ulLastWord);
            ulLastWord = ulWord;
            lLast = t1;
        }
        if (windows.bInWindow)
        {
            windows.Close(lLast, ulLastWord);
        }
    }
    if (windows.bBest)
    {
        Print(QStringLiteral("\nBEST RATIO SCAN TAP VALUES FOUND:\n"));
        const DfeTapValues a = DecodeTaps(windows.ulBestStartWord);
        const DfeTapValues b = DecodeTaps(windows.ulBestEndWord);
        DfeTapValues best{};
        for (int i = 0; i < kDfeTapCount; ++i)
        {
            best[i] = (a[i] + b[i]) / 2;
        }
        PrintRow(best, 0);
        StepTaps(ulPort, ulLane, EncodeTaps(ulBase, best));
        ResetPorts({ulPort});
        CountErrors(ulPort, ulLane, 1);
    }
    else
    {
        Print(QStringLiteral("\nNO GOOD TAP VALUES FOUND...\n"));
    }
    Print(QStringLiteral("\n"));
    PrintTime();
    return 0;
}

int CDfeSearch::ScanOneAtATime(uint32_t ulPort, uint32_t ulLane, const SDfeScanParams& params)
{
    EnableDFE(ulPort, ulLane);
    const uint32_t ulBase = Read(serdes::DfeTaps(ulLane)) | kDfeUpdateBit;
    DfeTapValues taps = DecodeTaps(ulBase);
    if (params.bClearTaps == 0)
    {
        taps = DfeTapValues{};
        taps[0] = (params.aTaps[0].lMin + params.aTaps[0].lMax) / 2;
        StepTaps(ulPort, ulLane, EncodeTaps(ulBase, taps));
    }
    PrintTime();
    Print(QString::fromLatin1(kTableHead));

    int32_t alBy[5] = {};
    uint32_t ulTotal = 0;
    for (int k = 1; k < 5; ++k)
    {
        const SDfeScanTap& tap = params.aTaps[k];
        alBy[k] = tap.lDelta > 0 ? tap.lDelta : 1;
        ulTotal += SettingsOf(tap, alBy[k]);
    }
    uint32_t ulDone = 0;
    Progress(0, ulTotal);

    for (int k = 1; k < 5; ++k)
    {
        const SDfeScanTap& tap = params.aTaps[k];
        SWindows windows;
        uint32_t ulLastWord = EncodeTaps(ulBase, taps);
        for (int32_t v = tap.lMin; v <= tap.lMax; v += alBy[k])
        {
            taps[k] = v;
            const uint32_t ulWord = EncodeTaps(ulBase, taps);
            const uint32_t e = MeasureSetting(ulPort, ulLane, ulWord, params.ulSamples);
            if (AbortCheck())
            {
                return 1;
            }
            PrintRow(taps, e);
            Progress(++ulDone, ulTotal);
            windows.Take(v, ulWord, e, tap.ulMaxErrs, alBy[k], ulLastWord);
            ulLastWord = ulWord;
        }
        if (windows.bInWindow)
        {
            windows.Close(tap.lMax, ulLastWord);
        }
        taps[k] = windows.bBest
                      ? (DecodeTaps(windows.ulBestStartWord)[k] + DecodeTaps(windows.ulBestEndWord)[k]) / 2
                      : (tap.lMin + tap.lMax) / 2;
    }
    Print(QStringLiteral("\nBEST ONE-AT-A-TIME TAP VALUES FOUND:\n"));
    PrintRow(taps, 0);
    StepTaps(ulPort, ulLane, EncodeTaps(ulBase, taps));
    ResetPorts({ulPort});
    CountErrors(ulPort, ulLane, 1);
    Print(QStringLiteral("\n"));
    PrintTime();
    return 0;
}

int CDfeSearch::Adjust(uint32_t ulPort, uint32_t ulLane, const SDfeAdjustParams& params)
{
    EnableDFE(ulPort, ulLane);
    const uint32_t ulCount = std::min<uint32_t>(params.ulCount, 5);
    uint32_t d[5] = {};
    std::copy(std::begin(params.auDelta), std::end(params.auDelta), d);
    const uint32_t ulBase = Read(serdes::DfeTaps(ulLane)) | kDfeUpdateBit;
    DfeTapValues best = DecodeTaps(ulBase);
    DfeTapValues work = best;

    uint32_t ber = CountErrors(ulPort, ulLane, params.ulSamples);
    if (ber != 0)
    {
        Print(QStringLiteral("\nIter\tSeq\tTap\t") + QString::fromLatin1(kTableHead));
    }
    uint32_t iter = 0;
    bool bDone = false;
    Progress(0, params.ulIterations);
    while (iter < params.ulIterations && ber != 0 && !bDone)
    {
        bool bChanged = false;
        for (uint32_t s = 0; s < ulCount && ber != 0; ++s)
        {
            const int t = static_cast<int>(std::min<uint32_t>(params.auSeq[s], kDfeShownTaps - 1));
            if (d[s] == 0)
            {
                continue;
            }
            const int32_t lDelta = static_cast<int32_t>(d[s]);
            int choice = 1;
            for (int iSide = 0; iSide < 2; ++iSide)
            {
                const int32_t lCandidate = iSide == 0 ? best[t] - lDelta : best[t] + lDelta;
                if (!InRange(t, lCandidate))
                {
                    continue;
                }
                work[t] = lCandidate;
                StepTaps(ulPort, ulLane, EncodeTaps(ulBase, work));
                const uint32_t e = CountErrors(ulPort, ulLane, params.ulSamples);
                if (AbortCheck())
                {
                    return 1;
                }
                Print(QString::asprintf("%4d\t%2d\t%2d\t", static_cast<int>(iter), static_cast<int>(s), t));
                PrintRow(work, e);
                if (e < ber)
                {
                    ber = e;
                    choice = iSide == 0 ? 0 : 2;
                }
            }
            if (choice != 1)
            {
                best[t] += (choice - 1) * lDelta;
                if (!InRange(t, best[t]))
                {
                    Print(QString::asprintf(
                        "\nERROR: tested a tap value out of range, iter %d tap %d delta %d value %d",
                        static_cast<int>(iter), t, lDelta, best[t]));
                }
                bChanged = true;
                Print(QString::asprintf("C%4d\t%2d\t%2d\t", static_cast<int>(iter), static_cast<int>(s), t));
                PrintRow(best, ber);
            }
            work = best;
        }
        if (!bChanged)
        {
            bDone = true;
            for (uint32_t& ulDelta : d)
            {
                if (ulDelta != 0)
                {
                    --ulDelta;
                }
            }
            for (uint32_t ulDelta : d)
            {
                if (ulDelta != 0)
                {
                    bDone = false;
                }
            }
        }
        ++iter;
        Progress(iter, params.ulIterations);
    }
    Print(QString::asprintf("\nAdjustment complete, final BER count: %ld\n", static_cast<long>(ber)));
    return 0;
}

int CDfeSearch::Monitor(uint32_t ulPort, uint32_t ulLane, SDfeMonitorParams& params,
                        const SDfeAdjustParams& adjust)
{
    Print(QString::asprintf(
        "\nMonitoring Port %d Lane %d\n\nSamples:\t\t%d\nLeak:\t\t%d\nFail:\t\t%ld\nIterations:\t%d\n",
        static_cast<int>(ulPort), static_cast<int>(ulLane), static_cast<int>(params.ulSamples),
        static_cast<int>(params.ulLeak), static_cast<long>(params.ulFail),
        static_cast<int>(params.ulIterations)));
    Print(QStringLiteral("\nIteration  Samples  Errors\n"));
    EnableDFE(ulPort, ulLane);
    CountErrors(ulPort, ulLane, 1);
    const bool bForever = params.ulIterations == kDfeMonitorForever;
    Progress(0, params.ulIterations);
    for (uint32_t iter = 0; bForever || iter < params.ulIterations;)
    {
        for (uint32_t s = 0; s < params.ulSamples; ++s)
        {
            Print(QString::asprintf("%d\t%d\t%d\n", static_cast<int>(iter), static_cast<int>(s),
                                    static_cast<int>(params.ulCurErrs)));
            params.ulCurErrs += CountErrors(ulPort, ulLane, 1);
            if (AbortCheck())
            {
                return 1;
            }
            if (params.ulCurErrs >= params.ulFail)
            {
                Print(QString::asprintf("%d\t%d\t%d\tFailed!\n", static_cast<int>(iter + 1),
                                        static_cast<int>(s), static_cast<int>(params.ulCurErrs)));
                if (!params.bAdjustOnFail)
                {
                    return 0;
                }
                Print(QStringLiteral("Starting Adjustment...\n"));
                if (Adjust(ulPort, ulLane, adjust) != 0)
                {
                    return 1;
                }
                Print(QStringLiteral("\nRestarting Monitoring...\nIteration  Samples  Errors\n"));
                params.ulCurErrs = 0;
            }
        }
        params.ulCurErrs = params.ulCurErrs > params.ulLeak ? params.ulCurErrs - params.ulLeak : 0;
        ++iter;
        if (params.bPrintEach)
        {
            Print(QString::asprintf("%d\t%d\t%d\n", static_cast<int>(iter),
                                    static_cast<int>(params.ulSamples), static_cast<int>(params.ulCurErrs)));
        }
        Progress(iter, params.ulIterations);
    }
    Print(QStringLiteral("Complete.\n"));
    return 0;
}

double MeasureDfeSamplePeriod(ISerDesAccess& access, uint32_t ulLane, uint32_t ulMilliseconds)
{
    QElapsedTimer timer;
    timer.start();
    uint64_t n = 0;
    uint32_t ulValue = 0;
    while (timer.elapsed() < static_cast<qint64>(ulMilliseconds) || n == 0)
    {
        access.Read(serdes::LaneSample(ulLane), &ulValue);
        ++n;
    }
    return static_cast<double>(timer.elapsed()) / static_cast<double>(n) / 1000.0;
}

QString DfeWorkTitle(EDfeProcedure eProcedure, uint32_t ulPort, uint32_t ulLane)
{
    const char* pszName = eProcedure == EDfeProcedure::Scan      ? "Scan"
                          : eProcedure == EDfeProcedure::Monitor ? "Monitor"
                                                                 : "Adjust";
    return QString::asprintf("DFE %s Search - Port %d, Lane %d", pszName, static_cast<int>(ulPort),
                             static_cast<int>(ulLane));
}

QString DfeWorkText(EDfeProcedure eProcedure)
{
    const char* pszName = eProcedure == EDfeProcedure::Scan      ? "Scan"
                          : eProcedure == EDfeProcedure::Monitor ? "Monitor"
                                                                 : "Adjust";
    return QString::asprintf("Performing DFE %s Search.  This is a lengthy process. Please be patient.",
                             pszName);
}
