#include "velmd/providers/FileTrust.h"

#include <cerrno>
#include <stdexcept>
#include <sys/stat.h>
#include <system_error>
#include <unistd.h>

#include <fmt/format.h>

namespace velm {

namespace {

struct stat statusOf(const std::filesystem::path& path) {
    struct stat status {};
    if (::stat(path.c_str(), &status) != 0) {
        throw std::system_error(errno, std::generic_category(), "'" + path.string() + "'");
    }
    return status;
}

void refuseStrangers(const struct stat& status, const char* what) {
    if (status.st_uid != 0 && status.st_uid != geteuid()) {
        throw std::runtime_error(fmt::format(
            "{} belongs to user {}, who is neither root nor the user of this process", what, status.st_uid));
    }
    if ((status.st_mode & (S_IWGRP | S_IWOTH)) != 0) {
        throw std::runtime_error(fmt::format("{} can be written by others than its owner (mode {:o})", what,
                                             status.st_mode & 07777u));
    }
}

}  // namespace

std::filesystem::path trustedFile(const std::filesystem::path& file) {
    const std::filesystem::path directory = std::filesystem::canonical(file.parent_path());
    std::error_code error;
    const std::filesystem::path target = std::filesystem::canonical(file, error);
    if (error) {
        throw std::runtime_error("it leads to no file: " + error.message());
    }
    if (target.parent_path() != directory) {
        throw std::runtime_error(
            fmt::format("it is a link that leads outside its directory, to '{}'", target.string()));
    }
    const struct stat status = statusOf(target);
    if (!S_ISREG(status.st_mode)) {
        throw std::runtime_error("it is not a regular file");
    }
    refuseStrangers(statusOf(directory), "its directory");
    refuseStrangers(status, "it");
    return target;
}

}  // namespace velm
