// The device information file (.nvi) reader on any bytes.
#include "DeviceInfo.h"
#include "FuzzSupport.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* pData, size_t nSize)
{
    nvfuzz::Silence();
    CDeviceInfo info;
    if (info.Load(nvfuzz::ScratchFile(pData, nSize, ".nvi")))
    {
        for (int i = 0; i < info.GetNumTOCEntries(); ++i)
        {
            (void)info.GetTOCEntry(i);
            (void)info.GetTOCType(i);
        }
        (void)PETypeToText(info.GetPEType());
    }
    return 0;
}
