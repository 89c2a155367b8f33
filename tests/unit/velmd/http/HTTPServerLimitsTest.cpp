#include "tests/unit/velmd/http/ServerSupport.h"
#include "velmd/http/HTTPServer.h"

#include <algorithm>
#include <chrono>
#include <malloc.h>
#include <string>
#include <sys/resource.h>
#include <unistd.h>
#include <vector>

#include <gmock/gmock.h>

using namespace std::chrono_literals;
using namespace velm;
using namespace velm::test;

namespace {

constexpr std::string_view chunkedHead = "POST / HTTP/1.1\r\nHost: a\r\nTransfer-Encoding: chunked\r\n\r\n";
/// Of what a server drops behind its last answer, with room for the kernel's buffers.
constexpr std::size_t mostDropped = 96 * 1024 * 1024;

const std::string tooLarge = refusalBytes("413 Payload Too Large", "The body is too large.");
const std::string tooSlow = refusalBytes("408 Request Timeout", "The request was not complete in time.");

/// Sends the piece again and again until the server has closed; how much that was.
std::size_t flood(TestClient& client, const std::string& piece) {
    std::size_t size = 0;
    while (size < 2 * mostDropped && client.send(piece)) {
        size += piece.size();
    }
    return size;
}

bool isSanitized() {
#if defined(__SANITIZE_ADDRESS__) || defined(__SANITIZE_THREAD__)
    return true;
#else
    return false;
#endif
}

/// Raises the number of descriptors that the process may have as far as allowed, and gives it.
std::size_t raiseDescriptorLimit() {
    rlimit limit{};
    ::getrlimit(RLIMIT_NOFILE, &limit);
    limit.rlim_cur = limit.rlim_max;
    ::setrlimit(RLIMIT_NOFILE, &limit);
    return static_cast<std::size_t>(limit.rlim_cur);
}

}  // namespace

TEST(HTTPServerLimits, AnswersWith431_WhenTheHeadIsTooLarge) {
    HTTPServer::Options options = patientOptions();
    options.limits.maxHeaderBytes = 1000;
    HTTPServer server(options, echo);
    for (const char* start : {"", "GET /", "GET / HTTP/1.1\r\nHost: a\r\nX: "}) {
        TestClient client(server.port());
        client.send(start + std::string(2000, 'a'));
        EXPECT_EQ(client.receiveAll(), refusalBytes("431 Request Header Fields Too Large",
                                                    "The request line and the headers are too large."));
        EXPECT_EQ(client.ending(), TestClient::Ending::closed);
    }
}

TEST(HTTPServerLimits, AnswersWith413BeforeTheBody_WhenItsLengthIsTooLarge) {
    HTTPServer server(patientOptions(), echo);
    TestClient client(server.port());
    client.send("POST / HTTP/1.1\r\nHost: a\r\nContent-Length: 1073741824\r\n\r\n");
    EXPECT_EQ(client.receiveAll(), tooLarge);
}

TEST(HTTPServerLimits, LetsTheAnswerBeRead_WhenTheClientSendsItsWholeBodyFirst) {
    HTTPServer::Options options = patientOptions();
    options.limits.maxBodyBytes = 1000;
    HTTPServer server(options, echo);
    TestClient client(server.port());
    client.send("POST / HTTP/1.1\r\nHost: a\r\nContent-Length: 33554432\r\n\r\n");
    EXPECT_TRUE(client.send(std::string(33554432, 'x')));
    EXPECT_EQ(client.receiveAll(), tooLarge);
    EXPECT_EQ(client.ending(), TestClient::Ending::closed);
}

TEST(HTTPServerLimits, ClosesAfterABoundedAmount_WhenAChunkedBodyHasNoEnd) {
    HTTPServer::Options options = patientOptions();
    options.limits.maxBodyBytes = 1024 * 1024;
    HTTPServer server(options, echo);
    TestClient client(server.port());
    client.send(chunkedHead);
    const std::string chunk = "10000\r\n" + std::string(65536, 'x') + "\r\n";
    EXPECT_LT(flood(client, chunk), mostDropped);
    EXPECT_TRUE(eventually([&] { return server.connectionCount() == 0; }));
}

TEST(HTTPServerLimits, AnswersWith413_WhenAChunkedBodyGrowsPastTheLimit) {
    HTTPServer::Options options = patientOptions();
    options.limits.maxBodyBytes = 10;
    HTTPServer server(options, echo);
    TestClient client(server.port());
    client.send(chunkedHead);
    client.send("a\r\n0123456789\r\n1\r\nx");
    EXPECT_EQ(client.receiveAll(), tooLarge);
}

TEST(HTTPServerLimits, ClosesAfterABoundedTime_WhenARefusedClientNeitherSendsNorCloses) {
    HTTPServer::Options options = patientOptions();
    options.limits.requestTimeout = 100ms;
    HTTPServer server(options, echo);
    TestClient client(server.port());
    client.send("GET / HTTP/2.0\r\n\r\n");
    ASSERT_TRUE(client.waitForBytes());
    EXPECT_TRUE(eventually([&] { return server.connectionCount() == 0; }));
}

TEST(HTTPServerLimits, LetsGoOfAClient_WhenItIsIdleTooLong) {
    HTTPServer::Options options = patientOptions();
    options.limits.idleTimeout = 100ms;
    HTTPServer server(options, echo);
    TestClient silent(server.port());
    EXPECT_EQ(silent.receiveAll(), "");
    EXPECT_EQ(silent.ending(), TestClient::Ending::closed);
    TestClient served(server.port());
    served.send(getRequest);
    EXPECT_EQ(served.receiveAll(), responseBytes("200 OK", "GET / "));
}

TEST(HTTPServerLimits, LetsGoOfAClient_WhenItSendsNothingButEmptyLines) {
    HTTPServer::Options options = patientOptions();
    options.limits.idleTimeout = 100ms;
    HTTPServer server(options, echo);
    TestClient client(server.port());
    while (client.send("\r\n") && !client.hasBytes(2ms)) {
    }
    EXPECT_EQ(client.receiveAll(), "");
}

TEST(HTTPServerLimits, AnswersWith408_WhenTheHeadComesByteByByte) {
    HTTPServer::Options options = patientOptions();
    options.limits.requestTimeout = 150ms;
    HTTPServer server(options, echo);
    TestClient client(server.port());
    client.send("GET / HTTP/1.1\r\nX: ");
    client.trickle('a', 5ms);
    EXPECT_EQ(client.receiveAll(), tooSlow);
}

TEST(HTTPServerLimits, AnswersWith408_WhenTheBodyComesByteByByteOrNotAtAll) {
    HTTPServer::Options options = patientOptions();
    options.limits.requestTimeout = 150ms;
    HTTPServer server(options, echo);
    TestClient slow(server.port());
    slow.send("POST / HTTP/1.1\r\nHost: a\r\nContent-Length: 100000\r\n\r\n");
    slow.trickle('a', 5ms);
    EXPECT_EQ(slow.receiveAll(), tooSlow);
    TestClient silent(server.port());
    silent.send("POST / HTTP/1.1\r\nHost: a\r\nExpect: 100-continue\r\nContent-Length: 5\r\n\r\n");
    EXPECT_EQ(silent.receiveAll(), "HTTP/1.1 100 Continue\r\n\r\n" + tooSlow);
}

TEST(HTTPServerLimits, HasNoLimitForTheHandler_WhenItIsSlow) {
    HTTPServer::Options options = patientOptions();
    options.limits.requestTimeout = options.limits.idleTimeout = options.limits.writeTimeout = 50ms;
    Gate gate;
    HTTPServer server(options, [&](const HTTPRequest& request) {
        return request.target == "/slow" ? gate.handler()(request) : echo(request);
    });
    TestClient slow(server.port());
    slow.send("GET /slow HTTP/1.1\r\nHost: a\r\n\r\n");
    TestClient idle(server.port());
    EXPECT_EQ(idle.receiveAll(), "");
    gate.open();
    EXPECT_EQ(slow.receive(), responseBytes("200 OK", "GET /slow "));
}

TEST(HTTPServerLimits, ResetsTheConnection_WhenTheClientReadsNothingOfItsAnswer) {
    HTTPServer::Options options = patientOptions();
    options.limits.writeTimeout = 100ms;
    HTTPServer server(options, [](const HTTPRequest&) { return responseOfSize(64 * 1024 * 1024); });
    TestClient client(server.port());
    client.send(getRequest);
    EXPECT_TRUE(client.waitForReset());
    EXPECT_TRUE(eventually([&] { return server.connectionCount() == 0; }));
}

TEST(HTTPServerLimits, SendsAllOfIt_WhenTheClientTakesLongerThanTheLimitButGoesOnReading) {
    HTTPServer::Options options = patientOptions();
    options.limits.writeTimeout = 1s;
    constexpr std::size_t size = 48 * 1024 * 1024;
    HTTPServer server(options, [](const HTTPRequest&) { return responseOfSize(size); });
    TestClient client(server.port());
    client.send(getRequest);
    std::size_t received = 0;
    for (int count = 0; count < 24; ++count) {
        std::this_thread::sleep_for(50ms);
        received += client.receiveBytes(size / 24).size();
    }
    EXPECT_EQ(received, size);
}

TEST(HTTPServerLimits, AnswersWith503AndCloses_WhenTooManyConnectionsAreOpen) {
    HTTPServer::Options options = patientOptions();
    options.limits.maxConnections = 3;
    HTTPServer server(options, echo);
    std::vector<TestClient> clients;
    for (int count = 0; count < 3; ++count) {
        clients.emplace_back(server.port());
        clients.back().send(getRequest);
        EXPECT_EQ(clients.back().receive(), responseBytes("200 OK", "GET / "));
    }
    const std::string refusal = refusalBytes("503 Service Unavailable", "Too many connections are open.");
    for (const std::string_view bytes : {getRequest, std::string_view()}) {
        TestClient refused(server.port());
        refused.send(bytes);
        EXPECT_EQ(refused.receiveAll(), refusal);
        EXPECT_EQ(refused.ending(), TestClient::Ending::closed);
    }
    clients.pop_back();
    ASSERT_TRUE(eventually([&] { return server.connectionCount() == 2; }));
    TestClient taken(server.port());
    taken.send(getRequest);
    EXPECT_EQ(taken.receive(), responseBytes("200 OK", "GET / "));
}

TEST(HTTPServerLimits, HoldsABoundedNumber_WhenRefusedConnectionsAreNotClosed) {
    HTTPServer::Options options = patientOptions();
    options.limits.maxConnections = 1;
    HTTPServer server(options, echo);
    std::vector<TestClient> clients;
    for (int count = 0; count < 300; ++count) {
        clients.emplace_back(server.port());
    }
    EXPECT_EQ(clients.back().receiveAll(), "");
    EXPECT_LE(server.connectionCount(), 129U);
    clients.front().send(getRequest);
    EXPECT_EQ(clients.front().receive(), responseBytes("200 OK", "GET / "));
}

TEST(HTTPServerLimits, AnswersWith503_WhenTooManyRequestsWait) {
    HTTPServer::Options options = patientOptions();
    options.workers = 2;
    options.limits.maxWaitingRequests = 3;
    Gate gate;
    HTTPServer server(options, gate.handler());
    auto clients = clientsThatSend(server, 6);
    // Whichever request comes in last, which need not be the sixth.
    EXPECT_EQ(takeAnswered(clients).receiveAll(),
              refusalBytes("503 Service Unavailable", "Too many requests are waiting."));
    gate.open();
    for (TestClient& client : clients) {
        EXPECT_EQ(client.receive(), responseBytes("200 OK", "GET / "));
    }
}

TEST(HTTPServerLimits, KeepsLittleForEachOfThousands_WhenTheyAreIdle) {
    const std::size_t descriptors = raiseDescriptorLimit();
    const std::size_t count = std::min<std::size_t>((descriptors - 200) / 2, isSanitized() ? 1000 : 5000);
    HTTPServer server(patientOptions(), echo);
    std::vector<TestClient> clients;
    clients.reserve(count);
    const std::string body(3000, 'x');
    const std::string request = "POST / HTTP/1.1\r\nHost: a\r\nContent-Length: 3000\r\n\r\n" + body;
    const std::string answer = responseBytes("200 OK", "POST / " + body);
    const std::size_t before = ::mallinfo2().uordblks;
    for (std::size_t number = 0; number < count; ++number) {
        TestClient& client = clients.emplace_back(server.port());
        client.send(request);
        ASSERT_TRUE(client.receive() == answer) << "client " << number;
    }
    EXPECT_EQ(server.connectionCount(), count);
    if (!isSanitized()) {
        const std::size_t after = ::mallinfo2().uordblks;
        RecordProperty("heap_bytes_per_connection", static_cast<int>((after - before) / count));
        EXPECT_LT((after - before) / count, 2500U);
    }
    clients.front().send(getRequest);
    EXPECT_EQ(clients.front().receive(), responseBytes("200 OK", "GET / "));
    for (TestClient& client : clients) {
        client.reset();
    }
    EXPECT_TRUE(eventually([&] { return server.connectionCount() == 0; }));
}
