#include "NumberText.h"

// The value of an ASCII hexadecimal digit, or -1. Digits of other scripts and full-width forms
// are not digits here, though Unicode gives them a value.
int HexDigitValue(QChar ch)
{
    const char16_t c = ch.unicode();
    if (c >= u'0' && c <= u'9')
    {
        return c - u'0';
    }
    if (c >= u'a' && c <= u'f')
    {
        return c - u'a' + 10;
    }
    if (c >= u'A' && c <= u'F')
    {
        return c - u'A' + 10;
    }
    return -1;
}

QString InvalidEntryText()
{
    return QStringLiteral("Invalid data entry.");
}

namespace
{
bool IsBlank(QChar ch)
{
    const char16_t c = ch.unicode();
    return c == u' ' || c == u'\t' || c == u'\n' || c == u'\r' || c == u'\v' || c == u'\f';
}

// The tail letter in lower case when it is an ASCII letter, else 0.
char16_t AsciiLower(QChar ch)
{
    const char16_t c = ch.unicode();
    return c >= u'A' && c <= u'Z' ? static_cast<char16_t>(c - u'A' + u'a') : c < 0x80 ? c : 0;
}

bool Accumulate(const QString& strDigits, int nBase, uint64_t* pValue)
{
    if (strDigits.isEmpty())
    {
        return false;
    }
    uint64_t ulValue = 0;
    for (const QChar ch : strDigits)
    {
        const int nDigit = HexDigitValue(ch);
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
        if (!IsBlank(ch) && ch != QLatin1Char('_'))
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
    if (strClean.size() > 2 && strClean[0] == QLatin1Char('0') && AsciiLower(strClean[1]) == u'x')
    {
        bOk = Accumulate(strClean.mid(2), 16, &ulValue);
    }
    else
    {
        const char16_t chLast = AsciiLower(strClean.back());
        const QString strBody = strClean.left(strClean.size() - 1);
        if (chLast == u'b' && !strBody.isEmpty() && Accumulate(strBody, 2, &ulValue))
        {
            bOk = true;
        }
        else if (chLast == u'd' && !strBody.isEmpty() && Accumulate(strBody, 10, &ulValue))
        {
            bOk = true;
        }
        else if (chLast == u'h')
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
