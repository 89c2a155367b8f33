#include "server/http/Deadline.h"

#include <climits>

#include <gtest/gtest.h>

using velm::Deadline;

TEST(Deadline, NeverPasses_WhenItHasNoLimit) {
    for (const Deadline& never : {Deadline(), Deadline::after(0), Deadline::after(-1)}) {
        EXPECT_TRUE(never.isNever());
        EXPECT_FALSE(never.hasPassed());
        EXPECT_EQ(never.pollTimeout(), -1);
    }
}

TEST(Deadline, TellsWhatIsLeft_WhenItIsAhead) {
    const Deadline deadline = Deadline::after(60'000);
    EXPECT_FALSE(deadline.hasPassed());
    EXPECT_GT(deadline.pollTimeout(), 0);
    EXPECT_LE(deadline.pollTimeout(), 60'000);
}

TEST(Deadline, LeavesNothing_WhenItHasPassed) {
    const Deadline deadline = Deadline::after(1);
    while (!deadline.hasPassed()) {
    }
    EXPECT_EQ(deadline.pollTimeout(), 0);
}

TEST(Deadline, StaysAhead_WhenTheNumberIsTheLargest) {
    const Deadline deadline = Deadline::after(LONG_MAX);
    EXPECT_FALSE(deadline.hasPassed());
    EXPECT_EQ(deadline.pollTimeout(), INT_MAX);
}
