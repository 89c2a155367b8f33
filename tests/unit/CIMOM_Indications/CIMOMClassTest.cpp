#include "CIMOM_Indications/CIMOMClass.h"

#include "CIMOM_Indications/CIMOMCreationIndicationFilter.h"
#include "tests/support/ModelBuilders.h"
#include "tests/support/SubscriberBuilders.h"
#include "tests/unit/CIMOM_Indications/RegistryFixtures.h"

#include <algorithm>
#include <random>
#include <string>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

namespace {

using namespace velm::test;
using Filter = CCIMOMIndicationFilter;
using testing::ElementsAre;
using testing::IsEmpty;
using testing::SizeIs;

void subscribe(const ORVSmrPtr<CCIMOMClass>& node, const ORVSmrPtr<CSubscriber>& subscriber,
               const ORVSmrPtr<IOrvoValue>& target = nullptr) {
    node->subscribe(makeFilter<CCIMOMCreationIndicationFilter>(), subscriber, target);
}

unsigned int classMaps(const ORVSmrPtr<CCIMOMClass>& node) {
    return node->getSubscription()->getClassMapList()->getFilterSubscriberMapList()->entries();
}

TEST(ClassNode, KnowsItsNameItsBaseAndItsTable) {
    const ORVSmrPtr<CCIMOMSubscription> table(new CCIMOMSubscription(10));
    ClassTree tree;
    const auto base = tree.add("CIM_Element");
    const CCIMOMClass node("CIM_File", base, table);
    EXPECT_EQ(node.getClassName(), ORVString("CIM_File"));
    EXPECT_EQ(node.getBaseClass(), base);
    EXPECT_EQ(node.getSubscription(), table);
    EXPECT_TRUE(node.getChildClasses().IsNull());
    EXPECT_TRUE(base->getBaseClass().IsNull());
    EXPECT_TRUE(base->getChildClasses().IsNull());
}

TEST(ClassNode, HoldsEachSubclassOnceInOrderOfAddition) {
    FileTree files;
    files.element->addChildClass(files.file);
    files.element->addChildClass(files.directory);
    files.element->addChildClass(files.file);
    ASSERT_EQ(files.element->getChildClasses()->entries(), 2U);
    EXPECT_EQ(files.element->getChildClasses()->at(0), files.file);
    EXPECT_EQ(files.element->getChildClasses()->at(1), files.directory);
}

TEST(ClassNode, TellsSubclassesApartByNode) {
    FileTree files;
    FileTree others;
    files.element->addChildClass(others.file);
    EXPECT_EQ(files.element->getChildClasses()->entries(), 3U);
}

TEST(ClassNode, IsItselfAndWhatIsBelowIt) {
    FileTree files;
    EXPECT_TRUE(files.file->isA("CIM_File"));
    EXPECT_TRUE(files.file->isA("CIM_DataFile"));
    EXPECT_TRUE(files.element->isA("CIM_DataFile"));
    EXPECT_TRUE(files.element->isA("CIM_Directory"));
    EXPECT_FALSE(files.file->isA("CIM_Element"));
    EXPECT_FALSE(files.file->isA("CIM_Directory"));
    EXPECT_FALSE(files.element->isA("CIM_Unknown"));
    EXPECT_FALSE(files.element->isA("cim_file"));
    EXPECT_TRUE(files.dataFile->isA("CIM_DataFile"));
    EXPECT_FALSE(files.dataFile->isA("CIM_File"));
    EXPECT_TRUE(files.element->isA(files.dataFile));
    EXPECT_FALSE(files.dataFile->isA(files.element));
}

TEST(ClassNode, EntersSubscriptionsInItsOwnTableOnly) {
    FileTree files;
    const auto subscriber = makeSubscriber();
    subscribe(files.file, subscriber);
    EXPECT_EQ(classMaps(files.element), 0U);
    EXPECT_EQ(classMaps(files.file), 1U);
    EXPECT_EQ(classMaps(files.dataFile), 0U);

    const auto filter = makeFilter<CCIMOMCreationIndicationFilter>();
    EXPECT_FALSE(files.element->unsubscribe(filter, subscriber, nullptr));
    EXPECT_TRUE(files.file->unsubscribe(filter, subscriber, nullptr));
    EXPECT_FALSE(files.file->unsubscribe(filter, subscriber, nullptr));
}

TEST(ClassNode, PassesTheTargetOn) {
    FileTree files;
    const auto subscriber = makeSubscriber();
    const auto target = makeReference(makeInstanceName("CIM_File"));
    subscribe(files.file, subscriber, target);
    EXPECT_EQ(files.file->getSubscription()->getInstanceMapList()->entries(), 1U);
    EXPECT_TRUE(files.file->unsubscribe(makeFilter<CCIMOMCreationIndicationFilter>(), subscriber, target));
    EXPECT_EQ(files.file->getSubscription()->getInstanceMapList()->entries(), 0U);
}

TEST(ClassNode, OffersAnIndicationToItselfAndItsAncestorsInOrderOnceEach) {
    FileTree files;
    std::vector<std::string> asked;
    for (const auto& node : {files.element, files.file, files.dataFile, files.directory}) {
        node->subscribe(
            makeFilter<ScriptedFilter>(Filter::FilterCreate, std::string(node->getClassName().data()), asked),
            makeSubscriber(), nullptr);
    }
    files.dataFile->notify(makeIndication(makeObject("CIM_DataFile"), IOrvoIndication::IndicationCreation));
    EXPECT_THAT(asked, ElementsAre("CIM_DataFile", "CIM_File", "CIM_Element"));
}

class CatchAllNode : public testing::TestWithParam<const char*> {
protected:
    ClassTree tree;
    ORVSmrPtr<CCIMOMClass> catchAll = tree.add(GetParam());
    ORVSmrPtr<CCIMOMClass> association = tree.add("CIM_DirectoryContainsFile", catchAll);
    const ORVSmrPtr<CSubscriber> subscriber = makeSubscriber(1);
    const ORVSmrPtr<CSubscriber> other = makeSubscriber(2);
};

INSTANTIATE_TEST_SUITE_P(InAnyCase, CatchAllNode,
                         testing::Values("OrvoCimom_CatchAll", "orvocimom_catchall", "ORVOCIMOM_CATCHALL"));

TEST_P(CatchAllNode, RoutesAnAssociationByItsReferences) {
    const auto indication = makeContainment(IOrvoIndication::IndicationDestruction);
    subscribe(catchAll, subscriber, makeReference(makeInstanceName("CIM_DataFile")));
    subscribe(catchAll, other, makeReference(indication->getObject()->getInstanceName()));
    association->notify(indication);
    EXPECT_THAT(takeIndications(subscriber), SizeIs(1));
    EXPECT_THAT(takeIndications(other), IsEmpty());
    EXPECT_EQ(catchAll->getSubscription()->getInstanceMapList()->entries(), 2U);
}

TEST_P(CatchAllNode, RoutesAnythingElseByItsOwnName) {
    subscribe(catchAll, subscriber, makeReference(makeInstanceName("CIM_File")));
    catchAll->notify(makeIndication(makeObject("CIM_File"), IOrvoIndication::IndicationDestruction));
    EXPECT_THAT(takeIndications(subscriber), SizeIs(1));
    EXPECT_EQ(catchAll->getSubscription()->getInstanceMapList()->entries(), 0U);
}

TEST_P(CatchAllNode, IsTheOnlyOneThatRoutesByReferences) {
    const auto indication = makeContainment(IOrvoIndication::IndicationDestruction);
    subscribe(association, subscriber, makeReference(makeInstanceName("CIM_DataFile")));
    subscribe(association, other, makeReference(indication->getObject()->getInstanceName()));
    association->notify(indication);
    EXPECT_THAT(takeIndications(subscriber), IsEmpty());
    EXPECT_THAT(takeIndications(other), SizeIs(1));
    EXPECT_EQ(association->getSubscription()->getInstanceMapList()->entries(), 1U);
}

TEST(ClassNode, DoesNotReadTheObject_WhenItIsNotTheCatchAllClass) {
    FileTree files;
    EXPECT_NO_THROW(files.dataFile->notify(makeIndication(nullptr, IOrvoIndication::IndicationCreation)));
}

TEST(ClassNode, RemovesASubscriberFromItsSubtreeAndFromNothingAbove) {
    FileTree files;
    const auto subscriber = makeSubscriber(1);
    for (const auto& node : {files.element, files.file, files.dataFile, files.directory}) {
        subscribe(node, subscriber);
    }
    CCIMOMDeletedFilterRecord::List deleted(new ORVValSlist<ORVSmrPtr<CCIMOMDeletedFilterRecord>>);
    files.file->removeSubscriber(*makeSubscriberID(1), deleted);
    EXPECT_EQ(classMaps(files.element), 1U);
    EXPECT_EQ(classMaps(files.file), 0U);
    EXPECT_EQ(classMaps(files.dataFile), 0U);
    EXPECT_EQ(classMaps(files.directory), 1U);
    EXPECT_EQ(deleted->entries(), 2U);

    files.element->removeSubscriber(*makeSubscriberID(1), deleted);
    EXPECT_EQ(classMaps(files.element), 0U);
    EXPECT_EQ(classMaps(files.directory), 0U);
    EXPECT_EQ(deleted->entries(), 4U);
}

TEST(ClassNode, LetsGoOfItsWholeSubtree_WhenDetached) {
    FileTree files;
    files.element->detach();
    for (const auto& node : {files.element, files.file, files.dataFile, files.directory}) {
        EXPECT_TRUE(node->getBaseClass().IsNull());
        EXPECT_TRUE(node->getChildClasses().IsNull());
        EXPECT_TRUE(node->getSubscription().IsNull());
    }
}

}  // namespace

namespace {

/// The same question, answered by walking down the tree.
bool walksDownTo(const ORVSmrPtr<CCIMOMClass>& node, const ORVString& className) {
    if (node->getClassName() == className) {
        return true;
    }
    const auto children = node->getChildClasses();
    return !children.IsNull() && std::any_of(children->begin(), children->end(), [&](const auto& child) {
        return walksDownTo(child, className);
    });
}

}  // namespace

TEST(ClassNode, AnswersIsAAsAWalkDoes_OverAHundredThousandRandomOperations) {
    std::mt19937 random(20261121);
    ClassTree tree;
    std::vector<ORVSmrPtr<CCIMOMClass>> nodes;
    for (int number = 0; number < 120; ++number) {
        nodes.push_back(tree.add(("CIM_" + std::to_string(number % 110)).c_str()));
    }
    const auto at = [&] { return random() % nodes.size(); };
    for (int step = 0; step < 100'000; ++step) {
        // A child stands behind its parents, so that no circle comes about; some have several parents.
        const auto parent = at();
        const auto child = at();
        if (step % 500 == 0 && parent < child) {
            nodes[parent]->addChildClass(nodes[child]);
        }
        ASSERT_EQ(nodes[parent]->isA(nodes[child]), walksDownTo(nodes[parent], nodes[child]->getClassName()));
    }
}

TEST(ClassNode, KeepsNoTraceOfAParentThatIsGone) {
    ClassTree tree;
    const auto child = tree.add("CIM_Child");
    {
        ClassTree former;
        former.add("CIM_Parent")->addChildClass(child);
    }
    EXPECT_NO_THROW(child->addChildClass(tree.add("CIM_Grandchild")));
    EXPECT_TRUE(child->isA("CIM_Grandchild"));
}
