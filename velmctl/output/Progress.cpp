#include "velmctl/output/Progress.h"

#include "velmctl/output/Text.h"

#include <cstdio>
#include <unistd.h>

#include <fmt/format.h>

namespace velm {

namespace {

constexpr std::size_t barWidth = 30;
constexpr std::size_t nameWidth = 24;
constexpr std::uint64_t linesWithoutBar = 10;
constexpr std::uint64_t worthLines = 100;
constexpr std::chrono::milliseconds pause{50};

std::string repeated(std::string_view text, std::size_t count) {
    std::string result;
    for (std::size_t index = 0; index < count; ++index) {
        result += text;
    }
    return result;
}

std::string barText(std::uint64_t done, std::uint64_t total, bool withBoxes) {
    const auto filled = static_cast<std::size_t>(total == 0 ? barWidth : barWidth * done / total);
    return repeated(withBoxes ? "█" : "#", filled) + repeated(withBoxes ? "░" : "-", barWidth - filled);
}

}  // namespace

Progress::Progress(std::uint64_t total, Output& output)
    : _total(total), _output(output), _hasBar(!output.writesJson() && ::isatty(STDERR_FILENO) != 0) {
}

Progress::~Progress() {
    _erase();
}

void Progress::step(std::string_view next) {
    ++_done;
    if (_hasBar) {
        const auto now = std::chrono::steady_clock::now();
        if (!_isDrawn || now - _drawn >= pause || _done == _total) {
            _draw(next);
            _drawn = now;
        }
    } else if (const std::uint64_t tenth = _done * linesWithoutBar / _total;
               tenth > _told && _total >= worthLines) {
        _told = tenth;
        _output.notice(fmt::format("{} of {}", _done, _total));
    }
}

void Progress::notice(std::string_view text) {
    _erase();
    _output.notice(text);
}

void Progress::_draw(std::string_view next) {
    _isDrawn = true;
    fmt::print(stderr, "\r\x1b[K{} {} of {}  {}", barText(_done, _total, _output.drawsBoxes()), _done, _total,
               shortened(printable(next), nameWidth));
    std::fflush(stderr);
}

void Progress::_erase() {
    if (_isDrawn) {
        _isDrawn = false;
        fmt::print(stderr, "\r\x1b[K");
        std::fflush(stderr);
    }
}

}  // namespace velm
