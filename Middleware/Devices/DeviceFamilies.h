/* The records of the device families, one file per family in this folder. DeviceTable.cpp
 * registers them in their fixed order. */
#ifndef NVXL_DEVICE_FAMILIES_H
#define NVXL_DEVICE_FAMILIES_H

#include "NVXLHal.h"

/* Vendor 2: device 0x12 and device 3. */
extern const HalInterface g_sVendor2Device12Interface;
extern const HalInterface g_sVendor2Device3Interface;
/* IDT 70K2000. */
extern const HalInterface g_sIDT70K2000Interface;
/* IDT Gen1: 80KSW0001 PPS, CPS-16, CPS-8, CPS-12, CPS-10Q, CPS-6Q. */
extern const HalInterface g_sIDTPPSInterface;
extern const HalInterface g_sIDTCPS16Interface;
extern const HalInterface g_sIDTCPS8Interface;
extern const HalInterface g_sIDTCPS12Interface;
extern const HalInterface g_sIDTCPS10QInterface;
extern const HalInterface g_sIDTCPS6QInterface;
/* IDT Gen2: CPS/VPS-1848, CPS-1432, VPS-1616, SPS-1616, CPS-1616. */
extern const HalInterface g_sIDTCPS1848Interface;
extern const HalInterface g_sIDTCPS1432Interface;
extern const HalInterface g_sIDTVPS1616Interface;
extern const HalInterface g_sIDTSPS1616Interface;
extern const HalInterface g_sIDTCPS1616Interface;
/* A device that answers with no identity (key 0). */
extern const HalInterface g_sNoIdentityInterface;
/* Vendor 1: device 6 and device 8. */
extern const HalInterface g_sVendor1Device6Interface;
extern const HalInterface g_sVendor1Device8Interface;
/* The record that six parallel-era devices share. It is registered once per device with its key
 * rewritten in between, so it cannot be const. */
extern HalInterface g_sSharedWidthInterface;
#define HAL_SHARED_WIDTH_KEYS 6
extern const uint32_t g_aulSharedWidthKeys[HAL_SHARED_WIDTH_KEYS];
/* PMC6352. */
extern const HalInterface g_sPMC6352Interface;
/* Vendor 0x30: device 0 and device 0x96. */
extern const HalInterface g_sVendor30Device0Interface;
extern const HalInterface g_sVendor30Device96Interface;
/* Tsi500, Tsi564, Tsi568, Tsi574 to Tsi578. */
extern const HalInterface g_sTsi500Interface;
extern const HalInterface g_sTsi564Interface;
extern const HalInterface g_sTsi568Interface;
extern const HalInterface g_sTsi574Interface;
extern const HalInterface g_sTsi575Interface;
extern const HalInterface g_sTsi576Interface;
extern const HalInterface g_sTsi577Interface;
extern const HalInterface g_sTsi578Interface;
/* AMC460. */
extern const HalInterface g_sAMC460Interface;
/* Vendor 0x38 device 0x80AB. */
extern const HalInterface g_sIDT80ABInterface;

#endif
