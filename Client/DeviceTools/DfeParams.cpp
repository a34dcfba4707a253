#include "DfeParams.h"

#include "DfeTaps.h"
#include "NumberText.h"
#include "Preferences.h"

#include <cmath>

namespace
{
const QString kSection = QStringLiteral("Preferences");

double Bits(const SDfeBer& ber)
{
    return static_cast<double>(ber.ulInt) * std::pow(10.0, static_cast<double>(ber.ulExp));
}

double Rate(uint32_t ulSpeedMHz)
{
    return static_cast<double>(ulSpeedMHz ? ulSpeedMHz : kDfeDefaultSpeedMHz) * 1000000.0;
}

QString Key(const char* pszFormat, int i)
{
    return QString::asprintf(pszFormat, i);
}

int32_t Settings(const SDfeScanTap& tap)
{
    return tap.lDelta ? (tap.lMax - tap.lMin + 1) / tap.lDelta : 0;
}

bool Integer(const QString& strText, int32_t* plValue)
{
    bool bOk = false;
    *plValue = strText.trimmed().toInt(&bOk, 10);
    return bOk;
}
} // namespace

uint32_t DfeBerToSamples(const SDfeBer& ber, uint32_t ulSpeedMHz, double dSampleSeconds)
{
    if (dSampleSeconds <= 0)
    {
        return 0;
    }
    const double dSamples = Bits(ber) / Rate(ulSpeedMHz) / dSampleSeconds + 0.5;
    return dSamples >= 4294967295.0 ? 0xFFFFFFFFu : static_cast<uint32_t>(dSamples);
}

double DfeRatioScanSeconds(const SDfeScanParams& params, const SDfeBer& ber, uint32_t ulSpeedMHz)
{
    return static_cast<double>(Settings(params.aTaps[1])) * static_cast<double>(Settings(params.aTaps[0])) *
           (Bits(ber) / Rate(ulSpeedMHz));
}

double DfeOneAtATimeSeconds(const SDfeScanParams& params, const SDfeBer& ber, uint32_t ulSpeedMHz)
{
    double dSettings = 0;
    for (const SDfeScanTap& tap : params.aTaps)
    {
        dSettings += tap.lDelta ? static_cast<double>((tap.lMax - tap.lMin) / tap.lDelta) : 0.0;
    }
    return dSettings * (Bits(ber) / Rate(ulSpeedMHz));
}

QString DfeTimeText(double dSeconds)
{
    return QString::asprintf("Time = %f seconds", dSeconds);
}

SDfeScanEntry LoadDfeScanEntry()
{
    const SDfeScanParams defaults;
    SDfeScanEntry entry;
    entry.ber.ulInt = GetPreference(kSection, QStringLiteral("IDT_DFE_Scan_BER_Int"), entry.ber.ulInt);
    entry.ber.ulExp = GetPreference(kSection, QStringLiteral("IDT_DFE_Scan_BER_Exp"), entry.ber.ulExp);
    entry.bClearTaps = GetPreference(kSection, QStringLiteral("IDT_DFE_Scan_ClearTaps"), 0u) != 0;
    for (int i = 0; i < 5; ++i)
    {
        const SDfeScanTap& tap = defaults.aTaps[i];
        entry.astrFrom[i] = GetPreference(kSection, Key("IDT_DFE_Scan_Min%d", i), QString::number(tap.lMin));
        entry.astrTo[i] = GetPreference(kSection, Key("IDT_DFE_Scan_Max%d", i), QString::number(tap.lMax));
        entry.astrBy[i] =
            GetPreference(kSection, Key("IDT_DFE_Scan_Delta%d", i), QString::number(tap.lDelta));
        entry.astrMaxErrs[i] =
            GetPreference(kSection, Key("IDT_DFE_Scan_MaxErrs%d", i), QString::number(tap.ulMaxErrs));
    }
    return entry;
}

void StoreDfeScanEntry(const SDfeScanEntry& entry)
{
    SetPreference(kSection, QStringLiteral("IDT_DFE_Scan_BER_Int"), entry.ber.ulInt);
    SetPreference(kSection, QStringLiteral("IDT_DFE_Scan_BER_Exp"), entry.ber.ulExp);
    SetPreference(kSection, QStringLiteral("IDT_DFE_Scan_ClearTaps"), entry.bClearTaps ? 1u : 0u);
    for (int i = 0; i < 5; ++i)
    {
        SetPreference(kSection, Key("IDT_DFE_Scan_Min%d", i), entry.astrFrom[i]);
        SetPreference(kSection, Key("IDT_DFE_Scan_Max%d", i), entry.astrTo[i]);
        SetPreference(kSection, Key("IDT_DFE_Scan_Delta%d", i), entry.astrBy[i]);
        SetPreference(kSection, Key("IDT_DFE_Scan_MaxErrs%d", i), entry.astrMaxErrs[i]);
    }
}

SDfeMonitorEntry LoadDfeMonitorEntry()
{
    SDfeMonitorEntry entry;
    entry.ber.ulInt = GetPreference(kSection, QStringLiteral("IDT_DFE_Mon_BER_Int"), entry.ber.ulInt);
    entry.ber.ulExp = GetPreference(kSection, QStringLiteral("IDT_DFE_Mon_BER_Exp"), entry.ber.ulExp);
    entry.ulIterations =
        GetPreference(kSection, QStringLiteral("IDT_DFE_Mon_Iterations"), entry.ulIterations);
    entry.ulLeak = GetPreference(kSection, QStringLiteral("IDT_DFE_Mon_LeakRate"), entry.ulLeak);
    entry.ulFail = GetPreference(kSection, QStringLiteral("IDT_DFE_Mon_MaxErrCount"), entry.ulFail);
    return entry;
}

void StoreDfeMonitorEntry(const SDfeMonitorEntry& entry)
{
    SetPreference(kSection, QStringLiteral("IDT_DFE_Mon_BER_Int"), entry.ber.ulInt);
    SetPreference(kSection, QStringLiteral("IDT_DFE_Mon_BER_Exp"), entry.ber.ulExp);
    SetPreference(kSection, QStringLiteral("IDT_DFE_MON_Iterations"), entry.ulIterations);
    SetPreference(kSection, QStringLiteral("IDT_DFE_Mon_LeakRate"), entry.ulLeak);
    SetPreference(kSection, QStringLiteral("IDT_DFE_Mon_MaxErrCount"), entry.ulFail);
}

SDfeAdjustEntry LoadDfeAdjustEntry()
{
    SDfeAdjustEntry entry;
    entry.ber.ulInt = GetPreference(kSection, QStringLiteral("IDT_DFE_Adj_BER_Int"), entry.ber.ulInt);
    entry.ber.ulExp = GetPreference(kSection, QStringLiteral("IDT_DFE_Adj_BER_Exp"), entry.ber.ulExp);
    entry.ulIterations =
        GetPreference(kSection, QStringLiteral("IDT_DFE_Adj_Iterations"), entry.ulIterations);
    for (int i = 0; i < 5; ++i)
    {
        entry.abEnable[i] =
            GetPreference(kSection, Key("IDT_DFE_Adj_Enable%d", i), entry.abEnable[i] ? 1u : 0u) != 0;
        entry.auTap[i] = GetPreference(kSection, Key("IDT_DFE_Adj_Tap%d", i), entry.auTap[i]);
        entry.astrDelta[i] = GetPreference(kSection, Key("IDT_DFE_Adj_Delta%d", i), entry.astrDelta[i]);
    }
    return entry;
}

void StoreDfeAdjustEntry(const SDfeAdjustEntry& entry)
{
    SetPreference(kSection, QStringLiteral("IDT_DFE_Adj_BER_Int"), entry.ber.ulInt);
    SetPreference(kSection, QStringLiteral("IDT_DFE_Adj_BER_Exp"), entry.ber.ulExp);
    SetPreference(kSection, QStringLiteral("IDT_DFE_Adj_Iterations"), entry.ulIterations);
    for (int i = 0; i < 5; ++i)
    {
        SetPreference(kSection, Key("IDT_DFE_Adj_Enable%d", i), entry.abEnable[i] ? 1u : 0u);
        SetPreference(kSection, Key("IDT_DFE_Adj_Tap%d", i), entry.auTap[i]);
        SetPreference(kSection, Key("IDT_DFE_Adj_Delta%d", i), entry.astrDelta[i]);
    }
}

bool CheckDfeScanEntry(const SDfeScanEntry& entry, SDfeScanParams* pParams, QString* pstrError)
{
    SDfeScanParams params = *pParams;
    for (int i = 0; i < 5; ++i)
    {
        const SDfeTapField& field = DfeTapField(i);
        const QString strRange =
            QString::asprintf("Please enter an integer value between %d and %d", field.lMin, field.lMax);
        SDfeScanTap& tap = params.aTaps[i];
        if (!Integer(entry.astrFrom[i], &tap.lMin) || tap.lMin < field.lMin || tap.lMin > field.lMax ||
            !Integer(entry.astrTo[i], &tap.lMax) || tap.lMax < field.lMin || tap.lMax > field.lMax)
        {
            *pstrError = strRange;
            return false;
        }
        if (tap.lMax < tap.lMin)
        {
            *pstrError = QStringLiteral("Max must not be less than Min");
            return false;
        }
        if (!Integer(entry.astrBy[i], &tap.lDelta) || tap.lDelta < 1)
        {
            *pstrError = QStringLiteral("Please enter an integer value greater than 1");
            return false;
        }
        uint64_t ulMaxErrs = 0;
        if (!NumberFromText(entry.astrMaxErrs[i], 0xFFFFFFFFu, &ulMaxErrs))
        {
            pstrError->clear();
            return false;
        }
        tap.ulMaxErrs = static_cast<uint32_t>(ulMaxErrs);
    }
    params.bClearTaps = entry.bClearTaps ? 1 : 0;
    *pParams = params;
    return true;
}

bool CheckDfeAdjustEntry(const SDfeAdjustEntry& entry, SDfeAdjustParams* pParams, QString* pstrError)
{
    SDfeAdjustParams params = *pParams;
    params.ulCount = 0;
    params.ulIterations = entry.ulIterations;
    for (int i = 0; i < 5; ++i)
    {
        if (!entry.abEnable[i])
        {
            continue;
        }
        uint64_t ulDelta = 0;
        if (!NumberFromText(entry.astrDelta[i], 0xFFFFFFFFu, &ulDelta))
        {
            pstrError->clear();
            return false;
        }
        params.auSeq[params.ulCount] = entry.auTap[i] < 5 ? entry.auTap[i] : 0;
        params.auDelta[params.ulCount] = static_cast<uint32_t>(ulDelta);
        ++params.ulCount;
    }
    *pParams = params;
    return true;
}
