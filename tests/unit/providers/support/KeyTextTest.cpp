#include "providers/support/KeyText.h"

#include <string>
#include <string_view>

#include <gtest/gtest.h>

using namespace std::string_view_literals;
using velm::providers::keyTextOf;
using velm::providers::nameOf;

namespace {

struct Case {
    std::string_view name;
    std::string_view text;
};

class KeyText : public testing::TestWithParam<Case> {};

TEST_P(KeyText, IsWhatTheNameLooksLike_AndReadsBackAsTheName) {
    EXPECT_EQ(keyTextOf(GetParam().name).view(), GetParam().text);
    EXPECT_EQ(nameOf(keyTextOf(GetParam().name)), std::string(GetParam().name));
}

INSTANTIATE_TEST_SUITE_P(Names, KeyText,
                         testing::Values(Case{"", ""}, Case{"/tmp/notes.txt", "/tmp/notes.txt"},
                                         Case{"Füße €𝄞", "Füße €𝄞"}, Case{"latin \xE9", R"(latin \xE9)"},
                                         Case{"cut \xE2\x82", R"(cut \xE2\x82)"},
                                         Case{"overlong \xC0\xAF", R"(overlong \xC0\xAF)"},
                                         Case{"surrogate \xED\xA0\x80", R"(surrogate \xED\xA0\x80)"},
                                         Case{"a\nb\tc\x7F", R"(a\x0Ab\x09c\x7F)"},
                                         Case{"\xEF\xBF\xBE", R"(\xEF\xBF\xBE)"}, Case{"\0"sv, R"(\x00)"},
                                         Case{R"(back\slash)", R"(back\slash)"},
                                         Case{R"(\xE9)", R"(\x5CxE9)"}, Case{R"(\xe9)", R"(\xe9)"},
                                         Case{R"(\\x5C)", R"(\\x5Cx5C)"}, Case{R"(\x)", R"(\x)"}));

class NoKeyText : public testing::TestWithParam<const char*> {};

TEST_P(NoKeyText, HasNoName_WhenAnotherTextIsTheNames) {
    EXPECT_EQ(nameOf(GetParam()), std::nullopt);
}

INSTANTIATE_TEST_SUITE_P(Texts, NoKeyText,
                         testing::Values(nullptr, R"(\x41)", R"(\xC3\xBC)", "raw \xE9", "line\nend",
                                         R"(\x5C)"));

}  // namespace
