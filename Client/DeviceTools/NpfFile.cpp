#include "NpfFile.h"

#include "SafeFile.h"

#include <QFile>

#include <cerrno>
#include <cstdio>
#include <memory>

const char* const kNpfFormatLine = "Norvanta Packet File";
const char* const kNpfVersionLine = "V1.0";
const char* const kNpfFilter = "Norvanta Packet File (*.npf)|*.npf||";

namespace
{
// One line of the file without its end (a "\r\n" written elsewhere reads as "\n"); false at the
// end of the file.
bool NextLine(std::FILE* pFile, QByteArray* pLine)
{
    pLine->clear();
    int c = 0;
    bool bAny = false;
    while ((c = std::fgetc(pFile)) != EOF)
    {
        bAny = true;
        if (c == '\n')
            break;
        pLine->append(static_cast<char>(c));
    }
    if (pLine->endsWith('\r'))
        pLine->chop(1);
    return bAny;
}
} // namespace

bool ReadNpfFile(const QString& strPath, QStringList* pPackets, QString* pstrError)
{
    pPackets->clear();
    const QByteArray path = QFile::encodeName(strPath);
    errno = 0;
    std::unique_ptr<std::FILE, int (*)(std::FILE*)> file(std::fopen(path.constData(), "rb"), std::fclose);
    if (!file)
    {
        *pstrError = QStringLiteral("Unable to open packet file %1, error %2").arg(strPath).arg(errno);
        return false;
    }
    QByteArray line;
    if (!NextLine(file.get(), &line))
    {
        *pstrError = QStringLiteral("Invalid packet file format. [1]");
        return false;
    }
    if (line != kNpfFormatLine)
    {
        *pstrError = QStringLiteral("Invalid packet file format. [2]");
        return false;
    }
    if (!NextLine(file.get(), &line))
    {
        *pstrError = QStringLiteral("Invalid packet file format. [3]");
        return false;
    }
    if (line != kNpfVersionLine)
    {
        *pstrError = QStringLiteral("Invalid packet file format. [4]");
        return false;
    }
    while (NextLine(file.get(), &line))
        pPackets->append(QString::fromLatin1(line));
    return true;
}

bool WriteNpfFile(const QString& strPath, const QStringList& packets, QString* pstrError)
{
    QByteArray data;
    data.append(kNpfFormatLine).append('\n').append(kNpfVersionLine).append('\n');
    for (const QString& strPacket : packets)
        data.append(strPacket.toLatin1()).append('\n');
    const CSafeSaveResult result = SaveFileSafely(strPath, data);
    if (!result.Ok())
    {
        *pstrError = QStringLiteral("Unable to create packet file %1, error %2")
                         .arg(strPath)
                         .arg(result.ErrorNumber());
        return false;
    }
    return true;
}
