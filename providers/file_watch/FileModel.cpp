#include "providers/file_watch/FileModel.h"

#include "foundation/object_model/COrvoValue.h"

#include <array>
#include <climits>
#include <cstdio>
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

namespace velm::file_watch {

namespace {

ORVSmrPtr<IOrvoValue> text(const ORVString& value) {
    return ORVSmrPtr<IOrvoValue>(new COrvoValue(value));
}

ORVSmrPtr<IOrvoValue> flag(bool value) {
    return ORVSmrPtr<IOrvoValue>(new COrvoValue(value));
}

ORVSmrPtr<IOrvoValue> reference(const ORVSmrPtr<IOrvoInstanceName>& name) {
    return ORVSmrPtr<IOrvoValue>(new COrvoValue(name));
}

/// A CIM datetime in UTC (DSP0004, datetime type).
ORVSmrPtr<IOrvoValue> dateTime(const timespec& time) {
    tm utc{};
    gmtime_r(&time.tv_sec, &utc);
    std::array<char, 16> seconds{};
    std::strftime(seconds.data(), seconds.size(), "%Y%m%d%H%M%S", &utc);
    std::array<char, 40> full{};
    std::snprintf(full.data(), full.size(), "%s.%06ld+000", seconds.data(), time.tv_nsec / 1000);
    return COrvoValue::parse(full.data(), COrvoType::datetime);
}

bool sameTime(const timespec& left, const timespec& right) {
    return left.tv_sec == right.tv_sec && left.tv_nsec == right.tv_nsec;
}

ORVString computerName() {
    std::array<char, HOST_NAME_MAX + 1> name{};
    return gethostname(name.data(), name.size() - 1) == 0 ? name.data() : "localhost";
}

}  // namespace

std::optional<FileState> FileState::of(const std::string& path) {
    struct stat status {};
    if (lstat(path.c_str(), &status) != 0 || !S_ISREG(status.st_mode)) {
        return std::nullopt;
    }
    const auto allows = [&](mode_t bits) { return (status.st_mode & bits) != 0; };
    return FileState{static_cast<std::uint64_t>(status.st_size), status.st_mtim,
                     allows(S_IRUSR | S_IRGRP | S_IROTH), allows(S_IWUSR | S_IWGRP | S_IWOTH),
                     allows(S_IXUSR | S_IXGRP | S_IXOTH)};
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

FileModel::FileModel(const ORVString& nameSpace, const std::string& directory)
    : _nameSpace(nameSpace),
      _directory(directory),
      _computerName(computerName()),
      _directoryName(_logicalFileName(directoryClass, directory)) {
}

std::string FileModel::pathOf(std::string_view fileName) const {
    return (_directory == "/" ? "" : _directory) + "/" + std::string(fileName);
}

ORVSmrPtr<IOrvoInstanceName> FileModel::fileName(const std::string& path) const {
    return _logicalFileName(dataFileClass, path);
}

ORVSmrPtr<IOrvoInstanceName> FileModel::_logicalFileName(const char* className,
                                                         const std::string& path) const {
    COrvoInstanceName::KeyBindings keys;
    keys.append({"CSCreationClassName", text("CIM_ComputerSystem")});
    keys.append({"CSName", text(_computerName)});
    keys.append({"FSCreationClassName", text("CIM_LocalFileSystem")});
    keys.append({"FSName", text("local")});
    keys.append({"CreationClassName", text(className)});
    keys.append({"Name", text(ORVString(path))});
    return ORVSmrPtr<IOrvoInstanceName>(new COrvoInstanceName(_nameSpace, className, keys));
}

ORVSmrPtr<IOrvoObject> FileModel::file(const std::string& path, const FileState& state) const {
    const ORVSmrPtr<IOrvoInstanceName> name = fileName(path);
    auto* object = new COrvoObject(dataFileClass, name);
    ORVSmrPtr<IOrvoObject> result(object);
    for (const COrvoKeyBinding& key : *name->getKeyBindings()) {
        object->setProperty(key.name, key.value);
    }
    object->setProperty("FileSize", ORVSmrPtr<IOrvoValue>(new COrvoValue(state.size, COrvoType::uint64)));
    object->setProperty("LastModified", dateTime(state.modified));
    object->setProperty("Readable", flag(state.readable));
    object->setProperty("Writeable", flag(state.writeable));
    object->setProperty("Executable", flag(state.executable));
    return result;
}

ORVSmrPtr<IOrvoObject> FileModel::containment(const std::string& path) const {
    COrvoInstanceName::KeyBindings keys;
    keys.append({"GroupComponent", reference(_directoryName)});
    keys.append({"PartComponent", reference(fileName(path))});
    const ORVSmrPtr<IOrvoInstanceName> name(new COrvoInstanceName(_nameSpace, containmentClass, keys));
    auto* object = new COrvoObject(containmentClass, name);
    ORVSmrPtr<IOrvoObject> result(object);
    for (const COrvoKeyBinding& key : keys) {
        object->setProperty(key.name, key.value);
    }
    return result;
}

}  // namespace velm::file_watch
