// The device models a topology can name with model=NAME. Device family models (switches with
// their own register maps, bridges) join this table as they are written, each one a class that
// derives from CStdDevice and overrides what its part does differently.
#include "nvsim/Device.h"
#include "nvsim/StdDevice.h"

#include <array>

namespace nvsim
{
namespace
{
struct SModel
{
    const char* pszName;
    std::unique_ptr<CSimDevice> (*pfnCreate)(const std::string& strName, const SDeviceConfig& config);
};

std::unique_ptr<CSimDevice> CreateGeneric(const std::string& strName, const SDeviceConfig& config)
{
    return std::make_unique<CStdDevice>(strName, config);
}

constexpr std::array kModels = {
    SModel{"generic", &CreateGeneric},
};
} // namespace

std::unique_ptr<CSimDevice> CreateDevice(const std::string& strName, const SDeviceConfig& config,
                                         std::string* pError)
{
    for (const SModel& model : kModels)
    {
        if (config.strModel == model.pszName)
            return model.pfnCreate(strName, config);
    }
    if (pError)
        *pError = "unknown device model '" + config.strModel + "'";
    return nullptr;
}
} // namespace nvsim
