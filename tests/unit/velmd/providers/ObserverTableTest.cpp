#include "velmd/providers/ObserverTable.h"

#include "foundation/object_model/COrvoInstanceName.h"
#include "foundation/object_model/COrvoSubscriptionFilter.h"
#include "tests/unit/velmd/providers/ProviderSupport.h"

#include <string>
#include <thread>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

namespace velm::test {

namespace {

using testing::ElementsAre;
using testing::IsEmpty;
using Type = IOrvoIndication::IndicationType;

constexpr Type change = IOrvoIndication::IndicationChange;
constexpr Type addition = IOrvoIndication::IndicationAddition;

ObserverTable::Filter filterFor(const std::vector<const char*>& properties,
                                const char* otherClass = nullptr) {
    ObserverTable::Filter filter(new COrvoSubscriptionFilter);
    for (const char* property : properties) {
        filter->addProperty(property);
    }
    if (otherClass != nullptr) {
        filter->setClassName(otherClass);
    }
    return filter;
}

/// "subject type [otherClass] (property, ...)", an instance by its key alone.
std::vector<std::string> textsOf(const ObserverTable& table, std::size_t most = 100) {
    std::vector<std::string> texts;
    for (const ObserverTable::Observer& each : table.first(most)) {
        std::string text = each.isInstance ? each.subject.substr(each.subject.find('=')) : each.subject;
        text +=
            " " + std::to_string(each.type) + (each.otherClass.empty() ? "" : " " + each.otherClass) + " (";
        for (const std::string& property : each.properties) {
            text += property + ",";
        }
        texts.push_back(text + ")");
    }
    return texts;
}

class ObserverTableTest : public testing::Test {
protected:
    const Name classWide = named(space, "CIM_DataFile", {});
    const Name a = fileNamed("a");
    const Name b = fileNamed("b");
    ObserverTable table;
};

}  // namespace

TEST_F(ObserverTableTest, TellsClassesBeforeInstances_EachByName) {
    const auto before = ObserverTable::Time::clock::now();
    table.add(*b, change, nullptr);
    table.add(*a, change, nullptr);
    table.add(*named(space, "CIM_Directory", {}), addition, filterFor({}, "CIM_DataFile"));
    table.add(*classWide, change, nullptr);
    EXPECT_THAT(textsOf(table), ElementsAre("CIM_DataFile 1 ()", "CIM_Directory 2 CIM_DataFile ()",
                                            "=\"a\" 1 ()", "=\"b\" 1 ()"));
    EXPECT_THAT(textsOf(table, 2), ElementsAre("CIM_DataFile 1 ()", "CIM_Directory 2 CIM_DataFile ()"));
    EXPECT_EQ(table.size(), 4U);
    EXPECT_EQ(table.first(3)[2].subject, a->toString().view());
    EXPECT_GE(table.first(1)[0].since, before);
}

TEST_F(ObserverTableTest, ForgetsWhatIsTakenBack_WhenNobodyElseWantsIt) {
    table.add(*classWide, change, nullptr);
    table.add(*classWide, change, nullptr);
    table.remove(*classWide, change, nullptr);
    EXPECT_EQ(table.size(), 1U);
    table.remove(*classWide, addition, nullptr);
    EXPECT_EQ(table.size(), 1U) << "another kind";
    table.remove(*classWide, change, nullptr);
    EXPECT_EQ(table.size(), 0U);
    table.remove(*classWide, change, nullptr);
    EXPECT_EQ(table.size(), 0U) << "there is nothing left to take back";
}

TEST_F(ObserverTableTest, CountsEachPropertyByItself) {
    table.add(*a, change, filterFor({"FileSize"}));
    table.add(*a, change, filterFor({"LastModified", "filesize"}));
    EXPECT_THAT(textsOf(table), ElementsAre("=\"a\" 1 (FileSize,LastModified,)"));
    table.remove(*a, change, filterFor({"FILESIZE", "LastModified"}));
    EXPECT_THAT(textsOf(table), ElementsAre("=\"a\" 1 (FileSize,)"));
    table.remove(*a, change, filterFor({"FileSize"}));
    EXPECT_THAT(textsOf(table), IsEmpty());
}

TEST_F(ObserverTableTest, TellsNoProperties_WhenAllAreWanted) {
    table.add(*a, change, filterFor({"FileSize"}));
    table.add(*a, change, filterFor({"*"}));
    EXPECT_THAT(textsOf(table), ElementsAre("=\"a\" 1 ()"));
    table.remove(*a, change, nullptr);
    EXPECT_THAT(textsOf(table), ElementsAre("=\"a\" 1 (FileSize,)"));
}

TEST_F(ObserverTableTest, LeavesOutWhatCannotBeNoted_WhenAFilterFails) {
    class BrokenFilter : public COrvoSubscriptionFilter {
    public:
        ORVSmrPtr<ORVValSlist<ORVString>> getProperties() const override { return nullptr; }
    };
    const ObserverTable::Filter broken(new BrokenFilter);
    table.add(*a, change, broken);
    table.add(*b, change, nullptr);
    table.remove(*b, change, broken);
    EXPECT_THAT(textsOf(table), ElementsAre("=\"b\" 1 ()"));
}

TEST_F(ObserverTableTest, ForgetsAnInstanceThatIsGone_AndNoOther) {
    table.add(*a, change, nullptr);
    table.add(*a, addition, filterFor({}, "CIM_DataFile"));
    table.add(*b, change, nullptr);
    table.add(*classWide, change, nullptr);
    table.forget(*a);
    EXPECT_THAT(textsOf(table), ElementsAre("CIM_DataFile 1 ()", "=\"b\" 1 ()"));
}

TEST_F(ObserverTableTest, CountsInstancesBeyondThoseThatItKeepsWhole) {
    const std::size_t count = ObserverTable::mostInstances + 500;
    const auto nameOf = [](std::size_t number) { return fileNamed(std::to_string(number).c_str()); };
    for (std::size_t number = 0; number < count; ++number) {
        table.add(*nameOf(number), change, nullptr);
    }
    EXPECT_EQ(table.size(), count);
    table.add(*classWide, change, nullptr);
    EXPECT_EQ(textsOf(table, 1), std::vector<std::string>{"CIM_DataFile 1 ()"}) << "classes are kept always";
    EXPECT_EQ(table.first(count).size(), ObserverTable::mostInstances + 1);
    table.remove(*nameOf(count - 1), change, nullptr);
    table.forget(*nameOf(count - 2));
    EXPECT_EQ(table.size(), count - 1);
    for (std::size_t number = 0; number < count; ++number) {
        table.remove(*nameOf(number), change, nullptr);
    }
    EXPECT_EQ(table.size(), 1U) << "the class";
}

TEST_F(ObserverTableTest, IsUsedByManyThreads) {
    std::vector<std::jthread> threads;
    for (int thread = 0; thread < 4; ++thread) {
        threads.emplace_back([this, thread] {
            const Name own = fileNamed(std::to_string(thread).c_str());
            for (int round = 0; round < 500; ++round) {
                table.add(*own, change, nullptr);
                table.add(*classWide, change, nullptr);
                EXPECT_LE(table.first(10).size(), 5U);
                table.remove(*classWide, change, nullptr);
                round % 2 == 0 ? table.forget(*own) : table.remove(*own, change, nullptr);
            }
        });
    }
    threads.clear();
    EXPECT_EQ(table.size(), 0U);
}

}  // namespace velm::test
