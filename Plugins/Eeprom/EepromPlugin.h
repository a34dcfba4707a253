/* The interface of an EEPROM image plug-in: a shared library in the EEPROM plug-in folder that
 * turns register writes into the boot image of the devices it names. Every library there is
 * tried; one that lacks any of the six exports below is unloaded and passed over.
 *
 * A device is named by a 32-bit ID whose high half is wVendorOrHigh and low half wDeviceOrLow
 * in the calls that take the pair (for a RapidIO device: the vendor ID high, the device ID low).
 * The caller fills the buffer with 0xFF before Initialize; the plug-in keeps its own state
 * between Initialize and Finalize, one image at a time. */
#ifndef NV_EEPROM_PLUGIN_H
#define NV_EEPROM_PLUGIN_H

#include <stdint.h>

#ifdef __cplusplus
extern "C"
{
#endif

    /* Results of the calls; anything else is a plug-in's own failure. */
    enum
    {
        NV_EEPROM_OK = 0,
        NV_EEPROM_NO_MORE_DEVICES = 1,
        NV_EEPROM_IMAGE_FULL = 2,
        NV_EEPROM_BAD_IMAGE_SIZE = 3
    };

    /* The first device the plug-in makes images for: 0 and its ID, non-zero when there is none. */
    typedef int32_t (*PFN_EEPROM_GET_FIRST_DEVICE)(uint32_t* pulId);
    /* The next one: the caller goes on until it returns non-zero. */
    typedef int32_t (*PFN_EEPROM_GET_NEXT_DEVICE)(uint32_t* pulId);
    /* Starts an image of ulSize bytes in pbBuffer (already 0xFF) for the device. */
    typedef int32_t (*PFN_EEPROM_INITIALIZE)(uint16_t wVendorOrHigh, uint16_t wDeviceOrLow, uint32_t ulSize,
                                             uint8_t* pbBuffer);
    /* Adds the write of ulCount words starting at register ulOffset. */
    typedef int32_t (*PFN_EEPROM_ADD_REG_INIT)(uint16_t wVendorOrHigh, uint16_t wDeviceOrLow, uint32_t ulSize,
                                               uint8_t* pbBuffer, uint32_t ulOffset, uint32_t ulCount,
                                               const uint32_t* pulValues);
    /* Completes the image (called once, after the last AddRegInit). */
    typedef void (*PFN_EEPROM_FINALIZE)(void);
    /* The image's length in bytes. */
    typedef uint32_t (*PFN_EEPROM_GET_BYTES_USED)(void);

#define NV_EEPROM_EXPORT_GET_FIRST "GetFirstSupportedDevice"
#define NV_EEPROM_EXPORT_GET_NEXT "GetNextSupportedDevice"
#define NV_EEPROM_EXPORT_INITIALIZE "Initialize"
#define NV_EEPROM_EXPORT_ADD_REG_INIT "AddRegInit"
#define NV_EEPROM_EXPORT_FINALIZE "Finalize"
#define NV_EEPROM_EXPORT_GET_BYTES_USED "GetBytesUsed"

#ifdef __cplusplus
}
#endif

#endif
