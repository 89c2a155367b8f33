#include "tests/support/LogCapture.h"
#include "tests/unit/velmd/http/TestClient.h"
#include "velmd/http/Descriptor.h"
#include "velmd/http/HTTPServer.h"

#include <algorithm>
#include <array>
#include <atomic>
#include <chrono>
#include <fcntl.h>
#include <future>
#include <latch>
#include <memory>
#include <random>
#include <stdexcept>
#include <string>
#include <sys/socket.h>
#include <thread>
#include <vector>

#include <gmock/gmock.h>

// How a server ends, and what it survives: stop() at any point of a request, clients that close or reset at
// any point, connections that are handed over.

using namespace std::chrono_literals;
using namespace velm;
using namespace velm::test;

namespace {

constexpr std::string_view getRequest = "GET / HTTP/1.1\r\nHost: a\r\n\r\n";

/// A handler that waits until it is told to go on.
class Gate {
public:
    HTTPResponse operator()(const HTTPRequest& request) {
        entered.fetch_add(1);
        _open.wait();
        return echo(request);
    }
    HTTPServer::Handler handler() {
        return [this](const HTTPRequest& request) { return (*this)(request); };
    }
    void open() { _open.count_down(); }
    bool waitForEntered(int count) const {
        return eventually([&] { return entered == count; });
    }

    std::atomic<int> entered{0};

private:
    std::latch _open{1};
};

/// Sends all bytes over a socket that blocks.
void sendAll(int socket, std::string_view bytes) {
    while (!bytes.empty()) {
        const ssize_t size = ::send(socket, bytes.data(), bytes.size(), MSG_NOSIGNAL);
        if (size < 0) {
            return;
        }
        bytes.remove_prefix(static_cast<std::size_t>(size));
    }
}

HTTPResponse takenOver(std::function<void(int)> takeOver) {
    HTTPResponse response;
    response.takeOver = std::move(takeOver);
    return response;
}

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
    HTTPServer::Options options = loopbackOptions();
    options.workers = 1;
    options.limits.maxWaitingRequests = 2;
    HTTPServer server(options, gate.handler());
    std::vector<TestClient> clients;
    for (int count = 0; count < 4; ++count) {
        clients.emplace_back(server.port());
        clients.back().send(getRequest);
    }
    const auto isAnswered = [](const TestClient& client) { return client.hasBytes(0ms); };
    ASSERT_TRUE(eventually([&] { return std::ranges::any_of(clients, isAnswered); }));
    clients.erase(std::ranges::find_if(clients, isAnswered));  // The one too many.
    auto stopped = std::async(std::launch::async, [&] { return server.stop(60s); });
    ASSERT_TRUE(eventually([&] { return server.connectionCount() == 3; }));
    gate.open();
    for (TestClient& client : clients) {
        EXPECT_EQ(client.receiveAll().substr(0, 15), "HTTP/1.1 200 OK");
    }
    EXPECT_EQ(stopped.get(), 0U);
    EXPECT_EQ(gate.entered, 3);
}

TEST(HTTPServerStop, CutsOffAndCountsWhatIsNotDone_WhenTheTimeIsOver) {
    Gate gate;
    HTTPServer::Options options = loopbackOptions();
    options.workers = 1;
    options.limits.maxWaitingRequests = 2;
    HTTPServer server(options, gate.handler());
    std::vector<TestClient> clients;
    for (int count = 0; count < 4; ++count) {
        clients.emplace_back(server.port());
        clients.back().send(getRequest);
    }
    const auto isAnswered = [](const TestClient& client) { return client.hasBytes(0ms); };
    ASSERT_TRUE(eventually([&] { return std::ranges::any_of(clients, isAnswered); }));
    clients.erase(std::ranges::find_if(clients, isAnswered));
    ASSERT_TRUE(gate.waitForEntered(1));
    auto stopped = std::async(std::launch::async, [&] { return server.stop(20ms); });
    for (TestClient& client : clients) {
        EXPECT_EQ(client.receiveAll(), "");
    }
    gate.open();
    EXPECT_EQ(stopped.get(), 3U);
    EXPECT_EQ(gate.entered, 1) << "what waits is not begun any more";
}

TEST(HTTPServerStop, CutsOffAnAnswer_WhenItsClientDoesNotRead) {
    HTTPServer server(loopbackOptions(), [](const HTTPRequest&) {
        HTTPResponse response;
        response.body.resize(64 * 1024 * 1024);
        return response;
    });
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
        return request.target == "/before" ? echo(request) : gate(request);
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

TEST(HTTPServerTakeOver, HandsABlockingSocketOver_WhenTheAnswersBeforeAreWritten) {
    std::promise<bool> isBlocking;
    HTTPServer server(loopbackOptions(), [&](const HTTPRequest& request) {
        if (request.target != "/channel") {
            return answerLarge(request);
        }
        return takenOver([&](int number) {
            const Descriptor socket(number);
            isBlocking.set_value((::fcntl(number, F_GETFL) & O_NONBLOCK) == 0);
            sendAll(number, "HTTP/1.1 200 OK\r\n\r\nthe channel says: ");
            std::array<char, 4> heard;
            const ssize_t size = ::recv(number, heard.data(), heard.size(), MSG_WAITALL);
            sendAll(number, {heard.data(), static_cast<std::size_t>(std::max<ssize_t>(size, 0))});
        });
    });
    TestClient client(server.port());
    client.send(
        "GET /large HTTP/1.1\r\nHost: a\r\n\r\nPOST /channel HTTP/1.1\r\nHost: a\r\nContent-Length: "
        "1\r\n\r\nx");
    const std::string before = client.receive();
    EXPECT_EQ(before.size(), responseBytes("200 OK", std::string(1'000'000, '\0')).size());
    const std::string taken = "HTTP/1.1 200 OK\r\n\r\nthe channel says: ";
    EXPECT_EQ(client.receiveBytes(taken.size()), taken);
    EXPECT_TRUE(isBlocking.get_future().get());
    EXPECT_TRUE(eventually([&] { return server.connectionCount() == 0; }));
    client.send("done");
    EXPECT_EQ(client.receiveAll(), "done");
}

TEST(HTTPServerTakeOver, OutlivesTheServer_WhenTheSocketIsKept) {
    std::promise<int> taken;
    auto server = std::make_unique<HTTPServer>(loopbackOptions(), [&](const HTTPRequest&) {
        return takenOver([&](int socket) { taken.set_value(socket); });
    });
    TestClient client(server->port());
    client.send(getRequest);
    const Descriptor socket(taken.get_future().get());
    server.reset();
    sendAll(socket.get(), "still here");
    EXPECT_EQ(client.receiveBytes(10), "still here");
}

TEST(HTTPServerTakeOver, IsLogged_WhenItThrows) {
    const LogCapture log;
    HTTPServer server(loopbackOptions(), [&](const HTTPRequest&) {
        return takenOver([](int number) {
            const Descriptor socket(number);
            throw std::runtime_error("the cause");
        });
    });
    TestClient client(server.port());
    client.send(getRequest);
    EXPECT_EQ(client.receiveAll(), "");
    EXPECT_TRUE(log.waitForMessage("What took a connection over threw: the cause"));
}

TEST(HTTPServerTakeOver, DoesNotHappen_WhenTheServerIsCutOffBefore) {
    Gate taking;
    Gate other;
    std::atomic<bool> isTaken{false};
    HTTPServer::Options options = loopbackOptions();
    options.workers = 1;
    options.limits.maxWaitingRequests = 1;
    HTTPServer server(options, [&](const HTTPRequest& request) {
        if (request.target != "/channel") {
            return other(request);
        }
        taking(request);
        return takenOver([&](int socket) {
            const Descriptor owned(socket);
            isTaken = true;
        });
    });
    TestClient channel(server.port());
    channel.send("GET /channel HTTP/1.1\r\nHost: a\r\n\r\n");
    ASSERT_TRUE(taking.waitForEntered(1));
    // One of two waits for the only worker, the other is refused: then the taking over comes behind the one.
    std::vector<TestClient> clients;
    for (int count = 0; count < 2; ++count) {
        clients.emplace_back(server.port());
        clients.back().send(getRequest);
    }
    const auto isAnswered = [](const TestClient& client) { return client.hasBytes(0ms); };
    ASSERT_TRUE(eventually([&] { return std::ranges::any_of(clients, isAnswered); }));
    clients.erase(std::ranges::find_if(clients, isAnswered));
    taking.open();
    ASSERT_TRUE(other.waitForEntered(1));
    ASSERT_TRUE(eventually([&] { return server.connectionCount() == 1; }));

    auto stopped = std::async(std::launch::async, [&] { return server.stop(0ms); });
    EXPECT_EQ(clients.front().receiveAll(), "");
    other.open();
    EXPECT_EQ(stopped.get(), 2U);
    EXPECT_EQ(channel.receiveAll(), "");
    EXPECT_FALSE(isTaken);
}
