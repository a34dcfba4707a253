// What the IDT switches (70K2000, Gen1 CPS-16/8/12/10Q/6Q and 80KSW0001, Gen2 CPS-1848/1432/
// 1616, SPS-1616, VPS-1616) share: route tables of port values, reached one entry at a time
// through the standard route registers and whole through memory windows, and routing by them.
//
// A table has a device part (IDs 0..255, or the low byte of a 16-bit ID in the switch's own
// domain) and a domain part (the high byte of 16-bit IDs of other domains): 512 entries, the
// device part first, as the windows lay them out. Entry values: a port number, 0x40 + n for
// multicast mask n (copied to the mask's ports where the part has mask registers), 0xDD "use the device
// table" (domain part), 0xDE "use the default route" (Route Default Port, 0x78), 0xDF "no route".
//
// Sources: IDT's Device Access Routines as published by the RapidIO Trade Association
// (CPS1848.h: CPS1848_RTE_PORT_SEL 0x10070, CPS1848_BCAST_DEV_RTE_TABLE 0xE00000,
// CPS1848_BCAST_DOM_RTE_TABLE 0xE00400, CPS1848_PORT_X_DEV_RTE_TABLE 0xE10000 + 0x1000 n,
// CPS1848_RIO_DOMAIN 0xF20020, CPS_RT_USE_DEVICE_TABLE/USE_DEFAULT_ROUTE/NO_ROUTE 0xDD/0xDE/
// 0xDF, the table reset value 0xDE in CPS_PC.c, and the note in CPS_RT.c that a domain register
// of 0 makes the 16-bit IDs 0x00YY route as 8-bit IDs), and the Linux kernel's drivers
// (drivers/rapidio/switches/idtcps.c and idt_gen2.c: table select values, 0xF20020 on Gen1 and
// the 70K200, extended configuration through 0x70 bit 31 four entries at a time).
#pragma once

#include "models/CounterBank.h"
#include "nvsim/StdDevice.h"

#include <array>
#include <memory>
#include <vector>

namespace nvsim::models
{
class CIdtSwitch : public CStdDevice
{
public:
    static constexpr uint8_t kUseDeviceTable = 0xDD;
    static constexpr uint8_t kUseDefaultRoute = 0xDE;
    static constexpr uint8_t kNoRoute = 0xDF;
    static constexpr uint8_t kFirstMask = 0x40;
    // Entries of a table: the device part, then the domain part.
    static constexpr uint32_t kTableEntries = 512;
    static constexpr uint32_t kDomainPart = 256;

    // bPerPortTables: one table per ingress port behind the table select register (Gen1,
    // Gen2); otherwise one table for all ports (70K2000).
    CIdtSwitch(std::string strName, SDeviceConfig config, bool bPerPortTables);

    uint32_t ReadRegister(uint32_t ulOffset, const SRegAccess& access) override;
    void WriteRegister(uint32_t ulOffset, uint32_t ulValue, uint32_t ulByteMask,
                       const SRegAccess& access) override;
    bool Route(uint32_t ulDestId, bool bLarge, uint8_t uchIngressPort, uint8_t* puchEgress) const override;
    // The ports of the mask a multicast entry of the ingress port's table names, where the model
    // has the masks (MaskPorts); otherwise the standard associations.
    std::optional<std::vector<uint8_t>> MulticastPorts(uint32_t ulDestId, bool bLarge,
                                                       uint8_t uchIngressPort) const override;

    // Entry ulIndex (0..511: device part, then domain part) of a port's table (table 0 when
    // there is only one).
    uint8_t TableEntry(uint8_t uchTable, uint32_t ulIndex) const;
    // A topology's route line: the device entry of an 8-bit ID, in one table or all.
    uint8_t RouteEntry(uint32_t ulDestId, uint8_t uchTable = 0) const override;
    void SetRouteEntry(uint32_t ulDestId, uint8_t uchPort, int nTable = -1) override;

    // The per-port performance counters at 0xF40000 + 0x100 n (the family's layout, set by the
    // Gen1 and Gen2 models).
    void CountPackets(uint8_t uchPort, bool bTransmit, const SPacketInfo& packet, uint32_t ulCount,
                      uint64_t ullPayloadBytes) override;
    void CountLinkEvent(uint8_t uchPort, ELinkEvent eEvent, uint32_t ulCount,
                        const SPacketInfo& packet) override;

protected:
    // The ports of multicast mask ulMask as a packet entering on uchIngressPort sees it; false when
    // the part has no such mask (the base: no masks; the packet is dropped).
    virtual bool MaskPorts(uint8_t uchIngressPort, uint32_t ulMask, std::vector<uint8_t>* pPorts) const;

    // Base of the per-port counter registers; port n's are 0x100 n further on.
    static constexpr uint32_t kCounterBase = 0xF40000;
    static constexpr uint32_t kCounterPortStride = 0x100;
    std::unique_ptr<CCounterBank> m_pCounters;

private:
    // The entry that decides where a packet goes: the port table of the ingress port (or the one
    // table), the domain part for another domain's 16-bit ID, the default port resolved.
    uint8_t Lookup(uint32_t ulDestId, bool bLarge, uint8_t uchIngressPort) const;

    using Table = std::array<uint8_t, kTableEntries>;

    // The table an access through the registers reads; null when the select names no port.
    const Table* SelectedForRead() const;
    // Sets an entry in the selected table (every table when the broadcast table is selected).
    void WriteSelected(uint32_t ulIndex, uint8_t uchValue);
    // The entry 0x70 selects: the domain part when DESTID_MSB is set, else the device part.
    uint32_t SelectedIndex() const;
    // The window a configuration offset falls in: -1 broadcast, 0.. a port's table, -2 none.
    int WindowOf(uint32_t ulOffset, uint32_t* pulIndex) const;

    bool m_bPerPortTables;
    std::vector<Table> m_tables; // one per port, or one
};
} // namespace nvsim::models
