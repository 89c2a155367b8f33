#pragma once

#include "foundation/services/IProvider.h"
#include "foundation/services/IWatchDescription.h"
#include "foundation/services/ProviderEntry.h"
#include "providers/file_watch/FileModel.h"
#include "providers/file_watch/Inotify.h"
#include "providers/file_watch/PathWatch.h"
#include "providers/file_watch/WatchedDirectory.h"
#include "providers/support/Reporter.h"
#include "providers/support/WatcherThread.h"

#include <chrono>
#include <memory>
#include <optional>
#include <string>
#include <vector>

namespace velm::file_watch {

/// Reports what happens to the regular files of some directories, not to those below them.
///
/// From the moment it is loaded: creation and destruction of CIM_DataFile, and of the
/// CIM_DirectoryContainsFile between a directory and a file; creation and destruction of a CIM_Directory.
/// While somebody is registered for it, by instance or by class: change of CIM_DataFile, with the names of
/// the properties that changed, when a writer closes the file or its attributes change, and up to ten times a
/// second while it is written to. Nobody registered, writing to files costs nothing here.
///
/// A rename is a destruction and a creation; a file replaced by a rename or while nobody looked is a change.
/// A destruction carries the properties as they were last seen. When the kernel drops events, a line says so
/// and the directories are compared with what was reported of them.
///
/// A directory need not be there. One that comes is reported, and then the files in it; when it is removed,
/// moved or unmounted, or something else takes its place, all that was in it is destroyed, and the provider
/// waits for the next. PathWatch tells what is not noticed.
///
/// Names may hold any bytes; keyTextOf() says how those that are not UTF-8 are written. What is asked for,
/// getInstance and enumerateInstanceNames, is answered from the disk.
///
/// Threads: provider operations on any thread; indications come from one thread of the provider's own, so an
/// observer that waits inside notify() delays what follows. Failure: the constructor throws std::system_error
/// when nothing can be watched at all.
class FileWatchProvider : public IProvider, public IWatchDescription, private DirectoryListener {
public:
    /// `context.argument`: the directories, parted by ':', whose names therefore hold none; empty for none.
    /// One that is there and cannot be watched is logged, and left out until its path changes.
    explicit FileWatchProvider(const ProviderContext& context);
    ~FileWatchProvider() override;

    ORVSmrPtr<IOrvoValue> registerObserver(ORVSmrPtr<IOrvoInstanceName> instanceName,
                                           ORVSmrPtr<IOrvoSubscriber> observer,
                                           IOrvoIndication::IndicationType type,
                                           ORVSmrPtr<IOrvoSubscriptionFilter> filter,
                                           ORVSmrPtr<IOrvoTransaction> transaction) override;
    ORVSmrPtr<IOrvoValue> deregisterObserver(ORVSmrPtr<IOrvoInstanceName> instanceName,
                                             ORVSmrPtr<IOrvoSubscriber> observer,
                                             IOrvoIndication::IndicationType type,
                                             ORVSmrPtr<IOrvoSubscriptionFilter> filter,
                                             ORVSmrPtr<IOrvoTransaction> transaction) override;
    ORVSmrPtr<IOrvoObject> getInstance(const ORVString& nameSpace, ORVSmrPtr<IOrvoInstanceName> instanceName,
                                       ORVSmrPtr<IOrvoTransaction> transaction) override;
    ORVSmrPtr<ORVValSlist<ORVString>> getClassNames() override;
    InstanceNames enumerateInstanceNames(const ORVString& nameSpace, const ORVString& className,
                                         ORVSmrPtr<IOrvoTransaction> transaction) override;

    /// The directories, and which of them are not there.
    std::vector<std::string> watched() const override;

private:
    using Name = ORVSmrPtr<IOrvoInstanceName>;
    using Clock = std::chrono::steady_clock;

    /// A file that is or may come to be in one of the directories.
    struct Place {
        WatchedDirectory& directory;
        std::string file;
    };

    void onAppeared(int watch, std::string_view name) override;
    void onDisappeared(int watch, std::string_view name) override;
    void onBeingWritten(int watch, std::string_view name) override;
    void onChanged(int watch, std::string_view name) override;
    void onGone(int watch) override;
    void onOverflow() override;

    void _watch(const std::string& path);
    /// Something has changed on the path to the directory.
    void _look(WatchedDirectory& directory);
    WatchedDirectory* _directoryOf(int watch) const;
    WatchedDirectory* _directoryAt(const std::string& path) const;
    /// The directory, file or containment that `name` names; nothing when it is of another class or place.
    WatchedDirectory* _directoryNamed(const Name& name) const;
    std::optional<Place> _fileNamed(const Name& name) const;
    std::optional<Place> _containmentNamed(const Name& name) const;

    /// Whether an observer may register for creations and the like on this instance or class.
    bool _serves(const Name& name) const;
    /// Whom a registration for changes concerns: one file, or every file of every directory.
    std::vector<Place> _changingFiles(const Name& name) const;

    void _appendNames(const WatchedDirectory& directory, const ORVString& className,
                      ORVValSlist<Name>& names) const;

    providers::WatcherThread::Patience _turn() noexcept;
    void _work();

    const FileModel _model;
    const ORVString _nameSpace;
    providers::Reporter _reporter;
    Inotify _inotify;
    PathWatch _paths;
    std::vector<std::unique_ptr<WatchedDirectory>> _directories;

    /// When to do what was put off; the watcher's thread only.
    std::optional<Clock::time_point> _rescanDue;
    std::optional<Clock::time_point> _writtenDue;

    providers::WatcherThread _thread;
};

}  // namespace velm::file_watch
