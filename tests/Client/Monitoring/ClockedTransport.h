// Timed maintenance reads for the link monitor tests: carried out on an in-process fabric, with
// the target's millisecond clock in the test's hands.
#pragma once

#include "LinkMonitor.h"
#include "nvsim/Fabric.h"

#include <map>

namespace nvtest
{
// Timed reads on the fabric with a millisecond clock the test moves. Words at chosen offsets can
// be replaced (a counter about to wrap), and the next reads made to fail.
class CClockedTransport final : public ILinkMonitorTransport
{
public:
    explicit CClockedTransport(nvsim::CSimFabric& fabric) : m_fabric(fabric) {}
    bool IsOpen() override { return bOpen; }
    int32_t TimedRead(uint32_t ulDestID, uint8_t uchHop, uint32_t ulOffset, uint32_t* pulWords,
                      uint32_t ulCount, uint32_t ulStride, uint32_t ulLastTick, uint32_t* pulElapsedUs,
                      uint32_t* pulTick) override
    {
        ++nReads;
        if (nFailures > 0)
        {
            --nFailures;
            return -310;
        }
        const int32_t nStatus = m_fabric.MaintRead(0, ulDestID, uchHop, ulOffset, pulWords, ulCount, 4,
                                                   ulStride, false, nullptr, 2);
        for (uint32_t i = 0; i < ulCount; ++i)
        {
            const auto it = overrides.find(ulOffset + i * ulStride);
            if (it != overrides.end())
            {
                pulWords[i] = it->second;
            }
        }
        *pulElapsedUs = (ulNowMs - ulLastTick) * 1000;
        *pulTick = ulNowMs;
        return nStatus;
    }
    int32_t Read(uint32_t ulDestID, uint8_t uchHop, uint32_t ulOffset, uint32_t* pulValue) override
    {
        return m_fabric.MaintRead(0, ulDestID, uchHop, ulOffset, pulValue, 1, 4, 4, false, nullptr, 2);
    }
    int32_t Write(uint32_t ulDestID, uint8_t uchHop, uint32_t ulOffset, uint32_t ulValue) override
    {
        ++nWrites;
        if (nWriteFailures > 0)
        {
            --nWriteFailures;
            return -310;
        }
        return m_fabric.MaintWrite(0, ulDestID, uchHop, ulOffset, &ulValue, 1, 4, 4, false, nullptr, 2);
    }
    bool bOpen = true;
    int nFailures = 0;
    int nReads = 0;
    int nWrites = 0;
    int nWriteFailures = 0;
    uint32_t ulNowMs = 5000;
    std::map<uint32_t, uint32_t> overrides;

private:
    nvsim::CSimFabric& m_fabric;
};
} // namespace nvtest
