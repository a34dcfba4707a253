// The device families the HAL knows, registered once when the front end is made. The order
// matters: a lookup takes the first record of a key, so a family listed earlier wins over a later
// record of the same key. The families go in this order, by device key:
//   0x00120002, 0x00030002, the 70K2000 family, the IDT Gen1 and Gen2 families, the record with
//   key 0, 0x00060001, 0x00080001, the group that shares one record, 0x6352003B, 0x00000030 and
//   0x00960030, the Tsi family, 0x01000064, 0x80AB0038.
// The records themselves live one file per family in this folder; none has been written yet, so
// the table is empty and every device takes the standard RapidIO path.
#include "NVXLHal.h"

#include <stdio.h>

// The records in registration order, ended by NULL.
static const HalInterface* const s_apDeviceFamilies[] = {
    NULL,
};

void HalRegisterDeviceFamilies(void)
{
    for (const HalInterface* const* ppInterface = s_apDeviceFamilies; *ppInterface; ppInterface++)
    {
        // A family that cannot be registered falls back to the standard path; start-up goes on.
        if (!HalRegisterInterface(*ppInterface))
            fprintf(stderr, "Warning: ## HANDLER ## intialization failed.\n");
    }
}
