#pragma once

#include "foundation/utilities/ORVReaderWriterLock.h"

/// Enters and leaves a region guarded by a reader/writer lock; the destructor leaves what is still entered.
///
/// For the places where a lock is given back before the end of the scope, or on one path only. Used by one
/// thread. The lock must outlive the guard.
class ORVLockGuard {
public:
    enum Mode { forReading, forWriting };

    /// Does not take the lock yet.
    ORVLockGuard(const ORVReaderWriterLock& lock, Mode mode) noexcept : _lock(lock), _mode(mode) {}
    ORVLockGuard(const ORVLockGuard&) = delete;
    ORVLockGuard& operator=(const ORVLockGuard&) = delete;
    ~ORVLockGuard() { leave(); }

    void enter() {
        if (!_entered) {
            _mode == forReading ? _lock.getReadLock() : _lock.getWriteLock();
            _entered = true;
        }
    }

    void leave() {
        if (_entered) {
            _entered = false;
            _mode == forReading ? _lock.releaseReadLock() : _lock.releaseWriteLock();
        }
    }

    bool isEntered() const noexcept { return _entered; }

private:
    const ORVReaderWriterLock& _lock;
    const Mode _mode;
    bool _entered = false;
};
