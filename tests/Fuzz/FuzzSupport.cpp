#include "FuzzSupport.h"

#include <QDir>
#include <QFile>

#include <unistd.h>

namespace nvfuzz
{
void Silence()
{
    static CSilentUserInterface silent;
    SetUserInterface(&silent);
}

QString ScratchFile(const uint8_t* pData, size_t nSize, const char* pszExtension)
{
    const QString strPath = QDir::temp().filePath(QStringLiteral("nv-fuzz-%1%2")
                                                      .arg(static_cast<qint64>(::getpid()))
                                                      .arg(QString::fromLatin1(pszExtension)));
    QFile file(strPath);
    if (file.open(QIODevice::WriteOnly | QIODevice::Truncate))
    {
        file.write(reinterpret_cast<const char*>(pData), static_cast<qint64>(nSize));
    }
    return strPath;
}
} // namespace nvfuzz
