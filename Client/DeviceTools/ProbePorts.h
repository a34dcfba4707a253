// The port set-up of the probe's own switch (a Tsi578, node 1 of the map): for its ports 0, 4 and
// 6 the link state, the baud rate and the lane controls, each change written to the switch at once
// and the port read again. The window shows what this reads; tests drive it directly.
//
// Registers (Tsi578 user manual; Tsi578.h of IDT's Device Access Routines): ports 2k and 2k + 1
// share MAC k. Its SMACx_DLOOP_CLK_SEL (0x130C8 + 0x200 k) holds the rate (CLK_SEL, bits 1..0,
// written through the HAL's port speed operation) and SWAP_RX (bit 6) and SWAP_TX (bit 7), which
// reverse the order of the 4x port's receive and transmit lanes. Each lane l of the MAC has an
// SMACx_RX_CTL_STAT register (0x1E00C + 0x200 k + 0x40 l) with INVERT_TX (bit 18) and INVERT_RX
// (bit 19), the polarity of the lane's data; the set-up inverts all four lanes of a port together
// and shows lane 0's bits. That lanes 1 to 3 follow lane 0 at 0x40 apart is inferred from the
// register map's layout (lane 0's block of 0x40, the MAC's common registers from 0x1E100).
#pragma once

#include <QString>

#include <array>
#include <cstdint>

class CNetworkDocument;

struct SProbePortState
{
    int eTrained = -1;       // 1 trained, 0 not trained, -1 unknown (the switch didn't say)
    uint32_t ulSpeedMHz = 0; // 1250, 2500, 3125; 0 unknown
    bool bInvertRx = false;
    bool bInvertTx = false;
    bool bReverseRx = false;
    bool bReverseTx = false;
    bool bRead = false; // the lane controls were read
};

// "Status: Trained", "Status: Not Trained" or "Status: Unknown".
QString ProbePortStatusText(const SProbePortState& state);

class CProbePorts
{
public:
    static constexpr std::array<uint8_t, 3> kPorts = {0, 4, 6};
    static constexpr std::array<uint32_t, 3> kSpeedsMHz = {1250, 2500, 3125};

    enum EControl
    {
        eInvertRx,
        eInvertTx,
        eReverseRx,
        eReverseTx,
    };

    explicit CProbePorts(const CNetworkDocument& map);

    // Finds the probe switch and the way to it; false when the map has none or no route reaches it.
    bool Reach();
    bool Reached() const { return m_bReached; }

    // Reads a port's state from the switch.
    SProbePortState Read(uint8_t uchPort) const;
    // Sets a port's rate (1250, 2500 or 3125 MHz) and reads the port again; the status of the write.
    int32_t SetSpeed(uint8_t uchPort, uint32_t ulSpeedMHz, SProbePortState* pState) const;
    // Sets or clears one lane control and reads the port again; the status of the write.
    int32_t SetControl(uint8_t uchPort, EControl eControl, bool bOn, SProbePortState* pState) const;

    static uint32_t DloopRegister(uint8_t uchPort) { return 0x130C8u + 0x200u * (uchPort / 2u); }
    static uint32_t LaneRegister(uint8_t uchPort, uint32_t ulLane)
    {
        return 0x1E00Cu + 0x200u * (uchPort / 2u) + 0x40u * ulLane;
    }
    static constexpr uint32_t kSwapRx = 0x40;
    static constexpr uint32_t kSwapTx = 0x80;
    static constexpr uint32_t kInvertTx = 0x00040000;
    static constexpr uint32_t kInvertRx = 0x00080000;

private:
    int32_t ReadReg(uint32_t ulOffset, uint32_t* pulValue) const;
    int32_t WriteReg(uint32_t ulOffset, uint32_t ulValue) const;

    const CNetworkDocument& m_map;
    bool m_bReached = false;
    uint16_t m_wVendor = 0;
    uint16_t m_wDevice = 0;
    uint32_t m_ulDestID = 0;
    uint8_t m_uchHop = 0;
};
