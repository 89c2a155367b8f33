#include "foundation/utilities/CI_ExFatal.h"

#include <exception>

#include <gtest/gtest.h>

namespace {

CI_String text(const char* characters) {
    return {characters, CI_String::NPOS};
}

const CI_String& none = CI_String::none;

}  // namespace

TEST(CIString, CopiesTheGivenLength) {
    EXPECT_STREQ(CI_String("abcdef", 3).data(), "abc");
    EXPECT_STREQ(CI_String("abcdef", CI_String::NPOS).data(), "abcdef");
    EXPECT_STREQ(CI_String::none.data(), "");
}

TEST(ExFatal, SaysWhereAndWhat) {
    const CI_ExFatal failure(17, text("Notifier.cpp"), 0xC902, text("response != 0"), none, none, none, none,
                             none);
    EXPECT_STREQ(failure.what(), "Notifier.cpp:17: fatal assertion 0xC902: response != 0");
    EXPECT_EQ(failure.getLine(), 17U);
    EXPECT_EQ(failure.getCode(), 0xC902);
}

TEST(ExFatal, AddsTheDetailsThatAreGiven) {
    const CI_ExFatal failure(1, text("a.cpp"), 10, text("x"), text("first"), none, text("third"), none,
                             text("fifth"));
    EXPECT_STREQ(failure.what(), "a.cpp:1: fatal assertion 0xA: x, first, third, fifth");
}

TEST(ExFatal, ThrowsACopyOfItself) {
    const CI_ExFatal failure(17, text("a.cpp"), 3, text("x"), none, none, none, none, none);
    try {
        failure.throwThis();
    } catch (const std::exception& thrown) {
        EXPECT_NE(&thrown, &failure);
        EXPECT_STREQ(thrown.what(), failure.what());
        EXPECT_EQ(dynamic_cast<const CI_ExFatal&>(thrown).getCode(), 3);
    }
}
