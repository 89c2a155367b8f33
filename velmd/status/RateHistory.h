#pragma once

#include "velmd/status/ServerStatus.h"

#include <chrono>
#include <cstdint>
#include <deque>
#include <mutex>
#include <vector>

namespace velm::status {

/// How fast the counters went up in the last minutes, in steps.
///
/// Threads: any number.
class RateHistory {
public:
    using Clock = std::chrono::steady_clock;

    static constexpr std::chrono::seconds step{5};
    /// Ten minutes.
    static constexpr std::size_t steps = 120;

    explicit RateHistory(Clock::time_point start) : _lastTime(start) {}

    /// Whether a step has gone by since the last sample.
    bool isDue(Clock::time_point now) const;

    /// Takes note of where the counters stand. A step that was late is told by its mean; steps that were
    /// missed altogether count as as many of the same rate.
    void add(const Counters& counters, Clock::time_point now);

    /// Oldest first.
    std::vector<Rate> rates() const;

private:
    struct Totals {
        std::uint64_t reported = 0;
        std::uint64_t delivered = 0;
        std::uint64_t failed = 0;
        std::uint64_t dropped = 0;
    };
    static Totals _totalsOf(const Counters& counters);

    mutable std::mutex _lock;
    // Guarded by _lock.
    Clock::time_point _lastTime;
    Totals _last;
    std::deque<Rate> _rates;
};

}  // namespace velm::status
