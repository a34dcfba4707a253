// RapidIO packets as bytes on a serial link: the simulator's own encoder and decoder.
//
// Written from the RapidIO Interconnect Specification rev. 2.2:
//  - Part 6 (LP-Serial physical layer), 2.4 and 2.5: the first 16 bits of every packet are
//    ackID (6 bits), VC (1), CRF (1), prio (2), then tt (2) and ftype (4) of the transport and
//    logical layers; a CRC-16 follows the packet, and a packet longer than 80 bytes (header and
//    data, without CRC) carries a second, early CRC after its first 80 bytes; a packet whose
//    length with its CRC(s) is not a multiple of 32 bits ends in a 16-bit pad of zeros.
//    The CRC is CRC-16-CCITT (x^16 + x^12 + x^5 + 1), initial value 0xFFFF, most significant bit
//    first, no final inversion, computed from the first byte with the 6 ackID bits taken as 0
//    (so that a link can renumber a packet without recomputing it). The CRC is not restarted
//    at the early CRC: the final CRC covers everything before it, the early CRC included.
//  - Part 3 (common transport): tt 0 has 8-bit destination and source IDs, tt 1 16-bit ones.
//  - Part 1 (I/O logical): ftype 2 (NREAD and atomics), 5 (NWRITE, NWRITE_R, atomics),
//    6 (SWRITE), 13 (response); addresses of 34, 50 or 66 bits as the extended address
//    (0, 16 or 32 bits, address bits 65..34 or 49..34), address (29 bits: bits 31..3), wdptr and
//    xamsbs (bits 33..32); SWRITE has a reserved bit in wdptr's place.
//  - Part 2 (message passing): ftype 10 (doorbell: reserved byte, srcTID, 16-bit info) and
//    11 (message: msglen, ssize, letter, mbox, msgseg), and the message response of ftype 13
//    (transaction 1, whose target TID byte holds letter, mbox and msgseg).
//  - Part 1 chapter 4.3 and Part 6 maintenance: ftype 8, transaction 0 read, 1 write, 2 read
//    response, 3 write response, 4 port-write; requests carry rdsize/wrsize, srcTID, hop count,
//    config_offset (21 bits: offset bits 23..3), wdptr and 2 reserved bits; responses carry
//    status, targetTID, hop count and 24 reserved bits.
// Data payloads are carried as given (the standard has them in double-words; the encoder does
// not pad them).
#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

namespace nvsim
{
// Format types (ftype) the encoder knows.
namespace ftype
{
inline constexpr uint8_t kRequest = 2;     // NREAD, ATOMIC inc/dec/set/clr
inline constexpr uint8_t kWrite = 5;       // NWRITE, NWRITE_R, ATOMIC swap/compare/test
inline constexpr uint8_t kStreamWrite = 6; // SWRITE
inline constexpr uint8_t kMaintenance = 8;
inline constexpr uint8_t kDoorbell = 10;
inline constexpr uint8_t kMessage = 11;
inline constexpr uint8_t kResponse = 13;
} // namespace ftype

// Transaction field values the simulator itself uses.
namespace ttype
{
inline constexpr uint8_t kNread = 4;            // ftype 2
inline constexpr uint8_t kNwrite = 4;           // ftype 5
inline constexpr uint8_t kNwriteR = 5;          // ftype 5
inline constexpr uint8_t kMaintRead = 0;        // ftype 8
inline constexpr uint8_t kMaintWrite = 1;       // ftype 8
inline constexpr uint8_t kMaintReadResp = 2;    // ftype 8
inline constexpr uint8_t kMaintWriteResp = 3;   // ftype 8
inline constexpr uint8_t kPortWrite = 4;        // ftype 8
inline constexpr uint8_t kResponseNoData = 0;   // ftype 13
inline constexpr uint8_t kResponseMessage = 1;  // ftype 13
inline constexpr uint8_t kResponseWithData = 8; // ftype 13
} // namespace ttype

// Response status values (Part 1, 4.2.5).
inline constexpr uint8_t kRioStatusDone = 0;
inline constexpr uint8_t kRioStatusRetry = 3;
inline constexpr uint8_t kRioStatusError = 7;

// One packet, field by field. A field a class does not carry is ignored by the encoder and left
// at its default by the decoder.
struct SRioPacket
{
    // Physical layer
    uint8_t uchAckId = 0;    // 6 bits
    bool bVc = false;        // virtual channel bit
    bool bCrf = false;       // critical request flow
    uint8_t uchPriority = 0; // 2 bits
    // Transport layer
    uint8_t uchTt = 0;       // 0: 8-bit IDs, 1: 16-bit IDs
    uint8_t uchFType = 0;    // 4 bits
    uint32_t ulDestId = 0;   // 8 or 16 bits by tt
    uint32_t ulSourceId = 0; // 8 or 16 bits by tt
    // Logical layer
    uint8_t uchTrans = 0;        // transaction (ftype 2, 5, 8, 13)
    uint8_t uchSize = 0;         // rdsize/wrsize (2, 5, 8 requests), ssize (11)
    uint8_t uchStatus = 0;       // responses (8, 13)
    uint8_t uchSourceTid = 0;    // requests (2, 5, 8, 10)
    uint8_t uchTargetTid = 0;    // responses (8, 13 but transaction 1)
    uint8_t uchHopCount = 0;     // maintenance
    uint32_t ulConfigOffset = 0; // maintenance requests: 21 bits, register offset bits 23..3
    bool bWdptr = false;         // ftype 2, 5 and maintenance requests
    uint32_t ulAddr = 0;         // ftype 2, 5, 6: address bits 31..3 (29 bits)
    uint32_t ulExtAddr = 0;      // 16 bits (50-bit addresses) or 32 bits (66-bit)
    uint8_t uchXamsbs = 0;       // address bits 33..32
    uint8_t uchAddressBits = 34; // 34, 50 or 66: the extended address a packet of 2, 5, 6 carries
    uint16_t wInfo = 0;          // doorbell
    uint8_t uchMsgLen = 0;       // message: segments - 1
    uint8_t uchLetter = 0;       // message, message response
    uint8_t uchMailbox = 0;      // message, message response
    uint8_t uchMsgSeg = 0;       // message, message response
    std::vector<uint8_t> data;   // payload in wire order (every byte, wherever an early CRC falls)

    // The byte address of ftype 2, 5 and 6 put together: extended address, xamsbs, addr and the
    // word pointer (wdptr gives bit 2; SWRITE has none).
    uint64_t Address() const;
    // Splits ullAddress into the extended address, xamsbs, addr and (unless bStreamWrite) wdptr.
    void SetAddress(uint64_t ullAddress, bool bStreamWrite = false);
    // Maintenance request: the register offset of config_offset and wdptr.
    uint32_t RegisterOffset() const { return (ulConfigOffset << 3) | (bWdptr ? 4u : 0u); }
    void SetRegisterOffset(uint32_t ulOffset)
    {
        ulConfigOffset = (ulOffset >> 3) & 0x1FFFFF;
        bWdptr = (ulOffset & 4) != 0;
    }
    bool LargeIds() const { return uchTt == 1; }

    bool operator==(const SRioPacket&) const = default;
};

// Whether a class carries a data payload at all (every other class carries none).
bool CarriesData(const SRioPacket& packet);
// Whether the class is a response (ftype 13, maintenance transactions 2 and 3).
bool IsResponsePacket(const SRioPacket& packet);
// Whether a request asks for a response (NREAD, NWRITE_R, atomics, maintenance read and write,
// doorbell, message).
bool ExpectsResponse(const SRioPacket& packet);

// Length in bytes of the header of the packet's class, from the first byte to the data (or the
// CRC): 0 for an ftype the encoder does not know.
size_t HeaderBytes(const SRioPacket& packet);

// CRC-16-CCITT over n bytes, continuing from ulCrc (start a packet with 0xFFFF). The caller
// clears the ackID bits of the first byte.
uint16_t RioCrc16(const uint8_t* p, size_t n, uint16_t wCrc = 0xFFFF);
// The CRC of the first n bytes of a packet as RapidIO computes it: the ackID bits taken as 0.
uint16_t PacketCrc(const uint8_t* p, size_t n);

// The link-level check of a received packet, which needs no knowledge of its layout: the CRC
// run over a packet and its CRC leaves 0, and a pad of zeros after it keeps 0; a packet longer
// than 84 bytes is checked at its early CRC too. False with *pError for a bad CRC.
bool PacketCrcsGood(const uint8_t* p, size_t n, std::string* pError = nullptr);

// Encodes a packet as it goes on the link: header, data (with the early CRC after the first 80
// bytes of a longer packet), CRC and pad. Empty with *pError for an ftype it does not know or a
// field out of range.
std::vector<uint8_t> EncodePacket(const SRioPacket& packet, std::string* pError = nullptr);

// What DecodePacket found.
enum class EDecodeResult
{
    Ok,
    Short,          // fewer bytes than the header of its class, or a length no packet has
    UnknownFType,   // an ftype the decoder does not know
    BadCrc,         // the final CRC does not fit
    BadEarlyCrc,    // the early CRC does not fit
    UnexpectedData, // a class without a payload carrying one
};

// Decodes a packet as it was on the link. The length of the data follows from the number of
// bytes given and the header (a pad of two zero bytes after the CRC is recognised when the
// payload is then a whole number of double-words, or the class has none). uchAddressBits (34,
// 50, 66) tells how long the extended address of ftype 2, 5 and 6 is: the packet does not say.
// On BadCrc and BadEarlyCrc *pPacket still holds the fields.
EDecodeResult DecodePacket(const uint8_t* p, size_t n, uint8_t uchAddressBits, SRioPacket* pPacket,
                           std::string* pError = nullptr);
inline EDecodeResult DecodePacket(const std::vector<uint8_t>& bytes, uint8_t uchAddressBits,
                                  SRioPacket* pPacket, std::string* pError = nullptr)
{
    return DecodePacket(bytes.data(), bytes.size(), uchAddressBits, pPacket, pError);
}

// Read and write sizes (Part 1, table 4-3 and 4-4): the bytes rdsize/wrsize and wdptr select.
// Sub-double-word sizes give the number of bytes (their position is *puchFirstByte within the
// double-word); 0 for a reserved combination.
uint32_t TransferBytes(uint8_t uchSize, bool bWdptr, uint8_t* puchFirstByte = nullptr);
// The rdsize/wrsize and wdptr for ulBytes at ullAddress: the exact byte lanes when the bytes lie
// in one double-word and form a size the standard has, else the smallest double-word multiple
// that covers them (bWrite: among the sizes a write may use). False when nothing covers them.
bool SizeFor(uint64_t ullAddress, uint32_t ulBytes, bool bWrite, uint8_t* puchSize, bool* pbWdptr);
// ssize of a message segment of ulBytes (8 to 256): the smallest that holds it.
uint8_t MessageSizeFor(uint32_t ulBytes);
// Bytes a message segment of ssize holds (9: 8, ..., 14: 256); 0 for a reserved value.
uint32_t MessageSegmentBytes(uint8_t uchSsize);

// The packet list form: "%02X" per byte, a blank before every fourth byte but the first.
std::string PacketText(const std::vector<uint8_t>& bytes);
// Parses hex digit pairs, blanks allowed between them; false on anything else.
bool ParsePacketText(const std::string& strText, std::vector<uint8_t>* pBytes);
} // namespace nvsim
