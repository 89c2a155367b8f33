#pragma once

#include <string>

namespace velm {

/// Keeps other processes away from a file, by a lock on a second file beside it ("-lock"). The lock goes with
/// the process, however that ends; the second file stays.
///
/// A file of its own: were the database itself opened and closed here, the locks that SQLite holds on it
/// would be gone.
class FileLock {
public:
    /// Throws CIMOMException (1), which names `file`, when it is locked already or cannot be.
    explicit FileLock(const std::string& file);
    FileLock(const FileLock&) = delete;
    FileLock& operator=(const FileLock&) = delete;
    ~FileLock();

private:
    int _descriptor;
};

}  // namespace velm
