#pragma once

#include "foundation/Export.h"

#include <condition_variable>
#include <mutex>

/// A counting semaphore. Any thread may call it; the object must outlive every wait.
class VELM_EXPORT ORVSemaphore {
public:
    explicit ORVSemaphore(unsigned int initialCount);

    /// Takes one. Waits up to `milliseconds` on a clock that is not set back; answers false on time-out. A
    /// value of 0 tries without waiting, a negative one waits for ever.
    bool wait(int milliseconds);

    /// Gives `count`.
    void release(unsigned int count);

private:
    std::mutex _mutex;
    std::condition_variable _available;
    unsigned int _count;
};
