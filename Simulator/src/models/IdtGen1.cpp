#include "models/IdtGen1.h"

namespace nvsim::models
{
namespace
{
constexpr uint32_t kQuadControl = 0xFF0000;
constexpr uint32_t kQuadStride = 0x1000;
constexpr uint32_t kFourPorts = 0x20;
constexpr uint32_t kQuadRate = 0x3;
// The rate field's value for 3.125 Gbaud, the reset rate taken here.
constexpr uint32_t kRate3125 = 0x2;
} // namespace

uint32_t CIdtGen1Switch::QuadCount(uint16_t wDeviceId)
{
    switch (wDeviceId)
    {
    case 0x035A:
    case 0x035D:
        return 3;
    case 0x035B:
        return 4;
    case 0x035C:
        return 2;
    case 0x035E:
        return 10;
    case 0x035F:
        return 6;
    default:
        return 0;
    }
}

uint8_t CIdtGen1Switch::PortCountAtReset(uint16_t wDeviceId)
{
    const bool bQuadPorts = wDeviceId == 0x035E || wDeviceId == 0x035F;
    return static_cast<uint8_t>(QuadCount(wDeviceId) * (bQuadPorts ? 1 : 4));
}

CIdtGen1Switch::CIdtGen1Switch(std::string strName, SDeviceConfig config)
    : CIdtGen1Switch(std::move(strName), config, true, QuadCount(config.wDeviceId),
                     config.wDeviceId != 0x035E && config.wDeviceId != 0x035F)
{
}

CIdtGen1Switch::CIdtGen1Switch(std::string strName, SDeviceConfig config, bool bPerPortTables,
                               uint32_t ulQuads, bool bFourPortQuads)
    : CIdtSwitch(std::move(strName), std::move(config), bPerPortTables), m_ulQuads(ulQuads)
{
    for (uint32_t r = 0; r < m_ulQuads; ++r)
        SetReg(kQuadControl + kQuadStride * r, (bFourPortQuads ? kFourPorts : 0) | kRate3125);

    // Per-port counters at 0xF40000 + 0x100 n, the addresses the client's performance monitor
    // reads for these parts (Port ACK 0x10, Port NACK 0x14, PPS Packet 0x18, Switch Packet 0x1C,
    // Trace Match 1 to 4 at 0x20 to 0x2C, Filter Match 1 to 4 at 0x30 to 0x3C). The parts' manuals
    // could not be found; assumptions: the ACK and NACK counters count the packet-accepted and
    // packet-not-accepted symbols the port sends (as the Gen2 parts' counters at the same
    // addresses do), the PPS Packet Counter the packets the port receives and the Switch Packet
    // Counter the packets it transmits; they always count and clear on read, as the Gen2 ones
    // do. Trace and filter matches are not modelled: those counters stay 0.
    std::vector<SCounterDef> counters = {{0x10, ECountSource::Event, ELinkEvent::AckSent},
                                         {0x14, ECountSource::Event, ELinkEvent::NackSent},
                                         {0x18, ECountSource::RxPackets},
                                         {0x1C, ECountSource::TxPackets}};
    for (uint32_t k = 0; k < 8; ++k)
        counters.push_back({0x20 + 4 * k, ECountSource::Nothing});
    m_pCounters = std::make_unique<CCounterBank>(kCounterBase, kCounterPortStride, PortCount(),
                                                 std::move(counters), true);
}

int CIdtGen1Switch::QuadOf(uint8_t uchPort) const
{
    uint32_t ulFirst = 0;
    for (uint32_t r = 0; r < m_ulQuads; ++r)
    {
        const uint32_t ulPorts = (Reg(kQuadControl + kQuadStride * r) & kFourPorts) ? 4 : 1;
        if (uchPort < ulFirst + ulPorts)
            return uchPort < PortCount() ? static_cast<int>(r) : -1;
        ulFirst += ulPorts;
    }
    return -1;
}

uint8_t CIdtGen1Switch::PortLanes(uint8_t uchPort) const
{
    const int nQuad = QuadOf(uchPort);
    if (nQuad < 0)
        return 0;
    return (Reg(kQuadControl + kQuadStride * nQuad) & kFourPorts) ? 1 : 4;
}

uint32_t CIdtGen1Switch::PortSpeeds(uint8_t uchPort) const
{
    const int nQuad = QuadOf(uchPort);
    if (nQuad < 0)
        return 0;
    static constexpr uint32_t kRates[4] = {speeds::k1250, speeds::k2500, speeds::k3125, 0};
    return kRates[Reg(kQuadControl + kQuadStride * nQuad) & kQuadRate];
}

bool CIdtGen1Switch::PresetPortSpeed(uint8_t uchPort, uint32_t ulMbaud, std::string* pError)
{
    const int nQuad = QuadOf(uchPort);
    if (nQuad < 0)
    {
        *pError = "port " + std::to_string(uchPort) + " has no lanes in the quad configuration";
        return false;
    }
    const uint32_t ulRate = ulMbaud == 1250 ? 0 : ulMbaud == 2500 ? 1 : ulMbaud == 3125 ? 2 : 3;
    if (ulRate == 3)
    {
        *pError = "the ports of this switch run at 1.25, 2.5 or 3.125 Gbaud";
        return false;
    }
    const uint32_t ulQuad = kQuadControl + kQuadStride * nQuad;
    SetReg(ulQuad, (Reg(ulQuad) & ~kQuadRate) | ulRate);
    return true;
}
} // namespace nvsim::models
