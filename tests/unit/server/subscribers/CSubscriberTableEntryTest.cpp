#include "foundation/subscribers/CSubscriberTableEntry.h"

#include "foundation/object_model/COrvoSubscriptionFilter.h"
#include "foundation/utilities/OrvoBaseException.h"
#include "tests/support/ModelBuilders.h"
#include "tests/support/SubscriberBuilders.h"
#include "tests/unit/server/object_model/FilterProcessorModel.h"

#include <random>
#include <thread>
#include <vector>

#include <gmock/gmock.h>

namespace {

using testing::ElementsAre;
using testing::IsEmpty;
using velm::test::makeIndication;
using velm::test::makeObject;
using velm::test::makeSubscriber;
using velm::test::takeIndications;

ORVSmrPtr<IOrvoSubscriptionFilter> makeFilter(const char* property) {
    ORVSmrPtr<IOrvoSubscriptionFilter> filter(new COrvoSubscriptionFilter);
    filter->addProperty(property);
    return filter;
}

void subscribe(CSubscriberTableEntry& entry, IOrvoIndication::IndicationType type,
               const ORVSmrPtr<IOrvoSubscriptionFilter>& filter = nullptr) {
    unsigned int count = 0;
    entry.getIndicationFilterProcessor()->subscribe(
        type, filter, ORVSmrPtr<IOrvoSubscriptionFilter>(new COrvoSubscriptionFilter), &count);
}

TEST(SubscriberTableEntry, HoldsSubscriberAndItsOwnProcessor) {
    const auto subscriber = makeSubscriber();
    CSubscriberTableEntry entry(subscriber, true);
    EXPECT_TRUE(entry.getSubscriber() == subscriber);
    EXPECT_TRUE(entry.isClassBased());
    EXPECT_FALSE(CSubscriberTableEntry(subscriber, false).isClassBased());
    EXPECT_FALSE(entry.getIndicationFilterProcessor()->willTriggerNotification());
    subscribe(entry, IOrvoIndication::IndicationChange);
    EXPECT_TRUE(entry.getIndicationFilterProcessor()->willTriggerNotification());
    EXPECT_FALSE(
        CSubscriberTableEntry(subscriber, true).getIndicationFilterProcessor()->willTriggerNotification());
}

TEST(SubscriberTableEntry, QueuesIndication_WhenProcessorAccepts) {
    const auto subscriber = makeSubscriber();
    CSubscriberTableEntry entry(subscriber, false);
    subscribe(entry, IOrvoIndication::IndicationChange, makeFilter("Size"));
    const auto wanted =
        makeIndication(makeObject("CIM_DataFile"), IOrvoIndication::IndicationChange, {"Size"});
    EXPECT_TRUE(entry.notify(wanted));
    EXPECT_THAT(takeIndications(subscriber), ElementsAre(wanted));
}

TEST(SubscriberTableEntry, QueuesNothing_WhenProcessorDoesNotAccept) {
    const auto subscriber = makeSubscriber();
    CSubscriberTableEntry entry(subscriber, false);
    const auto object = makeObject("CIM_DataFile");
    EXPECT_FALSE(entry.notify(makeIndication(object, IOrvoIndication::IndicationChange)));
    subscribe(entry, IOrvoIndication::IndicationChange, makeFilter("Size"));
    EXPECT_FALSE(entry.notify(makeIndication(object, IOrvoIndication::IndicationChange, {"Name"})));
    EXPECT_FALSE(entry.notify(makeIndication(object, IOrvoIndication::IndicationCreation)));
    EXPECT_THAT(takeIndications(subscriber), IsEmpty());
}

TEST(SubscriberTableEntry, FailsAsNullHandle_WhenIndicationIsNull) {
    CSubscriberTableEntry entry(makeSubscriber(), false);
    EXPECT_THROW(entry.notify(nullptr), ORVNullPointerException);
}

TEST(SubscriberTableEntry, KeepsWhatItCounted_WhenTheProcessorIsAskedFor) {
    CSubscriberTableEntry entry(makeSubscriber(), false);
    unsigned int count = 0;
    entry.subscribe(IOrvoIndication::IndicationRemoval, nullptr, nullptr, &count);
    entry.subscribe(IOrvoIndication::IndicationRemoval, nullptr, nullptr, &count);
    EXPECT_EQ(count, 2U);
    EXPECT_EQ(entry.getWants().getRemovalSubscriptionReferenceCount(), 2U);
    const auto processor = entry.getIndicationFilterProcessor();
    EXPECT_EQ(processor->getRemovalSubscriptionReferenceCount(), 2U);
    entry.unsubscribe(IOrvoIndication::IndicationRemoval, nullptr, nullptr, &count);
    EXPECT_EQ(count, 1U);
    EXPECT_EQ(processor->getRemovalSubscriptionReferenceCount(), 1U) << "one processor for all who ask";
    EXPECT_EQ(entry.getWants().getRemovalSubscriptionReferenceCount(), 1U);
}

TEST(SubscriberTableEntry, CountsAsTheProcessorDoes_WhateverTheOrder) {
    std::mt19937 random(5);
    for (int start = 0; start < 2000; ++start) {
        CSubscriberTableEntry entry(makeSubscriber(), false);
        velm::test::FilterModel model;
        const bool isPlain = random() % 2 == 0;
        for (int step = 0; step < 50; ++step) {
            const auto type = isPlain ? IOrvoIndication::IndicationChange : velm::test::randomKind(random);
            const auto properties = velm::test::randomProperties(random);
            const bool isFiltered = !isPlain && random() % 8 == 0;
            ASSERT_NO_FATAL_FAILURE(velm::test::checkRandomChange(
                entry, model, type, isFiltered ? &properties : nullptr, random() % 2 == 0));
            ASSERT_EQ(entry.willTriggerNotification(), model.wantsAnything());
            const auto reported = velm::test::randomKind(random);
            const auto changed = velm::test::randomProperties(random);
            ASSERT_EQ(entry.notify(velm::test::makeChange(reported, changed)),
                      model.accepts(reported, changed));
            if (random() % 100 == 0) {
                entry.getIndicationFilterProcessor();
            }
        }
    }
}

TEST(SubscriberTableEntry, CountsNoNumberThatIsNoKind) {
    CSubscriberTableEntry entry(makeSubscriber(), false);
    const auto noKind = static_cast<IOrvoIndication::IndicationType>(3);
    unsigned int count = 77;
    entry.subscribe(noKind, nullptr, nullptr, &count);
    entry.unsubscribe(noKind, nullptr, nullptr, &count);
    entry.unsubscribe(IOrvoIndication::IndicationInvalid, nullptr, nullptr, &count);
    EXPECT_EQ(count, 77U);
    EXPECT_FALSE(entry.willTriggerNotification());
}

TEST(SubscriberTableEntry, MayBeAskedForItsProcessor_WhileOthersNotify) {
    const auto subscriber = makeSubscriber();
    const auto indication = makeIndication(makeObject("CIM_DataFile"), IOrvoIndication::IndicationChange);
    for (int round = 0; round < 100; ++round) {
        CSubscriberTableEntry entry(subscriber, false);
        unsigned int count = 0;
        entry.subscribe(IOrvoIndication::IndicationChange, nullptr, nullptr, &count);
        std::vector<std::jthread> threads;
        for (int i = 0; i < 2; ++i) {
            threads.emplace_back([&] { EXPECT_TRUE(entry.notify(indication)); });
            threads.emplace_back([&] {
                EXPECT_EQ(entry.getIndicationFilterProcessor()->getChangeSubscriptionReferenceCount(), 1U);
            });
        }
    }
    EXPECT_EQ(takeIndications(subscriber).size(), 200U);
}

}  // namespace
