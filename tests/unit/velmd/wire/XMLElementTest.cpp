#include "velmd/wire/XMLElement.h"

#include "foundation/utilities/ORVXMLError.h"
#include "tests/unit/server/services/TemporaryFolder.h"

#include <string>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

namespace {

using namespace velm;
using testing::HasSubstr;

constexpr std::size_t enough = 1 << 20;

std::string errorOf(const std::string& document, std::size_t maxBytes = enough, std::size_t maxDepth = 256) {
    try {
        readXMLTree(document, maxBytes, maxDepth);
    } catch (const ORVXMLError& error) {
        return std::string(error.GetErrorMessage().view());
    }
    return "no error";
}

TEST(XMLElement, HoldsADocument) {
    const XMLElement root = readXMLTree(
        "<?xml version='1.0'?>\n<A x='1' y=\"&lt;2&gt;\">one<B/>\n<C>t<![CDATA[<w>]]>o</C><B z=''/>three</A>",
        enough, 256);
    EXPECT_EQ(root.name, "A");
    EXPECT_EQ(root.line, 2U);
    EXPECT_EQ(root.text, "one\nthree");
    ASSERT_EQ(root.children.size(), 3U);
    ASSERT_TRUE(root.attribute("y"));
    EXPECT_EQ(*root.attribute("y"), "<2>");
    EXPECT_FALSE(root.attribute("X")) << "names of attributes are exact";
    ASSERT_TRUE(root.child("C"));
    EXPECT_EQ(root.child("C")->text, "t<w>o");
    EXPECT_EQ(root.child("C")->line, 3U);
    EXPECT_EQ(root.child("B"), &root.children.front());
    EXPECT_FALSE(root.child("D"));
    EXPECT_EQ(*root.children.back().attribute("z"), "");
}

TEST(XMLElement, KeepsWhiteSpace) {
    EXPECT_EQ(readXMLTree("<V> \t\n </V>", enough, 1).text, " \t\n ");
}

TEST(XMLElement, HoldsALongText) {
    const std::string text(100000, 'x');
    EXPECT_EQ(readXMLTree("<V>" + text + "\xF0\x9F\x98\x80</V>", enough, 1).text, text + "\xF0\x9F\x98\x80");
}

TEST(XMLElement, IsRefused_WhenItIsNotWellFormed) {
    for (const char* document : {"", " ", "text", "<A>", "<A></B>", "<A/><B/>", "<A x=1/>",
                                 "<A x='1' x='1'/>", "<A>&nbsp;</A>", "<A>\x01</A>", "<A>\xFF</A>"}) {
        EXPECT_THAT(errorOf(document), HasSubstr("line ")) << document;
    }
}

TEST(XMLElement, IsRefused_WhenItDeclaresADocumentType) {
    EXPECT_THAT(errorOf("<!DOCTYPE A [<!ENTITY e 'x'>]><A>&e;</A>"), HasSubstr("document type"));
}

TEST(XMLElement, IsRefused_PastALimit) {
    EXPECT_EQ(errorOf("<A><B><C/></B></A>", 18, 3), "no error");
    EXPECT_THAT(errorOf("<A><B><C/></B></A>", 17, 3), HasSubstr("17 bytes"));
    EXPECT_THAT(errorOf("<A><B><C/></B></A>", 18, 2), HasSubstr("deeper than 2"));
}

TEST(XMLElement, IsReadFromAFile) {
    const test::TemporaryFolder folder;
    const std::string path = folder.write("a.xml", "<A><B/></A>");
    EXPECT_EQ(readXMLTreeFromFile(path, enough, 2).children.size(), 1U);
    EXPECT_THROW(readXMLTreeFromFile(path, enough, 1), ORVXMLError);
    EXPECT_THROW(readXMLTreeFromFile(folder.file("none.xml"), enough, 2), ORVXMLError);
}

TEST(XMLElement, IsReadInTheDeclaredEncodingFromAFile_AndAsUTF8FromMemory) {
    const std::string document = "<?xml version='1.0' encoding='iso-8859-1'?><A>\xE4</A>";
    const test::TemporaryFolder folder;
    EXPECT_EQ(readXMLTreeFromFile(folder.write("a.xml", document), enough, 1).text, "\xC3\xA4");
    EXPECT_THROW(readXMLTree(document, enough, 1), ORVXMLError);
}

}  // namespace
