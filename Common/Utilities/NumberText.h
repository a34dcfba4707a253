// Numbers as people type and read them. Blanks and underscores are dropped; a text of 0s and 1s
// ending in B or b is binary; decimal digits with an optional D or d are decimal; hexadecimal
// digits with an optional H or h are hexadecimal. So "101" is decimal, "101b" binary, "FF" and
// "FFh" hexadecimal. A "0x" prefix is also taken as hexadecimal, as engineers type it. Digits,
// letters and blanks are ASCII only: full-width or other scripts' digits make a text invalid.
#pragma once

#include <QString>
#include <cstdint>

// The message shown for a text that is not a number.
QString InvalidEntryText();

// The value of an ASCII hexadecimal digit (either case), or -1.
int HexDigitValue(QChar ch);

// Parses a number; false for an empty or malformed text or one beyond 64 bits.
bool NumberFromText(const QString& strText, uint64_t* pValue);
// The same, refusing values above ulMax.
bool NumberFromText(const QString& strText, uint64_t ulMax, uint64_t* pValue);
// A number in base 2, 10 or 16, with the base's tail ("b", "d", "h") when bTail is set.
QString NumberToText(uint64_t ulValue, int nBase, bool bTail);
