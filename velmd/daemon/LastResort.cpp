#include "velmd/daemon/LastResort.h"

#include "foundation/services/ORVLog.h"
#include "velmd/daemon/LogSetup.h"

#include <unistd.h>

#include <fmt/format.h>

namespace velm {

LastResort::LastResort(std::chrono::milliseconds patience)
    : _watcher([this, patience] { _watch(patience); }) {
}

LastResort::~LastResort() {
    {
        const std::lock_guard lock(_lock);
        _isOver = true;
    }
    _changed.notify_all();
    _watcher.join();
}

void LastResort::_watch(std::chrono::milliseconds patience) {
    std::unique_lock lock(_lock);
    if (_changed.wait_for(lock, patience, [this] { return _isOver; })) {
        return;
    }
    logError(
        fmt::format("Ended without them: a request or a provider did not come to its end within {} seconds.",
                    std::chrono::duration_cast<std::chrono::seconds>(patience).count()));
    ORVLog::flush();
    ::_exit(1);
}

}  // namespace velm
