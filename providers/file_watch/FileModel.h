#pragma once

#include "providers/support/Instances.h"

#include <cstdint>
#include <ctime>
#include <optional>
#include <string>

namespace velm::file_watch {

inline constexpr const char* dataFileClass = "CIM_DataFile";
inline constexpr const char* directoryClass = "CIM_Directory";
inline constexpr const char* containmentClass = "CIM_DirectoryContainsFile";

/// What CIM_LogicalFile says of a file or directory beside its name.
struct FileState {
    std::uint64_t size;
    timespec modified;
    bool readable;
    bool writeable;
    bool executable;

    /// The state of the regular file at `path`; nothing when there is none, or a symbolic link, or anything
    /// else.
    static std::optional<FileState> ofFile(const std::string& path);
    /// The same for a directory, also for one behind a symbolic link.
    static std::optional<FileState> ofDirectory(const std::string& path);

    /// The names of the CIM properties in which `other` differs.
    ORVSmrPtr<ORVValSlist<ORVString>> changesTo(const FileState& other) const;
};

/// Puts files into CIM terms: CIM_DataFile and CIM_Directory with the keys of CIM_LogicalFile, and
/// CIM_DirectoryContainsFile between them (CIM Schema 2.49). The key Name is the path as keyTextOf() writes
/// it; a time outside the years 1 to 9999 is NULL. Any thread may call it.
class FileModel {
public:
    explicit FileModel(const ORVString& nameSpace);

    providers::InstanceName fileName(const std::string& path) const;
    providers::InstanceName directoryName(const std::string& path) const;
    providers::InstanceName containmentName(const providers::InstanceName& directory,
                                            const providers::InstanceName& file) const;

    /// Objects with these names.
    ORVSmrPtr<IOrvoObject> file(const providers::InstanceName& name, const FileState& state) const;
    /// Without a state: what is left to say of a directory that is gone.
    ORVSmrPtr<IOrvoObject> directory(const providers::InstanceName& name,
                                     const std::optional<FileState>& state) const;
    ORVSmrPtr<IOrvoObject> containment(const providers::InstanceName& directory,
                                       const providers::InstanceName& file) const;

private:
    providers::InstanceName _logicalFileName(const char* className, const std::string& path) const;

    const ORVString _nameSpace;
    /// The keys that all files and directories share.
    COrvoInstanceName::KeyBindings _systemKeys;
};

}  // namespace velm::file_watch
