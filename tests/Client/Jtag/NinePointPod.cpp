// A pod library that exports nine of the ten entry points (jtagWrite is missing): the client must
// refuse it whole rather than fail later at the first write.
#include <cstdint>

#define NV_EXPORT extern "C" __attribute__((visibility("default")))

NV_EXPORT int32_t jtagGetDriverVersion(uint32_t* pulVersion)
{
    *pulVersion = 0x00020814;
    return 0;
}
NV_EXPORT int32_t jtagSetDebugLevel(int32_t)
{
    return 0;
}
NV_EXPORT int32_t jtagSetDebugCallback(void (*)(void*, const char*), void*)
{
    return 0;
}
NV_EXPORT int32_t jtagOpen(const char*, int32_t* plHandle)
{
    *plHandle = 0;
    return 0;
}
NV_EXPORT int32_t jtagAddDevice(int32_t, const char*, uint32_t, uint32_t)
{
    return 0;
}
NV_EXPORT int32_t jtagDiscover(int32_t, uint32_t* pulNumDevices)
{
    *pulNumDevices = 1;
    return 0;
}
NV_EXPORT int32_t jtagDeviceSelect(int32_t, uint32_t)
{
    return 0;
}
NV_EXPORT int32_t jtagRead(int32_t, uint32_t, uint32_t* pulValue)
{
    *pulValue = 0;
    return 0;
}
NV_EXPORT int32_t jtagClose(int32_t)
{
    return 0;
}
