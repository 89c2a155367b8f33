#pragma once

#include <filesystem>

namespace velm {

/// The file that `file` leads to, if code may be loaded from it: a regular file in the directory of `file`,
/// both owned by root or by the user of this process, and both writable by their owner only. A symbolic link
/// may lead to another file of the same directory.
///
/// Throws std::runtime_error or std::system_error, whose text says what is wrong with the file.
std::filesystem::path trustedFile(const std::filesystem::path& file);

}  // namespace velm
