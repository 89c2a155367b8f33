#include "velmd/daemon/StateDirectory.h"

#include <cerrno>
#include <fcntl.h>
#include <stdexcept>
#include <string>
#include <sys/file.h>
#include <sys/stat.h>
#include <system_error>
#include <unistd.h>
#include <utility>

namespace velm {

namespace {

constexpr mode_t ownerOnly = 0700;

[[noreturn]] void fail(const std::filesystem::path& path, const std::string& problem) {
    throw std::runtime_error("state directory " + path.string() + ": " + problem);
}

std::string lastError() {
    return std::generic_category().message(errno);
}

void create(const std::filesystem::path& path) {
    std::error_code error;
    if (path.has_parent_path()) {
        std::filesystem::create_directories(path.parent_path(), error);
    }
    if (::mkdir(path.c_str(), ownerOnly) != 0 && errno != EEXIST) {
        fail(path, "cannot be created: " + lastError());
    }
    if (!std::filesystem::is_directory(path, error)) {
        fail(path, "is no directory");
    }
}

std::string holderOf(int lock) {
    char text[32] = {};
    return ::pread(lock, text, sizeof text - 1, 0) > 0 ? std::string(text) : "unknown";
}

}  // namespace

StateDirectory::StateDirectory(std::filesystem::path path)
    : _path(std::filesystem::absolute(std::move(path)).lexically_normal()) {
    create(_path);
    const std::string file = (_path / "velmd.lock").string();
    _lock = ::open(file.c_str(), O_RDWR | O_CREAT | O_CLOEXEC, 0600);
    if (_lock < 0) {
        fail(_path, "cannot be written: " + lastError());
    }
    if (::flock(_lock, LOCK_EX | LOCK_NB) != 0) {
        const std::string holder = holderOf(_lock);
        ::close(_lock);
        fail(_path, "is in use by the daemon with process id " + holder);
    }
    const std::string id = std::to_string(::getpid());
    if (::ftruncate(_lock, 0) != 0 || ::pwrite(_lock, id.data(), id.size(), 0) < 0) {
        const std::string problem = lastError();
        ::close(_lock);
        fail(_path, "cannot be written: " + problem);
    }
}

StateDirectory::~StateDirectory() {
    ::close(_lock);
}

}  // namespace velm
