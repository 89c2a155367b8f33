#include "velmctl/commands/Ending.h"

#include <algorithm>
#include <cerrno>
#include <csignal>
#include <cstdint>
#include <poll.h>
#include <sys/eventfd.h>
#include <sys/signalfd.h>
#include <system_error>
#include <unistd.h>

namespace velm {

namespace {

sigset_t endingSignals() {
    sigset_t signals;
    sigemptyset(&signals);
    for (const int number : {SIGINT, SIGTERM, SIGHUP}) {
        sigaddset(&signals, number);
    }
    return signals;
}

void block(int how) {
    const sigset_t signals = endingSignals();
    ::pthread_sigmask(how, &signals, nullptr);
}

int require(int descriptor, const char* operation) {
    if (descriptor < 0) {
        throw std::system_error(errno, std::generic_category(), operation);
    }
    return descriptor;
}

}  // namespace

Ending::Ending() {
    block(SIG_BLOCK);
    const sigset_t signals = endingSignals();
    _signals = require(::signalfd(-1, &signals, SFD_CLOEXEC), "signalfd");
    _stopped = require(::eventfd(0, EFD_CLOEXEC), "eventfd");
}

Ending::~Ending() {
    block(SIG_UNBLOCK);
    ::close(_signals);
    ::close(_stopped);
}

Ending::Cause Ending::wait(int descriptor, std::chrono::milliseconds time) {
    pollfd watched[] = {{_signals, POLLIN, 0}, {_stopped, POLLIN, 0}, {descriptor, POLLIN, 0}};
    const auto timeout = static_cast<int>(std::max<std::int64_t>(0, time.count()));
    if (::poll(watched, std::size(watched), timeout) < 0 && errno != EINTR) {
        throw std::system_error(errno, std::generic_category(), "poll");
    }
    if (watched[0].revents != 0) {
        signalfd_siginfo taken{};
        [[maybe_unused]] const ssize_t size = ::read(_signals, &taken, sizeof taken);
        block(SIG_UNBLOCK);
        return Cause::told;
    }
    if (watched[1].revents != 0) {
        return Cause::told;
    }
    return watched[2].revents != 0 ? Cause::readable : Cause::late;
}

void Ending::stop() noexcept {
    const std::uint64_t one = 1;
    [[maybe_unused]] const ssize_t size = ::write(_stopped, &one, sizeof one);
}

}  // namespace velm
