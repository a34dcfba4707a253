#include "models/TsiSwitch.h"

namespace nvsim::models
{
namespace
{
constexpr uint32_t kBroadcastDestId = 0x10070;
constexpr uint32_t kPortDestId = 0x11070;
constexpr uint32_t kPairStride = 0x100;
constexpr uint32_t kAutoIncrement = 0x80000000;
constexpr uint32_t kIndexMask = 0x1FF;
constexpr uint32_t kTsi56xSerdes = 0x130C4;
constexpr uint32_t kTsi57xSerdes = 0x130C8;
constexpr uint32_t kSerdesRate = 0x3;
constexpr uint32_t kPowerDownEven = 0x4;
constexpr uint32_t kPowerDownOdd = 0x8;
constexpr uint32_t kSwapRx = 0x40;
constexpr uint32_t kSwapTx = 0x80;
constexpr uint32_t kLoopEven = 0x100;
constexpr uint32_t kLoopOdd = 0x200;
constexpr uint32_t kLaneRxControl = 0x1E00C; // + 0x200 pair + 0x40 lane
constexpr uint32_t kLaneStride = 0x40;
constexpr uint32_t kInvertTx = 0x00040000;
constexpr uint32_t kInvertRx = 0x00080000;
constexpr uint32_t kControlSymbolTx = 0x13014;
constexpr uint32_t kNotAcceptedInputStatus = 0x40FC8000;
constexpr uint32_t kI2cBase = 0x1D100;
constexpr uint32_t kTsi56xDefaultRoute = 0x7C;
} // namespace

CTsiSwitch::CTsiSwitch(std::string strName, SDeviceConfig config)
    : CStdDevice(std::move(strName), std::move(config))
{
    m_cursors.assign(PortCount() + 1u, 0);
    m_autoIncrement.assign(PortCount() + 1u, false);
    m_perf.assign(PortCount(), {});
    // Every pair comes out of reset at 3.125 Gbaud with its lanes powered, unless a link says
    // otherwise (the reset rate follows the part's pin straps).
    for (uint8_t n = 0; n < PortCount(); n += 2)
        SetReg(SerdesWord(n), 0x2);
    if (IsTsi57x())
        m_pI2c = std::make_unique<CI2cMaster>(kI2cBase, Config().ulEepromBytes, Config().uchEepromAddress);
    else
        SetMasked(kTsi56xDefaultRoute, 0, 0xFF);
    for (uint8_t n = 0; n < PortCount(); ++n)
    {
        SetHook(kControlSymbolTx + kPairStride * n, nullptr,
                [this, n](uint32_t ulValue, uint32_t ulByteMask, const SRegAccess&)
                {
                    const uint32_t ulOffset = kControlSymbolTx + kPairStride * n;
                    SetReg(ulOffset, (Reg(ulOffset) & ~ulByteMask) | (ulValue & ulByteMask));
                    if (IsTsi57x() && Reg(ulOffset) == kNotAcceptedInputStatus)
                        LinkRequest(n, linkmaint::kInputStatus);
                });
    }
}

void CTsiSwitch::ResetDeviceReceived(uint8_t)
{
    m_ulBootRecords = 0;
    if (!m_pI2c)
        return;
    m_pI2c->Reset();
    const std::vector<uint8_t>* pEeprom = m_pI2c->BootEeprom();
    if (!pEeprom)
        return;
    const std::vector<uint8_t>& eeprom = *pEeprom;
    auto word = [&eeprom](size_t n)
    {
        return (uint32_t{eeprom[n]} << 24) | (uint32_t{eeprom[n + 1]} << 16) |
               (uint32_t{eeprom[n + 2]} << 8) | eeprom[n + 3];
    };
    constexpr size_t kHeaderBytes = 8;
    constexpr size_t kRecordBytes = 8;
    if (eeprom.size() < kHeaderBytes)
        return;
    const uint32_t ulRecords = word(0) >> 16;
    if (ulRecords == 0xFFFF)
        return; // erased
    // The switch writes to itself as a local access would; a record past the EEPROM's end
    // ends the load.
    const SRegAccess self{0, true};
    for (uint32_t i = 0; i < ulRecords; ++i)
    {
        const size_t at = kHeaderBytes + kRecordBytes * i;
        if (at + kRecordBytes > eeprom.size())
            break;
        WriteRegister(word(at), word(at + 4), 0xFFFFFFFF, self);
        ++m_ulBootRecords;
    }
}

bool CTsiSwitch::IsTsi57x() const
{
    return Config().wDeviceId >= 0x0570;
}

uint32_t CTsiSwitch::SerdesWord(uint8_t uchPort) const
{
    return (IsTsi57x() ? kTsi57xSerdes : kTsi56xSerdes) + kPairStride * (uchPort & 0xFEu);
}

bool CTsiSwitch::RoutePair(uint32_t ulOffset, int* pnTable, bool* pbPortRegister) const
{
    *pbPortRegister = (ulOffset & 0xFF) == 0x74;
    if ((ulOffset & 0xFF) != 0x70 && !*pbPortRegister)
        return false;
    if ((ulOffset & ~0xFFu) == kBroadcastDestId - 0x70)
    {
        *pnTable = -1;
        return true;
    }
    if (ulOffset < kPortDestId - 0x70)
        return false;
    const uint32_t ulPort = (ulOffset - (kPortDestId - 0x70)) / kPairStride;
    if (ulPort >= PortCount())
        return false;
    *pnTable = static_cast<int>(ulPort);
    return true;
}

uint32_t& CTsiSwitch::Cursor(int nTable)
{
    return m_cursors[nTable < 0 ? PortCount() : nTable];
}

uint32_t CTsiSwitch::PerfControl(uint8_t uchPort, uint32_t k) const
{
    const uint32_t ulWord = Reg(kPerfControl + 4 * (k / 2) + kPairStride * uchPort);
    return (k % 2 == 0 ? ulWord >> 16 : ulWord) & 0xFFFF;
}

void CTsiSwitch::AddPerf(uint8_t uchPort, uint8_t uchPriority,
                         const std::function<uint64_t(uint32_t, bool)>& fnAmount)
{
    if (!IsTsi57x() || uchPort >= PortCount())
        return;
    for (uint32_t k = 0; k < kPerfCounters; ++k)
    {
        const uint32_t ulControl = PerfControl(uchPort, k);
        if (!(ulControl & (0x1000u << (uchPriority & 3))))
            continue;
        m_perf[uchPort][k] += static_cast<uint32_t>(fnAmount(ulControl & 0x7, (ulControl & 0x100) != 0));
    }
}

void CTsiSwitch::CountPackets(uint8_t uchPort, bool bTransmit, const SPacketInfo& packet, uint32_t ulCount,
                              uint64_t ullPayloadBytes)
{
    CStdDevice::CountPackets(uchPort, bTransmit, packet, ulCount, ullPayloadBytes);
    AddPerf(uchPort, packet.uchPriority,
            [&](uint32_t ulType, bool bTx) -> uint64_t
            {
                if (bTx != bTransmit)
                    return 0;
                switch (ulType)
                {
                case 0: // unicast request packets
                    return !packet.bMulticast && packet.IsRequest() ? ulCount : 0;
                case 1: // unicast packets
                    return !packet.bMulticast ? ulCount : 0;
                case 4: // unicast data, 4 bytes a unit
                    return !packet.bMulticast ? (ullPayloadBytes + 3) / 4 : 0;
                case 5: // multicast packets
                    return packet.bMulticast ? ulCount : 0;
                case 7: // multicast data
                    return packet.bMulticast ? (ullPayloadBytes + 3) / 4 : 0;
                default:
                    return 0;
                }
            });
}

void CTsiSwitch::CountLinkEvent(uint8_t uchPort, ELinkEvent eEvent, uint32_t ulCount,
                                const SPacketInfo& packet)
{
    CStdDevice::CountLinkEvent(uchPort, eEvent, ulCount, packet);
    const bool bSent =
        eEvent == ELinkEvent::AckSent || eEvent == ELinkEvent::NackSent || eEvent == ELinkEvent::RetrySent;
    const bool bReceived = eEvent == ELinkEvent::AckReceived || eEvent == ELinkEvent::NackReceived ||
                           eEvent == ELinkEvent::RetryReceived;
    if (!bSent && !bReceived)
        return;
    const bool bRetry = eEvent == ELinkEvent::RetrySent || eEvent == ELinkEvent::RetryReceived;
    AddPerf(uchPort, packet.uchPriority,
            [&](uint32_t ulType, bool bTx) -> uint64_t
            {
                if (bTx != bSent)
                    return 0;
                return ulType == 3 || (ulType == 2 && bRetry) ? ulCount : 0;
            });
}

uint32_t CTsiSwitch::ReadRegister(uint32_t ulOffset, const SRegAccess& access)
{
    if (IsTsi57x() && ulOffset >= kPerfCounter && ulOffset < kPerfCounter + kPairStride * PortCount() &&
        (ulOffset - kPerfCounter) % kPairStride < 4 * kPerfCounters)
    {
        uint32_t& ulCount =
            m_perf[(ulOffset - kPerfCounter) / kPairStride][((ulOffset - kPerfCounter) % kPairStride) / 4];
        const uint32_t ulRead = ulCount;
        ulCount = 0; // clears on read
        return ulRead;
    }
    uint32_t ulValue = 0;
    if (m_pI2c && m_pI2c->Read(ulOffset, &ulValue))
        return ulValue;
    int nTable = 0;
    bool bPort = false;
    if (!RoutePair(ulOffset, &nTable, &bPort))
        return CStdDevice::ReadRegister(ulOffset, access);
    const size_t nSlot = nTable < 0 ? PortCount() : static_cast<size_t>(nTable);
    uint32_t& ulCursor = Cursor(nTable);
    if (!bPort)
        return ulCursor | (m_autoIncrement[nSlot] ? kAutoIncrement : 0);
    // The broadcast pair reads the table of the port the request came in on.
    const uint8_t uchTable = nTable < 0 ? access.uchIngressPort : static_cast<uint8_t>(nTable);
    ulValue = RouteEntry(ulCursor, uchTable);
    if (m_autoIncrement[nSlot])
        ulCursor = (ulCursor + 1) & kIndexMask;
    return ulValue;
}

void CTsiSwitch::WriteRegister(uint32_t ulOffset, uint32_t ulValue, uint32_t ulByteMask,
                               const SRegAccess& access)
{
    if (m_pI2c && m_pI2c->Write(ulOffset, ulValue, ulByteMask))
        return;
    int nTable = 0;
    bool bPort = false;
    if (!RoutePair(ulOffset, &nTable, &bPort))
    {
        CStdDevice::WriteRegister(ulOffset, ulValue, ulByteMask, access);
        return;
    }
    const size_t nSlot = nTable < 0 ? PortCount() : static_cast<size_t>(nTable);
    uint32_t& ulCursor = Cursor(nTable);
    if (!bPort)
    {
        const uint32_t ulOld = ulCursor | (m_autoIncrement[nSlot] ? kAutoIncrement : 0);
        const uint32_t ulNew = (ulOld & ~ulByteMask) | (ulValue & ulByteMask);
        // With auto-increment the walk starts at entry 0, whatever the ID field says.
        m_autoIncrement[nSlot] = (ulNew & kAutoIncrement) != 0;
        ulCursor = m_autoIncrement[nSlot] ? 0 : ulNew & kIndexMask;
        return;
    }
    if (ulByteMask & 0xFF)
        SetRouteEntry(ulCursor, static_cast<uint8_t>(ulValue), nTable);
    if (m_autoIncrement[nSlot])
        ulCursor = (ulCursor + 1) & kIndexMask;
}

bool CTsiSwitch::Route(uint32_t ulDestId, bool bLarge, uint8_t uchIngressPort, uint8_t* puchEgress) const
{
    if (ulDestId < kTableEntries || IsTsi57x())
        return CStdDevice::Route(ulDestId, bLarge, uchIngressPort, puchEgress);
    const uint8_t uchPort = static_cast<uint8_t>(Reg(kTsi56xDefaultRoute));
    if (uchPort >= PortCount())
        return false;
    *puchEgress = uchPort;
    return true;
}

uint32_t CTsiSwitch::PortSpeeds(uint8_t uchPort) const
{
    if (uchPort >= PortCount())
        return 0;
    const uint32_t ulWord = Reg(SerdesWord(uchPort));
    if (ulWord & ((uchPort & 1) ? kPowerDownOdd : kPowerDownEven))
        return 0;
    static constexpr uint32_t kRates[4] = {speeds::k1250, speeds::k2500, speeds::k3125, 0};
    return kRates[ulWord & kSerdesRate];
}

bool CTsiSwitch::PresetPortSpeed(uint8_t uchPort, uint32_t ulMbaud, std::string* pError)
{
    const uint32_t ulRate = ulMbaud == 1250 ? 0 : ulMbaud == 2500 ? 1 : ulMbaud == 3125 ? 2 : 3;
    if (ulRate == 3)
    {
        *pError = "the ports of this switch run at 1.25, 2.5 or 3.125 Gbaud";
        return false;
    }
    const uint32_t ulWord = SerdesWord(uchPort);
    SetReg(ulWord, (Reg(ulWord) & ~kSerdesRate) | ulRate);
    return true;
}
bool CTsiSwitch::LanesCrossed(uint8_t uchPort) const
{
    if (!IsTsi57x() || uchPort >= PortCount())
        return false;
    // Lane reversal is a property of the pair's 4x port, the even one.
    if ((uchPort & 1) == 0 && (Reg(SerdesWord(uchPort)) & (kSwapRx | kSwapTx)))
        return true;
    const uint32_t ulLanes = kLaneRxControl + kPairStride * (uchPort & 0xFEu);
    for (uint32_t l = 0; l < 4; ++l)
    {
        if (Reg(ulLanes + kLaneStride * l) & (kInvertTx | kInvertRx))
            return true;
    }
    return false;
}

uint8_t CTsiSwitch::PortLanes(uint8_t uchPort) const
{
    return LanesCrossed(uchPort) ? 0 : CStdDevice::PortLanes(uchPort);
}

bool CTsiSwitch::PortLoopedBack(uint8_t uchPort) const
{
    if (!IsTsi57x() || uchPort >= PortCount())
        return false;
    return (Reg(SerdesWord(uchPort)) & ((uchPort & 1) ? kLoopOdd : kLoopEven)) != 0;
}
} // namespace nvsim::models
