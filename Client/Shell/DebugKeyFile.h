// The debug key file: a file named after one day that turns the debug log's channels on for that
// day only, so that a support engineer can send a user logging without the user touching a
// setting. Sixteen enciphered bytes, of which the first six are the channel flags.
#pragma once

#include "DebugLog.h"

#include <QDate>
#include <QString>

#include <array>

using DebugFlags = std::array<bool, eDebugChannelCount>;

// "%04X%04X%04x.DbgKey" of the day's year, month and day.
QString DebugKeyFileName(const QDate& date);
// Writes the key file of a day into a directory. An existing file is replaced only after "Do you
// want to overwrite the existing key file?"; false when the person declines or the write fails.
bool WriteDebugKeyFile(const QString& strDirectory, const QDate& date, const DebugFlags& flags);
// Reads and deciphers a key file; false when it is absent or shorter than 16 bytes.
bool ReadDebugKeyFile(const QString& strPath, DebugFlags* pFlags);
// At start-up, before the debug log is first used: when the application directory holds today's
// key file, its flags stand for this run in place of the stored ones (which are left as they
// are). Returns true when a key file was applied.
bool ApplyDebugKeyFile(const QString& strAppDir, const QDate& today);
