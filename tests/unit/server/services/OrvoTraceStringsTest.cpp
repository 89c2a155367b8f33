#include "foundation/services/OrvoTraceStrings.h"

#include <iterator>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

namespace {

TEST(OrvoTraceStrings, NamesTheMonthsInOrder) {
    EXPECT_THAT(OrvoTraceStrings::month,
                testing::ElementsAre(testing::StrEq("Jan"), testing::StrEq("Feb"), testing::StrEq("Mar"),
                                     testing::StrEq("Apr"), testing::StrEq("May"), testing::StrEq("Jun"),
                                     testing::StrEq("Jul"), testing::StrEq("Aug"), testing::StrEq("Sep"),
                                     testing::StrEq("Oct"), testing::StrEq("Nov"), testing::StrEq("Dec")));
}

}  // namespace
