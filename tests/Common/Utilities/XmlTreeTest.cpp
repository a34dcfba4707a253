// The element tree of the map reader against a DOM parser: the same texts refused, and of the
// texts taken, the same elements, attributes and text, on hand-picked cases and on many random
// damages of a map-like text.
#include "XmlTree.h"
#include "XmlHelper.h"

#include <QDomDocument>

#include <gtest/gtest.h>

#include <algorithm>
#include <random>

namespace
{
// Name, sorted attributes, all text, own text and children of an element, as one line.
QString Dump(const QDomElement& element)
{
    QStringList attributes;
    const QDomNamedNodeMap map = element.attributes();
    for (int i = 0; i < map.count(); ++i)
    {
        const QDomAttr attribute = map.item(i).toAttr();
        attributes << attribute.name() + QLatin1Char('=') + attribute.value();
    }
    attributes.sort();
    QString strOwn;
    for (QDomNode child = element.firstChild(); !child.isNull(); child = child.nextSibling())
    {
        if (child.isText())
        {
            strOwn += child.toText().data();
        }
    }
    QString strDump = element.tagName() + QLatin1Char('[') + attributes.join(QLatin1Char(';')) +
                      QStringLiteral("]{") + element.text() + QStringLiteral("}<") + strOwn +
                      QStringLiteral(">(");
    for (QDomElement child = element.firstChildElement(); !child.isNull(); child = child.nextSiblingElement())
    {
        strDump += Dump(child);
    }
    return strDump + QLatin1Char(')');
}

QString Dump(const CXmlElement& element)
{
    QStringList attributes;
    for (const QString& strName : element.attributeNames())
    {
        attributes << strName + QLatin1Char('=') + element.attribute(strName.toUtf8().constData());
    }
    attributes.sort();
    QString strDump = element.tagName() + QLatin1Char('[') + attributes.join(QLatin1Char(';')) +
                      QStringLiteral("]{") + element.text() + QStringLiteral("}<") + element.ownText() +
                      QStringLiteral(">(");
    for (CXmlElement child = element.firstChildElement(); !child.isNull(); child = child.nextSiblingElement())
    {
        strDump += Dump(child);
    }
    return strDump + QLatin1Char(')');
}

// Empty when the tree and the DOM agree on the text, else what differs.
std::string Compare(const QByteArray& text)
{
    QDomDocument dom;
    const bool bDom = static_cast<bool>(dom.setContent(text));
    CXmlTree tree;
    const bool bTree = tree.Parse(text);
    if (bDom != bTree)
    {
        return std::string(bDom ? "DOM took, tree refused: " : "tree took, DOM refused: ") +
               text.toStdString();
    }
    if (bDom && Dump(dom.documentElement()) != Dump(tree.Root()))
    {
        return "trees differ for " + text.toStdString() +
               "\nDOM:  " + Dump(dom.documentElement()).toStdString() +
               "\ntree: " + Dump(tree.Root()).toStdString();
    }
    return {};
}

const char kMapLike[] =
    "<?xml version=\"1.0\" encoding=\"utf-8\" ?>\n"
    "<!-- Norvanta Network Map -->\n"
    "<NorvantaMap Version=\"1.7\" NorvantaVersion=\"4.0.000(Release)\">\n"
    "\t<ActiveMap>\n"
    "\t\t<PEList>\n"
    "\t\t\t<PE>\n"
    "\t\t\t\t<UniqueID>1fff00037438</UniqueID>\n"
    "\t\t\t\t<DeviceID>0x374</DeviceID>\n"
    "\t\t\t\t<Comment>rack 2 &amp; 3 &lt;left&gt; caf\xc3\xa9 &#x41;&#66;\r\nnext line</Comment>\n"
    "\t\t\t\t<Registers>\n"
    "\t\t\t\t\t<Register Offset=\"00060\">0000FFFF</Register>\n"
    "\t\t\t\t\t<Register MemSpace=\"IO\" LocalAddr=\"0x10\">0000ABCD<RIO_Addr>0x20</RIO_Addr> </Register>\n"
    "\t\t\t\t</Registers>\n"
    "\t\t\t\t<RoutingTable Port='1'>\n"
    "\t\t\t\t\t<Route DestID=\"5\" Port=\"2\" Type=\"Port\"></Route>\n"
    "\t\t\t\t\t<Route DestID=\"6\" Port=\"3\" Type=\"Special\" SpecialType=\"1\"/>\n"
    "\t\t\t\t</RoutingTable>\n"
    "\t\t\t</PE>\n"
    "\t\t</PEList>\n"
    "\t\t<Empty/>\n"
    "\t\t<Blank> &#32; </Blank>\n"
    "\t</ActiveMap>\n"
    "</NorvantaMap>\n"
    "<!-- end -->\n";

TEST(XmlTree, AgreesWithTheDomOnHandPickedTexts)
{
    const char* const aCases[] = {
        kMapLike,
        "<r/>",
        "<r><a> </a><a> x </a><a>&#32;</a><a> &amp; </a></r>",
        "<r><a>x <b>y</b> z</a><a>x <b>y</b> </a><a>a<!--c-->b</a></r>",
        "<r><a>x\r\ny\rz</a><a>&#13;</a><a>\t\n</a></r>",
        "<r><a>a]]b</a><a>]]></a></r>",
        "<r><a x='1' x='2'>q</a></r>",
        "<r><a x='1'y='2'>q</a></r>",
        "<r><a x=1>q</a></r>",
        "<r><a>&foo;</a></r>",
        "<r><a>&#0;</a></r>",
        "<r><a>&#xD800;</a></r>",
        "<r><a>&#x10FFFF;&#x1F600;</a></r>",
        "<r><a>\x01</a></r>",
        "<r><a>\xef\xbf\xbe</a></r>",
        "<r><a>\xed\xa0\x80</a></r>",
        "<r><a>\xc0\xaf</a></r>",
        "<r><a>\xf0\x9f\x98\x80</a></r>",
        "<r><a>\xc2\xa0</a><a>\xe3\x80\x80</a></r>",
        "<r><a:b c:d='1'>1</a:b><a>z</a></r>",
        "<?xml version=\"1.0\" encoding=\"latin1\"?><r><a>\xe9</a></r>",
        "<?xml version=\"1.0\" encoding=\"utf-8\"?><r><a>\xe9</a></r>",
        "<?xml version=\"1.1\"?><r/>",
        "<?xml version='1.0' standalone='yes' ?><r/>",
        "<?xml version=\"1.0\"encoding=\"utf-8\"?><r/>",
        " <?xml version=\"1.0\"?><r/>",
        "<?xml-stylesheet href=\"a\"?><r/>",
        "<r><?pi x?><a>1</a></r>",
        "<r/><!-- c --> ",
        "<r/>junk",
        "<r/><r/>",
        "",
        "   ",
        "<!-- only -->",
        "<!DOCTYPE r [<!ENTITY e 'ee'>]><r><a>&e;</a></r>",
        "<r><a><![CDATA[ ]]></a><a> <![CDATA[x<y]]> </a></r>",
        "<r><a y=\"a\tb\" z=\"&lt;&#10;\">x</a></r>",
        "<r><a>x</a ></r>",
        "<r ><a\n>x</a\t></r\n>",
        "<r><a>--</a><!-- a--b --></r>",
        "<r><!-- a- --></r>",
        "<r><!-- a ---></r>",
        "<r><a>x</b></r>",
        "<r><a>x</a>",
        "<r><ab>x</a></r>",
        "<r><1a/></r>",
        "<r><a/ ></r>",
        "<r><a b='<'/></r>",
        "<r><a b='\xc3\xa9'/></r>",
        "<r>\xc3\xa9<a>\xe2\x82\xac</a></r>",
        "<ShortMCastDestID ID=\"1\" Index=\"0\"</ShortMCastDestID>",
    };
    for (const char* pszCase : aCases)
    {
        EXPECT_EQ("", Compare(QByteArray(pszCase)));
    }
}

TEST(XmlTree, AgreesWithTheDomOnDamagedTexts)
{
    // Bytes that matter to a parser, and some that don't.
    const std::string strPieces = "<>/&;#x\"'=!?-[]] \t\r\nAz09\x01\xc3\xa9\xef\xbf\xbe";
    std::mt19937 random(20240611);
    const std::string strMap(kMapLike);
    int nRefused = 0;
    for (int i = 0; i < 3000; ++i)
    {
        std::string strText = strMap;
        const int nDamages = 1 + static_cast<int>(random() % 3);
        for (int d = 0; d < nDamages; ++d)
        {
            const size_t nAt = random() % strText.size();
            switch (random() % 4)
            {
            case 0:
                strText.erase(nAt, 1 + random() % 3);
                break;
            case 1:
                strText.insert(nAt, 1, strPieces[random() % strPieces.size()]);
                break;
            case 2:
                strText[nAt] = strPieces[random() % strPieces.size()];
                break;
            default:
                strText.insert(nAt, strText.substr(random() % strText.size(), 1 + random() % 12));
                break;
            }
        }
        const QByteArray text = QByteArray::fromStdString(strText);
        const std::string strDiffers = Compare(text);
        ASSERT_EQ("", strDiffers) << "damage " << i;
        CXmlTree tree;
        nRefused += tree.Parse(text) ? 0 : 1;
    }
    // Both outcomes were tried many times over.
    EXPECT_GT(nRefused, 500);
    EXPECT_LT(nRefused, 2900);
}

TEST(XmlTree, PlainTextIsScannedAndOtherFormsGoToTheFullParser)
{
    CXmlTree tree;
    ASSERT_TRUE(tree.Parse(QByteArray(kMapLike)));
    EXPECT_FALSE(tree.UsedFullParser()) << "the writers' form must take the fast way";
    const CXmlElement pe =
        tree.Root().firstChildElement("ActiveMap").firstChildElement("PEList").firstChildElement("PE");
    EXPECT_EQ(QStringLiteral("rack 2 & 3 <left> caf\u00e9 AB\nnext line"),
              CXmlHelper::ChildTextOr(pe, "Comment"));
    uint16_t wDevice = 0;
    EXPECT_EQ(EXmlValue::Ok, CXmlHelper::ChildNumber(pe, "DeviceID", &wDevice));
    EXPECT_EQ(0x374, wDevice);
    const CXmlElement route =
        pe.firstChildElement("RoutingTable").firstChildElement("Route").nextSiblingElement();
    int iPort = 0;
    EXPECT_EQ(EXmlValue::Ok, CXmlHelper::AttributeNumber(route, "Port", &iPort));
    EXPECT_EQ(3, iPort);
    EXPECT_EQ(EXmlValue::Absent, CXmlHelper::AttributeNumber(route, "Missing", &iPort));
    EXPECT_EQ(EXmlValue::Bad, CXmlHelper::AttributeNumber(route, "Type", &iPort));
    EXPECT_TRUE(route.nextSiblingElement().isNull());

    ASSERT_TRUE(tree.Parse("<!DOCTYPE r [<!ENTITY e '12'>]><r><n> 0x&e; </n></r>"));
    EXPECT_TRUE(tree.UsedFullParser());
    int iValue = 0;
    EXPECT_EQ(EXmlValue::Ok, CXmlHelper::ChildNumber(tree.Root(), "n", &iValue));
    EXPECT_EQ(0x12, iValue);

    EXPECT_FALSE(tree.Parse("<r><n>1</n>"));
    EXPECT_TRUE(tree.Root().isNull()) << "a refused text leaves no tree";
}
} // namespace
