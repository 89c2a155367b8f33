#include "foundation/http/ORVHTTPResponse.h"

#include "tests/unit/server/http/LoopbackPair.h"

#include <chrono>
#include <iterator>
#include <ostream>
#include <string>
#include <thread>

#include <gmock/gmock.h>

using namespace std::string_literals;
using testing::HasSubstr;
using velm::test::LoopbackPair;
using velm::test::netFailureOf;

namespace {

enum class End { close, reset };

/// What a listener sends, and what is understood.
struct Answer {
    const char* name;
    std::string bytes;
    unsigned int status;
    std::string body;
    End end = End::close;
};

/// What a listener sends, and why it is refused.
struct BadAnswer {
    const char* name;
    std::string bytes;
    std::string problem;
    End end = End::close;
};

void PrintTo(const Answer& answer, std::ostream* stream) {
    *stream << answer.name;
}

void PrintTo(const BadAnswer& answer, std::ostream* stream) {
    *stream << answer.name;
}

const auto nameOf = [](const auto& info) { return std::string(info.param.name); };

void sendAll(LoopbackPair& pair, const std::string& bytes, End end) {
    pair.send(bytes);
    end == End::close ? pair.close() : pair.reset();
}

std::string readAll(std::istream& stream) {
    std::string body(std::istreambuf_iterator<char>(stream), {});
    return body;
}

class GoodAnswers : public testing::TestWithParam<Answer> {};
class BadAnswers : public testing::TestWithParam<BadAnswer> {};

const std::string manyHeaders = [] {
    std::string lines;
    for (int line = 0; line < 1000; ++line) {
        lines += "X-Line: " + std::to_string(line) + "\r\n";
    }
    return lines;
}();

const std::vector<Answer> goodAnswers{
    {"HTTP11", "HTTP/1.1 200 OK\r\nContent-Length: 4\r\n\r\nbody", 200, "body"},
    {"HTTP10", "HTTP/1.0 200 OK\r\nContent-Length: 4\r\n\r\nbody", 200, "body"},
    {"HTTP10ToTheEnd", "HTTP/1.0 200 OK\r\nServer: x\r\n\r\nbody", 200, "body"},
    {"HTTP11ToTheEnd", "HTTP/1.1 200 OK\r\n\r\nbody", 200, "body"},
    {"NothingBehindContentLength", "HTTP/1.1 200 OK\r\nContent-Length: 4\r\n\r\nbodyrubbish", 200, "body"},
    {"EmptyBody", "HTTP/1.1 200 OK\r\nContent-Length: 0\r\n\r\n", 200, ""},
    {"NoContent", "HTTP/1.1 204 No Content\r\n\r\n", 204, ""},
    {"Chunked", "HTTP/1.1 200 OK\r\nTransfer-Encoding: chunked\r\n\r\n2\r\nbo\r\n2;x=y\r\ndy\r\n0\r\n\r\n",
     200, "body"},
    {"ChunkedWithTrailer",
     "HTTP/1.1 200 OK\r\nTransfer-Encoding: chunked\r\n\r\n4\r\nbody\r\n0\r\nX: y\r\n\r\n", 200, "body"},
    {"LetterCaseOfNames", "HTTP/1.1 200 OK\r\ncontent-LENGTH: 4\r\n\r\nbody", 200, "body"},
    {"ErrorWithoutContentLength",
     "HTTP/1.0 400 Bad Request\r\nCIMExport: MethodResponse\r\nCIMError: request-not-well-formed\r\n\r\n",
     400, ""},
    {"LinesWithoutColon",
     "HTTP/1.0 400 Bad Request\r\nCIMErrorDetails: line 1\r\n   <CIM\r\n    ^^\r\nContent-Length: "
     "4\r\n\r\nbody",
     400, "body"},
    {"BareLineFeedsInAHeader",
     "HTTP/1.0 400 Bad Request\r\nCIMErrorDetails: line 1\n\n  <CIM>: x\n   ^\r\nContent-Length: "
     "4\r\n\r\nbody",
     400, "body"},
    {"LinesThatAreNoHeaders",
     "HTTP/1.0 200 OK\r\n: x\r\nodd name: x\r\nX: a\x01z\r\nContent-Length: 4\r\n\r\nbody", 200, "body"},
    {"LineFeedsOnly", "HTTP/1.0 200 OK\nContent-Length: 4\n\nbody", 200, "body"},
    {"NoReason", "HTTP/1.1 200\r\nContent-Length: 4\r\n\r\nbody", 200, "body"},
    {"Continue", "HTTP/1.1 100 Continue\r\n\r\nHTTP/1.1 200 OK\r\nContent-Length: 4\r\n\r\nbody", 200,
     "body"},
    {"SeveralInformational",
     "HTTP/1.1 100 Continue\r\n\r\nHTTP/1.1 103 Early Hints\r\nLink: x\r\n\r\nHTTP/1.1 500 No\r\n\r\nbody",
     500, "body"},
    {"ManyHeaders", "HTTP/1.1 200 OK\r\n" + manyHeaders + "Content-Length: 4\r\n\r\nbody", 200, "body"},
    {"ZeroBytes", "HTTP/1.1 200 OK\r\nContent-Length: 3\r\n\r\n\0\xFF\0"s, 200, "\0\xFF\0"s},
    {"LargeBody", "HTTP/1.1 200 OK\r\n\r\n" + std::string(300'000, 'x'), 200, std::string(300'000, 'x')},
};

const std::vector<BadAnswer> badAnswers{
    {"ClosedWithoutAnswer", "", "failed: the connection was closed without an answer"},
    {"Reset", "", "failed: Connection reset by peer", End::reset},
    {"NoStatusLine", "<!DOCTYPE HTML PUBLIC \"-//W3C//DTD HTML 3.2 Final//EN\"><html>",
     "Reading the head of the answer from {} failed: it does not begin with a status line"},
    {"Garbage", "\x16\x03\x01\x02", "failed: it does not begin with a status line"},
    {"AlmostAStatusLine", "HTTQ/1.1 200 OK\r\n\r\n", "failed: it does not begin with a status line"},
    {"UnknownVersion", "HTTP/2.0 200 OK\r\n\r\n", "Reading the head of the answer from {} failed: "},
    {"NoStatus", "HTTP/1.1 OK\r\n\r\n", "Reading the head of the answer from {} failed: "},
    {"HalfAStatusLine", "HTT", "failed: the connection ended early"},
    {"HalfAHead", "HTTP/1.1 200 OK\r\nContent-Le", "failed: the connection ended early"},
    {"OnlyInformational", "HTTP/1.1 100 Continue\r\n\r\n",
     "failed: the connection was closed without an answer"},
    {"EndlessHead", "HTTP/1.1 200 OK\r\n" + std::string(70'000, 'x'),
     "failed: it is longer than 65536 bytes"},
    {"LongHead", "HTTP/1.1 200 OK\r\nX: " + std::string(70'000, 'x') + "\r\n\r\n",
     "failed: it is longer than 65536 bytes"},
    {"BadContentLength", "HTTP/1.1 200 OK\r\nContent-Length: four\r\n\r\nbody",
     "Reading the head of the answer from {} failed: "},
    {"TwoContentLengths", "HTTP/1.1 200 OK\r\nContent-Length: 4\r\nContent-Length: 5\r\n\r\nbody",
     "Reading the head of the answer from {} failed: "},
    {"HalfABody", "HTTP/1.1 200 OK\r\nContent-Length: 8\r\n\r\nbody",
     "Reading the body of the answer from {} failed: the connection ended early"},
    {"HalfAChunk", "HTTP/1.1 200 OK\r\nTransfer-Encoding: chunked\r\n\r\n8\r\nbody",
     "Reading the body of the answer from {} failed: the connection ended early"},
    {"NoLastChunk", "HTTP/1.1 200 OK\r\nTransfer-Encoding: chunked\r\n\r\n4\r\nbody\r\n",
     "Reading the body of the answer from {} failed: the connection ended early"},
    {"BadChunk", "HTTP/1.1 200 OK\r\nTransfer-Encoding: chunked\r\n\r\nzz\r\nbody\r\n",
     "Reading the body of the answer from {} failed: "},
    {"EndlessChunkExtension",
     "HTTP/1.1 200 OK\r\nTransfer-Encoding: chunked\r\n\r\n4;" + std::string(400'000, 'x') + "\r\n",
     "Reading the body of the answer from {} failed: "},
};

}  // namespace

TEST_P(GoodAnswers, AreUnderstood) {
    LoopbackPair pair;
    std::thread listener([&] { sendAll(pair, GetParam().bytes, GetParam().end); });
    ORVGenericHTTPIStream stream(pair.transport());
    ORVHTTPResponse response;
    response.readResponseFrom(stream);
    EXPECT_EQ(response.getStatus(), GetParam().status);
    EXPECT_EQ(readAll(stream), GetParam().body);
    listener.join();
}

INSTANTIATE_TEST_SUITE_P(HTTPResponse, GoodAnswers, testing::ValuesIn(goodAnswers), nameOf);

TEST_P(BadAnswers, AreRefusedWithPeerAndCause) {
    LoopbackPair pair;
    std::thread listener([&] { sendAll(pair, GetParam().bytes, GetParam().end); });
    const std::string failure = netFailureOf([&] {
        ORVGenericHTTPIStream stream(pair.transport());
        ORVHTTPResponse().readResponseFrom(stream);
        readAll(stream);
    });
    pair.dropTransport();
    listener.join();
    std::string expected = GetParam().problem;
    if (const std::size_t place = expected.find("{}"); place != std::string::npos) {
        expected.replace(place, 2, pair.peerName());
    }
    EXPECT_THAT(failure, HasSubstr(expected));
    EXPECT_THAT(failure, HasSubstr(pair.peerName()));
}

INSTANTIATE_TEST_SUITE_P(HTTPResponse, BadAnswers, testing::ValuesIn(badAnswers), nameOf);

TEST(HTTPResponse, GivesReasonAndHeaders_WhenTheyWereSent) {
    LoopbackPair pair;
    pair.send(
        "HTTP/1.0 406 Not Acceptable\r\nCIMError: header-mismatch\r\ncimerror: second\r\nEmpty:\r\n"
        "Blanks: \t a b \t\r\nContent-Length: 0\r\n\r\n");
    ORVGenericHTTPIStream stream(pair.transport());
    ORVHTTPResponse response;
    response.readResponseFrom(stream);
    EXPECT_EQ(response.getReason(), ORVString("Not Acceptable"));
    EXPECT_EQ(response.getHeader("CIMERROR"), ORVString("header-mismatch"));
    EXPECT_EQ(response.getHeader("blanks"), ORVString("a b"));
    EXPECT_EQ(response.getHeader("Empty"), ORVString::emptyString());
    EXPECT_TRUE(response.getHeader("Absent").isNull());
}

TEST(HTTPResponse, HasStatusZero_WhenNothingWasReadOrReadingFailed) {
    ORVHTTPResponse response;
    EXPECT_EQ(response.getStatus(), 0U);
    EXPECT_TRUE(response.getReason().isNull());
    LoopbackPair pair;
    pair.send("HTTP/1.1 200 OK\r\nContent-Length: 0\r\n\r\n");
    pair.close();
    ORVGenericHTTPIStream stream(pair.transport());
    response.readResponseFrom(stream);
    netFailureOf([&] { response.readResponseFrom(stream); });
    EXPECT_EQ(response.getStatus(), 0U);
}

TEST(HTTPResponse, FailsAtTheDeadline_WhenTheListenerNeverComesToItsAnswer) {
    using Clock = std::chrono::steady_clock;
    LoopbackPair pair;
    std::thread listener([&] {
        while (pair.send("HTTP/1.1 100 Continue\r\n\r\n")) {
        }
    });
    const auto start = Clock::now();
    {
        pair.transport()->setReceiveTimeout(100);
        ORVGenericHTTPIStream stream(pair.transport());
        ORVHTTPResponse response;
        EXPECT_THAT(netFailureOf([&] { response.readResponseFrom(stream); }),
                    HasSubstr("timed out after 100 ms"));
    }
    EXPECT_LT(Clock::now() - start, std::chrono::seconds(20));
    pair.dropTransport();
    listener.join();
}
