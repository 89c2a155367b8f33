#pragma once

#include "foundation/object_model/COrvoIndication.h"
#include "foundation/services/IProvider.h"
#include "foundation/services/ProviderEntry.h"
#include "providers/file_watch/DirectoryWatcher.h"
#include "providers/file_watch/FileModel.h"

#include <map>
#include <mutex>
#include <optional>
#include <string>

namespace velm::file_watch {

/// Reports what happens to the regular files of one directory.
///
/// From the moment it is loaded: creation and destruction of CIM_DataFile, and of the
/// CIM_DirectoryContainsFile between the directory and the file. While somebody is registered for it, by
/// instance or by class: change of CIM_DataFile, with the names of the properties that changed. A rename is a
/// destruction and a creation.
///
/// Threads: provider operations on any thread; indications come from the watcher's thread. Failure: the
/// constructor throws std::system_error when the directory cannot be watched.
class FileWatchProvider : public IProvider, private DirectoryListener {
public:
    /// `context.argument` is the path of the directory.
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

private:
    void onAppeared(std::string_view name) override;
    void onDisappeared(std::string_view name) override;
    void onChanged(std::string_view name) override;
    void onOverflow() override;
    void onGone() override;

    void _readDirectory();
    /// Whether an observer may register for `type` on this instance, or on its class when the name has no
    /// keys.
    bool _serves(const ORVSmrPtr<IOrvoInstanceName>& instanceName) const;
    bool _isChangeWanted(const ORVSmrPtr<IOrvoInstanceName>& instanceName) const;
    void _report(const ORVSmrPtr<IOrvoObject>& object, IOrvoIndication::IndicationType type,
                 const ORVSmrPtr<ORVValSlist<ORVString>>& changedProperties = nullptr);

    const FileModel _model;
    const ORVSmrPtr<IOrvoSubscriber> _observer;

    /// The files as last seen, by path. The watcher's thread alone uses it once start() was called.
    std::map<std::string, FileState, std::less<>> _files;

    mutable std::mutex _interestLock;
    /// How often change reports were asked for, by instance name text.
    std::map<std::string, unsigned int, std::less<>> _changeInterest;

    DirectoryWatcher _watcher;
};

}  // namespace velm::file_watch
