#include "velmd/http/HTTPServer.h"

#include "foundation/utilities/OrvoBaseException.h"
#include "tests/support/LogCapture.h"
#include "tests/unit/velmd/http/RefusedRequests.h"
#include "tests/unit/velmd/http/TestClient.h"

#include <chrono>
#include <latch>
#include <mutex>
#include <stdexcept>
#include <string>
#include <vector>

#include <gmock/gmock.h>

using namespace std::chrono_literals;
using namespace velm;
using namespace velm::test;
using testing::ElementsAre;

namespace {

std::string post(std::string_view target, std::string_view body) {
    std::string bytes = "POST ";
    bytes.append(target).append(" HTTP/1.1\r\nHost: a\r\nContent-Length: ");
    return bytes.append(std::to_string(body.size())).append("\r\n\r\n").append(body);
}

/// Sends all and ends sending; gives all that comes back.
std::string converse(const HTTPServer& server, std::string_view bytes) {
    TestClient client(server.port());
    client.send(bytes);
    client.endSending();
    return client.receiveAll();
}

class RefusedRequestServing : public testing::TestWithParam<RefusedRequest> {};

}  // namespace

TEST(HTTPServer, AnswersToTheByte_WhenARequestIsComplete) {
    HTTPServer server(loopbackOptions(), [](const HTTPRequest& request) {
        HTTPResponse response;
        response.headers = {{"Content-Type", "text/plain"}, {"X-Agent", *request.header("user-agent")}};
        response.body = "<" + request.body + ">";
        return response;
    });
    TestClient client(server.port());
    client.send(
        "POST /cimom HTTP/1.1\r\nHost: 127.0.0.1:5988\r\nUser-Agent: t/1\r\nContent-Length: 3\r\n\r\nabc");
    EXPECT_EQ(client.receive(),
              "HTTP/1.1 200 OK\r\nDate: DATE\r\nServer: velmd\r\nContent-Type: text/plain\r\nX-Agent: t/1\r\n"
              "Content-Length: 5\r\n\r\n<abc>");
    EXPECT_EQ(client.ending(), TestClient::Ending::open);
}

TEST(HTTPServer, TellsTheHandlerBothEnds_WhenAClientConnectsByEitherAddress) {
    HTTPServer::Options options = loopbackOptions();
    options.addresses = {"127.0.0.1", "::1", "127.0.0.2"};
    HTTPServer server(options, [](const HTTPRequest& request) {
        HTTPResponse response;
        response.body =
            request.localAddress + ' ' + std::to_string(request.localPort) + ' ' + request.peerAddress;
        return response;
    });
    const std::string port = std::to_string(server.port());
    for (const auto& [address, peer] : {std::pair("127.0.0.1", "127.0.0.1"), std::pair("::1", "::1"),
                                        std::pair("127.0.0.2", "127.0.0.1")}) {
        TestClient client(server.port(), address);
        client.send("GET / HTTP/1.1\r\nHost: a\r\n\r\n");
        EXPECT_EQ(client.receive(), responseBytes("200 OK", std::string(address) + ' ' + port + ' ' + peer));
    }
}

TEST(HTTPServer, ServesOneRequestAfterTheOther_WhenTheClientKeepsTheConnection) {
    HTTPServer server(loopbackOptions(), echo);
    TestClient client(server.port());
    for (const char* body : {"one", "", "three"}) {
        client.send(post("/", body));
        EXPECT_EQ(client.receive(), responseBytes("200 OK", std::string("POST / ") + body));
    }
    EXPECT_EQ(server.connectionCount(), 1U);
}

TEST(HTTPServer, AnswersInOrder_WhenRequestsArePipelined) {
    HTTPServer server(loopbackOptions(), echo);
    const std::string answers = converse(
        server,
        "\r\nGET /1 HTTP/1.1\r\nHost: a\r\n\r\n" + post("/2", "x\r\n\r\ny") +
            "\r\n\r\nPOST /3 HTTP/1.1\r\nHost: a\r\nTransfer-Encoding: chunked\r\n\r\n"
            "2\r\nab\r\n0\r\nT: t\r\n\r\nHEAD /4 HTTP/1.1\r\nHost: a\r\n\r\n" +
            "GET /5 HTTP/1.1\r\nHost: a\r\nConnection: close\r\n\r\nGET /6 HTTP/1.1\r\nHost: a\r\n\r\n");
    const std::string toHead = responseBytes("200 OK", "HEAD /4 ");
    EXPECT_EQ(answers, responseBytes("200 OK", "GET /1 ") + responseBytes("200 OK", "POST /2 x\r\n\r\ny") +
                           responseBytes("200 OK", "POST /3 ab") + toHead.substr(0, toHead.size() - 8) +
                           responseBytes("200 OK", "GET /5 ", "close"));
}

TEST(HTTPServer, ReadsTheNextRequestOnlyThen_WhenTheFormerIsAnswered) {
    std::latch mayAnswer(1);
    std::mutex mutex;
    std::vector<std::string> order;
    HTTPServer server(loopbackOptions(), [&](const HTTPRequest& request) {
        if (request.target == "/slow") {
            mayAnswer.wait();
        }
        const std::lock_guard lock(mutex);
        order.push_back(request.target);
        return echo(request);
    });
    TestClient slow(server.port());
    slow.send("GET /slow HTTP/1.1\r\nHost: a\r\n\r\nGET /next HTTP/1.1\r\nHost: a\r\n\r\n");
    TestClient other(server.port());
    other.send("GET /other HTTP/1.1\r\nHost: a\r\n\r\n");
    EXPECT_EQ(other.receive(), responseBytes("200 OK", "GET /other "));
    mayAnswer.count_down();
    EXPECT_EQ(slow.receive(), responseBytes("200 OK", "GET /slow "));
    EXPECT_EQ(slow.receive(), responseBytes("200 OK", "GET /next "));
    EXPECT_THAT(order, ElementsAre("/other", "/slow", "/next"));
}

TEST(HTTPServer, ClosesOrKeepsTheConnection_AsHTTP10Defines) {
    HTTPServer server(loopbackOptions(), echo);
    TestClient plain(server.port());
    plain.send("GET / HTTP/1.0\r\n\r\n");
    EXPECT_EQ(plain.receiveAll(), responseBytes("200 OK", "GET / ", "close"));
    EXPECT_EQ(plain.ending(), TestClient::Ending::closed);

    TestClient kept(server.port());
    kept.send("GET /1 HTTP/1.0\r\nConnection: Keep-Alive\r\n\r\nGET /2 HTTP/1.0\r\n\r\n");
    EXPECT_EQ(kept.receiveAll(),
              responseBytes("200 OK", "GET /1 ", "keep-alive") + responseBytes("200 OK", "GET /2 ", "close"));
}

TEST(HTTPServer, AsksForTheBody_WhenTheClientWaitsForThat) {
    HTTPServer server(loopbackOptions(), echo);
    TestClient client(server.port());
    const std::string continued = "HTTP/1.1 100 Continue\r\n\r\n";
    client.send("POST /1 HTTP/1.1\r\nHost: a\r\nExpect: 100-continue\r\nContent-Length: 3\r\n\r\n");
    EXPECT_EQ(client.receiveBytes(continued.size()), continued);
    client.send("abc");
    EXPECT_EQ(client.receive(), responseBytes("200 OK", "POST /1 abc"));

    client.send("POST /2 HTTP/1.1\r\nHost: a\r\nExpect: 100-continue\r\nTransfer-Encoding: chunked\r\n\r\n");
    EXPECT_EQ(client.receiveBytes(continued.size()), continued);
    client.send("1\r\na\r\n0\r\n\r\n");
    EXPECT_EQ(client.receive(), responseBytes("200 OK", "POST /2 a"));

    client.send("POST /3 HTTP/1.1\r\nHost: a\r\nExpect: 100-continue\r\nContent-Length: 1\r\n\r\nb");
    EXPECT_EQ(client.receiveBytes(continued.size()), continued);
    EXPECT_EQ(client.receive(), responseBytes("200 OK", "POST /3 b"));

    client.send("POST /4 HTTP/1.1\r\nHost: a\r\nExpect: 100-continue\r\nContent-Length: 0\r\n\r\n");
    EXPECT_EQ(client.receive(), responseBytes("200 OK", "POST /4 "));
}

TEST(HTTPServer, DoesNotAskForTheBody_WhenTheAnswerIsClear) {
    HTTPServer::Options options = loopbackOptions();
    options.limits.maxBodyBytes = 2;
    HTTPServer server(options, echo);
    EXPECT_EQ(
        converse(server, "POST / HTTP/1.1\r\nHost: a\r\nExpect: 100-continue\r\nContent-Length: 3\r\n\r\n"),
        refusalBytes("413 Payload Too Large", "The body is too large."));
    EXPECT_EQ(converse(server, "POST / HTTP/1.0\r\nExpect: 100-continue\r\nContent-Length: 1\r\n\r\nx"),
              responseBytes("200 OK", "POST / x", "close"));
}

TEST_P(RefusedRequestServing, IsAnsweredWithStatusAndReasonAndClosed_AlsoBehindAGoodRequest) {
    HTTPServer server(loopbackOptions(), echo);
    const std::string refusal = refusalBytes(GetParam().status, GetParam().reason);
    TestClient client(server.port());
    client.send("GET /good HTTP/1.1\r\nHost: a\r\n\r\n");
    client.send(GetParam().bytes);
    client.send("GET /smuggled HTTP/1.1\r\nHost: a\r\n\r\n");
    EXPECT_EQ(client.receiveAll(), responseBytes("200 OK", "GET /good ") + refusal);
    EXPECT_EQ(client.ending(), TestClient::Ending::closed);
}

INSTANTIATE_TEST_SUITE_P(All, RefusedRequestServing, testing::ValuesIn(refusedRequests),
                         [](const auto& request) { return request.param.name; });

TEST(HTTPServer, LogsARefusalWithoutTheClientsText) {
    const LogCapture log;
    HTTPServer server(loopbackOptions(), echo);
    converse(server, "GET / HTTP/1.1\r\nevil: \x1b[31m\r\n\r\n");
    EXPECT_TRUE(log.waitForMessage(
        "A client at 127.0.0.1 was answered with 400: The value of a header is malformed."));
}

TEST(HTTPServer, AnswersWith500AndLogs_WhenTheHandlerThrows) {
    const LogCapture log;
    HTTPServer server(loopbackOptions(), [](const HTTPRequest& request) -> HTTPResponse {
        if (request.target == "/standard") {
            throw std::runtime_error("the cause");
        }
        if (request.target == "/own") {
            throw ORVNetException("where", "the network");
        }
        throw 7;
    });
    TestClient client(server.port());
    for (const auto& [target, cause] : {std::pair("/standard", "the cause"), std::pair("/own", "the network"),
                                        std::pair("/number", "unknown exception")}) {
        client.send(post(target, "x"));
        EXPECT_EQ(client.receive(), responseBytes("500 Internal Server Error", ""));
        EXPECT_THAT(log.records(),
                    testing::Contains(IsLogLine(
                        "HTTPServer", ORVString("The handler of a request threw: ") + ORVString(cause),
                        OrvoTraceLog::SeverityError)));
    }
}

TEST(HTTPServer, AnswersWith500AndLogs_WhenTheHandlersAnswerWouldBreakTheFraming) {
    const LogCapture log;
    HTTPServer server(loopbackOptions(), [](const HTTPRequest&) {
        HTTPResponse response;
        response.headers = {{"CIMError", "a\r\nSet-Cookie: b"}};
        response.body = "not sent";
        return response;
    });
    EXPECT_EQ(converse(server, post("/", "")), responseBytes("500 Internal Server Error", ""));
    EXPECT_EQ(log.count("The answer of a handler cannot be sent: "
                        "the value of a header holds a control character"),
              1U);
}

TEST(HTTPServer, SendsNoBody_WhenTheStatusHasNone) {
    HTTPServer server(loopbackOptions(), [](const HTTPRequest& request) {
        HTTPResponse response;
        response.status = request.target == "/204" ? 204 : 200;
        response.body = "body";
        return response;
    });
    EXPECT_EQ(
        converse(server, "GET /204 HTTP/1.1\r\nHost: a\r\n\r\nGET / HTTP/1.1\r\nHost: a\r\n\r\n"),
        "HTTP/1.1 204 No Content\r\nDate: DATE\r\nServer: velmd\r\n\r\n" + responseBytes("200 OK", "body"));
}

TEST(HTTPServer, SendsTheBodyOfARefusal_WhenTheRequestBeforeWasAHead) {
    HTTPServer server(loopbackOptions(), echo);
    const std::string answers = converse(server, "HEAD / HTTP/1.1\r\nHost: a\r\n\r\nGET / HTTP/3.0\r\n\r\n");
    EXPECT_TRUE(answers.ends_with(refusalBytes("505 HTTP Version Not Supported", refused::otherVersion)));
}

TEST(HTTPServer, SendsAndReceivesEveryByte_WhenBodiesAreLarge) {
    HTTPServer server(loopbackOptions(), [](const HTTPRequest& request) {
        HTTPResponse response;
        response.body = request.body;
        return response;
    });
    std::string body(16 * 1024 * 1024, '\0');
    for (std::size_t index = 0; index < body.size(); ++index) {
        body[index] = static_cast<char>(index % 251);
    }
    TestClient client(server.port());
    ASSERT_TRUE(client.send(post("/", body)));
    EXPECT_TRUE(client.receive() == responseBytes("200 OK", body));
}

TEST(HTTPServer, ServesOthers_WhileOneClientSendsByteByByteAndAnotherDoesNotRead) {
    HTTPServer::Options options = loopbackOptions();
    options.workers = 1;
    HTTPServer server(options, [](const HTTPRequest& request) {
        HTTPResponse response = echo(request);
        response.body.resize(request.target == "/large" ? 32 * 1024 * 1024 : response.body.size());
        return response;
    });
    TestClient deaf(server.port());
    deaf.send("GET /large HTTP/1.1\r\nHost: a\r\n\r\n");
    ASSERT_TRUE(deaf.waitForBytes());
    TestClient slow(server.port());
    const std::string request = post("/slow", "ab");
    for (const char byte : request) {
        slow.send({&byte, 1});
        TestClient other(server.port());
        other.send(post("/other", "x"));
        ASSERT_EQ(other.receive(), responseBytes("200 OK", "POST /other x"));
    }
    EXPECT_EQ(slow.receive(), responseBytes("200 OK", "POST /slow ab"));
}

TEST(HTTPServer, AnswersAHalfClosedClient_WhenItsRequestWasComplete) {
    HTTPServer server(loopbackOptions(), echo);
    EXPECT_EQ(converse(server, post("/", "x")), responseBytes("200 OK", "POST / x"));
    EXPECT_EQ(converse(server, "POST / HTTP/1.1\r\nHost: a\r\nContent-Length: 3\r\n\r\nab"), "");
    EXPECT_EQ(converse(server, ""), "");
    EXPECT_TRUE(eventually([&] { return server.connectionCount() == 0; }));
}

TEST(HTTPServer, AnswersEveryRequestRight_WhenEightClientsSendTwoHundredEach) {
    HTTPServer server(loopbackOptions(), echo);
    std::vector<std::size_t> rightAnswers(8);
    std::vector<std::thread> threads;
    for (std::size_t number = 0; number < rightAnswers.size(); ++number) {
        threads.emplace_back([&, number] {
            TestClient client(server.port());
            for (int count = 0; count < 200; ++count) {
                const std::string body = std::to_string(number) + ':' + std::to_string(count);
                client.send(post("/load", body));
                rightAnswers[number] += client.receive() == responseBytes("200 OK", "POST /load " + body);
            }
        });
    }
    for (std::thread& thread : threads) {
        thread.join();
    }
    EXPECT_THAT(rightAnswers, testing::Each(200U));
    EXPECT_EQ(server.stop(10s), 0U);
}
