#include "models/IdtGen2.h"

#include "nvsim/Fabric.h"

namespace nvsim::models
{
namespace
{
constexpr uint32_t kQuadConfig = 0xF20200;
constexpr uint32_t kDeviceReset = 0xF20300;
constexpr uint32_t kResetPorts = 0x0003FFFF;
constexpr uint32_t kResetPlls = 0x3FFC0000;
constexpr int kResetPllShift = 18;
constexpr uint32_t kDoReset = 0x80000000;
constexpr uint32_t kPllControl = 0xFF0000;
constexpr uint32_t kPllStride = 0x10;
constexpr uint32_t kPllDivSel = 0x1;
constexpr uint32_t kLaneControl = 0xFF8000;
constexpr uint32_t kLaneStride = 0x100;
// Transmit rate in bits 4..3, receive rate in bits 2..1: 0 the lowest rate of the family,
// 1 (SPD1) 2.5 or 3.125 Gbaud, 2 (SPD2) 5 or 6.25 Gbaud.
constexpr uint32_t kLaneRate = 0x1E;
constexpr uint32_t kLaneSpd1 = 0x0A;
constexpr uint32_t kLaneSpd2 = 0x14;
// 16-lane switches: the lane's transmit and receive PLL select.
constexpr uint32_t kLanePllSelect = 0xC0000000;
// Lane n Control at reset, less the rate and PLL bits (CPS_PC.c).
constexpr uint32_t kLaneReset = 0x00001E80;

constexpr uint16_t kCps1848 = 0x0374;
constexpr uint16_t kCps1432 = 0x0375;
constexpr uint16_t kSps1616 = 0x0378;
constexpr uint16_t kVps1616 = 0x0377;

using SPortLanes = CIdtGen2Switch::SPortLanes;

struct SPortLayout
{
    uint8_t uchQuad;
    SPortLanes asArrangement[4];
};

constexpr SPortLanes kNone = {0, 0, 0};

// CPS-1848: 18 ports on 48 lanes, one PLL per four lanes (cps1848_cfg).
constexpr SPortLayout kLayout1848[] = {
    {0, {{4, 0, 0}, {2, 0, 0}, {2, 0, 0}, {2, 0, 0}}},
    {1, {{4, 4, 1}, {2, 4, 1}, {2, 4, 1}, {2, 4, 1}}},
    {2, {{4, 8, 2}, {2, 8, 2}, kNone, kNone}},
    {3, {{4, 12, 3}, {2, 12, 3}, kNone, kNone}},
    {0, {{4, 16, 4}, {4, 16, 4}, {4, 16, 4}, {4, 16, 4}}},
    {1, {{4, 20, 5}, {4, 20, 5}, {4, 20, 5}, {4, 20, 5}}},
    {2, {{4, 24, 6}, {4, 24, 6}, kNone, kNone}},
    {3, {{4, 28, 7}, {4, 28, 7}, kNone, kNone}},
    {0, {{4, 32, 8}, {4, 32, 8}, {2, 32, 8}, {4, 32, 8}}},
    {1, {{4, 36, 9}, {4, 36, 9}, {2, 36, 9}, {4, 36, 9}}},
    {2, {{4, 40, 10}, {4, 40, 10}, kNone, kNone}},
    {3, {{4, 44, 11}, {4, 44, 11}, kNone, kNone}},
    {0, {kNone, {2, 2, 0}, {2, 2, 0}, {1, 2, 0}}},
    {1, {kNone, {2, 6, 1}, {2, 6, 1}, {1, 6, 1}}},
    {2, {kNone, {2, 10, 2}, kNone, kNone}},
    {3, {kNone, {2, 14, 3}, kNone, kNone}},
    {0, {kNone, kNone, {2, 34, 8}, {1, 3, 0}}},
    {1, {kNone, kNone, {2, 38, 9}, {1, 7, 1}}},
};

// CPS-1432: 14 ports on 32 lanes, numbered 0 to 15 without 8 and 9 (cps1432_cfg).
constexpr SPortLayout kLayout1432[] = {
    {0, {{4, 0, 0}, {2, 0, 0}, kNone, kNone}},
    {1, {{4, 4, 1}, {2, 4, 1}, kNone, kNone}},
    {2, {{4, 8, 2}, {2, 8, 2}, {2, 8, 2}, {2, 8, 2}}},
    {3, {{4, 12, 3}, {2, 12, 3}, {2, 12, 3}, {2, 12, 3}}},
    {0, {{4, 16, 4}, {4, 16, 4}, kNone, kNone}},
    {1, {{4, 20, 5}, {4, 20, 5}, kNone, kNone}},
    {2, {{4, 24, 6}, {4, 24, 6}, {2, 24, 6}, {4, 24, 6}}},
    {3, {{4, 28, 7}, {4, 28, 7}, {2, 28, 7}, {4, 28, 7}}},
    {0, {kNone, kNone, kNone, kNone}},
    {0, {kNone, kNone, kNone, kNone}},
    {2, {kNone, kNone, {2, 26, 6}, {1, 11, 2}}},
    {3, {kNone, kNone, {2, 30, 7}, {1, 15, 3}}},
    {0, {kNone, {2, 2, 0}, kNone, kNone}},
    {1, {kNone, {2, 6, 1}, kNone, kNone}},
    {2, {kNone, {2, 10, 2}, {2, 10, 2}, {1, 10, 2}}},
    {3, {kNone, {2, 14, 3}, {2, 14, 3}, {1, 14, 3}}},
};

// The 16-lane switches (sps1616_cfg; the CPS-1616 has the same lanes): quadrant q holds ports
// 4q to 4q + 3 on lanes 4q to 4q + 3 and the PLL pair 2q, 2q + 1. The field values give one x4
// port, two x2, one x2 and two x1, or four x1. The VPS-1616 is not in the published routines;
// it is taken to be laid out as the CPS-1616, whose package and port count it shares.
SPortLayout Layout16(uint8_t uchPort)
{
    constexpr uint8_t kLanes[4][4] = {{4, 0, 0, 0}, {2, 0, 2, 0}, {2, 0, 1, 1}, {1, 1, 1, 1}};
    const uint8_t uchQuad = uchPort / 4;
    SPortLayout layout{uchQuad, {}};
    for (int a = 0; a < 4; ++a)
    {
        const uint8_t uchLanes = kLanes[a][uchPort % 4];
        layout.asArrangement[a] =
            uchLanes ? SPortLanes{uchLanes, static_cast<uint8_t>(uchPort), static_cast<uint8_t>(2 * uchQuad)}
                     : kNone;
    }
    return layout;
}

// Lane rate field of a rate, and whether the rate is in the upper PLL family.
bool RateSetting(uint32_t ulMbaud, uint32_t* pulRate, uint32_t* pulPllSelect)
{
    switch (ulMbaud)
    {
    case 1250:
        *pulRate = 0, *pulPllSelect = 0;
        return true;
    case 2500:
        *pulRate = kLaneSpd1, *pulPllSelect = 0;
        return true;
    case 3125:
        *pulRate = kLaneSpd1, *pulPllSelect = 1;
        return true;
    case 5000:
        *pulRate = kLaneSpd2, *pulPllSelect = 0;
        return true;
    case 6250:
        *pulRate = kLaneSpd2, *pulPllSelect = 1;
        return true;
    default:
        return false;
    }
}
} // namespace

CIdtGen2Switch::CIdtGen2Switch(std::string strName, SDeviceConfig config)
    : CIdtSwitch(std::move(strName), std::move(config), true)
{
    const uint16_t wDevice = Config().wDeviceId;
    m_ulLanes = wDevice == kCps1848 ? 48 : wDevice == kCps1432 ? 32 : 16;
    m_ulPlls = wDevice == kCps1848 ? 12 : 8;
    // Out of reset every port runs at 3.125 Gbaud (PLLs in the upper family, lanes at SPD1)
    // unless a link says otherwise; the reset rate follows the part's pin straps.
    m_appliedPllSelect.assign(m_ulPlls, 1);
    SetMasked(kQuadConfig, Config().oQuadConfig.value_or(0), wDevice == kSps1616 ? 0x3333 : 0xFF);
    for (uint32_t p = 0; p < m_ulPlls; ++p)
        SetReg(kPllControl + kPllStride * p, kPllDivSel);
    for (uint32_t l = 0; l < m_ulLanes; ++l)
        SetReg(kLaneControl + kLaneStride * l,
               kLaneReset | kLaneSpd1 | (LanesPickPll() ? kLanePllSelect : 0));
    SetHook(kDeviceReset, nullptr,
            [this](uint32_t ulValue, uint32_t ulByteMask, const SRegAccess&)
            {
                const uint32_t ulNew = (Reg(kDeviceReset) & ~ulByteMask) | (ulValue & ulByteMask);
                if (ulNew & kDoReset)
                    DeviceReset(ulNew);
                else
                    SetReg(kDeviceReset, ulNew);
            });
    InstallMulticastMasks();
    InstallCounters();
    InstallPgc();
    InstallLanes();
}

void CIdtGen2Switch::InstallPgc()
{
    CGen2Pgc::SHost host;
    host.fnReg = [this](uint32_t ulOffset) { return Reg(ulOffset); };
    host.fnCount = [this](uint8_t uchPort, uint32_t ulCounter) { m_pCounters->CountAt(uchPort, ulCounter); };
    host.fnTransmit = [this](uint8_t uchPort, const CGen2Pgc::Bytes& packet)
    { TransmitOwn(uchPort, packet); };
    m_pPgc = std::make_unique<CGen2Pgc>(PortCount(), std::move(host));
    for (uint8_t p = 0; p < PortCount(); ++p)
    {
        SetHook(
            CGen2Pgc::PgcMode(p), [this, p](const SRegAccess&) { return m_pPgc->ReadMode(p); },
            [this, p](uint32_t ulValue, uint32_t ulByteMask, const SRegAccess&)
            { m_pPgc->WriteMode(p, (m_pPgc->ReadMode(p) & ~ulByteMask) | (ulValue & ulByteMask)); });
        SetHook(
            CGen2Pgc::PgcData(p), [this, p](const SRegAccess&) { return m_pPgc->ReadData(p); },
            [this, p](uint32_t ulValue, uint32_t ulByteMask, const SRegAccess&)
            { m_pPgc->WriteData(p, (m_pPgc->ReadData(p) & ~ulByteMask) | (ulValue & ulByteMask)); });
    }
    // The broadcast comparators write every port's; a read gives port 0's (assumed, as for the
    // broadcast multicast masks).
    for (uint32_t w = 0; w < 2 * CGen2Pgc::kCompareWords * CGen2Pgc::kComparators; ++w)
    {
        const uint32_t ulWithin = 4 * w;
        SetHook(
            CGen2Pgc::kBroadcastComparator + ulWithin,
            [this, ulWithin](const SRegAccess&) { return Reg(CGen2Pgc::Comparator(0, 0) + ulWithin); },
            [this, ulWithin](uint32_t ulValue, uint32_t ulByteMask, const SRegAccess&)
            {
                for (uint8_t p = 0; p < PortCount(); ++p)
                {
                    const uint32_t ulAt = CGen2Pgc::Comparator(p, 0) + ulWithin;
                    SetReg(ulAt, (Reg(ulAt) & ~ulByteMask) | (ulValue & ulByteMask));
                }
            });
    }
}

void CIdtGen2Switch::TransmitOwn(uint8_t uchPort, const CGen2Pgc::Bytes& packet)
{
    // A generated packet or a trace copy leaves by the port as if it had come through the
    // switch: onto the port's link (or back into the port when it loops back), and on from
    // wherever it arrives. Whatever becomes of it is the fabric's business.
    if (Fabric())
        Fabric()->InjectPacket(*this, uchPort, packet);
}

bool CIdtGen2Switch::WantsPacketBytes(uint8_t uchPort, bool bTransmit) const
{
    auto lock = Guard();
    return bTransmit ? m_pPgc->Captures(uchPort) : m_pPgc->WatchesArrivals(uchPort);
}

EPacketAction CIdtGen2Switch::PacketArriving(uint8_t uchPort, const std::vector<uint8_t>& bytes)
{
    auto lock = Guard();
    return m_pPgc->Arriving(uchPort, bytes) ? EPacketAction::Pass : EPacketAction::Drop;
}

bool CIdtGen2Switch::PacketLeaving(uint8_t uchPort, const std::vector<uint8_t>& bytes)
{
    auto lock = Guard();
    return m_pPgc->Leaving(uchPort, bytes);
}

bool CIdtGen2Switch::PortLoopedBack(uint8_t uchPort) const
{
    auto lock = Guard();
    return m_pPgc->LoopsBack(uchPort);
}

void CIdtGen2Switch::InstallCounters()
{
    // The per-port statistics counters (CPS1848.h of IDT's Device Access Routines: CPS1848_PORT_X_OPS
    // 0xF40004 with CNTRS_EN 0x04000000, and the counters CPS1848_PORT_X_VC0_PA_TX_CNTR 0xF40010 to
    // CPS1848_PORT_X_RETRY_CNTR 0xF400CC, each + 0x100 n). The DAR's statistics routines
    // (CPS_rio_sc_read_ctrs: total += the value read; enabling a port reads every counter to zero
    // it) show that they clear on read and count only while CNTRS_EN is set, which is clear at
    // reset. What each counts, from the DAR's names: packet-accepted (PA), packet-not-accepted
    // (NACK) and packet-retry symbols sent and received, packets sent and received, packets the
    // port's crosspoint buffer passed into the switch (CPB: received less dropped), packets dropped
    // on the way in and out, dropped after too many CRC errors, and congestion retries (RETRY_CNTR:
    // here the retries the port sent for want of buffers). The trace and filter match counters
    // (0xF40020 to 0xF4003C) count the comparators' matches (Gen2Pgc.h). All traffic travels on
    // VC0: the TTL counter and the VPS-1616's VC1 and VC5 counters (0xF40074 to 0xF400C8: eleven
    // per VC, in the VC0 order without the NACK counters) stay 0.
    std::vector<SCounterDef> counters = {{0x10, ECountSource::Event, ELinkEvent::AckSent},
                                         {0x14, ECountSource::Event, ELinkEvent::NackSent},
                                         {0x18, ECountSource::Event, ELinkEvent::RetrySent},
                                         {0x1C, ECountSource::TxPackets},
                                         {0x40, ECountSource::Event, ELinkEvent::AckReceived},
                                         {0x44, ECountSource::Event, ELinkEvent::NackReceived},
                                         {0x48, ECountSource::Event, ELinkEvent::RetryReceived},
                                         {0x4C, ECountSource::RxForwarded},
                                         {0x50, ECountSource::RxPackets},
                                         {0x64, ECountSource::Event, ELinkEvent::DroppedRx},
                                         {0x68, ECountSource::Event, ELinkEvent::DroppedTx},
                                         {0x6C, ECountSource::Nothing},
                                         {0x70, ECountSource::Event, ELinkEvent::CrcLimitDrop},
                                         {0xCC, ECountSource::Event, ELinkEvent::RetrySent}};
    for (uint32_t k = 0; k < 8; ++k)
        counters.push_back({0x20 + 4 * k, ECountSource::Model});
    if (Config().wDeviceId == kVps1616)
    {
        for (uint32_t ulAt = 0x74; ulAt <= 0xC8; ulAt += 4)
            counters.push_back({ulAt, ECountSource::Nothing});
    }
    m_pCounters = std::make_unique<CCounterBank>(
        kCounterBase, kCounterPortStride, PortCount(), std::move(counters), true,
        [this](uint8_t uchPort) { return (Reg(PortOperations(uchPort)) & kCountersEnable) != 0; });
}

void CIdtGen2Switch::InstallMulticastMasks()
{
    // Each port has its own 40 masks, one bit a port (bit n: port n), clear at reset; a write to a
    // broadcast mask register writes that mask of every port, and a read gives port 0's.
    const uint32_t ulPortBits = (1u << PortCount()) - 1;
    for (uint32_t m = 0; m < kMulticastMasks; ++m)
    {
        for (uint8_t p = 0; p < PortCount(); ++p)
            SetMasked(PortMaskRegister(p, m), 0, ulPortBits);
        SetHook(
            kBroadcastMask + 4 * m, [this, m](const SRegAccess&) { return Reg(PortMaskRegister(0, m)); },
            [this, m, ulPortBits](uint32_t ulValue, uint32_t ulByteMask, const SRegAccess&)
            {
                for (uint8_t p = 0; p < PortCount(); ++p)
                {
                    const uint32_t ulAt = PortMaskRegister(p, m);
                    SetReg(ulAt, ((Reg(ulAt) & ~ulByteMask) | (ulValue & ulByteMask)) & ulPortBits);
                }
            });
    }
}

bool CIdtGen2Switch::MaskPorts(uint8_t uchIngressPort, uint32_t ulMask, std::vector<uint8_t>* pPorts) const
{
    if (ulMask >= kMulticastMasks || uchIngressPort >= PortCount())
        return false;
    const uint32_t ulBits = Reg(PortMaskRegister(uchIngressPort, ulMask));
    for (uint8_t p = 0; p < PortCount(); ++p)
    {
        if (ulBits & (1u << p))
            pPorts->push_back(p);
    }
    return true;
}

bool CIdtGen2Switch::LanesPickPll() const
{
    return Config().wDeviceId != kCps1848 && Config().wDeviceId != kCps1432;
}

SPortLanes CIdtGen2Switch::Lanes(uint8_t uchPort) const
{
    if (uchPort >= PortCount())
        return kNone;
    SPortLayout layout;
    const uint16_t wDevice = Config().wDeviceId;
    if (wDevice == kCps1848 && uchPort < std::size(kLayout1848))
        layout = kLayout1848[uchPort];
    else if (wDevice == kCps1432 && uchPort < std::size(kLayout1432))
        layout = kLayout1432[uchPort];
    else if (wDevice != kCps1848 && wDevice != kCps1432 && uchPort < 16)
        layout = Layout16(uchPort);
    else
        return kNone;
    const uint32_t ulFieldBits = wDevice == kSps1616 ? 4 : 2;
    const uint32_t ulArrangement = (Reg(kQuadConfig) >> (ulFieldBits * layout.uchQuad)) & 3;
    return layout.asArrangement[ulArrangement];
}

uint8_t CIdtGen2Switch::PortLanes(uint8_t uchPort) const
{
    return Lanes(uchPort).uchLanes;
}

uint32_t CIdtGen2Switch::AppliedPllSelect(uint32_t ulPll) const
{
    auto lock = Guard();
    return ulPll < m_appliedPllSelect.size() ? m_appliedPllSelect[ulPll] : 0;
}

// The rate of a lane, 0 when its transmit and receive rates differ or the rate does not exist
// in the family.
uint32_t CIdtGen2Switch::LaneSpeed(uint32_t ulLane, uint32_t ulPllSelect) const
{
    const uint32_t ulValue = Reg(kLaneControl + kLaneStride * ulLane);
    const uint32_t ulTx = (ulValue >> 3) & 3;
    const uint32_t ulRx = (ulValue >> 1) & 3;
    if (ulTx != ulRx)
        return 0;
    if (LanesPickPll())
    {
        const uint32_t ulPick = ulValue & kLanePllSelect;
        if (ulPick != 0 && ulPick != kLanePllSelect)
            return 0;
        ulPllSelect = ulPick ? 1 : 0;
    }
    if (ulPllSelect)
        return ulTx == 0 ? 0 : ulTx == 1 ? 3125 : 6250;
    return ulTx == 0 ? 1250 : ulTx == 1 ? 2500 : 5000;
}

uint32_t CIdtGen2Switch::PortSpeeds(uint8_t uchPort) const
{
    const SPortLanes lanes = Lanes(uchPort);
    if (!lanes.uchLanes)
        return 0;
    const uint32_t ulPllSelect = AppliedPllSelect(lanes.uchPll);
    uint32_t ulSpeed = 0;
    for (uint32_t l = lanes.uchFirstLane; l < uint32_t{lanes.uchFirstLane} + lanes.uchLanes; ++l)
    {
        const uint32_t ulLaneSpeed = LaneSpeed(l, ulPllSelect);
        if (ulLaneSpeed == 0 || (ulSpeed != 0 && ulLaneSpeed != ulSpeed))
            return 0; // lanes that disagree keep the port from training
        ulSpeed = ulLaneSpeed;
    }
    return speeds::Bit(ulSpeed);
}

bool CIdtGen2Switch::PresetPortSpeed(uint8_t uchPort, uint32_t ulMbaud, std::string* pError)
{
    const SPortLanes lanes = Lanes(uchPort);
    uint32_t ulRate = 0, ulPllSelect = 0;
    if (!lanes.uchLanes)
    {
        *pError = "port " + std::to_string(uchPort) + " has no lanes in the quad configuration";
        return false;
    }
    if (!RateSetting(ulMbaud, &ulRate, &ulPllSelect))
    {
        *pError = "no lane rate for " + std::to_string(ulMbaud) + " Mbaud";
        return false;
    }
    for (uint32_t l = lanes.uchFirstLane; l < uint32_t{lanes.uchFirstLane} + lanes.uchLanes; ++l)
    {
        const uint32_t ulLane = kLaneControl + kLaneStride * l;
        uint32_t ulValue = (Reg(ulLane) & ~kLaneRate) | ulRate;
        if (LanesPickPll())
            ulValue = (ulValue & ~kLanePllSelect) | (ulPllSelect ? kLanePllSelect : 0);
        SetReg(ulLane, ulValue);
    }
    if (!LanesPickPll())
    {
        // The PLL is shared with the other ports of its lanes; a topology that runs them in
        // the other family leaves their links untrained, which the topology reader reports.
        const uint32_t ulPll = kPllControl + kPllStride * lanes.uchPll;
        SetReg(ulPll, (Reg(ulPll) & ~kPllDivSel) | ulPllSelect);
        m_appliedPllSelect[lanes.uchPll] = ulPllSelect;
    }
    return true;
}

void CIdtGen2Switch::DeviceReset(uint32_t ulValue)
{
    // The selected ports restart their links; the selected PLLs take up their PLL_DIV_SEL.
    for (uint8_t n = 0; n < PortCount() && n < 18; ++n)
    {
        if (ulValue & kResetPorts & (1u << n))
        {
            ResetPort(n);
            m_pLanes->PortReset(n);
        }
    }
    for (uint32_t p = 0; p < m_ulPlls; ++p)
    {
        if (ulValue & kResetPlls & (1u << (kResetPllShift + p)))
            m_appliedPllSelect[p] = Reg(kPllControl + kPllStride * p) & kPllDivSel;
    }
    // The register reads back 0 once the reset is carried out (assumed: the manual's word on
    // the selection bits after a reset could not be read).
    SetReg(kDeviceReset, 0);
}
} // namespace nvsim::models
