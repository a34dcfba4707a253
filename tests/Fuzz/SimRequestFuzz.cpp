// The simulator's request decoder: a stream of requests (8-byte header, then the body of the
// header's Length) handled one by one on a small fabric made afresh for every input, with the
// replies serialised as the server sends them. The first byte picks TCP or UDP.
#include "ServerCodec.h"
#include "nvsim/Topology.h"

#include <algorithm>
#include <string>
#include <vector>

namespace
{
const char* const kTopology = R"(server version=2.8 driver=1.0 interface=0x20071021 caps=0x3FF
device host0 endpoint device=0x0001 processor memory id=0x01 largeid=0x0001
device sw1 switch model=cps1848
device ep1 endpoint memory echo id=0x05 largeid=0x0005
device ep2 endpoint memory id=0x0A largeid=0x000A
host host0 localports=0 flash=64K
link host0:0 sw1:0
link sw1:1 ep1:0
link sw1:2 ep2:0
route sw1 0x01 0
route sw1 0x05 1
route sw1 0x0A 2
)";

uint32_t Be32(const uint8_t* p)
{
    return (uint32_t(p[0]) << 24) | (uint32_t(p[1]) << 16) | (uint32_t(p[2]) << 8) | uint32_t(p[3]);
}
} // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* pData, size_t nSize)
{
    if (nSize == 0)
    {
        return 0;
    }
    static std::string strError;
    const auto pFabric = nvsim::LoadTopologyText(kTopology, &strError);
    if (!pFabric)
    {
        __builtin_trap(); // the harness's own topology must load
    }
    const bool bUdp = (pData[0] & 1) != 0;
    size_t nAt = 1;
    uint64_t ullNowUs = 1000;
    while (nAt + nvsim::codec::kHeaderSize <= nSize)
    {
        const uint32_t ulId = Be32(pData + nAt);
        const uint32_t ulLength = Be32(pData + nAt + 4);
        nAt += nvsim::codec::kHeaderSize;
        // The server refuses a Length beyond its limit; the stream here ends where the input does.
        if (ulLength > nvsim::codec::kMaxRequestLength)
        {
            break;
        }
        const size_t nBody = std::min<size_t>(ulLength, nSize - nAt);
        const std::vector<uint8_t> body(pData + nAt, pData + nAt + nBody);
        nAt += nBody;
        const nvsim::codec::SOutcome outcome = nvsim::codec::Handle(*pFabric, ulId, body, bUdp, ullNowUs);
        if (outcome.eAction == nvsim::codec::EAction::Reply)
        {
            (void)nvsim::codec::Serialize(outcome.reply);
            (void)nvsim::codec::Datagrams(outcome.reply);
        }
        ullNowUs += 1000 + outcome.ulLatencyMs * 1000ull;
    }
    return 0;
}
