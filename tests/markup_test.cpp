// The XML element navigator: findings and the restructuring of unended
// elements, the cursor sequence the answer parsers rely on, data, attributes
// and character references, and a differential run against pugixml.
#include <gtest/gtest.h>
#include <pugixml.hpp>

#include <cstdio>
#include <random>
#include <string>
#include <vector>

#include "markup_shapes.h"
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

}  // namespace

// Each kind of malformed markup is recorded with its offset, the scan goes
// on, and an unended element keeps its start tag alone (its children follow it).
TEST(Markup, FindingsAndTheTreeOfEveryKindOfDocument)
{
    const struct {
        std::string doc;
        const char *tree, *findings;
    } cases[] = {
        {"", "", "<no_root_element/>"},
        {"<Root/><Other/>", "Root Other", "<root_has_sibling tagname=\"Other\" offset=\"7\"/>"},
        {"<?xml version=\"1.0\"?>\n<!DOCTYPE r [ <!ENTITY e \"]>\"> ]>\n<!-- c --><r a='>'>"
         "<x><![CDATA[ <y> ]]></x><?pi x?><![Cx[<y/>]]><!Dz [<q>]></r>\n",
         "r(x)", ""},
        {std::string("<a/>\0<b/>", 9), "a", ""},
        {"<r><{x/><~/><_:/></r>", "r({x ~ _:)", ""},
        {"<a>1 < 2</a>", "a", "<first_tag_syntax offset=\"5\"/>"},
        {"<a><!x></a>", "a", "<exclamation_tag_syntax offset=\"3\"/>"},
        {"<a><!-x></a>", "a", "<comment_tag_syntax offset=\"3\"/>"},
        {"<a><![x[y]]></a>", "a", "<cdata_section_syntax offset=\"3\"/>"},
        {"<a><!DOCTYPE a [ ] junk></a>", "a", "<doctype_tag_syntax offset=\"3\"/>"},
        {"<a/><!-- open", "a", "<unterminated_tag_syntax offset=\"4\"/>"},
        {"<a><b c='>", "a",
         "<unterminated_tag_syntax offset=\"3\"/><unended_start_tag tagname=\"a\" "
         "offset=\"0\"/>"},
        {"<a>x</b&c>y</a>", "a", "<lone_end_tag tagname=\"b&amp;c\" offset=\"4\"/>"},
        {"<a></a" + std::string(1100, ' ') + ">", "a",
         "<tag_too_long tagname=\"a\" offset=\"3\" length=\"1104\"/>"
         "<unended_start_tag tagname=\"a\" offset=\"0\"/>"},
        {"<r><a><b/><c>x</c><d><e/></r><s/>", "r(a b c d e) s",
         "<unended_start_tag tagname=\"a\" offset=\"3\"/>"
         "<unended_start_tag tagname=\"d\" offset=\"18\"/>"
         "<root_has_sibling tagname=\"s\" offset=\"29\"/>"},
        {"<a><a><b></a><c/></a>", "a(a(b) c)", "<unended_start_tag tagname=\"b\" offset=\"6\"/>"},
        // Bytes above 127: a negative byte sum for the name slot, shared by both names,
        // which the lone end tag makes the later end tags look up.
        {"<r><\xC3\xA9><\xA9\xC3><b></x></\xA9\xC3></r>", "r(\xC3\xA9 \xA9\xC3(b))",
         "<lone_end_tag tagname=\"x\" offset=\"14\"/>"
         "<unended_start_tag tagname=\"b\" offset=\"11\"/>"
         "<unended_start_tag tagname=\"\xC3\xA9\" offset=\"3\"/>"},
    };
    for (const auto& c : cases) {
        CMarkup xml;
        EXPECT_EQ(xml.SetDoc(c.doc), *c.findings == '\0') << c.doc;
        EXPECT_EQ(Tree(xml), c.tree) << c.doc;
        EXPECT_EQ(xml.GetError(), c.findings) << c.doc;
    }
    CMarkup xml;  // the record stops once it reaches 1000 characters
    std::string many = "<r>";
    for (int i = 0; i < 200; ++i)
        many += "</zz>";
    EXPECT_FALSE(xml.SetDoc(many + "</r>"));
    EXPECT_GE(xml.GetError().size(), 1000u);
    EXPECT_LT(xml.GetError().size(), 1045u);
    std::string deep;  // deep nesting needs no recursion
    for (int i = 0; i < 200000; ++i)
        deep += i < 100000 ? "<d>" : "</d>";
    EXPECT_TRUE(xml.SetDoc(deep));
}

TEST(Markup, NamesMatchWholeAndPredicatesAreNotEvaluated)
{
    CMarkup xml;
    ASSERT_TRUE(xml.SetDoc("<R><Result n='1'/><Res n='2'/><Result n='3'/></R>"));
    ASSERT_TRUE(xml.FindElem("R"));
    ASSERT_TRUE(xml.IntoElem());
    // found: "n" of the element found from the start, or null.
    const struct {
        const char *name, *found;
    } cases[] = {
        {"Res", "2"},       {"Result[2]", "1"},   {"Result[@n='3']", "1"}, {"Result/x", "1"},
        {"Resul", nullptr}, {"Result[", nullptr}, {"/Result", nullptr},    {"", "1"},
    };
    for (const auto& c : cases) {
        xml.ResetMainPos();
        EXPECT_EQ(xml.FindElem(c.name), c.found != nullptr) << c.name;
        if (c.found) {
            EXPECT_EQ(xml.GetAttrib("n"), c.found) << c.name;
        }
    }
    ASSERT_TRUE(xml.FindElem("Result"));
    EXPECT_EQ(xml.GetAttrib("n"), "3");
    EXPECT_FALSE(xml.FindElem("Result"));
    EXPECT_EQ(xml.GetAttrib("n"), "3");  // a failed search moves nothing
}

TEST(Markup, ElementTextAndAttributeValues)
{
    // data: GetChildData of the first child of <r>.
    const struct {
        const char *doc, *data;
    } cases[] = {
        {"<r><x><![CDATA[<y>]]></x></r>", "<y>"},
        {"<r><x>a<!--c-->b<![CDATA[<&amp;>]]>c<?p?>d&lt;</x></r>", "ab<&amp;>cd<"},
        {"<r><x>1 < 2</x></r>", "1 < 2"},
        {"<r><x>x</b>y<!z>w</x></r>", "xyw"},
        {"<r><x><y/></x></r>", ""},
        {"<r><x><y>text</x></r>", ""},
    };
    for (const auto& c : cases) {
        CMarkup xml;
        xml.SetDoc(c.doc);
        xml.FindChildElem();
        EXPECT_EQ(xml.GetChildData(), c.data) << c.doc;
    }

    CMarkup xml;
    ASSERT_TRUE(
        xml.SetDoc("<Result code=0 msg='ok' q=\"it's\" gt='a>b' e=\"&lt;&#x41;\" "
                   "sp = 'x' empty='' bare next=v/>"));
    ASSERT_TRUE(xml.FindElem("Result"));
    const char* attribs[][2] = {
        {"code", "0"}, {"msg", "ok"}, {"q", "it's"}, {"gt", "a>b"}, {"e", "<A"},    {"sp", "x"},
        {"empty", ""}, {"bare", ""},  {"next", "v"}, {"co", ""},    {"Result", ""},
    };
    for (const auto& a : attribs)
        EXPECT_EQ(xml.GetAttrib(a[0]), a[1]) << a[0];
    ASSERT_TRUE(xml.SetDoc("<a x=/ y='1'/>"));
    ASSERT_TRUE(xml.FindElem());
    EXPECT_EQ(xml.GetAttrib("y"), "");      // "/" ends the attributes
    ASSERT_TRUE(xml.SetDoc("<a x='2'/>"));  // same element index, new text
    ASSERT_TRUE(xml.FindElem());
    EXPECT_EQ(xml.GetAttrib("x"), "2");
}

TEST(Markup, ReferencesDecodeToUtf8)
{
    const struct {
        const char *text, *decoded;
    } cases[] = {
        {"&amp;&lt;&gt;&quot;&apos;&AMP;", "&<>\"'&"},
        {"&#65;&#x41;&#X4A;&#x4a;&#6a5;", "AAJJ\x06"},
        {"&#xE9;&#x20AC;&#x1F600;", "\xC3\xA9\xE2\x82\xAC\xF0\x9F\x98\x80"},
        {"&#x7FF;&#x800;&#x7FFFFFF;", "\xDF\xBF\xE0\xA0\x80\xF7\xBF\xBF\xBF"},
        // A name HTML 4 has in two cases decodes to the capital's code point.
        {"&nbsp;&yuml;&eacute;&larr;&diams;", "\xC2\xA0\xC5\xB8\xC3\x89\xE2\x87\x90\xE2\x99\xA6"},
        {"&#0;&#x;&unknown;&abcdefghij;&amp &a\xC3\xA9;a&",
         "&#0;&#x;&unknown;&abcdefghij;&amp &a\xC3\xA9;a&"},
        {"&#00000065;&#000000065;", "A&#000000065;"},
    };
    for (const auto& c : cases)
        EXPECT_EQ(CMarkup::UnescapeText(c.text), c.decoded) << c.text;
    EXPECT_EQ(CMarkup::UnescapeText("&lt;&lt;", 3), "&lt");
}

// Counted, not timed: the matcher's steps per byte of text may not grow from
// 64 KiB to 2 MiB, for colliding names, lone end tags and deep nesting alike.
// At 2 MiB the index and the open-tag stack reach their large blocks, where a
// lost record would make a well-formed shape ill formed.
TEST(Markup, EndTagMatchingWorkGrowsLinearlyOnEveryShape)
{
    for (int shape = 0; shape < markup_shapes::kShapeCount; ++shape) {
        double perByte[2];
        bool wellFormed[2];
        for (int i = 0; i < 2; ++i) {
            const std::string doc = markup_shapes::MakeShape(shape, size_t{64} << (10 + 5 * i));
            CMarkup xml;
            wellFormed[i] = xml.SetDoc(doc);
            perByte[i] =
                static_cast<double>(xml.GetMatchSteps()) / static_cast<double>(doc.size());
        }
        EXPECT_LE(perByte[1], 20.0) << markup_shapes::ShapeName(shape);
        EXPECT_LE(perByte[1], 1.5 * perByte[0] + 0.1) << markup_shapes::ShapeName(shape);
        EXPECT_EQ(wellFormed[1], wellFormed[0]) << markup_shapes::ShapeName(shape);
    }
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
        static const char* pieces[] = {"a",        "Z",    " ",      "9",      "&amp;",
                                       "&lt;",     "&gt;", "&quot;", "&apos;", ">",
                                       "\xC3\xA9", "\t",   "'",      "\""};
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
        static const char* wrappers[][2] = {{"<![CDATA[", "<&]]]>"},
                                            {"<!--", "-->"},
                                            {"<?pi ", "?>"}};
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
        for (pugi::xml_attribute attr = node.first_attribute(); attr;
             attr = attr.next_attribute())
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

}  // namespace

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
    EXPECT_GT(elements, 9000);  // the generator really nests (three per document)
}
