#include "WatchTrigger.h"

#include "NumberText.h"

#include <QRegularExpression>
#include <QStringList>

#include <array>

namespace
{
// The labels of the trigger window's list, by type.
constexpr std::array<const char*, kNumWatchTriggers> kLabels = {"BF Changes",
                                                                "BF != X1",
                                                                "BF == X1",
                                                                "BF > X1",
                                                                "BF >= X1",
                                                                "BF < X1",
                                                                "BF <= X1",
                                                                "X1 < BF < X2",
                                                                "X1 <= BF <= X2",
                                                                "(BF < X1) || (BF > X2)",
                                                                "(BF <= X1) || (BF >= X2)"};
// The same with the parameters filled in.
constexpr std::array<const char*, kNumWatchTriggers> kShown = {"BF Changes",
                                                               "BF != %1",
                                                               "BF == %1",
                                                               "BF > %1",
                                                               "BF >= %1",
                                                               "BF < %1",
                                                               "BF <= %1",
                                                               "%1 < BF < %2",
                                                               "%1 <= BF <= %2",
                                                               "(BF < %1) || (BF > %2)",
                                                               "(BF <= %1) || (BF >= %2)"};
bool ValidType(int eType)
{
    return eType >= 0 && eType < kNumWatchTriggers;
}

bool ReadParam(const QString& strText, uint32_t* puValue)
{
    uint64_t ulValue = 0;
    if (!NumberFromText(strText, 0xFFFFFFFFu, &ulValue))
    {
        return false;
    }
    *puValue = static_cast<uint32_t>(ulValue);
    return true;
}

// The label of a type as a pattern with its X1 and X2 as captures, for the label form: blanks and
// brackets are dropped from both sides before matching.
QString LabelPattern(int eType)
{
    QString strLabel = QString::fromLatin1(kLabels[static_cast<size_t>(eType)]);
    strLabel.remove(QLatin1Char(' ')).remove(QLatin1Char('(')).remove(QLatin1Char(')'));
    QString strPattern = QRegularExpression::escape(strLabel);
    strPattern.replace(QStringLiteral("X1"), QStringLiteral("([^<>=!|]+)"));
    strPattern.replace(QStringLiteral("X2"), QStringLiteral("([^<>=!|]+)"));
    return QStringLiteral("^") + strPattern + QStringLiteral("$");
}
} // namespace

uint32_t WatchFieldValue(uint32_t uWord, int iMSB, int iLSB)
{
    uint32_t uMask = 0;
    for (int i = iMSB; i <= iLSB; ++i)
    {
        if (i >= 0 && i <= 31)
        {
            uMask |= 1u << (31 - i);
        }
    }
    const int iShift = 31 - iLSB;
    return iShift >= 0 && iShift <= 31 ? (uWord & uMask) >> iShift : 0;
}

bool TriggerFires(int eType, uint32_t uOld, uint32_t uNew, uint32_t uX1, uint32_t uX2)
{
    switch (eType)
    {
    case eTriggerChange:
        return uOld != uNew;
    case eTriggerNotEqual:
        return uNew != uX1;
    case eTriggerEqualTo:
        return uNew == uX1;
    case eTriggerGreaterThan:
        return uNew > uX1;
    case eTriggerGreaterThanOrEqualTo:
        return uNew >= uX1;
    case eTriggerLessThan:
        return uNew < uX1;
    case eTriggerLessThanOrEqualTo:
        return uNew <= uX1;
    case eTriggerBetweenExclusive:
        return uX1 < uNew && uNew < uX2;
    case eTriggerBetweenInclusive:
        return uX1 <= uNew && uNew <= uX2;
    case eTriggerNotBetweenExclusive:
        return uNew < uX1 || uNew > uX2;
    case eTriggerNotBetweenInclusive:
        return uNew <= uX1 || uNew >= uX2;
    default:
        return false;
    }
}

int TriggerParamCount(int eType)
{
    if (!ValidType(eType) || eType == eTriggerChange)
    {
        return 0;
    }
    return eType <= eTriggerLessThanOrEqualTo ? 1 : 2;
}

QString TriggerLabel(int eType)
{
    return ValidType(eType) ? QString::fromLatin1(kLabels[static_cast<size_t>(eType)])
                            : QStringLiteral("Invalid");
}

QString TriggerText(const WatchItem& item, int nBase, bool bTail)
{
    if (!ValidType(item.eType))
    {
        return QStringLiteral("Invalid");
    }
    QString strText = QString::fromLatin1(kShown[static_cast<size_t>(item.eType)]);
    const int nParams = TriggerParamCount(item.eType);
    if (nParams >= 1)
    {
        strText = strText.arg(NumberToText(item.uParam1, nBase, bTail));
    }
    if (nParams == 2)
    {
        strText = strText.arg(NumberToText(item.uParam2, nBase, bTail));
    }
    return strText;
}

QString WatchActionText(int eAction)
{
    static const QStringList texts = {QStringLiteral("None"), QStringLiteral("Beep"),
                                      QStringLiteral("Highlight PE"), QStringLiteral("MessageBox")};
    return eAction >= 0 && eAction < texts.size() ? texts[eAction] : QStringLiteral("Invalid");
}

QString WatchLogText(int eLog)
{
    static const QStringList texts = {QStringLiteral("None"), QStringLiteral("All"),
                                      QStringLiteral("Triggers")};
    return eLog >= 0 && eLog < texts.size() ? texts[eLog] : QStringLiteral("Invalid");
}

QString WatchValueText(uint32_t uValue, int iNumBits, int nBase, bool bTail)
{
    QString strDigits = NumberToText(uValue, nBase, false);
    const int iBits = iNumBits < 1 ? 1 : (iNumBits > 32 ? 32 : iNumBits);
    if (nBase == 16)
    {
        strDigits = strDigits.rightJustified((iBits + 3) / 4, QLatin1Char('0'));
    }
    else if (nBase == 2)
    {
        strDigits = strDigits.rightJustified(iBits, QLatin1Char('0'));
    }
    if (bTail)
    {
        strDigits += nBase == 16  ? QStringLiteral("h")
                     : nBase == 2 ? QStringLiteral("b")
                                  : QStringLiteral("d");
    }
    return strDigits;
}

QString ParseTriggerParams(int eType, const QString& strX1, const QString& strX2, uint32_t* puX1,
                           uint32_t* puX2)
{
    const int nParams = TriggerParamCount(eType);
    uint32_t uX1 = *puX1;
    uint32_t uX2 = *puX2;
    if ((nParams >= 1 && !ReadParam(strX1, &uX1)) || (nParams == 2 && !ReadParam(strX2, &uX2)))
    {
        return InvalidEntryText();
    }
    if (nParams == 2 && uX1 >= uX2)
    {
        return QStringLiteral("X2 must be larger than X1");
    }
    *puX1 = uX1;
    *puX2 = uX2;
    return QString();
}

QString ParseTriggerSpec(const QString& strText, int* peType, uint32_t* puX1, uint32_t* puX2)
{
    const QString strTrimmed = strText.trimmed();
    // The word form: a file word, then the parameters after colons.
    const QStringList parts = strTrimmed.split(QLatin1Char(':'));
    for (int eType = 0; eType < kNumWatchTriggers; ++eType)
    {
        if (parts.front().trimmed().compare(QLatin1String(kWatchTriggerWords[static_cast<size_t>(eType)]),
                                            Qt::CaseInsensitive) != 0)
        {
            continue;
        }
        const int nParams = TriggerParamCount(eType);
        if (parts.size() != nParams + 1)
        {
            return QStringLiteral("Trigger '%1' takes %2 parameter(s): %3")
                .arg(QLatin1String(kWatchTriggerWords[static_cast<size_t>(eType)]))
                .arg(nParams)
                .arg(TriggerLabel(eType));
        }
        uint32_t uX1 = 0;
        uint32_t uX2 = 0;
        const QString strError = ParseTriggerParams(eType, parts.value(1), parts.value(2), &uX1, &uX2);
        if (!strError.isEmpty())
        {
            return strError + QStringLiteral(" (trigger '%1')").arg(strTrimmed);
        }
        *peType = eType;
        *puX1 = uX1;
        *puX2 = uX2;
        return QString();
    }
    // The label form, blanks and brackets aside.
    QString strCompact = strTrimmed;
    strCompact.remove(QLatin1Char(' ')).remove(QLatin1Char('(')).remove(QLatin1Char(')'));
    for (int eType = 0; eType < kNumWatchTriggers; ++eType)
    {
        const QRegularExpressionMatch match =
            QRegularExpression(LabelPattern(eType), QRegularExpression::CaseInsensitiveOption)
                .match(strCompact);
        if (!match.hasMatch())
        {
            continue;
        }
        uint32_t uX1 = 0;
        uint32_t uX2 = 0;
        const QString strError = ParseTriggerParams(eType, match.captured(1), match.captured(2), &uX1, &uX2);
        if (!strError.isEmpty())
        {
            return strError + QStringLiteral(" (trigger '%1')").arg(strTrimmed);
        }
        *peType = eType;
        *puX1 = uX1;
        *puX2 = uX2;
        return QString();
    }
    return QStringLiteral("Unknown trigger '%1'").arg(strTrimmed);
}
