#include "velmctl/commands/DiagnosticTables.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

// The tables as the library writes them; that it does is seen where velmctl dump is run against a daemon.

using namespace velm;
using testing::ElementsAre;

namespace {

constexpr const char* subscriptionTitles =
    "<TABLE BORDER><TR><TH>Instance Name</TH><TH>Subscriber</TH><TH>Filter</TH></TR>";
constexpr const char* relationshipTitles = "<TABLE BORDER><TR><TH>Relationship Subscriptions</TH></TR>";

/// With a blank before every 50th character.
std::string spaced(const std::string& name) {
    std::string text;
    for (std::size_t at = 0; at < name.size(); at += 50) {
        text += ' ' + name.substr(at, 50);
    }
    return text;
}

std::string subscription(const std::string& name) {
    return "<TR><TD>" + spaced(name) +
           "</TD><TD>127.0.0.1:5990 (1) </TD><TD>Change: NULL R: 1<BR>Addition: NULL R: 0</TD></TR>";
}

std::string classRow(const std::string& name) {
    return "<TR><TD>Class " + name + "</TD>";
}

std::string relationship(const std::string& event, const std::string& left, const std::string& right) {
    return "<TR><TH>Subscription Type</TH></TR><TD>" + event +
           " </TD><TR></TR><TR></TR><TR><TH>Subscriber</TH><TH>Reference Count</TH></TR>"
           "<TR><TD>127.0.0.1:5990 (1) </TD><TD>Ref Count: 2<BR></TD></TR>"
           "<TR><TD>[::1]:5991 (7) </TD><TD>Ref Count: 1<BR></TD></TR>"
           "</TR><TR></TR><TR></TR><TR></TR><TR><TD><B>InstanceName : </B></TD></TR>"
           "<TR><TD><B>InstanceName Left : </B>" +
           left + "</TD></TR><TR><TD><B>InstanceName Right : </B>" + right + "</TD></TR><TR></TR><TR></TR>";
}

DiagnosticTables read(const std::string& first, const std::string& second, bool isWhole = true) {
    return DiagnosticTables::read("<!DOCTYPE html>\n<body>\n" + std::string(subscriptionTitles) + first +
                                  "</TABLE>" + relationshipTitles + second + (isWhole ? "</TABLE>" : "") +
                                  "\n</body></html>\n");
}

}  // namespace

TEST(DiagnosticTables, AreEmpty_WhenNobodyIsSubscribed) {
    const DiagnosticTables tables = read("", classRow("A") + classRow("B"));
    EXPECT_TRUE(tables.subscriptions.empty());
    EXPECT_TRUE(tables.relationships.empty());
    EXPECT_FALSE(tables.isCutOff);
}

TEST(DiagnosticTables, HaveNamesWithoutTheBlanksInThem) {
    const std::string name = "root/x:EX_Thing.Id=\"" + std::string(200, 'a') + " b\"";
    const DiagnosticTables tables = read(subscription(name) + subscription("root/x:EX_Thing"), "");
    ASSERT_EQ(tables.subscriptions.size(), 2U);
    EXPECT_EQ(tables.subscriptions[0].object, name);
    EXPECT_EQ(tables.subscriptions[0].subscriber, "127.0.0.1:5990 (1)");
    EXPECT_THAT(tables.subscriptions[0].filters, ElementsAre("Change: NULL R: 1", "Addition: NULL R: 0"));
    EXPECT_EQ(tables.subscriptions[1].object, "root/x:EX_Thing");
}

TEST(DiagnosticTables, KeepNamesThatLookLikeTables) {
    for (const char* name :
         {"x<TR><TD>", "x</TD></TR>", "</TABLE>", "<TD>a</TD><TD>b", "<script>", "x<BR>y"}) {
        const DiagnosticTables tables = read(subscription(name) + subscription("next"), "");
        ASSERT_EQ(tables.subscriptions.size(), 2U) << name;
        EXPECT_EQ(tables.subscriptions[0].object, name);
        EXPECT_EQ(tables.subscriptions[1].object, "next");
    }
}

TEST(DiagnosticTables, HaveARowForEachSubscriberOfAnEvent) {
    const DiagnosticTables tables =
        read("", classRow("EX_None") + classRow("EX_Link") + relationship("Addition", "EX_A:", "EX_B") +
                     classRow("EX_Last"));
    ASSERT_EQ(tables.relationships.size(), 2U);
    const auto& row = tables.relationships[1];
    EXPECT_EQ(row.className, "EX_Link");
    EXPECT_EQ(row.event, "Addition");
    EXPECT_EQ(row.subscriber, "[::1]:5991 (7)");
    EXPECT_EQ(row.count, "1");
    EXPECT_EQ(row.instance, "");
    EXPECT_EQ(row.left, "EX_A");
    EXPECT_EQ(row.right, "EX_B");
    EXPECT_EQ(tables.relationships[0].left, "EX_A");
    EXPECT_EQ(tables.relationships[0].count, "2");
}

TEST(DiagnosticTables, HaveTheKeysOfBothEnds) {
    const std::string keys = "Id=\"" + std::string(100, 'k') + "\"";
    const DiagnosticTables tables = read(
        "", classRow("EX_Link") + relationship("Removal", "EX_A:" + spaced(keys), "EX_B" + spaced(keys)));
    ASSERT_EQ(tables.relationships.size(), 2U);
    EXPECT_EQ(tables.relationships[0].left, "EX_A." + keys);
    EXPECT_EQ(tables.relationships[0].right, "EX_B." + keys);
}

TEST(DiagnosticTables, TellThatTheSecondIsCutOff) {
    const DiagnosticTables tables =
        read(subscription("a"), classRow("EX_A") + "<TR><TH>Subscription Type</TH></TR>", false);
    EXPECT_TRUE(tables.isCutOff);
    EXPECT_EQ(tables.subscriptions.size(), 1U);
}

TEST(DiagnosticTables, AreEmpty_WhenThereAreNone) {
    for (const char* text : {"", "hello", "<TABLE BORDER>", subscriptionTitles, relationshipTitles}) {
        const DiagnosticTables tables = DiagnosticTables::read(text);
        EXPECT_TRUE(tables.subscriptions.empty()) << text;
        EXPECT_TRUE(tables.relationships.empty()) << text;
    }
}
