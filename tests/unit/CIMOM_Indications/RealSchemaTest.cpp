// The registry on a real class tree of well over a thousand classes.

#include "CIMOM_Indications/CIMOMClassManager.h"
#include "CIMOM_Indications/CIMOMCreationIndicationFilter.h"
#include "tests/support/ModelBuilders.h"
#include "tests/support/SharedFolder.h"
#include "tests/support/SubscriberBuilders.h"
#include "tests/unit/CIMOM_Indications/RegistryFixtures.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

namespace {

using namespace velm::test;
using testing::ElementsAre;
using testing::IsEmpty;

class RealSchema : public testing::Test {
protected:
    void SetUp() override {
        VELM_SKIP_WITHOUT(realSchema());
        ORVSmrPtr<COrvoRepository> loaded(new COrvoRepository);
        loaded->loadFile(ORVString(realSchema().native()), Namespace);
        loaded->link();
        ForceCopySmrPtr(repository, loaded);
        classes = repository->enumerateClasses(Namespace);
        CCIMOMClassManager::initialize(repository);
        manager = CCIMOMClassManager::getInstance();
    }

    /// The first of the classes that lie deepest, and its ancestors behind it up to the catch-all class.
    std::vector<ORVSmrPtr<CCIMOMClass>> deepestLineage() {
        std::vector<ORVSmrPtr<CCIMOMClass>> deepest;
        for (const auto& declared : *classes) {
            std::vector<ORVSmrPtr<CCIMOMClass>> lineage;
            for (auto node = manager->lookup(declared->getName()); !node.IsNull();
                 node = node->getBaseClass()) {
                lineage.push_back(node);
            }
            if (lineage.size() > deepest.size()) {
                deepest = lineage;
            }
        }
        return deepest;
    }

    ORVSmrPtr<IOrvoRepository> repository;
    ORVSmrPtr<ORVValSlist<ORVSmrPtr<IOrvoClass>>> classes;
    CCIMOMClassManager* manager = nullptr;
};

TEST_F(RealSchema, IsMirroredClassByClass) {
    ASSERT_GT(classes->entries(), 1000U);
    const auto catchAll = manager->lookup(CCIMOMClass::CatchAllClassName);
    std::size_t children = catchAll->getChildClasses()->entries();
    for (const auto& declared : *classes) {
        const auto node = manager->lookup(declared->getName());
        ASSERT_FALSE(node.IsNull()) << declared->getName();
        const auto superclass = declared->getSuperClass();
        EXPECT_EQ(node->getBaseClass()->getClassName(),
                  superclass.IsNull() ? catchAll->getClassName() : superclass->getName());
        children += node->getChildClasses().IsNull() ? 0 : node->getChildClasses()->entries();
    }
    EXPECT_EQ(children, classes->entries());
}

TEST_F(RealSchema, BringsAnIndicationOfTheDeepestClassOnceToEachLevelThatIsSubscribed) {
    const auto lineage = deepestLineage();
    ASSERT_GE(lineage.size(), 10U);
    const auto& leaf = lineage.front();
    const auto& middle = lineage[lineage.size() / 2];
    const auto& root = lineage[lineage.size() - 2];
    const auto filter = makeFilter<CCIMOMCreationIndicationFilter>();
    const std::vector<ORVSmrPtr<CCIMOMClass>> levels{leaf, middle, root, lineage.back()};

    std::vector<ORVSmrPtr<CSubscriber>> subscribers;
    for (const auto& level : levels) {
        subscribers.push_back(makeSubscriber(static_cast<std::uint32_t>(subscribers.size())));
        level->subscribe(filter, subscribers.back(), nullptr);
    }
    const auto stranger = makeSubscriber(99);
    manager->lookup("CIM_AbstractComponent")->subscribe(filter, stranger, nullptr);

    leaf->notify(makeIndication(makeObject(leaf->getClassName()), IOrvoIndication::IndicationCreation));
    for (const auto& subscriber : subscribers) {
        EXPECT_THAT(takeTypes(subscriber), ElementsAre(IOrvoIndication::IndicationEnterAssociation));
    }
    EXPECT_THAT(takeTypes(stranger), IsEmpty());

    root->notify(makeIndication(makeObject(root->getClassName()), IOrvoIndication::IndicationCreation));
    EXPECT_THAT(takeTypes(subscribers[0]), IsEmpty());
    EXPECT_THAT(takeTypes(subscribers[1]), IsEmpty());
    EXPECT_EQ(takeTypes(subscribers[2]).size(), 1U);
    EXPECT_EQ(takeTypes(subscribers[3]).size(), 1U);
}

}  // namespace
