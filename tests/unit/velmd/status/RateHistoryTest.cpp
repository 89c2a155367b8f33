#include "velmd/status/RateHistory.h"

#include <gtest/gtest.h>

namespace {

using namespace velm::status;
using namespace std::chrono_literals;

const RateHistory::Clock::time_point start{1000s};

Counters counted(std::uint64_t reported, std::uint64_t delivered = 0) {
    Counters counters;
    counters.reported = reported;
    counters.delivered = delivered;
    return counters;
}

TEST(RateHistory, IsDue_WhenAStepHasGoneBy) {
    RateHistory history(start);
    EXPECT_FALSE(history.isDue(start + 4s));
    EXPECT_TRUE(history.isDue(start + 5s));
    history.add({}, start + 5s);
    EXPECT_FALSE(history.isDue(start + 9s));
}

TEST(RateHistory, TellsWhatCameInEachStepPerSecond) {
    RateHistory history(start);
    history.add(counted(10, 5), start + 5s);
    history.add(counted(60, 5), start + 10s);
    const auto rates = history.rates();
    ASSERT_EQ(rates.size(), 2U);
    EXPECT_DOUBLE_EQ(rates[0].reported, 2);
    EXPECT_DOUBLE_EQ(rates[0].delivered, 1);
    EXPECT_DOUBLE_EQ(rates[1].reported, 10);
    EXPECT_DOUBLE_EQ(rates[1].delivered, 0);
}

TEST(RateHistory, AddsUpReasonsAndRules) {
    RateHistory history(start);
    Counters counters;
    counters.failed = {{"a", 5}, {"b", 10}};
    counters.dropped = {{"x", 20}, {"y", 5}};
    history.add(counters, start + 5s);
    EXPECT_DOUBLE_EQ(history.rates().at(0).failed, 3);
    EXPECT_DOUBLE_EQ(history.rates().at(0).dropped, 5);
}

TEST(RateHistory, FillsMissedStepsWithTheirMean) {
    RateHistory history(start);
    history.add(counted(30), start + 15s);
    const auto rates = history.rates();
    ASSERT_EQ(rates.size(), 3U);
    EXPECT_DOUBLE_EQ(rates[0].reported, 2);
    EXPECT_DOUBLE_EQ(rates[2].reported, 2);
}

TEST(RateHistory, ForgetsWhatIsOlderThanTenMinutes) {
    RateHistory history(start);
    for (unsigned int step = 1; step <= 200; ++step) {
        history.add(counted(step * 5ULL * step), start + step * 5s);
    }
    const auto rates = history.rates();
    ASSERT_EQ(rates.size(), RateHistory::steps);
    EXPECT_DOUBLE_EQ(rates.back().reported, 399);
    EXPECT_DOUBLE_EQ(rates.front().reported, 161);
}

TEST(RateHistory, TellsNoNegativeRate_WhenACounterFell) {
    RateHistory history(start);
    history.add(counted(10), start + 5s);
    history.add(counted(4), start + 10s);
    EXPECT_DOUBLE_EQ(history.rates().at(1).reported, 0);
}

TEST(RateHistory, StaysBounded_WhenTheDaemonSleptForAYear) {
    RateHistory history(start);
    history.add(counted(5), start + 24h * 365);
    EXPECT_EQ(history.rates().size(), RateHistory::steps);
}

}  // namespace
