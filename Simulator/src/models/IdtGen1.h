// IDT Gen1 switches: 80KSW0001 (device 0x035A), CPS-16 (0x035B), CPS-8 (0x035C), CPS-12
// (0x035D), CPS-10Q (0x035E), CPS-6Q (0x035F); vendor 0x0038 (device IDs as in the Linux
// kernel's include/linux/rio_ids.h). The 70K2000 (Idt70K2000.h) shares the quad registers.
//
// Besides the IDT route tables (IdtSwitch.h), the quad control registers at 0xFF0000 + 0x1000 r:
// bit 5 makes the quad four x1 ports (one x4 port otherwise), bits 1..0 set the rate of all its
// ports (0 1.25, 1 2.5, 2 3.125 Gbaud), bit 6 forces the quad's links to reinitialize. Ports are
// numbered quad by quad in register order, four for a quad in x1 mode and one otherwise; a port
// number beyond them has no lanes.
//
// Sources: the HAL's description of these switches (quad register addresses, fields, how ports
// follow the quads, the quad counts 3, 4, 2, 3, 10, 6). The user manuals were not available:
// the port numbering, the reset values of the quad registers (here: the x1 mode on the parts
// named after their port count, x4 ports on the "Q" parts, 3.125 Gbaud) and the port counts of
// the CPS-10Q and CPS-6Q (taken as their quad counts) are assumptions.
#pragma once

#include "models/IdtSwitch.h"

namespace nvsim::models
{
class CIdtGen1Switch : public CIdtSwitch
{
public:
    // Quad registers of a Gen1 device (0 for a device that is none of them).
    static uint32_t QuadCount(uint16_t wDeviceId);
    // Ports of a Gen1 device as it comes out of reset.
    static uint8_t PortCountAtReset(uint16_t wDeviceId);

    CIdtGen1Switch(std::string strName, SDeviceConfig config);

    uint32_t PortSpeeds(uint8_t uchPort) const override;
    uint8_t PortLanes(uint8_t uchPort) const override;
    bool PresetPortSpeed(uint8_t uchPort, uint32_t ulMbaud, std::string* pError) override;

protected:
    // The 70K2000's form: one table for all ports, quads given by the caller.
    CIdtGen1Switch(std::string strName, SDeviceConfig config, bool bPerPortTables, uint32_t ulQuads,
                   bool bFourPortQuads);

private:
    // The quad register of a port, or -1 when the port has no lanes.
    int QuadOf(uint8_t uchPort) const;

    uint32_t m_ulQuads = 0;
};
} // namespace nvsim::models
