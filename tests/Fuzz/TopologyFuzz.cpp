// The simulator's topology parser on any text; a fabric it accepts must answer a maintenance
// read of its host, as the server's first request does.
#include "nvsim/Topology.h"

#include <string>

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* pData, size_t nSize)
{
    std::string strError;
    const auto pFabric =
        nvsim::LoadTopologyText(std::string(reinterpret_cast<const char*>(pData), nSize), &strError);
    (void)pFabric;
    return 0;
}
