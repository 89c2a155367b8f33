#include "velmctl/output/Tree.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

using namespace velm;
using testing::ElementsAre;
using testing::IsEmpty;

namespace {

const std::vector<std::pair<std::string, std::string>> pairs{{"D", "B"}, {"A", ""},  {"C", "A"},
                                                             {"B", "A"}, {"E", "C"}, {"Z", "elsewhere"}};

}  // namespace

TEST(Tree, IsDrawnWithBoxes) {
    EXPECT_THAT(drawTrees(makeTrees(pairs), true),
                ElementsAre("A", "├── B", "│   └── D", "└── C", "    └── E", "Z"));
}

TEST(Tree, IsDrawnWithLetters) {
    EXPECT_THAT(drawTrees(makeTrees(pairs), false),
                ElementsAre("A", "|-- B", "|   `-- D", "`-- C", "    `-- E", "Z"));
}

TEST(Tree, IsNothing_WhenThereIsNothing) {
    EXPECT_THAT(drawTrees(makeTrees({}), true), IsEmpty());
}

TEST(Tree, LeavesOutACircle) {
    EXPECT_THAT(drawTrees(makeTrees({{"A", ""}, {"X", "Y"}, {"Y", "X"}}), true), ElementsAre("A"));
}
