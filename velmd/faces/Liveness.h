#pragma once

#include <atomic>
#include <chrono>
#include <string>

namespace velm {

/// When the server was last seen to get on, passed from the one thread that looks to whoever asks.
///
/// Threads: any.
class Liveness {
public:
    using Clock = std::chrono::steady_clock;

    /// How long nothing may get on before that is told: one request may well take its time.
    static constexpr std::chrono::seconds patience{15};

    explicit Liveness(Clock::time_point now = Clock::now()) noexcept : _last(now) {}

    void noteProgress(Clock::time_point now = Clock::now()) noexcept { _last = now; }

    /// What is wrong, in a sentence for the operator; empty when nothing is.
    std::string illness(Clock::time_point now = Clock::now()) const;

private:
    std::atomic<Clock::time_point> _last;
};

}  // namespace velm
