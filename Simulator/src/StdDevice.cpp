#include "nvsim/StdDevice.h"

#include "nvsim/Fabric.h"

namespace nvsim
{
namespace
{
// Extended Features Block IDs of the LP-Serial block (RapidIO Part 6, 6.6): generic end point
// with software assisted error recovery, and generic end point free device (a switch) with
// software assisted error recovery. Both carry the link maintenance and ackID registers.
constexpr uint32_t kEfIdEndpoint = 0x0002;
constexpr uint32_t kEfIdSwitch = 0x0009;
constexpr uint32_t kEfIdErrorManagement = 0x0007;
// The Port n Error Detect bits a port of this simulator can detect: RapidIO bits 8..17, 26..31
// and the implementation-specific bit 0.
constexpr uint32_t kErrorDetectBits = 0x80FFC03F;

// Port Link and Response Time-out CSRs: a 24-bit value in bits 31..8, all ones at reset
// (RapidIO Part 6, 6.6.2 and 6.6.3).
constexpr uint32_t kTimeoutMask = 0xFFFFFF00;

// Port General Control CSR (RapidIO Part 6, 6.6.4): Host, Master Enable, Discovered in bits 31..29.
constexpr uint32_t kGeneralControlMask = 0xE0000000;

// Port n Control CSR fields (RapidIO Part 6, 6.6.9; RapidIO Part 8, 2.2 for bits 3..1).
constexpr uint32_t kPortWidth2x = 1u << 31;
constexpr uint32_t kPortWidth4x = 1u << 30;
constexpr int kInitWidthShift = 27;
constexpr uint32_t kPortDisable = 1u << 23;
constexpr uint32_t kOutputPortEnable = 1u << 22;
constexpr uint32_t kInputPortEnable = 1u << 21;
constexpr uint32_t kPortWidth8x = 1u << 13;
constexpr uint32_t kPortWidth16x = 1u << 12;
constexpr uint32_t kPortTypeSerial = 1u << 0;
// Width override, disable, enables, error checking disable, multicast-event participant,
// enumeration boundary, extended width override, implementation-defined 11..4 and the error
// management controls 3..1: everything software may change.
constexpr uint32_t kPortControlWritable = 0x07FAC000 | 0x00000FF0 | 0x0000000E;

// Port n Control 2 CSR (RapidIO Part 6, 6.6.10): selected baud rate in bits 31..28, support and
// enable bits for 1.25, 2.5, 3.125, 5.0 and 6.25 Gbaud in bits 25..16.
constexpr int kSelectedBaudShift = 28;
constexpr uint32_t kBaudEnable = 0x01550000;
// The enable bit of each rate, from 1.25 Gbaud up; its support bit is the next one up.
constexpr uint32_t kBaudEnableBit[] = {1u << 24, 1u << 22, 1u << 20, 1u << 18, 1u << 16};

// Local ackID CSR (RapidIO Part 6, 6.6.7): writing bit 31 discards the outstanding packets.
constexpr uint32_t kClearOutstanding = 1u << 31;

// Initialized Port Width encoding of a link width.
uint32_t InitializedWidth(uint8_t uchLanes)
{
    switch (uchLanes)
    {
    case 2:
        return 0x3;
    case 4:
        return 0x2;
    case 8:
        return 0x4;
    case 16:
        return 0x5;
    default:
        return 0x0; // single lane, lane 0
    }
}

// Selected Baudrate encoding of a link speed.
uint32_t SelectedBaud(uint32_t ulMbaud)
{
    switch (ulMbaud)
    {
    case 1250:
        return 0x1;
    case 2500:
        return 0x2;
    case 3125:
        return 0x3;
    case 5000:
        return 0x4;
    case 6250:
        return 0x5;
    default:
        return 0x0;
    }
}

uint32_t Merge(uint32_t ulOld, uint32_t ulNew, uint32_t ulMask)
{
    return (ulOld & ~ulMask) | (ulNew & ulMask);
}
} // namespace

uint32_t CStdDevice::BaudEnableBits(uint32_t ulSpeeds)
{
    uint32_t ulBits = 0;
    for (uint32_t i = 0; i < 5; ++i)
        ulBits |= (ulSpeeds & (1u << i)) ? kBaudEnableBit[i] : 0;
    return ulBits;
}

uint32_t CStdDevice::BaudSupportBits(uint32_t ulSpeeds)
{
    return BaudEnableBits(ulSpeeds) << 1;
}

CStdDevice::CStdDevice(std::string strName, SDeviceConfig config)
    : CSimDevice(std::move(strName), std::move(config))
{
    InstallCapabilityRegisters();
    InstallCommandRegisters();
    if (IsSwitch())
    {
        InstallRouteRegisters();
        if (Config().bMulticast)
            InstallMulticastRegisters();
    }
    InstallLpSerialBlock();
    InstallErrorManagementBlock();
}

void CStdDevice::InstallCapabilityRegisters()
{
    const SDeviceConfig& c = Config();
    // Device and Assembly Identity/Information CARs (RapidIO Part 1, 5.4.1 to 5.4.4). The extended
    // features pointer in the low half of Assembly Information leads to the LP-Serial block.
    SetReadOnly(reg::kDeviceIdentity, (uint32_t{c.wDeviceId} << 16) | c.wVendorId);
    SetReadOnly(reg::kDeviceInfo, c.ulDeviceRev);
    SetReadOnly(reg::kAssemblyIdentity, (uint32_t{c.wAssyId} << 16) | c.wAssyVendorId);
    SetReadOnly(reg::kAssemblyInfo, (uint32_t{c.wAssyRev} << 16) | reg::kLpSerialBlock);

    // Processing Element Features CAR: bridge, memory, processor, switch in bits 31..28
    // (RapidIO Part 1, 5.4.5); multicast in bit 10 (RapidIO Part 11, 3.2); the extended and standard route
    // table forms in bits 9 and 8 and large common transport in bit 4 (RapidIO Part 3, 3.4.1);
    // extended features in bit 3 and the address modes in bits 2..0 (RapidIO Part 1, 5.4.5).
    uint32_t ulFeatures = 0;
    ulFeatures |= c.bBridge ? 1u << 31 : 0;
    ulFeatures |= c.bMemory ? 1u << 30 : 0;
    ulFeatures |= c.bProcessor ? 1u << 29 : 0;
    ulFeatures |= c.bSwitch ? 1u << 28 : 0;
    if (c.bSwitch)
    {
        ulFeatures |= c.bMulticast ? 1u << 10 : 0;
        ulFeatures |= c.eRouteForm != ERouteForm::Standard ? 1u << 9 : 0;
        ulFeatures |= c.eRouteForm != ERouteForm::Extended ? 1u << 8 : 0;
    }
    ulFeatures |= c.bLargeTransport ? 1u << 4 : 0;
    ulFeatures |= 1u << 3;
    ulFeatures |= c.uchAddressModes & 0x7;
    SetReadOnly(reg::kFeatures, ulFeatures);

    // Switch Port Information CAR (RapidIO Part 1, 5.4.6): the port total in bits 15..8 and, in bits
    // 7..0, the port the maintenance read came in on - which differs from access to access.
    SetReg(reg::kSwitchPortInfo, uint32_t{c.uchPortCount} << 8);
    SetHook(
        reg::kSwitchPortInfo,
        [this](const SRegAccess& access)
        { return (Reg(reg::kSwitchPortInfo) & 0xFFFFFF00) | access.uchIngressPort; },
        nullptr);

    // Source and Destination Operations CARs (RapidIO Part 1, 5.4.7/5.4.8; RapidIO Part 2, 5.4.1/5.4.2):
    // read, write, streaming write, write with response in bits 15..12, data message and
    // doorbell in bits 11..10, port-write in bit 2.
    const uint32_t ulMemoryOps = c.bMemory ? 0x0000F000 : 0;
    const uint32_t ulMessageOps = c.bSwitch ? 0 : 0x00000C00;
    const uint32_t ulPortWrite = 0x00000004;
    SetReadOnly(reg::kSourceOps, c.oSourceOps.value_or(ulMemoryOps | ulMessageOps | ulPortWrite));
    SetReadOnly(reg::kDestOps,
                c.oDestOps.value_or(ulMemoryOps | ulMessageOps | (c.bProcessor ? ulPortWrite : 0)));

    // Switch CARs; an endpoint reads them as zero (reserved).
    uint32_t ulMulticastSupport = 0;
    uint32_t ulMulticastInfo = 0;
    if (c.bSwitch && c.bMulticast)
    {
        // Switch Multicast Support CAR bit 31, Switch Multicast Information CAR: block and
        // per-port association in bits 31 and 30, associations per mask less one in bits
        // 29..16, the number of masks in bits 15..0 (RapidIO Part 11, 3.3 and 3.4).
        ulMulticastSupport = c.bSimpleAssoc ? 1u << 31 : 0;
        ulMulticastInfo =
            (c.bBlockAssoc ? 1u << 31 : 0) | (c.bPerPortAssoc ? 1u << 30 : 0) |
            ((uint32_t{c.wMulticastAssociations > 0 ? c.wMulticastAssociations - 1u : 0u} & 0x3FFF) << 16) |
            c.wMulticastMasks;
    }
    SetReadOnly(reg::kMulticastSupport, ulMulticastSupport);
    SetReadOnly(reg::kRouteLimit, c.bSwitch ? c.wRouteLimit : 0);
    SetReadOnly(reg::kMulticastInfo, ulMulticastInfo);
}

void CStdDevice::InstallCommandRegisters()
{
    const SDeviceConfig& c = Config();
    // Logical Layer Control CSR: extended addressing control in bits 2..0, 34-bit at reset
    // (RapidIO Part 1, 5.5.1).
    SetMasked(reg::kLogicalControl, 0x1, 0x7);
    // Base Device ID CSR: small ID in bits 23..16, large ID in bits 15..0 (RapidIO Part 3, 3.5.1).
    SetMasked(reg::kBaseDeviceId, (uint32_t{c.uchSmallId} << 16) | c.wLargeId, 0x00FFFFFF);

    // Host Base Device ID Lock CSR (RapidIO Part 3, 3.5.2): 0xFFFF at reset. A write while it holds
    // 0xFFFF takes the lock for the written ID; a write of the holder's own ID frees it; any
    // other write while it is held is ignored.
    SetReg(reg::kHostLock, 0xFFFF);
    SetHook(reg::kHostLock, nullptr,
            [this](uint32_t ulValue, uint32_t ulByteMask, const SRegAccess&)
            {
                const uint32_t ulCurrent = Reg(reg::kHostLock) & 0xFFFF;
                const uint32_t ulWritten = Merge(ulCurrent, ulValue, ulByteMask) & 0xFFFF;
                if (ulCurrent == 0xFFFF)
                    SetReg(reg::kHostLock, ulWritten);
                else if (ulWritten == ulCurrent)
                    SetReg(reg::kHostLock, 0xFFFF);
            });

    // Component Tag CSR (RapidIO Part 3, 3.5.3): all zeros at reset, free for software.
    SetMasked(reg::kComponentTag, c.ulComponentTag, 0xFFFFFFFF);

    if (!c.bSwitch)
    {
        // The route and multicast CSRs are switch registers; reserved (zero) on an endpoint.
        for (uint32_t ulOffset :
             {reg::kRouteDestId, reg::kRoutePort, reg::kRouteDefaultPort, reg::kMulticastMaskPort,
              reg::kMulticastAssocSelect, reg::kMulticastAssocOp})
            SetReadOnly(ulOffset, 0);
    }
}

void CStdDevice::InstallRouteRegisters()
{
    const SDeviceConfig& c = Config();
    // Every entry routes nowhere until software or the topology sets it.
    m_tables.assign(c.bPerPortRouting ? c.uchPortCount : 1,
                    std::vector<uint8_t>(c.wRouteLimit + 1u, kUnrouted));

    // Standard Route Configuration Destination ID Select CSR (RapidIO Part 3, 3.5.4): the ID in bits
    // 15..0, Ext_config_en in bit 31 where the extended form exists.
    SetMasked(reg::kRouteDestId, 0, c.eRouteForm == ERouteForm::Standard ? 0x0000FFFF : 0x8000FFFF);
    // Standard Route Configuration Port Select CSR (RapidIO Part 3, 3.5.5).
    SetHook(
        reg::kRoutePort, [this](const SRegAccess& access) { return RoutePortRead(access); },
        [this](uint32_t ulValue, uint32_t ulByteMask, const SRegAccess& access)
        { RoutePortWrite(ulValue & ulByteMask, access); });
    // Standard Route Default Port CSR (RapidIO Part 3, 3.5.6): port in bits 7..0, 0 at reset.
    SetMasked(reg::kRouteDefaultPort, 0, 0xFF);
}

bool CStdDevice::ExtendedSelect() const
{
    switch (Config().eRouteForm)
    {
    case ERouteForm::Extended:
        return true;
    case ERouteForm::Both:
        return (Reg(reg::kRouteDestId) & 0x80000000) != 0;
    case ERouteForm::Standard:
        break;
    }
    return false;
}

std::vector<uint8_t>& CStdDevice::Table(uint8_t uchIngressPort)
{
    return m_tables[m_tables.size() > 1 && uchIngressPort < m_tables.size() ? uchIngressPort : 0];
}

const std::vector<uint8_t>& CStdDevice::Table(uint8_t uchIngressPort) const
{
    return const_cast<CStdDevice*>(this)->Table(uchIngressPort);
}

uint32_t CStdDevice::RoutePortRead(const SRegAccess& access) const
{
    // Per-port tables answer for the port the request came in on.
    const std::vector<uint8_t>& table = Table(access.uchIngressPort);
    const uint32_t ulId = Reg(reg::kRouteDestId) & 0xFFFF;
    auto entry = [&table](uint32_t ulDestId) -> uint32_t
    { return ulDestId < table.size() ? table[ulDestId] : kUnrouted; };
    if (!ExtendedSelect())
        return entry(ulId);
    // Extended form: the four entries from the selected ID on, the first in bits 7..0.
    uint32_t ulValue = 0;
    for (uint32_t i = 0; i < 4; ++i)
        ulValue |= entry(ulId + i) << (8 * i);
    return ulValue;
}

void CStdDevice::RoutePortWrite(uint32_t ulValue, const SRegAccess&)
{
    // Writes through the standard registers reach every per-port table.
    const uint32_t ulId = Reg(reg::kRouteDestId) & 0xFFFF;
    if (!ExtendedSelect())
    {
        SetRouteEntry(ulId, static_cast<uint8_t>(ulValue & 0xFF));
        return;
    }
    for (uint32_t i = 0; i < 4; ++i)
        SetRouteEntry(ulId + i, static_cast<uint8_t>((ulValue >> (8 * i)) & 0xFF));
}

uint8_t CStdDevice::RouteEntry(uint32_t ulDestId, uint8_t uchTable) const
{
    auto lock = Guard();
    if (m_tables.empty())
        return kUnrouted;
    const std::vector<uint8_t>& table = Table(uchTable);
    return ulDestId < table.size() ? table[ulDestId] : kUnrouted;
}

void CStdDevice::SetRouteEntry(uint32_t ulDestId, uint8_t uchPort, int nTable)
{
    auto lock = Guard();
    for (size_t i = 0; i < m_tables.size(); ++i)
    {
        if (nTable >= 0 && static_cast<size_t>(nTable) != i)
            continue;
        if (ulDestId < m_tables[i].size())
            m_tables[i][ulDestId] = uchPort;
    }
}

void CStdDevice::SetDefaultPort(uint8_t uchPort)
{
    SetReg(reg::kRouteDefaultPort, uchPort);
}

bool CStdDevice::Route(uint32_t ulDestId, bool, uint8_t uchIngressPort, uint8_t* puchEgress) const
{
    if (!IsSwitch() || m_tables.empty())
        return false;
    const std::vector<uint8_t>& table = Table(uchIngressPort);
    // IDs beyond the table leave by the default port (RapidIO Part 3, 3.5.6).
    const uint8_t uchPort = ulDestId < table.size() ? table[ulDestId] : Reg(reg::kRouteDefaultPort) & 0xFF;
    if (uchPort >= PortCount())
        return false;
    *puchEgress = uchPort;
    return true;
}

void CStdDevice::InstallMulticastRegisters()
{
    m_masks.assign(Config().wMulticastMasks, {});
    // Multicast Mask Port CSR (RapidIO Part 11, 3.5): mask in bits 31..16, egress port in 15..8,
    // Mask_Cmd in 6..4, Port_Present (the result of Write_to_Verify) in bit 0.
    SetHook(reg::kMulticastMaskPort, nullptr,
            [this](uint32_t ulValue, uint32_t ulByteMask, const SRegAccess&)
            { MulticastMaskWrite(Merge(Reg(reg::kMulticastMaskPort), ulValue, ulByteMask)); });
    // Multicast Associate Select CSR (RapidIO Part 11, 3.6): destination ID in bits 31..16 (small IDs
    // in 23..16), mask number in bits 15..0.
    SetMasked(reg::kMulticastAssocSelect, 0, 0xFFFFFFFF);
    // Multicast Associate Operation CSR (RapidIO Part 11, 3.7): block size in bits 31..16, ingress
    // port in 15..8, large transport in 7, Assoc_Cmd in 6..5, Assoc_Present in bit 0.
    SetHook(reg::kMulticastAssocOp, nullptr,
            [this](uint32_t ulValue, uint32_t ulByteMask, const SRegAccess&)
            { MulticastAssocWrite(Merge(Reg(reg::kMulticastAssocOp), ulValue, ulByteMask)); });
}

void CStdDevice::MulticastMaskWrite(uint32_t ulValue)
{
    const uint32_t ulMask = ulValue >> 16;
    const uint8_t uchPort = static_cast<uint8_t>(ulValue >> 8);
    const uint32_t ulCommand = (ulValue >> 4) & 0x7;
    uint32_t ulStored = ulValue & ~0x1u;
    if (ulMask < m_masks.size())
    {
        std::set<uint8_t>& ports = m_masks[ulMask];
        switch (ulCommand)
        {
        case 0: // Write_to_Verify
            ulStored |= ports.count(uchPort) ? 1u : 0u;
            break;
        case 1: // Add_Port
            if (uchPort < PortCount())
                ports.insert(uchPort);
            break;
        case 2: // Delete_Port
            ports.erase(uchPort);
            break;
        case 4: // Delete_All_Ports
            ports.clear();
            break;
        case 5: // Add_All_Ports
            for (uint8_t i = 0; i < PortCount(); ++i)
                ports.insert(i);
            break;
        default: // reserved
            break;
        }
    }
    SetReg(reg::kMulticastMaskPort, ulStored);
}

void CStdDevice::MulticastAssocWrite(uint32_t ulValue)
{
    const SDeviceConfig& c = Config();
    const uint32_t ulBlock = c.bBlockAssoc ? (ulValue >> 16) + 1 : 1;
    const uint8_t uchIngress = c.bPerPortAssoc ? static_cast<uint8_t>(ulValue >> 8) : 0xFF;
    const bool bLarge = (ulValue & 0x80) != 0;
    const uint32_t ulCommand = (ulValue >> 5) & 0x3;
    const uint32_t ulSelect = Reg(reg::kMulticastAssocSelect);
    const uint32_t ulDestId = bLarge ? ulSelect >> 16 : (ulSelect >> 16) & 0xFF;
    const uint32_t ulMask = ulSelect & 0xFFFF;
    uint32_t ulStored = ulValue & ~0x1u;
    switch (ulCommand)
    {
    case 0: // Write_To_Verify
    {
        const auto it = m_associations.find({uchIngress, bLarge, ulDestId});
        ulStored |= it != m_associations.end() && it->second == ulMask ? 1u : 0u;
        break;
    }
    case 2: // Delete_Assoc
        for (uint32_t i = 0; i < ulBlock; ++i)
            m_associations.erase({uchIngress, bLarge, ulDestId + i});
        break;
    case 3: // Add_Assoc
        for (uint32_t i = 0; i < ulBlock && ulMask + i < m_masks.size(); ++i)
            m_associations[{uchIngress, bLarge, ulDestId + i}] = static_cast<uint16_t>(ulMask + i);
        break;
    default: // reserved
        break;
    }
    SetReg(reg::kMulticastAssocOp, ulStored);
}

bool CStdDevice::MulticastMaskHasPort(uint16_t wMask, uint8_t uchPort) const
{
    auto lock = Guard();
    return wMask < m_masks.size() && m_masks[wMask].count(uchPort) != 0;
}

std::optional<uint16_t> CStdDevice::MulticastAssociation(uint32_t ulDestId, bool bLarge,
                                                         uint8_t uchIngressPort) const
{
    auto lock = Guard();
    const uint8_t uchKey = Config().bPerPortAssoc ? uchIngressPort : 0xFF;
    const auto it = m_associations.find({uchKey, bLarge, ulDestId});
    if (it == m_associations.end())
        return std::nullopt;
    return it->second;
}

std::optional<std::vector<uint8_t>> CStdDevice::MulticastPorts(uint32_t ulDestId, bool bLarge,
                                                               uint8_t uchIngressPort) const
{
    auto lock = Guard();
    if (!IsSwitch() || !Config().bMulticast)
        return std::nullopt;
    const std::optional<uint16_t> oMask = MulticastAssociation(ulDestId, bLarge, uchIngressPort);
    if (!oMask)
        return std::nullopt;
    const std::set<uint8_t>& ports = m_masks[*oMask];
    return std::vector<uint8_t>(ports.begin(), ports.end());
}

void CStdDevice::InstallLpSerialBlock()
{
    // LP-Serial Register Block Header (RapidIO Part 6, 6.6.1): the error management block next,
    // and the block ID.
    SetReadOnly(reg::kLpSerialBlock, (reg::kErrorBlock << 16) | (IsSwitch() ? kEfIdSwitch : kEfIdEndpoint));
    SetMasked(reg::kLpSerialBlock + reg::kLinkTimeout, kTimeoutMask, kTimeoutMask);
    SetMasked(reg::kLpSerialBlock + reg::kResponseTimeout, kTimeoutMask, kTimeoutMask);
    SetMasked(reg::kLpSerialBlock + reg::kGeneralControl, 0, kGeneralControlMask);
    for (uint8_t n = 0; n < PortCount(); ++n)
        InstallPortRegisters(n);
}

void CStdDevice::InstallErrorManagementBlock()
{
    // Error Management Extensions Block Header (RapidIO Part 8, 2.3.2.1): EF_ID 0x0007, the last
    // block. Per port (2.3.2.10 to 2.3.2.18): Error Detect, whose bits software clears by writing;
    // Error Rate Enable; Attributes Capture, valid in bit 0, which holds the first error until
    // software clears it; Error Rate, the counter in bits 7..0 (saturating at 0xFF), the peak in
    // 15..8, the recovery in 17..16 and the bias in 31..24 (0x80 at reset); Error Rate Threshold,
    // the failed trigger in 31..24 and the degraded one in 23..16 (0: off). Assumption: the
    // counter does not leak down by the bias; software resets it.
    SetReadOnly(reg::kErrorBlock, kEfIdErrorManagement);
    for (uint8_t n = 0; n < PortCount(); ++n)
    {
        const uint32_t ulPort = reg::kErrorBlock + reg::kErrorPortStride * n;
        SetMasked(ulPort + reg::kErrorDetect, 0, kErrorDetectBits);
        SetMasked(ulPort + reg::kErrorRateEnable, 0, kErrorDetectBits);
        SetMasked(ulPort + reg::kErrorCapture, 0, 0xFFFFFFF1);
        SetMasked(ulPort + reg::kErrorRate, 0x80000000, 0xFF03FFFF);
        SetMasked(ulPort + reg::kErrorThreshold, 0, 0xFFFF0000);
    }
}

void CStdDevice::DetectError(uint8_t uchPort, uint32_t ulBit, uint32_t ulErrorType, uint32_t ulCount)
{
    const uint32_t ulPort = reg::kErrorBlock + reg::kErrorPortStride * uchPort;
    SetReg(ulPort + reg::kErrorDetect, Reg(ulPort + reg::kErrorDetect) | ulBit);
    if (!(Reg(ulPort + reg::kErrorRateEnable) & ulBit))
        return;
    // Info type 0 (a packet) or 1 (a control symbol) in 31..29, the error's bit number in 28..24.
    if (!(Reg(ulPort + reg::kErrorCapture) & 1))
        SetReg(ulPort + reg::kErrorCapture,
               ((ulBit == errdetect::kNackReceived ? 1u : 0u) << 29) | (ulErrorType << 24) | 1);
    const uint32_t ulRate = Reg(ulPort + reg::kErrorRate);
    const uint32_t ulCounter = std::min<uint32_t>((ulRate & 0xFF) + ulCount, 0xFF);
    const uint32_t ulPeak = std::max(ulCounter, (ulRate >> 8) & 0xFF);
    SetReg(ulPort + reg::kErrorRate, (ulRate & 0xFFFF0000) | (ulPeak << 8) | ulCounter);
    // Thresholds reached: Port n Error and Status tells of a degraded or failed output port
    // (RapidIO Part 8, 2.2: Output Degraded-encountered, Output Failed-encountered).
    const uint32_t ulThreshold = Reg(ulPort + reg::kErrorThreshold);
    const uint32_t ulFailed = ulThreshold >> 24, ulDegraded = (ulThreshold >> 16) & 0xFF;
    if (ulDegraded != 0 && ulCounter >= ulDegraded)
        Port(uchPort).ulErrorStatus |= errstat::kOutputDegraded;
    if (ulFailed != 0 && ulCounter >= ulFailed)
        Port(uchPort).ulErrorStatus |= errstat::kOutputFailed;
}

void CStdDevice::CountLinkEvent(uint8_t uchPort, ELinkEvent eEvent, uint32_t ulCount,
                                const SPacketInfo& packet)
{
    CSimDevice::CountLinkEvent(uchPort, eEvent, ulCount, packet);
    if (uchPort >= PortCount() || ulCount == 0)
        return;
    switch (eEvent)
    {
    case ELinkEvent::CrcError:
        DetectError(uchPort, errdetect::kBadCrc, 13, ulCount);
        break;
    case ELinkEvent::UnexpectedAckId:
        DetectError(uchPort, errdetect::kUnexpectedAckId, 12, ulCount);
        break;
    case ELinkEvent::NackReceived:
        DetectError(uchPort, errdetect::kNackReceived, 11, ulCount);
        break;
    default:
        break;
    }
}

void CStdDevice::InstallPortRegisters(uint8_t n)
{
    // Port n Link Maintenance Request CSR (RapidIO Part 6, 6.6.5): the command in bits 2..0; a write
    // sends the link-request, a read returns the last command written.
    const uint32_t ulRequest = PortReg(reg::kLinkRequest, n);
    SetHook(ulRequest, nullptr,
            [this, n, ulRequest](uint32_t ulValue, uint32_t ulByteMask, const SRegAccess&)
            {
                const uint32_t ulCommand = Merge(Reg(ulRequest), ulValue, ulByteMask) & 0x7;
                SetReg(ulRequest, ulCommand);
                LinkRequest(n, ulCommand);
            });

    // Port n Link Maintenance Response CSR (RapidIO Part 6, 6.6.6): response_valid in bit 31 clears
    // on read.
    const uint32_t ulResponse = PortReg(reg::kLinkResponse, n);
    SetHook(
        ulResponse,
        [this, ulResponse](const SRegAccess&)
        {
            const uint32_t ulValue = Reg(ulResponse);
            SetReg(ulResponse, ulValue & ~linkmaint::kResponseValid);
            return ulValue;
        },
        nullptr);

    // Port n Local ackID CSR (RapidIO Part 6, 6.6.7): inbound in bits 28..24, outstanding in 12..8,
    // outbound in 4..0 (five-bit ackIDs of the short control symbols).
    SetHook(
        PortReg(reg::kLocalAckId, n),
        [this, n](const SRegAccess&)
        {
            const SPortState& port = Port(n);
            return (uint32_t{port.uchInboundAckId} << 24) | (uint32_t{port.uchOutstandingAckId} << 8) |
                   port.uchOutboundAckId;
        },
        [this, n](uint32_t ulValue, uint32_t ulByteMask, const SRegAccess&)
        {
            SPortState& port = Port(n);
            if (ulByteMask & 0xFF000000)
                port.uchInboundAckId = (ulValue >> 24) & 0x1F;
            if (ulByteMask & 0x0000FF00)
                port.uchOutstandingAckId = (ulValue >> 8) & 0x1F;
            if (ulByteMask & 0x000000FF)
                port.uchOutboundAckId = ulValue & 0x1F;
            if (ulValue & ulByteMask & kClearOutstanding)
                port.uchOutstandingAckId = port.uchOutboundAckId;
        });

    const uint32_t ulControl2 = PortReg(reg::kPortControl2, n);
    SetReg(ulControl2, BaudEnableBits(Config().ulSpeeds));
    SetHook(
        ulControl2, [this, n](const SRegAccess&) { return PortControl2Read(n); },
        [this, ulControl2](uint32_t ulValue, uint32_t ulByteMask, const SRegAccess&)
        { SetReg(ulControl2, Merge(Reg(ulControl2), ulValue, ulByteMask & kBaudEnable)); });

    // Port n Error and Status CSR (RapidIO Part 6, 6.6.8): port OK and port uninitialized follow the
    // link; the error bits stay until written with 1.
    SetHook(
        PortReg(reg::kErrorStatus, n), [this, n](const SRegAccess&) { return ErrorStatusRead(n); },
        [this, n](uint32_t ulValue, uint32_t ulByteMask, const SRegAccess&)
        { Port(n).ulErrorStatus &= ~(ulValue & ulByteMask & errstat::kWriteOneToClear); });

    const uint32_t ulControl = PortReg(reg::kPortControl, n);
    SetReg(ulControl, kOutputPortEnable | kInputPortEnable);
    SetHook(
        ulControl, [this, n](const SRegAccess&) { return PortControlRead(n); },
        [this, ulControl](uint32_t ulValue, uint32_t ulByteMask, const SRegAccess&)
        { SetReg(ulControl, Merge(Reg(ulControl), ulValue, ulByteMask & kPortControlWritable)); });
}

bool CStdDevice::PortEnabled(uint8_t uchPort) const
{
    return uchPort < PortCount() && (Reg(PortReg(reg::kPortControl, uchPort)) & kPortDisable) == 0;
}

uint32_t CStdDevice::PortSpeeds(uint8_t uchPort) const
{
    if (uchPort >= PortCount())
        return 0;
    const uint32_t ulEnabled = Reg(PortReg(reg::kPortControl2, uchPort));
    uint32_t ulSpeeds = 0;
    for (uint32_t i = 0; i < 5; ++i)
        ulSpeeds |= (ulEnabled & kBaudEnableBit[i]) ? 1u << i : 0;
    return ulSpeeds & m_ulSupportedSpeeds;
}

uint32_t CStdDevice::ErrorStatusRead(uint8_t uchPort) const
{
    const bool bTrained = Fabric() && Fabric()->PortTrained(*this, uchPort);
    return (Port(uchPort).ulErrorStatus & ~0x3u) |
           (bTrained ? errstat::kPortOk : errstat::kPortUninitialized);
}

uint32_t CStdDevice::PortControlRead(uint8_t uchPort) const
{
    uint32_t ulValue = Reg(PortReg(reg::kPortControl, uchPort)) | kPortTypeSerial;
    switch (PortLanes(uchPort))
    {
    case 2:
        ulValue |= kPortWidth2x;
        break;
    case 4:
        ulValue |= kPortWidth4x;
        break;
    case 8:
        ulValue |= kPortWidth4x | kPortWidth8x;
        break;
    case 16:
        ulValue |= kPortWidth4x | kPortWidth8x | kPortWidth16x;
        break;
    default:
        break;
    }
    if (Fabric() && Fabric()->PortTrained(*this, uchPort))
        ulValue |= InitializedWidth(Fabric()->LinkWidth(*Fabric()->LinkAt(*this, uchPort)))
                   << kInitWidthShift;
    return ulValue;
}

uint32_t CStdDevice::PortControl2Read(uint8_t uchPort) const
{
    uint32_t ulValue = Reg(PortReg(reg::kPortControl2, uchPort)) | BaudSupportBits(m_ulSupportedSpeeds);
    if (Fabric() && Fabric()->PortTrained(*this, uchPort))
        ulValue |= SelectedBaud(Fabric()->LinkSpeedMbaud(*Fabric()->LinkAt(*this, uchPort)))
                   << kSelectedBaudShift;
    return ulValue;
}

void CStdDevice::LinkRequest(uint8_t uchPort, uint32_t ulCommand)
{
    if (ulCommand != linkmaint::kResetDevice && ulCommand != linkmaint::kInputStatus)
        return; // reserved commands send nothing
    uint32_t ulResponse = 0;
    CSimLink* pLink = Fabric() ? Fabric()->LinkAt(*this, uchPort) : nullptr;
    if (pLink && Fabric()->PortTrained(*this, uchPort))
    {
        const SLinkEnd* pPartner = pLink->Other(this, uchPort);
        if (ulCommand == linkmaint::kResetDevice)
        {
            // reset-device draws no link-response; response_valid says the request went out.
            // The partner resets once the request is out.
            ulResponse = linkmaint::kResponseValid;
            SetReg(PortReg(reg::kLinkResponse, uchPort), ulResponse);
            pPartner->pDevice->ResetDeviceReceived(pPartner->uchPort);
            return;
        }
        else
        {
            // input-status: the partner answers with the ackID its input port expects next
            // and the state of that port, and the request takes its input port out of the
            // stopped states; receiving the response ends this port's output recovery.
            SPortState& partner = pPartner->pDevice->Port(pPartner->uchPort);
            uint32_t ulStatus = linkmaint::kStatusOk;
            if (partner.ulErrorStatus & errstat::kInputErrorStopped)
                ulStatus = linkmaint::kStatusErrorStopped;
            else if (partner.ulErrorStatus & errstat::kInputRetryStopped)
                ulStatus = linkmaint::kStatusRetryStopped;
            ulResponse = linkmaint::kResponseValid | (uint32_t{partner.uchInboundAckId} << 5) | ulStatus;
            partner.ulErrorStatus &= ~(errstat::kInputErrorStopped | errstat::kInputRetryStopped);
            Port(uchPort).ulErrorStatus &=
                ~(errstat::kOutputErrorStopped | errstat::kOutputRetryStopped | errstat::kOutputRetried);
        }
    }
    SetReg(PortReg(reg::kLinkResponse, uchPort), ulResponse);
}
} // namespace nvsim
