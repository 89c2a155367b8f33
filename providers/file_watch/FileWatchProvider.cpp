#include "providers/file_watch/FileWatchProvider.h"

#include "providers/support/Instances.h"
#include "providers/support/KeyText.h"

#include <algorithm>
#include <filesystem>
#include <sstream>

namespace velm::file_watch {

using providers::describe;
using providers::flag;
using providers::isOneOf;
using providers::isSame;
using providers::keyOf;
using providers::WatcherThread;
using namespace std::chrono_literals;

namespace {

constexpr auto writtenDelay = 100ms;
constexpr auto retryDelay = 1s;

std::string absolutePath(const std::string& path) {
    std::filesystem::path absolute = std::filesystem::absolute(path).lexically_normal();
    return absolute.has_filename() || !absolute.has_relative_path() ? absolute.string()
                                                                    : absolute.parent_path().string();
}

bool isDataFileOrAbove(const ORVString& className) {
    return isOneOf(className, {dataFileClass, "CIM_LogicalFile", "CIM_LogicalElement",
                               "CIM_ManagedSystemElement", "CIM_ManagedElement"});
}

bool isServedClass(const ORVString& className) {
    return isDataFileOrAbove(className) ||
           isOneOf(className, {directoryClass, containmentClass, "CIM_Component"});
}

}  // namespace

FileWatchProvider::FileWatchProvider(const ProviderContext& context)
    : _model(context.nameSpace),
      _nameSpace(context.nameSpace),
      _reporter("FileWatchProvider", context.observer) {
    std::istringstream paths{std::string(context.argument.view())};
    for (std::string path; std::getline(paths, path, ':');) {
        if (!path.empty()) {
            _watch(path);
        }
    }
    if (_directories.empty()) {
        _reporter.log("There is no directory to watch");
    }
    _thread.start("file_watch", {_inotify.descriptor(), _paths.descriptor()}, [this] { return _turn(); });
}

FileWatchProvider::~FileWatchProvider() {
    _reporter.close();
    _thread.stop();
}

void FileWatchProvider::_watch(const std::string& path) {
    const std::string absolute = absolutePath(path);
    if (_directoryAt(absolute)) {
        _reporter.log("The directory '" + ORVString(absolute) + "' is named twice",
                      OrvoTraceLog::SeverityWarning);
        return;
    }
    _directories.push_back(std::make_unique<WatchedDirectory>(absolute, _model, _reporter, _inotify));
    _paths.follow(absolute);
    _directories.back()->begin();
}

void FileWatchProvider::_look(WatchedDirectory& directory) {
    _paths.follow(directory.path());
    directory.examine();
}

WatchedDirectory* FileWatchProvider::_directoryOf(int watch) const {
    for (const auto& directory : _directories) {
        if (directory->isWatchedBy(watch)) {
            return directory.get();
        }
    }
    return nullptr;
}

WatchedDirectory* FileWatchProvider::_directoryAt(const std::string& path) const {
    for (const auto& directory : _directories) {
        if (directory->path() == path) {
            return directory.get();
        }
    }
    return nullptr;
}

WatchedDirectory* FileWatchProvider::_directoryNamed(const Name& name) const {
    const auto path = providers::nameOf(keyOf(name, "Name"));
    return path && isSame(name, _model.directoryName(*path)) ? _directoryAt(*path) : nullptr;
}

std::optional<FileWatchProvider::Place> FileWatchProvider::_fileNamed(const Name& name) const {
    const auto path = providers::nameOf(keyOf(name, "Name"));
    const auto slash = path ? path->rfind('/') : std::string::npos;
    if (slash == std::string::npos || slash + 1 == path->size() || path->find('\0') != std::string::npos ||
        !isSame(name, _model.fileName(*path))) {
        return std::nullopt;
    }
    WatchedDirectory* directory = _directoryAt(slash == 0 ? "/" : path->substr(0, slash));
    return directory ? std::optional(Place{*directory, path->substr(slash + 1)}) : std::nullopt;
}

std::optional<FileWatchProvider::Place> FileWatchProvider::_containmentNamed(const Name& name) const {
    const Name part = providers::referenceIn(name, "PartComponent");
    const auto place = part.IsNull() ? std::nullopt : _fileNamed(part);
    if (!place) {
        return std::nullopt;
    }
    return isSame(name, _model.containmentName(place->directory.name(), part)) ? place : std::nullopt;
}

bool FileWatchProvider::_serves(const Name& name) const {
    if (name->getKeyBindings()->isEmpty()) {
        return isServedClass(name->getClassName());
    }
    return _fileNamed(name) || _directoryNamed(name) || _containmentNamed(name);
}

std::vector<FileWatchProvider::Place> FileWatchProvider::_changingFiles(const Name& name) const {
    std::vector<Place> places;
    if (!name->getKeyBindings()->isEmpty()) {
        if (const auto place = _fileNamed(name)) {
            places.push_back(*place);
        }
    } else if (isDataFileOrAbove(name->getClassName())) {
        for (const auto& directory : _directories) {
            places.push_back({*directory, std::string(ChangeInterest::everything)});
        }
    }
    return places;
}

ORVSmrPtr<IOrvoValue> FileWatchProvider::registerObserver(ORVSmrPtr<IOrvoInstanceName> instanceName,
                                                          ORVSmrPtr<IOrvoSubscriber> /*observer*/,
                                                          IOrvoIndication::IndicationType type,
                                                          ORVSmrPtr<IOrvoSubscriptionFilter> filter,
                                                          ORVSmrPtr<IOrvoTransaction> /*transaction*/) {
    if (instanceName.IsNull()) {
        return flag(false);
    }
    bool accepted = false;
    if (type == IOrvoIndication::IndicationChange) {
        for (const Place& place : _changingFiles(instanceName)) {
            place.directory.startChanges(place.file, filter);
            accepted = true;
        }
    } else {
        accepted = _serves(instanceName);
    }
    if (accepted) {
        _reporter.log("Told to start reporting " + describe(type, instanceName, "Name"));
    }
    return flag(accepted);
}

ORVSmrPtr<IOrvoValue> FileWatchProvider::deregisterObserver(ORVSmrPtr<IOrvoInstanceName> instanceName,
                                                            ORVSmrPtr<IOrvoSubscriber> /*observer*/,
                                                            IOrvoIndication::IndicationType type,
                                                            ORVSmrPtr<IOrvoSubscriptionFilter> filter,
                                                            ORVSmrPtr<IOrvoTransaction> /*transaction*/) {
    if (instanceName.IsNull()) {
        return flag(false);
    }
    bool accepted = false;
    if (type == IOrvoIndication::IndicationChange) {
        for (const Place& place : _changingFiles(instanceName)) {
            accepted = place.directory.stopChanges(place.file, filter) || accepted;
        }
    } else {
        accepted = _serves(instanceName);
    }
    if (accepted) {
        _reporter.log("Told to stop reporting " + describe(type, instanceName, "Name"));
    }
    return flag(accepted);
}

ORVSmrPtr<IOrvoObject> FileWatchProvider::getInstance(const ORVString& /*nameSpace*/,
                                                      ORVSmrPtr<IOrvoInstanceName> instanceName,
                                                      ORVSmrPtr<IOrvoTransaction> /*transaction*/) {
    if (instanceName.IsNull()) {
        return nullptr;
    }
    if (const WatchedDirectory* directory = _directoryNamed(instanceName)) {
        const auto state = FileState::ofDirectory(directory->path());
        return directory->isPresent() && state ? _model.directory(directory->name(), state) : nullptr;
    }
    const auto file = _fileNamed(instanceName);
    const auto place = file ? file : _containmentNamed(instanceName);
    if (!place || !place->directory.isPresent()) {
        return nullptr;
    }
    const std::string path = place->directory.pathOf(place->file);
    const auto state = FileState::ofFile(path);
    if (!state) {
        return nullptr;
    }
    const Name fileName = _model.fileName(path);
    return file ? _model.file(fileName, *state) : _model.containment(place->directory.name(), fileName);
}

std::vector<std::string> FileWatchProvider::watched() const {
    std::vector<std::string> texts;
    for (const auto& directory : _directories) {
        texts.push_back(directory->path() + (directory->isPresent() ? "" : " (not there)"));
    }
    return texts;
}

ORVSmrPtr<ORVValSlist<ORVString>> FileWatchProvider::getClassNames() {
    ORVSmrPtr<ORVValSlist<ORVString>> names(new ORVValSlist<ORVString>);
    for (const char* name : {dataFileClass, directoryClass, containmentClass}) {
        names->append(name);
    }
    return names;
}

IProvider::InstanceNames FileWatchProvider::enumerateInstanceNames(
    const ORVString& nameSpace, const ORVString& className, ORVSmrPtr<IOrvoTransaction> /*transaction*/) {
    if (!isOneOf(className, {dataFileClass, directoryClass, containmentClass})) {
        return nullptr;
    }
    InstanceNames names(new ORVValSlist<Name>);
    if (nameSpace.compareTo(_nameSpace, ORVString::caseInsensitive) == 0) {
        for (const auto& directory : _directories) {
            if (directory->isPresent()) {
                _appendNames(*directory, className, *names);
            }
        }
    }
    return names;
}

void FileWatchProvider::_appendNames(const WatchedDirectory& directory, const ORVString& className,
                                     ORVValSlist<Name>& names) const {
    if (isOneOf(className, {directoryClass})) {
        names.append(directory.name());
        return;
    }
    const bool wantsFiles = isOneOf(className, {dataFileClass});
    for (const std::string& file : directory.readFileNames()) {
        const Name name = _model.fileName(directory.pathOf(file));
        names.append(wantsFiles ? name : _model.containmentName(directory.name(), name));
    }
}

void FileWatchProvider::onAppeared(int watch, std::string_view name) {
    if (WatchedDirectory* directory = _directoryOf(watch)) {
        directory->appeared(name);
    }
}

void FileWatchProvider::onDisappeared(int watch, std::string_view name) {
    if (WatchedDirectory* directory = _directoryOf(watch)) {
        directory->disappeared(name);
    }
}

void FileWatchProvider::onBeingWritten(int watch, std::string_view name) {
    WatchedDirectory* directory = _directoryOf(watch);
    if (directory && directory->beingWritten(name) && !_writtenDue) {
        _writtenDue = Clock::now() + writtenDelay;
    }
}

void FileWatchProvider::onChanged(int watch, std::string_view name) {
    if (WatchedDirectory* directory = _directoryOf(watch)) {
        directory->changed(name);
    }
}

void FileWatchProvider::onGone(int watch) {
    if (WatchedDirectory* directory = _directoryOf(watch)) {
        directory->gone();
        _look(*directory);
    }
}

void FileWatchProvider::onOverflow() {
    _reporter.log("Events were lost; comparing the directories with what is known of them",
                  OrvoTraceLog::SeverityWarning);
    _rescanDue = Clock::now();
}

WatcherThread::Patience FileWatchProvider::_turn() noexcept {
    try {
        _work();
    } catch (...) {
        _reporter.log("Trying again in a second: " + providers::currentFailure(),
                      OrvoTraceLog::SeverityError);
        _rescanDue = Clock::now() + retryDelay;
    }
    if (!_rescanDue && !_writtenDue) {
        return WatcherThread::forever;
    }
    const auto due = std::min(_rescanDue.value_or(Clock::time_point::max()),
                              _writtenDue.value_or(Clock::time_point::max()));
    return std::max(0ms, std::chrono::ceil<std::chrono::milliseconds>(due - Clock::now()));
}

void FileWatchProvider::_work() {
    _inotify.read(*this);
    for (const std::string& path : _paths.read()) {
        _look(*_directoryAt(path));
    }
    if (_rescanDue && *_rescanDue <= Clock::now()) {
        for (const auto& directory : _directories) {
            directory->rescan();
        }
        _rescanDue.reset();
    }
    if (_writtenDue && *_writtenDue <= Clock::now()) {
        _writtenDue.reset();
        for (const auto& directory : _directories) {
            directory->reportWritten();
        }
    }
}

}  // namespace velm::file_watch
