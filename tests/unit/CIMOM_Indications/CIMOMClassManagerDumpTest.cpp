#include "CIMOM_Indications/CIMOMAdditionIndicationFilter.h"
#include "CIMOM_Indications/CIMOMClassManager.h"
#include "CIMOM_Indications/CIMOMCreationIndicationFilter.h"
#include "CIMOM_Indications/CIMOMDestructionIndicationFilter.h"
#include "tests/support/LogCapture.h"
#include "tests/support/ModelBuilders.h"
#include "tests/support/SubscriberBuilders.h"
#include "tests/unit/CIMOM_Indications/RegistryFixtures.h"

#include <sstream>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

namespace {

using namespace velm::test;
using testing::ElementsAre;
using testing::IsEmpty;

const std::string head = "<TABLE BORDER><TR><TH>Relationship Subscriptions</TH></TR>";
const std::string catchAllRow = "<TR><TD>Class OrvoCimom_CatchAll</TD>";

std::string dump() {
    std::ostringstream table;
    CCIMOMClassManager::getInstance()->dump(table);
    return table.str();
}

/// What stands before the subscribers of a filter map.
std::string mapHead(const std::string& type) {
    return "<TR><TH>Subscription Type</TH></TR><TD>" + type +
           " </TD><TR></TR><TR></TR><TR><TH>Subscriber</TH><TH>Reference Count</TH></TR>";
}

std::string subscriberRow(const std::string& session, const std::string& count) {
    return "<TR><TD>127.0.0.1:5990 (" + session + ") </TD><TD>Ref Count: " + count + "<BR></TD></TR>";
}

/// What stands behind them.
std::string mapTail(const std::string& instanceName, const std::string& left, const std::string& right) {
    return "</TR><TR></TR><TR></TR><TR></TR><TR><TD><B>InstanceName : </B>" + instanceName +
           "</TD></TR><TR><TD><B>InstanceName Left : </B>" + left +
           "</TD></TR><TR><TD><B>InstanceName Right : </B>" + right + "</TD></TR><TR></TR><TR></TR>";
}

/// A registry without classes of its own: subscriptions are entered at the catch-all class, so that the
/// output does not depend on the order of the classes. The ends are nodes that stand elsewhere.
class ClassManagerDump : public testing::Test {
protected:
    ClassManagerDump() {
        CCIMOMClassManager::initialize(makeRepository({}));
        node = CCIMOMClassManager::getInstance()->lookup(CCIMOMClass::CatchAllClassName);
    }

    void subscribe(const ORVString& leftKeys, const ORVString& rightKeys, std::uint32_t session = 1,
                   const ORVSmrPtr<IOrvoValue>& target = nullptr) {
        node->subscribe(
            makeFilter<CCIMOMAdditionIndicationFilter>(files.directory, leftKeys, files.file, rightKeys),
            makeSubscriber(session), target);
    }

    ORVSmrPtr<CCIMOMClass> node;
    FileTree files;
    const ORVString none;
};

TEST_F(ClassManagerDump, ShowsOneRowForEachClassInTheOrderOfTheMap) {
    CCIMOMClassManager::initialize(
        makeRepository({{"CIM_Element", ""}, {"CIM_File", "CIM_Element"}, {"CIM_Other", ""}}));
    ORVValMap<ORVString, std::string> order(hashKeyORVStringToLower, 150);
    for (const char* name : {"OrvoCimom_CatchAll", "CIM_File", "CIM_Element", "CIM_Other"}) {
        order.insert(ORVString(name).toLower(), name);
    }
    std::string expected = head;
    for (ORVValMapIterator<ORVString, std::string> it(order); ++it;) {
        expected += "<TR><TD>Class " + it.value() + "</TD>";
    }
    EXPECT_EQ(dump(), expected + "</TABLE>");
}

TEST_F(ClassManagerDump, ShowsBothEndsWithTheColonOnTheLeftOnly) {
    subscribe("Id=\"1\"", "Id=\"2\"");
    EXPECT_EQ(dump(), head + catchAllRow + mapHead("Add Assoc") + subscriberRow("1", "1") +
                          mapTail("", "CIM_Directory: Id=\"1\"", "CIM_File Id=\"2\"") + "</TABLE>");
}

TEST_F(ClassManagerDump, KeepsTheColonOfALeftEndWithoutKeys) {
    subscribe(none, none);
    EXPECT_EQ(dump(), head + catchAllRow + mapHead("Add Assoc") + subscriberRow("1", "1") +
                          mapTail("", "CIM_Directory:", "CIM_File") + "</TABLE>");
}

TEST_F(ClassManagerDump, LeavesOutTheNameOfAnEndWithoutAClass) {
    node->subscribe(makeFilterBetween<CCIMOMAdditionIndicationFilter>(nullptr, nullptr), makeSubscriber(),
                    nullptr);
    EXPECT_EQ(dump(), head + catchAllRow + mapHead("Add Assoc") + subscriberRow("1", "1") +
                          mapTail("", ":", "") + "</TABLE>");
}

TEST_F(ClassManagerDump, ShowsEverySubscriberWithItsCount) {
    const auto twice = makeSubscriber(7);
    const auto filter = makeFilterBetween<CCIMOMAdditionIndicationFilter>(files.directory, files.file);
    node->subscribe(filter, twice, nullptr);
    node->subscribe(filter, twice, nullptr);
    subscribe(none, none, 4'000'000'000U);
    EXPECT_EQ(dump(), head + catchAllRow + mapHead("Add Assoc") + subscriberRow("7", "2") +
                          subscriberRow("4000000000", "1") + mapTail("", "CIM_Directory:", "CIM_File") +
                          "</TABLE>");
}

TEST_F(ClassManagerDump, ShowsTheClassFirstAndThenItsInstancesByName) {
    subscribe(none, none, 2, makeReference(makeInstanceName("CIM_File", "a")));
    subscribe(none, none, 1);
    EXPECT_EQ(dump(),
              head + catchAllRow + mapHead("Add Assoc") + subscriberRow("1", "1") +
                  mapTail("", "CIM_Directory:", "CIM_File") + mapHead("Add Assoc") + subscriberRow("2", "1") +
                  mapTail(" root/kob/talmora:CIM_File.Id=\"a\"", "CIM_Directory:", "CIM_File") + "</TABLE>");
}

TEST_F(ClassManagerDump, BreaksLongKeysAfterEveryFiftyCharacters) {
    const std::string keys = "Id=\"" + std::string(115, 'x') + "\"";
    ASSERT_EQ(keys.size(), 120U);
    const std::string spaced = " " + keys.substr(0, 50) + " " + keys.substr(50, 50) + " " + keys.substr(100);
    subscribe(ORVString(keys), ORVString(keys));
    EXPECT_EQ(dump(), head + catchAllRow + mapHead("Add Assoc") + subscriberRow("1", "1") +
                          mapTail("", "CIM_Directory:" + spaced, "CIM_File" + spaced) + "</TABLE>");
}

TEST_F(ClassManagerDump, WritesNoBlankAfterTheFiftiethCharacter_WhenItIsTheLast) {
    const std::string keys = "Id=\"" + std::string(45, 'x') + "\"";
    ASSERT_EQ(keys.size(), 50U);
    subscribe(ORVString(keys), none);
    EXPECT_THAT(dump(), testing::HasSubstr("CIM_Directory: " + keys + "</TD>"));
}

TEST_F(ClassManagerDump, StopsAtACreationOrDestructionSubscription_LogsAndReleasesTheLock) {
    for (const auto& filter :
         {makeFilter<CCIMOMCreationIndicationFilter>(), makeFilter<CCIMOMDestructionIndicationFilter>()}) {
        CCIMOMClassManager::initialize(makeRepository({}));
        CCIMOMClassManager& manager = *CCIMOMClassManager::getInstance();
        manager.lookup(CCIMOMClass::CatchAllClassName)->subscribe(filter, makeSubscriber(), nullptr);
        const LogCapture log;
        EXPECT_EQ(dump(), head + catchAllRow + mapHead("Enter Assoc") + subscriberRow("1", "1") +
                              "</TR><TR></TR><TR></TR><TR></TR><TR><TD><B>InstanceName : </B></TD></TR>"
                              "<TR><TD><B>InstanceName Left : </B>");
        EXPECT_THAT(
            log.records(),
            ElementsAre(IsLogLine("CIndicationManager::dump",
                                  "An unknown exception occured while dumping the subscriber info.", 1)));
        EXPECT_FALSE(ORVReaderWriterLock::thisThreadHoldsRankedLock());
    }
}

TEST_F(ClassManagerDump, GoesNoFurther_WhenTheStreamTakesNoMore) {
    node->subscribe(makeFilter<CCIMOMCreationIndicationFilter>(), makeSubscriber(), nullptr);
    const LogCapture log;
    std::ostringstream full;
    full.setstate(std::ios::failbit);
    CCIMOMClassManager::getInstance()->dump(full);
    EXPECT_THAT(log.records(), IsEmpty()) << "it does not come to the filter that ends it with a line";
    EXPECT_EQ(full.str(), "");
}

TEST_F(ClassManagerDump, ShowsNoEnds_WhenAFilterHasTheTypeOfCreations) {
    node->subscribe(makeFilter<ScriptedFilter>(CCIMOMIndicationFilter::FilterCreate), makeSubscriber(),
                    nullptr);
    const LogCapture log;
    EXPECT_EQ(dump(), head + catchAllRow + mapHead("Create") + subscriberRow("1", "1") +
                          "</TR><TR></TR><TR></TR><TR></TR><TR><TD><B>InstanceName : </B></TD></TR>"
                          "<TR></TR><TR></TR></TABLE>");
    EXPECT_THAT(log.records(), IsEmpty());
}

}  // namespace
