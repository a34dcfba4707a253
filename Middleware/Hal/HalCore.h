/* Settings of the HAL that its gates hand down with every transaction. */
#ifndef NVXL_HAL_CORE_H
#define NVXL_HAL_CORE_H

#include <stdint.h>

/* 1 when transactions use 16-bit destination IDs (HalSetLargeTransport). */
extern uint32_t g_bLargeTransport;
/* Priority of maintenance transactions (HalSetPriority). */
extern uint32_t g_ulMaintPriority;

#endif
