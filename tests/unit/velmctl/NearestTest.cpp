#include "velmctl/output/Nearest.h"

#include <gtest/gtest.h>

using namespace velm;

TEST(EditDistance, CountsWhatHasToChange) {
    const struct {
        const char* left;
        const char* right;
        std::size_t distance;
    } cases[] = {{"", "", 0},      {"", "abc", 3},     {"abc", "abc", 0},       {"abc", "abd", 1},
                 {"abc", "ac", 1}, {"abc", "xabc", 1}, {"listen", "lisetn", 1}, {"kitten", "sitting", 3}};
    for (const auto& [left, right, distance] : cases) {
        EXPECT_EQ(editDistance(left, right), distance) << left << ' ' << right;
        EXPECT_EQ(editDistance(right, left), distance) << right << ' ' << left;
    }
}

TEST(Nearest, IsTheWordThatWasMeant) {
    const std::vector<std::string> words{"listen", "channel", "classes", "instances", "--count"};
    EXPECT_EQ(nearest("lisen", words), "listen");
    EXPECT_EQ(nearest("CLASES", words), "classes");
    EXPECT_EQ(nearest("--cuont", words), "--count");
}

TEST(Nearest, IsNothing_WhenNoWordIsNear) {
    const std::vector<std::string> words{"listen", "on"};
    EXPECT_EQ(nearest("xyzzy", words), "");
    EXPECT_EQ(nearest("", words), "");
    EXPECT_EQ(nearest("xx", words), "");
    EXPECT_EQ(nearest(std::string(100000, 'l'), words), "");
}
