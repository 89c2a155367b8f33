#include "tests/support/VelmdProcess.h"

#include <cerrno>
#include <csignal>
#include <cstdlib>
#include <fcntl.h>
#include <fstream>
#include <iterator>
#include <stdexcept>
#include <sys/wait.h>
#include <system_error>
#include <unistd.h>

namespace velm::test {

namespace {

using std::chrono::steady_clock;

constexpr const char* readyLine = "Serving on port ";
constexpr unsigned int pollInterval = 2000;  // microseconds

std::system_error systemError(const std::string& operation) {
    return {errno, std::generic_category(), operation};
}

/// Starts `command` with its output and errors in a pipe, whose reading end is stored.
pid_t start(const std::vector<std::string>& command, int& output) {
    std::vector<char*> arguments;
    for (const std::string& argument : command) {
        arguments.push_back(const_cast<char*>(argument.c_str()));
    }
    arguments.push_back(nullptr);
    int pipe[2];
    if (::pipe2(pipe, O_CLOEXEC) != 0) {
        throw systemError("pipe");
    }
    const pid_t child = ::fork();
    if (child == 0) {
        ::dup2(pipe[1], STDOUT_FILENO);
        ::dup2(pipe[1], STDERR_FILENO);
        ::execv(arguments[0], arguments.data());
        ::_exit(127);
    }
    ::close(pipe[1]);
    output = pipe[0];
    return child;
}

int exitCodeOf(int status) {
    return WIFEXITED(status) ? WEXITSTATUS(status) : -WTERMSIG(status);
}

}  // namespace

TemporaryDirectory::TemporaryDirectory() {
    std::string pattern = (std::filesystem::temp_directory_path() / "velm-test-XXXXXX").string();
    if (!::mkdtemp(pattern.data())) {
        throw systemError("mkdtemp");
    }
    _path = pattern;
}

TemporaryDirectory::~TemporaryDirectory() {
    std::error_code ignored;
    std::filesystem::remove_all(_path, ignored);
}

std::filesystem::path TemporaryDirectory::write(const std::string& name, const std::string& content) const {
    const std::filesystem::path file = _path / name;
    std::ofstream(file, std::ios::binary) << content;
    return file;
}

ProgramProcess::ProgramProcess(const std::vector<std::string>& command) : _id(start(command, _output)) {
    _reader = std::thread([this] { _read(); });
}

ProgramProcess::~ProgramProcess() {
    kill();
    _reader.join();
    ::close(_output);
}

void ProgramProcess::_read() {
    char chunk[4096];
    ssize_t size = 0;
    while ((size = ::read(_output, chunk, sizeof chunk)) > 0 || (size < 0 && errno == EINTR)) {
        const std::lock_guard lock(_lock);
        _log.append(chunk, size > 0 ? static_cast<std::size_t>(size) : 0);
        _said.notify_all();
    }
    const std::lock_guard lock(_lock);
    _isAtEnd = true;
    _said.notify_all();
}

std::string ProgramProcess::log() const {
    const std::lock_guard lock(_lock);
    return _log;
}

bool ProgramProcess::waitForLog(const std::string& text, std::chrono::seconds patience) const {
    std::unique_lock lock(_lock);
    const auto isSaid = [&] {
        const auto found = _log.find(text);
        return found != std::string::npos && _log.find('\n', found) != std::string::npos;
    };
    _said.wait_until(lock, steady_clock::now() + patience, [&] { return isSaid() || _isAtEnd; });
    return isSaid();
}

void ProgramProcess::waitForEnd(std::chrono::seconds patience) const {
    std::unique_lock lock(_lock);
    _said.wait_until(lock, steady_clock::now() + patience, [&] { return _isAtEnd; });
}

void ProgramProcess::signal(int number) const {
    if (_id > 0) {
        ::kill(_id, number);
    }
}

int ProgramProcess::wait(std::chrono::seconds patience) {
    const auto deadline = steady_clock::now() + patience;
    int status = 0;
    while (::waitpid(_id, &status, WNOHANG) == 0) {
        if (steady_clock::now() > deadline) {
            throw std::runtime_error("the program does not end: " + log());
        }
        ::usleep(pollInterval);
    }
    _id = -1;
    // The last it said may still be on its way.
    waitForEnd(std::chrono::seconds(5));
    return exitCodeOf(status);
}

int ProgramProcess::terminate() {
    signal(SIGTERM);
    return wait();
}

void ProgramProcess::kill() {
    if (_id > 0) {
        ::kill(_id, SIGKILL);
        ::waitpid(_id, nullptr, 0);
        _id = -1;
    }
}

std::string velmdProgram() {
    return VELM_TEST_VELMD;
}

std::vector<std::string> velmdCommand(const std::filesystem::path& stateDirectory,
                                      const std::vector<std::string>& arguments,
                                      const std::vector<std::string>& launcher) {
    std::vector<std::string> command = launcher;
    command.insert(command.end(), {velmdProgram(), "--state-dir", stateDirectory.string(), "--port", "0"});
    bool namesProviders = false;
    for (const std::string& argument : arguments) {
        namesProviders = namesProviders || argument.starts_with("Providers.Directory=");
    }
    if (!namesProviders) {
        command.insert(command.end(), {"--set", "Providers.Directory=" + (stateDirectory / "none").string()});
    }
    command.insert(command.end(), arguments.begin(), arguments.end());
    return command;
}

std::string providerFolder(const TemporaryDirectory& directory, const std::string& name,
                           const std::filesystem::path& provider) {
    const auto folder = directory.path() / "providers";
    const auto file = folder / ("lib" + name + "_provider.so");
    std::filesystem::create_directory(folder);
    std::filesystem::copy_file(provider, file);
    // A provider that others may write to is refused.
    std::filesystem::permissions(folder, std::filesystem::perms::owner_all);
    std::filesystem::permissions(file, std::filesystem::perms::owner_all);
    return folder.string();
}

VelmdProcess::VelmdProcess(const std::filesystem::path& stateDirectory,
                           const std::vector<std::string>& arguments,
                           const std::vector<std::string>& launcher)
    : ProgramProcess(velmdCommand(stateDirectory, arguments, launcher)) {
    if (!waitForLog(readyLine)) {
        throw std::runtime_error("velmd does not serve: " + log());
    }
    const std::string said = log();
    _port = static_cast<std::uint16_t>(
        std::stoul(said.substr(said.find(readyLine) + std::string(readyLine).size())));
}

ProgramResult runProgram(const std::vector<std::string>& command) {
    int output = -1;
    const pid_t child = start(command, output);
    ProgramResult result{0, {}};
    char chunk[4096];
    ssize_t size = 0;
    while ((size = ::read(output, chunk, sizeof chunk)) > 0) {
        result.output.append(chunk, static_cast<std::size_t>(size));
    }
    ::close(output);
    int status = 0;
    ::waitpid(child, &status, 0);
    result.exitCode = exitCodeOf(status);
    return result;
}

bool holdsInTime(const std::function<bool()>& condition) {
    const auto deadline = steady_clock::now() + std::chrono::seconds(10);
    while (!condition()) {
        if (steady_clock::now() > deadline) {
            return false;
        }
        ::usleep(pollInterval);
    }
    return true;
}

std::string contentOf(const std::filesystem::path& file) {
    std::ifstream stream(file, std::ios::binary);
    return {std::istreambuf_iterator<char>(stream), {}};
}

}  // namespace velm::test
