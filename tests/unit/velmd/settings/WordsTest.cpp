#include "velmd/settings/Words.h"

#include <string>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

namespace velm {
namespace {

using testing::ElementsAre;

TEST(Words, ChangeLettersOfASCIIOnly) {
    EXPECT_EQ(folded("MaxXMLDepth_1\xC3\x84"), "maxxmldepth_1\xC3\x84");
    EXPECT_EQ(capitals("file_watch\xC3\xA4"), "FILE_WATCH\xC3\xA4");
}

TEST(Words, LoseBlanksAtTheirEnds) {
    EXPECT_EQ(trimmed(" \ta b\r\n"), "a b");
    EXPECT_EQ(trimmed(" \t"), "");
    EXPECT_EQ(trimmed(""), "");
}

TEST(Words, ArePartedBySeparators) {
    EXPECT_THAT(split(" a , b,,", ','), ElementsAre("a", "b", "", ""));
    EXPECT_THAT(split("", ','), ElementsAre(""));
}

TEST(Words, AreQuotedOnOneShortLine) {
    EXPECT_EQ(quotation("a b"), "\"a b\"");
    EXPECT_EQ(quotation("a\r\nb\x7F\x1B"), "\"a??b??\"");
    EXPECT_EQ(quotation(std::string(61, 'x')), "\"" + std::string(60, 'x') + "...\"");
    EXPECT_EQ(quotation(std::string(60, 'x')), "\"" + std::string(60, 'x') + "\"");
}

struct NearestCase {
    const char* word;
    const char* meant;
};

class NearestTest : public testing::TestWithParam<NearestCase> {};

TEST_P(NearestTest, IsWhatWasProbablyMeant) {
    EXPECT_EQ(nearest(GetParam().word, {"Port", "Workers", "HostName", "no"}), GetParam().meant);
}

INSTANTIATE_TEST_SUITE_P(Words, NearestTest,
                         testing::Values(NearestCase{"Prot", "Port"},           //
                                         NearestCase{"POTR", "Port"},           //
                                         NearestCase{"Worker", "Workers"},      //
                                         NearestCase{"Wrokes", ""},             //
                                         NearestCase{"Host-Name", "HostName"},  //
                                         NearestCase{"", ""},                   //
                                         NearestCase{"n", ""},                  //
                                         NearestCase{"Address", ""}));

TEST(Words, AreNearNothing_WhenTheyAreVeryLong) {
    EXPECT_EQ(nearest(std::string(1'000'000, 'x'), {std::string(64, 'x')}), "");
}

TEST(Words, AreWrappedAtBlanks) {
    EXPECT_EQ(wrapped("one two three", "# ", 9), "# one two\n# three\n");
    EXPECT_EQ(wrapped("one", "# ", 80), "# one\n");
    EXPECT_EQ(wrapped("unbreakable words", "# ", 5), "# unbreakable\n# words\n");
}

}  // namespace
}  // namespace velm
