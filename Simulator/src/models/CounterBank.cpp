#include "models/CounterBank.h"

namespace nvsim::models
{
CCounterBank::CCounterBank(uint32_t ulBase, uint32_t ulPortStride, uint8_t uchPorts,
                           std::vector<SCounterDef> counters, bool bClearOnRead,
                           std::function<bool(uint8_t)> fnEnabled)
    : m_ulBase(ulBase), m_ulPortStride(ulPortStride), m_uchPorts(uchPorts), m_counters(std::move(counters)),
      m_bClearOnRead(bClearOnRead), m_fnEnabled(std::move(fnEnabled)),
      m_values(uchPorts, std::vector<uint32_t>(m_counters.size(), 0))
{
}

bool CCounterBank::Locate(uint32_t ulOffset, uint8_t* puchPort, size_t* pnCounter) const
{
    if (ulOffset < m_ulBase)
        return false;
    const uint32_t ulPort = (ulOffset - m_ulBase) / m_ulPortStride;
    const uint32_t ulWithin = (ulOffset - m_ulBase) % m_ulPortStride;
    if (ulPort >= m_uchPorts)
        return false;
    for (size_t n = 0; n < m_counters.size(); ++n)
    {
        if (m_counters[n].ulOffset == ulWithin)
        {
            *puchPort = static_cast<uint8_t>(ulPort);
            *pnCounter = n;
            return true;
        }
    }
    return false;
}

bool CCounterBank::Holds(uint32_t ulOffset) const
{
    uint8_t uchPort = 0;
    size_t nCounter = 0;
    return Locate(ulOffset, &uchPort, &nCounter);
}

bool CCounterBank::Read(uint32_t ulOffset, uint32_t* pulValue)
{
    uint8_t uchPort = 0;
    size_t nCounter = 0;
    if (!Locate(ulOffset, &uchPort, &nCounter))
        return false;
    const SCounterDef& def = m_counters[nCounter];
    uint32_t& ulCount = m_values[uchPort][nCounter];
    *pulValue = def.ulWidth >= 32 ? ulCount : (ulCount & ((1u << def.ulWidth) - 1)) << def.ulShift;
    if (m_bClearOnRead)
        ulCount = 0;
    return true;
}

void CCounterBank::Add(uint8_t uchPort, size_t nCounter, uint64_t ullAmount, bool bDown)
{
    uint32_t& ulCount = m_values[uchPort][nCounter];
    const uint32_t ulAmount = static_cast<uint32_t>(ullAmount);
    if (!bDown)
        ulCount += ulAmount; // wraps, as an unsigned counter of the part does
    else
        ulCount = ulCount > ulAmount ? ulCount - ulAmount : 0;
    const uint32_t ulWidth = m_counters[nCounter].ulWidth;
    if (ulWidth < 32)
        ulCount &= (1u << ulWidth) - 1;
}

void CCounterBank::CountPackets(uint8_t uchPort, bool bTransmit, const SPacketInfo& packet, uint32_t ulCount,
                                uint64_t ullPayloadBytes)
{
    if (uchPort >= m_uchPorts || (m_fnEnabled && !m_fnEnabled(uchPort)))
        return;
    for (size_t n = 0; n < m_counters.size(); ++n)
    {
        const SCounterDef& def = m_counters[n];
        if (!(def.uchPriorities & (1u << (packet.uchPriority & 3))))
            continue;
        switch (def.eSource)
        {
        case ECountSource::TxPackets:
            if (bTransmit)
                Add(uchPort, n, ulCount);
            break;
        case ECountSource::RxPackets:
        case ECountSource::RxForwarded:
            if (!bTransmit)
                Add(uchPort, n, ulCount);
            break;
        case ECountSource::RxData4:
            if (!bTransmit)
                Add(uchPort, n, (ullPayloadBytes + 3) / 4);
            break;
        case ECountSource::RxReads:
            if (!bTransmit && packet.IsReadRequest())
                Add(uchPort, n, ulCount);
            break;
        case ECountSource::RxWrites:
            if (!bTransmit && packet.IsWriteRequest())
                Add(uchPort, n, ulCount);
            break;
        default:
            break;
        }
    }
}

void CCounterBank::CountLinkEvent(uint8_t uchPort, ELinkEvent eEvent, uint32_t ulCount,
                                  const SPacketInfo& packet)
{
    if (uchPort >= m_uchPorts || (m_fnEnabled && !m_fnEnabled(uchPort)))
        return;
    for (size_t n = 0; n < m_counters.size(); ++n)
    {
        const SCounterDef& def = m_counters[n];
        if (!(def.uchPriorities & (1u << (packet.uchPriority & 3))))
            continue;
        if (def.eSource == ECountSource::Event && def.eEvent == eEvent)
            Add(uchPort, n, ulCount);
        // A packet dropped on the way in never reaches the switch's crosspoint.
        else if (def.eSource == ECountSource::RxForwarded && eEvent == ELinkEvent::DroppedRx)
            Add(uchPort, n, ulCount, true);
    }
}

void CCounterBank::CountAt(uint8_t uchPort, uint32_t ulOffset, uint32_t ulCount)
{
    if (uchPort >= m_uchPorts || (m_fnEnabled && !m_fnEnabled(uchPort)))
        return;
    for (size_t n = 0; n < m_counters.size(); ++n)
    {
        if (m_counters[n].ulOffset == ulOffset && m_counters[n].eSource == ECountSource::Model)
            Add(uchPort, n, ulCount);
    }
}

void CCounterBank::Reset()
{
    for (auto& port : m_values)
        port.assign(port.size(), 0);
}
} // namespace nvsim::models
