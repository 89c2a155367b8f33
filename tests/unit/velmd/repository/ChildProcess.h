#pragma once

#include <functional>
#include <string>
#include <sys/types.h>

namespace velm::test {

/// A forked copy of this process, which runs one function with the writing end of a pipe and then ends
/// without any cleaning up. Killed, and waited for, when this goes.
///
/// Requires: no other thread is running, and no repository is open, when it is made.
class ChildProcess {
public:
    using Main = std::function<void(int pipe)>;

    explicit ChildProcess(const Main& main);
    ChildProcess(const ChildProcess&) = delete;
    ChildProcess& operator=(const ChildProcess&) = delete;
    ~ChildProcess();

    /// Up to `size` bytes of what it wrote, waiting at the most `milliseconds` (-1: without end); 0 when that
    /// time is over, and at the end.
    std::size_t read(void* target, std::size_t size, int milliseconds = -1) const;
    /// Everything that is left up to the end.
    std::string readAll() const;

    /// Sends SIGKILL and waits until it is gone.
    void kill();

private:
    pid_t _process;
    int _pipe;
};

/// Runs `action` in a process of its own and returns its answer; the text of what it threw, when it threw.
std::string inChild(const std::function<std::string()>& action);

/// Writes all of it, or ends the process.
void writeAll(int pipe, const void* bytes, std::size_t size);

}  // namespace velm::test
