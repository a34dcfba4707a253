#include "PacketText.h"

#include "NumberText.h"
#include "RIOPacket.h"

#include <QRegularExpression>
#include <algorithm>

namespace
{
QString Hex(uint32_t ulValue, int nDigits)
{
    return QStringLiteral("%1").arg(ulValue, nDigits, 16, QLatin1Char('0')).toUpper();
}

// A 64-bit number from up to eight bytes, lowest first.
uint64_t LowFirst(const std::vector<uint8_t>& bytes)
{
    uint64_t ulValue = 0;
    for (size_t i = std::min<size_t>(bytes.size(), 8); i-- > 0;)
    {
        ulValue = (ulValue << 8) | bytes[i];
    }
    return ulValue;
}

QString AddressText(const std::vector<uint8_t>& bytes)
{
    const uint64_t ulValue = LowFirst(bytes);
    const auto ulHigh = static_cast<uint32_t>(ulValue >> 32);
    const auto ulLow = static_cast<uint32_t>(ulValue);
    if (ulHigh)
    {
        return QString::number(ulHigh, 16).toUpper() + Hex(ulLow, 8);
    }
    return QString::number(ulLow, 16).toUpper();
}

QString CellText(const CRIOPacketField& field, bool bMask)
{
    if (field.nFieldID == eRIOFieldDATA2 || (field.nFieldID == eRIOFieldDATA && field.nBits >= 33))
    {
        return QStringLiteral("See below");
    }
    if (field.nFieldID == eRIOFieldADDRESS)
    {
        return AddressText(bMask ? field.pbMask : field.pbValue);
    }
    return Hex(bMask ? field.GetMask() : field.GetValue(), (std::max(field.nBits, 0) + 3) / 4);
}

// The largest value a field of up to 32 bits holds.
uint64_t FieldMax(const CRIOPacketField& field)
{
    return field.nBits >= 32 ? 0xFFFFFFFFull : (uint64_t{1} << std::max(field.nBits, 0)) - 1;
}

// The order in which typed fields are applied: the ones that decide the layout first.
int Phase(uint32_t nFieldID)
{
    switch (nFieldID)
    {
    case eRIOFieldTT:
    case eRIOFieldFTYPE:
        return 0;
    case eRIOFieldTRANSACTION:
        return 1;
    case eRIOFieldSIZE:
    case eRIOFieldDATASIZE:
        return 2;
    case eRIOFieldADDRESS:
    case eRIOFieldREGADDRESS:
        return 3;
    case eRIOFieldWDPTR:
        return 4;
    case eRIOFieldDATA:
    case eRIOFieldDATA2:
        return 6;
    case eRIOFieldCRC:
    case eRIOFieldEARLYCRC:
        return 7;
    default:
        return 5;
    }
}

// "Dest ID" for "Dest\nID".
QString CaptionLine(const CRIOPacketField& field)
{
    QString strCaption = field.strCaption;
    return strCaption.replace(QLatin1Char('\n'), QLatin1Char(' '));
}

QString OptionText(CRIOPacketField& field, uint32_t ulValue)
{
    if (!field.HasOptions())
    {
        return {};
    }
    QString strScratch;
    field.GetOptions(strScratch);
    for (const CRIOPacketField::SOption& option : field.vecOptions)
    {
        if (option.first == ulValue)
        {
            return option.second;
        }
    }
    return {};
}

// Hex bytes typed for Data: digits in pairs, blanks allowed, "0x" ahead of a word skipped.
bool DataBytesFromText(const QString& strText, std::vector<uint8_t>* pBytes)
{
    pBytes->clear();
    QString strDigits;
    const QStringList words = strText.split(QRegularExpression(QStringLiteral("\\s+")), Qt::SkipEmptyParts);
    for (QString strWord : words)
    {
        if (strWord.startsWith(QLatin1String("0x"), Qt::CaseInsensitive))
        {
            strWord = strWord.mid(2);
        }
        for (const QChar ch : strWord)
        {
            if (HexDigitValue(ch) < 0)
            {
                return false;
            }
        }
        strDigits += strWord;
    }
    if (strDigits.isEmpty() || strDigits.size() % 2 != 0 || strDigits.size() / 2 > int{kRIOMaxPacketBytes})
    {
        return false;
    }
    for (qsizetype i = 0; i < strDigits.size(); i += 2)
    {
        pBytes->push_back(
            static_cast<uint8_t>(HexDigitValue(strDigits[i]) * 16 + HexDigitValue(strDigits[i + 1])));
    }
    return true;
}
} // namespace

QString PacketListString(const uint8_t* pbBytes, uint32_t nCount)
{
    QString strLine;
    strLine.reserve(static_cast<qsizetype>(nCount) * 2 + nCount / 4);
    for (uint32_t i = 0; i < nCount; ++i)
    {
        if (i != 0 && i % 4 == 0)
        {
            strLine += QLatin1Char(' ');
        }
        strLine += Hex(pbBytes[i], 2);
    }
    return strLine;
}

QString PacketListString(const std::vector<uint8_t>& bytes)
{
    return PacketListString(bytes.data(), static_cast<uint32_t>(bytes.size()));
}

std::vector<uint8_t> ParsePacketListLine(const QString& strLine)
{
    std::vector<uint8_t> bytes;
    int nHigh = -1;
    for (const QChar ch : strLine)
    {
        const int nDigit = HexDigitValue(ch);
        if (nDigit < 0)
        {
            continue;
        }
        if (nHigh < 0)
        {
            nHigh = nDigit;
            continue;
        }
        bytes.push_back(static_cast<uint8_t>(nHigh * 16 + nDigit));
        nHigh = -1;
        if (bytes.size() == kRIOMaxPacketBytes)
        {
            break;
        }
    }
    return bytes;
}

bool CellTextToNumber(const QString& strText, uint64_t ulMax, uint64_t* pValue)
{
    QString strNumber = strText.trimmed();
    if (strNumber.isEmpty())
    {
        return false;
    }
    const QChar chLast = strNumber.back().toUpper();
    const bool bTail = chLast == QLatin1Char('B') || chLast == QLatin1Char('H') || chLast == QLatin1Char('D');
    if (!bTail && !strNumber.startsWith(QLatin1String("0x"), Qt::CaseInsensitive))
    {
        strNumber += QLatin1Char('h');
    }
    return NumberFromText(strNumber, ulMax, pValue);
}

bool SetFieldFromCellText(CRIOPacketField& field, const QString& strText, bool bMask)
{
    if (field.nBits > 32)
    {
        uint64_t ulValue = 0;
        if (!CellTextToNumber(strText, UINT64_MAX, &ulValue))
        {
            return false;
        }
        uint8_t ab[9] = {};
        for (int i = 0; i < 8; ++i)
        {
            ab[i] = static_cast<uint8_t>(ulValue >> (8 * i));
        }
        return bMask ? field.SetMaskBytes(ab, 9, false) : field.SetValueBytes(ab, 9, false);
    }
    uint64_t ulValue = 0;
    if (!CellTextToNumber(strText, 0xFFFFFFFFull, &ulValue))
    {
        return false;
    }
    if (bMask)
    {
        field.SetMask(static_cast<uint32_t>(ulValue), false);
    }
    else
    {
        field.SetValue(static_cast<uint32_t>(ulValue), false);
    }
    return true;
}

QString FieldHeadingText(const CRIOPacketField& field)
{
    if (field.nBits > 0 && field.bInPacket)
    {
        return QStringLiteral("%1\n[%2]").arg(field.strCaption).arg(field.nBits);
    }
    return field.strCaption;
}

QString FieldValueText(const CRIOPacketField& field)
{
    return CellText(field, false);
}

QString FieldMaskText(const CRIOPacketField& field)
{
    return CellText(field, true);
}

QString FieldTypedName(const CRIOPacketField& field)
{
    QString strName;
    for (const QChar ch : field.strCaption)
    {
        if (!ch.isSpace())
        {
            strName += ch;
        }
    }
    return strName;
}

bool IsFieldName(const QString& strTyped, const CRIOPacketField& field)
{
    QString strName;
    for (const QChar ch : strTyped)
    {
        if (!ch.isSpace())
        {
            strName += ch;
        }
    }
    const QString strFull = FieldTypedName(field);
    if (strName.compare(strFull, Qt::CaseInsensitive) == 0)
    {
        return true;
    }
    const qsizetype nParen = strFull.indexOf(QLatin1Char('('));
    return nParen > 0 && strName.compare(strFull.left(nParen), Qt::CaseInsensitive) == 0;
}

QStringList PacketFieldLines(const CRIOPacket& packet)
{
    QStringList lines;
    for (int i = 0; i < packet.GetFieldCount(); ++i)
    {
        CRIOPacketField* pField = packet.GetField(i);
        QString strValue;
        if (pField->nFieldID == eRIOFieldDATA || pField->nFieldID == eRIOFieldDATA2)
        {
            strValue = PacketListString(pField->pbValue.data(),
                                        static_cast<uint32_t>(std::max(pField->nBits, 0) / 8));
        }
        else
        {
            strValue = FieldValueText(*pField);
            const QString strOption =
                pField->nBits <= 32 ? OptionText(*pField, pField->GetValue()) : QString();
            if (!strOption.isEmpty())
            {
                strValue += QStringLiteral(" (%1)").arg(strOption);
            }
        }
        lines << CaptionLine(*pField) + QStringLiteral(": ") + strValue;
    }
    return lines;
}

QString LegalValuesText(CRIOPacketField& field)
{
    const uint64_t ulMax = FieldMax(field);
    if (ulMax > 255)
    {
        return QStringLiteral("0 to %1 (%2h)").arg(ulMax).arg(ulMax, 0, 16);
    }
    std::vector<uint32_t> legal;
    for (uint32_t ul = 0; ul <= ulMax; ++ul)
    {
        uint32_t ulCopy = ul;
        if (field.ValidateValue(ulCopy))
        {
            legal.push_back(ul);
        }
    }
    if (legal.empty())
    {
        return QStringLiteral("none");
    }
    const bool bRange = legal.back() - legal.front() + 1 == legal.size();
    if (bRange && (legal.size() > 8 || !field.HasOptions()))
    {
        return QStringLiteral("%1 to %2").arg(legal.front()).arg(legal.back());
    }
    QStringList parts;
    for (uint32_t ul : legal)
    {
        const QString strOption = OptionText(field, ul);
        parts << (strOption.isEmpty() ? QString::number(ul)
                                      : QStringLiteral("%1 (%2)").arg(ul).arg(strOption));
    }
    return parts.join(QStringLiteral(", "));
}

SPacketBuildResult BuildPacketFromTexts(CRIOPacket& packet, const std::vector<SPacketFieldText>& fields)
{
    SPacketBuildResult result;
    struct SItem
    {
        std::vector<uint32_t> ids; // the field objects the name stands for
        QString strName;
        QString strValue;
        uint64_t ulValue = 0;
        std::vector<uint8_t> data;
        int nPhase = 5;
    };
    std::vector<SItem> items;
    // Names and numbers first: a wrong one is a usage error and nothing is built.
    for (const SPacketFieldText& text : fields)
    {
        SItem item;
        item.strName = text.strName.simplified();
        item.strValue = text.strValue.trimmed();
        for (uint32_t nID = 0; nID < kRIOFieldCount; ++nID)
        {
            if (IsFieldName(item.strName, *packet.GetFieldObject(nID)))
            {
                item.ids.push_back(nID);
            }
        }
        if (item.ids.empty())
        {
            result.eError = SPacketBuildResult::eUsage;
            result.messages << QStringLiteral("unknown field '%1'").arg(text.strName);
            continue;
        }
        item.nPhase = Phase(item.ids.front());
        const bool bData = item.ids.front() == eRIOFieldDATA;
        if (bData ? !DataBytesFromText(item.strValue, &item.data)
                  : !NumberFromText(item.strValue, &item.ulValue))
        {
            result.eError = SPacketBuildResult::eUsage;
            result.messages
                << QStringLiteral("%1 '%2' for %3").arg(InvalidEntryText(), text.strValue, item.strName);
        }
        items.push_back(std::move(item));
    }
    if (result.eError != SPacketBuildResult::eNone)
    {
        return result;
    }
    std::stable_sort(items.begin(), items.end(),
                     [](const SItem& a, const SItem& b) { return a.nPhase < b.nPhase; });
    const auto refuse = [&result](const QString& strMessage)
    {
        result.eError = SPacketBuildResult::eRefused;
        result.messages << strMessage;
    };
    const bool bDataSizeGiven = std::any_of(
        items.begin(), items.end(), [](const SItem& item) { return item.ids.front() == eRIOFieldDATASIZE; });
    const auto dataItem = std::find_if(items.begin(), items.end(),
                                       [](const SItem& item) { return item.ids.front() == eRIOFieldDATA; });
    bool bDataSizeDone = bDataSizeGiven || dataItem == items.end();
    for (SItem& item : items)
    {
        if (!bDataSizeDone && item.nPhase > 2)
        {
            // A class sized by Data Size takes the length of the data given.
            bDataSizeDone = true;
            if (CRIOPacketField* pDataSize = packet.FindField(eRIOFieldDATASIZE))
            {
                pDataSize->SetValue(static_cast<uint32_t>(dataItem->data.size()), false);
            }
        }
        CRIOPacketField* pField = nullptr;
        for (uint32_t nID : item.ids)
        {
            pField = pField ? pField : packet.FindField(nID);
        }
        const uint32_t nFirst = item.ids.front();
        if (!pField && packet.GetFType() == 8 && (nFirst == eRIOFieldSIZE || nFirst == eRIOFieldWDPTR))
        {
            // A maintenance response carries neither, but its data is sized by them.
            pField = packet.GetFieldObject(nFirst);
        }
        if (!pField)
        {
            refuse(QStringLiteral("%1 is not a field of this packet (FType %2, Trans %3); its fields are: %4")
                       .arg(item.strName)
                       .arg(packet.GetFType())
                       .arg(packet.GetFieldObject(eRIOFieldTRANSACTION)->GetValue())
                       .arg(
                           [&packet]()
                           {
                               QStringList names;
                               for (int i = 0; i < packet.GetFieldCount(); ++i)
                               {
                                   names << FieldTypedName(*packet.GetField(i));
                               }
                               names.removeDuplicates();
                               return names.join(QLatin1Char(' '));
                           }()));
            continue;
        }
        if (pField->nFieldID == eRIOFieldDATA)
        {
            std::vector<uint8_t> block;
            packet.GetData(block);
            if (item.data.size() > block.size())
            {
                refuse(QStringLiteral("Data: %1 bytes given, but this packet carries %2 bytes of data")
                           .arg(item.data.size())
                           .arg(block.size()));
                continue;
            }
            item.data.resize(block.size(), 0);
            packet.SetData(item.data.data(), nullptr, static_cast<uint32_t>(item.data.size()));
            continue;
        }
        if (pField->nFieldID == eRIOFieldADDRESS)
        {
            uint8_t ab[9] = {};
            for (int i = 0; i < 8; ++i)
            {
                ab[i] = static_cast<uint8_t>(item.ulValue >> (8 * i));
            }
            pField->SetValueBytes(ab, 9, false);
            if (CRIOPacketField* pExt = packet.FindField(eRIOFieldEXTADDR32))
            {
                const auto ulExt = static_cast<uint32_t>(item.ulValue >> 34);
                const uint8_t abExt[4] = {static_cast<uint8_t>(ulExt >> 24),
                                          static_cast<uint8_t>(ulExt >> 16), static_cast<uint8_t>(ulExt >> 8),
                                          static_cast<uint8_t>(ulExt)};
                pExt->SetValueBytes(abExt, 4, false);
            }
            continue;
        }
        const uint64_t ulMax = FieldMax(*pField);
        if (item.ulValue > ulMax)
        {
            refuse(QStringLiteral("%1=%2 is out of range: %3 holds %4 bits, 0 to %5 (%6h)")
                       .arg(item.strName, item.strValue, FieldTypedName(*pField))
                       .arg(pField->nBits)
                       .arg(ulMax)
                       .arg(ulMax, 0, 16));
            continue;
        }
        const auto ulValue = static_cast<uint32_t>(item.ulValue);
        if (pField->nFieldID == eRIOFieldEXTADDR32)
        {
            const uint8_t ab[4] = {static_cast<uint8_t>(ulValue >> 24), static_cast<uint8_t>(ulValue >> 16),
                                   static_cast<uint8_t>(ulValue >> 8), static_cast<uint8_t>(ulValue)};
            pField->SetValueBytes(ab, 4, false);
            continue;
        }
        if (item.nPhase == 7 && packet.IsAutoCRC())
        {
            packet.SetAutoCRC(false);
        }
        pField->SetValue(ulValue, false);
    }
    if (result.eError != SPacketBuildResult::eNone)
    {
        return result;
    }
    // Every value as the grid would colour it, in the layout the packet has now.
    for (int i = 0; i < packet.GetFieldCount(); ++i)
    {
        CRIOPacketField* pField = packet.GetField(i);
        switch (pField->nFieldID)
        {
        case eRIOFieldDATA:
        case eRIOFieldDATA2:
        case eRIOFieldCRC:
        case eRIOFieldEARLYCRC:
        case eRIOFieldEXTADDR32:
        case eRIOFieldADDRESS:
            continue;
        default:
            break;
        }
        uint32_t ulValue = pField->GetValue();
        if (!pField->ValidateValue(ulValue))
        {
            const QString strContext = pField->nFieldID == eRIOFieldFTYPE || pField->nFieldID == eRIOFieldTT
                                           ? QString()
                                           : QStringLiteral(" with FType %1").arg(packet.GetFType());
            refuse(QStringLiteral("%1=%2 is not legal%3; legal values: %4")
                       .arg(FieldTypedName(*pField))
                       .arg(pField->GetValue())
                       .arg(strContext, LegalValuesText(*pField)));
        }
    }
    return result;
}
