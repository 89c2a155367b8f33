#include "tests/unit/velmd/repository/ChildProcess.h"

#include "foundation/utilities/OrvoBaseException.h"

#include <array>
#include <cerrno>
#include <csignal>
#include <exception>
#include <poll.h>
#include <sys/wait.h>
#include <system_error>
#include <unistd.h>

namespace velm::test {

ChildProcess::ChildProcess(const Main& main) {
    std::array<int, 2> ends{};
    if (::pipe(ends.data()) != 0) {
        throw std::system_error(errno, std::generic_category(), "pipe");
    }
    _process = ::fork();
    if (_process < 0) {
        throw std::system_error(errno, std::generic_category(), "fork");
    }
    if (_process == 0) {
        ::close(ends[0]);
        main(ends[1]);
        ::_exit(0);
    }
    ::close(ends[1]);
    _pipe = ends[0];
}

ChildProcess::~ChildProcess() {
    kill();
    ::close(_pipe);
}

std::size_t ChildProcess::read(void* target, std::size_t size, int milliseconds) const {
    pollfd ready{_pipe, POLLIN, 0};
    if (::poll(&ready, 1, milliseconds) <= 0) {
        return 0;
    }
    const ssize_t count = ::read(_pipe, target, size);
    return count < 0 ? 0 : static_cast<std::size_t>(count);
}

std::string ChildProcess::readAll() const {
    std::string all;
    std::array<char, 4096> buffer{};
    while (const std::size_t count = read(buffer.data(), buffer.size())) {
        all.append(buffer.data(), count);
    }
    return all;
}

void ChildProcess::kill() {
    if (_process > 0) {
        ::kill(_process, SIGKILL);
        ::waitpid(_process, nullptr, 0);
        _process = 0;
    }
}

std::string inChild(const std::function<std::string()>& action) {
    const ChildProcess child([&action](int pipe) {
        std::string answer;
        try {
            answer = action();
        } catch (const OrvoBaseException& error) {
            answer = "thrown: " + std::string(error.getMessage().view());
        } catch (const std::exception& error) {
            answer = std::string("thrown: ") + error.what();
        }
        writeAll(pipe, answer.data(), answer.size());
    });
    return child.readAll();
}

void writeAll(int pipe, const void* bytes, std::size_t size) {
    for (const char* position = static_cast<const char*>(bytes); size > 0;) {
        const ssize_t count = ::write(pipe, position, size);
        if (count <= 0) {
            ::_exit(1);
        }
        position += count;
        size -= static_cast<std::size_t>(count);
    }
}

}  // namespace velm::test
