// PMC6352 (device 0x6352, vendor 0x003B): a 16-port switch with a route table of 4096 byte
// entries per port at 0x15000 + 0x2000 t and a common table at 0x11000. A route is kept as
// 128 + port: a byte with bit 7 or bit 3 set routes to the port in its bits 3..0, any other byte
// routes nowhere. A port's lookup engine runs while bit 5 of its control register
// (0x14000 + 0x2000 t) is set, and its table can then be neither read nor written (reads answer 0,
// writes are lost); bit 5 of 0x14010 + 0x2000 t tells the port its table changed. A write to the
// common table reaches every port's table. The link rate of all ports is bits 3..2 of 0x10000
// (1 1.25, 2 2.5, 3 3.125 Gbaud). The switch consumes requests addressed to its own base device ID.
//
// Source: the description of the part that the client's HAL was written from (table places, engine
// bit, update bit, speed field, the route value 128 + port); no public manual or register header of
// the part could be found. Assumptions:
// - Byte order: the bytes of a table lie as RapidIO numbers the bytes of a maintenance word, byte 0
//   the most significant (bits 31..24) at the lowest address. ID d is the table byte at offset d:
//   in the word at d & 0xFFC it is byte d & 3, and a byte-wide write to offset d reaches it.
// - Route value: the description has a route written as 128 + port and a byte with bit 3 set read as a
//   route to the port in bits 3..0. Bit 3 alone can't mark a route (ports 0..7 are written without
//   it), so the lookup takes a byte with bit 7 or bit 3 set as a route; what the part does with
//   other values (bits 6..4) is unknown and they route nowhere here.
// - Reset values: engines running, tables empty, 3.125 Gbaud; the engine's behaviour while it runs.
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
    static constexpr uint8_t kRouteHighPort = 0x08;

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
