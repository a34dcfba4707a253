#include "SocketErrorText.h"

#include <cstring>

QString SocketErrorText(int nError)
{
    char szBuffer[256];
    // The GNU strerror_r returns the text, which may or may not be in the buffer.
    const char* pszText = strerror_r(nError, szBuffer, sizeof(szBuffer));
    return QString::fromLocal8Bit(pszText);
}
