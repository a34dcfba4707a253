#include "models/Gen2Lanes.h"

#include "models/IdtGen2.h"
#include "nvsim/Fabric.h"

#include "nvsim/StdDevice.h"

#include <algorithm>
#include <cstdlib>
#include <iterator>

namespace nvsim::models
{
namespace
{
constexpr uint32_t kTxAmplitude = 0x000007E0;   // Lane n Control TX_AMP_CTL
constexpr uint32_t kAmpProgEnable = 0x20000000; // Lane n Status 3 AMP_PROG_EN
constexpr uint32_t kStatus3Writable = 0x2007FFFF;
constexpr uint32_t kLaneSync = 0x1;  // Lane n Error Detect LANE_SYNC
constexpr uint32_t kLaneReady = 0x2; // Lane n Error Detect LANE_RDY
constexpr uint32_t kErrorDetectWritable = 0x000003FF;
constexpr uint32_t kDfeControlWord = 0x0007F000;
constexpr uint32_t kDfeControlWritable = 0x0007FFFF;
constexpr uint32_t kCfgEnable = 0x1;
constexpr uint32_t kDfeTapsWritable = 0x1FFFFFFF;
// Lane n Status 0 fields.
constexpr int kStatusPortShift = 24;
constexpr int kStatusLaneShift = 20;
constexpr uint32_t kRxTrained = 0x4000;
constexpr uint32_t kRxLaneSync = 0x2000;
constexpr uint32_t kLpRxTrained = 0x1000;
constexpr uint32_t kRxLaneReady = 0x0800;
constexpr int kErrorShift = 7;
constexpr uint32_t kErrorMax = 15;

// A signed tap field: magnitude mask and sign bit.
struct SField
{
    int iShift;
    uint32_t ulMagnitude;
    uint32_t ulSign;
};
constexpr SField kFields[5] = {
    {1, 0x1E, 0}, {5, 0x7E0, 0}, {11, 0x7800, 0x8000}, {16, 0x70000, 0x80000}, {20, 0x300000, 0x400000}};

// The rate table up to the edge of the eye. Its shape is what makes the tools' searches end
// where they should; Simulator/README.md works it through.
constexpr uint32_t kRates[] = {0, 20, 36, 41, 46, 51, 56, 61, 66, 74, 82, 90, 98, 106, 114, 122, 160};
} // namespace

CGen2Lanes::CGen2Lanes(SHost host, uint32_t ulLanes, const Taps& optimum)
    : m_host(std::move(host)), m_optimum(optimum), m_lanes(ulLanes)
{
    CSimDevice& device = *m_host.pDevice;
    for (uint32_t l = 0; l < ulLanes; ++l)
    {
        m_lanes[l].applied = DecodeTaps(kDfeTapsReset);
        m_host.fnSetHook(LaneControl(l), nullptr,
                         [this, l](uint32_t ulValue, uint32_t ulByteMask, const SRegAccess&)
                         {
                             CSimDevice& d = *m_host.pDevice;
                             uint32_t ulMask = ulByteMask;
                             if (!(d.Reg(LaneStatus3(l)) & kAmpProgEnable))
                                 ulMask &= ~kTxAmplitude;
                             d.SetReg(LaneControl(l), (d.Reg(LaneControl(l)) & ~ulMask) | (ulValue & ulMask));
                         });
        device.SetReg(LaneErrorDetect(l), 0);
        m_host.fnSetHook(LaneErrorDetect(l), nullptr,
                         [this, l](uint32_t ulValue, uint32_t ulByteMask, const SRegAccess&)
                         {
                             CSimDevice& d = *m_host.pDevice;
                             const uint32_t ulMask = ulByteMask & kErrorDetectWritable;
                             d.SetReg(LaneErrorDetect(l),
                                      (d.Reg(LaneErrorDetect(l)) & ~ulMask) | (ulValue & ulMask));
                         });
        device.SetReg(DfeControl(l), kDfeControlReset);
        m_host.fnSetHook(DfeControl(l), nullptr,
                         [this, l](uint32_t ulValue, uint32_t ulByteMask, const SRegAccess&)
                         {
                             CSimDevice& d = *m_host.pDevice;
                             const uint32_t ulMask = ulByteMask & kDfeControlWritable;
                             d.SetReg(DfeControl(l), (d.Reg(DfeControl(l)) & ~ulMask) | (ulValue & ulMask));
                             Restart(l);
                         });
        device.SetReg(DfeTaps(l), kDfeTapsReset);
        m_host.fnSetHook(DfeTaps(l), nullptr,
                         [this, l](uint32_t ulValue, uint32_t ulByteMask, const SRegAccess&)
                         {
                             CSimDevice& d = *m_host.pDevice;
                             const uint32_t ulOld = d.Reg(DfeTaps(l));
                             const uint32_t ulMask = ulByteMask & kDfeTapsWritable;
                             const uint32_t ulNew = (ulOld & ~ulMask) | (ulValue & ulMask);
                             d.SetReg(DfeTaps(l), ulNew);
                             if (!(ulOld & kCfgEnable) && (ulNew & kCfgEnable))
                             {
                                 m_lanes[l].applied = DecodeTaps(ulNew);
                                 Restart(l);
                             }
                         });
        m_host.fnSetHook(
            LaneStatus0(l), [this, l](const SRegAccess&) { return ReadStatus0(l); }, nullptr);
        device.SetReg(LaneStatus3(l), 0);
        m_host.fnSetHook(LaneStatus3(l), nullptr,
                         [this, l](uint32_t ulValue, uint32_t ulByteMask, const SRegAccess&)
                         {
                             CSimDevice& d = *m_host.pDevice;
                             const uint32_t ulMask = ulByteMask & kStatus3Writable;
                             d.SetReg(LaneStatus3(l), (d.Reg(LaneStatus3(l)) & ~ulMask) | (ulValue & ulMask));
                         });
    }
}

CGen2Lanes::Taps CGen2Lanes::DecodeTaps(uint32_t ulValue)
{
    Taps taps{};
    for (size_t i = 0; i < taps.size(); ++i)
    {
        const SField& f = kFields[i];
        const int iBits = static_cast<int>((ulValue & f.ulMagnitude) >> f.iShift);
        if (!f.ulSign || (ulValue & f.ulSign))
            taps[i] = iBits;
        else
            taps[i] = -static_cast<int>(((~ulValue & f.ulMagnitude) >> f.iShift)) - 1;
    }
    return taps;
}

uint32_t CGen2Lanes::Distance(const Taps& a, const Taps& b)
{
    uint32_t ulSum = 0;
    for (size_t i = 0; i < a.size(); ++i)
        ulSum += static_cast<uint32_t>(std::abs(a[i] - b[i]));
    return ulSum;
}

uint32_t CGen2Lanes::RateOfDistance(uint32_t ulDistance)
{
    constexpr uint32_t kLast = std::size(kRates) - 1;
    if (ulDistance <= kLast)
        return kRates[ulDistance];
    // Past the edge of the eye the rate doubles with each step, up to the counter's saturation
    // on every read.
    uint64_t ullRate = kRates[kLast];
    for (uint32_t d = kLast; d < ulDistance && ullRate < kErrorMax * kRateScale; ++d)
        ullRate *= 2;
    return static_cast<uint32_t>(std::min<uint64_t>(ullRate, kErrorMax * kRateScale));
}

bool CGen2Lanes::DfeActive(uint32_t ulLane) const
{
    const CSimDevice& d = *m_host.pDevice;
    const uint16_t wDevice = static_cast<uint16_t>(d.Reg(reg::kDeviceIdentity) >> 16);
    const uint32_t ulRevision = (d.Reg(reg::kDeviceInfo) >> 16) & 0xFF;
    const bool bLateWord =
        ulRevision == 1 && (wDevice == 0x0374 || wDevice == 0x0377 || wDevice == 0x0378 || wDevice == 0x0379);
    const uint32_t ulWanted = bLateWord ? 0x3F000 : 0x7F000;
    return (d.Reg(DfeControl(ulLane)) & kDfeControlWord) == ulWanted;
}

CGen2Lanes::Taps CGen2Lanes::EffectiveTaps(uint32_t ulLane) const
{
    return DfeActive(ulLane) ? m_lanes[ulLane].applied : Taps{};
}

void CGen2Lanes::Restart(uint32_t ulLane)
{
    m_lanes[ulLane].ullPeriods = 0;
    m_lanes[ulLane].ullCounted = 0;
}

void CGen2Lanes::PortReset(uint8_t uchPort)
{
    for (uint32_t l = 0; l < m_lanes.size(); ++l)
    {
        uint8_t uchOwner = 0, uchIndex = 0;
        if (m_host.fnLanePort(l, &uchOwner, &uchIndex) && uchOwner == uchPort)
            Restart(l);
    }
}

uint32_t CGen2Lanes::ReadStatus0(uint32_t ulLane)
{
    CSimDevice& d = *m_host.pDevice;
    uint8_t uchPort = 0, uchIndex = 0;
    const bool bOwned = m_host.fnLanePort(ulLane, &uchPort, &uchIndex);
    const bool bUp = bOwned && m_host.fnPortTrained(uchPort);
    uint32_t ulErrors = kErrorMax;
    SLane& lane = m_lanes[ulLane];
    if (bUp)
    {
        const uint64_t ullRate = RateOfDistance(Distance(EffectiveTaps(ulLane), m_optimum));
        ++lane.ullPeriods;
        const uint64_t ullTotal = lane.ullPeriods * ullRate / kRateScale;
        const uint64_t ullNew = ullTotal > lane.ullCounted ? ullTotal - lane.ullCounted : 0;
        ulErrors = static_cast<uint32_t>(std::min<uint64_t>(ullNew, kErrorMax));
        lane.ullCounted = std::max(lane.ullCounted, ullTotal);
    }
    if (ulErrors >= kErrorMax)
        d.SetReg(LaneErrorDetect(ulLane), d.Reg(LaneErrorDetect(ulLane)) | kLaneSync | kLaneReady);
    uint32_t ulValue = (uint32_t{uchPort} << kStatusPortShift) | (uint32_t{uchIndex} << kStatusLaneShift) |
                       (ulErrors << kErrorShift);
    if (bUp)
        ulValue |= kRxTrained | kRxLaneSync | kLpRxTrained | kRxLaneReady;
    return ulValue;
}

// The Gen2 switch's side of the lane model, kept here so that the switch model only calls it.
void CIdtGen2Switch::InstallLanes()
{
    CGen2Lanes::SHost host;
    host.pDevice = this;
    host.fnSetHook = [this](uint32_t ulOffset, RegReadFn fnRead, RegWriteFn fnWrite)
    { SetHook(ulOffset, std::move(fnRead), std::move(fnWrite)); };
    host.fnLanePort = [this](uint32_t ulLane, uint8_t* puchPort, uint8_t* puchIndex)
    {
        for (uint8_t p = 0; p < PortCount(); ++p)
        {
            const SPortLanes lanes = Lanes(p);
            if (lanes.uchLanes && ulLane >= lanes.uchFirstLane &&
                ulLane < uint32_t{lanes.uchFirstLane} + lanes.uchLanes)
            {
                *puchPort = p;
                *puchIndex = static_cast<uint8_t>(ulLane - lanes.uchFirstLane);
                return true;
            }
        }
        return false;
    };
    host.fnPortTrained = [this](uint8_t uchPort)
    { return Fabric() && Fabric()->PortTrained(*this, uchPort); };
    CGen2Lanes::Taps optimum = CGen2Lanes::kDefaultOptimum;
    if (Config().dfeOptimum.size() == optimum.size())
        std::copy(Config().dfeOptimum.begin(), Config().dfeOptimum.end(), optimum.begin());
    m_pLanes = std::make_unique<CGen2Lanes>(std::move(host), m_ulLanes, optimum);
}
} // namespace nvsim::models
