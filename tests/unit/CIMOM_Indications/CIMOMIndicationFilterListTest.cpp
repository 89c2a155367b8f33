#include "CIMOM_Indications/CIMOMIndicationFilterList.h"

#include "CIMOM_Indications/CIMOMCreationIndicationFilter.h"
#include "CIMOM_Indications/CIMOMDestructionIndicationFilter.h"
#include "CIMOM_Indications/CIMOMEnterAssociationIndicationFilter.h"
#include "foundation/utilities/OrvoBaseException.h"
#include "tests/support/LogCapture.h"
#include "tests/support/ModelBuilders.h"
#include "tests/support/SubscriberBuilders.h"
#include "tests/unit/CIMOM_Indications/RegistryFixtures.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

namespace {

using namespace velm::test;
using Filter = CCIMOMIndicationFilter;
using testing::ElementsAre;
using testing::IsEmpty;

class IndicationFilterList : public testing::Test {
protected:
    void subscribe(const ORVSmrPtr<CSubscriber>& who, Filter::FilterType type) {
        list.subscribe(makeFilter<ScriptedFilter>(type), who, instanceName);
    }

    CCIMOMFilterSubscriberMap& map(unsigned int index) {
        return *list.getFilterSubscriberMapList()->at(index);
    }
    unsigned int mapCount() { return list.getFilterSubscriberMapList()->entries(); }
    unsigned int countOf(unsigned int mapIndex, unsigned int recordIndex) {
        return map(mapIndex).getSubscriberList()->at(recordIndex)->getReferenceCount();
    }

    CCIMOMIndicationFilterList list;
    bool isEmpty = false;
    const ORVSmrPtr<IOrvoInstanceName> instanceName = makeInstanceName("CIM_File");
    const ORVSmrPtr<CSubscriber> subscriber = makeSubscriber(1);
    const ORVSmrPtr<CSubscriber> other = makeSubscriber(2);
};

TEST_F(IndicationFilterList, StartsEmptyAndWithoutAName) {
    EXPECT_EQ(mapCount(), 0U);
    EXPECT_TRUE(list.getInstanceName().IsNull());
}

TEST_F(IndicationFilterList, CountsInOneRecord_WhenOneSubscriberUsesEqualFilters) {
    subscribe(subscriber, Filter::FilterCreate);
    subscribe(subscriber, Filter::FilterCreate);
    ASSERT_EQ(mapCount(), 1U);
    ASSERT_EQ(map(0).getSubscriberList()->entries(), 1U);
    EXPECT_EQ(countOf(0, 0), 2U);
}

TEST_F(IndicationFilterList, OpensASecondMap_WhenTheFiltersDiffer) {
    subscribe(subscriber, Filter::FilterCreate);
    subscribe(subscriber, Filter::FilterDestroy);
    ASSERT_EQ(mapCount(), 2U);
    EXPECT_EQ(map(0).getIndicationFilter()->getFilterType(), Filter::FilterCreate);
    EXPECT_EQ(map(1).getIndicationFilter()->getFilterType(), Filter::FilterDestroy);
    EXPECT_EQ(countOf(0, 0), 1U);
    EXPECT_EQ(countOf(1, 0), 1U);
}

TEST_F(IndicationFilterList, AddsTheSecondSubscriberToTheMap_WhenTheFiltersAreEqual) {
    subscribe(subscriber, Filter::FilterCreate);
    subscribe(other, Filter::FilterCreate);
    ASSERT_EQ(mapCount(), 1U);
    ASSERT_EQ(map(0).getSubscriberList()->entries(), 2U);
    EXPECT_EQ(map(0).getSubscriberList()->at(0)->getSubscriber(), subscriber);
    EXPECT_EQ(map(0).getSubscriberList()->at(1)->getSubscriber(), other);
}

TEST_F(IndicationFilterList, CountsInEveryEqualMap) {
    subscribe(subscriber, Filter::FilterCreate);
    subscribe(subscriber, Filter::FilterDestroy);
    map(1).getIndicationFilter() = makeFilter<ScriptedFilter>(Filter::FilterCreate);
    subscribe(other, Filter::FilterCreate);
    ASSERT_EQ(mapCount(), 2U);
    EXPECT_EQ(map(0).getSubscriberList()->entries(), 2U);
    EXPECT_EQ(map(1).getSubscriberList()->entries(), 2U);
}

TEST_F(IndicationFilterList, LetsTheHeldFilterDecideWhatIsEqual) {
    FileTree files;
    const auto entering =
        makeFilterBetween<CCIMOMEnterAssociationIndicationFilter>(files.directory, files.file);
    list.subscribe(makeFilter<CCIMOMCreationIndicationFilter>(), subscriber, nullptr);
    list.subscribe(makeFilter<CCIMOMDestructionIndicationFilter>(), subscriber, nullptr);
    list.subscribe(entering, subscriber, nullptr);
    EXPECT_EQ(mapCount(), 1U);

    CCIMOMIndicationFilterList second;
    second.subscribe(entering, subscriber, nullptr);
    second.subscribe(makeFilter<CCIMOMCreationIndicationFilter>(), subscriber, nullptr);
    EXPECT_EQ(second.getFilterSubscriberMapList()->entries(), 2U);
}

TEST_F(IndicationFilterList, TakesTheFirstNameThatIsNotNull) {
    list.subscribe(makeFilter<ScriptedFilter>(Filter::FilterCreate), subscriber, nullptr);
    EXPECT_TRUE(list.getInstanceName().IsNull());
    subscribe(subscriber, Filter::FilterCreate);
    EXPECT_EQ(list.getInstanceName(), instanceName);
    list.subscribe(makeFilter<ScriptedFilter>(Filter::FilterCreate), subscriber,
                   makeInstanceName("CIM_Directory"));
    EXPECT_EQ(list.getInstanceName(), instanceName);
}

TEST_F(IndicationFilterList, FailsAsANullHandleAndStaysAsItWas_WhenTheFilterIsNull) {
    EXPECT_THROW(list.subscribe(nullptr, subscriber, instanceName), ORVNullPointerException);
    EXPECT_EQ(mapCount(), 0U);
    EXPECT_TRUE(list.getInstanceName().IsNull());

    subscribe(subscriber, Filter::FilterCreate);
    EXPECT_THROW(list.subscribe(nullptr, other, instanceName), ORVNullPointerException);
    EXPECT_EQ(mapCount(), 1U);
    EXPECT_EQ(map(0).getSubscriberList()->entries(), 1U);
}

TEST_F(IndicationFilterList, AnswersFalse_WhenANullFilterIsUnsubscribedFromAnEmptyList) {
    EXPECT_FALSE(list.unsubscribe(nullptr, subscriber, isEmpty));
    subscribe(subscriber, Filter::FilterCreate);
    subscribe(other, Filter::FilterDestroy);
    CCIMOMDeletedFilterRecord::List records(new ORVValSlist<ORVSmrPtr<CCIMOMDeletedFilterRecord>>);
    list.removeSubscriber(*subscriber->getSubscriberID(), records, isEmpty);
    list.removeSubscriber(*other->getSubscriberID(), records, isEmpty);
    EXPECT_FALSE(list.unsubscribe(nullptr, subscriber, isEmpty));
}

TEST_F(IndicationFilterList, AnswersFalseSilently_WhenUnsubscribingAFilterThatIsNotHeld) {
    subscribe(subscriber, Filter::FilterCreate);
    const LogCapture log;
    isEmpty = true;
    EXPECT_FALSE(list.unsubscribe(makeFilter<ScriptedFilter>(Filter::FilterDestroy), subscriber, isEmpty));
    EXPECT_FALSE(isEmpty);
    EXPECT_EQ(mapCount(), 1U);
    EXPECT_THAT(log.records(), IsEmpty());
}

TEST_F(IndicationFilterList, AnswersFalseAndLogs_WhenTheSubscriberIsNotBehindTheFilter) {
    subscribe(subscriber, Filter::FilterCreate);
    const LogCapture log;
    EXPECT_FALSE(list.unsubscribe(makeFilter<ScriptedFilter>(Filter::FilterCreate), other, isEmpty));
    EXPECT_FALSE(isEmpty);
    EXPECT_EQ(mapCount(), 1U);
    EXPECT_EQ(log.records().size(), 1U);
}

TEST_F(IndicationFilterList, IsEmptyAndNameless_WhenTheLastSubscriberUnsubscribes) {
    subscribe(subscriber, Filter::FilterCreate);
    EXPECT_TRUE(list.unsubscribe(makeFilter<ScriptedFilter>(Filter::FilterCreate), subscriber, isEmpty));
    EXPECT_TRUE(isEmpty);
    EXPECT_EQ(mapCount(), 0U);
    EXPECT_TRUE(list.getInstanceName().IsNull());
}

TEST_F(IndicationFilterList, KeepsItsNameAndTheOtherMap_WhenOneMapGoes) {
    subscribe(subscriber, Filter::FilterCreate);
    subscribe(subscriber, Filter::FilterDestroy);
    EXPECT_TRUE(list.unsubscribe(makeFilter<ScriptedFilter>(Filter::FilterCreate), subscriber, isEmpty));
    EXPECT_FALSE(isEmpty);
    ASSERT_EQ(mapCount(), 1U);
    EXPECT_EQ(map(0).getIndicationFilter()->getFilterType(), Filter::FilterDestroy);
    EXPECT_EQ(list.getInstanceName(), instanceName);
}

TEST_F(IndicationFilterList, KeepsTheMap_WhenOneOfItsTwoSubscribersUnsubscribes) {
    subscribe(subscriber, Filter::FilterCreate);
    subscribe(other, Filter::FilterCreate);
    EXPECT_TRUE(list.unsubscribe(makeFilter<ScriptedFilter>(Filter::FilterCreate), subscriber, isEmpty));
    EXPECT_FALSE(isEmpty);
    ASSERT_EQ(mapCount(), 1U);
    EXPECT_EQ(map(0).getSubscriberList()->entries(), 1U);
}

TEST_F(IndicationFilterList, UnsubscribesInTheFirstEqualMapOnly) {
    subscribe(subscriber, Filter::FilterCreate);
    subscribe(subscriber, Filter::FilterDestroy);
    map(1).getIndicationFilter() = makeFilter<ScriptedFilter>(Filter::FilterCreate);
    EXPECT_TRUE(list.unsubscribe(makeFilter<ScriptedFilter>(Filter::FilterCreate), subscriber, isEmpty));
    EXPECT_FALSE(isEmpty);
    EXPECT_EQ(mapCount(), 1U);
}

class IndicationFilterListRemoval : public IndicationFilterList,
                                    public testing::WithParamInterface<bool /* of an instance */> {};

TEST_P(IndicationFilterListRemoval, ReportsTheEmptiedMapsInOrderWithTheNameOfTheList) {
    const ORVSmrPtr<IOrvoInstanceName> name = GetParam() ? instanceName : ORVSmrPtr<IOrvoInstanceName>();
    for (const auto type : {Filter::FilterCreate, Filter::FilterDestroy, Filter::FilterAddAssociation}) {
        list.subscribe(makeFilter<ScriptedFilter>(type), subscriber, name);
    }
    list.subscribe(makeFilter<ScriptedFilter>(Filter::FilterDestroy), other, name);

    CCIMOMDeletedFilterRecord::List deleted(new ORVValSlist<ORVSmrPtr<CCIMOMDeletedFilterRecord>>);
    isEmpty = true;
    list.removeSubscriber(*makeSubscriberID(1), deleted, isEmpty);

    EXPECT_FALSE(isEmpty);
    ASSERT_EQ(mapCount(), 1U);
    EXPECT_EQ(map(0).getIndicationFilter()->getFilterType(), Filter::FilterDestroy);
    ASSERT_EQ(deleted->entries(), 2U);
    EXPECT_EQ(deleted->at(0)->getFilter()->getIndicationFilter()->getFilterType(), Filter::FilterCreate);
    EXPECT_EQ(deleted->at(1)->getFilter()->getIndicationFilter()->getFilterType(),
              Filter::FilterAddAssociation);
    EXPECT_EQ(deleted->at(0)->getInstanceName(), name);
    EXPECT_EQ(deleted->at(1)->getInstanceName(), name);
}

INSTANTIATE_TEST_SUITE_P(OfInstanceAndClass, IndicationFilterListRemoval, testing::Bool());

TEST_F(IndicationFilterList, KeepsItsName_WhenARemovalEmptiesIt) {
    subscribe(subscriber, Filter::FilterCreate);
    CCIMOMDeletedFilterRecord::List deleted(new ORVValSlist<ORVSmrPtr<CCIMOMDeletedFilterRecord>>);
    list.removeSubscriber(*makeSubscriberID(1), deleted, isEmpty);
    EXPECT_TRUE(isEmpty);
    EXPECT_EQ(mapCount(), 0U);
    EXPECT_EQ(list.getInstanceName(), instanceName);
}

TEST_F(IndicationFilterList, DeliversOnceForEachFilterThatMatches) {
    subscribe(subscriber, Filter::FilterCreate);
    subscribe(subscriber, Filter::FilterAddAssociation);
    list.subscribe(makeFilter<ScriptedFilter>(Filter::FilterLeaveAssociation, false), subscriber, nullptr);
    list.notify(makeIndication(makeObject("CIM_File"), IOrvoIndication::IndicationCreation));
    EXPECT_THAT(takeTypes(subscriber),
                ElementsAre(IOrvoIndication::IndicationCreation, IOrvoIndication::IndicationAddition));
}

}  // namespace
