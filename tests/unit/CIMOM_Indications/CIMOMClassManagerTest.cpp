#include "CIMOM_Indications/CIMOMClassManager.h"

#include "CIMOM_Indications/CIMOMAdditionIndicationFilter.h"
#include "CIMOM_Indications/CIMOMCreationIndicationFilter.h"
#include "foundation/services/CIMOMException.h"
#include "foundation/utilities/OrvoBaseException.h"
#include "tests/support/LogCapture.h"
#include "tests/support/ModelBuilders.h"
#include "tests/support/SubscriberBuilders.h"
#include "tests/unit/CIMOM_Indications/RegistryFixtures.h"

#include <chrono>
#include <future>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

namespace {

using namespace velm::test;
using testing::ElementsAre;
using ClassList = ORVSmrPtr<ORVValSlist<ORVSmrPtr<IOrvoClass>>>;

/// A root class with the subclasses given; without a list it fails.
class FakeClass : public IOrvoClass {
public:
    explicit FakeClass(const char* name, ClassList subclasses = nullptr)
        : _name(name), _subclasses(std::move(subclasses)) {}

    ORVString getName() const override { return _name; }
    ORVSmrPtr<IOrvoClass> getSuperClass() const override { return nullptr; }
    bool isAssociation() const override { return false; }
    ClassList getSubClasses() const override {
        if (_subclasses.IsNull()) {
            throw CIMOMException("repository", "subclasses cannot be read", 1);
        }
        return _subclasses;
    }

private:
    ORVString _name;
    ClassList _subclasses;
};

ClassList makeClassList(const std::vector<ORVSmrPtr<IOrvoClass>>& classes) {
    ClassList list(new ORVValSlist<ORVSmrPtr<IOrvoClass>>);
    for (const auto& declared : classes) {
        list->append(declared);
    }
    return list;
}

ORVSmrPtr<IOrvoClass> makeClass(const char* name, const std::vector<ORVSmrPtr<IOrvoClass>>& subclasses) {
    return ORVSmrPtr<IOrvoClass>(new FakeClass(name, makeClassList(subclasses)));
}

/// Answers `classes`; without any it fails.
class FakeRepository : public IOrvoRepository {
public:
    explicit FakeRepository(ClassList classes = nullptr) : _classes(std::move(classes)) {}

    ClassList enumerateClasses(const ORVString&) const override {
        if (_classes.IsNull()) {
            throw CIMOMException("repository", "disk on fire", 1);
        }
        return _classes;
    }
    ORVSmrPtr<IOrvoClass> getClass(const ORVString&, const ORVString&) const override { return nullptr; }

private:
    ClassList _classes;
};

CCIMOMClassManager& initialize(const std::vector<std::pair<std::string, std::string>>& classes) {
    CCIMOMClassManager::initialize(makeRepository(classes));
    return *CCIMOMClassManager::getInstance();
}

void initialize(const ClassList& classes) {
    CCIMOMClassManager::initialize(ORVSmrPtr<IOrvoRepository>(new FakeRepository(classes)));
}

CCIMOMClassManager& initializeFiles() {
    return initialize(
        {{"CIM_DataFile", "CIM_File"}, {"CIM_Element", ""}, {"CIM_File", "CIM_Element"}, {"CIM_Other", ""}});
}

TEST(ClassManager, FindsAClassWhateverItsLetterCase) {
    CCIMOMClassManager& manager = initializeFiles();
    const auto node = manager.lookup("CIM_File");
    ASSERT_FALSE(node.IsNull());
    EXPECT_EQ(node->getClassName(), ORVString("CIM_File"));
    EXPECT_EQ(manager.lookup("CIM_FILE"), node);
    EXPECT_EQ(manager.lookup("cim_file"), node);
    EXPECT_TRUE(manager.lookup("CIM_Unknown").IsNull());
    EXPECT_TRUE(manager.lookup("").IsNull());
}

TEST(ClassManager, PutsRootsBelowTheCatchAllClassAndTheOthersBelowTheirSuperclass) {
    CCIMOMClassManager& manager = initializeFiles();
    const auto catchAll = manager.lookup("OrvoCimom_CatchAll");
    const auto element = manager.lookup("CIM_Element");
    const auto file = manager.lookup("CIM_File");
    EXPECT_TRUE(catchAll->getBaseClass().IsNull());
    EXPECT_EQ(element->getBaseClass(), catchAll);
    EXPECT_EQ(manager.lookup("CIM_Other")->getBaseClass(), catchAll);
    EXPECT_EQ(file->getBaseClass(), element);
    EXPECT_EQ(manager.lookup("CIM_DataFile")->getBaseClass(), file);
    ASSERT_EQ(catchAll->getChildClasses()->entries(), 2U);
    EXPECT_EQ(catchAll->getChildClasses()->at(0), element);
    ASSERT_EQ(element->getChildClasses()->entries(), 1U);
    EXPECT_EQ(element->getChildClasses()->at(0), file);
    EXPECT_TRUE(manager.lookup("CIM_DataFile")->getChildClasses().IsNull());
}

TEST(ClassManager, KeepsOneNode_WhenTheRepositoryNamesAClassTwice) {
    const auto file = makeClass("CIM_File", {});
    initialize(makeClassList({makeClass("CIM_First", {file, nullptr}), makeClass("CIM_Second", {file}),
                              makeClass("CIM_Second", {file})}));
    CCIMOMClassManager& manager = *CCIMOMClassManager::getInstance();
    const auto first = manager.lookup("CIM_First");
    const auto second = manager.lookup("CIM_Second");
    EXPECT_EQ(manager.lookup("OrvoCimom_CatchAll")->getChildClasses()->entries(), 2U);
    ASSERT_EQ(first->getChildClasses()->entries(), 1U);
    ASSERT_EQ(second->getChildClasses()->entries(), 1U);
    EXPECT_EQ(first->getChildClasses()->at(0), manager.lookup("CIM_File"));
    EXPECT_EQ(second->getChildClasses()->at(0), manager.lookup("CIM_File"));
    EXPECT_EQ(manager.lookup("CIM_File")->getBaseClass(), first);
}

TEST(ClassManager, KeepsTheCatchAllClassAndLogs_WhenTheRepositoryFails) {
    const LogCapture log;
    initialize(ClassList());
    EXPECT_THAT(log.records(),
                ElementsAre(IsLogLine("CIMOM", "Error in CIMOMClassManager : disk on fire", 4)));
    CCIMOMClassManager& manager = *CCIMOMClassManager::getInstance();
    EXPECT_FALSE(manager.lookup("OrvoCimom_CatchAll").IsNull());
    std::ostringstream table;
    manager.dump(table);
    EXPECT_EQ(table.str(),
              "<TABLE BORDER><TR><TH>Relationship Subscriptions</TH></TR>"
              "<TR><TD>Class OrvoCimom_CatchAll</TD></TABLE>");
}

TEST(ClassManager, KeepsTheClassesFoundSoFar_WhenTheRepositoryFailsHalfway) {
    const LogCapture log;
    initialize(makeClassList({makeClass("CIM_Good", {}),
                              makeClass("CIM_Upper", {ORVSmrPtr<IOrvoClass>(new FakeClass("CIM_Lower"))})}));
    EXPECT_THAT(log.records(),
                ElementsAre(IsLogLine("CIMOM", "Error in CIMOMClassManager : subclasses cannot be read", 4)));
    CCIMOMClassManager& manager = *CCIMOMClassManager::getInstance();
    EXPECT_FALSE(manager.lookup("CIM_Good").IsNull());
    EXPECT_TRUE(manager.lookup("CIM_Upper").IsNull());
    EXPECT_TRUE(manager.lookup("CIM_Lower").IsNull());
    EXPECT_EQ(manager.lookup("OrvoCimom_CatchAll")->getChildClasses()->entries(), 2U);
}

TEST(ClassManager, ForgetsEverything_WhenInitializedAgain) {
    CCIMOMClassManager& former = initializeFiles();
    const auto file = former.lookup("CIM_File");
    file->subscribe(makeFilterBetween<CCIMOMAdditionIndicationFilter>(file, former.lookup("CIM_Element")),
                    makeSubscriber(), nullptr);
    CCIMOMClassManager& manager = initialize({{"CIM_File", ""}});
    EXPECT_NE(manager.lookup("CIM_File"), file);
    EXPECT_TRUE(manager.lookup("CIM_Element").IsNull());
    EXPECT_TRUE(manager.lookup("CIM_File")
                    ->getSubscription()
                    ->getClassMapList()
                    ->getFilterSubscriberMapList()
                    ->isEmpty());
}

TEST(ClassManager, FindsTheClassOfATarget) {
    CCIMOMClassManager& manager = initializeFiles();
    const auto file = manager.lookup("CIM_File");
    EXPECT_EQ(manager.lookup(makeReference(makeInstanceName("CIM_File", "a"))), file);
    EXPECT_EQ(manager.lookup(makeReference(makeInstanceName("cim_FILE", "a"))), file);
    EXPECT_EQ(manager.lookup(makeString("CIM_File")), file);
    EXPECT_EQ(manager.lookup(makeString("cim_file")), file);
    EXPECT_TRUE(manager.lookup(makeString("CIM_Unknown")).IsNull());
    EXPECT_THROW(manager.lookup(ORVSmrPtr<IOrvoValue>()), ORVNullPointerException);
}

TEST(ClassManager, AdmitsReadersSideBySideAndWritersAlone) {
    CCIMOMClassManager& manager = initializeFiles();
    manager.lockForRead();
    auto reader = std::async(std::launch::async, [&] {
        manager.lockForRead();
        manager.unLockForRead();
    });
    EXPECT_EQ(reader.wait_for(std::chrono::seconds(10)), std::future_status::ready);
    auto writer = std::async(std::launch::async, [&] {
        manager.lockForWrite();
        manager.unLockForWrite();
    });
    EXPECT_EQ(writer.wait_for(std::chrono::milliseconds(20)), std::future_status::timeout);
    manager.unLockForRead();
    EXPECT_EQ(writer.wait_for(std::chrono::seconds(10)), std::future_status::ready);
}

}  // namespace
