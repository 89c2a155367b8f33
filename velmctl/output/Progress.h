#pragma once

#include "velmctl/output/Output.h"

#include <chrono>
#include <cstdint>
#include <string>
#include <string_view>

namespace velm {

/// How far a command is that does one thing after the other: a bar on standard error where that is a
/// terminal, and where it is not a line now and then, if there is much to do. Used by one thread; the output
/// must outlive it.
class Progress {
public:
    Progress(std::uint64_t total, Output& output);
    Progress(const Progress&) = delete;
    Progress& operator=(const Progress&) = delete;
    /// Takes the bar away.
    ~Progress();

    /// One more is done; `next` is what comes now.
    void step(std::string_view next);

    /// Writes a line that stays, above the bar.
    void notice(std::string_view text);

    std::uint64_t done() const noexcept { return _done; }
    std::uint64_t total() const noexcept { return _total; }

private:
    void _draw(std::string_view next);
    void _erase();

    const std::uint64_t _total;
    Output& _output;
    const bool _hasBar;
    std::uint64_t _done = 0;
    std::uint64_t _told = 0;
    bool _isDrawn = false;
    std::chrono::steady_clock::time_point _drawn;
};

}  // namespace velm
