#pragma once

#include <string>
#include <string_view>
#include <thread>

namespace velm::file_watch {

/// Hears what happens to the entries of a directory. Called on the watcher's thread only, in the order of
/// events.
class DirectoryListener {
public:
    virtual ~DirectoryListener() = default;

    /// `name` was created in the directory or moved into it, possibly over an entry of that name.
    virtual void onAppeared(std::string_view name) = 0;
    virtual void onDisappeared(std::string_view name) = 0;
    /// A writer closed `name`, or its attributes changed.
    virtual void onChanged(std::string_view name) = 0;
    /// Events were lost: compare what you know with what is there.
    virtual void onOverflow() = 0;
    /// The directory itself is gone; nothing more is heard.
    virtual void onGone() = 0;
};

/// Watches one directory, not the ones below it, through inotify(7) on a thread of its own.
///
/// Threads: constructed and destroyed by one thread. The destructor waits for a call of the listener that is
/// under way, so it must not run inside one. Failure: the constructor throws std::system_error that names the
/// directory.
class DirectoryWatcher {
public:
    /// Requires: `listener` outlives the watcher. Events from now on are seen; start() begins to tell them.
    DirectoryWatcher(const std::string& directory, DirectoryListener& listener);
    DirectoryWatcher(const DirectoryWatcher&) = delete;
    DirectoryWatcher& operator=(const DirectoryWatcher&) = delete;
    ~DirectoryWatcher();

    void start();

private:
    void _run();
    /// Answers false when the directory is gone.
    bool _readEvents();

    DirectoryListener& _listener;
    int _inotify;
    int _stopEvent;
    std::thread _thread;
};

}  // namespace velm::file_watch
