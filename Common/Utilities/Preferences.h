// The preference store: named values in sections, per user or per machine. Every other part of
// the program reads its settings here at the place of use.
#pragma once

#include <QString>
#include <cstdint>

// Longest string value that the store hands out; a longer one reads as the default.
constexpr int kMaxPreferenceString = 1024;

// A 32-bit value, or ulDefault when the key is absent or not a number.
uint32_t GetPreference(const QString& strSection, const QString& strKey, uint32_t ulDefault,
                       bool bPerUser = true);
// A string of at most 1024 bytes, or strDefault when the key is absent or longer.
QString GetPreference(const QString& strSection, const QString& strKey, const QString& strDefault,
                      bool bPerUser = true);
QString GetPreference(const QString& strSection, const QString& strKey, const char* pszDefault,
                      bool bPerUser = true);
// Stores a 32-bit value; a store that cannot be written shows "Unable to create %s/%s\n" and
// returns false.
bool SetPreference(const QString& strSection, const QString& strKey, uint32_t ulValue, bool bPerUser = true);
// Stores a string; a store that cannot be written says so, and that its file is untouched, and
// returns false.
bool SetPreference(const QString& strSection, const QString& strKey, const QString& strValue,
                   bool bPerUser = true);
// Removes a key; a failed write is shown as for a string.
void RemovePreference(const QString& strSection, const QString& strKey, bool bPerUser = true);
// A per-machine value of another product of the same maker.
QString GetProductPreference(const QString& strProduct, const QString& strSection, const QString& strKey,
                             const QString& strDefault);
// Writes pending changes to disk (the store also does so on exit); a failed write is shown as
// for a string, and the result is false.
bool SyncPreferences();
// Forgets what the store read, so that the next use reads its files again; changes not yet
// written are written first.
void ReopenPreferences();
// Gives a key a value for this run only: gets answer it, nothing is stored. Used by the command
// line's options, which must not change the user's settings.
void SetPreferenceOverride(const QString& strSection, const QString& strKey, const QString& strValue);
// Drops every run-only value.
void ClearPreferenceOverrides();
// A number that changes whenever a value is set, removed or overridden in this process, so that
// a hot path may keep a value it read until the store changes.
uint32_t PreferenceGeneration();
