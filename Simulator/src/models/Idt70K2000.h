// IDT 70K2000 (device 0x0310, vendor 0x0038; the Linux kernel's rio_ids.h lists it as
// RIO_DID_IDT70K200): one route table for all its ports, reached through the standard route
// registers and the broadcast window at 0xE00000 only; the Gen1 quad registers for its rates.
//
// Its port count and quad count could not be found in a public source: two quads of four x1
// ports (8 ports) are assumed; "ports=" and "reg" lines set others.
#pragma once

#include "models/IdtGen1.h"

namespace nvsim::models
{
class CIdt70K2000Switch : public CIdtGen1Switch
{
public:
    static constexpr uint8_t kPorts = 8;

    CIdt70K2000Switch(std::string strName, SDeviceConfig config);
};
} // namespace nvsim::models
