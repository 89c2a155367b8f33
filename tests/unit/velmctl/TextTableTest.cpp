#include "velmctl/output/TextTable.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

using namespace velm;
using testing::ElementsAre;

namespace {

std::vector<std::string> linesOf(const TextTable& table, std::size_t width) {
    return table.lines(width, Output(true));
}

}  // namespace

TEST(TextTable, IsAsWideAsWhatIsInIt) {
    TextTable table({{"NAME"}, {"count", true}});
    table.add({"a", 1U});
    table.add({"longer", 12345678U});
    EXPECT_THAT(linesOf(table, 80), ElementsAre("NAME       count", "a              1", "longer  12345678"));
}

TEST(TextTable, CountsCharactersRatherThanBytes) {
    TextTable table({{"A"}, {"B"}});
    table.add({"\xC3\xBC", "x"});
    table.add({"uu", "y"});
    EXPECT_THAT(linesOf(table, 80), ElementsAre("A   B", "\xC3\xBC   x", "uu  y"));
}

TEST(TextTable, BreaksItsWidestCells_WhereThereIsNoRoom) {
    TextTable table({{"A"}, {"B"}});
    table.add({"one two three four", "x"});
    EXPECT_THAT(linesOf(table, 13), ElementsAre("A           B", "one two     x", "three four"));
}

TEST(TextTable, ShowsTheLinesOfACellBelowEachOther) {
    TextTable table({{"A"}, {"B"}});
    table.add({"x", "one\ntwo"});
    table.add({"y", ""});
    EXPECT_THAT(linesOf(table, 80), ElementsAre("A  B", "x  one", "   two", "y"));
}

TEST(TextTable, HasNoLineOfTitles_WhereNoColumnHasOne) {
    TextTable table({{""}, {""}});
    table.add({"x", "y"});
    EXPECT_THAT(linesOf(table, 80), ElementsAre("x  y"));
}

TEST(TextTable, HasNotesAcrossItsColumns) {
    TextTable table({{"A"}, {"B", true}});
    table.add({"x", 1U});
    table.addNote("it fails because of something", Colour::red);
    EXPECT_THAT(linesOf(table, 20), ElementsAre("A  B", "x  1", "    it fails because", "    of something"));
}
