// Messages of the server protocol: identifiers, sizes, and big-endian field access. Every message
// is an 8-byte header (MessageID, Length) followed by a body and, for some, data.
#pragma once

#include <array>
#include <cstdint>
#include <cstring>

enum EServerMessage : uint32_t
{
    NVT_MAINTREAD = 3,
    NVT_MAINTREADRESP = 4,
    NVT_MAINTWRITE = 5,
    NVT_MAINTWRITERESP = 6,
    NVT_CLOSE = 7,
    NVT_IDENTIFY = 9,
    NVT_IDENTIFYRESP = 10,
    NVT_DATAGEN = 11,
    NVT_DATAGENRESP = 12,
    NVT_DATAREAD = 15,
    NVT_DATAREADRESP = 16,
    NVT_DATAWRITE = 17,
    NVT_DATAWRITERESP = 18,
    NVT_GETRIOERRORS = 19,
    NVT_GETRIOERRORSRESP = 20,
    NVT_MESSAGE = 21,
    NVT_MESSAGERESP = 22,
    NVT_DOORBELL = 23,
    NVT_DOORBELLRESP = 24,
    NVT_MESSAGEQUEUE = 25,
    NVT_MESSAGEQUEUERESP = 26,
    NVT_DOORBELLQUEUE = 27,
    NVT_DOORBELLQUEUERESP = 28,
    NVT_MEMREAD = 29,
    NVT_MEMREADRESP = 30,
    NVT_MEMWRITE = 31,
    NVT_MEMWRITERESP = 32,
    NVT_IDENTIFYEX = 33,
    NVT_IDENTIFYEXRESP = 34,
    NVT_FLASHREAD = 35,
    NVT_FLASHREADRESP = 36,
    NVT_FLASHWRITE = 37,
    NVT_FLASHWRITERESP = 38
};

// Fixed body sizes.
constexpr uint32_t kHeaderSize = 8;
constexpr uint32_t kMaintReadSize = 36;
constexpr uint32_t kMaintReadRespSize = 48;
constexpr uint32_t kMaintWriteSize = 32;
constexpr uint32_t kMaintWriteRespSize = 36;
constexpr uint32_t kIdentifyRespSize = 136;
constexpr uint32_t kIdentifyExRespSize = 128;
constexpr uint32_t kDataGenSize = 212;
constexpr uint32_t kDataGenRespSize = 228;
constexpr uint32_t kDataXferSize = 32;
constexpr uint32_t kDataXferRespSize = 36;
constexpr uint32_t kRioErrorsHeadSize = 8;
constexpr uint32_t kRioErrorRecordSize = 132;
constexpr uint32_t kMessageSize = 28;
constexpr uint32_t kMessageRespSize = 32;
constexpr uint32_t kDoorbellSize = 16;
constexpr uint32_t kDoorbellRespSize = 20;
constexpr uint32_t kQueueSize = 8;
constexpr uint32_t kMessageQueueRespSize = 32;
constexpr uint32_t kDoorbellQueueRespSize = 16;
constexpr uint32_t kMemXferSize = 20;
constexpr uint32_t kMemXferRespSize = 24;
constexpr uint32_t kFlashXferSize = 16;
constexpr uint32_t kFlashXferRespSize = 20;
// Most records an error list may announce; a target's error log holds far fewer.
constexpr uint32_t kMaxRioErrorRecords = 1024;
// Largest piece of data a flash write or a message fetch moves in one send or receive.
constexpr uint32_t kMaxChunk = 512;

// Big-endian field access in a message buffer.
inline void PutBE32(uint8_t* p, uint32_t ulValue)
{
    p[0] = static_cast<uint8_t>(ulValue >> 24);
    p[1] = static_cast<uint8_t>(ulValue >> 16);
    p[2] = static_cast<uint8_t>(ulValue >> 8);
    p[3] = static_cast<uint8_t>(ulValue);
}
inline void PutBE16(uint8_t* p, uint16_t wValue)
{
    p[0] = static_cast<uint8_t>(wValue >> 8);
    p[1] = static_cast<uint8_t>(wValue);
}
inline uint32_t GetBE32(const uint8_t* p)
{
    return (static_cast<uint32_t>(p[0]) << 24) | (static_cast<uint32_t>(p[1]) << 16) |
           (static_cast<uint32_t>(p[2]) << 8) | static_cast<uint32_t>(p[3]);
}
inline uint16_t GetBE16(const uint8_t* p)
{
    return static_cast<uint16_t>((p[0] << 8) | p[1]);
}

// The server's identity record (the body of NVT_IDENTIFYRESP), in host order.
struct SServerInfo
{
    uint32_t ulInterfaceVersion = 0; // a date in hexadecimal digits, such as 0x20070910
    uint16_t wDeviceID = 0;          // RapidIO identity of the host PE
    uint16_t wVendorID = 0;
    uint16_t wShortDestID = 0; // the host's small and large destination IDs
    uint16_t wLongDestID = 0;
    uint32_t bLongDestIDValid = 0; // 0: the host has no large destination ID
    uint8_t uchStatus = 0;         // 1 ready on TCP, 2 busy, 3 not available, 4 ready on UDP
    uint32_t ulNumLocalPorts = 0;  // RapidIO ports of the host
    uint8_t uchServerMajor = 0;    // server version
    uint8_t uchServerMinor = 0;
    uint32_t ulDriverMajor = 0; // version of the server's RapidIO driver
    uint32_t ulDriverMinor = 0;
    uint16_t wOSType = 0;                 // 0 simulator, 1 Linux, 2 Neutrino, 3 DSP/BIOS, 4 SYS/BIOS
    uint16_t wProcessorType = 0;          // 0 simulator, 1..3 processors
    std::array<uint8_t, 96> abReserved{}; // two reserved areas, kept as they came
};

// Record <-> body of NVT_IDENTIFYRESP (136 bytes).
void DecodeServerInfo(const uint8_t* pBody, SServerInfo* pInfo);
void EncodeServerInfo(const SServerInfo& info, uint8_t* pBody);

// The first 8 bytes of every message.
void EncodeHeader(uint8_t* pHeader, uint32_t ulMessageID, uint32_t ulLength);

// Byte swaps between host and network order of a word array of 2- or 4-byte words, in place.
void SwapWords(void* pvData, uint32_t ulWordCount, uint32_t ulWordSize);
