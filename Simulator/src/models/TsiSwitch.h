// Tsi564, Tsi568 and the Tsi57x switches (Tsi574 to Tsi578), vendor 0x000D.
//
// Route tables: one per port, 512 entries of a port number (0xFF: no route), behind the port's
// pair of registers 0x11070/0x11074 + 0x100 n, and all of them at once behind the broadcast
// pair 0x10070/0x10074 and the standard 0x70/0x74 (which read the table of the port the
// request came in on). Bit 31 of a DestID register starts at entry 0 and steps one entry for
// each access of the port register (sources: the Linux kernel's drivers/rapidio/switches/
// tsi57x.c and tsi568.c: register pairs, the auto-increment walk over 0x1FF + 1 entries, 0xFF
// for no route).
//
// SerDes: ports 2k and 2k + 1 share one control word at 0x130C4 (Tsi56x) or 0x130C8 (Tsi57x) +
// 0x100 x 2k: bits 1..0 the rate of both (0 1.25, 1 2.5, 2 3.125 Gbaud), bit 2 powers down the
// even port's lanes, bit 3 the odd port's (the HAL's routines hold bit 3 for an odd port, bits
// 3..2 for an even one while the rate changes). The register's manual description could not be
// read: the meaning of bits 3..2 is inferred from that use.
//
// Digital loop-back and lane controls (Tsi57x only), in the same word of each port pair,
// SMACx_DLOOP_CLK_SEL (0x130C8 + 0x200 x, x the pair): SWAP_RX (bit 6) and SWAP_TX (bit 7)
// reverse the order of the pair's four receive or transmit lanes, DLB_EVEN_EN (bit 8) and
// DLB_ODD_EN (bit 9) loop what the even or odd port transmits straight back into its own
// receiver. The lanes' polarity is inverted by INVERT_TX (bit 18) and INVERT_RX (bit 19) of each
// lane's SMACx_RX_CTL_STAT (0x1E00C + 0x200 x + 0x40 l, lanes l = 0..3). Sources: Tsi578.h of
// IDT's Device Access Routines as published by the RapidIO Trade Association
// (TSI578_SMACX_DLOOP_CLK_SEL and its fields, TSI578_SMACX_RX_CTL_STAT_0 and its fields; the DAR
// addresses a pair's word as TSI578_SMACX_DLOOP_CLK_SEL(mac * 2)). Assumptions: lanes 1 to 3 follow
// lane 0's register block at a stride of 0x40 (the 0x100 the blocks before the pair's common
// registers at 0x1E100 leave for four lanes); a link is wired lane for lane with its polarity kept,
// so a port with reversed or inverted lanes no longer trains (it has no usable lane) until the bits
// are cleared; a looped-back port's link carries nothing, as for the Gen2 models.
//
// Tsi57x only: the I2C master with the boot EEPROM at 0x1D100 (I2cMaster.h), and SP_CS_TX
// (0x13014 + 0x100 n), which sends a control symbol out of the port: the value 0x40FC8000 is a
// packet-not-accepted with a link-request/input-status (tsi57x.c), answered in the port's Link
// Maintenance Response like a request through 0x140 + 32 n. Other values are kept unsent.
//
// Performance counters (Tsi57x only): six per port, SP{n}_PSC0 to PSC5 at 0x13040 to 0x13054 +
// 0x100 n, each set up by a 16-bit half of SP{n}_PSC0n1_CTRL, PSC2n3_CTRL, PSC4n5_CTRL (0x13020,
// 0x13024, 0x13028 + 0x100 n; the even counter in the upper half): the type in bits 2..0 (0 unicast
// request packets, 1 unicast packets, 2 retry symbols, 3 all control symbols, 4 unicast data in
// 4-byte units, 5 multicast packets, 6 multicast-event symbols, 7 multicast data in 4-byte
// units), the direction in bit 8 (1 transmitted, 0 received) and the priorities counted in bits
// 15..12 (bit 12 priority 0). Sources: Tsi578.h of IDT's Device Access Routines as published by
// the RapidIO Trade Association (TSI578_SPX_PSC0N1_CTRL_PS1_TYPE/DIR/PRIO0..3, TSI578_SPX_PSCY),
// and its statistics routines (rio_sc_cfg_tsi57x_ctr: the type values; tsi57x_rio_sc_read_ctrs
// adds each value read to its total, so the counters clear on read). Assumptions: the controls are
// 0 at reset (nothing counted), and multicast-event symbols are not modelled.
//
// Boot load (Tsi57x only): a reset-device link-request from a link partner resets the part, whose
// I2C master then reads the EEPROM at the reset address (0x50, two address bytes) and replays its
// register records, each a maintenance write of the switch to itself. The layout is the one the
// HAL's routing-table flash of these parts writes, big-endian words: word 0 the number of records
// in bits 31..16 (0xFFFF: erased, nothing to load), word 1 left erased, then the records from
// byte 8, 8 bytes each: register offset, value. Assumptions: the manual's boot-load chapter could
// not be read, so the layout follows the HAL and not the part's own description; the reset
// returns the I2C master to its reset state and replays the EEPROM, while the other registers
// keep the values they had (the model holds no separate power-on image of its hooks' state).
//
// Default route: the Tsi56x have it at 0x7C (the HAL writes it there), the Tsi57x at the
// standard 0x78; it serves IDs beyond the table.
#pragma once

#include "models/I2cMaster.h"
#include "nvsim/StdDevice.h"

#include <array>
#include <functional>
#include <memory>

namespace nvsim::models
{
class CTsiSwitch : public CStdDevice
{
public:
    static constexpr uint32_t kTableEntries = 512;
    static constexpr uint8_t kNoRoute = 0xFF;

    CTsiSwitch(std::string strName, SDeviceConfig config);

    uint32_t ReadRegister(uint32_t ulOffset, const SRegAccess& access) override;
    void WriteRegister(uint32_t ulOffset, uint32_t ulValue, uint32_t ulByteMask,
                       const SRegAccess& access) override;
    bool Route(uint32_t ulDestId, bool bLarge, uint8_t uchIngressPort, uint8_t* puchEgress) const override;
    uint32_t PortSpeeds(uint8_t uchPort) const override;
    bool PresetPortSpeed(uint8_t uchPort, uint32_t ulMbaud, std::string* pError) override;
    uint8_t PortLanes(uint8_t uchPort) const override;
    bool PortLoopedBack(uint8_t uchPort) const override;

    // The I2C master and its EEPROM (Tsi57x); null on the Tsi56x.
    CI2cMaster* I2c() { return m_pI2c.get(); }
    // Resets the I2C master and loads the boot EEPROM (Tsi57x).
    void ResetDeviceReceived(uint8_t uchPort) override;
    // The register records the last boot load wrote.
    uint32_t BootRecordsLoaded() const { return m_ulBootRecords; }

    void CountPackets(uint8_t uchPort, bool bTransmit, const SPacketInfo& packet, uint32_t ulCount,
                      uint64_t ullPayloadBytes) override;
    void CountLinkEvent(uint8_t uchPort, ELinkEvent eEvent, uint32_t ulCount,
                        const SPacketInfo& packet) override;

    static constexpr uint32_t kPerfControl = 0x13020; // + 4 (k / 2) + 0x100 n
    static constexpr uint32_t kPerfCounter = 0x13040; // + 4 k + 0x100 n
    static constexpr uint32_t kPerfCounters = 6;

private:
    bool IsTsi57x() const;
    uint32_t SerdesWord(uint8_t uchPort) const;
    // Whether the port's lanes are reversed or inverted against a straight link (Tsi57x).
    bool LanesCrossed(uint8_t uchPort) const;
    // A DestID/port register pair: the table it reaches (-1: every table) and which register
    // of the pair; false when the offset is neither.
    bool RoutePair(uint32_t ulOffset, int* pnTable, bool* pbPortRegister) const;
    uint32_t& Cursor(int nTable);
    // The 16-bit control of performance counter k of a port.
    uint32_t PerfControl(uint8_t uchPort, uint32_t k) const;
    // Adds to the counters of a port whose control matches: fnAmount gives the amount for a
    // counter of that type and direction (0: does not count it).
    void AddPerf(uint8_t uchPort, uint8_t uchPriority,
                 const std::function<uint64_t(uint32_t, bool)>& fnAmount);

    std::unique_ptr<CI2cMaster> m_pI2c;
    // The entry each DestID register selects: one per port, the broadcast pair's last.
    std::vector<uint32_t> m_cursors;
    std::vector<bool> m_autoIncrement;
    std::vector<std::array<uint32_t, kPerfCounters>> m_perf; // per port
    uint32_t m_ulBootRecords = 0;
};
} // namespace nvsim::models
