#include "providers/file_watch/FileModel.h"

#include "foundation/object_model/COrvoInstanceName.h"
#include "foundation/object_model/COrvoType.h"
#include "foundation/object_model/COrvoValue.h"
#include "providers/support/KeyText.h"

#include <array>
#include <cstdio>
#include <sys/stat.h>

namespace velm::file_watch {

using providers::flag;
using providers::InstanceName;
using providers::keyTextOf;
using providers::number;
using providers::object;
using providers::reference;
using providers::text;

namespace {

/// A CIM datetime in UTC (DSP0004, datetime type).
providers::Value dateTime(const timespec& time) {
    constexpr int firstYear = 1 - 1900;
    constexpr int lastYear = 9999 - 1900;
    tm utc{};
    if (!gmtime_r(&time.tv_sec, &utc) || utc.tm_year < firstYear || utc.tm_year > lastYear) {
        return COrvoValue::null(COrvoType::datetime);
    }
    std::array<char, 64> full{};
    std::snprintf(full.data(), full.size(), "%04d%02d%02d%02d%02d%02d.%06ld+000", utc.tm_year + 1900,
                  utc.tm_mon + 1, utc.tm_mday, utc.tm_hour, utc.tm_min, utc.tm_sec, time.tv_nsec / 1000);
    return COrvoValue::parse(full.data(), COrvoType::datetime);
}

bool sameTime(const timespec& left, const timespec& right) {
    return left.tv_sec == right.tv_sec && left.tv_nsec == right.tv_nsec;
}

FileState stateOf(const struct stat& status) {
    const auto allows = [&](mode_t bits) { return (status.st_mode & bits) != 0; };
    return {static_cast<std::uint64_t>(status.st_size), status.st_mtim, allows(S_IRUSR | S_IRGRP | S_IROTH),
            allows(S_IWUSR | S_IWGRP | S_IWOTH), allows(S_IXUSR | S_IXGRP | S_IXOTH)};
}

providers::Properties accessOf(const FileState& state) {
    return {{"LastModified", dateTime(state.modified)},
            {"Readable", flag(state.readable)},
            {"Writeable", flag(state.writeable)},
            {"Executable", flag(state.executable)}};
}

}  // namespace

std::optional<FileState> FileState::ofFile(const std::string& path) {
    struct stat status {};
    const bool isFile = lstat(path.c_str(), &status) == 0 && S_ISREG(status.st_mode);
    return isFile ? std::optional(stateOf(status)) : std::nullopt;
}

std::optional<FileState> FileState::ofDirectory(const std::string& path) {
    struct stat status {};
    const bool isDirectory = stat(path.c_str(), &status) == 0 && S_ISDIR(status.st_mode);
    return isDirectory ? std::optional(stateOf(status)) : std::nullopt;
}

ORVSmrPtr<ORVValSlist<ORVString>> FileState::changesTo(const FileState& other) const {
    ORVSmrPtr<ORVValSlist<ORVString>> names(new ORVValSlist<ORVString>);
    const auto note = [&](bool differs, const char* name) {
        if (differs) {
            names->append(name);
        }
    };
    note(size != other.size, "FileSize");
    note(!sameTime(modified, other.modified), "LastModified");
    note(readable != other.readable, "Readable");
    note(writeable != other.writeable, "Writeable");
    note(executable != other.executable, "Executable");
    return names;
}

FileModel::FileModel(const ORVString& nameSpace) : _nameSpace(nameSpace) {
    _systemKeys.append({"CSCreationClassName", text("CIM_ComputerSystem")});
    _systemKeys.append({"CSName", text(providers::computerName())});
    _systemKeys.append({"FSCreationClassName", text("CIM_LocalFileSystem")});
    _systemKeys.append({"FSName", text("local")});
}

InstanceName FileModel::_logicalFileName(const char* className, const std::string& path) const {
    COrvoInstanceName::KeyBindings keys(_systemKeys);
    keys.append({"CreationClassName", text(className)});
    keys.append({"Name", text(keyTextOf(path))});
    return InstanceName(new COrvoInstanceName(_nameSpace, className, keys));
}

InstanceName FileModel::fileName(const std::string& path) const {
    return _logicalFileName(dataFileClass, path);
}

InstanceName FileModel::directoryName(const std::string& path) const {
    return _logicalFileName(directoryClass, path);
}

InstanceName FileModel::containmentName(const InstanceName& directory, const InstanceName& file) const {
    COrvoInstanceName::KeyBindings keys;
    keys.append({"GroupComponent", reference(directory)});
    keys.append({"PartComponent", reference(file)});
    return InstanceName(new COrvoInstanceName(_nameSpace, containmentClass, keys));
}

ORVSmrPtr<IOrvoObject> FileModel::file(const InstanceName& name, const FileState& state) const {
    providers::Properties properties = accessOf(state);
    properties.emplace_back("FileSize", number(state.size, COrvoType::uint64));
    return object(name, properties);
}

ORVSmrPtr<IOrvoObject> FileModel::directory(const InstanceName& name,
                                            const std::optional<FileState>& state) const {
    return object(name, state ? accessOf(*state) : providers::Properties{});
}

ORVSmrPtr<IOrvoObject> FileModel::containment(const InstanceName& directory, const InstanceName& file) const {
    return object(containmentName(directory, file), {});
}

}  // namespace velm::file_watch
