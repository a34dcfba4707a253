#include "PcapFile.h"

#include <QFile>

namespace
{
void PutLE32(QByteArray* pData, uint32_t ulValue)
{
    for (int i = 0; i < 4; ++i)
        pData->append(static_cast<char>((ulValue >> (8 * i)) & 0xFF));
}

void PutLE16(QByteArray* pData, uint16_t wValue)
{
    pData->append(static_cast<char>(wValue & 0xFF));
    pData->append(static_cast<char>(wValue >> 8));
}

uint32_t Get32(const QByteArray& data, qsizetype nAt, bool bSwapped)
{
    uint32_t ulValue = 0;
    for (int i = 0; i < 4; ++i)
    {
        const uint32_t b = static_cast<uint8_t>(data[nAt + i]);
        ulValue |= bSwapped ? b << (24 - 8 * i) : b << (8 * i);
    }
    return ulValue;
}
} // namespace

bool CPcapWriter::Open(const QString& strPath, QString* pstrError)
{
    m_nRecords = 0;
    if (!m_writer.Open(strPath))
    {
        *pstrError = m_writer.Result().Text();
        return false;
    }
    QByteArray header;
    PutLE32(&header, 0xA1B2C3D4u);
    PutLE16(&header, 2);
    PutLE16(&header, 4);
    PutLE32(&header, 0); // time zone: UTC
    PutLE32(&header, 0); // accuracy of the stamps
    PutLE32(&header, kPcapSnapLength);
    PutLE32(&header, kPcapLinkTypeRapidIO);
    if (!m_writer.Write(header.constData(), static_cast<size_t>(header.size())))
    {
        *pstrError = m_writer.Result().Text();
        return false;
    }
    return true;
}

bool CPcapWriter::Write(const uint8_t* pBytes, uint32_t nBytes, uint64_t ullMicroseconds)
{
    QByteArray record;
    PutLE32(&record, static_cast<uint32_t>(ullMicroseconds / 1000000u));
    PutLE32(&record, static_cast<uint32_t>(ullMicroseconds % 1000000u));
    PutLE32(&record, nBytes);
    PutLE32(&record, nBytes);
    record.append(reinterpret_cast<const char*>(pBytes), static_cast<qsizetype>(nBytes));
    if (!m_writer.Write(record.constData(), static_cast<size_t>(record.size())))
        return false;
    ++m_nRecords;
    return true;
}

bool CPcapWriter::Close(QString* pstrError)
{
    const CSafeSaveResult result = m_writer.Commit();
    if (!result.Ok())
    {
        *pstrError = result.Text();
        return false;
    }
    return true;
}

bool ReadPcapFile(const QString& strPath, std::vector<SPcapRecord>* pRecords, uint32_t* pulLinkType,
                  QString* pstrError)
{
    pRecords->clear();
    QFile file(strPath);
    if (!file.open(QIODevice::ReadOnly))
    {
        *pstrError = QStringLiteral("Unable to open %1: %2").arg(strPath, file.errorString());
        return false;
    }
    const QByteArray data = file.readAll();
    if (data.size() < 24)
    {
        *pstrError = QStringLiteral("%1 is not a pcap file: its header is cut short").arg(strPath);
        return false;
    }
    const uint32_t ulMagic = Get32(data, 0, false);
    const bool bSwapped = ulMagic == 0xD4C3B2A1u;
    if (ulMagic != 0xA1B2C3D4u && !bSwapped)
    {
        *pstrError = QStringLiteral("%1 is not a pcap file (magic %2)")
                         .arg(strPath)
                         .arg(ulMagic, 8, 16, QLatin1Char('0'));
        return false;
    }
    *pulLinkType = Get32(data, 20, bSwapped);
    qsizetype nAt = 24;
    while (nAt < data.size())
    {
        if (data.size() - nAt < 16)
        {
            *pstrError = QStringLiteral("%1: record %2 is cut short").arg(strPath).arg(pRecords->size() + 1);
            return false;
        }
        SPcapRecord record;
        record.ullMicroseconds =
            uint64_t{Get32(data, nAt, bSwapped)} * 1000000u + Get32(data, nAt + 4, bSwapped);
        const uint32_t ulIncluded = Get32(data, nAt + 8, bSwapped);
        record.ulOriginalLength = Get32(data, nAt + 12, bSwapped);
        nAt += 16;
        if (ulIncluded > kPcapSnapLength || data.size() - nAt < static_cast<qsizetype>(ulIncluded))
        {
            *pstrError = QStringLiteral("%1: record %2 is cut short").arg(strPath).arg(pRecords->size() + 1);
            return false;
        }
        record.bytes.assign(data.begin() + nAt, data.begin() + nAt + ulIncluded);
        nAt += ulIncluded;
        pRecords->push_back(std::move(record));
    }
    return true;
}
