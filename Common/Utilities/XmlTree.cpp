#include "XmlTree.h"

#include <QXmlStreamReader>

#include <array>
#include <cstring>

namespace
{
// Classes of bytes for the scanner.
enum : uint8_t
{
    kNameStart = 1, // may begin a name
    kName = 2,      // may stand in a name
    kSpace = 4,     // white space of XML
    kPlain = 8,     // text byte that needs no further look
};

constexpr std::array<uint8_t, 256> MakeClasses()
{
    std::array<uint8_t, 256> classes{};
    for (int c = 0; c < 256; ++c)
    {
        uint8_t uClass = 0;
        const bool bLetter = (c >= 'A' && c <= 'Z') || (c >= 'a' && c <= 'z');
        if (bLetter || c == '_')
        {
            uClass |= kNameStart | kName;
        }
        if ((c >= '0' && c <= '9') || c == '.' || c == '-')
        {
            uClass |= kName;
        }
        if (c == ' ' || c == '\t' || c == '\n' || c == '\r')
        {
            uClass |= kSpace;
        }
        if ((c >= 0x20 && c < 0x80 && c != '<' && c != '&' && c != ']') || c == '\t' || c == '\n')
        {
            uClass |= kPlain;
        }
        classes[static_cast<size_t>(c)] = uClass;
    }
    return classes;
}
constexpr std::array<uint8_t, 256> kClasses = MakeClasses();

inline bool Is(char ch, uint8_t uClass)
{
    return (kClasses[static_cast<uint8_t>(ch)] & uClass) != 0;
}

// Length of the well-formed UTF-8 sequence at p of a character that XML allows, or 0. Sequences
// of four bytes, and characters that are no characters (U+FDD0 to U+FDEF, U+FFFE, U+FFFF), are
// left to the full parser too.
size_t Utf8Length(const char* p, const char* pEnd)
{
    const auto b0 = static_cast<uint8_t>(p[0]);
    auto cont = [&](size_t i) { return p + i < pEnd && (static_cast<uint8_t>(p[i]) & 0xC0) == 0x80; };
    if (b0 >= 0xC2 && b0 <= 0xDF)
    {
        return cont(1) ? 2 : 0;
    }
    if (b0 >= 0xE0 && b0 <= 0xEF && cont(1) && cont(2))
    {
        const uint32_t uChar = ((b0 & 0x0Fu) << 12) | ((static_cast<uint8_t>(p[1]) & 0x3Fu) << 6) |
                               (static_cast<uint8_t>(p[2]) & 0x3Fu);
        if (uChar < 0x800 || (uChar >= 0xD800 && uChar <= 0xDFFF) || (uChar >= 0xFDD0 && uChar <= 0xFDEF) ||
            uChar >= 0xFFFE)
        {
            return 0;
        }
        return 3;
    }
    return 0;
}

void AppendUtf8(std::string& strOut, uint32_t uChar)
{
    if (uChar < 0x80)
    {
        strOut += static_cast<char>(uChar);
    }
    else if (uChar < 0x800)
    {
        strOut += static_cast<char>(0xC0 | (uChar >> 6));
        strOut += static_cast<char>(0x80 | (uChar & 0x3F));
    }
    else if (uChar < 0x10000)
    {
        strOut += static_cast<char>(0xE0 | (uChar >> 12));
        strOut += static_cast<char>(0x80 | ((uChar >> 6) & 0x3F));
        strOut += static_cast<char>(0x80 | (uChar & 0x3F));
    }
    else
    {
        strOut += static_cast<char>(0xF0 | (uChar >> 18));
        strOut += static_cast<char>(0x80 | ((uChar >> 12) & 0x3F));
        strOut += static_cast<char>(0x80 | ((uChar >> 6) & 0x3F));
        strOut += static_cast<char>(0x80 | (uChar & 0x3F));
    }
}

bool IsXmlChar(uint32_t uChar)
{
    return uChar == 0x9 || uChar == 0xA || uChar == 0xD || (uChar >= 0x20 && uChar <= 0xD7FF) ||
           (uChar >= 0xE000 && uChar <= 0xFFFD) || (uChar >= 0x10000 && uChar <= 0x10FFFF);
}

// Whether a piece of text is dropped: nothing but blanks, as QString::trimmed() sees them.
bool IsBlank(QByteArrayView text)
{
    bool bAscii = true;
    for (const char ch : text)
    {
        if (static_cast<uint8_t>(ch) >= 0x80)
        {
            bAscii = false;
        }
        else if (!Is(ch, kSpace))
        {
            return false;
        }
    }
    return bAscii || QString::fromUtf8(text).trimmed().isEmpty();
}

struct SOpen
{
    int32_t iNode;
    int32_t iLastChild;
};
} // namespace

// Links nodes into the tree as a parser finds them.
class CXmlTreeBuilder
{
public:
    explicit CXmlTreeBuilder(std::vector<CXmlTree::SNode>& nodes, int32_t& iRoot)
        : m_Nodes(nodes), m_iRoot(iRoot)
    {
    }

    void Open(const CXmlTree::SNode& node)
    {
        const int32_t iNode = Add(node);
        m_Open.push_back({iNode, -1});
    }
    void Text(CXmlTree::SRef text)
    {
        CXmlTree::SNode node;
        node.Name = text;
        node.bText = true;
        Add(node);
    }
    void Close() { m_Open.pop_back(); }
    bool InElement() const { return !m_Open.empty(); }
    int32_t Current() const { return m_Open.back().iNode; }

private:
    int32_t Add(const CXmlTree::SNode& node)
    {
        const auto iNode = static_cast<int32_t>(m_Nodes.size());
        m_Nodes.push_back(node);
        if (m_Open.empty())
        {
            m_iRoot = iNode;
        }
        else
        {
            SOpen& parent = m_Open.back();
            (parent.iLastChild < 0 ? m_Nodes[static_cast<size_t>(parent.iNode)].iFirstChild
                                   : m_Nodes[static_cast<size_t>(parent.iLastChild)].iNextSibling) = iNode;
            parent.iLastChild = iNode;
        }
        return iNode;
    }

    std::vector<CXmlTree::SNode>& m_Nodes;
    int32_t& m_iRoot;
    std::vector<SOpen> m_Open;
};

// The fast scanner of plain XML. Run() returns false on anything it doesn't take, well-formed or
// not; the caller then asks the full parser.
class CXmlScanner
{
public:
    explicit CXmlScanner(CXmlTree& tree)
        : m_Tree(tree), m_pBegin(tree.m_Text.constData()), m_p(m_pBegin),
          m_pEnd(m_pBegin + tree.m_Text.size()), m_Builder(tree.m_Nodes, tree.m_iRoot)
    {
    }

    bool Run()
    {
        if (Starts("<?xml") && m_p + 5 < m_pEnd && Is(m_p[5], kSpace))
        {
            m_p += 5;
            if (!Declaration())
            {
                return false;
            }
        }
        // Before the root: blanks and comments only.
        for (;;)
        {
            SkipSpace();
            if (Starts("<!--"))
            {
                if (!Comment())
                {
                    return false;
                }
                continue;
            }
            if (m_p + 1 < m_pEnd && m_p[0] == '<' && Is(m_p[1], kNameStart))
            {
                break;
            }
            return false;
        }
        if (!Content())
        {
            return false;
        }
        // After it, the same.
        for (;;)
        {
            SkipSpace();
            if (m_p == m_pEnd)
            {
                return true;
            }
            if (!Starts("<!--") || !Comment())
            {
                return false;
            }
        }
    }

private:
    bool Starts(const char* psz) const
    {
        const size_t nLength = std::strlen(psz);
        return static_cast<size_t>(m_pEnd - m_p) >= nLength && std::memcmp(m_p, psz, nLength) == 0;
    }
    bool SkipSpace()
    {
        const char* pStart = m_p;
        while (m_p < m_pEnd && Is(*m_p, kSpace))
        {
            ++m_p;
        }
        return m_p != pStart;
    }
    bool Expect(const char* psz)
    {
        if (!Starts(psz))
        {
            return false;
        }
        m_p += std::strlen(psz);
        return true;
    }
    // A quoted value of plain ASCII; its inside is handed back.
    bool Quoted(QByteArrayView* pValue)
    {
        if (m_p == m_pEnd || (*m_p != '"' && *m_p != '\''))
        {
            return false;
        }
        const char chQuote = *m_p++;
        const char* pStart = m_p;
        while (m_p < m_pEnd && *m_p != chQuote)
        {
            const auto ch = static_cast<uint8_t>(*m_p);
            // References, blanks other than spaces (which a parser turns into spaces) and
            // everything outside ASCII go to the full parser.
            if (ch < 0x20 || ch >= 0x80 || ch == '<' || ch == '&')
            {
                return false;
            }
            ++m_p;
        }
        if (m_p == m_pEnd)
        {
            return false;
        }
        *pValue = QByteArrayView(pStart, m_p - pStart);
        ++m_p;
        return true;
    }
    bool Equals()
    {
        SkipSpace();
        if (m_p == m_pEnd || *m_p != '=')
        {
            return false;
        }
        ++m_p;
        SkipSpace();
        return true;
    }

    // "<?xml" has been read: version 1.0, and if given, encoding UTF-8 and a standalone word.
    bool Declaration()
    {
        QByteArrayView value;
        SkipSpace();
        if (!Expect("version") || !Equals() || !Quoted(&value) || value != "1.0")
        {
            return false;
        }
        bool bSpace = SkipSpace();
        if (bSpace && Starts("encoding"))
        {
            m_p += 8;
            if (!Equals() || !Quoted(&value) || value.compare("utf-8", Qt::CaseInsensitive) != 0)
            {
                return false;
            }
            bSpace = SkipSpace();
        }
        if (bSpace && Starts("standalone"))
        {
            m_p += 10;
            if (!Equals() || !Quoted(&value) || (value != "yes" && value != "no"))
            {
                return false;
            }
            SkipSpace();
        }
        return Expect("?>");
    }

    // "<!--" is next. No "--" inside, plain ASCII only.
    bool Comment()
    {
        m_p += 4;
        while (m_p + 1 < m_pEnd)
        {
            const auto ch = static_cast<uint8_t>(*m_p);
            if (ch == '-' && m_p[1] == '-')
            {
                m_p += 2;
                return Expect(">");
            }
            if ((ch < 0x20 && !Is(static_cast<char>(ch), kSpace)) || ch >= 0x80)
            {
                return false;
            }
            ++m_p;
        }
        return false;
    }

    // A name of ASCII letters, digits and ".-_"; names with a colon or other characters are
    // left to the full parser.
    bool Name(QByteArrayView* pName)
    {
        if (m_p == m_pEnd || !Is(*m_p, kNameStart))
        {
            return false;
        }
        const char* pStart = m_p;
        while (m_p < m_pEnd && Is(*m_p, kName))
        {
            ++m_p;
        }
        if (m_p < m_pEnd && (*m_p == ':' || static_cast<uint8_t>(*m_p) >= 0x80))
        {
            return false;
        }
        *pName = QByteArrayView(pStart, m_p - pStart);
        return true;
    }

    CXmlTree::SRef Ref(QByteArrayView bytes) const
    {
        return m_Tree.TextRef(static_cast<size_t>(bytes.data() - m_pBegin),
                              static_cast<size_t>(bytes.size()));
    }

    // "<" and a name start are next.
    bool StartTag()
    {
        ++m_p;
        QByteArrayView name;
        if (!Name(&name))
        {
            return false;
        }
        CXmlTree::SNode node;
        node.Name = Ref(name);
        node.uFirstAttribute = static_cast<uint32_t>(m_Tree.m_Attributes.size());
        for (;;)
        {
            const bool bSpace = SkipSpace();
            if (m_p == m_pEnd)
            {
                return false;
            }
            if (*m_p == '>' || (*m_p == '/' && m_p + 1 < m_pEnd && m_p[1] == '>'))
            {
                break;
            }
            QByteArrayView attribute;
            QByteArrayView value;
            if (!bSpace || !Name(&attribute) || !Equals() || !Quoted(&value))
            {
                return false;
            }
            for (uint32_t i = node.uFirstAttribute; i < m_Tree.m_Attributes.size(); ++i)
            {
                if (m_Tree.View(m_Tree.m_Attributes[i].Name) == attribute)
                {
                    return false;
                }
            }
            m_Tree.m_Attributes.push_back({Ref(attribute), Ref(value)});
        }
        node.uNumAttributes = static_cast<uint32_t>(m_Tree.m_Attributes.size()) - node.uFirstAttribute;
        m_Builder.Open(node);
        if (*m_p == '/')
        {
            m_p += 2;
            m_Builder.Close();
        }
        else
        {
            ++m_p;
        }
        return true;
    }

    // "</" is next.
    bool EndTag()
    {
        m_p += 2;
        QByteArrayView name;
        if (!Name(&name) ||
            name != m_Tree.View(m_Tree.m_Nodes[static_cast<size_t>(m_Builder.Current())].Name))
        {
            return false;
        }
        SkipSpace();
        if (!Expect(">"))
        {
            return false;
        }
        m_Builder.Close();
        return true;
    }

    // A piece of text up to the next markup. References are resolved and line ends made line
    // feeds, as a parser does; a piece of blanks is dropped.
    bool Text()
    {
        const char* pStart = m_p;
        bool bDecode = false;
        while (m_p < m_pEnd)
        {
            if (Is(*m_p, kPlain))
            {
                ++m_p;
                continue;
            }
            const auto ch = static_cast<uint8_t>(*m_p);
            if (ch == '<')
            {
                break;
            }
            if (ch == '&' || ch == '\r')
            {
                bDecode = true;
                ++m_p;
            }
            else if (ch == ']')
            {
                if (m_pEnd - m_p >= 3 && m_p[1] == ']' && m_p[2] == '>')
                {
                    return false;
                }
                ++m_p;
            }
            else if (ch >= 0x80)
            {
                const size_t nLength = Utf8Length(m_p, m_pEnd);
                if (nLength == 0)
                {
                    return false;
                }
                m_p += nLength;
            }
            else
            {
                return false; // a control character
            }
        }
        const QByteArrayView raw(pStart, m_p - pStart);
        if (raw.isEmpty())
        {
            return true;
        }
        if (!bDecode)
        {
            if (!IsBlank(raw))
            {
                m_Builder.Text(Ref(raw));
            }
            return true;
        }
        std::string strText;
        if (!Decode(raw, strText))
        {
            return false;
        }
        if (!IsBlank(QByteArrayView(strText.data(), static_cast<qsizetype>(strText.size()))))
        {
            m_Builder.Text(
                m_Tree.ArenaRef(QByteArrayView(strText.data(), static_cast<qsizetype>(strText.size()))));
        }
        return true;
    }

    static bool Decode(QByteArrayView raw, std::string& strOut)
    {
        strOut.reserve(static_cast<size_t>(raw.size()));
        for (qsizetype i = 0; i < raw.size(); ++i)
        {
            const char ch = raw[i];
            if (ch == '\r')
            {
                // A line end of CR LF, or a CR alone, is one line feed.
                strOut += '\n';
                if (i + 1 < raw.size() && raw[i + 1] == '\n')
                {
                    ++i;
                }
                continue;
            }
            if (ch != '&')
            {
                strOut += ch;
                continue;
            }
            const qsizetype nEnd = raw.indexOf(';', i);
            if (nEnd < 0)
            {
                return false;
            }
            const QByteArrayView name = raw.sliced(i + 1, nEnd - i - 1);
            i = nEnd;
            static const std::pair<const char*, char> kEntities[] = {
                {"amp", '&'}, {"lt", '<'}, {"gt", '>'}, {"quot", '"'}, {"apos", '\''}};
            bool bFound = false;
            for (const auto& [pszName, chValue] : kEntities)
            {
                if (name == pszName)
                {
                    strOut += chValue;
                    bFound = true;
                }
            }
            if (bFound)
            {
                continue;
            }
            if (name.size() < 2 || name[0] != '#')
            {
                return false; // an entity of a document type
            }
            const bool bHex = name[1] == 'x';
            const QByteArrayView digits = name.sliced(bHex ? 2 : 1);
            if (digits.isEmpty() || digits.size() > 8)
            {
                return false;
            }
            uint32_t uChar = 0;
            for (const char d : digits)
            {
                int nDigit = -1;
                if (d >= '0' && d <= '9')
                {
                    nDigit = d - '0';
                }
                else if (bHex && d >= 'a' && d <= 'f')
                {
                    nDigit = d - 'a' + 10;
                }
                else if (bHex && d >= 'A' && d <= 'F')
                {
                    nDigit = d - 'A' + 10;
                }
                if (nDigit < 0)
                {
                    return false;
                }
                uChar = uChar * (bHex ? 16u : 10u) + static_cast<uint32_t>(nDigit);
            }
            if (!IsXmlChar(uChar))
            {
                return false;
            }
            AppendUtf8(strOut, uChar);
        }
        return true;
    }

    // From the root's start tag to its end tag.
    bool Content()
    {
        do
        {
            if (!Text() || m_p == m_pEnd)
            {
                return false;
            }
            // m_p is at '<'.
            if (m_p + 1 >= m_pEnd)
            {
                return false;
            }
            const char chNext = m_p[1];
            if (chNext == '/')
            {
                if (!m_Builder.InElement() || !EndTag())
                {
                    return false;
                }
            }
            else if (chNext == '!')
            {
                if (!m_Builder.InElement() || !Starts("<!--") || !Comment())
                {
                    return false;
                }
            }
            else if (!StartTag())
            {
                return false;
            }
        } while (m_Builder.InElement());
        return true;
    }

    CXmlTree& m_Tree;
    const char* m_pBegin;
    const char* m_p;
    const char* m_pEnd;
    CXmlTreeBuilder m_Builder;
};

// The tree from QXmlStreamReader's tokens, kept as a DOM parser built on it keeps them.
class CXmlStreamBuilder
{
public:
    explicit CXmlStreamBuilder(CXmlTree& tree) : m_Tree(tree), m_Builder(tree.m_Nodes, tree.m_iRoot) {}

    bool Run()
    {
        QXmlStreamReader reader(m_Tree.m_Text);
        reader.setNamespaceProcessing(false);
        while (!reader.atEnd())
        {
            switch (reader.readNext())
            {
            case QXmlStreamReader::StartElement:
            {
                CXmlTree::SNode node;
                node.Name = Arena(reader.qualifiedName());
                node.uFirstAttribute = static_cast<uint32_t>(m_Tree.m_Attributes.size());
                const QXmlStreamAttributes attributes = reader.attributes();
                for (const QXmlStreamAttribute& attribute : attributes)
                {
                    m_Tree.m_Attributes.push_back(
                        {Arena(attribute.qualifiedName()), Arena(attribute.value())});
                }
                node.uNumAttributes = static_cast<uint32_t>(attributes.size());
                m_Builder.Open(node);
                break;
            }
            case QXmlStreamReader::EndElement:
                m_Builder.Close();
                break;
            case QXmlStreamReader::Characters:
                // Text of nothing but blanks is dropped unless it stood in a CDATA section.
                if (m_Builder.InElement() && (reader.isCDATA() || !reader.text().trimmed().isEmpty()))
                {
                    m_Builder.Text(Arena(reader.text()));
                }
                break;
            default:
                break;
            }
        }
        return !reader.hasError() && m_Tree.m_iRoot >= 0;
    }

private:
    CXmlTree::SRef Arena(QStringView text) { return m_Tree.ArenaRef(text.toUtf8()); }

    CXmlTree& m_Tree;
    CXmlTreeBuilder m_Builder;
};

CXmlTree::SRef CXmlTree::TextRef(size_t nOffset, size_t nLength) const
{
    SRef ref;
    ref.uOffset = static_cast<uint32_t>(nOffset);
    ref.uLength = static_cast<uint32_t>(nLength);
    ref.bArena = 0;
    return ref;
}

CXmlTree::SRef CXmlTree::ArenaRef(QByteArrayView bytes)
{
    SRef ref;
    ref.uOffset = static_cast<uint32_t>(m_Arena.size());
    ref.uLength = static_cast<uint32_t>(bytes.size());
    ref.bArena = 1;
    m_Arena.append(bytes.data(), static_cast<size_t>(bytes.size()));
    return ref;
}

void CXmlTree::Clear()
{
    m_Arena.clear();
    m_Nodes.clear();
    m_Attributes.clear();
    m_iRoot = -1;
}

bool CXmlTree::Parse(const QByteArray& text)
{
    Clear();
    m_Text = text;
    m_bUsedFullParser = false;
    // Offsets into the text are kept in 31 bits.
    if (text.size() < 0x7FFFFFFF)
    {
        m_Nodes.reserve(static_cast<size_t>(text.size() / 48));
        m_Attributes.reserve(static_cast<size_t>(text.size() / 64));
        if (CXmlScanner(*this).Run())
        {
            return true;
        }
    }
    Clear();
    m_bUsedFullParser = true;
    if (text.size() < 0x7FFFFFFF && CXmlStreamBuilder(*this).Run())
    {
        return true;
    }
    Clear();
    m_Text.clear();
    return false;
}

CXmlElement CXmlTree::Root() const
{
    return m_iRoot < 0 ? CXmlElement() : CXmlElement(this, m_iRoot);
}

int32_t CXmlTree::NextElement(int32_t iNode, const char* pszName) const
{
    const QByteArrayView name = pszName ? QByteArrayView(pszName) : QByteArrayView();
    for (; iNode >= 0; iNode = m_Nodes[static_cast<size_t>(iNode)].iNextSibling)
    {
        const SNode& node = m_Nodes[static_cast<size_t>(iNode)];
        if (!node.bText && (!pszName || View(node.Name) == name))
        {
            return iNode;
        }
    }
    return -1;
}

// =============================================================================================

QString CXmlElement::tagName() const
{
    return isNull() ? QString()
                    : QString::fromUtf8(m_pTree->View(m_pTree->m_Nodes[static_cast<size_t>(m_iNode)].Name));
}

bool CXmlElement::hasName(const char* pszName) const
{
    return !isNull() &&
           m_pTree->View(m_pTree->m_Nodes[static_cast<size_t>(m_iNode)].Name) == QByteArrayView(pszName);
}

CXmlElement CXmlElement::firstChildElement(const char* pszName) const
{
    if (isNull())
    {
        return {};
    }
    const int32_t iChild =
        m_pTree->NextElement(m_pTree->m_Nodes[static_cast<size_t>(m_iNode)].iFirstChild, pszName);
    return iChild < 0 ? CXmlElement() : CXmlElement(m_pTree, iChild);
}

CXmlElement CXmlElement::nextSiblingElement(const char* pszName) const
{
    if (isNull())
    {
        return {};
    }
    const int32_t iNext =
        m_pTree->NextElement(m_pTree->m_Nodes[static_cast<size_t>(m_iNode)].iNextSibling, pszName);
    return iNext < 0 ? CXmlElement() : CXmlElement(m_pTree, iNext);
}

QByteArrayView CXmlElement::textBytes(std::string& strScratch) const
{
    if (isNull())
    {
        return {};
    }
    const auto& nodes = m_pTree->m_Nodes;
    const CXmlTree::SNode& node = nodes[static_cast<size_t>(m_iNode)];
    if (node.iFirstChild < 0)
    {
        return QByteArrayView("", 0);
    }
    const CXmlTree::SNode& first = nodes[static_cast<size_t>(node.iFirstChild)];
    if (first.bText && first.iNextSibling < 0)
    {
        return m_pTree->View(first.Name);
    }
    // Text in several pieces, or below child elements: gathered depth first, in document order.
    strScratch.clear();
    std::vector<int32_t> pending = {node.iFirstChild};
    while (!pending.empty())
    {
        const int32_t iNode = pending.back();
        pending.pop_back();
        const CXmlTree::SNode& item = nodes[static_cast<size_t>(iNode)];
        if (item.iNextSibling >= 0)
        {
            pending.push_back(item.iNextSibling);
        }
        if (item.bText)
        {
            const QByteArrayView piece = m_pTree->View(item.Name);
            strScratch.append(piece.data(), static_cast<size_t>(piece.size()));
        }
        else if (item.iFirstChild >= 0)
        {
            pending.push_back(item.iFirstChild);
        }
    }
    return QByteArrayView(strScratch.data(), static_cast<qsizetype>(strScratch.size()));
}

QString CXmlElement::text() const
{
    std::string strScratch;
    return QString::fromUtf8(textBytes(strScratch));
}

QString CXmlElement::ownText() const
{
    QString strText;
    if (isNull())
    {
        return strText;
    }
    for (int32_t iNode = m_pTree->m_Nodes[static_cast<size_t>(m_iNode)].iFirstChild; iNode >= 0;
         iNode = m_pTree->m_Nodes[static_cast<size_t>(iNode)].iNextSibling)
    {
        const CXmlTree::SNode& node = m_pTree->m_Nodes[static_cast<size_t>(iNode)];
        if (node.bText)
        {
            strText += QString::fromUtf8(m_pTree->View(node.Name));
        }
    }
    return strText;
}

bool CXmlElement::attributeBytes(const char* pszName, QByteArrayView* pValue) const
{
    if (isNull())
    {
        return false;
    }
    const CXmlTree::SNode& node = m_pTree->m_Nodes[static_cast<size_t>(m_iNode)];
    const QByteArrayView name(pszName);
    for (uint32_t i = 0; i < node.uNumAttributes; ++i)
    {
        const CXmlTree::SAttribute& attribute = m_pTree->m_Attributes[node.uFirstAttribute + i];
        if (m_pTree->View(attribute.Name) == name)
        {
            *pValue = m_pTree->View(attribute.Value);
            return true;
        }
    }
    return false;
}

bool CXmlElement::hasAttribute(const char* pszName) const
{
    QByteArrayView value;
    return attributeBytes(pszName, &value);
}

QString CXmlElement::attribute(const char* pszName, const QString& strDefault) const
{
    QByteArrayView value;
    return attributeBytes(pszName, &value) ? QString::fromUtf8(value) : strDefault;
}

QStringList CXmlElement::attributeNames() const
{
    QStringList names;
    if (!isNull())
    {
        const CXmlTree::SNode& node = m_pTree->m_Nodes[static_cast<size_t>(m_iNode)];
        for (uint32_t i = 0; i < node.uNumAttributes; ++i)
        {
            names << QString::fromUtf8(m_pTree->View(m_pTree->m_Attributes[node.uFirstAttribute + i].Name));
        }
    }
    return names;
}
