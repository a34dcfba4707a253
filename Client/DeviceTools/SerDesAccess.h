// Register access to one IDT Gen2 switch for the SerDes tools, and the facts about its lanes
// that the tools need: which device IDs they serve, the lanes of a port, the register offsets.
#pragma once

#include <cstdint>
#include <vector>

// 32-bit maintenance accesses to the switch under tuning. The searches do not look at the
// status: a lost access costs one measurement.
class ISerDesAccess
{
public:
    virtual ~ISerDesAccess() = default;
    virtual int32_t Read(uint32_t ulOffset, uint32_t* pulValue) = 0;
    virtual int32_t Write(uint32_t ulOffset, uint32_t ulValue) = 0;
};

// Over the transaction front end to the switch at ulDestID, ulHopCount hops away.
class CTargetSerDesAccess final : public ISerDesAccess
{
public:
    CTargetSerDesAccess(uint32_t ulDestID, uint8_t uchHopCount)
        : m_ulDestID(ulDestID), m_uchHopCount(uchHopCount)
    {
    }
    int32_t Read(uint32_t ulOffset, uint32_t* pulValue) override;
    int32_t Write(uint32_t ulOffset, uint32_t ulValue) override;

private:
    uint32_t m_ulDestID;
    uint8_t m_uchHopCount;
};

namespace serdes
{
constexpr uint32_t kDeviceIdentity = 0x0;
constexpr uint32_t kDeviceInfo = 0x4;
constexpr uint32_t kLinkTimeout = 0x120;
constexpr uint32_t kQuadConfig = 0xF20200;
constexpr uint32_t kDeviceReset = 0xF20300;
constexpr uint32_t kDoReset = 0x80000000;
constexpr uint32_t kCountersEnable = 0x04000000;
constexpr uint32_t kPortOk = 0x2; // Port n Error and Status: PORT_OK
constexpr uint32_t LaneControl(uint32_t l)
{
    return 0xFF8000 + 0x100 * l;
}
constexpr uint32_t LaneSample(uint32_t l)
{
    return 0xFF800C + 0x100 * l;
}
constexpr uint32_t DfeControl(uint32_t l)
{
    return 0xFF8028 + 0x100 * l;
}
constexpr uint32_t DfeTaps(uint32_t l)
{
    return 0xFF802C + 0x100 * l;
}
constexpr uint32_t LaneErrorStatus(uint32_t l)
{
    return 0x2010 + 0x20 * l;
}
constexpr uint32_t LaneDrive(uint32_t l)
{
    return 0x201C + 0x20 * l;
}
constexpr uint32_t PortErrorStatus(uint32_t p)
{
    return 0x158 + 0x20 * p;
}
constexpr uint32_t PortErrorRateEnable(uint32_t p)
{
    return 0x1044 + 0x40 * p;
}
constexpr uint32_t PortErrorRate(uint32_t p)
{
    return 0x1068 + 0x40 * p;
}
constexpr uint32_t PortErrorThreshold(uint32_t p)
{
    return 0x106C + 0x40 * p;
}
constexpr uint32_t PortOperations(uint32_t p)
{
    return 0xF40004 + 0x100 * p;
}
} // namespace serdes

constexpr uint16_t kSerDesVendorID = 0x0038;

// Whether the tools serve the device (884, 885, 887: the CPS-1848 grid; 888, 889: the CPS-1616 grid).
bool IsSerDesDevice(uint16_t wDeviceID);
// Whether the device uses the CPS-1616 grid (888, 889).
bool IsCPS1616Grid(uint16_t wDeviceID);

// The ports of a device and the lanes of each, as the quad configuration deals them out.
struct SSerDesPort
{
    uint32_t ulFirstLane = 0;
    uint32_t ulLanes = 0; // 0: the port does not exist in the present configuration
};
struct SSerDesDeviceTable
{
    uint16_t wDeviceID = 0;
    std::vector<SSerDesPort> ports;
};
// Reads the quad configuration and builds the table; false for a device the tools do not serve
// or a failed read.
bool LoadSerDesDeviceTable(ISerDesAccess& access, uint16_t wDeviceID, SSerDesDeviceTable* pTable);
