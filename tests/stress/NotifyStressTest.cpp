#include "foundation/services/VELMConfigManager.h"
#include "tests/support/LibraryHost.h"
#include "tests/support/LogCapture.h"

#include <array>
#include <atomic>
#include <functional>
#include <sstream>
#include <sys/socket.h>
#include <unistd.h>

#include <gmock/gmock.h>

// Everything at once: providers report on several threads while subscribers come and go, channels are
// registered, the tables are written out and destructions take instance lists away. At the end every count
// adds up.
namespace velm::test {
namespace {

using namespace std::chrono_literals;

constexpr int reporters = 4;
constexpr int reportsEach = 60;
constexpr int churns = 40;

/// A channel whose client reads all that comes.
class DrainedChannel {
public:
    DrainedChannel() {
        socketpair(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0, _ends.data());
        connection =
            new CSubscriberNetworkConnection(ORVSmrPtr<ORVHTTPTransport>(new ORVHTTPTransport(_ends[0])));
        _reader = std::thread([client = _ends[1]] {
            char buffer[4096];
            while (recv(client, buffer, sizeof buffer, 0) > 0) {
            }
        });
    }
    ~DrainedChannel() {
        shutdown(_ends[1], SHUT_RDWR);
        _reader.join();
        close(_ends[1]);
    }

    ORVSmrPtr<CSubscriberNetworkConnection> connection;

private:
    std::array<int, 2> _ends{-1, -1};
    std::thread _reader;
};

class NotifyStress : public testing::Test {
protected:
    ~NotifyStress() override { VELMConfigManager::getInstance()->clear(); }

    void start(std::function<void()> work) { _threads.emplace_back(std::move(work)); }

    void joinAll() {
        for (std::thread& thread : _threads) {
            thread.join();
        }
        _threads.clear();
    }

    void reportAll(int reporter) {
        for (int i = 0; i < reportsEach; ++i) {
            const ORVString id = ORVString(std::to_string(reporter) + "-" + std::to_string(i));
            host.report("DataFile", id);
            host.report("DataFile", id, IOrvoIndication::IndicationChange);
            host.report("DataFile", "contended", IOrvoIndication::IndicationDestruction);
        }
    }

    void comeAndGo(const ScriptedListener& listener) {
        for (int i = 0; i < churns; ++i) {
            const auto id = LibraryHost::idOf(listener, 100);
            host.subscribe(id, "DataFile");
            host.subscribeChanges(id, "DataFile");
            host.manager->subscribe(id, makeInstanceName("DataFile", "contended"), nullptr,
                                    IOrvoIndication::IndicationChange, "s", "1", false);
            host.manager->removeSubscriber(*id, true, true);
        }
    }

    void registerChannels() {
        for (int i = 0; i < churns; ++i) {
            DrainedChannel channel;
            const ORVSmrPtr<CSubscriberID> id(new CSubscriberID("client", "1", 200));
            host.manager->registerNotificationChannel(id, "s", "1", channel.connection, 0);
            host.subscribe(id, "DataFile");
            ORVSmrPtr<CSubscriberID> beat = id;
            host.manager->heartBeat(beat);
        }
    }

    void dumpTables() {
        for (int i = 0; i < churns; ++i) {
            std::ostringstream stream;
            host.manager->dump(stream);
            host.manager->checkSubscriberStatus();
        }
    }

    LibraryHost host{
        {{"ManagedElement", ""}, {"LogicalFile", "ManagedElement"}, {"DataFile", "LogicalFile"}}};
    LogCapture quiet;

private:
    std::vector<std::thread> _threads;
};

TEST_F(NotifyStress, DeliversOrCountsEveryIndicationOfEverySubscriberThatStays) {
    constexpr std::size_t creations = reporters * reportsEach;
    constexpr std::size_t changes = reporters * reportsEach;
    constexpr std::size_t destructions = reporters * reportsEach;
    // A creation subscription hears of destructions too; every kind but a change finds it.
    ScriptedListener creationListener;
    ScriptedListener changeListener;
    ScriptedListener boundedListener;
    ScriptedListener churnListener;
    host.subscribe(LibraryHost::idOf(creationListener), "ManagedElement");
    host.subscribeChanges(LibraryHost::idOf(changeListener), "LogicalFile");
    VELMConfigManager::getInstance()->setString("VELM", "MaxQueuedIndications", "5");
    host.subscribe(LibraryHost::idOf(boundedListener), "DataFile");
    VELMConfigManager::getInstance()->clear();
    const ORVSmrPtr<CSubscriber> bounded =
        host.manager->findSubscriber(*LibraryHost::idOf(boundedListener), true);

    for (int reporter = 0; reporter < reporters; ++reporter) {
        start([this, reporter] { reportAll(reporter); });
    }
    start([&] { comeAndGo(churnListener); });
    start([this] { registerChannels(); });
    start([this] { dumpTables(); });
    joinAll();

    EXPECT_TRUE(creationListener.waitForRequests(creations + destructions, 60s));
    EXPECT_TRUE(changeListener.waitForRequests(changes, 60s));
    EXPECT_EQ(bounded->getQueuedCount(), creations + destructions);
    EXPECT_TRUE(boundedListener.waitForRequests(bounded->getQueuedCount() - bounded->getDroppedCount(), 60s));

    // One more for each, behind everything else: what came before it is all there was.
    host.report("DataFile", "the last");
    host.report("DataFile", "the last", IOrvoIndication::IndicationChange);
    EXPECT_TRUE(creationListener.waitForRequests(creations + destructions + 1, 60s));
    EXPECT_TRUE(changeListener.waitForRequests(changes + 1, 60s));
    EXPECT_EQ(creationListener.requestCount(), creations + destructions + 1);
    EXPECT_EQ(changeListener.requestCount(), changes + 1);
    EXPECT_TRUE(boundedListener.waitForRequests(bounded->getQueuedCount() - bounded->getDroppedCount(), 60s));
    EXPECT_EQ(boundedListener.requestCount(), bounded->getQueuedCount() - bounded->getDroppedCount());
}

}  // namespace
}  // namespace velm::test
