#include "server/xml/SecureXMLReader.h"

#include "foundation/utilities/ORVXMLError.h"
#include "foundation/utilities/OrvoBaseException.h"

#include <fstream>
#include <functional>
#include <malloc.h>
#include <sstream>
#include <stdexcept>
#include <string>
#include <thread>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

namespace {

using testing::AllOf;
using testing::HasSubstr;
using testing::Not;
using testing::StartsWith;
using velm::SecureXMLReader;
using velm::XMLAttributes;
using velm::XMLEncoding;
using velm::XMLHandler;
using velm::XMLLimits;
using velm::XMLPosition;

/// Writes down what it is told: "<a x=1>text</a>".
class Recorder : public XMLHandler {
public:
    std::string record;
    std::function<void()> atStart = [] {};
    std::vector<XMLPosition> positions;

    void startElement(std::string_view name, const XMLAttributes& attributes) override {
        _open.emplace_back(name);
        record += "<" + _open.back();
        for (std::size_t index = 0; index < attributes.size(); ++index) {
            record += " " + std::string(attributes.nameAt(index).view()) + "=" +
                      std::string(attributes.valueAt(index).view());
        }
        record += ">";
        positions.push_back(position());
        atStart();
    }
    void endElement() override {
        record += "</" + _open.back() + ">";
        _open.pop_back();
    }
    void characters(std::string_view text) override { record += text; }

    using XMLHandler::fail;

private:
    std::vector<std::string> _open;
};

std::string read(std::string_view text, const XMLLimits& limits = {},
                 XMLEncoding encoding = XMLEncoding::declared) {
    Recorder recorder;
    SecureXMLReader(limits, encoding).parse(text, recorder);
    return recorder.record;
}

std::string refusal(std::string_view text, const XMLLimits& limits = {},
                    XMLEncoding encoding = XMLEncoding::declared) {
    Recorder recorder;
    try {
        SecureXMLReader(limits, encoding).parse(text, recorder);
    } catch (const ORVXMLError& error) {
        return std::string(error.GetErrorMessage().view());
    }
    return "accepted: " + recorder.record;
}

TEST(SecureXMLReader, HandsOverElementsAttributesAndText) {
    EXPECT_EQ(read("<?xml version=\"1.0\"?><a x='1' y=\"z\">one<b/>two</a>"), "<a x=1 y=z>one<b></b>two</a>");
}

TEST(SecureXMLReader, KeepsTextFromAHandler_AsLongAsItWantsNone) {
    class Picky : public Recorder {
    public:
        bool wantsCharacters() const override {
            return record.find("<WANTED>") != std::string::npos &&
                   record.find("</WANTED>") == std::string::npos;
        }
    };
    Picky handler;
    SecureXMLReader().parse(
        "<A> <B>\xF0\x9F\x98\x80 one</B>\n<WANTED>two &amp; \xF0\x9F\x98\x80</WANTED> </A>", handler);
    EXPECT_EQ(handler.record, "<A><B></B><WANTED>two & \xF0\x9F\x98\x80</WANTED></A>");
}

TEST(SecureXMLReader, KeepsWhiteSpaceAndPrefixes) {
    EXPECT_EQ(read("<a xml:lang='en'>\n  <b> </b>\r\n</a>"), "<a xml:lang=en>\n  <b> </b>\n</a>");
}

TEST(SecureXMLReader, ResolvesBuiltInEntitiesReferencesAndSections) {
    EXPECT_EQ(read("<a x='&lt;&#10;&quot;'>&amp;&lt;&gt;&quot;&apos;&#65;&#x20AC;<![CDATA[<&>]]></a>"),
              "<a x=<\n\">&<>\"'A\xE2\x82\xAC<&></a>");
}

TEST(SecureXMLReader, IgnoresCommentsAndProcessingInstructions) {
    EXPECT_EQ(read("<!-- x --><?style y?><a><!-- <b/> -->1<?z?></a><!-- end -->"), "<a>1</a>");
}

TEST(SecureXMLReader, AnswersNullString_WhenAttributeIsAbsent) {
    struct Asker : Recorder {
        void startElement(std::string_view name, const XMLAttributes& attributes) override {
            Recorder::startElement(name, attributes);
            EXPECT_EQ(attributes.value("NAME"), ORVString("v"));
            EXPECT_EQ(attributes.value("EMPTY"), ORVString(""));
            EXPECT_TRUE(attributes.value("NAM").isNull());
            EXPECT_TRUE(attributes.value("NAMES").isNull());
            EXPECT_TRUE(attributes.value("name").isNull());
        }
    } asker;
    SecureXMLReader().parse("<a EMPTY='' NAME='v'/>", asker);
}

TEST(SecureXMLReader, TurnsEveryCharacterIntoUTF8) {
    std::string text = "\xC3\xA4\xE2\x82\xAC\xF0\x9F\x98\x80";
    EXPECT_EQ(read("<a x='" + text + "'>" + text + "</a>"), "<a x=" + text + ">" + text + "</a>");
    EXPECT_EQ(read("<?xml version='1.0' encoding='ISO-8859-1'?><a>\xE4</a>"), "<a>\xC3\xA4</a>");
}

// Encodings.

/// ASCII in characters of `width` bytes, the first of them the lowest or the highest.
std::string wide(std::string_view ascii, std::size_t width, bool isLowestFirst) {
    std::string text;
    for (const char letter : ascii) {
        const std::string zeros(width - 1, '\0');
        text += isLowestFirst ? letter + zeros : zeros + letter;
    }
    return text;
}

struct EncodingCase {
    const char* name;
    std::string text;
    /// What the reader of declared encodings hands over, or a part of its refusal.
    const char* declared;
    /// The same for the one that reads UTF-8 only.
    const char* utf8;
};

void PrintTo(const EncodingCase& row, std::ostream* out) {
    *out << row.name;
}

class XMLEncodings : public testing::TestWithParam<EncodingCase> {};

void expectOutcome(const std::string& text, const char* expected, XMLEncoding encoding) {
    const std::string outcome = refusal(text, {}, encoding);
    if (expected[0] == '<') {
        EXPECT_EQ(outcome, std::string("accepted: ") + expected);
    } else {
        EXPECT_THAT(outcome, AllOf(HasSubstr(expected), Not(StartsWith("accepted"))));
    }
}

TEST_P(XMLEncodings, AreTakenOrRefused) {
    expectOutcome(GetParam().text, GetParam().declared, XMLEncoding::declared);
    expectOutcome(GetParam().text, GetParam().utf8, XMLEncoding::utf8);
}

const std::string zero(1, '\0');
const std::string declared16 = "<?xml version='1.0' encoding='UTF-16'?><a/>";

const EncodingCase encodingCases[]{
    {"Undeclared", "<a>\xC3\xA4</a>", "<a>\xC3\xA4</a>", "<a>\xC3\xA4</a>"},
    {"UTF8", "<?xml version='1.0' encoding='UTF-8'?><a>\xC3\xA4</a>", "<a>\xC3\xA4</a>", "<a>\xC3\xA4</a>"},
    {"UTF8InSmallLetters", "<?xml version='1.0' encoding='utf-8'?><a/>", "<a></a>", "<a></a>"},
    {"UTF8WithMark", "\xEF\xBB\xBF<?xml version='1.0'?><a>\xC3\xA4</a>", "<a>\xC3\xA4</a>",
     "<a>\xC3\xA4</a>"},
    {"Latin1", "<?xml version='1.0' encoding='ISO-8859-1'?><a>\xE4</a>", "<a>\xC3\xA4</a>",
     "line 1, column 1: invalid byte"},
    {"Latin1FarBehind",
     "<?xml version='1.0' encoding='ISO-8859-1'?>" + std::string(200'000, ' ') + "<a>\xE4</a>",
     "<a>\xC3\xA4</a>", "the document declares the encoding 'ISO-8859-1', not UTF-8"},
    {"Latin1OfASCIIOnly", "<?xml version='1.0' encoding='iso-8859-1'?><a/>", "<a></a>", "'iso-8859-1'"},
    {"ASCII", "<?xml version='1.0' encoding='US-ASCII'?><a/>", "<a></a>", "'US-ASCII'"},
    {"UnknownEncoding", "<?xml version='1.0' encoding='x-none'?><a/>", "X-NONE", "'x-none'"},
    {"UTF16InOneByte", declared16, "<a></a>", "the encoding 'UTF-16'"},
    {"UTF16LowestFirst", wide(declared16, 2, true), "<a></a>", "byte 2 is zero"},
    {"UTF16HighestFirst", wide(declared16, 2, false), "<a></a>", "byte 1 is zero"},
    {"UTF16LowestFirstWithMark", "\xFF\xFE" + wide(declared16, 2, true), "<a></a>", "byte 4 is zero"},
    {"UTF16HighestFirstWithMark", "\xFE\xFF" + wide(declared16, 2, false), "<a></a>", "byte 3 is zero"},
    {"UTF16Undeclared", "\xFF\xFE" + wide("<a/>", 2, true), "<a></a>", "byte 4 is zero"},
    {"UTF32", wide("<?xml version='1.0' encoding='UCS-4'?><a/>", 4, false), "<a></a>", "byte 1 is zero"},
    {"EBCDIC", "\x4C\x6F\xA7\x94\x93\x40\xA5\x85", "line 1", "line 1"},

    {"ZeroBehindTheDocument", "<a/>" + zero, "byte 5 is zero", "byte 5 is zero"},
    {"ZeroAndMoreBehindTheDocument", "<a/>\n" + zero + "<b/>", "byte 6 is zero", "byte 6 is zero"},
    {"ZeroFarBehindTheDocument", "<a/>" + std::string(200'000, ' ') + zero + "<b/>", "byte 200005 is zero",
     "byte 200005 is zero"},
    {"ZeroInFront", zero + "<a/>", "line 1", "byte 1 is zero"},
    {"ZeroInText", "<abc>" + zero + "</abc>", "byte 6 is zero", "byte 6 is zero"},
    {"OnlyZeros", std::string(16, '\0'), "line 1", "byte 1 is zero"},
    {"GarbageBehindTheDocument", "<a/>garbage", "line 1", "line 1"},
    {"ControlCharacterBehindTheDocument", "<a/>\x01", "line 1", "line 1"},
    {"MarkBehindTheDocument", "<a/>\xEF\xBB\xBF", "line 1", "line 1"},
    {"SpaceInFrontOfTheDeclaration", " <?xml version='1.0'?><a/>", "line 1", "line 1"},

    {"Version11", "<?xml version='1.1'?><a>&#1;</a>", "version of XML", "version of XML"},
    {"Version2", "<?xml version='2.0'?><a/>", "line 1", "line 1"},
};

INSTANTIATE_TEST_SUITE_P(Documents, XMLEncodings, testing::ValuesIn(encodingCases),
                         [](const auto& row) { return std::string(row.param.name); });

TEST(SecureXMLReader, ForgetsTheEncoding_WhenItReadsTheNextDocument) {
    const std::string declaration = "<?xml version='1.0' encoding='ISO-8859-1'?>";
    for (int round = 0; round < 2; ++round) {
        EXPECT_EQ(read("<a/>", {}, XMLEncoding::utf8), "<a></a>");
        EXPECT_EQ(read(declaration + "<a>\xE4</a>"), "<a>\xC3\xA4</a>");
        EXPECT_THAT(refusal(declaration + "<a/>", {}, XMLEncoding::utf8), HasSubstr("not UTF-8"));
    }
}

TEST(SecureXMLReader, NeverSplitsACharacter_WhenTextIsLong) {
    struct Checker : Recorder {
        void characters(std::string_view text) override {
            EXPECT_NE(static_cast<unsigned char>(text.front()) & 0xC0U, 0x80U);
            Recorder::characters(text);
        }
    };
    // Odd and even lengths before the pairs, so that a pair stands across every block border in one of them.
    for (std::string lead : {"", "x"}) {
        std::string text = lead;
        for (int count = 0; count < 700000; ++count) {
            text += "\xF0\x9F\x98\x80";
        }
        Checker checker;
        SecureXMLReader().parse("<a>" + text + "</a>", checker);
        EXPECT_TRUE(checker.record == "<a>" + text + "</a>");
    }
}

TEST(SecureXMLReader, ReadsFromStreams) {
    std::istringstream stream("<a><b>1</b></a>");
    Recorder recorder;
    SecureXMLReader().parse(stream, recorder);
    EXPECT_EQ(recorder.record, "<a><b>1</b></a>");
}

TEST(SecureXMLReader, TellsLineAndColumn_WhenNotWellFormed) {
    EXPECT_THAT(refusal("<a>\n\n  <b></c>\n</a>"), StartsWith("line 3, column "));
}

TEST(SecureXMLReader, KnowsThePositionOfAnElement) {
    Recorder recorder;
    SecureXMLReader().parse("<a>\n <b/>\n\n<c/></a>", recorder);
    ASSERT_EQ(recorder.positions.size(), 3U);
    EXPECT_EQ(recorder.positions[0].line, 1U);
    EXPECT_EQ(recorder.positions[0].column, 4U);
    EXPECT_EQ(recorder.positions[1].line, 2U);
    EXPECT_EQ(recorder.positions[2].line, 4U);
}

struct BadDocument {
    const char* name;
    std::string text;
    const char* message;
};

class SecureXMLReaderRefuses : public testing::TestWithParam<BadDocument> {};

TEST_P(SecureXMLReaderRefuses, Document) {
    EXPECT_THAT(refusal(GetParam().text), AllOf(HasSubstr(GetParam().message), Not(StartsWith("accepted"))));
}

/// Forty entities, each twice the one before.
std::string entityBomb() {
    std::ostringstream text;
    text << "<!DOCTYPE a [<!ENTITY e0 'ha'>";
    for (int level = 1; level <= 40; ++level) {
        text << "<!ENTITY e" << level << " '&e" << level - 1 << ";&e" << level - 1 << ";'>";
    }
    text << "]><a>&e40;</a>";
    return text.str();
}

INSTANTIATE_TEST_SUITE_P(
    Documents, SecureXMLReaderRefuses,
    testing::Values(
        BadDocument{"Empty", "", "line"}, BadDocument{"OnlyText", "hello", "line 1"},
        BadDocument{"Unfinished", "<a><b>", "line 1"}, BadDocument{"TwoRoots", "<a/><b/>", "line 1"},
        BadDocument{"DoubleAttribute", "<a x='1' x='2'/>", "line 1"},
        BadDocument{"RawControlCharacter", "<a>\x01</a>", "line 1"},
        BadDocument{"ReferenceToZero", "<a>&#0;</a>", "line 1"},
        BadDocument{"BrokenUTF8", "<a>\xC3(</a>", "line 1"},
        BadDocument{"OverlongUTF8", "<a>\xC0\xAF</a>", "line 1"},
        BadDocument{"TruncatedUTF8", "<a>\xE2\x82", "line 1"},
        BadDocument{"Doctype", "<!DOCTYPE a><a/>", "document type declarations are not accepted"},
        BadDocument{"DoctypeWithSubset", "<!DOCTYPE a [<!ELEMENT a ANY>]><a/>",
                    "document type declarations are not accepted"},
        BadDocument{"DoctypeFromOutside", "<!DOCTYPE a SYSTEM 'file:///etc/passwd'><a/>",
                    "document type declarations are not accepted"},
        BadDocument{"ExternalEntity", "<!DOCTYPE a [<!ENTITY e SYSTEM 'file:///etc/passwd'>]><a>&e;</a>",
                    "document type declarations are not accepted"},
        BadDocument{"ParameterEntity", "<!DOCTYPE a [<!ENTITY % e SYSTEM 'file:///etc/passwd'> %e;]><a/>",
                    "not accepted"},
        BadDocument{"EntityBomb", entityBomb(), "document type declarations are not accepted"},
        BadDocument{"UnknownEntity", "<a>&nbsp;</a>", "line 1"},
        BadDocument{"UnknownEntityInAttribute", "<a x='&nbsp;'/>", "line 1"}),
    [](const auto& document) { return std::string(document.param.name); });

std::string nested(std::size_t depth) {
    std::string text;
    for (std::size_t level = 0; level < depth; ++level) {
        text += "<a>";
    }
    for (std::size_t level = 0; level < depth; ++level) {
        text += "</a>";
    }
    return text;
}

TEST(SecureXMLReader, RefusesDepth_WhenPastTheLimit) {
    EXPECT_EQ(read(nested(10), {.maxDepth = 10}), nested(10));
    EXPECT_THAT(refusal(nested(11), {.maxDepth = 10}), HasSubstr("elements nest deeper than 10"));
    EXPECT_THAT(refusal(nested(100000)), HasSubstr("elements nest deeper than 256"));
    EXPECT_EQ(read(nested(3000), {.maxDepth = 0}), nested(3000));
}

TEST(SecureXMLReader, RefusesLength_WhenPastTheLimit) {
    std::string text = "<a>" + std::string(93, 'x') + "</a>";
    EXPECT_EQ(read(text, {.maxBytes = 100}), text);
    EXPECT_THAT(refusal(text, {.maxBytes = 99}), HasSubstr("longer than 99 bytes"));
}

/// An endless stream of white space.
class Endless : public std::streambuf {
public:
    int_type underflow() override {
        ++blocks;
        setg(_block, _block, _block + sizeof _block);
        return traits_type::to_int_type(*gptr());
    }

    std::size_t blocks = 0;

private:
    char _block[6] = {'<', 'a', '/', '>', ' ', ' '};
};

TEST(SecureXMLReader, StopsReading_WhenAStreamHasNoEnd) {
    Endless buffer;
    std::istream stream(&buffer);
    Recorder recorder;
    EXPECT_THROW(SecureXMLReader({.maxBytes = 10000}).parse(stream, recorder), ORVXMLError);
    EXPECT_LT(buffer.blocks, 10000U);
}

TEST(SecureXMLReader, PassesOnWhatTheSourceThrows) {
    class Broken : public std::streambuf {
        int_type underflow() override { throw ORVNetException("test", "connection reset"); }
    } buffer;
    std::istream stream(&buffer);
    Recorder recorder;
    EXPECT_THROW(SecureXMLReader().parse(stream, recorder), ORVNetException);
    EXPECT_EQ(read("<a/>"), "<a></a>");
}

TEST(SecureXMLReader, PassesOnWhatAHandlerThrows_AndServesAgain) {
    for (int round = 0; round < 3; ++round) {
        Recorder recorder;
        recorder.atStart = [] { throw std::out_of_range("handler"); };
        EXPECT_THROW(SecureXMLReader().parse("<a><b/></a>", recorder), std::out_of_range);
        EXPECT_EQ(read("<a>fine</a>"), "<a>fine</a>");
    }
}

TEST(SecureXMLReader, FailsWithPosition_WhenAHandlerRefuses) {
    Recorder recorder;
    recorder.atStart = [&recorder] {
        if (recorder.positions.size() == 2) {
            recorder.fail("not here");
        }
    };
    try {
        SecureXMLReader().parse("<a>\n<b/></a>", recorder);
        FAIL() << "accepted";
    } catch (const ORVXMLError& error) {
        EXPECT_EQ(error.GetErrorMessage(), ORVString("line 2, column 5: not here"));
    }
}

TEST(SecureXMLReader, BringsNothingFromOneDocumentIntoTheNext) {
    EXPECT_EQ(read("<a x='1' y='2'>one<b z='3'/></a>"), "<a x=1 y=2>one<b z=3></b></a>");
    EXPECT_THAT(refusal("<a x='1'><b>"), HasSubstr("line 1"));
    EXPECT_EQ(read("<b><a/></b>"), "<b><a></a></b>");
    EXPECT_THAT(refusal("<a x='1' x='2'/>"), HasSubstr("attribute 'x' is already specified"));
    EXPECT_EQ(read("<a y='2'/>"), "<a y=2></a>");
    EXPECT_EQ(read("<a/>"), "<a></a>");
}

TEST(SecureXMLReader, GivesBackTheMemoryOfNames_WhenDocumentsKeepBringingNewOnes) {
    const std::size_t before = ::mallinfo2().uordblks;
    auto usedAfter = [before, number = 0](int documents) mutable {
        for (; documents > 0; --documents) {
            std::string text = "<a>";
            for (int element = 0; element < 1000; ++element) {
                text += "<e" + std::to_string(number++) + "/>";
            }
            read(text + "</a>");
        }
        return ::mallinfo2().uordblks - before;
    };
    const std::size_t usedAtFirst = usedAfter(100);
    EXPECT_LE(usedAfter(150), 2 * usedAtFirst);
}

TEST(SecureXMLReader, ReadsAnotherDocument_FromInsideAHandler) {
    Recorder recorder;
    std::string inner;
    recorder.atStart = [&inner] { inner += read("<inner/>"); };
    SecureXMLReader().parse("<a><b/>text</a>", recorder);
    EXPECT_EQ(recorder.record, "<a><b></b>text</a>");
    EXPECT_EQ(inner, "<inner></inner><inner></inner>");
}

TEST(SecureXMLReader, ReadsOnManyThreads) {
    std::vector<std::string> results(4);
    std::vector<std::thread> threads;
    threads.reserve(results.size());
    for (auto& result : results) {
        threads.emplace_back([&result] {
            for (int round = 0; round < 50; ++round) {
                refusal("<!DOCTYPE a><a/>");
                result = read("<a x='1'>text</a>");
            }
        });
    }
    for (auto& thread : threads) {
        thread.join();
    }
    EXPECT_THAT(results, testing::Each("<a x=1>text</a>"));
}

TEST(SecureXMLReader, ReadsFiles) {
    std::string path = testing::TempDir() + "SecureXMLReaderTest.xml";
    std::ofstream(path) << "<a/>";
    Recorder recorder;
    SecureXMLReader().parseFile(path, recorder);
    EXPECT_EQ(recorder.record, "<a></a>");
}

TEST(SecureXMLReader, NamesTheFile_WhenItCannotBeRead) {
    for (const std::string& path : {testing::TempDir() + "no such file.xml", testing::TempDir()}) {
        Recorder recorder;
        try {
            SecureXMLReader().parseFile(path, recorder);
            ADD_FAILURE() << path << " was read";
        } catch (const ORVXMLError& error) {
            EXPECT_THAT(std::string(error.GetErrorMessage().view()), HasSubstr("'" + path + "'"));
        }
    }
}

}  // namespace
