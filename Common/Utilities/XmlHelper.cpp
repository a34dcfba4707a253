#include "XmlHelper.h"

#include <algorithm>
#include <charconv>
#include <cstdarg>
#include <cstdio>

namespace
{
char16_t Unit(QChar ch)
{
    return ch.unicode();
}
char16_t Unit(char ch)
{
    return static_cast<char16_t>(static_cast<unsigned char>(ch));
}

// Accumulates digits of one base; false on an empty text, a foreign character or an overflow
// beyond ulMax. The text is UTF-16 or ASCII.
template <typename View> bool Digits(View text, int nBase, uint64_t ulMax, uint64_t* pValue)
{
    if (text.isEmpty())
    {
        return false;
    }
    uint64_t ulValue = 0;
    for (const auto ch : text)
    {
        int nDigit = -1;
        const char16_t c = Unit(ch);
        if (c >= u'0' && c <= u'9')
        {
            nDigit = c - u'0';
        }
        else if (nBase == 16 && c >= u'a' && c <= u'f')
        {
            nDigit = c - u'a' + 10;
        }
        else if (nBase == 16 && c >= u'A' && c <= u'F')
        {
            nDigit = c - u'A' + 10;
        }
        if (nDigit < 0 || nDigit >= nBase)
        {
            return false;
        }
        if (ulValue > (ulMax - static_cast<uint64_t>(nDigit)) / static_cast<uint64_t>(nBase))
        {
            return false;
        }
        ulValue = ulValue * static_cast<uint64_t>(nBase) + static_cast<uint64_t>(nDigit);
    }
    *pValue = ulValue;
    return true;
}

template <typename View> bool Signed(View text, bool bAllowHex, int64_t llMin, int64_t llMax, int64_t* pValue)
{
    text = text.trimmed();
    bool bNegative = false;
    if (!text.isEmpty() && Unit(text.front()) == u'-')
    {
        bNegative = true;
        text = text.sliced(1);
    }
    int nBase = 10;
    if (bAllowHex && text.size() > 2 && Unit(text[0]) == u'0' &&
        (Unit(text[1]) == u'x' || Unit(text[1]) == u'X'))
    {
        nBase = 16;
        text = text.sliced(2);
    }
    uint64_t ulMagnitude = 0;
    // 2^63 is the largest magnitude any int64_t range can take (for its minimum).
    if (!Digits(text, nBase, uint64_t(1) << 63, &ulMagnitude))
    {
        return false;
    }
    int64_t llValue = 0;
    if (bNegative)
    {
        llValue = ulMagnitude == (uint64_t(1) << 63) ? std::numeric_limits<int64_t>::min()
                                                     : -static_cast<int64_t>(ulMagnitude);
    }
    else
    {
        if (ulMagnitude > static_cast<uint64_t>(std::numeric_limits<int64_t>::max()))
        {
            return false;
        }
        llValue = static_cast<int64_t>(ulMagnitude);
    }
    if (llValue < llMin || llValue > llMax)
    {
        return false;
    }
    *pValue = llValue;
    return true;
}
// A number in UTF-8 bytes: the plain ASCII of the map files directly, anything else as text, whose
// blanks are trimmed as Unicode knows them.
bool SignedBytes(QByteArrayView text, bool bAllowHex, int64_t llMin, int64_t llMax, int64_t* pValue)
{
    for (const char ch : text)
    {
        if (static_cast<unsigned char>(ch) >= 0x80)
        {
            return Signed(QStringView(QString::fromUtf8(text)), bAllowHex, llMin, llMax, pValue);
        }
    }
    return Signed(text, bAllowHex, llMin, llMax, pValue);
}
} // namespace

bool CXmlHelper::ChildText(const QDomElement& parent, const QString& strName, QString* pText)
{
    const QDomElement child = parent.firstChildElement(strName);
    if (child.isNull())
    {
        return false;
    }
    *pText = child.text();
    return true;
}

QString CXmlHelper::ChildTextOr(const QDomElement& parent, const QString& strName, const QString& strDefault)
{
    QString strText;
    return ChildText(parent, strName, &strText) ? strText : strDefault;
}

bool CXmlHelper::ParseElementNumber(const QString& strText, int64_t llMin, int64_t llMax, int64_t* pValue)
{
    return Signed(strText, true, llMin, llMax, pValue);
}

bool CXmlHelper::ParseDecimal(const QString& strText, int64_t llMin, int64_t llMax, int64_t* pValue)
{
    return Signed(strText, false, llMin, llMax, pValue);
}

bool CXmlHelper::ParseHex(const QString& strText, uint64_t ulMax, uint64_t* pValue)
{
    return Digits(QStringView(strText).trimmed(), 16, ulMax, pValue);
}

bool CXmlHelper::ParsePrefixedHex(const QString& strText, uint64_t ulMax, uint64_t* pValue)
{
    const QStringView text = QStringView(strText).trimmed();
    if (text.size() < 3 || text[0] != u'0' || (text[1] != u'x' && text[1] != u'X'))
    {
        return false;
    }
    return Digits(text.mid(2), 16, ulMax, pValue);
}

EXmlValue CXmlHelper::ChildYesNo(const QDomElement& parent, const QString& strName, bool* pValue)
{
    QString strText;
    if (!ChildText(parent, strName, &strText))
    {
        return EXmlValue::Absent;
    }
    *pValue = strText == QLatin1String("Yes");
    return EXmlValue::Ok;
}

bool CXmlHelper::ParseElementNumber(QByteArrayView text, int64_t llMin, int64_t llMax, int64_t* pValue)
{
    return SignedBytes(text, true, llMin, llMax, pValue);
}

bool CXmlHelper::ParseDecimal(QByteArrayView text, int64_t llMin, int64_t llMax, int64_t* pValue)
{
    return SignedBytes(text, false, llMin, llMax, pValue);
}

bool CXmlHelper::ChildText(const CXmlElement& parent, const char* pszName, QString* pText)
{
    const CXmlElement child = parent.firstChildElement(pszName);
    if (child.isNull())
    {
        return false;
    }
    *pText = child.text();
    return true;
}

QString CXmlHelper::ChildTextOr(const CXmlElement& parent, const char* pszName, const QString& strDefault)
{
    QString strText;
    return ChildText(parent, pszName, &strText) ? strText : strDefault;
}

EXmlValue CXmlHelper::ChildYesNo(const CXmlElement& parent, const char* pszName, bool* pValue)
{
    const CXmlElement child = parent.firstChildElement(pszName);
    if (child.isNull())
    {
        return EXmlValue::Absent;
    }
    std::string strScratch;
    *pValue = child.textBytes(strScratch) == QByteArrayView("Yes");
    return EXmlValue::Ok;
}

void CXmlHelper::SkipByteOrderMark(QByteArray& buffer)
{
    if (buffer.startsWith("\xEF\xBB\xBF"))
    {
        buffer.remove(0, 3);
    }
}

void CXmlLineWriter::Element(const QByteArray& strIndent, const char* pszName, const QString& strValue)
{
    m_text.append(strIndent).append('<').append(pszName).append('>');
    // Names, comments, labels and script paths are typed by people and may hold any of the three
    // characters markup reserves; the reader turns the entities back.
    const bool bPlain = std::none_of(strValue.cbegin(), strValue.cend(),
                                     [](QChar ch) { return ch == u'<' || ch == u'>' || ch == u'&'; });
    m_text.append(bPlain ? strValue.toUtf8() : strValue.toHtmlEscaped().toUtf8());
    m_text.append("</").append(pszName).append(">\n");
}

void CXmlLineWriter::Element(const QByteArray& strIndent, const char* pszName, int64_t llValue)
{
    m_text.append(strIndent).append('<').append(pszName).append('>');
    m_text.append(QByteArray::number(static_cast<qlonglong>(llValue)));
    m_text.append("</").append(pszName).append(">\n");
}

void CXmlLineWriter::YesNo(const QByteArray& strIndent, const char* pszName, bool bValue)
{
    m_text.append(strIndent).append('<').append(pszName).append('>');
    m_text.append(bValue ? "Yes" : "No");
    m_text.append("</").append(pszName).append(">\n");
}

void CXmlLineWriter::Open(const QByteArray& strIndent, const char* pszName)
{
    m_text.append(strIndent).append('<').append(pszName).append(">\n");
}

void CXmlLineWriter::Close(const QByteArray& strIndent, const char* pszName)
{
    m_text.append(strIndent).append("</").append(pszName).append(">\n");
}

void CXmlLineWriter::AppendDecimal(int64_t llValue)
{
    char szNumber[24];
    const std::to_chars_result result = std::to_chars(szNumber, szNumber + sizeof(szNumber), llValue);
    m_text.append(szNumber, result.ptr - szNumber);
}

void CXmlLineWriter::SetSink(std::function<bool(QByteArrayView)> fnSink, qsizetype nChunk)
{
    m_fnSink = std::move(fnSink);
    m_nChunk = nChunk;
    m_bSinkFailed = false;
    m_text.reserve(nChunk + nChunk / 4);
}

void CXmlLineWriter::Hand()
{
    if (!m_bSinkFailed && !m_fnSink(QByteArrayView(m_text)))
    {
        m_bSinkFailed = true;
    }
    // Keeps the allocation, so the next piece is written into memory already in use.
    m_text.resize(0);
}

bool CXmlLineWriter::Finish()
{
    if (m_fnSink && !m_text.isEmpty())
    {
        Hand();
    }
    return !m_bSinkFailed;
}

void CXmlLineWriter::Printf(const char* pszFormat, ...)
{
    char szLine[512];
    va_list args;
    va_start(args, pszFormat);
    const int nLength = std::vsnprintf(szLine, sizeof(szLine), pszFormat, args);
    va_end(args);
    if (nLength < 0)
    {
        return;
    }
    if (static_cast<size_t>(nLength) < sizeof(szLine))
    {
        m_text.append(szLine, nLength);
        return;
    }
    QByteArray strLong(nLength + 1, '\0');
    va_start(args, pszFormat);
    std::vsnprintf(strLong.data(), static_cast<size_t>(nLength) + 1, pszFormat, args);
    va_end(args);
    strLong.truncate(nLength);
    m_text.append(strLong);
}
