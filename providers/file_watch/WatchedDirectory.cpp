#include "providers/file_watch/WatchedDirectory.h"

#include <algorithm>
#include <filesystem>
#include <system_error>
#include <utility>

namespace velm::file_watch {

namespace {

bool isMissing(const std::error_code& failure) {
    return failure == std::errc::no_such_file_or_directory || failure == std::errc::not_a_directory;
}

}  // namespace

WatchedDirectory::WatchedDirectory(std::string path, const FileModel& model,
                                   const providers::Reporter& reporter, Inotify& inotify)
    : _path(std::move(path)),
      _model(model),
      _name(model.directoryName(_path)),
      _reporter(reporter),
      _inotify(inotify) {
}

void WatchedDirectory::begin() {
    if (const std::error_code failure = _open()) {
        if (isMissing(failure)) {
            _reporter.log("There is no directory '" + ORVString(_path) + "'; waiting for it");
        }
        return;
    }
    try {
        for (const std::string& file : readFileNames()) {
            if (const auto state = FileState::ofFile(pathOf(file))) {
                _add(file, *state);
            }
        }
        _reporter.log("Watching the directory '" + ORVString(_path) + "'");
    } catch (const std::system_error& failure) {
        _isPresent = false;
        _inotify.remove(_watch);
        _logLeftOut(failure);
    }
}

void WatchedDirectory::_logLeftOut(const std::system_error& failure) const noexcept {
    _reporter.log("Left out a directory: " + ORVString(failure.what()), OrvoTraceLog::SeverityError);
}

std::error_code WatchedDirectory::_open() {
    try {
        const Inotify::Watch watch = _inotify.add(_path, Inotify::entriesOnly);
        const std::lock_guard guard(_lock);
        _watch = watch;
        _extent = Inotify::entriesOnly;
        _isPresent = true;
        _applyInterest();
    } catch (const std::system_error& failure) {
        if (!isMissing(failure.code())) {
            _logLeftOut(failure);
        }
        return failure.code();
    }
    return {};
}

std::string WatchedDirectory::pathOf(std::string_view file) const {
    return (_path == "/" ? "" : _path) + "/" + std::string(file);
}

std::vector<std::string> WatchedDirectory::readFileNames() const {
    std::vector<std::string> names;
    std::error_code failure;
    const std::filesystem::directory_iterator entries(_path, failure);
    if (failure && !isMissing(failure)) {
        throw std::filesystem::filesystem_error("cannot read", _path, failure);
    }
    for (const auto& entry : entries) {
        std::error_code vanished;
        if (!entry.is_symlink(vanished) && entry.is_regular_file(vanished)) {
            names.push_back(entry.path().filename());
        }
    }
    return names;
}

std::vector<std::string> WatchedDirectory::_knownFiles() const {
    const std::lock_guard guard(_lock);
    std::vector<std::string> names;
    for (const auto& [name, state] : _files) {
        names.push_back(name);
    }
    return names;
}

void WatchedDirectory::startChanges(std::string_view file, const ChangeInterest::Filter& filter) {
    const std::lock_guard guard(_lock);
    std::vector<std::pair<const std::string, FileState>*> newlyWanted;
    for (auto& known : _files) {
        if ((file == ChangeInterest::everything || file == known.first) && !_interest.covers(known.first)) {
            newlyWanted.push_back(&known);
        }
    }
    _interest.add(file, filter);
    _applyInterest();
    for (auto* known : newlyWanted) {
        known->second = FileState::ofFile(pathOf(known->first)).value_or(known->second);
    }
}

bool WatchedDirectory::stopChanges(std::string_view file, const ChangeInterest::Filter& filter) {
    const std::lock_guard guard(_lock);
    const bool hadAsked = _interest.remove(file, filter);
    _applyInterest();
    return hadAsked;
}

void WatchedDirectory::_applyInterest() noexcept {
    const auto wanted = _interest.isEmpty() ? Inotify::entriesOnly : Inotify::entriesAndChanges;
    if (wanted == _extent || !_isPresent) {
        return;
    }
    try {
        if (_inotify.change(_watch, _path, wanted)) {
            _extent = wanted;
        } else {
            _reporter.log("The path '" + ORVString(_path) + "' leads to another directory than before",
                          OrvoTraceLog::SeverityWarning);
        }
    } catch (...) {
        _reporter.log(providers::currentFailure(), OrvoTraceLog::SeverityError);
    }
}

bool WatchedDirectory::_add(std::string_view file, const FileState& state) {
    const std::lock_guard guard(_lock);
    return _files.emplace(file, state).second;
}

bool WatchedDirectory::_remove(std::string_view file) {
    std::unique_lock guard(_lock);
    const auto found = _files.find(file);
    if (found == _files.end()) {
        return false;
    }
    const auto removed = _files.extract(found);
    // Whoever routes the destruction drops the subscriptions to this file without taking them back here.
    _interest.forget(file);
    _applyInterest();
    guard.unlock();
    _reportDestroyed(pathOf(file), removed.mapped());
    return true;
}

void WatchedDirectory::_reportCreated(const std::string& path, const FileState& state) const {
    const providers::InstanceName name = _model.fileName(path);
    _reporter.created(_model.file(name, state));
    _reporter.created(_model.containment(_name, name));
}

void WatchedDirectory::_reportDestroyed(const std::string& path, const FileState& state) const {
    const providers::InstanceName name = _model.fileName(path);
    _reporter.destroyed(_model.containment(_name, name));
    _reporter.destroyed(_model.file(name, state));
}

void WatchedDirectory::appeared(std::string_view file) {
    const std::string path = pathOf(file);
    const auto state = FileState::ofFile(path);
    if (!state) {
        _remove(file);
    } else if (_add(file, *state)) {
        _reportCreated(path, *state);
    } else {
        changed(file);
    }
}

void WatchedDirectory::disappeared(std::string_view file) {
    if (_remove(file)) {
        appeared(file);  // It may be back already, and an exchange of two names tells its coming first.
    }
}

void WatchedDirectory::changed(std::string_view file) {
    if (const auto written = _written.find(file); written != _written.end()) {
        _written.erase(written);
    }
    const std::string path = pathOf(file);
    std::unique_lock guard(_lock);
    const auto found = _files.find(file);
    if (found == _files.end() || !_interest.covers(file)) {
        return;
    }
    const auto state = FileState::ofFile(path);
    if (!state) {
        return;  // Its disappearance is told next.
    }
    const auto changes = found->second.changesTo(*state);
    found->second = *state;
    guard.unlock();
    if (!changes->isEmpty()) {
        _reporter.changed(_model.file(_model.fileName(path), *state), changes);
    }
}

bool WatchedDirectory::beingWritten(std::string_view file) {
    const std::lock_guard guard(_lock);
    const bool isWanted = _interest.covers(file);
    if (isWanted) {
        _written.emplace(file);
    }
    return isWanted;
}

void WatchedDirectory::reportWritten() {
    for (const std::string& file : std::exchange(_written, {})) {
        changed(file);
    }
}

void WatchedDirectory::gone() {
    if (!_isPresent.exchange(false)) {
        return;
    }
    _inotify.remove(_watch);
    _reporter.log("The directory '" + ORVString(_path) + "' is gone", OrvoTraceLog::SeverityWarning);
    _written.clear();
    std::unique_lock guard(_lock);
    const auto files = std::exchange(_files, {});
    for (const auto& [file, state] : files) {
        _interest.forget(file);
    }
    guard.unlock();
    for (const auto& [file, state] : files) {
        if (_reporter.isClosed()) {
            return;
        }
        _reportDestroyed(pathOf(file), state);
    }
    _reporter.destroyed(_model.directory(_name, std::nullopt));
}

bool WatchedDirectory::_isStillWatched() noexcept {
    try {
        const std::lock_guard guard(_lock);
        return _inotify.change(_watch, _path, _extent);
    } catch (...) {
        _reporter.log(providers::currentFailure(), OrvoTraceLog::SeverityError);
        return true;
    }
}

void WatchedDirectory::examine() {
    if (_isPresent && !_isStillWatched()) {
        gone();
    }
    if (_isPresent || _open()) {
        return;
    }
    _reporter.log("The directory '" + ORVString(_path) + "' has come");
    _reporter.created(_model.directory(_name, FileState::ofDirectory(_path)));
    for (const std::string& file : readFileNames()) {
        appeared(file);
    }
}

void WatchedDirectory::rescan() {
    examine();
    if (!_isPresent) {
        return;
    }
    std::vector<std::string> present = readFileNames();
    std::ranges::sort(present);
    for (const std::string& file : _knownFiles()) {
        if (!std::ranges::binary_search(present, file)) {
            disappeared(file);
        }
    }
    for (const std::string& file : present) {
        if (_reporter.isClosed()) {
            return;
        }
        appeared(file);
    }
}

}  // namespace velm::file_watch
