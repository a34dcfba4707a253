// The standard RapidIO device: capability and command/status registers, the standard route
// and multicast registers of a switch, and an LP-Serial extended features block at 0x100.
// Reset values and field layouts follow the RapidIO standard, rev. 2.2
// (Parts 1, 3, 6, 8 and 11) as tabled in shared/data/rapidio-standard-registers.
#pragma once

#include "nvsim/Device.h"

#include <map>
#include <set>
#include <tuple>

namespace nvsim
{
// Standard register offsets.
namespace reg
{
inline constexpr uint32_t kDeviceIdentity = 0x00;
inline constexpr uint32_t kDeviceInfo = 0x04;
inline constexpr uint32_t kAssemblyIdentity = 0x08;
inline constexpr uint32_t kAssemblyInfo = 0x0C;
inline constexpr uint32_t kFeatures = 0x10;
inline constexpr uint32_t kSwitchPortInfo = 0x14;
inline constexpr uint32_t kSourceOps = 0x18;
inline constexpr uint32_t kDestOps = 0x1C;
inline constexpr uint32_t kMulticastSupport = 0x30;
inline constexpr uint32_t kRouteLimit = 0x34;
inline constexpr uint32_t kMulticastInfo = 0x38;
inline constexpr uint32_t kLogicalControl = 0x4C;
inline constexpr uint32_t kBaseDeviceId = 0x60;
inline constexpr uint32_t kHostLock = 0x68;
inline constexpr uint32_t kComponentTag = 0x6C;
inline constexpr uint32_t kRouteDestId = 0x70;
inline constexpr uint32_t kRoutePort = 0x74;
inline constexpr uint32_t kRouteDefaultPort = 0x78;
inline constexpr uint32_t kMulticastMaskPort = 0x80;
inline constexpr uint32_t kMulticastAssocSelect = 0x84;
inline constexpr uint32_t kMulticastAssocOp = 0x88;
// LP-Serial extended features block and its registers, relative to the block.
inline constexpr uint32_t kLpSerialBlock = 0x100;
inline constexpr uint32_t kLinkTimeout = 0x20;
inline constexpr uint32_t kResponseTimeout = 0x24;
inline constexpr uint32_t kGeneralControl = 0x3C;
inline constexpr uint32_t kLinkRequest = 0x40;  // + 32 n
inline constexpr uint32_t kLinkResponse = 0x44; // + 32 n
inline constexpr uint32_t kLocalAckId = 0x48;   // + 32 n
inline constexpr uint32_t kPortControl2 = 0x54; // + 32 n
inline constexpr uint32_t kErrorStatus = 0x58;  // + 32 n
inline constexpr uint32_t kPortControl = 0x5C;  // + 32 n
inline constexpr uint32_t kPortStride = 0x20;
// Error Management Extensions block (RapidIO Part 8, 2.3), after the LP-Serial block, and its
// per-port registers, relative to the block, 0x40 apart from port to port.
inline constexpr uint32_t kErrorBlock = 0x1000;
inline constexpr uint32_t kErrorDetect = 0x40;     // Port n Error Detect CSR
inline constexpr uint32_t kErrorRateEnable = 0x44; // Port n Error Rate Enable CSR
inline constexpr uint32_t kErrorCapture = 0x48;    // Port n Attributes Capture CSR
inline constexpr uint32_t kErrorRate = 0x68;       // Port n Error Rate CSR
inline constexpr uint32_t kErrorThreshold = 0x6C;  // Port n Error Rate Threshold CSR
inline constexpr uint32_t kErrorPortStride = 0x40;
} // namespace reg

// Bits of Port n Error Detect and Port n Error Rate Enable (RapidIO Part 8, 2.3.2.10 and
// 2.3.2.11; bit 0 the least significant here, so RapidIO bit 13 is bit 18).
namespace errdetect
{
inline constexpr uint32_t kNackReceived = 1u << 20;    // received packet-not-accepted control symbol
inline constexpr uint32_t kUnexpectedAckId = 1u << 19; // received packet with unexpected ackID
inline constexpr uint32_t kBadCrc = 1u << 18;          // received packet with bad CRC
} // namespace errdetect

// Bits of Port n Error and Status (bit 0 the least significant).
namespace errstat
{
inline constexpr uint32_t kPortUninitialized = 1u << 0;
inline constexpr uint32_t kPortOk = 1u << 1;
inline constexpr uint32_t kPortError = 1u << 2;
inline constexpr uint32_t kPortUnavailable = 1u << 3;
inline constexpr uint32_t kPortWritePending = 1u << 4;
inline constexpr uint32_t kInputErrorStopped = 1u << 8;
inline constexpr uint32_t kInputErrorEncountered = 1u << 9;
inline constexpr uint32_t kInputRetryStopped = 1u << 10;
inline constexpr uint32_t kOutputErrorStopped = 1u << 16;
inline constexpr uint32_t kOutputErrorEncountered = 1u << 17;
inline constexpr uint32_t kOutputRetryStopped = 1u << 18;
inline constexpr uint32_t kOutputRetried = 1u << 19;
inline constexpr uint32_t kOutputRetryEncountered = 1u << 20;
inline constexpr uint32_t kOutputDegraded = 1u << 24;
inline constexpr uint32_t kOutputFailed = 1u << 25;
inline constexpr uint32_t kOutputPacketDropped = 1u << 26;
// The bits that stay set until written with 1 (RapidIO Part 6, 6.6.8; RapidIO Part 8, 2.2 for bits 26..24).
inline constexpr uint32_t kWriteOneToClear = kPortError | kPortWritePending | kInputErrorEncountered |
                                             kOutputErrorEncountered | kOutputRetryEncountered |
                                             kOutputDegraded | kOutputFailed | kOutputPacketDropped;
} // namespace errstat

// Link-request commands and link-response port_status values (RapidIO Part 6, link-request
// and link-response control symbols).
namespace linkmaint
{
inline constexpr uint32_t kResetDevice = 3;
inline constexpr uint32_t kInputStatus = 4;
inline constexpr uint32_t kResponseValid = 1u << 31;
inline constexpr uint32_t kStatusError = 0x02;
inline constexpr uint32_t kStatusRetryStopped = 0x04;
inline constexpr uint32_t kStatusErrorStopped = 0x05;
inline constexpr uint32_t kStatusOk = 0x10;
} // namespace linkmaint

class CStdDevice : public CSimDevice
{
public:
    // Value of a routing table entry that routes nowhere (the reset value of every entry).
    static constexpr uint8_t kUnrouted = 0xFF;

    CStdDevice(std::string strName, SDeviceConfig config);

    bool Route(uint32_t ulDestId, bool bLarge, uint8_t uchIngressPort, uint8_t* puchEgress) const override;
    // The ports of the mask associated with the ID through the standard multicast registers.
    std::optional<std::vector<uint8_t>> MulticastPorts(uint32_t ulDestId, bool bLarge,
                                                       uint8_t uchIngressPort) const override;
    bool PortEnabled(uint8_t uchPort) const override;
    // The standard's error management of a port: errors of the link set their Port n Error
    // Detect bits and, where enabled, count in Port n Error Rate.
    void CountLinkEvent(uint8_t uchPort, ELinkEvent eEvent, uint32_t ulCount,
                        const SPacketInfo& packet) override;
    // The rates Port n Control 2 has enabled, of those the port supports.
    uint32_t PortSpeeds(uint8_t uchPort) const override;

    // Routing table entry for ulDestId in the table of an ingress port (the one table when the
    // switch has no per-port tables). Models with tables of their own give their entry.
    virtual uint8_t RouteEntry(uint32_t ulDestId, uint8_t uchTable = 0) const;
    // Sets an entry in one table, or with nTable < 0 in every table, to route ulDestId out of
    // uchPort (a topology's route line). IDs above the route limit are ignored, as the
    // hardware has no entry for them.
    virtual void SetRouteEntry(uint32_t ulDestId, uint8_t uchPort, int nTable = -1);
    // Port for IDs beyond the table (Standard Route Default Port).
    void SetDefaultPort(uint8_t uchPort);

    // Multicast state, for assertions: whether a mask holds a port, and the mask associated
    // with a destination ID (per ingress port when the switch associates per port).
    bool MulticastMaskHasPort(uint16_t wMask, uint8_t uchPort) const;
    std::optional<uint16_t> MulticastAssociation(uint32_t ulDestId, bool bLarge,
                                                 uint8_t uchIngressPort) const;

    // Port n Control 2 bits of a set of rates: the enable bits (25..16, the lower bit of each
    // pair) and the support bits (the upper one), RapidIO Part 6, 6.6.10.
    static uint32_t BaudEnableBits(uint32_t ulSpeeds);
    static uint32_t BaudSupportBits(uint32_t ulSpeeds);

protected:
    // Offset of a port's register in the LP-Serial block.
    static uint32_t PortReg(uint32_t ulRegister, uint8_t uchPort)
    {
        return reg::kLpSerialBlock + ulRegister + reg::kPortStride * uchPort;
    }

    // The rates the ports support (Port n Control 2 support bits); every rate unless a model
    // says otherwise.
    void SetSupportedSpeeds(uint32_t ulSpeeds) { m_ulSupportedSpeeds = ulSpeeds; }
    // Port n Control as read: the stored bits, the width support of the port's lanes and the
    // initialized width of its link.
    virtual uint32_t PortControlRead(uint8_t uchPort) const;
    // Sends a link-request (reset-device or input-status) out of a port, as a write of Port n
    // Link Maintenance Request does, and leaves the answer in Port n Link Maintenance Response.
    void LinkRequest(uint8_t uchPort, uint32_t ulCommand);

private:
    void InstallCapabilityRegisters();
    void InstallCommandRegisters();
    void InstallRouteRegisters();
    void InstallMulticastRegisters();
    void InstallLpSerialBlock();
    void InstallPortRegisters(uint8_t uchPort);
    void InstallErrorManagementBlock();
    // Notes ulCount errors of one kind (an errdetect bit, with its capture error type) at a port.
    void DetectError(uint8_t uchPort, uint32_t ulBit, uint32_t ulErrorType, uint32_t ulCount);

    uint32_t RoutePortRead(const SRegAccess& access) const;
    void RoutePortWrite(uint32_t ulValue, const SRegAccess& access);
    bool ExtendedSelect() const;
    std::vector<uint8_t>& Table(uint8_t uchIngressPort);
    const std::vector<uint8_t>& Table(uint8_t uchIngressPort) const;

    void MulticastMaskWrite(uint32_t ulValue);
    void MulticastAssocWrite(uint32_t ulValue);

    uint32_t ErrorStatusRead(uint8_t uchPort) const;
    uint32_t PortControl2Read(uint8_t uchPort) const;

    uint32_t m_ulSupportedSpeeds = speeds::kAll;
    std::vector<std::vector<uint8_t>> m_tables; // one per ingress port, or one
    std::vector<std::set<uint8_t>> m_masks;     // ports of each multicast mask
    // (ingress port or 0xFF, large, destination ID) -> mask
    std::map<std::tuple<uint8_t, bool, uint32_t>, uint16_t> m_associations;
};
} // namespace nvsim
