#pragma once

#include <chrono>
#include <functional>
#include <future>
#include <memory>
#include <optional>
#include <thread>
#include <utility>

namespace velm {

/// Does `work` on a thread of its own, and answers its result, or nothing when it takes longer than `time`:
/// the thread then goes on by itself, so that `work` must own all that it uses. For calls of the system that
/// know no deadline. Any thread. Failure: whatever `work` throws in time.
template <class Result>
std::optional<Result> inTime(std::chrono::milliseconds time, std::function<Result()> work) {
    std::packaged_task<Result()> task(std::move(work));
    std::future<Result> result = task.get_future();
    std::thread(std::move(task)).detach();
    if (result.wait_for(time) != std::future_status::ready) {
        return std::nullopt;
    }
    return result.get();
}

}  // namespace velm
