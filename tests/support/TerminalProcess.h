#pragma once

#include <chrono>
#include <condition_variable>
#include <mutex>
#include <string>
#include <sys/types.h>
#include <thread>
#include <vector>

namespace velm::test {

/// A program in a terminal of its own, as a person would run it: what it writes is what the screen shows, and
/// what is typed reaches it as keys.
///
/// Used by one thread. The destructor ends the process with SIGKILL. Failure: std::system_error, and
/// std::runtime_error with what is on the screen.
class TerminalProcess {
public:
    /// Starts a program by its path. The terminal takes UTF-8 and colours, and is wide unless told otherwise.
    explicit TerminalProcess(const std::vector<std::string>& command, unsigned short columns = 1000);
    TerminalProcess(const TerminalProcess&) = delete;
    TerminalProcess& operator=(const TerminalProcess&) = delete;
    ~TerminalProcess();

    void type(const std::string& keys) const;
    void typeControlC() const { type("\x03"); }
    void signal(int number) const;

    /// All that was written so far, with its line ends as the program wrote them.
    std::string screen() const;
    /// Waits until the text was written.
    bool waitFor(const std::string& text, std::chrono::seconds patience = std::chrono::seconds(20)) const;

    /// The exit code, or minus the signal that ended it; all that it wrote is on the screen then.
    int wait(std::chrono::seconds patience = std::chrono::seconds(60));

private:
    void _read();

    int _terminal = -1;
    pid_t _id = -1;
    std::thread _reader;
    mutable std::mutex _lock;
    mutable std::condition_variable _written;
    std::string _screen;
    bool _isAtEnd = false;
};

}  // namespace velm::test
