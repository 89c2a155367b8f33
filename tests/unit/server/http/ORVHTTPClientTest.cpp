#include "foundation/http/ORVHTTPClient.h"

#include "foundation/http/ORVHTTPCodes.h"
#include "foundation/http/ORVHTTPResponse.h"
#include "tests/support/ScriptedListener.h"
#include "tests/unit/server/http/LoopbackPair.h"

#include <chrono>
#include <fstream>
#include <iterator>
#include <memory>
#include <netinet/in.h>
#include <netinet/tcp.h>
#include <sstream>
#include <string>
#include <sys/socket.h>

#include <gmock/gmock.h>

using namespace std::chrono_literals;
using testing::HasSubstr;
using testing::StartsWith;
using velm::test::Answer;
using velm::test::netFailureOf;
using velm::test::rawAnswer;
using velm::test::RefusingPort;
using velm::test::ScriptedListener;
using Clock = std::chrono::steady_clock;

namespace {

constexpr int patience = 10'000;

ORVString urlOf(const ScriptedListener& listener) {
    return ORVString(("http://" + listener.address() + ':' + listener.port()).c_str());
}

/// One request with its answer, on a client of its own.
class Exchange {
public:
    explicit Exchange(const ORVString& url, int timeout = patience, bool keepsConnection = false)
        : client(url, timeout, keepsConnection) {
        std::ostream* request = nullptr;
        answer.reset(client.connect(ORVHTTPCodes::Post, "/indication", &request));
        out.reset(dynamic_cast<ORVGenericHTTPOStream*>(request));
    }

    void send(std::string_view body) {
        *out << body;
        out->send();
    }

    unsigned int readStatus() {
        response.readResponseFrom(*answer);
        return response.getStatus();
    }

    std::string readBody() { return {std::istreambuf_iterator<char>(*answer), {}}; }

    ORVHTTPClient client;
    std::unique_ptr<ORVGenericHTTPIStream> answer;
    std::unique_ptr<ORVGenericHTTPOStream> out;
    ORVHTTPResponse response;
};

std::string connectFailure(const char* url, const char* method = "POST", const char* path = "/indication") {
    std::ostringstream untouched;
    std::ostream* request = &untouched;
    ORVHTTPClient client(url, patience, false);
    std::string failure = netFailureOf([&] { delete client.connect(method, path, &request); });
    EXPECT_EQ(request, nullptr);
    return failure;
}

/// How many sockets of this port linger after an orderly close, on the side that closed first.
int countLingering(const std::string& port, bool onListenersSide) {
    constexpr const char* timeWait = "06";
    std::ifstream table("/proc/net/tcp");
    std::string line;
    std::getline(table, line);
    int count = 0;
    while (std::getline(table, line)) {
        std::string slot, local, remote, state;
        std::istringstream(line) >> slot >> local >> remote >> state;
        const std::string& address = onListenersSide ? local : remote;
        const int found = std::stoi(address.substr(address.find(':') + 1), nullptr, 16);
        count += state == timeWait && found == std::stoi(port);
    }
    return count;
}

bool isOn(int socket, int level, int option) {
    int value = 0;
    socklen_t size = sizeof value;
    return ::getsockopt(socket, level, option, &value, &size) == 0 && value != 0;
}

}  // namespace

TEST(HTTPClient, SendsAnExportRequest_WhenTheConnectionIsToBeClosed) {
    ScriptedListener listener;
    Exchange exchange(urlOf(listener));
    exchange.send("<CIM/>");
    ASSERT_TRUE(listener.waitForRequests(1));
    EXPECT_EQ(listener.requests()[0].head,
              "POST /indication HTTP/1.1\r\n"
              "Host: 127.0.0.1:" +
                  listener.port() +
                  "\r\n"
                  "Content-Type: application/xml; charset=utf-8\r\n"
                  "CIMExport: MethodRequest\r\n"
                  "CIMExportMethod: ExportIndication\r\n"
                  "Connection: close\r\n"
                  "Content-Length: 6\r\n\r\n");
    EXPECT_EQ(listener.requests()[0].body, "<CIM/>");
    EXPECT_EQ(exchange.readStatus(), 200U);
    EXPECT_EQ(exchange.readBody(),
              velm::test::goodAnswer().bytes.substr(velm::test::goodAnswer().bytes.find("<?xml")));
}

TEST(HTTPClient, AddressesEachRequestToItsOwnListener_WhenOneThreadSendsToSeveral) {
    ScriptedListener first;
    ScriptedListener second;
    struct Request {
        ScriptedListener& listener;
        bool keepsConnection;
        const char* path;
    };
    for (const Request& sent : {Request{first, false, "/indication"}, Request{first, false, "/indication"},
                                Request{second, false, "/indication"}, Request{first, true, "/indication"},
                                Request{first, true, "/other"}, Request{first, false, "/indication"}}) {
        const std::size_t count = sent.listener.requestCount();
        ORVHTTPClient client(urlOf(sent.listener), patience, sent.keepsConnection);
        std::ostream* request = nullptr;
        const std::unique_ptr<ORVGenericHTTPIStream> answer(client.connect("POST", sent.path, &request));
        const std::unique_ptr<std::ostream> owned(request);
        dynamic_cast<ORVGenericHTTPOStream&>(*request).send();
        ASSERT_TRUE(sent.listener.waitForRequests(count + 1));
        const std::string head = sent.listener.requests()[count].head;
        EXPECT_THAT(head, StartsWith("POST " + std::string(sent.path) + " HTTP/1.1\r\n"));
        EXPECT_THAT(head, HasSubstr("\r\nHost: 127.0.0.1:" + sent.listener.port() + "\r\n"));
        EXPECT_EQ(head.find("Connection: close") == std::string::npos, sent.keepsConnection);
    }
}

TEST(HTTPClient, RefusesTheSameBadURLEachTime_AndWorksAfterIt) {
    ScriptedListener listener;
    for (int attempt = 0; attempt < 2; ++attempt) {
        EXPECT_EQ(connectFailure("ftp://127.0.0.1:1"),
                  "\"ftp://127.0.0.1:1\" is not of the form http://host:port");
        std::ostream* request = nullptr;
        ORVHTTPClient nowhere(ORVString(), patience, false);
        netFailureOf([&] { nowhere.connect(ORVString(), ORVString(), &request); });
        EXPECT_EQ(request, nullptr);
        Exchange exchange(urlOf(listener));
        exchange.send("x");
        EXPECT_EQ(exchange.readStatus(), 200U);
    }
}

TEST(HTTPClient, DoesNotAskToClose_WhenItKeepsTheConnection) {
    ScriptedListener listener;
    Exchange exchange(urlOf(listener), patience, true);
    exchange.send("x");
    ASSERT_TRUE(listener.waitForRequests(1));
    EXPECT_EQ(listener.requests()[0].head.find("Connection:"), std::string::npos);
}

TEST(HTTPClient, ReachesEachSpellingOfALoopbackAddress) {
    struct Case {
        const char* address;
        const char* inURL;
        const char* inHostHeader;
    };
    for (const Case& spelling :
         {Case{"127.0.0.1", "127.0.0.1", "127.0.0.1"}, Case{"127.0.0.2", "127.0.0.2", "127.0.0.2"},
          Case{"::1", "::1", "[::1]"}, Case{"::1", "[::1]", "[::1]"},
          Case{"127.0.0.1", "localhost", "localhost"}}) {
        ScriptedListener listener(velm::test::goodAnswer(), spelling.address);
        Exchange exchange(
            ORVString(("http://" + std::string(spelling.inURL) + ':' + listener.port()).c_str()));
        exchange.send("x");
        ASSERT_TRUE(listener.waitForRequests(1)) << spelling.inURL;
        EXPECT_THAT(listener.requests()[0].head, HasSubstr("\r\nHost: " + std::string(spelling.inHostHeader) +
                                                           ':' + listener.port() + "\r\n"));
    }
}

TEST(HTTPClient, SwitchesSocketOptionsOn_WhenItIsToldTo) {
    for (const bool on : {false, true}) {
        ScriptedListener listener;
        ORVHTTPClient client(urlOf(listener), on, on, patience, on);
        std::ostream* request = nullptr;
        const std::unique_ptr<ORVGenericHTTPIStream> answer(client.connect("POST", "/indication", &request));
        const std::unique_ptr<std::ostream> out(request);
        const int socket = answer->getTransport().nativeHandle();
        EXPECT_EQ(isOn(socket, SOL_SOCKET, SO_KEEPALIVE), on);
        EXPECT_EQ(isOn(socket, IPPROTO_TCP, TCP_NODELAY), on);
        static_cast<ORVGenericHTTPOStream&>(*out).send();
        ASSERT_TRUE(listener.waitForRequests(1));
        EXPECT_EQ(listener.requests()[0].head.find("Connection: close") != std::string::npos, on);
    }
}

// A machine under load may let a listener's close come too late; that must be the exception.
TEST(HTTPClient, LeavesTheLingeringPortToTheListener_WhenItDeliversOneRequestAfterTheOther) {
    constexpr int requests = 20;
    bool isLeft = false;
    for (int attempt = 0; attempt < 5 && !isLeft; ++attempt) {
        ScriptedListener listener;
        for (int request = 0; request < requests; ++request) {
            Exchange exchange(urlOf(listener));
            exchange.send("x");
            EXPECT_EQ(exchange.readStatus(), 200U);
            exchange.readBody();
            exchange.client.disconnect();
        }
        isLeft =
            countLingering(listener.port(), false) == 0 && countLingering(listener.port(), true) == requests;
    }
    EXPECT_TRUE(isLeft);
}

TEST(HTTPClient, ClosesAfterAShortTime_WhenTheListenerHasAnsweredAndDoesNotClose) {
    Answer answer = velm::test::goodAnswer();
    answer.end = Answer::End::hang;
    ScriptedListener listener(answer);
    Exchange exchange(urlOf(listener));
    exchange.send("x");
    exchange.readStatus();
    exchange.readBody();
    const auto start = Clock::now();
    exchange.client.disconnect();
    EXPECT_TRUE(listener.waitForPeerCloses(1));
    EXPECT_LT(Clock::now() - start, 8s);
}

TEST(HTTPClient, NamesPeerAndCause_WhenNobodyListens) {
    const RefusingPort port;
    EXPECT_EQ(connectFailure(("http://127.0.0.1:" + port.port()).c_str()),
              "Connecting to 127.0.0.1:" + port.port() + " failed: Connection refused");
}

TEST(HTTPClient, RefusesToConnect_WhenTheURLHasAnotherForm) {
    EXPECT_EQ(connectFailure("ftp://127.0.0.1:5990"),
              "\"ftp://127.0.0.1:5990\" is not of the form http://host:port");
}

TEST(HTTPClient, RefusesToConnect_WhenMethodOrPathCouldNotStandInARequestLine) {
    const ScriptedListener listener;
    const std::string url(urlOf(listener).view());
    EXPECT_EQ(connectFailure(url.c_str(), "POST /x HTTP/1.1\r\n", "/"),
              "\"POST /x HTTP/1.1\r\n /\" is no HTTP request");
    for (const char* path : {"", "indication", "/a b", "/a\r\nX: y", "/<"}) {
        EXPECT_THAT(connectFailure(url.c_str(), "POST", path), HasSubstr("is no HTTP request")) << path;
    }
    EXPECT_EQ(listener.connectionCount(), 0U);
}

TEST(HTTPClient, FailsWithinItsTimeOut_WhenTheListenerNeverAnswers) {
    ScriptedListener listener(velm::test::hangingAnswer());
    Exchange exchange(urlOf(listener), 200);
    exchange.send("x");
    const auto start = Clock::now();
    EXPECT_THAT(netFailureOf([&] { exchange.readStatus(); }), HasSubstr("timed out after 200 ms"));
    EXPECT_LT(Clock::now() - start, 8s);
}

TEST(HTTPClient, FailsAtTheTransportsDeadline_WhenTheListenerAnswersByteByByte) {
    Answer answer = velm::test::goodAnswer();
    answer.pauseAfterByte = 10ms;
    ScriptedListener listener(answer);
    Exchange exchange(urlOf(listener));
    exchange.answer->getTransport().setReceiveTimeout(100);
    exchange.send("x");
    EXPECT_THAT(netFailureOf([&] {
                    exchange.readStatus();
                    exchange.readBody();
                }),
                HasSubstr("timed out after 100 ms"));
}

TEST(HTTPClient, FailsAtItsSendTimeOut_WhenTheListenerDoesNotRead) {
    Answer answer;
    answer.reading = Answer::Reading::nothing;
    answer.end = Answer::End::hang;
    ScriptedListener listener(answer);
    Exchange exchange(urlOf(listener), 200);
    EXPECT_THAT(netFailureOf([&] { exchange.send(std::string(64 * 1024 * 1024, 'x')); }),
                HasSubstr("timed out after 200 ms"));
}

TEST(HTTPClient, ReadsTheAnswer_WhenTheListenerRefusesByTheHeadOfALargeRequest) {
    Answer answer = rawAnswer("HTTP/1.0 406 Not Acceptable\r\nCIMError: header-mismatch\r\n\r\n");
    answer.reading = Answer::Reading::headOnly;
    ScriptedListener listener(answer);
    Exchange exchange(urlOf(listener));
    exchange.send(std::string(64 * 1024 * 1024, 'x'));
    EXPECT_EQ(exchange.readStatus(), 406U);
    EXPECT_EQ(exchange.response.getHeader("CIMError"), ORVString("header-mismatch"));
}

TEST(HTTPClient, FailsToSend_WhenTheListenerResetsWithoutAnAnswer) {
    Answer answer = velm::test::resettingAnswer();
    answer.reading = Answer::Reading::headOnly;
    ScriptedListener listener(answer);
    Exchange exchange(urlOf(listener));
    EXPECT_THAT(netFailureOf([&] { exchange.send(std::string(64 * 1024 * 1024, 'x')); }),
                StartsWith("Sending to 127.0.0.1:" + listener.port() + " failed: "));
}

TEST(HTTPClient, FailsToReadTheAnswer_WhenTheListenerClosesOrResetsInsteadOfAnswering) {
    ScriptedListener listener;
    listener.queueAnswer(velm::test::closingAnswer());
    listener.queueAnswer(velm::test::resettingAnswer());
    for (const char* cause :
         {"failed: the connection was closed without an answer", "failed: Connection reset by peer"}) {
        Exchange exchange(urlOf(listener));
        exchange.send("x");
        EXPECT_THAT(netFailureOf([&] { exchange.readStatus(); }), HasSubstr(cause));
    }
}

TEST(HTTPClient, LetsItsStreamsFail_WhenItHasDisconnected) {
    ScriptedListener listener;
    Exchange exchange(urlOf(listener));
    exchange.client.disconnect();
    exchange.client.disconnect();
    EXPECT_THAT(netFailureOf([&] { exchange.send("x"); }), HasSubstr("the connection was closed"));
    EXPECT_THAT(netFailureOf([&] { exchange.readStatus(); }), HasSubstr("the connection was closed"));
}

TEST(HTTPClient, DoesNothing_WhenItDisconnectsBeforeItHasConnected) {
    ORVHTTPClient client("http://127.0.0.1:1", patience, false);
    client.disconnect();
    EXPECT_EQ(ORVHTTPClient::defaultTimeout, 30000);
}
