#include "velmd/faces/Liveness.h"

#include <gtest/gtest.h>

namespace velm::test {

using namespace std::chrono_literals;

TEST(Liveness, IsIll_WhenNothingGotOnForLong) {
    const Liveness::Clock::time_point start{};
    Liveness liveness(start);
    EXPECT_EQ(liveness.illness(start), "");
    EXPECT_EQ(liveness.illness(start + Liveness::patience - 1ms), "");
    EXPECT_EQ(liveness.illness(start + 20s),
              "for 20 seconds requests have been waiting and none has been answered");
}

TEST(Liveness, IsWellAgain_WhenSomethingGotOn) {
    const Liveness::Clock::time_point start{};
    Liveness liveness(start);
    EXPECT_NE(liveness.illness(start + 60s), "");
    liveness.noteProgress(start + 60s);
    EXPECT_EQ(liveness.illness(start + 61s), "");
}

}  // namespace velm::test
