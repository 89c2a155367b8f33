#include "providers/file_watch/FileWatchProvider.h"

#include "foundation/object_model/COrvoDebugTools.h"
#include "foundation/object_model/COrvoValue.h"
#include "foundation/services/ORVLog.h"

#include <filesystem>
#include <set>

namespace velm::file_watch {

namespace {

void log(const ORVString& message, OrvoTraceLog::Severity severity = OrvoTraceLog::SeverityInformation) {
    ORVLog::log("FileWatchProvider", message, severity, OrvoTraceLog::VerbosityNormal, 0, ORVLog::CIMOMLOG);
}

std::string absolutePath(const ORVString& path) {
    std::filesystem::path absolute = std::filesystem::absolute(path.data()).lexically_normal();
    return absolute.has_filename() || !absolute.has_relative_path() ? absolute.string()
                                                                    : absolute.parent_path().string();
}

ORVSmrPtr<IOrvoValue> answer(bool accepted) {
    return ORVSmrPtr<IOrvoValue>(new COrvoValue(accepted));
}

/// The key Name of a file or directory; the null string for a name without keys.
ORVString pathIn(const ORVSmrPtr<IOrvoInstanceName>& instanceName) {
    for (const COrvoKeyBinding& key : *instanceName->getKeyBindings()) {
        if (key.name.compareTo("Name", ORVString::caseInsensitive) == 0) {
            return key.value->getString();
        }
    }
    return {};
}

ORVString describe(IOrvoIndication::IndicationType type, const ORVSmrPtr<IOrvoInstanceName>& instanceName) {
    const ORVString path = pathIn(instanceName);
    return COrvoDebugTools::indicationTypeToString(type) + " of " +
           (path.isNull() ? "every " + instanceName->getClassName()
                          : instanceName->getClassName() + " '" + path + "'");
}

}  // namespace

FileWatchProvider::FileWatchProvider(const ProviderContext& context)
    : _model(context.nameSpace, absolutePath(context.argument)),
      _observer(context.observer),
      _watcher(_model.directory(), *this) {
    _readDirectory();
    _watcher.start();
    log("Watching the directory '" + ORVString(_model.directory()) + "'");
}

FileWatchProvider::~FileWatchProvider() = default;

void FileWatchProvider::_readDirectory() {
    for (const auto& entry : std::filesystem::directory_iterator(_model.directory())) {
        if (const auto state = FileState::of(entry.path())) {
            _files.emplace(entry.path(), *state);
        }
    }
}

bool FileWatchProvider::_serves(const ORVSmrPtr<IOrvoInstanceName>& instanceName) const {
    if (instanceName.IsNull()) {
        return false;
    }
    if (instanceName->toString() == _model.directoryName()->toString()) {
        return true;
    }
    if (instanceName->getClassName().compareTo(dataFileClass, ORVString::caseInsensitive) != 0) {
        return false;
    }
    const ORVString path = pathIn(instanceName);
    return path.isNull() ? instanceName->getKeyBindings()->isEmpty()
                         : std::filesystem::path(path.data()).parent_path() == _model.directory();
}

ORVSmrPtr<IOrvoValue> FileWatchProvider::registerObserver(ORVSmrPtr<IOrvoInstanceName> instanceName,
                                                          ORVSmrPtr<IOrvoSubscriber>,
                                                          IOrvoIndication::IndicationType type,
                                                          ORVSmrPtr<IOrvoSubscriptionFilter>,
                                                          ORVSmrPtr<IOrvoTransaction>) {
    if (!_serves(instanceName)) {
        return answer(false);
    }
    if (type == IOrvoIndication::IndicationChange) {
        const std::lock_guard guard(_interestLock);
        ++_changeInterest[instanceName->toString().data()];
    }
    log("Told to start reporting " + describe(type, instanceName));
    return answer(true);
}

ORVSmrPtr<IOrvoValue> FileWatchProvider::deregisterObserver(ORVSmrPtr<IOrvoInstanceName> instanceName,
                                                            ORVSmrPtr<IOrvoSubscriber>,
                                                            IOrvoIndication::IndicationType type,
                                                            ORVSmrPtr<IOrvoSubscriptionFilter>,
                                                            ORVSmrPtr<IOrvoTransaction>) {
    if (!_serves(instanceName)) {
        return answer(false);
    }
    if (type == IOrvoIndication::IndicationChange) {
        const std::lock_guard guard(_interestLock);
        const auto found = _changeInterest.find(instanceName->toString().view());
        if (found == _changeInterest.end()) {
            return answer(false);
        }
        if (--found->second == 0) {
            _changeInterest.erase(found);
        }
    }
    log("Told to stop reporting " + describe(type, instanceName));
    return answer(true);
}

ORVSmrPtr<IOrvoObject> FileWatchProvider::getInstance(const ORVString&,
                                                      ORVSmrPtr<IOrvoInstanceName> instanceName,
                                                      ORVSmrPtr<IOrvoTransaction>) {
    if (!_serves(instanceName)) {
        return nullptr;
    }
    const std::string path = pathIn(instanceName).data();
    const auto state = FileState::of(path);
    return state ? _model.file(path, *state) : nullptr;
}

bool FileWatchProvider::_isChangeWanted(const ORVSmrPtr<IOrvoInstanceName>& instanceName) const {
    const std::lock_guard guard(_interestLock);
    const ORVString classLevelName = instanceName->getNameSpace() + ":" + instanceName->getClassName();
    return _changeInterest.contains(instanceName->toString().view()) ||
           _changeInterest.contains(classLevelName.view());
}

void FileWatchProvider::onAppeared(std::string_view name) {
    const std::string path = _model.pathOf(name);
    const auto state = FileState::of(path);
    if (!state) {
        return;
    }
    if (!_files.emplace(path, *state).second) {
        onChanged(name);
        return;
    }
    _report(_model.file(path, *state), IOrvoIndication::IndicationCreation);
    _report(_model.containment(path), IOrvoIndication::IndicationCreation);
}

void FileWatchProvider::onDisappeared(std::string_view name) {
    const auto found = _files.find(_model.pathOf(name));
    if (found == _files.end()) {
        return;
    }
    _report(_model.containment(found->first), IOrvoIndication::IndicationDestruction);
    _report(_model.file(found->first, found->second), IOrvoIndication::IndicationDestruction);
    _files.erase(found);
}

void FileWatchProvider::onChanged(std::string_view name) {
    const auto found = _files.find(_model.pathOf(name));
    if (found == _files.end()) {
        return;
    }
    const auto state = FileState::of(found->first);
    if (!state) {
        return;  // Gone already; its disappearance is told next.
    }
    const ORVSmrPtr<ORVValSlist<ORVString>> changes = found->second.changesTo(*state);
    found->second = *state;
    if (!changes->isEmpty() && _isChangeWanted(_model.fileName(found->first))) {
        _report(_model.file(found->first, *state), IOrvoIndication::IndicationChange, changes);
    }
}

void FileWatchProvider::onOverflow() {
    log("Events were lost; comparing the directory with what is known of it", OrvoTraceLog::SeverityWarning);
    std::set<std::string> names;
    for (const auto& [path, state] : _files) {
        names.insert(std::filesystem::path(path).filename());
    }
    std::error_code ignored;
    for (const auto& entry : std::filesystem::directory_iterator(_model.directory(), ignored)) {
        names.insert(entry.path().filename());
    }
    for (const std::string& name : names) {
        FileState::of(_model.pathOf(name)) ? onAppeared(name) : onDisappeared(name);
    }
}

void FileWatchProvider::onGone() {
    log("The directory '" + ORVString(_model.directory()) + "' is gone", OrvoTraceLog::SeverityWarning);
    while (!_files.empty()) {
        onDisappeared(std::string(std::filesystem::path(_files.begin()->first).filename()));
    }
}

void FileWatchProvider::_report(const ORVSmrPtr<IOrvoObject>& object, IOrvoIndication::IndicationType type,
                                const ORVSmrPtr<ORVValSlist<ORVString>>& changedProperties) {
    try {
        _observer->notify(ORVSmrPtr<IOrvoIndication>(new COrvoIndication(
            object, type, changedProperties, nullptr, IOrvoIndication::IntentReport, nullptr, false)));
    } catch (...) {
        log("Could not report " + describe(type, object->getInstanceName()), OrvoTraceLog::SeverityError);
    }
}

}  // namespace velm::file_watch
