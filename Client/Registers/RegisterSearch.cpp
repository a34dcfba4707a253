#include "RegisterSearch.h"

#include "NetworkDocument.h"
#include "PETypes.h"
#include "Primitives.h"
#include "RegisterInfoCache.h"

#include <algorithm>

namespace
{
// The texts of the regular expression errors, by the runtime's own numbering.
QString RegexText(int iIndex)
{
    static const char* const s_apszTexts[] = {
        "No error occurred",
        "Out of memory",
        "A closing brace was expected",
        "A closing parenthesis was expected",
        "A closing bracket was expected",
        "An unspecified fatal error occurred",
        "A range expression was empty",
        "A back reference was made to a group that did not exist",
        "An invalid range was specified",
        "A repeat operator (* or +) was applied to an expression that could be empty",
    };
    return QString::fromLatin1(s_apszTexts[iIndex]);
}

enum ERegexText
{
    eRegexOk = 0,
    eRegexMemory = 1,
    eRegexBrace = 2,
    eRegexParen = 3,
    eRegexBracket = 4,
    eRegexFatal = 5,
    eRegexEmptyRange = 6,
    eRegexGroup = 7,
    eRegexRange = 8,
    eRegexEmptyRepeat = 9,
};

// Faults that the grammar we compile with would take without a word or report under another name:
// a bracket expression with nothing in it ("[]" or "[^]", a class that matches nothing), and a
// repeat operator with nothing before it to repeat. A person who typed either meant something else.
ERegexText PatternFault(const QString& strPattern)
{
    bool bEscaped = false;
    bool bInBracket = false;
    bool bAtStart = true; // at the start of the pattern, a group or an alternative
    for (qsizetype i = 0; i < strPattern.size(); ++i)
    {
        const QChar ch = strPattern[i];
        const bool bWasAtStart = bAtStart;
        bAtStart = false;
        if (bEscaped)
        {
            bEscaped = false;
            continue;
        }
        if (ch == QLatin1Char('\\'))
        {
            bEscaped = true;
        }
        else if (bInBracket)
        {
            bInBracket = ch != QLatin1Char(']');
        }
        else if (ch == QLatin1Char('['))
        {
            const QString strRest = strPattern.mid(i + 1);
            if (strRest.startsWith(QLatin1Char(']')) || strRest.startsWith(QStringLiteral("^]")))
            {
                return eRegexEmptyRange;
            }
            bInBracket = true;
        }
        else if (ch == QLatin1Char('*') || ch == QLatin1Char('+') || ch == QLatin1Char('?'))
        {
            // "(?:", "(?=" and "(?!" open groups of their own.
            const bool bGroupKind = ch == QLatin1Char('?') && i > 0 && strPattern[i - 1] == QLatin1Char('(');
            if (bWasAtStart && !bGroupKind)
            {
                return eRegexEmptyRepeat;
            }
        }
        else if (ch == QLatin1Char('(') || ch == QLatin1Char('|'))
        {
            bAtStart = true;
        }
    }
    return eRegexOk;
}

QString OffsetText(const SRegisterTreeItem& item)
{
    if (item.pRegister->bMemSpaceIO)
    {
        const uint64_t ulAddress = item.pRegister->uLocalAddr + (item.pSet ? item.pSet->uOffset : 0);
        return QString::asprintf("%llX", static_cast<unsigned long long>(ulAddress));
    }
    return QString::asprintf("%X", item.uOffset);
}
} // namespace

QString RegexErrorText(std::regex_constants::error_type eError)
{
    switch (eError)
    {
    case std::regex_constants::error_space:
    case std::regex_constants::error_complexity:
    case std::regex_constants::error_stack:
        return RegexText(eRegexMemory);
    case std::regex_constants::error_brace:
    case std::regex_constants::error_badbrace:
        return RegexText(eRegexBrace);
    case std::regex_constants::error_paren:
        return RegexText(eRegexParen);
    case std::regex_constants::error_brack:
    case std::regex_constants::error_ctype:
    case std::regex_constants::error_collate:
        return RegexText(eRegexBracket);
    case std::regex_constants::error_backref:
        return RegexText(eRegexGroup);
    case std::regex_constants::error_range:
        return RegexText(eRegexRange);
    case std::regex_constants::error_badrepeat:
        return RegexText(eRegexEmptyRepeat);
    default:
        return RegexText(eRegexFatal);
    }
}

bool CRegisterSearch::SetPattern(const QString& strText, const SRegisterSearchOptions& options)
{
    m_options = options;
    m_pRegex.reset();
    m_strError.clear();
    if (strText.isEmpty())
    {
        m_strError = QStringLiteral("No search string provided.");
        return false;
    }
    if (!options.bSearchRegNames && !options.bSearchTitles && !options.bSearchOffsets &&
        !options.bSearchBitfields)
    {
        m_strError = QStringLiteral("Nothing to search.");
        return false;
    }
    if (!options.bUseRegEx)
    {
        m_strText = options.bMatchCase ? strText : strText.toUpper();
        return true;
    }
    if (const ERegexText eFault = PatternFault(strText); eFault != eRegexOk)
    {
        m_strError = RegexText(eFault);
        return false;
    }
    auto flags = std::regex_constants::ECMAScript;
    if (!options.bMatchCase)
    {
        flags |= std::regex_constants::icase;
    }
    try
    {
        m_pRegex = std::make_unique<std::regex>(strText.toStdString(), flags);
    }
    catch (const std::regex_error& error)
    {
        m_strError = RegexErrorText(error.code());
        return false;
    }
    return true;
}

bool CRegisterSearch::TextMatches(const QString& strText) const
{
    if (m_pRegex)
    {
        return std::regex_search(strText.toStdString(), *m_pRegex);
    }
    return (m_options.bMatchCase ? strText : strText.toUpper()).contains(m_strText);
}

bool CRegisterSearch::Matches(const SRegisterTreeItem& item, QString* pstrWhat) const
{
    if (item.eKind != eTreeRegister)
    {
        if (m_options.bSearchTitles && TextMatches(item.Text()))
        {
            if (pstrWhat)
            {
                *pstrWhat = QStringLiteral("title");
            }
            return true;
        }
        return false;
    }
    QStringList what;
    if (m_options.bSearchRegNames && TextMatches(item.pRegister->Name))
    {
        what << QStringLiteral("name");
    }
    if (m_options.bSearchOffsets && TextMatches(OffsetText(item)))
    {
        what << QStringLiteral("offset");
    }
    if (m_options.bSearchBitfields)
    {
        QStringList fields;
        for (int f = 0; f < item.pRegister->GetNumBitFields(); ++f)
        {
            const QString& strName = item.pRegister->GetBitField(f)->Name;
            if (TextMatches(strName))
            {
                fields << strName;
            }
        }
        if (!fields.isEmpty())
        {
            what << QStringLiteral("field ") + fields.join(QStringLiteral(", "));
        }
    }
    if (pstrWhat)
    {
        *pstrWhat = what.join(QStringLiteral("; "));
    }
    return !what.isEmpty();
}

int CRegisterSearch::FindNext(const std::vector<SRegisterTreeItem>& items, int iAfter) const
{
    for (size_t i = static_cast<size_t>(std::max(iAfter + 1, 0)); i < items.size(); ++i)
    {
        if (Matches(items[i]))
        {
            return static_cast<int>(i);
        }
    }
    return -1;
}

std::vector<int> CRegisterSearch::FindAll(const std::vector<SRegisterTreeItem>& items) const
{
    std::vector<int> hits;
    for (int i = FindNext(items, -1); i >= 0; i = FindNext(items, i))
    {
        hits.push_back(i);
    }
    return hits;
}

bool CRegisterSearch::FindNextInMap(const CNetworkDocument& document, const SRegisterSearchPlace& after,
                                    SRegisterSearchPlace* pFound)
{
    m_strError.clear();
    // The PEs that show registers, in node order, as the browser lists them.
    const std::vector<CPEPrimitive*> pes = document.pCurrentPEs->LivePEsInNodeOrder();
    size_t nStart = 0;
    if (after.iNode >= 0)
    {
        const auto it =
            std::find_if(pes.begin(), pes.end(),
                         [&after](const CPEPrimitive* pPE) { return pPE->iNodeNumber == after.iNode; });
        if (it == pes.end())
        {
            m_strError = QStringLiteral("Can't find next item in tree.");
            return false;
        }
        nStart = static_cast<size_t>(it - pes.begin());
    }
    for (size_t n = nStart; n < pes.size(); ++n)
    {
        const CPEPrimitive& pe = *pes[n];
        if (pe.uType & (kPETypeNull | kPETypeUnknown))
        {
            continue;
        }
        const CRegisterFileInfo* pInfo = RegisterFileOf(pe);
        if (!pInfo)
        {
            m_strError = QStringLiteral("Unable to load register info.");
            return false;
        }
        const std::vector<SRegisterTreeItem> items = RegisterTreeItems(*pInfo);
        const int iFrom = n == nStart && after.iNode >= 0 ? after.iItem : -1;
        const int iHit = FindNext(items, iFrom);
        if (iHit >= 0)
        {
            pFound->iNode = pe.iNodeNumber;
            pFound->iItem = iHit;
            return true;
        }
    }
    m_strError = QStringLiteral("Not found.");
    return false;
}
