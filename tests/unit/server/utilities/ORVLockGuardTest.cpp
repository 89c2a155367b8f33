#include "foundation/utilities/ORVLockGuard.h"

#include <gtest/gtest.h>

TEST(LockGuard, DoesNotTakeTheLockUntilEntered) {
    const ORVReaderWriterLock lock;
    const ORVLockGuard guard(lock, ORVLockGuard::forWriting);
    EXPECT_FALSE(guard.isEntered());
    EXPECT_FALSE(lock.isHeldByThisThread());
}

TEST(LockGuard, TakesTheLockForReading) {
    const ORVReaderWriterLock lock;
    ORVLockGuard guard(lock, ORVLockGuard::forReading);
    guard.enter();
    EXPECT_TRUE(guard.isEntered());
    EXPECT_TRUE(lock.isHeldByThisThread());
    EXPECT_FALSE(lock.isHeldForWritingByThisThread());
    guard.leave();
    EXPECT_FALSE(guard.isEntered());
    EXPECT_FALSE(lock.isHeldByThisThread());
}

TEST(LockGuard, TakesTheLockForWriting) {
    const ORVReaderWriterLock lock;
    ORVLockGuard guard(lock, ORVLockGuard::forWriting);
    guard.enter();
    EXPECT_TRUE(lock.isHeldForWritingByThisThread());
    guard.leave();
    EXPECT_FALSE(lock.isHeldByThisThread());
}

TEST(LockGuard, LeavesWhatIsStillEntered_WhenTheScopeEnds) {
    const ORVReaderWriterLock lock;
    {
        ORVLockGuard guard(lock, ORVLockGuard::forWriting);
        guard.enter();
        guard.enter();
    }
    EXPECT_FALSE(lock.isHeldByThisThread());
}

TEST(LockGuard, LeavesOnce_WhenLeftTwice) {
    const ORVReaderWriterLock lock;
    lock.getReadLock();
    {
        ORVLockGuard guard(lock, ORVLockGuard::forReading);
        guard.enter();
        guard.leave();
        guard.leave();
    }
    EXPECT_TRUE(lock.isHeldByThisThread());
    lock.releaseReadLock();
}
