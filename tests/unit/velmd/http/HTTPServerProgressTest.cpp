#include "foundation/services/ORVLog.h"
#include "tests/unit/velmd/http/ServerSupport.h"
#include "velmd/http/HTTPServer.h"

#include <chrono>
#include <string>
#include <thread>
#include <vector>

#include <gtest/gtest.h>

// How a server that is stuck shows: its workers do not come back, or the thread of its connections does not.

using namespace velm;
using namespace velm::test;

namespace {

/// Whether no progress shows although there was time for it.
bool isStuck(HTTPServer& server) {
    for (int count = 0; count < 20; ++count) {
        if (server.makesProgress()) {
            return false;
        }
        std::this_thread::sleep_for(std::chrono::milliseconds(2));
    }
    return true;
}

/// Keeps whoever logs.
class BlockedLog : public IORVLogObserver {
public:
    BlockedLog() { ORVLog::setObserver(this); }
    BlockedLog(const BlockedLog&) = delete;
    BlockedLog& operator=(const BlockedLog&) = delete;
    ~BlockedLog() override {
        gate.open();
        ORVLog::setObserver(nullptr);
    }
    void onLog(const ORVLogRecord&) noexcept override { gate.pass(); }

    Gate gate;
};

}  // namespace

TEST(HTTPServerProgress, IsMade_WhenNothingIsToBeDone) {
    HTTPServer server(oneWorker(), &echo);
    EXPECT_TRUE(server.makesProgress());
    for (int count = 0; count < 3; ++count) {
        EXPECT_TRUE(eventually([&] { return server.makesProgress(); }));
    }
}

TEST(HTTPServerProgress, IsNotMade_WhileRequestsWaitAndNoWorkerComesBack) {
    Gate gate;
    HTTPServer server(oneWorker(), gate.handler());
    TestClient first(server.port());
    first.send(getRequest);
    ASSERT_TRUE(gate.waitForEntered(1));
    EXPECT_TRUE(eventually([&] { return server.makesProgress(); })) << "one takes its time, nobody waits";
    EXPECT_TRUE(eventually([&] { return server.makesProgress(); }));
    TestClient second(server.port());
    second.send(getRequest);
    EXPECT_TRUE(eventually([&] { return isStuck(server); }));
    gate.open();
    EXPECT_NE(first.receive(), "");
    EXPECT_NE(second.receive(), "");
    EXPECT_TRUE(eventually([&] { return server.makesProgress(); }));
}

TEST(HTTPServerProgress, IsNotMade_WhileTheThreadOfTheConnectionsIsStuck) {
    HTTPServer server(oneWorker(), &echo);
    BlockedLog log;
    TestClient client(server.port());
    client.send("nonsense\r\n\r\n");
    ASSERT_TRUE(log.gate.waitForEntered(1));
    // The turn that is being asked for may have been taken before.
    server.makesProgress();
    EXPECT_TRUE(isStuck(server));
    log.gate.open();
    EXPECT_TRUE(eventually([&] { return server.makesProgress(); }));
}

TEST(HTTPServerUrgent, IsAnswered_WhileAllWorkersAreBusy) {
    Gate gate;
    HTTPServer::Options options = oneWorker();
    options.isUrgent = [](const HTTPRequest& request) { return request.target == "/urgent"; };
    HTTPServer server(options, [&](const HTTPRequest& request) {
        if (request.target != "/urgent") {
            gate.pass();
        }
        return echo(request);
    });
    std::vector<TestClient> waiting = clientsThatSend(server, 3);
    ASSERT_TRUE(gate.waitForEntered(1));
    TestClient client(server.port());
    for (int count = 0; count < 3; ++count) {
        client.send("GET /urgent HTTP/1.1\r\nHost: a\r\n\r\n");
        EXPECT_EQ(client.receive(), responseBytes("200 OK", "GET /urgent "));
    }
    EXPECT_TRUE(eventually([&] { return isStuck(server); }))
        << "what is urgent is no progress of the workers";
    gate.open();
    for (TestClient& each : waiting) {
        EXPECT_EQ(each.receive(), responseBytes("200 OK", "GET / "));
    }
}

TEST(HTTPServerUrgent, IsRefused_WhenTooManyWaitAlready) {
    Gate gate;
    HTTPServer::Options options = oneWorker();
    options.isUrgent = [](const HTTPRequest& request) { return request.target == "/"; };
    HTTPServer server(options, [&](const HTTPRequest& request) {
        if (request.target == "/") {
            gate.pass();
        }
        return echo(request);
    });
    constexpr std::size_t taken = 101;
    std::vector<TestClient> clients = clientsThatSend(server, taken + 1);
    TestClient refused = takeAnswered(clients);
    EXPECT_EQ(refused.receive().substr(0, 12), "HTTP/1.1 503");
    TestClient other(server.port());
    other.send("GET /other HTTP/1.1\r\nHost: a\r\n\r\n");
    EXPECT_EQ(other.receive(), responseBytes("200 OK", "GET /other ")) << "the workers are free";
    gate.open();
    for (TestClient& each : clients) {
        EXPECT_EQ(each.receive(), responseBytes("200 OK", "GET / "));
    }
}

TEST(HTTPServerUrgent, IsWaitedForByAStop) {
    Gate gate;
    HTTPServer::Options options = oneWorker();
    options.isUrgent = [](const HTTPRequest&) { return true; };
    HTTPServer server(options, gate.handler());
    TestClient client(server.port());
    client.send(getRequest);
    ASSERT_TRUE(gate.waitForEntered(1));
    std::thread opener([&] {
        eventually([&] { return server.connectionCount() == 1; });
        gate.open();
    });
    EXPECT_EQ(server.stop(std::chrono::seconds(10)), 0U);
    opener.join();
    EXPECT_EQ(client.receive(), responseBytes("200 OK", "GET / ", "close"));
}
