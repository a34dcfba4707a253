// Reading and writing of the program's XML files. Readers pick elements by name with a DOM
// parser and don't care about their order; writers print the file line by line, indented with
// tabs, with values as they stand (the formats are fixed and older readers expect them so).
#pragma once

#include "XmlTree.h"

#include <QByteArray>
#include <QDomElement>
#include <QString>

#include <cstdint>
#include <functional>
#include <limits>

// What a look-up of a child element found.
enum class EXmlValue
{
    Absent, // no such element (or attribute)
    Bad,    // present, but its text isn't of the form asked for
    Ok,     // present and read
};

class CXmlHelper
{
public:
    // Text of the first child element of that name; false when there is none.
    static bool ChildText(const QDomElement& parent, const QString& strName, QString* pText);
    // Text of a child, or an empty text when there is none.
    static QString ChildTextOr(const QDomElement& parent, const QString& strName,
                               const QString& strDefault = {});

    // A number in element text: hexadecimal after "0x", decimal otherwise, optionally negative.
    // Blanks around it are allowed; anything else in the text makes it bad, as does a value
    // outside [llMin, llMax].
    static bool ParseElementNumber(const QString& strText, int64_t llMin, int64_t llMax, int64_t* pValue);
    // A number in an attribute: decimal only, optionally negative.
    static bool ParseDecimal(const QString& strText, int64_t llMin, int64_t llMax, int64_t* pValue);
    // Hexadecimal digits only, without "0x", as the map file writes register offsets and values.
    static bool ParseHex(const QString& strText, uint64_t ulMax, uint64_t* pValue);
    // "0x" followed by hexadecimal digits, as the register files write offsets and addresses.
    static bool ParsePrefixedHex(const QString& strText, uint64_t ulMax, uint64_t* pValue);

    // A child element holding a number, in the range of T.
    template <typename T>
    static EXmlValue ChildNumber(const QDomElement& parent, const QString& strName, T* pValue)
    {
        QString strText;
        if (!ChildText(parent, strName, &strText))
        {
            return EXmlValue::Absent;
        }
        int64_t llValue = 0;
        if (!ParseElementNumber(strText, static_cast<int64_t>(std::numeric_limits<T>::min()),
                                static_cast<int64_t>(std::numeric_limits<T>::max()), &llValue))
        {
            return EXmlValue::Bad;
        }
        *pValue = static_cast<T>(llValue);
        return EXmlValue::Ok;
    }

    // An attribute holding a decimal number, in the range of T.
    template <typename T>
    static EXmlValue AttributeNumber(const QDomElement& element, const QString& strName, T* pValue)
    {
        if (!element.hasAttribute(strName))
        {
            return EXmlValue::Absent;
        }
        int64_t llValue = 0;
        if (!ParseDecimal(element.attribute(strName), static_cast<int64_t>(std::numeric_limits<T>::min()),
                          static_cast<int64_t>(std::numeric_limits<T>::max()), &llValue))
        {
            return EXmlValue::Bad;
        }
        *pValue = static_cast<T>(llValue);
        return EXmlValue::Ok;
    }

    // A child holding "Yes" or anything else (false); Absent when there is no such child.
    static EXmlValue ChildYesNo(const QDomElement& parent, const QString& strName, bool* pValue);

    // The same look-ups on a CXmlTree, whose element names are plain ASCII.
    static bool ChildText(const CXmlElement& parent, const char* pszName, QString* pText);
    static QString ChildTextOr(const CXmlElement& parent, const char* pszName,
                               const QString& strDefault = {});
    static EXmlValue ChildYesNo(const CXmlElement& parent, const char* pszName, bool* pValue);
    static bool ParseElementNumber(QByteArrayView text, int64_t llMin, int64_t llMax, int64_t* pValue);
    static bool ParseDecimal(QByteArrayView text, int64_t llMin, int64_t llMax, int64_t* pValue);

    template <typename T>
    static EXmlValue ChildNumber(const CXmlElement& parent, const char* pszName, T* pValue)
    {
        const CXmlElement child = parent.firstChildElement(pszName);
        if (child.isNull())
        {
            return EXmlValue::Absent;
        }
        std::string strScratch;
        int64_t llValue = 0;
        if (!ParseElementNumber(child.textBytes(strScratch),
                                static_cast<int64_t>(std::numeric_limits<T>::min()),
                                static_cast<int64_t>(std::numeric_limits<T>::max()), &llValue))
        {
            return EXmlValue::Bad;
        }
        *pValue = static_cast<T>(llValue);
        return EXmlValue::Ok;
    }

    template <typename T>
    static EXmlValue AttributeNumber(const CXmlElement& element, const char* pszName, T* pValue)
    {
        QByteArrayView value;
        if (!element.attributeBytes(pszName, &value))
        {
            return EXmlValue::Absent;
        }
        int64_t llValue = 0;
        if (!ParseDecimal(value, static_cast<int64_t>(std::numeric_limits<T>::min()),
                          static_cast<int64_t>(std::numeric_limits<T>::max()), &llValue))
        {
            return EXmlValue::Bad;
        }
        *pValue = static_cast<T>(llValue);
        return EXmlValue::Ok;
    }

    // Removes a UTF-8 byte order mark from the front of a buffer.
    static void SkipByteOrderMark(QByteArray& buffer);
};

// Collects the lines of a file as the writers print them.
class CXmlLineWriter
{
public:
    // "<indent><name>value</name>\n"; a text value has "<", ">", "&" (and '"') as entities.
    void Element(const QByteArray& strIndent, const char* pszName, const QString& strValue);
    void Element(const QByteArray& strIndent, const char* pszName, int64_t llValue);
    void YesNo(const QByteArray& strIndent, const char* pszName, bool bValue);
    // "<indent><name>\n" and "<indent></name>\n".
    void Open(const QByteArray& strIndent, const char* pszName);
    void Close(const QByteArray& strIndent, const char* pszName);
    // A line formatted like printf; the caller supplies the line feed.
    void Printf(const char* pszFormat, ...) __attribute__((format(printf, 2, 3)));
    // Raw text.
    void Append(QByteArrayView text) { m_text.append(text); }
    // A number in decimal, as "%d" or "%lld" would print it, without printf's cost: the route lines
    // of a large map run to tens of millions.
    void AppendDecimal(int64_t llValue);
    // Room for this many bytes of text in all, so a large map is not copied as it grows.
    void Reserve(qsizetype nBytes) { m_text.reserve(nBytes); }
    // Sends the text on in pieces of about nChunk bytes instead of keeping it: Spill hands the
    // text so far to fnSink once it has grown past nChunk, and Finish hands over the rest. After
    // the sink refuses a piece, nothing more is kept or sent, and Finish answers false.
    void SetSink(std::function<bool(QByteArrayView)> fnSink, qsizetype nChunk);
    void Spill()
    {
        if (m_fnSink && m_text.size() >= m_nChunk)
        {
            Hand();
        }
    }
    bool Finish();

    const QByteArray& Text() const { return m_text; }

private:
    void Hand();

    QByteArray m_text;
    std::function<bool(QByteArrayView)> m_fnSink;
    qsizetype m_nChunk = 0;
    bool m_bSinkFailed = false;
};
