#include "foundation/subscribers/CSubscriberTableEntry.h"

#include "foundation/object_model/COrvoSubscriptionFilter.h"
#include "foundation/utilities/OrvoBaseException.h"
#include "tests/support/ModelBuilders.h"
#include "tests/support/SubscriberBuilders.h"

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

}  // namespace
