#include "velmd/http/ResponseFraming.h"

#include <chrono>

#include <gmock/gmock.h>

using namespace velm;
using namespace std::chrono_literals;

namespace {

const std::chrono::system_clock::time_point now =
    std::chrono::sys_days(std::chrono::year(1994) / 11 / 6) + 8h + 49min + 37s + 900ms;

HTTPResponse response(unsigned int status, std::string body = "",
                      std::vector<std::pair<std::string, std::string>> headers = {}) {
    return {.status = status, .headers = std::move(headers), .body = std::move(body), .takeOver = {}};
}

}  // namespace

TEST(ResponseFraming, WritesTheHeadToTheByte_WhenAHandlerGivesHeadersAndABody) {
    EXPECT_EQ(makeHead(response(200, "hello", {{"Content-Type", "application/xml"}, {"CIMOperation", "x"}}),
                       Persistence::keepAlive, "velmd", now),
              "HTTP/1.1 200 OK\r\nDate: Sun, 06 Nov 1994 08:49:37 GMT\r\nServer: velmd\r\n"
              "Content-Type: application/xml\r\nCIMOperation: x\r\nContent-Length: 5\r\n\r\n");
}

TEST(ResponseFraming, TellsWhatBecomesOfTheConnection_WhereTheClientCannotKnow) {
    EXPECT_EQ(makeHead(response(400), Persistence::close, "s", now),
              "HTTP/1.1 400 Bad Request\r\nDate: Sun, 06 Nov 1994 08:49:37 GMT\r\nServer: s\r\n"
              "Content-Length: 0\r\nConnection: close\r\n\r\n");
    EXPECT_EQ(makeHead(response(200), Persistence::announcedKeepAlive, "s", now),
              "HTTP/1.1 200 OK\r\nDate: Sun, 06 Nov 1994 08:49:37 GMT\r\nServer: s\r\n"
              "Content-Length: 0\r\nConnection: keep-alive\r\n\r\n");
}

TEST(ResponseFraming, LeavesOutTheHandlersOwn_WhereTheServerSpeaks) {
    const auto own = response(200, "",
                              {{"content-length", "7"},
                               {"DATE", "x"},
                               {"Server", "x"},
                               {"connection", "close"},
                               {"Transfer-Encoding", "chunked"},
                               {"Allow", "POST"}});
    EXPECT_EQ(makeHead(own, Persistence::keepAlive, "s", now),
              "HTTP/1.1 200 OK\r\nDate: Sun, 06 Nov 1994 08:49:37 GMT\r\nServer: s\r\nAllow: POST\r\n"
              "Content-Length: 0\r\n\r\n");
}

TEST(ResponseFraming, WritesNoLength_WhenTheStatusHasNoBody) {
    for (const unsigned int status : {204U, 304U}) {
        const std::string head = makeHead(response(status, "x"), Persistence::keepAlive, "s", now);
        EXPECT_EQ(head.find("Content-Length"), std::string::npos);
        EXPECT_FALSE(isBodySent(status, false));
    }
    EXPECT_FALSE(isBodySent(200, true));
    EXPECT_TRUE(isBodySent(200, false));
}

TEST(ResponseFraming, HasAnEmptyReason_WhenTheStatusIsUnknown) {
    EXPECT_TRUE(
        makeHead(response(299), Persistence::keepAlive, "s", now).starts_with("HTTP/1.1 299 \r\nDate: "));
}

TEST(ResponseFraming, FindsWhatWouldBreakTheFraming) {
    EXPECT_EQ(flawOf(response(200, "", {{"X-Y", "a\tb \xC3\xA4"}, {"Z", ""}})), "");
    for (const unsigned int status : {0U, 100U, 199U, 600U}) {
        EXPECT_EQ(flawOf(response(status)), "its status is not between 200 and 599");
    }
    for (const char* name : {"", "a b", "a:", "a\r\n", "\xC3\xA4"}) {
        EXPECT_EQ(flawOf(response(200, "", {{name, "x"}})), "the name of a header is not a token");
    }
    for (const std::string& value : {std::string("a\r\nb"), std::string("\n"), std::string("\0", 1)}) {
        EXPECT_EQ(flawOf(response(200, "", {{"X", value}})),
                  "the value of a header holds a control character");
    }
}

TEST(ResponseFraming, WritesDatesInEnglish_WhateverTheDay) {
    using namespace std::chrono;
    EXPECT_EQ(formatDate(sys_days(2024y / 2 / 29)), "Thu, 29 Feb 2024 00:00:00 GMT");
    EXPECT_EQ(formatDate(sys_days(2025y / 12 / 31) + 23h + 59min + 59s), "Wed, 31 Dec 2025 23:59:59 GMT");
    EXPECT_EQ(formatDate(sys_days(1970y / 1 / 1)), "Thu, 01 Jan 1970 00:00:00 GMT");
}
