#include "providers/file_watch/PathWatch.h"

#include <cerrno>
#include <cstdint>
#include <filesystem>
#include <sys/inotify.h>
#include <system_error>
#include <unistd.h>

namespace velm::file_watch {

namespace {

constexpr std::uint32_t events = IN_CREATE | IN_DELETE | IN_MOVED_FROM | IN_MOVED_TO | IN_ONLYDIR;
/// The watched directory is no more, or its file system.
constexpr std::uint32_t endsWatch = IN_IGNORED | IN_UNMOUNT;
constexpr std::size_t bufferSize = 4 * 1024;

}  // namespace

PathWatch::PathWatch() : _descriptor(inotify_init1(IN_CLOEXEC | IN_NONBLOCK)) {
    if (_descriptor < 0) {
        throw std::system_error(errno, std::generic_category(),
                                "cannot watch paths (is fs.inotify.max_user_instances used up?)");
    }
}

PathWatch::~PathWatch() {
    ::close(_descriptor);
}

void PathWatch::follow(const std::string& path) {
    const Entries before = _take(path);
    std::filesystem::path directory;
    for (const std::filesystem::path& part : std::filesystem::path(path)) {
        // The root has no directory above it.
        if (!directory.empty()) {
            const int watch = inotify_add_watch(_descriptor, directory.c_str(), events);
            if (watch >= 0) {
                _entries.emplace(std::pair(watch, part.string()), path);
            } else if (errno == ENOENT || errno == ENOTDIR) {
                break;
            }
        }
        directory /= part;
    }
    for (const auto& [entry, ignored] : before) {
        if (!_isNeeded(entry.first)) {
            inotify_rm_watch(_descriptor, entry.first);
        }
    }
}

PathWatch::Entries PathWatch::_take(const std::string& path) {
    Entries taken;
    for (auto next = _entries.begin(); next != _entries.end();) {
        const auto entry = next++;
        if (entry->second == path) {
            taken.insert(_entries.extract(entry));
        }
    }
    return taken;
}

bool PathWatch::_isNeeded(int watch) const {
    const auto found = _entries.lower_bound(std::pair(watch, std::string()));
    return found != _entries.end() && found->first.first == watch;
}

std::set<std::string> PathWatch::read() {
    std::set<std::string> paths;
    alignas(inotify_event) char buffer[bufferSize];
    const ssize_t size = ::read(_descriptor, buffer, sizeof buffer);
    for (ssize_t offset = 0; offset < size;) {
        const auto& event = *reinterpret_cast<const inotify_event*>(buffer + offset);
        if (event.mask & IN_Q_OVERFLOW) {
            return _allPaths();
        }
        if (event.mask & endsWatch) {
            _addPathsThrough(event.wd, paths);
        } else if (event.len != 0) {
            _addPathsOf(event.wd, event.name, paths);
        }
        offset += static_cast<ssize_t>(sizeof(inotify_event) + event.len);
    }
    return paths;
}

void PathWatch::_addPathsOf(int watch, std::string_view name, std::set<std::string>& paths) const {
    const auto [first, last] = _entries.equal_range(std::pair(watch, std::string(name)));
    for (auto entry = first; entry != last; ++entry) {
        paths.insert(entry->second);
    }
}

void PathWatch::_addPathsThrough(int watch, std::set<std::string>& paths) const {
    for (const auto& [entry, path] : _entries) {
        if (entry.first == watch) {
            paths.insert(path);
        }
    }
}

std::set<std::string> PathWatch::_allPaths() const {
    std::set<std::string> paths;
    for (const auto& [entry, path] : _entries) {
        paths.insert(path);
    }
    return paths;
}

}  // namespace velm::file_watch
