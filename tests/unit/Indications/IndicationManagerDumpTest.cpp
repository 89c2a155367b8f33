#include "tests/unit/Indications/IndicationManagerSupport.h"

#include <sstream>
#include <stdexcept>

#include <gmock/gmock.h>

namespace velm::test {
namespace {

using testing::ElementsAre;
using testing::EndsWith;
using testing::HasSubstr;
using testing::StartsWith;

constexpr const char* tableStart =
    "<TABLE BORDER><TR><TH>Instance Name</TH><TH>Subscriber</TH><TH>Filter</TH></TR>";
constexpr const char* registryStart = "<TABLE BORDER><TR><TH>Relationship Subscriptions</TH></TR>";

class SubscriberTableDump : public IndicationManagerTest {
protected:
    std::string dump() {
        std::ostringstream stream;
        manager->dump(stream);
        return stream.str();
    }

    static std::string registryDump() {
        std::ostringstream stream;
        CCIMOMClassManager::getInstance()->dump(stream);
        return stream.str();
    }
};

TEST_F(SubscriberTableDump, IsAnEmptyTableAndTheRegistry_WhenNobodyIsSubscribed) {
    EXPECT_EQ(dump(), std::string(tableStart) + "</TABLE>" + registryDump());
}

TEST_F(SubscriberTableDump, WritesOneRowPerEntry) {
    const ORVSmrPtr<CSubscriberID> id(new CSubscriberID("listener.example.org", "5990", 77));
    subscribeChange(id, file, true, {"Size", "Mode"});
    subscribeChange(id, file, true);
    manager->subscribe(id, file, nullptr, IOrvoIndication::IndicationLeaveRelationship, "s", "1", true);
    manager->subscribe(id, file, nullptr, IOrvoIndication::IndicationCreation, "s", "1", true);

    EXPECT_EQ(dump(), std::string(tableStart) +
                          "<TR><TD> DataFile</TD><TD>listener.example.org:5990 (77) </TD><TD>"
                          "Change: [Mode, Size] R: 1<BR>Addition: NULL R: 0<BR>Removal: NULL R: 0<BR>"
                          "EnterRelationship: NULL R: 0<BR>LeaveRelationship: NULL R: 1</TD></TR></TABLE>" +
                          registryDump());
}

TEST_F(SubscriberTableDump, WritesDecimalNumbers_WhateverTheStreamIsSetTo) {
    const ORVSmrPtr<CSubscriberID> id(new CSubscriberID("listener.example.org", "5990", 77));
    for (int count = 0; count < 20; ++count) {
        subscribeChange(id, file);
        subscribeEnds(id, makeString("DataFile"), makeString("DataFile"), makeString("DataFile"),
                      IOrvoIndication::IndicationEnterAssociation);
    }
    std::ostringstream stream;
    stream << std::hex << std::showbase;
    manager->dump(stream);
    EXPECT_THAT(stream.str(), HasSubstr("listener.example.org:5990 (77) </TD><TD>Change: NULL R: 20<BR>"));
    EXPECT_THAT(stream.str(), HasSubstr("listener.example.org:5990 (77) </TD><TD>Ref Count: 20<BR>"));
}

TEST_F(SubscriberTableDump, PutsABlankBeforeEvery50thCharacterOfAName) {
    const std::string a(50, 'a');
    const std::string b(50, 'b');
    const std::string c(20, 'c');
    ORVSmrPtr<CSubscriberList> list(new CSubscriberList(file));
    list->addEntry(ORVSmrPtr<CSubscriberTableEntry>(new CSubscriberTableEntry(
        ORVSmrPtr<CSubscriber>(new CSubscriber(makeID(), "s", "1", nullptr)), false)));
    inspect(*manager).subscriberTable().insert(ORVString(a + b + c), list);
    EXPECT_THAT(dump(), HasSubstr("<TR><TD> " + a + " " + b + " " + c + "</TD><TD>"));
}

TEST_F(SubscriberTableDump, LogsAndGoesOnWithTheRegistry_WhenARowFails) {
    ORVSmrPtr<CSubscriberList> list(new CSubscriberList(file));
    list->addEntry(ORVSmrPtr<CSubscriberTableEntry>(new CSubscriberTableEntry(nullptr, false)));
    inspect(*manager).subscriberTable().insert("broken", list);

    const std::string html = dump();

    EXPECT_THAT(html, StartsWith(std::string(tableStart)));
    EXPECT_THAT(html, EndsWith(registryDump()));
    EXPECT_THAT(html, testing::Not(HasSubstr(std::string("</TABLE>") + registryStart)));
    EXPECT_THAT(log.records(),
                ElementsAre(IsLogLine("CIndicationManager::dump",
                                      "An unknown exception occured while dumping the subscriber info.", 1)));
    EXPECT_FALSE(ORVReaderWriterLock::thisThreadHoldsRankedLock());
}

TEST_F(SubscriberTableDump, GoesNoFurther_WhenTheStreamTakesNoMore) {
    ORVSmrPtr<CSubscriberList> list(new CSubscriberList(file));
    list->addEntry(ORVSmrPtr<CSubscriberTableEntry>(new CSubscriberTableEntry(nullptr, false)));
    inspect(*manager).subscriberTable().insert("broken", list);
    std::ostringstream full;
    full.setstate(std::ios::failbit);

    manager->dump(full);

    EXPECT_EQ(full.str(), "");
    EXPECT_THAT(log.records(), testing::IsEmpty()) << "it does not come to the row that fails";
}

}  // namespace
}  // namespace velm::test
