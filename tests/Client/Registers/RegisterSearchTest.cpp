// Register search: the tree order walked, what each scope finds, case and regular expressions, the
// refusals, and the walk over the PEs of a map.
#include "RegisterFixture.h"

#include "RegisterSearch.h"

namespace
{
using nvtest::CRegisterTest;

class RegisterSearch : public CRegisterTest
{
protected:
    std::vector<SRegisterTreeItem> Tree() { return RegisterTreeItems(*RegisterFileOf(*m_pHost)); }
    // Every hit's text, in order.
    QStringList Hits(const QString& strText, const SRegisterSearchOptions& options)
    {
        CRegisterSearch search;
        EXPECT_TRUE(search.SetPattern(strText, options)) << search.Error().toStdString();
        const std::vector<SRegisterTreeItem> tree = Tree();
        QStringList hits;
        for (int i : search.FindAll(tree))
        {
            hits << QStringLiteral("%1@%2").arg(tree[static_cast<size_t>(i)].Text()).arg(i);
        }
        return hits;
    }
    static SRegisterSearchOptions Only(bool bNames, bool bTitles, bool bOffsets, bool bFields)
    {
        SRegisterSearchOptions options;
        options.bSearchRegNames = bNames;
        options.bSearchTitles = bTitles;
        options.bSearchOffsets = bOffsets;
        options.bSearchBitfields = bFields;
        return options;
    }
};

TEST_F(RegisterSearch, TheTreeHoldsBlocksSetsOfMoreThanOneAndEachRegisterPerSet)
{
    QStringList texts;
    std::vector<uint32_t> offsets;
    for (const SRegisterTreeItem& item : Tree())
    {
        texts << item.Text();
        offsets.push_back(item.eKind == eTreeRegister ? item.uOffset : 0xFFFFFFFFu);
    }
    EXPECT_EQ(
        QStringList({"Global", "Identity", "Host Lock", "Port Control", "Port 0", "Control", "Status",
                     "Port 1", "Control", "Status", "EEPROM Bytes", "Boot Byte", "Mailbox", "Doorbell Word"}),
        texts);
    EXPECT_EQ(0x124u, offsets[9]);
    EXPECT_EQ(QStringLiteral("Port Control, Port 1"), Tree()[9].Place());
    EXPECT_EQ(QStringLiteral("Mailbox"), Tree()[13].Place());
}

TEST_F(RegisterSearch, EachScopeFindsItsOwnKindOfItem)
{
    EXPECT_EQ(QStringList({"Port Control@3", "Port 0@4", "Port 1@7"}),
              Hits("port", Only(false, true, false, false)));
    EXPECT_EQ(QStringList({"Control@5", "Control@8"}), Hits("control", Only(true, false, false, false)));
    // Offsets in hexadecimal, set offsets included; an I/O register by its local address.
    EXPECT_EQ(QStringList({"Control@8", "Status@9"}), Hits("12", Only(false, false, true, false)));
    EXPECT_EQ(QStringList({"Doorbell Word@13"}), Hits("1010", Only(false, false, true, false)));
    // Field names: "Vendor" of Identity and "Enable" of each Control.
    EXPECT_EQ(QStringList({"Identity@1", "Control@5", "Control@8"}),
              Hits("en", Only(false, false, false, true)));
    // All scopes: an item is one hit, however many parts of it match.
    EXPECT_EQ(QStringList({"Port Control@3", "Control@5", "Control@8"}),
              Hits("CONTROL", SRegisterSearchOptions()));
    CRegisterSearch search;
    ASSERT_TRUE(search.SetPattern(QStringLiteral("en"), SRegisterSearchOptions()));
    QString strWhat;
    ASSERT_TRUE(search.Matches(Tree()[5], &strWhat));
    EXPECT_EQ(QStringLiteral("field Enable"), strWhat);
    ASSERT_TRUE(search.SetPattern(QStringLiteral("1"), SRegisterSearchOptions()));
    ASSERT_TRUE(search.Matches(Tree()[8], &strWhat));
    EXPECT_EQ(QStringLiteral("offset"), strWhat);
}

TEST_F(RegisterSearch, CaseAndRegularExpressions)
{
    SRegisterSearchOptions options;
    options.bMatchCase = true;
    EXPECT_TRUE(Hits("port", options).isEmpty());
    EXPECT_EQ(3, Hits("Port", options).size());
    options.bMatchCase = false;
    options.bUseRegEx = true;
    EXPECT_EQ(QStringList({"Host Lock@2", "Boot Byte@11"}), Hits("^(host|BOOT) ", options));
    EXPECT_EQ(QStringList({"Status@6", "Status@9"}), Hits("^status$", options));
    EXPECT_EQ(QStringList({"Port 0@4", "Port 1@7"}), Hits("(?:port) [0-9]$", options));
    options.bMatchCase = true;
    EXPECT_TRUE(Hits("^status$", options).isEmpty());
}

TEST_F(RegisterSearch, FindingAgainGoesOnToTheNextHit)
{
    CRegisterSearch search;
    ASSERT_TRUE(search.SetPattern(QStringLiteral("control"), Only(true, false, false, false)));
    const std::vector<SRegisterTreeItem> tree = Tree();
    const int iFirst = search.FindNext(tree, -1);
    EXPECT_EQ(5, iFirst);
    EXPECT_EQ(8, search.FindNext(tree, iFirst));
    EXPECT_EQ(-1, search.FindNext(tree, 8));
}

TEST_F(RegisterSearch, BadSearchesAreRefusedWithTheirTexts)
{
    const struct
    {
        const char* pszText;
        bool bRegex;
        bool bAnyScope;
        const char* pszError;
    } cases[] = {
        {"", false, true, "No search string provided."},
        {"abc", false, false, "Nothing to search."},
        {"(abc", true, true, "A closing parenthesis was expected"},
        {"[abc", true, true, "A closing bracket was expected"},
        {"a{2", true, true, "A closing brace was expected"},
        {"\\2(a)", true, true, "A back reference was made to a group that did not exist"},
        {"[z-a]", true, true, "An invalid range was specified"},
        {"x[]", true, true, "A range expression was empty"},
        {"*a", true, true, "A repeat operator (* or +) was applied to an expression that could be empty"},
        {"a|+b", true, true, "A repeat operator (* or +) was applied to an expression that could be empty"},
    };
    for (const auto& testCase : cases)
    {
        SRegisterSearchOptions options =
            testCase.bAnyScope ? SRegisterSearchOptions() : Only(false, false, false, false);
        options.bUseRegEx = testCase.bRegex;
        CRegisterSearch search;
        EXPECT_FALSE(search.SetPattern(QString::fromLatin1(testCase.pszText), options)) << testCase.pszText;
        EXPECT_EQ(QString::fromLatin1(testCase.pszError), search.Error()) << testCase.pszText;
    }
    // Escaped and bracketed specials are plain characters.
    SRegisterSearchOptions options;
    options.bUseRegEx = true;
    CRegisterSearch search;
    EXPECT_TRUE(search.SetPattern(QStringLiteral("\\[\\]|[*+]"), options)) << search.Error().toStdString();
}

TEST_F(RegisterSearch, AMapIsSearchedPEByPEInNodeOrder)
{
    // Node 3, a Null PE at node 2 (no registers), and the host at node 1; listed out of order.
    auto pNull = std::make_unique<CPEPrimitive>();
    pNull->iNodeNumber = 1;
    pNull->uType = kPETypeNull;
    auto pOther = std::make_unique<CPEPrimitive>(*m_pHost);
    pOther->iNodeNumber = 2;
    pOther->bHasHostLink = false;
    m_document.ActivePEs.AddPrimitive(std::move(pOther));
    m_document.ActivePEs.AddPrimitive(std::move(pNull));
    CRegisterSearch search;
    ASSERT_TRUE(search.SetPattern(QStringLiteral("boot"), SRegisterSearchOptions()));
    SRegisterSearchPlace place;
    ASSERT_TRUE(search.FindNextInMap(m_document, place, &place));
    EXPECT_EQ(0, place.iNode);
    EXPECT_EQ(11, place.iItem);
    ASSERT_TRUE(search.FindNextInMap(m_document, place, &place));
    EXPECT_EQ(2, place.iNode);
    EXPECT_EQ(11, place.iItem);
    EXPECT_FALSE(search.FindNextInMap(m_document, place, &place));
    EXPECT_EQ(QStringLiteral("Not found."), search.Error());
    EXPECT_FALSE(search.FindNextInMap(m_document, {7, 0}, &place));
    EXPECT_EQ(QStringLiteral("Can't find next item in tree."), search.Error());
    // From a Null PE the walk goes on with the next node.
    ASSERT_TRUE(search.FindNextInMap(m_document, {1, 3}, &place));
    EXPECT_EQ(2, place.iNode);
}
} // namespace
