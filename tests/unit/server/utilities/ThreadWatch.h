#pragma once

#include <atomic>
#include <functional>
#include <sys/types.h>
#include <thread>

/// A thread whose body is known to be asleep or done, so that a test can act "while it waits" without
/// guessing a time. The destructor joins it.
class ThreadWatch {
public:
    explicit ThreadWatch(std::function<void()> body);

    /// Returns when the thread has slept for a good while, or when its body has returned. Fails the test
    /// after 20 seconds without either.
    void waitUntilAsleepOrDone();

    bool isDone() const { return _isDone; }
    void join() { _thread.join(); }

private:
    bool _isAsleep() const;

    std::atomic<pid_t> _id{0};
    std::atomic<bool> _isDone{false};
    std::jthread _thread;
};

/// Waits until `condition` holds; answers false after 20 seconds.
bool comesTrue(const std::function<bool()>& condition);
