// The server's side of the client/server message protocol: decoding a request, carrying it out
// on the fabric and encoding the reply. All fields are big-endian; every message starts with an
// 8-byte header (MessageID, Length of what follows). This codec is the simulator's own and
// shares no code with the client's, so that each can catch the other's mistakes.
#pragma once

#include "nvsim/Fabric.h"
#include "nvsim/TrafficGen.h"

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

namespace nvsim::codec
{
enum EMessageId : uint32_t
{
    kMaintRead = 3,
    kMaintReadResp = 4,
    kMaintWrite = 5,
    kMaintWriteResp = 6,
    kClose = 7,
    kIdentify = 9,
    kIdentifyResp = 10,
    kDataGen = 11,
    kDataGenResp = 12,
    kDataRead = 15,
    kDataReadResp = 16,
    kDataWrite = 17,
    kDataWriteResp = 18,
    kGetRioErrors = 19,
    kGetRioErrorsResp = 20,
    kMessage = 21,
    kMessageResp = 22,
    kDoorbell = 23,
    kDoorbellResp = 24,
    kMessageQueue = 25,
    kMessageQueueResp = 26,
    kDoorbellQueue = 27,
    kDoorbellQueueResp = 28,
    kMemRead = 29,
    kMemReadResp = 30,
    kMemWrite = 31,
    kMemWriteResp = 32,
    kIdentifyEx = 33,
    kIdentifyExResp = 34,
    kFlashRead = 35,
    kFlashReadResp = 36,
    kFlashWrite = 37,
    kFlashWriteResp = 38
};

inline constexpr size_t kHeaderSize = 8;
inline constexpr size_t kIdentityRecordSize = 136;
// Largest payload a request may carry or ask for; a longer one is answered as invalid.
inline constexpr uint32_t kMaxPayload = 1u << 20;
// Largest request Length the server reads; beyond it the stream is taken to be broken.
inline constexpr uint32_t kMaxRequestLength = kMaxPayload + 256;

// A reply as the server sends it: header, fixed part of the body, payload.
struct SReply
{
    uint32_t ulMessageId = 0;
    std::vector<uint8_t> body;       // fixed part
    std::vector<uint8_t> data;       // payload
    size_t nDataPiece = 512;         // payload bytes per UDP datagram
    int nEchoOffset = -1;            // first echoed field the client checks, or -1
    int nStatusOffset = -1;          // the Status field, or -1
    std::optional<uint32_t> oLength; // header Length when it must not be body + payload
};

enum class EAction
{
    Reply, // send the reply
    None,  // send nothing (a request that is not one)
    Close  // end the connection
};

struct SOutcome
{
    EAction eAction = EAction::None;
    SReply reply;
    uint32_t ulLatencyMs = 0; // time the transaction spent on slow links
    std::string strSummary;   // one line for the request log
};

// Carries out one request whose body (the Length bytes after the header) is given. bUdp says
// which carrier it came by (the identity record tells); ullNowUs is the server's clock.
// pGenerators, when given, carries out NVT_DATAGEN (at ullGenNowUs, the generators' clock);
// without it the server has no traffic generator.
SOutcome Handle(CSimFabric& fabric, uint32_t ulMessageId, const std::vector<uint8_t>& body, bool bUdp,
                uint64_t ullNowUs, CTrafficGenerators* pGenerators = nullptr, uint64_t ullGenNowUs = 0);

// The identity record (NVT_IDENTIFYRESP body) of the fabric's host.
std::vector<uint8_t> IdentityRecord(CSimFabric& fabric, bool bUdp);

// The reply as one byte stream (TCP), or as the datagrams UDP sends: the header, the fixed
// body and the payload in pieces of nDataPiece bytes, each a datagram of its own.
std::vector<uint8_t> Serialize(const SReply& reply);
std::vector<std::vector<uint8_t>> Datagrams(const SReply& reply);

// Big-endian field access.
uint32_t Get32(const std::vector<uint8_t>& bytes, size_t nOffset);
void Put32(std::vector<uint8_t>& bytes, size_t nOffset, uint32_t ulValue);
void Put16(std::vector<uint8_t>& bytes, size_t nOffset, uint16_t wValue);
} // namespace nvsim::codec
