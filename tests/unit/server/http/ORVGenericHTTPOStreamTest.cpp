#include "foundation/http/ORVGenericHTTPOStream.h"

#include "tests/unit/server/http/LoopbackPair.h"

#include <ostream>
#include <string>
#include <vector>

#include <gmock/gmock.h>

using testing::ElementsAre;
using testing::IsEmpty;
using velm::test::LoopbackPair;
using velm::test::netFailureOf;

namespace {

/// Remembers each call of send() instead of transmitting, and fails those it is told to.
class RecordingTransport : public ORVHTTPTransport {
public:
    RecordingTransport() : ORVHTTPTransport(-1) {}

    void send(std::string_view bytes) override {
        if (failing) {
            throw ORVNetException("test", "the line is cut");
        }
        sent.emplace_back(bytes);
    }

    std::vector<std::string> sent;
    bool failing = false;
};

class HTTPOStream : public testing::Test {
protected:
    RecordingTransport* _transport = new RecordingTransport;
    ORVGenericHTTPOStream _stream{ORVSmrPtr<ORVHTTPTransport>(_transport)};
};

}  // namespace

TEST_F(HTTPOStream, FramesByContentLengthInOneWrite_WhenTheHeaderWasCompleted) {
    _stream << "HTTP/1.1 200 OK\r\n"
            << "CIMOperation: MethodResponse\r\n";
    _stream.completeHeader();
    _stream << "<a>" << 12 << "</a>";
    _stream.send();
    EXPECT_THAT(_transport->sent, ElementsAre("HTTP/1.1 200 OK\r\nCIMOperation: MethodResponse\r\n"
                                              "Content-Length: 9\r\n\r\n<a>12</a>"));
}

TEST_F(HTTPOStream, CountsBytesAndNotCharacters_WhenTheBodyIsNotAscii) {
    _stream << "A: b\r\n";
    _stream.completeHeader();
    _stream << "\xC3\xA4" << '\0' << '\n';
    _stream.send();
    EXPECT_THAT(_transport->sent,
                ElementsAre(std::string("A: b\r\nContent-Length: 4\r\n\r\n\xC3\xA4\0\n", 31)));
}

TEST_F(HTTPOStream, SaysThatThereIsNoBody_WhenNoneWasWritten) {
    _stream << "HTTP/1.1 200 OK\r\n";
    _stream.completeHeader();
    _stream.send();
    EXPECT_THAT(_transport->sent, ElementsAre("HTTP/1.1 200 OK\r\nContent-Length: 0\r\n\r\n"));
}

TEST_F(HTTPOStream, SendsTheBytesAsTheyAre_WhenTheHeaderWasNotCompleted) {
    _stream << "<RETURNVALUE TYPE=\"uint32\">\n";
    _stream.flush();
    EXPECT_THAT(_transport->sent, ElementsAre("<RETURNVALUE TYPE=\"uint32\">\n"));
}

TEST_F(HTTPOStream, TransmitsNothing_WhenTheStandardLibraryFlushes) {
    _stream << "a" << std::flush << "b" << std::endl;
    static_cast<std::ostream&>(_stream).flush();
    EXPECT_THAT(_transport->sent, IsEmpty());
    _stream.send();
    EXPECT_THAT(_transport->sent, ElementsAre("ab\n"));
}

TEST_F(HTTPOStream, TransmitsNothing_WhenNothingWasWritten) {
    _stream.send();
    _stream << "a";
    _stream.send();
    _stream.send();
    EXPECT_THAT(_transport->sent, ElementsAre("a"));
}

TEST_F(HTTPOStream, BeginsAfresh_WhenAMessageWasSent) {
    for (const char* body : {"first", "second!"}) {
        _stream << "A: b\r\n";
        _stream.completeHeader();
        _stream << body;
        _stream.send();
    }
    _stream << "raw";
    _stream.send();
    EXPECT_THAT(_transport->sent, ElementsAre("A: b\r\nContent-Length: 5\r\n\r\nfirst",
                                              "A: b\r\nContent-Length: 7\r\n\r\nsecond!", "raw"));
}

TEST_F(HTTPOStream, KeepsTheFirstEndOfTheHeader_WhenItIsCompletedTwice) {
    _stream << "A: b\r\n";
    _stream.completeHeader();
    _stream << "body";
    _stream.completeHeader();
    _stream.send();
    EXPECT_THAT(_transport->sent, ElementsAre("A: b\r\nContent-Length: 4\r\n\r\nbody"));
}

TEST_F(HTTPOStream, DropsTheMessageAndThrows_WhenSendingFails) {
    _transport->failing = true;
    _stream << "A: b\r\n";
    _stream.completeHeader();
    _stream << "lost";
    EXPECT_EQ(netFailureOf([&] { _stream.send(); }), "the line is cut");
    _transport->failing = false;
    _stream << "next";
    _stream.send();
    EXPECT_THAT(_transport->sent, ElementsAre("next"));
}

TEST_F(HTTPOStream, DropsTheMessageAndThrows_WhenPartOfItCouldNotBeWritten) {
    _stream << "begin";
    _stream.setstate(std::ios_base::badbit);
    _stream << "end";
    EXPECT_EQ(netFailureOf([&] { _stream.send(); }), "The message could not be written completely");
    EXPECT_THAT(_transport->sent, IsEmpty());
    _stream << "next";
    _stream.send();
    EXPECT_THAT(_transport->sent, ElementsAre("next"));
}

TEST_F(HTTPOStream, FramesBodiesOfEverySize_WhateverWasSentBefore) {
    std::vector<std::string> expected;
    for (const std::size_t size : {100'000U, 0U, 9U, 10U, 99U, 100U, 12'345U, 1'000'000U, 1U}) {
        const std::string body(size, 'x');
        _stream << "POST / HTTP/1.1\r\n";
        _stream.completeHeader();
        _stream << body;
        _stream.send();
        expected.push_back("POST / HTTP/1.1\r\nContent-Length: " + std::to_string(size) + "\r\n\r\n" + body);
    }
    EXPECT_TRUE(_transport->sent == expected);
}

TEST_F(HTTPOStream, FramesABody_WhenThereIsNoHeaderLine) {
    _stream.completeHeader();
    _stream.put('a');
    _stream << 'b';
    _stream.send();
    EXPECT_THAT(_transport->sent, ElementsAre("Content-Length: 2\r\n\r\nab"));
}

TEST(HTTPOStreamOverTCP, DeliversTheMessage_WhenItIsFlushed) {
    LoopbackPair pair;
    ORVGenericHTTPOStream stream(pair.transport());
    stream << "HTTP/1.1 200 OK\r\n";
    stream.completeHeader();
    stream << "body";
    stream.flush();
    EXPECT_EQ(&stream.getTransport(), pair.transport().Get());
    EXPECT_EQ(pair.receive(42), "HTTP/1.1 200 OK\r\nContent-Length: 4\r\n\r\nbody");
}

TEST(HTTPOStreamOverTCP, Throws_WhenThePeerIsGone) {
    LoopbackPair pair;
    ORVGenericHTTPOStream stream(pair.transport());
    pair.reset();
    netFailureOf([&] {
        stream << "a";
        stream.send();
        stream << "b";
        stream.send();
    });
}
