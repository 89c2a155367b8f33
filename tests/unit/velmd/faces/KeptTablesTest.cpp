#include "velmd/faces/KeptTables.h"

#include <ostream>
#include <string>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

namespace velm {

namespace {

using namespace std::chrono_literals;
using testing::EndsWith;
using testing::HasSubstr;
using testing::Not;
using testing::StartsWith;

constexpr const char* classTable = "<TABLE BORDER><TR><TD>classes</TD></TR></TABLE>";

class KeptTablesTest : public testing::Test {
protected:
    /// As the library does: an instance table of so many rows, and the class table.
    void writeAll(std::ostream& out) {
        ++dumps;
        now += cost;
        out << "<TABLE BORDER>";
        for (rowsWritten = 0; out && rowsWritten < rows; ++rowsWritten) {
            out << "<TR><TD>row " << rowsWritten << "</TD></TR>";
        }
        out << "</TABLE>" << classes;
    }

    int rows = 2;
    int rowsWritten = 0;
    int dumps = 0;
    std::string classes = classTable;
    KeptTables::Clock::time_point now;
    std::chrono::milliseconds cost{0};
    KeptTables tables{[this](std::ostream& out) { writeAll(out); },
                      [this](std::ostream& out) { out << classes; }, [this] { return now; }};
};

}  // namespace

TEST_F(KeptTablesTest, HoldBothTables) {
    const auto excerpt = tables.excerpt();
    EXPECT_EQ(
        excerpt->tables,
        std::string("<TABLE BORDER><TR><TD>row 0</TD></TR><TR><TD>row 1</TD></TR></TABLE>") + classTable);
    EXPECT_FALSE(excerpt->isCut);
}

TEST_F(KeptTablesTest, EndALongTableAtARow_AndStillHoldTheOther) {
    rows = 1'000'000;
    const auto excerpt = tables.excerpt();
    EXPECT_TRUE(excerpt->isCut);
    EXPECT_LT(excerpt->tables.size(), KeptTables::mostBytes + 100);
    EXPECT_GT(excerpt->tables.size(), KeptTables::mostBytes - 100);
    EXPECT_THAT(excerpt->tables, StartsWith("<TABLE BORDER><TR><TD>row 0</TD></TR><TR>"));
    EXPECT_THAT(excerpt->tables, EndsWith(std::string("</TD></TR></TABLE>") + classTable));
    EXPECT_LT(rowsWritten, 10'000) << "no more is asked for than is shown";
}

TEST_F(KeptTablesTest, HoldTheBeginningOfALongClassTable_Once) {
    classes = "<TABLE BORDER>";
    for (int number = 0; number < 10'000; ++number) {
        classes += "<TR><TD>Class number " + std::to_string(number) + "</TD></TR>";
    }
    classes += "</TABLE>";
    const auto excerpt = tables.excerpt();
    EXPECT_TRUE(excerpt->isCut);
    EXPECT_THAT(excerpt->tables,
                StartsWith("<TABLE BORDER><TR><TD>row 0</TD></TR><TR><TD>row 1</TD></TR></TABLE>"
                           "<TABLE BORDER><TR><TD>Class number 0</TD></TR>"));
    const std::string first = "Class number 0<";
    EXPECT_EQ(excerpt->tables.find(first), excerpt->tables.rfind(first));
    EXPECT_THAT(excerpt->tables, EndsWith("</TR></TABLE>"));
}

TEST_F(KeptTablesTest, AreKeptForSomeSeconds) {
    const auto first = tables.excerpt();
    now += KeptTables::shortestAge - 1ms;
    EXPECT_EQ(tables.excerpt(), first);
    EXPECT_EQ(dumps, 1);
    now += 1ms;
    EXPECT_NE(tables.excerpt(), first);
    EXPECT_EQ(dumps, 2);
}

TEST_F(KeptTablesTest, AreKeptTenTimesAsLongAsTheyTook) {
    cost = 2s;
    tables.excerpt();
    now += 20s - 1ms;
    tables.excerpt();
    EXPECT_EQ(dumps, 1);
    now += 1ms;
    tables.excerpt();
    EXPECT_EQ(dumps, 2);
}

TEST_F(KeptTablesTest, AreKeptForAMinute_WhenTheClassTableBreaksOff) {
    classes = "<TABLE BORDER><TR><TD>Class A";
    EXPECT_THAT(tables.excerpt()->tables, EndsWith("Class A"));
    now += 59s;
    tables.excerpt();
    EXPECT_EQ(dumps, 1);
    now += 1s;
    tables.excerpt();
    EXPECT_EQ(dumps, 2);
}

TEST_F(KeptTablesTest, AreEmpty_WhenNothingIsWritten) {
    KeptTables none([](std::ostream&) {}, [](std::ostream&) {});
    EXPECT_EQ(none.excerpt()->tables, "");
    EXPECT_FALSE(none.excerpt()->isCut);
}

TEST_F(KeptTablesTest, TakeCharactersOneByOne) {
    KeptTables single(
        [](std::ostream& out) {
            for (std::size_t count = 0; count <= KeptTables::mostBytes; ++count) {
                out.put('x');
            }
            EXPECT_FALSE(out);
        },
        [](std::ostream& out) { out.put('c'); });
    EXPECT_TRUE(single.excerpt()->isCut);
    EXPECT_EQ(single.excerpt()->tables, "</TABLE>c") << "no row is whole";
}

}  // namespace velm
