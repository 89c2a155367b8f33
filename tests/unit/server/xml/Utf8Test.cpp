#include "server/xml/Utf8.h"

#include <string_view>

#include <gtest/gtest.h>

namespace velm {
namespace {

struct ValidCase {
    std::string_view bytes;
    char32_t value;
};

class ValidUtf8 : public testing::TestWithParam<ValidCase> {};

TEST_P(ValidUtf8, IsOneCharacter) {
    const Utf8Character character = utf8At(GetParam().bytes, 0);
    EXPECT_TRUE(character.isValid);
    EXPECT_EQ(character.value, GetParam().value);
    EXPECT_EQ(character.length, GetParam().bytes.size());
}

INSTANTIATE_TEST_SUITE_P(Utf8, ValidUtf8,
                         testing::Values(ValidCase{"A", 'A'}, ValidCase{"\x7F", 0x7F},
                                         ValidCase{"\xC2\x80", 0x80}, ValidCase{"\xDF\xBF", 0x7FF},
                                         ValidCase{"\xE0\xA0\x80", 0x800}, ValidCase{"\xED\x9F\xBF", 0xD7FF},
                                         ValidCase{"\xEE\x80\x80", 0xE000}, ValidCase{"\xEF\xBF\xBF", 0xFFFF},
                                         ValidCase{"\xF0\x90\x80\x80", 0x10000},
                                         ValidCase{"\xF4\x8F\xBF\xBF", 0x10FFFF}));

class InvalidUtf8 : public testing::TestWithParam<std::string_view> {};

TEST_P(InvalidUtf8, TakesOneByte) {
    const Utf8Character character = utf8At(GetParam(), 0);
    EXPECT_FALSE(character.isValid);
    EXPECT_EQ(character.length, 1u);
}

INSTANTIATE_TEST_SUITE_P(Utf8, InvalidUtf8,
                         testing::Values("\x80", "\xBF",          // continuation without a lead
                                         "\xC0\x80", "\xC1\xBF",  // overlong
                                         "\xE0\x9F\xBF", "\xF0\x8F\xBF\xBF", "\xED\xA0\x80",
                                         "\xED\xBF\xBF",  // surrogates
                                         "\xF4\x90\x80\x80", "\xF5\x80\x80\x80", "\xFF", "\xC3", "\xE2\x82",
                                         "\xF0\x9F\x98",  // cut short
                                         "\xC3(", "\xE2\x82(", "\xF0\x9F\x98("));

TEST(Utf8, StartsAtThePosition) {
    EXPECT_EQ(utf8At("a\xC3\xA9z", 1).value, 0xE9u);
    EXPECT_EQ(utf8At("a\xC3\xA9z", 3).value, U'z');
}

}  // namespace
}  // namespace velm
