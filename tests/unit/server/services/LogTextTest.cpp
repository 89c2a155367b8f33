#include "server/services/LogText.h"

#include <string>
#include <string_view>

#include <gtest/gtest.h>

namespace velm {
namespace {

std::string escaped(std::string_view text) {
    std::string line;
    appendLogText(line, text);
    return line;
}

TEST(LogText, StaysAsItIs_WhenPlain) {
    EXPECT_EQ(escaped("a 'b' \"c\" \\d <e> \xC3\xA9 \xF0\x9F\x98\x80"),
              "a 'b' \"c\" \\d <e> \xC3\xA9 \xF0\x9F\x98\x80");
    EXPECT_EQ(escaped(""), "");
}

TEST(LogText, EscapesControlCharacters) {
    EXPECT_EQ(escaped("a\nb\rc\td"), "a\\nb\\rc\\td");
    EXPECT_EQ(escaped(std::string_view("\0x\x1B[2J\x7F", 7)), "\\x00x\\x1B[2J\\x7F");
}

TEST(LogText, EscapesWideControlsAndSeparators) {
    EXPECT_EQ(escaped("\xC2\x9B"), "\\u009B");
    EXPECT_EQ(escaped("\xE2\x80\xA8\xE2\x80\xA9"), "\\u2028\\u2029");
    EXPECT_EQ(escaped("\xE2\x80\xAE\xE2\x81\xA6"), "\\u202E\\u2066");
}

TEST(LogText, EscapesBytesThatAreNotUtf8) {
    EXPECT_EQ(escaped("a\x9B\xFFz\xC3"), "a\\x9B\\xFFz\\xC3");
}

TEST(LogText, AppendsToTheLine) {
    std::string line = "who: ";
    appendLogText(line, "x\ny");
    EXPECT_EQ(line, "who: x\\ny");
}

}  // namespace
}  // namespace velm
