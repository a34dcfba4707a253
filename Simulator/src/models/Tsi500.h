// Tsi500 (device 0x0500, vendor 0x000D): a four-port parallel RapidIO switch. Each port has its
// own route table of 256 IDs in nibbles, eight IDs a word: the word of ID d in port t's table is
// at (t << 17) + 0x10A00 + 4 (d >> 3), nibble d & 7 from the low end; 0..3 a port, 8 no route.
//
// Source: the HAL's description of the part (table addresses and nibble values). The manual
// could not be read: the table reset value (no route), that any nibble above 3 routes nowhere,
// and where the port state is reported (the model answers through the LP-Serial block at 0x100,
// port OK in bit 1 of 0x158 + 32 n, as the HAL reads it) are assumptions.
//
// Counters, at (t << 17) + 0x10000 + the offsets the client's link monitors read, all of them
// assumptions (no manual): 0x808 + 4 b the outbound retries of buffer b (packet-retry symbols
// received for packets of priority b) in bits 31..16; 0x90C the inbound CRC errors in bits
// 31..16; 0x914 the inbound data in 4-byte units and 0x918 the inbound packets; 0x91C + 4 p the
// inbound NREAD requests of priority p and 0x92C + 4 p the inbound write requests of priority p.
// They count always and are cumulative (not cleared on read), wrapping at their width.
#pragma once

#include "models/CounterBank.h"
#include "nvsim/StdDevice.h"

#include <array>

namespace nvsim::models
{
class CTsi500Switch : public CStdDevice
{
public:
    static constexpr uint8_t kPorts = 4;
    static constexpr uint8_t kNoRoute = 0x8;

    CTsi500Switch(std::string strName, SDeviceConfig config);

    uint32_t ReadRegister(uint32_t ulOffset, const SRegAccess& access) override;
    void WriteRegister(uint32_t ulOffset, uint32_t ulValue, uint32_t ulByteMask,
                       const SRegAccess& access) override;
    bool Route(uint32_t ulDestId, bool bLarge, uint8_t uchIngressPort, uint8_t* puchEgress) const override;
    uint8_t RouteEntry(uint32_t ulDestId, uint8_t uchTable = 0) const override;
    void SetRouteEntry(uint32_t ulDestId, uint8_t uchPort, int nTable = -1) override;
    void CountPackets(uint8_t uchPort, bool bTransmit, const SPacketInfo& packet, uint32_t ulCount,
                      uint64_t ullPayloadBytes) override;
    void CountLinkEvent(uint8_t uchPort, ELinkEvent eEvent, uint32_t ulCount,
                        const SPacketInfo& packet) override;

private:
    // The table and word an offset holds; false when it is no table word.
    bool TableWord(uint32_t ulOffset, uint32_t* pulTable, uint32_t* pulWord) const;

    std::array<std::array<uint8_t, 256>, kPorts> m_tables{};
    CCounterBank m_bank;
};
} // namespace nvsim::models
