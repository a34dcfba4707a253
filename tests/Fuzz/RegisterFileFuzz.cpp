// The register file (.nvr) reader on any text.
#include "FuzzSupport.h"
#include "RegisterFileWalk.h"
#include "RegisterInfo.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* pData, size_t nSize)
{
    nvfuzz::Silence();
    CRegisterFileInfo info;
    QString strReason;
    const QByteArray text(reinterpret_cast<const char*>(pData), static_cast<qsizetype>(nSize));
    if (info.ReadXml(text, &strReason) == ERegisterFileRead::Ok)
    {
        nvfuzz::WalkRegisterFile(info);
    }
    return 0;
}
