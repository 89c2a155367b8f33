#include "velmd/status/Describe.h"

#include "foundation/object_model/COrvoInstanceName.h"
#include "foundation/object_model/COrvoSubscriptionFilter.h"

#include <chrono>
#include <string>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

namespace velm::status {
namespace {

using namespace std::chrono_literals;
using testing::ElementsAre;
using testing::Pair;
using testing::UnorderedElementsAre;

constexpr Time start{1'800'000'000s};

TEST(DescribedCounters, NameEveryReasonAndRule_AlsoThoseThatNeverHappened) {
    IndicationCounters counters;
    counters.reported = 7;
    counters.failed[numberOf(DeliveryFailure::connectionRefused)] = 2;
    counters.dropped[numberOf(DropRule::subscriberRemoved)] = 3;
    counters.removed[numberOf(RemovalReason::channelReplaced)] = 4;
    const Counters described = describe(counters);
    EXPECT_EQ(described.reported, 7U);
    EXPECT_EQ(described.failed.size(), deliveryFailureNames.size());
    EXPECT_EQ(described.failed.at("connection refused"), 2U);
    EXPECT_EQ(described.failed.at("name not found"), 0U);
    EXPECT_THAT(described.dropped, UnorderedElementsAre(Pair("queue full", 0), Pair("earlier one failed", 0),
                                                        Pair("subscriber removed", 3)));
    EXPECT_EQ(described.removed.at("channel replaced"), 4U);
    EXPECT_EQ(described.removed.at("left"), 0U);
}

TEST(DescribedLatency, IsInSeconds_WithWhatIsBeyondTheLastBoundApart) {
    DeliveryLatency latency;
    latency.counts.front() = 1;
    latency.counts.back() = 2;
    latency.sum = 1500ms;
    const Latency described = describe(latency);
    ASSERT_EQ(described.bounds.size(), DeliveryLatency::bounds.size());
    EXPECT_DOUBLE_EQ(described.bounds.front(), 0.001);
    EXPECT_DOUBLE_EQ(described.bounds.back(), 60);
    EXPECT_EQ(described.counts.size(), described.bounds.size());
    EXPECT_EQ(described.counts.front(), 1U);
    EXPECT_EQ(described.beyond, 2U);
    EXPECT_DOUBLE_EQ(described.sum, 1.5);
}

TEST(DescribedDurations, AreInSeconds) {
    CallDurations durations;
    durations.note(300us);
    durations.note(1h);
    const Latency described = describe(durations);
    ASSERT_EQ(described.bounds.size(), CallDurations::bounds.size());
    EXPECT_DOUBLE_EQ(described.bounds.front(), 0.0001);
    EXPECT_DOUBLE_EQ(described.bounds.back(), 30);
    EXPECT_EQ(described.counts[1], 1U);
    EXPECT_EQ(described.beyond, 1U);
    EXPECT_DOUBLE_EQ(described.sum, 3600.0003);
}

TEST(DescribedObservers, AreBounded_AndSoAreTheirProperties) {
    ObserverTable table;
    ObserverTable::Filter filter(new COrvoSubscriptionFilter);
    for (std::size_t number = 0; number < mostObserverProperties + 3; ++number) {
        filter->addProperty(ORVString("Property" + std::to_string(10 + number)));
    }
    for (std::size_t number = 0; number < mostObservers + 5; ++number) {
        const COrvoInstanceName name("root/cimv2", ORVString("EX_" + std::to_string(10 + number)), {});
        table.add(name, IOrvoIndication::IndicationChange, filter);
    }
    const std::vector<Observer> described = describe(table);
    ASSERT_EQ(described.size(), mostObservers);
    EXPECT_EQ(described[0].subject, "EX_10");
    EXPECT_EQ(described[0].indication, "Change");
    EXPECT_FALSE(described[0].isInstance);
    ASSERT_EQ(described[0].properties.size(), mostObserverProperties + 1);
    EXPECT_EQ(described[0].properties.front(), "Property10");
    EXPECT_EQ(described[0].properties.back(), "3 more");
}

TEST(DescribedSubscriber, TellsAllThatTheLibraryKnows) {
    SubscriberStatus subscriber;
    subscriber.host = "listener.example";
    subscriber.port = "5990";
    subscriber.session = 9;
    subscriber.isChannel = true;
    subscriber.waiting = 1;
    subscriber.queued = 2;
    subscriber.dropped = 3;
    subscriber.figures.since = start;
    subscriber.figures.subscriptions = 4;
    subscriber.figures.delivered = 5;
    subscriber.figures.failed = 6;
    subscriber.figures.lastDelivery = start + 1s;
    subscriber.figures.lastFailure = SubscriberRecord::Note{"refused", start, start + 2s, 7};
    subscriber.figures.isFailing = true;
    const Subscriber described = describe(subscriber);
    EXPECT_EQ(described.host, "listener.example");
    EXPECT_EQ(described.port, "5990");
    EXPECT_EQ(described.session, "9");
    EXPECT_TRUE(described.isChannel);
    EXPECT_EQ(described.waiting, 1U);
    EXPECT_EQ(described.queued, 2U);
    EXPECT_EQ(described.dropped, 3U);
    EXPECT_EQ(described.since, start);
    EXPECT_EQ(described.subscriptions, 4U);
    EXPECT_EQ(described.delivered, 5U);
    EXPECT_EQ(described.failed, 6U);
    EXPECT_EQ(described.lastDelivery, start + 1s);
    ASSERT_TRUE(described.lastFailure);
    EXPECT_EQ(described.lastFailure->text, "refused");
    EXPECT_EQ(described.lastFailure->count, 7U);
    EXPECT_TRUE(described.isFailing);
    EXPECT_FALSE(described.lastDrop);
}

TEST(DescribedSubscriber, DoesNotFail_WhenNothingIsSentToItAnyMore) {
    SubscriberStatus subscriber;
    subscriber.figures.lastFailure = SubscriberRecord::Note{"refused", start, start, 1};
    subscriber.figures.isFailing = true;
    EXPECT_FALSE(describe(subscriber).isFailing);
    EXPECT_TRUE(describe(subscriber).lastFailure);
    subscriber.waiting = 1;
    EXPECT_TRUE(describe(subscriber).isFailing);
    subscriber.waiting = 0;
    subscriber.figures.subscriptions = 1;
    EXPECT_TRUE(describe(subscriber).isFailing);
}

TEST(DescribedSubscriber, TellsWhyItWasRemoved) {
    RemovedSubscriberStatus removed;
    removed.subscriber.host = "a";
    removed.subscriber.figures.delivered = 5;
    removed.subscriber.dropped = 3;
    removed.subscriber.figures.lastDrop = SubscriberRecord::Note{"3 dropped", start, start, 3};
    removed.when = start;
    removed.reason = RemovalReason::expired;
    const RemovedSubscriber described = describe(removed);
    EXPECT_EQ(described.reason, "expired");
    EXPECT_EQ(described.when, start);
    EXPECT_EQ(described.delivered, 5U);
    EXPECT_EQ(described.dropped, 3U);
    ASSERT_TRUE(described.lastDrop);
    EXPECT_EQ(described.lastDrop->text, "3 dropped");
}

TEST(DescribedOperations, AreInOrderOfNameAndStatus) {
    RequestCounts counts;
    counts.count("GetInstance", 6);
    counts.count("GetInstance", RequestCounts::ok);
    counts.count("GetInstance", RequestCounts::ok);
    counts.count("other", RequestCounts::refused);
    const auto told = [](const Operation& operation) {
        return operation.name + " " + operation.status + " " + std::to_string(operation.count);
    };
    std::vector<std::string> texts;
    for (const Operation& operation : describe(counts.counts())) {
        texts.push_back(told(operation));
    }
    EXPECT_THAT(texts, ElementsAre("GetInstance ok 2", "GetInstance 6 1", "other refused 1"));
}

}  // namespace
}  // namespace velm::status
