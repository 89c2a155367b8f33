#include "velmd/repository/RegistryClasses.h"

#include "CIMOM_Indications/CIMOMClassManager.h"
#include "tests/unit/velmd/repository/RepositorySupport.h"

#include <sstream>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

namespace {

using namespace velm;
using namespace velm::test;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::Not;

using List = ORVSmrPtr<ORVValSlist<ORVSmrPtr<IOrvoClass>>>;

class ClassesForTheRegistry : public RepositoryTest {
protected:
    static std::vector<std::string> names(const List& list) {
        std::vector<std::string> result;
        for (const auto& found : *list) {
            result.emplace_back(found->getName().view());
        }
        return result;
    }

    std::unique_ptr<RegistryClasses> classes;

    void SetUp() override {
        RepositoryTest::SetUp();
        classes = std::make_unique<RegistryClasses>(*repository);
    }
};

TEST_F(ClassesForTheRegistry, AreAllThere_EachBehindItsSuperclass) {
    EXPECT_THAT(names(classes->enumerateClasses(space)),
                ElementsAre("EX_Thing", "EX_Part", "EX_Base", "EX_Link"));
}

TEST_F(ClassesForTheRegistry, AreTiedToTheirNeighbours) {
    const auto part = classes->getClass("ROOT/test", "ex_part");
    EXPECT_EQ(part->getName().view(), "EX_Part");
    EXPECT_TRUE(part->getSubClasses().IsNull());
    const auto parent = part->getSuperClass();
    EXPECT_EQ(parent->getName().view(), "EX_Thing");
    EXPECT_TRUE(parent->getSuperClass().IsNull());
    EXPECT_THAT(names(parent->getSubClasses()), ElementsAre("EX_Part"));
}

TEST_F(ClassesForTheRegistry, KnowAssociations_AndWhatInheritsFromThem) {
    repository->createClass(space, classFrom(R"(<CLASS NAME="EX_SubLink" SUPERCLASS="EX_Link"></CLASS>)"));
    EXPECT_TRUE(classes->getClass(space, "EX_Link")->isAssociation());
    EXPECT_TRUE(classes->getClass(space, "EX_SubLink")->isAssociation());
    EXPECT_FALSE(classes->getClass(space, "EX_Thing")->isAssociation());
}

TEST_F(ClassesForTheRegistry, AreNone_WhereThereIsNoNamespaceOrNoClass) {
    EXPECT_TRUE(classes->enumerateClasses("root/none")->isEmpty());
    EXPECT_TRUE(classes->getClass("root/none", "EX_Thing").IsNull());
    EXPECT_TRUE(classes->getClass(space, "EX_None").IsNull());
    EXPECT_TRUE(classes->getClass(space, ORVString()).IsNull());
}

TEST_F(ClassesForTheRegistry, AnswerOn_WhateverBecomesOfTheRepository) {
    const auto parent = classes->getClass(space, "EX_Thing");
    repository->deleteClass(space, "EX_Part");
    EXPECT_TRUE(classes->getClass(space, "EX_Part").IsNull());
    classes.reset();
    close();
    EXPECT_THAT(names(parent->getSubClasses()), ElementsAre("EX_Part"));
}

TEST_F(ClassesForTheRegistry, AreWhatTheRegistryMirrors) {
    const char* mirrored = "root/kob/talmora";
    repository->createNamespace(mirrored);
    repository->import(mirrored, {{}, {partClass(), thingClass()}, {}});
    CCIMOMClassManager::initialize(ORVSmrPtr<IOrvoRepository>(classes.release()));
    std::ostringstream dump;
    CCIMOMClassManager::getInstance()->dump(dump);
    EXPECT_THAT(dump.str(), HasSubstr("Class EX_Thing<"));
    EXPECT_THAT(dump.str(), HasSubstr("Class EX_Part<"));
    EXPECT_THAT(dump.str(), Not(HasSubstr("EX_Link")));
}

}  // namespace
