// The number entry rule on any text, checked against what it promises: an accepted number
// prints back in every base and reads again as the same value.
#include "NumberText.h"

#include <cstdlib>

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* pData, size_t nSize)
{
    const QString strText =
        QString::fromUtf8(reinterpret_cast<const char*>(pData), static_cast<qsizetype>(nSize));
    uint64_t ulValue = 0;
    if (!NumberFromText(strText, &ulValue))
    {
        return 0;
    }
    uint64_t ulLimited = 0;
    if (NumberFromText(strText, 0xFFFFFFFFu, &ulLimited) != (ulValue <= 0xFFFFFFFFu))
    {
        std::abort();
    }
    for (const int nBase : {2, 10, 16})
    {
        uint64_t ulBack = 0;
        const QString strPrinted = NumberToText(ulValue, nBase, true);
        if (!NumberFromText(strPrinted, &ulBack) || ulBack != ulValue)
        {
            std::abort();
        }
    }
    return 0;
}
