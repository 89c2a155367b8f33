#pragma once

#include <chrono>
#include <condition_variable>
#include <cstdint>
#include <filesystem>
#include <functional>
#include <mutex>
#include <string>
#include <sys/types.h>
#include <thread>
#include <vector>

namespace velm::test {

/// A folder that goes with the object.
class TemporaryDirectory {
public:
    TemporaryDirectory();
    TemporaryDirectory(const TemporaryDirectory&) = delete;
    TemporaryDirectory& operator=(const TemporaryDirectory&) = delete;
    ~TemporaryDirectory();

    const std::filesystem::path& path() const { return _path; }

    /// Writes a file in it and returns its path.
    std::filesystem::path write(const std::string& name, const std::string& content) const;

private:
    std::filesystem::path _path;
};

/// A program in a process of its own, whose output and errors are kept.
///
/// Used by one thread. The destructor ends the process with SIGKILL. Failure: std::runtime_error, with what
/// the program has said so far.
class ProgramProcess {
public:
    /// Starts a program by its path.
    explicit ProgramProcess(const std::vector<std::string>& command);
    ProgramProcess(const ProgramProcess&) = delete;
    ProgramProcess& operator=(const ProgramProcess&) = delete;
    ~ProgramProcess();

    pid_t id() const { return _id; }

    void signal(int number) const;
    /// The exit code, or minus the signal that ended it.
    int wait(std::chrono::seconds patience = std::chrono::seconds(60));
    int terminate();
    void kill();

    /// What it has said so far.
    std::string log() const;
    /// Waits until a whole line with this text was said.
    bool waitForLog(const std::string& text, std::chrono::seconds patience = std::chrono::seconds(20)) const;

    /// Waits until it and all who share its output have closed it: log() is complete then.
    void waitForEnd(std::chrono::seconds patience = std::chrono::seconds(20)) const;

private:
    void _read();

    int _output = -1;
    pid_t _id = -1;
    std::thread _reader;
    mutable std::mutex _lock;
    mutable std::condition_variable _said;
    std::string _log;
    bool _isAtEnd = false;
};

/// The path of the daemon's program that this build made.
std::string velmdProgram();

/// The command that starts the daemon on a port that the kernel chooses, without providers unless arguments
/// name a folder of them. `launcher` is a program with arguments that starts the daemon in its own place, as
/// /usr/bin/env does.
std::vector<std::string> velmdCommand(const std::filesystem::path& stateDirectory,
                                      const std::vector<std::string>& arguments = {},
                                      const std::vector<std::string>& launcher = {});

/// Makes a folder of providers below `directory`, with this one in it under this name, as the daemon wants
/// it. Returns its path.
std::string providerFolder(const TemporaryDirectory& directory, const std::string& name,
                           const std::filesystem::path& provider);

/// The daemon, serving, with its log on standard error.
class VelmdProcess : public ProgramProcess {
public:
    /// Starts the daemon and waits until it serves.
    explicit VelmdProcess(const std::filesystem::path& stateDirectory,
                          const std::vector<std::string>& arguments = {},
                          const std::vector<std::string>& launcher = {});

    std::uint16_t port() const { return _port; }

private:
    std::uint16_t _port = 0;
};

/// Runs a program to its end; for what the daemon's program does besides serving.
struct ProgramResult {
    int exitCode;
    std::string output;
};
ProgramResult runProgram(const std::vector<std::string>& command);

/// Looks again and again, for ten seconds, until the condition holds; answers whether it came to hold.
bool holdsInTime(const std::function<bool()>& condition);

/// The content of a file; empty when there is none.
std::string contentOf(const std::filesystem::path& file);

}  // namespace velm::test
