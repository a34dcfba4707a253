#include "models/Gen2Pgc.h"

namespace nvsim::models
{
namespace
{
// Word n of a packet, its first byte in bits 31..24, bytes past the end 0.
uint32_t PacketWord(const CGen2Pgc::Bytes& packet, size_t nWord)
{
    uint32_t ulWord = 0;
    for (size_t b = 0; b < 4; ++b)
    {
        const size_t nAt = 4 * nWord + b;
        ulWord = (ulWord << 8) | (nAt < packet.size() ? packet[nAt] : 0u);
    }
    return ulWord;
}

CGen2Pgc::Bytes WordBytes(const std::vector<uint32_t>& words)
{
    CGen2Pgc::Bytes bytes;
    bytes.reserve(4 * words.size());
    for (uint32_t ulWord : words)
    {
        for (int nShift = 24; nShift >= 0; nShift -= 8)
            bytes.push_back(static_cast<uint8_t>(ulWord >> nShift));
    }
    return bytes;
}
} // namespace

CGen2Pgc::CGen2Pgc(uint8_t uchPorts, SHost host)
    : m_uchPorts(uchPorts), m_host(std::move(host)), m_ports(uchPorts)
{
}

bool CGen2Pgc::PgcOn() const
{
    return (m_host.fnReg(kDeviceControl) & kPgcEnable) != 0;
}

uint32_t CGen2Pgc::ReadMode(uint8_t uchPort) const
{
    if (uchPort >= m_uchPorts)
        return 0;
    const SPort& port = m_ports[uchPort];
    return (port.ulMode & ~kRxDone) | (port.capture.empty() ? 0 : kRxDone);
}

void CGen2Pgc::WriteMode(uint8_t uchPort, uint32_t ulValue)
{
    if (uchPort >= m_uchPorts)
        return;
    SPort& port = m_ports[uchPort];
    uint32_t ulMode = ulValue & ~kRxDone;
    const bool bAccess = (ulValue & kDataAccess) != 0;
    if (!bAccess)
    {
        port.capture.clear();
        port.ulReadWord = 0;
    }
    if (bAccess && (ulValue & kGenerate))
    {
        if (ulValue & kSop)
        {
            port.generation.clear();
            port.bClosed = false;
        }
        if (!port.bClosed && port.generation.size() < kBufferWords)
            port.generation.push_back(port.ulData);
        if (ulValue & kEop)
            port.bClosed = true;
    }
    if (bAccess && (ulValue & kCapture))
    {
        if (port.capture.empty())
            port.ulData = 0;
        else
        {
            port.ulData = PacketWord(port.capture.front(), port.ulReadWord);
            if (++port.ulReadWord >= kBufferWords)
            {
                port.capture.pop_front();
                port.ulReadWord = 0;
            }
        }
    }
    port.ulMode = ulMode;
    if ((ulValue & kSend) && (ulValue & kGenerate) && port.bClosed && !port.generation.empty() && PgcOn())
    {
        const Bytes packet = WordBytes(port.generation);
        // START clears once the packet has gone; the packet may come back into this very
        // engine (a looped-back port), which sees the mode register already settled.
        port.ulMode &= ~kSend;
        if (m_host.fnTransmit)
            m_host.fnTransmit(uchPort, packet);
    }
}

uint32_t CGen2Pgc::ReadData(uint8_t uchPort) const
{
    return uchPort < m_uchPorts ? m_ports[uchPort].ulData : 0;
}

void CGen2Pgc::WriteData(uint8_t uchPort, uint32_t ulValue)
{
    if (uchPort < m_uchPorts)
        m_ports[uchPort].ulData = ulValue;
}

bool CGen2Pgc::Matches(const uint32_t* pulBlock, const Bytes& packet)
{
    for (uint32_t w = 0; w < kCompareWords; ++w)
    {
        if ((PacketWord(packet, w) ^ pulBlock[w]) & pulBlock[kCompareWords + w])
            return false;
    }
    return true;
}

bool CGen2Pgc::WatchesArrivals(uint8_t uchPort) const
{
    if (uchPort >= m_uchPorts)
        return false;
    uint32_t ulArmed = 0;
    for (uint32_t c = 0; c < kComparators; ++c)
        ulArmed |= TraceEnable(c) | FilterEnable(c);
    return (m_host.fnReg(PortOperations(uchPort)) & ulArmed) != 0;
}

bool CGen2Pgc::Arriving(uint8_t uchPort, const Bytes& packet)
{
    if (uchPort >= m_uchPorts)
        return true;
    const uint32_t ulOps = m_host.fnReg(PortOperations(uchPort));
    bool bTraced = false, bFiltered = false;
    for (uint32_t c = 0; c < kComparators; ++c)
    {
        const bool bTrace = (ulOps & TraceEnable(c)) != 0;
        const bool bFilter = (ulOps & FilterEnable(c)) != 0;
        if (!bTrace && !bFilter)
            continue;
        uint32_t aulBlock[2 * kCompareWords];
        for (uint32_t w = 0; w < 2 * kCompareWords; ++w)
            aulBlock[w] = m_host.fnReg(Comparator(uchPort, c) + 4 * w);
        if (!Matches(aulBlock, packet))
            continue;
        if (bTrace)
        {
            bTraced = true;
            if (m_host.fnCount)
                m_host.fnCount(uchPort, TraceCounter(c));
        }
        if (bFilter)
        {
            bFiltered = true;
            if (m_host.fnCount)
                m_host.fnCount(uchPort, FilterCounter(c));
        }
    }
    const uint32_t ulControl = m_host.fnReg(kDeviceControl);
    if (bTraced && (ulControl & kTraceEnable) && !m_bCopying && m_host.fnTransmit)
    {
        const uint8_t uchTracePort = static_cast<uint8_t>((ulControl & kTracePortMask) >> 1);
        if (uchTracePort < m_uchPorts)
        {
            m_bCopying = true;
            m_host.fnTransmit(uchTracePort, packet);
            m_bCopying = false;
        }
    }
    return !bFiltered;
}

bool CGen2Pgc::Captures(uint8_t uchPort) const
{
    return uchPort < m_uchPorts && (m_ports[uchPort].ulMode & kCapture) && PgcOn();
}

bool CGen2Pgc::Leaving(uint8_t uchPort, const Bytes& packet)
{
    if (!Captures(uchPort))
        return false;
    SPort& port = m_ports[uchPort];
    if (port.capture.size() < kCaptureDepth)
        port.capture.push_back(packet);
    return true; // taken, even when the FIFO had no room for it
}

bool CGen2Pgc::LoopsBack(uint8_t uchPort) const
{
    return uchPort < m_uchPorts && (m_host.fnReg(PortOperations(uchPort)) & (kLoopback | kLoopbackDar)) != 0;
}

size_t CGen2Pgc::CapturedCount(uint8_t uchPort) const
{
    return uchPort < m_uchPorts ? m_ports[uchPort].capture.size() : 0;
}

CGen2Pgc::Bytes CGen2Pgc::GenerationBuffer(uint8_t uchPort) const
{
    return uchPort < m_uchPorts ? WordBytes(m_ports[uchPort].generation) : Bytes{};
}

void CGen2Pgc::Reset()
{
    for (SPort& port : m_ports)
        port = SPort{};
}
} // namespace nvsim::models
