// Reading a whole file into memory, as the map and register file readers do before parsing.
#pragma once

#include <QByteArray>
#include <QString>

enum class EFileRead
{
    Ok,
    NotFound,
    OpenFailed,
    TooLarge,  // beyond what a description file can sensibly be
    ShortRead, // fewer bytes came than the file's size
};

// Largest file the readers take into memory.
constexpr qint64 kMaxFileBufferSize = qint64(1) << 30;

EFileRead ReadWholeFile(const QString& strPath, QByteArray* pBuffer);
