#pragma once

#include <chrono>
#include <cstddef>
#include <functional>

namespace velm {

/// A connected socket on its way to a new owner, who writes to it where nobody has time to wait. It goes
/// when the client has acknowledged every byte that was written before: the kernel then takes
/// HTTPResponse::unblockedBytes at once, however little the client reads.
///
/// The kernel tells nobody when its queue is empty, so it is looked at again and again, ever less often.
///
/// Threads: one at a time. Ownership: the socket stays its owner's and must outlive this object.
class HandOver {
public:
    using Function = std::function<void(int socket)>;

    enum class Step {
        ready,    ///< The socket can go.
        wait,     ///< Look again after pause().
        stalled,  ///< The client has acknowledged nothing for as long as `patience` was.
        broken,   ///< The connection is gone.
    };

    HandOver(int socket, std::chrono::milliseconds patience, Function takeOver);

    Step look();
    /// Requires: look() answered `wait`.
    std::chrono::milliseconds pause();

    /// Requires: called once.
    Function takeFunction() { return std::move(_takeOver); }

private:
    using Clock = std::chrono::steady_clock;

    const int _socket;
    const std::chrono::milliseconds _patience;
    Function _takeOver;
    std::size_t _unacknowledged;
    Clock::time_point _deadline;
    std::chrono::milliseconds _pause{1};
};

}  // namespace velm
