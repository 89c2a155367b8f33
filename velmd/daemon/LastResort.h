#pragma once

#include <chrono>
#include <functional>
#include <string>
#include <thread>

namespace velm {

/// Ends the process, with exit code 1 and a line in the log, when SIGTERM or SIGINT comes while this object
/// lives, or when it is not gone in time: a provider that does not come back cannot be stopped otherwise.
/// What was acknowledged is on disk by then.
///
/// Used by one thread. Requires: a Signals was constructed before, so that the signals wait to be taken.
/// Failure: the constructor throws std::system_error.
class LastResort {
public:
    using Clock = std::chrono::steady_clock;
    static constexpr Clock::time_point never = Clock::time_point::max();

    /// What the log says last: of the signal that came, or of the time that is over (0). Called on another
    /// thread, at most once; what it throws is dropped.
    using LastWords = std::function<std::string(int signal)>;

    LastResort(Clock::time_point deadline, LastWords lastWords);
    LastResort(const LastResort&) = delete;
    LastResort& operator=(const LastResort&) = delete;
    ~LastResort();

private:
    void _watch(Clock::time_point deadline, const LastWords& lastWords) const;

    const int _signals;
    const int _isOver;
    std::thread _watcher;
};

}  // namespace velm
