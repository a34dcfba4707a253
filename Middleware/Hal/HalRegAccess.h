/* One-word register access for the device families and the port speed code: the HAL's standard
 * call of one 32-bit word, with Stride 4 for ordinary registers and Stride 0 for the registers of
 * an extended features block and the devices' self-incrementing ones. */
#ifndef NVXL_HAL_REG_ACCESS_H
#define NVXL_HAL_REG_ACCESS_H

#include "NVXLHal.h"

/* Reads one word (Stride 4). */
static inline NVXL_STATUS HalReadReg(uint8_t uchLocalPort, uint32_t ulDestID, uint8_t uchHopCount,
                                     uint32_t ulOffset, uint32_t* pulValue)
{
    return MaintRead(uchLocalPort, ulDestID, uchHopCount, ulOffset, pulValue, 1, 4, 4);
}

/* Writes one word (Stride 4). */
static inline NVXL_STATUS HalWriteReg(uint8_t uchLocalPort, uint32_t ulDestID, uint8_t uchHopCount,
                                      uint32_t ulOffset, uint32_t ulValue)
{
    return MaintWrite(uchLocalPort, ulDestID, uchHopCount, ulOffset, &ulValue, 1, 4, 4);
}

/* Reads one word with Stride 0. */
static inline NVXL_STATUS HalReadReg0(uint8_t uchLocalPort, uint32_t ulDestID, uint8_t uchHopCount,
                                      uint32_t ulOffset, uint32_t* pulValue)
{
    return MaintRead(uchLocalPort, ulDestID, uchHopCount, ulOffset, pulValue, 1, 4, 0);
}

/* Writes one word with Stride 0. */
static inline NVXL_STATUS HalWriteReg0(uint8_t uchLocalPort, uint32_t ulDestID, uint8_t uchHopCount,
                                       uint32_t ulOffset, uint32_t ulValue)
{
    return MaintWrite(uchLocalPort, ulDestID, uchHopCount, ulOffset, &ulValue, 1, 4, 0);
}

/* The LP-Serial Port n Control register of the switches whose extended features block sits at
 * 0x100, and its fields (LSB-0 numbering). */
#define HAL_PORT_CONTROL(uchPort) (0x15Cu + 32u * (uint32_t)(uchPort))
#define HAL_PORT_CTL_DISABLE 0x00800000u
#define HAL_PORT_CTL_OUTPUT_ENABLE 0x00400000u
#define HAL_PORT_CTL_INPUT_ENABLE 0x00200000u

#endif
