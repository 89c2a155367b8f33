#include "foundation/utilities/ORVReaderWriterLock.h"

#include "foundation/utilities/ORVSemaphore.h"
#include "foundation/utilities/OrvoBaseException.h"
#include "tests/unit/server/utilities/ThreadWatch.h"

#include <array>
#include <atomic>
#include <chrono>
#include <memory>
#include <mutex>
#include <string>
#include <thread>
#include <vector>

#include <gtest/gtest.h>

namespace {

using Rank = ORVReaderWriterLock::Rank;

constexpr int longEnough = 20'000;

/// The order in which threads came in.
class Order {
public:
    void add(char who) {
        const std::lock_guard lock(_mutex);
        _text += who;
    }
    std::string text() const {
        const std::lock_guard lock(_mutex);
        return _text;
    }

private:
    mutable std::mutex _mutex;
    std::string _text;
};

class ReaderWriterLock : public testing::Test {
protected:
    auto reading(char who) {
        return [this, who] {
            lock.getReadLock();
            order.add(who);
            lock.releaseReadLock();
        };
    }
    auto writing(char who) {
        return [this, who] {
            lock.getWriteLock();
            order.add(who);
            lock.releaseWriteLock();
        };
    }

    const ORVReaderWriterLock lock;
    Order order;
};

}  // namespace

TEST_F(ReaderWriterLock, LetsReadersInTogether) {
    ORVSemaphore inside(0);
    ORVSemaphore mayLeave(0);
    const auto body = [&] {
        lock.getReadLock();
        inside.release(1);
        mayLeave.wait(-1);
        lock.releaseReadLock();
    };
    const std::array<std::jthread, 3> readers{std::jthread(body), std::jthread(body), std::jthread(body)};
    for (int i = 0; i < 3; ++i) {
        EXPECT_TRUE(inside.wait(longEnough));
    }
    mayLeave.release(3);
}

TEST_F(ReaderWriterLock, KeepsReadersAndWritersOut_WhileAWriterIsIn) {
    lock.getWriteLock();
    ThreadWatch reader(reading('r'));
    ThreadWatch writer(writing('w'));
    reader.waitUntilAsleepOrDone();
    writer.waitUntilAsleepOrDone();
    EXPECT_EQ(order.text(), "");
    lock.releaseWriteLock();
    EXPECT_TRUE(comesTrue([this] { return order.text().size() == 2; }));
}

TEST_F(ReaderWriterLock, KeepsAWriterOut_WhileAReaderIsIn) {
    lock.getReadLock();
    ThreadWatch writer(writing('w'));
    writer.waitUntilAsleepOrDone();
    EXPECT_EQ(order.text(), "");
    lock.releaseReadLock();
    writer.join();
    EXPECT_EQ(order.text(), "w");
}

TEST_F(ReaderWriterLock, LetsAReaderInAgain_WhileAWriterWaits) {
    lock.getReadLock();
    ThreadWatch writer(writing('w'));
    writer.waitUntilAsleepOrDone();
    lock.getReadLock();
    lock.getReadLock();
    order.add('r');
    lock.releaseReadLock();
    lock.releaseReadLock();
    writer.waitUntilAsleepOrDone();
    EXPECT_EQ(order.text(), "r") << "the outermost hold is still there";
    lock.releaseReadLock();
    writer.join();
    EXPECT_EQ(order.text(), "rw");
}

TEST_F(ReaderWriterLock, LetsTheWriterInAgain_ForWritingAndForReading) {
    lock.getWriteLock();
    lock.getWriteLock();
    lock.getReadLock();
    lock.getWriteLock();
    lock.releaseWriteLock();
    lock.releaseReadLock();
    lock.releaseWriteLock();
    EXPECT_TRUE(lock.isHeldForWritingByThisThread());
    ThreadWatch reader(reading('r'));
    reader.waitUntilAsleepOrDone();
    EXPECT_EQ(order.text(), "") << "the outermost hold is still there";
    lock.releaseWriteLock();
    EXPECT_FALSE(lock.isHeldByThisThread());
    reader.join();
    EXPECT_EQ(order.text(), "r");
}

TEST_F(ReaderWriterLock, GoesOnAsAReader_WhenTheWriteLockIsReleasedFirst) {
    lock.getWriteLock();
    lock.getReadLock();
    lock.releaseWriteLock();
    EXPECT_TRUE(lock.isHeldByThisThread());
    EXPECT_FALSE(lock.isHeldForWritingByThisThread());
    ThreadWatch reader(reading('r'));
    reader.join();
    ThreadWatch writer(writing('w'));
    writer.waitUntilAsleepOrDone();
    EXPECT_EQ(order.text(), "r");
    lock.releaseReadLock();
    writer.join();
    EXPECT_EQ(order.text(), "rw");
}

TEST_F(ReaderWriterLock, LetsAWaitingWriterInBeforeLaterReaders) {
    lock.getReadLock();
    ThreadWatch writer(writing('w'));
    writer.waitUntilAsleepOrDone();
    ThreadWatch reader(reading('r'));
    reader.waitUntilAsleepOrDone();
    EXPECT_EQ(order.text(), "");
    lock.releaseReadLock();
    writer.join();
    reader.join();
    EXPECT_EQ(order.text(), "wr");
}

TEST_F(ReaderWriterLock, LetsWaitingReadersInBeforeTheNextWriter) {
    lock.getWriteLock();
    ThreadWatch writer(writing('w'));
    writer.waitUntilAsleepOrDone();
    ThreadWatch first(reading('r'));
    ThreadWatch second(reading('r'));
    first.waitUntilAsleepOrDone();
    second.waitUntilAsleepOrDone();
    lock.releaseWriteLock();
    writer.join();
    first.join();
    second.join();
    EXPECT_EQ(order.text(), "rrw");
}

TEST_F(ReaderWriterLock, DoesNotStarveAWriter_WhenReadersOverlapWithoutEnd) {
    std::atomic<int> inside{0};
    std::atomic<bool> isDone{false};
    const auto overlap = [&] {
        while (!isDone) {
            lock.getReadLock();
            ++inside;
            // Leaves only when another reader has come in, or evidently cannot.
            const auto patience = std::chrono::steady_clock::now() + std::chrono::milliseconds(30);
            while (inside < 2 && !isDone && std::chrono::steady_clock::now() < patience) {
                std::this_thread::yield();
            }
            --inside;
            lock.releaseReadLock();
        }
    };
    ORVSemaphore wasIn(0);
    std::jthread first(overlap);
    std::jthread second(overlap);
    std::jthread third(overlap);
    std::jthread writer([&] {
        for (int i = 0; i < 5; ++i) {
            lock.getWriteLock();
            EXPECT_EQ(inside, 0);
            lock.releaseWriteLock();
            wasIn.release(1);
        }
    });
    for (int i = 0; i < 5; ++i) {
        EXPECT_TRUE(wasIn.wait(longEnough));
    }
    isDone = true;
}

TEST_F(ReaderWriterLock, DoesNotStarveAReader_WhenWritersFollowEachOtherWithoutEnd) {
    std::atomic<bool> isDone{false};
    const auto write = [&] {
        while (!isDone) {
            lock.getWriteLock();
            lock.releaseWriteLock();
        }
    };
    ORVSemaphore wasIn(0);
    std::jthread first(write);
    std::jthread second(write);
    std::jthread reader([&] {
        for (int i = 0; i < 200; ++i) {
            lock.getReadLock();
            lock.releaseReadLock();
        }
        wasIn.release(1);
    });
    EXPECT_TRUE(wasIn.wait(longEnough));
    isDone = true;
}

TEST_F(ReaderWriterLock, ExcludesWritersFromAllOthers_UnderLoad) {
    constexpr int rounds = 3000;
    long left = 0;
    long right = 0;
    const auto work = [&](unsigned int seed) {
        for (int i = 0; i < rounds; ++i) {
            seed = seed * 1664525U + 1013904223U;
            if ((seed >> 24) % 8 == 0) {
                lock.getWriteLock();
                ++left;
                lock.getReadLock();
                EXPECT_EQ(left, right + 1);
                lock.releaseReadLock();
                ++right;
                lock.releaseWriteLock();
            } else {
                lock.getReadLock();
                lock.getReadLock();
                EXPECT_EQ(left, right);
                lock.releaseReadLock();
                EXPECT_EQ(left, right);
                lock.releaseReadLock();
            }
        }
    };
    {
        // More threads than any lock has slots on a small machine, so that some share one.
        std::vector<std::jthread> threads;
        for (unsigned int i = 0; i < 8; ++i) {
            threads.emplace_back(work, i);
        }
    }
    EXPECT_EQ(left, right);
    EXPECT_GT(left, rounds / 2);
}

TEST_F(ReaderWriterLock, TellsWhetherThisThreadHoldsIt) {
    EXPECT_FALSE(lock.isHeldByThisThread());
    lock.getReadLock();
    EXPECT_TRUE(lock.isHeldByThisThread());
    EXPECT_FALSE(lock.isHeldForWritingByThisThread());
    std::jthread([this] { EXPECT_FALSE(lock.isHeldByThisThread()); }).join();
    lock.releaseReadLock();
    lock.getWriteLock();
    EXPECT_TRUE(lock.isHeldByThisThread());
    EXPECT_TRUE(lock.isHeldForWritingByThisThread());
    lock.releaseWriteLock();
    EXPECT_FALSE(lock.isHeldByThisThread());
}

TEST_F(ReaderWriterLock, IsReleasedInAnyOrder_WhenAThreadHoldsSeveral) {
    const ORVReaderWriterLock second;
    const ORVReaderWriterLock third;
    lock.getReadLock();
    second.getWriteLock();
    third.getReadLock();
    lock.releaseReadLock();
    EXPECT_FALSE(lock.isHeldByThisThread());
    EXPECT_TRUE(second.isHeldForWritingByThisThread());
    EXPECT_TRUE(third.isHeldByThisThread());
    second.releaseWriteLock();
    EXPECT_TRUE(third.isHeldByThisThread());
    third.releaseReadLock();
    EXPECT_FALSE(third.isHeldByThisThread());
}

TEST_F(ReaderWriterLock, RefusesTheSeventeenthLockOfOneThread) {
    const std::vector<ORVReaderWriterLock> others(16);
    for (const ORVReaderWriterLock& other : others) {
        other.getReadLock();
    }
    EXPECT_THROW(lock.getReadLock(), OrvoBaseException);
    EXPECT_THROW(lock.getWriteLock(), OrvoBaseException);
    others.front().getReadLock();
    others.front().releaseReadLock();
    std::jthread(writing('w')).join();
    EXPECT_EQ(order.text(), "w") << "nothing was taken";
    for (const ORVReaderWriterLock& other : others) {
        other.releaseReadLock();
    }
    lock.getReadLock();
    lock.releaseReadLock();
}

TEST(ReaderWriterLockRank, IsHeld_WhileARankedLockIsHeldEitherWay) {
    const ORVReaderWriterLock manager(Rank::indicationManager);
    const ORVReaderWriterLock classes(Rank::classManager);
    const ORVReaderWriterLock unranked;
    const auto isHeld = &ORVReaderWriterLock::thisThreadHoldsRankedLock;
    EXPECT_FALSE(isHeld());
    unranked.getWriteLock();
    EXPECT_FALSE(isHeld());
    manager.getReadLock();
    classes.getWriteLock();
    EXPECT_TRUE(isHeld());
    std::jthread([isHeld] { EXPECT_FALSE(isHeld()); }).join();
    manager.releaseReadLock();
    EXPECT_TRUE(isHeld());
    classes.getWriteLock();
    classes.releaseWriteLock();
    EXPECT_TRUE(isHeld());
    classes.releaseWriteLock();
    EXPECT_FALSE(isHeld());
    unranked.releaseWriteLock();
}

TEST(ReaderWriterLockRank, MayBeTakenAgain_WhenALockOfAHigherRankIsHeld) {
    const ORVReaderWriterLock manager(Rank::indicationManager);
    const ORVReaderWriterLock classes(Rank::classManager);
    manager.getWriteLock();
    classes.getWriteLock();
    manager.getWriteLock();
    manager.getReadLock();
    manager.releaseReadLock();
    manager.releaseWriteLock();
    classes.releaseWriteLock();
    manager.releaseWriteLock();
    EXPECT_FALSE(ORVReaderWriterLock::thisThreadHoldsRankedLock());
}

#ifdef NDEBUG

TEST_F(ReaderWriterLock, Throws_WhenAReaderAsksForTheWriteLock) {
    lock.getReadLock();
    EXPECT_THROW(lock.getWriteLock(), OrvoBaseException);
    EXPECT_TRUE(lock.isHeldByThisThread());
    lock.releaseReadLock();
    EXPECT_FALSE(lock.isHeldByThisThread());
}

#else

class ReaderWriterLockDeathTest : public ReaderWriterLock {
protected:
    ReaderWriterLockDeathTest() { GTEST_FLAG_SET(death_test_style, "threadsafe"); }
};

TEST_F(ReaderWriterLockDeathTest, Asserts_WhenAReaderAsksForTheWriteLock) {
    EXPECT_DEATH(
        {
            lock.getReadLock();
            lock.getWriteLock();
        },
        "a reader does not ask for the write lock");
}

TEST_F(ReaderWriterLockDeathTest, Asserts_WhenRanksFall) {
    const ORVReaderWriterLock manager(Rank::indicationManager);
    const ORVReaderWriterLock classes(Rank::classManager);
    const auto take = [](const ORVReaderWriterLock& higher, const ORVReaderWriterLock& lower) {
        higher.getReadLock();
        lower.getReadLock();
    };
    EXPECT_DEATH(take(classes, manager), "in the order of their ranks");
    classes.getReadLock();
    EXPECT_DEATH(manager.getWriteLock(), "in the order of their ranks");
    classes.releaseReadLock();
}

TEST_F(ReaderWriterLockDeathTest, Asserts_WhenReleasedWithoutAHold) {
    EXPECT_DEATH(lock.releaseReadLock(), "this thread holds the lock for reading");
    EXPECT_DEATH(lock.releaseWriteLock(), "this thread holds the lock for writing");
}

TEST_F(ReaderWriterLockDeathTest, Asserts_WhenAnotherThreadReleases) {
    EXPECT_DEATH(
        {
            lock.getReadLock();
            std::jthread([this] { lock.releaseReadLock(); }).join();
        },
        "this thread holds the lock for reading");
}

TEST_F(ReaderWriterLockDeathTest, Asserts_WhenDestroyedWhileHeld) {
    EXPECT_DEATH(std::make_unique<ORVReaderWriterLock>()->getReadLock(),
                 "nobody holds a lock that is destroyed");
}

#endif
