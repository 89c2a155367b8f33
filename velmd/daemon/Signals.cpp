#include "velmd/daemon/Signals.h"

#include <ctime>

namespace velm {

void ignoreWriteSignals() {
    std::signal(SIGPIPE, SIG_IGN);
    std::signal(SIGXFSZ, SIG_IGN);
}

Signals::Signals() {
    sigemptyset(&_handled);
    for (const int signal : {SIGTERM, SIGINT, SIGHUP}) {
        sigaddset(&_handled, signal);
    }
    pthread_sigmask(SIG_BLOCK, &_handled, nullptr);
}

int Signals::wait(std::chrono::milliseconds patience) const {
    const auto seconds = std::chrono::duration_cast<std::chrono::seconds>(patience);
    const auto rest = std::chrono::nanoseconds(patience - seconds);
    const timespec timeout{seconds.count(), rest.count()};
    const int signal = sigtimedwait(&_handled, nullptr, &timeout);
    return signal > 0 ? signal : 0;
}

}  // namespace velm
