#pragma once

#include <string>
#include <string_view>
#include <sys/types.h>

namespace velm::file_watch {

/// Hears what happens to the entries of the watched directories, in the order of events. `watch` is the
/// number of the watch that Inotify::add answered.
class DirectoryListener {
public:
    virtual ~DirectoryListener() = default;

    /// `name` was created in the directory or moved into it, possibly over an entry of that name.
    virtual void onAppeared(int watch, std::string_view name) = 0;
    virtual void onDisappeared(int watch, std::string_view name) = 0;
    /// Something was written to `name`, which is still open.
    virtual void onBeingWritten(int watch, std::string_view name) = 0;
    /// A writer closed `name`, or its attributes changed.
    virtual void onChanged(int watch, std::string_view name) = 0;
    /// The directory itself was removed, moved or unmounted; nothing more is heard of it.
    virtual void onGone(int watch) = 0;
    /// Events of any directory were lost: compare what you know with what is there.
    virtual void onOverflow() = 0;
};

/// Watches directories, not the ones below them, through one queue of inotify(7).
///
/// Threads: read() on one thread; the rest on any. Failure: add(), change() and the constructor throw
/// std::system_error whose text says what cannot be watched, and which limit to raise.
class Inotify {
public:
    /// Changes of files cost an event for every write; entries that come and go are always told.
    enum Extent { entriesOnly, entriesAndChanges };

    /// Which directory is watched, whatever stands at its path now.
    struct Watch {
        int number;
        dev_t device;
        ino_t inode;
    };

    Inotify();
    Inotify(const Inotify&) = delete;
    Inotify& operator=(const Inotify&) = delete;
    ~Inotify();

    /// Readable when there are events.
    int descriptor() const { return _descriptor; }

    /// Watches one more directory. One that is watched already, perhaps under another path, is refused.
    Watch add(const std::string& directory, Extent extent);

    /// Changes what is told of a watched directory. Answers false, and changes nothing, when `directory` is
    /// no longer the one that `watch` watches.
    bool change(const Watch& watch, const std::string& directory, Extent extent);

    /// Harmless when the kernel has removed the watch itself.
    void remove(const Watch& watch) noexcept;

    /// Tells the next events, if there are any.
    void read(DirectoryListener& listener);

private:
    const int _descriptor;
};

}  // namespace velm::file_watch
