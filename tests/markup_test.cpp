// The XML element navigator: verdicts and findings, restructuring of unended
// elements, the cursor sequences the response parsers rely on, data and
// attribute reading, character references, and a differential run against pugixml.
#include <gtest/gtest.h>
#include <pugixml.hpp>

#include <cctype>
#include <cstdio>
#include <random>
#include <string>
#include <vector>

#include "xml/Markup.h"

namespace {

// The element tree from the current level down: "a(b c(d)) e".
std::string Tree(CMarkup& xml)
{
    std::string tree;
    xml.ResetMainPos();
    while (xml.FindElem()) {
        tree += (tree.empty() ? "" : " ") + xml.GetTagName();
        xml.IntoElem();
        const std::string children = Tree(xml);
        xml.OutOfElem();
        tree += children.empty() ? "" : "(" + children + ")";
    }
    return tree;
}

std::string Repeat(const std::string& text, int times)
{
    std::string out;
    while (times-- > 0)
        out += text;
    return out;
}

} // namespace

TEST(MarkupVerdict, DocumentsWithoutASingleRootAreRefusedButWalkable)
{
    CMarkup xml;
    EXPECT_FALSE(xml.SetDoc(""));
    EXPECT_FALSE(xml.FindElem("Root"));
    EXPECT_EQ(xml.GetError(), "<no_root_element/>");
    EXPECT_FALSE(xml.SetDoc(nullptr));
    EXPECT_FALSE(xml.FindElem());
    EXPECT_FALSE(xml.IsWellFormed());

    EXPECT_FALSE(xml.SetDoc("<Root/><Other/>"));
    EXPECT_EQ(xml.GetError(), "<root_has_sibling tagname=\"Other\" offset=\"7\"/>");
    EXPECT_TRUE(xml.FindElem("Root"));
    EXPECT_TRUE(xml.FindElem("Other"));
}

TEST(MarkupVerdict, WellFormedDocumentWithEveryNodeKindHasNoFindings)
{
    CMarkup xml;
    EXPECT_TRUE(xml.SetDoc("<?xml version=\"1.0\"?>\n<!DOCTYPE r [ <!ENTITY e \"]>\"> ]>\n"
                           "<!-- c --><r a='>'><x><![CDATA[ <y> ]]></x><?pi x?></r>\n"));
    EXPECT_EQ(xml.GetError(), "");
    EXPECT_TRUE(xml.FindElem("r"));
    EXPECT_EQ(xml.GetAttrib("a"), ">");
    EXPECT_TRUE(xml.SetDoc(std::string("<a/>\0<b/>", 9)));  // the text ends at the zero byte
    // Only the "C" of "<![CDATA[" and the "D" of "<!DOCTYPE" are looked at.
    EXPECT_TRUE(xml.SetDoc("<r><![Cx[<y/>]]><!Dz [<q>]></r>"));
    EXPECT_EQ(xml.GetError(), "");
}

// Bytes 97 to 127 start names too, "{" and "~" included.
TEST(MarkupVerdict, NameStartCharactersIncludeBytes97To127)
{
    CMarkup xml;
    ASSERT_TRUE(xml.SetDoc("<r><{x/><~/><\x7F/><_:/></r>"));
    EXPECT_EQ(Tree(xml), "r({x ~ \x7F _:)");
}

// Each kind of malformed markup is recorded with its offset and marks the
// document ill formed; the scan goes on after it.
TEST(MarkupFindings, EveryKindIsRecordedWithItsOffset)
{
    const std::pair<std::string, std::string> cases[] = {
        {"<a>1 < 2</a>", "<first_tag_syntax offset=\"5\"/>"},
        {"<r><1/></r>", "<first_tag_syntax offset=\"3\"/>"},
        {"<a><!x></a>", "<exclamation_tag_syntax offset=\"3\"/>"},
        {"<a><!-x></a>", "<comment_tag_syntax offset=\"3\"/>"},
        {"<a><![x[y]]></a>", "<cdata_section_syntax offset=\"3\"/>"},
        {"<a><!DOCTYPE a [ ] junk></a>", "<doctype_tag_syntax offset=\"3\"/>"},
        {"<a/><!-- open", "<unterminated_tag_syntax offset=\"4\"/>"},
        {"<a/><", "<unterminated_tag_syntax offset=\"4\"/>"},
        {"<a><b c='>",
         "<unterminated_tag_syntax offset=\"3\"/><unended_start_tag tagname=\"a\" offset=\"0\"/>"},
        {"<a>x</b>y</a>", "<lone_end_tag tagname=\"b\" offset=\"4\"/>"},
        {"<a><b></a>", "<unended_start_tag tagname=\"b\" offset=\"3\"/>"},
        // An overlong end tag closes nothing.
        {"<a></a" + std::string(1100, ' ') + ">",
         "<tag_too_long tagname=\"a\" offset=\"3\" length=\"1104\"/>"
         "<unended_start_tag tagname=\"a\" offset=\"0\"/>"},
    };
    for (const auto& [doc, findings] : cases) {
        CMarkup xml;
        EXPECT_FALSE(xml.SetDoc(doc)) << doc;
        EXPECT_EQ(xml.GetError(), findings) << doc;
    }
}

TEST(MarkupFindings, MalformedMarkupInsideDataIsSkippedOrKeptAsText)
{
    CMarkup xml;
    xml.SetDoc("<a>1 < 2</a>");
    ASSERT_TRUE(xml.FindElem("a"));
    EXPECT_EQ(xml.GetData(), "1 < 2");
    xml.SetDoc("<a>x</b>y<!z>w</a>");
    ASSERT_TRUE(xml.FindElem("a"));
    EXPECT_EQ(xml.GetData(), "xyw");
}

TEST(MarkupFindings, RecordStopsOnceItReaches1000Characters)
{
    CMarkup xml;
    EXPECT_FALSE(xml.SetDoc("<r>" + Repeat("</zz>", 200) + "</r>"));
    const std::string findings = xml.GetError();
    const std::string one = "<lone_end_tag tagname=\"zz\" offset=\"3\"/>";
    ASSERT_EQ(findings.compare(0, one.size(), one), 0);
    EXPECT_GE(findings.size(), 1000u);
    EXPECT_LT(findings.size(), 1000u + one.size() + 2);
    EXPECT_EQ(findings.compare(findings.size() - 2, 2, "/>"), 0);
}

// An unended element keeps its start tag alone: its children move out to
// follow it, and an end tag closes the nearest open namesake.
TEST(MarkupUnended, ChildrenMoveOutAndAreRecorded)
{
    const struct { const char *doc, *tree, *findings; } cases[] = {
        {"<a><b>text</a>", "a(b)", "<unended_start_tag tagname=\"b\" offset=\"3\"/>"},
        {"<r><a><b/><c>x</c><d><e/></r><s/>", "r(a b c d e) s",
         "<unended_start_tag tagname=\"a\" offset=\"3\"/>"
         "<unended_start_tag tagname=\"d\" offset=\"18\"/>"
         "<root_has_sibling tagname=\"s\" offset=\"29\"/>"},
        {"<a><b/><c><d/>", "a b c d",
         "<unended_start_tag tagname=\"a\" offset=\"0\"/><unended_start_tag tagname=\"c\" "
         "offset=\"7\"/><root_has_sibling tagname=\"b\" offset=\"3\"/>"},
        {"<a><a><b></a><c/></a>", "a(a(b) c)", "<unended_start_tag tagname=\"b\" offset=\"6\"/>"},
    };
    for (const auto& c : cases) {
        CMarkup xml;
        EXPECT_FALSE(xml.SetDoc(c.doc)) << c.doc;
        EXPECT_EQ(Tree(xml), c.tree) << c.doc;
        EXPECT_EQ(xml.GetError(), c.findings) << c.doc;
    }
}

TEST(MarkupUnended, UnendedElementHasNoDataAndMovedChildrenKeepTheirs)
{
    CMarkup xml;
    xml.SetDoc("<a><b>text</a>");
    ASSERT_TRUE(xml.FindElem("a"));
    EXPECT_EQ(xml.GetData(), "");  // a has a child element
    ASSERT_TRUE(xml.FindChildElem("b"));
    EXPECT_EQ(xml.GetChildData(), "");  // b is its start tag alone
    xml.SetDoc("<r><a><b/><c>x</c><d><e/></r><s/>");
    ASSERT_TRUE(xml.FindChildElem("c"));
    EXPECT_EQ(xml.GetChildData(), "x");
}

TEST(MarkupIndex, DeepNestingAndMoreThanOneSegmentOfElements)
{
    CMarkup xml;
    EXPECT_TRUE(xml.SetDoc(Repeat("<d>", 100000) + Repeat("</d>", 100000)));

    // Records live in segments of 65536: these cross into the second one.
    std::string wide = "<r>";
    for (int i = 0; i < 70000; ++i)
        wide += "<e n=\"" + std::to_string(i) + "\"/>";
    wide += "</r>";
    ASSERT_TRUE(xml.SetDoc(wide));
    ASSERT_TRUE(xml.FindElem("r"));
    ASSERT_TRUE(xml.IntoElem());
    int count = 0;  // elements found in order
    while (xml.FindElem("e") && xml.GetAttrib("n") == std::to_string(count))
        ++count;
    EXPECT_EQ(count, 70000);
}

TEST(MarkupFind, NamesMatchWholeAndPredicatesAreNotEvaluated)
{
    CMarkup xml;
    ASSERT_TRUE(xml.SetDoc("<R><Result n='1'/><Res n='2'/><Result n='3'/></R>"));
    ASSERT_TRUE(xml.FindElem("R"));
    ASSERT_TRUE(xml.IntoElem());
    // found: "n" of the element found from the start, or null.
    const struct { const char *name, *found; } cases[] = {
        {"Res", "2"},          {"Result", "1"},     {"Result[1]", "1"},
        {"Result[2]", "1"},    {"Result[@n]", "1"}, {"Result[@n='3']", "1"},
        {"Result[@n=\"3\"]", "1"}, {"Result/x", "1"}, {"Resul", nullptr},
        {"Result[", nullptr},  {"Result[]", nullptr}, {"Result[@n='3]", nullptr},
        {"Result]", nullptr},  {"/Result", nullptr}, {"//Result", nullptr},
        {"", "1"},
    };
    for (const auto& c : cases) {
        xml.ResetMainPos();
        EXPECT_EQ(xml.FindElem(c.name), c.found != nullptr) << c.name;
        if (c.found) {
            EXPECT_EQ(xml.GetAttrib("n"), c.found) << c.name;
        }
    }
    xml.ResetMainPos();
    ASSERT_TRUE(xml.FindElem("Result"));
    ASSERT_TRUE(xml.FindElem(std::string("Result")));
    EXPECT_EQ(xml.GetAttrib("n"), "3");
    EXPECT_FALSE(xml.FindElem("Result"));
    EXPECT_EQ(xml.GetAttrib("n"), "3");   // a failed search moves nothing
}

TEST(MarkupFind, IgnoreCaseFlagFoldsAsciiUntilAByteAbove127)
{
    CMarkup xml;
    ASSERT_TRUE(xml.SetDoc("<Root CODE='1'/>"));
    EXPECT_FALSE(xml.FindElem("root"));
    EXPECT_FALSE(xml.SetDoc("<A></a>"));

    xml.SetDocFlags(CMarkup::MDF_IGNORECASE);
    ASSERT_TRUE(xml.SetDoc("<Root CODE='1'/>"));
    ASSERT_TRUE(xml.FindElem("rOOT"));
    EXPECT_EQ(xml.GetAttrib("code"), "1");
    EXPECT_TRUE(xml.SetDoc("<A></a>"));
    ASSERT_TRUE(xml.SetDoc("<r><A\xC3\xA9/><\xC3\xA9" "A/></r>"));
    ASSERT_TRUE(xml.FindElem("R"));
    ASSERT_TRUE(xml.IntoElem());
    EXPECT_TRUE(xml.FindElem("a\xC3\xA9"));
    xml.ResetMainPos();
    EXPECT_FALSE(xml.FindElem("\xC3\xA9" "a"));
    EXPECT_TRUE(xml.FindElem("\xC3\xA9" "A"));
    EXPECT_FALSE(xml.SetDoc("<\xC3\xA9" "A></\xC3\xA9" "a>"));
}

TEST(MarkupFind, FileModeFlagsRefuseWork)
{
    CMarkup xml;
    ASSERT_TRUE(xml.SetDoc("<a><b/></a>"));
    xml.SetDocFlags(CMarkup::MDF_READFILE);
    EXPECT_FALSE(xml.SetDoc("<c/>"));
    EXPECT_FALSE(xml.FindChildElem("b"));
    EXPECT_TRUE(xml.FindElem("a"));   // the in-memory index still answers
    xml.SetDocFlags(CMarkup::MDF_WRITEFILE);
    EXPECT_FALSE(xml.SetDoc("<c/>"));
    xml.ResetPos();
    EXPECT_FALSE(xml.FindElem("a"));
    EXPECT_TRUE(xml.IsWellFormed());
}

TEST(MarkupCursor, ResponseFrameReadsResultCodeFromFirstElementInsideRoot)
{
    CMarkup xml;
    ASSERT_TRUE(xml.SetDoc("<Root><Result ResultCode='0'/></Root>"));
    xml.FindElem("Root");
    xml.IntoElem();
    EXPECT_FALSE(xml.FindChildElem("Result"));   // no child named Result inside Result
    EXPECT_EQ(xml.GetAttrib("ResultCode"), "0");
    EXPECT_EQ(xml.GetTagName(), "Result");

    ASSERT_TRUE(xml.SetDoc("<Root><Status ResultCode=\"-7\" ResultMsg='bad &amp; sad'/>"
                           "<Response><UserID>u1</UserID><NickName>n</NickName>"
                           "<Token>t</Token></Response></Root>"));
    xml.FindElem("Root");
    xml.IntoElem();
    xml.FindChildElem("Result");
    EXPECT_EQ(xml.GetAttrib("ResultCode"), "-7");
    EXPECT_EQ(xml.GetAttrib("ResultMsg"), "bad & sad");
    ASSERT_TRUE(xml.FindElem("Response"));
    // Children are read forward only; a missing one keeps the previous child.
    const char* fields[] = {"UserID", "Missing", "NickName", "Token", "UserID"};
    const char* expected[] = {"u1", "u1", "n", "t", "t"};
    for (int i = 0; i < 5; ++i) {
        xml.FindChildElem(fields[i]);
        EXPECT_EQ(xml.GetChildData(), expected[i]) << fields[i];
    }
}

TEST(MarkupCursor, IntoAndOutOfElementMoveThePositions)
{
    CMarkup xml;
    ASSERT_TRUE(xml.SetDoc("<a><b><c/></b><d/></a>"));
    EXPECT_FALSE(xml.IntoElem());   // no main position yet
    EXPECT_FALSE(xml.OutOfElem());
    ASSERT_TRUE(xml.FindElem("a"));
    ASSERT_TRUE(xml.FindChildElem("b"));
    ASSERT_TRUE(xml.IntoElem());    // b becomes the main position
    EXPECT_EQ(xml.GetTagName(), "b");
    ASSERT_TRUE(xml.FindChildElem("c"));
    ASSERT_TRUE(xml.OutOfElem());   // a main, b child
    EXPECT_EQ(xml.GetTagName(), "a");
    ASSERT_TRUE(xml.FindChildElem("d"));
    xml.ResetChildPos();
    ASSERT_TRUE(xml.FindChildElem("b"));
    xml.ResetPos();
    EXPECT_EQ(xml.GetTagName(), "");
    EXPECT_TRUE(xml.FindElem("a"));
}

TEST(MarkupData, ElementTextAndAttributeValues)
{
    // data: GetChildData of the first child of <r>.
    const struct { const char *doc, *data; } cases[] = {
        {"<r><UserToken>a&amp;b</UserToken></r>", "a&b"},
        {"<r><x><![CDATA[<y>]]></x></r>", "<y>"},
        {"<r><x>&unknown;</x></r>", "&unknown;"},
        {"<r><x>&#65;&#x42;</x></r>", "AB"},
        {"<r><x>&EACUTE;</x></r>", "\xC3\x89"},
        {"<r><x> x </x></r>", " x "},
        {"<r><x>a<!--c-->b<![CDATA[<&amp;>]]>c<?p?>d&lt;</x></r>", "ab<&amp;>cd<"},
        {"<r><x/></r>", ""},
        {"<r><x><y/></x></r>", ""},
    };
    for (const auto& c : cases) {
        CMarkup xml;
        ASSERT_TRUE(xml.SetDoc(c.doc)) << c.doc;
        xml.FindChildElem();
        EXPECT_EQ(xml.GetChildData(), c.data) << c.doc;
    }

    CMarkup xml;
    ASSERT_TRUE(xml.SetDoc("<Result code=0 msg='ok' q=\"it's\" gt='a>b' e=\"&lt;&#x41;\" "
                           "sp = 'x' empty='' bare next=v/>"));
    ASSERT_TRUE(xml.FindElem("Result"));
    const char* attribs[][2] = {
        {"code", "0"},  {"msg", "ok"}, {"q", "it's"}, {"gt", "a>b"}, {"e", "<A"},
        {"sp", "x"},    {"empty", ""}, {"bare", ""},  {"next", "v"}, {"co", ""},
        {"missing", ""}, {"Result", ""},
    };
    for (const auto& a : attribs)
        EXPECT_EQ(xml.GetAttrib(a[0]), a[1]) << a[0];
    EXPECT_EQ(xml.GetAttrib(nullptr), "");
    ASSERT_TRUE(xml.SetDoc("<a x=/ y='1'/>"));
    ASSERT_TRUE(xml.FindElem());
    EXPECT_EQ(xml.GetAttrib("y"), "");   // "/" ends the attributes
}

// Attributes read one by one come from an index of the element's start tag;
// the answers must be those of a scan from the start of the tag.
TEST(MarkupData, AttributeReadsAnswerAsAFreshScanWould)
{
    std::string doc = "<r><e";
    for (int i = 0; i < 30; ++i)
        doc += " a" + std::to_string(i) + "='" + std::to_string(i) + "'";
    doc += " a3='dup' b='x'/><f a3='f'/></r>";
    CMarkup xml;
    ASSERT_TRUE(xml.SetDoc(doc));
    ASSERT_TRUE(xml.FindChildElem("e"));
    const char* reads[][2] = {{"a29", "29"}, {"a2", "2"}, {"a3", "3"}, {"b", "x"},
                              {"a28", "28"}, {"zz", ""}, {"a0", "0"}, {"b", "x"}};
    for (const auto& r : reads)
        EXPECT_EQ(xml.GetChildAttrib(r[0]), r[1]) << r[0];
    EXPECT_EQ(xml.GetAttrib("a3"), "");   // the main position is r
    EXPECT_EQ(xml.GetChildAttrib("a3"), "3");
    ASSERT_TRUE(xml.FindChildElem("f"));
    EXPECT_EQ(xml.GetChildAttrib("a3"), "f");
    xml.SetDocFlags(CMarkup::MDF_IGNORECASE);
    EXPECT_EQ(xml.GetChildAttrib("A3"), "f");
    xml.SetDocFlags(0);

    ASSERT_TRUE(xml.SetDoc("<a x='1'/>"));
    ASSERT_TRUE(xml.FindElem());
    EXPECT_EQ(xml.GetAttrib("x"), "1");
    ASSERT_TRUE(xml.SetDoc("<a x='2'/>"));   // same element index, new text
    ASSERT_TRUE(xml.FindElem());
    EXPECT_EQ(xml.GetAttrib("x"), "2");
}

TEST(MarkupEntities, ReferencesDecodeToUtf8)
{
    const struct { const char *text, *decoded; } cases[] = {
        {"&amp;&lt;&gt;&quot;&apos;", "&<>\"'"},
        {"&AMP;&Lt;", "&<"},
        {"&#65;&#x41;&#X41;&#x4a;&#X4A;", "AAAJJ"},
        {"&#233;&#xE9;", "\xC3\xA9\xC3\xA9"},
        {"&#x20AC;&euro;", "\xE2\x82\xAC\xE2\x82\xAC"},
        {"&#x1F600;", "\xF0\x9F\x98\x80"},
        {"&#x7FFFFFF;", "\xF7\xBF\xBF\xBF"},   // bits above 20 are dropped
        {"&#6a5;", "\x06"},                    // digits as far as they go
        {"&eacute;&Eacute;", "\xC3\x89\xC3\x89"},
        {"&dagger;&Dagger;&prime;", "\xE2\x80\xA1\xE2\x80\xA1\xE2\x80\xB3"},
        {"&nbsp;&yuml;&thetasym;&diams;", "\xC2\xA0\xC5\xB8\xCF\x91\xE2\x99\xA6"},
        {"&#0;&#x0;&#;&#x;", "&#0;&#x0;&#;&#x;"},
        {"&unknown;&;", "&unknown;&;"},
        {"&abcdefghi;&abcdefghij;", "&abcdefghi;&abcdefghij;"},
        {"&#00000065;&#000000065;", "A&#000000065;"},
        {"&amp &amp;", "&amp &"},
        {"&a\xC3\xA9;", "&a\xC3\xA9;"},
        {"a&", "a&"},
    };
    for (const auto& c : cases)
        EXPECT_EQ(CMarkup::UnescapeText(c.text), c.decoded) << c.text;
    EXPECT_EQ(CMarkup::UnescapeText("&lt;&lt;", 4), "<");
    EXPECT_EQ(CMarkup::UnescapeText("&lt;&lt;", 3), "&lt");
}

// The 64 names HTML 4 has in two cases decode to the capital's code point.
TEST(MarkupEntities, NamesInTwoCasesDecodeToTheCapital)
{
    const char* capitals[] = {
        "Agrave", "Aacute", "Acirc", "Atilde", "Auml", "Aring", "AElig", "Ccedil",
        "Egrave", "Eacute", "Ecirc", "Euml", "Igrave", "Iacute", "Icirc", "Iuml",
        "ETH", "Ntilde", "Ograve", "Oacute", "Ocirc", "Otilde", "Ouml", "Oslash",
        "Ugrave", "Uacute", "Ucirc", "Uuml", "Yacute", "THORN", "OElig", "Scaron",
        "Yuml", "Dagger", "Alpha", "Beta", "Gamma", "Delta", "Epsilon", "Zeta",
        "Eta", "Theta", "Iota", "Kappa", "Lambda", "Mu", "Nu", "Xi",
        "Omicron", "Pi", "Rho", "Sigma", "Tau", "Upsilon", "Phi", "Chi",
        "Psi", "Omega", "Prime", "lArr", "uArr", "rArr", "dArr", "hArr",
    };
    for (std::string name : capitals) {
        const std::string decoded = CMarkup::UnescapeText(("&" + name + ";").c_str());
        EXPECT_NE(decoded[0], '&') << name;
        for (char& ch : name)
            ch = static_cast<char>(std::tolower(static_cast<unsigned char>(ch)));
        EXPECT_EQ(CMarkup::UnescapeText(("&" + name + ";").c_str()), decoded) << name;
    }
    EXPECT_EQ(CMarkup::UnescapeText("&Alpha;"), "\xCE\x91");
    EXPECT_EQ(CMarkup::UnescapeText("&larr;"), "\xE2\x87\x90");   // as lArr
}

namespace {

// Random well-formed documents: nesting, both quote styles, the five XML
// entities, numeric references, CDATA, comments and processing instructions.
class DocumentGenerator {
public:
    explicit DocumentGenerator(unsigned seed) : rng_(seed) {}

    std::string Document()
    {
        std::string doc = Chance(2) ? "<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n" : "";
        doc += Chance(3) ? "<!-- head -->" : "";
        Element(doc, 0);
        return doc + (Chance(3) ? "\n<?tail x?>" : "");
    }

private:
    int Pick(int n) { return std::uniform_int_distribution<int>(0, n - 1)(rng_); }
    bool Chance(int n) { return Pick(n) == 0; }

    std::string Name()
    {
        std::string name(1, "abcXYZ_:"[Pick(8)]);
        for (int n = Pick(6); n > 0; --n)
            name += "abcXYZ_:019.-"[Pick(13)];
        return name;
    }

    std::string Text(char quote)
    {
        static const char* pieces[] = {"a", "Z", " ", "9", "&amp;", "&lt;", "&gt;", "&quot;",
                                       "&apos;", ">", "\xC3\xA9", "\t", "'", "\""};
        static const unsigned ranges[][2] = {
            {0x21, 0x7E}, {0xA0, 0xD7FF}, {0xE000, 0xFFFD}, {0x10000, 0x10FFFF}};
        std::string text;
        for (int n = Pick(8); n > 0; --n) {
            const int k = Pick(15);
            if (k < 12 || (k == 12 && quote != '\'') || (k == 13 && quote != '"')) {
                text += pieces[k];
            } else {
                const auto& r = ranges[Pick(4)];
                const unsigned code = r[0] + static_cast<unsigned>(Pick(int(r[1] - r[0] + 1)));
                char hex[16];
                std::snprintf(hex, sizeof hex, "&#x%X;", code);
                text += Chance(2) ? hex : "&#" + std::to_string(code) + ";";
            }
        }
        return text;
    }

    void Element(std::string& doc, int depth)
    {
        const std::string name = Name();
        doc += "<" + name;
        for (int n = Pick(5), i = 0; i < n; ++i) {
            const char quote = Chance(2) ? '"' : '\'';
            doc += (Chance(3) ? "\n at" : " at") + std::to_string(i) + "_" + Name();
            doc += (Chance(4) ? " = " : "=") + (quote + Text(quote) + quote);
        }
        if (depth > 0 && Chance(4)) {
            doc += Chance(2) ? "/>" : " />";
            return;
        }
        doc += ">";
        static const char* wrappers[][2] = {
            {"<![CDATA[", "<&]]]>"}, {"<!--", "-->"}, {"<?pi ", "?>"}};
        const bool leaf = depth >= 4 || (depth > 0 && Chance(4));
        for (int n = Pick(6); n > 0; --n) {
            const int k = Pick(7);
            if (k <= 2 && !leaf)
                Element(doc, depth + 1);
            else if (k >= 3 && k <= 5)
                doc += wrappers[k - 3][0] + Text('"') + wrappers[k - 3][1];
            else
                doc += Text('<');
        }
        doc += "</" + name + (Chance(4) ? " >" : ">");
    }

    std::mt19937 rng_;
};

// Walks the children of pugixml's node and the navigator's level side by side.
void CompareLevel(CMarkup& xml, const pugi::xml_node& parent, const std::string& doc,
                  int* elements)
{
    for (pugi::xml_node node = parent.first_child(); node; node = node.next_sibling()) {
        if (node.type() != pugi::node_element)
            continue;
        ++*elements;
        ASSERT_TRUE(xml.FindElem()) << doc;
        ASSERT_EQ(xml.GetTagName(), node.name()) << doc;
        for (pugi::xml_attribute attr = node.first_attribute(); attr; attr = attr.next_attribute())
            ASSERT_EQ(xml.GetAttrib(attr.name()), attr.value()) << attr.name() << " in " << doc;
        ASSERT_EQ(xml.GetAttrib("absent"), "");
        auto is_element = [](const pugi::xml_node& n) { return n.type() == pugi::node_element; };
        if (!node.find_child(is_element)) {
            std::string text;
            for (pugi::xml_node piece = node.first_child(); piece; piece = piece.next_sibling())
                if (piece.type() == pugi::node_pcdata || piece.type() == pugi::node_cdata)
                    text += piece.value();
            ASSERT_EQ(xml.GetData(), text) << node.name() << " in " << doc;
        }
        ASSERT_TRUE(xml.IntoElem());
        CompareLevel(xml, node, doc, elements);
        ASSERT_TRUE(xml.OutOfElem());
    }
    ASSERT_FALSE(xml.FindElem()) << doc;
}

} // namespace

TEST(MarkupDifferential, AgreesWithPugixmlOnGeneratedDocuments)
{
    DocumentGenerator generator(20240611u);
    CMarkup xml;
    int elements = 0;
    for (int i = 0; i < 3000; ++i) {
        const std::string doc = generator.Document();
        pugi::xml_document reference;
        const unsigned flags = pugi::parse_cdata | pugi::parse_escapes | pugi::parse_ws_pcdata;
        ASSERT_TRUE(reference.load_buffer(doc.data(), doc.size(), flags)) << doc;
        ASSERT_TRUE(xml.SetDoc(doc)) << xml.GetError() << " in " << doc;
        CompareLevel(xml, reference, doc, &elements);
        if (HasFatalFailure())
            return;
    }
    EXPECT_GT(elements, 9000);   // the generator really nests (three per document)
}
