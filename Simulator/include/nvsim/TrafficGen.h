// The traffic generators behind NVT_DATAGEN: one on the server host, and one on each endpoint a
// topology marks with datagen=ADDRESS (its control structure's address, which command 4 checks).
//
// A generator sends a stream of one kind of transaction (SWRITE, NWRITE, NWRITE_R, NREAD to an
// address range; doorbells; messages) to one destination ID, paced by a rate profile of up to 20
// steps (seconds, rate): bytes per second for the data kinds, transactions per second for
// doorbells and messages. Time is the caller's: Advance(now) sends what is owed since the last
// call, so tests drive it tick by tick and the server from its clock, never blocking a reply.
// What it sends travels the fabric as any packet does and is counted by every port it crosses.
// A generator cannot send faster than its link carries; above that it sends at the link's rate
// and reports that it lags.
#pragma once

#include "nvsim/Fabric.h"

#include <array>
#include <cstdint>
#include <map>
#include <vector>

namespace nvsim
{
// The body of NVT_DATAGEN as the generator reads it (big-endian fields decoded).
struct SDataGenRequest
{
    uint32_t ulCommand = 0;          // 0 stop, 1 change the rate, 2 start, 3 status, 4 check control
    uint32_t ulKind = 0;             // 0 SWRITE, 1 NWRITE, 2 NWRITE_R, 3 NREAD, 10 doorbell, 11 message
    uint32_t ulTransferSize = 0;     // bytes per transaction (data kinds and messages)
    bool bRepeat = false;            // run the profile for ever
    bool bLarge = false;             // 16-bit destination IDs
    uint16_t wDestId = 0;            // where the stream goes (offset 24 of the message)
    uint16_t wRemoteDestId = 0xFFFF; // the generator: 0xFFFF the server's own, else a remote one
    uint64_t ullDestAddress = 0;
    uint32_t ulDestBufferSize = 0;
    uint32_t ulControlLo = 0;
    std::vector<std::pair<uint32_t, uint32_t>> steps; // (seconds, rate)
};

// NVT_DATAGENRESP's own fields.
struct SDataGenReply
{
    int32_t nStatus = 0;
    uint32_t ulCurrentStep = 0;
    bool bLagging = false;
    bool bFinished = false;
};

// Decodes the 212-byte body; false if it is shorter.
bool DecodeDataGen(const std::vector<uint8_t>& body, SDataGenRequest* pRequest);

class CTrafficGenerators
{
public:
    // Transactions one Advance sends at most per generator; more owed counts as lagging.
    static constexpr uint64_t kMaxPerAdvance = 1u << 20;
    // Bytes of header and trailer around a packet's payload on the link, for the link's
    // capacity (RapidIO Part 6: start and end control symbols, header, CRC; an estimate).
    static constexpr uint32_t kPacketOverhead = 24;

    explicit CTrafficGenerators(CSimFabric& fabric) : m_fabric(fabric) {}

    // Carries out one NVT_DATAGEN command at time ullNowUs.
    SDataGenReply Command(const SDataGenRequest& request, uint64_t ullNowUs);
    // Sends what every running generator owes up to ullNowUs.
    void Advance(uint64_t ullNowUs);
    // Whether any generator runs (the server then advances them often).
    bool AnyRunning() const;

    // For tests and the README's statistics: transactions a generator has sent (0xFFFF: the
    // server's own) and whether it runs.
    uint64_t Sent(uint16_t wGenerator) const;
    bool Running(uint16_t wGenerator) const;

private:
    struct SGenerator
    {
        SDataGenRequest config;
        bool bRunning = false, bFinished = false, bLagging = false;
        uint64_t ullStartUs = 0, ullLastUs = 0;
        double dOwed = 0; // bytes or transactions owed, not yet sent
        uint32_t ulStep = 0;
        uint64_t ullSent = 0;
        uint64_t ullOffset = 0; // where in the destination buffer the next write goes
    };

    // The device a generator sends from and its port; null if there is none.
    CSimDevice* Source(uint16_t wGenerator, uint8_t* puchPort, int32_t* pnStatus);
    // Payload bytes (data kinds) or transactions (doorbells, messages) per second the source's
    // link carries.
    double Capacity(const SGenerator& generator, CSimDevice& source, uint8_t uchPort) const;
    void Run(uint16_t wGenerator, SGenerator& generator, uint64_t ullNowUs);

    CSimFabric& m_fabric;
    std::map<uint16_t, SGenerator> m_generators;
};
} // namespace nvsim
