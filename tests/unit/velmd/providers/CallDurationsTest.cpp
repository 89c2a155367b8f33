#include "velmd/providers/CallDurations.h"

#include <numeric>
#include <thread>
#include <vector>

#include <gtest/gtest.h>

namespace velm {

using namespace std::chrono_literals;

TEST(CallDurations, FileEachCallUnderTheFirstBoundThatHoldsIt) {
    CallDurations durations;
    for (const std::chrono::nanoseconds each : {0ns, 100'000ns, 100'001ns}) {
        durations.note(each);
    }
    durations.note(30s);
    durations.note(30s + 1ns);
    const auto figures = durations.figures();
    EXPECT_EQ(figures.counts[0], 2U) << "a bound is part of what is below it";
    EXPECT_EQ(figures.counts[1], 1U);
    EXPECT_EQ(figures.counts[CallDurations::bounds.size() - 1], 1U);
    EXPECT_EQ(figures.counts.back(), 1U);
    EXPECT_EQ(figures.sum, 60s + 200'002ns);
}

TEST(CallDurations, AreNotedByManyThreads) {
    CallDurations durations;
    std::vector<std::jthread> threads;
    for (int thread = 0; thread < 4; ++thread) {
        threads.emplace_back([&] {
            for (int call = 0; call < 1000; ++call) {
                durations.note(1ms);
            }
        });
    }
    threads.clear();
    const auto figures = durations.figures();
    EXPECT_EQ(std::accumulate(figures.counts.begin(), figures.counts.end(), 0U), 4000U);
    EXPECT_EQ(figures.sum, 4s);
}

}  // namespace velm
