#include "tests/support/LogCapture.h"
#include "tests/unit/velmd/http/ServerSupport.h"
#include "velmd/http/Descriptor.h"
#include "velmd/http/HTTPServer.h"

#include <functional>
#include <stdexcept>
#include <string>
#include <vector>

#include <gmock/gmock.h>

// What requests and responses may take for all clients together.

using namespace std::chrono_literals;
using namespace velm;
using namespace velm::test;

namespace {

constexpr std::size_t kilobyte = 1024;
constexpr std::size_t megabyte = 1024 * kilobyte;

const std::string refusal =
    refusalBytes("503 Service Unavailable", "The requests and responses under way take too much memory.");

HTTPServer::Options optionsWith(std::size_t maxHeldBytes) {
    HTTPServer::Options options = patientOptions();
    options.limits.maxHeldBytes = maxHeldBytes;
    return options;
}

/// As large as the target says; "/1000".
HTTPResponse answerOfSize(const HTTPRequest& request) {
    return responseOfSize(std::stoul(request.target.substr(1)));
}

std::string getOfSize(std::size_t size) {
    return "GET /" + std::to_string(size) + " HTTP/1.1\r\nHost: a\r\n\r\n";
}

/// Sends the first `sent` bytes of a body and waits until the server holds them.
TestClient clientWithin(const HTTPServer& server, std::size_t size, std::size_t sent) {
    const std::size_t before = server.heldBytes();
    TestClient client(server.port());
    client.send(postRequest("/", size, sent));
    EXPECT_TRUE(eventually([&] { return server.heldBytes() >= before + sent; }));
    return client;
}

bool isServed(TestClient& client) {
    return client.receive().starts_with("HTTP/1.1 200 OK\r\n");
}

}  // namespace

TEST(HTTPServerHeld, LetsTheLargestRequestGo_WhenAnotherNeedsTheRoom) {
    HTTPServer server(optionsWith(megabyte), [](const HTTPRequest&) { return HTTPResponse(); });
    TestClient large = clientWithin(server, 900 * kilobyte, 700 * kilobyte);
    TestClient small(server.port());
    small.send(postRequest("/", 500 * kilobyte));
    EXPECT_TRUE(isServed(small));
    EXPECT_EQ(large.receiveAll(), refusal);
    EXPECT_EQ(large.ending(), TestClient::Ending::closed);
    EXPECT_TRUE(eventually([&] { return server.heldBytes() == 0; }));
}

TEST(HTTPServerHeld, RefusesTheRequestThatGoesPast_WhenItIsTheLargest) {
    HTTPServer server(optionsWith(megabyte), [](const HTTPRequest&) { return HTTPResponse(); });
    TestClient small = clientWithin(server, 300 * kilobyte, 299 * kilobyte);
    TestClient large(server.port());
    large.send(postRequest("/", 900 * kilobyte));
    EXPECT_EQ(large.receiveAll(), refusal);
    EXPECT_EQ(large.ending(), TestClient::Ending::closed);
    small.send(std::string(kilobyte, 'x'));
    EXPECT_TRUE(isServed(small));
}

TEST(HTTPServerHeld, CountsRequestsThatWorkersHave_AndLetsNoneOfThemGo) {
    Gate gate;
    HTTPServer server(optionsWith(megabyte), [&](const HTTPRequest& request) {
        if (request.method == "POST") {
            gate.pass();
        }
        return HTTPResponse();
    });
    TestClient handled(server.port());
    handled.send(postRequest("/", 1000 * kilobyte));
    ASSERT_TRUE(gate.waitForEntered(1));
    EXPECT_GE(server.heldBytes(), 1000 * kilobyte);
    TestClient refused(server.port());
    refused.send(postRequest("/", 100 * kilobyte));
    EXPECT_EQ(refused.receiveAll(), refusal);
    TestClient tiny(server.port());
    tiny.send(getRequest);
    EXPECT_TRUE(isServed(tiny));
    gate.open();
    EXPECT_TRUE(isServed(handled));
    EXPECT_TRUE(eventually([&] { return server.heldBytes() == 0; }));
}

TEST(HTTPServerHeld, AnswersWith503InsteadOfTheResponse_WhenThatIsTooLarge) {
    HTTPServer server(optionsWith(megabyte), answerOfSize);
    TestClient client(server.port());
    client.send(getOfSize(1000 * kilobyte));
    EXPECT_TRUE(isServed(client));
    client.send(getOfSize(1025 * kilobyte));
    EXPECT_EQ(client.receiveAll(), refusal);
    EXPECT_TRUE(eventually([&] { return server.heldBytes() == 0; }));
}

TEST(HTTPServerHeld, TellsWhatWasDone_WhenTheResponseTakesNoMoreRoomThanItsRequest) {
    Gate gate;
    HTTPServer::Options options = optionsWith(megabyte);
    options.workers = 3;
    HTTPServer server(options, [&](const HTTPRequest&) {
        gate.pass();
        return responseOfSize(100);
    });
    // Together within the limit, and past it with what comes in behind them.
    TestClient large(server.port());
    large.send(postRequest("/", 1023 * kilobyte));
    ASSERT_TRUE(gate.waitForEntered(1));
    TestClient small(server.port());
    small.send(postRequest("/", 200));
    ASSERT_TRUE(gate.waitForEntered(2));
    gate.open();
    EXPECT_TRUE(isServed(small));
    EXPECT_TRUE(isServed(large));
}

TEST(HTTPServerHeld, ResetsTheClientThatTakesNothing_WhenAnotherNeedsTheRoom) {
    const LogCapture log;
    HTTPServer server(optionsWith(40 * megabyte), answerOfSize);
    TestClient hoarder(server.port());
    hoarder.send(getOfSize(30 * megabyte));
    ASSERT_TRUE(eventually([&] { return server.heldBytes() > 30 * megabyte; }));
    TestClient reader(server.port());
    reader.send(getOfSize(20 * megabyte));
    EXPECT_TRUE(hoarder.waitForReset());
    EXPECT_TRUE(isServed(reader));
    EXPECT_TRUE(log.waitForMessage(
        "The connection of a client at 127.0.0.1 was reset: the requests and responses under "
        "way take too much memory"));
    EXPECT_TRUE(eventually([&] { return server.heldBytes() == 0; }));
}

TEST(HTTPServerHeld, StaysWithinTheLimit_WhenManySendAtTheSameTime) {
    HTTPServer server(optionsWith(megabyte), [](const HTTPRequest&) { return HTTPResponse(); });
    std::vector<TestClient> clients;
    const std::string request = postRequest("/", 100 * kilobyte);
    for (int count = 0; count < 32; ++count) {
        clients.emplace_back(server.port());
    }
    // All begin, none ends; then all end.
    const std::size_t half = request.size() / 2;
    std::size_t most = 0;
    for (TestClient& client : clients) {
        client.send(std::string_view(request).substr(0, half));
        most = std::max(most, server.heldBytes());
    }
    for (TestClient& client : clients) {
        client.send(std::string_view(request).substr(half));
        most = std::max(most, server.heldBytes());
    }
    std::size_t served = 0;
    for (TestClient& client : clients) {
        const std::string answer = client.receive();
        EXPECT_TRUE(answer == refusal || answer == responseBytes("200 OK", ""));
        served += answer == refusal ? 0 : 1;
    }
    EXPECT_GE(served, 1U);
    EXPECT_LT(served, clients.size());
    // One read of the server's past it.
    EXPECT_LE(most, megabyte + 64 * kilobyte);
    EXPECT_TRUE(eventually([&] { return server.heldBytes() == 0; }));
}

namespace {

/// A way for a request to end, after which nothing of it is held any more.
struct Ending {
    const char* name;
    std::function<void(TestClient&)> act;
};

void PrintTo(const Ending& ending, std::ostream* out) {
    *out << ending.name;
}

constexpr std::size_t size = 100'000;
const std::string chunkedStart =
    "POST / HTTP/1.1\r\nHost: a\r\nTransfer-Encoding: chunked\r\n\r\n186a0\r\n" + std::string(size, 'x');

Ending sending(const char* name, const std::string& bytes) {
    return {name, [bytes](TestClient& client) {
                client.send(bytes);
                EXPECT_NE(client.receive(), "");
            }};
}

const std::vector<Ending> endings{
    sending("Answered", postRequest("/", size)),
    sending("AnsweredToHTTP10", "POST / HTTP/1.0\r\nContent-Length: 3\r\n\r\nabc"),
    sending("AnsweredAfterEmptyLines", "\r\n\r\n" + postRequest("/", size) + "\r\n\r\n"),
    sending("ChunkedAnswered", chunkedStart + "\r\n0\r\n\r\n"),
    sending("ChunkedMalformed", chunkedStart + "nonsense"),
    sending("BodyTooLarge", "POST / HTTP/1.1\r\nHost: a\r\nContent-Length: 200001\r\n\r\nabc"),
    sending("ChunkedTooLarge", chunkedStart + "\r\n186a1\r\n" + std::string(size + 1, 'x')),
    sending("HandlerThrows", postRequest("/throw", size)),
    sending("FlawedResponse", postRequest("/flawed", size)),
    sending("TooSlow", postRequest("/", size, size / 2)),
    sending("TooSlowHead", "POST / HTTP/1.1\r\nX: " + std::string(10'000, 'x')),
    {"AnsweredToHead",
     [](TestClient& client) {
         client.send("HEAD / HTTP/1.1\r\nHost: a\r\nContent-Length: 3\r\n\r\nabc");
         EXPECT_NE(client.receive(false), "");
     }},
    {"AnsweredThrice",
     [](TestClient& client) {
         client.send(postRequest("/", size) + postRequest("/", size) + postRequest("/", size));
         for (int count = 0; count < 3; ++count) {
             EXPECT_NE(client.receive(), "");
         }
     }},
    {"TakenOver",
     [](TestClient& client) {
         client.send(postRequest("/channel", size) + "sent ahead");
         EXPECT_EQ(client.receiveAll(), "");
     }},
    {"ResetWhileTheBodyComes",
     [](TestClient& client) {
         client.send(postRequest("/", size, size / 2));
         client.reset();
     }},
    {"ClosedWhileTheBodyComes",
     [](TestClient& client) {
         client.send(postRequest("/", size, size / 2));
         client.close();
     }},
    {"ResetWhileTheBodyIsAskedFor",
     [](TestClient& client) {
         client.send("POST / HTTP/1.1\r\nHost: a\r\nExpect: 100-continue\r\nContent-Length: 5\r\n\r\n");
         client.waitForBytes();
         client.reset();
     }},
    {"ResetWhileItIsAnswered",
     [](TestClient& client) {
         client.send(postRequest("/large", size));
         client.waitForBytes();
         client.reset();
     }},
};

class HTTPServerHeldEnding : public testing::TestWithParam<Ending> {};

}  // namespace

TEST_P(HTTPServerHeldEnding, LeavesNothing) {
    const LogCapture log;
    HTTPServer::Options options = patientOptions();
    options.limits.maxBodyBytes = 2 * size;
    options.limits.requestTimeout = 300ms;
    HTTPServer server(options, [](const HTTPRequest& request) -> HTTPResponse {
        if (request.target == "/throw") {
            throw std::runtime_error("thrown");
        }
        if (request.target == "/channel") {
            return takenOver([](int socket) { const Descriptor closed(socket); });
        }
        HTTPResponse response = responseOfSize(request.target == "/large" ? 30 * megabyte : size);
        if (request.target == "/flawed") {
            response.status = 99;
        }
        return response;
    });
    TestClient client(server.port());
    GetParam().act(client);
    EXPECT_TRUE(eventually([&] { return server.heldBytes() == 0; })) << server.heldBytes();
}

INSTANTIATE_TEST_SUITE_P(Requests, HTTPServerHeldEnding, testing::ValuesIn(endings),
                         [](const auto& tested) { return std::string(tested.param.name); });
