/* Entries shared by the families whose ports have the LP-Serial Port n Control register at
 * 0x15C + 32 n: the port width read from it, the port configuration record and the port enables. */
#ifndef NVXL_PORT_CONTROL_H
#define NVXL_PORT_CONTROL_H

#include "NVXLHal.h"

#ifdef __cplusplus
extern "C"
{
#endif

    /* Widths and lanes of a serial port from its Port n Control register. */
    NVXL_STATUS HalPortWidthFromControl(uint16_t wVendorID, uint16_t wDeviceID, uint8_t uchLocalPort,
                                        uint32_t ulDestID, uint8_t uchHopCount, uint8_t uchPort,
                                        uint8_t* puchPortWidth, uint8_t* puchLane, uint8_t* puchMaxWidth,
                                        uint8_t* puchWidthOverride, uint32_t* pbParallel,
                                        uint32_t* pulPortType);
    /* Decodes a Port n Control value as HalPortWidthFromControl does, with the maximum width given
     * by the caller. */
    void HalDecodePortWidth(uint32_t ulControl, uint8_t uchMaxWidth, uint8_t* puchPortWidth,
                            uint8_t* puchLane, uint8_t* puchMaxWidth, uint8_t* puchWidthOverride,
                            uint32_t* pbParallel);
    /* Nothing is read: all widths are 255 (not known) and the port type is ulPortType. */
    void HalPortWidthNotKnown(uint32_t ulPortType, uint8_t* puchPortWidth, uint8_t* puchLane,
                              uint8_t* puchMaxWidth, uint8_t* puchWidthOverride, uint32_t* pbParallel,
                              uint32_t* pulPortType);
    /* The fields of the Port n Control register that *pulMask asks for. */
    NVXL_STATUS HalPortConfigFromControl(uint16_t wVendorID, uint16_t wDeviceID, uint8_t uchLocalPort,
                                         uint32_t ulDestID, uint8_t uchHopCount, uint8_t uchPort,
                                         uint32_t* pulMask, NVXL_PORT_CONFIG* pRecord);
    /* Sets the input and output enables of the Port n Control register. */
    NVXL_STATUS HalPortEnablesInControl(uint16_t wVendorID, uint16_t wDeviceID, uint8_t uchLocalPort,
                                        uint32_t ulDestID, uint8_t uchHopCount, uint8_t uchPort,
                                        uint32_t bInput, uint32_t bOutput);
    /* Returns 1: the family has one routing table per port. */
    int32_t HalHasPerPortRouting(uint16_t wVendorID, uint16_t wDeviceID);

#ifdef __cplusplus
}
#endif

#endif
