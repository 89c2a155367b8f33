#include "foundation/utilities/ORVSemaphore.h"

#include <chrono>

ORVSemaphore::ORVSemaphore(unsigned int initialCount) : _count(initialCount) {
}

bool ORVSemaphore::wait(int milliseconds) {
    std::unique_lock lock(_mutex);
    const auto isAvailable = [this] { return _count > 0; };
    if (milliseconds < 0) {
        _available.wait(lock, isAvailable);
    } else if (!_available.wait_for(lock, std::chrono::milliseconds(milliseconds), isAvailable)) {
        return false;
    }
    --_count;
    return true;
}

void ORVSemaphore::release(unsigned int count) {
    // Waking under the mutex lets a waiter destroy the semaphore as soon as its wait returns.
    const std::lock_guard lock(_mutex);
    _count += count;
    if (count == 1) {
        _available.notify_one();
    } else {
        _available.notify_all();
    }
}
