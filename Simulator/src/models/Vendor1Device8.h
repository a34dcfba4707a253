// Vendor 1 device 8: a fixed two-port switch. Its links run at 2.5 Gbaud only, it has no Host
// Base Device ID Lock (0x68 reads 0 and ignores writes), and its port state is one nibble a port
// at 0x100B0 (bit 3 set while the port is down). Its two route tables share one word per
// destination ID, table t in the nibble at bit 4 t (8: no route): 256 words at 0x10800 for 8-bit
// IDs, 2048 words at 0x11C00 for 16-bit IDs, each routing the packets of its transport size.
// The tables are write-protected: writing (1 << (t + 16)) + 0xFACE to 0x100E8 unlocks table t,
// the same write locks it again; a locked table keeps its nibbles when its words are written.
//
// Source: the HAL's description of the part (every address, value and field above). The part's
// identity and manual could not be found: the reset values (tables empty and locked) and that
// the lock key is checked are assumptions.
#pragma once

#include "nvsim/StdDevice.h"

#include <vector>

namespace nvsim::models
{
class CVendor1Device8Switch : public CStdDevice
{
public:
    static constexpr uint8_t kPorts = 2;
    static constexpr uint8_t kNoRoute = 0x8;

    CVendor1Device8Switch(std::string strName, SDeviceConfig config);

    uint32_t ReadRegister(uint32_t ulOffset, const SRegAccess& access) override;
    void WriteRegister(uint32_t ulOffset, uint32_t ulValue, uint32_t ulByteMask,
                       const SRegAccess& access) override;
    bool Route(uint32_t ulDestId, bool bLarge, uint8_t uchIngressPort, uint8_t* puchEgress) const override;
    uint32_t PortSpeeds(uint8_t uchPort) const override;
    bool PresetPortSpeed(uint8_t uchPort, uint32_t ulMbaud, std::string* pError) override;
    // The 8-bit ID table's nibble (ulDestId < 256) as a topology route line sets it.
    uint8_t RouteEntry(uint32_t ulDestId, uint8_t uchTable = 0) const override;
    void SetRouteEntry(uint32_t ulDestId, uint8_t uchPort, int nTable = -1) override;
    // The nibble of a table in the 16-bit ID area.
    uint8_t LargeRouteEntry(uint32_t ulDestId, uint8_t uchTable) const;
    bool TableLocked(uint8_t uchTable) const;

private:
    std::vector<uint32_t> m_small;
    std::vector<uint32_t> m_large;
    uint32_t m_ulUnlocked = 0; // bit t: table t may be written
};
} // namespace nvsim::models
