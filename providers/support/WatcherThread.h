#pragma once

#include <chrono>
#include <functional>
#include <string>
#include <thread>
#include <vector>

namespace velm::providers {

/// The thread on which a provider reads what the kernel tells it. All signals are blocked on it.
///
/// Threads: constructed, started and destroyed by one thread, which is not the watcher's own. Failure: the
/// constructor throws std::system_error.
class WatcherThread {
public:
    using Patience = std::chrono::milliseconds;
    static constexpr Patience forever{-1};

    /// Takes a turn and answers when the next one is due at the latest. Requires: does not throw.
    using Turn = std::function<Patience()>;

    WatcherThread();
    WatcherThread(const WatcherThread&) = delete;
    WatcherThread& operator=(const WatcherThread&) = delete;
    ~WatcherThread();

    /// Takes turns from now on: one at once, then one whenever one of `descriptors` has something to read or
    /// the time has come. `name` is that of the thread, 15 characters at the most. Requires: called once.
    void start(const std::string& name, const std::vector<int>& descriptors, Turn turn);

    /// Waits for the turn under way; none follows. Harmless when repeated, or without a start.
    void stop() noexcept;

private:
    void _run(const std::vector<int>& descriptors, const Turn& turn) const;

    const int _stopEvent;
    std::thread _thread;
};

}  // namespace velm::providers
