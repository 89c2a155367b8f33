#include "foundation/services/ORVLog.h"
#include "tests/unit/velmd/http/ServerSupport.h"
#include "velmd/http/HTTPServer.h"

#include <chrono>
#include <thread>

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
