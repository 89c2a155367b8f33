#pragma once

#include "benchmarks/harness/Worker.h"

#include <algorithm>
#include <chrono>
#include <cstddef>
#include <ctime>
#include <utility>
#include <vector>

namespace velm::bench {

inline double nanoseconds(Clock::duration duration) {
    return std::chrono::duration<double, std::nano>(duration).count();
}

/// The processor time of the calling thread. Other load on the machine disturbs it less than it disturbs the
/// clock on the wall; it misses what a thread spends waiting.
inline std::chrono::nanoseconds threadTime() {
    timespec time;
    ::clock_gettime(CLOCK_THREAD_CPUTIME_ID, &time);
    return std::chrono::seconds(time.tv_sec) + std::chrono::nanoseconds(time.tv_nsec);
}

/// Mean nanoseconds, of this thread's time, of `act(thing)` over about `count` things. They are made by
/// `make()` a batch at a time, outside the time taken, and destroyed outside it too. Stops early once `most`
/// is spent in `act`.
template <class Make, class Act>
double meanTime(std::size_t count, Make make, Act act,
                Clock::duration most = std::chrono::milliseconds(400)) {
    constexpr std::size_t batch = 256;
    Clock::duration spent{};
    std::size_t done = 0;
    std::vector<decltype(make())> things;
    while (done < count && spent < most) {
        things.clear();
        while (things.size() < std::min(batch, count - done)) {
            things.push_back(make());
        }
        const auto start = threadTime();
        for (auto& thing : things) {
            act(thing);
        }
        spent += threadTime() - start;
        done += things.size();
    }
    return nanoseconds(spent) / static_cast<double>(done);
}

}  // namespace velm::bench
