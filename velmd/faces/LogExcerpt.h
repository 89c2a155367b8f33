#pragma once

#include <cstdint>
#include <filesystem>
#include <string>

namespace velm {

/// A part of a file that grows, for who follows it.
struct LogExcerpt {
    /// Bytes told at once.
    static constexpr std::uint64_t longest = 1024 * 1024;

    /// Where `text` begins; the next part begins at `from + text.size()`.
    std::uint64_t from = 0;
    /// Of the file, when it was read. 0 for a file that is not there.
    std::uint64_t size = 0;
    std::string text;

    /// Reads from byte `from` on; a negative one counts from the end. From the beginning when the file is
    /// shorter than that, because it was cleared. Failure: std::system_error that names the file.
    static LogExcerpt read(const std::filesystem::path& file, std::int64_t from);
};

}  // namespace velm
