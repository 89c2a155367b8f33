#include "providers/support/WatcherThread.h"

#include <cerrno>
#include <poll.h>
#include <pthread.h>
#include <signal.h>
#include <sys/eventfd.h>
#include <system_error>
#include <unistd.h>
#include <utility>

namespace velm::providers {

namespace {

/// Blocks all signals of the calling thread, and so of the threads that it starts.
class BlockedSignals {
public:
    BlockedSignals() {
        sigset_t all;
        sigfillset(&all);
        pthread_sigmask(SIG_SETMASK, &all, &_before);
    }
    BlockedSignals(const BlockedSignals&) = delete;
    BlockedSignals& operator=(const BlockedSignals&) = delete;
    ~BlockedSignals() { pthread_sigmask(SIG_SETMASK, &_before, nullptr); }

private:
    sigset_t _before;
};

}  // namespace

WatcherThread::WatcherThread() : _stopEvent(eventfd(0, EFD_CLOEXEC)) {
    if (_stopEvent < 0) {
        throw std::system_error(errno, std::generic_category(), "cannot make an event descriptor");
    }
}

WatcherThread::~WatcherThread() {
    stop();
    ::close(_stopEvent);
}

void WatcherThread::start(const std::string& name, const std::vector<int>& descriptors, Turn turn) {
    const BlockedSignals blocked;
    _thread = std::thread([this, descriptors, turn = std::move(turn)] { _run(descriptors, turn); });
    pthread_setname_np(_thread.native_handle(), name.c_str());
}

void WatcherThread::stop() noexcept {
    if (_thread.joinable()) {
        eventfd_write(_stopEvent, 1);
        _thread.join();
    }
}

void WatcherThread::_run(const std::vector<int>& descriptors, const Turn& turn) const {
    std::vector<pollfd> waits{{_stopEvent, POLLIN, 0}};
    for (const int descriptor : descriptors) {
        waits.push_back({descriptor, POLLIN, 0});
    }
    Patience patience{0};
    while (true) {
        const int ready = poll(waits.data(), waits.size(), static_cast<int>(patience.count()));
        if (ready > 0 && waits[0].revents != 0) {
            return;
        }
        patience = turn();
    }
}

}  // namespace velm::providers
