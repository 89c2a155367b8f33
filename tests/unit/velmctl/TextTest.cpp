#include "velmctl/output/Text.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

using namespace velm;
using std::chrono::microseconds;
using testing::ElementsAre;

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

TEST(Text, IsBrokenIntoLinesAtBlanks) {
    EXPECT_THAT(wrapped("", 10), ElementsAre(""));
    EXPECT_THAT(wrapped("one two three", 7), ElementsAre("one two", "three"));
    EXPECT_THAT(wrapped("one two three", 9), ElementsAre("one two", "three"));
    EXPECT_THAT(wrapped("one two ", 7), ElementsAre("one two"));
    EXPECT_THAT(wrapped("abcdefgh", 3), ElementsAre("abc", "def", "gh"));
    EXPECT_THAT(wrapped("\xC3\xBC\xC3\xBC\xC3\xBC", 2), ElementsAre("\xC3\xBC\xC3\xBC", "\xC3\xBC"));
}

TEST(Text, IsBrokenBehindPunctuation_WhereItHasNoBlanks) {
    EXPECT_THAT(wrapped("root/x:EX_Item.Id=\"a\",Name=\"b\"", 24),
                ElementsAre("root/x:EX_Item.Id=\"a\",", "Name=\"b\""));
    EXPECT_THAT(wrapped("listener.invalid:80", 10), ElementsAre("listener.", "invalid:80"));
    EXPECT_THAT(wrapped(".abcdef", 3), ElementsAre(".", "abc", "def"));
}

TEST(Text, KeepsLongWordsWhole_WhereTheyAreToBeCopied) {
    EXPECT_THAT(wrapped("see /etc/velm/velmd.conf now", 5, LongWord::whole),
                ElementsAre("see", "/etc/velm/velmd.conf", "now"));
    EXPECT_THAT(wrapped("abcdef", 3, LongWord::whole), ElementsAre("abcdef"));
    EXPECT_THAT(wrapped("abcdef ", 3, LongWord::whole), ElementsAre("abcdef"));
}

TEST(Text, IsAParagraph) {
    EXPECT_EQ(paragraph("", 10), "");
    EXPECT_EQ(paragraph("one two three", 9), "one two\nthree");
    EXPECT_EQ(paragraph("one two three", 9, 2), "one two\n  three");
    EXPECT_EQ(paragraph("one two", 1, 2), "one\n  two");
}

TEST(Text, TellsASpanInItsTwoLargestUnits) {
    using std::chrono::seconds;
    EXPECT_EQ(spanText(seconds(-5)), "0 s");
    EXPECT_EQ(spanText(seconds(59)), "59 s");
    EXPECT_EQ(spanText(seconds(185)), "3 min 5 s");
    EXPECT_EQ(spanText(seconds(7200)), "2 h");
    EXPECT_EQ(spanText(seconds(3 * 86400 + 7 * 3600 + 59)), "3 d 7 h");
}
