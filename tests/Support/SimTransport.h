// The middleware's transport table on an in-process simulated fabric: every maintenance, data and
// memory transaction of the HAL is carried out by nvsim::CSimFabric, whose client statuses are
// turned into HAL statuses as the client's own adapter does. Tests can look at each maintenance
// access and answer it themselves, which is how they model a second host or a link that drops.
#pragma once

#include "NVXLTransport.h"
#include "nvsim/Fabric.h"

#include <cstdint>
#include <functional>
#include <vector>

namespace nvtest
{
// One maintenance access as the HAL asked for it.
struct SMaintAccess
{
    bool bWrite = false;
    uint8_t uchLocalPort = 0;
    uint32_t ulDestID = 0;
    uint8_t uchHopCount = 0;
    uint32_t ulOffset = 0;
    uint32_t ulFirstWord = 0; // first word written (writes only)
};

class CSimTransport
{
public:
    explicit CSimTransport(nvsim::CSimFabric& fabric);
    // Removes the transport from the HAL.
    ~CSimTransport();
    CSimTransport(const CSimTransport&) = delete;
    CSimTransport& operator=(const CSimTransport&) = delete;

    // Makes this the HAL's transport.
    void Install();

    // Runs before each maintenance access. Returning true answers the access here with *pnStatus
    // (a HAL status) and, for a read, *pulValue as every word; false lets the fabric carry it out.
    std::function<bool(const SMaintAccess&, uint32_t* pulValue, int32_t* pnStatus)> fnIntercept;
    // Whether every access is kept in accesses.
    bool bRecord = false;
    std::vector<SMaintAccess> accesses;
    uint64_t ullMaintReads = 0;
    uint64_t ullMaintWrites = 0;

    nvsim::CSimFabric& Fabric() { return m_fabric; }

private:
    static int32_t MaintRead(void* pvContext, uint8_t uchLocalPort, uint32_t ulDestID, uint8_t uchHopCount,
                             uint32_t ulOffset, void* pvData, uint32_t ulWordCount, uint32_t ulWordSize,
                             uint32_t ulStride, uint32_t bLargeTransport, uint32_t ulPriority);
    static int32_t MaintWrite(void* pvContext, uint8_t uchLocalPort, uint32_t ulDestID, uint8_t uchHopCount,
                              uint32_t ulOffset, const void* pvData, uint32_t ulWordCount,
                              uint32_t ulWordSize, uint32_t ulStride, uint32_t bLargeTransport,
                              uint32_t ulPriority);
    static int32_t DataRead(void* pvContext, uint8_t uchLocalPort, uint32_t ulDestID, uint32_t ulHi,
                            uint32_t ulLo, uint32_t ulXferType, uint32_t ulPriority, void* pvData,
                            uint32_t ulByteCount, uint32_t bLargeTransport);
    static int32_t DataWrite(void* pvContext, uint8_t uchLocalPort, uint32_t ulDestID, uint32_t ulHi,
                             uint32_t ulLo, uint32_t ulXferType, uint32_t ulPriority, const void* pvData,
                             uint32_t ulByteCount, uint32_t bLargeTransport);
    static int32_t MemoryRead(void* pvContext, uint32_t ulHi, uint32_t ulLo, uint32_t ulWordCount,
                              uint32_t ulWordSize, void* pvData);
    static int32_t MemoryWrite(void* pvContext, uint32_t ulHi, uint32_t ulLo, uint32_t ulWordCount,
                               uint32_t ulWordSize, const void* pvData);
    static int32_t GetRioErrors(void* pvContext, char* pszText, uint32_t ulSize);

    bool Intercept(const SMaintAccess& access, uint32_t* pulValue, int32_t* pnStatus);

    nvsim::CSimFabric& m_fabric;
};
} // namespace nvtest
