#include "SRecord.h"

#include "UserInterface.h"

#include <QByteArray>
#include <QIODevice>

#include <algorithm>

namespace
{
// Data bytes in each record of an image.
constexpr size_t kImageRecordBytes = 16;

// One record of an image as the reader takes it apart.
struct SImageRecord
{
    bool bData = false; // S1, S2 or S3; other types carry nothing for the image
    uint32_t ulAddress = 0;
    qsizetype iDataPos = 0;   // first character of the data
    qsizetype nDataBytes = 0; // bytes of data
};

bool Refuse(const char* pszFormat, int iLine)
{
    ShowMessage(QString::asprintf(pszFormat, iLine));
    return false;
}

// Checks the fields of one upper-cased line; shows what is wrong and returns false.
bool ParseImageLine(const QByteArray& line, int iLine, SImageRecord* pRecord)
{
    *pRecord = SImageRecord();
    if (line.isEmpty() || line[0] != 'S')
    {
        return Refuse("Invalid S Record. Line %d must begin with 'S'.\n", iLine);
    }
    int iAddressDigits = 0;
    switch (line.size() > 1 ? line[1] : '\0')
    {
    case '1':
        iAddressDigits = 4;
        break;
    case '2':
        iAddressDigits = 6;
        break;
    case '3':
        iAddressDigits = 8;
        break;
    default:
        // S0, S5, S7, S8 and S9 carry no image data.
        return true;
    }
    uint32_t ulCount = 0;
    if (!ParseHexDigits(line, 2, 2, &ulCount))
    {
        return Refuse("Invalid S Record. Line %d count field is bad.\n", iLine);
    }
    if (!ParseHexDigits(line, 4, iAddressDigits, &pRecord->ulAddress))
    {
        return Refuse("Invalid S Record. Line %d address field is bad.\n", iLine);
    }
    // The checksum only has to be a number: its value is not held against the data.
    uint32_t ulChecksum = 0;
    if (!ParseHexDigits(line, line.size() - 2, 2, &ulChecksum))
    {
        return Refuse("Invalid S Record. Line %d checksum field is bad.\n", iLine);
    }
    const qsizetype nDataBytes = static_cast<qsizetype>(ulCount) - iAddressDigits / 2 - 1;
    if (line.size() - 4 != static_cast<qsizetype>(ulCount) * 2 || nDataBytes < 0)
    {
        return Refuse("Invalid S Record. Line %d count field does not match number of characters.\n", iLine);
    }
    pRecord->bData = true;
    pRecord->iDataPos = 4 + iAddressDigits;
    pRecord->nDataBytes = nDataBytes;
    return true;
}

// The next line of a text file without its line end, upper-cased; false at the end of the file.
bool NextImageLine(QIODevice& file, QByteArray* pLine)
{
    if (file.atEnd())
    {
        return false;
    }
    QByteArray line = file.readLine();
    while (!line.isEmpty() && (line.back() == '\n' || line.back() == '\r'))
    {
        line.chop(1);
    }
    *pLine = line.toUpper();
    return true;
}
} // namespace

bool ParseHexDigits(const QByteArray& line, qsizetype iPos, qsizetype nDigits, uint32_t* pulValue)
{
    if (iPos < 0 || nDigits <= 0 || iPos + nDigits > line.size())
    {
        return false;
    }
    uint32_t ulValue = 0;
    for (qsizetype i = iPos; i < iPos + nDigits; ++i)
    {
        const char ch = line[i];
        uint32_t ulDigit = 0;
        if (ch >= '0' && ch <= '9')
        {
            ulDigit = static_cast<uint32_t>(ch - '0');
        }
        else if (ch >= 'A' && ch <= 'F')
        {
            ulDigit = static_cast<uint32_t>(ch - 'A' + 10);
        }
        else if (ch >= 'a' && ch <= 'f')
        {
            ulDigit = static_cast<uint32_t>(ch - 'a' + 10);
        }
        else
        {
            return false;
        }
        ulValue = (ulValue << 4) | ulDigit;
    }
    *pulValue = ulValue;
    return true;
}

QString FormatSRecord(const uint8_t* pData, int iCount, uint32_t ulAddress, int iAddressBytes)
{
    if (iAddressBytes < 1 || iAddressBytes > 4 || iCount < 0)
    {
        return QString();
    }
    QString strRecord;
    uint32_t ulSum = 0;
    switch (iAddressBytes)
    {
    case 1:
    case 2:
        ulAddress &= 0xFFFF;
        strRecord = QString::asprintf("S1%02X%04X", (iCount + 3) & 0xFF, ulAddress);
        ulSum = static_cast<uint32_t>(iCount + 3) + (ulAddress >> 8) + ulAddress;
        break;
    case 3:
        ulAddress &= 0xFFFFFF;
        strRecord = QString::asprintf("S2%02X%06X", (iCount + 4) & 0xFF, ulAddress);
        ulSum = static_cast<uint32_t>(iCount + 4) + (ulAddress >> 16) + (ulAddress >> 8) + ulAddress;
        break;
    default:
        strRecord = QString::asprintf("S3%02X%08X", (iCount + 5) & 0xFF, ulAddress);
        ulSum = static_cast<uint32_t>(iCount + 5) + (ulAddress >> 24) + (ulAddress >> 16) + (ulAddress >> 8) +
                ulAddress;
        break;
    }
    // Only the low byte of each address byte counts: the sum is taken modulo 256 below, and the
    // shifted words differ from their bytes only above bit 7.
    for (int i = 0; i < iCount; ++i)
    {
        strRecord += QString::asprintf("%02X", pData[i]);
        ulSum += pData[i];
    }
    strRecord += QString::asprintf("%02X\n", ~ulSum & 0xFF);
    return strRecord;
}

bool WriteSRecordImage(const uint8_t* pData, size_t nSize, QIODevice& file, uint32_t ulStartAddress,
                       int iAddressBytes)
{
    QString strText;
    uint16_t wAddress = static_cast<uint16_t>(ulStartAddress);
    uint32_t ulRecords = 0;
    for (size_t nDone = 0; nDone < nSize; nDone += kImageRecordBytes)
    {
        const int iCount = static_cast<int>(std::min(kImageRecordBytes, nSize - nDone));
        strText += FormatSRecord(pData + nDone, iCount, wAddress, iAddressBytes);
        wAddress = static_cast<uint16_t>(wAddress + kImageRecordBytes);
        ++ulRecords;
    }
    const uint32_t ulCount = ulRecords & 0xFFFF;
    const uint32_t ulChecksum = ~((((ulCount >> 8) + ulCount) & 255) + 3) & 0xFF;
    strText += QString::asprintf("S503%04X%02X\n", ulCount, ulChecksum);
    const QByteArray bytes = strText.toLatin1();
    return file.write(bytes) == bytes.size();
}

bool ReadSRecordImage(QIODevice& file, std::unique_ptr<uint8_t[]>* ppData, size_t* pnSize)
{
    ppData->reset();
    *pnSize = 0;
    // Pass 1: every line is checked, and the image is as large as the highest end address.
    size_t nSize = 0;
    QByteArray line;
    SImageRecord record;
    int iLine = 0;
    while (NextImageLine(file, &line))
    {
        if (!ParseImageLine(line, ++iLine, &record))
        {
            return false;
        }
        if (record.bData)
        {
            nSize = std::max(nSize,
                             static_cast<size_t>(record.ulAddress) + static_cast<size_t>(record.nDataBytes));
        }
    }
    if (!file.seek(0))
    {
        ShowMessage(QStringLiteral("Unable to open file."));
        return false;
    }
    // Pass 2: the data bytes, each at its record's address.
    auto pData = std::make_unique_for_overwrite<uint8_t[]>(std::max<size_t>(nSize, 1));
    iLine = 0;
    while (NextImageLine(file, &line))
    {
        if (!ParseImageLine(line, ++iLine, &record))
        {
            return false;
        }
        for (qsizetype i = 0; record.bData && i < record.nDataBytes; ++i)
        {
            uint32_t ulByte = 0;
            if (!ParseHexDigits(line, record.iDataPos + 2 * i, 2, &ulByte))
            {
                ShowMessage(QString::asprintf("Invalid S Record. Line %d data byte %d is bad.\n", iLine,
                                              static_cast<int>(i + 1)));
                return false;
            }
            pData[record.ulAddress + static_cast<size_t>(i)] = static_cast<uint8_t>(ulByte);
        }
    }
    *ppData = std::move(pData);
    *pnSize = nSize;
    return true;
}

bool ReadValueFileLine(QIODevice& file, QByteArray* pLine)
{
    if (file.atEnd())
    {
        return false;
    }
    *pLine = file.readLine();
    if (pLine->isEmpty())
    {
        return false;
    }
    if (pLine->back() == '\n')
    {
        pLine->chop(1);
    }
    return true;
}

int ReadSRecordValue(QIODevice& file, uint32_t* pulOffset, uint32_t* pulValue)
{
    QByteArray line;
    if (!ReadValueFileLine(file, &line))
    {
        return eSRecValueEnd;
    }
    if (line.size() != 23)
    {
        return eSRecValueBadLength;
    }
    if (line[0] != 'S' && line[0] != 's')
    {
        return eSRecValueNotS3;
    }
    if (line[1] != '3')
    {
        return eSRecValueNotS3;
    }
    if (line.mid(2, 2) != "09")
    {
        return eSRecValueBadCount;
    }
    if (!ParseHexDigits(line, 4, 8, pulOffset))
    {
        return eSRecValueBadOffset;
    }
    if (!ParseHexDigits(line, 12, 8, pulValue))
    {
        return eSRecValueBadValue;
    }
    return eSRecValueOk;
}
