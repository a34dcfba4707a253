// Helpers of the packet model tests: an independent bit-by-bit CRC-16/CCITT, and short ways to set
// and read fields.
#pragma once

#include "RIOPacket.h"

#include <gtest/gtest.h>

#include <cstdint>
#include <vector>

namespace pkttest
{
// CRC-CCITT, polynomial x^16 + x^12 + x^5 + 1, start 0xFFFF, one bit at a time, most significant
// bit first, as the RapidIO physical layer computes it.
inline uint16_t BitCrc(const std::vector<uint8_t>& bytes, size_t nCount)
{
    uint16_t uCrc = 0xFFFF;
    for (size_t i = 0; i < nCount; ++i)
    {
        for (int nBit = 7; nBit >= 0; --nBit)
        {
            const bool bIn = ((bytes[i] >> nBit) & 1) != 0;
            const bool bTop = (uCrc & 0x8000) != 0;
            uCrc = static_cast<uint16_t>(uCrc << 1);
            if (bIn != bTop)
            {
                uCrc ^= 0x1021;
            }
        }
    }
    return uCrc;
}

// The CRC a packet must carry at byte nAt: over the bytes before it with the six ackID bits as 0.
inline uint16_t WireCrc(std::vector<uint8_t> bytes, size_t nAt)
{
    bytes[0] &= 0x03;
    return BitCrc(bytes, nAt);
}

inline uint16_t Word16(const std::vector<uint8_t>& bytes, size_t nAt)
{
    return static_cast<uint16_t>((bytes[nAt] << 8) | bytes[nAt + 1]);
}

inline CRIOPacketField& Field(CRIOPacket& packet, uint32_t nID)
{
    CRIOPacketField* pField = packet.FindField(nID);
    if (!pField)
    {
        ADD_FAILURE() << "field " << nID << " is not in the list";
        return *packet.GetFieldObject(nID);
    }
    return *pField;
}

inline void Set(CRIOPacket& packet, uint32_t nID, uint32_t ulValue)
{
    Field(packet, nID).SetValue(ulValue, false);
}

inline uint32_t Get(CRIOPacket& packet, uint32_t nID)
{
    return Field(packet, nID).GetValue();
}

inline std::vector<uint32_t> Layout(const CRIOPacket& packet)
{
    std::vector<uint32_t> ids;
    for (int i = 0; i < packet.GetFieldCount(); ++i)
    {
        ids.push_back(packet.GetField(i)->nFieldID);
    }
    return ids;
}

inline std::vector<uint8_t> Stream(const CRIOPacket& packet)
{
    std::vector<uint8_t> bytes;
    packet.GetStream(bytes);
    return bytes;
}
} // namespace pkttest
