#include "CIMOM_Indications/CIMOMDeletedFilterRecord.h"

#include "tests/support/ModelBuilders.h"
#include "tests/unit/CIMOM_Indications/RegistryFixtures.h"

#include <gtest/gtest.h>

namespace {

using namespace velm::test;

ORVSmrPtr<CCIMOMFilterSubscriberMap> makeEmptyMap() {
    const CCIMOMFilterSubscriberMap::SubscriberRecordList noRecords(
        new ORVValSlist<ORVSmrPtr<CCIMOMSubscriberRecord>>);
    return ORVSmrPtr<CCIMOMFilterSubscriberMap>(new CCIMOMFilterSubscriberMap(
        makeFilter<ScriptedFilter>(CCIMOMIndicationFilter::FilterLeaveRelationship), noRecords));
}

TEST(DeletedFilterRecord, KeepsTheInstanceAndTheMapWithItsFilter) {
    const ORVSmrPtr<IOrvoInstanceName> instanceName = makeInstanceName("CIM_File");
    CCIMOMDeletedFilterRecord record(instanceName, makeEmptyMap());
    EXPECT_EQ(record.getInstanceName(), instanceName);
    EXPECT_FALSE(record.getFilter()->hasSubscribers());
    EXPECT_EQ(record.getFilter()->getIndicationFilter()->getFilterType(),
              CCIMOMIndicationFilter::FilterLeaveRelationship);
}

TEST(DeletedFilterRecord, HasNoInstance_WhenTheMapWasClassWide) {
    CCIMOMDeletedFilterRecord record(nullptr, makeEmptyMap());
    EXPECT_TRUE(record.getInstanceName().IsNull());
}

}  // namespace
