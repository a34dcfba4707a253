#include "models/Amc460.h"

namespace nvsim::models
{
bool CAmc460Endpoint::AnswersAs(uint32_t ulDestId, bool bLarge) const
{
    return ulDestId == BaseDeviceId(bLarge);
}
} // namespace nvsim::models
