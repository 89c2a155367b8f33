#pragma once

#include <chrono>
#include <csignal>

namespace velm {

/// Lets a write to a client that is gone, and one to a file that may not grow, fail with an error of its own
/// instead of ending the process. Requires: there is no other thread yet.
void ignoreWriteSignals();

/// The signals that steer the daemon: SIGTERM, SIGINT and SIGHUP. From its construction on they are kept for
/// wait(), also by threads that are started later.
///
/// Used by one thread. Requires: there is no other thread when it is constructed.
class Signals {
public:
    Signals();

    /// The next signal, or 0 when none came within `patience`.
    int wait(std::chrono::milliseconds patience) const;

private:
    sigset_t _handled;
};

}  // namespace velm
