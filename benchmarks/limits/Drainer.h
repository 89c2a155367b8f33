#pragma once

#include "benchmarks/harness/Placement.h"

#include <chrono>
#include <condition_variable>
#include <functional>
#include <mutex>
#include <thread>

namespace velm::bench {

/// The counterpart of the delivery thread: a thread on the second core that drains once a second.
class Drainer {
public:
    explicit Drainer(std::function<void()> drain)
        : _thread([this, drain = std::move(drain)](const std::stop_token& stop) { _run(stop, drain); }) {}

private:
    void _run(const std::stop_token& stop, const std::function<void()>& drain) {
        pinThread(cores().second);
        std::unique_lock lock(_lock);
        while (!stop.stop_requested()) {
            _ended.wait_for(lock, stop, std::chrono::seconds(1), [] { return false; });
            drain();
        }
    }

    std::mutex _lock;
    std::condition_variable_any _ended;
    std::jthread _thread;
};

}  // namespace velm::bench
