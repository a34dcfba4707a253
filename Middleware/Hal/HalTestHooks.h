/* Seams of the HAL for its tests; not part of the public interface. */
#ifndef NVXL_HAL_TEST_HOOKS_H
#define NVXL_HAL_TEST_HOOKS_H

#include <stdint.h>

#ifdef __cplusplus
extern "C"
{
#endif

    /* A wait of the HAL: between two attempts at a device lock, and the settling times of the
     * device families (route writes, speed changes). */
    typedef void (*HAL_SLEEP_FN)(uint32_t ulMilliseconds);

    /* Replaces the wait (NULL restores the real one), so that tests do not really wait and can see
     * which waits were asked for. */
    void HalSetSleepHook(HAL_SLEEP_FN pfnSleep);

#ifdef __cplusplus
}
#endif

#endif
