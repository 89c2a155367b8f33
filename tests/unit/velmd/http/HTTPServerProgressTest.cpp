#include "foundation/services/ORVLog.h"
#include "tests/unit/velmd/http/TestClient.h"
#include "velmd/http/HTTPServer.h"

#include <atomic>
#include <chrono>
#include <latch>
#include <string_view>
#include <thread>

#include <gtest/gtest.h>

// How a server that is stuck shows: its workers do not come back, or the thread of its connections does not.

using namespace velm;
using namespace velm::test;

namespace {

constexpr std::string_view request = "GET / HTTP/1.1\r\nHost: a\r\n\r\n";

/// Keeps whoever enters until it is opened.
class Gate {
public:
    void pass() {
        entered.fetch_add(1);
        _open.wait();
    }
    void open() {
        if (!_isOpen.exchange(true)) {
            _open.count_down();
        }
    }

    std::atomic<int> entered{0};

private:
    std::atomic<bool> _isOpen{false};
    std::latch _open{1};
};

HTTPServer::Options oneWorker() {
    HTTPServer::Options options = loopbackOptions();
    options.workers = 1;
    return options;
}

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
    HTTPServer server(oneWorker(), [&gate](const HTTPRequest& received) {
        gate.pass();
        return echo(received);
    });
    TestClient first(server.port());
    first.send(request);
    ASSERT_TRUE(eventually([&] { return gate.entered == 1; }));
    EXPECT_TRUE(eventually([&] { return server.makesProgress(); })) << "one takes its time, nobody waits";
    EXPECT_TRUE(eventually([&] { return server.makesProgress(); }));
    TestClient second(server.port());
    second.send(request);
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
    ASSERT_TRUE(eventually([&] { return log.gate.entered == 1; }));
    // The turn that is being asked for may have been taken before.
    server.makesProgress();
    EXPECT_TRUE(isStuck(server));
    log.gate.open();
    EXPECT_TRUE(eventually([&] { return server.makesProgress(); }));
}
