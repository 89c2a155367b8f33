#pragma once

#include <map>
#include <set>
#include <string>
#include <string_view>
#include <utility>

namespace velm::file_watch {

/// Notices that something else may stand at a path: one of its parts was created, removed or renamed, or a
/// link in it turned. It watches the directories above the path, from the root on as far as they exist, for
/// the one entry that leads on to it, through a queue of inotify(7) of its own.
///
/// What is not noticed: that a file system is mounted somewhere on the path, what happens above a directory
/// that this process may not read, and that the target of a dangling link comes to be.
///
/// Threads: one at a time. Failure: the constructor throws std::system_error.
class PathWatch {
public:
    PathWatch();
    PathWatch(const PathWatch&) = delete;
    PathWatch& operator=(const PathWatch&) = delete;
    ~PathWatch();

    /// Readable when there is something to read().
    int descriptor() const { return _descriptor; }

    /// Follows an absolute path, and does so anew when it is followed already: whoever was told of a path
    /// calls this, and then looks at what stands there. Nothing that happens from the call on is missed.
    void follow(const std::string& path);

    /// The followed paths of which something has changed; all of them when the kernel has lost events.
    std::set<std::string> read();

private:
    /// Whom an entry of a watched directory concerns: watch number and name, and the paths that lead through.
    using Entries = std::multimap<std::pair<int, std::string>, std::string, std::less<>>;

    /// Takes what leads to `path` out and returns it.
    Entries _take(const std::string& path);
    bool _isNeeded(int watch) const;
    void _addPathsOf(int watch, std::string_view name, std::set<std::string>& paths) const;
    void _addPathsThrough(int watch, std::set<std::string>& paths) const;
    std::set<std::string> _allPaths() const;

    const int _descriptor;
    Entries _entries;
};

}  // namespace velm::file_watch
