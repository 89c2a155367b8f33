#include "foundation/services/VELMConfigManager.h"
#include "tests/support/IndicationNotifierSupport.h"
#include "tests/support/LibraryHost.h"
#include "tests/unit/Indications/IndicationManagerSupport.h"

#include <chrono>
#include <cstdint>
#include <functional>
#include <numeric>
#include <string>
#include <thread>
#include <utility>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

// What the manager tells of itself.
namespace velm::test {
namespace {

using namespace std::chrono_literals;
using testing::ElementsAre;

constexpr auto Change = IOrvoIndication::IndicationChange;
constexpr auto Creation = IOrvoIndication::IndicationCreation;

class ManagerStatus : public IndicationManagerTest {
protected:
    std::uint64_t removedFor(RemovalReason reason) const {
        return manager->getCounters().removed[numberOf(reason)];
    }
    void queueChanges(int count) {
        for (int number = 0; number < count; ++number) {
            manager->notify(makeIndication(makeObject(file), Change));
        }
    }
};

TEST_F(ManagerStatus, CountsReportsAndThoseThatSomebodyWanted) {
    manager->enableIndications();
    subscribeChange(makeID(), file);
    queueChanges(3);
    manager->notify(makeIndication(makeObject("DataFile", "other"), Change));
    manager->notify(makeIndication(makeObject("DataFile", "other"), Creation));
    EXPECT_EQ(manager->getCounters().reported, 5U);
    EXPECT_EQ(manager->getCounters().matched, 3U);
    EXPECT_EQ(manager->getCounters().queued, 3U);
}

TEST_F(ManagerStatus, CountsAReportOnce_HoweverManySubscribersWantIt) {
    manager->enableIndications();
    for (std::uint32_t session = 1; session <= 3; ++session) {
        subscribeClass(makeID("127.0.0.1", session), "DataFile", Creation);
        subscribeClass(makeID("127.0.0.1", session), "LogicalFile", Creation);
    }
    manager->notify(makeIndication(makeObject("DataFile", "a"), Creation));
    EXPECT_EQ(manager->getCounters().reported, 1U);
    EXPECT_EQ(manager->getCounters().matched, 1U);
    EXPECT_EQ(manager->getCounters().queued, 6U);
}

TEST_F(ManagerStatus, CountsChangesThatAClassWideSubscriberWants) {
    manager->enableIndications();
    subscribeChange(makeID(), file, true);
    queueChanges(2);
    EXPECT_EQ(manager->getCounters().matched, 2U);
}

TEST_F(ManagerStatus, CountsNoReport_WhileIndicationsAreDisabled) {
    manager->disableIndications();
    subscribeChange(makeID(), file);
    queueChanges(1);
    EXPECT_EQ(manager->getCounters().reported, 0U);
}

TEST_F(ManagerStatus, CountsAReportThatCannotBeRouted) {
    manager->enableIndications();
    // The line of each report would fail before.
    ORVLog::setTraceThreshold(OrvoTraceLog::SeverityInformation);
    EXPECT_ANY_THROW(manager->notify(unsendable()));
    EXPECT_EQ(manager->getCounters().reported, 1U);
    EXPECT_EQ(manager->getCounters().matched, 0U);
}

TEST_F(ManagerStatus, TellsEachSubscriber_InOrderOfAddition) {
    manager->enableIndications();
    subscribeChange(makeID("127.0.0.2", 7), file);
    subscribeChange(makeID("127.0.0.1", 8), makeInstanceName("DataFile", "other"));
    queueChanges(2);
    const auto status = manager->getStatus();
    ASSERT_EQ(status.subscribers.size(), 2U);
    EXPECT_EQ(status.subscribers[0].host, "127.0.0.2");
    EXPECT_EQ(status.subscribers[0].session, 7U);
    EXPECT_FALSE(status.subscribers[0].isChannel);
    EXPECT_EQ(status.subscribers[0].waiting, 2U);
    EXPECT_EQ(status.subscribers[0].queued, 2U);
    EXPECT_EQ(status.subscribers[1].host, "127.0.0.1");
    EXPECT_EQ(status.subscribers[1].waiting, 0U);
}

TEST_F(ManagerStatus, CountsSubscriptionsOfBothKinds) {
    const auto subscriptions = [this] {
        return manager->getStatus().subscribers.at(0).figures.subscriptions;
    };
    subscribeChange(makeID(), file);
    subscribeClass(makeID(), "DataFile", Creation);
    EXPECT_EQ(subscriptions(), 2U);
    unsubscribeChange(makeID(), file);
    EXPECT_EQ(subscriptions(), 1U);
    unsubscribeClass(makeID(), "DataFile", Creation);
    EXPECT_EQ(subscriptions(), 0U);
    EXPECT_FALSE(unsubscribeClass(makeID(), "DataFile", Creation));
    EXPECT_EQ(subscriptions(), 0U);
}

TEST_F(ManagerStatus, CountsNoSubscriptionAsTakenBack_WhenTheRowHasNoneOfTheKind) {
    subscribeChange(makeID(), file);
    // Rows of its own, with the second subscriber.
    subscribeChange(makeID("127.0.0.9"), file);
    manager->unsubscribe(makeID(), file, nullptr, IOrvoIndication::IndicationDestruction, false);
    EXPECT_EQ(manager->getStatus().subscribers.at(0).figures.subscriptions, 1U);
}

TEST_F(ManagerStatus, KeepsTheSums_WhenSubscribersAreRemoved) {
    VELMConfigManager::getInstance()->setString("VELM", "MaxQueuedIndications", "2");
    manager->enableIndications();
    subscribeChange(makeID(), file);
    VELMConfigManager::getInstance()->clear();
    queueChanges(5);
    manager->removeSubscriber(*makeID(), true, true);
    const auto counters = manager->getCounters();
    EXPECT_EQ(counters.queued, 5U);
    EXPECT_EQ(counters.dropped[numberOf(DropRule::queueFull)], 3U);
    EXPECT_EQ(counters.dropped[numberOf(DropRule::subscriberRemoved)], 2U);
    const auto removed = manager->getStatus().removed;
    ASSERT_EQ(removed.size(), 1U);
    EXPECT_EQ(removed[0].subscriber.dropped, 5U);
}

TEST_F(ManagerStatus, CountsCallsOfProviders_AndThoseThatThrow) {
    addProvider();
    subscribeChange(makeID(), file);
    EXPECT_EQ(manager->getCounters().providerCalls, 1U);
    EXPECT_EQ(manager->getCounters().failedProviderCalls, 0U);
    server.providers.clear();
    addProvider(RecordingProvider::throwing());
    EXPECT_ANY_THROW(subscribeChange(makeID("127.0.0.1", 2), makeInstanceName("DataFile", "b")));
    unsubscribeChange(makeID("127.0.0.1", 2), makeInstanceName("DataFile", "b"));
    EXPECT_EQ(manager->getCounters().providerCalls, 3U);
    EXPECT_EQ(manager->getCounters().failedProviderCalls, 2U);
}

// ---------------------------------------------------------------------------------------------------------------
// Why subscribers are removed.

TEST_F(ManagerStatus, TellsThatTheServerRemovedASubscriber) {
    subscribeChange(makeID(), file);
    manager->removeSubscriber(*makeID(), true, true);
    EXPECT_EQ(removedFor(RemovalReason::requested), 1U);
    EXPECT_EQ(manager->getStatus().removed.at(0).reason, RemovalReason::requested);
}

TEST_F(ManagerStatus, TellsThatAllWereRemoved) {
    subscribeChange(makeID("127.0.0.1", 1), file);
    subscribeChange(makeID("127.0.0.1", 2), file);
    manager->removeAllSubscribers(true, true);
    EXPECT_EQ(removedFor(RemovalReason::allRemoved), 2U);
}

TEST_F(ManagerStatus, CountsNobody_WhenTheSubscriberIsUnknown) {
    manager->removeSubscriber(*makeID(), true, true);
    EXPECT_TRUE(manager->getStatus().removed.empty());
}

class OutOfDateSubscriber : public CSubscriber {
public:
    OutOfDateSubscriber(const ORVSmrPtr<CSubscriberID>& id,
                        const ORVSmrPtr<CSubscriberNetworkConnection>& connection)
        : CSubscriber(id, "s", "1", connection) {}
    bool isOutOfDate() const override { return true; }
};

TEST_F(ManagerStatus, TellsSilentSubscribersFromClosedChannels) {
    ChannelPeer open;
    ChannelPeer closed;
    closed.connection()->getTransport()->close();
    const auto add = [this](std::uint32_t session, const auto& connection) {
        // Not through addSubscriber(): the monitor's sweep would come first.
        inspect(*manager).subscribers().append(
            ORVSmrPtr<CSubscriber>(new OutOfDateSubscriber(makeID("127.0.0.1", session), connection)));
    };
    add(1, ORVSmrPtr<CSubscriberNetworkConnection>());
    add(2, open.connection());
    add(3, closed.connection());
    for (const ORVSmrPtr<CSubscriber>& subscriber : inspect(*manager).subscribers()) {
        subscriber->record()->noteSubscribed();
    }
    manager->checkSubscriberStatus();
    EXPECT_EQ(removedFor(RemovalReason::expired), 2U);
    EXPECT_EQ(removedFor(RemovalReason::channelClosed), 1U);
}

TEST_F(ManagerStatus, TellsThoseThatExpireAfterTheyLeft_FromThoseThatAreCutOff) {
    for (const std::uint32_t session : {1U, 2U}) {
        inspect(*manager).subscribers().append(ORVSmrPtr<CSubscriber>(new OutOfDateSubscriber(
            makeID("127.0.0.1", session), ORVSmrPtr<CSubscriberNetworkConnection>())));
        subscribeChange(makeID("127.0.0.1", session), file);
    }
    unsubscribeChange(makeID("127.0.0.1", 2), file);
    manager->checkSubscriberStatus();
    EXPECT_EQ(removedFor(RemovalReason::expired), 1U);
    EXPECT_EQ(removedFor(RemovalReason::left), 1U);
    const auto removed = manager->getStatus().removed;
    ASSERT_EQ(removed.size(), 2U);
    EXPECT_EQ(removed[0].subscriber.session, 1U);
    EXPECT_EQ(removed[0].reason, RemovalReason::expired);
    EXPECT_EQ(removed[1].reason, RemovalReason::left);
}

TEST_F(ManagerStatus, TellsThatAChannelWasReplaced) {
    ChannelPeer first;
    ChannelPeer second;
    manager->registerNotificationChannel(makeID(), "s", "1", first.connection(), 0);
    EXPECT_TRUE(manager->getStatus().subscribers.at(0).isChannel);
    manager->registerNotificationChannel(makeID(), "s", "1", second.connection(), 0);
    EXPECT_EQ(removedFor(RemovalReason::channelReplaced), 1U);
    EXPECT_TRUE(manager->getStatus().removed.at(0).subscriber.isChannel);
}

TEST_F(ManagerStatus, TellsThatAChannelCouldNotBeRegistered) {
    ChannelPeer peer;
    peer.connection()->getTransport()->close();
    EXPECT_ANY_THROW(manager->registerNotificationChannel(makeID(), "s", "1", peer.connection(), 0));
    const auto counters = manager->getCounters();
    // The monitor's thread may have seen first that the connection is closed.
    EXPECT_EQ(counters.removed[numberOf(RemovalReason::channelNotRegistered)] +
                  counters.removed[numberOf(RemovalReason::channelClosed)],
              1U);
}

// ---------------------------------------------------------------------------------------------------------------
// With a delivery thread, over real sockets.

bool holds(const std::function<bool()>& condition) {
    const auto deadline = std::chrono::steady_clock::now() + patience;
    while (!condition()) {
        if (std::chrono::steady_clock::now() > deadline) {
            return false;
        }
        std::this_thread::sleep_for(5ms);
    }
    return true;
}

template <class Counts>
std::uint64_t sumOf(const Counts& counts) {
    return std::accumulate(counts.begin(), counts.end(), std::uint64_t{0});
}

std::uint64_t ended(const IndicationCounters& counters) {
    return counters.delivered + sumOf(counters.failed) + sumOf(counters.dropped);
}

TEST(ManagerAtWork, CountsEveryQueuedIndicationOnce) {
    LogCapture log;
    ScriptedListener good;
    ScriptedListener improper(returnValueAnswer("5"));
    const RefusingPort nobody;
    LibraryHost host(std::vector<std::pair<std::string, std::string>>{{"CIM_DataFile", ""}});
    const ORVSmrPtr<CSubscriberID> refusing(new CSubscriberID("127.0.0.1", ORVString(nobody.port()), 1));
    host.subscribe(LibraryHost::idOf(good), "CIM_DataFile");
    host.subscribe(LibraryHost::idOf(improper), "CIM_DataFile");
    host.subscribe(refusing, "CIM_DataFile");
    for (int number = 0; number < 10; ++number) {
        host.report("CIM_DataFile", ORVString(std::to_string(number)));
    }
    ASSERT_TRUE(holds([&] { return ended(host.manager->getCounters()) == 30; }));
    const auto status = host.manager->getStatus();
    EXPECT_EQ(status.counters.reported, 10U);
    EXPECT_EQ(status.counters.matched, 10U);
    EXPECT_EQ(status.counters.queued, 30U);
    EXPECT_EQ(status.counters.delivered, 20U);
    EXPECT_EQ(status.counters.improperAnswers, 10U);
    const std::uint64_t refused = status.counters.failed[numberOf(DeliveryFailure::connectionRefused)];
    EXPECT_GE(refused, 1U);
    EXPECT_EQ(status.counters.dropped[numberOf(DropRule::earlierOneFailed)], 10 - refused);
    EXPECT_EQ(sumOf(status.counters.latency.counts), 20U);
    ASSERT_EQ(status.subscribers.size(), 3U);
    EXPECT_EQ(status.subscribers[0].figures.delivered, 10U);
    EXPECT_EQ(status.subscribers[1].figures.improperAnswers, 10U);
    EXPECT_EQ(status.subscribers[2].figures.failed, refused);
    EXPECT_EQ(status.subscribers[2].dropped, 10 - refused);
    EXPECT_TRUE(status.subscribers[2].figures.isFailing);
}

TEST(ManagerAtWork, RemembersAChannelWhoseClientWentAway) {
    LogCapture log;
    LibraryHost host(std::vector<std::pair<std::string, std::string>>{{"CIM_DataFile", ""}});
    ChannelPeer peer;
    const ORVSmrPtr<CSubscriberID> id(new CSubscriberID("127.0.0.1", "5990", 1));
    host.manager->registerNotificationChannel(id, "s", "1", peer.connection(), 0);
    peer.close();
    ASSERT_TRUE(holds([&] { return !host.manager->getStatus().removed.empty(); }));
    const auto removed = host.manager->getStatus().removed.at(0);
    EXPECT_EQ(removed.reason, RemovalReason::channelClosed);
    EXPECT_TRUE(removed.subscriber.isChannel);
}

/// A listener elsewhere is removed when it cannot be reached; its place is taken by one on this machine.
class ManagerWithStrictNotifier : public IndicationManagerTest {};

TEST_F(ManagerWithStrictNotifier, TellsThatADeliveryFailed) {
    manager->enableIndications();
    const RefusingPort nobody;
    const ORVSmrPtr<CSubscriberID> id(new CSubscriberID("127.0.0.1", ORVString(nobody.port()), 1));
    subscribeChange(id, file);
    manager->notify(makeIndication(makeObject(file), Change));
    Delivery delivery(inspect(*manager).smartThis(), &everyHostIsRemote);
    delivery._pass();
    const auto removed = manager->getStatus().removed;
    ASSERT_EQ(removed.size(), 1U);
    EXPECT_EQ(removed[0].reason, RemovalReason::deliveryFailed);
    EXPECT_THAT(removed[0].subscriber.figures.lastFailure->text, testing::HasSubstr("Connection refused"));
    EXPECT_EQ(removed[0].subscriber.figures.failed, 1U);
}

}  // namespace
}  // namespace velm::test
