#include "tests/unit/velmd/requests/RequestSupport.h"

#include <algorithm>

// What is decided before a message becomes an operation: by the document.

namespace velm::test {

namespace {

using testing::HasSubstr;

constexpr const char* wellFormed = "request-not-well-formed";
constexpr const char* loosely = "request-not-loosely-valid";
constexpr const char* manyRequests = "multiple-requests-unsupported";

const std::string call =
    "<IMETHODCALL NAME=\"EnumerateQualifiers\"><LOCALNAMESPACEPATH><NAMESPACE NAME=\"root\"/>"
    "<NAMESPACE NAME=\"test\"/></LOCALNAMESPACEPATH></IMETHODCALL>";
const std::string simple = "<SIMPLEREQ>" + call + "</SIMPLEREQ>";

std::string versioned(const char* cim, const char* dtd, const char* protocol) {
    return std::string("<CIM CIMVERSION=\"") + cim + "\" DTDVERSION=\"" + dtd +
           "\"><MESSAGE ID=\"1\" PROTOCOLVERSION=\"" + protocol + "\">" + simple + "</MESSAGE></CIM>";
}

std::string withPath(const std::string& path) {
    return message("<SIMPLEREQ><IMETHODCALL NAME=\"EnumerateQualifiers\">" + path +
                   "</IMETHODCALL></SIMPLEREQ>");
}

/// The characters of ASCII text as UTF-16, the low byte first, behind a mark that says so.
std::string utf16(const std::string& ascii) {
    std::string text = "\xFF\xFE";
    for (const char letter : ascii) {
        text += letter;
        text += '\0';
    }
    return text;
}

std::string declaring(const char* encoding) {
    return std::string("<?xml version=\"1.0\" encoding=\"") + encoding + "\"?>" +
           versioned("2.0", "2.0", "1.0");
}

std::string withParameter(const std::string& parameter) {
    return withPath("<LOCALNAMESPACEPATH><NAMESPACE NAME=\"root/test\"/></LOCALNAMESPACEPATH>" + parameter);
}

std::string nested(std::size_t depth) {
    std::string xml;
    for (std::size_t level = 0; level < depth; ++level) {
        xml += "<A>";
    }
    for (std::size_t level = 0; level < depth; ++level) {
        xml += "</A>";
    }
    return xml;
}

struct MessageCase {
    const char* name;
    std::string body;
    unsigned int status;
    const char* cimError;
    /// Stands in CIMErrorDetails.
    const char* details;
};

void PrintTo(const MessageCase& row, std::ostream* out) {
    *out << row.name;
}

const MessageCase messageCases[]{
    {"Plain", message(simple), 200, "none", ""},
    {"WithoutDeclaration", versioned("2.0", "2.0", "1.0"), 200, "none", ""},
    {"NewerVersions", versioned("2.3.1", "2.4", "1.4"), 200, "none", ""},
    {"WithCorrelators",
     message("<SIMPLEREQ><CORRELATOR NAME=\"a\" TYPE=\"string\"><VALUE>b</VALUE></CORRELATOR>" + call +
             "</SIMPLEREQ>"),
     200, "none", ""},
    {"WithCommentsAndInstructions", "<!-- a --><?b c?>" + versioned("2.0", "2.0", "1.0") + "<!-- d -->\n",
     200, "none", ""},
    {"NamespaceInOnePiece",
     withPath("<LOCALNAMESPACEPATH><NAMESPACE NAME=\"/root/test/\"/></LOCALNAMESPACEPATH>"), 200, "none", ""},

    {"DeclaringUTF8", declaring("UTF-8"), 200, "none", ""},
    {"DeclaringNoEncoding", "<?xml version='1.0'?>" + versioned("2.0", "2.0", "1.0"), 200, "none", ""},
    {"MarkedAsUTF8", "\xEF\xBB\xBF" + versioned("2.0", "2.0", "1.0"), 200, "none", ""},

    {"DeclaringLatin1", declaring("iso-8859-1"), 400, wellFormed, "the encoding 'iso-8859-1', not UTF-8"},
    {"DeclaringASCII", declaring("us-ascii"), 400, wellFormed, "the encoding 'us-ascii', not UTF-8"},
    {"DeclaringUTF16", declaring("utf-16"), 400, wellFormed, "the encoding 'utf-16', not UTF-8"},
    {"UTF16WithMark", utf16(declaring("UTF-16")), 400, wellFormed, "byte 4 is zero"},
    {"UTF16WithoutMark", utf16(declaring("UTF-16")).substr(2), 400, wellFormed, "byte 2 is zero"},
    {"OtherVersionOfXML", "<?xml version='1.1'?>" + versioned("2.0", "2.0", "1.0"), 400, wellFormed,
     "version of XML"},
    {"ZeroBehindTheDocument", message(simple) + std::string(1, '\0'), 400, wellFormed, "is zero"},
    {"ZeroAndASecondDocument", message(simple) + std::string(1, '\0') + message(simple), 400, wellFormed,
     "is zero"},
    {"SpaceBeforeTheDeclaration", " " + message(simple), 400, wellFormed, "line 1"},

    {"CIMVersion3", versioned("3.0", "2.0", "1.0"), 501, "unsupported-cim-version", "CIMVERSION"},
    {"CIMVersion20", versioned("20.0", "2.0", "1.0"), 501, "unsupported-cim-version", "CIMVERSION"},
    {"CIMVersionWithoutMinor", versioned("2.", "2.0", "1.0"), 501, "unsupported-cim-version", "CIMVERSION"},
    {"CIMVersionNoNumber", versioned("2.x", "2.0", "1.0"), 501, "unsupported-cim-version", "CIMVERSION"},
    {"DTDVersion3", versioned("2.0", "3.0", "1.0"), 501, "unsupported-dtd-version", "DTDVERSION"},
    {"ProtocolVersion2", versioned("2.0", "2.0", "2.0"), 501, "unsupported-protocol-version",
     "PROTOCOLVERSION"},
    {"ProtocolVersionEmpty", versioned("2.0", "2.0", ""), 501, "unsupported-protocol-version",
     "PROTOCOLVERSION"},

    {"Multiple", message("<MULTIREQ>" + simple + simple + "</MULTIREQ>"), 501, manyRequests, "one operation"},
    {"MultipleExports", message("<MULTIEXPREQ/>"), 501, manyRequests, "one operation"},

    {"Empty", "", 400, wellFormed, ""},
    {"NoXML", "GetClass", 400, wellFormed, "line 1"},
    {"Unclosed", "<CIM CIMVERSION=\"2.0\">\n<MESSAGE>", 400, wellFormed, "line 2"},
    {"TrailingGarbage", message(simple) + "garbage", 400, wellFormed, ""},
    {"TwoRoots", message(simple) + "<CIM/>", 400, wellFormed, ""},
    {"RepeatedAttribute", "<CIM CIMVERSION=\"2.0\" CIMVERSION=\"2.0\"/>", 400, wellFormed, ""},
    {"BrokenUTF8", message("<A>\xC3(</A>"), 400, wellFormed, ""},
    {"Latin1", message("<A>\xE9</A>"), 400, wellFormed, ""},
    {"OverlongUTF8", message("<A>\xC0\xAF</A>"), 400, wellFormed, ""},
    {"ControlCharacter", message("<A>\x01</A>"), 400, wellFormed, ""},
    {"ControlReference", message("<A>&#1;</A>"), 400, wellFormed, ""},
    {"DocumentType", "<!DOCTYPE CIM>" + versioned("2.0", "2.0", "1.0"), 400, wellFormed,
     "document type declarations are not accepted"},
    {"ExternalEntity",
     "<!DOCTYPE CIM [<!ENTITY a SYSTEM \"file:///etc/passwd\">]>" + versioned("2.0", "2.0", "1.0"), 400,
     wellFormed, "document type declarations are not accepted"},
    {"EntityBomb",
     "<!DOCTYPE CIM [<!ENTITY a \"aaaaaaaaaa\"><!ENTITY b \"&a;&a;&a;&a;\"><!ENTITY c "
     "\"&b;&b;&b;&b;\">]><CIM>&c;</CIM>",
     400, wellFormed, "document type declarations are not accepted"},
    {"UndeclaredEntity", message("<A>&a;</A>"), 400, wellFormed, ""},
    {"TooDeep", message(nested(100)), 400, wellFormed, "elements nest deeper than 64"},

    {"OtherRoot", "<cim/>", 400, loosely, "root is not CIM"},
    {"WithoutCIMVersion", "<CIM DTDVERSION=\"2.0\"/>", 400, loosely, "CIMVERSION"},
    {"WithoutDTDVersion", "<CIM CIMVERSION=\"2.0\"/>", 400, loosely, "DTDVERSION"},
    {"WithoutMessage", "<CIM CIMVERSION=\"2.0\" DTDVERSION=\"2.0\"/>", 400, loosely, "MESSAGE"},
    {"Declarations", "<CIM CIMVERSION=\"2.0\" DTDVERSION=\"2.0\"><DECLARATION/></CIM>", 400, loosely,
     "MESSAGE"},
    {"WithoutID",
     "<CIM CIMVERSION=\"2.0\" DTDVERSION=\"2.0\"><MESSAGE PROTOCOLVERSION=\"1.0\">" + simple +
         "</MESSAGE></CIM>",
     400, loosely, "ID"},
    {"WithoutProtocolVersion",
     "<CIM CIMVERSION=\"2.0\" DTDVERSION=\"2.0\"><MESSAGE ID=\"1\">" + simple + "</MESSAGE></CIM>", 400,
     loosely, "PROTOCOLVERSION"},
    {"EmptyMessage", message(""), 400, loosely, "SIMPLEREQ"},
    {"Response", message("<SIMPLERSP><IMETHODRESPONSE NAME=\"A\"/></SIMPLERSP>"), 400, loosely, "SIMPLEREQ"},
    {"Export", message("<SIMPLEEXPREQ><EXPMETHODCALL NAME=\"ExportIndication\"/></SIMPLEEXPREQ>"), 400,
     loosely, "SIMPLEREQ"},
    {"TwoRequests", message(simple + simple), 400, loosely, "SIMPLEREQ"},
    {"EmptyRequest", message("<SIMPLEREQ/>"), 400, loosely, "IMETHODCALL"},
    {"TwoCalls", message("<SIMPLEREQ>" + call + call + "</SIMPLEREQ>"), 400, loosely, "IMETHODCALL"},
    {"OtherCall", message("<SIMPLEREQ><METHOD/></SIMPLEREQ>"), 400, loosely, "IMETHODCALL"},
    {"CallWithoutName",
     message("<SIMPLEREQ><IMETHODCALL><LOCALNAMESPACEPATH><NAMESPACE NAME=\"root\"/></LOCALNAMESPACEPATH>"
             "</IMETHODCALL></SIMPLEREQ>"),
     400, loosely, "NAME"},
    {"WithoutNamespacePath", withPath(""), 400, loosely, "LOCALNAMESPACEPATH"},
    {"EmptyNamespacePath", withPath("<LOCALNAMESPACEPATH/>"), 400, loosely, "LOCALNAMESPACEPATH"},
    {"NamespacePathBehindParameters",
     withPath("<IPARAMVALUE NAME=\"a\"/><LOCALNAMESPACEPATH><NAMESPACE NAME=\"root\"/></LOCALNAMESPACEPATH>"),
     400, loosely, "LOCALNAMESPACEPATH"},
    {"NamespaceWithoutName", withPath("<LOCALNAMESPACEPATH><NAMESPACE/></LOCALNAMESPACEPATH>"), 400, loosely,
     "NAME"},
    {"HostInNamespacePath", withPath("<LOCALNAMESPACEPATH><HOST>a</HOST></LOCALNAMESPACEPATH>"), 400, loosely,
     "HOST"},
    {"OtherParameter",
     withPath("<LOCALNAMESPACEPATH><NAMESPACE NAME=\"root/test\"/></LOCALNAMESPACEPATH><PARAMVALUE "
              "NAME=\"a\"/>"),
     400, loosely, "IPARAMVALUE"},
    {"ParameterWithoutName",
     withPath("<LOCALNAMESPACEPATH><NAMESPACE NAME=\"root/test\"/></LOCALNAMESPACEPATH><IPARAMVALUE/>"), 400,
     loosely, "NAME"},
    {"ParameterWithTwoValues",
     withPath("<LOCALNAMESPACEPATH><NAMESPACE NAME=\"root/test\"/></LOCALNAMESPACEPATH><IPARAMVALUE "
              "NAME=\"a\"><VALUE/><VALUE/></IPARAMVALUE>"),
     400, loosely, "IPARAMVALUE"},
    {"ExtrinsicWithoutTarget", message("<SIMPLEREQ><METHODCALL NAME=\"EnumerateQualifiers\"/></SIMPLEREQ>"),
     400, loosely, "METHODCALL"},
    {"ExtrinsicWithTargetBehind",
     message("<SIMPLEREQ><METHODCALL NAME=\"EnumerateQualifiers\"><PARAMVALUE NAME=\"a\"/><LOCALCLASSPATH/>"
             "</METHODCALL></SIMPLEREQ>"),
     400, loosely, "PARAMVALUE"},
    {"ExtrinsicWithoutClass",
     message("<SIMPLEREQ><METHODCALL NAME=\"EnumerateQualifiers\"><LOCALCLASSPATH><LOCALNAMESPACEPATH>"
             "<NAMESPACE NAME=\"root\"/></LOCALNAMESPACEPATH></LOCALCLASSPATH></METHODCALL></SIMPLEREQ>"),
     400, loosely, "LOCALCLASSPATH"},
    {"TextForAParameter", withParameter("<IPARAMVALUE NAME=\"a\">TRUE</IPARAMVALUE>"), 400, loosely,
     "its value is an element, not text"},
    {"TextBesideAParameter", withParameter("<IPARAMVALUE NAME=\"a\"><VALUE/>x</IPARAMVALUE>"), 400, loosely,
     "its value is an element, not text"},
};

class MessageRules : public RequestTest, public testing::WithParamInterface<MessageCase> {};

}  // namespace

TEST_P(MessageRules, DecideWhatIsAnswered) {
    const MessageCase& row = GetParam();
    const Answer answer = send(post(row.body, "EnumerateQualifiers"));
    EXPECT_EQ(answer.http.status, row.status) << testing::PrintToString(answer);
    EXPECT_EQ(answer.header("CIMError"), row.cimError);
    if (row.status != 200) {
        EXPECT_EQ(answer.http.body, "");
        EXPECT_THAT(answer.header("CIMErrorDetails"), HasSubstr(row.details));
    }
}

INSTANTIATE_TEST_SUITE_P(Messages, MessageRules, testing::ValuesIn(messageCases),
                         [](const auto& row) { return row.param.name; });

using MessageAnswers = RequestTest;

TEST_F(MessageAnswers, RepeatIDAndMethod_AsTheClientWroteThem) {
    std::string body = intrinsicCall("enumerateQUALIFIERS", {});
    body.replace(body.find("1001"), 4, "&lt;1&quot;&#9;\xC3\xA9");
    const Answer answer = send(post(body, "EnumerateQualifiers"));
    EXPECT_THAT(answer.http.body,
                HasSubstr("<MESSAGE ID=\"&lt;1&quot;&#9;\xC3\xA9\" PROTOCOLVERSION=\"1.0\">"));
    EXPECT_THAT(answer.http.body, HasSubstr("<IMETHODRESPONSE NAME=\"enumerateQUALIFIERS\"><IRETURNVALUE>"));
}

TEST_F(MessageAnswers, CarryTheirOwnVersions_WhateverTheRequestHad) {
    const Answer answer = send(post(versioned("2.3.1", "2.4", "1.4"), "EnumerateQualifiers"));
    EXPECT_THAT(answer.http.body,
                testing::StartsWith("<?xml version=\"1.0\" encoding=\"utf-8\"?>\n<CIM CIMVERSION=\"2.0\" "
                                    "DTDVERSION=\"2.0\"><MESSAGE ID=\"1\" PROTOCOLVERSION=\"1.0\">"));
}

TEST_F(MessageAnswers, CompareTheProtocolVersionOfTheHeaderWithTheMessage) {
    const HTTPRequest request = post(versioned("2.0", "2.0", "1.4"), "EnumerateQualifiers");
    EXPECT_EQ(send(withHeader(request, "CIMProtocolVersion", " 1.4 ")).http.status, 200U);
    const Answer differing = send(withHeader(request, "CIMProtocolVersion", "1.0"));
    EXPECT_EQ(differing.http.status, 400U);
    EXPECT_EQ(differing.header("CIMError"), "header-mismatch");
}

TEST_F(MessageAnswers, HoldNoControlCharactersInHeaders_WhateverAClientNamesItsElements) {
    const std::string name = "\xC3\xA9" + std::string(100'000, 'x');
    const Answer answer =
        send(post(message("<SIMPLEREQ><" + name + "/></SIMPLEREQ>"), "EnumerateQualifiers"));
    const std::string unknown =
        "<IMETHODCALL NAME=\"EnumerateQualifiers\"><LOCALNAMESPACEPATH><NAMESPACE "
        "NAME=\"root/test\"/></LOCALNAMESPACEPATH><" +
        name + " NAME=\"a&#13;&#10;X-Evil: b\"/></IMETHODCALL>";
    const Answer other = send(post(message("<SIMPLEREQ>" + unknown + "</SIMPLEREQ>"), "EnumerateQualifiers"));
    for (const Answer& refused : {answer, other}) {
        EXPECT_EQ(refused.header("CIMError"), loosely);
        for (const auto& [header, text] : refused.http.headers) {
            EXPECT_LT(text.size(), 1000U) << header;
            EXPECT_TRUE(std::ranges::all_of(text, [](char letter) { return letter >= ' ' && letter <= '~'; }))
                << header << ": " << text;
        }
    }
    EXPECT_THAT(other.header("CIMErrorDetails"), HasSubstr("%C3%A9xxx"));
}

TEST_F(MessageAnswers, CutTheDetails_WhereTheParserQuotesTheDocument) {
    const Answer answer = send(post("<" + std::string(100'000, 'x') + "></y>", "EnumerateQualifiers"));
    EXPECT_EQ(answer.header("CIMError"), wellFormed);
    EXPECT_EQ(answer.header("CIMErrorDetails").size(), 400U);
}

TEST_F(MessageAnswers, RefuseADocumentOfCountlessTagsOrAttributes_BeforeItCostsMemory) {
    std::string elements;
    std::string attributes;
    for (int count = 0; count < 500'001; ++count) {
        elements += "<A/>";
        attributes += " a=''";
    }
    for (const std::string& content : {elements, "<A" + attributes + "/>"}) {
        const Answer answer = send(post(message(content), "EnumerateQualifiers"));
        EXPECT_EQ(answer.http.status, 413U);
        EXPECT_EQ(answer.header("CIMErrorDetails"), "the message has more than 500000 tags and attributes");
    }
}

TEST_F(MessageAnswers, AllowTheDepthThatTheLimitsSay) {
    const RequestHandler shallow({repository, instances, manager, "host.example", {}}, {5});
    // CIM, MESSAGE, SIMPLEREQ, IMETHODCALL, LOCALNAMESPACEPATH, NAMESPACE.
    const Answer answer{shallow.handle(post(message(simple), "EnumerateQualifiers"))};
    EXPECT_EQ(answer.header("CIMErrorDetails"), "line 2, column 176: elements nest deeper than 5");
    const RequestHandler deep({repository, instances, manager, "host.example", {}}, {6});
    EXPECT_EQ(deep.handle(post(message(simple), "EnumerateQualifiers")).status, 200U);
}

TEST_F(MessageAnswers, AllowTheMarkupThatTheLimitsSay) {
    // Tags, closing ones too, and attributes; and one character in a text that looks like one.
    const std::string body = message(simple + "<!-- = -->");
    const auto isMarkup = [](char character) { return character == '<' || character == '='; };
    const auto count = static_cast<std::size_t>(std::ranges::count_if(body, isMarkup));
    const RequestHandler tight({repository, instances, manager, "host.example", {}}, {64, count - 1});
    const Answer refused{tight.handle(post(body, "EnumerateQualifiers"))};
    EXPECT_EQ(refused.http.status, 413U);
    EXPECT_EQ(refused.header("CIMErrorDetails"),
              "the message has more than " + std::to_string(count - 1) + " tags and attributes");
    const RequestHandler wide({repository, instances, manager, "host.example", {}}, {64, count});
    EXPECT_EQ(wide.handle(post(body, "EnumerateQualifiers")).status, 200U);
}

// Extrinsic calls.

TEST_F(MessageAnswers, AnswerAMethodCallInItsOwnResponse_WhichIsNotSupported) {
    const std::string path =
        "<LOCALNAMESPACEPATH><NAMESPACE NAME=\"root\"/><NAMESPACE NAME=\"test\"/></LOCALNAMESPACEPATH>";
    const std::string onInstance =
        "<LOCALINSTANCEPATH>" + path + instanceName("EX_Thing", "a") + "</LOCALINSTANCEPATH>";
    const std::string onClass = "<LOCALCLASSPATH>" + path + "<CLASSNAME NAME=\"EX_Thing\"/></LOCALCLASSPATH>";
    struct {
        const std::string& target;
        const char* object;
        bool isSame;
    } const rows[]{{onInstance, "root/test:EX_Thing.Id=\"a\"", true},
                   {onInstance, "/ROOT%2Ftest%3Aex_thing.Id=%22a%22", true},
                   {onInstance, "root/test:EX_Thing", false},
                   {onInstance, "root/test:EX_Part.Id=\"a\"", false},
                   {onInstance, "root/test", false},
                   {onClass, "root/test:EX_Thing", true},
                   {onClass, "root/test/:EX_THING", true},
                   {onClass, "root/test:EX_Thing.Id=\"a\"", false},
                   {onClass, "root/other:EX_Thing", false},
                   {onClass, "root/test:", false},
                   {onClass, "root/test", false},
                   {onClass, "EX_Thing", false}};
    for (const auto& [target, object, isSame] : rows) {
        const std::string body = message("<SIMPLEREQ><METHODCALL NAME=\"Reset\">" + target +
                                         "<PARAMVALUE NAME=\"Force\" PARAMTYPE=\"boolean\">" + value("TRUE") +
                                         "</PARAMVALUE></METHODCALL></SIMPLEREQ>");
        const Answer answer = send(post(body, "Reset", object));
        EXPECT_EQ(answer.header("CIMError"), isSame ? "none" : "header-mismatch") << object;
        if (isSame) {
            EXPECT_THAT(answer.http.body,
                        HasSubstr("<SIMPLERSP><METHODRESPONSE NAME=\"Reset\"><ERROR CODE=\"7\" "
                                  "DESCRIPTION=\"CIM_ERR_NOT_SUPPORTED: "));
            EXPECT_THAT(answer.http.body, testing::EndsWith("</METHODRESPONSE></SIMPLERSP></MESSAGE></CIM>"));
        }
    }
}

TEST_F(MessageAnswers, NeverTakeAMethodCallForAnIntrinsicOne) {
    const std::string body = message(
        "<SIMPLEREQ><METHODCALL NAME=\"EnumerateQualifiers\"><LOCALCLASSPATH><LOCALNAMESPACEPATH><NAMESPACE "
        "NAME=\"root/test\"/></LOCALNAMESPACEPATH><CLASSNAME NAME=\"EX_Thing\"/></LOCALCLASSPATH>"
        "</METHODCALL></SIMPLEREQ>");
    EXPECT_EQ(send(post(body, "EnumerateQualifiers", "root/test:EX_Thing")).code(), 7);
}

// Operations that are not served.

TEST_F(MessageAnswers, TellThatAnOperationIsNotSupported_BeforeAnythingElseIsLookedAt) {
    for (const char* operation :
         {"GetProperty", "SetProperty", "ModifyClass", "ExecQuery", "OpenEnumerateInstances",
          "OpenEnumerateInstancePaths", "OpenReferenceInstances", "OpenReferenceInstancePaths",
          "OpenAssociatorInstances", "OpenAssociatorInstancePaths", "OpenQueryInstances",
          "PullInstancesWithPath", "PullInstancePaths", "PullInstances", "CloseEnumeration",
          "EnumerationCount", "InvokeMethod", "getclasses", "x"}) {
        const Answer answer = call(operation, {{"Anything", value("x")}}, "root/nowhere");
        EXPECT_EQ(answer.code(), 7) << operation;
        EXPECT_THAT(answer.http.body, HasSubstr(std::string("<IMETHODRESPONSE NAME=\"") + operation + "\">"));
    }
}

TEST_F(MessageAnswers, QuoteALongNameShortened) {
    const Answer answer = call(std::string(10'000, 'a'));
    EXPECT_EQ(answer.code(), 7);
    EXPECT_LT(answer.description().size(), 200U);
}

TEST_F(MessageAnswers, TellThatTheNamespaceIsUnknown_BeforeTheParametersAreLookedAt) {
    for (const char* operation : {"GetClass",
                                  "EnumerateClasses",
                                  "EnumerateClassNames",
                                  "CreateClass",
                                  "DeleteClass",
                                  "GetQualifier",
                                  "SetQualifier",
                                  "DeleteQualifier",
                                  "EnumerateQualifiers",
                                  "GetInstance",
                                  "EnumerateInstances",
                                  "EnumerateInstanceNames",
                                  "CreateInstance",
                                  "ModifyInstance",
                                  "DeleteInstance",
                                  "Associators",
                                  "AssociatorNames",
                                  "References",
                                  "ReferenceNames",
                                  "Subscribe",
                                  "Unsubscribe",
                                  "RegisterNotificationChannel",
                                  "HeartBeat"}) {
        const Answer nowhere = call(operation, {{"Unknown", value("x")}}, "root/nowhere");
        EXPECT_EQ(nowhere.code(), 3) << operation;
        EXPECT_THAT(nowhere.description(), HasSubstr("root/nowhere"));
        const Answer here = call(operation, {{"Unknown", value("x")}});
        EXPECT_EQ(here.code(), 4) << operation;
        EXPECT_THAT(here.description(), HasSubstr("Unknown"));
    }
}

}  // namespace velm::test
