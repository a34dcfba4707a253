// Common set-up of the device family tests: the HAL of the other tests with every family
// registered, the waits recorded instead of taken, and small views of what reached the fake device.
#pragma once

#include "HalFixture.h"

#include <ostream>
#include <vector>

namespace nvtest
{
// One access as (write?, offset, first word), for compact comparison.
struct SStep
{
    bool bWrite;
    uint32_t ulOffset;
    uint32_t ulValue;
    bool operator==(const SStep&) const = default;
};

inline std::ostream& operator<<(std::ostream& os, const SStep& s)
{
    return os << (s.bWrite ? "W " : "R ") << std::hex << s.ulOffset << "=" << s.ulValue << std::dec;
}

class CFamilyTest : public CHalTest
{
protected:
    void SetUp() override
    {
        CHalTest::SetUp();
        HalRegisterDeviceFamilies();
        s_aulWaits.clear();
        s_fnOnWait = nullptr;
        HalSetSleepHook(&CFamilyTest::RecordWait);
    }

    void TearDown() override
    {
        s_fnOnWait = nullptr;
        CHalTest::TearDown();
    }

    static void RecordWait(uint32_t ulMilliseconds)
    {
        s_aulWaits.push_back(ulMilliseconds);
        if (s_fnOnWait)
            s_fnOnWait(ulMilliseconds);
    }

    std::vector<SStep> Steps() const
    {
        std::vector<SStep> aSteps;
        for (const SAccess& a : m_target.m_aAccesses)
            aSteps.push_back({a.bWrite, a.ulOffset, a.aulWords.empty() ? 0u : a.aulWords[0]});
        return aSteps;
    }

    // The words written to one offset, in order.
    std::vector<uint32_t> WritesTo(uint32_t ulOffset) const
    {
        std::vector<uint32_t> aulValues;
        for (const SAccess& a : m_target.m_aAccesses)
        {
            if (a.bWrite && a.ulOffset == ulOffset)
                aulValues.insert(aulValues.end(), a.aulWords.begin(), a.aulWords.end());
        }
        return aulValues;
    }

    // Whether an access of the given kind reached the offset.
    bool Touched(uint32_t ulOffset, bool bWrite) const
    {
        for (const SAccess& a : m_target.m_aAccesses)
        {
            if (a.ulOffset == ulOffset && a.bWrite == bWrite)
                return true;
        }
        return false;
    }

    void Forget()
    {
        m_target.m_aAccesses.clear();
        m_target.m_aDataAccesses.clear();
        m_target.m_astrDebug.clear();
        s_aulWaits.clear();
    }

    static inline std::vector<uint32_t> s_aulWaits;
    // Runs at each wait, with its length.
    static inline std::function<void(uint32_t)> s_fnOnWait;
};
} // namespace nvtest
