#include "FileBuffer.h"

#include <QFile>
#include <QFileInfo>

EFileRead ReadWholeFile(const QString& strPath, QByteArray* pBuffer)
{
    const QFileInfo info(strPath);
    if (!info.exists())
    {
        return EFileRead::NotFound;
    }
    QFile file(strPath);
    if (!info.isFile() || !file.open(QIODevice::ReadOnly))
    {
        return EFileRead::OpenFailed;
    }
    const qint64 llSize = file.size();
    if (llSize < 0 || llSize > kMaxFileBufferSize)
    {
        return EFileRead::TooLarge;
    }
    QByteArray buffer(static_cast<qsizetype>(llSize), Qt::Uninitialized);
    qint64 llRead = 0;
    while (llRead < llSize)
    {
        const qint64 llChunk = file.read(buffer.data() + llRead, llSize - llRead);
        if (llChunk <= 0)
        {
            return EFileRead::ShortRead;
        }
        llRead += llChunk;
    }
    *pBuffer = std::move(buffer);
    return EFileRead::Ok;
}
