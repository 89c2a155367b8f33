#include "server/xml/XMLText.h"

#include "server/xml/TextEnd.h"
#include "server/xml/XMLMarkup.h"

#include <string>
#include <string_view>

#include <gtest/gtest.h>

namespace velm {
namespace {

constexpr auto element = XMLContext::element;
constexpr auto attribute = XMLContext::attribute;

std::string xmlOf(std::string_view text, XMLContext context, unsigned int depth = 0) {
    std::string xml;
    appendXMLText(xml, text, context, depth);
    std::string sameXML = "before ";
    {
        TextEnd end(sameXML);
        appendXMLText(end, text, context, depth);
        EXPECT_EQ(end.size(), xml.size() + 7);
    }
    EXPECT_EQ(sameXML, "before " + xml);
    return xml;
}

std::string tagsOf(std::string_view tags, unsigned int depth) {
    std::string xml;
    TextEnd end(xml);
    appendXMLTags(end, tags, depth);
    return std::string(end.view());
}

TEST(XMLText, StaysAsItIs_WhenPlain) {
    EXPECT_EQ(xmlOf("", element), "");
    EXPECT_EQ(xmlOf("abc \xC3\xA9 \xE2\x82\xAC \xF0\x9F\x98\x80 \x7F", element),
              "abc \xC3\xA9 \xE2\x82\xAC \xF0\x9F\x98\x80 \x7F");
}

TEST(XMLText, EscapesMarkupAndCarriageReturn_InElements) {
    EXPECT_EQ(xmlOf("a&b<c>d]]>\"'\r\n\t", element), "a&amp;b&lt;c&gt;d]]&gt;\"'&#13;\n\t");
}

TEST(XMLText, EscapesQuotesAndBlanksToo_InAttributes) {
    EXPECT_EQ(xmlOf("a&b<c>d\"'\r\n\t ", attribute), "a&amp;b&lt;c&gt;d&quot;&apos;&#13;&#10;&#9; ");
}

struct ReplacedCase {
    std::string_view bytes;
    int replacements;
};

class ReplacedInXML : public testing::TestWithParam<ReplacedCase> {};

TEST_P(ReplacedInXML, BecomesOneReplacementForEachByteOrCharacter) {
    std::string expected = "<";
    for (int i = 0; i < GetParam().replacements; ++i) {
        expected += "\xEF\xBF\xBD";
    }
    for (const XMLContext context : {element, attribute}) {
        const std::string text = "a" + std::string(GetParam().bytes) + "z";
        EXPECT_EQ(xmlOf(text, context), "a" + expected.substr(1) + "z");
    }
}

INSTANTIATE_TEST_SUITE_P(XMLText, ReplacedInXML,
                         testing::Values(ReplacedCase{std::string_view("\0", 1), 1},
                                         ReplacedCase{"\x01\x08", 2}, ReplacedCase{"\x0B\x0C\x0E\x1F\x1B", 5},
                                         ReplacedCase{"\xEF\xBF\xBE\xEF\xBF\xBF", 2},  // U+FFFE, U+FFFF
                                         ReplacedCase{"\xED\xA0\xBD\xED\xB8\x80",
                                                      6},                  // a surrogate pair in bytes
                                         ReplacedCase{"\xED\xBF\xBF", 3},  // a lone one
                                         ReplacedCase{"\xC0\x80", 2},      // overlong NUL
                                         ReplacedCase{"\xE0\x80\xBC", 3},  // overlong <
                                         ReplacedCase{"\x80", 1}, ReplacedCase{"\xFF\xFE", 2},
                                         ReplacedCase{"\xE2\x82", 2}));  // cut short

TEST(XMLText, KeepsMarkup_WhenItFollowsBrokenBytes) {
    EXPECT_EQ(xmlOf("\xE2\x82<", element), "\xEF\xBF\xBD\xEF\xBF\xBD&lt;");
    EXPECT_EQ(xmlOf("\xC3\"", attribute), "\xEF\xBF\xBD&quot;");
}

TEST(XMLText, EscapesOnceMore_ForEachEmbedding) {
    EXPECT_EQ(xmlOf("&<>\r\"", element, 1), "&amp;amp;&amp;lt;&amp;gt;&amp;#13;\"");
    EXPECT_EQ(xmlOf("&\"\n", attribute, 2), "&amp;amp;amp;&amp;amp;quot;&amp;amp;#10;");
    EXPECT_EQ(xmlOf("\x01", element, 3), "\xEF\xBF\xBD");
}

TEST(XMLText, EqualsEscapingTheWholeDocumentAgain) {
    const std::string_view text = "a&b<c>\"'\r\n\t\xC3\xA9\x02\xED\xA0\x80z";
    for (const XMLContext context : {element, attribute}) {
        std::string expected = xmlOf(text, context);
        for (unsigned int depth = 1; depth <= 4; ++depth) {
            expected = xmlOf(expected, element);
            EXPECT_EQ(xmlOf(text, context, depth), expected) << depth;
        }
    }
}

TEST(XMLText, WritesTagsForTheirDepth) {
    EXPECT_EQ(tagsOf("<A B=\"c\"/>", 0), "<A B=\"c\"/>");
    EXPECT_EQ(tagsOf("<A B=\"c\"/>", 1), "&lt;A B=\"c\"/&gt;");
    EXPECT_EQ(tagsOf("<A B=\"c\"/>", 2), "&amp;lt;A B=\"c\"/&amp;gt;");
}

TEST(XMLText, TreatsEachByteAsItDoesOnItsOwn_WhereverItStands) {
    for (const XMLContext context : {element, attribute}) {
        for (int byte = 0; byte < 256; ++byte) {
            const std::string alone(1, static_cast<char>(byte));
            const std::string written = xmlOf(alone, context);
            for (std::size_t length = 1; length <= 20; ++length) {
                for (std::size_t position = 0; position < length; ++position) {
                    const std::string before(position, '~');
                    const std::string behind(length - position - 1, ' ');
                    ASSERT_EQ(xmlOf(before + alone + behind, context), before + written + behind)
                        << "byte " << byte << " at " << position << " of " << length;
                }
            }
        }
    }
}

TEST(XMLText, WritesLiteralTagsAsItWritesOthers_InsideAnInstance) {
    using Tags = XMLMarkupForms<"\"><A.B C=\"d\">'/ ></A.B>">;
    EXPECT_EQ(Tags::plain, "\"><A.B C=\"d\">'/ ></A.B>");
    EXPECT_EQ(Tags::escapedOnce, tagsOf(Tags::plain, 1));
    EXPECT_EQ(XMLMarkupForms<"">::escapedOnce, "");
}

TEST(XMLText, GrowsWithTheTextOnly_WhenDeep) {
    const std::string text(100000, 'x');
    EXPECT_EQ(xmlOf(text, element, 16), text);
}

}  // namespace
}  // namespace velm
