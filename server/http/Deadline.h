#pragma once

#include <algorithm>
#include <chrono>
#include <climits>

namespace velm {

/// A point in time by which something must be done; by default never. A value.
class Deadline {
public:
    using Clock = std::chrono::steady_clock;

    Deadline() noexcept = default;

    /// So many milliseconds from now; never for 0 and less.
    static Deadline after(long milliseconds) noexcept {
        Deadline deadline;
        if (milliseconds > 0) {
            deadline._time = Clock::now() + std::min(std::chrono::milliseconds(milliseconds), _longest);
        }
        return deadline;
    }

    bool isNever() const noexcept { return _time == Clock::time_point::max(); }
    bool hasPassed() const noexcept { return !isNever() && Clock::now() >= _time; }
    Clock::time_point time() const noexcept { return _time; }

    /// The time that is left as poll(2) takes it: milliseconds, rounded up; -1 for ever.
    int pollTimeout() const noexcept {
        if (isNever()) {
            return -1;
        }
        const auto left = std::chrono::ceil<std::chrono::milliseconds>(_time - Clock::now()).count();
        return static_cast<int>(std::clamp<long>(left, 0, INT_MAX));
    }

private:
    /// A century: far enough for anybody, and no overflow when added to the clock.
    static constexpr std::chrono::milliseconds _longest = std::chrono::hours(24 * 36525);

    Clock::time_point _time = Clock::time_point::max();
};

}  // namespace velm
