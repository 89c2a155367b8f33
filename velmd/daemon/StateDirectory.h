#pragma once

#include <filesystem>

namespace velm {

/// The directory in which one daemon keeps its repository, and the lock that keeps a second one out. The lock
/// goes with the process, however it ends.
///
/// Used by one thread. Failure: the constructor throws std::runtime_error that names the directory and, where
/// another daemon has it, that one's process id.
class StateDirectory {
public:
    /// Creates the directory, for its owner only, when it does not exist.
    explicit StateDirectory(std::filesystem::path path);
    StateDirectory(const StateDirectory&) = delete;
    StateDirectory& operator=(const StateDirectory&) = delete;
    ~StateDirectory();

    const std::filesystem::path& path() const noexcept { return _path; }
    std::filesystem::path repositoryFile() const { return _path / "repository.db"; }

private:
    std::filesystem::path _path;
    int _lock;
};

}  // namespace velm
