#include "tests/unit/velmd/http/ServerSupport.h"
#include "velmd/http/HTTPServer.h"

#include <atomic>
#include <chrono>
#include <future>
#include <memory>
#include <random>
#include <string>
#include <thread>
#include <vector>

#include <gmock/gmock.h>

// How a server ends, and what it survives: stop() at any point of a request, clients that close or reset at
// any point.

using namespace std::chrono_literals;
using namespace velm;
using namespace velm::test;

namespace {

/// One client of many that come and go as they please.
void misbehave(std::uint16_t port, unsigned int seed) {
    std::mt19937 random(seed);
    const std::string request = "POST /large HTTP/1.1\r\nHost: a\r\nContent-Length: 5000\r\n\r\n" +
                                std::string(5000, 'x') + std::string(getRequest);
    for (int count = 0; count < 40; ++count) {
        try {
            TestClient client(port);
            const std::size_t size = random() % 2 == 0 ? request.size() : random() % request.size();
            client.send(std::string_view(request).substr(0, size));
            if (random() % 2 == 0) {
                client.receiveBytes(client.hasBytes(1ms) ? random() % 100'000 : 0);
            }
            if (random() % 2 == 0) {
                client.reset();
            }
        } catch (const std::system_error&) {
            return;  // The server has stopped.
        }
    }
}

HTTPResponse answerLarge(const HTTPRequest& request) {
    HTTPResponse response = echo(request);
    response.body.resize(request.target == "/large" ? 1'000'000 : 100);
    return response;
}

std::vector<std::thread> startMisbehaving(const HTTPServer& server) {
    std::vector<std::thread> threads;
    for (unsigned int seed = 1; seed <= 4; ++seed) {
        threads.emplace_back([port = server.port(), seed] { misbehave(port, seed); });
    }
    return threads;
}

void join(std::vector<std::thread>& threads) {
    for (std::thread& thread : threads) {
        thread.join();
    }
}

}  // namespace

TEST(HTTPServerStop, LetsARequestBeAnsweredAndClosesTheOthers_WhenThereIsTime) {
    Gate gate;
    HTTPServer server(loopbackOptions(), gate.handler());
    TestClient handled(server.port());
    handled.send(getRequest);
    ASSERT_TRUE(gate.waitForEntered(1));
    TestClient idle(server.port());
    TestClient half(server.port());
    half.send("POST / HTTP/1.1\r\nHost: a\r\nContent-Length: 5\r\n\r\nab");
    ASSERT_TRUE(eventually([&] { return server.connectionCount() == 3; }));

    auto stopped = std::async(std::launch::async, [&] { return server.stop(60s); });
    EXPECT_EQ(idle.receiveAll(), "");
    EXPECT_EQ(half.receiveAll(), "");
    EXPECT_THROW(TestClient(server.port()), std::system_error);
    gate.open();
    EXPECT_EQ(handled.receiveAll(), responseBytes("200 OK", "GET / ", "close"));
    EXPECT_EQ(stopped.get(), 0U);
    EXPECT_EQ(server.connectionCount(), 0U);
}

TEST(HTTPServerStop, AnswersWhatWaitsForAWorkerToo_WhenThereIsTime) {
    Gate gate;
    HTTPServer::Options options = oneWorker();
    options.limits.maxWaitingRequests = 2;
    HTTPServer server(options, gate.handler());
    auto clients = clientsThatSend(server, 4);
    takeAnswered(clients);  // The one too many.
    auto stopped = std::async(std::launch::async, [&] { return server.stop(60s); });
    ASSERT_TRUE(eventually([&] { return server.connectionCount() == 3; }));
    gate.open();
    for (TestClient& client : clients) {
        EXPECT_EQ(client.receiveAll().substr(0, 15), "HTTP/1.1 200 OK");
    }
    EXPECT_EQ(stopped.get(), 0U);
    EXPECT_EQ(gate.entered(), 3);
}

TEST(HTTPServerStop, CutsOffAndCountsWhatIsNotDone_WhenTheTimeIsOver) {
    Gate gate;
    HTTPServer::Options options = oneWorker();
    options.limits.maxWaitingRequests = 2;
    HTTPServer server(options, gate.handler());
    auto clients = clientsThatSend(server, 4);
    takeAnswered(clients);
    ASSERT_TRUE(gate.waitForEntered(1));
    auto stopped = std::async(std::launch::async, [&] { return server.stop(20ms); });
    for (TestClient& client : clients) {
        EXPECT_EQ(client.receiveAll(), "");
    }
    gate.open();
    EXPECT_EQ(stopped.get(), 3U);
    EXPECT_EQ(gate.entered(), 1) << "what waits is not begun any more";
}

TEST(HTTPServerStop, CutsOffAnAnswer_WhenItsClientDoesNotRead) {
    HTTPServer server(loopbackOptions(), [](const HTTPRequest&) { return responseOfSize(64 * 1024 * 1024); });
    TestClient client(server.port());
    client.send(getRequest);
    ASSERT_TRUE(client.waitForBytes());
    EXPECT_EQ(server.stop(20ms), 1U);
}

TEST(HTTPServerStop, DoesNothing_WhenItIsCalledAgain) {
    HTTPServer server(loopbackOptions(), echo);
    std::vector<std::thread> threads;
    for (int count = 0; count < 4; ++count) {
        threads.emplace_back([&] { EXPECT_EQ(server.stop(1s), 0U); });
    }
    join(threads);
    EXPECT_EQ(server.stop(-1ms), 0U);
    EXPECT_THROW(TestClient(server.port()), std::system_error);
}

TEST(HTTPServerStop, HappensInTheDestructorToo_WhenAHandlerRuns) {
    Gate gate;
    auto server = std::make_unique<HTTPServer>(loopbackOptions(), gate.handler());
    TestClient client(server->port());
    client.send(getRequest);
    ASSERT_TRUE(gate.waitForEntered(1));
    std::thread destroying([&] { server.reset(); });
    EXPECT_EQ(client.receiveAll(), "");
    gate.open();
    destroying.join();
}

TEST(HTTPServerStop, DoesNotWaitForClients_WhenTheyHaveTheirAnswersAndStayConnected) {
    Gate gate;
    HTTPServer server(loopbackOptions(), [&](const HTTPRequest& request) {
        return request.target == "/before" ? echo(request) : gate.handler()(request);
    });
    TestClient before(server.port());
    before.send("GET /before HTTP/1.1\r\nHost: a\r\nConnection: close\r\n\r\n");
    EXPECT_EQ(before.receive(), responseBytes("200 OK", "GET /before ", "close"));
    TestClient during(server.port());
    during.send(getRequest);
    ASSERT_TRUE(gate.waitForEntered(1));

    auto stopped = std::async(std::launch::async, [&] { return server.stop(60s); });
    EXPECT_EQ(before.receiveAll(), "");
    const auto start = std::chrono::steady_clock::now();
    gate.open();
    EXPECT_EQ(stopped.get(), 0U);
    EXPECT_LT(std::chrono::steady_clock::now() - start, 1500ms);
    EXPECT_TRUE(during.receive().starts_with("HTTP/1.1 200 OK\r\n"));
}

TEST(HTTPServerStop, Survives_WhenClientsComeAndVanishAtAnyPoint) {
    HTTPServer server(loopbackOptions(), answerLarge);
    std::vector<std::thread> threads = startMisbehaving(server);
    join(threads);
    TestClient client(server.port());
    client.send(getRequest);
    EXPECT_TRUE(client.receive().starts_with("HTTP/1.1 200 OK\r\n"));
    client.close();
    EXPECT_TRUE(eventually([&] { return server.connectionCount() == 0; }));
}

TEST(HTTPServerStop, Survives_WhenItComesWhileClientsComeAndVanish) {
    for (int round = 0; round < 5; ++round) {
        std::atomic<int> handled{0};
        auto server = std::make_unique<HTTPServer>(loopbackOptions(), [&](const HTTPRequest& request) {
            ++handled;
            return answerLarge(request);
        });
        std::vector<std::thread> threads = startMisbehaving(*server);
        EXPECT_TRUE(eventually([&] { return handled > 5; }));
        if (round % 2 == 0) {
            server->stop(std::chrono::milliseconds(round));
        }
        server.reset();
        join(threads);
    }
}
