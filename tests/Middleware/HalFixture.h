// Common set-up of the HAL tests: a fresh HAL with an empty registry, the fake target installed
// as its transport, every debug level off and the lock's wait replaced by a counter.
#pragma once

#include "FakeTarget.h"
#include "HalTestHooks.h"
#include "NVXLHal.h"

#include <gtest/gtest.h>

namespace nvtest
{
class CHalTest : public ::testing::Test
{
protected:
    void SetUp() override
    {
        HalInitialize();
        for (uint32_t ulLevel = 0; ulLevel < 6; ulLevel++)
            HalSetDebugFlag(ulLevel, 0);
        s_nSleeps = 0;
        s_fnOnSleep = nullptr;
        HalSetSleepHook(&CHalTest::CountSleep);
        m_target.Install();
    }

    void TearDown() override
    {
        HalSetSleepHook(nullptr);
        s_fnOnSleep = nullptr;
        for (uint32_t ulLevel = 0; ulLevel < 6; ulLevel++)
            HalSetDebugFlag(ulLevel, 0);
        HalInitialize();
    }

    static void CountSleep(uint32_t ulMilliseconds)
    {
        EXPECT_EQ(ulMilliseconds, 1000u);
        s_nSleeps++;
        if (s_fnOnSleep)
            s_fnOnSleep(s_nSleeps);
    }

    CFakeTarget m_target;
    static inline int s_nSleeps = 0;
    // Runs at each wait, with the number of waits so far.
    static inline std::function<void(int)> s_fnOnSleep;
};
} // namespace nvtest
