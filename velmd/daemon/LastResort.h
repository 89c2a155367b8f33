#pragma once

#include <chrono>
#include <condition_variable>
#include <mutex>
#include <thread>

namespace velm {

/// Ends the process, with exit code 1 and a line in the log, when this object is not gone in time: a provider
/// that does not come back cannot be stopped otherwise. What was acknowledged is on disk by then.
///
/// Used by one thread.
class LastResort {
public:
    explicit LastResort(std::chrono::milliseconds patience);
    LastResort(const LastResort&) = delete;
    LastResort& operator=(const LastResort&) = delete;
    ~LastResort();

private:
    void _watch(std::chrono::milliseconds patience);

    std::mutex _lock;
    std::condition_variable _changed;
    bool _isOver = false;
    std::thread _watcher;
};

}  // namespace velm
