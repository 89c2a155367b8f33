#pragma once

#include <chrono>
#include <condition_variable>
#include <mutex>
#include <string>
#include <vector>

/// The page that the reader sees: what the quickstart does, and every line that a listener, the channel or
/// the server adds to it. It remembers the lines, so that the quickstart can wait for one. Any thread may
/// call it.
class Paper {
public:
    /// Leaves `path` out wherever a line names it. Requires: called before the first line.
    void abbreviate(const std::string& path) { _leftOut = path; }

    /// A heading: something that the quickstart does.
    void act(const std::string& text);

    /// A line from `who`: "listener", "channel" or "server".
    void add(const std::string& who, const std::string& text);

    /// Waits up to `patience` for a line from `who` that holds every one of `words`; answers whether it came.
    /// Lines are counted from the last act().
    bool waitFor(const std::string& who, const std::vector<std::string>& words,
                 std::chrono::milliseconds patience);

private:
    struct Line {
        std::string who;
        std::string text;
    };

    std::string _leftOut;
    std::mutex _lock;
    std::condition_variable _added;
    std::vector<Line> _lines;
};
