#pragma once

#include "foundation/object_model/COrvoInstanceName.h"
#include "foundation/object_model/COrvoObject.h"

#include <ctime>
#include <optional>
#include <string>

namespace velm::file_watch {

inline constexpr const char* dataFileClass = "CIM_DataFile";
inline constexpr const char* directoryClass = "CIM_Directory";
inline constexpr const char* containmentClass = "CIM_DirectoryContainsFile";

/// What CIM_DataFile says of a file beside its name.
struct FileState {
    std::uint64_t size;
    timespec modified;
    bool readable;
    bool writeable;
    bool executable;

    /// The state of the regular file at `path`; nothing when there is no such file.
    static std::optional<FileState> of(const std::string& path);

    /// The names of the CIM properties in which `other` differs.
    ORVSmrPtr<ORVValSlist<ORVString>> changesTo(const FileState& other) const;
};

/// Puts files into CIM terms: CIM_DataFile and CIM_Directory with the keys of CIM_LogicalFile, and
/// CIM_DirectoryContainsFile between them (CIM Schema 2.49). Any thread may call it.
class FileModel {
public:
    /// `directory` is an absolute path without a slash at its end.
    FileModel(const ORVString& nameSpace, const std::string& directory);

    const std::string& directory() const { return _directory; }
    std::string pathOf(std::string_view fileName) const;

    ORVSmrPtr<IOrvoInstanceName> directoryName() const { return _directoryName; }
    ORVSmrPtr<IOrvoInstanceName> fileName(const std::string& path) const;

    ORVSmrPtr<IOrvoObject> file(const std::string& path, const FileState& state) const;
    ORVSmrPtr<IOrvoObject> containment(const std::string& path) const;

private:
    ORVSmrPtr<IOrvoInstanceName> _logicalFileName(const char* className, const std::string& path) const;

    ORVString _nameSpace;
    std::string _directory;
    ORVString _computerName;
    ORVSmrPtr<IOrvoInstanceName> _directoryName;
};

}  // namespace velm::file_watch
