#include "foundation/http/ORVGenericHTTPIStream.h"

#include "foundation/http/ORVHTTPResponse.h"
#include "tests/unit/server/http/LoopbackPair.h"

#include <array>
#include <istream>
#include <string>

#include <gmock/gmock.h>

using testing::HasSubstr;
using velm::test::LoopbackPair;
using velm::test::netFailureOf;

namespace {

/// A response of which a part of the body is there, on a connection that then stays silent.
class HalfReceivedBody : public testing::Test {
protected:
    HalfReceivedBody() : _stream(_pair.transport()) {
        _pair.send("HTTP/1.1 200 OK\r\nContent-Length: 100\r\n\r\n12 34");
        ORVHTTPResponse().readResponseFrom(_stream);
        _pair.transport()->setReceiveTimeout(50);
    }

    void expectTimeOut(void (*read)(std::istream&)) {
        EXPECT_EQ(netFailureOf([&] { read(_stream); }),
                  "Receiving from " + _pair.peerName() + " failed: timed out after 50 ms");
        EXPECT_TRUE(_stream.bad());
    }

    LoopbackPair _pair;
    ORVGenericHTTPIStream _stream;
};

}  // namespace

TEST_F(HalfReceivedBody, ThrowsTheNetworksFailure_WhenBlocksAreRead) {
    expectTimeOut([](std::istream& stream) {
        std::array<char, 100> block;
        stream.read(block.data(), block.size());
    });
}

TEST_F(HalfReceivedBody, ThrowsTheNetworksFailure_WhenLinesAreRead) {
    expectTimeOut([](std::istream& stream) {
        std::string line;
        std::getline(stream, line);
    });
}

TEST_F(HalfReceivedBody, ThrowsTheNetworksFailure_WhenWordsAreRead) {
    expectTimeOut([](std::istream& stream) {
        int number = 0;
        stream >> number >> number;
    });
}

TEST_F(HalfReceivedBody, ThrowsTheNetworksFailure_WhenItsBufferIsRead) {
    EXPECT_THAT(netFailureOf([&] {
                    while (_stream.rdbuf()->sbumpc() != std::char_traits<char>::eof()) {
                    }
                }),
                HasSubstr("timed out after 50 ms"));
}

TEST_F(HalfReceivedBody, YieldsWhatIsThere_WhenNoMoreIsAsked) {
    std::array<char, 5> block;
    _stream.read(block.data(), block.size());
    EXPECT_EQ(std::string(block.data(), block.size()), "12 34");
}

TEST(HTTPIStream, IsAtItsEnd_WhenNoHeadWasRead) {
    LoopbackPair pair;
    pair.send("HTTP/1.1 200 OK\r\n\r\nbody");
    ORVGenericHTTPIStream stream(pair.transport());
    EXPECT_EQ(stream.get(), std::char_traits<char>::eof());
    EXPECT_TRUE(stream.eof());
}

TEST(HTTPIStream, YieldsTheNextBody_WhenAnotherResponseFollowsOnTheConnection) {
    LoopbackPair pair;
    pair.send(
        "HTTP/1.1 200 OK\r\nContent-Length: 5\r\n\r\nfirst"
        "HTTP/1.1 200 OK\r\nTransfer-Encoding: chunked\r\n\r\n6\r\nsecond\r\n0\r\n\r\n");
    ORVGenericHTTPIStream stream(pair.transport());
    for (const char* expected : {"first", "second"}) {
        ORVHTTPResponse().readResponseFrom(stream);
        std::string body;
        stream >> body;
        EXPECT_EQ(body, expected);
        EXPECT_TRUE(stream.eof());
    }
}

TEST(HTTPIStream, KnowsItsTransport) {
    LoopbackPair pair;
    const ORVGenericHTTPIStream stream(pair.transport());
    EXPECT_EQ(&stream.getTransport(), pair.transport().Get());
}
