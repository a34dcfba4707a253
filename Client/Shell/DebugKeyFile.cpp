#include "DebugKeyFile.h"

#include "Cipher.h"
#include "Preferences.h"
#include "SafeFile.h"
#include "UserInterface.h"

#include <QDir>
#include <QFile>

namespace
{
constexpr int kKeyFileSize = 16;
} // namespace

QString DebugKeyFileName(const QDate& date)
{
    return QString::asprintf("%04X%04X%04x.DbgKey", date.year(), date.month(), date.day());
}

bool WriteDebugKeyFile(const QString& strDirectory, const QDate& date, const DebugFlags& flags)
{
    const QString strPath = QDir(strDirectory).filePath(DebugKeyFileName(date));
    if (QFile::exists(strPath) && UI().Ask(QStringLiteral("Do you want to overwrite the existing key file?"),
                                           QStringLiteral("Key File Exists"), false) != eAnswerYes)
    {
        return false;
    }
    QByteArray block(kKeyFileSize, '\0');
    for (int i = 0; i < eDebugChannelCount; ++i)
    {
        block[i] = flags[static_cast<size_t>(i)] ? 1 : 0;
    }
    if (!EncipherBuffer(block, ECipherKey::MapFile))
    {
        ShowMessage(QStringLiteral("Unable to write the key file %1.").arg(strPath));
        return false;
    }
    const CSafeSaveResult saved = SaveFileSafely(strPath, block);
    if (!saved.Ok())
    {
        ShowMessage(saved.Text());
        return false;
    }
    return true;
}

bool ReadDebugKeyFile(const QString& strPath, DebugFlags* pFlags)
{
    QFile file(strPath);
    if (!file.open(QIODevice::ReadOnly))
    {
        return false;
    }
    QByteArray block = file.read(kKeyFileSize);
    if (block.size() != kKeyFileSize || !DecipherBuffer(block, ECipherKey::MapFile))
    {
        return false;
    }
    for (int i = 0; i < eDebugChannelCount; ++i)
    {
        (*pFlags)[static_cast<size_t>(i)] = block[i] != 0;
    }
    return true;
}

bool ApplyDebugKeyFile(const QString& strAppDir, const QDate& today)
{
    DebugFlags flags{};
    if (!ReadDebugKeyFile(QDir(strAppDir).filePath(DebugKeyFileName(today)), &flags))
    {
        return false;
    }
    for (int i = 0; i < eDebugChannelCount; ++i)
    {
        SetPreferenceOverride(QStringLiteral("Debug"), DebugChannelKey(i),
                              flags[static_cast<size_t>(i)] ? QStringLiteral("1") : QStringLiteral("0"));
    }
    return true;
}
