#include "velmd/repository/FileLock.h"

#include "velmd/model/CIMStatus.h"

#include <cerrno>
#include <fcntl.h>
#include <sys/file.h>
#include <system_error>
#include <unistd.h>

#include <fmt/format.h>

namespace velm {

FileLock::FileLock(const std::string& file)
    : _descriptor(::open((file + "-lock").c_str(), O_RDWR | O_CREAT | O_CLOEXEC, 0600)) {
    if (_descriptor >= 0 && ::flock(_descriptor, LOCK_EX | LOCK_NB) == 0) {
        return;
    }
    int cause = errno;
    if (_descriptor >= 0) {
        ::close(_descriptor);
    }
    if (cause == EWOULDBLOCK) {
        throwStatus(CIMStatus::failed, fmt::format("{}: in use by another process", file));
    }
    throwStatus(CIMStatus::failed, fmt::format("{}: cannot be locked by {}-lock: {}", file, file,
                                               std::generic_category().message(cause)));
}

FileLock::~FileLock() {
    ::close(_descriptor);
}

}  // namespace velm
