#pragma once

#include <chrono>

namespace velm {

/// What ends a command that runs until it is told to stop: SIGINT (Ctrl-C), SIGTERM, SIGHUP, or stop().
///
/// Threads: wait() on one, stop() on any. Made before any other thread, which would get the signals
/// otherwise. Failure: std::system_error.
class Ending {
public:
    enum class Cause {
        told,      ///< A signal came, or stop() was called.
        readable,  ///< There is something to read.
        late,      ///< Neither, in time.
    };

    Ending();
    Ending(const Ending&) = delete;
    Ending& operator=(const Ending&) = delete;
    /// Signals end the process from then on.
    ~Ending();

    /// Waits for one of the causes; `descriptor` may be -1. Once told, a second signal ends the process.
    Cause wait(int descriptor, std::chrono::milliseconds time);

    void stop() noexcept;

private:
    int _signals;
    int _stopped;
};

}  // namespace velm
