#include "providers/file_watch/DirectoryWatcher.h"

#include <cerrno>
#include <poll.h>
#include <sys/eventfd.h>
#include <sys/inotify.h>
#include <system_error>
#include <unistd.h>

namespace velm::file_watch {

namespace {

constexpr std::uint32_t watchedEvents = IN_CREATE | IN_DELETE | IN_MOVED_FROM | IN_MOVED_TO | IN_CLOSE_WRITE |
                                        IN_ATTRIB | IN_DELETE_SELF | IN_MOVE_SELF | IN_ONLYDIR;

/// Answers false when nothing more will be heard of the directory.
bool tell(DirectoryListener& listener, const inotify_event& event) {
    const std::string_view name = event.len != 0 ? event.name : "";
    if (event.mask & IN_Q_OVERFLOW) {
        listener.onOverflow();
    } else if (event.mask & (IN_DELETE_SELF | IN_MOVE_SELF | IN_IGNORED | IN_UNMOUNT)) {
        listener.onGone();
        return false;
    } else if (name.empty() || (event.mask & IN_ISDIR)) {
        return true;
    } else if (event.mask & (IN_CREATE | IN_MOVED_TO)) {
        listener.onAppeared(name);
    } else if (event.mask & (IN_DELETE | IN_MOVED_FROM)) {
        listener.onDisappeared(name);
    } else if (event.mask & (IN_CLOSE_WRITE | IN_ATTRIB)) {
        listener.onChanged(name);
    }
    return true;
}

}  // namespace

DirectoryWatcher::DirectoryWatcher(const std::string& directory, DirectoryListener& listener)
    : _listener(listener),
      _inotify(inotify_init1(IN_CLOEXEC | IN_NONBLOCK)),
      _stopEvent(eventfd(0, EFD_CLOEXEC)) {
    if (_inotify < 0 || _stopEvent < 0 || inotify_add_watch(_inotify, directory.c_str(), watchedEvents) < 0) {
        const int error = errno;
        ::close(_inotify);
        ::close(_stopEvent);
        throw std::system_error(error, std::generic_category(), "cannot watch '" + directory + "'");
    }
}

DirectoryWatcher::~DirectoryWatcher() {
    if (_thread.joinable()) {
        eventfd_write(_stopEvent, 1);
        _thread.join();
    }
    ::close(_inotify);
    ::close(_stopEvent);
}

void DirectoryWatcher::start() {
    _thread = std::thread([this] { _run(); });
}

void DirectoryWatcher::_run() {
    pollfd waits[] = {{_inotify, POLLIN, 0}, {_stopEvent, POLLIN, 0}};
    while (true) {
        if (poll(waits, 2, -1) < 0 && errno != EINTR) {
            return;
        }
        if (waits[1].revents != 0 || (waits[0].revents != 0 && !_readEvents())) {
            return;
        }
    }
}

bool DirectoryWatcher::_readEvents() {
    alignas(inotify_event) char buffer[16 * 1024];
    const ssize_t size = read(_inotify, buffer, sizeof buffer);
    for (ssize_t offset = 0; offset < size;) {
        const auto& event = *reinterpret_cast<const inotify_event*>(buffer + offset);
        if (!tell(_listener, event)) {
            return false;
        }
        offset += static_cast<ssize_t>(sizeof(inotify_event) + event.len);
    }
    return true;
}

}  // namespace velm::file_watch
