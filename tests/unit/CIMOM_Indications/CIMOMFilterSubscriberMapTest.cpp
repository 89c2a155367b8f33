#include "CIMOM_Indications/CIMOMFilterSubscriberMap.h"

#include "CIMOM_Indications/CIMOMAdditionIndicationFilter.h"
#include "CIMOM_Indications/CIMOMCreationIndicationFilter.h"
#include "CIMOM_Indications/CIMOMDestructionIndicationFilter.h"
#include "tests/support/LogCapture.h"
#include "tests/support/ModelBuilders.h"
#include "tests/support/SubscriberBuilders.h"
#include "tests/unit/CIMOM_Indications/RegistryFixtures.h"

#include <chrono>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

namespace {

using namespace velm::test;
using Filter = CCIMOMIndicationFilter;
using testing::ElementsAre;
using testing::IsEmpty;

/// An indication that counts how often its object is asked for.
class ObservedIndication : public COrvoIndication {
public:
    ObservedIndication()
        : COrvoIndication(makeObject("CIM_File"), IndicationCreation, nullptr, nullptr, IntentReport, nullptr,
                          false) {}

    ORVSmrPtr<IOrvoObject> getObject() const override {
        ++objectReads;
        return COrvoIndication::getObject();
    }

    mutable int objectReads = 0;
};

class FilterSubscriberMap : public testing::Test {
protected:
    FilterSubscriberMap() { useFilter(makeFilter<CCIMOMCreationIndicationFilter>()); }

    void useFilter(const ORVSmrPtr<Filter>& filter) {
        records = new ORVValSlist<ORVSmrPtr<CCIMOMSubscriberRecord>>;
        map = new CCIMOMFilterSubscriberMap(filter, records);
    }

    CCIMOMFilterSubscriberMap::SubscriberRecordList records;
    ORVSmrPtr<CCIMOMFilterSubscriberMap> map;
    const ORVSmrPtr<CSubscriber> subscriber = makeSubscriber(1);
    const ORVSmrPtr<CSubscriber> other = makeSubscriber(2);
};

TEST_F(FilterSubscriberMap, SharesFilterAndListWithItsMaker) {
    EXPECT_EQ(map->getSubscriberList(), records);
    EXPECT_EQ(map->getIndicationFilter()->getFilterType(), Filter::FilterEnterAssociation);
    const CCIMOMFilterSubscriberMap& constant = *map;
    EXPECT_EQ(constant.getIndicationFilter(), map->getIndicationFilter());
}

TEST_F(FilterSubscriberMap, KeepsRecord_WhenOneOfTwoSubscriptionsEnds) {
    map->subscribe(subscriber);
    map->subscribe(subscriber);
    ASSERT_EQ(records->entries(), 1U);
    EXPECT_EQ(records->at(0)->getReferenceCount(), 2U);

    EXPECT_TRUE(map->unsubscribe(subscriber));
    ASSERT_EQ(records->entries(), 1U);
    EXPECT_EQ(records->at(0)->getReferenceCount(), 1U);
    EXPECT_TRUE(map->hasSubscribers());

    EXPECT_TRUE(map->unsubscribe(subscriber));
    EXPECT_TRUE(records->isEmpty());
    EXPECT_FALSE(map->hasSubscribers());
}

TEST_F(FilterSubscriberMap, KeepsTheOtherSubscriber_WhenOneGoes) {
    map->subscribe(subscriber);
    map->subscribe(other);
    EXPECT_TRUE(map->unsubscribe(subscriber));
    ASSERT_EQ(records->entries(), 1U);
    EXPECT_EQ(records->at(0)->getSubscriber(), other);
    EXPECT_TRUE(map->hasSubscribers());
}

TEST_F(FilterSubscriberMap, LogsAndChangesNothing_WhenUnsubscribingWhatWasNotSubscribed) {
    map->subscribe(other);
    const LogCapture log;
    EXPECT_FALSE(map->unsubscribe(subscriber));
    const ORVString expected = "Subscriber " + subscriber->getSubscriberID()->toString() +
                               " unsubscribed to filter not subscribed to.";
    EXPECT_THAT(log.records(), ElementsAre(IsLogLine("CIMOM", expected, 1)));
    ASSERT_EQ(records->entries(), 1U);
    EXPECT_EQ(records->at(0)->getSubscriber(), other);
    EXPECT_EQ(records->at(0)->getReferenceCount(), 1U);
}

TEST_F(FilterSubscriberMap, RemovesASubscriberAtOnce_WhateverItsCount) {
    for (int i = 0; i < 3; ++i) {
        map->subscribe(subscriber);
    }
    ASSERT_EQ(records->at(0)->getReferenceCount(), 3U);
    map->removeSubscriber(*makeSubscriberID(1));
    EXPECT_FALSE(map->hasSubscribers());
}

TEST_F(FilterSubscriberMap, RemovesNobodyAndIsSilent_WhenTheIdentityIsUnknown) {
    map->subscribe(subscriber);
    const LogCapture log;
    map->removeSubscriber(*makeSubscriberID(7));
    EXPECT_EQ(records->entries(), 1U);
    EXPECT_THAT(log.records(), IsEmpty());
}

TEST_F(FilterSubscriberMap, TellsSubscribersApartByObject_AndRemovesThemByIdentity) {
    const ORVSmrPtr<CSubscriber> twin = makeSubscriber(1);
    map->subscribe(subscriber);
    map->subscribe(twin);
    ASSERT_EQ(records->entries(), 2U);
    EXPECT_FALSE(map->unsubscribe(makeSubscriber(1)));
    ASSERT_EQ(records->entries(), 2U);
    map->removeSubscriber(*makeSubscriberID(1));
    ASSERT_EQ(records->entries(), 1U);
    EXPECT_EQ(records->at(0)->getSubscriber(), twin);
}

TEST_F(FilterSubscriberMap, DeliversAnAddition_WhenAnAdditionFilterSawACreation) {
    FileTree files;
    useFilter(makeFilterBetween<CCIMOMAdditionIndicationFilter>(files.directory, files.file));
    map->subscribe(subscriber);
    map->notify(makeContainment(IOrvoIndication::IndicationCreation));
    EXPECT_THAT(takeTypes(subscriber), ElementsAre(IOrvoIndication::IndicationAddition));
}

TEST_F(FilterSubscriberMap, DeliversTheTypeThatTheFilterStandsFor) {
    constexpr IOrvoIndication::IndicationType incoming = IOrvoIndication::IndicationDestruction;
    const std::vector<std::pair<unsigned int, unsigned int>> delivered{
        {0, 0},         {1, 0},   {2, 2},   {4, 4},     {8, incoming},
        {16, incoming}, {32, 32}, {64, 64}, {128, 128}, {256, 256}};
    for (const auto& [filterType, type] : delivered) {
        useFilter(makeFilter<ScriptedFilter>(static_cast<Filter::FilterType>(filterType)));
        map->subscribe(subscriber);
        map->notify(makeIndication(makeObject("CIM_File"), incoming));
        EXPECT_THAT(takeTypes(subscriber), ElementsAre(static_cast<IOrvoIndication::IndicationType>(type)))
            << filterType;
    }
}

TEST_F(FilterSubscriberMap, DeliversEnteringAssociations_ToCreationAndDestructionSubscribers) {
    for (const auto& filter :
         {makeFilter<CCIMOMCreationIndicationFilter>(), makeFilter<CCIMOMDestructionIndicationFilter>()}) {
        useFilter(filter);
        map->subscribe(subscriber);
        map->notify(makeIndication(makeObject("CIM_File"), IOrvoIndication::IndicationCreation));
        EXPECT_THAT(takeTypes(subscriber), ElementsAre(IOrvoIndication::IndicationEnterAssociation));
    }
}

TEST_F(FilterSubscriberMap, HandsOneNewIndicationToAllSubscribersInOrder) {
    map->subscribe(subscriber);
    map->subscribe(other);
    const auto incoming =
        makeIndication(makeObject("CIM_File"), IOrvoIndication::IndicationCreation, {"Caption"});
    map->notify(incoming);

    const auto received = takeIndications(subscriber);
    ASSERT_EQ(received.size(), 1U);
    EXPECT_THAT(takeIndications(other), ElementsAre(received[0]));
    EXPECT_NE(received[0], incoming);
    EXPECT_EQ(received[0]->getObject(), incoming->getObject());
    EXPECT_EQ(received[0]->getChangedProperties(), incoming->getChangedProperties());
    EXPECT_EQ(received[0]->getContext(), incoming->getContext());
    EXPECT_EQ(static_cast<IOrvoIndication::ReportedKind*>(received[0]->getContext())->type,
              IOrvoIndication::IndicationCreation);
    EXPECT_EQ(unsigned{received[0]->getIntent()}, 1U);
    EXPECT_TRUE(received[0]->getClassNames().IsNull());
}

TEST_F(FilterSubscriberMap, KeepsTheTimeOfTheReport) {
    auto* report = new COrvoIndication(makeObject("CIM_File"), IOrvoIndication::IndicationCreation, nullptr,
                                       nullptr, IOrvoIndication::IntentReport, nullptr, false);
    const ORVSmrPtr<IOrvoIndication> reported(report);
    report->setTime(std::chrono::system_clock::time_point(std::chrono::hours(1000)));
    map->subscribe(subscriber);
    map->notify(reported);
    const auto delivered = takeIndications(subscriber);
    ASSERT_EQ(delivered.size(), 1u);
    EXPECT_EQ(delivered[0]->getTime(), report->getTime());
}

TEST_F(FilterSubscriberMap, BuildsTheIndicationForNobody_WhenItHasNoRecords) {
    auto* observed = new ObservedIndication;
    const ORVSmrPtr<IOrvoIndication> indication(observed);
    map->notify(indication);
    EXPECT_EQ(observed->objectReads, 1);
    EXPECT_THAT(takeIndications(subscriber), IsEmpty());
}

}  // namespace
