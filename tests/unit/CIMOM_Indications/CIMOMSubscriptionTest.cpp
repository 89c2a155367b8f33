#include "CIMOM_Indications/CIMOMSubscription.h"

#include "CIMOM_Indications/CIMOMCreationIndicationFilter.h"
#include "CIMOM_Indications/CIMOMDestructionIndicationFilter.h"
#include "foundation/utilities/OrvoBaseException.h"
#include "tests/support/ModelBuilders.h"
#include "tests/support/SubscriberBuilders.h"
#include "tests/unit/CIMOM_Indications/RegistryFixtures.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

namespace {

using namespace velm::test;
using Filter = CCIMOMIndicationFilter;
using testing::IsEmpty;
using testing::SizeIs;

/// An indication without an object: reading it fails as a null handle does.
ORVSmrPtr<IOrvoIndication> makeIndicationWithoutObject() {
    return makeIndication(nullptr, IOrvoIndication::IndicationCreation);
}

class SubscriptionTable : public testing::Test {
protected:
    void subscribe(const ORVSmrPtr<CSubscriber>& who, const ORVSmrPtr<IOrvoValue>& target) {
        table.subscribe(makeFilter<CCIMOMDestructionIndicationFilter>(), who, target);
    }
    bool unsubscribe(const ORVSmrPtr<CSubscriber>& who, const ORVSmrPtr<IOrvoValue>& target) {
        return table.unsubscribe(makeFilter<CCIMOMDestructionIndicationFilter>(), who, target);
    }
    unsigned int classMaps() { return table.getClassMapList()->getFilterSubscriberMapList()->entries(); }
    unsigned int instanceLists() { return table.getInstanceMapList()->entries(); }
    bool holdsInstance(const char* key) { return table.getInstanceMapList()->find(key) != nullptr; }

    CCIMOMSubscription table{10};
    const ORVSmrPtr<CSubscriber> subscriber = makeSubscriber(1);
    const ORVSmrPtr<CSubscriber> other = makeSubscriber(2);
    const ORVSmrPtr<IOrvoInstanceName> file = makeInstanceName("CIM_File", "a");
    const ORVSmrPtr<IOrvoValue> fileTarget = makeReference(file);
};

TEST_F(SubscriptionTable, SubscribesClassWide_WhenTheTargetIsNullOrNoReference) {
    subscribe(subscriber, nullptr);
    subscribe(subscriber, makeString("CIM_File"));
    EXPECT_EQ(classMaps(), 1U);
    EXPECT_EQ(instanceLists(), 0U);
    const auto maps = table.getClassMapList()->getFilterSubscriberMapList();
    EXPECT_EQ(maps->at(0)->getSubscriberList()->at(0)->getReferenceCount(), 2U);
    EXPECT_TRUE(table.getClassMapList()->getInstanceName().IsNull());
}

TEST_F(SubscriptionTable, KeepsAListForEachInstance_UnderClassAndKeys) {
    subscribe(subscriber, fileTarget);
    subscribe(subscriber, makeReference(makeInstanceName("CIM_File", "a")));
    subscribe(subscriber, makeReference(makeInstanceName("CIM_DataFile", "a")));
    subscribe(subscriber, makeReference(makeInstanceName("CIM_File", "b")));
    EXPECT_EQ(classMaps(), 0U);
    EXPECT_EQ(instanceLists(), 3U);
    EXPECT_TRUE(holdsInstance("CIM_File:Id=\"a\""));
    EXPECT_TRUE(holdsInstance("CIM_DataFile:Id=\"a\""));
    EXPECT_TRUE(holdsInstance("CIM_File:Id=\"b\""));
    const auto* list = table.getInstanceMapList()->find("CIM_File:Id=\"a\"");
    EXPECT_EQ((*list)->getInstanceName()->toString(), file->toString());
}

TEST_F(SubscriptionTable, TellsInstancesApartByLetterCase) {
    subscribe(subscriber, fileTarget);
    subscribe(subscriber, makeReference(makeInstanceName("CIM_File", "A")));
    EXPECT_EQ(instanceLists(), 2U);
}

TEST_F(SubscriptionTable, EntersNothing_WhenTheFilterIsNull) {
    EXPECT_THROW(table.subscribe(nullptr, subscriber, fileTarget), ORVNullPointerException);
    EXPECT_THROW(table.subscribe(nullptr, subscriber, nullptr), ORVNullPointerException);
    EXPECT_EQ(instanceLists(), 0U);
    EXPECT_EQ(classMaps(), 0U);
}

TEST_F(SubscriptionTable, AnswersFalse_WhenUnsubscribingFromAnInstanceWithoutAList) {
    subscribe(subscriber, nullptr);
    EXPECT_FALSE(unsubscribe(subscriber, fileTarget));
    EXPECT_EQ(classMaps(), 1U);
    EXPECT_EQ(instanceLists(), 0U);
}

TEST_F(SubscriptionTable, DropsAnInstance_WhenItsLastSubscriptionEnds) {
    subscribe(subscriber, fileTarget);
    subscribe(other, fileTarget);
    EXPECT_TRUE(unsubscribe(subscriber, fileTarget));
    EXPECT_TRUE(holdsInstance("CIM_File:Id=\"a\""));
    EXPECT_TRUE(unsubscribe(other, fileTarget));
    EXPECT_EQ(instanceLists(), 0U);
}

TEST_F(SubscriptionTable, KeepsAnInstance_WhenAStrangerUnsubscribes) {
    subscribe(subscriber, fileTarget);
    EXPECT_FALSE(unsubscribe(other, fileTarget));
    EXPECT_EQ(instanceLists(), 1U);
}

TEST_F(SubscriptionTable, KeepsTheClassWideListEmpty_WhenItsLastSubscriptionEnds) {
    const ORVSmrPtr<CCIMOMIndicationFilterList> list = table.getClassMapList();
    subscribe(subscriber, nullptr);
    EXPECT_TRUE(unsubscribe(subscriber, makeString("CIM_File")));
    EXPECT_EQ(classMaps(), 0U);
    EXPECT_EQ(table.getClassMapList(), list);
}

TEST_F(SubscriptionTable, OffersAnIndicationToTheClassAndToItsInstance) {
    subscribe(subscriber, nullptr);
    subscribe(other, fileTarget);
    table.notify(makeIndication(makeObject(file), IOrvoIndication::IndicationCreation), false);
    EXPECT_THAT(takeIndications(subscriber), SizeIs(1));
    EXPECT_THAT(takeIndications(other), SizeIs(1));
    table.notify(makeIndication(makeObject("CIM_File", "b"), IOrvoIndication::IndicationCreation), false);
    EXPECT_THAT(takeIndications(subscriber), SizeIs(1));
    EXPECT_THAT(takeIndications(other), IsEmpty());
    EXPECT_EQ(instanceLists(), 1U);
}

TEST_F(SubscriptionTable, EndsTheSubscriptionsToAnInstance_WithTheIndicationOfItsDestruction) {
    subscribe(subscriber, nullptr);
    subscribe(other, fileTarget);
    const auto destruction = makeIndication(makeObject(file), IOrvoIndication::IndicationDestruction);
    table.notify(destruction, false);
    EXPECT_THAT(takeIndications(subscriber), SizeIs(1));
    EXPECT_THAT(takeIndications(other), SizeIs(1));
    EXPECT_EQ(instanceLists(), 0U);

    table.notify(destruction, false);
    EXPECT_THAT(takeIndications(subscriber), SizeIs(1));
    EXPECT_THAT(takeIndications(other), IsEmpty());
    EXPECT_FALSE(unsubscribe(other, fileTarget));
}

TEST_F(SubscriptionTable, TakesNewSubscriptionsToAnInstance_AfterItsDestruction) {
    subscribe(subscriber, fileTarget);
    const auto destruction = makeIndication(makeObject(file), IOrvoIndication::IndicationDestruction);
    table.notify(destruction, false);
    static_cast<void>(takeIndications(subscriber));
    subscribe(other, fileTarget);
    EXPECT_EQ(instanceLists(), 1U);
    table.notify(destruction, false);
    EXPECT_THAT(takeIndications(subscriber), IsEmpty());
    EXPECT_THAT(takeIndications(other), SizeIs(1));
}

TEST_F(SubscriptionTable, OffersAnAssociationToBothItsEndsAndKeepsThem_WhenRoutedByReferences) {
    const ORVSmrPtr<IOrvoInstanceName> directory = makeInstanceName("CIM_Directory", "d");
    const ORVSmrPtr<IOrvoObject> association = makeAssociation("CIM_DirectoryContainsFile", directory, file);
    const ORVSmrPtr<CSubscriber> third = makeSubscriber(3);
    subscribe(subscriber, makeReference(directory));
    subscribe(other, fileTarget);
    subscribe(third, makeReference(association->getInstanceName()));

    table.notify(makeIndication(association, IOrvoIndication::IndicationDestruction), true);
    EXPECT_THAT(takeIndications(subscriber), SizeIs(1));
    EXPECT_THAT(takeIndications(other), SizeIs(1));
    EXPECT_THAT(takeIndications(third), IsEmpty());
    EXPECT_EQ(instanceLists(), 3U);
}

TEST_F(SubscriptionTable, OffersAnAssociationToItsOwnInstance_WhenNotRoutedByReferences) {
    const ORVSmrPtr<IOrvoObject> association =
        makeAssociation("CIM_DirectoryContainsFile", makeInstanceName("CIM_Directory", "d"), file);
    subscribe(subscriber, makeReference(association->getInstanceName()));
    subscribe(other, fileTarget);
    table.notify(makeIndication(association, IOrvoIndication::IndicationDestruction), false);
    EXPECT_THAT(takeIndications(subscriber), SizeIs(1));
    EXPECT_THAT(takeIndications(other), IsEmpty());
    EXPECT_EQ(instanceLists(), 1U);
}

TEST_F(SubscriptionTable, DoesNotReadTheObject_WhenNoInstanceIsSubscribed) {
    EXPECT_NO_THROW(table.notify(makeIndicationWithoutObject(), false));
    EXPECT_NO_THROW(table.notify(makeIndicationWithoutObject(), true));
    subscribe(subscriber, fileTarget);
    EXPECT_THROW(table.notify(makeIndicationWithoutObject(), false), ORVNullPointerException);
}

TEST_F(SubscriptionTable, RemovesASubscriberFromAllListsAndReportsWhatItEmptied) {
    const ORVSmrPtr<IOrvoInstanceName> second = makeInstanceName("CIM_File", "b");
    const ORVSmrPtr<IOrvoInstanceName> shared = makeInstanceName("CIM_File", "c");
    subscribe(subscriber, nullptr);
    subscribe(subscriber, fileTarget);
    subscribe(subscriber, makeReference(second));
    subscribe(subscriber, makeReference(shared));
    subscribe(other, makeReference(shared));

    CCIMOMDeletedFilterRecord::List deleted(new ORVValSlist<ORVSmrPtr<CCIMOMDeletedFilterRecord>>);
    table.removeSubscriber(*makeSubscriberID(1), deleted);

    EXPECT_EQ(instanceLists(), 1U);
    EXPECT_TRUE(holdsInstance("CIM_File:Id=\"c\""));
    EXPECT_EQ(classMaps(), 0U);
    ASSERT_EQ(deleted->entries(), 3U);
    EXPECT_TRUE(deleted->at(0)->getInstanceName().IsNull());
    EXPECT_THAT((std::vector{deleted->at(1)->getInstanceName()->toString(),
                             deleted->at(2)->getInstanceName()->toString()}),
                testing::UnorderedElementsAre(file->toString(), second->toString()));
}

}  // namespace
