#include "foundation/object_model/COrvoIndicationFilterProcessor.h"

#include "foundation/object_model/COrvoIndication.h"
#include "foundation/object_model/COrvoSubscriptionFilter.h"
#include "tests/unit/server/object_model/FilterProcessorModel.h"
#include "tests/unit/server/object_model/ModelSupport.h"

#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

namespace {

using testing::ElementsAre;
using testing::IsEmpty;
using velm::test::names;
using velm::test::str;
using velm::test::strings;
using Kind = IOrvoIndication::IndicationType;
using Filter = ORVSmrPtr<IOrvoSubscriptionFilter>;

constexpr unsigned int untouched = 77;

Filter filterOn(const std::vector<const char*>& properties, const char* className = "A") {
    Filter filter(new COrvoSubscriptionFilter);
    filter->setClassName(className);
    for (const char* property : properties) {
        filter->addProperty(property);
    }
    return filter;
}

/// What one call answered.
struct Answer {
    std::vector<std::string> properties;
    unsigned int count;
};

class FilterProcessor : public testing::Test {
protected:
    COrvoIndicationFilterProcessor processor;

    Answer subscribe(const Filter& filter, Kind type = IOrvoIndication::IndicationChange) {
        Filter result(new COrvoSubscriptionFilter);
        unsigned int count = untouched;
        processor.subscribe(type, filter, result, &count);
        return {strings(*result->getProperties()), count};
    }

    Answer unsubscribe(const Filter& filter, Kind type = IOrvoIndication::IndicationChange) {
        Filter result(new COrvoSubscriptionFilter);
        unsigned int count = untouched;
        processor.unsubscribe(type, filter, result, &count);
        return {strings(*result->getProperties()), count};
    }

    bool accepts(const ORVSmrPtr<ORVValSlist<ORVString>>& changed,
                 Kind type = IOrvoIndication::IndicationChange) {
        COrvoIndication indication(nullptr, type, changed, nullptr, IOrvoIndication::IntentReport, nullptr,
                                   false);
        return processor.accepts(indication);
    }
};

TEST_F(FilterProcessor, CountsUnfilteredSubscriptions) {
    EXPECT_EQ(subscribe(nullptr).count, 1U);
    EXPECT_EQ(subscribe(nullptr).count, 2U);
    EXPECT_EQ(processor.getChangeSubscriptionReferenceCount(), 2U);
    EXPECT_EQ(unsubscribe(nullptr).count, 1U);
    EXPECT_TRUE(processor.willTriggerNotification());
    EXPECT_EQ(unsubscribe(nullptr).count, 0U);
    EXPECT_FALSE(processor.willTriggerNotification());
}

TEST_F(FilterProcessor, TakesNoResultFilter_WhenUnfiltered) {
    unsigned int count = 0;
    processor.subscribe(IOrvoIndication::IndicationChange, nullptr, nullptr, &count);
    EXPECT_EQ(count, 1U);
    processor.unsubscribe(IOrvoIndication::IndicationChange, nullptr, nullptr, &count);
    EXPECT_EQ(count, 0U);
}

TEST_F(FilterProcessor, ReportsProperties_WhenTheyBecomeWanted) {
    auto first = subscribe(filterOn({"Size", "Name"}));
    EXPECT_THAT(first.properties, ElementsAre("Size", "Name"));
    EXPECT_EQ(first.count, 1U);
    auto second = subscribe(filterOn({"NAME", "Age"}));
    EXPECT_THAT(second.properties, ElementsAre("Age"));
    EXPECT_EQ(second.count, 2U);
    EXPECT_THAT(subscribe(filterOn({"size"})).properties, IsEmpty());
}

TEST_F(FilterProcessor, ReportsProperties_WhenNobodyWantsThemAnyMore) {
    subscribe(filterOn({"Size", "Name"}));
    subscribe(filterOn({"Name"}));
    auto first = unsubscribe(filterOn({"SIZE", "name"}));
    EXPECT_THAT(first.properties, ElementsAre("Size"));
    EXPECT_EQ(first.count, 1U);
    auto second = unsubscribe(filterOn({"Name"}));
    EXPECT_THAT(second.properties, ElementsAre("Name"));
    EXPECT_EQ(second.count, 0U);
    EXPECT_FALSE(processor.willTriggerNotification());
}

TEST_F(FilterProcessor, GivesTheClassToTheResultFilter) {
    Filter result(new COrvoSubscriptionFilter);
    unsigned int count = 0;
    processor.subscribe(IOrvoIndication::IndicationChange, filterOn({"Size"}, "CIM_DataFile"), result,
                        &count);
    EXPECT_EQ(str(result->getClassName()), "CIM_DataFile");
    Filter gone(new COrvoSubscriptionFilter);
    processor.unsubscribe(IOrvoIndication::IndicationChange, filterOn({"Size"}, "CIM_DataFile"), gone,
                          &count);
    EXPECT_EQ(str(gone->getClassName()), "CIM_DataFile");
}

TEST_F(FilterProcessor, CountsAFilterWithoutPropertiesAsStar) {
    auto first = subscribe(filterOn({}));
    EXPECT_THAT(first.properties, ElementsAre("*"));
    EXPECT_EQ(first.count, 1U);
    EXPECT_THAT(subscribe(filterOn({})).properties, IsEmpty());
    EXPECT_THAT(unsubscribe(filterOn({})).properties, IsEmpty());
    EXPECT_THAT(unsubscribe(filterOn({})).properties, ElementsAre("*"));
    EXPECT_FALSE(processor.willTriggerNotification());
}

TEST_F(FilterProcessor, KeepsFilteredAndUnfilteredCountsApart) {
    subscribe(filterOn({"Size"}));
    EXPECT_EQ(processor.getChangeSubscriptionReferenceCount(), 0U);
    EXPECT_EQ(subscribe(nullptr).count, 1U);
    EXPECT_EQ(unsubscribe(nullptr).count, 0U);
    EXPECT_TRUE(processor.willTriggerNotification());
}

TEST_F(FilterProcessor, ChangesNothing_WhenNeverSubscribed) {
    for (const auto& filter : {Filter(), filterOn({"Size"}), filterOn({})}) {
        auto answer = unsubscribe(filter);
        EXPECT_THAT(answer.properties, IsEmpty());
        EXPECT_EQ(answer.count, untouched);
    }
    subscribe(filterOn({"Size"}));
    EXPECT_EQ(unsubscribe(nullptr).count, untouched);
    EXPECT_EQ(unsubscribe(filterOn({"Name"})).count, untouched);
    EXPECT_EQ(unsubscribe(filterOn({"Size"}), IOrvoIndication::IndicationCreation).count, untouched);
    EXPECT_TRUE(processor.willTriggerNotification());
}

TEST_F(FilterProcessor, LastsAsLongAsAProperty_WhenGivenBackPieceByPiece) {
    subscribe(filterOn({"Size", "Name"}));
    auto first = unsubscribe(filterOn({"Size"}));
    EXPECT_THAT(first.properties, ElementsAre("Size"));
    EXPECT_EQ(first.count, 1U);
    EXPECT_TRUE(accepts(names({"Name"})));
    auto second = unsubscribe(filterOn({"Name"}));
    EXPECT_THAT(second.properties, ElementsAre("Name"));
    EXPECT_EQ(second.count, 0U);
}

TEST_F(FilterProcessor, IgnoresNumbersThatAreNoKind) {
    for (unsigned int number : {0U, 3U, 512U, 0x80000000U}) {
        auto type = static_cast<Kind>(number);
        EXPECT_EQ(subscribe(nullptr, type).count, untouched);
        EXPECT_EQ(subscribe(filterOn({"Size"}), type).count, untouched);
        EXPECT_EQ(unsubscribe(nullptr, type).count, untouched);
        EXPECT_FALSE(accepts(nullptr, type));
    }
    EXPECT_FALSE(processor.willTriggerNotification());
}

TEST_F(FilterProcessor, AcceptsNothing_WhenNothingIsSubscribed) {
    EXPECT_FALSE(processor.willTriggerNotification());
    EXPECT_FALSE(accepts(nullptr));
    EXPECT_FALSE(accepts(names({"Size"})));
}

TEST_F(FilterProcessor, AcceptsEverythingOfTheKind_WhenUnfiltered) {
    subscribe(nullptr);
    EXPECT_TRUE(accepts(nullptr));
    EXPECT_TRUE(accepts(names({})));
    EXPECT_TRUE(accepts(names({"Size"})));
    EXPECT_FALSE(accepts(names({"Size"}), IOrvoIndication::IndicationCreation));
}

TEST_F(FilterProcessor, AcceptsWatchedProperties_LetterCaseIgnored) {
    subscribe(filterOn({"Size", "Name"}));
    EXPECT_TRUE(accepts(names({"Size"})));
    EXPECT_TRUE(accepts(names({"Age", "NAME"})));
    EXPECT_FALSE(accepts(names({"Age"})));
    EXPECT_FALSE(accepts(names({"Age", "Sizes"})));
}

TEST_F(FilterProcessor, AcceptsWhateverChanged_WhenTheProviderNamedNothing) {
    subscribe(filterOn({"Size"}));
    EXPECT_TRUE(accepts(nullptr));
    EXPECT_TRUE(accepts(names({})));
}

TEST_F(FilterProcessor, AcceptsEveryProperty_WhenAFilterHasNone) {
    subscribe(filterOn({}));
    EXPECT_TRUE(accepts(names({"Size"})));
    EXPECT_TRUE(accepts(nullptr));
    unsubscribe(filterOn({}));
    EXPECT_FALSE(accepts(names({"Size"})));
}

TEST_F(FilterProcessor, CountsEachKindForItself) {
    struct Row {
        Kind type;
        Filter (COrvoIndicationFilterProcessor::*filter)() const;
        unsigned int (COrvoIndicationFilterProcessor::*count)() const;
    };
    using Processor = COrvoIndicationFilterProcessor;
    const Row rows[] = {{IOrvoIndication::IndicationChange, &Processor::getChangeFilter,
                         &Processor::getChangeSubscriptionReferenceCount},
                        {IOrvoIndication::IndicationAddition, &Processor::getAdditionFilter,
                         &Processor::getAdditionSubscriptionReferenceCount},
                        {IOrvoIndication::IndicationRemoval, &Processor::getRemovalFilter,
                         &Processor::getRemovalSubscriptionReferenceCount},
                        {IOrvoIndication::IndicationCreation, &Processor::getCreationFilter,
                         &Processor::getCreationSubscriptionReferenceCount},
                        {IOrvoIndication::IndicationDestruction, &Processor::getDestroyFilter,
                         &Processor::getDestroySubscriptionReferenceCount},
                        {IOrvoIndication::IndicationEnterRelationship, &Processor::getEnterRelationshipFilter,
                         &Processor::getEnterRelationshipReferenceCount},
                        {IOrvoIndication::IndicationLeaveRelationship, &Processor::getLeaveRelationshipFilter,
                         &Processor::getLeaveRelationshipReferenceCount}};
    unsigned int round = 0;
    for (const auto& row : rows) {
        EXPECT_TRUE((processor.*row.filter)().IsNull());
        EXPECT_EQ((processor.*row.count)(), 0U);
        ++round;
        for (unsigned int time = 0; time < round; ++time) {
            subscribe(nullptr, row.type);
        }
        subscribe(filterOn({"Size", "Name"}, "CIM_DataFile"), row.type);
    }
    round = 0;
    for (const auto& row : rows) {
        EXPECT_EQ((processor.*row.count)(), ++round);
        auto filter = (processor.*row.filter)();
        EXPECT_EQ(str(filter->getClassName()), "CIM_DataFile");
        EXPECT_THAT(strings(*filter->getProperties()), testing::UnorderedElementsAre("Size", "Name"));
        unsubscribe(filterOn({"Size", "Name"}), row.type);
        EXPECT_TRUE((processor.*row.filter)().IsNull());
    }
}

TEST_F(FilterProcessor, ServesTheAssociationKindsToo) {
    for (auto type :
         {IOrvoIndication::IndicationEnterAssociation, IOrvoIndication::IndicationLeaveAssociation}) {
        EXPECT_EQ(subscribe(nullptr, type).count, 1U);
        EXPECT_TRUE(accepts(nullptr, type));
        EXPECT_EQ(unsubscribe(nullptr, type).count, 0U);
        EXPECT_FALSE(accepts(nullptr, type));
    }
}

TEST_F(FilterProcessor, KnowsKindsFromOtherNumbers) {
    for (unsigned int bit = 1; bit <= 256; bit *= 2) {
        EXPECT_TRUE(COrvoIndicationFilterProcessor::isKind(static_cast<Kind>(bit)));
    }
    for (unsigned int number : {0U, 3U, 257U, 512U, 1U << 31}) {
        EXPECT_FALSE(COrvoIndicationFilterProcessor::isKind(static_cast<Kind>(number)));
        EXPECT_EQ(subscribe(nullptr, static_cast<Kind>(number)).count, untouched);
        EXPECT_EQ(subscribe(filterOn({"Size"}), static_cast<Kind>(number)).count, untouched);
        EXPECT_FALSE(accepts(nullptr, static_cast<Kind>(number)));
        EXPECT_FALSE(COrvoIndicationFilterProcessor(static_cast<Kind>(number), 1).willTriggerNotification());
    }
    EXPECT_FALSE(processor.willTriggerNotification());
}

TEST_F(FilterProcessor, StartsWithTheSubscriptionsItIsGiven) {
    processor = COrvoIndicationFilterProcessor(IOrvoIndication::IndicationRemoval, 2);
    EXPECT_EQ(processor.getRemovalSubscriptionReferenceCount(), 2U);
    EXPECT_EQ(processor.getChangeSubscriptionReferenceCount(), 0U);
    EXPECT_EQ(unsubscribe(nullptr, IOrvoIndication::IndicationRemoval).count, 1U);
}

TEST(FilterProcessorOperations, AnswerAsThePlainModel_WhateverTheirOrder) {
    std::mt19937 random(4);
    for (int start = 0; start < 200; ++start) {
        COrvoIndicationFilterProcessor processor;
        velm::test::FilterModel model;
        for (int step = 0; step < 500; ++step) {
            const Kind type = velm::test::randomKind(random);
            const auto properties = velm::test::randomProperties(random);
            ASSERT_NO_FATAL_FAILURE(velm::test::checkRandomChange(
                processor, model, type, random() % 2 == 0 ? &properties : nullptr, random() % 2 == 0));
            const auto changed = velm::test::randomProperties(random);
            const Kind reported = velm::test::randomKind(random);
            ASSERT_EQ(processor.accepts(*velm::test::makeChange(reported, changed)),
                      model.accepts(reported, changed));
            ASSERT_EQ(processor.willTriggerNotification(), model.wantsAnything());
            ASSERT_EQ(processor.getChangeSubscriptionReferenceCount(),
                      model.unfiltered(IOrvoIndication::IndicationChange));
            const auto filter = processor.getChangeFilter();
            ASSERT_EQ(filter.IsNull() ? std::vector<std::string>() : velm::test::sortedProperties(*filter),
                      model.watched(IOrvoIndication::IndicationChange));
        }
    }
}

}  // namespace
