#include "velmd/faces/Faces.h"

#include "tests/support/SampleStatus.h"
#include "tests/support/VelmdProcess.h"

#include <array>
#include <ostream>
#include <string>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

namespace velm::test {

namespace {

using testing::HasSubstr;
using testing::Not;
using testing::StartsWith;

HTTPRequest get(const std::string& target, const std::string& host = "127.0.0.1:5988") {
    HTTPRequest request;
    request.method = "GET";
    request.target = target;
    request.headers = {{"Host", host}};
    return request;
}

HTTPRequest withMethod(HTTPRequest request, const std::string& method) {
    request.method = method;
    return request;
}

std::string headerOf(const HTTPResponse& response, std::string_view name) {
    for (const auto& [each, value] : response.headers) {
        if (each == name) {
            return value;
        }
    }
    return "none";
}

constexpr const char* paths[]{"/",       "/style.css", "/tables",      "/healthz",
                              "/readyz", "/metrics",   "/status.json", "/log"};

class FacesTest : public testing::Test {
protected:
    HTTPResponse ask(const HTTPRequest& request) const {
        const auto response = faces.handle(request);
        EXPECT_TRUE(response) << request.method << ' ' << request.target;
        return response.value_or(HTTPResponse());
    }

    Faces::Sources sources() {
        return {[] { return livelyStatus(); },
                [](const status::ServerStatus& status) { return "{\"version\":\"" + status.version + "\"}"; },
                [](const status::ServerStatus& status) {
                    return "velm_delivered_total " + std::to_string(status.counters.delivered) + "\n";
                },
                [](std::ostream& out) { out << "<TABLE BORDER><TR><TD><b>raw</b></TD></TR></TABLE>"; },
                [](std::ostream& out) { out << "<TABLE BORDER></TABLE>"; },
                [this] { return illness; },
                [this] { return notReady; },
                directory.path() / "log",
                "cim.example.org",
                "node7"};
    }

    std::string illness;
    std::string notReady;
    const TemporaryDirectory directory;
    const Faces faces{sources()};
};

}  // namespace

TEST_F(FacesTest, AnswerWithWhatEachPathIsFor) {
    const std::array<const char*, 3> rows[]{
        {"/", "text/html; charset=utf-8", "<h1>Attention</h1>"},
        {"/?refresh=off", "text/html; charset=utf-8", "go on</a>"},
        {"/?x=1&refresh=off#y", "text/html; charset=utf-8", "go on</a>"},
        {"http://localhost:5988/?refresh=off", "text/html; charset=utf-8", "go on</a>"},
        {"http://localhost", "text/html; charset=utf-8", "pause</a>"},
        {"/?refresh=on", "text/html; charset=utf-8", "pause</a>"},
        {"/?%", "text/html; charset=utf-8", "pause</a>"},
        {"/style.css", "text/css; charset=utf-8", "prefers-color-scheme"},
        {"/healthz", "text/plain; charset=utf-8", "ok\n"},
        {"/readyz", "text/plain; charset=utf-8", "ready\n"},
        {"/metrics", "text/plain; version=0.0.4; charset=utf-8", "velm_delivered_total 1005338\n"},
        {"/status.json", "application/json", "{\"version\":\"0.1.0\"}"},
    };
    for (const auto& [target, type, part] : rows) {
        const HTTPResponse response = ask(get(target));
        EXPECT_EQ(response.status, 200U) << target;
        EXPECT_EQ(headerOf(response, "Content-Type"), type) << target;
        EXPECT_THAT(response.body, HasSubstr(part)) << target;
    }
}

TEST_F(FacesTest, GiveTheTablesAsTheyAre_ToWhoDoesNotAcceptPages) {
    for (const char* accepted : {"*/*", "text/plain", "application/json"}) {
        HTTPRequest request = get("/tables");
        request.headers.emplace_back("Accept", accepted);
        const HTTPResponse response = ask(request);
        EXPECT_EQ(headerOf(response, "Content-Type"), "text/plain; charset=utf-8");
        EXPECT_EQ(headerOf(response, "Vary"), "Accept");
        EXPECT_EQ(response.body, "<TABLE BORDER><TR><TD><b>raw</b></TD></TR></TABLE>");
    }
    EXPECT_EQ(headerOf(ask(get("/tables")), "Content-Type"), "text/plain; charset=utf-8");
}

TEST_F(FacesTest, GiveTheTablesAsADocument_ToBrowsers) {
    HTTPRequest request = get("/tables");
    request.headers.emplace_back("accept", "text/html,application/xhtml+xml,*/*;q=0.8");
    const HTTPResponse response = ask(request);
    EXPECT_EQ(headerOf(response, "Content-Type"), "text/html; charset=utf-8");
    EXPECT_EQ(headerOf(response, "Vary"), "Accept");
    EXPECT_THAT(response.body, HasSubstr("<TABLE BORDER><TR><TD>&lt;b>raw&lt;/b></TD></TR></TABLE>"));
}

TEST_F(FacesTest, GiveAnExcerptOfTheTables_WithAllThatGuardsThem) {
    for (const char* accepted : {"*/*", "text/html"}) {
        HTTPRequest request = get("/tables?excerpt");
        request.headers.emplace_back("Accept", accepted);
        const HTTPResponse response = ask(request);
        EXPECT_EQ(headerOf(response, "Content-Type"), "text/html; charset=utf-8");
        EXPECT_EQ(headerOf(response, "Content-Security-Policy"),
                  headerOf(ask(get("/tables")), "Content-Security-Policy"));
        EXPECT_THAT(response.body, HasSubstr("<p>As of "));
        EXPECT_THAT(response.body, HasSubstr("<TABLE BORDER><TR><TD>&lt;b>raw&lt;/b></TD></TR></TABLE>"));
    }
}

TEST_F(FacesTest, AnswerAHeadAsAGet) {
    for (const char* path : paths) {
        const HTTPResponse response = ask(withMethod(get(path), "HEAD"));
        EXPECT_EQ(response.status, 200U) << path;
        EXPECT_EQ(response.headers, ask(get(path)).headers) << path;
    }
}

TEST_F(FacesTest, ForbidScriptsAndStorage_WithEveryAnswer) {
    for (const std::string target : {"/", "/style.css", "/tables", "/healthz", "/readyz", "/metrics",
                                     "/status.json", "/log", "/log?from=x", "/none"}) {
        const HTTPResponse response = ask(get(target));
        EXPECT_THAT(headerOf(response, "Content-Security-Policy"), StartsWith("default-src 'none'; "))
            << target;
        EXPECT_THAT(headerOf(response, "Content-Security-Policy"), Not(HasSubstr("script"))) << target;
        EXPECT_THAT(headerOf(response, "Content-Security-Policy"), Not(HasSubstr("unsafe"))) << target;
        EXPECT_THAT(headerOf(response, "Content-Security-Policy"), HasSubstr("frame-ancestors '")) << target;
        EXPECT_EQ(headerOf(response, "X-Content-Type-Options"), "nosniff") << target;
        EXPECT_EQ(headerOf(response, "Referrer-Policy"), "no-referrer") << target;
        EXPECT_EQ(headerOf(response, "Cross-Origin-Resource-Policy"), "same-origin") << target;
        EXPECT_EQ(headerOf(response, "Cache-Control"), "no-store") << target;
        EXPECT_EQ(headerOf(response, "Access-Control-Allow-Origin"), "none") << target;
    }
    EXPECT_THAT(headerOf(ask(get("/tables")), "Content-Security-Policy"),
                StartsWith("default-src 'none'; sandbox; "));
    EXPECT_THAT(headerOf(ask(get("/")), "Content-Security-Policy"), HasSubstr("form-action 'none'; "));
}

TEST_F(FacesTest, RefuseARequestThatNamesAnotherHost) {
    for (const char* path : paths) {
        const HTTPResponse response = ask(get(path, "rebound.example.net:5988"));
        EXPECT_EQ(response.status, 421U) << path;
        EXPECT_THAT(response.body, HasSubstr("the Host header must be a loopback address, localhost"))
            << path;
        EXPECT_THAT(response.body, HasSubstr("it is 'rebound.example.net:5988'")) << path;
    }
    for (const char* host : {"127.0.0.1", "[::1]:1", "localhost:80", "node7", "CIM.example.org:5988"}) {
        EXPECT_EQ(ask(get("/healthz", host)).status, 200U) << host;
    }
}

TEST_F(FacesTest, RefuseARequestThatNamesNoHost) {
    HTTPRequest request = get("/status.json");
    request.headers.clear();
    EXPECT_EQ(ask(request).status, 421U);
    EXPECT_THAT(ask(request).body, HasSubstr("there is none"));
}

TEST_F(FacesTest, LookAtBothHosts_WhenTheTargetIsAWholeURL) {
    EXPECT_EQ(ask(get("http://localhost/status.json", "localhost")).status, 200U);
    EXPECT_EQ(ask(get("http://rebound.example.net/status.json", "localhost")).status, 421U);
    EXPECT_EQ(ask(get("http://localhost/status.json", "rebound.example.net")).status, 421U);
    EXPECT_EQ(ask(get("http://localhost@rebound.example.net/status.json", "localhost")).status, 421U);
}

TEST_F(FacesTest, RefuseAnOperation_WhenAPageOfAnotherHostSendsIt) {
    for (const char* origin : {"http://rebound.example.net:5988", "https://localhost.example.net",
                               "http://localhost@rebound.example.net", "null", "", "localhost"}) {
        for (const char* path : {"/cimom", "/"}) {
            HTTPRequest request = withMethod(get(path), "POST");
            request.headers.emplace_back("Origin", origin);
            const HTTPResponse response = ask(request);
            EXPECT_EQ(response.status, 403U) << origin;
            EXPECT_THAT(response.body, HasSubstr("the Origin header is '" + std::string(origin) + "'"));
        }
    }
    for (const char* origin :
         {"http://localhost:5988", "http://127.0.0.1", "http://[::1]:5988", "https://node7"}) {
        HTTPRequest request = withMethod(get("/cimom"), "POST");
        request.headers.emplace_back("Origin", origin);
        EXPECT_FALSE(faces.handle(request)) << origin;
    }
}

TEST_F(FacesTest, CutTheHostThatTheyRefuse) {
    EXPECT_LT(ask(get("/", std::string(10'000, 'h'))).body.size(), 400U);
}

TEST_F(FacesTest, SayWhatThereIs_WhenThereIsNoSuchPath) {
    for (const char* target : {"/status", "/tables/", "/HEALTHZ", "//", "/../metrics", "/index.html", "*",
                               "x", "/%74ables", "//healthz"}) {
        const HTTPResponse response = ask(get(target));
        EXPECT_EQ(response.status, 404U) << target;
        EXPECT_THAT(response.body, HasSubstr("There is: /, /tables, /healthz")) << target;
    }
}

TEST_F(FacesTest, LeaveOperationsToOthers) {
    for (const char* method : {"POST", "M-POST", "OPTIONS"}) {
        EXPECT_FALSE(faces.handle(withMethod(get("/"), method))) << method;
        EXPECT_FALSE(Faces::isFor(withMethod(get("/"), method))) << method;
    }
    for (const char* method : {"GET", "HEAD", "POST", "OPTIONS", "PUT"}) {
        EXPECT_FALSE(faces.handle(withMethod(get("/cimom"), method))) << method;
    }
    for (const char* method : {"POST", "OPTIONS", "PUT"}) {
        EXPECT_FALSE(faces.handle(withMethod(get("/other"), method))) << method;
    }
    EXPECT_FALSE(faces.handle(withMethod(get("*"), "OPTIONS")));
}

TEST_F(FacesTest, NameTheMethodsThatAreAllowed) {
    for (const char* path : paths) {
        for (const char* method : {"PUT", "DELETE", "TRACE", "get"}) {
            const HTTPResponse response = ask(withMethod(get(path), method));
            EXPECT_EQ(response.status, 405U) << method << path;
            EXPECT_EQ(headerOf(response, "Allow"),
                      std::string(path) == "/" ? "GET, HEAD, POST, OPTIONS" : "GET, HEAD");
        }
    }
    EXPECT_EQ(ask(withMethod(get("/tables"), "POST")).status, 405U);
    EXPECT_EQ(ask(withMethod(get("/log"), "OPTIONS")).status, 405U);
}

TEST_F(FacesTest, TellWhatIsWrong_WhenTheServerDoesNotGetOn) {
    illness = "nothing moves";
    const HTTPResponse health = ask(get("/healthz"));
    EXPECT_EQ(health.status, 503U);
    EXPECT_EQ(health.body, "not healthy: nothing moves\n");
    EXPECT_EQ(ask(get("/readyz")).status, 200U);
    EXPECT_THAT(ask(get("/")).body, HasSubstr("nothing moves"));
}

TEST_F(FacesTest, TellWhyTheServerIsNotReady) {
    notReady = "indications are switched off";
    const HTTPResponse readiness = ask(get("/readyz"));
    EXPECT_EQ(readiness.status, 503U);
    EXPECT_EQ(readiness.body, "not ready: indications are switched off\n");
    EXPECT_EQ(ask(get("/healthz")).status, 200U);
}

TEST_F(FacesTest, GiveTheRecordOfIndicationsFromAByteOn) {
    directory.write("log", "first\nsecond\n");
    const std::array<const char*, 3> rows[]{{"/log", "first\nsecond\n", "0"},
                                            {"/log?from=6", "second\n", "6"},
                                            {"/log?from=-7", "second\n", "6"},
                                            {"/log?from=13", "", "13"},
                                            {"/log?from=14", "first\nsecond\n", "0"}};
    for (const auto& [target, text, from] : rows) {
        const HTTPResponse response = ask(get(target));
        EXPECT_EQ(response.status, 200U) << target;
        EXPECT_EQ(response.body, text) << target;
        EXPECT_EQ(headerOf(response, "X-Log-From"), from) << target;
        EXPECT_EQ(headerOf(response, "X-Log-Size"), "13") << target;
        EXPECT_EQ(headerOf(response, "Content-Type"), "text/plain; charset=utf-8");
    }
}

TEST_F(FacesTest, GiveAnEmptyRecord_WhenThereIsNone) {
    const HTTPResponse response = ask(get("/log?from=0"));
    EXPECT_EQ(response.status, 200U);
    EXPECT_EQ(headerOf(response, "X-Log-Size"), "0");
}

TEST_F(FacesTest, RefuseAPlaceThatIsNoNumber) {
    for (const char* place : {"x", "", "1x", "1.5", "%31%32x", "99999999999999999999", "+1", "0x1"}) {
        const HTTPResponse response = ask(get(std::string("/log?from=") + place));
        EXPECT_EQ(response.status, 400U) << place;
        EXPECT_THAT(response.body, StartsWith("'from' must be a number of bytes"));
    }
}

}  // namespace velm::test
