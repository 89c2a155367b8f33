#include "foundation/object_model/COrvoSubscriptionFilter.h"

#include "tests/unit/server/object_model/ModelSupport.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

namespace {

using testing::ElementsAre;
using velm::test::strings;

TEST(SubscriptionFilter, StartsWithoutClassAndProperties) {
    COrvoSubscriptionFilter filter;
    EXPECT_TRUE(filter.getClassName().isNull());
    EXPECT_TRUE(filter.getProperties()->isEmpty());
    EXPECT_TRUE(filter.isEmpty());
}

TEST(SubscriptionFilter, IsEmpty_WhenOnlyTheClassIsNamed) {
    COrvoSubscriptionFilter filter;
    filter.setClassName("CIM_DataFile");
    EXPECT_EQ(filter.getClassName(), ORVString("CIM_DataFile"));
    EXPECT_TRUE(filter.isEmpty());
}

TEST(SubscriptionFilter, KeepsEachPropertyOnce_InOrderOfAddition) {
    COrvoSubscriptionFilter filter;
    for (const char* name : {"Size", "name", "SIZE", "Name", "Age"}) {
        filter.addProperty(name);
    }
    EXPECT_THAT(strings(*filter.getProperties()), ElementsAre("Size", "name", "Age"));
    EXPECT_FALSE(filter.isEmpty());
}

}  // namespace
