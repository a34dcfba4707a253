#include "nvsim/Packet.h"

#include <array>
#include <cstdio>

namespace nvsim
{
namespace
{
// Part 6: a packet longer than this (header and data) carries an early CRC after these bytes.
constexpr size_t kEarlyCrcAfter = 80;
constexpr size_t kMaxPayload = 256;

// CRC-16-CCITT by table, most significant bit first.
constexpr std::array<uint16_t, 256> MakeCrcTable()
{
    std::array<uint16_t, 256> table{};
    for (uint32_t n = 0; n < 256; ++n)
    {
        uint16_t wCrc = static_cast<uint16_t>(n << 8);
        for (int bit = 0; bit < 8; ++bit)
            wCrc = static_cast<uint16_t>((wCrc & 0x8000) ? (wCrc << 1) ^ 0x1021 : wCrc << 1);
        table[n] = wCrc;
    }
    return table;
}
constexpr std::array<uint16_t, 256> kCrcTable = MakeCrcTable();

// Writes fields most significant bit first.
class CBitWriter
{
public:
    explicit CBitWriter(std::vector<uint8_t>* pBytes) : m_pBytes(pBytes) {}
    void Put(uint64_t ullValue, uint32_t ulBits)
    {
        for (uint32_t n = ulBits; n-- > 0;)
        {
            if (m_ulBit == 0)
                m_pBytes->push_back(0);
            if ((ullValue >> n) & 1)
                m_pBytes->back() |= static_cast<uint8_t>(0x80 >> m_ulBit);
            m_ulBit = (m_ulBit + 1) & 7;
        }
    }

private:
    std::vector<uint8_t>* m_pBytes;
    uint32_t m_ulBit = 0;
};

class CBitReader
{
public:
    explicit CBitReader(const uint8_t* p) : m_p(p) {}
    uint32_t Get(uint32_t ulBits)
    {
        uint32_t ulValue = 0;
        for (uint32_t n = 0; n < ulBits; ++n, ++m_ulBit)
            ulValue = (ulValue << 1) | ((m_p[m_ulBit / 8] >> (7 - m_ulBit % 8)) & 1);
        return ulValue;
    }

private:
    const uint8_t* m_p;
    size_t m_ulBit = 0;
};

uint32_t ExtAddrBits(uint8_t uchAddressBits)
{
    return uchAddressBits == 66 ? 32 : uchAddressBits == 50 ? 16 : 0;
}

bool KnownFType(uint8_t uchFType)
{
    switch (uchFType)
    {
    case ftype::kRequest:
    case ftype::kWrite:
    case ftype::kStreamWrite:
    case ftype::kMaintenance:
    case ftype::kDoorbell:
    case ftype::kMessage:
    case ftype::kResponse:
        return true;
    default:
        return false;
    }
}

// Maintenance transactions 2 and 3 are responses; 0, 1, 4 and the reserved ones have the
// request layout.
bool MaintResponse(uint8_t uchTrans)
{
    return uchTrans == ttype::kMaintReadResp || uchTrans == ttype::kMaintWriteResp;
}

// Header bits of the logical layer, after the IDs.
uint32_t LogicalHeaderBits(const SRioPacket& packet)
{
    switch (packet.uchFType)
    {
    case ftype::kRequest:
    case ftype::kWrite:
        return 16 + ExtAddrBits(packet.uchAddressBits) + 32;
    case ftype::kStreamWrite:
        return ExtAddrBits(packet.uchAddressBits) + 32;
    case ftype::kMaintenance:
        return 48;
    case ftype::kDoorbell:
        return 32;
    case ftype::kMessage:
        return 16;
    case ftype::kResponse:
        return 16;
    default:
        return 0;
    }
}

std::string Text(const char* pszFormat, auto... args)
{
    char szText[160];
    std::snprintf(szText, sizeof szText, pszFormat, args...);
    return szText;
}

bool Fail(std::string* pError, std::string strText)
{
    if (pError)
        *pError = std::move(strText);
    return false;
}

bool CheckFields(const SRioPacket& packet, std::string* pError)
{
    if (!KnownFType(packet.uchFType))
        return Fail(pError, Text("ftype %u is not a packet class the simulator knows", packet.uchFType));
    if (packet.uchTt > 1)
        return Fail(pError, Text("tt %u is reserved", packet.uchTt));
    if (packet.uchAddressBits != 34 && packet.uchAddressBits != 50 && packet.uchAddressBits != 66)
        return Fail(pError, Text("%u-bit addresses do not exist (34, 50 or 66)", packet.uchAddressBits));
    const uint32_t ulIdMax = packet.uchTt ? 0xFFFF : 0xFF;
    struct SRange
    {
        const char* pszName;
        uint64_t ullValue;
        uint64_t ullMax;
    };
    const uint64_t ullExtMax = packet.uchAddressBits == 66   ? 0xFFFFFFFF
                               : packet.uchAddressBits == 50 ? 0xFFFF
                                                             : 0;
    const SRange ranges[] = {
        {"ackID", packet.uchAckId, 0x3F},
        {"prio", packet.uchPriority, 3},
        {"destination ID", packet.ulDestId, ulIdMax},
        {"source ID", packet.ulSourceId, ulIdMax},
        {"transaction", packet.uchTrans, 15},
        {"size", packet.uchSize, 15},
        {"status", packet.uchStatus, 15},
        {"config_offset", packet.ulConfigOffset, 0x1FFFFF},
        {"address", packet.ulAddr, 0x1FFFFFFF},
        {"extended address", packet.ulExtAddr,
         packet.uchFType == ftype::kRequest || packet.uchFType == ftype::kWrite ||
                 packet.uchFType == ftype::kStreamWrite
             ? ullExtMax
             : 0xFFFFFFFF},
        {"xamsbs", packet.uchXamsbs, 3},
        {"msglen", packet.uchMsgLen, 15},
        {"letter", packet.uchLetter, 3},
        {"mbox", packet.uchMailbox, 3},
        {"msgseg", packet.uchMsgSeg, 15},
    };
    for (const SRange& range : ranges)
    {
        if (range.ullValue > range.ullMax)
            return Fail(pError, Text("%s 0x%llx does not fit its field (at most 0x%llx)", range.pszName,
                                     static_cast<unsigned long long>(range.ullValue),
                                     static_cast<unsigned long long>(range.ullMax)));
    }
    if (CarriesData(packet) && packet.data.size() > kMaxPayload)
        return Fail(pError, Text("a payload of %zu bytes is longer than the 256 a packet carries",
                                 packet.data.size()));
    return true;
}

void PutHeader(CBitWriter& out, const SRioPacket& packet)
{
    out.Put(packet.uchAckId, 6);
    out.Put(packet.bVc, 1);
    out.Put(packet.bCrf, 1);
    out.Put(packet.uchPriority, 2);
    out.Put(packet.uchTt, 2);
    out.Put(packet.uchFType, 4);
    const uint32_t ulIdBits = packet.uchTt ? 16 : 8;
    out.Put(packet.ulDestId, ulIdBits);
    out.Put(packet.ulSourceId, ulIdBits);
    const uint32_t ulExtBits = ExtAddrBits(packet.uchAddressBits);
    switch (packet.uchFType)
    {
    case ftype::kRequest:
    case ftype::kWrite:
        out.Put(packet.uchTrans, 4);
        out.Put(packet.uchSize, 4);
        out.Put(packet.uchSourceTid, 8);
        out.Put(packet.ulExtAddr, ulExtBits);
        out.Put(packet.ulAddr, 29);
        out.Put(packet.bWdptr, 1);
        out.Put(packet.uchXamsbs, 2);
        break;
    case ftype::kStreamWrite:
        out.Put(packet.ulExtAddr, ulExtBits);
        out.Put(packet.ulAddr, 29);
        out.Put(0, 1);
        out.Put(packet.uchXamsbs, 2);
        break;
    case ftype::kMaintenance:
        out.Put(packet.uchTrans, 4);
        if (MaintResponse(packet.uchTrans))
        {
            out.Put(packet.uchStatus, 4);
            out.Put(packet.uchTargetTid, 8);
            out.Put(packet.uchHopCount, 8);
            out.Put(0, 24);
        }
        else
        {
            out.Put(packet.uchSize, 4);
            out.Put(packet.uchSourceTid, 8);
            out.Put(packet.uchHopCount, 8);
            out.Put(packet.ulConfigOffset, 21);
            out.Put(packet.bWdptr, 1);
            out.Put(0, 2);
        }
        break;
    case ftype::kDoorbell:
        out.Put(0, 8);
        out.Put(packet.uchSourceTid, 8);
        out.Put(packet.wInfo, 16);
        break;
    case ftype::kMessage:
        out.Put(packet.uchMsgLen, 4);
        out.Put(packet.uchSize, 4);
        out.Put(packet.uchLetter, 2);
        out.Put(packet.uchMailbox, 2);
        out.Put(packet.uchMsgSeg, 4);
        break;
    case ftype::kResponse:
        out.Put(packet.uchTrans, 4);
        out.Put(packet.uchStatus, 4);
        if (packet.uchTrans == ttype::kResponseMessage)
        {
            out.Put(packet.uchLetter, 2);
            out.Put(packet.uchMailbox, 2);
            out.Put(packet.uchMsgSeg, 4);
        }
        else
            out.Put(packet.uchTargetTid, 8);
        break;
    default:
        break;
    }
}

void GetHeader(const uint8_t* p, SRioPacket* pPacket)
{
    CBitReader in(p);
    SRioPacket& packet = *pPacket;
    packet.uchAckId = static_cast<uint8_t>(in.Get(6));
    packet.bVc = in.Get(1) != 0;
    packet.bCrf = in.Get(1) != 0;
    packet.uchPriority = static_cast<uint8_t>(in.Get(2));
    packet.uchTt = static_cast<uint8_t>(in.Get(2));
    packet.uchFType = static_cast<uint8_t>(in.Get(4));
    const uint32_t ulIdBits = packet.uchTt ? 16 : 8;
    packet.ulDestId = in.Get(ulIdBits);
    packet.ulSourceId = in.Get(ulIdBits);
    const uint32_t ulExtBits = ExtAddrBits(packet.uchAddressBits);
    auto u8 = [&](uint32_t ulBits) { return static_cast<uint8_t>(in.Get(ulBits)); };
    switch (packet.uchFType)
    {
    case ftype::kRequest:
    case ftype::kWrite:
        packet.uchTrans = u8(4);
        packet.uchSize = u8(4);
        packet.uchSourceTid = u8(8);
        packet.ulExtAddr = in.Get(ulExtBits);
        packet.ulAddr = in.Get(29);
        packet.bWdptr = in.Get(1) != 0;
        packet.uchXamsbs = u8(2);
        break;
    case ftype::kStreamWrite:
        packet.ulExtAddr = in.Get(ulExtBits);
        packet.ulAddr = in.Get(29);
        in.Get(1);
        packet.uchXamsbs = u8(2);
        break;
    case ftype::kMaintenance:
        packet.uchTrans = u8(4);
        if (MaintResponse(packet.uchTrans))
        {
            packet.uchStatus = u8(4);
            packet.uchTargetTid = u8(8);
            packet.uchHopCount = u8(8);
        }
        else
        {
            packet.uchSize = u8(4);
            packet.uchSourceTid = u8(8);
            packet.uchHopCount = u8(8);
            packet.ulConfigOffset = in.Get(21);
            packet.bWdptr = in.Get(1) != 0;
        }
        break;
    case ftype::kDoorbell:
        in.Get(8);
        packet.uchSourceTid = u8(8);
        packet.wInfo = static_cast<uint16_t>(in.Get(16));
        break;
    case ftype::kMessage:
        packet.uchMsgLen = u8(4);
        packet.uchSize = u8(4);
        packet.uchLetter = u8(2);
        packet.uchMailbox = u8(2);
        packet.uchMsgSeg = u8(4);
        break;
    case ftype::kResponse:
        packet.uchTrans = u8(4);
        packet.uchStatus = u8(4);
        if (packet.uchTrans == ttype::kResponseMessage)
        {
            packet.uchLetter = u8(2);
            packet.uchMailbox = u8(2);
            packet.uchMsgSeg = u8(4);
        }
        else
            packet.uchTargetTid = u8(8);
        break;
    default:
        break;
    }
}

uint16_t Word(const uint8_t* p)
{
    return static_cast<uint16_t>((p[0] << 8) | p[1]);
}
} // namespace

uint64_t SRioPacket::Address() const
{
    const uint64_t ullLow = (uint64_t{ulAddr} << 3) | (bWdptr && uchFType != ftype::kStreamWrite ? 4u : 0u);
    const uint64_t ullXam = uint64_t{uchXamsbs} << 32;
    return ullLow | ullXam | (uint64_t{ulExtAddr} << 34);
}

void SRioPacket::SetAddress(uint64_t ullAddress, bool bStreamWrite)
{
    ulAddr = static_cast<uint32_t>(ullAddress >> 3) & 0x1FFFFFFF;
    if (!bStreamWrite)
        bWdptr = (ullAddress & 4) != 0;
    uchXamsbs = static_cast<uint8_t>((ullAddress >> 32) & 3);
    ulExtAddr = static_cast<uint32_t>(ullAddress >> 34);
}

bool CarriesData(const SRioPacket& packet)
{
    switch (packet.uchFType)
    {
    case ftype::kWrite:
    case ftype::kStreamWrite:
    case ftype::kMessage:
        return true;
    case ftype::kMaintenance:
        return packet.uchTrans != ttype::kMaintRead && packet.uchTrans != ttype::kMaintWriteResp;
    case ftype::kResponse:
        return packet.uchTrans != ttype::kResponseNoData && packet.uchTrans != ttype::kResponseMessage;
    default:
        return false;
    }
}

bool IsResponsePacket(const SRioPacket& packet)
{
    return packet.uchFType == ftype::kResponse ||
           (packet.uchFType == ftype::kMaintenance && MaintResponse(packet.uchTrans));
}

bool ExpectsResponse(const SRioPacket& packet)
{
    switch (packet.uchFType)
    {
    case ftype::kRequest:
    case ftype::kDoorbell:
    case ftype::kMessage:
        return true;
    case ftype::kWrite:
        return packet.uchTrans != ttype::kNwrite;
    case ftype::kMaintenance:
        return packet.uchTrans == ttype::kMaintRead || packet.uchTrans == ttype::kMaintWrite;
    default:
        return false;
    }
}

size_t HeaderBytes(const SRioPacket& packet)
{
    if (!KnownFType(packet.uchFType))
        return 0;
    const uint32_t ulBits = 16 + (packet.uchTt ? 32 : 16) + LogicalHeaderBits(packet);
    return ulBits / 8;
}

uint16_t RioCrc16(const uint8_t* p, size_t n, uint16_t wCrc)
{
    for (size_t i = 0; i < n; ++i)
        wCrc = static_cast<uint16_t>((wCrc << 8) ^ kCrcTable[((wCrc >> 8) ^ p[i]) & 0xFF]);
    return wCrc;
}

uint16_t PacketCrc(const uint8_t* p, size_t n)
{
    if (n == 0)
        return 0xFFFF;
    const uint8_t uchFirst = p[0] & 0x03; // ackID (bits 7..2 of the first byte) counts as 0
    return RioCrc16(p + 1, n - 1, RioCrc16(&uchFirst, 1));
}

bool PacketCrcsGood(const uint8_t* p, size_t n, std::string* pError)
{
    if (n < 4)
        return Fail(pError, Text("a packet of %zu bytes has no CRC", n));
    if (n > kEarlyCrcAfter + 4 && PacketCrc(p, kEarlyCrcAfter + 2) != 0)
        return Fail(pError, "bad early CRC");
    if (PacketCrc(p, n) != 0)
        return Fail(pError, "bad CRC");
    return true;
}

std::vector<uint8_t> EncodePacket(const SRioPacket& packet, std::string* pError)
{
    std::vector<uint8_t> bytes;
    if (!CheckFields(packet, pError))
        return bytes;
    bytes.reserve(HeaderBytes(packet) + packet.data.size() + 8);
    CBitWriter out(&bytes);
    PutHeader(out, packet);
    if (CarriesData(packet))
        bytes.insert(bytes.end(), packet.data.begin(), packet.data.end());
    if (bytes.size() > kEarlyCrcAfter)
    {
        const uint16_t wEarly = PacketCrc(bytes.data(), kEarlyCrcAfter);
        const uint8_t crc[2] = {static_cast<uint8_t>(wEarly >> 8), static_cast<uint8_t>(wEarly)};
        bytes.insert(bytes.begin() + kEarlyCrcAfter, crc, crc + 2);
    }
    const uint16_t wCrc = PacketCrc(bytes.data(), bytes.size());
    bytes.push_back(static_cast<uint8_t>(wCrc >> 8));
    bytes.push_back(static_cast<uint8_t>(wCrc));
    if (bytes.size() % 4 != 0)
        bytes.insert(bytes.end(), 4 - bytes.size() % 4, 0);
    return bytes;
}

EDecodeResult DecodePacket(const uint8_t* p, size_t n, uint8_t uchAddressBits, SRioPacket* pPacket,
                           std::string* pError)
{
    auto fail = [&](EDecodeResult eResult, std::string strText)
    {
        Fail(pError, std::move(strText));
        return eResult;
    };
    SRioPacket packet;
    packet.uchAddressBits = uchAddressBits == 50 || uchAddressBits == 66 ? uchAddressBits : 34;
    if (n < 2)
        return fail(EDecodeResult::Short, Text("a packet of %zu bytes has no header", n));
    packet.uchFType = p[1] & 0x0F;
    packet.uchTt = (p[1] >> 4) & 3;
    if (!KnownFType(packet.uchFType))
        return fail(EDecodeResult::UnknownFType,
                    Text("ftype %u is not a packet class the simulator knows", packet.uchFType));
    if (packet.uchTt > 1)
        return fail(EDecodeResult::UnknownFType, Text("tt %u is reserved", packet.uchTt));
    // ftype 8 and 13 lay out by their transaction, which is in the byte after the IDs.
    const size_t ulTransAt = packet.uchTt ? 6 : 4;
    if (n <= ulTransAt)
        return fail(EDecodeResult::Short, Text("a packet of %zu bytes ends inside its header", n));
    packet.uchTrans = p[ulTransAt] >> 4;
    const size_t ulHeader = HeaderBytes(packet);
    if (n % 4 != 0)
        return fail(EDecodeResult::Short,
                    Text("a packet of %zu bytes is not a whole number of 32-bit words", n));
    if (n < ulHeader + 2)
        return fail(
            EDecodeResult::Short,
            Text("a packet of %zu bytes is shorter than its header and CRC (%zu bytes)", n, ulHeader + 2));

    // Find the payload length: without the CRC(s), and with or without a pad of two zero bytes.
    const bool bData = CarriesData(packet);
    auto payload = [&](size_t ulPad) -> long
    {
        if (ulPad > n)
            return -1;
        const size_t ulWire = n - ulPad; // up to and including the final CRC
        if (ulWire == kEarlyCrcAfter + 3 || ulWire == kEarlyCrcAfter + 4)
            return -1; // an early CRC needs at least one byte after it
        const size_t ulCrcs = ulWire > kEarlyCrcAfter + 4 ? 4 : 2;
        if (ulWire < ulHeader + ulCrcs)
            return -1;
        return static_cast<long>(ulWire - ulCrcs - ulHeader);
    };
    auto score = [&](long lData)
    {
        if (lData < 0 || (!bData && lData != 0))
            return -1;
        return lData % 8 == 0 ? 2 : lData % 4 == 0 ? 1 : 0;
    };
    const long lNoPad = payload(0);
    const long lPad = n >= 4 && p[n - 1] == 0 && p[n - 2] == 0 ? payload(2) : -1;
    const int nNoPad = score(lNoPad), nPad = score(lPad);
    if (nNoPad < 0 && nPad < 0)
    {
        if (!bData)
            return fail(
                EDecodeResult::UnexpectedData,
                Text("a packet of ftype %u (transaction %u) has no payload, but %zu bytes follow its header",
                     packet.uchFType, packet.uchTrans, n - ulHeader));
        return fail(EDecodeResult::Short, Text("%zu bytes are no packet of ftype %u", n, packet.uchFType));
    }
    const size_t ulPad = nPad > nNoPad ? 2 : 0;
    const size_t ulData = static_cast<size_t>(ulPad ? lPad : lNoPad);
    const size_t ulWire = n - ulPad;
    const bool bEarly = ulWire > kEarlyCrcAfter + 4;

    packet.uchTrans = 0; // read again by the classes that have one
    GetHeader(p, &packet);
    packet.data.reserve(ulData);
    for (size_t i = ulHeader; packet.data.size() < ulData; ++i)
    {
        if (bEarly && (i == kEarlyCrcAfter || i == kEarlyCrcAfter + 1))
            continue;
        packet.data.push_back(p[i]);
    }
    *pPacket = std::move(packet);
    if (bEarly)
    {
        const uint16_t wEarly = PacketCrc(p, kEarlyCrcAfter);
        if (Word(p + kEarlyCrcAfter) != wEarly)
            return fail(EDecodeResult::BadEarlyCrc, Text("early CRC 0x%04X is wrong (0x%04X expected)",
                                                         Word(p + kEarlyCrcAfter), wEarly));
    }
    const uint16_t wCrc = PacketCrc(p, ulWire - 2);
    if (Word(p + ulWire - 2) != wCrc)
        return fail(EDecodeResult::BadCrc,
                    Text("CRC 0x%04X is wrong (0x%04X expected)", Word(p + ulWire - 2), wCrc));
    return EDecodeResult::Ok;
}

uint32_t TransferBytes(uint8_t uchSize, bool bWdptr, uint8_t* puchFirstByte)
{
    // Part 1, tables 4-3 and 4-4: {bytes, first byte lane} for wdptr 0 and 1.
    struct SLanes
    {
        uint8_t uchBytes, uchFirst;
    };
    static constexpr SLanes kSub[11][2] = {
        {{1, 0}, {1, 4}}, {{1, 1}, {1, 5}}, {{1, 2}, {1, 6}}, {{1, 3}, {1, 7}},
        {{2, 0}, {2, 4}}, {{3, 0}, {3, 5}}, {{2, 2}, {2, 6}}, {{5, 0}, {5, 3}},
        {{4, 0}, {4, 4}}, {{6, 0}, {6, 2}}, {{7, 0}, {7, 1}},
    };
    static constexpr uint32_t kLarge[5][2] = {{8, 16}, {32, 64}, {96, 128}, {160, 192}, {224, 256}};
    if (uchSize > 15)
        return 0;
    if (uchSize < 11)
    {
        if (puchFirstByte)
            *puchFirstByte = kSub[uchSize][bWdptr].uchFirst;
        return kSub[uchSize][bWdptr].uchBytes;
    }
    if (puchFirstByte)
        *puchFirstByte = 0;
    return kLarge[uchSize - 11][bWdptr];
}

bool SizeFor(uint64_t ullAddress, uint32_t ulBytes, bool bWrite, uint8_t* puchSize, bool* pbWdptr)
{
    const uint32_t ulFirst = ullAddress & 7;
    if (ulBytes > 0 && ulFirst + ulBytes <= 8)
    {
        for (uint8_t uchSize = 0; uchSize < 12; ++uchSize)
        {
            for (bool bWdptr : {false, true})
            {
                uint8_t uchAt = 0;
                if (uchSize == 11 && bWdptr)
                    continue;
                if (TransferBytes(uchSize, bWdptr, &uchAt) == ulBytes && uchAt == ulFirst)
                {
                    *puchSize = uchSize;
                    *pbWdptr = bWdptr;
                    return true;
                }
            }
        }
    }
    // Whole double-words from the one holding the first byte to the one holding the last.
    const uint64_t ullSpan =
        ((ullAddress + (ulBytes ? ulBytes : 1) + 7) & ~uint64_t{7}) - (ullAddress & ~uint64_t{7});
    // Sizes a write may use (table 4-4): 8, 16, 32, 64, 128, 256; reads have 96, 160, 192, 224 too.
    struct SSize
    {
        uint32_t ulBytes;
        uint8_t uchSize;
        bool bWdptr;
        bool bWrite;
    };
    static constexpr SSize kSizes[] = {
        {8, 11, false, true},    {16, 11, true, true},  {32, 12, false, true},   {64, 12, true, true},
        {96, 13, false, false},  {128, 13, true, true}, {160, 14, false, false}, {192, 14, true, false},
        {224, 15, false, false}, {256, 15, true, true}};
    for (const SSize& size : kSizes)
    {
        if (size.ulBytes >= ullSpan && (size.bWrite || !bWrite))
        {
            *puchSize = size.uchSize;
            *pbWdptr = size.bWdptr;
            return true;
        }
    }
    return false;
}

uint8_t MessageSizeFor(uint32_t ulBytes)
{
    uint8_t uchSsize = 9;
    while (uchSsize < 14 && MessageSegmentBytes(uchSsize) < ulBytes)
        ++uchSsize;
    return uchSsize;
}

uint32_t MessageSegmentBytes(uint8_t uchSsize)
{
    return uchSsize >= 9 && uchSsize <= 14 ? 8u << (uchSsize - 9) : 0;
}

std::string PacketText(const std::vector<uint8_t>& bytes)
{
    std::string strText;
    strText.reserve(bytes.size() * 2 + bytes.size() / 4);
    static constexpr char kHex[] = "0123456789ABCDEF";
    for (size_t i = 0; i < bytes.size(); ++i)
    {
        if (i > 0 && i % 4 == 0)
            strText += ' ';
        strText += kHex[bytes[i] >> 4];
        strText += kHex[bytes[i] & 0xF];
    }
    return strText;
}

bool ParsePacketText(const std::string& strText, std::vector<uint8_t>* pBytes)
{
    auto digit = [](char ch) -> int
    {
        if (ch >= '0' && ch <= '9')
            return ch - '0';
        if (ch >= 'a' && ch <= 'f')
            return ch - 'a' + 10;
        if (ch >= 'A' && ch <= 'F')
            return ch - 'A' + 10;
        return -1;
    };
    pBytes->clear();
    int nHigh = -1;
    for (char ch : strText)
    {
        if (ch == ' ' || ch == '\t')
        {
            if (nHigh >= 0)
                return false;
            continue;
        }
        const int nDigit = digit(ch);
        if (nDigit < 0)
            return false;
        if (nHigh < 0)
            nHigh = nDigit;
        else
        {
            pBytes->push_back(static_cast<uint8_t>((nHigh << 4) | nDigit));
            nHigh = -1;
        }
    }
    return nHigh < 0;
}
} // namespace nvsim
