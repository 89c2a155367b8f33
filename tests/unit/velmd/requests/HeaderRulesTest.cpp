#include "tests/unit/velmd/requests/RequestSupport.h"
#include "velmd/model/CIMName.h"

#include <algorithm>
#include <array>

// What is decided before a message becomes an operation: by method, path and headers.

namespace velm::test {

namespace {

const std::string body = intrinsicCall("EnumerateQualifiers", {});

HTTPRequest good() {
    return post(body, "EnumerateQualifiers");
}

struct HeaderCase {
    const char* name;
    const char* header;
    /// "-" for a header that is not there.
    const char* value;
    unsigned int status;
    /// "none" where there must be no such header.
    const char* cimError;
};

void PrintTo(const HeaderCase& row, std::ostream* out) {
    *out << row.header << ": " << row.value;
}

constexpr HeaderCase headerCases[]{
    {"TypeApplication", "Content-Type", "application/xml", 200, "none"},
    {"TypeText", "Content-Type", "text/xml; charset=utf-8", 200, "none"},
    {"TypeInCapitals", "Content-Type", "Application/XML;CharSet=\"UTF-8\"", 200, "none"},
    {"TypeWithOtherParameters", "content-type", "text/xml; boundary=x ; charset = utf-8", 200, "none"},
    {"TypeMissing", "Content-Type", "-", 400, "header-mismatch"},
    {"TypeOther", "Content-Type", "application/json", 400, "header-mismatch"},
    {"TypeLonger", "Content-Type", "application/xmlx", 400, "header-mismatch"},
    {"CharsetLatin1", "Content-Type", "application/xml; charset=iso-8859-1", 400, "header-mismatch"},
    {"CharsetUTF16", "Content-Type", "application/xml; charset=\"utf-16\"", 400, "header-mismatch"},
    {"CharsetASCII", "Content-Type", "application/xml; charset=us-ascii", 400, "header-mismatch"},
    {"CharsetEmpty", "Content-Type", "application/xml; charset=", 400, "header-mismatch"},
    {"CharsetTwiceTheSame", "Content-Type", "text/xml; charset=utf-8; charset=\"UTF-8\"", 200, "none"},
    {"CharsetFirstRight", "Content-Type", "text/xml; charset=utf-8; charset=utf-16", 400, "header-mismatch"},
    {"CharsetSecondRight", "Content-Type", "text/xml; charset=utf-16; charset=utf-8", 400, "header-mismatch"},
    {"CharsetInAQuote", "Content-Type", "text/xml; x=\"; charset=utf-8\"; charset=utf-16", 400,
     "header-mismatch"},
    {"TwoTypes", "Content-Type", "text/xml, application/xml", 400, "header-mismatch"},

    {"EncodingIdentity", "Content-Encoding", "Identity", 200, "none"},
    {"EncodingGzip", "Content-Encoding", "gzip", 415, "none"},
    {"EncodingList", "Content-Encoding", "identity, gzip", 415, "none"},

    {"AcceptAnything", "Accept", "*/*", 200, "none"},
    {"AcceptText", "Accept", "text/xml", 200, "none"},
    {"AcceptOneOfSeveral", "Accept", "text/html;q=0.9, application/xml ; q=0.1", 200, "none"},
    {"AcceptRange", "Accept", "image/png,application/*", 200, "none"},
    {"AcceptNothingInParticular", "Accept", "", 200, "none"},
    {"AcceptOther", "Accept", "text/html, image/*", 406, "none"},
    {"AcceptAllButXML", "Accept", "text/html, */*;q=0, text/xml;q=0.00", 406, "none"},

    {"AcceptCharsetUTF8", "Accept-Charset", "iso-8859-1;q=0.5, UTF-8", 200, "none"},
    {"AcceptCharsetAny", "Accept-Charset", "*", 200, "none"},
    {"AcceptCharsetOther", "Accept-Charset", "iso-8859-1", 406, "none"},
    {"AcceptCharsetAllButUTF8", "Accept-Charset", "iso-8859-1, utf-8;q=0", 406, "none"},
    {"AcceptEncodingCompressed", "Accept-Encoding", "gzip, deflate", 200, "none"},
    {"AcceptEncodingAny", "Accept-Encoding", "gzip, *;q=0.1", 200, "none"},
    {"AcceptEncodingIdentityOnly", "Accept-Encoding", "identity, *;q=0", 200, "none"},
    {"AcceptEncodingWithoutIdentity", "Accept-Encoding", "gzip, identity;q=0", 406, "none"},
    {"AcceptEncodingNothingElse", "Accept-Encoding", "gzip, *;q=0", 406, "none"},
    {"Range", "Range", "bytes=0-99", 406, "none"},
    {"IfRange", "If-Range", "\"a\"", 406, "none"},
    {"ContentRange", "Content-Range", "bytes 0-99/200", 406, "none"},
    {"AcceptRanges", "Accept-Ranges", "bytes", 406, "none"},

    {"OperationInOtherLetters", "CIMOperation", "methodcall", 200, "none"},
    {"OperationMissing", "CIMOperation", "-", 400, "unsupported-operation"},
    {"OperationOther", "CIMOperation", "MethodResponse", 400, "unsupported-operation"},
    {"OperationEmpty", "CIMOperation", "", 400, "unsupported-operation"},
    {"OperationList", "CIMOperation", "MethodCall, MethodCall", 400, "unsupported-operation"},
    {"Batch", "CIMBatch", "", 501, "multiple-requests-unsupported"},

    {"MethodInOtherLetters", "CIMMethod", "enumeratequalifiers", 200, "none"},
    {"MethodEncoded", "CIMMethod", "Enumerate%51ualifiers", 200, "none"},
    {"MethodMissing", "CIMMethod", "-", 400, "header-mismatch"},
    {"MethodOther", "CIMMethod", "GetClass", 400, "header-mismatch"},
    {"MethodWithABrokenEscape", "CIMMethod", "EnumerateQualifiers%4", 400, "header-mismatch"},
    {"MethodEncodedTwice", "CIMMethod", "Enumerate%2551ualifiers", 400, "header-mismatch"},

    {"ObjectInOtherLetters", "CIMObject", "ROOT/Test", 200, "none"},
    {"ObjectEncoded", "CIMObject", "root%2Ftest", 200, "none"},
    {"ObjectEncodedInSmallLetters", "CIMObject", "root%2ftest", 200, "none"},
    {"ObjectWithOuterSlashes", "CIMObject", "/root/test/", 200, "none"},
    {"ObjectMissing", "CIMObject", "-", 400, "header-mismatch"},
    {"ObjectOther", "CIMObject", "root/other", 400, "header-mismatch"},
    {"ObjectShorter", "CIMObject", "root", 400, "header-mismatch"},
    {"ObjectList", "CIMObject", "root/test, root/test", 400, "header-mismatch"},
    {"ObjectWithAZeroByte", "CIMObject", "root/test%00", 400, "header-mismatch"},
    {"ObjectWithClass", "CIMObject", "root/test:EX_Thing", 400, "header-mismatch"},

    {"VersionSame", "CIMProtocolVersion", "1.0", 200, "none"},
    {"VersionNewerThanTheMessage", "CIMProtocolVersion", "1.4", 400, "header-mismatch"},
    {"VersionOfAnotherKind", "CIMProtocolVersion", "2.0", 501, "unsupported-protocol-version"},
    {"VersionNoNumber", "CIMProtocolVersion", "new", 501, "unsupported-protocol-version"},
    {"VersionEmpty", "CIMProtocolVersion", "", 501, "unsupported-protocol-version"},
    {"VersionList", "CIMProtocolVersion", "1.0, 1.0", 501, "unsupported-protocol-version"},
};

class HeaderRules : public RequestTest, public testing::WithParamInterface<HeaderCase> {};

/// Looks for what a header must never hold.
bool isPlain(const std::string& text) {
    return std::ranges::all_of(text, [](char letter) { return letter >= ' ' && letter <= '~'; });
}

}  // namespace

TEST_P(HeaderRules, DecideWhatIsAnswered) {
    const HeaderCase& row = GetParam();
    const Answer answer = send(withHeader(good(), row.header, row.value));
    EXPECT_EQ(answer.http.status, row.status) << testing::PrintToString(answer);
    EXPECT_EQ(answer.header("CIMError"), row.cimError);
    if (row.status == 200) {
        EXPECT_EQ(answer.code(), 0);
        EXPECT_NE(answer.returned(), "nothing");
    } else {
        EXPECT_EQ(answer.http.body, "");
        EXPECT_EQ(answer.header("CIMOperation"), "MethodResponse");
        EXPECT_TRUE(isPlain(answer.header("CIMErrorDetails"))) << answer.header("CIMErrorDetails");
        EXPECT_NE(answer.header("CIMErrorDetails"), "none");
    }
}

INSTANTIATE_TEST_SUITE_P(Headers, HeaderRules, testing::ValuesIn(headerCases),
                         [](const auto& row) { return row.param.name; });

using HTTPRules = RequestTest;

TEST_F(HTTPRules, DescribeTheServer_WhenAskedForItsOptions) {
    for (const char* target : {"/cimom", "*"}) {
        HTTPRequest request;
        request.method = "OPTIONS";
        request.target = target;
        const Answer answer{handler.handle(request)};
        EXPECT_EQ(answer.http.status, 200U);
        EXPECT_EQ(answer.http.body, "");
        EXPECT_EQ(answer.header("Allow"), "POST, OPTIONS");
        EXPECT_EQ(answer.header("Opt"), "http://www.dmtf.org/cim/mapping/http/v1.0 ; ns=73");
        EXPECT_EQ(answer.header("73-CIMProtocolVersion"), "1.0");
        EXPECT_EQ(answer.header("73-CIMSupportedFunctionalGroups"),
                  "basic-read, basic-write, schema-manipulation, instance-manipulation, "
                  "association-traversal, qualifier-declaration");
    }
}

TEST_F(HTTPRules, RefuseOtherMethods_WithTheStatusThatFitsEach) {
    const std::pair<const char*, unsigned int> rows[]{{"M-POST", 501}, {"GET", 405},   {"HEAD", 405},
                                                      {"PUT", 405},    {"TRACE", 405}, {"post", 405}};
    for (const auto& [method, status] : rows) {
        HTTPRequest request = good();
        request.method = method;
        const Answer answer = send(request);
        EXPECT_EQ(answer.http.status, status) << method;
        EXPECT_EQ(answer.header("Allow"), status == 405 ? "POST, OPTIONS" : "none") << method;
        EXPECT_EQ(answer.header("CIMError"), "none") << method;
        EXPECT_EQ(answer.http.body, "");
    }
}

/// DSP0200 has clients send a request again as a POST when it is answered with 501 (or 510).
TEST_F(HTTPRules, ServeTheRequestAsAPost_AfterItWasRefusedAsAnMPost) {
    HTTPRequest request = good();
    HTTPRequest mandatory = request;
    mandatory.method = "M-POST";
    for (auto& [name, fieldValue] : mandatory.headers) {
        name = name.starts_with("CIM") ? "73-" + name : name;
    }
    mandatory.headers.emplace_back("Man", "http://www.dmtf.org/cim/mapping/http/v1.0 ; ns=73");
    EXPECT_EQ(send(mandatory).http.status, 501U);
    EXPECT_EQ(send(request).http.status, 200U);
}

TEST_F(HTTPRules, ServeTwoPathsInAllTheirForms_AndNoOther) {
    const std::pair<const char*, unsigned int> rows[]{{"/cimom", 200},
                                                      {"/", 200},
                                                      {"/cimom?x=y", 200},
                                                      {"http://127.0.0.1:5988/cimom", 200},
                                                      {"HTTP://host.example/", 200},
                                                      {"http://host.example", 200},
                                                      {"/cimom/", 404},
                                                      {"/CIMOM", 404},
                                                      {"//cimom", 404},
                                                      {"/indication", 404},
                                                      {"http://host.example/other", 404},
                                                      {"cimom", 404}};
    for (const auto& [target, status] : rows) {
        HTTPRequest request = good();
        request.target = target;
        EXPECT_EQ(send(request).http.status, status) << target;
    }
}

TEST_F(HTTPRules, RefuseAHeaderThatIsThereTwice_WhateverItSays) {
    const std::array<const char*, 3> rows[]{{"Content-Type", "application/xml", "text/plain"},
                                            {"CIMOperation", "MethodCall", "MethodResponse"},
                                            {"CIMProtocolVersion", "1.0", "2.0"},
                                            {"CIMMethod", "EnumerateQualifiers", "DeleteClass"},
                                            {"CIMObject", "root/test", "root/other"}};
    for (const auto& [name, right, wrong] : rows) {
        const std::pair<const char*, const char*> values[]{{right, right}, {right, wrong}, {wrong, right}};
        for (const auto& [first, second] : values) {
            HTTPRequest request = withHeader(good(), name, first);
            request.headers.emplace_back(foldedName(name), second);
            const Answer answer = send(request);
            EXPECT_EQ(answer.http.status, 400U) << name << first << second;
            EXPECT_EQ(answer.header("CIMError"), "header-mismatch");
            EXPECT_EQ(answer.header("CIMErrorDetails"), std::string(name) + " is there twice");
        }
    }
}

TEST_F(HTTPRules, LookAtEveryContentEncoding_WhenThereAreSeveral) {
    HTTPRequest request = withHeader(good(), "Content-Encoding", "identity");
    request.headers.emplace_back("Content-Encoding", "identity");
    EXPECT_EQ(send(request).http.status, 200U);
    request.headers.emplace_back("Content-Encoding", "gzip");
    EXPECT_EQ(send(request).http.status, 415U);
}

TEST_F(HTTPRules, LookAtEveryAcceptHeader_WhenThereAreSeveral) {
    HTTPRequest request = good();
    request.headers.emplace_back("Accept", "text/html");
    EXPECT_EQ(send(request).http.status, 406U);
    request.headers.emplace_back("Accept", "text/xml");
    EXPECT_EQ(send(request).http.status, 200U);
}

TEST_F(HTTPRules, ChallengeTheClient_WhenTheServerAsksForAuthentication) {
    const RequestHandler guarded(
        {repository, instances, manager, "host.example", [](std::string_view, const ResolvedClass&) {}}, {},
        [](const HTTPRequest& http) {
            return http.header("Authorization") ? std::nullopt
                                                : std::optional<std::string>("Basic realm=\"velmd\"");
        });
    const Answer challenged{guarded.handle(good())};
    EXPECT_EQ(challenged.http.status, 401U);
    EXPECT_EQ(challenged.header("WWW-Authenticate"), "Basic realm=\"velmd\"");
    EXPECT_EQ(challenged.http.body, "");
    const Answer passed{guarded.handle(withHeader(good(), "Authorization", "Basic eA=="))};
    EXPECT_EQ(passed.http.status, 200U);
    EXPECT_EQ(passed.code(), 0);
}

TEST_F(HTTPRules, CheckTheHeadersBeforeTheBody_WhenBothAreWrong) {
    HTTPRequest request = good();
    request.body = "no XML";
    EXPECT_EQ(send(withHeader(request, "CIMOperation", "-")).header("CIMError"), "unsupported-operation");
    EXPECT_EQ(send(request).header("CIMError"), "request-not-well-formed");
}

}  // namespace velm::test
