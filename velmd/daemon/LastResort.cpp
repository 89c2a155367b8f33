#include "velmd/daemon/LastResort.h"

#include "foundation/services/ORVLog.h"
#include "velmd/daemon/LogSetup.h"

#include <algorithm>
#include <cerrno>
#include <climits>
#include <csignal>
#include <poll.h>
#include <sys/eventfd.h>
#include <sys/signalfd.h>
#include <system_error>
#include <unistd.h>
#include <utility>

namespace velm {

namespace {

constexpr int exitUndone = 1;

int signalDescriptor() {
    sigset_t ending;
    sigemptyset(&ending);
    sigaddset(&ending, SIGTERM);
    sigaddset(&ending, SIGINT);
    return ::signalfd(-1, &ending, SFD_CLOEXEC | SFD_NONBLOCK);
}

int checked(int descriptor) {
    if (descriptor < 0) {
        throw std::system_error(errno, std::generic_category(), "cannot watch for the end");
    }
    return descriptor;
}

/// For poll(2); rounded up, so that a deadline that is near does not make the watcher spin.
int patienceUntil(LastResort::Clock::time_point deadline) {
    if (deadline == LastResort::never) {
        return -1;
    }
    const auto left = std::chrono::ceil<std::chrono::milliseconds>(deadline - LastResort::Clock::now());
    return static_cast<int>(std::clamp<std::chrono::milliseconds::rep>(left.count(), 0, INT_MAX));
}

[[noreturn]] void end(const LastResort::LastWords& lastWords, int signal) {
    try {
        logError(lastWords(signal));
        ORVLog::flush();
    } catch (...) {
        // The end comes all the same.
    }
    ::_exit(exitUndone);
}

}  // namespace

LastResort::LastResort(Clock::time_point deadline, LastWords lastWords)
    : _signals(checked(signalDescriptor())), _isOver(checked(::eventfd(0, EFD_CLOEXEC))) {
    _watcher = std::thread([this, deadline, words = std::move(lastWords)] { _watch(deadline, words); });
}

LastResort::~LastResort() {
    ::eventfd_write(_isOver, 1);
    _watcher.join();
    ::close(_isOver);
    ::close(_signals);
}

void LastResort::_watch(Clock::time_point deadline, const LastWords& lastWords) const {
    pollfd waits[] = {{_isOver, POLLIN, 0}, {_signals, POLLIN, 0}};
    for (;;) {
        const int ready = ::poll(waits, 2, patienceUntil(deadline));
        if (ready > 0 && waits[0].revents != 0) {
            return;
        }
        signalfd_siginfo signal{};
        if (ready > 0 && ::read(_signals, &signal, sizeof signal) == sizeof signal) {
            end(lastWords, static_cast<int>(signal.ssi_signo));
        }
        if (Clock::now() >= deadline) {
            end(lastWords, 0);
        }
    }
}

}  // namespace velm
