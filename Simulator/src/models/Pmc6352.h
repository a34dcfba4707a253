// PMC6352 (device 0x6352, vendor 0x003B): a 16-port switch with a route table of 4096 byte
// entries per port at 0x15000 + 0x2000 t and a common table at 0x11000; a byte with bit 7 set
// routes to the port in its bits 3..0, any other byte routes nowhere. A port's lookup engine
// runs while bit 5 of its control register (0x14000 + 0x2000 t) is set, and its table can then
// be neither read nor written (reads answer 0, writes are lost); bit 5 of 0x14010 + 0x2000 t
// tells the port its table changed. A write to the common table reaches every port's table.
// The link rate of all ports is bits 3..2 of 0x10000 (1 1.25, 2 2.5, 3 3.125 Gbaud). The switch
// consumes requests addressed to its own base device ID.
//
// Source: the HAL's description of the part. No manual or register header could be found: the
// byte value meaning (the HAL's route words set 128 + port), the engine's behaviour, the reset
// values (engines running, tables empty, 3.125 Gbaud) and the byte order are assumptions. The
// bytes are laid out as RapidIO maintenance addresses them, big-endian: ID d is the byte at
// table offset d, bits 31..24 of its word for d & 3 = 0.
#pragma once

#include "nvsim/StdDevice.h"

#include <vector>

namespace nvsim::models
{
class CPmc6352Switch : public CStdDevice
{
public:
    static constexpr uint8_t kPorts = 16;
    static constexpr uint32_t kTableBytes = 4096;
    static constexpr uint8_t kRouteValid = 0x80;

    CPmc6352Switch(std::string strName, SDeviceConfig config);

    uint32_t ReadRegister(uint32_t ulOffset, const SRegAccess& access) override;
    void WriteRegister(uint32_t ulOffset, uint32_t ulValue, uint32_t ulByteMask,
                       const SRegAccess& access) override;
    bool Route(uint32_t ulDestId, bool bLarge, uint8_t uchIngressPort, uint8_t* puchEgress) const override;
    uint32_t PortSpeeds(uint8_t uchPort) const override;
    bool PresetPortSpeed(uint8_t uchPort, uint32_t ulMbaud, std::string* pError) override;
    bool ConsumesOwnId() const override { return true; }
    // The byte of ID ulDestId in a port's table (as the port routes by it).
    uint8_t RouteEntry(uint32_t ulDestId, uint8_t uchTable = 0) const override;
    void SetRouteEntry(uint32_t ulDestId, uint8_t uchPort, int nTable = -1) override;
    // Whether a port's lookup engine runs.
    bool EngineRuns(uint8_t uchTable) const;

private:
    // The table an offset falls in (-1 the common one) and the byte offset; false if none.
    bool TableByte(uint32_t ulOffset, int* pnTable, uint32_t* pulByte) const;

    std::vector<std::vector<uint8_t>> m_tables; // one per port
    std::vector<uint8_t> m_common;
};
} // namespace nvsim::models
