#include "foundation/cimxml/ORVCIMMessage.h"

#include "foundation/http/ORVHTTPClient.h"
#include "foundation/http/ORVHTTPResponse.h"
#include "foundation/object_model/COrvoType.h"
#include "foundation/utilities/ORVXMLError.h"
#include "foundation/utilities/OrvoBaseException.h"
#include "tests/support/ScriptedListener.h"

#include <chrono>
#include <functional>
#include <memory>
#include <optional>
#include <ostream>
#include <sstream>
#include <string>
#include <thread>
#include <vector>

#include <gmock/gmock.h>

using testing::HasSubstr;
using velm::test::Answer;
using velm::test::exportResponse;
using velm::test::ScriptedListener;

namespace {

constexpr std::size_t megabyte = 1024 * 1024;
constexpr std::size_t hugeSize = 100 * megabyte;
constexpr int patience = 10'000;

ORVCIMMessage parse(const std::string& document, bool checksVersions = false, bool fromStranger = true) {
    std::istringstream stream(document);
    return ORVCIMMessage(stream, checksVersions, fromStranger);
}

std::string xmlFailureOf(const std::function<void()>& operation) {
    try {
        operation();
    } catch (const ORVXMLError& failure) {
        return std::string(failure.GetErrorMessage().view());
    }
    ADD_FAILURE() << "no ORVXMLError";
    return {};
}

ORVSmrPtr<ORVCIMExpMethodResponse> methodResponse(const std::string& content) {
    return parse(exportResponse(content)).getSimpleExpRsp()->getMethodResponse();
}

ORVSmrPtr<IOrvoValue> returnValue(const std::string& element) {
    return methodResponse(element)->getReturnValue()->getValue();
}

std::string envelope(const std::string& content) {
    return "<CIM CIMVERSION=\"2.0\" DTDVERSION=\"2.0\"><MESSAGE ID=\"1\" PROTOCOLVERSION=\"1.0\">" + content +
           "</MESSAGE></CIM>";
}

std::string nested(std::size_t depth) {
    std::string text;
    for (std::size_t level = 0; level < depth; ++level) {
        text += "<A>";
    }
    for (std::size_t level = 0; level < depth; ++level) {
        text += "</A>";
    }
    return text;
}

/// What a listener answers, and what the delivery thread makes of it.
struct Case {
    const char* name;
    std::string document;
    const char* meaning;
};

void PrintTo(const Case& answer, std::ostream* stream) {
    *stream << answer.name;
}

/// The meaning as one line: "return <type> <text>", "error <code> <description>" and so on.
std::string meaningOf(const ORVCIMMessage& message) {
    if (message.getSimpleExpRsp().IsNull()) {
        return "no SIMPLEEXPRSP";
    }
    const auto response = message.getSimpleExpRsp()->getMethodResponse();
    if (response.IsNull()) {
        return "no EXPMETHODRESPONSE";
    }
    std::ostringstream text;
    if (const auto value = response->getReturnValue(); !value.IsNull()) {
        text << "return ";
        value->getValue().IsNull()
            ? text << "nothing"
            : text << value->getValue()->getType()->getName() << ' ' << value->getValue()->toString();
    }
    if (const auto error = response->getError(); !error.IsNull()) {
        text << "error " << error->getCode() << ' ' << error->getDescription();
    }
    return text.str();
}

class ExportResponses : public testing::TestWithParam<Case> {};

const std::vector<Case> answers{
    {"Zero", exportResponse("<RETURNVALUE PARAMTYPE=\"uint32\"><VALUE>0</VALUE></RETURNVALUE>"),
     "return uint32 0"},
    {"One", exportResponse("<RETURNVALUE PARAMTYPE=\"uint32\"><VALUE>1</VALUE></RETURNVALUE>"),
     "return uint32 1"},
    {"TYPE", exportResponse("<RETURNVALUE TYPE=\"sint32\"><VALUE>-5</VALUE></RETURNVALUE>"),
     "return sint32 -5"},
    {"PARAMTYPEBeforeTYPE",
     exportResponse("<RETURNVALUE TYPE=\"string\" PARAMTYPE=\"uint8\"><VALUE>7</VALUE></RETURNVALUE>"),
     "return uint8 7"},
    {"NoType", exportResponse("<RETURNVALUE><VALUE>0</VALUE></RETURNVALUE>"), "return string 0"},
    {"UnknownType", exportResponse("<RETURNVALUE PARAMTYPE=\"number\"><VALUE>0</VALUE></RETURNVALUE>"),
     "return string 0"},
    {"EmbeddedInstance", exportResponse("<RETURNVALUE PARAMTYPE=\"instance\"><VALUE>x</VALUE></RETURNVALUE>"),
     "return string x"},
    {"Reference", exportResponse("<RETURNVALUE PARAMTYPE=\"reference\"><VALUE>x</VALUE></RETURNVALUE>"),
     "return string x"},
    {"TextOfAnotherType",
     exportResponse("<RETURNVALUE PARAMTYPE=\"uint32\"><VALUE>zero</VALUE></RETURNVALUE>"),
     "return string zero"},
    {"TooLarge", exportResponse("<RETURNVALUE PARAMTYPE=\"uint8\"><VALUE>256</VALUE></RETURNVALUE>"),
     "return string 256"},
    {"Blanks", exportResponse("<RETURNVALUE PARAMTYPE=\"uint32\">\n <VALUE>\n 0 </VALUE>\n</RETURNVALUE>"),
     "return uint32 0"},
    {"CDATAAndReferences",
     exportResponse("<RETURNVALUE><VALUE>a<![CDATA[<b>]]>&amp;&#99;</VALUE></RETURNVALUE>"),
     "return string a<b>&c"},
    {"EmptyText", exportResponse("<RETURNVALUE PARAMTYPE=\"uint32\"><VALUE/></RETURNVALUE>"),
     "return string "},
    {"EmptyReturnValue", exportResponse("<RETURNVALUE PARAMTYPE=\"uint32\"/>"), "return nothing"},
    {"TextOutsideVALUE", exportResponse("<RETURNVALUE>0</RETURNVALUE>"), "return nothing"},
    {"ReferenceElement",
     exportResponse("<RETURNVALUE><VALUE.REFERENCE><CLASSNAME NAME=\"a\"/></VALUE.REFERENCE></RETURNVALUE>"),
     "return nothing"},
    {"FirstValueCounts",
     exportResponse("<RETURNVALUE><VALUE>0</VALUE><VALUE>1</VALUE></RETURNVALUE>"
                    "<RETURNVALUE PARAMTYPE=\"uint8\"><VALUE>2</VALUE></RETURNVALUE>"),
     "return string 0"},
    {"EmptyFirstReturnValueCounts",
     exportResponse("<RETURNVALUE/><RETURNVALUE PARAMTYPE=\"uint8\"><VALUE>2</VALUE></RETURNVALUE>"),
     "return nothing"},
    {"IRETURNVALUE", exportResponse("<IRETURNVALUE><VALUE>0</VALUE></IRETURNVALUE>"), ""},
    {"ValueElsewhere", exportResponse("<X><RETURNVALUE><VALUE>1</VALUE></RETURNVALUE></X><VALUE>1</VALUE>"),
     ""},
    {"Empty", exportResponse(""), ""},
    {"Error", exportResponse("<ERROR CODE=\"7\" DESCRIPTION=\"no &lt;such&gt; method\"/>"),
     "error 7 no <such> method"},
    {"ErrorWithInstance",
     exportResponse(
         "<ERROR CODE=\"1\"><INSTANCE CLASSNAME=\"CIM_Error\"><PROPERTY NAME=\"a\" TYPE=\"string\"/>"
         "</INSTANCE></ERROR>"),
     "error 1 "},
    {"ErrorWithoutNumber", exportResponse("<ERROR CODE=\"x\" DESCRIPTION=\"d\"/>"), "error 1 d"},
    {"ErrorWithHugeNumber", exportResponse("<ERROR CODE=\"99999999999\" DESCRIPTION=\"d\"/>"), "error 1 d"},
    {"FirstErrorCounts", exportResponse("<ERROR CODE=\"2\" DESCRIPTION=\"a\"/><ERROR CODE=\"3\"/>"),
     "error 2 a"},
    {"ErrorAndReturnValue",
     exportResponse("<ERROR CODE=\"2\" DESCRIPTION=\"a\"/><RETURNVALUE><VALUE>0</VALUE></RETURNVALUE>"),
     "return string 0error 2 a"},
    {"UnknownElements",
     envelope("<X/><SIMPLEEXPRSP><Y><Z/></Y><EXPMETHODRESPONSE NAME=\"a\"><W>1</W>"
              "<RETURNVALUE><V/><VALUE>0</VALUE></RETURNVALUE></EXPMETHODRESPONSE></SIMPLEEXPRSP>"),
     "return string 0"},
    {"FirstResponseCounts",
     envelope("<SIMPLEEXPRSP/><SIMPLEEXPRSP><EXPMETHODRESPONSE NAME=\"a\"/></SIMPLEEXPRSP>"),
     "no EXPMETHODRESPONSE"},
    {"NoResponse", envelope(""), "no SIMPLEEXPRSP"},
    {"AnotherResponse", envelope("<SIMPLERSP><IMETHODRESPONSE NAME=\"a\"/></SIMPLERSP>"), "no SIMPLEEXPRSP"},
    {"EmptyResponse", envelope("<SIMPLEEXPRSP/>"), "no EXPMETHODRESPONSE"},
    {"LetterCase", envelope("<simpleexprsp/>"), "no SIMPLEEXPRSP"},
    {"NoVersions", "<CIM><MESSAGE><SIMPLEEXPRSP/></MESSAGE></CIM>", "no EXPMETHODRESPONSE"},
    {"SecondMessage", "<CIM><MESSAGE/><MESSAGE><SIMPLEEXPRSP/></MESSAGE></CIM>", "no SIMPLEEXPRSP"},
    {"ByteOrderMark", "\xEF\xBB\xBF" + envelope("<SIMPLEEXPRSP/>"), "no EXPMETHODRESPONSE"},
    {"DeepestAllowed", envelope(nested(62)), "no SIMPLEEXPRSP"},
};

class RefusedDocuments : public testing::TestWithParam<Case> {};

const std::string entityBomb =
    "<!DOCTYPE CIM [<!ENTITY a \"aaaaaaaaaa\"><!ENTITY b \"&a;&a;&a;&a;&a;&a;&a;&a;\">"
    "<!ENTITY c \"&b;&b;&b;&b;&b;&b;&b;&b;\">]>";

const std::vector<Case> refusals{
    {"Nothing", "", ""},
    {"Text", "Bad Request", ""},
    {"HTML", "<html><body>Bad Request</body></html>", "no CIM message"},
    {"NoMessage", "<CIM CIMVERSION=\"2.0\" DTDVERSION=\"2.0\"/>", "holds no MESSAGE"},
    {"Declaration", "<CIM><DECLARATION/></CIM>", "holds no MESSAGE"},
    {"MessageTooDeep", "<CIM><X><MESSAGE/></X></CIM>", "holds no MESSAGE"},
    {"BareMessage", "<MESSAGE/>", "no CIM message"},
    {"Unfinished", "<CIM><MESSAGE>", ""},
    {"TwoDocuments", envelope("") + envelope(""), ""},
    {"InvalidUTF8", exportResponse("<RETURNVALUE><VALUE>\xC3\x28</VALUE></RETURNVALUE>"), ""},
    {"OverlongUTF8", exportResponse("<RETURNVALUE><VALUE>\xC0\x80</VALUE></RETURNVALUE>"), ""},
    {"ControlCharacter", exportResponse("<RETURNVALUE><VALUE>\x01</VALUE></RETURNVALUE>"), ""},
    {"NumberOfAControlCharacter", exportResponse("<RETURNVALUE><VALUE>&#1;</VALUE></RETURNVALUE>"), ""},
    {"EntityBomb", entityBomb + envelope("&c;"), "document type declarations are not accepted"},
    {"ExternalEntity", "<!DOCTYPE CIM [<!ENTITY x SYSTEM \"file:///etc/passwd\">]>" + envelope("&x;"),
     "document type declarations are not accepted"},
    {"ExternalDTD", "<!DOCTYPE CIM SYSTEM \"http://127.0.0.1:1/x.dtd\">" + envelope(""),
     "document type declarations are not accepted"},
    {"UnknownEntity", envelope("&x;"), ""},
    {"TooDeep", envelope(nested(63)), "elements nest deeper than 64"},
    {"VeryDeep", envelope(nested(100'000)), "elements nest deeper than 64"},
    {"TooLong",
     exportResponse("<RETURNVALUE><VALUE>" + std::string(megabyte, 'x') + "</VALUE></RETURNVALUE>"),
     "longer than 1048576 bytes"},
};

const auto nameOf = [](const auto& info) { return std::string(info.param.name); };

/// A document of 100 MiB, made while it is read.
class HugeDocument : public std::streambuf {
public:
    std::size_t handedOut() const { return _handedOut; }

protected:
    int_type underflow() override {
        if (_handedOut >= hugeSize) {
            return traits_type::eof();
        }
        if (_handedOut > 0) {
            _block.assign(4096, 'x');
        }
        _handedOut += _block.size();
        setg(_block.data(), _block.data(), _block.data() + _block.size());
        return traits_type::to_int_type(_block.front());
    }

private:
    std::string _block = "<CIM><MESSAGE><X>";
    std::size_t _handedOut = 0;
};

/// A stream whose network fails in the middle of the document.
class FailingDocument : public std::streambuf {
public:
    FailingDocument() { setg(_begin.data(), _begin.data(), _begin.data() + _begin.size()); }

protected:
    int_type underflow() override { throw ORVNetException("test", "the line is cut"); }

private:
    std::string _begin = "<CIM><MESSAGE>";
};

/// The answer of a real listener: its HTTP status, or what was thrown while its message was read.
std::string readFromListener(const Answer& answer) {
    ScriptedListener listener(answer);
    ORVHTTPClient client(ORVString(("http://127.0.0.1:" + listener.port()).c_str()), patience, false);
    std::ostream* request = nullptr;
    const std::unique_ptr<ORVGenericHTTPIStream> stream(client.connect("POST", "/indication", &request));
    const std::unique_ptr<std::ostream> owned(request);
    dynamic_cast<ORVGenericHTTPOStream&>(*request).send();
    try {
        ORVHTTPResponse().readResponseFrom(*stream);
        return meaningOf(ORVCIMMessage(*stream, false, true));
    } catch (const ORVXMLError& failure) {
        return "XML: " + std::string(failure.GetErrorMessage().view());
    } catch (const ORVNetException& failure) {
        return "network: " + std::string(failure.getMessage().view());
    }
}

}  // namespace

TEST_P(ExportResponses, AreUnderstood) {
    EXPECT_EQ(meaningOf(parse(GetParam().document)), GetParam().meaning);
}

INSTANTIATE_TEST_SUITE_P(CIMMessage, ExportResponses, testing::ValuesIn(answers), nameOf);

TEST_P(RefusedDocuments, ThrowAnXMLError) {
    EXPECT_THAT(xmlFailureOf([] { parse(GetParam().document); }), HasSubstr(GetParam().meaning));
}

INSTANTIATE_TEST_SUITE_P(CIMMessage, RefusedDocuments, testing::ValuesIn(refusals), nameOf);

TEST(CIMMessage, GivesTheMessagesID) {
    EXPECT_EQ(parse("<CIM><MESSAGE ID=\"a&amp;b\"/></CIM>").getID(), ORVString("a&b"));
    EXPECT_TRUE(parse("<CIM><MESSAGE/></CIM>").getID().isNull());
}

TEST(CIMMessage, YieldsANumber_WhenTheReturnValueIsOne) {
    EXPECT_EQ(returnValue("<RETURNVALUE PARAMTYPE=\"uint32\"><VALUE>0</VALUE></RETURNVALUE>")->getSint32(),
              0);
    EXPECT_EQ(returnValue("<RETURNVALUE><VALUE>3</VALUE></RETURNVALUE>")->getSint32(), 3);
    EXPECT_EQ(returnValue("<RETURNVALUE PARAMTYPE=\"sint8\"><VALUE>-1</VALUE></RETURNVALUE>")->getSint32(),
              -1);
}

TEST(CIMMessage, LetsTheReaderOfANumberFail_WhenTheReturnValueIsNone) {
    for (const char* element : {"<RETURNVALUE PARAMTYPE=\"uint32\"><VALUE>zero</VALUE></RETURNVALUE>",
                                "<RETURNVALUE PARAMTYPE=\"boolean\"><VALUE>true</VALUE></RETURNVALUE>",
                                "<RETURNVALUE PARAMTYPE=\"uint32\"><VALUE>4294967295</VALUE></RETURNVALUE>",
                                "<RETURNVALUE><VALUE/></RETURNVALUE>"}) {
        EXPECT_THROW(returnValue(element)->getSint32(), ORVTypeException) << element;
    }
}

TEST(CIMMessage, ChecksVersions_WhenItIsToldTo) {
    const auto document = [](const char* cim, const char* dtd, const char* protocol) {
        return std::string("<CIM CIMVERSION=\"") + cim + "\" DTDVERSION=\"" + dtd +
               "\"><MESSAGE ID=\"1\" PROTOCOLVERSION=\"" + protocol + "\"/></CIM>";
    };
    parse(document("2.0", "2.4.0", "1.4"), true);
    const auto failure = [&](const std::string& text) { return xmlFailureOf([&] { parse(text, true); }); };
    EXPECT_THAT(failure(document("3.0", "2.0", "1.0")),
                HasSubstr("CIMVERSION is \"3.0\" where 2.x is understood"));
    EXPECT_THAT(failure(document("2.0", "1.0", "1.0")),
                HasSubstr("DTDVERSION is \"1.0\" where 2.x is understood"));
    EXPECT_THAT(failure(document("2.0", "2.0", "2.0")),
                HasSubstr("PROTOCOLVERSION is \"2.0\" where 1.x is understood"));
    EXPECT_THAT(failure("<CIM><MESSAGE/></CIM>"), HasSubstr("CIMVERSION is \"\" where 2.x is understood"));
    parse(document("3.0", "1.0", "2.0"), false);
}

TEST(CIMMessage, HasNoLimitOfLength_WhenItDoesNotComeFromAStranger) {
    const std::string text(megabyte, 'x');
    const std::string document = exportResponse("<RETURNVALUE><VALUE>" + text + "</VALUE></RETURNVALUE>");
    const ORVCIMMessage message = parse(document, false, false);
    EXPECT_EQ(
        message.getSimpleExpRsp()->getMethodResponse()->getReturnValue()->getValue()->getString().length(),
        text.size());
}

TEST(CIMMessage, StopsReadingAtItsLimit_WhenAStrangerSends100Megabytes) {
    HugeDocument document;
    std::istream stream(&document);
    EXPECT_THAT(xmlFailureOf([&] { ORVCIMMessage(stream, false, true); }),
                HasSubstr("longer than 1048576 bytes"));
    EXPECT_LT(document.handedOut(), 2 * megabyte);
}

TEST(CIMMessage, LetsTheNetworksFailureThrough_WhenTheStreamThrowsIt) {
    FailingDocument document;
    std::istream stream(&document);
    EXPECT_THROW(ORVCIMMessage(stream, false, true), ORVNetException);
}

TEST(CIMMessageOverHTTP, IsRead_WhenTheListenerAnswersWell) {
    EXPECT_EQ(readFromListener(velm::test::goodAnswer()), "return uint32 0");
    EXPECT_EQ(readFromListener(velm::test::errorAnswer("queue is full")), "error 1 queue is full");
    EXPECT_EQ(readFromListener(velm::test::emptyAnswer()), "");
    EXPECT_EQ(readFromListener(velm::test::rawAnswer("HTTP/1.0 200 OK\r\n\r\n" + exportResponse(""))), "");
}

TEST(CIMMessageOverHTTP, IsANetworkFailure_WhenTheListenerStopsInTheMiddle) {
    const std::string whole = velm::test::goodAnswer().bytes;
    EXPECT_THAT(readFromListener(velm::test::rawAnswer(whole.substr(0, whole.size() - 20))),
                HasSubstr("network: Reading the body of the answer from 127.0.0.1:"));
    Answer reset = velm::test::rawAnswer(whole.substr(0, whole.size() - 20));
    reset.end = Answer::End::reset;
    EXPECT_THAT(readFromListener(reset), HasSubstr("network: "));
}

TEST(CIMMessageOverHTTP, IsAnXMLFailureWithoutWaitingForTheRest_WhenTheListenerAnnounces100Megabytes) {
    const auto start = std::chrono::steady_clock::now();
    Answer answer = velm::test::rawAnswer("HTTP/1.1 200 OK\r\nContent-Length: " + std::to_string(hugeSize) +
                                          "\r\n\r\n<CIM><MESSAGE><X>" + std::string(4 * megabyte, 'x'));
    answer.end = Answer::End::hang;
    EXPECT_THAT(readFromListener(answer), HasSubstr("longer than 1048576 bytes"));
    EXPECT_LT(std::chrono::steady_clock::now() - start, std::chrono::seconds(patience / 1000));
}

TEST(CIMMessageOverHTTP, IsAnXMLFailure_WhenAnErrorHasNoBody) {
    EXPECT_THAT(readFromListener(velm::test::rawAnswer("HTTP/1.0 400 Bad Request\r\nCIMError: x\r\n\r\n")),
                HasSubstr("XML: "));
}
