// Motorola S-Records: how EEPROM images and register value sets go in and out of the program.
// A record is one line: "S", a type digit, a byte count, an address of 4, 6 or 8 hexadecimal
// digits, the data bytes and a checksum (the complemented low byte of the sum of the count, address
// and data bytes). Records are written in upper case and read in any case.
#pragma once

#include <QString>

#include <cstddef>
#include <cstdint>
#include <memory>

class QByteArray;
class QIODevice;

// One record of count data bytes: S1 for 1 or 2 address bytes, S2 for 3, S3 for 4, ended by "\n".
// Any other address size gives an empty text.
QString FormatSRecord(const uint8_t* pData, int iCount, uint32_t ulAddress, int iAddressBytes);

// Writes a whole image, 16 data bytes to a record (the last one shorter) from ulStartAddress on,
// the address counting in 16 bits, then the S5 record with the number of data records. An image of
// size 0 gives the S5 record alone. False when the file refuses the text.
bool WriteSRecordImage(const uint8_t* pData, size_t nSize, QIODevice& file, uint32_t ulStartAddress,
                       int iAddressBytes);

// Reads an image of S1, S2 and S3 records (other types are passed over) into a block as large as
// the highest address written; bytes no record writes are left as the allocation found them. A
// bad line is shown to the user with its number, and the result is false with nothing kept.
bool ReadSRecordImage(QIODevice& file, std::unique_ptr<uint8_t[]>* ppData, size_t* pnSize);

// The hexadecimal number in nDigits characters (at most 8, in either case) of a line from iPos;
// false when the line is too short or a character is no hexadecimal digit.
bool ParseHexDigits(const QByteArray& line, qsizetype iPos, qsizetype nDigits, uint32_t* pulValue);

// The next line of a register value file, read in binary, without its line feed; a carriage return
// before it stays and counts in the line's length. False at the end of the file.
bool ReadValueFileLine(QIODevice& file, QByteArray* pLine);

// What reading one register value line found.
enum ESRecordValueRead
{
    eSRecValueOk = 0,
    eSRecValueEnd = 1,       // no more lines
    eSRecValueBadLength = 2, // not the 22 characters of the record and a carriage return
    eSRecValueNotS3 = 3,     // does not begin with "S3" (in either case)
    eSRecValueBadCount = 4,  // the byte count is not "09"
    eSRecValueBadOffset = 5, // the address (the register offset) is not hexadecimal
    eSRecValueBadValue = 6,  // the four data bytes (the value) are not hexadecimal
};

// Reads the next line of a register value file: an S3 record with a 32-bit offset as address and
// the value as four big-endian data bytes. The line is read in binary, so a file with bare line
// feeds is refused by its length. The checksum is not checked.
int ReadSRecordValue(QIODevice& file, uint32_t* pulOffset, uint32_t* pulValue);
