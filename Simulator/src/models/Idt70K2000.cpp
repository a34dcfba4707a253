#include "models/Idt70K2000.h"

namespace nvsim::models
{
CIdt70K2000Switch::CIdt70K2000Switch(std::string strName, SDeviceConfig config)
    : CIdtGen1Switch(std::move(strName), std::move(config), false, 2, true)
{
}
} // namespace nvsim::models
