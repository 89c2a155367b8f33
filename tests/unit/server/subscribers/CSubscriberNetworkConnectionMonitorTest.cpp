#include "foundation/subscribers/CSubscriberNetworkConnectionMonitor.h"

#include "foundation/utilities/OrvoBaseException.h"
#include "tests/support/LogCapture.h"
#include "tests/support/SubscriberBuilders.h"
#include "tests/unit/server/subscribers/FakeSubscriberManager.h"
#include "tests/unit/server/subscribers/Setting.h"
#include "tests/unit/server/subscribers/TcpPair.h"

#include <atomic>
#include <future>
#include <stdexcept>
#include <string>
#include <sys/resource.h>
#include <thread>
#include <utility>
#include <vector>

#include <gmock/gmock.h>

// Unless a test says otherwise the monitor has no sweep at an interval: whatever happens, a connection caused
// it.

namespace {

using namespace std::chrono_literals;
using testing::Contains;
using testing::IsEmpty;
using velm::test::FakeSubscriberManager;
using velm::test::IsLogLine;
using velm::test::LogCapture;
using velm::test::makeChannelSubscriber;
using velm::test::makeSubscriber;
using velm::test::makeSubscriberID;
using velm::test::Setting;
using velm::test::TcpPair;

constexpr const char* component = "CSubscriberNetworkConnectionMonitor::run";

/// A subscriber that tells when it is destroyed.
class MortalSubscriber : public CSubscriber {
public:
    MortalSubscriber(TcpPair& pair, std::promise<void>& destroyed)
        : CSubscriber(makeSubscriberID(99), "localhost", "5988", pair.takeConnection()),
          _destroyed(destroyed) {}
    ~MortalSubscriber() override { _destroyed.set_value(); }

private:
    std::promise<void>& _destroyed;
};

/// Lowers the number of descriptors that the process may have for the length of a scope; open ones stay open.
class DescriptorLimit {
public:
    explicit DescriptorLimit(rlim_t count) {
        ::getrlimit(RLIMIT_NOFILE, &_former);
        const rlimit lowered{count, _former.rlim_max};
        ::setrlimit(RLIMIT_NOFILE, &lowered);
    }
    DescriptorLimit(const DescriptorLimit&) = delete;
    DescriptorLimit& operator=(const DescriptorLimit&) = delete;
    ~DescriptorLimit() { ::setrlimit(RLIMIT_NOFILE, &_former); }

private:
    rlimit _former{};
};

TEST(ConnectionMonitor, HasSubscriberRemoved_WhenPeerCloses) {
    FakeSubscriberManager manager;
    TcpPair pair;
    TcpPair other;
    const auto subscriber = makeChannelSubscriber(pair, 1);
    const auto bystander = makeChannelSubscriber(other, 2);
    const auto withoutChannel = makeSubscriber(3);
    manager.add(subscriber);
    manager.add(bystander);
    manager.add(withoutChannel);
    pair.close();
    EXPECT_TRUE(manager.waitUntilGone(subscriber));
    EXPECT_TRUE(manager.lists(bystander));
    EXPECT_TRUE(manager.lists(withoutChannel));
}

TEST(ConnectionMonitor, HasSubscriberRemoved_WhenPeerResets) {
    FakeSubscriberManager manager;
    TcpPair pair;
    const auto subscriber = makeChannelSubscriber(pair);
    manager.add(subscriber);
    pair.reset();
    EXPECT_TRUE(manager.waitUntilGone(subscriber));
}

TEST(ConnectionMonitor, HasSubscriberRemoved_WhenPeerClosedBeforeItWasAdded) {
    FakeSubscriberManager manager;
    TcpPair pair;
    const auto subscriber = makeChannelSubscriber(pair);
    pair.close();
    manager.add(subscriber);
    EXPECT_TRUE(manager.waitUntilGone(subscriber));
}

TEST(ConnectionMonitor, HasSubscriberRemoved_WhenThisSideClosedBeforeItWasAdded) {
    FakeSubscriberManager manager;
    TcpPair pair;
    const auto subscriber = makeChannelSubscriber(pair);
    subscriber->getNetworkConnection()->getTransport()->close();
    manager.add(subscriber);
    EXPECT_TRUE(manager.waitUntilGone(subscriber));
}

TEST(ConnectionMonitor, HasSubscriberRemoved_WhenThisSideCloses) {
    FakeSubscriberManager manager;
    TcpPair pair;
    const auto subscriber = makeChannelSubscriber(pair);
    manager.add(subscriber);
    ASSERT_TRUE(manager.waitForListings(1));
    subscriber->getNetworkConnection()->getTransport()->close();
    EXPECT_TRUE(manager.waitUntilGone(subscriber));
}

TEST(ConnectionMonitor, ThrowsBytesAway_WhenPeerSendsUnasked) {
    FakeSubscriberManager manager;
    TcpPair pair;
    const auto subscriber = makeChannelSubscriber(pair);
    manager.add(subscriber);
    // More than both sockets can hold: it gets through only if the monitor reads.
    EXPECT_TRUE(pair.send(64'000'000));
    EXPECT_TRUE(manager.lists(subscriber));
    EXPECT_EQ(manager.sweeps(), 0U);
    pair.close();
    EXPECT_TRUE(manager.waitUntilGone(subscriber));
}

TEST(ConnectionMonitor, SeesClose_WhenAnotherPeerNeverStopsSending) {
    FakeSubscriberManager manager;
    TcpPair noisy;
    TcpPair pair;
    const auto talker = makeChannelSubscriber(noisy, 1);
    const auto subscriber = makeChannelSubscriber(pair, 2);
    manager.add(talker);
    manager.add(subscriber);
    std::atomic<bool> isOver{false};
    std::thread sender([&] {
        while (!isOver && noisy.send(100'000)) {
        }
    });
    pair.close();
    EXPECT_TRUE(manager.waitUntilGone(subscriber));
    EXPECT_TRUE(manager.lists(talker));
    isOver = true;
    sender.join();
}

TEST(ConnectionMonitor, KeepsNewSubscriber_WhenSameIdentityRegisteredBeforeOldConnectionClosed) {
    FakeSubscriberManager manager;
    TcpPair oldPair;
    TcpPair newPair;
    TcpPair thirdPair;
    const auto oldSubscriber = makeChannelSubscriber(oldPair, 1);
    const auto newSubscriber = makeChannelSubscriber(newPair, 1);
    const auto third = makeChannelSubscriber(thirdPair, 2);
    manager.add(oldSubscriber);
    manager.add(third);
    ASSERT_TRUE(manager.waitForListings(1));
    manager.replace(newSubscriber);
    oldPair.close();
    thirdPair.close();
    EXPECT_TRUE(manager.waitUntilGone(third));
    EXPECT_TRUE(manager.lists(newSubscriber));
}

TEST(ConnectionMonitor, KeepsNewSubscriber_WhenSameIdentityRegistersWhileCloseIsHandled) {
    FakeSubscriberManager manager;
    TcpPair oldPair;
    TcpPair newPair;
    const auto oldSubscriber = makeChannelSubscriber(oldPair);
    const auto newSubscriber = makeChannelSubscriber(newPair);
    // The close has been seen and the manager is about to look for the subscriber.
    manager.onCheck = [&, isFirst = true]() mutable {
        if (std::exchange(isFirst, false)) {
            manager.replace(newSubscriber);
        }
    };
    manager.add(oldSubscriber);
    oldPair.close();
    ASSERT_TRUE(manager.waitForSweeps(1));
    EXPECT_FALSE(manager.lists(oldSubscriber));
    EXPECT_TRUE(manager.lists(newSubscriber));
    newPair.close();
    EXPECT_TRUE(manager.waitUntilGone(newSubscriber));
}

TEST(ConnectionMonitor, LetsConnectionGo_WhenSubscriberWasRemoved) {
    FakeSubscriberManager manager;
    TcpPair pair;
    manager.add(makeChannelSubscriber(pair));
    ASSERT_TRUE(manager.waitForListings(1));
    manager.removeSubscriber(*makeSubscriberID(), true, true);
    EXPECT_TRUE(pair.seesEnd());
}

TEST(ConnectionMonitor, LetsConnectionGoAtNextSweep_WhenItWasNotToldOfRemoval) {
    FakeSubscriberManager manager(10ms);
    TcpPair pair;
    manager.add(makeChannelSubscriber(pair));
    ASSERT_TRUE(manager.waitForListings(1));
    manager.removeSubscriber(*makeSubscriberID(), false, true);
    EXPECT_TRUE(pair.seesEnd());
}

TEST(ConnectionMonitor, LetsConnectionGo_WhenShutDown) {
    FakeSubscriberManager manager;
    TcpPair pair;
    std::promise<void> destroyed;
    {
        const ORVSmrPtr<CSubscriber> subscriber(new MortalSubscriber(pair, destroyed));
        manager.add(subscriber);
        ASSERT_TRUE(manager.waitForListings(1));
        manager.forget(subscriber);
    }
    manager.monitor().shutdown();
    EXPECT_EQ(destroyed.get_future().wait_for(0s), std::future_status::ready);
}

TEST(ConnectionMonitor, SweepsFewTimes_WhenManyPeersCloseTogether) {
    constexpr std::uint32_t count = 200;
    FakeSubscriberManager manager;
    std::promise<void> allClosed;
    manager.onCheck = [&, waits = allClosed.get_future().share()] { waits.wait(); };
    std::vector<TcpPair> pairs(count);
    std::vector<ORVSmrPtr<CSubscriber>> subscribers;
    for (std::uint32_t i = 0; i < count; ++i) {
        subscribers.push_back(makeChannelSubscriber(pairs[i], i));
        manager.add(subscribers.back());
    }
    for (TcpPair& pair : pairs) {
        pair.close();
    }
    allClosed.set_value();
    for (const auto& subscriber : subscribers) {
        ASSERT_TRUE(manager.waitUntilGone(subscriber));
    }
    EXPECT_LT(manager.sweeps(), count / 5);
}

TEST(ConnectionMonitor, GoesOn_WhenListIsNullOrHasNullEntries) {
    FakeSubscriberManager manager;
    TcpPair pair;
    const auto subscriber = makeChannelSubscriber(pair);
    manager.answersNullList = true;
    EXPECT_TRUE(manager.tellMonitor());
    ASSERT_TRUE(manager.waitForListings(1));
    manager.monitor().shutdown();

    FakeSubscriberManager second;
    second.add(nullptr);
    second.add(subscriber);
    second.add(nullptr);
    pair.close();
    EXPECT_TRUE(second.waitUntilGone(subscriber));
}

TEST(ConnectionMonitor, LogsAndGoesOn_WhenManagerThrows) {
    const LogCapture log;
    FakeSubscriberManager manager;
    TcpPair pair;
    TcpPair other;
    const auto subscriber = makeChannelSubscriber(pair, 1);
    const auto second = makeChannelSubscriber(other, 2);
    manager.onList = [calls = 0]() mutable {
        switch (++calls) {
            case 1:
                throw OrvoBaseException("where", "who", "first", 0);
            case 2:
                throw std::runtime_error("second");
            case 3:
                throw 3;
            default:
                return;
        }
    };
    manager.onCheck = [calls = 0]() mutable {
        if (++calls == 1) {
            throw std::runtime_error("sweep");
        }
    };
    for (const char* cause : {"first", "second", "not a known exception"}) {
        EXPECT_TRUE(manager.tellMonitor());
        const std::string message =
            std::string("An exception occurred while looking up the subscribers to watch: ") + cause;
        ASSERT_TRUE(log.waitForMessage(message));
        EXPECT_THAT(log.records(), Contains(IsLogLine(component, message.c_str(), 1)));
    }
    manager.add(subscriber);
    manager.add(second);
    pair.close();
    const char* message = "An exception occurred while sweeping subscribers that are out of date: sweep";
    ASSERT_TRUE(log.waitForMessage(message));
    EXPECT_THAT(log.records(), Contains(IsLogLine(component, message, 1)));
    other.close();
    EXPECT_TRUE(manager.waitUntilGone(second));
    EXPECT_TRUE(manager.waitUntilGone(subscriber));
}

TEST(ConnectionMonitor, LogsAndTriesAgain_WhenSystemHasNoDescriptorToGive) {
    const LogCapture log;
    FakeSubscriberManager manager;
    TcpPair pair;
    const auto subscriber = makeChannelSubscriber(pair);
    const char* message =
        "The connection of the subscriber '127.0.0.1:5990 (1)' cannot be watched: Too many open files";
    {
        const DescriptorLimit limit(3);
        manager.add(subscriber);
        ASSERT_TRUE(log.waitForMessage(message));
    }
    EXPECT_THAT(log.records(), Contains(IsLogLine(component, message, 1)));
    pair.close();
    manager.tellMonitor();
    EXPECT_TRUE(manager.waitUntilGone(subscriber));
}

TEST(ConnectionMonitor, AnswersTrueAndLogs_WhenCountingSubscribersThrows) {
    const Setting setting("MaxSubscribers", "1");
    const LogCapture log;
    FakeSubscriberManager manager;
    manager.onList = [] { throw std::runtime_error("no list"); };
    EXPECT_TRUE(manager.tellMonitor());
    EXPECT_THAT(
        log.records(),
        Contains(IsLogLine(component, "An exception occurred while counting the subscribers: no list", 1)));
}

TEST(ConnectionMonitor, DoesNothing_WhenManagerHandleIsEmpty) {
    const LogCapture log;
    FakeSubscriberManager manager(1ms);
    TcpPair pair;
    manager.add(makeChannelSubscriber(pair));
    ASSERT_TRUE(manager.waitForSweeps(1));
    // The handle is emptied where nobody is calling through it.
    manager.monitor().shutdown();
    manager.emptyHandle();
    const unsigned int calls = manager.calls();
    manager.monitor().shutdown();
    EXPECT_FALSE(manager.tellMonitor());
    EXPECT_EQ(manager.calls(), calls);

    const Setting setting("MaxSubscribers", "1");
    ORVSmrPtr<ISubscriberManager> nobody;
    CSubscriberNetworkConnectionMonitor monitor(nobody, 1ms);
    EXPECT_TRUE(monitor.subscriptionChangeOccured());
    monitor.shutdown();
    EXPECT_THAT(log.records(), IsEmpty());
}

TEST(ConnectionMonitor, CountsNobody_WhenNoLimitIsSet) {
    for (const char* noLimit : {"0", "-3"}) {
        const Setting setting("MaxSubscribers", noLimit);
        FakeSubscriberManager manager;
        const auto self = std::this_thread::get_id();
        std::atomic<bool> wasCounted{false};
        manager.onList = [&] { wasCounted = wasCounted || std::this_thread::get_id() == self; };
        for (std::uint32_t session = 0; session < 20; ++session) {
            EXPECT_TRUE(manager.add(makeSubscriber(session)));
        }
        EXPECT_FALSE(wasCounted);
    }
}

TEST(ConnectionMonitor, RefusesChange_WhenThereAreMoreSubscribersThanAllowed) {
    const Setting setting("MaxSubscribers", "2");
    FakeSubscriberManager manager;
    const auto first = makeSubscriber(1);
    const auto third = makeSubscriber(3);
    EXPECT_TRUE(manager.add(first));
    EXPECT_TRUE(manager.add(makeSubscriber(2)));
    EXPECT_FALSE(manager.add(third));
    EXPECT_TRUE(manager.tellMonitor());
    manager.removeSubscriber(*first->getSubscriberID(), true, true);
    EXPECT_TRUE(manager.add(third));
    EXPECT_FALSE(manager.add(first));
}

TEST(ConnectionMonitor, SweepsAtInterval_OnceItRuns) {
    FakeSubscriberManager manager(1ms);
    manager.tellMonitor();
    EXPECT_TRUE(manager.waitForSweeps(5));
}

TEST(ConnectionMonitor, SweepsAtConfiguredInterval_WhenSubscribersExpire) {
    const Setting setting("SubscriberTimeout", "1");
    FakeSubscriberManager manager{FakeSubscriberManager::Configured()};
    TcpPair pair;
    const auto subscriber = makeChannelSubscriber(pair);
    manager.add(subscriber);
    EXPECT_TRUE(manager.waitUntilGone(subscriber));
    EXPECT_TRUE(manager.waitForListings(3));
}

TEST(ConnectionMonitor, DerivesIntervalFromTimeout) {
    const std::vector<std::pair<std::chrono::seconds, std::chrono::milliseconds>> rows{
        {0s, 0ms},  {-1s, 0ms},  {1s, 1s},    {4s, 1s},          {6s, 1s},
        {40s, 10s}, {240s, 60s}, {900s, 60s}, {2147483647s, 60s}};
    for (const auto& [timeout, interval] : rows) {
        EXPECT_EQ(CSubscriberNetworkConnectionMonitor::sweepIntervalFor(timeout), interval)
            << timeout.count();
    }
}

TEST(ConnectionMonitor, ShutsDown_WhenItNeverRan) {
    FakeSubscriberManager manager(1ms);
    manager.monitor().shutdown();
    manager.monitor().shutdown();
    EXPECT_FALSE(manager.tellMonitor());
    EXPECT_EQ(manager.calls(), 0U);
}

TEST(ConnectionMonitor, NeverCallsManager_AfterShutdown) {
    const Setting setting("MaxSubscribers", "100");
    FakeSubscriberManager manager(1ms);
    std::vector<TcpPair> pairs(20);
    std::uint32_t session = 0;
    for (TcpPair& pair : pairs) {
        manager.add(makeChannelSubscriber(pair, ++session));
    }
    ASSERT_TRUE(manager.waitForSweeps(1));
    for (TcpPair& pair : pairs) {
        pair.close();
    }
    manager.monitor().shutdown();
    const unsigned int calls = manager.calls();
    EXPECT_FALSE(manager.add(makeSubscriber(1)));
    manager.destroyMonitor();
    EXPECT_EQ(manager.calls(), calls);
}

TEST(ConnectionMonitor, WaitsForCallUnderWay_WhenShutDownOnTwoThreads) {
    FakeSubscriberManager manager;
    TcpPair pair;
    std::promise<void> inCall;
    std::promise<void> mayEnd;
    std::atomic<bool> hasEnded{false};
    manager.onCheck = [&] {
        inCall.set_value();
        mayEnd.get_future().wait();
        hasEnded = true;
    };
    manager.add(makeChannelSubscriber(pair));
    pair.close();
    inCall.get_future().wait();

    std::atomic<int> stopping{0};
    std::vector<std::thread> threads;
    for (int i = 0; i < 2; ++i) {
        threads.emplace_back([&] {
            ++stopping;
            manager.monitor().shutdown();
            EXPECT_TRUE(hasEnded);
        });
    }
    // Once changes are refused, one of the two is inside shutdown().
    while (stopping < 2 || manager.tellMonitor()) {
        std::this_thread::yield();
    }
    mayEnd.set_value();
    for (std::thread& thread : threads) {
        thread.join();
    }
}

TEST(ConnectionMonitor, WaitsForCallerCountingSubscribers_WhenShutDown) {
    const Setting setting("MaxSubscribers", "5");
    FakeSubscriberManager manager;
    std::promise<void> counting;
    std::promise<void> mayEnd;
    std::atomic<bool> hasEnded{false};
    std::atomic<std::thread::id> counter;
    manager.onList = [&] {
        if (std::this_thread::get_id() == counter.load()) {
            counting.set_value();
            mayEnd.get_future().wait();
            hasEnded = true;
        }
    };
    std::thread caller([&] {
        counter = std::this_thread::get_id();
        manager.monitor().subscriptionChangeOccured();
    });
    counting.get_future().wait();
    std::thread stopper([&] {
        manager.monitor().shutdown();
        EXPECT_TRUE(hasEnded);
    });
    while (manager.monitor().subscriptionChangeOccured()) {
        std::this_thread::yield();
    }
    mayEnd.set_value();
    caller.join();
    stopper.join();
}

TEST(ConnectionMonitor, DoesNotWaitForItself_WhenShutDownInsideSweep) {
    FakeSubscriberManager manager(1ms);
    manager.onCheck = [&] { manager.monitor().shutdown(); };
    manager.tellMonitor();
    ASSERT_TRUE(manager.waitForSweeps(1));
    manager.monitor().shutdown();
    EXPECT_EQ(manager.sweeps(), 1U);
}

TEST(ConnectionMonitor, LivesOnUntilItsThreadEnds_WhenDestroyedInsideSweep) {
    std::promise<void> destroyed;
    FakeSubscriberManager manager;
    TcpPair pair;
    {
        ORVSmrPtr<CSubscriber> subscriber(new MortalSubscriber(pair, destroyed));
        manager.onCheck = [&manager, subscriber]() mutable {
            manager.forget(subscriber);
            subscriber = nullptr;
            manager.destroyMonitor();
        };
        manager.add(subscriber);
    }
    pair.close();
    // The monitor holds the last handle; its thread gives it back when it ends.
    EXPECT_EQ(destroyed.get_future().wait_for(FakeSubscriberManager::patience), std::future_status::ready);
    EXPECT_EQ(manager.sweeps(), 1U);
}

// Changes on many threads, closing peers and sweeps, stopped at a moment that differs from round to round.
TEST(ConnectionMonitor, Stops_WhateverGoesOnAround) {
    const Setting setting("MaxSubscribers", "1000");
    for (unsigned int round = 0; round < 30; ++round) {
        FakeSubscriberManager manager(1ms);
        std::atomic<unsigned int> added{0};
        std::vector<std::thread> threads;
        for (std::uint32_t n = 0; n < 3; ++n) {
            threads.emplace_back([&, n] {
                for (std::uint32_t i = 0; i < 1000; ++i) {
                    TcpPair pair;
                    if (!manager.add(makeChannelSubscriber(pair, n * 1000 + i))) {
                        return;
                    }
                    ++added;
                    i % 2 == 0 ? pair.close() : pair.reset();
                }
            });
        }
        while (added < round * 3) {
            std::this_thread::yield();
        }
        manager.monitor().shutdown();
        const unsigned int sweeps = manager.sweeps();
        for (std::thread& thread : threads) {
            thread.join();
        }
        EXPECT_FALSE(manager.tellMonitor());
        EXPECT_EQ(manager.sweeps(), sweeps);
    }
}

}  // namespace
