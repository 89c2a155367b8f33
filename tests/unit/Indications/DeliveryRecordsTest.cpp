#include "Indications/DeliveryRecords.h"

#include "Indications/FailureReason.h"
#include "tests/support/IndicationNotifierSupport.h"
#include "tests/support/LogCapture.h"
#include "tests/support/ScriptedListener.h"
#include "tests/support/SubscriberBuilders.h"

#include <atomic>
#include <chrono>
#include <cstdint>
#include <numeric>
#include <optional>
#include <string>
#include <thread>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

namespace velm::test {
namespace {

using namespace std::chrono_literals;
using testing::HasSubstr;
using testing::StartsWith;

template <class Counts>
std::uint64_t sumOf(const Counts& counts) {
    return std::accumulate(counts.begin(), counts.end(), std::uint64_t{0});
}

// ---------------------------------------------------------------------------------------------------------------
// What a network failure means.

struct CodeCase {
    DeliveryStage stage;
    int code;
    DeliveryFailure reason;
};

TEST(FailureReason, FollowsStageAndCode) {
    using Stage = DeliveryStage;
    using Failure = DeliveryFailure;
    const std::vector<CodeCase> cases{
        {Stage::connecting, -2, Failure::nameNotFound},
        {Stage::connecting, ECONNREFUSED, Failure::connectionRefused},
        {Stage::connecting, ETIMEDOUT, Failure::connectTimedOut},
        {Stage::connecting, EHOSTUNREACH, Failure::notConnected},
        {Stage::connecting, EINVAL, Failure::notConnected},
        {Stage::sending, ETIMEDOUT, Failure::sendTimedOut},
        {Stage::sending, ECONNRESET, Failure::sendFailed},
        {Stage::onChannel, ETIMEDOUT, Failure::sendTimedOut},
        {Stage::onChannel, ENOTCONN, Failure::channelClosed},
        {Stage::onChannel, EPIPE, Failure::channelClosed},
    };
    for (const CodeCase& each : cases) {
        EXPECT_EQ(failureReason(each.stage, each.code), each.reason)
            << static_cast<int>(each.stage) << " " << each.code;
    }
}

// ---------------------------------------------------------------------------------------------------------------
// The same over real sockets: what fails, the reason that is counted, and the text that is kept.

bool everyHostIsLocal(const ORVString&, int) {
    return true;
}

class RecordedDelivery : public testing::Test {
protected:
    IndicationCounters counters() { return delivery.records()->counters(); }
    std::uint64_t failed(DeliveryFailure reason) { return counters().failed[numberOf(reason)]; }

    void expectFailure(const ORVSmrPtr<CSubscriber>& subscriber, ORVSmrPtr<IOrvoIndication> indication,
                       DeliveryFailure reason, const std::string& text) {
        EXPECT_FALSE(delivery.fire(subscriber, indication));
        EXPECT_EQ(failed(reason), 1U);
        EXPECT_EQ(sumOf(counters().failed), 1U);
        EXPECT_EQ(counters().delivered, 0U);
        const auto figures = subscriber->record()->figures();
        EXPECT_EQ(figures.failed, 1U);
        EXPECT_TRUE(figures.isFailing);
        ASSERT_TRUE(figures.lastFailure);
        EXPECT_THAT(figures.lastFailure->text, HasSubstr(text));
    }

    SelfOwned owned;
    Delivery delivery{owned.self, &everyHostIsLocal};
    LogCapture log;
};

TEST_F(RecordedDelivery, IsCountedWithItsTimeAndLatency) {
    ScriptedListener listener;
    const auto subscriber = subscriberAt(listener.port());
    const auto before = std::chrono::system_clock::now();
    ASSERT_TRUE(delivery.fire(subscriber, creation()));
    EXPECT_EQ(counters().delivered, 1U);
    EXPECT_EQ(counters().improperAnswers, 0U);
    EXPECT_EQ(sumOf(counters().latency.counts), 1U);
    EXPECT_GT(counters().latency.sum, 0ns);
    const auto figures = subscriber->record()->figures();
    EXPECT_EQ(figures.delivered, 1U);
    EXPECT_GE(figures.lastDelivery, before);
    EXPECT_FALSE(figures.lastFailure);
}

TEST_F(RecordedDelivery, FailsAsRefused_WhenNobodyListens) {
    const RefusingPort nobody;
    expectFailure(subscriberAt(nobody.port()), creation(), DeliveryFailure::connectionRefused,
                  "Connection refused");
}

TEST_F(RecordedDelivery, FailsAsNotConnected_WhenThePortIsNone) {
    expectFailure(subscriberAt("70000"), creation(), DeliveryFailure::notConnected, "port");
}

TEST_F(RecordedDelivery, FailsAsNotFound_WhenTheNameDoesNotResolve) {
    // No name has an empty label, so that the resolver need not ask anybody.
    expectFailure(subscriberAt("5990", nullptr, "no..host"), creation(), DeliveryFailure::nameNotFound,
                  "no..host");
}

TEST_F(RecordedDelivery, FailsAsSend_WhenTheListenerResets) {
    Answer reset = resettingAnswer();
    reset.reading = Answer::Reading::nothing;
    ScriptedListener listener(reset);
    expectFailure(subscriberAt(listener.port()), creation(16 * 1024 * 1024), DeliveryFailure::sendFailed,
                  "Sending to");
}

TEST_F(RecordedDelivery, FailsForAnotherReason_WhenThereIsNoMessageToSend) {
    Answer hang = hangingAnswer();
    hang.reading = Answer::Reading::nothing;
    ScriptedListener listener(hang);
    expectFailure(subscriberAt(listener.port()), unsendable(), DeliveryFailure::other,
                  "The indication cannot be sent");
}

TEST_F(RecordedDelivery, FailsAsChannelClosed_WhenTheClientIsGone) {
    ChannelPeer peer;
    peer.reset();
    expectFailure(subscriberAt("5990", peer.connection()), creation(), DeliveryFailure::channelClosed,
                  "Sending to");
}

TEST_F(RecordedDelivery, FailsAsTimedOut_WhenTheClientReadsNothing) {
    ChannelPeer peer;
    peer.connection()->getTransport()->setSendTimeout(20);
    expectFailure(subscriberAt("5990", peer.connection()), creation(16 * 1024 * 1024),
                  DeliveryFailure::sendTimedOut, "timed out after 20 ms");
}

TEST_F(RecordedDelivery, IsCountedOnAChannel) {
    ChannelPeer peer;
    const auto subscriber = subscriberAt("5990", peer.connection());
    ASSERT_TRUE(delivery.fire(subscriber, creation()));
    EXPECT_EQ(counters().delivered, 1U);
    EXPECT_EQ(subscriber->record()->figures().delivered, 1U);
}

TEST_F(RecordedDelivery, CountsThoseBehindAFailureAsDropped) {
    const RefusingPort nobody;
    auto subscriber = subscriberAt(nobody.port());
    auto indications = batch({creation(), creation(), creation()});
    delivery._fireindications(subscriber, indications);
    EXPECT_EQ(failed(DeliveryFailure::connectionRefused), 1U);
    EXPECT_EQ(counters().dropped[numberOf(DropRule::earlierOneFailed)], 2U);
    const auto figures = subscriber->record()->figures();
    EXPECT_EQ(figures.droppedBehind, 2U);
    EXPECT_EQ(figures.lastDrop->text, "2 dropped because an earlier one failed");
}

TEST_F(RecordedDelivery, CountsAllOfABatch_WhenTheSubscriberHasNoAddress) {
    ORVSmrPtr<CSubscriber> subscriber(new CSubscriber(nullptr, "s", "1", nullptr));
    auto indications = batch({creation(), creation()});
    EXPECT_ANY_THROW(delivery._fireindications(subscriber, indications));
    EXPECT_EQ(failed(DeliveryFailure::other), 1U);
    EXPECT_EQ(counters().dropped[numberOf(DropRule::earlierOneFailed)], 1U);
}

TEST_F(RecordedDelivery, TellsAFailingSubscriberThatGotOverIt) {
    ScriptedListener listener;
    const auto subscriber = subscriberAt(listener.port());
    EXPECT_FALSE(delivery.fire(subscriber, unsendable()));
    EXPECT_TRUE(delivery.fire(subscriber, creation()));
    EXPECT_FALSE(subscriber->record()->figures().isFailing);
    EXPECT_TRUE(subscriber->record()->figures().lastFailure);
}

TEST_F(RecordedDelivery, PutsLatenciesWhereTheyBelong) {
    DeliveryRecords records;
    SubscriberRecord subscriber{{}};
    const auto reported = std::chrono::system_clock::now();
    const auto& bounds = DeliveryLatency::bounds;
    for (const auto bound : bounds) {
        records.noteDelivery(subscriber, reported, reported + bound, {});
    }
    records.noteDelivery(subscriber, reported, reported + bounds.back() + 1ms, {});
    records.noteDelivery(subscriber, reported, reported - 1h, {});
    const auto latency = records.counters().latency;
    EXPECT_EQ(latency.counts.front(), 2U) << "a clock that was set back makes no negative latency";
    for (std::size_t index = 1; index < latency.counts.size(); ++index) {
        EXPECT_EQ(latency.counts[index], 1U) << index;
    }
}

TEST_F(RecordedDelivery, CountsADayAtMost_WhateverTimeAReporterTells) {
    DeliveryRecords records;
    SubscriberRecord subscriber{{}};
    const auto now = std::chrono::system_clock::now();
    constexpr int count = 1000;
    for (int index = 0; index < count; ++index) {
        records.noteDelivery(subscriber, {}, now, {});
        records.noteDelivery(subscriber, DeliveryRecords::Time::min(), now, {});
        records.noteDelivery(subscriber, DeliveryRecords::Time::max(), now, {});
    }
    const auto latency = records.counters().latency;
    EXPECT_EQ(latency.counts.back(), 2U * count);
    EXPECT_EQ(latency.counts.front(), 1U * count);
    EXPECT_EQ(latency.sum, 2 * count * 24h);
}

// ---------------------------------------------------------------------------------------------------------------
// Answers: delivered all the same, with a text of their own.

struct JudgedAnswer {
    const char* name;
    Answer answer;
    std::string text;
};

class RecordedAnswer : public RecordedDelivery, public testing::WithParamInterface<JudgedAnswer> {};

TEST_P(RecordedAnswer, CountsAsDelivered_WithWhatIsWrong) {
    ScriptedListener listener(GetParam().answer);
    const auto subscriber = subscriberAt(listener.port());
    ASSERT_TRUE(delivery.fire(subscriber, creation()));
    EXPECT_EQ(counters().delivered, 1U);
    EXPECT_EQ(counters().improperAnswers, 1U);
    EXPECT_EQ(sumOf(counters().failed), 0U);
    const auto figures = subscriber->record()->figures();
    EXPECT_FALSE(figures.isFailing);
    EXPECT_FALSE(figures.lastFailure);
    ASSERT_TRUE(figures.lastImproperAnswer);
    EXPECT_THAT(figures.lastImproperAnswer->text, StartsWith(GetParam().text));
}

INSTANTIATE_TEST_SUITE_P(
    Answers, RecordedAnswer,
    testing::Values(
        JudgedAnswer{"Five", returnValueAnswer("5"), "answered with return value 5"},
        JudgedAnswer{"NoReturnValue", emptyAnswer(), "answered without a return value"},
        JudgedAnswer{"Error", errorAnswer("queue is full"), "answered with an error: queue is full"},
        JudgedAnswer{"LongError", errorAnswer(std::string(5000, 'x')),
                     "answered with an error: " + std::string(SubscriberRecord::longestText - 24, 'x')},
        JudgedAnswer{"NoNumber", returnValueAnswer("many"), "answered with what cannot be judged"},
        JudgedAnswer{"NoXML", rawAnswer(httpResponse("thank you")), "answered with what is no message: "},
        JudgedAnswer{"NoAnswer", closingAnswer(), "gave no answer that can be read: "}),
    [](const auto& test) { return std::string(test.param.name); });

// ---------------------------------------------------------------------------------------------------------------
// Removed subscribers.

class RemovedSubscribers : public testing::Test {
protected:
    static ORVSmrPtr<CSubscriber> subscriberWith(int queued) {
        auto subscriber = makeSubscriber();
        for (int count = 0; count < queued; ++count) {
            subscriber->notify(creation());
        }
        return subscriber;
    }
    std::uint64_t droppedWithQueue() {
        return records.counters().dropped[numberOf(DropRule::subscriberRemoved)];
    }

    DeliveryRecords records;
};

TEST_F(RemovedSubscribers, AreRememberedWithReasonCountsAndFailure) {
    const auto subscriber = subscriberWith(2);
    subscriber->record()->noteFailure("connection refused", {});
    records.noteRemoval(*subscriber, RemovalReason::deliveryFailed);
    const auto removed = records.removed();
    ASSERT_EQ(removed.size(), 1U);
    EXPECT_EQ(removed[0].reason, RemovalReason::deliveryFailed);
    EXPECT_EQ(removed[0].subscriber.host, "127.0.0.1");
    EXPECT_EQ(removed[0].subscriber.port, "5990");
    EXPECT_EQ(removed[0].subscriber.session, 1U);
    EXPECT_EQ(removed[0].subscriber.queued, 2U);
    EXPECT_EQ(removed[0].subscriber.dropped, 2U);
    EXPECT_EQ(removed[0].subscriber.figures.lastFailure->text, "connection refused");
    const auto counters = records.counters();
    EXPECT_EQ(counters.removed[numberOf(RemovalReason::deliveryFailed)], 1U);
    EXPECT_EQ(counters.queued, 2U);
}

TEST_F(RemovedSubscribers, AreForgotten_TheOldestFirst) {
    for (std::uint32_t session = 1; session <= DeliveryRecords::removedKept + 5; ++session) {
        records.noteRemoval(*makeSubscriber(session), RemovalReason::expired);
    }
    const auto removed = records.removed();
    ASSERT_EQ(removed.size(), DeliveryRecords::removedKept);
    EXPECT_EQ(removed.front().subscriber.session, 6U);
    EXPECT_EQ(removed.back().subscriber.session, DeliveryRecords::removedKept + 5);
    EXPECT_EQ(records.counters().removed[numberOf(RemovalReason::expired)], DeliveryRecords::removedKept + 5);
}

TEST_F(RemovedSubscribers, CountTheirQueueAsDropped_WhenNoPassIsUnderWay) {
    records.noteRemoval(*subscriberWith(3), RemovalReason::expired);
    EXPECT_EQ(droppedWithQueue(), 3U);
    EXPECT_EQ(droppedWithQueue(), 3U) << "once";
}

TEST_F(RemovedSubscribers, CountTheirQueueAsDropped_OnceThePassUnderWayHasEnded) {
    records.beginPass();
    records.noteRemoval(*subscriberWith(3), RemovalReason::expired);
    EXPECT_EQ(droppedWithQueue(), 0U);
    records.endPass();
    EXPECT_EQ(droppedWithQueue(), 3U);
}

TEST_F(RemovedSubscribers, CountNoQueueThatThePassUnderWayTook) {
    records.beginPass();
    const auto subscriber = subscriberWith(3);
    records.noteRemoval(*subscriber, RemovalReason::expired);
    takeIndications(subscriber);
    records.endPass();
    EXPECT_EQ(droppedWithQueue(), 0U);
    EXPECT_EQ(records.removed().at(0).subscriber.dropped, 0U);
}

// ---------------------------------------------------------------------------------------------------------------
// Many threads.

TEST(ReportCounts, LoseNothing_WhenManyThreadsCountAndOneReads) {
    constexpr unsigned int threadCount = 8;
    constexpr std::uint64_t each = 20'000;
    ReportCounts counts;
    std::atomic<bool> isDone{false};
    std::thread reader([&] {
        std::uint64_t last = 0;
        while (!isDone) {
            const std::uint64_t now = counts.matched();
            EXPECT_GE(now, last);
            last = now;
        }
    });
    std::vector<std::thread> threads;
    for (unsigned int number = 0; number < threadCount; ++number) {
        threads.emplace_back([&] {
            for (std::uint64_t count = 0; count < each; ++count) {
                counts.add(count % 4 == 0);
            }
        });
    }
    for (std::thread& thread : threads) {
        thread.join();
    }
    isDone = true;
    reader.join();
    EXPECT_EQ(counts.matched(), threadCount * each / 4);
    EXPECT_EQ(counts.unmatched(), threadCount * each * 3 / 4);
}

TEST(DeliveryRecordsUnderLoad, CanBeReadAtAnyTime) {
    DeliveryRecords records;
    const auto subscriber = makeSubscriber();
    std::atomic<bool> isDone{false};
    std::thread deliverer([&] {
        for (int count = 0; count < 2000; ++count) {
            records.beginPass();
            const auto now = DeliveryRecords::Time::clock::now();
            records.noteDelivery(*subscriber->record(), now, now, count % 2 == 0 ? "improper" : "");
            records.noteFailure(*subscriber->record(), DeliveryFailure::sendFailed, "broken");
            records.noteDroppedBehind(*subscriber->record(), 2);
            records.endPass();
        }
        isDone = true;
    });
    std::thread remover([&] {
        for (std::uint32_t session = 1; session <= 500; ++session) {
            records.noteRemoval(*makeSubscriber(session), RemovalReason::expired);
        }
    });
    while (!isDone) {
        const auto counters = records.counters();
        EXPECT_GE(counters.delivered, counters.improperAnswers);
        describe(*subscriber);
        records.removed();
    }
    deliverer.join();
    remover.join();
    EXPECT_EQ(records.counters().delivered, 2000U);
    EXPECT_EQ(records.counters().failed[numberOf(DeliveryFailure::sendFailed)], 2000U);
    EXPECT_EQ(records.counters().dropped[numberOf(DropRule::earlierOneFailed)], 4000U);
    EXPECT_EQ(records.counters().removed[numberOf(RemovalReason::expired)], 500U);
}

}  // namespace
}  // namespace velm::test
