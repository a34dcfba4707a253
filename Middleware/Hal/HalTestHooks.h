/* Seams of the HAL for its tests; not part of the public interface. */
#ifndef NVXL_HAL_TEST_HOOKS_H
#define NVXL_HAL_TEST_HOOKS_H

#include <stdint.h>

#ifdef __cplusplus
extern "C"
{
#endif

    /* The wait between two attempts at a device lock. */
    typedef void (*HAL_SLEEP_FN)(uint32_t ulMilliseconds);

    /* Replaces the wait (NULL restores the real one), so that tests of the lock's retries do not
     * really wait. */
    void HalSetSleepHook(HAL_SLEEP_FN pfnSleep);

#ifdef __cplusplus
}
#endif

#endif
