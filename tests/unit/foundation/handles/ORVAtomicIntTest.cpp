#include "foundation/handles/ORVAtomicInt.h"

#include <algorithm>
#include <numeric>
#include <thread>
#include <vector>

#include <gtest/gtest.h>

TEST(AtomicInt, StartsAtTheInitialValue) {
    EXPECT_EQ(ORVAtomicInt(7).value(), 7);
    EXPECT_EQ(ORVAtomicInt(-3).value(), -3);
}

TEST(AtomicInt, ReturnsTheNewValue_WhenCounting) {
    ORVAtomicInt counter(0);
    EXPECT_EQ(counter.atomicInc(), 1);
    EXPECT_EQ(counter.atomicInc(), 2);
    EXPECT_EQ(counter.atomicDec(), 1);
    EXPECT_EQ(counter.atomicDec(), 0);
    EXPECT_EQ(counter.atomicDec(), -1);
    EXPECT_EQ(counter.value(), -1);
}

TEST(AtomicInt, GivesEachThreadADifferentValue_WhenManyCountAtOnce) {
    constexpr std::size_t threadCount = 4;
    constexpr std::size_t increments = 2000;
    ORVAtomicInt counter(0);
    std::vector<std::vector<int>> seen(threadCount);
    {
        std::vector<std::jthread> threads;
        threads.reserve(threadCount);
        for (std::vector<int>& mine : seen) {
            threads.emplace_back([&counter, &mine] {
                for (std::size_t i = 0; i < increments; ++i) {
                    mine.push_back(counter.atomicInc());
                }
            });
        }
    }
    std::vector<int> all;
    for (const std::vector<int>& mine : seen) {
        all.insert(all.end(), mine.begin(), mine.end());
    }
    std::sort(all.begin(), all.end());
    std::vector<int> expected(threadCount * increments);
    std::iota(expected.begin(), expected.end(), 1);
    EXPECT_EQ(all, expected);
}
