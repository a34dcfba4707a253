// IDT Gen2 switches: CPS-1848 and VPS-1848 (device 0x0374), CPS-1432 (0x0375), VPS-1616 (0x0377),
// SPS-1616 (0x0378), CPS-1616 (0x0379); vendor 0x0038 (device IDs as in the Linux kernel's
// include/linux/rio_ids.h).
//
// Besides the IDT route tables (IdtSwitch.h), the lanes: the four quadrants of lanes are shared
// among ports as the Quad Configuration register (0xF20200) says, a port runs at the rate of its
// lanes (Lane n Control, 0xFF8000 + 0x100 n: transmit rate bits 4..3, receive rate bits 2..1) in
// the rate family of the PLL that clocks them (PLL n Control 1, 0xFF0000 + 0x10 n: PLL_DIV_SEL,
// bit 0, 0 for 1.25/2.5/5 Gbaud and 1 for 3.125/6.25 Gbaud). On the 16-lane switches each lane
// picks one of its quadrant's two PLLs itself (bits 31 and 30 of its Lane Control). The Device
// Reset Control register (0xF20300: ports in bits 17..0, PLLs from bit 18, DO_RESET bit 31)
// resets ports and PLLs; a PLL's new PLL_DIV_SEL reaches its lanes only through that reset.
//
// Sources: IDT's Device Access Routines as published by the RapidIO Trade Association, CPS1848.h
// (register addresses and field masks: CPS1848_QUAD_CFG, CPS1848_DEVICE_RESET_CTL_PORT_SEL/
// PLL_SEL/DO_RESET, CPS1848_PLL_X_CTL_1, CPS1848_LANE_X_CTL) and CPS_PC.c (the quadrant tables
// cps1848_cfg, cps1432_cfg, sps1616_cfg with the lanes and PLL of every port for each field
// value; PLL_DIV_SEL and LANE_X_CTL_SPD1/SPD2 for each rate; the SPS-1616's four-bit field
// spacing; the lane control reset value 0x1E80 with the rate bits).
//
// Multicast the Gen2 way: a route table entry of 0x40 + n (n below 40, CPS_MAX_MC_MASK) sends a
// packet to every port set in mask n of the port it came in on. Each port has 40 mask registers
// (CPS1848_PORT_X_MCAST_MASK_Y, 0xF38000 + 0x100 x + 4 y; bit n for port n, as the DAR's
// cps_program_mc_mask writes them with CPS1848_BCAST__MCAST_MASK_X_PORT_MASK), and a write to
// the broadcast register of mask y (CPS1848_BCAST_MCAST_MASK_X, 0xF30000 + 4 y) sets mask y of
// every port. Assumptions where the DAR is silent: the masks are clear at reset, and a read of a
// broadcast register gives port 0's mask.
//
// Packet generation and capture, the trace and filter comparators and port loop-back: Gen2Pgc.h.
#pragma once

#include "models/Gen2Pgc.h"
#include "models/Gen2Lanes.h"
#include "models/IdtSwitch.h"

#include <memory>

namespace nvsim::models
{
class CIdtGen2Switch : public CIdtSwitch
{
public:
    CIdtGen2Switch(std::string strName, SDeviceConfig config);

    uint32_t PortSpeeds(uint8_t uchPort) const override;
    uint8_t PortLanes(uint8_t uchPort) const override;
    bool PresetPortSpeed(uint8_t uchPort, uint32_t ulMbaud, std::string* pError) override;

    static constexpr uint32_t kMulticastMasks = 40;
    static constexpr uint32_t kBroadcastMask = 0xF30000;
    // Port n Operations (CPS1848_PORT_X_OPS) and its counter enable bit.
    static constexpr uint32_t PortOperations(uint8_t uchPort) { return 0xF40004 + 0x100 * uchPort; }
    static constexpr uint32_t kCountersEnable = 0x04000000;
    static constexpr uint32_t PortMaskRegister(uint8_t uchPort, uint32_t ulMask)
    {
        return 0xF38000 + 0x100 * uchPort + 4 * ulMask;
    }

    // The rate family a PLL's lanes run in now (PLL_DIV_SEL as of its last reset).
    uint32_t AppliedPllSelect(uint32_t ulPll) const;

    // The lanes and PLL of one port in the present quadrant configuration.
    struct SPortLanes
    {
        uint8_t uchLanes = 0; // 0: the port does not exist
        uint8_t uchFirstLane = 0;
        uint8_t uchPll = 0;
    };
    SPortLanes Lanes(uint8_t uchPort) const;

    // The packet generation and capture engine and the comparators.
    CGen2Pgc& Pgc() { return *m_pPgc; }

    // Packets as bytes: the comparators look at what enters an armed port, a capture-mode port
    // takes what would leave by it, and the loop-back bits turn a port's transmitter back into
    // its receiver.
    bool WantsPacketBytes(uint8_t uchPort, bool bTransmit) const override;
    EPacketAction PacketArriving(uint8_t uchPort, const std::vector<uint8_t>& bytes) override;
    bool PacketLeaving(uint8_t uchPort, const std::vector<uint8_t>& bytes) override;
    bool PortLoopedBack(uint8_t uchPort) const override;

protected:
    bool MaskPorts(uint8_t uchIngressPort, uint32_t ulMask, std::vector<uint8_t>* pPorts) const override;

private:
    void InstallMulticastMasks();
    void InstallCounters();
    void InstallPgc();
    // A packet the engine sends of its own out of a port.
    void TransmitOwn(uint8_t uchPort, const CGen2Pgc::Bytes& packet);
    void InstallLanes(); // Gen2Lanes.cpp
    bool LanesPickPll() const;
    uint32_t LaneSpeed(uint32_t ulLane, uint32_t ulPllSelect) const;
    void DeviceReset(uint32_t ulValue);

    uint32_t m_ulLanes = 0;
    uint32_t m_ulPlls = 0;
    std::vector<uint32_t> m_appliedPllSelect;
    std::unique_ptr<CGen2Pgc> m_pPgc;
    std::unique_ptr<CGen2Lanes> m_pLanes; // drive, equaliser and error counts of the lanes
};
} // namespace nvsim::models
