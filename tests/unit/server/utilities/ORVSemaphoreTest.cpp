#include "foundation/utilities/ORVSemaphore.h"

#include "tests/unit/server/utilities/ThreadWatch.h"

#include <atomic>
#include <chrono>
#include <memory>
#include <thread>

#include <gtest/gtest.h>

namespace {

constexpr int longEnough = 20'000;

}  // namespace

TEST(Semaphore, GivesItsInitialCount) {
    ORVSemaphore semaphore(2);
    EXPECT_TRUE(semaphore.wait(0));
    EXPECT_TRUE(semaphore.wait(0));
    EXPECT_FALSE(semaphore.wait(0));
}

TEST(Semaphore, RemembersReleases_WhenNobodyWaits) {
    ORVSemaphore semaphore(0);
    semaphore.release(1);
    semaphore.release(2);
    EXPECT_TRUE(semaphore.wait(longEnough));
    EXPECT_TRUE(semaphore.wait(-1));
    EXPECT_TRUE(semaphore.wait(0));
    EXPECT_FALSE(semaphore.wait(0));
}

TEST(Semaphore, AnswersFalseAfterTheGivenTime_WhenNothingIsReleased) {
    ORVSemaphore semaphore(0);
    const auto start = std::chrono::steady_clock::now();
    EXPECT_FALSE(semaphore.wait(30));
    EXPECT_GE(std::chrono::steady_clock::now() - start, std::chrono::milliseconds(30));
    semaphore.release(1);
    EXPECT_TRUE(semaphore.wait(0)) << "the wait that timed out took nothing";
}

TEST(Semaphore, ReleasesNothing_WhenTheCountIsZero) {
    ORVSemaphore semaphore(0);
    semaphore.release(0);
    EXPECT_FALSE(semaphore.wait(0));
}

TEST(Semaphore, WakesAWaiter_WhetherItWaitsForEverOrForAWhile) {
    for (int milliseconds : {-1, longEnough}) {
        ORVSemaphore semaphore(0);
        std::atomic<bool> acquired{false};
        ThreadWatch waiter([&] { acquired = semaphore.wait(milliseconds); });
        waiter.waitUntilAsleepOrDone();
        EXPECT_FALSE(waiter.isDone());
        semaphore.release(1);
        waiter.join();
        EXPECT_TRUE(acquired);
    }
}

TEST(Semaphore, WakesAsManyWaitersAsItReleases) {
    ORVSemaphore semaphore(0);
    std::atomic<int> woken{0};
    const auto body = [&] {
        EXPECT_TRUE(semaphore.wait(longEnough));
        ++woken;
    };
    ThreadWatch first(body);
    ThreadWatch second(body);
    ThreadWatch third(body);
    for (ThreadWatch* waiter : {&first, &second, &third}) {
        waiter->waitUntilAsleepOrDone();
    }
    semaphore.release(2);
    EXPECT_TRUE(comesTrue([&] { return woken == 2; }));
    EXPECT_FALSE(semaphore.wait(0));
    semaphore.release(1);
}

TEST(Semaphore, MayBeDestroyedAsSoonAsAWaitReturns) {
    for (int round = 0; round < 300; ++round) {
        auto semaphore = std::make_unique<ORVSemaphore>(0);
        std::jthread releaser([raw = semaphore.get()] { raw->release(1); });
        EXPECT_TRUE(semaphore->wait(longEnough));
        semaphore.reset();
    }
}
