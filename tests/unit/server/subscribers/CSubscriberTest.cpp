#include "foundation/subscribers/CSubscriber.h"

#include "foundation/object_model/COrvoIndication.h"
#include "foundation/services/VELMConfigManager.h"
#include "tests/support/LogCapture.h"
#include "tests/support/SubscriberBuilders.h"
#include "tests/unit/server/subscribers/Setting.h"
#include "tests/unit/server/subscribers/TcpPair.h"

#include <algorithm>
#include <atomic>
#include <map>
#include <string>
#include <thread>
#include <utility>
#include <vector>

#include <gmock/gmock.h>

namespace {

using namespace std::chrono_literals;
using testing::ElementsAre;
using testing::IsEmpty;
using velm::test::IsLogLine;
using velm::test::LogCapture;
using velm::test::makeChannelSubscriber;
using velm::test::makeSubscriber;
using velm::test::makeSubscriberID;
using velm::test::Setting;
using velm::test::takeIndications;
using velm::test::TcpPair;

using Indication = ORVSmrPtr<IOrvoIndication>;

Indication makeIndication() {
    return Indication(new COrvoIndication(nullptr, IOrvoIndication::IndicationChange, nullptr, nullptr,
                                          IOrvoIndication::IntentReport, nullptr, false));
}

/// A clock that stands still until it is told to go on.
struct StoppedClock {
    static inline std::chrono::steady_clock::time_point time{};
    static std::chrono::steady_clock::time_point now() { return time; }
    static void advance(std::chrono::milliseconds by) { time += by; }
};

ORVSmrPtr<CSubscriber> makeTimedSubscriber(ORVSmrPtr<CSubscriberNetworkConnection> connection = nullptr) {
    return ORVSmrPtr<CSubscriber>(
        new CSubscriber(makeSubscriberID(), "localhost", "5988", connection, &StoppedClock::now));
}

/// Whether those of `own` that are in `taken` are there once and in order.
bool isOrderedPartOf(const std::vector<Indication>& taken, const std::vector<Indication>& own) {
    std::map<const IOrvoIndication*, int> positions;
    for (const Indication& indication : own) {
        positions.emplace(indication.Get(), static_cast<int>(positions.size()));
    }
    int last = -1;
    for (const Indication& indication : taken) {
        const auto found = positions.find(indication.Get());
        if (found != positions.end() && std::exchange(last, found->second) >= found->second) {
            return false;
        }
    }
    return true;
}

TEST(Subscriber, KeepsWhatItWasMadeOf) {
    TcpPair pair;
    const auto id = makeSubscriberID();
    const auto connection = pair.takeConnection();
    const CSubscriber subscriber(id, "server.example", "5988", connection);
    EXPECT_TRUE(subscriber.getSubscriberID() == id);
    EXPECT_EQ(subscriber.getLocalHostName(), ORVString("server.example"));
    EXPECT_EQ(subscriber.getLocalPortNumber(), ORVString("5988"));
    EXPECT_TRUE(subscriber.getNetworkConnection() == connection);
    EXPECT_TRUE(makeSubscriber()->getNetworkConnection().IsNull());
}

TEST(Subscriber, HandsOverNothing_WhenNothingIsQueued) {
    EXPECT_TRUE(makeSubscriber()->getIndications().IsNull());
}

TEST(Subscriber, HandsOverInOrderAndOnlyOnce_WhenIndicationsAreQueued) {
    const auto subscriber = makeSubscriber();
    const std::vector<Indication> reported{makeIndication(), makeIndication(), makeIndication()};
    for (const Indication& indication : reported) {
        subscriber->notify(indication);
    }
    EXPECT_EQ(takeIndications(subscriber), reported);
    EXPECT_TRUE(subscriber->getIndications().IsNull());
    EXPECT_EQ(subscriber->getQueuedCount(), 3U);
    EXPECT_EQ(subscriber->getDroppedCount(), 0U);
}

TEST(Subscriber, LeavesHandedOverListAlone_WhenMoreIsQueued) {
    const auto subscriber = makeSubscriber();
    subscriber->notify(makeIndication());
    const auto taken = subscriber->getIndications();
    subscriber->notify(makeIndication());
    EXPECT_EQ(taken->entries(), 1U);
    EXPECT_EQ(takeIndications(subscriber).size(), 1U);
}

TEST(Subscriber, DropsOldest_WhenQueueIsFull) {
    const Setting setting("MaxQueuedIndications", "2");
    const auto subscriber = makeSubscriber();
    const std::vector<Indication> reported{makeIndication(), makeIndication(), makeIndication(),
                                           makeIndication()};
    for (const Indication& indication : reported) {
        subscriber->notify(indication);
    }
    EXPECT_THAT(takeIndications(subscriber), ElementsAre(reported[2], reported[3]));
    EXPECT_EQ(subscriber->getQueuedCount(), 4U);
    EXPECT_EQ(subscriber->getDroppedCount(), 2U);
}

TEST(Subscriber, LogsStartAndEndOfBurst_WhenQueueOverflows) {
    const Setting setting("MaxQueuedIndications", "1");
    const LogCapture log;
    const auto subscriber = makeSubscriber(7);
    subscriber->notify(makeIndication());
    EXPECT_THAT(log.records(), IsEmpty());

    const auto full = IsLogLine(
        "CSubscriber::notify",
        "The queue of the subscriber '127.0.0.1:5990 (7)' is full (1 indications), dropping the oldest.", 2);
    subscriber->notify(makeIndication());
    EXPECT_THAT(log.records(), ElementsAre(full));
    subscriber->notify(makeIndication());
    subscriber->notify(makeIndication());
    EXPECT_THAT(log.records(), ElementsAre(full));

    subscriber->getIndications();
    const auto empty = IsLogLine(
        "CSubscriber::getIndications",
        "The queue of the subscriber '127.0.0.1:5990 (7)' is empty again, indications dropped: 3.", 2);
    EXPECT_THAT(log.records(), ElementsAre(full, empty));

    subscriber->notify(makeIndication());
    subscriber->getIndications();
    EXPECT_THAT(log.records(), ElementsAre(full, empty));
}

TEST(Subscriber, LogsAgain_WhenSecondBurstBegins) {
    const Setting setting("MaxQueuedIndications", "1");
    const LogCapture log;
    const auto subscriber = makeSubscriber(7);
    for (int burst = 0; burst < 2; ++burst) {
        subscriber->notify(makeIndication());
        subscriber->notify(makeIndication());
        subscriber->getIndications();
    }
    EXPECT_EQ(log.records().size(), 4U);
    EXPECT_EQ(
        log.count("The queue of the subscriber '127.0.0.1:5990 (7)' is empty again, indications dropped: 1."),
        2U);
}

TEST(Subscriber, DropsAndHandsOver_WhenTheLineAboutItCannotBeWritten) {
    const Setting limit("MaxQueuedIndications", "2");
    LogCapture log;
    CSubscriber nameless(nullptr, "localhost", "5988", nullptr);
    for (int count = 0; count < 3; ++count) {
        EXPECT_NO_THROW(nameless.notify(makeIndication()));
    }
    EXPECT_EQ(nameless.getIndications()->entries(), 2U);
    EXPECT_EQ(nameless.getDroppedCount(), 1U);
    EXPECT_THAT(log.records(), IsEmpty());
}

TEST(Subscriber, DropsNothing_WhenBoundIsOff) {
    for (const char* off : {"0", "-1"}) {
        const Setting setting("MaxQueuedIndications", off);
        const auto subscriber = makeSubscriber();
        constexpr unsigned int count = 100'001;
        const Indication indication = makeIndication();
        for (unsigned int i = 0; i < count; ++i) {
            subscriber->notify(indication);
        }
        EXPECT_EQ(subscriber->getIndications()->entries(), count);
        EXPECT_EQ(subscriber->getDroppedCount(), 0U);
    }
}

TEST(Subscriber, HoldsHundredThousand_WhenBoundIsNotConfigured) {
    const auto subscriber = makeSubscriber();
    const Indication indication = makeIndication();
    for (unsigned int i = 0; i < 100'001; ++i) {
        subscriber->notify(indication);
    }
    EXPECT_EQ(subscriber->getIndications()->entries(), 100'000U);
    EXPECT_EQ(subscriber->getDroppedCount(), 1U);
}

TEST(Subscriber, ReadsSettingsOnce_WhenConstructed) {
    const auto subscriber = makeSubscriber();
    const Setting setting("MaxQueuedIndications", "1");
    subscriber->notify(makeIndication());
    subscriber->notify(makeIndication());
    EXPECT_EQ(takeIndications(subscriber).size(), 2U);
}

TEST(Subscriber, NeverExpires_WhenItHasNoChannelAndSentNoHeartbeat) {
    const auto subscriber = makeTimedSubscriber();
    StoppedClock::advance(24h);
    EXPECT_FALSE(subscriber->isOutOfDate());
}

TEST(Subscriber, ExpiresAfterTimeout_WhenHeartbeatsEnd) {
    const auto subscriber = makeTimedSubscriber();
    StoppedClock::advance(2000s);
    subscriber->updateTimeStamp();
    EXPECT_FALSE(subscriber->isOutOfDate());
    StoppedClock::advance(900s - 1ms);
    EXPECT_FALSE(subscriber->isOutOfDate());
    StoppedClock::advance(1ms);
    EXPECT_TRUE(subscriber->isOutOfDate());
    subscriber->updateTimeStamp();
    EXPECT_FALSE(subscriber->isOutOfDate());
}

TEST(Subscriber, ExpiresAfterTimeout_WhenChannelSendsNoHeartbeat) {
    const Setting setting("SubscriberTimeout", "30");
    TcpPair pair;
    const auto subscriber = makeTimedSubscriber(pair.takeConnection());
    StoppedClock::advance(30s - 1ms);
    EXPECT_FALSE(subscriber->isOutOfDate());
    StoppedClock::advance(1ms);
    EXPECT_TRUE(subscriber->isOutOfDate());
}

TEST(Subscriber, NeverExpires_WhenTimeoutIsOff) {
    for (const char* off : {"0", "-5"}) {
        const Setting setting("SubscriberTimeout", off);
        TcpPair pair;
        const auto subscriber = makeTimedSubscriber(pair.takeConnection());
        subscriber->updateTimeStamp();
        StoppedClock::advance(24h);
        EXPECT_FALSE(subscriber->isOutOfDate());
    }
}

TEST(Subscriber, IsOutOfDateAtOnce_WhenItsChannelIsClosed) {
    const Setting setting("SubscriberTimeout", "0");
    TcpPair pair;
    const auto subscriber = makeChannelSubscriber(pair);
    EXPECT_FALSE(subscriber->isOutOfDate());
    subscriber->getNetworkConnection()->getTransport()->close();
    EXPECT_TRUE(subscriber->isOutOfDate());
}

// Several threads report while one takes; a small bound makes drops frequent. Each indication must be handed
// over once or counted as dropped, and each thread's must keep their order.
TEST(Subscriber, AccountsForEveryIndication_WhenThreadsReportAndTakeAtOnce) {
    constexpr unsigned int reporters = 4;
    constexpr unsigned int perReporter = 5'000;
    const Setting setting("MaxQueuedIndications", "50");
    const auto subscriber = makeSubscriber();
    std::vector<std::vector<Indication>> reported(reporters);
    for (auto& own : reported) {
        own.resize(perReporter);
        std::generate(own.begin(), own.end(), makeIndication);
    }

    std::atomic<unsigned int> running{reporters};
    std::vector<std::thread> threads;
    for (const auto& own : reported) {
        threads.emplace_back([&] {
            for (const Indication& indication : own) {
                subscriber->notify(indication);
            }
            --running;
        });
    }
    std::vector<Indication> taken;
    while (running > 0) {
        const auto batch = takeIndications(subscriber);
        taken.insert(taken.end(), batch.begin(), batch.end());
        std::this_thread::yield();
    }
    for (std::thread& thread : threads) {
        thread.join();
    }
    const auto rest = takeIndications(subscriber);
    taken.insert(taken.end(), rest.begin(), rest.end());

    EXPECT_EQ(subscriber->getQueuedCount(), reporters * perReporter);
    EXPECT_EQ(taken.size() + subscriber->getDroppedCount(), reporters * perReporter);
    for (const auto& own : reported) {
        EXPECT_TRUE(isOrderedPartOf(taken, own));
    }
}

TEST(Subscriber, LogsEveryDropInSomeBurst_WhenThreadsReportAndTakeAtOnce) {
    const Setting setting("MaxQueuedIndications", "1");
    const LogCapture log;
    const auto subscriber = makeSubscriber(7);
    const Indication indication = makeIndication();
    std::thread reporter([&] {
        for (int i = 0; i < 2'000; ++i) {
            subscriber->notify(indication);
        }
    });
    for (int i = 0; i < 200; ++i) {
        subscriber->getIndications();
    }
    reporter.join();
    subscriber->getIndications();

    std::uint64_t logged = 0;
    std::size_t begun = 0;
    std::size_t ended = 0;
    const std::string prefix =
        "The queue of the subscriber '127.0.0.1:5990 (7)' is empty again, indications dropped: ";
    for (const ORVLogRecord& record : log.records()) {
        const bool isEnd = record.message.view().starts_with(prefix);
        ++(isEnd ? ended : begun);
        logged += isEnd ? std::stoull(record.message.data() + prefix.size()) : 0;
    }
    EXPECT_EQ(begun, ended);
    EXPECT_EQ(logged, subscriber->getDroppedCount());
}

}  // namespace
