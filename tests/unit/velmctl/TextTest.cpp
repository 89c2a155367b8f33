#include "velmctl/output/Text.h"

#include <gtest/gtest.h>

using namespace velm;
using std::chrono::microseconds;

TEST(Text, IsMadeValid) {
    EXPECT_EQ(validText("a\xFFz"), "a\xEF\xBF\xBDz");
    EXPECT_EQ(validText("\xC3\xA4\n"), "\xC3\xA4\n");
}

TEST(Text, LosesItsControlCharacters) {
    EXPECT_EQ(printable("a\x1b[2Jb\n\t\x7f"), R"(a\x1b[2Jb\x0a\x09\x7f)");
    EXPECT_EQ(printable("\xC2\x9B"
                        "31m"),
              R"(\x9b31m)");
    EXPECT_EQ(printable("gr\xC3\xBC\xC3\x9F"), "gr\xC3\xBC\xC3\x9F");
    EXPECT_EQ(printableLines("a\n\tb\x1b"), "a\n\tb\\x1b");
}

TEST(Text, IsCutAtTheEndOfACharacter) {
    EXPECT_EQ(shortened("abc", 3), "abc");
    EXPECT_EQ(shortened("abcd", 3), "abc...");
    EXPECT_EQ(shortened("ab\xC3\xA4z", 3), "ab...");
    EXPECT_EQ(shortened("\xFF\xFF\xFF", 2), "\xFF\xFF...");
}

TEST(Text, TellsAnAgeInAFewCharacters) {
    EXPECT_EQ(ageText(microseconds(412000)), "0.412 s");
    EXPECT_EQ(ageText(std::chrono::seconds(75)), "75.0 s");
    EXPECT_EQ(ageText(std::chrono::minutes(12)), "12 min");
    EXPECT_EQ(ageText(std::chrono::hours(30)), "30 h");
    EXPECT_EQ(ageText(microseconds(-2000)), "-0.002 s");
}
