// A read-only element tree of an XML text, for readers that pick elements by name and must take
// files of tens of megabytes in well under a second. Elements and texts are kept as ranges of the
// UTF-8 text, not as objects of their own.
//
// The tree holds what a DOM parser holds for a reader: elements with their attributes, and text.
// As there, a piece of text between two pieces of markup that is only blanks after its references
// are resolved is dropped, and the text of an element is all the text below it, in order.
//
// A fast scanner takes the plain form that the program's writers produce (elements, attributes,
// text with the five entity and character references, comments, the XML declaration). Whatever
// else a file holds (a document type, CDATA, processing instructions, other encodings), and any
// text the scanner would refuse, is handed to QXmlStreamReader, which has the last word on whether
// the text is well-formed.
#pragma once

#include <QByteArray>
#include <QByteArrayView>
#include <QString>
#include <QStringList>

#include <cstdint>
#include <string>
#include <vector>

class CXmlTree;

// One element of a tree, or null. Cheap to copy; valid while its tree lives.
class CXmlElement
{
public:
    CXmlElement() = default;

    bool isNull() const { return m_pTree == nullptr; }
    QString tagName() const;
    bool hasName(const char* pszName) const;

    // The first child element, of that name when a name is given; null when there is none.
    CXmlElement firstChildElement(const char* pszName = nullptr) const;
    // The next element after this one under the same parent, of that name when one is given.
    CXmlElement nextSiblingElement(const char* pszName = nullptr) const;

    // All the text below the element, in document order.
    QString text() const;
    // The same as UTF-8 bytes; the view lives as long as the tree or, when the text had to be put
    // together from pieces, as long as strScratch.
    QByteArrayView textBytes(std::string& strScratch) const;
    // Only the text directly inside the element, not that of its child elements.
    QString ownText() const;

    bool hasAttribute(const char* pszName) const;
    QString attribute(const char* pszName, const QString& strDefault = {}) const;
    // The attribute's value as UTF-8 bytes; false when it's not there.
    bool attributeBytes(const char* pszName, QByteArrayView* pValue) const;
    // The names of all attributes, in the order of the file.
    QStringList attributeNames() const;

private:
    friend class CXmlTree;
    CXmlElement(const CXmlTree* pTree, int32_t iNode) : m_pTree(pTree), m_iNode(iNode) {}

    const CXmlTree* m_pTree = nullptr;
    int32_t m_iNode = -1;
};

class CXmlTree
{
public:
    CXmlTree() = default;
    CXmlTree(const CXmlTree&) = delete;
    CXmlTree& operator=(const CXmlTree&) = delete;

    // Reads a UTF-8 text (without byte order mark). False when it isn't well-formed XML; the tree
    // is empty then.
    bool Parse(const QByteArray& text);
    // The document element; null before a successful Parse.
    CXmlElement Root() const;

    // Whether the last Parse needed QXmlStreamReader (for tests and diagnostics).
    bool UsedFullParser() const { return m_bUsedFullParser; }

private:
    friend class CXmlElement;
    friend class CXmlScanner;
    friend class CXmlStreamBuilder;
    friend class CXmlTreeBuilder;

    // A range of bytes: in the text when bArena is clear, else in the arena.
    struct SRef
    {
        uint32_t uOffset = 0;
        uint32_t uLength : 31;
        uint32_t bArena : 1;
    };
    struct SNode
    {
        SRef Name; // the tag name, or the text of a text node
        uint32_t uFirstAttribute = 0;
        uint32_t uNumAttributes = 0;
        int32_t iFirstChild = -1;
        int32_t iNextSibling = -1;
        bool bText = false;
    };
    struct SAttribute
    {
        SRef Name;
        SRef Value;
    };

    QByteArrayView View(SRef ref) const
    {
        const char* pBase = ref.bArena ? m_Arena.data() : m_Text.constData();
        return QByteArrayView(pBase + ref.uOffset, static_cast<qsizetype>(ref.uLength));
    }
    SRef TextRef(size_t nOffset, size_t nLength) const;
    SRef ArenaRef(QByteArrayView bytes);
    int32_t NextElement(int32_t iNode, const char* pszName) const;
    void Clear();

    QByteArray m_Text;
    std::string m_Arena;
    std::vector<SNode> m_Nodes;
    std::vector<SAttribute> m_Attributes;
    int32_t m_iRoot = -1;
    bool m_bUsedFullParser = false;
};
