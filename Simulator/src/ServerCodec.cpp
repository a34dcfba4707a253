#include "ServerCodec.h"

#include "nvsim/Status.h"
#include "nvsim/StdDevice.h"

#include <algorithm>
#include <cstdio>
#include <cstring>

namespace nvsim::codec
{
uint32_t Get32(const std::vector<uint8_t>& bytes, size_t nOffset)
{
    return (uint32_t{bytes[nOffset]} << 24) | (uint32_t{bytes[nOffset + 1]} << 16) |
           (uint32_t{bytes[nOffset + 2]} << 8) | bytes[nOffset + 3];
}

void Put32(std::vector<uint8_t>& bytes, size_t nOffset, uint32_t ulValue)
{
    for (int i = 0; i < 4; ++i)
        bytes[nOffset + i] = static_cast<uint8_t>(ulValue >> (24 - 8 * i));
}

void Put16(std::vector<uint8_t>& bytes, size_t nOffset, uint16_t wValue)
{
    bytes[nOffset] = static_cast<uint8_t>(wValue >> 8);
    bytes[nOffset + 1] = static_cast<uint8_t>(wValue);
}

namespace
{
uint16_t Get16(const std::vector<uint8_t>& bytes, size_t nOffset)
{
    return static_cast<uint16_t>((bytes[nOffset] << 8) | bytes[nOffset + 1]);
}

std::string Format(const char* pszFormat, auto... args)
{
    char szText[256];
    std::snprintf(szText, sizeof szText, pszFormat, args...);
    return szText;
}

// A reply whose body starts with the first nEcho bytes of the request and ends in Status at
// nStatusOffset.
SReply Echo(uint32_t ulMessageId, const std::vector<uint8_t>& request, size_t nEcho, size_t nBody,
            size_t nStatusOffset, int32_t nStatus, int nEchoOffset)
{
    SReply reply;
    reply.ulMessageId = ulMessageId;
    reply.body.assign(nBody, 0);
    std::copy_n(request.begin(), nEcho, reply.body.begin());
    Put32(reply.body, nStatusOffset, static_cast<uint32_t>(nStatus));
    reply.nStatusOffset = static_cast<int>(nStatusOffset);
    reply.nEchoOffset = nEchoOffset;
    return reply;
}

SOutcome Reply(SReply reply, std::string strSummary, uint32_t ulLatencyMs = 0)
{
    return SOutcome{EAction::Reply, std::move(reply), ulLatencyMs, std::move(strSummary)};
}

SOutcome Ignore(std::string strSummary)
{
    return SOutcome{EAction::None, {}, 0, std::move(strSummary)};
}

// The payload that follows a fixed part of nFixed bytes, if its size is ullExpected.
bool Payload(const std::vector<uint8_t>& body, size_t nFixed, uint64_t ullExpected)
{
    return ullExpected <= kMaxPayload && body.size() - nFixed == ullExpected;
}

bool ValidWordSize(uint32_t ulWordSize)
{
    return ulWordSize == 1 || ulWordSize == 2 || ulWordSize == 4;
}

SOutcome MaintRead(CSimFabric& fabric, const std::vector<uint8_t>& body, uint64_t ullNowUs)
{
    const uint8_t uchPort = body[0];
    const bool bLarge = body[3] != 0;
    const uint32_t ulDestId = Get32(body, 4);
    const uint8_t uchHop = body[8];
    const bool bTimed = body[11] != 0;
    const uint32_t ulLastTick = Get32(body, 12);
    const uint32_t ulOffset = Get32(body, 16);
    const uint32_t ulCount = Get32(body, 20);
    const uint32_t ulSize = Get32(body, 24);
    const uint32_t ulStride = Get32(body, 28);
    const uint64_t ullBytes = uint64_t{ulCount} * ulSize;

    int32_t nStatus = kStatusInvalidParameter;
    uint32_t ulLatency = 0;
    std::vector<uint32_t> words;
    if (ValidWordSize(ulSize) && ullBytes <= kMaxPayload)
    {
        words.resize(ulCount);
        nStatus = fabric.MaintRead(uchPort, ulDestId, uchHop, ulOffset, words.data(), ulCount, ulSize,
                                   ulStride, bLarge, &ulLatency, Get32(body, 32));
    }
    SReply reply = Echo(kMaintReadResp, body, 36, 48, 44, nStatus, 4);
    if (bTimed)
    {
        // The time stamps the performance monitors rate by: the server's tick in ms and the
        // microseconds since the tick the client names.
        const uint32_t ulTick = static_cast<uint32_t>(ullNowUs / 1000);
        Put32(reply.body, 36, static_cast<uint32_t>(ullNowUs - uint64_t{ulLastTick} * 1000));
        Put32(reply.body, 40, ulTick);
    }
    // The data always follow in the size asked for, whatever the status.
    reply.data.assign(ullBytes <= kMaxPayload ? ullBytes : 0, 0);
    for (size_t i = 0; i < words.size(); ++i)
    {
        for (uint32_t b = 0; b < ulSize; ++b)
            reply.data[i * ulSize + b] = static_cast<uint8_t>(words[i] >> (8 * (ulSize - 1 - b)));
    }
    return Reply(std::move(reply),
                 Format("MAINTREAD port %u dest 0x%x hop %u offset 0x%x count %u size %u stride %u%s -> %d",
                        uchPort, ulDestId, uchHop, ulOffset, ulCount, ulSize, ulStride,
                        bLarge ? " large" : "", nStatus),
                 ulLatency);
}

SOutcome MaintWrite(CSimFabric& fabric, const std::vector<uint8_t>& body)
{
    const uint8_t uchPort = body[0];
    const bool bLarge = body[3] != 0;
    const uint32_t ulDestId = Get32(body, 4);
    const uint8_t uchHop = body[8];
    const uint32_t ulOffset = Get32(body, 12);
    const uint32_t ulCount = Get32(body, 16);
    const uint32_t ulSize = Get32(body, 20);
    const uint32_t ulStride = Get32(body, 24);

    int32_t nStatus = kStatusInvalidParameter;
    uint32_t ulLatency = 0;
    if (ValidWordSize(ulSize) && Payload(body, 32, uint64_t{ulCount} * ulSize))
    {
        std::vector<uint32_t> words(ulCount);
        for (size_t i = 0; i < ulCount; ++i)
        {
            for (uint32_t b = 0; b < ulSize; ++b)
                words[i] = (words[i] << 8) | body[32 + i * ulSize + b];
        }
        nStatus = fabric.MaintWrite(uchPort, ulDestId, uchHop, ulOffset, words.data(), ulCount, ulSize,
                                    ulStride, bLarge, &ulLatency, Get32(body, 28));
    }
    return Reply(Echo(kMaintWriteResp, body, 32, 36, 32, nStatus, 4),
                 Format("MAINTWRITE port %u dest 0x%x hop %u offset 0x%x count %u size %u stride %u%s -> %d",
                        uchPort, ulDestId, uchHop, ulOffset, ulCount, ulSize, ulStride,
                        bLarge ? " large" : "", nStatus),
                 ulLatency);
}

SOutcome DataRead(CSimFabric& fabric, const std::vector<uint8_t>& body)
{
    const uint8_t uchPort = body[0];
    const bool bLarge = body[3] != 0;
    const uint32_t ulDestId = Get32(body, 4);
    const uint32_t ulHi = Get32(body, 16);
    const uint32_t ulLo = Get32(body, 20);
    const uint32_t ulCount = Get32(body, 24);

    int32_t nStatus = kStatusInvalidParameter;
    uint32_t ulLatency = 0;
    std::vector<uint8_t> data;
    if (ulCount <= kMaxPayload)
    {
        data.resize(ulCount);
        nStatus = fabric.DataRead(uchPort, ulDestId, ulHi, ulLo, data.data(), ulCount, bLarge, &ulLatency,
                                  Get32(body, 12));
    }
    SReply reply = Echo(kDataReadResp, body, 32, 36, 32, nStatus, 4);
    // A failed read carries no data.
    if (nStatus == kStatusOk)
        reply.data = std::move(data);
    return Reply(std::move(reply),
                 Format("DATAREAD port %u dest 0x%x address 0x%x%08x count %u%s -> %d", uchPort, ulDestId,
                        ulHi, ulLo, ulCount, bLarge ? " large" : "", nStatus),
                 ulLatency);
}

SOutcome DataWrite(CSimFabric& fabric, const std::vector<uint8_t>& body)
{
    const uint8_t uchPort = body[0];
    const bool bLarge = body[3] != 0;
    const uint32_t ulDestId = Get32(body, 4);
    const uint32_t ulType = Get32(body, 8);
    const uint32_t ulHi = Get32(body, 16);
    const uint32_t ulLo = Get32(body, 20);
    const uint32_t ulCount = Get32(body, 24);

    int32_t nStatus = kStatusInvalidParameter;
    uint32_t ulLatency = 0;
    if (Payload(body, 32, ulCount))
        nStatus = fabric.DataWrite(uchPort, ulDestId, ulHi, ulLo, ulType, body.data() + 32, ulCount, bLarge,
                                   &ulLatency, Get32(body, 12));
    return Reply(Echo(kDataWriteResp, body, 32, 36, 32, nStatus, 4),
                 Format("DATAWRITE port %u dest 0x%x type %u address 0x%x%08x count %u%s -> %d", uchPort,
                        ulDestId, ulType, ulHi, ulLo, ulCount, bLarge ? " large" : "", nStatus),
                 ulLatency);
}

SOutcome GetRioErrors(CSimFabric& fabric)
{
    const std::vector<SRioError> errors = fabric.GetRioErrors();
    SReply reply;
    reply.ulMessageId = kGetRioErrorsResp;
    reply.body.assign(8, 0);
    Put32(reply.body, 0, static_cast<uint32_t>(errors.size()));
    Put32(reply.body, 4, kStatusOk);
    // One datagram per record on UDP, so a client may take them one by one.
    reply.nDataPiece = 132;
    for (const SRioError& error : errors)
    {
        std::vector<uint8_t> record(132, 0);
        Put32(record, 0, error.ulCode);
        std::memcpy(record.data() + 4, error.strText.data(), std::min<size_t>(error.strText.size(), 127));
        reply.data.insert(reply.data.end(), record.begin(), record.end());
    }
    reply.nStatusOffset = 4;
    return Reply(std::move(reply), Format("GETRIOERRORS -> %zu errors", errors.size()));
}

SOutcome Message(CSimFabric& fabric, const std::vector<uint8_t>& body)
{
    const uint8_t uchPort = body[0];
    const bool bLarge = body[3] != 0;
    const uint32_t ulDestId = Get32(body, 8);
    const uint32_t ulPriority = Get32(body, 12);
    const uint32_t ulMailbox = Get32(body, 16);
    const uint32_t ulTotal = Get32(body, 24);

    int32_t nStatus = kStatusInvalidParameter;
    uint32_t ulLatency = 0;
    if (Payload(body, 28, ulTotal))
        nStatus = fabric.SendMessage(uchPort, ulDestId, ulPriority, ulMailbox, body.data() + 28, ulTotal,
                                     bLarge, &ulLatency);
    return Reply(Echo(kMessageResp, body, 28, 32, 28, nStatus, 8),
                 Format("MESSAGE port %u dest 0x%x mailbox %u bytes %u%s -> %d", uchPort, ulDestId, ulMailbox,
                        ulTotal, bLarge ? " large" : "", nStatus),
                 ulLatency);
}

SOutcome Doorbell(CSimFabric& fabric, const std::vector<uint8_t>& body)
{
    const uint8_t uchPort = body[0];
    const bool bLarge = body[3] != 0;
    const uint32_t ulDestId = Get32(body, 4);
    const uint32_t ulPriority = Get32(body, 8);
    const uint16_t wInfo = Get16(body, 12);

    uint32_t ulLatency = 0;
    const int32_t nStatus = fabric.SendDoorbell(uchPort, ulDestId, ulPriority, wInfo, bLarge, &ulLatency);
    return Reply(Echo(kDoorbellResp, body, 16, 20, 16, nStatus, 4),
                 Format("DOORBELL port %u dest 0x%x info 0x%04x%s -> %d", uchPort, ulDestId, wInfo,
                        bLarge ? " large" : "", nStatus),
                 ulLatency);
}

SOutcome MessageQueue(CSimFabric& fabric, const std::vector<uint8_t>& body)
{
    const uint32_t ulQueue = Get32(body, 0);
    const uint32_t ulCommand = Get32(body, 4);
    SReply reply = Echo(kMessageQueueResp, body, 8, 32, 28, kStatusOk, -1);
    int32_t nStatus = kStatusInvalidParameter;
    if (ulCommand == 1)
    {
        SMessage message;
        bool bValid = false, bOverflow = false;
        nStatus = fabric.FetchMessage(ulQueue, &message, &bValid, &bOverflow);
        reply.body[8] = bOverflow ? 1 : 0;
        if (bValid)
        {
            reply.body[9] = message.bLarge ? 1 : 0;
            Put32(reply.body, 12, message.ulSourceId);
            Put32(reply.body, 16, message.ulPriority);
            Put32(reply.body, 20, message.ulMailbox);
            Put32(reply.body, 24, static_cast<uint32_t>(message.data.size()));
            reply.data = std::move(message.data);
        }
    }
    else if (ulCommand == 2)
        nStatus = fabric.FlushMessages(ulQueue);
    Put32(reply.body, 28, static_cast<uint32_t>(nStatus));
    std::string strSummary = Format("MESSAGEQUEUE queue %u command %u -> %d, %zu bytes", ulQueue, ulCommand,
                                    nStatus, reply.data.size());
    return Reply(std::move(reply), std::move(strSummary));
}

SOutcome DoorbellQueue(CSimFabric& fabric, const std::vector<uint8_t>& body)
{
    const uint32_t ulQueue = Get32(body, 0);
    const uint32_t ulCommand = Get32(body, 4);
    SReply reply = Echo(kDoorbellQueueResp, body, 8, 16, 12, kStatusOk, -1);
    int32_t nStatus = kStatusInvalidParameter;
    if (ulCommand == 1)
    {
        SDoorbell doorbell;
        bool bValid = false, bOverflow = false;
        nStatus = fabric.FetchDoorbell(ulQueue, &doorbell, &bValid, &bOverflow);
        reply.body[8] = bOverflow ? 1 : 0;
        reply.body[9] = bValid ? 1 : 0;
        if (bValid)
            Put16(reply.body, 10, doorbell.wInfo);
    }
    else if (ulCommand == 2)
        nStatus = fabric.FlushDoorbells(ulQueue);
    Put32(reply.body, 12, static_cast<uint32_t>(nStatus));
    std::string strSummary = Format("DOORBELLQUEUE queue %u command %u -> %d, valid %u", ulQueue, ulCommand,
                                    nStatus, reply.body[9]);
    return Reply(std::move(reply), std::move(strSummary));
}

SOutcome MemRead(CSimFabric& fabric, const std::vector<uint8_t>& body)
{
    const uint32_t ulHi = Get32(body, 0);
    const uint32_t ulLo = Get32(body, 4);
    const uint32_t ulCount = Get32(body, 8);
    const uint32_t ulSize = Get32(body, 12);
    const uint64_t ullBytes = uint64_t{ulCount} * ulSize;
    std::vector<uint8_t> data(ullBytes <= kMaxPayload ? ullBytes : 0, 0);
    int32_t nStatus = kStatusInvalidParameter;
    if (ullBytes <= kMaxPayload)
        nStatus = fabric.MemRead((uint64_t{ulHi} << 32) | ulLo, ulCount, ulSize, data.data());
    SReply reply = Echo(kMemReadResp, body, 20, 24, 20, nStatus, 4);
    reply.data = std::move(data);
    return Reply(std::move(reply), Format("MEMREAD address 0x%x%08x count %u size %u -> %d", ulHi, ulLo,
                                          ulCount, ulSize, nStatus));
}

SOutcome MemWrite(CSimFabric& fabric, const std::vector<uint8_t>& body)
{
    const uint32_t ulHi = Get32(body, 0);
    const uint32_t ulLo = Get32(body, 4);
    const uint32_t ulCount = Get32(body, 8);
    const uint32_t ulSize = Get32(body, 12);
    int32_t nStatus = kStatusInvalidParameter;
    if (Payload(body, 20, uint64_t{ulCount} * ulSize))
        nStatus = fabric.MemWrite((uint64_t{ulHi} << 32) | ulLo, ulCount, ulSize, body.data() + 20);
    return Reply(
        Echo(kMemWriteResp, body, 20, 24, 20, nStatus, 4),
        Format("MEMWRITE address 0x%x%08x count %u size %u -> %d", ulHi, ulLo, ulCount, ulSize, nStatus));
}

SOutcome FlashRead(CSimFabric& fabric, const std::vector<uint8_t>& body)
{
    const uint32_t ulHi = Get32(body, 0);
    const uint32_t ulLo = Get32(body, 4);
    const uint32_t ulCount = Get32(body, 8);
    std::vector<uint8_t> data(ulCount <= kMaxPayload ? ulCount : 0, 0);
    int32_t nStatus = kStatusInvalidParameter;
    if (ulCount <= kMaxPayload)
        nStatus = fabric.FlashRead((uint64_t{ulHi} << 32) | ulLo, data.data(), ulCount);
    SReply reply = Echo(kFlashReadResp, body, 16, 20, 16, nStatus, 4);
    reply.data = std::move(data);
    return Reply(std::move(reply),
                 Format("FLASHREAD address 0x%x%08x count %u -> %d", ulHi, ulLo, ulCount, nStatus));
}

SOutcome FlashWrite(CSimFabric& fabric, const std::vector<uint8_t>& body)
{
    const uint32_t ulHi = Get32(body, 0);
    const uint32_t ulLo = Get32(body, 4);
    const uint32_t ulCount = Get32(body, 8);
    int32_t nStatus = kStatusInvalidParameter;
    if (Payload(body, 16, ulCount))
        nStatus = fabric.FlashWrite((uint64_t{ulHi} << 32) | ulLo, body.data() + 16, ulCount);
    return Reply(Echo(kFlashWriteResp, body, 16, 20, 16, nStatus, 4),
                 Format("FLASHWRITE address 0x%x%08x count %u -> %d", ulHi, ulLo, ulCount, nStatus));
}

// Size of the fixed part of each request; a shorter body is not a request.
size_t FixedSize(uint32_t ulMessageId)
{
    switch (ulMessageId)
    {
    case kMaintRead:
        return 36;
    case kMaintWrite:
    case kDataRead:
    case kDataWrite:
        return 32;
    case kMessage:
        return 28;
    case kDataGen:
        return 212;
    case kMemRead:
    case kMemWrite:
        return 20;
    case kDoorbell:
    case kFlashRead:
    case kFlashWrite:
        return 16;
    case kMessageQueue:
    case kDoorbellQueue:
        return 8;
    default:
        return 0;
    }
}
} // namespace

std::vector<uint8_t> IdentityRecord(CSimFabric& fabric, bool bUdp)
{
    auto lock = fabric.Lock();
    CSimDevice& host = fabric.Host();
    const SServerConfig& server = fabric.ServerConfig();
    const SRegAccess local{
        fabric.HostConfig().localPorts.empty() ? uint8_t{0} : fabric.HostConfig().localPorts[0], true};
    const uint32_t ulIdentity = host.ReadRegister(reg::kDeviceIdentity, local);
    const uint32_t ulFeatures = host.ReadRegister(reg::kFeatures, local);

    std::vector<uint8_t> record(kIdentityRecordSize, 0);
    Put32(record, 0, server.ulInterfaceVersion);
    Put16(record, 4, static_cast<uint16_t>(ulIdentity >> 16));
    Put16(record, 6, static_cast<uint16_t>(ulIdentity));
    Put16(record, 8, static_cast<uint16_t>(host.BaseDeviceId(false)));
    Put16(record, 10, static_cast<uint16_t>(host.BaseDeviceId(true)));
    // The host has a large ID when it takes part in large common transport systems.
    Put32(record, 12, (ulFeatures & (1u << 4)) ? 1 : 0);
    record[16] = server.uchStatusOverride ? server.uchStatusOverride : (bUdp ? 4 : 1);
    Put32(record, 20, fabric.NumLocalPorts());
    record[24] = server.uchServerMajor;
    record[25] = server.uchServerMinor;
    Put32(record, 28, server.ulDriverMajor);
    Put32(record, 32, server.ulDriverMinor);
    Put16(record, 36, server.wOsType);
    Put16(record, 38, server.wProcessorType);
    return record;
}

SOutcome Handle(CSimFabric& fabric, uint32_t ulMessageId, const std::vector<uint8_t>& body, bool bUdp,
                uint64_t ullNowUs, CTrafficGenerators* pGenerators, uint64_t ullGenNowUs)
{
    if (body.size() < FixedSize(ulMessageId))
        return Ignore(
            Format("message %u with a body of %zu bytes is too short; ignored", ulMessageId, body.size()));
    // One transaction at a time: the test thread may be looking at the fabric.
    auto lock = fabric.Lock();
    switch (ulMessageId)
    {
    case kMaintRead:
        return MaintRead(fabric, body, ullNowUs);
    case kMaintWrite:
        return MaintWrite(fabric, body);
    case kClose:
        return SOutcome{EAction::Close, {}, 0, "CLOSE"};
    case kIdentify:
    {
        SReply reply;
        reply.ulMessageId = kIdentifyResp;
        reply.body = IdentityRecord(fabric, bUdp);
        return Reply(std::move(reply), "IDENTIFY");
    }
    case kDataGen:
    {
        if (!pGenerators)
            return Reply(Echo(kDataGenResp, body, 212, 228, 212, kStatusNoDataGen, -1),
                         "DATAGEN -> not supported");
        SDataGenRequest request;
        DecodeDataGen(body, &request);
        const SDataGenReply answer = pGenerators->Command(request, ullGenNowUs);
        SReply reply = Echo(kDataGenResp, body, 212, 228, 212, answer.nStatus, -1);
        Put32(reply.body, 216, answer.ulCurrentStep);
        Put32(reply.body, 220, answer.bLagging ? 1 : 0);
        Put32(reply.body, 224, answer.bFinished ? 1 : 0);
        return Reply(std::move(reply),
                     Format("DATAGEN command %u kind %u generator 0x%x dest 0x%x -> %d step %u%s%s",
                            request.ulCommand, request.ulKind, request.wRemoteDestId, request.wDestId,
                            answer.nStatus, answer.ulCurrentStep, answer.bLagging ? " lagging" : "",
                            answer.bFinished ? " finished" : ""));
    }
    case kDataRead:
        return DataRead(fabric, body);
    case kDataWrite:
        return DataWrite(fabric, body);
    case kGetRioErrors:
        return GetRioErrors(fabric);
    case kMessage:
        return Message(fabric, body);
    case kDoorbell:
        return Doorbell(fabric, body);
    case kMessageQueue:
        return MessageQueue(fabric, body);
    case kDoorbellQueue:
        return DoorbellQueue(fabric, body);
    case kMemRead:
        return MemRead(fabric, body);
    case kMemWrite:
        return MemWrite(fabric, body);
    case kIdentifyEx:
    {
        SReply reply;
        reply.ulMessageId = kIdentifyExResp;
        reply.body.assign(128, 0);
        Put32(reply.body, 0, fabric.ServerConfig().ulCapabilities);
        return Reply(std::move(reply),
                     Format("IDENTIFYEX -> capabilities 0x%x", fabric.ServerConfig().ulCapabilities));
    }
    case kFlashRead:
        return FlashRead(fabric, body);
    case kFlashWrite:
        return FlashWrite(fabric, body);
    default:
        return Ignore(Format("unknown message %u; ignored", ulMessageId));
    }
}

std::vector<uint8_t> Serialize(const SReply& reply)
{
    std::vector<uint8_t> bytes(kHeaderSize);
    Put32(bytes, 0, reply.ulMessageId);
    Put32(bytes, 4, reply.oLength.value_or(static_cast<uint32_t>(reply.body.size() + reply.data.size())));
    bytes.insert(bytes.end(), reply.body.begin(), reply.body.end());
    bytes.insert(bytes.end(), reply.data.begin(), reply.data.end());
    return bytes;
}

std::vector<std::vector<uint8_t>> Datagrams(const SReply& reply)
{
    const std::vector<uint8_t> bytes = Serialize(reply);
    std::vector<std::vector<uint8_t>> datagrams;
    datagrams.emplace_back(bytes.begin(), bytes.begin() + kHeaderSize);
    if (!reply.body.empty())
        datagrams.emplace_back(bytes.begin() + kHeaderSize, bytes.begin() + kHeaderSize + reply.body.size());
    for (size_t n = kHeaderSize + reply.body.size(); n < bytes.size(); n += reply.nDataPiece)
        datagrams.emplace_back(bytes.begin() + n,
                               bytes.begin() + std::min(bytes.size(), n + reply.nDataPiece));
    return datagrams;
}
} // namespace nvsim::codec
