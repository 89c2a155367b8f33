#include "providers/file_watch/Inotify.h"

#include <cerrno>
#include <cstdint>
#include <sys/inotify.h>
#include <sys/stat.h>
#include <system_error>
#include <unistd.h>

namespace velm::file_watch {

namespace {

constexpr std::uint32_t entryEvents = IN_CREATE | IN_DELETE | IN_MOVED_FROM | IN_MOVED_TO | IN_DELETE_SELF |
                                      IN_MOVE_SELF | IN_ONLYDIR | IN_EXCL_UNLINK;
constexpr std::uint32_t changeEvents = IN_MODIFY | IN_CLOSE_WRITE | IN_ATTRIB;
/// Some hundred events at most, so that whoever stops the reader need not wait for thousands of reports.
constexpr std::size_t bufferSize = 4 * 1024;

std::uint32_t maskOf(Inotify::Extent extent) {
    return extent == Inotify::entriesOnly ? entryEvents : entryEvents | changeEvents;
}

[[noreturn]] void raise(int error, const std::string& what) {
    std::string hint;
    if (error == ENOSPC) {
        hint = " (is fs.inotify.max_user_watches used up?)";
    } else if (error == EMFILE) {
        hint = " (is fs.inotify.max_user_instances used up?)";
    } else if (error == EEXIST) {
        hint = " (it is watched already)";
    }
    throw std::system_error(error, std::generic_category(), what + hint);
}

void tellOfEntry(DirectoryListener& listener, const inotify_event& event) {
    const std::string_view name = event.name;
    if (event.mask & (IN_CREATE | IN_MOVED_TO)) {
        listener.onAppeared(event.wd, name);
    } else if (event.mask & (IN_DELETE | IN_MOVED_FROM)) {
        listener.onDisappeared(event.wd, name);
    } else if (event.mask & (IN_CLOSE_WRITE | IN_ATTRIB)) {
        listener.onChanged(event.wd, name);
    } else if (event.mask & IN_MODIFY) {
        listener.onBeingWritten(event.wd, name);
    }
}

void tell(DirectoryListener& listener, const inotify_event& event) {
    if (event.mask & IN_Q_OVERFLOW) {
        listener.onOverflow();
    } else if (event.mask & (IN_DELETE_SELF | IN_MOVE_SELF | IN_UNMOUNT)) {
        listener.onGone(event.wd);
    } else if (event.len != 0 && !(event.mask & IN_ISDIR)) {
        tellOfEntry(listener, event);
    }
}

}  // namespace

Inotify::Inotify() : _descriptor(inotify_init1(IN_CLOEXEC | IN_NONBLOCK)) {
    if (_descriptor < 0) {
        raise(errno, "cannot watch directories");
    }
}

Inotify::~Inotify() {
    ::close(_descriptor);
}

Inotify::Watch Inotify::add(const std::string& directory, Extent extent) {
    const int number = inotify_add_watch(_descriptor, directory.c_str(), maskOf(extent) | IN_MASK_CREATE);
    struct stat status {};
    if (number < 0 || stat(directory.c_str(), &status) != 0) {
        raise(errno, "cannot watch '" + directory + "'");
    }
    return {number, status.st_dev, status.st_ino};
}

bool Inotify::change(const Watch& watch, const std::string& directory, Extent extent) {
    // Another directory at this path may be watched too, and must keep its watch as it is.
    struct stat status {};
    if (stat(directory.c_str(), &status) != 0) {
        if (errno != ENOENT && errno != ENOTDIR) {
            raise(errno, "cannot watch '" + directory + "'");
        }
        return false;
    }
    if (status.st_dev != watch.device || status.st_ino != watch.inode) {
        return false;
    }
    const int changed = inotify_add_watch(_descriptor, directory.c_str(), maskOf(extent));
    if (changed < 0) {
        raise(errno, "cannot watch '" + directory + "'");
    }
    if (changed != watch.number) {
        inotify_rm_watch(_descriptor, changed);
    }
    return changed == watch.number;
}

void Inotify::remove(const Watch& watch) noexcept {
    inotify_rm_watch(_descriptor, watch.number);
}

void Inotify::read(DirectoryListener& listener) {
    alignas(inotify_event) char buffer[bufferSize];
    const ssize_t size = ::read(_descriptor, buffer, sizeof buffer);
    for (ssize_t offset = 0; offset < size;) {
        const auto& event = *reinterpret_cast<const inotify_event*>(buffer + offset);
        tell(listener, event);
        offset += static_cast<ssize_t>(sizeof(inotify_event) + event.len);
    }
}

}  // namespace velm::file_watch
