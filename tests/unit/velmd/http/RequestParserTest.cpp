#include "velmd/http/RequestParser.h"

#include "tests/unit/velmd/http/RefusedRequests.h"

#include <algorithm>
#include <charconv>
#include <string>

#include <gmock/gmock.h>

using namespace velm;
using namespace velm::test;
using testing::ElementsAre;
using testing::IsEmpty;
using testing::Pair;
using Step = RequestParser::Step;

namespace {

/// Feeds bytes in pieces, as a socket may deliver them, and keeps what the parser leaves.
class Feeder {
public:
    explicit Feeder(const HTTPLimits& limits = HTTPLimits()) : _limits(limits), parser(_limits) {}

    Step feed(std::string_view bytes, std::size_t pieceSize) {
        Step step = Step::incomplete;
        while (!bytes.empty() && (step == Step::incomplete || step == Step::bodyFollows)) {
            rest += bytes.substr(0, pieceSize);
            bytes.remove_prefix(std::min(pieceSize, bytes.size()));
            step = _advance();
            mostKept = std::max(mostKept, rest.size());
        }
        rest += bytes;
        return step;
    }

private:
    Step _advance() {
        Step step = parser.advance(rest);
        if (step == Step::bodyFollows) {
            ++bodyCount;
            step = parser.advance(rest);
        }
        return step;
    }

    HTTPLimits _limits;

public:
    RequestParser parser;
    std::string rest;
    std::size_t mostKept = 0;
    int bodyCount = 0;
};

constexpr std::size_t allAtOnce = std::string_view::npos;
constexpr std::size_t pieceSizes[] = {1, 2, 3, 4, 5, 7, 13, 64, allAtOnce};

int statusOf(const char* line) {
    int status = 0;
    std::from_chars(line, line + 3, status);
    return status;
}

constexpr std::string_view chunkedHead =
    "POST /cimom HTTP/1.1\r\nHost: a\r\nTransfer-Encoding: chunked\r\n\r\n";

std::string chunked(std::string_view body) {
    return std::string(chunkedHead).append(body);
}

}  // namespace

class RefusedRequestParsing : public testing::TestWithParam<RefusedRequest> {};

TEST_P(RefusedRequestParsing, NamesStatusAndReason_HoweverTheBytesAreSplit) {
    for (const std::size_t size : pieceSizes) {
        Feeder feeder;
        ASSERT_EQ(feeder.feed(GetParam().bytes, size), Step::refused) << "in pieces of " << size;
        EXPECT_EQ(feeder.parser.refusal().status, statusOf(GetParam().status));
        EXPECT_STREQ(feeder.parser.refusal().reason, GetParam().reason);
    }
}

INSTANTIATE_TEST_SUITE_P(All, RefusedRequestParsing, testing::ValuesIn(refusedRequests),
                         [](const auto& request) { return request.param.name; });

TEST(RequestParser, TakesEveryPartOfARequestAndLeavesTheNext_HoweverTheBytesAreSplit) {
    for (const std::size_t size : pieceSizes) {
        Feeder feeder;
        ASSERT_EQ(feeder.feed("POST /cimom?x=%20 HTTP/1.1\r\nHost: a:5988\r\nX-Empty:\r\n"
                              "content-length:  5 \t\r\nX: \xC3\xA4 b\r\n\r\nhelloGET",
                              size),
                  Step::complete)
            << "in pieces of " << size;
        const HTTPRequest request = feeder.parser.takeRequest();
        EXPECT_EQ(request.method, "POST");
        EXPECT_EQ(request.target, "/cimom?x=%20");
        EXPECT_THAT(request.headers, ElementsAre(Pair("Host", "a:5988"), Pair("X-Empty", ""),
                                                 Pair("content-length", "5"), Pair("X", "\xC3\xA4 b")));
        EXPECT_EQ(request.body, "hello");
        EXPECT_EQ(feeder.rest, "GET");
        EXPECT_EQ(feeder.bodyCount, 1);
    }
}

TEST(RequestParser, TakesAnyTokenAsMethod_WhenItIsNotOneThatHTTPDefines) {
    Feeder feeder;
    ASSERT_EQ(feeder.feed("M-POST / HTTP/1.1\r\nHost:\r\n\r\n", allAtOnce), Step::complete);
    EXPECT_EQ(feeder.parser.takeRequest().method, "M-POST");
    EXPECT_EQ(feeder.bodyCount, 0);
}

TEST(RequestParser, TakesOneLength_WhenItIsRepeatedAlike) {
    Feeder feeder;
    ASSERT_EQ(feeder.feed("POST / HTTP/1.1\r\nHost: a\r\nContent-Length: 2\r\nContent-Length: 2\r\n\r\nab",
                          allAtOnce),
              Step::complete);
    EXPECT_EQ(feeder.parser.takeRequest().body, "ab");
}

TEST(RequestParser, JoinsChunksAndPassesOverExtensionsAndTrailers_HoweverTheBytesAreSplit) {
    const std::string bytes = chunked(
        "5;a=b;c=\"d\"\r\nhello\r\n00A\r\n, world\r\n!\r\n"
        "0;last\r\nX-Trailer: x\r\nHost: b\r\nConnection: close\r\n\r\nnext");
    for (const std::size_t size : pieceSizes) {
        Feeder feeder;
        ASSERT_EQ(feeder.feed(bytes, size), Step::complete) << "in pieces of " << size;
        EXPECT_TRUE(feeder.parser.isKeptAlive());
        const HTTPRequest request = feeder.parser.takeRequest();
        EXPECT_EQ(request.body, "hello, world\r\n!");
        EXPECT_EQ(request.headers.size(), 2U);
        EXPECT_EQ(feeder.rest, "next");
    }
}

TEST(RequestParser, TakesAnEmptyChunkedBody_HoweverTheBytesAreSplit) {
    for (const std::size_t size : pieceSizes) {
        for (const char* body : {"0\r\n\r\n", "0000\r\n\r\n", "0\r\nX: y\r\n\r\n"}) {
            Feeder feeder;
            ASSERT_EQ(feeder.feed(chunked(body), size), Step::complete) << "in pieces of " << size;
            EXPECT_THAT(feeder.parser.takeRequest().body, IsEmpty());
        }
    }
}

TEST(RequestParser, TakesTheNameOfTheCodingInAnyCase_WhenTheBodyIsChunked) {
    Feeder feeder;
    EXPECT_EQ(
        feeder.feed("POST / HTTP/1.1\r\nHost: a\r\ntransfer-encoding: Chunked\r\n\r\n0\r\n\r\n", allAtOnce),
        Step::complete);
}

namespace {

struct Persistence {
    const char* name;
    const char* version;
    const char* headers;
    bool isKeptAlive;
};

class RequestPersistence : public testing::TestWithParam<Persistence> {};

}  // namespace

TEST_P(RequestPersistence, IsAsTheVersionDefines) {
    Feeder feeder;
    const std::string request =
        std::string("GET / ") + GetParam().version + "\r\nHost: a\r\n" + GetParam().headers + "\r\n";
    ASSERT_EQ(feeder.feed(request, allAtOnce), Step::complete);
    EXPECT_EQ(feeder.parser.isKeptAlive(), GetParam().isKeptAlive);
    EXPECT_EQ(feeder.parser.isHTTP10(), GetParam().version == "HTTP/1.0"sv);
}

INSTANTIATE_TEST_SUITE_P(
    All, RequestPersistence,
    testing::Values(
        Persistence{"HTTP11", "HTTP/1.1", "", true},
        Persistence{"HTTP11Close", "HTTP/1.1", "Connection: close\r\n", false},
        Persistence{"HTTP11CloseInList", "HTTP/1.1", "Connection: TE, Close\r\n", false},
        Persistence{"HTTP11CloseInSecondLine", "HTTP/1.1", "Connection: TE\r\nConnection: close\r\n", false},
        Persistence{"HTTP11KeepAlive", "HTTP/1.1", "Connection: Keep-Alive, TE\r\n", true},
        Persistence{"HTTP10", "HTTP/1.0", "", false},
        Persistence{"HTTP10KeepAlive", "HTTP/1.0", "Connection: Keep-Alive\r\n", true},
        Persistence{"HTTP10KeepAliveAndClose", "HTTP/1.0", "Connection: keep-alive, close\r\n", false}),
    [](const auto& persistence) { return persistence.param.name; });

TEST(RequestParser, AsksForTheBody_WhenAnHTTP11ClientWaitsForThat) {
    Feeder expecting;
    expecting.feed("POST / HTTP/1.1\r\nHost: a\r\nExpect: 100-Continue\r\nContent-Length: 1\r\n\r\n",
                   allAtOnce);
    EXPECT_TRUE(expecting.parser.expectsContinue());
    Feeder old;
    old.feed("POST / HTTP/1.0\r\nExpect: 100-continue\r\nContent-Length: 1\r\n\r\n", allAtOnce);
    EXPECT_FALSE(old.parser.expectsContinue());
}

TEST(RequestParser, TakesAHeadOfTheLimit_AndRefusesOneByteMore) {
    const std::string head = "GET / HTTP/1.1\r\nHost: a\r\nX: yyyyyyyyyyyyyyyyyyyyyyyyyyyyyy\r\n\r\n";
    for (const std::size_t size : pieceSizes) {
        Feeder feeder({.maxHeaderBytes = head.size()});
        EXPECT_EQ(feeder.feed(head, size), Step::complete) << "in pieces of " << size;
        Feeder tight({.maxHeaderBytes = head.size() - 1});
        ASSERT_EQ(tight.feed(head, size), Step::refused) << "in pieces of " << size;
        EXPECT_EQ(tight.parser.refusal().status, 431U);
    }
}

TEST(RequestParser, RefusesAnEndlessHeadAtTheLimit_WhateverItsLines) {
    for (const char* start : {"", "GET ", "GET /", "GET / HTTP/1.1\r\nX", "GET / HTTP/1.1\r\nX: "}) {
        Feeder feeder({.maxHeaderBytes = 1000});
        ASSERT_EQ(feeder.feed(start + std::string(5000, 'a'), 10), Step::refused) << start;
        EXPECT_EQ(feeder.parser.refusal().status, 431U);
        EXPECT_LE(feeder.mostKept, 1010U);
    }
    std::string lines = "GET / HTTP/1.1\r\n";
    while (lines.size() < 5000) {
        lines += "a:\r\n";
    }
    Feeder feeder({.maxHeaderBytes = 1000});
    ASSERT_EQ(feeder.feed(lines, 10), Step::refused);
    EXPECT_EQ(feeder.parser.refusal().status, 431U);
}

TEST(RequestParser, TakesABodyOfTheLimit_AndRefusesOneByteMoreByItsLengthAlone) {
    const HTTPLimits limits{.maxBodyBytes = 4};
    Feeder feeder(limits);
    EXPECT_EQ(feeder.feed("POST / HTTP/1.1\r\nHost: a\r\nContent-Length: 4\r\n\r\nabcd", allAtOnce),
              Step::complete);
    Feeder tight(limits);
    ASSERT_EQ(tight.feed("POST / HTTP/1.1\r\nHost: a\r\nContent-Length: 5\r\n\r\n", allAtOnce),
              Step::refused);
    EXPECT_EQ(tight.parser.refusal().status, 413U);
}

TEST(RequestParser, RefusesAChunkedBody_AsSoonAsAChunkWouldPassTheLimit) {
    const HTTPLimits limits{.maxBodyBytes = 10};
    for (const std::size_t size : pieceSizes) {
        Feeder feeder(limits);
        EXPECT_EQ(feeder.feed(chunked("5\r\nhello\r\n5\r\nworld\r\n0\r\n\r\n"), size), Step::complete);
        Feeder tight(limits);
        ASSERT_EQ(tight.feed(chunked("5\r\nhello\r\n6\r\nw"), size), Step::refused)
            << "in pieces of " << size;
        EXPECT_EQ(tight.parser.refusal().status, 413U);
    }
}

TEST(RequestParser, KeepsNoMoreThanTheLimit_WhenExtensionsOrTrailersHaveNoEnd) {
    for (const char* start : {"5;a=", "5;a=\"", "0;a=", "0;a=\"", "0\r\nX: "}) {
        Feeder feeder({.maxHeaderBytes = 1000});
        ASSERT_EQ(feeder.feed(chunked(start) + std::string(5000, 'a'), 10), Step::refused) << start;
        EXPECT_EQ(feeder.parser.refusal().status, 431U);
        EXPECT_LE(feeder.mostKept, 1010U);
    }
}

TEST(RequestParser, SkipsEmptyLinesOnly_BeforeARequestLine) {
    for (const auto& [input, expected] :
         {std::pair("\r\n\r\nGET", "GET"), std::pair("\r\n\r", "\r"), std::pair("\r\n", ""),
          std::pair("\n\r\n", "\n\r\n"), std::pair("", ""), std::pair("GET\r\n", "GET\r\n")}) {
        std::string text = input;
        skipEmptyLines(text);
        EXPECT_EQ(text, expected);
    }
}
