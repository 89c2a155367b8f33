#pragma once

#include "foundation/services/ChangeInterest.h"
#include "providers/file_watch/FileModel.h"
#include "providers/file_watch/Inotify.h"
#include "providers/support/Reporter.h"

#include <atomic>
#include <map>
#include <mutex>
#include <optional>
#include <set>
#include <string>
#include <string_view>
#include <system_error>
#include <vector>

namespace velm::file_watch {

/// The directory at one path, when there is one: the regular files in it as last reported, and who wants to
/// hear of their changes.
///
/// What was reported and what is there are compared whenever something may have happened, so a report is made
/// once however often and late the kernel speaks of it. A file that came and went before anybody could look
/// at it is not reported. Reports are made without a lock.
class WatchedDirectory {
public:
    /// `path` is absolute, without a slash at its end. Requires: the references outlive this.
    WatchedDirectory(std::string path, const FileModel& model, const providers::Reporter& reporter,
                     Inotify& inotify);
    WatchedDirectory(const WatchedDirectory&) = delete;
    WatchedDirectory& operator=(const WatchedDirectory&) = delete;
    ~WatchedDirectory() = default;

    const std::string& path() const { return _path; }
    const providers::InstanceName& name() const { return _name; }
    std::string pathOf(std::string_view file) const;

    /// Any thread: whether the directory is being watched.
    bool isPresent() const noexcept { return _isPresent; }

    /// Any thread, before the rest: watches the directory, if there is one, and takes the files that are
    /// there as known. The log says what came of it.
    void begin();

    /// Any thread: the names of the regular files that are there now, none once the directory is not. Throws
    /// std::system_error that names the directory.
    std::vector<std::string> readFileNames() const;

    /// Any thread: counts who wants changes of `file`, or of ChangeInterest::everything. While nobody does,
    /// the kernel is not asked for them and no file is looked at when it is written to. What changed before
    /// the call is no change. Interest in a file ends with the file; interest in everything outlives the
    /// directory.
    void startChanges(std::string_view file, const ChangeInterest::Filter& filter);
    /// Answers false when nobody had asked.
    bool stopChanges(std::string_view file, const ChangeInterest::Filter& filter);

    /// The rest on the watcher's thread only.
    bool isWatchedBy(int watch) const { return _isPresent && _watch.number == watch; }

    /// Looks what stands at the path now. When another directory than before does, or none, the one before
    /// is gone; one that has come is reported with the files in it. One that cannot be watched is logged.
    void examine();

    /// What the kernel told.
    void appeared(std::string_view file);
    void disappeared(std::string_view file);
    void changed(std::string_view file);
    /// Answers whether somebody wants to hear of it; reportWritten() tells them.
    bool beingWritten(std::string_view file);
    void reportWritten();
    void gone();

    /// examine(), and compares all that is known with what is there. Throws std::system_error when the
    /// directory cannot be read.
    void rescan();

private:
    /// Watches the directory. Answers why it cannot, and logs it, unless there is none.
    std::error_code _open();
    void _logLeftOut(const std::system_error& failure) const noexcept;
    bool _add(std::string_view file, const FileState& state);
    /// Reports the destruction of a known file; answers whether it was known.
    bool _remove(std::string_view file);
    void _reportCreated(const std::string& path, const FileState& state) const;
    void _reportDestroyed(const std::string& path, const FileState& state) const;
    std::vector<std::string> _knownFiles() const;
    bool _isStillWatched() noexcept;
    /// Requires: _lock. Brings the kernel's watch in line with the interest.
    void _applyInterest() noexcept;

    const std::string _path;
    const FileModel& _model;
    const providers::InstanceName _name;
    const providers::Reporter& _reporter;
    Inotify& _inotify;
    std::atomic<bool> _isPresent = false;

    /// Files being written to, of which changed() was not told yet. The watcher's thread only.
    std::set<std::string, std::less<>> _written;

    mutable std::mutex _lock;
    // Guarded by _lock; _watch is written by the watcher's thread only.
    Inotify::Watch _watch{};
    std::map<std::string, FileState, std::less<>> _files;
    ChangeInterest _interest;
    Inotify::Extent _extent = Inotify::entriesOnly;
};

}  // namespace velm::file_watch
