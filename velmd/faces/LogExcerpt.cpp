#include "velmd/faces/LogExcerpt.h"

#include <algorithm>
#include <cerrno>
#include <fstream>
#include <system_error>

namespace velm {

namespace {

std::uint64_t placeOf(std::int64_t from, std::uint64_t size) {
    const std::uint64_t distance =
        from < 0 ? -static_cast<std::uint64_t>(from) : static_cast<std::uint64_t>(from);
    if (distance > size) {
        return 0;
    }
    return from < 0 ? size - distance : distance;
}

}  // namespace

LogExcerpt LogExcerpt::read(const std::filesystem::path& file, std::int64_t from) {
    std::ifstream stream(file, std::ios::binary | std::ios::ate);
    if (!stream) {
        if (errno == ENOENT) {
            return {};
        }
        throw std::system_error(errno, std::generic_category(), "cannot read " + file.string());
    }
    LogExcerpt excerpt;
    excerpt.size = static_cast<std::uint64_t>(stream.tellg());
    excerpt.from = placeOf(from, excerpt.size);
    excerpt.text.resize(std::min(excerpt.size - excerpt.from, longest));
    stream.seekg(static_cast<std::streamoff>(excerpt.from));
    stream.read(excerpt.text.data(), static_cast<std::streamsize>(excerpt.text.size()));
    // It may have been cleared meanwhile.
    excerpt.text.resize(static_cast<std::size_t>(stream.gcount()));
    return excerpt;
}

}  // namespace velm
