// The lanes of an IDT Gen2 switch as its SerDes tools see them: transmitter drive, the receiver's
// decision feedback equaliser (DFE) and the errors the lane counts.
//
// Registers (CPS1848.h of IDT's Device Access Routines as published by the RapidIO Trade
// Association, repository RapidIO/rapidio_sw; the same offsets on the 16-lane parts):
// - Lane n Control, 0xFF8000 + 0x100 n: TX_AMP_CTL in bits 10..5 (the drive strength),
//   LPBK_10BIT_EN bit 15. The rate bits stay the Gen2 model's (IdtGen2.h).
// - Lane n Error Detect, 0xFF800C + 0x100 n: LANE_SYNC (bit 0) and LANE_RDY (bit 1), set when
//   the lane loses sync or ready; software clears them by writing them 0.
// - Lane n DFE 1, 0xFF8028 + 0x100 n: TAP_0_SEL..TAP_OFFSET_SEL in bits 17..12, RX_DFE_DIS bit 18.
//   Reset value 0x00040555 (the DAR's reset table).
// - Lane n DFE 2, 0xFF802C + 0x100 n: CFG_EN bit 0; tap 0 in bits 4..1, tap 1 in 10..5, tap 2 in
//   15..11 (sign bit 15), tap 3 in 19..16 (sign 19), tap 4 in 22..20 (sign 22), the offset tap in
//   28..23. Reset value 0x10488010: tap 0 at 8, the others 0.
// - Lane n Status 0, 0x2010 + 0x20 n, the LP-Serial lane status of the RapidIO standard (Part 6,
//   lane status extended features block): port in bits 31..24, the lane's number within it in
//   23..20, RX_TRAINED 14, RX_LANE_SYNC 13, LP_RX_TRAINED 12, RX_LANE_RDY 11, and ERR_8B10B in
//   bits 10..7: the 8b/10b decoding errors since the register was last read, saturating at 15,
//   cleared by the read.
// - Lane n Status 3, 0x201C + 0x20 n: POS1_TAP bits 5..0 and NEG1_TAP bits 10..6 (the
//   transmitter's post- and pre-cursor), AMP_PROG_EN bit 29.
//
// Assumptions where the documents are silent or could not be read:
// - AMP_PROG_EN gates TX_AMP_CTL: while it is clear, writes leave the strength as it is.
// - A DFE tap field is signed as the tuning tools encode it: sign bit set for 0 and up, a negative
//   value v as the bits of |v| - 1 inverted. The taps take effect when CFG_EN goes from 0 to 1
//   (the update); until then the receiver keeps the taps of the last update.
// - RX_DFE_DIS is active low on first-revision silicon. The model takes the equaliser as working
//   when DFE 1 bits 18..12 hold the word the tuning tools write for the part: 0x3F000 on a
//   CPS-1848, VPS-1616, SPS-1616 or CPS-1616 of revision 1 (Device Information bits 23..16),
//   0x7F000 otherwise. With it off the lane receives as with all taps 0.
// - Time is counted in reads of Lane n Status 0, each one sample period of the line. The error
//   rate per sample period is a fixed function of the distance between the lane's taps and an
//   optimum (the topology's dfeopt, the same for every lane of the switch): the sum of the
//   absolute differences of taps 0 to 4. At the optimum the lane is error free. The errors over n
//   periods are floor(n x rate), counted from the last tap update, DFE control change or port
//   reset, so that each measurement of the tools is exact. See RateOfDistance for the table and
//   Simulator/README.md for why it has that shape.
// - A read that finds the count saturated (15) also sets LANE_SYNC and LANE_RDY in Error Detect.
// - The lanes of a port whose link is down see nothing but errors: 15 a read.
#pragma once

#include "nvsim/Device.h"

#include <array>
#include <cstdint>
#include <functional>
#include <vector>

namespace nvsim::models
{
class CGen2Lanes
{
public:
    // The five taps the error model looks at (the offset tap is left out).
    using Taps = std::array<int, 5>;

    // What the lane model needs of its switch.
    struct SHost
    {
        CSimDevice* pDevice = nullptr;
        // Installs a register's behaviour (the device's SetHook).
        std::function<void(uint32_t, RegReadFn, RegWriteFn)> fnSetHook;
        // The port a lane belongs to in the present quad configuration, and its number within it;
        // false when no port has the lane.
        std::function<bool(uint32_t ulLane, uint8_t* puchPort, uint8_t* puchIndex)> fnLanePort;
        // Whether a port's link is up.
        std::function<bool(uint8_t uchPort)> fnPortTrained;
    };

    static constexpr uint32_t LaneControl(uint32_t l) { return 0xFF8000 + 0x100 * l; }
    static constexpr uint32_t LaneErrorDetect(uint32_t l) { return 0xFF800C + 0x100 * l; }
    static constexpr uint32_t DfeControl(uint32_t l) { return 0xFF8028 + 0x100 * l; }
    static constexpr uint32_t DfeTaps(uint32_t l) { return 0xFF802C + 0x100 * l; }
    static constexpr uint32_t LaneStatus0(uint32_t l) { return 0x2010 + 0x20 * l; }
    static constexpr uint32_t LaneStatus3(uint32_t l) { return 0x201C + 0x20 * l; }

    static constexpr uint32_t kDfeControlReset = 0x00040555;
    static constexpr uint32_t kDfeTapsReset = 0x10488010;
    // Rates are errors per kRateScale sample periods.
    static constexpr uint32_t kRateScale = 4096;
    // The optimum of a switch whose topology names none: a ratio-consistent setting (taps 2 to 4
    // halving tap 1) that a ratio scan with the tools' default parameters finds.
    static constexpr Taps kDefaultOptimum = {8, 12, 6, 3, 1};

    // Installs the registers of ulLanes lanes.
    CGen2Lanes(SHost host, uint32_t ulLanes, const Taps& optimum);

    // A port reset through Device Reset Control: its lanes re-lock and their error count
    // starts afresh.
    void PortReset(uint8_t uchPort);

    // The taps a lane receives with now (all 0 while the equaliser is off).
    Taps EffectiveTaps(uint32_t ulLane) const;
    // Whether the lane's equaliser works (DFE control as the tools set it).
    bool DfeActive(uint32_t ulLane) const;
    const Taps& Optimum() const { return m_optimum; }

    // Errors per kRateScale sample periods at a distance from the optimum.
    static uint32_t RateOfDistance(uint32_t ulDistance);
    // Sum of the absolute differences of two tap settings.
    static uint32_t Distance(const Taps& a, const Taps& b);
    // The five taps of a DFE 2 register value.
    static Taps DecodeTaps(uint32_t ulValue);

private:
    struct SLane
    {
        Taps applied{};          // taps as of the last update
        uint64_t ullPeriods = 0; // sample periods since the count started afresh
        uint64_t ullCounted = 0; // errors reported over them
    };

    uint32_t ReadStatus0(uint32_t ulLane);
    void Restart(uint32_t ulLane);

    SHost m_host;
    Taps m_optimum;
    std::vector<SLane> m_lanes;
};
} // namespace nvsim::models
