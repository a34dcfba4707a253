// AMC460 (device 0x0100, vendor 0x0064): an endpoint that takes up a new base device ID the
// moment its Base Device ID register is written, before it answers the write. Its responses
// carry the ID it has when it sends them, and the host takes a response only from the ID it
// sent the request to: a request addressed to any other ID is carried out, but its response is
// lost to the host (a time-out), as is the response to a write of a new ID sent to the old one.
//
// Source: the HAL's description of the part (it writes the new ID to the new ID and reads it
// back there). The manual could not be found; the rest is RapidIO's response matching.
#pragma once

#include "nvsim/StdDevice.h"

namespace nvsim::models
{
class CAmc460Endpoint : public CStdDevice
{
public:
    using CStdDevice::CStdDevice;

    bool AnswersAs(uint32_t ulDestId, bool bLarge) const override;
};
} // namespace nvsim::models
