#include "CIMOM_Indications/CIMOMSubscriberRecord.h"

#include "tests/support/SubscriberBuilders.h"

#include <gtest/gtest.h>

namespace {

TEST(SubscriberRecord, CountsFromOneAndAnswersTheNewCount) {
    CCIMOMSubscriberRecord record(velm::test::makeSubscriber());
    EXPECT_EQ(record.getReferenceCount(), 1U);
    EXPECT_EQ(record.incrementRefCount(), 2U);
    EXPECT_EQ(record.getReferenceCount(), 2U);
    EXPECT_EQ(record.decrementRefCount(), 1U);
    EXPECT_EQ(record.decrementRefCount(), 0U);
    EXPECT_EQ(record.getReferenceCount(), 0U);
}

TEST(SubscriberRecord, SharesItsSubscriber) {
    const ORVSmrPtr<CSubscriber> subscriber = velm::test::makeSubscriber();
    const CCIMOMSubscriberRecord record(subscriber);
    EXPECT_EQ(record.getSubscriber(), subscriber);
}

}  // namespace
