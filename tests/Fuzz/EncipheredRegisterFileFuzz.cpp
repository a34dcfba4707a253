// The enciphered register file (.envr) path: the file read, the decipher step on any length, and
// the reader behind it. The first byte chooses whether the rest is the file as it stands (any
// cipher text) or plain text that is enciphered first, so that the parser sees real XML too.
#include "Cipher.h"
#include "FuzzSupport.h"
#include "RegisterFileWalk.h"
#include "RegisterInfoCache.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* pData, size_t nSize)
{
    nvfuzz::Silence();
    if (nSize == 0)
    {
        return 0;
    }
    QByteArray file(reinterpret_cast<const char*>(pData + 1), static_cast<qsizetype>(nSize - 1));
    if ((pData[0] & 1) != 0 && !EncipherBuffer(file, ECipherKey::RegisterFile))
    {
        return 0;
    }
    QString strError;
    const auto pInfo =
        CRegisterInfoCache::ReadFile(nvfuzz::ScratchFile(reinterpret_cast<const uint8_t*>(file.constData()),
                                                         static_cast<size_t>(file.size()), ".envr"),
                                     true, &strError);
    if (pInfo)
    {
        nvfuzz::WalkRegisterFile(*pInfo);
    }
    return 0;
}
