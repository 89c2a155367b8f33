#pragma once

#include <functional>
#include <string>
#include <sys/types.h>
#include <thread>
#include <vector>

/// A program running in a process of its own, whose output and errors are handed over line by line.
///
/// Threads: `onLine` is called on a thread of this object. The destructor ends the process with SIGTERM and
/// waits for it. Failure: the constructor throws std::system_error.
class ChildProcess {
public:
    ChildProcess(const std::vector<std::string>& command, std::function<void(const std::string&)> onLine);
    ChildProcess(const ChildProcess&) = delete;
    ChildProcess& operator=(const ChildProcess&) = delete;
    ~ChildProcess();

    pid_t id() const { return _id; }

private:
    void _readLines();

    std::function<void(const std::string&)> _onLine;
    pid_t _id = -1;
    int _output = -1;
    std::thread _reader;
};
