#include "NumberText.h"

QString InvalidEntryText()
{
    return QStringLiteral("Invalid data entry.");
}

namespace
{
bool Accumulate(const QString& strDigits, int nBase, uint64_t* pValue)
{
    if (strDigits.isEmpty())
    {
        return false;
    }
    uint64_t ulValue = 0;
    for (const QChar ch : strDigits)
    {
        const int nDigit = ch.isDigit() ? ch.digitValue()
                           : (ch.toLower() >= QLatin1Char('a') && ch.toLower() <= QLatin1Char('f'))
                               ? ch.toLower().unicode() - 'a' + 10
                               : -1;
        if (nDigit < 0 || nDigit >= nBase)
        {
            return false;
        }
        if (ulValue > (UINT64_MAX - static_cast<uint64_t>(nDigit)) / static_cast<uint64_t>(nBase))
        {
            return false;
        }
        ulValue = ulValue * static_cast<uint64_t>(nBase) + static_cast<uint64_t>(nDigit);
    }
    *pValue = ulValue;
    return true;
}
} // namespace

bool NumberFromText(const QString& strText, uint64_t* pValue)
{
    QString strClean;
    strClean.reserve(strText.size());
    for (const QChar ch : strText)
    {
        if (!ch.isSpace() && ch != QLatin1Char('_'))
        {
            strClean.append(ch);
        }
    }
    if (strClean.isEmpty())
    {
        return false;
    }
    uint64_t ulValue = 0;
    bool bOk = false;
    if (strClean.size() > 2 && strClean[0] == QLatin1Char('0') && strClean[1].toLower() == QLatin1Char('x'))
    {
        bOk = Accumulate(strClean.mid(2), 16, &ulValue);
    }
    else
    {
        const QChar chLast = strClean.back().toLower();
        const QString strBody = strClean.left(strClean.size() - 1);
        if (chLast == QLatin1Char('b') && !strBody.isEmpty() && Accumulate(strBody, 2, &ulValue))
        {
            bOk = true;
        }
        else if (chLast == QLatin1Char('d') && !strBody.isEmpty() && Accumulate(strBody, 10, &ulValue))
        {
            bOk = true;
        }
        else if (chLast == QLatin1Char('h'))
        {
            bOk = Accumulate(strBody, 16, &ulValue);
        }
        else if (Accumulate(strClean, 10, &ulValue))
        {
            bOk = true;
        }
        else
        {
            // "1b" and "1d" that are not binary or decimal fall to hexadecimal, as does "FF".
            bOk = Accumulate(strClean, 16, &ulValue);
        }
    }
    if (bOk)
    {
        *pValue = ulValue;
    }
    return bOk;
}

bool NumberFromText(const QString& strText, uint64_t ulMax, uint64_t* pValue)
{
    uint64_t ulValue = 0;
    if (!NumberFromText(strText, &ulValue) || ulValue > ulMax)
    {
        return false;
    }
    *pValue = ulValue;
    return true;
}

QString NumberToText(uint64_t ulValue, int nBase, bool bTail)
{
    QString strText = QString::number(ulValue, nBase);
    if (nBase == 16)
    {
        strText = strText.toUpper();
    }
    if (bTail)
    {
        strText += nBase == 2 ? QStringLiteral("b") : nBase == 10 ? QStringLiteral("d") : QStringLiteral("h");
    }
    return strText;
}
