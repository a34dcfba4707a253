#include "ReportTemplate.h"

#include <QFile>
#include <QFileDevice>
#include <QIODevice>

#include <algorithm>

#include <cerrno>
#include <fcntl.h>
#include <unistd.h>

namespace
{
const QString kMarkerStart = QStringLiteral("##!!!");
const QString kMarkerEnd = QStringLiteral("!!!##");
} // namespace

QString ReportMarker(const QString& strKey)
{
    return kMarkerStart + strKey + kMarkerEnd;
}

QString FillTemplateLine(const QString& strLine, const QStringList& keys, const QStringList& values)
{
    if (strLine.isEmpty() || keys.isEmpty())
    {
        return strLine;
    }
    const qsizetype nMarkers = strLine.count(kMarkerStart);
    QString strFilled = strLine;
    qsizetype nMatched = 0;
    const qsizetype nPairs = std::min(keys.size(), values.size());
    for (qsizetype i = 0; i < nPairs && nMatched < nMarkers; ++i)
    {
        const QString strBefore = strFilled;
        strFilled.replace(ReportMarker(keys[i]), values[i]);
        if (strFilled != strBefore)
        {
            ++nMatched;
        }
    }
    return strFilled;
}

bool WriteTemplate(const QString& strTemplatePath, QIODevice& output, const QStringList& keys,
                   const QStringList& values, QString* pstrMessage)
{
    // Opened here rather than by QFile so that the message carries the system's own error number.
    const int fd = ::open(QFile::encodeName(strTemplatePath).constData(), O_RDONLY | O_CLOEXEC);
    if (fd < 0)
    {
        *pstrMessage = QStringLiteral("File could not be opened %1").arg(errno);
        return false;
    }
    QFile input;
    if (!input.open(fd, QIODevice::ReadOnly, QFileDevice::AutoCloseHandle))
    {
        ::close(fd);
        *pstrMessage = QStringLiteral("File could not be opened %1").arg(EIO);
        return false;
    }
    QByteArray text = input.readAll();
    if (text.endsWith('\n'))
    {
        text.chop(1);
    }
    if (text.isEmpty() && input.size() == 0)
    {
        return true; // an empty piece writes nothing
    }
    for (QByteArray line : text.split('\n'))
    {
        if (line.endsWith('\r'))
        {
            line.chop(1);
        }
        const QByteArray filled =
            FillTemplateLine(QString::fromUtf8(line), keys, values).toUtf8() + QByteArrayLiteral("\n");
        if (output.write(filled) != filled.size())
        {
            const auto* pFile = qobject_cast<const QFileDevice*>(&output);
            *pstrMessage =
                QStringLiteral("Unable to write file '%1'").arg(pFile ? pFile->fileName() : QString());
            return false;
        }
    }
    return true;
}

QString ReportEscape(const QString& strText)
{
    return strText.toHtmlEscaped();
}
