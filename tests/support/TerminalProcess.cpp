#include "tests/support/TerminalProcess.h"

#include <cerrno>
#include <csignal>
#include <cstdlib>
#include <pty.h>
#include <stdexcept>
#include <sys/wait.h>
#include <system_error>
#include <unistd.h>

namespace velm::test {

namespace {

using std::chrono::steady_clock;

constexpr unsigned int pollInterval = 2000;  // microseconds

}  // namespace

TerminalProcess::TerminalProcess(const std::vector<std::string>& command, unsigned short columns) {
    std::vector<std::string> words{"/usr/bin/env", "-u", "NO_COLOR", "TERM=xterm", "LC_ALL=C.UTF-8"};
    words.insert(words.end(), command.begin(), command.end());
    std::vector<char*> arguments;
    for (std::string& word : words) {
        arguments.push_back(word.data());
    }
    arguments.push_back(nullptr);
    winsize size{50, columns, 0, 0};
    _id = ::forkpty(&_terminal, nullptr, nullptr, &size);
    if (_id == 0) {
        ::execv(arguments[0], arguments.data());
        ::_exit(127);
    }
    if (_id < 0) {
        throw std::system_error(errno, std::generic_category(), "forkpty");
    }
    _reader = std::thread([this] { _read(); });
}

TerminalProcess::~TerminalProcess() {
    if (_id > 0) {
        ::kill(_id, SIGKILL);
        ::waitpid(_id, nullptr, 0);
    }
    _reader.join();
    ::close(_terminal);
}

void TerminalProcess::_read() {
    char chunk[4096];
    ssize_t size = 0;
    // The terminal reports an error, not an end, when the last program has closed it.
    while ((size = ::read(_terminal, chunk, sizeof chunk)) > 0 || (size < 0 && errno == EINTR)) {
        const std::lock_guard lock(_lock);
        for (ssize_t index = 0; index < size; ++index) {
            if (chunk[index] != '\r') {
                _screen += chunk[index];
            }
        }
        _written.notify_all();
    }
    const std::lock_guard lock(_lock);
    _isAtEnd = true;
    _written.notify_all();
}

void TerminalProcess::type(const std::string& keys) const {
    if (::write(_terminal, keys.data(), keys.size()) != static_cast<ssize_t>(keys.size())) {
        throw std::system_error(errno, std::generic_category(), "write");
    }
}

void TerminalProcess::signal(int number) const {
    if (_id > 0) {
        ::kill(_id, number);
    }
}

std::string TerminalProcess::screen() const {
    const std::lock_guard lock(_lock);
    return _screen;
}

bool TerminalProcess::waitFor(const std::string& text, std::chrono::seconds patience) const {
    std::unique_lock lock(_lock);
    const auto isThere = [&] { return _screen.find(text) != std::string::npos; };
    _written.wait_until(lock, steady_clock::now() + patience, [&] { return isThere() || _isAtEnd; });
    return isThere();
}

int TerminalProcess::wait(std::chrono::seconds patience) {
    const auto deadline = steady_clock::now() + patience;
    int status = 0;
    while (::waitpid(_id, &status, WNOHANG) == 0) {
        if (steady_clock::now() > deadline) {
            throw std::runtime_error("the program does not end: " + screen());
        }
        ::usleep(pollInterval);
    }
    _id = -1;
    std::unique_lock lock(_lock);
    _written.wait_until(lock, deadline, [&] { return _isAtEnd; });
    return WIFEXITED(status) ? WEXITSTATUS(status) : -WTERMSIG(status);
}

}  // namespace velm::test
