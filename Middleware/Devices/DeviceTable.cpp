// The device families the HAL knows, registered once when the front end is made. The order
// matters: a lookup takes the first record of a key, so a family listed earlier wins over a later
// record of the same key. The records themselves live one file per family in this folder.
#include "Devices/DeviceFamilies.h"
#include "NVXLHal.h"

#include <stddef.h>
#include <stdio.h>

// One registration: a record, or the shared record under one of its keys.
typedef struct
{
    const HalInterface* pInterface;
    // Set for the shared record: its key is rewritten to *pulKey before it is registered.
    HalInterface* pRekeyed;
    const uint32_t* pulKey;
} HAL_REGISTRATION;

// The registrations in their fixed order.
// clang-format off
static const HAL_REGISTRATION s_asRegistrations[] = {
    {&g_sVendor2Device12Interface, NULL, NULL},
    {&g_sVendor2Device3Interface, NULL, NULL},
    {&g_sIDT70K2000Interface, NULL, NULL},
    {&g_sIDTPPSInterface, NULL, NULL},
    {&g_sIDTCPS16Interface, NULL, NULL},
    {&g_sIDTCPS8Interface, NULL, NULL},
    {&g_sIDTCPS12Interface, NULL, NULL},
    {&g_sIDTCPS10QInterface, NULL, NULL},
    {&g_sIDTCPS6QInterface, NULL, NULL},
    {&g_sIDTCPS1848Interface, NULL, NULL},
    {&g_sIDTCPS1432Interface, NULL, NULL},
    {&g_sIDTVPS1616Interface, NULL, NULL},
    {&g_sIDTSPS1616Interface, NULL, NULL},
    {&g_sIDTCPS1616Interface, NULL, NULL},
    {&g_sNoIdentityInterface, NULL, NULL},
    {&g_sVendor1Device6Interface, NULL, NULL},
    {&g_sVendor1Device8Interface, NULL, NULL},
    {&g_sSharedWidthInterface, &g_sSharedWidthInterface, &g_aulSharedWidthKeys[0]},
    {&g_sSharedWidthInterface, &g_sSharedWidthInterface, &g_aulSharedWidthKeys[1]},
    {&g_sSharedWidthInterface, &g_sSharedWidthInterface, &g_aulSharedWidthKeys[2]},
    {&g_sSharedWidthInterface, &g_sSharedWidthInterface, &g_aulSharedWidthKeys[3]},
    {&g_sSharedWidthInterface, &g_sSharedWidthInterface, &g_aulSharedWidthKeys[4]},
    {&g_sSharedWidthInterface, &g_sSharedWidthInterface, &g_aulSharedWidthKeys[5]},
    {&g_sPMC6352Interface, NULL, NULL},
    {&g_sVendor30Device0Interface, NULL, NULL},
    {&g_sVendor30Device96Interface, NULL, NULL},
    {&g_sTsi500Interface, NULL, NULL},
    {&g_sTsi564Interface, NULL, NULL},
    {&g_sTsi568Interface, NULL, NULL},
    {&g_sTsi574Interface, NULL, NULL},
    {&g_sTsi575Interface, NULL, NULL},
    {&g_sTsi576Interface, NULL, NULL},
    {&g_sTsi577Interface, NULL, NULL},
    {&g_sTsi578Interface, NULL, NULL},
    {&g_sAMC460Interface, NULL, NULL},
    {&g_sIDT80ABInterface, NULL, NULL},
};
// clang-format on

void HalRegisterDeviceFamilies(void)
{
    for (size_t i = 0; i < sizeof s_asRegistrations / sizeof s_asRegistrations[0]; i++)
    {
        const HAL_REGISTRATION* pRegistration = &s_asRegistrations[i];
        if (pRegistration->pRekeyed)
            pRegistration->pRekeyed->ulDeviceKey = *pRegistration->pulKey;
        // A family that cannot be registered falls back to the standard path; start-up goes on.
        if (!HalRegisterInterface(pRegistration->pInterface))
            fprintf(stderr, "Warning: ## HANDLER ## intialization failed.\n");
    }
}
