#include "tests/support/LogCapture.h"
#include "tests/unit/velmd/http/ServerSupport.h"
#include "velmd/http/Descriptor.h"
#include "velmd/http/HTTPServer.h"

#include <algorithm>
#include <array>
#include <atomic>
#include <chrono>
#include <fcntl.h>
#include <future>
#include <memory>
#include <stdexcept>
#include <string>
#include <sys/socket.h>
#include <thread>

#include <gmock/gmock.h>

// Connections that are handed over: when, to whom, and when not.

using namespace std::chrono_literals;
using namespace velm;
using namespace velm::test;

namespace {

constexpr std::string_view channelRequest = "GET /channel HTTP/1.1\r\nHost: a\r\n\r\n";
/// Far more than the kernel of a client without room takes, and far less than the server's does.
constexpr std::size_t beforeSize = 20'000;
const std::string before = responseBytes("200 OK", std::string(beforeSize, 'r'));

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

/// Hands /channel over and says "channel" on it; answers everything else with `beforeSize` bytes. One worker,
/// so that what it does comes in order.
class ChannelServer {
public:
    explicit ChannelServer(std::chrono::milliseconds writeTimeout = 60s)
        : server(options(writeTimeout), [this](const HTTPRequest& request) {
              if (request.target != "/channel") {
                  return responseOfSize(beforeSize);
              }
              isAsked = true;
              return takenOver([this](int number) {
                  const Descriptor socket(number);
                  isTaken = true;
                  sendAll(number, "channel");
              });
          }) {}

    std::atomic<bool> isAsked{false};
    std::atomic<bool> isTaken{false};
    HTTPServer server;

    /// A client that has asked for a channel and has not received the answer before.
    TestClient hostileClient() {
        TestClient client = TestClient::withoutRoom(server.port());
        client.send(getRequest);
        client.send(channelRequest);
        EXPECT_TRUE(eventually([&] { return isAsked.load(); }));
        return client;
    }

    /// Whether others are served. With the second answer, what was to be done for the channel before has been
    /// done.
    bool servesOthers() const {
        TestClient other(server.port());
        for (int count = 0; count < 2; ++count) {
            other.send(getRequest);
            if (other.receive() != before) {
                return false;
            }
        }
        return true;
    }

private:
    static HTTPServer::Options options(std::chrono::milliseconds writeTimeout) {
        HTTPServer::Options options = oneWorker();
        options.limits.writeTimeout = writeTimeout;
        return options;
    }
};

}  // namespace

TEST(HTTPServerTakeOver, HandsABlockingSocketOver_WhenTheAnswersBeforeAreWritten) {
    std::promise<bool> isBlocking;
    HTTPServer server(loopbackOptions(), [&](const HTTPRequest& request) {
        if (request.target != "/channel") {
            return responseOfSize(1'000'000);
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
    HTTPServer::Options options = oneWorker();
    options.limits.maxWaitingRequests = 1;
    HTTPServer server(options, [&](const HTTPRequest& request) {
        if (request.target != "/channel") {
            return other.handler()(request);
        }
        taking.pass();
        return takenOver([&](int socket) {
            const Descriptor owned(socket);
            isTaken = true;
        });
    });
    TestClient channel(server.port());
    channel.send("GET /channel HTTP/1.1\r\nHost: a\r\n\r\n");
    ASSERT_TRUE(taking.waitForEntered(1));
    // One of two waits for the only worker, the other is refused: then the taking over comes behind the one.
    auto clients = clientsThatSend(server, 2);
    takeAnswered(clients);
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

TEST(HTTPServerTakeOver, WaitsAndServesOthers_WhileTheClientHasNotTakenTheAnswersBefore) {
    ChannelServer served;
    TestClient client = served.hostileClient();
    EXPECT_TRUE(served.servesOthers());
    EXPECT_FALSE(served.isTaken);
    EXPECT_EQ(client.receiveAll(), before + "channel");
    EXPECT_TRUE(served.isTaken);
}

TEST(HTTPServerTakeOver, DoesNotHappenAndTheClientIsReset_WhenItTakesNothingInTime) {
    const LogCapture log;
    ChannelServer served(200ms);
    TestClient client = served.hostileClient();
    EXPECT_TRUE(served.servesOthers());
    EXPECT_TRUE(client.waitForReset());
    EXPECT_TRUE(log.waitForMessage(
        "The connection of a client at 127.0.0.1 was reset: it takes nothing of the responses "
        "before its channel"));
    EXPECT_TRUE(eventually([&] { return served.server.connectionCount() == 0; }));
    EXPECT_TRUE(served.servesOthers());
    EXPECT_FALSE(served.isTaken);
}

TEST(HTTPServerTakeOver, IsWaitedFor_WhenTheClientTakesLongerThanTheLimitButGoesOnReading) {
    ChannelServer served(500ms);
    TestClient client = served.hostileClient();
    std::string received;
    while (received.size() < before.size()) {
        const std::string piece = client.receiveBytes(before.size() / 12);
        ASSERT_NE(piece, "");
        received += piece;
        std::this_thread::sleep_for(100ms);
    }
    EXPECT_THAT(received + client.receiveAll(), testing::EndsWith("rrrchannel"));
    EXPECT_TRUE(served.isTaken);
}

TEST(HTTPServerTakeOver, DoesNotHappen_WhenTheClientResetsWhileItIsWaitedFor) {
    ChannelServer served;
    TestClient client = served.hostileClient();
    EXPECT_TRUE(served.servesOthers());
    client.reset();
    EXPECT_TRUE(eventually([&] { return served.server.connectionCount() == 0; }));
    EXPECT_FALSE(served.isTaken);
}

TEST(HTTPServerTakeOver, IsCutOffAndCounted_WhenTheServerStopsWhileItIsWaitedFor) {
    ChannelServer served;
    TestClient client = served.hostileClient();
    EXPECT_TRUE(served.servesOthers());
    EXPECT_EQ(served.server.stop(20ms), 1U);
    EXPECT_FALSE(served.isTaken);
}

TEST(HTTPServerTakeOver, TakesItsFirstBytesWithoutBlocking_WhenTheClientHasNoRoom) {
    std::promise<std::size_t> taken;
    HTTPServer server(oneWorker(), [&](const HTTPRequest& request) {
        if (request.target != "/channel") {
            return echo(request);
        }
        return takenOver([&](int number) {
            const Descriptor socket(number);
            const std::string bytes(HTTPResponse::unblockedBytes, 'c');
            std::size_t size = 0;
            while (size < bytes.size() && ::send(number, bytes.data(), 1, MSG_DONTWAIT | MSG_NOSIGNAL) == 1) {
                ++size;
            }
            taken.set_value(size);
        });
    });
    TestClient client = TestClient::withoutRoom(server.port());
    // Fills what room there is; acknowledged it is all the same.
    client.send(std::string(getRequest) + std::string(getRequest) + std::string(channelRequest));
    EXPECT_EQ(taken.get_future().get(), HTTPResponse::unblockedBytes);
}
