#include "foundation/utilities/ORVCriticalSection.h"

#include "tests/unit/server/utilities/ThreadWatch.h"

#include <atomic>
#include <thread>
#include <vector>

#include <gtest/gtest.h>

TEST(CriticalSection, LetsOneThreadInAtATime) {
    const ORVCriticalSection section;
    int counter = 0;
    {
        std::vector<std::jthread> threads;
        threads.reserve(4);
        for (int i = 0; i < 4; ++i) {
            threads.emplace_back([&section, &counter] {
                for (int round = 0; round < 2000; ++round) {
                    const ORVCriticalSectionGuard guard(section, true);
                    ++counter;
                }
            });
        }
    }
    EXPECT_EQ(counter, 8000);
}

TEST(CriticalSection, KeepsOthersOutUntilItIsLeft) {
    const ORVCriticalSection section;
    section.enter();
    ThreadWatch other([&section] {
        section.enter();
        section.leave();
    });
    other.waitUntilAsleepOrDone();
    EXPECT_FALSE(other.isDone());
    section.leave();
}

TEST(CriticalSectionGuard, TakesTheSectionOnlyWhenEntered_WhenMadeWithoutTakingIt) {
    const ORVCriticalSection section;
    const auto takeAndLeave = [&section] { const ORVCriticalSectionGuard own(section, true); };
    ORVCriticalSectionGuard guard(section, false);
    ThreadWatch(takeAndLeave).join();
    guard.enter();
    guard.enter();
    ThreadWatch other(takeAndLeave);
    other.waitUntilAsleepOrDone();
    EXPECT_FALSE(other.isDone());
    guard.leave();
    guard.leave();
    other.join();
}
